// The frei0r plugins as a frei0r host loads them: dlopen, f0r_init, the
// plugin's info, instances fed frames; every plugin's frames against the
// module drawing the same frames through the reference host.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/frame.h"
#include "host/host_surface.h"
#include "host/module_loader.h"
#include "host/test_card.h"

extern "C" {
#include <frei0r.h>
}

namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 96;
using Words = std::vector<uint32_t>;
using Values = std::array<int32_t, 4>;

// One plugin file, loaded and initialised as ffmpeg and MLT do.
class Plugin {
public:
    explicit Plugin(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (!handle_) throw std::runtime_error(dlerror());
        load(init, "f0r_init");
        load(deinit, "f0r_deinit");
        load(info, "f0r_get_plugin_info");
        load(paramInfo, "f0r_get_param_info");
        load(construct, "f0r_construct");
        load(destruct, "f0r_destruct");
        load(set, "f0r_set_param_value");
        load(get, "f0r_get_param_value");
        load(update, "f0r_update");
        if (init() != 1) throw std::runtime_error("f0r_init failed for " + path);
    }
    ~Plugin() {
        deinit();
        dlclose(handle_);
    }
    f0r_plugin_info_t pluginInfo() {
        f0r_plugin_info_t i{};
        info(&i);
        return i;
    }

    decltype(&f0r_init) init;
    decltype(&f0r_deinit) deinit;
    decltype(&f0r_get_plugin_info) info;
    decltype(&f0r_get_param_info) paramInfo;
    decltype(&f0r_construct) construct;
    decltype(&f0r_destruct) destruct;
    decltype(&f0r_set_param_value) set;
    decltype(&f0r_get_param_value) get;
    decltype(&f0r_update) update;

private:
    template <class Fn>
    void load(Fn& fn, const char* name) {
        fn = reinterpret_cast<Fn>(dlsym(handle_, name));
        if (!fn) throw std::runtime_error(std::string("no ") + name);
    }
    void* handle_;
};

std::vector<std::string> PluginNames() {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(FREI0R_PLUGIN_DIR))
        if (e.path().extension() == ".so") names.push_back(e.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

std::string PluginPath(const std::string& name) { return std::string(FREI0R_PLUGIN_DIR) + "/" + name + ".so"; }

// Frame i: the test card moved 5 pixels a frame, with alpha bytes of every
// kind, as a host's frame with transparency.
Words InputFrame(int i) {
    fxhost::Frame card = fxhost::FrameFromImage(fxhost::MakeTestCard(kWidth, kHeight));
    fxhost::ScrollFrame(card, 5 * i);
    for (size_t p = 0; p < card.pixels.size(); ++p)
        card.pixels[p] = (card.pixels[p] & 0x00FFFFFFu) | (static_cast<uint32_t>((p * 7 + i) % 256) << 24);
    return card.pixels;
}

// The module drawing the frames through the reference host, in a copy of
// its own so that its globals are not the plugins'.
const fxhost::EffectModule& Reference() {
    static const auto module = fxhost::LoadModuleCopy();
    return *module;
}

class ReferenceRun {
public:
    ReferenceRun(const std::string& effect, const Values& values)
        : values_(values),
          source_(kWidth, kHeight, kFormatXrgb),
          destination_(kWidth, kHeight, kFormatXrgb),
          effect_(Reference(), effect, source_.get(), destination_.get()) {}
    Words frame(const Words& in, uint32_t ms) {
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) source_.setPixel(x, y, in[y * kWidth + x] & 0x00FFFFFFu);
        if (first_) destination_.copyPixelsFrom(source_);
        first_ = false;
        effect_.render(values_, source_.get(), ms);
        Words out(in.size());
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                out[y * kWidth + x] = (destination_.pixel(x, y) & 0x00FFFFFFu) | (in[y * kWidth + x] & 0xFF000000u);
        return out;
    }

private:
    Values values_;
    fxhost::HostSurface source_, destination_;
    fxhost::EffectInstance effect_;
    bool first_ = true;
};

struct Instance {
    Plugin& plugin;
    f0r_instance_t handle;
    Instance(Plugin& p, unsigned w = kWidth, unsigned h = kHeight) : plugin(p), handle(p.construct(w, h)) {}
    ~Instance() {
        if (handle) plugin.destruct(handle);
    }
    void setValues(const Values& values) {
        for (int i = 0; i < 4; ++i) {
            double v = values[i] / 255.0;
            plugin.set(handle, &v, i);
        }
    }
    // A new output frame each time, holding stale words, as a host's pool.
    Words frame(const Words& in, double time, uint32_t stale) {
        Words out(in.size(), stale);
        plugin.update(handle, time, in.data(), out.data());
        return out;
    }
};

