// The frustum of a pick: six planes to test boxes against, and an origin to count distances from.
//
// Made from a view frustum, or from a pixel rectangle of one: the thin frustum through the cursor,
// or a rubber band. A pick traversal asks CanCull and MinDistance of every box on its way; the
// host's geometry picks take the planes and the origin from here. A value of some 620 bytes.
#pragma once

#include "geometry/TqLApi.h"
#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <type_traits>

/// A convex volume between up to six planes, and the point that picks are measured from.
///
/// The planes' normals point into the frustum; bit i of a plane mask stands for plane i:
///
/// | bit | value | plane  |
/// |-----|-------|--------|
/// | 0   | 1     | left   |
/// | 1   | 2     | right  |
/// | 2   | 4     | bottom |
/// | 3   | 8     | top    |
/// | 4   | 16    | near   |
/// | 5   | 32    | far    |
///
/// A side that the frustum does not have (far at infinity) is a plane with a zero normal that has
/// everything on its positive side.
class TqLPickFrustum3f
{
public:
    enum
    {
        eNUM_PLANES = 6,
        /// The mask with which a pick begins: all planes still to be tested.
        eALL_PLANES = 63
    };

    /// The pick frustum of a default TqLFrustum3f.
    TQL_API TqLPickFrustum3f();

    /// Picks all that a view frustum sees. The origin is its viewpoint, for perspective and
    /// parallel alike.
    TQL_API explicit TqLPickFrustum3f(TqLFrustum3f const& frustum);

    /// Picks what a view frustum sees in a rectangle of its window.
    /// @param frustum  the view frustum of the whole window
    /// @param pixels  the rectangle in pixels, counted from the lower left corner of the window, y
    ///        upwards, up to (windowWidth, windowHeight). Pixel (i, j) covers (i, j) to
    ///        (i + 1, j + 1). It may reach beyond the window.
    /// @param windowWidth, windowHeight  in pixels, at least 1
    /// A rectangle that is empty, not finite, or has no width or no height (as shares of the
    /// window, so also one that is lost to rounding), and a window without pixels, post severity 1
    /// against "TqLPickFrustum3f" and make a frustum that picks nothing. A rectangle so narrow that
    /// TqLFrustum3f::Narrow refuses it makes one, too; Narrow posts it.
    TQL_API TqLPickFrustum3f(TqLFrustum3f const& frustum, TqLBox2f const& pixels, int windowWidth,
                             int windowHeight);

    /// Becomes a frustum that culls every box.
    TQL_API void MakeEmpty();

    /// Non-zero when the box lies wholly outside at least one of the planes named in the mask.
    /// @param planes  in: mask of the planes still to be tested, 63 at the start. Out: less those
    ///        that the box lies wholly inside of, which no box within it can be outside of. Written
    ///        in either case; bits above 32 are left alone.
    ///
    /// A box that meets the frustum is never culled: a box counts as outside only beyond the
    /// rounding of the test itself. A box that is outside no single plane may be kept although it
    /// misses the frustum. An empty box is culled under every mask; one with an infinite or NaN
    /// corner is never, and clears no bit.
    TQL_API int CanCull(TqLBox3f const& box, int* planes) const;

    /// The smallest distance from the origin to a point of the box, in world units; 0 when the
    /// origin lies in the box. Infinite for a box made empty. A NaN corner counts as no bound on
    /// its axis.
    ///
    /// For a parallel frustum, too, this is the distance from the one point GetOrigin, not from the
    /// near plane. Hits on one line of sight come in the same order either way, in front of that
    /// point; a host that compares hits with it measures them from GetOrigin.
    TQL_API double MinDistance(TqLBox3f const& box) const;

    /// The point that distances count from: the view frustum's viewpoint.
    TqLPos3f const& GetOrigin() const { return m_origin; }

    /// Plane 0 to 5 in the order of the table above; the index is not checked.
    TqLPlane3f const& GetPlane(int index) const { return m_planes[index]; }

    /// This pick frustum, given in world space, expressed in the local space that `toWorld` maps to
    /// world space: for picking in an instance's own coordinates. Distances are then local ones.
    /// When `toWorld` has no inverse, TqLAffine3f::Inverse posts, and the result picks nothing.
    TQL_API TqLPickFrustum3f TransformedByInverse(TqLAffine3f const& toWorld) const;

private:
    static constexpr int eNUM_ROWS = 8; // as many as the test takes; another number won't compile

    void Set(TqLFrustum3f const& frustum);
    void SetRows();

    alignas(16) double m_rows[eNUM_ROWS][eNUM_PLANES]; // the planes as CanCull takes them
    TqLPlane3f m_planes[eNUM_PLANES];
    TqLPos3f m_origin;
    double m_rounding;    // that part of a plane distance's rounding bound that no box has a say in
    double m_boxRounding; // times the size of a box's coordinates: its part of the bound
    bool m_isEmpty;
};

static_assert(std::is_trivially_copyable<TqLPickFrustum3f>::value, "plain value");
