// frei0r peers: each case runs one filter instance over the test card, one
// f0r_update an iteration, with time moving on 40 ms a frame.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <stdexcept>

#include "bench/case_state.h"
#include "bench/cases.h"
#include "bench/frames.h"
#include "bench/tables.h"

namespace bench {

namespace {

// The test card as 32-bit pixels in the byte order of the plugin's colour
// model, alpha opaque.
std::vector<uint32_t> CardPixels(int colorModel) {
    const fxhost::Image& card = TestCardFrame();
    const bool blueFirst = colorModel == f0r::kModelBgra8888;
    std::vector<uint32_t> pixels(static_cast<size_t>(card.width) * card.height);
    for (size_t i = 0; i < pixels.size(); ++i) {
        const uint32_t r = card.rgb[i * 3], g = card.rgb[i * 3 + 1], b = card.rgb[i * 3 + 2];
        const uint32_t first = blueFirst ? b : r, third = blueFirst ? r : b;
        // Bytes in memory: first, green, third, alpha (little-endian words).
        pixels[i] = first | g << 8 | third << 16 | 0xFFu << 24;
    }
    return pixels;
}

struct PeerState : CaseState {
    PeerState(const Frei0rFilter& filter, const std::vector<Frei0rSetting>& settings)
        : input(CardPixels(filter.colorModel())),
          output(input.size()),
          instance(filter, kFrameWidth, kFrameHeight, settings) {}
    std::vector<uint32_t> input;
    std::vector<uint32_t> output;
    Frei0rFilter::Instance instance;
    double time = 0;
};

void RunPeer(benchmark::State& state, const Frei0rFilter& filter, const PeerFilter& peer,
             const std::string& caseName) {
    PeerState* s = nullptr;
    try {
        s = &StateFor<PeerState>(caseName,
                                 [&] { return std::make_unique<PeerState>(filter, peer.settings); });
    } catch (const std::runtime_error& error) {
        state.SkipWithError(error.what());
        return;
    }
    for ([[maybe_unused]] auto _ : state) {
        s->instance.update(s->time, s->input.data(), s->output.data());
        s->time += kFrameStepMs / 1000.0;
    }
    benchmark::DoNotOptimize(s->output.data());
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

#ifdef EFFECTS_FREI0R_PLUGIN_DIR
void RegisterBridgeCases(std::vector<std::unique_ptr<Frei0rFilter>>& loaded, std::vector<PeerNote>& notes) {
    // This build's plugins come first on the frei0r path.
    const char* path = std::getenv("FREI0R_PATH");
    const std::string ours = std::string(EFFECTS_FREI0R_PLUGIN_DIR) + (path && *path ? std::string(":") + path : "");
    setenv("FREI0R_PATH", ours.c_str(), 1);
    static const std::vector<PeerFilter> kBridged = {
        {"fx_posterize", {}},        {"fx_posterize_hue", {}},       {"fx_posterize_smooth", {}},
        {"fx_rgb_cycling_fast", {}}, {"fx_brightness_contrast", {}}, {"fx_motion_blur", {}},
        {"fx_square_kaleido", {}},   {"fx_cube3d", {}}};
    for (const PeerFilter& bridged : kBridged) {
        std::string why;
        auto filter = Frei0rFilter::Load(bridged.plugin, why);
        if (!filter) {
            notes.push_back({bridged.plugin, why});
            continue;
        }
        const std::string caseName = BridgeCaseName(bridged.plugin);
        const Frei0rFilter* f = filter.get();
        benchmark::RegisterBenchmark(caseName.c_str(), [f, &bridged, caseName](benchmark::State& state) {
            RunPeer(state, *f, bridged, caseName);
        })->Unit(benchmark::kMillisecond);
        loaded.push_back(std::move(filter));
    }
}
#else
void RegisterBridgeCases(std::vector<std::unique_ptr<Frei0rFilter>>&, std::vector<PeerNote>&) {}
#endif

void RegisterPeerCases(std::vector<std::unique_ptr<Frei0rFilter>>& loaded, std::vector<PeerNote>& notes) {
    static_assert(kFrameWidth % 8 == 0 && kFrameHeight % 8 == 0, "frei0r wants multiples of 8");
    for (const PeerFilter& peer : kPeerFilters) {
        std::string why;
        auto filter = Frei0rFilter::Load(peer.plugin, why);
        if (!filter) {
            notes.push_back({peer.plugin, why});
            continue;
        }
        const std::string caseName = PeerCaseName(peer.plugin);
        const Frei0rFilter* f = filter.get();
        benchmark::RegisterBenchmark(caseName.c_str(), [f, &peer, caseName](benchmark::State& state) {
            RunPeer(state, *f, peer, caseName);
        })->Unit(benchmark::kMillisecond);
        loaded.push_back(std::move(filter));
    }
}

}  // namespace bench
