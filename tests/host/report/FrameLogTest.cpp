#include "host/report/FrameLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> Split(std::string const& line)
{
    std::vector<std::string> cells;
    std::stringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) {
        cells.push_back(cell);
    }
    return cells;
}

host::FrameRecord MakeRecord()
{
    host::FrameRecord record;
    record.m_frame = 7;
    record.m_frameTime = 0.1234567;
    record.m_targetTime = 0.2;
    record.m_nodesTested = 1234;
    record.m_tris = 4294967295U;
    record.m_trisFrustum = 11;
    record.m_trisArea = 12;
    record.m_trisVisibility = 13;
    record.m_trisTraversed = 14;
    record.m_trisOcclusion = 15;
    record.m_clipped = true;
    record.m_queriesOccluded = 3;
    return record;
}

} // namespace

TEST(FrameLog, WritesOneCellForEveryHeading)
{
    std::vector<std::string> const heading = Split(host::FrameCsvHeading());
    std::vector<std::string> const cells = Split(host::FrameCsvLine(MakeRecord()));
    ASSERT_EQ(heading.size(), cells.size());
    auto cell = [&](std::string const& name) {
        auto const at = std::find(heading.begin(), heading.end(), name);
        return at != heading.end() ? cells[static_cast<std::size_t>(at - heading.begin())]
                                   : std::string("no such column");
    };
    EXPECT_EQ(cell("frame"), "7");
    EXPECT_EQ(cell("frame_s"), "0.123457");
    EXPECT_EQ(cell("triangles"), "4294967295");
    EXPECT_EQ(cell("frustum_culled"), "11");
    EXPECT_EQ(cell("area_culled"), "12");
    EXPECT_EQ(cell("visibility_culled"), "13");
    EXPECT_EQ(cell("traversed_culled"), "14");
    EXPECT_EQ(cell("occlusion_culled"), "15");
    EXPECT_EQ(cell("clipped"), "1");
}

TEST(FrameLog, WritesDecimalPointsInEveryLocale)
{
    struct CommaPoint : std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }

        char do_thousands_sep() const override { return '.'; }

        std::string do_grouping() const override { return "\3"; }
    };

    std::string const plain = host::FrameCsvLine(MakeRecord());
    std::locale const before =
        std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
    std::string const other = host::FrameCsvLine(MakeRecord());
    std::locale::global(before);
    EXPECT_EQ(plain, other);
}

TEST(FrameLog, EndsEveryLineOfAWholeLog)
{
    std::string const text = host::FramesToCsv({MakeRecord(), MakeRecord()});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    EXPECT_EQ(text.back(), '\n');
}

TEST(FrameLog, SeparatesThousands)
{
    EXPECT_EQ(host::FormatCount(0), "0");
    EXPECT_EQ(host::FormatCount(999), "999");
    EXPECT_EQ(host::FormatCount(1000), "1 000");
    EXPECT_EQ(host::FormatCount(123456789), "123 456 789");
    EXPECT_EQ(host::FormatCount(18446744073709551615ULL), "18 446 744 073 709 551 615");
}

TEST(FrameLog, ShortensLargeCounts)
{
    EXPECT_EQ(host::FormatShort(0), "0");
    EXPECT_EQ(host::FormatShort(950), "950");
    EXPECT_EQ(host::FormatShort(0.25), "0.25");
    EXPECT_EQ(host::FormatShort(1234), "1.23k");
    EXPECT_EQ(host::FormatShort(12345), "12.3k");
    EXPECT_EQ(host::FormatShort(4560000), "4.56M");
    EXPECT_EQ(host::FormatShort(123400000), "123M");
    EXPECT_EQ(host::FormatShort(2e9), "2.00G");
}

TEST(FrameLog, InterpolatesPercentiles)
{
    EXPECT_EQ(host::Percentile({}, 0.5), 0.0);
    EXPECT_EQ(host::Percentile({4.0}, 0.95), 4.0);
    EXPECT_EQ(host::Percentile({3.0, 1.0, 2.0}, 0.5), 2.0);
    EXPECT_DOUBLE_EQ(host::Percentile({0.0, 10.0}, 0.25), 2.5);
    EXPECT_EQ(host::Percentile({1.0, 5.0, 3.0}, 1.0), 5.0);
    EXPECT_EQ(host::Percentile({1.0, 5.0, 3.0}, -1.0), 1.0);
}

TEST(FrameLog, WritesTextAndNamesTheFileThatItCannotWrite)
{
    std::string const path = testing::TempDir() + "scenecull-frame-log-test.txt";
    std::string problem;
    ASSERT_TRUE(host::WriteTextFile(path, "one\ntwo\n", &problem)) << problem;
    std::ifstream file(path, std::ios::binary);
    std::stringstream read;
    read << file.rdbuf();
    EXPECT_EQ(read.str(), "one\ntwo\n");
    std::remove(path.c_str());

    std::string const nowhere = testing::TempDir() + "scenecull-no-such-folder/file.txt";
    EXPECT_FALSE(host::WriteTextFile(nowhere, "text", &problem));
    EXPECT_EQ(problem.find(nowhere), 0U) << problem;
}
