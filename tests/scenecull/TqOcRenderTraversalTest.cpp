// Settings and statistics of the render traversal: defaults, setters, scale tables, the traversal
// factor, copying settings, counters, and which nodes and shapes count as visible.
//
// What keeps frames in time is in TqOcRenderTraversalFrameTimeTest.cpp; a few frames are run here
// where a setting shows only in what the next frame makes of it.

#include "scenecull/TqOcRenderTraversal.h"

#include "support/Recorders.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

constexpr unsigned int eALL_TRIANGLES = 0xFFFFFFFFU;

/// A render traversal that walks nothing.
class IdleTraversal : public TqOcRenderTraversal
{
public:
    explicit IdleTraversal(TqOcContext* context) : TqOcRenderTraversal(context) {}

    using TqOcRenderTraversal::GetExpectedTris;

protected:
    void StartRender(TqOcTraversable*) override {}

    int EndRender() override { return 1; }
};

/// A traversal with its host and a clock that stands still. Dyadic times only, so that all
/// differences are exact.
struct Host
{
    FakeClock clock{0.0};
    EventLog log;
    RecordingContext context{&log};
    PostedErrors posts;
    PlainTraversable root;
    IdleTraversal traversal{&context};

    /// A frame that takes `seconds`, all of it after the walk.
    void RunFrame(double seconds)
    {
        traversal.StartTraversal(&root);
        context.onEndRender = [this, seconds] { clock.Advance(seconds); };
        traversal.EndTraversal();
        context.onEndRender = nullptr;
    }

    /// The traversal factor after a frame of no time, which puts a 1.0 into the history of four.
    double AverageWithOne()
    {
        RunFrame(0.0);
        return traversal.GetTraversalFactor();
    }
};

// ---- Defaults and setters -----------------------------------------------------------------------

template <class Value>
struct Setting
{
    char const* name;
    Value (TqOcRenderTraversal::*get)() const;
    void (TqOcRenderTraversal::*set)(Value);
    Value defaultValue;
    Value other;
    bool copied; ///< by CopyConfig
};

using T = TqOcRenderTraversal;

std::vector<Setting<double>> const& DoubleSettings()
{
    static std::vector<Setting<double>> const settings = {
        {"CullArea", &T::GetCullArea, &T::SetCullArea, 1.0, -2.5, true},
        {"CullExtent", &T::GetCullExtent, &T::SetCullExtent, 1.0, 3.5, true},
        {"CullDistance", &T::GetCullDistance, &T::SetCullDistance, 1.7976931348623157e308, 4.5,
         true},
        {"TargetFrameTime", &T::GetTargetFrameTime, &T::SetTargetFrameTime, 0.1, 5.5, true},
        {"LowBand", &T::GetLowBand, &T::SetLowBand, 1.0, 6.5, true},
        {"HighBand", &T::GetHighBand, &T::SetHighBand, 1.0, 7.5, true},
        {"LowLoad", &T::GetLowLoad, &T::SetLowLoad, 0.8, 8.5, true},
        {"HighLoad", &T::GetHighLoad, &T::SetHighLoad, 1.0, 9.5, true},
        {"MinStress", &T::GetMinStress, &T::SetMinStress, 1.0, 10.5, true},
        {"MaxStress", &T::GetMaxStress, &T::SetMaxStress, 16.0, 11.5, true},
        {"SortSlack", &T::GetSortSlack, &T::SetSortSlack, 0.0, -12.5, true},
        {"SlackStart", &T::GetSlackStart, &T::SetSlackStart, 0.0, 13.5, true},
        {"VisibilityScale", &T::GetVisibilityScale, &T::SetVisibilityScale, 1.0, 14.5, true},
    };
    return settings;
}

std::vector<Setting<int>> const& IntSettings()
{
    static std::vector<Setting<int>> const settings = {
        {"UseLayers", &T::GetUseLayers, &T::SetUseLayers, 0, 1, true},
        {"DevelopFrame", &T::IsDevelopFrame, &T::SetDevelopFrame, 0, 1, true},
        {"FrameDropped", &T::IsFrameDropped, &T::SetFrameDropped, 0, 1, false},
        {"HoldStress", &T::GetHoldStress, &T::SetHoldStress, 0, 1, true},
        {"OcclusionCulling", &T::IsOcclusionCulling, &T::SetOcclusionCulling, 0, 1, false},
    };
    return settings;
}

std::vector<Setting<unsigned int>> const& UnsignedSettings()
{
    static std::vector<Setting<unsigned int>> const settings = {
        {"CurrentLayers", &T::GetCurrentLayers, &T::SetCurrentLayers, 0, 0x80000001U, true},
        {"LastLayers", &T::GetLastLayers, &T::SetLastLayers, 0, 0x80000002U, true},
        {"HighlightColor", &T::GetHighlightColor, &T::SetHighlightColor, 0, 0xFF00FF00U, true},
        {"FrameId", &T::GetFrameId, &T::SetFrameId, 0, 0xFFFFFFFFU, false},
        {"Secondary", &T::GetSecondary, &T::SetSecondary, 4, 11, true},
    };
    return settings;
}

/// Calls `check` with every setting of the three tables.
template <class Check>
void ForEachSetting(Check check)
{
    for (Setting<double> const& setting : DoubleSettings()) {
        SCOPED_TRACE(setting.name);
        check(setting);
    }
    for (Setting<int> const& setting : IntSettings()) {
        SCOPED_TRACE(setting.name);
        check(setting);
    }
    for (Setting<unsigned int> const& setting : UnsignedSettings()) {
        SCOPED_TRACE(setting.name);
        check(setting);
    }
}

