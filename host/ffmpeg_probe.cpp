#include "host/ffmpeg_probe.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <charconv>
#include <cstdlib>
#include <sstream>
#include <utility>
#include <vector>

#include "host/ffmpeg_process.h"

namespace fxhost {

namespace {

// The value of key in a compact line "a=1|b=2|...", or "".
std::string Field(const std::string& line, const std::string& key) {
    size_t at = 0;
    while (at <= line.size()) {
        const size_t end = std::min(line.find('|', at), line.size());
        if (line.compare(at, key.size() + 1, key + "=") == 0)
            return line.substr(at + key.size() + 1, end - at - key.size() - 1);
        at = end + 1;
    }
    return {};
}

int64_t Whole(const std::string& text, int64_t otherwise) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : otherwise;
}

double Rate(const std::string& text) {
    const size_t slash = text.find('/');
    const int64_t num = Whole(text.substr(0, slash), 0);
    const int64_t den = slash == std::string::npos ? 1 : Whole(text.substr(slash + 1), 0);
    return num > 0 && den > 0 ? double(num) / double(den) : 0;
}

// Pixel formats that carry alpha (a palette may).
bool HasAlpha(const std::string& pixFmt) {
    static const char* const kPrefixes[] = {"yuva", "gbrap", "ya8", "ya16", "rgba", "bgra", "argb", "abgr", "pal8"};
    for (const char* prefix : kPrefixes)
        if (pixFmt.rfind(prefix, 0) == 0) return true;
    return false;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

SequenceName ParseSequenceName(const std::string& path) {
    SequenceName name;
    std::string* part = &name.prefix;
    for (size_t i = 0; i < path.size(); ++i) {
        if (path[i] != '%') {
            *part += path[i];
            continue;
        }
        size_t j = i + 1;
        if (j < path.size() && path[j] == '%') {
            *part += '%';
            i = j;
            continue;
        }
        const bool zeros = j < path.size() && path[j] == '0';
        if (zeros) ++j;
        int width = 0;
        while (j < path.size() && std::isdigit(static_cast<unsigned char>(path[j])) && width < 100)
            width = width * 10 + (path[j++] - '0');
        if (name.numbered || j >= path.size() || path[j] != 'd') return SequenceName{};  // not a pattern
        name.numbered = true;
        name.zeros = zeros;
        name.width = width;
        part = &name.suffix;
        i = j;
    }
    return name.numbered ? name : SequenceName{};
}

std::string SequenceFile(const SequenceName& name, int64_t n) {
    std::string number = std::to_string(n);
    if (number.size() < size_t(name.width))
        number.insert(0, size_t(name.width) - number.size(), name.zeros ? '0' : ' ');
    return name.prefix + number + name.suffix;
}

std::string EscapePercent(const std::string& text) {
    std::string out;
    for (char c : text) {
        out += c;
        if (c == '%') out += '%';
    }
    return out;
}

std::string LowerExtension(const std::string& path) {
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string ext = path.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::string RateText(double fps) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, fps);
    return std::string(text, result.ptr);
}

Probe ProbeInput(const std::string& path, bool sequence, double sequenceFps) {
    std::vector<std::string> argv = {"ffprobe", "-v", "error", "-hide_banner"};
    if (sequence)
        argv.insert(argv.end(), {"-f", "image2", "-pattern_type", "sequence", "-framerate", RateText(sequenceFps)});
    argv.insert(argv.end(), {"-show_entries",
                             "stream=codec_type,width,height,nb_frames,avg_frame_rate,pix_fmt"
                             ":stream_side_data=rotation:format=format_name",
                             "-of", "compact=p=0", "-i", path});
    std::string out;
    std::vector<std::string> err;
    Probe probe;
    if (RunCommand(argv, out, err) != 0) {
        probe.error = LastError(err);
        // ffprobe names the input first; the caller names it too.
        if (probe.error.rfind(path + ": ", 0) == 0) probe.error.erase(0, path.size() + 2);
        if (probe.error.empty()) probe.error = "ffprobe could not read it";
        return probe;
    }
    probe.ok = true;
    std::istringstream lines(out);
    std::string line, format;
    while (std::getline(lines, line)) {
        const std::string type = Field(line, "codec_type");
        if (type == "audio") probe.info.audio = true;
        if (type == "video" && !probe.video) {
            probe.video = true;
            probe.info.width = int(std::clamp<int64_t>(Whole(Field(line, "width"), 0), 0, INT_MAX));
            probe.info.height = int(std::clamp<int64_t>(Whole(Field(line, "height"), 0), 0, INT_MAX));
            probe.info.frames = Whole(Field(line, "nb_frames"), -1);
            probe.info.fps = Rate(Field(line, "avg_frame_rate"));
            probe.info.alpha = HasAlpha(Field(line, "pix_fmt"));
            // ffmpeg turns a clip upright as it decodes it.
            if (std::abs(Whole(Field(line, "rotation"), 0)) % 180 == 90) std::swap(probe.info.width, probe.info.height);
        }
        if (line.rfind("format_name=", 0) == 0) format = Field(line, "format_name");
    }
    if (sequence && probe.info.fps <= 0) probe.info.fps = sequenceFps;
    probe.info.still = !sequence && (format == "image2" || EndsWith(format, "_pipe"));
    if (probe.info.still) probe.info.frames = 1;
    return probe;
}

}  // namespace fxhost

namespace fxhost {

int64_t CountFrames(const std::string& path) {
    // Packets are counted without decoding: one a frame for video.
    const std::vector<std::string> argv = {"ffprobe", "-v", "error", "-hide_banner", "-select_streams", "v:0",
                                           "-count_packets", "-show_entries", "stream=nb_read_packets",
                                           "-of", "csv=p=0", "-i", path};
    std::string out;
    std::vector<std::string> err;
    if (RunCommand(argv, out, err) != 0) return -1;
    while (!out.empty() && (out.back() == '\n' || out.back() == ',')) out.pop_back();
    return Whole(out, -1);
}

}  // namespace fxhost
