// The old movie against a plain model of the film written here: the shared
// generator, the noise table and its cursor walk, the ramps, the grey kernels
// at every vector level, the rate limit, dirt, the 8-bit inversion, and whole
// sequences of frames from a fresh seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "effect_fixture.h"
#include "kernel_support.h"
#include "temporal/film_grain.h"
#include "temporal/grain_rows.h"
#include "temporal/old_movie.h"

namespace {

using fxhost::HostSurface;

// ---- the model ----

uint32_t Next(uint32_t s) { return s * 1103515245u + 12345u; }

struct Noise {
    uint32_t a, b;
    std::vector<uint32_t> values;
};

Noise Fill(uint32_t& seed) {
    Noise n{0, 0, std::vector<uint32_t>(2048)};
    for (uint32_t& v : n.values) {
        seed = Next(seed);
        const uint32_t low = uint32_t(int32_t(seed) >> 16) & 0xFFFF;
        seed = Next(seed);
        v = uint32_t(int32_t(seed) >> 16) << 16 | low;
    }
    n.a = n.values[0];
    n.b = n.values[1];
    return n;
}

int32_t Grain(Noise& n, int shift) {
    n.b += 1;
    const uint32_t r = n.values[n.b & 0x7FF];
    n.a += r & 7;
    return int16_t(n.values[n.a & 0x7FF] >> ((r >> 5) & 15)) >> shift;
}

// Format 1 and 2 are 16-bit pixels, 3 is 32-bit.
int32_t Brightness(uint32_t p, int32_t format) {
    if (format == 1) return int32_t(((p >> 4) & 0x3E) + ((p >> 10) & 31) + (p & 31));
    if (format == 2) return int32_t(((p >> 5) & 63) + (p >> 11) + (p & 31));
    return int32_t((((p >> 7) & 0x1FE) + ((p >> 16) & 255) + (p & 255)) >> 1);
}

std::vector<uint32_t> Ramp(FilmColour dark, FilmColour light, int32_t format) {
    const bool wide = format == 3;
    const int steps = wide ? 512 : 128, shift = wide ? 1 : 7;
    int32_t r = dark.red * (wide ? 256 : 1), g = dark.green * (wide ? 256 : 1), b = dark.blue * (wide ? 256 : 1);
    std::vector<uint32_t> ramp(wide ? 1024 : 256);
    for (int i = 0; i < steps; ++i) {
        if (wide)
            ramp[i] = uint32_t(((r >> 16) & 255) << 16 | ((g >> 16) & 255) << 8 | ((b >> 16) & 255));
        else if (format == 2)
            ramp[i] = uint32_t(((g >> 5) & 0x7E0) | ((b >> 11) & 0x1F) | (r & 0xF800));
        else
            ramp[i] = uint32_t(((g >> 6) & 0x3E0) | ((b >> 11) & 0x1F) | ((r >> 1) & 0x7C00));
        r += (light.red - dark.red) >> shift;
        g += (light.green - dark.green) >> shift;
        b += (light.blue - dark.blue) >> shift;
    }
    for (int i = steps; i < steps * 3 / 2; ++i) ramp[i] = ramp[steps - 1];
    for (int i = steps * 3 / 2; i < steps * 2; ++i) ramp[i] = ramp[0];
    return ramp;
}

void GreyMap(const std::vector<uint32_t>& src, std::vector<uint32_t>& dst, const std::vector<uint32_t>& ramp,
             int32_t format, int32_t flicker, Noise* noise) {
    for (size_t i = 0; i < src.size(); ++i) {
        int32_t level = Brightness(src[i], format) + flicker;
        if (noise) level += Grain(*noise, format == 3 ? 10 : 12);
        dst[i] = ramp[uint32_t(level) & (ramp.size() - 1)];
    }
}

void Dirt(uint32_t& seed, std::vector<uint32_t>& dst, int w, int h, uint32_t colour) {
    const auto bits = [](uint32_t s, uint32_t mask) { return int((s >> 16) & mask); };
    uint32_t s = Next(seed);
    if (bits(s, 15) == 0) {
        s = Next(s);
        std::fill_n(dst.begin() + (h * bits(s, 255) >> 8) * w, w, colour);
    }
    for (int k = 0; k < 3; ++k) {
        const uint32_t s1 = Next(s), s2 = Next(s1);
        dst[(bits(s1, 255) * h >> 8) * w + (bits(s2, 255) * w >> 8)] = colour;
        s = s2;
    }
    seed = s = Next(s);
    if (bits(s, 63) == 0) {
        const int radius = h >> 3, top = (h >> 2) - radius;
        for (int y = 1 - radius; y < radius; ++y) {
            const int n = int(std::sqrt(double(float(radius * radius - y * y))));
            std::fill_n(dst.begin() + (top + y - (1 - radius)) * w, n, colour);
        }
    }
}

std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}
void SetPixels(HostSurface& s, const std::vector<uint32_t>& words) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, words[size_t(y) * s.width() + x]);
}

