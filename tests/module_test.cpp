// The whole module through the reference host: plugin_main, the entry points,
// the catalogue, and every effect of this build rendered through the .so.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

bool AllZero(const void* p, size_t n) {
    const auto* b = static_cast<const uint8_t*>(p);
    return std::all_of(b, b + n, [](uint8_t v) { return v == 0; });
}

TEST(PluginMain, IdentifiesItselfAndIgnoresUnknownCodes) {
    auto module = FreshModule();
    EXPECT_EQ(module->call(5), 0x53455256u);  // 'SERV'
    EXPECT_EQ(module->call(7), 0x45464658u);  // 'EFFX'
    EXPECT_EQ(module->call(9), 0u);
    EXPECT_EQ(module->call(3), fxhost::EffectModule::kResultUntouched);
    EXPECT_EQ(module->call(11), fxhost::EffectModule::kResultUntouched);
}

TEST(PluginMain, VersionTestAtOpen) {
    auto module = FreshModule({.open = false});
    const EffectApi& api = module->api();
    EXPECT_TRUE(AllZero(&api, sizeof api));  // code 10 before code 8
    module->table().version = 0x1FFFF;
    module->context().hostStatus = 0x55;
    EXPECT_EQ(module->call(8), fxhost::EffectModule::kResultUntouched);
    EXPECT_EQ(module->context().hostStatus, 0u);
    EXPECT_TRUE(AllZero(&api, sizeof api));
    module->table().version = 0x20000;
    EXPECT_EQ(module->call(8), 0u);
    EXPECT_EQ(api.apiVersion, 0x10000u);
    EXPECT_EQ(api.word, 0u);
    EXPECT_EQ(api.hostContext, &module->context());
    EXPECT_NE(api.LevelCurve, nullptr);
    EXPECT_EQ(reinterpret_cast<const EffectApi*>(module->call(10)), &api);
}

TEST(PluginMain, RefusedHostFailsToLoadWithAClearError) {
    try {
        FreshModule({.hostVersion = 0x10000});
        FAIL() << "a module that refuses the host must not load";
    } catch (const fxhost::HostError& error) {
        EXPECT_NE(std::string(error.what()).find("refused to open for host version 0x10000"),
                  std::string::npos)
            << error.what();
    }
}

TEST(EntryPoints, AnswerEmptilyUntilTheServiceAppears) {
    auto module = FreshModule({.blitAvailable = false});
    const EffectApi& api = module->api();
    EXPECT_EQ(api.GetEffectCount(), 0);
    EffectInfo info{"stale", 7, 0, {"a", "b", "c", "d"}};
    api.GetEffectInfo(0, &info);
    EXPECT_STREQ(info.name, "");
    EXPECT_STREQ(info.labels[3], "");
    EXPECT_EQ(info.paramCount, 7);
    int32_t defaults[4] = {1, 2, 3, 4};
    api.GetEffectDefaults("RGBControl", defaults);
    EXPECT_EQ(defaults[0], 1);
    HostSurface s(4, 4, kFormatXrgb);
    EXPECT_EQ(api.CreateEffect("RGBControl", s.get(), nullptr), nullptr);
    uint32_t r = 9, g = 9, b = 9;
    api.HueToRGB(85, &r, &g, &b);
    EXPECT_EQ(r + g + b, 27u);
    EXPECT_EQ(api.LevelCurve(255, 100.0f), 0.0f);
    const int lookups = module->findServiceCalls();
    EXPECT_EQ(lookups, 6);  // every entry asked again

    module->setBlitAvailable(true);
    EXPECT_EQ(api.GetEffectCount(), 29);
    EXPECT_EQ(api.GetEffectCount(), 29);
    EXPECT_EQ(module->findServiceCalls(), lookups + 1);  // kept once found
    api.HueToRGB(85, &r, &g, &b);
    EXPECT_EQ((std::array<uint32_t, 3>{r, g, b}), (std::array<uint32_t, 3>{0, 255, 0}));
    EXPECT_EQ(api.LevelCurve(255, 100.0f), 400.0f);
}

TEST(EntryPoints, SecondOpenLooksTheServiceUpAgain) {
    auto module = FreshModule();
    module->api().GetEffectCount();
    const int lookups = module->findServiceCalls();
    EXPECT_EQ(module->call(8), 0u);
    module->api().GetEffectCount();
    EXPECT_EQ(module->findServiceCalls(), lookups + 1);
}

// The module's log lines are kept out of the test output.
void QuietLog() {
    fxhost::SetLogSink([](const std::string&) {});
}
struct QuietEnvironment : ::testing::Environment {
    void SetUp() override { QuietLog(); }
};
const auto* const kQuiet = ::testing::AddGlobalTestEnvironment(new QuietEnvironment);

