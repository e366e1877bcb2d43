#include "geometry/TqLFrustum3f.h"

#include "GeometryRandom.h"
#include "support/PostedErrors.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double pi = 3.14159265358979323846;

// A camera as a person would describe it, evaluated in long double.
struct Camera
{
    bool isPerspective = true;
    TqLPos3f viewpoint;
    TqLVec3f direction;
    TqLVec3f up;
    double angle = 1.0;
    double aspect = 1.0;
    double width = 1.0;
    double height = 1.0;
    double nearDistance = 1.0;
    double farDistance = 2.0;

    [[nodiscard]] LongVec Forward() const { return LongUnit(LongVec(direction)); }

    [[nodiscard]] LongVec Right() const { return LongUnit(LongCross(Forward(), LongVec(up))); }

    [[nodiscard]] LongVec Up() const { return LongCross(Right(), Forward()); }

    // Half extents of the view at a depth.
    [[nodiscard]] long double HalfHeight(long double depth) const
    {
        return isPerspective ? depth * std::tan(0.5L * static_cast<long double>(angle))
                             : 0.5L * static_cast<long double>(height);
    }

    [[nodiscard]] long double HalfWidth(long double depth) const
    {
        return isPerspective ? HalfHeight(depth) * static_cast<long double>(aspect)
                             : 0.5L * static_cast<long double>(width);
    }

    // The point at a depth, at cull-space x and y (after division by w).
    [[nodiscard]] LongVec Point(long double x, long double y, long double depth) const
    {
        return LongVec(viewpoint) + Forward() * depth + Right() * (x * HalfWidth(depth)) +
               Up() * (y * HalfHeight(depth));
    }

    [[nodiscard]] TqLFrustum3f Make() const
    {
        return isPerspective ? TqLFrustum3f::Perspective(viewpoint, direction, up, angle, aspect,
                                                         nearDistance, farDistance)
                             : TqLFrustum3f::Parallel(viewpoint, direction, up, width, height,
                                                      nearDistance, farDistance);
    }
};

Camera RandomCamera(SceneRandom* random, double within)
{
    Camera camera;
    camera.isPerspective = random->Chance(0.5);
    camera.viewpoint = RandomPos(random, within);
    do {
        camera.direction = RandomDirection(random);
        camera.up = RandomDirection(random);
    } while (TqLUnitVec3f(camera.direction).Vec().Cross(TqLUnitVec3f(camera.up)).Length() < 0.1);
    camera.angle = random->Range(0.05, 2.8);
    camera.aspect = random->Range(0.3, 3.0);
    camera.width = random->Range(0.1, 50.0);
    camera.height = random->Range(0.1, 50.0);
    camera.nearDistance = random->Range(0.01, 2.0);
    camera.farDistance = camera.nearDistance + std::exp(random->Range(0.0, 10.0));
    return camera;
}

struct CullPoint
{
    double x;
    double y;
    double z;
    double w;
};

// c_k = m[k] x + m[4 + k] y + m[8 + k] z + m[12 + k], w with k = 3, in doubles as a cull test does.
CullPoint ToCullSpace(TqLMatrix4f const& matrix, TqLPos3f const& p)
{
    double const* m = matrix.Data();
    double c[4];
    for (int k = 0; k < 4; ++k) {
        c[k] = m[k] * p[0] + m[4 + k] * p[1] + m[8 + k] * p[2] + m[12 + k];
    }
    return {c[0], c[1], c[2], c[3]};
}

bool HaveSameBits(TqLFrustum3f const& a, TqLFrustum3f const& b)
{
    return std::memcmp(a.GetMatrix().Data(), b.GetMatrix().Data(), 16 * sizeof(double)) == 0 &&
           std::memcmp(&a.GetNearPlane(), &b.GetNearPlane(), sizeof(TqLPlane3f)) == 0 &&
           std::memcmp(&a.GetFarPlane(), &b.GetFarPlane(), sizeof(TqLPlane3f)) == 0 &&
           a.GetViewpoint() == b.GetViewpoint() && a.GetWidth() == b.GetWidth() &&
           a.GetHeight() == b.GetHeight() && a.GetFrustumType() == b.GetFrustumType();
}

