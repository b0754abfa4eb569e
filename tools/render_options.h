// Command-line options of `fxhost render`, parsed and checked.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fxtool {

struct RenderOptions {
    std::string name;
    std::string input;          // empty: the built-in test card
    std::string output;         // empty: NAME.png in the current directory
    std::vector<int32_t> params;  // up to four; the rest from the catalogue
    uint32_t time = 0;
    int frames = 1;
    double fps = 25.0;
    int32_t format = 3;  // surface format code
    bool inPlace = false;
};

// Throws UsageError with a one-line message on bad arguments.
RenderOptions ParseRenderOptions(const std::vector<std::string>& args);

struct UsageError {
    std::string message;
};

// Whether text holds exactly one integer conversion (%d, %05d ...) and no
// other conversion but %%.
bool IsFramePattern(const std::string& text);
// The file name of frame number n under a frame pattern.
std::string FrameFileName(const std::string& pattern, int n);
// A file name made from an effect name: spaces and other awkward characters
// become underscores.
std::string FileNameFor(const std::string& effectName);
// The known names closest to name, best first, at most three.
std::vector<std::string> ClosestNames(const std::string& name, const std::vector<std::string>& known);

}  // namespace fxtool
