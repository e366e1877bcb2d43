// Faults of a model file that importers overlook or answer badly: looked for before one is asked.
#pragma once

#include <string>

namespace host
{

/// What makes a path unfit: it does not exist, is a directory or no regular file, cannot be opened,
/// is empty, or ends before its own format says it should (PLY, ASCII STL, and an OBJ whose last
/// line breaks off). One line without the file's name; empty when nothing was found, which does not
/// mean that the file is good. Reads PLY files and the ends of the others; never throws anything
/// but std::bad_alloc.
std::string FindFileFault(std::string const& path);

} // namespace host
