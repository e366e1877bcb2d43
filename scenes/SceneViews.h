#pragma once

// SceneViews: camera paths through the generated scenes.
//
// A view is plain camera data; MakeViewFrustum makes the library's frustum of it. A path depends
// on the scene's bounds alone, so the same scene is always looked at in the same way. Path points
// come from rational circle points and stored angles, not from sin and cos.

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLVec.h"

#include <vector>

/// One perspective camera. World space, metres, z up.
struct SceneView
{
    TqLPos3f eye;
    TqLVec3f direction;   ///< Unit length.
    TqLVec3f up;          ///< Not parallel to direction.
    double verticalAngle; ///< Radians, whole opening.
    double aspect;        ///< Width over height.
    double nearDistance;
    double farDistance; ///< Also the cull distance a walk should use: see GetCullDistance.
};

/// How many views a walk-through has.
inline constexpr int eWALK_VIEWS = 64;

/// A walk-through: a loop half way between the middle of \p bounds and its sides, rising and
/// falling, looking across the middle. On the generated plant the views hold 40 % (1,000,000
/// boxes) to 47 % (10,000) of all boxes on average.
std::vector<SceneView> MakeWalkViews(TqLBox3f const& bounds);

/// The same views with a far plane at 40 m. On the generated plant they hold about 2,300 boxes,
/// whatever its size.
std::vector<SceneView> MakeNearWalkViews(TqLBox3f const& bounds);

/// A loop around \p bounds from outside and above, far enough away to see all of it.
std::vector<SceneView> MakeOutsideViews(TqLBox3f const& bounds);

/// The library's frustum of \p view.
TqLFrustum3f MakeViewFrustum(SceneView const& view);

/// The setting of TqOcRenderTraversal::SetCullDistance that culls beyond the far plane of \p view:
/// the walk has no far-plane test of its own, and measures distance from the near plane.
double GetCullDistance(SceneView const& view);
