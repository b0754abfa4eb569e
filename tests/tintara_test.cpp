// The table-driven colour effects in-process: their tables, the process-wide
// HSV conversions, the 16-bit and hue kernels, and whole instances.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "colour/hsv_tables.h"
#include "colour/tintara.h"
#include "colour/tintara_kernels.h"
#include "colour/tintara_tables.h"
#include "host/blit_service.h"
#include "host/host_surface.h"
#include "kernel_support.h"
#include "render/offscreen.h"
#include "shell/entry_points.h"
#include "shell/factory.h"
#include "shell/module.h"

namespace {

using fxhost::HostSurface;

template <size_t N>
std::vector<int> Entries(const uint8_t (&table)[N], const std::vector<int>& at) {
    std::vector<int> out;
    for (int i : at) out.push_back(table[i]);
    return out;
}

std::vector<int> Ints(const uint8_t* table, int n) { return std::vector<int>(table, table + n); }

// n entries: value v0 for the first c0, then v1 for c1, and so on.
std::vector<int> Runs(std::initializer_list<std::pair<int, int>> runs) {
    std::vector<int> out;
    for (auto [value, count] : runs) out.insert(out.end(), count, value);
    return out;
}

TEST(WaveTables, FullIntensityCurves) {
    uint8_t t8[256] = {};
    const std::vector<int> at = {0, 1, 2, 64, 127, 128, 191, 254, 255};
    BuildWaveTable8(WaveCurve::kSine, 1.0f, t8);
    EXPECT_EQ(Entries(t8, at), (std::vector<int>{0, 3, 6, 180, 254, 254, 180, 3, 0}));
    BuildWaveTable8(WaveCurve::kCosine, 1.0f, t8);
    EXPECT_EQ(Entries(t8, at), (std::vector<int>{255, 254, 254, 179, 1, 1, 179, 254, 255}));

    uint8_t t5[33] = {};
    BuildWaveTable5(WaveCurve::kSine, 1.0f, t5);
    EXPECT_EQ(Ints(t5, 33), (std::vector<int>{0,  3,  6,  9,  12, 15, 17, 20, 22, 24, 26, 27, 29, 30, 30, 30, 0,
                                              30, 30, 30, 29, 27, 26, 24, 22, 20, 17, 15, 12, 9,  6,  3,  0}));
    uint8_t c5[33] = {};
    c5[32] = 77;
    BuildWaveTable5(WaveCurve::kCosine, 1.0f, c5);
    EXPECT_EQ(Ints(c5, 33), (std::vector<int>{31, 30, 30, 29, 28, 27, 25, 23, 21, 18, 16, 13, 10, 7,  4,  1, 1,
                                              4,  7,  10, 13, 16, 18, 21, 23, 25, 27, 28, 29, 30, 30, 31, 77}));
}

TEST(WaveTables, LowIntensityStaysNearTheIdentity) {
    uint8_t t8[256] = {};
    BuildWaveTable8(WaveCurve::kSine, 1.0f / 127.0f, t8);
    int differ = 0;
    for (int i = 0; i < 256; ++i) differ += t8[i] != i;
    EXPECT_EQ(differ, 122);
}

TEST(LevelTables, PosterizeSteps) {
    uint8_t t8[256], t5[32];
    BuildSteppedTable(127, 256, 255, t8);
    EXPECT_EQ(Ints(t8, 256), Runs({{0, 128}, {253, 3}, {255, 125}}));
    BuildSteppedTable(127, 32, 31, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{0, 17}, {31, 15}}));
    // v 16: step 30 from start 14, so the first band is 16 wide.
    BuildSteppedTable(16, 256, 255, t8);
    std::vector<int> expected = Runs({{0, 16}});
    for (int level = 30; level <= 240; level += 30) expected.insert(expected.end(), 30, level);
    expected.resize(256 - 14, 240);
    expected.resize(256, 255);
    EXPECT_EQ(Ints(t8, 256), expected);
    BuildSteppedTable(17, 256, 255, t8);
    EXPECT_EQ(t8[0], 0);
    EXPECT_EQ(t8[16], 0);
    EXPECT_EQ(t8[17], 32);
    EXPECT_EQ(t8[240], 224);
    EXPECT_EQ(t8[241], 255);
    // Below 1 the step is 1: the identity.
    BuildSteppedTable(0, 32, 31, t5);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(t5[i], i);
}

