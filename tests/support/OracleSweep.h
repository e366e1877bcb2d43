#pragma once

// OracleSweep: when and where a moving body touches a box, in long double and by plain means.
//
// Boxes swept are clipped against the grown box, axis after axis; for spheres the least distance is
// searched for. Nothing here calls TqLPickSweep's tests.

#include "geometry/TqLBox.h"
#include "geometry/TqLPickSweep.h"

#include <algorithm>
#include <cmath>

/// The span of the way, in shares of it, in which a centre is inside a box; from > to: none.
struct OracleSpan
{
    long double from = 0.0L;
    long double to = 1.0L;

    bool IsEmpty() const { return from > to; }
};

/// Where on its way a swept box touches a box that was grown by a margin.
inline OracleSpan FindBoxTouch(TqLPickSweep const& sweep, TqLBox3f const& box, long double margin)
{
    OracleSpan span;
    for (int axis = 0; axis < 3; ++axis) {
        long double const reach = sweep.GetHalfSize()[axis] + margin;
        long double const min = box.GetMin()[axis] - reach;
        long double const max = box.GetMax()[axis] + reach;
        long double const start = sweep.GetCenter()[axis];
        long double const step = sweep.GetSweep()[axis];
        if (min > max || (step == 0.0L && (start < min || start > max))) {
            return {1.0L, 0.0L};
        }
        if (step != 0.0L) {
            long double const a = (min - start) / step;
            long double const b = (max - start) / step;
            span.from = std::max(span.from, std::min(a, b));
            span.to = std::min(span.to, std::max(a, b));
        }
    }
    return span;
}

/// Distance of the body's centre from a box at a share of the way.
inline long double DistanceAt(TqLPickSweep const& sweep, TqLBox3f const& box, long double t)
{
    long double square = 0.0L;
    for (int axis = 0; axis < 3; ++axis) {
        long double const p = sweep.GetCenter()[axis] + t * sweep.GetSweep()[axis];
        long double const min = box.GetMin()[axis];
        long double const max = box.GetMax()[axis];
        long double const gap = p < min ? min - p : (p > max ? p - max : 0.0L);
        square += gap * gap;
    }
    return std::sqrt(square);
}

/// The share of the way at which the centre is nearest to a box: the distance is convex along the
/// way, so thirds are cut off until nothing is left.
inline long double FindNearestShare(TqLPickSweep const& sweep, TqLBox3f const& box)
{
    long double from = 0.0L;
    long double to = 1.0L;
    for (int step = 0; step < 200; ++step) {
        long double const a = from + (to - from) / 3.0L;
        long double const b = to - (to - from) / 3.0L;
        if (DistanceAt(sweep, box, a) <= DistanceAt(sweep, box, b)) {
            to = b;
        } else {
            from = a;
        }
    }
    long double best = 0.5L * (from + to);
    for (long double const end : {0.0L, 1.0L}) {
        best = DistanceAt(sweep, box, end) < DistanceAt(sweep, box, best) ? end : best;
    }
    return best;
}

/// Whether the moving body comes as near to the box as a margin.
inline bool Touches(TqLPickSweep const& sweep, TqLBox3f const& box, long double margin)
{
    if (FindBoxTouch(sweep, box, margin).IsEmpty()) {
        return false; // nor would a sphere in the swept box
    }
    return sweep.GetBody() == TqLPickSweep::eBOX ||
           DistanceAt(sweep, box, FindNearestShare(sweep, box)) <= sweep.GetRadius() + margin;
}

/// Whether the body, standing at a share of its way, touches the box.
inline bool TouchesAt(TqLPickSweep const& sweep, TqLBox3f const& box, long double t)
{
    if (sweep.GetBody() == TqLPickSweep::eSPHERE) {
        return DistanceAt(sweep, box, t) <= sweep.GetRadius();
    }
    for (int axis = 0; axis < 3; ++axis) {
        long double const p = sweep.GetCenter()[axis] + t * sweep.GetSweep()[axis];
        long double const half = sweep.GetHalfSize()[axis];
        if (p + half < box.GetMin()[axis] || p - half > box.GetMax()[axis]) {
            return false;
        }
    }
    return true;
}

/// The share of the way at which the body first touches the box; 2 when it never does.
inline long double FindFirstTouch(TqLPickSweep const& sweep, TqLBox3f const& box)
{
    OracleSpan const span = FindBoxTouch(sweep, box, 0.0L);
    if (span.IsEmpty()) {
        return 2.0L;
    }
    if (sweep.GetBody() == TqLPickSweep::eBOX) {
        return span.from;
    }
    long double const nearest = FindNearestShare(sweep, box);
    if (DistanceAt(sweep, box, nearest) > sweep.GetRadius()) {
        return 2.0L;
    }
    // The distance falls up to there: halve the span that holds the first touch.
    long double before = 0.0L;
    long double touching = nearest;
    if (TouchesAt(sweep, box, before)) {
        return before;
    }
    for (int step = 0; step < 100; ++step) {
        long double const middle = 0.5L * (before + touching);
        (TouchesAt(sweep, box, middle) ? touching : before) = middle;
    }
    return touching;
}
