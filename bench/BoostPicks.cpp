// Picks in Boost.Geometry's R-trees, by visitors that go over the nodes.

#include "BoostCull.h"
#include "PickPeers.h"
#include "SceneTree.h"

#include <algorithm>
#include <cfloat>

namespace
{

using BoostCull::Box;
using BoostCull::Value;
namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;
namespace detail_rtree = BoostCull::detail_rtree;

struct HitSink
{
    BoxNumbers& hits;

    void Add(std::uint32_t number) { hits.push_back(number); }
};

/// The planes of a pick frustum.
struct PickPlanes
{
    explicit PickPlanes(TqLPickFrustum3f const& frustum)
    {
        for (int i = 0; i < BoostCull::ePLANES; ++i) {
            planes[i] = BoostCull::MakePlane(frustum.GetPlane(i));
        }
    }

    BoostCull::Plane planes[BoostCull::ePLANES];
};

template <std::size_t Axis>
double SquaredGap(TqLPos3f const& origin, Box const& box)
{
    double const below = bg::get<bg::min_corner, Axis>(box) - origin[Axis];
    double const above = origin[Axis] - bg::get<bg::max_corner, Axis>(box);
    double const gap = std::max(0.0, std::max(below, above));
    return gap * gap;
}

/// The squared distance of a box from a point.
double SquaredDistance(TqLPos3f const& origin, Box const& box)
{
    return SquaredGap<0>(origin, box) + SquaredGap<1>(origin, box) + SquaredGap<2>(origin, box);
}

/// As the cull, and leaves out what is farther away than the nearest value so far.
template <typename MembersHolder>
class NearestVisitor : public MembersHolder::visitor_const
{
public:
    using Internal = typename MembersHolder::internal_node;
    using Leaf = typename MembersHolder::leaf;

    /// @param nearest  in and out: squared
    NearestVisitor(BoostCull::Plane const* planes, TqLPos3f const& origin, double& nearest)
        : m_test(planes)
        , m_origin(origin)
        , m_nearest(nearest)
    {}

    void operator()(Internal const& node)
    {
        unsigned const mask = m_test.GetMask();
        for (auto const& child : detail_rtree::elements(node)) {
            m_test.SetMask(mask);
            if ((mask == 0 || !m_test.IsOutside(child.first)) &&
                SquaredDistance(m_origin, child.first) < m_nearest) {
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
                m_nearest = std::min(m_nearest, SquaredDistance(m_origin, value.first));
            }
        }
        m_test.SetMask(mask);
    }

private:
    BoostCull::PlaneTest m_test;
    TqLPos3f m_origin;
    double& m_nearest;
};

TqLBox3f MakeOurBox(Box const& box)
{
    return TqLBox3f(TqLPos3f(bg::get<bg::min_corner, 0>(box), bg::get<bg::min_corner, 1>(box),
                             bg::get<bg::min_corner, 2>(box)),
                    TqLPos3f(bg::get<bg::max_corner, 0>(box), bg::get<bg::max_corner, 1>(box),
                             bg::get<bg::max_corner, 2>(box)));
}

/// Hands what a sweep touches to touch(value, box), which may shorten it.
template <typename MembersHolder, typename Touch>
class SweepVisitor : public MembersHolder::visitor_const
{
public:
    using Internal = typename MembersHolder::internal_node;
    using Leaf = typename MembersHolder::leaf;

    SweepVisitor(TqLPickSweep const& sweep, Touch const& touch) : m_sweep(sweep), m_touch(touch) {}

    void operator()(Internal const& node)
    {
        int const faces = m_faces;
        for (auto const& child : detail_rtree::elements(node)) {
            m_faces = faces;
            if (m_sweep.CanCull(MakeOurBox(child.first), &m_faces) == 0) {
                detail_rtree::apply_visitor(*this, *child.second);
            }
        }
        m_faces = faces;
    }

    void operator()(Leaf const& node)
    {
        for (Value const& value : detail_rtree::elements(node)) {
            int faces = m_faces;
            TqLBox3f const box = MakeOurBox(value.first);
            if (m_sweep.CanCull(box, &faces) == 0) {
                m_touch(value.second, box);
            }
        }
    }

private:
    TqLPickSweep const& m_sweep;
    Touch const& m_touch;
    int m_faces = TqLPickSweep::eALL_PLANES;
};

std::vector<Value> MakeValues(DynamicScene const& scene)
{
    std::vector<Value> values;
    values.reserve(scene.GetBoxes().size());
    for (TqLBox3f const& box : scene.GetBoxes()) {
        values.emplace_back(BoostCull::MakeBox(box), static_cast<std::uint32_t>(values.size()));
    }
    return values;
}

template <typename Rule>
class BoostPeer : public PickPeer
{
public:
    using Tree = bgi::rtree<Value, Rule>;

    explicit BoostPeer(Tree&& tree) : m_tree(std::move(tree)) {}

    void PickAll(TqLPickFrustum3f const& frustum, BoxNumbers& hits) const override
    {
        PickPlanes const planes(frustum);
        HitSink sink{hits};
        BoostCull::Cull(m_tree, planes.planes, sink);
    }

    double PickNearest(TqLPickFrustum3f const& frustum) const override
    {
        PickPlanes const planes(frustum);
        double nearest = DBL_MAX;
        BoostCull::VisitNodes<NearestVisitor>(m_tree, planes.planes, frustum.GetOrigin(), nearest);
        return nearest == DBL_MAX ? DBL_MAX : std::sqrt(nearest);
    }

    void SweepAll(TqLPickSweep const& sweep, BoxNumbers& hits) const override
    {
        Sweep(sweep, [&](std::uint32_t number, TqLBox3f const&) { hits.push_back(number); });
    }

    void SweepFirst(TqLPickSweep& sweep) const override
    {
        Sweep(sweep, [&](std::uint32_t, TqLBox3f const& box) {
            double const contact = FindContact(sweep, box);
            if (contact <= 1.0) {
                sweep.ShortenTo(contact);
            }
        });
    }

private:
    template <typename Touch>
    void Sweep(TqLPickSweep const& sweep, Touch const& touch) const
    {
        BoostCull::VisitNodes<SweepVisitor, Touch>(m_tree, sweep, touch);
    }

    Tree m_tree;
};

} // namespace

std::unique_ptr<PickPeer> MakeBoostPack16Peer(DynamicScene const& scene)
{
    using Peer = BoostPeer<bgi::quadratic<16>>;
    return std::make_unique<Peer>(Peer::Tree(MakeValues(scene)));
}

std::unique_ptr<PickPeer> MakeBoostQuad7Peer(DynamicScene const& scene)
{
    using Peer = BoostPeer<bgi::quadratic<7>>;
    std::vector<Value> const values = MakeValues(scene);
    Peer::Tree tree;
    for (std::uint32_t const number : scene.Choose(values.size(), eINSERT_SEED)) {
        tree.insert(values[number]);
    }
    return std::make_unique<Peer>(std::move(tree));
}
