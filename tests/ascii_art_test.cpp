// The ascii art's arithmetic and pixel loops against plain definitions written
// here: the cell layout (alone and through PrepareGlyphs), the colour codes,
// the nearest-glyph walks, the channel sums and the block copy at every
// vector level, the glyph tables measured from a known sheet, the record's
// defaults, and the failures of construction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "effect_fixture.h"
#include "kernel_support.h"
#include "temporal/ascii_art.h"
#include "temporal/ascii_kernels.h"

namespace {

using fxhost::HostSurface;


class AsciiArtTest : public EffectTest {
protected:
    void TearDown() override {
        g_frame.source = g_frame.destination = nullptr;
        EffectTest::TearDown();
    }
    static AsciiArt* New(const AsciiArtParams& record, Surface* src, Surface* dst) {
        g_frame.source = src;
        g_frame.destination = dst;
        return NewAsciiArt(record);
    }
};

// ---- layout ----

struct LayoutCase {
    int32_t width, height;
    uint8_t density;
    uint32_t columns, rows, cellWidth, cellHeight;
};
const LayoutCase kLayouts[] = {
    {640, 480, 2, 32, 24, 20, 20},   {640, 480, 0, 128, 96, 5, 5},   {640, 480, 1, 64, 48, 10, 10},
    {720, 576, 2, 30, 24, 24, 24},   {1000, 750, 0, 100, 75, 10, 10}, {255, 200, 0, 127, 99, 2, 2},
    {1023, 767, 2, 30, 20, 34, 38},  {50, 30, 0, 50, 30, 1, 1},       {4, 2, 0, 4, 2, 1, 1},
};

TEST(AsciiLayout, CellsFollowThePicture) {
    for (const LayoutCase& c : kLayouts) {
        const CellLayout l = LayOutCells(c.width, c.height, c.density);
        EXPECT_EQ(l.cellColumns, c.columns) << c.width << "x" << c.height << " d" << int(c.density);
        EXPECT_EQ(l.cellRows, c.rows) << c.width << "x" << c.height;
        EXPECT_EQ(l.sourceCellWidth, c.cellWidth) << c.width << "x" << c.height;
        EXPECT_EQ(l.sourceCellHeight, c.cellHeight) << c.width << "x" << c.height;
    }
}

// The same through the construction, with the sheet of a 4 by 3 grid and,
// for a fixed fade, the strip of one row of cells when cells are narrow.
TEST_F(AsciiArtTest, PrepareGlyphsLaysOutCellsSheetAndStrip) {
    for (const LayoutCase& c : kLayouts) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " d" << int(c.density));
        HostSurface src(c.width, c.height, kFormatXrgb), dst(c.width, c.height, kFormatXrgb);
        testing::internal::CaptureStdout();
        AsciiArt* e = New(FrameSheetRecord(kMatchBrightness, 4, 3, c.density, 9), src.get(), dst.get());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->failed, 0);
        EXPECT_EQ(e->sheetReady, 1);
        EXPECT_EQ(e->cellColumns, c.columns);
        EXPECT_EQ(e->cellRows, c.rows);
        EXPECT_EQ(e->sourceCellWidth, c.cellWidth);
        EXPECT_EQ(e->sourceCellHeight, c.cellHeight);
        EXPECT_EQ(e->glyphColumns, 4u);
        EXPECT_EQ(e->glyphRows, 3u);
        EXPECT_EQ(e->glyphSheet->depth, 32);
        EXPECT_EQ(SurfaceWidth(*e->glyphSheet), int(4 * c.cellWidth));
        EXPECT_EQ(SurfaceHeight(*e->glyphSheet), int(3 * c.cellHeight));
        EXPECT_EQ(e->sheetCellWidth, c.cellWidth);
        EXPECT_EQ(e->sheetCellHeight, c.cellHeight);
        const bool narrow = c.cellWidth < kBlitCellWidth;
        EXPECT_EQ(e->stripReady, narrow ? 1 : 0);
        ASSERT_EQ(e->fadeStrip != nullptr, narrow);
        if (narrow) {
            EXPECT_EQ(SurfaceWidth(*e->fadeStrip), c.width);
            EXPECT_EQ(SurfaceHeight(*e->fadeStrip), int(c.cellHeight));
        }
        delete e;
    }
    // A grid whose sheet would pass 1024 by 768 is fitted into it.
    HostSurface src(640, 480, kFormatXrgb), dst(640, 480, kFormatXrgb);
    AsciiArt* e = New(FrameSheetRecord(kMatchColour, 64, 64, 2), src.get(), dst.get());
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(SurfaceWidth(*e->glyphSheet), 1024);
    EXPECT_EQ(SurfaceHeight(*e->glyphSheet), 768);
    EXPECT_EQ(e->sheetCellWidth, 16u);
    EXPECT_EQ(e->sheetCellHeight, 12u);
    EXPECT_EQ(e->stripReady, 0);
    EXPECT_EQ(e->hsvCodes, GetHsvCodeTable());
    delete e;
}

