// What the kernel suites share: every vector level this machine runs, random
// pixel words, and a check of a row kernel against its one-pixel definition.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
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

// Runs kernel over rows of every width from 1 to maxWidth, into a separate
// destination and in place, and compares each word with pixel(source word).
// The destination's rows start at every word offset within 64 bytes, so that
// the vector loops meet every split of a row into a partial first block,
// whole blocks and a partial last one. The words after each row's last,
// where a host may keep other data, must keep their marker. Pictures have at
// least minPixels pixels, for kernels that pick their loop by picture size.
template <class Word, class Kernel, class Pixel>
void ExpectRowsMatch(Kernel kernel, Pixel pixel, int maxWidth = 70, int minPixels = 0) {
    const Word marker = static_cast<Word>(0x5A5A5A5Au);
    constexpr int kOffsets = 64 / sizeof(Word);
    for (int width = 1; width <= maxWidth; ++width) {
        // A row step of 1 word past a multiple of 64 bytes: row y starts y words on.
        const int dstStride = (width / kOffsets + 1) * kOffsets + 1, srcStride = width + 3;
        const int rows = std::max(kOffsets, (minPixels + width - 1) / width);
        const auto src = RandomWords<Word>(size_t(rows) * srcStride, width);
        std::vector<Word> apart(size_t(rows) * dstStride, marker), inPlace = apart;
        for (int y = 0; y < rows; ++y)
            std::copy_n(&src[size_t(y) * srcStride], width, &inPlace[size_t(y) * dstStride]);
        auto* const dst = reinterpret_cast<uint8_t*>(apart.data());
        auto* const same = reinterpret_cast<uint8_t*>(inPlace.data());
        const int32_t srcStep = int32_t(srcStride * sizeof(Word)), dstStep = int32_t(dstStride * sizeof(Word));
        kernel(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), srcStep, dst, dstStep, rows, width});
        kernel(PixelRows{same, dstStep, same, dstStep, rows, width});
        for (const auto* out : {&apart, &inPlace}) {
            const char* how = out == &apart ? "apart" : "in place";
            for (int y = 0; y < rows; ++y) {
                for (int x = 0; x < width; ++x)
                    ASSERT_EQ((*out)[size_t(y) * dstStride + x], static_cast<Word>(pixel(src[size_t(y) * srcStride + x])))
                        << how << " width " << width << " at " << x << "," << y;
                for (int x = width; x < dstStride; ++x)
                    ASSERT_EQ((*out)[size_t(y) * dstStride + x], marker) << how << " width " << width << " row " << y;
            }
        }
    }
}
