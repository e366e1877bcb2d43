// Containers for hierarchies that are built once and changed rarely.
//
// TqOcStaticBase keeps an exact-size array of child pointers and derives its box and attributes
// from them in DoUpdate. TqOcStaticGroup holds containers, TqOcStaticLeaf holds shapes,
// TqOcSingleLeaf one shape without an array. A container is a parent of each child; letting a child
// go, it deletes it unless something else owns it (TqOcBaseTraversable::IsOwned), so a shared child
// goes with whoever lets it go last. Adding or removing one child copies the array: O(children).
#pragma once

#include "scenecull/TqOcShape.h"

/// A container with a plain array of children.
///
/// Null children and negative counts are posted with severity 1 and left out. When memory is
/// refused an operation throws std::bad_alloc and leaves the container as it was.
class TQOC_API TqOcStaticBase : public TqOcTraversable
{
public:
    /// No children, and nothing modified.
    TqOcStaticBase();
    /// Takes `count` children, copied from the array, and becomes a parent of each, in array order.
    TqOcStaticBase(TqOcBaseTraversable** children, int count);
    TqOcStaticBase(TqOcStaticBase const&) = delete;
    TqOcStaticBase& operator=(TqOcStaticBase const&) = delete;

    /// Number of children; between BeginSet and EndSet the number of places.
    int GetNumChildren() const { return m_numChildren; }

    /// Child `i`, 0 <= i < GetNumChildren(), unchecked.
    /// @{
    TqOcBaseTraversable* GetChild(int i) { return m_children[i]; }

    TqOcBaseTraversable const* GetChild(int i) const { return m_children[i]; }

    /// @}

    /// Replaces all children. The new ones are linked before the old ones are let go, so a child,
    /// or a child's child, may be among them.
    void SetChildren(TqOcBaseTraversable** children, int count);

    /// SetChildren in two phases, for a caller that makes the children one by one: BeginSet lets
    /// the present ones go and makes room for `count`, PartSet puts one in place (each place once,
    /// none left out), EndSet links them and notifies. Neither update nor traverse the container in
    /// between. Places left out are posted and closed up. When memory is refused EndSet leaves the
    /// container empty and the children untouched.
    /// @{
    void BeginSet(int count);
    void PartSet(int i, TqOcBaseTraversable* child);
    void EndSet();
    /// @}

    /// Adds a child behind the others. O(children).
    void AddChild(TqOcBaseTraversable* child);

    /// Index of the first mention of `child`, or -1. O(children).
    int FindChild(TqOcBaseTraversable const* child) const;

    /// Takes child `i` out and returns it, undeleted. An index out of range is posted with severity
    /// 1 and answered with null. O(children).
    TqOcBaseTraversable* RemoveChild(int i);

    /// RemoveChild, then deletes the child unless something else owns it.
    void DeleteChild(int i);

    /// Forgets the children without touching them: they go on naming this container as their
    /// parent, and the caller takes them over.
    void ResetToEmptyCallerHandlesChildren();

    // --- Virtual operations ---------------------------------------------------------------------

    /// Lets every child go, in array order.
    ~TqOcStaticBase() override;

    /// Draws each visible child, in order, and stamps it with the traversal's frame id (the
    /// hysteresis id too, unless it is a shape).
    void Render(TqOcRenderTraversal* traversal) override;

    /// Points *children at the child array (null when there are none) and returns its length.
    int GetChildren(TqOcBaseTraversable* const** children) override;

protected:
    /// Updates modified children, then derives from all of them: the box (only when it was marked
    /// modified), the sum of triangles modulo 2^32, the union of primitives, the smallest scale
    /// (DBL_MAX without children), and the switches: hidden and pick-ignored only when every child
    /// is, forced and unclipped as soon as one is.
    void DoUpdate() override;

private:
    friend class TqOcStaticGroup;
    friend class TqOcStaticLeaf;

    template <class Node>
    void ReplaceChildren(Node* const* children, int count);
    template <class Node>
    void InitChildren(Node* const* children, int count);

    int IsUnlinked() const { return HasDerivedFlag(); } ///< Between BeginSet and EndSet.

    void DeleteChildren();
    void ResetWithoutChildren();

    // Data; the order is part of the binary interface.
    TqOcBaseTraversable** m_children = nullptr;
    std::int32_t m_numChildren = 0;
};

/// A container of containers.
class TQOC_API TqOcStaticGroup : public TqOcStaticBase
{
public:
    /// Switches "TqOcStaticBase", the component of all static containers, on and off; calls are
    /// counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// No children.
    TqOcStaticGroup();
    /// Takes `count` containers, copied from the array, and becomes a parent of each.
    TqOcStaticGroup(TqOcTraversable** children, int count);

    /// TqOcStaticBase's operations of the same names, typed. GetChild and RemoveChild are not for a
    /// group that holds shapes: use the base's there.
    /// @{
    TqOcTraversable* GetChild(int i);
    TqOcTraversable const* GetChild(int i) const;
    void AddChild(TqOcTraversable* child);
    TqOcTraversable* RemoveChild(int i);
    void SetChildren(TqOcTraversable** children, int count);
    void PartSet(int i, TqOcTraversable* child);
    /// @}

    // --- Virtual operations ---------------------------------------------------------------------

    /// Lets every child go, as the base does.
    ~TqOcStaticGroup() override;

