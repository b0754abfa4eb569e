// The blit service's blends and textured quadrilaterals at every vector
// level, against plain references written from the documented rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "host/blit_blend.h"
#include "host/blit_level.h"
#include "host/blit_pixels.h"
#include "host/blit_quad.h"
#include "host/blit_service.h"
#include "host/host_surface.h"
#include "host/pixel_convert.h"

namespace {

using namespace fxhost;

SurfaceRect Rect(int left, int top, int right, int bottom) {
    return SurfaceRect{int16_t(top), int16_t(left), int16_t(bottom), int16_t(right)};
}

void Randomise(HostSurface& s, std::mt19937& rng) {
    const uint32_t mask = s.bytesPerPixel() == 4 ? 0xFFFFFFFFu : 0xFFFFu;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, rng() & mask);
}

std::vector<uint32_t> Words(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

// Runs body at each vector level this machine has, then restores its level.
template <class Body>
void AtEveryLevel(Body body) {
    for (BlitLevel level : {BlitLevel::kScalar, BlitLevel::kSse2, BlitLevel::kAvx2, BlitLevel::kAvx512}) {
        if (SetBlitLevelForTesting(level) != level) continue;
        SCOPED_TRACE("vector level " + std::to_string(static_cast<int>(level)));
        body();
    }
    SetBlitLevelForTesting(MachineBlitLevel());
}

// ---- Copies between depths ----

// Rows of every width up to 40 between a 32-bit and a 16-bit surface of one
// size: each word packed or widened on its own, the padding untouched.
TEST(BlitCopy, UnscaledRowsConvertAtEveryLevel) {
    std::mt19937 rng(7);
    for (int32_t format : {kFormat555, kFormat565}) {
        AtEveryLevel([&] {
            for (int width = 1; width <= 40; ++width) {
                HostSurface wide(width, 3, kFormatXrgb, width * 4 + 8), narrow(width, 3, format, width * 2 + 6);
                HostSurface back(width, 3, kFormatXrgb, width * 4 + 4);
                Randomise(wide, rng);
                narrow.fillPadding(0x5A);
                const SurfaceRect all = Rect(0, 0, width, 3);
                BlitCopy(wide.get(), narrow.get(), &all, &all, kBlitPlain);
                BlitCopy(narrow.get(), back.get(), &all, &all, kBlitPlain);
                for (int y = 0; y < 3; ++y)
                    for (int x = 0; x < width; ++x) {
                        const uint32_t packed = blit::Pack16(wide.pixel(x, y), format == kFormat555);
                        ASSERT_EQ(narrow.pixel(x, y), packed) << width << " " << x;
                        ASSERT_EQ(back.pixel(x, y), blit::Widen16(packed, format == kFormat555)) << width << " " << x;
                    }
                ASSERT_TRUE(narrow.paddingIs(0x5A));
            }
        });
    }
}

// A part of a 32-bit picture into another place of a smaller 16-bit one, the
// size kept: each word lands where its rectangle puts it, nothing else moves.
TEST(BlitCopy, SubRectanglesBetweenDepthsKeepTheirPlace) {
    std::mt19937 rng(11);
    AtEveryLevel([&] {
        HostSurface wide(50, 20, kFormatXrgb), narrow(40, 10, kFormat565, 40 * 2 + 4);
        Randomise(wide, rng);
        narrow.fill(0x1234);
        narrow.fillPadding(0x5A);
        const SurfaceRect from = Rect(5, 3, 35, 13), to = Rect(10, 0, 40, 10);
        BlitCopy(wide.get(), narrow.get(), &from, &to, kBlitPlain);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 40; ++x)
                ASSERT_EQ(narrow.pixel(x, y), x < 10 ? 0x1234u : blit::Pack16(wide.pixel(x - 10 + 5, y + 3), false))
                    << x << "," << y;
        ASSERT_TRUE(narrow.paddingIs(0x5A));
    });
}

