// The host's blit service: scaled copies, blends and textured quadrilaterals.
#pragma once

#include <cstdint>

#include "render/surface.h"

namespace fxhost {

// The process-wide service record; words 11, 12 and 13 point at the three
// operations below, every other word is null.
BlitService* GetBlitService();

// Non-zero when a is non-empty and lies within b.
int32_t BlitCheckRect(const SurfaceRect* a, const SurfaceRect* b);

// Maps fromRect of from onto toRect of to. Modes 1 and 4: nearest neighbour;
// 0x81: each target pixel is the average of the source pixels that fall into
// it. Rectangles are in each surface's bounds coordinates; target pixels
// outside to's bounds are skipped, source positions are clamped to from's
// bounds. Same depth: words move as they are; different depths convert
// between 32-bit xRGB and the 16-bit side's layout.
void BlitCopy(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
              int32_t mode);

// Mode 5: blends fromRect of from over toRect of to, nearest neighbour as
// BlitCopy mode 1, with params->blendLevel as the source's weight w in
// percent, clamped to 0..100: each channel lane becomes
// (s * w + d * (100 - w) + 50) / 100. Same depth mixes in the target's lanes
// (a 32-bit word's four bytes; 5-6-5; 5-5-5 and its top bit), so 100 copies
// the source word and 0 leaves the target alone; mixed depths mix 8-bit
// channels.
//
// Mode 1 with all four corners' destination positions zero: as BlitCopy
// mode 1. Mode 1 with corners: fills the quadrilateral of the corners'
// destination positions with the source, mapped projectively from the
// corners' 16.16 source positions, nearest neighbour (blit_quad.h has the
// exact rules). A pixel is filled when its centre lies inside the quad; each
// row's covered run is clipped to the destination, so a face partly outside
// it draws its inside part, and pixels outside the quad or the destination
// are left alone. Zero-area or singular quads, and any destination position
// beyond +-2^24, draw nothing. Sampling: along each run the exact projective
// source position is computed at anchors (the run's first pixel, every L
// pixels on, its last pixel) and stepped linearly in 16.16 in between, L the
// largest power of two up to 64 that keeps the stepping within 1/16 of a
// source pixel of the exact map on that run; the sampled pixel is the
// stepped position rounded down, clamped to fromRect within from's bounds.
// It is the exact map's pixel or, where that position lies within about
// 1/16 of a pixel edge, its neighbour; an affine map exact in 16.16 (an
// axis-aligned integer scale, say) samples exactly.
void BlitTransform(Surface* from, Surface* to, const SurfaceRect* fromRect,
                   const SurfaceRect* toRect, int32_t mode, BlitParams* params);

}  // namespace fxhost
