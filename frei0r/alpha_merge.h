// The module writes 0 in the top byte of 32-bit pixels; frei0r hosts
// composite with it. Output frames take their alpha from the input frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/blit_level.h"

namespace fxbridge {

// out[i] = colour[i]'s low three bytes with alphaFrom[i]'s top byte, for n
// words; colour may be out itself. Uses the blit service's vector level.
void MergeAlpha(const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out, size_t n);
void MergeAlphaAt(fxhost::BlitLevel level, const uint32_t* colour, const uint32_t* alphaFrom, uint32_t* out,
                  size_t n);

}  // namespace fxbridge
