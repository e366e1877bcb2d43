// Walks with callbacks of the application's own. Derive from a visitor and apply it to a root.
//
// TqOcVisitor is the plain walk: depth first, every node, no culling, no time limit. Each node
// class's Visit decides how its children are entered. Nothing is skipped for being hidden, culled
// or ignored by picking, and a node under two parents is visited once per way to it. The recursion
// runs on the call stack.
//
// TqOcPrioritizedVisitor is the walk of a frame without the frame: best first, with the same
// culling and the same order as TqOcPrioritizedTraversal, but without drawing, occlusion queries or
// a budget. Cost per considered child: one CalcPriority and one record from a pool.
//
// The hierarchy must not change during either walk, and no other thread may walk or update it. A
// prioritized visit must not be started from a callback of a frame, a prioritized visit or a
// nearest-first sweep of the same hierarchy, either: all of them mark the nodes on their path, and
// the inner one would pass over them. Plain visits and depth-first picks mark nothing.
#pragma once

#include "scenecull/TqOcApi.h"
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcTravPools.h"
#include "scenecull/TqOcTraversable.h"

#include <memory>

class TqOcPrioritizedTraversal;
class TqOcRenderTravCull;
class TqOcShape;
struct TqOcRenderTravCullData;

/// Callbacks of a walk.
class TQOC_API TqOcVisitor
{
public:
    /// Answer of the container callbacks.
    enum Action
    {
        eCONTINUE = 0, ///< Go on into the children.
        ePRUNE = 1     ///< Skip the children; in a plain visit any answer but eCONTINUE does.
    };

    /// Switches "TqOcVisitor" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// A visitor holds nothing of its own, so a copy is as good as a new one.
    /// @{
    TqOcVisitor() = default;
    TqOcVisitor(TqOcVisitor const&) = default;
    TqOcVisitor& operator=(TqOcVisitor const&) = default;
    /// @}

    /// Updates the root if it was modified, then visits it. Null: posted with severity 1; nothing
    /// is visited. Not virtual: called through this class it makes the plain walk, also on a
    /// prioritized visitor, which then sees all nodes, culled or not, and has no GetCurrTravState.
    void Apply(TqOcTraversable* root);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No visit may be running.
    virtual ~TqOcVisitor();

    /// Before a container's children. Default: eCONTINUE.
    virtual Action BeginVisit(TqOcTraversable* node);

    /// After a container's children, or in their place when they were skipped. The answer is
    /// ignored. Default: eCONTINUE. In a prioritized visit it comes right after the children were
    /// queued, before any of them is entered; it does not come for a container whose BeginVisit
    /// pruned, and ePRUNE is posted with severity 1. A node class without a PrioritizedVisit of its
    /// own is the exception: it gets both calls whatever either answers, and nothing is posted.
    virtual Action EndVisit(TqOcTraversable* node);

    /// Once for each shape reached. Default: nothing.
    virtual void VisitShape(TqOcShape* shape);
};

/// Callbacks of a best-first walk over what is visible.
///
/// Per visit: set up ConfigureTraversal() (view frustum, clip planes, thresholds, scales, primitive
/// bits), then Apply(root). A visitor is its own host context: override GetWindowSize for areas in
/// pixels of a window other than 1000 x 1000.
///
/// A group that lies on the walk's path, is hidden, or holds no primitives that are drawn is not
/// entered. Leaves call VisitShape for their shapes in order, except for those that are hidden, of
/// a kind that is not drawn, or rejected by the traversal's dynamic shape cull callback. A group
/// with a single child under the same cull object is followed by that child at once, unscored. Of
/// equal priorities the one appended first comes first.
///
/// An exception from a callback leaves the walk in order and goes on to the caller. When memory is
/// refused the walk ends early.
class TQOC_API TqOcPrioritizedVisitor : public TqOcVisitor, protected TqOcContext
{
public:
    /// Makes the traversal, with a render traversal's defaults and the policy eINTERRUPTIBLE.
    TqOcPrioritizedVisitor();
    TqOcPrioritizedVisitor(TqOcPrioritizedVisitor const&) = delete;
    TqOcPrioritizedVisitor& operator=(TqOcPrioritizedVisitor const&) = delete;

    /// The traversal that holds the settings and counters of the visit; owned. It is never applied.
    TqOcPrioritizedTraversal* ConfigureTraversal() { return m_traversal.get(); }

    /// Cull bits (see TqOcTravCull.h) with which the root, and children seen in another view than
    /// their parent, are scored; 7 by default. Others than 7 are for a CalcCullPriority that tests
    /// boxes in its own way.
    /// @{
    int GetInitialCullBits() const { return m_initialCullBits; }

    void SetInitialCullBits(int cullBits) { m_initialCullBits = cullBits; }

    /// @}

    /// Ends the walk after the node whose turn it is: no further node is scored or entered. A leaf
    /// still offers the rest of its shapes. Apply forgets it.
    void SetPruned() { m_pruned = 1; }

    /// Record of the node whose turn it is, or null.
    TqOcTravState* GetCurrTravState() { return m_currState; }

    /// Updates the root if it was modified, then walks. A root with an empty box is not entered;
    /// whether it is hidden is not asked. Not to be called from the visitor's own callbacks. Null:
    /// posted with severity 1; nothing is visited. It hides the base's Apply, which makes
    /// the plain walk when called through a TqOcVisitor&.
    void Apply(TqOcTraversable* root);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No visit may be running.
    ~TqOcPrioritizedVisitor() override;

    /// Culls or scores one node. Default: CalcPriority of `cull`, without marking culled nodes;
    /// their triangles are counted all the same.
    /// @param cullBits  still to be tested
    /// @param data  receives the bits for the node's children and the priority, smaller first
    /// @return 0 when the node is culled
    virtual int CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                                 TqOcRenderTravCullData* data);

private:
    friend class TqOcTravState;
    template <class Walker>
    friend class TqOcBestFirstWalk;
    template <class Walker>
    friend class TqOcRecordExpansion;

    void StartTraverse(TqOcTraversable* root);
    void EndTraverse();

    // Hooks of the walk and of the expansion of its records.
    bool IsStopped() const { return m_pruned != 0; }

    void Stop() { m_pruned = 1; }

    bool Expand(TqOcTravState* state);

    void LookAhead(TqOcTravState*) {}

    void Finish(TqOcTravState*) {}

    void EndLeaf(TqOcTravState const*) {}

    void FreeState(TqOcTravState* state) { m_pools.FreeState(state); }

    double GetSlackStart() const;
    double GetSortSlack() const;

    int GetFirstCullBits() const { return m_initialCullBits; }

    TqOcBaseTraversable::TraversalStatus TakeTurn(TqOcTravState* state);
    int Score(TqOcTravState* state, int cullBits);

    // Data; the order is part of the binary interface.
    int m_initialCullBits;
    TqOcTravPools m_pools;
    std::unique_ptr<TqOcPrioritizedTraversal> m_traversal;
    int m_pruned = 0;
    TqOcTravState* m_currState = nullptr;
};
