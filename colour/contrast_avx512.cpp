#include "colour/contrast_avx512.h"

#include "colour/contrast_kernels.h"
#include "render/surface.h"

#include "render/intrinsics.h"
#include "render/row_blocks.h"

namespace {

// r + g + (g >> 1) + (b >> 1) of 16 pixels, as 32-bit lanes.
AVX512_KERNEL_INLINE __m512i Luminance(__m512i p) {
    const __m512i greenRed = _mm512_maddubs_epi16(p, _mm512_set1_epi32(0x00010100));
    const __m512i halves = _mm512_and_si512(_mm512_srli_epi32(p, 1), _mm512_set1_epi32(0x007F7F7F));
    const __m512i halfBlueGreen = _mm512_maddubs_epi16(halves, _mm512_set1_epi32(0x00000101));
    return _mm512_madd_epi16(_mm512_add_epi16(greenRed, halfBlueGreen), _mm512_set1_epi16(1));
}

// Entry idx (its low 7 bits) of the block-th 128 bytes of t.
AVX512_KERNEL_INLINE __m512i LookUp128(const uint8_t* t, int block, __m512i idx) {
    return _mm512_permutex2var_epi8(_mm512_load_si512(t + 128 * block), idx, _mm512_load_si512(t + 128 * block + 64));
}

// Entry idx + 128 x (bits 7 to 9 of the luminance) of a 768-byte table.
AVX512_KERNEL_INLINE __m512i LookUp768(const uint8_t* t, __m512i idx, __mmask64 bit7, __mmask64 bit8,
                                       __mmask64 bit9) {
    const __m512i b01 = _mm512_mask_blend_epi8(bit7, LookUp128(t, 0, idx), LookUp128(t, 1, idx));
    const __m512i b23 = _mm512_mask_blend_epi8(bit7, LookUp128(t, 2, idx), LookUp128(t, 3, idx));
    const __m512i b45 = _mm512_mask_blend_epi8(bit7, LookUp128(t, 4, idx), LookUp128(t, 5, idx));
    return _mm512_mask_blend_epi8(bit9, _mm512_mask_blend_epi8(bit8, b01, b23), b45);
}

// Byte indexes. The luminances of four vectors are packed to words (each
// 128-bit lane: four of the first vector, four of the second) and their low
// bytes gathered in order; kSpread[i] takes a byte back to the three colour
// bytes of its pixel in vector i.
struct ByteOrder {
    alignas(64) uint8_t lowBytes[64];
    alignas(64) uint8_t spread[4][64];
};

constexpr ByteOrder MakeByteOrder() {
    ByteOrder o{};
    for (int k = 0; k < 64; ++k) o.lowBytes[k] = static_cast<uint8_t>(k < 32 ? 2 * k : 64 + 2 * (k - 32));
    for (int i = 0; i < 4; ++i)
        for (int b = 0; b < 64; ++b) {
            const int j = b / 4;
            o.spread[i][b] = static_cast<uint8_t>((i >= 2 ? 32 : 0) + 8 * (j / 4) + (i % 2 ? 4 : 0) + j % 4);
        }
    return o;
}
constexpr ByteOrder kByteOrder = MakeByteOrder();

// 64 pixels a block, in four vectors.
template <bool kRaise, bool kLower>
AVX512_KERNEL void DeltaRows(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask) {
    const __m512i lowBytes = _mm512_load_si512(kByteOrder.lowBytes);
    const __m512i mask = _mm512_set1_epi32(static_cast<int32_t>(xorMask));
    const __m512i colour = _mm512_set1_epi32(0x00FFFFFF);
    constexpr __mmask64 kColourBytes = 0x7777777777777777ull;
    ForEachBlock512<uint32_t, 4>(rows, [&](__m512i(&p)[4]) AVX512_KERNEL {
        __m512i raise = _mm512_setzero_si512(), lower = _mm512_setzero_si512();
        if (kRaise || kLower) {
            const __m512i lum01 = _mm512_packus_epi32(Luminance(p[0]), Luminance(p[1]));
            const __m512i lum23 = _mm512_packus_epi32(Luminance(p[2]), Luminance(p[3]));
            const __m512i idx = _mm512_permutex2var_epi8(lum01, lowBytes, lum23);
            const __m512i block =
                _mm512_permutex2var_epi8(_mm512_srli_epi16(lum01, 7), lowBytes, _mm512_srli_epi16(lum23, 7));
            const __mmask64 bit7 = _mm512_test_epi8_mask(block, _mm512_set1_epi8(1));
            const __mmask64 bit8 = _mm512_test_epi8_mask(block, _mm512_set1_epi8(2));
            const __mmask64 bit9 = _mm512_test_epi8_mask(block, _mm512_set1_epi8(4));
            if (kRaise) raise = LookUp768(t.raise, idx, bit7, bit8, bit9);
            if (kLower) lower = LookUp768(t.lower, idx, bit7, bit8, bit9);
        }
        for (int i = 0; i < 4; ++i) {
            const __m512i spread = _mm512_load_si512(kByteOrder.spread[i]);
            __m512i out = p[i];
            if (kRaise) out = _mm512_adds_epu8(out, _mm512_maskz_permutexvar_epi8(kColourBytes, spread, raise));
            if (kLower) out = _mm512_subs_epu8(out, _mm512_maskz_permutexvar_epi8(kColourBytes, spread, lower));
            // (out & colour) ^ mask
            p[i] = _mm512_ternarylogic_epi32(out, colour, mask, 0x6A);
        }
    });
}

// Instantiates Body<kRaise, kLower> for the bounds that reach asks for.
template <template <bool, bool> class Body, class... Args>
void ByReach(const DeltaReach& reach, Args&&... args) {
    if (reach.raise && reach.lower)
        Body<true, true>::Run(args...);
    else if (reach.raise)
        Body<true, false>::Run(args...);
    else if (reach.lower)
        Body<false, true>::Run(args...);
    else
        Body<false, false>::Run(args...);
}

template <bool kRaise, bool kLower>
struct DeltaRowsBody {
    static void Run(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask) {
        DeltaRows<kRaise, kLower>(rows, t, xorMask);
    }
};

}  // namespace

