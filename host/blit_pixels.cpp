#include "host/blit_pixels.h"

namespace fxhost::blit {

bool MakePlane(const Surface& s, Plane& out) {
    if (s.pixels == nullptr || (s.depth != 16 && s.depth != 32)) return false;
    const int w = RectWidth(s.bounds);
    const int h = RectHeight(s.bounds);
    const int bpp = s.depth / 8;
    if (w <= 0 || h <= 0 || s.rowBytes < w * bpp) return false;
    out.pixels = s.pixels;
    out.rowBytes = s.rowBytes;
    out.bpp = bpp;
    out.top = s.bounds.top;
    out.left = s.bounds.left;
    out.bottom = s.bounds.bottom;
    out.right = s.bounds.right;
    out.is555 = s.pixelFormat == kFormat555;
    return true;
}

Conv ChooseConv(const Plane& from, const Plane& to) {
    if (from.bpp == to.bpp) return from.bpp == 4 ? Conv::Same32 : Conv::Same16;
    if (from.bpp == 4) return to.is555 ? Conv::ToP555 : Conv::ToP565;
    return from.is555 ? Conv::FromP555 : Conv::FromP565;
}

void NearestMap(const Plane& from, const SurfaceRect& fromRect, const SurfaceRect& toRect,
                Span xs, Span ys, std::vector<int>& srcX, std::vector<int>& srcY) {
    const int sw = RectWidth(fromRect), sh = RectHeight(fromRect);
    const int tw = RectWidth(toRect), th = RectHeight(toRect);
    srcX.resize(static_cast<size_t>(xs.size()));
    srcY.resize(static_cast<size_t>(ys.size()));
    for (int x = xs.begin; x < xs.end; ++x) {
        const int sx = NearestSource(x - toRect.left, tw, fromRect.left, sw);
        srcX[static_cast<size_t>(x - xs.begin)] = Clamp(sx, from.left, from.right - 1);
    }
    for (int y = ys.begin; y < ys.end; ++y) {
        const int sy = NearestSource(y - toRect.top, th, fromRect.top, sh);
        srcY[static_cast<size_t>(y - ys.begin)] = Clamp(sy, from.top, from.bottom - 1);
    }
}

bool Overlaps(const Plane& a, const Plane& b) {
    auto extent = [](const Plane& p) {
        return static_cast<uintptr_t>((p.bottom - p.top - 1) * p.rowBytes + (p.right - p.left) * p.bpp);
    };
    const auto a0 = reinterpret_cast<uintptr_t>(a.pixels);
    const auto b0 = reinterpret_cast<uintptr_t>(b.pixels);
    return a0 < b0 + extent(b) && b0 < a0 + extent(a);
}

SurfaceRect ReachableArea(const Plane& p, const SurfaceRect& rect) {
    const int left = Clamp(rect.left, p.left, p.right - 1);
    const int right = Clamp(rect.right - 1, p.left, p.right - 1) + 1;
    const int top = Clamp(rect.top, p.top, p.bottom - 1);
    const int bottom = Clamp(rect.bottom - 1, p.top, p.bottom - 1) + 1;
    return SurfaceRect{static_cast<int16_t>(top), static_cast<int16_t>(left),
                       static_cast<int16_t>(bottom), static_cast<int16_t>(right)};
}

void CopyArea(const Plane& p, const SurfaceRect& area, PlaneCopy& out) {
    const int w = RectWidth(area), h = RectHeight(area);
    const size_t rowLen = static_cast<size_t>(w) * static_cast<size_t>(p.bpp);
    out.bytes.resize(rowLen * static_cast<size_t>(h));
    for (int y = 0; y < h; ++y) {
        std::memcpy(out.bytes.data() + rowLen * static_cast<size_t>(y), At(p, area.left, area.top + y), rowLen);
    }
    out.plane = p;
    out.plane.pixels = out.bytes.data();
    out.plane.rowBytes = static_cast<ptrdiff_t>(rowLen);
    out.plane.top = area.top;
    out.plane.left = area.left;
    out.plane.bottom = area.bottom;
    out.plane.right = area.right;
}

}  // namespace fxhost::blit
