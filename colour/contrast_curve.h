// The three-point brightness curve of the contrast effect: levels from the
// host's values, the luminance correction, the per-channel level and the
// whole-pixel tables of the 16-bit formats.
#pragma once

#include <cstdint>

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

// Every 16-bit word through the curve, for format 1 (5-5-5) or 2 (5-6-5):
// fields expanded by 8 without low bits, corrected by luminance or, without
// it, each through levelTable, and put back. Bit 15 of 5-5-5 and the lowest
// green bit of 5-6-5 are 0 in every entry.
void BuildPixelTable16(int32_t format, const ContrastLevels& levels, bool luminance, const uint8_t* levelTable,
                       uint16_t table[65536]);
