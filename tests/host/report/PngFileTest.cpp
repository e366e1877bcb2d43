#include "host/report/PngFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace
{

host::Image MakePicture(int width, int height)
{
    host::Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = image.GetPixel(x, y);
            pixel[0] = static_cast<std::uint8_t>(x * 7 + y);
            pixel[1] = static_cast<std::uint8_t>(y * 13);
            pixel[2] = static_cast<std::uint8_t>((x ^ y) * 3);
        }
    }
    return image;
}

std::vector<std::uint8_t> ReadBytes(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(PngFile, GivesBackEveryPixel)
{
    host::Image const picture = MakePicture(37, 21);
    host::Image read;
    ASSERT_TRUE(host::DecodePng(host::EncodePng(picture), &read));
    EXPECT_EQ(read.GetWidth(), 37);
    EXPECT_EQ(read.GetHeight(), 21);
    EXPECT_EQ(read.GetPixels(), picture.GetPixels());
}

TEST(PngFile, WritesAFileThatReadsBack)
{
    std::string const path = testing::TempDir() + "scenecull-png-file-test.png";
    host::Image const picture = MakePicture(16, 9);
    std::string problem;
    ASSERT_TRUE(host::WritePngFile(path, picture, &problem)) << problem;
    host::Image read;
    EXPECT_TRUE(host::DecodePng(ReadBytes(path), &read));
    EXPECT_EQ(read.GetPixels(), picture.GetPixels());
    std::remove(path.c_str());
}

TEST(PngFile, NamesTheFileThatItCannotWrite)
{
    std::string const path = testing::TempDir() + "scenecull-no-such-folder/picture.png";
    std::string problem;
    EXPECT_FALSE(host::WritePngFile(path, MakePicture(4, 4), &problem));
    EXPECT_EQ(problem.find(path), 0U) << problem;
    EXPECT_FALSE(host::WritePngFile(path, host::Image(), &problem));
    EXPECT_EQ(problem.find(path), 0U) << problem;
}

TEST(PngFile, RefusesBytesThatAreNoWholePicture)
{
    std::vector<std::uint8_t> bytes = host::EncodePng(MakePicture(64, 64));
    host::Image read = MakePicture(2, 2);
    bytes.resize(bytes.size() / 2);
    EXPECT_FALSE(host::DecodePng(bytes, &read));
    EXPECT_FALSE(host::DecodePng({}, &read));
    EXPECT_FALSE(host::DecodePng({'n', 'o'}, &read));
    EXPECT_EQ(read.GetWidth(), 2);
}
