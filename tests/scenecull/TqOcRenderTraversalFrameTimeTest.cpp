// Frame-time control: what starts and ends a frame, the interactive flag, time bands, triangle
// target and limit, the stress controller, the traversal factor, and the load.
//
// The clock stands still unless a test moves it, and moves in dyadic steps, so that measured times
// are exact. The target frame time is 1 s and bands are taken of that.

#include "support/AllocationCounter.h"
#include "support/Recorders.h"

#include "scenecull/TqOcRenderTraversal.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace
{

using T = TqOcRenderTraversal;

constexpr unsigned int eNO_LIMIT = 0xFFFFFFFFU;

/// A render traversal whose walk is what the test makes of it.
class WalkTraversal : public TqOcRenderTraversal
{
public:
    explicit WalkTraversal(TqOcContext* context, EventLog* log = nullptr)
        : TqOcRenderTraversal(context)
        , m_log(log)
    {}

    std::function<void(TqOcTraversable*)> onStartRender;
    std::function<void()> onEndRender;
    int completed = 1; ///< answer of EndRender

    using TqOcRenderTraversal::GetExpectedTris;

protected:
    void StartRender(TqOcTraversable* root) override
    {
        if (m_log != nullptr) {
            m_log->Add("walk " + m_log->GetName(static_cast<TqOcBaseTraversable*>(root)));
        }
        if (onStartRender) {
            onStartRender(root);
        }
    }

    int EndRender() override
    {
        if (m_log != nullptr) {
            m_log->Add("end of walk");
        }
        if (onEndRender) {
            onEndRender();
        }
        return completed;
    }

private:
    EventLog* m_log;
};

/// A traversal with its host, and frames to run.
struct Frames
{
    FakeClock clock{0.0};
    EventLog log;
    RecordingContext context{&log};
    PlainTraversable root;
    WalkTraversal traversal{&context, &log};

    explicit Frames(T::Policy policy = T::eALWAYS_INTERACTIVE)
    {
        log.SetName(static_cast<TqOcBaseTraversable*>(&root), "root");
        traversal.SetTargetFrameTime(1.0);
        traversal.SetPolicy(policy);
    }

    Frames(Frames const&) = delete;
    Frames& operator=(Frames const&) = delete;

    void SetBands(double low, double high)
    {
        traversal.SetLowBand(low);
        traversal.SetHighBand(high);
    }

    void Start() { traversal.StartTraversal(&root); }

    /// Lets the walk take `walk` seconds for these triangles and shapes, and the rest of the frame
    /// `present` seconds.
    void End(double walk, unsigned int tris = 0, unsigned int shapes = 0, double present = 0.0)
    {
        clock.Advance(walk);
        traversal.IncTrisRendered(tris);
        traversal.IncShapesRendered(shapes);
        context.onEndRender = [this, present] { clock.Advance(present); };
        traversal.EndTraversal();
        context.onEndRender = nullptr;
    }

    void Run(double walk, unsigned int tris = 0, unsigned int shapes = 0, double present = 0.0)
    {
        Start();
        End(walk, tris, shapes, present);
    }
};

// ---- Order of a frame ---------------------------------------------------------------------------

TEST(TqOcRenderTraversalFrameTime, AFrameStartsWithItsPreparationThenTheHostThenTheWalk)
{
    Frames frames;
    frames.traversal.SetFrameId(77);
    frames.traversal.IncTrisRendered(5);
    frames.clock.Advance(0.5);
    frames.context.onStartRender = [&] {
        EXPECT_EQ(frames.traversal.GetElapsedTime(), 0.0) << "prepared before";
        EXPECT_EQ(frames.traversal.GetTrisRendered(), 0U);
        EXPECT_EQ(frames.root.GetFrameId(), 0U);
    };
    frames.traversal.onStartRender = [&](TqOcTraversable* root) {
        EXPECT_EQ(root, &frames.root);
        EXPECT_EQ(root->GetFrameId(), 77U);
    };
    frames.Start();
    EXPECT_EQ(frames.log.Take(), (Lines{"StartRender", "walk root"}));
    EXPECT_EQ(frames.root.GetFrameId(), 77U);
}

TEST(TqOcRenderTraversalFrameTime, AFrameEndsWithTheWalkThenTheHostThenARedrawRequest)
{
    Frames frames(T::eNEVER_INTERACTIVE);
    frames.Start();
    frames.log.Clear();
    frames.End(0.5);
    EXPECT_EQ(frames.log.Take(), (Lines{"CompletedRenderTraversal", "end of walk", "EndRender"}));
    frames.traversal.completed = 0;
    frames.Start();
    frames.log.Clear();
    frames.End(0.5);
    EXPECT_EQ(frames.log.Take(), (Lines{"CompletedRenderTraversal", "end of walk", "EndRender",
                                        "PostRedrawRequest 4"}));
}

TEST(TqOcRenderTraversalFrameTime, AppliedItRunsAWholeFrame)
{
    Frames frames(T::eNEVER_INTERACTIVE);
    frames.traversal.Apply(&frames.root);
    EXPECT_EQ(frames.log.Take(), (Lines{"StartRender", "walk root", "CompletedRenderTraversal",
                                        "end of walk", "EndRender"}));
}

TEST(TqOcRenderTraversalFrameTime, AppliedWithoutRootOrContextItPostsAndWalksNothing)
{
    Frames frames;
    PostedErrors posts;
    frames.traversal.Apply(nullptr);
    EXPECT_GE(posts.Size(), 1);
    EXPECT_TRUE(frames.log.Get().empty());
    posts.Clear();
    frames.traversal.SetContext(nullptr);
    frames.traversal.Apply(&frames.root);
    EXPECT_GE(posts.Size(), 1);
    EXPECT_EQ(posts.Get()[0].severity, 1);
    EXPECT_EQ(frames.log.Count("walk"), 0);
}

TEST(TqOcRenderTraversalFrameTime, TimesAreReadAfterTheWalksEndAndAfterTheHosts)
{
    Frames frames;
    frames.traversal.onEndRender = [&] {
        frames.clock.Advance(0.25);
        frames.traversal.IncTrisRendered(7);
    };
    frames.SetBands(0.25, 0.75);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetElapsedTime(), 0.0);
    frames.End(0.125, 40, 0, 0.0625);
    EXPECT_EQ(frames.traversal.GetLastTraversalTime(), 0.375);
    EXPECT_EQ(frames.traversal.GetLastFrameTime(), 0.4375);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 47U) << "sampled after the walk's end";
    EXPECT_EQ(frames.traversal.GetElapsedTime(), 0.4375) << "the timer runs on";
}

TEST(TqOcRenderTraversalFrameTime, TheTimeFromStartToStartIncludesWhatLiesBetweenFrames)
{
    Frames frames;
    frames.clock.Advance(0.25);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetLastFrameToFrameTime(), 0.25) << "from construction";
    frames.End(0.5);
    frames.clock.Advance(100.0);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetLastFrameToFrameTime(), 100.5) << "past the timer's minute";
    EXPECT_EQ(frames.traversal.GetElapsedTime(), 0.0);
}

TEST(TqOcRenderTraversalFrameTime, AFrameAllocatesNothing)
{
    FakeClock clock(0.0);
    TqOcContext context;
    WalkTraversal traversal(&context);
    traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
    traversal.SetLowBand(0.5);
    PlainTraversable root;
    AllocationCounter allocations;
    for (int frame = 0; frame < 100; ++frame) {
        traversal.StartTraversal(&root);
        clock.Advance(0.125);
        traversal.Sample(0.0625, 100);
        traversal.IncTrisRendered(200);
        traversal.IncShapesRendered(2);
        traversal.EndTraversal();
    }
    EXPECT_EQ(allocations.GetNum(), 0U);
}

// ---- Overhead -----------------------------------------------------------------------------------

/// A time without frames, and the overhead that the next frame starts with.
struct Idle
{
    double seconds;
    double overhead;
};

