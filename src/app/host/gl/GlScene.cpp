#include "host/gl/GlScene.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <algorithm>

namespace host
{

namespace
{

void CountNodes(TqOcBaseTraversable* node, int depth, HierarchyCounts* counts)
{
    counts->m_depth = std::max(counts->m_depth, depth);
    if (node->IsLeaf() != 0) {
        ++counts->m_leaves;
        return;
    }
    ++counts->m_groups;
    TqOcBaseTraversable* const* children = nullptr;
    int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
    for (int i = 0; i < count; ++i) {
        CountNodes(children[i], depth + 1, counts);
    }
}

} // namespace

GlScene::GlScene(SceneModel const& model, GlRenderer& renderer, GlSceneSettings const& settings)
    : m_model(model)
    , m_renderer(renderer)
    , m_trees(model)
    , m_shared{&model, &renderer, &m_trees}
{
    m_shapes.reserve(model.placements.size());
    for (std::size_t i = 0; i < model.placements.size(); ++i) {
        Placement const& placement = model.placements[i];
        m_shapes.emplace_back(
            &m_shared, static_cast<std::uint32_t>(i),
            static_cast<unsigned>(model.meshes[placement.mesh].GetNumPrimitives()),
            placement.occluder ? settings.m_occluderScale : 1.0);
        m_shapes.back().SetUserOwned(1);
    }
    TqOcTraversable* const parts[2] = {Build(true, settings.m_occluderLeafTris),
                                       Build(false, settings.m_leafTris)};
    if (parts[0] != nullptr && parts[1] != nullptr) {
        auto* root = new TqOcStaticGroup();
        root->AddChild(parts[0]);
        root->AddChild(parts[1]);
        m_root = root;
    } else {
        m_root = parts[0] != nullptr ? parts[0] : parts[1];
    }
    if (m_root != nullptr) {
        m_root->Update();
        CountNodes(m_root, 1, &m_counts);
    }
}

GlScene::~GlScene()
{
    // The nodes go first: they unlink themselves from the shapes.
    delete m_root;
}

TqOcTraversable* GlScene::Build(bool occluders, int leafTris)
{
    TqOcStaticHierarchyBuilder builder(leafTris);
    builder.Begin();
    for (GlShape& shape : m_shapes) {
        if (m_model.placements[shape.GetPlacement()].occluder == occluders) {
            builder.Append(&shape);
        }
    }
    return builder.End();
}

} // namespace host
