// The motion blur: the six trail mixes at every vector level, the trail over
// frames (seeding, convergence, no mix), the interval mix through a recording
// blit service, a source larger than the output, and the failures.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "effect_fixture.h"
#include "kernel_support.h"
#include "temporal/motion_blur.h"
#include "temporal/motion_blur_kernels.h"

namespace {

using fxhost::HostSurface;

TEST(MotionBlurMix, WorkedPixels) {
    EXPECT_EQ(MixHalf555(0xFFFF, 0x0000), 0x3DEF);  // bit 15 dropped, 31 / 2 each
    EXPECT_EQ(MixThreeQuarter555(0x8000 | 3 << 10 | 17 << 5 | 30, 31 << 10 | 1 << 5 | 2), 0x29B7);
    EXPECT_EQ(MixHalf565(0xFFFF, 0x0841), 0x8410);
    EXPECT_EQ(MixThreeQuarter565(0x0000, 0xFFFF), 0x39E7);  // 7, 15, 7
    EXPECT_EQ(MixHalf32(0xFFFFFFFF, 0x00010203), 0x00808081u);
    EXPECT_EQ(MixThreeQuarter32(0xFF7F0180, 0x12FF03FE), 0x009F019Fu);
}

// Each mix over padded rows of every width from 1 to 70 against its one-pixel
// definition: the trail is read and written, the padding keeps its words.
template <class Word, class Kernel, class Pixel>
void ExpectMixMatches(Kernel kernel, Pixel pixel) {
    for (SimdLevel level : Levels())
        for (int width = 1; width <= 70; ++width) {
            const int rows = 3, srcStride = width + 3, trailStride = width + 5;
            const auto src = RandomWords<Word>(size_t(rows) * srcStride, width);
            auto trail = RandomWords<Word>(size_t(rows) * trailStride, width + 100);
            auto expected = trail;
            for (int y = 0; y < rows; ++y)
                for (int x = 0; x < width; ++x)
                    expected[y * trailStride + x] = pixel(trail[y * trailStride + x], src[y * srcStride + x]);
            kernel(PixelRows{reinterpret_cast<const uint8_t*>(src.data()), int32_t(srcStride * sizeof(Word)),
                             reinterpret_cast<uint8_t*>(trail.data()), int32_t(trailStride * sizeof(Word)), rows,
                             width},
                   level);
            ASSERT_EQ(trail, expected) << "level " << int(level) << " width " << width;
        }
}

TEST(MotionBlurMix, EveryKernelAtEveryLevel) {
    ExpectMixMatches<uint16_t>(BlendHalf555, MixHalf555);
    ExpectMixMatches<uint16_t>(BlendThreeQuarter555, MixThreeQuarter555);
    ExpectMixMatches<uint16_t>(BlendHalf565, MixHalf565);
    ExpectMixMatches<uint16_t>(BlendThreeQuarter565, MixThreeQuarter565);
    ExpectMixMatches<uint32_t>(BlendHalf32, MixHalf32);
    ExpectMixMatches<uint32_t>(BlendThreeQuarter32, MixThreeQuarter32);
}

TEST(MotionBlurMix, IntervalFromAHostValue) {
    const std::vector<std::pair<int32_t, uint32_t>> cases = {{0, 0},   {29, 0},  {30, 1},  {127, 4},
                                                             {128, 4}, {129, 4}, {130, 5}, {255, 67}};
    for (auto [value, interval] : cases) EXPECT_EQ(MotionBlurInterval(value), interval) << value;
}

MotionBlurParams Record(int8_t blendMode) {
    MotionBlurParams r{};
    r.recordVersion = kMotionBlurVersion;
    r.blendMode = blendMode;
    r.recordRevision = 2;
    r.fixedSkip = 1;
    return r;
}

class MotionBlur : public EffectTest {
protected:
    static std::vector<uint8_t> TrailBytes(const MotionBlurEffect& e) {
        const Surface& t = *e.trail;
        return std::vector<uint8_t>(t.pixels, t.pixels + size_t(t.rowBytes) * SurfaceHeight(t));
    }
};

// A still picture after a different first frame: below the source a channel
// climbs to 3 short (three-quarter mix) or 1 short (half mix); above it comes
// all the way down. The first frame is the source with its top byte cleared;
// a mode of 3 never mixes and shows the first frame, top byte and all, for ever.
TEST_F(MotionBlur, StillPictureConverges) {
    for (int8_t mode : {0, 1, 3}) {
        HostSurface src(3, 2, kFormatXrgb), dst(3, 2, kFormatXrgb);
        src.fill(0xFF10F020);
        auto* effect = MakeWith<MotionBlurEffect>(Record(mode), src, dst);
        Render(effect, {}, 40);
        EXPECT_EQ(dst.pixel(2, 1), mode == 3 ? 0xFF10F020u : 0x0010F020u);
        src.fill(0xAB80A0FF);
        for (int i = 0; i < 60; ++i) Render(effect, {}, 80 + 40 * i, i % 2 ? src.get() : nullptr);
        const uint32_t still[] = {0x007FA0FE, 0x007DA0FC, 0, 0xFF10F020};
        EXPECT_EQ(dst.pixel(0, 0), still[mode]) << "mode " << int(mode);
        entry::DestroyEffect(effect);
    }
}

// The 16-bit mixes treat the 32-bit trail as rows of 16-bit words: the first
// width words of each row mix with the source, the rest stay. A destination
// of format 0 gets no mix, and the trail is shown as it is.
TEST_F(MotionBlur, SixteenBitMixesTheTrailAsWords) {
    for (int32_t format : {1, 2, 0}) {
        SCOPED_TRACE(format);
        HostSurface src(6, 3, format ? format : kFormat565), next(6, 3, src.format()), dst(6, 3, src.format());
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 6; ++x) {
                src.setPixel(x, y, 0x1111u * (x + 1) + 0x0F0Fu * y);
                next.setPixel(x, y, 0xFEDCu - 0x0301u * (x + 2 * y));
            }
        dst.get()->pixelFormat = format;
        auto* effect = Make<MotionBlurEffect>("MotionBlur", src, &dst);
        ASSERT_EQ(effect->trail->depth, 32);
        Render(effect, {}, 0);
        auto expected = TrailBytes(*effect);
        for (int y = 0; y < 3 && format; ++y)
            for (int x = 0; x < 6; ++x) {
                uint16_t a;
                std::memcpy(&a, &expected[y * effect->trail->rowBytes + 2 * x], 2);
                const uint32_t s = next.pixel(x, y);
                a = format == kFormat555 ? MixThreeQuarter555(a, s) : MixThreeQuarter565(a, s);
                std::memcpy(&expected[y * effect->trail->rowBytes + 2 * x], &a, 2);
            }
        Render(effect, {}, 40, next.get());
        EXPECT_EQ(TrailBytes(*effect), expected);
        for (int y = 0; y < 3 && !format; ++y)  // the first picture, through the trail and back
            for (int x = 0; x < 6; ++x) EXPECT_EQ(dst.pixel(x, y), src.pixel(x, y)) << x << "," << y;
        entry::DestroyEffect(effect);
    }
}

