#include "temporal/motion_blur_kernels.h"

#include <cstring>

namespace {

// The same mixes field by field in 16-bit arithmetic, which the compiler
// turns into 16-bit vector lanes: the fields of a 5-6-5 or 5-5-5 word are
// summed apart, so no sum leaves 16 bits. Equal to the masked sums above for
// every pair of words.
inline uint16_t Fields16(uint32_t a, uint32_t s, int redShift, uint32_t greenMask, int weight, int shift) {
    const auto mix = [&](uint32_t x, uint32_t y) { return (x * weight + y) >> shift; };
    const uint32_t red = mix(a >> redShift & 31, s >> redShift & 31) << redShift;
    const uint32_t green = mix(a & greenMask, s & greenMask) & greenMask;
    const uint32_t blue = mix(a & 31, s & 31);
    return static_cast<uint16_t>(red | green | blue);
}

struct Half555 {
    using Word = uint16_t;
    static Word Mix(Word a, Word s) { return Fields16(a, s, 10, 0x3E0, 1, 1); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixHalf555Lanes(a, s); }
};
struct ThreeQuarter555 {
    using Word = uint16_t;
    static Word Mix(Word a, Word s) { return Fields16(a, s, 10, 0x3E0, 3, 2); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixThreeQuarter555Lanes(a, s); }
};
struct Half565 {
    using Word = uint16_t;
    static Word Mix(Word a, Word s) { return Fields16(a, s, 11, 0x7E0, 1, 1); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixHalf565Lanes(a, s); }
};
struct ThreeQuarter565 {
    using Word = uint16_t;
    static Word Mix(Word a, Word s) { return Fields16(a, s, 11, 0x7E0, 3, 2); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixThreeQuarter565Lanes(a, s); }
};
struct Half32 {
    using Word = uint32_t;
    static Word Mix(Word a, Word s) { return MixHalf32(a, s); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixHalf32Lanes(a, s); }
};
struct ThreeQuarter32 {
    using Word = uint32_t;
    static Word Mix(Word a, Word s) { return MixThreeQuarter32(a, s); }
    static uint64_t Pairs(uint64_t a, uint64_t s) { return MixThreeQuarter32Lanes(a, s); }
};

// The loop every variant shares; each variant below compiles it for its own
// instruction set. Fields go to locals so that the compiler can see the
// stores cannot change the bounds.
template <class Op>
__attribute__((always_inline)) inline void MixRows(const PixelRows& trail) {
    using Word = typename Op::Word;
    const uint8_t* src = trail.src;
    uint8_t* dst = trail.dst;
    const intptr_t srcStep = trail.srcStep, dstStep = trail.dstStep;
    const int32_t rows = trail.rows, width = trail.width;
    for (int32_t y = 0; y < rows; ++y) {
        const Word* s = reinterpret_cast<const Word*>(src + y * srcStep);
        Word* d = reinterpret_cast<Word*>(dst + y * dstStep);
        for (int32_t x = 0; x < width; ++x) StorePixel(d, x, Op::Mix(LoadPixel(d, x), LoadPixel(s, x)));
    }
}

// Without vectors, a 64-bit word at a time: two 32-bit pixels, or four
// 16-bit ones split into even and odd pixels in lanes of 32 bits.
template <class Op>
__attribute__((optimize("no-tree-vectorize"))) void MixScalar(const PixelRows& trail) {
    using Word = typename Op::Word;
    constexpr int32_t kWords = 8 / sizeof(Word);
    constexpr uint64_t kLowHalves = 0x0000FFFF0000FFFFull;
    for (int32_t y = 0; y < trail.rows; ++y) {
        const Word* s = trail.srcRow<Word>(y);
        Word* d = trail.dstRow<Word>(y);
        int32_t x = 0;
        for (; x + kWords <= trail.width; x += kWords) {
            uint64_t a, v, out;
            std::memcpy(&a, d + x, 8);
            std::memcpy(&v, s + x, 8);
            if constexpr (kWords == 2)
                out = Op::Pairs(a, v);
            else
                out = Op::Pairs(a & kLowHalves, v & kLowHalves) |
                      Op::Pairs(a >> 16 & kLowHalves, v >> 16 & kLowHalves) << 16;
            std::memcpy(d + x, &out, 8);
        }
        for (; x < trail.width; ++x) StorePixel(d, x, Op::Mix(LoadPixel(d, x), LoadPixel(s, x)));
    }
}
template <class Op>
void MixSse2(const PixelRows& trail) {
    MixRows<Op>(trail);
}
template <class Op>
__attribute__((target("avx2"))) void MixAvx2(const PixelRows& trail) {
    MixRows<Op>(trail);
}
template <class Op>
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void MixAvx512(const PixelRows& trail) {
    MixRows<Op>(trail);
}

template <class Op>
void Mix(const PixelRows& trail, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return MixScalar<Op>(trail);
    case SimdLevel::kSse2: return MixSse2<Op>(trail);
    case SimdLevel::kAvx2: return MixAvx2<Op>(trail);
    case SimdLevel::kAvx512Vbmi: return MixAvx512<Op>(trail);
    }
}

}  // namespace

void BlendHalf555(const PixelRows& trail, SimdLevel level) { Mix<Half555>(trail, level); }
void BlendThreeQuarter555(const PixelRows& trail, SimdLevel level) { Mix<ThreeQuarter555>(trail, level); }
void BlendHalf565(const PixelRows& trail, SimdLevel level) { Mix<Half565>(trail, level); }
void BlendThreeQuarter565(const PixelRows& trail, SimdLevel level) { Mix<ThreeQuarter565>(trail, level); }
void BlendHalf32(const PixelRows& trail, SimdLevel level) { Mix<Half32>(trail, level); }
void BlendThreeQuarter32(const PixelRows& trail, SimdLevel level) { Mix<ThreeQuarter32>(trail, level); }
