#include "host/model/FurnitureDeck.h"

#include "host/model/TowerPlan.h"

#include <algorithm>

namespace host
{
namespace
{

constexpr double eTHEME_CHANCE = 0.5;
constexpr double eLARGEST_EXTENT = 3.5; ///< of a piece in a room
constexpr double eHEADROOM = 0.05;
constexpr double eTHICKEST_OPENING = 0.4;
constexpr double eWIDEST_OPENING = 2.7;
constexpr double eSMALL_AREA = 0.16; ///< square metres
constexpr size_t eLEAST_SMALL = 20;

constexpr char const* s_themes[] = {"Living room", "Kitchen", "Bedroom", "Bathroom", "Office"};

double GetArea(FurniturePiece const& piece)
{
    return double(piece.width) * double(piece.depth);
}

} // namespace

PieceUse GetPieceUse(FurniturePiece const& piece)
{
    double const extent = std::max(piece.width, piece.depth);
    double const height = piece.height;
    double const clear = TowerPlan::s_clearHeight - TowerPlan::s_floorFinish - eHEADROOM;
    if (piece.doorOrWindow) {
        bool const fits = double(piece.depth) <= eTHICKEST_OPENING &&
                          double(piece.width) <= eWIDEST_OPENING &&
                          double(piece.elevation) + height <= clear;
        return fits ? PieceUse::eOPENING : PieceUse::eGARDEN;
    }
    bool const outside = piece.category == "Exterior" || piece.category == "Vehicles";
    bool const fits = extent <= eLARGEST_EXTENT && height <= clear;
    return outside || piece.staircase || !fits ? PieceUse::eGARDEN : PieceUse::eROOM;
}

uint32_t PieceDeck::Deal(Random& random)
{
    if (m_next >= m_pieces.size()) {
        random.Shuffle(m_pieces);
        m_next = 0;
    }
    return m_pieces[m_next++];
}

FurnitureDeck::FurnitureDeck(FurnitureLibrary const& library)
{
    std::vector<uint32_t> bySize;
    for (uint32_t i = 0; i < library.pieces.size(); ++i) {
        FurniturePiece const& piece = library.pieces[i];
        switch (GetPieceUse(piece)) {
        case PieceUse::eROOM:
            m_indoor.Add(i);
            m_byCategory[piece.category].Add(i);
            bySize.push_back(i);
            break;
        case PieceUse::eOPENING:
            m_openings.Add(i);
            break;
        case PieceUse::eGARDEN:
            m_garden.push_back(i);
            break;
        }
    }
    std::stable_sort(bySize.begin(), bySize.end(), [&library](uint32_t a, uint32_t b) {
        return GetArea(library.pieces[a]) < GetArea(library.pieces[b]);
    });
    for (size_t i = 0; i < bySize.size(); ++i) {
        if (i < eLEAST_SMALL || GetArea(library.pieces[bySize[i]]) <= eSMALL_AREA) {
            m_small.Add(bySize[i]);
        }
    }
}

std::string FurnitureDeck::PickTheme(Random& random) const
{
    std::vector<std::string> known;
    for (char const* theme : s_themes) {
        if (m_byCategory.count(theme) > 0) {
            known.emplace_back(theme);
        }
    }
    return known.empty() ? std::string() : known[random.Below(static_cast<uint32_t>(known.size()))];
}

bool FurnitureDeck::DealForRoom(std::string const& theme, Random& random, uint32_t& piece)
{
    if (m_indoor.IsEmpty()) {
        return false;
    }
    auto const themed = m_byCategory.find(theme);
    bool const useTheme = themed != m_byCategory.end() && random.Chance(eTHEME_CHANCE);
    piece = useTheme ? themed->second.Deal(random) : m_indoor.Deal(random);
    return true;
}

bool FurnitureDeck::DealSmall(Random& random, uint32_t& piece)
{
    if (m_small.IsEmpty()) {
        return false;
    }
    piece = m_small.Deal(random);
    return true;
}

bool FurnitureDeck::DealForOpening(Random& random, uint32_t& piece)
{
    if (m_openings.IsEmpty()) {
        return false;
    }
    piece = m_openings.Deal(random);
    return true;
}

} // namespace host
