#include "demo/SweptWalk.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace demo
{

namespace
{

constexpr double eSKIN = 1e-3;       // metres that the body keeps from what it met
constexpr int eMAX_SLIDES = 4;       // contacts in one step
constexpr double eLEAST_MOVE = 1e-4; // metres; a shorter rest of a step is given up
constexpr int eMAX_STEPS = 200;      // from one stop to the next

double Now()
{
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

/// A walk in progress.
class Walker
{
public:
    Walker(WalkBody const& body, TqOcPickSweepTraversal* pick, TqOcTraversable* root,
           WalkResult* result)
        : m_body(body)
        , m_pick(pick)
        , m_root(root)
        , m_result(result)
    {}

    /// Whether the body, smaller by half the skin, touches anything at a place.
    bool IsInside(TqLPos3f const& place)
    {
        m_pick->SetSweep(m_body.Sweep(place, TqLVec3f(), 0.5 * eSKIN));
        m_pick->Apply(m_root);
        return !m_pick->GetAllPickedShapes().Empty();
    }

    /// Goes from `place` by `motion`, as far as there is room.
    WalkStep Step(TqLPos3f const& place, TqLVec3f const& motion)
    {
        WalkStep step;
        step.m_position = place;
        TqLVec3f rest = motion;
        for (int slide = 0; slide < eMAX_SLIDES && rest.Length() > eLEAST_MOVE; ++slide) {
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
        m_pick->SetSweep(m_body.Sweep(step->m_position, *rest, 0.0));
        double const start = Now();
        m_pick->Apply(m_root);
        m_result->m_sweepSeconds.push_back(Now() - start);
        double const length = rest->Length();
        if (m_pick->GetPickedShape() == nullptr) {
            step->m_position += *rest;
            return false;
        }
        ++step->m_contacts;
        // The skin is measured across the contact, so it takes more of a motion that grazes it.
        TqLVec3f const normal = m_pick->GetNormal().Vec();
        double const approach = std::abs(rest->Dot(normal)) / length;
        double const back = approach > eSKIN ? eSKIN / approach : length;
        double const gone = std::max(m_pick->GetDistance() - back, 0.0);
        step->m_position += *rest * (gone / length);
        *rest = SlideAlong(*rest * (1.0 - gone / length), normal);
        return true;
    }

    WalkBody const& m_body;
    TqOcPickSweepTraversal* m_pick;
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
                TqOcPickSweepTraversal* pick, TqOcTraversable* root)
{
    WalkResult result;
    Walker walker(body, pick, root, &result);
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

double FindLargestGap(WalkResult const& first, WalkResult const& second)
{
    if (first.m_steps.size() != second.m_steps.size()) {
        return std::numeric_limits<double>::infinity();
    }
    double gap = 0.0;
    for (std::size_t i = 0; i < first.m_steps.size(); ++i) {
        gap = std::max(gap, (first.m_steps[i].m_position - second.m_steps[i].m_position).Length());
    }
    return gap;
}

} // namespace demo
