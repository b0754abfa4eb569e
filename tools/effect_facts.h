// What fxhost tells about an effect: the names people type, and facts about
// each effect read from the catalogue and found by running it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "host/module_loader.h"

namespace fxtool {

// The exact factory name for what a user typed: the name itself; else the
// one name equal to it ignoring case with '_' taken as a space; else a list
// index (0 to 37, as `fxhost list` numbers the catalogue rows and then the
// uncatalogued names). Throws fxhost::HostError for an unknown name, with
// the closest names.
std::string ResolveName(const std::vector<std::string>& known, const std::string& typed);

struct EffectFacts {
    std::string name;
    int index = 0;                       // its number in `fxhost list`
    bool catalogued = false;
    std::array<std::string, 4> labels;   // the catalogue's; empty for the others
    std::array<int32_t, 4> defaults{};   // what GetEffectDefaults gives
    bool created = false;                // whether the module makes an instance
    std::string refusal;                 // the module's last console line when it does not
    std::array<bool, 4> reads{};         // which values change the picture
    std::array<std::string, 4> meanings; // what each value read does, one short phrase
    bool movesWithTime = false;          // the picture changes with the time alone
    bool keepsPictures = false;          // earlier frames change later ones
    bool random = false;                 // equal inputs give a new picture on every run
    std::array<bool, 3> draws{};         // draws at 32, 565 and 555 bits
    std::string summary;                 // one line on what the effect does
};

// Facts for every name the module knows, in `fxhost list` order, found by
// rendering small test cards (a fraction of a second for all of them).
std::vector<EffectFacts> ProbeEffects(const fxhost::EffectModule& module);
EffectFacts ProbeEffect(const fxhost::EffectModule& module, const std::string& name);

// One line on what an effect of that family does, for a user; "" for a name
// the module does not know.
std::string EffectSummary(const std::string& name);

// Whether the effect draws at a surface format code (kFormatXrgb, 565, 555).
bool DrawsAt(const EffectFacts& facts, int32_t format);

// `fxhost describe NAME` as text, and as one JSON object.
std::string DescribeText(const EffectFacts& facts);
std::string DescribeJson(const EffectFacts& facts);
// `fxhost list --json`: an array of objects, one per name.
std::string ListJson(const std::vector<EffectFacts>& facts);

// A JSON string literal for text.
std::string JsonString(const std::string& text);

}  // namespace fxtool
