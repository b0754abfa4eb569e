// Whole kaleidoscope frames in-process: which output pixels a frame writes,
// the mirror relations between them, exact source pixels for one small frame
// per shape, every vector level and in place against the scalar picture, the
// surfaces an instance accepts, and the memory a frame may touch.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "effect_fixture.h"
#include "geometry/hexagon_kaleido.h"
#include "geometry/kaleido_base.h"
#include "geometry/square_kaleido.h"
#include "geometry/triangle_kaleido.h"
#include "kernel_support.h"

namespace {

const char* const kStaticNames[] = {"Triangle Kaleido", "Square Kaleido", "Hexagon Kaleido", "Lozenge Kaleido"};
const char* const kCyclicNames[] = {"Cyclic Triangle Kaleido", "Square Kaleido Cyclic", "Hexagon Kaleido Cyclic",
                                    "Lozenge Kaleido Cyclic"};
const int32_t kFormats[] = {kFormatXrgb, kFormat565};

std::vector<std::string> AllNames() {
    std::vector<std::string> names(std::begin(kStaticNames), std::end(kStaticNames));
    names.insert(names.end(), std::begin(kCyclicNames), std::end(kCyclicNames));
    return names;
}
bool IsCyclic(const std::string& name) { return name.find("Cyclic") != std::string::npos; }
// The triangle paints its band over the full height; the others double it.
bool DoublesVertically(const std::string& name) { return name.find("Triangle") == std::string::npos; }

// A surface record over memory of the test's own: rows rowBytes apart, the
// plane ending with the last row's last pixel, and guard bytes before it and,
// unless told otherwise, after it. Without the trailing guard the plane ends
// with its allocation, where a memory checker sees any access beyond it.
class Picture {
public:
    Picture(int width, int height, int32_t format, int padPixels = 0, bool guardAfter = true)
        : bytes_(format == kFormatXrgb ? 4 : 2), after_(guardAfter ? kGuard : 0) {
        const int rowBytes = (width + padPixels) * bytes_;
        const size_t plane = size_t(height - 1) * rowBytes + size_t(width) * bytes_;
        memory_.assign(kGuard + plane + after_, kGuardByte);
        record_.pixels = memory_.data() + kGuard;
        record_.depth = bytes_ * 8;
        record_.bounds = {0, 0, int16_t(height), int16_t(width)};
        record_.rowBytes = rowBytes;
        record_.pixelFormat = format;
    }
    Picture(Picture&&) = default;  // the record keeps pointing into the moved buffer
    Picture(const Picture&) = delete;

    Surface* get() { return &record_; }
    int width() const { return SurfaceWidth(record_); }
    int height() const { return SurfaceHeight(record_); }
    int bytes() const { return bytes_; }
    uint32_t pixel(int x, int y) const {
        uint32_t word = 0;
        std::memcpy(&word, at(x, y), bytes_);
        return word;
    }
    void setPixel(int x, int y, uint32_t word) { std::memcpy(at(x, y), &word, bytes_); }
    void fill(uint32_t word) {
        for (int y = 0; y < height(); ++y)
            for (int x = 0; x < width(); ++x) setPixel(x, y, word);
    }
    std::vector<uint32_t> pixels() const {
        std::vector<uint32_t> out;
        for (int y = 0; y < height(); ++y)
            for (int x = 0; x < width(); ++x) out.push_back(pixel(x, y));
        return out;
    }
    bool guardsIntact() const {
        auto guard = [](uint8_t b) { return b == kGuardByte; };
        return std::all_of(memory_.begin(), memory_.begin() + kGuard, guard) &&
               std::all_of(memory_.end() - after_, memory_.end(), guard);
    }

private:
    static constexpr size_t kGuard = 64;
    static constexpr uint8_t kGuardByte = 0xA5;
    uint8_t* at(int x, int y) const { return record_.pixels + ptrdiff_t(y) * record_.rowBytes + x * bytes_; }

    int bytes_;
    size_t after_;
    std::vector<uint8_t> memory_;
    Surface record_{};
};

// Source pixels that hold their own coordinates, x < 256 and y < 256, and a
// marker that no such pixel equals.
uint32_t Code(int x, int y, int bytes) { return bytes == 4 ? uint32_t(y) << 16 | x : uint32_t(y) << 8 | x; }
uint32_t Marker(const Picture& p) { return p.bytes() == 4 ? 0xFFFFFFFFu : 0xFFFFu; }
void FillCodes(Picture& p) {
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x) p.setPixel(x, y, Code(x, y, p.bytes()));
}
// The coordinates each output pixel came from, as y << 16 | x at both depths;
// the marker reads as the 32-bit one.
std::vector<uint32_t> Sampled(const Picture& p) {
    std::vector<uint32_t> out = p.pixels();
    if (p.bytes() == 2)
        for (uint32_t& w : out) w = w == 0xFFFF ? 0xFFFFFFFFu : (w >> 8) << 16 | (w & 0xFF);
    return out;
}
int CountOf(const Picture& p, uint32_t word) {
    int n = 0;
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x) n += p.pixel(x, y) == word;
    return n;
}

