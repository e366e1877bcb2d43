#include "SceneTree.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "util/TqUPtrVector.h"

namespace
{

constexpr int eBULK_CHILDREN = 7;

// Thresholds of the static builder that give these leaves on the plant.
constexpr int eLEAF_OF_8 = 32;
constexpr int eLEAF_OF_24 = 100;

TqOcTraversable* BuildBulk(std::vector<BenchShape>& shapes)
{
    TqUPtrVector<TqOcTraversable> leaves;
    leaves.Reserve(static_cast<int>(shapes.size()));
    for (BenchShape& shape : shapes) {
        leaves.PushBack(new TqOcSingleLeaf(&shape));
    }
    TqOcTraversable* const root = TqOcDynamicHierarchyBuilder().Build(&leaves, eBULK_CHILDREN);
    root->Update();
    return root;
}

} // namespace

SceneTree::SceneTree(DynamicScene const& scene, TreeMaking making)
{
    if (making == TreeMaking::eGROWN) {
        m_grown = MakeDynamicGroupTree(scene);
        m_grown->Insert(scene.Choose(scene.GetBoxes().size(), eINSERT_SEED));
        return;
    }
    m_shapes = MakeBenchShapes(scene.GetBoxes());
    if (making == TreeMaking::eBULK) {
        m_root.reset(BuildBulk(m_shapes));
    } else {
        m_root.reset(BenchModel::Build(m_shapes,
                                       making == TreeMaking::eSTATIC_8 ? eLEAF_OF_8 : eLEAF_OF_24));
    }
}

SceneTree::~SceneTree() = default;
