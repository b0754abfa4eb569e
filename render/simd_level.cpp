#include "render/simd_level.h"

#include <cstdlib>
#include <cstring>

namespace {

SimdLevel DetectSimdLevel() {
    SimdLevel best = SimdLevel::kSse2;
    if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw"))
        best = SimdLevel::kAvx512Vbmi;
    else if (__builtin_cpu_supports("avx2"))
        best = SimdLevel::kAvx2;
    return CappedSimdLevel(std::getenv("EFFECTS_SIMD"), best);
}

// Detected while the module loads, so that a later change of the
// environment changes nothing.
const SimdLevel g_loadLevel = MachineSimdLevel();

}  // namespace

SimdLevel CappedSimdLevel(const char* cap, SimdLevel best) {
    if (!cap) return best;
    struct Named {
        const char* name;
        SimdLevel level;
    };
    static const Named kNames[] = {{"scalar", SimdLevel::kScalar},
                                   {"sse2", SimdLevel::kSse2},
                                   {"avx2", SimdLevel::kAvx2},
                                   {"avx512", SimdLevel::kAvx512Vbmi}};
    for (const Named& n : kNames)
        if (std::strcmp(cap, n.name) == 0) return n.level < best ? n.level : best;
    return best;
}

SimdLevel MachineSimdLevel() {
    static const SimdLevel level = DetectSimdLevel();
    return level;
}
