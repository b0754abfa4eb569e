#include "temporal/film_grain.h"

#include <cstring>
#include <type_traits>

#include "render/intrinsics.h"

namespace {

// What differs between the three pixel kinds.
struct Kind555 {
    using Word = uint16_t;
    using Entry = uint16_t;
    static constexpr int kGrainShift = 12;
    static constexpr uint32_t kIndexMask = kRamp16Entries - 1;
    static int32_t Brightness(uint32_t p) { return Brightness555(p); }
};
struct Kind565 {
    using Word = uint16_t;
    using Entry = uint16_t;
    static constexpr int kGrainShift = 12;
    static constexpr uint32_t kIndexMask = kRamp16Entries - 1;
    static int32_t Brightness(uint32_t p) { return Brightness565(p); }
};
struct Kind32 {
    using Word = uint32_t;
    using Entry = uint32_t;
    static constexpr int kGrainShift = 10;
    static constexpr uint32_t kIndexMask = kRamp32Entries - 1;
    static int32_t Brightness(uint32_t p) { return Brightness32(p); }
};

template <class K, bool kGrain>
void RowScalar(const typename K::Word* src, typename K::Word* dst, int32_t from, int32_t to,
               const typename K::Entry* ramp, int32_t flicker, RandomTable* grain) {
    for (int32_t x = from; x < to; ++x) {
        int32_t b = K::Brightness(LoadPixel(src, x)) + flicker;
        if constexpr (kGrain) b += NextGrain(*grain, K::kGrainShift);
        StorePixel(dst, x, ramp[static_cast<uint32_t>(b) & K::kIndexMask]);
    }
}

template <class K, bool kGrain>
void RowsScalar(const PixelRows& rows, const typename K::Entry* ramp, int32_t flicker, RandomTable* grain) {
    using Word = typename K::Word;
    for (int32_t y = 0; y < rows.rows; ++y)
        RowScalar<K, kGrain>(rows.srcRow<Word>(y), rows.dstRow<Word>(y), 0, rows.width, ramp, flicker, grain);
}

// What the vector paths read the grain from: the table followed by its first
// entries again, so that a run of entries can be read from any start without
// wrapping, and for every start the sum of the cursor steps of the 16 entries
// from there. Cursor A moves at most 7 an entry, so the 16 entries that a
// block of 16 pixels reads lie within 128 of where it starts.
constexpr int32_t kWindow = 128;
constexpr int32_t kBlock = 16;
struct GrainScratch {
    uint32_t values[kRandomTableSize + kWindow];
    uint32_t blockSteps[kRandomTableSize];
};

void PrepareScratch(const RandomTable& t, GrainScratch& s) {
    std::memcpy(s.values, t.values, sizeof t.values);
    std::memcpy(s.values + kRandomTableSize, t.values, sizeof(uint32_t) * kWindow);
    uint32_t sum = 0;
    for (int32_t i = 0; i < kBlock; ++i) sum += s.values[i] & 7;
    for (int32_t i = 0; i < kRandomTableSize; ++i) {
        s.blockSteps[i] = sum;
        sum += (s.values[i + kBlock] & 7) - (s.values[i] & 7);
    }
}

// ---- AVX2: eight pixels a step in 32-bit lanes ----

#define FILM_AVX2 __attribute__((target("avx2"), always_inline)) inline

template <class K>
FILM_AVX2 __m256i Load8(const typename K::Word* p) {
    if constexpr (sizeof(typename K::Word) == 2)
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    else
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

template <class K>
FILM_AVX2 void Store8(typename K::Word* p, __m256i v) {
    if constexpr (sizeof(typename K::Word) == 2) {
        // Entries are 16 bits wide, so the unsigned saturation keeps them.
        const __m128i packed = _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), packed);
    } else {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    }
}

template <class K>
FILM_AVX2 __m256i Brightness8(__m256i p) {
    const __m256i m31 = _mm256_set1_epi32(31);
    if constexpr (std::is_same_v<K, Kind555>) {
        return _mm256_add_epi32(
            _mm256_add_epi32(_mm256_and_si256(_mm256_srli_epi32(p, 4), _mm256_set1_epi32(0x3E)),
                             _mm256_and_si256(_mm256_srli_epi32(p, 10), m31)),
            _mm256_and_si256(p, m31));
    } else if constexpr (std::is_same_v<K, Kind565>) {
        return _mm256_add_epi32(
            _mm256_add_epi32(_mm256_and_si256(_mm256_srli_epi32(p, 5), _mm256_set1_epi32(63)),
                             _mm256_and_si256(_mm256_srli_epi32(p, 11), m31)),
            _mm256_and_si256(p, m31));
    } else {
        const __m256i m255 = _mm256_set1_epi32(255);
        const __m256i sum = _mm256_add_epi32(
            _mm256_add_epi32(_mm256_and_si256(_mm256_srli_epi32(p, 7), _mm256_set1_epi32(0x1FE)),
                             _mm256_and_si256(_mm256_srli_epi32(p, 16), m255)),
            _mm256_and_si256(p, m255));
        return _mm256_srli_epi32(sum, 1);
    }
}

