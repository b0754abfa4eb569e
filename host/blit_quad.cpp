// Textured quadrilaterals. Integer edge crossings at each row's centre line
// give the covered runs. Along a run, exact source positions at anchors up
// to kMaxAnchorSpacing pixels apart are stepped between in 16.16; the
// vector levels work out the anchors 8 at a time and the source addresses
// 8 or 16 at a time, and the pixels then move one by one, in order, which
// beats a gather on the processors this runs on.
#include "host/blit_quad.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "host/blit_level.h"
#include "host/blit_pixels.h"
#include "render/intrinsics.h"

namespace fxhost::blit {

namespace {

#define QUAD_AVX2 __attribute__((target("avx2")))
#define QUAD_AVX512 __attribute__((target("avx512f,avx512bw")))

constexpr int64_t kMaxCoord = int64_t(1) << 24;

using Mat3 = QuadMap;

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

// ---- Exact positions at every pixel ----

// For maps that may pass through infinity inside the quad: the position is
// worked out at each pixel, and a pixel where it is undefined is skipped.
void RunExact(const Mat3& h, const Plane& f, const Plane& t, Conv conv, int sx0, int sx1, int sy0, int sy1, int y,
              int xBegin, int xEnd) {
    const double yc = y + 0.5;
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

// ---- Stepped positions ----

// floor(u * 65536) held within the int32 range; NaN goes to the bottom.
inline int32_t ToFixed(double u) {
    const double f = std::floor(u * 65536.0);
    if (!(f >= -2147483648.0)) return INT32_MIN;
    if (f > 2147483647.0) return INT32_MAX;
    return static_cast<int32_t>(f);
}

// One clipped run [x0, x1) of row y, with anchors 2^shift pixels apart:
// anchor j is at x0 + j * 2^shift for j < segments, anchor `segments` at
// x1 - 1.
struct Run {
    int y;
    int x0, x1;
    int shift;
    int segments;
    Run(int row, int begin, int end, int spacing) : y(row), x0(begin), x1(end), shift(0) {
        while ((2 << shift) <= spacing) ++shift;
        segments = ((x1 - 1 - x0) + (1 << shift) - 1) >> shift;
    }
    int Anchor(int j) const { return j < segments ? x0 + (j << shift) : x1 - 1; }
};

// The per-pixel step from anchor j to the next, rounded toward zero. For a
// last segment of one pixel only the anchor itself is used, and the step,
// which may not fit, is never taken.
inline int32_t StepOf(const int32_t* a, int j, const Run& r) {
    const int64_t d = int64_t(a[j + 1]) - a[j];
    const int n = r.Anchor(j + 1) - r.Anchor(j);
    if (n == (1 << r.shift)) return static_cast<int32_t>(d >= 0 ? d >> r.shift : -((-d) >> r.shift));
    return static_cast<int32_t>(d / n);
}

// The source as the address loops see it: offsets are 32-bit, taken modulo
// 2^32 from the pixel at (0, 0) of the bounds coordinates.
struct Source {
    const uint8_t* pixels;
    uint32_t rowBytes;
    uint32_t origin;  // offset of (0, 0) before the first pixel, modulo 2^32
    int32_t xLo, xHi, yLo, yHi;  // source area, last pixel included
};

template <int Shift>
inline uint32_t OffsetOf(const Source& s, int32_t u, int32_t v) {
    const int32_t px = Clamp(u >> 16, s.xLo, s.xHi), py = Clamp(v >> 16, s.yLo, s.yHi);
    return static_cast<uint32_t>(py) * s.rowBytes + (static_cast<uint32_t>(px) << Shift) - s.origin;
}

void AnchorsScalar(const Mat3& h, const Run& r, int32_t* au, int32_t* av) {
    const double yc = r.y + 0.5;
    for (int j = 0; j <= r.segments; ++j) {
        const double xc = r.Anchor(j) + 0.5;
        const double w = h.m[2][0] * xc + h.m[2][1] * yc + h.m[2][2];
        au[j] = ToFixed((h.m[0][0] * xc + h.m[0][1] * yc + h.m[0][2]) / w);
        av[j] = ToFixed((h.m[1][0] * xc + h.m[1][1] * yc + h.m[1][2]) / w);
    }
}

template <int Shift>
void OffsetsScalar(const Source& source, const Run& r, const int32_t* au, const int32_t* av, uint32_t* off) {
    const Source s = source;  // a local copy: the stores below could otherwise alias it
    for (int j = 0; j < r.segments; ++j) {
        const int n = r.Anchor(j + 1) - r.Anchor(j);
        const int32_t du = StepOf(au, j, r), dv = StepOf(av, j, r);
        int32_t u = au[j], v = av[j];
        uint32_t* o = off + (j << r.shift);
        // No step past the segment's last pixel: for n == 1 the step is the
        // whole distance to the next anchor, which may not fit.
        for (int k = 0;; ++k) {
            o[k] = OffsetOf<Shift>(s, u, v);
            if (k + 1 == n) break;
            u += du;
            v += dv;
        }
    }
    off[r.x1 - 1 - r.x0] = OffsetOf<Shift>(s, au[r.segments], av[r.segments]);
}

// SSE2 has no 32-bit minimum, maximum or low multiply.
inline __m128i Max32(__m128i a, __m128i b) {
    const __m128i m = _mm_cmpgt_epi32(b, a);
    return _mm_or_si128(_mm_and_si128(m, b), _mm_andnot_si128(m, a));
}
inline __m128i Min32(__m128i a, __m128i b) {
    const __m128i m = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_and_si128(m, b), _mm_andnot_si128(m, a));
}
inline __m128i MulLo32(__m128i a, __m128i b) {
    const __m128i even = _mm_mul_epu32(a, b);
    const __m128i odd = _mm_mul_epu32(_mm_srli_si128(a, 4), _mm_srli_si128(b, 4));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                              _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

// Two anchors at a time. SSE2 has no rounding down: the value is held within
// the int32 range first, then truncated and brought down where that rounded
// a negative fraction up.
void AnchorsSse2(const Mat3& h, const Run& r, int32_t* au, int32_t* av) {
    const double yc = r.y + 0.5;
    const __m128d a1 = _mm_set1_pd(h.m[0][1] * yc), b1 = _mm_set1_pd(h.m[1][1] * yc), w1 = _mm_set1_pd(h.m[2][1] * yc);
    const __m128d a0 = _mm_set1_pd(h.m[0][0]), b0 = _mm_set1_pd(h.m[1][0]), w0 = _mm_set1_pd(h.m[2][0]);
    const __m128d a2 = _mm_set1_pd(h.m[0][2]), b2 = _mm_set1_pd(h.m[1][2]), w2 = _mm_set1_pd(h.m[2][2]);
    const __m128d scale = _mm_set1_pd(65536.0), lo = _mm_set1_pd(-2147483648.0), hi = _mm_set1_pd(2147483647.0);
    auto fixed = [&](__m128d q) {
        const __m128d c = _mm_min_pd(_mm_max_pd(_mm_mul_pd(q, scale), lo), hi);
        const __m128i t = _mm_cvttpd_epi32(c);
        const __m128d above = _mm_cmpgt_pd(_mm_cvtepi32_pd(t), c);  // -1 in the low two lanes where so
        return _mm_add_epi32(t, _mm_shuffle_epi32(_mm_castpd_si128(above), _MM_SHUFFLE(3, 3, 2, 0)));
    };
    for (int j = 0; j <= r.segments; j += 2) {
        const __m128d xc = _mm_setr_pd(r.Anchor(j) + 0.5, r.Anchor(std::min(j + 1, r.segments)) + 0.5);
        const __m128d w = _mm_add_pd(_mm_add_pd(_mm_mul_pd(w0, xc), w1), w2);
        const __m128i u = fixed(_mm_div_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(a0, xc), a1), a2), w));
        const __m128i v = fixed(_mm_div_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(b0, xc), b1), b2), w));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(au + j), u);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(av + j), v);
    }
}

