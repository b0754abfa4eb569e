// Textured quadrilaterals for BlitTransform mode 1 with corners.
#pragma once

#include "render/surface.h"

namespace fxhost::blit {

// Fills the quadrilateral of the corners' destination positions (whole
// pixels, in order around the quad, in to's bounds coordinates) with the
// source mapped projectively from the corners' 16.16 source positions.
//
// Coverage: a target pixel is filled when its centre lies inside the quad
// (even-odd rule: on each row, where each edge crosses the row's centre line,
// the first pixel whose centre is at or right of the crossing starts or ends
// a run). Runs are clipped to to's bounds; pixels outside the quad or outside
// to's bounds are left alone. Zero-area quads, quads whose mapping is
// singular and destination positions beyond +-2^24 draw nothing. toRect is
// not used.
//
// Sampling: the exact source position of a pixel centre (x + 0.5, y + 0.5)
// is (u, v) = (a / w, b / w), where (a, b, w) is QuadMap's matrix times
// (x + 0.5, y + 0.5, 1), each row's sum taken left to right in double. Along
// each clipped run [x0, x1) of a row it is computed at anchor pixels x0,
// x0 + L, x0 + 2L, ... and x1 - 1, with L = AnchorSpacing for the run, and
// taken to 16.16 fixed point as floor(u * 65536), held within the int32
// range (NaN goes to the bottom). The pixels after an anchor, up to the next
// one n pixels on, step from it by (next - this) / n per pixel, rounded
// toward zero. A pixel takes the source pixel (U >> 16, V >> 16), clamped to
// fromRect within from's bounds (nothing is drawn when they do not meet).
// So the sampled pixel is the exact map's except where that position lies
// within about kAnchorStray of a pixel edge, and then its neighbour; an
// affine map whose positions are exact in 16.16 steps exactly.
//
// A mapping whose w does not keep one sign at the four corners, so that it
// may pass through infinity among them (only self-crossing or dented corner
// sets do that), takes the exact position at every pixel instead, and leaves
// a pixel alone where w is zero or not finite.
void FillQuad(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
              const BlitCorner (&corners)[4]);

// The projective map from target positions to source positions (in pixels)
// of a quad's corners, up to scale; false when it is singular.
struct QuadMap {
    double m[3][3];
};
bool MakeQuadMap(const BlitCorner (&corners)[4], QuadMap& out);

// The anchor spacing on the run [x0, x1) of row y: the largest power of two
// up to kMaxAnchorSpacing for which stepping linearly between exact
// positions that far apart strays at most kAnchorStray source pixels from
// the map, by the bound its second derivative gives on the run. Near-affine
// runs get the largest, runs seen at a grazing angle close ones.
constexpr int kMaxAnchorSpacing = 64;
constexpr double kAnchorStray = 1.0 / 16;
int AnchorSpacing(const QuadMap& h, int y, int x0, int x1);

}  // namespace fxhost::blit
