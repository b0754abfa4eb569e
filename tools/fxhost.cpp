// fxhost: lists the module's effects and renders pictures through them.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "host/module_loader.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "tools/render_options.h"

namespace {

using fxhost::HostError;

const char kUsage[] =
    "usage: fxhost [--module FILE] list [--names]\n"
    "       fxhost [--module FILE] render NAME [--in FILE.png] [--out FILE.png]\n"
    "              [--params A,B,C,D] [--time MS] [--frames N] [--fps F]\n"
    "              [--format 32|565|555] [--in-place]\n"
    "Without --in, render uses the built-in test card. An --out holding a %d\n"
    "pattern (frames.%04d.png) gets every frame, numbered from 0; otherwise the\n"
    "last frame is written, by default to NAME.png.\n";

std::string Labels(const fxhost::CatalogueEntry& row) {
    std::string text;
    for (const std::string& label : row.labels) {
        if (label.empty()) continue;
        if (!text.empty()) text += ", ";
        text += label;
    }
    return text.empty() ? "-" : text;
}

// Whether the module builds an instance of name at all.
bool ModuleCreates(const fxhost::EffectModule& module, const std::string& name) {
    fxhost::HostSurface probe(16, 16, kFormatXrgb);
    CRenderInterface* effect = module.api().CreateEffect(name.c_str(), probe.get(), nullptr);
    if (!effect) return false;
    module.api().DestroyEffect(effect);
    return true;
}

// The names this build creates, one a line, for scripts.
int ListNames(const fxhost::EffectModule& module) {
    for (const std::string& name : fxhost::EffectNames(module))
        if (ModuleCreates(module, name)) std::printf("%s\n", name.c_str());
    return 0;
}

int List(const fxhost::EffectModule& module) {
    const auto rows = fxhost::ReadCatalogue(module);
    std::printf("%-3s %-32s %-28s %s\n", "#", "name", "labels", "defaults");
    for (size_t i = 0; i < rows.size(); ++i) {
        const auto& row = rows[i];
        std::printf("%-3zu %-32s %-28s %3d %3d %3d %3d%s\n", i, row.name.c_str(), Labels(row).c_str(),
                    row.defaults[0], row.defaults[1], row.defaults[2], row.defaults[3],
                    ModuleCreates(module, row.name) ? "" : "  (not in this build)");
    }
    std::printf("\nNames the factory knows that the catalogue does not list:\n");
    for (const char* name : fxhost::kUncataloguedNames)
        std::printf("    %-32s%s\n", name, ModuleCreates(module, name) ? "" : "  (no instance in this build)");
    return 0;
}

std::string Quoted(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& n : names) text += (text.empty() ? "\"" : ", \"") + n + "\"";
    return text;
}

int Render(const fxhost::EffectModule& module, const fxtool::RenderOptions& options) {
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

    CRenderInterface* effect =
        api.CreateEffect(options.name.c_str(), source.get(), options.inPlace ? nullptr : target.get());
    if (!effect)
        throw HostError("the module made no instance of \"" + options.name + "\" (not in this build, or refused)");
    struct Destroy {
        const EffectApi& api;
        CRenderInterface* effect;
        ~Destroy() { api.DestroyEffect(effect); }
    } destroy{api, effect};

    const bool everyFrame = options.output.find('%') != std::string::npos;
    const std::string output = options.output.empty() ? fxtool::FileNameFor(options.name) : options.output;
    for (int frame = 0; frame < options.frames; ++frame) {
        const auto time = static_cast<uint32_t>(options.time + static_cast<uint64_t>(frame * 1000.0 / options.fps));
        api.RenderEffect(effect, params.data(), source.get(), time);
        if (everyFrame || frame + 1 == options.frames) {
            const std::string file = everyFrame ? fxtool::FrameFileName(output, frame) : output;
            fxhost::WritePng(file, fxhost::SurfaceToImage(result));
            std::printf("wrote %s\n", file.c_str());
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string modulePath;
    if (args.size() >= 2 && args[0] == "--module") {
        modulePath = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        std::fputs(kUsage, args.empty() ? stderr : stdout);
        return args.empty() ? 2 : 0;
    }
    try {
        const std::string command = args[0];
        if (command != "list" && command != "render") throw fxtool::UsageError{"unknown command \"" + command + "\""};
        const bool namesOnly = command == "list" && args.size() == 2 && args[1] == "--names";
        if (command == "list" && args.size() > 1 && !namesOnly)
            throw fxtool::UsageError{"list takes no arguments but --names"};
        fxtool::RenderOptions options;
        if (command == "render") options = fxtool::ParseRenderOptions({args.begin() + 1, args.end()});
        fxhost::EffectModule module(modulePath.empty() ? fxhost::DefaultModulePath() : modulePath);
        if (command == "list") return namesOnly ? ListNames(module) : List(module);
        return Render(module, options);
    } catch (const fxtool::UsageError& error) {
        std::fprintf(stderr, "fxhost: %s (fxhost --help for usage)\n", error.message.c_str());
        return 2;
    } catch (const HostError& error) {
        std::fprintf(stderr, "fxhost: %s\n", error.what());
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fxhost: %s\n", error.what());
        return 1;
    }
}
