// Transposed copies of square blocks of pixels: the body of the diagonal
// mirrors, where whole blocks lie inside the triangle they fill.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/simd_level.h"

// The side of a block.
constexpr int32_t kDiagonalBlock = 8;

// In blocks of 8 by 8 pixels whose rows lie rowBytes apart, (a, b) naming
// the pixel a rows below and b columns right of the corner: dst (a, b)
// takes src (b, a). The blocks do not overlap.
void TransposeBlock(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytesPerPixel, SimdLevel level);
// dst (a, b) takes src (7 - b, 7 - a): the mirror across the anti-diagonal.
void AntiTransposeBlock(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytesPerPixel,
                        SimdLevel level);