template <int Shift>
void OffsetsSse2(const Source& s, const Run& r, const int32_t* au, const int32_t* av, uint32_t* off) {
    const __m128i iota = _mm_setr_epi32(0, 1, 2, 3);
    const __m128i xLo = _mm_set1_epi32(s.xLo), xHi = _mm_set1_epi32(s.xHi);
    const __m128i yLo = _mm_set1_epi32(s.yLo), yHi = _mm_set1_epi32(s.yHi);
    const __m128i rowBytes = _mm_set1_epi32(static_cast<int32_t>(s.rowBytes)),
                  origin = _mm_set1_epi32(static_cast<int32_t>(s.origin));
    for (int j = 0; j < r.segments; ++j) {
        const int n = r.Anchor(j + 1) - r.Anchor(j);
        const __m128i du = _mm_set1_epi32(StepOf(au, j, r)), dv = _mm_set1_epi32(StepOf(av, j, r));
        __m128i u = _mm_add_epi32(_mm_set1_epi32(au[j]), MulLo32(iota, du));
        __m128i v = _mm_add_epi32(_mm_set1_epi32(av[j]), MulLo32(iota, dv));
        const __m128i du4 = _mm_slli_epi32(du, 2), dv4 = _mm_slli_epi32(dv, 2);
        for (int c = 0; c < n; c += 4) {
            const __m128i px = Min32(Max32(_mm_srai_epi32(u, 16), xLo), xHi);
            const __m128i py = Min32(Max32(_mm_srai_epi32(v, 16), yLo), yHi);
            const __m128i o = _mm_sub_epi32(_mm_add_epi32(MulLo32(py, rowBytes), _mm_slli_epi32(px, Shift)), origin);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(off + (j << r.shift) + c), o);
            u = _mm_add_epi32(u, du4);
            v = _mm_add_epi32(v, dv4);
        }
    }
    off[r.x1 - 1 - r.x0] = OffsetOf<Shift>(s, au[r.segments], av[r.segments]);
}

