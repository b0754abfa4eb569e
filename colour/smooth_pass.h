// The smooth pass: every inner pixel becomes a weighted sum of its eight
// neighbours and of itself, in 16.16 fixed point, and a one-pixel frame
// around the picture turns black. Rows are unpacked once into four-byte
// slots and slide through three row buffers, so one filter loop serves all
// pixel formats and the pass can run in place.
#pragma once

#include <cstdint>

#include "colour/smooth_kernels.h"
#include "render/simd_level.h"
#include "render/surface.h"

// The neighbour weight is smoothAmount times neighbourGain times 8192 in
// single precision, truncated (8192 makes the eight neighbours count as one);
// the centre weight is (1 - smoothAmount) times 65536 in double, truncated.
// Values out of the 32-bit range give INT32_MIN.
SmoothWeightPair SmoothWeights(float smoothAmount, float neighbourGain);

// Filters the picture of from (its bounds and pixelFormat) into to (only its
// pixels, depth and rowBytes). Returns 1 when the pass ran, -1 when a block
// could not be allocated, in which case to is untouched.
int32_t SmoothSurface(Surface* from, Surface* to, int32_t unused, float smoothAmount,
                      float neighbourGain);

// The same with weights already converted and the vector level as an upper
// bound.
int32_t SmoothSurfaceWeighted(Surface* from, Surface* to, SmoothWeightPair weights,
                              SimdLevel level = MachineSimdLevel());
