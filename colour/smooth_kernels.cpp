#include "colour/smooth_kernels.h"

#include "render/intrinsics.h"

#include <cstring>

#include "render/pixel_rows.h"
#include "render/surface.h"

namespace {

// ---- Portable loops -------------------------------------------------------

void UnpackPortable(const uint16_t* pixels, uint8_t* slots, int32_t count, FieldShifts16 l) {
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t p = LoadPixel(pixels, i);
        const uint32_t channels = (p & 31) | ((p >> l.green) & 31) << 8 | ((p >> l.red) & 31) << 16;
        StoreWord(slots + 4 * i, (LoadWord(slots + 4 * i) & 0xFF000000u) | channels);
    }
}

void PackPortable(const uint8_t* slots, uint16_t* pixels, int32_t count, FieldShifts16 l) {
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t s = LoadWord(slots + 4 * i);
        const uint32_t p = (((s >> 16) & 31) << l.red) | (((s >> 8) & 31) << l.green) | (s & 31);
        StorePixel(pixels, i, static_cast<uint16_t>(p));
    }
}

// The plain mean (weights 8192 and 0) of 8-bit channels: blue and red are
// summed in the two halves of a masked word, and green is what remains of
// the sum of whole words once those are taken out.
inline uint32_t MeanWord8(uint32_t a0, uint32_t a1, uint32_t a2, uint32_t m0, uint32_t m2,
                          uint32_t b0, uint32_t b1, uint32_t b2) {
    constexpr uint32_t kBlueRed = 0x00FF00FF;
    const uint32_t all = a0 + a1 + a2 + m0 + m2 + b0 + b1 + b2;
    const uint32_t blueRed = (a0 & kBlueRed) + (a1 & kBlueRed) + (a2 & kBlueRed) + (m0 & kBlueRed) +
                             (m2 & kBlueRed) + (b0 & kBlueRed) + (b1 & kBlueRed) + (b2 & kBlueRed);
    return ((blueRed >> 3) & kBlueRed) | (((all - blueRed) >> 3) & 0x0000FF00);
}

// The plain mean of 5-bit channels: eight bytes of at most 31 sum to at most
// 248, so whole words add without carries between the channels.
inline uint32_t MeanWord5(uint32_t a0, uint32_t a1, uint32_t a2, uint32_t m0, uint32_t m2,
                          uint32_t b0, uint32_t b1, uint32_t b2) {
    return ((a0 + a1 + a2 + m0 + m2 + b0 + b1 + b2) >> 3) & 0x001F1F1F;
}

template <uint32_t (*Mean)(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                           uint32_t)>
void MeanRowPortable(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                     int32_t width) {
    for (int32_t x = 1; x < width - 1; ++x) {
        const int32_t i = 4 * x;
        StoreWord(out + i, Mean(LoadWord(a + i - 4), LoadWord(a + i), LoadWord(a + i + 4),
                                LoadWord(m + i - 4), LoadWord(m + i + 4), LoadWord(b + i - 4),
                                LoadWord(b + i), LoadWord(b + i + 4)));
    }
}

void FilterRowLiteral(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                      int32_t width, SmoothWeightPair w) {
    for (int32_t x = 1; x < width - 1; ++x)
        StoreWord(out + 4 * x, FilterSlot(a + 4 * x, m + 4 * x, b + 4 * x, w));
}

// Any weights, byte by byte, written for the vectoriser and instantiated per
// instruction set below: the neighbours sum in 16 bits (at most 2040), the
// products wrap in 32.
__attribute__((always_inline)) inline void FilterRowBytes(const uint8_t* __restrict a,
                                                          const uint8_t* __restrict m,
                                                          const uint8_t* __restrict b,
                                                          uint8_t* __restrict out, int32_t width,
                                                          SmoothWeightPair w) {
    const auto neighbour = static_cast<uint32_t>(w.neighbour);
    const auto centre = static_cast<uint32_t>(w.centre);
    const int32_t end = 4 * (width - 1);
    for (int32_t i = 4; i < end; ++i) {
        const auto sum =
            static_cast<uint16_t>(uint16_t(a[i - 4] + a[i]) + uint16_t(a[i + 4] + m[i - 4]) +
                                  uint16_t(m[i + 4] + b[i - 4]) + uint16_t(b[i] + b[i + 4]));
        const uint32_t value = uint32_t{sum} * neighbour + uint32_t{m[i]} * centre;
        out[i] = (i & 3) == 3 ? 0 : static_cast<uint8_t>(value >> 16);
    }
}

