#include "tools/progress.h"

#include <unistd.h>

#include <cstdio>

namespace fxtool {

Progress::Progress(int64_t total, bool shown) : total_(total), shown_(shown && ::isatty(STDERR_FILENO) == 1) {}

double Progress::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::frameDone(int64_t frames) {
    if (!shown_) return;
    const double now = seconds();
    if (lastDraw_ >= 0 && now - lastDraw_ < 0.25) return;
    lastDraw_ = now;
    const double rate = now > 0 ? static_cast<double>(frames) / now : 0;
    char left[48] = "";
    if (total_ > 0 && rate > 0)
        std::snprintf(left, sizeof left, ", %.1f s left", static_cast<double>(total_ - frames) / rate);
    if (total_ > 0)
        std::fprintf(stderr, "\r\033[Kframe %lld/%lld, %.1f frames a second%s", static_cast<long long>(frames),
                     static_cast<long long>(total_), rate, left);
    else
        std::fprintf(stderr, "\r\033[Kframe %lld, %.1f frames a second", static_cast<long long>(frames), rate);
    std::fflush(stderr);
    drawn_ = true;
}

void Progress::finish(int64_t frames, bool summary) {
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
    if (!summary) return;
    const double time = seconds();
    std::fprintf(stderr, "fxhost: %lld frames in %.2f s (%.1f frames a second)\n", static_cast<long long>(frames),
                 time, time > 0 ? static_cast<double>(frames) / time : 0.0);
}

}  // namespace fxtool
