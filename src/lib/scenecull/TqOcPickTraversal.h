// The base of the picks: their settings, their results, and what the last frame has a say in.
//
// TqOcPickFrustumTraversal and TqOcPickSweepTraversal derive from it. A pick walks the hierarchy,
// asks CanRenderCull of every node, and hands each shape in question to the application's own
// geometry test, which reports hits here: CanPickPoint, then SetPicked and the setters of the
// optional properties for a new nearest hit, PickShape for the list of all.
//
// A pick that is given a render traversal sees the scene as that one drew it. By default only what
// its last frame reached is picked, so:
//   - pick after a frame and before the next SetFrameId; with a new number nothing is drawn yet;
//   - after a clipped frame, groups below the root that were on the walk's path when it ended count
//     as not drawn, and so does everything below them;
//   - a leaf that was occluded, or culled behind the eye or behind a clip plane, has the frame id,
//     too, because the frame has dealt with it, and a pick does not ask for the ids of shapes: a
//     shape that wants to be picked only when it was drawn compares its own;
//   - before its first frame a render traversal has frame id 0, as new nodes have: all are picked;
//   - IsPickLastRendered 0 tests nodes for themselves instead, as the next frame would, while the
//     render traversal is not interactive. Such tests add to its counters of culled triangles and
//     call its dynamic priority callback.
// Results live until the next pick. The list of picked shapes is allocated; beyond it only a sweep
// that goes nearest first takes memory: its pools and its stack of levels, at first use.
#pragma once

#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"
#include "scenecull/TqOcTraversal.h"

#include "geometry/TqLVec.h"

#include "util/TqUPtrVector.h"

#include <cstdint>
#include <optional>

class TqOcBaseTraversable;
class TqOcPrioritizedTraversal;
class TqOcShape;

/// Settings and results of a pick.
class TQOC_API TqOcPickTraversal : public TqOcTraversal
{
public:
    /// Kind of element that was picked, as the shape's geometry test reported it.
    enum PickType : std::uint32_t
    {
        ePICK_NONE = 0,
        ePICK_TRIANGLE = 1,
        ePICK_LINE = 2,
        ePICK_POINT = 3,
        ePICK_TEXT = 4,
        ePICK_OTHER = 5
    };

    /// What shapes do with triangles seen from behind.
    enum BackfaceCull : std::uint32_t
    {
        eBACKFACE_CULL_OFF = 0,         ///< Both sides are picked.
        eBACKFACE_CULL_AS_RENDERED = 1, ///< As the shape's render state says.
        eBACKFACE_CULL_ON = 2           ///< Only front faces are picked.
    };

    /// Properties of a result; RequiredPropertyBits and PropertyBits are sums of them.
    enum PropertyBits : std::uint32_t
    {
        ePROPERTY_NORMAL = 1,
        ePROPERTY_DIRECTION = 2,
        ePROPERTY_COLOR = 4,
        ePROPERTY_TEX_COORD = 8,
        /// Required only: the point itself is wanted, not just which shapes there are.
        ePROPERTY_PICK_POINT = 16,
        /// Required only: what lies behind the nearest hit is picked, too.
        ePROPERTY_ALL_HITS = 32
    };

    static constexpr int eNUM_VERTICES = 3; ///< Of a picked triangle.

    /// Switches "TqOcPickTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned; may be null
    explicit TqOcPickTraversal(TqOcContext* context);
    TqOcPickTraversal(TqOcPickTraversal const&) = delete;
    TqOcPickTraversal& operator=(TqOcPickTraversal const&) = delete;

    // --- Settings -------------------------------------------------------------------------------

    /// The render traversal whose last frame the pick follows: its view frustum, context, stress,
    /// clip planes, primitive bits and frame id. Not owned; null (the default) picks everything.
    /// One without a context is posted when a pick starts, and nothing is picked.
    /// @{
    TqOcPrioritizedTraversal* GetRenderTraversal() { return m_renderTraversal; }

    TqOcPrioritizedTraversal const* GetRenderTraversal() const { return m_renderTraversal; }

    void SetRenderTraversal(TqOcPrioritizedTraversal* traversal) { m_renderTraversal = traversal; }

    /// @}

