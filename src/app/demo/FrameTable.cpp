#include "demo/FrameTable.h"

#include <algorithm>
#include <cstdio>

namespace demo
{

namespace
{

using host::FormatShort;
using host::FrameRecord;

constexpr unsigned eNO_TARGET = 0xFFFFFFFFU;

struct Column
{
    char const* m_upper;
    char const* m_lower;
    char const* m_words;
    int m_width;
};

constexpr Column s_columns[] = {
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

std::string Milliseconds(double seconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.0f", seconds * 1e3);
    return text;
}

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

std::string JoinRow(std::vector<std::string> const& cells)
{
    std::string row;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        int const width = s_columns[i].m_width;
        int const pad = width - static_cast<int>(cells[i].size());
        row += (i > 0 ? " " : "") + std::string(static_cast<std::size_t>(std::max(pad, 0)), ' ') +
               cells[i];
    }
    return row;
}

} // namespace

std::string FrameTableHeading()
{
    std::vector<std::string> upper;
    std::vector<std::string> lower;
    for (Column const& column : s_columns) {
        upper.push_back(column.m_upper);
        lower.push_back(column.m_lower);
    }
    return JoinRow(upper) + "\n" + JoinRow(lower);
}

std::vector<std::string> FrameTableColumns()
{
    std::vector<std::string> words;
    for (Column const& column : s_columns) {
        words.push_back(column.m_words);
    }
    return words;
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
            Milliseconds(mean([](FrameRecord const& f) { return f.m_frameTime; })),
            Milliseconds(end.m_targetTime),
            Milliseconds(mean([](FrameRecord const& f) { return f.m_traversalTime; })),
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
    return JoinRow(FrameTableCells(log, first, last));
}

} // namespace demo
