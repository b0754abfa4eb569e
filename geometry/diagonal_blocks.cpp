// The 8 by 8 transposes: SSE2 unpack networks (8 words of 16 bits in one
// register; four 4 by 4 quarters for 32-bit pixels), the one-pixel loop at
// the scalar level. SSE2 serves every level above it: a block is too small
// for wider registers to pay.
#include "geometry/diagonal_blocks.h"

#include <cstring>

#include "render/intrinsics.h"

namespace {

template <bool kAnti, int kBytes>
void BlockScalar(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes) {
    for (int a = 0; a < 8; ++a)
        for (int b = 0; b < 8; ++b) {
            const int r = kAnti ? 7 - b : b, x = kAnti ? 7 - a : a;
            std::memcpy(dst + a * rowBytes + b * kBytes, src + r * rowBytes + x * kBytes, kBytes);
        }
}

__attribute__((target("sse2"))) inline __m128i Load(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
__attribute__((target("sse2"))) inline void Store(uint8_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

// Word reversal of one register.
__attribute__((target("sse2"))) inline __m128i Reverse(__m128i v, int bytes) {
    if (bytes == 4) return _mm_shuffle_epi32(v, 0x1B);
    return _mm_shuffle_epi32(_mm_shufflelo_epi16(_mm_shufflehi_epi16(v, 0x1B), 0x1B), 0x4E);
}

// c[i] becomes column i of the 8 rows r (16-bit words).
__attribute__((target("sse2"), always_inline)) inline void Transpose16(const __m128i r[8], __m128i c[8]) {
    __m128i t[8], u[8];
    for (int k = 0; k < 4; ++k) {
        t[2 * k] = _mm_unpacklo_epi16(r[2 * k], r[2 * k + 1]);
        t[2 * k + 1] = _mm_unpackhi_epi16(r[2 * k], r[2 * k + 1]);
    }
    for (int k = 0; k < 2; ++k) {
        const int s = 4 * k;
        u[s] = _mm_unpacklo_epi32(t[s], t[s + 2]);
        u[s + 1] = _mm_unpackhi_epi32(t[s], t[s + 2]);
        u[s + 2] = _mm_unpacklo_epi32(t[s + 1], t[s + 3]);
        u[s + 3] = _mm_unpackhi_epi32(t[s + 1], t[s + 3]);
    }
    for (int k = 0; k < 4; ++k) {
        c[2 * k] = _mm_unpacklo_epi64(u[k], u[k + 4]);
        c[2 * k + 1] = _mm_unpackhi_epi64(u[k], u[k + 4]);
    }
}

// c[i] becomes column i of the 4 rows r (32-bit words).
__attribute__((target("sse2"), always_inline)) inline void Transpose32(const __m128i r[4], __m128i c[4]) {
    const __m128i t0 = _mm_unpacklo_epi32(r[0], r[1]), t1 = _mm_unpacklo_epi32(r[2], r[3]);
    const __m128i t2 = _mm_unpackhi_epi32(r[0], r[1]), t3 = _mm_unpackhi_epi32(r[2], r[3]);
    c[0] = _mm_unpacklo_epi64(t0, t1);
    c[1] = _mm_unpackhi_epi64(t0, t1);
    c[2] = _mm_unpacklo_epi64(t2, t3);
    c[3] = _mm_unpackhi_epi64(t2, t3);
}

// Stores column i of the block as row i of dst, or for the anti-diagonal
// column 7 - i reversed.
template <bool kAnti>
__attribute__((target("sse2"))) void BlockSse2(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytes) {
    if (bytes == 2) {
        __m128i r[8], c[8];
        for (int k = 0; k < 8; ++k) r[k] = Load(src + k * rowBytes);
        Transpose16(r, c);
        for (int a = 0; a < 8; ++a) Store(dst + a * rowBytes, kAnti ? Reverse(c[7 - a], 2) : c[a]);
        return;
    }
    // Quarter (I, L) of dst, 4 by 4 pixels, is quarter (L, I) of src
    // transposed; for the anti-diagonal, quarter (1 - L, 1 - I) reversed.
    for (int qa = 0; qa < 2; ++qa)
        for (int qb = 0; qb < 2; ++qb) {
            const int sr = kAnti ? 1 - qb : qb, sx = kAnti ? 1 - qa : qa;
            __m128i r[4], c[4];
            for (int k = 0; k < 4; ++k) r[k] = Load(src + (4 * sr + k) * rowBytes + 16 * sx);
            Transpose32(r, c);
            for (int a = 0; a < 4; ++a)
                Store(dst + (4 * qa + a) * rowBytes + 16 * qb, kAnti ? Reverse(c[3 - a], 4) : c[a]);
        }
}

template <bool kAnti>
void Block(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytes, SimdLevel level) {
    if (level >= SimdLevel::kSse2)
        BlockSse2<kAnti>(dst, src, rowBytes, bytes);
    else if (bytes == 4)
        BlockScalar<kAnti, 4>(dst, src, rowBytes);
    else
        BlockScalar<kAnti, 2>(dst, src, rowBytes);
}

}  // namespace

void TransposeBlock(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytesPerPixel, SimdLevel level) {
    Block<false>(dst, src, rowBytes, bytesPerPixel, level);
}

void AntiTransposeBlock(uint8_t* dst, const uint8_t* src, ptrdiff_t rowBytes, int32_t bytesPerPixel,
                        SimdLevel level) {
    Block<true>(dst, src, rowBytes, bytesPerPixel, level);
}
