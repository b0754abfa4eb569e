// The cube in-process, seen through the calls it makes on the blit service:
// every fly-in frame against a plain model of the box's projection, the end
// of the fly-in and the copies after it, the spinner's clock and speeds, a
// source replaced after creation, and instances without usable surfaces.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <ostream>
#include <vector>

#include "effect_fixture.h"
#include "geometry/cube.h"

namespace {

using fxhost::HostSurface;

// One call on the blit service as the module made it.
struct Call {
    char op;  // 'C' BlitCheckRect, 'K' BlitCopy, 'T' BlitTransform
    const Surface* from;
    const Surface* to;
    std::array<int, 4> fromRect, toRect;  // top, left, bottom, right
    int32_t mode;
    std::array<int32_t, 16> corners;  // dstX, dstY, srcX, srcY of each corner
    bool operator==(const Call&) const = default;
};
void PrintTo(const Call& c, std::ostream* os) {
    *os << c.op << " mode " << c.mode << " rects " << ::testing::PrintToString(c.fromRect) << " "
        << ::testing::PrintToString(c.toRect) << " corners " << ::testing::PrintToString(c.corners);
}

std::vector<Call> g_calls;
bool g_forward = true;  // whether the reference host carries the calls out

std::array<int, 4> Rect(const SurfaceRect& r) { return {r.top, r.left, r.bottom, r.right}; }
Call Check(const SurfaceRect& a, const SurfaceRect& b) { return {'C', nullptr, nullptr, Rect(a), Rect(b), 0, {}}; }
Call Copy(Surface* from, Surface* to, int32_t mode, const SurfaceRect& fromRect) {
    return {'K', from, to, Rect(fromRect), Rect(to->bounds), mode, {}};
}

// Records each call, then lets the reference host carry it out.
int32_t RecordCheck(const SurfaceRect* a, const SurfaceRect* b) {
    g_calls.push_back(Check(*a, *b));
    return fxhost::BlitCheckRect(a, b);
}
void RecordCopy(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t mode) {
    g_calls.push_back({'K', from, to, Rect(*fromRect), Rect(*toRect), mode, {}});
    fxhost::BlitCopy(from, to, fromRect, toRect, mode);
}
void RecordTransform(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
                     int32_t mode, BlitParams* params) {
    Call call{'T', from, to, Rect(*fromRect), Rect(*toRect), mode, {}};
    for (int k = 0; k < 4; ++k) {
        const BlitCorner& c = params->corners[k];
        call.corners[4 * k] = c.dstX;
        call.corners[4 * k + 1] = c.dstY;
        call.corners[4 * k + 2] = c.srcX;
        call.corners[4 * k + 3] = c.srcY;
    }
    g_calls.push_back(call);
    if (g_forward) fxhost::BlitTransform(from, to, fromRect, toRect, mode, params);
}

// The model of the box, written from its description.
constexpr int kVertex[8][3] = {{1, -1, 1},  {-1, -1, 1},  {-1, 1, 1},  {1, 1, 1},
                               {1, -1, -1}, {-1, -1, -1}, {-1, 1, -1}, {1, 1, -1}};
constexpr int kFaceCorners[6][4] = {{1, 0, 3, 2}, {0, 4, 7, 3}, {4, 5, 6, 7}, {5, 1, 2, 6}, {5, 4, 0, 1}, {2, 3, 7, 6}};
constexpr int kFacing[6][3] = {{0, 3, 2}, {4, 7, 3}, {5, 6, 7}, {1, 2, 6}, {4, 0, 1}, {3, 7, 6}};

int Tick(uint32_t ms) { return int(ms / 16.666666666666668); }

struct Pose {
    float turn, pitch;
    int depth, cx, cy;
};

// The transforms of one drawn frame: the faces in view, in table order.
std::vector<Call> Model(const Pose& p, Surface* src, Surface* dst) {
    const int hw = dst->bounds.right / 2, hh = dst->bounds.bottom / 2;
    const double a = double(p.turn + 90.0f) * 3.141592654 / 180.0;
    const double b = double(p.pitch + 180.0f) * 3.141592654 / 180.0;
    const float sa = float(std::sin(a)), ca = float(std::cos(a)), sb = float(std::sin(b)), cb = float(std::cos(b));
    int px[8], py[8];
    for (int v = 0; v < 8; ++v) {
        const float x = float(kVertex[v][0] * hw), y = float(kVertex[v][1] * hh), z = float(kVertex[v][2] * hh);
        const float d = float(p.depth + 1000 + hh) - x * (sb * ca) - y * (sb * sa) - z * cb;
        const float s = float(1000.0 / d);
        px[v] = int16_t(int((y * ca - x * sa) * s + float(p.cx)));
        py[v] = int16_t(int((z * sb - x * (cb * ca) - y * (cb * sa)) * s + float(p.cy)));
    }
    const int sw = (src->bounds.right - 1) << 16, sh = (src->bounds.bottom - 1) << 16;
    const int source[4][2] = {{0, 0}, {sw, 0}, {sw, sh}, {0, sh}};
    std::vector<Call> calls;
    for (int f = 0; f < 6; ++f) {
        const int i = kFacing[f][0], j = kFacing[f][1], k = kFacing[f][2];
        if ((py[k] - py[j]) * (px[j] - px[i]) - (py[j] - py[i]) * (px[k] - px[j]) <= 0) continue;
        Call call{'T', src, dst, Rect(src->bounds), Rect(dst->bounds), 1, {}};
        for (int c = 0; c < 4; ++c) {
            const int v = kFaceCorners[f][c];
            call.corners[4 * c] = px[v];
            call.corners[4 * c + 1] = py[v];
            call.corners[4 * c + 2] = source[c][0];
            call.corners[4 * c + 3] = source[c][1];
        }
        calls.push_back(call);
    }
    return calls;
}

// The fly-in's pose with the factory's values (2 s, orbit rate 10, start
// angles 100 and 200 degrees), elapsed ticks after creation.
Pose FlyIn(int elapsed, int hw, int hh, bool orbit, bool forward) {
    float progress = float(elapsed) / 120.0f;
    if (progress >= 1.0f) progress = 1.0f;
    int cx = hw, cy = hh;
    if (orbit) {
        const int angle = (elapsed * (forward ? 10 : -10) / 5) & 255;
        const float exact = float(hh) - float(hh) * progress;
        int r = int(exact);
        if (exact - float(r) >= 0.5f) ++r;
        const double radians = angle * 1.40625 * 3.141592654 / 180.0;
        cx = int(std::cos(radians) * r + hw);
        cy = int(std::sin(radians) * r + hh);
    }
    return {100.0f - 100.0f * progress, 200.0f - 200.0f * progress, int(8000.0f - progress * 8000.0f), cx, cy};
}

CubeParamRecord FactoryRecord(int32_t endless) {
    CubeParamRecord r{};
    r.IntroSeconds = 2.0f;
    r.OrbitRate = 10;
    r.TurnSpeed = 1;
    r.PitchSpeed = 2;
    r.Endless = r.TurnMode = r.PitchMode = endless;
    return r;
}

void FillPattern(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, uint32_t(y) << 16 | uint32_t(x) << 4 | 7);
}
std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

