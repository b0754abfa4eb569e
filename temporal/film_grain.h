// The old movie's grey kernels: every pixel's brightness, moved by the
// frame's flicker and a per-pixel grain, picks an entry of a ramp in the
// surface's own pixel format. The grain comes from a table of random words
// walked by two cursors that run on from pixel to pixel and frame to frame.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/simd_level.h"

constexpr int32_t kRandomTableSize = 2048;

struct RandomTable {
    uint32_t cursorA;
    uint32_t cursorB;
    uint32_t values[kRandomTableSize];
};

// Ramp sizes: a 16-bit brightness indexes 256 entries, a 32-bit one 1024.
// The 16-bit ramp is followed by one spare entry so that a vector may read
// its entries as 32-bit words.
constexpr int32_t kRamp16Entries = 256;
constexpr int32_t kRamp16Storage = kRamp16Entries + 2;
constexpr int32_t kRamp32Entries = 1024;

// Brightness of a pixel, weighting red, green and blue 1, 2 and 1.
constexpr int32_t Brightness555(uint32_t p) {
    return static_cast<int32_t>(((p >> 4) & 0x3E) + ((p >> 10) & 31) + (p & 31));
}
constexpr int32_t Brightness565(uint32_t p) {
    return static_cast<int32_t>(((p >> 5) & 63) + ((p >> 11) & 31) + (p & 31));
}
constexpr int32_t Brightness32(uint32_t p) {
    return static_cast<int32_t>((((p >> 7) & 0x1FE) + ((p >> 16) & 255) + (p & 255)) >> 1);
}

// One step of the grain: moves both cursors and returns the table word,
// shifted, as a signed 16-bit value shifted right by shift.
inline int32_t NextGrain(RandomTable& t, int shift) {
    t.cursorB += 1;
    const uint32_t r = t.values[t.cursorB & (kRandomTableSize - 1)];
    t.cursorA += r & 7;
    const uint32_t n = t.values[t.cursorA & (kRandomTableSize - 1)] >> ((r >> 5) & 15);
    return static_cast<int16_t>(n) >> shift;
}

// rows.src to rows.dst through the ramp, with flicker added to every
// brightness and, when grain is not null, the grain too (12 bits down in
// 16-bit pixels, 10 in 32-bit ones).
void GreyMap555(const PixelRows& rows, const uint16_t* ramp, int32_t flicker, RandomTable* grain,
                SimdLevel level = MachineSimdLevel());
void GreyMap565(const PixelRows& rows, const uint16_t* ramp, int32_t flicker, RandomTable* grain,
                SimdLevel level = MachineSimdLevel());
void GreyMap32(const PixelRows& rows, const uint32_t* ramp, int32_t flicker, RandomTable* grain,
               SimdLevel level = MachineSimdLevel());
// Each byte of rows.src, complemented, to rows.dst (rows.width bytes a row).
void InvertBytes(const PixelRows& rows, SimdLevel level = MachineSimdLevel());
