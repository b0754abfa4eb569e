#include "tools/bench_results.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "host/host_error.h"

namespace fxtool {

namespace {

// Just enough JSON for a benchmark report: objects keep their members in
// order, numbers are doubles, strings are UTF-8 with \u escapes decoded.
struct Json {
    enum Kind { kNull, kBool, kNumber, kString, kArray, kObject } kind = kNull;
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<Json> items;
    std::vector<std::pair<std::string, Json>> members;

    const Json* find(const std::string& key) const {
        for (const auto& [k, v] : members)
            if (k == key) return &v;
        return nullptr;
    }
    std::string string(const std::string& key) const {
        const Json* v = find(key);
        return v && v->kind == kString ? v->text : std::string();
    }
    std::optional<double> num(const std::string& key) const {
        const Json* v = find(key);
        if (v && v->kind == kNumber) return v->number;
        return std::nullopt;
    }
    bool flag(const std::string& key) const {
        const Json* v = find(key);
        return v && v->kind == kBool && v->boolean;
    }
};

class Parser {
public:
    explicit Parser(const std::string& text) : s_(text) {}

    Json document() {
        Json value = parse(0);
        space();
        if (at_ != s_.size()) fail("text after the end");
        return value;
    }

private:
    static constexpr int kMaxDepth = 64;

    [[noreturn]] void fail(const std::string& what) const {
        throw fxhost::HostError("not JSON: " + what + " at byte " + std::to_string(at_));
    }
    void space() {
        while (at_ < s_.size() && (s_[at_] == ' ' || s_[at_] == '\n' || s_[at_] == '\r' || s_[at_] == '\t')) ++at_;
    }
    bool take(char c) {
        space();
        if (at_ < s_.size() && s_[at_] == c) {
            ++at_;
            return true;
        }
        return false;
    }
    void expect(char c) {
        if (!take(c)) fail(std::string("'") + c + "' expected");
    }
    bool word(const char* w) {
        const std::string_view v(w);
        if (s_.compare(at_, v.size(), v) != 0) return false;
        at_ += v.size();
        return true;
    }

    Json parse(int depth) {
        if (depth > kMaxDepth) fail("nesting too deep");
        space();
        if (at_ >= s_.size()) fail("unexpected end");
        Json v;
        const char c = s_[at_];
        if (c == '{') {
            ++at_;
            v.kind = Json::kObject;
            if (take('}')) return v;
            do {
                space();
                if (at_ >= s_.size() || s_[at_] != '"') fail("member name expected");
                std::string key = str();
                expect(':');
                v.members.emplace_back(std::move(key), parse(depth + 1));
            } while (take(','));
            expect('}');
        } else if (c == '[') {
            ++at_;
            v.kind = Json::kArray;
            if (take(']')) return v;
            do v.items.push_back(parse(depth + 1));
            while (take(','));
            expect(']');
        } else if (c == '"') {
            v.kind = Json::kString;
            v.text = str();
        } else if (word("true")) {
            v.kind = Json::kBool;
            v.boolean = true;
        } else if (word("false")) {
            v.kind = Json::kBool;
        } else if (word("null")) {
        } else {
            v.kind = Json::kNumber;
            v.number = number();
        }
        return v;
    }

    double number() {
        const size_t start = at_;
        while (at_ < s_.size() && std::string_view("+-0123456789.eE").find(s_[at_]) != std::string_view::npos) ++at_;
        const std::string digits = s_.substr(start, at_ - start);
        char* end = nullptr;
        const double value = digits.empty() ? 0 : std::strtod(digits.c_str(), &end);
        if (digits.empty() || *end != '\0') {
            at_ = start;
            fail("value expected");
        }
        return value;
    }

    unsigned hex4() {
        if (at_ + 4 > s_.size()) fail("short \\u escape");
        unsigned v = 0;
        for (int i = 0; i < 4; ++i) {
            const char h = s_[at_++];
            v <<= 4;
            if (h >= '0' && h <= '9') v |= unsigned(h - '0');
            else if (h >= 'a' && h <= 'f') v |= unsigned(h - 'a' + 10);
            else if (h >= 'A' && h <= 'F') v |= unsigned(h - 'A' + 10);
            else fail("bad \\u escape");
        }
        return v;
    }