    /// Whether only nodes with the render traversal's present frame id are picked; 1 by default.
    /// Pick before the host moves the frame id on. After a clipped frame, groups below the root
    /// that were on the walk's path when it ended count as not drawn, and so does everything below
    /// them. 0 has no effect while the render traversal is interactive.
    /// @{
    int IsPickLastRendered() const { return m_pickLastRendered; }

    void SetPickLastRendered(int pickLastRendered) { m_pickLastRendered = pickLastRendered; }

    /// @}

    /// What the application wants to know, a sum of PropertyBits, for the shapes' geometry tests to
    /// read; ePROPERTY_PICK_POINT by default. ePROPERTY_ALL_HITS turns off the pruning of what lies
    /// behind the nearest hit so far.
    /// @{
    unsigned int GetRequiredPropertyBits() const { return m_requiredPropertyBits; }

    void SetRequiredPropertyBits(unsigned int bits) { m_requiredPropertyBits = bits; }

    /// Non-zero when the bits hold ePROPERTY_PICK_POINT.
    unsigned int IsPickPointRequired() const
    {
        return m_requiredPropertyBits & ePROPERTY_PICK_POINT;
    }

    /// @}

    /// For the shapes' geometry tests to read; eBACKFACE_CULL_AS_RENDERED by default.
    /// @{
    BackfaceCull GetBackfaceCull() const { return m_backfaceCull; }

    void SetBackfaceCull(BackfaceCull backfaceCull) { m_backfaceCull = backfaceCull; }

    /// @}

    /// Whether hidden nodes may be picked; 0 by default. A sweep pick that goes nearest first
    /// leaves hidden nodes out all the same; see TqOcPickSweepTraversal.
    /// @{
    int IsPickHidden() const { return m_pickHidden; }

    void SetPickHidden(int pickHidden) { m_pickHidden = pickHidden; }

    /// @}

    /// Mask of the planes still to be tested of what comes next; see the pick volume's CanCull.
    /// Narrowed on the way down, restored on the way up. 0 before the first pick.
    /// @{
    int GetCullBits() const { return m_cullBits; }

    void SetCullBits(int cullBits) { m_cullBits = cullBits; }

    /// @}

    // --- Results --------------------------------------------------------------------------------

    /// The nearest shape, or null; not owned. While it is null, the properties below are those of
    /// an earlier pick and mean nothing.
    TqOcShape* GetPickedShape() const { return m_pickedShape; }

    /// Every shape that PickShape was called with, in that order. Not owned.
    /// @{
    TqUPtrVector<TqOcShape>& GetAllPickedShapes() { return m_allPickedShapes; }

    TqUPtrVector<TqOcShape> const& GetAllPickedShapes() const { return m_allPickedShapes; }

    /// @}

    /// The picked point, in the coordinates of the hierarchy.
    TqLPos3f const& GetPickedPoint() const { return m_pickedPoint; }

    /// Distance of the picked point, as given to SetPicked.
    double GetDistance() const { return m_distance; }

    /// Number of the picked element within its shape.
    unsigned int GetSubObjectId() const { return m_subObjectId; }

    PickType GetPickType() const { return m_pickType; }

    /// Which of the optional properties below were set, a sum of PropertyBits.
    unsigned int GetPropertyBits() const { return m_propertyBits; }

    /// The optional properties of the picked point. Each setter marks its property as set;
    /// SetPicked forgets them all, so call it first.
    /// @{
    TqLUnitVec3f const& GetNormal() const { return m_normal; }

    void SetNormal(TqLUnitVec3f const& normal)
    {
        m_normal = normal;
        m_propertyBits |= ePROPERTY_NORMAL;
    }

    TqLUnitVec3f const& GetDirection() const { return m_direction; }

    void SetDirection(TqLUnitVec3f const& direction)
    {
        m_direction = direction;
        m_propertyBits |= ePROPERTY_DIRECTION;
    }

    TqLColor3f const& GetColor() const { return m_color; }

    void SetColor(TqLColor3f const& color)
    {
        m_color = color;
        m_propertyBits |= ePROPERTY_COLOR;
    }

    TqLPos2f const& GetTexCoord() const { return m_texCoord; }

    void SetTexCoord(TqLPos2f const& texCoord)
    {
        m_texCoord = texCoord;
        m_propertyBits |= ePROPERTY_TEX_COORD;
    }

