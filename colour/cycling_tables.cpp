#include "colour/cycling_tables.h"

namespace {

// (elapsed shifted left by shift, wrapping in 32 bits) over magnitude,
// signed and truncated: past 2^(32 - shift) ms the dividend turns negative.
int32_t TimePhase(uint32_t elapsed, int shift, int64_t magnitude) {
    const auto shifted = static_cast<int32_t>(elapsed << shift);
    return static_cast<int32_t>(shifted / magnitude);
}

// The parameter's contribution before scaling: half the host's value, 7 bits.
int32_t ParameterLevel(int32_t parameter, const int16_t params[16]) {
    const int32_t w = parameter < 16 ? params[parameter] >> 1 : 0;
    return w & 0x7F;
}

}  // namespace

int32_t CycleChannelValue(CycleStyle style, int32_t parameter, int32_t period, uint32_t elapsed,
                          const int16_t params[16]) {
    const bool back = period < 0;
    const int64_t magnitude = back ? -int64_t{period} : period;
    if (style == kCycleBounce) {
        int32_t v = magnitude ? TimePhase(elapsed, 9, magnitude) : 0;
        if (parameter >= 0) v = static_cast<int32_t>(static_cast<uint32_t>(v) + 4u * ParameterLevel(parameter, params));
        v &= 0x1FF;
        return back ? 511 - v : v;
    }
    if (parameter < 0 && magnitude == 0) return -1;
    int32_t v = 0;
    if (magnitude) {
        v = TimePhase(elapsed, style == kCycleScale ? 9 : 8, magnitude) & 0x1FF;
        if (v >= 256) v = style == kCycleScale ? 511 - v : v - 256;
    }
    if (parameter >= 0) {
        v += 2 * ParameterLevel(parameter, params);
        if (v >= 256) v = 511 - v;
    }
    return (back ? 255 - v : v) >> 1;
}

void BuildCycleTable8(CycleStyle style, int32_t value, uint8_t table[256]) {
    for (int32_t c = 0; c < 256; ++c) {
        int32_t out = c;
        if (style == kCycleBounce) {
            const int32_t t = (c + (value & 0x1FF)) & 0x1FF;
            out = t <= 255 ? t : 511 - t;
        } else if (value >= 0) {
            out = style == kCycleScale ? g_scaleTable[value & 127][c >> 3] << 3 : (c + 2 * value) & 255;
        }
        table[c] = static_cast<uint8_t>(out);
    }
}

void BuildCycleTable5(CycleStyle style, int32_t value, uint8_t table[32]) {
    for (int32_t c = 0; c < 32; ++c) {
        int32_t out = c;
        if (style == kCycleBounce) {
            const int32_t t = (c + (((value & 0x1FF) >> 3) & 63)) & 63;
            out = t <= 31 ? t : 63 - t;
        } else if (value >= 0) {
            out = style == kCycleScale ? g_scaleTable[value & 127][c] : (c + (value >> 2)) & 31;
        }
        table[c] = static_cast<uint8_t>(out);
    }
}