// The anchors' positions as doubles, 8 at a time: the same products, sums
// and quotient as the scalar loop, so the same values.
QUAD_AVX2 void AnchorsAvx2(const Mat3& h, const Run& r, int32_t* au, int32_t* av) {
    const double yc = r.y + 0.5;
    const __m256d a1 = _mm256_set1_pd(h.m[0][1] * yc), b1 = _mm256_set1_pd(h.m[1][1] * yc),
                  w1 = _mm256_set1_pd(h.m[2][1] * yc);
    const __m256d a0 = _mm256_set1_pd(h.m[0][0]), b0 = _mm256_set1_pd(h.m[1][0]), w0 = _mm256_set1_pd(h.m[2][0]);
    const __m256d a2 = _mm256_set1_pd(h.m[0][2]), b2 = _mm256_set1_pd(h.m[1][2]), w2 = _mm256_set1_pd(h.m[2][2]);
    const __m256d scale = _mm256_set1_pd(65536.0), lo = _mm256_set1_pd(-2147483648.0),
                  hi = _mm256_set1_pd(2147483647.0), half = _mm256_set1_pd(0.5);
    const __m128i last = _mm_set1_epi32(r.x1 - 1), step = _mm_set1_epi32(4 << r.shift);
    __m128i x = _mm_add_epi32(_mm_set1_epi32(r.x0), _mm_sll_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_cvtsi32_si128(r.shift)));
    for (int j = 0; j <= r.segments; j += 4) {
        const __m256d xc = _mm256_add_pd(_mm256_cvtepi32_pd(_mm_min_epi32(x, last)), half);
        const __m256d w = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(w0, xc), w1), w2);
        const __m256d u = _mm256_div_pd(_mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(a0, xc), a1), a2), w);
        const __m256d v = _mm256_div_pd(_mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(b0, xc), b1), b2), w);
        // max takes its second operand when the first is NaN.
        const __m256d fu = _mm256_min_pd(_mm256_max_pd(_mm256_floor_pd(_mm256_mul_pd(u, scale)), lo), hi);
        const __m256d fv = _mm256_min_pd(_mm256_max_pd(_mm256_floor_pd(_mm256_mul_pd(v, scale)), lo), hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(au + j), _mm256_cvttpd_epi32(fu));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(av + j), _mm256_cvttpd_epi32(fv));
        x = _mm_add_epi32(x, step);
    }
}

