#include "host/pick/FrustumHit.h"

#include "host/pick/ClippedPolygon.h"
#include "host/pick/ClosestPoint.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace host
{

namespace
{

static_assert(ClippedPolygon::eMAX_CUTS >= PickVolume::eMAX_PLANES, "room for every cut");

/// Clip planes cut a hair deeper than they stand, so that a point on the cut is on the positive
/// side after rounding, too. In units of the coordinates at play.
constexpr double s_rounding = 16.0 * DBL_EPSILON;

double SumOfSizes(TqLPos3f const& point)
{
    return std::fabs(point[0]) + std::fabs(point[1]) + std::fabs(point[2]);
}

double GetInset(PickVolume const& volume, int index, TqLPos3f const* points, int numPoints)
{
    if (!volume.IsClipPlane(index)) {
        return 0.0;
    }
    double sum = std::fabs(volume.GetPlane(index).GetDistance());
    for (int i = 0; i < numPoints; ++i) {
        sum += SumOfSizes(points[i]);
    }
    return s_rounding * sum;
}

void SetHit(PickVolume const& volume, TqLPos3f const& point, FrustumHit* hit)
{
    hit->m_point = point;
    hit->m_distance = (point - volume.GetOrigin()).Length();
}

double Cross(TqLPos2f const& a, TqLPos2f const& b)
{
    return a[0] * b[1] - a[1] * b[0];
}

// Seen along the line of sight, the triangle is a flat one and the line the origin. The three
// areas between the origin and the edges have one sign where it lies inside, and are the weights of
// the corners. An edge that two triangles share has exactly opposite areas in them, so that the
// line never slips through between.
bool HitOnSight(PickVolume const& volume, TqLPos3f const triangle[3], TqLPos3f* point)
{
    if (!volume.HasSight()) {
        return false;
    }
    TqLPos2f const a = volume.GetAcross(triangle[0]);
    TqLPos2f const b = volume.GetAcross(triangle[1]);
    TqLPos2f const c = volume.GetAcross(triangle[2]);
    double const weightA = Cross(b, c);
    double const weightB = Cross(c, a);
    double const weightC = Cross(a, b);
    bool const isPositive = weightA >= 0.0 && weightB >= 0.0 && weightC >= 0.0;
    bool const isNegative = weightA <= 0.0 && weightB <= 0.0 && weightC <= 0.0;
    double const sum = weightA + weightB + weightC;
    if (!(isPositive || isNegative) || sum == 0.0) {
        return false;
    }
    *point = triangle[0] + (triangle[1] - triangle[0]) * (weightB / sum) +
             (triangle[2] - triangle[0]) * (weightC / sum);
    return volume.ContainsOnSight(*point);
}

bool HitAnywhere(PickVolume const& volume, TqLPos3f const triangle[3], TqLPos3f* point)
{
    ClippedPolygon polygon(triangle);
    for (int i = 0; i < volume.GetNumPlanes() && !polygon.IsEmpty(); ++i) {
        polygon.Cut(volume.GetPlane(i), GetInset(volume, i, triangle, 3));
    }
    if (polygon.IsEmpty()) {
        return false;
    }
    *point = polygon.FindNearest(volume.GetOrigin());
    return true;
}

/// The point between `from` and `to` that is nearest to the line of sight.
TqLPos3f FindNearestToSight(PickVolume const& volume, TqLPos3f const& from, TqLPos3f const& to)
{
    if (!volume.HasSight()) {
        return ClosestOnSegment(volume.GetOrigin(), from, to);
    }
    TqLPos2f const start = volume.GetAcross(from);
    TqLPos2f const end = volume.GetAcross(to);
    TqLVec2f const along(end[0] - start[0], end[1] - start[1]);
    double const squaredLength = along.Dot(along);
    if (!(squaredLength > 0.0)) {
        return ClosestOnSegment(volume.GetOrigin(), from, to);
    }
    double const share = std::clamp(-along.Dot(start.Vec()) / squaredLength, 0.0, 1.0);
    return share >= 1.0 ? to : from + (to - from) * share;
}

} // namespace

bool HitTriangle(PickVolume const& volume, TqLPos3f const triangle[3], TriangleHits hits,
                 FrustumHit* hit)
{
    TqLPos3f point;
    if (!HitOnSight(volume, triangle, &point) &&
        (hits == TriangleHits::eLINE_OF_SIGHT || !HitAnywhere(volume, triangle, &point))) {
        return false;
    }
    SetHit(volume, point, hit);
    return true;
}

bool HitSegment(PickVolume const& volume, TqLPos3f const segment[2], FrustumHit* hit)
{
    // The part between the shares `from` and `to` lies inside the planes so far.
    double from = 0.0;
    double to = 1.0;
    for (int i = 0; i < volume.GetNumPlanes(); ++i) {
        double const inset = GetInset(volume, i, segment, 2);
        double const start = volume.GetPlane(i).DistanceFromPlane(segment[0]) - inset;
        double const end = volume.GetPlane(i).DistanceFromPlane(segment[1]) - inset;
        if (start >= 0.0 && end >= 0.0) {
            continue;
        }
        if (!(start >= 0.0 || end >= 0.0)) {
            return false;
        }
        double const share = start / (start - end);
        if (start < 0.0) {
            from = std::max(from, share);
        } else {
            to = std::min(to, share);
        }
    }
    if (!(from <= to)) {
        return false;
    }
    TqLVec3f const along = segment[1] - segment[0];
    TqLPos3f const first = segment[0] + along * from;
    TqLPos3f const last = to >= 1.0 ? segment[1] : segment[0] + along * to;
    SetHit(volume, FindNearestToSight(volume, first, last), hit);
    return true;
}

bool HitPoint(PickVolume const& volume, TqLPos3f const& point, FrustumHit* hit)
{
    if (!volume.Contains(point)) {
        return false;
    }
    SetHit(volume, point, hit);
    return true;
}

} // namespace host
