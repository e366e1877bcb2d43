#include "demo/FrameTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

std::vector<host::FrameRecord> MakeLog()
{
    std::vector<host::FrameRecord> log(3);
    for (std::size_t i = 0; i < log.size(); ++i) {
        log[i].m_frame = static_cast<unsigned>(i + 1);
        log[i].m_frameTime = 0.1 * static_cast<double>(i + 1);
        log[i].m_targetTime = 0.25;
        log[i].m_tris = static_cast<unsigned>(1000 * i);
        log[i].m_triangleTarget = 0xFFFFFFFFU;
        log[i].m_stress = static_cast<double>(i);
        log[i].m_clipped = i == 1;
    }
    return log;
}

} // namespace

TEST(FrameTable, HasACellForEveryColumn)
{
    EXPECT_EQ(demo::FrameTableCells(MakeLog(), 0, 3).size(), demo::FrameTableColumns().size());
}

TEST(FrameTable, ShowsMeansAndTheLastFramesSettings)
{
    std::vector<std::string> const cells = demo::FrameTableCells(MakeLog(), 0, 3);
    EXPECT_EQ(cells[0], "1-3");
    EXPECT_EQ(cells[1], "200");
    EXPECT_EQ(cells[2], "250");
    EXPECT_EQ(cells[6], "1.00k");
    EXPECT_EQ(cells[12], "none");
    EXPECT_EQ(cells[13], "2.00");
    EXPECT_EQ(cells[15], "2/3");
}

TEST(FrameTable, LinesUpRowsWithTheHeading)
{
    std::string const heading = demo::FrameTableHeading();
    std::size_t const split = heading.find('\n');
    ASSERT_NE(split, std::string::npos);
    std::string const row = demo::FrameTableRow(MakeLog(), 0, 3);
    EXPECT_EQ(split, heading.size() - split - 1);
    EXPECT_EQ(row.size(), split);
}

TEST(FrameTable, IsEmptyForNoFrames)
{
    EXPECT_TRUE(demo::FrameTableCells(MakeLog(), 2, 2).empty());
    EXPECT_TRUE(demo::FrameTableCells(MakeLog(), 0, 9).empty());
}
