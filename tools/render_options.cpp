#include "tools/render_options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <set>
#include <tuple>

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
    for (const char* name : {"--fx", "--in", "--out", "--params", "--ramp", "--keys", "--time", "--frames", "--fps",
                             "--format", "--in-place", "--scroll", "--size", "--encode"})
        if (key == name) return true;
    return false;
}

// The options each command takes beside --module, --verbose and --quiet.
bool TakesOption(const std::string& command, const std::string& key) {
    if (command == "list") return key == "--names" || key == "--json";
    if (command == "describe") return key == "--json";
    if (command == "gallery") return key == "--bench";
    return command == "render" && IsRenderOption(key);
}

bool TakesValue(const std::string& key) {
    for (const char* flag : {"--verbose", "--quiet", "--names", "--json", "--in-place"})
        if (key == flag) return false;
    return true;
}

// Options that may come again: each --fx starts an effect, and --params,
// --ramp and --keys belong to the effect named last.
bool Repeats(const std::string& key) {
    return key == "--fx" || key == "--params" || key == "--ramp" || key == "--keys";
}

std::vector<std::string> SplitSpaces(const std::string& text) {
    std::vector<std::string> words;
    size_t start = 0;
    while ((start = text.find_first_not_of(" \t", start)) != std::string::npos) {
        const size_t end = text.find_first_of(" \t", start);
        words.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = end;
    }
    return words;
}

// The effects of a render as they are named, and which of them the next
// --params, --ramp or --keys belongs to.
struct Chain {
    std::vector<EffectOptions>& effects;
    std::vector<bool> paramsGiven;
    bool positionalChain = false;  // a render NAME of several names

