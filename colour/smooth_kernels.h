// Row kernels of the smooth pass. A slot is one pixel in four bytes: blue,
// green and red in bytes 0 to 2, each as the pixel holds it (5 or 8 bits),
// and a byte 3 that carries no colour.
#pragma once

#include <cstdint>
#include <cstring>

#include "render/simd_level.h"

// Slot words through memcpy: rows may sit at any byte address.
inline uint32_t LoadWord(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline void StoreWord(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }

// 16.16 fixed-point weights: one for each of the eight neighbours, one for
// the centre.
struct SmoothWeightPair {
    int32_t neighbour;
    int32_t centre;
};

// 16-bit pixels to slots; format 1 is 5-5-5, any other 5-6-5 (the upper five
// bits of green). Byte 3 of each slot is left as it was.
void UnpackRow16(const uint16_t* pixels, uint8_t* slots, int32_t count, int32_t format);
// Slots to 16-bit pixels, each byte taken modulo 32.
void PackRow16(const uint8_t* slots, uint16_t* pixels, int32_t count, int32_t format);
// Copies count words: a 32-bit pixel already has the form of a slot.
void CopyRow32(const uint32_t* from, uint32_t* to, int32_t count, int32_t format);

// The same conversions with the vector level as an upper bound.
void UnpackSlots16(const uint16_t* pixels, uint8_t* slots, int32_t count, int32_t format,
                   SimdLevel level);
void PackSlots16(const uint8_t* slots, uint16_t* pixels, int32_t count, int32_t format,
                 SimdLevel level);

// Writes slots 1 to width-2 of out from three slot rows of width slots each;
// byte 3 of every written slot is 0. fiveBitChannels promises that bytes 0 to
// 2 of every slot read are at most 31, which lets the plain mean run on whole
// words.
void FilterSlotRow(const uint8_t* above, const uint8_t* middle, const uint8_t* below, uint8_t* out,
                   int32_t width, SmoothWeightPair weights, bool fiveBitChannels,
                   SimdLevel level = MachineSimdLevel());

// One output slot at the slot pointers of its column, the definition the
// vector loops must match: per channel, the eight neighbours times the
// neighbour weight plus the centre times the centre weight, in wrapping
// 32-bit arithmetic, bits 16 to 23 of the sum.
inline uint32_t FilterSlot(const uint8_t* above, const uint8_t* middle, const uint8_t* below,
                           SmoothWeightPair weights) {
    const auto neighbour = static_cast<uint32_t>(weights.neighbour);
    const auto centre = static_cast<uint32_t>(weights.centre);
    uint32_t slot = 0;
    for (int c = 0; c < 3; ++c) {
        const uint32_t sum = uint32_t{above[c - 4]} + above[c] + above[c + 4] + middle[c - 4] +
                             middle[c + 4] + below[c - 4] + below[c] + below[c + 4];
        const uint32_t value = sum * neighbour + uint32_t{middle[c]} * centre;
        slot |= ((value >> 16) & 0xFFu) << (8 * c);
    }
    return slot;
}
