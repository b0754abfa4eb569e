#include "frei0r/time_unit.h"

#include <dlfcn.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace fxbridge {

bool ParseTimeUnit(const char* text, TimeUnit* unit) {
    if (!text) return false;
    if (std::strcmp(text, "s") == 0 || std::strcmp(text, "seconds") == 0) {
        *unit = TimeUnit::kSeconds;
        return true;
    }
    if (std::strcmp(text, "ms") == 0 || std::strcmp(text, "milliseconds") == 0) {
        *unit = TimeUnit::kMilliseconds;
        return true;
    }
    return false;
}

TimeUnit CallerTimeUnit(const void* caller) {
    TimeUnit unit = TimeUnit::kSeconds;
    if (ParseTimeUnit(std::getenv("EFFECTS_FREI0R_TIME"), &unit)) return unit;
    Dl_info where{};
    if (!caller || !dladdr(caller, &where) || !where.dli_fname) return TimeUnit::kSeconds;
    // RTLD_NOLOAD: only a look at a library that is already mapped.
    void* library = dlopen(where.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    if (!library) return TimeUnit::kSeconds;
    const bool avfilter = dlsym(library, "avfilter_version") != nullptr;
    dlclose(library);
    return avfilter ? TimeUnit::kMilliseconds : TimeUnit::kSeconds;
}

uint32_t ModuleTime(double time, TimeUnit unit) {
    const double ms = std::round(unit == TimeUnit::kSeconds ? time * 1000.0 : time);
    if (!(ms > 0.0)) return 0;
    // fmod keeps the value in range for the cast; exact below 2^53.
    return static_cast<uint32_t>(static_cast<uint64_t>(std::fmod(ms, 4294967296.0)));
}

}  // namespace fxbridge
