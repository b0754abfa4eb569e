// The pieces of the kaleidoscopes: the construction record, what the
// constructor makes of it, the matrix operations, the span painter against
// a plain per-pixel reference, the mirror copies, and the span tables.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <numbers>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "effect_fixture.h"
#include "geometry/affine_matrix.h"
#include "geometry/hexagon_kaleido.h"
#include "geometry/kaleido_base.h"
#include "geometry/pixel_mirrors.h"
#include "geometry/square_kaleido.h"
#include "geometry/triangle_kaleido.h"
#include "kernel_support.h"
#include "shell/numeric.h"

namespace {

constexpr double kRotationLimit = 3.1415926535898;
constexpr double kTiltLimit = 0.6283185307179601;

// ---------------------------------------------------------------------------
// The record

using RecordBytes = std::array<uint8_t, sizeof(KaleidoParamRecord)>;

RecordBytes BytesOf(const KaleidoParamRecord& r) {
    RecordBytes b;
    std::memcpy(b.data(), &r, b.size());
    return b;
}

void Put16(RecordBytes& b, size_t at, int16_t v) {
    b[at] = static_cast<uint8_t>(v);
    b[at + 1] = static_cast<uint8_t>(static_cast<uint16_t>(v) >> 8);
}

// The normalised zero record, byte by byte.
RecordBytes DefaultBytes() {
    RecordBytes b{};
    b[9] = 100;  // GridPercent
    b[11] = 4;   // GridMode
    b[12] = 3;
    Put16(b, 16, 3000);  // RotationCycle
    Put16(b, 18, 7);     // RotationChannel
    Put16(b, 24, 7);     // GridChannel
    b[26] = 0x80;
    Put16(b, 30, 2000);  // GridCycle
    Put16(b, 34, 100);   // ScalePercent
    return b;
}

KaleidoParamRecord Normalised() {
    KaleidoParamRecord r{};
    NormalizeKaleidoParams(&r);
    return r;
}

TEST(KaleidoRecord, ZeroRecordGetsEveryDefault) {
    static_assert(sizeof(KaleidoParamRecord) == 52);
    EXPECT_EQ(BytesOf(Normalised()), DefaultBytes());

    // The leading eight bytes neither count nor change.
    KaleidoParamRecord r{};
    std::memset(r.reserved0, 0xFF, sizeof r.reserved0);
    NormalizeKaleidoParams(&r);
    RecordBytes expected = DefaultBytes();
    std::fill_n(expected.begin(), 8, 0xFF);
    EXPECT_EQ(BytesOf(r), expected);
}

TEST(KaleidoRecord, AnyLaterByteKeepsTheRecordAsItIs) {
    for (size_t at = 8; at < sizeof(KaleidoParamRecord); ++at) {
        SCOPED_TRACE(at);
        KaleidoParamRecord r{};
        reinterpret_cast<uint8_t*>(&r)[at] = 1;
        NormalizeKaleidoParams(&r);
        EXPECT_EQ(r.RotationCycle, at == 16 ? 1 : at == 17 ? 256 : 0);
        EXPECT_EQ(r.reserved12, at == 12 ? 1 : 0);
        EXPECT_EQ(r.flags, at == 26 ? 1 : 0);
        // Only the clamps act.
        EXPECT_EQ(r.GridPercent, 25);
        EXPECT_EQ(r.ScalePercent, at == 35 ? 256 : 25);
        EXPECT_EQ(r.Tilt, at == 51 ? 100 : at == 50 ? 1 : 0);
    }
}

TEST(KaleidoRecord, ClampsCompareWithSign) {
    // GridPercent, ScalePercent, Tilt, OffsetX, OffsetY in and out.
    using Five = std::array<int, 5>;
    auto normalise = [](Five in) {
        KaleidoParamRecord r{};
        r.RotationCycle = -7;
        r.GridChannel = 99;
        r.GridPercent = static_cast<uint8_t>(in[0]);
        r.ScalePercent = static_cast<int16_t>(in[1]);
        r.Tilt = static_cast<int16_t>(in[2]);
        r.OffsetX = static_cast<int16_t>(in[3]);
        r.OffsetY = static_cast<int16_t>(in[4]);
        NormalizeKaleidoParams(&r);
        EXPECT_EQ(r.RotationCycle, -7);
        EXPECT_EQ(r.GridChannel, 99);
        return Five{r.GridPercent, r.ScalePercent, r.Tilt, r.OffsetX, r.OffsetY};
    };
    EXPECT_EQ(normalise({0, -5, -32768, -101, 32767}), (Five{25, 25, -100, -100, 100}));
    EXPECT_EQ(normalise({255, 1000, 32767, 101, -32768}), (Five{100, 400, 100, 100, -100}));
    EXPECT_EQ(normalise({24, -32768, -101, -100, 100}), (Five{25, 25, -100, -100, 100}));
    EXPECT_EQ(normalise({101, 401, 50, -50, 7}), (Five{100, 400, 50, -50, 7}));
    EXPECT_EQ(normalise({25, 25, 100, 0, -1}), (Five{25, 25, 100, 0, -1}));
    EXPECT_EQ(normalise({100, 400, -100, 100, -100}), (Five{100, 400, -100, 100, -100}));
}

TEST(KaleidoRecord, StaticRecordFollowsTheFirstFourHostValues) {
    KaleidoParamRecord r = Normalised();
    MakeStaticKaleidoRecord(&r);
    RecordBytes expected = DefaultBytes();
    Put16(expected, 18, 0);  // RotationChannel
    expected[27] = 1;        // RotationMode
    Put16(expected, 24, 1);  // GridChannel
    expected[11] = 2;        // GridMode
    expected[46] = 1;        // ScaleMode
    Put16(expected, 32, 2);  // ScaleChannel
    expected[48] = 1;        // TiltMode
    Put16(expected, 36, 3);  // TiltChannel
    EXPECT_EQ(BytesOf(r), expected);
}

// ---------------------------------------------------------------------------
// Construction on real surfaces

void ExpectConstant(CEffectFactor* f, double value) {
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(typeid(*f), typeid(CConstantEffectFactor));
    EXPECT_EQ(static_cast<CConstantEffectFactor*>(f)->value, value);
}

void ExpectMidi(CEffectFactor* f, double lo, double hi, int32_t index) {
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(typeid(*f), typeid(CMidiEffectFactor));
    auto* m = static_cast<CMidiEffectFactor*>(f);
    EXPECT_EQ(m->frame, &g_frame);
    EXPECT_EQ(m->minimum, lo);
    EXPECT_EQ(m->maximum, hi);
    EXPECT_EQ(m->paramIndex, index);
}

void ExpectWave(CEffectFactor* f, double lo, double hi, uint32_t half, uint32_t mark) {
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(typeid(*f), typeid(CTimeEffectFactor));
    auto* t = static_cast<CTimeEffectFactor*>(f);
    EXPECT_EQ(t->frame, &g_frame);
    EXPECT_EQ(t->minimum, lo);
    EXPECT_EQ(t->maximum, hi);
    EXPECT_EQ(t->phase, 0u);
    EXPECT_EQ(t->halfPeriod, half);
    EXPECT_EQ(t->period, 2 * half);
    EXPECT_EQ(t->timeMark, mark);
}

void ExpectNoFactors(const CKaleido2Base& k) {
    for (CEffectFactor* f : {k.GridFactor, k.RotationFactor, k.ScaleFactor, k.TiltFactor, k.OffsetXFactor,
                             k.OffsetYFactor})
        EXPECT_EQ(f, nullptr);
    EXPECT_EQ(k.RowOffsets, nullptr);
    EXPECT_FALSE(k.RowTableReady);
}

class Kaleido : public EffectTest {
protected:
    void SetUp() override {
        EffectTest::SetUp();
        saved = g_frame;
        g_frame.time = 0;
        for (int16_t& p : g_frame.params) p = 0;
    }
    void TearDown() override {
        g_frame = saved;
        EffectTest::TearDown();
    }

