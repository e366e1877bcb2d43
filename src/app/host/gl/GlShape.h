// One placement of a mesh as a shape of the hierarchy.
//
// All shapes of a scene lie side by side in one vector and are user owned: containers never delete
// them. A shape is 56 bytes; geometry, transform and material belong to the SceneModel.
// Picks test the shape's own primitives, through the trees that the scene keeps (host/pick).
#pragma once

#include "host/gl/GlRenderer.h"
#include "host/model/SceneModel.h"
#include "host/pick/MeshTree.h"

#include "scenecull/TqOcShape.h"

#include <cstdint>

class TqOcPickTraversal;

namespace host
{

class PlacedMesh;
struct MeshContact;
struct MeshHit;

/// What all shapes of a scene share. All of it must outlive the shapes. Without a renderer the
/// shapes count themselves as drawn and draw nothing, which tells what a frame would cost; without
/// trees they cannot be picked.
struct GlShapeScene
{
    SceneModel const* m_model = nullptr;
    GlRenderer* m_renderer = nullptr;
    MeshTrees* m_trees = nullptr;
};

/// A drawable placement.
class GlShape : public TqOcShape
{
public:
    /// @param scene      must outlive the shape
    /// @param placement  position in the model's placements
    /// @param tris       primitives of the placed mesh, which a walk budgets as triangles
    /// @param scale      factor on the shape's priority; smaller is drawn sooner
    GlShape(GlShapeScene const* scene, std::uint32_t placement, unsigned tris, double scale);

    std::uint32_t GetPlacement() const { return m_placement; }

    void GetShapeBox(TqLBox3f& box) override;

    /// Draws. Counts nothing: the plain walk counts by itself before it calls this.
    void RenderShape(TqOcRenderTraversal* traversal) override;

    /// Draws and counts one shape and its triangles, which the prioritized walk leaves to the
    /// application, and then lets the traversal look at its budget. Does nothing once the frame is
    /// clipped, so that a large leaf ends with the shape that used up the budget.
    void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                          TqOcRenderTravCullData const& data) override;

    /// Tests the shape's triangles, lines or points against the pick frustum.
    ///
    /// Reads PickBits and ResultBits (host/pick/PickBits.h), ContainedOnly, BackfaceCull and the
    /// required property bits. Where the nearest hit is wanted (a pick point is required, and
    /// ResultBits do not leave it out), looks for the one nearer than the present pick, or the
    /// shape's own nearest with ePROPERTY_ALL_HITS; else for any. What is found lists the shape
    /// once and may become the pick, with colour, vertices (a line's or point's last one repeated),
    /// a triangle's normal on its front side, a line's direction, and the texture coordinate where
    /// the mesh has some; the sub-object is the primitive's number in its mesh. What clip planes
    /// cut away is not hit, unless the shape ignores them. With ContainedOnly, a mesh with a corner
    /// outside the frustum is passed over.
    ///
    /// A pick that follows a frame passes over a shape that the frame did not draw, though its leaf
    /// was dealt with: an occluded one, say.
    ///
    /// Which point of a primitive is picked is told in host/pick/FrustumHit.h. Gives up when the
    /// traversal's time is over and reports what it has found by then.
    void PickShape(TqOcPickFrustumTraversal* traversal) override;

    /// Looks for the first contact of the moving body with the shape's triangles.
    ///
    /// A contact lists the shape. Where a pick point is required it may become the pick, at its
    /// distance along the sweep, with the contact's normal (from the triangle to the body), the
    /// colour and the vertices; the sweep is then shortened to it, unless ePROPERTY_ALL_HITS is
    /// required. BackfaceCull passes over triangles that do not face the motion. Clip planes and
    /// the frame that the pick follows count as for PickShape.
    void PickSweep(TqOcPickSweepTraversal* traversal) override;

private:
    PlacedMesh GetPlacedMesh() const;
    void ReportHit(TqOcPickFrustumTraversal* traversal, PlacedMesh const& mesh, MeshHit const& hit);
    void ReportContact(TqOcPickSweepTraversal* traversal, PlacedMesh const& mesh,
                       MeshContact const& contact, double distance);
    void ReportPrimitive(TqOcPickTraversal* traversal, PlacedMesh const& mesh,
                         std::uint32_t primitive) const;

    GlShapeScene const* m_scene;
    std::uint32_t m_placement;
};

} // namespace host
