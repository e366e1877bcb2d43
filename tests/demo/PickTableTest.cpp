#include "demo/PickTable.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

demo::PickView MakeView()
{
    demo::PickView view;
    view.m_numDrawn = 1234;
    for (int i = 0; i < 4; ++i) {
        demo::PixelPick pixel;
        pixel.m_x = 10 + i;
        pixel.m_y = 20;
        pixel.m_verdict = i == 0 ? demo::PixelVerdict::eBACKGROUND
                                 : (i == 3 ? demo::PixelVerdict::eEDGE : demo::PixelVerdict::eSAME);
        pixel.m_picked.m_isHit = i > 0;
        pixel.m_picked.m_placement = 7;
        pixel.m_picked.m_triangle = 3;
        pixel.m_picked.m_distance = 12.5;
        pixel.m_seen.m_isHit = i == 1 || i == 2;
        pixel.m_seen.m_placement = 7;
        pixel.m_seen.m_distance = 12.25;
        // The first shows background and must not count: with it the medians were 1.5 and 0.75.
        pixel.m_seconds = i > 0 ? 1e-6 * i : 0.0;
        pixel.m_walkSeconds = 0.5 * pixel.m_seconds;
        view.m_pixels.push_back(pixel);
    }
    return view;
}

} // namespace

TEST(PickTable, HasACellForEveryColumn)
{
    EXPECT_EQ(demo::PickTableCells(MakeView(), 1).size(), demo::PickTableColumns().size());
    EXPECT_EQ(demo::PickTableCells(demo::PickView(), 1).size(), demo::PickTableColumns().size());
}

TEST(PickTable, CountsVerdictsAndTakesTheMedianOfHits)
{
    std::vector<std::string> const cells = demo::PickTableCells(MakeView(), 3);
    EXPECT_EQ(cells, (std::vector<std::string>{"3", "1.23k", "4", "2", "1", "0", "1", "0", "75.00",
                                               "2.0", "2.9", "1.0"}));
}

TEST(PickTable, LinesUpItsHeadingAndRows)
{
    std::string const heading = demo::PickTableHeading();
    std::string const row = demo::PickTableRow(MakeView(), 3);
    EXPECT_EQ(heading.size() - heading.find('\n') - 1, row.size());
}

TEST(PickTable, WritesALineForEachPixelWithNothingForAMiss)
{
    std::string const csv = demo::PicksToCsv({MakeView(), MakeView()});
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 1 + 8);
    EXPECT_NE(csv.find("\n1,10,20,,,,,,,background in both,0.000000,0.000000\n"),
              std::string::npos);
    EXPECT_NE(csv.find("\n2,11,20,7,3,12.5000,7,0,12.2500,same shape and point,"),
              std::string::npos);
}
