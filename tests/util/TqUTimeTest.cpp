// The clock and the time-out.

#include "util/TqUTime.h"

#include "support/FakeClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace
{

double s_reading = 0.0;

double ReadReading(void*)
{
    return s_reading;
}

double ReadUserData(void* userData)
{
    return *static_cast<double*>(userData);
}

// A clock whose next reading is written by hand, in any direction.
struct HandClock
{
    explicit HandClock(double start)
    {
        s_reading = start;
        TqUTime::SetClock(ReadReading, nullptr);
    }

    ~HandClock() { TqUTime::SetClock(nullptr, nullptr); }
};

} // namespace

// ---- TqUTime ------------------------------------------------------------------------------------

TEST(TqUTime, NeverRunsBackwardsAndMovesOn)
{
    double const start = TqUTime::Now();
    double latest = start;
    for (int i = 0; i < 1000000 && latest == start; ++i) {
        double const now = TqUTime::Now();
        ASSERT_GE(now, latest);
        latest = now;
    }
    EXPECT_GT(latest, start);
}

TEST(TqUTime, ReadsAReplacedClockWithItsUserData)
{
    double time = 12.5;
    TqUTime::SetClock(ReadUserData, &time);
    EXPECT_EQ(12.5, TqUTime::Now());
    time = 3.0;
    EXPECT_EQ(3.0, TqUTime::Now());
    TqUTime::SetClock(nullptr, nullptr);
    EXPECT_NE(3.0, TqUTime::Now());
}

// ---- TqUTimeOut ---------------------------------------------------------------------------------

TEST(TqUTimeOut, HasExpiredIsABool)
{
    static_assert(std::is_same_v<bool, decltype(std::declval<TqUTimeOut const&>().HasExpired())>);
    static_assert(
        std::is_same_v<double,
                       decltype(std::declval<TqUTimeOut const&>().GetTimeElapsedInSeconds())>);
}

TEST(TqUTimeOut, HasExpiredAndCountsFromConstruction)
{
    FakeClock clock;
    TqUTimeOut const timeOut;
    EXPECT_TRUE(timeOut.HasExpired());
    EXPECT_EQ(0.0, timeOut.GetTimeElapsedInSeconds());
    clock.Advance(2.0);
    EXPECT_EQ(2.0, timeOut.GetTimeElapsedInSeconds());
}

TEST(TqUTimeOut, ExpiresOnceTheTimeInMicrosecondsHasPassed)
{
    for (unsigned int microseconds : {1u, 16000u, 33333u, 200000u, 1000000u, 60000000u}) {
        for (double start : {0.0, 1000.0, 123456.789}) {
            FakeClock clock(start);
            TqUTimeOut timeOut;
            timeOut.SetTimeOut(microseconds, microseconds / 100);
            EXPECT_FALSE(timeOut.HasExpired());
            clock.Advance(microseconds * 0.9 / 1e6);
            EXPECT_FALSE(timeOut.HasExpired()) << microseconds;
            timeOut.SetTimeOut(microseconds, microseconds / 100);
            clock.Advance(microseconds / 1e6);
            EXPECT_TRUE(timeOut.HasExpired()) << microseconds << " from " << start;
        }
    }
}

TEST(TqUTimeOut, HasExpiredAtOnceWithATimeOutOfZero)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000, 0);
    EXPECT_FALSE(timeOut.HasExpired());
    timeOut.SetTimeOut(0, 0);
    EXPECT_TRUE(timeOut.HasExpired());
    timeOut.SetTimeOut(0, 1000);
    EXPECT_TRUE(timeOut.HasExpired());
}

TEST(TqUTimeOut, TakesTheLongestTimeOutWithoutOverflow)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(std::numeric_limits<unsigned int>::max(), 0);
    clock.Advance(4294.0);
    EXPECT_FALSE(timeOut.HasExpired());
    clock.Advance(1.0);
    EXPECT_TRUE(timeOut.HasExpired());
}

