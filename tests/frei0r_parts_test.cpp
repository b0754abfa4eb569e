// The bridge's own parts: alpha from the input frame at every vector level,
// the host's time as the module's clock, values as the module's 0..255.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "frei0r/alpha_merge.h"
#include "frei0r/bridge_instance.h"
#include "frei0r/time_unit.h"

namespace {

using fxbridge::TimeUnit;

std::vector<fxhost::BlitLevel> Levels() {
    std::vector<fxhost::BlitLevel> levels;
    for (auto l : {fxhost::BlitLevel::kScalar, fxhost::BlitLevel::kSse2, fxhost::BlitLevel::kAvx2,
                   fxhost::BlitLevel::kAvx512})
        if (l <= fxhost::MachineBlitLevel()) levels.push_back(l);
    return levels;
}

TEST(MergeAlpha, ColourFromOneAlphaFromTheOtherAtEveryLevelAndLength) {
    std::mt19937 rng(7);
    for (auto level : Levels()) {
        for (size_t n = 0; n <= 70; ++n) {
            std::vector<uint32_t> colour(n + 1), alpha(n + 1), out(n + 1, 0x12345678u);
            for (size_t i = 0; i < n; ++i) colour[i] = rng(), alpha[i] = rng();
            fxbridge::MergeAlphaAt(level, colour.data(), alpha.data(), out.data(), n);
            for (size_t i = 0; i < n; ++i)
                ASSERT_EQ(out[i], (colour[i] & 0x00FFFFFFu) | (alpha[i] & 0xFF000000u))
                    << "level " << int(level) << " n " << n << " i " << i;
            EXPECT_EQ(out[n], 0x12345678u) << "wrote past the end, level " << int(level);
            // In place: the colour words are the output.
            std::vector<uint32_t> inPlace = colour;
            fxbridge::MergeAlphaAt(level, inPlace.data(), alpha.data(), inPlace.data(), n);
            EXPECT_TRUE(std::equal(inPlace.begin(), inPlace.begin() + n, out.begin()));
        }
    }
}

TEST(ModuleTime, RoundsToTheNearestMillisecondInEitherUnit) {
    EXPECT_EQ(fxbridge::ModuleTime(0.0, TimeUnit::kSeconds), 0u);
    EXPECT_EQ(fxbridge::ModuleTime(0.04 * 3, TimeUnit::kSeconds), 120u);  // 119.99999...
    EXPECT_EQ(fxbridge::ModuleTime(1.0 / 30 * 2, TimeUnit::kSeconds), 67u);
    EXPECT_EQ(fxbridge::ModuleTime(120.0, TimeUnit::kMilliseconds), 120u);
    EXPECT_EQ(fxbridge::ModuleTime(66.4999, TimeUnit::kMilliseconds), 66u);
    // A millisecond clock wraps at 2^32; nothing negative or undefined.
    EXPECT_EQ(fxbridge::ModuleTime(4294967296.0 + 5.0, TimeUnit::kMilliseconds), 5u);
    EXPECT_EQ(fxbridge::ModuleTime(4294967.2954, TimeUnit::kSeconds), 4294967295u);
    EXPECT_EQ(fxbridge::ModuleTime(4294967295.5, TimeUnit::kMilliseconds), 0u);
    EXPECT_EQ(fxbridge::ModuleTime(-3.0, TimeUnit::kSeconds), 0u);
    EXPECT_EQ(fxbridge::ModuleTime(std::nan(""), TimeUnit::kMilliseconds), 0u);
    EXPECT_EQ(fxbridge::ModuleTime(std::numeric_limits<double>::infinity(), TimeUnit::kSeconds), 0u);
}

TEST(TimeUnitOverride, NamesBothUnitsAndNothingElse) {
    TimeUnit unit = TimeUnit::kSeconds;
    EXPECT_TRUE(fxbridge::ParseTimeUnit("ms", &unit));
    EXPECT_EQ(unit, TimeUnit::kMilliseconds);
    EXPECT_TRUE(fxbridge::ParseTimeUnit("seconds", &unit));
    EXPECT_EQ(unit, TimeUnit::kSeconds);
    EXPECT_TRUE(fxbridge::ParseTimeUnit("milliseconds", &unit));
    EXPECT_FALSE(fxbridge::ParseTimeUnit("MS", &unit));
    EXPECT_FALSE(fxbridge::ParseTimeUnit("", &unit));
    EXPECT_FALSE(fxbridge::ParseTimeUnit(nullptr, &unit));
    EXPECT_EQ(unit, TimeUnit::kMilliseconds);
}

TEST(ModuleValue, EveryStepRoundTripsAndTheEdgesClamp) {
    for (int k = 0; k <= 255; ++k) ASSERT_EQ(fxbridge::ModuleValue(k / 255.0), k);
    EXPECT_EQ(fxbridge::ModuleValue(0.5), 128);  // 127.5 rounds up
    EXPECT_EQ(fxbridge::ModuleValue(127.4999 / 255.0), 127);
    EXPECT_EQ(fxbridge::ModuleValue(-0.5), 0);
    EXPECT_EQ(fxbridge::ModuleValue(1.5), 255);
    EXPECT_EQ(fxbridge::ModuleValue(std::nan("")), 0);
    EXPECT_EQ(fxbridge::ModuleValue(-std::numeric_limits<double>::infinity()), 0);
}

}  // namespace
