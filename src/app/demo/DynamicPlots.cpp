#include "demo/DynamicPlots.h"

#include "host/report/SvgPlot.h"

namespace demo
{

namespace
{

using host::SvgPlot;
using Record = DynamicRecord const&;

constexpr int eWIDTH = 1110;
constexpr int eHEIGHT = 230;

template <class Get>
std::vector<double> Values(std::vector<DynamicRecord> const& log, Get get)
{
    std::vector<double> values;
    values.reserve(log.size());
    for (DynamicRecord const& frame : log) {
        values.push_back(static_cast<double>(get(frame)));
    }
    return values;
}

std::string PlotTree(std::vector<DynamicRecord> const& log)
{
    SvgPlot plot("Shapes in the tree", "frame", "shapes");
    plot.AddLine("in the tree", "#2f6fde", Values(log, [](Record f) { return f.m_inTree; }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotUpdate(std::vector<DynamicRecord> const& log)
{
    SvgPlot plot("Bringing the tree up to date", "frame", "milliseconds");
    plot.AddLine("adding and removing", "#3aa675",
                 Values(log, [](Record f) { return f.m_editTime * 1e3; }));
    plot.AddLine("update after the moves", "#c0392b",
                 Values(log, [](Record f) { return f.m_updateTime * 1e3; }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotWalk(std::vector<DynamicRecord> const& log)
{
    SvgPlot plot("Frame", "frame", "milliseconds");
    plot.AddLine("frame", "#2f6fde",
                 Values(log, [](Record f) { return f.m_draw.m_frameTime * 1e3; }));
    plot.AddLine("walk with drawing calls", "#e08a1e",
                 Values(log, [](Record f) { return f.m_draw.m_traversalTime * 1e3; }));
    plot.AddLine("update", "#c0392b", Values(log, [](Record f) { return f.m_updateTime * 1e3; }));
    plot.AddLevel("target", "#8c6d46", log.empty() ? 0.0 : log.front().m_draw.m_targetTime * 1e3);
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotChanges(std::vector<DynamicRecord> const& log)
{
    SvgPlot plot("Shapes changed", "frame", "shapes a frame");
    plot.AddLine("added", "#3aa675", Values(log, [](Record f) { return f.m_added; }));
    plot.AddLine("moved", "#c0392b", Values(log, [](Record f) { return f.m_moved; }));
    plot.AddLine("removed", "#6b4fc8", Values(log, [](Record f) { return f.m_removed; }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotDepth(std::vector<DynamicRecord> const& log)
{
    SvgPlot plot("Depth of the tree", "frame", "levels of groups");
    plot.AddLine("depth", "#2f6fde", Values(log, [](Record f) { return f.m_depth; }));
    return plot.ToSvg(eWIDTH, eHEIGHT * 3 / 4);
}

} // namespace

std::string MakeDynamicPlots(std::vector<DynamicRecord> const& log)
{
    return PlotTree(log) + PlotChanges(log) + PlotUpdate(log) + PlotWalk(log) + PlotDepth(log);
}

} // namespace demo
