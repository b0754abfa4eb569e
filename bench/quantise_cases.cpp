// The quantise route of the table-driven colour class, which no factory row
// reaches: timed in-process through the module's static library, with a
// record that has all three table lookups.
#include <benchmark/benchmark.h>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "colour/tintara.h"
#include "host/blit_service.h"
#include "shell/factory.h"
#include "shell/module.h"

namespace bench {

namespace {

TintaraParams AllLookups() {
    TintaraParams r{};
    r.recordVersion = 1;
    r.quantiseRoute = 1;
    for (int c = 0; c < 3; ++c) {
        r.channelSource[c] = static_cast<int8_t>(c + 1);
        r.channelShift[c] = 3;
        r.channelGain[c] = 90 + 10 * c;
        r.channelInvert[c] = c == 1;
    }
    return r;
}

struct QuantiseState : CaseState {
    explicit QuantiseState(int32_t format)
        : source(CardSurface(format)), destination(kFrameWidth, kFrameHeight, format) {
        g_blitService = fxhost::GetBlitService();
        g_frame.source = source.get();
        g_frame.destination = destination.get();
        effect.reset(NewZeroedEffect<Tintara>(AllLookups()));
    }
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
    std::unique_ptr<CRenderInterface> effect;
};

}  // namespace

std::vector<EffectCase> RegisterQuantiseCases() {
    std::vector<EffectCase> cases;
    for (int32_t format : {kFormatXrgb, kFormat565}) {
        EffectCase c{kQuantiseCase, format, {}};
        const std::string caseName = EffectCaseName(c.name, format);
        benchmark::RegisterBenchmark(caseName.c_str(), [format, caseName](benchmark::State& state) {
            auto& s = StateFor<QuantiseState>(caseName, [&] { return std::make_unique<QuantiseState>(format); });
            for ([[maybe_unused]] auto _ : state) s.effect->Render();
            benchmark::DoNotOptimize(s.destination.row(0));
            state.SetItemsProcessed(state.iterations());
        })->Unit(benchmark::kMillisecond);
        cases.push_back(std::move(c));
    }
    return cases;
}

}  // namespace bench
