// The ascii art's frames against a plain per-cell model written here: each
// cell measured with plain loops, its glyph chosen with NearestByBrightness or
// NearestByColour over the instance's tables, and the glyph block copied pixel
// for pixel from the sheet (narrow cells) or drawn by the reference host's BlitCopy
// and blend (wide cells). The six kernels at every vector level, the fade,
// the margin, sources that change size, stale cells, flat pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "effect_fixture.h"
#include "kernel_support.h"
#include "temporal/ascii_art.h"

namespace {

using fxhost::HostSurface;


int Bpp(int32_t format) { return format == kFormatXrgb ? 4 : 2; }

// The surface's word for 8-bit red, green and blue.
uint32_t Word(int32_t format, uint32_t r, uint32_t g, uint32_t b) {
    if (format == kFormatXrgb) return r << 16 | g << 8 | b;
    if (format == kFormat565) return (r >> 3) << 11 | (g >> 2) << 5 | b >> 3;
    return (r >> 3) << 10 | (g >> 3) << 5 | b >> 3;
}

// Smooth colours, so that every glyph cut from the picture differs.
void PaintGradient(HostSurface& s) {
    const int w = std::max(1, s.width() - 1), h = std::max(1, s.height() - 1);
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x)
            s.setPixel(x, y, Word(s.format(), x * 255 / w, y * 255 / h, (x * 3 + y * 5) & 255));
}

// Blocks of bw by bh pixels of hashed colours, each pixel a little noisy.
void PaintBlocks(HostSurface& s, int bw, int bh, uint32_t seed) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) {
            const uint32_t h = (uint32_t(x / bw) * 73856093u ^ uint32_t(y / bh) * 19349663u ^ seed) * 0x9E3779B1u;
            const uint32_t n = (uint32_t(x) * 7 + uint32_t(y) * 13) & 7;
            s.setPixel(x, y, Word(s.format(), (h >> 24) ^ n, (h >> 16 & 255) ^ n, (h >> 8 & 255) ^ n));
        }
}

void PaintTarget(HostSurface& s) {
    for (int y = 0; y < s.height(); ++y)
        for (int x = 0; x < s.width(); ++x) s.setPixel(x, y, 0x5A3C1E00u + uint32_t(x * 131 + y * 17));
    s.fillPadding(0xEE);
}

HostSurface Clone(const HostSurface& s) {
    HostSurface c(s.width(), s.height(), s.format(), s.rowBytes());
    for (int y = 0; y < s.height(); ++y) std::memcpy(c.row(y), s.row(y), size_t(s.rowBytes()));
    return c;
}

testing::AssertionResult SameBytes(const HostSurface& got, const HostSurface& want) {
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.rowBytes(); ++x)
            if (got.row(y)[x] != want.row(y)[x])
                return testing::AssertionFailure() << "byte " << x << " of row " << y << ": " << int(got.row(y)[x])
                                                   << " for " << int(want.row(y)[x]);
    return testing::AssertionSuccess();
}

// ---- the model ----

struct CellValue {
    uint32_t luma = 0, index = 0;
};

bool Measurable(const Surface& s) {
    return s.pixels && (s.depth == 32 || s.pixelFormat == kFormat555 || s.pixelFormat == kFormat565);
}

