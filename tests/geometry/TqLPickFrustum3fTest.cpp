#include "geometry/TqLPickFrustum3f.h"

#include "GeometryRandom.h"
#include "support/PostedErrors.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// A camera with a sub-rectangle of its view, and the six sides of that in long double, worked out
// from the camera alone.
struct Case
{
    bool isPerspective;
    TqLPos3f viewpoint;
    TqLVec3f direction;
    TqLVec3f up;
    double angle;
    double aspect;
    double width;
    double height;
    double nearDistance;
    double farDistance;
    double x0, x1, y0, y1;

    [[nodiscard]] LongVec Forward() const { return LongUnit(LongVec(direction)); }

    [[nodiscard]] LongVec Right() const { return LongUnit(LongCross(Forward(), LongVec(up))); }

    [[nodiscard]] LongVec Up() const { return LongCross(Right(), Forward()); }

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

    // How far inside each of the six sides a point lies, across the side.
    void Inside(LongVec const& point, long double (&inside)[6]) const
    {
        LongVec const offset = point - LongVec(viewpoint);
        long double const depth = LongDot(offset, Forward());
        long double const bounds[4] = {x0, x1, y0, y1};
        for (int side = 0; side < 4; ++side) {
            bool const isX = side < 2;
            long double const share = 2.0L * bounds[side] - 1.0L;
            long double const slope =
                isPerspective ? share * (isX ? HalfWidth(1.0L) : HalfHeight(1.0L)) : 0.0L;
            long double const edge =
                isPerspective ? slope * depth : share * (isX ? HalfWidth(1.0L) : HalfHeight(1.0L));
            long double const along = LongDot(offset, isX ? Right() : Up());
            long double const sign = side % 2 == 0 ? 1.0L : -1.0L;
            inside[side] = sign * (along - edge) / std::sqrt(1.0L + slope * slope);
        }
        inside[4] = depth - static_cast<long double>(nearDistance);
        inside[5] = static_cast<long double>(farDistance) - depth;
    }

    // The point at shares of the sub-rectangle and a depth.
    [[nodiscard]] LongVec Point(long double shareX, long double shareY, long double depth) const
    {
        long double const x = 2.0L * (x0 + (x1 - x0) * shareX) - 1.0L;
        long double const y = 2.0L * (y0 + (y1 - y0) * shareY) - 1.0L;
        return LongVec(viewpoint) + Forward() * depth + Right() * (x * HalfWidth(depth)) +
               Up() * (y * HalfHeight(depth));
    }

    [[nodiscard]] TqLFrustum3f MakeWhole() const
    {
        return isPerspective ? TqLFrustum3f::Perspective(viewpoint, direction, up, angle, aspect,
                                                         nearDistance, farDistance)
                             : TqLFrustum3f::Parallel(viewpoint, direction, up, width, height,
                                                      nearDistance, farDistance);
    }

    [[nodiscard]] TqLPickFrustum3f Make() const
    {
        return TqLPickFrustum3f(MakeWhole().NarrowedBy(x0, x1, y0, y1));
    }
};

Case RandomCase(SceneRandom* random, double within)
{
    Case c = {};
    c.isPerspective = random->Chance(0.6);
    c.viewpoint = RandomPos(random, within);
    if (random->Chance(0.3)) { // a view along an axis
        c.direction.Set(static_cast<int>(random->Below(3)), random->Chance(0.5) ? 1.0 : -1.0);
        int const axis = c.direction[0] != 0.0 ? 1 : 0;
        c.up.Set(axis, 1.0);
    } else {
        do {
            c.direction = RandomDirection(random);
            c.up = RandomDirection(random);
        } while (TqLUnitVec3f(c.direction).Vec().Cross(TqLUnitVec3f(c.up)).Length() < 0.1);
    }
    c.angle = random->Range(0.2, 2.5);
    c.aspect = random->Range(0.5, 2.0);
    c.width = random->Range(1.0, 50.0);
    c.height = random->Range(1.0, 50.0);
    c.nearDistance = random->Range(0.01, 2.0);
    c.farDistance = c.nearDistance + std::exp(random->Range(1.0, 6.0));
    bool const isThin = random->Chance(0.5); // a pixel, or a rubber band
    c.x0 = random->Range(0.0, 0.9);
    c.y0 = random->Range(0.0, 0.9);
    c.x1 = c.x0 + (isThin ? 0.001 : random->Range(0.01, 0.5));
    c.y1 = c.y0 + (isThin ? 0.001 : random->Range(0.01, 0.5));
    return c;
}

