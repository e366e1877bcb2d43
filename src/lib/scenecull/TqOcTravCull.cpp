#include "scenecull/TqOcTravCull.h"

#include "scenecull/internal/TqOcBoxProjection.h"
#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcTraversal.h"

#include "util/TqUError.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTravCull");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>(), DependsOn<TqOcTraversal>(),
                                             DependsOn<TqOcTravFrustum>(),
                                             DependsOn<TqOcTravTransform>()};

constexpr int s_numAxes = 3;
constexpr int s_weight = 3; // coordinate number of w

/// Tests the eight corners one by one, until it is known that the box straddles.
TqOcPairTest TestCorners(TqOcLinearForm const& form, TqOcCornerValues const& w, TqLBox3f const& box)
{
    TqOcCornerValues const c(form, box);
    TqOcPairTest test;
    for (int corner = 0; corner < TqOcCornerValues::eCOUNT && !test.IsStraddling(); ++corner) {
        test.Add(Outcode(c(corner), w(corner)));
    }
    return test;
}

/// Weights of a list of points: the first ones kept, the others worked out when they are asked for.
class PointWeights
{
public:
    PointWeights(TqOcLinearForm const& form, TqLPos3f const* points, int numPoints)
        : m_form(form)
        , m_points(points)
    {
        for (int i = 0; i < numPoints && i < eKEPT; ++i) {
            m_kept[i] = form.At(points[i]);
        }
    }

    double operator()(int i) const { return i < eKEPT ? m_kept[i] : m_form.At(m_points[i]); }

private:
    static constexpr int eKEPT = 50;

    TqOcLinearForm m_form;
    TqLPos3f const* m_points;
    double m_kept[eKEPT];
};

bool IsAnyPositive(PointWeights const& w, int numPoints)
{
    for (int i = 0; i < numPoints; ++i) {
        if (w(i) > 0.0) {
            return true;
        }
    }
    return false;
}

} // namespace

void TqOcTravCull::Initialise()
{
    InitialiseComponent(s_component, "TqOcTravCull 1", s_dependencies);
}

void TqOcTravCull::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTravCull::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTravCull::TqOcTravCull(TqOcTravFrustum* frustum, TqOcTravTransform* transform)
    : m_frustum(frustum)
    , m_transform(transform)
{
    Init();
}

void TqOcTravCull::Narrow(TqOcTravCull const& parent, TqOcTravFrustum* frustum,
                          double nearCullDistance)
{
    m_frustum = frustum;
    m_transform = parent.m_transform;
    m_nearCullDistance = nearCullDistance;
    Init();
}

void TqOcTravCull::Transform(TqOcTravCull const& parent, TqOcTravTransform* transform)
{
    m_frustum = parent.m_frustum;
    m_transform = transform;
    m_nearCullDistance = parent.m_nearCullDistance;
    Init();
}

void TqOcTravCull::Init()
{
    TqLFrustum3f const& frustum = GetFrustum();
    m_nearPlane = frustum.GetNearPlane().TransformedByInverse(GetToWorld());
    m_cullMatrix = TqLMatrix4f(GetToWorld()) * GetViewCullMatrix();
    m_localEyePoint = frustum.GetViewpoint() * GetFromWorld();
}

int TqOcTravCull::IsOutside(TqOcTraversal* traversal, TqLBox3f const& box, int* cullBits) const
{
    traversal->IncFrustumCullTests(1);
    if (*cullBits == 0) {
        return 0;
    }
    TqOcLinearForm const weight = FormOf(m_cullMatrix, s_weight);
    double const wMax = weight.Max(box);
    double const wMin = weight.Min(box);
    if (wMax < 0.0) {
        return 1;
    }
    TqOcCornerValues const cornerWeights(weight, box);
    for (int axis = 0; axis < s_numAxes; ++axis) {
        int const bit = 1 << axis;
        if ((*cullBits & bit) == 0) {
            continue;
        }
        TqOcLinearForm const form = FormOf(m_cullMatrix, axis);
        TqOcPairTest test = TestInterval(form, box, wMin, wMax);
        if (test.IsStraddling()) {
            test = TestCorners(form, cornerWeights, box);
        }
        if (test.IsOutside()) {
            return 1;
        }
        if (test.IsInside()) {
            *cullBits &= ~bit;
        }
    }
    return 0;
}

int TqOcTravCull::CalcArea(TqOcTraversal* traversal, TqLPos3f const* points, int numPoints,
                           int* cullBits, TqLBox2f* screenBox) const
{
    traversal->IncAreaCullTests(1);
    PointWeights const w(FormOf(m_cullMatrix, s_weight), points, numPoints);
    if (!IsAnyPositive(w, numPoints)) {
        *cullBits &= eCULL_X | eCULL_Y;
        return 0;
    }
    TqOcRange range[2];
    for (int axis = 0; axis < 2; ++axis) {
        int const bit = 1 << axis;
        TqOcLinearForm const form = FormOf(m_cullMatrix, axis);
        auto const c = [&form, points](int i) { return form.At(points[i]); };
        if ((*cullBits & bit) == 0) {
            range[axis] = ProjectInside(c, w, numPoints);
            continue;
        }
        TqOcPairTest test;
        range[axis] = ProjectClipped(c, w, numPoints, &test);
        if (test.IsOutside()) {
            return 0;
        }
        if (test.IsInside()) {
            *cullBits &= ~bit;
        }
    }
    screenBox->SetValue(TqLPos2f(range[0].low, range[1].low),
                        TqLPos2f(range[0].high, range[1].high));
    return 1;
}
