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

// The test card at the frame size, made once.
const fxhost::Image& TestCardFrame();
// A host surface of this format holding the test card.
fxhost::HostSurface CardSurface(int32_t format);

// "32" for kFormatXrgb, "565" for kFormat565, "555" for kFormat555.
std::string DepthLabel(int32_t format);
// Bytes per pixel of a surface format.
int BytesPerPixel(int32_t format);

std::string EffectCaseName(const std::string& effect, int32_t format);
// The first render in a freshly loaded module: first/<effect>/<depth>.
std::string FirstFrameCaseName(const std::string& effect, int32_t format);
// An effect's sweep of one parameter, sweep/<effect>/<depth>, and its case
// at one value, sweep/<effect>/<depth>/<label>=<value>.
std::string SweepName(const std::string& effect, int32_t format);
std::string SweepCaseName(const std::string& effect, int32_t format, const std::string& label, int32_t value);
std::string MemcpyCaseName(int bytesPerPixel);  // memcpy/32, memcpy/16
std::string PeerCaseName(const std::string& plugin);
// "bridge/<plugin>": one of this build's frei0r plugins.
std::string BridgeCaseName(const std::string& plugin);

}  // namespace bench
