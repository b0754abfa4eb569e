// Chains of effects on frames: each instance renders the one before's
// result, destinations start as their source, alpha comes through.
#include <gtest/gtest.h>

#include "host/frame.h"
#include "host/host_error.h"
#include "host/test_card.h"
#include "module_fixture.h"
#include "tools/render_chain.h"

namespace {

using fxhost::Frame;
using fxhost::HostSurface;
using fxtool::ChainLink;
using fxtool::RenderChain;

ChainLink Link(const std::string& name, std::array<int32_t, 4> values, bool passThrough = false) {
    ChainLink link{name, {}, passThrough};
    link.params.base = values;
    return link;
}

Frame Card(int width = 64, int height = 48) { return fxhost::FrameFromImage(fxhost::MakeTestCard(width, height)); }

// One effect rendered through the module's entry points directly, its
// destination starting as a copy of the source.
void RenderDirect(const std::string& name, std::array<int32_t, 4> values, HostSurface& source, HostSurface& target,
                  uint32_t time) {
    const EffectApi& api = SharedModule().api();
    target.copyPixelsFrom(source);
    CRenderInterface* effect = api.CreateEffect(name.c_str(), source.get(), target.get());
    ASSERT_NE(effect, nullptr);
    api.RenderEffect(effect, values.data(), source.get(), time);
    api.DestroyEffect(effect);
}

TEST(RenderChain, EachEffectRendersTheResultOfTheOneBefore) {
    fxhost::SetLogSink([](const std::string&) {});
    for (const int32_t format : {kFormatXrgb, kFormat565}) {
        SCOPED_TRACE(format);
        const Frame card = Card();
        HostSurface a(64, 48, format), b(64, 48, format), c(64, 48, format);
        fxhost::FrameToSurface(card, a);
        RenderDirect("Posterize Hue", {200, 0, 0, 0}, a, b, 40);
        RenderDirect("Square Kaleido", {30, 128, 90, 0}, b, c, 40);
        Frame expected;
        fxhost::SurfaceToFrame(c, card, expected);

        RenderChain chain(SharedModule(), {Link("Posterize Hue", {200, 0, 0, 0}), Link("Square Kaleido", {30, 128, 90, 0})},
                          64, 48, format);
        Frame out;
        chain.render(card, out, 0, 1, 40);
        EXPECT_EQ(out.pixels, expected.pixels);
    }
}

TEST(RenderChain, DestinationsStartAsTheirSourceAndPassThroughKeepsThemSo) {
    // The colour controls draw nothing at 16 bits.
    const Frame first = Card();
    Frame second = Card();
    for (uint32_t& pixel : second.pixels) pixel ^= 0x00FFFFFFu;
    for (const bool passThrough : {false, true}) {
        SCOPED_TRACE(passThrough);
        RenderChain chain(SharedModule(), {Link("RGBControl", {255, 255, 255, 255}, passThrough)}, 64, 48, kFormat565);
        Frame out, expected;
        chain.render(first, out, 0, 2, 0);
        HostSurface surface(64, 48, kFormat565);
        fxhost::FrameToSurface(first, surface);
        fxhost::SurfaceToFrame(surface, first, expected);
        EXPECT_EQ(out.pixels, expected.pixels);
        chain.render(second, out, 1, 2, 40);
        if (passThrough) {
            fxhost::FrameToSurface(second, surface);
            fxhost::SurfaceToFrame(surface, second, expected);
        }
        EXPECT_EQ(out.pixels, expected.pixels);
    }
}

TEST(RenderChain, AlphaComesFromTheInputAndValuesFollowTheirTrack) {
    Frame card = Card(16, 8);
    card.alpha = true;
    for (size_t i = 0; i < card.pixels.size(); ++i) card.pixels[i] = (card.pixels[i] & 0xFFFFFFu) | uint32_t(i * 2) << 24;
    ChainLink link = Link("RGBControl", {0, 255, 255, 255});
    link.params.setRamp("0=0:255");
    RenderChain chain(SharedModule(), {link}, 16, 8, kFormatXrgb);
    Frame out;
    chain.render(card, out, 0, 2, 0);
    EXPECT_TRUE(out.alpha);
    for (size_t i = 0; i < card.pixels.size(); ++i) {
        ASSERT_EQ(out.pixels[i] >> 24, i * 2) << i;
        ASSERT_EQ(out.pixels[i] & 0xFF0000u, 0u) << i;  // red at 0 on the ramp's first frame
    }
    chain.render(card, out, 1, 2, 40);
    HostSurface source(16, 8, kFormatXrgb), target(16, 8, kFormatXrgb);
    fxhost::FrameToSurface(card, source);
    RenderDirect("RGBControl", {255, 255, 255, 255}, source, target, 40);
    Frame expected;
    fxhost::SurfaceToFrame(target, card, expected);
    EXPECT_EQ(out.pixels, expected.pixels);
}

TEST(RenderChain, ARefusedEffectIsNamedWithTheModulesReason) {
    try {
        RenderChain chain(SharedModule(), {Link("Posterize", {}), Link("AsciiArt1", {})}, 16, 16, kFormatXrgb);
        ADD_FAILURE() << "made a chain with the ascii art";
    } catch (const fxhost::HostError& error) {
        EXPECT_STREQ(error.what(), "the module refused \"AsciiArt1\": Ascii art resource not found!");
    }
}

}  // namespace
