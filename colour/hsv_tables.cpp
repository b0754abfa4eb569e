#include "colour/hsv_tables.h"

#include <algorithm>
#include <cstdlib>

#include "shell/colour_helpers.h"

namespace {

// Components inside the builders are fixed point from 0 to 256.
int32_t Scale(uint32_t field, int32_t fieldMax) { return static_cast<int32_t>(field * 256) / fieldMax; }

uint32_t Field5(int32_t component) { return static_cast<uint32_t>(component * 31) >> 8; }

uint32_t* g_forward[2];  // kinds 3, 5
uint32_t* g_inverse[3];  // kinds 3, 5, 33

uint32_t** ForwardSlot(int8_t kind) {
    return kind == kHsvFrom555 ? &g_forward[0] : kind == kHsvFrom565 ? &g_forward[1] : nullptr;
}

uint32_t** InverseSlot(int8_t kind) {
    switch (kind) {
    case kHsvTo555: return &g_inverse[0];
    case kHsvTo565: return &g_inverse[1];
    case kHsvToXrgb: return &g_inverse[2];
    default: return nullptr;
    }
}

template <class Entry>
const uint32_t* BuildInto(uint32_t** slot, uint32_t entries, Entry entry) {
    if (!slot) return nullptr;
    if (*slot) return *slot;
    auto* table = static_cast<uint32_t*>(std::malloc(entries * sizeof(uint32_t)));
    if (!table) return nullptr;
    for (uint32_t i = 0; i < entries; ++i) table[i] = entry(i);
    *slot = table;
    return table;
}

}  // namespace

uint32_t RgbToHsvCode(int8_t kind, uint32_t index) {
    const bool wideGreen = kind == kHsvFrom565;
    const uint32_t r = wideGreen ? index >> 11 : index >> 10;
    const uint32_t g = wideGreen ? (index >> 5) & 63 : (index >> 5) & 31;
    const int32_t red = Scale(r & 31, 31);
    const int32_t green = Scale(g, wideGreen ? 63 : 31);
    const int32_t blue = Scale(index & 31, 31);
    const int32_t max = std::max({red, green, blue});
    const int32_t d = max - std::min({red, green, blue});
    int32_t sat = 0, hue = 0;
    if (max != 0 && d != 0) {
        sat = d * 256 / max;
        int32_t h;
        if (red == max)
            h = (green - blue) * 256 / d;
        else if (green == max)
            h = (blue - red) * 256 / d + 512;
        else
            h = (red - green) * 256 / d + 1024;
        hue = h * 60;
        if (hue < 0) hue += kHueCircle;
    }
    const int32_t hue8 = hue / 360;
    return Field5(hue8) << 10 | Field5(sat) << 5 | Field5(max);
}

uint32_t HsvCodeToPixel(int8_t kind, uint32_t code) {
    const int32_t hue = static_cast<int32_t>((code >> 10) & 31) * kHueCircle / 31;
    uint32_t red, green, blue;
    HsvToRgb(&red, &green, &blue, hue, Scale((code >> 5) & 31, 31), Scale(code & 31, 31));
    switch (kind) {
    case kHsvTo555: return (red * 31) >> 8 << 10 | (green * 31) >> 8 << 5 | (blue * 31) >> 8;
    case kHsvTo565: return (red * 31) >> 8 << 11 | (green * 63) >> 8 << 5 | (blue * 31) >> 8;
    default: return (red * 255) >> 8 << 16 | (green * 255) >> 8 << 8 | (blue * 255) >> 8;
    }
}

const uint32_t* GetRgbToHsvTable(int8_t kind) {
    return BuildInto(ForwardSlot(kind), kind == kHsvFrom565 ? 65536 : 32768,
                     [kind](uint32_t i) { return RgbToHsvCode(kind, i); });
}

const uint32_t* GetHsvToRgbTable(int8_t kind) {
    return BuildInto(InverseSlot(kind), kHsvCodeCount,
                     [kind](uint32_t code) { return HsvCodeToPixel(kind, code); });
}
