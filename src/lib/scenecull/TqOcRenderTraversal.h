// Settings, statistics and frame-time control of a render traversal.
//
// TqOcRenderTraversal holds everything that the application can set or read; the walk itself is
// TqOcPrioritizedTraversal's. Around each frame it measures how long walk and drawing took and
// adapts three things for the next one: the traversal factor (share of the frame given to the
// walk), a triangle target and limit, and, while interactive, the stress (how much larger a node
// must be on the screen to count).
//
//   StartTraversal   InitTraversal (prepare the frame), the context's StartRender, StartRender
//   (walk) EndTraversal     EndRender (end of the walk), measure, the context's EndRender, adapt
//
// Setters store without checks unless they say otherwise. Nothing here is thread-safe.
#pragma once

#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcTraversal.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPrimitiveTypes.h"

#include "util/TqUTime.h"

#include <cfloat>
#include <cstdint>

struct TqOcRenderTravCullData;

/// Base of the render traversal. Not copyable; CopyConfig takes another one's settings over.
class TQOC_API TqOcRenderTraversal : public TqOcTraversal
{
public:
    /// When frames are interactive: kept inside the target time, clipped and stressed.
    enum Policy : std::uint32_t
    {
        eNEVER_INTERACTIVE = 0,  ///< Never; frames are never clipped.
        eALWAYS_INTERACTIVE = 1, ///< Always.
        eCOUNT_INTERACTIVE = 2,  ///< While StartInteractive calls outnumber EndInteractive's.
        eAUTO_INTERACTIVE = 3,   ///< As eCOUNT_INTERACTIVE, else as the context reports.
        eINTERRUPTIBLE = 4       ///< Never; clipped only when the context has interaction pending.
    };

    /// What frame-time control measures in a frame.
    enum FrameType : std::uint32_t
    {
        eFRAME_DEFAULT = 0,          ///< Walk and frame; the traversal factor follows them.
        eFRAME_MEASURE_OVERHEAD = 1, ///< The time outside the frame is measured and set aside.
        eFRAME_KEEP_FACTOR = 2       ///< The traversal factor is left alone.
    };

    /// Base of a node's priority.
    enum Prioritization : std::uint32_t
    {
        ePRIORITY_AREA = 0,    ///< One over the screen area: large ones first.
        ePRIORITY_DISTANCE = 1 ///< Distance from the near plane: near ones first.
    };

    /// Factors of a node's priority; the bits of SetSecondary.
    enum SecondaryBits : unsigned int
    {
        eSECONDARY_DISTANCE = 1,  ///< Distance scales.
        eSECONDARY_AREA = 2,      ///< Area scales.
        eSECONDARY_SCALE = 4,     ///< The node's own scale.
        eSECONDARY_HYSTERESIS = 8 ///< Hysteresis scales.
    };

    /// May change data->priority; 0 culls the node.
    using DynamicPriorityCallback = int (*)(TqOcTraversable const* node,
                                            TqOcRenderTravCullData* data, void* userData);
    /// Not 0: the shape is skipped.
    using DynamicShapeCullCallback = int (*)(TqOcShape const* shape, void* userData);

    /// Entries of each scale table.
    static constexpr int eMAX_SCALES = 5;
    /// Triangle target of a frame without triangle control.
    static constexpr unsigned int eNO_TRIANGLE_LIMIT = 0xFFFFFFFFU;

    /// Switches "TqOcRenderTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned. A traversal that is applied without one posts
    /// severity 1 and draws nothing.
    explicit TqOcRenderTraversal(TqOcContext* context);

    /// Not copyable; @ref CopyConfig takes settings over.
    /// @{
    TqOcRenderTraversal(TqOcRenderTraversal const&) = delete;
    TqOcRenderTraversal& operator=(TqOcRenderTraversal const&) = delete;
    /// @}

    /// Takes over the settings of another traversal: all but frame id, occlusion culling, stress
    /// weight and everything measured.
    void CopyConfig(TqOcRenderTraversal const* other);

    // --- View and culling -----------------------------------------------------------------------

    /// World space. Default: perspective from the origin along -z, 1 x 1 at the near plane, near 1,
    /// far 1000.
    /// @{
    TqLFrustum3f const& GetViewFrustum() const { return m_viewFrustum; }

    void SetViewFrustum(TqLFrustum3f const& frustum) { m_viewFrustum = frustum; }

    /// @}

