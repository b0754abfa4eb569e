#include "temporal/ascii_kernels.h"

#include <algorithm>
#include <cstring>

#include "render/intrinsics.h"

namespace {

// Rows summed in 16-bit lanes before the lanes are emptied into the 32-bit
// sums: 256 rows of values up to 255 fit.
constexpr int32_t kBatchRows = 256;

#define ASCII_INLINE __attribute__((always_inline)) inline

// Column sums are kept as four 16-bit lanes a pixel, blue, green, red and a
// spare, whatever the depth; a cell is 4 x cellWidth lanes side by side.

// Empties each cell's lanes into its 32-bit sums, one channel at a time.
ASCII_INLINE void AddCellsScalar(const uint16_t* lanes, int32_t cells, int32_t cellWidth, uint32_t (*sums)[3]) {
    for (int32_t c = 0; c < cells; ++c) {
        uint32_t red = 0, green = 0, blue = 0;
        const uint16_t* p = lanes + c * cellWidth * 4;
        for (int32_t k = 0; k < cellWidth; ++k) {
            blue += p[4 * k];
            green += p[4 * k + 1];
            red += p[4 * k + 2];
        }
        sums[c][0] += red;
        sums[c][1] += green;
        sums[c][2] += blue;
    }
}

// Generic vectors of N 16-bit lanes, half of them, and N / 2 32-bit lanes.
template <int N>
struct LaneVectors;
template <>
struct LaneVectors<8> {
    typedef uint16_t Wide __attribute__((vector_size(16)));
    typedef uint16_t Half __attribute__((vector_size(8)));
    typedef uint32_t Sum __attribute__((vector_size(16)));
};
template <>
struct LaneVectors<16> {
    typedef uint16_t Wide __attribute__((vector_size(32)));
    typedef uint16_t Half __attribute__((vector_size(16)));
    typedef uint32_t Sum __attribute__((vector_size(32)));
};
template <>
struct LaneVectors<32> {
    typedef uint16_t Wide __attribute__((vector_size(64)));
    typedef uint16_t Half __attribute__((vector_size(32)));
    typedef uint32_t Sum __attribute__((vector_size(64)));
};

// The same with vectors of N 16-bit lanes: each cell's lanes are widened to
// 32 bits and added up by vector, the last vector cut to the cell by a mask,
// then lanes of one channel are folded together. Reads up to N lanes beyond
// the last cell, which the scratch space holds.
template <int N>
ASCII_INLINE void AddCellsVector(const uint16_t* lanes, int32_t cells, int32_t cellWidth, uint32_t (*sums)[3]) {
    using Wide = typename LaneVectors<N>::Wide;
    using Half = typename LaneVectors<N>::Half;
    using Sum = typename LaneVectors<N>::Sum;
    const int32_t n = cellWidth * 4;
    const int32_t tail = n % N;
    uint16_t maskLanes[N];
    for (int32_t i = 0; i < N; ++i) maskLanes[i] = i < tail ? 0xFFFF : 0;
    Wide tailMask;
    std::memcpy(&tailMask, maskLanes, sizeof tailMask);
    for (int32_t c = 0; c < cells; ++c) {
        const uint16_t* p = lanes + c * n;
        Sum total = {};
        for (int32_t i = 0; i < n; i += N) {
            Wide v;
            std::memcpy(&v, p + i, sizeof v);
            if (i + N > n) v &= tailMask;
            Half lo, hi;
            std::memcpy(&lo, &v, sizeof lo);
            std::memcpy(&hi, reinterpret_cast<const uint8_t*>(&v) + sizeof lo, sizeof hi);
            total += __builtin_convertvector(lo, Sum) + __builtin_convertvector(hi, Sum);
        }
        // Halves added until four lanes remain, one a channel.
        typename LaneVectors<8>::Sum four;
        if constexpr (N == 8) {
            four = total;
        } else {
            typename LaneVectors<8>::Sum lo, hi;
            if constexpr (N == 32) {
                typename LaneVectors<16>::Sum lo8, hi8;
                std::memcpy(&lo8, &total, sizeof lo8);
                std::memcpy(&hi8, reinterpret_cast<const uint8_t*>(&total) + sizeof lo8, sizeof hi8);
                const auto eight = lo8 + hi8;
                std::memcpy(&lo, &eight, sizeof lo);
                std::memcpy(&hi, reinterpret_cast<const uint8_t*>(&eight) + sizeof lo, sizeof hi);
            } else {
                std::memcpy(&lo, &total, sizeof lo);
                std::memcpy(&hi, reinterpret_cast<const uint8_t*>(&total) + sizeof lo, sizeof hi);
            }
            four = lo + hi;
        }
        uint32_t channel[4];
        std::memcpy(channel, &four, sizeof channel);
        sums[c][0] += channel[2];
        sums[c][1] += channel[1];
        sums[c][2] += channel[0];
    }
}

ASCII_INLINE void ClearSums(uint32_t (*sums)[3], int32_t cells) {
    for (int32_t c = 0; c < cells; ++c) sums[c][0] = sums[c][1] = sums[c][2] = 0;
}

// Rows taken together before their sum meets the column sums in memory: the
// sums' loads and stores, not the rows' reads, bound these loops.
constexpr int32_t kRowsTogether = 4;

// Column sums of rows [y0, y1) of 32-bit pixels: each pixel's bytes are its
// lanes.
ASCII_INLINE void SumRows32(const CellStrip& s, int32_t y0, int32_t y1, int32_t pixels, uint16_t* __restrict lanes) {
    int32_t y = y0;
    for (; y + kRowsTogether <= y1; y += kRowsTogether) {
        const uint8_t* __restrict r0 = s.first + y * s.pitch;
        const uint8_t* __restrict r1 = r0 + s.pitch;
        const uint8_t* __restrict r2 = r1 + s.pitch;
        const uint8_t* __restrict r3 = r2 + s.pitch;
        for (int32_t i = 0; i < pixels * 4; ++i)
            lanes[i] = static_cast<uint16_t>(lanes[i] + ((r0[i] + r1[i]) + (r2[i] + r3[i])));
    }
    for (; y < y1; ++y) {
        const uint8_t* __restrict row = s.first + y * s.pitch;
        for (int32_t i = 0; i < pixels * 4; ++i) lanes[i] = static_cast<uint16_t>(lanes[i] + row[i]);
    }
}

// A 16-bit word's three fields: red and blue times 8, green times 4 (format
// 2) or 8.
template <int RedShift, int GreenShift, int GreenMask>
struct Fields16 {
    static ASCII_INLINE uint16_t Load(const uint8_t* row, int32_t x) {
        uint16_t p;
        std::memcpy(&p, row + 2 * x, 2);
        return p;
    }
    static ASCII_INLINE uint16_t Red(uint16_t p) { return static_cast<uint16_t>(p >> RedShift & 0xF8); }
    static ASCII_INLINE uint16_t Green(uint16_t p) { return static_cast<uint16_t>(p >> GreenShift & GreenMask); }
    static ASCII_INLINE uint16_t Blue(uint16_t p) { return static_cast<uint16_t>((p & 31) << 3); }
};

// Four rows' fields added to the planes at once. The pointers' promise of
// no overlap lets the compiler vectorise without checks.
template <class F>
ASCII_INLINE void FourRows16(const uint8_t* __restrict r0, const uint8_t* __restrict r1, const uint8_t* __restrict r2,
                             const uint8_t* __restrict r3, int32_t pixels, uint16_t* __restrict red,
                             uint16_t* __restrict green, uint16_t* __restrict blue) {
    for (int32_t x = 0; x < pixels; ++x) {
        const uint16_t p0 = F::Load(r0, x), p1 = F::Load(r1, x), p2 = F::Load(r2, x), p3 = F::Load(r3, x);
        red[x] = static_cast<uint16_t>(red[x] + ((F::Red(p0) + F::Red(p1)) + (F::Red(p2) + F::Red(p3))));
        green[x] = static_cast<uint16_t>(green[x] + ((F::Green(p0) + F::Green(p1)) + (F::Green(p2) + F::Green(p3))));
        blue[x] = static_cast<uint16_t>(blue[x] + ((F::Blue(p0) + F::Blue(p1)) + (F::Blue(p2) + F::Blue(p3))));
    }
}

// The same for 16-bit words: the fields are summed in three planes, then
// spread over the lanes.
template <int RedShift, int GreenShift, int GreenMask>
ASCII_INLINE void SumRows16(const CellStrip& s, int32_t y0, int32_t y1, int32_t pixels, uint16_t* __restrict planes,
                            uint16_t* __restrict lanes) {
    using F = Fields16<RedShift, GreenShift, GreenMask>;
    uint16_t* __restrict red = planes;
    uint16_t* __restrict green = planes + pixels;
    uint16_t* __restrict blue = planes + 2 * pixels;
    std::fill(planes, planes + 3 * pixels, uint16_t{0});
    int32_t y = y0;
    for (; y + kRowsTogether <= y1; y += kRowsTogether) {
        const uint8_t* r0 = s.first + y * s.pitch;
        FourRows16<F>(r0, r0 + s.pitch, r0 + 2 * s.pitch, r0 + 3 * s.pitch, pixels, red, green, blue);
    }
    for (; y < y1; ++y) {
        const uint8_t* __restrict row = s.first + y * s.pitch;
        for (int32_t x = 0; x < pixels; ++x) {
            const uint16_t p = F::Load(row, x);
            red[x] = static_cast<uint16_t>(red[x] + F::Red(p));
            green[x] = static_cast<uint16_t>(green[x] + F::Green(p));
            blue[x] = static_cast<uint16_t>(blue[x] + F::Blue(p));
        }
    }
    for (int32_t x = 0; x < pixels; ++x) {
        const uint64_t four = uint64_t{blue[x]} | uint64_t{green[x]} << 16 | uint64_t{red[x]} << 32;
        std::memcpy(lanes + x * 4, &four, sizeof four);
    }
}

// Column lanes of the rows, batch by batch, then the cells' sums. Rows are
// read in order, one after the other, so that the processor's prefetch
// keeps ahead.
template <int Depth, int RedShift, int GreenShift, int GreenMask, class AddCells>
ASCII_INLINE void SumBody(const CellStrip& s, uint32_t (*sums)[3], uint16_t* scratch, AddCells addCells) {
    const int32_t span = s.cells * s.cellWidth;
    const int32_t present = std::clamp(s.pixels, 0, span);
    ClearSums(sums, s.cells);
    for (int32_t y0 = 0; y0 < s.rows; y0 += kBatchRows) {
        const int32_t y1 = std::min(s.rows, y0 + kBatchRows);
        std::fill(scratch, scratch + span * 4, uint16_t{0});
        if constexpr (Depth == 32) SumRows32(s, y0, y1, present, scratch);
        else SumRows16<RedShift, GreenShift, GreenMask>(s, y0, y1, present, scratch + span * 4, scratch);
        addCells(scratch, s.cells, s.cellWidth, sums);
    }
}

template <class AddCells>
ASCII_INLINE void Sum32Body(const CellStrip& s, uint32_t (*sums)[3], uint16_t* scratch, AddCells addCells) {
    SumBody<32, 0, 0, 0>(s, sums, scratch, addCells);
}

template <class AddCells>
ASCII_INLINE void Sum16Any(const CellStrip& s, int32_t format, uint32_t (*sums)[3], uint16_t* scratch,
                           AddCells addCells) {
    if (format == 2) SumBody<16, 8, 3, 0xFC>(s, sums, scratch, addCells);
    else SumBody<16, 7, 2, 0xF8>(s, sums, scratch, addCells);
}

// Moves n bytes with two moves of W bytes that may overlap: n from W to 2W.
template <class Word>
ASCII_INLINE void MovePair(uint8_t* dst, const uint8_t* src, int32_t n) {
    Word head, tail;
    std::memcpy(&head, src, sizeof head);
    std::memcpy(&tail, src + n - sizeof tail, sizeof tail);
    std::memcpy(dst, &head, sizeof head);
    std::memcpy(dst + n - sizeof tail, &tail, sizeof tail);
}

// Up to 16 bytes with scalar words.
ASCII_INLINE void MoveSmall(uint8_t* dst, const uint8_t* src, int32_t n) {
    if (n >= 8) MovePair<uint64_t>(dst, src, n);
    else if (n >= 4) MovePair<uint32_t>(dst, src, n);
    else if (n >= 2) MovePair<uint16_t>(dst, src, n);
    else if (n == 1) *dst = *src;
}

// Any length in 8-byte words, the last one overlapping.
ASCII_INLINE void MoveScalar(uint8_t* dst, const uint8_t* src, int32_t n) {
    if (n <= 16) return MoveSmall(dst, src, n);
    const auto move8 = [](uint8_t* d, const uint8_t* s) {
        uint64_t w;
        std::memcpy(&w, s, 8);
        std::memcpy(d, &w, 8);
    };
    for (int32_t i = 0; i + 8 < n; i += 8) move8(dst + i, src + i);
    move8(dst + n - 8, src + n - 8);
}

__attribute__((optimize("no-tree-vectorize"))) void SumCells32Scalar(const CellStrip& s, uint32_t (*sums)[3],
                                                                        uint16_t* scratch) {
    Sum32Body(s, sums, scratch, AddCellsScalar);
}
void SumCells32Sse2(const CellStrip& s, uint32_t (*sums)[3], uint16_t* scratch) {
    Sum32Body(s, sums, scratch, AddCellsVector<8>);
}
__attribute__((target("avx2"))) void SumCells32Avx2(const CellStrip& s, uint32_t (*sums)[3], uint16_t* scratch) {
    Sum32Body(s, sums, scratch, AddCellsVector<16>);
}
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void SumCells32Avx512(const CellStrip& s,
                                                                                        uint32_t (*sums)[3],
                                                                                        uint16_t* scratch) {
    Sum32Body(s, sums, scratch, AddCellsVector<32>);
}

__attribute__((optimize("no-tree-vectorize"))) void SumCells16Scalar(const CellStrip& s, int32_t format,
                                                                        uint32_t (*sums)[3], uint16_t* scratch) {
    Sum16Any(s, format, sums, scratch, AddCellsScalar);
}
void SumCells16Sse2(const CellStrip& s, int32_t format, uint32_t (*sums)[3], uint16_t* scratch) {
    Sum16Any(s, format, sums, scratch, AddCellsVector<8>);
}
__attribute__((target("avx2"))) void SumCells16Avx2(const CellStrip& s, int32_t format, uint32_t (*sums)[3],
                                                    uint16_t* scratch) {
    Sum16Any(s, format, sums, scratch, AddCellsVector<16>);
}
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void SumCells16Avx512(const CellStrip& s,
                                                                                        int32_t format,
                                                                                        uint32_t (*sums)[3],
                                                                                        uint16_t* scratch) {
    Sum16Any(s, format, sums, scratch, AddCellsVector<32>);
}

ASCII_INLINE void MoveSse2(uint8_t* d, const uint8_t* s, int32_t n) {
    if (n < 16) return MoveSmall(d, s, n);
    for (int32_t i = 0; i + 16 < n; i += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 16), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + n - 16)));
}

