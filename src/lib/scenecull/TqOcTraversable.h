// The roots of the node classes.
//
// TqOcBaseTraversable is the base of every node of a hierarchy: the attributes that each traversal
// reads without knowing the node's kind, the link to the parent or parents, and the protocol by
// which a change travels up. TqOcTraversable adds a bounding box and children; containers derive
// from it. Nodes never own their parents; containers own their children as TqOcStaticTraversable.h
// says. Nothing here is thread-safe: change and update a hierarchy only while no one traverses it.
// A base record is 40 bytes, a bounded one 96 on a 64-bit machine.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"

#include "util/TqUAllocOperators.h"
#include "util/TqUPtrVector.h"

#include <cstdint>

class TqOcPickFrustumTraversal;
class TqOcPickSweepTraversal;
class TqOcPrioritizedTraversal;
class TqOcPrioritizedVisitor;
class TqOcRenderTraversal;
class TqOcShape;
class TqOcTraversable;
class TqOcTravState;
class TqOcVisitor;

/// A node of a scene hierarchy.
///
/// All switches, the primitive set and the modified mask share one 32-bit flag word:
///
/// | bits  | what                                                                        |
/// |-------|-----------------------------------------------------------------------------|
/// | 0-15  | modified mask: what changed since the last update (ModifiedBits)            |
/// | 16-20 | primitive set, TqLPrimitiveTypes::Enum                                      |
/// | 21    | traversed: set while the node lies on the path of a running walk            |
/// | 22    | leaf: holds shapes, or is one                                               |
/// | 23    | shape                                                                       |
/// | 24    | hide render: not drawn                                                      |
/// | 25    | force render: drawn before everything else                                  |
/// | 26    | multiple parents: the parent field points to a vector                       |
/// | 27    | user owned: containers never delete the node                                |
/// | 28    | ignore clip: clip planes do not cull the node                               |
/// | 29    | ignore pick: picks skip the node                                            |
/// | 30    | free for a derived class                                                    |
/// | 31    | not used                                                                    |
///
/// Attributes come with two setters. `Set...` stores and notifies the ancestors (even when the
/// value is the old one; a pending bit stops the notice in Notify, which is called virtually,
/// because a class may override it); `Update...` only stores, for use inside DoUpdate.
///
/// Allocated with plain `new`, from one of the three arenas (`new (&arena) Node`; null when the
/// arena has no memory) or in place. A container deletes with plain `delete`, so mark nodes of an
/// arena, or in place, as user owned.
class TQOC_API TqOcBaseTraversable : public TqUAllocOperators<TqOcBaseTraversable>
{
public:
    /// What a node did in its turn of a prioritized walk.
    enum TraversalStatus
    {
        eFINISHED = 0, ///< It is done: drawn, or without anything to hand on.
        eAPPENDED = 1  ///< It handed its children to the walk.
    };

    /// Bits of the modified mask, the argument of Notify.
    enum ModifiedBits : unsigned int
    {
        eMODIFIED_BOX = 0x01,          ///< Bounding box, of the node or of a shape below.
        eMODIFIED_SCALE = 0x02,        ///< Scale.
        eMODIFIED_TRIS = 0x04,         ///< Triangle count.
        eMODIFIED_HIDE_RENDER = 0x08,  ///< Hide-render switch.
        eMODIFIED_FORCE_RENDER = 0x10, ///< Force-render switch.
        eMODIFIED_PRIMITIVES = 0x20,   ///< Primitive set.
        eMODIFIED_IGNORE_CLIP = 0x40,  ///< Ignore-clip switch.
        eMODIFIED_IGNORE_PICK = 0x80,  ///< Ignore-pick switch.
        eMODIFIED_ALL = 0xFF           ///< Any change to the set of a container's children.
    };

    /// Scale 1, no triangles, no primitives, no parent, every switch off, nothing modified.
    TqOcBaseTraversable();

    /// As the default, with these attributes. @param primitives  the low five bits are kept.
    TqOcBaseTraversable(double scale, unsigned int tris, TqLPrimitiveTypes::Enum primitives);

