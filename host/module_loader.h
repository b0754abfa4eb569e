// Loads the effects module the way a live-visuals host does: dlopen, then
// plugin_main with codes 5, 7, 8 and 10, and keeps the entry points.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/effect_api.h"

namespace fxhost {

// Where the module's HostLog lines go. HostLog carries no context, so the
// sink is process-wide; an empty sink means standard error, one line a text.
using LogSink = std::function<void(const std::string& text)>;
void SetLogSink(LogSink sink);

// The module file: $FXHOST_MODULE, else libeffects.so beside the running
// program or in the library directory of the tree it is installed in, else
// the one this build made.
std::string DefaultModulePath();

struct ModuleOptions {
    int32_t hostVersion = 0x20000;  // version word of the HostTable
    bool blitAvailable = true;      // whether HostFindService answers 'BLIT'
    bool open = true;               // run the handshake (5, 7, 8, 10) at load
    // Unload the library with the module and remove its file (instead of
    // keeping its code mapped until the process ends).
    bool removeFileWhenUnloaded = false;
};

class EffectModule {
public:
    // Throws HostError naming the file and what went wrong.
    explicit EffectModule(const std::string& path, ModuleOptions options = {});
    ~EffectModule();  // code 9, then the library is unloaded
    EffectModule(const EffectModule&) = delete;
    EffectModule& operator=(const EffectModule&) = delete;

    // One raw call of plugin_main; returns the result word, which is set to
    // kResultUntouched before the call so that an unchanged answer shows.
    static constexpr uint64_t kResultUntouched = 0xDEADBEEFCAFEF00DULL;
    uint64_t call(uint32_t code);

    // The entry points from code 10 (all zero before a successful open).
    const EffectApi& api() const { return *api_; }
    HostContext& context();
    HostTable& table();
    void setBlitAvailable(bool available);
    int findServiceCalls() const;
    const std::string& path() const { return path_; }

    struct Session;  // the host's records for this module

private:
    std::string path_;
    bool removeFile_ = false;
    void* library_ = nullptr;
    PluginMainFn pluginMain_ = nullptr;
    std::unique_ptr<Session> session_;
    const EffectApi* api_ = nullptr;
};

// Loads a copy of the module file under a name new to this process, so that
// the dynamic loader maps it afresh and it starts with globals and tables of
// its own, as in a new process. The copy is deleted once loaded; the mapping
// stays until the process ends. path empty: the default module. Throws
// HostError.
std::unique_ptr<EffectModule> LoadModuleCopy(ModuleOptions options = {}, const std::string& path = "");

// A catalogue row as the host reads it.
struct CatalogueEntry {
    std::string name;
    int32_t paramCount = 0;
    std::array<std::string, 4> labels;
    std::array<int32_t, 4> defaults{};
};
std::vector<CatalogueEntry> ReadCatalogue(const EffectModule& module);

// The names the factory builds that the catalogue does not list.
extern const std::array<const char*, 9> kUncataloguedNames;

// Every name a host may ask for: the catalogue's, in order, then the
// uncatalogued ones. Reads no defaults, so the module logs nothing.
std::vector<std::string> EffectNames(const EffectModule& module);

// An effect instance, destroyed with its owner.
class EffectInstance {
public:
    // Throws HostError when the module gives no instance for the name.
    EffectInstance(const EffectModule& module, const std::string& name, Surface* source,
                   Surface* destination);
    ~EffectInstance();
    EffectInstance(const EffectInstance&) = delete;
    EffectInstance& operator=(const EffectInstance&) = delete;

    void render(const std::array<int32_t, 4>& params, Surface* source, uint32_t time);
    CRenderInterface* get() const { return effect_; }

private:
    const EffectApi& api_;
    CRenderInterface* effect_;
};

}  // namespace fxhost