__attribute__((target("avx2"))) ASCII_INLINE void MoveAvx2(uint8_t* d, const uint8_t* s, int32_t n) {
    if (n <= 32) return MoveSse2(d, s, n);
    for (int32_t i = 0; i + 32 < n; i += 32)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + n - 32),
                        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + n - 32)));
}

// The cell rows' loop; each level's function below spells it out around its
// own move, which must be inlined under that level's instruction set.
#define ASCII_CELL_ROWS(MOVE)                                                   \
    if (cellBytes <= 0) return;                                                 \
    for (int32_t y = 0; y < rows; ++y) {                                        \
        uint8_t* d = dst + y * dstPitch;                                        \
        for (int32_t c = 0; c < cells; ++c)                                     \
            if (glyphs[c]) MOVE(d + c * cellBytes, glyphs[c] + y * glyphPitch); \
    }

__attribute__((optimize("no-tree-vectorize"))) void CellRowsScalar(uint8_t* dst, intptr_t dstPitch,
                                                                      const uint8_t* const* glyphs, intptr_t glyphPitch,
                                                                      int32_t cells, int32_t cellBytes, int32_t rows) {
#define ASCII_MOVE(d, s) MoveScalar(d, s, cellBytes)
    ASCII_CELL_ROWS(ASCII_MOVE)
#undef ASCII_MOVE
}

