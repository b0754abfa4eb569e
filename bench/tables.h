// The tables that steer the comparison; later work extends them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/frei0r_filter.h"

namespace bench {

// A frei0r filter timed as a peer, with the settings that make it do
// ordinary work rather than pass the frame through.
struct PeerFilter {
    const char* plugin;  // file name without ".so"
    std::vector<Frei0rSetting> settings;
};
extern const std::vector<PeerFilter> kPeerFilters;

// The peers an effect is set against in the summary.
struct EffectPeers {
    const char* effect;
    std::vector<const char*> plugins;
};
extern const std::vector<EffectPeers> kEffectPeers;

// How a ratio must compare with its limit.
enum class Bound { kBelow, kAtMost };

// A limit on the effect's time over a frei0r peer's.
struct PeerLimit {
    const char* plugin;
    Bound bound = Bound::kAtMost;
    double maxRatio = 0;
};

// A speed goal for the effect at this format. Its time must be within
// maxTimesMemcpy times the memcpy of a frame of the same depth or, when twin
// names another effect, within that effect's time at the same format plus
// maxTimesMemcpy memcpys. Its ratio to each peer's time must keep to that
// peer's limit as well.
struct SpeedTarget {
    const char* effect;
    int32_t format;
    double maxTimesMemcpy;
    std::vector<PeerLimit> peers = {};
    const char* twin = nullptr;
};
extern const std::vector<SpeedTarget> kSpeedTargets;

// An effect whose cost varies with one parameter, timed at each of values in
// that slot with the other slots at their defaults, at every depth it has an
// effect case at. The slowest value must be within maxTimesMemcpy memcpys of
// a frame of the same depth.
struct ParamSweep {
    const char* effect;
    int slot;
    const char* label;  // the parameter's name in case names and the summary
    std::vector<int32_t> values;
    double maxTimesMemcpy;
};
extern const std::vector<ParamSweep> kParamSweeps;

// How the case of an effect whose work depends on its time moves the time:
// it renders from 0 for warmUpMs of module time before timing, then steps
// stepMs a frame. With spanMs, the timed frames are a fixed count that spans
// that much module time; else the library picks the count. Every other case
// steps kFrameStepMs a frame from 0 with no warm-up.
struct CaseTime {
    const char* effect;
    uint32_t stepMs;
    uint32_t warmUpMs = 0;
    uint32_t spanMs = 0;
};
extern const std::vector<CaseTime> kCaseTimes;

// The entry of kCaseTimes for the effect, else the ordinary 40 ms a frame.
CaseTime CaseTimeFor(const std::string& effect);

}  // namespace bench
