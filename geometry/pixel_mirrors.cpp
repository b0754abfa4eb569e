#include "geometry/pixel_mirrors.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "geometry/diagonal_blocks.h"
#include "render/intrinsics.h"

namespace {

// One pixel at a time (the compiler vectorises the loop as it can).
template <int kBytes>
void ReverseWords(uint8_t* dst, const uint8_t* srcEnd, int32_t count) {
    for (int32_t k = 0; k < count; ++k) std::memcpy(dst + k * kBytes, srcEnd - (k + 1) * kBytes, kBytes);
}

void ReverseScalar(uint8_t* dst, const uint8_t* srcEnd, int32_t count, int bytes) {
    if (bytes == 4)
        ReverseWords<4>(dst, srcEnd, count);
    else
        ReverseWords<2>(dst, srcEnd, count);
}

// Word reversal of one register, by pixel width and level.
__attribute__((target("sse2"))) inline __m128i Reverse128(__m128i v, int bytes) {
    if (bytes == 4) return _mm_shuffle_epi32(v, 0x1B);
    v = _mm_shufflelo_epi16(_mm_shufflehi_epi16(v, 0x1B), 0x1B);
    return _mm_shuffle_epi32(v, 0x4E);
}

__attribute__((target("avx2"))) inline __m256i Reverse256(__m256i v, int bytes) {
    if (bytes == 4) return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
    const __m256i words = _mm256_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1, 14, 15, 12, 13, 10,
                                           11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
    return _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, words), 0x4E);
}

__attribute__((target("avx512f,avx512bw"))) inline __m512i Reverse512(__m512i v, int bytes) {
    if (bytes == 4)
        return _mm512_permutexvar_epi32(_mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0), v);
    const __m512i words = _mm512_set_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                           20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    return _mm512_permutexvar_epi16(words, v);
}

// Whole registers of reversed pixels; a run that does not fill the last
// register ends with one that overlaps the one before (the runs do not
// overlap each other, so pixels written twice get the same value). Runs
// shorter than one register go down a level.
__attribute__((target("sse2"))) void ReverseSse2(uint8_t* dst, const uint8_t* srcEnd, int32_t count, int bytes) {
    const int32_t lanes = 16 / bytes;
    if (count < lanes) return ReverseScalar(dst, srcEnd, count, bytes);
    int32_t k = 0;
    for (; k + lanes <= count; k += lanes) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(srcEnd - (k + lanes) * bytes));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k * bytes), Reverse128(v, bytes));
    }
    if (k < count) {
        k = count - lanes;
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(srcEnd - (k + lanes) * bytes));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k * bytes), Reverse128(v, bytes));
    }
}

__attribute__((target("avx2"))) void ReverseAvx2(uint8_t* dst, const uint8_t* srcEnd, int32_t count, int bytes) {
    const int32_t lanes = 32 / bytes;
    if (count < lanes) return ReverseSse2(dst, srcEnd, count, bytes);
    int32_t k = 0;
    for (; k + lanes <= count; k += lanes) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(srcEnd - (k + lanes) * bytes));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + k * bytes), Reverse256(v, bytes));
    }
    if (k < count) {
        k = count - lanes;
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(srcEnd - (k + lanes) * bytes));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + k * bytes), Reverse256(v, bytes));
    }
}

// Runs shorter than a register are one masked load and store: the load
// takes the top count words of the register ending at srcEnd, which after
// the reversal are the low count words stored.
__attribute__((target("avx512f,avx512bw"))) void ReverseAvx512(uint8_t* dst, const uint8_t* srcEnd, int32_t count,
                                                               int bytes) {
    const int32_t lanes = 64 / bytes;
    if (count <= 0) return;
    if (count < lanes) {
        // Computed as an integer: the register may begin before the run's
        // memory, whose masked-off words are never touched.
        const void* from = reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(srcEnd) - 64);
        const uint32_t low = static_cast<uint32_t>((uint64_t{1} << count) - 1);
        if (bytes == 4) {
            const __mmask16 m = static_cast<__mmask16>(low);
            const __m512i v = _mm512_maskz_loadu_epi32(static_cast<__mmask16>(m << (16 - count)), from);
            _mm512_mask_storeu_epi32(dst, m, Reverse512(v, 4));
        } else {
            const __m512i v = _mm512_maskz_loadu_epi16(static_cast<__mmask32>(low) << (32 - count), from);
            _mm512_mask_storeu_epi16(dst, static_cast<__mmask32>(low), Reverse512(v, 2));
        }
        return;
    }
    int32_t k = 0;
    for (; k + lanes <= count; k += lanes) {
        const __m512i v = _mm512_loadu_si512(srcEnd - (k + lanes) * bytes);
        _mm512_storeu_si512(dst + k * bytes, Reverse512(v, bytes));
    }
    if (k < count) {
        k = count - lanes;
        const __m512i v = _mm512_loadu_si512(srcEnd - (k + lanes) * bytes);
        _mm512_storeu_si512(dst + k * bytes, Reverse512(v, bytes));
    }
}

