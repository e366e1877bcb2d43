// The one place that decides where furniture comes from: the cache, else the installed
// catalogues (which then go into the cache), else the generator.
#pragma once

#include "host/model/FurnitureLibrary.h"

#include <string>

namespace host
{

/// Where to look. Empty strings mean the usual places.
struct FurnitureOptions
{
    std::string directory;  ///< of .sh3f files; see FindFurnitureCatalogues()
    std::string cachePath;  ///< of the cache file; empty: furniture.cache in GetCacheDirectory()
    bool useCache = true;   ///< false: neither read nor written
    bool generated = false; ///< true: do not look for catalogues at all
};

/// Loads furniture; always returns some. FurnitureLibrary::generated tells whether the generator
/// had to step in, FurnitureLibrary::note says why or what was left out.
FurnitureLibrary LoadFurniture(FurnitureOptions const& options, ProgressFn const& progress);

} // namespace host