void CellRowsSse2(uint8_t* dst, intptr_t dstPitch, const uint8_t* const* glyphs, intptr_t glyphPitch, int32_t cells,
                  int32_t cellBytes, int32_t rows) {
#define ASCII_MOVE(d, s) MoveSse2(d, s, cellBytes)
    ASCII_CELL_ROWS(ASCII_MOVE)
#undef ASCII_MOVE
}

__attribute__((target("avx2"))) void CellRowsAvx2(uint8_t* dst, intptr_t dstPitch, const uint8_t* const* glyphs,
                                                  intptr_t glyphPitch, int32_t cells, int32_t cellBytes,
                                                  int32_t rows) {
#define ASCII_MOVE(d, s) MoveAvx2(d, s, cellBytes)
    ASCII_CELL_ROWS(ASCII_MOVE)
#undef ASCII_MOVE
}

// Whole 64-byte moves and one masked move a cell.
__attribute__((target("avx512f,avx512bw"))) void CellRowsAvx512(uint8_t* dst, intptr_t dstPitch,
                                                                const uint8_t* const* glyphs, intptr_t glyphPitch,
                                                                int32_t cells, int32_t cellBytes, int32_t rows) {
    const int32_t whole = cellBytes & ~63;
    const __mmask64 rest = (uint64_t{1} << (cellBytes & 63)) - 1;
#define ASCII_MOVE(d, s)                                                                           \
    do {                                                                                           \
        uint8_t* to = d;                                                                           \
        const uint8_t* from = s;                                                                   \
        for (int32_t i = 0; i < whole; i += 64) _mm512_storeu_si512(to + i, _mm512_loadu_si512(from + i)); \
        _mm512_mask_storeu_epi8(to + whole, rest, _mm512_maskz_loadu_epi8(rest, from + whole));   \
    } while (0)
    ASCII_CELL_ROWS(ASCII_MOVE)
#undef ASCII_MOVE
}

