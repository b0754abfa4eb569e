#include "colour/smooth_mean_rows.h"

#include <cstring>

#include "colour/smooth_kernels.h"
#include "render/intrinsics.h"
#include "render/row_blocks.h"

// Every level walks the row in blocks and keeps the column sums of the
// blocks before and after the current one, so that each word of the three
// rows is loaded once. Block k+1 is loaded before block k is stored, which
// is what lets out be middle and save be above.

namespace {

constexpr uint32_t kBlueRed = 0x00FF00FF;

// ---- Portable ---------------------------------------------------------------

// Sums down one column: all three words and the rim (above and below), of
// whole words and of blue and red alone, and the middle word itself.
struct Column {
    uint32_t sumAll, rimAll, sumBr, rimBr, middle;
};

inline Column ColumnAt(const uint8_t* a, const uint8_t* m, const uint8_t* b, int32_t x,
                       int32_t width) {
    if (x >= width) return {};
    const uint32_t va = LoadWord(a + 4 * x), vm = LoadWord(m + 4 * x), vb = LoadWord(b + 4 * x);
    const uint32_t rimAll = va + vb, rimBr = (va & kBlueRed) + (vb & kBlueRed);
    return {rimAll + vm, rimAll, rimBr + (vm & kBlueRed), rimBr, vm};
}

inline uint64_t LoadPair(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}
inline void StorePair(uint8_t* p, uint64_t v) { std::memcpy(p, &v, 8); }

// MeanWord32 of two pixels in one 64-bit word. Blue and red sum in fields of
// their own; in the whole sum the carries out of the lower pixel's top byte
// reach bit 34 at most, below the upper pixel's green, and what the shift
// moves into the lower pixel's top byte is cleared.
inline uint64_t MeanPair(uint64_t ringAll, uint64_t ringBr) {
    constexpr uint64_t kFromBlueRed = 0xFFF807FFFFF807FFull;
    const uint64_t green = ringAll - ringBr;
    return (((ringBr & kFromBlueRed) | (green & ~kFromBlueRed)) >> 3) & 0x00FFFFFF00FFFFFFull;
}

// Two pixels a step while the columns on both sides of the pair lie in the
// row, then one at a time. Every pair sum is a true 64-bit sum of words
// loaded whole, which is what MeanPair's carry bounds need.
void MeanRowPortable(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                     uint8_t* save, int32_t width) {
    constexpr uint64_t kBlueRed2 = uint64_t{kBlueRed} << 32 | kBlueRed;
    // The columns before pixel 0: column -1 is 0, column 0 the upper half.
    const Column first = ColumnAt(a, m, b, 0, width);
    uint64_t leftAll = uint64_t{first.sumAll} << 32, leftBr = uint64_t{first.sumBr} << 32;
    int32_t x = 0;
    for (; x + 2 < width; x += 2) {
        const uint64_t va = LoadPair(a + 4 * x + 4), vm = LoadPair(m + 4 * x + 4), vb = LoadPair(b + 4 * x + 4);
        const uint64_t rimA = LoadPair(a + 4 * x), middle = LoadPair(m + 4 * x), rimB = LoadPair(b + 4 * x);
        const uint64_t rightAll = va + vm + vb;
        const uint64_t rightBr = (va & kBlueRed2) + (vm & kBlueRed2) + (vb & kBlueRed2);
        const uint64_t ringAll = leftAll + rightAll + rimA + rimB;
        const uint64_t ringBr = leftBr + rightBr + (rimA & kBlueRed2) + (rimB & kBlueRed2);
        if (save) StorePair(save + 4 * x, middle);
        StorePair(out + 4 * x, MeanPair(ringAll, ringBr));
        leftAll = rightAll;
        leftBr = rightBr;
    }
    // Column x-1 from the lower half of the last pair; column x is unwritten.
    Column prev{static_cast<uint32_t>(leftAll), 0, static_cast<uint32_t>(leftBr), 0, 0};
    Column cur = ColumnAt(a, m, b, x, width);
    for (; x < width; ++x) {
        const Column next = ColumnAt(a, m, b, x + 1, width);
        const uint32_t v = MeanWord32(prev.sumAll + next.sumAll + cur.rimAll,
                                      prev.sumBr + next.sumBr + cur.rimBr);
        if (save) StoreWord(save + 4 * x, cur.middle);
        StoreWord(out + 4 * x, v);
        prev = cur;
        cur = next;
    }
}

// ---- SSE2 -------------------------------------------------------------------

struct Columns128 {
    __m128i sumAll, rimAll, sumBr, rimBr, middle;
};

// Block k (words 4k to 4k+3); words from width on count as 0.
inline Columns128 LoadColumns128(const uint8_t* a, const uint8_t* m, const uint8_t* b, int32_t k,
                                 int32_t width) {
    __m128i va, vm, vb;
    const int32_t n = width - 4 * k;
    if (n >= 4) {
        va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 16 * k));
        vm = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + 16 * k));
        vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 16 * k));
    } else if (n > 0) {
        alignas(16) uint8_t ta[16] = {}, tm[16] = {}, tb[16] = {};
        std::memcpy(ta, a + 16 * k, static_cast<size_t>(4 * n));
        std::memcpy(tm, m + 16 * k, static_cast<size_t>(4 * n));
        std::memcpy(tb, b + 16 * k, static_cast<size_t>(4 * n));
        va = _mm_load_si128(reinterpret_cast<const __m128i*>(ta));
        vm = _mm_load_si128(reinterpret_cast<const __m128i*>(tm));
        vb = _mm_load_si128(reinterpret_cast<const __m128i*>(tb));
    } else {
        return {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128(),
                _mm_setzero_si128(), _mm_setzero_si128()};
    }
    const __m128i mask = _mm_set1_epi32(kBlueRed);
    const __m128i rimAll = _mm_add_epi32(va, vb);
    const __m128i rimBr = _mm_add_epi32(_mm_and_si128(va, mask), _mm_and_si128(vb, mask));
    return {_mm_add_epi32(rimAll, vm), rimAll,
            _mm_add_epi32(rimBr, _mm_and_si128(vm, mask)), rimBr, vm};
}

