// The dynamic hierarchy: a bounding-volume tree that stays balanced while its content changes.
//
// A tree is a root TqOcDynamicGroup, further groups below it, and one level of leaves: nodes whose
// leaf flag is set, single leaves made by AddShape or any others given to AddLeaf. Every group
// below the root has 4 to 7 children, all leaves stand at one depth, and a group's children are all
// groups or all leaves. The root object stays the root: when the tree grows or shrinks by a level,
// its children change. Groups below the root belong to the tree; leaves do by the ownership rule of
// all containers (TqOcStaticTraversable.h).
//
// Insertion goes down to the group that grows least, in summed edge length, and splits full groups
// on the way back up. Removal dissolves a group that becomes too small and inserts its children
// again at their level. Changes of boxes arrive as notices; the next Update takes what moved out of
// the tree, repairs the rest and merges the moved parts back, whole where they moved together.
// TqOcSubtreeDepthMap and TqOcDynamicGroupLevelSet are the bookkeeping of an update and of a
// repair. Insertion and removal cost O(depth); an update O(moved nodes times depth).
#pragma once

#include "scenecull/TqOcTraversable.h"

#include "util/TqUInt32Vector.h"
#include "util/TqUPtrVector.h"

#include <cstdint>
#include <exception>
#include <map>
#include <vector>

class TqOcDynamicGroup;
class TqOcSubtreeDepthMap;

/// Groups that a repair of one level has still to look at.
///
/// Iterated by index, in the order of entering; a group that is deleted meanwhile leaves an empty
/// slot. Nothing depends on addresses but the look-up.
class TQOC_API TqOcDynamicGroupLevelSet
{
public:
    void Add(TqOcDynamicGroup* group);
    /// Empties the group's slot; does nothing for a group that is not in the set.
    void Remove(TqOcDynamicGroup* group);

    /// Groups in the set.
    int GetCount() const { return m_count; }

    /// Slots, used or not, and the group in slot `i`, null in an emptied one.
    int GetNumSlots() const { return static_cast<int>(m_slots.size()); }

    TqOcDynamicGroup* GetSlot(int i) const { return m_slots[static_cast<std::size_t>(i)]; }

private:
    std::vector<TqOcDynamicGroup*> m_slots;
    std::map<TqOcDynamicGroup*, int> m_indices;
    int m_count = 0;
};

/// An interior node, or the root, of a dynamic hierarchy.
///
/// The child-array operations change one group and neither rebalance nor update a box; they are for
/// trees built by hand. The tree operations are called on the root. Null nodes, nodes that are
/// neither leaves nor dynamic groups, and indices out of range are posted with severity 1 and
/// change nothing.
///
/// When memory is refused, or a shape's GetShapeBox throws: an addition leaves the tree as it was,
/// and the shape or leaf with the caller. A removal has removed; a group that it was dissolving may
/// stay behind with fewer than four children until the next update. An update goes on with
/// everything else first and then throws; what could not be measured keeps its place, moved parts
/// that could not be put back wait in the root, undrawn, and the next update tries both again.
class TQOC_API TqOcDynamicGroup : public TqOcTraversable
{
public:
    static constexpr int eMAX_CHILDREN = 7;
    static constexpr int eMIN_CHILDREN = 4; ///< Below the root.

    /// Notice of every change but that of the box.
    static constexpr unsigned int eNOT_BOX = 0xFE;

    /// A broken precondition of Merge, or a tree with an empty group below its root.
    class TQOC_API PreconditionException : public std::exception
    {
    public:
        explicit PreconditionException(char const* text) : m_text(text) {}

        ~PreconditionException() override;

        char const* what() const noexcept override { return m_text; }

    private:
        char const* m_text; ///< A literal.
    };

    /// Switches "TqOcDynamicGroup" on and off; calls are counted.
    static void Initialise();
    static void Terminate();
    static int IsInitialised();

    TqOcDynamicGroup();
    /// @param n  0 to 7 children, all leaves or all dynamic groups
    TqOcDynamicGroup(TqOcTraversable** children, int n);
    TqOcDynamicGroup(TqOcDynamicGroup const&) = delete;
    TqOcDynamicGroup& operator=(TqOcDynamicGroup const&) = delete;

