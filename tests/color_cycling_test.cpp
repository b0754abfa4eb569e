// Colour cycling: channel values at their worked cases, the per-channel
// tables of the three styles, and whole instances in-process: pairs, the
// odd-width drift, sampling, the formats.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "colour/color_cycling.h"
#include "effect_fixture.h"

namespace {

using fxhost::HostSurface;

int32_t Value(CycleStyle style, int32_t parameter, int32_t period, uint32_t elapsed, int16_t host = 0) {
    int16_t params[16] = {};
    params[0] = host;
    return CycleChannelValue(style, parameter, period, elapsed, params);
}

TEST(CycleValues, WorkedCases) {
    // Fast: (500 << 8) / 1000 = 128, plus 128 from the host's 128, folds to 255.
    EXPECT_EQ(Value(kCycleWrap, 0, 1000, 500, 128), 127);
    EXPECT_EQ(Value(kCycleWrap, 0, 1000, 0, 0), 0);
    // Slow: (1000 << 9) / 2000 = 256, plus 4 x 64, masked to 0.
    EXPECT_EQ(Value(kCycleBounce, 0, 2000, 1000, 128), 0);
    // No time term and no parameter leaves the channel alone, but for bounce.
    EXPECT_EQ(Value(kCycleWrap, -1, 0, 12345), -1);
    EXPECT_EQ(Value(kCycleScale, -1, 0, 12345), -1);
    EXPECT_EQ(Value(kCycleBounce, -1, 0, 12345), 0);
    // An index of 16 or more adds nothing.
    for (CycleStyle style : {kCycleWrap, kCycleScale, kCycleBounce})
        EXPECT_EQ(Value(style, 16, 1000, 300, 255), Value(style, -1, 1000, 300)) << style;
    // The host's value is halved and kept to seven bits: -2 gives 127.
    EXPECT_EQ(Value(kCycleBounce, 0, 0, 0, -2), 508);
}

TEST(CycleValues, SawTriangleAndBounceOverOnePeriod) {
    // Wrap: a saw over 1000 ms; scale: a triangle; bounce: 0 to 511 once.
    const std::vector<uint32_t> at = {0, 250, 499, 500, 750, 999, 1000};
    std::vector<int32_t> wrap, scale, bounce;
    for (uint32_t t : at) {
        wrap.push_back(Value(kCycleWrap, -1, 1000, t));
        scale.push_back(Value(kCycleScale, -1, 1000, t));
        bounce.push_back(Value(kCycleBounce, -1, 1000, t));
    }
    EXPECT_EQ(wrap, (std::vector<int32_t>{0, 32, 63, 64, 96, 127, 0}));
    EXPECT_EQ(scale, (std::vector<int32_t>{0, 64, 127, 127, 63, 0, 0}));
    EXPECT_EQ(bounce, (std::vector<int32_t>{0, 128, 255, 256, 384, 511, 0}));
    // A negative period runs backwards.
    EXPECT_EQ(Value(kCycleBounce, -1, -1000, 250), 511 - 128);
    EXPECT_EQ(Value(kCycleWrap, -1, -1000, 250), (255 - 64) >> 1);
}

TEST(CycleValues, ShiftedTimeOverflowsAfterSeventyMinutes) {
    // 2^22 ms shifted by 9 is 2^31: the quotient turns negative and the
    // phase jumps from 77 to 435 once.
    EXPECT_EQ(Value(kCycleBounce, -1, 2000, (1u << 22) - 1), 77);
    EXPECT_EQ(Value(kCycleBounce, -1, 2000, 1u << 22), 435);
    // The shift by 8 of the wrap style does the same at twice the time:
    // 2147483 & 511 = 155, then -2147483 & 511 = 357, less 256.
    EXPECT_EQ(Value(kCycleWrap, -1, 1000, (1u << 23) - 1), 155 >> 1);
    EXPECT_EQ(Value(kCycleWrap, -1, 1000, 1u << 23), 101 >> 1);
}

TEST(CycleTables, StylesOnEightAndFiveBits) {
    uint8_t t8[256], t5[32];
    BuildCycleTable8(kCycleBounce, 300, t8);
    EXPECT_EQ(t8[100], 111);  // 400 folds to 111
    EXPECT_EQ(t8[0], 211);
    BuildCycleTable8(kCycleBounce, 300 + 512, t8);  // masked to nine bits first
    EXPECT_EQ(t8[100], 111);
    BuildCycleTable5(kCycleBounce, 300, t5);  // 300 >> 3 = 37: 10 + 37 = 47 folds to 16
    EXPECT_EQ(t5[10], 16);

    BuildCycleTable8(kCycleScale, 32, t8);
    EXPECT_EQ(t8[255], 248);  // the identity but for the low three bits
    EXPECT_EQ(t8[77], 72);
    BuildCycleTable8(kCycleScale, 0, t8);
    EXPECT_EQ(t8[255], 0);
    BuildCycleTable8(kCycleScale, 127, t8);
    EXPECT_EQ(t8[255], 248);
    EXPECT_EQ(t8[40], 19 << 3);  // 127 x 5 >> 5
    BuildCycleTable5(kCycleScale, 127, t5);
    EXPECT_EQ(t5[31], 31);
    EXPECT_EQ(t5[9], 31);  // 35, clamped
    EXPECT_EQ(t5[7], 27);

    BuildCycleTable8(kCycleWrap, 127, t8);
    EXPECT_EQ(t8[1], 255);
    EXPECT_EQ(t8[2], 0);  // gains 254, modulo 256
    BuildCycleTable5(kCycleWrap, 127, t5);
    EXPECT_EQ(t5[1], 0);  // 1 + 31, modulo 32

    for (CycleStyle style : {kCycleWrap, kCycleScale}) {
        BuildCycleTable8(style, -1, t8);
        BuildCycleTable5(style, -1, t5);
        for (int c = 0; c < 256; ++c) ASSERT_EQ(t8[c], c);
        for (int c = 0; c < 32; ++c) ASSERT_EQ(t5[c], c);
    }
    EXPECT_EQ(g_scaleTable[32][17], 17);
    EXPECT_EQ(g_scaleTable[100][3], 9);
}

class Cycling : public EffectTest {
protected:
    static ColorCycling* Make(const char* name, HostSurface& src, HostSurface* dst = nullptr) {
        return EffectTest::Make<ColorCycling>(name, src, dst);
    }
    static ColorCycling* MakeWith(const ColorCyclingParams& record, HostSurface& src, HostSurface& dst) {
        return EffectTest::MakeWith<ColorCycling>(record, src, dst);
    }
};

TEST_F(Cycling, RecordsBecomePeriodsParametersAndStyles) {
    HostSurface s(2, 2, kFormatXrgb);
    ColorCycling* slow = Make("RGB Cycling Slow", s);
    EXPECT_EQ((std::array{slow->periodRed, slow->periodGreen, slow->periodBlue}), (std::array{2000, 3500, 4100}));
    EXPECT_EQ((std::array{slow->parameterRed, slow->parameterGreen, slow->parameterBlue}), (std::array{0, 1, 2}));
    EXPECT_EQ(slow->style, kCycleBounce);
    ColorCycling* fast = Make("RGB Cycling Fast", s);
    EXPECT_EQ((std::array{fast->periodRed, fast->periodGreen, fast->periodBlue}), (std::array{1000, 1000, 1000}));
    EXPECT_EQ(fast->style, kCycleWrap);
    EXPECT_EQ(fast->stepX, 0x10000);
    entry::DestroyEffect(slow);
    entry::DestroyEffect(fast);

    ColorCyclingParams record{};
    ColorCycling* defaults = MakeWith(record, s, s);
    EXPECT_EQ((std::array{defaults->periodRed, defaults->periodGreen, defaults->periodBlue}),
              (std::array{1000, 2000, 4000}));
    EXPECT_EQ(defaults->parameterRed, -1);
    entry::DestroyEffect(defaults);
    // Bit 0 alone: scale. Without the master switches no channel has a time
    // term or a parameter.
    record.secondsRed = 1.0f;
    record.useTimeRed = 1;
    record.flags = kCycleFlagScale | kCycleFlagRed;
    ColorCycling* off = MakeWith(record, s, s);
    EXPECT_EQ(off->style, kCycleScale);
    EXPECT_EQ(off->periodRed, 0);
    EXPECT_EQ(off->parameterRed, -1);
    entry::DestroyEffect(off);
}

TEST_F(Cycling, FirstFrameOfFastClearsTheTopByteOnly) {
    HostSurface src(4, 2, kFormatXrgb), dst(4, 2, kFormatXrgb);
    src.fill(0xAB123456);
    ColorCycling* effect = Make("RGB Cycling Fast", src, &dst);
    Render(effect, {0, 0, 0, 0}, 777);
    EXPECT_EQ(dst.pixel(3, 1), 0x00123456u);
    // 500 ms on, red (host value 128) is 127 and gains 254; green and blue
    // are 64 from time alone and gain 128.
    Render(effect, {128, 0, 0, 0}, 777 + 500);
    EXPECT_EQ(dst.pixel(3, 1), 0x0010B4D6u);
    entry::DestroyEffect(effect);
}

TEST_F(Cycling, OddWidthDriftsOnePixelARow) {
    // Width 5: four pixels a row, each row one pixel before its place; the
    // last pixel of the last row is never written.
    HostSurface src(5, 3, kFormatXrgb), dst(5, 3, kFormatXrgb);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) src.setPixel(x, y, 0x00010000u * y + x);
    dst.fill(0xEEEEEEEE);
    ColorCycling* effect = Make("RGB Cycling Fast", src, &dst);
    Render(effect, {0, 0, 0, 0}, 0);
    std::vector<uint32_t> out;
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) out.push_back(dst.pixel(x, y));
    EXPECT_EQ(out, (std::vector<uint32_t>{0x00000, 0x00001, 0x00002, 0x00003, 0x10000,  //
                                          0x10001, 0x10002, 0x10003, 0x20000, 0x20001,  //
                                          0x20002, 0x20003, 0xEEEEEEEE, 0xEEEEEEEE, 0xEEEEEEEE}));
    entry::DestroyEffect(effect);
}