TEST(TqOcRenderTraversalFrameTime, OverheadFollowsTheTimeBetweenFramesQuicklyUpAndSlowlyDown)
{
    Frames frames;
    frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetOverheadTime(), 0.0) << "no interactive frame before";
    Idle const sequence[] = {
        {0.25, 0.25},       // up to the gap at most
        {0.25, 0.25},       // an equal gap is no greater one
        {2.0, 0.625},       // half of the room of 0.75
        {2.0, 0.8125},      // half of the room of 0.375
        {0.0, 0.7890625},   // an eighth of the room of 0.1875
        {0.78125, 0.78125}, // down to the gap at most
    };
    for (Idle const& idle : sequence) {
        frames.End(0.25, 0, 0, 0.25);
        frames.clock.Advance(idle.seconds);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetLastFrameToFrameTime(), 0.5 + idle.seconds);
        EXPECT_EQ(frames.traversal.GetOverheadTime(), idle.overhead);
    }
}

TEST(TqOcRenderTraversalFrameTime, OverheadBeyondTheTargetHasNoRoomToMove)
{
    Frames frames;
    frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    frames.Run(0.5);
    frames.clock.Advance(2.0);
    frames.Start();
    ASSERT_EQ(frames.traversal.GetOverheadTime(), 0.5);
    frames.traversal.SetTargetFrameTime(0.25);
    for (double const idle : {2.0, 0.0}) {
        frames.End(0.5);
        frames.clock.Advance(idle);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetOverheadTime(), 0.5);
    }
}

TEST(TqOcRenderTraversalFrameTime, AGapBelowZeroCountsAsZero)
{
    Frames frames;
    frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    frames.Run(0.5);
    frames.Start();
    frames.clock.Advance(0.125);
    frames.Start(); // 0.125 after a start, with a last frame time of 0.5
    EXPECT_EQ(frames.traversal.GetOverheadTime(), 0.0);
}

TEST(TqOcRenderTraversalFrameTime, OverheadIsZeroUnlessMeasuredAfterAnInteractiveFrame)
{
    struct Case
    {
        char const* name;
        T::FrameType type;
        T::Policy before;
        T::Policy after;
        double overhead;
    };

    Case const cases[] = {
        {"measured", T::eFRAME_MEASURE_OVERHEAD, T::eALWAYS_INTERACTIVE, T::eALWAYS_INTERACTIVE,
         0.625},
        {"the last frame counts", T::eFRAME_MEASURE_OVERHEAD, T::eALWAYS_INTERACTIVE,
         T::eNEVER_INTERACTIVE, 0.625},
        {"not the next", T::eFRAME_MEASURE_OVERHEAD, T::eNEVER_INTERACTIVE, T::eALWAYS_INTERACTIVE,
         0.0},
        {"default type", T::eFRAME_DEFAULT, T::eALWAYS_INTERACTIVE, T::eALWAYS_INTERACTIVE, 0.0},
        {"factor kept", T::eFRAME_KEEP_FACTOR, T::eALWAYS_INTERACTIVE, T::eALWAYS_INTERACTIVE, 0.0},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        Frames frames;
        frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
        frames.Run(0.5);
        frames.clock.Advance(0.25);
        frames.traversal.SetPolicy(test.before);
        frames.Run(0.5);
        ASSERT_EQ(frames.traversal.GetOverheadTime(), 0.25);
        frames.clock.Advance(2.0);
        frames.traversal.SetPolicy(test.after);
        frames.traversal.SetFrameType(test.type);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetOverheadTime(), test.overhead);
    }
}

// ---- Interactive flag ---------------------------------------------------------------------------

struct FlagCase
{
    unsigned int policy;
    bool was; ///< the frame before was interactive
    int count;
    int autoInteractive;
    int pending;
    bool is;
    bool keeps;  ///< the expected triangles stay
    Lines asked; ///< of the context
    bool willBe; ///< what was foretold before the frame
};

std::vector<FlagCase> FlagCases()
{
    Lines const none;
    Lines const asksAuto = {"IsAutoInteractive"};
    Lines const asksPending = {"IsInteractionPending"};
    std::vector<FlagCase> cases = {
        {3, false, 1, 0, 0, true, false, none, true},
        {3, false, 0, 0, 1, false, false, asksAuto, false},
        {3, false, 0, 1, 0, true, false, asksAuto, true},
        {3, false, 0, 7, 0, true, false, asksAuto, true},
        {3, true, 1, 0, 0, true, true, none, true},
        {3, true, 0, 1, 0, false, true, asksPending, false},
        {3, true, 0, 0, 1, true, true, asksPending, true},
        {3, true, 0, 0, -1, true, true, asksPending, true},
    };
    for (bool const was : {false, true}) {
        for (int const host : {0, 1}) {
            for (int const count : {0, 2}) {
                cases.push_back({0, was, count, host, host, false, true, none, false});
                cases.push_back({1, was, count, host, host, true, true, none, true});
                cases.push_back({2, was, count, host, host, count > 0, count > 0, none, count > 0});
                cases.push_back({4, was, count, host, host, false, true, none, false});
                cases.push_back({5, was, count, host, host, was, true, none, false});
            }
        }
    }
    return cases;
}

TEST(TqOcRenderTraversalFrameTime, TheInteractiveFlagFollowsThePolicy)
{
    for (FlagCase const& test : FlagCases()) {
        SCOPED_TRACE("policy " + std::to_string(test.policy) + " was " + std::to_string(test.was) +
                     " count " + std::to_string(test.count) + " auto " +
                     std::to_string(test.autoInteractive) + " pending " +
                     std::to_string(test.pending));
        Frames frames(test.was ? T::eALWAYS_INTERACTIVE : T::eNEVER_INTERACTIVE);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.traversal.SetPolicy(static_cast<T::Policy>(test.policy));
        for (int i = 0; i < test.count; ++i) {
            frames.traversal.StartInteractive();
        }
        frames.context.autoInteractive = test.autoInteractive;
        frames.context.interactionPending = test.pending;

        frames.log.Clear();
        EXPECT_EQ(frames.traversal.WillNextFrameBeInteractive() != 0, test.willBe);
        EXPECT_EQ(frames.log.Take("Is"), test.asked) << "foretelling asks the same";
        EXPECT_EQ(frames.traversal.IsInteractive() != 0, test.was) << "and changes nothing";
        EXPECT_EQ(frames.traversal.GetExpectedTris(), 100U);
        EXPECT_EQ(frames.traversal.GetInteractiveCount(), test.count);

        frames.Start();
        EXPECT_EQ(frames.log.Take("Is"), test.asked);
        EXPECT_EQ(frames.traversal.IsInteractive() != 0, test.is);
        EXPECT_EQ(frames.traversal.GetExpectedTris(), test.keeps ? 100U : 0U);
    }
}

TEST(TqOcRenderTraversalFrameTime, EndedInteractionShowsInTheNextFrame)
{
    Frames frames(T::eCOUNT_INTERACTIVE);
    frames.traversal.StartInteractive();
    frames.Run(0.5);
    EXPECT_NE(frames.traversal.IsInteractive(), 0) << "between frames the last one's";
    frames.traversal.EndInteractive();
    EXPECT_EQ(frames.traversal.IsInteractive(), 0);
    EXPECT_EQ(frames.traversal.WillNextFrameBeInteractive(), 0);
}

// ---- Time bands ---------------------------------------------------------------------------------

TEST(TqOcRenderTraversalFrameTime, BandsAreSharesOfTheBudget)
{
    Frames frames;
    frames.traversal.SetTargetFrameTime(2.0);
    frames.traversal.SetTraversalFactor(0.5);
    frames.SetBands(0.25, 0.75);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetLowBandTime(), 0.25);
    EXPECT_EQ(frames.traversal.GetHighBandTime(), 0.75);
}

TEST(TqOcRenderTraversalFrameTime, OverheadIsTakenOffTheBudget)
{
    Frames frames;
    frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    frames.SetBands(0.25, 0.75);
    frames.Run(0.5, 0, 0, 0.0);
    frames.clock.Advance(0.5);
    frames.traversal.SetTraversalFactor(0.5);
    frames.Start();
    ASSERT_EQ(frames.traversal.GetOverheadTime(), 0.5);
    EXPECT_EQ(frames.traversal.GetLowBandTime(), 0.0625);
    EXPECT_EQ(frames.traversal.GetHighBandTime(), 0.1875);
    frames.clock.Advance(0.25);
    EXPECT_EQ(frames.traversal.HasTimeElapsed(), 0);
    frames.clock.Advance(0.0009765625);
    EXPECT_EQ(frames.traversal.HasTimeElapsed(), 1);
}

