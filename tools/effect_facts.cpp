// The names people type for effects, and effect facts as text and JSON.
#include "tools/effect_facts.h"

#include <cstdio>

#include "host/host_error.h"
#include "tools/render_options.h"

namespace fxtool {
namespace {

// Lower case, with '_' as a space: how names compare when typed loosely.
std::string Loose(const std::string& name) {
    std::string loose = name;
    for (char& c : loose) {
        if (c == '_') c = ' ';
        else if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return loose;
}

std::string Quoted(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& n : names) text += (text.empty() ? "\"" : ", \"") + n + "\"";
    return text;
}

bool Contains(const std::string& name, const char* part) { return name.find(part) != std::string::npos; }

const char* YesNo(bool value) { return value ? "yes" : "no"; }
const char* Bool(bool value) { return value ? "true" : "false"; }

constexpr std::array<const char*, 3> kFormatNames{"32", "565", "555"};
constexpr std::array<int32_t, 3> kFormatCodes{kFormatXrgb, kFormat565, kFormat555};

}  // namespace

std::string ResolveName(const std::vector<std::string>& known, const std::string& typed) {
    for (const std::string& name : known)
        if (name == typed) return name;
    std::vector<std::string> loose;
    for (const std::string& name : known)
        if (Loose(name) == Loose(typed)) loose.push_back(name);
    if (loose.size() == 1) return loose.front();
    if (loose.size() > 1) throw fxhost::HostError("effect \"" + typed + "\" matches several names: " + Quoted(loose));
    if (!known.empty() && !typed.empty() && typed.size() <= 9 &&
        typed.find_first_not_of("0123456789") == std::string::npos) {
        const size_t index = std::stoul(typed);
        if (index < known.size()) return known[index];
        throw fxhost::HostError("no effect number " + typed + "; `fxhost list` numbers them from 0 to " +
                                std::to_string(known.size() - 1));
    }
    throw fxhost::HostError("unknown effect \"" + typed + "\"; closest: " + Quoted(ClosestNames(typed, known)));
}

std::string EffectSummary(const std::string& name) {
    if (Contains(name, "Kaleido"))
        return Contains(name, "Cyclic")
                   ? "Kaleidoscope: mirrors a tile of the picture over the frame; the tile turns and grows by "
                     "itself as time passes."
                   : "Kaleidoscope: mirrors a tile of the picture over the frame; the values turn it, size the "
                     "tiles, zoom and tilt.";
    if (name == "Cube3D")
        return "Cube: the picture on a box that flies in and turns to face the viewer over two seconds, then "
               "the plain picture; nothing is drawn around the box.";
    if (name == "Cube3DConstant")
        return "Cube: the picture on every face of a box that spins for ever; nothing is drawn around the box.";
    if (name == "MotionBlur")
        return "Motion blur: every frame is mixed into a running picture, three parts old to one part new, so "
               "that movement leaves a fading trail.";
    if (name == "OldMovieClean" || name == "OldMovieDirty")
        return std::string("Old movie: black and white with flicker and grain, updated 15 times a second") +
               (name == "OldMovieDirty" ? ", with scratches, specks and blots." : ".");
    if (name == "AsciiArt1" || name == "AsciiArt2")
        return "Ascii art: the picture redrawn as a grid of glyphs; these names need a stored glyph sheet that "
               "the module never loads, so it refuses them.";
    if (name == "Stroboscope")
        return "Stroboscope: the picture fades to a solid colour and back, one to four times a second.";
    if (name == "RGB Cycling Slow" || name == "RGB Cycling Fast")
        return "Colour cycling: red, green and blue each run through their range as time passes; the values "
               "shift each channel's cycle.";
    if (name == "RGBControl" || name == "RGBControl Inverse" || name == "Brightness Contrast" ||
        name == "Brightness Contrast Inverse")
        return "Colour control: a gain for each of red, green and blue, or brightness and contrast; the "
               "Inverse forms give the negative.";
    if (Contains(name, "XT") || Contains(name, " old"))
        return "Contrast curve: brightness remapped through a low, a middle and a high level, hues kept; the "
               "old forms use a fixed curve, the Invert and Inverse forms give the negative.";
    for (const char* family : {"Solarize", "Posterize", "Saturate Quantize", "Tinta Special FX"})
        if (Contains(name, family))
            return "Colour table: every pixel through a table built for the intensity (solarize, posterize, "
                   "saturation or hue steps); the Smooth forms then soften the picture.";
    return "";
}

bool DrawsAt(const EffectFacts& facts, int32_t format) {
    for (size_t f = 0; f < kFormatCodes.size(); ++f)
        if (kFormatCodes[f] == format) return facts.draws[f];
    return false;
}

std::string JsonString(const std::string& text) {
    std::string json = "\"";
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            json += escaped;
        } else {
            json += c;
        }
    }
    return json + "\"";
}

