// Small labels inside pictures, drawn with a built-in 5 x 7 dot font: no font files, no library.
//
// Letters are drawn as capitals; characters without a glyph are drawn as a blank.
#pragma once

#include "host/report/Image.h"

#include <string>

namespace host
{

/// Width in pixels that a text takes at a scale; 0 for an empty text.
int MeasureText(std::string const& text, int scale);

/// Height in pixels of a line of text at a scale.
int GetTextHeight(int scale);

/// Draws a text with its upper left corner at (x, y), each dot a square of `scale` pixels, clipped
/// to the picture. What lies between the dots is left as it was.
void PaintText(Image* image, int x, int y, std::string const& text, int scale, Rgb colour);

} // namespace host
