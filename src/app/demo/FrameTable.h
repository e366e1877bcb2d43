// The table that the demo prints while it flies: one row for every few frames, with their means.
#pragma once

#include "host/report/FrameLog.h"

#include <string>
#include <vector>

namespace demo
{

/// The two heading lines, without a line end after the last.
std::string FrameTableHeading();

/// One row: means over the frames [first, last) of the log, and how many of them were complete.
/// Stress, load and triangle target are those of the last frame.
std::string FrameTableRow(std::vector<host::FrameRecord> const& log, std::size_t first,
                          std::size_t last);

/// Words for the columns, for tables elsewhere.
std::vector<std::string> FrameTableColumns();

/// The cells of FrameTableRow.
std::vector<std::string> FrameTableCells(std::vector<host::FrameRecord> const& log,
                                         std::size_t first, std::size_t last);

} // namespace demo
