#include "tools/render_command.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef _WIN32
#include <io.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "host/video_io.h"
#include "tools/effect_facts.h"
#include "tools/progress.h"
#include "tools/render_chain.h"

namespace fxtool {

namespace {

using fxhost::HostError;

// Set when standard output was closed at the start and /dev/null holds its
// place.
bool g_noStandardOutput = false;

// Where pictures go once standard output has been kept for them alone; -1
// otherwise.
int g_pictureFd = -1;

// Set when --out names a device, a FIFO or standard output: PNG pictures go
// straight through, whatever the name.
bool g_streamOutput = false;

// Whether path leads to this process's standard output: /dev/stdout, or the
// file or pipe the shell sent it to.
bool IsStandardOutput(const std::string& path) {
#ifdef _WIN32
    // Windows gives files no inode numbers to compare: there standard output
    // is named "-" only.
    (void)path;
    return false;
#else
    struct stat named, out;
    return !g_noStandardOutput && ::stat(path.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &out) == 0 &&
           named.st_dev == out.st_dev && named.st_ino == out.st_ino;
#endif
}

// Pictures written to standard output must hold nothing else: the module
// prints its diagnostics there, so from here on its descriptor leads to
// standard error and the pictures go through a copy of the original.
void KeepStandardOutputForPictures() {
#ifdef _WIN32
    const int saved = ::_dup(STDOUT_FILENO);
    if (saved >= 0) ::_setmode(saved, _O_BINARY);
#else
    const int saved = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
#endif
    if (saved < 0) throw HostError(std::string("cannot keep standard output: ") + std::strerror(errno));
    std::fflush(stdout);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    g_pictureFd = saved;
}

bool IsPngName(const std::string& name) { return HasPngExtension(name); }

void WritePngFrame(const std::string& file, const fxhost::Frame& frame, bool quiet) {
    const fxhost::Image image = fxhost::ImageFromFrame(frame);
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
    if (!quiet) std::printf("wrote %s\n", file.c_str());
}

// Where frames come from: one picture repeated, or a reader.
struct Source {
    fxhost::Frame still;
    std::unique_ptr<fxhost::FrameReader> reader;
    std::string audioFrom;  // a clip whose sound may be kept
    int64_t total = -1;     // frames to render, -1 when not known
    double fps = 25;        // the rate of the output
};

Source OpenSource(const RenderOptions& options) {
    Source source;
    const std::string& in = options.input;
    if (in.empty()) {
        source.still = fxhost::FrameFromImage(fxhost::MakeTestCard());
    } else if (in == "-") {
        source.reader = fxhost::OpenRawReader(STDIN_FILENO, "standard input", options.width, options.height,
                                              options.fps);
    } else if (IsPngName(in) && in.find('%') == std::string::npos) {
        source.still = fxhost::FrameFromImage(fxhost::ReadPng(in));
    } else {
        source.reader = fxhost::OpenVideoReader(in, options.fps);
        if (source.reader->info().still) {
            int64_t ignored = 0;
            if (!source.reader->read(source.still, ignored)) throw HostError(in + " holds no picture");
            source.reader.reset();
        } else {
            source.audioFrom = source.reader->info().audio ? in : "";
        }
    }
    if (!source.reader) {
        source.total = options.frames == 0 ? 1 : options.frames;
        source.fps = options.fps;
        return source;
    }
    const fxhost::VideoInfo& info = source.reader->info();
    source.total = info.frames;
    if (options.frames != 0) source.total = info.frames < 0 ? options.frames : std::min<int64_t>(info.frames, options.frames);
    source.fps = info.fps > 0 && !options.fpsGiven ? info.fps : options.fps;
    return source;
}

// Where frames go: PNG files through the host's writer, raw words, or
// ffmpeg. A single picture gets only the last frame.
class Sink {
public:
    Sink(const RenderOptions& options, const Source& source, bool quiet)
        : options_(options), source_(source), quiet_(quiet) {
        const std::string& out = options.output;
        png_ = out != "-" && (IsPngName(out) || g_streamOutput);
        everyFrame_ = options.everyFrame || out == "-" || (!png_ && fxhost::IsVideoName(out));
        constantRate_ = source.reader && !png_ && out != "-" && !options.everyFrame;
    }

    // frame may be swapped for a frame held back.
    void put(fxhost::Frame& frame, int64_t index, int64_t ms) {
        if (!everyFrame_) {
            std::swap(last_, frame);
            return;
        }
        if (png_) {
            WritePngFrame(OutputFileName(options_.output, static_cast<int>(index)), frame, quiet_);
            return;
        }
        if (!writer_) writer_ = open(frame);
        if (!constantRate_) {
            writer_->write(frame);
            return;
        }
        // A clip's frames keep their times in a file of constant rate: each
        // is written once for every frame slot up to the next one's time,
        // so a frame may repeat, or drop where two fall in one slot.
        const auto slot = static_cast<int64_t>(std::llround(static_cast<double>(ms) * source_.fps / 1000.0));
        if (held_)
            for (; written_ < slot; ++written_) writer_->write(last_);
        std::swap(last_, frame);
        held_ = true;
    }

