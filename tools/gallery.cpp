#include "tools/gallery.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "host/frame.h"
#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "host/video_io.h"
#include "tools/effect_facts.h"
#include "tools/gallery_page.h"
#include "tools/render_chain.h"

namespace fs = std::filesystem;

namespace fxtool {

namespace {

// Stills of effects that move with time or keep earlier frames are the
// frame at kStillMs, every frame from time 0 rendered, kStepMs apart; the
// others are one frame at 0. Such an effect that reads no value is shown at
// two earlier times instead of two other settings.
constexpr uint32_t kStillMs = 3000;
constexpr uint32_t kStepMs = 100;
constexpr uint32_t kEarlierMs[2] = {1000, 2000};
// The values the effect reads, all set to each of these, the others at their
// defaults: the two ends of the range, short of the extremes that often
// leave the picture black, white or untouched.
constexpr int32_t kSettingValues[2] = {32, 224};
// Animations: the card at half size, 2 s at 12.5 frames a second.
constexpr int kAnimWidth = fxhost::kTestCardWidth / 2;
constexpr int kAnimHeight = fxhost::kTestCardHeight / 2;
constexpr int kAnimFrames = 25;
constexpr uint32_t kAnimStepMs = 80;
// Effects that keep earlier frames see the picture move by this much a frame
// (at full size; half at the animation's size), as `fxhost render --scroll`.
constexpr int kScrollPx = 16;

constexpr const char* kPhotoName = "coffee.png";
constexpr const char* kPhotoCredit =
    "Photograph: a coffee cup by Rachel Michetti, courtesy of Pikolo Espresso Bar, from scikit-image's sample "
    "data; CC0 1.0 public domain dedication (see pictures/coffee.LICENSE).";

struct Setting {
    std::string tag;  // in file names
    std::string caption;
    std::array<int32_t, 4> params;
    uint32_t time;    // ms of the frame shown
};

struct Input {
    std::string tag;
    std::string caption;
    fxhost::Frame frame;
};

bool Moves(const EffectFacts& f) { return f.movesWithTime || f.keepsPictures; }

std::string ValuesText(const std::array<int32_t, 4>& v) {
    return std::to_string(v[0]) + ", " + std::to_string(v[1]) + ", " + std::to_string(v[2]) + ", " +
           std::to_string(v[3]);
}

std::string TimeText(uint32_t ms) { return std::to_string(ms / 1000) + " s"; }

std::vector<Setting> SettingsFor(const EffectFacts& f) {
    const uint32_t still = Moves(f) ? kStillMs : 0;
    const std::string when = still ? ", frame at " + TimeText(still) : "";
    std::vector<Setting> settings;
    settings.push_back({"defaults", "defaults (" + ValuesText(f.defaults) + ")" + when, f.defaults, still});
    std::string read;
    for (int i = 0; i < 4; ++i) {
        if (!f.reads[i]) continue;
        read += (read.empty() ? "" : ", ") + (f.labels[i].empty() ? "value " + std::to_string(i) : f.labels[i]);
    }
    if (!read.empty()) {
        for (int32_t v : kSettingValues) {
            std::array<int32_t, 4> params = f.defaults;
            for (int i = 0; i < 4; ++i)
                if (f.reads[i]) params[i] = v;
            settings.push_back({std::to_string(v), read + " at " + std::to_string(v) + when, params, still});
        }
    } else if (Moves(f)) {
        for (uint32_t t : kEarlierMs)
            settings.push_back({std::to_string(t / 1000) + "s", "defaults, frame at " + TimeText(t), f.defaults, t});
    }
    return settings;
}

// File names: the list index and the name in lower case, words joined by '-'.
std::string Slug(const EffectFacts& f) {
    char index[8];
    std::snprintf(index, sizeof index, "%02d-", f.index);
    std::string slug = index;
    bool dash = false;
    for (char c : f.name) {
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum) {
            dash = true;
            continue;
        }
        if (dash && slug.back() != '-') slug += '-';
        dash = false;
        slug += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return slug;
}

// Effects read the module's last frame time when they are made (the cube's
// fly-in, the old films' clock): a small instance rendered at 0 first makes
// every run start as in a fresh process.
void ResetModuleTime(const fxhost::EffectModule& module, const std::string& name) {
    fxhost::Frame tiny;
    tiny.resize(8, 8);
    fxhost::Frame out;
    ChainLink link{name, {}, false};
    RenderChain chain(module, {link}, 8, 8, kFormatXrgb);
    chain.render(tiny, out, 0, 1, 0);
}

// Renders frames of a fresh instance, stepMs apart from time 0, the picture
// scrolling scrollPx a frame, and calls take on each.
template <class Take>
void RenderRun(const fxhost::EffectModule& module, const std::string& name, const std::array<int32_t, 4>& params,
               const fxhost::Frame& in, int frames, uint32_t stepMs, int scrollPx, Take take) {
    ResetModuleTime(module, name);
    ChainLink link{name, {}, false};
    link.params.base = params;
    RenderChain chain(module, {link}, in.width, in.height, kFormatXrgb);
    fxhost::Frame out, scrolled;
    for (int i = 0; i < frames; ++i) {
        const uint32_t time = static_cast<uint32_t>(i) * stepMs;
        if (scrollPx != 0 && i > 0) {
            scrolled = in;
            fxhost::ScrollFrame(scrolled, int64_t(i) * scrollPx);
            chain.render(scrolled, out, i, frames, time);
        } else {
            chain.render(in, out, i, frames, time);
        }
        take(out);
    }
}

std::string PhotoIn(const fs::path& dir) {
    std::error_code error;
    const fs::path photo = dir / "tools" / "gallery" / kPhotoName;
    return fs::is_regular_file(photo, error) ? photo.string() : std::string();
}

void WriteText(const fs::path& path, const std::string& text) {
    const fs::path temporary = path.string() + ".tmp-" + std::to_string(::getpid());
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            std::error_code ignored;
            fs::remove(temporary, ignored);
            throw fxhost::HostError(path.string() + ": cannot be written");
        }
    }
    std::error_code error;
    fs::rename(temporary, path, error);
    if (error) {
        fs::remove(temporary, error);
        throw fxhost::HostError(path.string() + ": cannot be written (" + error.message() + ")");
    }
}

