// Colour cycling: each channel runs through its range with a period of its
// own, shifted in phase by a host value, and is wrapped, scaled or folded.
// The source is sampled to the destination's size, so the two may differ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "colour/cycling_tables.h"
#include "render/render_interface.h"

struct ColorCyclingParams {
    uint8_t header[8];  // never read
    float secondsRed, secondsGreen, secondsBlue;
    int32_t useTimeRed, useTimeGreen, useTimeBlue;  // non-zero: the channel has a time term
    uint16_t parameterIndexRed, parameterIndexGreen, parameterIndexBlue;
    uint8_t flags;
};
static_assert(offsetof(ColorCyclingParams, secondsRed) == 8);
static_assert(offsetof(ColorCyclingParams, useTimeRed) == 20);
static_assert(offsetof(ColorCyclingParams, parameterIndexRed) == 32);
static_assert(offsetof(ColorCyclingParams, flags) == 38);

// Bits of ColorCyclingParams::flags.
enum CycleFlags : uint8_t {
    kCycleFlagScale = 0x01,   // alone: the scale style
    kCycleFlagRed = 0x02,     // red uses its parameter
    kCycleFlagGreen = 0x04,   // green uses its parameter
    kCycleFlagBlue = 0x08,    // blue uses its parameter
    kCycleFlagTime = 0x10,    // the time terms are on
    kCycleFlagParams = 0x20,  // the parameters are on
    kCycleFlagBounce = 0x80,  // alone: the bounce style
};

class ColorCycling : public CRenderInterface {
public:
    explicit ColorCycling(const ColorCyclingParams* record);
    bool IsReady() override;
    void Render() override;
    virtual void UpdateChannels();
    virtual void ProcessFrame();

    int32_t periodRed, periodGreen, periodBlue;  // ms; 0 no time term, negative backwards
    int32_t stepX, stepY;                         // source pixels a destination pixel, 16.16
    int32_t parameterRed, parameterGreen, parameterBlue;  // -1: none
    CycleStyle style;
    int32_t valueRed, valueGreen, valueBlue;
    uint8_t ready;

private:
    // Runs the three tables over the destination, sampling the source.
    void CycleRows(int32_t wordBytes, const uint8_t* red, const uint8_t* green, const uint8_t* blue);

    std::vector<uint8_t> sampledRow;  // one row of the source at the destination's width
};
