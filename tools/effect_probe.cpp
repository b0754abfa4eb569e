// Facts about each effect found by running it: small test cards through
// fresh instances, compared frame by frame.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/console_capture.h"
#include "host/host_surface.h"
#include "host/picture_io.h"
#include "host/test_card.h"
#include "tools/effect_facts.h"

namespace fxtool {
namespace {

// Small enough to be quick, large enough for the kaleidoscopes' tiles and
// the cube's faces to show.
constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr std::array<int32_t, 3> kFormats{kFormatXrgb, kFormat565, kFormat555};

using Values = std::array<int32_t, 4>;
using Pixels = std::vector<uint32_t>;

struct Step {
    Values values;
    uint32_t time = 0;
    bool second = false;  // the second picture instead of the first
};
using Steps = std::vector<Step>;

struct Run {
    bool created = false;
    std::string console;
    std::vector<Pixels> frames;  // the destination after each step
};

Pixels Words(const fxhost::HostSurface& surface) {
    Pixels words;
    words.reserve(static_cast<size_t>(surface.width()) * static_cast<size_t>(surface.height()));
    for (int y = 0; y < surface.height(); ++y)
        for (int x = 0; x < surface.width(); ++x) words.push_back(surface.pixel(x, y));
    return words;
}

// A destination pattern no effect makes: scrambled words, so that any
// pixel an effect writes almost surely changes.
uint32_t Sentinel(int x, int y) {
    uint32_t h = static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    return h ^ (h >> 13);
}

// Red, green and blue of a pixel word on the 0-255 scale.
std::array<int, 3> Channels(uint32_t word, int32_t format) {
    if (format == kFormat565)
        return {int(word >> 11 & 31) << 3, int(word >> 5 & 63) << 2, int(word & 31) << 3};
    if (format == kFormat555)
        return {int(word >> 10 & 31) << 3, int(word >> 5 & 31) << 3, int(word & 31) << 3};
    return {int(word >> 16 & 255), int(word >> 8 & 255), int(word & 255)};
}

// How far apart two pictures are: the mean difference of the channels, 0 to
// 255, after the typical difference is taken off, so that a brightness
// change of the whole frame (a flicker) counts for little.
double Distance(const Pixels& a, const Pixels& b, int32_t format) {
    std::vector<int> differences;
    differences.reserve(a.size() * 3);
    for (size_t i = 0; i < a.size(); ++i) {
        const auto ca = Channels(a[i], format), cb = Channels(b[i], format);
        for (int c = 0; c < 3; ++c) differences.push_back(ca[c] - cb[c]);
    }
    if (differences.empty()) return 0.0;
    std::vector<int> sorted = differences;
    const auto middle = sorted.begin() + static_cast<ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    long total = 0;
    for (int d : differences) total += std::abs(d - *middle);
    return static_cast<double>(total) / static_cast<double>(differences.size());
}

// Runs effects on fresh instances against prepared cards and sentinels.
class Prober {
public:
    explicit Prober(const fxhost::EffectModule& module) : api_(module.api()) {
        const fxhost::Image first = fxhost::MakeTestCard(kWidth, kHeight);
        fxhost::Image second = first;  // mirrored left to right
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                std::memcpy(&second.rgb[3 * static_cast<size_t>(y * kWidth + x)],
                            &first.rgb[3 * static_cast<size_t>(y * kWidth + kWidth - 1 - x)], 3);
        for (int32_t format : kFormats) {
            Cards cards{{kWidth, kHeight, format}, {kWidth, kHeight, format}, {kWidth, kHeight, format}};
            fxhost::ImageToSurface(first, cards.first);
            fxhost::ImageToSurface(second, cards.second);
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) cards.sentinel.setPixel(x, y, Sentinel(x, y));
            sentinels_.push_back(Words(cards.sentinel));
            cards_.push_back(std::move(cards));
        }
        // An instance kept aside to set the module's clock back to 0 before
        // each creation, as some effects take their start from that clock.
        for (const std::string& name : fxhost::EffectNames(module)) {
            fxhost::ConsoleCapture capture;
            clock_ = api_.CreateEffect(name.c_str(), clockSurface_.get(), nullptr);
            capture.finish();
            if (clock_) break;
        }
    }
    ~Prober() {
        if (clock_) api_.DestroyEffect(clock_);
    }
    Prober(const Prober&) = delete;
    Prober& operator=(const Prober&) = delete;

    const Pixels& sentinel(int32_t format) const { return sentinels_[Slot(format)]; }

    Run run(const std::string& name, int32_t format, const Steps& steps) {
        Run result;
        const Cards& cards = cards_[Slot(format)];
        fxhost::HostSurface source(kWidth, kHeight, format);
        fxhost::HostSurface target(kWidth, kHeight, format);
        source.copyPixelsFrom(cards.first);
        target.copyPixelsFrom(cards.sentinel);
        if (clock_) {
            const Values zero{};
            api_.RenderEffect(clock_, zero.data(), clockSurface_.get(), 0);
        }
        fxhost::ConsoleCapture capture;
        CRenderInterface* effect = api_.CreateEffect(name.c_str(), source.get(), target.get());
        result.console = capture.finish();
        result.created = effect != nullptr;
        if (!effect) return result;
        for (const Step& step : steps) {
            source.copyPixelsFrom(step.second ? cards.second : cards.first);
            api_.RenderEffect(effect, step.values.data(), source.get(), step.time);
            result.frames.push_back(Words(target));
        }
        api_.DestroyEffect(effect);
        return result;
    }

