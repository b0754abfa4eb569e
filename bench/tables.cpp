#include "bench/tables.h"

#include "bench/cases.h"

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
    // Levels on luma with the input range narrowed, as a three-point curve does.
    {"levels", {{"Channel", 0.3}, {"Input black level", 0.1}, {"Input white level", 0.8}, {"Show histogram", 0.0}}},
};

const std::vector<EffectPeers> kEffectPeers = {
    {"Brightness Contrast", {"brightness", "contrast0r"}},
    {"Brightness Contrast Inverse", {"brightness", "contrast0r"}},
    {"Brightness Contrast XT", {"contrast0r", "levels", "brightness"}},
    {"Contrast Brightness XT Inverse", {"contrast0r", "levels", "brightness"}},
    {"CONTRAST_BRIGHTNESS old", {"contrast0r", "levels"}},
    {"Contrast_Bright_Invert old", {"contrast0r", "levels"}},
    {"Stroboscope", {"brightness"}},
    {"RGB Cycling Slow", {"hueshift0r"}},
    {"RGB Cycling Fast", {"hueshift0r"}},
    {"RGBControl", {"coloradj_RGB"}},
    {"RGBControl Inverse", {"coloradj_RGB"}},
    {"Solarize", {"posterize"}},
    {"Solarize Smooth", {"posterize"}},
    {"Inverse Solarize", {"posterize"}},
    {"Inverse Solarize Smooth", {"posterize"}},
    {"Posterize", {"posterize"}},
    {"Posterize Smooth", {"posterize"}},
    {"Saturate Quantize", {"posterize"}},
    {"Saturate Quantize Smooth", {"posterize"}},
    {"Posterize Hue", {"hueshift0r"}},
    {"Posterize Hue Smooth", {"hueshift0r"}},
    {"Tinta Special FX", {"hueshift0r"}},
    {"Tinta Special FX Smooth", {"hueshift0r"}},
    {"MotionBlur", {"baltan"}},
};

namespace {
constexpr PeerLimit kFasterThanPosterize{"posterize", Bound::kBelow, 1.0};
constexpr PeerLimit kHalfOfHueshift{"hueshift0r", Bound::kAtMost, 0.5};
constexpr PeerLimit kFasterThanContrast0r{"contrast0r", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanLevels{"levels", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanBrightness{"brightness", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanHueshift{"hueshift0r", Bound::kBelow, 1.0};
}  // namespace

// Effect, format, x memcpy, then the peer limit and the twin when there are.
const std::vector<SpeedTarget> kSpeedTargets = {
    {"RGBControl", kFormatXrgb, 4.0},
    {"Brightness Contrast", kFormatXrgb, 8.0},

    {"Solarize", kFormatXrgb, 8.0, kFasterThanPosterize},
    {"Inverse Solarize", kFormatXrgb, 8.0, kFasterThanPosterize},
    {"Posterize", kFormatXrgb, 8.0, kFasterThanPosterize},
    {"Saturate Quantize", kFormatXrgb, 8.0, kFasterThanPosterize},
    {"Posterize Hue", kFormatXrgb, 12.0, kHalfOfHueshift},
    {"Tinta Special FX", kFormatXrgb, 12.0, kHalfOfHueshift},
    {kQuantiseCase, kFormatXrgb, 8.0},

    // One pass through a small table: near memcpy, and ahead of the peers.
    {"Brightness Contrast XT", kFormatXrgb, 2.0, kFasterThanContrast0r},
    {"Brightness Contrast XT", kFormatXrgb, 2.0, kFasterThanLevels},
    {"Brightness Contrast XT", kFormat565, 2.0, kFasterThanContrast0r},
    {"Brightness Contrast XT", kFormat565, 2.0, kFasterThanLevels},
    {"Contrast Brightness XT Inverse", kFormatXrgb, 2.0},
    {"Contrast Brightness XT Inverse", kFormat565, 2.0},
    {"CONTRAST_BRIGHTNESS old", kFormatXrgb, 2.0},
    {"CONTRAST_BRIGHTNESS old", kFormat565, 2.0},
    {"Stroboscope", kFormatXrgb, 2.0, kFasterThanBrightness},
    {"RGB Cycling Slow", kFormatXrgb, 3.0, kFasterThanHueshift},
    {"RGB Cycling Slow", kFormat565, 3.0, kFasterThanHueshift},
    {"RGB Cycling Fast", kFormatXrgb, 3.0, kFasterThanHueshift},
    {"RGB Cycling Fast", kFormat565, 3.0, kFasterThanHueshift},

    // The smoothing pass costs at most this many memcpys over the plain twin.
    {"Solarize Smooth", kFormatXrgb, 10.0, {}, "Solarize"},
    {"Inverse Solarize Smooth", kFormatXrgb, 10.0, {}, "Inverse Solarize"},
    {"Posterize Smooth", kFormatXrgb, 10.0, {}, "Posterize"},
    {"Saturate Quantize Smooth", kFormatXrgb, 10.0, {}, "Saturate Quantize"},
    {"Posterize Hue Smooth", kFormatXrgb, 10.0, {}, "Posterize Hue"},
    {"Tinta Special FX Smooth", kFormatXrgb, 10.0, {}, "Tinta Special FX"},
    {"Solarize Smooth", kFormat565, 10.0, {}, "Solarize"},
    {"Inverse Solarize Smooth", kFormat565, 10.0, {}, "Inverse Solarize"},
    {"Posterize Smooth", kFormat565, 10.0, {}, "Posterize"},
    {"Saturate Quantize Smooth", kFormat565, 10.0, {}, "Saturate Quantize"},
    {"Posterize Hue Smooth", kFormat565, 10.0, {}, "Posterize Hue"},
    {"Tinta Special FX Smooth", kFormat565, 10.0, {}, "Tinta Special FX"},
};

const std::vector<const char*> kFirstFrameEffects = {"Posterize Hue", "Tinta Special FX"};

}  // namespace bench
