// The ascii art, which no factory row completes: timed in-process through
// the module's static library with frame-captured glyph sheets, one case for
// each kernel family (cells copied by the module or blitted by the host, by
// brightness or by colour).
#include <benchmark/benchmark.h>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "host/blit_service.h"
#include "shell/module.h"
#include "temporal/ascii_art.h"

namespace bench {

namespace {

// Ten by ten glyphs; 128 cells across (15-pixel cells, copied) or 32 (60
// pixels, blitted) on the 1920-pixel frame.
AsciiArtParams Record(const AsciiCase& c) {
    return FrameSheetRecord(c.colour ? kMatchColour : kMatchBrightness, 10, 10, c.blit ? 2 : 0);
}

struct AsciiState : CaseState {
    AsciiState(const AsciiCase& c, int32_t format)
        : source(CardSurface(format)), destination(kFrameWidth, kFrameHeight, format) {
        g_blitService = fxhost::GetBlitService();
        g_frame.source = source.get();
        g_frame.destination = destination.get();
        effect.reset(NewAsciiArt(Record(c)));
    }
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
    std::unique_ptr<AsciiArt> effect;
};

}  // namespace

const std::vector<AsciiCase> kAsciiCases = {
    {"Ascii copy, brightness (in-process)", false, false},
    {"Ascii copy, colour (in-process)", false, true},
    {"Ascii blit, brightness (in-process)", true, false},
    {"Ascii blit, colour (in-process)", true, true},
};

std::vector<EffectCase> RegisterAsciiCases() {
    std::vector<EffectCase> cases;
    for (const AsciiCase& ascii : kAsciiCases) {
        for (int32_t format : {kFormatXrgb, kFormat565}) {
            EffectCase c{ascii.name, format, {}};
            const std::string caseName = EffectCaseName(c.name, format);
            benchmark::RegisterBenchmark(caseName.c_str(), [ascii, format, caseName](benchmark::State& state) {
                auto& s = StateFor<AsciiState>(caseName, [&] { return std::make_unique<AsciiState>(ascii, format); });
                if (!s.effect) {
                    state.SkipWithError("no instance");
                    return;
                }
                for ([[maybe_unused]] auto _ : state) s.effect->Render();
                benchmark::DoNotOptimize(s.destination.row(0));
                state.SetItemsProcessed(state.iterations());
            })->Unit(benchmark::kMillisecond);
            cases.push_back(std::move(c));
        }
    }
    return cases;
}

}  // namespace bench