// Mode 1 with a record whose corners are clear draws the rectangle as a
// plain copy whatever the rest holds; a record of random bytes draws
// something or nothing, but only inside the destination.
TEST(BlitTransform, PlainModeIsSafeWithAnyRecord) {
    std::mt19937 rng(5);
    HostSurface from(30, 20, kFormatXrgb), to(40, 30, kFormatXrgb, 40 * 4 + 8), copy(40, 30, kFormatXrgb);
    Randomise(from, rng);
    const SurfaceRect glyph = Rect(4, 2, 14, 12), cell = Rect(20, 10, 30, 20);
    BlitParams params;
    std::memset(&params, 0xA7, sizeof params);
    for (BlitCorner& c : params.corners) c = BlitCorner{};
    BlitTransform(from.get(), to.get(), &glyph, &cell, kBlitPlain, &params);
    BlitCopy(from.get(), copy.get(), &glyph, &cell, kBlitPlain);
    EXPECT_EQ(Words(to), Words(copy));
    const auto source = Words(from);
    for (int i = 0; i < 200; ++i) {
        for (size_t b = 0; b < sizeof params; ++b) reinterpret_cast<uint8_t*>(&params)[b] = static_cast<uint8_t>(rng());
        to.fillPadding(0x5A);
        BlitTransform(from.get(), to.get(), &glyph, &cell, kBlitPlain, &params);
        ASSERT_TRUE(to.paddingIs(0x5A));
    }
    EXPECT_EQ(Words(from), source);
}

// ---- Blends ----

