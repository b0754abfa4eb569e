#include "render/render_interface.h"

#include <algorithm>

#include "render/offscreen.h"
#include "shell/module.h"

CRenderInterface::CRenderInterface() {
    valid = false;
    cubeFlag = false;
    destination = source = snapshot = workSurface = hostSource = hostDestination = nullptr;
    frame = &g_frame;
    destination = g_frame.destination;
    source = g_frame.source;
    if (!destination || !source) return;
    pixelFormat = destination->pixelFormat;
    bytesPerPixel = destination->depth >> 3;
    if ((source->depth >> 3) != bytesPerPixel) return;
    pixelShift = bytesPerPixel == 4 ? 2 : bytesPerPixel == 2 ? 1 : 0;
    snapshot = NewOffscreen(&g_frame, nullptr);
    if (!snapshot) return;
    CopySurface(source, snapshot);
    AdoptSource(source);
    dstWidth = SurfaceWidth(*destination);
    dstHeight = SurfaceHeight(*destination);
    dstRowBytes = destination->rowBytes;
    dstRowPad = dstRowBytes - bytesPerPixel * dstWidth;
    startTime = kStartTimeUnset;
    valid = true;
}

CRenderInterface::~CRenderInterface() {
    // The work surface goes with its instance: a host that creates effects
    // on sources of changing sizes must not lose a frame each time.
    FreeOffscreen(workSurface);
    FreeOffscreen(snapshot);
}

bool CRenderInterface::IsReady() { return valid && source; }

void CRenderInterface::CopySurface(Surface* from, Surface* to) {
    CopySurfaceRect(from, to, &from->bounds, &to->bounds, kBlitPlain);
}

void CRenderInterface::CopySurfaceRect(Surface* from, Surface* to, const SurfaceRect* fromRect,
                                       const SurfaceRect* toRect, int32_t mode) {
    if (!g_blitService || !g_blitService->BlitCheckRect || !g_blitService->BlitCopy) return;
    if (g_blitService->BlitCheckRect(toRect, &to->bounds) && from->pixels && to->pixels)
        g_blitService->BlitCopy(from, to, fromRect, toRect, mode);
}

void CRenderInterface::CopySourceToDestination() { CopySurface(source, destination); }

void CRenderInterface::AdoptSource(Surface* surface) {
    if ((surface->depth >> 3) != bytesPerPixel) return;
    source = surface;
    srcWidth = SurfaceWidth(*surface);
    srcHeight = SurfaceHeight(*surface);
    srcRowBytes = surface->rowBytes;
    srcRowPad = srcRowBytes - srcWidth * bytesPerPixel;
}

bool CRenderInterface::MatchSourceToDestination() {
    hostSource = source;
    workSurface = NewOffscreen(frame, nullptr);
    if (!workSurface) return false;
    AdoptSource(workSurface);
    return true;
}

bool CRenderInterface::EnsureSameSize() {
    if (SurfaceWidth(*source) == SurfaceWidth(*destination) &&
        SurfaceHeight(*source) == SurfaceHeight(*destination))
        return true;
    return MatchSourceToDestination();
}

bool CRenderInterface::RedirectDestination(const SurfaceRect* rect) {
    SurfaceRect sourceBounds{0, 0, static_cast<int16_t>(srcHeight), static_cast<int16_t>(srcWidth)};
    workSurface = NewOffscreen(frame, rect ? rect : &sourceBounds);
    if (!workSurface) return false;
    hostDestination = destination;
    destination = workSurface;
    return true;
}

void CRenderInterface::RefreshWorkSurface() {
    if (workSurface && hostSource) CopySurface(hostSource, workSurface);
}

namespace {

// Words of wordBytes that fit in one row of the surface's picture.
int32_t WordsInRow(const Surface& s, int32_t wordBytes) {
    const int32_t rowBytes = SurfaceWidth(s) * (s.depth >> 3);
    return rowBytes > 0 ? rowBytes / wordBytes : 0;
}

}  // namespace

PixelRows CRenderInterface::WordLoop(int32_t wordBytes) const {
    PixelRows rows{source->pixels, source->rowBytes, destination->pixels, destination->rowBytes, 0, 0};
    if (!source->pixels || !destination->pixels) return rows;
    const int32_t height = std::min(SurfaceHeight(*source), SurfaceHeight(*destination));
    const int32_t width = std::min({SurfaceWidth(*source), WordsInRow(*source, wordBytes),
                                    WordsInRow(*destination, wordBytes)});
    if (height > 0 && width > 0) {
        rows.rows = height;
        rows.width = width;
    }
    return rows;
}

PixelRows CRenderInterface::WholeWordLoop(int32_t wordBytes) const {
    PixelRows rows = WordLoop(wordBytes);
    rows.srcStep = rows.srcStep / wordBytes * wordBytes;
    rows.dstStep = rows.dstStep / wordBytes * wordBytes;
    return rows;
}
