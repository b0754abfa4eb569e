#include "temporal/ascii_art.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "render/offscreen.h"
#include "render/resource_file.h"
#include "shell/factory.h"
#include "shell/log.h"
#include "shell/module.h"
#include "temporal/ascii_kernels.h"

namespace {

// The largest sheet: wider or taller grids are fitted into it.
constexpr int16_t kSheetMaxWidth = 1024;
constexpr int16_t kSheetMaxHeight = 768;

struct StoredSheet {
    uint8_t columns, rows;
    int32_t resource;
    bool brightnessOnly;  // the sheet can only be matched by brightness
};

// The grid and resource number of a stored sheet; an empty grid for an
// unknown one.
StoredSheet StoredSheetFor(uint8_t glyphSource, uint8_t matchMode, uint8_t sheetIndex) {
    if (glyphSource == 0) return matchMode == kMatchBrightness ? StoredSheet{14, 6, 128, false} : StoredSheet{16, 6, 129, false};
    static constexpr StoredSheet kSheets[12] = {
        {16, 6, 129, false}, {5, 11, 130, true}, {10, 11, 131, false}, {5, 2, 132, true},
        {10, 1, 133, true},  {10, 1, 134, true}, {10, 3, 135, false},  {10, 1, 136, true},
        {10, 3, 137, false}, {10, 1, 138, true}, {10, 1, 139, true},   {10, 3, 140, false},
    };
    if (sheetIndex < 1 || sheetIndex > 12) return {0, 0, 0, false};
    return kSheets[sheetIndex - 1];
}

int16_t Short(int32_t value) { return static_cast<int16_t>(value); }

constexpr uint16_t PackGlyph(GlyphPos p) { return static_cast<uint16_t>((p.row << 6 | p.column) + 1); }
constexpr GlyphPos UnpackGlyph(uint16_t packed) {
    return {static_cast<uint8_t>((packed - 1) >> 6), static_cast<uint8_t>((packed - 1) & 63)};
}

}  // namespace

AsciiArt::AsciiArt() {
    failed = sheetReady = stripReady = 0;
    refreshEachFrame = 0;
    glyphSheet = fadeStrip = nullptr;
    frameRecord = &g_frame;
    simdLevel = MachineSimdLevel();
    std::memset(brightnessChoice, 0, sizeof brightnessChoice);
    std::memset(colourChoice, 0, sizeof colourChoice);
}

// The sheet and the strip go with the instance.
AsciiArt::~AsciiArt() {
    FreeOffscreen(glyphSheet);
    FreeOffscreen(fadeStrip);
}

void AsciiArt::Render() {
    if (failed || !sheetReady) return;
    RenderFrame();
}

int32_t AsciiArt::Configure(const AsciiArtParams& source) {
    if (source.present) {
        record = source;
        return 0;
    }
    record.present = 1;
    record.matchMode = kMatchBrightness;
    record.reserved = 0;
    record.glyphSource = 0;
    record.sheetIndex = 1;
    record.gridColumns = record.gridRows = 10;
    record.density = 1;
    record.fadeFromParameter = 0;
    record.fixedFade = 0;
    record.fadeParameter = 7;
    return 0;
}

int32_t AsciiArt::Fail() {
    failed = 1;
    return -1;
}

