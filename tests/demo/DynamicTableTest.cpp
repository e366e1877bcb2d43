#include "demo/DynamicTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

std::vector<demo::DynamicRecord> MakeLog()
{
    std::vector<demo::DynamicRecord> log(3);
    for (std::size_t i = 0; i < log.size(); ++i) {
        demo::DynamicRecord& record = log[i];
        record.m_draw.m_frame = static_cast<unsigned>(i + 1);
        record.m_draw.m_traversalTime = 0.05;
        record.m_draw.m_frameTime = 0.1 * static_cast<double>(i + 1);
        record.m_draw.m_tris = static_cast<unsigned>(1000 * i);
        record.m_draw.m_clipped = i == 1;
        record.m_inTree = 1000 * (i + 1);
        record.m_added = 100 * i;
        record.m_moved = 30 * i;
        record.m_removed = i;
        record.m_depth = static_cast<int>(i) + 4;
        record.m_editTime = 0.001 * static_cast<double>(i);
        record.m_updateTime = 0.0005 * static_cast<double>(i);
    }
    return log;
}

} // namespace

TEST(DynamicTable, HasACellForEveryColumn)
{
    EXPECT_EQ(demo::DynamicTableCells(MakeLog(), 0, 3).size(), demo::DynamicTableColumns().size());
}

TEST(DynamicTable, ShowsMeansAndTheLastFramesTree)
{
    std::vector<std::string> const cells = demo::DynamicTableCells(MakeLog(), 0, 3);
    std::vector<std::string> const expected = {"1-3",  "3.00k", "100", "30", "1", "6",     "1.0",
                                               "0.50", "50",    "200", "0",  "0", "1.00k", "2/3"};
    EXPECT_EQ(cells, expected);
}

TEST(DynamicTable, LinesUpRowsWithTheHeading)
{
    std::string const heading = demo::DynamicTableHeading();
    std::size_t const split = heading.find('\n');
    ASSERT_NE(split, std::string::npos);
    EXPECT_EQ(split, heading.size() - split - 1);
    EXPECT_EQ(demo::DynamicTableRow(MakeLog(), 0, 3).size(), split);
}

TEST(DynamicTable, IsEmptyForNoFrames)
{
    EXPECT_TRUE(demo::DynamicTableCells(MakeLog(), 2, 2).empty());
    EXPECT_TRUE(demo::DynamicTableCells(MakeLog(), 0, 9).empty());
}

TEST(DynamicTable, WritesEveryFrameAsALineOfValues)
{
    std::string const csv = demo::DynamicToCsv(MakeLog());
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 4);
    std::string const heading = csv.substr(0, csv.find('\n'));
    std::string const line = "2,2000,100,30,1,5,0.001000,0.000500,0.050000,0.200000,0,0,1000,1\n";
    EXPECT_NE(csv.find(line), std::string::npos) << csv;
    EXPECT_EQ(std::count(heading.begin(), heading.end(), ','),
              std::count(line.begin(), line.end(), ','));
}