// Cell row row of the instance's layout over s, cut to the rows and row
// bytes s holds: pixels beyond them count as black.
std::vector<CellValue> MeasureRow(const AsciiArt& e, const Surface& s, uint32_t row) {
    const int bpp = s.depth == 32 ? 4 : 2;
    const int64_t pitch = s.rowBytes / bpp * bpp, rowPixels = pitch / bpp, held = SurfaceHeight(s);
    const uint32_t scale = 65535 / (e.sourceCellWidth * e.sourceCellHeight);
    std::vector<CellValue> out(e.cellColumns);
    for (uint32_t c = 0; c < e.cellColumns; ++c) {
        uint32_t sum[3] = {0, 0, 0};
        for (uint32_t y = 0; y < e.sourceCellHeight; ++y) {
            const int64_t sy = int64_t(row) * e.sourceCellHeight + y;
            for (uint32_t k = 0; k < e.sourceCellWidth && sy < held; ++k) {
                const int64_t x = int64_t(c) * e.sourceCellWidth + k;
                if (x >= rowPixels) break;
                const uint8_t* p = s.pixels + sy * pitch + x * bpp;
                const uint32_t w = bpp == 4 ? 0 : uint32_t(p[0]) | uint32_t(p[1]) << 8;
                const uint32_t ch[3] = {bpp == 4                      ? p[2]
                                        : s.pixelFormat == kFormat565 ? (w >> 8 & 0xF8)
                                                                      : (w >> 7 & 0xF8),
                                        bpp == 4                      ? p[1]
                                        : s.pixelFormat == kFormat565 ? (w >> 3 & 0xFC)
                                                                      : (w >> 2 & 0xF8),
                                        bpp == 4 ? p[0] : (w & 31) * 8};
                for (int i = 0; i < 3; ++i) sum[i] += ch[i];
            }
        }
        out[c].luma = uint16_t((sum[0] + sum[1] + (sum[1] >> 1) + (sum[2] >> 1)) * scale >> 16);
        out[c].index = ((sum[0] * scale >> 9) & 0x7FFC00) + ((sum[1] * scale >> 14) & 0x3FFE0) + (sum[2] * scale >> 19);
    }
    return out;
}

// Draws onto into (a copy of the target as it was) what the instance should
// draw from source with fade; last holds the values of the row last measured
// and stands in for a source that cannot be measured. Returns the number of
// different glyphs chosen.
size_t ModelFrame(const AsciiArt& e, Surface* into, const Surface& source, uint8_t fade,
                  std::vector<CellValue>& last) {
    if (fade == 127) return 0;
    const int32_t w = into->bounds.right, h = into->bounds.bottom;
    const int32_t cw = w / int32_t(e.cellColumns), ch = h / int32_t(e.cellRows);
    const int32_t offX = (w - int32_t(e.cellColumns) * cw) >> 1, offY = (h - int32_t(e.cellRows) * ch) >> 1;
    const bool blit = e.sourceCellWidth >= 20;
    const int bpp = into->depth == 16 ? 2 : 4;
    Surface* sheet = e.glyphSheet;
    std::unique_ptr<HostSurface> strip;
    if (fade && !blit)
        strip = std::make_unique<HostSurface>(SurfaceWidth(*e.fadeStrip), SurfaceHeight(*e.fadeStrip), kFormatXrgb,
                                              e.fadeStrip->rowBytes);
    BlitParams params{};
    params.blendLevel = 100 - fade * 100 / 127;
    params.blendKind = 5;
    std::set<int> chosen;
    for (uint32_t r = 0; r < e.cellRows; ++r) {
        if (Measurable(source)) last = MeasureRow(e, source, r);
        const int32_t top = int32_t(r) * ch + offY;
        for (uint32_t c = 0; c < e.cellColumns; ++c) {
            const GlyphPos g = e.record.matchMode == kMatchBrightness
                                   ? NearestByBrightness(e.glyphLuma, e.glyphRows, e.glyphColumns, last[c].luma)
                                   : NearestByColour(e.glyphCode, e.glyphRows, e.glyphColumns,
                                                     GetHsvCodeTable()[last[c].index]);
            chosen.insert(g.row * 64 + g.column);
            const int32_t left = int32_t(c) * cw + offX;
            if (blit) {
                const SurfaceRect from{int16_t(g.row * e.sheetCellHeight), int16_t(g.column * e.sheetCellWidth),
                                       int16_t((g.row + 1) * e.sheetCellHeight),
                                       int16_t((g.column + 1) * e.sheetCellWidth)};
                const SurfaceRect to{int16_t(top), int16_t(left), int16_t(top + ch), int16_t(left + cw)};
                if (fade) fxhost::BlitTransform(sheet, into, &from, &to, kBlitBlend, &params);
                else fxhost::BlitCopy(sheet, into, &from, &to, kBlitPlain);
                continue;
            }
            // ch rows of cw pixels from the glyph's first pixel, unscaled, in
            // the target's pixel size; bytes beyond the sheet read as zero;
            // cut to what the target holds.
            Surface* out = strip ? strip->get() : into;
            const int32_t firstRow = strip ? 0 : top;
            const int64_t sheetPitch = sheet->rowBytes / bpp * bpp;
            const int64_t sheetEnd = int64_t(sheet->rowBytes) * SurfaceHeight(*sheet);
            const int64_t outPitch = out->rowBytes / bpp * bpp;
            const int32_t rows = std::clamp(SurfaceHeight(*out) - firstRow, 0, ch);
            const int32_t pixels = std::clamp(int32_t(outPitch / bpp) - left, 0, cw);
            const int64_t start =
                int64_t(g.row) * e.sheetCellHeight * sheetPitch + int64_t(g.column) * e.sheetCellWidth * bpp;
            for (int32_t y = 0; y < rows; ++y)
                for (int32_t b = 0; b < pixels * bpp; ++b) {
                    const int64_t at = start + y * sheetPitch + b;
                    out->pixels[(firstRow + y) * outPitch + left * bpp + b] = at < sheetEnd ? sheet->pixels[at] : 0;
                }
        }
        if (strip) {
            const SurfaceRect from{0, 0, int16_t(ch), int16_t(w)}, to{int16_t(top), 0, int16_t(top + ch), int16_t(w)};
            fxhost::BlitTransform(strip->get(), into, &from, &to, kBlitBlend, &params);
        }
    }
    return chosen.size();
}

