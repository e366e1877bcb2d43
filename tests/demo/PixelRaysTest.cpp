#include "demo/PixelRays.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

constexpr int eWIDTH = 160;
constexpr int eHEIGHT = 90;

demo::PixelRays MakeRays()
{
    return demo::PixelRays(
        TqLFrustum3f::Perspective(TqLPos3f(3.0, 2.0, 1.0), TqLVec3f(1.0, -0.2, -1.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1.0,
                                  static_cast<double>(eWIDTH) / eHEIGHT, 0.1, 500.0),
        eWIDTH, eHEIGHT);
}

} // namespace

TEST(PixelRays, FindsThePointAgainFromItsPixelAndDepth)
{
    demo::PixelRays const rays = MakeRays();
    for (TqLPos3f const& point : {TqLPos3f(8.0, 1.0, -4.0), TqLPos3f(60.0, 3.0, -50.0)}) {
        TqLPos3f const pixel = rays.GetPixel(point);
        EXPECT_GT(pixel[2], 0.0);
        EXPECT_LT(pixel[2], 1.0);
        TqLPos3f const again = rays.GetPoint(pixel[0], pixel[1], pixel[2]);
        EXPECT_NEAR((again - point).Length(), 0.0, 1e-9);
    }
}

TEST(PixelRays, CountsPixelsFromTheLowerLeftCorner)
{
    demo::PixelRays const rays = MakeRays();
    TqLPos3f const low = rays.GetPoint(0.5 * eWIDTH, 1.0, 0.9);
    TqLPos3f const high = rays.GetPoint(0.5 * eWIDTH, eHEIGHT - 1.0, 0.9);
    EXPECT_LT(low[1], high[1]);
}

TEST(PixelRays, MakesThePickFrustumOfThePixelsItNames)
{
    demo::PixelRays const rays = MakeRays();
    TqLPickFrustum3f const frustum = rays.MakeFrustum(40.0, 20.0, 41.0, 21.0);
    auto const contains = [&frustum](TqLPos3f const& point) {
        int planes = TqLPickFrustum3f::eALL_PLANES;
        return frustum.CanCull(TqLBox3f(point, point), &planes) == 0;
    };
    EXPECT_TRUE(contains(rays.GetPoint(40.5, 20.5, 0.99)));
    EXPECT_TRUE(contains(rays.GetPoint(40.01, 20.99, 0.5)));
    EXPECT_FALSE(contains(rays.GetPoint(39.99, 20.5, 0.99)));
    EXPECT_FALSE(contains(rays.GetPoint(40.5, 21.01, 0.99)));
}

TEST(PixelRays, TrustsDepthsLessTheFartherTheyLie)
{
    demo::PixelRays const rays = MakeRays();
    double const depths[] = {0.5, 0.9, 0.99, 0.999};
    for (int i = 0; i + 1 < 4; ++i) {
        EXPECT_LT(rays.GetDepthError(80.0, 45.0, depths[i]),
                  rays.GetDepthError(80.0, 45.0, depths[i + 1]));
    }
    // Between two neighbouring single-precision depths lies no more than the error.
    float const depth = 0.999F;
    double const step =
        (rays.GetPoint(80.0, 45.0, static_cast<double>(std::nextafter(depth, 1.0F))) -
         rays.GetPoint(80.0, 45.0, static_cast<double>(depth)))
            .Length();
    EXPECT_LT(step, rays.GetDepthError(80.0, 45.0, static_cast<double>(depth)));
}