// A box that has a fair chance of lying across one of the sides.
TqLBox3f RandomBoxNear(SceneRandom* random, Case const& c)
{
    double const depth = random->Range(0.0, c.farDistance * 1.2);
    double const shareX = random->Range(-2.0, 3.0);
    double const shareY = random->Range(-2.0, 3.0);
    TqLPos3f const center = ToPos(c.Point(shareX, shareY, depth));
    double const size = std::exp(random->Range(-5.0, 2.5));
    TqLVec3f const half(0.5 * size * random->Unit(), 0.5 * size * random->Unit(),
                        0.5 * size * random->Unit());
    return TqLBox3f(center - half, center + half);
}

// The camera far away, looking at the origin of space, through which the left side of the rectangle
// passes: the side's numbers are small there, and their errors are not.
void LookFromFarAway(Case* c, double distance)
{
    c->viewpoint = TqLPos3f(TqLUnitVec3f(c->direction).Vec() * -distance);
    c->nearDistance = 0.5 * distance;
    c->farDistance = 2.0 * distance;
    c->x0 = 0.5;
    c->x1 = 0.75;
    c->y0 = 0.25;
    c->y1 = 0.75;
    c->width = 10.0;
    c->height = 10.0;
}

// How far inside its nearest side a point lies, given in a local space.
long double LeastInside(Case const& c, TqLPos3f const& point, TqLAffine3f const& toWorld)
{
    long double inside[6];
    c.Inside(LongTransform(LongVec(point), toWorld), inside);
    return *std::min_element(inside, inside + 6);
}

// Of the way from a point inside to one outside, the last point inside.
TqLPos3f FindLastInside(Case const& c, TqLPos3f inside, TqLPos3f outside,
                        TqLAffine3f const& toWorld)
{
    for (int step = 0; step < 80; ++step) {
        TqLPos3f const middle((inside.Vec() + outside.Vec()) * 0.5);
        (LeastInside(c, middle, toWorld) >= 0.0L ? inside : outside) = middle;
    }
    return inside;
}

TqLBox3f PointBox(TqLPos3f const& point)
{
    return TqLBox3f(point, point);
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TEST(TqLPickFrustum3f, IsThatOfTheDefaultFrustumAfterConstruction)
{
    TqLPickFrustum3f const pick;
    TqLPickFrustum3f const expected{TqLFrustum3f()};
    EXPECT_EQ(pick.GetOrigin(), TqLPos3f());
    for (int index = 0; index < TqLPickFrustum3f::eNUM_PLANES; ++index) {
        EXPECT_EQ(pick.GetPlane(index), expected.GetPlane(index)) << index;
    }
    int planes = TqLPickFrustum3f::eALL_PLANES;
    EXPECT_EQ(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, -10.0)), &planes), 0);
    planes = TqLPickFrustum3f::eALL_PLANES;
    EXPECT_NE(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, 10.0)), &planes), 0);
}

TEST(TqLPickFrustum3f, TakesPlanesAndOriginOfTheViewFrustum)
{
    TqLFrustum3f const frustum =
        TqLFrustum3f::Perspective(TqLPos3f(1.0, 2.0, 3.0), TqLVec3f(1.0, 1.0, 0.0),
                                  TqLVec3f(0.0, 0.0, 1.0), 1.0, 1.5, 0.1, 100.0);
    TqLPickFrustum3f const pick(frustum);
    TqLPlane3f planes[6];
    frustum.GetPlanes(planes);
    for (int index = 0; index < 6; ++index) {
        EXPECT_EQ(pick.GetPlane(index), planes[index]) << index;
    }
    EXPECT_EQ(pick.GetPlane(4), frustum.GetNearPlane());
    EXPECT_EQ(pick.GetOrigin(), TqLPos3f(1.0, 2.0, 3.0));
}

TEST(TqLPickFrustum3f, TakesAPixelRectangleFromTheLowerLeftCorner)
{
    // 400 x 200 pixels over 4 x 2 units at the near plane: a hundredth of a unit a pixel.
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqLPickFrustum3f const pick(frustum, TqLBox2f(TqLPos2f(10.0, 20.0), TqLPos2f(11.0, 21.0)), 400,
                                200);
    auto const isPicked = [&pick](double pixelX, double pixelY) {
        int planes = TqLPickFrustum3f::eALL_PLANES;
        TqLPos3f const point(-2.0 + 0.01 * pixelX, -1.0 + 0.01 * pixelY, -1.0);
        return pick.CanCull(PointBox(TqLPos3f(point.Vec() * 5.0)), &planes) == 0;
    };
    EXPECT_TRUE(isPicked(10.5, 20.5));
    EXPECT_TRUE(isPicked(10.01, 20.99));
    EXPECT_FALSE(isPicked(9.99, 20.5));
    EXPECT_FALSE(isPicked(11.01, 20.5));
    EXPECT_FALSE(isPicked(10.5, 19.99));
    EXPECT_FALSE(isPicked(10.5, 21.01));
    EXPECT_FALSE(isPicked(10.5, 179.5)); // counted from the top it would be this one
}

