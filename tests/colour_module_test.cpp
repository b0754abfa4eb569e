// Contrast, colour cycling and the stroboscope through the reference host
// and the .so: every name at each depth it draws, padded rows, in place and
// with two surfaces, larger sources and clocks that wrap or jump.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

int Bytes(int32_t format) { return format == kFormatXrgb ? 4 : 2; }

// A w x h picture of one colour with padded rows, and a destination of
// another colour.
struct Pair {
    Pair(int32_t format, uint32_t colour, int w = 6, int h = 3)
        : src(w, h, format, w * Bytes(format) + 8), dst(w, h, format, w * Bytes(format) + 12) {
        src.fill(colour);
        src.fillPadding(0xEE);
        dst.fill(0x5555);
        dst.fillPadding(0xDD);
    }
    HostSurface src, dst;
};

// Renders frames at the given times and checks every pixel of the last one,
// in place and with two surfaces, and that no padding was written.
void ExpectFlat(const std::string& name, int32_t format, uint32_t colour, uint32_t expected,
                const std::array<int32_t, 4>& params, const std::vector<uint32_t>& times) {
    for (bool inPlace : {false, true}) {
        SCOPED_TRACE(name + (inPlace ? " in place" : " two surfaces") + " format " + std::to_string(format));
        Pair p(format, colour);
        fxhost::EffectInstance effect(SharedModule(), name, p.src.get(), inPlace ? nullptr : p.dst.get());
        for (uint32_t t : times) {
            // In place, every frame works on the last one's output.
            if (inPlace) p.src.fill(colour);
            effect.render(params, nullptr, t);
        }
        HostSurface& out = inPlace ? p.src : p.dst;
        for (int y = 0; y < out.height(); ++y)
            for (int x = 0; x < out.width(); ++x) ASSERT_EQ(out.pixel(x, y), expected) << x << "," << y;
        EXPECT_TRUE(p.src.paddingIs(0xEE));
        EXPECT_TRUE(p.dst.paddingIs(0xDD));
    }
}

constexpr uint32_t kGrey32 = 0x00808080, kGrey555 = 16u << 10 | 16u << 5 | 16u, kGrey565 = 16u << 11 | 32u << 5 | 16u;

TEST(ContrastThroughTheModule, GreyOnEveryCurveAndDepth) {
    const std::array<int32_t, 4> defaults = {0, 255, 128, 255};
    // Near-neutral host curve: luminance 384 gains 1 at 32 bits, nothing at 16.
    ExpectFlat("Brightness Contrast XT", kFormatXrgb, kGrey32, 0x00818181, defaults, {0});
    ExpectFlat("Contrast Brightness XT Inverse", kFormatXrgb, kGrey32, 0xFF7E7E7E, defaults, {0});
    ExpectFlat("Brightness Contrast XT", kFormat555, kGrey555, kGrey555, defaults, {0});
    ExpectFlat("Contrast Brightness XT Inverse", kFormat565, kGrey565, kGrey565 ^ 0xFFFF, defaults, {0});
    // The fixed curve: +24 at 32 bits; at 16 bits 382.5 x (1 + 61 / 262) = 471, +29, field 19.
    for (std::array<int32_t, 4> ignored : {defaults, std::array<int32_t, 4>{255, 0, 7, 9}}) {
        ExpectFlat("CONTRAST_BRIGHTNESS old", kFormatXrgb, 0xAB808080, 0x00989898, ignored, {0, 40});
        ExpectFlat("Contrast_Bright_Invert old", kFormatXrgb, kGrey32, 0xFF676767, ignored, {0});
        ExpectFlat("CONTRAST_BRIGHTNESS old", kFormat555, kGrey555, 19u << 10 | 19u << 5 | 19u, ignored, {0});
        ExpectFlat("Contrast_Bright_Invert old", kFormat565, kGrey565, (19u << 11 | 19u << 6 | 19u) ^ 0xFFFF, ignored,
                   {0});
    }
}

TEST(ContrastThroughTheModule, LargerSourceIsReadScaledToTheDestination) {
    HostSurface src(12, 8, kFormatXrgb), dst(6, 4, kFormatXrgb);
    src.fill(kGrey32);
    fxhost::EffectInstance effect(SharedModule(), "CONTRAST_BRIGHTNESS old", src.get(), dst.get());
    effect.render({0, 0, 0, 0}, nullptr, 0);
    EXPECT_EQ(dst.pixel(5, 3), 0x00989898u);
    EXPECT_EQ(dst.pixel(0, 0), 0x00989898u);
}

// "RGB Cycling Fast" 500 ms on with red at 128: red 127 adds 254 (31 in five
// bits), green and blue 64 add 128 (16).
TEST(CyclingThroughTheModule, FastAcrossTheWrapOfTheClock) {
    const std::array<int32_t, 4> params = {128, 0, 0, 0};
    const std::vector<uint32_t> wrap = {0xFFFFFF00u, 0x000000F4u};  // 500 ms apart
    ExpectFlat("RGB Cycling Fast", kFormatXrgb, 0xAB123456, 0x0010B4D6, params, wrap);
    ExpectFlat("RGB Cycling Fast", kFormat555, 1u << 10 | 2u << 5 | 3u, 0u << 10 | 18u << 5 | 19u, params, wrap);
    ExpectFlat("RGB Cycling Fast", kFormat565, 31u << 11 | 3u << 5 | 3u, 30u << 11 | 17u << 6 | 19u, params, wrap);
}

