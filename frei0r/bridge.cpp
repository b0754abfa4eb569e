// The bridge's process-wide part: one module, loaded from beside this
// library, and one lock around every call into it. The module keeps its
// per-frame state in one global record and builds its tables without locks,
// while MLT calls instances from several threads.
#include "frei0r/bridge.h"

#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "frei0r/bridge_instance.h"
#include "host/host_error.h"

struct FxBridgeInstance {
    fxbridge::BridgeInstance instance;
};

namespace {

std::mutex g_lock;
int g_users = 0;  // acquires plus live instances
std::unique_ptr<fxhost::EffectModule> g_module;

std::string ModulePath() {
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&fxbridge_acquire), &self) && self.dli_fname) {
        const std::string bridge = self.dli_fname;
        const size_t slash = bridge.rfind('/');
        if (slash != std::string::npos) return bridge.substr(0, slash + 1) + "libeffects.so";
    }
    return "libeffects.so";
}

void Complain(const std::string& what) {
    std::fprintf(stderr, "effects frei0r: %s\n", what.c_str());
}

// Under g_lock.
bool Use() {
    if (!g_module) {
        fxhost::SetLogSink([](const std::string& text) { Complain(text); });
        try {
            g_module = std::make_unique<fxhost::EffectModule>(ModulePath());
        } catch (const fxhost::HostError& e) {
            Complain(e.what());
            return false;
        }
    }
    ++g_users;
    return true;
}

// Under g_lock.
void Unuse() {
    if (g_users > 0 && --g_users == 0) g_module.reset();
}

}  // namespace

int fxbridge_acquire() {
    std::lock_guard<std::mutex> hold(g_lock);
    return Use() ? 1 : 0;
}

void fxbridge_release() {
    std::lock_guard<std::mutex> hold(g_lock);
    Unuse();
}

const fxbridge::PluginFacts* fxbridge_facts(const char* effect) {
    return effect ? fxbridge::FindPluginFacts(effect) : nullptr;
}

FxBridgeInstance* fxbridge_construct(const char* effect, unsigned width, unsigned height) {
    const fxbridge::PluginFacts* facts = fxbridge_facts(effect);
    if (!facts) return nullptr;
    // Surface bounds are 16-bit.
    if (width == 0 || height == 0 || width > 32767 || height > 32767) {
        Complain("frames of " + std::to_string(width) + "x" + std::to_string(height) + " are outside 1..32767");
        return nullptr;
    }
    std::lock_guard<std::mutex> hold(g_lock);
    if (!Use()) return nullptr;
    try {
        return new FxBridgeInstance{fxbridge::BridgeInstance(*g_module, *facts, static_cast<int>(width),
                                                             static_cast<int>(height))};
    } catch (const fxhost::HostError& e) {
        Complain(e.what());
    } catch (const std::bad_alloc&) {
        Complain("out of memory for frames of " + std::to_string(width) + "x" + std::to_string(height));
    }
    Unuse();
    return nullptr;
}

void fxbridge_destruct(FxBridgeInstance* instance) {
    if (!instance) return;
    std::lock_guard<std::mutex> hold(g_lock);
    delete instance;
    Unuse();
}

void fxbridge_set_param(FxBridgeInstance* instance, int index, double value) {
    if (!instance) return;
    std::lock_guard<std::mutex> hold(g_lock);
    instance->instance.setParam(index, value);
}

double fxbridge_get_param(const FxBridgeInstance* instance, int index) {
    if (!instance || index < 0 || index > 3) return 0.0;
    std::lock_guard<std::mutex> hold(g_lock);
    return instance->instance.param(index);
}

void fxbridge_update(FxBridgeInstance* instance, double time, const uint32_t* in, uint32_t* out, const void* caller) {
    if (!instance || !in || !out) return;
    fxbridge::BridgeInstance& bridged = instance->instance;
    std::lock_guard<std::mutex> hold(g_lock);
    if (!bridged.unitKnown) {
        bridged.unit = fxbridge::CallerTimeUnit(caller);
        bridged.unitKnown = true;
    }
    bridged.update(fxbridge::ModuleTime(time, bridged.unit), in, out);
}
