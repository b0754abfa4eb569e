// Clips, animations, pictures and numbered sequences encoded by the ffmpeg
// command from raw BGRA frames on a pipe (see ffmpeg_reader.cpp for why the
// command).
//
// A single file is written under a temporary name beside it that keeps the
// extension (ffmpeg picks the format by it) and renamed over it at the end; a
// sequence is written into a temporary directory beside its files and moved
// out frame by frame at the end. Until then both are removed on failure, on
// destruction and on the cleanup signals.

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>

#include "host/ffmpeg_probe.h"
#include "host/ffmpeg_process.h"
#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/video_io.h"

namespace fxhost {

namespace {

std::string Fault(const std::string& path, const std::string& why) { return "cannot write '" + path + "': " + why; }

// The file a name without a frame number stands for: %% is a literal %.
std::string Unescape(const std::string& path) {
    std::string out;
    for (size_t i = 0; i < path.size(); ++i) {
        out += path[i];
        if (path[i] == '%' && i + 1 < path.size() && path[i + 1] == '%') ++i;
    }
    return out;
}

std::string DirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// Containers that hold no sound.
bool TakesAudio(const std::string& extension) {
    return extension != "gif" && extension != "webp" && extension != "apng" && extension != "y4m";
}

void RequireFfmpeg(const std::string& path) {
    if (!FfmpegAvailable())
        throw HostError("ffmpeg is not installed: it is needed to write '" + path +
                        "' (scripts/deps.sh test installs it)");
}

class FfmpegWriter : public FrameWriter {
public:
    FfmpegWriter(const std::string& path, int width, int height, const WriterOptions& options)
        : path_(path), width_(width), height_(height) {
        RequireFfmpeg(path);
        CheckVideoOutput(path);
        if (width <= 0 || height <= 0 || width > kMaxPictureSide || height > kMaxPictureSide)
            throw HostError(Fault(path, "picture size " + std::to_string(width) + "x" + std::to_string(height) +
                                            " is out of range"));
        sequence_ = ParseSequenceName(path);
        std::string output;
        if (sequence_.numbered) {
            if (!CreateTemporaryDirectory(DirectoryOf(sequence_.prefix), temp_))
                throw HostError(Fault(path, std::strerror(errno)));
            extension_ = LowerExtension(sequence_.suffix);
            if (!extension_.empty()) extension_.insert(0, 1, '.');
            output = EscapePercent(temp_) + "/%d" + extension_;
        } else {
            name_ = Unescape(path);
            target_ = name_;
            if (CheckOutput(name_) == OutputKind::kStream) {
                output = name_;
            } else {
                target_ = ReplacedFile(name_);
                struct stat st;
                const bool exists = ::stat(target_.c_str(), &st) == 0;
                // The temporary name ends as the given one does, for ffmpeg to choose the format by.
                const std::string extension = LowerExtension(name_);
                const Fd fd(CreateTemporaryFile(target_, extension.empty() ? "" : "." + extension, temp_));
                if (fd.get() < 0) throw HostError(Fault(path, std::strerror(errno)));
                if (exists && ::fchmod(fd.get(), st.st_mode & 0777) != 0) {
                    const int error = errno;
                    DiscardTemporary(temp_);
                    throw HostError(Fault(path, std::strerror(error)));
                }
                output = temp_;
            }
        }
        try {
            start(options, "file:" + output);
        } catch (...) {
            if (!temp_.empty()) DiscardTemporary(temp_);
            throw;
        }
    }

    ~FfmpegWriter() override {
        pipe_.reset();
        child_.reset();
        if (!finished_ && !temp_.empty()) DiscardTemporary(temp_);
    }

    void write(const Frame& frame) override {
        if (finished_) throw HostError(Fault(path_, "the output is already complete"));
        if (frame.width != width_ || frame.height != height_ ||
            frame.pixels.size() != size_t(width_) * size_t(height_)) {
            throw HostError(Fault(path_, "a frame of " + std::to_string(frame.width) + "x" +
                                             std::to_string(frame.height) + " in a video of " +
                                             std::to_string(width_) + "x" + std::to_string(height_)));
        }
        size_t done = 0;
        while (done < frame.byteCount()) {
            const ssize_t put = ::write(pipe_.get(), frame.bytes() + done, frame.byteCount() - done);
            if (put < 0 && errno == EINTR) continue;
            if (put < 0) fail(errno == EPIPE ? "" : std::strerror(errno));
            done += size_t(put);
        }
    }

