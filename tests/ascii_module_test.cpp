// The ascii art's two factory names through the built module and the
// reference host: no stored glyph sheet is ever found, so both are refused
// every time, at every depth, with their two console lines and nothing else.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

constexpr char kRefusal[] = "Ascii art loading resource!\nAscii art resource not found!\n";

void FillPattern(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x)
            s.setPixel(x, y, s.format() == kFormatXrgb ? 0x010203u * uint32_t(x + 7 * y)
                                                       : uint32_t(x * 37 + y) & 0x7FFF);
}
std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

// Each attempt gives null and prints the two lines in order; the host log
// stays empty and neither surface, padding included, is touched. The
// sanitizer run checks that the refused instances leave nothing behind.
void ExpectRefusedEveryTime(const fxhost::EffectModule& module) {
    std::vector<std::string> log;
    fxhost::SetLogSink([&](const std::string& text) { log.push_back(text); });
    struct Quiet {
        ~Quiet() { fxhost::SetLogSink([](const std::string&) {}); }
    } quiet;
    const EffectApi& api = module.api();
    for (const char* name : {"AsciiArt1", "AsciiArt2"})
        for (const int32_t format : {kFormatXrgb, kFormat565, kFormat555})
            for (const bool separate : {false, true}) {
                SCOPED_TRACE(std::string(name) + " format " + std::to_string(format) +
                             (separate ? " with a destination" : " in place"));
                const int bytes = format == kFormatXrgb ? 4 : 2;
                HostSurface src(64, 40, format, 64 * bytes + 8), dst(64, 40, format, 64 * bytes + 4);
                FillPattern(src);
                dst.fill(format == kFormatXrgb ? 0xFFFFFFFFu : 0xFFFFu);
                src.fillPadding(0xA5);
                dst.fillPadding(0x5A);
                const auto source = Pixels(src), target = Pixels(dst);
                for (int attempt = 0; attempt < 3; ++attempt) {
                    testing::internal::CaptureStdout();
                    CRenderInterface* effect = api.CreateEffect(name, src.get(), separate ? dst.get() : nullptr);
                    const std::string printed = testing::internal::GetCapturedStdout();
                    EXPECT_EQ(effect, nullptr) << "attempt " << attempt;
                    EXPECT_EQ(printed, kRefusal) << "attempt " << attempt;
                    if (effect) api.DestroyEffect(effect);
                }
                EXPECT_EQ(Pixels(src), source);
                EXPECT_EQ(Pixels(dst), target);
                EXPECT_TRUE(src.paddingIs(0xA5));
                EXPECT_TRUE(dst.paddingIs(0x5A));
            }
    EXPECT_EQ(log, std::vector<std::string>{});
}

TEST(AsciiModule, FactoryNamesAreAlwaysRefused) { ExpectRefusedEveryTime(SharedModule()); }

TEST(AsciiModule, AFreshModuleRefusesThemAlike) { ExpectRefusedEveryTime(*FreshModule()); }

}  // namespace
