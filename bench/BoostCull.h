#pragma once

// BoostCull: what the sources that wrap Boost.Geometry's R-tree share: its types over our boxes,
// and the cull by six planes. Boost's public queries prune nodes by axis-parallel boxes only, which
// is several times slower; so this goes over the nodes with a visitor.

#include "BenchModel.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPlane3f.h"

// Boost's own headers use headers that Boost has deprecated.
#define BOOST_ALLOW_DEPRECATED_HEADERS
#include <boost/geometry.hpp>
#include <boost/geometry/index/detail/rtree/utilities/view.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace BoostCull
{

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;
namespace detail_rtree = boost::geometry::index::detail::rtree;

using Point = bg::model::point<double, 3, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using Value = std::pair<Box, std::uint32_t>;

inline Box MakeBox(TqLBox3f const& box)
{
    return Box(Point(box.GetMin()[0], box.GetMin()[1], box.GetMin()[2]),
               Point(box.GetMax()[0], box.GetMax()[1], box.GetMax()[2]));
}

struct Plane
{
    double normal[3];
    double distance;
};

inline constexpr int ePLANES = 6;

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
        for (auto const& child : detail_rtree::elements(node)) {
            m_mask = mask;
            if (mask == 0 || !IsOutside(child.first)) {
                detail_rtree::apply_visitor(*this, *child.second);
            }
        }
        m_mask = mask;
    }

    void operator()(Leaf const& node)
    {
        unsigned const mask = m_mask;
        for (Value const& value : detail_rtree::elements(node)) {
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

/// Reports the values of \p tree that are not wholly beyond one of the planes of \p frustum.
template <typename Tree>
void Cull(Tree const& tree, TqLFrustum3f const& frustum, DrawSink& sink)
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
    using View = detail_rtree::utilities::view<Tree>;
    View const view(tree);
    CullVisitor<typename View::members_holder> visitor(planes, sink);
    view.apply_visitor(visitor);
}

} // namespace BoostCull