// Lanes moved up by k, zeros coming in: the steps of a running sum.
template <int k>
FILM_AVX2 __m256i ShiftLanesUp8(__m256i v) {
    const __m256i index = _mm256_setr_epi32(0 - k, 1 - k, 2 - k, 3 - k, 4 - k, 5 - k, 6 - k, 7 - k);
    const __m256i moved = _mm256_permutevar8x32_epi32(v, index);
    return _mm256_blend_epi32(moved, _mm256_setzero_si256(), (1 << k) - 1);
}

template <class K, bool kGrain>
__attribute__((target("avx2"))) void RowsAvx2(const PixelRows& rows, const typename K::Entry* ramp,
                                              int32_t flicker, RandomTable* grain) {
    using Word = typename K::Word;
    constexpr int kScale = sizeof(typename K::Entry);
    const __m256i flick = _mm256_set1_epi32(flicker);
    const __m256i indexMask = _mm256_set1_epi32(static_cast<int32_t>(K::kIndexMask));
    const __m256i entryMask = _mm256_set1_epi32(kScale == 2 ? 0xFFFF : -1);
    const __m256i tableMask = _mm256_set1_epi32(kRandomTableSize - 1);
    GrainScratch scratch;
    if (kGrain) PrepareScratch(*grain, scratch);
    const int* values = reinterpret_cast<const int*>(scratch.values);
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        int32_t x = 0;
        if constexpr (kGrain) {
            uint32_t b = grain->cursorB;
            __m256i a = _mm256_set1_epi32(static_cast<int32_t>(grain->cursorA));
            for (; x + 8 <= rows.width; x += 8) {
                __m256i level = _mm256_add_epi32(Brightness8<K>(Load8<K>(src + x)), flick);
                const __m256i r = _mm256_loadu_si256(
                    reinterpret_cast<const __m256i*>(scratch.values + ((b + 1) & (kRandomTableSize - 1))));
                b += 8;
                __m256i steps = _mm256_and_si256(r, _mm256_set1_epi32(7));
                steps = _mm256_add_epi32(steps, ShiftLanesUp8<1>(steps));
                steps = _mm256_add_epi32(steps, ShiftLanesUp8<2>(steps));
                steps = _mm256_add_epi32(steps, ShiftLanesUp8<4>(steps));
                const __m256i cursors = _mm256_add_epi32(a, steps);
                a = _mm256_permutevar8x32_epi32(cursors, _mm256_set1_epi32(7));
                __m256i n = _mm256_i32gather_epi32(values, _mm256_and_si256(cursors, tableMask), 4);
                n = _mm256_srlv_epi32(n, _mm256_and_si256(_mm256_srli_epi32(r, 5), _mm256_set1_epi32(15)));
                n = _mm256_srai_epi32(_mm256_slli_epi32(n, 16), 16 + K::kGrainShift);
                level = _mm256_add_epi32(level, n);
                const __m256i entry = _mm256_i32gather_epi32(reinterpret_cast<const int*>(ramp),
                                                             _mm256_and_si256(level, indexMask), kScale);
                Store8<K>(dst + x, _mm256_and_si256(entry, entryMask));
            }
            grain->cursorB = b;
            grain->cursorA = static_cast<uint32_t>(_mm256_cvtsi256_si32(a));
        } else {
            for (; x + 8 <= rows.width; x += 8) {
                const __m256i level = _mm256_add_epi32(Brightness8<K>(Load8<K>(src + x)), flick);
                const __m256i entry = _mm256_i32gather_epi32(reinterpret_cast<const int*>(ramp),
                                                             _mm256_and_si256(level, indexMask), kScale);
                Store8<K>(dst + x, _mm256_and_si256(entry, entryMask));
            }
        }
        RowScalar<K, kGrain>(src, dst, x, rows.width, ramp, flicker, grain);
    }
}

// ---- AVX-512: sixteen pixels a step ----

#define FILM_AVX512 __attribute__((target("avx512f,avx512bw"), always_inline)) inline

template <class K>
FILM_AVX512 __m512i Load16(const typename K::Word* p) {
    if constexpr (sizeof(typename K::Word) == 2)
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
    else
        return _mm512_loadu_si512(p);
}

