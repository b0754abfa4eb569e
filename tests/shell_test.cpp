// The module shell in-process: colour helpers, catalogue, factory names and
// the per-frame bookkeeping of RenderEffect.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "colour/color_control_effect.h"
#include "host/blit_service.h"
#include "render/render_interface.h"
#include "shell/catalogue.h"
#include "shell/colour_helpers.h"
#include "shell/entry_points.h"
#include "shell/factory.h"
#include "shell/module.h"

namespace {

struct Rgb {
    uint32_t r, g, b;
    bool operator==(const Rgb&) const = default;
};

Rgb Hue(uint32_t hue) {
    Rgb c{1000, 1000, 1000};
    HueToRGB(hue, &c.r, &c.g, &c.b);
    return c;
}

TEST(ColourHelpers, HueToRgbSamples) {
    EXPECT_EQ(Hue(0), (Rgb{255, 255, 255}));  // no colour
    EXPECT_EQ(Hue(1), (Rgb{255, 6, 0}));
    EXPECT_EQ(Hue(42), (Rgb{255, 252, 0}));
    EXPECT_EQ(Hue(43), (Rgb{253, 255, 0}));
    EXPECT_EQ(Hue(85), (Rgb{0, 255, 0}));
    EXPECT_EQ(Hue(128), (Rgb{0, 253, 255}));
    EXPECT_EQ(Hue(170), (Rgb{0, 0, 255}));
    EXPECT_EQ(Hue(213), (Rgb{255, 0, 253}));
    EXPECT_EQ(Hue(254), (Rgb{255, 0, 7}));
    EXPECT_EQ(Hue(255), (Rgb{255, 0, 255}));  // sector 6 falls to the last row
}

TEST(ColourHelpers, HsvToRgbGreyAndScaling) {
    for (int32_t hue : {0, 15000, 46080, 92159, -700}) {
        Rgb c{};
        HsvToRgb(&c.r, &c.g, &c.b, hue, 0, 77);
        EXPECT_EQ(c, (Rgb{77, 77, 77})) << hue;
    }
    // 256 stands for 255: half value at full saturation, mid sector 1.
    Rgb c{};
    HsvToRgb(&c.r, &c.g, &c.b, 60 * 256 * 1 + 60 * 128, 255, 128);
    EXPECT_EQ(c, (Rgb{64, 128, 0}));
    // A negative hue lands in the last row.
    HsvToRgb(&c.r, &c.g, &c.b, -60 * 256, 255, 255);
    EXPECT_EQ(c.r, 255u);
    EXPECT_EQ(c.g, 0u);
}

TEST(ColourHelpers, LevelCurve) {
    EXPECT_EQ(LevelCurve(128, 100.0f), 100.0f);
    EXPECT_EQ(LevelCurve(0, 100.0f), 25.0f);
    EXPECT_EQ(LevelCurve(64, 100.0f), 91.0f);
    EXPECT_EQ(LevelCurve(192, 100.0f), 138.0f);
    EXPECT_EQ(LevelCurve(255, 100.0f), 400.0f);
    EXPECT_EQ(LevelCurve(-5, 100.0f), 25.0f);
    EXPECT_EQ(LevelCurve(300, 100.0f), 400.0f);
    EXPECT_EQ(LevelCurve(0, 1.0f), 0.0f);  // 0.25 + 0.5 floors to 0
    EXPECT_EQ(LevelCurve(128, 2.5f), 3.0f);  // halves round up
}

TEST(Catalogue, ParamCountFollowsLastLongLabel) {
    const std::vector<std::pair<int, int>> expected = {
        {0, 3}, {1, 2}, {4, 3}, {6, 3}, {10, 0}, {12, 0}, {14, 0}, {16, 0}, {17, 1}};
    for (auto [row, count] : expected) {
        EffectInfo info{};
        info.paramCount = 99;
        GetEffectInfo(row, &info);
        EXPECT_EQ(info.paramCount, count) << row;
    }
    EffectInfo info{};
    GetEffectInfo(28, &info);
    EXPECT_STREQ(info.name, "Tinta Special FX Smooth");
    EXPECT_STREQ(info.labels[0], "Intensity");
    EXPECT_STREQ(info.labels[1], "");
    EXPECT_EQ(info.paramCount, 1);
}

TEST(Catalogue, OutOfRangeGivesEmptyTextsAndKeepsCount) {
    for (int32_t index : {29, -1, 1000}) {
        EffectInfo info{};
        info.name = "stale";
        info.paramCount = 42;
        GetEffectInfo(index, &info);
        EXPECT_STREQ(info.name, "");
        for (const char* label : info.labels) EXPECT_STREQ(label, "");
        EXPECT_EQ(info.paramCount, 42);
    }
}

TEST(Catalogue, DefaultsByExactName) {
    int32_t out[4] = {};
    GetEffectDefaults("Stroboscope", out);
    EXPECT_EQ(std::vector<int32_t>(out, out + 4), (std::vector<int32_t>{52, 0, 255, 255}));
    GetEffectDefaults("Brightness Contrast XT", out);
    EXPECT_EQ(std::vector<int32_t>(out, out + 4), (std::vector<int32_t>{0, 255, 128, 255}));
    for (const char* unknown : {"MotionBlur", "stroboscope", ""}) {
        int32_t values[4] = {1, 2, 3, 4};
        GetEffectDefaults(unknown, values);
        EXPECT_EQ(std::vector<int32_t>(values, values + 4), (std::vector<int32_t>{255, 255, 255, 255}));
    }
}

TEST(Factory, NamesInComparisonOrder) {
    const std::vector<std::string> expected = {
        "RGBControl", "Brightness Contrast", "RGBControl Inverse", "Brightness Contrast Inverse",
        "Stroboscope", "Triangle Kaleido", "Cyclic Triangle Kaleido", "Square Kaleido",
        "Square Kaleido Cyclic", "Hexagon Kaleido", "Hexagon Kaleido Cyclic", "Lozenge Kaleido",
        "Lozenge Kaleido Cyclic", "AsciiArt1", "AsciiArt2", "Cube3D", "Cube3DConstant",
        "RGB Cycling Slow", "RGB Cycling Fast", "MotionBlur", "Solarize", "Solarize Smooth",
        "Inverse Solarize", "Inverse Solarize Smooth", "Posterize", "Posterize Smooth",
        "Saturate Quantize", "Saturate Quantize Smooth", "Posterize Hue", "Posterize Hue Smooth",
        "Tinta Special FX", "Tinta Special FX Smooth", "OldMovieClean", "OldMovieDirty",
        "Brightness Contrast XT", "CONTRAST_BRIGHTNESS old", "Contrast_Bright_Invert old",
        "Contrast Brightness XT Inverse"};
    ASSERT_EQ(expected.size(), size_t{kFactoryNameCount});
    for (int i = 0; i < kFactoryNameCount; ++i) EXPECT_EQ(FactoryName(i), expected[i]);
    EXPECT_EQ(FactoryName(kFactoryNameCount), nullptr);
    // Every catalogue row is a factory name.
    for (const EffectCatalogRow& row : kEffectCatalogue)
        EXPECT_NE(std::find(expected.begin(), expected.end(), row.name), expected.end()) << row.name;
}

// Entry-point bookkeeping, with the host's blit service linked in directly.
class EntryPoints : public ::testing::Test {
protected:
    void SetUp() override {
        g_blitService = fxhost::GetBlitService();
        pixels_.assign(4 * 4, 0x00102030);
        surface_ = Surface{reinterpret_cast<uint8_t*>(pixels_.data()), 32, {0, 0, 4, 4}, 16, 0,
                           kFormatXrgb, 0, 0, 0};
    }
    void TearDown() override { g_blitService = nullptr; }