TEST(LevelTables, SaturateQuantizeWrapsAndSpills) {
    uint8_t t8[256], t5[32];
    BuildSaturateTable8(8, t8);
    EXPECT_EQ(Ints(t8, 256), Runs({{248, 32}, {55, 63}, {118, 63}, {181, 63}, {244, 4}, {255, 31}}));
    BuildSaturateTable8(2, t8);
    EXPECT_EQ(Ints(t8, 256), Runs({{126, 32}, {189, 63}, {252, 63}, {59, 63}, {122, 4}, {255, 31}}));
    BuildSaturateTable5(5, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{75, 8}, {90, 15}, {105, 2}, {31, 7}}));
    BuildSaturateTable5(1, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{15, 8}, {30, 15}, {45, 2}, {31, 7}}));
}

TEST(HueTables, PosterizeLevels) {
    uint8_t t5[32];
    BuildHuePosterizeTable(1, t5);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(t5[i], i);
    BuildHuePosterizeTable(2, t5);
    std::vector<int> two = {0, 0};
    for (int v = 3; v <= 27; v += 3) two.insert(two.end(), 3, v);
    two.insert(two.end(), {30, 30, 31});
    EXPECT_EQ(Ints(t5, 32), two);
    BuildHuePosterizeTable(3, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{0, 4}, {7, 7}, {14, 7}, {21, 7}, {28, 4}, {31, 3}}));
    BuildHuePosterizeTable(4, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{0, 8}, {15, 15}, {30, 2}, {31, 7}}));
    BuildHuePosterizeTable(5, t5);
    EXPECT_EQ(Ints(t5, 32), Runs({{0, 16}, {31, 16}}));
}

TEST(HsvTables, CodesOfPrimariesAndWhite) {
    EXPECT_EQ(RgbToHsvCode(kHsvFrom555, 31u << 10), 0x3FFu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom555, 31u << 5), 0x2BFFu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom555, 31u), 0x53FFu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom555, 0x7FFF), 0x1Fu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom565, 31u << 11), 0x3FFu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom565, 63u << 5), 0x2BFFu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom565, 0xFFFF), 0x1Fu);
    EXPECT_EQ(RgbToHsvCode(kHsvFrom555, 0), 0u);
}

TEST(HsvTables, HueThirtyOneIsMagenta) {
    const uint32_t code = 31u << 10 | 31u << 5 | 31u;
    EXPECT_EQ(HsvCodeToPixel(kHsvToXrgb, code), 0xFF00FFu);
    EXPECT_EQ(HsvCodeToPixel(kHsvTo555, code), 0x7C1Fu);
    EXPECT_EQ(HsvCodeToPixel(kHsvTo565, code), 0xF81Fu);
    // Hue 0 is red, and no saturation is grey at the value.
    EXPECT_EQ(HsvCodeToPixel(kHsvToXrgb, 31u << 5 | 31u), 0xFF0000u);
    EXPECT_EQ(HsvCodeToPixel(kHsvToXrgb, 7u << 10 | 16u), 0x838383u);
}

