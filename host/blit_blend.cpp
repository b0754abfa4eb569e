// Blends: same-depth words mix lane by lane in row loops, with vector
// versions of the mix; mixed depths convert pixel by pixel.
#include "host/blit_blend.h"

#include <cstring>
#include <vector>

#include "host/blit_level.h"
#include "host/blit_pixels.h"
#include "render/intrinsics.h"

namespace fxhost::blit {

namespace {

#define BLEND_AVX2 __attribute__((target("avx2")))
#define BLEND_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline
#define BLEND_AVX512 __attribute__((target("avx512f,avx512bw")))
#define BLEND_AVX512_INLINE __attribute__((target("avx512f,avx512bw"), always_inline)) inline

uint32_t BlendLanes(uint32_t s, uint32_t d, uint32_t w, const Lanes& lanes) {
    uint32_t out = 0;
    for (int k = 0; k < lanes.count; ++k) {
        const uint32_t mask = (1u << lanes.bits[k]) - 1u;
        const uint32_t sv = (s >> lanes.shift[k]) & mask;
        const uint32_t dv = (d >> lanes.shift[k]) & mask;
        out |= Div100(sv * w + dv * (100u - w) + 50u) << lanes.shift[k];
    }
    return out;
}

// Mixes n words of s into d (d = mix of s over d) at weight w, 1..99.
using RowFn = void (*)(const uint8_t* s, uint8_t* d, int n, uint32_t w);

template <Lanes L, int Bpp>
void RowScalar(const uint8_t* s, uint8_t* d, int n, uint32_t w) {
    for (int i = 0; i < n; ++i) {
        const size_t at = static_cast<size_t>(i) * Bpp;
        StoreWord(d + at, Bpp, BlendLanes(LoadWord(s + at, Bpp), LoadWord(d + at, Bpp), w, L));
    }
}

// ---- SSE2: 16-bit lanes ----

// (s * w + d * iw + 50) / 100 in each 16-bit lane.
inline __m128i Mix16(__m128i s, __m128i d, __m128i w, __m128i iw) {
    const __m128i t = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(s, w), _mm_mullo_epi16(d, iw)), _mm_set1_epi16(50));
    return _mm_srli_epi16(_mm_mulhi_epu16(t, _mm_set1_epi16(static_cast<int16_t>(kDiv100Mul))), kDiv100Shift);
}

inline __m128i Mix32Sse2(__m128i s, __m128i d, __m128i w, __m128i iw) {
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = Mix16(_mm_unpacklo_epi8(s, z), _mm_unpacklo_epi8(d, z), w, iw);
    const __m128i hi = Mix16(_mm_unpackhi_epi8(s, z), _mm_unpackhi_epi8(d, z), w, iw);
    return _mm_packus_epi16(lo, hi);
}

inline __m128i Mix565Sse2(__m128i s, __m128i d, __m128i w, __m128i iw) {
    const __m128i m5 = _mm_set1_epi16(31), m6 = _mm_set1_epi16(63);
    const __m128i b = Mix16(_mm_and_si128(s, m5), _mm_and_si128(d, m5), w, iw);
    const __m128i g = Mix16(_mm_and_si128(_mm_srli_epi16(s, 5), m6), _mm_and_si128(_mm_srli_epi16(d, 5), m6), w, iw);
    const __m128i r = Mix16(_mm_srli_epi16(s, 11), _mm_srli_epi16(d, 11), w, iw);
    return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(r, 11), _mm_slli_epi16(g, 5)), b);
}

inline __m128i Mix555Sse2(__m128i s, __m128i d, __m128i w, __m128i iw) {
    const __m128i m5 = _mm_set1_epi16(31);
    const __m128i b = Mix16(_mm_and_si128(s, m5), _mm_and_si128(d, m5), w, iw);
    const __m128i g = Mix16(_mm_and_si128(_mm_srli_epi16(s, 5), m5), _mm_and_si128(_mm_srli_epi16(d, 5), m5), w, iw);
    const __m128i r = Mix16(_mm_and_si128(_mm_srli_epi16(s, 10), m5), _mm_and_si128(_mm_srli_epi16(d, 10), m5), w, iw);
    const __m128i x = Mix16(_mm_srli_epi16(s, 15), _mm_srli_epi16(d, 15), w, iw);
    return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(x, 15), _mm_slli_epi16(r, 10)),
                        _mm_or_si128(_mm_slli_epi16(g, 5), b));
}

