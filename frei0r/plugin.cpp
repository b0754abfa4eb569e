// One frei0r filter plugin: the effect named by EFFECTS_FREI0R_EFFECT,
// drawn by the module through the bridge. Every plugin is built from this
// file; only the two names differ.
// frei0r.h declares its functions without C linkage of its own.
extern "C" {
#include <frei0r.h>
}

#include "frei0r/bridge.h"

#ifndef EFFECTS_FREI0R_EFFECT
#error "EFFECTS_FREI0R_EFFECT must name the effect"
#endif

namespace {

// The facts live in the bridge; a plugin whose effect is missing there is
// a build error caught by the plugin tests, and reports an empty plugin.
const fxbridge::PluginFacts* Facts() {
    static const fxbridge::PluginFacts* facts = fxbridge_facts(EFFECTS_FREI0R_EFFECT);
    return facts;
}

}  // namespace

extern "C" {

int f0r_init() {
    return Facts() != nullptr && fxbridge_acquire();
}

void f0r_deinit() {
    fxbridge_release();
}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    const fxbridge::PluginFacts* facts = Facts();
    info->name = facts ? facts->plugin : "";
    info->author = "effects developers";
    info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
    info->color_model = F0R_COLOR_MODEL_BGRA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = 1;
    info->minor_version = 0;
    info->num_params = 4;
    info->explanation = facts ? facts->explanation : "";
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
    const fxbridge::PluginFacts* facts = Facts();
    if (!facts || index < 0 || index > 3) return;
    info->name = facts->paramNames[index];
    info->type = F0R_PARAM_DOUBLE;
    info->explanation = facts->paramExplanations[index];
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    return fxbridge_construct(EFFECTS_FREI0R_EFFECT, width, height);
}

void f0r_destruct(f0r_instance_t instance) {
    fxbridge_destruct(static_cast<FxBridgeInstance*>(instance));
}

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    if (param) fxbridge_set_param(static_cast<FxBridgeInstance*>(instance), index, *static_cast<double*>(param));
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    if (param) *static_cast<double*>(param) = fxbridge_get_param(static_cast<FxBridgeInstance*>(instance), index);
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t* inframe, uint32_t* outframe) {
    fxbridge_update(static_cast<FxBridgeInstance*>(instance), time, inframe, outframe,
                    __builtin_return_address(0));
}

}  // extern "C"
