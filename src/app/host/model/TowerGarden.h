// The ground around the tower: trees, cars and whatever else is too large for a room, set out in
// rows to the south and north.
#pragma once

#include "host/model/FurnitureLibrary.h"
#include "host/model/RoomLayout.h"

#include <vector>

namespace host
{

/// The outcome of LayOutGarden().
struct Garden
{
    std::vector<LaidPiece> pieces;
    double halfExtent = 0.0; ///< of the ground that is needed, from the middle in x and z
};

/// Places each of `numbers` (positions in the library's pieces) once, in rows that keep clear of
/// each other and of the lanes before the walk's balconies. Linear.
Garden LayOutGarden(FurnitureLibrary const& library, std::vector<uint32_t> const& numbers);

} // namespace host
