// The copies that spread a painted tile: reversed runs, column and row
// mirrors, and the diagonal mirrors of the square tiles, at every level.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "geometry/diagonal_blocks.h"
#include "geometry/pixel_mirrors.h"
#include "kernel_support.h"

namespace {

std::string LevelName(SimdLevel l) { return "level " + std::to_string(static_cast<int>(l)); }

TEST(PixelMirrors, ReversePixelsAtEveryLevel) {
    constexpr uint8_t kMarker = 0xC3;
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4})
            for (int count = 0; count <= 70; ++count) {
                const auto src = RandomWords<uint8_t>(size_t(count + 6) * bpp, uint32_t(count * 8 + bpp));
                // Neither run starts on a pixel boundary of its buffer.
                const uint8_t* srcEnd = src.data() + (count + 3) * bpp + 1;
                std::vector<uint8_t> dst(size_t(count + 8) * bpp + 1, kMarker), expected = dst;
                const size_t first = 4 * bpp + 1;
                for (int k = 0; k < count; ++k)
                    std::memcpy(&expected[first + k * bpp], srcEnd - (k + 1) * bpp, bpp);
                ReversePixels(&dst[first], srcEnd, count, bpp, level);
                ASSERT_EQ(dst, expected) << LevelName(level) << ", " << bpp << " bytes, count " << count;
            }
}

// Pixel memory of a plane: height rows of stride pixels, of which the first
// width belong to the picture, then a few guard pixels. Every pixel, padding
// and guard included, holds label(q) for its index q in memory.
class Grid {
public:
    Grid(int width, int height, int stride, int bpp, std::function<uint32_t(int r, int x)> label)
        : width_(width), height_(height), stride_(stride), bpp_(bpp),
          bytes_(size_t(height * stride + kGuard) * bpp) {
        for (int q = 0; q < height * stride + kGuard; ++q) {
            const uint32_t w = label(q / stride, q % stride);
            std::memcpy(&bytes_[size_t(q) * bpp], &w, bpp);
        }
    }
    PixelPlane plane() {
        return {bytes_.data(), ptrdiff_t{stride_} * bpp_, bpp_,
                bytes_.data() + (ptrdiff_t{height_ - 1} * stride_ + width_) * bpp_};
    }
    uint8_t* at(int r, int x) { return bytes_.data() + (ptrdiff_t{r} * stride_ + x) * bpp_; }
    std::vector<uint32_t> words() const {
        std::vector<uint32_t> out(bytes_.size() / bpp_);
        for (size_t q = 0; q < out.size(); ++q) std::memcpy(&out[q], &bytes_[q * bpp_], bpp_);
        return out;
    }
    int stride() const { return stride_; }

private:
    static constexpr int kGuard = 4;
    int width_, height_, stride_, bpp_;
    std::vector<uint8_t> bytes_;
};

TEST(PixelMirrors, ColumnMirrorsReverseEveryRow) {
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            SCOPED_TRACE(LevelName(level) + ", " + std::to_string(bpp) + " bytes");
            auto label = [](int r, int x) { return uint32_t(1 + 200 * r + x); };
            Grid right(150, 2, 153, bpp, label);
            std::vector<uint32_t> want = right.words();
            for (int r = 0; r < 2; ++r)
                for (int i = 0; i < 70; ++i) want[r * 153 + 72 + i] = label(r, 71 - i);
            MirrorColumnsRight(right.plane(), right.at(0, 72), 70, 2, level);
            EXPECT_EQ(right.words(), want);

            Grid left(150, 2, 153, bpp, label);
            want = left.words();
            for (int r = 0; r < 2; ++r)
                for (int i = 0; i < 70; ++i) want[r * 153 + 71 - i] = label(r, 72 + i);
            MirrorColumnsLeft(left.plane(), left.at(0, 72), 70, 2, level);
            EXPECT_EQ(left.words(), want);
        }
}