TEST(BlitBlend, DivisionByMultiplyIsExactOverTheWholeRange) {
    int wrong = 0;
    for (uint32_t x = 0; x <= blit::kBlendMax; ++x) {
        const uint32_t high16 = (x * blit::kDiv100Mul) >> 16;  // a 16-bit multiply-high
        wrong += (high16 >> blit::kDiv100Shift) != x / 100 || blit::Div100(x) != x / 100;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(blit::kBlendMax, 255u * 100u + 50u);
    EXPECT_LT(blit::kDiv100Mul, 65536u);
}

// Each lane (s * w + d * (100 - w) + 50) / 100: 32-bit words in four byte
// lanes, 5-6-5 in three, 5-5-5 in four counting the top bit.
uint32_t MixReference(uint32_t s, uint32_t d, int32_t level, int32_t format) {
    const int lanes32[][2] = {{0, 8}, {8, 8}, {16, 8}, {24, 8}}, lanes565[][2] = {{0, 5}, {5, 6}, {11, 5}, {16, 0}},
              lanes555[][2] = {{0, 5}, {5, 5}, {10, 5}, {15, 1}};
    const auto& lanes = format == kFormatXrgb ? lanes32 : (format == kFormat565 ? lanes565 : lanes555);
    const uint32_t w = uint32_t(std::clamp(level, 0, 100));
    uint32_t out = 0;
    for (const auto& l : lanes) {
        const uint32_t m = (1u << l[1]) - 1u;
        out |= ((((s >> l[0]) & m) * w + ((d >> l[0]) & m) * (100 - w) + 50) / 100) << l[0];
    }
    return out;
}

// Blends fr over tr and checks the whole target against the nearest source
// pixel under each target centre (clamped to the source), mixed per lane.
void ExpectBlend(HostSurface& from, HostSurface& to, SurfaceRect fr, SurfaceRect tr, int32_t level,
                 const HostSurface* sourceBefore = nullptr) {
    const HostSurface& src = sourceBefore ? *sourceBefore : from;
    std::vector<uint32_t> expected = Words(to);
    const int64_t sw = RectWidth(fr), sh = RectHeight(fr), tw = RectWidth(tr), th = RectHeight(tr);
    for (int y = std::max<int>(tr.top, 0); y < std::min<int>(tr.bottom, to.height()); ++y)
        for (int x = std::max<int>(tr.left, 0); x < std::min<int>(tr.right, to.width()); ++x) {
            const int sx = std::clamp<int>(fr.left + (2 * (x - tr.left) + 1) * sw / (2 * tw), 0, src.width() - 1);
            const int sy = std::clamp<int>(fr.top + (2 * (y - tr.top) + 1) * sh / (2 * th), 0, src.height() - 1);
            uint32_t& d = expected[size_t(y) * to.width() + x];
            d = MixReference(src.pixel(sx, sy), d, level, to.format());
        }
    BlitParams p{};
    p.blendLevel = level;
    GetBlitService()->BlitTransform(from.get(), to.get(), &fr, &tr, kBlitBlend, &p);
    EXPECT_EQ(Words(to), expected) << "level " << level << ", " << sw << "x" << sh << " onto " << tw << "x" << th;
}

constexpr int32_t kFormats[] = {kFormatXrgb, kFormat565, kFormat555};

// Same size: every row width up to past two 512-bit vectors of 16-bit words,
// so that every tail of every level is met, in padded rows whose padding
// must stay as it was; then every weight on one width.
TEST(BlitBlend, RowsOfEveryWidthAndEveryWeight) {
    std::mt19937 rng(1);
    const int32_t levels[] = {-5, 0, 1, 37, 50, 99, 100, 128, 1000};
    AtEveryLevel([&] {
        for (int32_t format : kFormats) {
            const int bpp = format == kFormatXrgb ? 4 : 2;
            HostSurface from(75, 3, format, 75 * bpp + 6), to(73, 4, format, 73 * bpp + 6);
            to.fillPadding(0xA5);
            for (int i = 0; i < 70 + 103; ++i) {
                const int width = i < 70 ? i + 1 : 67;
                Randomise(from, rng);
                Randomise(to, rng);
                ExpectBlend(from, to, Rect(2, 0, 2 + width, 3), Rect(73 - width, 1, 73, 4),
                            i < 70 ? levels[i % std::size(levels)] : i - 71);
            }
            EXPECT_TRUE(to.paddingIs(0xA5));
        }
    });
}

// Enlarged, reduced, sources running off their surface (clamped), targets
// running off theirs (clipped), and a surface blended onto itself.
TEST(BlitBlend, ScaledClampedClippedAndInPlace) {
    std::mt19937 rng(3);
    const SurfaceRect cases[][2] = {
        {Rect(1, 1, 14, 8), Rect(3, 2, 32, 8)},     {Rect(0, 0, 40, 9), Rect(5, 1, 22, 5)},
        {Rect(30, 5, 45, 12), Rect(0, 0, 15, 7)},   {Rect(-3, -2, 12, 6), Rect(20, 4, 35, 12)},
        {Rect(0, 0, 19, 7), Rect(-4, -2, 15, 5)},   {Rect(0, 0, 19, 7), Rect(24, 6, 43, 13)},
    };
    AtEveryLevel([&] {
        for (int32_t format : kFormats)
            for (const auto& c : cases)
                for (int32_t level : {0, 50, 100, 128}) {
                    HostSurface from(40, 12, format), to(36, 10, format);
                    Randomise(from, rng);
                    Randomise(to, rng);
                    ExpectBlend(from, to, c[0], c[1], level);
                }
        for (int32_t level : {33, 100}) {
            HostSurface s(30, 9, kFormatXrgb), before(30, 9, kFormatXrgb);
            std::mt19937 a(level), b(level);
            Randomise(s, a);
            Randomise(before, b);
            ExpectBlend(s, s, Rect(0, 0, 27, 7), Rect(2, 1, 29, 8), level, &before);
        }
    });
}

// ---- Quadrilaterals ----

constexpr int32_t kOne = 65536;
constexpr uint32_t kMarker = 0x5A5A5A5A;

// The centre rule written out: an edge crossing row y's centre line counts
// for pixel x when the centre is at or right of the crossing; an odd count
// covers the pixel.
bool Covered(const BlitCorner (&c)[4], int x, int y) {
    int count = 0;
    for (int k = 0; k < 4; ++k) {
        const int64_t ax = c[k].dstX, ay = c[k].dstY, bx = c[(k + 1) % 4].dstX, by = c[(k + 1) % 4].dstY;
        if ((ay <= y) == (by <= y)) continue;
        const int64_t lhs = (2 * x + 1 - 2 * ax) * (by - ay), rhs = (2 * y + 1 - 2 * ay) * (bx - ax);
        count += by > ay ? lhs >= rhs : lhs <= rhs;
    }
    return count % 2 == 1;
}

// The exact 16.16 position of pixel (x, y)'s centre; false where undefined.
bool ExactAt(const blit::QuadMap& h, int x, int y, int64_t& u, int64_t& v) {
    const double xc = x + 0.5, yc = y + 0.5;
    const double w = h.m[2][0] * xc + h.m[2][1] * yc + h.m[2][2];
    auto fixed = [](double q) {
        const double f = std::floor(q * 65536.0);
        return std::isnan(f) ? INT32_MIN : int64_t(std::clamp(f, -2147483648.0, 2147483647.0));
    };
    u = fixed((h.m[0][0] * xc + h.m[0][1] * yc + h.m[0][2]) / w);
    v = fixed((h.m[1][0] * xc + h.m[1][1] * yc + h.m[1][2]) / w);
    return w != 0.0 && std::isfinite(w);
}

void DrawQuad(HostSurface& from, HostSurface& to, const BlitCorner (&c)[4]) {
    BlitParams p{};
    std::copy(c, c + 4, p.corners);
    const SurfaceRect fr = Rect(0, 0, from.width(), from.height()), tr = Rect(0, 0, to.width(), to.height());
    GetBlitService()->BlitTransform(from.get(), to.get(), &fr, &tr, kBlitPlain, &p);
}

// Draws the quad over the whole source and checks the whole target: each
// maximal run of covered pixels on a row takes exact positions at anchors
// AnchorSpacing apart from its first pixel and at its last, stepped in
// between; with exactEverywhere, exact positions at every pixel.
void ExpectQuad(HostSurface& from, HostSurface& to, const BlitCorner (&c)[4], bool exactEverywhere = false) {
    std::vector<uint32_t> expected = Words(to);
    blit::QuadMap h;
    for (int y = 0; y < to.height() && blit::MakeQuadMap(c, h); ++y)
        for (int x0 = 0, x1 = 0; x0 < to.width(); x0 = std::max(x1, x0 + 1)) {
            for (x1 = x0; x1 < to.width() && Covered(c, x1, y);) ++x1;
            const int spacing = x1 > x0 ? blit::AnchorSpacing(h, y, x0, x1) : 1;
            for (int x = x0; x < x1; ++x) {
                int64_t u, v, ua, va, ub, vb;
                if (!ExactAt(h, x, y, u, v)) continue;
                if (!exactEverywhere && x != x1 - 1) {
                    const int a = x0 + (x - x0) / spacing * spacing, b = std::min(a + spacing, x1 - 1);
                    ExactAt(h, a, y, ua, va);
                    ExactAt(h, b, y, ub, vb);
                    u = ua + (x - a) * ((ub - ua) / (b - a));
                    v = va + (x - a) * ((vb - va) / (b - a));
                }
                const uint32_t word = from.pixel(std::clamp(int(u >> 16), 0, from.width() - 1),
                                                 std::clamp(int(v >> 16), 0, from.height() - 1));
                expected[size_t(y) * to.width() + x] = from.bytesPerPixel() == to.bytesPerPixel()
                                                           ? word
                                                           : PackPixel(UnpackPixel(word, from.format()), to.format());
            }
        }
    DrawQuad(from, to, c);
    const std::vector<uint32_t> got = Words(to);
    int wrong = 0;
    for (size_t i = 0; i < got.size(); ++i) wrong += got[i] != expected[i];
    EXPECT_EQ(wrong, 0) << "corners (" << c[0].dstX << "," << c[0].dstY << ") (" << c[1].dstX << "," << c[1].dstY
                        << ") (" << c[2].dstX << "," << c[2].dstY << ") (" << c[3].dstX << "," << c[3].dstY << ")";
}

bool StrictlyConvex(const int32_t (&p)[4][2]) {
    int sign = 0;
    for (int k = 0; k < 4; ++k) {
        const int32_t *a = p[k], *b = p[(k + 1) % 4], *d = p[(k + 2) % 4];
        const double cross = double(b[0] - a[0]) * (d[1] - b[1]) - double(b[1] - a[1]) * (d[0] - b[0]);
        const int s = cross > 0 ? 1 : (cross < 0 ? -1 : 0);
        if (s == 0 || (sign != 0 && s != sign)) return false;
        sign = s;
    }
    return true;
}

// Random convex quads in perspective around centres that may lie off the
// target, so that faces run off every edge, over the whole source or over a
// random convex quad of it; same and mixed depths.
TEST(BlitQuad, RandomConvexQuadsFollowTheSteppedRule) {
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int32_t pairs[][2] = {{kFormatXrgb, kFormatXrgb}, {kFormat565, kFormat565}, {kFormat555, kFormat555},
                                {kFormatXrgb, kFormat565}, {kFormat555, kFormatXrgb}};
    AtEveryLevel([&] {
        for (const auto& pair : pairs)
            for (int trial = 0; trial < 60; ++trial) {
                HostSurface from(37, 23, pair[0]), to(90, 64, pair[1]);
                Randomise(from, rng);
                to.fill(kMarker & (to.bytesPerPixel() == 4 ? 0xFFFFFFFFu : 0xFFFFu));
                int32_t dst[4][2], src[4][2];
                do {
                    const double cx = -15 + unit(rng) * 120, cy = -15 + unit(rng) * 94, turn = unit(rng) * 6.3;
                    for (int k = 0; k < 4; ++k) {
                        const double angle = turn + k * 1.5708 + (unit(rng) - 0.5) * 1.2, r = 8 + unit(rng) * 60;
                        dst[k][0] = int32_t(std::lround(cx + r * std::cos(angle)));
                        dst[k][1] = int32_t(std::lround(cy + r * std::sin(angle)));
                    }
                } while (!StrictlyConvex(dst));
                do {
                    for (int k = 0; k < 4; ++k) {
                        const bool right = k == 1 || k == 2, bottom = k >= 2, jitter = trial % 2 == 1;
                        src[k][0] = right ? 36 * kOne - int32_t(jitter * unit(rng) * 11 * kOne) : int32_t(jitter * unit(rng) * 11 * kOne);
                        src[k][1] = bottom ? 22 * kOne - int32_t(jitter * unit(rng) * 7 * kOne) : int32_t(jitter * unit(rng) * 7 * kOne);
                    }
                } while (!StrictlyConvex(src));
                BlitCorner c[4];
                for (int k = 0; k < 4; ++k) c[k] = BlitCorner{dst[k][0], dst[k][1], src[k][0], src[k][1]};
                ExpectQuad(from, to, c);
            }
    });
}

// Overhanging every edge, every pixel written; a bow-tie, whose map passes
// through infinity between its corners, sampled exactly at every pixel.
TEST(BlitQuad, OverhangingFaceAndBowTie) {
    std::mt19937 rng(5);
    const BlitCorner big[4] = {{-40, -25, 0, 0}, {130, -10, 36 * kOne, 0}, {120, 90, 36 * kOne, 22 * kOne},
                               {-20, 100, 0, 22 * kOne}};
    const BlitCorner bowTie[4] = {{2, 3, 0, 0}, {70, 50, 36 * kOne, 0}, {75, 6, 36 * kOne, 22 * kOne},
                                  {5, 60, 0, 22 * kOne}};
    AtEveryLevel([&] {
        HostSurface from(37, 23, kFormatXrgb), to(90, 64, kFormatXrgb), tie(90, 64, kFormatXrgb);
        Randomise(from, rng);
        to.fill(kMarker);
        tie.fill(kMarker);
        ExpectQuad(from, to, big);
        ExpectQuad(from, tie, bowTie, true);
        const std::vector<uint32_t> all = Words(to), crossed = Words(tie);
        EXPECT_EQ(std::count(all.begin(), all.end(), kMarker), 0);
        EXPECT_GT(std::count(crossed.begin(), crossed.end(), kMarker), 0);
        EXPECT_LT(std::count(crossed.begin(), crossed.end(), kMarker), 90 * 64);
    });
}

TEST(BlitQuad, DegenerateAndDistantQuadsWriteNothing) {
    const BlitCorner quads[][4] = {
        {{9, 9, 0, 0}, {9, 9, kOne, 0}, {9, 9, kOne, kOne}, {9, 9, 0, kOne}},                  // one point
        {{0, 0, 0, 0}, {30, 30, kOne, 0}, {60, 60, kOne, kOne}, {10, 10, 0, kOne}},            // collinear
        {{0, 0, 0, 0}, {40, 40, kOne, 0}, {40, 0, kOne, kOne}, {0, 40, 0, kOne}},              // symmetric bow-tie
        {{5000, 10, 0, 0}, {6000, 10, kOne, 0}, {6000, 50, kOne, kOne}, {5000, 50, 0, kOne}},  // off to the right
        {{-9000, -9000, 0, 0}, {-10, -8000, kOne, 0}, {-10, -10, kOne, kOne}, {-9000, -10, 0, kOne}},
        {{-(1 << 24) - 1, -5, 0, 0}, {200, -5, kOne, 0}, {200, 200, kOne, kOne}, {-5, 200, 0, kOne}},  // past 2^24
    };
    AtEveryLevel([&] {
        for (const auto& q : quads) {
            HostSurface from(4, 4, kFormatXrgb), to(64, 48, kFormatXrgb);
            from.fill(0x00123456);
            to.fill(kMarker);
            DrawQuad(from, to, q);
            EXPECT_EQ(Words(to), std::vector<uint32_t>(64 * 48, kMarker)) << q[0].dstX << "," << q[0].dstY;
        }
    });
}

// A sheared parallelogram whose positions are exact in 16.16: every pixel
// takes the source pixel under its centre, worked out in integers.
TEST(BlitQuad, AffineMapsStepExactly) {
    HostSurface from(32, 16, kFormatXrgb);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 32; ++x) from.setPixel(x, y, uint32_t(y << 8 | x));
    const BlitCorner c[4] = {{0, 0, 0, 0}, {64, 0, 32 * kOne, 0}, {80, 32, 32 * kOne, 16 * kOne}, {16, 32, 0, 16 * kOne}};
    AtEveryLevel([&] {
        HostSurface to(80, 32, kFormatXrgb);
        to.fill(kMarker);
        DrawQuad(from, to, c);
        int wrong = 0;
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 80; ++x) {
                // At the centre u = (2x - y + 0.5) / 4 and v = (2y + 1) / 4.
                const int u = (4 * x - 2 * y + 1) >> 3, v = (2 * y + 1) >> 2;
                const bool inside = 2 * x + 1 >= y + 1 && 2 * x + 1 < y + 129;
                wrong += to.pixel(x, y) != (inside ? uint32_t(v << 8 | std::clamp(u, 0, 31)) : kMarker);
            }
        EXPECT_EQ(wrong, 0);
    });
}

