#include "tools/render_options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace fxtool {

namespace {

template <class T>
T ParseNumber(const std::string& option, const std::string& text) {
    T value{};
    const char* end = text.data() + text.size();
    auto [ptr, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || ptr != end)
        throw UsageError{option + " expects a number, not \"" + text + "\""};
    return value;
}

std::vector<int32_t> ParseParams(const std::string& text) {
    std::vector<int32_t> values;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        values.push_back(ParseNumber<int32_t>("--params", text.substr(start, comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (values.size() > 4) throw UsageError{"--params takes at most four values, not " + text};
    return values;
}

int32_t ParseFormat(const std::string& text) {
    if (text == "32") return 3;
    if (text == "565") return 2;
    if (text == "555") return 1;
    throw UsageError{"--format must be 32, 565 or 555, not \"" + text + "\""};
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

RenderOptions ParseRenderOptions(const std::vector<std::string>& args) {
    RenderOptions options;
    bool haveName = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--in-place") {
            options.inPlace = true;
            continue;
        }
        if (arg.rfind("--", 0) != 0) {
            if (haveName) throw UsageError{"unexpected argument \"" + arg + "\" (quote names with spaces)"};
            options.name = arg;
            haveName = true;
            continue;
        }
        if (i + 1 >= args.size()) throw UsageError{arg + " needs a value"};
        const std::string& value = args[++i];
        if (arg == "--in") options.input = value;
        else if (arg == "--out") options.output = value;
        else if (arg == "--params") options.params = ParseParams(value);
        else if (arg == "--time") options.time = ParseNumber<uint32_t>(arg, value);
        else if (arg == "--frames") options.frames = ParseNumber<int>(arg, value);
        else if (arg == "--fps") options.fps = ParseNumber<double>(arg, value);
        else if (arg == "--format") options.format = ParseFormat(value);
        else throw UsageError{"unknown option " + arg};
    }
    if (!haveName) throw UsageError{"render needs an effect name"};
    if (options.frames < 1 || options.frames > 100000)
        throw UsageError{"--frames must be from 1 to 100000"};
    if (!(options.fps > 0.0 && options.fps <= 1000.0)) throw UsageError{"--fps must be above 0 and at most 1000"};
    if (options.output.find('%') != std::string::npos && !IsFramePattern(options.output))
        throw UsageError{"--out may hold one %d-style frame number and no other % but %%"};
    return options;
}

bool IsFramePattern(const std::string& text) {
    int conversions = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') continue;
        if (i + 1 < text.size() && text[i + 1] == '%') {
            ++i;
            continue;
        }
        size_t j = i + 1;
        if (j < text.size() && text[j] == '0') ++j;
        while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j])) && j - i < 4) ++j;
        if (j >= text.size() || text[j] != 'd') return false;
        ++conversions;
        i = j;
    }
    return conversions == 1;
}

std::string FrameFileName(const std::string& pattern, int n) {
    char text[4096];
    std::snprintf(text, sizeof text, pattern.c_str(), n);  // checked by IsFramePattern
    return text;
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
