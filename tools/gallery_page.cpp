#include "tools/gallery_page.h"

#include <sstream>

#include "tools/gallery_chart.h"

namespace fxtool {

namespace {

// Plain cards in a grid; pictures scale down to the card and keep their
// natural size in the width and height attributes.
constexpr const char* kStyle = R"(
body { font: 15px/1.45 system-ui, sans-serif; margin: 0 auto; max-width: 110rem; padding: 1rem 1.5rem;
       color: #1d1d1f; background: #f4f4f2; }
h1 { margin: .2em 0; }
h2 { font-size: 1.15rem; margin: 0 0 .3em; }
section { margin: 1.5rem 0; }
.grid { display: grid; grid-template-columns: repeat(auto-fill, minmax(34rem, 1fr)); gap: 1rem; }
.card { background: #fff; border: 1px solid #d8d8d4; border-radius: 6px; padding: .8rem 1rem; }
.card.refused { background: #f8f0ee; }
.index { color: #777; font-weight: normal; margin-right: .4em; }
.traits { color: #555; font-size: .9em; margin: .2em 0 .5em; }
.reason { color: #8a2b1a; }
table { border-collapse: collapse; font-size: .9em; margin: .4em 0; }
th, td { border: 1px solid #ddd; padding: .15em .5em; text-align: left; vertical-align: top; }
td.num, .bench td { text-align: right; font-variant-numeric: tabular-nums; }
.pictures { display: grid; grid-template-columns: repeat(3, 1fr); gap: .5rem; margin-top: .6rem; }
.inputs { display: flex; flex-wrap: wrap; gap: 1rem; }
figure { margin: 0; }
figcaption { font-size: .82em; color: #555; }
img { display: block; max-width: 100%; height: auto; background: #ccc; }
.chart { max-width: 100%; height: auto; font: 11px system-ui, sans-serif; }
.chart .b32 { fill: #3867a8; }
.chart .b16 { fill: #d08a2c; }
.chart .grid { stroke: #ccc; }
.chart .tick { text-anchor: middle; fill: #666; }
.chart .name { text-anchor: end; }
.chart .fig { fill: #444; }
)";

void Picture(std::ostringstream& html, const GalleryPicture& p) {
    html << "<figure><img src=\"" << HtmlEscape(p.file) << "\" width=\"" << p.width << "\" height=\"" << p.height
         << "\" alt=\"" << HtmlEscape(p.alt) << "\" data-check=\"" << (p.animation ? "animation" : "picture")
         << "\"><figcaption>" << HtmlEscape(p.caption) << "</figcaption></figure>\n";
}

std::string Traits(const EffectFacts& f) {
    std::string text;
    auto add = [&](const std::string& t) { text += (text.empty() ? "" : " \u00b7 ") + t; };
    add(f.catalogued ? "in the catalogue" : "not in the catalogue");
    if (f.movesWithTime) add("moves with time");
    if (f.keepsPictures) add("earlier frames show in later ones");
    std::string depths;
    const char* names[3] = {"32", "565", "555"};
    for (int i = 0; i < 3; ++i)
        if (f.draws[i]) depths += (depths.empty() ? "" : ", ") + std::string(names[i]);
    add(depths.empty() ? "draws at no depth" : "draws at " + depths + " bits");
    return text;
}

void Values(std::ostringstream& html, const EffectFacts& f) {
    html << "<table class=\"values\"><thead><tr><th scope=\"col\">Value</th><th scope=\"col\">Label</th>"
            "<th scope=\"col\">Default</th><th scope=\"col\">Effect on the picture</th></tr></thead><tbody>\n";
    for (int i = 0; i < 4; ++i) {
        const std::string what = f.reads[i] ? (f.meanings[i].empty() ? "read" : f.meanings[i]) : "not read";
        const std::string label = f.labels[i].empty() ? "\u2013" : HtmlEscape(f.labels[i]);
        html << "<tr><td class=\"num\">" << i << "</td><td>" << label << "</td><td class=\"num\">" << f.defaults[i]
             << "</td><td>" << HtmlEscape(what) << "</td></tr>\n";
    }
    html << "</tbody></table>\n";
}

void Card(std::ostringstream& html, const GalleryCard& card) {
    const EffectFacts& f = card.facts;
    html << "<article class=\"card" << (f.created ? "" : " refused") << "\" id=\"effect-" << f.index << "\">\n<h2>"
         << "<span class=\"index\">" << f.index << "</span>" << HtmlEscape(f.name) << "</h2>\n";
    if (!f.created) {
        html << "<p class=\"reason\">The module makes no instance of this name: "
             << HtmlEscape(f.refusal.empty() ? "it is not in this build." : f.refusal) << "</p>\n</article>\n";
        return;
    }
    if (!f.summary.empty()) html << "<p>" << HtmlEscape(f.summary) << "</p>\n";
    html << "<p class=\"traits\">" << HtmlEscape(Traits(f)) << "</p>\n";
    Values(html, f);
    html << "<div class=\"pictures\">\n";
    for (const GalleryPicture& p : card.pictures) Picture(html, p);
    html << "</div>\n</article>\n";
}

void Bench(std::ostringstream& html, const GalleryPage& page) {
    html << "<section id=\"speed\">\n<h2>Speed</h2>\n";
    if (!page.bench) {
        if (!page.benchProblem.empty())
            html << "<p>The benchmark figures could not be read: " << HtmlEscape(page.benchProblem)
                 << ". Run <code>make bench</code> again to replace them.</p>\n";
        else
            html << "<p>No benchmark figures yet (looked for <code>" << HtmlEscape(page.benchFile)
                 << "</code>). Run <code>make bench</code>, then build the gallery again, to see each effect's "
                    "time per frame here.</p>\n";
        html << "</section>\n";
        return;
    }
    const BenchResults& b = *page.bench;
    html << "<p>Time per frame at 1920x1080, and the ratio to a <code>memcpy</code> of the same frame, from <code>"
         << HtmlEscape(page.benchFile) << "</code>";
    if (!b.date.empty()) html << ", run " << HtmlEscape(b.date);
    if (!b.machine.empty()) html << " on " << HtmlEscape(b.machine);
    if (!b.buildType.empty()) html << " (benchmark library: " << HtmlEscape(b.buildType) << " build)";
    html << ".</p>\n";
    if (b.rows.empty()) html << "<p>The file holds no effect figures.</p>\n";
    html << BenchChartSvg(b) << BenchTableHtml(b) << "</section>\n";
}

}  // namespace

std::string HtmlEscape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string GalleryHtml(const GalleryPage& page) {
    int made = 0;
    for (const GalleryCard& c : page.cards) made += c.facts.created ? 1 : 0;
    std::ostringstream html;
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<title>Effects gallery</title>\n<style>"
         << kStyle << "</style>\n</head>\n<body>\n<header>\n<h1>Effects gallery</h1>\n<p>"
         << page.cards.size() << " names the module's factory knows, in the order of <code>fxhost list</code>: "
         << made << " make an effect, " << page.cards.size() - static_cast<size_t>(made) << " are refused.</p>\n";
    if (!page.settingsNote.empty()) html << "<p>" << HtmlEscape(page.settingsNote) << "</p>\n";
    html << "</header>\n<section id=\"inputs\">\n<h2>The pictures</h2>\n<div class=\"inputs\">\n";
    for (const GalleryPicture& p : page.inputs) Picture(html, p);
    html << "</div>\n";
    if (!page.photoCredit.empty()) html << "<p>" << HtmlEscape(page.photoCredit) << "</p>\n";
    html << "</section>\n";
    Bench(html, page);
    html << "<section id=\"effects\">\n<h2>Effects</h2>\n<div class=\"grid\">\n";
    for (const GalleryCard& card : page.cards) Card(html, card);
    html << "</div>\n</section>\n</body>\n</html>\n";
    return html.str();
}

}  // namespace fxtool
