// The eight kaleidoscopes through the built module and the reference host:
// every name at every depth covers the output with mirrored halves and draws
// the same frame for the same inputs; pairs of unsupported depths draw
// nothing; and the cyclic pictures run on unchanged across the wrap of the
// host's 32-bit clock, repeating every 12 seconds.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::EffectInstance;
using fxhost::HostSurface;

const char* const kNames[] = {"Triangle Kaleido",       "Cyclic Triangle Kaleido", "Square Kaleido",
                              "Square Kaleido Cyclic",  "Hexagon Kaleido",         "Hexagon Kaleido Cyclic",
                              "Lozenge Kaleido",        "Lozenge Kaleido Cyclic"};
const char* const kCyclicNames[] = {"Cyclic Triangle Kaleido", "Square Kaleido Cyclic", "Hexagon Kaleido Cyclic",
                                    "Lozenge Kaleido Cyclic"};

// Distinct words below the top bit of each depth; the marker has it set.
void FillPattern(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x)
            s.setPixel(x, y, s.format() == kFormatXrgb ? uint32_t(y) << 16 | x : uint32_t(y) << 8 | x);
}
uint32_t Marker(const HostSurface& s) { return s.format() == kFormatXrgb ? 0xFFFFFFFFu : 0xFFFFu; }
std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

// The left half mirrors the right; with rows, row H/2-1-k repeats row H/2+k.
::testing::AssertionResult Mirrored(const HostSurface& s, bool rows) {
    const int W2 = s.width() / 2, H2 = s.height() / 2;
    for (int y = 0; y < s.height(); ++y)
        for (int i = 0; i < W2; ++i)
            if (s.pixel(W2 - 1 - i, y) != s.pixel(W2 + i, y))
                return ::testing::AssertionFailure() << "columns " << W2 - 1 - i << " and " << W2 + i << " in row " << y;
    for (int k = 0; rows && k < H2; ++k)
        for (int x = 0; x < s.width(); ++x)
            if (s.pixel(x, H2 - 1 - k) != s.pixel(x, H2 + k))
                return ::testing::AssertionFailure() << "rows " << H2 - 1 - k << " and " << H2 + k << " at column " << x;
    return ::testing::AssertionSuccess();
}

// Every name at every depth writes every pixel of an even-sized output, with
// the left half mirroring the right and, but for the triangle, the upper half
// mirroring the lower. Two instances given the same inputs (one handed its
// source again at every frame) draw the same frames, and a frame repeated
// later is drawn again as it was.
TEST(KaleidoModule, EveryNameCoversTheOutputWithMirroredHalves) {
    const std::array<int32_t, 4> params[] = {{128, 128, 128, 128}, {20, 0, 255, 0}, {240, 255, 0, 255},
                                             {77, 190, 60, 200}};
    for (const char* name : kNames)
        for (int32_t format : {kFormatXrgb, kFormat565, kFormat555}) {
            SCOPED_TRACE(std::string(name) + " format " + std::to_string(format));
            const bool rows = std::string(name).find("Triangle") == std::string::npos;
            HostSurface src(41, 29, format), a(48, 36, format), b(48, 36, format);
            FillPattern(src);
            EffectInstance first(SharedModule(), name, src.get(), a.get());
            EffectInstance second(SharedModule(), name, src.get(), b.get());
            std::vector<uint32_t> frameZero;
            for (int i = 0; i < 5; ++i) {
                const auto& p = params[i % 4];
                const uint32_t time = 1000u + uint32_t(i % 4) * 1700u;
                a.fill(Marker(a));
                b.fill(Marker(b));
                first.render(p, nullptr, time);
                second.render(p, src.get(), time);
                const auto pixels = Pixels(a);
                EXPECT_EQ(std::count(pixels.begin(), pixels.end(), Marker(a)), 0) << "frame " << i;
                EXPECT_TRUE(Mirrored(a, rows)) << "frame " << i;
                EXPECT_EQ(pixels, Pixels(b)) << "frame " << i;
                if (i == 0) frameZero = pixels;
                if (i == 4) {
                    EXPECT_EQ(pixels, frameZero);
                }
            }
        }
}

