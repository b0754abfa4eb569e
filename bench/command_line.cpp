#include "bench/command_line.h"

#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

namespace bench {

namespace {

constexpr const char* kSweepFlag = "--sweep";

// The value of --name=value (or "" for a bare --name), if the argument is it.
std::optional<std::string> FlagValue(const std::string& argument, const std::string& name) {
    const std::string prefix = "--" + name;
    if (argument.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
    if (argument.size() == prefix.size()) return std::string();
    if (argument[prefix.size()] != '=') return std::nullopt;
    return argument.substr(prefix.size() + 1);
}

// As the library reads booleans: anything but an explicit no is yes.
bool Truthy(const std::string& value) {
    for (const char* no : {"0", "f", "n", "false", "no", "off"})
        if (strcasecmp(value.c_str(), no) == 0) return false;
    return true;
}

bool TerminalWantsColour() {
    const char* term = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && term && *term && std::string(term) != "dumb";
}

std::string FromEnvironment(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
}

}  // namespace

CommandLine ReadCommandLine(int argc, char** argv) {
    CommandLine line;
    line.format = FromEnvironment("BENCHMARK_FORMAT", line.format);
    std::string color = FromEnvironment("BENCHMARK_COLOR", "auto");
    line.tabular = Truthy(FromEnvironment("BENCHMARK_COUNTERS_TABULAR", "false"));
    line.minTimeGiven = std::getenv("BENCHMARK_MIN_TIME") != nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (auto v = FlagValue(argument, "benchmark_format")) line.format = *v;
        if (auto v = FlagValue(argument, "benchmark_color")) color = *v;
        if (auto v = FlagValue(argument, "benchmark_counters_tabular")) line.tabular = Truthy(*v);
        if (FlagValue(argument, "benchmark_min_time")) line.minTimeGiven = true;
        if (argument == kSweepFlag) line.sweep = true;
    }
    line.color = color == "auto" ? TerminalWantsColour() : Truthy(color);
    return line;
}

Arguments::Arguments(int argc, char** argv, const CommandLine& line) {
    for (int i = 0; i < argc; ++i)
        if (i == 0 || argv[i] != std::string(kSweepFlag)) strings_.emplace_back(argv[i]);
    if (!line.minTimeGiven) strings_.push_back(std::string("--benchmark_min_time=") + kDefaultMinTime);
    for (auto& s : strings_) pointers_.push_back(s.data());
    count_ = static_cast<int>(strings_.size());
    pointers_.push_back(nullptr);
}

}  // namespace bench
