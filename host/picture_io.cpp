#include "host/picture_io.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <io.h>
#else
#include <unistd.h>
#endif

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "host/host_error.h"
#include "host/pixel_convert.h"

namespace fxhost {

namespace {

// libpng reports errors through these callbacks, from C frames. The error
// callback records the message and longjmps back to the setjmp in the
// function that made the libpng call; those functions hold only plain data,
// so the jump skips no destructors. The C++ exception is thrown afterwards.
struct PngState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    FILE* file = nullptr;
    char message[200] = {};
};

void OnPngError(png_structp png, png_const_charp message) {
    auto* state = static_cast<PngState*>(png_get_error_ptr(png));
    std::snprintf(state->message, sizeof state->message, "%s", message ? message : "unknown error");
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// Writes through stdio so that a failure carries errno's reason (libpng's own
// writer says only "Write Error").
void OnPngWrite(png_structp png, png_bytep data, size_t length) {
    auto* state = static_cast<PngState*>(png_get_io_ptr(png));
    if (std::fwrite(data, 1, length, state->file) != length) png_error(png, std::strerror(errno));
}

void OnPngFlush(png_structp) {}

void CloseFd(int fd) {
#ifdef _WIN32
    ::_close(fd);
#else
    ::close(fd);
#endif
}

class ReadGuard {
public:
    explicit ReadGuard(PngState& s) : s_(s) {}
    ~ReadGuard() {
        if (s_.png) png_destroy_read_struct(&s_.png, s_.info ? &s_.info : nullptr, nullptr);
        if (s_.file) std::fclose(s_.file);
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    PngState& s_;
};

// Reads the chunks before the pixel data. Any size a PNG may state gets
// through, so that a picture too large is told apart from a damaged one.
bool ReadInfo(PngState& s, uint32_t& width, uint32_t& height) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_init_io(s.png, s.file);
    png_set_sig_bytes(s.png, 8);
    png_set_user_limits(s.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_read_info(s.png, s.info);
    width = png_get_image_width(s.png, s.info);
    height = png_get_image_height(s.png, s.info);
    return true;
}

// Sets up conversion to 8-bit RGB, or RGBA when the file has alpha or a tRNS
// chunk: palettes and low bit depths expand, 16 bits scale down with
// rounding, grey becomes RGB.
bool SetUpConversion(PngState& s, uint32_t width, bool& alpha) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    const int colour = png_get_color_type(s.png, s.info);
    const int depth = png_get_bit_depth(s.png, s.info);
    const bool trns = png_get_valid(s.png, s.info, PNG_INFO_tRNS) != 0;
    alpha = (colour & PNG_COLOR_MASK_ALPHA) || trns;
    if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(s.png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(s.png);
    if (trns) png_set_tRNS_to_alpha(s.png);
    if (depth == 16) png_set_scale_16(s.png);
    if (!(colour & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(s.png);
    png_set_interlace_handling(s.png);
    png_read_update_info(s.png, s.info);
    if (png_get_rowbytes(s.png, s.info) != static_cast<size_t>(width) * (alpha ? 4 : 3)) {
        std::snprintf(s.message, sizeof s.message, "unsupported pixel layout");
        return false;
    }
    return true;
}

bool ReadRows(PngState& s, png_bytepp rows) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_read_image(s.png, rows);
    png_read_end(s.png, nullptr);
    return true;
}

std::string Damaged(const char* why) { return std::string("damaged or truncated PNG data (") + why + ")"; }

std::string Fault(const std::string& verb, const std::string& path, const std::string& why) {
    return "cannot " + verb + " picture '" + path + "': " + why;
}

std::string TooLarge(uint64_t width, uint64_t height) {
    return std::to_string(width) + "x" + std::to_string(height) + " pixels is too large (at most " +
           std::to_string(kMaxPictureSide) + " a side and " + std::to_string(kMaxPicturePixels) + " in all)";
}

class WriteGuard {
public:
    explicit WriteGuard(PngState& s) : s_(s) {}
    ~WriteGuard() {
        if (s_.png) png_destroy_write_struct(&s_.png, s_.info ? &s_.info : nullptr);
    }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    PngState& s_;
};

bool WriteRows(PngState& s, uint32_t width, uint32_t height, int colourType, png_bytepp rows) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_set_write_fn(s.png, &s, OnPngWrite, OnPngFlush);
    png_set_IHDR(s.png, s.info, width, height, 8, colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(s.png, s.info);
    png_write_image(s.png, rows);
    png_write_end(s.png, nullptr);
    return true;
}

void CheckImage(const std::string& path, const Image& image) {
    if (image.width <= 0 || image.height <= 0 || image.width > kMaxPictureSide || image.height > kMaxPictureSide) {
        throw HostError(Fault("write", path, "picture size " + std::to_string(image.width) + "x" +
                                                 std::to_string(image.height) + " is out of range"));
    }
    if (image.rgb.size() != size_t(image.width) * size_t(image.height) * 3) {
        throw HostError(Fault("write", path, "pixel data does not match the picture size"));
    }
    if (!image.alpha.empty() && image.alpha.size() != size_t(image.width) * size_t(image.height)) {
        throw HostError(Fault("write", path, "alpha data does not match the picture size"));
    }
}

// Encodes the picture into file and flushes it; returns what went wrong, or
// an empty string. The file stays open.
std::string Encode(FILE* file, const Image& image) {
    const size_t width = size_t(image.width);
    std::vector<png_bytep> rows(static_cast<size_t>(image.height));
    std::vector<uint8_t> rgba;
    if (image.alpha.empty()) {
        for (size_t y = 0; y < rows.size(); ++y) {
            // libpng does not modify rows it writes without transformations.
            rows[y] = const_cast<png_bytep>(image.rgb.data() + y * width * 3);
        }
    } else {
        rgba.resize(image.alpha.size() * 4);
        for (size_t i = 0; i < image.alpha.size(); ++i) {
            std::memcpy(&rgba[i * 4], &image.rgb[i * 3], 3);
            rgba[i * 4 + 3] = image.alpha[i];
        }
        for (size_t y = 0; y < rows.size(); ++y) rows[y] = rgba.data() + y * width * 4;
    }
    PngState s;
    s.file = file;
    WriteGuard guard(s);
    s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s, OnPngError, OnPngWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.png || !s.info) return "out of memory";
    const int colourType = image.alpha.empty() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA;
    if (!WriteRows(s, uint32_t(image.width), uint32_t(image.height), colourType, rows.data())) return s.message;
    // Report a full disk or similar now rather than lose it in fclose.
    if (std::fflush(file) != 0 || std::ferror(file)) return std::strerror(errno);
    return {};
}

// Encodes into fd, then closes it; returns what went wrong, or "".
std::string EncodeAndClose(int fd, const Image& image) {
#ifdef _WIN32
    FILE* file = ::_fdopen(fd, "wb");
#else
    FILE* file = ::fdopen(fd, "wb");
#endif
    if (!file) {
        const int error = errno;
        CloseFd(fd);
        return std::strerror(error);
    }
    std::string failure = Encode(file, image);
    if (std::fclose(file) != 0 && failure.empty()) failure = std::strerror(errno);
    return failure;
}

// ---- Where a write goes ----

// Where the directory part of path ends: its last separator, or npos.
size_t LastSeparator(const std::string& path) {
#ifdef _WIN32
    return path.find_last_of("/\\");
#else
    return path.rfind('/');
#endif
}

// The directory that path names a file in.
std::string DirectoryOf(const std::string& path) {
    const size_t slash = LastSeparator(path);
#ifdef _WIN32
    // C:name is in the current directory of drive C, C:\name in its root.
    const bool drive = path.size() >= 2 && path[1] == ':';
    if (slash == std::string::npos) return drive ? path.substr(0, 2) + "." : ".";
    if (slash == 0 || (drive && slash == 2)) return path.substr(0, slash + 1);
#else
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
#endif
    return path.substr(0, slash);
}

#ifdef _WIN32

// Windows paths are written to as named; links are not followed.
bool FollowLinks(std::string&) { return true; }

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

// Whether path names a device rather than a file: a reserved name such as
// "NUL", "CON" or "COM1" (which stat does not find), or a name in the
// "\\.\" namespace such as a named pipe. The system's own path resolution
// says which, as it is what opening the path goes through.
bool IsDevice(const std::string& path) {
    char full[MAX_PATH];
    const DWORD length = GetFullPathNameA(path.c_str(), sizeof full, full, nullptr);
    const std::string name = length > 0 && length < sizeof full ? std::string(full, length) : path;
    return name.size() > 4 && IsSeparator(name[0]) && IsSeparator(name[1]) && name[2] == '.' &&
           IsSeparator(name[3]);
}

#else

// Follows symbolic links from path to the name they finally lead to, which
// need not exist yet. False with errno set on a loop or an unreadable link.
bool FollowLinks(std::string& path) {
    for (int hop = 0; hop < 40; ++hop) {
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0) return errno == ENOENT;
        if (!S_ISLNK(st.st_mode)) return true;
        char text[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), text, sizeof text);
        if (length < 0) return false;
        if (length == 0 || size_t(length) == sizeof text) {
            errno = length == 0 ? ENOENT : ENAMETOOLONG;
            return false;
        }
        std::string target(text, size_t(length));
        const size_t slash = path.rfind('/');
        if (target[0] != '/' && slash != std::string::npos) target = path.substr(0, slash + 1) + target;
        path = target;
    }
    errno = ELOOP;
    return false;
}

#endif

struct Target {
    OutputKind kind = OutputKind::kFile;
    std::string path;   // the file to replace, links followed
    bool exists = false;
    mode_t mode = 0;    // an existing file's permission bits
};

Target Resolve(const std::string& path) {
    const auto fail = [&](const std::string& why) { return HostError(Fault("write", path, why)); };
    Target target{OutputKind::kFile, path, false, 0};
#ifdef _WIN32
    if (IsDevice(path)) {
        target.kind = OutputKind::kStream;
        return target;
    }
#endif
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) {
        if (S_ISCHR(st.st_mode) || S_ISFIFO(st.st_mode)) {
            target.kind = OutputKind::kStream;
            return target;
        }
        if (S_ISDIR(st.st_mode)) throw fail(std::strerror(EISDIR));
        if (!S_ISREG(st.st_mode)) throw fail("not a regular file, character device or FIFO");
#ifdef _WIN32
        if ((st.st_mode & _S_IWRITE) == 0) throw fail("the file is read-only");
        if (::_access(path.c_str(), 2) != 0) throw fail(std::strerror(errno));
#else
        // Root may write anything; a file without write permission is still
        // taken as one its owner does not want replaced.
        if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) throw fail("the file is read-only");
        if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) throw fail(std::strerror(errno));
