// Frame-time control of TqOcRenderTraversal.
//
// Three loops run from frame to frame. The expected triangle count is found by interpolating
// samples (seconds since the frame's start, triangles drawn until then) at the middle band time; it
// becomes the triangle target. The traversal factor follows the measured share of the walk in the
// frame, averaged over four frames. The stress controller searches, by halving and bisection, the
// stress at which the load (frame time over target) lies between LowLoad and HighLoad.
#include "scenecull/internal/TqOcSaturate.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcRenderTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <algorithm>

using namespace TqOcInternal;

namespace
{

constexpr unsigned int s_frameTimerMicroseconds = 60000000; // the timer only measures
constexpr unsigned int s_frameTimerStale = 1000;            // microseconds

constexpr double s_middleBand = 0.4;        // of the way from the low to the high band time
constexpr double s_shortestSlope = 0.001;   // seconds between samples that give a slope
constexpr double s_limitOverExpected = 1.1; // triangle limit without a slope
constexpr double s_shapesInBand = 5.0;      // shapes that the band must leave room for

constexpr double s_overheadRise = 0.5;
constexpr double s_overheadFall = 0.125;

constexpr double s_factorGrowth = 1.03125; // most per frame, before averaging
constexpr double s_factorDrop = 0.5;

constexpr double s_loadHeld = -2.0;
constexpr double s_loadNotInteractive = -1.0;
constexpr double s_loadIncomplete = 2.0;

enum StressState
{
    eSTRESS_START = 0,
    eSTRESS_INCREASED = 1,
    eSTRESS_DECREASED = 2,
    eSTRESS_BISECTED = 3,
    eSTRESS_SETTLED = 4
};

double Difference(std::uint32_t a, std::uint32_t b)
{
    return static_cast<double>(a) - static_cast<double>(b);
}

double ClampedFactor(double factor)
{
    return factor > 0.0 && factor <= 1.0 ? factor : 1.0; // 1 for a NaN, too
}

} // namespace

// --- Samples
// ---------------------------------------------------------------------------------------

void TqOcRenderTraversal::ResetFrameTimer()
{
    m_frameTimer.SetTimeOut(s_frameTimerMicroseconds, s_frameTimerStale);
}

void TqOcRenderTraversal::ResetSamples()
{
    m_lowSample = {0.0, 0};
    m_middleSample = {0.0, 0};
    m_highSample = {0.0, 0};
}

void TqOcRenderTraversal::Sample(double seconds, unsigned int tris)
{
    if (m_busyWait) {
        return;
    }
    TimeSample& sample = seconds < m_lowBandTime      ? m_lowSample
                         : seconds < m_middleBandTime ? m_middleSample
                                                      : m_highSample;
    sample = {seconds, tris};
}

void TqOcRenderTraversal::LowTarget(double, unsigned int tris)
{
    m_triangleTarget = tris < eNO_TRIANGLE_LIMIT ? tris + 1 : tris;
    m_expectedTris = m_triangleTarget;
}

void TqOcRenderTraversal::SetExpectedTris()
{
    if (m_busyWait) {
        return;
    }
    if (m_middleSample.tris != 0) {
        m_expectedTris = m_middleSample.tris;
        return;
    }
    if (m_highSample.tris == 0) {
        m_expectedTris = 0;
        return;
    }
    if (m_lowSample.tris > m_highSample.tris || m_lowSample.seconds > m_middleBandTime) {
        m_lowSample = {0.0, 0};
    }
    double const dt = m_highSample.seconds - m_lowSample.seconds;
    if (dt >= s_shortestSlope) {
        m_expectedTris = SaturatedUnsigned((m_middleBandTime - m_lowSample.seconds) / dt *
                                               Difference(m_highSample.tris, m_lowSample.tris) +
                                           m_lowSample.tris);
    } else {
        m_expectedTris = m_lowSample.tris;
    }
}

double TqOcRenderTraversal::CalcRunningAverageTraversalFactor(double factor)
{
    m_factorHistory[m_factorIndex] = factor;
    m_factorIndex = m_factorIndex + 1 == eFACTOR_HISTORY ? 0 : m_factorIndex + 1;
    double sum = 0.0;
    for (double const past : m_factorHistory) {
        sum += past;
    }
    return sum * 0.25;
}

