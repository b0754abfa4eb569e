// The contrast effect: levels, the luminance curve at its worked values, the
// tables, the kernels at every vector level, and whole instances in-process.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "colour/contrast_effect.h"
#include "colour/contrast_kernels.h"
#include "effect_fixture.h"
#include "kernel_support.h"

namespace {

using fxhost::HostSurface;

constexpr ContrastLevels kXtDefaults32{0, 379, 765};  // host values 0, 255, 128
constexpr ContrastLevels kOld32{180, 332, 602};       // low 30, high 100, middle 64 percent

std::vector<int32_t> Deltas(const ContrastLevels& levels, std::initializer_list<uint32_t> at) {
    std::vector<int32_t> out;
    for (uint32_t y : at) out.push_back(LuminanceDelta(y, levels));
    return out;
}

TEST(ContrastCurve, LevelsFromValues) {
    EXPECT_EQ(ComputeContrastLevels(0, 64, 127, kScaleLuminance32), kXtDefaults32);
    EXPECT_EQ(ComputeContrastLevels(30, 81, 100, kScaleLuminance32), kOld32);
    EXPECT_EQ(ComputeContrastLevels(30, 81, 100, kScaleLuminance16), (ContrastLevels{175, 323, 585}));
    EXPECT_EQ(ComputeContrastLevels(0, 64, 127, kScaleChannel), (ContrastLevels{0, 126, 255}));
    // The middle runs from the high level (0) to the low one (127).
    EXPECT_EQ(ComputeContrastLevels(30, 0, 100, kScaleLuminance32), (ContrastLevels{180, 602, 602}));
    EXPECT_EQ(ComputeContrastLevels(30, 127, 100, kScaleLuminance32), (ContrastLevels{180, 180, 602}));
    // Low above high: both take their mean, whatever the middle.
    EXPECT_EQ(ComputeContrastLevels(100, 40, 50, kScaleLuminance32), (ContrastLevels{451, 451, 451}));
    // Host values of 16 bits: the products wrap in 32 bits.
    EXPECT_EQ(ComputeContrastLevels(-16384, -16384, 16383, kScaleLuminance32),
              (ContrastLevels{-98691, -8256896, 98685}));
}

TEST(ContrastCurve, LuminanceDeltaWorkedValues) {
    EXPECT_EQ(Deltas(kXtDefaults32, {0, 1, 100, 500, 765, 379, 380}), (std::vector<int32_t>{0, 0, 0, 0, 0, 1, 1}));
    EXPECT_EQ(Deltas(kOld32, {0, 1, 179, 180, 332, 602, 603, 765}),
              (std::vector<int32_t>{0, -255, -314, -60, 16, 54, 309, 255}));
    // A threshold: below goes far down, the rest far up; black stays.
    const ContrastLevels threshold{451, 451, 451};
    EXPECT_EQ(Deltas(threshold, {0, 1, 450, 451, 765}), (std::vector<int32_t>{0, -255, -405, 359, 255}));
    // The comparisons are unsigned: a negative low level is above every y.
    EXPECT_EQ(Deltas(ContrastLevels{-5, 10, 20}, {0, 1, 765}), (std::vector<int32_t>{0, -255, -510}));
}

TEST(ContrastCurve, ChannelLevel) {
    const ContrastLevels levels{60, 126, 200};
    EXPECT_EQ(ChannelLevel(0, levels), 0);
    EXPECT_EQ(ChannelLevel(59, levels), 0);
    EXPECT_EQ(ChannelLevel(93, levels), 63);    // 33 x 127.5 / 66
    EXPECT_EQ(ChannelLevel(126, levels), 127);  // the middle point
    EXPECT_EQ(ChannelLevel(200, levels), 255);
    EXPECT_EQ(ChannelLevel(201, levels), 255);
}

TEST(ContrastCurve, SixteenBitTablesDropLowBits) {
    std::vector<uint16_t> table(65536);
    // Nearly neutral at 16 bits (levels of host values 0, 255, 128).
    const ContrastLevels neutral16 = ComputeContrastLevels(0, 64, 127, kScaleLuminance16);
    EXPECT_EQ(neutral16, (ContrastLevels{0, 369, 744}));
    int16_t deltas[766];
    BuildDeltaTable(neutral16, deltas);
    for (int32_t format : {kFormat555, kFormat565}) {
        BuildPixelTable16(format, deltas, nullptr, table.data());
        const uint32_t unusedBit = format == kFormat555 ? 0x8000 : 0x0020;
        for (uint32_t w = 0; w < 65536; ++w) ASSERT_EQ(table[w] & unusedBit, 0u) << w;
        EXPECT_EQ(table[0], 0u);
        EXPECT_EQ(table[0xFFFF] | unusedBit, 0xFFFFu);  // white stays white
        EXPECT_EQ(table[unusedBit], 0u);                // the dropped bit alone is black
    }
    // Mid grey of 5-5-5 fields 16: luminance 384, target 397, delta 4 (lost below 8).
    BuildPixelTable16(kFormat555, deltas, nullptr, table.data());
    EXPECT_EQ(table[16u << 10 | 16u << 5 | 16u], 16u << 10 | 16u << 5 | 16u);
    // Fields 2, 3, 4: luminance 16 + 24 + 12 + 16 = 68, target 70, delta 0.
    EXPECT_EQ(table[2u << 10 | 3u << 5 | 4u], 2u << 10 | 3u << 5 | 4u);
    // Without luminance each channel goes through the level table.
    uint8_t levels[256];
    for (int i = 0; i < 256; ++i) levels[i] = static_cast<uint8_t>(255 - i);
    BuildPixelTable16(kFormat565, nullptr, levels, table.data());
    EXPECT_EQ(table[0], 31u << 11 | 31u << 6 | 31u);  // 255 >> 3 in each field
}

// Delta tables the loops must handle: curves from host values (ordinary,
// threshold, extreme), small random deltas of either sign, of one sign, too
// small to move a 5-bit field, none, and deltas over the whole 16-bit range,
// whose sums wrap and clamp both ways.
std::vector<LuminanceTables> DeltaTables(float scale) {
    std::vector<std::vector<int16_t>> deltas;
    for (auto [low, mid, high] : {std::array{0, 64, 127}, {30, 81, 100}, {100, 40, 50}, {-16384, 300, 16383}}) {
        std::vector<int16_t> t(kDeltaTableEntries);
        BuildDeltaTable(ComputeContrastLevels(low, mid, high, scale), t.data());
        deltas.push_back(t);
    }
    std::vector<int16_t> small = RandomWords<int16_t>(kDeltaTableEntries, 3);
    for (auto& d : small) d = static_cast<int16_t>(d % 600);
    deltas.push_back(small);
    for (auto& d : small) d = static_cast<int16_t>(-std::abs(d));  // darkening only
    deltas.push_back(small);
    for (auto& d : small) d = static_cast<int16_t>(-d % 8);  // below a 16-bit step
    deltas.push_back(small);
    deltas.push_back(std::vector<int16_t>(kDeltaTableEntries, 0));
    std::vector<int16_t> any = RandomWords<int16_t>(kDeltaTableEntries, 4);
    for (int i = 0; i < 40; ++i) any[i * 19] = static_cast<int16_t>(i * 13 - 260);
    deltas.push_back(any);
    std::vector<LuminanceTables> tables(deltas.size());
    for (size_t i = 0; i < deltas.size(); ++i) {
        std::copy(deltas[i].begin(), deltas[i].begin() + 766, tables[i].deltas);
        PrepareLuminanceTables(tables[i]);
    }
    return tables;
}

TEST(ContrastKernels, LuminanceDeltasMatchDefinition) {
    for (const LuminanceTables& t : DeltaTables(kScaleLuminance32))
        for (uint32_t mask : {0u, 0xFFFFFFFFu})
            for (SimdLevel level : Levels())
                ExpectRowsMatch<uint32_t>([&](const PixelRows& r) { ApplyLuminanceDeltas(r, t, mask, level); },
                                          [&](uint32_t p) { return LuminanceDeltaPixel(p, t.deltas) ^ mask; }, 140);
}

TEST(ContrastKernels, LuminanceDeltaPixel) {
    int16_t d[766] = {};
    d[384] = 4;
    d[765] = 255;
    EXPECT_EQ(LuminanceDeltaPixel(0x00808080, d), 0x00848484u);
    EXPECT_EQ(LuminanceDeltaPixel(0xFFFFFFFF, d), 0x00FFFFFFu);  // top byte 0, clamped at 255
    d[384] = -32700;                                              // 128 - 32700 stays negative: 0
    EXPECT_EQ(LuminanceDeltaPixel(0x00808080, d), 0u);
    d[384] = 32700;  // 128 + 32700 wraps to negative: 0
    EXPECT_EQ(LuminanceDeltaPixel(0x00808080, d), 0u);
}

TEST(ContrastKernels, SixteenBitLoopsMatchTheirTable) {
    // Every word in one row, through the table and through the deltas; then
    // rows of every width, whose tails take the partial last block.
    std::vector<uint16_t> words(65536 + 40);
    for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<uint16_t>(i * 40503u);
    std::vector<uint16_t> table(65536);
    for (const LuminanceTables& t : DeltaTables(kScaleLuminance16))
        for (int32_t format : {kFormat555, kFormat565}) {
            BuildPixelTable16(format, t.deltas, nullptr, table.data());
            for (uint16_t mask : {uint16_t{0}, uint16_t{0xFFFF}})
                for (SimdLevel level : Levels()) {
                    std::vector<uint16_t> out(words.size());
                    const int width = static_cast<int>(words.size());
                    ApplyLuminance16(PixelRows{reinterpret_cast<const uint8_t*>(words.data()), width * 2,
                                               reinterpret_cast<uint8_t*>(out.data()), width * 2, 1, width},
                                     table.data(), t, format, mask, level);
                    for (size_t i = 0; i < words.size(); ++i)
                        ASSERT_EQ(out[i], table[words[i]] ^ mask) << i << " format " << format << " level " << int(level);
                    SCOPED_TRACE(testing::Message() << "format " << format << " level " << int(level));
                    ExpectRowsMatch<uint16_t>(
                        [&](const PixelRows& r) { ApplyLuminance16(r, table.data(), t, format, mask, level); },
                        [&](uint32_t p) { return table[p] ^ mask; });
                }
        }
}

TEST(ContrastKernels, WordLookupMatchesDefinition) {
    std::vector<uint16_t> table = RandomWords<uint16_t>(65536, 5);
    for (uint16_t mask : {uint16_t{0}, uint16_t{0xFFFF}})
        ExpectRowsMatch<uint16_t>([&](const PixelRows& r) { LookUpWords16(r, table.data(), mask); },
                                  [&](uint32_t p) { return table[p] ^ mask; });
}

class Contrast : public EffectTest {
protected:
    static ContrastEffect* Make(const char* name, HostSurface& src, HostSurface* dst = nullptr) {
        return EffectTest::Make<ContrastEffect>(name, src, dst);
    }
};

TEST_F(Contrast, TablesAreBuiltOnlyWhenALevelChanges) {
    HostSurface s(2, 2, kFormatXrgb), s16(2, 2, kFormat565);
    for (HostSurface* src : {&s, &s16}) {
        ContrastEffect* effect = Make("Brightness Contrast XT", *src);
        ASSERT_TRUE(effect->IsReady());
        EXPECT_EQ(effect->lowLevel, -1);
        Render(effect, {0, 255, 128, 0});
        EXPECT_EQ(effect->rebuilds, 1u);
        Render(effect, {1, 254, 129, 77});  // same levels after halving; value 3 is not read
        EXPECT_EQ(effect->rebuilds, 1u);
        Render(effect, {0, 255, 0, 0});
        EXPECT_EQ(effect->rebuilds, 2u);
        entry::DestroyEffect(effect);
    }
    // The fixed curve builds on the first frame and never again.
    ContrastEffect* old = Make("CONTRAST_BRIGHTNESS old", s);
    Render(old, {0, 0, 0, 0});
    Render(old, {255, 0, 255, 0});
    EXPECT_EQ(old->rebuilds, 1u);
    EXPECT_EQ((ContrastLevels{old->lowLevel, old->midLevel, old->highLevel}), kOld32);
    entry::DestroyEffect(old);
}

// The table of every word is made only when a frame reads it, from the
// levels of the last rebuild for a fitting format; a rebuild for a format that
// does not fit makes it first, from the tables as they were.
TEST_F(Contrast, TheWordTableIsMadeWhenAFrameReadsIt) {
    HostSurface src(4, 2, kFormat565);
    ContrastEffect* effect = Make("Brightness Contrast XT", src);
    ASSERT_TRUE(effect->IsReady());
    const auto expected = [&] {
        std::vector<uint16_t> table(65536);
        BuildPixelTable16(kFormat565, effect->deltaTable->deltas, effect->levelTable, table.data());
        return table;
    };
    const auto made = [&] { return std::vector<uint16_t>(effect->pixelTable, effect->pixelTable + 65536); };
    Render(effect, {0, 255, 128, 0});
    EXPECT_EQ(effect->pixelTableDue, !Luminance16ReadsTable(*effect->deltaTable, kFormat565));
    effect->MakePixelTable();
    const std::vector<uint16_t> first = expected();
    EXPECT_EQ(made(), first);
    // New levels mark it again; a frame on a 16-bit surface of another format
    // rebuilds: the table is made for the levels before, not the new ones.
    Render(effect, {40, 200, 20, 0});
    src.get()->pixelFormat = kFormatXrgb;
    const std::vector<uint16_t> second = expected();
    const bool wasDue = effect->pixelTableDue;
    Render(effect, {90, 150, 60, 0});
    EXPECT_FALSE(effect->pixelTableDue);
    EXPECT_EQ(made(), second);
    EXPECT_NE(second, first);
    EXPECT_EQ(wasDue, !Luminance16ReadsTable(*effect->deltaTable, kFormat565));
    src.get()->pixelFormat = kFormat565;
    entry::DestroyEffect(effect);
}

TEST_F(Contrast, BlackStaysBlackUnlessInverted) {
    for (int32_t format : {kFormatXrgb, kFormat555, kFormat565})
        for (const char* name : {"Brightness Contrast XT", "CONTRAST_BRIGHTNESS old", "Contrast Brightness XT Inverse",
                                 "Contrast_Bright_Invert old"}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(format));
            HostSurface src(3, 2, format), dst(3, 2, format);
            src.fill(0);
            ContrastEffect* effect = Make(name, src, &dst);
            for (std::array<int32_t, 4> params : {std::array<int32_t, 4>{0, 255, 128, 0}, {200, 100, 0, 0}}) {
                Render(effect, params);
                const uint32_t white = format == kFormatXrgb ? 0xFFFFFFFF : 0xFFFF;
                EXPECT_EQ(dst.pixel(2, 1), effect->record.inverse ? white : 0u);
            }
            entry::DestroyEffect(effect);
        }
}