class CubeTest : public EffectTest {
protected:
    void SetUp() override {
        service_.BlitCheckRect = RecordCheck;
        service_.BlitCopy = RecordCopy;
        service_.BlitTransform = RecordTransform;
        g_blitService = &service_;
        g_frame.time = 0;
        g_forward = true;
    }
    // The calls of one frame.
    static std::vector<Call> Frame(CRenderInterface* cube, uint32_t time, std::array<int32_t, 4> params = {},
                                   Surface* source = nullptr) {
        g_calls.clear();
        Render(cube, params, time, source);
        return g_calls;
    }
    BlitService service_{};
};

// Every 40 ms of a fly-in, orbiting or not, either way round, on a source of
// another size than the odd-sized destination: the faces in view, their
// destination corners, and the whole source on each. A record of zeros
// takes the defaults, so its 2 s come out as the factory's.
TEST_F(CubeTest, FlyInFramesFollowTheProjection) {
    HostSurface src(50, 20, kFormatXrgb), dst(641, 481, kFormatXrgb);
    g_forward = false;
    struct Case {
        bool factory, orbit, forward;
    };
    for (const Case c : {Case{true, false, false}, Case{false, true, false}, Case{false, true, true}}) {
        SCOPED_TRACE(::testing::Message() << "orbit " << c.orbit << " forward " << c.forward);
        CubeParamRecord record{};
        record.OrbitEnabled = c.orbit;
        record.OrbitForward = c.forward;
        g_frame.time = 777;
        auto* cube = c.factory ? Make<CCube3D>("Cube3D", src, &dst) : MakeWith<CCube3D>(record, src, dst);
        std::vector<Call> calls;
        for (uint32_t t = 777; t <= 777 + 2000; t += 40) {
            calls = Frame(cube, t);
            ASSERT_FALSE(calls.empty()) << "at " << t << " ms";
            ASSERT_EQ(calls, Model(FlyIn(Tick(t) - Tick(777), 320, 240, c.orbit, c.forward), src.get(), dst.get()))
                << "at " << t << " ms";
        }
        EXPECT_EQ(calls.size(), 1u);  // 2000 ms on: face 2 alone
        entry::DestroyEffect(cube);
    }
}