// Faces of a turning cube in strong perspective, as an effect hands them
// over, nearly edge-on ones included: every sample is within a pixel of the
// one under the exact projective position.
TEST(BlitQuad, CubeFacesStayWithinAPixelOfTheExactMap) {
    const int sw = 320, sh = 240;
    HostSurface from(sw, sh, kFormatXrgb), to(sw, sh, kFormatXrgb);
    for (int y = 0; y < sh; ++y)
        for (int x = 0; x < sw; ++x) from.setPixel(x, y, uint32_t(y << 16 | x));
    // Each face: a corner and its edges along the source's x and y.
    const double cube[6][3][3] = {{{-1, -1, -1}, {2, 0, 0}, {0, 2, 0}}, {{1, -1, 1}, {-2, 0, 0}, {0, 2, 0}},
                                  {{1, -1, -1}, {0, 0, 2}, {0, 2, 0}},  {{-1, -1, 1}, {0, 0, -2}, {0, 2, 0}},
                                  {{-1, -1, 1}, {2, 0, 0}, {0, 0, -2}}, {{-1, 1, -1}, {2, 0, 0}, {0, 0, 2}}};
    int worst = 0, faces = 0;
    for (int step = 0; step < 12; ++step) {
        const double a = step * 0.53, b = 0.35 + step * 0.21;
        for (const auto& f : cube) {
            BlitCorner c[4];
            for (int k = 0; k < 4; ++k) {
                const double s = k == 1 || k == 2, t = k >= 2;
                const double x = f[0][0] + s * f[1][0] + t * f[2][0], y = f[0][1] + s * f[1][1] + t * f[2][1],
                             z = f[0][2] + s * f[1][2] + t * f[2][2];
                const double x1 = x * std::cos(a) + z * std::sin(a), z1 = z * std::cos(a) - x * std::sin(a);
                const double y2 = y * std::cos(b) - z1 * std::sin(b), z2 = y * std::sin(b) + z1 * std::cos(b);
                c[k] = BlitCorner{int32_t(std::lround(sw / 2 + 260 * x1 / (z2 + 3.6))),
                                  int32_t(std::lround(sh / 2 + 260 * y2 / (z2 + 3.6))), int32_t(s * (sw - 1) * kOne),
                                  int32_t(t * (sh - 1) * kOne)};
            }
            // Faces turned towards the viewer (clockwise, y down), not quite edge-on.
            if (int64_t(c[1].dstX - c[0].dstX) * (c[3].dstY - c[0].dstY) -
                    int64_t(c[1].dstY - c[0].dstY) * (c[3].dstX - c[0].dstX) < 400)
                continue;
            ++faces;
            to.fill(kMarker);
            DrawQuad(from, to, c);
            blit::QuadMap h;
            ASSERT_TRUE(blit::MakeQuadMap(c, h));
            for (int y = 0; y < sh; ++y)
                for (int x = 0; x < sw; ++x) {
                    int64_t u, v;
                    const uint32_t got = to.pixel(x, y);
                    if (got == kMarker || !ExactAt(h, x, y, u, v)) continue;
                    worst = std::max({worst, std::abs(int(got & 0xFFFF) - std::clamp(int(u >> 16), 0, sw - 1)),
                                      std::abs(int(got >> 16) - std::clamp(int(v >> 16), 0, sh - 1))});
                }
        }
    }
    EXPECT_GE(faces, 20);
    EXPECT_LE(worst, 1);
}

}  // namespace