using Kaleido = std::unique_ptr<CKaleido2Base>;

// The factory's instance, in place without dst; a cyclic one counts its time
// from 0.
Kaleido Create(const std::string& name, Picture& src, Picture* dst = nullptr) {
    g_frame.time = 0;
    return Kaleido(static_cast<CKaleido2Base*>(CreateEffect(name.c_str(), src.get(), dst ? dst->get() : nullptr)));
}
void Frame(CKaleido2Base* k, std::array<int32_t, 4> params, uint32_t time = 0, Surface* source = nullptr) {
    entry::RenderEffect(k, params.data(), source, time);
}
// Host values for step g of a sweep: the grid value g, the others spread.
std::array<int32_t, 4> Sweep(int g) { return {(g * 7 + 3) & 255, g, (g * 13 + 5) & 255, (g * 29 + 11) & 255}; }
// Frame i of a sequence: host values for a static name, a time for a cyclic one.
void FrameAt(const std::string& name, CKaleido2Base* k, int i) {
    if (IsCyclic(name))
        Frame(k, {}, uint32_t(i) * 97);
    else
        Frame(k, Sweep((i * 53) & 255));
}

// The left half mirrors the right half in every row; with rows, row H/2-1-k
// also repeats row H/2+k, columns 0 to 2(W/2)-1.
::testing::AssertionResult MirroredHalves(const Picture& p, bool rows) {
    const int W2 = p.width() / 2, H2 = p.height() / 2;
    for (int y = 0; y < p.height(); ++y)
        for (int i = 0; i < W2; ++i)
            if (p.pixel(W2 - 1 - i, y) != p.pixel(W2 + i, y))
                return ::testing::AssertionFailure() << "column " << W2 - 1 - i << " differs from " << W2 + i
                                                     << " in row " << y;
    for (int k = 0; rows && k < H2; ++k)
        for (int x = 0; x < 2 * W2; ++x)
            if (p.pixel(x, H2 - 1 - k) != p.pixel(x, H2 + k))
                return ::testing::AssertionFailure() << "row " << H2 - 1 - k << " differs from " << H2 + k
                                                     << " at column " << x;
    return ::testing::AssertionSuccess();
}

// d folded into a tile of n: mirrored every n pixels from 0.
int Fold(int d, int n) {
    const int m = ((d % (2 * n)) + 2 * n) % (2 * n);
    return m < n ? m : 2 * n - 1 - m;
}

class KaleidoFrame : public EffectTest {};
class KaleidoFrameMemory : public EffectTest {};

// With even sizes, every output pixel is written on every frame: a marker
// that the source does not hold is gone after each frame, at every grid value
// and as the cyclic grid sweeps 0 to 1024 and back.
TEST_F(KaleidoFrame, EvenOutputsAreCoveredOnEveryFrame) {
    for (int32_t format : kFormats)
        for (auto [w, h] : {std::pair{64, 48}, {40, 40}, {48, 64}}) {
            Picture src(w, h, format), dst(w, h, format);
            FillCodes(src);
            for (const char* name : kStaticNames) {
                Kaleido k = Create(name, src, &dst);
                for (int g = 0; g < 256; ++g) {
                    dst.fill(Marker(dst));
                    Frame(k.get(), Sweep(g));
                    ASSERT_EQ(CountOf(dst, Marker(dst)), 0) << name << " " << w << "x" << h << " grid " << g;
                }
            }
            for (const char* name : kCyclicNames) {
                Kaleido k = Create(name, src, &dst);
                for (uint32_t t = 0; t <= 4000; t += 16) {
                    dst.fill(Marker(dst));
                    Frame(k.get(), {}, t);
                    ASSERT_EQ(CountOf(dst, Marker(dst)), 0) << name << " " << w << "x" << h << " at " << t;
                }
            }
        }
}

// The left half is the right half mirrored. Where a shape doubles vertically,
// the tile's upward mirror and every doubling pass copy across the line
// between rows H/2-1 and H/2, so row H/2-1-k repeats row H/2+k. An odd
// width's last column and an odd height's last row stand outside the pairs.
TEST_F(KaleidoFrame, HalvesMirrorAcrossTheCentreLines) {
    for (int32_t format : kFormats)
        for (auto [w, h] : {std::pair{64, 48}, {47, 33}, {33, 47}, {40, 40}, {61, 12}}) {
            Picture src(53, 41, format), dst(w, h, format);
            FillCodes(src);
            for (const std::string& name : AllNames()) {
                Kaleido k = Create(name, src, &dst);
                for (int i = 0; i < 24; ++i) {
                    FrameAt(name, k.get(), i);
                    ASSERT_TRUE(MirroredHalves(dst, DoublesVertically(name)))
                        << name << " " << w << "x" << h << " frame " << i << " TileColumns " << k->TileColumns;
                }
            }
        }
}