// What an impossible argument must leave: one post of severity 1, and the default frustum.
void ExpectRefused(std::function<TqLFrustum3f()> const& make)
{
    PostedErrors posted;
    TqLFrustum3f const frustum = make();
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqLFrustum3f");
    EXPECT_TRUE(HaveSameBits(frustum, TqLFrustum3f(1.0, 1.0, 1.0, 1000.0)));
    EXPECT_EQ(posted.Size(), 1);
}

} // namespace

// ---- The four doubles ---------------------------------------------------------------------------

TEST(TqLFrustum3f, FourDoublesMakeAPerspectiveFromTheOriginAlongMinusZ)
{
    PostedErrors posted;
    TqLFrustum3f const frustum(4.0, 2.0, 3.0, 100.0);
    EXPECT_TRUE(posted.Empty());
    EXPECT_EQ(frustum.GetFrustumType(), TqLFrustum3f::ePERSPECTIVE);
    EXPECT_EQ(frustum.GetFrustumType(), 0);
    EXPECT_EQ(frustum.GetWidth(), 4.0);
    EXPECT_EQ(frustum.GetHeight(), 2.0);
    EXPECT_EQ(frustum.GetViewpoint(), TqLPos3f());
    EXPECT_EQ(frustum.GetNearPlane(), TqLPlane3f(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), 3.0));
    EXPECT_EQ(frustum.GetFarPlane(), TqLPlane3f(TqLUnitVec3f(TqLVec3f(0.0, 0.0, 1.0)), -100.0));
}

TEST(TqLFrustum3f, WidthAndHeightAreTheExtentsAtTheNearPlane)
{
    TqLMatrix4f const matrix = TqLFrustum3f(4.0, 2.0, 3.0, 100.0).GetMatrix();
    // The upper right corner of the near rectangle.
    CullPoint const corner = ToCullSpace(matrix, TqLPos3f(2.0, 1.0, -3.0));
    EXPECT_EQ(corner.w, 3.0);
    EXPECT_DOUBLE_EQ(corner.x, 3.0);
    EXPECT_DOUBLE_EQ(corner.y, 3.0);
    EXPECT_NEAR(corner.z, -3.0, 1e-14);
    // Twice as far, it spans twice as much, and y is up.
    CullPoint const lower = ToCullSpace(matrix, TqLPos3f(-4.0, -2.0, -6.0));
    EXPECT_EQ(lower.w, 6.0);
    EXPECT_DOUBLE_EQ(lower.x, -6.0);
    EXPECT_DOUBLE_EQ(lower.y, -6.0);
    CullPoint const end = ToCullSpace(matrix, TqLPos3f(0.0, 0.0, -100.0));
    EXPECT_DOUBLE_EQ(end.z, 100.0);
    EXPECT_EQ(end.x, 0.0);
}

TEST(TqLFrustum3f, DefaultIsTheFrustumOneOneOneThousand)
{
    EXPECT_TRUE(HaveSameBits(TqLFrustum3f(), TqLFrustum3f(1.0, 1.0, 1.0, 1000.0)));
}

TEST(TqLFrustum3f, WeightIsNegativeBehindTheEye)
{
    EXPECT_EQ(ToCullSpace(TqLFrustum3f().GetMatrix(), TqLPos3f(1.0, 2.0, 5.0)).w, -5.0);
    EXPECT_EQ(ToCullSpace(TqLFrustum3f().GetMatrix(), TqLPos3f(1.0, 2.0, 0.0)).w, 0.0);
}

// ---- Cameras ------------------------------------------------------------------------------------

