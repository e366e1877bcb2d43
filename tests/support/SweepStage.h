#pragma once

// A stage for picks by sweep: named nodes along the x axis, a body that moves along it, and the
// list of what a pick asked.
//
// Nodes are made and owned as on a VisitStage, whose own visitor stays idle here. A SweptShape logs
// "PickSweep name"; a SweptNode<Node> logs "Enter name" when its turn comes, in either mode, and
// "Pruned name" when a nearest-first pick pruned it then.

#include "support/OracleSweep.h"
#include "support/VisitStage.h"

#include "scenecull/TqOcPickSweepTraversal.h"

#include "geometry/TqLPickSweep.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

/// What a shape that is just a box does in its turn: finds the contact with its box and, where it
/// is the nearest so far, reports it and shortens the sweep to it. Lists every box that is touched.
/// @return whether the box is touched
inline bool ReportBoxContact(TqOcPickSweepTraversal* pick, TqOcShape* shape, TqLBox3f const& box)
{
    TqLPickSweep const& sweep = pick->GetSweep();
    long double const share = FindFirstTouch(sweep, box);
    if (share > 1.0L) {
        return false;
    }
    pick->PickShape(shape);
    auto const fraction = static_cast<double>(share);
    double const distance = fraction * sweep.GetSweep().Length();
    TqLPos3f const center = sweep.GetCenter() + sweep.GetSweep() * fraction;
    if (pick->CanPickPoint(shape, center, distance) != 0) {
        pick->SetPicked(shape, center, distance, 0, TqOcPickTraversal::ePICK_TRIANGLE);
        pick->EditSweep().ShortenTo(fraction);
    }
    return true;
}

/// A shape that takes part in sweeps.
class SweptShape : public RecordingShape
{
public:
    SweptShape(EventLog* log, std::string const& name, TqLBox3f const& box)
        : RecordingShape(log, name, box)
        , m_sweepLog(log)
        , m_shapeBox(box)
    {}

    /// Runs after the shape was logged; may throw.
    std::function<void(TqOcPickSweepTraversal*)> onSweep;

    int numSweeps = 0;
    int lastCullBits = -1; ///< The traversal's, in the last turn.

    void PickSweep(TqOcPickSweepTraversal* pick) override
    {
        ++numSweeps;
        lastCullBits = pick->GetCullBits();
        if (m_sweepLog != nullptr) {
            m_sweepLog->Add("PickSweep " + GetName());
        }
        if (onSweep) {
            onSweep(pick);
        }
    }

    /// Lets the shape shorten the sweep at its contact with the shape's box.
    void ReportContacts()
    {
        onSweep = [this](TqOcPickSweepTraversal* pick) {
            ReportBoxContact(pick, this, m_shapeBox);
        };
    }

private:
    EventLog* m_sweepLog;
    TqLBox3f m_shapeBox;
};

/// A node that logs its turns in picks by sweep.
template <class Node>
class SweptNode : public Node
{
public:
    template <class... Arguments>
    explicit SweptNode(EventLog* log, Arguments&&... arguments)
        : Node(std::forward<Arguments>(arguments)...)
        , m_log(log)
    {}

    void PickSweep(TqOcPickSweepTraversal* pick) override
    {
        Log("Enter ");
        Node::PickSweep(pick);
    }

    TqOcBaseTraversable::TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                                          TqOcTravState* state) override
    {
        Log("Enter ");
        auto const status = Node::PrioritizedVisit(visitor, state);
        if (status == TqOcBaseTraversable::eFINISHED && !this->IsLeaf()) {
            Log("Pruned ");
        }
        return status;
    }

private:
    void Log(char const* call)
    {
        m_log->Add(call + m_log->GetName(static_cast<TqOcBaseTraversable*>(this)));
    }

    EventLog* m_log;
};

class SweepStage : public VisitStage
{
public:
    static constexpr int s_depthFirst = 0;
    static constexpr int s_nearestFirst = 1;
    static constexpr double s_halfBody = 0.5; ///< of the body, a cube

    /// Without a context; the body moves from the origin to x = 20.
    explicit SweepStage(int mode) : pick(nullptr, mode) { SweepAlong(20.0, 0.0, 0.0); }

    void SweepAlong(double x, double y, double z)
    {
        pick.SetSweep(TqLPickSweep(TqLPos3f(), TqLVec3f(s_halfBody, s_halfBody, s_halfBody),
                                   TqLVec3f(x, y, z)));
    }

    /// A small cube.
    SweptShape* Swept(std::string const& name, double x, double y = 0.0, double z = 0.0)
    {
        return new SweptShape(&log, name, MakeCube(x, y, z, s_half));
    }

    SweptShape* SweptBox(std::string const& name, TqLBox3f const& box)
    {
        return new SweptShape(&log, name, box);
    }

    /// A leaf of one shape, which bears its name.
    TqOcSingleLeaf* SweptLeaf(std::string const& name, double x, double y = 0.0, double z = 0.0)
    {
        return LeafOf(Swept(name, x, y, z));
    }

    TqOcSingleLeaf* LeafOf(SweptShape* shape)
    {
        return Named(shape->GetName(), new TqOcSingleLeaf(shape));
    }

    SweptNode<ActingVisitGroup>* SweptGroup(std::string const& name, Children children)
    {
        auto* const group = new SweptNode<ActingVisitGroup>(&log);
        for (TqOcTraversable* const child : children) {
            group->AddChild(child);
        }
        return Named(name, group);
    }

    static SweptShape* ShapeOf(TqOcSingleLeaf* leaf)
    {
        return static_cast<SweptShape*>(leaf->GetShape());
    }

    /// Runs one pick; returns everything that was logged.
    Lines PickAll()
    {
        log.Clear();
        pick.Apply(root.get());
        return log.Take();
    }

    /// Runs one pick; returns the names of the shapes that were asked, in order.
    Lines Pick()
    {
        static std::string const prefix = "PickSweep ";
        log.Clear();
        pick.Apply(root.get());
        Lines names;
        for (std::string const& line : log.Take(prefix)) {
            names.push_back(line.substr(prefix.size()));
        }
        return names;
    }

    TqOcPickSweepTraversal pick;
};
