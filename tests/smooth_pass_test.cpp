// The smooth pass: weights, row converters, the filter on hand-made pictures,
// surfaces of odd geometry, and every vector level against a pixel-by-pixel
// definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "colour/smooth_pass.h"
#include "host/host_surface.h"
#include "kernel_support.h"

namespace {

using fxhost::HostSurface;

constexpr SmoothWeightPair kMean{8192, 0};

// Blue, green, red of a pixel word as the filter sees them.
struct Channels {
    uint32_t c[3];
};

Channels Split(uint32_t word, int32_t format) {
    if (format == kFormatXrgb) return {{word & 0xFF, (word >> 8) & 0xFF, (word >> 16) & 0xFF}};
    if (format == kFormat555) return {{word & 31, (word >> 5) & 31, (word >> 10) & 31}};
    return {{word & 31, (word >> 6) & 31, (word >> 11) & 31}};
}

uint32_t Join(const Channels& ch, int32_t format) {
    const uint32_t b = ch.c[0], g = ch.c[1], r = ch.c[2];
    if (format == kFormatXrgb) return (b & 0xFF) | (g & 0xFF) << 8 | (r & 0xFF) << 16;
    if (format == kFormat555) return (b & 31) | (g & 31) << 5 | (r & 31) << 10;
    return (b & 31) | (g & 31) << 6 | (r & 31) << 11;
}

// The whole pass by its definition, for a destination of the picture's size:
// each inner pixel from its eight neighbours and itself, the frame black.
std::vector<uint32_t> Expected(const HostSurface& from, SmoothWeightPair w) {
    const int width = from.width(), height = from.height(), format = from.format();
    std::vector<uint32_t> out(size_t(width) * height, 0);
    for (int y = 1; y < height - 1; ++y) {
        for (int x = 1; x < width - 1; ++x) {
            Channels result{};
            for (int c = 0; c < 3; ++c) {
                uint32_t sum = 0;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        if (dx || dy) sum += Split(from.pixel(x + dx, y + dy), format).c[c];
                const uint32_t centre = Split(from.pixel(x, y), format).c[c];
                const uint32_t value = sum * uint32_t(w.neighbour) + centre * uint32_t(w.centre);
                result.c[c] = (value >> 16) & 0xFF;
            }
            out[size_t(y) * width + x] = Join(result, format);
        }
    }
    return out;
}

std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> v;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) v.push_back(s.pixel(x, y));
    return v;
}

void FillRandom(HostSurface& s, uint32_t seed) {
    std::mt19937 rng(seed);
    const uint32_t mask = s.bytesPerPixel() == 4 ? 0xFFFFFFFFu : 0xFFFFu;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, rng() & mask);
}

int BytesOf(int32_t format) {
    return format == kFormatXrgb ? 4 : 2;
}

// ---- Weights ----------------------------------------------------------------

TEST(SmoothWeights, WorkedValues) {
    const auto check = [](float amount, float gain, int32_t neighbour, int32_t centre) {
        const SmoothWeightPair w = SmoothWeights(amount, gain);
        EXPECT_EQ(w.neighbour, neighbour) << amount << " " << gain;
        EXPECT_EQ(w.centre, centre) << amount << " " << gain;
    };
    check(1.0f, 1.0f, 8192, 0);
    check(0.5f, 1.0f, 4096, 32768);
    check(0.25f, 0.5f, 1024, 49152);  // 0.125 of the mean beside 0.75 of the pixel
    check(-1.0f, 1.0f, -8192, 131072);
    // The neighbour product rounds in single precision (exactly it is just
    // under 8020), the centre is taken in double (in single 1 - 1e-8 is 1).
    check(0.46637f, 2.0992f, 8020, 34971);
    check(1e-8f, 1.0f, 0, 65535);
    // Out of range and NaN give the processor's INT32_MIN.
    check(1e6f, 1e6f, INT32_MIN, INT32_MIN);
    check(NAN, 1.0f, INT32_MIN, INT32_MIN);
}

