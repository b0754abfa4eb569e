#include "bench/summary.h"

#include "bench/frames.h"
#include "bench/speed_targets.h"
#include "bench/summary_text.h"
#include "bench/tables.h"

namespace bench {

namespace {

using Table = std::vector<std::vector<std::string>>;

bool EffectRanAt(const SummaryInput& input, int bytesPerPixel) {
    auto ran = [&](int32_t format, const std::string& caseName) {
        return BytesPerPixel(format) == bytesPerPixel && TimeOf(input.results, caseName);
    };
    for (const EffectCase& c : input.effects)
        if (ran(c.format, EffectCaseName(c.name, c.format))) return true;
    for (const EffectCase& c : input.firstFrames)
        if (ran(c.format, FirstFrameCaseName(c.name, c.format))) return true;
    for (const ParamSweep& sweep : kParamSweeps)
        for (int32_t format : kCaseFormats)
            if (BytesPerPixel(format) == bytesPerPixel && WorstOfSweep(input.results, sweep, format)) return true;
    return false;
}

// memcpy of a frame by bytes per pixel: from the run, else timed here when an
// effect of that depth ran. measuredHere names the ones timed here.
Baselines MeasureBaselines(const SummaryInput& input, std::vector<std::string>& measuredHere) {
    Baselines baselines;
    for (int bytes : {4, 2}) {
        if (auto ms = TimeOf(input.results, MemcpyCaseName(bytes))) {
            baselines[bytes] = *ms;
        } else if (EffectRanAt(input, bytes)) {
            baselines[bytes] = MeasureMemcpyMs(bytes);
            measuredHere.push_back(MemcpyCaseName(bytes));
        }
    }
    return baselines;
}

std::string PeerRatios(const SummaryInput& input, const std::string& effect, double ms) {
    std::string text;
    for (const auto& row : kEffectPeers) {
        if (effect != row.effect) continue;
        for (const char* plugin : row.plugins) {
            if (!text.empty()) text += ", ";
            const auto peerMs = TimeOf(input.results, PeerCaseName(plugin));
            text += std::string(plugin) + " " + (peerMs ? Ratio(ms / *peerMs) : "n/a");
        }
    }
    return text;
}

// Effect, depth, ms/frame, x memcpy, peer ratios, target verdict.
void PrintEffects(std::FILE* out, const SummaryInput& input, const Baselines& baselines) {
    Table table = {{"Effect", "Depth", "ms/frame", "x memcpy", "x peer (effect / peer)", "Target"}};
    for (const EffectCase& c : input.effects) {
        const auto result = input.results.find(EffectCaseName(c.name, c.format));
        if (result == input.results.end()) continue;  // filtered out
        if (result->second.repetitions == 0) {
            table.push_back({c.name, DepthLabel(c.format), "error: " + result->second.error});
            continue;
        }
        const double ms = result->second.ms;
        table.push_back({c.name, DepthLabel(c.format), Milliseconds(ms),
                         Ratio(ms / baselines.at(BytesPerPixel(c.format))), PeerRatios(input, c.name, ms),
                         TargetVerdict(input.results, baselines, c.name, c.format)});
    }
    PrintTable(out, table, {false, false, true, true, false, false});
}

// How the effects of kCaseTimes that ran moved their time, as the ordinary
// 40 ms a frame does not hold for them.
void PrintCaseTimes(std::FILE* out, const SummaryInput& input) {
    std::vector<std::string> items;
    for (const CaseTime& entry : kCaseTimes) {
        bool ran = false;
        for (int32_t format : kCaseFormats)
            ran |= TimeOf(input.results, EffectCaseName(entry.effect, format)).has_value();
        if (!ran) continue;
        std::string item = Format("%s %u ms a frame", entry.effect, entry.stepMs);
        if (entry.warmUpMs > 0) item += Format(" from %u ms", entry.warmUpMs);
        if (entry.spanMs > 0) item += Format(" over %u ms", entry.spanMs);
        items.push_back(item);
    }
    if (!items.empty()) PrintList(out, "Time steps of their own:", items);
}

// Each sweep at each depth it ran at: x memcpy at the defaults, the slowest
// value with its time and x memcpy, and the sweep's target.
void PrintSweeps(std::FILE* out, const SummaryInput& input, const Baselines& baselines) {
    Table table = {{"Sweep", "Depth", "x memcpy at defaults", "Slowest at", "ms/frame", "x memcpy", "Target"}};
    for (const ParamSweep& sweep : kParamSweeps) {
        for (int32_t format : kCaseFormats) {
            const auto worst = WorstOfSweep(input.results, sweep, format);
            if (!worst) continue;
            const double memcpyMs = baselines.at(BytesPerPixel(format));
            const auto defaultMs = TimeOf(input.results, EffectCaseName(sweep.effect, format));
            table.push_back({sweep.effect, DepthLabel(format), defaultMs ? Ratio(*defaultMs / memcpyMs) : "",
                             Format("%s=%d", sweep.label, worst->value), Milliseconds(worst->ms),
                             Ratio(worst->ms / memcpyMs), SweepVerdict(sweep, *worst, memcpyMs)});
        }
    }
    if (table.size() == 1) return;
    std::fprintf(out,
                 "Sweeps: the effect at each value of one parameter, the others at their defaults;\n"
                 "the slowest value's time.\n\n");
    PrintTable(out, table, {false, false, true, false, true, true, false});
    std::fprintf(out, "\n");
}

// Effect, depth, ms for the first frame, x memcpy, x the same instance's
// second frame timed alone in the same way, and x the effect's frames in a
// run when its ordinary case ran.
void PrintFirstFrames(std::FILE* out, const SummaryInput& input, const Baselines& baselines) {
    Table table = {{"First frame", "Depth", "ms/frame", "x memcpy", "x second frame", "x frames in a run"}};
    for (const EffectCase& c : input.firstFrames) {
        const auto result = input.results.find(FirstFrameCaseName(c.name, c.format));
        if (result == input.results.end()) continue;  // filtered out
        if (result->second.repetitions == 0) {
            table.push_back({c.name, DepthLabel(c.format), "error: " + result->second.error});
            continue;
        }
        const double ms = result->second.ms;
        const auto laterMs = TimeOf(input.results, EffectCaseName(c.name, c.format));
        const auto second = result->second.counters.find(kSecondFrameCounter);
        const bool drew = second != result->second.counters.end() && second->second > 0;
        table.push_back({c.name, DepthLabel(c.format), Milliseconds(ms),
                         Ratio(ms / baselines.at(BytesPerPixel(c.format))), drew ? Ratio(ms / second->second) : "",
                         laterMs ? Ratio(ms / *laterMs) : ""});
    }
    if (table.size() == 1) return;
    std::fprintf(out,
                 "First frames: the first render of a new instance in a freshly loaded module\n"
                 "(whose shared tables are built when it opens, outside the time), against the\n"
                 "same instance's second frame timed alone in the same way, and against frames\n"
                 "in a run, which find the caches as the frame before left them.\n\n");
    PrintTable(out, table, {false, false, true, true, true, true});
    std::fprintf(out, "\n");
}

void PrintHeading(std::FILE* out, const SummaryInput& input, const Baselines& baselines,
                  const std::vector<std::string>& measuredHere) {
    std::fprintf(out,
                 "\nSummary: %dx%d frames, time per frame in ms; a ratio is this effect's time over\n"
                 "the other's, so below 1 is faster.\n\n",
                 kFrameWidth, kFrameHeight);
    std::vector<std::string> baselineItems;
    for (int bytes : {4, 2})
        if (baselines.count(bytes))
            baselineItems.push_back(Format("%s %.3f", MemcpyCaseName(bytes).c_str(), baselines.at(bytes)));
    if (!baselineItems.empty()) PrintList(out, "Baseline:", baselineItems);
    if (!measuredHere.empty()) PrintList(out, "Baseline timed for the summary, not in this run:", measuredHere);

    std::vector<std::string> peerItems;
    for (const std::string& plugin : input.peers)
        if (auto ms = TimeOf(input.results, PeerCaseName(plugin)))
            peerItems.push_back(Format("%s %.3f", plugin.c_str(), *ms));
    if (!peerItems.empty()) PrintList(out, "frei0r peers:", peerItems);
    std::fprintf(out, "\n");
}

// What was not measured or failed outside the tables.
void PrintNotes(std::FILE* out, const SummaryInput& input) {
    // Listed so that a missing case is not mistaken for a met goal.
    const std::vector<std::string> unmeasured = UnmeasuredTargets(input.results);
    if (!unmeasured.empty()) PrintList(out, "Targets not measured in this run:", unmeasured);
    if (!input.notMade.empty())
        PrintList(out, Format("Not made by the module (%zu):", input.notMade.size()), input.notMade);
    std::vector<std::string> skipped;
    for (const PeerNote& note : input.peerNotes) skipped.push_back(note.plugin + " (" + note.note + ")");
    if (!skipped.empty()) PrintList(out, "frei0r peers skipped:", skipped);
    // Effect and first-frame errors show in their tables.
    for (const auto& [name, result] : input.results)
        if (result.repetitions == 0 && name.rfind("effect/", 0) != 0 && name.rfind("first/", 0) != 0)
            std::fprintf(out, "%s failed: %s\n", name.c_str(), result.error.c_str());
}

}  // namespace

void PrintSummary(std::FILE* out, const SummaryInput& input) {
    std::vector<std::string> measuredHere;
    const Baselines baselines = MeasureBaselines(input, measuredHere);
    PrintHeading(out, input, baselines, measuredHere);
    PrintEffects(out, input, baselines);
    PrintCaseTimes(out, input);
    std::fprintf(out, "\n");
    PrintSweeps(out, input, baselines);
    PrintFirstFrames(out, input, baselines);
    PrintNotes(out, input);
}

}  // namespace bench
