#pragma once

// BulletParts: what the sources that wrap Bullet's btDbvt share.

#include "BenchModel.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPlane3f.h"

// Bullet's inlined box tests look uninitialised to g++ where they are not.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <BulletCollision/BroadphaseCollision/btDbvt.h>

#include <cstddef>
#include <cstdint>

/// Hands each reported leaf to a sink, by number.
class BulletSinkPolicy : public btDbvt::ICollide
{
public:
    explicit BulletSinkPolicy(DrawSink& sink) : m_sink(sink) {}

    void Process(btDbvtNode const* node) override
    {
        m_sink.Add(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(node->data)));
    }

    void Process(btDbvtNode const* node, btScalar) override { Process(node); }

    using btDbvt::ICollide::Process;

private:
    DrawSink& m_sink;
};

inline btVector3 MakeBulletVector(TqLVec3f const& vec)
{
    return btVector3(static_cast<btScalar>(vec[0]), static_cast<btScalar>(vec[1]),
                     static_cast<btScalar>(vec[2]));
}

inline btDbvtVolume MakeBulletVolume(TqLBox3f const& box)
{
    return btDbvtVolume::FromMM(MakeBulletVector(box.GetMin().Vec()),
                                MakeBulletVector(box.GetMax().Vec()));
}

/// The planes of a frustum, as Bullet takes them.
struct BulletPlanes
{
    static constexpr int eCOUNT = 6;

    explicit BulletPlanes(TqLFrustum3f const& frustum)
    {
        TqLPlane3f planes[eCOUNT];
        frustum.GetPlanes(planes);
        for (int i = 0; i < eCOUNT; ++i) {
            normals[i] = MakeBulletVector(planes[i].GetNormal());
            offsets[i] = static_cast<btScalar>(-planes[i].GetDistance());
        }
    }

    btVector3 normals[eCOUNT];
    btScalar offsets[eCOUNT];
};
