// The frei0r plugin interface as this program uses it. It is a small, stable
// C ABI, declared here so that the build needs no frei0r headers.
#pragma once

#include <cstdint>

namespace f0r {

constexpr int kPluginTypeFilter = 0;

// Colour models: the byte order of the 32-bit pixels a plugin takes.
constexpr int kModelBgra8888 = 0;
constexpr int kModelRgba8888 = 1;
constexpr int kModelPacked32 = 2;

// Parameter types; booleans and numbers are both passed as a double, a
// position as two (x, y).
constexpr int kParamBool = 0;
constexpr int kParamDouble = 1;
constexpr int kParamPosition = 3;

struct PluginInfo {
    const char* name;
    const char* author;
    int pluginType;
    int colorModel;
    int frei0rVersion;
    int majorVersion;
    int minorVersion;
    int numParams;
    const char* explanation;
};

struct ParamInfo {
    const char* name;
    int type;
    const char* explanation;
};

using Instance = void*;

using InitFn = int (*)();
using DeinitFn = void (*)();
using GetPluginInfoFn = void (*)(PluginInfo* info);
using GetParamInfoFn = void (*)(ParamInfo* info, int index);
using ConstructFn = Instance (*)(unsigned int width, unsigned int height);
using DestructFn = void (*)(Instance instance);
using SetParamValueFn = void (*)(Instance instance, void* param, int index);
using UpdateFn = void (*)(Instance instance, double time, const uint32_t* in, uint32_t* out);
using Update2Fn = void (*)(Instance instance, double time, const uint32_t* in1, const uint32_t* in2,
                           const uint32_t* in3, uint32_t* out);

}  // namespace f0r