    template <class Shape>
    static std::unique_ptr<Shape> Build(KaleidoParamRecord& record, HostSurface& out, Surface* src) {
        g_frame.source = src;
        g_frame.destination = out.get();
        return std::unique_ptr<Shape>(static_cast<Shape*>(NewZeroedEffect<Shape>(&record)));
    }
    // An instance on a fresh 32-bit output of W by H over the 7 by 5 source.
    template <class Shape>
    std::unique_ptr<Shape> Build(KaleidoParamRecord& record, int W = 40, int H = 30) {
        outputs.emplace_back(W, H, kFormatXrgb);
        return Build<Shape>(record, outputs.back(), source.get());
    }
    // The span table of a shape on a W by H output for n tile rows and w
    // tile columns.
    template <class Shape>
    std::unique_ptr<Shape> Table(int W, int H, int n, int w) {
        KaleidoParamRecord r = Normalised();
        auto k = Build<Shape>(r, W, H);
        k->TileRows = n;
        k->TileColumns = w;
        k->BuildSpanTable();
        return k;
    }

    HostSurface source{7, 5, kFormatXrgb, 40};
    std::deque<HostSurface> outputs;
    FrameParams saved{};
};

TEST_F(Kaleido, GridPresetsAreWrittenBackIntoTheRecord) {
    struct Preset {
        uint8_t mode, percent;
        int32_t level;
        double grid;
    };
    for (Preset p : {Preset{0, 100, 127, 1024.0}, Preset{1, 75, 84, 677.0}, Preset{3, 50, 42, 338.0}}) {
        SCOPED_TRACE(int{p.mode});
        KaleidoParamRecord r = Normalised();
        r.GridMode = p.mode;
        r.GridPercent = 30;
        auto k = Build<CSquareKaleido>(r);
        EXPECT_EQ(r.GridMode, 6);
        EXPECT_EQ(r.GridPercent, p.percent);
        EXPECT_EQ(k->GridMode, 6);
        EXPECT_EQ(k->GridLevel, p.level);
        ExpectConstant(k->GridFactor, p.grid);
    }
    // Other modes are left, and read unsigned.
    for (uint8_t mode : {2, 4, 5, 6, 255}) {
        SCOPED_TRACE(int{mode});
        KaleidoParamRecord r = Normalised();
        r.GridMode = mode;
        r.GridPercent = 30;
        auto k = Build<CSquareKaleido>(r);
        EXPECT_EQ(r.GridMode, mode);
        EXPECT_EQ(r.GridPercent, 30);
        EXPECT_EQ(k->GridMode, mode);
        EXPECT_EQ(k->GridLevel, 8);  // 5 * 127 / 75
    }
}

TEST_F(Kaleido, GridLevelAndTheConstantGrid) {
    struct Level {
        int percent, level;
        double grid;  // (level << 10) / 127
    };
    // Percentages outside 25-100 in a record the normaliser did not see are
    // clamped again, and the record keeps them.
    for (Level l : {Level{25, 0, 0.0}, Level{50, 42, 338.0}, Level{75, 84, 677.0}, Level{100, 127, 1024.0},
                    Level{26, 1, 8.0}, Level{99, 125, 1007.0}, Level{0, 0, 0.0}, Level{24, 0, 0.0},
                    Level{101, 127, 1024.0}, Level{255, 127, 1024.0}}) {
        SCOPED_TRACE(l.percent);
        KaleidoParamRecord r = Normalised();
        r.GridMode = 5;
        r.GridPercent = static_cast<uint8_t>(l.percent);
        auto k = Build<CHexagonKaleido>(r);
        EXPECT_EQ(k->GridLevel, l.level);
        ExpectConstant(k->GridFactor, l.grid);
        EXPECT_EQ(r.GridPercent, l.percent);
    }
}

TEST_F(Kaleido, CyclicRecordSweepsFromTheLastFrameTime) {
    g_frame.time = 0xFFFFFF00u;
    KaleidoParamRecord r = Normalised();
    auto k = Build<CTriangleKaleido>(r);
    ASSERT_TRUE(k->IsReady());
    ExpectWave(k->RotationFactor, -kRotationLimit, kRotationLimit, 3000, 0xFFFFFF00u);
    ExpectWave(k->GridFactor, 0.0, 1024.0, 2000, 0xFFFFFF00u);
    ExpectConstant(k->ScaleFactor, 0.0);
    ExpectConstant(k->TiltFactor, 0.0);
    ExpectConstant(k->OffsetXFactor, 3.0);  // (7 >> 1) * (0 + 1): the source's centre
    ExpectConstant(k->OffsetYFactor, 2.0);
    // 1000 ms later, past the clock's wrap: half way up the grid sweep.
    g_frame.time = 0xFFFFFF00u + 1000u;
    EXPECT_EQ(k->GridFactor->GetValue(), 512.0);
    EXPECT_EQ(k->RotationFactor->GetValue(), 2 * kRotationLimit * 1000.0 / 3000.0 - kRotationLimit);
}

TEST_F(Kaleido, StaticRecordFollowsTheHostValues) {
    KaleidoParamRecord r = Normalised();
    MakeStaticKaleidoRecord(&r);
    auto k = Build<CLozengeKaleido>(r);
    ASSERT_TRUE(k->IsReady());
    ExpectMidi(k->RotationFactor, -kRotationLimit, kRotationLimit, 0);
    ExpectMidi(k->GridFactor, 0.0, 1024.0, 1);
    ExpectMidi(k->ScaleFactor, -2.0, 2.0, 2);
    ExpectMidi(k->TiltFactor, -kTiltLimit, kTiltLimit, 3);
    ExpectConstant(k->OffsetXFactor, 3.0);
    ExpectConstant(k->OffsetYFactor, 2.0);

    // Rotation, grid, scale exponent and tilt at the host values 0, 128, 255.
    const double table[3][4] = {{-3.14159, 0.0, -2.0, -0.62832},
                                {0.01232, 514.008, 0.00784, 0.00246},
                                {3.14159, 1024.0, 2.0, 0.62832}};
    const int16_t values[3] = {0, 128, 255};
    for (int row = 0; row < 3; ++row) {
        for (int slot = 0; slot < 4; ++slot) g_frame.params[slot] = values[row];
        EXPECT_NEAR(k->RotationFactor->GetValue(), table[row][0], 1e-5);
        EXPECT_NEAR(k->GridFactor->GetValue(), table[row][1], 1e-3);
        EXPECT_NEAR(k->ScaleFactor->GetValue(), table[row][2], 1e-5);
        EXPECT_NEAR(k->TiltFactor->GetValue(), table[row][3], 1e-5);
    }
}

TEST_F(Kaleido, FactorKindsFollowTheModes) {
    g_frame.time = 777;
    KaleidoParamRecord r = Normalised();
    r.RotationCycle = 0;  // time mode without a cycle: a steady angle 0
    r.GridCycle = 0;      // a wave of period 0: the grid's minimum
    r.ScalePercent = 150;
    r.Tilt = -50;
    r.OffsetX = 3;
    r.OffsetY = -100;
    auto k = Build<CSquareKaleido>(r);
    ASSERT_TRUE(k->IsReady());
    ExpectConstant(k->RotationFactor, 0.0);
    ExpectWave(k->GridFactor, 0.0, 1024.0, 0, 777);
    g_frame.time = 5000;
    EXPECT_EQ(k->GridFactor->GetValue(), 0.0);
    ExpectConstant(k->ScaleFactor, std::log(1.5) / std::log(2.0));
    ExpectConstant(k->TiltFactor, -50 * kTiltLimit / 100.0);
    ExpectConstant(k->OffsetXFactor, 12.0);    // 3 * (3 + 1)
    ExpectConstant(k->OffsetYFactor, -198.0);  // 2 * (-100 + 1)
    EXPECT_EQ(k->Tilt, -50);
    EXPECT_EQ(k->OffsetY, -100);

    KaleidoParamRecord v = Normalised();
    v.RotationMode = -1;  // any mode but 1 is the time sweep
    v.RotationCycle = 500;
    v.ScalePercent = 25;
    v.TiltMode = 1;
    v.TiltChannel = 9;
    v.OffsetMode = 1;
    v.OffsetXChannel = 5;
    v.OffsetYChannel = 6;
    auto l = Build<CSquareKaleido>(v);
    ASSERT_TRUE(l->IsReady());
    EXPECT_EQ(l->RotationMode, -1);
    ExpectWave(l->RotationFactor, -kRotationLimit, kRotationLimit, 500, 5000);
    ASSERT_NE(l->ScaleFactor, nullptr);
    ASSERT_EQ(typeid(*l->ScaleFactor), typeid(CConstantEffectFactor));
    EXPECT_DOUBLE_EQ(static_cast<CConstantEffectFactor*>(l->ScaleFactor)->value, -2.0);  // log 0.25 / log 2
    ExpectMidi(l->TiltFactor, -kTiltLimit, kTiltLimit, 9);
    ExpectMidi(l->OffsetXFactor, 0.0, 6.0, 5);  // up to SW - 1
    ExpectMidi(l->OffsetYFactor, 0.0, 4.0, 6);

    // The host value wins over a cycle.
    KaleidoParamRecord h = Normalised();
    h.RotationMode = 1;
    h.RotationChannel = 12;
    ExpectMidi(Build<CSquareKaleido>(h)->RotationFactor, -kRotationLimit, kRotationLimit, 12);
}

TEST_F(Kaleido, NotReadyInstances) {
    HostSurface out(40, 30, kFormatXrgb);
    // No source: the presets are still resolved, but nothing else is made.
    KaleidoParamRecord r = Normalised();
    r.GridMode = 1;
    auto none = Build<CHexagonKaleido>(r, out, nullptr);
    EXPECT_FALSE(none->IsReady());
    EXPECT_EQ(r.GridPercent, 75);
    EXPECT_EQ(none->GridLevel, 84);
    ExpectNoFactors(*none);

    // A 16-bit source for a 32-bit output.
    HostSurface src16(7, 5, kFormat565);
    KaleidoParamRecord d = Normalised();
    auto mixed = Build<CTriangleKaleido>(d, out, src16.get());
    EXPECT_FALSE(mixed->IsReady());
    ExpectNoFactors(*mixed);

    // ScaleMode 2 makes no scale factor, and without it no row table.
    KaleidoParamRecord s = Normalised();
    s.ScaleMode = 2;
    auto noScale = Build<CSquareKaleido>(s, out, source.get());
    EXPECT_FALSE(noScale->IsReady());
    EXPECT_EQ(noScale->ScaleFactor, nullptr);
    EXPECT_NE(noScale->RotationFactor, nullptr);
    EXPECT_NE(noScale->GridFactor, nullptr);
    EXPECT_NE(noScale->TiltFactor, nullptr);
    EXPECT_EQ(noScale->RowOffsets, nullptr);
    EXPECT_FALSE(noScale->RowTableReady);
}

TEST_F(Kaleido, TileExtentOfEachShape) {
    struct Output {
        int W, H;
        double triangle, square, lozenge;
    };
    // Triangles: W>>1 when W >= H s, else (W>>1) / 2 + (H>>1) s / 2.
    for (Output o : {Output{41, 10, 20.0, 20.0, 25.0}, Output{18, 10, 9.0, 9.0, 14.0},
                     Output{17, 10, 4.0 + 2.5 * kRootThree, 8.0, 13.0},
                     Output{20, 31, 5.0 + 7.5 * kRootThree, 15.0, 25.0}}) {
        SCOPED_TRACE(std::to_string(o.W) + "x" + std::to_string(o.H));
        KaleidoParamRecord r = Normalised();
        EXPECT_NEAR(Build<CTriangleKaleido>(r, o.W, o.H)->TileExtent, o.triangle, 1e-12);
        EXPECT_NEAR(Build<CHexagonKaleido>(r, o.W, o.H)->TileExtent, o.triangle, 1e-12);
        EXPECT_EQ(Build<CSquareKaleido>(r, o.W, o.H)->TileExtent, o.square);
        EXPECT_EQ(Build<CLozengeKaleido>(r, o.W, o.H)->TileExtent, o.lozenge);
    }
}

// ---------------------------------------------------------------------------
// Matrix operations

void ExpectMatrix(const AffineMatrix& m, std::array<double, 6> want, double tolerance = 0.0) {
    const std::array<double, 6> got{m.a, m.b, m.c, m.d, m.e, m.f};
    for (int i = 0; i < 6; ++i) {
        if (tolerance == 0.0)
            EXPECT_EQ(got[i], want[i]) << "number " << i;
        else
            EXPECT_NEAR(got[i], want[i], tolerance) << "number " << i;
    }
}

TEST(AffineMatrixOps, ScaleRotateConcat) {
    const AffineMatrix m{1, 2, 3, 4, 5, 6};
    AffineMatrix s = m;
    ScaleUniform(s, 0.5);
    ExpectMatrix(s, {0.5, 1, 1.5, 2, 2.5, 3});
    s = m;
    ScaleAxes(s, 2, -3);
    ExpectMatrix(s, {2, -6, 6, -12, 10, -18});

    // Rotation turns each pair: (p cos t - q sin t, p sin t + q cos t).
    AffineMatrix r{1, 0, 0, 1, 2, 0};
    Rotate(r, 0.7);
    ExpectMatrix(r, {std::cos(0.7), std::sin(0.7), -std::sin(0.7), std::cos(0.7), 2 * std::cos(0.7),
                     2 * std::sin(0.7)});
    r = m;
    Rotate(r, std::numbers::pi / 2);
    ExpectMatrix(r, {-2, 1, -4, 3, -6, 5}, 1e-14);
    r = m;
    Rotate(r, 0.0);
    ExpectMatrix(r, {1, 2, 3, 4, 5, 6});
    // The quarter turn of the square cells leaves tiny terms behind.
    AffineMatrix q = kUnitMatrix;
    Rotate(q, 1.5707963267949);
    EXPECT_NE(q.a, 0.0);
    EXPECT_LT(std::abs(q.a), 1e-12);

    // t after m.
    AffineMatrix c = m;
    Concat(c, AffineMatrix{7, 8, 9, 10, 11, 12});
    ExpectMatrix(c, {25, 28, 57, 64, 100, 112});
}

TEST(AffineMatrixOps, StretchDiagonalActsAlongTheDiagonals) {
    auto stretch = [](double tilt) {
        AffineMatrix m = kUnitMatrix;
        StretchDiagonal(m, tilt);
        return m;
    };
    // At 0 both factors are 2 sin(pi/4).
    ExpectMatrix(stretch(0.0), {1.4142135623731, 0, 0, 1.4142135623731, 0, 0}, 1e-12);
    AffineMatrix m{1, 2, 3, 4, 5, 6};
    StretchDiagonal(m, 0.0);
    ExpectMatrix(m, {1.4142135623731, 2.8284271247462, 4.2426406871193, 5.6568542494924, 7.0710678118655,
                     8.4852813742386},
                 1e-11);

    // At the limits (1, 1) and (1, -1) keep their directions, stretched by
    // 0.31287 and 1.97538, or the other way round for a negative tilt.
    struct Limit {
        double tilt, alongMain, alongAnti;
    };
    for (Limit l : {Limit{kTiltLimit, 0.31287, 1.97538}, Limit{-kTiltLimit, 1.97538, 0.31287}}) {
        const AffineMatrix s = stretch(l.tilt);
        EXPECT_NEAR(s.a + s.c, l.alongMain, 1e-5);  // image of (1, 1)
        EXPECT_NEAR(s.b + s.d, l.alongMain, 1e-5);
        EXPECT_NEAR(s.a - s.c, l.alongAnti, 1e-5);  // image of (1, -1)
        EXPECT_NEAR(s.b - s.d, -l.alongAnti, 1e-5);
        EXPECT_EQ(s.e, 0.0);
        EXPECT_EQ(s.f, 0.0);
    }
}

// ---------------------------------------------------------------------------
// The span painter

// A source of distinct pixels in padded rows; padding bytes are 0xEE.
struct PaintSource {
    PaintSource(int w, int h, int bpp, int padBytes)
        : width(w), height(h), bytesPerPixel(bpp), rowBytes(w * bpp + padBytes),
          bytes(static_cast<size_t>(rowBytes) * h, 0xEE) {
        for (int r = 0; r < h; ++r) {
            rowOffsets.push_back(static_cast<uint32_t>(r * rowBytes));
            for (int x = 0; x < w; ++x) {
                const uint32_t label = Label(x, r);
                std::memcpy(&bytes[size_t(r) * rowBytes + size_t(x) * bpp], &label, bpp);
            }
        }
    }
    uint32_t Label(int x, int r) const {
        return bytesPerPixel == 4 ? 0xA5000000u | uint32_t(r) << 12 | uint32_t(x) : 0x8000u | r << 8 | x;
    }
    AffineSource view() const { return {bytes.data(), rowOffsets.data(), rowBytes, width, height, bytesPerPixel}; }