template <int Shift>
QUAD_AVX2 void OffsetsAvx2(const Source& s, const Run& r, const int32_t* au, const int32_t* av, uint32_t* off) {
    const __m256i iota = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i xLo = _mm256_set1_epi32(s.xLo), xHi = _mm256_set1_epi32(s.xHi);
    const __m256i yLo = _mm256_set1_epi32(s.yLo), yHi = _mm256_set1_epi32(s.yHi);
    const __m256i rowBytes = _mm256_set1_epi32(static_cast<int32_t>(s.rowBytes)),
                  origin = _mm256_set1_epi32(static_cast<int32_t>(s.origin));
    for (int j = 0; j < r.segments; ++j) {
        const int n = r.Anchor(j + 1) - r.Anchor(j);
        const __m256i du = _mm256_set1_epi32(StepOf(au, j, r)), dv = _mm256_set1_epi32(StepOf(av, j, r));
        // Lanes past n wrap harmlessly: they are clamped like the rest and
        // overwritten or never read.
        __m256i u = _mm256_add_epi32(_mm256_set1_epi32(au[j]), _mm256_mullo_epi32(iota, du));
        __m256i v = _mm256_add_epi32(_mm256_set1_epi32(av[j]), _mm256_mullo_epi32(iota, dv));
        const __m256i du8 = _mm256_slli_epi32(du, 3), dv8 = _mm256_slli_epi32(dv, 3);
        for (int c = 0; c < n; c += 8) {
            const __m256i px = _mm256_min_epi32(_mm256_max_epi32(_mm256_srai_epi32(u, 16), xLo), xHi);
            const __m256i py = _mm256_min_epi32(_mm256_max_epi32(_mm256_srai_epi32(v, 16), yLo), yHi);
            const __m256i o = _mm256_sub_epi32(
                _mm256_add_epi32(_mm256_mullo_epi32(py, rowBytes), _mm256_slli_epi32(px, Shift)), origin);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(off + (j << r.shift) + c), o);
            u = _mm256_add_epi32(u, du8);
            v = _mm256_add_epi32(v, dv8);
        }
    }
    off[r.x1 - 1 - r.x0] = OffsetOf<Shift>(s, au[r.segments], av[r.segments]);
}

QUAD_AVX512 void AnchorsAvx512(const Mat3& h, const Run& r, int32_t* au, int32_t* av) {
    const double yc = r.y + 0.5;
    const __m512d a1 = _mm512_set1_pd(h.m[0][1] * yc), b1 = _mm512_set1_pd(h.m[1][1] * yc),
                  w1 = _mm512_set1_pd(h.m[2][1] * yc);
    const __m512d a0 = _mm512_set1_pd(h.m[0][0]), b0 = _mm512_set1_pd(h.m[1][0]), w0 = _mm512_set1_pd(h.m[2][0]);
    const __m512d a2 = _mm512_set1_pd(h.m[0][2]), b2 = _mm512_set1_pd(h.m[1][2]), w2 = _mm512_set1_pd(h.m[2][2]);
    const __m512d scale = _mm512_set1_pd(65536.0), lo = _mm512_set1_pd(-2147483648.0),
                  hi = _mm512_set1_pd(2147483647.0), half = _mm512_set1_pd(0.5);
    const __m256i last = _mm256_set1_epi32(r.x1 - 1), step = _mm256_set1_epi32(8 << r.shift);
    __m256i x = _mm256_add_epi32(_mm256_set1_epi32(r.x0),
                                 _mm256_sll_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), _mm_cvtsi32_si128(r.shift)));
    for (int j = 0; j <= r.segments; j += 8) {
        const __m512d xc = _mm512_add_pd(_mm512_cvtepi32_pd(_mm256_min_epi32(x, last)), half);
        const __m512d w = _mm512_add_pd(_mm512_add_pd(_mm512_mul_pd(w0, xc), w1), w2);
        const __m512d u = _mm512_div_pd(_mm512_add_pd(_mm512_add_pd(_mm512_mul_pd(a0, xc), a1), a2), w);
        const __m512d v = _mm512_div_pd(_mm512_add_pd(_mm512_add_pd(_mm512_mul_pd(b0, xc), b1), b2), w);
        constexpr int kDown = _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC;
        const __m512d fu = _mm512_min_pd(_mm512_max_pd(_mm512_roundscale_pd(_mm512_mul_pd(u, scale), kDown), lo), hi);
        const __m512d fv = _mm512_min_pd(_mm512_max_pd(_mm512_roundscale_pd(_mm512_mul_pd(v, scale), kDown), lo), hi);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(au + j), _mm512_cvttpd_epi32(fu));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(av + j), _mm512_cvttpd_epi32(fv));
        x = _mm256_add_epi32(x, step);
    }
}