    /// A node that covers less (square pixels, times stress squared) is culled; lines, points and
    /// text excepted. Default 1. Larger culls more; 0 and below nothing.
    /// @{
    double GetCullArea() const { return m_cullArea; }

    void SetCullArea(double area) { m_cullArea = area; }

    /// @}

    /// A node of lines that is shorter both ways (pixels, times stress) is culled. Default 1.
    /// @{
    double GetCullExtent() const { return m_cullExtent; }

    void SetCullExtent(double extent) { m_cullExtent = extent; }

    /// @}

    /// A node wholly farther from the near plane (world units) is culled. Default DBL_MAX.
    /// @{
    double GetCullDistance() const { return m_cullDistance; }

    void SetCullDistance(double distance) { m_cullDistance = distance; }

    /// @}

    /// Kinds of primitives that are drawn. Default 255, all.
    /// @{
    TqLPrimitiveTypes::Enum GetPrimitiveBits() const { return m_primitiveBits; }

    void SetPrimitiveBits(TqLPrimitiveTypes::Enum bits) { m_primitiveBits = bits; }

    /// @}

    /// Whether nodes are tested by occlusion queries of the context (0 or not 0). Default 0.
    /// @{
    int IsOcclusionCulling() const { return m_occlusionCulling; }

    void SetOcclusionCulling(int occlusionCulling) { m_occlusionCulling = occlusionCulling; }

    /// @}

    /// Kept for the application's shapes; the library does not read them. Defaults 0.
    /// @{
    int GetUseLayers() const { return m_useLayers; }

    void SetUseLayers(int useLayers) { m_useLayers = useLayers; }

    unsigned int GetCurrentLayers() const { return m_currentLayers; }

    void SetCurrentLayers(unsigned int layers) { m_currentLayers = layers; }

    unsigned int GetLastLayers() const { return m_lastLayers; }

    void SetLastLayers(unsigned int layers) { m_lastLayers = layers; }

    unsigned int GetHighlightColor() const { return m_highlightColor; }

    void SetHighlightColor(unsigned int color) { m_highlightColor = color; }

    /// @}

    /// Number of the frame. The application must set a new one, not 0, before every frame: a node
    /// that carries the current number counts as dealt with, so a number used again leaves nearly
    /// everything out. Default 0.
    /// @{
    unsigned int GetFrameId() const { return m_frameId; }

    void SetFrameId(unsigned int frameId) { m_frameId = frameId; }

    /// @}

    // --- Priority -------------------------------------------------------------------------------

    /// Base of the priority. Default ePRIORITY_DISTANCE.
    /// @{
    Prioritization GetPrimary() const { return m_primary; }

    void SetPrimary(Prioritization primary) { m_primary = primary; }

    /// @}

    /// Factors of the priority, SecondaryBits. Default eSECONDARY_SCALE.
    /// @{
    unsigned int GetSecondary() const { return m_secondary; }

    void SetSecondary(unsigned int secondary) { m_secondary = secondary; }

    /// @}

    /// How far, in units of priority, a walk may stay below a node after a better one waits
    /// elsewhere; saves going to and fro. Below 0 counts as 0. Default 0, strictly best first.
    /// @{
    double GetSortSlack() const { return m_sortSlack; }

    void SetSortSlack(double slack) { m_sortSlack = slack; }

    /// @}

    /// Priority from which the slack applies. Default 0.
    /// @{
    double GetSlackStart() const { return m_slackStart; }

    void SetSlackStart(double start) { m_slackStart = start; }

    /// @}

    /// Tables of up to 5 entries; a node gets the scale beside the first threshold greater than its
    /// area (pixels) or distance (world units). Keep thresholds ascending; nothing sorts them.
    /// @param n  0 to 5; outside, or without arrays, severity 1 is posted and the nearest bound
    /// used
    /// @{
    void SetAreaScales(double const* thresholds, double const* scales, int n);

    int GetNumAreaScales() const { return m_numAreaScales; }

    double const* GetAreaThresholds() const { return m_areaThresholds; }

    double const* GetAreaScales() const { return m_areaScales; }

    /// @}

    /// The same tables by distance.
    /// @{
    void SetDistanceScales(double const* thresholds, double const* scales, int n);

    int GetNumDistanceScales() const { return m_numDistanceScales; }

    double const* GetDistanceThresholds() const { return m_distanceThresholds; }

    double const* GetDistanceScales() const { return m_distanceScales; }

