#include "demo/SweptWalk.h"

#include "host/Clock.h"

#include <algorithm>
#include <cmath>

namespace demo
{

namespace
{

constexpr double eSKIN = 1e-3;          // metres that the body keeps from what it met
constexpr int eMAX_SLIDES = 4;          // contacts in one step
constexpr double eLEAST_MOVE = 1e-4;    // metres; a shorter rest of a step is given up
constexpr int eMAX_STEPS = 200;         // from one stop to the next
constexpr double eSAME_DISTANCE = 1e-9; // metres

/// A walk in progress.
class Walker
{
public:
    Walker(WalkBody const& body, WalkPicks* picks, TqOcTraversable* root, WalkResult* result)
        : m_body(body)
        , m_picks(picks)
        , m_root(root)
        , m_result(result)
    {}

    /// Whether the body, smaller by half the skin, touches anything at a place.
    bool IsInside(TqLPos3f const& place)
    {
        TqOcPickSweepTraversal& pick = m_picks->m_nearestFirst;
        pick.SetSweep(m_body.Sweep(place, TqLVec3f(), 0.5 * eSKIN));
        pick.Apply(m_root);
        return !pick.GetAllPickedShapes().Empty();
    }

    /// Goes from `place` by `motion`, as far as there is room.
    WalkStep Step(TqLPos3f const& place, TqLVec3f const& motion)
    {
        WalkStep step;
        step.m_position = place;
        TqLVec3f rest = motion;
        for (int slide = 0; slide < eMAX_SLIDES && rest.Length() > eLEAST_MOVE; ++slide) {
            step.m_turns.push_back(step.m_position);
            if (!Move(&step, &rest)) {
                break;
            }
        }
        step.m_isInside = IsInside(step.m_position);
        return step;
    }

private:
    /// One sweep; returns whether something was met, and leaves what is to go on with in `rest`.
    bool Move(WalkStep* step, TqLVec3f* rest)
    {
        TqLPickSweep const sweep = m_body.Sweep(step->m_position, *rest, 0.0);
        TqOcPickSweepTraversal const& pick = Pick(sweep);
        double const length = rest->Length();
        if (pick.GetPickedShape() == nullptr) {
            step->m_position += *rest;
            return false;
        }
        ++step->m_contacts;
        // The skin is measured across the contact, so it takes more of a motion that grazes it.
        TqLVec3f const normal = pick.GetNormal().Vec();
        double const approach = std::fabs(rest->Dot(normal)) / length;
        double const back = approach > eSKIN ? eSKIN / approach : length;
        double const gone = std::max(pick.GetDistance() - back, 0.0);
        step->m_position += *rest * (gone / length);
        *rest = SlideAlong(*rest * (1.0 - gone / length), normal);
        return true;
    }

    /// Picks in both orders.
    TqOcPickSweepTraversal const& Pick(TqLPickSweep const& sweep)
    {
        TqOcPickSweepTraversal& nearest = m_picks->m_nearestFirst;
        TqOcPickSweepTraversal& depth = m_picks->m_depthFirst;
        nearest.SetSweep(sweep);
        depth.SetSweep(sweep);
        double const start = host::Now();
        nearest.Apply(m_root);
        double const middle = host::Now();
        depth.Apply(m_root);
        m_result->m_nearestSeconds.push_back(middle - start);
        m_result->m_depthSeconds.push_back(host::Now() - middle);
        bool const isFree = nearest.GetPickedShape() == nullptr;
        bool const isSame =
            isFree ? depth.GetPickedShape() == nullptr
                   : depth.GetPickedShape() != nullptr &&
                         std::fabs(depth.GetDistance() - nearest.GetDistance()) <= eSAME_DISTANCE;
        m_result->m_parted += isSame ? 0 : 1;
        return nearest;
    }

    WalkBody const& m_body;
    WalkPicks* m_picks;
    TqOcTraversable* m_root;
    WalkResult* m_result;
};

} // namespace

TqLPickSweep WalkBody::Sweep(TqLPos3f const& center, TqLVec3f const& motion, double smaller) const
{
    return m_isSphere
               ? TqLPickSweep(center, m_radius - smaller, motion)
               : TqLPickSweep(center, m_halfSize - TqLVec3f(smaller, smaller, smaller), motion);
}

TqLVec3f SlideAlong(TqLVec3f const& rest, TqLVec3f const& normal)
{
    double const squared = normal.Dot(normal);
    return squared > 0.0 ? rest - normal * (rest.Dot(normal) / squared) : TqLVec3f();
}

WalkResult Walk(std::vector<host::CameraKey> const& stops, WalkBody const& body, double stepLength,
                WalkPicks* picks, TqOcTraversable* root)
{
    WalkResult result;
    Walker walker(body, picks, root, &result);
    bool isOnWay = false;
    TqLPos3f place;
    for (host::CameraKey const& stop : stops) {
        if (!isOnWay) { // begin here, if the body fits
            place = stop.position;
            isOnWay = !walker.IsInside(place);
            result.m_stopsInside += isOnWay ? 0 : 1;
            if (isOnWay) {
                result.m_starts.push_back(place);
            }
            continue;
        }
        ++result.m_stops;
        for (int i = 0; i < eMAX_STEPS; ++i) {
            TqLVec3f const way = stop.position - place;
            double const length = way.Length();
            if (length < eLEAST_MOVE) {
                break;
            }
            WalkStep const step = walker.Step(place, way * std::min(stepLength / length, 1.0));
            double const gone = (step.m_position - place).Length();
            result.m_steps.push_back(step);
            result.m_contacts += static_cast<std::size_t>(step.m_contacts);
            result.m_inside += step.m_isInside ? 1 : 0;
            result.m_distance += gone;
            place = step.m_position;
            if (gone < eLEAST_MOVE) { // stuck: go on to the next stop
                break;
            }
        }
    }
    return result;
}

} // namespace demo
