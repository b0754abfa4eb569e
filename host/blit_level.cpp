#include "host/blit_level.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace fxhost {

namespace {

BlitLevel Detect() {
    BlitLevel best = BlitLevel::kSse2;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw"))
        best = BlitLevel::kAvx512;
    else if (__builtin_cpu_supports("avx2"))
        best = BlitLevel::kAvx2;
    const char* cap = std::getenv("EFFECTS_SIMD");
    if (cap == nullptr) return best;
    static const struct {
        const char* name;
        BlitLevel level;
    } kNames[] = {{"scalar", BlitLevel::kScalar},
                  {"sse2", BlitLevel::kSse2},
                  {"avx2", BlitLevel::kAvx2},
                  {"avx512", BlitLevel::kAvx512}};
    for (const auto& n : kNames)
        if (std::strcmp(cap, n.name) == 0) return n.level < best ? n.level : best;
    return best;
}

// -1 until a test sets a level.
std::atomic<int> g_override{-1};

}  // namespace

BlitLevel MachineBlitLevel() {
    static const BlitLevel level = Detect();
    return level;
}

BlitLevel CurrentBlitLevel() {
    const int o = g_override.load(std::memory_order_relaxed);
    return o < 0 ? MachineBlitLevel() : static_cast<BlitLevel>(o);
}

BlitLevel SetBlitLevelForTesting(BlitLevel level) {
    const BlitLevel best = MachineBlitLevel();
    const BlitLevel applied = level < best ? level : best;
    g_override.store(static_cast<int>(applied), std::memory_order_relaxed);
    return applied;
}

}  // namespace fxhost
