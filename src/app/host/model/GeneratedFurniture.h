// Furniture made by formula, for machines without the furniture package: tables, chairs, shelves,
// cabinets, sofas, beds, lamps, plants, dishes, doors, trees and more, in several variants each.
//
// The pieces are as heavy as scanned ones (several thousand triangles, several materials), so that
// a tower furnished with them weighs about the same.
#pragma once

#include "host/model/FurnitureLibrary.h"

namespace host
{

/// Makes the whole set, always the same. FurnitureLibrary::generated is set. Takes a fraction of a
/// second.
FurnitureLibrary MakeGeneratedFurniture(ProgressFn const& progress);

} // namespace host
