// What ffprobe tells of an input, and the names of numbered sequences as
// ffmpeg reads and writes them.
#pragma once

#include <cstdint>
#include <string>

#include "host/video_io.h"

namespace fxhost {

// A name holding one frame number: %d, %Nd (padded with spaces) or %0Nd
// (with zeros); %% stands for a literal %.
struct SequenceName {
    bool numbered = false;
    std::string prefix, suffix;  // with %% as %
    int width = 0;
    bool zeros = false;
};
SequenceName ParseSequenceName(const std::string& path);
// The name of frame n.
std::string SequenceFile(const SequenceName& name, int64_t n);
// Text with every % doubled, as ffmpeg's patterns want a literal %.
std::string EscapePercent(const std::string& text);
// The extension after the last dot of the file name, in lower case; "" if none.
std::string LowerExtension(const std::string& path);

struct Probe {
    bool ok = false;      // ffprobe read the input
    std::string error;    // its reason when not
    bool video = false;   // a video stream was found; info describes the first
    VideoInfo info;
};
// Runs ffprobe on path (a file, or a pattern of numbered files at
// sequenceFps when sequence is set). Throws HostError only when ffprobe
// cannot run.
Probe ProbeInput(const std::string& path, bool sequence, double sequenceFps);

// A rate as ffmpeg's options take it: the shortest decimal that reads back as fps.
std::string RateText(double fps);

}  // namespace fxhost
