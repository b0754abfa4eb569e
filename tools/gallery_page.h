// The gallery's index.html, built from what WriteGallery rendered.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/bench_results.h"
#include "tools/effect_facts.h"

namespace fxtool {

struct GalleryPicture {
    std::string file;  // relative to the page
    int width = 0;     // natural size, written as the <img> attributes
    int height = 0;
    std::string caption;
    std::string alt;
    bool animation = false;
};

struct GalleryCard {
    EffectFacts facts;
    std::vector<GalleryPicture> pictures;  // none for a name the module refuses
};

struct GalleryPage {
    std::vector<GalleryPicture> inputs;  // the pictures the effects are shown on, as they are
    std::string photoCredit;             // one line under the photograph
    std::string settingsNote;            // how the pictures were rendered
    std::vector<GalleryCard> cards;
    std::string benchFile;               // where the figures were looked for
    std::optional<BenchResults> bench;   // the figures, when read
    std::string benchProblem;            // why the file could not be read, when it exists
};

std::string GalleryHtml(const GalleryPage& page);

// Text for HTML element content and attribute values.
std::string HtmlEscape(const std::string& text);

}  // namespace fxtool