TEST(HsvTables, BuiltOnceSharedAndOnlyForKnownKinds) {
    const uint32_t* forward = GetRgbToHsvTable(kHsvFrom565);
    ASSERT_NE(forward, nullptr);
    EXPECT_EQ(GetRgbToHsvTable(kHsvFrom565), forward);
    EXPECT_EQ(forward[0xFFFF], 0x1Fu);  // all 65536 entries exist
    EXPECT_EQ(forward[0x8000 | 31u << 5], RgbToHsvCode(kHsvFrom565, 0x8000 | 31u << 5));
    const uint32_t* inverse = GetHsvToRgbTable(kHsvToXrgb);
    ASSERT_NE(inverse, nullptr);
    EXPECT_EQ(GetHsvToRgbTable(kHsvToXrgb), inverse);
    EXPECT_EQ(inverse[0x7FFF], 0xFF00FFu);
    EXPECT_EQ(GetRgbToHsvTable(33), nullptr);
    EXPECT_EQ(GetRgbToHsvTable(4), nullptr);
    EXPECT_EQ(GetHsvToRgbTable(4), nullptr);
    EXPECT_EQ(GetHsvToRgbTable(0), nullptr);
}

// The composed table against the three tables, at every level and several
// hue remaps: all 65536 words at 16 bits (where bit 15 is dropped), random
// pixels at 32.
TEST(TintaraKernels, ComposedHueMatchesDirect) {
    uint8_t stepped[32], posterized[32], coarse[32];
    BuildSteppedTable(90, 32, 31, stepped);
    BuildHuePosterizeTable(5, posterized);
    BuildSteppedTable(20, 32, 31, coarse);
    for (const uint8_t* table : {stepped, posterized, coarse})
        for (bool special : {false, true})
            for (int wordBytes : {2, 4}) {
                const HueTables tables{GetRgbToHsvTable(wordBytes == 2 ? kHsvFrom565 : kHsvFrom555),
                                       GetHsvToRgbTable(wordBytes == 2 ? kHsvTo565 : kHsvToXrgb), table, special};
                // Every 16-bit word once at 16 bits; random words at 32.
                const int width = wordBytes == 2 ? 256 : 300, rows = wordBytes == 2 ? 256 : 120;
                const int stride = width * wordBytes + 8;
                auto src = RandomWords<uint8_t>(size_t(stride) * rows, wordBytes);
                if (wordBytes == 2)
                    for (int y = 0; y < rows; ++y)
                        for (int x = 0; x < width; ++x) {
                            const uint16_t word = static_cast<uint16_t>(y * width + x);
                            std::memcpy(&src[size_t(y) * stride + size_t(x) * 2], &word, 2);
                        }
                std::vector<uint8_t> direct(src.size(), 1);
                MapHueDirect(PixelRows{src.data(), stride, direct.data(), stride, rows, width}, wordBytes, tables);
                for (SimdLevel level : Levels()) {
                    std::vector<uint8_t> composed(src.size(), 1);
                    HueComposition kept;
                    MapHue(PixelRows{src.data(), stride, composed.data(), stride, rows, width}, wordBytes, tables, kept,
                           level);
                    EXPECT_EQ(composed, direct) << wordBytes << " special " << special << " level " << int(level);
                    EXPECT_NE(kept.table, nullptr);
                }
            }
}

// Rows of every width through the composed table, at every level: each
// pixel as the three tables give it, the last block of a row partial.
TEST(TintaraKernels, ComposedHueRowsOfEveryWidth) {
    uint8_t posterized[32];
    BuildHuePosterizeTable(3, posterized);
    for (bool special : {false, true})
        for (int wordBytes : {2, 4}) {
            const HueTables tables{GetRgbToHsvTable(wordBytes == 2 ? kHsvFrom565 : kHsvFrom555),
                                   GetHsvToRgbTable(wordBytes == 2 ? kHsvTo565 : kHsvToXrgb), posterized, special};
            auto direct = [&](uint32_t index) {
                return tables.inverse[RemapHueCode(tables.forward[index], posterized, special) & 0x7FFF];
            };
            for (SimdLevel level : Levels()) {
                SCOPED_TRACE(testing::Message() << wordBytes << " special " << special << " level " << int(level));
                HueComposition kept;
                const auto run = [&](const PixelRows& r) { MapHue(r, wordBytes, tables, kept, level); };
                if (wordBytes == 2)
                    ExpectRowsMatch<uint16_t>(run, [&](uint32_t p) { return direct(HueIndex16(p)); }, 40,
                                              kComposeMinPixels);
                else
                    ExpectRowsMatch<uint32_t>(run, [&](uint32_t p) { return direct(HueIndex32(p)); }, 40,
                                              kComposeMinPixels);
                EXPECT_NE(kept.table, nullptr);
            }
        }
}

