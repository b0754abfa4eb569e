#include "render/offscreen.h"

#include <cstdlib>
#include <cstring>

void AllocatePixels(Surface* surface) {
    const int32_t rows = SurfaceHeight(*surface);
    int32_t rowBytes = static_cast<int32_t>(static_cast<uint32_t>(SurfaceWidth(*surface)) *
                                            static_cast<uint32_t>(surface->depth >> 3));
    if (rowBytes % 16 != 0) rowBytes += 16 - rowBytes % 16;
    surface->rowBytes = rowBytes;
    // The size is a 32 x 32-bit product; one that does not fit fails.
    const uint64_t size = uint64_t{static_cast<uint32_t>(rowBytes)} * static_cast<uint32_t>(rows);
    // Cleared, so that a picture the host refuses to copy in reads as black
    // rather than as whatever the allocator left; written now rather than
    // left to calloc, so that the pages are mapped at creation and not in
    // the first frame. The empty asm keeps the compiler from folding the two
    // into calloc, which would skip the writes on fresh pages.
    surface->pixels = size <= UINT32_MAX ? static_cast<uint8_t*>(std::malloc(size)) : nullptr;
    if (surface->pixels) {
        asm volatile("" : : "r"(surface->pixels) : "memory");
        std::memset(surface->pixels, 0, size);
    }
    surface->ownsPixels = 1;
    if (surface->depth == 32) surface->pixelFormat = kFormatXrgb;
}

Surface* NewOffscreen(FrameParams* frame, const SurfaceRect* rect) {
    int32_t width, height, depth;
    if (rect) {
        width = RectWidth(*rect);
        height = RectHeight(*rect);
        depth = 32;
    } else {
        const Surface* like = frame->destination;
        if (!like) return nullptr;
        width = SurfaceWidth(*like);
        height = SurfaceHeight(*like);
        depth = like->depth;
    }
    if (width == 0 || height == 0) return nullptr;
    auto* surface = new Surface{};
    surface->bounds = SurfaceRect{0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
    surface->depth = depth;
    surface->pixelFormat = 0;
    AllocatePixels(surface);
    if (!surface->pixels) {
        FreeOffscreen(surface);
        return nullptr;
    }
    surface->pixelFormat = kFormatXrgb;
    return surface;
}

void FreeOffscreen(Surface* surface) {
    if (!surface) return;
    if (surface->ownsPixels && surface->pixels) {
        std::free(surface->pixels);
        surface->pixels = nullptr;
    }
    delete surface;
}
