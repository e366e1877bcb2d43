#include "scenecull/TqOcTravFrustum.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcContext.h"

#include "util/TqUError.h"

#include <type_traits>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTravFrustum");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>(), DependsOn<TqLMatrix>()};

static_assert(std::is_trivially_destructible<TqOcTravFrustum>::value, "pools drop it wholesale");

/// World size of one (stressed) pixel per unit of eye distance.
double DistToInvPixel(TqLFrustum3f const& frustum, double pixelSize, double stress)
{
    if (frustum.GetFrustumType() != TqLFrustum3f::ePERSPECTIVE) {
        return pixelSize;
    }
    // The near plane's normal points into the scene, so the viewpoint lies behind the plane.
    double const eyeDistance = -frustum.GetNearPlane().DistanceFromPlane(frustum.GetViewpoint());
    return eyeDistance > 0.0 ? pixelSize * stress / eyeDistance : 0.0;
}

} // namespace

void TqOcTravFrustum::Initialise()
{
    InitialiseComponent(s_component, "TqOcTravFrustum 1", s_dependencies);
}

void TqOcTravFrustum::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTravFrustum::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTravFrustum::TqOcTravFrustum(TqLFrustum3f const& frustum, TqOcContext* context, double stress)
    : m_frustum(frustum)
    , m_viewCullMatrix(frustum.GetMatrix())
{
    int windowWidth = 0;
    int windowHeight = 0;
    context->GetWindowSize(&windowWidth, &windowHeight);
    double const width = windowWidth;
    double const height = windowHeight;

    m_xToPixelConv = width / (2.0 * stress);
    m_yToPixelConv = height / (2.0 * stress);
    m_areaToPixelConv = m_xToPixelConv * m_yToPixelConv;

    double const pixelWidth = frustum.GetWidth() / width;
    double const pixelHeight = frustum.GetHeight() / height;
    double const pixelSize = pixelHeight < pixelWidth ? pixelHeight : pixelWidth;
    m_distToInvPixelConv = DistToInvPixel(frustum, pixelSize, stress);
}

void TqOcTravFrustum::Narrow(TqOcTravFrustum const& parent, double x0, double x1, double y0,
                             double y1)
{
    double const dx = x1 - x0;
    double const dy = y1 - y0;
    m_frustum = parent.m_frustum.NarrowedBy(x0, x1, y0, y1);
    m_viewCullMatrix = m_frustum.GetMatrix();
    m_xToPixelConv = dx * parent.m_xToPixelConv;
    m_yToPixelConv = dy * parent.m_yToPixelConv;
    m_areaToPixelConv = m_xToPixelConv * m_yToPixelConv;
    m_distToInvPixelConv = parent.m_distToInvPixelConv / (dy > dx ? dy : dx);
}
