// The base of all traversals: order of calls in one application, configuration, counters.

#include "scenecull/TqOcTraversal.h"

#include "support/Recorders.h"

#include "geometry/TqLPlane3f.h"
#include "geometry/TqLVec.h"
#include "geometry/TqLViewCriteria.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace
{

/// Logs the two steps that a concrete traversal supplies, with the counters as it finds them.
class LoggingTraversal : public TqOcTraversal
{
public:
    LoggingTraversal(EventLog* log, TqOcContext* context) : TqOcTraversal(context), m_log(log) {}

    unsigned int areaTestsAtStart = 99;
    unsigned int frustumTestsAtStart = 99;

    void StartTraversal(TqOcTraversable* root) override
    {
        areaTestsAtStart = GetNumAreaCullTests();
        frustumTestsAtStart = GetNumFrustumCullTests();
        m_log->Add("StartTraversal " + m_log->GetName(static_cast<TqOcBaseTraversable*>(root)));
        IncAreaCullTests(3);
        IncFrustumCullTests(4);
    }

    void EndTraversal() override { m_log->Add("EndTraversal"); }

    using TqOcTraversal::ResetStats;

private:
    EventLog* m_log;
};

/// Replaces the two steps of an application.
class DeferringTraversal : public LoggingTraversal
{
public:
    using LoggingTraversal::LoggingTraversal;

    EventLog* log = nullptr;

    void AsyncApply(TqOcTraversable*) override { log->Add("AsyncApply"); }

    void WaitForCompletion() override { log->Add("WaitForCompletion"); }
};

/// View criteria belong to the application and are only carried along: any two addresses will do.
TqLViewCriteria const* FakeCriteria(int i)
{
    static int const s_marks[2] = {};
    return reinterpret_cast<TqLViewCriteria const*>(&s_marks[i]);
}

/// A plane through the point at `distance` along an axis.
TqLPlane3f MakePlane(double x, double y, double z, double distance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(x, y, z);
    TqLPlane3f plane;
    plane.SetValue(normal, TqLPos3f(x * distance, y * distance, z * distance));
    return plane;
}

void ExpectSamePlane(TqLPlane3f const& plane, TqLPlane3f const& expected)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(plane.GetNormal()[i], expected.GetNormal()[i]);
    }
    EXPECT_EQ(plane.GetDistance(), expected.GetDistance());
}

std::array<TqLPlane3f, 6> MakeSixPlanes()
{
    return {MakePlane(1, 0, 0, 1),  MakePlane(0, 1, 0, 2),  MakePlane(0, 0, 1, 3),
            MakePlane(-1, 0, 0, 4), MakePlane(0, -1, 0, 5), MakePlane(0, 0, -1, 6)};
}

} // namespace

// ---- Application --------------------------------------------------------------------------------

TEST(TqOcTraversal, UpdatesTheRootThenStartsThenEnds)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    root.SetModified(0x01);
    LoggingTraversal traversal(&log, nullptr);
    traversal.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "StartTraversal root", "EndTraversal"}));
    EXPECT_EQ(root.GetModified(), 0u);
}

TEST(TqOcTraversal, DoesNotUpdateARootWithoutModifiedBits)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    LoggingTraversal traversal(&log, nullptr);
    traversal.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"StartTraversal root", "EndTraversal"}));
}

TEST(TqOcTraversal, SplitsAnApplicationIntoStartAndWait)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    root.SetModified(0x10);
    LoggingTraversal traversal(&log, nullptr);
    traversal.AsyncApply(&root);
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "StartTraversal root"}));
    traversal.WaitForCompletion();
    EXPECT_EQ(log.Take(), (Lines{"EndTraversal"}));
}

TEST(TqOcTraversal, LetsADerivedTraversalReplaceStartAndWait)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    DeferringTraversal traversal(&log, nullptr);
    traversal.log = &log;
    traversal.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"AsyncApply", "WaitForCompletion"}));
}

