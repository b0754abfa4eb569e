// Pictures in memory, PNG files, and their conversion to and from surfaces.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/host_surface.h"

namespace fxhost {

// 8-bit RGB, rows top to bottom, no padding.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;  // width * height * 3
};

// Reads a PNG file: grey, grey with alpha, palette, RGB and RGBA, 8 or 16 bits
// a channel; alpha is dropped. Throws HostError naming the file and the fault.
Image ReadPng(const std::string& path);
// Writes RGB. The file appears complete or not at all: it is written beside
// the target under a temporary name and renamed. Throws HostError.
void WritePng(const std::string& path, const Image& image);

// Copies the picture into the surface (sizes must agree; throws otherwise).
void ImageToSurface(const Image& image, HostSurface& surface);
// Reads the surface's pixels back as 8-bit RGB.
Image SurfaceToImage(const HostSurface& surface);

}  // namespace fxhost
