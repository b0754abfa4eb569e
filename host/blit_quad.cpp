#include "host/blit_quad.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/blit_pixels.h"

namespace fxhost::blit {

namespace {

constexpr int64_t kMaxCoord = int64_t(1) << 24;

struct Mat3 {
    double m[3][3];
};

// The projective map taking the unit square's corners (0,0), (1,0), (1,1),
// (0,1) to the four points in that order.
bool SquareToQuad(const double x[4], const double y[4], Mat3& out) {
    const double px = x[0] - x[1] + x[2] - x[3];
    const double py = y[0] - y[1] + y[2] - y[3];
    if (px == 0.0 && py == 0.0) {
        out = Mat3{{{x[1] - x[0], x[2] - x[1], x[0]}, {y[1] - y[0], y[2] - y[1], y[0]}, {0.0, 0.0, 1.0}}};
        return true;
    }
    const double dx1 = x[1] - x[2], dx2 = x[3] - x[2];
    const double dy1 = y[1] - y[2], dy2 = y[3] - y[2];
    const double den = dx1 * dy2 - dx2 * dy1;
    if (den == 0.0) return false;
    const double g = (px * dy2 - dx2 * py) / den;
    const double h = (dx1 * py - px * dy1) / den;
    out = Mat3{{{x[1] - x[0] + g * x[1], x[3] - x[0] + h * x[3], x[0]},
                {y[1] - y[0] + g * y[1], y[3] - y[0] + h * y[3], y[0]},
                {g, h, 1.0}}};
    return true;
}

double Det(const Mat3& a) {
    const auto& m = a.m;
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Singular, or so close to it that the mapping means nothing (also NaN).
bool Singular(const Mat3& a) {
    double scale = 0.0;
    for (const auto& row : a.m) {
        for (double v : row) scale = std::max(scale, std::fabs(v));
    }
    return !(std::fabs(Det(a)) > 1e-12 * scale * scale * scale);
}

// The inverse up to a scale factor, which a projective map does not mind.
Mat3 Adjugate(const Mat3& a) {
    const auto& m = a.m;
    return Mat3{{{m[1][1] * m[2][2] - m[1][2] * m[2][1], m[0][2] * m[2][1] - m[0][1] * m[2][2],
                  m[0][1] * m[1][2] - m[0][2] * m[1][1]},
                 {m[1][2] * m[2][0] - m[1][0] * m[2][2], m[0][0] * m[2][2] - m[0][2] * m[2][0],
                  m[0][2] * m[1][0] - m[0][0] * m[1][2]},
                 {m[1][0] * m[2][1] - m[1][1] * m[2][0], m[0][1] * m[2][0] - m[0][0] * m[2][1],
                  m[0][0] * m[1][1] - m[0][1] * m[1][0]}}};
}

Mat3 Multiply(const Mat3& a, const Mat3& b) {
    Mat3 r{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
        }
    }
    return r;
}

int64_t CeilDiv(int64_t a, int64_t b) {  // b > 0
    const int64_t q = a / b;
    return (a % b != 0 && a > 0) ? q + 1 : q;
}

// Where the edge (ax,ay)-(bx,by) crosses the centre line of row y, as the
// first pixel whose centre lies at or right of the crossing. With the
// crossing at X, pixel x qualifies when 2x+1 >= 2X = n/d.
int64_t Crossing(int64_t ax, int64_t ay, int64_t bx, int64_t by, int64_t y) {
    int64_t d = by - ay;
    int64_t n = 2 * ax * d + (2 * y + 1 - 2 * ay) * (bx - ax);
    if (d < 0) {
        n = -n;
        d = -d;
    }
    return CeilDiv(n - d, 2 * d);
}

// A mapped coordinate as a pixel index within [lo, hi]; NaN goes to lo.
int SamplePixel(double v, int lo, int hi) {
    const double f = std::floor(v);
    if (!(f >= lo)) return lo;
    if (f > hi) return hi;
    return static_cast<int>(f);
}

}  // namespace

void FillQuad(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
              const BlitCorner (&corners)[4]) {
    Plane f, t;
    if (!from || !to || !fromRect || !toRect || !MakePlane(*from, f) || !MakePlane(*to, t)) return;
    const int sx0 = std::max<int>(fromRect->left, f.left), sx1 = std::min<int>(fromRect->right, f.right);
    const int sy0 = std::max<int>(fromRect->top, f.top), sy1 = std::min<int>(fromRect->bottom, f.bottom);
    if (sx1 <= sx0 || sy1 <= sy0) return;

    int64_t dx[4], dy[4];
    double qx[4], qy[4], sx[4], sy[4];
    int64_t twiceArea = 0;
    for (int k = 0; k < 4; ++k) {
        dx[k] = corners[k].dstX;
        dy[k] = corners[k].dstY;
        if (dx[k] < -kMaxCoord || dx[k] > kMaxCoord || dy[k] < -kMaxCoord || dy[k] > kMaxCoord) return;
        qx[k] = static_cast<double>(dx[k]);
        qy[k] = static_cast<double>(dy[k]);
        sx[k] = corners[k].srcX / 65536.0;
        sy[k] = corners[k].srcY / 65536.0;
    }
    for (int k = 0; k < 4; ++k) twiceArea += dx[k] * dy[(k + 1) % 4] - dx[(k + 1) % 4] * dy[k];
    if (twiceArea == 0) return;

    Mat3 dstQuad, srcQuad;
    if (!SquareToQuad(qx, qy, dstQuad) || !SquareToQuad(sx, sy, srcQuad)) return;
    if (Singular(dstQuad) || Singular(srcQuad)) return;
    const Mat3 h = Multiply(srcQuad, Adjugate(dstQuad));  // target position -> source position

    PlaneCopy copy;
    if (Overlaps(f, t)) {
        CopyArea(f, SurfaceRect{static_cast<int16_t>(sy0), static_cast<int16_t>(sx0), static_cast<int16_t>(sy1),
                                static_cast<int16_t>(sx1)},
                 copy);
        f = copy.plane;
    }
    const Conv conv = ChooseConv(f, t);
    const int64_t yMin = *std::min_element(dy, dy + 4), yMax = *std::max_element(dy, dy + 4);
    const int yBegin = static_cast<int>(std::max<int64_t>(yMin, t.top));
    const int yEnd = static_cast<int>(std::min<int64_t>(yMax, t.bottom));
    for (int y = yBegin; y < yEnd; ++y) {
        int64_t cross[4];
        int n = 0;
        for (int k = 0; k < 4; ++k) {
            const int j = (k + 1) % 4;
            if ((dy[k] <= y) != (dy[j] <= y)) cross[n++] = Crossing(dx[k], dy[k], dx[j], dy[j], y);
        }
        // At most four crossings: an insertion sort, which GCC also does not
        // mistake for a read past the array as it does std::sort here.
        for (int i = 1; i < n; ++i)
            for (int k = i; k > 0 && cross[k - 1] > cross[k]; --k) std::swap(cross[k - 1], cross[k]);
        const double yc = y + 0.5;
        for (int p = 0; p + 1 < n; p += 2) {
            const int xBegin = static_cast<int>(std::max<int64_t>(cross[p], t.left));
            const int xEnd = static_cast<int>(std::min<int64_t>(cross[p + 1], t.right));
            for (int x = xBegin; x < xEnd; ++x) {
                const double xc = x + 0.5;
                const double w = h.m[2][0] * xc + h.m[2][1] * yc + h.m[2][2];
                if (w == 0.0 || !std::isfinite(w)) continue;
                const double u = (h.m[0][0] * xc + h.m[0][1] * yc + h.m[0][2]) / w;
                const double v = (h.m[1][0] * xc + h.m[1][1] * yc + h.m[1][2]) / w;
                const int px = SamplePixel(u, sx0, sx1 - 1);
                const int py = SamplePixel(v, sy0, sy1 - 1);
                StoreWord(At(t, x, y), t.bpp, Convert(conv, LoadWord(At(f, px, py), f.bpp)));
            }
        }
    }
}

}  // namespace fxhost::blit
