#include "geometry/TqLPickFrustum3f.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <cfloat>
#include <cmath>

namespace
{

TqUComponent s_component("TqLPickFrustum3f");

// Bounds, in units of the largest coordinates at play, how far the computed distance of a corner
// from a plane may be from the true one: the rounding of the frustum's matrix, of the plane taken
// from it, and of centre, reach and dot product.
constexpr double s_rounding = 20.0 * DBL_EPSILON;

double SumOfSizes(TqLVec3f const& vec)
{
    return std::fabs(vec[0]) + std::fabs(vec[1]) + std::fabs(vec[2]);
}

// Bounds |x| + |y| + |z| over the box. NaN for a box with a NaN, which then fails every compare,
// and so is neither outside a plane nor inside.
double SumOfSizes(TqLBox3f const& box)
{
    return SumOfSizes(box.GetMin().Vec()) + SumOfSizes(box.GetMax().Vec());
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TqLPickFrustum3f::TqLPickFrustum3f() : TqLPickFrustum3f(TqLFrustum3f()) {}

TqLPickFrustum3f::TqLPickFrustum3f(TqLFrustum3f const& frustum)
{
    Set(frustum);
}

TqLPickFrustum3f::TqLPickFrustum3f(TqLFrustum3f const& frustum, TqLBox2f const& pixels,
                                   int windowWidth, int windowHeight)
{
    TqLPos2f const& min = pixels.GetMin();
    TqLPos2f const& max = pixels.GetMax();
    bool const isFinite = std::isfinite(min[0]) && std::isfinite(min[1]) && std::isfinite(max[0]) &&
                          std::isfinite(max[1]);
    if (!isFinite || !(min[0] < max[0] && min[1] < max[1]) || windowWidth < 1 || windowHeight < 1) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Impossible pixel rectangle %g to %g, %g to %g in a window of %d x %d; "
                       "nothing is picked.",
                       min[0], max[0], min[1], max[1], windowWidth, windowHeight);
        MakeEmpty();
        return;
    }
    double const x0 = min[0] / windowWidth;
    double const x1 = max[0] / windowWidth;
    double const y0 = min[1] / windowHeight;
    double const y1 = max[1] / windowHeight;
    Set(frustum.NarrowedBy(x0, x1, y0, y1));
}

void TqLPickFrustum3f::Set(TqLFrustum3f const& frustum)
{
    frustum.GetPlanes(m_planes);
    m_origin = frustum.GetViewpoint();
    m_rounding = s_rounding * SumOfSizes(m_origin.Vec());
    m_isEmpty = false;
}

void TqLPickFrustum3f::MakeEmpty()
{
    TqLUnitVec3f zero;
    zero.SetUnitValue(0.0, 0.0, 0.0);
    for (TqLPlane3f& plane : m_planes) {
        plane.SetValue(zero, 1.0);
    }
    m_origin.MakeOrigin();
    m_rounding = 0.0;
    m_isEmpty = true;
}

// ---- Work ---------------------------------------------------------------------------------------

int TqLPickFrustum3f::CanCull(TqLBox3f const& box, int* planes) const
{
    if (m_isEmpty || box.IsEmpty()) {
        return 1;
    }
    if ((*planes & eALL_PLANES) == 0) {
        return 0; // in the middle of a rubber band
    }
    // A box reaches half its sizes, each times the normal's component, to both sides of its
    // centre's distance from a plane. Corners are halved one by one: their sum could overflow.
    TqLPos3f const& min = box.GetMin();
    TqLPos3f const& max = box.GetMax();
    double const halfX = max[0] * 0.5 - min[0] * 0.5;
    double const halfY = max[1] * 0.5 - min[1] * 0.5;
    double const halfZ = max[2] * 0.5 - min[2] * 0.5;
    TqLVec3f const center(min[0] + halfX, min[1] + halfY, min[2] + halfZ);
    double const rounding = m_rounding + s_rounding * SumOfSizes(box);
    for (int index = 0; index < eNUM_PLANES; ++index) {
        int const bit = 1 << index;
        if ((*planes & bit) == 0) {
            continue;
        }
        TqLUnitVec3f const& normal = m_planes[index].GetNormal();
        double const reach = std::fabs(normal[0]) * halfX + std::fabs(normal[1]) * halfY +
                             std::fabs(normal[2]) * halfZ;
        double const distance = normal.Dot(center) - m_planes[index].GetDistance();
        double const margin = rounding + s_rounding * std::fabs(m_planes[index].GetDistance());
        if (distance + reach < -margin) {
            return 1;
        }
        if (distance - reach >= margin) {
            *planes &= ~bit;
        }
    }
    return 0;
}

double TqLPickFrustum3f::MinDistance(TqLBox3f const& box) const
{
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        double const origin = m_origin[axis];
        double const below = box.GetMin()[axis] - origin;
        double const above = origin - box.GetMax()[axis];
        double const gap = below > 0.0 ? below : (above > 0.0 ? above : 0.0);
        sum += gap * gap;
    }
    return std::sqrt(sum);
}

TqLPickFrustum3f TqLPickFrustum3f::TransformedByInverse(TqLAffine3f const& toWorld) const
{
    TqLPickFrustum3f result(*this);
    if (m_isEmpty) {
        return result;
    }
    TqLAffine3f const fromWorld = toWorld.Inverse();
    if (fromWorld.IsIdentity() && !toWorld.IsIdentity()) {
        result.MakeEmpty();
        return result;
    }
    for (TqLPlane3f& plane : result.m_planes) {
        plane = plane.TransformedByInverse(toWorld);
    }
    result.m_origin = m_origin * fromWorld;

    // What the world distances were off by is off in local ones too, times the largest scale.
    double scale = 0.0;
    for (int row = 0; row < 3; ++row) {
        scale += SumOfSizes(fromWorld.GetRow(row));
    }
    result.m_rounding = (m_rounding + s_rounding * SumOfSizes(toWorld.GetTranslation())) * scale +
                        s_rounding * SumOfSizes(result.m_origin.Vec());
    return result;
}
