// The module's effects: each case renders the test card through the module's
// RenderEffect, one frame an iteration, with time moving on 40 ms a frame, or
// as kCaseTimes says for effects whose work depends on the time. Effects with
// a parameter sweep get a case for each of its values too.
#include <benchmark/benchmark.h>

#include <optional>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "bench/tables.h"
#include "host/console_capture.h"
#include "host/host_error.h"
#include "host/host_surface.h"

namespace bench {

namespace {

constexpr std::array<int32_t, 4> kUncataloguedParams = {128, 128, 128, 128};

constexpr int kProbeSize = 64;

// Sets the time the module saw last, which effects read at their creation:
// a small instance of the effect renders one frame at that time.
uint32_t SetModuleTime(const fxhost::EffectModule& module, const EffectCase& c, uint32_t time) {
    fxhost::HostSurface source(kProbeSize, kProbeSize, c.format);
    fxhost::HostSurface destination(kProbeSize, kProbeSize, c.format);
    fxhost::EffectInstance probe(module, c.name, source.get(), destination.get());
    probe.render(c.params, source.get(), time);
    return time;
}

// The instance is made at module time 0, whatever case ran before, and has
// rendered its warm-up frames.
struct EffectState : CaseState {
    EffectState(const fxhost::EffectModule& module, const EffectCase& c, FrameSize size)
        : source(CardSurface(c.format, size)),
          destination(size.width, size.height, c.format),
          step(CaseTimeFor(c.name)),
          time(SetModuleTime(module, c, 0)),
          effect(module, c.name, source.get(), destination.get()) {
        while (time < step.warmUpMs) render(c);
    }
    void render(const EffectCase& c) {
        effect.render(c.params, source.get(), time);
        time += step.stepMs;
    }
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
    CaseTime step;
    uint32_t time;
    fxhost::EffectInstance effect;
};

void RunEffect(benchmark::State& state, const fxhost::EffectModule& module, const EffectCase& c,
               const std::string& caseName, FrameSize size) {
    EffectState* s = nullptr;
    try {
        s = &StateFor<EffectState>(caseName, [&] { return std::make_unique<EffectState>(module, c, size); });
    } catch (const fxhost::HostError& error) {
        state.SkipWithError(error.what());
        return;
    }
    for ([[maybe_unused]] auto _ : state) s->render(c);
    benchmark::DoNotOptimize(s->destination.row(0));
    state.SetItemsProcessed(state.iterations());
}

void RegisterEffectCase(const fxhost::EffectModule& module, const EffectCase& c, const std::string& caseName,
                        FrameSize size = kFrameSize) {
    auto* registered =
        benchmark::RegisterBenchmark(caseName.c_str(), [&module, c, caseName, size](benchmark::State& state) {
            RunEffect(state, module, c, caseName, size);
        })->Unit(size.width * size.height < 100000 ? benchmark::kMicrosecond : benchmark::kMillisecond);
    const CaseTime step = CaseTimeFor(c.name);
    if (step.spanMs > 0) registered->Iterations((step.spanMs + step.stepMs - 1) / step.stepMs);
}

// A case for each value of the effect's sweeps, the other parameters as c has
// them.
void RegisterSweepCases(const fxhost::EffectModule& module, const EffectCase& c) {
    for (const ParamSweep& sweep : kParamSweeps) {
        if (c.name != sweep.effect) continue;
        for (int32_t value : sweep.values) {
            EffectCase at = c;
            at.params[sweep.slot] = value;
            RegisterEffectCase(module, at, SweepCaseName(c.name, c.format, sweep.label, value));
        }
    }
}

// Whether the module gives an instance for the name at this format.
bool MakesEffect(const fxhost::EffectModule& module, const std::string& name, int32_t format) {
    fxhost::HostSurface source(kProbeSize, kProbeSize, format);
    fxhost::HostSurface destination(kProbeSize, kProbeSize, format);
    // Names the module refuses may say why on standard output, which is the
    // report's: the probe keeps that to itself.
    std::optional<fxhost::ConsoleCapture> quiet;
    try {
        quiet.emplace();
    } catch (const fxhost::HostError&) {
    }
    try {
        fxhost::EffectInstance probe(module, name, source.get(), destination.get());
        return true;
    } catch (const fxhost::HostError&) {
        return false;
    }
}

}  // namespace

void RegisterSizeCases(const fxhost::EffectModule& module, const std::vector<EffectCase>& effects) {
    for (const EffectCase& c : effects) {
        for (FrameSize size : kSweepSizes) RegisterEffectCase(module, c, SizeCaseName(c.name, c.format, size), size);
        RegisterEffectCase(module, c, SizeCaseName(c.name, c.format, kFixedCostSize), kFixedCostSize);
    }
}

std::vector<EffectCase> FindEffectCases(const fxhost::EffectModule& module, std::vector<std::string>& notMade) {
    std::vector<std::pair<std::string, std::array<int32_t, 4>>> names;
    for (const auto& row : fxhost::ReadCatalogue(module)) names.emplace_back(row.name, row.defaults);
    for (const char* name : fxhost::kUncataloguedNames) names.emplace_back(name, kUncataloguedParams);

    std::vector<EffectCase> cases;
    for (const auto& [name, params] : names) {
        std::vector<int32_t> missing;
        for (int32_t format : kCaseFormats) {
            if (MakesEffect(module, name, format))
                cases.push_back(EffectCase{name, format, params});
            else
                missing.push_back(format);
        }
        if (missing.size() == std::size(kCaseFormats))
            notMade.push_back(name);
        else
            for (int32_t format : missing) notMade.push_back(name + " (" + DepthLabel(format) + ")");
    }
    return cases;
}

void RegisterEffectCases(const fxhost::EffectModule& module, const std::vector<EffectCase>& effects) {
    for (const EffectCase& c : effects) {
        RegisterEffectCase(module, c, EffectCaseName(c.name, c.format));
        RegisterSweepCases(module, c);
    }
}

}  // namespace bench
