// The few library flags this program looks at itself: the display format and
// colour (it supplies the display reporter, so the library does not apply
// them) and whether a minimum time was given; and its own --sweep.
#pragma once

#include <string>
#include <vector>

namespace bench {

// Each case runs at least this long unless --benchmark_min_time says
// otherwise; short enough for dozens of cases within a minute or so.
constexpr const char* kDefaultMinTime = "0.2";

struct CommandLine {
    std::string format = "console";  // console, json or csv
    bool color = false;
    bool tabular = false;
    bool minTimeGiven = false;
    bool sweep = false;  // --sweep: the size sweep instead of the ordinary cases
};

CommandLine ReadCommandLine(int argc, char** argv);

// The arguments for benchmark::Initialize: argv without this program's own
// flags, plus the default minimum time when none was given. The strings live as long as the object.
class Arguments {
public:
    Arguments(int argc, char** argv, const CommandLine& line);
    int& count() { return count_; }
    char** values() { return pointers_.data(); }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
    int count_ = 0;
};

}  // namespace bench