// The reference host's transform, counted, with the modes and blend records
// it was handed.
struct TransformLog {
    int calls = 0, badModes = 0, badBlends = 0;
};
TransformLog g_log;
int32_t g_wantMode = kBlitPlain, g_wantLevel = 0;

void LoggedTransform(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t mode,
                     BlitParams* params) {
    ++g_log.calls;
    g_log.badModes += mode != g_wantMode;
    if (mode == kBlitBlend)
        g_log.badBlends += !params || params->kind != 0 || params->blendLevel != g_wantLevel || params->blendKind != 5;
    fxhost::BlitTransform(from, to, fromRect, toRect, mode, params);
}

class AsciiFrames : public EffectTest {
protected:
    void TearDown() override {
        g_frame.source = g_frame.destination = nullptr;
        EffectTest::TearDown();
    }
    static AsciiArt* New(const AsciiArtParams& record, HostSurface& src, HostSurface& dst) {
        g_frame.source = src.get();
        g_frame.destination = dst.get();
        return NewAsciiArt(record);
    }
    // One frame from picture onto a freshly painted dst, against the model.
    static size_t ExpectFrame(AsciiArt* e, HostSurface& dst, HostSurface& picture, uint8_t fade,
                              std::vector<CellValue>& last, std::array<int32_t, 4> params = {}) {
        PaintTarget(dst);
        HostSurface expected = Clone(dst);
        const size_t glyphs = ModelFrame(*e, expected.get(), *picture.get(), fade, last);
        // Wide cells: one host call a cell; narrow ones: one a row of cells
        // with a fade, else none.
        const bool blit = e->sourceCellWidth >= kBlitCellWidth;
        const int calls = fade == 127 ? 0 : blit ? int(e->cellRows * e->cellColumns) : fade ? int(e->cellRows) : 0;
        BlitService logged = *fxhost::GetBlitService();
        logged.BlitTransform = LoggedTransform;
        g_blitService = &logged;
        g_log = {};
        g_wantMode = fade ? kBlitBlend : kBlitPlain;
        g_wantLevel = 100 - fade * 100 / 127;
        Render(e, params, 0, picture.get());
        g_blitService = fxhost::GetBlitService();
        EXPECT_EQ(g_log.calls, calls);
        EXPECT_EQ(g_log.badModes, 0);
        EXPECT_EQ(g_log.badBlends, 0);
        EXPECT_EQ(e->fade, fade);
        EXPECT_TRUE(SameBytes(dst, expected));
        EXPECT_TRUE(dst.paddingIs(0xEE));
        return glyphs;
    }
};