void LuminanceDeltasAvx512(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask) {
    ByReach<DeltaRowsBody>(t.reach32, rows, t, xorMask);
}

namespace {

// field + delta, kept to 0..31, with the delta's bias taken off; a bound that
// no delta can pass is left out.
template <bool kRaise, bool kLower>
AVX512_KERNEL_INLINE __m512i AddClamped5(__m512i field, __m512i delta) {
    __m512i sum = _mm512_add_epi16(field, delta);
    if (kLower) sum = _mm512_subs_epu16(sum, _mm512_set1_epi16(32));
    if (kRaise) sum = _mm512_min_epi16(sum, _mm512_set1_epi16(31));
    return sum;
}

template <int32_t Format, bool kRaise, bool kLower>
AVX512_KERNEL void Luminance16Rows(const PixelRows& rows, const LuminanceTables& t, uint16_t xorMask) {
    constexpr int kRed = Shifts16(Format).red, kGreen = Shifts16(Format).green;
    // Bytes of the table; the word lanes read it through their low byte.
    const uint8_t* f = t.fieldDeltas;
    const __m512i t0 = _mm512_load_si512(f), t1 = _mm512_load_si512(f + 64), t2 = _mm512_load_si512(f + 128);
    constexpr __mmask64 kLowBytes = 0x5555555555555555ull;
    const __m512i five = _mm512_set1_epi16(31);
    const __m512i mask = _mm512_set1_epi16(static_cast<int16_t>(xorMask));
    ForEachVector512<uint16_t>(rows, [&](__m512i p) AVX512_KERNEL {
        const __m512i r = _mm512_and_si512(_mm512_srli_epi16(p, kRed), five);
        const __m512i g = _mm512_and_si512(_mm512_srli_epi16(p, kGreen), five);
        const __m512i b = _mm512_and_si512(p, five);
        __m512i d = _mm512_setzero_si512();
        if (kRaise || kLower) {
            const __m512i k = _mm512_add_epi16(_mm512_add_epi16(_mm512_add_epi16(r, r), b),
                                               _mm512_add_epi16(_mm512_add_epi16(g, g), g));
            // k below 128 from the first 128 bytes, else from the last 64.
            d = _mm512_mask_blend_epi8(_mm512_movepi8_mask(k), _mm512_maskz_permutex2var_epi8(kLowBytes, t0, k, t1),
                                       _mm512_maskz_permutexvar_epi8(kLowBytes, k, t2));
        }
        const __m512i rg = _mm512_or_si512(_mm512_slli_epi16(AddClamped5<kRaise, kLower>(r, d), kRed),
                                           _mm512_slli_epi16(AddClamped5<kRaise, kLower>(g, d), kGreen));
        const __m512i blue = AddClamped5<kRaise, kLower>(b, d);
        // (rg | blue) ^ mask
        return _mm512_ternarylogic_epi32(rg, blue, mask, 0x56);
    });
}

template <bool kRaise, bool kLower>
struct Luminance16Body {
    static void Run(const PixelRows& rows, const LuminanceTables& t, int32_t format, uint16_t xorMask) {
        if (format == kFormat555)
            Luminance16Rows<kFormat555, kRaise, kLower>(rows, t, xorMask);
        else
            Luminance16Rows<kFormat565, kRaise, kLower>(rows, t, xorMask);
    }
};

}  // namespace

void Luminance16Avx512(const PixelRows& rows, const LuminanceTables& t, int32_t format, uint16_t xorMask) {
    ByReach<Luminance16Body>(t.reach16, rows, t, format, xorMask);
}
