// The few ways in which scenes make affine transforms, in the row-vector convention of the
// geometry library: a point is a row and stands to the left of the transform.
#pragma once

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"

namespace host
{

/// The transform that maps point p to p * rows + translation.
TqLAffine3f MakeAffine(double const rows[3][3], double const translation[3]);

TqLAffine3f MakeTranslation(double x, double y, double z);

/// Scales along the axes, then moves.
TqLAffine3f MakeScaled(double sx, double sy, double sz, double x, double y, double z);

/// Turns by quarters of a circle about the upward axis, counter-clockwise seen from above (one
/// quarter takes +z to +x), then moves. Any number of quarters; exact, without trigonometry.
TqLAffine3f MakeQuarterTurned(int quarters, double x, double y, double z);

/// True when the box is not empty and all six coordinates are finite.
bool IsFiniteBox(TqLBox3f const& box);

} // namespace host
