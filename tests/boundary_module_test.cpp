// The module as a careless or hostile host meets it: null pointers at the
// entry points, a host without functions, a blit service that refuses or has
// no operations, sources of another depth at render time, and the vector
// level capped through the environment.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/environment.h"
#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

void FillWords(HostSurface& s, uint32_t seed) {
    uint32_t v = seed;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) {
            v = v * 1664525u + 1013904223u;
            s.setPixel(x, y, s.format() == kFormatXrgb ? v : v >> 16);
        }
}

// A 32-bit colour control given a 16-bit source at render time reads it as
// 32-bit words, but no further than the bytes of its rows.
TEST(SourceOfAnotherDepth, ColourControlsStayInsideTheSourceRows) {
    const EffectApi& api = SharedModule().api();
    for (const char* name : {"RGBControl", "RGBControl Inverse", "Brightness Contrast",
                             "Brightness Contrast Inverse"}) {
        SCOPED_TRACE(name);
        const bool inverse = std::string(name).find("Inverse") != std::string::npos;
        HostSurface first(4, 2, kFormatXrgb), dst(4, 2, kFormatXrgb), narrow(4, 2, kFormat565);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 4; ++x) narrow.setPixel(x, y, 0x1000u * y + 0x0101u * (x + 1));
        dst.fill(0x00ABCDEF);
        CRenderInterface* effect = api.CreateEffect(name, first.get(), dst.get());
        ASSERT_NE(effect, nullptr);
        const int32_t params[4] = {256, 256, 256, 0};
        const int32_t neutral[4] = {128, 128, 0, 0};
        api.RenderEffect(effect, name[0] == 'R' ? params : neutral, narrow.get(), 0);
        for (int y = 0; y < 2; ++y) {
            // Two 16-bit pixels make one word; the top byte is dropped.
            for (int x = 0; x < 2; ++x) {
                const uint32_t word = narrow.pixel(2 * x, y) | narrow.pixel(2 * x + 1, y) << 16;
                const uint32_t out = word & 0x00FFFFFF;
                EXPECT_EQ(dst.pixel(x, y), inverse ? ~out : out) << x << "," << y;
            }
            EXPECT_EQ(dst.pixel(2, y), 0x00ABCDEFu);
            EXPECT_EQ(dst.pixel(3, y), 0x00ABCDEFu);
        }
        // A 1x1 source holds no whole word: nothing is drawn.
        HostSurface dot(1, 1, kFormat565);
        dst.fill(0x00ABCDEF);
        api.RenderEffect(effect, params, dot.get(), 40);
        EXPECT_EQ(dst.pixel(0, 0), 0x00ABCDEFu);
        api.DestroyEffect(effect);
    }
}

TEST(NullPointers, GetTheEmptyAnswers) {
    auto module = FreshModule();
    std::vector<std::string> log;
    fxhost::SetLogSink([&](const std::string& text) { log.push_back(text); });
    struct Quiet {
        ~Quiet() { fxhost::SetLogSink([](const std::string&) {}); }
    } quiet;
    const EffectApi& api = module->api();
    HostSurface s(3, 2, kFormatXrgb);
    s.fill(0x00102030);

    EXPECT_EQ(api.CreateEffect(nullptr, s.get(), nullptr), nullptr);
    api.GetEffectInfo(0, nullptr);
    api.GetEffectDefaults("RGBControl", nullptr);
    int32_t defaults[4] = {1, 2, 3, 4};
    api.GetEffectDefaults(nullptr, defaults);
    EXPECT_EQ((std::array<int32_t, 4>{defaults[0], defaults[1], defaults[2], defaults[3]}),
              (std::array<int32_t, 4>{255, 255, 255, 255}));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "!! -> No Default values for effect ");
    uint32_t r = 7, g = 7;
    api.HueToRGB(85, &r, &g, nullptr);
    EXPECT_EQ(r + g, 14u);

    // Null parameters: nothing is stored or drawn, and the next frame is
    // still the first.
    CRenderInterface* effect = api.CreateEffect("RGBControl", s.get(), nullptr);
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(api.RenderEffect(effect, nullptr, s.get(), 40), 0);
    EXPECT_EQ(s.pixel(2, 1), 0x00102030u);
    const int32_t half[4] = {128, 128, 128, 0};
    api.RenderEffect(effect, half, s.get(), 80);
    EXPECT_EQ(s.pixel(2, 1), 0x00081018u);
    api.DestroyEffect(effect);
}

