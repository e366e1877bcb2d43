#include "scenecull/TqOcRenderTravCull.h"

#include "scenecull/internal/TqOcBoxProjection.h"
#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcRenderTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <cmath>
#include <type_traits>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcRenderTravCull");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcTravCull>(),
                                             DependsOn<TqOcRenderTraversal>()};

static_assert(std::is_trivially_destructible<TqOcRenderTravCull>::value, "pools drop it wholesale");
static_assert(sizeof(void*) != 8 || sizeof(TqOcRenderTravCullData) == 56,
              "most of a record of a walk");

constexpr int s_weight = 3;                  // coordinate number of w
constexpr double s_straddlingFactor = 1e-10; // of a node that crosses the near-cull distance

constexpr unsigned int s_areaExempt = TqLPrimitiveTypes::ePOINTS | TqLPrimitiveTypes::eTEXT;

bool HasNan(TqLBox3f const& box)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (std::isnan(box.GetMin()[axis]) || std::isnan(box.GetMax()[axis])) {
            return true;
        }
    }
    return false;
}

int CullByFrustum(TqOcRenderTraversal& traversal, TqOcTraversable const& node, int cullBits,
                  TqOcRenderTravCullData* data)
{
    traversal.IncTrisFrustumCulled(node.GetTris());
    data->cullBits = cullBits;
    return 0;
}

/// A cull that needs no look at the frustum's sides: the node may be stamped as dealt with.
int CullAsWhole(TqOcRenderTraversal& traversal, int markCulled, TqOcTraversable& node, int cullBits,
                TqOcRenderTravCullData* data)
{
    if (markCulled != 0) {
        node.SetFrameId(traversal.GetFrameId());
    }
    return CullByFrustum(traversal, node, cullBits, data);
}

/// Projects a box on one axis and narrows that axis's cull bit. Returns whether it is outside.
bool ProjectAxis(TqLMatrix4f const& matrix, TqLBox3f const& box, int axis, double wMin, double wMax,
                 TqOcCornerValues const& w, int* cullBits, TqOcRange* range)
{
    int const bit = 1 << axis;
    TqOcLinearForm const form = FormOf(matrix, axis);
    if ((*cullBits & bit) != 0) {
        TqOcPairTest test = TestInterval(form, box, wMin, wMax);
        if (test.IsStraddling()) {
            test = TqOcPairTest();
            *range =
                ProjectClipped(TqOcCornerValues(form, box), w, TqOcCornerValues::eCOUNT, &test);
            if (test.IsInside()) {
                *cullBits &= ~bit;
            }
            return test.IsOutside();
        }
        if (test.IsOutside()) {
            return true;
        }
        *cullBits &= ~bit;
    }
    *range = ProjectInside(TqOcCornerValues(form, box), w, TqOcCornerValues::eCOUNT);
    return false;
}

/// Whether a node is too small on the screen. Points and text never are; lines are only when they
/// are too short both ways.
bool IsTooSmall(TqOcRenderTraversal const& traversal, TqOcTravFrustum const& frustum,
                unsigned int primitives, double dx, double dy, double pixelArea)
{
    if ((primitives & s_areaExempt) != 0) {
        return false;
    }
    if ((primitives & TqLPrimitiveTypes::eLINES) == 0) {
        return traversal.GetCullArea() > pixelArea;
    }
    double const extent = traversal.GetCullExtent();
    return extent > dx * frustum.GetXToPixelConv() && extent > dy * frustum.GetYToPixelConv();
}

/// The scale beside the first threshold that is greater than `value`, or 1.
double FindScale(double value, double const* thresholds, double const* scales, int count)
{
    for (int i = 0; i < count; ++i) {
        if (thresholds[i] > value) {
            return scales[i];
        }
    }
    return 1.0;
}

/// The scale for a node that a walk last expanded some frames ago; 1 for one too long ago.
double FindHysteresisScale(TqOcRenderTraversal const& traversal, TqOcTraversable const& node)
{
    int const age = static_cast<int>(traversal.GetFrameId() - node.GetHysteresisId() - 1U);
    if (age >= traversal.GetNumHysteresisScales()) {
        return 1.0;
    }
    return traversal.GetHysteresisScales()[age > 0 ? age : 0];
}

/// Base priority times the secondary factors; also writes the distance.
void Score(TqOcRenderTraversal const& traversal, TqOcTraversable const& node, double base,
           double distance, double pixelArea, TqOcRenderTravCullData* data)
{
    unsigned int const secondary = traversal.GetSecondary();
    double priority = base;
    if ((secondary & TqOcRenderTraversal::eSECONDARY_DISTANCE) != 0) {
        priority *= FindScale(distance, traversal.GetDistanceThresholds(),
                              traversal.GetDistanceScales(), traversal.GetNumDistanceScales());
    }
    data->distance = distance;
    if ((secondary & TqOcRenderTraversal::eSECONDARY_AREA) != 0) {
        priority *= FindScale(pixelArea, traversal.GetAreaThresholds(), traversal.GetAreaScales(),
                              traversal.GetNumAreaScales());
    }
    if ((secondary & TqOcRenderTraversal::eSECONDARY_SCALE) != 0) {
        priority *= node.GetScale();
    }
    if ((secondary & TqOcRenderTraversal::eSECONDARY_HYSTERESIS) != 0) {
        priority *= FindHysteresisScale(traversal, node);
    }
    data->priority = priority;
}

} // namespace

