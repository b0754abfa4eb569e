#include "colour/color_control_kernels.h"

#include "render/intrinsics.h"
#include "render/row_blocks.h"

namespace {

void GainRowScalar(const uint32_t* src, uint32_t* dst, int32_t n, int32_t red, int32_t green,
                   int32_t blue, uint32_t xorMask) {
    for (int32_t x = 0; x < n; ++x)
        StorePixel(dst, x, GainPixel(LoadPixel(src, x), red, green, blue) ^ xorMask);
}

// Gains from 0 to 256 keep every channel within a byte, so the channels can
// be multiplied in 16-bit lanes and packed straight back.
__attribute__((target("avx2"))) void GainsSmallAvx2(const PixelRows& rows, int16_t red,
                                                    int16_t green, int16_t blue,
                                                    uint32_t xorMask) {
    const __m256i gains = _mm256_setr_epi16(blue, green, red, 0, blue, green, red, 0, blue, green,
                                            red, 0, blue, green, red, 0);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(xorMask));
    ForEachBlock<uint32_t, 8>(rows, [&](const uint32_t* src, uint32_t* dst) __attribute__((target("avx2"))) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        __m256i lo = _mm256_unpacklo_epi8(p, zero);
        __m256i hi = _mm256_unpackhi_epi8(p, zero);
        lo = _mm256_srli_epi16(_mm256_mullo_epi16(lo, gains), 8);
        hi = _mm256_srli_epi16(_mm256_mullo_epi16(hi, gains), 8);
        const __m256i out = _mm256_xor_si256(_mm256_packus_epi16(lo, hi), mask);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), out);
    });
}

void GainsSmallSse2(const PixelRows& rows, int16_t red, int16_t green, int16_t blue,
                    uint32_t xorMask) {
    const __m128i gains = _mm_setr_epi16(blue, green, red, 0, blue, green, red, 0);
    const __m128i zero = _mm_setzero_si128();
    const __m128i mask = _mm_set1_epi32(static_cast<int32_t>(xorMask));
    ForEachBlock<uint32_t, 4>(rows, [&](const uint32_t* src, uint32_t* dst) {
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        __m128i lo = _mm_unpacklo_epi8(p, zero);
        __m128i hi = _mm_unpackhi_epi8(p, zero);
        lo = _mm_srli_epi16(_mm_mullo_epi16(lo, gains), 8);
        hi = _mm_srli_epi16(_mm_mullo_epi16(hi, gains), 8);
        const __m128i out = _mm_xor_si128(_mm_packus_epi16(lo, hi), mask);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), out);
    });
}

void GainsScalar(const PixelRows& rows, int16_t red, int16_t green, int16_t blue, uint32_t xorMask) {
    for (int32_t y = 0; y < rows.rows; ++y)
        GainRowScalar(rows.srcRow<uint32_t>(y), rows.dstRow<uint32_t>(y), rows.width, red, green,
                      blue, xorMask);
}

bool InByteRange(int16_t gain) { return gain >= 0 && gain <= 256; }

}  // namespace

void ApplyChannelGains(const PixelRows& rows, int16_t red, int16_t green, int16_t blue,
                       uint32_t xorMask, SimdLevel level) {
    if (!InByteRange(red) || !InByteRange(green) || !InByteRange(blue) || level == SimdLevel::kScalar)
        GainsScalar(rows, red, green, blue, xorMask);
    else if (level >= SimdLevel::kAvx2)
        GainsSmallAvx2(rows, red, green, blue, xorMask);
    else
        GainsSmallSse2(rows, red, green, blue, xorMask);
}
