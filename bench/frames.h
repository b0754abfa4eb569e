// The frame every case works on, and the names of the cases.
#pragma once

#include <cstdint>
#include <string>

#include "host/host_surface.h"
#include "host/picture_io.h"

namespace bench {

constexpr int kFrameWidth = 1920;
constexpr int kFrameHeight = 1080;
constexpr uint32_t kFrameStepMs = 40;  // 25 frames a second
// The formats every effect is timed at.
constexpr int32_t kCaseFormats[] = {kFormatXrgb, kFormat565};

// A picture size of the size sweep.
struct FrameSize {
    int width;
    int height;
};
constexpr FrameSize kFrameSize{kFrameWidth, kFrameHeight};
// The sizes of --sweep, smallest first, and an odd one last; and the size
// whose time is a frame's fixed cost.
constexpr FrameSize kSweepSizes[] = {{320, 240}, {640, 480}, {1280, 720}, {1920, 1080}, {3840, 2160}, {1917, 1083}};
constexpr FrameSize kFixedCostSize{16, 16};
// "1920x1080".
std::string SizeLabel(FrameSize size);

// The test card at the frame size, made once.
const fxhost::Image& TestCardFrame();
// A host surface of this format holding the test card, at the frame size or
// at size.
fxhost::HostSurface CardSurface(int32_t format);
fxhost::HostSurface CardSurface(int32_t format, FrameSize size);

// "32" for kFormatXrgb, "565" for kFormat565, "555" for kFormat555.
std::string DepthLabel(int32_t format);
// Bytes per pixel of a surface format.
int BytesPerPixel(int32_t format);

std::string EffectCaseName(const std::string& effect, int32_t format);
// The first render in a freshly loaded module: first/<effect>/<depth>.
std::string FirstFrameCaseName(const std::string& effect, int32_t format);
// The counter of a first-frame case with the same instance's second frame,
// timed alone in the same way, in ms.
inline constexpr const char* kSecondFrameCounter = "second_ms";
// An effect's sweep of one parameter, sweep/<effect>/<depth>, and its case
// at one value, sweep/<effect>/<depth>/<label>=<value>.
std::string SweepName(const std::string& effect, int32_t format);
std::string SweepCaseName(const std::string& effect, int32_t format, const std::string& label, int32_t value);
std::string MemcpyCaseName(int bytesPerPixel);  // memcpy/32, memcpy/16
// The same at another size: memcpy/32/640x480; size/<effect>/<depth>/640x480.
std::string MemcpyCaseName(int bytesPerPixel, FrameSize size);
std::string SizeCaseName(const std::string& effect, int32_t format, FrameSize size);
std::string PeerCaseName(const std::string& plugin);
// "bridge/<plugin>": one of this build's frei0r plugins.
std::string BridgeCaseName(const std::string& plugin);

}  // namespace bench