TEST(TintaraKernels, WordTableRowsOfEveryWidth) {
    std::vector<uint32_t> table(65536);
    for (uint32_t i = 0; i < 65536; ++i) table[i] = (i * 40503u + 7) & 0xFFFF;
    for (uint32_t indexMask : {0xFFFFu, 0x7FFFu})
        for (SimdLevel level : Levels()) {
            SCOPED_TRACE(testing::Message() << "mask " << indexMask << " level " << int(level));
            ExpectRowsMatch<uint16_t>([&](const PixelRows& r) { MapWords16(r, table.data(), indexMask, level); },
                                      [&](uint32_t p) { return table[p & indexMask]; });
        }
}

// The composed table is kept while the tables and remap stay, and rebuilt in
// place when any of them changes; small pictures never build it.
TEST(TintaraKernels, HueCompositionIsKeptUntilItsTablesChange) {
    uint8_t table[32];
    BuildHuePosterizeTable(2, table);
    HueTables tables{GetRgbToHsvTable(kHsvFrom555), GetHsvToRgbTable(kHsvToXrgb), table, false};
    const int width = 256, rows = 128, stride = width * 4;
    auto src = RandomWords<uint8_t>(size_t(stride) * rows, 4);
    std::vector<uint8_t> out(src.size()), want(src.size());
    const PixelRows block{src.data(), stride, out.data(), stride, rows, width};
    HueComposition kept;
    MapHue(PixelRows{src.data(), stride, out.data(), stride, 100, 300}, 4, tables, kept);  // 30000 pixels
    EXPECT_EQ(kept.table, nullptr);
    MapHue(block, 4, tables, kept);
    const uint32_t* first = kept.table.get();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(kept.For(tables), first);
    const auto check = [&](const char* what) {
        MapHue(block, 4, tables, kept);
        MapHueDirect(PixelRows{src.data(), stride, want.data(), stride, rows, width}, 4, tables);
        EXPECT_EQ(out, want) << what;
        EXPECT_EQ(kept.table.get(), first) << what;
    };
    BuildHuePosterizeTable(4, table);
    check("new levels");
    tables.special = true;
    check("special");
    tables.inverse = GetHsvToRgbTable(kHsvTo555);
    check("inverse");
    tables.forward = GetRgbToHsvTable(kHsvFrom565);
    check("forward");
}

// Whole instances, made by the factory as the host makes them.
class TintaraEffect : public ::testing::Test {
protected:
    void SetUp() override { g_blitService = fxhost::GetBlitService(); }
    void TearDown() override { g_blitService = nullptr; }

    static Tintara* Make(const char* name, HostSurface& src, HostSurface* dst = nullptr) {
        return static_cast<Tintara*>(CreateEffect(name, src.get(), dst ? dst->get() : nullptr));
    }
    static void Render(Tintara* effect, int32_t intensity, Surface* source = nullptr) {
        int32_t params[4] = {intensity, 0, 0, 0};
        entry::RenderEffect(effect, params, source, 0);
    }
    // The picture of a 16-bit channel ramp: pixel x has every field at x.
    static HostSurface Ramp16(int32_t format) {
        HostSurface s(32, 1, format);
        for (int x = 0; x < 32; ++x)
            s.setPixel(x, 0, format == kFormat555 ? x << 10 | x << 5 | x : x << 11 | x << 6 | x);
        return s;
    }
};

