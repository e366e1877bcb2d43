#pragma once

// OracleTrees: random hierarchies, cameras and settings for the oracles.
//
// Everything follows from a seed. A tree holds from 10 to 5,000 shapes of a generated scene under
// containers made in one of five ways (grouped by hand, by the static builder, by the flat builder,
// by a mix of them, or by the dynamic builder), with random switches. The tree owns its boxes,
// shapes and containers.

#include "support/OracleCull.h"

#include "scenes/BoxShape.h"
#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class TqOcPrioritizedTraversal;
class TqOcTraversable;

/// A box shape that writes its number into a list when it is drawn, and does in its turns of picks
/// what the test says.
class OracleShape : public BoxShape
{
public:
    /// @param draws  not null; shared by the shapes of one tree.
    OracleShape(SceneBox const* item, int number, std::vector<int>* draws);

    int GetNumber() const { return m_number; }

    /// What the shapes do in their turns of a pick by frustum; null or empty: nothing.
    using PickTurn = std::function<void(OracleShape&, TqOcPickFrustumTraversal*)>;

    /// @param turn  not owned
    void SetPickTurn(PickTurn const* turn) { m_pickTurn = turn; }

    /// What the shapes do in their turns of a pick by sweep; null or empty: nothing.
    using SweepTurn = std::function<void(OracleShape&, TqOcPickSweepTraversal*)>;

    /// @param turn  not owned
    void SetSweepTurn(SweepTurn const* turn) { m_sweepTurn = turn; }

    void RenderShape(TqOcRenderTraversal* traversal) override;
    void PickShape(TqOcPickFrustumTraversal* traversal) override;
    void PickSweep(TqOcPickSweepTraversal* traversal) override;

private:
    int m_number;
    PickTurn const* m_pickTurn = nullptr;
    SweepTurn const* m_sweepTurn = nullptr;
    std::vector<int>* m_draws;
};

/// A group whose children live under an affine or are seen in a part of the window.
class OraclePlaceGroup : public TqOcStaticGroup
{
public:
    /// Moves and turns what is near \p middle by a little, or narrows the window.
    /// @param moved  how likely it is the former
    OraclePlaceGroup(TqLPos3f const& middle, double moved, SceneRandom& random);

    bool IsTransforming() const { return m_transforming; }

    TqLAffine3f const& GetAffine() const { return m_affine; }

    /// Lower and upper x, lower and upper y.
    double const* GetWindow() const { return m_window; }

    OraclePlace GetPlaceBelow(OraclePlace const& place) const;

    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;
    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                     TqOcTravState* state) override;

protected:
    void DoUpdate() override;

private:
    template <class Walker>
    void AppendChildren(Walker* walker, TqOcTravState* state);

    bool m_transforming;
    TqLAffine3f m_affine;
    double m_window[4] = {0.0, 1.0, 0.0, 1.0};
};

/// How the containers of a tree are made.
enum class OracleTreeKind
{
    eBY_HAND,        ///< Random grouping, with single-child chains and leaves of both kinds.
    eSTATIC_BUILDER, ///< TqOcStaticHierarchyBuilder with a random threshold.
    eFLAT_BUILDER,   ///< TqOcFlatHierarchyBuilder.
    eMIXED,          ///< A group of trees of the kinds above.
    eDYNAMIC_BUILDER ///< TqOcDynamicHierarchyBuilder over leaves of both kinds.
};

inline constexpr int eORACLE_TREE_KINDS = 5;

/// What may be random in a tree besides its structure.
struct OracleTreeOptions
{
    std::size_t count = 100;
    OracleTreeKind kind = OracleTreeKind::eBY_HAND;
    bool switches = true; ///< Some nodes hidden, forced, or ignoring clip planes.
    bool oneKind = false; ///< Triangles only, scale 1: what is culled above is culled below.
    double placed = 0.0;  ///< Share of groups that are OraclePlaceGroups (by hand only).
    double moved = 0.6;   ///< Share of these that move their children; others narrow the window.
    double shared = 0.0;  ///< Share of containers that get a second parent (by hand only).
};

class OracleTree
{
public:
    OracleTree(OracleTreeOptions const& options, std::uint64_t seed);
    ~OracleTree();

    OracleTree(OracleTree const&) = delete;
    OracleTree& operator=(OracleTree const&) = delete;

    TqOcTraversable* GetRoot() const { return m_root; }

    std::vector<std::unique_ptr<OracleShape>> const& GetShapes() const { return m_shapes; }

    TqLBox3f const& GetBounds() const { return m_bounds; }

    /// The numbers of the shapes drawn so far, in the order of drawing.
    std::vector<int> const& GetDraws() const { return m_draws; }

    void ClearDraws() { m_draws.clear(); }

    /// All containers, parents before children, each once.
    std::vector<TqOcTraversable*> GetContainers() const;

private:
    void MakeShapes(OracleTreeOptions const& options, SceneRandom& random);
    TqOcTraversable* MakeContainers(OracleTreeKind kind, std::vector<int> const& numbers,
                                    SceneRandom& random);
    TqOcTraversable* MakeDynamicTree(std::vector<int> const& numbers, SceneRandom& random);
    TqOcTraversable* GroupByHand(std::vector<int> const& numbers, int depth, SceneRandom& random);
    TqOcTraversable* MakeLeaf(std::vector<int> const& numbers, SceneRandom& random);
    void ShareContainers(double share, SceneRandom& random);
    void SwitchContainers(SceneRandom& random);

    double m_placed = 0.0;
    double m_moved = 0.0;
    std::vector<SceneBox> m_items;
    std::vector<int> m_draws;
    std::vector<std::unique_ptr<OracleShape>> m_shapes;
    TqLBox3f m_bounds;
    TqOcTraversable* m_root = nullptr;
};

/// Makes some containers and shapes ignore picks, and some be of lines, without telling anyone.
void SwitchPicks(OracleTree& tree, SceneRandom& random);

/// A camera that looks at or around \p bounds: inside or outside, perspective or parallel.
OracleCamera MakeRandomCamera(TqLBox3f const& bounds, SceneRandom& random);

/// Settings to go with it: thresholds, tables, masks and up to six clip planes.
OracleSettings MakeRandomSettings(TqLBox3f const& bounds, SceneRandom& random);

/// From 10 to 5,000, small numbers as likely as large ones by order of magnitude.
std::size_t MakeRandomCount(SceneRandom& random);