// ---- AVX2 -----------------------------------------------------------------

#define SMOOTH_AVX2 __attribute__((target("avx2")))
#define SMOOTH_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

// The lanes [0, n) of eight as a mask for the masked loads and stores.
SMOOTH_AVX2_INLINE __m256i LaneMask(int32_t n) {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(n), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

// Sums down the three rows of one block of slots: the whole column and its
// rim (above and below, without the middle).
struct Columns256 {
    __m256i sum, rim;
};

SMOOTH_AVX2_INLINE Columns256 ColumnsOf(__m256i a, __m256i m, __m256i b) {
    const __m256i rim = _mm256_add_epi32(a, b);
    return {_mm256_add_epi32(rim, m), rim};
}

// The eight neighbours of each slot of the current block: the columns to its
// left and right, shifted in from the neighbouring blocks, and its own rim.
SMOOTH_AVX2_INLINE __m256i Ring(const Columns256& prev, const Columns256& cur,
                                const Columns256& next) {
    const __m256i left =
        _mm256_alignr_epi8(cur.sum, _mm256_permute2x128_si256(prev.sum, cur.sum, 0x21), 12);
    const __m256i right =
        _mm256_alignr_epi8(_mm256_permute2x128_si256(cur.sum, next.sum, 0x21), cur.sum, 4);
    return _mm256_add_epi32(_mm256_add_epi32(left, right), cur.rim);
}

// Column sums of block k (slots 8k to 8k+7) of the three rows, of whole
// words and, for 8-bit channels, of blue and red alone; slots from width on
// count as 0.
template <bool FiveBit>
SMOOTH_AVX2_INLINE void LoadBlockAvx2(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                      int32_t k, int32_t width, Columns256& all,
                                      Columns256& blueRed) {
    __m256i va, vm, vb;
    if (8 * k + 8 <= width) {
        va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 32 * k));
        vm = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(m + 32 * k));
        vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 32 * k));
    } else if (8 * k < width) {
        const __m256i mask = LaneMask(width - 8 * k);
        va = _mm256_maskload_epi32(reinterpret_cast<const int*>(a + 32 * k), mask);
        vm = _mm256_maskload_epi32(reinterpret_cast<const int*>(m + 32 * k), mask);
        vb = _mm256_maskload_epi32(reinterpret_cast<const int*>(b + 32 * k), mask);
    } else {
        va = vm = vb = _mm256_setzero_si256();
    }
    all = ColumnsOf(va, vm, vb);
    if (!FiveBit) {
        const __m256i mask = _mm256_set1_epi32(0x00FF00FF);
        blueRed = ColumnsOf(_mm256_and_si256(va, mask), _mm256_and_si256(vm, mask),
                            _mm256_and_si256(vb, mask));
    }
}

// Eight slots a step from slot 0, each block of column sums serving the
// blocks on both sides; see MeanRowAvx512.
template <bool FiveBit>
SMOOTH_AVX2 void MeanRowAvx2(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                             int32_t width) {
    const __m256i blueRedMask = _mm256_set1_epi32(0x00FF00FF);
    const int32_t blocks = (width + 6) / 8;  // blocks holding slots 0 to width-2
    Columns256 prevAll{}, curAll{}, nextAll{}, prevBr{}, curBr{}, nextBr{};
    LoadBlockAvx2<FiveBit>(a, m, b, 0, width, curAll, curBr);
    for (int32_t k = 0; k < blocks; ++k) {
        LoadBlockAvx2<FiveBit>(a, m, b, k + 1, width, nextAll, nextBr);
        __m256i v;
        if (FiveBit) {
            v = _mm256_and_si256(_mm256_srli_epi32(Ring(prevAll, curAll, nextAll), 3),
                                 _mm256_set1_epi32(0x001F1F1F));
        } else {
            const __m256i blueRed = Ring(prevBr, curBr, nextBr);
            const __m256i green =
                _mm256_srli_epi32(_mm256_sub_epi32(Ring(prevAll, curAll, nextAll), blueRed), 3);
            v = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(blueRed, 3), blueRedMask),
                                _mm256_and_si256(green, _mm256_set1_epi32(0x0000FF00)));
        }
        if (k > 0 && 8 * k + 8 <= width - 1) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * k), v);
        } else {
            __m256i mask = LaneMask(width - 1 - 8 * k);
            if (k == 0) mask = _mm256_blend_epi32(mask, _mm256_setzero_si256(), 1);
            _mm256_maskstore_epi32(reinterpret_cast<int*>(out + 32 * k), mask, v);
        }
        prevAll = curAll;
        curAll = nextAll;
        prevBr = curBr;
        curBr = nextBr;
    }
}