    /// Copies every field, the parent link and the flags included, without telling the parents:
    /// the copy names parents that do not know it. For records that are about to be relinked.
    /// @{
    TqOcBaseTraversable(TqOcBaseTraversable const& other) = default;
    TqOcBaseTraversable& operator=(TqOcBaseTraversable const& other) = default;

    /// @}

    // --- Attributes ---------------------------------------------------------------------------

    /// Weight of the node in the priority of a walk (dimensionless; smaller is drawn sooner). A
    /// container holds the smallest of its children's.
    /// @{
    double GetScale() const { return m_scale; }

    void SetScale(double scale)
    {
        UpdateScale(scale);
        Notify(eMODIFIED_SCALE);
    }

    void UpdateScale(double scale) { m_scale = scale; }

    /// @}

    /// Triangles under the node. A container holds the sum of its children's, modulo 2^32.
    /// @{
    unsigned int GetTris() const { return m_tris; }

    void SetTris(unsigned int tris)
    {
        UpdateTris(tris);
        Notify(eMODIFIED_TRIS);
    }

    void UpdateTris(unsigned int tris) { m_tris = tris; }

    /// @}

    /// Kinds of primitives under the node, five bits.
    /// @{
    TqLPrimitiveTypes::Enum GetPrimitives() const
    {
        return static_cast<TqLPrimitiveTypes::Enum>((m_flags & eFLAG_PRIMITIVES) >>
                                                    ePRIMITIVES_SHIFT);
    }

    void SetPrimitives(TqLPrimitiveTypes::Enum primitives)
    {
        UpdatePrimitives(primitives);
        Notify(eMODIFIED_PRIMITIVES);
    }

    void UpdatePrimitives(TqLPrimitiveTypes::Enum primitives)
    {
        m_flags =
            (m_flags & ~eFLAG_PRIMITIVES) |
            ((static_cast<std::uint32_t>(primitives) << ePRIMITIVES_SHIFT) & eFLAG_PRIMITIVES);
    }

    /// @}

    /// Whether the node is left out of drawing (0 or not 0; setters read the low bit).
    /// On a static container the next update overwrites it from the children.
    /// @{
    int IsHideRender() const { return HasFlag(eFLAG_HIDE_RENDER); }

    void SetHideRender(int hide)
    {
        UpdateHideRender(hide);
        Notify(eMODIFIED_HIDE_RENDER);
    }

    void UpdateHideRender(int hide) { PutFlag(eFLAG_HIDE_RENDER, hide); }

    /// @}

    /// Whether the node comes before all others in a prioritized walk (0 or not 0; setters read the
    /// low bit). It is still culled like any other node. A static container's next update
    /// overwrites it from the children.
    /// @{
    int IsForceRender() const { return HasFlag(eFLAG_FORCE_RENDER); }

    void SetForceRender(int force)
    {
        UpdateForceRender(force);
        Notify(eMODIFIED_FORCE_RENDER);
    }

    void UpdateForceRender(int force) { PutFlag(eFLAG_FORCE_RENDER, force); }

    /// @}

    /// Whether clip planes leave the node alone (0 or not 0; setters read the low bit). A static
    /// container's next update overwrites it from the children.
    /// @{
    int IsIgnoreClip() const { return HasFlag(eFLAG_IGNORE_CLIP); }

    void SetIgnoreClip(int ignore)
    {
        UpdateIgnoreClip(ignore);
        Notify(eMODIFIED_IGNORE_CLIP);
    }

    void UpdateIgnoreClip(int ignore) { PutFlag(eFLAG_IGNORE_CLIP, ignore); }

    /// @}

    /// Whether picks skip the node (0 or not 0; setters read the low bit). A static container's
    /// next update overwrites it from the children.
    /// @{
    int IsIgnorePick() const { return HasFlag(eFLAG_IGNORE_PICK); }

