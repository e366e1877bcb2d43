#include "demo/DemoView.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <algorithm>
#include <cmath>

namespace demo
{

namespace
{

constexpr double eVERTICAL_ANGLE = 1.05; // about 60 degrees
constexpr double eSTEEP = 0.999;
constexpr double eCULL_AREA = 2.0;
constexpr double eLOW_BAND = 0.85;
constexpr double eHIGH_BAND = 1.0;
constexpr double eMAX_STRESS = 6.0;
constexpr double eLONG_FRAME = 600.0;

} // namespace

DemoView::DemoView(TqLBox3f const& box, int width, int height)
    : m_aspect(static_cast<double>(width) / height)
{
    TqLVec3f const size = box.GetSize();
    double const diagonal = std::sqrt(size.Dot(size));
    m_near = std::max(diagonal, 1e-6) * 5e-4;
    m_far = std::max(diagonal, 1e-6) * 4.0;
}

TqLFrustum3f DemoView::MakeFrustum(host::CameraKey const& key) const
{
    double const steepness = std::fabs(key.direction[1]);
    TqLVec3f const up = steepness > eSTEEP ? TqLVec3f(0.0, 0.0, 1.0) : TqLVec3f(0.0, 1.0, 0.0);
    return TqLFrustum3f::Perspective(key.position, key.direction, up, eVERTICAL_ANGLE, m_aspect,
                                     m_near, m_far);
}

double GetDemoCullArea()
{
    return eCULL_AREA;
}

void SetUpTraversal(TqOcPrioritizedTraversal* traversal)
{
    traversal->SetCullArea(eCULL_AREA);
    traversal->SetPrimary(TqOcRenderTraversal::ePRIORITY_AREA);
    traversal->SetSecondary(TqOcRenderTraversal::eSECONDARY_SCALE);
}

void SetUpForFlight(TqOcPrioritizedTraversal* traversal, DemoOptions const& options)
{
    traversal->SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    traversal->SetTargetFrameTime(options.m_targetTime);
    traversal->SetLowBand(eLOW_BAND);
    traversal->SetHighBand(eHIGH_BAND);
    traversal->SetMinStress(1.0);
    traversal->SetMaxStress(eMAX_STRESS);
    traversal->SetHoldStress(0);
    traversal->SetOcclusionCulling(options.m_queries ? 1 : 0);
}

void SetUpForWholeFrames(TqOcPrioritizedTraversal* traversal)
{
    traversal->SetPolicy(TqOcRenderTraversal::eNEVER_INTERACTIVE);
    traversal->SetLowBand(1.0);
    traversal->SetHighBand(1.0);
    traversal->SetMinStress(1.0);
    traversal->SetMaxStress(1.0);
}

void SetUpForBudget(TqOcPrioritizedTraversal* traversal, unsigned tris)
{
    traversal->SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    traversal->SetTargetFrameTime(eLONG_FRAME);
    // With a low band of 0 the frame ends as soon as the triangle target is reached, instead of
    // using up the time that is left.
    traversal->SetLowBand(0.0);
    traversal->SetHighBand(1.0);
    traversal->SetMinStress(1.0);
    traversal->SetMaxStress(1.0);
    traversal->LowTarget(0.0, tris > 0 ? tris - 1 : 0);
}

} // namespace demo