SMOOTH_AVX2 void FilterRowBytesAvx2(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                    uint8_t* out, int32_t width, SmoothWeightPair w) {
    FilterRowBytes(a, m, b, out, width, w);
}

// Sixteen pixels to slots: blue and green form the low halves of the words,
// red the high halves, interleaved after a qword swap that keeps the order.
template <int Green, int Red>
SMOOTH_AVX2 void UnpackAvx2(const uint16_t* pixels, uint8_t* slots, int32_t count) {
    const __m256i blue = _mm256_set1_epi16(0x001F);
    const __m256i greenMask = _mm256_set1_epi16(0x1F00);
    const __m256i top = _mm256_set1_epi32(static_cast<int32_t>(0xFF000000u));
    int32_t i = 0;
    for (; i + 16 <= count; i += 16) {
        __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels + i));
        p = _mm256_permute4x64_epi64(p, 0xD8);
        const __m256i low =
            _mm256_or_si256(_mm256_and_si256(p, blue),
                            _mm256_and_si256(_mm256_slli_epi16(p, 8 - Green), greenMask));
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(p, Red), blue);
        __m256i* s = reinterpret_cast<__m256i*>(slots + 4 * i);
        const __m256i old0 = _mm256_loadu_si256(s), old1 = _mm256_loadu_si256(s + 1);
        _mm256_storeu_si256(
            s, _mm256_or_si256(_mm256_unpacklo_epi16(low, high), _mm256_and_si256(old0, top)));
        _mm256_storeu_si256(
            s + 1, _mm256_or_si256(_mm256_unpackhi_epi16(low, high), _mm256_and_si256(old1, top)));
    }
    UnpackPortable(pixels + i, slots + 4 * i, count - i, FieldShifts16{Green, Red});
}

// Slots to pixels in 32-bit lanes: blue plus green times 2^Green in the low
// half of each word, red in the high half, then both halves joined by a
// multiply-add.
SMOOTH_AVX2_INLINE __m256i PixelWordsAvx2(__m256i slots, __m256i channels, __m256i bytes,
                                          __m256i halves) {
    return _mm256_madd_epi16(_mm256_maddubs_epi16(_mm256_and_si256(slots, channels), bytes),
                             halves);
}

template <int Green, int Red>
SMOOTH_AVX2 void PackAvx2(const uint8_t* slots, uint16_t* pixels, int32_t count) {
    const __m256i channels = _mm256_set1_epi32(0x001F1F1F);
    const __m256i bytes = _mm256_set1_epi32(1 | (1 << Green) << 8 | 1 << 16);
    const __m256i halves = _mm256_set1_epi32(1 | (1 << Red) << 16);
    int32_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i* s = reinterpret_cast<const __m256i*>(slots + 4 * i);
        const __m256i p =
            _mm256_packus_epi32(PixelWordsAvx2(_mm256_loadu_si256(s), channels, bytes, halves),
                                PixelWordsAvx2(_mm256_loadu_si256(s + 1), channels, bytes, halves));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pixels + i),
                            _mm256_permute4x64_epi64(p, 0xD8));
    }
    PackPortable(slots + 4 * i, pixels + i, count - i, FieldShifts16{Green, Red});
}

