// The turns of containers in picks and prioritized visits, which are the same for all of them: each
// child in order, shapes and containers alike.
#pragma once

#include "scenecull/internal/TqOcPrefetch.h"

#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcVisitor.h"

#include "util/TqUError.h"

namespace TqOcInternal
{

inline void OfferTo(TqOcPickFrustumTraversal* pick, TqOcBaseTraversable* child)
{
    child->PickFrustum(pick);
}

inline void OfferTo(TqOcPickSweepTraversal* pick, TqOcBaseTraversable* child)
{
    child->PickSweep(pick);
}

/// Lets each child that the pick does not cull take its turn. What a child's test does to the cull
/// bits is undone after it, so that its siblings are tested in full.
template <class Pick>
void PickChildren(Pick* pick, TqOcBaseTraversable* const* children, int numChildren)
{
    int const cullBits = pick->GetCullBits();
    for (int i = 0; i < numChildren; ++i) {
        PrefetchAhead(children, i, numChildren);
        TqOcBaseTraversable* const child = children[i];
        int const isCulled = child->IsShape() ? pick->CanCull(static_cast<TqOcShape*>(child))
                                              : pick->CanCull(static_cast<TqOcTraversable*>(child));
        if (!isCulled) {
            OfferTo(pick, child);
        }
        pick->SetCullBits(cullBits);
    }
}

/// Takes a container's turn in a prioritized visit: visits the shapes among its children and queues
/// the others, between BeginVisit and EndVisit. Returns whether BeginVisit let it.
inline bool PrioritizedVisitChildren(TqOcPrioritizedVisitor* visitor, TqOcTravState* state,
                                     TqOcTraversable* node, TqOcBaseTraversable* const* children,
                                     int numChildren, TqUComponent* component)
{
    if (visitor->BeginVisit(node) == TqOcVisitor::ePRUNE) {
        return false;
    }
    for (int i = 0; i < numChildren; ++i) {
        PrefetchAhead(children, i, numChildren);
        TqOcBaseTraversable* const child = children[i];
        if (!child->IsShape()) {
            state->Append(visitor, static_cast<TqOcTraversable*>(child));
        } else if (auto* const shape = static_cast<TqOcShape*>(child);
                   visitor->ConfigureTraversal()->IsVisible(shape)) {
            shape->Visit(visitor);
        }
    }
    if (visitor->EndVisit(node) == TqOcVisitor::ePRUNE) {
        TqUError::Post(TqUSysError::eERROR, component, "Prune in end visit has no effect");
    }
    return true;
}

} // namespace TqOcInternal
