// The first turn of a record in a best-first walk: the node takes its turn, and the children that
// it appended are scored and brought into order.
//
// Walker supplies:
//   TakeTurn(state)         lets the node act; eAPPENDED when it may have appended children
//   Score(state, cullBits)  scores a record; 0 when its node is culled
//   GetFirstCullBits()      bits for a child that is seen in another view than its parent
//   EndLeaf(state)          the node had no children to append
//   Finish(state)           a node leaves the walk
//   FreeState(state)        its record's memory
#pragma once

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <cmath>
#include <limits>
#include <utility>

template <class Walker>
class TqOcRecordExpansion
{
public:
    /// Returns whether the record is finished; otherwise it has children, the best at the head.
    ///
    /// Chains of only children are collapsed: the record goes down with them, keeping the cull data
    /// of the topmost.
    static bool Expand(Walker& walker, TqOcTravState* state)
    {
        TqOcBaseTraversable::TraversalStatus status = walker.TakeTurn(state);
        while (status == TqOcBaseTraversable::eAPPENDED && HasOnlyChild(*state)) {
            TqOcTravState* const only = state->m_children;
            walker.Finish(state);
            state->m_node = only->m_node;
            state->m_children = nullptr;
            walker.FreeState(only);
            status = walker.TakeTurn(state);
        }
        if (status != TqOcBaseTraversable::eAPPENDED) {
            DropChildren(walker, state);
        }
        if (state->m_children == nullptr) {
            walker.EndLeaf(state);
        } else {
            ScoreChildren(walker, state);
        }
        if (state->m_children != nullptr) {
            return false;
        }
        walker.Finish(state);
        return true;
    }

private:
    static bool HasOnlyChild(TqOcTravState const& state)
    {
        return state.m_children != nullptr && state.m_children->m_next == nullptr &&
               state.m_children->m_cull == state.m_cull;
    }

    static void DropChildren(Walker& walker, TqOcTravState* state)
    {
        while (TqOcTravState* const child = state->m_children) {
            state->m_children = child->m_next;
            walker.FreeState(child);
        }
    }

    /// Drops the culled children and brings the best one to the head.
    ///
    /// The list starts with the child appended last, so on equal priorities the one scored later
    /// was appended earlier, and has to come first: hence "not greater".
    static void ScoreChildren(Walker& walker, TqOcTravState* state)
    {
        TqOcTravState* unscored = state->m_children;
        state->m_children = nullptr; // in order should a callback throw
        TqOcTravState* kept = nullptr;
        TqOcTravState* best = nullptr;
        while (unscored != nullptr) {
            TqOcTravState* child = unscored;
            unscored = child->m_next;
            if (!ScoreChild(walker, *state, child)) {
                walker.FreeState(child);
                continue;
            }
            if (best == nullptr || !(child->m_cullData.priority > best->m_cullData.priority)) {
                std::swap(child, best);
            }
            if (child != nullptr) {
                child->m_next = kept;
                kept = child;
            }
        }
        if (best != nullptr) {
            best->m_next = kept;
            kept = best;
        }
        state->m_children = kept;
    }

    /// Scores one child; returns whether it is kept. A priority that is no number counts as the
    /// last.
    static bool ScoreChild(Walker& walker, TqOcTravState const& parent, TqOcTravState* child)
    {
        bool const isSameView = child->m_cull->GetTravFrustum() == parent.m_cull->GetTravFrustum();
        int const bits = isSameView ? parent.m_cullData.cullBits : walker.GetFirstCullBits();
        if (!walker.Score(child, bits)) {
            return false;
        }
        double& priority = child->m_cullData.priority;
        if (std::isnan(priority)) {
            priority = std::numeric_limits<double>::infinity();
        }
        return true;
    }
};
