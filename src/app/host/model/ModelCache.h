// The binary cache of a FurnitureLibrary, so that a second start reads one file instead of
// hundreds of text models.
//
// The file starts with a magic word, a format version, a fingerprint of the sources, the length of
// what follows and its checksum; one that does not fit in any of these is treated as absent.
// Writing goes to a temporary file beside it and is put in place by a rename, so that a reader
// never sees half a cache. Numbers are stored in the machine's own byte order, and the header
// tells a foreign one apart. Cost: one pass over the data.
#pragma once

#include "host/model/FurnitureLibrary.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// A number that changes with the name, size or time of any of the files, or with their order.
/// Files that do not exist take part by name only. Never 0.
uint64_t FingerprintFiles(std::vector<std::string> const& files);

/// Where cache files go: $XDG_CACHE_HOME/scenecull, else $HOME/.cache/scenecull, else a
/// "scenecull" folder in the system's temporary directory. The folder need not exist yet.
std::string GetCacheDirectory();

/// Reads a cache written by WriteFurnitureCache() with the same fingerprint.
/// Returns false, and leaves `library` empty, for a file that is missing, of another version or
/// fingerprint, cut short, longer than it says, or damaged. Never throws.
bool ReadFurnitureCache(std::string const& path, uint64_t fingerprint, FurnitureLibrary& library);

/// Writes the cache and creates its folder where needed. Returns false with one line in `reason`
/// when it cannot; an older cache is then left as it was. Never throws.
bool WriteFurnitureCache(std::string const& path, uint64_t fingerprint,
                         FurnitureLibrary const& library, std::string& reason);

} // namespace host
