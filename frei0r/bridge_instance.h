// One frei0r instance: an effect instance of the module and the surfaces
// it draws between, made once for the frame size the host gave.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "frei0r/plugin_facts.h"
#include "frei0r/time_unit.h"
#include "host/module_loader.h"

namespace fxbridge {

// A frei0r value in 0..1 as the module's 0..255: clamped, then rounded to
// the nearest step, halves up, so that k/255 gives k. Not a number gives 0.
int32_t ModuleValue(double value);

class BridgeInstance {
public:
    // Throws fxhost::HostError when the module refuses the effect.
    BridgeInstance(const fxhost::EffectModule& module, const PluginFacts& facts, int width, int height);
    ~BridgeInstance();
    BridgeInstance(const BridgeInstance&) = delete;
    BridgeInstance& operator=(const BridgeInstance&) = delete;

    void setParam(int index, double value);
    double param(int index) const { return values_[index]; }

    // Draws in into out, both width x height contiguous BGRA words; in and
    // out may be the same frame. The caller holds the module's lock.
    void update(uint32_t time, const uint32_t* in, uint32_t* out);

    // The unit of the host's times, found at the first frame.
    bool unitKnown = false;
    TimeUnit unit = TimeUnit::kSeconds;

private:
    Surface surfaceOver(uint32_t* pixels) const;

    const PluginFacts& facts_;
    const EffectApi& api_;
    int width_, height_;
    std::array<double, 4> values_{};
    // The source record points at the host's input frame while a frame is
    // drawn; it is the copy below only when the host draws a frame onto
    // itself.
    std::vector<uint32_t> inputCopy_;
    // An effect that may leave pixels alone or read what it drew before
    // draws into a picture of its own that lasts from frame to frame, as a
    // host's destination does; the others draw straight into the host's
    // output frame.
    std::vector<uint32_t> kept_;
    Surface source_{};
    Surface destination_{};
    CRenderInterface* effect_ = nullptr;
    bool first_ = true;
};

}  // namespace fxbridge