TEST(PixelMirrors, RowMovesRunOnAsTheMemoryLiesAndStopAtThePlanesEnd) {
    // Six rows of eight pixels, six of them the picture's: the plane ends at
    // pixel 46. Pixel q holds 1000 + q.
    auto label = [](int r, int x) { return uint32_t(1000 + 8 * r + x); };
    for (int bpp : {2, 4}) {
        SCOPED_TRACE(std::to_string(bpp) + " bytes");
        auto expectMoves = [&](std::function<void(Grid&)> act, std::vector<std::array<int, 3>> moves) {
            Grid g(6, 6, 8, bpp, label);
            std::vector<uint32_t> want = g.words();
            for (auto [to, from, count] : moves)
                for (int i = 0; i < count; ++i) want[to + i] = 1000 + from + i;
            act(g);
            EXPECT_EQ(g.words(), want);
        };
        // Ten pixels from (3, 2) and (4, 2) up into rows 2 and 1: each run goes
        // on into the next row; the second copy covers the first one's start.
        expectMoves([](Grid& g) { MirrorRowsUp(g.plane(), g.at(3, 2), 10, 2); }, {{10, 34, 10}, {20, 28, 8}});
        // A move onto a run that overlaps its source: row 2 takes what row 1
        // and the start of row 2 held before.
        expectMoves([](Grid& g) { MirrorRowsDown(g.plane(), g.at(1, 0), 12, 1); }, {{16, 8, 12}});
        // Sixteen pixels, cut where the source run reaches the plane's end.
        expectMoves([](Grid& g) { MirrorRowsUp(g.plane(), g.at(4, 0), 16, 2); }, {{24, 32, 14}, {16, 40, 6}});
        // And where the target run does: nothing at or behind pixel 46 changes.
        expectMoves([](Grid& g) { MirrorRowsDown(g.plane(), g.at(3, 0), 16, 2); }, {{32, 24, 8}, {40, 16, 6}});
    }
}

TEST(PixelMirrors, DiagonalMirrorsOfALabelledSquare) {
    // A 6 by 6 plane (one padding pixel a row) whose pixel at row R, column C
    // holds 10 R + C; the square's corner is at (1, 1).
    auto label = [](int r, int x) { return uint32_t(10 * r + x); };
    using Change = std::array<int, 3>;  // plane row, column, new value
    for (int bpp : {2, 4}) {
        SCOPED_TRACE(std::to_string(bpp) + " bytes");
        auto expectChanges = [&](std::function<void(Grid&)> act, std::vector<Change> changes) {
            Grid g(6, 6, 7, bpp, label);
            std::vector<uint32_t> want = g.words();
            for (auto [r, x, v] : changes) want[r * 7 + x] = uint32_t(v);
            act(g);
            EXPECT_EQ(g.words(), want);
        };
        expectChanges([](Grid& g) { MirrorDiagonalDown(g.plane(), g.at(1, 1), 4); },
                      {{2, 1, 12}, {3, 1, 13}, {3, 2, 23}, {4, 1, 14}, {4, 2, 24}, {4, 3, 34}});
        expectChanges([](Grid& g) { MirrorDiagonalUp(g.plane(), g.at(1, 1), 4); },
                      {{1, 2, 21}, {1, 3, 31}, {1, 4, 41}, {2, 3, 32}, {2, 4, 42}, {3, 4, 43}});
        // Up to the anti-diagonal of the 5-square: (2, 5) stays.
        expectChanges([](Grid& g) { MirrorDiagonalUpLimited(g.plane(), g.at(1, 1), 5, 5); },
                      {{1, 2, 21}, {1, 3, 31}, {1, 4, 41}, {1, 5, 51}, {2, 3, 32}, {2, 4, 42}});
        // And inside the 3-square.
        expectChanges([](Grid& g) { MirrorDiagonalUpLimited(g.plane(), g.at(1, 1), 5, 3); },
                      {{1, 2, 21}, {1, 3, 31}, {2, 3, 32}});
        expectChanges([](Grid& g) { MirrorDiagonalDownLimited(g.plane(), g.at(1, 1), 5, 4); },
                      {{2, 1, 12}, {3, 1, 13}, {4, 1, 14}, {3, 2, 23}, {4, 2, 24}});
        // Above the anti-diagonal of the 4-square goes below it.
        expectChanges([](Grid& g) { MirrorAntiDiagonal(g.plane(), g.at(1, 1), 4); },
                      {{4, 4, 11}, {3, 4, 12}, {2, 4, 13}, {4, 3, 21}, {3, 3, 22}, {4, 2, 31}});
    }
}

// The diagonal mirrors' rules written out, pixel by pixel; the pixels read
// lie across the diagonal from those written, so a copy of the grid serves
// as the source.
struct DiagonalCase {
    const char* name;
    std::function<void(const PixelPlane&, uint8_t*, SimdLevel)> mirror;
    // Calls move(to row, to column, from row, from column) for every pixel.
    std::function<void(std::function<void(int, int, int, int)>)> rule;
};