    // A render NAME: one name or several joined by commas.
    void addNames(const std::string& text) {
        std::vector<std::string> names;
        size_t start = 0;
        while (true) {
            const size_t comma = text.find(',', start);
            names.push_back(text.substr(start, comma == std::string::npos ? comma : comma - start));
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
        for (const std::string& name : names)
            if (name.empty()) throw UsageError{"render needs effect names, not an empty one in " + Quote(text)};
        // Values given before the name belong to it.
        if (!effects.empty() && effects.front().name.empty()) {
            if (names.size() > 1) throw ValuesNeedOneEffect();
            effects.front().name = names.front();
            return;
        }
        positionalChain = names.size() > 1;
        for (const std::string& name : names) add(name);
    }
    void add(const std::string& name) {
        effects.push_back(EffectOptions{name, {}, {}});
        paramsGiven.push_back(false);
    }
    // The effect that values given now belong to.
    EffectOptions& current(const std::string& key) {
        if (positionalChain && !lastFromFx) throw ValuesNeedOneEffect();
        if (effects.empty()) add("");
        if (key == "--params") {
            if (paramsGiven.back()) throw UsageError{"--params given twice for one effect"};
            paramsGiven.back() = true;
        }
        return effects.back();
    }
    static UsageError ValuesNeedOneEffect() {
        return UsageError{"values belong to one effect: in a chain, name each effect with --fx NAME and give "
                          "its --params, --ramp and --keys after it"};
    }
    bool lastFromFx = false;
};

void Apply(CommandLine& line, Chain& chain, const std::string& key, const std::string& value) {
    RenderOptions& render = line.render;
    if (key == "--module") {
        line.modulePath = FileName(key, value);
    } else if (key == "--verbose") {
        line.verbose = true;
    } else if (key == "--quiet") {
        line.quiet = true;
    } else if (key == "--names") {
        line.command = Command::kListNames;
    } else if (key == "--json") {
        line.json = true;
    } else if (key == "--bench") {
        line.benchResults = FileName(key, value);
    } else if (key == "--fx") {
        if (value.empty()) throw UsageError{"--fx needs an effect name, not an empty string"};
        chain.add(value);
        chain.lastFromFx = true;
    } else if (key == "--in") {
        render.input = FileName(key, value);
    } else if (key == "--out") {
        render.output = FileName(key, value);
        render.everyFrame = value != "-" && ParseOutputName(value);
    } else if (key == "--params") {
        chain.current(key).params = ParseParams(value);
    } else if (key == "--ramp") {
        chain.current(key).track.setRamp(value);
    } else if (key == "--keys") {
        chain.current(key).track.setKeys(value);
    } else if (key == "--time") {
        render.time = static_cast<uint32_t>(ParseWhole(key, value, 0, UINT32_MAX));
    } else if (key == "--frames") {
        render.frames = static_cast<int>(ParseWhole(key, value, 1, kMaxFrames));
    } else if (key == "--fps") {
        render.fps = ParseFps(value);
        render.fpsGiven = true;
    } else if (key == "--format") {
        render.format = ParseFormat(value);
    } else if (key == "--in-place") {
        render.inPlace = true;
    } else if (key == "--scroll") {
        render.scroll = static_cast<int>(ParseWhole(key, value, -kMaxScroll, kMaxScroll));
    } else if (key == "--size") {
        std::tie(render.width, render.height) = ParseSize(value);
    } else if (key == "--encode") {
        render.encodeArgs = SplitSpaces(value);
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
    Chain chain{line.render.effects, {}};
    std::string command;
    bool haveArgument = false;
    std::set<std::string> seen;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "-h") return CommandLine{};
        if (arg.size() < 2 || arg[0] != '-') {
            if (command.empty()) {
                if (arg == "help") return CommandLine{};
                if (arg == "list") line.command = Command::kList;
                else if (arg == "render") line.command = Command::kRender;
                else if (arg == "describe") line.command = Command::kDescribe;
                else if (arg == "gallery") line.command = Command::kGallery;
                else throw UsageError{"unknown command " + Quote(arg)};
                command = arg;
            } else if (command == "list") {
                throw UsageError{"list takes no arguments but --names and --json"};
            } else if (haveArgument) {
                throw UsageError{"unexpected argument " + Quote(arg) + " (quote names with spaces)"};
            } else if (arg.empty()) {
                throw UsageError{command + (command == "gallery" ? " needs a directory" : " needs an effect name") +
                                 ", not an empty string"};
            } else {
                if (command == "render") chain.addNames(arg);
                else if (command == "describe") line.describeName = arg;
                else line.galleryDir = arg;
                haveArgument = true;
            }
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string key = arg.substr(0, equals);
        const bool global = key == "--module" || key == "--verbose" || key == "--quiet";
        if (!global && !TakesOption(command, key)) {
            if (command.empty() && (key == "--names" || key == "--json" || key == "--bench" || IsRenderOption(key)))
                throw UsageError{key + " goes after the command"};
            if (command == "list") throw UsageError{"list takes no arguments but --names and --json"};
            throw UsageError{"unknown option " + key};
        }
        if (!Repeats(key) && !seen.insert(key).second) throw UsageError{key + " given twice"};
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
        Apply(line, chain, key, value);
    }
    if (command.empty()) throw UsageError{"missing command: list, describe, render or gallery"};
    if (line.command == Command::kDescribe && line.describeName.empty())
        throw UsageError{"describe needs an effect name"};
    if (line.command == Command::kGallery && line.galleryDir.empty()) throw UsageError{"gallery needs a directory"};
    if (line.command == Command::kRender) {
        RenderOptions& render = line.render;
        if (render.effects.empty() || render.effects.front().name.empty())
            throw UsageError{"render needs an effect name"};
        if (render.input == "-" && render.width == 0)
            throw UsageError{"--in - reads raw BGRA frames: give their size with --size WxH"};
        if (render.input != "-" && render.width != 0) throw UsageError{"--size goes with --in - only"};
        if (render.output.empty()) {
            std::string names;
            for (const EffectOptions& effect : render.effects) names += (names.empty() ? "" : ",") + effect.name;
            render.output = FileNameFor(names);
        }
    }
    return line;
}

std::pair<int, int> ParseSize(const std::string& text) {
    const size_t x = text.find('x');
    if (x != std::string::npos) {
        int width = 0, height = 0;
        const char* end = text.data() + text.size();
        const auto [wEnd, wError] = std::from_chars(text.data(), text.data() + x, width);
        const auto [hEnd, hError] = std::from_chars(text.data() + x + 1, end, height);
        if (wError == std::errc() && hError == std::errc() && wEnd == text.data() + x && hEnd == end &&
            width >= 1 && height >= 1 && width <= 32767 && height <= 32767 && x > 0)
            return {width, height};
    }
    throw UsageError{"--size must be WIDTHxHEIGHT, each from 1 to 32767, not " + Quote(text)};
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
