// Video and pictures read and written through ffmpeg, run as a separate
// process with raw BGRA frames over pipes, and raw BGRA frames on plain
// descriptors for shell pipes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/frame.h"

namespace fxhost {

// What is known of an input before its frames are read.
struct VideoInfo {
    int width = 0;
    int height = 0;
    int64_t frames = -1;   // the frame count, -1 when not known in advance
    double fps = 0;        // the average frame rate, 0 when not known
    bool alpha = false;    // whether the pixels carry alpha
    bool audio = false;    // whether the input holds an audio stream
    bool still = false;    // a single picture, not a clip or a sequence
};

class FrameReader {
public:
    virtual ~FrameReader() = default;
    virtual const VideoInfo& info() const = 0;
    // Reads the next frame into frame (resized to the input's size) and its
    // time in ms from the first frame's time, taken from the input's
    // timestamps. Returns false at the end of the input. Throws HostError
    // naming the input and the fault (a truncated frame, a decoder error).
    virtual bool read(Frame& frame, int64_t& timeMs) = 0;
};

// Whether the ffmpeg and ffprobe commands can be run.
bool FfmpegAvailable();

// A file ffmpeg reads (any clip or picture), or a numbered sequence whose
// name holds one %d, %Nd or %0Nd. fps is the rate given to a sequence's
// frames. Throws HostError: ffmpeg missing, no such file, no video in it,
// a size beyond kMaxPictureSide / kMaxPicturePixels.
std::unique_ptr<FrameReader> OpenVideoReader(const std::string& path, double sequenceFps);

// The frames of a clip, counted by reading it through without decoding, for
// containers that do not give the count; -1 when ffprobe cannot tell.
int64_t CountFrames(const std::string& path);

// Raw BGRA frames of width x height from a descriptor (standard input),
// times from fps. The last frame must be whole; throws HostError otherwise.
std::unique_ptr<FrameReader> OpenRawReader(int fd, const std::string& name, int width, int height, double fps);

struct WriterOptions {
    double fps = 25;                      // the output frame rate
    std::string audioFrom;                // a file whose audio is kept, if it has any
    std::vector<std::string> encodeArgs;  // extra ffmpeg output options, given as typed
    bool alpha = false;                   // keep alpha where the format has it
};

class FrameWriter {
public:
    virtual ~FrameWriter() = default;  // without finish(): removes any partial output
    virtual void write(const Frame& frame) = 0;  // throws HostError
    // Completes the output: the encoder flushed, a file renamed into place.
    virtual void finish() = 0;
};

// A file ffmpeg writes, its format from the extension (a clip, an animated
// picture, or one picture), or a numbered sequence (frames from 0). A file
// appears complete or not at all: it is written under a temporary name beside
// it and renamed at the end; a sequence's files are removed again on failure.
// Throws HostError: ffmpeg missing, an extension ffmpeg does not know, an
// encoder's refusal (with ffmpeg's own line). Sound: when audioFrom has an
// audio stream and path is a clip whose container holds sound (not .gif,
// .webp, .apng or .y4m), its first audio stream is added, cut to the video's
// length; copied as it is when both names have the same extension, else
// encoded with ffmpeg's default audio codec for the container. A name without
// a frame number is a file, %% in it a literal %; a device or FIFO is written
// straight through. encodeArgs go after the inputs, before the output name.
std::unique_ptr<FrameWriter> OpenVideoWriter(const std::string& path, int width, int height,
                                             const WriterOptions& options);

// Checks, before any rendering, that OpenVideoWriter(path) can be tried: a
// directory that exists and takes files (as CheckOutput), and an extension
// ffmpeg picks a format by (asked of ffmpeg once per extension). Throws HostError.
void CheckVideoOutput(const std::string& path);

// Raw BGRA frames to a descriptor (standard output).
std::unique_ptr<FrameWriter> OpenRawWriter(int fd, const std::string& name);

// Whether a path names something that OpenVideoWriter writes as a video or
// animation rather than one picture (by its extension: .mp4, .mkv, .webm,
// .mov, .avi, .gif, .webp, .apng, .y4m, .nut ...).
bool IsVideoName(const std::string& path);

}  // namespace fxhost