// Source cells of 19 take the copy kernels, of 20 the host's blits; targets
// of 16 and 32 bits; both matches; with and without a fade. The target's
// cells (21 by 26) are larger than the sheet's, so the copies read across
// glyphs and past the sheet, and the blits scale.
TEST_F(AsciiFrames, EveryKernelAtEveryLevelMatchesTheModel) {
    for (int cell : {19, 20})
        for (int32_t format : {kFormatXrgb, kFormat565}) {
            HostSurface src(32 * cell, 3 * cell, format), picture(32 * cell, 3 * cell, format),
                dst(700, 80, format, 700 * Bpp(format) + 8);
            PaintGradient(src);
            PaintBlocks(picture, cell, cell, uint32_t(cell + format));
            for (uint8_t mode : {kMatchBrightness, kMatchColour})
                for (uint8_t fade : {0, 64}) {
                    SCOPED_TRACE(testing::Message() << "cell " << cell << " format " << format << " mode "
                                                    << int(mode) << " fade " << int(fade));
                    AsciiArt* e = New(FrameSheetRecord(mode, 8, 6, 2, fade), src, dst);
                    ASSERT_NE(e, nullptr);
                    ASSERT_EQ(e->sourceCellWidth, uint32_t(cell));
                    const auto luma = std::to_array(e->glyphLuma[5]);
                    const auto codes = std::to_array(e->glyphCode[5]);
                    std::vector<CellValue> last(e->cellColumns);
                    for (SimdLevel level : Levels()) {
                        e->simdLevel = level;
                        e->MeasureGlyphSheet();
                        EXPECT_EQ(std::to_array(e->glyphLuma[5]), luma);
                        EXPECT_EQ(std::to_array(e->glyphCode[5]), codes);
                        EXPECT_GE(ExpectFrame(e, dst, picture, fade, last), 12u) << "level " << int(level);
                    }
                    delete e;
                }
        }
}

// The fade from a host value is half of it; parameter 7 is never filled and
// 16 is out of range. 127 draws nothing at all, whichever kernel.
TEST_F(AsciiFrames, FadeFromTheHost) {
    struct Case {
        uint8_t fadeParameter;
        std::array<int32_t, 4> params;
        uint8_t fade;
    };
    const Case cases[] = {
        {0, {128, 0, 0, 0}, 64},    {1, {0, 128, 0, 0}, 64},       {2, {0, 0, 128, 0}, 64},
        {3, {9, 9, 9, 128}, 64},    {3, {255, 255, 255, 1}, 0},    {7, {255, 255, 255, 255}, 0},
        {16, {255, 255, 255, 255}, 0}, {0, {254, 0, 0, 0}, 127},  {2, {0, 0, 255, 0}, 127},
        {1, {0, 230, 0, 0}, 115},   {1, {0, 3, 0, 0}, 1},
    };
    for (int cell : {5, 20}) {
        HostSurface src(32 * cell, 12 * cell, kFormatXrgb), picture(src.width(), src.height(), kFormatXrgb),
            dst(src.width(), src.height(), kFormatXrgb, src.width() * 4 + 4);
        PaintGradient(src);
        PaintBlocks(picture, cell, cell, 3);
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << "cell " << cell << " parameter " << int(c.fadeParameter));
            AsciiArtParams record = FrameSheetRecord(kMatchBrightness, 6, 4, 2);
            record.fadeFromParameter = 1;
            record.fadeParameter = c.fadeParameter;
            AsciiArt* e = New(record, src, dst);
            ASSERT_NE(e, nullptr);
            std::vector<CellValue> last(e->cellColumns);
            ExpectFrame(e, dst, picture, c.fade, last, c.params);
            delete e;
        }
        for (uint8_t mode : {kMatchBrightness, kMatchColour}) {  // a fixed 127: no host call, no pixel
            AsciiArt* e = New(FrameSheetRecord(mode, 6, 4, 2, 127), src, dst);
            ASSERT_NE(e, nullptr);
            std::vector<CellValue> last(e->cellColumns);
            ExpectFrame(e, dst, picture, 127, last);
            delete e;
        }
    }
}