    // --- Child array ----------------------------------------------------------------------------

    int GetNumChildren() const { return m_numChildren; }

    /// Child `i`, 0 <= i < GetNumChildren(), unchecked. The order of children carries no meaning.
    TqOcTraversable* GetChild(int i) { return Child(i); }

    TqOcTraversable const* GetChild(int i) const { return Child(i); }

    /// Index of the first mention of `child`, or -1.
    int FindChild(TqOcTraversable const* child) const;

    /// Replaces all children; the old ones are let go after the new ones are linked. @param n  0 to
    /// 7
    void SetChildren(TqOcTraversable** children, int n);

    /// Adds a child at the end. A full group posts severity 1 and stays as it is.
    void AddChild(TqOcTraversable* child);

    /// Takes child `index` out, fills its place with the last one, and returns it, undeleted.
    TqOcTraversable* RemoveChild(int index);
    /// The same by pointer. @return 1, or 0 when it is no child
    int RemoveChild(TqOcTraversable* child);

    /// RemoveChild, then deletes the child unless something else owns it.
    void DeleteChild(int index);

    /// Forgets all children. @param deleteChildren  0: they go on naming this group as their
    /// parent; otherwise they are let go, and deleted unless something else owns them
    void RemoveAllChildren(int deleteChildren);

    // --- Tree -----------------------------------------------------------------------------------

    /// Levels of groups down to the leaves, along first children: 1 for an empty group and for one
    /// of leaves, 0 for a node whose own leaf flag is set.
    int CalcDepth() const;

    /// Adds a node whose leaf flag is set. One that hangs in this tree already is posted.
    void AddLeaf(TqOcTraversable* leaf);

    /// Takes a leaf out of the tree; it survives. A leaf that does not hang in this tree is posted.
    void RemoveLeaf(TqOcTraversable* leaf);

    /// RemoveLeaf, then deletes the leaf unless something else owns it.
    void DeleteLeaf(TqOcTraversable* leaf);

    /// Joins another tree into this one. Afterwards `other` is either a group of this tree, or
    /// empty and still the caller's.
    /// @throws PreconditionException, before anything changes, when `other` is null, this group,
    /// not up to date, deeper than this tree or under a parent, or when this tree is not up to date
    void Merge(TqOcDynamicGroup* other);

    /// Repairs the whole tree bottom up: brings it up to date, deletes empty groups and dissolves
    /// groups of fewer than four children. Leaves at different depths, possible in trees built by
    /// hand, are posted, and nothing is repaired.
    void Rebalance();

    /// Distributes nodes over two halves so that both are compact: in turn, the two that lie
    /// farthest apart go to different halves. The left half gets n / 2 nodes, the right one the
    /// rest.
    /// @param nodes  n nodes, used as scratch
    /// @param left, right  room for n / 2 and n - n / 2
    static void Split(TqOcTraversable** nodes, int n, TqOcTraversable** left,
                      TqOcTraversable** right);

    // --- Virtual operations ---------------------------------------------------------------------

    ~TqOcDynamicGroup() override;

    /// Draws each visible child, in order, and stamps it with the frame id, and this group with the
    /// hysteresis id.
    void Render(TqOcRenderTraversal* traversal) override;

    /// Hands every child to the walk. Returns eAPPENDED.
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;

    int GetChildren(TqOcBaseTraversable* const** children) override;

    /// Wraps the shape in a single leaf and adds that. A shape that hangs in this tree already is
    /// posted.
    void AddShape(TqOcShape* shape) override;

    /// Takes a shape out of the tree; it survives. The leaf goes with its last shape. A shape that
    /// does not hang in this tree is posted.
    void RemoveShape(TqOcShape* shape) override;

    /// BeginVisit; unless that prunes, Visit on each child; EndVisit.
    void Visit(TqOcVisitor* visitor) override;

    /// BeginVisit; unless that prunes, every child that can be visited is handed to the walk; then
    /// EndVisit. Returns eAPPENDED, or eFINISHED when pruned.
    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                     TqOcTravState* state) override;

    /// Lets each child that the pick does not cull take its turn, in the order of the slots.
    /// @{
    void PickFrustum(TqOcPickFrustumTraversal* traversal) override;
    void PickSweep(TqOcPickSweepTraversal* traversal) override;
    /// @}

