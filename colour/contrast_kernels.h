// Pixel loops of the contrast effect.
#pragma once

#include <cstdint>

#include "colour/contrast_curve.h"
#include "render/pixel_rows.h"
#include "render/simd_level.h"

// Entries of a delta table as the loops read it: 766 values and spares,
// since a vector gather reads two bytes past the entry it wants.
constexpr int kDeltaTableEntries = 768;

// 32-bit xRGB rows: each channel plus the delta of the pixel's luminance,
// clamped; top byte 0; then XORed with xorMask.
void ApplyLuminanceDeltas(const PixelRows& rows, const int16_t* deltas, uint32_t xorMask,
                          SimdLevel level = MachineSimdLevel());

inline uint32_t LuminanceDeltaPixel(uint32_t p, const int16_t* deltas) {
    const uint32_t r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
    const int16_t d = deltas[PixelLuminance(r, g, b)];
    return ClampChannel(r, d) << 16 | ClampChannel(g, d) << 8 | ClampChannel(b, d);
}

// 16-bit rows: every word through a 65536-entry table, then XORed with xorMask.
void LookUpWords16(const PixelRows& rows, const uint16_t* table, uint16_t xorMask);
// The same for a table that BuildPixelTable16 made from deltas for format 1
// or 2: the vector loops work from the deltas instead.
void ApplyLuminance16(const PixelRows& rows, const uint16_t* table, const int16_t* deltas, int32_t format,
                      uint16_t xorMask, SimdLevel level = MachineSimdLevel());