// ---- AVX-512 --------------------------------------------------------------

#define SMOOTH_AVX512 __attribute__((target("avx512f,avx512bw")))
#define SMOOTH_AVX512_INLINE __attribute__((target("avx512f,avx512bw"), always_inline)) inline
#define SMOOTH_AVX512VBMI __attribute__((target("avx512f,avx512bw,avx512vbmi")))

// Slots [first, end) of a block of 16 from first as a mask; none when end <= first.
inline __mmask16 SlotMask(int32_t first, int32_t end) {
    const int32_t n = end - first;
    return n >= 16 ? __mmask16(0xFFFF) : n <= 0 ? __mmask16(0) : __mmask16((1u << n) - 1);
}

// Sums down the three rows of one block of slots: the whole column and its
// rim (above and below, without the middle).
struct Columns512 {
    __m512i sum, rim;
};

SMOOTH_AVX512_INLINE Columns512 ColumnsOf(__m512i a, __m512i m, __m512i b) {
    const __m512i rim = _mm512_add_epi32(a, b);
    return {_mm512_add_epi32(rim, m), rim};
}

// The eight neighbours of each slot of the current block: the columns to its
// left and right, taken from the neighbouring blocks by a word shift, and
// its own rim.
SMOOTH_AVX512_INLINE __m512i Ring(const Columns512& prev, const Columns512& cur,
                                  const Columns512& next) {
    const __m512i left = _mm512_alignr_epi32(cur.sum, prev.sum, 15);
    const __m512i right = _mm512_alignr_epi32(next.sum, cur.sum, 1);
    return _mm512_add_epi32(_mm512_add_epi32(left, right), cur.rim);
}

// Column sums of block k (slots 16k to 16k+15); see LoadBlockAvx2.
template <bool FiveBit>
SMOOTH_AVX512_INLINE void LoadBlockAvx512(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                          int32_t k, int32_t width, Columns512& all,
                                          Columns512& blueRed) {
    __m512i va, vm, vb;
    if (16 * k + 16 <= width) {
        va = _mm512_loadu_si512(a + 64 * k);
        vm = _mm512_loadu_si512(m + 64 * k);
        vb = _mm512_loadu_si512(b + 64 * k);
    } else if (16 * k < width) {
        // Masked forms for the last block only: they are slower.
        const __mmask16 mask = SlotMask(16 * k, width);
        va = _mm512_maskz_loadu_epi32(mask, a + 64 * k);
        vm = _mm512_maskz_loadu_epi32(mask, m + 64 * k);
        vb = _mm512_maskz_loadu_epi32(mask, b + 64 * k);
    } else {
        va = vm = vb = _mm512_setzero_si512();
    }
    all = ColumnsOf(va, vm, vb);
    if (!FiveBit) {
        const __m512i mask = _mm512_set1_epi32(0x00FF00FF);
        blueRed = ColumnsOf(_mm512_and_si512(va, mask), _mm512_and_si512(vm, mask),
                            _mm512_and_si512(vb, mask));
    }
}

