// The stroboscope: the picture fades to a solid colour and back one to four
// times a second, through three per-channel tables baked each frame from the
// time since the first frame. 32-bit surfaces only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/render_interface.h"

constexpr uint32_t kStroboscopeVersion = 2304;

struct StroboscopeParams {
    uint8_t reserved[8];
    uint32_t recordVersion;
    int32_t speedParam;
    int32_t hueParam;
    int32_t softnessParam;
};
static_assert(offsetof(StroboscopeParams, recordVersion) == 8);
static_assert(offsetof(StroboscopeParams, softnessParam) == 20);

struct StrobeColour {
    int32_t red, green, blue;
    bool operator==(const StrobeColour&) const = default;
};

// The flash colour of a host hue value: white for 0, else the hue at full
// saturation and value, with the hue scaled by one division.
StrobeColour StrobeColourOf(int32_t hue);
// The blend weight 0 to 255 at elapsed milliseconds for the host's speed and
// softness values: 0 for the first half of each cycle, then rising.
int32_t StrobeWeight(uint32_t elapsed, int32_t speed, int32_t softness);
// Channel level i blended toward the colour by weight a, over 256.
void BuildStrobeTables(int32_t a, const StrobeColour& colour, uint8_t red[256], uint8_t green[256],
                       uint8_t blue[256]);

class StroboscopeEffect : public CRenderInterface {
public:
    explicit StroboscopeEffect(const StroboscopeParams* record);
    bool IsReady() override;
    void Render() override;

    bool effectReady;
    StroboscopeParams record;
};
