#include "scenecull/TqOcPrioritizedTraversal.h"

#include "scenecull/internal/TqOcBestFirstWalk.h"
#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcRecordExpansion.h"
#include "scenecull/internal/TqOcSaturate.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcTraversable.h"

#include "util/TqUError.h"

#include <cstdint>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcPrioritizedTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcRenderTraversal>(),
                                             DependsOn<TqOcRenderTravCull>()};

static_assert(sizeof(void*) != 8 || sizeof(TqOcTravState) == 96, "a record is a line and a half");

constexpr double s_microseconds = 1e6; // per second
constexpr double s_staleShare = 0.01;  // of a time-out: how old a clock reading may be

void Arm(TqUTimeOut& timeOut, double seconds)
{
    timeOut.SetTimeOut(SaturatedUnsigned(seconds * s_microseconds),
                       SaturatedUnsigned(seconds * s_staleShare * s_microseconds));
}

} // namespace

// --- TqOcTravState
// ---------------------------------------------------------------------------------

TqOcRenderTravCull* TqOcTravState::TransformedCull(TqOcPrioritizedTraversal* traversal,
                                                   TqLAffine3f const& affine)
{
    return traversal->m_pools.NewTransformedCull(*m_cull, affine);
}

TqOcRenderTravCull* TqOcTravState::NarrowedCull(TqOcPrioritizedTraversal* traversal, double x0,
                                                double x1, double y0, double y1)
{
    return traversal->m_pools.NewNarrowedCull(*m_cull, x0, x1, y0, y1);
}

// --- Life
// ------------------------------------------------------------------------------------------

void TqOcPrioritizedTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcPrioritizedTraversal 1", s_dependencies);
}

void TqOcPrioritizedTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcPrioritizedTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcPrioritizedTraversal::TqOcPrioritizedTraversal(TqOcContext* context)
    : TqOcRenderTraversal(context)
{}

TqOcPrioritizedTraversal::~TqOcPrioritizedTraversal() = default;

void TqOcPrioritizedTraversal::PostNullChild()
{
    TqUError::Post(TqUSysError::eERROR, &s_component, "A null child was offered to a walk");
}

// --- Frame
// -----------------------------------------------------------------------------------------

void TqOcPrioritizedTraversal::StartRender(TqOcTraversable* root)
{
    m_pools.Release(); // an exception may have kept the last frame from its end
    TqUPage::ClearRefusedAllocation();
    Arm(m_frameTimeOut, GetHighBandTime());
    m_frameShown = 0;
    m_frameClipped = 0;
    m_endRenderClipped = 0;
    m_currState = nullptr;
    m_openQueries = 0;
    TqLBox3f const& box = root->GetBoundingBox();
    if (box.GetMin()[0] > box.GetMax()[0]) {
        return;
    }

    TqOcTravState* const rootState = m_pools.NewRootState(root, *this, GetContext());
    if (rootState == nullptr) {
        ForceFrameClipped();
        return;
    }
    try {
        Walk(rootState);
    } catch (...) {
        m_currState = nullptr;
        AbortQueries(rootState); // the first exception is the one that goes on
        throw;
    }
    if (std::exception_ptr const failure = AbortQueries(rootState)) {
        std::rethrow_exception(failure);
    }
}

int TqOcPrioritizedTraversal::EndRender()
{
    m_pools.Release();
    if (GetPolicy() != eNEVER_INTERACTIVE && GetPolicy() != eINTERRUPTIBLE) {
        double const remaining = GetTargetFrameTime() - GetOverheadTime() - GetElapsedTime();
        m_endRenderClipped = remaining > 0.0 ? 0 : 1;
        if (remaining > 0.0) {
            Arm(m_endRenderTimeOut, remaining);
        }
    }
    return !m_frameClipped;
}

// --- Walk
// ------------------------------------------------------------------------------------------

void TqOcPrioritizedTraversal::Walk(TqOcTravState* rootState)
{
    if (Score(rootState, TqOcTravCull::eCULL_ALL) &&
        !TqOcRecordExpansion<TqOcPrioritizedTraversal>::Expand(*this, rootState)) {
        TqOcBestFirstWalk<TqOcPrioritizedTraversal>(*this, m_pools.GetLevels()).Run(rootState);
    }
}

/// Turn of a record that the walk enters for the first time; returns whether it is finished.
bool TqOcPrioritizedTraversal::Expand(TqOcTravState* state)
{
    return (state->m_query != nullptr && IsOccluded(state)) ||
           TqOcRecordExpansion<TqOcPrioritizedTraversal>::Expand(*this, state);
}

TqOcBaseTraversable::TraversalStatus TqOcPrioritizedTraversal::TakeTurn(TqOcTravState* state)
{
    TqOcTraversable* const node = state->m_node;
    node->SetHysteresisId(GetFrameId());
    m_currState = state;
    TqOcBaseTraversable::TraversalStatus const status = node->Prioritized(this, state);
    m_currState = nullptr;
    return status;
}

int TqOcPrioritizedTraversal::Score(TqOcTravState* state, int cullBits)
{
    return state->m_cull->CalcPriority(this, 1, state->m_node, cullBits, &state->m_cullData);
}

