#include "colour/contrast_curve.h"

#include "shell/numeric.h"

namespace {

// 32-bit arithmetic on levels that wraps instead of overflowing: the host's
// values are 16 bits wide and the products can pass 2^31.
int32_t Mul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
int32_t Sub(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }

// The curve's value at v, with half the top of the scale at the middle point
// and the two out-of-range steps. The comparisons are unsigned.
int32_t CurveTarget(uint32_t v, const ContrastLevels& lv, double half, int32_t below, int32_t above, int32_t top) {
    const auto L = static_cast<uint32_t>(lv.low), M = static_cast<uint32_t>(lv.mid), H = static_cast<uint32_t>(lv.high);
    if (v < L) return below;
    if (v > H || H == L) return above;
    if (v < M) {
        if (M == L) return 0;
        const float span = static_cast<float>(Sub(lv.mid, lv.low));
        return TruncToInt32(static_cast<double>(Sub(static_cast<int32_t>(v), lv.low)) * half / static_cast<double>(span));
    }
    if (M == H) return top;
    const float part = static_cast<float>(Sub(static_cast<int32_t>(v), lv.mid)) / static_cast<float>(Sub(lv.high, lv.mid));
    return TruncToInt32(static_cast<double>(part + 1.0f) * half);
}

}  // namespace

ContrastLevels ComputeContrastLevels(int32_t low, int32_t mid, int32_t high, float scale) {
    int32_t highL = TruncToInt32(static_cast<float>(high) * scale);
    int32_t lowL = TruncToInt32(static_cast<float>(low) * scale);
    if (highL < lowL) highL = lowL = static_cast<int32_t>((int64_t{lowL} + highL) / 2);
    const int32_t sum = static_cast<int32_t>(static_cast<uint32_t>(Mul(Sub(127, mid), highL)) +
                                             static_cast<uint32_t>(Mul(mid, lowL)));
    return {lowL, sum / 127, highL};
}

int32_t LuminanceDelta(uint32_t y, const ContrastLevels& levels) {
    y &= 0xFFFF;
    if (y == 0) return 0;
    const int32_t t = CurveTarget(y, levels, 382.5, -765, 1530, 765);
    return Sub(t, static_cast<int32_t>(y)) / 3;
}

int32_t ChannelLevel(uint32_t v, const ContrastLevels& levels) {
    v &= 0xFF;
    if (v == 0) return 0;
    return CurveTarget(v, levels, 127.5, 0, 255, 255);
}

void BuildDeltaTable(const ContrastLevels& levels, int16_t deltas[766]) {
    for (uint32_t y = 0; y <= 765; ++y) deltas[y] = static_cast<int16_t>(static_cast<uint16_t>(LuminanceDelta(y, levels)));
}

void BuildPixelTable16(int32_t format, const int16_t* deltas, const uint8_t* levelTable, uint16_t table[65536]) {
    const FieldShifts16 at = Shifts16(format);
    for (uint32_t w = 0; w < 65536; ++w) {
        if (deltas) {
            table[w] = static_cast<uint16_t>(Luminance16Pixel(w, deltas, format));
            continue;
        }
        uint32_t r = ((w >> at.red) & 31) * 8, g = ((w >> at.green) & 31) * 8, b = (w & 31) * 8;
        if (levelTable) r = levelTable[r], g = levelTable[g], b = levelTable[b];
        table[w] = static_cast<uint16_t>(((r >> 3) << at.red) + ((g >> 3) << at.green) + (b >> 3));
    }
}