// A target of the source's size whose width is not a multiple of the cells:
// 127 cells of 2 across 255 pixels, 99 rows of 2 down 200; the rows outside
// the cells keep what they had, and so does the column without a fade. With
// a fade the strip goes down across the whole width, so
// the column is blended with strip pixels that no cell wrote: black.
TEST_F(AsciiFrames, MarginIsLeftAlone) {
    for (int32_t format : {kFormatXrgb, kFormat555})
        for (uint8_t fade : {0, 64}) {
            HostSurface src(255, 200, format), picture(255, 200, format), dst(255, 200, format);
            PaintGradient(src);
            PaintBlocks(picture, 2, 2, 11);
            AsciiArt* e = New(FrameSheetRecord(kMatchColour, 16, 8, 0, fade), src, dst);
            ASSERT_NE(e, nullptr);
            ASSERT_EQ(e->cellColumns, 127u);
            std::vector<CellValue> last(e->cellColumns);
            PaintTarget(dst);
            const HostSurface before = Clone(dst);
            ExpectFrame(e, dst, picture, fade, last);
            for (int y = 1; y < 199; ++y) {
                const uint32_t was = before.pixel(254, y);
                if (fade == 0) {
                    EXPECT_EQ(dst.pixel(254, y), was) << y;
                } else if (format == kFormatXrgb) {  // each byte half way to 0, halves rounded up
                    EXPECT_EQ(dst.pixel(254, y), (was >> 1 & 0x7F7F7F7F) + (was & 0x01010101)) << y;
                }
            }
            for (int x = 0; x < 255; ++x) {
                EXPECT_EQ(dst.pixel(x, 0), before.pixel(x, 0)) << x;
                EXPECT_EQ(dst.pixel(x, 199), before.pixel(x, 199)) << x;
            }
            delete e;
        }
}

// The layout of the first source stays when later frames bring another:
// a smaller one is read as far as it goes (the rest is black), a larger one
// only where the cells lie; a 16-bit picture is unpacked by its format.
TEST_F(AsciiFrames, SourceThatChangesSizeKeepsTheLayout) {
    HostSurface src(160, 120, kFormatXrgb), dst(160, 120, kFormatXrgb, 160 * 4 + 16);
    PaintGradient(src);
    struct Picture {
        int w, h;
        int32_t format;
        int rowBytes;
    };
    const Picture pictures[] = {{100, 70, kFormatXrgb, 0}, {37, 119, kFormatXrgb, 37 * 4 + 12},
                                {300, 200, kFormatXrgb, 0}, {160, 3, kFormatXrgb, 0},
                                {90, 50, kFormat555, 0},    {161, 121, kFormat565, 0}};
    for (uint8_t mode : {kMatchBrightness, kMatchColour})
        for (uint8_t fade : {0, 64}) {
            AsciiArt* e = New(FrameSheetRecord(mode, 8, 6, 2, fade), src, dst);
            ASSERT_NE(e, nullptr);
            std::vector<CellValue> last(e->cellColumns);
            for (const Picture& p : pictures) {
                SCOPED_TRACE(testing::Message() << p.w << "x" << p.h << " mode " << int(mode) << " fade " << int(fade));
                HostSurface picture(p.w, p.h, p.format, p.rowBytes);
                PaintBlocks(picture, 5, 5, uint32_t(p.w));
                ExpectFrame(e, dst, picture, fade, last);
                EXPECT_EQ(e->cellColumns, 32u);
                EXPECT_EQ(e->cellRows, 24u);
                EXPECT_EQ(e->sourceCellWidth, 5u);
            }
            delete e;
        }
}