// Whole vectors in place, then the last part through a zeroed buffer.
template <__m128i (*Mix)(__m128i, __m128i, __m128i, __m128i), int Bpp>
void RowSse2(const uint8_t* s, uint8_t* d, int n, uint32_t w) {
    const __m128i vw = _mm_set1_epi16(static_cast<int16_t>(w)), viw = _mm_set1_epi16(static_cast<int16_t>(100 - w));
    const size_t bytes = static_cast<size_t>(n) * Bpp;
    size_t i = 0;
    for (; i + 16 <= bytes; i += 16) {
        const __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        const __m128i dv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), Mix(sv, dv, vw, viw));
    }
    if (i < bytes) {
        alignas(16) uint8_t bs[16] = {}, bd[16] = {};
        std::memcpy(bs, s + i, bytes - i);
        std::memcpy(bd, d + i, bytes - i);
        _mm_store_si128(reinterpret_cast<__m128i*>(bd), Mix(_mm_load_si128(reinterpret_cast<const __m128i*>(bs)),
                                                             _mm_load_si128(reinterpret_cast<const __m128i*>(bd)), vw, viw));
        std::memcpy(d + i, bd, bytes - i);
    }
}

// ---- AVX2 ----

BLEND_AVX2_INLINE __m256i Mix16Avx2(__m256i s, __m256i d, __m256i w, __m256i iw) {
    const __m256i t =
        _mm256_add_epi16(_mm256_add_epi16(_mm256_mullo_epi16(s, w), _mm256_mullo_epi16(d, iw)), _mm256_set1_epi16(50));
    return _mm256_srli_epi16(_mm256_mulhi_epu16(t, _mm256_set1_epi16(static_cast<int16_t>(kDiv100Mul))),
                             kDiv100Shift);
}

// 8-bit lanes: source and target bytes interleaved, so that one multiply-add
// with the byte pair (w, 100 - w) gives s * w + d * (100 - w), at most 25500.
BLEND_AVX2_INLINE __m256i Mix32Avx2(__m256i s, __m256i d, __m256i pair, __m256i) {
    const __m256i r = _mm256_set1_epi16(50), m = _mm256_set1_epi16(static_cast<int16_t>(kDiv100Mul));
    __m256i lo = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(s, d), pair);
    __m256i hi = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(s, d), pair);
    lo = _mm256_srli_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(lo, r), m), kDiv100Shift);
    hi = _mm256_srli_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(hi, r), m), kDiv100Shift);
    return _mm256_packus_epi16(lo, hi);
}

BLEND_AVX2_INLINE __m256i Mix565Avx2(__m256i s, __m256i d, __m256i w, __m256i iw) {
    const __m256i m5 = _mm256_set1_epi16(31), m6 = _mm256_set1_epi16(63);
    const __m256i b = Mix16Avx2(_mm256_and_si256(s, m5), _mm256_and_si256(d, m5), w, iw);
    const __m256i g = Mix16Avx2(_mm256_and_si256(_mm256_srli_epi16(s, 5), m6),
                                _mm256_and_si256(_mm256_srli_epi16(d, 5), m6), w, iw);
    const __m256i r = Mix16Avx2(_mm256_srli_epi16(s, 11), _mm256_srli_epi16(d, 11), w, iw);
    return _mm256_or_si256(_mm256_or_si256(_mm256_slli_epi16(r, 11), _mm256_slli_epi16(g, 5)), b);
}

BLEND_AVX2_INLINE __m256i Mix555Avx2(__m256i s, __m256i d, __m256i w, __m256i iw) {
    const __m256i m5 = _mm256_set1_epi16(31);
    const __m256i b = Mix16Avx2(_mm256_and_si256(s, m5), _mm256_and_si256(d, m5), w, iw);
    const __m256i g = Mix16Avx2(_mm256_and_si256(_mm256_srli_epi16(s, 5), m5),
                                _mm256_and_si256(_mm256_srli_epi16(d, 5), m5), w, iw);
    const __m256i r = Mix16Avx2(_mm256_and_si256(_mm256_srli_epi16(s, 10), m5),
                                _mm256_and_si256(_mm256_srli_epi16(d, 10), m5), w, iw);
    const __m256i x = Mix16Avx2(_mm256_srli_epi16(s, 15), _mm256_srli_epi16(d, 15), w, iw);
    return _mm256_or_si256(_mm256_or_si256(_mm256_slli_epi16(x, 15), _mm256_slli_epi16(r, 10)),
                           _mm256_or_si256(_mm256_slli_epi16(g, 5), b));
}

