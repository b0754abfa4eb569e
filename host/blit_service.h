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

// Mode 5: blends fromRect of from over toRect of to with params->blendLevel as
// the source's weight in percent, clamped to 0..100. Mode 1 with all four
// corners' destination positions zero: as BlitCopy mode 1. Mode 1 with
// corners: fills the quadrilateral of the corners' destination positions with
// the source, mapped projectively from the corners' 16.16 source positions,
// nearest neighbour, clipped to the destination; the rest is left alone.
void BlitTransform(Surface* from, Surface* to, const SurfaceRect* fromRect,
                   const SurfaceRect* toRect, int32_t mode, BlitParams* params);

}  // namespace fxhost
