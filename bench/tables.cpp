#include "bench/tables.h"

#include "render/surface.h"

namespace bench {

const std::vector<PeerFilter> kPeerFilters = {
    {"posterize", {}},
    {"brightness", {{"Brightness", 0.6}}},
    {"contrast0r", {{"Contrast", 0.6}}},
    {"hueshift0r", {{"Hue", 0.25}}},
    {"baltan", {}},
    // A different amount on each channel, in the last adjustment mode and
    // without the luma correction, so every channel is recomputed.
    {"coloradj_RGB", {{"R", 0.7}, {"G", 0.5}, {"B", 0.3}, {"Action", 1.0}, {"Keep luma", 0.0}}},
    {"saturat0r", {{"Saturation", 0.25}}},
    {"invert0r", {}},
};

const std::vector<EffectPeers> kEffectPeers = {
    {"Brightness Contrast", {"brightness", "contrast0r"}},
    {"Brightness Contrast Inverse", {"brightness", "contrast0r"}},
    {"Brightness Contrast XT", {"contrast0r", "brightness"}},
    {"Contrast Brightness XT Inverse", {"contrast0r", "brightness"}},
    {"RGBControl", {"coloradj_RGB"}},
    {"RGBControl Inverse", {"coloradj_RGB"}},
    {"Posterize", {"posterize"}},
    {"Posterize Smooth", {"posterize"}},
    {"Posterize Hue", {"hueshift0r"}},
    {"Posterize Hue Smooth", {"hueshift0r"}},
    {"MotionBlur", {"baltan"}},
};

const std::vector<SpeedTarget> kSpeedTargets = {
    {"RGBControl", kFormatXrgb, 4.0},
    {"Brightness Contrast", kFormatXrgb, 8.0},
};

}  // namespace bench
