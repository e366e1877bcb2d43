#include "host/report/SvgPlot.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace
{

std::size_t Count(std::string const& text, std::string const& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

} // namespace

TEST(SvgPlot, ChoosesRoundStepsThatCoverTheRange)
{
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(10.0, 5), 2.0);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(11.0, 5), 5.0);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(0.3, 3), 0.1);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(7.2e6, 5), 2e6);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(0.0, 5), 1.0);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(-4.0, 5), 1.0);
    EXPECT_DOUBLE_EQ(host::SvgPlot::RoundStep(std::numeric_limits<double>::quiet_NaN(), 5), 1.0);
}

TEST(SvgPlot, DrawsEveryLineWithItsName)
{
    host::SvgPlot plot("Times", "frame", "ms");
    plot.AddLine("first", "#112233", {1.0, 2.0, 3.0});
    plot.AddLine("second", "#445566", {3.0, 2.0, 1.0});
    plot.AddLevel("target", "#778899", 2.0);
    std::string const svg = plot.ToSvg(600, 200);
    EXPECT_EQ(svg.rfind("<svg ", 0), 0U);
    EXPECT_EQ(Count(svg, "<path "), 2U);
    EXPECT_EQ(Count(svg, "#112233"), 2U); // the line and its key
    EXPECT_NE(svg.find(">first<"), std::string::npos);
    EXPECT_NE(svg.find(">target<"), std::string::npos);
    EXPECT_NE(svg.find("viewBox=\"0 0 600 200\""), std::string::npos);
    EXPECT_EQ(Count(svg, "</svg>"), 1U);
}

TEST(SvgPlot, LeavesAGapForValuesThatAreNotFinite)
{
    host::SvgPlot plot("Gap", "", "");
    double const gap = std::numeric_limits<double>::quiet_NaN();
    plot.AddLine("line", "#000000", {1.0, 2.0, gap, 2.0, 1.0});
    std::string const svg = plot.ToSvg(600, 200);
    std::size_t const path = svg.find("<path d=\"");
    ASSERT_NE(path, std::string::npos);
    std::string const data = svg.substr(path, svg.find("\" fill", path) - path);
    EXPECT_EQ(Count(data, "M"), 2U) << data;
    EXPECT_EQ(Count(svg, "nan"), 0U);
}

TEST(SvgPlot, PutsTheLargestValueNotAboveTheTop)
{
    host::SvgPlot plot("Top", "", "");
    plot.AddLine("line", "#000000", {0.0, 100.0});
    std::string const svg = plot.ToSvg(600, 200);
    // The second point stands at the right edge and at the top of the drawing area.
    EXPECT_NE(svg.find("L586.00 30.00"), std::string::npos) << svg;
}

TEST(SvgPlot, StacksBandsOnEachOther)
{
    host::SvgPlot plot("Bands", "", "");
    plot.SetStacked(true);
    plot.AddLine("low", "#000001", {50.0, 50.0});
    plot.AddLine("high", "#000002", {50.0, 50.0});
    std::string const svg = plot.ToSvg(600, 200);
    EXPECT_EQ(Count(svg, "<polygon "), 2U);
    // Drawing area 30 to 142: the first band's top is its middle, the second's top its upper edge.
    EXPECT_NE(svg.find("62.00,86.00 586.00,86.00"), std::string::npos) << svg;
    EXPECT_NE(svg.find("62.00,30.00 586.00,30.00"), std::string::npos) << svg;
}

TEST(SvgPlot, EscapesTexts)
{
    host::SvgPlot plot("a < b & c", "", "");
    plot.AddLine("\"line\"", "#000000", {1.0});
    std::string const svg = plot.ToSvg(600, 200);
    EXPECT_NE(svg.find("a &lt; b &amp; c"), std::string::npos);
    EXPECT_EQ(svg.find("a < b"), std::string::npos);
}

TEST(SvgPlot, DrawsNothingWithoutValues)
{
    host::SvgPlot const empty("Empty", "", "");
    std::string const svg = empty.ToSvg(600, 200);
    EXPECT_EQ(Count(svg, "<path "), 0U);
    EXPECT_EQ(Count(svg, "nan") + Count(svg, "inf"), 0U);
}