    static void utf8(std::string& out, unsigned cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    std::string str() {
        ++at_;  // the opening quote
        std::string out;
        while (true) {
            if (at_ >= s_.size()) fail("unterminated string");
            const char c = s_[at_++];
            if (c == '"') return out;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (at_ >= s_.size()) fail("unterminated string");
            const char e = s_[at_++];
            switch (e) {
            case '"': case '\\': case '/': out += e; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case 'u': {
                unsigned cp = hex4();
                // A surrogate pair makes one code point; a lone half stays as it is.
                if (cp >= 0xD800 && cp < 0xDC00 && s_.compare(at_, 2, "\\u") == 0) {
                    const size_t back = at_;
                    at_ += 2;
                    const unsigned low = hex4();
                    if (low >= 0xDC00 && low < 0xE000) cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    else at_ = back;
                }
                utf8(out, cp);
                break;
            }
            default: fail("bad escape");
            }
        }
    }

    const std::string& s_;
    size_t at_ = 0;
};

// A time in the report's unit as ms; nothing for a unit it does not use.
std::optional<double> ToMs(double value, const std::string& unit) {
    if (unit == "ns") return value / 1e6;
    if (unit == "us") return value / 1e3;
    if (unit == "ms") return value;
    if (unit == "s") return value * 1e3;
    return std::nullopt;
}

// Per case: the median aggregate if any, else the mean of the iteration runs.
struct CaseTimes {
    std::optional<double> median;
    double sum = 0;
    int runs = 0;
    std::optional<double> ms() const {
        if (median) return median;
        if (runs > 0) return sum / runs;
        return std::nullopt;
    }
};

std::string MachineLine(const Json& context) {
    std::ostringstream line;
    line << context.string("host_name");
    if (const auto cpus = context.num("num_cpus")) {
        if (line.tellp() > 0) line << ", ";
        line << static_cast<long long>(*cpus) << (*cpus == 1 ? " CPU" : " CPUs");
        if (const auto mhz = context.num("mhz_per_cpu")) line << " at " << static_cast<long long>(*mhz) << " MHz";
    }
    return line.str();
}

}  // namespace

BenchResults ParseBenchResults(const std::string& json, const std::vector<std::string>& order) {
    const Json root = Parser(json).document();
    BenchResults results;
    if (const Json* context = root.find("context"); context && context->kind == Json::kObject) {
        results.date = context->string("date");
        results.machine = MachineLine(*context);
        results.buildType = context->string("library_build_type");
    }

    std::map<std::string, CaseTimes> cases;
    std::vector<std::string> seen;  // case names in the file's order
    const Json* list = root.find("benchmarks");
    if (list && list->kind == Json::kArray) {
        for (const Json& run : list->items) {
            if (run.kind != Json::kObject || run.flag("error_occurred") || run.flag("skipped")) continue;
            const std::optional<double> time = run.num("real_time");
            std::string name = run.string("run_name");
            if (name.empty()) name = run.string("name");
            if (!time || name.empty()) continue;
            // Without a unit the time is in ns, the library's default.
            const std::optional<double> ms = ToMs(*time, run.find("time_unit") ? run.string("time_unit") : "ns");
            if (!ms) continue;
            auto [it, added] = cases.try_emplace(name);
            if (added) seen.push_back(name);
            const std::string type = run.string("run_type");
            if (type == "aggregate") {
                if (run.string("aggregate_name") == "median") it->second.median = *ms;
            } else {
                it->second.sum += *ms;
                ++it->second.runs;
            }
        }
    }

    auto figure = [&](const std::string& name) -> std::optional<double> {
        const auto it = cases.find(name);
        return it == cases.end() ? std::nullopt : it->second.ms();
    };
    results.memcpy32 = figure("memcpy/32");
    results.memcpy16 = figure("memcpy/16");

    // Effects in the gallery's order, then the others the file names.
    std::vector<std::string> names = order;
    for (const std::string& c : seen) {
        if (c.rfind("effect/", 0) != 0) continue;
        const size_t slash = c.rfind('/');
        if (slash <= 7) continue;
        const std::string name = c.substr(7, slash - 7);
        bool known = false;
        for (const std::string& n : names) known = known || n == name;
        if (!known) names.push_back(name);
    }
    auto ratio = [](std::optional<double> ms, std::optional<double> base) -> std::optional<double> {
        if (!ms || !base || !(*base > 0)) return std::nullopt;
        return *ms / *base;
    };
    for (const std::string& name : names) {
        BenchRow row{name, figure("effect/" + name + "/32"), figure("effect/" + name + "/565"), {}, {}};
        if (!row.ms32 && !row.ms16) continue;
        row.ratio32 = ratio(row.ms32, results.memcpy32);
        row.ratio16 = ratio(row.ms16, results.memcpy16);
        results.rows.push_back(std::move(row));
    }
    return results;
}

BenchResults ReadBenchResults(const std::string& path, const std::vector<std::string>& order) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw fxhost::HostError(path + ": cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) throw fxhost::HostError(path + ": read error");
    try {
        return ParseBenchResults(text.str(), order);
    } catch (const fxhost::HostError& error) {
        throw fxhost::HostError(path + ": " + error.what());
    }
}

}  // namespace fxtool