TEST_F(Contrast, ThresholdWhenLowIsAboveHigh) {
    HostSurface src(4, 1, kFormatXrgb), dst(4, 1, kFormatXrgb);
    // Luminance 450, 451 and a dark blue, 0 with a top byte.
    for (auto [x, p] : {std::pair{0, 0x00969696u}, {1, 0x00979696u}, {2, 0x00000040u}, {3, 0xAB000000u}})
        src.setPixel(x, 0, p);
    ContrastEffect* effect = Make("Brightness Contrast XT", src, &dst);
    Render(effect, {200, 100, 128, 0});  // low 100, high 50: both 451
    EXPECT_EQ(dst.pixel(0, 0), 0u);
    EXPECT_EQ(dst.pixel(1, 0), 0x00FFFFFFu);
    EXPECT_EQ(dst.pixel(2, 0), 0u);
    EXPECT_EQ(dst.pixel(3, 0), 0u);
    entry::DestroyEffect(effect);
}

TEST_F(Contrast, InverseSetsTheBitsTheFormatsLeaveClear) {
    for (int32_t format : {kFormat555, kFormat565}) {
        HostSurface src(8, 8, format), plain(8, 8, format), inverted(8, 8, format);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) src.setPixel(x, y, (x * 0x2F31u + y * 0x91C7u) & 0xFFFF);
        ContrastEffect* a = Make("Brightness Contrast XT", src, &plain);
        ContrastEffect* b = Make("Contrast Brightness XT Inverse", src, &inverted);
        Render(a, {0, 255, 128, 0});
        Render(b, {0, 255, 128, 0});
        const uint32_t unusedBit = format == kFormat555 ? 0x8000 : 0x0020;
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) {
                ASSERT_EQ(plain.pixel(x, y) & unusedBit, 0u);
                ASSERT_EQ(inverted.pixel(x, y), plain.pixel(x, y) ^ 0xFFFF);
            }
        entry::DestroyEffect(a);
        entry::DestroyEffect(b);
    }
}