protected:
    friend class TqOcDynamicHierarchyBuilder;
    friend class TqOcSubtreeDepthMap;
    friend class TqOcDynamicGroupProbe; // of the tests

    /// What SplitOffMovingGroups and SplitOffMovingLeaves left of a node.
    enum SplitStatus
    {
        eSPLIT_EMPTIED = 0, ///< Everything moved away; the node is to be deleted.
        eSPLIT_KEPT = 1,    ///< It stays, with what did not move.
        eSPLIT_MOVED = 2    ///< It moved as a whole and is to be inserted again in one piece.
    };

    /// Of a root: restructures the tree where boxes changed, and brings everything up to date.
    void DoUpdate() override;

    /// Brings a subtree up to date without changing its structure.
    void UpdateKeepStructure();

    TqOcTraversable* RemoveChildImpl(int index, unsigned int mask);
    int RemoveChildImpl(TqOcTraversable* child, unsigned int mask);

    /// Extends the boxes from here to `root` by `box`, up to the first that contains it; the root's
    /// parents are told when its box changed.
    void ExtendBoxToRoot(TqOcDynamicGroup* root, TqLBox3f const& box);

    SplitStatus SplitOffMovingGroups(TqOcDynamicGroup* group, TqOcSubtreeDepthMap* map, int depth);
    static SplitStatus SplitOffMovingLeaves(TqOcTraversable* leaf, TqOcSubtreeDepthMap* map);

private:
    // Child array.
    bool InitChildren(TqOcTraversable** children, int n);
    void InitChildrenForAdd(int n);
    void InitChildrenForAdd(int n, TqOcTraversable* formerParent,
                            TqOcTraversable* otherFormerParent);
    void DeleteChildren();
    void DeletePending();
    void AddChildImpl(TqOcTraversable* child, unsigned int mask);
    void MoveChildHere(TqOcTraversable* child, TqOcTraversable* formerParent, unsigned int mask);
    bool CheckNewChildren(TqOcTraversable* const* children, int n, int numPresent) const;

    TqOcTraversable* Child(int i) const { return static_cast<TqOcTraversable*>(m_children[i]); }

    TqOcDynamicGroup* GetChildGroup(int i) const
    {
        return static_cast<TqOcDynamicGroup*>(m_children[i]);
    }

    void CopyChildren(TqOcTraversable** to) const;

    TqOcDynamicGroup* GetParentGroup() { return static_cast<TqOcDynamicGroup*>(GetSingleParent()); }

    bool HoldsLeaves() const { return m_numChildren > 0 && m_children[0]->IsLeaf(); }

    bool HoldsGroups() const { return m_numChildren > 0 && !m_children[0]->IsLeaf(); }

    // Boxes.
    TqLBox3f CalcBox() const;
    void RecalcBoxToRoot(TqOcDynamicGroup* root);

    // Insertion.
    void AddLeafNoUpdate(TqOcTraversable* leaf);
    void InsertLeaf(TqOcTraversable* leaf);
    TqOcDynamicGroup* ChooseParent(TqOcTraversable* node, int levels);
    int AddChildSplit(TqOcTraversable* child, TqOcDynamicGroup* root,
                      TqOcDynamicGroupLevelSet* levelSet);
    int MoveChildSplit(TqOcTraversable* child, TqOcTraversable* formerParent,
                       TqOcDynamicGroup* root, TqOcDynamicGroupLevelSet* levelSet);
    int CountSplits(TqOcDynamicGroup* root);
    static void SplitInto(TqOcTraversable** nodes, int n, TqOcDynamicGroup* left,
                          TqOcDynamicGroup* right, TqOcTraversable* formerParent,
                          TqOcTraversable* otherFormerParent);
    void CullEmptyChildren(TqOcDynamicGroupLevelSet* levelSet);

    // Removal and repair.
    bool IsWayUpToHere(TqOcTraversable* group) const;
    TqOcDynamicGroup* FindGroupOf(TqOcTraversable* leaf);
    TqOcTraversable* FindLeafOf(TqOcShape* shape);
    void TakeLeafOut(TqOcTraversable* leaf, bool deletes);
    void RemoveLeafNoUpdate(TqOcTraversable* leaf);
    void RemoveLeafFrom(TqOcDynamicGroup* group, TqOcTraversable* leaf);
    void RebalanceForRemove(TqOcDynamicGroup* group, bool recurse,
                            TqOcDynamicGroupLevelSet* levelSet);
    TqOcDynamicGroup* Dissolve(TqOcDynamicGroup* group, int* depth,
                               TqOcDynamicGroupLevelSet* levelSet);
    void HangBack(TqOcDynamicGroup* group, int firstLeft, int depth);
    TqOcDynamicGroup* FindRoom(int depth);
    void RebalanceRootForRemove(TqOcDynamicGroupLevelSet* levelSet);
    TqOcDynamicGroup* RecursiveCullEmptyGroup(TqOcDynamicGroup* group,
                                              TqOcDynamicGroupLevelSet* levelSet);
    void CullAllEmptyGroups(TqOcDynamicGroup* group);
    void CollectLevel(int depth, TqOcDynamicGroupLevelSet* levelSet);
    void RepairAllGroups();
    int CountStepsTo(TqOcDynamicGroup const* root) const;

    // Merging.
    void CheckMerge(TqOcDynamicGroup* other) const;
    void MergeSameDepth(TqOcDynamicGroup* other);
    void MergeLower(TqOcDynamicGroup* other, int levels);

    // Update.
    void TakeOutMoved(TqOcSubtreeDepthMap* map, SplitStatus const* statuses, int depth);
    static SplitStatus SplitOffMovingShapes(TqOcTraversable* leaf, TqOcSubtreeDepthMap* map);
    void RepairShortGroups(TqOcSubtreeDepthMap* map);
    void FindWayTo(TqOcDynamicGroup* group, signed char* way);
    void UpdateForMerge();
    static void Collect(TqOcDynamicGroup** collected, TqOcDynamicGroup* piece);
    static void CollectLeaf(TqOcSubtreeDepthMap* map, TqOcTraversable* leaf);
    void MergeMovedBack(TqOcSubtreeDepthMap* map);
    void ExchangeChildren(TqOcDynamicGroup* other);
    void MarkAllGroups();
    void FinishUpdate(bool isBack);
    void PutPendingBack();
    void UpdateBoxes();

    // Trees built by hand may hold short or empty groups anywhere; the flag tells the root.
    void MarkHandmade();
    void ClearHandmade();

    int IsHandmade() const { return HasDerivedFlag(); }

    // Data; the order is part of the binary interface.
    std::int32_t m_numChildren = 0;
    TqOcBaseTraversable*
        m_children[eMAX_CHILDREN]; ///< TqOcTraversable, typed as GetChildren hands them out.
    TqOcSubtreeDepthMap* m_pending =
        nullptr; ///< Of a root: what an update had no memory to put back.
};

