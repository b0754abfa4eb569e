// Pictures in memory, PNG files, and their conversion to and from surfaces.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/host_surface.h"

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

// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT that kill and reap
// the watched child processes, remove the pending temporary files and
// directories (WritePng's, a video writer's), then end the process as the
// signal would have. Signals the process ignores stay ignored.
void RemoveTemporaryFilesOnSignals();

// Temporary names that a writer fills and then renames into place. Up to 8
// may be pending at once; each is removed by the handlers above until it is
// committed or discarded.

// Creates an empty file beside path that no one else uses, NAME.tmp-PID-N
// followed by extension (".mp4", so that a program choosing a format by the
// name still sees it; or ""). Returns a descriptor (close-on-exec) or -1 with
// errno set.
int CreateTemporaryFile(const std::string& path, const std::string& extension, std::string& tempPath);
// Creates an empty directory: in dir when given, else in $TMPDIR or /tmp.
// Returns false with errno set on failure.
bool CreateTemporaryDirectory(const std::string& dir, std::string& tempPath);
// Renames a temporary file over path and forgets it; on failure removes it.
// 0 on success, -1 with errno set.
int CommitTemporary(const std::string& tempPath, const std::string& path);
// Removes a temporary file, or a directory with the files in it, and forgets it.
void DiscardTemporary(const std::string& tempPath);
// A child the handlers kill (SIGKILL) and reap before removing the files it
// may still be writing; at most 8 at once.
void WatchChild(int pid);
void UnwatchChild(int pid);

// Copies the picture into the surface (sizes must agree; throws otherwise).
void ImageToSurface(const Image& image, HostSurface& surface);
// Reads the surface's pixels back as 8-bit RGB.
Image SurfaceToImage(const HostSurface& surface);

}  // namespace fxhost
