// A host that runs for hours: every factory name created, rendered for a few
// frames and destroyed thousands of times over mixed sizes, depths and
// layouts, with several instances alive at once. Resident memory after the
// first round must stay flat; the sanitizer build checks that nothing leaks.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/console_capture.h"
#include "host/host_surface.h"
#include "module_fixture.h"

namespace {

using fxhost::HostSurface;

#if defined(__SANITIZE_ADDRESS__)
constexpr int kRounds = 100;  // freed memory sits in quarantine: no bound
constexpr bool kMeasure = false;
#else
constexpr int kRounds = 2000;
constexpr bool kMeasure = true;
#endif
constexpr size_t kLive = 5;
constexpr long kGrowthBound = 2 << 20;  // bytes

long ResidentBytes() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * sysconf(_SC_PAGESIZE);
}

struct Live {
    std::unique_ptr<HostSurface> source, destination;
    CRenderInterface* effect = nullptr;
};

struct Shape {
    int width, height;
};
constexpr Shape kShapes[] = {{1, 1}, {7, 3}, {16, 16}, {33, 9}, {64, 48}, {120, 2}, {5, 40}};
constexpr int32_t kFormats[] = {kFormatXrgb, kFormat565, kFormat555};

TEST(Soak, EveryNameThousandsOfTimesWithoutGrowth) {
    auto module = FreshModule();
    fxhost::SetLogSink([](const std::string&) {});
    const EffectApi& api = module->api();
    const auto names = fxhost::EffectNames(*module);
    ASSERT_EQ(names.size(), 38u);
    std::deque<Live> live;
    uint32_t time = 0;
    long afterFirst = 0;
    size_t instances = 0;
    for (int round = 0; round < kRounds; ++round) {
        for (size_t n = 0; n < names.size(); ++n) {
            const size_t pick = round * 7 + n;
            const Shape shape = kShapes[pick % std::size(kShapes)];
            const int32_t format = kFormats[pick / 3 % std::size(kFormats)];
            Live entry;
            entry.source = std::make_unique<HostSurface>(shape.width, shape.height, format);
            entry.source->fill(0x00A5C3E1u ^ static_cast<uint32_t>(pick));
            // In place, same size, or a destination of another size that
            // makes the effect scale through a work surface.
            switch (pick % 4) {
            case 0: break;
            case 1: entry.destination = std::make_unique<HostSurface>(shape.width, shape.height, format); break;
            default:
                entry.destination =
                    std::make_unique<HostSurface>(shape.height + 1, shape.width + 2, format);
            }
            {
                // The ascii rows say on standard output why they refuse.
                fxhost::ConsoleCapture quiet;
                entry.effect = api.CreateEffect(names[n].c_str(), entry.source->get(),
                                                entry.destination ? entry.destination->get() : nullptr);
            }
            if (!entry.effect) continue;
            ++instances;
            const int32_t params[4] = {static_cast<int32_t>(pick % 256), 128, 255 - static_cast<int32_t>(n), 64};
            for (int frame = 0; frame < 3; ++frame, time += 40)
                api.RenderEffect(entry.effect, params, frame == 1 ? nullptr : entry.source->get(), time);
            live.push_back(std::move(entry));
            if (live.size() > kLive) {
                api.DestroyEffect(live.front().effect);
                live.pop_front();
            }
        }
        if (round == 0) afterFirst = ResidentBytes();
    }
    for (Live& entry : live) api.DestroyEffect(entry.effect);
    live.clear();
    const long atEnd = ResidentBytes();
    std::printf("soak: %zu instances, resident %ld KB after the first round, %ld KB at the end\n", instances,
                afterFirst >> 10, atEnd >> 10);
    EXPECT_GE(instances, static_cast<size_t>(kRounds) * 20);
    if (kMeasure) {
        EXPECT_LT(atEnd - afterFirst, kGrowthBound);
    }
}

}  // namespace
