#include "tools/render_options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <set>

#include "render/surface.h"

namespace fxtool {

namespace {

std::string Quote(const std::string& text) { return "\"" + text + "\""; }

// A whole number from min to max, else UsageError naming the range.
int64_t ParseWhole(const std::string& option, const std::string& text, int64_t min, int64_t max) {
    int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || ptr != end || value < min || value > max) {
        throw UsageError{option + " must be a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not " + Quote(text)};
    }
    return value;
}

double ParseFps(const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value);
    // The comparisons also refuse nan.
    if (text.empty() || error != std::errc() || ptr != end || !(value >= kMinFps && value <= kMaxFps))
        throw UsageError{"--fps must be a number from 0.001 to 1000, not " + Quote(text)};
    return value;
}

std::vector<int32_t> ParseParams(const std::string& text) {
    std::vector<int32_t> values;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? comma : comma - start);
        int32_t value = 0;
        const char* end = item.data() + item.size();
        const auto [ptr, error] = std::from_chars(item.data(), end, value);
        if (item.empty() || error != std::errc() || ptr != end || value < 0 || value > 255)
            throw UsageError{"--params values must be whole numbers from 0 to 255, not " + Quote(item)};
        values.push_back(value);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (values.size() > 4) throw UsageError{"--params takes at most four values, not " + Quote(text)};
    return values;
}

int32_t ParseFormat(const std::string& text) {
    if (text == "32") return kFormatXrgb;
    if (text == "565") return kFormat565;
    if (text == "555") return kFormat555;
    throw UsageError{"--format must be 32, 565 or 555, not " + Quote(text)};
}

std::string FileName(const std::string& option, const std::string& text) {
    if (text.empty()) throw UsageError{option + " needs a file name, not an empty string"};
    return text;
}

bool IsRenderOption(const std::string& key) {
    for (const char* name :
         {"--in", "--out", "--params", "--time", "--frames", "--fps", "--format", "--in-place", "--scroll"})
        if (key == name) return true;
    return false;
}

bool TakesValue(const std::string& key) { return key != "--verbose" && key != "--names" && key != "--in-place"; }

void Apply(CommandLine& line, const std::string& key, const std::string& value) {
    RenderOptions& render = line.render;
    if (key == "--module") {
        line.modulePath = FileName(key, value);
    } else if (key == "--verbose") {
        line.verbose = true;
    } else if (key == "--names") {
        line.command = Command::kListNames;
    } else if (key == "--in") {
        render.input = FileName(key, value);
    } else if (key == "--out") {
        render.output = FileName(key, value);
        if (value == "-") throw UsageError{"--out - is not supported yet; name a .png file or /dev/stdout"};
        render.everyFrame = ParseOutputName(value);
    } else if (key == "--params") {
        render.params = ParseParams(value);
    } else if (key == "--time") {
        render.time = static_cast<uint32_t>(ParseWhole(key, value, 0, UINT32_MAX));
    } else if (key == "--frames") {
        render.frames = static_cast<int>(ParseWhole(key, value, 1, kMaxFrames));
    } else if (key == "--fps") {
        render.fps = ParseFps(value);
    } else if (key == "--format") {
        render.format = ParseFormat(value);
    } else if (key == "--in-place") {
        render.inPlace = true;
    } else if (key == "--scroll") {
        render.scroll = static_cast<int>(ParseWhole(key, value, -kMaxScroll, kMaxScroll));
    }
}

