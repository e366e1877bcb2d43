// Decides which piece of furniture comes next, so that every room has a theme and every piece of
// the library gets its turn.
//
// Pieces are dealt from shuffled decks, one for each category and one for all that belongs indoors;
// a deck that runs out is shuffled again. The library must outlive the deck.
#pragma once

#include "host/model/FurnitureLibrary.h"
#include "host/model/Random.h"

#include <map>
#include <string>
#include <vector>

namespace host
{

/// What a piece may be used for.
enum class PieceUse
{
    eROOM,    ///< stands in a room
    eOPENING, ///< a door or window that fits into an opening of an inner wall
    eGARDEN   ///< too large for a room, or made for outside
};

/// Sorts a piece by its category and size.
PieceUse GetPieceUse(FurniturePiece const& piece);

/// Shuffled pieces, dealt one at a time.
class PieceDeck
{
public:
    void Add(uint32_t piece) { m_pieces.push_back(piece); }

    bool IsEmpty() const { return m_pieces.empty(); }

    /// The next piece. The deck must not be empty.
    uint32_t Deal(Random& random);

    /// All pieces, in the deck's present order.
    std::vector<uint32_t> const& GetPieces() const { return m_pieces; }

private:
    std::vector<uint32_t> m_pieces;
    size_t m_next = SIZE_MAX; ///< past the end: shuffle first
};

/// All decks of one library.
class FurnitureDeck
{
public:
    explicit FurnitureDeck(FurnitureLibrary const& library);

    /// A theme ("Kitchen", "Office", ...) for one room; empty when the library has none of them.
    std::string PickTheme(Random& random) const;

    /// A piece for a room: from the theme's deck half of the time, else from all indoor pieces.
    /// False when the library has no indoor piece at all.
    bool DealForRoom(std::string const& theme, Random& random, uint32_t& piece);

    /// A piece that takes little floor, for rooms that larger ones no longer fit into. False as
    /// for DealForRoom().
    bool DealSmall(Random& random, uint32_t& piece);

    /// A door or window. False when there is none.
    bool DealForOpening(Random& random, uint32_t& piece);

    /// Everything for the garden, in the library's order.
    std::vector<uint32_t> const& GetGardenPieces() const { return m_garden; }

private:
    std::map<std::string, PieceDeck> m_byCategory;
    PieceDeck m_indoor;
    PieceDeck m_small;
    PieceDeck m_openings;
    std::vector<uint32_t> m_garden;
};

} // namespace host