TEST(TqUTimeOut, RestartsTheClockWhenSetAgain)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000000, 0);
    clock.Advance(0.75);
    EXPECT_EQ(0.75, timeOut.GetTimeElapsedInSeconds());
    timeOut.SetTimeOut(1000000, 0);
    EXPECT_EQ(0.0, timeOut.GetTimeElapsedInSeconds());
    clock.Advance(0.75);
    EXPECT_FALSE(timeOut.HasExpired());
    EXPECT_EQ(0.75, timeOut.GetTimeElapsedInSeconds());
}

TEST(TqUTimeOut, GoesOnCountingPastItsTimeOut)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000000, 0);
    clock.Advance(1.5);
    EXPECT_TRUE(timeOut.HasExpired());
    EXPECT_EQ(1.5, timeOut.GetTimeElapsedInSeconds());
    clock.Advance(100.0);
    EXPECT_TRUE(timeOut.HasExpired());
    EXPECT_EQ(101.5, timeOut.GetTimeElapsedInSeconds());
}

TEST(TqUTimeOut, AnswersFromReadingsNoOlderThanAllowed)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(200000, 10000);
    clock.Advance(0.1);
    EXPECT_FALSE(timeOut.HasExpired());
    clock.Advance(0.1 + 0.0101); // later than any reading that may still be used
    EXPECT_TRUE(timeOut.HasExpired());
}

TEST(TqUTimeOut, ReadsTheClockOnceAQuestionAndNotAtAllOnceExpired)
{
    FakeClock clock;
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000000, 0);
    int const before = clock.GetNumReadings();
    for (int i = 0; i < 10; ++i) {
        EXPECT_FALSE(timeOut.HasExpired());
    }
    EXPECT_EQ(before + 10, clock.GetNumReadings());
    clock.Advance(1.0);
    EXPECT_TRUE(timeOut.HasExpired());
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(timeOut.HasExpired());
    }
    EXPECT_EQ(before + 11, clock.GetNumReadings());
}

TEST(TqUTimeOut, HoldsElapsedTimeThroughABackwardStepAndExpiresAllTheSame)
{
    HandClock const clock(1000.0);
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(3000000, 0);
    s_reading = 1001.0;
    EXPECT_EQ(1.0, timeOut.GetTimeElapsedInSeconds());
    s_reading = 500.0;
    EXPECT_FALSE(timeOut.HasExpired());
    EXPECT_EQ(1.0, timeOut.GetTimeElapsedInSeconds());
    s_reading = 501.0;
    EXPECT_EQ(2.0, timeOut.GetTimeElapsedInSeconds());
    EXPECT_FALSE(timeOut.HasExpired());
    s_reading = 502.0;
    EXPECT_TRUE(timeOut.HasExpired());
    s_reading = 0.0;
    EXPECT_TRUE(timeOut.HasExpired());
    EXPECT_EQ(3.0, timeOut.GetTimeElapsedInSeconds());
}

TEST(TqUTimeOut, SkipsReadingsThatAreNotFinite)
{
    HandClock const clock(10.0);
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000000, 0);
    s_reading = 10.5;
    EXPECT_EQ(0.5, timeOut.GetTimeElapsedInSeconds());
    for (double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        s_reading = bad;
        EXPECT_FALSE(timeOut.HasExpired());
        EXPECT_EQ(0.5, timeOut.GetTimeElapsedInSeconds());
    }
    s_reading = 11.0;
    EXPECT_TRUE(timeOut.HasExpired());
}

TEST(TqUTimeOut, StartsAtZeroWhenTheClockHasNoFiniteReading)
{
    HandClock const clock(std::nan(""));
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1000000, 0);
    EXPECT_FALSE(timeOut.HasExpired());
    EXPECT_EQ(0.0, timeOut.GetTimeElapsedInSeconds());
}

TEST(TqUTimeOut, MeasuresRealTimeWithoutAReplacedClock)
{
    TqUTimeOut timeOut;
    timeOut.SetTimeOut(1, 0);
    double const start = TqUTime::Now();
    while (TqUTime::Now() - start < 1e-5) {}
    EXPECT_TRUE(timeOut.HasExpired());
    EXPECT_GE(timeOut.GetTimeElapsedInSeconds(), 1e-5);
}
