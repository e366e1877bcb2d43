// A triangle cut down by planes: what is left of it inside a frustum, a box or clip planes.
//
// Each cut is one step of polygon clipping as textbooks have it (Sutherland and Hodgman): corners
// on the positive side stay as they stand, edges that cross are cut. Half spaces are closed, so a
// triangle that touches the volume in a corner or along an edge leaves that corner or edge. A
// value without heap memory; a cut costs one plane distance per corner.
#pragma once

#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"

namespace host
{

/// A convex polygon that began as a triangle.
class ClippedPolygon
{
public:
    /// Planes that a polygon can be cut by; each adds a corner at most.
    static constexpr int eMAX_CUTS = 18;

    explicit ClippedPolygon(TqLPos3f const triangle[3]);

    /// Keeps what has a distance of `inset` or more from the plane, on its positive side.
    void Cut(TqLPlane3f const& plane, double inset = 0.0);

    /// True when nothing was left by the cuts.
    bool IsEmpty() const { return m_count == 0; }

    /// Corners in order around the polygon; GetCorners() has that many. A point or a segment that
    /// was left of a triangle may stand there with equal corners.
    int GetNumCorners() const { return m_count; }

    TqLPos3f const* GetCorners() const { return m_corners; }

    /// The polygon's point that is nearest to `point`. Must not be empty.
    TqLPos3f FindNearest(TqLPos3f const& point) const;

    /// The mean of the corners. Must not be empty.
    TqLPos3f GetMean() const;

private:
    static constexpr int eMAX_CORNERS = 3 + eMAX_CUTS;

    TqLPos3f m_corners[eMAX_CORNERS];
    int m_count = 3;
};

} // namespace host
