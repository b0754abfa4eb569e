#include "bench/result_reporter.h"

namespace bench {

namespace {

std::unique_ptr<benchmark::BenchmarkReporter> MakeDisplay(const CommandLine& line) {
    if (line.format == "json") return std::make_unique<benchmark::JSONReporter>();
    if (line.format == "csv") {
        BENCHMARK_DISABLE_DEPRECATED_WARNING
        return std::make_unique<benchmark::CSVReporter>();
        BENCHMARK_RESTORE_DEPRECATED_WARNING
    }
    int options = benchmark::ConsoleReporter::OO_None;
    if (line.color) options |= benchmark::ConsoleReporter::OO_Color;
    if (line.tabular) options |= benchmark::ConsoleReporter::OO_Tabular;
    return std::make_unique<benchmark::ConsoleReporter>(
        static_cast<benchmark::ConsoleReporter::OutputOptions>(options));
}

double ToMilliseconds(double value, benchmark::TimeUnit unit) {
    switch (unit) {
    case benchmark::kNanosecond: return value / 1e6;
    case benchmark::kMicrosecond: return value / 1e3;
    case benchmark::kMillisecond: return value;
    case benchmark::kSecond: return value * 1e3;
    }
    return value;
}

}  // namespace

std::optional<double> TimeOf(const RunResults& results, const std::string& caseName) {
    const auto it = results.find(caseName);
    if (it == results.end() || it->second.repetitions == 0) return std::nullopt;
    return it->second.ms;
}

CollectingReporter::CollectingReporter(const CommandLine& line) : display_(MakeDisplay(line)) {}

bool CollectingReporter::ReportContext(const Context& context) { return display_->ReportContext(context); }

void CollectingReporter::ReportRuns(const std::vector<Run>& runs) {
    display_->ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration) continue;  // aggregates are derived
        CaseResult& result = results_[run.run_name.function_name];
        if (run.error_occurred) {
            result.error = run.error_message;
            continue;
        }
        const double ms = ToMilliseconds(run.GetAdjustedRealTime(), run.time_unit);
        result.ms = (result.ms * result.repetitions + ms) / (result.repetitions + 1);
        ++result.repetitions;
        for (const auto& [name, counter] : run.counters) result.counters[name] = counter.value;
    }
}

void CollectingReporter::Finalize() { display_->Finalize(); }

}  // namespace bench
