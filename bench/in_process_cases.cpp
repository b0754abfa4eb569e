// Cases that no factory row reaches, timed in-process through the module's
// static library: the instance is built against the card and a frame-sized
// destination with the reference host's blit service, as the factory would.
#include <benchmark/benchmark.h>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "host/blit_service.h"
#include "render/render_interface.h"
#include "shell/frame_params.h"
#include "shell/module.h"

namespace bench {

namespace {

struct InProcessState : CaseState {
    InProcessState(int32_t format, const InProcessBuild& build)
        : source(CardSurface(format)), destination(kFrameWidth, kFrameHeight, format) {
        g_blitService = fxhost::GetBlitService();
        g_frame.source = source.get();
        g_frame.destination = destination.get();
        effect.reset(build());
    }
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
    std::unique_ptr<CRenderInterface> effect;
};

}  // namespace

EffectCase RegisterInProcessCase(const std::string& effect, int32_t format, InProcessBuild build) {
    const std::string caseName = EffectCaseName(effect, format);
    benchmark::RegisterBenchmark(caseName.c_str(), [format, caseName, build](benchmark::State& state) {
        auto& s = StateFor<InProcessState>(caseName, [&] { return std::make_unique<InProcessState>(format, build); });
        if (!s.effect) {
            state.SkipWithError("no instance");
            return;
        }
        for ([[maybe_unused]] auto _ : state) s.effect->Render();
        benchmark::DoNotOptimize(s.destination.row(0));
        state.SetItemsProcessed(state.iterations());
    })->Unit(benchmark::kMillisecond);
    return EffectCase{effect, format, {}};
}

}  // namespace bench
