// The view frustum: what a camera sees, as a matrix and the few facts that culling needs beside it.
//
// Hosts make one per frame and set it on a traversal; the cull state takes matrix, near plane,
// viewpoint and size from it, a pick frustum its planes. An immutable value of 350 bytes; the
// matrix is computed once, when the frustum is made.
#pragma once

#include "geometry/TqLApi.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"

#include <type_traits>

/// A perspective or parallel view frustum in world space.
///
/// *Cull space.* GetMatrix takes a world point, as the row (x, y, z, 1), to (c_x, c_y, c_z, w). The
/// point is seen when -w <= c <= w holds on each of the three axes: x = -1 is the left edge of the
/// view and +1 the right, y = -1 the bottom and +1 the top, z = -1 the near plane and +1 the far
/// plane, all after division by w. In perspective w is the depth in front of the viewpoint along
/// the view direction, in world units, and so positive in front of the eye; in parallel w is 1.
///
/// *Bad arguments.* A constructor or maker that is given something impossible posts severity 1
/// against "TqLFrustum3f" and leaves the default frustum, TqLFrustum3f(1.0, 1.0, 1.0, 1000.0).
/// Impossible are: a size, angle or aspect that is not greater than 0, an angle of pi or more, a
/// near distance of 0 or less in perspective, a far distance not greater than the near one, a zero
/// direction, an up vector along the direction, and anything infinite or NaN, with one exception: a
/// perspective frustum may have its far distance at infinity. It then has no far plane, and c_z
/// stays below w at any depth.
class TqLFrustum3f
{
public:
    /// What GetFrustumType tells. Every value but 0 means parallel.
    enum Type : int
    {
        ePERSPECTIVE = 0,
        ePARALLEL = 1
    };

    /// As TqLFrustum3f(1.0, 1.0, 1.0, 1000.0).
    TQL_API TqLFrustum3f();

    /// Perspective with the viewpoint at the origin, looking along -z, with y up.
    /// @param width, height  extents at the near plane
    /// @param nearDistance, farDistance  of the near and far plane from the viewpoint,
    ///        0 < near < far; far may be infinite
    TQL_API TqLFrustum3f(double width, double height, double nearDistance, double farDistance);

    /// Perspective from a camera.
    /// @param viewpoint  where the eye is
    /// @param direction  where it looks; any length but 0
    /// @param up  what is up in the picture; any length but 0, need not be across the direction
    /// @param verticalAngle  between bottom and top plane, radians, greater than 0, less than pi
    /// @param aspect  width divided by height
    /// @param nearDistance, farDistance  from the viewpoint, 0 < near < far; far may be infinite
    TQL_API static TqLFrustum3f Perspective(TqLPos3f const& viewpoint, TqLVec3f const& direction,
                                            TqLVec3f const& up, double verticalAngle, double aspect,
                                            double nearDistance, double farDistance);

    /// Parallel from a camera.
    /// @param viewpoint  in the middle of the view; near and far distances count from it
    /// @param direction, up  as for Perspective
    /// @param width, height  extents of the view, the same at every depth
    /// @param nearDistance, farDistance  near < far, both finite; near may be 0 or negative: then
    ///        the frustum begins at or behind the viewpoint
    TQL_API static TqLFrustum3f Parallel(TqLPos3f const& viewpoint, TqLVec3f const& direction,
                                         TqLVec3f const& up, double width, double height,
                                         double nearDistance, double farDistance);

    /// From explicit data, for off-centre, stereo, jittered and mirrored cameras. The caller
    /// answers for the parts belonging together.
    /// @param type  ePERSPECTIVE, or any other value for parallel
    /// @param width, height  extents at the reference distance, which is the near plane
    /// @param matrix  world to cull space, as described above; its elements are finite
    /// @param nearPlane  the matrix's near plane, with a unit normal pointing into the scene
    /// @param viewpoint  the eye; for a parallel view the point from which distances are to count
    TQL_API static TqLFrustum3f FromMatrix(Type type, double width, double height,
                                           TqLMatrix4f const& matrix, TqLPlane3f const& nearPlane,
                                           TqLPos3f const& viewpoint);

    /// World to cull space. See above.
    TqLMatrix4f const& GetMatrix() const { return m_matrix; }

    /// Extent of the view at the near plane, in world units.
    double GetWidth() const { return m_width; }

    /// Extent of the view at the near plane, in world units.
    double GetHeight() const { return m_height; }

    /// The eye in perspective; in parallel the point that distances count from.
    TqLPos3f const& GetViewpoint() const { return m_viewpoint; }

    /// The near plane in world space; its normal points into the scene, so what is seen has a
    /// distance of 0 or more, and the viewpoint of a perspective frustum has -nearDistance.
    TqLPlane3f const& GetNearPlane() const { return m_nearPlane; }

    /// The far plane in world space; its normal points back at the viewer, so what is seen has a
    /// distance of 0 or more. Without one (far at infinity) the normal is zero and the distance -1:
    /// everything is on the positive side.
    TqLPlane3f const& GetFarPlane() const { return m_farPlane; }

    /// ePERSPECTIVE (0), or anything else for parallel.
    Type GetFrustumType() const { return m_type; }

    /// The planes of the six sides in world space, normals pointing into the frustum: left, right,
    /// bottom, top, near, far. The sides are taken from the matrix; near and far are those above.
    /// Writes six planes; nothing is cut off by one with a zero normal and the distance -1.
    TQL_API void GetPlanes(TqLPlane3f* planes) const;

    /// The frustum of a sub-rectangle of this view, with bounds in shares of the view: x from 0 at
    /// the left edge to 1 at the right, y from 0 at the bottom to 1 at the top. (0, 1, 0, 1) is the
    /// whole and returns this frustum bit for bit.
    ///
    /// Width and height shrink by the shares; near plane, far plane, viewpoint and type stay.
    /// Shares below 0 or above 1 reach beyond the view. Bounds that are not finite or not in order
    /// (x0 < x1, y0 < y1) post severity 1 against "TqLFrustum3f" and return this frustum unchanged.
    TQL_API TqLFrustum3f NarrowedBy(double x0, double x1, double y0, double y1) const;

    /// Becomes NarrowedBy of the same bounds. Returns false where that posts; nothing changes then.
    TQL_API bool Narrow(double x0, double x1, double y0, double y1);

private:
    struct Camera;

    // Makes this the camera's frustum; false, and this is of no use, where the matrix would leave
    // the range of a double.
    bool Build(Type type, Camera const& camera, double width, double height, double nearDistance,
               double farDistance);

    TqLMatrix4f m_matrix;
    TqLPlane3f m_nearPlane;
    TqLPlane3f m_farPlane;
    TqLPos3f m_viewpoint;
    double m_width;
    double m_height;
    Type m_type;
};

static_assert(std::is_trivially_copyable<TqLFrustum3f>::value, "plain value");