    int width, height, bytesPerPixel, rowBytes;
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> rowOffsets;
};

int64_t Reduce(int64_t v, int64_t period) {
    v %= period;
    return v < 0 ? v + period : v;
}

// The per-pixel rule written out: pixel j of row i samples the 16.16 point
// reached j steps from the row's start point, reduced into the periods of
// two source widths and heights, mirrored at the right and bottom edges.
void ReferencePaint(const PaintSource& s, const AffineMatrix& m, uint8_t* row, ptrdiff_t step, int rows,
                    const SpanEntry* spans, int tileColumns, double xOffset, double yOffset) {
    const int64_t U = int64_t{s.width} << 17, V = int64_t{s.height} << 17;
    const int64_t du = Reduce(TruncToInt32(((m.a + m.c * 0.0 + m.e) - (m.a * 0.0 + m.c * 0.0 + m.e)) * 65536.0), U);
    const int64_t dv = Reduce(TruncToInt32(((m.b + m.d * 0.0 + m.f) - (m.b * 0.0 + m.d * 0.0 + m.f)) * 65536.0), V);
    for (int i = 0; i < rows; ++i) {
        const int start = spans ? spans[i].Start : 0, end = spans ? spans[i].End : tileColumns;
        if (end > tileColumns) return;
        const double X = start + xOffset, Y = i + yOffset;
        const int64_t u0 = Reduce(TruncToInt32((m.a * X + m.c * Y + m.e) * 65536.0), U);
        const int64_t v0 = Reduce(TruncToInt32((m.b * X + m.d * Y + m.f) * 65536.0), V);
        for (int j = 0; j < end - start; ++j) {
            int x = static_cast<int>(((u0 + j * du) % U) >> 16);
            int r = static_cast<int>(((v0 + j * dv) % V) >> 16);
            if (x >= s.width) x = 2 * s.width - x - 1;
            if (r >= s.height) r = 2 * s.height - r - 1;
            std::memcpy(row + i * step + (start + j) * s.bytesPerPixel,
                        &s.bytes[size_t(r) * s.rowBytes + size_t(x) * s.bytesPerPixel], s.bytesPerPixel);
        }
    }
}

// A painted band inside guard rows and columns, beside what the reference
// paints on the same memory.
struct Band {
    static constexpr int kGuard = 3;
    static constexpr uint8_t kMarker = 0x5A;