template <int Shift>
QUAD_AVX512 void OffsetsAvx512(const Source& s, const Run& r, const int32_t* au, const int32_t* av, uint32_t* off) {
    const __m512i iota = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m512i xLo = _mm512_set1_epi32(s.xLo), xHi = _mm512_set1_epi32(s.xHi);
    const __m512i yLo = _mm512_set1_epi32(s.yLo), yHi = _mm512_set1_epi32(s.yHi);
    const __m512i rowBytes = _mm512_set1_epi32(static_cast<int32_t>(s.rowBytes)),
                  origin = _mm512_set1_epi32(static_cast<int32_t>(s.origin));
    for (int j = 0; j < r.segments; ++j) {
        const int n = r.Anchor(j + 1) - r.Anchor(j);
        const __m512i du = _mm512_set1_epi32(StepOf(au, j, r)), dv = _mm512_set1_epi32(StepOf(av, j, r));
        __m512i u = _mm512_add_epi32(_mm512_set1_epi32(au[j]), _mm512_mullo_epi32(iota, du));
        __m512i v = _mm512_add_epi32(_mm512_set1_epi32(av[j]), _mm512_mullo_epi32(iota, dv));
        const __m512i du16 = _mm512_slli_epi32(du, 4), dv16 = _mm512_slli_epi32(dv, 4);
        for (int c = 0; c < n; c += 16) {
            const __m512i px = _mm512_min_epi32(_mm512_max_epi32(_mm512_srai_epi32(u, 16), xLo), xHi);
            const __m512i py = _mm512_min_epi32(_mm512_max_epi32(_mm512_srai_epi32(v, 16), yLo), yHi);
            const __m512i o = _mm512_sub_epi32(
                _mm512_add_epi32(_mm512_mullo_epi32(py, rowBytes), _mm512_slli_epi32(px, Shift)), origin);
            _mm512_storeu_si512(off + (j << r.shift) + c, o);
            u = _mm512_add_epi32(u, du16);
            v = _mm512_add_epi32(v, dv16);
        }
    }
    off[r.x1 - 1 - r.x0] = OffsetOf<Shift>(s, au[r.segments], av[r.segments]);
}

// The pixels of a run, in order. The source lines a run reads are spread
// over many rows, too many streams for the hardware to see coming: the
// lines of each 16 pixels (first and last) are fetched kAhead pixels early.
template <Conv C>
void Move(const uint8_t* pixels, const uint32_t* off, uint8_t* d, int n) {
    constexpr int sb = SourceBpp(C), tb = TargetBpp(C);
    constexpr int kAhead = 192;
    for (int k = 0; k < kAhead && k < n; k += 16) {
        __builtin_prefetch(pixels + off[k]);
        __builtin_prefetch(pixels + off[std::min(k + 15, n - 1)]);
    }
    int k = 0;
    for (; k + 16 <= n; k += 16) {
        if (k + kAhead + 16 <= n) {
            __builtin_prefetch(pixels + off[k + kAhead]);
            __builtin_prefetch(pixels + off[k + kAhead + 15]);
        }
        for (int j = k; j < k + 16; ++j) StoreWord(d + j * tb, tb, ConvertT<C>(LoadWord(pixels + off[j], sb)));
    }
    for (; k < n; ++k) StoreWord(d + k * tb, tb, ConvertT<C>(LoadWord(pixels + off[k], sb)));
}

struct Kernels {
    void (*anchors)(const Mat3&, const Run&, int32_t*, int32_t*);
    void (*offsets)(const Source&, const Run&, const int32_t*, const int32_t*, uint32_t*);
    void (*move)(const uint8_t*, const uint32_t*, uint8_t*, int);
};

template <int Shift>
Kernels ChooseLevel(BlitLevel level) {
    switch (level) {
    case BlitLevel::kAvx512: return {AnchorsAvx512, OffsetsAvx512<Shift>, nullptr};
    case BlitLevel::kAvx2: return {AnchorsAvx2, OffsetsAvx2<Shift>, nullptr};
    case BlitLevel::kSse2: return {AnchorsSse2, OffsetsSse2<Shift>, nullptr};
    default: return {AnchorsScalar, OffsetsScalar<Shift>, nullptr};
    }
}