TEST(TqLFrustum3f, RandomCamerasPutPointsWhereTheyAreSeen)
{
    SceneRandom random(41);
    for (int run = 0; run < 4000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 100.0;
        Camera const camera = RandomCamera(&random, within);
        PostedErrors posted;
        TqLFrustum3f const frustum = camera.Make();
        ASSERT_TRUE(posted.Empty());
        ASSERT_EQ(frustum.GetFrustumType() == 0, camera.isPerspective);

        double const x = random.Range(-3.0, 3.0);
        double const y = random.Range(-3.0, 3.0);
        double const depth = random.Range(0.5 * camera.nearDistance, 1.5 * camera.farDistance);
        TqLPos3f const point = ToPos(camera.Point(x, y, depth));
        CullPoint const c = ToCullSpace(frustum.GetMatrix(), point);

        double const n = camera.nearDistance;
        double const f = camera.farDistance;
        double const w = camera.isPerspective ? depth : 1.0;
        double const z = camera.isPerspective ? (depth * (f + n) - 2.0 * f * n) / (f - n)
                                              : (2.0 * depth - f - n) / (f - n);
        // What a coordinate is off by, in the world, times what cull space makes of it.
        double const off = 1e-15 * (within + camera.farDistance) * 20.0;
        double const perX = camera.isPerspective ? 1.0 / static_cast<double>(camera.HalfWidth(1.0L))
                                                 : 2.0 / camera.width;
        double const perY = camera.isPerspective
                                ? 1.0 / static_cast<double>(camera.HalfHeight(1.0L))
                                : 2.0 / camera.height;
        double const perZ = camera.isPerspective ? (f + n) / (f - n) : 2.0 / (f - n);
        ASSERT_NEAR(c.x, x * w, off * (perX + 1.0));
        ASSERT_NEAR(c.y, y * w, off * (perY + 1.0));
        ASSERT_NEAR(c.z, z, off * (perZ + 1.0));
        ASSERT_NEAR(c.w, w, camera.isPerspective ? off : 0.0);
    }
}

TEST(TqLFrustum3f, RandomCamerasHaveTheNearAndFarPlaneOfTheirDistances)
{
    SceneRandom random(42);
    for (int run = 0; run < 2000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 100.0;
        Camera const camera = RandomCamera(&random, within);
        TqLFrustum3f const frustum = camera.Make();
        double const off = 1e-15 * (within + camera.farDistance) * 20.0;
        double const depth = random.Range(-10.0, 1.5 * camera.farDistance);
        TqLPos3f const point =
            ToPos(camera.Point(random.Range(-2.0, 2.0), random.Range(-2.0, 2.0), depth));
        // Both normals point into the frustum.
        ASSERT_NEAR(frustum.GetNearPlane().DistanceFromPlane(point), depth - camera.nearDistance,
                    off);
        ASSERT_NEAR(frustum.GetFarPlane().DistanceFromPlane(point), camera.farDistance - depth,
                    off);
        ASSERT_NEAR(frustum.GetNearPlane().DistanceFromPlane(camera.viewpoint),
                    -camera.nearDistance, off);
        ASSERT_EQ(frustum.GetViewpoint(), camera.viewpoint);
        double const n = camera.nearDistance;
        ASSERT_NEAR(frustum.GetWidth(), static_cast<double>(2.0L * camera.HalfWidth(n)),
                    1e-14 * frustum.GetWidth());
        ASSERT_NEAR(frustum.GetHeight(), static_cast<double>(2.0L * camera.HalfHeight(n)),
                    1e-14 * frustum.GetHeight());
    }
}

TEST(TqLFrustum3f, RandomPlanesHaveTheFrustumOnTheirPositiveSide)
{
    SceneRandom random(43);
    for (int run = 0; run < 4000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 100.0;
        Camera const camera = RandomCamera(&random, within);
        TqLPlane3f planes[6];
        camera.Make().GetPlanes(planes);
        double const x = random.Range(-2.0, 2.0);
        double const y = random.Range(-2.0, 2.0);
        double const depth = random.Range(camera.nearDistance * 0.1, camera.farDistance * 1.5);
        TqLPos3f const point = ToPos(camera.Point(x, y, depth));
        // How far inside each side the point lies, measured across the side.
        long double const tiltX = camera.isPerspective ? camera.HalfWidth(1.0L) : 0.0L;
        long double const tiltY = camera.isPerspective ? camera.HalfHeight(1.0L) : 0.0L;
        long double const acrossX = camera.HalfWidth(depth) / std::sqrt(1.0L + tiltX * tiltX);
        long double const acrossY = camera.HalfHeight(depth) / std::sqrt(1.0L + tiltY * tiltY);
        double const expected[6] = {static_cast<double>((1.0L + x) * acrossX),
                                    static_cast<double>((1.0L - x) * acrossX),
                                    static_cast<double>((1.0L + y) * acrossY),
                                    static_cast<double>((1.0L - y) * acrossY),
                                    depth - camera.nearDistance,
                                    camera.farDistance - depth};
        double const off = 1e-15 * (within + camera.farDistance) * 20.0;
        for (int index = 0; index < 6; ++index) {
            ASSERT_NEAR(planes[index].DistanceFromPlane(point), expected[index], off) << index;
            ASSERT_NEAR(planes[index].GetNormal().Vec().Length(), 1.0, 1e-14) << index;
        }
    }
}

