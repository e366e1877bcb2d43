#include "geometry/TqLPickSweep.h"

#include "GeometryRandom.h"
#include "support/OracleSweep.h"
#include "support/PostedErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TqLBox3f PointBox(double x, double y, double z)
{
    return TqLBox3f(TqLPos3f(x, y, z), TqLPos3f(x, y, z));
}

bool IsCulled(TqLPickSweep const& sweep, TqLBox3f const& box)
{
    int planes = TqLPickSweep::eALL_PLANES;
    return sweep.CanCull(box, &planes) != 0;
}

struct Scene
{
    TqLPickSweep sweep;
    TqLBox3f box;
    double within;
};

Scene RandomScene(SceneRandom* random)
{
    Scene scene;
    scene.within = random->Chance(0.25) ? 1e7 : 10.0;
    TqLVec3f const place = scene.within > 10.0 ? RandomVec(random, scene.within) : TqLVec3f();
    TqLPos3f const center = RandomPos(random, 5.0) + place;
    TqLVec3f sweep = RandomVec(random, 10.0);
    for (int axis = 0; axis < 3; ++axis) { // along axes and planes, and standing still
        if (random->Chance(0.25)) {
            sweep[axis] = 0.0;
        }
    }
    if (random->Chance(0.5)) {
        TqLVec3f const half(random->Range(0.0, 2.0), random->Range(0.0, 2.0),
                            random->Chance(0.1) ? 0.0 : random->Range(0.0, 2.0));
        scene.sweep.SetBox(center, half, sweep);
    } else {
        scene.sweep.SetSphere(center, random->Chance(0.1) ? 0.0 : random->Range(0.0, 2.0), sweep);
    }
    // Somewhere about the way, so that about half the boxes are near enough.
    TqLVec3f const about = center.Vec() + sweep * random->Range(-0.2, 1.2);
    TqLBox3f const box = RandomBox(random, 4.0, 5.0);
    scene.box.SetValue(box.GetMin() + about, box.GetMax() + about);
    return scene;
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TEST(TqLPickSweep, HasNoBodyAfterConstructionAndCullsEverything)
{
    TqLPickSweep const sweep;
    EXPECT_EQ(sweep.GetBody(), TqLPickSweep::eNOTHING);
    EXPECT_EQ(sweep.GetCenter(), TqLPos3f());
    EXPECT_EQ(sweep.GetSweep(), TqLVec3f());
    EXPECT_TRUE(sweep.GetSweptBox().IsEmpty());
    EXPECT_TRUE(sweep.IsPick());
    EXPECT_FALSE(sweep.IsShortened());
    EXPECT_TRUE(IsCulled(sweep, PointBox(0.0, 0.0, 0.0)));
    EXPECT_NE(sweep.CanCullRepeat(PointBox(0.0, 0.0, 0.0)), 0);
    int planes = 0;
    EXPECT_NE(sweep.CanCull(PointBox(0.0, 0.0, 0.0), &planes), 0);
}

TEST(TqLPickSweep, KeepsTheBoxItIsSetTo)
{
    TqLPickSweep const sweep(TqLPos3f(1.0, 2.0, 3.0), TqLVec3f(0.5, 1.0, 1.5),
                             TqLVec3f(10.0, 0.0, -20.0));
    EXPECT_EQ(sweep.GetBody(), TqLPickSweep::eBOX);
    EXPECT_EQ(sweep.GetCenter(), TqLPos3f(1.0, 2.0, 3.0));
    EXPECT_EQ(sweep.GetHalfSize(), TqLVec3f(0.5, 1.0, 1.5));
    EXPECT_EQ(sweep.GetRadius(), 0.0);
    EXPECT_EQ(sweep.GetSweep(), TqLVec3f(10.0, 0.0, -20.0));
    EXPECT_FALSE(sweep.IsPick());
    EXPECT_EQ(sweep.GetSweptBox(), TqLBox3f(TqLPos3f(0.5, 1.0, -18.5), TqLPos3f(11.5, 3.0, 4.5)));
}

TEST(TqLPickSweep, KeepsTheSphereItIsSetTo)
{
    TqLPickSweep const sweep(TqLPos3f(1.0, 2.0, 3.0), 0.5, TqLVec3f(10.0, 0.0, 0.0));
    EXPECT_EQ(sweep.GetBody(), TqLPickSweep::eSPHERE);
    EXPECT_EQ(sweep.GetRadius(), 0.5);
    EXPECT_EQ(sweep.GetHalfSize(), TqLVec3f(0.5, 0.5, 0.5));
    EXPECT_EQ(sweep.GetSweptBox(), TqLBox3f(TqLPos3f(0.5, 1.5, 2.5), TqLPos3f(11.5, 2.5, 3.5)));
}

TEST(TqLPickSweep, IsAPickWhenTheSweepVectorIsZero)
{
    TqLPickSweep sweep(TqLPos3f(), 1.0, TqLVec3f());
    EXPECT_TRUE(sweep.IsPick());
    EXPECT_FALSE(IsCulled(sweep, PointBox(0.0, 1.0, 0.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(0.0, 1.1, 0.0)));
    sweep.SetBox(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(0.0, -0.0, 0.0));
    EXPECT_TRUE(sweep.IsPick());
    EXPECT_FALSE(IsCulled(sweep, PointBox(1.0, -1.0, 1.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(1.0, -1.0, 1.1)));
    sweep.SetBox(TqLPos3f(), TqLVec3f(), TqLVec3f(0.0, 0.0, DBL_TRUE_MIN));
    EXPECT_FALSE(sweep.IsPick());
}

TEST(TqLPickSweep, ImpossibleArgumentsPostAndLeaveNoBody)
{
    TqLPos3f const center(1.0, 2.0, 3.0);
    TqLVec3f const half(1.0, 1.0, 1.0);
    TqLVec3f const vec(5.0, 0.0, 0.0);
    auto const expectRefused = [](auto const& make) {
        TqLPickSweep sweep(TqLPos3f(), 1.0, TqLVec3f(1.0, 0.0, 0.0));
        PostedErrors posted;
        make(&sweep);
        ASSERT_EQ(posted.Size(), 1);
        EXPECT_EQ(posted.Get()[0].severity, 1);
        EXPECT_EQ(posted.Get()[0].component, "TqLPickSweep");
        EXPECT_EQ(sweep.GetBody(), TqLPickSweep::eNOTHING);
        EXPECT_EQ(sweep.GetCenter(), TqLPos3f());
        EXPECT_TRUE(sweep.IsPick());
        EXPECT_TRUE(IsCulled(sweep, PointBox(0.0, 0.0, 0.0)));
    };
    for (double const bad : {notANumber, infinity, -infinity}) {
        for (int axis = 0; axis < 3; ++axis) {
            SCOPED_TRACE(testing::Message() << bad << " on axis " << axis);
            expectRefused([&](TqLPickSweep* sweep) {
                TqLPos3f wrong(center);
                wrong[axis] = bad;
                sweep->SetBox(wrong, half, vec);
            });
            expectRefused([&](TqLPickSweep* sweep) {
                TqLVec3f wrong(half);
                wrong[axis] = bad;
                sweep->SetBox(center, wrong, vec);
            });
            expectRefused([&](TqLPickSweep* sweep) {
                TqLVec3f wrong(vec);
                wrong[axis] = bad;
                sweep->SetSphere(center, 1.0, wrong);
            });
        }
        expectRefused([&](TqLPickSweep* sweep) { sweep->SetSphere(center, bad, vec); });
    }
    expectRefused([&](TqLPickSweep* sweep) { sweep->SetSphere(center, -1.0, vec); });
    expectRefused([&](TqLPickSweep* sweep) { *sweep = TqLPickSweep(center, -1.0, vec); });
    for (int axis = 0; axis < 3; ++axis) {
        expectRefused([&](TqLPickSweep* sweep) {
            TqLVec3f wrong(half);
            wrong[axis] = -DBL_TRUE_MIN;
            sweep->SetBox(center, wrong, vec);
        });
        // Start or end, with the body around it, lie beyond the range of a double.
        for (double const side : {1.0, -1.0}) {
            TqLVec3f huge;
            huge[axis] = side * DBL_MAX;
            expectRefused([&](TqLPickSweep* sweep) { sweep->SetSphere(TqLPos3f(), 1e300, huge); });
            expectRefused(
                [&](TqLPickSweep* sweep) { sweep->SetSphere(TqLPos3f(huge), 1e300, huge * -1.0); });
        }
    }
    expectRefused([&](TqLPickSweep* sweep) { // the end lies beyond the range of a double
        sweep->SetSphere(TqLPos3f(DBL_MAX, 0.0, 0.0), 1.0, TqLVec3f(DBL_MAX, 0.0, 0.0));
    });
    expectRefused([&](TqLPickSweep* sweep) { sweep->SetSphere(TqLPos3f(), DBL_MAX, TqLVec3f()); });
    // Six coordinates of this size add up to more than half of the range, six of half of it do not.
    double const large = DBL_MAX / 10.0;
    expectRefused([&](TqLPickSweep* sweep) { sweep->SetSphere(TqLPos3f(), large, TqLVec3f()); });
    EXPECT_EQ(TqLPickSweep(TqLPos3f(), 0.5 * large, TqLVec3f()).GetBody(), TqLPickSweep::eSPHERE);
}

// ---- Exact tests --------------------------------------------------------------------------------

TEST(TqLPickSweep, ABoxTouchesWhatItMeetsOnItsWay)
{
    // A unit cube from the origin along the diagonal of x and y.
    TqLPickSweep const sweep(TqLPos3f(), TqLVec3f(0.5, 0.5, 0.5), TqLVec3f(10.0, 10.0, 0.0));
    EXPECT_FALSE(IsCulled(sweep, PointBox(5.0, 5.0, 0.0)));
    EXPECT_FALSE(IsCulled(sweep, PointBox(5.0, 6.0, 0.0))); // its corner grazes the point
    EXPECT_TRUE(IsCulled(sweep, PointBox(5.0, 6.1, 0.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(8.0, 2.0, 0.0))); // in the box around the sweep
    EXPECT_FALSE(IsCulled(sweep, PointBox(10.5, 10.5, 0.5)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(10.6, 10.5, 0.5)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(-0.6, 0.0, 0.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(5.0, 5.0, 0.6)));
}

TEST(TqLPickSweep, ASphereTouchesWhatItMeetsOnItsWay)
{
    TqLPickSweep const sweep(TqLPos3f(), 1.0, TqLVec3f(10.0, 0.0, 0.0));
    EXPECT_FALSE(IsCulled(sweep, PointBox(5.0, 1.0, 0.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(5.0, 0.8, 0.8))); // a box of this size would touch
    EXPECT_FALSE(IsCulled(sweep, PointBox(11.0, 0.0, 0.0)));
    EXPECT_TRUE(IsCulled(sweep, PointBox(10.8, 0.8, 0.0))); // beside the round end
    EXPECT_FALSE(IsCulled(sweep, TqLBox3f(TqLPos3f(5.0, 0.6, 0.8), TqLPos3f(6.0, 4.0, 4.0))));
    EXPECT_TRUE(IsCulled(sweep, TqLBox3f(TqLPos3f(5.0, 0.61, 0.81), TqLPos3f(6.0, 4.0, 4.0))));
}

TEST(TqLPickSweep, RandomSweepsCullJustWhatTheyLeaveAGapTo)
{
    SceneRandom random(61);
    int culled = 0;
    int kept = 0;
    int undecided = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        // What is touched is kept without any allowance. A gap as small as this may count as a
        // touch; the search for the least distance is good to a root of rounding.
        long double const margin = 1e-13L * (scene.within + 10.0L) + 1e-9L;
        bool const isCulled = IsCulled(scene.sweep, scene.box);
        if (Touches(scene.sweep, scene.box, 0.0L)) {
            ++kept;
            ASSERT_FALSE(isCulled);
        } else if (!Touches(scene.sweep, scene.box, margin)) {
            ++culled;
            ASSERT_TRUE(isCulled);
        } else {
            ++undecided; // such as a point through a flat box, where the search stops just short
        }
        ASSERT_EQ(scene.sweep.CanCullRepeat(scene.box) != 0, isCulled);
    }
    EXPECT_GT(culled, 5000);
    EXPECT_GT(kept, 3000);
    EXPECT_LT(undecided, 50);
}

TEST(TqLPickSweep, NeverCullsABoxThatTheBodyTouchesAtSomeMoment)
{
    SceneRandom random(62);
    int touched = 0;
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        bool isTouched = false;
        for (int sample = 0; sample <= 100 && !isTouched; ++sample) {
            isTouched = TouchesAt(scene.sweep, scene.box, 0.01L * sample);
        }
        if (isTouched) {
            ++touched;
            ASSERT_FALSE(IsCulled(scene.sweep, scene.box));
        }
    }
    EXPECT_GT(touched, 1000);
}

TEST(TqLPickSweep, KeepsBoxesThatItOnlyGrazes)
{
    // Boxes whose corner lies on the boundary of the swept volume, up to one rounding.
    SceneRandom random(63);
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        TqLVec3f const side = RandomDirection(&random);
        double const t = random.Unit();
        TqLPos3f contact = scene.sweep.GetCenter() + scene.sweep.GetSweep() * t;
        if (scene.sweep.GetBody() == TqLPickSweep::eSPHERE) {
            contact += TqLUnitVec3f(side).Vec() * scene.sweep.GetRadius();
        } else {
            for (int axis = 0; axis < 3; ++axis) {
                double const half = scene.sweep.GetHalfSize()[axis];
                contact[axis] += side[axis] > 0.0 ? half : -half;
            }
        }
        // The box lies on the far side of the contact.
        TqLBox3f box;
        box.ExtendBy(contact);
        box.ExtendBy(contact + TqLVec3f(side[0] > 0.0 ? 1.0 : -1.0, side[1] > 0.0 ? 2.0 : -2.0,
                                        side[2] > 0.0 ? 3.0 : -3.0));
        ASSERT_FALSE(IsCulled(scene.sweep, box));
    }
}

TEST(TqLPickSweep, KeepsBoxesNearTheOriginThatItGrazesComingFromFarAway)
{
    // Where the body is on its way is known to about the rounding of 1e7 only; the box is small.
    SceneRandom random(68);
    int grazed = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        TqLPos3f const center = RandomPos(&random, 1e7);
        TqLVec3f const sweep = (center.Vec() * -1.0) + RandomVec(&random, 1.0);
        TqLVec3f const half(random.Unit(), random.Unit(), random.Unit());
        TqLPickSweep const body(center, half, sweep);
        // A place of one of the body's corners, up to one rounding, and a box outside of it.
        TqLPos3f corner;
        TqLPos3f behind;
        long double const t = random.Chance(0.3) ? 1.0L : 1.0L - 1e-7L * random.Unit();
        for (int axis = 0; axis < 3; ++axis) {
            double const side = random.Chance(0.5) ? 1.0 : -1.0;
            long double const place = center[axis] + t * sweep[axis] + side * half[axis];
            corner[axis] = std::nextafter(static_cast<double>(place), -side * infinity);
            behind[axis] = corner[axis] + side;
        }
        TqLBox3f box;
        box.ExtendBy(corner);
        box.ExtendBy(behind);
        if (Touches(body, box, 0.0L)) {
            ++grazed;
            ASSERT_FALSE(IsCulled(body, box));
        }
    }
    EXPECT_GT(grazed, 15000);
}

// A sweep and a box with whole coordinates: what does not touch is at least some thousandths away,
// whatever the distance from the origin.
Scene RandomLatticeScene(SceneRandom* random)
{
    auto const whole = [&](int low, int high) {
        return low + static_cast<double>(random->Below(static_cast<std::uint32_t>(high - low + 1)));
    };
    Scene scene;
    scene.within = random->Chance(0.5) ? 1e7 : 0.0;
    TqLPos3f const center(scene.within + whole(-4, 4), whole(-4, 4) - scene.within, whole(-4, 4));
    TqLVec3f const sweep =
        random->Chance(0.3) ? TqLVec3f() : TqLVec3f(whole(-6, 6), whole(-6, 6), whole(-6, 6));
    if (random->Chance(0.5)) { // points, lines and flat bodies among them
        scene.sweep.SetBox(center, TqLVec3f(whole(0, 2), whole(0, 2), whole(0, 2)), sweep);
    } else {
        scene.sweep.SetSphere(center, whole(0, 3), sweep);
    }
    TqLPos3f const min = center + TqLVec3f(whole(-6, 6), whole(-6, 6), whole(-6, 6));
    scene.box.SetValue(min, min + TqLVec3f(whole(0, 4), whole(0, 4), whole(0, 4)));
    return scene;
}

TEST(TqLPickSweep, IsExactOnALatticeNearAndFarForEveryKindOfBody)
{
    SceneRandom random(67);
    int culled[2][2] = {}; // by body, by plain pick or not
    int kept[2][2] = {};
    for (int run = 0; run < 40000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomLatticeScene(&random);
        int const body = scene.sweep.GetBody() == TqLPickSweep::eBOX ? 0 : 1;
        int const isPick = scene.sweep.IsPick() ? 1 : 0;
        bool const touches = Touches(scene.sweep, scene.box, 1e-5L);
        ASSERT_EQ(IsCulled(scene.sweep, scene.box), !touches);
        ++(touches ? kept : culled)[body][isPick];
    }
    for (int body = 0; body < 2; ++body) {
        for (int isPick = 0; isPick < 2; ++isPick) {
            EXPECT_GT(culled[body][isPick], 1000);
            EXPECT_GT(kept[body][isPick], 200);
        }
    }
}

// A size of a random order of magnitude between two powers of two.
double RandomOrder(SceneRandom* random, int low, int high)
{
    double const size = random->Range(1.0, 2.0);
    return std::ldexp(
        size, low + static_cast<int>(random->Below(static_cast<std::uint32_t>(high - low))));
}

double RandomSign(SceneRandom* random)
{
    return random->Chance(0.5) ? 1.0 : -1.0;
}

// A body whose speed differs by many orders of magnitude between the axes, at the origin or far
// from it. Some of the sweeps are shortened.
TqLPickSweep RandomUnevenSweep(SceneRandom* random)
{
    double const within = random->Chance(0.4) ? 0.0 : RandomOrder(random, 0, 23);
    TqLPos3f const center = RandomPos(random, within);
    TqLVec3f vec;
    TqLVec3f half;
    for (int axis = 0; axis < 3; ++axis) {
        double const sign = RandomSign(random);
        vec[axis] = random->Chance(0.2) ? 0.0 : sign * RandomOrder(random, -30, 17);
        half[axis] = random->Chance(0.1) ? 0.0 : RandomOrder(random, -13, 10);
    }
    TqLPickSweep sweep;
    if (random->Chance(0.5)) {
        sweep.SetBox(center, half, vec);
    } else {
        sweep.SetSphere(center, half[0], vec);
    }
    if (random->Chance(0.3)) {
        sweep.ShortenTo(random->Unit());
    }
    return sweep;
}

// A plane that a swept body touches and does not pass.
struct Contact
{
    LongVec normal; // of length 1, away from the body
    LongVec point;  // of the body, on the plane
};

// The touch is made all along the way, or at one of its ends.
Contact RandomContact(SceneRandom* random, TqLPickSweep const& sweep)
{
    LongVec const vec(sweep.GetSweep());
    LongVec const way = sweep.IsPick() ? LongVec() : LongUnit(vec);
    LongVec normal(RandomDirection(random));
    if (random->Chance(0.7)) { // across the way, and half of these across an axis too
        TqLVec3f axis;
        axis[static_cast<int>(random->Below(3))] = 1.0;
        LongVec const across = LongCross(way, random->Chance(0.5) ? normal : LongVec(axis));
        normal = LongLength(across) > 0.0L ? across : normal;
    }
    Contact contact;
    contact.normal = LongUnit(normal);
    long double const ahead = LongDot(contact.normal, way);
    long double t = random->Unit();
    if (std::fabs(ahead) > 1e-18L) {
        t = ahead > 0.0L ? 1.0L : 0.0L;
    }
    contact.point = LongVec(sweep.GetCenter()) + vec * t;
    if (sweep.GetBody() == TqLPickSweep::eSPHERE) {
        contact.point = contact.point + contact.normal * sweep.GetRadius();
        return contact;
    }
    auto const support = [&](int axis) {
        long double const side = contact.normal.Get(axis);
        long double const half = sweep.GetHalfSize()[axis];
        return side == 0.0L ? half * random->Range(-1.0, 1.0) : (side > 0.0L ? half : -half);
    };
    long double const x = support(0);
    long double const y = support(1);
    long double const z = support(2);
    contact.point = contact.point + LongVec(x, y, z);
    return contact;
}

// A box beyond a plane, from a point on it, rounded so that the point is inside.
TqLBox3f BoxBeyond(LongVec const& point, LongVec const& normal, TqLVec3f const& size)
{
    TqLPos3f min;
    TqLPos3f max;
    for (int axis = 0; axis < 3; ++axis) {
        double const place = static_cast<double>(point.Get(axis));
        min[axis] = std::nextafter(place, -infinity);
        max[axis] = std::nextafter(place, infinity);
        if (normal.Get(axis) >= 0.0L) {
            max[axis] += size[axis];
        }
        if (normal.Get(axis) <= 0.0L) {
            min[axis] -= size[axis];
        }
    }
    return TqLBox3f(min, max);
}

// The gap from which on a box must be culled.
long double LeastGap(TqLPickSweep const& sweep, TqLBox3f const& box)
{
    long double largest = 0.0L;
    for (TqLBox3f const& each : {sweep.GetSweptBox(), box}) {
        for (int axis = 0; axis < 3; ++axis) {
            largest = std::max({largest, std::fabs(static_cast<long double>(each.GetMin()[axis])),
                                std::fabs(static_cast<long double>(each.GetMax()[axis]))});
        }
    }
    return 1e-13L * largest;
}

TEST(TqLPickSweep, IsExactForSweepsThatAreFastOnOneAxisAndSlowOnAnother)
{
    SceneRandom random(69);
    int bodies[2] = {};
    int shortened = 0;
    for (int run = 0; run < 200000; ++run) {
        SCOPED_TRACE(run);
        TqLPickSweep const sweep = RandomUnevenSweep(&random);
        Contact const contact = RandomContact(&random, sweep);
        TqLVec3f size;
        for (int axis = 0; axis < 3; ++axis) {
            size[axis] = random.Chance(0.3) ? 0.0 : RandomOrder(&random, -10, 13);
        }
        TqLBox3f const touching = BoxBeyond(contact.point, contact.normal, size);
        ASSERT_FALSE(IsCulled(sweep, touching));
        LongVec const away = contact.normal * LeastGap(sweep, touching);
        ASSERT_TRUE(IsCulled(sweep, BoxBeyond(contact.point + away, contact.normal, size)));
        ++bodies[sweep.GetBody() == TqLPickSweep::eBOX ? 0 : 1];
        shortened += sweep.IsShortened() ? 1 : 0;
    }
    EXPECT_GT(bodies[0], 50000);
    EXPECT_GT(bodies[1], 50000);
    EXPECT_GT(shortened, 30000);
}

// ---- Sizes near the ends of the range of a double -----------------------------------------------

TEST(TqLPickSweep, HugeBodiesTouchWhatLiesInsideThem)
{
    TqLPickSweep const sphere(TqLPos3f(), 1e200, TqLVec3f(1.0, 0.0, 0.0));
    TqLBox3f const inside(TqLPos3f(1e160, -1.0, -1.0), TqLPos3f(2e160, 1.0, 1.0));
    EXPECT_FALSE(IsCulled(sphere, inside));
    EXPECT_TRUE(IsCulled(sphere, PointBox(0.8e200, 0.8e200, 0.0)));
    TqLPickSweep const box(TqLPos3f(), TqLVec3f(1e200, 1e200, 1e200), TqLVec3f(1e200, 1e200, 0.0));
    EXPECT_FALSE(IsCulled(box, inside));
    EXPECT_TRUE(IsCulled(box, PointBox(-0.5e200, 1.8e200, 0.0)));
    TqLPickSweep const longWay(TqLPos3f(1e155, 0.0, 0.0), 1.0, TqLVec3f(-2e155, 0.0, 0.0));
    EXPECT_FALSE(IsCulled(longWay, PointBox(0.0, 0.5, 0.5)));
    // Of the largest size there is, against the largest boxes.
    double const large = DBL_MAX / 20.0;
    TqLPickSweep const largest(TqLPos3f(), large, TqLVec3f());
    EXPECT_FALSE(IsCulled(
        largest, TqLBox3f(TqLPos3f(0.9 * large, 0.0, 0.0), TqLPos3f(0.9 * DBL_MAX, large, large))));
    EXPECT_TRUE(IsCulled(largest, PointBox(0.8 * large, 0.8 * large, 0.0)));
    EXPECT_TRUE(IsCulled(largest, TqLBox3f(TqLPos3f(0.8 * large, 0.8 * large, 0.0),
                                           TqLPos3f(0.8 * DBL_MAX, large, large))));
}

namespace
{

/// A scene, 2 to the given power times as large.
Scene Scale(Scene const& scene, int power)
{
    auto const scaled = [power](TqLVec3f const& vec) {
        return TqLVec3f(std::ldexp(vec[0], power), std::ldexp(vec[1], power),
                        std::ldexp(vec[2], power));
    };
    TqLPos3f const center(scaled(scene.sweep.GetCenter().Vec()));
    TqLVec3f const half = scaled(scene.sweep.GetHalfSize());
    TqLVec3f const vec = scaled(scene.sweep.GetSweep());
    Scene result;
    result.sweep = scene.sweep.GetBody() == TqLPickSweep::eBOX ? TqLPickSweep(center, half, vec)
                                                               : TqLPickSweep(center, half[0], vec);
    result.box.SetValue(TqLPos3f(scaled(scene.box.GetMin().Vec())),
                        TqLPos3f(scaled(scene.box.GetMax().Vec())));
    result.within = std::ldexp(scene.within, power);
    return result;
}

bool IsCulled(Scene const& scene)
{
    return IsCulled(scene.sweep, scene.box);
}

} // namespace

TEST(TqLPickSweep, CullsAtEverySizeAsAtSizeOne)
{
    SceneRandom random(70);
    int culled = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomLatticeScene(&random);
        bool const isCulled = IsCulled(scene);
        culled += isCulled ? 1 : 0;
        for (int const power : {-950, -600, -500, 500, 600, 950}) {
            ASSERT_EQ(IsCulled(Scale(scene, power)), isCulled) << power;
        }
    }
    EXPECT_GT(culled, 5000);
    EXPECT_LT(culled, 19000);
}

TEST(TqLPickSweep, KeepsWhatItTouchesAmongTheSmallestNumbers)
{
    SceneRandom random(71);
    int kept = 0;
    for (int run = 0; run < 60000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomLatticeScene(&random);
        if (scene.within > 0.0 || IsCulled(scene)) {
            continue;
        }
        ++kept;
        for (int const power : {-1060, -1070, -1074}) {
            ASSERT_FALSE(IsCulled(Scale(scene, power))) << power;
        }
    }
    EXPECT_GT(kept, 2000);
    // A way so short that the times along it would leave the range.
    TqLPickSweep const shortest(TqLPos3f(), 1.0, TqLVec3f(1e-320, 0.0, 0.0));
    EXPECT_FALSE(IsCulled(shortest, TqLBox3f(TqLPos3f(0.5, 0.0, 0.0), TqLPos3f(2.0, 1.0, 1.0))));
}

// ---- The plane mask -----------------------------------------------------------------------------

TEST(TqLPickSweep, ClearsTheFacesTheBoxIsInsideOfAndNoOther)
{
    TqLPickSweep const sweep(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(8.0, 0.0, 0.0));
    int planes = 63 | 64;
    EXPECT_EQ(sweep.CanCull(TqLBox3f(TqLPos3f(0.0, 0.0, 0.0), TqLPos3f(2.0, 1.0, 0.5)), &planes),
              0);
    EXPECT_EQ(planes, 64);
    planes = 63;
    EXPECT_EQ(sweep.CanCull(sweep.GetSweptBox(), &planes), 0); // faces that coincide
    EXPECT_EQ(planes, 0);
    for (int face = 0; face < 6; ++face) {
        TqLPos3f min(0.0, 0.0, 0.0);
        TqLPos3f max(0.5, 0.5, 0.5);
        (face % 2 == 0 ? min : max)[face / 2] = face % 2 == 0 ? -50.0 : 50.0;
        planes = 63;
        EXPECT_EQ(sweep.CanCull(TqLBox3f(min, max), &planes), 0) << face;
        EXPECT_EQ(planes, 1 << face);
    }
}

TEST(TqLPickSweep, NarrowedMasksGiveTheSameCullsAsAllFaces)
{
    SceneRandom random(64);
    int culled = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        TqLVec3f const move = RandomVec(&random, 3.0);
        TqLBox3f parent = scene.box;
        parent.ExtendBy(TqLBox3f(scene.box.GetMin() + move, scene.box.GetMax() + move));
        int planes = TqLPickSweep::eALL_PLANES;
        bool const isParentCulled = scene.sweep.CanCull(parent, &planes) != 0;
        int narrowed = planes;
        bool const isCulled = IsCulled(scene.sweep, scene.box);
        if (isParentCulled) {
            ASSERT_TRUE(isCulled);
        } else {
            ASSERT_EQ(scene.sweep.CanCull(scene.box, &narrowed) != 0, isCulled);
            ASSERT_EQ(narrowed & ~planes, 0);
        }
        culled += isCulled ? 1 : 0;
    }
    EXPECT_GT(culled, 5000);
}

