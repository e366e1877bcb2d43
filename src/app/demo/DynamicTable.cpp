#include "demo/DynamicTable.h"

#include "demo/LogRows.h"
#include "demo/TextTable.h"

namespace demo
{

namespace
{

using host::FormatShort;

constexpr TableColumn s_columns[] = {
    {"", "frames", "frames", 8},
    {"shapes", "in tree", "shapes in the tree", 7},
    {"", "added", "added a frame", 6},
    {"", "moved", "moved a frame", 6},
    {"", "removed", "removed a frame", 7},
    {"", "depth", "depth", 5},
    {"edit", "ms", "adding and removing ms", 6},
    {"update", "ms", "update ms", 7},
    {"walk", "ms", "walk ms", 6},
    {"frame", "ms", "frame ms", 6},
    {"nodes", "tested", "nodes tested", 7},
    {"shapes", "drawn", "shapes drawn", 6},
    {"triangles", "drawn", "triangles drawn", 9},
    {"", "complete", "complete", 8},
};

constexpr char const* s_csvHeading =
    "frame,shapes_in_tree,added,moved,removed,depth,edit_s,update_s,walk_s,frame_s,nodes_tested,"
    "shapes,triangles,clipped\n";

/// Seconds to the microsecond.
std::string Seconds(double seconds)
{
    constexpr int eDECIMALS = 6;
    return FormatDecimals(seconds, eDECIMALS);
}

std::string CsvLine(DynamicRecord const& record)
{
    host::FrameRecord const& draw = record.m_draw;
    std::string const cells[] = {
        std::to_string(draw.m_frame),       std::to_string(record.m_inTree),
        std::to_string(record.m_added),     std::to_string(record.m_moved),
        std::to_string(record.m_removed),   std::to_string(record.m_depth),
        Seconds(record.m_editTime),         Seconds(record.m_updateTime),
        Seconds(draw.m_traversalTime),      Seconds(draw.m_frameTime),
        std::to_string(draw.m_nodesTested), std::to_string(draw.m_shapes),
        std::to_string(draw.m_tris),        draw.m_clipped ? "1" : "0"};
    std::string line;
    for (std::string const& cell : cells) {
        line += (line.empty() ? "" : ",") + cell;
    }
    return line + "\n";
}

} // namespace

std::string DynamicToCsv(std::vector<DynamicRecord> const& log)
{
    std::string text = s_csvHeading;
    for (DynamicRecord const& record : log) {
        text += CsvLine(record);
    }
    return text;
}

std::string DynamicTableHeading()
{
    return TableHeading(s_columns);
}

std::vector<std::string> DynamicTableColumns()
{
    return TableWords(s_columns);
}

std::vector<std::string> DynamicTableCells(std::vector<DynamicRecord> const& log, std::size_t first,
                                           std::size_t last)
{
    LogRows<DynamicRecord> const rows(log, first, last);
    if (rows.IsEmpty()) {
        return {};
    }
    auto mean = [&rows](auto get) { return rows.GetMean(get); };
    auto count = [&rows](auto get) { return rows.FormatMeanCount(get); };
    DynamicRecord const& end = rows.GetLast();
    using Record = DynamicRecord const&;
    return {std::to_string(rows.GetFirst().m_draw.m_frame) + "-" +
                std::to_string(end.m_draw.m_frame),
            FormatShort(static_cast<double>(end.m_inTree)),
            count([](Record f) { return f.m_added; }),
            count([](Record f) { return f.m_moved; }),
            count([](Record f) { return f.m_removed; }),
            std::to_string(end.m_depth),
            FormatMilliseconds(mean([](Record f) { return f.m_editTime; }), 1),
            FormatMilliseconds(mean([](Record f) { return f.m_updateTime; }), 2),
            FormatMilliseconds(mean([](Record f) { return f.m_draw.m_traversalTime; }), 0),
            FormatMilliseconds(mean([](Record f) { return f.m_draw.m_frameTime; }), 0),
            count([](Record f) { return f.m_draw.m_nodesTested; }),
            count([](Record f) { return f.m_draw.m_shapes; }),
            count([](Record f) { return f.m_draw.m_tris; }),
            rows.FormatShare([](Record f) { return !f.m_draw.m_clipped; })};
}

std::string DynamicTableRow(std::vector<DynamicRecord> const& log, std::size_t first,
                            std::size_t last)
{
    return TableLine(s_columns, DynamicTableCells(log, first, last));
}

} // namespace demo