// --- Start of a frame
// ------------------------------------------------------------------------------

void TqOcRenderTraversal::StartTraversal(TqOcTraversable* root)
{
    if (HasContext() && HasRoot(root)) {
        InitTraversal();
        GetContext()->StartRender();
        root->SetFrameId(m_frameId);
        StartRender(root);
    }
}

void TqOcRenderTraversal::InitTraversal()
{
    LastFrame const last = {m_shapesRendered, m_lowSample, m_highSample};
    ResetStats();
    ResetSamples();
    m_lastFrameToFrameTime = m_frameTimer.GetTimeElapsedInSeconds();
    ResetFrameTimer();
    InitOverhead();
    InitInteractive();
    InitBands();
    m_frameDropped = 0;
    InitTriangleTarget(last);
    InitStress();
}

void TqOcRenderTraversal::InitOverhead()
{
    if (m_frameType != eFRAME_MEASURE_OVERHEAD || !m_interactive) {
        m_overheadTime = 0.0;
        return;
    }
    double const gap = std::max(0.0, m_lastFrameToFrameTime - m_lastFrameTime);
    double const room = std::max(0.0, m_targetFrameTime - m_overheadTime);
    if (gap > m_overheadTime) {
        m_overheadTime = std::min(m_overheadTime + s_overheadRise * room, gap);
    } else {
        m_overheadTime = std::max(m_overheadTime - s_overheadFall * room, gap);
    }
}

void TqOcRenderTraversal::InitInteractive()
{
    switch (m_policy) {
    case eNEVER_INTERACTIVE:
    case eINTERRUPTIBLE:
        m_interactive = 0;
        break;
    case eALWAYS_INTERACTIVE:
        m_interactive = 1;
        break;
    case eCOUNT_INTERACTIVE:
        m_interactive = m_interactiveCount > 0;
        if (!m_interactive) {
            ResetHysteresis();
        }
        break;
    case eAUTO_INTERACTIVE:
        if (!m_interactive) {
            ResetHysteresis();
        }
        m_interactive = WillNextFrameBeInteractive();
        break;
    }
}

int TqOcRenderTraversal::WillNextFrameBeInteractive() const
{
    // The context's questions are not const; asking them changes nothing here.
    TqOcContext* const context = const_cast<TqOcContext*>(GetContext());
    switch (m_policy) {
    case eALWAYS_INTERACTIVE:
        return 1;
    case eCOUNT_INTERACTIVE:
        return m_interactiveCount >= 1;
    case eAUTO_INTERACTIVE:
        if (m_interactiveCount > 0) {
            return 1;
        }
        if (context == nullptr) {
            return 0;
        }
        return (m_interactive ? context->IsInteractionPending() : context->IsAutoInteractive()) !=
               0;
    case eNEVER_INTERACTIVE:
    case eINTERRUPTIBLE:
        break;
    }
    return 0;
}

void TqOcRenderTraversal::InitBands()
{
    m_timeBudget = (m_targetFrameTime - m_overheadTime) * m_traversalFactor;
    m_highBandTime = m_highBand * m_timeBudget;
    m_lowBandTime = m_lowBand * m_timeBudget;
    m_middleBandTime = m_lowBandTime + s_middleBand * (m_highBandTime - m_lowBandTime);
}

void TqOcRenderTraversal::InitTriangleTarget(LastFrame const& last)
{
    bool const isControlled = !(m_lowBand == 1.0 && m_highBand == 1.0);
    m_triangleTarget = eNO_TRIANGLE_LIMIT;
    m_triangleLimit = eNO_TRIANGLE_LIMIT;
    if (isControlled && m_expectedTris != 0) {
        m_triangleTarget = m_expectedTris;
        if (m_interactive) {
            InitTriangleLimit(last);
        }
    }
}

