#include "tools/gallery_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <sstream>

#include "tools/gallery_page.h"

namespace fxtool {

namespace {

constexpr int kLabelWidth = 230;  // effect names, right-aligned against the bars
constexpr int kFiguresWidth = 150;  // the figures after the longest bar
constexpr int kBarHeight = 12;
constexpr int kRowHeight = 2 * kBarHeight + 10;
constexpr int kTop = 34;  // legend and axis labels
constexpr int kBottom = 8;

std::string Printf(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// A step of 1, 2 or 5 times a power of ten giving at most five gridlines.
double GridStep(double top) {
    const double raw = top / 5;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0})
        if (m * power >= raw) return m * power;
    return 10 * power;
}

struct Row {
    std::string label;
    std::optional<double> ms32, ms16, ratio32, ratio16;
};

std::vector<Row> ChartRows(const BenchResults& results) {
    std::vector<Row> rows;
    if (results.memcpy32 || results.memcpy16)
        rows.push_back({"memcpy of the frame", results.memcpy32, results.memcpy16, std::nullopt, std::nullopt});
    for (const BenchRow& r : results.rows) rows.push_back({r.name, r.ms32, r.ms16, r.ratio32, r.ratio16});
    return rows;
}

std::string Figures(double ms, const std::optional<double>& ratio) {
    std::string text = FormatMs(ms) + " ms";
    if (ratio) text += " (" + FormatRatio(*ratio) + "\u00d7 memcpy)";
    return text;
}

void Bar(std::ostringstream& svg, const Row& row, const char* depth, double ms, const std::optional<double>& ratio,
         double scale, int y) {
    const double width = ms * scale;
    svg << "<rect class=\"bar b" << depth << "\" x=\"" << kLabelWidth << "\" y=\"" << y << "\" width=\""
        << Printf("%.1f", width) << "\" height=\"" << kBarHeight << "\"><title>" << HtmlEscape(row.label) << ", "
        << depth << " bits: " << Figures(ms, ratio) << "</title></rect>\n";
    svg << "<text class=\"fig\" x=\"" << Printf("%.1f", kLabelWidth + width + 4) << "\" y=\"" << y + kBarHeight - 1
        << "\">" << Figures(ms, ratio) << "</text>\n";
}

}  // namespace

std::string FormatMs(double ms) {
    if (ms >= 99.95) return Printf("%.0f", ms);
    if (ms >= 9.995) return Printf("%.1f", ms);
    if (ms >= 0.9995) return Printf("%.2f", ms);
    return Printf("%.3f", ms);
}

std::string FormatRatio(double ratio) {
    if (ratio >= 9.95) return Printf("%.0f", ratio);
    if (ratio >= 0.995) return Printf("%.1f", ratio);
    return Printf("%.2f", ratio);
}

std::string BenchChartSvg(const BenchResults& results) {
    const std::vector<Row> rows = ChartRows(results);
    double top = 0;
    for (const Row& r : rows) top = std::max({top, r.ms32.value_or(0), r.ms16.value_or(0)});
    if (rows.empty() || !(top > 0)) return "";
    const double scale = kChartBarSpan / top;
    const int width = kLabelWidth + static_cast<int>(kChartBarSpan) + kFiguresWidth;
    const int height = kTop + kRowHeight * static_cast<int>(rows.size()) + kBottom;

    std::ostringstream svg;
    svg << "<svg class=\"chart\" width=\"" << width << "\" height=\"" << height
        << "\" viewBox=\"0 0 " << width << ' ' << height << "\" role=\"img\" aria-label=\"ms per frame at 1920x1080, "
        << "32 and 16 bits\">\n";
    svg << "<rect class=\"key b32\" x=\"" << kLabelWidth << "\" y=\"4\" width=\"12\" height=\"" << kBarHeight
        << "\"/><text x=\"" << kLabelWidth + 16 << "\" y=\"12\">32 bits</text>\n";
    svg << "<rect class=\"key b16\" x=\"" << kLabelWidth + 80 << "\" y=\"4\" width=\"12\" height=\"" << kBarHeight
        << "\"/><text x=\"" << kLabelWidth + 96 << "\" y=\"12\">16 bits (5-6-5)</text><text x=\""
        << kLabelWidth + 210 << "\" y=\"12\">ms per frame</text>\n";
    // Gridlines with their values in ms.
    const double step = GridStep(top);
    for (int i = 0; i * step <= top * 1.0001; ++i) {
        const std::string x = Printf("%.1f", kLabelWidth + i * step * scale);
        svg << "<line class=\"grid\" x1=\"" << x << "\" y1=\"" << kTop - 6 << "\" x2=\"" << x << "\" y2=\""
            << height - kBottom << "\"/><text class=\"tick\" x=\"" << x << "\" y=\"" << kTop - 9 << "\">"
            << Printf("%g", i * step) << "</text>\n";
    }
    int y = kTop;
    for (const Row& row : rows) {
        svg << "<text class=\"name\" x=\"" << kLabelWidth - 6 << "\" y=\"" << y + kBarHeight + 4 << "\">"
            << HtmlEscape(row.label) << "</text>\n";
        if (row.ms32) Bar(svg, row, "32", *row.ms32, row.ratio32, scale, y);
        if (row.ms16) Bar(svg, row, "16", *row.ms16, row.ratio16, scale, y + kBarHeight + 1);
        y += kRowHeight;
    }
    svg << "</svg>\n";
    return svg.str();
}

std::string BenchTableHtml(const BenchResults& results) {
    auto cell = [](const std::optional<double>& value, bool ratio) {
        if (!value) return std::string("<td>\u2013</td>");
        return "<td>" + (ratio ? FormatRatio(*value) + "\u00d7" : FormatMs(*value)) + "</td>";
    };
    std::ostringstream html;
    html << "<table class=\"bench\">\n<thead><tr><th scope=\"col\">Effect</th><th scope=\"col\">32 bits, ms</th>"
            "<th scope=\"col\">to memcpy</th><th scope=\"col\">16 bits, ms</th><th scope=\"col\">to memcpy</th>"
            "</tr></thead>\n<tbody>\n";
    html << "<tr><th scope=\"row\">memcpy of the frame</th>" << cell(results.memcpy32, false) << "<td>1\u00d7</td>"
         << cell(results.memcpy16, false) << "<td>1\u00d7</td></tr>\n";
    for (const BenchRow& r : results.rows)
        html << "<tr><th scope=\"row\">" << HtmlEscape(r.name) << "</th>" << cell(r.ms32, false)
             << cell(r.ratio32, true) << cell(r.ms16, false) << cell(r.ratio16, true) << "</tr>\n";
    html << "</tbody>\n</table>\n";
    return html.str();
}

}  // namespace fxtool