// A 16-bit picture of an unknown format is not measured: every row of cells
// shows the glyphs of the last row measured in the frame before.
TEST_F(AsciiFrames, UnknownFormatDrawsStaleCells) {
    for (int cell : {5, 20})
        for (uint8_t mode : {kMatchBrightness, kMatchColour}) {
            HostSurface src(32 * cell, 12 * cell, kFormat565), dst(src.width(), src.height(), kFormat565),
                picture(src.width(), src.height(), kFormat565), odd(src.width(), src.height(), kFormat565);
            PaintGradient(src);
            PaintBlocks(picture, cell, cell, 5);
            PaintBlocks(odd, cell, cell, 6);
            odd.get()->pixelFormat = 0;
            AsciiArt* e = New(FrameSheetRecord(mode, 8, 6, 2), src, dst);
            ASSERT_NE(e, nullptr);
            std::vector<CellValue> last(e->cellColumns);
            ExpectFrame(e, dst, picture, 0, last);
            EXPECT_EQ(e->MeasureCellRow(odd.get(), 0), -1);
            ExpectFrame(e, dst, odd, 0, last);
            for (int y = cell; y < dst.height(); ++y)  // every cell row is the first one
                ASSERT_EQ(std::memcmp(dst.row(y), dst.row(y % cell), size_t(dst.rowBytes())), 0) << y;
            delete e;
        }
}

// One pixel a glyph: a 4 by 2 picture, a 4 by 2 grid, the sheet the picture
// itself. Glyphs (0, 1) and (1, 3) have equal brightness (or equal colour
// code) and differ in their bytes; a flat picture draws the chosen glyph's
// colour everywhere.
TEST_F(AsciiFrames, FlatPicturesPickTheNearestGlyph) {
    struct Case {
        uint8_t mode;
        std::array<uint32_t, 8> glyphs;
        uint32_t flat, drawn;
    };
    const std::array<uint32_t, 8> greys = {0x000000, 0x808080, 0xFFFFFF, 0x202020,
                                           0xF0F0F0, 0x404040, 0x0000FF, 0xC08000};
    const std::array<uint32_t, 8> colours = {0x000000, 0xF48444, 0xFFFFFF, 0x0000FF,
                                             0x00FF00, 0x404040, 0x808080, 0xF68646};
    const Case cases[] = {
        {kMatchBrightness, greys, 0x8A8A8A, 0x808080},  // a tie: the first
        {kMatchBrightness, greys, 0xC08000, 0x808080},  // exact: the first
        {kMatchBrightness, greys, 0x101010, 0x000000},
        {kMatchBrightness, greys, 0xFFFFFF, 0xFFFFFF},
        {kMatchColour, colours, 0xF48444, 0xF48444},  // exact: the walk stops
        {kMatchColour, colours, 0xE48444, 0xF68646},  // a tie: the last
        {kMatchColour, colours, 0x10F010, 0x00FF00},
        {0, colours, 0xE48444, 0x000000},  // neither mode: colour codes never measured, glyph (0, 0)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.flat << " mode " << int(c.mode));
        HostSurface src(4, 2, kFormatXrgb), dst(4, 2, kFormatXrgb);
        for (int i = 0; i < 8; ++i) src.setPixel(i % 4, i / 4, c.glyphs[size_t(i)]);
        AsciiArt* e = New(FrameSheetRecord(c.mode, 4, 2, 0), src, dst);
        ASSERT_NE(e, nullptr);
        ASSERT_EQ(e->cellColumns * e->cellRows * e->sheetCellWidth * e->sheetCellHeight, 8u);
        dst.fill(0xDEADBEEF);
        src.fill(c.flat);
        Render(e, {}, 0, src.get());
        for (int i = 0; i < 8; ++i) EXPECT_EQ(dst.pixel(i % 4, i / 4), c.drawn) << i;
        delete e;
    }
}

TEST_F(AsciiFrames, FailedInstanceDrawsNothing) {
    HostSurface src(160, 120, kFormatXrgb), dst(160, 120, kFormatXrgb);
    PaintGradient(src);
    AsciiArt* e = New(FrameSheetRecord(kMatchBrightness, 8, 6, 2, 30), src, dst);
    ASSERT_NE(e, nullptr);
    e->failed = 1;
    PaintTarget(dst);
    const HostSurface before = Clone(dst);
    Render(e, {}, 0);
    EXPECT_EQ(e->RenderFrame(), -1);
    EXPECT_TRUE(SameBytes(dst, before));
    e->failed = 0;
    EXPECT_EQ(e->RenderFrame(), 0);
    EXPECT_FALSE(SameBytes(dst, before));
    delete e;
}

}  // namespace
