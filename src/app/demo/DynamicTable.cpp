#include "demo/DynamicTable.h"

#include "demo/TextTable.h"

#include <algorithm>
#include <charconv>

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

template <class Get>
double Mean(std::vector<DynamicRecord> const& log, std::size_t first, std::size_t last, Get get)
{
    double sum = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        sum += static_cast<double>(get(log[i]));
    }
    return last > first ? sum / static_cast<double>(last - first) : 0.0;
}

/// Seconds to the microsecond, with a point whatever the locale.
std::string Seconds(double seconds)
{
    constexpr int eDECIMALS = 6;
    char text[64];
    auto const end =
        std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed, eDECIMALS);
    return std::string(text, end.ptr);
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
    if (first >= last || last > log.size()) {
        return {};
    }
    auto mean = [&](auto get) { return Mean(log, first, last, get); };
    auto count = [&](auto get) {
        return FormatShort(static_cast<double>(static_cast<unsigned long long>(mean(get) + 0.5)));
    };
    DynamicRecord const& end = log[last - 1];
    auto const complete =
        std::count_if(log.begin() + static_cast<std::ptrdiff_t>(first),
                      log.begin() + static_cast<std::ptrdiff_t>(last),
                      [](DynamicRecord const& frame) { return !frame.m_draw.m_clipped; });
    using Record = DynamicRecord const&;
    return {std::to_string(log[first].m_draw.m_frame) + "-" + std::to_string(end.m_draw.m_frame),
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
            std::to_string(complete) + "/" + std::to_string(last - first)};
}

std::string DynamicTableRow(std::vector<DynamicRecord> const& log, std::size_t first,
                            std::size_t last)
{
    return TableLine(s_columns, DynamicTableCells(log, first, last));
}

} // namespace demo
