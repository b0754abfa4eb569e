// Pixel loops that send each colour channel through a table of its own: the
// common last step of every effect whose per-frame work fits in per-channel
// tables (the colour controls, the table-driven colour effects, colour
// cycling, the stroboscope, the per-channel contrast).
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/simd_level.h"
#include "render/surface.h"

// 32-bit xRGB rows: red, green and blue through 256-entry tables of their
// own, top byte 0, then the whole word XORed with xorMask.
void ApplyChannelTables(const PixelRows& rows, const uint8_t red[256], const uint8_t green[256],
                        const uint8_t blue[256], uint32_t xorMask, SimdLevel level = MachineSimdLevel());
// Every channel through the same table.
inline void ApplyChannelTable(const PixelRows& rows, const uint8_t table[256], uint32_t xorMask,
                              SimdLevel level = MachineSimdLevel()) {
    ApplyChannelTables(rows, table, table, table, xorMask, level);
}

inline uint32_t TablesPixel(uint32_t p, const uint8_t red[256], const uint8_t green[256], const uint8_t blue[256]) {
    return uint32_t{red[(p >> 16) & 0xFF]} << 16 | uint32_t{green[(p >> 8) & 0xFF]} << 8 | blue[p & 0xFF];
}
inline uint32_t TablePixel(uint32_t p, const uint8_t table[256]) { return TablesPixel(p, table, table, table); }

// 16-bit rows: the three 5-bit fields of a 5-5-5 or 5-6-5 word through
// 32-entry tables. The fields are joined by addition, so entries above 31
// spill into their neighbours; in 5-6-5 green keeps its upper five bits only
// and the lowest green bit comes out 0 unless a spill sets it.
void MapChannels16(const PixelRows& rows, const uint8_t red[32], const uint8_t green[32], const uint8_t blue[32],
                   int32_t format, SimdLevel level = MachineSimdLevel());
inline void MapChannels16(const PixelRows& rows, const uint8_t table5[32], int32_t format,
                          SimdLevel level = MachineSimdLevel()) {
    MapChannels16(rows, table5, table5, table5, format, level);
}

inline uint16_t Channels16Pixel(uint32_t p, const uint8_t red[32], const uint8_t green[32], const uint8_t blue[32],
                                int32_t format) {
    const FieldShifts16 at = Shifts16(format);
    const uint32_t r = red[(p >> at.red) & 31], g = green[(p >> at.green) & 31], b = blue[p & 31];
    return static_cast<uint16_t>((((r << 5) + g) << at.green) + b);
}
inline uint16_t Channel16Pixel(uint32_t p, const uint8_t table5[32], int32_t format) {
    return Channels16Pixel(p, table5, table5, table5, format);
}
