#include "colour/tintara_kernels.h"

#include <cstring>
#include <new>

#include "colour/hsv_tables.h"
#include "render/intrinsics.h"
#include "render/row_blocks.h"
#include "render/word_lookup.h"

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

uint32_t HuePixel(uint32_t index, const HueTables& t) {
    return t.inverse[RemapHueCode(t.forward[index], t.table5, t.special) & 0x7FFF];
}


// Eight pixels a gather (sixteen 16-bit words in two).
__attribute__((target("avx2"))) inline __m256i HueIndex32Avx2(__m256i p) {
    const __m256i field = _mm256_set1_epi32(31);
    const __m256i r = _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(p, 19), field), 10);
    const __m256i g = _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(p, 11), field), 5);
    const __m256i b = _mm256_and_si256(_mm256_srli_epi32(p, 3), field);
    return _mm256_or_si256(_mm256_or_si256(r, g), b);
}

__attribute__((target("avx2"))) void Composed32Avx2(const PixelRows& rows, const uint32_t* composed) {
    const int* table = reinterpret_cast<const int*>(composed);
    ForEachBlock<uint32_t, 8>(rows, [&](const uint32_t* src, uint32_t* dst) __attribute__((target("avx2"))) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_i32gather_epi32(table, HueIndex32Avx2(p), 4));
    });
}

__attribute__((target("avx2"))) void Words16Avx2(const PixelRows& rows, const uint32_t* table32, uint32_t mask) {
    const int* table = reinterpret_cast<const int*>(table32);
    const __m256i indexMask = _mm256_set1_epi32(static_cast<int>(mask));
    ForEachBlock<uint16_t, 16>(rows, [&](const uint16_t* src, uint16_t* dst) __attribute__((target("avx2"))) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i lo = _mm256_and_si256(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(p)), indexMask);
        const __m256i hi = _mm256_and_si256(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(p, 1)), indexMask);
        // Entries fit 16 bits: the unsigned pack keeps them.
        const __m256i words = _mm256_packus_epi32(_mm256_i32gather_epi32(table, lo, 4),
                                                  _mm256_i32gather_epi32(table, hi, 4));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_permute4x64_epi64(words, 0xD8));
    });
}

}  // namespace

const uint32_t* HueComposition::For(const HueTables& tables) {
    const bool kept = table && forward == tables.forward && inverse == tables.inverse &&
                      special == tables.special && std::memcmp(table5, tables.table5, sizeof table5) == 0;
    if (kept) return table.get();
    if (!table) table.reset(new (std::nothrow) uint32_t[kHsvCodeCount]);
    if (!table) return nullptr;
    // Scalar: gathers build it no faster (three dependent lookups an entry).
    for (uint32_t i = 0; i < kHsvCodeCount; ++i) table[i] = HuePixel(i, tables);
    forward = tables.forward;
    inverse = tables.inverse;
    special = tables.special;
    std::memcpy(table5, tables.table5, sizeof table5);
    return table.get();
}

void MapHueDirect(const PixelRows& rows, int32_t wordBytes, const HueTables& tables) {
    if (wordBytes == 2)
        ForEachWord<uint16_t>(rows, [&](uint32_t p) { return HuePixel(HueIndex16(p), tables); });
    else
        ForEachWord<uint32_t>(rows, [&](uint32_t p) { return HuePixel(HueIndex32(p), tables); });
}

void MapHue(const PixelRows& rows, int32_t wordBytes, const HueTables& tables, HueComposition& kept,
            SimdLevel level) {
    const uint32_t* composed =
        int64_t{rows.rows} * rows.width < kComposeMinPixels ? nullptr : kept.For(tables);
    if (!composed) return MapHueDirect(rows, wordBytes, tables);
    if (wordBytes == 2) return MapWords16(rows, composed, 0x7FFF, level);
    // Eight-lane gathers serve the AVX-512 level too: sixteen-lane ones fetch
    // no more entries a cycle, and ran slower where measured.
    if (level >= SimdLevel::kAvx2) return Composed32Avx2(rows, composed);
    ForEachWord<uint32_t>(rows, [composed](uint32_t p) { return composed[HueIndex32(p)]; });
}

void MapWords16(const PixelRows& rows, const uint32_t* table, uint32_t indexMask, SimdLevel level) {
    if (level >= SimdLevel::kAvx2) return Words16Avx2(rows, table, indexMask);
    LookUpWordRows(rows, table, indexMask, 0);
}
