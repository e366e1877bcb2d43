#pragma once

// PickPeers: what one would otherwise pick with, over the same boxes.
//
// All of them report boxes by number, in no order but that of VisitFirst. They are optional:
// BoostPicks.cpp is compiled where SCENECULL_BENCH_BOOST is defined for the benchmarks,
// BulletPicks.cpp where SCENECULL_BENCH_BULLET is. The naive form, every box tested by itself, is
// always there.

#include "DynamicScene.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPickFrustum3f.h"
#include "geometry/TqLPickSweep.h"

#include <cstddef>
#include <memory>

class PickPeer
{
public:
    virtual ~PickPeer();

    /// Appends the boxes that are wholly outside none of the frustum's planes.
    virtual void PickAll(TqLPickFrustum3f const& frustum, BoxNumbers& hits) const = 0;

    /// The distance of the nearest of these boxes from the frustum's origin; DBL_MAX without one.
    virtual double PickNearest(TqLPickFrustum3f const& frustum) const = 0;

    /// Appends the boxes that the moving body touches.
    virtual void SweepAll(TqLPickSweep const& sweep, BoxNumbers& hits) const = 0;

    /// Shortens the sweep to the first contact, if there is one.
    virtual void SweepFirst(TqLPickSweep& sweep) const = 0;
};

/// A peer that can go over what is seen from front to back.
class SortedPeer : public PickPeer
{
public:
    /// Appends the first \p count boxes inside the six planes of \p frustum along \p direction.
    virtual void VisitFirst(TqLFrustum3f const& frustum, TqLVec3f const& direction,
                            std::size_t count, BoxNumbers& hits) const = 0;
};

/// Every box tested by itself.
std::unique_ptr<PickPeer> MakeFlatPeer(DynamicScene const& scene);

/// Boost.Geometry: R-tree of doubles, bulk loaded with 16 children a node, or grown with the
/// quadratic rule and seven. Goes over the nodes with visitors, as BoostCull does.
std::unique_ptr<PickPeer> MakeBoostPack16Peer(DynamicScene const& scene);
std::unique_ptr<PickPeer> MakeBoostQuad7Peer(DynamicScene const& scene);

/// Bullet: binary tree of single-precision boxes; optimised top down, or left as it was grown.
std::unique_ptr<SortedPeer> MakeBulletPeer(DynamicScene const& scene);
std::unique_ptr<SortedPeer> MakeBulletGrownPeer(DynamicScene const& scene);

/// The share of its motion after which the body of a sweep first touches a box, its own box taken
/// for the body; above 1 when it does not get there.
double FindContact(TqLPickSweep const& sweep, TqLBox3f const& box);