Values Defaults(Plugin& plugin) {
    Values d{};
    Instance instance(plugin);
    for (int i = 0; i < 4; ++i) {
        double v = -1;
        plugin.get(instance.handle, &v, i);
        d[i] = static_cast<int32_t>(v * 255.0 + 0.5);
    }
    return d;
}

bool IsRandom(Plugin& plugin) {
    return std::string(plugin.pluginInfo().explanation).find("Random:") != std::string::npos;
}

TEST(Frei0rPlugins, OneForEveryNameButTheAsciiArtEachSayingWhatItIs) {
    const auto names = PluginNames();
    ASSERT_EQ(names.size(), 36u);
    std::set<std::string> keepers;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        Plugin plugin(PluginPath(name));
        const f0r_plugin_info_t info = plugin.pluginInfo();
        EXPECT_EQ(std::string(info.name), name);
        EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
        EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_BGRA8888);
        EXPECT_EQ(info.frei0r_version, FREI0R_MAJOR_VERSION);
        ASSERT_EQ(info.num_params, 4);
        std::set<std::string> paramNames;
        for (int i = 0; i < 4; ++i) {
            f0r_param_info_t p{};
            plugin.paramInfo(&p, i);
            EXPECT_EQ(p.type, F0R_PARAM_DOUBLE);
            ASSERT_NE(p.name, nullptr);
            EXPECT_NE(std::string(p.explanation), "");
            paramNames.insert(p.name);
        }
        EXPECT_EQ(paramNames.size(), 4u) << "parameter names must differ: MLT sets them by name";
        const std::string explanation = info.explanation;
        if (explanation.find("Keeps state from frame to frame") != std::string::npos) keepers.insert(name);
    }
    for (const char* expected : {"fx_motion_blur", "fx_old_movie_clean", "fx_old_movie_dirty", "fx_cube3d",
                                 "fx_cube3d_constant", "fx_stroboscope", "fx_rgb_cycling_slow", "fx_rgb_cycling_fast"})
        EXPECT_EQ(keepers.count(expected), 1u) << expected;
    EXPECT_EQ(keepers.count("fx_posterize"), 0u);
}

TEST(Frei0rPlugins, LabelsDefaultsAndValuesFromTheCatalogue) {
    Plugin strobe(PluginPath("fx_stroboscope"));
    f0r_param_info_t p{};
    strobe.paramInfo(&p, 1);
    EXPECT_EQ(std::string(p.name), "Hue");
    strobe.paramInfo(&p, 3);
    EXPECT_EQ(std::string(p.name), "Unused 4");
    EXPECT_EQ(Defaults(strobe), (Values{52, 0, 255, 255}));
    Instance instance(strobe);
    double v = 0.3, back = 0;
    strobe.set(instance.handle, &v, 2);
    strobe.get(instance.handle, &back, 2);
    EXPECT_EQ(back, 0.3);
    Plugin blur(PluginPath("fx_motion_blur"));
    blur.paramInfo(&p, 0);
    EXPECT_EQ(std::string(p.name), "Unused 1");
}

// Every plugin, at its defaults and at another setting, over frames that
// move: the same pictures as the module through the reference host, with
// the input's alpha, whatever the output frames held before; the input
// frames stay as they were.
TEST(Frei0rPlugins, EveryPluginDrawsWhatTheModuleDrawsForTheHost) {
    for (const std::string& name : PluginNames()) {
        Plugin plugin(PluginPath(name));
        const std::string effect = plugin.pluginInfo().explanation;
        const std::string effectName = effect.substr(0, effect.find(", from the effects module"));
        const bool random = IsRandom(plugin);
        for (const Values& values : {Defaults(plugin), Values{64, 191, 128, 26}}) {
            SCOPED_TRACE(name + " at " + std::to_string(values[0]) + "," + std::to_string(values[1]));
            Instance instance(plugin);
            ASSERT_NE(instance.handle, nullptr);
            instance.setValues(values);
            ReferenceRun reference(effectName, values);
            for (int i = 0; i < 6; ++i) {
                const Words in = InputFrame(i), kept = in;
                const Words got = instance.frame(in, i * 0.04, 0xA5A5A5A5u * (i + 1));
                ASSERT_EQ(in, kept) << "the plugin wrote into its input";
                const Words want = reference.frame(in, static_cast<uint32_t>(i * 40));
                for (size_t p = 0; p < got.size(); ++p) {
                    ASSERT_EQ(got[p] >> 24, in[p] >> 24) << "alpha, frame " << i << " pixel " << p;
                    if (!random) {
                        ASSERT_EQ(got[p], want[p]) << "frame " << i << " pixel " << p;
                    }
                }
            }
        }
    }
}

