// The summary of a --sweep run: each effect's ratio to memcpy of the same
// frame at every size, how far the ratios stray from the 1920x1080 one, and
// the time of a 16x16 frame, which is what a frame costs before its pixels.
#pragma once

#include <cstdio>
#include <vector>

#include "bench/cases.h"
#include "bench/result_reporter.h"

namespace bench {

// A ratio may stray this far (as a factor, either way) from its 1080p value.
constexpr double kSizeSpread = 1.3;

void PrintSizeSummary(std::FILE* out, const RunResults& results, const std::vector<EffectCase>& effects);

}  // namespace bench
