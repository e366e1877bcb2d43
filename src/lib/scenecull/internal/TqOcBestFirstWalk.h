// The order of a best-first walk over expanded records, without what a particular walk does there.
//
// Every level of the walk is a record with a list of scored children, the best at the head. A turn
// of a level looks at its head:
//   - The level's slack bound is the best priority that waits anywhere further up. A head that is
//     worse puts the level off: it takes the head's priority, goes behind its next sibling if that
//     one is better now, and is entered again when its turn comes.
//   - Otherwise the best of the other children is moved to second place, so that it is next, and
//     the head is entered with the lower of the two priorities as its bound.
// Recursively: visit(head, min(bound, second.priority)), with the level's own bound unchanged for
// its next turn. The slack is added once a turn. An explicit stack takes the place of the
// recursion; nodes on it carry the traversed flag.
//
// Walker supplies:
//   Expand(state)      turn of a record that has no children yet; true when it is finished
//   LookAhead(state)   the record that will probably be next
//   Finish(state)      a finished record leaves the walk: stamp its node
//   FreeState(state)   its memory
//   IsStopped(), Stop() and GetSlackStart(), GetSortSlack()
#pragma once

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <cstddef>
#include <limits>
#include <new>
#include <stdexcept>

namespace TqOcInternal
{

/// Appends to a walk's stack. @throws std::length_error past `most` levels
inline void PushLevel(std::vector<TqOcTravLevel>& levels, TqOcTravLevel const& level,
                      std::size_t most)
{
    if (levels.size() >= most) {
        throw std::length_error("vector<T> too long");
    }
    levels.push_back(level);
}

} // namespace TqOcInternal

template <class Walker>
class TqOcBestFirstWalk
{
public:
    /// @param levels  the stack, emptied here; kept by the walker for its capacity
    TqOcBestFirstWalk(Walker& walker, std::vector<TqOcTravLevel>& levels)
        : m_walker(walker)
        , m_levels(levels)
        , m_slackStart(walker.GetSlackStart())
        , m_slack(walker.GetSortSlack() > 0.0 ? walker.GetSortSlack() : 0.0)
    {
        m_levels.clear();
    }

    /// Clears the marks of a walk that an exception ended.
    ~TqOcBestFirstWalk()
    {
        if (m_current.state != nullptr) {
            m_current.state->m_node->ClearTraversed();
            for (TqOcTravLevel const& level : m_levels) {
                level.state->m_node->ClearTraversed();
            }
        }
    }

    TqOcBestFirstWalk(TqOcBestFirstWalk const&) = delete;
    TqOcBestFirstWalk& operator=(TqOcBestFirstWalk const&) = delete;

    /// Walks everything under `root`, which is expanded and has children, until it is done or the
    /// walker stops.
    void Run(TqOcTravState* root)
    {
        Enter({std::numeric_limits<double>::infinity(), root});
        while (m_current.state != nullptr) {
            double childBound = 0.0;
            TqOcTravState* const child = m_walker.IsStopped() ? nullptr : PickChild(&childBound);
            if (child == nullptr) {
                Leave();
            } else if (child->m_children == nullptr && m_walker.Expand(child)) {
                FinishHead(child);
            } else if (Push()) {
                Enter({childBound, child});
            } else {
                m_walker.Stop();
            }
        }
    }

private:
    void Enter(TqOcTravLevel const& level)
    {
        m_current = level;
        level.state->m_node->SetTraversed();
    }

    /// Keeps the current level; false when there is no memory for it.
    bool Push()
    {
        try {
            TqOcInternal::PushLevel(m_levels, m_current, m_levels.max_size());
        } catch (std::bad_alloc const&) {
            return false;
        }
        return true;
    }

    /// The child whose turn it is, and the bound to enter it with; null when the level has no
    /// children left or is put off.
    TqOcTravState* PickChild(double* childBound)
    {
        TqOcTravState* const head = m_current.state->m_children;
        if (head == nullptr) {
            return nullptr;
        }
        double bound = m_current.slackBound;
        if (bound > m_slackStart) {
            bound += m_slack;
        }
        if (PriorityOf(head) > bound) {
            m_current.state->m_cullData.priority = PriorityOf(head);
            return nullptr;
        }
        if (TqOcTravState* const second = MoveBestToSecond(head)) {
            if (PriorityOf(second) < bound) {
                bound = PriorityOf(second);
            }
            m_walker.LookAhead(second);
        }
        *childBound = bound;
        return head;
    }

    /// Moves the best record behind `head`, the earliest among equals, right behind it.
    static TqOcTravState* MoveBestToSecond(TqOcTravState* head)
    {
        TqOcTravState* best = head->m_next;
        if (best == nullptr) {
            return nullptr;
        }
        TqOcTravState* beforeBest = head;
        for (TqOcTravState* before = best; before->m_next != nullptr; before = before->m_next) {
            if (PriorityOf(before->m_next) < PriorityOf(best)) {
                beforeBest = before;
                best = before->m_next;
            }
        }
        if (beforeBest != head) {
            beforeBest->m_next = best->m_next;
            best->m_next = head->m_next;
            head->m_next = best;
        }
        return best;
    }

    /// Goes one level up from a level that is done, put off or stopped.
    void Leave()
    {
        TqOcTravState* const left = m_current.state;
        left->m_node->ClearTraversed();
        if (m_levels.empty()) {
            m_current.state = nullptr;
            if (left->m_children == nullptr) {
                m_walker.Finish(left);
            }
            return;
        }
        m_current = m_levels.back();
        m_levels.pop_back();
        if (left->m_children == nullptr) {
            FinishHead(left);
        } else if (left->m_next != nullptr && PriorityOf(left->m_next) < PriorityOf(left)) {
            SwapHeadWithNext(left);
        }
    }

    void FinishHead(TqOcTravState* head)
    {
        m_walker.Finish(head);
        m_current.state->m_children = head->m_next;
        m_walker.FreeState(head);
    }

    void SwapHeadWithNext(TqOcTravState* head)
    {
        TqOcTravState* const next = head->m_next;
        head->m_next = next->m_next;
        next->m_next = head;
        m_current.state->m_children = next;
    }

    static double PriorityOf(TqOcTravState const* state) { return state->m_cullData.priority; }

    Walker& m_walker;
    std::vector<TqOcTravLevel>& m_levels; ///< The levels above the current one.
    TqOcTravLevel m_current = {0.0, nullptr};
    double m_slackStart;
    double m_slack;
};
