// Tables of fixed columns as lines of text: what the demo prints while it flies.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace demo
{

/// One column: two lines of heading, the heading in words, and the width in characters.
struct TableColumn
{
    char const* m_upper;
    char const* m_lower;
    char const* m_words;
    int m_width;
};

/// The two heading lines, without a line end after the last.
std::string TableHeading(std::span<TableColumn const> columns);

/// The headings in words.
std::vector<std::string> TableWords(std::span<TableColumn const> columns);

/// One line, each cell flush right in its column. Cells wider than their column push the rest on.
/// @param cells  at most as many as columns
std::string TableLine(std::span<TableColumn const> columns, std::vector<std::string> const& cells);

/// A number with so many decimals and a point, whatever the locale.
std::string FormatDecimals(double value, int decimals);

/// Seconds as milliseconds with so many decimals.
std::string FormatMilliseconds(double seconds, int decimals);

} // namespace demo
