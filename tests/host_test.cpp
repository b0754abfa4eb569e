// The reference host's surfaces, pixel conversion, blit service, PNG files
// and test card.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/blit_service.h"
#include "host/host_error.h"
#include "host/host_surface.h"
#include "host/picture_io.h"
#include "host/pixel_convert.h"
#include "host/test_card.h"
#include "temp_dir_test.h"

namespace {

using namespace fxhost;

SurfaceRect Rect(int left, int top, int right, int bottom) {
    return SurfaceRect{int16_t(top), int16_t(left), int16_t(bottom), int16_t(right)};
}

// A distinct word at each pixel: base plus y in the second byte, x in the first.
void Pattern(HostSurface& s, uint32_t base = 0) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, base + (uint32_t(y) << 8) + uint32_t(x));
}

std::vector<uint32_t> Words(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

void Copy(HostSurface& from, HostSurface& to, SurfaceRect fr, SurfaceRect tr, int32_t mode = kBlitPlain) {
    GetBlitService()->BlitCopy(from.get(), to.get(), &fr, &tr, mode);
}

void Transform(HostSurface& from, HostSurface& to, SurfaceRect fr, SurfaceRect tr, int32_t mode, BlitParams* p) {
    GetBlitService()->BlitTransform(from.get(), to.get(), &fr, &tr, mode, p);
}

constexpr uint32_t kUntouched = 0xEEEEEEEE;

// ---- Surfaces and pixel words ----

TEST(HostSurface, RecordDescribesAlignedZeroedStorage) {
    HostSurface s(5, 3, kFormatXrgb);
    const Surface* r = s.get();
    EXPECT_EQ(r->depth, 32);
    EXPECT_EQ(r->rowBytes, 20);
    EXPECT_EQ(r->ownsPixels, 0);
    EXPECT_EQ(r->pixelFormat, kFormatXrgb);
    EXPECT_EQ(r->bounds.top, 0);
    EXPECT_EQ(r->bounds.left, 0);
    EXPECT_EQ(r->bounds.bottom, 3);
    EXPECT_EQ(r->bounds.right, 5);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(r->pixels) % 16, 0u);
    EXPECT_EQ(Words(s), std::vector<uint32_t>(15, 0));
}

TEST(HostSurface, PaddedRowsKeepTheirPadding) {
    HostSurface s(3, 2, kFormat565, 10);
    EXPECT_EQ(s.get()->depth, 16);
    EXPECT_EQ(s.row(1) - s.row(0), 10);
    s.fillPadding(0xAB);
    s.fill(0x1234);
    s.setPixel(2, 1, 0xFFFF9876);  // 16-bit words keep the low half
    EXPECT_TRUE(s.paddingIs(0xAB));
    EXPECT_EQ(s.pixel(0, 0), 0x1234u);
    EXPECT_EQ(s.pixel(2, 1), 0x9876u);
    EXPECT_EQ(s.row(1)[4], 0x76);
}

TEST(HostSurface, RejectsBadArguments) {
    EXPECT_THROW(HostSurface(4, 4, 0), HostError);
    EXPECT_THROW(HostSurface(4, 4, 4), HostError);
    EXPECT_THROW(HostSurface(-1, 4, kFormatXrgb), HostError);
    EXPECT_THROW(HostSurface(4, 40000, kFormatXrgb), HostError);
    EXPECT_THROW(HostSurface(4, 4, kFormatXrgb, 15), HostError);
    EXPECT_THROW(HostSurface(4, 4, kFormat555, -8), HostError);
    EXPECT_NO_THROW(HostSurface(4, 4, kFormat555, 9));  // odd padding is allowed
    HostSurface s(2, 2, kFormatXrgb);
    EXPECT_THROW(s.pixel(2, 0), HostError);
    EXPECT_THROW(s.setPixel(0, -1, 0), HostError);
}

TEST(HostSurface, EmptyAndMovedSurfaces) {
    HostSurface empty(0, 7, kFormat555);
    EXPECT_NE(empty.get()->pixels, nullptr);
    EXPECT_EQ(empty.width(), 0);
    EXPECT_EQ(empty.rowBytes(), 0);

    HostSurface a(3, 2, kFormatXrgb);
    a.setPixel(2, 1, 0x00ABCDEF);
    uint8_t* pixels = a.get()->pixels;
    HostSurface b(std::move(a));
    EXPECT_EQ(b.get()->pixels, pixels);
    EXPECT_EQ(b.pixel(2, 1), 0x00ABCDEFu);
    EXPECT_EQ(a.width(), 0);
    HostSurface c(1, 1, kFormat565);
    c = std::move(b);
    EXPECT_EQ(c.pixel(2, 1), 0x00ABCDEFu);
}