TEST(TqLFrustum3f, UpNeedNotBeAcrossTheDirectionNorOfUnitLength)
{
    TqLFrustum3f const tilted = TqLFrustum3f::Perspective(
        TqLPos3f(), TqLVec3f(0.0, 0.0, -8.0), TqLVec3f(0.0, 3.0, -5.0), 0.5 * pi, 1.0, 1.0, 1000.0);
    TqLFrustum3f const straight(2.0, 2.0, 1.0, 1000.0);
    for (int index = 0; index < 16; ++index) {
        EXPECT_NEAR(tilted.GetMatrix().Data()[index], straight.GetMatrix().Data()[index], 1e-15);
    }
}

TEST(TqLFrustum3f, LongAndShortDirectionsAreTheSame)
{
    TqLVec3f const direction(1.0, 2.0, -3.0);
    TqLVec3f const up(0.0, 1.0, 0.0);
    TqLFrustum3f const a = TqLFrustum3f::Parallel(TqLPos3f(), direction, up, 4.0, 2.0, 1.0, 10.0);
    TqLFrustum3f const b = TqLFrustum3f::Parallel(TqLPos3f(), direction * 0x1p+900, up * 0x1p-900,
                                                  4.0, 2.0, 1.0, 10.0);
    EXPECT_TRUE(HaveSameBits(a, b));
}

TEST(TqLFrustum3f, ParallelMayBeginAtOrBehindItsViewpoint)
{
    for (double const nearDistance : {0.0, -20.0}) {
        PostedErrors posted;
        TqLFrustum3f const frustum =
            TqLFrustum3f::Parallel(TqLPos3f(0.0, 0.0, 0.0), TqLVec3f(0.0, 0.0, -1.0),
                                   TqLVec3f(0.0, 1.0, 0.0), 4.0, 2.0, nearDistance, 100.0);
        EXPECT_TRUE(posted.Empty());
        EXPECT_EQ(frustum.GetFrustumType(), TqLFrustum3f::ePARALLEL);
        CullPoint const corner =
            ToCullSpace(frustum.GetMatrix(), TqLPos3f(2.0, -1.0, -nearDistance));
        EXPECT_EQ(corner.w, 1.0);
        EXPECT_DOUBLE_EQ(corner.x, 1.0);
        EXPECT_DOUBLE_EQ(corner.y, -1.0);
        EXPECT_DOUBLE_EQ(corner.z, -1.0);
    }
}

TEST(TqLFrustum3f, PerspectiveMayReachToInfinity)
{
    PostedErrors posted;
    TqLFrustum3f const frustum(1.0, 1.0, 0.5, infinity);
    EXPECT_TRUE(posted.Empty());
    EXPECT_TRUE(frustum.GetFarPlane().GetNormal().IsZero());
    EXPECT_EQ(frustum.GetFarPlane().DistanceFromPlane(TqLPos3f(0.0, 0.0, -1e300)), 1.0);
    EXPECT_EQ(ToCullSpace(frustum.GetMatrix(), TqLPos3f(0.0, 0.0, -0.5)).z, -0.5);
    CullPoint const distant = ToCullSpace(frustum.GetMatrix(), TqLPos3f(0.0, 0.0, -1e10));
    EXPECT_LT(distant.z, distant.w);
    for (double const element : {frustum.GetMatrix()[2][2], frustum.GetMatrix()[3][2]}) {
        EXPECT_TRUE(std::isfinite(element));
    }
}

TEST(TqLFrustum3f, HugeFarDistancesDoNotOverflow)
{
    PostedErrors posted;
    TqLFrustum3f const frustum(1.0, 1.0, 1.0, DBL_MAX);
    EXPECT_TRUE(posted.Empty());
    EXPECT_EQ(frustum.GetMatrix()[3][2], -2.0);
}

// ---- Explicit data ------------------------------------------------------------------------------