TEST(TqLPickFrustum3f, OfAllPixelsIsThatOfTheWholeView)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqLPickFrustum3f const pick(frustum, TqLBox2f(TqLPos2f(0.0, 0.0), TqLPos2f(640.0, 480.0)), 640,
                                480);
    TqLPickFrustum3f const whole(frustum);
    for (int index = 0; index < 6; ++index) {
        EXPECT_EQ(pick.GetPlane(index), whole.GetPlane(index)) << index;
    }
}

TEST(TqLPickFrustum3f, ImpossiblePixelRectanglesPostAndPickNothing)
{
    struct
    {
        double x0, y0, x1, y1;
        int width, height;
    } const cases[] = {
        {10.0, 10.0, 10.0, 20.0, 100, 100},
        {10.0, 10.0, 20.0, 10.0, 100, 100},
        {20.0, 10.0, 10.0, 20.0, 100, 100},
        {10.0, 20.0, 20.0, 10.0, 100, 100},
        {notANumber, 0.0, 1.0, 1.0, 100, 100},
        {0.0, notANumber, 1.0, 1.0, 100, 100},
        {0.0, 0.0, notANumber, 1.0, 100, 100},
        {0.0, 0.0, 1.0, notANumber, 100, 100},
        {0.0, 0.0, infinity, 1.0, 100, 100},
        {-infinity, 0.0, 1.0, 1.0, 100, 100},
        {0.0, 0.0, 1.0, 1.0, 0, 100},
        {0.0, 0.0, 1.0, 1.0, 100, 0},
        {0.0, 0.0, 1.0, 1.0, -5, 100},
        {0.0, 0.0, 1.0, 1.0, 100, -5},
        {DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX, 100, 100},
        {1.98, 10.0, std::nextafter(1.98, 2.0), 20.0, 640, 100}, // the same share of the window
        {10.0, 1.98, 20.0, std::nextafter(1.98, 2.0), 100, 640},
    };

    int number = 0;
    for (auto const& c : cases) {
        SCOPED_TRACE(number++);
        PostedErrors posted;
        TqLPickFrustum3f const pick(TqLFrustum3f(),
                                    TqLBox2f(TqLPos2f(c.x0, c.y0), TqLPos2f(c.x1, c.y1)), c.width,
                                    c.height);
        ASSERT_EQ(posted.Size(), 1);
        EXPECT_EQ(posted.Get()[0].severity, 1);
        EXPECT_EQ(posted.Get()[0].component, "TqLPickFrustum3f");
        int planes = TqLPickFrustum3f::eALL_PLANES;
        EXPECT_NE(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, -2.0)), &planes), 0);
        planes = 0;
        EXPECT_NE(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, -1e300)), &planes), 0);
    }
}

TEST(TqLPickFrustum3f, PicksNothingWhereTheViewCannotBeNarrowed)
{
    // A few denormals wide: the matrix overflows.
    PostedErrors posted;
    TqLPickFrustum3f const pick(TqLFrustum3f(), TqLBox2f(TqLPos2f(0.0, 0.0), TqLPos2f(5e-322, 1.0)),
                                1, 1);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].component, "TqLFrustum3f");
    int planes = TqLPickFrustum3f::eALL_PLANES;
    EXPECT_NE(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, -10.0)), &planes), 0);
}

// ---- CanCull against brute force ----------------------------------------------------------------

