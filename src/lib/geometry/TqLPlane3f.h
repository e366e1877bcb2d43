// A plane that splits space into a positive and a negative side.
//
// Clip planes, near planes, the faces of pick frustums and the front plane of a sweep are of this
// type. A point lies on the positive side, the one that is kept, when its distance is 0 or more.
// Two dot-product distances of a box, nearest and farthest corner, are all that cull tests need.
#pragma once

#include "geometry/TqLApi.h"
#include "geometry/TqLBox.h"
#include "geometry/TqLVec.h"

#include <type_traits>

class TqLAffine3f;

/// The points p with normal * p - distance = 0; normal * p - distance >= 0 is the positive side.
/// The plane z = 0, positive upwards, after construction.
///
/// A zero normal is allowed: every point then has the distance -distance.
class TqLPlane3f
{
public:
    /// Normal (0, 0, 1), distance 0.
    constexpr TqLPlane3f() = default;

    /// The plane through a point, across a normal.
    constexpr TqLPlane3f(TqLUnitVec3f const& normal, TqLPos3f const& point)
    {
        SetValue(normal, point);
    }

    /// The plane whose points have the dot product `distance` with the normal.
    constexpr TqLPlane3f(TqLUnitVec3f const& normal, double distance)
        : m_normal(normal)
        , m_distance(distance)
    {}

    /// Makes this the plane through a point, across a normal: distance = normal * point.
    constexpr void SetValue(TqLUnitVec3f const& normal, TqLPos3f const& point)
    {
        m_normal = normal;
        m_distance = normal.Dot(point.Vec());
    }

    constexpr void SetValue(TqLUnitVec3f const& normal, double distance)
    {
        m_normal = normal;
        m_distance = distance;
    }

    /// Points to the positive side.
    constexpr TqLUnitVec3f const& GetNormal() const { return m_normal; }

    /// The signed distance of the plane from the origin along the normal.
    constexpr double GetDistance() const { return m_distance; }

    /// normal * point - distance, in the units of the space; positive on the positive side.
    constexpr double DistanceFromPlane(TqLPos3f const& point) const
    {
        return m_normal.Dot(point.Vec()) - m_distance;
    }

    /// Whether the point lies on the positive side or on the plane.
    constexpr bool IsInHalfspace(TqLPos3f const& point) const
    {
        return DistanceFromPlane(point) >= 0.0;
    }

    /// The smallest signed distance of the box's corners: per axis the minimum where the normal's
    /// component is greater than 0, else the maximum; (nx * x + ny * y + nz * z) - distance.
    constexpr double MinDistanceFromPlane(TqLBox3f const& box) const
    {
        return PickedDistance(box.GetMin(), box.GetMax());
    }

    /// The largest signed distance of the box's corners: per axis the maximum where the normal's
    /// component is greater than 0, else the minimum; (nx * x + ny * y + nz * z) - distance.
    constexpr double MaxDistanceFromPlane(TqLBox3f const& box) const
    {
        return PickedDistance(box.GetMax(), box.GetMin());
    }

    /// This plane, given in world space, expressed in the local space that `toWorld` maps to world
    /// space; a point has the same side before and after.
    ///
    /// The local normal has the components row(i) of the linear part * normal, the local distance
    /// is distance - normal * translation. Where the affine keeps lengths, these are the result as
    /// they stand; where it scales, both are divided by the normal's new length, so that the normal
    /// is a unit vector and distances are local ones. An affine that flattens space onto the plane
    /// gives a zero normal, under which every local point keeps its world distance.
    TQL_API TqLPlane3f TransformedByInverse(TqLAffine3f const& toWorld) const;

private:
    constexpr double PickedDistance(TqLPos3f const& wherePositive, TqLPos3f const& elsewhere) const
    {
        double const x = m_normal[0] > 0.0 ? wherePositive[0] : elsewhere[0];
        double const y = m_normal[1] > 0.0 ? wherePositive[1] : elsewhere[1];
        double const z = m_normal[2] > 0.0 ? wherePositive[2] : elsewhere[2];
        return m_normal[0] * x + m_normal[1] * y + m_normal[2] * z - m_distance;
    }

    TqLUnitVec3f m_normal;
    double m_distance = 0.0;
};

/// Exact comparison of normal and distance.
constexpr bool operator==(TqLPlane3f const& a, TqLPlane3f const& b)
{
    return a.GetNormal() == b.GetNormal() && a.GetDistance() == b.GetDistance();
}

constexpr bool operator!=(TqLPlane3f const& a, TqLPlane3f const& b)
{
    return !(a == b);
}

static_assert(sizeof(TqLPlane3f) == 32, "normal, then distance");
static_assert(std::is_trivially_copyable<TqLPlane3f>::value, "plain value");
