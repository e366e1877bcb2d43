#include "BenchModel.h"
#include "PeerTrees.h"

#include "geometry/TqLPlane3f.h"

// Boost's own headers use headers that Boost has deprecated.
#define BOOST_ALLOW_DEPRECATED_HEADERS
#include <boost/geometry.hpp>
#include <boost/geometry/index/detail/rtree/utilities/view.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace
{

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;
namespace rtree = boost::geometry::index::detail::rtree;

using Point = bg::model::point<double, 3, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using Value = std::pair<Box, std::uint32_t>;
using Tree = bgi::rtree<Value, bgi::quadratic<16>>;

Box MakeBox(TqLBox3f const& box)
{
    return Box(Point(box.GetMin()[0], box.GetMin()[1], box.GetMin()[2]),
               Point(box.GetMax()[0], box.GetMax()[1], box.GetMax()[2]));
}

struct Plane
{
    double normal[3];
    double distance;
};

constexpr int ePLANES = 6;

template <std::size_t Axis>
double PickLow(Plane const& plane, Box const& box)
{
    return plane.normal[Axis] * (plane.normal[Axis] > 0.0 ? bg::get<bg::min_corner, Axis>(box)
                                                          : bg::get<bg::max_corner, Axis>(box));
}

template <std::size_t Axis>
double PickHigh(Plane const& plane, Box const& box)
{
    return plane.normal[Axis] * (plane.normal[Axis] > 0.0 ? bg::get<bg::max_corner, Axis>(box)
                                                          : bg::get<bg::min_corner, Axis>(box));
}

/// Goes over the nodes with a mask of the planes that are still to be tested.
template <typename MembersHolder>
class CullVisitor : public MembersHolder::visitor_const
{
public:
    using Internal = typename MembersHolder::internal_node;
    using Leaf = typename MembersHolder::leaf;

    CullVisitor(Plane const* planes, DrawSink& sink) : m_planes(planes), m_sink(sink) {}

    void operator()(Internal const& node)
    {
        unsigned const mask = m_mask;
        for (auto const& child : rtree::elements(node)) {
            m_mask = mask;
            if (mask == 0 || !IsOutside(child.first)) {
                rtree::apply_visitor(*this, *child.second);
            }
        }
        m_mask = mask;
    }

    void operator()(Leaf const& node)
    {
        unsigned const mask = m_mask;
        for (Value const& value : rtree::elements(node)) {
            m_mask = mask;
            if (mask == 0 || !IsOutside(value.first)) {
                m_sink.Add(value.second);
            }
        }
        m_mask = mask;
    }

private:
    // Narrows the mask to the planes that cut the box.
    bool IsOutside(Box const& box)
    {
        for (unsigned i = 0, bit = 1; i < ePLANES; ++i, bit <<= 1) {
            if ((m_mask & bit) == 0) {
                continue;
            }
            Plane const& plane = m_planes[i];
            if (PickHigh<0>(plane, box) + PickHigh<1>(plane, box) + PickHigh<2>(plane, box) <
                plane.distance) {
                return true;
            }
            if (PickLow<0>(plane, box) + PickLow<1>(plane, box) + PickLow<2>(plane, box) >=
                plane.distance) {
                m_mask &= ~bit;
            }
        }
        return false;
    }

    Plane const* m_planes;
    DrawSink& m_sink;
    unsigned m_mask = (1u << ePLANES) - 1;
};

} // namespace

struct BoostTree::Impl
{
    Tree tree;
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
        values.emplace_back(MakeBox(box), static_cast<std::uint32_t>(values.size()));
    }
    m_impl->tree = Tree(values); // the constructor from a range packs
}

void BoostTree::Cull(TqLFrustum3f const& frustum, DrawSink& sink) const
{
    TqLPlane3f sides[ePLANES];
    frustum.GetPlanes(sides);
    Plane planes[ePLANES];
    for (int i = 0; i < ePLANES; ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            planes[i].normal[axis] = sides[i].GetNormal()[axis];
        }
        planes[i].distance = sides[i].GetDistance();
    }
    using View = rtree::utilities::view<Tree>;
    View const view(m_impl->tree);
    CullVisitor<View::members_holder> visitor(planes, sink);
    view.apply_visitor(visitor);
}

BoostTree::~BoostTree() = default;
