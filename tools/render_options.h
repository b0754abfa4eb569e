// The fxhost command line, parsed and checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/param_track.h"

namespace fxtool {

// A bad command line; message is one line.
struct UsageError {
    std::string message;
};

// One effect of a chain as typed, with its own values.
struct EffectOptions {
    std::string name;             // as typed; resolved against the module later
    std::vector<int32_t> params;  // up to four, 0 to 255; the rest from the catalogue
    ParamTrack track;             // ramps and keys; its base is set at render time
};

struct RenderOptions {
    std::vector<EffectOptions> effects;  // one, or a chain in order
    std::string input;            // empty: the built-in test card; "-": raw frames on standard input
    std::string output;           // an --out name, %% and frame numbers unexpanded; "-": standard output
    bool everyFrame = false;      // output holds a frame number
    uint32_t time = 0;
    int frames = 0;  // 0: not given (one still frame, or every frame of a clip)
    double fps = 25.0;
    bool fpsGiven = false;
    int32_t format = 3;  // surface format code
    bool inPlace = false;
    int scroll = 0;             // pixels the picture moves left each frame, wrapping
    int width = 0, height = 0;  // --size, for raw frames on standard input
    std::vector<std::string> encodeArgs;  // --encode, split at spaces
};

enum class Command { kHelp, kList, kListNames, kDescribe, kRender, kGallery };

struct CommandLine {
    Command command = Command::kHelp;
    std::string modulePath;  // empty: the default module
    bool verbose = false;    // pass the module's log lines to standard error
    bool quiet = false;      // no progress, summary or notes
    bool json = false;       // list and describe as JSON
    std::string describeName;
    std::string galleryDir;
    std::string benchResults;  // gallery --bench; empty: the default
    RenderOptions render;
};

// Every option takes its value as the next argument or after '='; none may
// be given twice but --fx, --ramp and --keys. --module, --verbose and --quiet
// may go anywhere. --params, --ramp and --keys belong to the effect named
// last (the render NAME, or the last --fx). Throws UsageError.
CommandLine ParseCommandLine(const std::vector<std::string>& args);

constexpr int kMaxFrames = 100000;
constexpr double kMinFps = 0.001;
constexpr double kMaxFps = 1000.0;
constexpr int kMaxScroll = 32767;

// Checks an --out name: every % starts %%, a literal %, or the one frame
// number, %d, %Nd or %0Nd with N from 1 to 99. Returns whether it holds a
// frame number. Throws UsageError.
bool ParseOutputName(const std::string& text);
// The file name an --out name gives for frame n: %% becomes %, the
// conversion the number.
std::string OutputFileName(const std::string& text, int n);
// Whether name ends in .png, in any case.
bool HasPngExtension(const std::string& name);
// The width and height of --size WxH.
std::pair<int, int> ParseSize(const std::string& text);
// The time of frame n: time plus n frames at fps, in whole milliseconds,
// wrapping at 2^32 as a host's millisecond clock does.
uint32_t FrameTime(uint32_t time, int n, double fps);
// A file name made from an effect name: spaces and other awkward characters
// become underscores.
std::string FileNameFor(const std::string& effectName);
// The known names closest to name, best first, at most three.
std::vector<std::string> ClosestNames(const std::string& name, const std::vector<std::string>& known);

}  // namespace fxtool
