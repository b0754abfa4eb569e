#include "shell/colour_helpers.h"

#include <cmath>

void HsvToRgb(uint32_t* red, uint32_t* green, uint32_t* blue, int32_t hue, int32_t saturation,
              int32_t value) {
    if (saturation == 0) {
        *red = *green = *blue = static_cast<uint32_t>(value);
        return;
    }
    // Products stay far inside 32 bits for in-range inputs; they are formed in
    // unsigned arithmetic so that any input wraps instead of overflowing.
    auto mul = [](int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
    };
    auto sub = [](int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    };
    const int32_t x = hue / 60;
    const int32_t sector = x >> 8;
    const int32_t f = sub(x, static_cast<int32_t>(static_cast<uint32_t>(sector) << 8));
    const int32_t p = mul(sub(256, saturation), value) >> 8;
    const int32_t q = mul(sub(256, mul(f, saturation) >> 8), value) >> 8;
    const int32_t t = mul(sub(256, mul(sub(256, f), saturation) >> 8), value) >> 8;
    int32_t r, g, b;
    switch (sector) {
    case 0: r = value, g = t, b = p; break;
    case 1: r = q, g = value, b = p; break;
    case 2: r = p, g = value, b = t; break;
    case 3: r = p, g = q, b = value; break;
    case 4: r = t, g = p, b = value; break;
    default: r = value, g = p, b = q; break;
    }
    *red = static_cast<uint32_t>(r);
    *green = static_cast<uint32_t>(g);
    *blue = static_cast<uint32_t>(b);
}

void HueToRGB(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue) {
    if (hue == 0) {
        *red = *green = *blue = 255;
        return;
    }
    // The product wraps in 32 bits and is divided unsigned.
    const int32_t h = static_cast<int32_t>(hue * static_cast<uint32_t>(kHueCircle) / 255u);
    HsvToRgb(red, green, blue, h, 255, 255);
}

float LevelCurve(int32_t level, float value) {
    if (level < 0) level = 0;
    if (level > 255) level = 255;
    const float x = level >= 128 ? static_cast<float>(level - 128) / 127.0f
                                 : static_cast<float>(level - 128) * 0.0078125f;
    const float c = static_cast<float>(std::pow(static_cast<double>(x), 3.0));
    const float m = c < 0.0f ? 0.75f : 3.0f;
    const float r = (m * c + 1.0f) * value + 0.5f;
    return static_cast<float>(std::floor(static_cast<double>(r)));
}
