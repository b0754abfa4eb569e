// A block of pixel rows to read and write, with each surface's row step.
#pragma once

#include <cstdint>
#include <cstring>

struct PixelRows {
    const uint8_t* src;
    int32_t srcStep;  // bytes from one source row to the next
    uint8_t* dst;
    int32_t dstStep;
    int32_t rows;
    int32_t width;  // pixels a row

    template <class Pixel>
    const Pixel* srcRow(int32_t y) const {
        return reinterpret_cast<const Pixel*>(src + static_cast<intptr_t>(y) * srcStep);
    }
    template <class Pixel>
    Pixel* dstRow(int32_t y) const {
        return reinterpret_cast<Pixel*>(dst + static_cast<intptr_t>(y) * dstStep);
    }
};

// Pixel words at any address: a host may start rows where it likes, so the
// scalar loops make no assumption about alignment.
template <class Word>
inline Word LoadPixel(const Word* row, int32_t x) {
    Word w;
    std::memcpy(&w, row + x, sizeof w);
    return w;
}
template <class Word>
inline void StorePixel(Word* row, int32_t x, Word w) {
    std::memcpy(row + x, &w, sizeof w);
}