bool SameFrustum(TqLFrustum3f const& a, TqLFrustum3f const& b)
{
    return std::equal(a.GetMatrix().Data(), a.GetMatrix().Data() + 16, b.GetMatrix().Data()) &&
           a.GetWidth() == b.GetWidth() && a.GetHeight() == b.GetHeight() &&
           a.GetNearPlane() == b.GetNearPlane() && a.GetFrustumType() == b.GetFrustumType();
}

TEST(TqOcRenderTraversal, SettingsStartWithTheirDefaults)
{
    Host const host;
    ForEachSetting([&](auto const& setting) {
        EXPECT_EQ((host.traversal.*setting.get)(), setting.defaultValue);
    });
    IdleTraversal const& traversal = host.traversal;
    EXPECT_TRUE(SameFrustum(traversal.GetViewFrustum(), TqLFrustum3f(1.0, 1.0, 1.0, 1000.0)));
    EXPECT_EQ(static_cast<unsigned int>(traversal.GetPrimitiveBits()), 255U);
    EXPECT_EQ(static_cast<unsigned int>(traversal.GetPolicy()), 0U);
    EXPECT_EQ(static_cast<unsigned int>(traversal.GetFrameType()), 0U);
    EXPECT_EQ(static_cast<unsigned int>(traversal.GetPrimary()), 1U);
    EXPECT_EQ(traversal.GetNumAreaScales(), 0);
    EXPECT_EQ(traversal.GetNumDistanceScales(), 0);
    EXPECT_EQ(traversal.GetNumHysteresisScales(), 0);
    EXPECT_EQ(traversal.GetHysteresisScales()[0], 1.0);
    EXPECT_EQ(traversal.GetDynamicPriorityCallback(), nullptr);
    EXPECT_EQ(traversal.GetDynamicPriorityData(), nullptr);
    EXPECT_EQ(traversal.GetDynamicShapeCullCallback(), nullptr);
    EXPECT_EQ(traversal.GetDynamicShapeCullData(), nullptr);
    EXPECT_TRUE(host.posts.Empty());
}

TEST(TqOcRenderTraversal, ReadingsStartWithTheirDefaults)
{
    Host const host;
    IdleTraversal const& traversal = host.traversal;
    EXPECT_EQ(traversal.GetContext(), &host.context);
    EXPECT_EQ(traversal.GetNumClipPlanes(), 0);
    EXPECT_EQ(traversal.GetTraversalFactor(), 1.0);
    EXPECT_EQ(traversal.GetLastFrameTime(), 0.0);
    EXPECT_EQ(traversal.GetLastTraversalTime(), 0.0);
    EXPECT_EQ(traversal.GetLastFrameToFrameTime(), 0.0);
    EXPECT_EQ(traversal.GetOverheadTime(), 0.0);
    EXPECT_EQ(traversal.GetInteractiveCount(), 0);
    EXPECT_EQ(traversal.IsInteractive(), 0);
    EXPECT_EQ(traversal.GetLoad(), 0.0);
    EXPECT_EQ(traversal.GetStress(), 1.0);
    EXPECT_EQ(traversal.GetTriangleTarget(), 0U);
    EXPECT_EQ(traversal.GetTriangleLimit(), 0U);
    EXPECT_EQ(traversal.GetLowBandTime(), 0.0);
    EXPECT_EQ(traversal.GetHighBandTime(), 0.0);
    EXPECT_EQ(traversal.GetRenderCost(), 0.0);
}

TEST(TqOcRenderTraversal, SettersStoreWhateverTheyAreGiven)
{
    Host host;
    ForEachSetting([&](auto const& setting) {
        (host.traversal.*setting.set)(setting.other);
        EXPECT_EQ((host.traversal.*setting.get)(), setting.other);
    });
    ForEachSetting([&](auto const& setting) {
        EXPECT_EQ((host.traversal.*setting.get)(), setting.other) << "no setter touches another";
    });
    for (double const value : {0.0, -1.0, DBL_MAX, std::numeric_limits<double>::infinity()}) {
        for (Setting<double> const& setting : DoubleSettings()) {
            (host.traversal.*setting.set)(value);
            EXPECT_EQ((host.traversal.*setting.get)(), value) << setting.name;
        }
    }
    EXPECT_TRUE(host.posts.Empty());
}

TEST(TqOcRenderTraversal, StoresEnumerationsFrustumAndCallbacks)
{
    Host host;
    IdleTraversal& traversal = host.traversal;
    TqLFrustum3f const frustum(3.0, 2.0, 0.5, 50.0);
    traversal.SetViewFrustum(frustum);
    EXPECT_TRUE(SameFrustum(traversal.GetViewFrustum(), frustum));
    for (unsigned int value = 0; value < 6; ++value) {
        traversal.SetPolicy(static_cast<T::Policy>(value));
        EXPECT_EQ(static_cast<unsigned int>(traversal.GetPolicy()), value);
        traversal.SetFrameType(static_cast<T::FrameType>(value));
        EXPECT_EQ(static_cast<unsigned int>(traversal.GetFrameType()), value);
        traversal.SetPrimary(static_cast<T::Prioritization>(value));
        EXPECT_EQ(static_cast<unsigned int>(traversal.GetPrimary()), value);
    }
    traversal.SetPrimitiveBits(static_cast<TqLPrimitiveTypes::Enum>(0x80000004U));
    EXPECT_EQ(static_cast<unsigned int>(traversal.GetPrimitiveBits()), 0x80000004U);

    int priorityData = 0;
    int shapeData = 0;
    T::DynamicPriorityCallback const onPriority = [](TqOcTraversable const*,
                                                     TqOcRenderTravCullData*, void*) { return 1; };
    T::DynamicShapeCullCallback const onShape = [](TqOcShape const*, void*) { return 0; };
    traversal.SetDynamicPriorityCallback(onPriority, &priorityData);
    traversal.SetDynamicShapeCullCallback(onShape, &shapeData);
    EXPECT_EQ(traversal.GetDynamicPriorityCallback(), onPriority);
    EXPECT_EQ(traversal.GetDynamicPriorityData(), &priorityData);
    EXPECT_EQ(traversal.GetDynamicShapeCullCallback(), onShape);
    EXPECT_EQ(traversal.GetDynamicShapeCullData(), &shapeData);
    traversal.SetDynamicPriorityCallback(nullptr, nullptr);
    traversal.SetDynamicShapeCullCallback(nullptr, nullptr);
    EXPECT_EQ(traversal.GetDynamicPriorityCallback(), nullptr);
    EXPECT_EQ(traversal.GetDynamicShapeCullCallback(), nullptr);
}

