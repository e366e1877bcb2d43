#include "BenchModel.h"
#include "PeerTrees.h"

// Bullet's inlined box tests look uninitialised to g++ where they are not.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "geometry/TqLPlane3f.h"

#include <BulletCollision/BroadphaseCollision/btDbvt.h>

#include <cstddef>
#include <cstdint>

namespace
{

constexpr int eBULLET_PLANES = 6;

class SinkPolicy : public btDbvt::ICollide
{
public:
    explicit SinkPolicy(DrawSink& sink) : m_sink(sink) {}

    // Called for each leaf reported by a cull.
    void Process(btDbvtNode const* node, btScalar) override
    {
        m_sink.Add(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(node->data)));
    }

    using btDbvt::ICollide::Process;

private:
    DrawSink& m_sink;
};

btVector3 MakeVector(TqLVec3f const& vec)
{
    return btVector3(static_cast<btScalar>(vec[0]), static_cast<btScalar>(vec[1]),
                     static_cast<btScalar>(vec[2]));
}

} // namespace

struct BulletTree::Impl
{
    btDbvt tree;
};

BulletTree::BulletTree(std::vector<TqLBox3f> const& boxes) : m_impl(std::make_unique<Impl>())
{
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        btDbvtVolume const volume = btDbvtVolume::FromMM(MakeVector(boxes[i].GetMin().Vec()),
                                                         MakeVector(boxes[i].GetMax().Vec()));
        m_impl->tree.insert(volume, reinterpret_cast<void*>(i));
    }
    m_impl->tree.optimizeTopDown();
}

BulletTree::~BulletTree() = default;

void BulletTree::CullSorted(TqLFrustum3f const& frustum, TqLVec3f const& direction,
                            DrawSink& sink) const
{
    TqLPlane3f planes[eBULLET_PLANES];
    frustum.GetPlanes(planes);
    btVector3 normals[eBULLET_PLANES];
    btScalar offsets[eBULLET_PLANES];
    for (int i = 0; i < eBULLET_PLANES; ++i) {
        normals[i] = MakeVector(planes[i].GetNormal());
        offsets[i] = static_cast<btScalar>(-planes[i].GetDistance());
    }
    SinkPolicy policy(sink);
    btDbvt::collideOCL(m_impl->tree.m_root, normals, offsets, MakeVector(direction), eBULLET_PLANES,
                       policy);
}
