// A tree of boxes over the primitives of one mesh, so that a pick looks at few of them.
//
// A bounding volume hierarchy, built top down by halving the primitives along the longest axis of
// their middles; nodes lie in one array, boxes are floats as the mesh's positions are, so that
// nothing is lost. 24 bytes a triangle or so. MeshTrees holds the trees of a model and builds each
// at its first use. A tree holds numbers only: the mesh itself is passed in where it is needed.
#pragma once

#include "host/model/SceneModel.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLVec.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace host
{

/// The tree of one mesh. Picks walk it through Walk(); several threads may do so at once.
class MeshTree
{
public:
    /// Builds the tree in n log n. A mesh with indices outside its vertices gets an empty one.
    explicit MeshTree(Mesh const& mesh);

    /// Visits the primitives of the nodes that a query asks for, nearer nodes sooner.
    ///
    /// A Query has three operations:
    ///  - `double Rank(TqLBox3f const& box)`: a lower bound of what is sought for everything in a
    ///    box of mesh coordinates; negative or NaN leaves the box out;
    ///  - `double GetLimit()`: boxes that rank above it are left out; may fall during the walk;
    ///  - `bool Visit(std::uint32_t primitive)`: looks at a primitive; false ends the walk.
    /// @return false when Visit ended the walk.
    template <class Query>
    bool Walk(Query& query) const;

    /// True without primitives.
    bool IsEmpty() const { return m_nodes.empty(); }

    std::size_t GetNumBytes() const
    {
        return m_nodes.size() * sizeof(Node) + m_order.size() * sizeof(std::uint32_t);
    }

private:
    static constexpr std::uint32_t eLEAF_SIZE = 4;
    static constexpr int eMAX_DEPTH = 40;

    struct Node
    {
        float m_min[3];
        std::uint32_t m_first; ///< of a leaf: position in m_order; else the first of two children
        float m_max[3];
        std::uint32_t m_count; ///< primitives of a leaf; 0 for an inner node

        TqLBox3f GetBox() const
        {
            return TqLBox3f(TqLPos3f(m_min[0], m_min[1], m_min[2]),
                            TqLPos3f(m_max[0], m_max[1], m_max[2]));
        }
    };

    static_assert(sizeof(Node) == 32, "two to a cache line");

    struct Open
    {
        std::uint32_t m_node;
        double m_rank;
    };

    struct Builder;

    template <class Query>
    bool VisitLeaf(Node const& node, Query& query) const;

    std::vector<Node> m_nodes;
    std::vector<std::uint32_t> m_order;
};

/// The trees of all meshes of a model. The model must outlive it and keep its meshes. Not for use
/// by several threads: the first use of a mesh builds its tree.
class MeshTrees
{
public:
    explicit MeshTrees(SceneModel const& model);
    MeshTrees(MeshTrees const&) = delete;
    MeshTrees& operator=(MeshTrees const&) = delete;

    SceneModel const& GetModel() const { return m_model; }

    /// The tree of a mesh by its number; the first call builds it.
    MeshTree const& GetTree(std::size_t mesh);

    /// Memory of the trees built so far.
    std::size_t GetNumBytes() const;

private:
    SceneModel const& m_model;
    std::vector<std::unique_ptr<MeshTree>> m_trees;
};

// ---- Walking ------------------------------------------------------------------------------------

template <class Query>
bool MeshTree::VisitLeaf(Node const& node, Query& query) const
{
    for (std::uint32_t i = node.m_first; i < node.m_first + node.m_count; ++i) {
        if (!query.Visit(m_order[i])) {
            return false;
        }
    }
    return true;
}

template <class Query>
bool MeshTree::Walk(Query& query) const
{
    if (m_nodes.empty()) {
        return true;
    }
    Open open[eMAX_DEPTH + 1];
    int numOpen = 0;
    double const rootRank = query.Rank(m_nodes[0].GetBox());
    if (rootRank >= 0.0) {
        open[numOpen++] = {0, rootRank};
    }
    while (numOpen > 0) {
        Open const next = open[--numOpen];
        if (next.m_rank > query.GetLimit()) {
            continue;
        }
        Node const& node = m_nodes[next.m_node];
        if (node.m_count > 0) {
            if (!VisitLeaf(node, query)) {
                return false;
            }
            continue;
        }
        Open children[2] = {{node.m_first, query.Rank(m_nodes[node.m_first].GetBox())},
                            {node.m_first + 1, query.Rank(m_nodes[node.m_first + 1].GetBox())}};
        // The nearer one comes last, to be taken first.
        if (children[0].m_rank < children[1].m_rank) {
            std::swap(children[0], children[1]);
        }
        for (Open const& child : children) {
            if (child.m_rank >= 0.0) {
                open[numOpen++] = child;
            }
        }
    }
    return true;
}

} // namespace host
