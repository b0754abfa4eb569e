#include "tools/render_chain.h"

#include <cstdio>

#include "host/console_capture.h"
#include "host/host_error.h"

namespace fxtool {

struct RenderChain::Stage {
    const EffectApi& api;
    ChainLink link;
    fxhost::HostSurface* source;  // the picture this stage reads
    fxhost::HostSurface* result;  // where it draws: its own target, or source in place
    std::unique_ptr<fxhost::HostSurface> target;
    CRenderInterface* effect = nullptr;

    ~Stage() {
        if (effect) api.DestroyEffect(effect);
    }
};

RenderChain::RenderChain(const fxhost::EffectModule& module, std::vector<ChainLink> links, int width, int height,
                         int32_t format, bool inPlace, bool verbose)
    : input_(width, height, format), inPlace_(inPlace) {
    const EffectApi& api = module.api();
    fxhost::HostSurface* source = &input_;
    for (ChainLink& link : links) {
        auto stage = std::unique_ptr<Stage>(new Stage{api, std::move(link), source, source, nullptr, nullptr});
        if (!inPlace) {
            stage->target = std::make_unique<fxhost::HostSurface>(width, height, format);
            stage->result = stage->target.get();
        }
        // What the module prints while it makes the effect is shown like its
        // log, and its last line is the reason when it makes none.
        fxhost::ConsoleCapture capture;
        stage->effect = api.CreateEffect(stage->link.name.c_str(), source->get(),
                                         inPlace ? nullptr : stage->target->get());
        const std::string console = capture.finish();
        if (verbose) std::fwrite(console.data(), 1, console.size(), stderr);
        const std::string& name = stage->link.name;
        if (!stage->effect) {
            const std::string reason = fxhost::LastLine(console);
            if (!reason.empty()) throw fxhost::HostError("the module refused \"" + name + "\": " + reason);
            throw fxhost::HostError("the module made no instance of \"" + name +
                                    "\" (not in this build, or refused; --verbose shows the module's log)");
        }
        source = stage->result;
        stages_.push_back(std::move(stage));
    }
}

RenderChain::~RenderChain() {
    // Instances go before the surfaces they were made against.
    while (!stages_.empty()) stages_.pop_back();
}

void RenderChain::render(const fxhost::Frame& in, fxhost::Frame& out, int64_t index, int64_t total, uint32_t time) {
    fxhost::FrameToSurface(in, input_);
    for (const auto& stage : stages_) {
        // A destination starts as a copy of its source, and stays one for an
        // effect that draws nothing at this depth.
        if (!inPlace_ && (first_ || stage->link.passThrough)) stage->result->copyPixelsFrom(*stage->source);
        const std::array<int32_t, 4> params = stage->link.params.at(index, total, time);
        stage->api.RenderEffect(stage->effect, params.data(), stage->source->get(), time);
    }
    first_ = false;
    fxhost::SurfaceToFrame(stages_.empty() ? input_ : *stages_.back()->result, in, out);
}

}  // namespace fxtool
