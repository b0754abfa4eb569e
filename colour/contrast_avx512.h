// The contrast loops with AVX-512 byte and word permutes. Each returns false,
// having drawn nothing, when the deltas are so large that a channel's sum
// could wrap in 16 bits; the caller then takes a general loop.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"

// 32-bit rows: the luminance of 64 pixels at a time becomes byte indexes
// into two 768-entry byte tables, the clamped raise and lower of each
// luminance, applied with saturating byte arithmetic.
bool LuminanceDeltasAvx512(const PixelRows& rows, const int16_t deltas[766], uint32_t xorMask);

// 16-bit rows of the given format: every expanded luminance is a multiple of
// 4 (8r + 12g + 4b), so 187 deltas cover them; shifted right 3 they are added
// to the 5-bit fields, which are then clamped.
bool Luminance16Avx512(const PixelRows& rows, const int16_t deltas[766], int32_t format, uint16_t xorMask);
