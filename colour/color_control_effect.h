// Per-channel gain or brightness and contrast through a table, each with an
// inverted form; 32-bit surfaces only.
#pragma once

#include <cstdint>

#include "render/render_interface.h"

constexpr uint32_t kColorControlVersion = 2304;

struct ColorControlParams {
    uint8_t reserved[8];
    uint32_t recordVersion;
    uint32_t useRgb;  // the gain pass runs
    int32_t redParam;
    int32_t greenParam;
    int32_t blueParam;
    uint32_t useBrightnessContrast;  // the table pass runs
    int32_t brightnessParam;
    int32_t contrastParam;
    uint8_t inverse;  // the output word is complemented
};

// The brightness-contrast table: contrast 128 and brightness 128 are neutral.
void BuildBrightnessContrastTable(int32_t brightness, int32_t contrast, uint8_t table[256]);

class ColorControlEffect : public CRenderInterface {
public:
    explicit ColorControlEffect(const ColorControlParams* record);
    bool IsReady() override;
    void Render() override;

    bool effectReady;
    ColorControlParams record;
};
