// The tower's floor plan: where rooms, walls, openings and stairs are. Everything that builds,
// furnishes or walks through the tower reads its numbers here.
//
// The corridor runs along x through the origin, rooms lie on both sides of it along z, the stair
// well is at its +x end. One storey's plan, seen from above (x to the right, z downwards):
//
//     +------+------+------+------+------+------+
//     | N 0  | N 1  | N 2  | N 3  | N 4  | N 5  |
//     +-  ---+-  ---+-  ---+-  ---+-  ---+-  ---+------+
//     |                corridor                 stairs |
//     +-  ---+-  ---+-  ---+-  ---+-  ---+-  ---+------+
//     | S 0  | S 1  | S 2  | S 3  | S 4  | S 5  |
//     +------+------+------+------+------+------+
//
// All lengths are metres.
#pragma once

namespace host
{

/// An area of the plan.
struct Rect
{
    double minX = 0.0;
    double maxX = 0.0;
    double minZ = 0.0;
    double maxZ = 0.0;

    double GetWidth() const { return maxX - minX; }

    double GetDepth() const { return maxZ - minZ; }

    double GetCenterX() const { return (minX + maxX) / 2; }

    double GetCenterZ() const { return (minZ + maxZ) / 2; }

    /// True when the two share more than an edge once both have grown by half of `gap`.
    bool Overlaps(Rect const& other, double gap) const
    {
        return minX < other.maxX + gap && other.minX < maxX + gap && minZ < other.maxZ + gap &&
               other.minZ < maxZ + gap;
    }
};

/// Which side of the corridor a room is on.
enum TowerSide
{
    eNORTH = -1, ///< towards -z
    eSOUTH = 1   ///< towards +z
};

/// The plan's numbers.
struct TowerPlan
{
    static constexpr int s_roomsPerSide = 6;
    static constexpr int s_roomsPerStorey = 2 * s_roomsPerSide;

    static constexpr double s_storeyHeight = 3.2;
    static constexpr double s_slabThickness = 0.25;
    static constexpr double s_clearHeight = s_storeyHeight - s_slabThickness;
    static constexpr double s_floorFinish = 0.01; ///< parquet on the slab, within the clear height

    static constexpr double s_innerWall = 0.2;
    static constexpr double s_outerWall = 0.3;
    static constexpr double s_roomWidth = 8.0; ///< along x, clear
    static constexpr double s_roomDepth = 7.0; ///< along z, clear
    static constexpr double s_roomPitch = s_roomWidth + s_innerWall;
    static constexpr double s_corridorHalf = 1.25;

    static constexpr double s_doorWidth = 1.0;
    static constexpr double s_doorHeight = 2.1;
    static constexpr double s_windowWidth = 1.6;
    static constexpr double s_windowSill = 0.9;
    static constexpr double s_windowHead = 2.4;
    static constexpr double s_balconyRail =
        1.0; ///< height of the rail before an open middle window

    static constexpr double s_stairsLength = 4.8; ///< of the flight and the walkway beside it
    static constexpr double s_landingLength = 1.2;
    static constexpr int s_stairsSteps = 17;

    static constexpr double s_eyeHeight = 1.65;
    static constexpr double s_laneHalf = 0.65; ///< kept clear from a room's door to its window

    /// Half the building's length along x, to the middle of its end walls' inner faces.
    static constexpr double s_halfLength = s_roomsPerSide * s_roomPitch / 2;
    /// From the corridor's axis to the inner face of the outer walls.
    static constexpr double s_outerFace = s_corridorHalf + s_innerWall + s_roomDepth;
    /// From the corridor's axis to the outside.
    static constexpr double s_halfDepth = s_outerFace + s_outerWall;
    /// Where the stair well ends in x, inside.
    static constexpr double s_stairsEnd = s_halfLength + s_stairsLength + s_landingLength;

    static constexpr double GetFloor(int storey) { return storey * s_storeyHeight; }

    static constexpr double GetRoomCenterX(int room)
    {
        return -s_halfLength + (room + 0.5) * s_roomPitch;
    }

    /// The clear area of room 0 to s_roomsPerSide - 1 on one side.
    static Rect GetRoom(int room, TowerSide side)
    {
        double const inner = s_corridorHalf + s_innerWall;
        Rect rect;
        rect.minX = GetRoomCenterX(room) - s_roomWidth / 2;
        rect.maxX = GetRoomCenterX(room) + s_roomWidth / 2;
        rect.minZ = side == eSOUTH ? inner : -s_outerFace;
        rect.maxZ = side == eSOUTH ? s_outerFace : -inner;
        return rect;
    }

    /// The middle of window 0 to 2 in a room's outer wall; 1 is in line with the door.
    static constexpr double GetWindowCenterX(int room, int window)
    {
        return GetRoomCenterX(room) + (window - 1) * s_roomWidth / 3;
    }
};

} // namespace host
