#include "host/picture_io.h"

#include <png.h>

#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "host/host_error.h"
#include "host/pixel_convert.h"

namespace fxhost {

namespace {

constexpr uint32_t kMaxSide = 32767;
constexpr uint64_t kMaxPixels = uint64_t(1) << 28;

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

// Reads the header and sets up conversion to 8-bit RGB: palettes and low bit
// depths expand, 16 bits scale down, grey becomes RGB, alpha and
// transparency are dropped.
bool ReadHeader(PngState& s, uint32_t& width, uint32_t& height) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_init_io(s.png, s.file);
    png_set_sig_bytes(s.png, 8);
    png_set_user_limits(s.png, kMaxSide, kMaxSide);
    png_read_info(s.png, s.info);
    const int colour = png_get_color_type(s.png, s.info);
    const int depth = png_get_bit_depth(s.png, s.info);
    if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(s.png);
    if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(s.png);
    if (depth == 16) png_set_scale_16(s.png);
    if (colour & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(s.png);
    if (!(colour & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(s.png);
    png_set_interlace_handling(s.png);
    png_read_update_info(s.png, s.info);
    width = png_get_image_width(s.png, s.info);
    height = png_get_image_height(s.png, s.info);
    if (png_get_rowbytes(s.png, s.info) != static_cast<size_t>(width) * 3) {
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

class WriteGuard {
public:
    explicit WriteGuard(PngState& s) : s_(s) {}
    ~WriteGuard() {
        if (s_.png) png_destroy_write_struct(&s_.png, s_.info ? &s_.info : nullptr);
        if (s_.file) std::fclose(s_.file);
    }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    PngState& s_;
};

bool WriteRows(PngState& s, uint32_t width, uint32_t height, png_bytepp rows) {
    if (setjmp(png_jmpbuf(s.png))) return false;
    png_init_io(s.png, s.file);
    png_set_IHDR(s.png, s.info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(s.png, s.info);
    png_write_image(s.png, rows);
    png_write_end(s.png, nullptr);
    return true;
}

// Creates a fresh file beside path that no one else is using; -1 on failure.
int CreateTemporary(const std::string& path, std::string& tempPath) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        tempPath = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
        const int fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

Image ReadPng(const std::string& path) {
    PngState s;
    ReadGuard guard(s);
    s.file = std::fopen(path.c_str(), "rb");
    if (!s.file) throw HostError(Fault("read", path, std::strerror(errno)));
    png_byte signature[8];
    if (std::fread(signature, 1, 8, s.file) != 8 || png_sig_cmp(signature, 0, 8) != 0) {
        throw HostError(Fault("read", path, "not a PNG file"));
    }
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &s, OnPngError, OnPngWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.png || !s.info) throw HostError(Fault("read", path, "out of memory"));

    uint32_t width = 0, height = 0;
    if (!ReadHeader(s, width, height)) throw HostError(Fault("read", path, Damaged(s.message)));
    if (uint64_t(width) * height > kMaxPixels) throw HostError(Fault("read", path, "picture too large"));

    Image image;
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.rgb.resize(size_t(width) * height * 3);
    std::vector<png_bytep> rows(height);
    for (uint32_t y = 0; y < height; ++y) rows[y] = image.rgb.data() + size_t(y) * width * 3;
    if (!ReadRows(s, rows.data())) throw HostError(Fault("read", path, Damaged(s.message)));
    return image;
}

void WritePng(const std::string& path, const Image& image) {
    if (image.width <= 0 || image.height <= 0 || uint64_t(image.width) > kMaxSide ||
        uint64_t(image.height) > kMaxSide) {
        throw HostError(Fault("write", path, "picture size " + std::to_string(image.width) + "x" +
                                                 std::to_string(image.height) + " is out of range"));
    }
    if (image.rgb.size() != size_t(image.width) * size_t(image.height) * 3) {
        throw HostError(Fault("write", path, "pixel data does not match the picture size"));
    }
    std::vector<png_bytep> rows(static_cast<size_t>(image.height));
    for (size_t y = 0; y < rows.size(); ++y) {
        // libpng does not modify rows it writes without transformations.
        rows[y] = const_cast<png_bytep>(image.rgb.data() + y * size_t(image.width) * 3);
    }

    std::string tempPath;
    const int fd = CreateTemporary(path, tempPath);
    if (fd < 0) throw HostError(Fault("write", path, std::strerror(errno)));
    std::string failure;
    {
        PngState s;
        WriteGuard guard(s);
        s.file = ::fdopen(fd, "wb");
        if (!s.file) {
            failure = std::strerror(errno);
            ::close(fd);
        } else {
            s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s, OnPngError, OnPngWarning);
            if (s.png) s.info = png_create_info_struct(s.png);
            if (!s.png || !s.info) {
                failure = "out of memory";
            } else if (!WriteRows(s, uint32_t(image.width), uint32_t(image.height), rows.data())) {
                failure = s.message;
            } else {
                // Report a full disk or similar now rather than lose it in fclose.
                const bool ok = std::fflush(s.file) == 0 && !std::ferror(s.file);
                const int closed = std::fclose(s.file);
                s.file = nullptr;
                if (!ok || closed != 0) failure = std::strerror(errno);
            }
        }
    }
    if (failure.empty() && std::rename(tempPath.c_str(), path.c_str()) != 0) failure = std::strerror(errno);
    if (!failure.empty()) {
        std::remove(tempPath.c_str());
        throw HostError(Fault("write", path, failure));
    }
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
