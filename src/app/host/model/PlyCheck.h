// Checks that a PLY file holds as much as its header promises.
#pragma once

#include <istream>
#include <string>

namespace host
{

/// Reads a PLY file from its first byte. Returns one line when its data end before the header's
/// counts are reached, or when the header is damaged; an empty text when the file is complete or is
/// no PLY file at all. One pass over the data.
std::string FindPlyFault(std::istream& file);

} // namespace host
