#include "host/report/LinePainter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <tuple>
#include <utility>

namespace
{

constexpr host::Rgb s_white{255, 255, 255};

bool IsLit(host::Image const& image, int x, int y)
{
    return image.GetPixel(x, y)[0] == 255;
}

int CountLit(host::Image const& image)
{
    int count = 0;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            count += IsLit(image, x, y) ? 1 : 0;
        }
    }
    return count;
}

} // namespace

TEST(LinePainter, DrawsLinesFromEndToEndInEveryDirection)
{
    for (auto const& [x, y] : {std::pair{9, 4}, {0, 4}, {5, 0}, {5, 9}, {0, 0}, {9, 9}, {5, 4}}) {
        host::Image image(10, 10);
        host::PaintLine(&image, 5, 4, x, y, 1, s_white);
        EXPECT_TRUE(IsLit(image, 5, 4));
        EXPECT_TRUE(IsLit(image, x, y));
        EXPECT_EQ(CountLit(image), std::max(std::abs(x - 5), std::abs(y - 4)) + 1);
    }
}

TEST(LinePainter, ClipsLinesAndFramesToThePicture)
{
    host::Image image(10, 10);
    host::PaintLine(&image, -5, 3, 20, 3, 1, s_white);
    EXPECT_EQ(CountLit(image), 10);
    host::PaintFrame(&image, -2, -2, 30, 30, 1, s_white);
    EXPECT_EQ(CountLit(image), 10);
}

TEST(LinePainter, DrawsFramesInsideTheirRectangle)
{
    host::Image image(10, 10);
    host::PaintFrame(&image, 2, 3, 6, 5, 1, s_white);
    EXPECT_EQ(CountLit(image), 2 * 6 + 2 * 3);
    EXPECT_TRUE(IsLit(image, 2, 3));
    EXPECT_TRUE(IsLit(image, 7, 7));
    EXPECT_FALSE(IsLit(image, 4, 5));
    EXPECT_FALSE(IsLit(image, 8, 7));
}

TEST(LinePainter, MovesPixelsTowardsAColour)
{
    host::Image image(1, 1);
    host::TintPixel(&image, 0, 0, {200, 100, 0}, 0.5);
    EXPECT_EQ(image.GetPixel(0, 0)[0], 100);
    EXPECT_EQ(image.GetPixel(0, 0)[1], 50);
    host::TintPixel(&image, 0, 0, {200, 100, 0}, 1.0);
    EXPECT_EQ(image.GetPixel(0, 0)[0], 200);
    host::TintPixel(&image, 0, 0, {0, 0, 0}, 0.0);
    EXPECT_EQ(image.GetPixel(0, 0)[0], 200);
}

TEST(LinePainter, GivesNumbersCloseToEachOtherColoursFarApart)
{
    constexpr int eNUMBERS = 1000;
    std::set<std::tuple<int, int, int>> colours;
    int steps = 0;
    for (std::uint32_t number = 0; number < eNUMBERS; ++number) {
        host::Rgb const a = host::MakeFalseColour(number);
        host::Rgb const b = host::MakeFalseColour(number + 1);
        colours.insert({a.m_red, a.m_green, a.m_blue});
        EXPECT_GE(std::min({a.m_red, a.m_green, a.m_blue}), 64) << number;
        steps += std::abs(a.m_red - b.m_red) + std::abs(a.m_green - b.m_green) +
                 std::abs(a.m_blue - b.m_blue);
    }
    EXPECT_GT(steps / eNUMBERS, 150);
    EXPECT_GT(colours.size(), 990U);
}
