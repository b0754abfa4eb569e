// The generic body of the quantise members, instantiated for one red source
// in each of tintara_quantise_red1.cpp to _red4.cpp, so that the compiler's
// work on the 3,072 loops spreads over cores.
#pragma once

#include "render/intrinsics.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

#include "colour/channel_tables.h"
#include "colour/tintara.h"
#include "colour/tintara_kernels.h"
#include "colour/tintara_quantise.h"
#include "render/simd_level.h"

// The members of red source Red (1 to 4) by lookup pattern 0 to 7, where a
// set bit means the lookup is absent (red the highest bit).
template <int Red>
QuantiseMember RedMember(int pattern);
template <> QuantiseMember RedMember<1>(int pattern);
template <> QuantiseMember RedMember<2>(int pattern);
template <> QuantiseMember RedMember<3>(int pattern);
template <> QuantiseMember RedMember<4>(int pattern);

namespace quantise {

// Shared by all members, in tintara_quantise.cpp.
SimdLevel VectorLevel();
bool IsSource(int8_t s);
void BuildChannelTables(Tintara& t);

enum Source : int { kRed = 1, kGreen = 2, kBlue = 3, kLuminance = 4 };

// The four source quantities of a pixel word. The 5-6-5 masks keep bits
// that do not follow that layout's fields, and its red is not brought down
// to 8 bits; that is how this stage reads such words.
struct Quantities {
    uint32_t r, g, b;
};

template <int Format>
Quantities Read(uint32_t p) {
    if constexpr (Format == kFormat555) return {(p >> 7) & 0xF8, (p >> 2) & 0xF8, (p & 0x1F) << 3};
    if constexpr (Format == kFormat565) return {(p >> 7) & 0x1EE, (p >> 3) & 0x11C, (p & 0x1F) << 3};
    return {(p >> 16) & 0xFF, (p >> 8) & 0xFF, p & 0xFF};
}

template <int Src>
uint32_t Pick(const Quantities& q) {
    if constexpr (Src == kRed) return q.r;
    if constexpr (Src == kGreen) return q.g;
    if constexpr (Src == kBlue) return q.b;
    return ((q.r + q.g + (q.g >> 1) + (q.b >> 1)) * 85) >> 8;
}

template <int Format>
uint32_t Pack(uint32_t r, uint32_t g, uint32_t b) {
    if constexpr (Format == kFormat555) return ((r & 0xF8) << 7) + ((g & 0xF8) << 2) + (b >> 3);
    if constexpr (Format == kFormat565) return ((r & 0xF8) << 8) + ((g & 0xF8) << 3) + (b >> 3);
    return (r << 16) + (g << 8) + b;
}

// What every member settles before its rows.
struct Frame {
    uint32_t gain[3];    // the signed gains as unsigned factors
    uint32_t invert[3];  // 255 to invert, else 0
    alignas(64) uint8_t column[2][256];  // columns 0 and 1 of the table, each contiguous
    bool vector;  // the AVX-512 loops run
};

// One channel: the unsigned product, saturated at any bit above 7, then the
// table if the member has this lookup. Blue reads the green column.
template <bool Look, int Column>
uint32_t Channel(uint32_t s, uint32_t gain, uint32_t invert, const Frame& f) {
    uint32_t x = (s * gain) >> 8;
    x = x > 255 ? 255 : x;
    if constexpr (Look) x = f.column[Column][x];
    return x ^ invert;
}

#define QUANTISE_AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi")))
#define QUANTISE_AVX512_INLINE __attribute__((target("avx512f,avx512bw,avx512vbmi"), always_inline)) inline

struct QuantitiesV {
    __m512i r, g, b;
};

template <unsigned Shift, uint32_t Mask>
QUANTISE_AVX512_INLINE __m512i FieldV(__m512i p) {
    return _mm512_and_si512(_mm512_srli_epi32(p, Shift), _mm512_set1_epi32(static_cast<int>(Mask)));
}

template <int Format>
QUANTISE_AVX512_INLINE QuantitiesV ReadV(__m512i p) {
    if constexpr (Format == kFormatXrgb) return {FieldV<16, 0xFF>(p), FieldV<8, 0xFF>(p), FieldV<0, 0xFF>(p)};
    const __m512i blue = _mm512_slli_epi32(FieldV<0, 0x1F>(p), 3);
    if constexpr (Format == kFormat555) return {FieldV<7, 0xF8>(p), FieldV<2, 0xF8>(p), blue};
    return {FieldV<7, 0x1EE>(p), FieldV<3, 0x11C>(p), blue};
}

template <int Src>
QUANTISE_AVX512_INLINE __m512i PickV(const QuantitiesV& q) {
    if constexpr (Src == kRed) return q.r;
    if constexpr (Src == kGreen) return q.g;
    if constexpr (Src == kBlue) return q.b;
    const __m512i sum = _mm512_add_epi32(_mm512_add_epi32(q.r, q.g),
                                         _mm512_add_epi32(_mm512_srli_epi32(q.g, 1), _mm512_srli_epi32(q.b, 1)));
    return _mm512_srli_epi32(_mm512_mullo_epi32(sum, _mm512_set1_epi32(85)), 8);
}

// Sixteen values of 0 to 255 through a 256-byte column: narrowed to bytes,
// looked up by two 128-byte permutes chosen by the top bit, widened again.
QUANTISE_AVX512_INLINE __m512i LookupV(__m512i x, const uint8_t* column) {
    const __m512i bytes = _mm512_castsi128_si512(_mm512_cvtepi32_epi8(x));
    const __m512i low = _mm512_permutex2var_epi8(_mm512_load_si512(column), bytes, _mm512_load_si512(column + 64));
    const __m512i high =
        _mm512_permutex2var_epi8(_mm512_load_si512(column + 128), bytes, _mm512_load_si512(column + 192));
    const __m512i v = _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), low, high);
    return _mm512_cvtepu8_epi32(_mm512_castsi512_si128(v));
}

