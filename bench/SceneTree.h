#pragma once

// SceneTree: the library's trees over the boxes of a scene, by the way in which they are made.

#include "BenchModel.h"
#include "DynamicScene.h"

#include <cstdint>
#include <memory>
#include <vector>

class TqOcTraversable;

/// How a tree is made.
enum class TreeMaking
{
    eGROWN,     ///< Shape by shape, in random order.
    eBULK,      ///< By the bulk builder, with seven children.
    eSTATIC_8,  ///< By the static builder, about 8 shapes in a leaf.
    eSTATIC_24, ///< By the static builder, about 24 shapes in a leaf.
};

/// The seed of the order in which the boxes of a scene go into trees that are grown.
inline constexpr std::uint64_t eINSERT_SEED = 11;

/// A tree over all boxes of a scene, up to date, with shapes of its own.
class SceneTree
{
public:
    SceneTree(DynamicScene const& scene, TreeMaking making);
    ~SceneTree();

    SceneTree(SceneTree const&) = delete;
    SceneTree& operator=(SceneTree const&) = delete;

    TqOcTraversable& GetRoot() { return m_root ? *m_root : *m_grown->GetRoot(); }

    /// The tree to move boxes in; null unless it was grown.
    DynamicTree* GetGrown() { return m_grown.get(); }

private:
    std::vector<BenchShape> m_shapes;
    std::unique_ptr<DynamicTree> m_grown; // has its own
    std::unique_ptr<TqOcTraversable> m_root;
};
