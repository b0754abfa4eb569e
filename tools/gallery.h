// `fxhost gallery DIR`: a static page with every name the factory knows,
// its pictures and animations, and the figures of the last benchmark run.
#pragma once

#include <string>

#include "host/module_loader.h"

namespace fxtool {

struct GalleryOptions {
    std::string dir;           // created if missing; index.html and its files go here
    std::string benchResults;  // Google Benchmark JSON; empty or missing: no chart
    bool quiet = false;        // no progress lines on standard error
};

// Writes DIR/index.html and its pictures. Throws fxhost::HostError.
void WriteGallery(const fxhost::EffectModule& module, const GalleryOptions& options);

// Where `make bench` leaves its JSON, beside fxhost in the build tree.
std::string DefaultBenchResults();

// The photograph the effects are shown on: the source tree's
// tools/gallery/coffee.png, found from the path compiled in or from the
// running program's place in a build directory. Throws fxhost::HostError.
std::string GalleryPhotoPath();

}  // namespace fxtool