TEST(PixelConvert, PackKeepsHighBitsAndUnpackReplicates) {
    const Rgb8 c{0xFF, 0x80, 0x07};
    EXPECT_EQ(PackPixel(c, kFormatXrgb), 0x00FF8007u);
    EXPECT_EQ(PackPixel(c, kFormat565), 0xFC00u);
    EXPECT_EQ(PackPixel(c, kFormat555), 0x7E00u);
    const Rgb8 u565 = UnpackPixel(0xFC1F, kFormat565);
    EXPECT_EQ((std::vector<int>{u565.r, u565.g, u565.b}), (std::vector<int>{255, 130, 255}));
    const Rgb8 u555 = UnpackPixel(0xFE01, kFormat555);  // top bit ignored
    EXPECT_EQ((std::vector<int>{u555.r, u555.g, u555.b}), (std::vector<int>{255, 132, 8}));
    const Rgb8 x = UnpackPixel(0xAB123456, kFormatXrgb);
    EXPECT_EQ((std::vector<int>{x.r, x.g, x.b}), (std::vector<int>{0x12, 0x34, 0x56}));
    const Rgb8 other = UnpackPixel(0xFC1F, 7);
    EXPECT_EQ(other.g, 130);
}

TEST(PixelConvert, SixteenBitWordsSurviveARoundTrip) {
    for (uint32_t w = 0; w < 0x10000; ++w) {
        ASSERT_EQ(PackPixel(UnpackPixel(w, kFormat565), kFormat565), w);
        ASSERT_EQ(PackPixel(UnpackPixel(w, kFormat555), kFormat555), w & 0x7FFF);
    }
}

// ---- BlitCopy ----

TEST(BlitCopy, MovesARectangleToAnOffset) {
    HostSurface from(4, 3, kFormatXrgb), to(6, 5, kFormatXrgb, 28);
    Pattern(from);
    to.fill(kUntouched);
    to.fillPadding(0x5A);
    Copy(from, to, Rect(1, 1, 3, 3), Rect(3, 2, 5, 4));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) {
            const bool inside = x >= 3 && x < 5 && y >= 2 && y < 4;
            EXPECT_EQ(to.pixel(x, y), inside ? from.pixel(x - 2, y - 1) : kUntouched) << x << "," << y;
        }
    EXPECT_TRUE(to.paddingIs(0x5A));
}

TEST(BlitCopy, ClipsTargetAndClampsSource) {
    HostSurface from(3, 3, kFormatXrgb), to(4, 4, kFormatXrgb, 20);
    Pattern(from);
    to.fill(kUntouched);
    to.fillPadding(0x5A);
    // The target rect hangs off the top left; the source rect off the right.
    Copy(from, to, Rect(0, 0, 4, 3), Rect(-1, -1, 3, 2));
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{0x101, 0x102, 0x102, kUntouched,  // x 3 clamps to 2
                                                0x201, 0x202, 0x202, kUntouched,  //
                                                kUntouched, kUntouched, kUntouched, kUntouched,  //
                                                kUntouched, kUntouched, kUntouched, kUntouched}));
    EXPECT_TRUE(to.paddingIs(0x5A));
}

TEST(BlitCopy, UsesEachSurfacesBoundsCoordinates) {
    HostSurface from(3, 2, kFormatXrgb), to(3, 2, kFormatXrgb);
    Pattern(from);
    to.fill(kUntouched);
    from.get()->bounds = Rect(10, 20, 13, 22);
    to.get()->bounds = Rect(-5, 4, -2, 6);
    Copy(from, to, Rect(12, 20, 13, 22), Rect(-5, 5, -4, 7));  // last row clipped
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{kUntouched, kUntouched, kUntouched, 0x002, kUntouched, kUntouched}));
}

TEST(BlitCopy, ScalesByNearestNeighbourAtPixelCentres) {
    HostSurface small(2, 2, kFormatXrgb), big(4, 4, kFormatXrgb), back(2, 2, kFormatXrgb);
    Pattern(small);
    Copy(small, big, Rect(0, 0, 2, 2), Rect(0, 0, 4, 4));
    EXPECT_EQ(Words(big), (std::vector<uint32_t>{0x000, 0x000, 0x001, 0x001, 0x000, 0x000, 0x001, 0x001, 0x100,
                                                 0x100, 0x101, 0x101, 0x100, 0x100, 0x101, 0x101}));
    Pattern(big);
    // Halving: a centre on a boundary takes the pixel after it. Mode 4 is the same.
    Copy(big, back, Rect(0, 0, 4, 4), Rect(0, 0, 2, 2), kBlitCopyAlt);
    EXPECT_EQ(Words(back), (std::vector<uint32_t>{0x101, 0x103, 0x301, 0x303}));
}

