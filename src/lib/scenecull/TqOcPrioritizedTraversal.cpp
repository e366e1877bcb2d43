#include "scenecull/TqOcPrioritizedTraversal.h"

#include "scenecull/internal/TqOcBestFirstWalk.h"
#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcSaturate.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcTraversable.h"

#include "util/TqUError.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcPrioritizedTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcRenderTraversal>(),
                                             DependsOn<TqOcRenderTravCull>()};

static_assert(std::is_trivially_destructible<TqOcTravState>::value, "pools drop it wholesale");
static_assert(sizeof(void*) != 8 || sizeof(TqOcTravState) == 96, "a record is a line and a half");

constexpr std::size_t s_reservedLevels = 50;

constexpr double s_microseconds = 1e6; // per second
constexpr double s_staleShare = 0.01;  // of a time-out: how old a clock reading may be

void Arm(TqUTimeOut& timeOut, double seconds)
{
    timeOut.SetTimeOut(SaturatedUnsigned(seconds * s_microseconds),
                       SaturatedUnsigned(seconds * s_staleShare * s_microseconds));
}

/// A T from a pool, or null.
template <class T, class... Arguments>
T* NewIn(TqUFastArena& pool, Arguments&&... arguments)
{
    void* const block = pool.Alloc();
    return block != nullptr ? ::new (block) T(arguments...) : nullptr;
}

} // namespace

// --- TqOcTravState
// ---------------------------------------------------------------------------------

TqOcRenderTravCull* TqOcTravState::TransformedCull(TqOcPrioritizedTraversal* traversal,
                                                   TqLAffine3f const& affine)
{
    auto* const transform = NewIn<TqOcTravTransform>(traversal->m_transforms);
    if (transform == nullptr) {
        return nullptr;
    }
    transform->Transform(*GetTravTransform(), affine);
    auto* const cull = NewIn<TqOcRenderTravCull>(traversal->m_culls, *m_cull);
    if (cull != nullptr) {
        cull->Transform(*m_cull, transform);
    }
    return cull;
}

TqOcRenderTravCull* TqOcTravState::NarrowedCull(TqOcPrioritizedTraversal* traversal, double x0,
                                                double x1, double y0, double y1)
{
    auto* const frustum = NewIn<TqOcTravFrustum>(traversal->m_frustums);
    if (frustum == nullptr) {
        return nullptr;
    }
    frustum->Narrow(*GetTravFrustum(), x0, x1, y0, y1);
    auto* const cull = NewIn<TqOcRenderTravCull>(traversal->m_culls, *m_cull);
    if (cull != nullptr) {
        cull->Narrow(*m_cull, frustum, m_cull->GetNearCullDistance());
    }
    return cull;
}

// --- Life and records
// ------------------------------------------------------------------------------

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
    , m_transforms(sizeof(TqOcTravTransform))
    , m_frustums(sizeof(TqOcTravFrustum))
    , m_culls(sizeof(TqOcRenderTravCull))
    , m_states(sizeof(TqOcTravState))
{
    m_levels.reserve(s_reservedLevels);
}

TqOcPrioritizedTraversal::~TqOcPrioritizedTraversal() = default;

void TqOcPrioritizedTraversal::ReleasePools()
{
    m_states.DeallocAll();
    m_culls.DeallocAll();
    m_frustums.DeallocAll();
    m_transforms.DeallocAll();
}

/// The root's record with its cull objects; null when there is no memory.
TqOcTravState* TqOcPrioritizedTraversal::NewRootState(TqOcTraversable* root)
{
    auto* const frustum =
        NewIn<TqOcTravFrustum>(m_frustums, GetViewFrustum(), GetContext(), GetStress());
    auto* const transform =
        NewIn<TqOcTravTransform>(m_transforms, TqLAffine3f(), GetClipPlanes(), GetNumClipPlanes());
    if (frustum == nullptr || transform == nullptr) {
        return nullptr;
    }
    auto* const cull = NewIn<TqOcRenderTravCull>(m_culls, frustum, transform);
    return cull != nullptr ? NewState(root, cull) : nullptr;
}

