#include "temporal/motion_blur.h"

#include <algorithm>
#include <cstring>

#include "render/offscreen.h"
#include "shell/log.h"
#include "shell/module.h"
#include "temporal/motion_blur_kernels.h"

namespace {

// Words of wordBytes in one row of the surface's picture.
int32_t WordsInRow(const Surface& s, int32_t wordBytes) {
    const int32_t bytes = SurfaceWidth(s) * (s.depth >> 3);
    return bytes > 0 ? bytes / wordBytes : 0;
}

// The kernels walk the source's rows and width over the trail; the walk is
// cut to what both surfaces hold, for a source the host has since replaced.
PixelRows TrailLoop(const Surface& source, Surface& trail, int32_t wordBytes) {
    PixelRows rows{source.pixels, source.rowBytes, trail.pixels, trail.rowBytes, 0, 0};
    if (!source.pixels || !trail.pixels) return rows;
    const int32_t height = std::min(SurfaceHeight(source), SurfaceHeight(trail));
    const int32_t width =
        std::min({SurfaceWidth(source), WordsInRow(source, wordBytes), WordsInRow(trail, wordBytes)});
    if (height > 0 && width > 0) {
        rows.rows = height;
        rows.width = width;
    }
    return rows;
}

}  // namespace

uint32_t MotionBlurInterval(int32_t hostValue) {
    const int32_t v = hostValue >> 1;
    return static_cast<uint32_t>(v >= 64 ? v - 60 : v / 15);
}

MotionBlurEffect::MotionBlurEffect(const MotionBlurParams* params) {
    firstFrame = 1;
    level = MachineSimdLevel();
    if (!valid || !source) {
        LogToConsole("Motion Blur Render interface failled!\n");
        failed = 1;
        return;
    }
    failed = 0;
    trail = nullptr;
    if (destination->depth != 16 && destination->depth != 32) {
        LogToConsole("Motion Blur bad colors!\n");
        failed = 1;
        return;
    }
    formatCopy = static_cast<uint32_t>(destination->pixelFormat);
    std::memcpy(&record, params, sizeof record);
    if (record.recordRevision < 2) {
        record.skipFromParameter = 0;
        record.reserved = 0;
        record.fixedSkip = 1;
        record.skipParameter = 7;
        record.secondValue = 25;
        record.secondParameter = 8;
    }
    if (record.recordVersion != kMotionBlurVersion) {
        record.recordVersion = kMotionBlurVersion;
        record.blendMode = 1;
        record.recordRevision = 2;
    }
    // With a rectangle the offscreen is 32 bits deep whatever the surfaces'
    // depth; the 16-bit mixes work on the first half of each of its rows.
    trail = NewOffscreen(frame, &source->bounds);
    if (!trail) {
        LogToConsole("Motion Blur offscreen failled!\n");
        failed = 1;
    } else {
        frameCounter = 0;
    }
}

MotionBlurEffect::~MotionBlurEffect() {
    FreeOffscreen(trail);
    trail = nullptr;
}

void MotionBlurEffect::MixIntoTrail() {
    const bool half = record.blendMode == 0;
    switch (destination->pixelFormat) {
    case kFormat555: {
        const PixelRows rows = TrailLoop(*source, *trail, 2);
        return half ? BlendHalf555(rows, level) : BlendThreeQuarter555(rows, level);
    }
    case kFormat565: {
        const PixelRows rows = TrailLoop(*source, *trail, 2);
        return half ? BlendHalf565(rows, level) : BlendThreeQuarter565(rows, level);
    }
    case kFormatXrgb: {
        const PixelRows rows = TrailLoop(*source, *trail, 4);
        return half ? BlendHalf32(rows, level) : BlendThreeQuarter32(rows, level);
    }
    default: return;  // no mix: the trail is shown as it is
    }
}

void MotionBlurEffect::BlendAtIntervals() {
    const uint32_t interval =
        record.skipFromParameter ? MotionBlurInterval(FrameParam(frame, record.skipParameter)) : record.fixedSkip;
    if (frameCounter < interval) {
        ++frameCounter;
        return;
    }
    BlitParams blend{};
    blend.blendLevel = 128;
    blend.blendKind = kBlitBlend;
    if (g_blitService && g_blitService->BlitTransform)
        g_blitService->BlitTransform(source, trail, &source->bounds, &trail->bounds, kBlitBlend, &blend);
    frameCounter = 0;
}

void MotionBlurEffect::Render() {
    if (failed) return;
    if (firstFrame) CopySurface(source, trail);
    firstFrame = 0;
    switch (record.blendMode) {
    case 0:
    case 1: MixIntoTrail(); break;
    case 2: BlendAtIntervals(); break;
    default: break;
    }
    CopySurface(trail, destination);
}