TEST_F(TintaraEffect, IntensityFormsFromTheHostValue) {
    HostSurface s(2, 2, kFormatXrgb);
    Tintara* effect = Make("Solarize", s);
    const std::vector<std::array<int, 3>> cases = {{0, 0, 0},   {1, 0, 0},     {2, 1, 0},       {16, 8, 0},
                                                   {17, 8, 0},  {64, 32, 0},   {127, 63, 0},    {255, 127, 0},
                                                   {65535, -1, 0}};
    for (auto [host, level, unused] : cases) {
        Render(effect, host);
        EXPECT_EQ(effect->IntensityLevel(), level) << host;
        EXPECT_EQ(effect->IntensityFraction(), static_cast<float>(level) / 127.0f) << host;
    }
    effect->settings.useHostValue = 0;  // the stored 100 percent
    EXPECT_EQ(effect->IntensityLevel(), 127);
    EXPECT_EQ(effect->IntensityFraction(), 1.0f);
    effect->settings.useHostValue = 1;
    effect->settings.hostValueIndex = 16;
    EXPECT_EQ(effect->IntensityLevel(), 0);
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, FactoryRowsAndForcedDefaults) {
    HostSurface s(2, 2, kFormatXrgb);
    Tintara* effect = Make("Tinta Special FX Smooth", s);
    EXPECT_EQ(effect->settings.tableEffect, kHueSpecial);
    EXPECT_EQ(effect->settings.storedIntensity, 75);
    EXPECT_EQ(effect->settings.smooth, 1);
    EXPECT_EQ(effect->settings.channelGain[2], 100);
    EXPECT_EQ(effect->depthBits, 32);
    entry::DestroyEffect(effect);

    // A record of another version: a sine wave reading parameter 7, which
    // nothing writes, so every frame is a copy and no filter runs.
    s.fill(0x00123456);
    HostSurface dst(2, 2, kFormatXrgb);
    g_frame.source = s.get();
    g_frame.destination = dst.get();
    TintaraParams record{};
    record.reservedA = 9;
    record.tableEffect = kSaturateQuantize;
    record.smooth = 1;
    auto* forced = static_cast<Tintara*>(NewZeroedEffect<Tintara>(record));
    EXPECT_EQ(forced->settings.reservedA, 9u);
    EXPECT_EQ(forced->settings.tableEffect, kSineWave);
    EXPECT_EQ(forced->settings.hostValueIndex, 7);
    EXPECT_EQ(forced->settings.smooth, 0);
    Render(forced, 255);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(dst.pixel(i % 2, i / 2), 0x00123456u);
    entry::DestroyEffect(forced);
}

TEST_F(TintaraEffect, UnusableSurfacesFail) {
    HostSurface s(2, 2, kFormatXrgb);
    Surface deep = *s.get();
    deep.depth = 24;
    CRenderInterface* effect = CreateEffect("Posterize", &deep, nullptr);
    auto* t = static_cast<Tintara*>(effect);
    EXPECT_TRUE(effect->IsReady());  // the base is content; the instance never draws
    EXPECT_EQ(t->failed, 1);
    EXPECT_EQ(t->settings.recordVersion, 0);
    entry::DestroyEffect(effect);

    HostSurface narrow(2, 2, kFormat565);
    t = Make("Posterize", narrow, &s);  // depths differ: the base is not valid
    EXPECT_FALSE(t->IsReady());
    EXPECT_EQ(t->failed, 1);
    entry::DestroyEffect(t);
}

