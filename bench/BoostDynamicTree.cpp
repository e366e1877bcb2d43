// Boost.Geometry's R-tree as a dynamic tree: grown value by value; a move removes the old value and
// inserts the new one.

#include "BoostCull.h"
#include "DynamicScene.h"

namespace
{

using BoostCull::Value;
namespace bgi = boost::geometry::index;

template <typename Rule>
class BoostDynamicTree : public DynamicTree
{
public:
    explicit BoostDynamicTree(DynamicScene const& scene) : m_boxes(scene.GetBoxes())
    {
        m_values.reserve(m_boxes.size());
        for (TqLBox3f const& box : m_boxes) {
            m_values.emplace_back(BoostCull::MakeBox(box),
                                  static_cast<std::uint32_t>(m_values.size()));
        }
    }

    void Insert(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_tree.insert(m_values[number]);
        }
    }

    void Remove(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_tree.remove(m_values[number]);
        }
    }

    void Move(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_tree.remove(m_values[number]);
            m_values[number].first = BoostCull::MakeBox(m_boxes[number]);
            m_tree.insert(m_values[number]);
        }
    }

    void Cull(TqLFrustum3f const& frustum, DrawSink& sink) override
    {
        BoostCull::Cull(m_tree, frustum, sink);
    }

private:
    std::vector<TqLBox3f> const& m_boxes;
    std::vector<Value> m_values; // as they stand in the tree
    bgi::rtree<Value, Rule> m_tree;
};

} // namespace

std::unique_ptr<DynamicTree> MakeBoostQuad7(DynamicScene const& scene)
{
    return std::make_unique<BoostDynamicTree<bgi::quadratic<7>>>(scene);
}

std::unique_ptr<DynamicTree> MakeBoostQuad16(DynamicScene const& scene)
{
    return std::make_unique<BoostDynamicTree<bgi::quadratic<16>>>(scene);
}

std::unique_ptr<DynamicTree> MakeBoostLin16(DynamicScene const& scene)
{
    return std::make_unique<BoostDynamicTree<bgi::linear<16>>>(scene);
}

std::unique_ptr<DynamicTree> MakeBoostRstar16(DynamicScene const& scene)
{
    return std::make_unique<BoostDynamicTree<bgi::rstar<16>>>(scene);
}
