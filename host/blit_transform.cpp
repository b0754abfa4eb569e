// BlitTransform: blends (mode 5) and textured quadrilaterals (mode 1).
#include <vector>

#include "host/blit_pixels.h"
#include "host/blit_quad.h"
#include "host/blit_service.h"

namespace fxhost {

namespace {

using namespace blit;

uint32_t BlendLanes(uint32_t s, uint32_t d, uint32_t w, const Lanes& lanes) {
    uint32_t out = 0;
    for (int k = 0; k < lanes.count; ++k) {
        const uint32_t mask = (1u << lanes.bits[k]) - 1u;
        const uint32_t sv = (s >> lanes.shift[k]) & mask;
        const uint32_t dv = (d >> lanes.shift[k]) & mask;
        out |= ((sv * w + dv * (100u - w) + 50u) / 100u) << lanes.shift[k];
    }
    return out;
}

// Weighted mix of source over target, nearest-neighbour mapped. Words of the
// same depth mix in the target's channel lanes (a 32-bit word's top byte is
// mixed like a channel, so level 100 copies the word and 0 keeps it). A
// 16-bit source is widened to the 32-bit target's layout; over a 16-bit
// target a 32-bit source mixes with the widened target word in 8-bit
// channels and the result is packed.
void Blend(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t level) {
    Plane f, t;
    if (!from || !to || !fromRect || !toRect || !MakePlane(*from, f) || !MakePlane(*to, t)) return;
    const SurfaceRect fr = *fromRect, tr = *toRect;
    if (RectWidth(fr) <= 0 || RectHeight(fr) <= 0 || RectWidth(tr) <= 0 || RectHeight(tr) <= 0) return;
    const Span xs = ClipSpan(tr.left, tr.right, t.left, t.right);
    const Span ys = ClipSpan(tr.top, tr.bottom, t.top, t.bottom);
    if (xs.size() == 0 || ys.size() == 0) return;

    PlaneCopy copy;
    if (Overlaps(f, t)) {
        CopyArea(f, ReachableArea(f, fr), copy);
        f = copy.plane;
    }
    std::vector<int> srcX, srcY;
    NearestMap(f, fr, tr, xs, ys, srcX, srcY);
    const auto w = static_cast<uint32_t>(level < 0 ? 0 : (level > 100 ? 100 : level));
    const Conv conv = ChooseConv(f, t);
    for (int y = ys.begin; y < ys.end; ++y) {
        const int sy = srcY[static_cast<size_t>(y - ys.begin)];
        for (int x = xs.begin; x < xs.end; ++x) {
            const uint32_t s = LoadWord(At(f, srcX[static_cast<size_t>(x - xs.begin)], sy), f.bpp);
            uint8_t* dp = At(t, x, y);
            const uint32_t d = LoadWord(dp, t.bpp);
            uint32_t out;
            if (f.bpp == t.bpp) {
                out = BlendLanes(s, d, w, LanesOf(t));
            } else if (t.bpp == 4) {
                out = BlendLanes(Convert(conv, s), d, w, kLanes32);
            } else {
                out = Convert(conv, BlendLanes(s, Widen16(d, t.is555), w, kLanes32));
            }
            StoreWord(dp, t.bpp, out);
        }
    }
}

bool CornersUnset(const BlitParams& p) {
    for (const BlitCorner& c : p.corners) {
        if (c.dstX != 0 || c.dstY != 0) return false;
    }
    return true;
}

void TransformImpl(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
                   int32_t mode, BlitParams* params) {
    if (mode == kBlitBlend) {
        if (params != nullptr) Blend(from, to, fromRect, toRect, params->blendLevel);
        return;
    }
    if (params == nullptr || CornersUnset(*params)) {
        BlitCopy(from, to, fromRect, toRect, kBlitPlain);
        return;
    }
    FillQuad(from, to, fromRect, toRect, params->corners);
}

}  // namespace

// Mode 5 blends; every other mode acts as mode 1. Allocation failure leaves
// the target alone rather than throwing into the caller.
void BlitTransform(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
                   int32_t mode, BlitParams* params) {
    try {
        TransformImpl(from, to, fromRect, toRect, mode, params);
    } catch (...) {
    }
}

}  // namespace fxhost
