// Pixel loops of the contrast effect.
#pragma once

#include <cstdint>

#include "colour/contrast_curve.h"
#include "render/pixel_rows.h"
#include "render/simd_level.h"

// Entries of a delta table as the loops read it: 766 values and spares,
// since a vector gather reads two bytes past the entry it wants.
constexpr int kDeltaTableEntries = 768;

// Which bounds the deltas of a form can reach: a curve that only brightens or
// darkens needs one of them, a flat one none. fits is false when a channel
// plus some delta can pass 32767, which only the general loops handle.
struct DeltaReach {
    bool fits, raise, lower;
};

// The deltas of one curve and the forms the vector loops read, made once when
// the curve changes.
struct LuminanceTables {
    alignas(64) int16_t deltas[kDeltaTableEntries];  // by luminance; spares 0
    // 32 bits: the clamped positive and negative part of each delta, in six
    // blocks of 128 bytes.
    alignas(64) uint8_t raise[768];
    alignas(64) uint8_t lower[768];
    // 32 bits without vectors: each delta kept to -255..255 and raised by
    // 255, where a channel's result is read from a clamp table.
    alignas(64) uint16_t clampFrom[768];
    DeltaReach reach32;
    // 16 bits: the deltas of the 187 luminances 4k that 5-bit fields reach,
    // shifted right 3 and kept to -32..32, beyond which every field clamps the
    // same; biased by 32 when some are negative.
    alignas(64) uint8_t fieldDeltas[192];
    DeltaReach reach16;
};

// Fills everything but deltas from deltas.
void PrepareLuminanceTables(LuminanceTables& t);

// 32-bit xRGB rows: each channel plus the delta of the pixel's luminance,
// clamped; top byte 0; then XORed with xorMask.
void ApplyLuminanceDeltas(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask,
                          SimdLevel level = MachineSimdLevel());

inline uint32_t LuminanceDeltaPixel(uint32_t p, const int16_t* deltas) {
    const uint32_t r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
    const int16_t d = deltas[PixelLuminance(r, g, b)];
    return ClampChannel(r, d) << 16 | ClampChannel(g, d) << 8 | ClampChannel(b, d);
}

// 16-bit rows: every word through a 65536-entry table, then XORed with xorMask.
void LookUpWords16(const PixelRows& rows, const uint16_t* table, uint16_t xorMask);
// The same for a table that BuildPixelTable16 made from t.deltas for format 1
// or 2: the vector loops work from the deltas instead.
void ApplyLuminance16(const PixelRows& rows, const uint16_t* table, const LuminanceTables& t, int32_t format,
                      uint16_t xorMask, SimdLevel level = MachineSimdLevel());
// Whether ApplyLuminance16 reads the table at this level and format; when
// it does not, the table need not be made.
bool Luminance16ReadsTable(const LuminanceTables& t, int32_t format, SimdLevel level = MachineSimdLevel());
