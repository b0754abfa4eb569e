// Shared pieces of the blit service: validated views of surfaces, pixel word
// access and conversion, channel lanes, nearest-neighbour maps and copies of
// source areas that overlap the target.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "host/pixel_convert.h"
#include "render/surface.h"

namespace fxhost::blit {

// A surface that has been checked: pixels present, depth 16 or 32, non-empty
// bounds and rows long enough for them. Coordinates are bounds coordinates.
struct Plane {
    uint8_t* pixels = nullptr;
    ptrdiff_t rowBytes = 0;
    int bpp = 0;  // bytes per pixel: 2 or 4
    int top = 0, left = 0, bottom = 0, right = 0;
    bool is555 = false;  // 16-bit layout; anything but format 1 is 5-6-5
};

bool MakePlane(const Surface& s, Plane& out);

inline uint8_t* At(const Plane& p, int x, int y) {
    return p.pixels + static_cast<ptrdiff_t>(y - p.top) * p.rowBytes +
           static_cast<ptrdiff_t>(x - p.left) * p.bpp;
}

inline int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// How a word moves from one surface to another.
enum class Conv { Same16, Same32, ToP555, ToP565, FromP555, FromP565 };

Conv ChooseConv(const Plane& from, const Plane& to);
constexpr int SourceBpp(Conv c) { return (c == Conv::Same16 || c == Conv::FromP555 || c == Conv::FromP565) ? 2 : 4; }
constexpr int TargetBpp(Conv c) { return (c == Conv::Same16 || c == Conv::ToP555 || c == Conv::ToP565) ? 2 : 4; }

// 16-bit words widen by bit replication; packing keeps the high bits.
inline uint32_t Widen16(uint32_t w, bool is555) {
    uint32_t r, g, b;
    if (is555) {
        r = (w >> 10) & 31u;
        g = (w >> 5) & 31u;
        g = (g << 3) | (g >> 2);
    } else {
        r = (w >> 11) & 31u;
        g = (w >> 5) & 63u;
        g = (g << 2) | (g >> 4);
    }
    b = w & 31u;
    r = (r << 3) | (r >> 2);
    b = (b << 3) | (b >> 2);
    return (r << 16) | (g << 8) | b;
}

inline uint32_t Pack16(uint32_t xrgb, bool is555) {
    const uint32_t r = (xrgb >> 16) & 255u, g = (xrgb >> 8) & 255u, b = xrgb & 255u;
    if (is555) return ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
    return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
}

template <Conv C>
inline uint32_t ConvertT(uint32_t w) {
    if constexpr (C == Conv::ToP555) return Pack16(w, true);
    else if constexpr (C == Conv::ToP565) return Pack16(w, false);
    else if constexpr (C == Conv::FromP555) return Widen16(w, true);
    else if constexpr (C == Conv::FromP565) return Widen16(w, false);
    else return w;
}

inline uint32_t Convert(Conv c, uint32_t w) {
    switch (c) {
    case Conv::ToP555: return ConvertT<Conv::ToP555>(w);
    case Conv::ToP565: return ConvertT<Conv::ToP565>(w);
    case Conv::FromP555: return ConvertT<Conv::FromP555>(w);
    case Conv::FromP565: return ConvertT<Conv::FromP565>(w);
    default: return w;
    }
}

// The bit fields of a word that averaging and blending treat as channels.
// 32-bit words have four byte lanes, so the top byte is carried along too.
struct Lanes {
    int count;
    uint8_t shift[4];
    uint8_t bits[4];
};
constexpr Lanes kLanes32{4, {0, 8, 16, 24}, {8, 8, 8, 8}};
constexpr Lanes kLanes565{3, {0, 5, 11, 0}, {5, 6, 5, 0}};
constexpr Lanes kLanes555{4, {0, 5, 10, 15}, {5, 5, 5, 1}};

inline const Lanes& LanesOf(const Plane& p) {
    return p.bpp == 4 ? kLanes32 : (p.is555 ? kLanes555 : kLanes565);
}

// Clipped range [begin, end) of target coordinates.
struct Span {
    int begin, end;
    int size() const { return end > begin ? end - begin : 0; }
};

inline Span ClipSpan(int rectBegin, int rectEnd, int boundBegin, int boundEnd) {
    return Span{rectBegin > boundBegin ? rectBegin : boundBegin, rectEnd < boundEnd ? rectEnd : boundEnd};
}

// Source coordinate for target index i of n over a source span of m pixels
// from start: the source pixel under the target pixel's centre. A centre that
// falls exactly on a boundary takes the pixel after it.
inline int NearestSource(int i, int n, int start, int m) {
    return start + static_cast<int>((int64_t(2) * i + 1) * m / (int64_t(2) * n));
}

// Clamped source x (and y) for every target column (row) of the clipped
// target area, for a nearest-neighbour map of fromRect onto toRect.
void NearestMap(const Plane& from, const SurfaceRect& fromRect, const SurfaceRect& toRect,
                Span xs, Span ys, std::vector<int>& srcX, std::vector<int>& srcY);

// True when the two surfaces' pixel memory overlaps.
bool Overlaps(const Plane& a, const Plane& b);

// Reads of rect clamped to the plane's bounds stay inside this area.
SurfaceRect ReachableArea(const Plane& p, const SurfaceRect& rect);

// A private copy of an area of a plane, with the same coordinates, used when
// the source's memory is also the target's.
struct PlaneCopy {
    std::vector<uint8_t> bytes;
    Plane plane;
};
void CopyArea(const Plane& p, const SurfaceRect& area, PlaneCopy& out);

}  // namespace fxhost::blit