TEST(BlitCopy, NonIntegerRatios) {
    HostSurface three(3, 1, kFormatXrgb), five(5, 1, kFormatXrgb);
    Pattern(three);
    Copy(three, five, Rect(0, 0, 3, 1), Rect(0, 0, 5, 1));
    EXPECT_EQ(Words(five), (std::vector<uint32_t>{0, 0, 1, 2, 2}));
    Pattern(five);
    Copy(five, three, Rect(0, 0, 5, 1), Rect(0, 0, 3, 1));
    EXPECT_EQ(Words(three), (std::vector<uint32_t>{0, 2, 4}));
}

TEST(BlitCopy, SameDepthMovesWordsUnchanged) {
    HostSurface labelled(3, 1, kFormat565), plain(3, 1, kFormat565), wide(6, 2, kFormat555);
    labelled.get()->pixelFormat = kFormatXrgb;  // still 16-bit words
    labelled.setPixel(0, 0, 0xFFFF);
    labelled.setPixel(1, 0, 0x8001);
    labelled.setPixel(2, 0, 0x1234);
    Copy(labelled, plain, Rect(0, 0, 3, 1), Rect(0, 0, 3, 1));
    EXPECT_EQ(Words(plain), (std::vector<uint32_t>{0xFFFF, 0x8001, 0x1234}));
    Copy(plain, wide, Rect(0, 0, 3, 1), Rect(0, 0, 6, 2));
    EXPECT_EQ(Words(wide), (std::vector<uint32_t>{0xFFFF, 0xFFFF, 0x8001, 0x8001, 0x1234, 0x1234, 0xFFFF, 0xFFFF,
                                                  0x8001, 0x8001, 0x1234, 0x1234}));
}

TEST(BlitCopy, ConvertsBetweenDepths) {
    HostSurface x(2, 1, kFormatXrgb), p565(2, 1, kFormat565), p555(2, 1, kFormat555);
    x.setPixel(0, 0, 0xABFF8007);  // top byte carries no colour
    x.setPixel(1, 0, 0x0008040F);
    Copy(x, p565, Rect(0, 0, 2, 1), Rect(0, 0, 2, 1));
    Copy(x, p555, Rect(0, 0, 2, 1), Rect(0, 0, 2, 1));
    EXPECT_EQ(Words(p565), (std::vector<uint32_t>{0xFC00, 0x0821}));
    EXPECT_EQ(Words(p555), (std::vector<uint32_t>{0x7E00, 0x0401}));

    p565.setPixel(1, 0, 0x001F);
    p555.setPixel(1, 0, 0x83E0);
    Copy(p565, x, Rect(0, 0, 2, 1), Rect(0, 0, 2, 1));
    EXPECT_EQ(Words(x), (std::vector<uint32_t>{0x00FF8200, 0x000000FF}));
    Copy(p555, x, Rect(0, 0, 2, 1), Rect(0, 0, 2, 1));
    EXPECT_EQ(Words(x), (std::vector<uint32_t>{0x00FF8400, 0x0000FF00}));
}

TEST(BlitCopy, ReduceAveragesWithHalvesRoundingUp) {
    HostSurface from(4, 2, kFormatXrgb), to(2, 1, kFormatXrgb);
    // Lanes of the left block: blue 0,0,1,1 (2/4 -> 1), green 10,11,12,12
    // (45/4 -> 11), red 255,255,255,254 (1019/4 -> 255).
    from.setPixel(0, 0, 0x00FF0A00);
    from.setPixel(1, 0, 0x00FF0B00);
    from.setPixel(0, 1, 0x00FF0C01);
    from.setPixel(1, 1, 0x00FE0C01);
    for (int y = 0; y < 2; ++y)
        for (int x = 2; x < 4; ++x) from.setPixel(x, y, 0x00102030);
    Copy(from, to, Rect(0, 0, 4, 2), Rect(0, 0, 2, 1), kBlitReduce);
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{0x00FF0B01, 0x00102030}));

    HostSurface three(3, 1, kFormatXrgb), two(2, 1, kFormatXrgb);
    three.setPixel(0, 0, 7);
    three.setPixel(1, 0, 10);
    three.setPixel(2, 0, 21);
    Copy(three, two, Rect(0, 0, 3, 1), Rect(0, 0, 2, 1), kBlitReduce);
    EXPECT_EQ(Words(two), (std::vector<uint32_t>{7, 16}));  // blocks {0} and {1, 2}
}

TEST(BlitCopy, ReduceFallsBackToNearestWhenEnlarging) {
    HostSurface from(4, 1, kFormatXrgb), to(2, 2, kFormatXrgb);
    for (int x = 0; x < 4; ++x) from.setPixel(x, 0, uint32_t(x) * 10);
    Copy(from, to, Rect(0, 0, 4, 1), Rect(0, 0, 2, 2), kBlitReduce);
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{5, 25, 5, 25}));  // wide: averages; tall: repeats
    HostSurface wide(8, 2, kFormatXrgb), expect(8, 2, kFormatXrgb);
    Copy(from, wide, Rect(0, 0, 4, 1), Rect(0, 0, 8, 2), kBlitReduce);
    Copy(from, expect, Rect(0, 0, 4, 1), Rect(0, 0, 8, 2));
    EXPECT_EQ(Words(wide), Words(expect));
}