std::vector<DiagonalCase> DiagonalCases(int n, int m) {
    return {
        {"down", [=](const PixelPlane& pl, uint8_t* p, SimdLevel l) { MirrorDiagonalDown(pl, p, n, l); },
         [=](auto move) {
             for (int r = 0; r < n; ++r)
                 for (int k = 0; k < r; ++k) move(r, k, k, r);
         }},
        {"up", [=](const PixelPlane& pl, uint8_t* p, SimdLevel l) { MirrorDiagonalUp(pl, p, n, l); },
         [=](auto move) {
             for (int r = 0; r < n; ++r)
                 for (int k = 0; k < r; ++k) move(k, r, r, k);
         }},
        {"up limited", [=](const PixelPlane& pl, uint8_t* p, SimdLevel l) { MirrorDiagonalUpLimited(pl, p, n, m, l); },
         [=](auto move) {
             for (int j = 0; j < n - 1; ++j)
                 for (int x = std::min(n - 1 - j, m - 1); x > j; --x) move(j, x, x, j);
         }},
        {"down limited",
         [=](const PixelPlane& pl, uint8_t* p, SimdLevel l) { MirrorDiagonalDownLimited(pl, p, n, m, l); },
         [=](auto move) {
             for (int j = 0; j < n - 1; ++j)
                 for (int x = std::min(n - 1 - j, m - 1); x > j; --x) move(x, j, j, x);
         }},
        {"anti-diagonal", [=](const PixelPlane& pl, uint8_t* p, SimdLevel l) { MirrorAntiDiagonal(pl, p, n, l); },
         [=](auto move) {
             for (int j = 0; j < n; ++j)
                 for (int k = 0; j + k < n - 1; ++k) move(n - 1 - k, n - 1 - j, j, k);
         }},
    };
}

TEST(PixelMirrors, DiagonalMirrorsOfLargeSquaresAtEveryLevel) {
    // Sides across several blocks, cut by the triangle's edges at every
    // offset within a block, with the square's corner inside the plane.
    constexpr int kCorner = 3, kSide = 44;
    auto label = [](int r, int x) { return uint32_t(0x9E3779B1u * uint32_t(r * 131 + x + 7)) >> 7; };
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4})
            for (auto [n, m] : {std::pair{1, 1}, {7, 7}, {8, 8}, {9, 5}, {17, 17}, {24, 13}, {33, 40}, {40, 31}})
                for (const DiagonalCase& c : DiagonalCases(n, m)) {
                    Grid g(kSide, kSide, kSide + 3, bpp, label);
                    std::vector<uint32_t> want = g.words();
                    const std::vector<uint32_t> before = want;
                    const int stride = g.stride();
                    c.rule([&](int r, int x, int r2, int x2) {
                        want[(kCorner + r) * stride + kCorner + x] = before[(kCorner + r2) * stride + kCorner + x2];
                    });
                    c.mirror(g.plane(), g.at(kCorner, kCorner), level);
                    ASSERT_EQ(g.words(), want) << LevelName(level) << ", " << bpp << " bytes, " << c.name << ", n "
                                               << n << ", m " << m;
                }
}

TEST(PixelMirrors, BlockTransposesOfLabelledBlocks) {
    // Pixel (r, x) of a 16 by 16 plane holds 100 r + x; the block at (0, 8)
    // goes to (8, 0).
    for (SimdLevel level : Levels())
        for (int bpp : {2, 4}) {
            Grid g(16, 16, 16, bpp, [](int r, int x) { return uint32_t(100 * r + x); });
            TransposeBlock(g.at(8, 0), g.at(0, 8), ptrdiff_t{g.stride()} * bpp, bpp, level);
            AntiTransposeBlock(g.at(8, 8), g.at(0, 0), ptrdiff_t{g.stride()} * bpp, bpp, level);
            const std::vector<uint32_t> w = g.words();
            for (int a = 0; a < 8; ++a)
                for (int b = 0; b < 8; ++b) {
                    ASSERT_EQ(w[(8 + a) * 16 + b], uint32_t(100 * b + 8 + a)) << LevelName(level) << ", " << bpp;
                    ASSERT_EQ(w[(8 + a) * 16 + 8 + b], uint32_t(100 * (7 - b) + 7 - a)) << LevelName(level);
                }
            EXPECT_EQ(w[0 * 16 + 15], 15u);  // the sources stay
        }
}

}  // namespace
