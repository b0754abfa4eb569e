// The mean row kernels that work on the pixels: every level against the
// one-slot definition, the frame words, the saved row and the aliasing the
// pass relies on when it runs in place.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "colour/smooth_kernels.h"
#include "colour/smooth_mean_rows.h"
#include "kernel_support.h"
#include "render/surface.h"

namespace {

constexpr uint32_t kMarker = 0x5A5A5A5A;

// Rows of width words with a guard word on each side, as the kernels see them.
struct Row {
    std::vector<uint32_t> words;
    explicit Row(std::vector<uint32_t> inner) : words(inner.size() + 2, kMarker) {
        std::copy(inner.begin(), inner.end(), words.begin() + 1);
    }
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(words.data() + 1); }
    std::vector<uint32_t> inner() const { return {words.begin() + 1, words.end() - 1}; }
    bool guardsIntact() const { return words.front() == kMarker && words.back() == kMarker; }
};

std::vector<uint32_t> Definition(Row& a, Row& m, Row& b, int width) {
    std::vector<uint32_t> want(width, 0);
    for (int x = 1; x < width - 1; ++x)
        want[x] = FilterSlot(a.bytes() + 4 * x, m.bytes() + 4 * x, b.bytes() + 4 * x, {8192, 0});
    return want;
}

TEST(MeanRow32, WordOfTheLargestSums) {
    // Eight neighbours of 255 sum to 2040, the most an 11-bit field holds.
    EXPECT_EQ(MeanWord32(8 * 0xFFFFFFFFu, 8 * 0x00FF00FFu), 0x00FFFFFFu);
    // Blue 8 x 7 = 56, green 8 x 200 = 1600, red 8 x 9 = 72, alpha anything.
    const uint32_t word = 0xAB09C807;
    EXPECT_EQ(MeanWord32(8 * word, 8 * (word & 0x00FF00FF)), 0x0009C807u);
}

TEST(MeanRow32, EveryLevelMatchesTheDefinition) {
    std::vector<int> widths;
    for (int w = 3; w <= 70; ++w) widths.push_back(w);
    widths.push_back(1001);
    uint32_t seed = 0;
    for (int width : widths) {
        Row a(RandomWords(width, ++seed)), m(RandomWords(width, ++seed)),
            b(RandomWords(width, ++seed));
        const auto want = Definition(a, m, b, width);
        for (SimdLevel level : Levels()) {
            SCOPED_TRACE(testing::Message() << "width " << width << " level " << int(level));
            Row out{std::vector<uint32_t>(width, 0x11111111)}, save{std::vector<uint32_t>(width)};
            MeanRow32(a.bytes(), m.bytes(), b.bytes(), out.bytes(), save.bytes(), width, level);
            ASSERT_EQ(out.inner(), want);
            ASSERT_EQ(save.inner(), m.inner());
            ASSERT_TRUE(out.guardsIntact() && save.guardsIntact());

            // No saved row: only out is written.
            Row alone(std::vector<uint32_t>(width, 0x22222222));
            MeanRow32(a.bytes(), m.bytes(), b.bytes(), alone.bytes(), nullptr, width, level);
            ASSERT_EQ(alone.inner(), want);
            ASSERT_TRUE(alone.guardsIntact());
        }
    }
}

TEST(MeanRow32, InPlaceWritesTheMiddleAndSavesItOverTheRowAbove) {
    for (int width : {3, 4, 15, 16, 17, 33, 200}) {
        Row a0(RandomWords(width, 7 * width)), m0(RandomWords(width, 7 * width + 1)),
            b(RandomWords(width, 7 * width + 2));
        const auto want = Definition(a0, m0, b, width);
        for (SimdLevel level : Levels()) {
            SCOPED_TRACE(testing::Message() << "width " << width << " level " << int(level));
            Row a = a0, m = m0;
            MeanRow32(a.bytes(), m.bytes(), b.bytes(), m.bytes(), a.bytes(), width, level);
            ASSERT_EQ(m.inner(), want);
            ASSERT_EQ(a.inner(), m0.inner());
            ASSERT_TRUE(a.guardsIntact() && m.guardsIntact());
        }
    }
}

