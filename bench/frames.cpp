#include "bench/frames.h"

#include <map>
#include <utility>

#include "host/test_card.h"

namespace bench {

const fxhost::Image& TestCardFrame() {
    static const fxhost::Image card = fxhost::MakeTestCard(kFrameWidth, kFrameHeight);
    return card;
}

fxhost::HostSurface CardSurface(int32_t format) { return CardSurface(format, kFrameSize); }

fxhost::HostSurface CardSurface(int32_t format, FrameSize size) {
    static std::map<std::pair<int, int>, fxhost::Image> cards;
    auto card = cards.find({size.width, size.height});
    if (card == cards.end())
        card = cards.emplace(std::pair{size.width, size.height}, fxhost::MakeTestCard(size.width, size.height)).first;
    fxhost::HostSurface surface(size.width, size.height, format);
    fxhost::ImageToSurface(card->second, surface);
    return surface;
}

std::string SizeLabel(FrameSize size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

std::string DepthLabel(int32_t format) {
    switch (format) {
    case kFormatXrgb: return "32";
    case kFormat565: return "565";
    case kFormat555: return "555";
    default: return "format" + std::to_string(format);
    }
}

int BytesPerPixel(int32_t format) { return format == kFormatXrgb ? 4 : 2; }

std::string EffectCaseName(const std::string& effect, int32_t format) {
    return "effect/" + effect + "/" + DepthLabel(format);
}

std::string FirstFrameCaseName(const std::string& effect, int32_t format) {
    return "first/" + effect + "/" + DepthLabel(format);
}

std::string SweepName(const std::string& effect, int32_t format) {
    return "sweep/" + effect + "/" + DepthLabel(format);
}

std::string SweepCaseName(const std::string& effect, int32_t format, const std::string& label, int32_t value) {
    return SweepName(effect, format) + "/" + label + "=" + std::to_string(value);
}

std::string MemcpyCaseName(int bytesPerPixel) { return "memcpy/" + std::to_string(bytesPerPixel * 8); }
std::string MemcpyCaseName(int bytesPerPixel, FrameSize size) {
    return MemcpyCaseName(bytesPerPixel) + "/" + SizeLabel(size);
}
std::string SizeCaseName(const std::string& effect, int32_t format, FrameSize size) {
    return "size/" + effect + "/" + DepthLabel(format) + "/" + SizeLabel(size);
}

std::string PeerCaseName(const std::string& plugin) { return "frei0r/" + plugin; }
std::string BridgeCaseName(const std::string& plugin) { return "bridge/" + plugin; }

}  // namespace bench
