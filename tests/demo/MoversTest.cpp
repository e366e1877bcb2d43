#include "demo/Movers.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

constexpr double eTINY = 1e-9;

void ExpectAt(TqLPos3f const& point, double x, double y, double z)
{
    EXPECT_NEAR(point[0], x, eTINY);
    EXPECT_NEAR(point[1], y, eTINY);
    EXPECT_NEAR(point[2], z, eTINY);
}

/// An L of 10 along +x and 5 along -z.
demo::BeltMotion MakeBelt()
{
    return demo::BeltMotion(
        {TqLPos3f(1.0, 2.0, 3.0), TqLPos3f(11.0, 2.0, 3.0), TqLPos3f(11.0, 2.0, -2.0)}, 0.5);
}

} // namespace

TEST(CraneMotion, StartsAtRest)
{
    demo::CraneMotion const crane(TqLPos3f(10.0, 0.0, 5.0), 1.0, 8.0);
    ExpectAt(TqLPos3f(13.0, 4.0, 5.0) * crane.GetCarry(0.0), 13.0, 4.0, 5.0);
}

TEST(CraneMotion, CarriesTheLoadRoundItsAxis)
{
    demo::CraneMotion const crane(TqLPos3f(10.0, 0.0, 5.0), 1.0, 8.0);
    // A quarter turn, counter-clockwise seen from above, takes +x to -z.
    ExpectAt(TqLPos3f(13.0, 4.0, 5.0) * crane.GetTurn(0.25), 10.0, 4.0, 2.0);
    ExpectAt(TqLPos3f(13.0, 4.0, 5.0) * crane.GetCarry(0.25), 10.0, 12.0, 2.0);
    ExpectAt(TqLPos3f(13.0, 4.0, 5.0) * crane.GetCarry(0.5), 7.0, 4.0, 5.0);
}

TEST(CraneMotion, LiftsBetweenRestAndTheHighestPlace)
{
    demo::CraneMotion const crane(TqLPos3f(0.0, 0.0, 0.0), 1.0, 8.0);
    for (int i = 0; i <= 100; ++i) {
        EXPECT_GE(crane.GetLift(i / 100.0), 0.0);
        EXPECT_LE(crane.GetLift(i / 100.0), 8.0);
    }
    EXPECT_NEAR(crane.GetLift(0.75), 8.0, eTINY);
    EXPECT_NEAR(crane.GetLift(1.0), 0.0, eTINY);
}

TEST(BeltMotion, FollowsItsLineRoundTheCorner)
{
    demo::BeltMotion const belt = MakeBelt();
    EXPECT_DOUBLE_EQ(belt.GetLength(), 15.0);
    TqLPos3f const origin(0.0, 0.0, 0.0);
    ExpectAt(origin * belt.GetPlace(0.0), 1.0, 2.0, 3.0);
    ExpectAt(origin * belt.GetPlace(4.0), 5.0, 2.0, 3.0);
    ExpectAt(origin * belt.GetPlace(12.0), 11.0, 2.0, 1.0);
    ExpectAt(origin * belt.GetPlace(15.0), 11.0, 2.0, -2.0);
    // What looks along +x at rest looks along the belt.
    ExpectAt(TqLPos3f(1.0, 0.5, 0.0) * belt.GetPlace(12.0), 11.0, 2.5, 0.0);
}

TEST(BeltMotion, KeepsDistancesOnTheBelt)
{
    demo::BeltMotion const belt = MakeBelt();
    TqLPos3f const origin(0.0, 0.0, 0.0);
    ExpectAt(origin * belt.GetPlace(-3.0), 1.0, 2.0, 3.0);
    ExpectAt(origin * belt.GetPlace(99.0), 11.0, 2.0, -2.0);
}

TEST(BeltMotion, IsFullFromTheStart)
{
    demo::BeltMotion const belt = MakeBelt();
    EXPECT_EQ(belt.GetMaxRows(), 31U);
    EXPECT_EQ(belt.GetFirstRow(0.0), 0U);
    EXPECT_EQ(belt.GetEndRow(0.0), 31U);
    EXPECT_DOUBLE_EQ(belt.GetDistance(0, 0.0), 15.0);
    EXPECT_DOUBLE_EQ(belt.GetDistance(30, 0.0), 0.0);
}

TEST(BeltMotion, LetsRowsInAtTheStartAndOutAtTheEnd)
{
    demo::BeltMotion const belt = MakeBelt();
    EXPECT_EQ(belt.GetFirstRow(1.25), 3U);
    EXPECT_EQ(belt.GetEndRow(1.25), 33U);
    EXPECT_DOUBLE_EQ(belt.GetDistance(3, 1.25), 14.75);
    EXPECT_DOUBLE_EQ(belt.GetDistance(32, 1.25), 0.25);
}

TEST(BeltMotion, NeverHasTwoRowsInOneOfItsPlaces)
{
    demo::BeltMotion const belt = MakeBelt();
    for (int i = 0; i < 5000; ++i) {
        double const run = i * 0.0371;
        std::set<std::size_t> places;
        for (std::size_t row = belt.GetFirstRow(run); row < belt.GetEndRow(run); ++row) {
            EXPECT_TRUE(places.insert(row % belt.GetMaxRows()).second) << "run " << run;
            EXPECT_GE(belt.GetDistance(row, run), -eTINY);
            EXPECT_LE(belt.GetDistance(row, run), belt.GetLength() + eTINY);
        }
        EXPECT_GE(places.size() + 1, belt.GetMaxRows());
    }
}
