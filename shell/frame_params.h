// The one record of per-frame values that every effect instance reads.
#pragma once

#include <cstdint>

#include "render/surface.h"

struct FrameParams {
    Surface* source;       // the surface most recently given as source
    Surface* destination;  // the destination of the latest creation
    uint32_t time;         // milliseconds, as the host counts them
    const char* resourcePath;
    int16_t params[16];  // the host fills the first four
};

extern FrameParams g_frame;

// A parameter by index; an index above 15, taken as unsigned, reads 0.
inline int32_t FrameParam(const FrameParams* frame, int32_t index) {
    return static_cast<uint32_t>(index) <= 15 ? frame->params[index] : 0;
}
