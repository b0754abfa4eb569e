// Process-wide conversions between 15- or 16-bit colour and 15-bit HSV codes,
// for the hue effects. Each table is built at its first request and kept for
// the life of the process; instances share them.
#pragma once

#include <cstdint>

// An HSV code: value in bits 0-4, saturation in 5-9, hue in 10-14.
constexpr uint32_t kHsvCodeCount = 32768;

// Kinds of forward table, named by the pixel layout of their index.
constexpr int8_t kHsvFrom555 = 3;  // (r5 << 10) | (g5 << 5) | b5, 32768 entries
constexpr int8_t kHsvFrom565 = 5;  // (r5 << 11) | (g6 << 5) | b5, 65536 entries
// Kinds of inverse table, named by the pixel they give for a code.
constexpr int8_t kHsvTo555 = 3;
constexpr int8_t kHsvTo565 = 5;
constexpr int8_t kHsvToXrgb = 33;

// The forward table of the kind; null for another kind or when memory runs
// out (the next request tries again).
const uint32_t* GetRgbToHsvTable(int8_t kind);
// The inverse table of the kind, 32768 entries indexed by HSV code.
const uint32_t* GetHsvToRgbTable(int8_t kind);

// One entry of each, as the tables hold them.
uint32_t RgbToHsvCode(int8_t kind, uint32_t index);
uint32_t HsvCodeToPixel(int8_t kind, uint32_t code);
