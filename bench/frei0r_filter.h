// frei0r filters loaded from their shared objects, used as peers to compare
// the module's effects with.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/frei0r_abi.h"

namespace bench {

// A parameter set by its declared name (matched ignoring case); booleans
// take 0 or 1, positions value as x and y.
struct Frei0rSetting {
    const char* name;
    double value;
    double y = 0;
};

class Frei0rFilter {
public:
    // Loads <plugin>.so from $FREI0R_PATH or the usual directories. Returns
    // null and says why when it is missing or is not a filter.
    static std::unique_ptr<Frei0rFilter> Load(const std::string& plugin, std::string& why);
    ~Frei0rFilter();  // f0r_deinit, then the library is unloaded
    Frei0rFilter(const Frei0rFilter&) = delete;
    Frei0rFilter& operator=(const Frei0rFilter&) = delete;

    const std::string& plugin() const { return plugin_; }
    const std::string& path() const { return path_; }
    int colorModel() const { return info_.colorModel; }

    // One instance at a fixed frame size, destroyed with its owner.
    class Instance {
    public:
        // Throws std::runtime_error when the plugin makes no instance or
        // has no number, boolean or position parameter of a setting's name.
        Instance(const Frei0rFilter& filter, int width, int height,
                 const std::vector<Frei0rSetting>& settings);
        ~Instance();
        Instance(const Instance&) = delete;
        Instance& operator=(const Instance&) = delete;

        // time in seconds; in and out hold width * height pixels.
        void update(double time, const uint32_t* in, uint32_t* out);

    private:
        const Frei0rFilter& filter_;
        f0r::Instance instance_;
    };

private:
    Frei0rFilter() = default;
    int paramIndex(const std::string& name) const;

    std::string plugin_;
    std::string path_;
    void* library_ = nullptr;
    f0r::PluginInfo info_{};
    f0r::DeinitFn deinit_ = nullptr;
    f0r::GetParamInfoFn getParamInfo_ = nullptr;
    f0r::ConstructFn construct_ = nullptr;
    f0r::DestructFn destruct_ = nullptr;
    f0r::SetParamValueFn setParamValue_ = nullptr;
    f0r::UpdateFn update_ = nullptr;
    f0r::Update2Fn update2_ = nullptr;
};

}  // namespace bench
