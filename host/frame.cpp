#include "host/frame.h"

#include <cstring>
#include <string>

#include "host/host_error.h"

namespace fxhost {

namespace {

// The loops below are the hot path of a 1080p pipe: straight arithmetic on
// whole words, loaded and stored through memcpy (surface rows need not be
// 4-byte aligned), which the compiler turns into vector code.

inline uint32_t Load32(const uint8_t* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    return w;
}

inline uint32_t Load16(const uint8_t* p) {
    uint16_t w;
    std::memcpy(&w, p, 2);
    return w;
}

inline void Store32(uint8_t* p, uint32_t w) { std::memcpy(p, &w, 4); }

inline void Store16(uint8_t* p, uint32_t w) {
    const auto h = static_cast<uint16_t>(w);
    std::memcpy(p, &h, 2);
}

// 0xAARRGGBB to a 16-bit word, keeping the high bits of each channel.
inline uint32_t To565(uint32_t p) { return ((p >> 8) & 0xF800u) | ((p >> 5) & 0x07E0u) | ((p >> 3) & 0x001Fu); }
inline uint32_t To555(uint32_t p) { return ((p >> 9) & 0x7C00u) | ((p >> 6) & 0x03E0u) | ((p >> 3) & 0x001Fu); }

// 5- and 6-bit channels widened by bit replication.
inline uint32_t Widen5(uint32_t v) { return (v << 3) | (v >> 2); }
inline uint32_t Widen6(uint32_t v) { return (v << 2) | (v >> 4); }

inline uint32_t From565(uint32_t w) {
    return (Widen5((w >> 11) & 31u) << 16) | (Widen6((w >> 5) & 63u) << 8) | Widen5(w & 31u);
}
inline uint32_t From555(uint32_t w) {
    return (Widen5((w >> 10) & 31u) << 16) | (Widen5((w >> 5) & 31u) << 8) | Widen5(w & 31u);
}

void CheckSizes(const Frame& frame, const HostSurface& surface) {
    if (frame.width != surface.width() || frame.height != surface.height() ||
        frame.pixels.size() != size_t(frame.width) * size_t(frame.height)) {
        throw HostError("frame of " + std::to_string(frame.width) + "x" + std::to_string(frame.height) +
                        " does not fit a surface of " + std::to_string(surface.width()) + "x" +
                        std::to_string(surface.height()));
    }
}

}  // namespace

Frame FrameFromImage(const Image& image) {
    Frame frame;
    frame.resize(image.width, image.height);
    const size_t n = frame.pixels.size();
    if (image.rgb.size() != n * 3) throw HostError("picture pixel data does not match its size");
    frame.alpha = !image.alpha.empty();
    if (frame.alpha && image.alpha.size() != n) throw HostError("picture alpha data does not match its size");
    const uint8_t* rgb = image.rgb.data();
    for (size_t i = 0; i < n; ++i) {
        const uint32_t a = frame.alpha ? image.alpha[i] : 0xFFu;
        frame.pixels[i] = (a << 24) | (uint32_t(rgb[i * 3]) << 16) | (uint32_t(rgb[i * 3 + 1]) << 8) | rgb[i * 3 + 2];
    }
    return frame;
}

Image ImageFromFrame(const Frame& frame) {
    Image image;
    image.width = frame.width;
    image.height = frame.height;
    const size_t n = frame.pixels.size();
    image.rgb.resize(n * 3);
    if (frame.alpha) image.alpha.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const uint32_t p = frame.pixels[i];
        image.rgb[i * 3] = static_cast<uint8_t>(p >> 16);
        image.rgb[i * 3 + 1] = static_cast<uint8_t>(p >> 8);
        image.rgb[i * 3 + 2] = static_cast<uint8_t>(p);
        if (frame.alpha) image.alpha[i] = static_cast<uint8_t>(p >> 24);
    }
    return image;
}

void FrameToSurface(const Frame& frame, HostSurface& surface) {
    CheckSizes(frame, surface);
    const int width = frame.width;
    const int32_t format = surface.format();
    for (int y = 0; y < frame.height; ++y) {
        const uint32_t* in = frame.pixels.data() + size_t(y) * size_t(width);
        uint8_t* out = surface.row(y);
        if (surface.bytesPerPixel() == 4) {
            for (int x = 0; x < width; ++x) Store32(out + 4 * x, in[x] & 0x00FFFFFFu);
        } else if (format == kFormat555) {
            for (int x = 0; x < width; ++x) Store16(out + 2 * x, To555(in[x]));
        } else {
            for (int x = 0; x < width; ++x) Store16(out + 2 * x, To565(in[x]));
        }
    }
}

void SurfaceToFrame(const HostSurface& surface, const Frame& alphaFrom, Frame& out) {
    const int width = surface.width();
    const int height = surface.height();
    const bool keepAlpha = alphaFrom.alpha && alphaFrom.width == width && alphaFrom.height == height &&
                           alphaFrom.pixels.size() == size_t(width) * size_t(height);
    out.alpha = alphaFrom.alpha;
    out.resize(width, height);
    const int32_t format = surface.format();
    for (int y = 0; y < height; ++y) {
        const uint8_t* in = surface.row(y);
        uint32_t* o = out.pixels.data() + size_t(y) * size_t(width);
        // Read before o[x] is written, so that alphaFrom may be out itself.
        const uint32_t* a = keepAlpha ? alphaFrom.pixels.data() + size_t(y) * size_t(width) : nullptr;
        const auto top = [a](int x) { return a ? a[x] & 0xFF000000u : 0xFF000000u; };
        if (surface.bytesPerPixel() == 4) {
            for (int x = 0; x < width; ++x) o[x] = (Load32(in + 4 * x) & 0x00FFFFFFu) | top(x);
        } else if (format == kFormat555) {
            for (int x = 0; x < width; ++x) o[x] = From555(Load16(in + 2 * x)) | top(x);
        } else {
            for (int x = 0; x < width; ++x) o[x] = From565(Load16(in + 2 * x)) | top(x);
        }
    }
}

}  // namespace fxhost
