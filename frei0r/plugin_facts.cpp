#include "frei0r/plugin_facts.h"

#include <cstring>

namespace fxbridge {
namespace {

// Written at build time by effects_frei0r_facts.
const PluginFacts kPlugins[] = {
#include "plugin_facts_table.inc"
};

}  // namespace

const PluginFacts* FindPluginFacts(const char* effect) {
    for (const PluginFacts& facts : kPlugins)
        if (std::strcmp(facts.effect, effect) == 0) return &facts;
    return nullptr;
}

}  // namespace fxbridge
