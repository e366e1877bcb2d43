#include "host/gl/GlShape.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

namespace host
{

GlShape::GlShape(GlShapeScene const* scene, std::uint32_t placement, unsigned tris, double scale)
    : TqOcShape(scale, tris, TqLPrimitiveTypes::eTRIANGLES)
    , m_scene(scene)
    , m_placement(placement)
{}

void GlShape::GetShapeBox(TqLBox3f& box)
{
    box = m_scene->m_model->placements[m_placement].box;
}

void GlShape::RenderShape(TqOcRenderTraversal* /*traversal*/)
{
    if (m_scene->m_renderer == nullptr) {
        return;
    }
    SceneModel const& model = *m_scene->m_model;
    Placement const& placement = model.placements[m_placement];
    m_scene->m_renderer->DrawMesh(placement.mesh, placement.toWorld,
                                  model.materials[model.meshes[placement.mesh].material]);
}

void GlShape::PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                               TqOcRenderTravCullData const& /*data*/)
{
    if (traversal->IsFrameClipped() != 0) {
        return;
    }
    RenderShape(traversal);
    traversal->IncShapesRendered(1);
    traversal->IncTrisRendered(GetTris());
    traversal->CheckFrameExpired();
}

void GlShape::PickShape(TqOcPickFrustumTraversal* /*traversal*/) {}

} // namespace host
