// The demo's camera lens and the settings of its traversal.
#pragma once

#include "demo/DemoOptions.h"
#include "host/model/SceneModel.h"

#include "geometry/TqLFrustum3f.h"

class TqOcPrioritizedTraversal;

namespace demo
{

/// Makes frusta for camera stops; near and far plane suit the scene's size.
class DemoView
{
public:
    /// @param box  of the scene, not empty
    DemoView(TqLBox3f const& box, int width, int height);

    /// The frustum of a camera stop. The picture's up is +y, or +z when looking straight up or
    /// down.
    TqLFrustum3f MakeFrustum(host::CameraKey const& key) const;

private:
    double m_aspect;
    double m_near;
    double m_far;
};

/// Cull area of the demo in pixels: what covers less of the picture is left out.
double GetDemoCullArea();

/// What all frames of the demo have in common: large things first, things that hide before things
/// that are hidden, no detail below the cull area.
void SetUpTraversal(TqOcPrioritizedTraversal* traversal);

/// Frames within a time: always interactive, with triangle control, stress from 1 to 6.
void SetUpForFlight(TqOcPrioritizedTraversal* traversal, DemoOptions const& options);

/// Whole frames: never clipped, stress 1, whatever the time.
void SetUpForWholeFrames(TqOcPrioritizedTraversal* traversal);

/// Frames that end when `tris` triangles are drawn, at stress 1 and without regard to time. To be
/// called before every such frame.
void SetUpForBudget(TqOcPrioritizedTraversal* traversal, unsigned tris);

} // namespace demo
