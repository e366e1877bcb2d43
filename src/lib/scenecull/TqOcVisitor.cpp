#include "scenecull/TqOcVisitor.h"

#include "scenecull/internal/TqOcBestFirstWalk.h"
#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcRecordExpansion.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include "util/TqUError.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcVisitor");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>()};

/// Brings a root up to date; false when there is none.
bool UpdateRoot(TqOcTraversable* root)
{
    if (root == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "A visitor was applied to a null root");
        return false;
    }
    root->Update();
    return true;
}

} // namespace

// --- TqOcVisitor
// -----------------------------------------------------------------------------------

void TqOcVisitor::Initialise()
{
    InitialiseComponent(s_component, "TqOcVisitor 1", s_dependencies);
}

void TqOcVisitor::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcVisitor::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcVisitor::~TqOcVisitor() = default;

void TqOcVisitor::Apply(TqOcTraversable* root)
{
    if (UpdateRoot(root)) {
        root->Visit(this);
    }
}

TqOcVisitor::Action TqOcVisitor::BeginVisit(TqOcTraversable*)
{
    return eCONTINUE;
}

TqOcVisitor::Action TqOcVisitor::EndVisit(TqOcTraversable*)
{
    return eCONTINUE;
}

void TqOcVisitor::VisitShape(TqOcShape*) {}

// --- TqOcPrioritizedVisitor: life
// ------------------------------------------------------------------

TqOcPrioritizedVisitor::TqOcPrioritizedVisitor()
    : m_initialCullBits(TqOcTravCull::eCULL_ALL)
    , m_traversal(std::make_unique<TqOcPrioritizedTraversal>(static_cast<TqOcContext*>(this)))
{
    m_traversal->SetPolicy(TqOcRenderTraversal::eINTERRUPTIBLE);
}

TqOcPrioritizedVisitor::~TqOcPrioritizedVisitor() = default;

// --- TqOcPrioritizedVisitor: walk
// ------------------------------------------------------------------

void TqOcPrioritizedVisitor::Apply(TqOcTraversable* root)
{
    m_pruned = 0;
    if (!UpdateRoot(root)) {
        return;
    }
    try {
        StartTraverse(root);
    } catch (...) {
        EndTraverse();
        throw;
    }
    EndTraverse();
}

void TqOcPrioritizedVisitor::StartTraverse(TqOcTraversable* root)
{
    m_traversal->InitTraversal();
    TqLBox3f const& box = root->GetBoundingBox();
    if (box.GetMin()[0] > box.GetMax()[0]) {
        return;
    }
    TqOcTravState* const rootState = m_pools.NewRootState(root, *m_traversal, this);
    if (rootState != nullptr && Score(rootState, m_initialCullBits) && !IsStopped() &&
        !Expand(rootState)) {
        TqOcBestFirstWalk<TqOcPrioritizedVisitor>(*this, m_pools.GetLevels()).Run(rootState);
    }
}

/// Drops the records and cull objects of a walk.
void TqOcPrioritizedVisitor::EndTraverse()
{
    m_currState = nullptr;
    m_pools.Release();
}

bool TqOcPrioritizedVisitor::Expand(TqOcTravState* state)
{
    return TqOcRecordExpansion<TqOcPrioritizedVisitor>::Expand(*this, state);
}

/// A turn in which the walk was ended has appended nothing.
TqOcBaseTraversable::TraversalStatus TqOcPrioritizedVisitor::TakeTurn(TqOcTravState* state)
{
    m_currState = state;
    TqOcBaseTraversable::TraversalStatus const status =
        state->m_node->PrioritizedVisit(this, state);
    m_currState = nullptr;
    return m_pruned ? TqOcBaseTraversable::eFINISHED : status;
}

/// Once the walk was ended, the rest of a list is dropped unscored.
int TqOcPrioritizedVisitor::Score(TqOcTravState* state, int cullBits)
{
    return m_pruned ? 0
                    : CalcCullPriority(state->m_cull, state->m_node, cullBits, &state->m_cullData);
}

int TqOcPrioritizedVisitor::CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node,
                                             int cullBits, TqOcRenderTravCullData* data)
{
    return cull->CalcPriority(m_traversal.get(), 0, node, cullBits, data);
}

double TqOcPrioritizedVisitor::GetSlackStart() const
{
    return m_traversal->GetSlackStart();
}

double TqOcPrioritizedVisitor::GetSortSlack() const
{
    return m_traversal->GetSortSlack();
}

// --- TqOcTravState: its operations for visits
// ------------------------------------------------------

void TqOcTravState::Append(TqOcPrioritizedVisitor* visitor, TqOcTraversable* child)
{
    Append(visitor, child, m_cull);
}

void TqOcTravState::Append(TqOcPrioritizedVisitor* visitor, TqOcTraversable* child,
                           TqOcRenderTravCull* cull)
{
    if (child == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "A null child was offered to a visit");
    } else if (child->IsTraversed() || !visitor->m_traversal->IsVisible(child)) {
        return;
    } else if (TqOcTravState* const state =
                   cull != nullptr ? visitor->m_pools.NewState(child, cull) : nullptr) {
        state->m_next = m_children;
        m_children = state;
    } else {
        visitor->SetPruned();
    }
}

TqOcRenderTravCull* TqOcTravState::TransformedCull(TqOcPrioritizedVisitor* visitor,
                                                   TqLAffine3f const& affine)
{
    return visitor->m_pools.NewTransformedCull(*m_cull, affine);
}

TqOcRenderTravCull* TqOcTravState::NarrowedCull(TqOcPrioritizedVisitor* visitor, double x0,
                                                double x1, double y0, double y1)
{
    return visitor->m_pools.NewNarrowedCull(*m_cull, x0, x1, y0, y1);
}
