// The span painter: per row, 16.16 source coordinates stepped across the
// run, mirrored into the source, one pixel copied each. The vector levels
// work out the addresses of 8 or 16 pixels at a time (lane k holds the
// coordinates the one-pixel recurrence reaches k steps on) and then move
// the pixels one by one, in order: on this processor that beats a gather,
// and a painter that reads what it has just written (in place) reads it as
// the one-pixel loop does. A run's last few pixels take the first lanes of
// one more register.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "geometry/affine_matrix.h"
#include "render/intrinsics.h"
#include "render/pixel_rows.h"
#include "shell/numeric.h"

namespace {

// 16.16 fixed point of v, truncated.
int32_t Fixed(double v) { return TruncToInt32(v * 65536.0); }

// value brought into 0 .. period-1.
int32_t IntoPeriod(int32_t value, int32_t period) {
    const int32_t r = value % period;
    return r < 0 ? r + period : r;
}

inline void Step(int32_t& u, int32_t du, int32_t U) {
    u += du;
    if (u >= U) u -= U;
}

// What every row of a call shares: the steps per pixel, and for the vector
// levels the offset of each lane from the first (k steps, within the
// period; lane 8's is the step of 8 lanes) and the step of 16 lanes.
struct Steps {
    int32_t du, dv;
    int32_t U, V;
    alignas(64) int32_t laneU[16];
    alignas(64) int32_t laneV[16];
    int32_t du16, dv16;
};

Steps MakeSteps(int32_t du, int32_t dv, int32_t U, int32_t V) {
    Steps s{du, dv, U, V, {}, {}, 0, 0};
    int32_t u = 0, v = 0;
    for (int k = 0; k < 16; ++k) {
        s.laneU[k] = u;
        s.laneV[k] = v;
        Step(u, du, U);
        Step(v, dv, V);
    }
    s.du16 = u;
    s.dv16 = v;
    return s;
}

// One run of one row: count pixels from u, v.
struct RowWalk {
    const Steps* steps;
    int32_t u, v;
    int32_t count;
};

template <class Pixel>
void RowScalar(const AffineSource& s, Pixel* out, RowWalk w) {
    // Everything in locals: the pixel stores could otherwise alias them.
    const uint8_t* pixels = s.pixels;
    const uint32_t* rowOffsets = s.rowOffsets;
    const int32_t width = s.width, height = s.height;
    const int32_t du = w.steps->du, dv = w.steps->dv, U = w.steps->U, V = w.steps->V;
    int32_t u = w.u, v = w.v;
    for (int32_t j = 0; j < w.count; ++j) {
        int32_t r = v >> 16;
        if (r >= height) r = 2 * height - r - 1;
        int32_t x = u >> 16;
        if (x >= width) x = 2 * width - x - 1;
        Pixel p;
        std::memcpy(&p, pixels + rowOffsets[r] + static_cast<uint32_t>(x) * sizeof(Pixel), sizeof p);
        StorePixel(out, j, p);
        Step(u, du, U);
        Step(v, dv, V);
    }
}

// Copies the 4 pixels at the byte offsets in at: the offsets leave the
// register two at a time, as 64-bit words.
template <class Pixel>
__attribute__((target("avx2"), always_inline)) inline void CopyFour(Pixel* out, const uint8_t* base, __m128i at) {
    const auto lo = static_cast<uint64_t>(_mm_cvtsi128_si64(at));
    const auto hi = static_cast<uint64_t>(_mm_extract_epi64(at, 1));
    std::memcpy(out, base + static_cast<uint32_t>(lo), sizeof(Pixel));
    std::memcpy(out + 1, base + (lo >> 32), sizeof(Pixel));
    std::memcpy(out + 2, base + static_cast<uint32_t>(hi), sizeof(Pixel));
    std::memcpy(out + 3, base + (hi >> 32), sizeof(Pixel));
}

template <class Pixel>
__attribute__((target("avx2"))) void RowAvx2(const AffineSource& s, Pixel* out, RowWalk w) {
    const Steps& st = *w.steps;
    const __m256i du = _mm256_set1_epi32(st.laneU[8]), dv = _mm256_set1_epi32(st.laneV[8]);
    const __m256i uLast = _mm256_set1_epi32(st.U - 1), vLast = _mm256_set1_epi32(st.V - 1);
    const __m256i U = _mm256_set1_epi32(st.U), V = _mm256_set1_epi32(st.V);
    // Lane k starts k steps on: the first coordinates plus the lane's
    // offset, brought back into the period.
    __m256i u = _mm256_add_epi32(_mm256_set1_epi32(w.u), _mm256_load_si256(reinterpret_cast<const __m256i*>(st.laneU)));
    __m256i v = _mm256_add_epi32(_mm256_set1_epi32(w.v), _mm256_load_si256(reinterpret_cast<const __m256i*>(st.laneV)));
    u = _mm256_sub_epi32(u, _mm256_and_si256(_mm256_cmpgt_epi32(u, uLast), U));
    v = _mm256_sub_epi32(v, _mm256_and_si256(_mm256_cmpgt_epi32(v, vLast), V));
    const __m256i xTop = _mm256_set1_epi32(2 * s.width - 1), rTop = _mm256_set1_epi32(2 * s.height - 1);
    const __m256i rowBytes = _mm256_set1_epi32(s.rowBytes);
    const uint8_t* base = s.pixels;
    constexpr int kShift = sizeof(Pixel) == 4 ? 2 : 1;
    alignas(32) uint32_t at[8];
    // The byte offsets of the 8 pixels from u, v, mirrored at the far edges:
    // min(r, 2 SH - 1 - r) for r in 0 .. 2 SH - 1, and the same for x.
    auto offsets = [&]() __attribute__((target("avx2"))) {
        const __m256i r = _mm256_min_epi32(_mm256_srli_epi32(v, 16), _mm256_sub_epi32(rTop, _mm256_srli_epi32(v, 16)));
        const __m256i x = _mm256_min_epi32(_mm256_srli_epi32(u, 16), _mm256_sub_epi32(xTop, _mm256_srli_epi32(u, 16)));
        _mm256_store_si256(reinterpret_cast<__m256i*>(at),
                           _mm256_add_epi32(_mm256_mullo_epi32(r, rowBytes), _mm256_slli_epi32(x, kShift)));
    };
    int32_t j = 0;
    for (; j + 8 <= w.count; j += 8) {
        offsets();
        for (int k = 0; k < 8; ++k) std::memcpy(out + j + k, base + at[k], sizeof(Pixel));
        u = _mm256_add_epi32(u, du);
        u = _mm256_sub_epi32(u, _mm256_and_si256(_mm256_cmpgt_epi32(u, uLast), U));
        v = _mm256_add_epi32(v, dv);
        v = _mm256_sub_epi32(v, _mm256_and_si256(_mm256_cmpgt_epi32(v, vLast), V));
    }
    // The last few pixels: the lanes up to the run's end.
    if (j < w.count) {
        offsets();
        for (int k = 0; k < w.count - j; ++k) std::memcpy(out + j + k, base + at[k], sizeof(Pixel));
    }
}

template <class Pixel>
__attribute__((target("avx512f,avx512bw"))) void RowAvx512(const AffineSource& s, Pixel* out, RowWalk w) {
    if (w.count <= 8) return RowAvx2(s, out, w);
    const Steps& st = *w.steps;
    const __m512i du = _mm512_set1_epi32(st.du16), dv = _mm512_set1_epi32(st.dv16);
    const __m512i U = _mm512_set1_epi32(st.U), V = _mm512_set1_epi32(st.V);
    __m512i u = _mm512_add_epi32(_mm512_set1_epi32(w.u), _mm512_load_si512(st.laneU));
    __m512i v = _mm512_add_epi32(_mm512_set1_epi32(w.v), _mm512_load_si512(st.laneV));
    u = _mm512_mask_sub_epi32(u, _mm512_cmpge_epi32_mask(u, U), u, U);
    v = _mm512_mask_sub_epi32(v, _mm512_cmpge_epi32_mask(v, V), v, V);
    const __m512i xTop = _mm512_set1_epi32(2 * s.width - 1), rTop = _mm512_set1_epi32(2 * s.height - 1);
    const __m512i rowBytes = _mm512_set1_epi32(s.rowBytes);
    const uint8_t* base = s.pixels;
    constexpr int kShift = sizeof(Pixel) == 4 ? 2 : 1;
    alignas(64) uint32_t at[16];
    auto offsets = [&]() __attribute__((target("avx512f,avx512bw"))) {
        const __m512i r = _mm512_min_epi32(_mm512_srli_epi32(v, 16), _mm512_sub_epi32(rTop, _mm512_srli_epi32(v, 16)));
        const __m512i x = _mm512_min_epi32(_mm512_srli_epi32(u, 16), _mm512_sub_epi32(xTop, _mm512_srli_epi32(u, 16)));
        return _mm512_add_epi32(_mm512_mullo_epi32(r, rowBytes), _mm512_slli_epi32(x, kShift));
    };
    int32_t j = 0;
    for (; j + 16 <= w.count; j += 16) {
        const __m512i o = offsets();
        CopyFour(out + j, base, _mm512_castsi512_si128(o));
        CopyFour(out + j + 4, base, _mm512_extracti32x4_epi32(o, 1));
        CopyFour(out + j + 8, base, _mm512_extracti32x4_epi32(o, 2));
        CopyFour(out + j + 12, base, _mm512_extracti32x4_epi32(o, 3));
        u = _mm512_add_epi32(u, du);
        u = _mm512_mask_sub_epi32(u, _mm512_cmpge_epi32_mask(u, U), u, U);
        v = _mm512_add_epi32(v, dv);
        v = _mm512_mask_sub_epi32(v, _mm512_cmpge_epi32_mask(v, V), v, V);
    }
    if (j < w.count) {
        _mm512_store_si512(at, offsets());
        for (int k = 0; k < w.count - j; ++k) std::memcpy(out + j + k, base + at[k], sizeof(Pixel));
    }
}

template <class Pixel>
void PaintRun(const AffineSource& s, Pixel* out, const RowWalk& w, SimdLevel level) {
    if (level >= SimdLevel::kAvx512Vbmi)
        RowAvx512(s, out, w);
    else if (level >= SimdLevel::kAvx2)
        RowAvx2(s, out, w);
    else
        RowScalar(s, out, w);
}

template <class Pixel>
void PaintRows(const AffineSource& s, const AffineMatrix& m, const SpanTarget& t, double xOffset, double yOffset,
               SimdLevel level) {
    const int32_t U = s.width << 17, V = s.height << 17;
    const Steps steps =
        MakeSteps(IntoPeriod(Fixed(((m.a + m.c * 0.0) + m.e) - ((m.a * 0.0 + m.c * 0.0) + m.e)), U),
                  IntoPeriod(Fixed(((m.b + m.d * 0.0) + m.f) - ((m.b * 0.0 + m.d * 0.0) + m.f)), V), U, V);
    // A run past the tile ends the call before its row.
    int32_t rows = t.rows;
    if (t.spans)
        for (int32_t i = 0; i < rows; ++i)
            if (t.spans[i].End > t.tileColumns) rows = i;
    for (int32_t i = 0; i < rows; ++i) {
        const int32_t start = t.spans ? t.spans[i].Start : 0;
        const double X = start + xOffset, Y = i + yOffset;
        RowWalk w{&steps, IntoPeriod(Fixed(m.a * X + m.c * Y + m.e), U), IntoPeriod(Fixed(m.b * X + m.d * Y + m.f), V),
                  t.spans ? t.spans[i].End - start : t.tileColumns};
        if (w.count > 0) PaintRun(s, reinterpret_cast<Pixel*>(t.row + i * t.rowStep) + start, w, level);
    }
}

}  // namespace

void PaintAffineSpans(const AffineSource& source, const AffineMatrix& m, const SpanTarget& target, double xOffset,
                      double yOffset, SimdLevel level) {
    if (source.bytesPerPixel == 4)
        PaintRows<uint32_t>(source, m, target, xOffset, yOffset, level);
    else
        PaintRows<uint16_t>(source, m, target, xOffset, yOffset, level);
}