// Every failure yields no instance; only the stored sheets say anything.
TEST_F(AsciiArtTest, ConstructionFailures) {
    HostSurface src(64, 48, kFormatXrgb), src16(64, 48, kFormat565), empty(0, 48, kFormatXrgb),
        dst(64, 48, kFormatXrgb);
    AsciiArtParams stored13 = FrameSheetRecord(kMatchBrightness, 10, 10, 2), stored0 = stored13;
    stored13.glyphSource = 1;
    stored13.sheetIndex = 13;
    stored0.glyphSource = 1;
    stored0.sheetIndex = 0;
    struct Case {
        AsciiArtParams record;
        Surface *source, *destination;
    };
    const Case cases[] = {
        {stored13, src.get(), dst.get()},
        {stored0, src.get(), dst.get()},
        {FrameSheetRecord(kMatchBrightness, 65, 4, 2), src.get(), dst.get()},
        {FrameSheetRecord(kMatchColour, 4, 65, 0, 20), src.get(), dst.get()},  // the strip is made first
        {FrameSheetRecord(kMatchBrightness, 0, 4, 2), src.get(), dst.get()},
        {FrameSheetRecord(kMatchBrightness, 4, 0, 2), src.get(), dst.get()},
        {FrameSheetRecord(kMatchBrightness, 4, 4, 2), src16.get(), dst.get()},  // depths differ
        {FrameSheetRecord(kMatchBrightness, 4, 4, 2), nullptr, dst.get()},
        {FrameSheetRecord(kMatchBrightness, 4, 4, 2), empty.get(), dst.get()},
        {FrameSheetRecord(kMatchBrightness, 4, 4, 2), src.get(), nullptr},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(New(cases[i].record, cases[i].source, cases[i].destination), nullptr) << "case " << i;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "case " << i;
    }
    for (const AsciiArtParams& r : {FactoryAsciiRecord(0, 1), FactoryAsciiRecord(1, 7)}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(New(r, src.get(), dst.get()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Ascii art loading resource!\nAscii art resource not found!\n");
    }
}

TEST_F(AsciiArtTest, ConfigureTakesTheRecordOrTheDefaults) {
    HostSurface src(8, 8, kFormatXrgb);
    g_frame.source = g_frame.destination = src.get();
    auto* e = static_cast<AsciiArt*>(NewZeroedEffect<AsciiArt>());
    EXPECT_EQ(e->frameRecord, &g_frame);
    EXPECT_EQ(e->refreshEachFrame, 0);
    AsciiArtParams given{};
    std::memset(&given, 0x77, sizeof given);
    given.present = 0;
    e->record.header[3] = 0x11;
    e->record.tail[4] = 0x22;
    EXPECT_EQ(e->Configure(given), 0);
    const AsciiArtParams& r = e->record;
    EXPECT_EQ(r.header[3], 0x11);  // header and tail stay as they were
    EXPECT_EQ(r.tail[4], 0x22);
    const uint8_t fields[] = {r.present,      r.matchMode, r.reserved,          r.glyphSource,
                              r.sheetIndex,   r.gridColumns, r.gridRows,        r.density,
                              r.fadeFromParameter, r.fixedFade, r.fadeParameter};
    const uint8_t defaults[] = {1, 1, 0, 0, 1, 10, 10, 1, 0, 0, 7};
    EXPECT_TRUE(std::equal(std::begin(fields), std::end(fields), std::begin(defaults)));
    given.present = 5;
    e->Configure(given);
    EXPECT_EQ(std::memcmp(&e->record, &given, sizeof given), 0);
    const AsciiArtParams row2 = FactoryAsciiRecord(1, 7);
    EXPECT_EQ(row2.density, 2);
    EXPECT_EQ(row2.sheetIndex, 7);
    EXPECT_EQ(row2.glyphSource, 1);
    delete e;
}

// ---- colour codes and the nearest glyph ----

// The code step by step, in signed 32-bit arithmetic with truncating division.
uint32_t PlainCode(int32_t r5, int32_t g5, int32_t b5) {
    const int32_t r = r5 * 256 / 31, g = g5 * 256 / 31, b = b5 * 256 / 31;
    const int32_t max = std::max({r, g, b}), min = std::min({r, g, b}), delta = max - min;
    int32_t sat = 0, angle = 0;
    if (max != 0 && delta != 0) {
        sat = delta * 256 / max;
        const int32_t h = max == r   ? (g - b) * 256 / delta
                          : max == g ? (b - r) * 256 / delta + 512
                                     : (r - g) * 256 / delta + 1024;
        angle = h * 60;
        if (angle < 0) angle += 92160;
    }
    const int32_t hue = angle / 360;
    return uint32_t((hue * 127) >> 8) << 14 | uint32_t((sat * 127) >> 8) << 7 | uint32_t((max * 127) >> 8);
}

TEST(AsciiCodes, WorkedColours) {
    struct Case {
        int32_t r, g, b;
        uint32_t code;
    };
    const Case cases[] = {
        {0, 0, 0, 0},           {10, 10, 10, 40},       {31, 31, 31, 127},      {31, 0, 0, 0x3FFF},
        {0, 31, 0, 0xABFFF},    {0, 0, 31, 0x153FFF},   {31, 0, 15, 0x1D3FFF},  // hue below 0 turned
    };
    for (const Case& c : cases) EXPECT_EQ(HsvCode(c.r, c.g, c.b), c.code) << c.r << "," << c.g << "," << c.b;
    for (int v = 0; v < 32; ++v) {  // grey: no saturation, no hue
        EXPECT_EQ(CodeSaturation(HsvCode(v, v, v)), 0u);
        EXPECT_EQ(CodeHue(HsvCode(v, v, v)), 0u);
    }
    EXPECT_EQ(CodeValue(HsvCode(31, 31, 31)), 127u);
}

TEST(AsciiCodes, TableHoldsEveryColour) {
    const uint32_t* table = GetHsvCodeTable();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(GetHsvCodeTable(), table);
    for (int32_t i = 0; i < (1 << 15); ++i)
        ASSERT_EQ(table[i], PlainCode(i >> 10, i >> 5 & 31, i & 31)) << "index " << i;
}

TEST(AsciiChoice, NearestWalks) {
    uint16_t luma[kMaxGlyphGrid][kMaxGlyphGrid] = {};
    const uint16_t values[2][3] = {{100, 300, 200}, {300, 100, 500}};
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 3; ++c) luma[r][c] = values[r][c];
    struct LumaCase {
        uint32_t rows, columns, value, row, column;
    };
    for (const LumaCase& c : {LumaCase{2, 3, 100, 0, 0}, LumaCase{2, 3, 250, 0, 1},  // first of equals
                              LumaCase{2, 3, 300, 0, 1}, LumaCase{2, 3, 460, 1, 2}, LumaCase{2, 3, 0, 0, 0},
                              LumaCase{0, 0, 300, 0, 0}, LumaCase{1, 2, 900, 0, 1}}) {
        const GlyphPos p = NearestByBrightness(luma, c.rows, c.columns, c.value);
        EXPECT_EQ(p.row, c.row) << c.value;
        EXPECT_EQ(p.column, c.column) << c.value;
    }
    const auto code = [](uint32_t v, uint32_t s, uint32_t h) { return h << 14 | s << 7 | v; };
    uint32_t codes[kMaxGlyphGrid][kMaxGlyphGrid] = {};
    codes[0][0] = code(50, 2, 10);  // coloured, hue 10 apart from the cells below
    codes[0][1] = code(50, 4, 0);   // saturation 4 counts as colourless
    codes[1][0] = code(60, 0, 0);
    codes[1][1] = code(60, 0, 0);
    struct ColourCase {
        uint32_t code, row, column;
    };
    for (const ColourCase& c : {ColourCase{code(50, 2, 0), 0, 1},  // 20 against 2
                                ColourCase{code(50, 1, 0), 0, 0},  // 1 against 3: no hue for a colourless cell
                                ColourCase{code(60, 0, 0), 1, 0},  // exact: the walk stops at the first
                                ColourCase{code(62, 0, 0), 1, 1},  // tie: the last wins
                                ColourCase{code(50, 4, 0), 0, 1}}) {
        const GlyphPos p = NearestByColour(codes, 2, 2, c.code);
        EXPECT_EQ(p.row, c.row) << std::hex << c.code;
        EXPECT_EQ(p.column, c.column) << std::hex << c.code;
    }
    const GlyphPos none = NearestByColour(codes, 0, 5, code(1, 1, 1));
    EXPECT_EQ(none.row + none.column, 0);
}

// ---- pixel loops ----

std::array<uint32_t, 3> Channels(const uint8_t* p, int32_t format) {
    if (format == kFormatXrgb) return {p[2], p[1], p[0]};
    const uint32_t w = uint32_t(p[0]) | uint32_t(p[1]) << 8;
    if (format == kFormat565) return {w >> 8 & 0xF8, w >> 3 & 0xFC, (w & 31) * 8};
    return {w >> 7 & 0xF8, w >> 2 & 0xF8, (w & 31) * 8};
}

// Pixel x of a row counts while x < pixels.
std::vector<std::array<uint32_t, 3>> PlainSums(const CellStrip& s, int32_t format) {
    const int bpp = format == kFormatXrgb ? 4 : 2;
    std::vector<std::array<uint32_t, 3>> sums(size_t(s.cells), {0, 0, 0});
    for (int y = 0; y < s.rows; ++y)
        for (int x = 0; x < std::min(s.pixels, s.cells * s.cellWidth); ++x) {
            const auto ch = Channels(s.first + y * s.pitch + x * bpp, format);
            for (int k = 0; k < 3; ++k) sums[size_t(x / s.cellWidth)][size_t(k)] += ch[size_t(k)];
        }
    return sums;
}

// Runs the sums over a buffer that ends at the last pixel the strip holds,
// with sums beyond the cells kept.
void ExpectSumsMatch(int32_t format, int32_t cells, int32_t cellWidth, int32_t rows, int32_t pixels,
                     const std::vector<uint8_t>* fill = nullptr) {
    const int bpp = format == kFormatXrgb ? 4 : 2;
    const int32_t span = cells * cellWidth, pitch = std::max(pixels, 1) * bpp + 6;
    const size_t size = std::max<size_t>(1, size_t(rows - 1) * pitch + size_t(pixels) * bpp);
    std::vector<uint8_t> bytes = fill ? *fill : RandomWords<uint8_t>(size, uint32_t(span * 977 + rows * 13 + pixels));
    bytes.resize(size);
    const CellStrip strip{bytes.data(), pitch, rows, cells, cellWidth, pixels};
    const auto expected = PlainSums(strip, format);
    for (SimdLevel level : Levels()) {
        std::vector<uint16_t> scratch(CellSumScratch(span), 0xBEEF);  // what it holds must not count
        uint32_t sums[kMaxCellColumns][3];
        std::memset(sums, 0xAB, sizeof sums);
        if (format == kFormatXrgb) SumCells32(strip, sums, scratch.data(), level);
        else SumCells16(strip, format, sums, scratch.data(), level);
        for (int c = 0; c < cells; ++c)
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(sums[c][k], expected[size_t(c)][size_t(k)])
                    << "format " << format << " level " << int(level) << " cells " << cells << "x" << cellWidth
                    << " rows " << rows << " pixels " << pixels << " cell " << c << " channel " << k;
        ASSERT_EQ(sums[cells][0], 0xABABABABu);
    }
}

TEST(AsciiKernels, SumsMatchPlainLoopsAtEveryLevel) {
    for (int32_t format : {kFormatXrgb, kFormat565, kFormat555})
        for (int32_t cellWidth : {1, 2, 3, 5, 8, 19})
            for (int32_t cells : {1, 2, 7, 16, 33})
                for (int32_t rows : {1, 3}) {
                    const int32_t span = cells * cellWidth;
                    for (int32_t pixels : {span, span - 1, span / 2, 0, span + 9})
                        ExpectSumsMatch(format, cells, cellWidth, rows, pixels);
                }
}

// Columns are summed in 16-bit lanes in batches of 256 rows: white cells of
// more rows than that must not wrap.
TEST(AsciiKernels, TallCellsSumPastTheBatch) {
    for (int32_t format : {kFormatXrgb, kFormat565, kFormat555})
        for (int32_t rows : {255, 256, 257, 512, 513, 700}) {
            const int bpp = format == kFormatXrgb ? 4 : 2;
            const std::vector<uint8_t> white(size_t(rows) * 40 * bpp, 0xFF);
            ExpectSumsMatch(format, 5, 3, rows, 15, &white);
            ExpectSumsMatch(format, 9, 2, rows, 13);
        }
    // The worked value: 700 rows of 3 white pixels.
    const std::vector<uint8_t> white(700 * 12, 0xFF);
    const CellStrip strip{white.data(), 12, 700, 1, 3, 3};
    std::vector<uint16_t> scratch(CellSumScratch(3));
    uint32_t sums[kMaxCellColumns][3];
    SumCells32(strip, sums, scratch.data(), SimdLevel::kScalar);
    EXPECT_EQ(sums[0][1], 700u * 3 * 255);
}

TEST(AsciiKernels, CopyBlockMovesRowsAndNothingElse) {
    for (SimdLevel level : Levels())
        for (int32_t rows : {0, 1, 3})
            for (int32_t bytes = 0; bytes <= 200; bytes += bytes < 140 ? 1 : 13) {
                const intptr_t srcPitch = bytes + 3, dstPitch = bytes + 11;
                // Both buffers end with the last row's last byte.
                const size_t srcSize = std::max<size_t>(1, size_t(std::max(rows - 1, 0)) * srcPitch + bytes);
                const size_t dstSize = std::max<size_t>(1, size_t(std::max(rows - 1, 0)) * dstPitch + bytes);
                const auto src = RandomWords<uint8_t>(srcSize, uint32_t(bytes));
                std::vector<uint8_t> dst(dstSize, 0x5A), expected = dst;
                for (int y = 0; y < rows; ++y)
                    std::memcpy(&expected[size_t(y * dstPitch)], &src[size_t(y * srcPitch)], size_t(bytes));
                CopyBlock(dst.data(), dstPitch, src.data(), srcPitch, rows, bytes, level);
                ASSERT_EQ(dst, expected) << "level " << int(level) << " rows " << rows << " bytes " << bytes;
            }
}

// ---- glyph tables ----

// A 160 by 120 picture at density 2 makes 32 by 24 cells of 5 by 5, and a
// grid of as many glyphs makes a sheet of the picture's size: the fitted copy
// is the picture itself. The first four glyphs are flat white, red, green
// and blue; the rest are noise.
TEST_F(AsciiArtTest, GlyphTablesMeasureTheSheet) {
    HostSurface src(160, 120, kFormatXrgb), dst(160, 120, kFormatXrgb);
    std::mt19937 rng(7);
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x) src.setPixel(x, y, rng());
    const uint32_t flat[] = {0x00FFFFFF, 0x77FF0000, 0xFF00FF00, 0x000000FF};
    for (int g = 0; g < 4; ++g)
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 5; ++x) src.setPixel(g * 5 + x, y, flat[g]);
    const uint32_t scale = 65535 / 25;
    for (uint8_t mode : {kMatchBrightness, kMatchColour}) {
        AsciiArt* e = New(FrameSheetRecord(mode, 32, 24, 2), src.get(), dst.get());
        ASSERT_NE(e, nullptr);
        ASSERT_EQ(e->sheetCellWidth, 5u);
        ASSERT_EQ(e->sheetCellHeight, 5u);
        for (int y = 0; y < 120; ++y)
            ASSERT_EQ(std::memcmp(e->glyphSheet->pixels + y * e->glyphSheet->rowBytes, src.row(y), 640), 0);
        for (int gr = 0; gr < 24; ++gr)
            for (int gc = 0; gc < 32; ++gc) {
                uint32_t s[3] = {0, 0, 0};
                for (int y = 0; y < 5; ++y)
                    for (int x = 0; x < 5; ++x) {
                        const uint32_t p = src.pixel(gc * 5 + x, gr * 5 + y);
                        s[0] += p >> 16 & 255;
                        s[1] += p >> 8 & 255;
                        s[2] += p & 255;
                    }
                if (mode == kMatchBrightness) {
                    ASSERT_EQ(e->glyphLuma[gr][gc], (s[0] + s[1] + (s[1] >> 1) + (s[2] >> 1)) * scale >> 16);
                } else {
                    const uint32_t index = ((s[0] * scale >> 9) & 0x7FFC00) + ((s[1] * scale >> 14) & 0x3FFE0) +
                                           (s[2] * scale >> 19);
                    ASSERT_EQ(e->glyphCode[gr][gc], GetHsvCodeTable()[index]) << gr << "," << gc;
                }
            }
        if (mode == kMatchColour) {
            const uint32_t codes[] = {127, 0x3FFF, 0xABFFF, 0x153FFF};
            for (int g = 0; g < 4; ++g) EXPECT_EQ(e->glyphCode[0][g], codes[g]) << g;
            delete e;
            continue;
        }
        // White, red, green and blue of 25 pixels; then the 15-bit shift of
        // glyphSource 0, after which each choice is made again.
        const uint16_t worked[] = {764, 254, 382, 127}, doubled[] = {1529, 509, 764, 254};
        for (int g = 0; g < 4; ++g) EXPECT_EQ(e->glyphLuma[0][g], worked[g]) << g;
        for (int pass = 0; pass < 2; ++pass) {
            for (uint32_t v = 0; v < 1100; ++v) {
                e->cellLuma[0] = uint16_t(v);
                for (int twice = 0; twice < 2; ++twice) {
                    const GlyphPos got = e->GlyphForBrightness(0);
                    const GlyphPos want = NearestByBrightness(e->glyphLuma, 24, 32, v);
                    ASSERT_EQ(got.row * 64 + got.column, want.row * 64 + want.column) << "pass " << pass << " " << v;
                }
            }
            e->record.glyphSource = 0;
            EXPECT_EQ(e->MeasureGlyphSheet(), 0);
            for (int g = 0; g < 4 && pass == 0; ++g) EXPECT_EQ(e->glyphLuma[0][g], doubled[g]) << g;
        }
        delete e;
    }
}

}  // namespace
