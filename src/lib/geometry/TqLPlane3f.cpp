#include "geometry/TqLPlane3f.h"

#include "geometry/TqLMatrix.h"

#include <cmath>

TqLPlane3f TqLPlane3f::TransformedByInverse(TqLAffine3f const& toWorld) const
{
    // A squared length as near to 1 as this is that of a rigid affine, whose product of sines and
    // cosines is a few roundings off; to divide by it would only disturb the distances.
    constexpr double rigid = 1e-12;

    // With p = q * L + t, normal * p - distance is (L * normal) * q - (distance - normal * t).
    TqLVec3f const normal(m_normal.Dot(toWorld.GetRow(0)), m_normal.Dot(toWorld.GetRow(1)),
                          m_normal.Dot(toWorld.GetRow(2)));
    double const distance = m_distance - m_normal.Dot(toWorld.GetTranslation());

    TqLPlane3f result;
    result.m_normal.SetUnitValue(normal[0], normal[1], normal[2]);
    result.m_distance = distance;
    double const squared = normal.Dot(normal);
    if (std::fabs(squared - 1.0) <= rigid) {
        return result;
    }
    TqLUnitVec3f const unit(normal);
    if (unit.IsZero()) {
        return result;
    }
    // The length, without squares that overflow: the projection onto its own direction.
    double const length = unit.Dot(normal);
    result.SetValue(unit, distance / length);
    return result;
}