    int rows, bytesPerPixel;
    bool upward;
    ptrdiff_t stride;
    std::vector<uint8_t> actual, expected;

    size_t Offset(int i, int j) const {
        const int bufferRow = upward ? rows - i : 1 + i;
        return size_t(bufferRow) * stride + size_t(kGuard + j) * bytesPerPixel;
    }
    uint32_t At(int i, int j) const {
        uint32_t w = 0;
        std::memcpy(&w, &actual[Offset(i, j)], bytesPerPixel);
        return w;
    }
    // Empty when both agree, else where they first differ.
    std::string FirstDifference() const {
        for (size_t k = 0; k < actual.size(); ++k)
            if (actual[k] != expected[k]) {
                std::ostringstream out;
                out << "buffer row " << k / stride << ", byte " << k % stride << ": " << int{actual[k]}
                    << " instead of " << int{expected[k]};
                return out.str();
            }
        return {};
    }
};

Band PaintBand(const PaintSource& s, const AffineMatrix& m, const std::vector<SpanEntry>& spans, int rows,
               int tileColumns, bool upward, double xOffset, double yOffset, SimdLevel level) {
    const int bpp = s.bytesPerPixel;
    Band b{rows, bpp, upward, (tileColumns + 2 * Band::kGuard) * bpp + 5, {}, {}};
    b.actual.assign(size_t(rows + 2) * b.stride, Band::kMarker);
    b.expected = b.actual;
    const SpanEntry* table = spans.empty() ? nullptr : spans.data();
    const ptrdiff_t step = upward ? -b.stride : b.stride;
    ReferencePaint(s, m, &b.expected[b.Offset(0, 0)], step, rows, table, tileColumns, xOffset, yOffset);
    const SpanTarget target{&b.actual[b.Offset(0, 0)], step, rows, table, tileColumns};
    PaintAffineSpans(s.view(), m, target, xOffset, yOffset, level);
    return b;
}

std::string LevelName(SimdLevel l) { return "level " + std::to_string(static_cast<int>(l)); }

TEST(AffinePainter, EveryLevelPaintsThePerPixelRule) {
    const AffineMatrix matrices[] = {
        kUnitMatrix,
        {2, 0, 0, 2, 0, 0},
        {0.37, 0.81, -0.64, 0.29, 3.25, -2.5},        // turned and stretched
        {-1.3, 0.4, -0.2, -0.9, -5.5, 7.75},          // mirrored: steps backward
        {0.01, 0.003, -0.002, 0.02, 0.5, 0.5},        // many output pixels per source pixel
        {1000.5, -333.25, 77.0, 5000.0, 1e5, -2e5},   // many periods per output pixel
        {14.0, 10.0, 0.0, 0.0, 0.0, 0.0},             // a step of exactly one period
        {-7.0, 5.0, 3.0, -2.5, 0.0, 0.0},             // a step of one width: every pixel mirrored
        {3e5, -3e5, 1e-3, 0.0, 2e9, -2e9},            // points beyond 32 bits
    };
    const std::pair<double, double> offsets[] = {{0.0, 0.0}, {2.5, -11.0}};
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            const PaintSource s(7, 5, bpp, 6);
            for (const AffineMatrix& m : matrices)
                for (auto [xo, yo] : offsets)
                    for (bool upward : {false, true})
                        for (int len = 1; len <= 70; ++len) {
                            // Three runs of len pixels from different columns, then the
                            // same without spans.
                            const std::vector<SpanEntry> spans{
                                {0, int16_t(len)}, {5, int16_t(5 + len)}, {2, int16_t(2 + len)}};
                            const Band withSpans = PaintBand(s, m, spans, 3, len + 5, upward, xo, yo, level);
                            const Band plain = PaintBand(s, m, {}, 3, len, upward, xo, yo, level);
                            ASSERT_EQ(withSpans.FirstDifference(), "")
                                << LevelName(level) << ", " << bpp << " bytes, matrix " << (&m - matrices)
                                << ", offset " << xo << ", upward " << upward << ", length " << len;
                            ASSERT_EQ(plain.FirstDifference(), "")
                                << LevelName(level) << ", " << bpp << " bytes, matrix " << (&m - matrices)
                                << ", no spans, upward " << upward << ", length " << len;
                        }
        }
}

