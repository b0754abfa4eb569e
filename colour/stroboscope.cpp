#include "colour/stroboscope.h"

#include <algorithm>
#include <cstring>

#include "colour/channel_tables.h"
#include "shell/colour_helpers.h"

namespace {

int32_t WrapMul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace

StrobeColour StrobeColourOf(int32_t hue) {
    if (hue == 0) return {255, 255, 255};
    // One division by 15300 (255 x 60): the hue's 60ths are passed on whole.
    const int32_t h = WrapMul(hue, kHueCircle) / 15300;
    uint32_t r, g, b;
    HsvToRgb(&r, &g, &b, h * 60, 255, 255);
    return {static_cast<int32_t>(r), static_cast<int32_t>(g), static_cast<int32_t>(b)};
}

int32_t StrobeWeight(uint32_t elapsed, int32_t speed, int32_t softness) {
    const int32_t rate = (speed >> 1) / 32 + 1;
    const int32_t phase = WrapMul(static_cast<int32_t>(elapsed), rate) % 1000;
    const int32_t s = softness >> 1;
    return std::clamp((phase - 500) * s * 2 / 100, 0, 255);
}

void BuildStrobeTables(int32_t a, const StrobeColour& colour, uint8_t red[256], uint8_t green[256],
                       uint8_t blue[256]) {
    const int32_t keep = 255 - a;
    for (int32_t i = 0; i < 256; ++i) {
        red[i] = static_cast<uint8_t>((a * colour.red + keep * i) >> 8);
        green[i] = static_cast<uint8_t>((a * colour.green + keep * i) >> 8);
        blue[i] = static_cast<uint8_t>((a * colour.blue + keep * i) >> 8);
    }
}

StroboscopeEffect::StroboscopeEffect(const StroboscopeParams* params) {
    effectReady = false;
    if (!valid || !source) return;
    std::memcpy(&record, params, sizeof record);
    if (record.recordVersion != kStroboscopeVersion) {
        record.recordVersion = kStroboscopeVersion;
        record.speedParam = 0;
        record.hueParam = 1;
        record.softnessParam = 2;
    }
    effectReady = EnsureSameSize();
}

bool StroboscopeEffect::IsReady() { return valid && source && effectReady; }

void StroboscopeEffect::Render() {
    if (!IsReady()) return;
    RefreshWorkSurface();
    const StrobeColour colour = StrobeColourOf(FrameParam(frame, record.hueParam));  // out of range: 0, white
    const int32_t a = StrobeWeight(frame->time - startTime, FrameParam(frame, record.speedParam),
                                   FrameParam(frame, record.softnessParam));
    uint8_t red[256], green[256], blue[256];
    BuildStrobeTables(a, colour, red, green, blue);
    if (destination->depth != 32) return;  // no 16-bit path: nothing is written
    ApplyChannelTables(WholeWordLoop(4), red, green, blue, 0);
}
