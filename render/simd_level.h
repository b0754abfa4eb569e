// The vector instructions a pixel kernel may use. Kernels take the level as
// an upper bound, so that tests can run every variant on one machine.
#pragma once

enum class SimdLevel {
    kScalar,
    kSse2,
    kAvx2,
    kAvx512Vbmi,  // AVX-512 with byte permutes
};

// The best level this processor supports, capped by the environment
// variable EFFECTS_SIMD (scalar, sse2, avx2 or avx512), which is read once
// when the module loads. An unknown value caps nothing.
SimdLevel MachineSimdLevel();

// The level a value of EFFECTS_SIMD names, no higher than best; best for a
// null or unknown value.
SimdLevel CappedSimdLevel(const char* cap, SimdLevel best);