Kernels ChooseKernels(Conv conv, BlitLevel level) {
    Kernels k = SourceBpp(conv) == 4 ? ChooseLevel<2>(level) : ChooseLevel<1>(level);
    switch (conv) {
    case Conv::Same16: k.move = Move<Conv::Same16>; break;
    case Conv::Same32: k.move = Move<Conv::Same32>; break;
    case Conv::ToP555: k.move = Move<Conv::ToP555>; break;
    case Conv::ToP565: k.move = Move<Conv::ToP565>; break;
    case Conv::FromP555: k.move = Move<Conv::FromP555>; break;
    case Conv::FromP565: k.move = Move<Conv::FromP565>; break;
    }
    return k;
}

// True when w keeps one sign at the four corners, well away from zero for
// the size of its terms: then it keeps that sign over the corners' hull,
// where every covered centre lies, and no anchor's position is undefined.
bool KeepsSign(const Mat3& h, const int64_t dx[4], const int64_t dy[4]) {
    for (const auto& row : h.m)
        for (double e : row)
            if (!std::isfinite(e)) return false;
    double reach = 0.0;
    for (int k = 0; k < 4; ++k) reach = std::max({reach, std::fabs(double(dx[k])), std::fabs(double(dy[k]))});
    const double terms = (std::fabs(h.m[2][0]) + std::fabs(h.m[2][1])) * (reach + 1.0) + std::fabs(h.m[2][2]);
    int sign = 0;
    for (int k = 0; k < 4; ++k) {
        const double w = h.m[2][0] * double(dx[k]) + h.m[2][1] * double(dy[k]) + h.m[2][2];
        if (!(std::fabs(w) > 1e-9 * terms)) return false;
        const int s = w > 0.0 ? 1 : -1;
        if (sign != 0 && s != sign) return false;
        sign = s;
    }
    return true;
}

}  // namespace

// Along the row u = (h00 x + a) / (h20 x + c): its second derivative is
// 2 (h00 c - a h20) h20 / w^3, largest in size where |w| is least, at one
// end of the run as w keeps its sign. Linear steps over L pixels stray at
// most L^2 / 8 of that from the map. A sixteenth of a pixel costs no more
// time than half a pixel on cube faces at 1920x1080, and moves 8 times fewer
// samples off the exact map's pixel.
int AnchorSpacing(const QuadMap& h, int y, int x0, int x1) {
    const auto& m = h.m;
    const double yc = y + 0.5;
    const double a = m[0][1] * yc + m[0][2], b = m[1][1] * yc + m[1][2], c = m[2][1] * yc + m[2][2];
    const double k = std::max(std::fabs(m[0][0] * c - a * m[2][0]), std::fabs(m[1][0] * c - b * m[2][0]));
    const double w = std::min(std::fabs(m[2][0] * (x0 + 0.5) + c), std::fabs(m[2][0] * (x1 - 0.5) + c));
    const double bend = k * std::fabs(m[2][0]) / (w * w * w) / 4.0;  // L^2 * bend bounds the stray
    int spacing = kMaxAnchorSpacing;
    while (spacing > 1 && !(double(spacing) * spacing * bend <= kAnchorStray)) spacing /= 2;
    return spacing;
}

bool MakeQuadMap(const BlitCorner (&corners)[4], QuadMap& out) {
    double qx[4], qy[4], sx[4], sy[4];
    for (int k = 0; k < 4; ++k) {
        qx[k] = static_cast<double>(corners[k].dstX);
        qy[k] = static_cast<double>(corners[k].dstY);
        sx[k] = corners[k].srcX / 65536.0;
        sy[k] = corners[k].srcY / 65536.0;
    }
    Mat3 dstQuad, srcQuad;
    if (!SquareToQuad(qx, qy, dstQuad) || !SquareToQuad(sx, sy, srcQuad)) return false;
    if (Singular(dstQuad) || Singular(srcQuad)) return false;
    out = Multiply(srcQuad, Adjugate(dstQuad));  // target position -> source position
    return true;
}

