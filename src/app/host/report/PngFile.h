// PNG pictures: writing to a file, to memory (for embedding) and reading back. Built on libpng.
#pragma once

#include "host/report/Image.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// Writes a picture. @return false with a one-line reason in @p problem when that fails; a file
/// that could not be finished is removed.
bool WritePngFile(std::string const& path, Image const& image, std::string* problem);

/// The bytes of a PNG file with the picture; empty when the picture is empty or encoding fails.
std::vector<std::uint8_t> EncodePng(Image const& image);

/// Reads a PNG file's bytes as 8-bit RGB. @return false when they are not a whole PNG.
bool DecodePng(std::vector<std::uint8_t> const& bytes, Image* image);

} // namespace host