std::string DescribeText(const EffectFacts& facts) {
    std::string text = facts.name + "\n";
    text += "index: " + std::to_string(facts.index);
    text += facts.catalogued ? " (catalogued)\n" : " (not in the catalogue)\n";
    if (!facts.summary.empty()) text += facts.summary + "\n";
    if (!facts.created)
        return text + (facts.refusal.empty() ? "the module makes no instance of it\n"
                                              : "refused by the module: " + facts.refusal + "\n");
    text += "values:\n";
    for (size_t i = 0; i < 4; ++i) {
        char line[128];
        std::snprintf(line, sizeof line, "  %zu  %-12s default %3d  %s", i,
                      facts.labels[i].empty() ? "-" : facts.labels[i].c_str(), facts.defaults[i],
                      facts.reads[i] ? "read" : "not read");
        text += line;
        if (!facts.meanings[i].empty()) text += ": " + facts.meanings[i];
        text += "\n";
    }
    text += std::string("moves with time: ") + YesNo(facts.movesWithTime) + "\n";
    text += std::string("keeps pictures from frame to frame: ") + YesNo(facts.keepsPictures) + "\n";
    if (facts.random) text += "random: equal frames give a new picture on every run\n";
    std::string formats;
    for (size_t f = 0; f < kFormatNames.size(); ++f)
        if (facts.draws[f]) formats += (formats.empty() ? "" : ", ") + std::string(kFormatNames[f]);
    if (formats.empty()) return text + "draws nothing: the destination is passed through unchanged by fxhost\n";
    text += "draws at: " + formats + "\n";
    if (!facts.draws[1] && !facts.draws[2])
        text += "draws nothing at 16 bits: the destination is passed through unchanged by fxhost\n";
    return text;
}

std::string DescribeJson(const EffectFacts& facts) {
    const auto list = [](const auto& items, const auto& item) {
        std::string json = "[";
        for (size_t i = 0; i < items.size(); ++i) {
            if (i) json += ',';
            json += item(items[i]);
        }
        return json + "]";
    };
    const auto string = [](const std::string& s) { return JsonString(s); };
    std::string json = "{\"name\":" + JsonString(facts.name);
    json += ",\"index\":" + std::to_string(facts.index);
    json += std::string(",\"catalogued\":") + Bool(facts.catalogued);
    json += ",\"labels\":" + list(facts.labels, string);
    json += ",\"defaults\":" + list(facts.defaults, [](int32_t v) { return std::to_string(v); });
    json += ",\"reads\":" + list(facts.reads, [](bool v) { return std::string(Bool(v)); });
    json += ",\"meanings\":" + list(facts.meanings, string);
    json += std::string(",\"movesWithTime\":") + Bool(facts.movesWithTime);
    json += std::string(",\"keepsPictures\":") + Bool(facts.keepsPictures);
    json += std::string(",\"random\":") + Bool(facts.random);
    json += ",\"draws\":{";
    for (size_t f = 0; f < kFormatNames.size(); ++f)
        json += std::string(f ? "," : "") + "\"" + kFormatNames[f] + "\":" + Bool(facts.draws[f]);
    json += std::string("},\"created\":") + Bool(facts.created);
    json += ",\"refusal\":" + JsonString(facts.refusal);
    json += ",\"summary\":" + JsonString(facts.summary);
    return json + "}";
}

std::string ListJson(const std::vector<EffectFacts>& facts) {
    std::string json = "[";
    for (size_t i = 0; i < facts.size(); ++i) {
        json += i ? ",\n " : "\n ";
        json += DescribeJson(facts[i]);
    }
    return json + (facts.empty() ? "]" : "\n]");
}

}  // namespace fxtool
