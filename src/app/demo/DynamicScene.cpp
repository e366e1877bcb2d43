#include "demo/DynamicScene.h"

#include "scenecull/TqOcVisitor.h"

#include <memory>

namespace demo
{

namespace
{

/// Factors on the priority, smaller is drawn sooner: what moves and what hides comes before what is
/// hidden, so that a frame that runs out of time has both.
constexpr double eOWN_SCALE = 1e-5;
constexpr double eOCCLUDER_SCALE = 1e-4;

bool AreEqual(TqLBox3f const& a, TqLBox3f const& b)
{
    if (a.IsEmpty() || b.IsEmpty()) {
        return a.IsEmpty() && b.IsEmpty();
    }
    return a.GetMin() == b.GetMin() && a.GetMax() == b.GetMax();
}

/// Marks the shapes that it meets, and compares the boxes of groups with their children's.
class Marker : public TqOcVisitor
{
public:
    Marker(std::vector<host::GlShape*> const& shapes, TreeCheck* check)
        : m_shapes(shapes)
        , m_check(*check)
        , m_seen(shapes.size(), false)
    {}

    Action BeginVisit(TqOcTraversable* node) override
    {
        TqLBox3f box;
        box.MakeEmpty();
        TqOcBaseTraversable* const* children = nullptr;
        int const count = node->IsLeaf() != 0 ? 0 : node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            box.ExtendBy(static_cast<TqOcTraversable*>(children[i])->GetBoundingBox());
        }
        if (node->IsLeaf() == 0 && !AreEqual(box, node->GetBoundingBox())) {
            ++m_check.m_wrongBoxes;
        }
        return eCONTINUE;
    }

    void VisitShape(TqOcShape* shape) override
    {
        ++m_check.m_visited;
        std::size_t const placement = static_cast<host::GlShape*>(shape)->GetPlacement();
        if (m_shapes[placement] != shape || m_seen[placement]) {
            ++m_check.m_strays;
        }
        m_seen[placement] = true;
    }

private:
    std::vector<host::GlShape*> const& m_shapes;
    TreeCheck& m_check;
    std::vector<bool> m_seen;
};

} // namespace

DynamicScene::DynamicScene(host::SceneModel& model, host::GlRenderer& renderer,
                           std::size_t firstOwn)
    : m_model(model)
    , m_firstOwn(firstOwn)
    , m_shared{&model, &renderer}
    , m_shapes(model.placements.size(), nullptr)
{}

double DynamicScene::FindScale(std::size_t placement) const
{
    if (placement >= m_firstOwn) {
        return eOWN_SCALE;
    }
    return m_model.placements[placement].occluder ? eOCCLUDER_SCALE : 1.0;
}

bool DynamicScene::Add(std::size_t placement)
{
    if (m_shapes[placement] != nullptr) {
        return false;
    }
    unsigned const tris =
        static_cast<unsigned>(m_model.meshes[m_model.placements[placement].mesh].GetNumTriangles());
    auto shape = std::make_unique<host::GlShape>(&m_shared, static_cast<std::uint32_t>(placement),
                                                 tris, FindScale(placement));
    m_root.AddShape(shape.get());
    if (shape->IsOwned() == 0) {
        return false;
    }
    m_shapes[placement] = shape.release();
    ++m_numShapes;
    m_numTris += tris;
    return true;
}

bool DynamicScene::Remove(std::size_t placement)
{
    host::GlShape* const shape = m_shapes[placement];
    if (shape == nullptr) {
        return false;
    }
    m_numTris -= shape->GetTris();
    --m_numShapes;
    m_shapes[placement] = nullptr;
    m_root.DeleteShape(shape);
    return true;
}

bool DynamicScene::Move(std::size_t placement, TqLAffine3f const& toWorld)
{
    host::Placement& moved = m_model.placements[placement];
    moved.toWorld = toWorld;
    moved.box = host::TransformBox(m_model.meshes[moved.mesh].box, toWorld);
    if (m_shapes[placement] == nullptr) {
        return false;
    }
    m_shapes[placement]->Notify(TqOcBaseTraversable::eMODIFIED_BOX);
    return true;
}

TreeCheck DynamicScene::Check()
{
    TreeCheck check;
    Marker marker(m_shapes, &check);
    marker.Apply(&m_root);
    TqLBox3f box;
    box.MakeEmpty();
    std::uint64_t tris = 0;
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        if (m_shapes[i] != nullptr) {
            ++check.m_listed;
            tris += m_shapes[i]->GetTris();
            box.ExtendBy(m_model.placements[i].box);
        }
    }
    check.m_trisAgree = m_root.GetTris() == static_cast<unsigned>(tris);
    check.m_boxAgrees = AreEqual(m_root.GetBoundingBox(), box);
    return check;
}

} // namespace demo