// ---- Row converters -----------------------------------------------------------

TEST(SmoothRows, ConvertersKeepTheirLayouts) {
    // 1 10101 01010 11001 in 5-5-5: red 21, green 10, blue 25, bit 15 ignored.
    // 10101 101011 11001 in 5-6-5: red 21, green 43 (upper five bits 21), blue 25.
    const uint16_t pixels[2] = {0xD559, (21 << 11) | (43 << 5) | 25};
    uint8_t slots[8];
    std::memset(slots, 0xEE, sizeof slots);
    UnpackRow16(pixels, slots, 1, kFormat555);
    EXPECT_EQ(std::vector<uint8_t>(slots, slots + 8),
              (std::vector<uint8_t>{25, 10, 21, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    for (int32_t format : {int32_t{kFormat565}, int32_t{kFormatXrgb}, int32_t{0}}) {
        UnpackRow16(pixels + 1, slots, 1, format);  // any format but 1 is 5-6-5
        EXPECT_EQ(std::vector<uint8_t>(slots, slots + 4), (std::vector<uint8_t>{25, 21, 21, 0xEE}));
    }

    const uint8_t channels[8] = {0x3F, 0x25, 0xE1, 0xAA, 31, 31, 31, 0xFF};  // taken modulo 32
    uint16_t packed[3] = {0xBEEF, 0xBEEF, 0xBEEF};
    PackRow16(channels, packed, 2, kFormat555);
    EXPECT_EQ(std::vector<uint16_t>(packed, packed + 3),
              (std::vector<uint16_t>{(1 << 10) | (5 << 5) | 31, 0x7FFF, 0xBEEF}));
    PackRow16(channels, packed, 2, kFormat565);  // bit 5, the low bit of green, stays 0
    EXPECT_EQ(std::vector<uint16_t>(packed, packed + 3),
              (std::vector<uint16_t>{(1 << 11) | (5 << 6) | 31, 0xFFDF, 0xBEEF}));

    const uint32_t from[3] = {0xFF102030, 0x00ABCDEF, 7};
    uint32_t to[3] = {1, 1, 1};
    CopyRow32(from, to, 2, kFormat565);
    EXPECT_EQ(std::vector<uint32_t>(to, to + 3),
              (std::vector<uint32_t>{0xFF102030, 0x00ABCDEF, 1}));
}

TEST(SmoothRows, EveryLevelMatchesTheLayouts) {
    std::mt19937 rng(5);
    for (int32_t format : {kFormat555, kFormat565}) {
        for (int32_t count = 0; count <= 1001; count += count < 70 ? 1 : 931) {
            std::vector<uint16_t> pixels(count + 40);
            std::vector<uint8_t> slots(4 * (count + 40));
            for (auto& p : pixels) p = static_cast<uint16_t>(rng());
            for (auto& s : slots) s = static_cast<uint8_t>(rng());
            for (SimdLevel level : Levels()) {
                SCOPED_TRACE(testing::Message() << "format " << format << " count " << count
                                                << " level " << int(level));
                std::vector<uint8_t> unpacked = slots;
                std::vector<uint16_t> packed = pixels;
                UnpackSlots16(pixels.data(), unpacked.data(), count, format, level);
                PackSlots16(slots.data(), packed.data(), count, format, level);
                for (int i = 0; i < count + 40; ++i) {
                    const Channels ch = Split(pixels[i], format);
                    std::vector<uint8_t> want(&slots[4 * i], &slots[4 * i + 4]);
                    if (i < count)
                        want = {uint8_t(ch.c[0]), uint8_t(ch.c[1]), uint8_t(ch.c[2]), want[3]};
                    ASSERT_EQ(std::vector<uint8_t>(&unpacked[4 * i], &unpacked[4 * i + 4]), want)
                        << i;
                    const Channels back{{slots[4 * i], slots[4 * i + 1], slots[4 * i + 2]}};
                    ASSERT_EQ(packed[i], i < count ? Join(back, format) : pixels[i]) << i;
                }
            }
        }
    }
}

// ---- The filter on hand-made pictures -----------------------------------------

TEST(SmoothSurface, FlatPictureKeepsItsColourInsideABlackFrame) {
    struct Case {
        int32_t format;
        uint32_t word;
        uint32_t inner;
    };
    const Case cases[] = {
        {kFormatXrgb, 0xFFC0B0A0, 0x00C0B0A0},  // the top byte is cleared
        {kFormatXrgb, 0xFFFFFFFF, 0x00FFFFFF},
        {kFormat555, 0xFFFF, 0x7FFF},
        {kFormat555, 0x2D4A, 0x2D4A},
        {kFormat565, 0xFFFF, 0xFFDF},  // green loses its low bit
        {kFormat565, 0xA5F4, 0xA5D4},
    };
    for (const Case& c : cases) {
        HostSurface s(7, 5, c.format, 7 * BytesOf(c.format) + 6);
        s.fill(c.word);
        s.fillPadding(0x5A);
        ASSERT_EQ(SmoothSurface(s.get(), s.get(), 0, 1.0f, 1.0f), 1);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x) {
                const bool inner = x > 0 && x < 6 && y > 0 && y < 4;
                EXPECT_EQ(s.pixel(x, y), inner ? c.inner : 0u)
                    << std::hex << c.word << " at " << x << "," << y;
            }
        EXPECT_TRUE(s.paddingIs(0x5A));
    }
}

TEST(SmoothSurface, EachPixelBecomesTheMeanOfItsRing) {
    // A 3x3 picture: blue 10..80 (sum 360), green 255, red 1..8 (sum 36)
    // around a centre whose own value has no share.
    HostSurface s(3, 3, kFormatXrgb);
    const int ring[8][2] = {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {2, 1}, {0, 2}, {1, 2}, {2, 2}};
    for (uint32_t i = 0; i < 8; ++i)
        s.setPixel(ring[i][0], ring[i][1], (i + 1) << 16 | 0xFF00u | 10 * (i + 1));
    s.setPixel(1, 1, 0xFFFFFFFF);
    SmoothSurface(s.get(), s.get(), 0, 1.0f, 1.0f);
    EXPECT_EQ(Pixels(s), (std::vector<uint32_t>{0, 0, 0, 0, 0x0004FF2D, 0, 0, 0, 0}));

    // A lone bright pixel vanishes and shows at an eighth, truncated, around.
    HostSurface wide(5, 5, kFormatXrgb), narrow(5, 5, kFormat565);
    wide.setPixel(2, 2, 0x00FF8047);
    narrow.setPixel(2, 2, 0xFFFF);
    SmoothSurface(wide.get(), wide.get(), 0, 1.0f, 1.0f);
    SmoothSurface(narrow.get(), narrow.get(), 0, 1.0f, 1.0f);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) {
            const bool around = x >= 1 && x <= 3 && y >= 1 && y <= 3 && !(x == 2 && y == 2);
            EXPECT_EQ(wide.pixel(x, y), around ? 0x001F1008u : 0u) << x << "," << y;
            EXPECT_EQ(narrow.pixel(x, y), around ? 0x18C3u : 0u) << x << "," << y;  // 3s
        }
}

TEST(SmoothSurface, WeightsBlendWrapAndKeepTheSign) {
    struct Case {
        SmoothWeightPair w;
        uint32_t ring, centre, out;
    };
    const Case cases[] = {
        {SmoothWeights(0.5f, 1.0f), 0x00646464, 0x00C8C8C8, 0x00969696},   // 800/16 + 100
        {SmoothWeights(0.25f, 0.5f), 0x00C8C8C8, 0x00C8C8C8, 0x00AFAFAF},  // darker: 175
        {{65536, 0}, 0x00282828, 0x00282828, 0x00404040},                  // 320 keeps its low byte
        {{-8192, 0}, 0x00080808, 0x00080808, 0x00F8F8F8},                  // -8 as a byte
    };
    for (const Case& c : cases) {
        for (SimdLevel level : Levels()) {
            HostSurface s(3, 3, kFormatXrgb);
            s.fill(c.ring);
            s.setPixel(1, 1, c.centre);
            ASSERT_EQ(SmoothSurfaceWeighted(s.get(), s.get(), c.w, level), 1);
            EXPECT_EQ(s.pixel(1, 1), c.out) << c.w.neighbour << " level " << int(level);
        }
    }
}

// ---- Geometry -------------------------------------------------------------------

TEST(SmoothSurface, RowStepsComeFromBothSurfaces) {
    // Source rows 28 bytes apart, target rows 44: the target is written at
    // 0, 28, 72 and cleared at 116, across its own rows.
    const int width = 5, height = 4;
    HostSurface from(width, height, kFormatXrgb, 28), to(width, height, kFormatXrgb, 44);
    FillRandom(from, 3);
    to.fill(0x11111111);
    to.fillPadding(0x5A);
    std::vector<uint8_t> want(to.row(0), to.row(0) + 44 * height);
    const auto mean = Expected(from, kMean);
    std::memset(&want[0], 0, 20);
    std::memcpy(&want[28], &mean[width], 20);
    std::memcpy(&want[72], &mean[2 * width], 20);
    std::memset(&want[116], 0, 20);
    SmoothSurface(from.get(), to.get(), 0, 1.0f, 1.0f);
    EXPECT_EQ(std::vector<uint8_t>(to.row(0), to.row(0) + 44 * height), want);

    // Rows 15 bytes apart are read 14 apart, as if packed at 14.
    HostSurface packed(6, 5, kFormat565, 14), odd(6, 5, kFormat565, 15), out(6, 5, kFormat565, 14);
    FillRandom(packed, 9);
    std::memcpy(odd.row(0), packed.row(0), 14 * 4 + 12);
    SmoothSurface(odd.get(), out.get(), 0, 1.0f, 1.0f);
    EXPECT_EQ(Pixels(out), Expected(packed, kMean));
}

TEST(SmoothSurface, EverySurfaceIsTouchedOnlyInsideItsPicture) {
    // One row in place: the row after it in memory is not the picture's.
    HostSurface memory(4, 2, kFormatXrgb);
    memory.fill(0x12345678);
    Surface oneRow = *memory.get();
    oneRow.bounds.bottom = 1;
    EXPECT_EQ(SmoothSurface(&oneRow, &oneRow, 0, 1.0f, 1.0f), 1);
    const uint32_t k = 0x12345678;
    EXPECT_EQ(Pixels(memory), (std::vector<uint32_t>{0, 0, 0, 0, k, k, k, k}));
    // One row into a taller surface: the row below the picture is cleared.
    HostSurface taller(4, 3, kFormatXrgb);
    taller.fill(k);
    memory.fill(k);
    EXPECT_EQ(SmoothSurface(&oneRow, taller.get(), 0, 1.0f, 1.0f), 1);
    EXPECT_EQ(Pixels(taller), (std::vector<uint32_t>{0, 0, 0, 0, 0, 0, 0, 0, k, k, k, k}));

    // A shorter target gets the rows that fit.
    HostSurface from(6, 6, kFormatXrgb, 28), shorter(6, 3, kFormatXrgb, 28);
    FillRandom(from, 4);
    shorter.fillPadding(0x5A);
    EXPECT_EQ(SmoothSurface(from.get(), shorter.get(), 0, 1.0f, 1.0f), 1);
    const auto mean = Expected(from, kMean);
    EXPECT_EQ(Pixels(shorter), std::vector<uint32_t>(mean.begin(), mean.begin() + 18));
    EXPECT_TRUE(shorter.paddingIs(0x5A));

    // A 32-bit target over a 16-bit source reads words of the source's memory
    // that lie inside it; the frame is black and the padding untouched.
    HostSurface narrow(8, 4, kFormat565, 36), wide(8, 4, kFormatXrgb, 36);
    FillRandom(narrow, 2);
    wide.fill(0xFFFFFFFF);
    wide.fillPadding(0x5A);
    EXPECT_EQ(SmoothSurface(narrow.get(), wide.get(), 0, 1.0f, 1.0f), 1);
    for (int x = 0; x < 8; ++x) EXPECT_EQ(wide.pixel(x, 0) | wide.pixel(x, 3), 0u);
    EXPECT_TRUE(wide.paddingIs(0x5A));

    // No pixels: nothing happens.
    Surface none = *wide.get();
    none.pixels = nullptr;
    wide.fill(k);
    EXPECT_EQ(SmoothSurface(&none, wide.get(), 0, 1.0f, 1.0f), 1);
    EXPECT_EQ(SmoothSurface(wide.get(), &none, 0, 1.0f, 1.0f), 1);
    EXPECT_EQ(Pixels(wide), std::vector<uint32_t>(32, k));
}

TEST(SmoothSurface, FormatOfTheSourceDecides) {
    HostSurface from(4, 3, kFormat555), to(4, 3, kFormat565);
    from.fill(0x7FFF);
    SmoothSurface(from.get(), to.get(), 0, 1.0f, 1.0f);
    EXPECT_EQ(to.pixel(1, 1), 0x7FFFu);  // read and written as 5-5-5
}

// ---- Every level against the definition -------------------------------------------

TEST(SmoothSurface, EveryLevelMatchesTheDefinition) {
    const SmoothWeightPair weights[] = {
        kMean, {4096, 32768}, {1024, 49152}, {-123457, 98765431}, {INT32_MIN, INT32_MIN}};
    // Widths 1 and 2 and heights 1 and 2 come out all black.
    std::vector<std::pair<int, int>> sizes;
    for (int width = 1; width <= 40; ++width)
        for (int height : {1, 2, 3, 4, 7}) sizes.push_back({width, height});
    for (int width : {63, 64, 65, 257, 1001}) sizes.push_back({width, 5});
    uint32_t seed = 1;
    for (int32_t format : {kFormatXrgb, kFormat555, kFormat565}) {
        for (auto [width, height] : sizes) {
            // Rows 10 bytes longer than the pixels: 32-bit rows off 4-byte
            // alignment, and padding to watch.
            const int rowBytes = width * BytesOf(format) + 10;
            HostSurface from(width, height, format, rowBytes);
            FillRandom(from, ++seed);
            const auto before = Pixels(from);
            for (const SmoothWeightPair& w : weights) {
                const auto want = Expected(from, w);
                for (SimdLevel level : Levels()) {
                    SCOPED_TRACE(testing::Message() << "format " << format << " " << width << "x"
                                                    << height << " weights " << w.neighbour << ","
                                                    << w.centre << " level " << int(level));
                    HostSurface to(width, height, format, rowBytes),
                        inPlace(width, height, format, rowBytes);
                    to.fillPadding(0x5A);
                    std::memcpy(inPlace.row(0), from.row(0), size_t(rowBytes) * height);
                    inPlace.fillPadding(0x5A);
                    ASSERT_EQ(SmoothSurfaceWeighted(from.get(), to.get(), w, level), 1);
                    ASSERT_EQ(SmoothSurfaceWeighted(inPlace.get(), inPlace.get(), w, level), 1);
                    ASSERT_EQ(Pixels(to), want);
                    ASSERT_EQ(Pixels(inPlace), want);
                    ASSERT_TRUE(to.paddingIs(0x5A) && inPlace.paddingIs(0x5A));
                }
            }
            ASSERT_EQ(Pixels(from), before);
        }
    }
}

}  // namespace
