// ascii_demo: the test card through the ascii art, written as PNG pictures.
// The module's two factory names never make an ascii art instance, so the
// instances are built here, in-process, from records whose glyphs are
// captured from the card itself, and draw with the reference host's blit
// service.

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>

#include "host/blit_service.h"
#include "host/console_capture.h"
#include "host/host_error.h"
#include "host/host_surface.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "shell/entry_points.h"
#include "shell/frame_params.h"
#include "shell/module.h"
#include "temporal/ascii_art.h"

namespace {

const char kUsage[] =
    "usage: ascii_demo DIR (writes AsciiArt-brightness.png, AsciiArt-colour.png and AsciiArt-fade.png there)\n";

struct Picture {
    const char* file;
    uint8_t density, matchMode, grid, fade;
};

// On the 640x360 card: density 1 gives 64 x 36 cells of 10 pixels and
// density 0 128 x 72 cells of 5, which the module copies itself; density 2
// gives 32 x 18 cells of 20, which the host draws one glyph at a time, here
// blended at half opacity (fade 64) over the card.
constexpr Picture kPictures[] = {
    {"AsciiArt-brightness.png", 1, kMatchBrightness, 10, 0},
    {"AsciiArt-colour.png", 0, kMatchColour, 16, 0},
    {"AsciiArt-fade.png", 2, kMatchBrightness, 10, 64},
};

fxhost::Image Render(const fxhost::Image& card, const Picture& picture) {
    fxhost::HostSurface source(card.width, card.height, kFormatXrgb);
    fxhost::HostSurface target(card.width, card.height, kFormatXrgb);
    fxhost::ImageToSurface(card, source);
    // The card lies under the glyphs too; only a fade lets it show.
    fxhost::ImageToSurface(card, target);

    const AsciiArtParams record =
        FrameSheetRecord(picture.matchMode, picture.grid, picture.grid, picture.density, picture.fade);
    g_blitService = fxhost::GetBlitService();
    g_frame.source = source.get();
    g_frame.destination = target.get();
    std::unique_ptr<AsciiArt> effect(NewAsciiArt(record));
    if (!effect) throw fxhost::HostError(std::string("the ascii art made no instance for ") + picture.file);
    const int32_t params[4] = {128, 128, 128, 128};
    entry::RenderEffect(effect.get(), params, nullptr, 0);
    return fxhost::SurfaceToImage(target);
}

}  // namespace

int main(int argc, char** argv) {
    fxhost::HoldClosedStandardDescriptors();
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc != 2 || argv[1][0] == '\0' || argv[1][0] == '-') {
        std::fprintf(stderr, "ascii_demo: %s", kUsage);
        return 2;
    }
    fxhost::RemoveTemporaryFilesOnSignals();
    try {
        const std::string dir = argv[1];
        // Every picture's place is checked before anything is rendered.
        for (const Picture& picture : kPictures) fxhost::CheckOutput(dir + "/" + picture.file);
        const fxhost::Image card = fxhost::MakeTestCard();
        for (const Picture& picture : kPictures) {
            const std::string path = dir + "/" + picture.file;
            fxhost::WritePng(path, Render(card, picture));
            std::printf("wrote %s\n", path.c_str());
        }
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "ascii_demo: out of memory\n");
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ascii_demo: %s\n", error.what());
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "ascii_demo: cannot write standard output\n");
        return 1;
    }
    return 0;
}
