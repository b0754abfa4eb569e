// What a frei0r host is told about one effect's plugin: generated at build
// time from the module's catalogue and from renders of each effect.
#pragma once

#include <cstdint>

namespace fxbridge {

struct PluginFacts {
    const char* effect;       // the factory name
    const char* plugin;       // the frei0r name, also the file's name
    const char* explanation;  // one paragraph for a filter list
    const char* paramNames[4];
    const char* paramExplanations[4];
    int32_t defaults[4];  // the catalogue's, 0 to 255
    bool keepsState;      // a frame's picture depends on the frames before it
    bool drawsEveryPixel; // never reads what its destination held before
};

// The facts for a factory name; null for a name without a plugin.
const PluginFacts* FindPluginFacts(const char* effect);

}  // namespace fxbridge
