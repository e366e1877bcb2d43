// Cubes in one leaf, ready to be picked, for the tests of the demo's picks.
#pragma once

#include "host/gl/GlShape.h"
#include "host/model/SceneModel.h"
#include "host/pick/MeshTree.h"
#include "host/pick/PickMeshes.h"

#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLMatrix.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Keeps the picks initialised while it lives. Place cubes, then Build once.
class PickedScene
{
public:
    PickedScene()
    {
        TqOcPickFrustumTraversal::Initialise();
        TqOcPickSweepTraversal::Initialise();
        m_model.materials.resize(1);
        m_model.meshes = {MakePickCube()};
    }

    ~PickedScene()
    {
        m_leaf.reset();
        TqOcPickSweepTraversal::Terminate();
        TqOcPickFrustumTraversal::Terminate();
    }

    PickedScene(PickedScene const&) = delete;
    PickedScene& operator=(PickedScene const&) = delete;

    /// Adds a block of the given size around a centre; the first is placement 0.
    void Place(TqLPos3f const& center, TqLVec3f const& size)
    {
        m_model.AddPlacement(0,
                             TqLAffine3f::Scale(size[0], size[1], size[2]) *
                                 TqLAffine3f::Translation(center.Vec()),
                             false);
    }

    void Build()
    {
        constexpr unsigned eCUBE_TRIS = 12;
        m_trees = std::make_unique<host::MeshTrees>(m_model);
        m_shared = {&m_model, nullptr, m_trees.get()};
        m_shapes.reserve(m_model.placements.size());
        m_leaf = std::make_unique<TqOcStaticLeaf>();
        for (std::uint32_t i = 0; i < m_model.placements.size(); ++i) {
            m_shapes.emplace_back(&m_shared, i, eCUBE_TRIS, 1.0);
            m_shapes.back().SetUserOwned(1);
            m_leaf->AddChild(&m_shapes.back());
        }
        m_leaf->Update();
    }

    TqOcTraversable* GetRoot() { return m_leaf.get(); }

    host::MeshTrees* GetTrees() { return m_trees.get(); }

    std::vector<host::GlShape*> GetShapes()
    {
        std::vector<host::GlShape*> shapes;
        for (host::GlShape& shape : m_shapes) {
            shapes.push_back(&shape);
        }
        return shapes;
    }

private:
    host::SceneModel m_model;
    std::unique_ptr<host::MeshTrees> m_trees;
    host::GlShapeScene m_shared;
    std::vector<host::GlShape> m_shapes;
    std::unique_ptr<TqOcStaticLeaf> m_leaf;
};