int32_t AsciiArt::PrepareGlyphs() {
    // Without a picture to lay cells over there is nothing to prepare; a
    // captured sheet also needs the two surfaces to be of one depth.
    if (!source || source->bounds.right <= 0 || source->bounds.bottom <= 0) return Fail();
    if (record.glyphSource == kGlyphsFromFrame && !valid) return Fail();
    const int32_t width = source->bounds.right;
    const CellLayout layout = LayOutCells(width, source->bounds.bottom, record.density);
    cellColumns = layout.cellColumns;
    cellRows = layout.cellRows;
    sourceCellWidth = layout.sourceCellWidth;
    sourceCellHeight = layout.sourceCellHeight;

    if ((record.fadeFromParameter || record.fixedFade > 0) && sourceCellWidth < kBlitCellWidth) {
        const SurfaceRect strip{0, 0, Short(static_cast<int32_t>(sourceCellHeight)), Short(width)};
        fadeStrip = NewOffscreen(frameRecord, &strip);
        if (!fadeStrip) return Fail();
        stripReady = 1;
    }

    int32_t resource = 0;
    if (record.glyphSource == kGlyphsFromFrame) {
        glyphColumns = record.gridColumns;
        glyphRows = record.gridRows;
        // The glyph tables hold no more.
        if (glyphColumns > kMaxGlyphGrid || glyphRows > kMaxGlyphGrid) return Fail();
    } else {
        const StoredSheet sheet = StoredSheetFor(record.glyphSource, record.matchMode, record.sheetIndex);
        glyphColumns = sheet.columns;
        glyphRows = sheet.rows;
        resource = sheet.resource;
        if (sheet.brightnessOnly) record.matchMode = kMatchBrightness;
    }

    SurfaceRect sheetRect{0, 0, Short(static_cast<int32_t>(glyphRows * sourceCellHeight)),
                          Short(static_cast<int32_t>(glyphColumns * sourceCellWidth))};
    sheetRect.right = std::min(sheetRect.right, kSheetMaxWidth);
    sheetRect.bottom = std::min(sheetRect.bottom, kSheetMaxHeight);
    // A size that wrapped below zero is as empty as one of zero.
    if (sheetRect.right <= 0 || sheetRect.bottom <= 0) return Fail();
    glyphSheet = NewOffscreen(frameRecord, &sheetRect);
    if (!glyphSheet) return Fail();
    sheetReady = 1;
    sheetCellWidth = static_cast<uint32_t>(SurfaceWidth(*glyphSheet)) / glyphColumns;
    sheetCellHeight = static_cast<uint32_t>(SurfaceHeight(*glyphSheet)) / glyphRows;

    if (record.glyphSource != kGlyphsFromFrame) {
        LogToConsole("Ascii art loading resource!\n");
        uint32_t size = 0;
        uint8_t* data = LoadResourceFile(frameRecord, 0, resource, &size);
        if (!data) LogToConsole("Ascii art resource not found!\n");
        // Stored sheets are not decoded: found or not, the glyphs cannot be
        // made from one.
        std::free(data);
        return Fail();
    }

    // Only a 16-bit size that wrapped can leave a glyph without pixels.
    if (sheetCellWidth == 0 || sheetCellHeight == 0) return Fail();
    CopySurfaceRect(g_frame.source, glyphSheet, &g_frame.source->bounds, &sheetRect, kBlitReduce);
    if (record.matchMode == kMatchColour) {
        hsvCodes = GetHsvCodeTable();
        if (!hsvCodes) return Fail();
    }
    const uint32_t across = std::max(cellColumns * sourceCellWidth, glyphColumns * sheetCellWidth);
    scratch.reset(new (std::nothrow) uint16_t[CellSumScratch(static_cast<int32_t>(across))]());
    if (!scratch) return Fail();
    MeasureGlyphSheet();
    return 0;
}

int32_t AsciiArt::MeasureGlyphSheet() {
    std::memset(brightnessChoice, 0, sizeof brightnessChoice);
    std::memset(colourChoice, 0, sizeof colourChoice);
    if (!glyphSheet || !glyphSheet->pixels || !scratch || sheetCellWidth == 0 || sheetCellHeight == 0) return 0;
    const intptr_t pitch = glyphSheet->rowBytes & ~3;
    const uint32_t scale = 65535 / (sheetCellWidth * sheetCellHeight);
    const int shift = record.glyphSource == 0 ? 15 : 16;
    const uint32_t* codes = hsvCodes ? hsvCodes : GetHsvCodeTable();
    uint32_t sums[kMaxGlyphGrid][3];
    for (uint32_t row = 0; row < glyphRows; ++row) {
        const CellStrip strip{glyphSheet->pixels + static_cast<intptr_t>(row * sheetCellHeight) * pitch,
                              pitch,
                              static_cast<int32_t>(sheetCellHeight),
                              static_cast<int32_t>(glyphColumns),
                              static_cast<int32_t>(sheetCellWidth),
                              static_cast<int32_t>(pitch / 4)};
        SumCells32(strip, sums, scratch.get(), simdLevel);
        for (uint32_t column = 0; column < glyphColumns; ++column) {
            const uint32_t* s = sums[column];
            if (record.matchMode != kMatchColour)
                glyphLuma[row][column] = static_cast<uint16_t>(BlockLuma(s[0], s[1], s[2], scale, shift));
            else
                glyphCode[row][column] = codes[BlockColourIndex(s[0], s[1], s[2], scale)];
        }
    }
    return 0;
}

