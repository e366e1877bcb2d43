#include "BenchModel.h"
#include "BoostCull.h"
#include "PeerTrees.h"

#include <cstdint>

using BoostCull::Value;

struct BoostTree::Impl
{
    BoostCull::bgi::rtree<Value, BoostCull::bgi::quadratic<16>> tree;
};

BoostTree::BoostTree(std::vector<TqLBox3f> const& boxes) : m_impl(std::make_unique<Impl>())
{
    Build(boxes);
}

void BoostTree::Build(std::vector<TqLBox3f> const& boxes)
{
    std::vector<Value> values;
    values.reserve(boxes.size());
    for (TqLBox3f const& box : boxes) {
        values.emplace_back(BoostCull::MakeBox(box), static_cast<std::uint32_t>(values.size()));
    }
    m_impl->tree = decltype(m_impl->tree)(values); // the constructor from a range packs
}

void BoostTree::Cull(TqLFrustum3f const& frustum, DrawSink& sink) const
{
    BoostCull::Cull(m_impl->tree, frustum, sink);
}

BoostTree::~BoostTree() = default;