#endif
        target.exists = true;
        target.mode = st.st_mode & 0777;
    } else if (errno != ENOENT) {
        throw fail(std::strerror(errno));
    }
    if (!FollowLinks(target.path)) throw fail(std::strerror(errno));
    return target;
}

}  // namespace

Image ReadPng(const std::string& path) {
    PngState s;
    ReadGuard guard(s);
    s.file = std::fopen(path.c_str(), "rb");
    if (!s.file) throw HostError(Fault("read", path, std::strerror(errno)));
    struct stat st;
    if (::fstat(::fileno(s.file), &st) == 0 && S_ISDIR(st.st_mode))
        throw HostError(Fault("read", path, std::strerror(EISDIR)));
    png_byte signature[8];
    const size_t got = std::fread(signature, 1, 8, s.file);
    if (got < 8 && std::ferror(s.file)) throw HostError(Fault("read", path, std::strerror(errno)));
    if (got == 0) throw HostError(Fault("read", path, "the file is empty"));
    if (got != 8 || png_sig_cmp(signature, 0, 8) != 0) throw HostError(Fault("read", path, "not a PNG file"));
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &s, OnPngError, OnPngWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.png || !s.info) throw HostError(Fault("read", path, "out of memory"));

    uint32_t width = 0, height = 0;
    if (!ReadInfo(s, width, height)) throw HostError(Fault("read", path, Damaged(s.message)));
    if (width > uint32_t(kMaxPictureSide) || height > uint32_t(kMaxPictureSide) ||
        uint64_t(width) * height > kMaxPicturePixels) {
        throw HostError(Fault("read", path, TooLarge(width, height)));
    }
    bool alpha = false;
    if (!SetUpConversion(s, width, alpha)) throw HostError(Fault("read", path, Damaged(s.message)));

    Image image;
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    const size_t pixels = size_t(width) * height;
    // Opaque pictures are read straight into place; RGBA is read whole, then split.
    std::vector<uint8_t> rgba(alpha ? pixels * 4 : 0);
    image.rgb.resize(pixels * 3);
    const size_t rowBytes = size_t(width) * (alpha ? 4 : 3);
    uint8_t* base = alpha ? rgba.data() : image.rgb.data();
    std::vector<png_bytep> rows(height);
    for (uint32_t y = 0; y < height; ++y) rows[y] = base + size_t(y) * rowBytes;
    if (!ReadRows(s, rows.data())) throw HostError(Fault("read", path, Damaged(s.message)));
    if (alpha) {
        image.alpha.resize(pixels);
        for (size_t i = 0; i < pixels; ++i) {
            std::memcpy(&image.rgb[i * 3], &rgba[i * 4], 3);
            image.alpha[i] = rgba[i * 4 + 3];
        }
    }
    return image;
}

