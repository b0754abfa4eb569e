#include "geometry/hexagon_kaleido.h"

#include <algorithm>
#include <iterator>

#include "shell/numeric.h"

namespace {

// Each sends its triangle onto the unit triangle (0, 1), (s, 1), (s, 2).
constexpr AffineMatrix kHexagonTileTransforms[6] = {
    {1.0, 0.0, 0.0, 1.0, 0.0, 0.0},
    {0.5, 0.86602540378445, 0.86602540378445, -0.5, 0.0, 1.0},
    {0.5, -0.86602540378445, 0.86602540378445, 0.5, 0.0, 1.0},
    {-0.5, 0.86602540378445, -0.86602540378445, -0.5, 2.598076, 0.5},
    {-0.5, -0.86602540378445, -0.86602540378445, 0.5, 2.598076, 1.5},
    {-1.0, 0.0, 0.0, -1.0, 1.7320508075689, 2.0},
};

int16_t E(int32_t i) { return static_cast<int16_t>(TruncToInt32(i * kRootThree)); }
int16_t Q(int32_t i) { return static_cast<int16_t>(TruncToInt32(i / kRootThree)); }
SpanEntry Run(int32_t start, int32_t end) { return {static_cast<int16_t>(start), static_cast<int16_t>(end)}; }

}  // namespace

void CHexagonKaleido::BuildSpanTable() {
    const int32_t n = TileRows, w = TileColumns, h = n / 2;
    std::fill(std::begin(HexSpanTable), std::end(HexSpanTable), nullptr);
    SpanEntry* buffer = NewSpanBuffer(10 * n);
    if (!buffer) return;
    SpanEntry** t = HexSpanTable;
    for (int32_t k = 0; k < 6; ++k) t[k] = buffer + (k == 0 ? 0 : (2 * k - 1) * n);
    for (int32_t i = 0; i < n; ++i) {
        t[0][i] = Run(E(i), w);
        t[5][i] = Run(0, E(i));
    }
    // Rows beyond n + h of table 1 and below h of table 4 stay empty.
    for (int32_t i = 0; i < 2 * n; ++i) {
        if (i < n)
            t[1][i] = Run(Q(i), E(i));
        else if (i < n + h)
            t[1][i] = Run(Q(i), E(2 * n - i - 1));
        t[2][i] = i < n + h ? Run(0, Q(i)) : Run(0, E(2 * n - i - 1));
        t[3][i] = i < h ? Run(E(n - i - 1), w) : Run(Q(2 * n - i), w);
        if (i >= h) t[4][i] = Run(i < n ? E(n - i - 1) : E(i - n), static_cast<int16_t>(w - Q(2 * n - i - 1)));
    }
    ClampSpans(10 * n);
}

void CHexagonKaleido::PaintHexagonTile(int32_t index, int32_t row, int32_t rows, double yOffset,
                                       const SpanEntry* spans, double angle) {
    AffineMatrix m = kUnitMatrix;
    ScaleUniform(m, kRootThree / TileScale);
    Concat(m, kHexagonTileTransforms[index]);
    m.e += -0.86602540378445;  // the middle of the longest side to the origin
    m.f += -1.5;
    TiltAndRotate(m, angle);
    ScaleUniform(m, (srcHeight / 2) * Zoom);
    AddOffsets(m);
    PaintSpans(m, row, rows, false, 0.0, yOffset, spans);
}

int32_t CHexagonKaleido::PaintTiles(double angle) {
    const int32_t n = TileRows, half = dstHeight >> 1;
    int32_t a = n, b = 2 * n;
    if (b > half) {
        b = half;
        if (n > half) a = half;
    }
    PaintHexagonTile(0, half, a, n, HexSpanTable[0], angle);
    PaintHexagonTile(1, half, b, 0.0, HexSpanTable[1], angle);
    PaintHexagonTile(2, half, b, 0.0, HexSpanTable[2], angle);
    // The lower pieces stop at the output's half height too.
    if (n + b > half) {
        const int32_t k = n - half + b;
        a -= k;
        b -= k;
    }
    PaintHexagonTile(3, half + n, b, 0.0, HexSpanTable[3], angle);
    PaintHexagonTile(4, half + n, b, 0.0, HexSpanTable[4], angle);
    PaintHexagonTile(5, half + 2 * n, a, 0.0, HexSpanTable[5], angle);
    const int32_t c = std::min(3 * n, half);
    MirrorRowsUp(Plane(), CentreRow(half), TileColumns, c);
    return c;
}
