// `fxhost render`: pictures, clips, sequences and raw frames through one
// effect or a chain of them.
#pragma once

#include "host/module_loader.h"
#include "tools/render_options.h"

namespace fxtool {

// Refuses, before anything is rendered, an output that would be refused
// later, and keeps standard output for pictures when they go there.
// noStandardOutput: standard output was closed when fxhost started.
void PrepareOutput(const RenderOptions& options, bool noStandardOutput);

// Renders and writes; 0 on success. Throws fxhost::HostError or UsageError.
int Render(const fxhost::EffectModule& module, const CommandLine& line);

}  // namespace fxtool