OutputKind CheckOutput(const std::string& path) {
    const Target target = Resolve(path);
    if (target.kind == OutputKind::kFile) {
        const std::string dir = DirectoryOf(target.path);
        struct stat st;
        int error = 0;
        if (::stat(dir.c_str(), &st) != 0) error = errno;
        else if (!S_ISDIR(st.st_mode)) error = ENOTDIR;
#ifndef _WIN32
        // Windows keeps no write permission on directories that access() sees.
        else if (::faccessat(AT_FDCWD, dir.c_str(), W_OK | X_OK, AT_EACCESS) != 0) error = errno;
#endif
        if (error) throw HostError(Fault("write", path, std::strerror(error)));
    }
    return target.kind;
}

std::string ReplacedFile(const std::string& path) { return Resolve(path).path; }

void WritePng(const std::string& path, const Image& image) {
    CheckImage(path, image);
    const Target target = Resolve(path);
    if (target.kind == OutputKind::kStream) {
#ifdef _WIN32
        const int fd = ::_open(path.c_str(), _O_WRONLY | _O_BINARY | _O_NOINHERIT);
#else
        const int fd = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
#endif
        if (fd < 0) throw HostError(Fault("write", path, std::strerror(errno)));
        const std::string failure = EncodeAndClose(fd, image);
        if (!failure.empty()) throw HostError(Fault("write", path, failure));
        return;
    }
    std::string tempPath;
    const int fd = CreateTemporaryFile(target.path, "", tempPath);
    if (fd < 0) throw HostError(Fault("write", path, std::strerror(errno)));
    std::string failure;
#ifdef _WIN32
    // The one permission Windows keeps, read-only, is refused above; a new
    // file is writable, as the one it replaces was.
    failure = EncodeAndClose(fd, image);
#else
    if (target.exists && ::fchmod(fd, target.mode) != 0) {
        failure = std::strerror(errno);
        ::close(fd);
    } else {
        failure = EncodeAndClose(fd, image);
    }
#endif
    if (!failure.empty()) DiscardTemporary(tempPath);
    else if (CommitTemporary(tempPath, target.path) != 0) failure = std::strerror(errno);
    if (!failure.empty()) throw HostError(Fault("write", path, failure));
}

