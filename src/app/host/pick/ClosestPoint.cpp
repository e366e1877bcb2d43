#include "host/pick/ClosestPoint.h"

#include <algorithm>

namespace host
{

namespace
{

double SquaredDistance(TqLPos3f const& a, TqLPos3f const& b)
{
    TqLVec3f const offset = a - b;
    return offset.Dot(offset);
}

} // namespace

TqLPos3f ClosestOnSegment(TqLPos3f const& point, TqLPos3f const& a, TqLPos3f const& b)
{
    TqLVec3f const along = b - a;
    double const squaredLength = along.Dot(along);
    if (!(squaredLength > 0.0)) {
        return a;
    }
    double const share = along.Dot(point - a) / squaredLength;
    // The far end is taken as it stands, without the rounding of a sum.
    return share >= 1.0 ? b : a + along * std::max(share, 0.0);
}

TqLPos3f ClosestOnTriangle(TqLPos3f const& point, TqLPos3f const& a, TqLPos3f const& b,
                           TqLPos3f const& c)
{
    TqLPos3f best = ClosestOnSegment(point, a, b);
    double bestSquared = SquaredDistance(point, best);
    auto const offer = [&](TqLPos3f const& candidate) {
        double const squared = SquaredDistance(point, candidate);
        if (squared < bestSquared) {
            best = candidate;
            bestSquared = squared;
        }
    };
    offer(ClosestOnSegment(point, b, c));
    offer(ClosestOnSegment(point, c, a));

    // Barycentric weights of the point's projection, times the squared length of the normal. The
    // edges stand as candidates beside it: the normal of a sliver may be worth nothing.
    TqLVec3f const ab = b - a;
    TqLVec3f const ac = c - a;
    TqLVec3f const ap = point - a;
    TqLVec3f const normal = ab.Cross(ac);
    double const whole = normal.Dot(normal);
    double const weightB = ap.Cross(ac).Dot(normal);
    double const weightC = ab.Cross(ap).Dot(normal);
    if (weightB > 0.0 && weightC > 0.0 && weightB + weightC < whole) {
        offer(a + ab * (weightB / whole) + ac * (weightC / whole));
    }
    return best;
}

} // namespace host
