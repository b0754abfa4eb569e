#include "shell/catalogue.h"

#include <cstring>

#include "shell/log.h"

// clang-format off
const EffectCatalogRow kEffectCatalogue[kCatalogueSize] = {
    {"RGBControl", {"red", "green", "blue", ""}, {255, 255, 255, 255}},
    {"Brightness Contrast", {"brightness", "contrast", "", ""}, {128, 128, 255, 255}},
    {"RGBControl Inverse", {"red", "green", "blue", ""}, {255, 255, 255, 255}},
    {"Brightness Contrast Inverse", {"brightness", "contrast", "", ""}, {128, 128, 255, 255}},
    {"Brightness Contrast XT", {"Low", "Medium", "High", ""}, {0, 255, 128, 255}},
    {"Contrast Brightness XT Inverse", {"Low", "Medium", "High", ""}, {0, 255, 128, 255}},
    {"Stroboscope", {"Speed", "Hue", "Softness", ""}, {52, 0, 255, 255}},
    {"RGB Cycling Slow", {"Red", "Green", "Blue", ""}, {128, 128, 128, 255}},
    {"RGB Cycling Fast", {"Red", "Green", "Blue", ""}, {128, 128, 128, 255}},
    {"Triangle Kaleido", {"Rotation", "Grid", "Scale", ""}, {128, 128, 128, 128}},
    {"Cyclic Triangle Kaleido", {"", "", "", ""}, {255, 255, 255, 255}},
    {"Square Kaleido", {"Rotation", "Grid", "Scale", ""}, {128, 128, 128, 128}},
    {"Square Kaleido Cyclic", {"", "", "", ""}, {255, 255, 255, 255}},
    {"Hexagon Kaleido", {"Rotation", "Grid", "Scale", ""}, {128, 128, 128, 128}},
    {"Hexagon Kaleido Cyclic", {"", "", "", ""}, {255, 255, 255, 255}},
    {"Lozenge Kaleido", {"Rotation", "Grid", "Scale", ""}, {128, 128, 128, 128}},
    {"Lozenge Kaleido Cyclic", {"", "", "", ""}, {255, 255, 255, 255}},
    {"Solarize", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Solarize Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Inverse Solarize", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Inverse Solarize Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Posterize", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Posterize Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Saturate Quantize", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Saturate Quantize Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Posterize Hue", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Posterize Hue Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Tinta Special FX", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
    {"Tinta Special FX Smooth", {"Intensity", "", "", ""}, {255, 255, 255, 255}},
};
// clang-format on

void ClearEffectInfo(EffectInfo* out) {
    out->name = "";
    for (auto& label : out->labels) label = "";
}

void GetEffectInfo(int32_t index, EffectInfo* out) {
    if (static_cast<uint32_t>(index) >= static_cast<uint32_t>(kCatalogueSize)) {
        ClearEffectInfo(out);
        return;
    }
    const EffectCatalogRow& row = kEffectCatalogue[index];
    out->name = row.name;
    out->paramCount = 0;
    for (int i = 0; i < 4; ++i) {
        out->labels[i] = row.labels[i];
        // Only labels of two or more characters count as parameters.
        if (std::strlen(row.labels[i]) > 1) out->paramCount = i + 1;
    }
}

void GetEffectDefaults(const char* name, int32_t out[4]) {
    for (int i = 0; i < 4; ++i) out[i] = 255;
    for (const EffectCatalogRow& row : kEffectCatalogue) {
        if (std::strcmp(name, row.name) != 0) continue;
        for (int i = 0; i < 4; ++i) out[i] = row.defaults[i];
        LogToHost("Default values for effect %s : %03d : %03d : %03d : %03d ", name, out[0], out[1],
                  out[2], out[3]);
        return;
    }
    LogToHost("!! -> No Default values for effect %s", name);
}
