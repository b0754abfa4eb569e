#include "colour/color_control_kernels.h"

#include <immintrin.h>

#include <vector>

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
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint32_t* src = rows.srcRow<uint32_t>(y);
        uint32_t* dst = rows.dstRow<uint32_t>(y);
        int32_t x = 0;
        for (; x + 8 <= rows.width; x += 8) {
            const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + x));
            __m256i lo = _mm256_unpacklo_epi8(p, zero);
            __m256i hi = _mm256_unpackhi_epi8(p, zero);
            lo = _mm256_srli_epi16(_mm256_mullo_epi16(lo, gains), 8);
            hi = _mm256_srli_epi16(_mm256_mullo_epi16(hi, gains), 8);
            const __m256i out = _mm256_xor_si256(_mm256_packus_epi16(lo, hi), mask);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + x), out);
        }
        GainRowScalar(src + x, dst + x, rows.width - x, red, green, blue, xorMask);
    }
}

void GainsSmallSse2(const PixelRows& rows, int16_t red, int16_t green, int16_t blue,
                    uint32_t xorMask) {
    const __m128i gains = _mm_setr_epi16(blue, green, red, 0, blue, green, red, 0);
    const __m128i zero = _mm_setzero_si128();
    const __m128i mask = _mm_set1_epi32(static_cast<int32_t>(xorMask));
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint32_t* src = rows.srcRow<uint32_t>(y);
        uint32_t* dst = rows.dstRow<uint32_t>(y);
        int32_t x = 0;
        for (; x + 4 <= rows.width; x += 4) {
            const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x));
            __m128i lo = _mm_unpacklo_epi8(p, zero);
            __m128i hi = _mm_unpackhi_epi8(p, zero);
            lo = _mm_srli_epi16(_mm_mullo_epi16(lo, gains), 8);
            hi = _mm_srli_epi16(_mm_mullo_epi16(hi, gains), 8);
            const __m128i out = _mm_xor_si128(_mm_packus_epi16(lo, hi), mask);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x), out);
        }
        GainRowScalar(src + x, dst + x, rows.width - x, red, green, blue, xorMask);
    }
}

void GainsScalar(const PixelRows& rows, int16_t red, int16_t green, int16_t blue, uint32_t xorMask) {
    for (int32_t y = 0; y < rows.rows; ++y)
        GainRowScalar(rows.srcRow<uint32_t>(y), rows.dstRow<uint32_t>(y), rows.width, red, green,
                      blue, xorMask);
}

// 64 bytes at a time through the 256-entry table with two 128-entry byte
// permutes, chosen by the top bit of each byte.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void TableAvx512(const PixelRows& rows,
                                                                       const uint8_t table[256],
                                                                       uint32_t xorMask) {
    const __m512i t0 = _mm512_loadu_si512(table);
    const __m512i t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128);
    const __m512i t3 = _mm512_loadu_si512(table + 192);
    const __m512i colour = _mm512_set1_epi32(0x00FFFFFF);
    const __m512i mask = _mm512_set1_epi32(static_cast<int32_t>(xorMask));
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint32_t* src = rows.srcRow<uint32_t>(y);
        uint32_t* dst = rows.dstRow<uint32_t>(y);
        int32_t x = 0;
        for (; x + 16 <= rows.width; x += 16) {
            const __m512i p = _mm512_loadu_si512(src + x);
            const __m512i low = _mm512_permutex2var_epi8(t0, p, t1);
            const __m512i high = _mm512_permutex2var_epi8(t2, p, t3);
            const __m512i v = _mm512_mask_blend_epi8(_mm512_movepi8_mask(p), low, high);
            const __m512i out = _mm512_xor_si512(_mm512_and_si512(v, colour), mask);
            _mm512_storeu_si512(dst + x, out);
        }
        for (; x < rows.width; ++x) StorePixel(dst, x, TablePixel(LoadPixel(src, x), table) ^ xorMask);
    }
}

// Without byte permutes: green and blue go through one 65536-entry table of
// both their results, red through a table of its result in place, with the
// complement folded into both. Two lookups a pixel instead of three.
void TableTwoLookups(const PixelRows& rows, const uint8_t table[256], uint32_t xorMask) {
    static thread_local std::vector<uint16_t> greenBlue(65536);
    uint32_t red[256];
    for (uint32_t i = 0; i < 256; ++i) red[i] = ((uint32_t{table[i]} << 16) ^ xorMask) & 0xFFFF0000u;
    uint16_t* gb = greenBlue.data();
    for (uint32_t g = 0; g < 256; ++g) {
        const uint32_t high = uint32_t{table[g]} << 8;
        for (uint32_t b = 0; b < 256; ++b) gb[g << 8 | b] = static_cast<uint16_t>((high | table[b]) ^ xorMask);
    }
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint32_t* src = rows.srcRow<uint32_t>(y);
        uint32_t* dst = rows.dstRow<uint32_t>(y);
        for (int32_t x = 0; x < rows.width; ++x) {
            const uint32_t p = LoadPixel(src, x);
            StorePixel(dst, x, red[(p >> 16) & 0xFF] | gb[p & 0xFFFF]);
        }
    }
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

void ApplyChannelTable(const PixelRows& rows, const uint8_t table[256], uint32_t xorMask,
                       SimdLevel level) {
    if (level >= SimdLevel::kAvx512Vbmi)
        TableAvx512(rows, table, xorMask);
    else
        TableTwoLookups(rows, table, xorMask);
}
