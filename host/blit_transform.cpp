// BlitTransform: blends (mode 5) and textured quadrilaterals (mode 1).
#include "host/blit_blend.h"
#include "host/blit_quad.h"
#include "host/blit_service.h"

namespace fxhost {

namespace {

using namespace blit;

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