class Catalogue : public ::testing::Test {
protected:
    void SetUp() override {
        fxhost::SetLogSink([this](const std::string& text) { lines_.push_back(text); });
    }
    void TearDown() override { QuietLog(); }
    std::vector<std::string> lines_;
};

TEST_F(Catalogue, ReadOutAndLogLines) {
    const auto names = fxhost::EffectNames(SharedModule());
    ASSERT_EQ(names.size(), 38u);
    EXPECT_EQ(names[28], "Tinta Special FX Smooth");
    EXPECT_EQ(names[29], "AsciiArt1");
    EXPECT_TRUE(lines_.empty());  // names alone log nothing
    const auto rows = fxhost::ReadCatalogue(SharedModule());
    ASSERT_EQ(rows.size(), 29u);
    EXPECT_EQ(rows[0].name, "RGBControl");
    EXPECT_EQ(rows[5].name, "Contrast Brightness XT Inverse");
    EXPECT_EQ(rows[7].labels[0], "Red");
    EXPECT_EQ(rows[1].labels[0], "brightness");
    EXPECT_EQ(rows[12].paramCount, 0);
    EXPECT_EQ(rows[6].defaults, (std::array<int32_t, 4>{52, 0, 255, 255}));
    ASSERT_EQ(lines_.size(), 29u);
    EXPECT_EQ(lines_[6], "Default values for effect Stroboscope : 052 : 000 : 255 : 255 ");
}

TEST_F(Catalogue, UnknownNamesLogAndKeep255) {
    int32_t out[4] = {0, 0, 0, 0};
    SharedModule().api().GetEffectDefaults("MotionBlur", out);
    EXPECT_EQ(std::vector<int32_t>(out, out + 4), std::vector<int32_t>(4, 255));
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0], "!! -> No Default values for effect MotionBlur");
    const std::string longName(3000, 'x');
    SharedModule().api().GetEffectDefaults(longName.c_str(), out);
    ASSERT_EQ(lines_.size(), 2u);
    EXPECT_EQ(lines_[1].size(), 1023u);  // cut to the log buffer
}

// Reference pixels of the colour-control rows at their defaults.
uint32_t ExpectedColorControl(const std::string& name, uint32_t p) {
    uint32_t out = p & 0x00FFFFFF;  // neutral brightness and contrast
    if (name.rfind("RGBControl", 0) == 0) {
        out = 0;
        for (int shift : {16, 8, 0}) out |= (((p >> shift) & 0xFF) * 255 >> 8) << shift;
    }
    return name.find("Inverse") != std::string::npos ? ~out : out;
}

void FillPattern(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, 0xA5000000u ^ (x * 0x0B0D07u + y * 0x3F1F05u));
}

struct Layout {
    int32_t format;
    bool inPlace;
    // Named, so that the test's name never shows the padding bytes.
    friend void PrintTo(const Layout& l, std::ostream* out) { *out << l.format << (l.inPlace ? " in place" : ""); }
};

class EveryEffect : public ::testing::TestWithParam<Layout> {};

TEST_P(EveryEffect, CreateRenderDestroy) {
    const Layout layout = GetParam();
    const EffectApi& api = SharedModule().api();
    const int bytes = layout.format == kFormatXrgb ? 4 : 2;
    int created = 0;
    for (const std::string& name : fxhost::EffectNames(SharedModule())) {
        SCOPED_TRACE(name);
        HostSurface src(37, 11, layout.format, 37 * bytes + 12);
        HostSurface dst(37, 11, layout.format, 37 * bytes + 20);
        FillPattern(src);
        src.fillPadding(0xEE);
        dst.fill(0x1234);
        dst.fillPadding(0xDD);
        HostSurface original(37, 11, layout.format);
        FillPattern(original);
        HostSurface& out = layout.inPlace ? src : dst;
        CRenderInterface* effect = api.CreateEffect(name.c_str(), src.get(), layout.inPlace ? nullptr : dst.get());
        if (!effect) continue;
        ++created;
        int32_t params[4] = {255, 255, 255, 255};
        api.GetEffectDefaults(name.c_str(), params);
        for (uint32_t frame = 0; frame < 3; ++frame)
            EXPECT_EQ(api.RenderEffect(effect, params, frame == 1 ? nullptr : src.get(), frame * 40), 0);
        api.DestroyEffect(effect);

        // Colour cycling writes pairs of pixels, and at this odd width each
        // row starts a pixel early, in the padding of the row above.
        const bool drifts = name.rfind("RGB Cycling", 0) == 0;
        EXPECT_TRUE(src.paddingIs(0xEE) || (drifts && layout.inPlace));
        if (!layout.inPlace) {
            EXPECT_TRUE(dst.paddingIs(0xDD) || drifts);
            for (int y = 0; y < 11; ++y)
                for (int x = 0; x < 37; ++x) ASSERT_EQ(src.pixel(x, y), original.pixel(x, y));
        }
        const bool colourControl = name.find("RGBControl") == 0 || name.find("Brightness Contrast") == 0;
        if (colourControl && name.find("XT") == std::string::npos) {
            for (int y = 0; y < 11; ++y)
                for (int x = 0; x < 37; ++x) {
                    // 32 bits: the pixels of the definition; 16 bits: nothing written.
                    uint32_t expected = layout.inPlace ? original.pixel(x, y) : 0x1234u;
                    if (bytes == 4) {
                        // In place, each of the three frames works on the last one's output.
                        expected = original.pixel(x, y);
                        for (int frame = 0; frame < (layout.inPlace ? 3 : 1); ++frame)
                            expected = ExpectedColorControl(name, expected);
                    }
                    ASSERT_EQ(out.pixel(x, y), expected) << x << "," << y;
                }
        }
    }
    EXPECT_GE(created, 4);
}