TEST(TqOcRenderTraversal, EnumerationsAreThirtyTwoBitsWideAndHaveFixedNumbers)
{
    static_assert(sizeof(T::Policy) == 4);
    static_assert(sizeof(T::FrameType) == 4);
    static_assert(sizeof(T::Prioritization) == 4);
    EXPECT_EQ(static_cast<int>(T::eNEVER_INTERACTIVE), 0);
    EXPECT_EQ(static_cast<int>(T::eALWAYS_INTERACTIVE), 1);
    EXPECT_EQ(static_cast<int>(T::eCOUNT_INTERACTIVE), 2);
    EXPECT_EQ(static_cast<int>(T::eAUTO_INTERACTIVE), 3);
    EXPECT_EQ(static_cast<int>(T::eINTERRUPTIBLE), 4);
    EXPECT_EQ(static_cast<int>(T::eFRAME_DEFAULT), 0);
    EXPECT_EQ(static_cast<int>(T::eFRAME_MEASURE_OVERHEAD), 1);
    EXPECT_EQ(static_cast<int>(T::eFRAME_KEEP_FACTOR), 2);
    EXPECT_EQ(static_cast<int>(T::ePRIORITY_AREA), 0);
    EXPECT_EQ(static_cast<int>(T::ePRIORITY_DISTANCE), 1);
    EXPECT_EQ(static_cast<int>(T::eSECONDARY_DISTANCE), 1);
    EXPECT_EQ(static_cast<int>(T::eSECONDARY_AREA), 2);
    EXPECT_EQ(static_cast<int>(T::eSECONDARY_SCALE), 4);
    EXPECT_EQ(static_cast<int>(T::eSECONDARY_HYSTERESIS), 8);
}

TEST(TqOcRenderTraversal, EveryPolicyButZeroIsInteractive)
{
    Host host;
    EXPECT_EQ(host.traversal.IsInteractivePolicy(), 0);
    for (unsigned int value = 1; value < 6; ++value) {
        host.traversal.SetPolicy(static_cast<T::Policy>(value));
        EXPECT_NE(host.traversal.IsInteractivePolicy(), 0) << value;
    }
}

TEST(TqOcRenderTraversal, TheFrameTimerRunsFromConstruction)
{
    Host host;
    EXPECT_EQ(host.traversal.GetElapsedTime(), 0.0);
    EXPECT_EQ(host.traversal.HasTimeElapsed(), 0) << "0 is not greater than the budget of 0";
    host.clock.Advance(0.5);
    EXPECT_EQ(host.traversal.GetElapsedTime(), 0.5);
    EXPECT_EQ(host.traversal.HasTimeElapsed(), 1);
    host.clock.Advance(100.0);
    EXPECT_EQ(host.traversal.GetElapsedTime(), 100.5) << "past its time-out of a minute";
}

// ---- Traversal factor ---------------------------------------------------------------------------

TEST(TqOcRenderTraversal, FactorsOutOfRangeArePostedAndLeaveFactorAndHistory)
{
    struct Case
    {
        double factor;
        char const* text;
    };

    Case const cases[] = {
        {0.0, "TraversalFactor 0 out of range 0 < f <= 1"},
        {1.5, "TraversalFactor 1.5 out of range 0 < f <= 1"},
        {-0.25, "TraversalFactor -0.25 out of range 0 < f <= 1"},
        {std::nextafter(1.0, 2.0), "TraversalFactor 1 out of range 0 < f <= 1"},
        {1e10, "TraversalFactor 1e+10 out of range 0 < f <= 1"},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.text);
        Host host;
        host.traversal.SetTraversalFactor(0.5);
        host.traversal.SetTraversalFactor(test.factor);
        ASSERT_EQ(host.posts.Size(), 1);
        EXPECT_EQ(host.posts.Get()[0].severity, 0);
        EXPECT_EQ(host.posts.Get()[0].component, "TqOcRenderTraversal");
        EXPECT_EQ(host.posts.Get()[0].text, test.text);
        EXPECT_EQ(host.traversal.GetTraversalFactor(), 0.5);
        EXPECT_EQ(host.AverageWithOne(), 0.625) << "the history still holds 0.5";
    }
}

TEST(TqOcRenderTraversal, FactorsInRangeAreTakenAndRestartTheHistory)
{
    for (double const factor : {1.0, 0.5, 0.125, DBL_MIN}) {
        Host host;
        host.traversal.SetTraversalFactor(factor);
        EXPECT_TRUE(host.posts.Empty());
        EXPECT_EQ(host.traversal.GetTraversalFactor(), factor);
        EXPECT_EQ(host.AverageWithOne(), (1.0 + 3.0 * factor) * 0.25);
        host.traversal.SetTraversalFactor(0.25);
        EXPECT_EQ(host.AverageWithOne(), 0.4375);
    }
}