// A larger source fills a trail of its own size, mixed over all of it, and
// the whole trail is mapped onto the whole output.
TEST_F(MotionBlur, LargerSourceKeepsATrailOfItsSize) {
    HostSurface src(40, 30, kFormatXrgb), dst(20, 15, kFormatXrgb);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) src.setPixel(x, y, 0xFF000000u | uint32_t(y / 2) << 16 | uint32_t(x / 2) << 4);
    auto* effect = Make<MotionBlurEffect>("MotionBlur", src, &dst);
    ASSERT_NE(effect->trail, nullptr);
    EXPECT_EQ(effect->trail->bounds.bottom, 30);
    EXPECT_EQ(effect->trail->bounds.right, 40);
    Render(effect, {}, 0);
    for (int y = 0; y < 15; ++y)
        for (int x = 0; x < 20; ++x) ASSERT_EQ(dst.pixel(x, y), uint32_t(y) << 16 | uint32_t(x) << 4) << x << "," << y;
    src.fill(0x00FFFFFF);
    Render(effect, {}, 40);
    EXPECT_EQ(dst.pixel(19, 14), MixThreeQuarter32(14u << 16 | 19u << 4, 0x00FFFFFF));
    entry::DestroyEffect(effect);
}

// The interval mix through a service whose BlitTransform only counts its
// calls and keeps the latest one's arguments.
int g_transforms;
std::tuple<Surface*, Surface*, const SurfaceRect*, const SurfaceRect*, int32_t, BlitParams> g_lastTransform;
void RecordTransform(Surface* f, Surface* t, const SurfaceRect* fr, const SurfaceRect* tr, int32_t mode,
                     BlitParams* p) {
    ++g_transforms;
    g_lastTransform = {f, t, fr, tr, mode, *p};
}