    /// @}

    /// Scales by age: entry 0 for a node that the last frame's walk expanded, entry 1 for the frame
    /// before, and so on; older nodes get none. Values below 1 keep what was drawn ahead of what
    /// was not. n as above; with 0 the table holds only the 1.0 of its first entry.
    /// @{
    void SetHysteresisScales(double const* scales, int n);

    int GetNumHysteresisScales() const { return m_numHysteresisScales; }

    double const* GetHysteresisScales() const { return m_hysteresisScales; }

    /// @}

    /// Kept for the application; the library does not read it. Default 1.
    /// @{
    double GetVisibilityScale() const { return m_visibilityScale; }

    void SetVisibilityScale(double scale) { m_visibilityScale = scale; }

    /// @}

    /// Called last in the scoring of every node that was not culled. Default none.
    /// @{
    DynamicPriorityCallback GetDynamicPriorityCallback() const { return m_dynamicPriorityCallback; }

    void* GetDynamicPriorityData() const { return m_dynamicPriorityData; }

    void SetDynamicPriorityCallback(DynamicPriorityCallback callback, void* userData);

    /// @}

    /// Called for every shape about to be drawn by a leaf. Default none.
    /// @{
    DynamicShapeCullCallback GetDynamicShapeCullCallback() const
    {
        return m_dynamicShapeCullCallback;
    }

    void* GetDynamicShapeCullData() const { return m_dynamicShapeCullData; }

    void SetDynamicShapeCullCallback(DynamicShapeCullCallback callback, void* userData);

    /// @}

    /// 1 when the node is not hidden and of a kind that is drawn.
    int IsVisible(TqOcBaseTraversable const* node) const
    {
        return !node->IsHideRender() && (node->GetPrimitives() & m_primitiveBits) != 0;
    }

    /// The same, and the dynamic shape cull callback does not reject the shape.
    int IsVisible(TqOcShape const* shape) const
    {
        return IsVisible(static_cast<TqOcBaseTraversable const*>(shape)) &&
               (m_dynamicShapeCullCallback == nullptr ||
                m_dynamicShapeCullCallback(shape, m_dynamicShapeCullData) == 0);
    }

    // --- Frame-time control: settings -----------------------------------------------------------

    /// When frames are interactive, and what may clip them. Default eNEVER_INTERACTIVE.
    /// @{
    Policy GetPolicy() const { return m_policy; }

    void SetPolicy(Policy policy) { m_policy = policy; }

    /// @}

    /// 1 under every policy but eNEVER_INTERACTIVE, eINTERRUPTIBLE included.
    int IsInteractivePolicy() const { return m_policy != eNEVER_INTERACTIVE; }

    /// Wanted time of a frame, seconds. Default 0.1.
    /// @{
    double GetTargetFrameTime() const { return m_targetFrameTime; }

    void SetTargetFrameTime(double seconds) { m_targetFrameTime = seconds; }

    /// @}

    /// What is measured in a frame, and what may adapt. Default eFRAME_DEFAULT.
    /// @{
    FrameType GetFrameType() const { return m_frameType; }

    void SetFrameType(FrameType type) { m_frameType = type; }

    /// @}

    /// Whether frames refine the picture of the last one, so that a long one may be shown before it
    /// is complete (0 or not 0). Default 0.
    /// @{
    int IsDevelopFrame() const { return m_developFrame; }

    void SetDevelopFrame(int developFrame) { m_developFrame = developFrame; }

    /// @}

    /// Marks the running frame as dropped: it counts as overload. Cleared when a frame starts, so
    /// it can only be set between the start and the end of a frame.
    /// @{
    int IsFrameDropped() const { return m_frameDropped; }

    void SetFrameDropped(int dropped) { m_frameDropped = dropped; }

    /// @}

    /// Bounds of the time that a walk should take, as fractions of the time budget. Both 1 (the
    /// default): no triangle control.
    /// @{
    double GetLowBand() const { return m_lowBand; }

    void SetLowBand(double fraction) { m_lowBand = fraction; }

    double GetHighBand() const { return m_highBand; }

    void SetHighBand(double fraction) { m_highBand = fraction; }

    /// @}

    /// Loads (frame time over target) below which stress is relaxed and above which it is raised.
    /// Defaults 0.8 and 1.
    /// @{
    double GetLowLoad() const { return m_lowLoad; }

