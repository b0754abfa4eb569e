// Clips, animations, pictures and numbered sequences decoded by the ffmpeg
// command into raw BGRA frames on a pipe. The command rather than the
// libraries: their API changes between releases, a decoder's crash ends only
// the child, and the command is what users already have installed.
//
// Times come from the decoder's own timestamps: the showinfo filter logs each
// frame's pts (on standard error, kept in memory) before the frame reaches
// the pipe, so its line is there once its bytes are. The frames leave showinfo renumbered
// 0, 1, 2 ... so that the raw output never sees timestamps that repeat or go
// back, which its muxer would count as errors.
//
// Damage: the frames ffmpeg decodes are delivered, and a fault is thrown at
// the end when ffmpeg failed, or logged an error and delivered fewer frames
// than the container announced (or did not announce any): a truncated clip
// renders up to the cut, then fails with ffmpeg's reason, so that no output
// silently ends early.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <deque>
#include <optional>

#include "host/ffmpeg_probe.h"
#include "host/ffmpeg_process.h"
#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/video_io.h"

namespace fxhost {

namespace {

std::string Fault(const std::string& path, const std::string& why) { return "cannot read '" + path + "': " + why; }

bool Exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// Integer a / b rounded half away from zero, b > 0.
int64_t RoundedDiv(__int128 a, __int128 b) {
    const __int128 q = a / b, r = a % b;
    if (2 * (r < 0 ? -r : r) >= b) return int64_t(q + (a < 0 ? -1 : 1));
    return int64_t(q);
}

class FfmpegReader : public FrameReader {
public:
    FfmpegReader(const std::string& path, double sequenceFps) : path_(path) {
        if (!FfmpegAvailable())
            throw HostError("ffmpeg is not installed: it is needed to read '" + path +
                            "' (scripts/deps.sh test installs it)");
        const SequenceName sequence = ParseSequenceName(path);
        std::string input = "file:" + path;
        if (sequence.numbered) input = "file:" + SequencePattern(sequence);
        const Probe probe = ProbeInput(input, sequence.numbered, sequenceFps);
        if (!probe.ok) {
            std::string why = probe.error;
            if (why.rfind(input + ": ", 0) == 0) why.erase(0, input.size() + 2);
            throw HostError(Fault(path, why));
        }
        if (!probe.video) throw HostError(Fault(path, "it holds no video stream"));
        info_ = probe.info;
        if (info_.width <= 0 || info_.height <= 0) throw HostError(Fault(path, "the video has no size"));
        if (info_.width > kMaxPictureSide || info_.height > kMaxPictureSide ||
            uint64_t(info_.width) * uint64_t(info_.height) > kMaxPicturePixels) {
            throw HostError(Fault(path, std::to_string(info_.width) + "x" + std::to_string(info_.height) +
                                            " pixels is too large (at most " + std::to_string(kMaxPictureSide) +
                                            " a side and " + std::to_string(kMaxPicturePixels) + " in all)"));
        }
        std::vector<std::string> argv = {"ffmpeg", "-nostdin", "-hide_banner", "-nostats", "-loglevel", "level+info"};
        if (sequence.numbered)
            argv.insert(argv.end(), {"-f", "image2", "-pattern_type", "sequence", "-framerate", RateText(sequenceFps)});
        argv.insert(argv.end(), {"-i", input, "-map", "0:v:0", "-vf", "showinfo,settb=1,setpts=N", "-fps_mode",
                                 "passthrough", "-f", "rawvideo", "-pix_fmt", "bgra", "pipe:1"});
        Fd writeEnd;
        MakePipe(pipe_, writeEnd);
        child_.emplace(argv, -1, writeEnd.get());
    }

    ~FfmpegReader() override {
        child_.reset();
        if (!linkDir_.empty()) DiscardTemporary(linkDir_);
    }

    const VideoInfo& info() const override { return info_; }