void TqOcRenderTraversal::InitTriangleLimit(LastFrame const& last)
{
    double const dt = last.high.seconds - last.low.seconds;
    if (dt >= s_shortestSlope) {
        m_triangleLimit = SaturatedUnsigned((m_highBandTime - last.low.seconds) / dt *
                                                Difference(last.high.tris, last.low.tris) +
                                            last.low.tris);
    } else {
        m_triangleLimit = SaturatedUnsigned(m_expectedTris * s_limitOverExpected);
    }
    if (last.shapesRendered > 0) {
        double const shapesTime = m_lastFrameTime / last.shapesRendered * s_shapesInBand;
        if (shapesTime > m_highBandTime - m_lowBandTime) {
            m_lowBandTime = std::max(0.0, m_highBandTime - shapesTime);
        }
    }
}

// --- Stress
// ----------------------------------------------------------------------------------------

void TqOcRenderTraversal::InitStress()
{
    if (m_holdStress) {
        m_load = s_loadHeld;
    } else if (!m_interactive) {
        m_stressState = eSTRESS_START;
        m_load = s_loadNotInteractive;
        m_stress = 1.0;
    } else {
        StepStress();
    }
    if (m_stress < m_minStress) {
        m_stress = m_minStress;
    } else if (m_stress > m_maxStress) {
        m_stress = m_maxStress;
    }
}

void TqOcRenderTraversal::StepStress()
{
    StressMemory const& memory = m_stressMemory;
    bool const isLow = m_load < m_lowLoad;
    bool const isHigh = m_load > m_highLoad;
    if (m_stressState < eSTRESS_START || m_stressState > eSTRESS_SETTLED) {
        return;
    }
    if (!isLow && !isHigh) {
        m_stressState = eSTRESS_SETTLED;
        return;
    }
    double const halve = std::min(0.5, m_load);
    double const twice = std::max(2.0, m_load);
    switch (m_stressState) {
    case eSTRESS_START:
        isLow ? DecreaseStress(halve) : IncreaseStress(twice);
        break;
    case eSTRESS_INCREASED:
        if (isLow) {
            m_stressMemory.loadAtDecrease = m_load;
            m_stressMemory.stressAtDecrease = m_stress;
            m_stress = (m_stress + memory.stressAtIncrease) * 0.5;
            m_stressState = eSTRESS_BISECTED;
        } else {
            IncreaseStress(twice);
        }
        break;
    case eSTRESS_DECREASED:
        isLow ? DecreaseStress(halve) : BisectStressUp();
        break;
    case eSTRESS_BISECTED:
        if (isLow) {
            m_load < memory.loadAtDecrease ? DecreaseStress(halve) : BisectStressDown();
        } else if (m_load > memory.loadAtIncrease ||
                   (m_load == memory.loadAtIncrease && memory.weightAtIncrease > m_stressWeight)) {
            double const weight = memory.weightAtIncrease;
            IncreaseStress(twice);
            m_stressMemory.weightAtIncrease = weight;
        } else {
            BisectStressUp();
        }
        break;
    case eSTRESS_SETTLED: {
        double const factor = m_load / ((m_lowLoad + m_highLoad) * 0.5);
        isLow ? DecreaseStress(factor) : IncreaseStress(factor);
        break;
    }
    }
}

void TqOcRenderTraversal::DecreaseStress(double factor)
{
    m_stressMemory.loadAtDecrease = m_load;
    m_stressMemory.stressAtDecrease = m_stress;
    m_stress = factor * m_stress;
    m_stressState = eSTRESS_DECREASED;
}

void TqOcRenderTraversal::IncreaseStress(double factor)
{
    m_stressMemory.loadAtIncrease = m_load;
    m_stressMemory.weightAtIncrease = m_stressWeight;
    m_stressMemory.stressAtIncrease = m_stress;
    m_stress = factor * m_stress;
    m_stressState = eSTRESS_INCREASED;
}

/// Goes half way back to the stress before the last increase.
void TqOcRenderTraversal::BisectStressDown()
{
    m_stressMemory.loadAtDecrease = m_load;
    m_stress = (m_stress + m_stressMemory.stressAtIncrease) * 0.5;
    m_stressMemory.stressAtDecrease = m_stress;
    m_stressState = eSTRESS_BISECTED;
}

