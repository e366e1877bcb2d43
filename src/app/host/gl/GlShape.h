// One placement of a mesh as a shape of the hierarchy.
//
// All shapes of a scene lie side by side in one vector and are user owned: containers never delete
// them. A shape is 56 bytes; geometry, transform and material belong to the SceneModel.
#pragma once

#include "host/gl/GlRenderer.h"
#include "host/model/SceneModel.h"

#include "scenecull/TqOcShape.h"

#include <cstdint>

namespace host
{

/// What all shapes of a scene share. Both must outlive the shapes. Without a renderer the shapes
/// count themselves as drawn and draw nothing, which tells what a frame would cost.
struct GlShapeScene
{
    SceneModel const* m_model = nullptr;
    GlRenderer* m_renderer = nullptr;
};

/// A drawable placement.
class GlShape : public TqOcShape
{
public:
    /// @param scene      must outlive the shape
    /// @param placement  position in the model's placements
    /// @param tris       triangles of the placed mesh
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

    /// Nothing: picking ends at the shape's box.
    void PickShape(TqOcPickFrustumTraversal* traversal) override;

private:
    GlShapeScene const* m_scene;
    std::uint32_t m_placement;
};

} // namespace host
