// Offscreen surfaces made and owned by the module. Rows are padded to 16
// bytes; the padding is cleared, the visible pixels are not.
#pragma once

#include "render/surface.h"
#include "shell/frame_params.h"

// Allocates pixels for the surface's bounds and depth, padding rows to 16
// bytes. Leaves pixels null when the allocation fails.
void AllocatePixels(Surface* surface);
// With rect: an offscreen of its size at 32 bits, origin 0,0. Without: one of
// the size and depth of frame->destination. Null when there is nothing to
// copy the size from, the size is empty, or memory runs out.
Surface* NewOffscreen(FrameParams* frame, const SurfaceRect* rect);
// Releases the pixels if the surface owns them, then the record.
void FreeOffscreen(Surface* surface);
