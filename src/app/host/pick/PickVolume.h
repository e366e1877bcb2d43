// Where a frustum pick looks: the planes of its frustum, the clip planes that cut the scene, and
// the line of sight through the middle.
//
// Made once for each shape that is picked, from the traversal's frustum and clip planes; everything
// is in world coordinates. A value of some 600 bytes; making one costs about as much as testing a
// few triangles.
#pragma once

#include "geometry/TqLPickFrustum3f.h"
#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"

namespace host
{

/// A convex pick volume with its line of sight.
///
/// *Line of sight.* The line through the middles of the frustum's cross-sections: through the
/// viewpoint and the centre of the pixel or rectangle in perspective, and along the view direction
/// in a parallel view. A frustum without a near plane, or whose sides do not meet in four edges,
/// has none.
class PickVolume
{
public:
    static constexpr int eMAX_CLIP_PLANES = 6;
    static constexpr int eMAX_PLANES = TqLPickFrustum3f::eNUM_PLANES + eMAX_CLIP_PLANES;

    /// @param clipPlanes  may be null when there are none; those beyond eMAX_CLIP_PLANES are left
    ///        out
    PickVolume(TqLPickFrustum3f const& frustum, TqLPlane3f const* clipPlanes, int numClipPlanes);

    /// The point that distances are measured from.
    TqLPos3f const& GetOrigin() const { return m_origin; }

    /// All planes, normals inwards: six of the frustum, then the clip planes.
    int GetNumPlanes() const { return m_numPlanes; }

    TqLPlane3f const& GetPlane(int index) const { return m_planes[index]; }

    bool IsClipPlane(int index) const { return index >= TqLPickFrustum3f::eNUM_PLANES; }

    bool HasSight() const { return m_hasSight; }

    /// A point's two offsets from the line of sight, across it, in world units; needs a line of
    /// sight.
    TqLPos2f GetAcross(TqLPos3f const& point) const;

    /// The direction in which `point` is seen, of any length: from the origin, or along the line of
    /// sight in a parallel view.
    TqLVec3f GetLookAt(TqLPos3f const& point) const;

    /// Whether a point lies on the positive side of all planes or on them.
    bool Contains(TqLPos3f const& point) const;

    /// The same for a point on the line of sight, which no side plane needs to be asked about.
    bool ContainsOnSight(TqLPos3f const& point) const;

private:
    void FindSight();

    TqLPlane3f m_planes[eMAX_PLANES];
    int m_numPlanes = 0;
    TqLPos3f m_origin;
    TqLPos3f m_sightPoint;
    TqLVec3f m_sight;     ///< unit, away from the viewer
    TqLVec3f m_across[2]; ///< unit, across the sight and each other
    bool m_hasSight = false;
    bool m_isParallel = false;
};

} // namespace host