void CopyFile(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    if (error) throw fxhost::HostError(to.string() + ": cannot copy " + from.string() + " (" + error.message() + ")");
}

class GalleryWriter {
public:
    GalleryWriter(const fxhost::EffectModule& module, const GalleryOptions& options)
        : module_(module), options_(options), dir_(options.dir), pictures_(dir_ / "pictures") {}

    void write() {
        std::error_code error;
        fs::create_directories(pictures_, error);
        if (error)
            throw fxhost::HostError(pictures_.string() + ": cannot create the directory (" + error.message() + ")");
        const auto start = std::chrono::steady_clock::now();
        inputs();
        animations_ = fxhost::FfmpegAvailable();
        page_.settingsNote = SettingsNote();
        readBench();

        const std::vector<EffectFacts> facts = ProbeEffects(module_);
        for (const EffectFacts& f : facts) {
            const auto begun = std::chrono::steady_clock::now();
            GalleryCard card{f, {}};
            if (f.created) pictures(card);
            page_.cards.push_back(std::move(card));
            if (!options_.quiet)
                std::fprintf(stderr, "gallery: %2d/%zu %-32s %s\n", f.index + 1, facts.size(), f.name.c_str(),
                             f.created ? (std::to_string(page_.cards.back().pictures.size()) + " pictures, " +
                                          Seconds(begun) + " s").c_str()
                                       : "refused by the module");
        }
        WriteText(dir_ / "index.html", GalleryHtml(page_));
        if (!options_.quiet)
            std::fprintf(stderr, "gallery: wrote %s in %s s\n", (dir_ / "index.html").string().c_str(), Seconds(start).c_str());
    }

private:
    static std::string Seconds(std::chrono::steady_clock::time_point since) {
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
        char text[32];
        std::snprintf(text, sizeof text, "%.2f", s);
        return text;
    }

    std::string SettingsNote() const {
        std::string note =
            "Each effect is shown on both pictures, at 32 bits, at its defaults and then with every value it reads "
            "set to " + std::to_string(kSettingValues[0]) + " and to " + std::to_string(kSettingValues[1]) +
            "; one that reads none but changes over time is shown at " + TimeText(kEarlierMs[0]) + " and " +
            TimeText(kEarlierMs[1]) + " instead. Effects that move with time or keep earlier frames show the frame "
            "at " + TimeText(kStillMs) + ", every frame from time 0 rendered, " + std::to_string(kStepMs) +
            " ms apart";
        char fps[16];
        std::snprintf(fps, sizeof fps, "%g", 1000.0 / kAnimStepMs);
        note += ", and an animation of the card at " + std::to_string(kAnimWidth) + "x" + std::to_string(kAnimHeight) +
                ", " + std::to_string(kAnimFrames * kAnimStepMs / 1000) + " s from time 0 at " + fps +
                " frames a second";
        note += ". Where earlier frames show in later ones, the picture scrolls left " + std::to_string(kScrollPx) +
                " pixels a frame (" + std::to_string(kScrollPx / 2) + " in the animation).";
        if (!animations_) note += " ffmpeg was not found: no animations this time.";
        return note;
    }

    void inputs() {
        const std::string photo = GalleryPhotoPath();
        Input card{"card", "the test card", fxhost::FrameFromImage(fxhost::MakeTestCard())};
        Input coffee{"photo", "the photograph", fxhost::FrameFromImage(fxhost::ReadPng(photo))};
        fxhost::WritePng((pictures_ / "test-card.png").string(), fxhost::ImageFromFrame(card.frame));
        CopyFile(photo, pictures_ / kPhotoName);
        const fs::path licence = fs::path(photo).replace_extension(".LICENSE");
        std::error_code error;
        if (fs::is_regular_file(licence, error)) CopyFile(licence, pictures_ / "coffee.LICENSE");
        page_.inputs.push_back({"pictures/test-card.png", card.frame.width, card.frame.height,
                                "The built-in test card", "The test card: colour bars, ramps, a hue wheel, detail",
                                false});
        page_.inputs.push_back({std::string("pictures/") + kPhotoName, coffee.frame.width, coffee.frame.height,
                                "The photograph", "A cup of coffee on a saucer, on a wooden table", false});
        page_.photoCredit = kPhotoCredit;
        inputs_.push_back(std::move(card));
        inputs_.push_back(std::move(coffee));
        small_ = fxhost::FrameFromImage(fxhost::MakeTestCard(kAnimWidth, kAnimHeight));
    }