    void SetLowLoad(double load) { m_lowLoad = load; }

    double GetHighLoad() const { return m_highLoad; }

    void SetHighLoad(double load) { m_highLoad = load; }

    /// @}

    /// Clamps of the stress. Defaults 1 and 16. Keep MinStress above 0: the first interactive frame
    /// has load 0, which would bring the stress to 0 and every conversion to pixels to infinity,
    /// until a frame is overloaded.
    /// @{
    double GetMinStress() const { return m_minStress; }

    void SetMinStress(double stress) { m_minStress = stress; }

    double GetMaxStress() const { return m_maxStress; }

    void SetMaxStress(double stress) { m_maxStress = stress; }

    /// @}

    /// Holds the stress where it is (0 or not 0). Default 0.
    /// @{
    int GetHoldStress() const { return m_holdStress; }

    void SetHoldStress(int hold) { m_holdStress = hold; }

    /// @}

    /// Weight that tells two equally loaded frames apart; TqOcShape::Prioritized sets it to the
    /// priority of what is being drawn. Default 1.
    void SetStressWeight(double weight) { m_stressWeight = weight; }

    /// Share of the frame's time given to the walk, and its history of four frames.
    /// @param factor  0 < factor <= 1; 1 after construction. Out of range: severity 0 is posted,
    /// factor and history stay.
    void SetTraversalFactor(double factor);
    /// Multiplies the factor; the product is cut at 1 without a word. A product of 0 or less is
    /// posted like that of SetTraversalFactor and changes nothing.
    void ChangeTraversalFactor(double multiplier);

    /// The factor in force, as set or as the frames so far have adapted it.
    double GetTraversalFactor() const { return m_traversalFactor; }

    /// Brackets interaction under eCOUNT_INTERACTIVE and eAUTO_INTERACTIVE; nests. When the count
    /// comes to 0 (or was 0) the running frame stops being interactive at once, under every policy.
    /// @{
    void StartInteractive() { ++m_interactiveCount; }

    void EndInteractive();

    /// @}

    /// StartInteractive calls that no EndInteractive has met yet.
    int GetInteractiveCount() const { return m_interactiveCount; }

    /// Whether the running frame, or between frames the last one, is interactive.
    int IsInteractive() const { return m_interactive; }

    /// What the next frame would be if it started now. Changes nothing.
    int WillNextFrameBeInteractive() const;

    /// Seconds per triangle of the last frame; 0 before any was measured.
    double GetRenderCost() const;
    /// Tells that drawing a triangle costs 1 / factor of what was measured: multiplies the measured
    /// counts by `factor`.
    void ChangeRenderCost(double factor);
    /// Forgets what was measured of time per triangle.
    void ResetHysteresis();

    /// Keeps this frame's time out of the measurements: the host waited for something else.
    void ReportBusyWait() { m_busyWait = true; }

    // --- Frame-time control: readings -----------------------------------------------------------

    /// Stress of the frame, and load (frame time over target) of the last one; -1 while frames are
    /// not interactive, -2 while the stress is held, 2 after an incomplete frame.
    /// @{
    double GetStress() const { return m_stress; }

    double GetLoad() const { return m_load; }

    /// @}

    /// Triangles that a frame should, and at most may, draw; eNO_TRIANGLE_LIMIT without control.
    /// @{
    unsigned int GetTriangleTarget() const { return m_triangleTarget; }

    unsigned int GetTriangleLimit() const { return m_triangleLimit; }

    /// @}

    /// Bounds of the walk's time in this frame, seconds.
    /// @{
    double GetLowBandTime() const { return m_lowBandTime; }

    double GetHighBandTime() const { return m_highBandTime; }

    /// @}

    /// Measured times, seconds: of the last frame, its walk, from start to start, and the running
    /// estimate of what a frame spends outside.
    /// @{
    double GetLastFrameTime() const { return m_lastFrameTime; }

    double GetLastTraversalTime() const { return m_lastTraversalTime; }

    double GetLastFrameToFrameTime() const { return m_lastFrameToFrameTime; }

    double GetOverheadTime() const { return m_overheadTime; }

    /// @}

    /// Seconds since the frame started.
    double GetElapsedTime() const { return m_frameTimer.GetTimeElapsedInSeconds(); }

    /// 1 when more than the frame's time budget has passed.
    int HasTimeElapsed() const { return GetElapsedTime() > m_timeBudget ? 1 : 0; }

