// The best-first walk of a frame.
//
// TqOcPrioritizedTraversal is the render traversal that the application makes and applies once a
// frame. At every level of the hierarchy the child with the smallest priority is entered first;
// a branch is put off as soon as the best of what is left in it is worse than a sibling further up.
// Occlusion queries are asked for one step ahead. The walk stops when the triangle target or the
// time budget is used up, where the policy allows that. What is drawn is drawn by the nodes.
//
// TqOcTravState is the record of one node in one frame's walk. Records and cull objects come from
// pools that are emptied at once at the end of the frame; after the first frame nothing is taken
// from the heap. Cost per considered child: one CalcPriority and one record of 96 bytes.
#pragma once

#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcRenderTraversal.h"
#include "scenecull/TqOcTravPools.h"

#include "util/TqUPage.h"
#include "util/TqUTime.h"

#include <exception>

class TqOcOcclusionQuery;
class TqOcPrioritizedTraversal;
class TqOcPrioritizedVisitor;

/// One node of one frame's walk; made by the walk, valid until the end of the frame.
class TQOC_API TqOcTravState
{
public:
    /// Belongs to one place of one walk.
    /// @{
    TqOcTravState(TqOcTravState const&) = delete;
    TqOcTravState& operator=(TqOcTravState const&) = delete;

    /// @}

    /// Cull object under which the node is tested, and the states behind it.
    /// @{
    TqOcRenderTravCull* GetTravCull() { return m_cull; }

    TqOcRenderTravCull const* GetTravCull() const { return m_cull; }

    TqOcTravFrustum* GetTravFrustum() { return m_cull->GetTravFrustum(); }

    TqOcTravTransform* GetTravTransform() { return m_cull->GetTravTransform(); }

    /// @}

    /// What the walk found out about the node. A node that took the place of its only parent has
    /// that one's data.
    TqOcRenderTravCullData const& GetCullData() const { return m_cullData; }

    /// Offers a child to the walk; for use in a node's Prioritized. A child that this frame has
    /// dealt with, or that lies on the walk's path, is counted as traversed-culled; a hidden one,
    /// or one whose primitives are not drawn, as visibility-culled; any other is queued. A child
    /// offered by two parents before its turn is drawn twice. Null: posted with severity 1. Without
    /// memory for a record the frame is clipped.
    void Append(TqOcPrioritizedTraversal* traversal, TqOcTraversable* child);

    /// The same under another cull object, from TransformedCull or NarrowedCull; null clips the
    /// frame.
    void Append(TqOcPrioritizedTraversal* traversal, TqOcTraversable* child,
                TqOcRenderTravCull* cull);

    /// Offers a child to a visit; for use in a node's PrioritizedVisit. A child that lies on the
    /// walk's path, is hidden, or holds no primitives that the visitor's traversal draws is left
    /// out; nothing is counted. Null: posted with severity 1. Without memory for a record, or with
    /// a null cull object, the visit ends.
    /// @{
    void Append(TqOcPrioritizedVisitor* visitor, TqOcTraversable* child);
    void Append(TqOcPrioritizedVisitor* visitor, TqOcTraversable* child, TqOcRenderTravCull* cull);

    /// @}

    /// A cull object for children that live under `affine` (local to this node's coordinates).
    /// Valid until the end of the frame or visit; null when there is no memory.
    /// @{
    TqOcRenderTravCull* TransformedCull(TqOcPrioritizedTraversal* traversal,
                                        TqLAffine3f const& affine);
    TqOcRenderTravCull* TransformedCull(TqOcPrioritizedVisitor* visitor, TqLAffine3f const& affine);

    /// @}

    /// A cull object for children seen through a part of the view, in shares of it: lower and upper
    /// x, lower and upper y, 0 to 1. Keeps the near-cull distance. Valid until the end of the
    /// frame or visit; null when there is no memory.
    /// @{
    TqOcRenderTravCull* NarrowedCull(TqOcPrioritizedTraversal* traversal, double x0, double x1,
                                     double y0, double y1);
    TqOcRenderTravCull* NarrowedCull(TqOcPrioritizedVisitor* visitor, double x0, double x1,
                                     double y0, double y1);
    /// @}

private:
    friend class TqOcPrioritizedTraversal;
    friend class TqOcPrioritizedVisitor;
    friend class TqOcTravPools;
    template <class Walker>
    friend class TqOcBestFirstWalk;
    template <class Walker>
    friend class TqOcRecordExpansion;

    TqOcTravState(TqOcTraversable* node, TqOcRenderTravCull* cull) : m_node(node), m_cull(cull) {}

    // Data; the order is part of the binary interface.
    TqOcTravState* m_next = nullptr; ///< Next sibling.
    TqOcTraversable* m_node;
    TqOcTravState* m_children =
        nullptr; ///< Null for a node that is not expanded, or has nothing left.
    TqOcRenderTravCull* m_cull;
    TqOcRenderTravCullData m_cullData = {};
    TqOcOcclusionQuery* m_query = nullptr;
};

inline TqOcTravState* TqOcTravPools::NewState(TqOcTraversable* node, TqOcRenderTravCull* cull)
{
    void* const block = m_states.Alloc();
    return block != nullptr ? ::new (block) TqOcTravState(node, cull) : nullptr;
}

inline void TqOcTravPools::FreeState(TqOcTravState* state)
{
    m_states.Dealloc(state);
}

