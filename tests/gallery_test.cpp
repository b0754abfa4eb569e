// The gallery: benchmark figures read from JSON, their chart, and the page
// written for the real module.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "module_fixture.h"
#include "tools/bench_results.h"
#include "tools/gallery.h"
#include "tools/gallery_chart.h"

namespace {

namespace fs = std::filesystem;
using fxtool::BenchResults;
using fxtool::ParseBenchResults;

// memcpy at 0.5 ms (32) and 250 us = 0.25 ms (16). "A" was repeated: its
// median aggregate counts, not its runs. "B" has two runs: their mean. "C" has
// no unit (ns) and only 565. "Gone" failed. "Extra" is not in the order.
constexpr const char* kJson = R"({
  "context": {"date": "2024-05-06T07:08:09+02:00", "host_name": "box", "num_cpus": 4, "mhz_per_cpu": 2400,
              "library_build_type": "release", "caches": [{"type": "Data", "level": 1}]},
  "benchmarks": [
    {"name": "memcpy/32", "run_name": "memcpy/32", "run_type": "iteration", "real_time": 0.5, "time_unit": "ms"},
    {"name": "memcpy/16", "run_type": "iteration", "real_time": 250, "time_unit": "us"},
    {"name": "effect/A/32", "run_name": "effect/A/32", "run_type": "iteration", "real_time": 9.0, "time_unit": "ms"},
    {"name": "effect/A/32", "run_name": "effect/A/32", "run_type": "iteration", "real_time": 1.0, "time_unit": "ms"},
    {"name": "effect/A/32_mean", "run_name": "effect/A/32", "run_type": "aggregate", "aggregate_name": "mean",
     "real_time": 5.0, "time_unit": "ms"},
    {"name": "effect/A/32_median", "run_name": "effect/A/32", "run_type": "aggregate", "aggregate_name": "median",
     "real_time": 2.0, "time_unit": "ms"},
    {"name": "effect/B/32", "run_type": "iteration", "real_time": 1.0, "time_unit": "ms"},
    {"name": "effect/B/32", "run_type": "iteration", "real_time": 2.0, "time_unit": "ms"},
    {"name": "effect/B/565", "run_type": "iteration", "real_time": 0.5, "time_unit": "s"},
    {"name": "effect/C/565", "run_type": "iteration", "real_time": 125000.0},
    {"name": "effect/Gone/32", "run_type": "iteration", "error_occurred": true, "error_message": "x",
     "real_time": 0, "time_unit": "ms"},
    {"name": "effect/Extra \"q\"/32", "run_type": "iteration", "real_time": 0.25, "time_unit": "ms"},
    {"name": "first/A/32", "run_type": "iteration", "real_time": 70, "time_unit": "ms"},
    {"name": "effect/NoTime/32", "run_type": "iteration", "time_unit": "ms"}
  ]
})";

// The tags in text that start with start, up to their '>'.
std::vector<std::string> Tags(const std::string& text, const std::string& start) {
    std::vector<std::string> tags;
    for (size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1))
        tags.push_back(text.substr(at, text.find('>', at) + 1 - at));
    return tags;
}

// An attribute's value in a tag, "" when it has none.
std::string Attr(const std::string& tag, const std::string& name) {
    const size_t at = tag.find(" " + name + "=\"");
    if (at == std::string::npos) return "";
    const size_t from = at + name.size() + 3;
    return tag.substr(from, tag.find('"', from) - from);
}

BenchResults Sample() { return ParseBenchResults(kJson, {"B", "A", "C", "Gone", "Missing"}); }