TEST(AffinePainter, ScaledByTwoAndMirroredPastTheEdges) {
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            SCOPED_TRACE(LevelName(level) + ", " + std::to_string(bpp) + " bytes");
            const PaintSource s(7, 5, bpp, 2);
            // Every other source pixel: columns 0 2 4 6, then 8 and on mirror
            // back (8 -> 5), and 14 starts the next period. Rows 0 2 4, then 6 -> 3.
            const int columns[10] = {0, 2, 4, 6, 5, 3, 1, 0, 2, 4};
            const int sourceRows[4] = {0, 2, 4, 3};
            const std::vector<SpanEntry> spans(4, SpanEntry{0, 10});
            const Band b = PaintBand(s, AffineMatrix{2, 0, 0, 2, 0, 0}, spans, 4, 10, false, 0.0, 0.0, level);
            for (int i = 0; i < 4; ++i)
                for (int j = 0; j < 10; ++j) EXPECT_EQ(b.At(i, j), s.Label(columns[j], sourceRows[i])) << i << "," << j;

            // Left of and above the source the picture mirrors too: x -2 and -1
            // read columns 1 and 0, y -1 reads row 0.
            const int shifted[9] = {1, 0, 0, 1, 2, 3, 4, 5, 6};
            const std::vector<SpanEntry> two(2, SpanEntry{0, 9});
            const Band c = PaintBand(s, AffineMatrix{1, 0, 0, 1, -2, -1}, two, 2, 9, true, 0.0, 0.0, level);
            for (int i = 0; i < 2; ++i)
                for (int j = 0; j < 9; ++j) EXPECT_EQ(c.At(i, j), s.Label(shifted[j], 0)) << i << "," << j;
            EXPECT_EQ(c.FirstDifference(), "");
        }
}

