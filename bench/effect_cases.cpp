// The module's effects: each case renders the test card through the module's
// RenderEffect, one frame an iteration, with time moving on 40 ms a frame.
// Effects with a parameter sweep get a case for each of its values too.
#include <benchmark/benchmark.h>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "bench/tables.h"
#include "host/host_error.h"
#include "host/host_surface.h"

namespace bench {

namespace {

constexpr std::array<int32_t, 4> kUncataloguedParams = {128, 128, 128, 128};

struct EffectState : CaseState {
    EffectState(const fxhost::EffectModule& module, const EffectCase& c)
        : source(CardSurface(c.format)),
          destination(kFrameWidth, kFrameHeight, c.format),
          effect(module, c.name, source.get(), destination.get()) {}
    fxhost::HostSurface source;
    fxhost::HostSurface destination;
    fxhost::EffectInstance effect;
    uint32_t time = 0;
};

void RunEffect(benchmark::State& state, const fxhost::EffectModule& module, const EffectCase& c,
               const std::string& caseName) {
    EffectState* s = nullptr;
    try {
        s = &StateFor<EffectState>(caseName, [&] { return std::make_unique<EffectState>(module, c); });
    } catch (const fxhost::HostError& error) {
        state.SkipWithError(error.what());
        return;
    }
    for ([[maybe_unused]] auto _ : state) {
        s->effect.render(c.params, s->source.get(), s->time);
        s->time += kFrameStepMs;
    }
    benchmark::DoNotOptimize(s->destination.row(0));
    state.SetItemsProcessed(state.iterations());
}

void RegisterEffectCase(const fxhost::EffectModule& module, const EffectCase& c, const std::string& caseName) {
    benchmark::RegisterBenchmark(caseName.c_str(), [&module, c, caseName](benchmark::State& state) {
        RunEffect(state, module, c, caseName);
    })->Unit(benchmark::kMillisecond);
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
    fxhost::HostSurface source(64, 64, format);
    fxhost::HostSurface destination(64, 64, format);
    try {
        fxhost::EffectInstance probe(module, name, source.get(), destination.get());
        return true;
    } catch (const fxhost::HostError&) {
        return false;
    }
}

}  // namespace

std::vector<EffectCase> RegisterEffectCases(const fxhost::EffectModule& module,
                                            std::vector<std::string>& notMade) {
    std::vector<std::pair<std::string, std::array<int32_t, 4>>> names;
    for (const auto& row : fxhost::ReadCatalogue(module)) names.emplace_back(row.name, row.defaults);
    for (const char* name : fxhost::kUncataloguedNames) names.emplace_back(name, kUncataloguedParams);

    std::vector<EffectCase> cases;
    for (const auto& [name, params] : names) {
        std::vector<int32_t> missing;
        for (int32_t format : kCaseFormats) {
            if (!MakesEffect(module, name, format)) {
                missing.push_back(format);
                continue;
            }
            EffectCase c{name, format, params};
            RegisterEffectCase(module, c, EffectCaseName(name, format));
            RegisterSweepCases(module, c);
            cases.push_back(std::move(c));
        }
        if (missing.size() == std::size(kCaseFormats))
            notMade.push_back(name);
        else
            for (int32_t format : missing) notMade.push_back(name + " (" + DepthLabel(format) + ")");
    }
    return cases;
}

}  // namespace bench
