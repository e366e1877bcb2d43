#include "demo/TextTable.h"

#include <algorithm>
#include <charconv>

namespace demo
{

std::string TableLine(std::span<TableColumn const> columns, std::vector<std::string> const& cells)
{
    std::string line;
    for (std::size_t i = 0; i < cells.size() && i < columns.size(); ++i) {
        int const pad = columns[i].m_width - static_cast<int>(cells[i].size());
        line += (i > 0 ? " " : "") + std::string(static_cast<std::size_t>(std::max(pad, 0)), ' ') +
                cells[i];
    }
    return line;
}

std::string TableHeading(std::span<TableColumn const> columns)
{
    std::vector<std::string> upper;
    std::vector<std::string> lower;
    for (TableColumn const& column : columns) {
        upper.push_back(column.m_upper);
        lower.push_back(column.m_lower);
    }
    return TableLine(columns, upper) + "\n" + TableLine(columns, lower);
}

std::vector<std::string> TableWords(std::span<TableColumn const> columns)
{
    std::vector<std::string> words;
    for (TableColumn const& column : columns) {
        words.push_back(column.m_words);
    }
    return words;
}

std::string FormatDecimals(double value, int decimals)
{
    char text[400]; // the largest number has 309 digits before the point
    auto const end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    return std::string(text, end.ptr);
}

std::string FormatMilliseconds(double seconds, int decimals)
{
    return FormatDecimals(seconds * 1e3, decimals);
}

} // namespace demo
