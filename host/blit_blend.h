// BlitTransform mode 5: weighted mixes of a source over a target.
#pragma once

#include <cstdint>

#include "render/surface.h"

namespace fxhost::blit {

// A channel mixes as (s * w + d * (100 - w) + 50) / 100 with w in 0..100, so
// the dividend never exceeds kBlendMax. The loops divide by multiplying:
// (x * kDiv100Mul) >> (16 + kDiv100Shift) is x / 100 for every x up to
// kBlendMax, and the vector loops take it as the high 16 bits of a 16-bit
// product shifted right by kDiv100Shift.
constexpr uint32_t kBlendMax = 255 * 100 + 50;
constexpr uint32_t kDiv100Mul = 41944;  // ceil(2^22 / 100)
constexpr int kDiv100Shift = 6;

constexpr uint32_t Div100(uint32_t x) { return (x * kDiv100Mul) >> (16 + kDiv100Shift); }

// Blends fromRect of from over toRect of to, nearest-neighbour mapped, with
// level (clamped to 0..100) as the source's weight in percent.
void Blend(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t level);

}  // namespace fxhost::blit