// Moves bytes from src to dst, cut where either run would leave the plane.
void MoveRun(const PixelPlane& plane, uint8_t* dst, const uint8_t* src, ptrdiff_t bytes) {
    bytes = std::min({bytes, plane.end - dst, plane.end - src});
    if (bytes > 0) std::memmove(dst, src, static_cast<size_t>(bytes));
}

// Pixel (r, x) from p takes pixel (r2, x2).
template <class Pixel>
struct Square {
    uint8_t* p;
    ptrdiff_t rowBytes;

    Pixel* at(ptrdiff_t r, ptrdiff_t x) const { return reinterpret_cast<Pixel*>(p + r * rowBytes) + x; }
    uint8_t* bytes(ptrdiff_t r, ptrdiff_t x) const { return p + r * rowBytes + x * ptrdiff_t{sizeof(Pixel)}; }
    void move(ptrdiff_t r, ptrdiff_t x, ptrdiff_t r2, ptrdiff_t x2) const {
        std::memcpy(at(r, x), at(r2, x2), sizeof(Pixel));
    }
};

// Calls body with the pixel type of the plane.
template <class Body>
void ForPixel(const PixelPlane& plane, uint8_t* p, Body body) {
    if (plane.bytesPerPixel == 4)
        body(Square<uint32_t>{p, plane.rowBytes});
    else
        body(Square<uint16_t>{p, plane.rowBytes});
}

}  // namespace

void ReversePixels(uint8_t* dst, const uint8_t* srcEnd, int32_t count, int32_t bytesPerPixel, SimdLevel level) {
    if (level >= SimdLevel::kAvx512Vbmi)
        ReverseAvx512(dst, srcEnd, count, bytesPerPixel);
    else if (level >= SimdLevel::kAvx2)
        ReverseAvx2(dst, srcEnd, count, bytesPerPixel);
    else if (level >= SimdLevel::kSse2)
        ReverseSse2(dst, srcEnd, count, bytesPerPixel);
    else
        ReverseScalar(dst, srcEnd, count, bytesPerPixel);
}

void MirrorColumnsRight(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows, SimdLevel level) {
    for (int32_t y = 0; y < rows; ++y) ReversePixels(p + y * plane.rowBytes, p + y * plane.rowBytes, cols, plane.bytesPerPixel, level);
}

void MirrorColumnsLeft(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows, SimdLevel level) {
    const ptrdiff_t run = ptrdiff_t{cols} * plane.bytesPerPixel;
    for (int32_t y = 0; y < rows; ++y) {
        uint8_t* row = p + y * plane.rowBytes;
        ReversePixels(row - run, row + run, cols, plane.bytesPerPixel, level);
    }
}

void MirrorRowsUp(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows) {
    const ptrdiff_t run = ptrdiff_t{cols} * plane.bytesPerPixel;
    for (int32_t k = 0; k < rows; ++k) MoveRun(plane, p - (k + 1) * plane.rowBytes, p + k * plane.rowBytes, run);
}

void MirrorRowsDown(const PixelPlane& plane, uint8_t* p, int32_t cols, int32_t rows) {
    const ptrdiff_t run = ptrdiff_t{cols} * plane.bytesPerPixel;
    for (int32_t k = 0; k < rows; ++k) MoveRun(plane, p + (k + 1) * plane.rowBytes, p - k * plane.rowBytes, run);
}

