// Pixel kernels of the colour controls, on 32-bit xRGB rows. The source's top
// byte is dropped; xorMask 0xFFFFFFFF gives the inverse forms.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/simd_level.h"

// Each channel times its gain, arithmetically shifted right 8, kept as 16
// bits; the three are ORed at 16, 8 and 0 bits into one 32-bit word.
void ApplyChannelGains(const PixelRows& rows, int16_t red, int16_t green, int16_t blue,
                       uint32_t xorMask, SimdLevel level = MachineSimdLevel());
// One pixel, the definition that the vector loops must match.
inline uint32_t GainPixel(uint32_t p, int32_t red, int32_t green, int32_t blue) {
    auto scale = [](uint32_t channel, int32_t gain) {
        return static_cast<uint32_t>((static_cast<int32_t>(channel) * gain) >> 8) & 0xFFFFu;
    };
    const uint32_t r = scale((p >> 16) & 0xFF, red);
    const uint32_t g = scale((p >> 8) & 0xFF, green);
    const uint32_t b = scale(p & 0xFF, blue);
    return (((r << 8) | g) << 8) | b;
}
