// Picks in Bullet's btDbvt, by its own walks. Their planes and boxes are of single precision; the
// distances and contacts are counted from the boxes themselves.

#include "BulletParts.h"
#include "PickPeers.h"
#include "SceneTree.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace
{

std::uint32_t GetNumber(btDbvtNode const* leaf)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(leaf->data));
}

/// Hands reported leaves to report(number).
template <typename Report>
class LeafPolicy : public btDbvt::ICollide
{
public:
    explicit LeafPolicy(Report const& report) : m_report(report) {}

    void Process(btDbvtNode const* leaf) override { m_report(GetNumber(leaf)); }

    using btDbvt::ICollide::Process;

private:
    Report const& m_report;
};

/// Takes the first leaves, and enters no further node when it has enough.
class FirstPolicy : public btDbvt::ICollide
{
public:
    FirstPolicy(std::size_t count, BoxNumbers& hits) : m_count(count), m_hits(hits) {}

    bool Descent(btDbvtNode const*) override { return m_hits.size() < m_count; }

    void Process(btDbvtNode const* leaf, btScalar) override { m_hits.push_back(GetNumber(leaf)); }

    using btDbvt::ICollide::Process;

private:
    std::size_t m_count;
    BoxNumbers& m_hits;
};

class BulletPeer : public SortedPeer
{
public:
    explicit BulletPeer(DynamicScene const& scene) : m_boxes(scene.GetBoxes())
    {
        for (std::uint32_t const number : scene.Choose(m_boxes.size(), eINSERT_SEED)) {
            m_tree.insert(MakeBulletVolume(m_boxes[number]),
                          reinterpret_cast<void*>(std::uintptr_t{number}));
        }
    }

    void Optimise() { m_tree.optimizeTopDown(); }

    void PickAll(TqLPickFrustum3f const& frustum, BoxNumbers& hits) const override
    {
        Pick(frustum, [&](std::uint32_t number) { hits.push_back(number); });
    }

    double PickNearest(TqLPickFrustum3f const& frustum) const override
    {
        double nearest = DBL_MAX;
        Pick(frustum, [&](std::uint32_t number) {
            nearest = std::min(nearest, frustum.MinDistance(m_boxes[number]));
        });
        return nearest;
    }

    void SweepAll(TqLPickSweep const& sweep, BoxNumbers& hits) const override
    {
        Sweep(sweep, [&](std::uint32_t number) {
            if (sweep.CanCullRepeat(m_boxes[number]) == 0) {
                hits.push_back(number);
            }
        });
    }

    void SweepFirst(TqLPickSweep& sweep) const override
    {
        TqLPickSweep const whole = sweep; // the walk takes no notice of a sweep that gets shorter
        double first = 2.0;
        Sweep(whole, [&](std::uint32_t number) {
            if (whole.CanCullRepeat(m_boxes[number]) == 0) {
                first = std::min(first, FindContact(whole, m_boxes[number]));
            }
        });
        if (first <= 1.0) {
            sweep.ShortenTo(first);
        }
    }

    void VisitFirst(TqLFrustum3f const& frustum, TqLVec3f const& direction, std::size_t count,
                    BoxNumbers& hits) const override
    {
        BulletPlanes const planes(frustum);
        FirstPolicy policy(count, hits);
        btDbvt::collideOCL(m_tree.m_root, planes.normals, planes.offsets,
                           MakeBulletVector(direction), BulletPlanes::eCOUNT, policy);
    }

private:
    template <typename Report>
    void Pick(TqLPickFrustum3f const& frustum, Report const& report) const
    {
        btVector3 normals[BulletPlanes::eCOUNT];
        btScalar offsets[BulletPlanes::eCOUNT];
        for (int i = 0; i < BulletPlanes::eCOUNT; ++i) {
            normals[i] = MakeBulletVector(frustum.GetPlane(i).GetNormal());
            offsets[i] = static_cast<btScalar>(-frustum.GetPlane(i).GetDistance());
        }
        LeafPolicy<Report> policy(report);
        btDbvt::collideKDOP(m_tree.m_root, normals, offsets, BulletPlanes::eCOUNT, policy);
    }

    // Bullet's walk along a ray with the body's extents, which it sweeps bodies with itself.
    template <typename Report>
    void Sweep(TqLPickSweep const& sweep, Report const& report) const
    {
        TqLVec3f const& step = sweep.GetSweep();
        double const length = std::sqrt(step[0] * step[0] + step[1] * step[1] + step[2] * step[2]);
        btVector3 const from = MakeBulletVector(sweep.GetCenter().Vec());
        btVector3 inverse;
        unsigned int signs[3];
        for (int axis = 0; axis < 3; ++axis) {
            double const share = step[axis] / length;
            inverse[axis] =
                share == 0.0 ? btScalar(BT_LARGE_FLOAT) : static_cast<btScalar>(1.0 / share);
            signs[axis] = inverse[axis] < 0 ? 1 : 0;
        }
        btVector3 const reach = MakeBulletVector(sweep.GetHalfSize());
        LeafPolicy<Report> policy(report);
        m_tree.rayTestInternal(m_tree.m_root, from, from, inverse, signs,
                               static_cast<btScalar>(length), -reach, reach, m_stack, policy);
    }

    std::vector<TqLBox3f> const& m_boxes;
    btDbvt m_tree;
    mutable btAlignedObjectArray<btDbvtNode const*> m_stack;
};

} // namespace

std::unique_ptr<SortedPeer> MakeBulletPeer(DynamicScene const& scene)
{
    auto peer = std::make_unique<BulletPeer>(scene);
    peer->Optimise();
    return peer;
}

std::unique_ptr<SortedPeer> MakeBulletGrownPeer(DynamicScene const& scene)
{
    return std::make_unique<BulletPeer>(scene);
}
