#include "bench/summary.h"

#include <algorithm>
#include <cstdarg>
#include <map>
#include <optional>

#include "bench/frames.h"
#include "bench/tables.h"

namespace bench {

namespace {

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

// Times below a microsecond print as such: an effect that writes nothing at
// some depth shows as that rather than as 0.000.
std::string Milliseconds(double ms) { return ms < 0.001 ? "<0.001" : Format("%.3f", ms); }
std::string Ratio(double ratio) { return ratio < 0.01 ? "<0.01" : Format("%.2f", ratio); }

std::optional<double> TimeOf(const RunResults& results, const std::string& caseName) {
    const auto it = results.find(caseName);
    if (it == results.end() || it->second.repetitions == 0) return std::nullopt;
    return it->second.ms;
}

// Prints items separated by ", ", wrapping lines at about 100 columns.
void PrintList(std::FILE* out, const std::string& heading, const std::vector<std::string>& items) {
    std::string line = heading;
    for (size_t i = 0; i < items.size(); ++i) {
        const std::string item = items[i] + (i + 1 < items.size() ? "," : "");
        if (line.size() + 1 + item.size() > 100) {
            std::fprintf(out, "%s\n", line.c_str());
            line = "   ";
        }
        line += " " + item;
    }
    std::fprintf(out, "%s\n", line.c_str());
}

bool EffectRanAt(const SummaryInput& input, int bytesPerPixel) {
    for (const EffectCase& c : input.effects)
        if (BytesPerPixel(c.format) == bytesPerPixel &&
            TimeOf(input.results, EffectCaseName(c.name, c.format)))
            return true;
    return false;
}

// memcpy of a frame by bytes per pixel: from the run, else timed here when an
// effect of that depth ran. measuredHere names the ones timed here.
std::map<int, double> Baselines(const SummaryInput& input, std::vector<std::string>& measuredHere) {
    std::map<int, double> baselines;
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

const EffectPeers* PeersOf(const std::string& effect) {
    for (const auto& row : kEffectPeers)
        if (effect == row.effect) return &row;
    return nullptr;
}

std::string PeerRatios(const SummaryInput& input, const std::string& effect, double ms) {
    const EffectPeers* row = PeersOf(effect);
    if (!row) return "";
    std::string text;
    for (const char* plugin : row->plugins) {
        if (!text.empty()) text += ", ";
        const auto peerMs = TimeOf(input.results, PeerCaseName(plugin));
        text += std::string(plugin) + " " + (peerMs ? Ratio(ms / *peerMs) : "n/a");
    }
    return text;
}

std::string TargetVerdict(const EffectCase& c, double timesMemcpy) {
    for (const auto& target : kSpeedTargets)
        if (c.name == target.effect && c.format == target.format)
            return Format("within %gx memcpy: %s", target.maxTimesMemcpy,
                          timesMemcpy <= target.maxTimesMemcpy ? "PASS" : "MISS");
    return "";
}

struct EffectRow {
    std::string name, depth, ms, timesMemcpy, peers, target;
};

std::vector<EffectRow> EffectRows(const SummaryInput& input, const std::map<int, double>& baselines) {
    std::vector<EffectRow> rows;
    for (const EffectCase& c : input.effects) {
        const auto result = input.results.find(EffectCaseName(c.name, c.format));
        if (result == input.results.end()) continue;  // filtered out
        EffectRow row{c.name, DepthLabel(c.format), "", "", "", ""};
        if (result->second.repetitions == 0) {
            row.ms = "error: " + result->second.error;
        } else {
            const double ms = result->second.ms;
            const double timesMemcpy = ms / baselines.at(BytesPerPixel(c.format));
            row.ms = Milliseconds(ms);
            row.timesMemcpy = Ratio(timesMemcpy);
            row.peers = PeerRatios(input, c.name, ms);
            row.target = TargetVerdict(c, timesMemcpy);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

void PrintEffects(std::FILE* out, const SummaryInput& input, const std::map<int, double>& baselines) {
    const std::vector<EffectRow> rows = EffectRows(input, baselines);
    EffectRow header{"Effect", "Depth", "ms/frame", "x memcpy", "x peer (effect / peer)", "Target"};
    size_t nameWidth = header.name.size(), peerWidth = header.peers.size();
    for (const EffectRow& row : rows) {
        nameWidth = std::max(nameWidth, row.name.size());
        peerWidth = std::max(peerWidth, row.peers.size());
    }
    auto print = [&](const EffectRow& row) {
        std::string line =
            Format("%-*s  %-5s  %8s  %8s  %-*s  %s", static_cast<int>(nameWidth), row.name.c_str(),
                   row.depth.c_str(), row.ms.c_str(), row.timesMemcpy.c_str(), static_cast<int>(peerWidth),
                   row.peers.c_str(), row.target.c_str());
        line.erase(line.find_last_not_of(' ') + 1);
        std::fprintf(out, "%s\n", line.c_str());
    };
    print(header);
    for (const EffectRow& row : rows) print(row);
}

// Targets whose case did not run, so that a missing effect is not mistaken
// for a met goal.
void PrintUnmeasuredTargets(std::FILE* out, const SummaryInput& input) {
    std::vector<std::string> unmeasured;
    for (const auto& target : kSpeedTargets)
        if (!TimeOf(input.results, EffectCaseName(target.effect, target.format)))
            unmeasured.push_back(EffectCaseName(target.effect, target.format));
    if (!unmeasured.empty()) PrintList(out, "Targets not measured in this run:", unmeasured);
}

}  // namespace

void PrintSummary(std::FILE* out, const SummaryInput& input) {
    std::vector<std::string> measuredHere;
    const auto baselines = Baselines(input, measuredHere);

    std::fprintf(out,
                 "\nSummary: %dx%d frames, time per frame in ms; a ratio is this effect's time over\n"
                 "the other's, so below 1 is faster.\n\n",
                 kFrameWidth, kFrameHeight);
    std::vector<std::string> baselineItems;
    for (int bytes : {4, 2})
        if (baselines.count(bytes))
            baselineItems.push_back(Format("%s %.3f", MemcpyCaseName(bytes).c_str(), baselines.at(bytes)));
    if (!baselineItems.empty()) PrintList(out, "Baseline:", baselineItems);
    if (!measuredHere.empty())
        PrintList(out, "Baseline timed for the summary, not in this run:", measuredHere);

    std::vector<std::string> peerItems;
    for (const std::string& plugin : input.peers)
        if (auto ms = TimeOf(input.results, PeerCaseName(plugin)))
            peerItems.push_back(Format("%s %.3f", plugin.c_str(), ms.value()));
    if (!peerItems.empty()) PrintList(out, "frei0r peers:", peerItems);
    std::fprintf(out, "\n");

    PrintEffects(out, input, baselines);
    std::fprintf(out, "\n");
    PrintUnmeasuredTargets(out, input);
    if (!input.notMade.empty())
        PrintList(out, Format("Not made by the module (%zu):", input.notMade.size()), input.notMade);
    std::vector<std::string> skipped;
    for (const PeerNote& note : input.peerNotes) skipped.push_back(note.plugin + " (" + note.note + ")");
    if (!skipped.empty()) PrintList(out, "frei0r peers skipped:", skipped);
    for (const auto& [name, result] : input.results)
        if (result.repetitions == 0 && name.rfind("effect/", 0) != 0)
            std::fprintf(out, "%s failed: %s\n", name.c_str(), result.error.c_str());
}

}  // namespace bench
