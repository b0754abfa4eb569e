// The per-channel table loops at every vector level, against their
// one-pixel definitions.
#include <gtest/gtest.h>

#include "colour/channel_tables.h"
#include "kernel_support.h"

namespace {

struct ByteTables {
    uint8_t red[256], green[256], blue[256];
};

ByteTables ScrambledTables() {
    ByteTables t;
    for (int i = 0; i < 256; ++i) {
        t.red[i] = static_cast<uint8_t>((i * 37 + 11) ^ (i >> 3));
        t.green[i] = static_cast<uint8_t>(255 - i);
        t.blue[i] = static_cast<uint8_t>(i * 5);
    }
    return t;
}

TEST(ChannelTables, OneTableMatchesDefinition) {
    const ByteTables t = ScrambledTables();
    for (uint32_t mask : {0u, 0xFFFFFFFFu})
        for (SimdLevel level : Levels())
            ExpectRowsMatch<uint32_t>([&](const PixelRows& r) { ApplyChannelTable(r, t.red, mask, level); },
                                      [&](uint32_t p) { return TablePixel(p, t.red) ^ mask; });
}

TEST(ChannelTables, ThreeTablesMatchDefinition) {
    const ByteTables t = ScrambledTables();
    for (uint32_t mask : {0u, 0xFFFFFFFFu})
        for (SimdLevel level : Levels())
            ExpectRowsMatch<uint32_t>(
                [&](const PixelRows& r) { ApplyChannelTables(r, t.red, t.green, t.blue, mask, level); },
                [&](uint32_t p) { return TablesPixel(p, t.red, t.green, t.blue) ^ mask; });
    EXPECT_EQ(TablesPixel(0xAB010203, t.red, t.green, t.blue), 0x0030FD0Fu);  // top byte dropped
}

TEST(ChannelTables, LargeFramesMatchDefinition) {
    // Past the size at which the loops without byte permutes build a
    // two-channel table.
    const ByteTables t = ScrambledTables();
    const int width = 300, rows = 240;
    const auto src = RandomWords<uint32_t>(size_t(width) * rows, 9);
    for (SimdLevel level : Levels()) {
        std::vector<uint32_t> dst(src.size());
        ApplyChannelTables(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), width * 4,
                                     reinterpret_cast<uint8_t*>(dst.data()), width * 4, rows, width},
                           t.red, t.green, t.blue, 0xFFFFFFFF, level);
        for (size_t i = 0; i < src.size(); ++i)
            ASSERT_EQ(dst[i], ~TablesPixel(src[i], t.red, t.green, t.blue)) << i << " level " << int(level);
    }
}

TEST(ChannelTables, SixteenBitFieldsMatchDefinitionWithSpill) {
    uint8_t red[32], green[32], blue[32];
    for (int i = 0; i < 32; ++i) {
        red[i] = static_cast<uint8_t>(31 - i);
        green[i] = static_cast<uint8_t>(i * 3);  // entries up to 93 spill into red
        blue[i] = static_cast<uint8_t>(i ^ 7);
    }
    // Small pictures, and pictures large enough for the levels without byte
    // shuffles to make a table of every word.
    for (int32_t format : {kFormat555, kFormat565})
        for (SimdLevel level : Levels())
            for (int minPixels : {0, 65536})
                ExpectRowsMatch<uint16_t>(
                    [&](const PixelRows& r) { MapChannels16(r, red, green, blue, format, level); },
                    [&](uint32_t p) { return Channels16Pixel(p, red, green, blue, format); }, minPixels ? 12 : 70,
                    minPixels);
    // Fields 1, 2, 3: red 30, green 6, blue 4.
    EXPECT_EQ(Channels16Pixel(1u << 10 | 2u << 5 | 3u, red, green, blue, kFormat555), 30u << 10 | 6u << 5 | 4u);
    // Green 93 from field 31 spills 2 into red: fields 2, 29, 7.
    EXPECT_EQ(Channels16Pixel(31u << 10 | 31u << 5, red, green, blue, kFormat555), 2u << 10 | 29u << 5 | 7u);
    // 5-6-5 reads green's upper five bits (9 is field 4, so 12) and writes
    // the lowest green bit 0.
    EXPECT_EQ(Channels16Pixel(1u << 11 | 9u << 5 | 3u, red, green, blue, kFormat565), 30u << 11 | 12u << 6 | 4u);
}

TEST(ChannelTables, SixteenBitEveryWordMatchesDefinition) {
    // A picture of all 65536 words, so that the table of every word is made
    // and every entry read, at two table sets.
    std::vector<uint16_t> src(65536);
    for (uint32_t i = 0; i < 65536; ++i) src[i] = static_cast<uint16_t>(i);
    for (int set = 0; set < 2; ++set) {
        uint8_t red[32], green[32], blue[32];
        for (int i = 0; i < 32; ++i) {
            red[i] = static_cast<uint8_t>(set ? i / 4 * 4 : 255 - i);
            green[i] = static_cast<uint8_t>(set ? 31 - i : i * 7);
            blue[i] = static_cast<uint8_t>(set ? i : (i * 13) ^ 0x55);
        }
        for (int32_t format : {kFormat555, kFormat565})
            for (SimdLevel level : Levels()) {
                std::vector<uint16_t> dst(src.size());
                MapChannels16(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), 512,
                                        reinterpret_cast<uint8_t*>(dst.data()), 512, 256, 256},
                              red, green, blue, format, level);
                for (uint32_t i = 0; i < 65536; ++i)
                    ASSERT_EQ(dst[i], Channels16Pixel(i, red, green, blue, format))
                        << "word " << i << " set " << set << " format " << format << " level " << int(level);
            }
    }
}

}  // namespace