template <class K>
FILM_AVX512 __m512i Brightness16(__m512i p) {
    const __m512i m31 = _mm512_set1_epi32(31);
    if constexpr (std::is_same_v<K, Kind555>) {
        return _mm512_add_epi32(
            _mm512_add_epi32(_mm512_and_si512(_mm512_srli_epi32(p, 4), _mm512_set1_epi32(0x3E)),
                             _mm512_and_si512(_mm512_srli_epi32(p, 10), m31)),
            _mm512_and_si512(p, m31));
    } else if constexpr (std::is_same_v<K, Kind565>) {
        return _mm512_add_epi32(
            _mm512_add_epi32(_mm512_and_si512(_mm512_srli_epi32(p, 5), _mm512_set1_epi32(63)),
                             _mm512_and_si512(_mm512_srli_epi32(p, 11), m31)),
            _mm512_and_si512(p, m31));
    } else {
        const __m512i m255 = _mm512_set1_epi32(255);
        const __m512i sum = _mm512_add_epi32(
            _mm512_add_epi32(_mm512_and_si512(_mm512_srli_epi32(p, 7), _mm512_set1_epi32(0x1FE)),
                             _mm512_and_si512(_mm512_srli_epi32(p, 16), m255)),
            _mm512_and_si512(p, m255));
        return _mm512_srli_epi32(sum, 1);
    }
}

template <int k>
FILM_AVX512 __m512i ShiftLanesUp16(__m512i v) {
    return _mm512_alignr_epi32(v, _mm512_setzero_si512(), 16 - k);
}

// The 256-entry 16-bit ramp as eight registers, looked up with four word
// permutes of 64 entries each, chosen by bits 6 and 7 of the index.
struct Ramp16Registers {
    __m512i part[8];
};

template <class K>
FILM_AVX512 Ramp16Registers LoadRamp(const typename K::Entry* ramp) {
    Ramp16Registers r{};
    if constexpr (sizeof(typename K::Entry) == 2)
        for (int i = 0; i < 8; ++i) r.part[i] = _mm512_loadu_si512(ramp + 32 * i);
    return r;
}

// Sixteen ramp entries for the levels in 32-bit lanes, stored as pixels.
template <class K>
FILM_AVX512 void LookUpAndStore(typename K::Word* dst, const typename K::Entry* ramp, const Ramp16Registers& r,
                                __m512i level) {
    if constexpr (sizeof(typename K::Entry) == 2) {
        const __m512i index = _mm512_zextsi256_si512(_mm512_cvtepi32_epi16(level));
        const __m512i low = _mm512_mask_blend_epi16(_mm512_test_epi16_mask(index, _mm512_set1_epi16(64)),
                                                    _mm512_permutex2var_epi16(r.part[0], index, r.part[1]),
                                                    _mm512_permutex2var_epi16(r.part[2], index, r.part[3]));
        const __m512i high = _mm512_mask_blend_epi16(_mm512_test_epi16_mask(index, _mm512_set1_epi16(64)),
                                                     _mm512_permutex2var_epi16(r.part[4], index, r.part[5]),
                                                     _mm512_permutex2var_epi16(r.part[6], index, r.part[7]));
        const __m512i entries =
            _mm512_mask_blend_epi16(_mm512_test_epi16_mask(index, _mm512_set1_epi16(128)), low, high);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm512_castsi512_si256(entries));
    } else {
        const __m512i index = _mm512_and_si512(level, _mm512_set1_epi32(static_cast<int32_t>(K::kIndexMask)));
        _mm512_storeu_si512(dst, _mm512_i32gather_epi32(index, ramp, 4));
    }
}

// The grain of sixteen pixels: the entries under cursor B's next sixteen
// positions give cursor A's steps, whose running sum places each lane in
// the 128-entry window from cursor A; the window is read with four dword
// permutes of 32 entries, chosen by bits 5 and 6 of the lane's offset.
template <class K>
FILM_AVX512 __m512i Grain16(const GrainScratch& s, uint32_t& a, uint32_t& b) {
    const uint32_t start = (b + 1) & (kRandomTableSize - 1);
    const __m512i r = _mm512_loadu_si512(s.values + start);
    __m512i offset = _mm512_and_si512(r, _mm512_set1_epi32(7));
    offset = _mm512_add_epi32(offset, ShiftLanesUp16<1>(offset));
    offset = _mm512_add_epi32(offset, ShiftLanesUp16<2>(offset));
    offset = _mm512_add_epi32(offset, ShiftLanesUp16<4>(offset));
    offset = _mm512_add_epi32(offset, ShiftLanesUp16<8>(offset));
    const uint32_t* window = s.values + (a & (kRandomTableSize - 1));
    __m512i part[8];
    for (int i = 0; i < 8; ++i) part[i] = _mm512_loadu_si512(window + 16 * i);
    const __mmask16 bit5 = _mm512_test_epi32_mask(offset, _mm512_set1_epi32(32));
    const __m512i low = _mm512_mask_blend_epi32(bit5, _mm512_permutex2var_epi32(part[0], offset, part[1]),
                                                _mm512_permutex2var_epi32(part[2], offset, part[3]));
    const __m512i high = _mm512_mask_blend_epi32(bit5, _mm512_permutex2var_epi32(part[4], offset, part[5]),
                                                 _mm512_permutex2var_epi32(part[6], offset, part[7]));
    __m512i n = _mm512_mask_blend_epi32(_mm512_test_epi32_mask(offset, _mm512_set1_epi32(64)), low, high);
    a += s.blockSteps[start];
    b += kBlock;
    n = _mm512_srlv_epi32(n, _mm512_and_si512(_mm512_srli_epi32(r, 5), _mm512_set1_epi32(15)));
    return _mm512_srai_epi32(_mm512_slli_epi32(n, 16), 16 + K::kGrainShift);
}