// Horizontal doubling and the left-half mirror applied to one row alone.
std::vector<uint32_t> SidewaysPasses(std::vector<uint32_t> row, int tileColumns) {
    const int W = int(row.size()), W2 = W / 2;
    for (int x = W2 + tileColumns, k = tileColumns; x <= W; x += k, k *= 2) {
        const int count = x + k > W ? W - x : k;
        for (int i = 0; i < count; ++i) row[x + i] = row[x - 1 - i];
        if (x + k > W) break;
    }
    for (int i = 0; i < W2; ++i) row[W2 - 1 - i] = row[W2 + i];
    return row;
}
// The column whose pixel the horizontal doubling copies into column W-1, or
// -1 when it does not reach that far.
int LastColumnSource(int W, int tileColumns) {
    for (int x = W / 2 + tileColumns, k = tileColumns; x <= W; x += k, k *= 2) {
        const int count = x + k > W ? W - x : k;
        if (x < W && W - 1 < x + count) return 2 * x - W;
        if (x + k > W) break;
    }
    return -1;
}

// An odd size against the even size one smaller, with rows 40 pixels apart and
// the same old words: W/2 and H/2 and with them the tile are the same, so the
// shared part is the same picture. An odd height's last row only goes through
// the sideways passes; an odd width's last column is written only by the
// horizontal doubling, else holds old words of that column: its own in the
// triangle, which copies no rows, and in the others whatever row copies that
// run across it brought.
TEST_F(KaleidoFrame, OddSizesKeepTheirLastRowAndColumn) {
    constexpr int kStride = 40;
    auto old = [](int x, int y) { return 0x80000000u | uint32_t(y) << 8 | uint32_t(x); };
    Picture src(37, 23, kFormatXrgb);
    FillCodes(src);
    for (const std::string& name : AllNames())
        for (auto [w0, h0] : {std::pair{30, 20}, {20, 30}})
            for (int i = 0; i < 16; ++i) {
                std::vector<Picture> out;
                out.reserve(4);
                std::vector<int> tileColumns;
                for (int v = 0; v < 4; ++v) {
                    const int w = w0 + (v & 1), h = h0 + (v >> 1);
                    out.emplace_back(w, h, kFormatXrgb, kStride - w);
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < (y < h - 1 ? kStride : w); ++x) out[v].setPixel(x, y, old(x, y));
                    Kaleido k = Create(name, src, &out[v]);
                    FrameAt(name, k.get(), i * 7);
                    tileColumns.push_back(k->TileColumns);
                }
                const std::string where = name + " " + std::to_string(w0) + "x" + std::to_string(h0) +
                                          " frame " + std::to_string(i) + " TileColumns " +
                                          std::to_string(tileColumns[0]);
                for (int v = 1; v < 4; ++v) {
                    const Picture& p = out[v];
                    const int w = p.width(), h = p.height();
                    ASSERT_EQ(tileColumns[v], tileColumns[0]) << where;
                    for (int y = 0; y < h0; ++y)
                        for (int x = 0; x < w0; ++x) ASSERT_EQ(p.pixel(x, y), out[0].pixel(x, y)) << where << " v" << v;
                    if (w > w0) {
                        const int from = LastColumnSource(w, tileColumns[0]);
                        for (int y = 0; y < h0; ++y) {
                            const uint32_t last = p.pixel(w0, y);
                            if (from >= 0)
                                ASSERT_EQ(last, p.pixel(from, y)) << where << " row " << y;
                            else if (!DoublesVertically(name))
                                ASSERT_EQ(last, old(w0, y)) << where << " row " << y;
                            else
                                ASSERT_EQ(last & 0x800000FFu, old(w0, 0)) << where << " row " << y;
                        }
                    }
                    if (h > h0) {
                        std::vector<uint32_t> row, expected;
                        for (int x = 0; x < w; ++x) row.push_back(p.pixel(x, h0)), expected.push_back(old(x, h0));
                        ASSERT_EQ(row, SidewaysPasses(expected, tileColumns[0])) << where;
                    }
                }
            }
}

