#include "host/model/RoomLayout.h"

#include <algorithm>

namespace host
{
namespace
{

constexpr int eTRIES = 24;
constexpr size_t eNO_SUPPORT = SIZE_MAX;
constexpr double eGAP = 0.02;            ///< between two pieces
constexpr double eWALL_GAP = 0.01;       ///< between a piece and the wall behind it
constexpr double eAT_WALL_CHANCE = 0.65; ///< of a piece on the floor to stand with its back to one
constexpr double eSMALL_EXTENT = 0.5;
constexpr double eSMALL_HEIGHT = 0.6;
constexpr double eLEAST_ELEVATION = 0.05;
constexpr double eCEILING_ELEVATION = 1.9;
constexpr double eLEAST_TOP = 0.25; ///< lowest surface that things are put on

} // namespace

Standing GetStanding(FurniturePiece const& piece)
{
    if (piece.elevation > eLEAST_ELEVATION) {
        bool const lamp = piece.category == "Lights" && piece.elevation >= eCEILING_ELEVATION;
        return lamp ? Standing::eCEILING : Standing::eWALL;
    }
    bool const small =
        std::max(piece.width, piece.depth) <= eSMALL_EXTENT && piece.height <= eSMALL_HEIGHT;
    return small ? Standing::eSMALL : Standing::eFLOOR;
}

Rect GetFootprint(FurniturePiece const& piece, int quarters, double x, double z)
{
    bool const across = (quarters & 1) != 0;
    double const halfX = (across ? piece.depth : piece.width) / 2.0;
    double const halfZ = (across ? piece.width : piece.depth) / 2.0;
    return {x - halfX, x + halfX, z - halfZ, z + halfZ};
}

RoomLayout::RoomLayout(Rect const& area, double floor, double height)
    : m_area(area)
    , m_floor(floor)
    , m_height(height)
{}

void RoomLayout::KeepFree(Rect const& area, double from, double to)
{
    m_keptFree.push_back({area, m_floor + from, m_floor + to});
}

bool RoomLayout::Add(FurnitureLibrary const& library, uint32_t number, Random& random)
{
    FurniturePiece const& piece = library.pieces[number];
    LaidPiece laid;
    laid.piece = number;
    laid.y = m_floor;
    bool placed = false;
    switch (GetStanding(piece)) {
    case Standing::eFLOOR:
        placed = AddOnFloor(piece, laid, random);
        break;
    case Standing::eSMALL:
        placed = AddOnTop(library, piece, laid, random) || AddOnFloor(piece, laid, random);
        break;
    case Standing::eWALL:
        placed = AddOnWall(piece, laid, random);
        break;
    case Standing::eCEILING:
        placed = AddUnderCeiling(piece, laid, random);
        break;
    }
    if (placed) {
        m_pieces.push_back(laid);
        m_taken.push_back({GetFootprint(piece, laid.quarters, laid.x, laid.z), laid.y,
                           laid.y + double(piece.height)});
    }
    return placed;
}

// ---- Ways to stand ------------------------------------------------------------------------------

bool RoomLayout::AddOnFloor(FurniturePiece const& piece, LaidPiece& laid, Random& random) const
{
    laid.y = m_floor;
    for (int i = 0; i < eTRIES; ++i) {
        bool const inside = random.Chance(eAT_WALL_CHANCE) ? PickAtWall(piece, laid, random)
                                                           : PickAnywhere(piece, laid, random);
        if (inside && IsFree(piece, laid, eNO_SUPPORT)) {
            return true;
        }
    }
    return false;
}

bool RoomLayout::AddOnTop(FurnitureLibrary const& library, FurniturePiece const& piece,
                          LaidPiece& laid, Random& random) const
{
    for (int i = 0; i < eTRIES && !m_pieces.empty(); ++i) {
        size_t const support = random.Below(static_cast<uint32_t>(m_pieces.size()));
        FurniturePiece const& under = library.pieces[m_pieces[support].piece];
        Rect const& top = m_taken[support].area;
        laid.quarters = static_cast<int>(random.Below(4));
        Rect const size = GetFootprint(piece, laid.quarters, 0.0, 0.0);
        if (double(under.topHeight) < eLEAST_TOP || size.GetWidth() > top.GetWidth() ||
            size.GetDepth() > top.GetDepth()) {
            continue;
        }
        laid.x = random.Between(top.minX - size.minX, top.maxX - size.maxX);
        laid.z = random.Between(top.minZ - size.minZ, top.maxZ - size.maxZ);
        laid.y = m_pieces[support].y + double(under.topHeight);
        if (IsFree(piece, laid, support)) {
            return true;
        }
    }
    return false;
}

bool RoomLayout::AddOnWall(FurniturePiece const& piece, LaidPiece& laid, Random& random) const
{
    double const highest = m_height - double(piece.height);
    laid.y = m_floor + std::clamp(double(piece.elevation), 0.0, std::max(highest, 0.0));
    for (int i = 0; i < eTRIES; ++i) {
        if (PickAtWall(piece, laid, random) && IsFree(piece, laid, eNO_SUPPORT)) {
            return true;
        }
    }
    return false;
}

bool RoomLayout::AddUnderCeiling(FurniturePiece const& piece, LaidPiece& laid, Random& random) const
{
    laid.y = m_floor + m_height - double(piece.height);
    for (int i = 0; i < eTRIES; ++i) {
        if (PickAnywhere(piece, laid, random) && IsFree(piece, laid, eNO_SUPPORT)) {
            return true;
        }
    }
    return false;
}

// ---- Places -------------------------------------------------------------------------------------

/// Draws a place with the back to one of the four walls. False when the piece is longer than the
/// wall.
bool RoomLayout::PickAtWall(FurniturePiece const& piece, LaidPiece& laid, Random& random) const
{
    laid.quarters = static_cast<int>(random.Below(4));
    Rect const size = GetFootprint(piece, laid.quarters, 0.0, 0.0);
    if (size.GetWidth() > m_area.GetWidth() - 2 * eWALL_GAP ||
        size.GetDepth() > m_area.GetDepth() - 2 * eWALL_GAP) {
        return false;
    }
    laid.x = random.Between(m_area.minX - size.minX, m_area.maxX - size.maxX);
    laid.z = random.Between(m_area.minZ - size.minZ, m_area.maxZ - size.maxZ);
    // A piece faces +z; quarter turns make it face +x, -z, -x. Its back goes to the wall.
    switch (laid.quarters) {
    case 0:
        laid.z = m_area.minZ - size.minZ + eWALL_GAP;
        break;
    case 1:
        laid.x = m_area.minX - size.minX + eWALL_GAP;
        break;
    case 2:
        laid.z = m_area.maxZ - size.maxZ - eWALL_GAP;
        break;
    default:
        laid.x = m_area.maxX - size.maxX - eWALL_GAP;
        break;
    }
    return true;
}

bool RoomLayout::PickAnywhere(FurniturePiece const& piece, LaidPiece& laid, Random& random) const
{
    laid.quarters = static_cast<int>(random.Below(4));
    Rect const size = GetFootprint(piece, laid.quarters, 0.0, 0.0);
    if (size.GetWidth() > m_area.GetWidth() || size.GetDepth() > m_area.GetDepth()) {
        return false;
    }
    laid.x = random.Between(m_area.minX - size.minX, m_area.maxX - size.maxX);
    laid.z = random.Between(m_area.minZ - size.minZ, m_area.maxZ - size.maxZ);
    return true;
}

/// True when the piece fits under the ceiling and meets nothing but, perhaps, its support.
bool RoomLayout::IsFree(FurniturePiece const& piece, LaidPiece const& laid, size_t support) const
{
    Rect const area = GetFootprint(piece, laid.quarters, laid.x, laid.z);
    double const from = laid.y;
    double const to = laid.y + double(piece.height);
    if (to > m_floor + m_height) {
        return false;
    }
    auto const meets = [&](Volume const& other, double gap) {
        return from < other.to && other.from < to && area.Overlaps(other.area, gap);
    };
    for (size_t i = 0; i < m_taken.size(); ++i) {
        if (i != support && meets(m_taken[i], eGAP)) {
            return false;
        }
    }
    return std::none_of(m_keptFree.begin(), m_keptFree.end(),
                        [&meets](Volume const& volume) { return meets(volume, 0.0); });
}

} // namespace host
