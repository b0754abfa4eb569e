#include "host/host_surface.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#ifdef _WIN32
#include <malloc.h>
#else
#include <sys/mman.h>
#endif

#include "host/host_error.h"
#include "host/pixel_convert.h"

namespace fxhost {

namespace {

constexpr int kMaxSide = 32767;  // bounds are int16_t
constexpr size_t kAlign = 64;
constexpr size_t kHugePage = size_t{2} << 20;
constexpr uint64_t kMaxBytes = uint64_t(1) << 32;

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// A zero-filled block of size bytes (a multiple of align) starting on an
// align boundary, or nullptr; freed by FreeBlock.
uint8_t* AllocateBlock(size_t align, size_t size) {
#ifdef _WIN32
    auto* block = static_cast<uint8_t*>(_aligned_malloc(size, align));
#else
    auto* block = static_cast<uint8_t*>(std::aligned_alloc(align, size));
#ifdef MADV_HUGEPAGE
    if (block && align == kHugePage) ::madvise(block, size, MADV_HUGEPAGE);
#endif
#endif
    if (block) std::memset(block, 0, size);
    return block;
}

}  // namespace

void HostSurface::FreeBlock::operator()(uint8_t* block) const {
#ifdef _WIN32
    _aligned_free(block);
#else
    std::free(block);
#endif
}

// Pixel storage is zero-filled and starts on a 64-byte boundary. Pictures of
// 2 MB or more start on a 2 MB boundary and, on Linux, ask for huge pages:
// effects and blits that walk down a column of cells touch a new 4 KB page on
// every row, and with small pages the address translations cost more than the
// copying.
// An empty surface (width or height 0) still gets a non-null pointer to a
// small zeroed block, so code handed the record needs no null check; it
// simply has no pixels to touch.
HostSurface::HostSurface(int width, int height, int32_t format, int rowBytes) {
    int bpp = 0;
    if (format == kFormatXrgb) {
        bpp = 4;
    } else if (format == kFormat555 || format == kFormat565) {
        bpp = 2;
    } else {
        throw HostError("unknown pixel format " + std::to_string(format) +
                        " (expected 1 = 5-5-5, 2 = 5-6-5 or 3 = 32-bit xRGB)");
    }
    if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide) {
        throw HostError("surface size " + SizeText(width, height) + " is out of range (0 to " +
                        std::to_string(kMaxSide) + " a side)");
    }
    const int minRow = width * bpp;
    if (rowBytes == 0) {
        rowBytes = minRow;
    } else if (rowBytes < minRow) {
        throw HostError("row length of " + std::to_string(rowBytes) + " bytes is too short for " +
                        std::to_string(width) + " pixels of " + std::to_string(bpp) + " bytes");
    }
    const uint64_t bytes = uint64_t(rowBytes) * uint64_t(height);
    if (bytes > kMaxBytes) {
        throw HostError("surface of " + SizeText(width, height) + " with rows of " +
                        std::to_string(rowBytes) + " bytes is too large");
    }
    const size_t align = bytes >= kHugePage ? kHugePage : kAlign;
    const size_t size = (static_cast<size_t>(bytes) + align) / align * align;
    storage_.reset(AllocateBlock(align, size));
    if (!storage_) throw HostError("out of memory for a surface of " + SizeText(width, height));

    record_.pixels = storage_.get();
    record_.depth = bpp * 8;
    record_.bounds = SurfaceRect{0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
    record_.rowBytes = rowBytes;
    record_.ownsPixels = 0;  // the host frees these pixels, never the module
    record_.pixelFormat = format;
}

// Moving keeps the block, so the record's pixel pointer stays valid. The
// moved-from surface is left empty, with no pixels.
HostSurface::HostSurface(HostSurface&& other) noexcept
    : record_(other.record_), storage_(std::move(other.storage_)) {
    other.record_ = Surface{};
}

HostSurface& HostSurface::operator=(HostSurface&& other) noexcept {
    if (this != &other) {
        storage_ = std::move(other.storage_);
        record_ = other.record_;
        other.record_ = Surface{};
    }
    return *this;
}

uint8_t* HostSurface::at(int x, int y) const {
    if (x < 0 || y < 0 || x >= width() || y >= height()) {
        throw HostError("pixel " + std::to_string(x) + "," + std::to_string(y) +
                        " lies outside a surface of " + SizeText(width(), height()));
    }
    return record_.pixels + static_cast<ptrdiff_t>(y) * record_.rowBytes +
           static_cast<ptrdiff_t>(x) * bytesPerPixel();
}

uint32_t HostSurface::pixel(int x, int y) const {
    return LoadWord(at(x, y), bytesPerPixel());
}

void HostSurface::setPixel(int x, int y, uint32_t word) {
    StoreWord(at(x, y), bytesPerPixel(), word);
}

void HostSurface::fill(uint32_t word) {
    const int w = width();
    const int h = height();
    if (w == 0 || h == 0) return;
    uint8_t* first = row(0);
    for (int x = 0; x < w; ++x) setPixel(x, 0, word);
    for (int y = 1; y < h; ++y) std::memcpy(row(y), first, static_cast<size_t>(w) * bytesPerPixel());
}

void HostSurface::copyPixelsFrom(const HostSurface& from) {
    if (from.width() != width() || from.height() != height() || from.format() != format())
        throw HostError("cannot copy the pixels of a surface of another size or format");
    const size_t bytes = static_cast<size_t>(width()) * static_cast<size_t>(bytesPerPixel());
    for (int y = 0; y < height(); ++y) std::memcpy(row(y), from.row(y), bytes);
}

void HostSurface::fillPadding(uint8_t marker) {
    const int used = width() * bytesPerPixel();
    const int pad = rowBytes() - used;
    if (pad <= 0) return;
    for (int y = 0; y < height(); ++y) std::memset(row(y) + used, marker, static_cast<size_t>(pad));
}

bool HostSurface::paddingIs(uint8_t marker) const {
    const int used = width() * bytesPerPixel();
    for (int y = 0; y < height(); ++y) {
        const uint8_t* r = row(y);
        for (int i = used; i < rowBytes(); ++i) {
            if (r[i] != marker) return false;
        }
    }
    return true;
}

}  // namespace fxhost