// Every vector level paints the scalar picture, from two surfaces and in
// place, where later pixels of a row may read what earlier ones wrote; in
// place every pixel is still one of the picture's own. Both depths take the
// same source pixels, and a frame does not depend on the frames before it.
TEST_F(KaleidoFrame, EveryLevelAndDepthPaintTheSamePicture) {
    struct Size {
        int w, h, sw, sh;
    };
    for (const std::string& name : AllNames())
        for (Size s : {Size{64, 48, 64, 48}, Size{70, 37, 45, 90}})
            for (int i = 0; i < 4; ++i) {
                std::vector<uint32_t> twoSurfaces, inPlace;
                for (int32_t format : kFormats)
                    for (SimdLevel level : Levels()) {
                        const std::string where = name + " " + std::to_string(s.w) + "x" + std::to_string(s.h) +
                                                  " frame " + std::to_string(i) + " format " +
                                                  std::to_string(format) + " level " + std::to_string(int(level));
                        Picture src(s.sw, s.sh, format), dst(s.w, s.h, format);
                        FillCodes(src);
                        Kaleido k = Create(name, src, &dst);
                        k->level = level;
                        FrameAt(name, k.get(), i + 40);
                        dst.fill(Marker(dst));
                        FrameAt(name, k.get(), i);
                        const auto two = Sampled(dst);
                        if (twoSurfaces.empty()) twoSurfaces = two;
                        ASSERT_EQ(two, twoSurfaces) << where;

                        Picture same(s.w, s.h, format);
                        FillCodes(same);
                        Kaleido own = Create(name, same);
                        own->level = level;
                        FrameAt(name, own.get(), i);
                        const auto one = Sampled(same);
                        if (inPlace.empty()) inPlace = one;
                        ASSERT_EQ(one, inPlace) << where << " in place";
                        for (uint32_t c : one)
                            ASSERT_TRUE((c & 0xFFFF) < uint32_t(s.w) && (c >> 16) < uint32_t(s.h)) << where;
                    }
            }
}

// The scale value gives Zoom = 0.5 to the power of -2 to 2: exactly 4 at 0
// and a quarter at 255; 1 lies between 127 and 128, which no host value
// reaches. The cyclic names keep 1.
TEST_F(KaleidoFrame, ZoomFollowsTheScaleValue) {
    Picture src(32, 24, kFormatXrgb), dst(32, 24, kFormatXrgb);
    for (const char* name : kStaticNames) {
        Kaleido k = Create(name, src, &dst);
        Frame(k.get(), {128, 128, 0, 128});
        EXPECT_EQ(k->Zoom, 4.0) << name;
        Frame(k.get(), {128, 128, 255, 128});
        EXPECT_EQ(k->Zoom, 0.25) << name;
        Frame(k.get(), {128, 128, 127, 128});
        EXPECT_GT(k->Zoom, 1.0) << name;
        Frame(k.get(), {128, 128, 128, 128});
        EXPECT_LT(k->Zoom, 1.0) << name;
    }
    for (const char* name : kCyclicNames) {
        Kaleido k = Create(name, src, &dst);
        Frame(k.get(), {0, 0, 0, 0}, 1234);
        EXPECT_EQ(k->Zoom, 1.0) << name;
    }
}

// An instance keeps the sizes, row bytes and depth it was made with: a frame
// whose source or destination no longer has them draws nothing. A host source
// of the same shape is read as it stands.
TEST_F(KaleidoFrame, FramesOnChangedSurfacesDrawNothing) {
    Picture src(32, 24, kFormatXrgb), dst(32, 24, kFormatXrgb), other(32, 24, kFormatXrgb);
    FillCodes(src);
    other.fill(0x00123456);
    Picture wider(33, 24, kFormatXrgb), taller(32, 25, kFormatXrgb), padded(32, 24, kFormatXrgb, 2),
        shallow(32, 24, kFormat565);
    const std::array<int32_t, 4> params{100, 140, 90, 128};
    for (const std::string& name : AllNames()) {
        Kaleido k = Create(name, src, &dst);
        for (Picture* changed : {&wider, &taller, &padded, &shallow}) {
            dst.fill(Marker(dst));
            Frame(k.get(), params, 0, changed->get());
            EXPECT_EQ(CountOf(dst, Marker(dst)), 32 * 24) << name << " source " << changed->width() << "x"
                                                         << changed->height() << " depth " << changed->get()->depth;
        }
        Frame(k.get(), params, 0, other.get());
        EXPECT_EQ(CountOf(dst, 0x00123456), 32 * 24) << name;

        Frame(k.get(), params, 0, src.get());
        const std::pair<const char*, void (*)(Surface&)> changes[] = {
            {"width", [](Surface& s) { s.bounds.right = 31; }},
            {"height", [](Surface& s) { s.bounds.bottom = 23; }},
            {"row bytes", [](Surface& s) { s.rowBytes += 4; }},
            {"depth", [](Surface& s) { s.depth = 16; }},
        };
        for (auto [what, change] : changes) {
            const Surface saved = *dst.get();
            dst.fill(Marker(dst));
            change(*dst.get());
            Frame(k.get(), params);
            *dst.get() = saved;
            EXPECT_EQ(CountOf(dst, Marker(dst)), 32 * 24) << name << ": destination of another " << what;
        }
        Frame(k.get(), params);
        EXPECT_EQ(CountOf(dst, Marker(dst)), 0) << name;
    }
}

