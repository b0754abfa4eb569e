#include "bench/frei0r_filter.h"

#include <dlfcn.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

// $FREI0R_PATH first (colon separated), then where packages put plugins.
std::vector<std::string> SearchDirectories() {
    std::vector<std::string> dirs;
    if (const char* env = std::getenv("FREI0R_PATH"); env && *env) {
        std::string list = env;
        for (size_t start = 0; start <= list.size();) {
            const size_t end = std::min(list.find(':', start), list.size());
            if (end > start) dirs.push_back(list.substr(start, end - start));
            start = end + 1;
        }
    }
    if (const char* home = std::getenv("HOME"); home && *home)
        dirs.push_back(std::string(home) + "/.frei0r-1/lib");
    for (const char* dir : {"/usr/local/lib/frei0r-1", "/usr/lib/frei0r-1",
                            "/usr/lib/x86_64-linux-gnu/frei0r-1", "/usr/lib64/frei0r-1"})
        dirs.emplace_back(dir);
    return dirs;
}

template <class Fn>
Fn Symbol(void* library, const char* name) {
    return reinterpret_cast<Fn>(dlsym(library, name));
}

}  // namespace

std::unique_ptr<Frei0rFilter> Frei0rFilter::Load(const std::string& plugin, std::string& why) {
    std::string path;
    std::error_code error;
    for (const auto& dir : SearchDirectories()) {
        const auto candidate = std::filesystem::path(dir) / (plugin + ".so");
        if (std::filesystem::exists(candidate, error)) {
            path = candidate.string();
            break;
        }
    }
    if (path.empty()) {
        why = "not installed";
        return nullptr;
    }
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        why = std::string("cannot load: ") + dlerror();
        return nullptr;
    }

    std::unique_ptr<Frei0rFilter> filter(new Frei0rFilter);
    filter->plugin_ = plugin;
    filter->path_ = path;
    filter->library_ = library;
    auto init = Symbol<f0r::InitFn>(library, "f0r_init");
    auto getInfo = Symbol<f0r::GetPluginInfoFn>(library, "f0r_get_plugin_info");
    filter->deinit_ = Symbol<f0r::DeinitFn>(library, "f0r_deinit");
    filter->getParamInfo_ = Symbol<f0r::GetParamInfoFn>(library, "f0r_get_param_info");
    filter->construct_ = Symbol<f0r::ConstructFn>(library, "f0r_construct");
    filter->destruct_ = Symbol<f0r::DestructFn>(library, "f0r_destruct");
    filter->setParamValue_ = Symbol<f0r::SetParamValueFn>(library, "f0r_set_param_value");
    filter->update_ = Symbol<f0r::UpdateFn>(library, "f0r_update");
    filter->update2_ = Symbol<f0r::Update2Fn>(library, "f0r_update2");
    if (!init || !getInfo || !filter->deinit_ || !filter->getParamInfo_ || !filter->construct_ ||
        !filter->destruct_ || !filter->setParamValue_ || (!filter->update_ && !filter->update2_)) {
        // Not initialised: unload without f0r_deinit.
        filter->deinit_ = nullptr;
        why = "not a frei0r plugin";
        return nullptr;
    }
    init();
    getInfo(&filter->info_);
    if (filter->info_.pluginType != f0r::kPluginTypeFilter) {
        why = "not a filter";
        return nullptr;
    }
    return filter;
}

Frei0rFilter::~Frei0rFilter() {
    if (deinit_) deinit_();
    dlclose(library_);
}

int Frei0rFilter::paramIndex(const std::string& name) const {
    for (int i = 0; i < info_.numParams; ++i) {
        f0r::ParamInfo param{};
        getParamInfo_(&param, i);
        if (param.name && strcasecmp(param.name, name.c_str()) == 0 &&
            (param.type == f0r::kParamBool || param.type == f0r::kParamDouble ||
             param.type == f0r::kParamPosition))
            return i;
    }
    return -1;
}

Frei0rFilter::Instance::Instance(const Frei0rFilter& filter, int width, int height,
                                 const std::vector<Frei0rSetting>& settings)
    : filter_(filter),
      instance_(filter.construct_(static_cast<unsigned>(width), static_cast<unsigned>(height))) {
    if (!instance_) throw std::runtime_error(filter.plugin_ + " made no instance");
    for (const auto& setting : settings) {
        const int index = filter.paramIndex(setting.name);
        if (index < 0) {
            filter.destruct_(instance_);
            throw std::runtime_error(filter.plugin_ + " has no settable parameter \"" + setting.name + "\"");
        }
        // A number or boolean reads the first double only.
        double value[2] = {setting.value, setting.y};
        filter.setParamValue_(instance_, value, index);
    }
}

Frei0rFilter::Instance::~Instance() { filter_.destruct_(instance_); }

void Frei0rFilter::Instance::update(double time, const uint32_t* in, uint32_t* out) {
    if (filter_.update_)
        filter_.update_(instance_, time, in, out);
    else
        filter_.update2_(instance_, time, in, nullptr, nullptr, out);
}

}  // namespace bench
