#include "host/pick/PickVolume.h"

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

constexpr int eLEFT = 0;
constexpr int eRIGHT = 1;
constexpr int eBOTTOM = 2;
constexpr int eTOP = 3;
constexpr int eNEAR = 4;

/// Opposite sides whose normals add up to less than this count as parallel. A perspective frustum
/// as thin as that has one direction for all practical purposes.
constexpr double s_parallel = 1e-9;

bool AreParallel(TqLPlane3f const& a, TqLPlane3f const& b)
{
    return (a.GetNormal().Vec() + b.GetNormal().Vec()).Length() < s_parallel;
}

/// Any unit vector across a unit vector.
TqLVec3f FindAcross(TqLVec3f const& unit)
{
    int axis = 0;
    for (int i = 1; i < 3; ++i) {
        axis = std::fabs(unit[i]) < std::fabs(unit[axis]) ? i : axis;
    }
    TqLVec3f other;
    other[axis] = 1.0;
    return TqLUnitVec3f(unit.Cross(other));
}

} // namespace

PickVolume::PickVolume(TqLPickFrustum3f const& frustum, TqLPlane3f const* clipPlanes,
                       int numClipPlanes)
    : m_origin(frustum.GetOrigin())
{
    for (int i = 0; i < TqLPickFrustum3f::eNUM_PLANES; ++i) {
        m_planes[m_numPlanes++] = frustum.GetPlane(i);
    }
    for (int i = 0; i < std::min(numClipPlanes, eMAX_CLIP_PLANES); ++i) {
        m_planes[m_numPlanes++] = clipPlanes[i];
    }
    FindSight();
}

// Left or right and bottom or top meet in four edges. Scaled so that each takes the same step away
// from the near plane, the mean of the edges' directions leads from the middle of one cross-section
// to that of the next; the mean of the points where they meet the near plane is such a middle.
// Points are relative to the origin, which keeps their digits when everything is far away.
void PickVolume::FindSight()
{
    TqLVec3f const nearNormal = m_planes[eNEAR].GetNormal();
    double const nearDistance = -m_planes[eNEAR].DistanceFromPlane(m_origin);
    TqLVec3f middle;
    TqLVec3f direction;
    for (int const x : {eLEFT, eRIGHT}) {
        for (int const y : {eBOTTOM, eTOP}) {
            TqLVec3f const a = m_planes[x].GetNormal();
            TqLVec3f const b = m_planes[y].GetNormal();
            TqLVec3f const edge = a.Cross(b);
            double const step = edge.Dot(nearNormal);
            if (step == 0.0) {
                return;
            }
            direction += edge * (0.25 / step);
            TqLVec3f const corner = b.Cross(nearNormal) * -m_planes[x].DistanceFromPlane(m_origin) +
                                    nearNormal.Cross(a) * -m_planes[y].DistanceFromPlane(m_origin) +
                                    edge * nearDistance;
            middle += corner * (0.25 / step);
        }
    }
    TqLUnitVec3f const sight(direction);
    m_hasSight = !sight.IsZero();
    if (!m_hasSight) {
        return;
    }
    m_isParallel = AreParallel(m_planes[eLEFT], m_planes[eRIGHT]) &&
                   AreParallel(m_planes[eBOTTOM], m_planes[eTOP]);
    m_sight = sight;
    m_sightPoint = m_origin + middle;
    m_across[0] = FindAcross(m_sight);
    m_across[1] = m_sight.Cross(m_across[0]);
}

TqLPos2f PickVolume::GetAcross(TqLPos3f const& point) const
{
    TqLVec3f const offset = point - m_sightPoint;
    return TqLPos2f(m_across[0].Dot(offset), m_across[1].Dot(offset));
}

TqLVec3f PickVolume::GetLookAt(TqLPos3f const& point) const
{
    return m_hasSight && m_isParallel ? m_sight : point - m_origin;
}

bool PickVolume::Contains(TqLPos3f const& point) const
{
    for (int i = 0; i < m_numPlanes; ++i) {
        if (!m_planes[i].IsInHalfspace(point)) {
            return false;
        }
    }
    return true;
}

bool PickVolume::ContainsOnSight(TqLPos3f const& point) const
{
    for (int i = eNEAR; i < m_numPlanes; ++i) {
        if (!m_planes[i].IsInHalfspace(point)) {
            return false;
        }
    }
    return true;
}

} // namespace host
