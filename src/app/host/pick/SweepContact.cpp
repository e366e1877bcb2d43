#include "host/pick/SweepContact.h"

#include "host/pick/ClippedPolygon.h"
#include "host/pick/ClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace host
{

namespace
{

constexpr double s_infinity = std::numeric_limits<double>::infinity();

/// How far beyond its faces a box is taken to reach when the place of a contact is sought, in units
/// of the coordinates at play. The moment of contact itself is computed without it.
constexpr double s_contactSlack = 1e-12;

double SumOfSizes(TqLVec3f const& vec)
{
    return std::fabs(vec[0]) + std::fabs(vec[1]) + std::fabs(vec[2]);
}

TqLVec3f UnitAxis(int axis)
{
    TqLVec3f unit;
    unit[axis] = 1.0;
    return unit;
}

// ---- Box ----------------------------------------------------------------------------------------

// Separating axes with time. A box and a triangle share a point exactly when their shadows overlap
// on each of thirteen axes: the box's three, the triangle's normal, and the nine products of box
// axes and edges. While the box moves at a constant speed, the shadows on an axis overlap during
// one span of time; the bodies touch during what all spans have in common. Axes that vanish because
// of a parallel edge or a triangle without area span all times and separate nothing.

/// The time spans of one box and one triangle.
class OverlapSpans
{
public:
    /// Corners are relative to the box's centre at the start.
    OverlapSpans(TqLVec3f const& halfSize, TqLVec3f const& motion, TqLVec3f const corners[3])
        : m_halfSize(halfSize)
        , m_motion(motion)
        , m_corners(corners)
    {}

    void AddAllAxes()
    {
        for (int axis = 0; axis < 3; ++axis) {
            Add(UnitAxis(axis));
        }
        TqLVec3f const edges[3] = {m_corners[1] - m_corners[0], m_corners[2] - m_corners[1],
                                   m_corners[0] - m_corners[2]};
        Add(edges[0].Cross(edges[1]));
        for (TqLVec3f const& edge : edges) {
            for (int axis = 0; axis < 3; ++axis) {
                Add(UnitAxis(axis).Cross(edge));
            }
        }
    }

    bool HaveCommonTime() const { return m_enter <= m_exit && m_enter <= 1.0 && m_exit >= 0.0; }

    double GetStart() const { return std::max(m_enter, 0.0); }

    /// Across the contact, towards the box: the axis that overlaps last, or for boxes that touch at
    /// the start the one along which they are parted soonest.
    TqLVec3f GetNormal() const
    {
        return TqLUnitVec3f(m_enter > 0.0 ? m_enterNormal : m_depthNormal);
    }

private:
    void Add(TqLVec3f const& axis)
    {
        double const reach = m_halfSize[0] * std::fabs(axis[0]) +
                             m_halfSize[1] * std::fabs(axis[1]) +
                             m_halfSize[2] * std::fabs(axis[2]);
        double const shadows[3] = {axis.Dot(m_corners[0]), axis.Dot(m_corners[1]),
                                   axis.Dot(m_corners[2])};
        // Shadows overlap while the centre's is between these two.
        double const low = std::min({shadows[0], shadows[1], shadows[2]}) - reach;
        double const high = std::max({shadows[0], shadows[1], shadows[2]}) + reach;
        double const speed = axis.Dot(m_motion);
        if (speed == 0.0) {
            if (low > 0.0 || high < 0.0) {
                m_exit = -s_infinity;
            }
        } else {
            double const first = (speed > 0.0 ? low : high) / speed;
            double const last = (speed > 0.0 ? high : low) / speed;
            if (first > m_enter) {
                m_enter = first;
                m_enterNormal = speed > 0.0 ? -axis : axis;
            }
            m_exit = std::min(m_exit, last);
        }
        AddDepth(axis, low, high);
    }

    void AddDepth(TqLVec3f const& axis, double low, double high)
    {
        double const length = axis.Length();
        if (length > 0.0 && std::min(high, -low) < m_depth * length) {
            m_depth = std::min(high, -low) / length;
            m_depthNormal = high <= -low ? axis : -axis;
        }
    }

    TqLVec3f const& m_halfSize;
    TqLVec3f const& m_motion;
    TqLVec3f const* m_corners;
    double m_enter = -s_infinity;
    double m_exit = s_infinity;
    double m_depth = s_infinity;
    TqLVec3f m_enterNormal;
    TqLVec3f m_depthNormal;
};

/// The middle of what a box and a triangle that touch have in common. Relative to the box's centre.
TqLPos3f FindCommonPoint(TqLVec3f const& halfSize, TqLPos3f const corners[3], double scale)
{
    ClippedPolygon polygon(corners);
    for (int axis = 0; axis < 3 && !polygon.IsEmpty(); ++axis) {
        TqLUnitVec3f const up(UnitAxis(axis));
        double const bound = -halfSize[axis] - s_contactSlack * scale;
        polygon.Cut(TqLPlane3f(up, bound));
        polygon.Cut(TqLPlane3f(-up, bound));
    }
    return polygon.IsEmpty() ? ClosestOnTriangle(TqLPos3f(), corners[0], corners[1], corners[2])
                             : polygon.GetMean();
}

bool SweepBox(TqLPickSweep const& sweep, TqLPos3f const triangle[3], SweepContact* contact)
{
    TqLPos3f const center = sweep.GetCenter();
    TqLVec3f const motion = sweep.GetSweep();
    TqLVec3f const corners[3] = {triangle[0] - center, triangle[1] - center, triangle[2] - center};
    OverlapSpans spans(sweep.GetHalfSize(), motion, corners);
    spans.AddAllAxes();
    if (!spans.HaveCommonTime()) {
        return false;
    }
    TqLVec3f const moved = motion * spans.GetStart();
    TqLPos3f const relative[3] = {TqLPos3f(corners[0] - moved), TqLPos3f(corners[1] - moved),
                                  TqLPos3f(corners[2] - moved)};
    double const scale = SumOfSizes(center.Vec()) + SumOfSizes(sweep.GetHalfSize()) +
                         SumOfSizes(motion) + SumOfSizes(corners[0]) + SumOfSizes(corners[1]) +
                         SumOfSizes(corners[2]);
    contact->m_fraction = spans.GetStart();
    contact->m_point = center + moved + FindCommonPoint(sweep.GetHalfSize(), relative, scale).Vec();
    contact->m_normal = spans.GetNormal();
    return true;
}

// ---- Sphere -------------------------------------------------------------------------------------

// A sphere touches a triangle when its centre is within the radius of it. Unless it is so at the
// start, the centre enters that neighbourhood through one of its pieces: a face at the radius above
// or below the triangle, a cylinder around an edge, a sphere around a corner. The earliest of these
// contacts is the first one.
//
// A sphere that stands at its contact may, by rounding, fall short of touching the triangle and yet
// be within the reach of one of its pieces, as the two are computed in different ways. It then
// enters that piece at the start: entries before the start are moved to it. That comes before the
// contact's place is computed, so that a place which belongs to another piece is still refused.

/// The time at which a point, moving at `motion` from `offset` off the origin, comes within
/// `radius` of the origin: 0 when it is within it already and moves on inwards; infinite when it
/// does not come within it, or moves outwards. Offset and motion may be projections: the cylinder
/// is the case across its axis.
double FindEntry(TqLVec3f const& offset, TqLVec3f const& motion, double radius)
{
    double const squaredSpeed = motion.Dot(motion);
    double const approach = -offset.Dot(motion);
    if (!(squaredSpeed > 0.0) || !(approach > 0.0)) {
        return s_infinity;
    }
    // At the nearest point of the path; what is left of the radius there is half the chord.
    double const nearest = approach / squaredSpeed;
    TqLVec3f const miss = offset + motion * nearest;
    double const squaredChord = radius * radius - miss.Dot(miss);
    if (!(squaredChord >= 0.0)) {
        return s_infinity;
    }
    return std::max(nearest - std::sqrt(squaredChord / squaredSpeed), 0.0);
}

/// A sphere's first contact so far.
struct SphereEntry
{
    double m_time = s_infinity;
    TqLPos3f m_point;

    void Offer(double time, TqLPos3f const& point)
    {
        if (time < m_time) {
            m_time = time;
            m_point = point;
        }
    }
};

void OfferFace(TqLPickSweep const& sweep, TqLPos3f const triangle[3], SphereEntry* entry)
{
    TqLUnitVec3f const normal((triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]));
    double const height = normal.Dot(sweep.GetCenter() - triangle[0]);
    double const speed = normal.Dot(sweep.GetSweep());
    // Towards the plane, from the side that the sphere is on; false for a triangle without area.
    if (!(height * speed < 0.0)) {
        return;
    }
    double const side = height > 0.0 ? 1.0 : -1.0;
    double const time = std::max((std::fabs(height) - sweep.GetRadius()) / std::fabs(speed), 0.0);
    TqLPos3f const foot =
        sweep.GetCenter() + sweep.GetSweep() * time - normal.Vec() * (side * sweep.GetRadius());
    TqLPos3f const nearest = ClosestOnTriangle(foot, triangle[0], triangle[1], triangle[2]);
    double const scale =
        SumOfSizes(foot.Vec()) + SumOfSizes(nearest.Vec()) + SumOfSizes(sweep.GetSweep());
    if ((foot - nearest).Length() <= s_contactSlack * scale) {
        entry->Offer(time, nearest);
    }
}

void OfferEdge(TqLPickSweep const& sweep, TqLPos3f const& a, TqLPos3f const& b, SphereEntry* entry)
{
    TqLVec3f const along = TqLUnitVec3f(b - a);
    TqLVec3f const offset = sweep.GetCenter() - a;
    TqLVec3f const motion = sweep.GetSweep();
    double const time = FindEntry(offset - along * along.Dot(offset),
                                  motion - along * along.Dot(motion), sweep.GetRadius());
    if (time > 1.0) {
        return;
    }
    double const place = along.Dot(offset + motion * time);
    if (place >= 0.0 && place <= (b - a).Length()) {
        entry->Offer(time, a + along * place);
    }
}

/// Against the motion where there is one, else up.
TqLVec3f GetAnyNormal(TqLPickSweep const& sweep)
{
    return sweep.IsPick() ? TqLVec3f(0.0, 1.0, 0.0) : TqLVec3f(TqLUnitVec3f(-sweep.GetSweep()));
}

/// From a touched point to the sphere's centre; across the triangle where the two are one point.
TqLVec3f FindSphereNormal(TqLPickSweep const& sweep, TqLPos3f const triangle[3],
                          TqLPos3f const& center, TqLPos3f const& point)
{
    double const scale = SumOfSizes(center.Vec()) + SumOfSizes(point.Vec());
    if ((center - point).Length() > s_contactSlack * scale) {
        return TqLUnitVec3f(center - point);
    }
    TqLUnitVec3f const normal((triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]));
    if (normal.IsZero()) {
        return GetAnyNormal(sweep);
    }
    return normal.Dot(sweep.GetSweep()) > 0.0 ? -normal.Vec() : normal.Vec();
}

