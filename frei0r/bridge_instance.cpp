#include "frei0r/bridge_instance.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frei0r/alpha_merge.h"
#include "host/host_error.h"

namespace fxbridge {

BridgeInstance::BridgeInstance(const fxhost::EffectModule& module, const PluginFacts& facts, int width, int height)
    : facts_(facts), api_(module.api()), width_(width), height_(height) {
    for (int i = 0; i < 4; ++i) values_[i] = facts.defaults[i] / 255.0;
    const size_t words = static_cast<size_t>(width) * static_cast<size_t>(height);
    inputCopy_.assign(words, 0);
    kept_.assign(words, 0);
    source_ = surfaceOver(inputCopy_.data());
    destination_ = surfaceOver(kept_.data());
    effect_ = api_.CreateEffect(facts.effect, &source_, &destination_);
    if (!effect_) throw fxhost::HostError(std::string("the module made no instance of \"") + facts.effect + "\"");
    // The copy is needed only by a host that draws a frame onto itself.
    std::vector<uint32_t>().swap(inputCopy_);
    if (facts.drawsEveryPixel) std::vector<uint32_t>().swap(kept_);
}

BridgeInstance::~BridgeInstance() {
    api_.DestroyEffect(effect_);
}

Surface BridgeInstance::surfaceOver(uint32_t* pixels) const {
    Surface s{};
    s.pixels = reinterpret_cast<uint8_t*>(pixels);
    s.depth = 32;
    s.bounds = SurfaceRect{0, 0, static_cast<int16_t>(height_), static_cast<int16_t>(width_)};
    s.rowBytes = width_ * 4;
    s.pixelFormat = kFormatXrgb;
    return s;
}

void BridgeInstance::setParam(int index, double value) {
    if (index >= 0 && index < 4) values_[index] = value;
}

int32_t ModuleValue(double v) {
    if (!(v > 0.0)) return 0;  // negative, zero and not a number
    if (v >= 1.0) return 255;
    return static_cast<int32_t>(std::floor(v * 255.0 + 0.5));
}

void BridgeInstance::update(uint32_t time, const uint32_t* in, uint32_t* out) {
    const size_t words = static_cast<size_t>(width_) * static_cast<size_t>(height_);
    const uint32_t* input = in;
    if (in == out) {
        inputCopy_.resize(words);
        std::memcpy(inputCopy_.data(), in, words * 4);
        input = inputCopy_.data();
    }
    // The module only reads its source.
    source_.pixels = reinterpret_cast<uint8_t*>(const_cast<uint32_t*>(input));
    uint32_t* target = facts_.drawsEveryPixel ? out : kept_.data();
    destination_.pixels = reinterpret_cast<uint8_t*>(target);
    // A destination starts as a copy of the first frame.
    if (first_ && !facts_.drawsEveryPixel) std::memcpy(kept_.data(), input, words * 4);
    first_ = false;
    const int32_t params[4] = {ModuleValue(values_[0]), ModuleValue(values_[1]), ModuleValue(values_[2]),
                              ModuleValue(values_[3])};
    api_.RenderEffect(effect_, params, &source_, time);
    MergeAlpha(target, input, out, words);
}

}  // namespace fxbridge
