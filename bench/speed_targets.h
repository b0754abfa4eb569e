// Judging the speed targets of tables.h against the times of a run.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "bench/result_reporter.h"

namespace bench {

// memcpy of one frame in ms, by bytes per pixel.
using Baselines = std::map<int, double>;

// The Target column of an effect case: what each target set for it asks,
// e.g. "<= 8x memcpy, < 1x posterize", then PASS, MISS, or n/a when a time
// it needs is missing and nothing measured misses. Empty without a target.
std::string TargetVerdict(const RunResults& results, const Baselines& baselines, const std::string& effect,
                          int32_t format);

// The targets this run could not judge in full: the case name when the
// effect did not run, else the case name and the missing cases in brackets.
std::vector<std::string> UnmeasuredTargets(const RunResults& results);

}  // namespace bench
