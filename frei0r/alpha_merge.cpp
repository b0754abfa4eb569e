#include "frei0r/alpha_merge.h"

#include <immintrin.h>

namespace fxbridge {

namespace {

constexpr uint32_t kColour = 0x00FFFFFFu;

void MergeScalar(const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = (colour[i] & kColour) | (alphaFrom[i] & ~kColour);
}

__attribute__((target("sse2"))) void MergeSse2(const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out,
                                              size_t n) {
    const __m128i mask = _mm_set1_epi32(static_cast<int>(kColour));
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(colour + i));
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(alphaFrom + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_or_si128(_mm_and_si128(c, mask), _mm_andnot_si128(mask, a)));
    }
    MergeScalar(colour + i, alphaFrom + i, out + i, n - i);
}

__attribute__((target("avx2"))) void MergeAvx2(const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out,
                                              size_t n) {
    const __m256i mask = _mm256_set1_epi32(static_cast<int>(kColour));
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(colour + i));
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(alphaFrom + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                            _mm256_or_si256(_mm256_and_si256(c, mask), _mm256_andnot_si256(mask, a)));
    }
    MergeSse2(colour + i, alphaFrom + i, out + i, n - i);
}

__attribute__((target("avx512f"))) void MergeAvx512(const uint32_t* colour, const uint32_t* alphaFrom,
                                                   uint32_t* out, size_t n) {
    const __m512i mask = _mm512_set1_epi32(static_cast<int>(kColour));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m512i c = _mm512_loadu_si512(colour + i);
        const __m512i a = _mm512_loadu_si512(alphaFrom + i);
        // Bitwise mask ? c : a.
        _mm512_storeu_si512(out + i, _mm512_ternarylogic_epi32(mask, c, a, 0xCA));
    }
    MergeAvx2(colour + i, alphaFrom + i, out + i, n - i);
}

}  // namespace

void MergeAlphaAt(fxhost::BlitLevel level, const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out,
                  size_t n) {
    switch (level) {
        case fxhost::BlitLevel::kAvx512: return MergeAvx512(colour, alphaFrom, out, n);
        case fxhost::BlitLevel::kAvx2: return MergeAvx2(colour, alphaFrom, out, n);
        case fxhost::BlitLevel::kSse2: return MergeSse2(colour, alphaFrom, out, n);
        case fxhost::BlitLevel::kScalar: break;
    }
    MergeScalar(colour, alphaFrom, out, n);
}

void MergeAlpha(const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out, size_t n) {
    MergeAlphaAt(fxhost::CurrentBlitLevel(), colour, alphaFrom, out, n);
}

}  // namespace fxbridge
