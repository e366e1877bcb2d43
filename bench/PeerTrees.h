#pragma once

// PeerTrees: what one would otherwise use, over the same boxes: Boost.Geometry's packed R-tree and
// Bullet's bounding volume tree.
//
// Both are optional: BoostTree.cpp is compiled where SCENECULL_BENCH_BOOST is defined for the
// benchmarks, BulletTree.cpp where SCENECULL_BENCH_BULLET is; the peers' headers stay in there.
// Reported boxes go into a DrawSink by number.

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"

#include <memory>
#include <vector>

struct DrawSink;

/// Boost.Geometry: R-tree of doubles, bulk loaded with 16 children a node.
class BoostTree
{
public:
    explicit BoostTree(std::vector<TqLBox3f> const& boxes);
    ~BoostTree();

    BoostTree(BoostTree const&) = delete;
    BoostTree& operator=(BoostTree const&) = delete;

    /// Loads a tree over \p boxes into this one.
    void Build(std::vector<TqLBox3f> const& boxes);

    /// Reports all boxes that are not wholly beyond one of the six planes of \p frustum. Goes over
    /// the nodes with a visitor that prunes them by the planes, which the public query interface
    /// cannot do, and stops testing planes that a node is wholly inside of.
    void Cull(TqLFrustum3f const& frustum, DrawSink& sink) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// Bullet: binary tree of single-precision boxes, inserted one by one and then optimised top down.
class BulletTree
{
public:
    explicit BulletTree(std::vector<TqLBox3f> const& boxes);
    ~BulletTree();

    BulletTree(BulletTree const&) = delete;
    BulletTree& operator=(BulletTree const&) = delete;

    /// Reports the boxes inside the six planes of \p frustum, front to back along \p direction.
    void CullSorted(TqLFrustum3f const& frustum, TqLVec3f const& direction, DrawSink& sink) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
