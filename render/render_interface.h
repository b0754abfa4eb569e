// The base of every effect: what it learns from the two surfaces at
// construction, and the helpers that subclasses call.
#pragma once

#include <cstdint>

#include "render/pixel_rows.h"
#include "render/surface.h"
#include "shell/frame_params.h"

constexpr uint32_t kStartTimeUnset = 0xFFFFFFFFu;

class CRenderInterface {
public:
    // Takes source and destination from g_frame. Instances are zero-filled
    // before construction, so a constructor that stops early leaves the rest 0.
    CRenderInterface();
    CRenderInterface(const CRenderInterface&) = delete;
    CRenderInterface& operator=(const CRenderInterface&) = delete;

    virtual bool IsReady();
    virtual void Render() = 0;
    virtual ~CRenderInterface();

    // Copies the whole of from onto the whole of to through the host, scaling
    // if their sizes differ. Skipped when the host refuses the target or a
    // surface has no pixels.
    void CopySurface(Surface* from, Surface* to);
    void CopySurfaceRect(Surface* from, Surface* to, const SurfaceRect* fromRect,
                         const SurfaceRect* toRect, int32_t mode);
    void CopySourceToDestination();
    // Reads from surface from now on, if its depth is the effect's.
    void AdoptSource(Surface* surface);
    // Makes a destination-sized offscreen and reads from it; false when it
    // cannot be made.
    bool MatchSourceToDestination();
    // True when source and destination have the same size, else the result of
    // MatchSourceToDestination.
    bool EnsureSameSize();
    // Draws into an offscreen of rect's size (or the source's) and keeps the
    // real destination in hostDestination.
    bool RedirectDestination(const SurfaceRect* rect);
    // The per-frame refresh of workSurface from the host's source.
    void RefreshWorkSurface();
    // Source and destination rows for a loop over words of wordBytes, each
    // surface stepped by its own rowBytes: the source's rows and width, cut
    // to what both pictures hold. Empty when either has no pixels.
    PixelRows WordLoop(int32_t wordBytes) const;
    // The same, with each row step rounded down to whole words.
    PixelRows WholeWordLoop(int32_t wordBytes) const;

    uint32_t startTime;
    bool valid;
    int32_t dstHeight, dstWidth;
    int32_t srcHeight, srcWidth;
    int32_t bytesPerPixel;
    int32_t pixelShift;
    int32_t srcRowBytes, dstRowBytes;
    int32_t srcRowPad, dstRowPad;
    int32_t pixelFormat;
    bool cubeFlag;
    Surface* destination;
    Surface* source;
    Surface* snapshot;
    FrameParams* frame;
    Surface* workSurface;  // released with the instance
    Surface* hostSource;
    Surface* hostDestination;
};