TEST(AffinePainter, SpanPastTheTileEndsTheCall) {
    const PaintSource s(7, 5, 4, 0);
    const AffineMatrix m{0.9, 0.2, -0.3, 1.1, 1.0, 2.0};
    // Row 1 ends on the tile's edge, row 2 runs backward and paints nothing,
    // row 4 reaches past the edge: rows 4 and 5 stay as they were.
    const std::vector<SpanEntry> spans{{0, 3}, {1, 4}, {3, 1}, {0, 4}, {0, 5}, {0, 2}};
    for (SimdLevel level : Levels()) {
        const Band b = PaintBand(s, m, spans, 6, 4, false, 0.0, 0.0, level);
        EXPECT_EQ(b.FirstDifference(), "") << LevelName(level);
        for (int i : {2, 4, 5})
            for (int j = 0; j < 4; ++j) EXPECT_EQ(b.At(i, j), 0x5A5A5A5Au) << i << "," << j;
        EXPECT_NE(b.At(1, 3), 0x5A5A5A5Au);
        EXPECT_NE(b.At(3, 3), 0x5A5A5A5Au);
    }
}

TEST(AffinePainter, LongRunsOverManyRowsPaintThePerPixelRule) {
    // Hundreds of rows of runs many registers long, each from its own column
    // and ending at its own lane, and one run past the tile that ends the call.
    const AffineMatrix matrices[] = {
        {0.84, 0.0, 0.0, 0.84, 3.0, 2.0},            // along the source's rows
        {0.42, 0.7275, -0.7275, 0.42, 40.5, 9.25},   // turned by 60 degrees
        {-0.42, 0.7275, -0.7275, -0.42, 7.0, 30.0},  // by 120 degrees
        {0.0, 1.3, -1.3, 0.0, 5.0, 5.0},             // down the source's columns
    };
    std::vector<SpanEntry> spans(300);
    for (int i = 0; i < 300; ++i) spans[i] = {int16_t(i % 37), int16_t(300 + (i * 7) % 101)};
    std::vector<SpanEntry> stopped = spans;
    stopped[260].End = 402;
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            const PaintSource s(97, 61, bpp, 4);
            for (const AffineMatrix& m : matrices)
                for (bool upward : {false, true}) {
                    const Band b = PaintBand(s, m, spans, 300, 401, upward, 0.5, -3.0, level);
                    ASSERT_EQ(b.FirstDifference(), "") << LevelName(level) << ", " << bpp << " bytes, matrix "
                                                       << (&m - matrices) << ", upward " << upward;
                    const Band c = PaintBand(s, m, stopped, 300, 401, upward, 0.0, 0.0, level);
                    ASSERT_EQ(c.FirstDifference(), "") << LevelName(level) << ", stopped, matrix " << (&m - matrices);
                    EXPECT_EQ(c.At(260, 0), 0x5A5A5A5Au & (bpp == 2 ? 0xFFFFu : ~0u));
                }
        }
}

