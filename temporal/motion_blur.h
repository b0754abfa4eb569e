// The motion blur: a running image, the trail, kept in an offscreen of the
// source's size. Each frame mixes the source into the trail and shows the
// trail, so that moving pictures leave a fading wake.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/render_interface.h"
#include "render/simd_level.h"

constexpr uint32_t kMotionBlurVersion = 2302;

struct MotionBlurParams {
    uint8_t header[8];
    uint32_t recordVersion;
    int8_t blendMode;  // 0: half, 1: three-quarter trail, 2: host blend at intervals, else none
    uint8_t skipFromParameter;
    uint8_t reserved;
    int8_t recordRevision;
    uint32_t fixedSkip;
    int32_t skipParameter;
    uint32_t secondValue;
    uint32_t secondParameter;
};
static_assert(offsetof(MotionBlurParams, recordVersion) == 8);
static_assert(offsetof(MotionBlurParams, blendMode) == 12);
static_assert(offsetof(MotionBlurParams, recordRevision) == 15);
static_assert(offsetof(MotionBlurParams, fixedSkip) == 16);
static_assert(offsetof(MotionBlurParams, skipParameter) == 20);
static_assert(offsetof(MotionBlurParams, secondParameter) == 28);
static_assert(sizeof(MotionBlurParams) == 32);

// The interval of the host-blend mode for a host value: slow at first (one
// more frame every 15 steps of v = value / 2), then one more frame a step
// from v = 64 on.
uint32_t MotionBlurInterval(int32_t hostValue);

class MotionBlurEffect : public CRenderInterface {
public:
    explicit MotionBlurEffect(const MotionBlurParams* params);
    ~MotionBlurEffect() override;
    void Render() override;

    uint32_t failed;
    uint32_t formatCopy;
    uint32_t firstFrame;
    MotionBlurParams record;
    uint32_t frameCounter;
    Surface* trail;
    SimdLevel level;

private:
    void MixIntoTrail();
    void BlendAtIntervals();
};