TEST(TqOcTraversal, ZeroesItsCountersBeforeEachStart)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    LoggingTraversal traversal(&log, nullptr);
    for (int i = 0; i < 2; ++i) {
        traversal.areaTestsAtStart = 99;
        traversal.frustumTestsAtStart = 99;
        traversal.Apply(&root);
        EXPECT_EQ(traversal.areaTestsAtStart, 0u);
        EXPECT_EQ(traversal.frustumTestsAtStart, 0u);
        EXPECT_EQ(traversal.GetNumAreaCullTests(), 3u);
        EXPECT_EQ(traversal.GetNumFrustumCullTests(), 4u);
    }
}

TEST(TqOcTraversal, PostsANullRootAndStartsNothing)
{
    EventLog log;
    PostedErrors posted;
    LoggingTraversal traversal(&log, nullptr);
    traversal.Apply(nullptr);
    EXPECT_EQ(log.Take(), Lines{});
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcTraversal");
    traversal.AsyncApply(nullptr);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(posted.Size(), 2);
}

// ---- Configuration ------------------------------------------------------------------------------

TEST(TqOcTraversal, StartsWithItsContextAndWithoutClipPlanesOrViewCriteria)
{
    EventLog log;
    RecordingContext context(&log);
    LoggingTraversal traversal(&log, &context);
    EXPECT_EQ(traversal.GetContext(), &context);
    EXPECT_EQ(std::as_const(traversal).GetContext(), &context);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 0);
    EXPECT_NE(traversal.GetClipPlanes(), nullptr);
    EXPECT_EQ(traversal.GetViewCriteria(), nullptr);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcTraversal, ChangesItsContext)
{
    EventLog log;
    RecordingContext first(&log);
    RecordingContext second(&log);
    LoggingTraversal traversal(&log, &first);
    traversal.SetContext(&second);
    EXPECT_EQ(traversal.GetContext(), &second);
    traversal.SetContext(nullptr);
    EXPECT_EQ(traversal.GetContext(), nullptr);
}

TEST(TqOcTraversal, CopiesUpToSixClipPlanes)
{
    EventLog log;
    LoggingTraversal traversal(&log, nullptr);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    for (int count = 6; count >= 0; --count) {
        SCOPED_TRACE(count);
        traversal.SetClipPlanes(planes.data(), count);
        EXPECT_EQ(traversal.GetNumClipPlanes(), count);
        for (int i = 0; i < count; ++i) {
            EXPECT_NE(&traversal.GetClipPlanes()[i], &planes[static_cast<std::size_t>(i)]);
            ExpectSamePlane(traversal.GetClipPlanes()[i], planes[static_cast<std::size_t>(i)]);
        }
    }
    traversal.SetClipPlanes(nullptr, 0);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 0);
}

TEST(TqOcTraversal, TakesOnlySixOfMoreClipPlanes)
{
    EventLog log;
    PostedErrors posted;
    LoggingTraversal traversal(&log, nullptr);
    traversal.SetViewCriteria(FakeCriteria(0));
    std::array<TqLPlane3f, 6> const six = MakeSixPlanes();
    std::array<TqLPlane3f, 9> planes;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        planes[i] = six[i % 6];
    }
    traversal.SetClipPlanes(planes.data(), 9);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 6);
    for (int i = 0; i < 6; ++i) {
        ExpectSamePlane(traversal.GetClipPlanes()[i], six[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(traversal.GetViewCriteria(), FakeCriteria(0));
    EXPECT_EQ(posted.Size(), 1);
}

TEST(TqOcTraversal, TakesNoneOfANegativeNumberOfClipPlanes)
{
    EventLog log;
    PostedErrors posted;
    LoggingTraversal traversal(&log, nullptr);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    traversal.SetClipPlanes(planes.data(), -1);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 0);
    EXPECT_EQ(posted.Size(), 1);
}

TEST(TqOcTraversal, TakesNoneOfClipPlanesWithoutAnArray)
{
    EventLog log;
    LoggingTraversal traversal(&log, nullptr);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    traversal.SetClipPlanes(planes.data(), 3);
    PostedErrors posted;
    traversal.SetClipPlanes(nullptr, 2);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 0);
    EXPECT_EQ(posted.AsLines(), Lines{"1 TqOcTraversal: 2 clip planes given, 0 used"});
}

