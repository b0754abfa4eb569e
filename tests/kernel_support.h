// What the kernel suites share: every vector level this machine runs, random
// pixel words, and a check of a row kernel against its one-pixel definition.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "render/pixel_rows.h"
#include "render/simd_level.h"

// Every kernel variant this machine can run, scalar first.
inline std::vector<SimdLevel> Levels() {
    std::vector<SimdLevel> levels;
    for (SimdLevel l : {SimdLevel::kScalar, SimdLevel::kSse2, SimdLevel::kAvx2, SimdLevel::kAvx512Vbmi})
        if (l <= MachineSimdLevel()) levels.push_back(l);
    return levels;
}

template <class Word = uint32_t>
std::vector<Word> RandomWords(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<Word> v(n);
    for (auto& w : v) w = static_cast<Word>(rng());
    return v;
}

// Runs kernel over padded rows of every width from 1 to maxWidth (vector
// bodies and tails) and compares each word with pixel(source word); the
// padding must stay as it was.
template <class Word, class Kernel, class Pixel>
void ExpectRowsMatch(Kernel kernel, Pixel pixel, int maxWidth = 70) {
    const Word marker = static_cast<Word>(0x5A5A5A5Au);
    for (int width = 1; width <= maxWidth; ++width) {
        const int rows = 3, srcStride = width + 3, dstStride = width + 5;
        const auto src = RandomWords<Word>(size_t(rows) * srcStride, width);
        std::vector<Word> dst(size_t(rows) * dstStride, marker);
        kernel(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), int32_t(srcStride * sizeof(Word)),
                         reinterpret_cast<uint8_t*>(dst.data()), int32_t(dstStride * sizeof(Word)), rows, width});
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(dst[y * dstStride + x], static_cast<Word>(pixel(src[y * srcStride + x])))
                    << "width " << width << " at " << x << "," << y;
            for (int x = width; x < dstStride; ++x) ASSERT_EQ(dst[y * dstStride + x], marker);
        }
    }
}