TEST(BlitCopy, ReduceSixteenBitInLanes) {
    HostSurface from(2, 1, kFormat565), to(1, 1, kFormat565), x(1, 1, kFormatXrgb);
    from.setPixel(0, 0, 1u << 11);
    from.setPixel(1, 0, (3u << 11) | (1u << 5) | 31u);
    Copy(from, to, Rect(0, 0, 2, 1), Rect(0, 0, 1, 1), kBlitReduce);
    EXPECT_EQ(to.pixel(0, 0), (2u << 11) | (1u << 5) | 16u);
    // Across depths the average is over widened 8-bit channels.
    from.setPixel(0, 0, 0x0000);
    from.setPixel(1, 0, 0xFFFF);
    Copy(from, x, Rect(0, 0, 2, 1), Rect(0, 0, 1, 1), kBlitReduce);
    EXPECT_EQ(x.pixel(0, 0), 0x00808080u);
}

TEST(BlitCopy, OverlappingCopiesWithinOneSurface) {
    HostSurface s(6, 5, kFormatXrgb), ref(6, 5, kFormatXrgb), snap(6, 5, kFormatXrgb);
    Pattern(s);
    Pattern(ref);
    Pattern(snap);
    Copy(s, s, Rect(0, 0, 4, 3), Rect(1, 1, 5, 4));
    Copy(snap, ref, Rect(0, 0, 4, 3), Rect(1, 1, 5, 4));
    EXPECT_EQ(Words(s), Words(ref));
    Copy(s, s, Rect(1, 1, 4, 3), Rect(0, 0, 6, 5));
    Copy(ref, snap, Rect(1, 1, 4, 3), Rect(0, 0, 6, 5));
    EXPECT_EQ(Words(s), Words(snap));
}

TEST(BlitCopy, IgnoresMissingOrEmptyArguments) {
    HostSurface from(2, 2, kFormatXrgb), to(2, 2, kFormatXrgb);
    Pattern(from, 0x100000);
    to.fill(kUntouched);
    const SurfaceRect r = Rect(0, 0, 2, 2), empty = Rect(1, 1, 1, 2);
    BlitService* svc = GetBlitService();
    svc->BlitCopy(nullptr, to.get(), &r, &r, 1);
    svc->BlitCopy(from.get(), nullptr, &r, &r, 1);
    svc->BlitCopy(from.get(), to.get(), nullptr, &r, 1);
    svc->BlitCopy(from.get(), to.get(), &r, nullptr, 1);
    svc->BlitCopy(from.get(), to.get(), &empty, &r, 1);
    svc->BlitCopy(from.get(), to.get(), &r, &empty, kBlitReduce);
    Surface noPixels = *from.get();
    noPixels.pixels = nullptr;
    svc->BlitCopy(&noPixels, to.get(), &r, &r, 1);
    HostSurface none(0, 0, kFormatXrgb);
    svc->BlitCopy(none.get(), to.get(), &r, &r, 1);
    EXPECT_EQ(Words(to), std::vector<uint32_t>(4, kUntouched));
}

// ---- Service record and rectangle checks ----

TEST(BlitService, RecordHoldsTheThreeOperations) {
    BlitService* svc = GetBlitService();
    EXPECT_EQ(svc, GetBlitService());
    for (void* w : svc->words) EXPECT_EQ(w, nullptr);
    EXPECT_EQ(svc->BlitCopy, &BlitCopy);
    EXPECT_EQ(svc->BlitTransform, &BlitTransform);
    EXPECT_EQ(svc->BlitCheckRect, &BlitCheckRect);
}

TEST(BlitService, CheckRect) {
    const SurfaceRect outer = Rect(0, 0, 10, 8);
    const SurfaceRect cases[] = {Rect(2, 2, 5, 5), Rect(0, 0, 10, 8), Rect(5, 5, 11, 6), Rect(-1, 0, 3, 3),
                                 Rect(3, 3, 3, 6), Rect(4, 4, 2, 6)};
    const int32_t expected[] = {1, 1, 0, 0, 0, 0};
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(BlitCheckRect(&cases[i], &outer), expected[i]) << i;
    EXPECT_EQ(BlitCheckRect(nullptr, &outer), 0);
    EXPECT_EQ(BlitCheckRect(&outer, nullptr), 0);
}

// ---- BlitTransform: blends ----

uint32_t BlendOnce(uint32_t src, uint32_t dst, int32_t level, int32_t fromFormat = kFormatXrgb,
                   int32_t toFormat = kFormatXrgb) {
    HostSurface from(1, 1, fromFormat), to(1, 1, toFormat);
    from.setPixel(0, 0, src);
    to.setPixel(0, 0, dst);
    BlitParams p{};
    p.blendLevel = level;
    Transform(from, to, Rect(0, 0, 1, 1), Rect(0, 0, 1, 1), kBlitBlend, &p);
    return to.pixel(0, 0);
}

