#include "bench/tables.h"

#include "bench/cases.h"
#include "bench/frames.h"

#include "render/surface.h"

namespace bench {

namespace {
// Geometric remaps, the nearest the frei0r filters come to a kaleidoscope.
const std::vector<const char*> kRemaps = {"scale0tilt", "perspective", "distort0r"};
}  // namespace

const std::vector<PeerFilter> kPeerFilters = {
    {"posterize", {}},
    {"brightness", {{"Brightness", 0.6}}},
    {"contrast0r", {{"Contrast", 0.6}}},
    {"hueshift0r", {{"Hue", 0.25}}},
    {"baltan", {}},
    // Each frame comes out four frames (0.16 s at 25 a second) late: every
    // frame is stored and an old one handed back, as a frame history does.
    {"delay0r", {{"DelayTime", 0.16}}},
    // Moderate noise, its default, drawn for every channel of every pixel.
    {"rgbnoise", {{"noise", 0.2}}},
    // A visible vignette: the middle left clear, the rest darkened softly
    // towards the edges.
    {"vignette", {{"clearCenter", 0.2}, {"soft", 0.6}}},
    // A different amount on each channel, in the last adjustment mode and
    // without the luma correction, so every channel is recomputed.
    {"coloradj_RGB", {{"R", 0.7}, {"G", 0.5}, {"B", 0.3}, {"Action", 1.0}, {"Keep luma", 0.0}}},
    {"saturat0r", {{"Saturation", 0.25}}},
    {"invert0r", {}},
    // Levels on luma with the input range narrowed, as a three-point curve does.
    {"levels", {{"Channel", 0.3}, {"Input black level", 0.1}, {"Input white level", 0.8}, {"Show histogram", 0.0}}},
    // Enlarged by a fifth: every output pixel is resampled.
    {"scale0tilt", {{"Scale X", 0.6}, {"Scale Y", 0.6}}},
    // A keystone: the top corners pulled in by a tenth of the width.
    {"perspective", {{"Top Left", 0.1, 0.0}, {"Top Right", 0.9, 0.0}}},
    // A moderate plasma ripple over the whole frame.
    {"distort0r", {{"Amplitude", 0.5}, {"Frequency", 0.01}}},
    // Square blocks filled with their average, at its default size: a cell
    // filter with far less work per cell than the ascii art.
    {"pixeliz0r", {}},
    // The frame turned about its centre, a little on both the X and the Y
    // axis (0.5 is no turn): every output pixel is remapped, as on a box face.
    {"3dflippo",
     {{"X axis rotation", 0.55}, {"Y axis rotation", 0.55}, {"Center position (X)", 0.5},
      {"Center position (Y)", 0.5}}},
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
    {"MotionBlur", {"baltan", "delay0r"}},
    {"OldMovieClean", {"rgbnoise", "vignette"}},
    {"OldMovieDirty", {"rgbnoise", "vignette"}},
    {"Cube3D", {"perspective", "3dflippo"}},
    {"Cube3DConstant", {"perspective", "3dflippo"}},
    {"Ascii copy, brightness (in-process)", {"pixeliz0r"}},
    {"Ascii copy, colour (in-process)", {"pixeliz0r"}},
    {"Ascii blit, brightness (in-process)", {"pixeliz0r"}},
    {"Ascii blit, colour (in-process)", {"pixeliz0r"}},
    {"Triangle Kaleido", kRemaps},
    {"Cyclic Triangle Kaleido", kRemaps},
    {"Square Kaleido", kRemaps},
    {"Square Kaleido Cyclic", kRemaps},
    {"Hexagon Kaleido", kRemaps},
    {"Hexagon Kaleido Cyclic", kRemaps},
    {"Lozenge Kaleido", kRemaps},
    {"Lozenge Kaleido Cyclic", kRemaps},
};

namespace {
constexpr PeerLimit kFasterThanPosterize{"posterize", Bound::kBelow, 1.0};
constexpr PeerLimit kHalfOfHueshift{"hueshift0r", Bound::kAtMost, 0.5};
constexpr PeerLimit kFasterThanContrast0r{"contrast0r", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanLevels{"levels", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanBrightness{"brightness", Bound::kBelow, 1.0};
constexpr PeerLimit kFasterThanHueshift{"hueshift0r", Bound::kBelow, 1.0};
const std::vector<PeerLimit> kFasterThanRemaps = {
    {"scale0tilt", Bound::kBelow, 1.0}, {"perspective", Bound::kBelow, 1.0}, {"distort0r", Bound::kBelow, 1.0}};
const std::vector<PeerLimit> kFasterThanFrameDelays = {{"baltan", Bound::kBelow, 1.0}, {"delay0r", Bound::kBelow, 1.0}};
const std::vector<PeerLimit> kFasterThanNoiseAndVignette = {{"rgbnoise", Bound::kBelow, 1.0},
                                                            {"vignette", Bound::kBelow, 1.0}};
const std::vector<PeerLimit> kFasterThanPixelizor = {{"pixeliz0r", Bound::kBelow, 1.0}};
const std::vector<PeerLimit> kFasterThanPlaneTurns = {{"perspective", Bound::kBelow, 1.0},
                                                      {"3dflippo", Bound::kBelow, 1.0}};
}  // namespace

// Effect, format, x memcpy, then the peer limits and the twin when there are.
const std::vector<SpeedTarget> kSpeedTargets = {
    {"RGBControl", kFormatXrgb, 4.0},
    {"Brightness Contrast", kFormatXrgb, 8.0},

    {"Solarize", kFormatXrgb, 8.0, {kFasterThanPosterize}},
    {"Inverse Solarize", kFormatXrgb, 8.0, {kFasterThanPosterize}},
    {"Posterize", kFormatXrgb, 8.0, {kFasterThanPosterize}},
    {"Saturate Quantize", kFormatXrgb, 8.0, {kFasterThanPosterize}},
    // At 16 bits each channel goes through its own table: a pass near memcpy.
    {"Solarize", kFormat565, 1.5, {kFasterThanPosterize}},
    {"Inverse Solarize", kFormat565, 1.5, {kFasterThanPosterize}},
    {"Posterize", kFormat565, 1.5, {kFasterThanPosterize}},
    {"Saturate Quantize", kFormat565, 1.5, {kFasterThanPosterize}},
    // One lookup a pixel in a table of every colour, kept between frames.
    {"Posterize Hue", kFormatXrgb, 2.5, {kHalfOfHueshift}},
    {"Tinta Special FX", kFormatXrgb, 2.5, {kHalfOfHueshift}},
    {"Posterize Hue", kFormat565, 4.0, {kHalfOfHueshift}},
    {"Tinta Special FX", kFormat565, 4.0, {kHalfOfHueshift}},
    {kQuantiseCase, kFormatXrgb, 2.5},
    {kQuantiseCase, kFormat565, 2.5},

    // One pass through a small table: near memcpy, and ahead of the peers.
    {"Brightness Contrast XT", kFormatXrgb, 2.0, {kFasterThanContrast0r, kFasterThanLevels}},
    {"Brightness Contrast XT", kFormat565, 2.0, {kFasterThanContrast0r, kFasterThanLevels}},
    {"Contrast Brightness XT Inverse", kFormatXrgb, 2.0},
    {"Contrast Brightness XT Inverse", kFormat565, 2.0},
    {"CONTRAST_BRIGHTNESS old", kFormatXrgb, 2.0},
    {"CONTRAST_BRIGHTNESS old", kFormat565, 2.0},
    {"Stroboscope", kFormatXrgb, 2.0, {kFasterThanBrightness}},
    {"RGB Cycling Slow", kFormatXrgb, 3.0, {kFasterThanHueshift}},
    {"RGB Cycling Slow", kFormat565, 3.0, {kFasterThanHueshift}},
    {"RGB Cycling Fast", kFormatXrgb, 3.0, {kFasterThanHueshift}},
    {"RGB Cycling Fast", kFormat565, 3.0, {kFasterThanHueshift}},

    // The smoothing pass costs at most this many memcpys over the plain twin.
    {"Solarize Smooth", kFormatXrgb, 1.5, {}, "Solarize"},
    {"Inverse Solarize Smooth", kFormatXrgb, 1.5, {}, "Inverse Solarize"},
    {"Posterize Smooth", kFormatXrgb, 1.5, {}, "Posterize"},
    {"Saturate Quantize Smooth", kFormatXrgb, 1.5, {}, "Saturate Quantize"},
    {"Posterize Hue Smooth", kFormatXrgb, 1.5, {}, "Posterize Hue"},
    {"Tinta Special FX Smooth", kFormatXrgb, 1.5, {}, "Tinta Special FX"},
    {"Solarize Smooth", kFormat565, 1.5, {}, "Solarize"},
    {"Inverse Solarize Smooth", kFormat565, 1.5, {}, "Inverse Solarize"},
    {"Posterize Smooth", kFormat565, 1.5, {}, "Posterize"},
    {"Saturate Quantize Smooth", kFormat565, 1.5, {}, "Saturate Quantize"},
    {"Posterize Hue Smooth", kFormat565, 1.5, {}, "Posterize Hue"},
    {"Tinta Special FX Smooth", kFormat565, 1.5, {}, "Tinta Special FX"},

    // At their defaults: near memcpy, and ahead of every geometric remap.
    {"Triangle Kaleido", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Triangle Kaleido", kFormat565, 2.0, kFasterThanRemaps},
    {"Cyclic Triangle Kaleido", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Cyclic Triangle Kaleido", kFormat565, 2.0, kFasterThanRemaps},
    {"Square Kaleido", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Square Kaleido", kFormat565, 2.0, kFasterThanRemaps},
    {"Square Kaleido Cyclic", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Square Kaleido Cyclic", kFormat565, 2.0, kFasterThanRemaps},
    {"Hexagon Kaleido", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Hexagon Kaleido", kFormat565, 2.0, kFasterThanRemaps},
    {"Hexagon Kaleido Cyclic", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Hexagon Kaleido Cyclic", kFormat565, 2.0, kFasterThanRemaps},
    {"Lozenge Kaleido", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Lozenge Kaleido", kFormat565, 2.0, kFasterThanRemaps},
    {"Lozenge Kaleido Cyclic", kFormatXrgb, 2.0, kFasterThanRemaps},
    {"Lozenge Kaleido Cyclic", kFormat565, 2.0, kFasterThanRemaps},

    // One or two passes over the frame: near memcpy, and ahead of the peers.
    {"MotionBlur", kFormatXrgb, 3.0, kFasterThanFrameDelays},
    {"MotionBlur", kFormat565, 3.0, kFasterThanFrameDelays},
    {"OldMovieClean", kFormatXrgb, 3.0, kFasterThanNoiseAndVignette},
    {"OldMovieClean", kFormat565, 3.0, kFasterThanNoiseAndVignette},
    {"OldMovieDirty", kFormatXrgb, 3.0, kFasterThanNoiseAndVignette},
    {"OldMovieDirty", kFormat565, 3.0, kFasterThanNoiseAndVignette},
    // The spinning box; and the other cube once it has flown in, a frame copy.
    {"Cube3DConstant", kFormatXrgb, 3.0, kFasterThanPlaneTurns},
    {"Cube3DConstant", kFormat565, 3.0, kFasterThanPlaneTurns},
    {"Cube3D", kFormatXrgb, 1.5, kFasterThanPlaneTurns},
    {"Cube3D", kFormat565, 1.5, kFasterThanPlaneTurns},
    // Every kernel family, the host's blits included.
    {"Ascii copy, brightness (in-process)", kFormatXrgb, 3.0, kFasterThanPixelizor},
    {"Ascii copy, brightness (in-process)", kFormat565, 3.0, kFasterThanPixelizor},
    {"Ascii copy, colour (in-process)", kFormatXrgb, 3.0, kFasterThanPixelizor},
    {"Ascii copy, colour (in-process)", kFormat565, 3.0, kFasterThanPixelizor},
    {"Ascii blit, brightness (in-process)", kFormatXrgb, 3.0, kFasterThanPixelizor},
    {"Ascii blit, brightness (in-process)", kFormat565, 3.0, kFasterThanPixelizor},
    {"Ascii blit, colour (in-process)", kFormatXrgb, 3.0, kFasterThanPixelizor},
    {"Ascii blit, colour (in-process)", kFormat565, 3.0, kFasterThanPixelizor},
};

namespace {
// The grid (slot 1) sets the tile size, and the cost per frame with it. The
// values take in the slowest seen: the top of the range for most shapes, near
// 176 for the lozenge at 32 bits. The cyclic kaleidoscopes move through the
// grid's range with time, which their ordinary cases cover.
const std::vector<int32_t> kGridValues = {0, 64, 128, 176, 224, 255};
constexpr int kGridSlot = 1;
constexpr double kWorstGridTimesMemcpy = 2.5;
}  // namespace

const std::vector<ParamSweep> kParamSweeps = {
    {"Triangle Kaleido", kGridSlot, "Grid", kGridValues, kWorstGridTimesMemcpy},
    {"Square Kaleido", kGridSlot, "Grid", kGridValues, kWorstGridTimesMemcpy},
    {"Hexagon Kaleido", kGridSlot, "Grid", kGridValues, kWorstGridTimesMemcpy},
    {"Lozenge Kaleido", kGridSlot, "Grid", kGridValues, kWorstGridTimesMemcpy},
};

const std::vector<CaseTime> kCaseTimes = {
    // They draw at most 15 frames a second of module time and draw nothing
    // in between: a frame every 100 ms, and every timed frame draws. The first
    // frame, which may count from the creation, is rendered before timing.
    {"OldMovieClean", 100, 100},
    {"OldMovieDirty", 100, 100},
    // It flies in over the first 2 s after its creation and is a frame copy
    // afterwards, as it stays: timed from 3 s on.
    {"Cube3D", kFrameStepMs, 3000},
    // It spins for ever, and its cost follows the box's angles: a turn takes
    // 30 s, a pitch 15 s. The timed frames are 100 at 300 ms apart, every
    // 3.6 degrees of one whole turn, whatever count the library would pick.
    {"Cube3DConstant", 300, 0, 30000},
};

CaseTime CaseTimeFor(const std::string& effect) {
    for (const CaseTime& entry : kCaseTimes)
        if (effect == entry.effect) return entry;
    return {nullptr, kFrameStepMs};
}

}  // namespace bench
