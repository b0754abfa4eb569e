// Pixel loops of the table-driven colour effects on HSV codes.
#pragma once

#include <cstdint>
#include <memory>

#include "render/pixel_rows.h"
#include "render/simd_level.h"
#include "render/surface.h"

// The forward table's index of a 32-bit pixel: the top five bits of each channel.
inline uint32_t HueIndex32(uint32_t p) {
    return ((p >> 19) & 31) << 10 | ((p >> 11) & 31) << 5 | ((p >> 3) & 31);
}
// The 16-bit index drops bit 15 in both layouts.
inline uint32_t HueIndex16(uint32_t p) { return p & 0x7FFF; }

// Hue posterize maps the hue field alone; hue special writes the mapped value
// into hue and value and maps saturation too.
inline uint32_t RemapHueCode(uint32_t code, const uint8_t table5[32], bool special) {
    const uint32_t h = (code >> 10) & 31, s = (code >> 5) & 31, v = code & 31;
    if (special) return (uint32_t{table5[v]} << 10) + (uint32_t{table5[s]} << 5) + table5[v];
    return (uint32_t{table5[h]} << 10) + (s << 5) + v;
}

struct HueTables {
    const uint32_t* forward;
    const uint32_t* inverse;
    const uint8_t* table5;
    bool special;
};

// The three tables composed into one of 32768 entries, kept by an instance
// from frame to frame and rebuilt only when the tables or the remap change.
struct HueComposition {
    std::unique_ptr<uint32_t[]> table;
    const uint32_t* forward = nullptr;
    const uint32_t* inverse = nullptr;
    uint8_t table5[32] = {};
    bool special = false;

    // The composed table for tables, built when it is not the kept one; null
    // when memory runs out.
    const uint32_t* For(const HueTables& tables);
};

// Every pixel through forward, the remap and inverse; wordBytes 2 or 4 says
// how the rows are read and written. Pictures of kComposeMinPixels or more go
// through the composed table of kept.
constexpr int64_t kComposeMinPixels = 32768;
void MapHue(const PixelRows& rows, int32_t wordBytes, const HueTables& tables, HueComposition& kept,
            SimdLevel level = MachineSimdLevel());
// The same, one pixel at a time through all three: the definition.
void MapHueDirect(const PixelRows& rows, int32_t wordBytes, const HueTables& tables);

// Every 16-bit word through table[word & indexMask], whose entries fit 16
// bits: gathers from AVX2 on, which fetch more entries a cycle than scalar
// loads where measured.
void MapWords16(const PixelRows& rows, const uint32_t* table, uint32_t indexMask,
                SimdLevel level = MachineSimdLevel());

