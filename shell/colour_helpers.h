// Integer hue conversion and the level curve, shared with the host.
#pragma once

#include <cstdint>

// Full hue circle in 256ths of a degree.
constexpr int32_t kHueCircle = 92160;

// hue in 256ths of a degree; saturation and value 0..255. 256 stands for 255
// in the scaling, so full saturation reaches 0 exactly.
void HsvToRgb(uint32_t* red, uint32_t* green, uint32_t* blue, int32_t hue, int32_t saturation,
              int32_t value);
// The host's hue 0..255; 0 is white, the position without colour.
void HueToRGB(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue);
// value scaled by 0.25 (level 0) to 4 (level 255), 128 neutral, rounded.
float LevelCurve(int32_t level, float value);
