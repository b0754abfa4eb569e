#include <cstring>

#include "colour/smooth_kernels.h"
#include "colour/smooth_mean_rows.h"
#include "render/intrinsics.h"
#include "render/row_blocks.h"
#include "render/surface.h"

// Eight slots of 5-bit channels sum to at most 248 a byte, so whole words
// add without carries between the channels: one sum serves all three.

namespace {

inline void StorePixel(uint8_t* p, uint16_t v) {
    std::memcpy(p, &v, 2);
}

// ---- Portable ---------------------------------------------------------------

void MeanPixelsPortable(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out,
                        int32_t width, FieldShifts16 l) {
    // The column of slot x and its rim; slots from width on count as 0.
    const auto column = [&](int32_t x, uint32_t& rim) -> uint32_t {
        rim = 0;
        if (x >= width) return 0;
        rim = LoadWord(a + 4 * x) + LoadWord(b + 4 * x);
        return rim + LoadWord(m + 4 * x);
    };
    uint32_t rim = 0, nextRim = 0, prev = 0, cur = column(0, rim);
    for (int32_t x = 0; x < width; ++x) {
        const uint32_t next = column(x + 1, nextRim);
        const uint32_t s = (prev + next + rim) >> 3;
        const uint32_t p = (s & 31) | ((s >> 8) & 31) << l.green | ((s >> 16) & 31) << l.red;
        StorePixel(out + 2 * x, static_cast<uint16_t>(p));
        prev = cur;
        cur = next;
        rim = nextRim;
    }
}

// ---- AVX-512 ----------------------------------------------------------------

// Reached only at the level with byte permutes: the kernels carry the target
// of the shared row loads.

struct Columns512 {
    __m512i sum, rim;
};

AVX512_KERNEL_INLINE Columns512 LoadColumns(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                            int32_t k, int32_t width) {
    const __m512i va = LoadRowVector32(a, k, width), vm = LoadRowVector32(m, k, width),
                  vb = LoadRowVector32(b, k, width);
    const __m512i rim = _mm512_add_epi32(va, vb);
    return {_mm512_add_epi32(rim, vm), rim};
}

// Sixteen slots a block; the mean's channels are joined into pixel words by
// two multiply-adds (blue plus green times 2^Green, then red times 2^Red in
// the high half) and stored truncated to 16 bits.
template <int Green, int Red>
AVX512_KERNEL void MeanPixelsAvx512(const uint8_t* a, const uint8_t* m, const uint8_t* b,
                                    uint8_t* out, int32_t width) {
    const __m512i channels = _mm512_set1_epi32(0x001F1F1F);
    const __m512i bytes = _mm512_set1_epi32(1 | (1 << Green) << 8 | 1 << 16);
    const __m512i halves = _mm512_set1_epi32(1 | (1 << Red) << 16);
    const int32_t blocks = (width + 15) / 16;
    Columns512 prev{_mm512_setzero_si512(), _mm512_setzero_si512()},
        cur = LoadColumns(a, m, b, 0, width);
    for (int32_t k = 0; k < blocks; ++k) {
        const Columns512 next = LoadColumns(a, m, b, k + 1, width);
        const __m512i ring = _mm512_add_epi32(
            _mm512_add_epi32(_mm512_alignr_epi32(cur.sum, prev.sum, 15),
                             _mm512_alignr_epi32(next.sum, cur.sum, 1)),
            cur.rim);
        const __m512i mean = _mm512_and_si512(_mm512_srli_epi32(ring, 3), channels);
        const __m512i words = _mm512_madd_epi16(_mm512_maddubs_epi16(mean, bytes), halves);
        const int32_t n = width - 16 * k;
        if (n >= 16)
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * k),
                                _mm512_cvtepi32_epi16(words));
        else
            _mm512_mask_cvtepi32_storeu_epi16(out + 32 * k, static_cast<__mmask16>((1u << n) - 1),
                                              words);
        prev = cur;
        cur = next;
    }
}

}  // namespace

void MeanSlotsToPixels16(const uint8_t* above, const uint8_t* middle, const uint8_t* below,
                         uint8_t* out, int32_t width, int32_t format, SimdLevel level) {
    if (width < 3) return;
    const bool five = format == kFormat555;
    if (level >= SimdLevel::kAvx512Vbmi)
        five ? MeanPixelsAvx512<5, 10>(above, middle, below, out, width)
             : MeanPixelsAvx512<6, 11>(above, middle, below, out, width);
    else
        MeanPixelsPortable(above, middle, below, out, width, Shifts16(format));
    StorePixel(out, 0);
    StorePixel(out + 2 * (width - 1), 0);
}