enum class Kind { k32, k565, k555 };

template <Kind K>
BLEND_AVX2_INLINE __m256i MixAvx2(__m256i s, __m256i d, __m256i a, __m256i b) {
    if constexpr (K == Kind::k32) return Mix32Avx2(s, d, a, b);
    else if constexpr (K == Kind::k565) return Mix565Avx2(s, d, a, b);
    else return Mix555Avx2(s, d, a, b);
}

// The two weight vectors: for 8-bit lanes the byte pair (w, 100 - w) and
// nothing; for 16-bit lanes w and 100 - w.
template <Kind K>
BLEND_AVX2_INLINE void WeightsAvx2(uint32_t w, __m256i& a, __m256i& b) {
    if constexpr (K == Kind::k32) {
        a = _mm256_set1_epi16(static_cast<int16_t>(((100 - w) << 8) | w));
        b = a;
    } else {
        a = _mm256_set1_epi16(static_cast<int16_t>(w));
        b = _mm256_set1_epi16(static_cast<int16_t>(100 - w));
    }
}

template <Kind K>
BLEND_AVX2 void RowAvx2(const uint8_t* s, uint8_t* d, int n, uint32_t w) {
    __m256i a, b;
    WeightsAvx2<K>(w, a, b);
    const size_t bytes = static_cast<size_t>(n) * (K == Kind::k32 ? 4 : 2);
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        const __m256i sv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        const __m256i dv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(d + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), MixAvx2<K>(sv, dv, a, b));
    }
    if (i < bytes) {
        alignas(32) uint8_t bs[32] = {}, bd[32] = {};
        std::memcpy(bs, s + i, bytes - i);
        std::memcpy(bd, d + i, bytes - i);
        _mm256_store_si256(reinterpret_cast<__m256i*>(bd),
                           MixAvx2<K>(_mm256_load_si256(reinterpret_cast<const __m256i*>(bs)),
                                      _mm256_load_si256(reinterpret_cast<const __m256i*>(bd)), a, b));
        std::memcpy(d + i, bd, bytes - i);
    }
}

// ---- AVX-512: as AVX2, the last part with masked loads and stores ----

BLEND_AVX512_INLINE __m512i Mix16Avx512(__m512i s, __m512i d, __m512i w, __m512i iw) {
    const __m512i t =
        _mm512_add_epi16(_mm512_add_epi16(_mm512_mullo_epi16(s, w), _mm512_mullo_epi16(d, iw)), _mm512_set1_epi16(50));
    return _mm512_srli_epi16(_mm512_mulhi_epu16(t, _mm512_set1_epi16(static_cast<int16_t>(kDiv100Mul))),
                             kDiv100Shift);
}

template <Kind K>
BLEND_AVX512_INLINE __m512i MixAvx512(__m512i s, __m512i d, __m512i a, __m512i b) {
    if constexpr (K == Kind::k32) {
        const __m512i r = _mm512_set1_epi16(50), m = _mm512_set1_epi16(static_cast<int16_t>(kDiv100Mul));
        __m512i lo = _mm512_maddubs_epi16(_mm512_unpacklo_epi8(s, d), a);
        __m512i hi = _mm512_maddubs_epi16(_mm512_unpackhi_epi8(s, d), a);
        lo = _mm512_srli_epi16(_mm512_mulhi_epu16(_mm512_add_epi16(lo, r), m), kDiv100Shift);
        hi = _mm512_srli_epi16(_mm512_mulhi_epu16(_mm512_add_epi16(hi, r), m), kDiv100Shift);
        return _mm512_packus_epi16(lo, hi);
    } else if constexpr (K == Kind::k565) {
        const __m512i m5 = _mm512_set1_epi16(31), m6 = _mm512_set1_epi16(63);
        const __m512i bl = Mix16Avx512(_mm512_and_si512(s, m5), _mm512_and_si512(d, m5), a, b);
        const __m512i g = Mix16Avx512(_mm512_and_si512(_mm512_srli_epi16(s, 5), m6),
                                      _mm512_and_si512(_mm512_srli_epi16(d, 5), m6), a, b);
        const __m512i r = Mix16Avx512(_mm512_srli_epi16(s, 11), _mm512_srli_epi16(d, 11), a, b);
        return _mm512_or_si512(_mm512_or_si512(_mm512_slli_epi16(r, 11), _mm512_slli_epi16(g, 5)), bl);
    } else {
        const __m512i m5 = _mm512_set1_epi16(31);
        const __m512i bl = Mix16Avx512(_mm512_and_si512(s, m5), _mm512_and_si512(d, m5), a, b);
        const __m512i g = Mix16Avx512(_mm512_and_si512(_mm512_srli_epi16(s, 5), m5),
                                      _mm512_and_si512(_mm512_srli_epi16(d, 5), m5), a, b);
        const __m512i r = Mix16Avx512(_mm512_and_si512(_mm512_srli_epi16(s, 10), m5),
                                      _mm512_and_si512(_mm512_srli_epi16(d, 10), m5), a, b);
        const __m512i x = Mix16Avx512(_mm512_srli_epi16(s, 15), _mm512_srli_epi16(d, 15), a, b);
        return _mm512_or_si512(_mm512_or_si512(_mm512_slli_epi16(x, 15), _mm512_slli_epi16(r, 10)),
                               _mm512_or_si512(_mm512_slli_epi16(g, 5), bl));
    }
}

