// The colour controls: kernels against their one-pixel definitions, the
// brightness-contrast table, and whole effects in-process.
#include <gtest/gtest.h>

#include <vector>

#include "colour/color_control_effect.h"
#include "colour/color_control_kernels.h"
#include "host/blit_service.h"
#include "kernel_support.h"
#include "shell/entry_points.h"
#include "shell/factory.h"
#include "render/offscreen.h"
#include "shell/module.h"

namespace {

TEST(ColorControlKernels, GainsMatchDefinitionForAnyGain) {
    const int16_t gains[][3] = {{255, 255, 255}, {0, 128, 256}, {1, 77, 200},
                                {-1, 300, 32767}, {-32768, 257, -200}, {40000 - 65536, 0, 0}};
    for (const auto& g : gains) {
        for (uint32_t mask : {0u, 0xFFFFFFFFu}) {
            for (SimdLevel level : Levels()) {
                SCOPED_TRACE(testing::Message() << g[0] << "," << g[1] << "," << g[2] << " mask " << mask
                                                << " level " << int(level));
                ExpectRowsMatch<uint32_t>(
                    [&](const PixelRows& r) { ApplyChannelGains(r, g[0], g[1], g[2], mask, level); },
                    [&](uint32_t p) { return GainPixel(p, g[0], g[1], g[2]) ^ mask; }, 40);
            }
        }
    }
}

TEST(ColorControlKernels, GainPixelValues) {
    EXPECT_EQ(GainPixel(0xFFFFFFFF, 255, 255, 255), 0x00FEFEFEu);  // 255 comes out as 254
    EXPECT_EQ(GainPixel(0x00FF00FF, 128, 128, 128), 0x007F007Fu);
    EXPECT_EQ(GainPixel(0xAB102030, 256, 256, 256), 0x00102030u);  // top byte dropped
    EXPECT_EQ(GainPixel(0x00FFFFFF, 0, 0, 0), 0u);
    // A negative gain keeps 16 bits that spill into the channels above.
    EXPECT_EQ(GainPixel(0x00FF0000, 40000 - 65536, 0, 0), 0x9CA30000u);
    EXPECT_EQ(GainPixel(0x000000FF, 0, 0, 512), 0x000001FEu);
}

std::vector<int> Table(int brightness, int contrast) {
    uint8_t t[256];
    BuildBrightnessContrastTable(brightness, contrast, t);
    return std::vector<int>(t, t + 256);
}

TEST(BrightnessContrastTable, NeutralIsIdentity) {
    const auto t = Table(128, 128);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(t[i], i);
}

TEST(BrightnessContrastTable, ContrastExtremes) {
    auto hi = Table(128, 255);  // f = 382 * 259 / (132 * 255)
    EXPECT_EQ(hi[0], 0);
    EXPECT_EQ(hi[100], 45);
    EXPECT_EQ(hi[128], 128);
    EXPECT_EQ(hi[140], 163);
    EXPECT_EQ(hi[255], 255);
    auto lo = Table(128, 0);  // f = 127 * 259 / (387 * 255), about a third
    EXPECT_EQ(lo[0], 85);
    EXPECT_EQ(lo[128], 128);
    EXPECT_EQ(lo[255], 170);
}

TEST(BrightnessContrastTable, BrightnessAddsAfterContrast) {
    auto dark = Table(0, 128);
    EXPECT_EQ(dark[0], 0);
    EXPECT_EQ(dark[128], 0);
    EXPECT_EQ(dark[200], 72);
    auto bright = Table(255, 128);
    EXPECT_EQ(bright[0], 127);
    EXPECT_EQ(bright[128], 255);
}

TEST(BrightnessContrastTable, ZeroDenominatorSaturates) {
    // Contrast 387 divides by zero: every entry truncates to INT32_MIN, and
    // the brightness offset then wraps or not.
    EXPECT_EQ(Table(128, 387), std::vector<int>(256, 0));
    EXPECT_EQ(Table(0, 387), std::vector<int>(256, 255));
}

class ColorControl : public ::testing::Test {
protected:
    void SetUp() override { g_blitService = fxhost::GetBlitService(); }
    void TearDown() override { g_blitService = nullptr; }

    static Surface Make(std::vector<uint32_t>& words, int width, int height, int depth, int rowBytes) {
        return Surface{reinterpret_cast<uint8_t*>(words.data()), depth,
                       {0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)},
                       rowBytes, 0, depth == 32 ? kFormatXrgb : kFormat565, 0, 0, 0};
    }
    void Render(CRenderInterface* effect, std::array<int32_t, 4> params, Surface* source = nullptr) {
        entry::RenderEffect(effect, params.data(), source, 0);
    }
};

