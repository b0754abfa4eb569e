#include "host/frame.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "host/blit_pixels.h"
#include "host/host_error.h"
#include "host/pixel_convert.h"

namespace fxhost {

namespace {

// The loops below are the hot path of a 1080p pipe: straight arithmetic on
// whole words, loaded and stored through memcpy (surface rows need not be
// 4-byte aligned), which the compiler turns into vector code. 16-bit words
// pack and widen as the blit service converts them.

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
            for (int x = 0; x < width; ++x) StoreWord(out + 4 * x, 4, in[x] & 0x00FFFFFFu);
        } else if (format == kFormat555) {
            for (int x = 0; x < width; ++x) StoreWord(out + 2 * x, 2, blit::Pack16(in[x], true));
        } else {
            for (int x = 0; x < width; ++x) StoreWord(out + 2 * x, 2, blit::Pack16(in[x], false));
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
            for (int x = 0; x < width; ++x) o[x] = (LoadWord(in + 4 * x, 4) & 0x00FFFFFFu) | top(x);
        } else if (format == kFormat555) {
            for (int x = 0; x < width; ++x) o[x] = blit::Widen16(LoadWord(in + 2 * x, 2), true) | top(x);
        } else {
            for (int x = 0; x < width; ++x) o[x] = blit::Widen16(LoadWord(in + 2 * x, 2), false) | top(x);
        }
    }
}

void ScrollFrame(Frame& frame, int64_t offset) {
    const int64_t width = frame.width;
    if (width == 0) return;
    const auto shift = static_cast<size_t>(((offset % width) + width) % width);
    for (int y = 0; y < frame.height; ++y) {
        uint32_t* row = frame.pixels.data() + static_cast<size_t>(width) * static_cast<size_t>(y);
        std::rotate(row, row + shift, row + width);
    }
}

}  // namespace fxhost