template <class K, bool kGrain>
__attribute__((target("avx512f,avx512bw"))) void RowsAvx512(const PixelRows& rows, const typename K::Entry* ramp,
                                                           int32_t flicker, RandomTable* grain) {
    using Word = typename K::Word;
    const __m512i flick = _mm512_set1_epi32(flicker);
    const Ramp16Registers ramp16 = LoadRamp<K>(ramp);
    GrainScratch scratch;
    if (kGrain) PrepareScratch(*grain, scratch);
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        int32_t x = 0;
        if constexpr (kGrain) {
            uint32_t a = grain->cursorA, b = grain->cursorB;
            for (; x + kBlock <= rows.width; x += kBlock) {
                const __m512i level = _mm512_add_epi32(Brightness16<K>(Load16<K>(src + x)), flick);
                LookUpAndStore<K>(dst + x, ramp, ramp16, _mm512_add_epi32(level, Grain16<K>(scratch, a, b)));
            }
            grain->cursorA = a;
            grain->cursorB = b;
        } else {
            for (; x + kBlock <= rows.width; x += kBlock)
                LookUpAndStore<K>(dst + x, ramp, ramp16, _mm512_add_epi32(Brightness16<K>(Load16<K>(src + x)), flick));
        }
        RowScalar<K, kGrain>(src, dst, x, rows.width, ramp, flicker, grain);
    }
}

template <class K>
void GreyMap(const PixelRows& rows, const typename K::Entry* ramp, int32_t flicker, RandomTable* grain,
             SimdLevel level) {
    if (rows.rows <= 0 || rows.width <= 0) return;
    if (level >= SimdLevel::kAvx512Vbmi) {
        grain ? RowsAvx512<K, true>(rows, ramp, flicker, grain) : RowsAvx512<K, false>(rows, ramp, flicker, grain);
    } else if (level >= SimdLevel::kAvx2) {
        grain ? RowsAvx2<K, true>(rows, ramp, flicker, grain) : RowsAvx2<K, false>(rows, ramp, flicker, grain);
    } else {
        grain ? RowsScalar<K, true>(rows, ramp, flicker, grain) : RowsScalar<K, false>(rows, ramp, flicker, grain);
    }
}

// The byte complement: one loop that the compiler vectorises for each level.
__attribute__((always_inline)) inline void InvertRows(const PixelRows& rows) {
    const int32_t count = rows.rows, width = rows.width;
    for (int32_t y = 0; y < count; ++y) {
        const uint8_t* s = rows.srcRow<uint8_t>(y);
        uint8_t* d = rows.dstRow<uint8_t>(y);
        for (int32_t x = 0; x < width; ++x) d[x] = static_cast<uint8_t>(~s[x]);
    }
}
__attribute__((optimize("no-tree-vectorize"))) void InvertScalar(const PixelRows& rows) { InvertRows(rows); }
void InvertSse2(const PixelRows& rows) { InvertRows(rows); }
__attribute__((target("avx2"))) void InvertAvx2(const PixelRows& rows) { InvertRows(rows); }
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void InvertAvx512(const PixelRows& rows) {
    InvertRows(rows);
}

}  // namespace

void GreyMap555(const PixelRows& rows, const uint16_t* ramp, int32_t flicker, RandomTable* grain, SimdLevel level) {
    GreyMap<Kind555>(rows, ramp, flicker, grain, level);
}
void GreyMap565(const PixelRows& rows, const uint16_t* ramp, int32_t flicker, RandomTable* grain, SimdLevel level) {
    GreyMap<Kind565>(rows, ramp, flicker, grain, level);
}
void GreyMap32(const PixelRows& rows, const uint32_t* ramp, int32_t flicker, RandomTable* grain, SimdLevel level) {
    GreyMap<Kind32>(rows, ramp, flicker, grain, level);
}

void InvertBytes(const PixelRows& rows, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return InvertScalar(rows);
    case SimdLevel::kSse2: return InvertSse2(rows);
    case SimdLevel::kAvx2: return InvertAvx2(rows);
    case SimdLevel::kAvx512Vbmi: return InvertAvx512(rows);
    }
}