    void SetIgnorePick(int ignore)
    {
        UpdateIgnorePick(ignore);
        Notify(eMODIFIED_IGNORE_PICK);
    }

    void UpdateIgnorePick(int ignore) { PutFlag(eFLAG_IGNORE_PICK, ignore); }

    /// @}

    /// Whether the node holds shapes, or is one. Not notified.
    int IsLeaf() const { return HasFlag(eFLAG_LEAF); }

    /// Marks the node as one that holds shapes (the low bit counts), or takes the mark off. A
    /// static group that is marked keeps shapes added to it as its own children and draws them in
    /// its turn.
    void SetLeaf(int leaf) { PutFlag(eFLAG_LEAF, leaf); }

    /// Whether the node is a TqOcShape. MakeShape sets leaf and shape; SetLeaf(0) leaves shape set.
    /// @{
    int IsShape() const { return HasFlag(eFLAG_SHAPE); }

    void MakeShape() { m_flags |= eFLAG_LEAF | eFLAG_SHAPE; }

    /// @}

    /// Whether the application owns the node, so that containers never delete it. Not notified.
    int IsUserOwned() const { return HasFlag(eFLAG_USER_OWNED); }

    /// Takes the node over for the application, which then deletes it, or gives it back (the low
    /// bit counts). Giving back deletes nothing: the container that lets it go last does.
    void SetUserOwned(int userOwned) { PutFlag(eFLAG_USER_OWNED, userOwned); }

    // --- Marks of the traversals --------------------------------------------------------------

    /// Whether the node lies on the path of the running walk; clear between walks.
    /// @{
    int IsTraversed() const { return HasFlag(eFLAG_TRAVERSED); }

    void SetTraversed() { m_flags |= eFLAG_TRAVERSED; }

    void ClearTraversed() { m_flags &= ~eFLAG_TRAVERSED; }

    /// @}

    /// Number of the last frame that dealt with the node; 0 before any.
    /// @{
    unsigned int GetFrameId() const { return m_frameId; }

    void SetFrameId(unsigned int frameId) { m_frameId = frameId; }

    /// @}

    /// Whether frame `frame` has dealt with the node already, or a walk is inside it.
    int IsCulled(unsigned int frame) const { return IsTraversed() || m_frameId == frame; }

    // --- Parents ------------------------------------------------------------------------------

    /// Whether the parent field holds a vector; look here before the two readers below, which do
    /// not look themselves.
    int HasMultipleParents() const { return HasFlag(eFLAG_MULTIPLE_PARENTS); }

    /// Whether any parent holds the node; true while HasMultipleParents, whatever the vector holds.
    int HasParent() const { return HasMultipleParents() || m_parent != nullptr; }

    /// Whether anything owns the node: the application or a parent. Containers delete a child that
    /// they let go only when this is 0.
    int IsOwned() const { return IsUserOwned() || HasParent(); }

    /// The one parent, or null; meaningless while HasMultipleParents.
    /// @{
    TqOcTraversable* GetSingleParent() { return static_cast<TqOcTraversable*>(m_parent); }

    TqOcTraversable const* GetSingleParent() const
    {
        return static_cast<TqOcTraversable const*>(m_parent);
    }

    /// @}

    /// All parents in the order in which they were added; meaningless unless HasMultipleParents.
    /// @{
    TqUPtrVector<TqOcTraversable>* GetMultipleParents()
    {
        return static_cast<TqUPtrVector<TqOcTraversable>*>(m_parent);
    }

    TqUPtrVector<TqOcTraversable> const* GetMultipleParents() const
    {
        return static_cast<TqUPtrVector<TqOcTraversable> const*>(m_parent);
    }

    /// @}

    /// Stores one parent (may be null) and clears the flag; frees no vector.
    void SetSingleParent(TqOcTraversable* parent);
    /// Stores a vector of two parents or more, which the node owns from now on, and sets the flag.
    void SetMultipleParents(TqUPtrVector<TqOcTraversable>* parents);