TEST(TqOcRenderTraversalFrameTime, TimeHasElapsedOnlyBeyondTheBudget)
{
    Frames frames;
    frames.SetBands(0.25, 0.5);
    frames.Start();
    frames.clock.Advance(1.0);
    EXPECT_EQ(frames.traversal.HasTimeElapsed(), 0) << "the whole budget, not a band";
    frames.clock.Advance(0.0009765625);
    EXPECT_EQ(frames.traversal.HasTimeElapsed(), 1);
}

TEST(TqOcRenderTraversalFrameTime, AFrameStartsUndropped)
{
    Frames frames;
    frames.traversal.SetFrameDropped(1);
    frames.Start();
    EXPECT_EQ(frames.traversal.IsFrameDropped(), 0);
}

// ---- Samples and expected triangles -------------------------------------------------------------

struct TimeSample
{
    double time;
    unsigned int tris;
};

/// The expected triangles after a first interactive frame with these samples and this end.
unsigned int ExpectedAfter(std::vector<TimeSample> const& samples, TimeSample end,
                           double lowBand = 0.25, double highBand = 0.75)
{
    Frames frames;
    frames.SetBands(lowBand, highBand);
    frames.Start();
    for (TimeSample const& sample : samples) {
        frames.traversal.Sample(sample.time, sample.tris);
    }
    frames.End(end.time, end.tris);
    return frames.traversal.GetExpectedTris();
}

// With bands of 0.25 and 0.75 the middle band ends at 0.45. A walk of 1 s and 510 triangles without
// other samples gives 0.45 * 510 = 229.5 expected triangles.
constexpr TimeSample s_longWalk = {1.0, 510};
constexpr unsigned int eOF_LONG_WALK = 229;
constexpr double s_middleBandTime = 0.25 + 0.4 * (0.75 - 0.25);

TEST(TqOcRenderTraversalFrameTime, SamplesAreSortedIntoBandsByTime)
{
    EXPECT_EQ(ExpectedAfter({{0.125, 77}}, s_longWalk), 237U) << "low: 0.325/0.875 * 433 + 77";
    EXPECT_EQ(ExpectedAfter({{std::nextafter(0.25, 0.0), 77}}, s_longWalk), 192U) << "low";
    EXPECT_EQ(ExpectedAfter({{0.25, 77}}, s_longWalk), 77U) << "middle";
    EXPECT_EQ(ExpectedAfter({{std::nextafter(s_middleBandTime, 0.0), 77}}, s_longWalk), 77U);
    EXPECT_EQ(ExpectedAfter({{s_middleBandTime, 77}}, s_longWalk), eOF_LONG_WALK) << "high";
    EXPECT_EQ(ExpectedAfter({{0.5, 77}}, s_longWalk), eOF_LONG_WALK) << "high";
}

TEST(TqOcRenderTraversalFrameTime, TheLastSampleOfABandCounts)
{
    EXPECT_EQ(ExpectedAfter({{0.3125, 77}, {0.25, 78}}, s_longWalk), 78U);
    EXPECT_EQ(ExpectedAfter({{0.1875, 5}, {0.125, 77}}, s_longWalk), 237U);
    EXPECT_EQ(ExpectedAfter({{0.5, 400}}, s_longWalk), eOF_LONG_WALK);
}

TEST(TqOcRenderTraversalFrameTime, ExpectedTrianglesComeFromTheSamples)
{
    struct Case
    {
        char const* name;
        std::vector<TimeSample> samples;
        TimeSample end;
        unsigned int expected;
    };

    Case const cases[] = {
        {"the middle sample goes first", {{0.125, 10}, {0.3125, 77}}, {1.0, 510}, 77},
        {"a middle sample without triangles does not", {{0.3125, 0}}, {1.0, 510}, 229},
        {"no triangles at the high sample", {{0.125, 50}}, {1.0, 0}, 0},
        {"no high sample", {}, {0.125, 50}, 0},
        {"only a middle sample", {}, {0.3125, 50}, 50},
        {"on the line between low and high", {{0.125, 77}}, {1.0, 510}, 237},
        {"a low count above the high one is dropped", {{0.125, 511}}, {1.0, 510}, 229},
        {"an equal low count is not", {{0.125, 510}}, {1.0, 510}, 510},
        {"truncated", {}, {1.0, 3}, 1},
    };
    for (Case const& test : cases) {
        EXPECT_EQ(ExpectedAfter(test.samples, test.end), test.expected) << test.name;
    }
}

TEST(TqOcRenderTraversalFrameTime, ALowSampleBeyondTheMiddleBandTimeIsDropped)
{
    // With the low band above the high one the middle band ends before it begins, at 0.55.
    double const middle = 0.75 + 0.4 * (0.25 - 0.75);
    EXPECT_EQ(ExpectedAfter({{0.625, 100}}, {1.0, 510}, 0.75, 0.25), 280U) << "0.55 * 510";
    EXPECT_EQ(ExpectedAfter({{middle, 100}}, {1.0, 510}, 0.75, 0.25), 100U) << "not beyond";
}

TEST(TqOcRenderTraversalFrameTime, SamplesCloserThanAMillisecondGiveTheLowCount)
{
    EXPECT_EQ(ExpectedAfter({{0.0, 100}}, {0.001, 500}, 0.0005, 0.0005), 300U);
    EXPECT_EQ(ExpectedAfter({{0.0, 100}}, {std::nextafter(0.001, 0.0), 500}, 0.0005, 0.0005), 100U);
}

TEST(TqOcRenderTraversalFrameTime, ExpectedTrianglesSaturateAndNanGivesNone)
{
    EXPECT_EQ(ExpectedAfter({}, {1.0, 510}, -1.0, 0.75), 0U) << "a middle band time of -0.3";
    EXPECT_EQ(ExpectedAfter({}, {1.0, 510}, 0.25, std::nan("")), 0U);
    EXPECT_EQ(ExpectedAfter({}, {1.0, 0xFFFFFFFFU - 1}), 1932735282U) << "0.45 of it, exactly";
}

TEST(TqOcRenderTraversalFrameTime, SamplesOfTheLastFrameAreForgotten)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.Sample(0.125, 10);
    frames.traversal.Sample(0.3125, 77);
    frames.Start();
    frames.End(s_longWalk.time, s_longWalk.tris);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), eOF_LONG_WALK);
}

TEST(TqOcRenderTraversalFrameTime, ResetHysteresisForgetsSamplesAndExpectedTriangles)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.LowTarget(0.0, 99);
    frames.traversal.Sample(0.125, 10);
    frames.traversal.Sample(0.3125, 77);
    frames.traversal.Sample(0.5, 100);
    frames.traversal.ResetHysteresis();
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 0U);
    frames.End(s_longWalk.time, s_longWalk.tris);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), eOF_LONG_WALK);
}

TEST(TqOcRenderTraversalFrameTime, LowTargetRaisesTargetAndExpectedTriangles)
{
    for (double const time : {0.0, 0.5, -3.0}) {
        Frames frames;
        frames.Start();
        frames.traversal.LowTarget(time, 99);
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
        EXPECT_EQ(frames.traversal.GetExpectedTris(), 100U);
        frames.End(0.5);
        EXPECT_EQ(frames.traversal.GetRenderCost(), 0.005);
    }
}

TEST(TqOcRenderTraversalFrameTime, LowTargetSaturatesAtTheLargestCount)
{
    for (unsigned int const tris : {0xFFFFFFFEU, 0xFFFFFFFFU}) {
        Frames frames;
        frames.Start();
        frames.traversal.LowTarget(0.0, tris);
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), 0xFFFFFFFFU);
        EXPECT_EQ(frames.traversal.GetExpectedTris(), 0xFFFFFFFFU);
    }
}

TEST(TqOcRenderTraversalFrameTime, ABusyWaitKeepsTheFrameOutOfTheMeasurements)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.LowTarget(0.0, 99);
    frames.traversal.ReportBusyWait();
    frames.traversal.Sample(0.3125, 77);
    frames.End(1.0, 50); // too long: would set the expected triangles
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 100U);
    EXPECT_EQ(frames.traversal.GetLastTraversalTime(), 1.0) << "the times are measured";
    frames.Start();
    EXPECT_EQ(frames.traversal.GetTriangleLimit(), 110U) << "no samples to draw a line through";
}