// Sources up to 8191 pixels on a side make a working instance; one pixel more
// and the instance is never ready and never draws.
TEST_F(KaleidoFrame, SourcesBeyond8191PixelsAreNeverReady) {
    for (auto [sw, sh] : {std::pair{8191, 2}, {8192, 2}, {2, 8191}, {2, 8192}}) {
        const bool ready = sw < 8192 && sh < 8192;
        Picture src(sw, sh, kFormat565), dst(20, 16, kFormat565);
        src.fill(0x1234);
        for (const std::string& name : AllNames()) {
            Kaleido k = Create(name, src, &dst);
            EXPECT_EQ(k->IsReady(), ready) << name << " " << sw << "x" << sh;
            dst.fill(Marker(dst));
            FrameAt(name, k.get(), 3);
            EXPECT_EQ(CountOf(dst, 0x1234), ready ? 20 * 16 : 0) << name << " " << sw << "x" << sh;
        }
    }
}

// Row copies that run on past a row's end, tiles wider than the output's
// half and outputs only a few pixels wide stay inside the output's memory:
// the guard bytes before the first and after the last pixel never change, on
// tight and padded rows, at every grid value and both ends of the scale, in
// place too. The same frames run again on planes that end with their
// allocation, for the memory checker of the sanitizer build.
TEST_F(KaleidoFrameMemory, GuardBytesStayUntouched) {
    struct Size {
        int w, h, pad;
    };
    const Size sizes[] = {{12, 10, 0}, {13, 10, 3}, {12, 60, 0}, {13, 41, 1},
                          {61, 12, 0}, {16, 16, 2}, {23, 17, 0}, {5, 30, 1}};
    for (bool guardAfter : {true, false})
        for (int32_t format : kFormats)
            for (Size s : sizes) {
                Picture src(s.w, s.h, format, s.pad, guardAfter), dst(s.w, s.h, format, s.pad, guardAfter);
                FillCodes(src);
                const std::string size = std::to_string(s.w) + "x" + std::to_string(s.h);
                for (const char* name : kStaticNames) {
                    Kaleido k = Create(name, src, &dst);
                    for (int scale : {0, 255})
                        for (int g = 0; g < 256; ++g) {
                            Frame(k.get(), {(g * 7) & 255, g, scale, (g * 29) & 255});
                            ASSERT_TRUE(dst.guardsIntact()) << name << " " << size << " grid " << g << " scale " << scale;
                        }
                    Picture same(s.w, s.h, format, s.pad, guardAfter);
                    FillCodes(same);
                    Kaleido own = Create(name, same);
                    for (int g = 0; g < 256; g += 3) {
                        Frame(own.get(), {g, g, (g * 11) & 255, 128});
                        ASSERT_TRUE(same.guardsIntact()) << name << " in place " << size << " grid " << g;
                    }
                }
                for (const char* name : kCyclicNames) {
                    Kaleido k = Create(name, src, &dst);
                    for (uint32_t t = 0; t <= 4000; t += 16) {
                        Frame(k.get(), {}, t);
                        ASSERT_TRUE(dst.guardsIntact()) << name << " " << size << " at " << t;
                    }
                }
                EXPECT_TRUE(src.guardsIntact());
            }
}

// Outputs of 1 to 10 pixels a side: no frame leaves the output's memory, and a
// frame whose tile is less than a row (TileRows 0) leaves the output as it was.
TEST_F(KaleidoFrameMemory, TinyOutputs) {
    int empty = 0, drawn = 0;
    for (int32_t format : kFormats)
        for (int w = 1; w <= 10; ++w)
            for (int h = 1; h <= 10; ++h) {
                Picture src(w, h, format), dst(w, h, format);
                FillCodes(src);
                for (const std::string& name : AllNames()) {
                    Kaleido k = Create(name, src, &dst);
                    for (int i = 0; i < 6; ++i) {
                        dst.fill(Marker(dst));
                        if (IsCyclic(name))
                            Frame(k.get(), {}, uint32_t(i) * 400);
                        else
                            Frame(k.get(), {128, i * 51, i % 2 ? 0 : 255, 128});
                        const std::string where = name + " " + std::to_string(w) + "x" + std::to_string(h) +
                                                  " frame " + std::to_string(i);
                        ASSERT_TRUE(dst.guardsIntact()) << where;
                        if (k->TileRows <= 0) {
                            ++empty;
                            ASSERT_EQ(CountOf(dst, Marker(dst)), w * h) << where;
                        } else {
                            ++drawn;
                        }
                    }
                }
            }
    EXPECT_GT(empty, 0);
    EXPECT_GT(drawn, 0);
}

