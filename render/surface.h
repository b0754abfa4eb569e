// Pixel surfaces and the host's blit service, as shared with the host.
#pragma once

#include <cstddef>
#include <cstdint>

// Coordinates of a rectangle; bottom and right are exclusive.
struct SurfaceRect {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};
static_assert(sizeof(SurfaceRect) == 8);

inline int RectWidth(const SurfaceRect& r) { return r.right - r.left; }
inline int RectHeight(const SurfaceRect& r) { return r.bottom - r.top; }

// Values of Surface::pixelFormat.
enum PixelFormatCode : int32_t {
    kFormat555 = 1,   // 16 bits: blue 0-4, green 5-9, red 10-14
    kFormat565 = 2,   // 16 bits: blue 0-4, green 5-10, red 11-15
    kFormatXrgb = 3,  // 32 bits: blue 0-7, green 8-15, red 16-23
};

// Where green and red start in a 16-bit word: 5-5-5 for format 1, and for
// any other 5-6-5, of whose green the upper five bits are read.
struct FieldShifts16 {
    int green;
    int red;
};
constexpr FieldShifts16 Shifts16(int32_t format) {
    return format == kFormat555 ? FieldShifts16{5, 10} : FieldShifts16{6, 11};
}

struct Surface {
    uint8_t* pixels;  // first byte of the first row; may be null
    int32_t depth;    // bits per pixel: 16 or 32
    SurfaceRect bounds;
    int32_t rowBytes;    // bytes from one row to the next
    int32_t ownsPixels;  // non-zero: FreeOffscreen releases pixels
    int32_t pixelFormat;
    uint64_t reserved;
    int32_t reserved2;
    int32_t unused;
};
static_assert(offsetof(Surface, pixels) == 0);
static_assert(offsetof(Surface, depth) == 8);
static_assert(offsetof(Surface, bounds) == 12);
static_assert(offsetof(Surface, rowBytes) == 20);
static_assert(offsetof(Surface, ownsPixels) == 24);
static_assert(offsetof(Surface, pixelFormat) == 28);
static_assert(offsetof(Surface, reserved) == 32);
static_assert(offsetof(Surface, reserved2) == 40);
static_assert(sizeof(Surface) == 48);

inline int SurfaceWidth(const Surface& s) { return RectWidth(s.bounds); }
inline int SurfaceHeight(const Surface& s) { return RectHeight(s.bounds); }

// One corner of a textured quadrilateral: destination position in whole
// pixels, source position in 16.16 fixed point.
struct BlitCorner {
    int32_t dstX;
    int32_t dstY;
    int32_t srcX;
    int32_t srcY;
};
static_assert(sizeof(BlitCorner) == 16);

// Modes of BlitCopy and BlitTransform.
enum BlitMode : int32_t {
    kBlitPlain = 1,
    kBlitCopyAlt = 4,
    kBlitBlend = 5,
    kBlitReduce = 0x81,
};

struct BlitParams {
    uint64_t kind;  // 0 for a blend
    int32_t word8;
    int32_t blendLevel;
    uint8_t words16[20];
    int32_t blendKind;  // 5
    int32_t word40;
    BlitCorner corners[4];
};
static_assert(offsetof(BlitParams, kind) == 0);
static_assert(offsetof(BlitParams, blendLevel) == 12);
static_assert(offsetof(BlitParams, blendKind) == 36);
static_assert(offsetof(BlitParams, corners) == 44);

using BlitCopyFn = void (*)(Surface* from, Surface* to, const SurfaceRect* fromRect,
                            const SurfaceRect* toRect, int32_t mode);
using BlitTransformFn = void (*)(Surface* from, Surface* to, const SurfaceRect* fromRect,
                                 const SurfaceRect* toRect, int32_t mode, BlitParams* params);
using BlitCheckRectFn = int32_t (*)(const SurfaceRect* a, const SurfaceRect* b);

// The host's service: a table of function pointers of which the module calls
// words 11, 12 and 13.
struct BlitService {
    void* words[11];
    BlitCopyFn BlitCopy;
    BlitTransformFn BlitTransform;
    BlitCheckRectFn BlitCheckRect;
};
static_assert(offsetof(BlitService, BlitCopy) == 11 * 8);
static_assert(offsetof(BlitService, BlitTransform) == 12 * 8);
static_assert(offsetof(BlitService, BlitCheckRect) == 13 * 8);
