// The progress line while frames render, and the summary at the end.
#pragma once

#include <chrono>
#include <cstdint>

namespace fxtool {

class Progress {
public:
    // total: frames expected, -1 when not known. The line shows only when
    // standard error is a terminal and shown is true.
    Progress(int64_t total, bool shown);
    // After each frame: redrawn a few times a second at most.
    void frameDone(int64_t frames);
    // Clears the line and, when summary is true, prints "N frames in T s
    // (F frames a second)" on standard error.
    void finish(int64_t frames, bool summary);

private:
    double seconds() const;
    int64_t total_;
    bool shown_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double lastDraw_ = -1;
};

}  // namespace fxtool