TEST_F(Cycling, LargerSourceIsSampledWithoutAveraging) {
    for (int32_t format : {kFormatXrgb, kFormat555}) {
        HostSurface src(8, 6, format), dst(4, 3, format);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 8; ++x) src.setPixel(x, y, (y << 5 | x) & 0x3FF);
        ColorCycling* effect = Make("RGB Cycling Fast", src, &dst);
        EXPECT_EQ(effect->stepX, 0x20000);
        Render(effect, {0, 0, 0, 0}, 0);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x) EXPECT_EQ(dst.pixel(x, y), src.pixel(2 * x, 2 * y)) << x << "," << y;
        entry::DestroyEffect(effect);
    }
}

TEST_F(Cycling, SixteenBitFieldsAndTheBitsTheyDrop) {
    // Copied channels still lose bit 15 of 5-5-5 and the lowest green bit of
    // 5-6-5.
    ColorCyclingParams copy{};
    copy.flags = kCycleFlagTime | kCycleFlagParams;  // no channel has anything
    copy.useTimeRed = 0;
    copy.secondsRed = 1.0f;
    for (int32_t format : {kFormat555, kFormat565}) {
        HostSurface src(2, 1, format), dst(2, 1, format);
        src.fill(0xFFFF);
        ColorCycling* effect = MakeWith(copy, src, dst);
        Render(effect, {0, 0, 0, 0}, 0);
        EXPECT_EQ(dst.pixel(1, 0), format == kFormat555 ? 0x7FFFu : 0xFFDFu);
        entry::DestroyEffect(effect);
    }
    // Fast at 5-6-5, 500 ms on: red 127 adds 31 and wraps 31 to 30; green
    // and blue are 64 from time and add 16.
    HostSurface src(2, 1, kFormat565), dst(2, 1, kFormat565);
    src.fill(31u << 11 | 2u << 5 | 3u);  // green's six bits 2: five-bit field 1
    ColorCycling* fast = Make("RGB Cycling Fast", src, &dst);
    Render(fast, {0, 0, 0, 0}, 0);
    Render(fast, {128, 0, 0, 0}, 500);
    EXPECT_EQ(dst.pixel(0, 0), 30u << 11 | 17u << 6 | 19u);
    entry::DestroyEffect(fast);
}

TEST_F(Cycling, NotReadyInstancesDrawNothing) {
    HostSurface src(4, 4, kFormat565), dst(4, 4, kFormatXrgb);
    dst.fill(0x00C0FFEE);
    ColorCycling* effect = Make("RGB Cycling Slow", src, &dst);
    EXPECT_FALSE(effect->IsReady());
    Render(effect, {10, 20, 30, 0}, 0);
    Render(effect, {10, 20, 30, 0}, 40);
    EXPECT_EQ(dst.pixel(3, 3), 0x00C0FFEEu);
    entry::DestroyEffect(effect);
}

}  // namespace