bool SweepSphere(TqLPickSweep const& sweep, TqLPos3f const triangle[3], SweepContact* contact)
{
    SphereEntry entry;
    TqLPos3f const nearest =
        ClosestOnTriangle(sweep.GetCenter(), triangle[0], triangle[1], triangle[2]);
    if ((sweep.GetCenter() - nearest).Length() <= sweep.GetRadius()) {
        entry.Offer(0.0, nearest);
    } else {
        OfferFace(sweep, triangle, &entry);
        for (int i = 0; i < 3; ++i) {
            OfferEdge(sweep, triangle[i], triangle[(i + 1) % 3], &entry);
            entry.Offer(
                FindEntry(sweep.GetCenter() - triangle[i], sweep.GetSweep(), sweep.GetRadius()),
                triangle[i]);
        }
    }
    if (entry.m_time > 1.0) {
        return false;
    }
    contact->m_fraction = entry.m_time;
    contact->m_point = entry.m_point;
    contact->m_normal = FindSphereNormal(
        sweep, triangle, sweep.GetCenter() + sweep.GetSweep() * entry.m_time, entry.m_point);
    return true;
}

} // namespace

bool SweepTriangle(TqLPickSweep const& sweep, TqLPos3f const triangle[3], SweepContact* contact)
{
    switch (sweep.GetBody()) {
    case TqLPickSweep::eBOX:
        return SweepBox(sweep, triangle, contact);
    case TqLPickSweep::eSPHERE:
        return SweepSphere(sweep, triangle, contact);
    case TqLPickSweep::eNOTHING:
        break;
    }
    return false;
}

} // namespace host
