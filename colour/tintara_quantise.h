// The quantise route of Tintara: per output channel a source quantity, a
// gain, an optional posterizing table and an optional invert. The 32 members
// are one generic body generated at compile time for each red source and
// each pattern of the three table lookups.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "render/simd_level.h"

class Tintara;

using QuantiseMember = void (*)(Tintara& effect);

// The route's result for every 16-bit word, which large 15- and 16-bit
// pictures look up instead of working each pixel out: kept by the instance
// while the member, the format, the gains, the inverts and the tables stay.
struct QuantiseWordTable {
    static constexpr size_t kKeyBytes = 8 + 4 + 12 + 12 + 512;
    std::unique_ptr<uint32_t[]> words;  // 65536 entries, as gathers read them
    std::array<uint8_t, kKeyBytes> key{};
};
// Pictures of fewer pixels than this are worked out pixel by pixel: the
// table's 65536 entries would cost more than they save.
constexpr int64_t kQuantiseTableMinPixels = 262144;

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
