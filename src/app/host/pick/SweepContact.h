// Where a moving box or sphere first touches a triangle.
//
// The kernel of the sweep picks: pure functions in world coordinates, in double precision. Bodies
// touch when they share a point; one that touches at the start has its contact there, whichever way
// it moves.
#pragma once

#include "geometry/TqLPickSweep.h"
#include "geometry/TqLVec.h"

namespace host
{

/// A first contact.
struct SweepContact
{
    double m_fraction = 0.0; ///< share of the sweep vector, 0 to 1
    TqLPos3f m_point;        ///< shared by body and triangle; in the middle of what they share
    TqLVec3f m_normal;       ///< unit; from the triangle to the body, across the contact
};

/// Whether the sweep's body touches a triangle on its way, and where first. A triangle without area
/// is touched as the segment or point that it is; a sweep without a body touches nothing.
bool SweepTriangle(TqLPickSweep const& sweep, TqLPos3f const triangle[3], SweepContact* contact);

} // namespace host