TEST(BenchResults, FiguresRatiosContextAndOrder) {
    const BenchResults r = Sample();
    EXPECT_EQ(r.date, "2024-05-06T07:08:09+02:00");
    EXPECT_EQ(r.machine, "box, 4 CPUs at 2400 MHz");
    EXPECT_EQ(r.buildType, "release");
    EXPECT_DOUBLE_EQ(*r.memcpy32, 0.5);
    EXPECT_DOUBLE_EQ(*r.memcpy16, 0.25);

    ASSERT_EQ(r.rows.size(), 4u);
    EXPECT_EQ(r.rows[0].name, "B");
    EXPECT_DOUBLE_EQ(*r.rows[0].ms32, 1.5);
    EXPECT_DOUBLE_EQ(*r.rows[0].ratio32, 3.0);
    EXPECT_DOUBLE_EQ(*r.rows[0].ms16, 500.0);
    EXPECT_DOUBLE_EQ(*r.rows[0].ratio16, 2000.0);
    EXPECT_EQ(r.rows[1].name, "A");
    EXPECT_DOUBLE_EQ(*r.rows[1].ms32, 2.0);
    EXPECT_FALSE(r.rows[1].ms16);
    EXPECT_FALSE(r.rows[1].ratio16);
    EXPECT_EQ(r.rows[2].name, "C");
    EXPECT_FALSE(r.rows[2].ms32);
    EXPECT_DOUBLE_EQ(*r.rows[2].ms16, 0.125);
    EXPECT_DOUBLE_EQ(*r.rows[2].ratio16, 0.5);
    EXPECT_EQ(r.rows[3].name, "Extra \"q\"");
    EXPECT_DOUBLE_EQ(*r.rows[3].ratio32, 0.5);
}

TEST(BenchResults, MissingPartsAndBadText) {
    const BenchResults bare = ParseBenchResults(R"({"benchmarks": [{"name": "effect/A/32", "real_time": 4e6}]})", {});
    EXPECT_EQ(bare.date, "");
    EXPECT_EQ(bare.machine, "");
    EXPECT_FALSE(bare.memcpy32);
    ASSERT_EQ(bare.rows.size(), 1u);
    EXPECT_DOUBLE_EQ(*bare.rows[0].ms32, 4.0);
    EXPECT_FALSE(bare.rows[0].ratio32);
    EXPECT_TRUE(ParseBenchResults("{}", {"A"}).rows.empty());

    // A run cut short leaves the file unfinished.
    const std::string cut = std::string(kJson).substr(0, 300);
    for (const std::string& bad : {cut, std::string("{\"a\": tru}"), std::string("[1,]"), std::string("{} x")}) {
        try {
            ParseBenchResults(bad, {});
            ADD_FAILURE() << bad;
        } catch (const fxhost::HostError& error) {
            EXPECT_NE(std::string(error.what()).find("not JSON"), std::string::npos) << error.what();
        }
    }
    try {
        fxtool::ReadBenchResults("/nonexistent/results.json", {});
        ADD_FAILURE();
    } catch (const fxhost::HostError& error) {
        EXPECT_STREQ(error.what(), "/nonexistent/results.json: cannot be read");
    }
}

TEST(BenchChart, BarsPerEffectScaledToTheLongest) {
    const std::string svg = fxtool::BenchChartSvg(Sample());
    // memcpy row, then B, A, C, Extra: 2 + 2 + 1 + 1 + 1 bars, the longest
    // (B at 16 bits, 500 ms) spanning the chart.
    std::vector<std::string> found;
    for (const std::string& tag : Tags(svg, "<rect class=\"bar ")) {
        EXPECT_EQ(Attr(tag, "x") + " " + Attr(tag, "height"), "230 12");
        const size_t title = svg.find(tag) + tag.size();
        found.push_back(Attr(tag, "class") + " " + Attr(tag, "y") + " " + Attr(tag, "width") + " " +
                        svg.substr(title + 7, svg.find("</title>", title) - title - 7));
    }
    const std::vector<std::string> expected = {
        "bar b32 34 0.4 memcpy of the frame, 32 bits: 0.500 ms",
        "bar b16 47 0.2 memcpy of the frame, 16 bits: 0.250 ms",
        "bar b32 68 1.2 B, 32 bits: 1.50 ms (3.0\u00d7 memcpy)",
        "bar b16 81 400.0 B, 16 bits: 500 ms (2000\u00d7 memcpy)",
        "bar b32 102 1.6 A, 32 bits: 2.00 ms (4.0\u00d7 memcpy)",
        "bar b16 149 0.1 C, 16 bits: 0.125 ms (0.50\u00d7 memcpy)",
        "bar b32 170 0.2 Extra &quot;q&quot;, 32 bits: 0.250 ms (0.50\u00d7 memcpy)",
    };
    EXPECT_EQ(found, expected);
    EXPECT_EQ(svg.rfind("<svg class=\"chart\" width=\"780\" height=\"212\"", 0), 0u) << svg.substr(0, 80);
    EXPECT_EQ(fxtool::BenchChartSvg(BenchResults{}), "");
}