TEST(TqOcTraversal, HoldsItsViewCriteriaByPointer)
{
    EventLog log;
    LoggingTraversal traversal(&log, nullptr);
    traversal.SetViewCriteria(FakeCriteria(0));
    EXPECT_EQ(traversal.GetViewCriteria(), FakeCriteria(0));
    traversal.SetViewCriteria(nullptr);
    EXPECT_EQ(traversal.GetViewCriteria(), nullptr);
}

TEST(TqOcTraversal, AddsToItsCountersAndResetsThem)
{
    EventLog log;
    LoggingTraversal traversal(&log, nullptr);
    traversal.ResetStats();
    traversal.IncAreaCullTests(2);
    traversal.IncAreaCullTests(5);
    traversal.IncFrustumCullTests(1);
    EXPECT_EQ(traversal.GetNumAreaCullTests(), 7u);
    EXPECT_EQ(traversal.GetNumFrustumCullTests(), 1u);
    traversal.IncFrustumCullTests(0xFFFFFFFFu); // wraps like any unsigned number
    EXPECT_EQ(traversal.GetNumFrustumCullTests(), 0u);
    traversal.ResetStats();
    EXPECT_EQ(traversal.GetNumAreaCullTests(), 0u);
    EXPECT_EQ(traversal.GetNumFrustumCullTests(), 0u);
}

TEST(TqOcTraversal, KeepsItsViewCriteriaAndCountersWhenItTakesAnothersConfiguration)
{
    EventLog log;
    RecordingContext context(&log);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    LoggingTraversal other(&log, &context);
    other.SetClipPlanes(planes.data(), 2);
    other.SetViewCriteria(FakeCriteria(1));
    other.ResetStats();
    other.IncAreaCullTests(10);

    LoggingTraversal traversal(&log, nullptr);
    traversal.SetClipPlanes(planes.data() + 2, 4);
    traversal.SetViewCriteria(FakeCriteria(0));
    traversal.ResetStats();
    traversal.IncAreaCullTests(1);
    traversal.IncFrustumCullTests(2);
    traversal.CopyConfig(&other);
    EXPECT_EQ(traversal.GetContext(), &context);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 2);
    ExpectSamePlane(traversal.GetClipPlanes()[0], planes[0]);
    ExpectSamePlane(traversal.GetClipPlanes()[1], planes[1]);
    EXPECT_EQ(traversal.GetViewCriteria(), FakeCriteria(0));
    EXPECT_EQ(traversal.GetNumAreaCullTests(), 1u);
    EXPECT_EQ(traversal.GetNumFrustumCullTests(), 2u);
}

TEST(TqOcTraversal, CopiesEverything)
{
    EventLog log;
    RecordingContext context(&log);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    LoggingTraversal traversal(&log, &context);
    traversal.SetClipPlanes(planes.data(), 6);
    traversal.SetClipPlanes(planes.data(), 3); // the last three stay behind the count
    traversal.SetViewCriteria(FakeCriteria(0));
    traversal.ResetStats();
    traversal.IncAreaCullTests(10);
    traversal.IncFrustumCullTests(20);

    LoggingTraversal const copied(traversal);
    LoggingTraversal assigned(&log, nullptr);
    assigned = traversal;
    for (LoggingTraversal const* copy : {&copied, &std::as_const(assigned)}) {
        EXPECT_EQ(copy->GetContext(), &context);
        EXPECT_EQ(copy->GetNumClipPlanes(), 3);
        for (int i = 0; i < 6; ++i) {
            ExpectSamePlane(copy->GetClipPlanes()[i], planes[static_cast<std::size_t>(i)]);
        }
        EXPECT_EQ(copy->GetViewCriteria(), FakeCriteria(0));
        EXPECT_EQ(copy->GetNumAreaCullTests(), 10u);
        EXPECT_EQ(copy->GetNumFrustumCullTests(), 20u);
    }
}
