#pragma once

// OracleFrame: what one complete frame over a tree should draw, cull and count.
//
// It goes through the hierarchy plainly: a node is reached when its parents are, a container with
// exactly one visible child hands its turn on unjudged, every other child is judged by OracleCull
// on its own. Children of an OraclePlaceGroup are judged at their place. Only trees in which every
// node has one parent are described.

#include "support/OracleCull.h"
#include "support/OracleTrees.h"

#include <unordered_map>
#include <vector>

/// How sure the oracle is that something is reached or drawn.
enum class OracleChance
{
    eNO,
    eYES,
    ePERHAPS ///< A node above it is too close to call.
};

/// What the oracle says of one judged node.
struct OracleNodeRecord
{
    OracleChance reached = OracleChance::eNO; ///< Whether the walk comes to judge the node at all.
    OracleResult result;
};

/// Triangles by what became of them; the sum of all is the root's total.
struct OracleTotals
{
    unsigned rendered = 0;
    unsigned frustumCulled = 0; ///< Clip planes, behind the eye and frustum.
    unsigned areaCulled = 0;
    unsigned visibilityCulled = 0; ///< Containers hidden or of other primitives.
    unsigned distanceCulled = 0;   ///< Too far or too near; the walk does not count these.
    unsigned skipped = 0;  ///< Hidden shapes in drawn leaves; the walk does not count these.
    unsigned shapes = 0;   ///< Shapes drawn.
    unsigned leaves = 0;   ///< Leaves drawn.
    unsigned judged = 0;   ///< Nodes judged.
    unsigned measured = 0; ///< Nodes that got as far as the frustum and area tests.
};

class OracleFrame
{
public:
    /// Works the frame out from the nodes as they are now: make it before the walk, which stamps
    /// them.
    OracleFrame(OracleTree const& tree, OracleCamera const& camera, OracleSettings const& settings);

    /// Per shape number.
    std::vector<OracleChance> const& GetDrawn() const { return m_drawn; }

    /// Containers that the walk judges, or would judge if an undecided node above lets it through.
    std::unordered_map<TqOcTraversable const*, OracleNodeRecord> const& GetJudged() const
    {
        return m_judged;
    }

    /// True when nothing was too close to call; the totals are then exact.
    bool IsDecided() const { return m_decided; }

    OracleTotals const& GetTotals() const { return m_totals; }

private:
    void Judge(TqOcTraversable* node, OracleChance chance, OraclePlace const& place);
    void Enter(TqOcTraversable* node, OracleChance chance, OraclePlace const& place);
    void EnterLeaf(TqOcTraversable* leaf, OracleChance chance);
    bool IsVisible(TqOcBaseTraversable const& node) const;

    OracleCull m_cull;
    unsigned m_primitiveBits;
    std::vector<OracleChance> m_drawn;
    std::unordered_map<TqOcTraversable const*, OracleNodeRecord> m_judged;
    OracleTotals m_totals;
    bool m_decided = true;
};

/// What the rules read of \p node.
OracleNode MakeOracleNode(TqOcTraversable const& node);