TEST(BenchChart, NumbersKeepThreeFiguresAndRatiosTwo) {
    EXPECT_EQ(fxtool::FormatMs(0.01234), "0.012");
    EXPECT_EQ(fxtool::FormatMs(0.9996), "1.00");
    EXPECT_EQ(fxtool::FormatMs(12.345), "12.3");
    EXPECT_EQ(fxtool::FormatMs(99.96), "100");
    EXPECT_EQ(fxtool::FormatRatio(0.523), "0.52");
    EXPECT_EQ(fxtool::FormatRatio(2.46), "2.5");
    EXPECT_EQ(fxtool::FormatRatio(12.4), "12");
}

// The real module's gallery (one test: it takes seconds), its page checked
// as text; tests/gallery_check.py loads it in a browser.
TEST(GalleryPage, EveryNameInOrderAndOnlyItsOwnFilesAtTheirSize) {
    const fs::path dir = fs::temp_directory_path() / ("gallery-test-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::ofstream(dir / "results.json") << kJson;
    fxhost::SetLogSink([](const std::string&) {});
    const auto module = FreshModule();
    fxtool::WriteGallery(*module, {(dir / "out").string(), (dir / "results.json").string(), true});
    std::ifstream in(dir / "out" / "index.html");
    std::ostringstream text;
    text << in.rdbuf();
    const std::string html = text.str();
    const std::vector<std::string> names = fxhost::EffectNames(*module);
    ASSERT_EQ(names.size(), 38u);
    size_t at = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string heading = "<span class=\"index\">" + std::to_string(i) + "</span>" + names[i] + "</h2>";
        const size_t found = html.find(heading, at);
        ASSERT_NE(found, std::string::npos) << names[i];
        at = found;
        // A refused name's card has no pictures, and gives the module's reason.
        const size_t end = html.find("</article>", found);
        const std::string card = html.substr(found, end - found);
        const bool refused = names[i].rfind("AsciiArt", 0) == 0;
        EXPECT_EQ(card.find("<img") == std::string::npos, refused) << names[i];
        if (refused) {
            EXPECT_NE(card.find("Ascii art resource not found!"), std::string::npos);
        }
    }
    EXPECT_NE(html.find("<td>2.00</td><td>4.0\u00d7</td>"), std::string::npos);  // A's row in the table

    EXPECT_EQ(html.find("http:"), std::string::npos);
    EXPECT_EQ(html.find("https:"), std::string::npos);
    std::set<std::string> files;
    int animations = 0;
    const std::vector<std::string> tags = Tags(html, "<img ");
    for (const std::string& tag : tags) {
        const std::string file = Attr(tag, "src");
        EXPECT_TRUE(fs::is_regular_file(dir / "out" / file)) << file;
        EXPECT_TRUE(files.insert(file).second) << file << " twice";
        EXPECT_NE(Attr(tag, "alt"), "") << file;
        const bool animation = Attr(tag, "data-check") == "animation";
        animations += animation;
        EXPECT_EQ(fs::path(file).extension(), animation ? ".webp" : ".png");
        const bool photo = file.find("-photo-") != std::string::npos || file == "pictures/coffee.png";
        const char* size = animation ? "320x180" : photo ? "600x400" : "640x360";
        EXPECT_EQ(Attr(tag, "width") + "x" + Attr(tag, "height"), size) << file;
    }
    EXPECT_EQ(files.size(), tags.size());
    // The two inputs; 6 stills for each of 36 effects but the 2 that read
    // nothing and stand still (2 each); an animation for the 12 that move.
    EXPECT_EQ(tags.size(), 2u + 34 * 6 + 2 * 2 + 12);
    EXPECT_EQ(animations, 12);
    EXPECT_TRUE(files.count("pictures/coffee.png"));
    EXPECT_NE(html.find("<img src=\"pictures/09-triangle-kaleido-photo-224.png\" width=\"600\" height=\"400\""),
              std::string::npos);
    EXPECT_NE(html.find("<img src=\"pictures/33-motionblur-anim.webp\" width=\"320\" height=\"180\""),
              std::string::npos);
    std::error_code ignored;
    fs::remove_all(dir, ignored);
}

}  // namespace