    // The last frame of a run.
    Pixels last(const std::string& name, int32_t format, const Steps& steps) {
        Run r = run(name, format, steps);
        return r.frames.empty() ? Pixels{} : std::move(r.frames.back());
    }

private:
    struct Cards {
        fxhost::HostSurface first, second, sentinel;
    };
    static size_t Slot(int32_t format) {
        return static_cast<size_t>(std::find(kFormats.begin(), kFormats.end(), format) - kFormats.begin());
    }

    const EffectApi& api_;
    std::vector<Cards> cards_;
    std::vector<Pixels> sentinels_;
    fxhost::HostSurface clockSurface_{4, 4, kFormatXrgb};
    CRenderInterface* clock_ = nullptr;
};

// Two frames with the same values: the first starts the effect's clock, the
// second shows it time ms later.
Steps Pair(const Values& values, uint32_t time) { return {{values, 0}, {values, time}}; }

EffectFacts Probe(Prober& prober, const fxhost::EffectModule& module, const std::string& name, int index,
                  const fxhost::CatalogueEntry* row) {
    EffectFacts facts;
    facts.name = name;
    facts.index = index;
    facts.catalogued = row != nullptr;
    facts.summary = EffectSummary(name);
    if (row) {
        facts.labels = row->labels;
        facts.defaults = row->defaults;
    } else {
        facts.defaults = {255, 255, 255, 255};
        module.api().GetEffectDefaults(name.c_str(), facts.defaults.data());
    }
    const Values defaults = facts.defaults;
    const Values middle{128, 128, 128, 128};

    // Where it draws: a few frames at a few times, defaults and a middle setting.
    for (size_t f = 0; f < kFormats.size(); ++f) {
        const Run run = prober.run(name, kFormats[f], {{defaults, 0}, {middle, 600}, {defaults, 1200}});
        if (!run.created) {
            facts.refusal = fxhost::LastLine(run.console);
            return facts;
        }
        facts.created = true;
        for (const Pixels& frame : run.frames)
            facts.draws[f] = facts.draws[f] || frame != prober.sentinel(kFormats[f]);
    }
    const auto drawn = std::find(facts.draws.begin(), facts.draws.end(), true);
    if (drawn == facts.draws.end()) return facts;
    const int32_t format = kFormats[static_cast<size_t>(drawn - facts.draws.begin())];

    // Equal runs that differ are random: then only a difference well beyond
    // what equal runs show counts.
    constexpr std::array<uint32_t, 2> kTimes{600, 1300};
    std::array<Pixels, 2> baseline;
    for (size_t t = 0; t < kTimes.size(); ++t) baseline[t] = prober.last(name, format, Pair(defaults, kTimes[t]));
    facts.random = prober.last(name, format, Pair(defaults, kTimes[0])) != baseline[0];
    double noise = 0;
    for (size_t t = 0; t < kTimes.size() && facts.random; ++t)
        for (int repeat = 0; repeat < 3; ++repeat) {
            const Pixels again = prober.last(name, format, Pair(defaults, kTimes[t]));
            noise = std::max(noise, Distance(again, baseline[t], format));
        }
    const auto differ = [&](const Pixels& a, const Pixels& b) {
        return facts.random ? Distance(a, b, format) > 2 * noise + 4 : a != b;
    };

    // Which values it reads: each alone over its range, at equal times.
    for (size_t i = 0; i < 4; ++i) {
        for (size_t t = 0; t < kTimes.size() && !facts.reads[i]; ++t) {
            for (int32_t value : {0, 64, 128, 192, 255}) {
                if (value == defaults[i]) continue;
                Values values = defaults;
                values[i] = value;
                if (differ(prober.last(name, format, Pair(values, kTimes[t])), baseline[t])) {
                    facts.reads[i] = true;
                    break;
                }
            }
        }
        if (facts.reads[i]) facts.meanings[i] = facts.labels[i];
    }

    // Whether the time alone moves the picture.
    const Pixels start = prober.last(name, format, Pair(defaults, 0));
    facts.movesWithTime = facts.random;
    for (uint32_t time : {40u, 500u, 750u, 1000u, 1800u, 5000u})
        if (!facts.movesWithTime && differ(prober.last(name, format, Pair(defaults, time)), start))
            facts.movesWithTime = true;

    // Whether an earlier picture shows in a later frame: the same times,
    // once after the first picture and once with the second picture throughout.
    for (uint32_t time : {600u, 1200u}) {
        const Pixels after = prober.last(name, format, {{defaults, 0}, {defaults, 600}, {defaults, time, true}});
        const Pixels alone =
            prober.last(name, format, {{defaults, 0, true}, {defaults, 600, true}, {defaults, time, true}});
        facts.keepsPictures = facts.keepsPictures || differ(after, alone);
    }
    return facts;
}

}  // namespace

EffectFacts ProbeEffect(const fxhost::EffectModule& module, const std::string& name) {
    const auto names = fxhost::EffectNames(module);
    const std::string exact = ResolveName(names, name);
    const int index = static_cast<int>(std::find(names.begin(), names.end(), exact) - names.begin());
    Prober prober(module);
    const auto rows = fxhost::ReadCatalogue(module);
    const fxhost::CatalogueEntry* row = static_cast<size_t>(index) < rows.size() ? &rows[index] : nullptr;
    return Probe(prober, module, exact, index, row);
}

std::vector<EffectFacts> ProbeEffects(const fxhost::EffectModule& module) {
    Prober prober(module);
    const auto rows = fxhost::ReadCatalogue(module);
    const auto names = fxhost::EffectNames(module);
    std::vector<EffectFacts> all;
    for (size_t i = 0; i < names.size(); ++i)
        all.push_back(Probe(prober, module, names[i], static_cast<int>(i), i < rows.size() ? &rows[i] : nullptr));
    return all;
}

}  // namespace fxtool