TEST(TqLFrustum3f, KeepsExplicitDataAsGiven)
{
    TqLMatrix4f matrix = TqLFrustum3f(1.0, 1.0, 1.0, 10.0).GetMatrix();
    matrix[2][0] = 0.25; // off-centre
    TqLPlane3f const nearPlane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), 1.0);
    PostedErrors posted;
    TqLFrustum3f const frustum = TqLFrustum3f::FromMatrix(
        static_cast<TqLFrustum3f::Type>(3), 5.0, 6.0, matrix, nearPlane, TqLPos3f(0.0, 0.0, 0.5));
    EXPECT_TRUE(posted.Empty());
    EXPECT_EQ(frustum.GetFrustumType(), 3);
    EXPECT_EQ(frustum.GetWidth(), 5.0);
    EXPECT_EQ(frustum.GetHeight(), 6.0);
    EXPECT_EQ(frustum.GetMatrix()[2][0], 0.25);
    EXPECT_EQ(frustum.GetNearPlane(), nearPlane);
    EXPECT_EQ(frustum.GetViewpoint(), TqLPos3f(0.0, 0.0, 0.5));
}

TEST(TqLFrustum3f, TakesTheFarPlaneOfExplicitDataFromTheMatrix)
{
    TqLFrustum3f const source(4.0, 2.0, 1.0, 50.0);
    TqLFrustum3f const frustum =
        TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, source.GetMatrix(),
                                 source.GetNearPlane(), source.GetViewpoint());
    EXPECT_NEAR(frustum.GetFarPlane().GetDistance(), -50.0, 1e-12);
    EXPECT_EQ(frustum.GetFarPlane().GetNormal().Vec(), TqLVec3f(0.0, 0.0, 1.0));

    TqLFrustum3f const endless(4.0, 2.0, 1.0, infinity);
    TqLFrustum3f const copy =
        TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, endless.GetMatrix(),
                                 endless.GetNearPlane(), endless.GetViewpoint());
    EXPECT_TRUE(HaveSameBits(copy, endless));
}

TEST(TqLFrustum3f, TakesAFarPlaneThatIsLostInRoundingForNone)
{
    // Of the far plane's coefficients only the last bits of the matrix are left.
    TqLFrustum3f const source = TqLFrustum3f::Perspective(
        TqLPos3f(), TqLVec3f(1.0, 2.0, -3.0), TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 1.0, 3e15);
    TqLFrustum3f const frustum =
        TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, source.GetWidth(), source.GetHeight(),
                                 source.GetMatrix(), source.GetNearPlane(), source.GetViewpoint());
    EXPECT_TRUE(frustum.GetFarPlane().GetNormal().IsZero());
    EXPECT_GT(frustum.GetFarPlane().DistanceFromPlane(TqLPos3f(1e300, 1e300, 1e300)), 0.0);
}

TEST(TqLFrustum3f, AMirroredMatrixHasItsSidesTheRightWayRound)
{
    // Right and left exchanged, as for a picture in a mirror.
    TqLFrustum3f const source(2.0, 2.0, 1.0, 100.0);
    TqLMatrix4f const mirrored =
        TqLMatrix4f(TqLAffine3f::Scale(-1.0, 1.0, 1.0)) * source.GetMatrix();
    TqLPlane3f planes[6];
    TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, 2.0, 2.0, mirrored, source.GetNearPlane(),
                             source.GetViewpoint())
        .GetPlanes(planes);
    TqLPos3f const inside(5.0, 3.0, -10.0);
    for (TqLPlane3f const& plane : planes) {
        EXPECT_GT(plane.DistanceFromPlane(inside), 0.0);
    }
    // World +x is now beyond the left side.
    EXPECT_LT(planes[0].DistanceFromPlane(TqLPos3f(15.0, 0.0, -10.0)), 0.0);
    EXPECT_GT(planes[1].DistanceFromPlane(TqLPos3f(15.0, 0.0, -10.0)), 0.0);
}

// ---- Narrowing ----------------------------------------------------------------------------------

TEST(TqLFrustum3f, NarrowedByTheWholeIsTheSameBitForBit)
{
    SceneRandom random(44);
    for (int run = 0; run < 200; ++run) {
        SCOPED_TRACE(run);
        TqLFrustum3f const frustum = RandomCamera(&random, 100.0).Make();
        ASSERT_TRUE(HaveSameBits(frustum.NarrowedBy(0.0, 1.0, 0.0, 1.0), frustum));
    }
    TqLFrustum3f const source;
    TqLMatrix4f matrix = source.GetMatrix();
    matrix[2][0] = -0.0; // would be lost by subtracting nothing
    TqLFrustum3f const frustum = TqLFrustum3f::FromMatrix(
        TqLFrustum3f::ePERSPECTIVE, 1.0, 1.0, matrix, source.GetNearPlane(), source.GetViewpoint());
    EXPECT_TRUE(HaveSameBits(frustum.NarrowedBy(0.0, 1.0, 0.0, 1.0), frustum));
}