/// Goes half way back to the stress before the last decrease.
void TqOcRenderTraversal::BisectStressUp()
{
    double const stressBefore = m_stress;
    m_stress = (m_stress + m_stressMemory.stressAtDecrease) * 0.5;
    m_stressMemory.loadAtIncrease = m_load;
    m_stressMemory.weightAtIncrease = m_stressWeight;
    m_stressMemory.stressAtIncrease = stressBefore;
    m_stressState = eSTRESS_BISECTED;
}

// --- End of a frame
// --------------------------------------------------------------------------------

void TqOcRenderTraversal::EndTraversal()
{
    if (GetContext() == nullptr) {
        return; // posted when the frame should have started
    }
    GetContext()->CompletedRenderTraversal();
    int const completed = EndRender();
    MeasureTraversal();

    double const efficiency = GetContext()->EndRender();
    m_lastFrameTime = m_frameTimer.GetTimeElapsedInSeconds();
    if (!(efficiency < 0.0)) {
        if (m_frameType != eFRAME_KEEP_FACTOR) {
            AdaptTraversalFactor(efficiency);
        }
        if (completed && !m_frameDropped) {
            m_load = m_lastFrameTime / m_targetFrameTime;
            return;
        }
    }
    m_load = s_loadIncomplete;
    if (m_policy != eALWAYS_INTERACTIVE) {
        GetContext()->PostRedrawRequest(TqOcContext::eREDRAW_INCOMPLETE);
    }
}

void TqOcRenderTraversal::MeasureTraversal()
{
    m_lastTraversalTime = m_frameTimer.GetTimeElapsedInSeconds();
    Sample(m_lastTraversalTime, m_trisRendered);
    if (!m_interactive) {
        return;
    }
    bool const isOver = m_lastTraversalTime > m_highBandTime;
    if (m_trisRendered < m_triangleTarget) {
        if (isOver || m_expectedTris == 0) {
            SetExpectedTris();
        }
    } else if (m_lastTraversalTime <= m_lowBandTime) {
        LowTarget(m_lastTraversalTime, m_trisRendered);
    } else if (isOver) {
        SetExpectedTris();
    }
}

void TqOcRenderTraversal::AdaptTraversalFactor(double efficiency)
{
    double const available = m_targetFrameTime - m_overheadTime;
    if (m_lastFrameTime > 0.0) {
        if (!AdaptToOverrun(available)) {
            m_traversalFactor =
                CalcRunningAverageTraversalFactor(CalcTraversalFactor(efficiency, available));
        }
    } else {
        m_traversalFactor = CalcRunningAverageTraversalFactor(1.0);
    }
}

/// Sets the factor outright when the frame took too long. Returns whether it did.
bool TqOcRenderTraversal::AdaptToOverrun(double available)
{
    if (!(m_lastFrameTime > available && m_shapesRendered >= 2)) {
        return false;
    }
    double factor = 0.0;
    if (m_middleSample.tris != 0) {
        factor = m_middleSample.seconds / m_lastFrameTime;
        m_expectedTris = std::min(m_expectedTris, m_middleSample.tris);
    } else if (m_lowSample.tris != 0) {
        factor = m_lowSample.seconds / m_lastFrameTime;
        m_lowSample.tris = std::max(m_lowSample.tris, m_expectedTris);
    } else {
        factor = available * m_traversalFactor * m_highBand / m_lastFrameTime;
    }
    m_traversalFactor = ClampedFactor(factor);
    return true;
}

/// The factor that the measured frame asks for, before averaging.
double TqOcRenderTraversal::CalcTraversalFactor(double efficiency, double available) const
{
    double const frame = m_lastFrameTime;
    double const walk = m_lastTraversalTime;
    double const dropped = m_traversalFactor * s_factorDrop;
    if (efficiency == 1.0) {
        bool const isShort = frame < available * m_lowBand && walk / frame >= m_traversalFactor;
        return ClampedFactor(isShort ? std::min(walk / frame, m_traversalFactor * s_factorGrowth)
                                     : m_traversalFactor);
    }
    if (frame - walk > 0.0 && efficiency > 0.0) {
        double const exact = walk / ((frame - walk) / efficiency + walk);
        return ClampedFactor(exact >= dropped && exact < m_traversalFactor ? exact : dropped);
    }
    return efficiency < 1.0 ? ClampedFactor(dropped) : 1.0;
}
