// effects_bench: times every effect the module makes at 1920x1080, against
// memcpy of the frame and frei0r filters doing similar work, and the first
// frame of every effect; then prints a summary of the ratios and speed
// targets after the library's own report. With --sweep it times every effect
// at each size of the size sweep instead, and a 16x16 frame for its fixed
// cost. Takes the library's usual --benchmark_* flags.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/command_line.h"
#include "bench/result_reporter.h"
#include "bench/size_summary.h"
#include "bench/summary.h"
#include "host/host_error.h"
#include "host/module_loader.h"

int main(int argc, char** argv) {
    using namespace bench;
    const CommandLine line = ReadCommandLine(argc, argv);
    Arguments arguments(argc, argv, line);
    benchmark::Initialize(&arguments.count(), arguments.values());
    if (benchmark::ReportUnrecognizedArguments(arguments.count(), arguments.values())) return 1;

    // The module logs every creation and default lookup; keep the report clean.
    fxhost::SetLogSink([](const std::string&) {});
    std::unique_ptr<fxhost::EffectModule> module;
    try {
        module = std::make_unique<fxhost::EffectModule>(fxhost::DefaultModulePath());
    } catch (const fxhost::HostError& error) {
        std::fprintf(stderr, "effects_bench: %s\n", error.what());
        return 1;
    }

    std::vector<std::string> notMade;
    std::vector<EffectCase> effects = FindEffectCases(*module, notMade);
    std::vector<EffectCase> firstFrames;
    std::vector<std::unique_ptr<Frei0rFilter>> peerFilters;
    std::vector<PeerNote> peerNotes;
    if (line.sweep) {
        RegisterMemcpySizeCases();
        RegisterSizeCases(*module, effects);
    } else {
        RegisterMemcpyCases();
        RegisterEffectCases(*module, effects);
        firstFrames = RegisterFirstFrameCases(effects);
        for (EffectCase& c : RegisterQuantiseCases()) effects.push_back(std::move(c));
        for (EffectCase& c : RegisterAsciiCases()) effects.push_back(std::move(c));
        RegisterPeerCases(peerFilters, peerNotes);
        RegisterBridgeCases(peerFilters, peerNotes);
    }

    CollectingReporter reporter(line);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    ReleaseCaseState();  // instances go before their libraries

    if (!reporter.results().empty()) {
        std::vector<std::string> peers;
        for (const auto& filter : peerFilters) peers.push_back(filter->plugin());
        // Structured output keeps stdout to itself.
        std::FILE* out = line.format == "console" ? stdout : stderr;
        std::fflush(stdout);
        if (line.sweep)
            PrintSizeSummary(out, reporter.results(), effects);
        else
            PrintSummary(out, {reporter.results(), effects, firstFrames, notMade, peers, peerNotes});
    }
    benchmark::Shutdown();
    return 0;
}
