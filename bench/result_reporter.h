// A reporter that shows the runs through the display reporter the flags ask
// for and keeps each case's time per frame for the summary.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "bench/command_line.h"

namespace bench {

struct CaseResult {
    double ms = 0;  // real time per iteration, averaged over repetitions
    int repetitions = 0;
    std::string error;  // set when the case was skipped with an error
    std::map<std::string, double> counters;  // user counters, of the last repetition
};
using RunResults = std::map<std::string, CaseResult>;  // by case name

// The case's time per frame in ms; none when it did not run or failed.
std::optional<double> TimeOf(const RunResults& results, const std::string& caseName);

class CollectingReporter : public benchmark::BenchmarkReporter {
public:
    explicit CollectingReporter(const CommandLine& line);

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    const RunResults& results() const { return results_; }

private:
    std::unique_ptr<benchmark::BenchmarkReporter> display_;
    RunResults results_;
};

}  // namespace bench
