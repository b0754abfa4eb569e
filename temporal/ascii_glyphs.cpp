#include "temporal/ascii_glyphs.h"

#include <cstdlib>

namespace {

// The candidate from start down in steps of 2, no lower than floor, that
// leaves the smallest remainder of length; the first of equals. With
// stopAtExact a remainder of 0 ends the search.
uint32_t BestDivisor(uint32_t length, uint32_t start, int32_t floor, bool stopAtExact) {
    uint32_t best = start, bestRest = 1000;
    for (int32_t candidate = static_cast<int32_t>(start); candidate >= floor && candidate > 0; candidate -= 2) {
        const uint32_t rest = length % static_cast<uint32_t>(candidate);
        if (rest < bestRest) {
            bestRest = rest;
            best = static_cast<uint32_t>(candidate);
            if (rest == 0 && stopAtExact) break;
        }
    }
    return best;
}

}  // namespace

CellLayout LayOutCells(int32_t right, int32_t bottom, uint8_t density) {
    const uint32_t width = static_cast<uint32_t>(right), height = static_cast<uint32_t>(bottom);
    CellLayout layout{};
    uint32_t across = density == 0 ? 128 : density == 1 ? 64 : 32;
    if (width % across != 0) across = BestDivisor(width, across, static_cast<int32_t>(2 * across / 3), true);
    if (width < across) {
        across = width;
        layout.sourceCellWidth = 1;
    } else {
        layout.sourceCellWidth = width / across;
    }
    while (layout.sourceCellWidth * across < width) ++across;
    if (layout.sourceCellWidth * across > width) --across;
    layout.cellColumns = across;

    uint32_t down = layout.cellColumns * height / width;
    if (down == 0) down = 1;
    if (down > 512) down = 512;
    if (height % down != 0) down = BestDivisor(height, down, static_cast<int32_t>(down * 3 >> 2), false);
    layout.cellRows = down;
    layout.sourceCellHeight = height / down;
    return layout;
}

uint32_t HsvCode(int32_t red5, int32_t green5, int32_t blue5) {
    const int32_t r = red5 * 256 / 31, g = green5 * 256 / 31, b = blue5 * 256 / 31;
    const int32_t max = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const int32_t min = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const int32_t delta = max - min;
    int32_t saturation = 0, angle = 0;
    if (max != 0 && delta != 0) {
        saturation = delta * 256 / max;
        int32_t h;
        if (max == r) h = (g - b) * 256 / delta;
        else if (max == g) h = (b - r) * 256 / delta + 512;
        else h = (r - g) * 256 / delta + 1024;
        angle = h * 60;
        if (angle < 0) angle += 92160;
    }
    const int32_t hue = angle / 360;
    return static_cast<uint32_t>(((hue * 127) >> 8) << 14 | ((saturation * 127) >> 8) << 7 | ((max * 127) >> 8));
}

const uint32_t* GetHsvCodeTable() {
    // Built once, by whichever caller comes first; the initialisation of a
    // local static is safe against concurrent first calls.
    static const uint32_t* const table = [] {
        static uint32_t codes[1 << 15];
        for (int32_t i = 0; i < (1 << 15); ++i) codes[i] = HsvCode(i >> 10, i >> 5 & 31, i & 31);
        return codes;
    }();
    return table;
}

GlyphPos NearestByBrightness(const uint16_t (*luma)[kMaxGlyphGrid], uint32_t rows, uint32_t columns,
                             uint32_t value) {
    GlyphPos best{0, 0};
    uint32_t bestDistance = 0x10000;
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t column = 0; column < columns; ++column) {
            const int32_t d = static_cast<int32_t>(value) - luma[row][column];
            const uint32_t distance = static_cast<uint32_t>(d < 0 ? -d : d);
            if (distance < bestDistance) {
                bestDistance = distance;
                best = {static_cast<uint8_t>(row), static_cast<uint8_t>(column)};
                if (distance == 0) return best;
            }
        }
    }
    return best;
}

GlyphPos NearestByColour(const uint32_t (*codes)[kMaxGlyphGrid], uint32_t rows, uint32_t columns, uint32_t code) {
    const int32_t value = CodeValue(code), saturation = CodeSaturation(code), hue = CodeHue(code);
    const bool coloured = (saturation & 0xFA) != 0;
    GlyphPos best{0, 0};
    int32_t bestDistance = 0x10000;
    for (uint32_t row = 0; row < rows; ++row) {
        for (uint32_t column = 0; column < columns; ++column) {
            const uint32_t e = codes[row][column];
            const int32_t eSaturation = CodeSaturation(e);
            int32_t distance = std::abs(static_cast<int32_t>(CodeValue(e)) - value) + std::abs(eSaturation - saturation);
            if ((eSaturation & 0xFA) != 0 && coloured)
                distance += 2 * std::abs(static_cast<int32_t>(CodeHue(e)) - hue);
            if (distance <= bestDistance) {
                bestDistance = distance;
                best = {static_cast<uint8_t>(row), static_cast<uint8_t>(column)};
                if (distance == 0) return best;
            }
        }
    }
    return best;
}