TEST(BlitTransform, BlendLevels) {
    const uint32_t src = 0x00C86400, dst = 0x00000064;
    EXPECT_EQ(BlendOnce(src, dst, 0), dst);
    EXPECT_EQ(BlendOnce(src, dst, 100), src);
    EXPECT_EQ(BlendOnce(src, dst, 50), 0x00643232u);
    EXPECT_EQ(BlendOnce(src, dst, 33), 0x00422143u);
    EXPECT_EQ(BlendOnce(0x00010003, 0, 50), 0x00010002u);  // halves round up
    EXPECT_EQ(BlendOnce(src, dst, -5), dst);
    EXPECT_EQ(BlendOnce(src, dst, 128), src);
}

TEST(BlitTransform, BlendsSixteenBitAndMixedDepths) {
    EXPECT_EQ(BlendOnce(0xFFFF, 0x0000, 50, kFormat565, kFormat565), 0x8410u);
    EXPECT_EQ(BlendOnce(0x7FFF, 0x0000, 50, kFormat555, kFormat555), 0x4210u);
    EXPECT_EQ(BlendOnce(0x00FFFFFF, 0x0000, 50, kFormatXrgb, kFormat565), 0x8410u);
    EXPECT_EQ(BlendOnce(0xFFFF, 0x00000000, 50, kFormat565, kFormatXrgb), 0x00808080u);
}

TEST(BlitTransform, BlendMapsScaledRectsAndNeedsParams) {
    HostSurface from(1, 1, kFormatXrgb), to(3, 2, kFormatXrgb);
    from.setPixel(0, 0, 0x00646464);
    to.fill(0);
    Transform(from, to, Rect(0, 0, 1, 1), Rect(1, 0, 3, 2), kBlitBlend, nullptr);
    EXPECT_EQ(Words(to), std::vector<uint32_t>(6, 0));
    BlitParams p{};
    p.blendLevel = 25;
    Transform(from, to, Rect(0, 0, 1, 1), Rect(1, 0, 3, 2), kBlitBlend, &p);
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{0, 0x00191919, 0x00191919, 0, 0x00191919, 0x00191919}));
}

// ---- BlitTransform: plain copies and quadrilaterals ----

BlitParams Quad(std::initializer_list<BlitCorner> corners) {
    BlitParams p{};
    int k = 0;
    for (const BlitCorner& c : corners) p.corners[k++] = c;
    return p;
}

TEST(BlitTransform, ModeOneWithoutCornersIsACopy) {
    HostSurface from(3, 2, kFormatXrgb), viaCopy(7, 5, kFormat565), viaTransform(7, 5, kFormat565);
    Pattern(from, 0x00405060);
    Copy(from, viaCopy, Rect(0, 0, 3, 2), Rect(1, 1, 6, 5));
    BlitParams none{};
    Transform(from, viaTransform, Rect(0, 0, 3, 2), Rect(1, 1, 6, 5), kBlitPlain, &none);
    EXPECT_EQ(Words(viaTransform), Words(viaCopy));
    HostSurface nullParams(7, 5, kFormat565), otherMode(7, 5, kFormat565);
    Transform(from, nullParams, Rect(0, 0, 3, 2), Rect(1, 1, 6, 5), kBlitPlain, nullptr);
    Transform(from, otherMode, Rect(0, 0, 3, 2), Rect(1, 1, 6, 5), 7, &none);
    EXPECT_EQ(Words(nullParams), Words(viaCopy));
    EXPECT_EQ(Words(otherMode), Words(viaCopy));
}

TEST(BlitTransform, AxisAlignedQuadScalesExactly) {
    HostSurface from(2, 2, kFormatXrgb), to(6, 6, kFormatXrgb);
    Pattern(from);
    to.fill(kUntouched);
    constexpr int32_t k = 65536;
    BlitParams p = Quad({{1, 1, 0, 0}, {5, 1, 2 * k, 0}, {5, 5, 2 * k, 2 * k}, {1, 5, 0, 2 * k}});
    Transform(from, to, Rect(0, 0, 2, 2), Rect(1, 1, 5, 5), kBlitPlain, &p);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) {
            const bool inside = x >= 1 && x < 5 && y >= 1 && y < 5;
            EXPECT_EQ(to.pixel(x, y), inside ? from.pixel((x - 1) / 2, (y - 1) / 2) : kUntouched) << x << "," << y;
        }
}