// Ticks are counted on the host's clock: made at 1000 ms (tick 59), the box
// is still in flight at 2980 ms and lands at 2990 ms (tick 179), face 2 on
// the destination's corners and the source upright on it. Every frame after
// checks the destination and copies the creation rects, even one that goes
// back in time.
TEST_F(CubeTest, FlyInLandsOnFaceTwoThenCopies) {
    HostSurface src(40, 30, kFormatXrgb);
    for (const int width : {320, 33})
        for (const int mode4 : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << "width " << width << " mode 4 " << mode4);
            HostSurface dst(width, width * 3 / 4, kFormatXrgb);
            CubeParamRecord record = FactoryRecord(0);
            record.FinalCopyMode4 = mode4;
            g_frame.time = 1000;
            auto* cube = mode4 ? MakeWith<CCube3D>(record, src, dst) : Make<CCube3D>("Cube3D", src, &dst);
            EXPECT_EQ(cube->IntroTicks, 120);
            const int w = width / 2 * 2, h = dst.height() / 2 * 2, sw = 39 << 16, sh = 29 << 16;
            EXPECT_EQ(Frame(cube, 2980), Model(FlyIn(119, w / 2, h / 2, false, false), src.get(), dst.get()));
            EXPECT_EQ(cube->Finished, 0);
            Call face{'T', src.get(), dst.get(), Rect(src.get()->bounds), Rect(dst.get()->bounds), 1,
                      {0, 0, 0, 0, w, 0, sw, 0, w, h, sw, sh, 0, h, 0, sh}};
            EXPECT_EQ(Frame(cube, 2990), std::vector<Call>{face});
            const std::vector<Call> copy{Check(dst.get()->bounds, dst.get()->bounds),
                                         Copy(src.get(), dst.get(), mode4 ? 4 : 1, src.get()->bounds)};
            EXPECT_EQ(Frame(cube, 3030), copy);
            EXPECT_EQ(Frame(cube, 0), copy);
            entry::DestroyEffect(cube);
        }
}

// A source handed over at render time is drawn from, with the rects and
// source corners of the one the instance was made with.
TEST_F(CubeTest, ReplacedSourceKeepsTheCreationRectsAndCorners) {
    HostSurface first(50, 20, kFormatXrgb), second(30, 40, kFormatXrgb), dst(64, 48, kFormatXrgb);
    auto* cube = Make<CCube3D>("Cube3D", first, &dst);
    auto expected = Model(FlyIn(Tick(1000), 32, 24, false, false), first.get(), dst.get());
    ASSERT_FALSE(expected.empty());
    for (Call& c : expected) c.from = second.get();
    EXPECT_EQ(Frame(cube, 1000, {}, second.get()), expected);
    Frame(cube, 2100);
    EXPECT_EQ(Frame(cube, 2140), (std::vector<Call>{Check(dst.get()->bounds, dst.get()->bounds),
                                                     Copy(second.get(), dst.get(), 1, first.get()->bounds)}));
    entry::DestroyEffect(cube);
}