int32_t AsciiArt::MeasureCellRow(Surface* from, uint32_t row) {
    if (!from || !from->pixels || !scratch) return -1;
    const bool wide = from->depth == 32;
    if (!wide && from->pixelFormat != kFormat555 && from->pixelFormat != kFormat565) return -1;
    const int32_t bytesPerPixel = wide ? 4 : 2;
    const intptr_t pitch = from->rowBytes & -bytesPerPixel;
    if (pitch <= 0) return -1;
    // The cells of the layout, cut to the rows and row bytes the surface
    // holds: a source that shrank after the layout was made is read as far
    // as it goes.
    const int64_t firstRow = int64_t{row} * sourceCellHeight;
    const int64_t rowsLeft = std::max<int64_t>(0, SurfaceHeight(*from) - firstRow);
    CellStrip strip{from->pixels,
                    pitch,
                    static_cast<int32_t>(std::min<int64_t>(rowsLeft, sourceCellHeight)),
                    static_cast<int32_t>(cellColumns),
                    static_cast<int32_t>(sourceCellWidth),
                    static_cast<int32_t>(pitch / bytesPerPixel)};
    if (strip.rows > 0) strip.first += firstRow * pitch;
    if (wide) SumCells32(strip, cellSums, scratch.get(), simdLevel);
    else SumCells16(strip, from->pixelFormat, cellSums, scratch.get(), simdLevel);

    const uint32_t scale = 65535 / (sourceCellWidth * sourceCellHeight);
    const uint32_t* codes = hsvCodes ? hsvCodes : GetHsvCodeTable();
    for (uint32_t c = 0; c < cellColumns; ++c) {
        const uint32_t* s = cellSums[c];
        if (record.matchMode != kMatchColour) {
            cellLuma[c] = static_cast<uint16_t>(BlockLuma(s[0], s[1], s[2], scale));
        } else {
            const uint32_t index = BlockColourIndex(s[0], s[1], s[2], scale);
            cellColourIndex[c] = static_cast<uint16_t>(index);
            cellCode[c] = codes[index];
        }
    }
    return 0;
}

GlyphPos AsciiArt::GlyphForBrightness(uint32_t cell) {
    const uint32_t value = cellLuma[cell];
    // A cell measures at most 764; a larger value is never cached.
    if (value >= std::size(brightnessChoice)) return NearestByBrightness(glyphLuma, glyphRows, glyphColumns, value);
    uint16_t& choice = brightnessChoice[value];
    if (!choice) choice = PackGlyph(NearestByBrightness(glyphLuma, glyphRows, glyphColumns, value));
    return UnpackGlyph(choice);
}

GlyphPos AsciiArt::GlyphForColour(uint32_t cell) {
    uint16_t& choice = colourChoice[cellColourIndex[cell]];
    if (!choice) choice = PackGlyph(NearestByColour(glyphCode, glyphRows, glyphColumns, cellCode[cell]));
    return UnpackGlyph(choice);
}

int32_t AsciiArt::RenderFrame() {
    if (failed) return -1;
    if (refreshEachFrame) MeasureGlyphSheet();
    renderTarget = destination;
    measuredSource = source;
    if (record.fadeFromParameter)
        fade = record.fadeParameter < 16 ? static_cast<uint8_t>(frameRecord->params[record.fadeParameter] >> 1) : 0;
    else
        fade = record.fixedFade;
    if (fade) {
        if (record.glyphSource != kGlyphsFromFrame && source != destination) CopySurface(source, destination);
        if (fade == 127) return 0;
    }
    if (!renderTarget) return 0;
    if (sourceCellWidth < kBlitCellWidth) {
        const bool colour = record.matchMode != kMatchBrightness;
        if (renderTarget->depth == 16) colour ? DrawCellsCopy16Colour() : DrawCellsCopy16Luma();
        else colour ? DrawCellsCopy32Colour() : DrawCellsCopy32Luma();
    } else {
        record.matchMode == kMatchBrightness ? DrawCellsBlitLuma() : DrawCellsBlitColour();
    }
    return 0;
}

AsciiArt::Geometry AsciiArt::TargetGeometry() const {
    const int32_t width = renderTarget->bounds.right, height = renderTarget->bounds.bottom;
    Geometry g;
    g.width = width;
    g.cellWidth = width / static_cast<int32_t>(cellColumns);
    g.cellHeight = height / static_cast<int32_t>(cellRows);
    g.left = (width - static_cast<int32_t>(cellColumns) * g.cellWidth) >> 1;
    g.top = (height - static_cast<int32_t>(cellRows) * g.cellHeight) >> 1;
    return g;
}

void AsciiArt::FillBlend(BlitParams& params) const {
    params.kind = 0;
    params.blendLevel = 100 - fade * 100 / 127;
    params.blendKind = 5;
}

