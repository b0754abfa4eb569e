// fxhost: lists the module's effects and renders pictures through them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "host/console_capture.h"
#include "host/host_error.h"
#include "host/module_loader.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "tools/render_options.h"

namespace {

using fxhost::HostError;

using fxtool::UsageError;

const char kUsage[] =
    "usage: fxhost [--module FILE] [--verbose] list [--names]\n"
    "       fxhost [--module FILE] [--verbose] render NAME [--in FILE.png] [--out FILE.png]\n"
    "              [--params A,B,C,D] [--time MS] [--frames N] [--fps F]\n"
    "              [--format 32|565|555] [--in-place] [--scroll PX]\n"
    "Options take their value as the next argument or after '=' (--out=x.png).\n"
    "  --module    the effects module (default: $FXHOST_MODULE, else the one\n"
    "              beside fxhost)\n"
    "  --verbose   show the module's log lines, and what it prints while render\n"
    "              makes the effect, on standard error\n"
    "  --in        a PNG picture, at most 32767 pixels a side and 67108864 in all;\n"
    "              without it, render uses the built-in test card\n"
    "  --out       a .png file (default NAME.png), /dev/stdout, a device or a FIFO;\n"
    "              a frame number in it (frames.%04d.png) writes every frame,\n"
    "              numbered from 0, else the last frame is written; %% is a %\n"
    "  --params    up to four values from 0 to 255; the rest are the catalogue's\n"
    "  --time      the first frame's time in ms, 0 to 4294967295 (default 0)\n"
    "  --frames    how many frames to render, 1 to 100000 (default 1)\n"
    "  --fps       frames a second, 0.001 to 1000 (default 25); frame times\n"
    "              wrap at 2^32 ms like a host's clock\n"
    "  --format    surface format (default 32)\n"
    "  --in-place  render with the source surface as the destination\n"
    "  --scroll    move the picture PX pixels left each frame (negative: right),\n"
    "              wrapping, for effects that carry pictures across frames\n";

std::string Labels(const fxhost::CatalogueEntry& row) {
    std::string text;
    for (const std::string& label : row.labels) {
        if (label.empty()) continue;
        if (!text.empty()) text += ", ";
        text += label;
    }
    return text.empty() ? "-" : text;
}

// What the module does with a name: whether it makes an instance, and what
// it printed on standard output meanwhile.
struct Probe {
    bool creates = false;
    std::string console;
};

// Makes and destroys an instance of name against a small surface. What the
// module prints is caught, so that it stays out of the listing.
Probe ProbeName(const fxhost::EffectModule& module, const std::string& name) {
    fxhost::HostSurface surface(16, 16, kFormatXrgb);
    Probe probe;
    fxhost::ConsoleCapture capture;
    CRenderInterface* effect = module.api().CreateEffect(name.c_str(), surface.get(), nullptr);
    probe.creates = effect != nullptr;
    if (effect) module.api().DestroyEffect(effect);
    probe.console = capture.finish();
    return probe;
}

// The mark of a name: none when the module makes it; else the module's last
// console line as its reason, or missing when it printed nothing.
std::string Mark(const Probe& probe, const char* missing) {
    if (probe.creates) return "";
    const std::string reason = fxhost::LastLine(probe.console);
    return reason.empty() ? missing : "  (refused by the module: " + reason + ")";
}

// The names this build creates, one a line, for scripts.
int ListNames(const fxhost::EffectModule& module) {
    for (const std::string& name : fxhost::EffectNames(module))
        if (ProbeName(module, name).creates) std::printf("%s\n", name.c_str());
    return 0;
}

int List(const fxhost::EffectModule& module) {
    const auto rows = fxhost::ReadCatalogue(module);
    std::printf("%-3s %-32s %-28s %s\n", "#", "name", "labels", "defaults");
    for (size_t i = 0; i < rows.size(); ++i) {
        const auto& row = rows[i];
        std::printf("%-3zu %-32s %-28s %3d %3d %3d %3d%s\n", i, row.name.c_str(), Labels(row).c_str(),
                    row.defaults[0], row.defaults[1], row.defaults[2], row.defaults[3],
                    Mark(ProbeName(module, row.name), "  (not in this build)").c_str());
    }
    std::printf("\nNames the factory knows that the catalogue does not list:\n");
    for (const char* name : fxhost::kUncataloguedNames)
        std::printf("    %-32s%s\n", name, Mark(ProbeName(module, name), "  (no instance in this build)").c_str());
    return 0;
}

std::string Quoted(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& n : names) text += (text.empty() ? "\"" : ", \"") + n + "\"";
    return text;
}