constexpr FilmColour kBlack{0, 0, 0, 0}, kWhite{0, 0xFF00, 0xFF00, 0xFF00};

TEST(OldMovieRamp, BothDepthsAndFormats) {
    const FilmColour sepia{0, 0xFF00, 0xB000, 0x7000}, inverse{0, 0xE000, 0x4000, 0xFF00};
    const FilmColour odd{0, 0x0001, 0xFFFF, 0x8001};  // channels that step below zero and past 0xFF00
    for (auto [dark, light] : {std::pair{kBlack, kWhite}, std::pair{sepia, kBlack}, std::pair{inverse, sepia},
                               std::pair{odd, kBlack}, std::pair{kWhite, odd}})
        for (int32_t format : {1, 2, 3}) {
            uint8_t* ramp = BuildRamp(dark, light, format == 3 ? 32 : 16, format);
            std::vector<uint32_t> got(format == 3 ? 1024 : 256);
            for (size_t i = 0; i < got.size(); ++i)
                got[i] = format == 3 ? reinterpret_cast<uint32_t*>(ramp)[i] : reinterpret_cast<uint16_t*>(ramp)[i];
            EXPECT_EQ(got, Ramp(dark, light, format)) << "format " << format;
            // Its own clamp: brightness -1 (entry 255, 1023 at 32 bits) reads the
            // dark end, 130 (514) the light one; black to white ends at 0xFE.
            const size_t top = got.size() / 2 - 1;
            EXPECT_EQ(got.back(), got[0]);
            EXPECT_EQ(got[top + 3], got[top]);
            if (dark.red == 0 && light.red == 0xFF00) {
                EXPECT_EQ(got[top], format == 3 ? 0xFEFEFEu : format == 2 ? 0xFFFFu : 0x7FFFu);
            }
            ::operator delete(ramp);
        }
    uint8_t* bytes = BuildRamp(kBlack, kWhite, 8, 0);
    EXPECT_NE(bytes, nullptr);
    ::operator delete(bytes);
    EXPECT_EQ(BuildRamp(kBlack, kWhite, 24, 3), nullptr);
}

// ---- kernels ----

// A table of random words, the cursors close to the end of the table and of
// 32 bits so that the walk crosses both.
RandomTable RandomNoise(uint32_t seed) {
    RandomTable t;
    const auto words = RandomWords(kRandomTableSize + 2, seed);
    std::copy_n(words.begin(), kRandomTableSize, t.values);
    t.cursorA = words[kRandomTableSize] | 0x7F0;
    t.cursorB = 0xFFFFFFF2u;
    return t;
}

// The grain in runs of many lengths, against the model's steps one by one:
// for a random table, and for one whose cursor A comes back to the same row
// every pass of cursor B (steps of 1, 2048 a pass), so rows are reused.
TEST(OldMovieGrain, RowsFollowTheCursorWalk) {
    RandomTable constant = RandomNoise(7);
    for (uint32_t& v : constant.values) v = (v & ~7u) | 1;
    for (const RandomTable& start : {RandomNoise(3), constant})
        for (int shift : {12, 10}) {
            RandomTable table = start;
            Noise noise{table.cursorA, table.cursorB, std::vector<uint32_t>(table.values, table.values + 2048)};
            GrainRows rows(table, shift);
            int64_t taken = 0;
            for (int32_t most : {1, 13, 2048, 5000, 3, 2047, 4096, 700, 9000, 1}) {
                const int8_t* grain = nullptr;
                const int32_t n = rows.Take(most, grain);
                const uint32_t first = (noise.b + 1) & 0x7FF;
                ASSERT_EQ(n, std::min<int32_t>(most, int32_t(2048 - first))) << "after " << taken;
                for (int32_t i = 0; i < n; ++i) ASSERT_EQ(grain[i], Grain(noise, shift)) << "at " << taken + i;
                ASSERT_EQ(table.cursorA, noise.a);
                ASSERT_EQ(table.cursorB, noise.b);
                taken += n;
            }
            // Whole passes, as a film makes them frame after frame.
            for (int pass = 0; pass < 40; ++pass) {
                const int8_t* grain = nullptr;
                const int32_t n = rows.Take(2048, grain);
                for (int32_t i = 0; i < n; ++i) ASSERT_EQ(grain[i], Grain(noise, shift)) << "pass " << pass;
            }
            EXPECT_EQ(table.cursorA, noise.a);
            EXPECT_EQ(table.cursorB, noise.b);
        }
}

