#include "colour/tintara_quantise.h"

#include <algorithm>

#include "colour/tintara.h"
#include "colour/tintara_quantise_body.h"

namespace quantise {

namespace {
SimdLevel g_quantiseCap = SimdLevel::kAvx512Vbmi;
}  // namespace

SimdLevel VectorLevel() { return std::min(g_quantiseCap, MachineSimdLevel()); }

bool IsSource(int8_t s) { return s >= kRed && s <= kLuminance; }

// Rebuilds the column of every channel whose shift is above 0: steps of
// 2^shift centred half a step early, the top of the range at 255.
void BuildChannelTables(Tintara& t) {
    for (int c = 0; c < 3; ++c) {
        const int8_t shift = t.settings.channelShift[c];
        if (shift <= 0) continue;
        const uint32_t step = 1u << (static_cast<uint32_t>(shift) & 31);
        const auto start = static_cast<int32_t>(step / 2) - 1;
        const int32_t count = 256 - start;
        for (int32_t i = 0; i < 256; ++i) {
            const auto bucket = static_cast<uint8_t>(static_cast<uint32_t>(start + i) / step);
            t.channelTable[i][c] = i < count ? static_cast<uint8_t>(bucket * static_cast<uint8_t>(step)) : 255;
        }
    }
}

}  // namespace quantise

void SetQuantiseSimdLevel(SimdLevel level) { quantise::g_quantiseCap = level; }

QuantiseMember QuantiseMemberByNumber(int number) {
    if (number < 1 || number > kQuantiseMemberCount) return nullptr;
    const int pattern = (number - 1) % 8;
    switch ((number - 1) / 8 + 1) {
    case 1: return RedMember<1>(pattern);
    case 2: return RedMember<2>(pattern);
    case 3: return RedMember<3>(pattern);
    default: return RedMember<4>(pattern);
    }
}

int QuantiseMemberNumber(int8_t redSource, bool lookRed, bool lookGreen, bool lookBlue) {
    if (!quantise::IsSource(redSource)) return 0;
    return (redSource - 1) * 8 + (!lookRed) * 4 + (!lookGreen) * 2 + (!lookBlue) + 1;
}