// ---- Odd boxes ----------------------------------------------------------------------------------

TEST(TqLPickSweep, CullsEmptyBoxesAndNeverThoseWithoutBounds)
{
    for (bool const isBox : {true, false}) {
        TqLPickSweep sweep;
        if (isBox) {
            sweep.SetBox(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(3.0, 4.0, 5.0));
        } else {
            sweep.SetSphere(TqLPos3f(), 1.0, TqLVec3f(3.0, 4.0, 5.0));
        }
        EXPECT_TRUE(IsCulled(sweep, TqLBox3f()));
        EXPECT_TRUE(IsCulled(sweep, TqLBox3f(TqLPos3f(0.0, 0.0, 1.0), TqLPos3f(1.0, 1.0, 0.5))));
        TqLPos3f const nan(notANumber, notANumber, notANumber);
        EXPECT_FALSE(IsCulled(sweep, TqLBox3f(nan, nan)));
        EXPECT_FALSE(IsCulled(sweep, TqLBox3f(TqLPos3f(-infinity, -infinity, -infinity),
                                              TqLPos3f(infinity, infinity, infinity))));
        EXPECT_FALSE(IsCulled(sweep, TqLBox3f(TqLPos3f(-DBL_MAX, -DBL_MAX, -DBL_MAX),
                                              TqLPos3f(DBL_MAX, DBL_MAX, DBL_MAX))));
        TqLBox3f const aside(TqLPos3f(notANumber, 100.0, 0.0), TqLPos3f(1.0, 101.0, 1.0));
        EXPECT_FALSE(IsCulled(sweep, aside));
        EXPECT_TRUE(IsCulled(sweep, PointBox(1e200, 1e200, 1e200)));
    }
}

