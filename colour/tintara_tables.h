// The small per-frame tables of the table-driven colour effects. table8 maps
// an 8-bit channel, table5 a 5-bit channel or HSV field; table5 has a spare
// 33rd byte that the sine builder writes.
#pragma once

#include <cstdint>

constexpr int kTable8Size = 256;
constexpr int kTable5Size = 32;

enum class WaveCurve { kSine, kCosine };

// The curve over half the table, mirrored, then blended with the identity by
// the intensity a (1.0: the curve alone). The 32-entry sine mirror lands one
// place off, so its entry 16 keeps whatever it held and entry 32 is written.
void BuildWaveTable8(WaveCurve curve, float a, uint8_t table8[kTable8Size]);
void BuildWaveTable5(WaveCurve curve, float a, uint8_t table5[kTable5Size + 1]);

// Steps of a size that grows with the level v, the last few entries at top.
void BuildSteppedTable(int32_t v, int32_t size, uint8_t top, uint8_t* table);

// Bands of 63 (15 at 5 bits) raised by level; values wrap past a byte (or
// exceed 31) on purpose, and the brightest band is full.
void BuildSaturateTable8(int32_t level, uint8_t table8[kTable8Size]);
void BuildSaturateTable5(int32_t level5, uint8_t table5[kTable5Size]);

// Hue steps of 2^level - 1 for level 1..5; the top entries are 31.
void BuildHuePosterizeTable(int32_t level, uint8_t table5[kTable5Size]);
