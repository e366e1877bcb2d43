// A SceneModel made ready for drawing: meshes uploaded, one shape a placement, and the hierarchies
// built over them.
//
// What hides (walls, slabs, doors) goes into one static hierarchy and what is hidden (everything
// else) into another, under one root. The hiding part gets a small priority scale, so that a walk
// by area draws it early and occlusion queries find a filled depth buffer. Owns shapes and nodes;
// model and renderer must outlive it.
#pragma once

#include "host/gl/GlMeshStore.h"
#include "host/gl/GlRenderer.h"
#include "host/gl/GlShape.h"
#include "host/model/SceneModel.h"
#include "host/pick/MeshTree.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class TqOcTraversable;

namespace host
{

/// How the hierarchies are built.
struct GlSceneSettings
{
    /// Sets of shapes below this many triangles become one leaf, the unit in which a walk draws.
    int m_leafTris = 3000;
    /// The same for what hides, which consists of plain boxes.
    int m_occluderLeafTris = 400;
    /// Factor on the priority of what hides; smaller is drawn sooner.
    double m_occluderScale = 0.02;
};

/// Counts over the nodes of a hierarchy.
struct HierarchyCounts
{
    std::size_t m_groups = 0;
    std::size_t m_leaves = 0;
    int m_depth = 0;
};

/// Shapes and hierarchy of one model. Not copyable.
class GlScene
{
public:
    GlScene(SceneModel const& model, GlRenderer& renderer, GlSceneSettings const& settings);
    ~GlScene();
    GlScene(GlScene const&) = delete;
    GlScene& operator=(GlScene const&) = delete;

    /// Root of the hierarchy; null when the model has no placements.
    TqOcTraversable* GetRoot() { return m_root; }

    /// Whether shapes draw or only count; they draw after construction.
    void SetDrawing(bool drawing) { m_shared.m_renderer = drawing ? &m_renderer : nullptr; }

    std::size_t GetNumShapes() const { return m_shapes.size(); }

    HierarchyCounts const& GetCounts() const { return m_counts; }

    /// The trees through which the shapes are picked; each is built at its mesh's first pick.
    MeshTrees& GetTrees() { return m_trees; }

private:
    TqOcTraversable* Build(bool occluders, int leafTris);

    SceneModel const& m_model;
    GlRenderer& m_renderer;
    MeshTrees m_trees;
    GlShapeScene m_shared;
    std::vector<GlShape> m_shapes;
    TqOcTraversable* m_root = nullptr;
    HierarchyCounts m_counts;
};

} // namespace host