TEST(TqOcRenderTraversalFrameTime, ABusyWaitEndsWithTheFrameOrTheStatistics)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.ReportBusyWait();
    frames.Start();
    frames.traversal.Sample(0.3125, 77);
    frames.End(1.0, 510);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 77U);

    Frames reset;
    reset.SetBands(0.25, 0.75);
    reset.Start();
    reset.traversal.ReportBusyWait();
    reset.traversal.ResetStats();
    reset.traversal.Sample(0.3125, 77);
    reset.End(1.0, 510);
    EXPECT_EQ(reset.traversal.GetExpectedTris(), 77U);
}

TEST(TqOcRenderTraversalFrameTime, AFrameEndsByAdjustingTheExpectedTriangles)
{
    struct Case
    {
        char const* name;
        bool interactive;
        double walk;
        unsigned int tris;
        unsigned int expected;
        unsigned int target;
    };

    // The target and the expected triangles are 100 before; the bands end at 0.25, 0.45 and 0.75.
    Case const cases[] = {
        {"below target, short", true, 0.125, 50, 100, 100},
        {"below target, in time", true, 0.5, 50, 100, 100},
        {"below target, at the high band", true, 0.75, 50, 100, 100},
        {"below target, too long", true, 1.0, 50, 22, 100},
        {"at target, short", true, 0.125, 100, 101, 101},
        {"at target, at the low band", true, 0.25, 100, 101, 101},
        {"above target, short", true, 0.125, 150, 151, 151},
        {"at target, in time", true, 0.3125, 100, 100, 100},
        {"at target, at the high band", true, 0.75, 100, 100, 100},
        {"above target, too long", true, 1.0, 110, 49, 100},
        {"not interactive, short", false, 0.125, 150, 100, 100},
        {"not interactive, too long", false, 1.0, 50, 100, 100},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        Frames frames(test.interactive ? T::eALWAYS_INTERACTIVE : T::eNEVER_INTERACTIVE);
        frames.SetBands(0.25, 0.75);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.End(test.walk, test.tris);
        EXPECT_EQ(frames.traversal.GetExpectedTris(), test.expected);
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), test.target);
    }
}

TEST(TqOcRenderTraversalFrameTime, AFrameInTimeSetsTheExpectedTrianglesWhereThereWereNone)
{
    EXPECT_EQ(ExpectedAfter({}, {0.3125, 55}), 55U);
    EXPECT_EQ(ExpectedAfter({}, {0.5, 55}), 49U) << "0.45 / 0.5 * 55";
    Frames idle(T::eNEVER_INTERACTIVE);
    idle.SetBands(0.25, 0.75);
    idle.Run(0.3125, 55);
    EXPECT_EQ(idle.traversal.GetExpectedTris(), 0U);
}

TEST(TqOcRenderTraversalFrameTime, ChangeRenderCostScalesTheSamplesToo)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.LowTarget(0.0, 199);
    frames.traversal.Sample(0.125, 41); // 20
    frames.traversal.Sample(0.5, 141);  // 70
    frames.traversal.ChangeRenderCost(0.5);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 100U);
    frames.End(0.3125, 50);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetTriangleLimit(), 103U) << "0.625 / 0.375 * 50 + 20";

    Frames middle;
    middle.SetBands(0.25, 0.75);
    middle.Start();
    middle.traversal.LowTarget(0.0, 199);
    middle.traversal.Sample(0.3125, 77);
    middle.traversal.ChangeRenderCost(0.5);
    middle.End(1.0, 50);
    EXPECT_EQ(middle.traversal.GetExpectedTris(), 38U);
}

TEST(TqOcRenderTraversalFrameTime, ChangeRenderCostLeavesTheSamplesWhereNothingIsExpected)
{
    Frames frames;
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.Sample(0.3125, 77);
    frames.traversal.ChangeRenderCost(0.5);
    frames.End(1.0, 510);
    EXPECT_EQ(frames.traversal.GetExpectedTris(), 77U);
}

// ---- Triangle target and limit ------------------------------------------------------------------

TEST(TqOcRenderTraversalFrameTime, WithBothBandsAtOneThereIsNoTriangleControl)
{
    for (T::Policy const policy : {T::eNEVER_INTERACTIVE, T::eALWAYS_INTERACTIVE}) {
        Frames frames(policy);
        for (int frame = 0; frame < 3; ++frame) {
            frames.Start();
            EXPECT_EQ(frames.traversal.GetTriangleTarget(), eNO_LIMIT);
            EXPECT_EQ(frames.traversal.GetTriangleLimit(), eNO_LIMIT);
            frames.traversal.LowTarget(0.0, 99);
            frames.End(0.5, 1000);
        }
    }
}

TEST(TqOcRenderTraversalFrameTime, OneBandOtherThanOneTurnsTriangleControlOn)
{
    for (std::array<double, 2> const& bands : {std::array<double, 2>{0.5, 1.0}, {1.0, 0.5}}) {
        Frames frames;
        frames.SetBands(bands[0], bands[1]);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), eNO_LIMIT) << "nothing expected yet";
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), eNO_LIMIT);
        frames.traversal.LowTarget(0.0, 99);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), 110U);
    }
}

TEST(TqOcRenderTraversalFrameTime, WithoutSamplesTheLimitIsATenthAboveTheTarget)
{
    struct Case
    {
        unsigned int expected;
        unsigned int limit;
    };

    for (Case const& test : {Case{100, 110}, Case{5, 5}, Case{19, 20}, Case{1, 1},
                             Case{0xFFFFFFFFU, 0xFFFFFFFFU}, Case{0xF0000000U, 0xFFFFFFFFU}}) {
        Frames frames;
        frames.SetBands(0.25, 0.75);
        frames.Start();
        frames.traversal.LowTarget(0.0, test.expected - 1);
        frames.End(0.3125);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), test.expected);
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), test.limit) << test.expected;
    }
}

TEST(TqOcRenderTraversalFrameTime, TheLimitLiesOnTheLineThroughTheLastFramesSamples)
{
    struct Case
    {
        char const* name;
        TimeSample low;
        TimeSample end;
        unsigned int limit;
    };

    Case const cases[] = {
        {"0.625 / 0.375 * 50 + 40", {0.125, 40}, {0.5, 90}, 123},
        {"falling", {0.125, 90}, {0.5, 40}, 6},
        {"below zero", {0.0, 90}, {0.5, 10}, 0},
        {"no low sample", {0.3125, 1}, {0.5, 90}, 135},
        {"saturated", {0.0, 0}, {0.5, 0xF0000000U}, eNO_LIMIT},
        {"no high sample", {0.125, 40}, {0.3125, 50}, 110},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        Frames frames;
        frames.SetBands(0.25, 0.75);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.traversal.Sample(test.low.time, test.low.tris);
        frames.End(test.end.time, test.end.tris);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), test.limit);
    }
}

TEST(TqOcRenderTraversalFrameTime, SamplesCloserThanAMillisecondGiveNoLine)
{
    struct Case
    {
        double walk;
        unsigned int target;
        unsigned int limit;
    };

    for (Case const& test : {Case{0.001, 65, 65}, Case{std::nextafter(0.001, 0.0), 40, 44}}) {
        Frames frames;
        frames.SetBands(0.0005, 0.0005);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.traversal.Sample(0.0, 40);
        frames.End(test.walk, 90);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), test.target);
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), test.limit);
    }
}

TEST(TqOcRenderTraversalFrameTime, ALimitThatIsNotANumberIsNone)
{
    Frames frames;
    frames.SetBands(0.25, std::nan(""));
    frames.Start();
    frames.traversal.LowTarget(0.0, 99);
    frames.End(0.5, 90);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
    EXPECT_EQ(frames.traversal.GetTriangleLimit(), 0U);
}

TEST(TqOcRenderTraversalFrameTime, AFrameThatIsNotInteractiveHasATargetButNoLimit)
{
    Frames frames(T::eNEVER_INTERACTIVE);
    frames.SetBands(0.25, 0.75);
    frames.Start();
    frames.traversal.LowTarget(0.0, 99);
    frames.End(0.5, 90, 1);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
    EXPECT_EQ(frames.traversal.GetTriangleLimit(), eNO_LIMIT);
    EXPECT_EQ(frames.traversal.GetLowBandTime(), 0.25) << "not lowered either";
    frames.End(0.5, 90);
    frames.traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetTriangleLimit(), 135U) << "sampled all the same: 0.75/0.5 * 90";
}

