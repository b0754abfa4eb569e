// The copies that spread a painted tile over the output: column reversal,
// row copies bounded by the surface's memory, and the diagonal mirrors of
// the square tiles. Pixels are moved whole, never looked at.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/simd_level.h"

// An output surface as raw memory: rows of rowBytes from pixels, of which
// the last ends after width pixels. No copy reads or writes outside
// [pixels, end).
struct PixelPlane {
    uint8_t* pixels;
    ptrdiff_t rowBytes;
    int32_t bytesPerPixel;
    uint8_t* end;

    uint8_t* at(ptrdiff_t row, ptrdiff_t column) const {
        return pixels + row * rowBytes + column * bytesPerPixel;
    }
};

// dst pixel k takes pixel srcEnd - 1 - k, for k from 0 to count - 1; the two
// runs do not overlap.
void ReversePixels(uint8_t* dst, const uint8_t* srcEnd, int32_t count, int32_t bytesPerPixel,
                   SimdLevel level = MachineSimdLevel());

// In each of rows rows from p: pixel p + i takes pixel p - 1 - i, i < cols.
void MirrorColumnsRight(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows, SimdLevel level);
// In each of rows rows from p: pixel p - 1 - i takes pixel p + i, i < cols.
void MirrorColumnsLeft(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows, SimdLevel level);

// The row copies move cols pixels from one row's address on; a run longer
// than the row goes on into the next rows, as the memory lies. Each copy is
// a move (the target gets what the source held before it) and is cut where
// either run would leave the plane.
// Row p - 1 - k takes row p + k, k < rows.
void MirrorRowsUp(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows);
// Row p + 1 + k takes row p - k, k < rows.
void MirrorRowsDown(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows);

// The diagonal mirrors of a tile square whose corner pixel (row 0, column 0)
// is at p; (r, x) names the pixel r rows below and x columns right of p.
// (r, k) takes (k, r) for 0 <= k < r < count: the part above the main
// diagonal goes below it.
void MirrorDiagonalDown(const PixelPlane& plane, uint8_t* p, int32_t count,
                        SimdLevel level = MachineSimdLevel());
// (k, r) takes (r, k) for 0 <= k < r < count.
void MirrorDiagonalUp(const PixelPlane& plane, uint8_t* p, int32_t count,
                      SimdLevel level = MachineSimdLevel());
// For j < n - 1 and t = min(n - 1 - j, m - 1): (j, x) takes (x, j) for x
// from t down to j + 1.
void MirrorDiagonalUpLimited(const PixelPlane& plane, uint8_t* p, int32_t n, int32_t m,
                             SimdLevel level = MachineSimdLevel());
// The same with (x, j) taking (j, x).
void MirrorDiagonalDownLimited(const PixelPlane& plane, uint8_t* p, int32_t n, int32_t m,
                               SimdLevel level = MachineSimdLevel());
// (c-1-k, c-1-j) takes (j, k) for j, k >= 0, j + k < c - 1.
void MirrorAntiDiagonal(const PixelPlane& plane, uint8_t* p, int32_t c,
                        SimdLevel level = MachineSimdLevel());
