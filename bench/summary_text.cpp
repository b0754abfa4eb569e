#include "bench/summary_text.h"

#include <algorithm>
#include <cstdarg>

namespace bench {

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string Milliseconds(double ms) { return ms < 0.001 ? "<0.001" : Format("%.3f", ms); }
std::string Ratio(double ratio) { return ratio < 0.01 ? "<0.01" : Format("%.2f", ratio); }

std::string Join(const std::vector<std::string>& items, const std::string& separator) {
    std::string text;
    for (size_t i = 0; i < items.size(); ++i) text += (i > 0 ? separator : "") + items[i];
    return text;
}

void PrintList(std::FILE* out, const std::string& heading, const std::vector<std::string>& items) {
    std::string line = heading;
    for (size_t i = 0; i < items.size(); ++i) {
        const std::string item = items[i] + (i + 1 < items.size() ? "," : "");
        if (line.size() + 1 + item.size() > 100) {
            std::fprintf(out, "%s\n", line.c_str());
            line = "   ";
        }
        line += " " + item;
    }
    std::fprintf(out, "%s\n", line.c_str());
}

void PrintTable(std::FILE* out, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& rightAligned) {
    size_t columns = 0;
    for (const auto& row : rows) columns = std::max(columns, row.size());
    // The last cell of a short row runs on: it neither sets nor takes a width.
    auto runsOn = [&](const std::vector<std::string>& row, size_t i) {
        return row.size() < columns && i + 1 == row.size();
    };
    std::vector<size_t> widths(columns);
    for (const auto& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            if (!runsOn(row, i)) widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            if (i > 0) line += "  ";
            if (runsOn(row, i)) {
                line += row[i];
                break;
            }
            const std::string padding(widths[i] - row[i].size(), ' ');
            const bool right = i < rightAligned.size() && rightAligned[i];
            line += right ? padding + row[i] : row[i] + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::fprintf(out, "%s\n", line.c_str());
    }
}

}  // namespace bench
