// A flight along a list of camera stops.
//
// The eye moves on straight lines from stop to stop, which is what keeps it out of walls, and the
// view turns evenly between their directions. Time is shared out by how far each stretch goes and
// how far it turns, so that the flight neither races nor spins. Copies the stops.
#pragma once

#include "host/model/SceneModel.h"

#include <vector>

namespace host
{

/// A flight; time runs from 0 to 1.
class CameraPath
{
public:
    /// Stops with a direction of no length look along -z. No stops: the path stays at the origin.
    explicit CameraPath(std::vector<CameraKey> keys);

    /// Place and unit direction at a time; times outside 0 to 1 are clamped.
    CameraKey Evaluate(double time) const;

    /// Length of the way in world units.
    double GetLength() const { return m_length; }

private:
    std::vector<CameraKey> m_keys;
    std::vector<double> m_times; ///< when each stop is reached
    double m_length = 0.0;
};

} // namespace host
