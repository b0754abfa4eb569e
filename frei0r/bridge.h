// The bridge between frei0r plugins and the module. Every plugin of a
// process goes through this one library, so that the process holds one
// module and one lock however many plugins and instances it uses.
#pragma once

#include <cstdint>

#include "frei0r/plugin_facts.h"

#define FXBRIDGE_API extern "C" __attribute__((visibility("default")))

struct FxBridgeInstance;

// Loads the module on the first call; every successful call is paired with
// fxbridge_release. Returns 0 when the module cannot be loaded.
FXBRIDGE_API int fxbridge_acquire();
FXBRIDGE_API void fxbridge_release();

FXBRIDGE_API const fxbridge::PluginFacts* fxbridge_facts(const char* effect);

// An instance of effect drawing frames of width x height; null when the
// module refuses it or the size is outside what surfaces hold.
FXBRIDGE_API FxBridgeInstance* fxbridge_construct(const char* effect, unsigned width, unsigned height);
FXBRIDGE_API void fxbridge_destruct(FxBridgeInstance* instance);

// Values in 0..1; index 0 to 3.
FXBRIDGE_API void fxbridge_set_param(FxBridgeInstance* instance, int index, double value);
FXBRIDGE_API double fxbridge_get_param(const FxBridgeInstance* instance, int index);

// One frame. time is in the host's unit, seconds or milliseconds as the
// caller's library implies (see time_unit.h); caller is the return address
// of the plugin's f0r_update.
FXBRIDGE_API void fxbridge_update(FxBridgeInstance* instance, double time, const uint32_t* in, uint32_t* out,
                                  const void* caller);
