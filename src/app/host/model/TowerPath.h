// The suggested walk through the tower: around it from outside, in through an open balcony door,
// along corridors and through rooms, up the stairs and out again.
#pragma once

#include "host/model/SceneModel.h"

#include <vector>

namespace host
{

/// Rooms whose balcony doors the walk uses; what lies before them outside is kept clear.
struct TowerPathRooms
{
    static constexpr int s_entry = 2; ///< on the south side
    static constexpr int s_visit = 4; ///< on the north side, seen from inside only
    static constexpr int s_exit = 5;  ///< on the south side
};

/// Keys for a tower of so many storeys (at least 1). Straight lines between neighbours meet neither
/// walls nor furniture. Where the direction changes on the spot, two keys share one place. Made to
/// be walked at the same time for each pair of keys: outside they are far apart, inside close.
std::vector<CameraKey> MakeTowerPath(int storeys);

} // namespace host