template <bool Look, int Column>
QUANTISE_AVX512_INLINE __m512i ChannelV(__m512i s, uint32_t gain, uint32_t invert, const Frame& f) {
    __m512i x = _mm512_srli_epi32(_mm512_mullo_epi32(s, _mm512_set1_epi32(static_cast<int>(gain))), 8);
    x = _mm512_min_epu32(x, _mm512_set1_epi32(255));
    if constexpr (Look) x = LookupV(x, f.column[Column]);
    return _mm512_xor_si512(x, _mm512_set1_epi32(static_cast<int>(invert)));
}

template <int Format>
QUANTISE_AVX512_INLINE __m512i PackV(__m512i r, __m512i g, __m512i b) {
    if constexpr (Format == kFormatXrgb)
        return _mm512_add_epi32(_mm512_add_epi32(_mm512_slli_epi32(r, 16), _mm512_slli_epi32(g, 8)), b);
    const __m512i top = _mm512_set1_epi32(0xF8);
    constexpr unsigned redShift = Format == kFormat555 ? 7 : 8, greenShift = Format == kFormat555 ? 2 : 3;
    return _mm512_add_epi32(_mm512_add_epi32(_mm512_slli_epi32(_mm512_and_si512(r, top), redShift),
                                             _mm512_slli_epi32(_mm512_and_si512(g, top), greenShift)),
                            _mm512_srli_epi32(b, 3));
}

