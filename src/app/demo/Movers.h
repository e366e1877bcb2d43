// How the things that move in the dynamic demo move: pure arithmetic, no shapes.
//
// All places are in the site's own metres, y up, the crane's axis upright. Everything is computed
// from where a thing stands at rest, never from its last place, so that nothing drifts.
#pragma once

#include "geometry/TqLMatrix.h"
#include "geometry/TqLVec.h"

#include <cstddef>
#include <vector>

namespace demo
{

/// A crane that turns about an upright axis and lifts a load meanwhile. Time runs from 0 to 1.
class CraneMotion
{
public:
    /// @param foot    a point of the axis
    /// @param turns   whole turns in the flight
    /// @param lift    height of the highest lift over the load's place at rest
    CraneMotion(TqLPos3f const& foot, double turns, double lift);

    /// Radians that the crane has turned, counter-clockwise seen from above; 0 at first.
    double GetAngle(double time) const;

    /// How far the load is above its place at rest: down at both ends, up twice in between.
    double GetLift(double time) const;

    /// What turns with the crane.
    TqLAffine3f GetTurn(double time) const;

    /// What hangs from it: turned and lifted.
    TqLAffine3f GetCarry(double time) const;

private:
    TqLPos3f m_foot;
    double m_turns;
    double m_lift;
};

/// A belt along a line of straight stretches. Rows of parts follow each other at even distance: row
/// n enters at the start when n spacings have passed, and leaves at the end.
class BeltMotion
{
public:
    /// @param points   corners of the way, at least 2, no two neighbours in one place
    /// @param spacing  between rows, above 0
    BeltMotion(std::vector<TqLPos3f> points, double spacing);

    double GetLength() const { return m_lengths.back(); }

    /// Most rows that can be on the belt at once.
    std::size_t GetMaxRows() const;

    /// First row on the belt once it has run so far, and the one after the last. The belt starts
    /// full: at 0 the first row, row 0, stands at the end.
    std::size_t GetFirstRow(double run) const;
    std::size_t GetEndRow(double run) const;

    /// Distance of a row from the belt's start; outside 0 to GetLength() for rows not on it.
    double GetDistance(std::size_t row, double run) const;

    /// Turns what looks along +x into the belt's direction and puts it there. Distances outside the
    /// belt are clamped.
    TqLAffine3f GetPlace(double distance) const;

private:
    std::vector<TqLPos3f> m_points;
    std::vector<double> m_lengths; ///< of the way up to each corner
    double m_spacing;
};

} // namespace demo
