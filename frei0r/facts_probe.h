// Facts that decide how the bridge drives an effect, found by rendering
// small test cards through fresh instances.
#pragma once

#include <string>

#include "host/module_loader.h"

namespace fxbridge {

// Whether a frame's picture depends on the frames drawn before it: a fresh
// instance's first frame at a late time against the same frame after a run
// of earlier, moving frames.
bool KeepsState(const fxhost::EffectModule& module, const std::string& name);

// Whether every frame's colours are the same whatever the destination held
// before it was drawn, so that the effect can draw straight into a host's
// new output frame.
bool DrawsEveryPixel(const fxhost::EffectModule& module, const std::string& name);

}  // namespace fxbridge
