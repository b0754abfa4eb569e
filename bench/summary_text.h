// Text helpers of the summary: number formats, wrapped lists and tables.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace bench {

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...);

// Times below a microsecond print as such: an effect that writes nothing at
// some depth shows as that rather than as 0.000.
std::string Milliseconds(double ms);
std::string Ratio(double ratio);
std::string Join(const std::vector<std::string>& items, const std::string& separator);

// Prints items separated by ", ", wrapping lines at about 100 columns.
void PrintList(std::FILE* out, const std::string& heading, const std::vector<std::string>& items);

// Prints rows of cells (the first row is the header) in columns two spaces
// apart, sized to their widest cell; the columns marked in rightAligned are
// aligned right, the others left. The last cell of a row shorter than the
// longest runs on from its column as it is, for notes such as errors.
// Trailing blanks are trimmed.
void PrintTable(std::FILE* out, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& rightAligned);

}  // namespace bench
