#include "geometry/square_kaleido.h"

#include <algorithm>

namespace {

int16_t I16(int32_t v) { return static_cast<int16_t>(v); }

}  // namespace

AffineMatrix CSquareBase::CellMatrix() const {
    AffineMatrix m = kUnitMatrix;
    if (dstWidth >= dstHeight) {
        ScaleAxes(m, 1.0, -1.0);
        Rotate(m, 1.5707963267949);
    }
    return m;
}

CSquareKaleido::CSquareKaleido(KaleidoParamRecord* record) : CSquareBase(record) {
    TileExtent = std::max(dstHeight, dstWidth) >> 1;
}

double CSquareKaleido::ComputeTileScale(double tileSize) { return srcHeight / (tileSize * 1.4142135623731); }

void CSquareKaleido::BuildSpanTable() {
    const int32_t n = TileRows, m = std::min(dstWidth >> 1, n);
    SpanEntry* t = NewSpanBuffer(n);
    if (!t) return;
    // Wide: on and above the main diagonal; tall: on and below it.
    for (int32_t i = 0; i < n; ++i)
        t[i] = dstWidth >= dstHeight ? SpanEntry{I16(std::min(i, m)), I16(m)} : SpanEntry{0, I16(std::min(i + 1, m))};
}

int32_t CSquareKaleido::PaintTiles(double angle) {
    const int32_t n = TileRows, rows = CellRows(), cols = CellColumns(), half = dstHeight >> 1;
    AffineMatrix m = CellMatrix();
    m.e += -(n / 2);  // the tile square's middle to the origin
    m.f += -(n / 2);
    ScaleUniform(m, Zoom * TileScale);
    TiltAndRotate(m, angle);
    AddOffsets(m);
    PaintSpans(m, half, rows, false, 0.0, 0.0, SpanBuffer);
    if (dstWidth >= dstHeight)
        MirrorDiagonalDown(Plane(), CentreRow(half), std::min(rows, cols), level);
    else
        MirrorDiagonalUp(Plane(), CentreRow(half), std::min(rows, cols), level);
    MirrorRowsUp(Plane(), CentreRow(half), cols, rows);
    return rows;
}

CLozengeKaleido::CLozengeKaleido(KaleidoParamRecord* record) : CSquareBase(record) {
    TileExtent = (dstWidth >> 1) + (dstHeight >> 1);
}

void CLozengeKaleido::BuildSpanTable() {
    const int32_t n = TileRows, h = (n >> 1) + (n & 1);
    SpanEntry* t = NewSpanBuffer(n);
    if (!t) return;
    if (dstHeight > dstWidth) {
        // Base on the left column, tip pointing right; the lower half repeats
        // the upper one backwards.
        const int32_t m = std::min(dstWidth >> 1, h);
        for (int32_t i = 0; i < n; ++i) t[i] = i < h ? SpanEntry{0, I16(std::min(i + 1, m))} : t[n - i - 1];
    } else {
        // Base on the top row, tip pointing down; rows from h on stay empty.
        const int32_t m = std::min(dstWidth >> 1, n);
        for (int32_t i = 0; i < h; ++i) t[i] = {I16(std::min(i, m)), I16(std::min(n - i, m))};
    }
}

int32_t CLozengeKaleido::PaintTiles(double angle) {
    const int32_t n = TileRows, rows = CellRows(), cols = CellColumns(), half = dstHeight >> 1;
    TileScale = (srcHeight >> 1) / (n * 0.5);
    AffineMatrix m = CellMatrix();
    m.e += 0.0;
    m.f += (-n) * 0.5;  // the middle of the cell's base to the origin
    ScaleUniform(m, TileScale * Zoom);
    TiltAndRotate(m, angle);
    AddOffsets(m);
    PaintSpans(m, half, rows, false, 0.0, 0.0, SpanBuffer);
    MirrorCell();
    MirrorRowsUp(Plane(), CentreRow(half), cols, rows);
    return rows;
}

void CLozengeKaleido::MirrorCell() {
    const int32_t n = TileRows, H2 = dstHeight >> 1, W2 = dstWidth >> 1, h = (n >> 1) + (n & 1);
    const PixelPlane plane = Plane();
    // First across the main diagonal, only as far as the second mirror
    // still needs.
    if (dstHeight > dstWidth) {
        if (h < W2)
            MirrorDiagonalUpLimited(plane, CentreRow(H2), n, std::min(n, W2), level);
        else
            MirrorDiagonalUp(plane, CentreRow(H2), W2, level);
    } else {
        if (h < H2)
            MirrorDiagonalDownLimited(plane, CentreRow(H2), n, std::min(n, H2), level);
        else
            MirrorDiagonalDown(plane, CentreRow(H2), H2, level);
    }
    // Then across the anti-diagonal of the n-square, kept inside the
    // output's lower right quarter.
    int32_t down = 0, right = 0, size = n;
    if (dstHeight > dstWidth) {
        if (n > W2 && n <= H2) {
            down = n - W2;
            size = W2;
        } else if (n > W2) {
            size = H2 - (n - W2);
            down = n - W2;
            right = W2 - size;
        }
    } else {
        if (n > H2 && n <= W2) {
            right = n - H2;
            size = H2;
        } else if (n > H2) {
            size = H2 + W2 - n;
            down = H2 - size;
            right = W2 - size;
        }
    }
    if (size > 1) MirrorAntiDiagonal(plane, Pixel(H2 + down, (dstWidth >> 1) + right), size, level);
}
