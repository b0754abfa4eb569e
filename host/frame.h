// Frames as video moves them: 8-bit BGRA words, the module's 32-bit pixel
// layout with alpha in the top byte.
#pragma once

#include <cstdint>
#include <vector>

#include "host/host_surface.h"
#include "host/picture_io.h"

namespace fxhost {

// Rows top to bottom, no padding. Each pixel is the little-endian word
// 0xAARRGGBB, so its bytes in memory are B, G, R, A: ffmpeg's "bgra".
struct Frame {
    int width = 0;
    int height = 0;
    bool alpha = false;  // whether the picture it came from had alpha
    std::vector<uint32_t> pixels;

    void resize(int w, int h) {
        width = w;
        height = h;
        pixels.resize(static_cast<size_t>(w) * static_cast<size_t>(h));
    }
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(pixels.data()); }
    const uint8_t* bytes() const { return reinterpret_cast<const uint8_t*>(pixels.data()); }
    size_t byteCount() const { return pixels.size() * 4; }
};

// An Image as a frame: alpha from the image's alpha plane, else 0xFF.
Frame FrameFromImage(const Image& image);
// A frame as an Image; the alpha plane is kept when the frame has alpha.
Image ImageFromFrame(const Frame& frame);

// The frame's colours into a surface of the same size (throws HostError
// otherwise). 32-bit surfaces get the top byte 0, as hosts hand them over;
// 16-bit surfaces keep the high bits of each channel, as ImageToSurface.
void FrameToSurface(const Frame& frame, HostSurface& surface);
// The surface's colours into out (resized to the surface), with the alpha of
// alphaFrom at the same place when alphaFrom has alpha and the sizes agree,
// else 0xFF. out.alpha is alphaFrom.alpha. 16-bit channels widen by bit
// replication, as SurfaceToImage.
void SurfaceToFrame(const HostSurface& surface, const Frame& alphaFrom, Frame& out);

// The frame moved offset pixels to the left (negative: right), what leaves
// one side coming back on the other.
void ScrollFrame(Frame& frame, int64_t offset);

}  // namespace fxhost
