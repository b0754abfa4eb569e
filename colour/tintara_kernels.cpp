#include "colour/tintara_kernels.h"

#include "render/intrinsics.h"

#include <vector>

namespace {

// Runs pixel(p) over every word of the rows.
template <class Word, class Pixel>
void ForEachWord(const PixelRows& rows, Pixel pixel) {
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        for (int32_t x = 0; x < rows.width; ++x) StorePixel(dst, x, static_cast<Word>(pixel(LoadPixel(src, x))));
    }
}

// The composed table, 16 pixels a gather: the index of a 32-bit pixel is
// formed in the vector, a 16-bit word is widened first.
__attribute__((target("avx512f,avx512bw"))) void ComposedAvx512(const PixelRows& rows, int32_t wordBytes,
                                                               const uint32_t* composed) {
    const __m512i field = _mm512_set1_epi32(31);
    for (int32_t y = 0; y < rows.rows; ++y) {
        int32_t x = 0;
        if (wordBytes == 4) {
            const uint32_t* src = rows.srcRow<uint32_t>(y);
            uint32_t* dst = rows.dstRow<uint32_t>(y);
            for (; x + 16 <= rows.width; x += 16) {
                const __m512i p = _mm512_loadu_si512(src + x);
                const __m512i r = _mm512_slli_epi32(_mm512_and_si512(_mm512_srli_epi32(p, 19), field), 10);
                const __m512i g = _mm512_slli_epi32(_mm512_and_si512(_mm512_srli_epi32(p, 11), field), 5);
                const __m512i b = _mm512_and_si512(_mm512_srli_epi32(p, 3), field);
                const __m512i index = _mm512_or_si512(_mm512_or_si512(r, g), b);
                _mm512_storeu_si512(dst + x, _mm512_i32gather_epi32(index, composed, 4));
            }
            for (; x < rows.width; ++x) StorePixel(dst, x, composed[HueIndex32(LoadPixel(src, x))]);
        } else {
            const uint16_t* src = rows.srcRow<uint16_t>(y);
            uint16_t* dst = rows.dstRow<uint16_t>(y);
            const __m512i low15 = _mm512_set1_epi32(0x7FFF);
            for (; x + 16 <= rows.width; x += 16) {
                const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + x));
                const __m512i index = _mm512_and_si512(_mm512_cvtepu16_epi32(p), low15);
                const __m512i words = _mm512_i32gather_epi32(index, composed, 4);
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + x), _mm512_cvtepi32_epi16(words));
            }
            for (; x < rows.width; ++x)
                StorePixel(dst, x, static_cast<uint16_t>(composed[HueIndex16(LoadPixel(src, x))]));
        }
    }
}

uint32_t HuePixel(uint32_t index, const HueTables& t) {
    return t.inverse[RemapHueCode(t.forward[index], t.table5, t.special) & 0x7FFF];
}

// Below this many pixels, composing the tables costs more than it saves.
constexpr int64_t kComposeMinPixels = 32768;

}  // namespace

void MapHueDirect(const PixelRows& rows, int32_t wordBytes, const HueTables& tables) {
    if (wordBytes == 2)
        ForEachWord<uint16_t>(rows, [&](uint32_t p) { return HuePixel(HueIndex16(p), tables); });
    else
        ForEachWord<uint32_t>(rows, [&](uint32_t p) { return HuePixel(HueIndex32(p), tables); });
}

void MapHue(const PixelRows& rows, int32_t wordBytes, const HueTables& tables, SimdLevel level) {
    if (int64_t{rows.rows} * rows.width < kComposeMinPixels) return MapHueDirect(rows, wordBytes, tables);
    static thread_local std::vector<uint32_t> composedTable(32768);
    uint32_t* composed = composedTable.data();
    for (uint32_t i = 0; i < 32768; ++i) composed[i] = HuePixel(i, tables);
    if (level >= SimdLevel::kAvx512Vbmi) return ComposedAvx512(rows, wordBytes, composed);
    if (wordBytes == 2)
        ForEachWord<uint16_t>(rows, [composed](uint32_t p) { return composed[HueIndex16(p)]; });
    else
        ForEachWord<uint32_t>(rows, [composed](uint32_t p) { return composed[HueIndex32(p)]; });
}
