// Pixel surfaces owned by the host: a boundary Surface record over storage
// the host allocates and frees.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "render/surface.h"

namespace fxhost {

class HostSurface {
public:
    // format is a PixelFormatCode: kFormatXrgb (32 bits), kFormat555 or
    // kFormat565 (16 bits). rowBytes 0 means width times bytes per pixel; a
    // larger value pads every row. Throws HostError on a bad size or format.
    HostSurface(int width, int height, int32_t format, int rowBytes = 0);
    HostSurface(const HostSurface&) = delete;
    HostSurface& operator=(const HostSurface&) = delete;
    HostSurface(HostSurface&&) noexcept;
    HostSurface& operator=(HostSurface&&) noexcept;

    Surface* get() { return &record_; }
    const Surface* get() const { return &record_; }
    int width() const { return SurfaceWidth(record_); }
    int height() const { return SurfaceHeight(record_); }
    int32_t format() const { return record_.pixelFormat; }
    int bytesPerPixel() const { return record_.depth / 8; }
    int rowBytes() const { return record_.rowBytes; }

    uint8_t* row(int y) { return record_.pixels + static_cast<ptrdiff_t>(y) * record_.rowBytes; }
    const uint8_t* row(int y) const { return record_.pixels + static_cast<ptrdiff_t>(y) * record_.rowBytes; }
    // The raw pixel word at (x, y): 32 or 16 bits as the format says.
    uint32_t pixel(int x, int y) const;
    void setPixel(int x, int y, uint32_t word);
    // Every pixel word set to word; padding bytes are left alone.
    void fill(uint32_t word);
    // The pixels of a surface of the same size and format, row by row;
    // padding bytes are left alone. Throws HostError on a mismatch.
    void copyPixelsFrom(const HostSurface& from);
    // Padding bytes at the end of each row, set to a marker so that tests can
    // see whether anything wrote there.
    void fillPadding(uint8_t marker);
    bool paddingIs(uint8_t marker) const;

private:
    // The first byte of pixel (x, y); throws HostError outside the surface.
    uint8_t* at(int x, int y) const;

    struct FreeBlock {
        void operator()(uint8_t* block) const;
    };
    Surface record_{};
    std::unique_ptr<uint8_t, FreeBlock> storage_;
};

}  // namespace fxhost
