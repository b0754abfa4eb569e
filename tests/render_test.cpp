// Offscreens and the base class of all effects.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "host/blit_service.h"
#include "render/offscreen.h"
#include "render/render_interface.h"
#include "render/simd_level.h"
#include "shell/factory.h"
#include "shell/module.h"

namespace {

// A surface over test-owned words.
struct TestSurface {
    TestSurface(int width, int height, int depth, int32_t format, int rowBytes = 0)
        : storage((rowBytes ? rowBytes : width * depth / 8) * height / 4 + 1) {
        record = Surface{reinterpret_cast<uint8_t*>(storage.data()), depth,
                         {0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)},
                         rowBytes ? rowBytes : width * depth / 8, 0, format, 0, 0, 0};
    }
    uint32_t& at32(int x, int y) {
        return reinterpret_cast<uint32_t*>(record.pixels + y * record.rowBytes)[x];
    }
    std::vector<uint32_t> storage;
    Surface record{};
};

struct Probe : CRenderInterface {
    explicit Probe(const int*) {}
    void Render() override {}
};

Probe* MakeProbe(Surface* source, Surface* destination) {
    g_frame.source = source;
    g_frame.destination = destination;
    const int unused = 0;
    return static_cast<Probe*>(NewZeroedEffect<Probe>(&unused));
}

// A service that counts calls and refuses on demand.
struct FakeBlit {
    static inline int checks = 0, copies = 0;
    static inline int32_t answer = 1;
    static int32_t Check(const SurfaceRect*, const SurfaceRect*) { return ++checks, answer; }
    static void Copy(Surface*, Surface*, const SurfaceRect*, const SurfaceRect*, int32_t) { ++copies; }
};

class RenderFramework : public ::testing::Test {
protected:
    void SetUp() override { g_blitService = fxhost::GetBlitService(); }
    void TearDown() override {
        g_blitService = nullptr;
        g_frame = FrameParams{};
    }
};

TEST_F(RenderFramework, OffscreenRowsArePaddedAndTailsCleared) {
    // Leave garbage in the heap where the pixels are likely to land.
    void* junk = std::malloc(48 * 3);
    std::memset(junk, 0xAB, 48 * 3);
    std::free(junk);
    const SurfaceRect rect{0, 0, 3, 10};
    Surface* s = NewOffscreen(&g_frame, &rect);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->rowBytes, 48);
    EXPECT_EQ(s->depth, 32);
    EXPECT_EQ(s->pixelFormat, kFormatXrgb);
    EXPECT_EQ(s->ownsPixels, 1);
    for (int y = 0; y < 3; ++y)
        for (int i = 40; i < 48; ++i) EXPECT_EQ(s->pixels[y * 48 + i], 0) << y << "," << i;
    FreeOffscreen(s);
}

#ifdef __linux__
// A large offscreen is written at creation: its pages are mapped then, not by
// the first frame that draws into it.
TEST_F(RenderFramework, LargeOffscreenPagesAreMappedAtCreation) {
    const SurfaceRect rect{0, 0, 1080, 1920};
    Surface* s = NewOffscreen(&g_frame, &rect);
    ASSERT_NE(s, nullptr);
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = reinterpret_cast<uintptr_t>(s->pixels) / page * page;
    const uintptr_t end = reinterpret_cast<uintptr_t>(s->pixels) + size_t{1080} * s->rowBytes;
    std::vector<unsigned char> resident((end - begin + page - 1) / page);
    ASSERT_EQ(mincore(reinterpret_cast<void*>(begin), end - begin, resident.data()), 0);
    size_t missing = 0;
    for (unsigned char r : resident) missing += !(r & 1);
    EXPECT_EQ(missing, 0u) << "of " << resident.size() << " pages";
    FreeOffscreen(s);
}
#endif

TEST_F(RenderFramework, OffscreenLikeDestinationKeepsItsDepth) {
    TestSurface dst(8, 2, 16, kFormat565);
    g_frame.destination = &dst.record;
    Surface* s = NewOffscreen(&g_frame, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->rowBytes, 16);  // already a multiple of 16: no pad
    EXPECT_EQ(s->depth, 16);
    EXPECT_EQ(s->pixelFormat, kFormatXrgb);  // offscreens always say 3
    EXPECT_EQ(SurfaceWidth(*s), 8);
    EXPECT_EQ(SurfaceHeight(*s), 2);
    FreeOffscreen(s);
}