// Sixteen slots a step from slot 0, each block of column sums serving the
// blocks on both sides, so that every slot row is loaded once. Loads stop at
// the row's last slot and stores keep to slots 1 to width-2.
template <bool FiveBit>
SMOOTH_AVX512 void MeanRowAvx512(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                                 int32_t width) {
    const __m512i blueRedMask = _mm512_set1_epi32(0x00FF00FF);
    const int32_t blocks = (width + 14) / 16;  // blocks holding slots 0 to width-2
    Columns512 prevAll{}, curAll{}, nextAll{}, prevBr{}, curBr{}, nextBr{};
    LoadBlockAvx512<FiveBit>(a, m, b, 0, width, curAll, curBr);
    for (int32_t k = 0; k < blocks; ++k) {
        LoadBlockAvx512<FiveBit>(a, m, b, k + 1, width, nextAll, nextBr);
        __m512i v;
        if (FiveBit) {
            // Eight bytes of at most 31 sum to at most 248: whole words add
            // without carries between the channels.
            v = _mm512_and_si512(_mm512_srli_epi32(Ring(prevAll, curAll, nextAll), 3),
                                 _mm512_set1_epi32(0x001F1F1F));
        } else {
            // Blue and red sum apart in the halves of masked words; green is
            // what the whole words hold beyond them.
            const __m512i blueRed = Ring(prevBr, curBr, nextBr);
            const __m512i green =
                _mm512_srli_epi32(_mm512_sub_epi32(Ring(prevAll, curAll, nextAll), blueRed), 3);
            const __m512i merged =
                _mm512_ternarylogic_epi32(blueRedMask, _mm512_srli_epi32(blueRed, 3), green, 0xCA);
            v = _mm512_and_si512(merged, _mm512_set1_epi32(0x00FFFFFF));
        }
        if (k > 0 && 16 * k + 16 <= width - 1)
            _mm512_storeu_si512(out + 64 * k, v);
        else
            _mm512_mask_storeu_epi32(out + 64 * k,
                                     SlotMask(16 * k, width - 1) & (k == 0 ? 0xFFFE : 0xFFFF), v);
        prevAll = curAll;
        curAll = nextAll;
        prevBr = curBr;
        curBr = nextBr;
    }
}

SMOOTH_AVX512 void FilterRowBytesAvx512(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                        uint8_t* out, int32_t width, SmoothWeightPair w) {
    FilterRowBytes(a, m, b, out, width, w);
}

// Each pair of pixels widened into a qword, from which one byte-field select
// takes the three channels of both; byte 3 of each slot is kept from memory.
template <int Green, int Red>
SMOOTH_AVX512VBMI void UnpackAvx512(const uint16_t* pixels, uint8_t* slots, int32_t count) {
    const __m512i fields = _mm512_set1_epi64(static_cast<int64_t>(
        uint64_t{0} | uint64_t(Green) << 8 | uint64_t(Red) << 16 | uint64_t(32) << 32 |
        uint64_t(32 + Green) << 40 | uint64_t(32 + Red) << 48));
    const __m512i channels = _mm512_set1_epi8(31);
    const __m512i colour = _mm512_set1_epi32(0x00FFFFFF);
    int32_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels + i));
        const __m512i v = _mm512_and_si512(
            _mm512_multishift_epi64_epi8(fields, _mm512_cvtepu16_epi32(p)), channels);
        const __m512i old = _mm512_loadu_si512(slots + 4 * i);
        _mm512_storeu_si512(slots + 4 * i, _mm512_ternarylogic_epi32(colour, v, old, 0xCA));
    }
    if (i < count) {
        const int32_t n = count - i;
        const __mmask32 load = static_cast<__mmask32>((uint32_t{1} << n) - 1);
        const __m256i p = _mm512_castsi512_si256(_mm512_maskz_loadu_epi16(load, pixels + i));
        const __m512i v = _mm512_and_si512(
            _mm512_multishift_epi64_epi8(fields, _mm512_cvtepu16_epi32(p)), channels);
        const __mmask64 store = 0x7777777777777777ull & ((uint64_t{1} << (4 * n)) - 1);
        _mm512_mask_storeu_epi8(slots + 4 * i, store, v);
    }
}

SMOOTH_AVX512_INLINE __m512i PixelWordsAvx512(__m512i slots, __m512i channels, __m512i bytes,
                                              __m512i halves) {
    return _mm512_madd_epi16(_mm512_maddubs_epi16(_mm512_and_si512(slots, channels), bytes),
                             halves);
}