TEST(TqOcRenderTraversal, ChangesTheFactorByAMultipleCutAtOne)
{
    struct Case
    {
        double multiplier;
        double factor;
    };

    for (Case const& test : {Case{3.0, 1.0}, Case{2.0, 1.0}, Case{1.5, 0.75}, Case{0.5, 0.25}}) {
        Host host;
        host.traversal.SetTraversalFactor(0.5);
        host.traversal.ChangeTraversalFactor(test.multiplier);
        EXPECT_TRUE(host.posts.Empty());
        EXPECT_EQ(host.traversal.GetTraversalFactor(), test.factor);
        EXPECT_EQ(host.AverageWithOne(), (1.0 + 3.0 * test.factor) * 0.25);
    }
}

TEST(TqOcRenderTraversal, AMultipleOfZeroOrLessIsPostedAndChangesNothing)
{
    struct Case
    {
        double multiplier;
        char const* text;
    };

    Case const cases[] = {
        {-1.0, "TraversalFactor -0.5 out of range 0 < f <= 1"},
        {0.0, "TraversalFactor 0 out of range 0 < f <= 1"},
    };
    for (Case const& test : cases) {
        Host host;
        host.traversal.SetTraversalFactor(0.5);
        host.traversal.ChangeTraversalFactor(test.multiplier);
        ASSERT_EQ(host.posts.Size(), 1);
        EXPECT_EQ(host.posts.Get()[0].severity, 0);
        EXPECT_EQ(host.posts.Get()[0].component, "TqOcRenderTraversal");
        EXPECT_EQ(host.posts.Get()[0].text, test.text);
        EXPECT_EQ(host.traversal.GetTraversalFactor(), 0.5);
        EXPECT_EQ(host.AverageWithOne(), 0.625);
    }
}

TEST(TqOcRenderTraversal, AFactorThatIsNotANumberIsPostedAndNotTaken)
{
    Host host;
    host.traversal.SetTraversalFactor(0.5);
    host.traversal.SetTraversalFactor(std::nan(""));
    host.traversal.ChangeTraversalFactor(std::nan(""));
    EXPECT_EQ(host.posts.Size(), 2);
    EXPECT_EQ(host.traversal.GetTraversalFactor(), 0.5);
    EXPECT_EQ(host.AverageWithOne(), 0.625);
}

// ---- Scale tables -------------------------------------------------------------------------------

void ExpectTable(double const* table, std::vector<double> const& expected)
{
    for (std::size_t entry = 0; entry < expected.size(); ++entry) {
        EXPECT_EQ(table[entry], expected[entry]) << "entry " << entry;
    }
}

TEST(TqOcRenderTraversal, AreaAndDistanceTablesAreCopiedAsGiven)
{
    Host host;
    IdleTraversal& traversal = host.traversal;
    double thresholds[] = {9, 1, 4, -2, 7};
    double scales[] = {0.5, -1, 0, 3, 2};
    double otherThresholds[] = {1, 2, 3, 4, 5};
    double otherScales[] = {6, 7, 8, 9, 10};
    for (int const count : {5, 2, 0}) {
        traversal.SetAreaScales(thresholds, scales, count);
        traversal.SetDistanceScales(otherThresholds, otherScales, count);
        EXPECT_EQ(traversal.GetNumAreaScales(), count);
        EXPECT_EQ(traversal.GetNumDistanceScales(), count);
        auto const size = static_cast<std::size_t>(count);
        ExpectTable(traversal.GetAreaThresholds(), {thresholds, thresholds + size});
        ExpectTable(traversal.GetAreaScales(), {scales, scales + size});
        ExpectTable(traversal.GetDistanceThresholds(), {otherThresholds, otherThresholds + size});
        ExpectTable(traversal.GetDistanceScales(), {otherScales, otherScales + size});
    }
    traversal.SetAreaScales(thresholds, scales, 1);
    thresholds[0] = 1234;
    scales[0] = 1234;
    EXPECT_EQ(traversal.GetAreaThresholds()[0], 9.0) << "the caller keeps its arrays";
    EXPECT_EQ(traversal.GetAreaScales()[0], 0.5);
    EXPECT_TRUE(host.posts.Empty());
}

TEST(TqOcRenderTraversal, TheHysteresisTableIsCopiedAsGiven)
{
    Host host;
    double const scales[] = {0.5, 0.25, 2, 3, 4};
    for (int const count : {5, 3, 1}) {
        host.traversal.SetHysteresisScales(scales, count);
        EXPECT_EQ(host.traversal.GetNumHysteresisScales(), count);
        ExpectTable(host.traversal.GetHysteresisScales(),
                    {scales, scales + static_cast<std::size_t>(count)});
    }
    EXPECT_TRUE(host.posts.Empty());
}

TEST(TqOcRenderTraversal, AnEmptyHysteresisTableHoldsOnlyAOne)
{
    Host host;
    double const scales[] = {0.5, 0.25};
    host.traversal.SetHysteresisScales(scales, 2);
    host.traversal.SetHysteresisScales(nullptr, 0);
    EXPECT_EQ(host.traversal.GetNumHysteresisScales(), 0);
    EXPECT_EQ(host.traversal.GetHysteresisScales()[0], 1.0);
    EXPECT_TRUE(host.posts.Empty());
}

