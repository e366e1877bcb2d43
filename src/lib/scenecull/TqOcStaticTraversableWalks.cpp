// What the static containers do when a walk reaches them.
#include "scenecull/internal/TqOcContainerWalks.h"
#include "scenecull/internal/TqOcPrefetch.h"
#include "scenecull/internal/TqOcStaticTraversableParts.h"

#include "scenecull/TqOcStaticTraversable.h"

using namespace TqOcInternal;

namespace
{

/// Draws one shape of a leaf whose turn has come, and marks it as dealt with.
void DrawLeafShape(TqOcPrioritizedTraversal* traversal, TqOcTravState* state, TqOcShape* shape)
{
    if (traversal->IsVisible(shape)) {
        shape->Prioritized(traversal, state);
        shape->SetFrameId(traversal->GetFrameId());
    }
}

} // namespace

void TqOcStaticBase::Render(TqOcRenderTraversal* traversal)
{
    unsigned int const frameId = traversal->GetFrameId();
    for (int i = 0; i < m_numChildren; ++i) {
        TqOcBaseTraversable* const child = m_children[i];
        if (!traversal->IsVisible(child)) {
            continue;
        }
        if (!child->IsShape()) {
            static_cast<TqOcTraversable*>(child)->SetHysteresisId(frameId);
        }
        child->Render(traversal);
        child->SetFrameId(frameId);
    }
}

// --- TqOcStaticGroup
// ---------------------------------------------------------------------------

/// Appends the containers and draws the shapes; only groups that were once marked as a leaf by hand
/// hold any.
TqOcBaseTraversable::TraversalStatus
TqOcStaticGroup::Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state)
{
    if (IsLeaf()) {
        traversal->IncLeavesRendered(1);
    }
    TqOcRenderTravCull* const cull = state->GetTravCull();
    for (int i = 0; i < m_numChildren; ++i) {
        PrefetchAhead(m_children, i, m_numChildren);
        TqOcBaseTraversable* const child = m_children[i];
        if (child->IsShape()) {
            DrawLeafShape(traversal, state, static_cast<TqOcShape*>(child));
        } else {
            state->Append(traversal, static_cast<TqOcTraversable*>(child), cull);
        }
    }
    return eAPPENDED;
}

void TqOcStaticGroup::Visit(TqOcVisitor* visitor)
{
    if (visitor->BeginVisit(this) == TqOcVisitor::eCONTINUE) {
        for (int i = 0; i < GetNumChildren(); ++i) {
            TqOcBaseTraversable* const child = TqOcStaticBase::GetChild(i);
            if (child->IsShape()) {
                static_cast<TqOcShape*>(child)->Visit(visitor);
            } else {
                static_cast<TqOcTraversable*>(child)->Visit(visitor);
            }
        }
    }
    visitor->EndVisit(this);
}

TqOcBaseTraversable::TraversalStatus
TqOcStaticGroup::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state)
{
    return PrioritizedVisitChildren(visitor, state, this, m_children, m_numChildren,
                                    &GetStaticComponent())
               ? eAPPENDED
               : eFINISHED;
}

void TqOcStaticGroup::PickFrustum(TqOcPickFrustumTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}

void TqOcStaticGroup::PickSweep(TqOcPickSweepTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}

// --- TqOcStaticLeaf
// ----------------------------------------------------------------------------

TqOcBaseTraversable::TraversalStatus
TqOcStaticLeaf::Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state)
{
    traversal->IncLeavesRendered(1);
    for (int i = 0; i < m_numChildren; ++i) {
        PrefetchAhead(m_children, i, m_numChildren);
        DrawLeafShape(traversal, state, GetChild(i));
    }
    return eFINISHED;
}

void TqOcStaticLeaf::Visit(TqOcVisitor* visitor)
{
    if (visitor->BeginVisit(this) == TqOcVisitor::eCONTINUE) {
        for (int i = 0; i < GetNumChildren(); ++i) {
            visitor->VisitShape(GetChild(i));
        }
    }
    visitor->EndVisit(this);
}

TqOcBaseTraversable::TraversalStatus
TqOcStaticLeaf::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state)
{
    PrioritizedVisitChildren(visitor, state, this, m_children, m_numChildren,
                             &GetStaticComponent());
    return eFINISHED;
}

void TqOcStaticLeaf::PickFrustum(TqOcPickFrustumTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}

void TqOcStaticLeaf::PickSweep(TqOcPickSweepTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}

// --- TqOcSingleLeaf
// ----------------------------------------------------------------------------

TqOcBaseTraversable::TraversalStatus
TqOcSingleLeaf::Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state)
{
    traversal->IncLeavesRendered(1);
    if (m_shape != nullptr) {
        DrawLeafShape(traversal, state, GetShape());
    }
    return eFINISHED;
}

void TqOcSingleLeaf::Visit(TqOcVisitor* visitor)
{
    if (visitor->BeginVisit(this) == TqOcVisitor::eCONTINUE && m_shape != nullptr) {
        visitor->VisitShape(GetShape());
    }
    visitor->EndVisit(this);
}

TqOcBaseTraversable::TraversalStatus
TqOcSingleLeaf::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state)
{
    PrioritizedVisitChildren(visitor, state, this, &m_shape, GetNumShapes(), &GetStaticComponent());
    return eFINISHED;
}

void TqOcSingleLeaf::PickFrustum(TqOcPickFrustumTraversal* traversal)
{
    PickChildren(traversal, &m_shape, GetNumShapes());
}

void TqOcSingleLeaf::PickSweep(TqOcPickSweepTraversal* traversal)
{
    PickChildren(traversal, &m_shape, GetNumShapes());
}