    /// Hands every container among its children to the walk and draws every shape, in child order.
    /// Returns eAPPENDED, also without children. A group whose leaf flag was set by hand counts as
    /// a leaf drawn.
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;

    /// Adds a shape to the hierarchy below: goes down into the first child, in array order, whose
    /// box contains the shape's, adds it to a static leaf met on the way, hands it to a dynamic
    /// tree, and otherwise makes a new leaf for it in the group where the way ends. The boxes are
    /// those of the last update. Null: posted with severity 1.
    void AddShape(TqOcShape* shape) override;

    /// Takes a shape out of the static container that is its only parent, wherever that lies; the
    /// shape is not deleted, and an emptied leaf stays. A shape with no parent, several, or one
    /// that does not list it is posted with severity 1.
    void RemoveShape(TqOcShape* shape) override;

    /// BeginVisit; unless that prunes, Visit on each child in order; EndVisit.
    void Visit(TqOcVisitor* visitor) override;

    /// BeginVisit; unless that prunes, every child that can be visited is handed to the walk; then
    /// EndVisit. Returns eAPPENDED, or eFINISHED when pruned.
    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                     TqOcTravState* state) override;

    /// Lets each child that the pick does not cull take its turn, in order.
    /// @{
    void PickFrustum(TqOcPickFrustumTraversal* traversal) override;
    void PickSweep(TqOcPickSweepTraversal* traversal) override;
    /// @}
};

/// A container of shapes, which a prioritized walk draws together: the unit of prioritization.
class TQOC_API TqOcStaticLeaf : public TqOcStaticBase
{
public:
    /// No shapes; the leaf flag is set.
    TqOcStaticLeaf();
    /// Takes `count` shapes, copied from the array, and becomes a parent of each.
    TqOcStaticLeaf(TqOcShape** shapes, int count);

    /// TqOcStaticBase's operations of the same names, typed.
    /// @{
    TqOcShape* GetChild(int i);
    TqOcShape const* GetChild(int i) const;
    void AddChild(TqOcShape* shape);
    TqOcShape* RemoveChild(int i);
    void SetChildren(TqOcShape** shapes, int count);
    void PartSet(int i, TqOcShape* shape);
    /// @}

    // --- Virtual operations ---------------------------------------------------------------------

    /// Lets every shape go, as the base does.
    ~TqOcStaticLeaf() override;

    /// Counts one leaf, then draws its visible shapes in order, each stamped with the frame id
    /// afterwards. Returns eFINISHED.
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;

    /// BeginVisit; unless that prunes, VisitShape for each shape in order; EndVisit.
    void Visit(TqOcVisitor* visitor) override;

    /// BeginVisit; unless that prunes, Visit on each shape that is drawn, in order; then EndVisit.
    /// Returns eFINISHED.
    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                     TqOcTravState* state) override;

    /// Lets each shape that the pick does not cull take its turn, in order.
    /// @{
    void PickFrustum(TqOcPickFrustumTraversal* traversal) override;
    void PickSweep(TqOcPickSweepTraversal* traversal) override;
    /// @}
};

/// A leaf of exactly one shape. It takes part in prioritized walks only: Render draws nothing.
class TQOC_API TqOcSingleLeaf : public TqOcTraversable
{
public:
    /// Holds `shape` and becomes a parent of it. Null: posted with severity 1; the leaf is empty.
    explicit TqOcSingleLeaf(TqOcShape* shape);

    /// Member-wise, without touching the shape's parent links: whoever copies a leaf maintains
    /// them.
    /// @{
    TqOcSingleLeaf(TqOcSingleLeaf const& other) = default;
    TqOcSingleLeaf& operator=(TqOcSingleLeaf const& other) = default;

    /// @}

    /// The shape, or null for an empty leaf.
    /// @{
    TqOcShape* GetShape() { return static_cast<TqOcShape*>(m_shape); }

    TqOcShape const* GetShape() const { return static_cast<TqOcShape const*>(m_shape); }

    /// @}

    /// Stores another shape (may be null) and notifies. The parent links are the caller's: the old
    /// shape keeps this leaf as a parent, the new one does not get it.
    void SetShape(TqOcShape* shape);

    // --- Virtual operations ---------------------------------------------------------------------

    /// Unlinks the shape and deletes it unless something else owns it.
    ~TqOcSingleLeaf() override;

    /// Counts one leaf and draws the shape if it is visible. Returns eFINISHED.
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override;

    /// Points *children at the one shape and returns 1; 0 for an empty leaf.
    int GetChildren(TqOcBaseTraversable* const** children) override;

    /// BeginVisit; unless that prunes, VisitShape for the shape; EndVisit.
    void Visit(TqOcVisitor* visitor) override;

    /// BeginVisit; unless that prunes, Visit on the shape if it is drawn; then EndVisit. Returns
    /// eFINISHED.
    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                     TqOcTravState* state) override;

    /// Lets the shape take its turn unless the pick culls it.
    /// @{
    void PickFrustum(TqOcPickFrustumTraversal* traversal) override;
    void PickSweep(TqOcPickSweepTraversal* traversal) override;
    /// @}

protected:
    /// Takes the shape's attributes over, and its box when the box was marked modified.
    void DoUpdate() override;

private:
    int GetNumShapes() const { return m_shape != nullptr ? 1 : 0; }

    // Data.
    TqOcBaseTraversable* m_shape; ///< A TqOcShape, typed as GetChildren hands it out.
};