    /// Adds a parent behind the present ones; a parent added twice is listed twice. The second
    /// parent makes the vector. @throws std::bad_alloc with the links unchanged.
    void AddParent(TqOcTraversable* parent);

    /// Removes the first mention of `parent`. A node with one parent loses it, whoever is named; of
    /// two, the other survives (the first, when `parent` is neither), and the vector is freed.
    void RemoveParent(TqOcTraversable* parent);

    // --- Change -------------------------------------------------------------------------------

    /// What changed since the last update (ModifiedBits); 0 when up to date.
    unsigned int GetModified() const { return m_flags & eFLAG_MODIFIED; }

    /// Overwrites the whole mask, silently. @param mask  the low 16 bits are kept.
    void SetModified(unsigned int mask)
    {
        m_flags = (m_flags & ~eFLAG_MODIFIED) | (mask & eFLAG_MODIFIED);
    }

    /// Passes `mask` to each parent's Notify, in the order of the parents.
    void NotifyParents(unsigned int mask);

    /// Brings the node and all below it up to date; does nothing when nothing was modified. Call it
    /// on the root after a batch of changes; TqOcTraversal::Apply does.
    void Update()
    {
        if (GetModified() != 0) {
            DoUpdate();
        }
    }

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// Neither unlinks the node nor frees a parent vector; containers do that.
    virtual ~TqOcBaseTraversable();

    /// Draws all that is visible under the node, without culling. Default: nothing.
    virtual void Render(TqOcRenderTraversal* traversal);

    /// The node's turn in a prioritized walk. Default: nothing, eFINISHED.
    virtual TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state);

    /// The node's turn in a pick by frustum. Default: nothing.
    virtual void PickFrustum(TqOcPickFrustumTraversal* traversal);

    /// The node's turn in a pick by sweep. Default: nothing.
    virtual void PickSweep(TqOcPickSweepTraversal* traversal);

    /// Adds `mask` to the modified mask and, when that adds a bit, tells the parents the whole
    /// mask. Stops where the bits are pending already, so a burst of changes below one node costs
    /// one walk to the root per new bit.
    virtual void Notify(unsigned int mask);

protected:
    /// The bit that is free for a derived class; 0 at first.
    /// @{
    int HasDerivedFlag() const { return HasFlag(eFLAG_DERIVED); }

    void PutDerivedFlag(int value) { PutFlag(eFLAG_DERIVED, value); }

    /// @}

    /// Recomputes what the node derives from its children, children first, and ends with the
    /// modified mask at 0. Must not notify.
    virtual void DoUpdate() = 0;

private:
    static constexpr std::uint32_t eFLAG_MODIFIED = 0x0000FFFF;
    static constexpr std::uint32_t eFLAG_PRIMITIVES = 0x001F0000;
    static constexpr std::uint32_t eFLAG_TRAVERSED = 0x00200000;
    static constexpr std::uint32_t eFLAG_LEAF = 0x00400000;
    static constexpr std::uint32_t eFLAG_SHAPE = 0x00800000;
    static constexpr std::uint32_t eFLAG_HIDE_RENDER = 0x01000000;
    static constexpr std::uint32_t eFLAG_FORCE_RENDER = 0x02000000;
    static constexpr std::uint32_t eFLAG_MULTIPLE_PARENTS = 0x04000000;
    static constexpr std::uint32_t eFLAG_USER_OWNED = 0x08000000;
    static constexpr std::uint32_t eFLAG_IGNORE_CLIP = 0x10000000;
    static constexpr std::uint32_t eFLAG_IGNORE_PICK = 0x20000000;
    static constexpr std::uint32_t eFLAG_DERIVED = 0x40000000;
    static constexpr std::uint32_t eFLAG_UNUSED = 0xC0000000; ///< By this class.
    static constexpr int ePRIMITIVES_SHIFT = 16;

    int HasFlag(std::uint32_t flag) const { return (m_flags & flag) != 0; }

    void PutFlag(std::uint32_t flag, int value)
    {
        m_flags = (value & 1) != 0 ? (m_flags | flag) : (m_flags & ~flag);
    }

    void InitCommon(TqLPrimitiveTypes::Enum primitives);
    void DropToSingleParent(TqUPtrVector<TqOcTraversable>* parents, TqOcTraversable* survivor);

    // Data; the order is part of the binary interface.
    double m_scale;
    std::uint32_t m_tris;
    void* m_parent; ///< TqOcTraversable* or TqUPtrVector<TqOcTraversable>*, as bit 26 says.
    std::uint32_t m_flags = 0;
    std::uint32_t m_frameId;
};

