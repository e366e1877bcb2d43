#include "host/pick/MeshTree.h"

#include <algorithm>
#include <numeric>

namespace host
{

/// What building needs and the tree does not keep.
struct MeshTree::Builder
{
    /// A primitive's box, and twice its middle.
    struct Item
    {
        float m_min[3];
        float m_max[3];
        float m_middle[3];
    };

    std::vector<Node>& m_nodes;
    std::vector<std::uint32_t>& m_order;
    std::vector<Item> m_items;

    void AddItem(Mesh const& mesh, std::size_t firstIndex, std::size_t numCorners)
    {
        Item item;
        for (int axis = 0; axis < 3; ++axis) {
            float const start = GetCoordinate(mesh, firstIndex, axis);
            float min = start;
            float max = start;
            for (std::size_t corner = 1; corner < numCorners; ++corner) {
                float const value = GetCoordinate(mesh, firstIndex + corner, axis);
                min = std::min(min, value);
                max = std::max(max, value);
            }
            item.m_min[axis] = min;
            item.m_max[axis] = max;
            item.m_middle[axis] = min * 0.5f + max * 0.5f;
        }
        m_items.push_back(item);
    }

    static float GetCoordinate(Mesh const& mesh, std::size_t index, int axis)
    {
        return mesh
            .positions[std::size_t(3) * mesh.indices[index] + static_cast<std::size_t>(axis)];
    }

    /// Sets the box of a node to that of a range of the order.
    void Enclose(Node& node, std::uint32_t first, std::uint32_t last) const
    {
        for (int axis = 0; axis < 3; ++axis) {
            node.m_min[axis] = m_items[m_order[first]].m_min[axis];
            node.m_max[axis] = m_items[m_order[first]].m_max[axis];
            for (std::uint32_t i = first + 1; i < last; ++i) {
                Item const& item = m_items[m_order[i]];
                node.m_min[axis] = std::min(node.m_min[axis], item.m_min[axis]);
                node.m_max[axis] = std::max(node.m_max[axis], item.m_max[axis]);
            }
        }
    }

    int FindLongestAxis(std::uint32_t first, std::uint32_t last) const
    {
        int longest = 0;
        float longestSize = -1.0f;
        for (int axis = 0; axis < 3; ++axis) {
            auto const [least, most] = std::minmax_element(
                m_order.begin() + first, m_order.begin() + last,
                [this, axis](std::uint32_t a, std::uint32_t b) {
                    return m_items[a].m_middle[axis] < m_items[b].m_middle[axis];
                });
            float const size = m_items[*most].m_middle[axis] - m_items[*least].m_middle[axis];
            if (size > longestSize) {
                longest = axis;
                longestSize = size;
            }
        }
        return longest;
    }

    /// Makes `node` the root of a range of the order. Halving bounds the depth by the number's
    /// bits, however the primitives lie.
    void Build(std::uint32_t node, std::uint32_t first, std::uint32_t last)
    {
        Enclose(m_nodes[node], first, last);
        if (last - first <= eLEAF_SIZE) {
            m_nodes[node].m_first = first;
            m_nodes[node].m_count = last - first;
            return;
        }
        int const axis = FindLongestAxis(first, last);
        std::uint32_t const middle = first + (last - first) / 2;
        std::nth_element(m_order.begin() + first, m_order.begin() + middle, m_order.begin() + last,
                         [this, axis](std::uint32_t a, std::uint32_t b) {
                             float const atA = m_items[a].m_middle[axis];
                             float const atB = m_items[b].m_middle[axis];
                             // Equal middles in the mesh's order: the same tree on every machine.
                             return atA != atB ? atA < atB : a < b;
                         });
        auto const children = static_cast<std::uint32_t>(m_nodes.size());
        m_nodes.resize(m_nodes.size() + 2);
        m_nodes[node].m_first = children;
        m_nodes[node].m_count = 0;
        Build(children, first, middle);
        Build(children + 1, middle, last);
    }
};

MeshTree::MeshTree(Mesh const& mesh)
{
    std::size_t const numVertices = mesh.GetNumVertices();
    std::size_t const numCorners = mesh.corners;
    std::size_t const count = mesh.indices.size() / numCorners;
    bool const isValid =
        std::all_of(mesh.indices.begin(), mesh.indices.end(),
                    [numVertices](std::uint32_t index) { return index < numVertices; });
    if (!isValid || count == 0) {
        return;
    }
    m_order.resize(count);
    std::iota(m_order.begin(), m_order.end(), 0u);
    Builder builder{m_nodes, m_order, {}};
    builder.m_items.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        builder.AddItem(mesh, i * numCorners, numCorners);
    }
    m_nodes.reserve(count);
    m_nodes.resize(1);
    builder.Build(0, 0, static_cast<std::uint32_t>(count));
    m_nodes.shrink_to_fit();
}

MeshTrees::MeshTrees(SceneModel const& model) : m_model(model), m_trees(model.meshes.size()) {}

MeshTree const& MeshTrees::GetTree(std::size_t mesh)
{
    if (m_trees[mesh] == nullptr) {
        m_trees[mesh] = std::make_unique<MeshTree>(m_model.meshes[mesh]);
    }
    return *m_trees[mesh];
}

std::size_t MeshTrees::GetNumBytes() const
{
    std::size_t sum = 0;
    for (std::unique_ptr<MeshTree> const& tree : m_trees) {
        sum += tree != nullptr ? tree->GetNumBytes() : 0;
    }
    return sum;
}

} // namespace host
