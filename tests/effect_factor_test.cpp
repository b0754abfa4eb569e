// Effect factors: the host-value rule, the triangle and sawtooth waves, and
// the two ways of reading the clock.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "render/effect_factor.h"

namespace {

// Each test starts from an empty frame record and leaves the old one behind.
class EffectFactor : public ::testing::Test {
protected:
    void SetUp() override {
        saved = g_frame;
        g_frame = FrameParams{};
    }
    void TearDown() override { g_frame = saved; }

    FrameParams saved{};
};

// Records the argument of each ValueAt call made through the virtual slot.
template <class Base>
struct ValueAtProbe : Base {
    using Base::Base;
    double ValueAt(uint32_t t) override {
        seen.push_back(t);
        return 42.0;
    }
    std::vector<uint32_t> seen;
};

TEST_F(EffectFactor, MidiFollowsTheHostValueWithoutClamp) {
    CMidiEffectFactor grid(0.0, 1024.0, 2);
    auto at = [&](int16_t v) {
        g_frame.params[2] = v;
        return grid.GetValue();
    };
    EXPECT_EQ(at(0), 0.0);
    EXPECT_EQ(at(255), 1024.0);
    EXPECT_EQ(at(128), 1024.0 * 128.0 / 255.0);
    EXPECT_NEAR(at(128), 514.008, 0.0005);
    EXPECT_EQ(at(-255), -1024.0);
    EXPECT_EQ(at(510), 2048.0);
    EXPECT_EQ(at(-32768), -32768.0 * 1024.0 / 255.0);

    // A range that does not start at 0: (max - min) * v / 255 + min.
    CMidiEffectFactor scale(-2.0, 2.0, 15);
    g_frame.params[15] = 0;
    EXPECT_EQ(scale.GetValue(), -2.0);
    g_frame.params[15] = 255;
    EXPECT_EQ(scale.GetValue(), 2.0);
    g_frame.params[15] = 128;
    EXPECT_EQ(scale.GetValue(), 4.0 * 128.0 / 255.0 + -2.0);
}

TEST_F(EffectFactor, MidiIndexOutsideTheRecordReadsZero) {
    for (int16_t& p : g_frame.params) p = 255;
    for (int32_t index : {16, -1, 1000, INT32_MIN}) {
        CMidiEffectFactor f(5.0, 9.0, index);
        EXPECT_EQ(f.GetValue(), 5.0) << index;
    }
    CMidiEffectFactor last(5.0, 9.0, 15);
    EXPECT_EQ(last.GetValue(), 9.0);
}

TEST_F(EffectFactor, TriangleWave) {
    CTimeEffectFactor f(0.0, 1.0, 3000, 6000, 0);
    EXPECT_EQ(f.ValueAt(0), 0.0);
    EXPECT_EQ(f.ValueAt(1500), 0.5);
    EXPECT_EQ(f.ValueAt(3000), 1.0);
    EXPECT_EQ(f.ValueAt(3001), 2999.0 / 3000.0);
    EXPECT_EQ(f.ValueAt(5999), 1.0 / 3000.0);
    EXPECT_EQ(f.ValueAt(6000), 0.0);
    EXPECT_EQ(f.ValueAt(7500), 0.5);
}

TEST_F(EffectFactor, SawtoothAndZeroPeriod) {
    CTimeEffectFactor saw(0.0, 1.0, 0, 1000, 0);
    EXPECT_EQ(saw.ValueAt(0), 0.0);
    EXPECT_EQ(saw.ValueAt(500), 0.5);
    EXPECT_EQ(saw.ValueAt(999), 999.0 / 1000.0);
    EXPECT_EQ(saw.ValueAt(1000), 0.0);
    CTimeEffectFactor shifted(10.0, 20.0, 0, 1000, 0);
    EXPECT_EQ(shifted.ValueAt(2250), 12.5);

    // A period of 0 (a grid cycle of 0) holds the minimum, half period or not.
    for (uint32_t half : {0u, 5u}) {
        CTimeEffectFactor flat(3.0, 4.0, half, 0, 0);
        for (uint32_t t : {0u, 1u, 5u, 0xFFFFFFFFu}) EXPECT_EQ(flat.ValueAt(t), 3.0) << t;
    }
}

TEST_F(EffectFactor, PhaseIsAddedWithWrap) {
    CTimeEffectFactor f(0.0, 1.0, 3000, 6000, 0);
    f.phase = 100;
    EXPECT_EQ(f.ValueAt(1400), 0.5);
    f.phase = 0xFFFFFFFFu;
    EXPECT_EQ(f.ValueAt(1), 0.0);
    // 0xFFFFFF00 + 0x200 wraps to 256; unwrapped it would be 4294967552 % 6000 = 5552.
    f.phase = 0xFFFFFF00u;
    EXPECT_EQ(f.ValueAt(0x200), 256.0 / 3000.0);
}

TEST_F(EffectFactor, TimeFactorMeasuresFromItsFixedMark) {
    const uint32_t mark = 0xFFFFFF38u;  // 200 ms before the clock wraps
    CTimeEffectFactor f(0.0, 1.0, 3000, 6000, mark);
    g_frame.time = 1300;  // 1500 ms after the mark
    EXPECT_EQ(f.GetValue(), 0.5);
    EXPECT_EQ(f.GetValue(), 0.5);
    EXPECT_EQ(f.timeMark, mark);
    g_frame.time = mark + 3000u;
    EXPECT_EQ(f.GetValue(), 1.0);
    // A frame time just before the mark is an elapsed time of 2^32 - 1:
    // 4294967295 % 6000 = 5295, mirrored to 705.
    g_frame.time = mark - 1u;
    EXPECT_EQ(f.GetValue(), 705.0 / 3000.0);

    ValueAtProbe<CTimeEffectFactor> probe(0.0, 1.0, 3000, 6000, mark);
    g_frame.time = 1300;
    EXPECT_EQ(probe.GetValue(), 42.0);
    EXPECT_EQ(probe.seen, (std::vector<uint32_t>{1500}));
}

TEST_F(EffectFactor, TimeFactor2ReadsMarkMinusNowAndMovesTheMark) {
    ValueAtProbe<CTimeEffectFactor2> probe(0.0, 1.0, 3000, 6000, 5000);
    g_frame.time = 3500;
    EXPECT_EQ(probe.GetValue(), 42.0);
    EXPECT_EQ(probe.timeMark, 3500u);
    g_frame.time = 4000;
    probe.GetValue();
    g_frame.time = 4000;
    probe.GetValue();
    EXPECT_EQ(probe.seen, (std::vector<uint32_t>{1500, 0xFFFFFE0Cu, 0}));  // 3500 - 4000 wraps
    EXPECT_EQ(probe.timeMark, 4000u);

    // The same readings through the real wave: 1500 gives the middle, and
    // -500 (4294966796 % 6000 = 4796, mirrored to 1204) another point.
    CTimeEffectFactor2 f(0.0, 1.0, 3000, 6000, 5000);
    g_frame.time = 3500;
    EXPECT_EQ(f.GetValue(), 0.5);
    g_frame.time = 4000;
    EXPECT_EQ(f.GetValue(), 1204.0 / 3000.0);
    EXPECT_EQ(f.GetValue(), 0.0);
}

}  // namespace
