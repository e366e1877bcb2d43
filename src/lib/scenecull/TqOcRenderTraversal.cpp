// Settings and statistics; TqOcRenderTraversalFrameTime.cpp holds frame-time control.
#include "scenecull/TqOcRenderTraversal.h"

#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcSaturate.h"

#include "util/TqUError.h"

#include <algorithm>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcRenderTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcTraversal>(), DependsOn<TqUTime>()};

/// Brings the length of a scale table into its bounds; posts when it was not.
int BoundCount(char const* table, int count, bool hasArrays)
{
    int const most = hasArrays ? TqOcRenderTraversal::eMAX_SCALES : 0;
    int const used = std::clamp(count, 0, most);
    if (used != count) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "%d %s scales given, %d used", count,
                       table, used);
    }
    return used;
}

} // namespace

void TqOcRenderTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcRenderTraversal 1", s_dependencies);
}

void TqOcRenderTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcRenderTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcRenderTraversal::TqOcRenderTraversal(TqOcContext* context)
    : TqOcTraversal(context)
    , m_viewFrustum(1.0, 1.0, 1.0, 1000.0)
{
    ResetStats();
    ResetFrameTimer();
}

TqOcRenderTraversal::~TqOcRenderTraversal() = default;

/// Posts when there is no context to run a frame with.
bool TqOcRenderTraversal::HasContext() const
{
    if (GetContext() == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "A traversal without a context was applied");
    }
    return GetContext() != nullptr;
}

void TqOcRenderTraversal::CopyConfig(TqOcRenderTraversal const* other)
{
    TqOcTraversal::CopyConfig(other);
    m_viewFrustum = other->m_viewFrustum;
    m_cullArea = other->m_cullArea;
    m_cullExtent = other->m_cullExtent;
    m_cullDistance = other->m_cullDistance;
    m_primitiveBits = other->m_primitiveBits;
    m_useLayers = other->m_useLayers;
    m_currentLayers = other->m_currentLayers;
    m_lastLayers = other->m_lastLayers;
    m_highlightColor = other->m_highlightColor;
    m_policy = other->m_policy;
    m_targetFrameTime = other->m_targetFrameTime;
    m_frameType = other->m_frameType;
    m_developFrame = other->m_developFrame;
    SetTraversalFactor(other->m_traversalFactor);
    m_lowBand = other->m_lowBand;
    m_highBand = other->m_highBand;
    m_lowLoad = other->m_lowLoad;
    m_highLoad = other->m_highLoad;
    m_minStress = other->m_minStress;
    m_maxStress = other->m_maxStress;
    m_holdStress = other->m_holdStress;
    m_primary = other->m_primary;
    m_secondary = other->m_secondary;
    m_sortSlack = other->m_sortSlack;
    m_slackStart = other->m_slackStart;
    SetAreaScales(other->m_areaThresholds, other->m_areaScales, other->m_numAreaScales);
    SetDistanceScales(other->m_distanceThresholds, other->m_distanceScales,
                      other->m_numDistanceScales);
    SetHysteresisScales(other->m_hysteresisScales, other->m_numHysteresisScales);
    m_visibilityScale = other->m_visibilityScale;
    SetDynamicPriorityCallback(other->m_dynamicPriorityCallback, other->m_dynamicPriorityData);
    SetDynamicShapeCullCallback(other->m_dynamicShapeCullCallback, other->m_dynamicShapeCullData);
}

void TqOcRenderTraversal::SetAreaScales(double const* thresholds, double const* scales, int n)
{
    m_numAreaScales = BoundCount("area", n, thresholds != nullptr && scales != nullptr);
    std::copy_n(thresholds, m_numAreaScales, m_areaThresholds);
    std::copy_n(scales, m_numAreaScales, m_areaScales);
}

void TqOcRenderTraversal::SetDistanceScales(double const* thresholds, double const* scales, int n)
{
    m_numDistanceScales = BoundCount("distance", n, thresholds != nullptr && scales != nullptr);
    std::copy_n(thresholds, m_numDistanceScales, m_distanceThresholds);
    std::copy_n(scales, m_numDistanceScales, m_distanceScales);
}

void TqOcRenderTraversal::SetHysteresisScales(double const* scales, int n)
{
    m_hysteresisScales[0] = 1.0;
    m_numHysteresisScales = BoundCount("hysteresis", n, scales != nullptr);
    if (scales != m_hysteresisScales) {
        std::copy_n(scales, m_numHysteresisScales, m_hysteresisScales);
    }
}

void TqOcRenderTraversal::SetDynamicPriorityCallback(DynamicPriorityCallback callback,
                                                     void* userData)
{
    m_dynamicPriorityCallback = callback;
    m_dynamicPriorityData = userData;
}

void TqOcRenderTraversal::SetDynamicShapeCullCallback(DynamicShapeCullCallback callback,
                                                      void* userData)
{
    m_dynamicShapeCullCallback = callback;
    m_dynamicShapeCullData = userData;
}

void TqOcRenderTraversal::SetTraversalFactor(double factor)
{
    if (!(factor > 0.0 && factor <= 1.0)) {
        TqUError::Post(TqUSysError::eWARNING, &s_component,
                       "TraversalFactor %g out of range 0 < f <= 1", factor);
        return;
    }
    StoreTraversalFactor(factor);
}

void TqOcRenderTraversal::ChangeTraversalFactor(double multiplier)
{
    double const product = multiplier * m_traversalFactor;
    SetTraversalFactor(product > 1.0 ? 1.0 : product);
}

void TqOcRenderTraversal::StoreTraversalFactor(double factor)
{
    m_traversalFactor = factor;
    std::fill_n(m_factorHistory, static_cast<int>(eFACTOR_HISTORY), factor);
}

void TqOcRenderTraversal::EndInteractive()
{
    m_interactiveCount = m_interactiveCount >= 1 ? m_interactiveCount - 1 : 0;
    if (m_interactiveCount == 0) {
        m_interactive = 0;
    }
}

double TqOcRenderTraversal::GetRenderCost() const
{
    return m_expectedTris != 0 ? m_lastFrameTime / m_expectedTris : 0.0;
}

void TqOcRenderTraversal::ChangeRenderCost(double factor)
{
    if (m_expectedTris == 0) {
        return;
    }
    for (std::uint32_t* const tris :
         {&m_expectedTris, &m_lowSample.tris, &m_middleSample.tris, &m_highSample.tris}) {
        *tris = SaturatedUnsigned(*tris * factor);
    }
}

void TqOcRenderTraversal::ResetHysteresis()
{
    m_expectedTris = 0;
    ResetSamples();
}

void TqOcRenderTraversal::ResetStats()
{
    TqOcTraversal::ResetStats();
    m_trisFrustumCulled = 0;
    m_trisAreaCulled = 0;
    m_trisVisibilityCulled = 0;
    m_trisTraversedCulled = 0;
    m_trisOcclusionCulled = 0;
    m_leavesRendered = 0;
    m_shapesRendered = 0;
    m_trisRendered = 0;
    m_busyWait = false;
}
