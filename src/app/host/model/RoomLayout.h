// Sets out furniture in one room: along the walls, in the middle, on tables and on the walls,
// without two pieces in one place.
//
// A piece is taken for the box that it fills. Places are drawn at random and refused where the box
// would meet another (rectangle against rectangle and height against height), so that a chair may
// not stand in a table but a lamp may stand on it.
#pragma once

#include "host/model/FurnitureLibrary.h"
#include "host/model/Random.h"
#include "host/model/TowerPlan.h"

#include <vector>

namespace host
{

/// Where one piece went: turned by quarters, its base's middle at x, y, z.
struct LaidPiece
{
    uint32_t piece = 0;
    int quarters = 0;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

/// How a piece is put into a room.
enum class Standing
{
    eFLOOR,  ///< on the floor
    eSMALL,  ///< on top of another piece where there is room, else on the floor
    eWALL,   ///< hung on a wall at its elevation
    eCEILING ///< under the ceiling
};

/// What a piece's size, category and elevation make of it.
Standing GetStanding(FurniturePiece const& piece);

/// The area that a piece covers once turned and moved.
Rect GetFootprint(FurniturePiece const& piece, int quarters, double x, double z);

/// One room while it is furnished.
class RoomLayout
{
public:
    /// @param area    clear area of the room
    /// @param floor   height of the floor's surface
    /// @param height  clear height
    RoomLayout(Rect const& area, double floor, double height);

    /// Keeps a part of the room free between two heights above the floor.
    void KeepFree(Rect const& area, double from, double to);

    /// Looks for a place for a piece and puts it there. False when none was found in a bounded
    /// number of tries; linear in the pieces already laid for each try.
    bool Add(FurnitureLibrary const& library, uint32_t piece, Random& random);

    std::vector<LaidPiece> const& GetPieces() const { return m_pieces; }

private:
    struct Volume
    {
        Rect area;
        double from;
        double to;
    };

    bool AddOnFloor(FurniturePiece const& piece, LaidPiece& laid, Random& random) const;
    bool AddOnTop(FurnitureLibrary const& library, FurniturePiece const& piece, LaidPiece& laid,
                  Random& random) const;
    bool AddOnWall(FurniturePiece const& piece, LaidPiece& laid, Random& random) const;
    bool AddUnderCeiling(FurniturePiece const& piece, LaidPiece& laid, Random& random) const;

    bool PickAtWall(FurniturePiece const& piece, LaidPiece& laid, Random& random) const;
    bool PickAnywhere(FurniturePiece const& piece, LaidPiece& laid, Random& random) const;
    bool IsFree(FurniturePiece const& piece, LaidPiece const& laid, size_t support) const;

    Rect m_area;
    double m_floor;
    double m_height;
    std::vector<LaidPiece> m_pieces;
    std::vector<Volume> m_taken; ///< one for each piece, in the same order
    std::vector<Volume> m_keptFree;
};

} // namespace host
