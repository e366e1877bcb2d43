// What one frame over a changing tree cost: the record, its CSV form and the table's rows.
#pragma once

#include "host/report/FrameLog.h"

#include <cstddef>
#include <string>
#include <vector>

namespace demo
{

/// Measurements of one frame. Times in seconds.
struct DynamicRecord
{
    host::FrameRecord m_draw;  ///< of the walk and the drawing
    std::size_t m_inTree = 0;  ///< shapes in the tree while it was drawn
    std::size_t m_added = 0;   ///< shapes put into the tree before this frame
    std::size_t m_moved = 0;   ///< shapes in the tree that changed their place
    std::size_t m_removed = 0; ///< shapes taken out
    int m_depth = 0;           ///< levels of groups
    double m_editTime = 0.0;   ///< adding and removing
    double m_updateTime = 0.0; ///< Update of the root after the moves
};

/// A whole log as CSV text with a heading line. Numbers have a decimal point in every locale.
std::string DynamicToCsv(std::vector<DynamicRecord> const& log);

/// The two heading lines, without a line end after the last.
std::string DynamicTableHeading();

/// Words for the columns.
std::vector<std::string> DynamicTableColumns();

/// One row: means over the frames [first, last) of the log, and how many of them were complete.
/// Shapes in the tree and depth are those of the last frame. Empty for no frames.
std::vector<std::string> DynamicTableCells(std::vector<DynamicRecord> const& log, std::size_t first,
                                           std::size_t last);

/// The cells as a line.
std::string DynamicTableRow(std::vector<DynamicRecord> const& log, std::size_t first,
                            std::size_t last);

} // namespace demo