TEST_F(RenderFramework, OffscreenRefusals) {
    const SurfaceRect noWidth{0, 5, 4, 5};
    EXPECT_EQ(NewOffscreen(&g_frame, &noWidth), nullptr);
    const SurfaceRect negative{0, 0, -5, 10};  // wraps past 32 bits: the allocation fails
    EXPECT_EQ(NewOffscreen(&g_frame, &negative), nullptr);
    g_frame.destination = nullptr;
    EXPECT_EQ(NewOffscreen(&g_frame, nullptr), nullptr);
}

TEST_F(RenderFramework, OffscreenOriginIsAlwaysZero) {
    const SurfaceRect rect{100, 100, 104, 106};
    Surface* s = NewOffscreen(&g_frame, &rect);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->bounds.top, 0);
    EXPECT_EQ(s->bounds.left, 0);
    EXPECT_EQ(s->bounds.bottom, 4);
    EXPECT_EQ(s->bounds.right, 6);
    FreeOffscreen(s);
}

TEST_F(RenderFramework, ConstructorCachesGeometryAndSnapshot) {
    TestSurface src(5, 3, 32, kFormatXrgb, 24), dst(5, 3, 32, kFormatXrgb, 32);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) src.at32(x, y) = 0x010000u * x + 0x100u * y + 7;
    Probe* p = MakeProbe(&src.record, &dst.record);
    EXPECT_TRUE(p->valid);
    EXPECT_TRUE(p->IsReady());
    EXPECT_EQ(p->startTime, kStartTimeUnset);
    EXPECT_EQ(p->bytesPerPixel, 4);
    EXPECT_EQ(p->pixelShift, 2);
    EXPECT_EQ(p->srcRowPad, 4);
    EXPECT_EQ(p->dstRowPad, 12);
    EXPECT_EQ(p->dstWidth, 5);
    EXPECT_EQ(p->srcHeight, 3);
    EXPECT_EQ(p->frame, &g_frame);
    ASSERT_NE(p->snapshot, nullptr);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(reinterpret_cast<uint32_t*>(p->snapshot->pixels + y * p->snapshot->rowBytes)[x],
                      src.at32(x, y));
    p->source = nullptr;
    EXPECT_FALSE(p->IsReady());
    delete p;
}

TEST_F(RenderFramework, ConstructionFailuresLeaveZeroes) {
    TestSurface s16(4, 4, 16, kFormat565), s32(4, 4, 32, kFormatXrgb);
    Probe* mixed = MakeProbe(&s16.record, &s32.record);
    EXPECT_FALSE(mixed->valid);
    EXPECT_FALSE(mixed->IsReady());
    EXPECT_EQ(mixed->startTime, 0u);
    EXPECT_EQ(mixed->snapshot, nullptr);
    delete mixed;
    Probe* none = MakeProbe(nullptr, &s32.record);
    EXPECT_FALSE(none->valid);
    EXPECT_EQ(none->bytesPerPixel, 0);
    EXPECT_EQ(none->dstWidth, 0);
    delete none;
}

TEST_F(RenderFramework, CopySurfaceHonoursTheHostsCheck) {
    TestSurface a(4, 4, 32, kFormatXrgb), b(4, 4, 32, kFormatXrgb);
    Probe* p = MakeProbe(&a.record, &b.record);
    BlitService fake{};
    fake.BlitCheckRect = FakeBlit::Check;
    fake.BlitCopy = FakeBlit::Copy;
    g_blitService = &fake;
    FakeBlit::answer = 0;
    p->CopySurface(&a.record, &b.record);
    EXPECT_EQ(FakeBlit::checks, 1);
    EXPECT_EQ(FakeBlit::copies, 0);
    FakeBlit::answer = 1;
    p->CopySourceToDestination();
    EXPECT_EQ(FakeBlit::copies, 1);
    Surface empty = b.record;
    empty.pixels = nullptr;
    p->CopySurface(&a.record, &empty);
    EXPECT_EQ(FakeBlit::copies, 1);  // no pixels: skipped
    delete p;
}