TEST(TqLPickFrustum3f, CullsJustTheBoxesWhollyOutsideOneSide)
{
    SceneRandom random(51);
    int culled = 0;
    int kept = 0;
    int undecided = 0;
    for (int run = 0; run < 30000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 10.0;
        Case const c = RandomCase(&random, within);
        TqLPickFrustum3f const pick = c.Make();
        TqLBox3f const box = RandomBoxNear(&random, c);
        long double least[6];
        long double greatest[6];
        std::fill(least, least + 6, static_cast<long double>(infinity));
        std::fill(greatest, greatest + 6, -static_cast<long double>(infinity));
        for (LongVec const& corner : LongCorners(box)) {
            long double inside[6];
            c.Inside(corner, inside);
            for (int side = 0; side < 6; ++side) {
                least[side] = std::min(least[side], inside[side]);
                greatest[side] = std::max(greatest[side], inside[side]);
            }
        }
        // Nearer to a side than this, rounding may decide, and always for keeping the box.
        long double const rounding = 2e-14L * (3.0L * within + c.farDistance);
        bool isOutside = false;
        bool isUndecided = false;
        for (int side = 0; side < 6; ++side) {
            isOutside = isOutside || greatest[side] < -rounding;
            isUndecided = isUndecided || (greatest[side] < 0.0L && greatest[side] >= -rounding);
        }
        int planes = TqLPickFrustum3f::eALL_PLANES;
        int const isCulled = pick.CanCull(box, &planes);
        if (isOutside) {
            ++culled;
            ASSERT_NE(isCulled, 0);
        } else if (!isUndecided) {
            ++kept;
            ASSERT_EQ(isCulled, 0);
            for (int side = 0; side < 6; ++side) {
                bool const isTested = (planes & (1 << side)) != 0;
                if (least[side] < 0.0L) {
                    ASSERT_TRUE(isTested) << side;
                } else if (least[side] > rounding) {
                    ASSERT_FALSE(isTested) << side;
                }
            }
        } else {
            ++undecided;
        }
    }
    EXPECT_GT(culled, 8000);
    EXPECT_GT(kept, 4000);
    EXPECT_LT(undecided, 30);
}

TEST(TqLPickFrustum3f, NeverCullsABoxThatHoldsAPointOfTheFrustum)
{
    SceneRandom random(52);
    for (int run = 0; run < 30000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 10.0;
        Case const c = RandomCase(&random, within);
        TqLPickFrustum3f const pick = c.Make();
        // A point of the frustum, often on one of its sides or edges.
        auto const share = [&random] {
            return random.Chance(0.3) ? (random.Chance(0.5) ? 0.0 : 1.0) : random.Unit();
        };
        double const shareX = share();
        double const shareY = share();
        double const depth = c.nearDistance + (c.farDistance - c.nearDistance) * share();
        TqLPos3f const point = ToPos(c.Point(shareX, shareY, depth));
        // A box with the point inside, on a face or at a corner.
        TqLVec3f below;
        TqLVec3f above;
        for (int axis = 0; axis < 3; ++axis) {
            below[axis] = random.Chance(0.3) ? 0.0 : random.Range(0.0, 5.0);
            above[axis] = random.Chance(0.3) ? 0.0 : random.Range(0.0, 5.0);
        }
        TqLBox3f const box(point - below, point + above);
        int planes = TqLPickFrustum3f::eALL_PLANES;
        ASSERT_EQ(pick.CanCull(box, &planes), 0);
    }
}

TEST(TqLPickFrustum3f, NeverCullsThePointsJustInsideASide)
{
    // To the last bit inside, in cameras near and far, in world space and in that of an instance.
    SceneRandom random(57);
    for (int run = 0; run < 10000; ++run) {
        SCOPED_TRACE(run);
        Case c = RandomCase(&random, random.Chance(0.3) ? 1e7 : 10.0);
        bool const isFarAway = random.Chance(0.4);
        if (isFarAway) {
            LookFromFarAway(&c, 1e7);
        }
        TqLPos3f const middle =
            isFarAway ? ToPos(c.Right() * 0.5L)
                      : ToPos(c.Point(0.5, 0.5, 0.5 * (c.nearDistance + c.farDistance)));
        TqLAffine3f const toWorld =
            random.Chance(0.5) ? RandomAffine(&random, 0.0) * TqLAffine3f::Translation(middle.Vec())
                               : TqLAffine3f();
        bool const isLocal = !toWorld.IsIdentity();
        TqLPos3f const inside = isLocal ? TqLPos3f() : middle;
        ASSERT_GE(LeastInside(c, inside, toWorld), 0.0L);
        double const way = isFarAway ? 10.0 : 100.0 * c.farDistance;
        TqLPos3f const outside = inside + RandomDirection(&random) * way;
        TqLPos3f const last = FindLastInside(c, inside, outside, toWorld);
        ASSERT_GE(LeastInside(c, last, toWorld), 0.0L);
        TqLPickFrustum3f const pick = isLocal ? c.Make().TransformedByInverse(toWorld) : c.Make();
        int planes = TqLPickFrustum3f::eALL_PLANES;
        ASSERT_EQ(pick.CanCull(PointBox(last), &planes), 0);
        // Nor may the other end of a box there let its children go untested.
        TqLBox3f box = PointBox(last);
        box.ExtendBy(outside);
        ASSERT_EQ(pick.CanCull(box, &planes), 0);
    }
}

