// The quantise route of Tintara: records that set it, built directly, against
// a plain per-pixel reference and the worked values.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "colour/tintara.h"
#include "colour/tintara_quantise.h"
#include "host/blit_service.h"
#include "host/host_surface.h"
#include "kernel_support.h"
#include "shell/factory.h"
#include "shell/module.h"

namespace {

using fxhost::HostSurface;

struct Channels {
    int8_t source[3] = {1, 2, 3};
    int8_t shift[3] = {0, 0, 0};
    int32_t gain[3] = {100, 100, 100};
    uint8_t invert[3] = {0, 0, 0};
};

TintaraParams QuantiseRecord(const Channels& c) {
    TintaraParams r{};
    r.recordVersion = 1;
    r.quantiseRoute = 1;
    r.tableEffect = kHuePosterize;  // ignored on this route, as is the intensity
    for (int i = 0; i < 3; ++i) {
        r.channelSource[i] = c.source[i];
        r.channelShift[i] = c.shift[i];
        r.channelGain[i] = c.gain[i];
        r.channelInvert[i] = c.invert[i];
    }
    return r;
}

// The stage written out plainly, with the selectors looked at per pixel.
uint32_t Reference(const Channels& c, int32_t format, uint32_t p) {
    uint32_t q[5];
    if (format == kFormat555) {
        q[1] = (p >> 7) & 0xF8, q[2] = (p >> 2) & 0xF8, q[3] = (p & 0x1F) << 3;
    } else if (format == kFormat565) {
        q[1] = (p >> 7) & 0x1EE, q[2] = (p >> 3) & 0x11C, q[3] = (p & 0x1F) << 3;
    } else {
        q[1] = (p >> 16) & 0xFF, q[2] = (p >> 8) & 0xFF, q[3] = p & 0xFF;
    }
    q[4] = ((q[1] + q[2] + (q[2] >> 1) + (q[3] >> 1)) * 85) >> 8;
    uint32_t y[3];
    for (int ch = 0; ch < 3; ++ch) {
        const int64_t gain = static_cast<int32_t>(static_cast<uint32_t>(c.gain[ch]) * 255u) / 100;
        uint32_t x = static_cast<uint32_t>(q[c.source[ch]] * static_cast<uint64_t>(gain)) >> 8;
        if (x > 255) x = 255;
        // Table entries worked out by hand: the column of the shift, which is
        // the green one for blue.
        const int shift = c.shift[ch == 2 ? 1 : ch];
        if (c.shift[ch] > 0) {
            if (shift <= 0) {
                x = 0;  // a column nothing built
            } else {
                const uint32_t step = 1u << shift, start = step / 2 - 1;
                x = x < 256 - start ? ((start + x) / step * step) & 0xFF : 255;
            }
        }
        y[ch] = c.invert[ch] ? 255 - x : x;
    }
    if (format == kFormat555) return ((y[0] & 0xF8) << 7) + ((y[1] & 0xF8) << 2) + (y[2] >> 3);
    if (format == kFormat565) return ((y[0] & 0xF8) << 8) + ((y[1] & 0xF8) << 3) + (y[2] >> 3);
    return (y[0] << 16) + (y[1] << 8) + y[2];
}

class Quantise : public ::testing::Test {
protected:
    void SetUp() override { g_blitService = fxhost::GetBlitService(); }
    void TearDown() override { g_blitService = nullptr; }

