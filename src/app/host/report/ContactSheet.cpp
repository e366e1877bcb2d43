#include "host/report/ContactSheet.h"

#include "host/report/TextPainter.h"

#include <algorithm>

namespace host
{

namespace
{

constexpr int eMARGIN = 6;
constexpr int eLABEL_GAP = 3;
constexpr Rgb s_paper{24, 27, 32};
constexpr Rgb s_ink{214, 220, 228};
constexpr Rgb s_warning{255, 186, 92};

} // namespace

SheetLayout::SheetLayout(int cells, int columns, int cellWidth, int cellHeight, int labelScale,
                         bool heading)
    : m_columns(std::max(columns, 1))
    , m_cellWidth(cellWidth)
    , m_cellHeight(cellHeight)
    , m_margin(eMARGIN)
    , m_labelHeight(labelScale > 0 ? GetTextHeight(labelScale) + 2 * eLABEL_GAP : 0)
    , m_headingHeight(heading ? GetTextHeight(2) + eMARGIN : 0)
{
    int const used = std::max(std::min(cells, m_columns), 1);
    int const rows = (std::max(cells, 0) + m_columns - 1) / m_columns;
    m_width = m_margin + used * (m_cellWidth + m_margin);
    m_height = m_margin + m_headingHeight + rows * (m_cellHeight + m_labelHeight + m_margin);
}

int SheetLayout::GetCellX(int cell) const
{
    return m_margin + (cell % m_columns) * (m_cellWidth + m_margin);
}

int SheetLayout::GetCellY(int cell) const
{
    return m_margin + m_headingHeight +
           (cell / m_columns) * (m_cellHeight + m_labelHeight + m_margin);
}

int SheetLayout::GetLabelY(int cell) const
{
    return GetCellY(cell) + m_cellHeight + eLABEL_GAP;
}

Image MakeContactSheet(std::vector<SheetCell> const& cells, int columns, int cellWidth,
                       int cellHeight, int labelScale, std::string const& heading)
{
    SheetLayout const layout(static_cast<int>(cells.size()), columns, cellWidth, cellHeight,
                             labelScale, !heading.empty());
    Image sheet(layout.GetWidth(), layout.GetHeight());
    sheet.Fill(0, 0, sheet.GetWidth(), sheet.GetHeight(), s_paper);
    PaintText(&sheet, layout.GetMargin(), layout.GetMargin(), heading, 2, s_ink);
    for (int i = 0; i < static_cast<int>(cells.size()); ++i) {
        SheetCell const& cell = cells[static_cast<std::size_t>(i)];
        int const x = layout.GetCellX(i);
        bool const fits =
            cell.m_picture.GetWidth() == cellWidth && cell.m_picture.GetHeight() == cellHeight;
        sheet.Paste(fits ? cell.m_picture : cell.m_picture.ScaledTo(cellWidth, cellHeight), x,
                    layout.GetCellY(i));
        if (labelScale > 0) {
            PaintText(&sheet, x, layout.GetLabelY(i), cell.m_label, labelScale,
                      cell.m_warn ? s_warning : s_ink);
        }
    }
    return sheet;
}

} // namespace host