TEST(BlitTransform, QuadMirrorsAndClipsToTheTarget) {
    HostSurface from(4, 1, kFormatXrgb), to(3, 2, kFormatXrgb);
    Pattern(from);
    to.fill(kUntouched);
    constexpr int32_t k = 65536;
    // The source runs right to left; the quad hangs off the target's left edge.
    BlitParams p = Quad({{-1, 0, 4 * k, 0}, {3, 0, 0, 0}, {3, 1, 0, k}, {-1, 1, 4 * k, k}});
    Transform(from, to, Rect(0, 0, 4, 1), Rect(0, 0, 3, 2), kBlitPlain, &p);
    EXPECT_EQ(Words(to), (std::vector<uint32_t>{2, 1, 0, kUntouched, kUntouched, kUntouched}));
}

// Centre of pixel (x, y) strictly inside the convex quad, corners in order.
bool CentreInside(const BlitCorner (&c)[4], int x, int y) {
    int sign = 0;
    for (int k = 0; k < 4; ++k) {
        const BlitCorner& a = c[k];
        const BlitCorner& b = c[(k + 1) % 4];
        const double cross = double(b.dstX - a.dstX) * (y + 0.5 - a.dstY) - double(b.dstY - a.dstY) * (x + 0.5 - a.dstX);
        const int s = cross > 0 ? 1 : -1;
        if (sign != 0 && s != sign) return false;
        sign = s;
    }
    return true;
}

TEST(BlitTransform, TiltedQuadsLeaveOutsidePixelsAlone) {
    constexpr int32_t k = 65536;
    struct Case {
        BlitParams quad;
        int cornerPixels[4][2];  // inside, next to each corner in turn
    };
    // Corner positions chosen so that no pixel centre lies on an edge.
    const Case cases[] = {
        {Quad({{2, 0, 0, 0}, {6, 0, 2 * k, 0}, {8, 8, 2 * k, 2 * k}, {0, 8, 0, 2 * k}}),
         {{2, 0}, {5, 0}, {7, 7}, {0, 7}}},
        {Quad({{5, 0, 0, 0}, {10, 4, 2 * k, 0}, {6, 9, 2 * k, 2 * k}, {0, 6, 0, 2 * k}}),
         {{5, 0}, {9, 4}, {5, 8}, {0, 5}}},
    };
    const uint32_t sourceCorners[4] = {0x00AA0000, 0x00AA0001, 0x00AA0101, 0x00AA0100};
    for (const Case& c : cases) {
        HostSurface from(2, 2, kFormatXrgb), to(11, 10, kFormatXrgb);
        Pattern(from, 0x00AA0000);
        to.fill(kUntouched);
        BlitParams p = c.quad;
        Transform(from, to, Rect(0, 0, 2, 2), Rect(0, 0, 11, 10), kBlitPlain, &p);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 11; ++x) {
                const uint32_t w = to.pixel(x, y);
                if (CentreInside(c.quad.corners, x, y)) {
                    EXPECT_EQ(w & 0xFFFFFEFE, 0x00AA0000u) << x << "," << y;
                } else {
                    EXPECT_EQ(w, kUntouched) << x << "," << y;
                }
            }
        for (int i = 0; i < 4; ++i) EXPECT_EQ(to.pixel(c.cornerPixels[i][0], c.cornerPixels[i][1]), sourceCorners[i]) << i;
    }
}

TEST(BlitTransform, DegenerateQuadsDrawNothing) {
    constexpr int32_t k = 65536;
    const BlitParams quads[] = {
        Quad({{0, 0, 0, 0}, {4, 0, k, 0}, {8, 0, k, k}, {2, 0, 0, k}}),      // a line
        Quad({{0, 0, 0, 0}, {2, 0, k, 0}, {4, 0, k, k}, {0, 4, 0, k}}),      // three corners in a row
        Quad({{0, 0, 0, 0}, {4, 0, k, 0}, {4, 4, k, k}, {4, 4, 0, k}}),      // a repeated corner
        Quad({{0, 0, 0, 0}, {4, 0, 0, 0}, {4, 4, 0, 0}, {0, 4, 0, 0}}),      // a single source point
    };
    for (const BlitParams& q : quads) {
        HostSurface from(2, 2, kFormatXrgb), to(8, 8, kFormatXrgb);
        Pattern(from);
        to.fill(kUntouched);
        BlitParams p = q;
        Transform(from, to, Rect(0, 0, 2, 2), Rect(0, 0, 8, 8), kBlitPlain, &p);
        EXPECT_EQ(Words(to), std::vector<uint32_t>(64, kUntouched));
    }
}

// ---- Pictures ----

class Pictures : public TempDirTest {};

// Writes a PNG of any colour type and depth with libpng directly.
bool WriteRawPngC(FILE* f, int w, int h, int colourType, int depth, const png_color* palette, int paletteSize,
                  png_bytepp rows, const std::vector<uint8_t>& trns) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, w, h, depth, colourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (paletteSize > 0) png_set_PLTE(png, info, palette, paletteSize);
    if (!trns.empty()) {
        // Palette: one alpha per entry; grey or RGB: the colour key, 16-bit samples.
        png_color_16 key{};
        key.gray = key.red = trns[0];
        if (trns.size() == 3) key.green = trns[1], key.blue = trns[2];
        png_set_tRNS(png, info, colourType == PNG_COLOR_TYPE_PALETTE ? trns.data() : nullptr, int(trns.size()), &key);
    }
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

