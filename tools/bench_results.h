// The figures of a benchmark run, read from Google Benchmark's JSON output:
// ms per frame of every effect at 32 and 16 bits, and its ratio to a memcpy
// of the same frame.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace fxtool {

struct BenchRow {
    std::string name;                    // the effect's factory name
    std::optional<double> ms32, ms16;    // ms per frame, "effect/NAME/32" and "effect/NAME/565"
    std::optional<double> ratio32, ratio16;  // to "memcpy/32" and "memcpy/16", when both are known
};

struct BenchResults {
    std::string date;     // the run's "context" fields, empty when absent
    std::string machine;  // host name, CPU count and clock, as one line
    std::string buildType;
    std::optional<double> memcpy32, memcpy16;
    std::vector<BenchRow> rows;
};

// Reads the figures from the JSON text. Rows follow order (the gallery's
// names), then effects the JSON has that order lacks, as they come. A case
// counts by its median aggregate when repetitions were run, else by the mean
// of its iteration runs; cases that failed are left out. Missing fields are
// skipped. Throws fxhost::HostError for text that is not JSON, naming where.
BenchResults ParseBenchResults(const std::string& json, const std::vector<std::string>& order);

// The same from a file. Throws fxhost::HostError naming the file.
BenchResults ReadBenchResults(const std::string& path, const std::vector<std::string>& order);

}  // namespace fxtool
