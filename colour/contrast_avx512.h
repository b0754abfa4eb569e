// The contrast loops with AVX-512 byte permutes, for tables whose reach fits.
#pragma once

#include <cstdint>

#include "colour/contrast_kernels.h"
#include "render/pixel_rows.h"

// 32-bit rows: the luminance of 64 pixels at a time becomes byte indexes
// into the raise and lower tables, applied with saturating byte arithmetic.
void LuminanceDeltasAvx512(const PixelRows& rows, const LuminanceTables& t, uint32_t xorMask);

// 16-bit rows of format 1 or 2: every expanded luminance is a multiple of 4
// (8r + 12g + 4b), so the field deltas cover them; they are added to the
// 5-bit fields, which are then clamped.
void Luminance16Avx512(const PixelRows& rows, const LuminanceTables& t, int32_t format, uint16_t xorMask);
