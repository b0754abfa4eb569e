// The trail mixes of the motion blur: each source pixel is mixed into the
// trail pixel in place, half and half or three parts trail to one part
// source, every channel truncated. rows.dst is the trail and is read as well
// as written; rows.src is the source.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/simd_level.h"

// One pixel of each mix, for trail word a and source word s. Red and blue
// travel together in one masked sum, green in another; the masks after the
// shift drop what falls in from the neighbouring field.
constexpr uint16_t MixHalf555(uint32_t a, uint32_t s) {
    return static_cast<uint16_t>((((a & 0x7C1F) + (s & 0x7C1F)) >> 1 & 0x7C1F) |
                                 (((a & 0x3E0) + (s & 0x3E0)) >> 1 & 0x3E0));
}
constexpr uint16_t MixThreeQuarter555(uint32_t a, uint32_t s) {
    return static_cast<uint16_t>(((3 * (a & 0x7C1F) + (s & 0x7C1F)) >> 2 & 0x7C1F) |
                                 ((3 * (a & 0x3E0) + (s & 0x3E0)) >> 2 & 0x3E0));
}
constexpr uint16_t MixHalf565(uint32_t a, uint32_t s) {
    const uint32_t t = ((a & 0xF81F) + (s & 0xF81F)) >> 1;
    const uint32_t g = ((a & 0x7E0) + (s & 0x7E0)) >> 1;
    return static_cast<uint16_t>((t & ~0x7E0u) | (g & 0x7E0));
}
constexpr uint16_t MixThreeQuarter565(uint32_t a, uint32_t s) {
    const uint32_t t = (3 * (a & 0xF81F) + (s & 0xF81F)) >> 2;
    const uint32_t g = (3 * (a & 0x7E0) + (s & 0x7E0)) >> 2;
    return static_cast<uint16_t>((t & ~0x7E0u) | (g & 0x7E0));
}
constexpr uint32_t MixHalf32(uint32_t a, uint32_t s) {
    return ((((a & 0xFF00) + (s & 0xFF00)) & 0x1FE00) | (((a & 0xFF00FF) + (s & 0xFF00FF)) & 0x1FE01FE)) >> 1;
}
constexpr uint32_t MixThreeQuarter32(uint32_t a, uint32_t s) {
    return (((3 * (a & 0xFF00) + (s & 0xFF00)) & 0x3FC00) | ((3 * (a & 0xFF00FF) + (s & 0xFF00FF)) & 0x3FC03FC)) >> 2;
}

void BlendHalf555(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter555(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendHalf565(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter565(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendHalf32(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter32(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