// The column sums to the left and right of each word, shifted in from the
// neighbouring blocks, plus the word's own rim.
inline __m128i Ring128(__m128i prev, __m128i cur, __m128i next, __m128i rim) {
    const __m128i left = _mm_or_si128(_mm_slli_si128(cur, 4), _mm_srli_si128(prev, 12));
    const __m128i right = _mm_or_si128(_mm_srli_si128(cur, 4), _mm_slli_si128(next, 12));
    return _mm_add_epi32(_mm_add_epi32(left, right), rim);
}

inline __m128i Finish128(__m128i ringAll, __m128i ringBr) {
    const __m128i fromBr = _mm_set1_epi32(static_cast<int32_t>(0xFFF807FFu));
    const __m128i green = _mm_sub_epi32(ringAll, ringBr);
    return _mm_srli_epi32(
        _mm_or_si128(_mm_and_si128(ringBr, fromBr), _mm_andnot_si128(fromBr, green)), 3);
}

inline void Store128(uint8_t* p, __m128i v, int32_t n) {
    if (n >= 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
    } else {
        alignas(16) uint8_t t[16];
        _mm_store_si128(reinterpret_cast<__m128i*>(t), v);
        std::memcpy(p, t, static_cast<size_t>(4 * n));
    }
}

void MeanRowSse2(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                 uint8_t* save, int32_t width) {
    const int32_t blocks = (width + 3) / 4;
    const __m128i zero = _mm_setzero_si128();
    Columns128 prev{zero, zero, zero, zero, zero}, cur = LoadColumns128(a, m, b, 0, width);
    for (int32_t k = 0; k < blocks; ++k) {
        const Columns128 next = LoadColumns128(a, m, b, k + 1, width);
        const __m128i v = Finish128(Ring128(prev.sumAll, cur.sumAll, next.sumAll, cur.rimAll),
                                    Ring128(prev.sumBr, cur.sumBr, next.sumBr, cur.rimBr));
        const int32_t n = width - 4 * k;
        if (save) Store128(save + 16 * k, cur.middle, n);
        Store128(out + 16 * k, v, n);
        prev = cur;
        cur = next;
    }
}

