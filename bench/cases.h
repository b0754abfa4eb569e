// Registration of the benchmark cases: memcpy baselines, the module's
// effects, their first frames and frei0r peers, all on the same 1920x1080
// frame.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/frei0r_filter.h"
#include "host/module_loader.h"

class CRenderInterface;

namespace bench {

void RegisterMemcpyCases();
// memcpy at every size of the size sweep and at the fixed-cost size.
void RegisterMemcpySizeCases();
// A memcpy of one frame timed outside the library, for summaries of runs
// that filtered the baseline cases out.
double MeasureMemcpyMs(int bytesPerPixel);

struct EffectCase {
    std::string name;
    int32_t format;
    std::array<int32_t, 4> params;
};

// The effects the module makes, at 32 bits and 5-6-5 (each tried on a small
// surface first). Lists in notMade the names it makes at neither depth, and
// "name (depth)" for those made at one only.
std::vector<EffectCase> FindEffectCases(const fxhost::EffectModule& module, std::vector<std::string>& notMade);
// A case for each of effects at the frame size, and for each value of its
// parameter sweeps.
void RegisterEffectCases(const fxhost::EffectModule& module, const std::vector<EffectCase>& effects);

// The size sweep: a case for each effect of effects (as RegisterEffectCases
// made them) at every size of kSweepSizes and at kFixedCostSize.
void RegisterSizeCases(const fxhost::EffectModule& module, const std::vector<EffectCase>& effects);

// Registers a first-frame case for each of effects. Each iteration times the
// first render of a new instance in a freshly loaded copy of the module; the
// copies stay mapped, so the cases run a few iterations only.
std::vector<EffectCase> RegisterFirstFrameCases(const std::vector<EffectCase>& effects);

// A case for an instance that no factory row makes, timed in-process: build
// makes it against the card and a frame-sized destination of this format
// (g_frame and the blit service set first); null skips the case.
using InProcessBuild = std::function<CRenderInterface*()>;
EffectCase RegisterInProcessCase(const std::string& effect, int32_t format, InProcessBuild build);

// The quantise route of the table-driven colour class, in-process, at 32
// bits and 5-6-5, named kQuantiseCase among the effects.
constexpr const char* kQuantiseCase = "Quantise route (all lookups)";
std::vector<EffectCase> RegisterQuantiseCases();

// The ascii art's kernel families, in-process: cells copied by the module
// or blitted by the host, glyphs chosen by brightness or by colour.
struct AsciiCase {
    const char* name;
    bool blit;
    bool colour;
};
extern const std::vector<AsciiCase> kAsciiCases;
std::vector<EffectCase> RegisterAsciiCases();

struct PeerNote {
    std::string plugin;
    std::string note;
};

// Loads the peer filters of the table and registers a case for each one
// found. The filters go into loaded and must outlive the run; the ones
// missing are described in notes.
void RegisterPeerCases(std::vector<std::unique_ptr<Frei0rFilter>>& loaded, std::vector<PeerNote>& notes);
// This build's frei0r plugins over the same frames as the peers, with their
// defaults: what a frei0r host pays for an effect, the bridge included.
void RegisterBridgeCases(std::vector<std::unique_ptr<Frei0rFilter>>& loaded, std::vector<PeerNote>& notes);

}  // namespace bench