// The spinner's first frame turns by the ticks since creation, a frame at
// the same time draws the same picture with the same calls, and a frame ten
// minutes on turns by the whole gap.
TEST_F(CubeTest, SpinnerTurnsByTheTicksSinceItsLastFrame) {
    HostSurface src(40, 30, kFormatXrgb), dst(48, 36, kFormatXrgb);
    FillPattern(src);
    g_frame.time = 500;
    auto* cube = Make<CCube3D>("Cube3DConstant", src, &dst);
    Pose pose{0.0f, 0.0f, 700, 24, 18};
    const auto spin = [&pose](uint32_t from, uint32_t to) {
        const float ticks = float(Tick(to)) - float(Tick(from));
        pose.turn += 1.0f * ticks / 5.0f;
        pose.pitch += 2.0f * ticks / 5.0f;
    };
    spin(500, 1510);
    dst.fill(0xFFFFFFFFu);
    const auto calls = Frame(cube, 1510);
    const auto pixels = Pixels(dst);
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls, Model(pose, src.get(), dst.get()));
    dst.fill(0xFFFFFFFFu);
    EXPECT_EQ(Frame(cube, 1510), calls);
    EXPECT_EQ(Pixels(dst), pixels);
    spin(1510, 601537);
    EXPECT_EQ(Frame(cube, 601537), Model(pose, src.get(), dst.get()));
    entry::DestroyEffect(cube);
}

// Mode 2 takes slot 0 of the host's values less 126 as the speed; any mode
// but 1 and 2 leaves its angle alone.
TEST_F(CubeTest, HostValueModesReadSlotZeroAboutOneTwentySix) {
    HostSurface src(40, 30, kFormatXrgb), dst(48, 36, kFormatXrgb);
    CubeParamRecord record = FactoryRecord(1);
    record.TurnMode = record.PitchMode = 2;
    auto* byHost = MakeWith<CCube3D>(record, src, dst);
    record.TurnMode = 3;
    record.PitchMode = 1;
    auto* pitchOnly = MakeWith<CCube3D>(record, src, dst);

    EXPECT_EQ(Frame(byHost, 1000, {126, 255, 0, 255}), Model({0.0f, 0.0f, 700, 24, 18}, src.get(), dst.get()));
    const float turned = 20.0f * float(Tick(1500) - Tick(1000)) / 5.0f;
    EXPECT_EQ(Frame(byHost, 1500, {146, 126, 126, 126}), Model({turned, turned, 700, 24, 18}, src.get(), dst.get()));
    const float pitched = 2.0f * float(Tick(1500)) / 5.0f;
    EXPECT_EQ(Frame(pitchOnly, 1500, {200, 0, 0, 0}), Model({0.0f, pitched, 700, 24, 18}, src.get(), dst.get()));
    entry::DestroyEffect(byHost);
    entry::DestroyEffect(pitchOnly);
}

// Made without a source, or with one of another depth, an instance makes no
// call and leaves the destination alone, also when given a good source
// later; it is destroyed as any other.
TEST_F(CubeTest, WithoutUsableSurfacesNothingIsDrawn) {
    HostSurface src(40, 30, kFormatXrgb), src16(40, 30, kFormat565), dst(40, 30, kFormatXrgb);
    for (const char* name : {"Cube3D", "Cube3DConstant"})
        for (HostSurface* source : {static_cast<HostSurface*>(nullptr), &src16}) {
            SCOPED_TRACE(name);
            dst.fill(0x00ABCDEFu);
            CRenderInterface* cube = CreateEffect(name, source ? source->get() : nullptr, dst.get());
            ASSERT_NE(cube, nullptr);
            g_calls.clear();
            for (const uint32_t t : {0u, 1000u, 2500u, 4000u}) Render(cube, {}, t);
            Render(cube, {}, 5000, src.get());
            EXPECT_TRUE(g_calls.empty());
            for (const uint32_t p : Pixels(dst)) ASSERT_EQ(p, 0x00ABCDEFu);
            entry::DestroyEffect(cube);
        }
    CRenderInterface* cube = CreateEffect("Cube3D", nullptr, nullptr);
    g_calls.clear();
    Render(cube, {}, 3000);
    EXPECT_TRUE(g_calls.empty());
    entry::DestroyEffect(cube);
}

}  // namespace