// ---- Shortening ---------------------------------------------------------------------------------

TEST(TqLPickSweep, ShortenToEndsTheMotionAtAShareOfThePresentVector)
{
    TqLPickSweep sweep(TqLPos3f(), 1.0, TqLVec3f(8.0, 0.0, 0.0));
    TqLBox3f const end = PointBox(8.5, 0.0, 0.0);
    TqLBox3f const middle = PointBox(4.5, 0.0, 0.0);
    EXPECT_EQ(sweep.CanCullRepeat(end), 0);
    sweep.ShortenTo(0.5);
    EXPECT_TRUE(sweep.IsShortened());
    EXPECT_EQ(sweep.GetSweep(), TqLVec3f(4.0, 0.0, 0.0));
    EXPECT_EQ(sweep.GetCenter(), TqLPos3f());
    EXPECT_EQ(sweep.GetSweptBox(), TqLBox3f(TqLPos3f(-1.0, -1.0, -1.0), TqLPos3f(5.0, 1.0, 1.0)));
    EXPECT_NE(sweep.CanCullRepeat(end), 0);
    EXPECT_EQ(sweep.CanCullRepeat(middle), 0);
    sweep.ShortenTo(0.5); // of what is left
    EXPECT_EQ(sweep.GetSweep(), TqLVec3f(2.0, 0.0, 0.0));
    EXPECT_NE(sweep.CanCullRepeat(middle), 0);
    sweep.ShortenTo(1.0);
    EXPECT_EQ(sweep.GetSweep(), TqLVec3f(2.0, 0.0, 0.0));
    EXPECT_FALSE(sweep.IsPick());
    sweep.ShortenTo(0.0);
    EXPECT_TRUE(sweep.IsPick());
    EXPECT_EQ(sweep.CanCullRepeat(PointBox(1.0, 0.0, 0.0)), 0);
    EXPECT_NE(sweep.CanCullRepeat(PointBox(1.1, 0.0, 0.0)), 0);
}