template <Kind K>
BLEND_AVX512 void RowAvx512(const uint8_t* s, uint8_t* d, int n, uint32_t w) {
    __m512i a, b;
    if constexpr (K == Kind::k32) {
        a = _mm512_set1_epi16(static_cast<int16_t>(((100 - w) << 8) | w));
        b = a;
    } else {
        a = _mm512_set1_epi16(static_cast<int16_t>(w));
        b = _mm512_set1_epi16(static_cast<int16_t>(100 - w));
    }
    const size_t bytes = static_cast<size_t>(n) * (K == Kind::k32 ? 4 : 2);
    size_t i = 0;
    for (; i + 64 <= bytes; i += 64) {
        const __m512i sv = _mm512_loadu_si512(s + i), dv = _mm512_loadu_si512(d + i);
        _mm512_storeu_si512(d + i, MixAvx512<K>(sv, dv, a, b));
    }
    if (i < bytes) {
        const __mmask64 m = (~uint64_t(0)) >> (64 - (bytes - i));
        const __m512i sv = _mm512_maskz_loadu_epi8(m, s + i), dv = _mm512_maskz_loadu_epi8(m, d + i);
        _mm512_mask_storeu_epi8(d + i, m, MixAvx512<K>(sv, dv, a, b));
    }
}

RowFn ChooseRow(const Plane& t) {
    const Kind k = t.bpp == 4 ? Kind::k32 : (t.is555 ? Kind::k555 : Kind::k565);
    switch (CurrentBlitLevel()) {
    case BlitLevel::kAvx512:
        return k == Kind::k32 ? RowAvx512<Kind::k32> : (k == Kind::k565 ? RowAvx512<Kind::k565> : RowAvx512<Kind::k555>);
    case BlitLevel::kAvx2:
        return k == Kind::k32 ? RowAvx2<Kind::k32> : (k == Kind::k565 ? RowAvx2<Kind::k565> : RowAvx2<Kind::k555>);
    case BlitLevel::kSse2:
        return k == Kind::k32 ? RowSse2<Mix32Sse2, 4>
                              : (k == Kind::k565 ? RowSse2<Mix565Sse2, 2> : RowSse2<Mix555Sse2, 2>);
    default:
        return k == Kind::k32 ? RowScalar<kLanes32, 4>
                              : (k == Kind::k565 ? RowScalar<kLanes565, 2> : RowScalar<kLanes555, 2>);
    }
}

// Same depth, source area a shifted copy of the target area wholly inside
// the source: row against row, no map.
void SameSizeRows(const Plane& f, const Plane& t, int dx, int dy, Span xs, Span ys, uint32_t w) {
    const int n = xs.size();
    if (w == 100) {
        const size_t len = static_cast<size_t>(n) * static_cast<size_t>(t.bpp);
        for (int y = ys.begin; y < ys.end; ++y) std::memcpy(At(t, xs.begin, y), At(f, xs.begin + dx, y + dy), len);
        return;
    }
    const RowFn row = ChooseRow(t);
    for (int y = ys.begin; y < ys.end; ++y) row(At(f, xs.begin + dx, y + dy), At(t, xs.begin, y), n, w);
}

