// The motion blur and the two old films through the built module and the
// reference host: padded rows at every depth and source size over many
// frames, and runs that repeat exactly in a fresh copy of the module, whose
// film seed starts again from 0.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::EffectInstance;
using fxhost::HostSurface;

const char* const kNames[] = {"MotionBlur", "OldMovieClean", "OldMovieDirty"};

uint32_t Marker(const HostSurface& s) { return s.format() == kFormatXrgb ? 0xFFFFFFFFu : 0xFFFFu; }
void FillRandom(HostSurface& s, uint32_t seed) {
    std::mt19937 rng(seed);
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, rng() & (s.format() == kFormatXrgb ? 0xFFFFFFu : 0x7FFFu));
}
std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}
// Red, green and blue equal; of a 6-bit green its upper five bits.
bool AllGrey(const HostSurface& s) {
    const auto [green, red] = Shifts16(s.format());
    for (uint32_t p : Pixels(s)) {
        const bool grey = s.format() == kFormatXrgb
                              ? (p >> 16 & 255) == (p & 255) && (p >> 8 & 255) == (p & 255)
                              : (p >> red & 31) == (p & 31) && (p >> green & 31) == (p & 31);
        if (!grey) return false;
    }
    return true;
}

// Forty frames at 25 a second, the source given at every third, with
// sources of the output's size, smaller and larger: the rows' padding and the
// source stay as they were and every output pixel is written. The films are
// grey (but for a smaller 16-bit source: it is drawn at its own size into a
// 32-bit offscreen). A still picture in the motion blur is its first frame,
// with the top byte cleared.
TEST(TemporalModule, PaddedRowsAtEveryDepthAndSize) {
    for (const char* name : kNames)
        for (int32_t format : {kFormatXrgb, kFormat565, kFormat555})
            for (int side : {0, -8, 8}) {
                SCOPED_TRACE(std::string(name) + " format " + std::to_string(format) + " side " +
                             std::to_string(side));
                const int bpp = format == kFormatXrgb ? 4 : 2, w = 37 + side, h = 23 + side;
                HostSurface src(w, h, format, w * bpp + 6), dst(37, 23, format, 37 * bpp + 10);
                FillRandom(src, 37);
                if (format == kFormatXrgb) src.setPixel(0, 0, 0xFF102030);
                src.fillPadding(0xA5);
                dst.fill(Marker(dst));
                dst.fillPadding(0x5A);
                const auto picture = Pixels(src);
                EffectInstance effect(SharedModule(), name, src.get(), dst.get());
                for (int i = 0; i < 40; ++i) {
                    effect.render({}, i % 3 ? nullptr : src.get(), 100 + 40 * i);
                    ASSERT_TRUE(dst.paddingIs(0x5A) && src.paddingIs(0xA5)) << "frame " << i;
                    ASSERT_EQ(Pixels(src), picture) << "frame " << i;
                }
                const auto out = Pixels(dst);
                EXPECT_EQ(std::count(out.begin(), out.end(), Marker(dst)), 0);
                if (std::string(name) != "MotionBlur") {
                    EXPECT_TRUE(AllGrey(dst) || (side < 0 && format != kFormatXrgb));
                } else if (format == kFormatXrgb && side == 0) {
                    std::vector<uint32_t> first = picture;
                    first[0] = 0x102030;
                    EXPECT_EQ(out, first);
                }
            }
}

// The films of one module share one seed: two fresh copies fed the same calls
// draw the same frames, and one that built another film first draws others.
std::vector<std::vector<uint32_t>> FilmRun(const fxhost::EffectModule& module, bool filmFirst) {
    HostSurface src32(48, 36, kFormatXrgb), src16(48, 36, kFormat565), dirty(48, 36, kFormatXrgb),
        clean(48, 36, kFormat565);
    FillRandom(src32, 1);
    FillRandom(src16, 2);
    if (filmFirst) EffectInstance(module, "OldMovieClean", src32.get(), nullptr);
    EffectInstance a(module, "OldMovieDirty", src32.get(), dirty.get());
    EffectInstance b(module, "OldMovieClean", src16.get(), clean.get());
    std::vector<std::vector<uint32_t>> frames;
    for (int i = 0; i < 20; ++i) {
        a.render({}, nullptr, 100 + 70 * i);
        b.render({}, nullptr, 100 + 70 * i);
        frames.push_back(Pixels(dirty));
        frames.push_back(Pixels(clean));
    }
    return frames;
}

TEST(TemporalModule, FreshModulesRepeatARun) {
    const auto one = FreshModule(), two = FreshModule(), three = FreshModule();
    const auto frames = FilmRun(*one, false);
    EXPECT_EQ(FilmRun(*two, false), frames);
    const auto other = FilmRun(*three, true);
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_NE(other[i], frames[i]) << i;
        if (i >= 2) {
            EXPECT_NE(frames[i], frames[i - 2]) << "still at " << i;
        }
    }
}

}  // namespace