// ---- AVX2 -------------------------------------------------------------------

#define MEAN_AVX2 __attribute__((target("avx2")))
#define MEAN_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

struct Columns256 {
    __m256i sumAll, rimAll, sumBr, rimBr, middle;
};

MEAN_AVX2_INLINE __m256i LaneMask256(int32_t n) {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(n), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

MEAN_AVX2_INLINE Columns256 LoadColumns256(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                           int32_t k, int32_t width) {
    __m256i va, vm, vb;
    const int32_t n = width - 8 * k;
    if (n >= 8) {
        va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 32 * k));
        vm = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(m + 32 * k));
        vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 32 * k));
    } else if (n > 0) {
        const __m256i mask = LaneMask256(n);
        va = _mm256_maskload_epi32(reinterpret_cast<const int*>(a + 32 * k), mask);
        vm = _mm256_maskload_epi32(reinterpret_cast<const int*>(m + 32 * k), mask);
        vb = _mm256_maskload_epi32(reinterpret_cast<const int*>(b + 32 * k), mask);
    } else {
        const __m256i zero = _mm256_setzero_si256();
        return {zero, zero, zero, zero, zero};
    }
    const __m256i mask = _mm256_set1_epi32(kBlueRed);
    const __m256i rimAll = _mm256_add_epi32(va, vb);
    const __m256i rimBr =
        _mm256_add_epi32(_mm256_and_si256(va, mask), _mm256_and_si256(vb, mask));
    return {_mm256_add_epi32(rimAll, vm), rimAll,
            _mm256_add_epi32(rimBr, _mm256_and_si256(vm, mask)), rimBr, vm};
}

MEAN_AVX2_INLINE __m256i Ring256(__m256i prev, __m256i cur, __m256i next, __m256i rim) {
    const __m256i left = _mm256_alignr_epi8(cur, _mm256_permute2x128_si256(prev, cur, 0x21), 12);
    const __m256i right = _mm256_alignr_epi8(_mm256_permute2x128_si256(cur, next, 0x21), cur, 4);
    return _mm256_add_epi32(_mm256_add_epi32(left, right), rim);
}

MEAN_AVX2_INLINE __m256i Finish256(__m256i ringAll, __m256i ringBr) {
    const __m256i fromBr = _mm256_set1_epi32(static_cast<int32_t>(0xFFF807FFu));
    const __m256i green = _mm256_sub_epi32(ringAll, ringBr);
    return _mm256_srli_epi32(
        _mm256_or_si256(_mm256_and_si256(ringBr, fromBr), _mm256_andnot_si256(fromBr, green)), 3);
}

MEAN_AVX2_INLINE void Store256(uint8_t* p, __m256i v, int32_t n) {
    if (n >= 8)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
    else
        _mm256_maskstore_epi32(reinterpret_cast<int*>(p), LaneMask256(n), v);
}

MEAN_AVX2 void MeanRowAvx2(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                           uint8_t* save, int32_t width) {
    const int32_t blocks = (width + 7) / 8;
    const __m256i zero = _mm256_setzero_si256();
    Columns256 prev{zero, zero, zero, zero, zero}, cur = LoadColumns256(a, m, b, 0, width);
    for (int32_t k = 0; k < blocks; ++k) {
        const Columns256 next = LoadColumns256(a, m, b, k + 1, width);
        const __m256i v = Finish256(Ring256(prev.sumAll, cur.sumAll, next.sumAll, cur.rimAll),
                                    Ring256(prev.sumBr, cur.sumBr, next.sumBr, cur.rimBr));
        const int32_t n = width - 8 * k;
        if (save) Store256(save + 32 * k, cur.middle, n);
        Store256(out + 32 * k, v, n);
        prev = cur;
        cur = next;
    }
}

