// Line plots as SVG text, to be put into a page. No script, no style sheet, no external reference.
#pragma once

#include <string>
#include <vector>

namespace host
{

/// One plot: lines over a common x axis that counts 0, 1, 2, ...
/// Lines are either drawn as they are or stacked as filled bands in the order of adding.
class SvgPlot
{
public:
    SvgPlot(std::string title, std::string xLabel, std::string yLabel);

    /// Adds a line. Values that are not finite leave a gap. @param colour  "#rrggbb".
    void AddLine(std::string name, std::string colour, std::vector<double> values);

    /// Adds a dashed horizontal line across the whole plot.
    void AddLevel(std::string name, std::string colour, double level);

    /// Stacks all lines as bands, each on top of those before it. Off after construction.
    void SetStacked(bool stacked) { m_stacked = stacked; }

    /// The plot as one <svg> element of a size in pixels.
    std::string ToSvg(int width, int height) const;

    /// A round step that divides 0 to `largest` into at most `parts` parts (1, 2 or 5 times a
    /// power of ten); 1 when `largest` is not above 0.
    static double RoundStep(double largest, int parts);

private:
    struct Line
    {
        std::string m_name;
        std::string m_colour;
        std::vector<double> m_values;
    };

    struct Level
    {
        std::string m_name;
        std::string m_colour;
        double m_level;
    };

    struct Frame;

    double FindLargest() const;
    std::string DrawAxes(Frame const& frame) const;
    std::string DrawLines(Frame const& frame) const;
    std::string DrawBands(Frame const& frame) const;
    std::string DrawKey(Frame const& frame) const;

    std::string m_title;
    std::string m_xLabel;
    std::string m_yLabel;
    std::vector<Line> m_lines;
    std::vector<Level> m_levels;
    bool m_stacked = false;
};

} // namespace host
