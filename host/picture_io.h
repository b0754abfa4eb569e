// Pictures in memory, PNG files, and their conversion to and from surfaces.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/host_surface.h"
#include "host/temporary_files.h"

namespace fxhost {

// The largest picture read or written: a surface's bounds are int16_t, and
// the pixel count keeps a render's buffers (the picture, source and
// destination surfaces, the picture written back) near a gigabyte.
constexpr int kMaxPictureSide = 32767;
constexpr uint64_t kMaxPicturePixels = uint64_t(1) << 26;  // 8192 x 8192

// 8-bit RGB, rows top to bottom, no padding, with an optional alpha plane.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;    // width * height * 3
    std::vector<uint8_t> alpha;  // width * height, empty when opaque
};

// Reads a PNG file: grey, grey with alpha, palette, RGB and RGBA, 1 to 16 bits
// a channel, as 8-bit RGB. Alpha is kept whenever the file has any: an alpha
// channel, a palette's transparency or a tRNS colour key (matching pixels 0,
// others 255). 16-bit channels become 8-bit as round(v * 255 / 65535), alpha
// too. The size in the header is checked against the limits above before any
// pixel memory is taken. Throws HostError naming the file and the fault.
Image ReadPng(const std::string& path);

// How WritePng treats a path.
enum class OutputKind {
    kFile,    // a new or existing regular file, replaced whole
    kStream,  // a character device or FIFO, written straight through
};

// Writes RGBA when the image has alpha, else RGB. A regular file appears
// complete or not at all: it is written beside the target under a temporary
// name and renamed over it, keeping an existing file's permission bits. A
// symbolic link is followed, so that its target is replaced. A read-only file
// is refused, even where the process could write it anyway. A character
// device or FIFO is opened and written directly. Directories and other kinds
// of file are refused. Throws HostError.
void WritePng(const std::string& path, const Image& image);
// Writes the same to an open descriptor, which stays open; name is for messages.
void WritePngTo(int fd, const std::string& name, const Image& image);
// Checks, without writing, that WritePng(path) would be allowed and that the
// directory takes new files. Throws HostError as WritePng would.
OutputKind CheckOutput(const std::string& path);
// The file that replacing path whole replaces: symbolic links followed.
// Throws HostError as WritePng would.
std::string ReplacedFile(const std::string& path);

// Copies the picture into the surface (sizes must agree; throws otherwise).
void ImageToSurface(const Image& image, HostSurface& surface);
// Reads the surface's pixels back as 8-bit RGB.
Image SurfaceToImage(const HostSurface& surface);

}  // namespace fxhost
