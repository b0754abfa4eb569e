#include "host/module_loader.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "host/blit_service.h"
#include "host/host_error.h"
#include "host/shared_library.h"

namespace fxhost {

namespace {

LogSink& Sink() {
    static LogSink sink;
    return sink;
}

void HostLog(const char* text) {
    if (Sink())
        Sink()(text);
    else
        std::fprintf(stderr, "%s\n", text);
}

}  // namespace

// The HostContext comes first, so that the context the module hands back
// leads to the whole session.
struct EffectModule::Session {
    HostContext context{};
    HostTable table{};
    bool blitAvailable = true;
    int findServiceCalls = 0;
};

namespace {

void* HostFindService(HostContext* context, uint32_t code) {
    auto* session = reinterpret_cast<EffectModule::Session*>(context);
    ++session->findServiceCalls;
    return code == kCodeBlit && session->blitAvailable ? GetBlitService() : nullptr;
}

HostFunction HostGetFunction(uint32_t number) {
    switch (number) {
    case kHostFindService: return reinterpret_cast<HostFunction>(&HostFindService);
    case kHostLog: return reinterpret_cast<HostFunction>(&HostLog);
    default: return nullptr;
    }
}

std::string Hex(uint64_t v) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(v));
    return text;
}

}  // namespace

void SetLogSink(LogSink sink) { Sink() = std::move(sink); }

#ifndef EFFECTS_INSTALL_LIBDIR
#define EFFECTS_INSTALL_LIBDIR "lib"
#endif

std::string DefaultModulePath() {
    if (const char* env = std::getenv("FXHOST_MODULE"); env && *env) return env;
    const std::string self = RunningProgramPath();
    if (!self.empty()) {
        // Beside the program in a build; in an installed tree, bin/'s
        // sibling library directory.
        std::error_code error;
        const auto dir = std::filesystem::path(self).parent_path();
        const std::filesystem::path candidates[] = {dir / kModuleFileName,
                                                     dir.parent_path() / EFFECTS_INSTALL_LIBDIR / kModuleFileName};
        for (const auto& candidate : candidates)
            if (std::filesystem::exists(candidate, error)) return candidate.lexically_normal().string();
    }
    return EFFECTS_MODULE_FILE;
}

EffectModule::EffectModule(const std::string& path, ModuleOptions options)
    : path_(path), removeFile_(options.removeFileWhenUnloaded), session_(std::make_unique<Session>()) {
    static_assert(offsetof(Session, context) == 0);
    session_->table.version = options.hostVersion;
    session_->table.HostGetFunction = &HostGetFunction;
    session_->context.hostTable = &session_->table;
    session_->blitAvailable = options.blitAvailable;

    // The module keeps process-wide tables and surfaces that nobody releases,
    // so its code stays mapped until the process ends.
    // On Windows a loaded library's file cannot be removed, so a copy made
    // for one module is unloaded with it (see LoadModuleCopy).
    std::string why;
    library_ = OpenLibrary(path, !options.removeFileWhenUnloaded, why);
    if (!library_) throw HostError("cannot load module " + path + ": " + why);
    pluginMain_ = reinterpret_cast<PluginMainFn>(FindFunction(library_, "plugin_main"));
    if (!pluginMain_) {
        CloseLibrary(library_);
        throw HostError(path + " is not an effects module: it has no plugin_main");
    }
    if (!options.open) {
        api_ = reinterpret_cast<const EffectApi*>(call(kPluginGetApi));
        return;
    }
    auto fail = [&](const std::string& what) {
        CloseLibrary(library_);
        throw HostError(path + " is not an effects module: " + what);
    };
    if (uint64_t kind = call(kPluginKind); kind != kCodeServ)
        fail("code 5 answered " + Hex(kind) + ", not 'SERV'");
    if (uint64_t id = call(kPluginIdentity); id != kCodeEffx)
        fail("code 7 answered " + Hex(id) + ", not 'EFFX'");
    if (uint64_t opened = call(kPluginOpen); opened != 0)
        fail("it refused to open for host version " + Hex(static_cast<uint32_t>(options.hostVersion)));
    api_ = reinterpret_cast<const EffectApi*>(call(kPluginGetApi));
    if (!api_ || api_->apiVersion != kEffectApiVersion)
        fail("code 10 gave no entry points of version 0x10000");
}

