// Clip-plane tests and the priority of a node: the one routine that decides, for each node offered
// to a walk, whether it is culled and, if not, how soon its turn comes.
//
// TqOcPrioritizedTraversal calls CalcPriority once for every child it considers; the result lies in
// the TqOcRenderTravCullData of that child's record. Nothing is allocated; the only call out is the
// host's priority callback.
#pragma once

#include "scenecull/TqOcTravCull.h"

class TqOcRenderTraversal;
class TqOcTraversable;

/// What CalcPriority found out about a node.
struct TqOcRenderTravCullData
{
    /// Bits for the node's children (see TqOcTravCull.h); bit 2 stays set while some part may lie
    /// behind the eye.
    int cullBits;
    /// Smaller is drawn sooner; -2 for a force-render node.
    double priority;
    /// Smallest distance in front of the near plane, in world units; negative when the node crosses
    /// that plane. Not written for force-render nodes.
    double distance;
    /// The node's rectangle in cull space, -1 to 1 across the window on both axes.
    TqLBox2f screenBox;
};

/// Cull object of the render walk. Adds no data to TqOcTravCull.
class TQOC_API TqOcRenderTravCull : public TqOcTravCull
{
public:
    /// Priority of force-render nodes.
    static constexpr double s_forcePriority = -2.0;

    /// Switches "TqOcRenderTravCull" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// As TqOcTravCull: both states must outlive the object and are not owned.
    TqOcRenderTravCull(TqOcTravFrustum* frustum, TqOcTravTransform* transform);

    /// 1 when the local box lies wholly on the negative side of a clip plane, else 0.
    int ClipPlaneCull(TqLBox3f const& box) const;

    /// 1 when some part of the local box lies on the negative side of a clip plane, so that drawing
    /// it needs clipping, else 0.
    int ClipPlaneIntersect(TqLBox3f const& box) const;

    /// The same for any planes. @param numPlanes  0 or less: the result is 0
    static int ClipPlaneIntersect(TqLPlane3f const* planes, int numPlanes, TqLBox3f const& box);

    /// Culls or scores one node. In this order: clip planes (unless the node ignores them), behind
    /// the eye, frustum sides, screen area or extent, distance, near-cull distance; the first three
    /// count the node's triangles as frustum-culled, area and extent as area-culled, the last two
    /// count nothing.
    ///
    /// The priority is the distance, or one over the screen area (GetPrimary), times the factors
    /// that GetSecondary selects. A node whose own box holds a NaN is culled by the frustum;
    /// a container's box never does. Where an infinite box leaves the distance undefined it counts
    /// as 0. An empty box is culled in a perspective view and kept, as the farthest, in a parallel
    /// one.
    /// @param markCulled  not 0: a node culled by clip planes or behind the eye gets the
    /// traversal's frame id
    /// @param node  with its box in this object's local coordinates
    /// @param cullBits  from the parent; 7 for the first node under a new cull object
    /// @param data  written also, in part, for culled nodes
    /// @return 0 when culled; otherwise 1, or what the dynamic priority callback says
    int CalcPriority(TqOcRenderTraversal* traversal, int markCulled, TqOcTraversable* node,
                     int cullBits, TqOcRenderTravCullData* data) const;
};
