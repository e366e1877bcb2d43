#include "demo/FrameTable.h"

#include "demo/LogRows.h"
#include "demo/TextTable.h"

namespace demo
{

namespace
{

using host::FormatShort;
using host::FrameRecord;

constexpr unsigned eNO_TARGET = 0xFFFFFFFFU;

constexpr TableColumn s_columns[] = {
    {"", "frames", "frames", 8},
    {"frame", "ms", "frame ms", 6},
    {"target", "ms", "target ms", 6},
    {"walk", "ms", "traversal ms", 6},
    {"nodes", "tested", "nodes tested", 7},
    {"shapes", "drawn", "shapes drawn", 6},
    {"triangles", "drawn", "triangles drawn", 9},
    {"culled:", "frustum", "culled by frustum", 7},
    {"", "area", "by area", 6},
    {"", "visib.", "by visibility", 6},
    {"", "trav.", "already traversed", 6},
    {"", "occlus.", "by occlusion", 7},
    {"triangle", "target", "triangle target", 8},
    {"", "stress", "stress", 6},
    {"", "load", "load", 5},
    {"", "complete", "complete", 8},
};

} // namespace

std::string FrameTableHeading()
{
    return TableHeading(s_columns);
}

std::vector<std::string> FrameTableColumns()
{
    return TableWords(s_columns);
}

std::vector<std::string> FrameTableCells(std::vector<FrameRecord> const& log, std::size_t first,
                                         std::size_t last)
{
    LogRows<FrameRecord> const rows(log, first, last);
    if (rows.IsEmpty()) {
        return {};
    }
    auto mean = [&rows](auto get) { return rows.GetMean(get); };
    auto count = [&rows](auto get) { return rows.FormatMeanCount(get); };
    FrameRecord const& end = rows.GetLast();
    return {std::to_string(rows.GetFirst().m_frame) + "-" + std::to_string(end.m_frame),
            FormatMilliseconds(mean([](FrameRecord const& f) { return f.m_frameTime; }), 0),
            FormatMilliseconds(end.m_targetTime, 0),
            FormatMilliseconds(mean([](FrameRecord const& f) { return f.m_traversalTime; }), 0),
            count([](FrameRecord const& f) { return f.m_nodesTested; }),
            count([](FrameRecord const& f) { return f.m_shapes; }),
            count([](FrameRecord const& f) { return f.m_tris; }),
            count([](FrameRecord const& f) { return f.m_trisFrustum; }),
            count([](FrameRecord const& f) { return f.m_trisArea; }),
            count([](FrameRecord const& f) { return f.m_trisVisibility; }),
            count([](FrameRecord const& f) { return f.m_trisTraversed; }),
            count([](FrameRecord const& f) { return f.m_trisOcclusion; }),
            end.m_triangleTarget == eNO_TARGET ? "none" : FormatShort(end.m_triangleTarget),
            FormatDecimals(end.m_stress, 2),
            FormatDecimals(end.m_load, 2),
            rows.FormatShare([](FrameRecord const& f) { return !f.m_clipped; })};
}

std::string FrameTableRow(std::vector<FrameRecord> const& log, std::size_t first, std::size_t last)
{
    return TableLine(s_columns, FrameTableCells(log, first, last));
}

} // namespace demo
