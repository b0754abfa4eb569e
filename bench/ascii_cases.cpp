// The ascii art, which no factory row completes: timed in-process through
// the module's static library with frame-captured glyph sheets, one case for
// each kernel family (cells copied by the module or blitted by the host, by
// brightness or by colour).
#include "bench/cases.h"
#include "temporal/ascii_art.h"

namespace bench {

namespace {

// Ten by ten glyphs; 128 cells across (15-pixel cells, copied) or 32 (60
// pixels, blitted) on the 1920-pixel frame.
AsciiArtParams Record(const AsciiCase& c) {
    return FrameSheetRecord(c.colour ? kMatchColour : kMatchBrightness, 10, 10, c.blit ? 2 : 0);
}

}  // namespace

const std::vector<AsciiCase> kAsciiCases = {
    {"Ascii copy, brightness (in-process)", false, false},
    {"Ascii copy, colour (in-process)", false, true},
    {"Ascii blit, brightness (in-process)", true, false},
    {"Ascii blit, colour (in-process)", true, true},
};

std::vector<EffectCase> RegisterAsciiCases() {
    std::vector<EffectCase> cases;
    for (const AsciiCase& ascii : kAsciiCases)
        for (int32_t format : {kFormatXrgb, kFormat565})
            cases.push_back(RegisterInProcessCase(ascii.name, format, [ascii] { return NewAsciiArt(Record(ascii)); }));
    return cases;
}

}  // namespace bench