TEST(AffinePainter, ATargetInTheSourcesMemoryReadsWhatItHasPainted) {
    // The band lies inside the source: pixels read after they were painted
    // give what the one-pixel rule gives, in its order, at every level.
    const AffineMatrix m{0.42, 0.7275, -0.7275, 0.42, 40.5, 9.25};
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            PaintSource actual(200, 150, bpp, 8), expected(200, 150, bpp, 8);
            const size_t corner = size_t(10) * actual.rowBytes + size_t(5) * bpp;
            ReferencePaint(expected, m, expected.bytes.data() + corner, expected.rowBytes, 135, nullptr, 190, 0.0,
                           0.0);
            const SpanTarget target{actual.bytes.data() + corner, actual.rowBytes, 135, nullptr, 190};
            PaintAffineSpans(actual.view(), m, target, 0.0, 0.0, level);
            ASSERT_TRUE(actual.bytes == expected.bytes) << LevelName(level) << ", " << bpp << " bytes";
        }
}

// ---------------------------------------------------------------------------
// Span tables

using Runs = std::vector<std::pair<int, int>>;

Runs RunsOf(const SpanEntry* t, int count) {
    Runs out;
    for (int i = 0; i < count; ++i) out.emplace_back(t[i].Start, t[i].End);
    return out;
}

Runs Clamped(Runs runs, int limit) {
    for (auto& [start, end] : runs) start = std::min(start, limit), end = std::min(end, limit);
    return runs;
}

TEST_F(Kaleido, TriangleSpans) {
    // n 3, w 6 on a wide output: e(i) = 0, 1, 3.
    auto t = Table<CTriangleKaleido>(40, 10, 3, 6);
    EXPECT_EQ(RunsOf(t->SpanBuffer, 12), (Runs{{0, 0}, {0, 1}, {0, 3}, {0, 3}, {0, 1}, {0, 0},    // A
                                               {3, 6}, {1, 6}, {0, 6}, {0, 6}, {1, 6}, {3, 6}}));  // B
    EXPECT_EQ(t->SpanTableA, t->SpanBuffer);
    EXPECT_EQ(t->SpanTableB, t->SpanBuffer + 6);
    EXPECT_EQ(t->SpanTableC, t->SpanBuffer + 9);
    // A's runs end where B's, n rows on, begin.
    for (int i = 0; i < 3; ++i) EXPECT_EQ(t->SpanTableA[3 + i].End, t->SpanTableB[i].Start);

    // n 4, w 7 on an output 8 wide: everything cut to 4.
    auto c = Table<CTriangleKaleido>(8, 6, 4, 7);
    EXPECT_EQ(RunsOf(c->SpanBuffer, 16), (Runs{{0, 0}, {0, 1}, {0, 3}, {0, 4}, {0, 4}, {0, 3}, {0, 1}, {0, 0},
                                               {4, 4}, {3, 4}, {1, 4}, {0, 4}, {0, 4}, {1, 4}, {3, 4}, {4, 4}}));
}

