#include "bench/size_summary.h"

#include <optional>
#include <string>

#include "bench/frames.h"
#include "bench/summary_text.h"

namespace bench {

namespace {

// Below this multiple of memcpy an effect writes nothing at that depth.
constexpr double kDrawsNothing = 0.02;

std::optional<double> RatioAt(const RunResults& results, const EffectCase& c, FrameSize size) {
    const auto ms = TimeOf(results, SizeCaseName(c.name, c.format, size));
    const auto copy = TimeOf(results, MemcpyCaseName(BytesPerPixel(c.format), size));
    if (!ms || !copy || *copy <= 0) return std::nullopt;
    return *ms / *copy;
}

// "within 1.3x", or the sizes whose ratio strays further from the 1080p one,
// each with its factor.
std::string Spread(const RunResults& results, const EffectCase& c) {
    const auto reference = RatioAt(results, c, kFrameSize);
    if (!reference || *reference <= 0) return "n/a";
    if (*reference < kDrawsNothing) return "draws nothing at this depth";
    std::vector<std::string> beyond;
    for (FrameSize size : kSweepSizes) {
        const auto ratio = RatioAt(results, c, size);
        if (!ratio) continue;
        const double factor = *ratio / *reference;
        if (factor > kSizeSpread || factor * kSizeSpread < 1.0)
            beyond.push_back(Format("%s %.2fx", SizeLabel(size).c_str(), factor));
    }
    return beyond.empty() ? Format("within %gx", kSizeSpread) : "beyond: " + Join(beyond, ", ");
}

}  // namespace

void PrintSizeSummary(std::FILE* out, const RunResults& results, const std::vector<EffectCase>& effects) {
    std::vector<std::vector<std::string>> table = {{"Effect", "Depth"}};
    std::vector<bool> right = {false, false};
    for (FrameSize size : kSweepSizes) {
        table[0].push_back(SizeLabel(size));
        right.push_back(true);
    }
    table[0].insert(table[0].end(), {"16x16 us", "Across sizes"});
    right.insert(right.end(), {true, false});
    for (const EffectCase& c : effects) {
        if (!TimeOf(results, SizeCaseName(c.name, c.format, kFrameSize))) continue;  // filtered out
        std::vector<std::string> row = {c.name, DepthLabel(c.format)};
        for (FrameSize size : kSweepSizes) {
            const auto ratio = RatioAt(results, c, size);
            row.push_back(ratio ? Ratio(*ratio) : "");
        }
        const auto fixedMs = TimeOf(results, SizeCaseName(c.name, c.format, kFixedCostSize));
        row.push_back(fixedMs ? Format("%.1f", *fixedMs * 1000.0) : "");
        row.push_back(Spread(results, c));
        table.push_back(std::move(row));
    }
    if (table.size() == 1) return;
    std::fprintf(out,
                 "\nSizes: each effect's time as a multiple of memcpy of the same frame at each size;\n"
                 "a 16x16 frame's time in microseconds, its cost before the pixels; and the sizes\n"
                 "whose multiple strays more than %gx from the 1920x1080 one.\n\n",
                 kSizeSpread);
    PrintTable(out, table, right);
    std::vector<std::string> copies;
    for (int bytes : {4, 2})
        for (FrameSize size : kSweepSizes)
            if (const auto ms = TimeOf(results, MemcpyCaseName(bytes, size)))
                copies.push_back(Format("%d bits %s %.3f ms", bytes * 8, SizeLabel(size).c_str(), *ms));
    std::fprintf(out, "\n");
    if (!copies.empty()) PrintList(out, "memcpy of a frame:", copies);
}

}  // namespace bench