class MotionBlurIntervalMix : public MotionBlur {
protected:
    void SetUp() override {
        service_ = *fxhost::GetBlitService();
        service_.BlitTransform = RecordTransform;
        g_blitService = &service_;
    }
    // The frames, counted from 1, at which the source is blended into the trail.
    std::vector<int> MixedFrames(const MotionBlurParams& record, std::array<int32_t, 4> params, int frames = 6) {
        HostSurface src(5, 4, kFormatXrgb), dst(5, 4, kFormatXrgb);
        auto* effect = MakeWith<MotionBlurEffect>(record, src, dst);
        std::vector<int> mixed;
        for (int i = 1; i <= frames; ++i) {
            const int before = g_transforms;
            Render(effect, params, 40 * i);
            if (g_transforms > before) mixed.push_back(i);
        }
        const auto& [f, t, fr, tr, mode, p] = g_lastTransform;
        EXPECT_TRUE(f == src.get() && t == effect->trail && fr == &src.get()->bounds && tr == &effect->trail->bounds);
        EXPECT_EQ((std::array{mode, p.blendLevel, p.blendKind, int32_t(p.kind)}), (std::array{5, 128, 5, 0}));
        entry::DestroyEffect(effect);
        return mixed;
    }
    BlitService service_;
};

TEST_F(MotionBlurIntervalMix, SkipsFramesAsToldByTheRecordOrTheHost) {
    using Frames = std::vector<int>;
    MotionBlurParams r = Record(2);
    r.fixedSkip = 0;
    EXPECT_EQ(MixedFrames(r, {}), (Frames{1, 2, 3, 4, 5, 6}));
    r.fixedSkip = 1;
    EXPECT_EQ(MixedFrames(r, {}), (Frames{2, 4, 6}));
    r.fixedSkip = 2;
    EXPECT_EQ(MixedFrames(r, {255, 255, 255, 255}), (Frames{3, 6}));
    r.skipFromParameter = 1;
    for (int32_t index : {4, 15, 16, -1}) {  // past the host's four: 0
        r.skipParameter = index;
        EXPECT_EQ(MixedFrames(r, {255, 255, 255, 255}), (Frames{1, 2, 3, 4, 5, 6})) << index;
    }
    r.skipParameter = 2;
    EXPECT_EQ(MixedFrames(r, {0, 0, 30, 0}), (Frames{2, 4, 6}));
    EXPECT_EQ(MixedFrames(r, {0, 0, 130, 0}, 12), (Frames{6, 12}));
}

// An older record takes the interval defaults; a record of another version
// falls back to the three-quarter mix.
TEST_F(MotionBlur, OldRecordsFallBack) {
    HostSurface s(2, 2, kFormatXrgb);
    MotionBlurParams r{{}, 2301, 0, 1, 1, 0, 9, 3, 0, 0};
    auto* effect = MakeWith<MotionBlurEffect>(r, s, s);
    const MotionBlurParams& got = effect->record;
    EXPECT_EQ((std::vector<int64_t>{got.recordVersion, got.blendMode, got.recordRevision, got.skipFromParameter,
                                    got.reserved, got.fixedSkip, got.skipParameter, got.secondValue,
                                    got.secondParameter}),
              (std::vector<int64_t>{2302, 1, 2, 0, 0, 1, 7, 25, 8}));
    entry::DestroyEffect(effect);
}

// Each failure prints its line on standard output; the instance is returned,
// draws nothing and can be rendered and destroyed.
TEST_F(MotionBlur, FailuresPrintTheirLineAndDrawNothing) {
    std::vector<uint8_t> bytes24(8 * 4 * 3, 0x21), out24(8 * 4 * 3, 0x5C);
    Surface src24{bytes24.data(), 24, {0, 0, 4, 8}, 24, 0, kFormatXrgb, 0, 0, 0};
    Surface dst24{out24.data(), 24, {0, 0, 4, 8}, 24, 0, kFormatXrgb, 0, 0, 0};
    HostSurface src(4, 4, kFormatXrgb), empty(0, 4, kFormatXrgb), dst(4, 4, kFormatXrgb);
    src.fill(0x00123456);
    struct Case {
        Surface *source, *destination;
        const char* line;
    };
    for (const Case& c : {Case{&src24, &dst24, "Motion Blur bad colors!\n"},
                          Case{nullptr, dst.get(), "Motion Blur Render interface failled!\n"},
                          Case{empty.get(), dst.get(), "Motion Blur offscreen failled!\n"}}) {
        dst.fill(0xCAFEBABE);
        testing::internal::CaptureStdout();
        auto* effect = static_cast<MotionBlurEffect*>(entry::CreateEffect("MotionBlur", c.source, c.destination));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.line);
        ASSERT_NE(effect, nullptr);
        EXPECT_EQ(effect->failed, 1u);
        EXPECT_EQ(effect->trail, nullptr);
        Render(effect, {}, 40);
        Render(effect, {}, 80, c.source == &src24 ? &src24 : src.get());
        EXPECT_EQ(dst.pixel(3, 3), 0xCAFEBABEu);
        entry::DestroyEffect(effect);
    }
    EXPECT_EQ(out24, std::vector<uint8_t>(out24.size(), 0x5C));
}

}  // namespace
