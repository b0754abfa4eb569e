// Effect names as users type them, and the facts fxhost finds by running
// every effect.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "module_fixture.h"
#include "tools/effect_facts.h"

namespace {

using fxtool::EffectFacts;
using fxtool::ResolveName;

const std::vector<std::string>& Names() {
    static const std::vector<std::string> names = fxhost::EffectNames(SharedModule());
    return names;
}

const std::vector<EffectFacts>& AllFacts() {
    static const std::vector<EffectFacts> facts = [] {
        fxhost::SetLogSink([](const std::string&) {});
        return fxtool::ProbeEffects(SharedModule());
    }();
    return facts;
}

std::string ErrorOf(const std::string& typed, const std::vector<std::string>& known = Names()) {
    try {
        return "resolved to " + ResolveName(known, typed);
    } catch (const fxhost::HostError& error) {
        return error.what();
    }
}

TEST(ResolveName, ExactLooseAndIndex) {
    EXPECT_EQ(ResolveName(Names(), "Posterize"), "Posterize");
    EXPECT_EQ(ResolveName(Names(), "posterize hue_SMOOTH"), "Posterize Hue Smooth");
    EXPECT_EQ(ResolveName(Names(), "contrast brightness old"), "CONTRAST_BRIGHTNESS old");
    EXPECT_EQ(ResolveName(Names(), "CONTRAST_BRIGHT_INVERT_OLD"), "Contrast_Bright_Invert old");
    EXPECT_EQ(ResolveName(Names(), "0"), "RGBControl");
    EXPECT_EQ(ResolveName(Names(), "28"), "Tinta Special FX Smooth");
    EXPECT_EQ(ResolveName(Names(), "29"), "AsciiArt1");
    EXPECT_EQ(ResolveName(Names(), "037"), "Contrast_Bright_Invert old");
}

// Every real name, typed in capitals with underscores, comes back as itself:
// no two names are equal when compared loosely.
TEST(ResolveName, LooseFormsAreUnique) {
    for (const std::string& name : Names()) {
        std::string typed = name;
        for (char& c : typed) c = c == ' ' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        EXPECT_EQ(ResolveName(Names(), typed), name);
    }
}

TEST(ResolveName, Failures) {
    EXPECT_EQ(ErrorOf("Posterise"),
              "unknown effect \"Posterise\"; closest: \"Posterize\", \"Solarize\", \"Posterize Hue\"");
    EXPECT_EQ(ErrorOf("38"), "no effect number 38; `fxhost list` numbers them from 0 to 37");
    EXPECT_EQ(ErrorOf("-1"), "unknown effect \"-1\"; closest: \"Cube3D\", \"Solarize\", \"AsciiArt1\"");
    EXPECT_EQ(ErrorOf("a b", {"A_b", "a B"}), "effect \"a b\" matches several names: \"A_b\", \"a B\"");
}

// The facts of every name: which values it reads, whether time or earlier
// frames change its picture, whether it is random, where it draws.
TEST(EffectFacts, EveryName) {
    struct Row {
        const char* name;
        const char* reads;  // values 0 to 3
        bool moves, keeps, random;
        const char* draws;  // 32, 565, 555
    };
    const Row rows[] = {
        {"RGBControl", "1110", false, false, false, "100"},
        {"Brightness Contrast", "1100", false, false, false, "100"},
        {"RGBControl Inverse", "1110", false, false, false, "100"},
        {"Brightness Contrast Inverse", "1100", false, false, false, "100"},
        {"Brightness Contrast XT", "1110", false, false, false, "111"},
        {"Contrast Brightness XT Inverse", "1110", false, false, false, "111"},
        {"Stroboscope", "1110", true, false, false, "100"},
        {"RGB Cycling Slow", "1110", true, false, false, "111"},
        {"RGB Cycling Fast", "1110", true, false, false, "111"},
        {"Triangle Kaleido", "1111", false, false, false, "111"},
        {"Cyclic Triangle Kaleido", "0000", true, false, false, "111"},
        {"Square Kaleido", "1111", false, false, false, "111"},
        {"Square Kaleido Cyclic", "0000", true, false, false, "111"},
        {"Hexagon Kaleido", "1111", false, false, false, "111"},
        {"Hexagon Kaleido Cyclic", "0000", true, false, false, "111"},
        {"Lozenge Kaleido", "1111", false, false, false, "111"},
        {"Lozenge Kaleido Cyclic", "0000", true, false, false, "111"},
        {"Solarize", "1000", false, false, false, "111"},
        {"Solarize Smooth", "1000", false, false, false, "111"},
        {"Inverse Solarize", "1000", false, false, false, "111"},
        {"Inverse Solarize Smooth", "1000", false, false, false, "111"},
        {"Posterize", "1000", false, false, false, "111"},
        {"Posterize Smooth", "1000", false, false, false, "111"},
        {"Saturate Quantize", "1000", false, false, false, "111"},
        {"Saturate Quantize Smooth", "1000", false, false, false, "111"},
        {"Posterize Hue", "1000", false, false, false, "111"},
        {"Posterize Hue Smooth", "1000", false, false, false, "111"},
        {"Tinta Special FX", "1000", false, false, false, "111"},
        {"Tinta Special FX Smooth", "1000", false, false, false, "111"},
        {"AsciiArt1", "0000", false, false, false, "000"},
        {"AsciiArt2", "0000", false, false, false, "000"},
        {"Cube3D", "0000", true, false, false, "111"},
        {"Cube3DConstant", "0000", true, true, false, "111"},
        {"MotionBlur", "0000", false, true, false, "111"},
        {"OldMovieClean", "0000", true, true, true, "111"},
        {"OldMovieDirty", "0000", true, true, true, "111"},
        {"CONTRAST_BRIGHTNESS old", "0000", false, false, false, "111"},
        {"Contrast_Bright_Invert old", "0000", false, false, false, "111"},
    };
    const auto bits = [](const auto& flags) {
        std::string text;
        for (bool f : flags) text += f ? '1' : '0';
        return text;
    };
    ASSERT_EQ(AllFacts().size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        const EffectFacts& f = AllFacts()[i];
        SCOPED_TRACE(f.name);
        EXPECT_EQ(f.name, rows[i].name);
        EXPECT_EQ(f.index, static_cast<int>(i));
        EXPECT_EQ(f.catalogued, i < 29);
        EXPECT_EQ(f.created, i != 29 && i != 30);
        EXPECT_EQ(bits(f.reads), rows[i].reads);
        EXPECT_EQ(f.movesWithTime, rows[i].moves);
        EXPECT_EQ(f.keepsPictures, rows[i].keeps);
        EXPECT_EQ(f.random, rows[i].random);
        EXPECT_EQ(bits(f.draws), rows[i].draws);
        EXPECT_FALSE(f.summary.empty());
        for (size_t v = 0; v < 4; ++v) EXPECT_EQ(f.meanings[v], f.reads[v] ? f.labels[v] : "");
    }
    EXPECT_EQ(AllFacts()[30].refusal, "Ascii art resource not found!");
    EXPECT_EQ(AllFacts()[6].defaults, (std::array<int32_t, 4>{52, 0, 255, 255}));
    EXPECT_EQ(AllFacts()[33].defaults, (std::array<int32_t, 4>{255, 255, 255, 255}));
    EXPECT_TRUE(fxtool::DrawsAt(AllFacts()[0], kFormatXrgb));
    EXPECT_FALSE(fxtool::DrawsAt(AllFacts()[0], kFormat565));
    EXPECT_FALSE(fxtool::DrawsAt(AllFacts()[0], 0));
}

// One name probed alone, as typed, finds what the whole list found.
TEST(EffectFacts, OneNameAsTyped) {
    const EffectFacts one = fxtool::ProbeEffect(SharedModule(), "hexagon_kaleido");
    EXPECT_EQ(fxtool::DescribeJson(one), fxtool::DescribeJson(AllFacts()[13]));
}

TEST(EffectFacts, DescribeText) {
    EXPECT_EQ(fxtool::DescribeText(AllFacts()[9]),
              "Triangle Kaleido\n"
              "index: 9 (catalogued)\n"
              "Kaleidoscope: mirrors a tile of the picture over the frame; the values turn it, size the tiles, "
              "zoom and tilt.\n"
              "values:\n"
              "  0  Rotation     default 128  read: Rotation\n"
              "  1  Grid         default 128  read: Grid\n"
              "  2  Scale        default 128  read: Scale\n"
              "  3  -            default 128  read\n"
              "moves with time: no\n"
              "keeps pictures from frame to frame: no\n"
              "draws at: 32, 565, 555\n");
    const std::string rgb = fxtool::DescribeText(AllFacts()[0]);
    EXPECT_NE(rgb.find("  3  -            default 255  not read\n"), std::string::npos);
    EXPECT_NE(rgb.find("draws at: 32\ndraws nothing at 16 bits: the destination is passed through unchanged by "
                       "fxhost\n"),
              std::string::npos);
    EXPECT_NE(fxtool::DescribeText(AllFacts()[35]).find("random: equal frames give a new picture on every run\n"),
              std::string::npos);
    const std::string ascii = fxtool::DescribeText(AllFacts()[29]);
    EXPECT_EQ(ascii.substr(ascii.rfind('\n', ascii.size() - 2) + 1),
              "refused by the module: Ascii art resource not found!\n");
}

TEST(EffectFacts, DescribeJson) {
    EXPECT_EQ(fxtool::DescribeJson(AllFacts()[33]),
              "{\"name\":\"MotionBlur\",\"index\":33,\"catalogued\":false,\"labels\":[\"\",\"\",\"\",\"\"],"
              "\"defaults\":[255,255,255,255],\"reads\":[false,false,false,false],"
              "\"meanings\":[\"\",\"\",\"\",\"\"],\"movesWithTime\":false,\"keepsPictures\":true,"
              "\"random\":false,\"draws\":{\"32\":true,\"565\":true,\"555\":true},\"created\":true,"
              "\"refusal\":\"\",\"summary\":\"Motion blur: every frame is mixed into a running picture, three "
              "parts old to one part new, so that movement leaves a fading trail.\"}");
}

// A small JSON reader: true when text is one well-formed value; counts the
// objects it meets at depth 1 of an array.
class JsonCheck {
public:
    explicit JsonCheck(const std::string& text) : s_(text) {}
    bool valid(int& objects) {
        bool ok = value(0, objects);
        space();
        return ok && i_ == s_.size();
    }

private:
    void space() {
        while (i_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[i_]))) ++i_;
    }
    bool eat(char c) {
        space();
        if (i_ < s_.size() && s_[i_] == c) return ++i_, true;
        return false;
    }
    bool word(const char* w) {
        space();
        const std::string text(w);
        if (s_.compare(i_, text.size(), text) != 0) return false;
        i_ += text.size();
        return true;
    }
    bool string() {
        if (!eat('"')) return false;
        while (i_ < s_.size() && s_[i_] != '"') {
            if (static_cast<unsigned char>(s_[i_]) < 0x20) return false;
            if (s_[i_] == '\\' && ++i_ < s_.size() && s_[i_] == 'u') i_ += 4;
            ++i_;
        }
        return i_ < s_.size() && s_[i_++] == '"';
    }
    bool value(int depth, int& objects) {
        space();
        if (i_ >= s_.size()) return false;
        const char c = s_[i_];
        if (c == '"') return string();
        if (c == '{' || c == '[') {
            ++i_;
            if (c == '{' && depth == 1) ++objects;
            const char close = c == '{' ? '}' : ']';
            if (eat(close)) return true;
            do {
                if (c == '{' && !(string() && eat(':'))) return false;
                if (!value(depth + 1, objects)) return false;
            } while (eat(','));
            return eat(close);
        }
        if (word("true") || word("false") || word("null")) return true;
        const size_t start = i_;
        while (i_ < s_.size() && (std::isdigit(static_cast<unsigned char>(s_[i_])) || s_[i_] == '-')) ++i_;
        return i_ > start;
    }
    const std::string& s_;
    size_t i_ = 0;
};

TEST(EffectFacts, ListJsonIsWellFormed) {
    int objects = 0;
    EXPECT_TRUE(JsonCheck(fxtool::ListJson(AllFacts())).valid(objects));
    EXPECT_EQ(objects, 38);
    EXPECT_EQ(fxtool::ListJson({}), "[]");
    int none = 0;
    EXPECT_FALSE(JsonCheck("[{\"a\":1},]").valid(none));
}

TEST(JsonString, Escapes) {
    EXPECT_EQ(fxtool::JsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(fxtool::JsonString(std::string("\n\t\x01\x1f", 4) + '\0'), "\"\\u000a\\u0009\\u0001\\u001f\\u0000\"");
    EXPECT_EQ(fxtool::JsonString("caf\xc3\xa9 /"), "\"caf\xc3\xa9 /\"");
}

}  // namespace
