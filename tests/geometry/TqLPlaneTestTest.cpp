#include "geometry/internal/TqLPlaneTest.h"

#include "GeometryRandom.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>

namespace
{

using namespace TqLInternal;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Of any size, and now and then a number that arithmetic stumbles over.
double RandomNumber(SceneRandom* random)
{
    constexpr double odd[] = {0.0, -0.0, notANumber, infinity, -infinity, DBL_MAX, -DBL_MAX};
    if (random->Chance(0.02)) {
        return odd[random->Below(7)];
    }
    double const size = std::exp(random->Range(-3.0, random->Chance(0.1) ? 40.0 : 3.0));
    return random->Range(-1.0, 1.0) * size;
}

TqLBox3f RandomBox(SceneRandom* random)
{
    TqLPos3f min;
    TqLPos3f max;
    for (int axis = 0; axis < 3; ++axis) {
        min[axis] = RandomNumber(random);
        max[axis] = min[axis] + std::fabs(RandomNumber(random));
    }
    return TqLBox3f(min, max);
}

struct Planes
{
    alignas(16) TqLPlaneRows rows;
};

Planes RandomPlanes(SceneRandom* random)
{
    Planes planes;
    for (int i = 0; i < s_numTestPlanes; ++i) {
        TqLVec3f const normal = RandomDirection(random);
        double const distance = RandomNumber(random);
        for (int axis = 0; axis < 3; ++axis) {
            planes.rows[eROW_X + axis][i] = normal[axis];
            planes.rows[eROW_SIZE_X + axis][i] = std::fabs(normal[axis]);
        }
        planes.rows[eROW_DISTANCE][i] = distance;
        planes.rows[eROW_MARGIN][i] = s_planeRounding * std::fabs(distance);
    }
    return planes;
}

} // namespace

TEST(TqLPlaneTest, DecidesAndNarrowsAsThePlainFormDoes)
{
    if (std::is_same_v<TqLPlaneTest, TqLScalarPlaneTest>) {
        GTEST_SKIP() << "this processor has the plain form only";
    }
    SceneRandom random(61);
    int numOutside = 0;
    int numNarrowed = 0;
    for (int run = 0; run < 200000; ++run) {
        SCOPED_TRACE(run);
        Planes const planes = RandomPlanes(&random);
        TqLBox3f const box = RandomBox(&random);
        TqLPlaneMargin const margin = {random.Unit() * 1e-9, s_planeRounding};
        int const mask = 1 + static_cast<int>(random.Below(127)); // a bit above the planes', too
        int narrowed = mask;
        int expected = mask;
        bool const isOutside = TqLPlaneTest::IsOutside(planes.rows, margin, box, &narrowed);
        ASSERT_EQ(isOutside, TqLScalarPlaneTest::IsOutside(planes.rows, margin, box, &expected));
        ASSERT_EQ(narrowed, expected);
        numOutside += isOutside ? 1 : 0;
        numNarrowed += expected != mask ? 1 : 0;
    }
    EXPECT_GT(numOutside, 50000);
    EXPECT_GT(numNarrowed, 50000);
}
