// Reads the furniture catalogues that Debian's sweethome3d-furniture package installs: .sh3f files
// (zip) with a .properties list and OBJ models inside.
//
// LoadFurniture() in FurnitureStore.h is the usual caller; it reads the catalogues once and keeps
// the result in a cache. Reading all of them takes a minute or more, spread over the processor's
// cores.
#pragma once

#include "host/model/FurnitureLibrary.h"

#include <string>
#include <vector>

namespace host
{

/// The catalogue files (.sh3f), sorted by name, that are to be read.
/// Looks in `directory` when it is not empty, else in the directory named by the environment
/// variable SCENECULL_FURNITURE, else through every /usr/share/sweethome3d* tree. Returns an empty
/// list where there are none. Never throws.
std::vector<std::string> FindFurnitureCatalogues(std::string const& directory);

/// Reads all pieces of the given catalogue files.
/// Every model is split into its material groups, turned and scaled to its catalogue size. Pieces
/// that are listed more than once with the same model and size are kept once. What cannot be read
/// is left out and counted in FurnitureLibrary::note. Never throws; out of memory for one model
/// leaves that model out.
FurnitureLibrary ReadFurnitureCatalogues(std::vector<std::string> const& files,
                                         ProgressFn const& progress);

} // namespace host