TEST(TqOcRenderTraversalFrameTime, FewShapesLowerTheLowBand)
{
    struct Case
    {
        char const* name;
        unsigned int shapes;
        unsigned int expected;
        double lowBandTime;
    };

    // A frame of 0.5 s; the bands end at 0.25 and 0.75.
    Case const cases[] = {
        {"no shapes", 0, 100, 0.25},
        {"two: 5 * 0.25 is more than all of the band", 2, 100, 0.0},
        {"four: 5 * 0.125", 4, 100, 0.125},
        {"five: 5 * 0.1 is just the band", 5, 100, 0.25},
        {"many", 100, 100, 0.25},
        {"nothing expected", 4, 0, 0.25},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        Frames frames;
        frames.SetBands(0.25, 0.75);
        frames.Start();
        if (test.expected != 0) {
            frames.traversal.LowTarget(0.0, test.expected - 1);
        }
        frames.End(0.3125, 0, test.shapes, 0.1875);
        ASSERT_EQ(frames.traversal.GetTraversalFactor(), 1.0);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetLowBandTime(), test.lowBandTime);
        EXPECT_EQ(frames.traversal.GetHighBandTime(), 0.75);
    }
}

TEST(TqOcRenderTraversalFrameTime, ALoweredLowBandWidensTheMiddleOneDownwards)
{
    for (double const time : {0.1875, 0.4375}) {
        Frames frames;
        frames.SetBands(0.25, 0.75);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.End(0.3125, 0, 4, 0.1875);
        frames.Start();
        ASSERT_EQ(frames.traversal.GetLowBandTime(), 0.125);
        frames.traversal.Sample(time, 77);
        frames.End(1.0, 90);
        EXPECT_EQ(frames.traversal.GetExpectedTris(), 77U) << time;
    }
}

// ---- Stress -------------------------------------------------------------------------------------

/// Interactive frames of given loads. The first comes after a frame that was not interactive, so
/// that the controller starts from its first state and the stress 1.
class StressRun
{
public:
    explicit StressRun(double lowLoad = 0.75, double highLoad = 1.0)
        : m_frames(T::eNEVER_INTERACTIVE)
    {
        T& traversal = m_frames.traversal;
        traversal.SetLowLoad(lowLoad);
        traversal.SetHighLoad(highLoad);
        traversal.SetMinStress(1e-9);
        traversal.SetMaxStress(1e9);
        m_frames.Start();
    }

    /// Ends the running frame with this load and starts the next; returns its stress.
    double Step(double load, double weight = 1.0, T::Policy policy = T::eALWAYS_INTERACTIVE)
    {
        m_frames.End(load);
        EXPECT_EQ(m_frames.traversal.GetLoad(), load);
        m_frames.traversal.SetPolicy(policy);
        m_frames.traversal.SetStressWeight(weight);
        m_frames.Start();
        return m_frames.traversal.GetStress();
    }

    WalkTraversal& GetTraversal() { return m_frames.traversal; }

    Frames& GetFrames() { return m_frames; }

private:
    Frames m_frames;
};

struct StressStep
{
    double load;
    double stress; ///< after the step
    double weight = 1.0;
};

/// A way through the controller. What a step remembers shows in the steps after it.
struct StressScript
{
    char const* name;
    std::vector<StressStep> steps;
};

void RunScripts(std::vector<StressScript> const& scripts)
{
    for (StressScript const& script : scripts) {
        SCOPED_TRACE(script.name);
        StressRun run;
        int number = 0;
        for (StressStep const& step : script.steps) {
            EXPECT_EQ(run.Step(step.load, step.weight), step.stress)
                << "step " << ++number << ", load " << step.load;
        }
    }
}

// The load is low below 0.75 and high above 1. In the comments A and B are load and stress at the
// last decrease, C, D and E load, weight and stress at the last increase.