    // --- Statistics of the frame; unsigned 32-bit, wrapping -------------------------------------

    /// Triangles of nodes that clip planes, the eye or the frustum's sides culled.
    unsigned int GetTrisFrustumCulled() const { return m_trisFrustumCulled; }

    /// Triangles of nodes that were too small on the screen.
    unsigned int GetTrisAreaCulled() const { return m_trisAreaCulled; }

    /// Triangles of nodes that are hidden or of kinds that are not drawn, where a walk was offered
    /// them.
    unsigned int GetTrisVisibilityCulled() const { return m_trisVisibilityCulled; }

    /// Triangles of nodes offered to the walk that were dealt with already, or lie on its path.
    /// What time cut off is not in it.
    unsigned int GetTrisTraversedCulled() const { return m_trisTraversedCulled; }

    /// Triangles of nodes that an occlusion query found hidden.
    unsigned int GetTrisOcclusionCulled() const { return m_trisOcclusionCulled; }

    /// Leaves whose turn has come, shapes drawn, and triangles drawn. Shapes and triangles are
    /// counted by TqOcShape::Render and, in a prioritized walk, by the application.
    /// @{
    unsigned int GetLeavesRendered() const { return m_leavesRendered; }

    unsigned int GetShapesRendered() const { return m_shapesRendered; }

    unsigned int GetTrisRendered() const { return m_trisRendered; }

    /// @}

    /// Add to the counters above; for nodes and shapes with a way of their own.
    /// @{
    void IncTrisFrustumCulled(unsigned int n) { m_trisFrustumCulled += n; }

    void IncTrisAreaCulled(unsigned int n) { m_trisAreaCulled += n; }

    void IncTrisVisibilityCulled(unsigned int n) { m_trisVisibilityCulled += n; }

    void IncTrisTraversedCulled(unsigned int n) { m_trisTraversedCulled += n; }

    void IncTrisOcclusionCulled(unsigned int n) { m_trisOcclusionCulled += n; }

    void IncLeavesRendered(unsigned int n) { m_leavesRendered += n; }

    void IncShapesRendered(unsigned int n) { m_shapesRendered += n; }

    void DecShapesRendered(unsigned int n) { m_shapesRendered -= n; }

    void IncTrisRendered(unsigned int n) { m_trisRendered += n; }

    void DecTrisRendered(unsigned int n) { m_trisRendered -= n; }

    /// @}

    /// Zeroes all counters, those of cull tests too, and forgets a reported busy wait.
    void ResetStats();

    // --- Work of a frame ------------------------------------------------------------------------

    /// Prepares a frame: statistics, overhead, interactive flag, bands, triangle target, stress.
    /// StartTraversal calls it; call it only for a walk of your own.
    void InitTraversal();

    /// Records that `tris` triangles took `seconds` since the frame started.
    void Sample(double seconds, unsigned int tris);

    /// Raises the triangle target and the expected count to tris + 1. The time is not used.
    void LowTarget(double seconds, unsigned int tris);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No frame may be running.
    ~TqOcRenderTraversal() override;

    /// InitTraversal, the context's StartRender, the frame id on the root, then the walk.
    void StartTraversal(TqOcTraversable* root) override;

    /// Ends the walk, measures the frame and adapts the next one.
    void EndTraversal() override;

protected:
    /// The walk.
    virtual void StartRender(TqOcTraversable* root) = 0;

    /// The end of the walk. @return not 0 when the frame was completed
    virtual int EndRender() = 0;

    /// Triangles that are expected to fit into the time budget; 0 before any were measured.
    unsigned int GetExpectedTris() const { return m_expectedTris; }

private:
    static constexpr int eFACTOR_HISTORY = 4;

    /// Triangles drawn at a point of time in a frame.
    struct TimeSample
    {
        double seconds;
        std::uint32_t tris;
    };

    /// What the stress controller remembers between frames.
    struct StressMemory
    {
        double loadAtDecrease;
        double stressAtDecrease;
        double loadAtIncrease;
        double weightAtIncrease;
        double stressAtIncrease;
    };

    /// What InitTraversal keeps of the frame before.
    struct LastFrame
    {
        unsigned int shapesRendered;
        TimeSample low;
        TimeSample high;
    };

    bool HasContext() const;
    void StoreTraversalFactor(double factor);
    double CalcRunningAverageTraversalFactor(double factor);
    void ResetFrameTimer();
    void ResetSamples();
    void SetExpectedTris();

