// First frames: an effect's first render in a process may pay for what later
// frames reuse (tables of its own, memory touched first). Each iteration loads
// a fresh copy of the module, makes an instance on the test card and times its
// first render alone; loading and opening (where the shared tables are
// built), creation and destruction are left out of the time, and the host's
// surfaces are read just before, as warm in the caches as for a later frame.
// The instance's second frame is then timed the same way (counter
// "second_ms"): a frame timed alone after all that work costs more than one
// of a run of frames whatever its number, so the first frame is held
// against the second, not against the ordinary case.
#include <benchmark/benchmark.h>

#include <chrono>
#include <optional>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "bench/tables.h"
#include "host/host_error.h"

namespace bench {

namespace {

// Every copy of the module stays mapped with its tables until the process
// ends, so the count is small and fixed.
constexpr int kFirstFrameIterations = 3;

struct FirstFrameState : CaseState {
    explicit FirstFrameState(int32_t format)
        : source(CardSurface(format)), destination(kFrameWidth, kFrameHeight, format) {}
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
};

// Reads every row of the surface, so that the first frame finds it in the
// caches as later frames do: loading and creating the effect just went
// through megabytes of other memory.
void WarmUp(const fxhost::HostSurface& surface) {
    const Surface* record = surface.get();
    const size_t rowBytes = static_cast<size_t>(record->bounds.right - record->bounds.left) * (record->depth / 8);
    uint64_t sum = 0;
    for (int y = 0; y < record->bounds.bottom - record->bounds.top; ++y) {
        const uint8_t* row = surface.row(y);
        for (size_t x = 0; x < rowBytes; x += 64) sum += row[x];
    }
    benchmark::DoNotOptimize(sum);
}

void RunFirstFrame(benchmark::State& state, const EffectCase& c, const std::string& caseName) {
    auto& s = StateFor<FirstFrameState>(caseName, [&] { return std::make_unique<FirstFrameState>(c.format); });
    // Effects whose work follows the time draw their first frame where their
    // ordinary case starts timing (the old films draw nothing at 0 ms).
    const CaseTime time = CaseTimeFor(c.name);
    const uint32_t firstTime = time.warmUpMs;
    double secondMs = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<fxhost::EffectModule> module;
        std::optional<fxhost::EffectInstance> effect;  // goes before its module
        try {
            module = fxhost::LoadModuleCopy();
            effect.emplace(*module, c.name, s.source.get(), s.destination.get());
        } catch (const fxhost::HostError& error) {
            state.SkipWithError(error.what());
            break;
        }
        WarmUp(s.source);
        WarmUp(s.destination);
        state.ResumeTiming();
        effect->render(c.params, s.source.get(), firstTime);
        state.PauseTiming();
        WarmUp(s.source);
        WarmUp(s.destination);
        const auto start = std::chrono::steady_clock::now();
        effect->render(c.params, s.source.get(), firstTime + time.stepMs);
        secondMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        effect.reset();
        module.reset();
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(s.destination.row(0));
    state.SetItemsProcessed(state.iterations());
    if (state.iterations() > 0) state.counters[kSecondFrameCounter] = secondMs / static_cast<double>(state.iterations());
}

}  // namespace

std::vector<EffectCase> RegisterFirstFrameCases(const std::vector<EffectCase>& effects) {
    std::vector<EffectCase> cases;
    for (const EffectCase& c : effects) {
        const std::string caseName = FirstFrameCaseName(c.name, c.format);
        benchmark::RegisterBenchmark(caseName.c_str(), [c, caseName](benchmark::State& state) {
            RunFirstFrame(state, c, caseName);
        })->Unit(benchmark::kMillisecond)->Iterations(kFirstFrameIterations);
        cases.push_back(c);
    }
    return cases;
}

}  // namespace bench