TEST(TqLPickFrustum3f, NarrowedMasksGiveTheSameCullsAsAllPlanes)
{
    SceneRandom random(53);
    int culled = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Case const c = RandomCase(&random, random.Chance(0.3) ? 1e7 : 10.0);
        TqLPickFrustum3f const pick = c.Make();
        TqLBox3f const child = RandomBoxNear(&random, c);
        TqLBox3f parent = child;
        parent.ExtendBy(RandomBoxNear(&random, c));
        int planes = TqLPickFrustum3f::eALL_PLANES;
        int const isParentCulled = pick.CanCull(parent, &planes);
        int narrowed = planes;
        int all = TqLPickFrustum3f::eALL_PLANES;
        int const isChildCulled = pick.CanCull(child, &all);
        ASSERT_EQ(pick.CanCull(child, &narrowed) != 0, isChildCulled != 0);
        ASSERT_EQ(narrowed & ~planes, 0);
        if (isParentCulled != 0) {
            ASSERT_NE(isChildCulled, 0);
        }
        culled += isChildCulled != 0 ? 1 : 0;
    }
    EXPECT_GT(culled, 2000);
}

// ---- CanCull, particular cases ------------------------------------------------------------------

TEST(TqLPickFrustum3f, TestsOnlyThePlanesInTheMask)
{
    TqLPickFrustum3f const pick{TqLFrustum3f(2.0, 2.0, 1.0, 100.0)};
    TqLBox3f const leftOfIt = PointBox(TqLPos3f(-50.0, 0.0, -10.0));
    for (int mask = 0; mask < 64; ++mask) {
        int planes = mask;
        EXPECT_EQ(pick.CanCull(leftOfIt, &planes) != 0, (mask & 1) != 0) << mask;
    }
}

TEST(TqLPickFrustum3f, ClearsThePlanesTheBoxIsInsideOfAndNoOther)
{
    TqLPickFrustum3f const pick{TqLFrustum3f(2.0, 2.0, 1.0, 100.0)};

    // At depth 10 the view spans -10 to 10.
    struct
    {
        TqLPos3f min, max;
        int planes;
    } const cases[] = {
        {TqLPos3f(-1.0, -1.0, -11.0), TqLPos3f(1.0, 1.0, -10.0), 0},
        {TqLPos3f(-20.0, -1.0, -11.0), TqLPos3f(1.0, 1.0, -10.0), 1},
        {TqLPos3f(-1.0, -1.0, -11.0), TqLPos3f(20.0, 1.0, -10.0), 2},
        {TqLPos3f(-1.0, -20.0, -11.0), TqLPos3f(1.0, 1.0, -10.0), 4},
        {TqLPos3f(-1.0, -1.0, -11.0), TqLPos3f(1.0, 20.0, -10.0), 8},
        {TqLPos3f(-0.1, -0.1, -11.0), TqLPos3f(0.1, 0.1, -0.5), 16},
        {TqLPos3f(-0.1, -0.1, -200.0), TqLPos3f(0.1, 0.1, -10.0), 32},
    };

    for (auto const& c : cases) {
        int planes = 63 | 64 | 128;
        EXPECT_EQ(pick.CanCull(TqLBox3f(c.min, c.max), &planes), 0);
        EXPECT_EQ(planes, c.planes | 64 | 128);
    }
}

TEST(TqLPickFrustum3f, CullsEmptyBoxesUnderEveryMask)
{
    TqLPickFrustum3f const pick;
    int planes = 63;
    EXPECT_NE(pick.CanCull(TqLBox3f(), &planes), 0);
    planes = 0;
    EXPECT_NE(pick.CanCull(TqLBox3f(), &planes), 0);
    EXPECT_NE(pick.CanCull(TqLBox3f(TqLPos3f(-1.0, -1.0, -4.0), TqLPos3f(1.0, 1.0, -5.0)), &planes),
              0);
}

