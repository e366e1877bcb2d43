#include "host/gl/CameraPath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using host::CameraKey;
using host::CameraPath;

CameraKey Key(double x, double y, double z, double dx, double dy, double dz)
{
    return {TqLPos3f(x, y, z), TqLVec3f(dx, dy, dz)};
}

double Length(TqLVec3f const& vec)
{
    return std::sqrt(vec.Dot(vec));
}

} // namespace

TEST(CameraPath, BeginsAtTheFirstStopAndEndsAtTheLast)
{
    CameraPath const path({Key(1, 2, 3, 0, 0, -2), Key(4, 5, 6, 1, 0, 0), Key(7, 5, 6, 0, 0, 1)});
    EXPECT_EQ(path.Evaluate(0.0).position, TqLPos3f(1, 2, 3));
    EXPECT_EQ(path.Evaluate(1.0).position, TqLPos3f(7, 5, 6));
    EXPECT_EQ(path.Evaluate(-5.0).position, TqLPos3f(1, 2, 3));
    EXPECT_EQ(path.Evaluate(5.0).position, TqLPos3f(7, 5, 6));
    EXPECT_EQ(path.Evaluate(std::numeric_limits<double>::quiet_NaN()).position, TqLPos3f(1, 2, 3));
}

TEST(CameraPath, StaysOnTheStraightLinesBetweenStops)
{
    CameraPath const path(
        {Key(0, 0, 0, 0, 0, -1), Key(10, 0, 0, 1, 0, 0), Key(10, 0, 10, 1, 0, 1)});
    EXPECT_DOUBLE_EQ(path.GetLength(), 20.0);
    for (int i = 0; i <= 100; ++i) {
        TqLPos3f const place = path.Evaluate(i * 0.01).position;
        EXPECT_EQ(place[1], 0.0);
        EXPECT_TRUE(std::fabs(place[2]) < 1e-12 || std::fabs(place[0] - 10.0) < 1e-12)
            << place[0] << " " << place[2];
    }
}

TEST(CameraPath, NeverGoesBack)
{
    CameraPath const path({Key(0, 0, 0, 0, 0, -1), Key(1, 0, 0, 1, 0, 0), Key(9, 0, 0, 1, 0, 0)});
    double last = -1.0;
    for (int i = 0; i <= 200; ++i) {
        double const x = path.Evaluate(i / 200.0).position[0];
        EXPECT_GE(x, last);
        last = x;
    }
    EXPECT_EQ(last, 9.0);
}

TEST(CameraPath, TurnsEvenlyAndKeepsDirectionsUnitLength)
{
    CameraPath const path({Key(0, 0, 0, 0, 0, -3), Key(0, 0, 0, 1, 0, 0)});
    TqLVec3f const half = path.Evaluate(0.5).direction;
    EXPECT_NEAR(half[0], std::sqrt(0.5), 1e-12);
    EXPECT_NEAR(half[2], -std::sqrt(0.5), 1e-12);
    for (int i = 0; i <= 20; ++i) {
        EXPECT_NEAR(Length(path.Evaluate(i / 20.0).direction), 1.0, 1e-12);
    }
}

TEST(CameraPath, TurnsRoundWithoutLosingItsDirection)
{
    CameraPath const path({Key(0, 0, 0, 0, 0, -1), Key(0, 0, 0, 0, 0, 1)});
    for (int i = 0; i <= 20; ++i) {
        TqLVec3f const direction = path.Evaluate(i / 20.0).direction;
        EXPECT_NEAR(Length(direction), 1.0, 1e-9);
        EXPECT_NEAR(direction[1], 0.0, 1e-9);
    }
    EXPECT_NEAR(path.Evaluate(0.5).direction[2], 0.0, 0.2);
}

TEST(CameraPath, StandsWithOneStopOrNone)
{
    EXPECT_EQ(CameraPath({}).Evaluate(0.5).position, TqLPos3f(0, 0, 0));
    EXPECT_EQ(CameraPath({}).Evaluate(0.5).direction, TqLVec3f(0, 0, -1));
    CameraPath const one({Key(1, 1, 1, 0, 0, 0)});
    EXPECT_EQ(one.Evaluate(0.3).position, TqLPos3f(1, 1, 1));
    EXPECT_EQ(one.Evaluate(0.3).direction, TqLVec3f(0, 0, -1));
    CameraPath const same({Key(1, 1, 1, 0, 0, -1), Key(1, 1, 1, 0, 0, -1)});
    EXPECT_EQ(same.Evaluate(0.7).position, TqLPos3f(1, 1, 1));
}