    std::vector<uint32_t> pixels_;
    Surface surface_{};
};

TEST_F(EntryPoints, StartTimeIsTheFirstFrame) {
    CRenderInterface* effect = CreateEffect("RGBControl", &surface_, nullptr);
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(effect->startTime, kStartTimeUnset);
    const int32_t params[4] = {255, 255, 255, 255};
    entry::RenderEffect(effect, params, nullptr, 0xFFFFFFFFu);
    EXPECT_EQ(effect->startTime, kStartTimeUnset);  // the sentinel itself: the next frame sets it
    entry::RenderEffect(effect, params, nullptr, 500);
    EXPECT_EQ(effect->startTime, 500u);
    entry::RenderEffect(effect, params, nullptr, 900);
    EXPECT_EQ(effect->startTime, 500u);
    EXPECT_EQ(g_frame.time, 900u);
    entry::DestroyEffect(effect);
}

TEST_F(EntryPoints, ParametersKeepLowSixteenBits) {
    CRenderInterface* effect = CreateEffect("RGBControl", &surface_, nullptr);
    const int32_t params[4] = {65536, 40000, -1, 0x7FFF};
    entry::RenderEffect(effect, params, nullptr, 0);
    EXPECT_EQ(g_frame.params[0], 0);
    EXPECT_EQ(g_frame.params[1], 40000 - 65536);
    EXPECT_EQ(g_frame.params[2], -1);
    EXPECT_EQ(g_frame.params[3], 0x7FFF);
    entry::DestroyEffect(effect);
}

TEST_F(EntryPoints, CreateStoresSurfacesEvenForUnknownNames) {
    Surface other = surface_;
    EXPECT_EQ(CreateEffect("rgbcontrol", &surface_, &other), nullptr);
    EXPECT_EQ(g_frame.source, &surface_);
    EXPECT_EQ(g_frame.destination, &other);
    EXPECT_EQ(CreateEffect("Stroboscope ", &other, nullptr), nullptr);
    EXPECT_EQ(g_frame.destination, &other);  // alone: in place
}

TEST_F(EntryPoints, RenderWithSurfaceReplacesSourceNullKeepsIt) {
    Surface other = surface_;
    CRenderInterface* effect = CreateEffect("RGBControl", &surface_, nullptr);
    EXPECT_EQ(effect->destination, effect->source);
    const int32_t params[4] = {255, 255, 255, 255};
    entry::RenderEffect(effect, params, &other, 0);
    EXPECT_EQ(effect->source, &other);
    EXPECT_EQ(effect->hostSource, &other);
    EXPECT_EQ(g_frame.source, &other);
    entry::RenderEffect(effect, params, nullptr, 1);
    EXPECT_EQ(effect->source, &other);
    EXPECT_EQ(effect->destination, &surface_);
    entry::DestroyEffect(effect);
    entry::DestroyEffect(nullptr);
}

}  // namespace
