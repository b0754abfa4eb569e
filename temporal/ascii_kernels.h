// The pixel loops of the ascii art: channel sums of a row of cells, and the
// copy of a glyph's block of pixels. Each runs at any vector level with the
// same result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/simd_level.h"

// A row of cells side by side, and how much of it the picture holds.
struct CellStrip {
    const uint8_t* first;  // the first pixel of the first cell
    intptr_t pitch;        // bytes from one pixel row to the next
    int32_t rows;          // pixel rows the picture holds, at most the cell height
    int32_t cells;         // cells across
    int32_t cellWidth;     // pixels
    int32_t pixels;        // pixels a row holds from first; those missing count as black
};

// Words of scratch space that the sums need for a strip of this many pixels
// across.
constexpr size_t CellSumScratch(int32_t pixelsAcross) { return static_cast<size_t>(pixelsAcross) * 7 + 64; }

// Sums red, green and blue of each cell into sums[cell][0..2], in wrapping
// 32-bit arithmetic. 32-bit pixels: blue in byte 0, green in 1, red in 2;
// the fourth byte is ignored.
void SumCells32(const CellStrip& strip, uint32_t (*sums)[3], uint16_t* scratch, SimdLevel level = MachineSimdLevel());
// The same for 16-bit words of format 2 (5-6-5) or 1 (5-5-5), each field
// widened by shifting: red and blue times 8, green times 4 or 8.
void SumCells16(const CellStrip& strip, int32_t format, uint32_t (*sums)[3], uint16_t* scratch,
                SimdLevel level = MachineSimdLevel());

// Draws a row of cells row by row: for each of rows pixel rows, cell c's
// cellBytes come from glyphs[c] (stepped by glyphPitch) and go to
// dst + c * cellBytes (stepped by dstPitch). Cells whose glyph is null are
// left alone. Row by row, the target is written in order, which the memory
// system takes far better than cell after cell.
void CopyCellRows(uint8_t* dst, intptr_t dstPitch, const uint8_t* const* glyphs, intptr_t glyphPitch, int32_t cells,
                  int32_t cellBytes, int32_t rows, SimdLevel level = MachineSimdLevel());

// Copies rows of bytes from src to dst, each side stepped by its own pitch.
void CopyBlock(uint8_t* dst, intptr_t dstPitch, const uint8_t* src, intptr_t srcPitch, int32_t rows, int32_t bytes,
               SimdLevel level = MachineSimdLevel());
