#include "colour/channel_tables.h"

#include "render/intrinsics.h"
#include "render/row_blocks.h"
#include "render/word_lookup.h"

#include <vector>

namespace {

struct Tables8 {
    const uint8_t* red;
    const uint8_t* green;
    const uint8_t* blue;
};

void TablesRowScalar(const uint32_t* src, uint32_t* dst, int32_t n, const Tables8& t, uint32_t xorMask) {
    for (int32_t x = 0; x < n; ++x)
        StorePixel(dst, x, TablesPixel(LoadPixel(src, x), t.red, t.green, t.blue) ^ xorMask);
}

// A 256-entry byte table as four registers, looked up with two 128-entry
// byte permutes chosen by the top bit of each byte.
struct ByteTable512 {
    __m512i part[4];
};

__attribute__((target("avx512f,avx512bw,avx512vbmi"))) ByteTable512 LoadByteTable(const uint8_t* table) {
    return {{_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64), _mm512_loadu_si512(table + 128),
             _mm512_loadu_si512(table + 192)}};
}

__attribute__((target("avx512f,avx512bw,avx512vbmi"))) inline __m512i LookUp(const ByteTable512& t, __m512i p,
                                                                            __mmask64 topBit) {
    const __m512i low = _mm512_permutex2var_epi8(t.part[0], p, t.part[1]);
    const __m512i high = _mm512_permutex2var_epi8(t.part[2], p, t.part[3]);
    return _mm512_mask_blend_epi8(topBit, low, high);
}

// 16 pixels at a time. With one table for all channels, one lookup serves
// the three; otherwise each channel's bytes are picked from its own lookup.
template <bool kOneTable>
AVX512_KERNEL void TablesAvx512(const PixelRows& rows, const Tables8& t, uint32_t xorMask) {
    const ByteTable512 blue = LoadByteTable(t.blue);
    const ByteTable512 green = kOneTable ? blue : LoadByteTable(t.green);
    const ByteTable512 red = kOneTable ? blue : LoadByteTable(t.red);
    const __mmask64 greenBytes = 0x2222222222222222ull, redBytes = 0x4444444444444444ull;
    const __m512i colour = _mm512_set1_epi32(0x00FFFFFF);
    const __m512i mask = _mm512_set1_epi32(static_cast<int32_t>(xorMask));
    ForEachVector512<uint32_t>(rows, [&](__m512i p) AVX512_KERNEL {
        const __mmask64 top = _mm512_movepi8_mask(p);
        __m512i v = LookUp(blue, p, top);
        if (!kOneTable) {
            v = _mm512_mask_blend_epi8(greenBytes, v, LookUp(green, p, top));
            v = _mm512_mask_blend_epi8(redBytes, v, LookUp(red, p, top));
        }
        return _mm512_xor_si512(_mm512_and_si512(v, colour), mask);
    });
}

// Without byte permutes: green and blue go through one 65536-entry table of
// both their results, red through a table of its result in place, with the
// complement folded into both. Two lookups a pixel instead of three.
void TablesTwoLookups(const PixelRows& rows, const Tables8& t, uint32_t xorMask) {
    static thread_local std::vector<uint16_t> greenBlue(65536);
    uint32_t red[256];
    for (uint32_t i = 0; i < 256; ++i) red[i] = ((uint32_t{t.red[i]} << 16) ^ xorMask) & 0xFFFF0000u;
    uint16_t* gb = greenBlue.data();
    for (uint32_t g = 0; g < 256; ++g) {
        const uint32_t high = uint32_t{t.green[g]} << 8;
        for (uint32_t b = 0; b < 256; ++b) gb[g << 8 | b] = static_cast<uint16_t>((high | t.blue[b]) ^ xorMask);
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

// Below this many pixels, building a table of 65536 entries costs more than
// it saves.
constexpr int64_t kBigTableMinPixels = 65536;

template <int32_t Format>
void Channels16Scalar(const uint16_t* src, uint16_t* dst, int32_t n, const Tables8& t) {
    for (int32_t x = 0; x < n; ++x)
        StorePixel(dst, x, Channels16Pixel(LoadPixel(src, x), t.red, t.green, t.blue, Format));
}

// 32 pixels at a time: each table as 32 16-bit words, looked up with a word
// permute per field; 16-bit lanes wrap as the 16-bit result does.
template <int32_t Format>
AVX512_KERNEL void Channels16Avx512(const PixelRows& rows, const Tables8& t) {
    alignas(64) uint16_t words[3][32];
    for (int i = 0; i < 32; ++i) {
        words[0][i] = t.red[i];
        words[1][i] = t.green[i];
        words[2][i] = t.blue[i];
    }
    const __m512i red = _mm512_load_si512(words[0]);
    const __m512i green = _mm512_load_si512(words[1]);
    const __m512i blue = _mm512_load_si512(words[2]);
    constexpr int kRedShift = Shifts16(Format).red;
    constexpr int kGreenShift = Shifts16(Format).green;
    ForEachVector512<uint16_t>(rows, [&](__m512i p) AVX512_KERNEL {
        // The permute reads the low five bits of each index.
        const __m512i r = _mm512_permutexvar_epi16(_mm512_srli_epi16(p, kRedShift), red);
        const __m512i g = _mm512_permutexvar_epi16(_mm512_srli_epi16(p, kGreenShift), green);
        const __m512i b = _mm512_permutexvar_epi16(p, blue);
        const __m512i rg = _mm512_add_epi16(_mm512_slli_epi16(r, 5), g);
        return _mm512_add_epi16(_mm512_slli_epi16(rg, kGreenShift), b);
    });
}

// A 32-entry byte table as its two halves in both 128-bit lanes.
struct FieldTable256 {
    __m256i low, high;
};

__attribute__((target("avx2"))) inline FieldTable256 LoadFieldTable(const uint8_t* table) {
    return {_mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table))),
            _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16)))};
}

