// The lines of sight of a picture: which points of the world lie under a pixel, and how exactly a
// depth buffer knows them.
//
// Pixels count from the lower left corner; pixel (i, j) covers (i, j) to (i + 1, j + 1), as in
// TqLPickFrustum3f.
#pragma once

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPickFrustum3f.h"
#include "geometry/TqLVec.h"

#include <vector>

namespace demo
{

/// Between pixels with depths, and points of the world. Plain value.
class PixelRays
{
public:
    PixelRays(TqLFrustum3f const& frustum, int width, int height);

    /// The world to clip space matrix that depths belong to; the frustum's after construction.
    TqLMatrix4f const& GetToClip() const { return m_toClip; }

    /// Lets depths run over the contents of some boxes only, within the view's own range. What is
    /// drawn with GetToClip afterwards looks the same, and its depths are the more exact.
    /// Perspective only. @param boxes  in the world; none: nothing changes
    void NarrowDepths(std::vector<TqLBox3f> const& boxes);

    /// The point seen at a place of the picture (in pixels, not rounded) under a depth of the depth
    /// buffer, 0 to 1.
    TqLPos3f GetPoint(double x, double y, double depth) const;

    /// Where a point lies in the picture, in pixels, and its depth.
    TqLPos3f GetPixel(TqLPos3f const& point) const;

    /// How far apart points are that the depth buffer may take for one: the world distance that
    /// rounding in single precision spans around a depth.
    double GetDepthError(double x, double y, double depth) const;

    double GetEyeDistance(TqLPos3f const& point) const { return (point - m_eye).Length(); }

    /// The pick frustum of a rectangle in pixels.
    TqLPickFrustum3f MakeFrustum(double x0, double y0, double x1, double y1) const;

private:
    double GetWeight(TqLPos3f const& point) const;

    TqLFrustum3f m_frustum;
    TqLMatrix4f m_toClip;
    TqLMatrix4f m_fromClip;
    TqLPos3f m_eye;
    int m_width;
    int m_height;
};

} // namespace demo