TEST(CyclingThroughTheModule, SlowPhaseJumpsOnceAfterTwoToThe22Ms) {
    // At 2^22 ms the phases of red, green and blue (2000, 3500 and 4100 ms)
    // are 435, 322 and 0; black folds to 76, 189 and 0. One millisecond
    // earlier they were 77, 190 and 0.
    const std::array<int32_t, 4> params = {0, 0, 0, 0};
    ExpectFlat("RGB Cycling Slow", kFormatXrgb, 0, 0x004CBD00, params, {1000, 1000 + (1u << 22)});
    ExpectFlat("RGB Cycling Slow", kFormatXrgb, 0, 0x004DBE00, params, {1000, 1000 + (1u << 22) - 1});
    // Five bits: (435 >> 3) & 63 = 54 folds to 9, (322 >> 3) = 40 to 23.
    ExpectFlat("RGB Cycling Slow", kFormat555, 0, 9u << 10 | 23u << 5, params, {7, 7 + (1u << 22)});
    ExpectFlat("RGB Cycling Slow", kFormat565, 0, 9u << 11 | 23u << 6, params, {7, 7 + (1u << 22)});
}

TEST(CyclingThroughTheModule, OddWidthsDriftAndLargerSourcesAreSampled) {
    for (int32_t format : {kFormatXrgb, kFormat565}) {
        SCOPED_TRACE(format);
        // Rows of 7 pixels and one of padding; the source is twice as large.
        HostSurface src(14, 6, format), dst(7, 3, format, 8 * Bytes(format));
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 14; ++x) src.setPixel(x, y, y * 32 + x);
        dst.fill(0x0F0F);
        fxhost::EffectInstance effect(SharedModule(), "RGB Cycling Fast", src.get(), dst.get());
        effect.render({0, 0, 0, 0}, nullptr, 0);  // values 0: a copy of every second pixel
        // Six pixels a row; row 1 starts in the padding of row 0, row 2 at
        // the last pixel of row 1.
        const std::vector<std::array<uint32_t, 3>> expected = {
            {0, 0, 0},   {5, 0, 10},  {6, 0, 0x0F0F}, {0, 1, 66},  {4, 1, 74},
            {5, 1, 0x0F0F}, {6, 1, 128}, {0, 2, 132},   {3, 2, 138}, {4, 2, 0x0F0F}};
        for (const auto& [x, y, value] : expected) EXPECT_EQ(dst.pixel(x, y), value) << x << "," << y;
    }
}

TEST(StroboscopeThroughTheModule, FlashAcrossTheWrapOfTheClock) {
    // 550 ms into a cycle at softness 255: weight 127 toward white.
    const std::array<int32_t, 4> params = {52, 0, 255, 255};
    ExpectFlat("Stroboscope", kFormatXrgb, 0xFF204080, 0x008E9EBE, params, {0xFFFFFE00u, 0x00000026u});
    // First frame: no flash, every channel x 255 / 256.
    ExpectFlat("Stroboscope", kFormatXrgb, 0x00FF0080, 0x00FE007F, params, {123456});
    // Speed 255: 151 ms is phase 604, a full magenta flash from hue 255.
    ExpectFlat("Stroboscope", kFormatXrgb, 0x00204080, 0x00FE00FE, {255, 255, 255, 0}, {0, 151});
    // A jump of 2^22 + 604 ms: (2^22 + 604) x 4 leaves phase 632, a full flash too.
    ExpectFlat("Stroboscope", kFormatXrgb, 0x00204080, 0x00FE00FE, {255, 255, 255, 0}, {9, 9 + (1u << 22) + 604});
}

TEST(StroboscopeThroughTheModule, LargerSourceIsReadScaledToTheDestination) {
    HostSurface src(16, 10, kFormatXrgb), dst(8, 5, kFormatXrgb);
    src.fill(0x00FF0080);
    fxhost::EffectInstance effect(SharedModule(), "Stroboscope", src.get(), dst.get());
    effect.render({52, 0, 255, 255}, nullptr, 0);
    EXPECT_EQ(dst.pixel(7, 4), 0x00FE007Fu);
    EXPECT_EQ(dst.pixel(0, 0), 0x00FE007Fu);
}

TEST(StroboscopeThroughTheModule, SixteenBitSurfacesAreNeverWritten) {
    for (int32_t format : {kFormat555, kFormat565}) {
        Pair p(format, 0x1234);
        fxhost::EffectInstance effect(SharedModule(), "Stroboscope", p.src.get(), p.dst.get());
        for (uint32_t t : {0u, 600u, 900u}) effect.render({255, 0, 255, 0}, nullptr, t);
        EXPECT_EQ(p.dst.pixel(5, 2), 0x5555u);
        EXPECT_EQ(p.src.pixel(5, 2), 0x1234u);
    }
}

}  // namespace