TEST(TqLFrustum3f, NarrowedByTakesLowerXUpperXLowerYUpperY)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqLFrustum3f const narrow = frustum.NarrowedBy(0.0, 0.5, 0.5, 0.75);
    EXPECT_EQ(narrow.GetWidth(), 2.0);
    EXPECT_EQ(narrow.GetHeight(), 0.5);
    // Left half, third quarter from below: x from -2 to 0, y from 0 to 0.5 at the near plane.
    CullPoint const lower = ToCullSpace(narrow.GetMatrix(), TqLPos3f(-2.0, 0.0, -1.0));
    EXPECT_DOUBLE_EQ(lower.x, -1.0);
    EXPECT_DOUBLE_EQ(lower.y, -1.0);
    CullPoint const upper = ToCullSpace(narrow.GetMatrix(), TqLPos3f(0.0, 0.5, -1.0));
    EXPECT_DOUBLE_EQ(upper.x, 1.0);
    EXPECT_DOUBLE_EQ(upper.y, 1.0);
}

TEST(TqLFrustum3f, NarrowedByKeepsNearPlaneFarPlaneViewpointAndDepth)
{
    SceneRandom random(45);
    for (int run = 0; run < 200; ++run) {
        SCOPED_TRACE(run);
        TqLFrustum3f const frustum = RandomCamera(&random, 100.0).Make();
        TqLFrustum3f const narrow = frustum.NarrowedBy(0.25, 0.5, 0.0, 0.1);
        ASSERT_EQ(narrow.GetNearPlane(), frustum.GetNearPlane());
        ASSERT_EQ(narrow.GetFarPlane(), frustum.GetFarPlane());
        ASSERT_EQ(narrow.GetViewpoint(), frustum.GetViewpoint());
        ASSERT_EQ(narrow.GetFrustumType(), frustum.GetFrustumType());
        for (int row = 0; row < 4; ++row) {
            ASSERT_EQ(narrow.GetMatrix()[row][2], frustum.GetMatrix()[row][2]);
            ASSERT_EQ(narrow.GetMatrix()[row][3], frustum.GetMatrix()[row][3]);
        }
    }
}

TEST(TqLFrustum3f, RandomNarrowingStretchesTheRectangleOverTheView)
{
    SceneRandom random(46);
    for (int run = 0; run < 2000; ++run) {
        SCOPED_TRACE(run);
        Camera const camera = RandomCamera(&random, 100.0);
        TqLFrustum3f const frustum = camera.Make();
        // Shares beyond the view count as well.
        double const x0 = random.Range(-0.2, 1.0);
        double const x1 = x0 + random.Range(0.001, 0.5);
        double const y0 = random.Range(-0.2, 1.0);
        double const y1 = y0 + random.Range(0.001, 0.5);
        TqLFrustum3f const narrow = frustum.NarrowedBy(x0, x1, y0, y1);
        ASSERT_DOUBLE_EQ(narrow.GetWidth(), frustum.GetWidth() * (x1 - x0));
        ASSERT_DOUBLE_EQ(narrow.GetHeight(), frustum.GetHeight() * (y1 - y0));

        double const x = random.Range(-1.5, 1.5);
        double const y = random.Range(-1.5, 1.5);
        double const depth = random.Range(camera.nearDistance, camera.farDistance);
        // Cull coordinates of the sub-view, in those of the whole.
        double const wholeX = 2.0 * (x0 + (x1 - x0) * 0.5 * (x + 1.0)) - 1.0;
        double const wholeY = 2.0 * (y0 + (y1 - y0) * 0.5 * (y + 1.0)) - 1.0;
        CullPoint const c =
            ToCullSpace(narrow.GetMatrix(), ToPos(camera.Point(wholeX, wholeY, depth)));
        double const off = 1e-14 * (100.0 + camera.farDistance);
        double const perX = 10.0 * (1.0 + 1.0 / static_cast<double>(camera.HalfWidth(1.0L)));
        double const perY = 10.0 * (1.0 + 1.0 / static_cast<double>(camera.HalfHeight(1.0L)));
        ASSERT_NEAR(c.x, x * c.w, off * perX / (x1 - x0));
        ASSERT_NEAR(c.y, y * c.w, off * perY / (y1 - y0));
    }
}