    void finish() override {
        if (finished_) return;
        pipe_.reset();  // end of input: ffmpeg flushes and closes the file
        const int status = child_->wait();
        if (status != 0) fail("");
        if (sequence_.numbered) {
            for (int64_t n = 0;; ++n) {
                const std::string from = temp_ + "/" + std::to_string(n) + extension_;
                if (::access(from.c_str(), F_OK) != 0) break;
                if (std::rename(from.c_str(), SequenceFile(sequence_, n).c_str()) != 0)
                    throw HostError(Fault(SequenceFile(sequence_, n), std::strerror(errno)));
            }
            DiscardTemporary(temp_);
        } else if (!temp_.empty() && CommitTemporary(temp_, target_) != 0) {
            const int error = errno;
            finished_ = true;  // the temporary file is gone
            throw HostError(Fault(path_, std::strerror(error)));
        }
        finished_ = true;
    }

private:
    void start(const WriterOptions& options, const std::string& output) {
        std::vector<std::string> argv = {"ffmpeg", "-nostdin", "-hide_banner", "-nostats", "-loglevel", "level+error",
                                         "-y", "-f", "rawvideo", "-pix_fmt", options.alpha ? "bgra" : "bgr0", "-s",
                                         std::to_string(width_) + "x" + std::to_string(height_), "-framerate",
                                         RateText(options.fps), "-i", "pipe:0"};
        const std::string extension = LowerExtension(sequence_.numbered ? sequence_.suffix : name_);
        if (!options.audioFrom.empty() && !sequence_.numbered && IsVideoName(name_) && TakesAudio(extension)) {
            const Probe probe = ProbeInput("file:" + options.audioFrom, false, 0);
            if (probe.ok && probe.info.audio) {
                argv.insert(argv.end(),
                            {"-i", "file:" + options.audioFrom, "-map", "0:v", "-map", "1:a?", "-shortest"});
                if (LowerExtension(options.audioFrom) == extension) argv.insert(argv.end(), {"-c:a", "copy"});
            }
        }
        argv.insert(argv.end(), options.encodeArgs.begin(), options.encodeArgs.end());
        if (sequence_.numbered) argv.insert(argv.end(), {"-start_number", "0"});
        else if (!IsVideoName(name_)) argv.insert(argv.end(), {"-frames:v", "1", "-update", "1"});
        argv.push_back(output);
        Fd readEnd;
        MakePipe(readEnd, pipe_);
        child_.emplace(argv, readEnd.get(), -1);
    }

    // ffmpeg stopped taking frames, or ended badly: its reason, else ours.
    [[noreturn]] void fail(const std::string& ours) {
        pipe_.reset();
        const int status = child_->wait();
        std::string why = LastError(child_->newLines(true));
        if (why.empty()) why = !ours.empty() ? ours : "it ended with status " + std::to_string(status);
        throw HostError("ffmpeg could not write '" + path_ + "': " + why);
    }

    std::string path_;
    int width_, height_;
    SequenceName sequence_;
    std::string name_;       // the file named, when not a sequence
    std::string target_;     // the file replaced: name_ with links followed
    std::string temp_;       // the temporary file or directory; empty for a device or FIFO
    std::string extension_;  // a sequence's, with its dot
    Fd pipe_;
    std::optional<ChildProcess> child_;
    bool finished_ = false;
};

}  // namespace

void CheckVideoOutput(const std::string& path) {
    const SequenceName sequence = ParseSequenceName(path);
    const std::string file = sequence.numbered ? SequenceFile(sequence, 0) : Unescape(path);
    if (CheckOutput(file) == OutputKind::kStream) return;
    const std::string extension = LowerExtension(file);
    if (extension.empty()) throw HostError(Fault(path, "the name has no extension to choose a format by"));
    RequireFfmpeg(path);
    // ffmpeg chooses its format by the name before it opens the file, so a
    // name in a directory that cannot exist tells without writing anything.
    static std::mutex mutex;
    static std::map<std::string, bool> known;
    std::lock_guard<std::mutex> lock(mutex);
    auto found = known.find(extension);
    if (found == known.end()) {
        std::string out;
        std::vector<std::string> err;
        RunCommand({"ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-f", "lavfi", "-i",
                    "color=size=16x16:duration=0.04", "-frames:v", "1", "/dev/null/fxhost-check." + extension},
                   out, err);
        bool guessed = true;
        for (const std::string& line : err)
            if (line.find("Unable to find a suitable output format") != std::string::npos) guessed = false;
        found = known.emplace(extension, guessed).first;
    }
    if (!found->second) throw HostError(Fault(path, "ffmpeg knows no format for the extension ." + extension));
}

std::unique_ptr<FrameWriter> OpenVideoWriter(const std::string& path, int width, int height,
                                             const WriterOptions& options) {
    return std::make_unique<FfmpegWriter>(path, width, height, options);
}

}  // namespace fxhost