// Host values beyond 0-255 extrapolate. A grid value past 1024 makes tiles
// wider than the output, whose row copies run over several rows and still
// stay inside the output's memory; a tile too wide for a span (over 32767
// columns, or past 32 bits: 3000 makes the triangle's T on 64x48 about 2^31,
// its rows still in range) or less than a row high draws nothing.
TEST_F(KaleidoFrameMemory, GridValuesBeyondTheHostRange) {
    int drawn = 0, empty = 0;
    for (int32_t format : kFormats)
        for (auto [w, h] : {std::pair{64, 48}, {13, 41}}) {
            Picture src(w, h, format), dst(w, h, format);
            FillCodes(src);
            for (const char* name : kStaticNames) {
                Kaleido k = Create(name, src, &dst);
                for (int32_t v : {300, 400, 600, 1000, 1500, 2000, 3000, 32767, -1, -300, -32768}) {
                    dst.fill(Marker(dst));
                    Frame(k.get(), {128, v, 128, 128});
                    const std::string where = std::string(name) + " " + std::to_string(w) + "x" +
                                              std::to_string(h) + " grid value " + std::to_string(v);
                    ASSERT_TRUE(dst.guardsIntact()) << where;
                    const bool none = k->TileRows <= 0 || k->TileColumns <= 0 || k->TileColumns > 32767;
                    EXPECT_EQ(CountOf(dst, Marker(dst)) == w * h, none) << where << " TileColumns " << k->TileColumns;
                    ++(none ? empty : drawn);
                }
            }
        }
    EXPECT_GT(drawn, 0);
    EXPECT_GT(empty, 0);
}

// One small frame per shape against source pixels worked out by hand. The
// class is built from a record of our own: angle 0 and tilt 0 as constants,
// the grid from host slot 1 at 0, so that T is 3/16 of the tile extent, 6
// pixels in every case below; a constant zoom; and the tile's anchor from host
// slots 4 and 5 at 128, which is (29 * 128/255, 23 * 128/255) = (14.557,
// 11.545) in a 30 x 24 source whose pixels hold their own coordinates. Tilt 0
// stretches both axes by sqrt 2. Beyond an edge the source mirrors: -0.45
// reads 0, -2.41 reads 2, 30.6 reads 29, and with a period of 60 -33.4 reads
// 26.
class KaleidoFrameExact : public EffectTest {
protected:
    void TearDown() override {
        g_frame.params[4] = g_frame.params[5] = 0;
        EffectTest::TearDown();
    }

    template <class Shape>
    static Picture Draw(int w, int h, int32_t format, int16_t scalePercent = 100) {
        KaleidoParamRecord record{};
        NormalizeKaleidoParams(&record);
        record.RotationMode = 0;
        record.RotationCycle = 0;
        record.GridMode = 2;
        record.GridChannel = 1;
        record.ScaleMode = 0;
        record.ScalePercent = scalePercent;
        record.TiltMode = 0;
        record.Tilt = 0;
        record.OffsetMode = 1;
        record.OffsetXChannel = 4;
        record.OffsetYChannel = 5;
        Picture src(30, 24, format), dst(w, h, format);
        FillCodes(src);
        dst.fill(Marker(dst));
        g_frame.source = src.get();
        g_frame.destination = dst.get();
        Kaleido k(static_cast<CKaleido2Base*>(NewZeroedEffect<Shape>(&record)));
        g_frame.params[4] = g_frame.params[5] = 128;
        Frame(k.get(), {0, 0, 0, 0});
        EXPECT_EQ(k->TileColumns, 6);
        return dst;
    }
    // Row y of the band from the centre column, as source (x, y) pairs.
    static std::vector<std::pair<int, int>> Band(const Picture& p, int y) {
        std::vector<std::pair<int, int>> out;
        const auto all = Sampled(p);
        for (int x = p.width() / 2; x < p.width() / 2 + 6; ++x) {
            const uint32_t c = all[size_t(y) * p.width() + x];
            out.emplace_back(int(c & 0xFFFF), int(c >> 16));
        }
        return out;
    }
    // Every column repeats the band's, folded every 6 pixels.
    static ::testing::AssertionResult FoldedSideways(const Picture& p) {
        const int W2 = p.width() / 2;
        for (int y = 0; y < p.height(); ++y)
            for (int x = 0; x < p.width(); ++x)
                if (p.pixel(x, y) != p.pixel(W2 + Fold(x - W2, 6), y))
                    return ::testing::AssertionFailure() << "pixel " << x << "," << y;
        return ::testing::AssertionSuccess();
    }
};