TEST_F(Kaleido, HexagonSpans) {
    // Odd n 3 (h 1), w 5. e: 0 1 3; q(0..6): 0 0 1 1 2 2 3.
    const Runs odd{
        {0, 5}, {1, 5}, {3, 5},                          // table 0
        {0, 0}, {0, 1}, {1, 3}, {1, 3}, {0, 0}, {0, 0},  // table 1: empty from n + h on
        {0, 0}, {0, 0}, {0, 1}, {0, 1}, {0, 1}, {0, 0},  // table 2
        {3, 5}, {2, 5}, {2, 5}, {1, 5}, {1, 5}, {0, 5},  // table 3
        {0, 0}, {1, 3}, {0, 4}, {0, 4}, {1, 5}, {3, 5},  // table 4
        {0, 0}, {0, 1}, {0, 3},                          // table 5
    };
    auto k = Table<CHexagonKaleido>(40, 20, 3, 5);
    EXPECT_EQ(RunsOf(k->SpanBuffer, 30), odd);
    const int firsts[6] = {0, 3, 9, 15, 21, 27};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(k->HexSpanTable[i], k->SpanBuffer + firsts[i]) << i;
    // On an output 8 wide every number is cut to 4.
    EXPECT_EQ(RunsOf(Table<CHexagonKaleido>(8, 20, 3, 5)->SpanBuffer, 30), Clamped(odd, 4));

    // Even n 4 (h 2), w 6. e: 0 1 3 5; q(0..8): 0 0 1 1 2 2 3 4 4.
    const Runs even{
        {0, 6}, {1, 6}, {3, 6}, {5, 6},                                  // table 0
        {0, 0}, {0, 1}, {1, 3}, {1, 5}, {2, 5}, {2, 3}, {0, 0}, {0, 0},  // table 1
        {0, 0}, {0, 0}, {0, 1}, {0, 1}, {0, 2}, {0, 2}, {0, 1}, {0, 0},  // table 2
        {5, 6}, {3, 6}, {3, 6}, {2, 6}, {2, 6}, {1, 6}, {1, 6}, {0, 6},  // table 3
        {0, 0}, {0, 0}, {1, 4}, {0, 4}, {0, 5}, {1, 5}, {3, 6}, {5, 6},  // table 4
        {0, 0}, {0, 1}, {0, 3}, {0, 5},                                  // table 5
    };
    EXPECT_EQ(RunsOf(Table<CHexagonKaleido>(40, 20, 4, 6)->SpanBuffer, 40), even);
}

TEST_F(Kaleido, SquareSpans) {
    // Wide and square outputs: on and above the diagonal; tall: on and below.
    EXPECT_EQ(RunsOf(Table<CSquareKaleido>(20, 10, 4, 4)->SpanBuffer, 4), (Runs{{0, 4}, {1, 4}, {2, 4}, {3, 4}}));
    EXPECT_EQ(RunsOf(Table<CSquareKaleido>(10, 10, 3, 3)->SpanBuffer, 3), (Runs{{0, 3}, {1, 3}, {2, 3}}));
    EXPECT_EQ(RunsOf(Table<CSquareKaleido>(10, 20, 4, 4)->SpanBuffer, 4), (Runs{{0, 1}, {0, 2}, {0, 3}, {0, 4}}));
    // n beyond W>>1 = 3.
    EXPECT_EQ(RunsOf(Table<CSquareKaleido>(6, 4, 5, 5)->SpanBuffer, 5),
              (Runs{{0, 3}, {1, 3}, {2, 3}, {3, 3}, {3, 3}}));
    EXPECT_EQ(RunsOf(Table<CSquareKaleido>(6, 12, 5, 5)->SpanBuffer, 5),
              (Runs{{0, 1}, {0, 2}, {0, 3}, {0, 3}, {0, 3}}));
}

TEST_F(Kaleido, LozengeSpans) {
    // Wide: base on the top row, tip at row h - 1, rows from h on empty.
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(20, 10, 5, 5)->SpanBuffer, 5),
              (Runs{{0, 5}, {1, 4}, {2, 3}, {0, 0}, {0, 0}}));
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(20, 10, 4, 4)->SpanBuffer, 4), (Runs{{0, 4}, {1, 3}, {0, 0}, {0, 0}}));
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(10, 10, 3, 3)->SpanBuffer, 3), (Runs{{0, 3}, {1, 2}, {0, 0}}));
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(8, 6, 5, 5)->SpanBuffer, 5),  // cut to W>>1 = 4
              (Runs{{0, 4}, {1, 4}, {2, 3}, {0, 0}, {0, 0}}));
    // Tall: base on the left column, the lower half the upper one backwards;
    // odd n has its middle row once, even n rows h - 1 and h alike.
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(10, 20, 5, 5)->SpanBuffer, 5),
              (Runs{{0, 1}, {0, 2}, {0, 3}, {0, 2}, {0, 1}}));
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(10, 20, 4, 4)->SpanBuffer, 4), (Runs{{0, 1}, {0, 2}, {0, 2}, {0, 1}}));
    EXPECT_EQ(RunsOf(Table<CLozengeKaleido>(4, 20, 7, 7)->SpanBuffer, 7),  // cut to W>>1 = 2
              (Runs{{0, 1}, {0, 2}, {0, 2}, {0, 2}, {0, 2}, {0, 2}, {0, 1}}));
}

}  // namespace