void TqOcPrioritizedTraversal::PostNullChild()
{
    TqUError::Post(TqUSysError::eERROR, &s_component, "A null child was offered to a walk");
}

// --- Frame
// -----------------------------------------------------------------------------------------

void TqOcPrioritizedTraversal::StartRender(TqOcTraversable* root)
{
    ReleasePools(); // an exception may have kept the last frame from its end
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

    TqOcTravState* const rootState = NewRootState(root);
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
    ReleasePools();
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
    TqOcTraversable* const root = rootState->m_node;
    if (!rootState->m_cull->CalcPriority(this, 1, root, TqOcTravCull::eCULL_ALL,
                                         &rootState->m_cullData) ||
        FirstTraverse(rootState)) {
        return;
    }
    TqOcBestFirstWalk<TqOcPrioritizedTraversal>(*this, m_levels).Run(rootState);
}

/// Turn of a record that the walk enters for the first time; returns whether it is finished.
bool TqOcPrioritizedTraversal::Expand(TqOcTravState* state)
{
    return (state->m_query != nullptr && IsOccluded(state)) || FirstTraverse(state);
}

/// Lets the node take its turn and scores the children that it appended. Chains of only children
/// are collapsed: the record goes down with them, keeping the cull data of the topmost.
bool TqOcPrioritizedTraversal::FirstTraverse(TqOcTravState* state)
{
    TqOcBaseTraversable::TraversalStatus status = TakeTurn(state);
    while (status == TqOcBaseTraversable::eAPPENDED && state->m_children != nullptr &&
           state->m_children->m_next == nullptr && state->m_children->m_cull == state->m_cull) {
        TqOcTravState* const only = state->m_children;
        Finish(state);
        state->m_node = only->m_node;
        state->m_children = nullptr;
        FreeState(only);
        status = TakeTurn(state);
    }
    if (status != TqOcBaseTraversable::eAPPENDED) {
        DropChildren(state);
    }
    if (state->m_children == nullptr) {
        if (state->m_cullData.priority > TqOcRenderTravCull::s_forcePriority) {
            CheckFrameExpired();
        }
        Finish(state);
        return true;
    }
    ScoreChildren(state);
    if (state->m_children == nullptr) {
        Finish(state);
        return true;
    }
    return false;
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

void TqOcPrioritizedTraversal::DropChildren(TqOcTravState* state)
{
    while (TqOcTravState* const child = state->m_children) {
        state->m_children = child->m_next;
        FreeState(child);
    }
}

/// Drops the culled children and brings the best one to the head.
///
/// The list starts with the child appended last, so on equal priorities the one scored later was
/// appended earlier, and has to come first: hence "not greater".
void TqOcPrioritizedTraversal::ScoreChildren(TqOcTravState* state)
{
    TqOcTravState* unscored = state->m_children;
    state->m_children = nullptr; // in order should a callback throw
    TqOcTravState* kept = nullptr;
    TqOcTravState* best = nullptr;
    while (unscored != nullptr) {
        TqOcTravState* child = unscored;
        unscored = child->m_next;
        if (!ScoreChild(*state, child)) {
            FreeState(child);
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

/// Scores one child; returns whether it is kept. A priority that is no number counts as the last.
bool TqOcPrioritizedTraversal::ScoreChild(TqOcTravState const& parent, TqOcTravState* child)
{
    TqOcRenderTravCullData& data = child->m_cullData;
    bool const isSameView = child->m_cull->GetTravFrustum() == parent.m_cull->GetTravFrustum();
    int const bits = isSameView ? parent.m_cullData.cullBits : TqOcTravCull::eCULL_ALL;
    if (!child->m_cull->CalcPriority(this, 1, child->m_node, bits, &data)) {
        return false;
    }
    if (std::isnan(data.priority)) {
        data.priority = std::numeric_limits<double>::infinity();
    }
    return true;
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
