// The vector instructions the blit service's pixel loops use.
#pragma once

namespace fxhost {

enum class BlitLevel {
    kScalar,
    kSse2,
    kAvx2,
    kAvx512,  // AVX-512 F and BW
};

// The best level this processor supports, capped by the environment variable
// EFFECTS_SIMD (scalar, sse2, avx2 or avx512) as it was when first asked; an
// unknown value caps nothing.
BlitLevel MachineBlitLevel();

// The level blits use now: the machine level unless a test lowered it.
BlitLevel CurrentBlitLevel();

// Makes blits use level, capped at the machine level, so that tests can run
// every variant on one machine; returns the level in force.
BlitLevel SetBlitLevelForTesting(BlitLevel level);

}  // namespace fxhost
