#pragma once

// DynamicScene: the changing scenes that dynamic trees are measured on, and what measures them.
//
// A scene is a list of boxes that move and come back home, so that a tree can be looked at over
// the same boxes before and after. All candidates, ours and the peers', are driven through
// DynamicTree, a batch at a time, and know the boxes by number.

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct DrawSink;
class TqOcTraversable;

enum class DynamicSceneKind
{
    ePLANT,
    eUNIFORM
};

/// Numbers of boxes, in the order in which something is done with them.
using BoxNumbers = std::vector<std::uint32_t>;

class DynamicScene
{
public:
    DynamicScene(DynamicSceneKind kind, std::size_t count);

    /// Where the boxes are now. The vector itself never moves.
    std::vector<TqLBox3f> const& GetBoxes() const { return m_boxes; }

    TqLBox3f const& GetBounds() const { return m_bounds; }

    /// \p count different numbers in random order, the same for the same \p seed.
    BoxNumbers Choose(std::size_t count, std::uint64_t seed) const;

    /// Puts the boxes up to \p step metres from home on every axis.
    void MoveAway(BoxNumbers const& numbers, double step, std::uint64_t seed);

    void MoveHome(BoxNumbers const& numbers);

private:
    std::vector<TqLBox3f> m_homes;
    std::vector<TqLBox3f> m_boxes;
    TqLBox3f m_bounds;
};

/// A tree that is grown and changed one by one. Made empty, over the boxes of a scene, which it
/// refers to; what an application would keep beside the tree (shapes, values, handles) is there
/// from the start and does not count as the tree's memory.
class DynamicTree
{
public:
    virtual ~DynamicTree();

    virtual void Insert(BoxNumbers const& numbers) = 0;
    virtual void Remove(BoxNumbers const& numbers) = 0;

    /// Follows boxes of the scene that have moved.
    virtual void Move(BoxNumbers const& numbers) = 0;

    /// Reports, in no order, all boxes that are not wholly beyond one of the six planes. Goes over
    /// the nodes and stops testing planes that a node is wholly inside of.
    virtual void Cull(TqLFrustum3f const& frustum, DrawSink& sink) = 0;

    /// The root of a tree of ours, null for a peer's.
    virtual TqOcTraversable* GetRoot() { return nullptr; }
};

/// A candidate: its name and how to make it.
struct DynamicCandidate
{
    char const* name;
    std::unique_ptr<DynamicTree> (*make)(DynamicScene const& scene);
};

/// The dynamic group.
std::unique_ptr<DynamicTree> MakeDynamicGroupTree(DynamicScene const& scene);

/// Boost.Geometry: R-trees of doubles. Only where SCENECULL_BENCH_BOOST is defined.
std::unique_ptr<DynamicTree> MakeBoostQuad7(DynamicScene const& scene);
std::unique_ptr<DynamicTree> MakeBoostQuad16(DynamicScene const& scene);
std::unique_ptr<DynamicTree> MakeBoostLin16(DynamicScene const& scene);
std::unique_ptr<DynamicTree> MakeBoostRstar16(DynamicScene const& scene);

/// Bullet: binary tree of single-precision boxes. Only where SCENECULL_BENCH_BULLET is defined.
std::unique_ptr<DynamicTree> MakeBulletTree(DynamicScene const& scene);
