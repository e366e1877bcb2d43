#include "host/pick/ClippedPolygon.h"

#include "host/pick/ClosestPoint.h"

#include <algorithm>

namespace host
{

ClippedPolygon::ClippedPolygon(TqLPos3f const triangle[3])
{
    std::copy_n(triangle, 3, m_corners);
}

void ClippedPolygon::Cut(TqLPlane3f const& plane, double inset)
{
    double sides[eMAX_CORNERS];
    bool isCrossed = false;
    for (int i = 0; i < m_count; ++i) {
        sides[i] = plane.DistanceFromPlane(m_corners[i]) - inset;
        // Written so that a NaN is outside.
        isCrossed = isCrossed || !(sides[i] >= 0.0);
    }
    if (!isCrossed) {
        return;
    }
    TqLPos3f kept[eMAX_CORNERS];
    int numKept = 0;
    for (int i = 0; i < m_count && numKept < eMAX_CORNERS; ++i) {
        int const next = i + 1 < m_count ? i + 1 : 0;
        bool const isIn = sides[i] >= 0.0;
        if (isIn) {
            kept[numKept++] = m_corners[i];
        }
        bool const crosses =
            isIn ? sides[i] > 0.0 && sides[next] < 0.0 : sides[i] < 0.0 && sides[next] > 0.0;
        if (crosses && numKept < eMAX_CORNERS) {
            // From the inner end outwards, so that an edge shared by two triangles is cut at the
            // same point in both.
            int const inner = isIn ? i : next;
            int const outer = isIn ? next : i;
            double const share = sides[inner] / (sides[inner] - sides[outer]);
            kept[numKept++] = m_corners[inner] + (m_corners[outer] - m_corners[inner]) * share;
        }
    }
    std::copy_n(kept, numKept, m_corners);
    m_count = numKept;
}

TqLPos3f ClippedPolygon::FindNearest(TqLPos3f const& point) const
{
    TqLPos3f best = ClosestOnSegment(point, m_corners[0], m_corners[m_count - 1]);
    TqLVec3f toBest = best - point;
    for (int i = 2; i < m_count; ++i) {
        TqLPos3f const candidate =
            ClosestOnTriangle(point, m_corners[0], m_corners[i - 1], m_corners[i]);
        TqLVec3f const offset = candidate - point;
        if (offset.Dot(offset) < toBest.Dot(toBest)) {
            best = candidate;
            toBest = offset;
        }
    }
    return best;
}

TqLPos3f ClippedPolygon::GetMean() const
{
    // Offsets from one corner, so that far-away polygons lose nothing.
    TqLVec3f sum;
    for (int i = 1; i < m_count; ++i) {
        sum += m_corners[i] - m_corners[0];
    }
    return m_corners[0] + sum * (1.0 / m_count);
}

} // namespace host
