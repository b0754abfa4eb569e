#include "colour/color_control_effect.h"

#include <cstring>

#include "colour/channel_tables.h"
#include "colour/color_control_kernels.h"
#include "shell/numeric.h"

namespace {

ColorControlParams FallbackRecord() {
    ColorControlParams r{};
    r.recordVersion = kColorControlVersion;
    r.redParam = 0;
    r.greenParam = 1;
    r.blueParam = 2;
    r.useBrightnessContrast = 1;
    r.brightnessParam = 0;
    r.contrastParam = 1;
    return r;
}

}  // namespace

void BuildBrightnessContrastTable(int32_t brightness, int32_t contrast, uint8_t table[256]) {
    const int32_t c = contrast - 128;
    const double f = ((static_cast<double>(c) + 255.0) * 259.0) /
                     (static_cast<double>(259 - c) * 255.0);
    for (int32_t i = 0; i < 256; ++i) {
        const int32_t v = TruncToInt32(static_cast<double>(i - 128) * f + 128.0);
        const int32_t t = WrapAdd(brightness - 128, v);
        table[i] = static_cast<uint8_t>(t < 0 ? 0 : t > 255 ? 255 : t);
    }
}

ColorControlEffect::ColorControlEffect(const ColorControlParams* params) {
    effectReady = false;
    if (!valid || !source) return;
    std::memcpy(&record, params, sizeof record);
    if (record.recordVersion != kColorControlVersion) record = FallbackRecord();
    effectReady = EnsureSameSize();
}

bool ColorControlEffect::IsReady() { return valid && source && effectReady; }

void ColorControlEffect::Render() {
    if (!IsReady()) return;
    RefreshWorkSurface();
    if (destination->depth != 32) return;  // no 16-bit path: nothing is written
    // Whole 32-bit words that both pictures hold: a source of another depth
    // given at render time is read no further than its own rows.
    const PixelRows rows = WholeWordLoop(4);
    const uint32_t xorMask = record.inverse ? 0xFFFFFFFFu : 0u;
    if (record.useRgb) {
        ApplyChannelGains(rows, static_cast<int16_t>(FrameParam(frame, record.redParam)),
                          static_cast<int16_t>(FrameParam(frame, record.greenParam)),
                          static_cast<int16_t>(FrameParam(frame, record.blueParam)), xorMask);
    } else if (record.useBrightnessContrast) {
        uint8_t table[256];
        BuildBrightnessContrastTable(FrameParam(frame, record.brightnessParam),
                                     FrameParam(frame, record.contrastParam), table);
        ApplyChannelTable(rows, table, xorMask);
    }
}
