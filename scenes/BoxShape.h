#pragma once

// BoxShape: the smallest useful shape, one box of a generated scene that counts its draws.
//
// It shows what an application's shape owes the library: a box when asked, and the counting of
// itself as drawn in the prioritized walk, which only the application can do (a shape may decide
// to draw less than its triangle count says). A shape refers to its SceneBox, which must outlive
// it; ownership of the shape follows the library's rule (SetUserOwned, or the container's).

#include "scenes/SceneBoxes.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"

#include "geometry/TqLBox.h"

/// A shape over one SceneBox.
class BoxShape : public TqOcShape
{
public:
    /// @param item  not null; kept by pointer.
    explicit BoxShape(SceneBox const* item)
        : TqOcShape(item->scale, item->tris, item->primitives)
        , m_item(item)
    {}

    SceneBox const& GetItem() const { return *m_item; }

    /// Points the shape at another box; the caller notifies (SetTris, or Notify on the shape).
    void SetItem(SceneBox const* item) { m_item = item; }

    /// How often the shape was drawn, in walks of either kind.
    unsigned GetNumDraws() const { return m_numDraws; }

    void ResetDraws() { m_numDraws = 0; }

    void GetShapeBox(TqLBox3f& box) override { box = m_item->box; }

    /// "Drawing" is counting.
    void RenderShape(TqOcRenderTraversal*) override { ++m_numDraws; }

    /// The prioritized walk counts nothing by itself: the shape reports what it draws. (In the
    /// plain walk TqOcShape::Render reports, and then calls RenderShape.)
    void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                          TqOcRenderTravCullData const&) override
    {
        traversal->IncShapesRendered(1);
        traversal->IncTrisRendered(GetTris());
        RenderShape(traversal);
    }

    /// A box has no geometry beyond its box; picks end there.
    void PickShape(TqOcPickFrustumTraversal*) override {}

private:
    SceneBox const* m_item;
    unsigned m_numDraws = 0;
};
