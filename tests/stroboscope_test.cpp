// The stroboscope: flash colour, blend weight over the cycle, the tables,
// and whole instances in-process.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "colour/stroboscope.h"
#include "effect_fixture.h"

namespace {

using fxhost::HostSurface;

TEST(Strobe, FlashColour) {
    EXPECT_EQ(StrobeColourOf(0), (StrobeColour{255, 255, 255}));
    EXPECT_EQ(StrobeColourOf(255), (StrobeColour{255, 0, 255}));  // sector 6, f 0
    EXPECT_EQ(StrobeColourOf(85), (StrobeColour{0, 255, 0}));     // h 512
    EXPECT_EQ(StrobeColourOf(43), (StrobeColour{253, 255, 0}));   // h 259: sector 1, f 3
    EXPECT_EQ(StrobeColourOf(100), (StrobeColour{0, 255, 90}));   // h 602: sector 2, f 90
    // A negative value (a host word of 32768 and above): sector -1 falls to the last case.
    EXPECT_EQ(StrobeColourOf(-1), (StrobeColour{255, 0, 6}));  // h -6, f 250
}

TEST(Strobe, WeightOverACycle) {
    std::vector<int32_t> weights;
    for (uint32_t t : {0u, 499u, 500u, 550u, 600u, 601u, 999u, 1000u, 1550u})
        weights.push_back(StrobeWeight(t, 0, 255));  // rate 1, s 127
    EXPECT_EQ(weights, (std::vector<int32_t>{0, 0, 0, 127, 254, 255, 255, 0, 127}));
    // Softness 0 never flashes; a small one never reaches full weight.
    EXPECT_EQ(StrobeWeight(999, 0, 0), 0);
    EXPECT_EQ(StrobeWeight(999, 0, 20), 99);  // 499 x 10 x 2 / 100
    // Speed: rates 1 to 4.
    EXPECT_EQ(StrobeWeight(150, 255, 255), 254);  // phase 600
    EXPECT_EQ(StrobeWeight(250, 255, 255), 0);    // the cycle lasts 250 ms
    EXPECT_EQ(StrobeWeight(200, 128, 255), 254);  // rate 3
    EXPECT_EQ(StrobeWeight(300, 64, 255), 254);   // rate 2
    EXPECT_EQ(StrobeWeight(300, 63, 255), 0);
}

TEST(Strobe, NegativeRemainderPastTwoToThe31) {
    // Rate 4: at 2^29 ms the product reaches 2^31 and wraps negative; the
    // remainder is -648 where the unwrapped phase 648 would flash, and the
    // weight stays 0 until the product wraps back to 0 at 2^30 ms.
    EXPECT_EQ(StrobeWeight((1u << 29) - 1, 255, 255), 255);  // phase 644
    EXPECT_EQ(StrobeWeight(1u << 29, 255, 255), 0);
    EXPECT_EQ(StrobeWeight((1u << 29) + 100, 255, 255), 0);
    EXPECT_EQ(StrobeWeight((1u << 30) + 150, 255, 255), 254);
    // Elapsed time past 2^31 counts as negative.
    EXPECT_EQ(StrobeWeight(0xFFFFFFFFu - 399, 0, 255), 0);  // -400 % 1000
}

TEST(Strobe, TablesBlendTowardTheColour) {
    uint8_t r[256], g[256], b[256];
    BuildStrobeTables(0, StrobeColour{255, 255, 255}, r, g, b);
    EXPECT_EQ(r[255], 254);  // every frame slightly darker
    EXPECT_EQ(r[0], 0);
    EXPECT_EQ(b[128], 127);
    BuildStrobeTables(255, StrobeColour{255, 255, 255}, r, g, b);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(r[i] + g[i] + b[i], 3 * 254);
    BuildStrobeTables(127, StrobeColour{255, 0, 255}, r, g, b);
    EXPECT_EQ(r[0], 126);  // 127 x 255 >> 8
    EXPECT_EQ(g[200], 100);  // 128 x 200 >> 8
    EXPECT_EQ(b[255], 254);
}

using Stroboscope = EffectTest;

TEST_F(Stroboscope, FlashesAfterHalfACycle) {
    HostSurface src(3, 2, kFormatXrgb), dst(3, 2, kFormatXrgb);
    src.fill(0xFF204080);  // top byte plays no part
    CRenderInterface* effect = Make<CRenderInterface>("Stroboscope", src, &dst);
    Render(effect, {0, 85, 255, 0}, 5000);  // first frame: a 0, each channel x 255 / 256
    EXPECT_EQ(dst.pixel(2, 1), 0x001F3F7Fu);
    Render(effect, {0, 85, 255, 0}, 5550);  // a 127 toward green
    EXPECT_EQ(dst.pixel(2, 1), 0x00109E40u);
    Render(effect, {0, 85, 255, 0}, 5700);  // a 255
    EXPECT_EQ(dst.pixel(0, 0), 0x0000FE00u);
    entry::DestroyEffect(effect);
}

TEST_F(Stroboscope, SixteenBitSurfacesAreReadyAndUntouched) {
    HostSurface src(4, 4, kFormat565), dst(4, 4, kFormat565);
    src.fill(0x1234);
    dst.fill(0xBEEF);
    CRenderInterface* effect = Make<CRenderInterface>("Stroboscope", src, &dst);
    EXPECT_TRUE(effect->IsReady());
    Render(effect, {0, 0, 255, 0}, 0);
    Render(effect, {0, 0, 255, 0}, 700);
    EXPECT_EQ(dst.pixel(3, 3), 0xBEEFu);
    entry::DestroyEffect(effect);
}

TEST_F(Stroboscope, RecordWithoutVersionFallsBack) {
    HostSurface s(1, 1, kFormatXrgb);
    StroboscopeParams record{};
    record.hueParam = 9;
    auto* effect = MakeWith<StroboscopeEffect>(record, s, s);
    EXPECT_EQ(effect->record.recordVersion, kStroboscopeVersion);
    EXPECT_EQ((std::array{effect->record.speedParam, effect->record.hueParam, effect->record.softnessParam}),
              (std::array{0, 1, 2}));
    entry::DestroyEffect(effect);
}

}  // namespace
