#include "temporal/film_grain.h"

#include <algorithm>
#include <cstring>

#include "temporal/grain_rows.h"

namespace {

// The ramp's line in the word width of a pixel kind, which its arithmetic
// wraps in.
template <class T>
struct LineOf {
    T start[3], step[3];
    T flicker;
    const T* table;  // the entries, for the scalar loop
};

template <class T>
LineOf<T> NarrowLine(const RampLine& r, int32_t flicker) {
    LineOf<T> l{};
    for (int c = 0; c < 3; ++c) {
        l.start[c] = static_cast<T>(r.start[c]);
        l.step[c] = static_cast<T>(r.step[c]);
    }
    l.flicker = static_cast<T>(flicker);
    return l;
}

// What differs between the three pixel kinds. Level is a pixel's brightness
// plus flicker and grain; Entry looks it up in the ramp, computing the entry
// from the ramp's line. The 16-bit kinds work modulo 2^16 throughout, which
// lets the vector levels keep sixteen-bit lanes.
template <class Pack, int32_t (*kBrightness)(uint32_t)>
struct Kind16 {
    using Word = uint16_t;
    using Line = LineOf<uint16_t>;
    static constexpr uint32_t kEntries = kRamp16Entries;
    static constexpr int kGrainShift = 12;
    static Line MakeLine(const RampLine& r, int32_t flicker) { return NarrowLine<uint16_t>(r, flicker); }
    __attribute__((always_inline)) static uint16_t Level(const Line& l, uint16_t p, int8_t grain) {
        return static_cast<uint16_t>(kBrightness(p) + l.flicker + grain);
    }
    __attribute__((always_inline)) static uint16_t Entry(const Line& l, uint16_t level) {
        const uint16_t i = level & (kRamp16Entries - 1);
        const uint16_t top = kRamp16Entries / 2 - 1;
        const uint16_t at = i >= kRamp16Entries * 3 / 4 ? 0 : (i < top ? i : top);
        return Pack()(static_cast<uint16_t>(l.start[0] + at * l.step[0]),
                      static_cast<uint16_t>(l.start[1] + at * l.step[1]),
                      static_cast<uint16_t>(l.start[2] + at * l.step[2]));
    }
};
struct Pack555 {
    uint16_t operator()(uint16_t r, uint16_t g, uint16_t b) const { return PackRamp555(r, g, b); }
};
struct Pack565 {
    uint16_t operator()(uint16_t r, uint16_t g, uint16_t b) const { return PackRamp565(r, g, b); }
};
using Kind555 = Kind16<Pack555, Brightness555>;
using Kind565 = Kind16<Pack565, Brightness565>;

struct Kind32 {
    using Word = uint32_t;
    using Line = LineOf<uint32_t>;
    static constexpr uint32_t kEntries = kRamp32Entries;
    static constexpr int kGrainShift = 10;
    static Line MakeLine(const RampLine& r, int32_t flicker) { return NarrowLine<uint32_t>(r, flicker); }
    __attribute__((always_inline)) static uint32_t Level(const Line& l, uint32_t p, int8_t grain) {
        return static_cast<uint32_t>(Brightness32(p)) + l.flicker + static_cast<uint32_t>(grain);
    }
    __attribute__((always_inline)) static uint32_t Entry(const Line& l, uint32_t level) {
        const uint32_t i = level & (kRamp32Entries - 1);
        const uint32_t top = kRamp32Entries / 2 - 1;
        const uint32_t at = i >= kRamp32Entries * 3 / 4 ? 0 : (i < top ? i : top);
        return PackRamp32(l.start[0] + at * l.step[0], l.start[1] + at * l.step[1], l.start[2] + at * l.step[2]);
    }
};

// One run of pixels, written once and compiled for each level; grain, when
// not null, holds a byte for each pixel.
template <class K>
__attribute__((always_inline)) inline void MapRun(const typename K::Word* src, typename K::Word* dst, int32_t n,
                                                  const int8_t* grain, const typename K::Line& line) {
    if (grain) {
        for (int32_t x = 0; x < n; ++x) StorePixel(dst, x, K::Entry(line, K::Level(line, LoadPixel(src, x), grain[x])));
    } else {
        for (int32_t x = 0; x < n; ++x) StorePixel(dst, x, K::Entry(line, K::Level(line, LoadPixel(src, x), 0)));
    }
}

template <class K>
using RunFunction = void (*)(const typename K::Word*, typename K::Word*, int32_t, const int8_t*,
                             const typename K::Line&);

// Without vectors a table of the entries beats computing them.
template <class K>
__attribute__((optimize("no-tree-vectorize"))) void RunScalar(const typename K::Word* s, typename K::Word* d,
                                                               int32_t n, const int8_t* g, const typename K::Line& l) {
    const auto* table = l.table;
    constexpr uint32_t kMask = K::kEntries - 1;
    if (g) {
        for (int32_t x = 0; x < n; ++x) StorePixel(d, x, table[K::Level(l, LoadPixel(s, x), g[x]) & kMask]);
    } else {
        for (int32_t x = 0; x < n; ++x) StorePixel(d, x, table[K::Level(l, LoadPixel(s, x), 0) & kMask]);
    }
}
template <class K>
void RunSse2(const typename K::Word* s, typename K::Word* d, int32_t n, const int8_t* g, const typename K::Line& l) {
    MapRun<K>(s, d, n, g, l);
}
template <class K>
__attribute__((target("avx2"))) void RunAvx2(const typename K::Word* s, typename K::Word* d, int32_t n,
                                             const int8_t* g, const typename K::Line& l) {
    MapRun<K>(s, d, n, g, l);
}
template <class K>
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void RunAvx512(const typename K::Word* s,
                                                                                  typename K::Word* d, int32_t n,
                                                                                  const int8_t* g,
                                                                                  const typename K::Line& l) {
    MapRun<K>(s, d, n, g, l);
}

template <class K>
RunFunction<K> RunFor(SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return RunScalar<K>;
    case SimdLevel::kSse2: return RunSse2<K>;
    case SimdLevel::kAvx2: return RunAvx2<K>;
    case SimdLevel::kAvx512Vbmi: return RunAvx512<K>;
    }
    return RunScalar<K>;
}

