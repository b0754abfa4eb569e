// Conversions between 8-bit RGB and the pixel words of each surface format.
#pragma once

#include <cstdint>

#include "render/surface.h"

namespace fxhost {

struct Rgb8 {
    uint8_t r, g, b;
};

// Pack 8-bit channels into a pixel word of the given format (1, 2 or 3;
// 3 leaves the top byte 0). 16-bit formats keep the high bits of each channel.
uint32_t PackPixel(Rgb8 c, int32_t format);
// Unpack a pixel word, widening 5- and 6-bit channels by bit replication.
// Any format other than 1 or 3 reads as 5-6-5.
Rgb8 UnpackPixel(uint32_t word, int32_t format);

}  // namespace fxhost
