// The cube through the built module and the reference host: both names at
// 32 and 16 bits over padded rows for four seconds of frames. The fly-in
// ends in the host's plain copy of the source; the spinner never touches
// what lies outside the box, nor any row's padding.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "host/blit_service.h"
#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::EffectInstance;
using fxhost::HostSurface;

void FillPattern(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x)
            s.setPixel(x, y, s.format() == kFormatXrgb ? uint32_t(y) << 16 | uint32_t(x) << 3 : uint32_t(y) << 6 | x);
}
std::vector<uint32_t> Pixels(const HostSurface& s) {
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) out.push_back(s.pixel(x, y));
    return out;
}

// Made at 0 ms, "Cube3D" lands at 2040 ms (tick 122) and copies from the
// next frame on. "Cube3DConstant" stays 700 units back, where the box never
// reaches the output's corners.
TEST(CubeModule, BothNamesOverPaddedRows) {
    HostSurface scratch(8, 8, kFormatXrgb);
    EffectInstance clock(SharedModule(), "Square Kaleido", scratch.get(), nullptr);
    for (const int32_t format : {kFormatXrgb, kFormat565}) {
        const int bytes = format == kFormatXrgb ? 4 : 2;
        const uint32_t marker = format == kFormatXrgb ? 0xFFFFFFFFu : 0xFFFFu;
        HostSurface src(40, 30, format, 43 * bytes), dst(48, 36, format, 53 * bytes), copy(48, 36, format);
        FillPattern(src);
        src.fillPadding(0xEE);
        const auto source = Pixels(src);
        fxhost::BlitCopy(src.get(), copy.get(), &src.get()->bounds, &copy.get()->bounds, kBlitPlain);
        const auto copied = Pixels(copy);
        for (const std::string name : {"Cube3D", "Cube3DConstant"}) {
            SCOPED_TRACE(name + " format " + std::to_string(format));
            clock.render({}, nullptr, 0);
            dst.fill(marker);
            dst.fillPadding(0xDD);
            EffectInstance cube(SharedModule(), name, src.get(), dst.get());
            for (uint32_t i = 0; i < 100; ++i) {
                cube.render({128, 128, 128, 128}, nullptr, i * 40);
                ASSERT_TRUE(dst.paddingIs(0xDD)) << "frame " << i;
                if (name == "Cube3D" && i > 51) {
                    ASSERT_EQ(Pixels(dst), copied) << "frame " << i;
                } else if (name == "Cube3DConstant") {
                    ASSERT_EQ(dst.pixel(0, 0), marker) << "frame " << i;
                    ASSERT_EQ(dst.pixel(47, 35), marker) << "frame " << i;
                    ASSERT_NE(dst.pixel(24, 18), marker) << "frame " << i;
                }
            }
            EXPECT_TRUE(src.paddingIs(0xEE));
            EXPECT_EQ(Pixels(src), source);
        }
    }
}

}  // namespace
