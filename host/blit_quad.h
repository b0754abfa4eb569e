// Textured quadrilaterals for BlitTransform mode 1 with corners.
#pragma once

#include "render/surface.h"

namespace fxhost::blit {

// Fills the quadrilateral of the corners' destination positions (whole
// pixels, in order around the quad, in to's bounds coordinates) with the
// source mapped projectively from the corners' 16.16 source positions. A
// target pixel is filled when its centre lies inside the quad (even-odd
// rule); it takes the source pixel under the mapped centre, clamped to
// fromRect within from's bounds (nothing is drawn when they do not meet).
// Pixels outside the quad or outside to's bounds are left alone. Zero-area
// quads, quads whose mapping is singular and destination positions beyond
// +-2^24 draw nothing. toRect is not used.
void FillQuad(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
              const BlitCorner (&corners)[4]);

}  // namespace fxhost::blit
