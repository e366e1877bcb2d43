#include "host/report/LinePainter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace host
{

namespace
{

constexpr std::uint32_t eDARKEST = 64; // of a channel of a false colour
constexpr std::uint32_t eSPAN = 256 - eDARKEST;

/// A bijective mix of the bits: multiply and fold, twice.
std::uint32_t Scramble(std::uint32_t number)
{
    number = (number ^ (number >> 16)) * 0x45d9f3bU;
    number = (number ^ (number >> 16)) * 0x45d9f3bU;
    return number ^ (number >> 16);
}

std::uint8_t MakeChannel(std::uint32_t byte)
{
    return static_cast<std::uint8_t>(eDARKEST + (byte & 255U) * eSPAN / 256U);
}

std::uint8_t Mix(std::uint8_t from, std::uint8_t to, double share)
{
    double const mixed = from + (static_cast<double>(to) - from) * std::clamp(share, 0.0, 1.0);
    return static_cast<std::uint8_t>(mixed + 0.5);
}

} // namespace

void PaintLine(Image* image, int x0, int y0, int x1, int y1, int width, Rgb colour)
{
    int const steps = std::max({std::abs(x1 - x0), std::abs(y1 - y0), 1});
    for (int i = 0; i <= steps; ++i) {
        double const share = static_cast<double>(i) / steps;
        int const x = x0 + static_cast<int>(std::lround(share * (x1 - x0)));
        int const y = y0 + static_cast<int>(std::lround(share * (y1 - y0)));
        image->Fill(x - width / 2, y - width / 2, width, width, colour);
    }
}

void PaintFrame(Image* image, int x, int y, int width, int height, int thickness, Rgb colour)
{
    image->Fill(x, y, width, thickness, colour);
    image->Fill(x, y + height - thickness, width, thickness, colour);
    image->Fill(x, y, thickness, height, colour);
    image->Fill(x + width - thickness, y, thickness, height, colour);
}

void TintPixel(Image* image, int x, int y, Rgb colour, double share)
{
    std::uint8_t* const pixel = image->GetPixel(x, y);
    pixel[0] = Mix(pixel[0], colour.m_red, share);
    pixel[1] = Mix(pixel[1], colour.m_green, share);
    pixel[2] = Mix(pixel[2], colour.m_blue, share);
}

Rgb MakeFalseColour(std::uint32_t number)
{
    std::uint32_t const bits = Scramble(number + 1);
    return {MakeChannel(bits), MakeChannel(bits >> 8), MakeChannel(bits >> 16)};
}

} // namespace host