    void InitOverhead();
    void InitInteractive();
    void InitBands();
    void InitTriangleTarget(LastFrame const& last);
    void InitTriangleLimit(LastFrame const& last);
    void InitStress();
    void StepStress();
    void DecreaseStress(double factor);
    void IncreaseStress(double factor);
    void BisectStressDown();
    void BisectStressUp();

    void MeasureTraversal();
    void AdaptTraversalFactor(double efficiency);
    bool AdaptToOverrun(double available);
    double CalcTraversalFactor(double efficiency, double available) const;

    // Data; the order is part of the binary interface. Times are in seconds.
    std::uint32_t m_trisFrustumCulled = 0;
    std::uint32_t m_trisAreaCulled = 0;
    std::uint32_t m_trisVisibilityCulled = 0;
    std::uint32_t m_trisTraversedCulled = 0;
    std::uint32_t m_trisOcclusionCulled = 0;
    std::uint32_t m_leavesRendered = 0;
    std::uint32_t m_shapesRendered = 0;
    std::uint32_t m_trisRendered = 0;
    bool m_busyWait = false;
    TqLFrustum3f m_viewFrustum;
    double m_cullArea = 1.0;
    double m_cullExtent = 1.0;
    double m_cullDistance = DBL_MAX;
    TqLPrimitiveTypes::Enum m_primitiveBits = static_cast<TqLPrimitiveTypes::Enum>(255);
    int m_useLayers = 0;
    std::uint32_t m_currentLayers = 0;
    std::uint32_t m_lastLayers = 0;
    std::uint32_t m_highlightColor = 0;
    Policy m_policy = eNEVER_INTERACTIVE;
    std::uint32_t m_frameId = 0;
    double m_targetFrameTime = 0.1;
    double m_lastFrameTime = 0.0;
    double m_lastTraversalTime = 0.0;
    TqUTimeOut m_frameTimer;
    double m_timeBudget = 0.0;
    double m_traversalFactor = 1.0;
    FrameType m_frameType = eFRAME_DEFAULT;
    double m_overheadTime = 0.0;
    double m_lastFrameToFrameTime = 0.0;
    double m_factorHistory[eFACTOR_HISTORY] = {1.0, 1.0, 1.0, 1.0};
    int m_factorIndex = 0;
    int m_interactiveCount = 0;
    int m_interactive = 0;
    double m_load = 0.0;
    int m_developFrame = 0;
    int m_frameDropped = 0;
    std::uint32_t m_triangleTarget = 0;
    std::uint32_t m_triangleLimit = 0;
    std::uint32_t m_expectedTris = 0;
    double m_lowBand = 1.0;
    double m_lowBandTime = 0.0;
    TimeSample m_lowSample = {0.0, 0};
    double m_middleBandTime = 0.0;
    TimeSample m_middleSample = {0.0, 0};
    double m_highBand = 1.0;
    double m_highBandTime = 0.0;
    TimeSample m_highSample = {0.0, 0};
    double m_stress = 1.0;
    double m_lowLoad = 0.8;
    double m_highLoad = 1.0;
    double m_minStress = 1.0;
    double m_maxStress = 16.0;
    int m_holdStress = 0;
    int m_stressState = 0;
    double m_stressWeight = 1.0;
    StressMemory m_stressMemory = {0.0, 0.0, 0.0, 0.0, 0.0};
    int m_occlusionCulling = 0;
    Prioritization m_primary = ePRIORITY_DISTANCE;
    std::uint32_t m_secondary = eSECONDARY_SCALE;
    double m_sortSlack = 0.0;
    double m_slackStart = 0.0;
    int m_numAreaScales = 0;
    double m_areaThresholds[eMAX_SCALES] = {};
    double m_areaScales[eMAX_SCALES] = {};
    int m_numDistanceScales = 0;
    double m_distanceThresholds[eMAX_SCALES] = {};
    double m_distanceScales[eMAX_SCALES] = {};
    int m_numHysteresisScales = 0;
    double m_hysteresisScales[eMAX_SCALES] = {1.0};
    double m_visibilityScale = 1.0;
    DynamicPriorityCallback m_dynamicPriorityCallback = nullptr;
    void* m_dynamicPriorityData = nullptr;
    DynamicShapeCullCallback m_dynamicShapeCullCallback = nullptr;
    void* m_dynamicShapeCullData = nullptr;
};
