// The table-driven colour effects through the reference host and the .so:
// each of the twelve names at all three depths, on flat pictures whose
// results are worked out by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

struct FlatCase {
    const char* effect;  // the plain name; "<effect> Smooth" is its twin
    uint32_t colour32, expected32;
    uint32_t colour555, expected555;
    uint32_t colour565, expected565;
};

// 32 bits: channels 64, 127, 128. 16 bits: fields 16, 15, 17 (in 5-6-5 the
// green field is 30, of which the effects see the upper five bits).
constexpr uint32_t kC32 = 0x00407F80, kC555 = 16u << 10 | 15u << 5 | 17u, kC565 = 16u << 11 | 30u << 5 | 17u;

const FlatCase kFlatCases[] = {
    // Sine at full intensity: 64 -> 180, 127 and 128 -> 254; 16 -> 0, 15 and 17 -> 30.
    {"Solarize", kC32, 0x00B4FEFE, kC555, 30u << 5 | 30u, kC565, 30u << 6 | 30u},
    {"Inverse Solarize", kC32, 0x00B30101, kC555, 1u << 10 | 1u << 5 | 4u, kC565, 1u << 11 | 1u << 6 | 4u},
    // The top step: 253 from 128, 31 from 17.
    {"Posterize", kC32, 0x000000FD, kC555, 31u, kC565, 31u},
    // Bands wrapping past 255; 16-bit fields of 90 that spill into their neighbours.
    {"Saturate Quantize", kC32, 0x00377676, kC555, 0x739A, kC565, 0xE6DA},
    // Blue's hue goes to 31, which is magenta; red keeps hue 0.
    {"Posterize Hue", 0x000000FF, 0x00FF00FF, 0x001F, 0x7C1F, 0x001F, 0xF81F},
    {"Posterize Hue", 0x0000FF00, 0x00FF0000, 0x03E0, 0x7C00, 0x07E0, 0xF800},
    // Full saturation and value: the quantised value becomes the hue, 31.
    {"Tinta Special FX", 0x000000FF, 0x00FF00FF, 0x001F, 0x7C1F, 0x001F, 0xF81F},
    {"Tinta Special FX", 0x00FFFFFF, 0x00FFFFFF, 0x7FFF, 0x7FFF, 0xFFFF, 0xFFFF},
};

struct Depth {
    int32_t format;
    uint32_t FlatCase::*colour;
    uint32_t FlatCase::*expected;
};

const Depth kDepths[] = {{kFormatXrgb, &FlatCase::colour32, &FlatCase::expected32},
                         {kFormat555, &FlatCase::colour555, &FlatCase::expected555},
                         {kFormat565, &FlatCase::colour565, &FlatCase::expected565}};

// Renders one frame at the catalogue default (intensity 255) and checks every
// pixel: the plain effect's colour, or inside a black frame for a twin.
void ExpectFlat(const std::string& name, const Depth& depth, uint32_t colour, uint32_t expected, bool inPlace) {
    SCOPED_TRACE(name + (inPlace ? " in place" : " two surfaces") + " format " + std::to_string(depth.format));
    const int w = 13, h = 7, bytes = depth.format == kFormatXrgb ? 4 : 2;
    HostSurface src(w, h, depth.format, w * bytes + 6), dst(w, h, depth.format, w * bytes + 10);
    src.fill(colour);
    dst.fill(0x5555);
    fxhost::EffectInstance effect(SharedModule(), name, src.get(), inPlace ? nullptr : dst.get());
    effect.render({255, 0, 0, 0}, nullptr, 0);
    const bool smooth = name.find("Smooth") != std::string::npos;
    // The filter sees five bits of 5-6-5 green and writes its lowest bit 0.
    if (smooth && depth.format == kFormat565) expected &= ~0x20u;
    HostSurface& out = inPlace ? src : dst;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool frame = x == 0 || y == 0 || x == w - 1 || y == h - 1;
            ASSERT_EQ(out.pixel(x, y), smooth && frame ? 0u : expected) << x << "," << y;
        }
}

TEST(TableColourEffects, FlatPicturesAtEveryDepth) {
    for (const FlatCase& c : kFlatCases)
        for (const Depth& depth : kDepths)
            for (const std::string& name : {std::string(c.effect), std::string(c.effect) + " Smooth"})
                for (bool inPlace : {false, true}) ExpectFlat(name, depth, c.*depth.colour, c.*depth.expected, inPlace);
}

TEST(TableColourEffects, LargerDestinationReadsTheScaledSourceUnlessGivenOne) {
    for (const Depth& depth : kDepths) {
        const FlatCase& c = kFlatCases[3];  // Saturate Quantize
        HostSurface src(10, 6, depth.format), dst(20, 12, depth.format);
        src.fill(c.*depth.colour);
        fxhost::EffectInstance effect(SharedModule(), c.effect, src.get(), dst.get());
        effect.render({255, 0, 0, 0}, nullptr, 0);
        EXPECT_EQ(dst.pixel(19, 11), c.*depth.expected);
        EXPECT_EQ(dst.pixel(0, 0), c.*depth.expected);
        // The host's surface at render: the pass covers that surface's size only.
        dst.fill(0x1111);
        effect.render({255, 0, 0, 0}, src.get(), 40);
        EXPECT_EQ(dst.pixel(9, 5), c.*depth.expected);
        EXPECT_EQ(dst.pixel(10, 5), 0x1111u);
        EXPECT_EQ(dst.pixel(9, 6), 0x1111u);
    }
}

TEST(TableColourEffects, HueTablesOutliveInstances) {
    // The first hue frame builds the process-wide tables; a later instance
    // in the same module finds them and draws the same.
    auto module = FreshModule();
    HostSurface a(4, 4, kFormat565), b(4, 4, kFormat565);
    a.fill(0x001F);
    b.fill(0x001F);
    {
        fxhost::EffectInstance first(*module, "Posterize Hue", a.get(), nullptr);
        first.render({255, 0, 0, 0}, nullptr, 0);
    }
    fxhost::EffectInstance second(*module, "Posterize Hue", b.get(), nullptr);
    second.render({255, 0, 0, 0}, nullptr, 0);
    EXPECT_EQ(a.pixel(3, 3), 0xF81Fu);
    EXPECT_EQ(b.pixel(3, 3), 0xF81Fu);
}

}  // namespace