// A grey kernel over padded rows of every width from 1 to 70, with and
// without grain, for three pairs of colours and flickers far beyond a frame's
// own (so that every stretch of the ramp is read), against the model: every
// word of the output rows and the cursors after the call.
template <class Word, class Kernel>
void ExpectGreyMatches(Kernel kernel, int32_t format) {
    const int32_t depth = format == 3 ? 32 : 16;
    const FilmColour sepia{0, 0xFF00, 0xB000, 0x7000}, odd{0, 0x0001, 0xFFFF, 0x8001};
    const Word marker = Word(0xA5A5A5A5u);
    for (auto [dark, light] : {std::pair{kBlack, kWhite}, std::pair{sepia, odd}, std::pair{odd, kBlack}}) {
        const RampLine line = MakeRampLine(dark, light, depth);
        const std::vector<uint32_t> rampModel = Ramp(dark, light, format);
        for (SimdLevel level : Levels())
            for (int width = 1; width <= 70; ++width)
                for (bool grain : {false, true}) {
                    const int rows = 3, srcStride = width + 2, dstStride = width + 4;
                    const int32_t flicker = width * 2971 % 4096 - 2048;
                    const auto src = RandomWords<Word>(size_t(rows) * srcStride, width);
                    std::vector<Word> dst(size_t(rows) * dstStride, marker);
                    RandomTable table = RandomNoise(width);
                    GrainRows grainRows(table, format == 3 ? 10 : 12);
                    Noise noise{table.cursorA, table.cursorB,
                                std::vector<uint32_t>(table.values, table.values + 2048)};
                    kernel(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), int32_t(srcStride * sizeof(Word)),
                                     reinterpret_cast<uint8_t*>(dst.data()), int32_t(dstStride * sizeof(Word)), rows,
                                     width},
                           line, flicker, grain ? &grainRows : nullptr, level);
                    std::vector<Word> expected(dst.size(), marker);
                    for (int y = 0; y < rows; ++y) {
                        std::vector<uint32_t> in(src.begin() + y * srcStride, src.begin() + y * srcStride + width),
                            out(width);
                        GreyMap(in, out, rampModel, format, flicker, grain ? &noise : nullptr);
                        std::copy(out.begin(), out.end(), expected.begin() + y * dstStride);
                    }
                    SCOPED_TRACE(testing::Message() << "level " << int(level) << " width " << width << " grain "
                                                    << grain << " light red " << light.red);
                    ASSERT_EQ(dst, expected);
                    ASSERT_EQ(table.cursorA, noise.a);
                    ASSERT_EQ(table.cursorB, noise.b);
                }
    }
}

TEST(OldMovieKernels, GreyMapsAtEveryLevel) {
    ExpectGreyMatches<uint16_t>(GreyMap555, 1);
    ExpectGreyMatches<uint16_t>(GreyMap565, 2);
    ExpectGreyMatches<uint32_t>(GreyMap32, 3);
}

TEST(OldMovieKernels, InvertBytesAtEveryLevel) {
    for (SimdLevel level : Levels())
        ExpectRowsMatch<uint8_t>([level](const PixelRows& r) { InvertBytes(r, level); },
                                 [](uint8_t b) { return uint8_t(~b); });
}

// ---- instances ----

OldMovieParams Film(uint8_t rateLimit, int32_t frameRate, uint8_t effects, uint8_t dirt, uint8_t greyMap = 1) {
    return OldMovieParams{{}, kOldMovieVersion, rateLimit, {}, frameRate, dirt, 1, greyMap, effects, effects, 0,
                          kWhite, kBlack, {}};
}

