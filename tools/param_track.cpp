#include "tools/param_track.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "tools/render_options.h"

namespace fxtool {

namespace {

// A whole number from min to max; else UsageError for what names the thing.
int64_t Whole(const std::string& text, int64_t min, int64_t max, const std::string& what) {
    int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || ptr != end || value < min || value > max)
        throw UsageError{what + " must be a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not \"" + text + "\""};
    return value;
}

// Splits "INDEX=REST" and checks the index.
size_t Index(const std::string& option, const std::string& text, std::string& rest) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos)
        throw UsageError{option + " takes INDEX=" + (option == "--ramp" ? "V0:V1" : "T0:V0,T1:V1,...") +
                         ", not \"" + text + "\""};
    rest = text.substr(equals + 1);
    return static_cast<size_t>(Whole(text.substr(0, equals), 0, 3, option + "'s value index"));
}

// "A:B" as two numbers.
std::pair<std::string, std::string> Pair(const std::string& option, const std::string& text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) throw UsageError{option + " needs two numbers joined by ':', not \"" + text + "\""};
    return {text.substr(0, colon), text.substr(colon + 1)};
}

int32_t Lerp(int32_t from, int32_t to, double fraction) {
    return static_cast<int32_t>(std::lround(from + (to - from) * fraction));
}

}  // namespace

void ParamTrack::setRamp(const std::string& text) {
    std::string rest;
    const size_t index = Index("--ramp", text, rest);
    if (ramps_[index].on || !keys_[index].empty())
        throw UsageError{"value " + std::to_string(index) + " is given more than one --ramp or --keys"};
    const auto [from, to] = Pair("--ramp", rest);
    ramps_[index] = {true, static_cast<int32_t>(Whole(from, 0, 255, "--ramp values")),
                     static_cast<int32_t>(Whole(to, 0, 255, "--ramp values"))};
}

void ParamTrack::setKeys(const std::string& text) {
    std::string rest;
    const size_t index = Index("--keys", text, rest);
    if (ramps_[index].on || !keys_[index].empty())
        throw UsageError{"value " + std::to_string(index) + " is given more than one --ramp or --keys"};
    std::vector<Key> keys;
    size_t start = 0;
    while (true) {
        const size_t comma = rest.find(',', start);
        const auto [time, value] =
            Pair("--keys", rest.substr(start, comma == std::string::npos ? comma : comma - start));
        const Key key{Whole(time, 0, UINT32_MAX, "--keys times"),
                      static_cast<int32_t>(Whole(value, 0, 255, "--keys values"))};
        if (!keys.empty() && key.time <= keys.back().time)
            throw UsageError{"--keys times must rise from key to key, not \"" + rest + "\""};
        keys.push_back(key);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    keys_[index] = std::move(keys);
}

bool ParamTrack::ramped() const {
    for (const Ramp& ramp : ramps_)
        if (ramp.on) return true;
    return false;
}

std::array<int32_t, 4> ParamTrack::at(int64_t index, int64_t total, int64_t time) const {
    std::array<int32_t, 4> values = base;
    for (size_t i = 0; i < 4; ++i) {
        if (ramps_[i].on) {
            const double fraction = total < 2 ? 0.0 : static_cast<double>(std::min(index, total - 1)) / (total - 1);
            values[i] = Lerp(ramps_[i].from, ramps_[i].to, fraction);
        }
        const std::vector<Key>& keys = keys_[i];
        if (keys.empty()) continue;
        if (time <= keys.front().time) {
            values[i] = keys.front().value;
        } else if (time >= keys.back().time) {
            values[i] = keys.back().value;
        } else {
            size_t k = 1;
            while (keys[k].time < time) ++k;
            const Key& a = keys[k - 1];
            const Key& b = keys[k];
            values[i] = Lerp(a.value, b.value, static_cast<double>(time - a.time) / static_cast<double>(b.time - a.time));
        }
    }
    return values;
}

}  // namespace fxtool