// Set when standard output was closed at the start and /dev/null holds its
// place.
bool g_noStandardOutput = false;

// Where the picture goes once standard output has been kept for it alone;
// -1 otherwise.
int g_pictureFd = -1;

// Whether path leads to this process's standard output: /dev/stdout, or the
// file or pipe the shell sent it to.
bool IsStandardOutput(const std::string& path) {
    struct stat named, out;
    return !g_noStandardOutput && ::stat(path.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &out) == 0 &&
           named.st_dev == out.st_dev && named.st_ino == out.st_ino;
}

// Pictures written to standard output must hold nothing else: the module
// prints its diagnostics there, so from here on its descriptor leads to
// standard error and the pictures go through a copy of the original.
void KeepStandardOutputForPictures() {
    const int saved = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (saved < 0) throw HostError(std::string("cannot keep standard output: ") + std::strerror(errno));
    std::fflush(stdout);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    g_pictureFd = saved;
}

// Refuses, before anything is rendered, an output the writer would refuse,
// and a regular file not named .png.
void CheckOutput(const fxtool::RenderOptions& options) {
    const std::string file = fxtool::OutputFileName(options.output, 0);
    if (IsStandardOutput(file)) {
        if (!options.everyFrame) KeepStandardOutputForPictures();
        return;
    }
    const fxhost::OutputKind kind = fxhost::CheckOutput(file);
    if (kind == fxhost::OutputKind::kFile && !fxtool::HasPngExtension(file))
        throw UsageError{"--out must name a .png file, a device or a FIFO, not \"" + options.output + "\""};
}

void WriteFrame(const std::string& file, const fxhost::Image& image) {
    if (g_pictureFd >= 0) {
        fxhost::WritePngTo(g_pictureFd, file, image);
        return;
    }
    if (IsStandardOutput(file)) {
        // No "wrote" line: it would land in the picture.
        std::fflush(stdout);
        fxhost::WritePngTo(STDOUT_FILENO, file, image);
        return;
    }
    fxhost::WritePng(file, image);
    std::printf("wrote %s\n", file.c_str());
}

// The picture moved offset pixels to the left, what leaves on one side
// coming back on the other.
fxhost::Image Scrolled(const fxhost::Image& picture, int64_t offset) {
    fxhost::Image moved = picture;
    const int64_t width = picture.width;
    if (width == 0) return moved;
    const auto shift = static_cast<size_t>(((offset % width) + width) % width) * 3;
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    for (int y = 0; y < picture.height; ++y) {
        const uint8_t* from = picture.rgb.data() + rowBytes * static_cast<size_t>(y);
        uint8_t* to = moved.rgb.data() + rowBytes * static_cast<size_t>(y);
        std::copy(from + shift, from + rowBytes, to);
        std::copy(from, from + shift, to + rowBytes - shift);
    }
    return moved;
}