void FillQuad(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
              const BlitCorner (&corners)[4]) {
    Plane f, t;
    if (!from || !to || !fromRect || !toRect || !MakePlane(*from, f) || !MakePlane(*to, t)) return;
    const int sx0 = std::max<int>(fromRect->left, f.left), sx1 = std::min<int>(fromRect->right, f.right);
    const int sy0 = std::max<int>(fromRect->top, f.top), sy1 = std::min<int>(fromRect->bottom, f.bottom);
    if (sx1 <= sx0 || sy1 <= sy0) return;

    int64_t dx[4], dy[4];
    int64_t twiceArea = 0;
    for (int k = 0; k < 4; ++k) {
        dx[k] = corners[k].dstX;
        dy[k] = corners[k].dstY;
        if (dx[k] < -kMaxCoord || dx[k] > kMaxCoord || dy[k] < -kMaxCoord || dy[k] > kMaxCoord) return;
    }
    for (int k = 0; k < 4; ++k) twiceArea += dx[k] * dy[(k + 1) % 4] - dx[(k + 1) % 4] * dy[k];
    if (twiceArea == 0) return;
    Mat3 h;
    if (!MakeQuadMap(corners, h)) return;

    const int64_t yMin = *std::min_element(dy, dy + 4), yMax = *std::max_element(dy, dy + 4);
    const int yBegin = static_cast<int>(std::max<int64_t>(yMin, t.top));
    const int yEnd = static_cast<int>(std::min<int64_t>(yMax, t.bottom));
    const int64_t xMin = *std::min_element(dx, dx + 4), xMax = *std::max_element(dx, dx + 4);
    const int xBound = static_cast<int>(std::max<int64_t>(xMin, t.left));
    const int xLimit = static_cast<int>(std::min<int64_t>(xMax, t.right));
    if (yBegin >= yEnd || xBound >= xLimit) return;

    PlaneCopy copy;
    if (Overlaps(f, t)) {
        CopyArea(f, SurfaceRect{static_cast<int16_t>(sy0), static_cast<int16_t>(sx0), static_cast<int16_t>(sy1),
                                static_cast<int16_t>(sx1)},
                 copy);
        f = copy.plane;
    }
    const Conv conv = ChooseConv(f, t);

    // Stepping needs a map that stays finite over the quad, and source
    // offsets that fit 32 bits.
    const int64_t extent = int64_t(f.bottom - f.top - 1) * f.rowBytes + int64_t(f.right - f.left) * f.bpp;
    const bool stepped = KeepsSign(h, dx, dy) && extent <= int64_t(UINT32_MAX);
    Kernels kernels{};
    Source src{};
    std::vector<int32_t> anchors;
    std::vector<uint32_t> offsets;
    if (stepped) {
        kernels = ChooseKernels(conv, CurrentBlitLevel());
        const uint32_t rowBytes = static_cast<uint32_t>(f.rowBytes);
        const int shift = f.bpp == 4 ? 2 : 1;
        src = Source{f.pixels, rowBytes, static_cast<uint32_t>(f.top) * rowBytes + (static_cast<uint32_t>(f.left) << shift),
                     sx0, sx1 - 1, sy0, sy1 - 1};
        // Room for the anchors of a whole run one pixel apart, rounded up to
        // whole vectors of them, and for its offsets and the vector lanes
        // past its end.
        const size_t width = static_cast<size_t>(xLimit - xBound);
        anchors.resize(2 * (width + 16));
        offsets.resize(width + kMaxAnchorSpacing + 16);
    }

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
        for (int p = 0; p + 1 < n; p += 2) {
            const int xBegin = static_cast<int>(std::max<int64_t>(cross[p], t.left));
            const int xEnd = static_cast<int>(std::min<int64_t>(cross[p + 1], t.right));
            if (xBegin >= xEnd) continue;
            if (!stepped) {
                RunExact(h, f, t, conv, sx0, sx1, sy0, sy1, y, xBegin, xEnd);
                continue;
            }
            const Run run(y, xBegin, xEnd, AnchorSpacing(h, y, xBegin, xEnd));
            int32_t* au = anchors.data();
            int32_t* av = au + anchors.size() / 2;
            kernels.anchors(h, run, au, av);
            kernels.offsets(src, run, au, av, offsets.data());
            kernels.move(src.pixels, offsets.data(), At(t, xBegin, y), xEnd - xBegin);
        }
    }
}

}  // namespace fxhost::blit