TEST_F(RenderFramework, MatchSourceToDestinationReadsAScaledCopy) {
    TestSurface big(8, 8, 32, kFormatXrgb), small(4, 4, 32, kFormatXrgb);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) big.at32(x, y) = (y / 2) * 16 + x / 2;
    Probe* p = MakeProbe(&big.record, &small.record);
    ASSERT_TRUE(p->valid);
    EXPECT_FALSE(p->workSurface);
    EXPECT_TRUE(p->EnsureSameSize());
    ASSERT_NE(p->workSurface, nullptr);
    EXPECT_EQ(p->source, p->workSurface);
    EXPECT_EQ(p->hostSource, &big.record);
    EXPECT_EQ(p->srcWidth, 4);
    EXPECT_EQ(p->srcRowBytes, 16);
    p->RefreshWorkSurface();
    const auto* scaled = reinterpret_cast<const uint32_t*>(p->workSurface->pixels);
    EXPECT_EQ(scaled[0], 0u);
    EXPECT_EQ(scaled[4 * 3 + 2], 3u * 16 + 2);
    delete p;
}

TEST_F(RenderFramework, SameSizeNeedsNoWorkSurface) {
    TestSurface a(6, 2, 16, kFormat555), b(6, 2, 16, kFormat555);
    Probe* p = MakeProbe(&a.record, &b.record);
    EXPECT_EQ(p->pixelShift, 1);
    EXPECT_TRUE(p->EnsureSameSize());
    EXPECT_EQ(p->workSurface, nullptr);
    delete p;
}

TEST_F(RenderFramework, RedirectDestinationDrawsIntoAnOffscreen) {
    TestSurface src(6, 3, 16, kFormat565), dst(10, 10, 16, kFormat565);
    Probe* p = MakeProbe(&src.record, &dst.record);
    ASSERT_TRUE(p->RedirectDestination(nullptr));
    EXPECT_EQ(p->hostDestination, &dst.record);
    EXPECT_EQ(p->destination, p->workSurface);
    EXPECT_EQ(SurfaceWidth(*p->workSurface), 6);
    EXPECT_EQ(SurfaceHeight(*p->workSurface), 3);
    EXPECT_EQ(p->workSurface->depth, 32);  // a rect makes 32 bits, even here
    delete p;
}

TEST_F(RenderFramework, WordLoopStaysInsideBothPictures) {
    TestSurface a(6, 5, 32, kFormatXrgb), b(4, 7, 32, kFormatXrgb);
    Probe* p = MakeProbe(&a.record, &a.record);
    p->destination = &b.record;
    PixelRows rows = p->WordLoop(4);
    EXPECT_EQ(rows.rows, 5);
    EXPECT_EQ(rows.width, 4);
    // A 16-bit source given to a 32-bit loop: its 6 pixels are 3 words.
    TestSurface narrow(6, 2, 16, kFormat565);
    p->destination = &a.record;
    p->source = &narrow.record;
    rows = p->WordLoop(4);
    EXPECT_EQ(rows.rows, 2);
    EXPECT_EQ(rows.width, 3);
    delete p;
}

TEST(SimdCap, NamedLevelsCapTheBestOnly) {
    EXPECT_EQ(CappedSimdLevel(nullptr, SimdLevel::kAvx2), SimdLevel::kAvx2);
    EXPECT_EQ(CappedSimdLevel("scalar", SimdLevel::kAvx512Vbmi), SimdLevel::kScalar);
    EXPECT_EQ(CappedSimdLevel("sse2", SimdLevel::kAvx2), SimdLevel::kSse2);
    EXPECT_EQ(CappedSimdLevel("avx2", SimdLevel::kAvx512Vbmi), SimdLevel::kAvx2);
    EXPECT_EQ(CappedSimdLevel("avx512", SimdLevel::kAvx2), SimdLevel::kAvx2);  // never above the machine
    EXPECT_EQ(CappedSimdLevel("AVX2", SimdLevel::kAvx512Vbmi), SimdLevel::kAvx512Vbmi);
    EXPECT_EQ(CappedSimdLevel("", SimdLevel::kSse2), SimdLevel::kSse2);
}

}  // namespace
