#include "colour/contrast_kernels.h"

#include <algorithm>
#include <cstring>

#include "colour/contrast_avx512.h"

#include "render/intrinsics.h"
#include "render/row_blocks.h"
#include "render/word_lookup.h"

namespace {

void DeltaRowScalar(const uint32_t* src, uint32_t* dst, int32_t n, const int16_t* deltas, uint32_t xorMask) {
    for (int32_t x = 0; x < n; ++x) StorePixel(dst, x, LuminanceDeltaPixel(LoadPixel(src, x), deltas) ^ xorMask);
}

// Entry i is i - 255 kept to a byte: a channel plus a delta of -255..255,
// raised by 255.
struct ClampTable {
    uint8_t entries[766];
};
constexpr ClampTable MakeClampTable() {
    ClampTable t{};
    for (int i = 0; i < 766; ++i) t.entries[i] = static_cast<uint8_t>(i < 255 ? 0 : i > 510 ? 255 : i - 255);
    return t;
}
constexpr ClampTable kClamp = MakeClampTable();

// Where no sum of a channel and a delta leaves 16 bits, clamping the delta
// to -255..255 first changes nothing, and each channel is one table read.
void ClampRowScalar(const uint32_t* src, uint32_t* dst, int32_t n, const uint16_t* clampFrom, uint32_t xorMask) {
    for (int32_t x = 0; x < n; ++x) {
        const uint32_t p = LoadPixel(src, x);
        const uint32_t r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
        const uint8_t* c = kClamp.entries + clampFrom[PixelLuminance(r, g, b)];
        StorePixel(dst, x, (uint32_t{c[r]} << 16 | uint32_t{c[g]} << 8 | c[b]) ^ xorMask);
    }
}

// The general vector loops widen each channel to a 16-bit lane and add the
// pixel's delta there: the addition wraps in 16 bits as the definition's
// does, and the signed-to-unsigned byte pack is its clamp. The delta of each
// pixel is gathered from the table by the luminance formed in 32-bit lanes;
// its low half is copied into the high half so that an interleave puts it
// beside every channel of its pixel.

__attribute__((target("avx2"))) void DeltasAvx2(const PixelRows& rows, const int16_t* deltas, uint32_t xorMask) {
    const __m256i byte = _mm256_set1_epi32(0xFF), low16 = _mm256_set1_epi32(0xFFFF);
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF), zero = _mm256_setzero_si256();
    const __m256i mask = _mm256_set1_epi32(static_cast<int32_t>(xorMask));
    const auto* table = reinterpret_cast<const int*>(deltas);
    ForEachBlock<uint32_t, 8>(rows, [&](const uint32_t* src, uint32_t* dst) __attribute__((target("avx2"))) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i r = _mm256_and_si256(_mm256_srli_epi32(p, 16), byte);
        const __m256i g = _mm256_and_si256(_mm256_srli_epi32(p, 8), byte);
        const __m256i b = _mm256_and_si256(p, byte);
        const __m256i lum = _mm256_add_epi32(_mm256_add_epi32(r, g),
                                             _mm256_add_epi32(_mm256_srli_epi32(g, 1), _mm256_srli_epi32(b, 1)));
        const __m256i d = _mm256_i32gather_epi32(table, lum, 2);
        const __m256i dd = _mm256_or_si256(_mm256_and_si256(d, low16), _mm256_slli_epi32(d, 16));
        const __m256i lo = _mm256_add_epi16(_mm256_unpacklo_epi8(p, zero), _mm256_unpacklo_epi32(dd, dd));
        const __m256i hi = _mm256_add_epi16(_mm256_unpackhi_epi8(p, zero), _mm256_unpackhi_epi32(dd, dd));
        const __m256i out = _mm256_and_si256(_mm256_packus_epi16(lo, hi), colour);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_xor_si256(out, mask));
    });
}

// Without a gather the four deltas are read one by one.
void DeltasSse2(const PixelRows& rows, const int16_t* deltas, uint32_t xorMask) {
    const __m128i colour = _mm_set1_epi32(0x00FFFFFF), zero = _mm_setzero_si128();
    const __m128i mask = _mm_set1_epi32(static_cast<int32_t>(xorMask));
    ForEachBlock<uint32_t, 4>(rows, [&](const uint32_t* src, uint32_t* dst) {
        uint32_t d[4];
        for (int i = 0; i < 4; ++i) {
            const uint32_t q = LoadPixel(src, i);
            const auto delta = static_cast<uint16_t>(deltas[PixelLuminance((q >> 16) & 0xFF, (q >> 8) & 0xFF, q & 0xFF)]);
            d[i] = uint32_t{delta} << 16 | delta;
        }
        const __m128i dd = _mm_setr_epi32(static_cast<int>(d[0]), static_cast<int>(d[1]), static_cast<int>(d[2]),
                                          static_cast<int>(d[3]));
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const __m128i lo = _mm_add_epi16(_mm_unpacklo_epi8(p, zero), _mm_unpacklo_epi32(dd, dd));
        const __m128i hi = _mm_add_epi16(_mm_unpackhi_epi8(p, zero), _mm_unpackhi_epi32(dd, dd));
        const __m128i out = _mm_and_si128(_mm_packus_epi16(lo, hi), colour);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_xor_si128(out, mask));
    });
}

