// The module's side of the boundary: plugin_main and the record of entry
// points that function code 10 hands out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/surface.h"
#include "shell/host_link.h"

class CRenderInterface;  // opaque to the host

// Filled by GetEffectInfo.
struct EffectInfo {
    const char* name;
    int32_t paramCount;
    int32_t notWritten;
    const char* labels[4];
};
static_assert(offsetof(EffectInfo, name) == 0);
static_assert(offsetof(EffectInfo, paramCount) == 8);
static_assert(offsetof(EffectInfo, labels) == 16);
static_assert(sizeof(EffectInfo) == 48);

using GetEffectCountFn = int32_t (*)();
using GetEffectInfoFn = void (*)(int32_t index, EffectInfo* out);
using GetEffectDefaultsFn = void (*)(const char* name, int32_t out[4]);
using CreateEffectFn = CRenderInterface* (*)(const char* name, Surface* source, Surface* destination);
using RenderEffectFn = int32_t (*)(CRenderInterface* effect, const int32_t* params, Surface* source,
                                   uint32_t time);
using DestroyEffectFn = void (*)(CRenderInterface* effect);
using HueToRGBFn = void (*)(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue);
using LevelCurveFn = float (*)(int32_t level, float value);

constexpr uint64_t kEffectApiVersion = 0x10000;

struct EffectApi {
    uint64_t apiVersion;
    uint32_t word;
    uint8_t reserved[12];
    HostContext* hostContext;
    GetEffectCountFn GetEffectCount;
    GetEffectInfoFn GetEffectInfo;
    GetEffectDefaultsFn GetEffectDefaults;
    CreateEffectFn CreateEffect;
    RenderEffectFn RenderEffect;
    DestroyEffectFn DestroyEffect;
    HueToRGBFn HueToRGB;
    LevelCurveFn LevelCurve;
};
static_assert(offsetof(EffectApi, apiVersion) == 0);
static_assert(offsetof(EffectApi, word) == 8);
static_assert(offsetof(EffectApi, hostContext) == 24);
static_assert(offsetof(EffectApi, GetEffectCount) == 32);
static_assert(offsetof(EffectApi, GetEffectInfo) == 40);
static_assert(offsetof(EffectApi, GetEffectDefaults) == 48);
static_assert(offsetof(EffectApi, CreateEffect) == 56);
static_assert(offsetof(EffectApi, RenderEffect) == 64);
static_assert(offsetof(EffectApi, DestroyEffect) == 72);
static_assert(offsetof(EffectApi, HueToRGB) == 80);
static_assert(offsetof(EffectApi, LevelCurve) == 88);
static_assert(sizeof(EffectApi) == 96);

using PluginMainFn = int32_t (*)(HostContext* context);

extern "C" int32_t plugin_main(HostContext* context);
