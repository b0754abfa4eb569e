// The trail mixes of the motion blur: each source pixel is mixed into the
// trail pixel in place, half and half or three parts trail to one part
// source, every channel truncated. rows.dst is the trail and is read as well
// as written; rows.src is the source.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/simd_level.h"

// One pixel of each mix, for trail word a and source word s. The Lanes
// forms run on U = uint32_t (one pixel) or uint64_t (two lanes of 32 bits,
// each a 32-bit pixel or a 16-bit one in its low half): no sum reaches the
// next lane, and what a shift brings down from it is masked off.
template <class U>
constexpr U Lanes(uint32_t mask) {
    return static_cast<U>(mask * 0x0000000100000001ull);
}
// (weight x trail + source) >> shift field by field. Red and blue travel
// together in one masked sum, green in another; 16-bit words mask after the
// shift, dropping what falls in from the neighbouring field, 32-bit words
// before it.
template <uint32_t kRedBlue, uint32_t kGreen, uint32_t kWeight, int kShift, class U>
constexpr U Mix16Lanes(U a, U s) {
    const U redBlue = Lanes<U>(kRedBlue), green = Lanes<U>(kGreen);
    return ((kWeight * (a & redBlue) + (s & redBlue)) >> kShift & redBlue) |
           ((kWeight * (a & green) + (s & green)) >> kShift & green);
}
template <uint32_t kWeight, int kShift, class U>
constexpr U Mix32Lanes(U a, U s) {
    const U blueRed = Lanes<U>(0xFF00FF), green = Lanes<U>(0xFF00);
    return (((kWeight * (a & green) + (s & green)) & Lanes<U>(0xFF00u << kShift)) |
            ((kWeight * (a & blueRed) + (s & blueRed)) & Lanes<U>(0xFF00FFu << kShift))) >> kShift;
}
template <class U>
constexpr U MixHalf555Lanes(U a, U s) { return Mix16Lanes<0x7C1F, 0x3E0, 1, 1>(a, s); }
template <class U>
constexpr U MixThreeQuarter555Lanes(U a, U s) { return Mix16Lanes<0x7C1F, 0x3E0, 3, 2>(a, s); }
template <class U>
constexpr U MixHalf565Lanes(U a, U s) { return Mix16Lanes<0xF81F, 0x7E0, 1, 1>(a, s); }
template <class U>
constexpr U MixThreeQuarter565Lanes(U a, U s) { return Mix16Lanes<0xF81F, 0x7E0, 3, 2>(a, s); }
template <class U>
constexpr U MixHalf32Lanes(U a, U s) { return Mix32Lanes<1, 1>(a, s); }
template <class U>
constexpr U MixThreeQuarter32Lanes(U a, U s) { return Mix32Lanes<3, 2>(a, s); }

constexpr uint16_t MixHalf555(uint32_t a, uint32_t s) { return static_cast<uint16_t>(MixHalf555Lanes(a, s)); }
constexpr uint16_t MixThreeQuarter555(uint32_t a, uint32_t s) {
    return static_cast<uint16_t>(MixThreeQuarter555Lanes(a, s));
}
constexpr uint16_t MixHalf565(uint32_t a, uint32_t s) { return static_cast<uint16_t>(MixHalf565Lanes(a, s)); }
constexpr uint16_t MixThreeQuarter565(uint32_t a, uint32_t s) {
    return static_cast<uint16_t>(MixThreeQuarter565Lanes(a, s));
}
constexpr uint32_t MixHalf32(uint32_t a, uint32_t s) { return MixHalf32Lanes(a, s); }
constexpr uint32_t MixThreeQuarter32(uint32_t a, uint32_t s) { return MixThreeQuarter32Lanes(a, s); }

void BlendHalf555(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter555(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendHalf565(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter565(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendHalf32(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
void BlendThreeQuarter32(const PixelRows& trail, SimdLevel level = MachineSimdLevel());
