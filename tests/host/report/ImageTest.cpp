#include "host/report/Image.h"

#include <gtest/gtest.h>

namespace
{

int Red(host::Image const& image, int x, int y)
{
    return image.GetPixel(x, y)[0];
}

} // namespace

TEST(Image, StartsBlackAndTakesNegativeSizesAsNothing)
{
    host::Image const image(3, 2);
    EXPECT_EQ(image.GetPixels().size(), 18U);
    for (std::uint8_t const value : image.GetPixels()) {
        EXPECT_EQ(value, 0);
    }
    EXPECT_TRUE(host::Image(-3, 5).GetPixels().empty());
}

TEST(Image, ClipsFillsAndPastesToItsEdges)
{
    host::Image image(4, 4);
    image.Fill(-2, -2, 3, 3, {10, 20, 30});
    image.Fill(3, 3, 100, 100, {40, 50, 60});
    EXPECT_EQ(Red(image, 0, 0), 10);
    EXPECT_EQ(Red(image, 1, 0), 0);
    EXPECT_EQ(Red(image, 3, 3), 40);
    host::Image patch(2, 2);
    patch.Fill(0, 0, 2, 2, {99, 0, 0});
    patch.Fill(1, 1, 1, 1, {77, 0, 0});
    image.Paste(patch, -1, -1);
    EXPECT_EQ(Red(image, 0, 0), 77);
    image.Paste(patch, 3, 0);
    EXPECT_EQ(Red(image, 3, 0), 99);
    EXPECT_EQ(Red(image, 3, 1), 99);
    image.Paste(patch, 4, 4);
    image.Paste(patch, -2, 0);
    EXPECT_EQ(Red(image, 0, 1), 0);
}

TEST(Image, AveragesWhatAPixelCoversWhenScaledDown)
{
    host::Image image(4, 2);
    image.Fill(0, 0, 1, 1, {200, 0, 0});
    image.Fill(2, 0, 2, 2, {100, 0, 0});
    host::Image const half = image.ScaledTo(2, 1);
    EXPECT_EQ(Red(half, 0, 0), 50);
    EXPECT_EQ(Red(half, 1, 0), 100);
}

TEST(Image, RepeatsPixelsWhenScaledUp)
{
    host::Image image(2, 1);
    image.Fill(1, 0, 1, 1, {90, 0, 0});
    host::Image const wide = image.ScaledTo(6, 3);
    EXPECT_EQ(Red(wide, 2, 2), 0);
    EXPECT_EQ(Red(wide, 3, 0), 90);
}

TEST(CompareImages, CountsAndMarksDifferentPixels)
{
    host::Image first(5, 5);
    first.Fill(0, 0, 5, 5, {100, 100, 100});
    host::Image second = first;
    second.Fill(1, 1, 1, 1, {100, 103, 100});
    second.Fill(3, 3, 1, 2, {0, 100, 100});
    host::ImageDifference const difference = host::CompareImages(first, second);
    EXPECT_TRUE(difference.m_sameSize);
    EXPECT_EQ(difference.m_pixels, 3U);
    EXPECT_EQ(difference.m_strongPixels, 2U);
    EXPECT_EQ(difference.m_largest, 100);
    EXPECT_EQ(Red(difference.m_picture, 1, 1), 255);
    EXPECT_NE(Red(difference.m_picture, 0, 0), 255);
    EXPECT_EQ(host::CompareImages(first, first).m_pixels, 0U);
}

TEST(CompareImages, TellsDifferentSizesApart)
{
    EXPECT_FALSE(host::CompareImages(host::Image(2, 3), host::Image(3, 2)).m_sameSize);
}
