// Reading ffmpeg's log lines: their component and level, and the line that
// best says why a command failed.
#include "host/ffmpeg_process.h"

namespace fxhost {

LogLine ParseLogLine(const std::string& line) {
    LogLine out;
    size_t at = 0;
    // "[context @ 0x55d0...] " first, when the message comes from a component.
    if (line.compare(0, 1, "[") == 0) {
        const size_t close = line.find("] ");
        const size_t marker = line.find(" @ ");
        if (close != std::string::npos && marker != std::string::npos && marker < close) {
            out.context = line.substr(1, marker - 1);
            at = close + 2;
        }
    }
    if (line.compare(at, 1, "[") == 0) {
        const size_t close = line.find("] ", at);
        if (close != std::string::npos && close - at <= 8) {
            out.level = line.substr(at + 1, close - at - 1);
            at = close + 2;
        }
    }
    out.text = line.substr(at);
    return out;
}

bool IsErrorLevel(const std::string& level) { return level == "error" || level == "fatal" || level == "panic"; }

std::string LastError(const std::vector<std::string>& lines) {
    // A component's own complaint ("[libx264 @ ...] width not divisible by
    // 2") says more than the command's summary of it that follows.
    std::string error, any;
    for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
        const LogLine line = ParseLogLine(*it);
        if (line.text.empty()) continue;
        if (IsErrorLevel(line.level)) {
            if (!line.context.empty()) return line.text;
            if (error.empty()) error = line.text;
        }
        if (any.empty()) any = line.text;
    }
    return error.empty() ? any : error;
}

}  // namespace fxhost
