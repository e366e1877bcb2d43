// Lines, frames and tints inside pictures. Everything is clipped to the picture; colours are mixed
// channel by channel.
#pragma once

#include "host/report/Image.h"

#include <cstdint>

namespace host
{

/// Draws a straight line, both ends included, each dot a square of `width` pixels.
void PaintLine(Image* image, int x0, int y0, int x1, int y1, int width, Rgb colour);

/// Draws the rim of a rectangle, inwards from its outermost pixels.
void PaintFrame(Image* image, int x, int y, int width, int height, int thickness, Rgb colour);

/// Moves a pixel towards a colour. The pixel must exist. @param share  0 leaves it, 1 replaces it
void TintPixel(Image* image, int x, int y, Rgb colour, double share);

/// A colour for a number: numbers close to each other get colours far
/// apart on the whole, none of them dark.
Rgb MakeFalseColour(std::uint32_t number);

} // namespace host