TEST(TqLPickFrustum3f, NeverCullsABoxWithNaNNorAnInfiniteOneAndKeepsItsMask)
{
    TqLPickFrustum3f const pick;
    int planes = 63;
    TqLBox3f const nan(TqLPos3f(notANumber, 50.0, 50.0), TqLPos3f(60.0, 60.0, 60.0));
    EXPECT_EQ(pick.CanCull(nan, &planes), 0);
    EXPECT_EQ(planes, 63);
    TqLBox3f const endless(TqLPos3f(-infinity, -infinity, -infinity),
                           TqLPos3f(infinity, infinity, infinity));
    EXPECT_EQ(pick.CanCull(endless, &planes), 0);
    EXPECT_EQ(planes, 63);
    TqLBox3f const huge(TqLPos3f(-DBL_MAX, -DBL_MAX, -DBL_MAX),
                        TqLPos3f(DBL_MAX, DBL_MAX, DBL_MAX));
    EXPECT_EQ(pick.CanCull(huge, &planes), 0);
    EXPECT_EQ(planes, 63);
}

TEST(TqLPickFrustum3f, HasNoFarSideWhenFarIsInfinite)
{
    TqLPickFrustum3f const pick{TqLFrustum3f(2.0, 2.0, 1.0, infinity)};
    int planes = 63;
    EXPECT_EQ(pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, -1e12)), &planes), 0);
    EXPECT_EQ(planes & 32, 0);
}

TEST(TqLPickFrustum3f, CullsBetweenEyeAndNearPlaneAndBehindTheEye)
{
    TqLPickFrustum3f const pick{TqLFrustum3f(2.0, 2.0, 1.0, 100.0)};
    auto const isCulled = [&pick](double z) {
        int planes = TqLPickFrustum3f::eALL_PLANES;
        return pick.CanCull(PointBox(TqLPos3f(0.0, 0.0, z)), &planes) != 0;
    };
    EXPECT_TRUE(isCulled(0.5));
    EXPECT_TRUE(isCulled(-0.5));
    EXPECT_FALSE(isCulled(-1.0));
    EXPECT_FALSE(isCulled(-100.0));
    EXPECT_TRUE(isCulled(-100.5));
}

// ---- MinDistance --------------------------------------------------------------------------------

TEST(TqLPickFrustum3f, MinDistanceIsZeroInsideAndOnTheBox)
{
    TqLPickFrustum3f const pick; // the origin of space
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(-1.0, -1.0, -1.0), TqLPos3f(1.0, 1.0, 1.0))), 0.0);
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(0.0, 0.0, 0.0), TqLPos3f(1.0, 1.0, 1.0))), 0.0);
}

TEST(TqLPickFrustum3f, MinDistanceCountsFromFaceEdgeOrCorner)
{
    TqLPickFrustum3f const pick;
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(-1.0, -1.0, -9.0), TqLPos3f(1.0, 1.0, -5.0))),
              5.0);
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(3.0, -1.0, -9.0), TqLPos3f(9.0, 1.0, -4.0))), 5.0);
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(2.0, 3.0, 6.0), TqLPos3f(9.0, 9.0, 9.0))), 7.0);
    EXPECT_EQ(pick.MinDistance(TqLBox3f()), infinity);
    EXPECT_EQ(pick.MinDistance(TqLBox3f(TqLPos3f(notANumber, 3.0, 4.0), TqLPos3f(1.0, 5.0, 6.0))),
              5.0);
}

TEST(TqLPickFrustum3f, MinDistanceOfRandomBoxesIsTheExactDistance)
{
    SceneRandom random(54);
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 10.0;
        Case const c = RandomCase(&random, within); // perspective and parallel
        TqLPickFrustum3f const pick = c.Make();
        ASSERT_EQ(pick.GetOrigin(), c.viewpoint);
        TqLBox3f const box = RandomBoxNear(&random, c);
        LongVec const origin(c.viewpoint);
        long double square = 0.0L;
        for (int axis = 0; axis < 3; ++axis) {
            long double const nearest =
                std::min(std::max(origin.Get(axis), static_cast<long double>(box.GetMin()[axis])),
                         static_cast<long double>(box.GetMax()[axis]));
            square += (nearest - origin.Get(axis)) * (nearest - origin.Get(axis));
        }
        double const expected = static_cast<double>(std::sqrt(square));
        ASSERT_NEAR(pick.MinDistance(box), expected, 1e-15 * expected);
    }
}

TEST(TqLPickFrustum3f, MinDistanceNeverFallsFromABoxToOneWithinIt)
{
    // To the last bit, or what lies behind a hit could be left out with something before it.
    SceneRandom random(58);
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Case const c = RandomCase(&random, random.Chance(0.3) ? 1e7 : 10.0);
        TqLPickFrustum3f const pick = c.Make();
        TqLBox3f const inner = RandomBoxNear(&random, c);
        TqLBox3f outer = inner;
        outer.ExtendBy(RandomBoxNear(&random, c));
        ASSERT_LE(pick.MinDistance(outer), pick.MinDistance(inner));
    }
}