    /// @}

    /// The three vertices of the picked triangle, in the coordinates of the hierarchy; marked by no
    /// property bit.
    /// @{
    TqLPos3f const* GetVertices() const { return m_vertices; }

    void SetVertices(TqLPos3f const& a, TqLPos3f const& b, TqLPos3f const& c)
    {
        m_vertices[0] = a;
        m_vertices[1] = b;
        m_vertices[2] = c;
    }

    /// @}

    // --- For the geometry tests of shapes -------------------------------------------------------

    /// Adds a shape to the list of all; a shape added twice is listed twice.
    void PickShape(TqOcShape* shape) { m_allPickedShapes.PushBack(shape); }

    /// Records the nearest hit so far and forgets the optional properties of the one before. Makes
    /// no test; ask CanPickPoint first.
    /// @param point  in the coordinates of the hierarchy
    /// @param distance  from the pick's origin; for a frustum pick from TqLPickFrustum3f's, or the
    /// pruning by distance goes wrong
    /// @param subObjectId  number of the element within the shape, as the application counts them
    void SetPicked(TqOcShape* shape, TqLPos3f const& point, double distance,
                   unsigned int subObjectId, PickType type);

    /// Whether a point may become the nearest hit: 0 when it is not strictly nearer than the
    /// present one, when its distance is no number, or when a clip plane (the render traversal's,
    /// else this traversal's own) cuts it away, which it does not for a shape that ignores
    /// clipping; else 1.
    int CanPickPoint(TqOcShape* shape, TqLPos3f const& point, double distance) const;

    /// Whether a pick must skip a node or shape because of how it is drawn (0 or 1): it ignores
    /// picks; it is hidden and hidden ones are not picked; or the render traversal did not draw it.
    /// For a node that is told by its frame id or, where only what the next frame would draw
    /// counts, by its primitives and priority; for a shape by its primitives. Outside of a pick no
    /// priority is asked for.
    /// @{
    int CanRenderCull(TqOcTraversable* node);
    int CanRenderCull(TqOcShape* shape) const;
    /// @}

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No pick may be running.
    ~TqOcPickTraversal() override;

    /// As the base, on the calling thread. A null root also forgets the results of the pick before.
    void AsyncApply(TqOcTraversable* root) override;

    /// Clears the picked shape and the list, makes the cull object of the render traversal's view,
    /// and runs StartPick. An exception from it ends the pick and goes on to the caller; results so
    /// far stay. Null: posted with severity 1; nothing is picked.
    void StartTraversal(TqOcTraversable* root) override;

    /// Drops what StartTraversal made for this pick.
    void EndTraversal() override;

protected:
    /// Walks the hierarchy.
    virtual void StartPick(TqOcTraversable* root) = 0;

private:
    bool IsUnpickable(TqOcBaseTraversable const* node) const;
    bool MakeRenderCull();
    int IsRenderCulled(TqOcTraversable* node);

    // Data; the order is part of the binary interface.
    int m_cullBits = 0;
    TqOcPrioritizedTraversal* m_renderTraversal = nullptr;
    int m_pickLastRendered = 1;
    std::uint32_t m_requiredPropertyBits = ePROPERTY_PICK_POINT;
    BackfaceCull m_backfaceCull = eBACKFACE_CULL_AS_RENDERED;
    // Of the running pick; empty without a render traversal.
    std::optional<TqOcRenderTravCull> m_renderCull;
    std::optional<TqOcTravFrustum> m_travFrustum;
    std::optional<TqOcTravTransform> m_travTransform;
    int m_pickHidden = 0;
    double m_distance = 0.0;
    TqOcShape* m_pickedShape = nullptr;
    TqUPtrVector<TqOcShape> m_allPickedShapes;
    TqLPos3f m_pickedPoint;
    std::uint32_t m_propertyBits = 0;
    PickType m_pickType = ePICK_NONE;
    std::uint32_t m_subObjectId = 0;
    TqLUnitVec3f m_normal;
    TqLUnitVec3f m_direction;
    TqLColor3f m_color;
    TqLPos2f m_texCoord;
    TqLPos3f m_vertices[eNUM_VERTICES];
};