TEST(TqOcRenderTraversal, CountsOutsideTheTablesArePostedAndClamped)
{
    double const values[8] = {1, 2, 3, 4, 5, 6, 7, 8};

    struct Case
    {
        int count;
        int clamped;
    };

    for (Case const& test : {Case{6, 5}, Case{8, 5}, Case{-1, 0}}) {
        SCOPED_TRACE("count " + std::to_string(test.count));
        Host host;
        IdleTraversal& traversal = host.traversal;
        traversal.SetDynamicShapeCullCallback(nullptr, &host); // stands behind the tables
        traversal.SetAreaScales(values, values, test.count);
        EXPECT_EQ(host.posts.Size(), 1);
        traversal.SetDistanceScales(values, values, test.count);
        EXPECT_EQ(host.posts.Size(), 2);
        traversal.SetHysteresisScales(values, test.count);
        EXPECT_EQ(host.posts.Size(), 3);
        for (PostedErrors::Post const& post : host.posts.Get()) {
            EXPECT_EQ(post.component, "TqOcRenderTraversal");
        }
        EXPECT_EQ(traversal.GetNumAreaScales(), test.clamped);
        EXPECT_EQ(traversal.GetNumDistanceScales(), test.clamped);
        EXPECT_EQ(traversal.GetNumHysteresisScales(), test.clamped);
        std::vector<double> const kept(values, values + test.clamped);
        ExpectTable(traversal.GetAreaThresholds(), kept);
        ExpectTable(traversal.GetAreaScales(), kept);
        ExpectTable(traversal.GetDistanceThresholds(), kept);
        ExpectTable(traversal.GetDistanceScales(), kept);
        ExpectTable(traversal.GetHysteresisScales(), kept);
        EXPECT_EQ(traversal.GetHysteresisScales()[0], 1.0);
        EXPECT_EQ(traversal.GetVisibilityScale(), 1.0) << "nothing behind the tables was written";
        EXPECT_EQ(traversal.GetDynamicPriorityCallback(), nullptr);
        EXPECT_EQ(traversal.GetDynamicShapeCullData(), &host);
    }
}

TEST(TqOcRenderTraversal, TablesWithoutArraysArePostedAndEmpty)
{
    Host host;
    double const values[] = {7, 8, 9};
    host.traversal.SetAreaScales(nullptr, values, 3);
    host.traversal.SetDistanceScales(values, nullptr, 3);
    host.traversal.SetHysteresisScales(nullptr, 3);
    EXPECT_EQ(host.posts.Size(), 3);
    EXPECT_EQ(host.traversal.GetNumAreaScales(), 0);
    EXPECT_EQ(host.traversal.GetNumDistanceScales(), 0);
    EXPECT_EQ(host.traversal.GetNumHysteresisScales(), 0);
    EXPECT_EQ(host.traversal.GetHysteresisScales()[0], 1.0);
}

// ---- Interactive count --------------------------------------------------------------------------

TEST(TqOcRenderTraversal, InteractionNests)
{
    Host host;
    IdleTraversal& traversal = host.traversal;
    traversal.SetPolicy(T::eCOUNT_INTERACTIVE);
    traversal.StartInteractive();
    traversal.StartInteractive();
    EXPECT_EQ(traversal.GetInteractiveCount(), 2);
    EXPECT_EQ(traversal.IsInteractive(), 0) << "only a frame's start sets the flag";
    traversal.StartTraversal(&host.root);
    EXPECT_NE(traversal.IsInteractive(), 0);
    traversal.EndInteractive();
    EXPECT_EQ(traversal.GetInteractiveCount(), 1);
    EXPECT_NE(traversal.IsInteractive(), 0);
    traversal.EndInteractive();
    EXPECT_EQ(traversal.GetInteractiveCount(), 0);
    EXPECT_EQ(traversal.IsInteractive(), 0);
}

TEST(TqOcRenderTraversal, EndInteractiveAtZeroLeavesZeroAndClearsTheFlagUnderEveryPolicy)
{
    for (unsigned int policy = 0; policy < 6; ++policy) {
        SCOPED_TRACE("policy " + std::to_string(policy));
        Host host;
        host.traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
        host.traversal.StartTraversal(&host.root);
        ASSERT_NE(host.traversal.IsInteractive(), 0);
        host.traversal.SetPolicy(static_cast<T::Policy>(policy));
        host.traversal.EndInteractive();
        EXPECT_EQ(host.traversal.GetInteractiveCount(), 0);
        EXPECT_EQ(host.traversal.IsInteractive(), 0);
    }
}

// ---- Render cost --------------------------------------------------------------------------------

TEST(TqOcRenderTraversal, RenderCostIsTheLastFrameTimePerExpectedTriangle)
{
    Host host;
    EXPECT_EQ(host.traversal.GetRenderCost(), 0.0);
    host.RunFrame(0.5);
    EXPECT_EQ(host.traversal.GetRenderCost(), 0.0) << "nothing expected";
    host.traversal.LowTarget(0.25, 63);
    EXPECT_EQ(host.traversal.GetRenderCost(), 0.0078125);
    host.traversal.ResetHysteresis();
    EXPECT_EQ(host.traversal.GetRenderCost(), 0.0);
}

TEST(TqOcRenderTraversal, ChangeRenderCostTruncatesAndSaturatesTheExpectedTriangles)
{
    struct Case
    {
        unsigned int expected;
        double factor;
        unsigned int changed;
    };

    Case const cases[] = {
        {101, 0.5, 50},
        {101, 1.0, 101},
        {101, 2.5, 252},
        {3, 0.25, 0},
        {101, -2.0, 0},
        {101, 1e300, eALL_TRIANGLES},
        {2, 2147483647.75, 0xFFFFFFFFU},
        {101, std::nan(""), 0},
        {101, 0.0, 0},
    };
    for (Case const& test : cases) {
        Host host;
        host.traversal.LowTarget(0.0, test.expected - 1);
        ASSERT_EQ(host.traversal.GetExpectedTris(), test.expected);
        host.traversal.ChangeRenderCost(test.factor);
        EXPECT_EQ(host.traversal.GetExpectedTris(), test.changed)
            << test.expected << " times " << test.factor;
    }
}