/// A node with a bounding box, and perhaps with children: the base of all containers.
///
/// The box is in the coordinates of the hierarchy and encloses all that lies under the node. An
/// empty box (minimum x greater than maximum x) is drawn by no walk that starts there.
class TQOC_API TqOcTraversable : public TqOcBaseTraversable
{
public:
    /// Switches "TqOcTraversable" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// Base defaults, an empty box, hysteresis id 0.
    TqOcTraversable();
    /// With this box and these attributes. @param primitives  the low five bits are kept.
    TqOcTraversable(TqLBox3f const& box, double scale, unsigned int tris,
                    TqLPrimitiveTypes::Enum primitives);

    /// Member-wise; see TqOcBaseTraversable's copy for the parent link.
    /// @{
    TqOcTraversable(TqOcTraversable const& other) = default;
    TqOcTraversable(TqOcTraversable&& other) = default;
    TqOcTraversable& operator=(TqOcTraversable const& other) = default;
    TqOcTraversable& operator=(TqOcTraversable&& other) = default;

    /// @}

    /// Hierarchy space; as of the last update.
    TqLBox3f const& GetBoundingBox() const { return m_box; }

    /// Stores the box and notifies with eMODIFIED_BOX. A static container rebuilds its box from its
    /// children in the next update, so this is for nodes that have no children to ask.
    void SetBoundingBox(TqLBox3f const& box);

    /// Number of the last frame in which a walk expanded the node; set by walks, never interpreted
    /// here.
    /// @{
    unsigned int GetHysteresisId() const { return m_hysteresisId; }

    void SetHysteresisId(unsigned int id) { m_hysteresisId = id; }

    /// @}

    /// RemoveShape, then deletes the shape unless something still owns it. Null: posts severity 1
    /// and does nothing.
    void DeleteShape(TqOcShape* shape);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// Neither unlinks the node nor touches its children; containers do that.
    ~TqOcTraversable() override;

    /// Points *children at the node's child array, which the node goes on owning, and returns its
    /// length. Default: returns 0 and leaves *children alone.
    virtual int GetChildren(TqOcBaseTraversable* const** children);

    /// Adds a shape somewhere below, or takes it out again. Default: nothing.
    /// @{
    virtual void AddShape(TqOcShape* shape);
    virtual void RemoveShape(TqOcShape* shape);
    /// @}

    /// The node's turn in a plain visit. Default: BeginVisit and EndVisit on the node.
    virtual void Visit(TqOcVisitor* visitor);

    /// The node's turn in a prioritized visit. Default: BeginVisit and EndVisit on the node, their
    /// answers ignored; eFINISHED.
    virtual TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state);

protected:
    friend class TqOcDynamicGroup; // brings boxes of leaves up to date while it restructures

    // For a container's own DoUpdate: none of these notifies.
    /// Empties the box.
    void ClearBoundingBox() { m_box.MakeEmpty(); }

    /// Lets the box enclose another one too; a NaN in it is left out.
    void ExtendBoundingBox(TqLBox3f const& box) { m_box.ExtendBy(box); }

    /// Stores the box.
    void UpdateBoundingBox(TqLBox3f const& box) { m_box.SetValue(box); }

    /// The box itself, to be written in place.
    TqLBox3f& EditBoundingBox() { return m_box; }

private:
    // Data; the order is part of the binary interface.
    TqLBox3f m_box;
    std::uint32_t m_hysteresisId = 0;
};
