// The tables that steer the comparison; later work extends them.
#pragma once

#include <cstdint>
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

// A speed goal: the effect at this format within maxTimesMemcpy times the
// memcpy of a frame of the same depth.
struct SpeedTarget {
    const char* effect;
    int32_t format;
    double maxTimesMemcpy;
};
extern const std::vector<SpeedTarget> kSpeedTargets;

}  // namespace bench
