// Raw BGRA frames on plain descriptors (shell pipes), and what the ffmpeg
// reader and writer share. The ffmpeg side is in ffmpeg_reader.cpp and
// ffmpeg_writer.cpp.

#include "host/video_io.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <mutex>

#include "host/ffmpeg_probe.h"
#include "host/ffmpeg_process.h"
#include "host/host_error.h"
#include "host/picture_io.h"

namespace fxhost {

namespace {

class RawReader : public FrameReader {
public:
    RawReader(int fd, const std::string& name, int width, int height, double fps) : fd_(fd), name_(name), fps_(fps) {
        if (width <= 0 || height <= 0 || width > kMaxPictureSide || height > kMaxPictureSide ||
            uint64_t(width) * uint64_t(height) > kMaxPicturePixels) {
            throw HostError("cannot read " + name + ": a frame size of " + std::to_string(width) + "x" +
                            std::to_string(height) + " is out of range");
        }
        if (!(fps > 0)) throw HostError("cannot read " + name + ": the frame rate must be above 0");
        info_.width = width;
        info_.height = height;
        info_.fps = fps;
    }

    const VideoInfo& info() const override { return info_; }

    bool read(Frame& frame, int64_t& timeMs) override {
        if (done_) return false;
        frame.resize(info_.width, info_.height);
        frame.alpha = false;
        const size_t want = frame.byteCount();
        size_t have = 0;
        while (have < want) {
            const ssize_t got = ::read(fd_, frame.bytes() + have, want - have);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) throw HostError("cannot read " + name_ + ": " + std::strerror(errno));
            if (got == 0) break;
            have += size_t(got);
        }
        if (have == 0) {
            done_ = true;
            return false;
        }
        if (have < want) {
            done_ = true;
            throw HostError(name_ + " ended inside frame " + std::to_string(index_) + ": " + std::to_string(have) +
                            " of " + std::to_string(want) + " bytes");
        }
        timeMs = static_cast<int64_t>(std::floor(double(index_) * 1000.0 / fps_));
        ++index_;
        return true;
    }

private:
    int fd_;
    std::string name_;
    double fps_;
    VideoInfo info_;
    int64_t index_ = 0;
    bool done_ = false;
};

class RawWriter : public FrameWriter {
public:
    RawWriter(int fd, const std::string& name) : fd_(fd), name_(name) {}

    void write(const Frame& frame) override {
        const size_t want = frame.byteCount();
        size_t done = 0;
        while (done < want) {
            const ssize_t put = ::write(fd_, frame.bytes() + done, want - done);
            if (put < 0 && errno == EINTR) continue;
            if (put < 0) {
                throw HostError(errno == EPIPE ? name_ + " was closed"
                                               : "cannot write " + name_ + ": " + std::strerror(errno));
            }
            done += size_t(put);
        }
    }

    void finish() override {}

private:
    int fd_;
    std::string name_;
};

}  // namespace

bool FfmpegAvailable() {
    static std::once_flag once;
    static bool available = false;
    std::call_once(once, [] {
        available = true;
        for (const char* command : {"ffmpeg", "ffprobe"}) {
            std::string out;
            std::vector<std::string> err;
            try {
                available = available && RunCommand({command, "-hide_banner", "-version"}, out, err) == 0;
            } catch (const HostError&) {
                available = false;
            }
        }
    });
    return available;
}

std::unique_ptr<FrameReader> OpenRawReader(int fd, const std::string& name, int width, int height, double fps) {
    return std::make_unique<RawReader>(fd, name, width, height, fps);
}

std::unique_ptr<FrameWriter> OpenRawWriter(int fd, const std::string& name) {
    return std::make_unique<RawWriter>(fd, name);
}

bool IsVideoName(const std::string& path) {
    static const char* const kVideo[] = {"mp4", "m4v", "mkv", "webm", "mov", "avi", "gif", "webp", "apng", "y4m",
                                         "nut", "ogv", "mpg", "mpeg", "ts", "m2ts", "flv", "wmv", "mxf", "3gp"};
    const std::string extension = LowerExtension(path);
    for (const char* video : kVideo)
        if (extension == video) return true;
    return false;
}

}  // namespace fxhost
