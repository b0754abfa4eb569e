// The ascii art: the picture redrawn as a grid of cells, each showing the
// glyph of a glyph sheet whose brightness or colour is nearest to the
// picture under it. The sheet is captured from the source frame at creation
// (glyphSource 2), fitted to the sheet's grid, so every glyph is a piece of
// that frame; stored sheets (the other sources, and both factory rows) are
// never decoded, so those records always fail with their two console lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "render/render_interface.h"
#include "render/simd_level.h"
#include "temporal/ascii_glyphs.h"

struct AsciiArtParams {
    uint8_t header[8];    // copied, never read
    uint8_t present;      // 0: take the defaults
    uint8_t matchMode;    // 1 brightness, 2 colour
    uint8_t reserved;
    uint8_t glyphSource;  // 0 default stored sheet, 2 captured from the frame, else numbered stored sheet
    uint8_t sheetIndex;   // stored sheet 1 to 12
    uint8_t gridColumns;  // glyphs across and down for source 2, at most 64
    uint8_t gridRows;
    uint8_t density;            // 0: 128 cells across, 1: 64, else 32
    uint8_t fadeFromParameter;  // non-zero: the fade is host value fadeParameter / 2
    uint8_t fixedFade;          // else this, 0 to 127
    uint8_t fadeParameter;
    uint8_t tail[5];  // copied, never read
};
static_assert(offsetof(AsciiArtParams, present) == 8);
static_assert(offsetof(AsciiArtParams, fadeParameter) == 18);
static_assert(sizeof(AsciiArtParams) == 24);

enum AsciiMatchMode : uint8_t { kMatchBrightness = 1, kMatchColour = 2 };
constexpr uint8_t kGlyphsFromFrame = 2;
// Cells from this width on go to the host one glyph at a time; narrower
// ones are copied here.
constexpr uint32_t kBlitCellWidth = 20;

class AsciiArt : public CRenderInterface {
public:
    AsciiArt();
    ~AsciiArt() override;
    void Render() override;

    // Takes the record whole, or the defaults when it is not present. 0.
    int32_t Configure(const AsciiArtParams& source);
    // Lays out the cells, makes the strip and the sheet and measures the
    // glyphs: 0, or -1 with failed set.
    int32_t PrepareGlyphs();
    // Fills the glyph tables from the sheet. 0.
    int32_t MeasureGlyphSheet();

    // One frame: -1 when failed, else 0.
    int32_t RenderFrame();
    // Fills the brightness or colour codes of cell row row; -1 for a source
    // it cannot unpack, whose tables keep the previous row.
    int32_t MeasureCellRow(Surface* from, uint32_t row);

    void DrawCellsBlitLuma();
    void DrawCellsBlitColour();
    void DrawCellsCopy16Luma();
    void DrawCellsCopy16Colour();
    void DrawCellsCopy32Luma();
    void DrawCellsCopy32Colour();

    // The glyph chosen for cell column cell of the row last measured.
    GlyphPos GlyphForBrightness(uint32_t cell);
    GlyphPos GlyphForColour(uint32_t cell);

    Surface* measuredSource;
    Surface* glyphSheet;
    Surface* fadeStrip;  // one row of cells, for the fade of copied cells
    Surface* renderTarget;
    uint8_t failed;
    uint8_t sheetReady;
    uint8_t stripReady;
    uint8_t fade;  // 0 to 127
    const uint32_t* hsvCodes;
    uint16_t glyphLuma[kMaxGlyphGrid][kMaxGlyphGrid];  // [glyph row][glyph column]
    uint32_t glyphCode[kMaxGlyphGrid][kMaxGlyphGrid];
    uint32_t cellSums[kMaxCellColumns][3];  // red, green, blue of one row of cells
    uint16_t cellLuma[kMaxCellColumns];
    uint32_t cellCode[kMaxCellColumns];
    AsciiArtParams record;
    uint8_t refreshEachFrame;  // measure the sheet again before each frame
    uint32_t sheetCellWidth, sheetCellHeight;
    uint32_t glyphColumns, glyphRows;
    uint32_t sourceCellWidth, sourceCellHeight;
    uint32_t cellColumns, cellRows;
    FrameParams* frameRecord;
    SimdLevel simdLevel;  // the highest vector level the loops may use

private:
    struct Geometry {
        int32_t cellWidth, cellHeight;  // on the target
        int32_t left, top;              // of the first cell
        int32_t width;                  // right of the target's bounds
    };
    Geometry TargetGeometry() const;
    int32_t Fail();
    void FillBlend(BlitParams& params) const;
    template <GlyphPos (AsciiArt::*Choose)(uint32_t)>
    void DrawCellsBlit();
    template <GlyphPos (AsciiArt::*Choose)(uint32_t)>
    void DrawCellsCopy(int32_t bytesPerPixel);
    // Where the glyph's block starts in the sheet, in bytes, and the sheet's
    // bytes in all.
    intptr_t GlyphOffset(GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel) const;
    intptr_t SheetBytes() const;
    const uint8_t* GlyphBlock(GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel, int32_t rows,
                              int32_t bytes) const;
    void CopyGlyph(uint8_t* to, intptr_t toPitch, GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel,
                   int32_t rows, int32_t bytes) const;

    // The colour table index of each cell of the row last measured.
    uint16_t cellColourIndex[kMaxCellColumns];
    // Glyphs chosen so far, as (row << 6 | column) + 1, by cell brightness
    // and by colour table index; 0 where none is yet. The glyph tables are
    // fixed once measured, so each choice is made once.
    uint16_t brightnessChoice[1024];
    uint16_t colourChoice[1 << 15];
    std::unique_ptr<uint16_t[]> scratch;  // column sums of a row of cells
};

// The factory's path: a zero-filled instance, the record, the glyphs. Null
// when the glyphs cannot be prepared (always, for stored sheets). Takes the
// surfaces from g_frame.
AsciiArt* NewAsciiArt(const AsciiArtParams& record);
// A record whose sheet is captured from the frame: columns x rows glyphs,
// matched by matchMode, cells by density, glyphs faded by fixedFade.
AsciiArtParams FrameSheetRecord(uint8_t matchMode, uint8_t columns, uint8_t rows, uint8_t density,
                                uint8_t fixedFade = 0);
// The record of the factory rows "AsciiArt1" (sheet 0) and "AsciiArt2"
// (stored sheet 7).
AsciiArtParams FactoryAsciiRecord(uint8_t glyphSource, uint8_t sheetIndex);