HostFunction NoFunctions(uint32_t) { return nullptr; }

TEST(HostWithoutFunctions, EveryEntryAnswersEmptily) {
    auto module = FreshModule({.open = false});
    module->table().HostGetFunction = &NoFunctions;
    ASSERT_EQ(module->call(kPluginOpen), 0u);
    const EffectApi& api = *reinterpret_cast<const EffectApi*>(module->call(kPluginGetApi));
    EXPECT_EQ(api.GetEffectCount(), 0);
    HostSurface s(2, 2, kFormatXrgb);
    EXPECT_EQ(api.CreateEffect("RGBControl", s.get(), nullptr), nullptr);
    int32_t out[4] = {9, 9, 9, 9};
    api.GetEffectDefaults("RGBControl", out);
    EXPECT_EQ(out[3], 9);
    EXPECT_EQ(api.LevelCurve(255, 1.0f), 0.0f);
    // A null function getter is the same as one that knows nothing.
    module->table().HostGetFunction = nullptr;
    EXPECT_EQ(api.GetEffectCount(), 0);
}

// Services the host may hand out: one whose check refuses every rectangle,
// and one with no operations at all.
// Transforms are never checked first, so only copies must stay at 0.
int copies = 0, transforms = 0;
int32_t RefuseAll(const SurfaceRect*, const SurfaceRect*) { return 0; }
void CountCopy(Surface*, Surface*, const SurfaceRect*, const SurfaceRect*, int32_t) { ++copies; }
void CountTransform(Surface*, Surface*, const SurfaceRect*, const SurfaceRect*, int32_t, BlitParams*) {
    ++transforms;
}
BlitService g_refusing = [] {
    BlitService s{};
    s.BlitCopy = &CountCopy;
    s.BlitTransform = &CountTransform;
    s.BlitCheckRect = &RefuseAll;
    return s;
}();
BlitService g_empty{};
BlitService* g_service = nullptr;

void* FindService(HostContext*, uint32_t code) { return code == kCodeBlit ? g_service : nullptr; }
HostFunction ServiceOnly(uint32_t number) {
    return number == kHostFindService ? reinterpret_cast<HostFunction>(&FindService) : nullptr;
}

class OddBlitService : public ::testing::TestWithParam<bool> {};  // true: the refusing one

TEST_P(OddBlitService, EveryEffectLivesThroughIt) {
    g_service = GetParam() ? &g_refusing : &g_empty;
    auto module = FreshModule({.open = false});
    module->table().HostGetFunction = &ServiceOnly;
    ASSERT_EQ(module->call(kPluginOpen), 0u);
    const EffectApi& api = *reinterpret_cast<const EffectApi*>(module->call(kPluginGetApi));
    const auto names = fxhost::EffectNames(*module);
    ASSERT_EQ(names.size(), 38u);
    for (int32_t format : {kFormatXrgb, kFormat565}) {
        for (const std::string& name : names) {
            SCOPED_TRACE(name);
            // A smaller destination makes the effects ask for scaled copies.
            HostSurface src(9, 7, format), dst(5, 3, format), same(9, 7, format);
            FillWords(src, 1);
            for (HostSurface* target : {&dst, &same}) {
                CRenderInterface* effect = api.CreateEffect(name.c_str(), src.get(), target->get());
                if (!effect) continue;
                const int32_t params[4] = {200, 100, 50, 25};
                for (uint32_t t = 0; t < 3; ++t) api.RenderEffect(effect, params, t ? src.get() : nullptr, t * 40);
                api.DestroyEffect(effect);
            }
        }
    }
    // A colour control of equal sizes needs no copy and still draws.
    HostSurface s(2, 1, kFormatXrgb);
    s.fill(0x00FFFFFF);
    CRenderInterface* effect = api.CreateEffect("RGBControl", s.get(), nullptr);
    const int32_t half[4] = {128, 128, 128, 0};
    api.RenderEffect(effect, half, nullptr, 0);
    EXPECT_EQ(s.pixel(1, 0), 0x007F7F7Fu);
    api.DestroyEffect(effect);
    EXPECT_EQ(copies, 0);  // nothing was copied through a refusing check
    if (GetParam()) {
        EXPECT_GT(transforms, 0);  // the cube's faces
    }
}