// A curve that moves no 5-bit field leaves every field as it is: each word
// loses only the bit that is no field's (bit 15 of 5-5-5, the lowest green
// bit of 5-6-5). One loop, which the compiler vectorises for each level.
__attribute__((always_inline)) inline void KeepFieldRows(const PixelRows& rows, uint16_t keep, uint16_t xorMask) {
    const int32_t count = rows.rows, width = rows.width;
    for (int32_t y = 0; y < count; ++y) {
        const uint16_t* src = rows.srcRow<uint16_t>(y);
        uint16_t* dst = rows.dstRow<uint16_t>(y);
        for (int32_t x = 0; x < width; ++x) StorePixel(dst, x, static_cast<uint16_t>((LoadPixel(src, x) & keep) ^ xorMask));
    }
}

// Without vectors, four words a step in a 64-bit word.
__attribute__((optimize("no-tree-vectorize"))) void KeepFieldsScalar(const PixelRows& rows, uint16_t keep,
                                                                     uint16_t xorMask) {
    constexpr uint64_t kEveryWord = 0x0001000100010001ull;
    const uint64_t keep4 = keep * kEveryWord, mask4 = xorMask * kEveryWord;
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint16_t* src = rows.srcRow<uint16_t>(y);
        uint16_t* dst = rows.dstRow<uint16_t>(y);
        int32_t x = 0;
        for (; x + 4 <= rows.width; x += 4) {
            uint64_t words;
            std::memcpy(&words, src + x, 8);
            words = (words & keep4) ^ mask4;
            std::memcpy(dst + x, &words, 8);
        }
        for (; x < rows.width; ++x) StorePixel(dst, x, static_cast<uint16_t>((LoadPixel(src, x) & keep) ^ xorMask));
    }
}
void KeepFieldsSse2(const PixelRows& rows, uint16_t keep, uint16_t xorMask) { KeepFieldRows(rows, keep, xorMask); }
__attribute__((target("avx2"))) void KeepFieldsAvx2(const PixelRows& rows, uint16_t keep, uint16_t xorMask) {
    KeepFieldRows(rows, keep, xorMask);
}

}  // namespace

void PrepareLuminanceTables(LuminanceTables& t) {
    t.reach32 = {true, false, false};
    for (int y = 0; y < 768; ++y) {
        const int32_t d = y < 766 ? t.deltas[y] : 0;
        t.reach32.fits &= d <= 32767 - 255;
        t.reach32.raise |= d > 0;
        t.reach32.lower |= d < 0;
        t.raise[y] = static_cast<uint8_t>(std::clamp(d, 0, 255));
        t.lower[y] = static_cast<uint8_t>(std::clamp(-d, 0, 255));
        t.clampFrom[y] = static_cast<uint16_t>(std::clamp(d, -255, 255) + 255);
    }
    int16_t shifted[187];
    t.reach16 = {true, false, false};
    for (int k = 0; k < 187; ++k) {
        const int32_t d = t.deltas[4 * k];
        t.reach16.fits &= d <= 32767 - 248;
        shifted[k] = static_cast<int16_t>(std::clamp(d >> 3, -32, 32));
        t.reach16.raise |= shifted[k] > 0;
        t.reach16.lower |= shifted[k] < 0;
    }
    const int bias = t.reach16.lower ? 32 : 0;
    for (int k = 0; k < 192; ++k) t.fieldDeltas[k] = static_cast<uint8_t>(k < 187 ? shifted[k] + bias : 0);
}

void ApplyLuminanceDeltas(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask, SimdLevel level) {
    const int16_t* deltas = t.deltas;
    if (level >= SimdLevel::kAvx512Vbmi && t.reach32.fits) return LuminanceDeltasAvx512(rows, t, xorMask);
    if (level >= SimdLevel::kAvx2) return DeltasAvx2(rows, deltas, xorMask);
    if (level >= SimdLevel::kSse2) return DeltasSse2(rows, deltas, xorMask);
    for (int32_t y = 0; y < rows.rows; ++y) {
        if (t.reach32.fits)
            ClampRowScalar(rows.srcRow<uint32_t>(y), rows.dstRow<uint32_t>(y), rows.width, t.clampFrom, xorMask);
        else
            DeltaRowScalar(rows.srcRow<uint32_t>(y), rows.dstRow<uint32_t>(y), rows.width, deltas, xorMask);
    }
}

void LookUpWords16(const PixelRows& rows, const uint16_t* table, uint16_t xorMask) {
    LookUpWordRows(rows, table, 0xFFFF, xorMask);
}

bool Luminance16ReadsTable(const LuminanceTables& t, int32_t format, SimdLevel level) {
    const bool knownFormat = format == kFormat555 || format == kFormat565;
    if (!knownFormat || !t.reach16.fits) return true;
    // Below AVX-512 only a curve that moves no field runs without the table.
    return level < SimdLevel::kAvx512Vbmi && (t.reach16.raise || t.reach16.lower);
}

void ApplyLuminance16(const PixelRows& rows, const uint16_t* table, const LuminanceTables& t, int32_t format,
                      uint16_t xorMask, SimdLevel level) {
    if (Luminance16ReadsTable(t, format, level)) return LookUpWords16(rows, table, xorMask);
    if (level >= SimdLevel::kAvx512Vbmi) return Luminance16Avx512(rows, t, format, xorMask);
    const uint16_t keep = format == kFormat555 ? 0x7FFF : 0xFFDF;
    if (level >= SimdLevel::kAvx2) return KeepFieldsAvx2(rows, keep, xorMask);
    if (level >= SimdLevel::kSse2) return KeepFieldsSse2(rows, keep, xorMask);
    KeepFieldsScalar(rows, keep, xorMask);
}