// A 24-bit pair, a pair of different depths, and a frame given a source of
// another depth or size than the instance was made with: nothing is drawn.
TEST(KaleidoModule, UnsupportedSurfacesDrawNothing) {
    const std::array<int32_t, 4> params{100, 150, 128, 128};
    constexpr int kW = 32, kH = 24;
    std::vector<uint8_t> srcBytes(kW * kH * 3, 0x21), dstBytes(kW * kH * 3, 0x5C);
    auto record = [](std::vector<uint8_t>& bytes) {
        Surface s{};
        s.pixels = bytes.data();
        s.depth = 24;
        s.bounds = {0, 0, kH, kW};
        s.rowBytes = kW * 3;
        s.pixelFormat = kFormatXrgb;
        return s;
    };
    Surface src24 = record(srcBytes), dst24 = record(dstBytes);
    HostSurface src32(kW, kH, kFormatXrgb), dst32(kW, kH, kFormatXrgb), src16(kW, kH, kFormat565),
        dst16(kW, kH, kFormat565), wide32(kW + 2, kH, kFormatXrgb);
    FillPattern(src32);
    FillPattern(src16);
    FillPattern(wide32);
    for (const char* name : kNames) {
        SCOPED_TRACE(name);
        {
            EffectInstance e(SharedModule(), name, &src24, &dst24);
            e.render(params, nullptr, 40);
            e.render(params, &src24, 80);
            EXPECT_EQ(std::count(dstBytes.begin(), dstBytes.end(), 0x5C), kW * kH * 3);
        }
        for (auto [src, dst] : {std::pair{&src16, &dst32}, std::pair{&src32, &dst16}}) {
            dst->fill(Marker(*dst));
            EffectInstance e(SharedModule(), name, src->get(), dst->get());
            e.render(params, nullptr, 40);
            const auto pixels = Pixels(*dst);
            EXPECT_EQ(std::count(pixels.begin(), pixels.end(), Marker(*dst)), kW * kH);
        }
        EffectInstance e(SharedModule(), name, src32.get(), dst32.get());
        for (HostSurface* other : {&src16, &wide32}) {
            dst32.fill(Marker(dst32));
            e.render(params, other->get(), 40);
            const auto pixels = Pixels(dst32);
            EXPECT_EQ(std::count(pixels.begin(), pixels.end(), Marker(dst32)), kW * kH);
        }
        e.render(params, src32.get(), 1040);
        const auto pixels = Pixels(dst32);
        EXPECT_EQ(std::count(pixels.begin(), pixels.end(), Marker(dst32)), 0);
    }
}

// A cyclic instance counts its time from the latest frame of any instance
// before its creation. One made at 0xFFFFF000, rendered every 40 ms across
// the wrap of the host's clock past 0, draws exactly the frames of one made
// at 0 and rendered at the same offsets. The rotation's triangle wave has a
// period of 6000 ms and the grid's 4000 ms, so the picture repeats every
// 12000 ms and not before: at 6000 ms the angle is back but the grid stands
// at its far end. Both waves are even about 0, so t and 12000 - t show the
// same picture.
TEST(KaleidoModule, CyclicPicturesRunOnAcrossTheClockWrap) {
    constexpr uint32_t kMark = 0xFFFFF000u;
    constexpr int kSteps = 300;  // 12000 ms
    HostSurface src(40, 30, kFormatXrgb), scratch(8, 8, kFormatXrgb);
    FillPattern(src);
    EffectInstance clock(SharedModule(), "Square Kaleido", scratch.get(), nullptr);
    for (const char* name : kCyclicNames) {
        SCOPED_TRACE(name);
        HostSurface wrappedOut(40, 30, kFormatXrgb), plainOut(40, 30, kFormatXrgb);
        clock.render({}, nullptr, kMark);
        EffectInstance wrapped(SharedModule(), name, src.get(), wrappedOut.get());
        clock.render({}, nullptr, 0);
        EffectInstance plain(SharedModule(), name, src.get(), plainOut.get());
        std::vector<std::vector<uint32_t>> frames;
        for (int k = 0; k <= kSteps; ++k) {
            wrapped.render({}, nullptr, kMark + uint32_t(k) * 40u);
            plain.render({}, nullptr, uint32_t(k) * 40u);
            frames.push_back(Pixels(plainOut));
            ASSERT_EQ(Pixels(wrappedOut), frames.back()) << "at " << k * 40 << " ms";
            if (k > 0) {
                EXPECT_NE(frames[k], frames[k - 1]) << "still at " << k * 40 << " ms";
            }
        }
        EXPECT_EQ(frames[kSteps], frames[0]);
        EXPECT_NE(frames[150], frames[0]);   // 6000 ms
        EXPECT_NE(frames[100], frames[0]);   // 4000 ms: the grid is back, the angle is not
        for (int k = 1; k < kSteps / 2; ++k) EXPECT_EQ(frames[kSteps - k], frames[k]) << "at " << k * 40 << " ms";
        // Another period on, past the wrap by 20 seconds.
        wrapped.render({}, nullptr, kMark + 24000u + 1000u);
        EXPECT_EQ(Pixels(wrappedOut), frames[25]);
    }
}

}  // namespace