// Same depth through the nearest-neighbour map: each source row's mapped
// words are gathered once, then mixed into every target row that maps to it.
void MappedRows(const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs, Span ys,
                uint32_t w) {
    std::vector<int> srcX, srcY;
    NearestMap(f, fr, tr, xs, ys, srcX, srcY);
    const size_t n = srcX.size(), bpp = static_cast<size_t>(t.bpp);
    std::vector<ptrdiff_t> offsets(n);
    for (size_t i = 0; i < n; ++i) offsets[i] = static_cast<ptrdiff_t>(srcX[i] - f.left) * t.bpp;
    std::vector<uint8_t> gathered(n * bpp);
    const RowFn row = ChooseRow(t);
    for (int y = ys.begin; y < ys.end; ++y) {
        const auto j = static_cast<size_t>(y - ys.begin);
        uint8_t* d = At(t, xs.begin, y);
        uint8_t* g = w == 100 ? d : gathered.data();
        if (w == 100 || j == 0 || srcY[j] != srcY[j - 1]) {
            const uint8_t* s = At(f, f.left, srcY[j]);
            if (bpp == 4) {
                for (size_t i = 0; i < n; ++i) std::memcpy(g + i * 4, s + offsets[i], 4);
            } else {
                for (size_t i = 0; i < n; ++i) std::memcpy(g + i * 2, s + offsets[i], 2);
            }
        }
        if (w != 100) row(g, d, static_cast<int>(n), w);
    }
}

// A 16-bit source is widened to the 32-bit target's layout; over a 16-bit
// target a 32-bit source mixes with the widened target word in 8-bit
// channels and the result is packed.
void MixedDepths(const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs, Span ys,
                 uint32_t w) {
    std::vector<int> srcX, srcY;
    NearestMap(f, fr, tr, xs, ys, srcX, srcY);
    const Conv conv = ChooseConv(f, t);
    for (int y = ys.begin; y < ys.end; ++y) {
        const int sy = srcY[static_cast<size_t>(y - ys.begin)];
        for (int x = xs.begin; x < xs.end; ++x) {
            const uint32_t s = LoadWord(At(f, srcX[static_cast<size_t>(x - xs.begin)], sy), f.bpp);
            uint8_t* dp = At(t, x, y);
            const uint32_t d = LoadWord(dp, t.bpp);
            const uint32_t out = t.bpp == 4 ? BlendLanes(Convert(conv, s), d, w, kLanes32)
                                            : Convert(conv, BlendLanes(s, Widen16(d, t.is555), w, kLanes32));
            StoreWord(dp, t.bpp, out);
        }
    }
}

}  // namespace

// Words of the same depth mix in the target's channel lanes (a 32-bit word's
// top byte is mixed like a channel, the 5-5-5 top bit is a lane of its own),
// so level 100 copies the source word and level 0 keeps the target's: the
// first is a copy here, the second writes nothing.
void Blend(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t level) {
    Plane f, t;
    if (!from || !to || !fromRect || !toRect || !MakePlane(*from, f) || !MakePlane(*to, t)) return;
    const SurfaceRect fr = *fromRect, tr = *toRect;
    if (RectWidth(fr) <= 0 || RectHeight(fr) <= 0 || RectWidth(tr) <= 0 || RectHeight(tr) <= 0) return;
    const Span xs = ClipSpan(tr.left, tr.right, t.left, t.right);
    const Span ys = ClipSpan(tr.top, tr.bottom, t.top, t.bottom);
    if (xs.size() == 0 || ys.size() == 0) return;
    const auto w = static_cast<uint32_t>(level < 0 ? 0 : (level > 100 ? 100 : level));
    if (w == 0) return;

    PlaneCopy copy;
    if (Overlaps(f, t)) {
        CopyArea(f, ReachableArea(f, fr), copy);
        f = copy.plane;
    }
    if (f.bpp != t.bpp) {
        MixedDepths(f, t, fr, tr, xs, ys, w);
        return;
    }
    // Same size: target pixel x takes source pixel x + dx (the nearest map's
    // centre rule gives exactly that), unless the source is clamped.
    const int dx = fr.left - tr.left, dy = fr.top - tr.top;
    if (RectWidth(fr) == RectWidth(tr) && RectHeight(fr) == RectHeight(tr) && xs.begin + dx >= f.left &&
        xs.end + dx <= f.right && ys.begin + dy >= f.top && ys.end + dy <= f.bottom) {
        SameSizeRows(f, t, dx, dy, xs, ys, w);
    } else {
        MappedRows(f, t, fr, tr, xs, ys, w);
    }
}

}  // namespace fxhost::blit
