#include "shell/factory.h"

#include "colour/color_control_effect.h"
#include "shell/frame_params.h"

namespace {

using Builder = CRenderInterface* (*)();

CRenderInterface* ColorControl(uint32_t useRgb, uint32_t useBrightnessContrast, uint8_t inverse) {
    ColorControlParams record{};
    record.recordVersion = kColorControlVersion;
    record.useRgb = useRgb;
    record.redParam = 0;
    record.greenParam = 1;
    record.blueParam = 2;
    record.useBrightnessContrast = useBrightnessContrast;
    record.brightnessParam = 0;
    record.contrastParam = 1;
    record.inverse = inverse;
    return NewZeroedEffect<ColorControlEffect>(&record);
}

struct FactoryRow {
    const char* name;
    Builder build;  // null: the class is not part of this build
};

// clang-format off
const FactoryRow kFactoryRows[kFactoryNameCount] = {
    {"RGBControl", [] { return ColorControl(1, 0, 0); }},
    {"Brightness Contrast", [] { return ColorControl(0, 1, 0); }},
    {"RGBControl Inverse", [] { return ColorControl(1, 0, 1); }},
    {"Brightness Contrast Inverse", [] { return ColorControl(0, 1, 1); }},
    {"Stroboscope", nullptr},
    {"Triangle Kaleido", nullptr},
    {"Cyclic Triangle Kaleido", nullptr},
    {"Square Kaleido", nullptr},
    {"Square Kaleido Cyclic", nullptr},
    {"Hexagon Kaleido", nullptr},
    {"Hexagon Kaleido Cyclic", nullptr},
    {"Lozenge Kaleido", nullptr},
    {"Lozenge Kaleido Cyclic", nullptr},
    {"AsciiArt1", nullptr},
    {"AsciiArt2", nullptr},
    {"Cube3D", nullptr},
    {"Cube3DConstant", nullptr},
    {"RGB Cycling Slow", nullptr},
    {"RGB Cycling Fast", nullptr},
    {"MotionBlur", nullptr},
    {"Solarize", nullptr},
    {"Solarize Smooth", nullptr},
    {"Inverse Solarize", nullptr},
    {"Inverse Solarize Smooth", nullptr},
    {"Posterize", nullptr},
    {"Posterize Smooth", nullptr},
    {"Saturate Quantize", nullptr},
    {"Saturate Quantize Smooth", nullptr},
    {"Posterize Hue", nullptr},
    {"Posterize Hue Smooth", nullptr},
    {"Tinta Special FX", nullptr},
    {"Tinta Special FX Smooth", nullptr},
    {"OldMovieClean", nullptr},
    {"OldMovieDirty", nullptr},
    {"Brightness Contrast XT", nullptr},
    {"CONTRAST_BRIGHTNESS old", nullptr},
    {"Contrast_Bright_Invert old", nullptr},
    {"Contrast Brightness XT Inverse", nullptr},
};
// clang-format on

}  // namespace

const char* FactoryName(int index) {
    return index >= 0 && index < kFactoryNameCount ? kFactoryRows[index].name : nullptr;
}

CRenderInterface* CreateEffect(const char* name, Surface* source, Surface* destination) {
    g_frame.source = source;
    g_frame.destination = destination ? destination : source;
    for (const FactoryRow& row : kFactoryRows) {
        if (std::strcmp(name, row.name) != 0) continue;
        return row.build ? row.build() : nullptr;
    }
    return nullptr;
}