size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                              std::tolower(static_cast<unsigned char>(b[j - 1]));
            const size_t next = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
            diagonal = row[j];
            row[j] = next;
        }
    }
    return row[b.size()];
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& args) {
    // --help anywhere wins: no value may start with "--", so it is never one.
    if (std::find(args.begin(), args.end(), "--help") != args.end()) return CommandLine{};
    CommandLine line;
    std::string command;
    bool haveName = false;
    std::set<std::string> seen;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "-h") return CommandLine{};
        if (arg.size() < 2 || arg[0] != '-') {
            if (command.empty()) {
                if (arg == "help") return CommandLine{};
                if (arg != "list" && arg != "render") throw UsageError{"unknown command " + Quote(arg)};
                command = arg;
                line.command = command == "list" ? Command::kList : Command::kRender;
            } else if (command == "list") {
                throw UsageError{"list takes no arguments but --names"};
            } else if (haveName) {
                throw UsageError{"unexpected argument " + Quote(arg) + " (quote names with spaces)"};
            } else if (arg.empty()) {
                throw UsageError{"render needs an effect name, not an empty string"};
            } else {
                line.render.name = arg;
                haveName = true;
            }
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string key = arg.substr(0, equals);
        const bool known = key == "--module" || key == "--verbose" || (command == "list" && key == "--names") ||
                           (command == "render" && IsRenderOption(key));
        if (!known) {
            if (command.empty() && (key == "--names" || IsRenderOption(key)))
                throw UsageError{key + " goes after the command"};
            if (command == "list") throw UsageError{"list takes no arguments but --names"};
            throw UsageError{"unknown option " + key};
        }
        if (!seen.insert(key).second) throw UsageError{key + " given twice"};
        std::string value;
        if (!TakesValue(key)) {
            if (equals != std::string::npos) throw UsageError{key + " takes no value"};
        } else if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
        } else if (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) {
            value = args[++i];
        } else {
            throw UsageError{key + " needs a value"};
        }
        Apply(line, key, value);
    }
    if (command.empty()) throw UsageError{"missing command: list or render"};
    if (line.command == Command::kRender) {
        if (!haveName) throw UsageError{"render needs an effect name"};
        if (line.render.output.empty()) line.render.output = FileNameFor(line.render.name);
    }
    return line;
}

bool ParseOutputName(const std::string& text) {
    int numbers = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') continue;
        size_t j = i + 1;
        if (j < text.size() && text[j] == '%') {
            i = j;
            continue;
        }
        if (j < text.size() && text[j] == '0') ++j;
        if (j < text.size() && text[j] >= '1' && text[j] <= '9') {
            ++j;
            if (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j]))) ++j;
        }
        if (j >= text.size() || text[j] != 'd' || ++numbers > 1) {
            throw UsageError{"--out may hold one frame number (%d, %4d or %04d) and %% for a literal %, not " +
                             Quote(text)};
        }
        i = j;
    }
    return numbers == 1;
}

std::string OutputFileName(const std::string& text, int n) {
    std::string name;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            name += text[i];
            continue;
        }
        if (++i < text.size() && text[i] == '%') {
            name += '%';
            continue;
        }
        const bool zeros = i < text.size() && text[i] == '0';
        if (zeros) ++i;
        size_t width = 0;
        for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i)
            width = width * 10 + size_t(text[i] - '0');
        std::string number = std::to_string(n);
        if (number.size() < width) number.insert(0, width - number.size(), zeros ? '0' : ' ');
        name += number;  // text[i] is the 'd'
    }
    return name;
}

bool HasPngExtension(const std::string& name) {
    if (name.size() < 4) return false;
    std::string end = name.substr(name.size() - 4);
    for (char& c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return end == ".png";
}

uint32_t FrameTime(uint32_t time, int n, double fps) {
    // fmod keeps the offset in range for the cast whatever fps is; below
    // 2^53 it is exact, so the wrap matches integer arithmetic.
    const double offset = std::fmod(std::floor(n * 1000.0 / fps), 4294967296.0);
    const auto ms = offset >= 0.0 && offset < 4294967296.0 ? static_cast<uint64_t>(offset) : 0;
    return static_cast<uint32_t>(time + ms);
}

std::string FileNameFor(const std::string& effectName) {
    std::string file = effectName;
    for (char& c : file)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_') c = '_';
    return file + ".png";
}

std::vector<std::string> ClosestNames(const std::string& name, const std::vector<std::string>& known) {
    std::vector<std::pair<size_t, std::string>> scored;
    for (const std::string& k : known) scored.emplace_back(EditDistance(name, k), k);
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> best;
    for (size_t i = 0; i < scored.size() && i < 3; ++i) best.push_back(scored[i].second);
    return best;
}

}  // namespace fxtool