void TqOcPrioritizedTraversal::EndLeaf(TqOcTravState const* state)
{
    if (state->m_cullData.priority > TqOcRenderTravCull::s_forcePriority) {
        CheckFrameExpired();
    }
}

void TqOcPrioritizedTraversal::Finish(TqOcTravState* state)
{
    state->m_node->SetFrameId(GetFrameId());
}

// --- Occlusion queries
// -----------------------------------------------------------------------------

/// Asks for a query of the record that will probably be next, so that its result is there in time.
void TqOcPrioritizedTraversal::LookAhead(TqOcTravState* second)
{
    if (!IsOcclusionCulling() || second->m_children != nullptr || second->m_query != nullptr) {
        return;
    }
    TqOcRenderTravCull const& cull = *second->m_cull;
    TqLBox3f const& box = second->m_node->GetBoundingBox();
    if (second->m_cullData.distance > cull.GetNearCullDistance() && !cull.ClipPlaneIntersect(box)) {
        second->m_query = GetContext()->BeginOcclusionQuery(box, second->m_node->GetTris());
        m_openQueries += second->m_query != nullptr ? 1 : 0;
    }
}

/// Reads a record's query, or gives it up when it is not ready; either way the handle is forgotten.
bool TqOcPrioritizedTraversal::IsOccluded(TqOcTravState* state)
{
    TqOcContext& context = *GetContext();
    bool const isReady = context.CheckOcclusionQueryReady(state->m_query) != 0;
    TqOcOcclusionQuery* const query = state->m_query;
    state->m_query = nullptr;
    --m_openQueries;
    if (!isReady) {
        context.AbortOcclusionQuery(query);
        return false;
    }
    std::uint32_t const edge = context.EndOcclusionQuery(query);
    if (edge != 0 && !(GetCullArea() >= static_cast<double>(edge * edge))) {
        return false;
    }
    IncTrisOcclusionCulled(state->m_node->GetTris());
    return true;
}

/// Gives up the queries that are still open after a walk; returns the first exception of a
/// callback.
std::exception_ptr TqOcPrioritizedTraversal::AbortQueries(TqOcTravState* rootState)
{
    std::exception_ptr failure;
    TqOcTravState* pending = rootState;
    while (m_openQueries > 0 && pending != nullptr) {
        TqOcTravState* const state = pending;
        pending = state->m_next;
        if (TqOcTravState* last = state->m_children) {
            while (last->m_next != nullptr) {
                last = last->m_next;
            }
            last->m_next = pending;
            pending = state->m_children;
        }
        if (state->m_query != nullptr) {
            --m_openQueries;
            try {
                GetContext()->AbortOcclusionQuery(state->m_query);
            } catch (...) {
                failure = failure ? failure : std::current_exception();
            }
        }
    }
    m_openQueries = 0;
    return failure;
}

// --- Frame time
// ------------------------------------------------------------------------------------

/// Decides whether a frame whose triangles or time are used up is clipped.
void TqOcPrioritizedTraversal::RealCheckFrameExpired()
{
    if (TqUPage::IsOutOfMemory()) {
        m_frameClipped = 1;
        return;
    }
    switch (GetPolicy()) {
    case eNEVER_INTERACTIVE:
        break;
    case eINTERRUPTIBLE:
        ClipFrameIf(IsInterrupted());
        break;
    default:
        CheckTimeBudget();
    }
}

void TqOcPrioritizedTraversal::CheckTimeBudget()
{
    double const elapsed = GetElapsedTime();
    unsigned int const tris = GetTrisRendered();
    Sample(elapsed, tris);
    if (!IsInteractive()) {
        if (elapsed > GetHighBandTime()) {
            ShowPartOfFrame();
            ClipFrameIf(IsInterrupted());
        }
    } else if (tris < GetTriangleTarget()) {
        ClipFrameIf(elapsed > GetHighBandTime());
    } else if (elapsed <= GetLowBandTime()) {
        LowTarget(elapsed, tris);
    } else {
        m_frameClipped = 1;
    }
}

void TqOcPrioritizedTraversal::ShowPartOfFrame()
{
    if (!m_frameShown && IsDevelopFrame()) {
        GetContext()->ShowRender();
        m_frameShown = 1;
    }
}

/// Whether interaction ends what is not interactive itself.
bool TqOcPrioritizedTraversal::IsInterrupted()
{
    switch (GetPolicy()) {
    case eCOUNT_INTERACTIVE:
        return GetInteractiveCount() > 0;
    case eAUTO_INTERACTIVE:
        return GetInteractiveCount() > 0 || GetContext()->IsInteractionPending() != 0;
    case eINTERRUPTIBLE:
        return GetContext()->IsInteractionPending() != 0;
    default:
        return false;
    }
}

void TqOcPrioritizedTraversal::CheckEndRenderExpired()
{
    if (m_endRenderClipped || GetPolicy() == eNEVER_INTERACTIVE) {
        return;
    }
    if (GetPolicy() == eINTERRUPTIBLE) {
        ClipEndRenderIf(IsInterrupted());
    } else if (m_endRenderTimeOut.HasExpired()) {
        if (IsInteractive()) {
            m_endRenderClipped = 1;
        } else {
            ShowPartOfFrame();
            ClipEndRenderIf(IsInterrupted());
        }
    }
}