    void finish() {
        if (held_) writer_->write(last_);
        if (!everyFrame_) {
            if (png_) {
                WritePngFrame(OutputFileName(options_.output, 0), last_, quiet_);
                return;
            }
            writer_ = open(last_);
            writer_->write(last_);
        }
        if (!writer_) return;
        writer_->finish();
        if (!quiet_ && options_.output != "-") std::printf("wrote %s\n", options_.output.c_str());
    }

private:
    std::unique_ptr<fxhost::FrameWriter> open(const fxhost::Frame& frame) {
        if (options_.output == "-") return fxhost::OpenRawWriter(g_pictureFd, "standard output");
        fxhost::WriterOptions writer;
        writer.fps = source_.fps;
        writer.audioFrom = source_.audioFrom;
        writer.encodeArgs = options_.encodeArgs;
        writer.alpha = frame.alpha;
        return fxhost::OpenVideoWriter(options_.output, frame.width, frame.height, writer);
    }

    const RenderOptions& options_;
    const Source& source_;
    bool quiet_;
    bool png_;
    bool everyFrame_;
    bool constantRate_;
    bool held_ = false;    // last_ waits for the next frame's time
    int64_t written_ = 0;  // frames the writer has had
    fxhost::Frame last_;
    std::unique_ptr<fxhost::FrameWriter> writer_;
};

// The chain's links: exact names, values and, at 16 bits, whether each
// effect draws there at all (probed in a private copy of the module, so that
// the probe leaves nothing behind in the one that renders).
std::vector<ChainLink> Links(const fxhost::EffectModule& module, const CommandLine& line) {
    const RenderOptions& options = line.render;
    const std::vector<std::string> known = fxhost::EffectNames(module);
    std::unique_ptr<fxhost::EffectModule> probe;
    std::vector<ChainLink> links;
    for (const EffectOptions& effect : options.effects) {
        ChainLink link{ResolveName(known, effect.name), effect.track, false};
        module.api().GetEffectDefaults(link.name.c_str(), link.params.base.data());
        std::copy(effect.params.begin(), effect.params.end(), link.params.base.begin());
        if (options.format != kFormatXrgb) {
            if (!probe) probe = fxhost::LoadModuleCopy({}, module.path());
            const EffectFacts facts = ProbeEffect(*probe, link.name);
            link.passThrough = facts.created && !DrawsAt(facts, options.format);
            if (link.passThrough && !line.quiet)
                std::fprintf(stderr, "fxhost: note: \"%s\" draws nothing at %s bits; its picture passes through\n",
                             link.name.c_str(), options.format == kFormat565 ? "565" : "555");
        }
        links.push_back(std::move(link));
    }
    return links;
}

}  // namespace

void PrepareOutput(const RenderOptions& options, bool noStandardOutput) {
    g_noStandardOutput = noStandardOutput;
    if (options.output == "-") {
        if (noStandardOutput) throw HostError("--out -: standard output is closed");
        KeepStandardOutputForPictures();
        return;
    }
    const std::string file = OutputFileName(options.output, 0);
    if (IsStandardOutput(file)) {
        g_streamOutput = true;
        if (!options.everyFrame) KeepStandardOutputForPictures();
        return;
    }
    const fxhost::OutputKind kind = fxhost::CheckOutput(file);
    g_streamOutput = kind == fxhost::OutputKind::kStream;
    if (kind == fxhost::OutputKind::kFile && !IsPngName(file)) fxhost::CheckVideoOutput(options.output);
}

int Render(const fxhost::EffectModule& module, const CommandLine& line) {
    const RenderOptions& options = line.render;
    std::vector<ChainLink> links = Links(module, line);
    Source source = OpenSource(options);
    bool ramped = false;
    for (const ChainLink& link : links) ramped = ramped || link.params.ramped();
    if (ramped && source.total < 0 && source.reader && options.input != "-") {
        source.total = fxhost::CountFrames(options.input);
        if (options.frames != 0 && source.total >= 0) source.total = std::min<int64_t>(source.total, options.frames);
    }
    if (ramped && source.total < 0)
        throw HostError("--ramp runs from the first frame to the last, and " +
                        (options.input == "-" ? std::string("standard input") : options.input) +
                        " does not tell how many frames it has: give --frames");

    fxhost::Frame in = source.still;
    fxhost::Frame out;
    std::unique_ptr<RenderChain> chain;
    Sink sink(options, source, line.quiet);
    Progress progress(source.total, !line.quiet);
    int64_t frames = 0;
    for (;; ++frames) {
        if (source.total >= 0 && frames >= source.total) break;
        uint32_t time = 0;
        int64_t ms = 0;
        if (source.reader) {
            if (!source.reader->read(in, ms)) break;
            time = static_cast<uint32_t>(options.time + static_cast<uint64_t>(ms));
        } else {
            time = FrameTime(options.time, static_cast<int>(frames), options.fps);
            if (options.scroll != 0 && frames > 0) in = source.still;
        }
        if (options.scroll != 0) fxhost::ScrollFrame(in, static_cast<int64_t>(options.scroll) * frames);
        if (!chain)
            chain = std::make_unique<RenderChain>(module, links, in.width, in.height, options.format, options.inPlace,
                                                  line.verbose);
        chain->render(in, out, frames, source.total, time);
        sink.put(out, frames, ms);
        progress.frameDone(frames + 1);
    }
    if (frames == 0) throw HostError((options.input == "-" ? std::string("standard input") : options.input) +
                                     " holds no frames");
    sink.finish();
    progress.finish(frames, frames > 1 && !line.quiet);
    return 0;
}

}  // namespace fxtool