#undef ASCII_CELL_ROWS

}  // namespace

void CopyCellRows(uint8_t* dst, intptr_t dstPitch, const uint8_t* const* glyphs, intptr_t glyphPitch, int32_t cells,
                  int32_t cellBytes, int32_t rows, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return CellRowsScalar(dst, dstPitch, glyphs, glyphPitch, cells, cellBytes, rows);
    case SimdLevel::kSse2: return CellRowsSse2(dst, dstPitch, glyphs, glyphPitch, cells, cellBytes, rows);
    case SimdLevel::kAvx2: return CellRowsAvx2(dst, dstPitch, glyphs, glyphPitch, cells, cellBytes, rows);
    case SimdLevel::kAvx512Vbmi: return CellRowsAvx512(dst, dstPitch, glyphs, glyphPitch, cells, cellBytes, rows);
    }
}

void SumCells32(const CellStrip& strip, uint32_t (*sums)[3], uint16_t* scratch, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return SumCells32Scalar(strip, sums, scratch);
    case SimdLevel::kSse2: return SumCells32Sse2(strip, sums, scratch);
    case SimdLevel::kAvx2: return SumCells32Avx2(strip, sums, scratch);
    case SimdLevel::kAvx512Vbmi: return SumCells32Avx512(strip, sums, scratch);
    }
}

void SumCells16(const CellStrip& strip, int32_t format, uint32_t (*sums)[3], uint16_t* scratch, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return SumCells16Scalar(strip, format, sums, scratch);
    case SimdLevel::kSse2: return SumCells16Sse2(strip, format, sums, scratch);
    case SimdLevel::kAvx2: return SumCells16Avx2(strip, format, sums, scratch);
    case SimdLevel::kAvx512Vbmi: return SumCells16Avx512(strip, format, sums, scratch);
    }
}

void CopyBlock(uint8_t* dst, intptr_t dstPitch, const uint8_t* src, intptr_t srcPitch, int32_t rows, int32_t bytes,
               SimdLevel level) {
    CopyCellRows(dst, dstPitch, &src, srcPitch, 1, bytes, rows, level);
}