template <int Green, int Red>
SMOOTH_AVX512 void PackAvx512(const uint8_t* slots, uint16_t* pixels, int32_t count) {
    const __m512i channels = _mm512_set1_epi32(0x001F1F1F);
    const __m512i bytes = _mm512_set1_epi32(1 | (1 << Green) << 8 | 1 << 16);
    const __m512i halves = _mm512_set1_epi32(1 | (1 << Red) << 16);
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    int32_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m512i p = _mm512_packus_epi32(
            PixelWordsAvx512(_mm512_loadu_si512(slots + 4 * i), channels, bytes, halves),
            PixelWordsAvx512(_mm512_loadu_si512(slots + 4 * i + 64), channels, bytes, halves));
        _mm512_storeu_si512(pixels + i, _mm512_permutexvar_epi64(order, p));
    }
    if (i < count) {
        const uint32_t words = static_cast<uint32_t>((uint64_t{1} << (count - i)) - 1);
        const __m512i low = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(words), slots + 4 * i);
        const __m512i high =
            count - i > 16
                ? _mm512_maskz_loadu_epi32(static_cast<__mmask16>(words >> 16), slots + 4 * i + 64)
                : _mm512_setzero_si512();
        const __m512i p = _mm512_packus_epi32(PixelWordsAvx512(low, channels, bytes, halves),
                                              PixelWordsAvx512(high, channels, bytes, halves));
        _mm512_mask_storeu_epi16(pixels + i, words, _mm512_permutexvar_epi64(order, p));
    }
}

}  // namespace

void UnpackSlots16(const uint16_t* pixels, uint8_t* slots, int32_t count, int32_t format,
                   SimdLevel level) {
    if (count <= 0) return;
    const bool five = format == 1;
    if (level >= SimdLevel::kAvx512Vbmi)
        five ? UnpackAvx512<5, 10>(pixels, slots, count)
             : UnpackAvx512<6, 11>(pixels, slots, count);
    else if (level >= SimdLevel::kAvx2)
        five ? UnpackAvx2<5, 10>(pixels, slots, count) : UnpackAvx2<6, 11>(pixels, slots, count);
    else
        UnpackPortable(pixels, slots, count, Shifts16(format));
}

void PackSlots16(const uint8_t* slots, uint16_t* pixels, int32_t count, int32_t format,
                 SimdLevel level) {
    if (count <= 0) return;
    const bool five = format == 1;
    if (level >= SimdLevel::kAvx512Vbmi)
        five ? PackAvx512<5, 10>(slots, pixels, count) : PackAvx512<6, 11>(slots, pixels, count);
    else if (level >= SimdLevel::kAvx2)
        five ? PackAvx2<5, 10>(slots, pixels, count) : PackAvx2<6, 11>(slots, pixels, count);
    else
        PackPortable(slots, pixels, count, Shifts16(format));
}

void UnpackRow16(const uint16_t* pixels, uint8_t* slots, int32_t count, int32_t format) {
    UnpackSlots16(pixels, slots, count, format, MachineSimdLevel());
}

void PackRow16(const uint8_t* slots, uint16_t* pixels, int32_t count, int32_t format) {
    PackSlots16(slots, pixels, count, format, MachineSimdLevel());
}

void CopyRow32(const uint32_t* from, uint32_t* to, int32_t count, int32_t) {
    if (count > 0) std::memmove(to, from, static_cast<size_t>(count) * 4);
}

void FilterSlotRow(const uint8_t* above, const uint8_t* middle, const uint8_t* below, uint8_t* out,
                   int32_t width, SmoothWeightPair weights, bool fiveBitChannels, SimdLevel level) {
    if (width < 3) return;
    // 8192 is an eighth of 65536: the plain mean, the weights of every real call.
    if (weights.neighbour == 8192 && weights.centre == 0) {
        if (level >= SimdLevel::kAvx512Vbmi)
            fiveBitChannels ? MeanRowAvx512<true>(above, middle, below, out, width)
                            : MeanRowAvx512<false>(above, middle, below, out, width);
        else if (level >= SimdLevel::kAvx2)
            fiveBitChannels ? MeanRowAvx2<true>(above, middle, below, out, width)
                            : MeanRowAvx2<false>(above, middle, below, out, width);
        else if (fiveBitChannels)
            MeanRowPortable<MeanWord5>(above, middle, below, out, width);
        else
            MeanRowPortable<MeanWord8>(above, middle, below, out, width);
        return;
    }
    if (level >= SimdLevel::kAvx512Vbmi)
        FilterRowBytesAvx512(above, middle, below, out, width, weights);
    else if (level >= SimdLevel::kAvx2)
        FilterRowBytesAvx2(above, middle, below, out, width, weights);
    else  // without 32-bit multiplies in vectors the plain loop is the faster
        FilterRowLiteral(above, middle, below, out, width, weights);
}