// ---- Into local space ---------------------------------------------------------------------------

TEST(TqLPickFrustum3f, TransformedByInverseDecidesLocalBoxesAsBruteForceDoes)
{
    // Scaled, mirrored and far-away instances: a local box's corners, carried into the world, are
    // held against the camera's sides.
    SceneRandom random(55);
    int culled = 0;
    int kept = 0;
    for (int run = 0; run < 10000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 10.0;
        Case const c = RandomCase(&random, within);
        TqLAffine3f const turn = RandomAffine(&random, 0.0);
        TqLPos3f const place = ToPos(c.Point(random.Range(-0.5, 1.5), random.Range(-0.5, 1.5),
                                             random.Range(0.0, c.farDistance * 1.1)));
        TqLAffine3f const toWorld = turn * TqLAffine3f::Translation(place.Vec());
        TqLPickFrustum3f const local = c.Make().TransformedByInverse(toWorld);
        TqLBox3f const box = RandomBox(&random, 2.0, 2.0);
        long double greatest[6];
        long double least[6];
        std::fill(greatest, greatest + 6, -static_cast<long double>(infinity));
        std::fill(least, least + 6, static_cast<long double>(infinity));
        for (LongVec const& corner : LongCorners(box)) {
            long double inside[6];
            c.Inside(LongTransform(corner, toWorld), inside);
            for (int side = 0; side < 6; ++side) {
                greatest[side] = std::max(greatest[side], inside[side]);
                least[side] = std::min(least[side], inside[side]);
            }
        }
        // The affine's unequal scales, e^-2 to e^2, widen the bound.
        long double const rounding = 2e-12L * (3.0L * within + c.farDistance);
        long double const smallest = *std::min_element(greatest, greatest + 6);
        int planes = TqLPickFrustum3f::eALL_PLANES;
        int const isCulled = local.CanCull(box, &planes);
        if (smallest < -rounding) {
            ++culled;
            ASSERT_NE(isCulled, 0);
        } else if (smallest >= 0.0L) {
            ++kept;
            ASSERT_EQ(isCulled, 0);
            for (int side = 0; side < 6; ++side) {
                if (least[side] < 0.0L) {
                    ASSERT_NE(planes & (1 << side), 0) << side;
                } else if (least[side] > rounding) {
                    ASSERT_EQ(planes & (1 << side), 0) << side;
                }
            }
        }
    }
    EXPECT_GT(culled, 2000);
    EXPECT_GT(kept, 2000);
}

TEST(TqLPickFrustum3f, TransformedByInverseKeepsWhatMeetsItUnderVeryUnequalScales)
{
    // Instances stretched or squeezed, by up to 1e8 against the other axes, along one axis, turned
    // before and after: what is left of the rows of a plane's normal has lost half of its digits.
    // Points on the sides, near and far.
    SceneRandom random(60);
    int tested = 0;
    for (int run = 0; run < 40000; ++run) {
        SCOPED_TRACE(run);
        Case const c = RandomCase(&random, 10.0);
        double const top = random.Chance(0.5) ? 9.2 : 18.4;
        double scales[3] = {1.0, 1.0, 1.0};
        scales[random.Below(3)] = std::exp(random.Range(-top, top));
        TqLAffine3f const before = RandomRotation(&random);
        TqLAffine3f const after = RandomRotation(&random);
        TqLVec3f const place = random.Chance(0.5)
                                   ? c.viewpoint.Vec()
                                   : RandomDirection(&random) * random.Range(0.0, 1e3);
        TqLAffine3f const toWorld = before * TqLAffine3f::Scale(scales[0], scales[1], scales[2]) *
                                    after * TqLAffine3f::Translation(place);
        TqLPos3f const inside = ToPos(c.Point(0.5L, 0.5L, 0.5L * (c.nearDistance + c.farDistance)));
        TqLAffine3f const fromWorld = toWorld.Inverse();
        TqLPos3f const localInside = inside * fromWorld;
        TqLPos3f const localOutside =
            (inside + RandomDirection(&random) * (3.0 * c.farDistance)) * fromWorld;
        if (LeastInside(c, localInside, toWorld) < 0.0L) {
            continue;
        }
        TqLPos3f const last = FindLastInside(c, localInside, localOutside, toWorld);
        TqLPickFrustum3f const local = c.Make().TransformedByInverse(toWorld);
        int planes = TqLPickFrustum3f::eALL_PLANES;
        ASSERT_EQ(local.CanCull(PointBox(last), &planes), 0);
        ++tested;
    }
    EXPECT_GT(tested, 10000);
}