TEST(TqLPickSweep, IsNoLongerShortenedWhenSetAgain)
{
    TqLPickSweep sweep(TqLPos3f(), 1.0, TqLVec3f(8.0, 0.0, 0.0));
    sweep.ShortenTo(1.0);
    EXPECT_TRUE(sweep.IsShortened());
    sweep.SetSphere(TqLPos3f(), 1.0, TqLVec3f(8.0, 0.0, 0.0));
    EXPECT_FALSE(sweep.IsShortened());
    sweep.ShortenTo(0.25);
    sweep.SetBox(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(8.0, 0.0, 0.0));
    EXPECT_FALSE(sweep.IsShortened());
    EXPECT_EQ(sweep.CanCullRepeat(PointBox(8.5, 0.0, 0.0)), 0);
}

TEST(TqLPickSweep, AShortenedSweepIgnoresMasksFromBefore)
{
    TqLBox3f const parent(TqLPos3f(-0.5, -0.5, -0.5), TqLPos3f(8.5, 0.5, 0.5));
    TqLBox3f const beyond = PointBox(8.0, 0.0, 0.0);
    for (bool const isBox : {true, false}) {
        SCOPED_TRACE(isBox ? "box" : "sphere");
        TqLPickSweep sweep;
        if (isBox) {
            sweep.SetBox(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(8.0, 0.0, 0.0));
        } else {
            sweep.SetSphere(TqLPos3f(), 1.0, TqLVec3f(8.0, 0.0, 0.0));
        }
        int planes = TqLPickSweep::eALL_PLANES;
        EXPECT_EQ(sweep.CanCull(parent, &planes), 0);
        ASSERT_EQ(planes, 0); // wholly inside all faces of the long sweep
        EXPECT_EQ(sweep.CanCull(beyond, &planes), 0);
        sweep.ShortenTo(0.5);
        EXPECT_NE(sweep.CanCull(beyond, &planes), 0);
        EXPECT_EQ(planes, 0);
        EXPECT_EQ(sweep.CanCull(PointBox(5.0, 0.0, 0.0), &planes), 0);
        // What is narrowed from then on is right, and bits of no face are still left alone.
        planes = 63 | 64;
        EXPECT_EQ(sweep.CanCull(parent, &planes), 0);
        EXPECT_EQ(planes, 2 | 64);
    }
}

