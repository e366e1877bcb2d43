// Many pictures on one: a grid of cells of one size, each with a label under it and an optional
// heading over the whole.
#pragma once

#include "host/report/Image.h"

#include <string>
#include <vector>

namespace host
{

/// One picture of a sheet. `m_warn` draws the label in a warning colour.
struct SheetCell
{
    Image m_picture;
    std::string m_label;
    bool m_warn = false;
};

/// Where things lie on a sheet, in pixels. Computed without looking at any picture.
struct SheetLayout
{
    /// @param cells       number of pictures, 0 or more
    /// @param columns     pictures side by side, at least 1
    /// @param cellWidth   size of one picture
    /// @param labelScale  dot size of labels; 0 leaves no room for labels
    /// @param heading     whether there is a heading line
    SheetLayout(int cells, int columns, int cellWidth, int cellHeight, int labelScale,
                bool heading);

    int GetWidth() const { return m_width; }

    int GetHeight() const { return m_height; }

    int GetCellX(int cell) const;
    int GetCellY(int cell) const;
    int GetLabelY(int cell) const;

    int GetMargin() const { return m_margin; }

private:
    int m_columns;
    int m_cellWidth;
    int m_cellHeight;
    int m_margin;
    int m_labelHeight;
    int m_headingHeight;
    int m_width;
    int m_height;
};

/// Lays the cells out row by row, each picture scaled to the cell size.
Image MakeContactSheet(std::vector<SheetCell> const& cells, int columns, int cellWidth,
                       int cellHeight, int labelScale, std::string const& heading);

} // namespace host