    void readBench() {
        page_.benchFile = options_.benchResults;
        std::error_code error;
        if (options_.benchResults.empty() || !fs::exists(options_.benchResults, error)) return;
        std::vector<std::string> names = fxhost::EffectNames(module_);
        try {
            page_.bench = ReadBenchResults(options_.benchResults, names);
        } catch (const fxhost::HostError& e) {
            // A run cut short leaves a partial file: the page says so, and
            // the pictures are still worth having.
            page_.benchProblem = e.what();
            std::fprintf(stderr, "fxhost: warning: %s\n", e.what());
        }
    }

    void pictures(GalleryCard& card) {
        const EffectFacts& f = card.facts;
        const std::string slug = Slug(f);
        for (const Input& in : inputs_) {
            for (const Setting& s : SettingsFor(f)) {
                const std::string file = "pictures/" + slug + "-" + in.tag + "-" + s.tag + ".png";
                fxhost::Frame last;
                RenderRun(module_, f.name, s.params, in.frame, s.time ? static_cast<int>(s.time / kStepMs) + 1 : 1,
                          kStepMs, f.keepsPictures ? kScrollPx : 0, [&](const fxhost::Frame& out) { last = out; });
                fxhost::WritePng((dir_ / file).string(), fxhost::ImageFromFrame(last));
                card.pictures.push_back({file, last.width, last.height, s.caption,
                                         f.name + " on " + in.caption + ", " + s.caption, false});
            }
        }
        if (!Moves(f) || !animations_) return;
        const std::string file = "pictures/" + slug + "-anim.webp";
        fxhost::WriterOptions writer;
        writer.fps = 1000.0 / kAnimStepMs;
        writer.encodeArgs = {"-loop", "0"};
        auto out = fxhost::OpenVideoWriter((dir_ / file).string(), kAnimWidth, kAnimHeight, writer);
        RenderRun(module_, f.name, f.defaults, small_, kAnimFrames, kAnimStepMs, f.keepsPictures ? kScrollPx / 2 : 0,
                  [&](const fxhost::Frame& frame) { out->write(frame); });
        out->finish();
        card.pictures.push_back({file, kAnimWidth, kAnimHeight, "animation, defaults, " +
                                 TimeText(kAnimFrames * kAnimStepMs) + " from 0",
                                 f.name + " on the test card, animated", true});
    }

    const fxhost::EffectModule& module_;
    const GalleryOptions& options_;
    fs::path dir_;
    fs::path pictures_;
    std::vector<Input> inputs_;
    fxhost::Frame small_;
    bool animations_ = false;
    GalleryPage page_;
};

fs::path ExecutableDir() {
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::path() : self.parent_path();
}

}  // namespace

#ifndef EFFECTS_INSTALL_DATADIR
#define EFFECTS_INSTALL_DATADIR "share"
#endif

std::string GalleryPhotoPath() {
    std::vector<std::string> tried;
#ifdef FXHOST_GALLERY_PHOTO
    {
        std::error_code error;
        if (fs::is_regular_file(FXHOST_GALLERY_PHOTO, error)) return FXHOST_GALLERY_PHOTO;
        tried.push_back(FXHOST_GALLERY_PHOTO);
    }
#endif
    // An installed fxhost: the photograph in the data directory of its prefix.
    if (const fs::path bin = ExecutableDir(); !bin.empty()) {
        const fs::path installed = bin.parent_path() / EFFECTS_INSTALL_DATADIR / "effects" / kPhotoName;
        std::error_code error;
        if (fs::is_regular_file(installed, error)) return installed.lexically_normal().string();
        tried.push_back(installed.lexically_normal().string());
    }
    // A build directory sits in the source tree, one or two levels down.
    fs::path dir = ExecutableDir();
    for (int up = 0; up < 3 && !dir.empty(); ++up, dir = dir.parent_path()) {
        if (std::string photo = PhotoIn(dir); !photo.empty()) return photo;
        tried.push_back((dir / "tools" / "gallery" / kPhotoName).string());
        if (dir == dir.parent_path()) break;
    }
    std::string list;
    for (const std::string& t : tried) list += (list.empty() ? "" : ", ") + t;
    throw fxhost::HostError("the gallery's photograph is missing (looked for " + list + ")");
}

void WriteGallery(const fxhost::EffectModule& module, const GalleryOptions& options) {
    if (options.dir.empty()) throw fxhost::HostError("gallery: no directory given");
    GalleryWriter(module, options).write();
}

std::string DefaultBenchResults() {
    const fs::path dir = ExecutableDir();
    return (dir / "bench" / "results.json").string();
}

}  // namespace fxtool
