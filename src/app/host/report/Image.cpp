#include "host/report/Image.h"

#include <algorithm>
#include <cstdlib>

namespace host
{

namespace
{

constexpr int eSTRONG_DIFFERENCE = 16;

std::size_t PixelCount(int width, int height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

} // namespace

Image::Image(int width, int height)
    : m_width(std::max(width, 0))
    , m_height(std::max(height, 0))
    , m_pixels(PixelCount(m_width, m_height) * 3, 0)
{}

void Image::Fill(int x, int y, int width, int height, Rgb colour)
{
    int const x0 = std::max(x, 0);
    int const x1 = std::min(x + width, m_width);
    for (int row = std::max(y, 0); row < std::min(y + height, m_height); ++row) {
        for (int column = x0; column < x1; ++column) {
            std::uint8_t* pixel = GetPixel(column, row);
            pixel[0] = colour.m_red;
            pixel[1] = colour.m_green;
            pixel[2] = colour.m_blue;
        }
    }
}

void Image::Paste(Image const& other, int x, int y)
{
    int const x0 = std::max(x, 0);
    int const x1 = std::min(x + other.m_width, m_width);
    if (x1 <= x0) {
        return;
    }
    for (int row = std::max(y, 0); row < std::min(y + other.m_height, m_height); ++row) {
        std::copy_n(other.GetPixel(x0 - x, row - y), static_cast<std::size_t>(x1 - x0) * 3,
                    GetPixel(x0, row));
    }
}

Image Image::ScaledTo(int width, int height) const
{
    Image scaled(width, height);
    if (m_width == 0 || m_height == 0) {
        return scaled;
    }
    for (int y = 0; y < scaled.m_height; ++y) {
        int const y0 = static_cast<int>(static_cast<long long>(y) * m_height / height);
        int const y1 = static_cast<int>(static_cast<long long>(y + 1) * m_height / height);
        for (int x = 0; x < scaled.m_width; ++x) {
            int const x0 = static_cast<int>(static_cast<long long>(x) * m_width / width);
            int const x1 = static_cast<int>(static_cast<long long>(x + 1) * m_width / width);
            unsigned sums[3] = {0, 0, 0};
            unsigned count = 0;
            for (int row = y0; row < std::max(y1, y0 + 1); ++row) {
                for (int column = x0; column < std::max(x1, x0 + 1); ++column, ++count) {
                    std::uint8_t const* pixel = GetPixel(column, row);
                    for (int k = 0; k < 3; ++k) {
                        sums[k] += pixel[k];
                    }
                }
            }
            for (int k = 0; k < 3; ++k) {
                scaled.GetPixel(x, y)[k] = static_cast<std::uint8_t>((sums[k] + count / 2) / count);
            }
        }
    }
    return scaled;
}

ImageDifference CompareImages(Image const& first, Image const& second)
{
    ImageDifference result;
    result.m_sameSize =
        first.GetWidth() == second.GetWidth() && first.GetHeight() == second.GetHeight();
    if (!result.m_sameSize) {
        return result;
    }
    result.m_picture = Image(first.GetWidth(), first.GetHeight());
    for (int y = 0; y < first.GetHeight(); ++y) {
        for (int x = 0; x < first.GetWidth(); ++x) {
            std::uint8_t const* a = first.GetPixel(x, y);
            std::uint8_t const* b = second.GetPixel(x, y);
            int largest = 0;
            for (int k = 0; k < 3; ++k) {
                largest = std::max(largest, std::abs(int(a[k]) - int(b[k])));
            }
            std::uint8_t* pixel = result.m_picture.GetPixel(x, y);
            if (largest > 0) {
                ++result.m_pixels;
                result.m_strongPixels += largest > eSTRONG_DIFFERENCE ? 1 : 0;
                result.m_largest = std::max(result.m_largest, largest);
                pixel[0] = 255;
            } else {
                for (int k = 0; k < 3; ++k) {
                    pixel[k] = static_cast<std::uint8_t>(a[k] / 3 + 160);
                }
            }
        }
    }
    return result;
}

} // namespace host
