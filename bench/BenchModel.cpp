#include "BenchModel.h"

#include "PickPeers.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include "util/TqUMemory.h"

#include <algorithm>

DrawSink BenchShape::s_sink;

namespace
{

TqLPos3f FindNearestPoint(TqLBox3f const& box, TqLPos3f const& to)
{
    TqLPos3f point;
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] = std::clamp(to[axis], box.GetMin()[axis], box.GetMax()[axis]);
    }
    return point;
}

std::size_t CountLeaves(TqOcBaseTraversable* node)
{
    if (node->IsLeaf() != 0) {
        return 1;
    }
    TqOcBaseTraversable* const* children = nullptr;
    int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
    std::size_t leaves = 0;
    for (int i = 0; i < count; ++i) {
        leaves += CountLeaves(children[i]);
    }
    return leaves;
}

} // namespace

void BenchShape::PickShape(TqOcPickFrustumTraversal* traversal)
{
    if ((traversal->GetRequiredPropertyBits() & TqOcPickTraversal::ePROPERTY_ALL_HITS) != 0) {
        traversal->PickShape(this);
        return;
    }
    TqLPickFrustum3f const& frustum = traversal->GetFrustum();
    double const distance = frustum.MinDistance(*m_box);
    TqLPos3f const point = FindNearestPoint(*m_box, frustum.GetOrigin());
    if (traversal->CanPickPoint(this, point, distance) != 0) {
        traversal->SetPicked(this, point, distance, 0, TqOcPickTraversal::ePICK_OTHER);
    }
}

void BenchShape::PickSweep(TqOcPickSweepTraversal* traversal)
{
    if (traversal->IsPickPointRequired() == 0) {
        traversal->PickShape(this);
        return;
    }
    double const contact = FindContact(traversal->GetSweep(), *m_box);
    if (contact <= 1.0) {
        traversal->EditSweep().ShortenTo(contact);
        TqLPickSweep const& sweep = traversal->GetSweep();
        traversal->SetPicked(this, sweep.GetCenter() + sweep.GetSweep(), contact, 0,
                             TqOcPickTraversal::ePICK_OTHER);
    }
}

std::shared_ptr<std::vector<TqLBox3f> const> BenchModel::GetBoxes(std::size_t count)
{
    static std::shared_ptr<std::vector<TqLBox3f> const> s_boxes;
    if (!s_boxes || s_boxes->size() != count) {
        auto boxes = std::make_shared<std::vector<TqLBox3f>>();
        boxes->reserve(count);
        for (SceneBox const& item : MakePlant(count, eBENCH_SEED)) {
            boxes->push_back(item.box);
        }
        s_boxes = boxes;
    }
    return s_boxes;
}

BenchModel& BenchModel::Get(std::size_t count, int leafSize)
{
    static std::unique_ptr<BenchModel> s_model;
    if (!s_model || s_model->m_shapes.size() != count || s_model->m_leafSize != leafSize) {
        s_model.reset(); // before the new one takes its memory
        s_model.reset(new BenchModel(count, leafSize));
    }
    return *s_model;
}

BenchModel::BenchModel(std::size_t count, int leafSize)
    : m_leafSize(leafSize)
    , m_boxes(GetBoxes(count))
    , m_shapes(MakeBenchShapes(*m_boxes))
{
    std::size_t const before = TqUMemory::GetLiveBytes();
    m_root = Build(m_shapes, leafSize);
    m_treeBytes = TqUMemory::GetLiveBytes() - before;
    m_numLeaves = CountLeaves(m_root);
}

BenchModel::~BenchModel()
{
    delete m_root;
}

TqLBox3f const& BenchModel::GetBounds() const
{
    return m_root->GetBoundingBox();
}

TqOcTraversable* BenchModel::Build(std::vector<BenchShape>& shapes, int leafSize)
{
    TqOcStaticHierarchyBuilder builder(leafSize);
    builder.Begin();
    for (BenchShape& shape : shapes) {
        builder.Append(&shape);
    }
    TqOcTraversable* root = builder.End();
    root->Update();
    return root;
}

std::vector<BenchShape> MakeBenchShapes(std::vector<TqLBox3f> const& boxes)
{
    std::vector<BenchShape> shapes;
    shapes.reserve(boxes.size());
    for (TqLBox3f const& box : boxes) {
        shapes.emplace_back(&box, static_cast<std::uint32_t>(shapes.size()));
    }
    return shapes;
}