/// The render traversal of an application.
///
/// Per frame: SetFrameId (a new number), SetViewFrustum, Apply(root). An exception from a callback
/// leaves the walk in order (no marks, no open queries) and goes on to the caller; the next frame
/// is right. Running out of memory clips the frame.
class TQOC_API TqOcPrioritizedTraversal : public TqOcRenderTraversal
{
public:
    /// Switches "TqOcPrioritizedTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned
    explicit TqOcPrioritizedTraversal(TqOcContext* context);

    /// Cheap test for shapes to call while they draw: looks into the frame's triangles and time
    /// and, when either is used up, decides by policy whether the frame is clipped.
    void CheckFrameExpired()
    {
        if (!m_frameClipped && (GetTrisRendered() > GetTriangleTarget() || IsTimeUsedUp())) {
            RealCheckFrameExpired();
        }
    }

    /// The same decision for the host's work after the walk.
    void CheckEndRenderExpired();

    /// Ends the walk after the node whose turn it is.
    void ForceFrameClipped() { m_frameClipped = 1; }

    /// Tells the host's work after the walk to stop: IsEndRenderClipped answers 1 from now on,
    /// until the next frame starts.
    void ForceEndRenderClipped() { m_endRenderClipped = 1; }

    /// Whether the walk was cut short, and whether the host's end-of-frame work should be.
    /// @{
    int IsFrameClipped() const { return m_frameClipped; }

    int IsEndRenderClipped() const { return m_endRenderClipped; }

    /// @}

    /// Whether the context was asked to show the frame before it was complete.
    int IsFrameShown() const { return m_frameShown; }

    /// Record of the node whose Prioritized is running; null at any other time.
    TqOcTravState* GetCurrTravState() { return m_currState; }

    // --- Virtual operations ---------------------------------------------------------------------

    /// Returns the pools; no frame may be running.
    ~TqOcPrioritizedTraversal() override;

protected:
    /// The walk, from `root` down. A root with an empty box is not walked; whether it is hidden is
    /// not asked. An exception leaves no marks and no open queries behind.
    void StartRender(TqOcTraversable* root) override;
    /// Empties the pools and arms the time left for the host's work after the walk.
    /// @return 0 when the frame was clipped
    int EndRender() override;

private:
    friend class TqOcTravState;
    template <class Walker>
    friend class TqOcBestFirstWalk;
    template <class Walker>
    friend class TqOcRecordExpansion;

    void Walk(TqOcTravState* rootState);
    static void PostNullChild();

    // Hooks of the walk and of the expansion of its records.
    bool IsStopped() const { return m_frameClipped != 0; }

    void Stop() { m_frameClipped = 1; }

    bool Expand(TqOcTravState* state);
    void LookAhead(TqOcTravState* second);
    void Finish(TqOcTravState* state);
    void EndLeaf(TqOcTravState const* state);

    void FreeState(TqOcTravState* state) { m_pools.FreeState(state); }

    int GetFirstCullBits() const { return TqOcTravCull::eCULL_ALL; }

    TqOcBaseTraversable::TraversalStatus TakeTurn(TqOcTravState* state);
    int Score(TqOcTravState* state, int cullBits);

    // Occlusion queries.
    bool IsOccluded(TqOcTravState* state);
    std::exception_ptr AbortQueries(TqOcTravState* rootState);

    // Frame time.
    bool IsTimeUsedUp() const
    {
        // A frame that is never interactive ends early only for want of memory: no need for the
        // clock, which costs more than the rest of a small leaf's turn.
        return (GetPolicy() != eNEVER_INTERACTIVE || TqUPage::IsOutOfMemory()) &&
               m_frameTimeOut.HasExpired();
    }

    // A host's callback may have forced the clip meanwhile: these set it and never clear it.
    void ClipFrameIf(bool isClipped) { m_frameClipped = isClipped ? 1 : m_frameClipped; }

    void ClipEndRenderIf(bool isClipped)
    {
        m_endRenderClipped = isClipped ? 1 : m_endRenderClipped;
    }

    void RealCheckFrameExpired();
    void CheckTimeBudget();
    void ShowPartOfFrame();
    bool IsInterrupted();

    // Data; the order is part of the binary interface.
    int m_frameShown = 0;
    TqOcTravPools m_pools;
    int m_frameClipped = 0;
    int m_endRenderClipped = 0;
    TqUTimeOut m_frameTimeOut;
    TqUTimeOut m_endRenderTimeOut;
    TqOcTravState* m_currState = nullptr;
    int m_openQueries = 0;
};

inline void TqOcTravState::Append(TqOcPrioritizedTraversal* traversal, TqOcTraversable* child,
                                  TqOcRenderTravCull* cull)
{
    if (child == nullptr) {
        TqOcPrioritizedTraversal::PostNullChild();
    } else if (child->IsCulled(traversal->GetFrameId())) {
        traversal->IncTrisTraversedCulled(child->GetTris());
    } else if (!traversal->IsVisible(child)) {
        traversal->IncTrisVisibilityCulled(child->GetTris());
    } else if (TqOcTravState* const state =
                   cull != nullptr ? traversal->m_pools.NewState(child, cull) : nullptr) {
        state->m_next = m_children;
        m_children = state;
    } else {
        traversal->ForceFrameClipped();
    }
}

inline void TqOcTravState::Append(TqOcPrioritizedTraversal* traversal, TqOcTraversable* child)
{
    Append(traversal, child, m_cull);
}