TEST(TqLFrustum3f, NarrowingTwiceIsNarrowingOnce)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqLFrustum3f const twice =
        frustum.NarrowedBy(0.5, 1.0, 0.0, 0.5).NarrowedBy(0.0, 0.5, 0.5, 1.0);
    TqLFrustum3f const once = frustum.NarrowedBy(0.5, 0.75, 0.25, 0.5);
    EXPECT_TRUE(HaveSameBits(twice, once)); // halves are exact
}

TEST(TqLFrustum3f, ImpossibleBoundsPostAndLeaveTheWholeView)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    double const bounds[][4] = {
        {0.5, 0.5, 0.0, 1.0},        {0.6, 0.5, 0.0, 1.0},         {0.0, 1.0, 0.5, 0.5},
        {0.0, 1.0, 1.0, 0.0},        {notANumber, 1.0, 0.0, 1.0},  {0.0, notANumber, 0.0, 1.0},
        {0.0, 1.0, notANumber, 1.0}, {0.0, 1.0, 0.0, notANumber},  {0.0, infinity, 0.0, 1.0},
        {0.0, 1.0, -infinity, 1.0},  {0.0, DBL_TRUE_MIN, 0.0, 1.0}};
    for (double const(&b)[4] : bounds) {
        SCOPED_TRACE(testing::Message() << b[0] << ' ' << b[1] << ' ' << b[2] << ' ' << b[3]);
        PostedErrors posted;
        EXPECT_TRUE(HaveSameBits(frustum.NarrowedBy(b[0], b[1], b[2], b[3]), frustum));
        ASSERT_EQ(posted.Size(), 1);
        EXPECT_EQ(posted.Get()[0].severity, 1);
        EXPECT_EQ(posted.Get()[0].component, "TqLFrustum3f");
    }
}

// ---- Impossible arguments -----------------------------------------------------------------------

TEST(TqLFrustum3f, FourImpossibleDoublesPostAndLeaveTheDefault)
{
    double const cases[][4] = {
        {0.0, 1.0, 1.0, 10.0},         {-1.0, 1.0, 1.0, 10.0},      {notANumber, 1.0, 1.0, 10.0},
        {infinity, 1.0, 1.0, 10.0},    {1.0, 0.0, 1.0, 10.0},       {1.0, -1.0, 1.0, 10.0},
        {1.0, notANumber, 1.0, 10.0},  {1.0, 1.0, 0.0, 10.0},       {1.0, 1.0, -1.0, 10.0},
        {1.0, 1.0, notANumber, 10.0},  {1.0, 1.0, infinity, 10.0},  {1.0, 1.0, 1.0, 1.0},
        {1.0, 1.0, 1.0, 0.5},          {1.0, 1.0, 1.0, notANumber}, {1.0, 1.0, 1.0, -infinity},
        {DBL_TRUE_MIN, 1.0, 1.0, 10.0}};
    for (double const(&c)[4] : cases) {
        SCOPED_TRACE(testing::Message() << c[0] << ' ' << c[1] << ' ' << c[2] << ' ' << c[3]);
        ExpectRefused([&c] { return TqLFrustum3f(c[0], c[1], c[2], c[3]); });
    }
}

