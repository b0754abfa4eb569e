// Row kernels of the smooth pass with the plain mean (weights 8192 and 0)
// that work on the pixels themselves, so that the pass needs no row copies.
#pragma once

#include <cstdint>

#include "render/simd_level.h"

// Row y of a 32-bit picture: out[x] is the mean of the eight neighbours of
// middle[x] in above, middle and below, per 8-bit channel and truncated,
// with byte 3 zero; out[0] and out[width-1] are 0. When save is not null,
// middle's words as they were are copied to it. out may be middle and save
// may be above, so that the pass can run in place with one saved row.
// width is at least 3.
void MeanRow32(const uint8_t* above, const uint8_t* middle, const uint8_t* below, uint8_t* out,
               uint8_t* save, int32_t width, SimdLevel level = MachineSimdLevel());

// One output word from the sums of the eight neighbours: of whole words
// (wrapping) and of the words masked to blue and red. Green is what the
// whole sum holds beyond blue and red; the select takes the three 11-bit
// channel sums at bits 3, 11 and 19 and the shift drops their low three bits.
inline uint32_t MeanWord32(uint32_t ringAll, uint32_t ringBlueRed) {
    constexpr uint32_t kFromBlueRed = 0xFFF807FFu;
    const uint32_t green = ringAll - ringBlueRed;
    return ((ringBlueRed & kFromBlueRed) | (green & ~kFromBlueRed)) >> 3;
}

// Row y of a 16-bit picture from three rows of slots (see smooth_kernels.h)
// holding 5-bit channels: out[x] is the pixel, in format (1 for 5-5-5, any
// other 5-6-5), of the truncated mean of the eight neighbours of middle[x];
// out[0] and out[width-1] are 0. out may lie anywhere but in the slots.
// width is at least 3.
void MeanSlotsToPixels16(const uint8_t* above, const uint8_t* middle, const uint8_t* below,
                         uint8_t* out, int32_t width, int32_t format,
                         SimdLevel level = MachineSimdLevel());
