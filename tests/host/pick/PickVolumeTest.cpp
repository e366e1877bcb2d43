#include "host/pick/PickVolume.h"

#include "host/pick/PickMeshes.h"

#include "geometry/TqLFrustum3f.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

constexpr double s_infinity = std::numeric_limits<double>::infinity();

TqLBox2f Pixel(double x, double y)
{
    return TqLBox2f(TqLPos2f(x, y), TqLPos2f(x + 1.0, y + 1.0));
}

/// A camera looking along -z, 2 wide and 1 high at distance 1, in a window of 200 x 100.
TqLPickFrustum3f MakePixel(TqLPos3f const& eye, double farDistance, TqLBox2f const& pixels)
{
    TqLFrustum3f const view =
        TqLFrustum3f::Perspective(eye, TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                  2.0 * std::atan(0.5), 2.0, 0.5, farDistance);
    return TqLPickFrustum3f(view, pixels, 200, 100);
}

} // namespace

TEST(PickVolume, SeesThroughTheMiddleOfAPixel)
{
    for (double const offset : {0.0, 1e3, 1e6, 1e7}) {
        for (double const farDistance : {100.0, s_infinity}) {
            TqLPos3f const eye(offset, -offset, 0.5 * offset);
            host::PickVolume const volume(MakePixel(eye, farDistance, Pixel(170.0, 90.0)), nullptr,
                                          0);
            ASSERT_TRUE(volume.HasSight());
            // The pixel's middle is at (0.705, 0.405) of the plane at distance 1.
            for (double const depth : {0.5, 1.0, 50.0}) {
                TqLPos3f const middle = eye + TqLVec3f(0.705, 0.405, -1.0) * depth;
                TqLPos2f const across = volume.GetAcross(middle);
                double const tolerance = 1e-13 + 1e-14 * offset * depth;
                EXPECT_NEAR(across[0], 0.0, tolerance) << offset << ' ' << farDistance;
                EXPECT_NEAR(across[1], 0.0, tolerance) << offset << ' ' << farDistance;
            }
        }
    }
}

TEST(PickVolume, KeepsTheMiddleOfAWideRectangle)
{
    // The line of sight halves the rectangle in the picture, not the angle.
    TqLBox2f const right(TqLPos2f(100.0, 0.0), TqLPos2f(200.0, 100.0));
    host::PickVolume const volume(MakePixel(TqLPos3f(), 100.0, right), nullptr, 0);
    TqLPos2f const across = volume.GetAcross(TqLPos3f(5.0, 0.0, -10.0));
    EXPECT_NEAR(across[0], 0.0, 1e-12);
    EXPECT_NEAR(across[1], 0.0, 1e-12);
}

TEST(PickVolume, MeasuresAcrossTheLineOfSight)
{
    host::PickVolume const volume(MakePixel(TqLPos3f(), 100.0, Pixel(99.5, 49.5)), nullptr, 0);
    TqLPos2f const across = volume.GetAcross(TqLPos3f(3.0, 4.0, -7.0));
    EXPECT_NEAR(across.Vec().Dot(across.Vec()), 25.0, 1e-12);
}

TEST(PickVolume, LooksAlongTheViewWhereItIsParallel)
{
    TqLFrustum3f const view =
        TqLFrustum3f::Parallel(TqLPos3f(1.0, 2.0, 3.0), TqLVec3f(1.0, 0.0, 0.0),
                               TqLVec3f(0.0, 0.0, 1.0), 4.0, 4.0, -1.0, 9.0);
    host::PickVolume const volume(TqLPickFrustum3f(view, Pixel(99.0, 0.0), 100, 100), nullptr, 0);
    ASSERT_TRUE(volume.HasSight());
    for (double const depth : {-1.0, 5.0}) {
        // Right is -y: the last pixel's middle is 1.98 to the right, the lowest 1.98 down.
        TqLPos2f const across = volume.GetAcross(TqLPos3f(1.0 + depth, 2.0 - 1.98, 3.0 - 1.98));
        EXPECT_NEAR(across[0], 0.0, 1e-13);
        EXPECT_NEAR(across[1], 0.0, 1e-13);
    }
    TqLVec3f const look = volume.GetLookAt(TqLPos3f(-50.0, 7.0, 100.0));
    EXPECT_NEAR(look[0], 1.0, 1e-13);
    EXPECT_NEAR(look.Length(), 1.0, 1e-13);
}

TEST(PickVolume, LooksFromTheOriginInPerspective)
{
    host::PickVolume const volume(MakePixel(TqLPos3f(1.0, 2.0, 3.0), 100.0, Pixel(0.0, 0.0)),
                                  nullptr, 0);
    EXPECT_EQ(volume.GetLookAt(TqLPos3f(2.0, 4.0, -3.0)), TqLVec3f(1.0, 2.0, -6.0));
}

TEST(PickVolume, HasNoSightInAnEmptyFrustumAndHoldsNothing)
{
    TqLPickFrustum3f empty;
    empty.MakeEmpty();
    host::PickVolume const volume(empty, nullptr, 0);
    EXPECT_FALSE(volume.HasSight());
    EXPECT_FALSE(volume.Contains(TqLPos3f()));
}

TEST(PickVolume, TakesClipPlanesBesideTheFrustum)
{
    TqLPlane3f const clip(TqLUnitVec3f(TqLVec3f(0.0, 0.0, 1.0)), TqLPos3f(0.0, 0.0, -10.0));
    TqLPickFrustum3f const frustum = MakePixel(TqLPos3f(), 100.0, Pixel(99.5, 49.5));
    host::PickVolume const free(frustum, nullptr, 0);
    host::PickVolume const clipped(frustum, &clip, 1);
    EXPECT_TRUE(free.Contains(TqLPos3f(0.0, 0.0, -20.0)));
    EXPECT_FALSE(clipped.Contains(TqLPos3f(0.0, 0.0, -20.0)));
    EXPECT_TRUE(clipped.Contains(TqLPos3f(0.0, 0.0, -10.0)));
    EXPECT_FALSE(clipped.ContainsOnSight(TqLPos3f(0.0, 0.0, -10.5)));
    EXPECT_FALSE(clipped.ContainsOnSight(TqLPos3f(0.0, 0.0, -0.4)));
}
