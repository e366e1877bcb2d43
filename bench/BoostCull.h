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

/// The plane that \p side is.
inline Plane MakePlane(TqLPlane3f const& side)
{
    TqLUnitVec3f const& normal = side.GetNormal();
    return Plane{{normal[0], normal[1], normal[2]}, side.GetDistance()};
}

/// Six planes and the mask of those that are still to be tested.
class PlaneTest
{
public:
    static constexpr unsigned eALL = (1u << ePLANES) - 1;

    explicit PlaneTest(Plane const* planes) : m_planes(planes) {}

    unsigned GetMask() const { return m_mask; }

    void SetMask(unsigned mask) { m_mask = mask; }

    /// Whether the box is wholly beyond a plane of the mask; narrows it to the planes that cut the
    /// box.
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

private:
    Plane const* m_planes;
    unsigned m_mask = eALL;
};

/// Goes over the nodes with a mask of the planes that are still to be tested, and adds the numbers
/// of values to a sink.
template <typename MembersHolder, typename Sink>
class CullVisitor : public MembersHolder::visitor_const
{
public:
    using Internal = typename MembersHolder::internal_node;
    using Leaf = typename MembersHolder::leaf;

    CullVisitor(Plane const* planes, Sink& sink) : m_test(planes), m_sink(sink) {}

    void operator()(Internal const& node)
    {
        unsigned const mask = m_test.GetMask();
        for (auto const& child : detail_rtree::elements(node)) {
            m_test.SetMask(mask);
            if (mask == 0 || !m_test.IsOutside(child.first)) {
                detail_rtree::apply_visitor(*this, *child.second);
            }
        }
        m_test.SetMask(mask);
    }

    void operator()(Leaf const& node)
    {
        unsigned const mask = m_test.GetMask();
        for (Value const& value : detail_rtree::elements(node)) {
            m_test.SetMask(mask);
            if (mask == 0 || !m_test.IsOutside(value.first)) {
                m_sink.Add(value.second);
            }
        }
        m_test.SetMask(mask);
    }

private:
    PlaneTest m_test;
    Sink& m_sink;
};

/// Goes over the nodes of \p tree with a Visitor made of \p arguments.
template <template <typename...> typename Visitor, typename... Parts, typename Tree,
          typename... Arguments>
void VisitNodes(Tree const& tree, Arguments&&... arguments)
{
    using View = detail_rtree::utilities::view<Tree>;
    View const view(tree);
    Visitor<typename View::members_holder, Parts...> visitor(arguments...);
    view.apply_visitor(visitor);
}

/// Reports the values of \p tree that are not wholly beyond one of six planes.
template <typename Tree, typename Sink>
void Cull(Tree const& tree, Plane const* planes, Sink& sink)
{
    VisitNodes<CullVisitor, Sink>(tree, planes, sink);
}

/// Reports the values of \p tree that are not wholly beyond one of the planes of \p frustum.
template <typename Tree>
void Cull(Tree const& tree, TqLFrustum3f const& frustum, DrawSink& sink)
{
    TqLPlane3f sides[ePLANES];
    frustum.GetPlanes(sides);
    Plane planes[ePLANES];
    for (int i = 0; i < ePLANES; ++i) {
        planes[i] = MakePlane(sides[i]);
    }
    Cull(tree, planes, sink);
}

} // namespace BoostCull