// Square, n = 6, on 64 x 40 (wide: the sampling swaps its axes first) and on
// 40 x 64 (tall). Tile row r samples source x = 14.557 + k (r - 3), tile
// column c source y = 11.545 + k (c - 3), with k = 4 times the zoom: the
// source height over the 6 pixels of T. The painted half holds (r, c) with
// c >= r on a wide output and c <= r on a tall one; the diagonal mirror makes
// tile pixel (r, c) the sample at x of min(r, c) and y of max(r, c) either
// way, and the mirror doublings fold that tile every 6 pixels from the
// centre point over the whole frame.
TEST_F(KaleidoFrameExact, SquareFoldsOneSampledHalfTile) {
    struct Case {
        int w, h;
        int16_t scalePercent;
        std::array<int, 6> xs, ys;
    };
    const Case cases[] = {
        {64, 40, 100, {2, 6, 10, 14, 18, 22}, {0, 3, 7, 11, 15, 19}},
        {40, 64, 100, {2, 6, 10, 14, 18, 22}, {0, 3, 7, 11, 15, 19}},
        // Zoom 4: k = 16, read through the mirrored source.
        {64, 40, 25, {26, 17, 1, 14, 29, 13}, {11, 20, 4, 11, 20, 4}},
        {40, 64, 25, {26, 17, 1, 14, 29, 13}, {11, 20, 4, 11, 20, 4}},
    };
    for (int32_t format : kFormats)
        for (const Case& c : cases) {
            const Picture p = Draw<CSquareKaleido>(c.w, c.h, format, c.scalePercent);
            const auto got = Sampled(p);
            for (int y = 0; y < c.h; ++y)
                for (int x = 0; x < c.w; ++x) {
                    const int r = Fold(y - c.h / 2, 6), col = Fold(x - c.w / 2, 6);
                    const uint32_t want = uint32_t(c.ys[std::max(r, col)]) << 16 | c.xs[std::min(r, col)];
                    ASSERT_EQ(got[size_t(y) * c.w + x], want) << c.w << "x" << c.h << " at " << x << "," << y;
                }
        }
}

// Lozenge, n = 6, on 40 x 24 (wide) and 24 x 40 (tall). TileScale = 12 / 3,
// so k = 4 sqrt 2 = 5.657: the cell on the tile square's top row (wide) or
// left column (tall) samples its rows 0-2 at source x = 14.557 + 5.657 i and
// its columns at y = 11.545 + 5.657 (c - 3). The diagonal mirror brings the
// cell to the other side of the main diagonal, the anti-diagonal mirror
// brings both across it, and the doublings fold the tile square every 6.
TEST_F(KaleidoFrameExact, LozengeFoldsOneQuarterCell) {
    const std::array<int, 3> xs{14, 20, 25};
    const std::array<int, 6> ys{5, 0, 5, 11, 17, 22};
    for (int32_t format : kFormats)
        for (auto [w, h] : {std::pair{40, 24}, {24, 40}}) {
            const Picture p = Draw<CLozengeKaleido>(w, h, format);
            const auto got = Sampled(p);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    int r = Fold(y - h / 2, 6), c = Fold(x - w / 2, 6);
                    if (r + c > 5) std::tie(r, c) = std::pair{5 - c, 5 - r};
                    if (c < r) std::swap(r, c);
                    ASSERT_EQ(got[size_t(y) * w + x], uint32_t(ys[c]) << 16 | xs[r]) << w << "x" << h << " at " << x
                                                                                    << "," << y;
                }
        }
}