using OldMovie = EffectTest;

// Draws at most 15 frames a second: 67 ms after the last drawn frame, not 60;
// a time that goes back waits for the last plus the period. A frame turned
// away writes nothing and draws no random number; a drawn one steps the seed
// once (no flicker, grain or dirt here). White maps to 0xFEFEFE, black to 0.
TEST_F(OldMovie, RateLimitAndTheEndsOfTheRamp) {
    HostSurface src(2, 1, kFormatXrgb), dst(2, 1, kFormatXrgb);
    src.setPixel(0, 0, 0xFFFFFFFF);
    src.setPixel(1, 0, 0xFF000000);
    const auto drew = [&](OldMovieEffect* e, uint32_t time) {
        dst.fill(0xDEADBEEF);
        const uint32_t seed = g_movieSeed;
        Render(e, {}, time);
        const bool drawn = dst.pixel(0, 0) != 0xDEADBEEF;
        EXPECT_EQ(g_movieSeed, drawn ? Next(seed) : seed) << time;
        if (drawn) {
            EXPECT_EQ(Pixels(dst), (std::vector<uint32_t>{0xFEFEFE, 0})) << time;
        }
        return drawn;
    };
    auto* e = MakeWith<OldMovieEffect>(Film(1, 15, false, 0), src, dst);
    std::vector<bool> frames;
    for (uint32_t t : {0u, 60u, 67u, 127u, 134u, 100u, 200u, 201u}) frames.push_back(drew(e, t));
    EXPECT_EQ(frames, (std::vector<bool>{false, false, true, false, true, false, false, true}));
    entry::DestroyEffect(e);

    e = MakeWith<OldMovieEffect>(Film(1, 0, false, 0), src, dst);  // a rate of 0 counts as 1
    EXPECT_FALSE(drew(e, 1000));
    EXPECT_TRUE(drew(e, 1001));
    EXPECT_EQ(e->record.frameRate, 1);
    entry::DestroyEffect(e);

    e = MakeWith<OldMovieEffect>(Film(0, -5, false, 0), src, dst);  // no limit: every call draws
    EXPECT_TRUE(drew(e, 0));
    EXPECT_TRUE(drew(e, 0));
    EXPECT_EQ(e->record.frameRate, -5);
    entry::DestroyEffect(e);
}

// From seed 0: the generator's first outputs, then the table of the first
// instance; instances built in a row, also one whose construction fails, take
// consecutive tables from the shared seed.
TEST_F(OldMovie, SharedSeedAndTables) {
    g_movieSeed = 0;
    EXPECT_EQ(StepMovieSeed(), 0);  // seed 12345
    EXPECT_EQ(StepMovieSeed(), -11300);
    EXPECT_EQ(g_movieSeed, 0xD3DC167Eu);
    HostSurface src(4, 4, kFormatXrgb), dst(4, 4, kFormatXrgb);
    g_movieSeed = 0;
    auto* first = Make<OldMovieEffect>("OldMovieClean", src, &dst);
    const RandomTable& t = first->noise;
    EXPECT_EQ((std::array{g_movieSeed, t.values[0], t.values[1], t.values[2047], t.cursorA, t.cursorB}),
              (std::array{0xB8133000u, 0xD3DC0000u, 0xD665A704u, 0xB813E919u, 0xD3DC0000u, 0xD665A704u}));
    auto* second = Make<OldMovieEffect>("OldMovieDirty", src, &dst);
    auto* failed = static_cast<OldMovieEffect*>(CreateEffect("OldMovieDirty", nullptr, dst.get()));
    uint32_t seed = 0;
    for (auto* e : {first, second, failed}) {
        const Noise n = Fill(seed);
        EXPECT_EQ(std::vector<uint32_t>(e->noise.values, e->noise.values + 2048), n.values);
        EXPECT_EQ(e->noise.cursorB, n.b);
    }
    EXPECT_EQ(g_movieSeed, seed);
    EXPECT_EQ(failed->failed, 1u);
    Render(failed, {}, 1000, src.get());
    for (auto* e : {first, second, failed}) entry::DestroyEffect(e);
}