// The grain of up to kChunk pixels is gathered from the grain's rows into one
// run, so that the vector loops see whole picture rows rather than the
// pieces between the ends of the grain's rows.
constexpr int32_t kChunk = 4096;

template <class K>
void GreyMap(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain, SimdLevel level) {
    using Word = typename K::Word;
    if (rows.rows <= 0 || rows.width <= 0) return;
    const RunFunction<K> run = RunFor<K>(level);
    typename K::Line line = K::MakeLine(ramp, flicker);
    Word table[K::kEntries];
    if (level == SimdLevel::kScalar) {
        for (uint32_t i = 0; i < K::kEntries; ++i) table[i] = K::Entry(line, static_cast<Word>(i));
        line.table = table;
    }
    int8_t values[kChunk];
    for (int32_t y = 0; y < rows.rows; ++y) {
        const Word* src = rows.srcRow<Word>(y);
        Word* dst = rows.dstRow<Word>(y);
        if (!grain) {
            run(src, dst, rows.width, nullptr, line);
            continue;
        }
        for (int32_t x = 0; x < rows.width;) {
            const int32_t chunk = std::min(rows.width - x, kChunk);
            for (int32_t filled = 0; filled < chunk;) {
                const int8_t* piece = nullptr;
                const int32_t n = grain->Take(chunk - filled, piece);
                std::memcpy(values + filled, piece, static_cast<size_t>(n));
                filled += n;
            }
            run(src + x, dst + x, chunk, values, line);
            x += chunk;
        }
    }
}

// The byte complement: one loop that the compiler vectorises for each level.
__attribute__((always_inline)) inline void InvertRows(const PixelRows& rows) {
    const int32_t count = rows.rows, width = rows.width;
    for (int32_t y = 0; y < count; ++y) {
        const uint8_t* s = rows.srcRow<uint8_t>(y);
        uint8_t* d = rows.dstRow<uint8_t>(y);
        for (int32_t x = 0; x < width; ++x) d[x] = static_cast<uint8_t>(~s[x]);
    }
}
__attribute__((optimize("no-tree-vectorize"))) void InvertScalar(const PixelRows& rows) { InvertRows(rows); }
void InvertSse2(const PixelRows& rows) { InvertRows(rows); }
__attribute__((target("avx2"))) void InvertAvx2(const PixelRows& rows) { InvertRows(rows); }
__attribute__((target("avx512f,avx512bw,prefer-vector-width=512"))) void InvertAvx512(const PixelRows& rows) {
    InvertRows(rows);
}

}  // namespace

void GreyMap555(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain, SimdLevel level) {
    GreyMap<Kind555>(rows, ramp, flicker, grain, level);
}
void GreyMap565(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain, SimdLevel level) {
    GreyMap<Kind565>(rows, ramp, flicker, grain, level);
}
void GreyMap32(const PixelRows& rows, const RampLine& ramp, int32_t flicker, GrainRows* grain, SimdLevel level) {
    GreyMap<Kind32>(rows, ramp, flicker, grain, level);
}

void InvertBytes(const PixelRows& rows, SimdLevel level) {
    switch (level) {
    case SimdLevel::kScalar: return InvertScalar(rows);
    case SimdLevel::kSse2: return InvertSse2(rows);
    case SimdLevel::kAvx2: return InvertAvx2(rows);
    case SimdLevel::kAvx512Vbmi: return InvertAvx512(rows);
    }
}
