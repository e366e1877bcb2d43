#include "geometry/TqLPlane3f.h"

#include "GeometryRandom.h"

#include "geometry/TqLMatrix.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>

namespace
{

TqLUnitVec3f Unit(double x, double y, double z)
{
    return TqLUnitVec3f(TqLVec3f(x, y, z));
}

TqLPlane3f RandomPlane(SceneRandom* random, double within)
{
    TqLUnitVec3f const normal(RandomDirection(random));
    return TqLPlane3f(normal, RandomPos(random, within));
}

long double LongDistance(TqLPlane3f const& plane, LongVec const& point)
{
    return LongDot(LongVec(plane.GetNormal().Vec()), point) -
           static_cast<long double>(plane.GetDistance());
}

bool HaveSameBits(TqLPlane3f const& a, TqLPlane3f const& b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

} // namespace

TEST(TqLPlane3f, IsTheGroundAfterConstruction)
{
    TqLPlane3f const plane;
    EXPECT_EQ(plane.GetNormal().Vec(), TqLVec3f(0.0, 0.0, 1.0));
    EXPECT_EQ(plane.GetDistance(), 0.0);
}

TEST(TqLPlane3f, GoesThroughThePointItIsSetTo)
{
    TqLPlane3f plane;
    plane.SetValue(Unit(0.0, 2.0, 0.0), TqLPos3f(7.0, 3.0, -5.0));
    EXPECT_EQ(plane.GetNormal().Vec(), TqLVec3f(0.0, 1.0, 0.0));
    EXPECT_EQ(plane.GetDistance(), 3.0);
    EXPECT_EQ(plane.DistanceFromPlane(TqLPos3f(100.0, 3.0, 100.0)), 0.0);
    EXPECT_EQ(plane, TqLPlane3f(Unit(0.0, 1.0, 0.0), 3.0));
    EXPECT_NE(plane, TqLPlane3f(Unit(0.0, 1.0, 0.0), 2.0));
    EXPECT_NE(plane, TqLPlane3f(Unit(0.0, -1.0, 0.0), 3.0));
}

TEST(TqLPlane3f, MeasuresTheSignedDistanceOfAPoint)
{
    TqLPlane3f const plane(Unit(1.0, 0.0, 0.0), 2.0);
    EXPECT_EQ(plane.DistanceFromPlane(TqLPos3f(5.0, 9.0, 9.0)), 3.0);
    EXPECT_EQ(plane.DistanceFromPlane(TqLPos3f(-1.0, 9.0, 9.0)), -3.0);
}

TEST(TqLPlane3f, SubtractsTheDistanceLast)
{
    // (1e16 + 1 + 1) - 1e16, left to right: both ones are rounded away. With the distance
    // subtracted first they would survive.
    TqLPlane3f plane;
    TqLUnitVec3f ones;
    ones.SetUnitValue(1.0, 1.0, 1.0);
    plane.SetValue(ones, 1e16);
    EXPECT_EQ(plane.DistanceFromPlane(TqLPos3f(1e16, 1.0, 1.0)), 0.0);
    TqLBox3f const point(TqLPos3f(1e16, 1.0, 1.0), TqLPos3f(1e16, 1.0, 1.0));
    EXPECT_EQ(plane.MinDistanceFromPlane(point), 0.0);
    EXPECT_EQ(plane.MaxDistanceFromPlane(point), 0.0);
}

TEST(TqLPlane3f, HasPointsOnThePlaneInItsHalfspace)
{
    TqLPlane3f const plane(Unit(0.0, 0.0, -1.0), 1.0);
    EXPECT_TRUE(plane.IsInHalfspace(TqLPos3f(0.0, 0.0, -2.0)));
    EXPECT_TRUE(plane.IsInHalfspace(TqLPos3f(0.0, 0.0, -1.0)));
    EXPECT_FALSE(plane.IsInHalfspace(TqLPos3f(0.0, 0.0, -0.5)));
}

TEST(TqLPlane3f, MinAndMaxDistanceAreThoseOfTheBoxCorners)
{
    SceneRandom random(21);
    for (int run = 0; run < 2000; ++run) {
        SCOPED_TRACE(run);
        TqLPlane3f plane = RandomPlane(&random, 10.0);
        if (random.Chance(0.3)) { // planes along an axis, with zero components of either sign
            double const sign = random.Chance(0.5) ? 1.0 : -1.0;
            plane.SetValue(Unit(0.0, sign, -0.0), plane.GetDistance());
        }
        TqLBox3f const box = RandomBox(&random, 10.0, 10.0);
        double least = DBL_MAX;
        double greatest = -DBL_MAX;
        for (int corner = 0; corner < 8; ++corner) {
            double const distance = plane.DistanceFromPlane(box.GetCorner(corner));
            least = std::min(least, distance);
            greatest = std::max(greatest, distance);
        }
        ASSERT_EQ(plane.MinDistanceFromPlane(box), least);
        ASSERT_EQ(plane.MaxDistanceFromPlane(box), greatest);
    }
}

TEST(TqLPlane3f, ZeroNormalGivesEveryBoxTheSameDistance)
{
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f()), 4.0);
    TqLBox3f const box(TqLPos3f(-1.0, 0.0, 5.0), TqLPos3f(1.0, 1.0, 6.0));
    EXPECT_EQ(plane.MinDistanceFromPlane(box), -4.0);
    EXPECT_EQ(plane.MaxDistanceFromPlane(box), -4.0);
}

// ---- Into local space ---------------------------------------------------------------------------

