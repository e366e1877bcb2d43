// One view of a traversal: its frustum, the matrix into cull space, and conversions to pixels.
//
// A traversal makes one when it starts; a node that narrows the view makes a narrowed copy
// (TqOcTravState::NarrowedCull). A plain value: it lives in the traversal's pool and is released
// with it. TqOcTravCull points at one and derives its local data from it.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"

class TqOcContext;

/// Frustum state of one (possibly narrowed) view.
///
/// Cull space spans -1 to 1, two units, across the window on x and y. Stress (1 or more) makes
/// everything count as fewer pixels.
class TQOC_API TqOcTravFrustum
{
public:
    /// Switches "TqOcTravFrustum" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// The default frustum and matrix, conversions of 0.
    TqOcTravFrustum() = default;

    /// The root state of a traversal.
    /// @param context  asked once for the window size, in pixels
    /// @param stress  divides the pixel conversions; neither it nor the window size is guarded
    /// against 0
    TqOcTravFrustum(TqLFrustum3f const& frustum, TqOcContext* context, double stress);

    /// Becomes `parent` narrowed to a sub-window.
    /// @param x0, x1, y0, y1  lower and upper bounds in shares of the parent's view, 0 to 1; the
    /// whole is (0, 1, 0, 1)
    void Narrow(TqOcTravFrustum const& parent, double x0, double x1, double y0, double y1);

    /// The view's frustum, world space; narrowed where the view is.
    TqLFrustum3f const& GetFrustum() const { return m_frustum; }

    /// World coordinates to cull space.
    TqLMatrix4f const& GetViewCullMatrix() const { return m_viewCullMatrix; }

    /// Pixels per unit of cull-space area.
    double GetAreaToPixelConv() const { return m_areaToPixelConv; }

    /// Pixels per unit of cull-space x, and y.
    /// @{
    double GetXToPixelConv() const { return m_xToPixelConv; }

    double GetYToPixelConv() const { return m_yToPixelConv; }

    /// @}

    /// Multiplied by an eye distance: the world size of one pixel there (of one stressed pixel in a
    /// perspective view; a parallel view does not scale by stress). 0 in a perspective view whose
    /// viewpoint lies on its near plane or in front of it.
    double GetDistToInvPixelConv() const { return m_distToInvPixelConv; }

private:
    // Data; the order is part of the binary interface.
    TqLFrustum3f m_frustum;
    TqLMatrix4f m_viewCullMatrix;
    double m_areaToPixelConv = 0.0;
    double m_xToPixelConv = 0.0;
    double m_yToPixelConv = 0.0;
    double m_distToInvPixelConv = 0.0;
};