// Fields of 0 to 31 in the low bytes of 16-bit lanes, high bytes 0, to their
// entries, high bytes 0. A byte shuffle reads 0 where the index has its top
// bit set: adding 0x70 sets it for fields from 16 up and subtracting 16 for
// fields below 16, so each half answers for its own fields; the high bytes
// are moved to 0x80 by the same operations.
__attribute__((target("avx2"), always_inline)) inline __m256i LookUpFields(const FieldTable256& t, __m256i field) {
    const __m256i toLow = _mm256_set1_epi16(static_cast<int16_t>(0x8070));
    const __m256i toHigh = _mm256_set1_epi16(static_cast<int16_t>(0x8010));
    return _mm256_or_si256(_mm256_shuffle_epi8(t.low, _mm256_add_epi8(field, toLow)),
                           _mm256_shuffle_epi8(t.high, _mm256_sub_epi8(field, toHigh)));
}

// 16 pixels at a time, joined in 16-bit lanes that wrap as the 16-bit
// result does.
template <int32_t Format>
__attribute__((target("avx2"))) void Channels16Avx2(const PixelRows& rows, const Tables8& t) {
    const FieldTable256 red = LoadFieldTable(t.red), green = LoadFieldTable(t.green), blue = LoadFieldTable(t.blue);
    const __m256i five = _mm256_set1_epi16(31);
    constexpr int kRedShift = Shifts16(Format).red;
    constexpr int kGreenShift = Shifts16(Format).green;
    ForEachBlock<uint16_t, 16>(rows, [&](const uint16_t* src, uint16_t* dst) __attribute__((target("avx2"))) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i r = LookUpFields(red, _mm256_and_si256(_mm256_srli_epi16(p, kRedShift), five));
        const __m256i g = LookUpFields(green, _mm256_and_si256(_mm256_srli_epi16(p, kGreenShift), five));
        const __m256i b = LookUpFields(blue, _mm256_and_si256(p, five));
        const __m256i rg = _mm256_add_epi16(_mm256_slli_epi16(r, 5), g);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_add_epi16(_mm256_slli_epi16(rg, kGreenShift), b));
    });
}

// Without byte shuffles, large pictures go through a table of every word:
// one lookup a pixel instead of three. The blue field is the word's low five
// bits, so the table is made 32 entries at a time from the rest of the word.
template <int32_t Format>
void Channels16WordTable(const PixelRows& rows, const Tables8& t) {
    static thread_local std::vector<uint16_t> words(65536);
    uint16_t* table = words.data();
    constexpr FieldShifts16 at = Shifts16(Format);
    for (uint32_t upper = 0; upper < 65536; upper += 32) {
        const uint32_t r = t.red[(upper >> at.red) & 31], g = t.green[(upper >> at.green) & 31];
        const uint32_t base = ((r << 5) + g) << at.green;
        for (uint32_t b = 0; b < 32; ++b) table[upper + b] = static_cast<uint16_t>(base + t.blue[b]);
    }
    LookUpWordRows(rows, table, 0xFFFF, 0);
}

template <int32_t Format>
void Channels16(const PixelRows& rows, const Tables8& t, SimdLevel level) {
    if (level >= SimdLevel::kAvx512Vbmi) return Channels16Avx512<Format>(rows, t);
    if (level >= SimdLevel::kAvx2) return Channels16Avx2<Format>(rows, t);
    if (int64_t{rows.rows} * rows.width >= kBigTableMinPixels) return Channels16WordTable<Format>(rows, t);
    for (int32_t y = 0; y < rows.rows; ++y)
        Channels16Scalar<Format>(rows.srcRow<uint16_t>(y), rows.dstRow<uint16_t>(y), rows.width, t);
}

}  // namespace

void ApplyChannelTables(const PixelRows& rows, const uint8_t red[256], const uint8_t green[256],
                        const uint8_t blue[256], uint32_t xorMask, SimdLevel level) {
    const Tables8 t{red, green, blue};
    if (level >= SimdLevel::kAvx512Vbmi) {
        if (red == green && green == blue)
            TablesAvx512<true>(rows, t, xorMask);
        else
            TablesAvx512<false>(rows, t, xorMask);
    } else if (int64_t{rows.rows} * rows.width >= kBigTableMinPixels) {
        TablesTwoLookups(rows, t, xorMask);
    } else {
        for (int32_t y = 0; y < rows.rows; ++y)
            TablesRowScalar(rows.srcRow<uint32_t>(y), rows.dstRow<uint32_t>(y), rows.width, t, xorMask);
    }
}

void MapChannels16(const PixelRows& rows, const uint8_t red[32], const uint8_t green[32], const uint8_t blue[32],
                   int32_t format, SimdLevel level) {
    const Tables8 t{red, green, blue};
    if (format == kFormat555)
        Channels16<kFormat555>(rows, t, level);
    else
        Channels16<kFormat565>(rows, t, level);
}
