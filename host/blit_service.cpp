#include "host/blit_service.h"

#include <cstring>
#include <vector>

#include "host/blit_level.h"
#include "host/blit_pixels.h"

namespace fxhost {

namespace {

using namespace blit;

constinit BlitService gService{{}, &BlitCopy, &BlitTransform, &BlitCheckRect};

bool Empty(const SurfaceRect& r) { return r.right <= r.left || r.bottom <= r.top; }

bool Inside(const Plane& p, const SurfaceRect& r) {
    return r.left >= p.left && r.right <= p.right && r.top >= p.top && r.bottom <= p.bottom;
}

// Same size, same depth, source wholly inside its surface: row spans move as
// they are. Rows go bottom-up when the target lies after the source in memory,
// so that a copy within one surface reads each row before it is overwritten.
void MoveRows(const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs, Span ys) {
    const int dx = fr.left - tr.left, dy = fr.top - tr.top;
    const size_t len = static_cast<size_t>(xs.size()) * static_cast<size_t>(t.bpp);
    // Whole rows with no gap between them, on both sides: one block.
    if (f.rowBytes == t.rowBytes && static_cast<size_t>(t.rowBytes) == len) {
        std::memmove(At(t, xs.begin, ys.begin), At(f, xs.begin + dx, ys.begin + dy),
                     len * static_cast<size_t>(ys.size()));
        return;
    }
    const bool bottomUp = reinterpret_cast<uintptr_t>(At(t, xs.begin, ys.begin)) >
                          reinterpret_cast<uintptr_t>(At(f, xs.begin + dx, ys.begin + dy));
    for (int k = 0; k < ys.size(); ++k) {
        const int y = bottomUp ? ys.end - 1 - k : ys.begin + k;
        std::memmove(At(t, xs.begin, y), At(f, xs.begin + dx, y + dy), len);
    }
}

// One row of n words converted in order, the loop every vector level
// compiles for itself.
template <Conv C>
__attribute__((always_inline)) inline void ConvertWords(const uint8_t* s, uint8_t* d, size_t n) {
    constexpr int sb = SourceBpp(C), tb = TargetBpp(C);
    for (size_t i = 0; i < n; ++i) {
        uint32_t w;
        if constexpr (sb == 4) {
            std::memcpy(&w, s + i * 4, 4);
        } else {
            uint16_t h;
            std::memcpy(&h, s + i * 2, 2);
            w = h;
        }
        const uint32_t out = ConvertT<C>(w);
        if constexpr (tb == 4) {
            std::memcpy(d + i * 4, &out, 4);
        } else {
            const auto h = static_cast<uint16_t>(out);
            std::memcpy(d + i * 2, &h, 2);
        }
    }
}

// Blocks of 16 words, whose fixed count the compiler turns into whole
// vectors; a row that is not a multiple of 16 ends with a block that
// overlaps the one before, which rewrites the same words (source and target
// never overlap here).
constexpr size_t kConvertBlock = 16;
template <Conv C>
__attribute__((always_inline)) inline void ConvertRow(const uint8_t* s, uint8_t* d, size_t n) {
    constexpr int sb = SourceBpp(C), tb = TargetBpp(C);
    if (n < kConvertBlock) return ConvertWords<C>(s, d, n);
    size_t i = 0;
    for (; i + kConvertBlock <= n; i += kConvertBlock) ConvertWords<C>(s + i * sb, d + i * tb, kConvertBlock);
    if (i < n) ConvertWords<C>(s + (n - kConvertBlock) * sb, d + (n - kConvertBlock) * tb, kConvertBlock);
}

template <Conv C>
__attribute__((optimize("no-tree-vectorize"))) void ConvertRowScalar(const uint8_t* s, uint8_t* d, size_t n) {
    ConvertRow<C>(s, d, n);
}
template <Conv C>
void ConvertRowSse2(const uint8_t* s, uint8_t* d, size_t n) {
    ConvertRow<C>(s, d, n);
}
template <Conv C>
__attribute__((target("avx2"))) void ConvertRowAvx2(const uint8_t* s, uint8_t* d, size_t n) {
    ConvertRow<C>(s, d, n);
}
template <Conv C>
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void ConvertRowAvx512(const uint8_t* s,
                                                                                          uint8_t* d, size_t n) {
    ConvertRow<C>(s, d, n);
}

using RowFn = void (*)(const uint8_t*, uint8_t*, size_t);

template <Conv C>
RowFn ConvertRowFor(BlitLevel level) {
    if (level >= BlitLevel::kAvx512) return ConvertRowAvx512<C>;
    if (level >= BlitLevel::kAvx2) return ConvertRowAvx2<C>;
    if (level >= BlitLevel::kSse2) return ConvertRowSse2<C>;
    return ConvertRowScalar<C>;
}

// Nearest neighbour through a precomputed column map; a target row whose
// source row equals the previous one's is a copy of that target row. Rows
// whose columns map one to one, as between surfaces of one size and two
// depths, convert in a straight loop.
template <Conv C>
void NearestRows(const Plane& f, const Plane& t, Span xs, Span ys, const std::vector<int>& srcX,
                 const std::vector<int>& srcY) {
    constexpr int sb = SourceBpp(C), tb = TargetBpp(C);
    std::vector<ptrdiff_t> offsets(srcX.size());
    for (size_t i = 0; i < srcX.size(); ++i) offsets[i] = static_cast<ptrdiff_t>(srcX[i] - f.left) * sb;
    const size_t n = offsets.size();
    bool straight = true;
    for (size_t i = 1; i < n && straight; ++i) straight = srcX[i] == srcX[0] + static_cast<int>(i);
    const RowFn convert = ConvertRowFor<C>(CurrentBlitLevel());
    for (int y = ys.begin; y < ys.end; ++y) {
        const auto j = static_cast<size_t>(y - ys.begin);
        uint8_t* d = At(t, xs.begin, y);
        if (j > 0 && srcY[j] == srcY[j - 1]) {
            std::memcpy(d, At(t, xs.begin, y - 1), n * tb);
            continue;
        }
        const uint8_t* s = At(f, f.left, srcY[j]);
        if (straight && n > 0) {
            convert(s + offsets[0], d, n);
            continue;
        }
        for (size_t i = 0; i < n; ++i) StoreWord(d + i * tb, tb, ConvertT<C>(LoadWord(s + offsets[i], sb)));
    }
}

void Nearest(Conv conv, const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs,
             Span ys) {
    std::vector<int> srcX, srcY;
    NearestMap(f, fr, tr, xs, ys, srcX, srcY);
    switch (conv) {
    case Conv::Same16: NearestRows<Conv::Same16>(f, t, xs, ys, srcX, srcY); break;
    case Conv::Same32: NearestRows<Conv::Same32>(f, t, xs, ys, srcX, srcY); break;
    case Conv::ToP555: NearestRows<Conv::ToP555>(f, t, xs, ys, srcX, srcY); break;
    case Conv::ToP565: NearestRows<Conv::ToP565>(f, t, xs, ys, srcX, srcY); break;
    case Conv::FromP555: NearestRows<Conv::FromP555>(f, t, xs, ys, srcX, srcY); break;
    case Conv::FromP565: NearestRows<Conv::FromP565>(f, t, xs, ys, srcX, srcY); break;
    }
}

// Same size across depths, source inside its surface and apart from the
// target: each clipped row converts in a straight loop, with no column map.
template <Conv C>
void ConvertRowsOf(const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs, Span ys) {
    const int dx = fr.left - tr.left, dy = fr.top - tr.top;
    const RowFn convert = ConvertRowFor<C>(CurrentBlitLevel());
    const auto n = static_cast<size_t>(xs.size());
    for (int y = ys.begin; y < ys.end; ++y) convert(At(f, xs.begin + dx, y + dy), At(t, xs.begin, y), n);
}

void ConvertRows(Conv conv, const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs,
                 Span ys) {
    switch (conv) {
    case Conv::Same16: ConvertRowsOf<Conv::Same16>(f, t, fr, tr, xs, ys); break;
    case Conv::Same32: ConvertRowsOf<Conv::Same32>(f, t, fr, tr, xs, ys); break;
    case Conv::ToP555: ConvertRowsOf<Conv::ToP555>(f, t, fr, tr, xs, ys); break;
    case Conv::ToP565: ConvertRowsOf<Conv::ToP565>(f, t, fr, tr, xs, ys); break;
    case Conv::FromP555: ConvertRowsOf<Conv::FromP555>(f, t, fr, tr, xs, ys); break;
    case Conv::FromP565: ConvertRowsOf<Conv::FromP565>(f, t, fr, tr, xs, ys); break;
    }
}

struct Range {
    int begin, end;
};

// Source ranges of each clipped target coordinate along one axis: the source
// pixels [i*m/n, (i+1)*m/n) when reducing, the nearest one when enlarging.
std::vector<Range> BoxRanges(Span s, int rectBegin, int n, int srcStart, int m) {
    std::vector<Range> out;
    out.reserve(static_cast<size_t>(s.size()));
    for (int v = s.begin; v < s.end; ++v) {
        const int64_t i = v - rectBegin;
        if (m >= n) {
            out.push_back(Range{srcStart + static_cast<int>(i * m / n), srcStart + static_cast<int>((i + 1) * m / n)});
        } else {
            const int c = NearestSource(static_cast<int>(i), n, srcStart, m);
            out.push_back(Range{c, c + 1});
        }
    }
    return out;
}

// Averages each target pixel's source block, rounding halves up. Words of the
// same depth average in the target's channel lanes; across depths the average
// is taken over 8-bit channels (16-bit samples widened first, 16-bit results
// packed last).
void Box(Conv conv, const Plane& f, const Plane& t, const SurfaceRect& fr, const SurfaceRect& tr, Span xs,
         Span ys) {
    const std::vector<Range> cols = BoxRanges(xs, tr.left, RectWidth(tr), fr.left, RectWidth(fr));
    const std::vector<Range> rows = BoxRanges(ys, tr.top, RectHeight(tr), fr.top, RectHeight(fr));
    const bool widen = f.bpp == 2 && t.bpp == 4;
    const bool pack = f.bpp == 4 && t.bpp == 2;
    const Lanes& lanes = f.bpp == t.bpp ? LanesOf(t) : kLanes32;
    for (int y = ys.begin; y < ys.end; ++y) {
        const Range ry = rows[static_cast<size_t>(y - ys.begin)];
        for (int x = xs.begin; x < xs.end; ++x) {
            const Range rx = cols[static_cast<size_t>(x - xs.begin)];
            uint64_t sum[4] = {0, 0, 0, 0};
            uint64_t count = 0;
            for (int sy = ry.begin; sy < ry.end; ++sy) {
                const int cy = Clamp(sy, f.top, f.bottom - 1);
                for (int sx = rx.begin; sx < rx.end; ++sx) {
                    uint32_t w = LoadWord(At(f, Clamp(sx, f.left, f.right - 1), cy), f.bpp);
                    if (widen) w = Convert(conv, w);
                    for (int k = 0; k < lanes.count; ++k) sum[k] += (w >> lanes.shift[k]) & ((1u << lanes.bits[k]) - 1u);
                    ++count;
                }
            }
            uint32_t out = 0;
            for (int k = 0; k < lanes.count; ++k) out |= static_cast<uint32_t>((sum[k] + count / 2) / count) << lanes.shift[k];
            if (pack) out = Convert(conv, out);
            StoreWord(At(t, x, y), t.bpp, out);
        }
    }
}

void CopyImpl(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t mode) {
    Plane f, t;
    if (!from || !to || !fromRect || !toRect || !MakePlane(*from, f) || !MakePlane(*to, t)) return;
    const SurfaceRect fr = *fromRect, tr = *toRect;
    if (Empty(fr) || Empty(tr)) return;
    const Span xs = ClipSpan(tr.left, tr.right, t.left, t.right);
    const Span ys = ClipSpan(tr.top, tr.bottom, t.top, t.bottom);
    if (xs.size() == 0 || ys.size() == 0) return;

    const bool sameSize = RectWidth(fr) == RectWidth(tr) && RectHeight(fr) == RectHeight(tr);
    const bool overlap = Overlaps(f, t);
    PlaneCopy copy;
    if (sameSize && f.bpp == t.bpp && Inside(f, fr)) {
        if (overlap && f.rowBytes != t.rowBytes) {
            CopyArea(f, fr, copy);
            f = copy.plane;
        }
        MoveRows(f, t, fr, tr, xs, ys);
        return;
    }
    if (sameSize && Inside(f, fr) && !overlap) {
        ConvertRows(ChooseConv(f, t), f, t, fr, tr, xs, ys);
        return;
    }
    if (overlap) {
        CopyArea(f, ReachableArea(f, fr), copy);
        f = copy.plane;
    }
    const Conv conv = ChooseConv(f, t);
    const bool reduce = RectWidth(fr) > RectWidth(tr) || RectHeight(fr) > RectHeight(tr);
    if (mode == kBlitReduce && reduce) {
        Box(conv, f, t, fr, tr, xs, ys);
    } else {
        Nearest(conv, f, t, fr, tr, xs, ys);
    }
}

}  // namespace

BlitService* GetBlitService() { return &gService; }

int32_t BlitCheckRect(const SurfaceRect* a, const SurfaceRect* b) {
    if (a == nullptr || b == nullptr || Empty(*a)) return 0;
    return a->left >= b->left && a->right <= b->right && a->top >= b->top && a->bottom <= b->bottom ? 1 : 0;
}

// Every mode but 0x81 copies by nearest neighbour. Only allocation can throw
// here; the module calling in cannot take an exception, so a blit that runs
// out of memory leaves the target alone.
void BlitCopy(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect, int32_t mode) {
    try {
        CopyImpl(from, to, fromRect, toRect, mode);
    } catch (...) {
    }
}

}  // namespace fxhost
