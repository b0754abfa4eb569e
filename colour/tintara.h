// Tintara: the table-driven colour effects. Each frame turns an intensity
// into a small table, maps every pixel through it, and in the smooth rows
// filters the finished picture.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/tintara_kernels.h"
#include "colour/tintara_quantise.h"
#include "colour/tintara_tables.h"
#include "render/render_interface.h"

// Values of TintaraParams::tableEffect.
enum TableEffect : int8_t {
    kSineWave = 1,
    kCosineWave = 2,
    kPosterizeLevels = 3,
    kSaturateQuantize = 4,
    kHuePosterize = 5,
    kHueSpecial = 6,
};

struct TintaraParams {
    uint32_t reservedA;
    uint32_t reservedB;
    uint8_t recordVersion;  // 1; anything else brings the forced defaults
    uint8_t quantiseRoute;  // non-zero: per-channel gain and quantise
    int8_t tableEffect;
    uint8_t useHostValue;     // intensity from the frame's parameters
    int8_t storedIntensity;   // percent, when not
    uint8_t hostValueIndex;   // 16 or more reads 0
    int8_t channelSource[3];  // red, green, blue outputs: 1 R, 2 G, 3 B, 4 luminance
    int8_t channelShift[3];
    int32_t channelGain[3];  // percent
    uint8_t channelInvert[3];
    uint8_t smooth;  // the smooth pass follows the colour pass
};
static_assert(offsetof(TintaraParams, recordVersion) == 8);
static_assert(offsetof(TintaraParams, channelSource) == 14);
static_assert(offsetof(TintaraParams, channelGain) == 20);
static_assert(offsetof(TintaraParams, smooth) == 35);
static_assert(sizeof(TintaraParams) == 36);

class Tintara : public CRenderInterface {
public:
    explicit Tintara(const TintaraParams& record);
    void Render() override;

    void RenderWave();
    void RenderLevels();
    void RenderHue();
    // The quantise route: the member of the red source and the three shift
    // conditions; no pass for an unknown red source.
    void RenderQuantised();

    // The intensity as a level, 0..127 from the host's 0..255.
    int32_t IntensityLevel() const;
    // The intensity as a fraction, 1.0 at full.
    float IntensityFraction() const;

    int32_t failed;
    int32_t depthBits;
    TintaraParams settings;
    const uint32_t* rgbToHsv;
    uint8_t channelTable[256][3];
    uint8_t table8[kTable8Size];
    uint8_t table5[kTable5Size + 1];
    // The hue effects' composed table, kept while their tables stay the same.
    HueComposition hueComposition;
    // The quantise route's table of every 16-bit word.
    QuantiseWordTable quantiseWords;

private:
    // The channel map of the wave and level passes, by pixelFormat.
    void MapChannels();
};