/// The pieces that one update took out of a tree, sorted by height, and what else it has to
/// remember. Owns none of them.
class TQOC_API TqOcSubtreeDepthMap : public TqUAllocOperators<TqOcSubtreeDepthMap>
{
public:
    TqOcSubtreeDepthMap();
    ~TqOcSubtreeDepthMap();
    TqOcSubtreeDepthMap(TqOcSubtreeDepthMap const&) = delete;
    TqOcSubtreeDepthMap& operator=(TqOcSubtreeDepthMap const&) = delete;

    /// @param d  levels of groups in the subtree
    void AddGroup(TqOcDynamicGroup* group, int d);
    void AddLeaf(TqOcTraversable* leaf);

    TqUPtrVector<TqOcTraversable> const& GetLeaves() const;
    /// The largest height ever asked for; 0 at first.
    int GetMaxDepth() const;
    /// The groups of height `d`; asking makes the list and raises the largest height.
    TqUPtrVector<TqOcDynamicGroup> const& GetDepthVector(int d) const;

private:
    friend class TqOcDynamicGroup;
    struct Lists;

    TqUPtrVector<TqOcDynamicGroup>& DepthVector(int d) const;
    bool TryAdd(TqOcTraversable* piece, int d);
    void ReserveLeaves(int numMore);
    void AddShortGroup(TqOcDynamicGroup* group, int height);
    void KeepFailure(TqOcTraversable* leaf);

    TqUInt32Vector m_flags;
    Lists* m_lists;
};
