// The summary printed after the run: each effect's time per frame, its ratio
// to memcpy of the same depth and to its frei0r peers, the speed targets, the
// slowest value of each parameter sweep, and the first frames of the effects
// that build tables at their first render.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/result_reporter.h"

namespace bench {

struct SummaryInput {
    const RunResults& results;
    const std::vector<EffectCase>& effects;
    const std::vector<EffectCase>& firstFrames;
    const std::vector<std::string>& notMade;
    const std::vector<std::string>& peers;  // plugins with a registered case
    const std::vector<PeerNote>& peerNotes;
};

void PrintSummary(std::FILE* out, const SummaryInput& input);

}  // namespace bench
