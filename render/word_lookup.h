// The loop of every 16-bit table of all words: each word of a row replaced by
// its table entry.
#pragma once

#include <cstdint>
#include <cstring>

#include "render/pixel_rows.h"

// dst[x] = table[src[x] & indexMask] ^ xorMask for count words; src may be
// dst. Four words a step, through 64-bit loads and stores, which measured up
// to a third faster than a word at a time.
template <class Entry>
inline void LookUpWordRow(const uint16_t* src, uint16_t* dst, int32_t count, const Entry* table,
                          uint32_t indexMask, uint16_t xorMask) {
    const uint64_t index = indexMask, flip = xorMask * 0x0001000100010001ull;
    int32_t x = 0;
    for (; x + 4 <= count; x += 4) {
        uint64_t w;
        std::memcpy(&w, src + x, 8);
        w = (uint64_t{static_cast<uint16_t>(table[w & index])} |
             uint64_t{static_cast<uint16_t>(table[(w >> 16) & index])} << 16 |
             uint64_t{static_cast<uint16_t>(table[(w >> 32) & index])} << 32 |
             uint64_t{static_cast<uint16_t>(table[(w >> 48) & index])} << 48) ^
            flip;
        std::memcpy(dst + x, &w, 8);
    }
    for (; x < count; ++x)
        StorePixel(dst, x, static_cast<uint16_t>(static_cast<uint16_t>(table[LoadPixel(src, x) & indexMask]) ^ xorMask));
}

template <class Entry>
inline void LookUpWordRows(const PixelRows& rows, const Entry* table, uint32_t indexMask, uint16_t xorMask) {
    for (int32_t y = 0; y < rows.rows; ++y)
        LookUpWordRow(rows.srcRow<uint16_t>(y), rows.dstRow<uint16_t>(y), rows.width, table, indexMask, xorMask);
}
