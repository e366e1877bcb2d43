// A walk through the model with a solid body: from stop to stop of the camera path, sliding along
// what it meets, and never ending inside anything.
//
// Each step asks a sweep pick for the first contact, goes there less a skin, and turns the rest of
// the step along the contact. After every step a body smaller by half the skin stands where the
// walk is; a pick without motion must find that it touches nothing.
#pragma once

#include "host/model/SceneModel.h"

#include "scenecull/TqOcPickSweepTraversal.h"

#include "geometry/TqLPickSweep.h"

#include <cstddef>
#include <vector>

namespace demo
{

/// The body of a walk, around a centre.
struct WalkBody
{
    bool m_isSphere = true;
    double m_radius = 0.0; ///< of a sphere
    TqLVec3f m_halfSize;   ///< of a box

    /// The body in motion, smaller on all sides by an amount.
    TqLPickSweep Sweep(TqLPos3f const& center, TqLVec3f const& motion, double smaller) const;
};

/// One step.
struct WalkStep
{
    std::vector<TqLPos3f> m_turns; ///< where it began, then each contact at which it turned
    TqLPos3f m_position;           ///< after it
    int m_contacts = 0;
    bool m_isInside = false; ///< something is touched where it ended
};

struct WalkResult
{
    std::vector<TqLPos3f> m_starts; ///< where the walk began, and began anew
    std::vector<WalkStep> m_steps;
    std::size_t m_stops = 0;       ///< of the way that the body set out for
    std::size_t m_stopsInside = 0; ///< of the way at which it could not begin
    std::size_t m_contacts = 0;
    std::size_t m_inside = 0; ///< steps that ended inside something
    std::size_t m_parted = 0; ///< sweeps for which the two orders of picking found other distances
    double m_distance = 0.0;
    std::vector<double> m_nearestSeconds; ///< each sweep, nearest first
    std::vector<double> m_depthSeconds;   ///< the same sweep, depth first
};

/// The two picks of a walk, without a render traversal. The first leads; the second must find a
/// contact at the same distance.
struct WalkPicks
{
    TqOcPickSweepTraversal m_nearestFirst{nullptr, 1};
    TqOcPickSweepTraversal m_depthFirst{nullptr, 0};
};

/// What is left of a motion that met something: its part along the contact.
/// @param normal  of the contact, any length but 0, facing either way
TqLVec3f SlideAlong(TqLVec3f const& rest, TqLVec3f const& normal);

/// Walks along the stops.
WalkResult Walk(std::vector<host::CameraKey> const& stops, WalkBody const& body, double stepLength,
                WalkPicks* picks, TqOcTraversable* root);

} // namespace demo
