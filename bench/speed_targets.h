// Judging the speed targets of tables.h against the times of a run.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bench/result_reporter.h"
#include "bench/tables.h"

namespace bench {

// memcpy of one frame in ms, by bytes per pixel.
using Baselines = std::map<int, double>;

// The Target column of an effect case: what each target set for it asks,
// e.g. "<= 8x memcpy, < 1x posterize", then PASS, MISS, or n/a when a time
// it needs is missing and nothing measured misses. Empty without a target.
std::string TargetVerdict(const RunResults& results, const Baselines& baselines, const std::string& effect,
                          int32_t format);

// The slowest value of a sweep at this format among the cases that ran.
struct SweepWorst {
    int32_t value = 0;
    double ms = 0;
    bool complete = true;  // every value's case ran
};
std::optional<SweepWorst> WorstOfSweep(const RunResults& results, const ParamSweep& sweep, int32_t format);

// The Target column of a sweep, e.g. "<= 3x memcpy: PASS"; n/a when some
// value did not run and the slowest that did is within the limit.
std::string SweepVerdict(const ParamSweep& sweep, const SweepWorst& worst, double memcpyMs);

// The targets this run could not judge in full: the case name when the
// effect did not run, else the case name and the missing cases in brackets;
// likewise the sweeps, by name, with the values that did not run.
std::vector<std::string> UnmeasuredTargets(const RunResults& results);

}  // namespace bench