TEST_F(TintaraEffect, LowIntensityCopiesAndKeepsTheTable) {
    HostSurface src(3, 2, kFormatXrgb), dst(3, 2, kFormatXrgb);
    src.fill(0x00804020);
    Tintara* effect = Make("Solarize", src, &dst);
    for (int host : {0, 1}) {
        dst.fill(0);
        Render(effect, host);
        EXPECT_EQ(dst.pixel(2, 1), 0x00804020u);
        EXPECT_EQ(effect->table8[100], 0);
    }
    entry::DestroyEffect(effect);
    for (const char* name : {"Posterize", "Saturate Quantize"}) {
        effect = Make(name, src, &dst);
        dst.fill(0);
        Render(effect, 31);
        EXPECT_EQ(dst.pixel(1, 1), 0x00804020u) << name;
        entry::DestroyEffect(effect);
    }
    effect = Make("Posterize Hue", src, &dst);
    dst.fill(0);
    Render(effect, 51);
    EXPECT_EQ(dst.pixel(0, 0), 0x00804020u);
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, SixteenBitSineEntrySixteenClimbsFromFrameToFrame) {
    HostSurface s = Ramp16(kFormat555);
    Tintara* effect = Make("Solarize", s, nullptr);
    std::vector<int> seen;
    uint8_t before[33];
    for (int frame = 0; frame < 6; ++frame) {
        std::copy(effect->table5, effect->table5 + 33, before);
        Render(effect, 128);  // v 64
        seen.push_back(effect->table5[16]);
        for (int i = 0; frame > 0 && i < 33; ++i) {
            if (i == 16) continue;
            ASSERT_EQ(effect->table5[i], before[i]) << i;
        }
    }
    EXPECT_EQ(seen, (std::vector<int>{7, 11, 13, 14, 14, 14}));
    entry::DestroyEffect(effect);

    // The cosine's mirror is exact: the same table every frame, and at full
    // intensity a symmetric one.
    effect = Make("Inverse Solarize", s, nullptr);
    Render(effect, 128);
    std::copy(effect->table5, effect->table5 + 33, before);
    Render(effect, 128);
    EXPECT_TRUE(std::equal(before, before + 33, effect->table5));
    Render(effect, 255);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(effect->table5[i], effect->table5[31 - i]) << i;
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, SolarizeSixteenBitsAtFullIntensity) {
    HostSurface src = Ramp16(kFormat555), dst(32, 1, kFormat555);
    Tintara* effect = Make("Solarize", src, &dst);
    Render(effect, 255);
    EXPECT_EQ(dst.pixel(16, 0), 0u);
    EXPECT_EQ(dst.pixel(15, 0), 30u << 10 | 30u << 5 | 30u);
    EXPECT_EQ(dst.pixel(17, 0), 30u << 10 | 30u << 5 | 30u);
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, LevelTablesFollowTheHostValue) {
    HostSurface s32(2, 1, kFormatXrgb), s16(2, 1, kFormat565);
    Tintara* p32 = Make("Posterize", s32);
    Tintara* p16 = Make("Posterize", s16);
    uint8_t want8[256], want5[32];
    for (int host : {32, 34, 128, 254, 255}) {
        Render(p32, host);
        Render(p16, host);
        BuildSteppedTable(host >> 1, 256, 255, want8);
        BuildSteppedTable(host >> 1, 32, 31, want5);
        EXPECT_EQ(Ints(p32->table8, 256), Ints(want8, 256)) << host;
        EXPECT_EQ(Ints(p16->table5, 32), Ints(want5, 32)) << host;
    }
    EXPECT_EQ(p32->table8[130], 253);
    EXPECT_EQ(p16->table5[17], 31);
    entry::DestroyEffect(p32);
    entry::DestroyEffect(p16);

    Tintara* q32 = Make("Saturate Quantize", s32);
    Tintara* q16 = Make("Saturate Quantize", s16);
    Render(q32, 32);  // v 16: level 2, level5 1
    Render(q16, 32);
    EXPECT_EQ(q32->table8[0], 126);
    EXPECT_EQ(q16->table5[0], 15);
    entry::DestroyEffect(q32);
    entry::DestroyEffect(q16);
}

TEST_F(TintaraEffect, SaturateQuantizeBlackSpillsAcrossFields) {
    for (auto [format, want] : {std::pair{kFormat555, 0x35ABu}, {kFormat565, 0x6B0Bu}, {kFormatXrgb, 0xF8F8F8u}}) {
        HostSurface s(2, 1, format);
        s.fill(0);
        s.setPixel(1, 0, format == kFormatXrgb ? 0xFFFFFFFFu : 0xFFFFu);
        Tintara* effect = Make("Saturate Quantize", s);
        Render(effect, 255);
        EXPECT_EQ(s.pixel(0, 0), want) << format;
        if (format == kFormatXrgb) {
            EXPECT_EQ(s.pixel(1, 0), 0x00FFFFFFu);
        }
        entry::DestroyEffect(effect);
    }
}

