// fxhost: lists the module's effects and renders pictures through them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef _WIN32
#include <io.h>
#endif

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
#include "tools/effect_facts.h"
#include "tools/gallery.h"
#include "tools/render_command.h"
#include "tools/render_options.h"

namespace {

using fxhost::HostError;

using fxtool::UsageError;

const char kUsage[] =
    "usage: fxhost [--module FILE] [--verbose] [--quiet] list [--names] [--json]\n"
    "       fxhost [...] describe NAME [--json]\n"
    "       fxhost [...] render NAME[,NAME...] [--fx NAME]... [--in FILE] [--out FILE]\n"
    "              [--params A,B,C,D] [--ramp I=V0:V1] [--keys I=T0:V0,T1:V1,...]\n"
    "              [--time MS] [--frames N] [--fps F] [--format 32|565|555]\n"
    "              [--in-place] [--scroll PX] [--size WxH] [--encode ARGS]\n"
    "       fxhost [...] gallery DIR [--bench FILE]\n"
    "Options take their value as the next argument or after '=' (--out=x.png).\n"
    "  --module    the effects module (default: $FXHOST_MODULE, else the one\n"
    "              beside fxhost)\n"
    "  --verbose   show the module's log lines, and what it prints while render\n"
    "              makes the effect, on standard error\n"
    "  --quiet     no progress line, summary, notes or \"wrote\" lines\n"
    "  NAME        a name from list, in any case and with _ for a space, or its\n"
    "              number in list; several joined by commas make a chain\n"
    "  --fx        adds an effect to the chain; --params, --ramp and --keys after\n"
    "              it are its own\n"
    "  --in        a picture or clip ffmpeg reads (PNG files are read directly), a\n"
    "              numbered sequence (frames/%04d.png), or - for raw BGRA frames on\n"
    "              standard input (with --size); without it, the built-in test card\n"
    "  --out       a picture, clip or sequence by its extension (default NAME.png),\n"
    "              /dev/stdout, a device or a FIFO, or - for raw BGRA frames on\n"
    "              standard output; a frame number in it (frames.%04d.png) writes\n"
    "              every frame, numbered from 0; a single picture gets the last\n"
    "              frame; %% is a %\n"
    "  --params    up to four values from 0 to 255; the rest are the catalogue's\n"
    "  --ramp      value I (0 to 3) from V0 on the first frame to V1 on the last\n"
    "  --keys      value I through V0 at T0 ms, V1 at T1 ms ..., held outside\n"
    "  --time      the first frame's time in ms, 0 to 4294967295 (default 0); a\n"
    "              clip's frames add their own times from its first\n"
    "  --frames    how many frames to render, 1 to 100000 (default 1, or every\n"
    "              frame of a clip)\n"
    "  --fps       frames a second, 0.001 to 1000 (default 25, or the clip's);\n"
    "              frame times wrap at 2^32 ms like a host's clock\n"
    "  --format    surface format (default 32)\n"
    "  --in-place  render with the source surface as the destination\n"
    "  --scroll    move the picture PX pixels left each frame (negative: right),\n"
    "              wrapping, for effects that carry pictures across frames\n"
    "  --size      the size of raw frames on standard input\n"
    "  --encode    ffmpeg output options for --out, as one argument\n"
    "              (--encode '-c:v libx264 -crf 18')\n";

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
    size_t index = rows.size();
    for (const char* name : fxhost::kUncataloguedNames)
        std::printf("%-3zu %-32s%s\n", index++, name, Mark(ProbeName(module, name), "  (no instance in this build)").c_str());
    return 0;
}

// Set when standard output was closed at the start and /dev/null holds its
// place.
bool g_noStandardOutput = false;

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
        if (line.command == fxtool::Command::kRender) fxtool::PrepareOutput(line.render, g_noStandardOutput);
        fxhost::EffectModule module(line.modulePath.empty() ? fxhost::DefaultModulePath() : line.modulePath);
        switch (line.command) {
        case fxtool::Command::kList:
            if (line.json) {
                std::fputs(fxtool::ListJson(fxtool::ProbeEffects(module)).c_str(), stdout);
                return 0;
            }
            return List(module);
        case fxtool::Command::kListNames: return ListNames(module);
        case fxtool::Command::kDescribe: {
            const std::string name = fxtool::ResolveName(fxhost::EffectNames(module), line.describeName);
            const fxtool::EffectFacts facts = fxtool::ProbeEffect(module, name);
            std::fputs((line.json ? fxtool::DescribeJson(facts) : fxtool::DescribeText(facts)).c_str(), stdout);
            return 0;
        }
        case fxtool::Command::kGallery:
            fxtool::WriteGallery(module, {line.galleryDir,
                                          line.benchResults.empty() ? fxtool::DefaultBenchResults() : line.benchResults,
                                          line.quiet});
            return 0;
        default: return fxtool::Render(module, line);
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
#ifdef _WIN32
    // Lines reach a console as they are printed, even after the module's
    // output was caught through a file; frames and pictures on the standard
    // streams are bytes, never text.
    if (::_isatty(STDOUT_FILENO)) std::setvbuf(stdout, nullptr, _IONBF, 0);
    ::_setmode(STDIN_FILENO, _O_BINARY);
    ::_setmode(STDOUT_FILENO, _O_BINARY);
#else
    // A reader that goes away makes a write fail with EPIPE, reported like
    // any other write error, instead of ending the process silently.
    std::signal(SIGPIPE, SIG_IGN);
#endif
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
