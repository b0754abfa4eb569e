// frei0r hosts disagree on the unit of f0r_update's time: the frei0r
// header and MLT say seconds, ffmpeg's frei0r filter passes milliseconds.
#pragma once

#include <cstdint>

namespace fxbridge {

enum class TimeUnit { kSeconds, kMilliseconds };

// The unit that the code at caller uses: milliseconds when caller lies in
// a library that exports avfilter_version (ffmpeg's filter library, where
// its frei0r filter lives), seconds otherwise. The environment variable
// EFFECTS_FREI0R_TIME ("s" or "ms") overrides the guess.
TimeUnit CallerTimeUnit(const void* caller);

// The override alone: "s"/"seconds", "ms"/"milliseconds"; false when text
// is null or names neither.
bool ParseTimeUnit(const char* text, TimeUnit* unit);

// A host time in unit as the module's clock: rounded to the nearest
// millisecond and wrapped at 2^32 like a millisecond counter; negative
// times and non-numbers give 0.
uint32_t ModuleTime(double time, TimeUnit unit);

}  // namespace fxbridge