TEST(TqLPickFrustum3f, TransformedByInverseMeasuresInLocalUnits)
{
    TqLPickFrustum3f const world{TqLFrustum3f(2.0, 2.0, 1.0, 100.0)};
    TqLAffine3f const toWorld =
        TqLAffine3f::Scale(2.0) * TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -20.0));
    TqLPickFrustum3f const local = world.TransformedByInverse(toWorld);
    EXPECT_EQ(local.GetOrigin(), TqLPos3f(0.0, 0.0, 10.0));
    EXPECT_EQ(local.MinDistance(PointBox(TqLPos3f())), 10.0);
    EXPECT_EQ(local.GetPlane(4).GetDistance(), -9.5);
}

TEST(TqLPickFrustum3f, TransformedByInverseTakesTheOriginAlong)
{
    // Scaled and mirrored instances, near and far away: the local origin, carried back into the
    // world, is the viewpoint, and distances from it are exact there.
    SceneRandom random(59);
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        double const within = random.Chance(0.3) ? 1e7 : 10.0;
        Case const c = RandomCase(&random, within);
        TqLAffine3f const toWorld = RandomAffine(&random, within);
        TqLPickFrustum3f const local = c.Make().TransformedByInverse(toWorld);
        LongVec const back = LongTransform(LongVec(local.GetOrigin()), toWorld);
        ASSERT_LE(LongLength(back - LongVec(c.viewpoint)), 1e-13L * within);
        TqLBox3f const box = RandomBox(&random, 10.0, 5.0);
        long double square = 0.0L;
        for (int axis = 0; axis < 3; ++axis) {
            long double const at = local.GetOrigin()[axis];
            long double const nearest =
                std::min(std::max(at, static_cast<long double>(box.GetMin()[axis])),
                         static_cast<long double>(box.GetMax()[axis]));
            square += (nearest - at) * (nearest - at);
        }
        double const expected = static_cast<double>(std::sqrt(square));
        ASSERT_NEAR(local.MinDistance(box), expected, 1e-15 * expected);
    }
}

TEST(TqLPickFrustum3f, TransformedByASingularAffinePostsAndPicksNothing)
{
    PostedErrors posted;
    TqLPickFrustum3f const local = TqLPickFrustum3f().TransformedByInverse(TqLAffine3f::Scale(0.0));
    EXPECT_EQ(posted.Size(), 1);
    int planes = 0;
    EXPECT_NE(local.CanCull(PointBox(TqLPos3f(0.0, 0.0, -2.0)), &planes), 0);
    TqLPickFrustum3f empty;
    empty.MakeEmpty();
    EXPECT_NE(empty.TransformedByInverse(TqLAffine3f()).CanCull(PointBox(TqLPos3f()), &planes), 0);
    EXPECT_EQ(posted.Size(), 1);
}

TEST(TqLPickFrustum3f, OfAMirroredCameraDecidesAsTheMirroredScene)
{
    // Picking with a camera whose matrix mirrors x is picking the scene mirrored in x.
    SceneRandom random(56);
    int culled = 0;
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        Case const c = RandomCase(&random, 10.0);
        TqLFrustum3f const plain = c.MakeWhole().NarrowedBy(c.x0, c.x1, c.y0, c.y1);
        TqLAffine3f const mirror = TqLAffine3f::Scale(-1.0, 1.0, 1.0);
        TqLFrustum3f const mirrored = TqLFrustum3f::FromMatrix(
            plain.GetFrustumType(), plain.GetWidth(), plain.GetHeight(),
            TqLMatrix4f(mirror) * plain.GetMatrix(),
            plain.GetNearPlane().TransformedByInverse(mirror), plain.GetViewpoint() * mirror);
        TqLBox3f const box = RandomBoxNear(&random, c);
        int planesA = 63;
        int planesB = 63;
        int const isCulled = TqLPickFrustum3f(plain).CanCull(box, &planesA);
        ASSERT_EQ(TqLPickFrustum3f(mirrored).CanCull(mirror.TransformedBox(box), &planesB) != 0,
                  isCulled != 0);
        ASSERT_EQ(planesA, planesB);
        culled += isCulled != 0 ? 1 : 0;
    }
    EXPECT_GT(culled, 500);
}