void WriteRawPng(const std::string& path, int w, int colourType, int depth, std::vector<uint8_t> bytes,
                 const std::vector<png_color>& palette = {}, const std::vector<uint8_t>& trns = {}) {
    std::vector<png_bytep> rows{bytes.data()};
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    const bool ok =
        WriteRawPngC(f, w, 1, colourType, depth, palette.data(), int(palette.size()), rows.data(), trns);
    std::fclose(f);
    ASSERT_TRUE(ok);
}

TEST_F(Pictures, RoundTripsEverySurfaceFormat) {
    const Image card = MakeTestCard(96, 54);
    for (int32_t format : {kFormatXrgb, kFormat565, kFormat555}) {
        SCOPED_TRACE(format);
        HostSurface s(96, 54, format, format == kFormatXrgb ? 400 : 200);
        ImageToSurface(card, s);
        const Image quantised = SurfaceToImage(s);
        if (format == kFormatXrgb) {
            EXPECT_EQ(quantised.rgb, card.rgb);
        }
        WritePng(Path("card.png"), quantised);
        const Image back = ReadPng(Path("card.png"));
        EXPECT_EQ(back.width, 96);
        EXPECT_EQ(back.height, 54);
        EXPECT_EQ(back.rgb, quantised.rgb);
        HostSurface again(96, 54, format);
        ImageToSurface(back, again);
        EXPECT_EQ(Words(again), Words(s));
    }
    EXPECT_EQ(Listing(), std::vector<std::string>{"card.png"});
}

TEST_F(Pictures, ReadsEveryColourTypeAsRgbWithAlpha) {
    struct Case {
        const char* name;
        int width, colourType, depth;
        std::vector<uint8_t> bytes;
        std::vector<uint8_t> rgb;
        std::vector<uint8_t> alpha;
        std::vector<uint8_t> trns;
    };
    const std::vector<png_color> palette = {{1, 2, 3}, {40, 50, 60}, {250, 0, 7}, {9, 9, 9}};
    const Case cases[] = {
        {"grey8", 2, PNG_COLOR_TYPE_GRAY, 8, {0, 200}, {0, 0, 0, 200, 200, 200}, {}, {}},
        {"greyalpha8", 2, PNG_COLOR_TYPE_GRAY_ALPHA, 8, {10, 255, 90, 0}, {10, 10, 10, 90, 90, 90}, {255, 0}, {}},
        // 16 bits round to 8: 0x0080 -> 0, 0x0081 -> 1, 0xFF7E -> 254.
        {"grey16", 3, PNG_COLOR_TYPE_GRAY, 16, {0x00, 0x80, 0x00, 0x81, 0xFF, 0x7E}, {0, 0, 0, 1, 1, 1, 254, 254, 254},
         {}, {}},
        {"palette2", 4, PNG_COLOR_TYPE_PALETTE, 2, {0xC9}, {9, 9, 9, 1, 2, 3, 250, 0, 7, 40, 50, 60}, {}, {}},
        {"palette2trns", 4, PNG_COLOR_TYPE_PALETTE, 2, {0xC9}, {9, 9, 9, 1, 2, 3, 250, 0, 7, 40, 50, 60},
         {255, 0, 255, 77}, {0, 77}},
        {"greykey", 2, PNG_COLOR_TYPE_GRAY, 8, {7, 8}, {7, 7, 7, 8, 8, 8}, {255, 0}, {8}},
        {"rgbkey", 2, PNG_COLOR_TYPE_RGB, 8, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}, {0, 255}, {1, 2, 3}},
        {"rgba8", 2, PNG_COLOR_TYPE_RGB_ALPHA, 8, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 3, 5, 6, 7}, {4, 8}, {}},
        {"rgb16", 1, PNG_COLOR_TYPE_RGB, 16, {0xFF, 0xFF, 0x12, 0x12, 0, 0}, {255, 0x12, 0}, {}, {}},
        {"rgba16", 1, PNG_COLOR_TYPE_RGB_ALPHA, 16, {0x40, 0x40, 0, 0, 0xFF, 0xFF, 0x00, 0xC0}, {0x40, 0, 255},
         {1}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Path(std::string(c.name) + ".png");
        WriteRawPng(path, c.width, c.colourType, c.depth, c.bytes,
                    c.colourType == PNG_COLOR_TYPE_PALETTE ? palette : std::vector<png_color>{}, c.trns);
        const Image image = ReadPng(path);
        EXPECT_EQ(image.width, c.width);
        EXPECT_EQ(image.height, 1);
        EXPECT_EQ(image.rgb, c.rgb);
        EXPECT_EQ(image.alpha, c.alpha);
        // Written back as RGBA or RGB, and read the same.
        WritePng(path, image);
        const Image again = ReadPng(path);
        EXPECT_EQ(again.rgb, c.rgb);
        EXPECT_EQ(again.alpha, c.alpha);
    }
}