INSTANTIATE_TEST_SUITE_P(Services, OddBlitService, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Refusing" : "Empty"; });

TEST(Lifetime, InstancesOutliveCloseAndNewOpens) {
    auto module = FreshModule();
    const EffectApi& api = module->api();
    HostSurface s(2, 1, kFormatXrgb);
    s.fill(0x00FFFFFF);
    CRenderInterface* effect = api.CreateEffect("RGBControl", s.get(), nullptr);
    ASSERT_NE(effect, nullptr);
    EXPECT_EQ(module->call(kPluginClose), 0u);  // releases nothing
    const int32_t half[4] = {128, 128, 128, 0};
    api.RenderEffect(effect, half, nullptr, 0);
    EXPECT_EQ(s.pixel(0, 0), 0x007F7F7Fu);
    EXPECT_EQ(module->call(kPluginOpen), 0u);
    CRenderInterface* second = api.CreateEffect("Posterize", s.get(), nullptr);
    EXPECT_NE(second, nullptr);
    api.DestroyEffect(second);
    api.DestroyEffect(effect);
}

// Every effect, at every depth, draws the same pixels whatever the cap on
// vector instructions: each copy of the module reads EFFECTS_SIMD when it
// loads.
TEST(VectorCap, EveryLevelDrawsTheSamePictures) {
    struct Picture {
        std::string key;
        std::vector<uint32_t> pixels;
    };
    std::vector<std::vector<Picture>> runs;
    for (const char* cap : {"avx512", "avx2", "sse2", "scalar"}) {
        fxhost::SetEnvironment("EFFECTS_SIMD", cap);
        auto module = FreshModule();
        fxhost::UnsetEnvironment("EFFECTS_SIMD");
        const EffectApi& api = module->api();
        std::vector<Picture> pictures;
        for (const std::string& name : fxhost::EffectNames(*module)) {
            for (int32_t format : {kFormatXrgb, kFormat565, kFormat555}) {
                // Wide enough for every vector loop, with a ragged tail.
                HostSurface src(141, 5, format), dst(141, 5, format);
                FillWords(src, 7);
                CRenderInterface* effect = api.CreateEffect(name.c_str(), src.get(), dst.get());
                if (!effect) continue;
                const int32_t params[4] = {190, 70, 220, 35};
                for (uint32_t t = 0; t < 3; ++t) api.RenderEffect(effect, params, src.get(), 500 + t * 333);
                api.DestroyEffect(effect);
                Picture p{name + "/" + std::to_string(format), {}};
                for (int y = 0; y < 5; ++y)
                    for (int x = 0; x < 141; ++x) p.pixels.push_back(dst.pixel(x, y));
                pictures.push_back(std::move(p));
            }
        }
        runs.push_back(std::move(pictures));
    }
    ASSERT_GE(runs[0].size(), 60u);
    for (size_t run = 1; run < runs.size(); ++run) {
        ASSERT_EQ(runs[run].size(), runs[0].size());
        for (size_t i = 0; i < runs[0].size(); ++i)
            EXPECT_EQ(runs[run][i].pixels, runs[0][i].pixels) << runs[0][i].key << " at cap " << run;
    }
}

}  // namespace