template <GlyphPos (AsciiArt::*Choose)(uint32_t)>
void AsciiArt::DrawCellsBlit() {
    if (!g_blitService || !g_blitService->BlitTransform) return;
    const Geometry g = TargetGeometry();
    // Filled for a fade only: a plain transfer draws the rectangle as it is
    // and the host reads nothing of the record but the corners, which stay
    // clear.
    BlitParams params{};
    const int32_t mode = fade ? kBlitBlend : kBlitPlain;
    if (fade) FillBlend(params);
    const int32_t glyphWidth = static_cast<int32_t>(sheetCellWidth), glyphHeight = static_cast<int32_t>(sheetCellHeight);
    for (uint32_t r = 0; r < cellRows; ++r) {
        MeasureCellRow(measuredSource, r);
        const int32_t top = static_cast<int32_t>(r) * g.cellHeight + g.top;
        for (uint32_t c = 0; c < cellColumns; ++c) {
            const GlyphPos glyph = (this->*Choose)(c);
            const SurfaceRect from{Short(glyph.row * glyphHeight), Short(glyph.column * glyphWidth),
                                   Short((glyph.row + 1) * glyphHeight), Short((glyph.column + 1) * glyphWidth)};
            const int32_t left = static_cast<int32_t>(c) * g.cellWidth + g.left;
            const SurfaceRect to{Short(top), Short(left), Short(top + g.cellHeight), Short(left + g.cellWidth)};
            g_blitService->BlitTransform(glyphSheet, renderTarget, &from, &to, mode, &params);
        }
    }
}

// The first byte of the glyph's block of rows x bytes, addressed in pixels of
// bytesPerPixel; null when the block runs past the sheet's memory.
const uint8_t* AsciiArt::GlyphBlock(GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel, int32_t rows,
                                    int32_t bytes) const {
    const intptr_t start = GlyphOffset(glyph, sheetPitch, bytesPerPixel);
    return start + (rows - 1) * sheetPitch + bytes <= SheetBytes() ? glyphSheet->pixels + start : nullptr;
}

intptr_t AsciiArt::GlyphOffset(GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel) const {
    return static_cast<intptr_t>(glyph.row * sheetCellHeight) * sheetPitch +
           static_cast<intptr_t>(glyph.column * sheetCellWidth) * bytesPerPixel;
}

intptr_t AsciiArt::SheetBytes() const {
    return static_cast<intptr_t>(glyphSheet->rowBytes) * SurfaceHeight(*glyphSheet);
}

// The glyph's block of rows x bytes from the sheet, addressed in pixels of
// bytesPerPixel, into to. Bytes of the block that lie beyond the sheet's
// memory (a target cell taller or wider than the sheet's cell, at the last
// glyphs) are written as zero.
void AsciiArt::CopyGlyph(uint8_t* to, intptr_t toPitch, GlyphPos glyph, intptr_t sheetPitch, int32_t bytesPerPixel,
                         int32_t rows, int32_t bytes) const {
    if (rows <= 0 || bytes <= 0) return;
    if (const uint8_t* from = GlyphBlock(glyph, sheetPitch, bytesPerPixel, rows, bytes)) {
        CopyBlock(to, toPitch, from, sheetPitch, rows, bytes, simdLevel);
        return;
    }
    const intptr_t start = GlyphOffset(glyph, sheetPitch, bytesPerPixel), end = SheetBytes();
    for (int32_t y = 0; y < rows; ++y) {
        const intptr_t at = start + y * sheetPitch;
        const int32_t inside = static_cast<int32_t>(std::clamp<intptr_t>(end - at, 0, bytes));
        uint8_t* out = to + y * toPitch;
        if (inside > 0) std::memcpy(out, glyphSheet->pixels + at, static_cast<size_t>(inside));
        std::memset(out + inside, 0, static_cast<size_t>(bytes - inside));
    }
}

