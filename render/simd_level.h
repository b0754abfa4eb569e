// The vector instructions a pixel kernel may use. Kernels take the level as
// an upper bound, so that tests can run every variant on one machine.
#pragma once

enum class SimdLevel {
    kScalar,
    kSse2,
    kAvx2,
    kAvx512Vbmi,  // AVX-512 with byte permutes
};

// The best level this processor supports, detected once.
inline SimdLevel MachineSimdLevel() {
    static const SimdLevel level = [] {
        if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw"))
            return SimdLevel::kAvx512Vbmi;
        if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
        return SimdLevel::kSse2;
    }();
    return level;
}
