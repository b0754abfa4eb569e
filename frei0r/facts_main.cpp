// Writes the plugins' facts as C++ initialisers, at build time: for each
// line "factory name<TAB>plugin name" of the names file, what the module's
// catalogue says and what renders of the effect show.
//
//   effects_frei0r_facts MODULE NAMES_FILE OUTPUT
#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "frei0r/facts_probe.h"
#include "host/host_error.h"
#include "tools/effect_facts.h"

namespace {

std::string Literal(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

std::string Capitalised(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

std::string Fraction(int32_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", value / 255.0);
    return text;
}

std::string Explanation(const fxtool::EffectFacts& facts, bool keepsState) {
    std::string text = facts.name + ", from the effects module. " + facts.summary;
    if (keepsState)
        text += " Keeps state from frame to frame: each picture depends on the frames drawn before it, so frames "
                "that arrive out of order (seeking, rendering in parallel) change what it draws.";
    if (facts.random) text += " Random: the same frames give a new picture on every run.";
    return text;
}

std::string Record(const fxtool::EffectFacts& facts, const std::string& plugin, bool keepsState, bool everyPixel) {
    std::array<std::string, 4> names, explanations;
    for (int i = 0; i < 4; ++i) {
        const std::string& label = facts.labels[i];
        const std::string what = !label.empty() ? label : Capitalised(facts.meanings[i]);
        const std::string defaults = "default " + Fraction(facts.defaults[i]) + " (" +
                                     std::to_string(facts.defaults[i]) + " of 255)";
        if (!facts.reads[i] && label.empty()) {
            names[i] = "Unused " + std::to_string(i + 1);
            explanations[i] = "Not read by this effect";
        } else {
            names[i] = what.empty() ? "Value " + std::to_string(i + 1) : what;
            explanations[i] = names[i] + ", 0 to 1 for the effect's 0 to 255, rounded to the nearest step; " + defaults;
        }
    }
    std::ostringstream out;
    out << "{" << Literal(facts.name) << ", " << Literal(plugin) << ",\n " << Literal(Explanation(facts, keepsState))
        << ",\n {";
    for (int i = 0; i < 4; ++i) out << (i ? ", " : "") << Literal(names[i]);
    out << "},\n {";
    for (int i = 0; i < 4; ++i) out << (i ? ",\n  " : "") << Literal(explanations[i]);
    out << "},\n {";
    for (int i = 0; i < 4; ++i) out << (i ? ", " : "") << facts.defaults[i];
    out << "}, " << (keepsState ? "true" : "false") << ", " << (everyPixel ? "true" : "false") << "},\n";
    return out.str();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: effects_frei0r_facts MODULE NAMES_FILE OUTPUT\n");
        return 2;
    }
    try {
        fxhost::SetLogSink([](const std::string&) {});
        fxhost::EffectModule module(argv[1]);
        std::ifstream names(argv[2]);
        if (!names) throw fxhost::HostError(std::string("cannot read ") + argv[2]);
        std::string text, line;
        while (std::getline(names, line)) {
            const size_t tab = line.find('\t');
            if (tab == std::string::npos) continue;
            const std::string effect = line.substr(0, tab), plugin = line.substr(tab + 1);
            const fxtool::EffectFacts facts = fxtool::ProbeEffect(module, effect);
            if (!facts.created) throw fxhost::HostError("the module makes no \"" + effect + "\"");
            text += Record(facts, plugin, fxbridge::KeepsState(module, effect),
                           fxbridge::DrawsEveryPixel(module, effect));
        }
        const std::string temporary = std::string(argv[3]) + ".part";
        std::ofstream(temporary) << text;
        if (std::rename(temporary.c_str(), argv[3]) != 0) throw fxhost::HostError(std::string("cannot write ") + argv[3]);
    } catch (const fxhost::HostError& e) {
        std::fprintf(stderr, "effects_frei0r_facts: %s\n", e.what());
        return 1;
    }
    return 0;
}