    // Renders one frame of the record over pixels, two surfaces, and returns
    // the destination's words.
    static std::vector<uint32_t> Run(const Channels& c, int32_t format, const std::vector<uint32_t>& pixels,
                                     uint32_t background = 0x1234) {
        HostSurface src(static_cast<int>(pixels.size()), 1, format), dst(static_cast<int>(pixels.size()), 1, format);
        for (size_t x = 0; x < pixels.size(); ++x) src.setPixel(static_cast<int>(x), 0, pixels[x]);
        dst.fill(background);
        g_frame.source = src.get();
        g_frame.destination = dst.get();
        CRenderInterface* effect = NewZeroedEffect<Tintara>(QuantiseRecord(c));
        effect->Render();
        delete effect;
        std::vector<uint32_t> out;
        for (size_t x = 0; x < pixels.size(); ++x) out.push_back(dst.pixel(static_cast<int>(x), 0));
        return out;
    }
};

TEST_F(Quantise, FullGainIsNotAnIdentity) {
    const Channels plain;
    EXPECT_EQ(Run(plain, kFormatXrgb, {0xFFFFFF, 0x80FF01}), (std::vector<uint32_t>{0xFEFEFE, 0x7FFE00}));
    EXPECT_EQ(Run(plain, kFormat555, {0x7FFF, 0x7C00}), (std::vector<uint32_t>{0x7BDE, 0x7800}));
    EXPECT_EQ(Run(plain, kFormat565, {0xF800}), (std::vector<uint32_t>{0xFFC0}));
    Channels luminance;
    luminance.source[0] = luminance.source[1] = luminance.source[2] = 4;
    EXPECT_EQ(Run(luminance, kFormatXrgb, {0xFFFFFF, 0x800000}), (std::vector<uint32_t>{0xFCFCFC, 0x292929}));
}

TEST_F(Quantise, GainsAndInverts) {
    Channels c;
    c.gain[1] = 0;
    EXPECT_EQ(Run(c, kFormatXrgb, {0xFFFFFF}), (std::vector<uint32_t>{0xFE00FE}));
    c.invert[1] = 1;
    c.gain[2] = -1;  // a huge unsigned factor: full for any non-zero source
    EXPECT_EQ(Run(c, kFormatXrgb, {0x808001, 0x808000}), (std::vector<uint32_t>{0x7FFFFF, 0x7FFF00}));
    c.gain[0] = 50;  // 127
    EXPECT_EQ(Run(c, kFormatXrgb, {0xFF0000}), (std::vector<uint32_t>{0x7EFF00}));
}

TEST_F(Quantise, BlueFollowsTheGreenTable) {
    Channels c;
    c.shift[2] = 3;  // blue looks up a green column nothing built
    EXPECT_EQ(Run(c, kFormatXrgb, {0x6080FF}), (std::vector<uint32_t>{0x5F7F00}));
    c.invert[2] = 1;
    EXPECT_EQ(Run(c, kFormatXrgb, {0x6080FF}), (std::vector<uint32_t>{0x5F7FFF}));
    c = Channels{};
    c.shift[1] = 3;  // green quantised to steps of 8 (128 stays, 4 goes to 0), blue not
    EXPECT_EQ(Run(c, kFormatXrgb, {0x6081FF, 0x000503}), (std::vector<uint32_t>{0x5F80FE, 0x000002}));
    c.shift[0] = 2;
    c.shift[1] = 5;
    c.shift[2] = 1;  // blue by the step of 32, red by 4: 254 past the top, 47 to 32
    EXPECT_EQ(Run(c, kFormatXrgb, {0x6081FF, 0x020F30}), (std::vector<uint32_t>{0x6080FF, 0x000020}));
    c = Channels{};
    c.shift[0] = 8;  // a threshold at 129
    EXPECT_EQ(Run(c, kFormatXrgb, {0x810000, 0x820000}), (std::vector<uint32_t>{0x000000, 0xFF0000}));
}

TEST_F(Quantise, UnknownSourcesEndThePassAfterTheTables) {
    for (int8_t bad : {0, 5}) {
        HostSurface s(2, 1, kFormatXrgb);
        s.fill(0x00ABCDEF);
        g_frame.source = g_frame.destination = s.get();
        Channels c;
        c.source[1] = bad;
        c.shift[0] = 4;
        auto* effect = static_cast<Tintara*>(NewZeroedEffect<Tintara>(QuantiseRecord(c)));
        effect->Render();
        EXPECT_EQ(s.pixel(1, 0), 0x00ABCDEFu);
        EXPECT_EQ(effect->channelTable[255][0], 255);
        EXPECT_EQ(effect->channelTable[24][0], 16);  // (7 + 24) / 16 x 16
        EXPECT_EQ(effect->channelTable[24][1], 0);
        delete effect;
    }
    Channels c;
    c.source[0] = 0;  // no member at all
    EXPECT_EQ(Run(c, kFormatXrgb, {0xFFFFFF}), (std::vector<uint32_t>{0x1234}));
}

TEST_F(Quantise, TheFormatDecidesTheReadingWhateverTheDepth) {
    HostSurface s(2, 1, kFormatXrgb);
    s.setPixel(0, 0, 0x7C007FFF);  // read as two 5-5-5 words: 0x7FFF, 0x7C00
    Surface fiveFive = *s.get();
    fiveFive.pixelFormat = kFormat555;
    g_frame.source = g_frame.destination = &fiveFive;
    CRenderInterface* effect = NewZeroedEffect<Tintara>(QuantiseRecord(Channels{}));
    effect->Render();
    EXPECT_EQ(s.pixel(0, 0), 0x78007BDEu);
    delete effect;

    HostSurface empty(0, 1, kFormatXrgb);
    g_frame.source = g_frame.destination = empty.get();
    effect = NewZeroedEffect<Tintara>(QuantiseRecord(Channels{}));
    effect->Render();  // nothing to write, nothing read
    delete effect;
}

class QuantiseLevels : public Quantise, public ::testing::WithParamInterface<SimdLevel> {
protected:
    void SetUp() override {
        Quantise::SetUp();
        SetQuantiseSimdLevel(GetParam());
    }
    void TearDown() override {
        SetQuantiseSimdLevel(SimdLevel::kAvx512Vbmi);
        Quantise::TearDown();
    }
};

// Random records for every member at every format, on rows long enough for
// the vector loops and their tails.
TEST_P(QuantiseLevels, EveryMemberAgreesWithTheReference) {
    std::mt19937 rng(7);
    int seen[kQuantiseMemberCount + 1] = {};
    for (int trial = 0; trial < 32 * 12; ++trial) {
        Channels c;
        const int member = trial % 32;
        c.source[0] = static_cast<int8_t>(member / 8 + 1);
        for (int ch = 0; ch < 3; ++ch) {
            const bool look = !(member % 8 & (4 >> ch));
            c.shift[ch] = static_cast<int8_t>(look ? 1 + rng() % 9 : -static_cast<int>(rng() % 3));
            c.gain[ch] = std::array{100, 0, 50, 33, 250, -1, 1000}[rng() % 7];
            c.invert[ch] = rng() % 2;
            if (ch > 0) c.source[ch] = static_cast<int8_t>(1 + rng() % 4);
        }
        const int number = QuantiseMemberNumber(c.source[0], c.shift[0] > 0, c.shift[1] > 0, c.shift[2] > 0);
        ASSERT_EQ(number, member + 1);
        ASSERT_NE(QuantiseMemberByNumber(number), nullptr);
        ++seen[number];
        for (int32_t format : {kFormat555, kFormat565, kFormatXrgb}) {
            std::vector<uint32_t> pixels(37 + trial % 11);
            for (auto& p : pixels) p = format == kFormatXrgb ? rng() & 0xFFFFFF : rng() & 0xFFFF;
            const std::vector<uint32_t> out = Run(c, format, pixels);
            for (size_t i = 0; i < pixels.size(); ++i)
                ASSERT_EQ(out[i], Reference(c, format, pixels[i])) << "member " << number << " format " << format;
        }
    }
    for (int n = 1; n <= kQuantiseMemberCount; ++n) EXPECT_EQ(seen[n], 12) << n;
    EXPECT_EQ(QuantiseMemberByNumber(0), nullptr);
    EXPECT_EQ(QuantiseMemberByNumber(33), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Levels, QuantiseLevels, ::testing::Values(SimdLevel::kScalar, SimdLevel::kAvx512Vbmi),
                         [](const auto& info) { return info.param == SimdLevel::kScalar ? "Scalar" : "Avx512"; });

// Large 15- and 16-bit pictures go through the table of every word: all
// 65536 words (each four times over 1024x256) at several records, at each
// level, against the reference; and a new record rebuilds the table in place.
TEST_F(Quantise, TheWordTableGivesEveryWordAsWorkedOut) {
    constexpr int kWidth = 1024, kHeight = 256;
    static_assert(int64_t{kWidth} * kHeight >= kQuantiseTableMinPixels);
    Channels luminanceRed, swapped, plain;
    luminanceRed.source[0] = 4, luminanceRed.shift[0] = 2, luminanceRed.gain[0] = 250, luminanceRed.invert[2] = 1;
    swapped.source[0] = 3, swapped.source[1] = 1, swapped.source[2] = 4;
    swapped.shift[1] = 5, swapped.shift[2] = 3, swapped.gain[1] = -1, swapped.gain[2] = 33;
    plain.shift[0] = plain.shift[1] = plain.shift[2] = 3;
    for (int32_t format : {kFormat555, kFormat565}) {
        HostSurface src(kWidth, kHeight, format), dst(kWidth, kHeight, format);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) src.setPixel(x, y, uint32_t(y * kWidth + x) * 40503u >> 2 & 0xFFFF);
        g_frame.source = src.get();
        g_frame.destination = dst.get();
        for (SimdLevel level : Levels()) {
            SetQuantiseSimdLevel(level);
            auto* effect = static_cast<Tintara*>(NewZeroedEffect<Tintara>(QuantiseRecord(plain)));
            const uint32_t* table = nullptr;
            for (const Channels& c : {luminanceRed, swapped, plain}) {
                effect->settings = QuantiseRecord(c);
                effect->Render();
                if (!table) table = effect->quantiseWords.words.get();
                ASSERT_NE(table, nullptr);
                EXPECT_EQ(effect->quantiseWords.words.get(), table);
                int wrong = 0;
                for (int y = 0; y < kHeight; ++y)
                    for (int x = 0; x < kWidth; ++x)
                        wrong += dst.pixel(x, y) != Reference(c, format, src.pixel(x, y));
                EXPECT_EQ(wrong, 0) << "format " << format << " level " << int(level) << " red " << int(c.source[0]);
            }
            delete effect;
        }
        SetQuantiseSimdLevel(SimdLevel::kAvx512Vbmi);
    }
}

// 32-bit pictures whose channels read their own sources run as three channel
// tables: every member pattern, large enough for every kernel of the tables,
// at each level, against the reference.
TEST_F(Quantise, ChannelsOnTheirOwnSourcesMatchTheReference) {
    constexpr int kWidth = 512, kHeight = 160;
    HostSurface src(kWidth, kHeight, kFormatXrgb), dst(kWidth, kHeight, kFormatXrgb);
    std::mt19937 rng(11);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) src.setPixel(x, y, rng());
    g_frame.source = src.get();
    g_frame.destination = dst.get();
    for (SimdLevel level : Levels()) {
        SetQuantiseSimdLevel(level);
        for (int pattern = 0; pattern < 8; ++pattern) {
            Channels c;
            for (int ch = 0; ch < 3; ++ch) {
                c.shift[ch] = static_cast<int8_t>(pattern & (4 >> ch) ? 0 : 1 + (pattern + ch) % 8);
                c.gain[ch] = std::array{100, 250, -1, 33}[(pattern + ch) % 4];
                c.invert[ch] = (pattern + ch) % 2;
            }
            CRenderInterface* effect = NewZeroedEffect<Tintara>(QuantiseRecord(c));
            effect->Render();
            delete effect;
            int wrong = 0;
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) wrong += dst.pixel(x, y) != Reference(c, kFormatXrgb, src.pixel(x, y));
            EXPECT_EQ(wrong, 0) << "pattern " << pattern << " level " << int(level);
        }
    }
    SetQuantiseSimdLevel(SimdLevel::kAvx512Vbmi);
}

TEST_F(Quantise, AMemberHasItsRedSourceBuiltIn) {
    // Member 9 reads green into red whatever the record says.
    HostSurface s(1, 1, kFormatXrgb);
    s.setPixel(0, 0, 0x00FF4000);
    g_frame.source = g_frame.destination = s.get();
    Channels c;
    c.shift[0] = c.shift[1] = c.shift[2] = 1;
    auto* effect = static_cast<Tintara*>(NewZeroedEffect<Tintara>(QuantiseRecord(c)));
    QuantiseMemberByNumber(9)(*effect);
    EXPECT_EQ(s.pixel(0, 0), 0x003E3E00u);  // 0x40 x 255 >> 8 = 63, in steps of 2: 62
    delete effect;
}

}  // namespace
