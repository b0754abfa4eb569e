// The eight entry points of EffectApi. Each first makes sure the host's blit
// service is known and answers emptily while it is missing.
#pragma once

#include "shell/effect_api.h"

namespace entry {

int32_t GetEffectCount();
void GetEffectInfo(int32_t index, EffectInfo* out);
void GetEffectDefaults(const char* name, int32_t out[4]);
CRenderInterface* CreateEffect(const char* name, Surface* source, Surface* destination);
int32_t RenderEffect(CRenderInterface* effect, const int32_t* params, Surface* source, uint32_t time);
void DestroyEffect(CRenderInterface* effect);
void HueToRGB(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue);
float LevelCurve(int32_t level, float value);

}  // namespace entry
