// The benchmark figures on the gallery page: a bar chart drawn as inline SVG
// and the table beside it.
#pragma once

#include <string>

#include "tools/bench_results.h"

namespace fxtool {

// Bars are scaled so that the longest, of all effects and the memcpy
// baseline, spans kChartBarSpan pixels.
constexpr double kChartBarSpan = 400;

// An <svg> element: a memcpy row, then a row per effect, each with a bar at
// 32 bits (class "bar b32") and one at 16 bits ("bar b16") where measured,
// labelled with ms per frame and the ratio to memcpy. Empty without rows.
std::string BenchChartSvg(const BenchResults& results);

// A <table> of the same figures.
std::string BenchTableHtml(const BenchResults& results);

// A time in ms with three significant digits ("0.123", "1.23", "12.3", "123"),
// and a ratio with two ("0.52", "2.5", "12", "130").
std::string FormatMs(double ms);
std::string FormatRatio(double ratio);

}  // namespace fxtool
