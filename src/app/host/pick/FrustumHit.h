// Where a pick volume hits a triangle, a line or a point.
//
// The kernels of the frustum picks: pure functions in world coordinates, in double precision.
//
// *Picked point.* A pixel's frustum is thin but not a ray, so one of its points has to be chosen:
//  - of a triangle that the line of sight meets inside the volume: where they meet;
//  - of another triangle: the point of its part inside the volume that is nearest to the origin;
//  - of a line: the point of its part inside the volume that is nearest to the line of sight (to
//    the origin where there is no line of sight);
//  - of a point: itself.
// The distance is that from the pick volume's origin to the picked point. Half spaces are closed:
// what only touches the volume from outside is hit.
#pragma once

#include "host/pick/PickVolume.h"

#include "geometry/TqLVec.h"

namespace host
{

/// A picked point.
struct FrustumHit
{
    TqLPos3f m_point;
    double m_distance = 0.0; ///< from the origin of the pick volume
};

/// Which hits on triangles count.
enum class TriangleHits
{
    eANYWHERE,     ///< any part of the triangle inside the volume
    eLINE_OF_SIGHT ///< only where the line of sight meets the triangle
};

/// Whether the volume hits a triangle, and where. A triangle that is seen edge-on has no point on
/// the line of sight; one without area is hit as the segment or point that it is.
bool HitTriangle(PickVolume const& volume, TqLPos3f const triangle[3], TriangleHits hits,
                 FrustumHit* hit);

/// The same for the segment between two points.
bool HitSegment(PickVolume const& volume, TqLPos3f const segment[2], FrustumHit* hit);

/// The same for a point.
bool HitPoint(PickVolume const& volume, TqLPos3f const& point, FrustumHit* hit);

} // namespace host
