#include "frei0r/facts_probe.h"

#include <array>
#include <cstdint>
#include <vector>

#include "host/frame.h"
#include "host/host_surface.h"
#include "host/test_card.h"

namespace fxbridge {
namespace {

constexpr int kWidth = 96;
constexpr int kHeight = 64;
using Values = std::array<int32_t, 4>;
using Pixels = std::vector<uint32_t>;

// The catalogue's defaults, a middle setting and the two extremes.
std::vector<Values> ValueSets(const fxhost::EffectModule& module, const std::string& name) {
    Values defaults{};
    module.api().GetEffectDefaults(name.c_str(), defaults.data());
    return {defaults, {64, 191, 128, 26}, {0, 0, 0, 0}, {255, 255, 255, 255}};
}

struct Frame {
    uint32_t time;
    int scroll;  // the test card moved this far left
};

// Renders frames in order through one fresh instance; the destination
// starts as a copy of the first source, or, with a fill seed, is filled
// with scrambled words before every frame. Returns each frame's colours.
std::vector<Pixels> Render(const fxhost::EffectModule& module, const std::string& name, const Values& values,
                           const std::vector<Frame>& frames, uint32_t fillSeed = 0) {
    fxhost::HostSurface source(kWidth, kHeight, kFormatXrgb), destination(kWidth, kHeight, kFormatXrgb);
    const fxhost::Frame card = fxhost::FrameFromImage(fxhost::MakeTestCard(kWidth, kHeight));
    fxhost::EffectInstance effect(module, name, source.get(), destination.get());
    std::vector<Pixels> out;
    for (size_t i = 0; i < frames.size(); ++i) {
        fxhost::Frame moved = card;
        fxhost::ScrollFrame(moved, frames[i].scroll);
        fxhost::FrameToSurface(moved, source);
        if (fillSeed != 0) {
            uint32_t h = fillSeed * 0x9E3779B1u + static_cast<uint32_t>(i) * 0x85EBCA77u;
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    h = h * 1664525u + 1013904223u;
                    destination.setPixel(x, y, h >> 8);
                }
        } else if (i == 0) {
            destination.copyPixelsFrom(source);
        }
        effect.render(values, source.get(), frames[i].time);
        Pixels colours;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) colours.push_back(destination.pixel(x, y) & 0x00FFFFFFu);
        out.push_back(std::move(colours));
    }
    return out;
}

}  // namespace

bool KeepsState(const fxhost::EffectModule& module, const std::string& name) {
    // Steps of no round length, so that a period of the effect's clock does
    // not hide its start time.
    for (int step : {37, 53}) {
        std::vector<Frame> run;
        for (int i = 0; i <= 25; ++i) run.push_back({static_cast<uint32_t>(i * step), i * 3});
        for (const Values& values : ValueSets(module, name)) {
            const Pixels late = Render(module, name, values, run).back();
            if (Render(module, name, values, {run.back()}).front() != late) return true;
        }
    }
    return false;
}

bool DrawsEveryPixel(const fxhost::EffectModule& module, const std::string& name) {
    std::vector<Frame> run;
    for (int i = 0; i <= 20; ++i) run.push_back({static_cast<uint32_t>(i * 100), i * 2});
    for (const Values& values : ValueSets(module, name))
        if (Render(module, name, values, run, 1) != Render(module, name, values, run, 2)) return false;
    return true;
}

}  // namespace fxbridge