int Render(const fxhost::EffectModule& module, const fxtool::RenderOptions& options, bool verbose) {
    const EffectApi& api = module.api();
    const auto known = fxhost::EffectNames(module);
    const bool isKnown = std::find(known.begin(), known.end(), options.name) != known.end();
    if (!isKnown)
        throw HostError("unknown effect \"" + options.name + "\"; closest: " +
                        Quoted(fxtool::ClosestNames(options.name, known)));

    const fxhost::Image picture = options.input.empty() ? fxhost::MakeTestCard() : fxhost::ReadPng(options.input);
    fxhost::HostSurface source(picture.width, picture.height, options.format);
    fxhost::HostSurface target(picture.width, picture.height, options.format);
    fxhost::ImageToSurface(picture, source);
    target.fill(0);
    fxhost::HostSurface& result = options.inPlace ? source : target;

    std::array<int32_t, 4> params{128, 128, 128, 128};
    api.GetEffectDefaults(options.name.c_str(), params.data());
    std::copy(options.params.begin(), options.params.end(), params.begin());

    // What the module prints while it makes the effect is shown like its
    // log, and its last line is the reason when it makes none.
    fxhost::ConsoleCapture capture;
    CRenderInterface* effect =
        api.CreateEffect(options.name.c_str(), source.get(), options.inPlace ? nullptr : target.get());
    const std::string console = capture.finish();
    if (verbose) std::fwrite(console.data(), 1, console.size(), stderr);
    if (!effect) {
        const std::string reason = fxhost::LastLine(console);
        if (!reason.empty()) throw HostError("the module refused \"" + options.name + "\": " + reason);
        throw HostError("the module made no instance of \"" + options.name +
                        "\" (not in this build, or refused; --verbose shows the module's log)");
    }
    struct Destroy {
        const EffectApi& api;
        CRenderInterface* effect;
        ~Destroy() { api.DestroyEffect(effect); }
    } destroy{api, effect};

    for (int frame = 0; frame < options.frames; ++frame) {
        if (options.scroll != 0 && frame > 0)
            fxhost::ImageToSurface(Scrolled(picture, static_cast<int64_t>(options.scroll) * frame), source);
        api.RenderEffect(effect, params.data(), source.get(), fxtool::FrameTime(options.time, frame, options.fps));
        if (options.everyFrame || frame + 1 == options.frames)
            WriteFrame(fxtool::OutputFileName(options.output, options.everyFrame ? frame : 0),
                       fxhost::SurfaceToImage(result));
    }
    return 0;
}

int Run(const std::vector<std::string>& args) {
    try {
        const fxtool::CommandLine line = fxtool::ParseCommandLine(args);
        if (line.command == fxtool::Command::kHelp) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        // The module reports every default it hands out; that is noise
        // unless asked for.
        if (line.verbose) fxhost::SetLogSink({});
        else fxhost::SetLogSink([](const std::string&) {});
        if (line.command == fxtool::Command::kRender) CheckOutput(line.render);
        fxhost::EffectModule module(line.modulePath.empty() ? fxhost::DefaultModulePath() : line.modulePath);
        switch (line.command) {
        case fxtool::Command::kList: return List(module);
        case fxtool::Command::kListNames: return ListNames(module);
        default: return Render(module, line.render, line.verbose);
        }
    } catch (const UsageError& error) {
        std::fprintf(stderr, "fxhost: %s (fxhost --help for usage)\n", error.message.c_str());
        return 2;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "fxhost: out of memory\n");
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fxhost: %s\n", error.what());
        return 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    g_noStandardOutput = fxhost::HoldClosedStandardDescriptors();
    // A reader that goes away makes a write fail with EPIPE, reported like
    // any other write error, instead of ending the process silently.
    std::signal(SIGPIPE, SIG_IGN);
    fxhost::RemoveTemporaryFilesOnSignals();
    int status = Run({argv + 1, argv + argc});
    // Lines standard output could not take: a full disk, a closed descriptor.
    // A reader that stopped early (fxhost list | head) is no news to the user.
    const bool flushed = std::fflush(stdout) == 0;
    const int error = errno;
    if ((!flushed || std::ferror(stdout)) && status == 0) {
        if (flushed || error != EPIPE)
            std::fprintf(stderr, "fxhost: cannot write standard output%s%s\n", flushed ? "" : ": ",
                         flushed ? "" : std::strerror(error));
        status = 1;
    }
    return status;
}
