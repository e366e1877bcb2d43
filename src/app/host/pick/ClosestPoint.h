// The point of a segment or a triangle that is nearest to a given one.
//
// Picks measure distances with it, swept spheres find out whether they touch. Both functions answer
// with a point of the segment or triangle whatever shape that has: an edge without length and a
// triangle without area are points and segments.
#pragma once

#include "geometry/TqLVec.h"

namespace host
{

/// The point of the segment from `a` to `b` that is nearest to `point`.
TqLPos3f ClosestOnSegment(TqLPos3f const& point, TqLPos3f const& a, TqLPos3f const& b);

/// The point of a triangle that is nearest to `point`.
TqLPos3f ClosestOnTriangle(TqLPos3f const& point, TqLPos3f const& a, TqLPos3f const& b,
                           TqLPos3f const& c);

} // namespace host