// ---- AVX-512 ----------------------------------------------------------------

// Reached only at the level with byte permutes: the kernels carry the target
// of the shared row loads.

struct Columns512 {
    __m512i sumAll, rimAll, sumBr, rimBr, middle;
};

AVX512_KERNEL_INLINE __mmask16 LaneMask512(int32_t n) {
    return n >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << n) - 1);
}

AVX512_KERNEL_INLINE Columns512 LoadColumns512(const uint8_t* a, const uint8_t* m,
                                               const uint8_t* b, int32_t k, int32_t width) {
    const __m512i va = LoadRowVector32(a, k, width), vm = LoadRowVector32(m, k, width),
                  vb = LoadRowVector32(b, k, width);
    const __m512i mask = _mm512_set1_epi32(kBlueRed);
    const __m512i rimAll = _mm512_add_epi32(va, vb);
    const __m512i rimBr =
        _mm512_add_epi32(_mm512_and_si512(va, mask), _mm512_and_si512(vb, mask));
    return {_mm512_add_epi32(rimAll, vm), rimAll,
            _mm512_add_epi32(rimBr, _mm512_and_si512(vm, mask)), rimBr, vm};
}

AVX512_KERNEL_INLINE __m512i Ring512(__m512i prev, __m512i cur, __m512i next, __m512i rim) {
    const __m512i left = _mm512_alignr_epi32(cur, prev, 15);
    const __m512i right = _mm512_alignr_epi32(next, cur, 1);
    return _mm512_add_epi32(_mm512_add_epi32(left, right), rim);
}

AVX512_KERNEL_INLINE __m512i Finish512(__m512i ringAll, __m512i ringBr) {
    const __m512i fromBr = _mm512_set1_epi32(static_cast<int32_t>(0xFFF807FFu));
    const __m512i green = _mm512_sub_epi32(ringAll, ringBr);
    return _mm512_srli_epi32(_mm512_ternarylogic_epi32(fromBr, ringBr, green, 0xCA), 3);
}

AVX512_KERNEL_INLINE void Store512(uint8_t* p, __m512i v, int32_t n) {
    if (n >= 16)
        _mm512_storeu_si512(p, v);
    else
        _mm512_mask_storeu_epi32(p, LaneMask512(n), v);
}

AVX512_KERNEL void MeanRowAvx512(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                 uint8_t* out, uint8_t* save, int32_t width) {
    const int32_t blocks = (width + 15) / 16;
    const __m512i zero = _mm512_setzero_si512();
    Columns512 prev{zero, zero, zero, zero, zero}, cur = LoadColumns512(a, m, b, 0, width);
    for (int32_t k = 0; k < blocks; ++k) {
        const Columns512 next = LoadColumns512(a, m, b, k + 1, width);
        const __m512i v = Finish512(Ring512(prev.sumAll, cur.sumAll, next.sumAll, cur.rimAll),
                                    Ring512(prev.sumBr, cur.sumBr, next.sumBr, cur.rimBr));
        const int32_t n = width - 16 * k;
        if (save) Store512(save + 64 * k, cur.middle, n);
        Store512(out + 64 * k, v, n);
        prev = cur;
        cur = next;
    }
}

}  // namespace

void MeanRow32(const uint8_t* above, const uint8_t* middle, const uint8_t* below, uint8_t* out,
               uint8_t* save, int32_t width, SimdLevel level) {
    if (width < 3) return;
    if (level >= SimdLevel::kAvx512Vbmi)
        MeanRowAvx512(above, middle, below, out, save, width);
    else if (level >= SimdLevel::kAvx2)
        MeanRowAvx2(above, middle, below, out, save, width);
    else if (level >= SimdLevel::kSse2)
        MeanRowSse2(above, middle, below, out, save, width);
    else
        MeanRowPortable(above, middle, below, out, save, width);
    // The frame: the end words were written with sums that have no meaning.
    StoreWord(out, 0);
    StoreWord(out + 4 * (width - 1), 0);
}