TEST(Frei0rPlugins, AFrameDrawnOntoItselfIsTheSameAsIntoAnotherFrame) {
    Plugin plugin(PluginPath("fx_posterize_smooth"));
    Instance apart(plugin), onto(plugin);
    for (int i = 0; i < 3; ++i) {
        const Words in = InputFrame(i);
        Words same = in;
        plugin.update(onto.handle, i * 0.04, same.data(), same.data());
        EXPECT_EQ(same, apart.frame(in, i * 0.04, 0));
    }
}

TEST(Frei0rPlugins, SizesSurfacesCannotHoldAreRefused) {
    Plugin plugin(PluginPath("fx_posterize"));
    EXPECT_EQ(plugin.construct(0, 10), nullptr);
    EXPECT_EQ(plugin.construct(10, 0), nullptr);
    EXPECT_EQ(plugin.construct(32768, 2), nullptr);
    Instance widest(plugin, 32767, 1);
    EXPECT_NE(widest.handle, nullptr);
}

// ffmpeg's frei0r filter passes milliseconds, MLT seconds: a plugin called
// from a library that exports avfilter_version counts in milliseconds.
TEST(Frei0rPlugins, TimeIsMillisecondsFromFfmpegsFilterLibraryAndSecondsElsewhere) {
    using Update = void (*)(void*, double, const uint32_t*, uint32_t*);
    using Filter = void (*)(Update, void*, double, const uint32_t*, uint32_t*);
    void* avfilter = dlopen(FAKE_AVFILTER_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(avfilter, nullptr) << dlerror();
    const auto filter = reinterpret_cast<Filter>(dlsym(avfilter, "fake_filter_frame"));
    ASSERT_NE(filter, nullptr);

    Plugin plugin(PluginPath("fx_rgb_cycling_fast"));
    Instance seconds(plugin), fromFilter(plugin), misread(plugin), forced(plugin);
    setenv("EFFECTS_FREI0R_TIME", "ms", 1);
    const Words in = InputFrame(0);
    Words f0(in.size()), f1(in.size());
    // The unit is settled at an instance's first frame.
    plugin.update(forced.handle, 0, in.data(), f0.data());
    unsetenv("EFFECTS_FREI0R_TIME");
    bool moved = false;
    for (int i = 0; i < 5; ++i) {
        const Words want = seconds.frame(in, i * 0.25, 0);
        Words got(in.size());
        filter(reinterpret_cast<Update>(plugin.update), fromFilter.handle, i * 250.0, in.data(), got.data());
        EXPECT_EQ(got, want) << "frame " << i;
        if (i > 0) {
            EXPECT_EQ(forced.frame(in, i * 250.0, 0), want) << "frame " << i;
        }
        if (misread.frame(in, i * 250.0, 0) != want) moved = true;
    }
    EXPECT_TRUE(moved) << "milliseconds read as seconds should move faster";
    dlclose(avfilter);
}

// MLT calls instances from several threads: every call into the module is
// serialised, so instances of different effects drawn at once give what
// they give one after another. The cube starts its clock from the module's
// last frame time when it is made, so every instance is made after a frame
// at time 0.
TEST(Frei0rPlugins, InstancesDrawnFromSeveralThreadsAtOnceMatchOneAtATime) {
    const std::vector<std::string> names = {"fx_posterize_smooth", "fx_motion_blur", "fx_rgb_cycling_fast",
                                            "fx_cube3d"};
    std::vector<std::unique_ptr<Plugin>> plugins;
    for (const auto& n : names) plugins.push_back(std::make_unique<Plugin>(PluginPath(n)));
    auto make = [&] {
        Instance(*plugins[0]).frame(InputFrame(0), 0.0, 0);
        std::vector<std::unique_ptr<Instance>> instances;
        for (auto& p : plugins) instances.push_back(std::make_unique<Instance>(*p));
        return instances;
    };
    auto run = [](Instance& instance, std::vector<Words>& frames) {
        for (int i = 0; i < 12; ++i) frames.push_back(instance.frame(InputFrame(i), 0.5 + i * 0.04, 0));
    };
    std::vector<std::vector<Words>> serial(names.size()), parallel(names.size());
    auto one = make();
    for (size_t k = 0; k < names.size(); ++k) run(*one[k], serial[k]);
    auto all = make();
    std::vector<std::thread> threads;
    for (size_t k = 0; k < names.size(); ++k) threads.emplace_back(run, std::ref(*all[k]), std::ref(parallel[k]));
    for (auto& t : threads) t.join();
    for (size_t k = 0; k < names.size(); ++k) EXPECT_EQ(parallel[k], serial[k]) << names[k];
}

}  // namespace