// Triangle on 64 x 24: W >= H sqrt 3, so the extent is W/2 = 32, T = 6 and
// n = trunc(6 / sqrt 3) = 3. Spans: A = [0,0) [0,1) [0,3) [0,3) [0,1) [0,0),
// B = [3,6) [1,6) [0,6) [0,6) [1,6) [3,6). The tip triangle (transform 0) is
// painted with B on rows 9-14; the strips of 6 rows every 3 rows take A and B
// in turn, transform 7 up and 1 down with A, then 8 and 2 with B. Transform 0
// samples x = 4.243 c - 2.41 at y = 4.243 (row - 9) - 3.15; transform 1
// x = 2.121 c + 3.674 i - 2.41 and y = 3.674 c - 2.121 i + 11.545, i = row - 12.
TEST_F(KaleidoFrameExact, TriangleStripsMeetAlongTheirSpans) {
    using Pairs = std::vector<std::pair<int, int>>;
    const Pairs rows[] = {
        {{28, 23}, {26, 19}, {24, 15}, {22, 12}, {19, 8}, {17, 4}},   // 6: 8 on [0,6)
        {{12, 20}, {29, 17}, {27, 13}, {25, 9}, {23, 6}, {21, 2}},    // 7: 7 on [0,1), 8 on [1,6)
        {{8, 17}, {10, 14}, {12, 10}, {29, 7}, {27, 4}, {25, 0}},     // 8: 7 on [0,3), 8 on [3,6)
        {{4, 15}, {7, 12}, {9, 8}, {10, 3}, {14, 3}, {18, 3}},        // 9: 7, then the tip on [3,6)
        {{1, 13}, {1, 1}, {6, 1}, {10, 1}, {14, 1}, {18, 1}},         // 10: 7 on [0,1), the tip
        {{2, 5}, {1, 5}, {6, 5}, {10, 5}, {14, 5}, {18, 5}},          // 11: the tip; -2.41 reads 2
        {{2, 9}, {1, 9}, {6, 9}, {10, 9}, {14, 9}, {18, 9}},          // 12: the tip
        {{1, 9}, {1, 13}, {6, 13}, {10, 13}, {14, 13}, {18, 13}},     // 13: 1 on [0,1), the tip
        {{4, 7}, {7, 10}, {9, 14}, {10, 18}, {14, 18}, {18, 18}},     // 14: 1 on [0,3), the tip
        {{8, 5}, {10, 8}, {12, 12}, {29, 15}, {27, 18}, {25, 22}},    // 15: 1 on [0,3), 2 on [3,6)
        {{12, 3}, {29, 5}, {27, 9}, {25, 13}, {23, 16}, {21, 20}},    // 16: 1 on [0,1), 2 on [1,6)
        {{28, 0}, {26, 3}, {24, 7}, {22, 10}, {19, 14}, {17, 18}},    // 17: 2 on [0,6)
    };
    for (int32_t format : kFormats) {
        const Picture p = Draw<CTriangleKaleido>(64, 24, format);
        for (int i = 0; i < 12; ++i) EXPECT_EQ(Band(p, 6 + i), rows[i]) << "row " << 6 + i;
        EXPECT_TRUE(FoldedSideways(p));
    }
}

// Hexagon on 64 x 24: the same extent, T = 6, n = 3, w = 6, h = 1. The six
// pieces paint rows 12-20 from the centre row in order, later ones over
// earlier ones: 0, 1 and 2 from row 12 (0 with yOffset 3), 3 and 4 from row
// 15, 5 from row 18. Piece 0 samples x = 4.899 c - 0.14 at y = 0.79 on row
// 12; piece 5 x = 29.25 - 4.899 c at y = 10.23 on row 20. The upward mirror
// repeats rows 12-20 on rows 11-3, and the doubling pass the three rows
// at each end.
TEST_F(KaleidoFrameExact, HexagonPiecesPaintNineRows) {
    using Pairs = std::vector<std::pair<int, int>>;
    const Pairs rows[] = {
        {{0, 0}, {4, 0}, {9, 0}, {14, 0}, {19, 0}, {24, 0}},          // 12: 0 on [0,6)
        {{4, 0}, {4, 5}, {9, 5}, {14, 5}, {19, 5}, {24, 5}},          // 13: 1 on [0,1), 0 on [1,6)
        {{8, 7}, {10, 2}, {13, 6}, {14, 10}, {19, 10}, {24, 10}},     // 14: 2 on [0,1), 1 on [1,3), 0
        {{12, 10}, {15, 0}, {17, 4}, {23, 7}, {25, 11}, {28, 15}},    // 15: 2, 1 on [1,3), 3 on [3,6)
        {{16, 12}, {22, 9}, {25, 5}, {27, 1}, {29, 9}, {27, 13}},     // 16: 2, 4 on [1,4) over 3 on [2,6)
        {{24, 16}, {26, 12}, {29, 7}, {28, 3}, {25, 0}, {23, 10}},    // 17: 4 on [0,5) over 3 on [2,6)
        {{28, 18}, {28, 14}, {26, 10}, {23, 6}, {21, 1}, {18, 8}},    // 18: 4 on [0,5) over 3 on [1,6)
        {{29, 15}, {24, 17}, {22, 12}, {19, 8}, {17, 4}, {14, 0}},    // 19: 5 on [0,1), 4 on [1,6)
        {{29, 10}, {24, 10}, {19, 10}, {15, 11}, {12, 6}, {10, 2}},   // 20: 5 on [0,3), 4 on [3,6)
    };
    for (int32_t format : kFormats) {
        const Picture p = Draw<CHexagonKaleido>(64, 24, format);
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(Band(p, 12 + i), rows[i]) << "row " << 12 + i;
            EXPECT_EQ(Band(p, 11 - i), rows[i]) << "row " << 11 - i;
        }
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(Band(p, 2 - k), Band(p, 3 + k)) << k;
            EXPECT_EQ(Band(p, 21 + k), Band(p, 20 - k)) << k;
        }
        EXPECT_TRUE(FoldedSideways(p));
    }
}

}  // namespace