// Sixteen pixels a step, the same body in 32-bit lanes; returns where the
// scalar loop takes over.
template <int Red, int Green, int Blue, bool LookR, bool LookG, bool LookB, int Format>
QUANTISE_AVX512 int32_t QuantiseRowAvx512(const uint8_t* src, uint8_t* dst, int32_t width, const Frame& f) {
    int32_t x = 0;
    for (; x + 16 <= width; x += 16) {
        __m512i p;
        if constexpr (Format == kFormatXrgb)
            p = _mm512_loadu_si512(src + 4 * x);
        else
            p = _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * x)));
        const QuantitiesV q = ReadV<Format>(p);
        const __m512i r = ChannelV<LookR, 0>(PickV<Red>(q), f.gain[0], f.invert[0], f);
        const __m512i g = ChannelV<LookG, 1>(PickV<Green>(q), f.gain[1], f.invert[1], f);
        const __m512i b = ChannelV<LookB, 1>(PickV<Blue>(q), f.gain[2], f.invert[2], f);
        const __m512i out = PackV<Format>(r, g, b);
        if constexpr (Format == kFormatXrgb)
            _mm512_storeu_si512(dst + 4 * x, out);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * x), _mm512_cvtepi32_epi16(out));
    }
    return x;
}

template <int Red, int Green, int Blue, bool LookR, bool LookG, bool LookB, int Format>
void QuantiseRow(const uint8_t* srcRow, uint8_t* dstRow, int32_t width, const Frame& f) {
    using Word = std::conditional_t<Format == kFormatXrgb, uint32_t, uint16_t>;
    const Word* src = reinterpret_cast<const Word*>(srcRow);
    Word* dst = reinterpret_cast<Word*>(dstRow);
    const int32_t done = f.vector ? QuantiseRowAvx512<Red, Green, Blue, LookR, LookG, LookB, Format>(srcRow, dstRow, width, f) : 0;
    for (int32_t x = done; x < width; ++x) {
        const Quantities q = Read<Format>(LoadPixel(src, x));
        const uint32_t r = Channel<LookR, 0>(Pick<Red>(q), f.gain[0], f.invert[0], f);
        const uint32_t g = Channel<LookG, 1>(Pick<Green>(q), f.gain[1], f.invert[1], f);
        const uint32_t b = Channel<LookB, 1>(Pick<Blue>(q), f.gain[2], f.invert[2], f);
        StorePixel(dst, x, static_cast<Word>(Pack<Format>(r, g, b)));
    }
}

// Every 16-bit word, 0 to 65535, as a row to run the members over.
const uint16_t* AllWords();
// The table of format's words for the member whose row function is row,
// rebuilt when its key changed; null when memory runs out.
const uint32_t* WordTable(QuantiseWordTable& kept, uintptr_t row, int32_t format, const Frame& f,
                          void (*build)(const uint8_t*, uint8_t*, int32_t, const Frame&));

// Large 15- and 16-bit pictures through the table of every word; false
// where the rows are to be worked out pixel by pixel.
template <int Red, int Green, int Blue, bool LookR, bool LookG, bool LookB, int Format>
bool LookUpRows(Tintara& t, const PixelRows& rows, const Frame& f) {
    if (int64_t{rows.rows} * rows.width < kQuantiseTableMinPixels) return false;
    constexpr auto row = &QuantiseRow<Red, Green, Blue, LookR, LookG, LookB, Format>;
    const uint32_t* table = WordTable(t.quantiseWords, reinterpret_cast<uintptr_t>(row), Format, f, row);
    if (!table) return false;
    MapWords16(rows, table, 0xFFFF, VectorLevel());
    return true;
}

// 32-bit pixels whose channels keep their own sources: each output channel
// is a function of one byte, so the route is three 256-entry tables.
template <bool LookR, bool LookG, bool LookB>
void ChannelTableRows(const PixelRows& rows, const Frame& f) {
    alignas(64) uint8_t tables[3][256];
    for (uint32_t v = 0; v < 256; ++v) {
        tables[0][v] = static_cast<uint8_t>(Channel<LookR, 0>(v, f.gain[0], f.invert[0], f));
        tables[1][v] = static_cast<uint8_t>(Channel<LookG, 1>(v, f.gain[1], f.invert[1], f));
        tables[2][v] = static_cast<uint8_t>(Channel<LookB, 1>(v, f.gain[2], f.invert[2], f));
    }
    ApplyChannelTables(rows, tables[0], tables[1], tables[2], 0, VectorLevel());
}

