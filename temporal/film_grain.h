// The old movie's grey kernels: every pixel's brightness, moved by the
// frame's flicker and a per-pixel grain, picks an entry of a ramp in the
// surface's own pixel format. The grain comes from a table of random words
// walked by two cursors that run on from pixel to pixel and frame to frame
// (GrainRows keeps it as rows of bytes).
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

class GrainRows;

// Ramp sizes: a 16-bit brightness indexes 256 entries, a 32-bit one 1024.
// The first half steps from dark to light (128 or 512 entries), the next
// quarter repeats the light end and the last the dark end, so that an
// overshooting or negative brightness, masked, clamps itself. The 16-bit
// table is followed by two spare entries.
constexpr int32_t kRamp16Entries = 256;
constexpr int32_t kRamp16Storage = kRamp16Entries + 2;
constexpr int32_t kRamp32Entries = 1024;

// The ramp's first half as a line: entry i holds start + i * step in each
// channel (red, green, blue), at 32 bits scaled by 256.
struct RampLine {
    int32_t start[3];
    int32_t step[3];
};

// Entry i of the first half packed as a pixel. Only bits 11 to 15 of a
// 16-bit channel and 16 to 23 of a 32-bit one reach the pixel, so the
// channels may be computed modulo 2^16 and 2^32.
constexpr uint16_t PackRamp555(uint16_t r, uint16_t g, uint16_t b) {
    return static_cast<uint16_t>(((g >> 6) & 0x3E0) | (b >> 11) | ((r >> 1) & 0x7C00));
}
constexpr uint16_t PackRamp565(uint16_t r, uint16_t g, uint16_t b) {
    return static_cast<uint16_t>(((g >> 5) & 0x7E0) | (b >> 11) | (r & 0xF800));
}
constexpr uint32_t PackRamp32(uint32_t r, uint32_t g, uint32_t b) {
    return (r & 0xFF0000) | ((g >> 8) & 0xFF00) | ((b >> 16) & 0xFF);
}

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

// rows.src to rows.dst through the ramp, with flicker added to every
// brightness and, when grain is not null, the grain too (12 bits down in
// 16-bit pixels, 10 in 32-bit ones: the shift grain was made with).
void GreyMap555(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain,
                SimdLevel level = MachineSimdLevel());
void GreyMap565(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain,
                SimdLevel level = MachineSimdLevel());
void GreyMap32(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain,
               SimdLevel level = MachineSimdLevel());
// Each byte of rows.src, complemented, to rows.dst (rows.width bytes a row).
void InvertBytes(const PixelRows& rows, SimdLevel level = MachineSimdLevel());