TEST(TqOcRenderTraversal, ChangeRenderCostOfNothingExpectedChangesNothing)
{
    Host host;
    host.traversal.ChangeRenderCost(7.0);
    EXPECT_EQ(host.traversal.GetExpectedTris(), 0U);
    EXPECT_EQ(host.traversal.GetRenderCost(), 0.0);
}

// ---- Statistics ---------------------------------------------------------------------------------

struct Counter
{
    char const* name;
    unsigned int (T::*get)() const;
    void (T::*inc)(unsigned int);
    void (T::*dec)(unsigned int); ///< null where there is none
};

Counter const s_counters[] = {
    {"TrisFrustumCulled", &T::GetTrisFrustumCulled, &T::IncTrisFrustumCulled, nullptr},
    {"TrisAreaCulled", &T::GetTrisAreaCulled, &T::IncTrisAreaCulled, nullptr},
    {"TrisVisibilityCulled", &T::GetTrisVisibilityCulled, &T::IncTrisVisibilityCulled, nullptr},
    {"TrisTraversedCulled", &T::GetTrisTraversedCulled, &T::IncTrisTraversedCulled, nullptr},
    {"TrisOcclusionCulled", &T::GetTrisOcclusionCulled, &T::IncTrisOcclusionCulled, nullptr},
    {"TrisRendered", &T::GetTrisRendered, &T::IncTrisRendered, &T::DecTrisRendered},
    {"ShapesRendered", &T::GetShapesRendered, &T::IncShapesRendered, &T::DecShapesRendered},
    {"LeavesRendered", &T::GetLeavesRendered, &T::IncLeavesRendered, nullptr},
};

TEST(TqOcRenderTraversal, CountersAddSubtractAndWrap)
{
    for (Counter const& counter : s_counters) {
        SCOPED_TRACE(counter.name);
        Host host;
        IdleTraversal& traversal = host.traversal;
        EXPECT_EQ((traversal.*counter.get)(), 0U);
        (traversal.*counter.inc)(5);
        (traversal.*counter.inc)(7);
        EXPECT_EQ((traversal.*counter.get)(), 12U);
        if (counter.dec != nullptr) {
            (traversal.*counter.dec)(4);
            EXPECT_EQ((traversal.*counter.get)(), 8U);
            (traversal.*counter.dec)(9);
            EXPECT_EQ((traversal.*counter.get)(), 0xFFFFFFFFU);
            (traversal.*counter.inc)(13);
        }
        (traversal.*counter.inc)(0xFFFFFFFFU);
        EXPECT_EQ((traversal.*counter.get)(), 11U);
        for (Counter const& other : s_counters) {
            EXPECT_TRUE(&other == &counter || (traversal.*other.get)() == 0) << other.name;
        }
    }
}

TEST(TqOcRenderTraversal, ResetStatsZeroesAllCounters)
{
    Host host;
    for (Counter const& counter : s_counters) {
        (host.traversal.*counter.inc)(5);
    }
    host.traversal.ResetStats();
    for (Counter const& counter : s_counters) {
        EXPECT_EQ((host.traversal.*counter.get)(), 0U) << counter.name;
    }
}

TEST(TqOcRenderTraversal, EveryFrameStartsWithItsCountersAtZero)
{
    Host host;
    for (Counter const& counter : s_counters) {
        (host.traversal.*counter.inc)(5);
    }
    host.traversal.InitTraversal();
    for (Counter const& counter : s_counters) {
        EXPECT_EQ((host.traversal.*counter.get)(), 0U) << counter.name;
    }
}

// ---- Visibility ---------------------------------------------------------------------------------

TEST(TqOcRenderTraversal, ANodeIsVisibleWhenItsPrimitivesMeetTheMask)
{
    Host host;
    for (unsigned int bits :
         {0U, 1U, 2U, 4U, 8U, 16U, 5U, 31U, 32U, 224U, 255U, 256U, 0xFFFFFF00U}) {
        host.traversal.SetPrimitiveBits(static_cast<TqLPrimitiveTypes::Enum>(bits));
        for (unsigned int primitives = 0; primitives < 32; ++primitives) {
            PlainTraversable node(TqLBox3f(), 1.0, 1,
                                  static_cast<TqLPrimitiveTypes::Enum>(primitives));
            RecordingShape shape(nullptr, "shape", TqLBox3f(), 1, 1.0,
                                 static_cast<TqLPrimitiveTypes::Enum>(primitives));
            int const visible = (bits & primitives) != 0 ? 1 : 0;
            EXPECT_EQ(host.traversal.IsVisible(&node), visible) << bits << " " << primitives;
            EXPECT_EQ(host.traversal.IsVisible(&shape), visible) << bits << " " << primitives;
        }
    }
}

TEST(TqOcRenderTraversal, AHiddenNodeIsInvisibleWhateverTheMask)
{
    Host host;
    PlainTraversable node(TqLBox3f(), 1.0, 1, TqLPrimitiveTypes::eALL);
    RecordingShape shape(nullptr, "shape", TqLBox3f(), 1, 1.0, TqLPrimitiveTypes::eALL);
    node.SetHideRender(1);
    shape.SetHideRender(1);
    ASSERT_EQ(static_cast<unsigned int>(host.traversal.GetPrimitiveBits()), 255U);
    EXPECT_EQ(host.traversal.IsVisible(&node), 0);
    EXPECT_EQ(host.traversal.IsVisible(&shape), 0);
    node.SetHideRender(0);
    EXPECT_EQ(host.traversal.IsVisible(&node), 1);
}

