// The catalogue of effects that the host may offer to the user.
#pragma once

#include <cstdint>

#include "shell/effect_api.h"

struct EffectCatalogRow {
    const char* name;
    const char* labels[4];
    int32_t defaults[4];
};

constexpr int32_t kCatalogueSize = 29;
extern const EffectCatalogRow kEffectCatalogue[kCatalogueSize];

// Sets the name and the four labels to the empty string; paramCount stays.
void ClearEffectInfo(EffectInfo* out);
// Fills out from row index; an index out of range gives empty texts.
void GetEffectInfo(int32_t index, EffectInfo* out);
// The row's defaults, or 255 four times for a name without a row; logs either way.
void GetEffectDefaults(const char* name, int32_t out[4]);