void ExpectReadError(const std::string& path) {
    try {
        ReadPng(path);
        ADD_FAILURE() << "no error for " << path;
    } catch (const HostError& e) {
        EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
        EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos);
    }
}

TEST_F(Pictures, ReadErrorsNameTheFile) {
    ExpectReadError(Path("missing.png"));
    std::ofstream(Path("text.png")) << "this is not a picture\n";
    ExpectReadError(Path("text.png"));
    std::ofstream(Path("empty.png")).close();
    ExpectReadError(Path("empty.png"));

    WritePng(Path("whole.png"), MakeTestCard(64, 36));
    std::ifstream in(Path("whole.png"), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::ofstream(Path("half.png"), std::ios::binary).write(bytes.data(), std::streamsize(bytes.size() / 2));
    ExpectReadError(Path("half.png"));
    std::vector<char> damaged = bytes;
    damaged[damaged.size() / 2] = char(damaged[damaged.size() / 2] ^ 0x55);
    std::ofstream(Path("damaged.png"), std::ios::binary).write(damaged.data(), std::streamsize(damaged.size()));
    ExpectReadError(Path("damaged.png"));
}

TEST_F(Pictures, WritingIsAllOrNothing) {
    const Image card = MakeTestCard(16, 9);
    EXPECT_THROW(WritePng(Path("nowhere/card.png"), card), HostError);
    EXPECT_FALSE(std::filesystem::exists(Path("nowhere")));
    Image bad = card;
    bad.rgb.pop_back();
    EXPECT_THROW(WritePng(Path("bad.png"), bad), HostError);
    bad = card;
    bad.alpha.assign(5, 0);
    EXPECT_THROW(WritePng(Path("bad.png"), bad), HostError);
    EXPECT_THROW(WritePng(Path("empty.png"), Image{}), HostError);
    EXPECT_TRUE(Listing().empty());

    std::ofstream(Path("card.png")) << "old contents";
    WritePng(Path("card.png"), card);  // replaces the old file
    EXPECT_EQ(ReadPng(Path("card.png")).rgb, card.rgb);
    EXPECT_EQ(Listing(), std::vector<std::string>{"card.png"});
}

TEST(PictureSurface, SizesMustAgree) {
    HostSurface s(4, 3, kFormatXrgb);
    EXPECT_THROW(ImageToSurface(MakeTestCard(3, 4), s), HostError);
    EXPECT_NO_THROW(ImageToSurface(MakeTestCard(4, 3), s));
}

// ---- Test card ----

TEST(TestCard, DeterministicWithBarsAndRamps) {
    const Image a = MakeTestCard();
    ASSERT_EQ(a.width, 640);
    ASSERT_EQ(a.height, 360);
    ASSERT_EQ(a.rgb.size(), 640u * 360 * 3);
    EXPECT_EQ(a.rgb, MakeTestCard(640, 360).rgb);
    auto at = [&](int x, int y) {
        const uint8_t* p = &a.rgb[(size_t(y) * 640 + x) * 3];
        return std::vector<int>{p[0], p[1], p[2]};
    };
    const std::vector<int> bars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                      {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(at(i * 80 + 40, 60), bars[i]) << i;
    EXPECT_EQ(at(0, 125), (std::vector<int>{0, 0, 0}));          // grey ramp
    EXPECT_EQ(at(639, 125), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(at(639, 140), (std::vector<int>{255, 0, 0}));      // red ramp
    EXPECT_EQ(at(639, 155), (std::vector<int>{0, 255, 0}));
    EXPECT_EQ(at(639, 170), (std::vector<int>{0, 0, 255}));
    EXPECT_EQ(at(0, 180), (std::vector<int>{0, 0, 0}));          // 1-pixel checkerboard
    EXPECT_EQ(at(1, 180), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(at(1, 181), (std::vector<int>{0, 0, 0}));
}

TEST(TestCard, AnySizeFromOnePixel) {
    for (auto [w, h] : {std::pair{1, 1}, {2, 1}, {1, 5}, {7, 3}, {1920, 1080}}) {
        const Image card = MakeTestCard(w, h);
        EXPECT_EQ(card.width, w);
        EXPECT_EQ(card.height, h);
        EXPECT_EQ(card.rgb.size(), size_t(w) * h * 3);
    }
    EXPECT_EQ(MakeTestCard(1, 1).rgb, (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_THROW(MakeTestCard(0, 4), HostError);
}

}  // namespace
