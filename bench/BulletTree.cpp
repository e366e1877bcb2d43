#include "BulletParts.h"
#include "PeerTrees.h"

struct BulletTree::Impl
{
    btDbvt tree;
};

BulletTree::BulletTree(std::vector<TqLBox3f> const& boxes) : m_impl(std::make_unique<Impl>())
{
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        m_impl->tree.insert(MakeBulletVolume(boxes[i]), reinterpret_cast<void*>(i));
    }
    m_impl->tree.optimizeTopDown();
}

BulletTree::~BulletTree() = default;

void BulletTree::CullSorted(TqLFrustum3f const& frustum, TqLVec3f const& direction,
                            DrawSink& sink) const
{
    BulletPlanes const planes(frustum);
    BulletSinkPolicy policy(sink);
    btDbvt::collideOCL(m_impl->tree.m_root, planes.normals, planes.offsets,
                       MakeBulletVector(direction), BulletPlanes::eCOUNT, policy);
}