template <int Red, int Green, int Blue, bool LookR, bool LookG, bool LookB>
void QuantiseRows(Tintara& t, const Frame& f) {
    const PixelRows rows = t.WordLoop(t.pixelFormat == kFormatXrgb ? 4 : 2);
    if constexpr (Red == kRed && Green == kGreen && Blue == kBlue) {
        if (t.pixelFormat == kFormatXrgb) return ChannelTableRows<LookR, LookG, LookB>(rows, f);
    }
    if (t.pixelFormat == kFormat555 && LookUpRows<Red, Green, Blue, LookR, LookG, LookB, kFormat555>(t, rows, f))
        return;
    if (t.pixelFormat == kFormat565 && LookUpRows<Red, Green, Blue, LookR, LookG, LookB, kFormat565>(t, rows, f))
        return;
    for (int32_t y = 0; y < rows.rows; ++y) {
        const uint8_t* src = rows.src + static_cast<intptr_t>(y) * rows.srcStep;
        uint8_t* dst = rows.dst + static_cast<intptr_t>(y) * rows.dstStep;
        switch (t.pixelFormat) {  // read anew for each row
        case kFormat555: QuantiseRow<Red, Green, Blue, LookR, LookG, LookB, kFormat555>(src, dst, rows.width, f); break;
        case kFormat565: QuantiseRow<Red, Green, Blue, LookR, LookG, LookB, kFormat565>(src, dst, rows.width, f); break;
        case kFormatXrgb: QuantiseRow<Red, Green, Blue, LookR, LookG, LookB, kFormatXrgb>(src, dst, rows.width, f); break;
        default: break;  // the row is left as it was
        }
    }
}

template <int Red, bool LookR, bool LookG, bool LookB, int Green, int... Blues>
void ForBlue(Tintara& t, const Frame& f, int8_t blue, std::integer_sequence<int, Blues...>) {
    ((blue == Blues ? QuantiseRows<Red, Green, Blues, LookR, LookG, LookB>(t, f) : void()), ...);
}

template <int Red, bool LookR, bool LookG, bool LookB, int... Greens>
void ForGreen(Tintara& t, const Frame& f, int8_t green, int8_t blue, std::integer_sequence<int, Greens...>) {
    ((green == Greens ? ForBlue<Red, LookR, LookG, LookB, Greens>(t, f, blue, std::integer_sequence<int, 1, 2, 3, 4>{})
                      : void()),
     ...);
}

template <int Red, bool LookR, bool LookG, bool LookB>
void Member(Tintara& t) {
    t.RefreshWorkSurface();
    const TintaraParams& s = t.settings;
    Frame f{};
    for (int c = 0; c < 3; ++c) {
        // gain x 255 wraps in 32 bits before the signed division.
        const auto scaled = static_cast<int32_t>(static_cast<uint32_t>(s.channelGain[c]) * 255u);
        f.gain[c] = static_cast<uint32_t>(scaled / 100);
        f.invert[c] = s.channelInvert[c] ? 255u : 0u;
    }
    BuildChannelTables(t);
    for (int i = 0; i < 256; ++i) {
        f.column[0][i] = t.channelTable[i][0];
        f.column[1][i] = t.channelTable[i][1];
    }
    f.vector = VectorLevel() >= SimdLevel::kAvx512Vbmi;
    if (!IsSource(s.channelSource[1]) || !IsSource(s.channelSource[2])) return;
    ForGreen<Red, LookR, LookG, LookB>(t, f, s.channelSource[1], s.channelSource[2],
                                       std::integer_sequence<int, 1, 2, 3, 4>{});
}

// Member Red, Pattern: the head, the gains, the tables, then the straight
// loops of the green and blue sources that the record names.
template <int Red, int... Patterns>
constexpr std::array<QuantiseMember, 8> MembersOfRed(std::integer_sequence<int, Patterns...>) {
    return {&Member<Red, !(Patterns & 4), !(Patterns & 2), !(Patterns & 1)>...};
}

}  // namespace quantise
