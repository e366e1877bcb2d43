#include "demo/PixelRays.h"

#include <algorithm>
#include <cfloat>
#include <limits>

namespace demo
{

namespace
{

// The rounding of transformed corners, of their interpolation and of the stored value, in steps of
// a single-precision depth near 1.
constexpr double eDEPTH_STEPS = 8.0;
constexpr double eNARROWER = 0.99; // room for rounding at both ends
constexpr double eDEPTH_STEP = FLT_EPSILON / 2.0;

/// (x, y, z, 1) * matrix, divided by its last coordinate.
TqLPos3f Project(TqLMatrix4f const& matrix, double x, double y, double z)
{
    double result[4];
    for (int column = 0; column < 4; ++column) {
        result[column] = x * matrix[0][column] + y * matrix[1][column] + z * matrix[2][column] +
                         matrix[3][column];
    }
    return TqLPos3f(result[0] / result[3], result[1] / result[3], result[2] / result[3]);
}

} // namespace

PixelRays::PixelRays(TqLFrustum3f const& frustum, int width, int height)
    : m_frustum(frustum)
    , m_toClip(frustum.GetMatrix())
    , m_fromClip(m_toClip.Inverse())
    , m_eye(frustum.GetViewpoint())
    , m_width(width)
    , m_height(height)
{}

void PixelRays::NarrowDepths(std::vector<TqLBox3f> const& boxes)
{
    double nearest = std::numeric_limits<double>::infinity();
    double farthest = 0.0;
    for (TqLBox3f const& box : boxes) {
        for (int corner = 0; corner < 8; ++corner) {
            double const weight = GetWeight(box.GetCorner(corner));
            nearest = std::min(nearest, weight);
            farthest = std::max(farthest, weight);
        }
    }
    double const centerX = 0.5 * m_width;
    double const centerY = 0.5 * m_height;
    double const low = std::max(nearest * eNARROWER, GetWeight(GetPoint(centerX, centerY, 0.0)));
    double const high = std::min(farthest / eNARROWER, GetWeight(GetPoint(centerX, centerY, 1.0)));
    if (!(low < high) || m_frustum.GetFrustumType() != TqLFrustum3f::ePERSPECTIVE) {
        return;
    }
    // Clip-space z over the weight w is a + b / w: -1 at the lowest weight, 1 at the highest.
    double const a = (high + low) / (high - low);
    double const b = -2.0 * high * low / (high - low);
    for (int row = 0; row < 4; ++row) {
        m_toClip[row][2] = a * m_toClip[row][3] + (row == 3 ? b : 0.0);
    }
    m_fromClip = m_toClip.Inverse();
}

/// The clip-space weight of a point: its distance along the view, up to a factor.
double PixelRays::GetWeight(TqLPos3f const& point) const
{
    double weight = m_toClip[3][3];
    for (int axis = 0; axis < 3; ++axis) {
        weight += point[axis] * m_toClip[axis][3];
    }
    return weight;
}

TqLPos3f PixelRays::GetPoint(double x, double y, double depth) const
{
    return Project(m_fromClip, 2.0 * x / m_width - 1.0, 2.0 * y / m_height - 1.0,
                   2.0 * depth - 1.0);
}

TqLPos3f PixelRays::GetPixel(TqLPos3f const& point) const
{
    TqLPos3f const clip = Project(m_toClip, point[0], point[1], point[2]);
    return TqLPos3f((clip[0] + 1.0) * 0.5 * m_width, (clip[1] + 1.0) * 0.5 * m_height,
                    (clip[2] + 1.0) * 0.5);
}

double PixelRays::GetDepthError(double x, double y, double depth) const
{
    double const error = eDEPTH_STEPS * eDEPTH_STEP;
    TqLPos3f const nearer = GetPoint(x, y, depth - error);
    TqLPos3f const farther = GetPoint(x, y, std::min(depth + error, 1.0));
    return (farther - nearer).Length();
}

TqLPickFrustum3f PixelRays::MakeFrustum(double x0, double y0, double x1, double y1) const
{
    return TqLPickFrustum3f(m_frustum, TqLBox2f(TqLPos2f(x0, y0), TqLPos2f(x1, y1)), m_width,
                            m_height);
}

} // namespace demo
