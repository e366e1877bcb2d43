#include "demo/DemoPlots.h"

#include "host/report/SvgPlot.h"

#include <algorithm>
#include <limits>

namespace demo
{

namespace
{

using host::FrameRecord;
using host::SvgPlot;

constexpr int eWIDTH = 1110;
constexpr int eHEIGHT = 260;
constexpr unsigned eNO_TARGET = 0xFFFFFFFFU;
constexpr double eGAP = std::numeric_limits<double>::quiet_NaN();

template <class Get>
std::vector<double> Values(std::vector<FrameRecord> const& log, Get get)
{
    std::vector<double> values;
    values.reserve(log.size());
    for (FrameRecord const& frame : log) {
        values.push_back(static_cast<double>(get(frame)));
    }
    return values;
}

std::string PlotTimes(std::vector<FrameRecord> const& log)
{
    SvgPlot plot("Frame time", "frame", "milliseconds");
    plot.AddLine("frame", "#2f6fde",
                 Values(log, [](FrameRecord const& f) { return f.m_frameTime * 1e3; }));
    plot.AddLine("traversal with drawing calls", "#e08a1e",
                 Values(log, [](FrameRecord const& f) { return f.m_traversalTime * 1e3; }));
    plot.AddLevel("target", "#c0392b", log.empty() ? 0.0 : log.front().m_targetTime * 1e3);
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotTriangles(std::vector<FrameRecord> const& log)
{
    SvgPlot plot("Triangles", "frame", "triangles");
    plot.AddLine("drawn", "#2f6fde", Values(log, [](FrameRecord const& f) { return f.m_tris; }));
    plot.AddLine("triangle target", "#c0392b", Values(log, [](FrameRecord const& f) {
                     return f.m_triangleTarget == eNO_TARGET
                                ? eGAP
                                : static_cast<double>(f.m_triangleTarget);
                 }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotWhereabouts(std::vector<FrameRecord> const& log, std::uint64_t placedTris)
{
    SvgPlot plot("Where the model's triangles went", "frame", "triangles");
    plot.SetStacked(true);
    plot.AddLine("drawn", "#2f6fde", Values(log, [](FrameRecord const& f) { return f.m_tris; }));
    plot.AddLine("hidden by others", "#6b4fc8",
                 Values(log, [](FrameRecord const& f) { return f.m_trisOcclusion; }));
    plot.AddLine("too small", "#3aa675",
                 Values(log, [](FrameRecord const& f) { return f.m_trisArea; }));
    plot.AddLine("outside the view", "#c9d2dc",
                 Values(log, [](FrameRecord const& f) { return f.m_trisFrustum; }));
    plot.AddLine("switched off or dealt with", "#8c6d46", Values(log, [](FrameRecord const& f) {
                     return static_cast<double>(f.m_trisVisibility) + f.m_trisTraversed;
                 }));
    plot.AddLine("not reached in time", "#e0705c", Values(log, [=](FrameRecord const& f) {
                     double const seen = static_cast<double>(f.m_tris) + f.m_trisOcclusion +
                                         f.m_trisArea + f.m_trisFrustum + f.m_trisVisibility +
                                         f.m_trisTraversed;
                     return std::max(static_cast<double>(placedTris) - seen, 0.0);
                 }));
    return plot.ToSvg(eWIDTH, eHEIGHT + 60);
}

std::string PlotControl(std::vector<FrameRecord> const& log)
{
    SvgPlot plot("Stress and load", "frame", "");
    plot.AddLine("stress", "#c0392b", Values(log, [](FrameRecord const& f) { return f.m_stress; }));
    plot.AddLine("load", "#2f6fde", Values(log, [](FrameRecord const& f) { return f.m_load; }));
    plot.AddLine("traversal factor", "#3aa675",
                 Values(log, [](FrameRecord const& f) { return f.m_traversalFactor; }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

std::string PlotQueries(std::vector<FrameRecord> const& log)
{
    SvgPlot plot("Occlusion queries", "frame", "queries");
    plot.AddLine("issued", "#2f6fde",
                 Values(log, [](FrameRecord const& f) { return f.m_queriesIssued; }));
    plot.AddLine("occluded", "#6b4fc8",
                 Values(log, [](FrameRecord const& f) { return f.m_queriesOccluded; }));
    plot.AddLine("aborted", "#c0392b",
                 Values(log, [](FrameRecord const& f) { return f.m_queriesAborted; }));
    return plot.ToSvg(eWIDTH, eHEIGHT);
}

} // namespace

std::string MakePlots(std::vector<FrameRecord> const& log, std::uint64_t placedTris)
{
    return PlotTimes(log) + PlotTriangles(log) + PlotWhereabouts(log, placedTris) +
           PlotControl(log) + PlotQueries(log);
}

} // namespace demo