TEST(MeanRow32, RowsAtAnyByteAddress) {
    // Rows one byte off word alignment: the kernels make no assumption.
    const int width = 37;
    Row a(RandomWords(width, 91)), m(RandomWords(width, 92)), b(RandomWords(width, 93));
    const auto want = Definition(a, m, b, width);
    std::vector<uint8_t> block(4 * (4 * width + 4));
    uint8_t* base = block.data() + 1;
    std::memcpy(base, a.bytes(), 4 * width);
    std::memcpy(base + 4 * width, m.bytes(), 4 * width);
    std::memcpy(base + 8 * width, b.bytes(), 4 * width);
    for (SimdLevel level : Levels()) {
        uint8_t* out = base + 12 * width;
        MeanRow32(base, base + 4 * width, base + 8 * width, out, nullptr, width, level);
        std::vector<uint32_t> got(width);
        std::memcpy(got.data(), out, 4 * width);
        EXPECT_EQ(got, want) << "level " << int(level);
    }
}

}  // namespace

namespace {

// Slots of random 5-bit channels and a random byte 3, which must not count.
std::vector<uint32_t> RandomSlots(int width, uint32_t seed) {
    auto words = RandomWords(width, seed);
    for (auto& w : words) w &= 0xFF1F1F1F;
    return words;
}

TEST(MeanSlotsToPixels16, EveryLevelMatchesTheDefinitionInBothFormats) {
    std::vector<int> widths;
    for (int w = 3; w <= 70; ++w) widths.push_back(w);
    widths.push_back(1001);
    uint32_t seed = 100;
    for (int32_t format : {int32_t{kFormat555}, int32_t{kFormat565}}) {
        const FieldShifts16 l = Shifts16(format);
        for (int width : widths) {
            Row a(RandomSlots(width, ++seed)), m(RandomSlots(width, ++seed)),
                b(RandomSlots(width, ++seed));
            std::vector<uint16_t> want(width + 2, 0xBEEF);
            for (int x = 1; x < width - 1; ++x) {
                const uint32_t s = FilterSlot(a.bytes() + 4 * x, m.bytes() + 4 * x,
                                              b.bytes() + 4 * x, {8192, 0});
                want[x + 1] = uint16_t((s & 31) | ((s >> 8) & 31) << l.green |
                                       ((s >> 16) & 31) << l.red);
            }
            want[1] = want[width] = 0;
            for (SimdLevel level : Levels()) {
                SCOPED_TRACE(testing::Message() << "format " << format << " width " << width
                                                << " level " << int(level));
                std::vector<uint16_t> out(width + 2, 0xBEEF);
                MeanSlotsToPixels16(a.bytes(), m.bytes(), b.bytes(),
                                    reinterpret_cast<uint8_t*>(out.data() + 1), width, format,
                                    level);
                ASSERT_EQ(out, want);
            }
        }
    }
}

TEST(MeanSlotsToPixels16, BrightestRingGivesTheBrightestPixel) {
    // Eight slots of 31 sum to 248: the mean is 31 in every channel, and the
    // low bit of 5-6-5 green stays 0.
    const int width = 5;
    Row full(std::vector<uint32_t>(width, 0x001F1F1F)), dark(std::vector<uint32_t>(width, 0));
    for (SimdLevel level : Levels()) {
        uint16_t out[width];
        MeanSlotsToPixels16(full.bytes(), dark.bytes(), full.bytes(),
                            reinterpret_cast<uint8_t*>(out), width, kFormat565, level);
        // Six of the eight neighbours are lit: 186 / 8 = 23 per channel.
        const uint16_t lit = (23 << 11) | (23 << 6) | 23;
        EXPECT_EQ(std::vector<uint16_t>(out, out + width),
                  (std::vector<uint16_t>{0, lit, lit, lit, 0}));
        MeanSlotsToPixels16(full.bytes(), full.bytes(), full.bytes(),
                            reinterpret_cast<uint8_t*>(out), width, kFormat555, level);
        EXPECT_EQ(out[2], 0x7FFF) << int(level);
    }
}

}  // namespace