TEST_F(TintaraEffect, PosterizeHueSendsHuesToRedOrMagenta) {
    HostSurface s(4, 1, kFormatXrgb);
    const uint32_t green = 0x0000FF00, blue = 0x000000FF, orange = 0x00FF8000, violet = 0x008000FF;
    for (int x = 0; x < 4; ++x) s.setPixel(x, 0, std::array{green, blue, orange, violet}[x]);
    Tintara* effect = Make("Posterize Hue", s);
    Render(effect, 255);
    EXPECT_EQ(s.pixel(0, 0), 0x00FF0000u);  // hue field 10
    EXPECT_EQ(s.pixel(1, 0), 0x00FF00FFu);  // hue field 20
    EXPECT_EQ(s.pixel(2, 0), 0x00FF0000u);
    EXPECT_EQ(s.pixel(3, 0), 0x00FF00FFu);
    EXPECT_EQ(effect->rgbToHsv, GetRgbToHsvTable(kHsvFrom555));
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, HueEffectsIgnoreTheTopRedBitOf565) {
    for (const char* name : {"Posterize Hue", "Tinta Special FX"}) {
        HostSurface s(2, 1, kFormat565);
        s.setPixel(0, 0, 0xF800);
        s.setPixel(1, 0, 0x7800);
        Tintara* effect = Make(name, s);
        Render(effect, 200);
        EXPECT_EQ(s.pixel(0, 0), s.pixel(1, 0)) << name;
        EXPECT_EQ(effect->rgbToHsv, GetRgbToHsvTable(kHsvFrom565));
        entry::DestroyEffect(effect);
    }
}

TEST_F(TintaraEffect, TintaSpecialAtZeroIsNoCopy) {
    HostSurface src(2, 1, kFormatXrgb), dst(2, 1, kFormatXrgb);
    src.setPixel(0, 0, 0x00FF0000);  // red: hue 0, saturation and value 31
    src.setPixel(1, 0, 0x00123456);
    Tintara* effect = Make("Tinta Special FX", src, &dst);
    Render(effect, 0);
    // The identity table, but the value replaces the hue: hue 31 is magenta.
    EXPECT_EQ(dst.pixel(0, 0), 0x00FF00FFu);
    EXPECT_NE(dst.pixel(1, 0), 0x00123456u);
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, SmoothTwinFiltersEvenACopy) {
    HostSurface src(4, 4, kFormatXrgb), dst(4, 4, kFormatXrgb);
    src.fill(0x00402010);
    Tintara* effect = Make("Solarize Smooth", src, &dst);
    Render(effect, 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const bool inner = x > 0 && x < 3 && y > 0 && y < 3;
            EXPECT_EQ(dst.pixel(x, y) & 0x00FFFFFF, inner ? 0x00402010u : 0u) << x << "," << y;
        }
    entry::DestroyEffect(effect);
}

TEST_F(TintaraEffect, SizesThatDiffer) {
    HostSurface src(4, 2, kFormatXrgb), dst(8, 4, kFormatXrgb);
    src.fill(0x00FFFFFF);
    Tintara* effect = Make("Posterize", src, &dst);
    ASSERT_NE(effect->workSurface, nullptr);
    // A null surface at render: the host's picture is scaled into the work
    // surface and the pass covers the whole destination.
    Render(effect, 255);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x) ASSERT_EQ(dst.pixel(x, y), 0x00FFFFFFu);
    // The host's surface given: the pass reads it directly, at its own size.
    dst.fill(0x00010203);
    src.fill(0x00808080);
    Render(effect, 255, src.get());
    EXPECT_EQ(dst.pixel(3, 1), 0x00FDFDFDu);
    EXPECT_EQ(dst.pixel(4, 1), 0x00010203u);
    EXPECT_EQ(dst.pixel(0, 2), 0x00010203u);
    entry::DestroyEffect(effect);
}

}  // namespace
