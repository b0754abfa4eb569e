#include "colour/tintara_quantise.h"

#include <algorithm>
#include <cstring>
#include <new>

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

namespace {
// Made by the compiler: nothing to build at run time.
constexpr std::array<uint16_t, 65536> kAllWords = [] {
    std::array<uint16_t, 65536> all{};
    for (uint32_t i = 0; i < 65536; ++i) all[i] = static_cast<uint16_t>(i);
    return all;
}();
}  // namespace

const uint16_t* AllWords() { return kAllWords.data(); }

const uint32_t* WordTable(QuantiseWordTable& kept, uintptr_t row, int32_t format, const Frame& f,
                          void (*build)(const uint8_t*, uint8_t*, int32_t, const Frame&)) {
    std::array<uint8_t, QuantiseWordTable::kKeyBytes> key;
    uint8_t* at = key.data();
    for (const auto& [from, bytes] : {std::pair<const void*, size_t>{&row, 8}, {&format, 4}, {f.gain, 12},
                                      {f.invert, 12}, {f.column, 512}}) {
        std::memcpy(at, from, bytes);
        at += bytes;
    }
    if (kept.words && key == kept.key) return kept.words.get();
    if (!kept.words) kept.words.reset(new (std::nothrow) uint32_t[65536]);
    if (!kept.words) return nullptr;
    // The member writes 16-bit words into the first half; they are widened
    // in place from the top, each read before anything lands on it.
    uint32_t* table = kept.words.get();
    build(reinterpret_cast<const uint8_t*>(AllWords()), reinterpret_cast<uint8_t*>(table), 65536, f);
    for (uint32_t i = 65536; i-- > 0;) {
        uint16_t word;
        std::memcpy(&word, reinterpret_cast<const uint8_t*>(table) + 2 * i, sizeof word);
        table[i] = word;
    }
    kept.key = key;
    return kept.words.get();
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