// Bytes are complemented: no seed step, no cursor moves, no dirt, and the
// row padding stays.
TEST_F(OldMovie, EightBitsInvert) {
    constexpr int kW = 13, kH = 5, kRow = 16;
    auto bytes = RandomWords<uint8_t>(kH * kRow, 8);
    std::vector<uint8_t> out(kH * kRow, 0x77);
    Surface src{bytes.data(), 8, {0, 0, kH, kW}, kRow, 0, 0, 0, 0, 0};
    Surface dst{out.data(), 8, {0, 0, kH, kW}, kRow, 0, 0, 0, 0, 0};
    auto* e = static_cast<OldMovieEffect*>(CreateEffect("OldMovieDirty", &src, &dst));
    const uint32_t seed = g_movieSeed, cursorA = e->noise.cursorA;
    Render(e, {}, 100);
    for (int i = 0; i < kH * kRow; ++i)
        ASSERT_EQ(out[i], i % kRow < kW ? uint8_t(~bytes[i]) : 0x77) << i;
    EXPECT_EQ(g_movieSeed, seed);
    EXPECT_EQ(e->noise.cursorA, cursorA);
    entry::DestroyEffect(e);
}

// greyMap 0 with dirt: the plain picture with a scratch, specks and, at a
// height of 8 and more, the half-disc blot, for a seed that draws both.
TEST_F(OldMovie, DirtOnThePlainPicture) {
    uint32_t start = 0;
    for (;; ++start) {  // scratch and blot in the same frame
        uint32_t s = Next(start), end = Next(Next(s));
        for (int k = 0; k < 6; ++k) end = Next(end);
        if (((s >> 16) & 15) == 0 && ((end >> 16) & 63) == 0) break;
    }
    for (int h : {48, 7}) {
        HostSurface src(40, h, kFormatXrgb), dst(40, h, kFormatXrgb);
        SetPixels(src, RandomWords(40 * h, h));
        OldMovieParams r = Film(0, 15, true, 1, 0);
        r.darkColour = FilmColour{0, 0x1200, 0x3400, 0x5600};
        auto* e = MakeWith<OldMovieEffect>(r, src, dst);
        g_movieSeed = start;
        Render(e, {}, 100);
        std::vector<uint32_t> expected = Pixels(src);
        uint32_t seed = start;
        Dirt(seed, expected, 40, h, 0x123456);
        EXPECT_EQ(Pixels(dst), expected) << "height " << h;
        EXPECT_EQ(g_movieSeed, seed);
        for (int row = 6; row <= 16 && h == 48; ++row) EXPECT_EQ(dst.pixel(0, row), 0x123456u) << "blot row " << row;
        entry::DestroyEffect(e);
    }
}

// The factory's dirty film from a fresh seed, frame after frame, equals the
// model; calls in between that come too soon change nothing.
TEST_F(OldMovie, SequenceFromAFreshSeedFollowsTheModel) {
    for (int32_t format : {kFormatXrgb, kFormat565}) {
        SCOPED_TRACE(format);
        constexpr int kW = 64, kH = 48;
        HostSurface src(kW, kH, format), dst(kW, kH, format);
        SetPixels(src, RandomWords(kW * kH, 5));
        const auto picture = Pixels(src);
        g_movieSeed = 0;
        auto* e = Make<OldMovieEffect>("OldMovieDirty", src, &dst);
        uint32_t seed = 0;
        Noise noise = Fill(seed);
        const auto ramp = Ramp(kBlack, kWhite, format);
        std::vector<uint32_t> expected(picture.size());
        for (int k = 0; k < 12; ++k) {  // scratches on the third and eleventh
            const uint32_t time = 100 + 70 * k;
            Render(e, {}, time, k % 2 ? src.get() : nullptr);
            seed = Next(seed);  // the frame's flicker
            GreyMap(picture, expected, ramp, format, int16_t(int32_t(seed) >> 16) >> (format == 3 ? 9 : 11), &noise);
            Dirt(seed, expected, kW, kH, ramp[0]);
            ASSERT_EQ(Pixels(dst), expected) << "frame " << k;
            Render(e, {}, time + 40);
            ASSERT_EQ(Pixels(dst), expected) << "after frame " << k;
        }
        EXPECT_EQ(g_movieSeed, seed);
        entry::DestroyEffect(e);
    }
}

}  // namespace
