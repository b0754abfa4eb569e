// The arithmetic of colour cycling: channel values from time and the host's
// values, and the per-channel tables that apply them to 8-bit and 5-bit
// channels.
#pragma once

#include <array>
#include <cstdint>

// How a channel value is applied.
enum CycleStyle : uint32_t {
    kCycleWrap = 1,    // added, wrapping past the top
    kCycleScale = 2,   // a gain from g_scaleTable
    kCycleBounce = 3,  // added, folding back at the top
};

// Row v, entry x: (v times x) shifted right 5, at most 31. Row 32 is the
// identity; rows below darken, rows above brighten up to nearly four times.
using ScaleTable = std::array<std::array<uint16_t, 32>, 128>;
constexpr ScaleTable MakeScaleTable() {
    ScaleTable t{};
    for (uint32_t v = 0; v < 128; ++v) {
        uint32_t sum = 0;
        for (uint32_t x = 0; x < 32; ++x, sum += v) t[v][x] = static_cast<uint16_t>(sum >> 5 >= 32 ? 31 : sum >> 5);
    }
    return t;
}
inline constexpr ScaleTable g_scaleTable = MakeScaleTable();

// A channel's value for this frame: 0 to 511 in the bounce style, else 0 to
// 127, or -1 for a channel with neither a time term nor a parameter. period
// in milliseconds (negative: backwards, 0: no time term), parameter an index
// into params (negative: none; 16 and above read 0), elapsed milliseconds
// since the first frame.
int32_t CycleChannelValue(CycleStyle style, int32_t parameter, int32_t period, uint32_t elapsed,
                          const int16_t params[16]);

// The table that applies value to every 8-bit or 5-bit channel level.
void BuildCycleTable8(CycleStyle style, int32_t value, uint8_t table[256]);
void BuildCycleTable5(CycleStyle style, int32_t value, uint8_t table[32]);
