// The quantise route of Tintara: per output channel a source quantity, a
// gain, an optional posterizing table and an optional invert. The 32 members
// are one generic body generated at compile time for each red source and
// each pattern of the three table lookups.
#pragma once

#include <cstdint>

#include "render/simd_level.h"

class Tintara;

using QuantiseMember = void (*)(Tintara& effect);

constexpr int kQuantiseMemberCount = 32;

// Member number 1 to 32: red source 1 to 4 in groups of eight; within a
// group the lookups of red, green and blue run from all three (first) to
// none (eighth), red's being the slowest to change. Null out of range.
QuantiseMember QuantiseMemberByNumber(int number);
// The member for a red source and three lookup conditions; 0 when the red
// source is not 1 to 4.
int QuantiseMemberNumber(int8_t redSource, bool lookRed, bool lookGreen, bool lookBlue);

// The vector level the members use from now on, at most the machine's; for
// tests of every variant.
void SetQuantiseSimdLevel(SimdLevel level);