TEST_F(ColorControl, GainsInPlaceReadEachPixelFirst) {
    std::vector<uint32_t> px = {0xFFFFFFFF, 0x00804020, 0x12345678, 0};
    Surface s = Make(px, 2, 2, 32, 8);
    CRenderInterface* effect = CreateEffect("RGBControl", &s, nullptr);
    Render(effect, {128, 255, 0, 0});
    EXPECT_EQ(px, (std::vector<uint32_t>{0x007FFE00, 0x00403F00, 0x001A5500, 0}));
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, InverseFormsComplementTheWholeWord) {
    std::vector<uint32_t> src = {0xFF123456, 0x00FFFFFF}, dst(2, 0);
    Surface a = Make(src, 2, 1, 32, 8), b = Make(dst, 2, 1, 32, 8);
    CRenderInterface* effect = CreateEffect("RGBControl Inverse", &a, &b);
    Render(effect, {0, 0, 0, 0});
    EXPECT_EQ(dst, (std::vector<uint32_t>{0xFFFFFFFF, 0xFFFFFFFF}));
    entry::DestroyEffect(effect);
    effect = CreateEffect("Brightness Contrast Inverse", &a, &b);
    Render(effect, {128, 128, 0, 0});
    EXPECT_EQ(dst, (std::vector<uint32_t>{0xFFEDCBA9, 0xFF000000}));
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, BrightnessContrastUsesTheTable) {
    std::vector<uint32_t> src = {0x00008CFF, 0x77806400}, dst(2, 0);
    Surface a = Make(src, 2, 1, 32, 8), b = Make(dst, 2, 1, 32, 8);
    CRenderInterface* effect = CreateEffect("Brightness Contrast", &a, &b);
    Render(effect, {128, 255, 0, 0});
    EXPECT_EQ(dst, (std::vector<uint32_t>{0x0000A3FF, 0x00802D00}));
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, SixteenBitSurfacesAreReadyButUntouched) {
    std::vector<uint32_t> src(8, 0x12341234), dst(8, 0xABCDABCD);
    Surface a = Make(src, 4, 4, 16, 8), b = Make(dst, 4, 4, 16, 8);
    CRenderInterface* effect = CreateEffect("RGBControl", &a, &b);
    EXPECT_TRUE(effect->IsReady());
    Render(effect, {0, 0, 0, 0});
    EXPECT_EQ(dst, std::vector<uint32_t>(8, 0xABCDABCD));
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, EmptySourceWritesNothing) {
    std::vector<uint32_t> src(4, 0xFFFFFF), dst(4, 7);
    Surface a = Make(src, 2, 2, 32, 8), b = Make(dst, 2, 2, 32, 8);
    CRenderInterface* effect = CreateEffect("RGBControl", &a, &b);
    Surface empty = Make(src, 0, 2, 32, 8);
    Render(effect, {0, 0, 0, 0}, &empty);
    EXPECT_EQ(dst, std::vector<uint32_t>(4, 7));
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, RecordWithoutVersionFallsBackToBrightnessContrast) {
    std::vector<uint32_t> px = {0x00FF8000};
    Surface s = Make(px, 1, 1, 32, 4);
    g_frame.source = g_frame.destination = &s;
    ColorControlParams record{};
    record.useRgb = 1;
    record.inverse = 1;
    CRenderInterface* effect = NewZeroedEffect<ColorControlEffect>(&record);
    EXPECT_EQ(static_cast<ColorControlEffect*>(effect)->record.recordVersion, kColorControlVersion);
    Render(effect, {0, 128, 0, 0});  // brightness 0: 128 and below go to 0
    EXPECT_EQ(px[0], 0x007F0000u);
    entry::DestroyEffect(effect);
}

TEST_F(ColorControl, SmallerDestinationReadsTheScaledWorkSurface) {
    std::vector<uint32_t> big(16), small(4, 0);
    for (int i = 0; i < 16; ++i) big[i] = 0x00010101u * (i % 4 / 2 + 2 * (i / 8)) * 16;
    Surface a = Make(big, 4, 4, 32, 16), b = Make(small, 2, 2, 32, 8);
    CRenderInterface* effect = CreateEffect("RGBControl", &a, &b);
    ASSERT_TRUE(effect->IsReady());
    ASSERT_NE(effect->workSurface, nullptr);
    Render(effect, {256, 256, 256, 0});
    EXPECT_EQ(small, (std::vector<uint32_t>{0x000000, 0x101010, 0x202020, 0x303030}));
    entry::DestroyEffect(effect);
}

}  // namespace