INSTANTIATE_TEST_SUITE_P(Layouts, EveryEffect,
                         ::testing::Values(Layout{kFormatXrgb, false}, Layout{kFormatXrgb, true},
                                           Layout{kFormat565, false}, Layout{kFormat565, true},
                                           Layout{kFormat555, false}, Layout{kFormat555, true}),
                         [](const auto& info) {
                             const char* format = info.param.format == kFormatXrgb ? "32"
                                                  : info.param.format == kFormat565 ? "565" : "555";
                             return std::string(format) + (info.param.inPlace ? "InPlace" : "TwoSurfaces");
                         });

class Instances : public ::testing::Test {
protected:
    const EffectApi& api = SharedModule().api();
};

TEST_F(Instances, UnknownAndMiscasedNamesGiveNull) {
    HostSurface s(4, 4, kFormatXrgb);
    EXPECT_EQ(api.CreateEffect("rgbcontrol", s.get(), nullptr), nullptr);
    EXPECT_EQ(api.CreateEffect("No Such Effect", s.get(), nullptr), nullptr);
    api.DestroyEffect(nullptr);
    int32_t params[4] = {};
    EXPECT_EQ(api.RenderEffect(nullptr, params, s.get(), 0), 0);
}

TEST_F(Instances, ParametersArriveAsTheirLowSixteenBits) {
    HostSurface s(2, 1, kFormatXrgb);
    s.fill(0x00FFFFFF);
    fxhost::EffectInstance effect(SharedModule(), "RGBControl", s.get(), nullptr);
    // 65536 + 128 arrives as 128, 40000 as -25536: 255 x -25536 >> 8 keeps
    // 0x9CA3, which spills over red.
    effect.render({65536 + 128, 40000, 0, 0}, nullptr, 0);
    EXPECT_EQ(s.pixel(0, 0), 0x00FFA300u);
}

TEST_F(Instances, NullSourceKeepsThePreviousOne) {
    HostSurface first(3, 3, kFormatXrgb), second(3, 3, kFormatXrgb), dst(3, 3, kFormatXrgb);
    first.fill(0x00FFFFFF);
    second.fill(0x00102030);
    fxhost::EffectInstance effect(SharedModule(), "RGBControl", first.get(), dst.get());
    effect.render({256, 256, 256, 0}, second.get(), 0);
    EXPECT_EQ(dst.pixel(1, 1), 0x00102030u);
    dst.fill(0);
    effect.render({256, 256, 256, 0}, nullptr, 40);
    EXPECT_EQ(dst.pixel(2, 2), 0x00102030u);
}

TEST_F(Instances, DepthMismatchGivesAnInstanceThatNeverDraws) {
    HostSurface src(4, 4, kFormat565), dst(4, 4, kFormatXrgb);
    dst.fill(0x00ABCDEF);
    fxhost::EffectInstance effect(SharedModule(), "Brightness Contrast", src.get(), dst.get());
    effect.render({0, 0, 0, 0}, src.get(), 0);
    EXPECT_EQ(dst.pixel(3, 3), 0x00ABCDEFu);
}

TEST_F(Instances, LargerSourceIsReadThroughAScaledCopy) {
    HostSurface src(8, 8, kFormatXrgb), dst(4, 4, kFormatXrgb);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) src.setPixel(x, y, 0x00010000u * (x / 2) + 0x0100u * (y / 2));
    fxhost::EffectInstance effect(SharedModule(), "RGBControl Inverse", src.get(), dst.get());
    effect.render({256, 256, 256, 0}, nullptr, 0);
    EXPECT_EQ(dst.pixel(0, 0), 0xFFFFFFFFu);
    EXPECT_EQ(dst.pixel(3, 1), ~0x00030100u);
}

}  // namespace
