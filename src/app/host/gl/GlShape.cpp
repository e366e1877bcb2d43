#include "host/gl/GlShape.h"

#include "host/pick/MeshPick.h"
#include "host/pick/PickBits.h"

#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include <limits>

namespace host
{

namespace
{

TqLPrimitiveTypes::Enum GetKind(SceneModel const& model, std::uint32_t placement)
{
    switch (model.meshes[model.placements[placement].mesh].corners) {
    case 1:
        return TqLPrimitiveTypes::ePOINTS;
    case 2:
        return TqLPrimitiveTypes::eLINES;
    default:
        return TqLPrimitiveTypes::eTRIANGLES;
    }
}

TqOcPickTraversal::PickType GetPickType(Mesh const& mesh)
{
    switch (mesh.corners) {
    case 1:
        return TqOcPickTraversal::ePICK_POINT;
    case 2:
        return TqOcPickTraversal::ePICK_LINE;
    default:
        return TqOcPickTraversal::ePICK_TRIANGLE;
    }
}

bool PassesOverBackFaces(TqOcPickTraversal const& traversal)
{
    switch (traversal.GetBackfaceCull()) {
    case TqOcPickTraversal::eBACKFACE_CULL_OFF:
        return false;
    case TqOcPickTraversal::eBACKFACE_CULL_AS_RENDERED:
        return GlRenderer::CullsBackFaces();
    case TqOcPickTraversal::eBACKFACE_CULL_ON:
        break;
    }
    return true;
}

bool AreAllHitsRequired(TqOcPickTraversal const& traversal)
{
    return (traversal.GetRequiredPropertyBits() & TqOcPickTraversal::ePROPERTY_ALL_HITS) != 0;
}

/// The clip planes that cut a shape in a pick.
struct ShapeClipping
{
    TqLPlane3f const* m_planes = nullptr;
    int m_numPlanes = 0;

    ShapeClipping(TqOcPickTraversal const& pick, GlShape const& shape)
    {
        if (shape.IsIgnoreClip() != 0) {
            return;
        }
        TqOcTraversal const* const render = pick.GetRenderTraversal();
        TqOcTraversal const& traversal = render != nullptr ? *render : pick;
        m_planes = traversal.GetClipPlanes();
        m_numPlanes = traversal.GetNumClipPlanes();
    }
};

/// Whether the frame that a pick follows did not draw a shape: its leaf was occluded, say.
bool IsUndrawn(TqOcPickTraversal const& traversal, GlShape const& shape)
{
    TqOcPrioritizedTraversal const* const frame = traversal.GetRenderTraversal();
    return frame != nullptr &&
           (traversal.IsPickLastRendered() != 0 || frame->IsInteractive() != 0) &&
           shape.GetFrameId() != frame->GetFrameId();
}

/// What a frustum pick is to report of a shape.
struct PickWishes
{
    bool m_list;
    bool m_nearest;

