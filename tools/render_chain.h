// Effects stacked as a host stacks them: each with its own instance and
// parameters, the picture passing from one to the next, frame after frame.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/frame.h"
#include "host/host_surface.h"
#include "host/module_loader.h"
#include "tools/param_track.h"

namespace fxtool {

struct ChainLink {
    std::string name;         // an exact factory name
    ParamTrack params;        // its four values over time
    bool passThrough = false; // copy the source on every frame before rendering
};

class RenderChain {
public:
    // Makes every instance against surfaces of width x height in format.
    // Throws fxhost::HostError naming the effect the module refused, with its
    // reason. inPlace renders each effect with its source as destination.
    RenderChain(const fxhost::EffectModule& module, std::vector<ChainLink> links, int width, int height,
                int32_t format, bool inPlace = false, bool verbose = false);
    ~RenderChain();
    RenderChain(const RenderChain&) = delete;
    RenderChain& operator=(const RenderChain&) = delete;

    // Renders frame number index (from 0, of total; total -1 when unknown)
    // at time ms: in goes into the first source, out gets the last result
    // with the alpha of in.
    void render(const fxhost::Frame& in, fxhost::Frame& out, int64_t index, int64_t total, uint32_t time);

private:
    struct Stage;
    std::vector<std::unique_ptr<Stage>> stages_;
    fxhost::HostSurface input_;
    bool inPlace_;
    bool first_ = true;
};

}  // namespace fxtool
