// The three-point brightness curve of the contrast effect: levels from the
// host's values, the luminance correction, the per-channel level and the
// whole-pixel tables of the 16-bit formats.
#pragma once

#include <cstdint>

#include "render/surface.h"

// Low, middle and high control points on the luminance scale of the
// destination's depth.
struct ContrastLevels {
    int32_t low;
    int32_t mid;
    int32_t high;
    bool operator==(const ContrastLevels&) const = default;
};

// Luminance scales: 765 is the top at 8 bits a channel, 744 at 5 bits
// expanded without their low bits, 255 a single channel.
constexpr float kScaleLuminance32 = 6.023622f;
constexpr float kScaleLuminance16 = 5.858268f;
constexpr float kScaleChannel = 2.007874f;

// Levels from values on the 0 to 127 scale. A high below the low makes both
// their mean: a hard threshold.
ContrastLevels ComputeContrastLevels(int32_t low, int32_t mid, int32_t high, float scale);

// The signed change of every channel that moves luminance y onto the curve:
// straight from (low, 0) through (mid, 382.5) to (high, 765), far out of range
// below low and above high. Black stays black.
int32_t LuminanceDelta(uint32_t y, const ContrastLevels& levels);
// The same curve for one channel on the 0 to 255 scale.
int32_t ChannelLevel(uint32_t v, const ContrastLevels& levels);

// The 32-bit luminance of a pixel's channels: weights 1, 1.5 and 0.5, 0 to 765.
inline uint32_t PixelLuminance(uint32_t r, uint32_t g, uint32_t b) { return r + g + (g >> 1) + (b >> 1); }

// A channel plus its delta in signed 16 bits, clamped to a byte.
inline uint32_t ClampChannel(uint32_t c, int16_t d) {
    const auto s = static_cast<int16_t>(static_cast<uint16_t>(c + static_cast<uint16_t>(d)));
    return s < 0 ? 0u : s > 255 ? 255u : static_cast<uint32_t>(s);
}

// The 766-entry correction table of the 32-bit luminance mode.
void BuildDeltaTable(const ContrastLevels& levels, int16_t deltas[766]);

// A 16-bit word of format 1 (5-5-5) or 2 (5-6-5) through the deltas: fields
// expanded by 8 without low bits, corrected, and put back. Bit 15 of 5-5-5
// and the lowest green bit of 5-6-5 come out 0.
inline uint32_t Luminance16Pixel(uint32_t w, const int16_t* deltas, int32_t format) {
    const FieldShifts16 at = Shifts16(format);
    const uint32_t r = ((w >> at.red) & 31) * 8, g = ((w >> at.green) & 31) * 8, b = (w & 31) * 8;
    const int16_t d = deltas[PixelLuminance(r, g, b)];
    return ((ClampChannel(r, d) >> 3) << at.red) + ((ClampChannel(g, d) >> 3) << at.green) + (ClampChannel(b, d) >> 3);
}

// The whole-word table of a 16-bit format: each word through the deltas of
// the luminance mode or, without them, each field through levelTable.
void BuildPixelTable16(int32_t format, const int16_t* deltas, const uint8_t* levelTable, uint16_t table[65536]);
