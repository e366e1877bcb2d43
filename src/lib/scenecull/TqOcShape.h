// The drawable item: the application derives its geometry from TqOcShape.
//
// A shape is always a leaf. It holds no box; containers ask it for one whenever they rebuild their
// own. It is owned by the container that holds it last, unless it was marked user owned. Shapes
// cost 40 bytes each plus whatever the application adds, and one pointer in their leaf.
#pragma once

#include "scenecull/TqOcTraversable.h"

struct TqOcRenderTravCullData;

/// Base of the application's drawable objects.
///
/// Counting: in the plain walk Render counts the shape and its triangles; in the prioritized walk
/// nothing counts by itself, so PrioritizedShape (or the RenderShape that it calls) must call
/// IncShapesRendered(1) and IncTrisRendered(...) on the traversal, and CheckFrameExpired() where a
/// shape takes long. Frame-time control works on those counts.
class TQOC_API TqOcShape : public TqOcBaseTraversable
{
public:
    /// Switches "TqOcShape" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// Base defaults; leaf and shape are set.
    TqOcShape();
    /// The same with these attributes. @param primitives  the low five bits are kept.
    TqOcShape(double scale, unsigned int tris, TqLPrimitiveTypes::Enum primitives);

    /// Member-wise; see TqOcBaseTraversable's copy for the parent link.
    /// @{
    TqOcShape(TqOcShape const& other) = default;
    TqOcShape& operator=(TqOcShape const& other) = default;
    /// @}

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// Unlinks nothing: take the shape out of its containers first.
    ~TqOcShape() override;

    /// Counts one shape and its triangles as drawn, then RenderShape.
    void Render(TqOcRenderTraversal* traversal) override;

    /// Sets the traversal's stress weight to the priority of the leaf, then PrioritizedShape with
    /// the leaf's cull data. Returns eFINISHED.
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;

    /// Calls PickShape.
    void PickFrustum(TqOcPickFrustumTraversal* traversal) override;

    /// Writes the shape's bounding box, in the coordinates of the hierarchy, into `box`, which
    /// comes empty. Called in every update that rebuilds a container's box.
    virtual void GetShapeBox(TqLBox3f& box) = 0;

    /// Calls the visitor's VisitShape.
    virtual void Visit(TqOcVisitor* visitor);

    /// Draws the shape with the application's renderer.
    virtual void RenderShape(TqOcRenderTraversal* traversal) = 0;

    /// Draws the shape in its leaf's turn of a prioritized walk. `data` is what the walk computed
    /// for the leaf. Default: RenderShape.
    virtual void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                                  TqOcRenderTravCullData const& data);

    /// Tests the shape's own geometry against the traversal's pick frustum and reports hits to it.
    virtual void PickShape(TqOcPickFrustumTraversal* traversal) = 0;

protected:
    /// Clears the modified mask.
    void DoUpdate() override;
};
