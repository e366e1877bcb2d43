// A picture in memory: 8-bit red, green, blue, top row first, no padding. A plain value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host
{

/// A colour of 8 bits a channel.
struct Rgb
{
    std::uint8_t m_red = 0;
    std::uint8_t m_green = 0;
    std::uint8_t m_blue = 0;
};

/// An RGB picture, black after construction.
class Image
{
public:
    Image() = default;

    /// Width and height in pixels; negative ones count as 0.
    Image(int width, int height);

    int GetWidth() const { return m_width; }

    int GetHeight() const { return m_height; }

    /// The three channels of a pixel; the rest of its row follows. The pixel must exist.
    std::uint8_t* GetPixel(int x, int y) { return m_pixels.data() + Offset(x, y); }

    std::uint8_t const* GetPixel(int x, int y) const { return m_pixels.data() + Offset(x, y); }

    std::vector<std::uint8_t> const& GetPixels() const { return m_pixels; }

    /// Fills a rectangle, clipped to the picture.
    void Fill(int x, int y, int width, int height, Rgb colour);

    /// Copies a whole picture to a place, clipped to this one.
    void Paste(Image const& other, int x, int y);

    /// The picture at another size, each pixel the mean of what it covers (nearest when enlarged).
    Image ScaledTo(int width, int height) const;

private:
    std::size_t Offset(int x, int y) const
    {
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
                static_cast<std::size_t>(x)) *
               3;
    }

    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint8_t> m_pixels;
};

/// How two pictures of one size differ.
struct ImageDifference
{
    bool m_sameSize = false;        ///< false: the counts below are 0 and the picture is empty
    std::size_t m_pixels = 0;       ///< pixels with any channel different
    std::size_t m_strongPixels = 0; ///< pixels with a channel different by more than 16
    int m_largest = 0;              ///< largest channel difference
    Image m_picture;                ///< dimmed first picture with the different pixels in red
};

/// Compares two pictures pixel by pixel.
ImageDifference CompareImages(Image const& first, Image const& second);

} // namespace host
