// The arithmetic of the ascii art that does not touch pixels: how a picture
// is divided into cells, the colour codes, the measures of a cell or glyph
// from its channel sums, and the choice of the nearest glyph.
#pragma once

#include <cstdint>

// Glyph tables hold at most this many columns and rows of glyphs.
constexpr int kMaxGlyphGrid = 64;
// Cells across are at most 255; the per-row tables have room for 256.
constexpr int kMaxCellColumns = 256;

struct CellLayout {
    uint32_t cellColumns, cellRows;
    uint32_t sourceCellWidth, sourceCellHeight;
};

// Cells for a source whose bounds end at right and bottom (both above 0).
// density 0 starts from 128 cells across, 1 from 64, any other value from
// 32; the count is nudged to divide the width well, the cells fill the
// width but for a rest smaller than one cell, and the rows follow the
// picture's shape.
CellLayout LayOutCells(int32_t right, int32_t bottom, uint8_t density);

// A colour code: value in bits 0-6, saturation in bits 7-13, hue in 14-20.
constexpr uint32_t CodeValue(uint32_t code) { return code & 0x7F; }
constexpr uint32_t CodeSaturation(uint32_t code) { return code >> 7 & 0x7F; }
constexpr uint32_t CodeHue(uint32_t code) { return code >> 14 & 0x7F; }

// The code of five-bit red, green and blue.
uint32_t HsvCode(int32_t red5, int32_t green5, int32_t blue5);
// The codes of all 32,768 five-bit colours at (r << 10) | (g << 5) | b,
// built at the first call and kept for the life of the module.
const uint32_t* GetHsvCodeTable();

// Brightness of a block from its channel sums and the block's scale
// (65535 / pixels): red, green and blue weigh 1, 1.5 and 0.5; white
// measures 764. All arithmetic wraps at 32 bits.
constexpr uint32_t BlockLuma(uint32_t red, uint32_t green, uint32_t blue, uint32_t scale, int shift = 16) {
    return (red + green + (green >> 1) + (blue >> 1)) * scale >> shift;
}
// Index into the colour code table: the top five bits of each channel's
// average. Never above 0x7FFF: a scale above 0 means at most 65535 pixels,
// whose sums cannot wrap.
constexpr uint32_t BlockColourIndex(uint32_t red, uint32_t green, uint32_t blue, uint32_t scale) {
    return (((red * scale >> 9) & 0x7FFC00) + ((green * scale >> 14) & 0x3FFE0) + (blue * scale >> 19)) & 0x7FFF;
}

// A glyph's place in the sheet's grid.
struct GlyphPos {
    uint8_t row, column;
};

// The glyph whose brightness is nearest to value, walking rows then columns
// from (0, 0): the first of equals wins and an exact match ends the walk. An
// empty grid gives (0, 0).
GlyphPos NearestByBrightness(const uint16_t (*luma)[kMaxGlyphGrid], uint32_t rows, uint32_t columns,
                             uint32_t value);
// The glyph whose colour code is nearest to code: value and saturation
// apart, plus twice the hue apart when both saturations count as coloured
// (any bit of 0xFA). The last of equals wins, but an exact match ends the
// walk.
GlyphPos NearestByColour(const uint32_t (*codes)[kMaxGlyphGrid], uint32_t rows, uint32_t columns, uint32_t code);