void WritePngTo(int fd, const std::string& name, const Image& image) {
    CheckImage(name, image);
#ifdef _WIN32
    const int copy = ::_dup(fd);
    if (copy < 0) throw HostError(Fault("write", name, std::strerror(errno)));
    // A descriptor in text mode would turn each 0x0A byte into 0x0D 0x0A; the
    // copy has a mode of its own, set here.
    ::_setmode(copy, _O_BINARY);
#else
    const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) throw HostError(Fault("write", name, std::strerror(errno)));
#endif
    const std::string failure = EncodeAndClose(copy, image);
    if (!failure.empty()) throw HostError(Fault("write", name, failure));
}

void ImageToSurface(const Image& image, HostSurface& surface) {
    if (image.width != surface.width() || image.height != surface.height()) {
        throw HostError("picture of " + std::to_string(image.width) + "x" + std::to_string(image.height) +
                        " does not fit a surface of " + std::to_string(surface.width()) + "x" +
                        std::to_string(surface.height()));
    }
    if (image.rgb.size() != size_t(image.width) * size_t(image.height) * 3) {
        throw HostError("picture pixel data does not match its size");
    }
    const int bpp = surface.bytesPerPixel();
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* in = image.rgb.data() + size_t(y) * size_t(image.width) * 3;
        uint8_t* out = surface.row(y);
        for (int x = 0; x < image.width; ++x, in += 3, out += bpp) {
            const uint32_t word = PackPixel(Rgb8{in[0], in[1], in[2]}, surface.format());
            if (bpp == 4) {
                std::memcpy(out, &word, 4);
            } else {
                const auto w16 = static_cast<uint16_t>(word);
                std::memcpy(out, &w16, 2);
            }
        }
    }
}

Image SurfaceToImage(const HostSurface& surface) {
    Image image;
    image.width = surface.width();
    image.height = surface.height();
    image.rgb.resize(size_t(image.width) * size_t(image.height) * 3);
    const int bpp = surface.bytesPerPixel();
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* in = surface.row(y);
        uint8_t* out = image.rgb.data() + size_t(y) * size_t(image.width) * 3;
        for (int x = 0; x < image.width; ++x, in += bpp, out += 3) {
            uint32_t word;
            if (bpp == 4) {
                std::memcpy(&word, in, 4);
            } else {
                uint16_t w16;
                std::memcpy(&w16, in, 2);
                word = w16;
            }
            const Rgb8 c = UnpackPixel(word, surface.format());
            out[0] = c.r;
            out[1] = c.g;
            out[2] = c.b;
        }
    }
    return image;
}

}  // namespace fxhost