TEST_F(Contrast, FixedCurveAtThirtyTwoBits) {
    HostSurface src(3, 1, kFormatXrgb), dst(3, 1, kFormatXrgb);
    // Luminance 384, above the middle: 382.5 x (1 + 52 / 270) = 456, delta 24.
    src.setPixel(0, 0, 0xFF808080);
    // Luminance 255, below it: 75 x 382.5 / 152 = 188, delta -22.
    src.setPixel(1, 0, 0x00FF0000);
    src.setPixel(2, 0, 0x00FFFFFF);  // 765, above the high level: white
    ContrastEffect* effect = Make("Contrast_Bright_Invert old", src, &dst);
    Render(effect, {0, 0, 0, 0});
    EXPECT_EQ(dst.pixel(0, 0), ~0x00989898u);
    EXPECT_EQ(dst.pixel(1, 0), ~0x00E90000u);
    EXPECT_EQ(dst.pixel(2, 0), 0xFF000000u);
    entry::DestroyEffect(effect);
}

TEST_F(Contrast, RecordWithoutVersionFallsBack) {
    HostSurface s(1, 1, kFormatXrgb);
    ContrastParams record{};
    record.inverse = 1;
    auto* effect = MakeWith<ContrastEffect>(record, s, s);
    EXPECT_EQ(effect->record.recordVersion, kContrastVersion);
    EXPECT_EQ(effect->record.inverse, 0);
    EXPECT_EQ(effect->record.highValue, 127);
    // Low and high from values 0 and 1, the middle fixed at 50 percent (63).
    Render(effect, {0, 255, 255, 0});
    EXPECT_EQ((ContrastLevels{effect->lowLevel, effect->midLevel, effect->highLevel}),
              ComputeContrastLevels(0, 63, 127, kScaleLuminance32));
    entry::DestroyEffect(effect);
}

TEST_F(Contrast, MismatchedDepthsAreNotReady) {
    HostSurface src(2, 2, kFormat565), dst(2, 2, kFormatXrgb);
    dst.fill(0x00123456);
    ContrastEffect* effect = Make("Brightness Contrast XT", src, &dst);
    EXPECT_FALSE(effect->IsReady());
    Render(effect, {0, 255, 128, 0}, 0, src.get());
    EXPECT_EQ(dst.pixel(1, 1), 0x00123456u);
    entry::DestroyEffect(effect);
}

}  // namespace
