// The quantise route of the table-driven colour class, which no factory row
// reaches: timed in-process through the module's static library, with a
// record that has all three table lookups.
#include "bench/cases.h"
#include "colour/tintara.h"
#include "shell/factory.h"

namespace bench {

namespace {

TintaraParams AllLookups() {
    TintaraParams r{};
    r.recordVersion = 1;
    r.quantiseRoute = 1;
    for (int c = 0; c < 3; ++c) {
        r.channelSource[c] = static_cast<int8_t>(c + 1);
        r.channelShift[c] = 3;
        r.channelGain[c] = 90 + 10 * c;
        r.channelInvert[c] = c == 1;
    }
    return r;
}

}  // namespace

std::vector<EffectCase> RegisterQuantiseCases() {
    std::vector<EffectCase> cases;
    for (int32_t format : {kFormatXrgb, kFormat565})
        cases.push_back(RegisterInProcessCase(kQuantiseCase, format,
                                              [] { return NewZeroedEffect<Tintara>(AllLookups()); }));
    return cases;
}

}  // namespace bench