    bool read(Frame& frame, int64_t& timeMs) override {
        if (done_) return false;
        frame.resize(info_.width, info_.height);
        frame.alpha = info_.alpha;
        const size_t want = frame.byteCount();
        size_t have = 0;
        while (have < want) {
            const ssize_t got = ::read(pipe_.get(), frame.bytes() + have, want - have);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) throw HostError(Fault(path_, std::strerror(errno)));
            if (got == 0) break;
            have += size_t(got);
        }
        takeLines(false);
        if (have < want) {
            finish(have > 0);
            return false;
        }
        timeMs = nextTime();
        ++delivered_;
        return true;
    }

private:
    // A pattern ffmpeg reads: its own %0Nd and %d as they are; for names
    // padded with spaces, which ffmpeg does not write or read, links
    // numbered plainly in a private directory.
    std::string SequencePattern(const SequenceName& sequence) {
        std::string pattern = EscapePercent(sequence.prefix) + (sequence.zeros ? "%0" : "%") +
                              (sequence.width > 0 ? std::to_string(sequence.width) : "") + "d" +
                              EscapePercent(sequence.suffix);
        if (sequence.zeros || sequence.width <= 1) return pattern;
        int64_t first = 0;
        while (first < 5 && !Exists(SequenceFile(sequence, first))) ++first;
        if (first == 5) return pattern;  // ffmpeg names what is missing
        if (!CreateTemporaryDirectory("", linkDir_)) throw HostError(Fault(path_, std::strerror(errno)));
        std::string cwd;
        if (sequence.prefix.empty() || sequence.prefix[0] != '/') {
            char buffer[PATH_MAX];
            if (!::getcwd(buffer, sizeof buffer)) throw HostError(Fault(path_, std::strerror(errno)));
            cwd = std::string(buffer) + "/";
        }
        std::string extension = LowerExtension(sequence.suffix);
        if (!extension.empty()) extension.insert(0, 1, '.');
        for (int64_t n = first; Exists(SequenceFile(sequence, n)); ++n) {
            const std::string link = linkDir_ + "/" + std::to_string(n) + extension;
            if (::symlink((cwd + SequenceFile(sequence, n)).c_str(), link.c_str()) != 0)
                throw HostError(Fault(path_, std::strerror(errno)));
        }
        return EscapePercent(linkDir_) + "/%d" + extension;
    }

    // Takes the log lines written so far: frame timestamps and errors.
    void takeLines(bool all) {
        for (const std::string& text : child_->newLines(all)) {
            const LogLine line = ParseLogLine(text);
            if (line.context.rfind("Parsed_showinfo", 0) == 0) {
                takeShowinfo(line.text);
            } else if (IsErrorLevel(line.level)) {
                errors_.push_back(text);
                if (errors_.size() > 32) errors_.erase(errors_.begin());
            }
        }
    }

    void takeShowinfo(const std::string& text) {
        if (text.rfind("config in time_base: ", 0) == 0) {
            const std::string base = text.substr(21);
            num_ = std::atoll(base.c_str());
            const size_t slash = base.find('/');
            den_ = slash == std::string::npos ? 0 : std::atoll(base.c_str() + slash + 1);
            return;
        }
        if (text.rfind("n:", 0) != 0) return;
        const size_t at = text.find(" pts:");
        std::optional<int64_t> pts;
        if (at != std::string::npos) {
            const char* p = text.c_str() + at + 5;
            char* end = nullptr;
            const long long value = std::strtoll(p, &end, 10);
            if (end != p) pts = value;
        }
        pts_.push_back(pts);
    }

    int64_t nextTime() {
        std::optional<int64_t> pts;
        if (!pts_.empty()) {
            pts = pts_.front();
            pts_.pop_front();
        }
        int64_t ms;
        if (pts && num_ > 0 && den_ > 0 && (delivered_ == 0 || first_)) {
            if (!first_) first_ = *pts;
            ms = RoundedDiv(__int128(*pts - *first_) * 1000 * num_, den_);
        } else {
            // No timestamp: one average frame after the last.
            const double fps = info_.fps > 0 ? info_.fps : 25;
            ms = delivered_ == 0 ? 0 : lastMs_ + std::llround(1000 / fps);
        }
        lastMs_ = ms;
        return ms;
    }

    // The input has ended, inside a frame when partial.
    void finish(bool partial) {
        done_ = true;
        const int status = child_->wait();
        takeLines(true);
        const bool short_ = info_.frames < 0 || delivered_ < info_.frames;
        if (status == 0 && !partial && (errors_.empty() || !short_)) return;
        std::string why = LastError(errors_);
        if (why.rfind("file:" + path_ + ": ", 0) == 0) why.erase(0, path_.size() + 7);
        if (why.empty())
            why = partial ? "the last frame is cut short"
                          : "ffmpeg failed (exit status " + std::to_string(status) + ")";
        if (delivered_ == 0) throw HostError(Fault(path_, why));
        throw HostError("'" + path_ + "' is damaged or truncated after " + std::to_string(delivered_) +
                        (delivered_ == 1 ? " frame: " : " frames: ") + why);
    }

    std::string path_;
    VideoInfo info_;
    std::string linkDir_;
    Fd pipe_;
    std::optional<ChildProcess> child_;
    std::deque<std::optional<int64_t>> pts_;  // timestamps logged, not yet delivered
    int64_t num_ = 0, den_ = 0;               // their time base
    std::optional<int64_t> first_;
    int64_t lastMs_ = 0;
    int64_t delivered_ = 0;
    std::vector<std::string> errors_;  // the last error lines
    bool done_ = false;
};

}  // namespace

std::unique_ptr<FrameReader> OpenVideoReader(const std::string& path, double sequenceFps) {
    return std::make_unique<FfmpegReader>(path, sequenceFps);
}

}  // namespace fxhost
