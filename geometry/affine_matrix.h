// The six-number matrix of the kaleidoscopes, its operations, and the span
// painter that samples the source through it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/simd_level.h"

// Sends (x, y) to (a x + c y + e, b x + d y + f).
struct AffineMatrix {
    double a, b, c, d, e, f;
};

constexpr AffineMatrix kUnitMatrix{1.0, 0.0, 0.0, 1.0, 0.0, 0.0};

// Each operation acts after what the matrix does already.
void ScaleUniform(AffineMatrix& m, double k);
void ScaleAxes(AffineMatrix& m, double kx, double ky);
void Rotate(AffineMatrix& m, double angle);
// Applies t after m.
void Concat(AffineMatrix& m, const AffineMatrix& t);
// Stretches along the two diagonals by the tilt angle: both factors are
// 2 sin(pi/4) at 0 and move apart as the tilt grows.
void StretchDiagonal(AffineMatrix& m, double tilt);

// A half-open run of columns of one tile row, counted from the output's
// centre column.
struct SpanEntry {
    int16_t Start;
    int16_t End;
};
static_assert(sizeof(SpanEntry) == 4);

// The picture the painter samples: rowOffsets[r] is r times rowBytes;
// width and height are at most 8191, so that two periods of 16.16
// coordinates fit in 32 bits, and height times rowBytes fits in 31 bits.
struct AffineSource {
    const uint8_t* pixels;
    const uint32_t* rowOffsets;
    int32_t rowBytes;
    int32_t width;
    int32_t height;
    int32_t bytesPerPixel;  // 2 or 4
};

// Where the painter writes: rows of the output from row on, stepping by
// rowStep bytes (negative for upward rows), each starting at the tile's
// column 0. The spans give one run per row; a run ending beyond
// tileColumns stops the call.
struct SpanTarget {
    uint8_t* row;
    ptrdiff_t rowStep;
    int32_t rows;
    const SpanEntry* spans;
    int32_t tileColumns;
};

// Nearest-neighbour sampling in 16.16 fixed point, the source mirrored at
// its right and bottom edges and repeated every two widths and heights.
// Row i of the target samples the points (Start + j + xOffset, i + yOffset)
// through m. Pixels are read and written one after the other at every
// level, so a target that shares the source's memory gets the same picture
// at every level.
void PaintAffineSpans(const AffineSource& source, const AffineMatrix& m, const SpanTarget& target,
                      double xOffset, double yOffset, SimdLevel level);
