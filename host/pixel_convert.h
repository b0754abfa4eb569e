// Conversions between 8-bit RGB and the pixel words of each surface format.
#pragma once

#include <cstdint>
#include <cstring>

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

// A pixel word of 4 or 2 bytes at any alignment; 2-byte stores keep the low half.
inline uint32_t LoadWord(const uint8_t* p, int bpp) {
    if (bpp == 4) {
        uint32_t w;
        std::memcpy(&w, p, 4);
        return w;
    }
    uint16_t w;
    std::memcpy(&w, p, 2);
    return w;
}

inline void StoreWord(uint8_t* p, int bpp, uint32_t word) {
    if (bpp == 4) {
        std::memcpy(p, &word, 4);
    } else {
        const auto w = static_cast<uint16_t>(word);
        std::memcpy(p, &w, 2);
    }
}

}  // namespace fxhost
