#include "host/model/TowerGarden.h"

#include "host/model/TowerPath.h"

#include <algorithm>

namespace host
{
namespace
{

using Plan = TowerPlan;

constexpr double eHALF_ROW = 60.0; ///< rows reach this far to both sides
constexpr double eLAWN = 10.0;     ///< between the house and the first row
constexpr double eSPACING = 1.5;   ///< between neighbours, and between rows
constexpr double eLANE_HALF = 4.0;
constexpr double eGROUND_LEVEL = -0.05;
constexpr double eMARGIN = 20.0;

/// One side of the house: a cursor along the present row.
struct Rows
{
    double sign;
    double x = -eHALF_ROW;
    double z = Plan::s_halfDepth + eLAWN; ///< of the present row's near edge, without sign
    double rowDepth = 0.0;
};

/// The first place for a piece of this width at or after x that leaves the lanes clear.
double SkipLanes(double x, double width)
{
    for (int const room : {TowerPathRooms::s_entry, TowerPathRooms::s_exit}) {
        double const lane = Plan::GetRoomCenterX(room);
        if (x < lane + eLANE_HALF && x + width > lane - eLANE_HALF) {
            x = lane + eLANE_HALF;
        }
    }
    return x;
}

LaidPiece Place(Rows& rows, FurniturePiece const& piece, uint32_t number)
{
    double const width = piece.width;
    double const depth = piece.depth;
    double x = SkipLanes(rows.x, width);
    if (x + width > eHALF_ROW && rows.rowDepth > 0.0) {
        rows.z += rows.rowDepth + eSPACING;
        rows.rowDepth = 0.0;
        x = SkipLanes(-eHALF_ROW, width);
    }
    LaidPiece laid;
    laid.piece = number;
    laid.quarters = rows.sign > 0.0 ? 0 : 2; // facing away from the house
    laid.x = x + width / 2;
    laid.y = eGROUND_LEVEL + double(piece.elevation);
    laid.z = rows.sign * (rows.z + depth / 2);
    rows.x = x + width + eSPACING;
    rows.rowDepth = std::max(rows.rowDepth, depth);
    return laid;
}

} // namespace

Garden LayOutGarden(FurnitureLibrary const& library, std::vector<uint32_t> const& numbers)
{
    Garden garden;
    Rows south{1.0};
    Rows north{-1.0};
    for (size_t i = 0; i < numbers.size(); ++i) {
        Rows& rows = i % 2 == 0 ? south : north;
        garden.pieces.push_back(Place(rows, library.pieces[numbers[i]], numbers[i]));
    }
    double const reach = std::max(south.z + south.rowDepth, north.z + north.rowDepth);
    garden.halfExtent = std::max(eHALF_ROW, reach) + eMARGIN;
    return garden;
}

} // namespace host