TEST(TqLPlane3f, TransformedByInverseOfATranslationMovesTheDistanceOnly)
{
    TqLPlane3f const world(Unit(0.0, 1.0, 0.0), 10.0);
    TqLAffine3f const toWorld = TqLAffine3f::Translation(TqLVec3f(100.0, 4.0, 100.0));
    EXPECT_EQ(world.TransformedByInverse(toWorld), TqLPlane3f(Unit(0.0, 1.0, 0.0), 6.0));
}

TEST(TqLPlane3f, TransformedByInverseOfAQuarterTurnTurnsTheNormalBack)
{
    // Local x becomes world y, so the world plane y = 10 is the local plane x = 10.
    TqLAffine3f const toWorld(TqLVec3f(0.0, 1.0, 0.0), TqLVec3f(-1.0, 0.0, 0.0),
                              TqLVec3f(0.0, 0.0, 1.0), TqLVec3f());
    TqLPlane3f const world(Unit(0.0, 1.0, 0.0), 10.0);
    EXPECT_EQ(world.TransformedByInverse(toWorld), TqLPlane3f(Unit(1.0, 0.0, 0.0), 10.0));
}

TEST(TqLPlane3f, TransformedByInverseOfAScaleKeepsAUnitNormalAndAdjustsTheDistance)
{
    TqLPlane3f const world(Unit(0.0, 1.0, 0.0), 10.0);
    EXPECT_EQ(world.TransformedByInverse(TqLAffine3f::Scale(4.0)),
              TqLPlane3f(Unit(0.0, 1.0, 0.0), 2.5));
    EXPECT_EQ(world.TransformedByInverse(TqLAffine3f::Scale(7.0, -4.0, 3.0)),
              TqLPlane3f(Unit(0.0, -1.0, 0.0), 2.5));
}

TEST(TqLPlane3f, TransformedByInverseOfTheIdentityKeepsEveryBit)
{
    SceneRandom random(22);
    for (int run = 0; run < 200; ++run) {
        SCOPED_TRACE(run);
        TqLPlane3f const plane = RandomPlane(&random, 100.0);
        ASSERT_TRUE(HaveSameBits(plane.TransformedByInverse(TqLAffine3f()), plane));
    }
}

TEST(TqLPlane3f, TransformedByInverseOfARigidAffineLeavesTheDistanceUndivided)
{
    SceneRandom random(23);
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLPlane3f const plane = RandomPlane(&random, 100.0);
        TqLAffine3f toWorld;
        for (int turn = 0; turn < 50; ++turn) { // rounding adds up, and must not look like a scale
            toWorld = toWorld * RandomRotation(&random);
        }
        toWorld = toWorld * TqLAffine3f::Translation(RandomVec(&random, 100.0));
        TqLPlane3f const local = plane.TransformedByInverse(toWorld);
        ASSERT_EQ(local.GetDistance(),
                  plane.GetDistance() - plane.GetNormal().Dot(toWorld.GetTranslation()));
    }
}

TEST(TqLPlane3f, TransformedByInverseKeepsSideAndLocalDistanceOfEveryPoint)
{
    SceneRandom random(24);
    for (int run = 0; run < 3000; ++run) {
        SCOPED_TRACE(run);
        double const far = random.Chance(0.3) ? 1e7 : 100.0;
        TqLAffine3f const toWorld = RandomAffine(&random, far); // half of them mirror
        TqLPlane3f const world = RandomPlane(&random, far);
        TqLPlane3f const local = world.TransformedByInverse(toWorld);

        // World distances scale by the length of the linear part's image of the normal.
        LongVec const normal(world.GetNormal().Vec());
        LongVec const image(LongDot(normal, LongVec(toWorld.GetRow(0))),
                            LongDot(normal, LongVec(toWorld.GetRow(1))),
                            LongDot(normal, LongVec(toWorld.GetRow(2))));
        long double const length = LongLength(image);
        LongVec const point(RandomVec(&random, 10.0));
        long double const expected = LongDistance(world, LongTransform(point, toWorld)) / length;
        long double const tolerance = 1e-14L * (far + 100.0L) / length;
        ASSERT_NEAR(static_cast<double>(LongDistance(local, point)), static_cast<double>(expected),
                    static_cast<double>(tolerance));
        ASSERT_NEAR(local.GetNormal().Vec().Length(), 1.0, 1e-12);
    }
}

TEST(TqLPlane3f, TransformedByInverseOfAFlatteningAffineKeepsTheWorldDistance)
{
    // Everything local lies at world height 3; the plane is at height 10.
    TqLAffine3f const toWorld =
        TqLAffine3f::Scale(1.0, 0.0, 1.0) * TqLAffine3f::Translation(TqLVec3f(0.0, 3.0, 0.0));
    TqLPlane3f const local = TqLPlane3f(Unit(0.0, 1.0, 0.0), 10.0).TransformedByInverse(toWorld);
    EXPECT_TRUE(local.GetNormal().IsZero());
    EXPECT_EQ(local.DistanceFromPlane(TqLPos3f(5.0, 50.0, 500.0)), -7.0);
}

TEST(TqLPlane3f, TransformedByInverseOfExtremeScalesStaysFinite)
{
    TqLPlane3f const world(Unit(1.0, 2.0, 3.0), 0.5);
    for (double const scale : {1e-200, 1e-160, 1e160, 1e200}) {
        TqLPlane3f const local = world.TransformedByInverse(TqLAffine3f::Scale(scale));
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_DOUBLE_EQ(local.GetNormal()[axis], world.GetNormal()[axis]) << scale;
        }
        EXPECT_DOUBLE_EQ(local.GetDistance(), 0.5 / scale) << scale;
    }
}