    explicit PickWishes(TqOcPickFrustumTraversal const& traversal)
    {
        int const bits = traversal.GetResultBits();
        m_list = bits == 0 || (bits & ResultBits::eLIST) != 0;
        m_nearest = (bits == 0 || (bits & ResultBits::eNEAREST) != 0) &&
                    traversal.IsPickPointRequired() != 0;
    }
};

MeshPickSettings GetSettings(TqOcPickFrustumTraversal const& traversal)
{
    MeshPickSettings settings;
    settings.m_frontFacesOnly = PassesOverBackFaces(traversal);
    settings.m_hits = (traversal.GetPickBits() & PickBits::eLINE_OF_SIGHT) != 0
                          ? TriangleHits::eLINE_OF_SIGHT
                          : TriangleHits::eANYWHERE;
    settings.m_isOver = [&traversal] { return traversal.IsPickingTimeOut(); };
    return settings;
}

/// Hits from here on are of no interest.
double GetLimit(TqOcPickFrustumTraversal const& traversal)
{
    return traversal.GetPickedShape() == nullptr || AreAllHitsRequired(traversal)
               ? std::numeric_limits<double>::infinity()
               : traversal.GetDistance();
}

} // namespace

GlShape::GlShape(GlShapeScene const* scene, std::uint32_t placement, unsigned tris, double scale)
    : TqOcShape(scale, tris, GetKind(*scene->m_model, placement))
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

// ---- Picks --------------------------------------------------------------------------------------

PlacedMesh GlShape::GetPlacedMesh() const
{
    Placement const& placement = m_scene->m_model->placements[m_placement];
    return PlacedMesh(m_scene->m_model->meshes[placement.mesh],
                      m_scene->m_trees->GetTree(placement.mesh), placement.toWorld);
}

void GlShape::PickShape(TqOcPickFrustumTraversal* traversal)
{
    int const kinds = traversal->GetPickBits() & PickBits::eKINDS;
    bool const isWanted = kinds == 0 || (static_cast<unsigned>(kinds) & GetPrimitives()) != 0;
    if (m_scene->m_trees == nullptr || !isWanted || IsUndrawn(*traversal, *this) ||
        traversal->IsPickingTimeOut()) {
        return;
    }
    PlacedMesh const mesh = GetPlacedMesh();
    ShapeClipping const clipping(*traversal, *this);
    PickVolume const volume(traversal->GetFrustum(), clipping.m_planes, clipping.m_numPlanes);
    MeshPickSettings const settings = GetSettings(*traversal);
    if (traversal->IsContainedOnly() != 0 && !IsContained(mesh, volume, settings)) {
        return;
    }
    PickWishes const wishes(*traversal);
    MeshHit hit;
    bool const isHit = wishes.m_nearest
                           ? FindNearestHit(mesh, volume, settings, GetLimit(*traversal), &hit)
                           : wishes.m_list && IsTouched(mesh, volume, settings);
    if (isHit && wishes.m_list) {
        traversal->PickShape(this);
    }
    if (isHit && wishes.m_nearest) {
        ReportHit(traversal, mesh, hit);
    }
}

void GlShape::ReportHit(TqOcPickFrustumTraversal* traversal, PlacedMesh const& mesh,
                        MeshHit const& hit)
{
    if (!traversal->CanPickPoint(this, hit.m_hit.m_point, hit.m_hit.m_distance)) {
        return;
    }
    traversal->SetPicked(this, hit.m_hit.m_point, hit.m_hit.m_distance, hit.m_primitive,
                         GetPickType(mesh.GetMesh()));
    ReportPrimitive(traversal, mesh, hit.m_primitive);
}

void GlShape::PickSweep(TqOcPickSweepTraversal* traversal)
{
    if (m_scene->m_trees == nullptr || IsUndrawn(*traversal, *this)) {
        return;
    }
    PlacedMesh const mesh = GetPlacedMesh();
    ShapeClipping const clipping(*traversal, *this);
    MeshPickSettings settings;
    settings.m_frontFacesOnly = PassesOverBackFaces(*traversal);
    TqLPickSweep const& sweep = traversal->GetSweep();
    MeshContact contact;
    if (!FindContact(mesh, sweep, clipping.m_planes, clipping.m_numPlanes, settings, &contact)) {
        return;
    }
    traversal->PickShape(this);
    // The fraction is one of the sweep as it stands, which contacts before may have shortened.
    double const distance = contact.m_contact.m_fraction * sweep.GetSweep().Length();
    if (!traversal->IsPickPointRequired() ||
        !traversal->CanPickPoint(this, contact.m_contact.m_point, distance)) {
        return;
    }
    ReportContact(traversal, mesh, contact, distance);
    if (!AreAllHitsRequired(*traversal)) {
        traversal->EditSweep().ShortenTo(contact.m_contact.m_fraction);
    }
}

void GlShape::ReportContact(TqOcPickSweepTraversal* traversal, PlacedMesh const& mesh,
                            MeshContact const& contact, double distance)
{
    traversal->SetPicked(this, contact.m_contact.m_point, distance, contact.m_primitive,
                         GetPickType(mesh.GetMesh()));
    ReportPrimitive(traversal, mesh, contact.m_primitive);
    traversal->SetNormal(TqLUnitVec3f(contact.m_contact.m_normal));
}

void GlShape::ReportPrimitive(TqOcPickTraversal* traversal, PlacedMesh const& mesh,
                              std::uint32_t primitive) const
{
    TqLPos3f corners[3];
    mesh.GetCorners(primitive, corners);
    traversal->SetVertices(corners[0], corners[1], corners[2]);
    TqLUnitVec3f const normal(mesh.GetFront(corners));
    if (!normal.IsZero()) {
        traversal->SetNormal(normal);
    }
    if (mesh.GetMesh().corners == 2) {
        traversal->SetDirection(TqLUnitVec3f(corners[1] - corners[0]));
    }
    if (!mesh.GetMesh().texCoords.empty()) {
        traversal->SetTexCoord(mesh.GetTexCoord(primitive, traversal->GetPickedPoint()));
    }
    float const* const color = m_scene->m_model->materials[mesh.GetMesh().material].color;
    traversal->SetColor(TqLColor3f(color[0], color[1], color[2]));
}

} // namespace host