TEST(TqLPickSweep, AMaskCountsAgainOnceTheSweepIsSetAgain)
{
    TqLPickSweep sweep(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(8.0, 0.0, 0.0));
    sweep.ShortenTo(0.5);
    sweep.SetBox(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(4.0, 0.0, 0.0));
    int planes = 0; // says that the box lies inside all faces, which is not so
    EXPECT_EQ(sweep.CanCull(PointBox(8.0, 0.0, 0.0), &planes), 0);
    EXPECT_EQ(sweep.CanCull(PointBox(-8.0, 0.0, 0.0), &planes), 0);
    EXPECT_NE(sweep.CanCullRepeat(PointBox(8.0, 0.0, 0.0)), 0);
    EXPECT_NE(sweep.CanCullRepeat(PointBox(-8.0, 0.0, 0.0)), 0);
}

TEST(TqLPickSweep, WithoutABodyShorteningLeavesNoBody)
{
    TqLPickSweep sweep;
    sweep.ShortenTo(0.5);
    EXPECT_EQ(sweep.GetBody(), TqLPickSweep::eNOTHING);
    EXPECT_TRUE(sweep.GetSweptBox().IsEmpty());
    EXPECT_NE(sweep.CanCullRepeat(PointBox(0.0, 0.0, 0.0)), 0);
}