/// A shape-cull callback that keeps what it was asked.
struct ShapeCallback
{
    int answer = 0;
    int numCalls = 0;
    TqOcShape const* shape = nullptr;

    static int Call(TqOcShape const* shape, void* userData)
    {
        auto* self = static_cast<ShapeCallback*>(userData);
        ++self->numCalls;
        self->shape = shape;
        return self->answer;
    }
};

TEST(TqOcRenderTraversal, TheShapeCallbackCullsWithAnyNonZeroAnswer)
{
    Host host;
    RecordingShape shape(nullptr, "shape", TqLBox3f());
    for (int const answer : {0, 1, -1, 8}) {
        ShapeCallback callback;
        callback.answer = answer;
        host.traversal.SetDynamicShapeCullCallback(&ShapeCallback::Call, &callback);
        EXPECT_EQ(host.traversal.IsVisible(&shape), answer == 0 ? 1 : 0);
        EXPECT_EQ(callback.numCalls, 1);
        EXPECT_EQ(callback.shape, &shape);
    }
}

TEST(TqOcRenderTraversal, TheShapeCallbackIsNotAskedAboutInvisibleShapesAndNodes)
{
    Host host;
    ShapeCallback callback;
    callback.answer = 1;
    host.traversal.SetDynamicShapeCullCallback(&ShapeCallback::Call, &callback);
    RecordingShape hidden(nullptr, "hidden", TqLBox3f());
    hidden.SetHideRender(1);
    RecordingShape line(nullptr, "line", TqLBox3f(), 1, 1.0, TqLPrimitiveTypes::eLINES);
    RecordingShape shape(nullptr, "shape", TqLBox3f());
    host.traversal.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(host.traversal.IsVisible(&hidden), 0);
    EXPECT_EQ(host.traversal.IsVisible(&line), 0);
    EXPECT_EQ(host.traversal.IsVisible(static_cast<TqOcBaseTraversable const*>(&shape)), 1);
    EXPECT_EQ(callback.numCalls, 0);
}

// ---- Copying settings ---------------------------------------------------------------------------

TEST(TqOcRenderTraversal, CopyConfigTakesTheSettingsOver)
{
    Host source;
    ForEachSetting([&](auto const& setting) { (source.traversal.*setting.set)(setting.other); });
    EventLog log;
    RecordingContext context(&log);
    IdleTraversal target(&context);
    target.CopyConfig(&source.traversal);
    ForEachSetting([&](auto const& setting) {
        EXPECT_EQ((target.*setting.get)(), setting.copied ? setting.other : setting.defaultValue);
    });
    EXPECT_EQ(target.GetContext(), &source.context);
    EXPECT_TRUE(source.posts.Empty());
}

TEST(TqOcRenderTraversal, CopyConfigLeavesWhatIsNotASettingAsItWas)
{
    Host source;
    IdleTraversal target(&source.context);
    target.SetOcclusionCulling(1);
    target.SetFrameId(4711);
    target.SetFrameDropped(1);
    target.StartInteractive();
    for (Counter const& counter : s_counters) {
        (target.*counter.inc)(5);
        (source.traversal.*counter.inc)(6);
    }
    target.CopyConfig(&source.traversal);
    EXPECT_EQ(target.IsOcclusionCulling(), 1);
    EXPECT_EQ(target.GetFrameId(), 4711U);
    EXPECT_EQ(target.IsFrameDropped(), 1);
    EXPECT_EQ(target.GetInteractiveCount(), 1);
    for (Counter const& counter : s_counters) {
        EXPECT_EQ((target.*counter.get)(), 5U) << counter.name;
    }
}

TEST(TqOcRenderTraversal, CopyConfigTakesEnumerationsFrustumTablesAndCallbacksOver)
{
    Host source;
    IdleTraversal& from = source.traversal;
    TqLFrustum3f const frustum(3.0, 2.0, 0.5, 50.0);
    double const thresholds[] = {1, 2, 3, 4, 5};
    double const scales[] = {6, 7, 8, 9, 10};
    int data[2] = {0, 0};
    T::DynamicPriorityCallback const onPriority = [](TqOcTraversable const*,
                                                     TqOcRenderTravCullData*, void*) { return 1; };
    from.SetViewFrustum(frustum);
    from.SetPolicy(T::eAUTO_INTERACTIVE);
    from.SetFrameType(T::eFRAME_KEEP_FACTOR);
    from.SetPrimary(T::ePRIORITY_AREA);
    from.SetPrimitiveBits(TqLPrimitiveTypes::eTEXT);
    from.SetAreaScales(thresholds, scales, 5);
    from.SetDistanceScales(scales, thresholds, 4);
    from.SetHysteresisScales(scales, 3);
    from.SetDynamicPriorityCallback(onPriority, &data[0]);
    from.SetDynamicShapeCullCallback(&ShapeCallback::Call, &data[1]);

    IdleTraversal target(&source.context);
    target.CopyConfig(&from);
    EXPECT_TRUE(SameFrustum(target.GetViewFrustum(), frustum));
    EXPECT_EQ(target.GetPolicy(), T::eAUTO_INTERACTIVE);
    EXPECT_EQ(target.GetFrameType(), T::eFRAME_KEEP_FACTOR);
    EXPECT_EQ(target.GetPrimary(), T::ePRIORITY_AREA);
    EXPECT_EQ(target.GetPrimitiveBits(), TqLPrimitiveTypes::eTEXT);
    EXPECT_EQ(target.GetNumAreaScales(), 5);
    ExpectTable(target.GetAreaThresholds(), {1, 2, 3, 4, 5});
    ExpectTable(target.GetAreaScales(), {6, 7, 8, 9, 10});
    EXPECT_EQ(target.GetNumDistanceScales(), 4);
    ExpectTable(target.GetDistanceThresholds(), {6, 7, 8, 9});
    ExpectTable(target.GetDistanceScales(), {1, 2, 3, 4});
    EXPECT_EQ(target.GetNumHysteresisScales(), 3);
    ExpectTable(target.GetHysteresisScales(), {6, 7, 8});
    EXPECT_EQ(target.GetDynamicPriorityCallback(), onPriority);
    EXPECT_EQ(target.GetDynamicPriorityData(), &data[0]);
    EXPECT_EQ(target.GetDynamicShapeCullCallback(), &ShapeCallback::Call);
    EXPECT_EQ(target.GetDynamicShapeCullData(), &data[1]);
}