TEST(TqOcRenderTraversalFrameTime, StressFromTheStart)
{
    RunScripts({
        {"low: by the load", {{0.25, 0.25}}},
        {"low: by half at most", {{0.625, 0.5}}},
        {"low remembers B and goes to decreased", {{0.25, 0.25}, {1.5, 0.625}}},
        {"low remembers A: below", {{0.25, 0.25}, {1.5, 0.625}, {0.125, 0.078125}}},
        {"low remembers A: at", {{0.25, 0.25}, {1.5, 0.625}, {0.25, 0.4375}}},
        {"high: by two at least", {{1.5, 2.0}}},
        {"high: by the load", {{4.0, 4.0}}},
        {"high remembers E and goes to increased", {{1.5, 2.0}, {0.625, 1.5}}},
        {"high remembers C: above", {{1.5, 2.0}, {0.625, 1.5}, {1.75, 3.0}}},
        {"high remembers C: at", {{1.5, 2.0}, {0.625, 1.5}, {1.5, 1.75}}},
        {"high remembers C: below", {{1.5, 2.0}, {0.625, 1.5}, {1.25, 1.75}}},
        {"high remembers D", {{1.5, 2.0, 3.0}, {0.625, 1.5, 3.0}, {1.5, 3.0, 2.0}}},
        {"between: settles", {{0.875, 1.0}, {0.4375, 0.5}}},
        {"at the low load: settles", {{0.75, 1.0}, {0.4375, 0.5}}},
        {"at the high load: settles", {{1.0, 1.0}, {3.5, 4.0}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressAfterAnIncrease)
{
    RunScripts({
        {"low: half way back", {{1.5, 2.0}, {0.625, 1.5}}},
        {"low remembers B and goes to bisected", {{1.5, 2.0}, {0.625, 1.5}, {1.5, 1.75}}},
        {"low remembers A: below", {{1.5, 2.0}, {0.625, 1.5}, {0.5, 0.75}}},
        {"low remembers A: at", {{1.5, 2.0}, {0.625, 1.5}, {0.625, 1.25}}},
        {"high: by two at least", {{1.5, 2.0}, {1.5, 4.0}}},
        {"high: by the load", {{1.5, 2.0}, {4.0, 8.0}}},
        {"high remembers E and stays", {{1.5, 2.0}, {4.0, 8.0}, {0.625, 5.0}}},
        {"high remembers C: at", {{1.5, 2.0}, {4.0, 8.0}, {0.625, 5.0}, {4.0, 6.5}}},
        {"high remembers C: below", {{1.5, 2.0}, {4.0, 8.0}, {0.625, 5.0}, {3.0, 6.5}}},
        {"high remembers C: above", {{1.5, 2.0}, {4.0, 8.0}, {0.625, 5.0}, {4.5, 22.5}}},
        {"high remembers D",
         {{1.5, 2.0, 1.0}, {4.0, 8.0, 3.0}, {0.625, 5.0, 1.0}, {4.0, 20.0, 2.0}}},
        {"between: settles", {{1.5, 2.0}, {0.875, 2.0}, {0.4375, 1.0}}},
        {"at the low load: settles", {{1.5, 2.0}, {0.75, 2.0}, {0.4375, 1.0}}},
        {"at the high load: settles", {{1.5, 2.0}, {1.0, 2.0}, {3.5, 8.0}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressAfterADecrease)
{
    RunScripts({
        {"low: by the load", {{0.25, 0.25}, {0.125, 0.03125}}},
        {"low: by half at most", {{0.25, 0.25}, {0.625, 0.125}}},
        {"low remembers B and stays", {{0.25, 0.25}, {0.125, 0.03125}, {1.5, 0.140625}}},
        {"low remembers A: below",
         {{0.25, 0.25}, {0.125, 0.03125}, {1.5, 0.140625}, {0.0625, 0.0087890625}}},
        {"low remembers A: at",
         {{0.25, 0.25}, {0.125, 0.03125}, {1.5, 0.140625}, {0.125, 0.0859375}}},
        {"high: half way back", {{0.25, 0.25}, {1.5, 0.625}}},
        {"high remembers E and goes to bisected", {{0.25, 0.25}, {1.5, 0.625}, {0.25, 0.4375}}},
        {"high remembers C: above", {{0.25, 0.25}, {1.5, 0.625}, {1.75, 1.25}}},
        {"high remembers C: at", {{0.25, 0.25}, {1.5, 0.625}, {1.5, 0.8125}}},
        {"high remembers D", {{0.25, 0.25, 1.0}, {1.5, 0.625, 3.0}, {1.5, 1.25, 2.0}}},
        {"between: settles", {{0.25, 0.25}, {0.875, 0.25}, {3.5, 1.0}}},
        {"at the low load: settles", {{0.25, 0.25}, {0.75, 0.25}, {0.4375, 0.125}}},
        {"at the high load: settles", {{0.25, 0.25}, {1.0, 0.25}, {3.5, 1.0}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressAfterABisectionWithALowLoad)
{
    // All begin with an increase to 2 and half the way back: A 0.625, B 2, C 1.5, E 1, stress 1.5.
    RunScripts({
        {"lower than A: by the load", {{1.5, 2.0}, {0.625, 1.5}, {0.25, 0.375}}},
        {"lower than A: by half at most", {{1.5, 2.0}, {0.625, 1.5}, {0.5625, 0.75}}},
        {"lower than A remembers B and goes to decreased",
         {{1.5, 2.0}, {0.625, 1.5}, {0.25, 0.375}, {1.5, 0.9375}}},
        {"lower than A remembers A: at",
         {{1.5, 2.0}, {0.625, 1.5}, {0.25, 0.375}, {1.5, 0.9375}, {0.25, 0.65625}}},
        {"lower than A remembers A: below",
         {{1.5, 2.0}, {0.625, 1.5}, {0.25, 0.375}, {1.5, 0.9375}, {0.125, 0.1171875}}},
        {"at A: half way back", {{1.5, 2.0}, {0.625, 1.5}, {0.625, 1.25}}},
        {"at A remembers the new stress as B and stays",
         {{1.5, 2.0}, {0.625, 1.5}, {0.625, 1.25}, {1.5, 1.25}}},
        {"above A remembers A: below",
         {{1.5, 2.0}, {0.625, 1.5}, {0.6875, 1.25}, {0.65625, 0.625}}},
        {"above A remembers A: at, and keeps E",
         {{1.5, 2.0}, {0.625, 1.5}, {0.6875, 1.25}, {0.6875, 1.125}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressAfterABisectionWithAHighLoad)
{
    RunScripts({
        {"higher than C: by two at least", {{1.5, 2.0}, {0.625, 1.5}, {1.75, 3.0}}},
        {"higher than C: by the load", {{1.5, 2.0}, {0.625, 1.5}, {4.0, 6.0}}},
        {"higher than C remembers E and goes to increased",
         {{1.5, 2.0}, {0.625, 1.5}, {1.75, 3.0}, {0.625, 2.25}}},
        {"higher than C remembers C: at",
         {{1.5, 2.0}, {0.625, 1.5}, {1.75, 3.0}, {0.625, 2.25}, {1.75, 2.625}}},
        {"higher than C remembers C: above",
         {{1.5, 2.0}, {0.625, 1.5}, {1.75, 3.0}, {0.625, 2.25}, {1.8125, 4.5}}},
        {"higher than C keeps D",
         {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.75, 3.0, 1.0}, {0.625, 2.25}, {1.75, 4.5, 2.0}}},
        {"at C and lighter: by two at least", {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.5, 3.0, 2.0}}},
        {"at C and lighter: by the load", {{4.0, 4.0, 3.0}, {0.625, 2.5}, {4.0, 10.0, 2.0}}},
        {"at C and lighter remembers E, keeps D, goes to increased",
         {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.5, 3.0, 2.0}, {0.625, 2.25}, {1.5, 4.5, 2.0}}},
        {"at C and as heavy: half way", {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.5, 1.75, 3.0}}},
        {"at C and heavier: half way", {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.5, 1.75, 4.0}}},
        {"below C: half way, also when lighter",
         {{1.5, 2.0, 3.0}, {0.625, 1.5}, {1.25, 1.75, 2.0}}},
        {"half way remembers C and stays", {{1.5, 2.0}, {0.625, 1.5}, {1.25, 1.75}, {1.375, 3.5}}},
        {"half way remembers D",
         {{1.5, 2.0, 1.0}, {0.625, 1.5}, {1.25, 1.75, 3.0}, {1.25, 3.5, 2.0}}},
        {"half way remembers E", {{1.5, 2.0}, {0.625, 1.5}, {1.25, 1.75}, {0.625, 1.625}}},
        {"half way keeps B", {{1.5, 2.0}, {0.625, 1.5}, {1.25, 1.75}, {1.25, 1.875}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressAfterABisectionSettlesBetweenTheLoads)
{
    RunScripts({
        {"between", {{1.5, 2.0}, {0.625, 1.5}, {0.875, 1.5}, {0.4375, 0.75}}},
        {"at the low load", {{1.5, 2.0}, {0.625, 1.5}, {0.75, 1.5}, {0.4375, 0.75}}},
        {"at the high load", {{1.5, 2.0}, {0.625, 1.5}, {1.0, 1.5}, {3.5, 6.0}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, StressOnceSettled)
{
    // The mean of the two loads is 0.875.
    RunScripts({
        {"low: by the load over the mean", {{0.875, 1.0}, {0.4375, 0.5}}},
        {"low remembers B and goes to decreased", {{0.875, 1.0}, {0.4375, 0.5}, {1.5, 0.75}}},
        {"low remembers A: at", {{0.875, 1.0}, {0.4375, 0.5}, {1.5, 0.75}, {0.4375, 0.625}}},
        {"low remembers A: below", {{0.875, 1.0}, {0.4375, 0.5}, {1.5, 0.75}, {0.375, 0.28125}}},
        {"high: by the load over the mean", {{0.875, 1.0}, {3.5, 4.0}}},
        {"high remembers E and goes to increased", {{0.875, 1.0}, {3.5, 4.0}, {0.625, 2.5}}},
        {"high remembers C: at", {{0.875, 1.0}, {3.5, 4.0}, {0.625, 2.5}, {3.5, 3.25}}},
        {"high remembers C: above", {{0.875, 1.0}, {3.5, 4.0}, {0.625, 2.5}, {3.75, 9.375}}},
        {"high remembers D", {{0.875, 1.0}, {3.5, 4.0, 3.0}, {0.625, 2.5}, {3.5, 8.75, 2.0}}},
        {"between: stays", {{0.875, 1.0}, {0.875, 1.0}, {0.875, 1.0}, {0.4375, 0.5}}},
        {"at the low load: stays", {{0.875, 1.0}, {0.75, 1.0}, {0.4375, 0.5}}},
        {"at the high load: stays", {{0.875, 1.0}, {1.0, 1.0}, {0.4375, 0.5}}},
    });
}

TEST(TqOcRenderTraversalFrameTime, AFrameThatIsNotInteractiveReturnsTheStressToTheStart)
{
    StressRun run;
    EXPECT_EQ(run.Step(0.25), 0.25);
    EXPECT_EQ(run.Step(1.5, 1.0, T::eNEVER_INTERACTIVE), 1.0);
    EXPECT_EQ(run.GetTraversal().GetLoad(), -1.0);
    EXPECT_EQ(run.Step(0.875, 1.0, T::eNEVER_INTERACTIVE), 1.0);
    EXPECT_EQ(run.GetTraversal().GetLoad(), -1.0);
    EXPECT_EQ(run.Step(1.5), 2.0) << "the first state, not half way back";
}

TEST(TqOcRenderTraversalFrameTime, HeldStressKeepsValueAndState)
{
    for (T::Policy const policy : {T::eALWAYS_INTERACTIVE, T::eNEVER_INTERACTIVE}) {
        StressRun run;
        EXPECT_EQ(run.Step(0.25), 0.25);
        run.GetTraversal().SetHoldStress(1);
        for (double const load : {0.125, 1.5, 0.875}) {
            EXPECT_EQ(run.Step(load, 1.0, policy), 0.25);
            EXPECT_EQ(run.GetTraversal().GetLoad(), -2.0);
        }
        run.GetTraversal().SetHoldStress(0);
        EXPECT_EQ(run.Step(1.5), 0.625) << "half way back, as after the decrease";
    }
}

TEST(TqOcRenderTraversalFrameTime, HeldStressIsClampedAllTheSame)
{
    StressRun run;
    EXPECT_EQ(run.Step(0.25), 0.25);
    run.GetTraversal().SetHoldStress(1);
    run.GetTraversal().SetMinStress(0.5);
    EXPECT_EQ(run.Step(1.5), 0.5);
    run.GetTraversal().SetMinStress(0.125);
    run.GetTraversal().SetMaxStress(0.375);
    EXPECT_EQ(run.Step(1.5), 0.375);
}

TEST(TqOcRenderTraversalFrameTime, StressIsClampedFromBelowFirst)
{
    StressRun run;
    run.GetTraversal().SetHoldStress(1);
    run.GetTraversal().SetMinStress(4.0);
    run.GetTraversal().SetMaxStress(2.0);
    EXPECT_EQ(run.Step(1.5), 4.0) << "raised, and not looked at again";
    EXPECT_EQ(run.Step(1.5), 2.0) << "not below the minimum, but above the maximum";
    EXPECT_EQ(run.Step(1.5), 4.0);
}

TEST(TqOcRenderTraversalFrameTime, TheClampedStressIsWhatTheNextStepStartsFrom)
{
    StressRun run;
    run.GetTraversal().SetMaxStress(16.0);
    EXPECT_EQ(run.Step(64.0), 16.0);
    EXPECT_EQ(run.Step(0.625), 8.5) << "half way from 16 back to 1";
}

TEST(TqOcRenderTraversalFrameTime, ALowLoadAtTheStartMeetsTheMinimumAndStillCountsAsDecrease)
{
    Frames frames(T::eNEVER_INTERACTIVE);
    frames.traversal.SetTargetFrameTime(1.0);
    frames.Run(0.3);
    frames.traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetStress(), 1.0);
    frames.End(1.5);
    frames.traversal.SetMinStress(0.1);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetStress(), 1.0) << "half way from 1 to 1; an increase gives 2";
}

TEST(TqOcRenderTraversalFrameTime, TheFirstInteractiveFrameHasNoLoad)
{
    Frames frames;
    frames.traversal.SetMinStress(0.0);
    frames.Start();
    EXPECT_EQ(frames.traversal.GetStress(), 0.0) << "why the minimum is to be above 0";
    Frames usual;
    usual.Start();
    EXPECT_EQ(usual.traversal.GetStress(), 1.0);
}

TEST(TqOcRenderTraversalFrameTime, UnderPolicyZeroStressAndLoadAreResetInEveryFrame)
{
    Frames frames(T::eNEVER_INTERACTIVE);
    for (int frame = 0; frame < 3; ++frame) {
        frames.Start();
        EXPECT_EQ(frames.traversal.GetStress(), 1.0);
        EXPECT_EQ(frames.traversal.GetLoad(), -1.0);
        frames.End(5.0);
        EXPECT_EQ(frames.traversal.GetLoad(), 5.0);
    }
}

TEST(TqOcRenderTraversalFrameTime, AnIncompleteFrameCountsAsALoadOfTwo)
{
    StressRun run;
    run.GetTraversal().completed = 0;
    run.GetFrames().End(0.25);
    run.GetTraversal().SetPolicy(T::eALWAYS_INTERACTIVE);
    run.GetFrames().Start();
    EXPECT_EQ(run.GetTraversal().GetStress(), 2.0);
}

TEST(TqOcRenderTraversalFrameTime, CopyConfigLeavesStressWeightAndStressStateAsTheyWere)
{
    StressRun run;
    EXPECT_EQ(run.Step(1.5, 3.0), 2.0);
    EXPECT_EQ(run.Step(0.625, 3.0), 1.5);
    WalkTraversal other(&run.GetFrames().context);
    other.CopyConfig(&run.GetTraversal());
    other.SetStressWeight(5.0);
    run.GetTraversal().SetStressWeight(2.0);
    run.GetFrames().End(1.5);
    run.GetTraversal().CopyConfig(&other);
    run.GetFrames().Start();
    EXPECT_EQ(run.GetTraversal().GetStress(), 3.0)
        << "bisected before, at the load of the last increase, and lighter";
}

// ---- Traversal factor ---------------------------------------------------------------------------

struct FactorCase
{
    char const* name;
    double ratio;   ///< the host's answer
    double walk;    ///< seconds
    double present; ///< seconds
    double added;   ///< what enters the history of four, which holds 0.5
    double lowBand = 1.0;
    unsigned int shapes = 0;
};

TEST(TqOcRenderTraversalFrameTime, AFrameThatDidNotOverrunEntersTheHistory)
{
    FactorCase const cases[] = {
        {"no time", 1.0, 0.0, 0.0, 1.0},
        {"no time, some other ratio", 0.5, 0.0, 0.0, 1.0},
        {"short, all walk: grows by 1/32", 1.0, 0.5, 0.0, 0.515625},
        {"short, a little above its share", 1.0, 0.25390625, 0.24609375, 0.5078125},
        {"short, its share", 1.0, 0.25, 0.25, 0.5},
        {"short, below its share", 1.0, 0.125, 0.375, 0.5},
        {"as long as the low band", 1.0, 0.5, 0.0, 0.5, 0.5},
        {"just shorter than the low band", 1.0, 0.4375, 0.0, 0.515625, 0.5},
        {"longer, with one shape", 1.0, 2.0, 0.0, 0.5, 1.0, 1},
        {"as long as the target", 1.0, 1.0, 0.0, 0.5, 1.0, 5},
        {"ratio: between half and all", 1.5, 0.25, 0.75, 0.25 / (0.75 / 1.5 + 0.25)},
        {"ratio: below half", 0.375, 0.25, 0.75, 0.25},
        {"ratio: at the factor", 3.0, 0.25, 0.75, 0.25},
        {"ratio: above the factor", 6.0, 0.25, 0.75, 0.25},
        {"ratio of zero", 0.0, 0.25, 0.75, 0.25},
        {"ratio below one without a rest", 0.5, 1.0, 0.0, 0.25},
        {"ratio above one without a rest", 2.0, 1.0, 0.0, 1.0},
    };
    for (FactorCase const& test : cases) {
        SCOPED_TRACE(test.name);
        Frames frames;
        frames.traversal.SetTraversalFactor(0.5);
        frames.SetBands(test.lowBand, 0.5); // an overrun would show as a factor of 0.25
        frames.context.endRenderSeconds = test.ratio;
        frames.Run(test.walk, 0, test.shapes, test.present);
        EXPECT_EQ(frames.traversal.GetTraversalFactor(),
                  (0.0 + test.added + 0.5 + 0.5 + 0.5) * 0.25);
    }
}

TEST(TqOcRenderTraversalFrameTime, OverheadShortensWhatAFrameMayTake)
{
    Frames frames;
    frames.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    frames.SetBands(1.0, 0.5);
    frames.Run(0.5);
    frames.clock.Advance(0.5);
    frames.Start();
    ASSERT_EQ(frames.traversal.GetOverheadTime(), 0.5);
    frames.traversal.SetTraversalFactor(0.5);
    frames.End(0.75, 0, 2);
    EXPECT_EQ(frames.traversal.GetTraversalFactor(), 0.5 * 0.5 * 0.5 / 0.75);

    frames.clock.Advance(0.5);
    frames.Start();
    ASSERT_EQ(frames.traversal.GetOverheadTime(), 0.5);
    frames.traversal.SetTraversalFactor(0.5);
    frames.End(0.5, 0, 2);
    EXPECT_EQ(frames.traversal.GetTraversalFactor(), 0.5) << "not below the rest of 0.5";
}

/// The average as it is kept: a ring of four, summed from its first slot.
class FactorHistory
{
public:
    explicit FactorHistory(double factor) { m_slots.fill(factor); }

    double Add(double factor)
    {
        m_slots[m_next] = factor;
        m_next = (m_next + 1) % 4;
        return (0.0 + m_slots[0] + m_slots[1] + m_slots[2] + m_slots[3]) * 0.25;
    }

private:
    std::array<double, 4> m_slots;
    std::size_t m_next = 0;
};

TEST(TqOcRenderTraversalFrameTime, TheHistoryIsARingOfFourFrames)
{
    Frames frames;
    frames.traversal.SetTraversalFactor(0.5);
    frames.context.endRenderSeconds = 0.0; // halves
    FactorHistory history(0.5);
    double factor = 0.5;
    for (int frame = 0; frame < 10; ++frame) {
        factor = history.Add(factor * 0.5);
        frames.Run(0.25, 0, 0, 0.25);
        EXPECT_EQ(frames.traversal.GetTraversalFactor(), factor) << "frame " << frame;
    }
}

TEST(TqOcRenderTraversalFrameTime, AShortFrameLetsTheFactorGrowByAThirtySecondAtMost)
{
    Frames frames;
    frames.traversal.SetTraversalFactor(0.5);
    FactorHistory history(0.5);
    double factor = 0.5;
    for (int frame = 0; frame < 10; ++frame) {
        factor = history.Add(factor * 1.03125);
        frames.Run(0.25);
        EXPECT_EQ(frames.traversal.GetTraversalFactor(), factor) << "frame " << frame;
    }
}

struct OverrunCase
{
    char const* name;
    std::vector<TimeSample> samples;
    double factor;         ///< after a frame of 2 s
    unsigned int expected; ///< 100 before
    double lowBand = 0.25;
    double highBand = 0.75;
};

TEST(TqOcRenderTraversalFrameTime, AnOverrunSetsTheFactorFromItsSamplesWithoutAveraging)
{
    // The factor is 0.5 before: the bands end at 0.125, 0.225 and 0.375.
    OverrunCase const cases[] = {
        {"middle sample", {{0.1875, 60}}, 0.09375, 60},
        {"middle sample with more triangles", {{0.1875, 150}}, 0.09375, 100},
        {"middle before low", {{0.0625, 40}, {0.1875, 60}}, 0.09375, 60},
        {"low sample", {{0.0625, 40}}, 0.03125, 100},
        {"no samples", {}, 0.1875, 100},
        {"samples without triangles", {{0.0625, 0}, {0.1875, 0}}, 0.1875, 100},
        {"nothing is 1", {{0.0, 60}}, 1.0, 60, 0.0, 0.75},
        {"above 1 is 1", {}, 1.0, 100, 0.25, 8.0},
    };
    for (OverrunCase const& test : cases) {
        for (double const ratio : {1.0, 0.5, 0.0, 2.0}) {
            SCOPED_TRACE(std::string(test.name) + ", ratio " + std::to_string(ratio));
            Frames frames(T::eNEVER_INTERACTIVE);
            frames.context.endRenderSeconds = ratio;
            frames.SetBands(test.lowBand, test.highBand);
            frames.traversal.SetTraversalFactor(0.5);
            frames.Start();
            frames.traversal.LowTarget(0.0, 99);
            for (TimeSample const& sample : test.samples) {
                frames.traversal.Sample(sample.time, sample.tris);
            }
            frames.End(2.0, 200, 2);
            EXPECT_EQ(frames.traversal.GetTraversalFactor(), test.factor);
            EXPECT_EQ(frames.traversal.GetExpectedTris(), test.expected);
            EXPECT_EQ(frames.traversal.GetLoad(), 2.0);
            frames.Run(0.0);
            EXPECT_EQ(frames.traversal.GetTraversalFactor(), 0.625)
                << "the history still holds 0.5 three times";
        }
    }
}

TEST(TqOcRenderTraversalFrameTime, AnOverrunWithoutMiddleSampleRaisesTheLowCountToTheExpected)
{
    struct Case
    {
        unsigned int lowTris;
        unsigned int limit; ///< on the line through the low sample and 200 triangles after 1 s
    };

    for (Case const& test : {Case{40, 173}, Case{100, 173}, Case{150, 186}}) {
        Frames frames(T::eNEVER_INTERACTIVE);
        frames.SetBands(0.25, 0.75);
        frames.Start();
        frames.traversal.LowTarget(0.0, 99);
        frames.traversal.Sample(0.0625, test.lowTris);
        frames.End(1.0, 200, 2, 1.0);
        ASSERT_EQ(frames.traversal.GetTraversalFactor(), 0.03125);
        frames.traversal.SetTraversalFactor(1.0);
        frames.traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
        frames.Start();
        EXPECT_EQ(frames.traversal.GetTriangleTarget(), 100U);
        EXPECT_EQ(frames.traversal.GetTriangleLimit(), test.limit) << test.lowTris;
    }
}

TEST(TqOcRenderTraversalFrameTime, FrameTypeTwoAndANegativeRatioLeaveTheFactorAlone)
{
    struct Case
    {
        T::FrameType type;
        double ratio;
        double load;
    };

    for (Case const& test :
         {Case{T::eFRAME_KEEP_FACTOR, 1.0, 0.5}, Case{T::eFRAME_KEEP_FACTOR, 0.0, 0.5},
          Case{T::eFRAME_DEFAULT, -0.5, 2.0}, Case{T::eFRAME_KEEP_FACTOR, -0.5, 2.0}}) {
        for (unsigned int const shapes : {0U, 2U}) {
            Frames frames;
            frames.traversal.SetTraversalFactor(0.5);
            frames.traversal.SetTargetFrameTime(shapes == 0 ? 1.0 : 0.25); // the latter overruns
            frames.traversal.SetFrameType(test.type);
            frames.context.endRenderSeconds = test.ratio;
            frames.Run(0.25, 0, shapes, 0.25);
            EXPECT_EQ(frames.traversal.GetTraversalFactor(), 0.5);
            EXPECT_EQ(frames.traversal.GetLastFrameTime(), 0.5);
            EXPECT_EQ(frames.traversal.GetLoad(), shapes == 0 ? test.load : 2.0);
            frames.traversal.SetFrameType(T::eFRAME_DEFAULT);
            frames.context.endRenderSeconds = 1.0;
            frames.Run(0.0);
            EXPECT_EQ(frames.traversal.GetTraversalFactor(), 0.625) << "the history too";
        }
    }
}

// ---- Load and redraw ----------------------------------------------------------------------------

TEST(TqOcRenderTraversalFrameTime, LoadIsTheFrameTimeOverTheTarget)
{
    Frames frames;
    frames.traversal.SetTargetFrameTime(0.5);
    frames.Run(0.125, 0, 0, 0.25);
    EXPECT_EQ(frames.traversal.GetLoad(), 0.75);
    EXPECT_EQ(frames.log.Count("PostRedrawRequest"), 0);
}

TEST(TqOcRenderTraversalFrameTime, AFrameThatWasNotShownIsALoadOfTwoAndAskedForAgain)
{
    struct Case
    {
        char const* name;
        int completed;
        int dropped;
        double ratio;
        double load;
    };

    Case const cases[] = {
        {"shown", 1, 0, 1.0, 0.5},          {"shown, other answer", 7, 0, 0.0, 0.5},
        {"incomplete", 0, 0, 1.0, 2.0},     {"dropped", 1, 1, 1.0, 2.0},
        {"not presented", 1, 0, -1.0, 2.0}, {"all of it", 0, 1, -1.0, 2.0},
    };
    for (unsigned int policy = 0; policy < 6; ++policy) {
        for (Case const& test : cases) {
            SCOPED_TRACE(std::string(test.name) + ", policy " + std::to_string(policy));
            Frames frames(static_cast<T::Policy>(policy));
            frames.traversal.completed = test.completed;
            frames.context.endRenderSeconds = test.ratio;
            frames.Start();
            frames.traversal.SetFrameDropped(test.dropped);
            frames.End(0.5);
            EXPECT_EQ(frames.traversal.GetLoad(), test.load);
            Lines const redraw =
                test.load == 2.0 && policy != 1 ? Lines{"PostRedrawRequest 4"} : Lines{};
            EXPECT_EQ(frames.log.Filtered("PostRedrawRequest"), redraw);
            EXPECT_EQ(frames.log.Count("CompletedRenderTraversal"), 1);
        }
    }
}

TEST(TqOcRenderTraversalFrameTime, AnIncompleteFrameUnderPolicyOnePostsNoRedraw)
{
    Frames frames(T::eALWAYS_INTERACTIVE);
    frames.traversal.completed = 0;
    frames.Run(0.5);
    EXPECT_EQ(frames.traversal.GetLoad(), 2.0);
    EXPECT_EQ(frames.log.Count("PostRedrawRequest"), 0);
}

TEST(TqOcRenderTraversalFrameTime, TheBaseContextCountsAsAsPlannedAndWithoutInteraction)
{
    FakeClock clock(0.0);
    TqOcContext context;
    PlainTraversable root;
    WalkTraversal traversal(&context);
    traversal.SetTargetFrameTime(1.0);
    traversal.SetPolicy(T::eAUTO_INTERACTIVE);
    traversal.SetTraversalFactor(0.5);
    EXPECT_EQ(traversal.WillNextFrameBeInteractive(), 0);
    traversal.StartTraversal(&root);
    EXPECT_EQ(traversal.IsInteractive(), 0);
    clock.Advance(0.5);
    traversal.EndTraversal();
    EXPECT_EQ(traversal.GetTraversalFactor(), (0.0 + 0.515625 + 0.5 + 0.5 + 0.5) * 0.25);
    EXPECT_EQ(traversal.GetLoad(), 0.5);
}

} // namespace