EffectModule::~EffectModule() {
    call(kPluginClose);
    CloseLibrary(library_);
    if (removeFile_) {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
}

uint64_t EffectModule::call(uint32_t code) {
    session_->context.functionCode = code;
    session_->context.result = kResultUntouched;
    pluginMain_(&session_->context);
    return session_->context.result;
}

std::unique_ptr<EffectModule> LoadModuleCopy(ModuleOptions options, const std::string& path) {
    // The loader knows a loaded library by its file name, so every copy needs
    // a name this process has not loaded before; the process id keeps
    // processes sharing the directory apart.
    static std::atomic<unsigned> counter{0};
    namespace fs = std::filesystem;
    const std::string original = path.empty() ? DefaultModulePath() : path;
    fs::path copy;
    try {
        copy = fs::temp_directory_path() /
               ("fxhost-module-" + std::to_string(ProcessId()) + "-" + std::to_string(counter++) + "-" +
                kModuleFileName);
        fs::copy_file(original, copy, fs::copy_options::overwrite_existing);
    } catch (const fs::filesystem_error& error) {
        throw HostError("cannot copy module " + original + ": " + error.what());
    }
    struct RemoveCopy {
        const fs::path& path;
        ~RemoveCopy() {
            std::error_code ignored;
            fs::remove(path, ignored);
        }
    } removeCopy{copy};
#ifdef _WIN32
    // A loaded library's file stays until the library is unloaded: the
    // module removes its copy then.
    options.removeFileWhenUnloaded = true;
#endif
    return std::make_unique<EffectModule>(copy.string(), options);
}

HostContext& EffectModule::context() { return session_->context; }
HostTable& EffectModule::table() { return session_->table; }
void EffectModule::setBlitAvailable(bool available) { session_->blitAvailable = available; }
int EffectModule::findServiceCalls() const { return session_->findServiceCalls; }

const std::array<const char*, 9> kUncataloguedNames = {
    "AsciiArt1",      "AsciiArt2",     "Cube3D",
    "Cube3DConstant", "MotionBlur",    "OldMovieClean",
    "OldMovieDirty",  "CONTRAST_BRIGHTNESS old", "Contrast_Bright_Invert old",
};

std::vector<std::string> EffectNames(const EffectModule& module) {
    const EffectApi& api = module.api();
    std::vector<std::string> names;
    for (int32_t i = 0, n = api.GetEffectCount(); i < n; ++i) {
        EffectInfo info{};
        api.GetEffectInfo(i, &info);
        names.emplace_back(info.name ? info.name : "");
    }
    names.insert(names.end(), kUncataloguedNames.begin(), kUncataloguedNames.end());
    return names;
}

std::vector<CatalogueEntry> ReadCatalogue(const EffectModule& module) {
    const EffectApi& api = module.api();
    std::vector<CatalogueEntry> rows;
    const int32_t count = api.GetEffectCount();
    for (int32_t i = 0; i < count; ++i) {
        EffectInfo info{};
        api.GetEffectInfo(i, &info);
        CatalogueEntry row;
        row.name = info.name ? info.name : "";
        row.paramCount = info.paramCount;
        for (int k = 0; k < 4; ++k) row.labels[k] = info.labels[k] ? info.labels[k] : "";
        api.GetEffectDefaults(row.name.c_str(), row.defaults.data());
        rows.push_back(std::move(row));
    }
    return rows;
}

EffectInstance::EffectInstance(const EffectModule& module, const std::string& name,
                               Surface* source, Surface* destination)
    : api_(module.api()), effect_(api_.CreateEffect(name.c_str(), source, destination)) {
    if (!effect_) throw HostError("the module made no effect named \"" + name + "\"");
}

EffectInstance::~EffectInstance() { api_.DestroyEffect(effect_); }

void EffectInstance::render(const std::array<int32_t, 4>& params, Surface* source, uint32_t time) {
    api_.RenderEffect(effect_, params.data(), source, time);
}

}  // namespace fxhost