TEST(TqLFrustum3f, ImpossibleCamerasPostAndLeaveTheDefault)
{
    Camera good;
    good.viewpoint = TqLPos3f(1.0, 2.0, 3.0);
    good.direction = TqLVec3f(0.0, 0.0, -1.0);
    good.up = TqLVec3f(0.0, 1.0, 0.0);
    for (bool const isPerspective : {true, false}) {
        good.isPerspective = isPerspective;
        PostedErrors posted;
        EXPECT_EQ(good.Make().GetViewpoint(), good.viewpoint);
        EXPECT_TRUE(posted.Empty());
    }
    std::vector<std::function<void(Camera*)>> const spoilBoth = {
        [](Camera* c) { c->viewpoint.Set(1, notANumber); },
        [](Camera* c) { c->viewpoint.Set(2, infinity); },
        [](Camera* c) {
            c->viewpoint.Set(2, DBL_MAX);
            c->direction.SetValue(0.0, 1e-3, 1.0);
        },
        [](Camera* c) { c->direction.MakeZero(); },
        [](Camera* c) { c->direction.Set(0, notANumber); },
        [](Camera* c) { c->direction.Set(0, infinity); },
        [](Camera* c) { c->up.MakeZero(); },
        [](Camera* c) { c->up.Set(0, notANumber); },
        [](Camera* c) { c->up = c->direction; },
        [](Camera* c) { c->up = c->direction * -7.0; },
        [](Camera* c) { c->farDistance = c->nearDistance; },
        [](Camera* c) { c->farDistance = 0.5 * c->nearDistance; },
        [](Camera* c) { c->farDistance = notANumber; },
        [](Camera* c) { c->nearDistance = notANumber; },
        [](Camera* c) { c->nearDistance = -infinity; },
    };
    std::vector<std::function<void(Camera*)>> const spoilPerspective = {
        [](Camera* c) { c->angle = 0.0; },         [](Camera* c) { c->angle = -1.0; },
        [](Camera* c) { c->angle = pi; },          [](Camera* c) { c->angle = 4.0; },
        [](Camera* c) { c->angle = 7.0; }, // where the tangent is positive again
        [](Camera* c) { c->angle = notANumber; },  [](Camera* c) { c->aspect = 0.0; },
        [](Camera* c) { c->aspect = -2.0; },       [](Camera* c) { c->aspect = notANumber; },
        [](Camera* c) { c->aspect = infinity; },   [](Camera* c) { c->nearDistance = 0.0; },
        [](Camera* c) { c->nearDistance = -1.0; },
    };
    std::vector<std::function<void(Camera*)>> const spoilParallel = {
        [](Camera* c) { c->width = 0.0; },
        [](Camera* c) { c->width = -1.0; },
        [](Camera* c) { c->width = notANumber; },
        [](Camera* c) { c->width = infinity; },
        [](Camera* c) { c->height = 0.0; },
        [](Camera* c) { c->height = notANumber; },
        [](Camera* c) { c->farDistance = infinity; },
    };
    auto const expectAllRefused = [&good](auto const& spoilers) {
        int number = 0;
        for (std::function<void(Camera*)> const& spoil : spoilers) {
            SCOPED_TRACE(number++);
            Camera bad = good;
            spoil(&bad);
            ExpectRefused([&bad] { return bad.Make(); });
        }
    };
    for (bool const isPerspective : {true, false}) {
        SCOPED_TRACE(isPerspective ? "perspective" : "parallel");
        good.isPerspective = isPerspective;
        expectAllRefused(spoilBoth);
        expectAllRefused(isPerspective ? spoilPerspective : spoilParallel);
    }
}

TEST(TqLFrustum3f, ImpossibleExplicitDataPostsAndLeavesTheDefault)
{
    TqLFrustum3f const good(4.0, 2.0, 1.0, 50.0);
    auto const make = [](double width, double height, TqLMatrix4f const& matrix,
                         TqLPlane3f const& plane, TqLPos3f const& viewpoint) {
        return [=] {
            return TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, width, height, matrix,
                                            plane, viewpoint);
        };
    };
    TqLMatrix4f const& matrix = good.GetMatrix();
    TqLPlane3f const& plane = good.GetNearPlane();
    TqLPos3f const viewpoint;
    ExpectRefused(make(0.0, 2.0, matrix, plane, viewpoint));
    ExpectRefused(make(4.0, notANumber, matrix, plane, viewpoint));
    ExpectRefused(make(4.0, infinity, matrix, plane, viewpoint));
    for (int index = 0; index < 16; ++index) {
        TqLMatrix4f bad = matrix;
        bad[index / 4][index % 4] = index % 2 == 0 ? notANumber : infinity;
        ExpectRefused(make(4.0, 2.0, bad, plane, viewpoint));
    }
    ExpectRefused(make(4.0, 2.0, matrix, TqLPlane3f(TqLUnitVec3f(TqLVec3f()), 1.0), viewpoint));
    ExpectRefused(make(4.0, 2.0, matrix, TqLPlane3f(TqLUnitVec3f(), notANumber), viewpoint));
    TqLUnitVec3f twice;
    twice.SetUnitValue(0.0, 0.0, -2.0);
    ExpectRefused(make(4.0, 2.0, matrix, TqLPlane3f(twice, 1.0), viewpoint));
    ExpectRefused(make(4.0, 2.0, matrix, plane, TqLPos3f(0.0, infinity, 0.0)));
}
