// The four values of an effect over a render: fixed, ramped from the first
// frame to the last, or keyed at times in ms.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace fxtool {

struct Key {
    int64_t time;   // ms
    int32_t value;  // 0 to 255
};

class ParamTrack {
public:
    std::array<int32_t, 4> base{128, 128, 128, 128};  // defaults and --params

    // --ramp INDEX=V0:V1 and --keys INDEX=T0:V0,T1:V1,... (text after '=').
    // Throw UsageError for a bad index, a value outside 0-255, times out of order.
    void setRamp(const std::string& text);
    void setKeys(const std::string& text);
    bool ramped() const;  // whether a value ramps over the frames

    // The values of frame index of total (total < 2: the first frame's) at
    // time ms. Ramps and keys interpolate linearly and round to nearest; keys
    // hold their first and last values outside their times.
    std::array<int32_t, 4> at(int64_t index, int64_t total, int64_t time) const;

private:
    struct Ramp {
        bool on = false;
        int32_t from = 0, to = 0;
    };
    std::array<Ramp, 4> ramps_{};
    std::array<std::vector<Key>, 4> keys_{};
};

}  // namespace fxtool
