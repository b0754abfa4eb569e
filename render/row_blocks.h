// The row loops of the vector kernels: a kernel gives the code of one block
// of words, and every row runs through it whole, the words that do not fill
// a block included. Nothing past a row's last word is written, so rows may
// be worked in place and surfaces may keep other data after each row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "render/intrinsics.h"
#include "render/pixel_rows.h"

// block(in, out) reads kWords words at in and writes kWords words at out; in
// and out may be the same. The rest of a row goes through a stack buffer,
// zero past the row's end: for levels without masked stores of every width.
// The loop has no target of its own, so it inlines into any kernel, and the
// block, which has its kernel's target, inlines there with it.
template <class Word, int kWords, class Block>
__attribute__((always_inline)) inline void ForEachBlock(const PixelRows& rows, Block block) {
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        int32_t x = 0;
        for (; x + kWords <= rows.width; x += kWords) block(src + x, dst + x);
        if (x < rows.width) {
            const size_t bytes = static_cast<size_t>(rows.width - x) * sizeof(Word);
            Word rest[kWords] = {};
            std::memcpy(rest, src + x, bytes);
            block(rest, rest);
            std::memcpy(dst + x, rest, bytes);
        }
    }
}

// The AVX-512 kernels, their blocks included, all carry this target: a block
// inlines only into code that has every feature it uses.
#define AVX512_KERNEL __attribute__((target("avx512f,avx512bw,avx512vbmi")))
#define AVX512_KERNEL_INLINE __attribute__((target("avx512f,avx512bw,avx512vbmi"), always_inline)) inline

// The first count lanes (1 to all) of a vector of Word; the others read 0
// and are never fetched, so the load stays within the row.
template <class Word>
AVX512_KERNEL_INLINE __m512i LoadFirstLanes(const Word* p, int32_t count) {
    const uint64_t lanes = (uint64_t{1} << count) - 1;
    if constexpr (sizeof(Word) == 2) return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(lanes), p);
    return _mm512_maskz_loadu_epi32(static_cast<__mmask16>(lanes), p);
}

// Vector k of a row of count 32-bit words at row: whole where it lies inside
// the row, its first lanes where the row ends in it (the others read 0 and
// are not fetched), and 0 past the row.
AVX512_KERNEL_INLINE __m512i LoadRowVector32(const uint8_t* row, int32_t k, int32_t count) {
    const int32_t n = count - 16 * k;
    if (n >= 16) return _mm512_loadu_si512(row + 64 * k);
    if (n > 0) return _mm512_maskz_loadu_epi32(static_cast<__mmask16>((1u << n) - 1), row + 64 * k);
    return _mm512_setzero_si512();
}

template <class Word>
AVX512_KERNEL_INLINE void StoreFirstLanes(Word* p, int32_t count, __m512i v) {
    const uint64_t lanes = (uint64_t{1} << count) - 1;
    if constexpr (sizeof(Word) == 2)
        _mm512_mask_storeu_epi16(p, static_cast<__mmask32>(lanes), v);
    else
        _mm512_mask_storeu_epi32(p, static_cast<__mmask16>(lanes), v);
}

// Runs block over the partial block of rest words (1 to a block) at src,
// dst: masked loads (lanes past rest hold 0) and masked stores; vectors
// wholly past rest are neither read nor written.
template <class Word, int kVectors, class Block>
AVX512_KERNEL_INLINE void PartialBlock512(const Word* src, Word* dst, int32_t rest, Block& block) {
    constexpr int32_t kLanes = 64 / sizeof(Word);
    __m512i v[kVectors];
    for (int i = 0; i < kVectors; ++i) {
        const int32_t count = rest - kLanes * i;
        v[i] = count >= kLanes ? _mm512_loadu_si512(src + kLanes * i)
               : count > 0     ? LoadFirstLanes(src + kLanes * i, count)
                               : _mm512_setzero_si512();
    }
    block(v);
    for (int i = 0; i < kVectors; ++i) {
        const int32_t count = rest - kLanes * i;
        if (count >= kLanes)
            _mm512_storeu_si512(dst + kLanes * i, v[i]);
        else if (count > 0)
            StoreFirstLanes(dst + kLanes * i, count, v[i]);
    }
}

// block(v) maps kVectors vectors of 16- or 32-bit words, consecutive in the
// row, in place. Each row starts with a partial block up to the first
// 64-byte boundary of its destination, so that the whole blocks store (and,
// where the source rows share that alignment, load) without splitting cache
// lines, and ends with a partial block of what is left.
template <class Word, int kVectors, class Block>
AVX512_KERNEL_INLINE void ForEachBlock512(const PixelRows& rows, Block block) {
    static_assert(sizeof(Word) == 2 || sizeof(Word) == 4);
    constexpr int32_t kLanes = 64 / sizeof(Word), kStep = kLanes * kVectors;
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        const auto address = reinterpret_cast<uintptr_t>(dst);
        int32_t x = address % sizeof(Word) ? 0 : static_cast<int32_t>((-address & 63) / sizeof(Word));
        if (x >= rows.width) x = rows.width;
        if (x > 0) PartialBlock512<Word, kVectors>(src, dst, x, block);
        for (; x + kStep <= rows.width; x += kStep) {
            __m512i v[kVectors];
            for (int i = 0; i < kVectors; ++i) v[i] = _mm512_loadu_si512(src + x + kLanes * i);
            block(v);
            for (int i = 0; i < kVectors; ++i) _mm512_storeu_si512(dst + x + kLanes * i, v[i]);
        }
        if (x < rows.width) PartialBlock512<Word, kVectors>(src + x, dst + x, rows.width - x, block);
    }
}

// One vector a block: map(p) returns the output of the vector p.
template <class Word, class Map>
AVX512_KERNEL_INLINE void ForEachVector512(const PixelRows& rows, Map map) {
    ForEachBlock512<Word, 1>(rows, [&](__m512i(&v)[1]) AVX512_KERNEL { v[0] = map(v[0]); });
}