TEST(TqOcRenderTraversal, CopyConfigOfEmptyTablesEmptiesThem)
{
    Host source;
    double const values[] = {0.5, 2, 3};
    IdleTraversal target(&source.context);
    target.SetAreaScales(values, values, 3);
    target.SetDistanceScales(values, values, 3);
    target.SetHysteresisScales(values, 3);
    target.CopyConfig(&source.traversal);
    EXPECT_EQ(target.GetNumAreaScales(), 0);
    EXPECT_EQ(target.GetNumDistanceScales(), 0);
    EXPECT_EQ(target.GetNumHysteresisScales(), 0);
    EXPECT_EQ(target.GetHysteresisScales()[0], 1.0);
    EXPECT_TRUE(source.posts.Empty());
}

TEST(TqOcRenderTraversal, CopyConfigTakesContextAndClipPlanesButNoViewCriteria)
{
    Host source;
    TqLPlane3f planes[2];
    TqLUnitVec3f normal;
    normal.SetUnitValue(0, 1, 0);
    planes[0].SetValue(normal, 3.0);
    planes[1].SetValue(normal, 4.0);
    source.traversal.SetClipPlanes(planes, 2);
    int criteria[2] = {0, 0};
    auto const* const sources = reinterpret_cast<TqLViewCriteria const*>(&criteria[0]);
    auto const* const own = reinterpret_cast<TqLViewCriteria const*>(&criteria[1]);
    source.traversal.SetViewCriteria(sources);

    EventLog log;
    RecordingContext context(&log);
    IdleTraversal target(&context);
    target.SetViewCriteria(own);
    target.CopyConfig(&source.traversal);
    EXPECT_EQ(target.GetContext(), &source.context);
    ASSERT_EQ(target.GetNumClipPlanes(), 2);
    EXPECT_EQ(target.GetClipPlanes()[0], planes[0]);
    EXPECT_EQ(target.GetClipPlanes()[1], planes[1]);
    EXPECT_EQ(target.GetViewCriteria(), own);
}

TEST(TqOcRenderTraversal, CopyConfigRestartsTheFactorHistoryFromTheOthersFactor)
{
    Host target;
    target.traversal.SetTraversalFactor(0.25);
    IdleTraversal source(&target.context);
    source.SetTraversalFactor(0.5);
    target.traversal.CopyConfig(&source);
    EXPECT_EQ(target.traversal.GetTraversalFactor(), 0.5);
    EXPECT_EQ(target.AverageWithOne(), 0.625);
    EXPECT_TRUE(target.posts.Empty());
}

TEST(TqOcRenderTraversal, CopyConfigTakesNoMeasurements)
{
    Host source;
    source.traversal.SetPolicy(T::eALWAYS_INTERACTIVE);
    source.traversal.StartInteractive();
    source.traversal.SetFrameType(T::eFRAME_MEASURE_OVERHEAD);
    source.traversal.SetLowBand(0.25);
    for (double const seconds : {0.5, 1.0, 2.0}) {
        source.RunFrame(seconds);
        source.clock.Advance(0.25);
    }
    source.traversal.StartTraversal(&source.root);
    source.traversal.LowTarget(0.0, 99);
    IdleTraversal target(&source.context);
    target.CopyConfig(&source.traversal);

    ASSERT_NE(source.traversal.GetStress(), 1.0);
    ASSERT_NE(source.traversal.GetLoad(), 0.0);
    ASSERT_NE(source.traversal.GetOverheadTime(), 0.0);
    ASSERT_NE(source.traversal.GetHighBandTime(), 0.0);
    EXPECT_EQ(target.IsInteractive(), 0);
    EXPECT_EQ(target.GetInteractiveCount(), 0);
    EXPECT_EQ(target.GetStress(), 1.0);
    EXPECT_EQ(target.GetLoad(), 0.0);
    EXPECT_EQ(target.GetLastFrameTime(), 0.0);
    EXPECT_EQ(target.GetLastTraversalTime(), 0.0);
    EXPECT_EQ(target.GetLastFrameToFrameTime(), 0.0);
    EXPECT_EQ(target.GetOverheadTime(), 0.0);
    EXPECT_EQ(target.GetTriangleTarget(), 0U);
    EXPECT_EQ(target.GetTriangleLimit(), 0U);
    EXPECT_EQ(target.GetLowBandTime(), 0.0);
    EXPECT_EQ(target.GetHighBandTime(), 0.0);
    EXPECT_EQ(target.GetExpectedTris(), 0U);
}

} // namespace
