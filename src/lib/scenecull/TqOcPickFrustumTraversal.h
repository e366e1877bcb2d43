// Picking by frustum: what lies under the cursor, or in a rubber band.
//
// The walk goes top down through each node's PickFrustum, in child order. A branch is left out when
// its box lies outside the pick frustum, when the last frame did not draw it, or when it lies
// behind the nearest hit so far. Each shape that is left is asked to test its own geometry
// (PickShape).
//
// Plane tests narrow a mask on the way down: a box wholly inside a plane spares all below it that
// test. The mask is restored after each child. Cost: a box test per child of every visited
// container; nothing is allocated.
#pragma once

#include "scenecull/TqOcPickTraversal.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPickFrustum3f.h"

#include "util/TqUTime.h"

/// A pick by frustum.
///
/// Per pick: SetFrustum or SetViewportFrustum, Apply(root), then read the results of
/// TqOcPickTraversal.
class TQOC_API TqOcPickFrustumTraversal : public TqOcPickTraversal
{
public:
    /// Switches "TqOcPickFrustumTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned; may be null
    explicit TqOcPickFrustumTraversal(TqOcContext* context);

    /// The pick frustum, in the coordinates of the hierarchy; a default one at first.
    /// @{
    TqLPickFrustum3f const& GetFrustum() const { return m_frustum; }

    void SetFrustum(TqLPickFrustum3f const& frustum) { m_frustum = frustum; }

    /// @}

    /// What the shapes' geometry tests are to pick, and what they are to report. Their meaning is
    /// the application's; 0 at first.
    /// @{
    int GetPickBits() const { return m_pickBits; }

    void SetPickBits(int bits) { m_pickBits = bits; }

    int GetResultBits() const { return m_resultBits; }

    void SetResultBits(int bits) { m_resultBits = bits; }

    /// @}

    /// Whether the shapes' geometry tests are to pick only what lies wholly inside the frustum; 0
    /// at first. The walk itself takes no notice.
    /// @{
    int IsContainedOnly() const { return m_containedOnly; }

    void SetContainedOnly(int containedOnly) { m_containedOnly = containedOnly; }

    /// @}

    /// Takes a view frustum as the pick frustum, and notes what it was cut from for the shapes'
    /// geometry tests.
    /// @param frustum  becomes the pick frustum, whole, and the viewport frustum; to pick in a
    /// rectangle only, call SetFrustum with one narrowed to it afterwards
    /// @param width, height  of the viewport, in pixels
    /// @param box  the picked rectangle, in pixels of the viewport
    void SetViewportFrustum(TqLFrustum3f const& frustum, int width, int height,
                            TqLBox2f const& box);

    /// Whether there is a viewport: its width is above 0.
    int HasViewportFrustum() const { return m_viewportWidth > 0; }

    /// Sets the viewport's width to 0; all else stays readable.
    void ClearViewportFrustum() { m_viewportWidth = 0; }

    /// As given to SetViewportFrustum; a default frustum, 0, 0 and an empty box before that.
    /// @{
    TqLFrustum3f const& GetViewportFrustum() const { return m_viewportFrustum; }

    int GetViewportWidth() const { return m_viewportWidth; }

    int GetViewportHeight() const { return m_viewportHeight; }

    TqLBox2f const& GetViewportBox() const { return m_viewportBox; }

    /// @}

    /// Whether the pick has taken longer than 0.2 s. The walk never stops by itself: the shapes'
    /// geometry tests are to ask and to give up. False before any pick, and after one whose root
    /// was culled or that could not start.
    bool IsPickingTimeOut() const { return m_isTiming && m_pickingTimeOut.HasExpired(); }

    /// Whether the pick skips a node or shape (0 or 1): its box lies outside the frustum, it was
    /// not drawn, or it lies behind the nearest hit. A shape's own frame id does not count. Narrows
    /// the cull bits.
    /// @{
    int CanCull(TqOcTraversable* node);
    int CanCull(TqOcShape* shape);
    /// @}

    // --- Virtual operations ---------------------------------------------------------------------

    ~TqOcPickFrustumTraversal() override;

    /// As the base's, with a time-out of its own for each pick.
    void StartTraversal(TqOcTraversable* root) override;

protected:
    /// Tests the root, starts the time-out and runs the root's PickFrustum.
    void StartPick(TqOcTraversable* root) override;

private:
    bool IsOutside(TqLBox3f const& box);
    bool IsBehindPick(TqLBox3f const& box) const;

    // Data; the order is part of the binary interface.
    TqLPickFrustum3f m_frustum;
    int m_pickBits = 0;
    int m_resultBits = 0;
    int m_containedOnly = 0;
    TqLFrustum3f m_viewportFrustum;
    int m_viewportWidth = 0;
    int m_viewportHeight = 0;
    TqLBox2f m_viewportBox;
    TqUTimeOut m_pickingTimeOut;
    bool m_isTiming = false; ///< Whether the time-out belongs to this pick.
};
