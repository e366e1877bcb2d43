#include "host/report/SvgPlot.h"

#include "host/report/FrameLog.h"
#include "host/report/HtmlText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace host
{

namespace
{

constexpr double eLEFT = 62.0;
constexpr double eRIGHT = 14.0;
constexpr double eTOP = 30.0;
constexpr double eBOTTOM = 58.0;
constexpr double eKEY_CHARACTER = 6.6;
constexpr int eY_PARTS = 5;
constexpr int eX_PARTS = 10;

std::string Number(double value)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

std::string Text(double x, double y, char const* anchor, char const* style, std::string const& text)
{
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" text-anchor=\"" + anchor + "\" " +
           style + ">" + EscapeHtml(text) + "</text>\n";
}

std::string Segment(double x0, double y0, double x1, double y1, std::string const& colour,
                    char const* more)
{
    return "<line x1=\"" + Number(x0) + "\" y1=\"" + Number(y0) + "\" x2=\"" + Number(x1) +
           "\" y2=\"" + Number(y1) + "\" stroke=\"" + EscapeHtml(colour) + "\" " + more + "/>\n";
}

} // namespace

/// Maps values to places inside one drawing.
struct SvgPlot::Frame
{
    double m_width;
    double m_height;
    double m_largest; ///< value at the top
    std::size_t m_count;

    double X(double index) const
    {
        double const last = m_count > 1 ? static_cast<double>(m_count - 1) : 1.0;
        return eLEFT + index / last * (m_width - eLEFT - eRIGHT);
    }

    double Y(double value) const
    {
        return m_height - eBOTTOM - value / m_largest * (m_height - eTOP - eBOTTOM);
    }
};

SvgPlot::SvgPlot(std::string title, std::string xLabel, std::string yLabel)
    : m_title(std::move(title))
    , m_xLabel(std::move(xLabel))
    , m_yLabel(std::move(yLabel))
{}

void SvgPlot::AddLine(std::string name, std::string colour, std::vector<double> values)
{
    m_lines.push_back({std::move(name), std::move(colour), std::move(values)});
}

void SvgPlot::AddLevel(std::string name, std::string colour, double level)
{
    m_levels.push_back({std::move(name), std::move(colour), level});
}

double SvgPlot::RoundStep(double largest, int parts)
{
    if (!(largest > 0.0) || !std::isfinite(largest) || parts < 1) {
        return 1.0;
    }
    double const rough = largest / parts;
    double const power = std::pow(10.0, std::floor(std::log10(rough)));
    for (double const factor : {1.0, 2.0, 5.0, 10.0}) {
        // The tiny allowance keeps 0.3 / 3 at steps of 0.1.
        if (factor * power * (1.0 + 1e-9) >= rough) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

double SvgPlot::FindLargest() const
{
    double largest = 0.0;
    std::vector<double> sums;
    for (Line const& line : m_lines) {
        sums.resize(std::max(sums.size(), line.m_values.size()), 0.0);
        for (std::size_t i = 0; i < line.m_values.size(); ++i) {
            if (std::isfinite(line.m_values[i])) {
                sums[i] = (m_stacked ? sums[i] : 0.0) + line.m_values[i];
                largest = std::max(largest, sums[i]);
            }
        }
    }
    for (Level const& level : m_levels) {
        largest = std::max(largest, level.m_level);
    }
    return largest > 0.0 ? largest : 1.0;
}

std::string SvgPlot::DrawAxes(Frame const& frame) const
{
    char const* small = "font-size=\"11\" fill=\"#55606e\"";
    std::string svg = Text(eLEFT, 18.0, "start", "font-size=\"14\" font-weight=\"600\"", m_title);
    double const right = frame.m_width - eRIGHT;
    double const step = RoundStep(frame.m_largest, eY_PARTS);
    for (double value = 0.0; value <= frame.m_largest * (1.0 + 1e-9); value += step) {
        double const y = frame.Y(value);
        svg += Segment(eLEFT, y, right, y, value > 0.0 ? "#e3e7ec" : "#8a94a1", "");
        svg += Text(eLEFT - 6.0, y + 4.0, "end", small, FormatShort(value));
    }
    if (frame.m_count > 1) {
        double const last = static_cast<double>(frame.m_count - 1);
        double const xStep = std::max(RoundStep(last, eX_PARTS), 1.0);
        for (double index = 0.0; index <= last; index += xStep) {
            svg += Text(frame.X(index), frame.m_height - eBOTTOM + 16.0, "middle", small,
                        FormatShort(index));
        }
    }
    svg += Text(right, frame.m_height - eBOTTOM + 32.0, "end", small, m_xLabel);
    svg += Text(right, 18.0, "end", small, m_yLabel);
    return svg;
}

std::string SvgPlot::DrawLines(Frame const& frame) const
{
    std::string svg;
    for (Line const& line : m_lines) {
        std::string path;
        bool drawing = false;
        for (std::size_t i = 0; i < line.m_values.size(); ++i) {
            if (!std::isfinite(line.m_values[i])) {
                drawing = false;
                continue;
            }
            path += (drawing ? "L" : "M") + Number(frame.X(static_cast<double>(i))) + " " +
                    Number(frame.Y(line.m_values[i])) + " ";
            drawing = true;
        }
        svg += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + EscapeHtml(line.m_colour) +
               "\" stroke-width=\"1.8\" stroke-linejoin=\"round\"/>\n";
    }
    return svg;
}

std::string SvgPlot::DrawBands(Frame const& frame) const
{
    std::string svg;
    std::vector<double> base(frame.m_count, 0.0);
    for (Line const& line : m_lines) {
        std::string upper;
        std::string lower;
        for (std::size_t i = 0; i < frame.m_count; ++i) {
            double const value = i < line.m_values.size() && std::isfinite(line.m_values[i])
                                     ? line.m_values[i]
                                     : 0.0;
            std::string const x = Number(frame.X(static_cast<double>(i)));
            lower = x + "," + Number(frame.Y(base[i])) + " " + lower;
            base[i] += value;
            upper += x + "," + Number(frame.Y(base[i])) + " ";
        }
        svg += "<polygon points=\"" + upper + lower + "\" fill=\"" + EscapeHtml(line.m_colour) +
               "\" fill-opacity=\"0.85\"/>\n";
    }
    return svg;
}

std::string SvgPlot::DrawKey(Frame const& frame) const
{
    std::string svg;
    double x = eLEFT;
    double const y = frame.m_height - 10.0;
    auto add = [&](std::string const& name, std::string const& colour, char const* style) {
        svg += Segment(x, y - 4.0, x + 18.0, y - 4.0, colour, style);
        svg += Text(x + 23.0, y, "start", "font-size=\"12\"", name);
        x += 40.0 + eKEY_CHARACTER * static_cast<double>(name.size());
    };
    for (Line const& line : m_lines) {
        add(line.m_name, line.m_colour, m_stacked ? "stroke-width=\"9\"" : "stroke-width=\"3\"");
    }
    for (Level const& level : m_levels) {
        add(level.m_name, level.m_colour, "stroke-width=\"2\" stroke-dasharray=\"5 4\"");
    }
    return svg;
}

std::string SvgPlot::ToSvg(int width, int height) const
{
    Frame frame{static_cast<double>(width), static_cast<double>(height), FindLargest(), 0};
    for (Line const& line : m_lines) {
        frame.m_count = std::max(frame.m_count, line.m_values.size());
    }
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " +
                      std::to_string(width) + " " + std::to_string(height) +
                      "\" width=\"100%\" role=\"img\" aria-label=\"" + EscapeHtml(m_title) +
                      "\" font-family=\"system-ui, sans-serif\" fill=\"#1d2530\">\n";
    if (m_stacked) {
        svg += DrawBands(frame);
    }
    svg += DrawAxes(frame);
    if (!m_stacked) {
        svg += DrawLines(frame);
    }
    for (Level const& level : m_levels) {
        svg +=
            Segment(eLEFT, frame.Y(level.m_level), frame.m_width - eRIGHT, frame.Y(level.m_level),
                    level.m_colour, "stroke-width=\"1.5\" stroke-dasharray=\"5 4\"");
    }
    return svg + DrawKey(frame) + "</svg>\n";
}

} // namespace host