// The diagonal mirrors read columns and write rows (or the reverse): they
// walk their triangle in square blocks so that the lines of both stay in
// cache. lo(j) and hi(j) bound the columns of row j (inclusive lo,
// exclusive hi); block(jb, xb) moves a whole block of the triangle at once,
// body moves one pixel of the blocks the triangle's edges cut. The pixels
// read lie across the diagonal from those written, so the order does not
// matter.
template <class Lo, class Hi, class BlockBody, class Body>
void Blocked(int32_t rowEnd, Lo lo, Hi hi, BlockBody block, Body body) {
    constexpr int32_t kBlock = kDiagonalBlock;
    for (int32_t jb = 0; jb < rowEnd; jb += kBlock) {
        // Only the blocks of this band of rows that the triangle reaches.
        int32_t first = INT32_MAX, end = 0;
        for (int32_t j = jb; j < std::min(jb + kBlock, rowEnd); ++j)
            if (lo(j) < hi(j)) first = std::min(first, lo(j)), end = std::max(end, hi(j));
        for (int32_t xb = first / kBlock * kBlock; xb < end; xb += kBlock) {
            bool whole = jb + kBlock <= rowEnd;
            for (int32_t j = jb; whole && j < jb + kBlock; ++j) whole = lo(j) <= xb && hi(j) >= xb + kBlock;
            if (whole) {
                block(jb, xb);
                continue;
            }
            for (int32_t j = jb; j < std::min(jb + kBlock, rowEnd); ++j)
                for (int32_t x = std::max(xb, lo(j)); x < std::min(xb + kBlock, hi(j)); ++x) body(j, x);
        }
    }
}

// The block at (jb, xb) takes its transpose from (xb, jb), or when outward
// gives its transpose to it.
template <class Sq>
auto TransposeAt(const Sq& sq, const PixelPlane& plane, SimdLevel level, bool outward) {
    return [=, &plane](int32_t jb, int32_t xb) {
        uint8_t* here = sq.bytes(jb, xb);
        uint8_t* there = sq.bytes(xb, jb);
        TransposeBlock(outward ? there : here, outward ? here : there, plane.rowBytes, plane.bytesPerPixel, level);
    };
}

void MirrorDiagonalDown(const PixelPlane& plane, uint8_t* p, int32_t count, SimdLevel level) {
    ForPixel(plane, p, [&](auto sq) {
        Blocked(count, [](int32_t) { return 0; }, [](int32_t r) { return r; }, TransposeAt(sq, plane, level, false),
                [&](int32_t r, int32_t k) { sq.move(r, k, k, r); });
    });
}

void MirrorDiagonalUp(const PixelPlane& plane, uint8_t* p, int32_t count, SimdLevel level) {
    ForPixel(plane, p, [&](auto sq) {
        Blocked(count, [](int32_t) { return 0; }, [](int32_t r) { return r; }, TransposeAt(sq, plane, level, true),
                [&](int32_t r, int32_t k) { sq.move(k, r, r, k); });
    });
}

void MirrorDiagonalUpLimited(const PixelPlane& plane, uint8_t* p, int32_t n, int32_t m, SimdLevel level) {
    ForPixel(plane, p, [&](auto sq) {
        Blocked(n - 1, [](int32_t j) { return j + 1; }, [&](int32_t j) { return std::min(n - 1 - j, m - 1) + 1; },
                TransposeAt(sq, plane, level, false), [&](int32_t j, int32_t x) { sq.move(j, x, x, j); });
    });
}

void MirrorDiagonalDownLimited(const PixelPlane& plane, uint8_t* p, int32_t n, int32_t m, SimdLevel level) {
    ForPixel(plane, p, [&](auto sq) {
        Blocked(n - 1, [](int32_t j) { return j + 1; }, [&](int32_t j) { return std::min(n - 1 - j, m - 1) + 1; },
                TransposeAt(sq, plane, level, true), [&](int32_t j, int32_t x) { sq.move(x, j, j, x); });
    });
}

void MirrorAntiDiagonal(const PixelPlane& plane, uint8_t* p, int32_t c, SimdLevel level) {
    ForPixel(plane, p, [&](auto sq) {
        Blocked(
            c - 1, [](int32_t) { return 0; }, [&](int32_t j) { return c - 1 - j; },
            [&](int32_t jb, int32_t xb) {
                AntiTransposeBlock(sq.bytes(c - 8 - xb, c - 8 - jb), sq.bytes(jb, xb), plane.rowBytes,
                                   plane.bytesPerPixel, level);
            },
            [&](int32_t j, int32_t k) { sq.move(c - 1 - k, c - 1 - j, j, k); });
    });
}
