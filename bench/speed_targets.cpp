#include "bench/speed_targets.h"

#include <optional>

#include "bench/frames.h"
#include "bench/summary_text.h"
#include "bench/tables.h"

namespace bench {

namespace {

enum class Outcome { kPass, kMiss, kUnknown };

// One thing a target asks, as the summary words it, and how it came out.
struct Goal {
    std::string text;
    Outcome outcome;
};

Outcome Judge(bool met) { return met ? Outcome::kPass : Outcome::kMiss; }

// Within maxTimesMemcpy memcpys, or of the twin's time plus that many.
Goal TimeGoal(const SpeedTarget& target, const RunResults& results, double ms, double memcpyMs) {
    if (!target.twin)
        return {Format("<= %gx memcpy", target.maxTimesMemcpy), Judge(ms / memcpyMs <= target.maxTimesMemcpy)};
    std::string text = Format("<= %s + %gx memcpy", target.twin, target.maxTimesMemcpy);
    const auto twinMs = TimeOf(results, EffectCaseName(target.twin, target.format));
    if (!twinMs) return {text, Outcome::kUnknown};
    const double overTwin = (ms - *twinMs) / memcpyMs;
    return {text + Format(" (at %+.2fx)", overTwin), Judge(overTwin <= target.maxTimesMemcpy)};
}

Goal PeerGoal(const PeerLimit& limit, const RunResults& results, double ms) {
    const bool below = limit.bound == Bound::kBelow;
    const std::string text = Format("%s %gx %s", below ? "<" : "<=", limit.maxRatio, limit.plugin);
    const auto peerMs = TimeOf(results, PeerCaseName(limit.plugin));
    if (!peerMs) return {text, Outcome::kUnknown};
    const double ratio = ms / *peerMs;
    return {text, Judge(below ? ratio < limit.maxRatio : ratio <= limit.maxRatio)};
}

std::string Verdict(const std::vector<Goal>& goals) {
    std::string text;
    bool missed = false, unknown = false;
    for (const Goal& goal : goals) {
        if (!text.empty()) text += ", ";
        text += goal.text;
        missed |= goal.outcome == Outcome::kMiss;
        unknown |= goal.outcome == Outcome::kUnknown;
    }
    return text + ": " + (missed ? "MISS" : unknown ? "n/a" : "PASS");
}

// The values of a sweep at this format whose case did not run, as label=value.
std::vector<std::string> MissingSweepValues(const RunResults& results, const ParamSweep& sweep, int32_t format) {
    std::vector<std::string> missing;
    for (int32_t value : sweep.values)
        if (!TimeOf(results, SweepCaseName(sweep.effect, format, sweep.label, value)))
            missing.push_back(Format("%s=%d", sweep.label, value));
    return missing;
}

// The cases besides its own that a target needs.
std::vector<std::string> ReferenceCases(const SpeedTarget& target) {
    std::vector<std::string> cases;
    if (target.twin) cases.push_back(EffectCaseName(target.twin, target.format));
    for (const PeerLimit& limit : target.peers) cases.push_back(PeerCaseName(limit.plugin));
    return cases;
}

void AddUnmeasuredSpeedTargets(const RunResults& results, std::vector<std::string>& unmeasured) {
    for (const SpeedTarget& target : kSpeedTargets) {
        const std::string caseName = EffectCaseName(target.effect, target.format);
        if (!TimeOf(results, caseName)) {
            unmeasured.push_back(caseName);
            continue;
        }
        std::vector<std::string> missing;
        for (const std::string& reference : ReferenceCases(target))
            if (!TimeOf(results, reference)) missing.push_back(reference);
        if (!missing.empty()) unmeasured.push_back(caseName + " (no " + Join(missing, "; ") + ")");
    }
}

void AddUnmeasuredSweeps(const RunResults& results, std::vector<std::string>& unmeasured) {
    for (const ParamSweep& sweep : kParamSweeps) {
        for (int32_t format : kCaseFormats) {
            const std::vector<std::string> missing = MissingSweepValues(results, sweep, format);
            const std::string name = SweepName(sweep.effect, format);
            if (missing.size() == sweep.values.size())
                unmeasured.push_back(name);
            else if (!missing.empty())
                unmeasured.push_back(name + " (no " + Join(missing, ", ") + ")");
        }
    }
}

}  // namespace

std::string TargetVerdict(const RunResults& results, const Baselines& baselines, const std::string& effect,
                          int32_t format) {
    const auto ms = TimeOf(results, EffectCaseName(effect, format));
    const auto baseline = baselines.find(BytesPerPixel(format));
    if (!ms || baseline == baselines.end()) return "";
    std::string text;
    for (const SpeedTarget& target : kSpeedTargets) {
        if (effect != target.effect || format != target.format) continue;
        std::vector<Goal> goals = {TimeGoal(target, results, *ms, baseline->second)};
        for (const PeerLimit& limit : target.peers) goals.push_back(PeerGoal(limit, results, *ms));
        if (!text.empty()) text += "; ";
        text += Verdict(goals);
    }
    return text;
}

std::optional<SweepWorst> WorstOfSweep(const RunResults& results, const ParamSweep& sweep, int32_t format) {
    std::optional<SweepWorst> worst;
    for (int32_t value : sweep.values) {
        const auto ms = TimeOf(results, SweepCaseName(sweep.effect, format, sweep.label, value));
        if (ms && (!worst || *ms > worst->ms)) worst = SweepWorst{value, *ms};
    }
    if (worst) worst->complete = MissingSweepValues(results, sweep, format).empty();
    return worst;
}

std::string SweepVerdict(const ParamSweep& sweep, const SweepWorst& worst, double memcpyMs) {
    const bool within = worst.ms / memcpyMs <= sweep.maxTimesMemcpy;
    const Outcome outcome = !within ? Outcome::kMiss : worst.complete ? Outcome::kPass : Outcome::kUnknown;
    return Verdict({{Format("<= %gx memcpy", sweep.maxTimesMemcpy), outcome}});
}

std::vector<std::string> UnmeasuredTargets(const RunResults& results) {
    std::vector<std::string> unmeasured;
    AddUnmeasuredSpeedTargets(results, unmeasured);
    AddUnmeasuredSweeps(results, unmeasured);
    return unmeasured;
}

}  // namespace bench
