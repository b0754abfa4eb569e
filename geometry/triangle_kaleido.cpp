#include "geometry/triangle_kaleido.h"

#include <algorithm>

#include "shell/numeric.h"

namespace {

// Indices 0-5 serve the strips below the centre row, 6-11 those above; each
// sends its tile onto the unit triangle (0, 1), (s, 0), (s, 2). The digits
// are those the tiles were designed with.
constexpr AffineMatrix kTriangleTileTransforms[12] = {
    {1.0, 0.0, 0.0, 1.0, 0.0, 0.0},
    {0.5, 0.866025, 0.866025, -0.5, 0.0, 1.0},
    {-0.5, 0.866025, -0.866025, -0.5, 2.598076, 0.5},
    {-1.0, 0.0, 0.0, 1.0, 1.732051, 0.0},
    {-0.5, -0.866025, 0.866025, -0.5, 0.866025, 2.5},
    {0.5, -0.866025, -0.866025, -0.5, 1.732051, 2.0},
    {1.0, 0.0, 0.0, -1.0, 0.0, 2.0},
    {0.5, -0.866025, 0.866025, 0.5, 0.0, 1.0},
    {-0.5, -0.866025, -0.866025, 0.5, 2.598076, 1.5},
    {-1.0, 0.0, 0.0, -1.0, 1.732051, 2.0},
    {-0.5, 0.866025, 0.866025, 0.5, 0.866025, -0.5},
    {0.5, 0.866025, -0.866025, 0.5, 1.732051, 0.0},
};

}  // namespace

CTriangleBase::CTriangleBase(KaleidoParamRecord* record, int32_t shapeCode) : CKaleido2Base(record, shapeCode) {
    const int32_t W = dstWidth, H = dstHeight;
    if (W >= H * kRootThree)
        TileExtent = W >> 1;
    else
        TileExtent = ((W >> 1) / kRootThree + (H >> 1)) * kRootThree * 0.5;
}

void CTriangleKaleido::BuildSpanTable() {
    const int32_t n = TileRows, w = TileColumns;
    SpanTableA = SpanTableB = SpanTableC = nullptr;
    SpanEntry* t = NewSpanBuffer(4 * n);
    if (!t) return;
    auto e = [](int32_t i) { return static_cast<int16_t>(TruncToInt32(i * kRootThree)); };
    for (int32_t i = 0; i < n; ++i) {
        t[i].End = e(i);
        t[2 * n - 1 - i].End = e(i);
    }
    for (int32_t i = 0; i < n; ++i) t[3 * n + i] = {e(i), static_cast<int16_t>(w)};
    for (int32_t i = 0; i < n; ++i) t[2 * n + i] = {t[n + i].End, static_cast<int16_t>(w)};
    ClampSpans(4 * n);
    SpanTableA = t;
    SpanTableB = t + 2 * n;
    SpanTableC = t + 3 * n;
}

void CTriangleKaleido::PaintTriangleTile(int32_t index, int32_t row, int32_t rows, bool upward, double yOffset,
                                         const SpanEntry* spans, double angle) {
    AffineMatrix m = kUnitMatrix;
    ScaleUniform(m, kRootThree / TileScale);  // one unit is T / s pixels
    Concat(m, kTriangleTileTransforms[index]);
    m.e += -1.1547005383792668;  // the unit triangle's centre to the origin
    m.f += -1.0;
    TiltAndRotate(m, angle);
    ScaleUniform(m, srcHeight * 0.433012701892225 * Zoom);
    AddOffsets(m);
    PaintSpans(m, row, rows, upward, 0.0, yOffset, spans);
}

int32_t CTriangleKaleido::PaintTiles(double angle) {
    const int32_t n = TileRows, half = dstHeight >> 1;
    // The triangle with its tip on the centre point, cut to the output.
    const int32_t r = std::min(n, half);
    PaintTriangleTile(0, half - r, 2 * r, false, n - r, SpanTableB + (n - r), angle);
    // Strips of 2n rows every n rows, upward and downward: where two overlap,
    // A's runs end where B's begin.
    int32_t up = half - 1, down = half, rows = 2 * n, k = 1;
    const SpanEntry* table = SpanTableA;
    for (int32_t i = 0; i < half; i += n) {
        if (i + rows > half) rows = half - i;
        PaintTriangleTile(k + 6, up, rows, true, 0.0, table, angle);
        PaintTriangleTile(k, down, rows, false, 0.0, table, angle);
        k = k == 5 ? 0 : k + 1;
        up -= n;
        down += n;
        table = table == SpanTableA ? SpanTableB : SpanTableA;
    }
    return half;
}
