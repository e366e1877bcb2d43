#include "demo/FrameTable.h"

#include "demo/TextTable.h"

#include <algorithm>
#include <cstdio>

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

std::string Plain(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

template <class Get>
double Mean(std::vector<FrameRecord> const& log, std::size_t first, std::size_t last, Get get)
{
    double sum = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        sum += static_cast<double>(get(log[i]));
    }
    return last > first ? sum / static_cast<double>(last - first) : 0.0;
}

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
    if (first >= last || last > log.size()) {
        return {};
    }
    auto mean = [&](auto get) { return Mean(log, first, last, get); };
    auto count = [&](auto get) {
        return FormatShort(static_cast<double>(static_cast<unsigned long long>(mean(get) + 0.5)));
    };
    FrameRecord const& end = log[last - 1];
    auto const complete = std::count_if(log.begin() + static_cast<std::ptrdiff_t>(first),
                                        log.begin() + static_cast<std::ptrdiff_t>(last),
                                        [](FrameRecord const& frame) { return !frame.m_clipped; });
    return {std::to_string(log[first].m_frame) + "-" + std::to_string(end.m_frame),
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
            Plain(end.m_stress),
            Plain(end.m_load),
            std::to_string(complete) + "/" + std::to_string(last - first)};
}

std::string FrameTableRow(std::vector<FrameRecord> const& log, std::size_t first, std::size_t last)
{
    return TableLine(s_columns, FrameTableCells(log, first, last));
}

} // namespace demo
