#include "host/pixel_convert.h"

namespace fxhost {

namespace {

uint8_t Widen5(uint32_t v) { return static_cast<uint8_t>((v << 3) | (v >> 2)); }
uint8_t Widen6(uint32_t v) { return static_cast<uint8_t>((v << 2) | (v >> 4)); }

}  // namespace

uint32_t PackPixel(Rgb8 c, int32_t format) {
    const uint32_t r = c.r, g = c.g, b = c.b;
    switch (format) {
    case kFormatXrgb:
        return (r << 16) | (g << 8) | b;
    case kFormat555:
        return ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
    default:
        return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
    }
}

Rgb8 UnpackPixel(uint32_t word, int32_t format) {
    switch (format) {
    case kFormatXrgb:
        return Rgb8{static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8),
                    static_cast<uint8_t>(word)};
    case kFormat555:
        return Rgb8{Widen5((word >> 10) & 31u), Widen5((word >> 5) & 31u), Widen5(word & 31u)};
    default:
        return Rgb8{Widen5((word >> 11) & 31u), Widen6((word >> 5) & 63u), Widen5(word & 31u)};
    }
}

}  // namespace fxhost