void TqOcRenderTravCull::Initialise()
{
    InitialiseComponent(s_component, "TqOcRenderTravCull 1", s_dependencies);
}

void TqOcRenderTravCull::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcRenderTravCull::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcRenderTravCull::TqOcRenderTravCull(TqOcTravFrustum* frustum, TqOcTravTransform* transform)
    : TqOcTravCull(frustum, transform)
{}

int TqOcRenderTravCull::ClipPlaneCull(TqLBox3f const& box) const
{
    TqLPlane3f const* const planes = GetClipPlanes();
    for (int i = 0; i < GetNumClipPlanes(); ++i) {
        if (planes[i].MaxDistanceFromPlane(box) < 0.0) {
            return 1;
        }
    }
    return 0;
}

int TqOcRenderTravCull::ClipPlaneIntersect(TqLBox3f const& box) const
{
    return ClipPlaneIntersect(GetClipPlanes(), GetNumClipPlanes(), box);
}

int TqOcRenderTravCull::ClipPlaneIntersect(TqLPlane3f const* planes, int numPlanes,
                                           TqLBox3f const& box)
{
    for (int i = 0; i < numPlanes; ++i) {
        if (planes[i].MinDistanceFromPlane(box) < 0.0) {
            return 1;
        }
    }
    return 0;
}

int TqOcRenderTravCull::CalcPriority(TqOcRenderTraversal* traversal, int markCulled,
                                     TqOcTraversable* node, int cullBits,
                                     TqOcRenderTravCullData* data) const
{
    TqLBox3f const& box = node->GetBoundingBox();
    traversal->IncFrustumCullTests(1);

    // Clip planes.
    if (!node->IsIgnoreClip() && ClipPlaneCull(box)) {
        return CullAsWhole(*traversal, markCulled, *node, cullBits, data);
    }

    // Behind the eye. The two weights read every coordinate of the box, so a NaN shows in them.
    TqLMatrix4f const& matrix = GetCullMatrix();
    TqOcLinearForm const weight = FormOf(matrix, s_weight);
    double const wMax = weight.Max(box);
    double const wMin = weight.Min(box);
    if (wMax < 0.0 || (std::isunordered(wMin, wMax) && HasNan(box))) {
        return CullAsWhole(*traversal, markCulled, *node, cullBits, data);
    }

    // Frustum sides and projection.
    traversal->IncAreaCullTests(1);
    int bits = cullBits;
    if (wMin > 0.0) {
        bits &= ~eCULL_Z;
    }
    TqOcCornerValues const w(weight, box);
    TqOcRange x;
    TqOcRange y;
    if (ProjectAxis(matrix, box, 0, wMin, wMax, w, &bits, &x) ||
        ProjectAxis(matrix, box, 1, wMin, wMax, w, &bits, &y)) {
        return CullByFrustum(*traversal, *node, bits, data);
    }
    data->screenBox.SetValue(TqLPos2f(x.low, y.low), TqLPos2f(x.high, y.high));
    data->cullBits = bits;

    // Area and extent.
    double const dx = x.high - x.low;
    double const dy = y.high - y.low;
    double const area = dx * dy;
    double const pixelArea = area * GetAreaToPixelConv();
    if (IsTooSmall(*traversal, *GetTravFrustum(), node->GetPrimitives(), dx, dy, pixelArea)) {
        traversal->IncTrisAreaCulled(node->GetTris());
        return 0;
    }

    // Distance, and near-cull distance.
    double distance = GetNearPlane().MinDistanceFromPlane(box);
    if (std::isnan(distance)) {
        distance = 0.0;
    }
    if (distance > traversal->GetCullDistance()) {
        return 0;
    }
    bool const byDistance = traversal->GetPrimary() == TqOcRenderTraversal::ePRIORITY_DISTANCE;
    double factor = 1.0;
    if (GetNearCullDistance() > distance) {
        if (GetNearCullDistance() > GetNearPlane().MaxDistanceFromPlane(box)) {
            return 0;
        }
        factor = byDistance ? s_straddlingFactor : 1.0;
    }

    // Priority.
    if (node->IsForceRender()) {
        data->priority = s_forcePriority;
    } else {
        double const base = byDistance ? distance : area > 0.0 ? 1.0 / area : GetAreaToPixelConv();
        Score(*traversal, *node, base * factor, distance, pixelArea, data);
    }
    TqOcRenderTraversal::DynamicPriorityCallback const callback =
        traversal->GetDynamicPriorityCallback();
    return callback != nullptr ? callback(node, data, traversal->GetDynamicPriorityData()) : 1;
}
