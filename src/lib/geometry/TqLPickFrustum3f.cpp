#include "geometry/TqLPickFrustum3f.h"

#include "geometry/internal/TqLPlaneTest.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <cmath>

using namespace TqLInternal;

namespace
{

TqUComponent s_component("TqLPickFrustum3f");

double SumOfSizes(TqLVec3f const& vec)
{
    return std::fabs(vec[0]) + std::fabs(vec[1]) + std::fabs(vec[2]);
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
    bool const isWindow = windowWidth >= 1 && windowHeight >= 1;
    double const width = isWindow ? windowWidth : 1.0;
    double const height = isWindow ? windowHeight : 1.0;
    double const x0 = min[0] / width;
    double const x1 = max[0] / width;
    double const y0 = min[1] / height;
    double const y1 = max[1] / height;
    bool const isFinite =
        std::isfinite(x0) && std::isfinite(x1) && std::isfinite(y0) && std::isfinite(y1);
    if (!isWindow || !isFinite || !(x0 < x1 && y0 < y1)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Impossible pixel rectangle %g to %g, %g to %g in a window of %d x %d; "
                       "nothing is picked.",
                       min[0], max[0], min[1], max[1], windowWidth, windowHeight);
        MakeEmpty();
        return;
    }
    TqLFrustum3f narrowed(frustum);
    if (narrowed.Narrow(x0, x1, y0, y1)) {
        Set(narrowed);
    } else {
        MakeEmpty(); // so narrow that the matrix overflows
    }
}

void TqLPickFrustum3f::Set(TqLFrustum3f const& frustum)
{
    frustum.GetPlanes(m_planes);
    m_origin = frustum.GetViewpoint();
    m_rounding = s_planeRounding * SumOfSizes(m_origin.Vec());
    m_boxRounding = s_planeRounding;
    m_isEmpty = false;
    SetRows();
}

/// Copies the planes into the rows that boxes are tested against.
void TqLPickFrustum3f::SetRows()
{
    for (int i = 0; i < eNUM_PLANES; ++i) {
        TqLUnitVec3f const& normal = m_planes[i].GetNormal();
        double const distance = m_planes[i].GetDistance();
        m_rows[eROW_X][i] = normal[0];
        m_rows[eROW_Y][i] = normal[1];
        m_rows[eROW_Z][i] = normal[2];
        m_rows[eROW_SIZE_X][i] = std::fabs(normal[0]);
        m_rows[eROW_SIZE_Y][i] = std::fabs(normal[1]);
        m_rows[eROW_SIZE_Z][i] = std::fabs(normal[2]);
        m_rows[eROW_DISTANCE][i] = distance;
        m_rows[eROW_MARGIN][i] = s_planeRounding * std::fabs(distance);
    }
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
    m_boxRounding = s_planeRounding;
    m_isEmpty = true;
    SetRows();
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
    return TqLPlaneTest::IsOutside(m_rows, {m_rounding, m_boxRounding}, box, planes);
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

    // What the world distances were off by is off in local ones too, times the largest scale. A
    // local normal is off by more where scales differ: it is made a unit vector from what is left
    // of long rows that all but cancel. The product of both transforms' sizes bounds by how much.
    double scale = 0.0;
    double worldScale = 0.0;
    for (int row = 0; row < 3; ++row) {
        scale += SumOfSizes(fromWorld.GetRow(row));
        worldScale += SumOfSizes(toWorld.GetRow(row));
    }
    result.m_rounding =
        (m_rounding + s_planeRounding * SumOfSizes(toWorld.GetTranslation())) * scale +
        s_planeRounding * SumOfSizes(result.m_origin.Vec());
    result.m_boxRounding = m_boxRounding * std::fmax(1.0, scale * worldScale);
    result.SetRows();
    return result;
}