template <GlyphPos (AsciiArt::*Choose)(uint32_t)>
void AsciiArt::DrawCellsCopy(int32_t bytesPerPixel) {
    Surface* target = fade ? fadeStrip : renderTarget;
    if (!target || !target->pixels || !glyphSheet->pixels) return;
    const Geometry g = TargetGeometry();
    if (g.cellWidth <= 0 || g.cellHeight <= 0) return;
    BlitParams params{};
    if (fade) FillBlend(params);
    const intptr_t sheetPitch = glyphSheet->rowBytes & -bytesPerPixel;
    const intptr_t targetPitch = target->rowBytes & -bytesPerPixel;
    // Cells are cut to the rows and row bytes the target holds; with a target
    // of the source's size nothing is cut.
    const int32_t targetRows = SurfaceHeight(*target);
    const int32_t targetRowPixels = static_cast<int32_t>(targetPitch / bytesPerPixel);
    for (uint32_t r = 0; r < cellRows; ++r) {
        MeasureCellRow(measuredSource, r);
        const int32_t top = static_cast<int32_t>(r) * g.cellHeight + g.top;
        const int32_t firstRow = fade ? 0 : top;
        const int32_t rows = std::clamp(targetRows - firstRow, 0, g.cellHeight);
        if (rows > 0) {
            // Whole cells whose glyph lies in the sheet go down together, row
            // by row; the others, cut by the target or the sheet, one by one.
            GlyphPos chosen[kMaxCellColumns];
            const uint8_t* blocks[kMaxCellColumns];
            bool anyCut = false;
            for (uint32_t c = 0; c < cellColumns; ++c) {
                chosen[c] = (this->*Choose)(c);
                const int32_t left = g.left + static_cast<int32_t>(c) * g.cellWidth;
                const bool whole = targetRowPixels - left >= g.cellWidth;
                blocks[c] = whole ? GlyphBlock(chosen[c], sheetPitch, bytesPerPixel, rows, g.cellWidth * bytesPerPixel)
                                  : nullptr;
                anyCut |= blocks[c] == nullptr;
            }
            uint8_t* line = target->pixels + static_cast<intptr_t>(firstRow) * targetPitch;
            CopyCellRows(line + static_cast<intptr_t>(g.left) * bytesPerPixel, targetPitch, blocks, sheetPitch,
                         static_cast<int32_t>(cellColumns), g.cellWidth * bytesPerPixel, rows, simdLevel);
            for (uint32_t c = 0; anyCut && c < cellColumns; ++c) {
                const int32_t left = g.left + static_cast<int32_t>(c) * g.cellWidth;
                const int32_t pixels = std::clamp(targetRowPixels - left, 0, g.cellWidth);
                if (blocks[c] || pixels == 0) continue;
                CopyGlyph(line + static_cast<intptr_t>(left) * bytesPerPixel, targetPitch, chosen[c], sheetPitch,
                          bytesPerPixel, rows, pixels * bytesPerPixel);
            }
        }
        if (fade && g_blitService && g_blitService->BlitTransform) {
            const SurfaceRect from{0, 0, Short(g.cellHeight), Short(g.width)};
            const SurfaceRect to{Short(top), 0, Short(top + g.cellHeight), Short(g.width)};
            g_blitService->BlitTransform(fadeStrip, renderTarget, &from, &to, kBlitBlend, &params);
        }
    }
}

void AsciiArt::DrawCellsBlitLuma() { DrawCellsBlit<&AsciiArt::GlyphForBrightness>(); }
void AsciiArt::DrawCellsBlitColour() { DrawCellsBlit<&AsciiArt::GlyphForColour>(); }
void AsciiArt::DrawCellsCopy16Luma() { DrawCellsCopy<&AsciiArt::GlyphForBrightness>(2); }
void AsciiArt::DrawCellsCopy16Colour() { DrawCellsCopy<&AsciiArt::GlyphForColour>(2); }
void AsciiArt::DrawCellsCopy32Luma() { DrawCellsCopy<&AsciiArt::GlyphForBrightness>(4); }
void AsciiArt::DrawCellsCopy32Colour() { DrawCellsCopy<&AsciiArt::GlyphForColour>(4); }

AsciiArt* NewAsciiArt(const AsciiArtParams& record) {
    auto* effect = static_cast<AsciiArt*>(NewZeroedEffect<AsciiArt>());
    if (effect->failed) return effect;
    effect->Configure(record);
    if (effect->PrepareGlyphs() != 0) {
        delete effect;
        return nullptr;
    }
    return effect;
}

AsciiArtParams FrameSheetRecord(uint8_t matchMode, uint8_t columns, uint8_t rows, uint8_t density,
                                uint8_t fixedFade) {
    AsciiArtParams record{};
    record.present = 1;
    record.matchMode = matchMode;
    record.glyphSource = kGlyphsFromFrame;
    record.gridColumns = columns;
    record.gridRows = rows;
    record.density = density;
    record.fixedFade = fixedFade;
    record.fadeParameter = 7;
    return record;
}

AsciiArtParams FactoryAsciiRecord(uint8_t glyphSource, uint8_t sheetIndex) {
    AsciiArtParams record{};
    record.present = 1;
    record.matchMode = kMatchBrightness;
    record.glyphSource = glyphSource;
    record.sheetIndex = sheetIndex;
    record.gridColumns = record.gridRows = 10;
    record.density = 2;
    record.fadeParameter = 7;
    return record;
}