TEST(TqLPickSweep, RandomShortenedSweepsCullUnderStaleMasksAsUnderFullOnes)
{
    SceneRandom random(66);
    int stale = 0;
    int culled = 0;
    for (int run = 0; run < 20000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        TqLPickSweep sweep = scene.sweep;
        int planes = TqLPickSweep::eALL_PLANES;
        sweep.CanCull(scene.box, &planes);
        stale += planes != TqLPickSweep::eALL_PLANES ? 1 : 0;
        sweep.ShortenTo(random.Unit());
        bool const isCulled = sweep.CanCull(scene.box, &planes) != 0;
        ASSERT_EQ(isCulled, sweep.CanCullRepeat(scene.box) != 0);
        ASSERT_TRUE(!isCulled || !Touches(sweep, scene.box, 0.0L));
        culled += isCulled ? 1 : 0;
    }
    EXPECT_GT(stale, 10000);
    EXPECT_GT(culled, 5000);
    EXPECT_LT(culled, 19000);
}

TEST(TqLPickSweep, RandomShortenedSweepsAreThoseSetShortFromTheStart)
{
    SceneRandom random(65);
    for (int run = 0; run < 5000; ++run) {
        SCOPED_TRACE(run);
        Scene const scene = RandomScene(&random);
        double const fraction = random.Unit();
        TqLPickSweep shortened = scene.sweep;
        shortened.ShortenTo(fraction);
        TqLVec3f const vec = scene.sweep.GetSweep() * fraction;
        TqLPickSweep fresh;
        if (scene.sweep.GetBody() == TqLPickSweep::eBOX) {
            fresh.SetBox(scene.sweep.GetCenter(), scene.sweep.GetHalfSize(), vec);
        } else {
            fresh.SetSphere(scene.sweep.GetCenter(), scene.sweep.GetRadius(), vec);
        }
        ASSERT_EQ(shortened.GetSweptBox(), fresh.GetSweptBox());
        ASSERT_EQ(shortened.CanCullRepeat(scene.box), fresh.CanCullRepeat(scene.box));
    }
}

TEST(TqLPickSweep, ShortenToRefusesWhatIsNoShare)
{
    for (double const bad : {-0.1, 1.1, notANumber, infinity, -infinity}) {
        TqLPickSweep sweep(TqLPos3f(), 1.0, TqLVec3f(8.0, 0.0, 0.0));
        PostedErrors posted;
        sweep.ShortenTo(bad);
        EXPECT_EQ(sweep.GetSweep(), TqLVec3f(8.0, 0.0, 0.0));
        EXPECT_FALSE(sweep.IsShortened());
        ASSERT_EQ(posted.Size(), 1) << bad;
        EXPECT_EQ(posted.Get()[0].severity, 0);
        EXPECT_EQ(posted.Get()[0].component, "TqLPickSweep");
    }
}

// ---- The component ------------------------------------------------------------------------------

TEST(TqLPickSweep, CountsItsUsers)
{
    int const before = TqLPickSweep::IsInitialised();
    TqLPickSweep::Initialise();
    TqLPickSweep::Initialise();
    TqLPickSweep::Terminate();
    EXPECT_NE(TqLPickSweep::IsInitialised(), 0);
    TqLPickSweep::Terminate();
    EXPECT_EQ(TqLPickSweep::IsInitialised(), before);
}
