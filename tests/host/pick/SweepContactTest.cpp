#include "host/pick/SweepContact.h"

#include "host/pick/ClosestPoint.h"
#include "host/pick/PickMeshes.h"
#include "host/pick/PickOracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{

using host::SweepContact;
using host::SweepTriangle;

/// Whether a body that stands at a share of its way touches a triangle when it is grown by `slack`
/// (shrunk where that is negative).
bool TouchesAt(TqLPickSweep const& sweep, double fraction, TqLPos3f const triangle[3], double slack)
{
    TqLPos3f const center = sweep.GetCenter() + sweep.GetSweep() * fraction;
    if (sweep.GetBody() == TqLPickSweep::eSPHERE) {
        return SearchDistance(center, triangle) <= sweep.GetRadius() + slack;
    }
    CutOracle oracle(triangle);
    for (int axis = 0; axis < 3; ++axis) {
        TqLVec3f normal;
        normal[axis] = 1.0;
        TqLVec3f const toFace = normal * sweep.GetHalfSize()[axis];
        oracle.Add(TqLPlane3f(TqLUnitVec3f(normal), center - toFace), slack);
        oracle.Add(TqLPlane3f(TqLUnitVec3f(-normal), center + toFace), slack);
    }
    return oracle.IsHit();
}

bool IsFlat(TqLPos3f const triangle[3])
{
    return (triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]).Length() < 1e-6;
}

/// Follows the motion in steps and compares.
void CompareWithSampling(TqLPickSweep const& sweep, TqLPos3f const triangle[3], double slack,
                         int steps)
{
    SweepContact contact;
    bool const isTouched = SweepTriangle(sweep, triangle, &contact);
    double const end = isTouched ? contact.m_fraction : 1.0;
    ASSERT_GE(end, 0.0);
    ASSERT_LE(end, 1.0);
    for (int step = 0; step < steps && end > 0.0; ++step) {
        double const fraction = end * step / steps;
        ASSERT_FALSE(TouchesAt(sweep, fraction, triangle, -slack)) << fraction << " of " << end;
    }
    if (!isTouched) {
        ASSERT_FALSE(TouchesAt(sweep, 1.0, triangle, -slack));
        return;
    }
    ASSERT_TRUE(TouchesAt(sweep, end, triangle, slack)) << end;
    ASSERT_LT(SearchDistance(contact.m_point, triangle), 10.0 * slack + 1e-7);
    ASSERT_NEAR(contact.m_normal.Length(), 1.0, 1e-12);
    TqLVec3f const offset = contact.m_point - (sweep.GetCenter() + sweep.GetSweep() * end);
    if (sweep.GetBody() == TqLPickSweep::eSPHERE) {
        ASSERT_LE(offset.Length(), sweep.GetRadius() + 100.0 * slack);
    } else {
        for (int axis = 0; axis < 3; ++axis) {
            ASSERT_LE(std::fabs(offset[axis]), sweep.GetHalfSize()[axis] + 100.0 * slack);
        }
    }
    if (end > 0.0 && !IsFlat(triangle)) {
        // Against the motion, and a step that way parts the two.
        ASSERT_LT(contact.m_normal.Dot(sweep.GetSweep()), 0.0);
        TqLPickSweep parted = sweep;
        TqLPos3f const center = sweep.GetCenter() + contact.m_normal * 1e-4;
        if (sweep.GetBody() == TqLPickSweep::eSPHERE) {
            parted.SetSphere(center, sweep.GetRadius(), sweep.GetSweep());
        } else {
            parted.SetBox(center, sweep.GetHalfSize(), sweep.GetSweep());
        }
        ASSERT_FALSE(TouchesAt(parted, end, triangle, -slack));
    }
}

void CompareAtRandom(unsigned seed, TqLPickSweep::Body body, int rounds, double far)
{
    PickRandom random(seed);
    double const slack = 1e-9 + far * 1e-13;
    int numTouched = 0;
    int numInside = 0;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
        TqLVec3f const away(far, -far, 0.5 * far);
        TqLPos3f const start = random.Point(-2.0, 2.0) + away;
        TqLVec3f motion = TqLPos3f(away) + random.Vector(1.0) - start;
        for (int axis = 0; axis < 3; ++axis) {
            motion[axis] *= random.Below(4) == 0 ? 0.0 : 1.5;
        }
        double const size = random.Below(5) == 0 ? 0.0 : random.In(0.0, 0.7);
        TqLPickSweep sweep;
        if (body == TqLPickSweep::eSPHERE) {
            sweep.SetSphere(start, size, motion);
        } else {
            sweep.SetBox(start, TqLVec3f(size, 0.4, 0.5 * size), motion);
        }
        TqLPos3f triangle[3];
        for (TqLPos3f& corner : triangle) {
            corner = random.Point(-1.0, 1.0) + away;
        }
        if (random.Below(6) == 0) {
            triangle[2] = triangle[0] + (triangle[1] - triangle[0]) * 0.5 + random.Vector(1e-3);
        }
        CompareWithSampling(sweep, triangle, slack, body == TqLPickSweep::eSPHERE ? 6 : 60);
        if (testing::Test::HasFatalFailure()) {
            return;
        }
        SweepContact contact;
        if (SweepTriangle(sweep, triangle, &contact)) {
            ++numTouched;
            numInside += contact.m_fraction == 0.0 ? 1 : 0;
        }
    }
    EXPECT_GT(numTouched, rounds / 10);
    EXPECT_LT(numTouched, rounds - rounds / 10);
    EXPECT_GT(numInside, rounds / 200);
}

TqLPickSweep MoveTo(TqLPickSweep const& sweep, TqLPos3f const& center, TqLVec3f const& motion)
{
    return sweep.GetBody() == TqLPickSweep::eSPHERE
               ? TqLPickSweep(center, sweep.GetRadius(), motion)
               : TqLPickSweep(center, sweep.GetHalfSize(), motion);
}

/// A triangle of some area, with corners within `size` of the origin.
void MakeTriangle(PickRandom* random, double size, TqLPos3f triangle[3])
{
    do {
        for (int corner = 0; corner < 3; ++corner) {
            triangle[corner] = random->Point(-size, size);
        }
    } while ((triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]).Length() <
             0.1 * size * size);
}

/// Moves bodies to their contacts and on from there: whether that stands short of touching or just
/// touches is rounding's affair, but nothing may let them through. Small triangles are met by
/// their edges and corners.
void GoOnFromContacts(unsigned seed, TqLPickSweep const& body, double size)
{
    PickRandom random(seed);
    int numStood = 0;
    for (int round = 0; round < 40000; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
        TqLPos3f triangle[3];
        MakeTriangle(&random, size, triangle);
        TqLVec3f const normal =
            TqLUnitVec3f((triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]));
        double const u = random.In(0.0, 0.5);
        double const v = random.In(0.0, 0.5);
        TqLPos3f const aim =
            triangle[0] + (triangle[1] - triangle[0]) * u + (triangle[2] - triangle[0]) * v;
        TqLVec3f const motion = normal * -2.0 + random.Vector(0.3);
        TqLPickSweep const sweep = MoveTo(body, aim + normal + random.Vector(0.1), motion);
        SweepContact contact;
        if (!SweepTriangle(sweep, triangle, &contact) || contact.m_fraction == 0.0) {
            continue;
        }
        ++numStood;
        TqLPos3f const stop = sweep.GetCenter() + motion * contact.m_fraction;
        SweepContact next;
        ASSERT_TRUE(SweepTriangle(MoveTo(body, stop, motion), triangle, &next));
        ASSERT_LE(next.m_fraction, 1e-9);
        ASSERT_LT((next.m_point - contact.m_point).Length(), 1e-6);
    }
    EXPECT_GT(numStood, 20000);
}

TqLPos3f const s_wall[3] = {TqLPos3f(5.0, -9.0, -9.0), TqLPos3f(5.0, 9.0, -9.0),
                            TqLPos3f(5.0, 0.0, 20.0)};

} // namespace

TEST(SweepContact, FollowsABoxAsSamplingDoes)
{
    CompareAtRandom(21, TqLPickSweep::eBOX, 1500, 0.0);
    CompareAtRandom(22, TqLPickSweep::eBOX, 300, 1e6);
}

TEST(SweepContact, FollowsASphereAsSamplingDoes)
{
    CompareAtRandom(31, TqLPickSweep::eSPHERE, 400, 0.0);
    CompareAtRandom(32, TqLPickSweep::eSPHERE, 100, 1e6);
}

TEST(SweepContact, StopsABoxAndASphereAtAWall)
{
    TqLVec3f const motion(10.0, 0.0, 0.0);
    for (TqLPickSweep const& sweep : {TqLPickSweep(TqLPos3f(), TqLVec3f(1.0, 2.0, 3.0), motion),
                                      TqLPickSweep(TqLPos3f(), 1.0, motion)}) {
        SweepContact contact;
        ASSERT_TRUE(SweepTriangle(sweep, s_wall, &contact));
        EXPECT_DOUBLE_EQ(contact.m_fraction, 0.4);
        EXPECT_DOUBLE_EQ(contact.m_point[0], 5.0);
        EXPECT_LT((contact.m_normal - TqLVec3f(-1.0, 0.0, 0.0)).Length(), 1e-12);
    }
}

TEST(SweepContact, EndsInTheMiddleOfACommonFace)
{
    SweepContact contact;
    TqLPickSweep const sweep(TqLPos3f(0.0, 1.0, 2.0), TqLVec3f(1.0, 0.5, 0.25),
                             TqLVec3f(10.0, 0.0, 0.0));
    ASSERT_TRUE(SweepTriangle(sweep, s_wall, &contact));
    EXPECT_NEAR((contact.m_point - TqLPos3f(5.0, 1.0, 2.0)).Length(), 0.0, 1e-9);
}

TEST(SweepContact, TouchesAtTheEndButNotShortOfIt)
{
    SweepContact contact;
    for (double const radius : {0.0, 1.0}) {
        TqLVec3f const halfSize(radius, radius, radius);
        TqLVec3f const reaching(5.0 - radius, 0.0, 0.0);
        TqLVec3f const falling(5.0 - radius - 1e-9, 0.0, 0.0);
        ASSERT_TRUE(SweepTriangle(TqLPickSweep(TqLPos3f(), halfSize, reaching), s_wall, &contact));
        EXPECT_EQ(contact.m_fraction, 1.0);
        ASSERT_TRUE(SweepTriangle(TqLPickSweep(TqLPos3f(), radius, reaching), s_wall, &contact));
        EXPECT_EQ(contact.m_fraction, 1.0);
        EXPECT_FALSE(SweepTriangle(TqLPickSweep(TqLPos3f(), halfSize, falling), s_wall, &contact));
        EXPECT_FALSE(SweepTriangle(TqLPickSweep(TqLPos3f(), radius, falling), s_wall, &contact));
    }
}

TEST(SweepContact, HasItsContactAtTheStartWhicheverWayABodyThatTouchesMoves)
{
    SweepContact contact;
    for (double const x : {1.0, -1.0, 0.0}) {
        TqLVec3f const motion(x, 0.0, 0.0);
        TqLPos3f const beside(4.0, 0.0, 0.0);
        ASSERT_TRUE(
            SweepTriangle(TqLPickSweep(beside, TqLVec3f(1.0, 1.0, 1.0), motion), s_wall, &contact));
        EXPECT_EQ(contact.m_fraction, 0.0);
        EXPECT_LT((contact.m_normal - TqLVec3f(-1.0, 0.0, 0.0)).Length(), 1e-12);
        ASSERT_TRUE(SweepTriangle(TqLPickSweep(beside, 1.0, motion), s_wall, &contact));
        EXPECT_EQ(contact.m_fraction, 0.0);
        EXPECT_LT((contact.m_normal - TqLVec3f(-1.0, 0.0, 0.0)).Length(), 1e-12);
        // Deeper in, from the other side.
        TqLPos3f const within(5.25, 0.0, 0.0);
        ASSERT_TRUE(
            SweepTriangle(TqLPickSweep(within, TqLVec3f(1.0, 1.0, 1.0), motion), s_wall, &contact));
        EXPECT_EQ(contact.m_fraction, 0.0);
        EXPECT_LT((contact.m_normal - TqLVec3f(1.0, 0.0, 0.0)).Length(), 1e-12);
    }
}

TEST(SweepContact, LetsNoBodyThroughThatStandsAtItsContactAndSweepsOn)
{
    for (double const size : {10.0, 0.3}) {
        GoOnFromContacts(41, TqLPickSweep(TqLPos3f(), 0.25, TqLVec3f()), size);
        GoOnFromContacts(42, TqLPickSweep(TqLPos3f(), TqLVec3f(0.25, 0.3, 0.2), TqLVec3f()), size);
    }
}

TEST(SweepContact, LetsNoSphereThroughThatStandsAHairOutside)
{
    constexpr unsigned eSEED = 43;
    PickRandom random(eSEED);
    for (int round = 0; round < 40000; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << eSEED << ", round " << round);
        TqLPos3f triangle[3];
        MakeTriangle(&random, round % 2 == 0 ? 10.0 : 0.3, triangle);
        TqLPos3f const center = random.Point(-12.0, 12.0);
        TqLPos3f const nearest =
            host::ClosestOnTriangle(center, triangle[0], triangle[1], triangle[2]);
        double const radius = std::nextafter((center - nearest).Length(), 0.0);
        SweepContact contact;
        ASSERT_TRUE(SweepTriangle(TqLPickSweep(center, radius, (nearest - center) * 3.0), triangle,
                                  &contact));
        ASSERT_LE(contact.m_fraction, 1e-9);
        ASSERT_LT((contact.m_point - nearest).Length(), 1e-6);
    }
}

TEST(SweepContact, RunsASphereIntoAnEdgeAndACorner)
{
    SweepContact contact;
    // Past the edge from (5,-9,-9) to (5,9,-9), at a height of 0.6 below it.
    ASSERT_TRUE(SweepTriangle(TqLPickSweep(TqLPos3f(0.0, 1.0, -9.6), 1.0, TqLVec3f(10.0, 0.0, 0.0)),
                              s_wall, &contact));
    EXPECT_NEAR(contact.m_fraction, 0.42, 1e-12);
    EXPECT_NEAR((contact.m_point - TqLPos3f(5.0, 1.0, -9.0)).Length(), 0.0, 1e-12);
    EXPECT_NEAR((contact.m_normal - TqLVec3f(-0.8, 0.0, -0.6)).Length(), 0.0, 1e-12);
    // Straight at the tip, along the triangle.
    ASSERT_TRUE(SweepTriangle(
        TqLPickSweep(TqLPos3f(5.0, 0.0, 30.0), 2.0, TqLVec3f(0.0, 0.0, -20.0)), s_wall, &contact));
    EXPECT_NEAR(contact.m_fraction, 0.4, 1e-12);
    EXPECT_EQ(contact.m_point, s_wall[2]);
}

TEST(SweepContact, TouchesATriangleWithoutAreaAsASegmentOrAPoint)
{
    TqLPos3f const a(5.0, -1.0, 0.0);
    TqLPos3f const b(5.0, 1.0, 0.0);
    TqLPos3f const segment[3] = {a, b, a};
    TqLPos3f const point[3] = {a, a, a};
    TqLVec3f const motion(10.0, 0.0, 0.0);
    SweepContact contact;
    TqLVec3f const halfSize(0.5, 0.5, 0.5);
    ASSERT_TRUE(SweepTriangle(TqLPickSweep(TqLPos3f(), halfSize, motion), segment, &contact));
    EXPECT_DOUBLE_EQ(contact.m_fraction, 0.45);
    ASSERT_TRUE(SweepTriangle(TqLPickSweep(TqLPos3f(), 0.5, motion), segment, &contact));
    EXPECT_DOUBLE_EQ(contact.m_fraction, 0.45);
    EXPECT_FALSE(SweepTriangle(TqLPickSweep(TqLPos3f(), halfSize, motion), point, &contact));
    EXPECT_FALSE(SweepTriangle(TqLPickSweep(TqLPos3f(), 0.5, motion), point, &contact));
    ASSERT_TRUE(
        SweepTriangle(TqLPickSweep(TqLPos3f(0.0, -1.0, 0.0), 0.5, motion), point, &contact));
    EXPECT_DOUBLE_EQ(contact.m_fraction, 0.45);
    ASSERT_TRUE(
        SweepTriangle(TqLPickSweep(TqLPos3f(0.0, -1.0, 0.4), halfSize, motion), point, &contact));
    EXPECT_DOUBLE_EQ(contact.m_fraction, 0.45);
}

TEST(SweepContact, TouchesNothingWithoutABody)
{
    SweepContact contact;
    EXPECT_FALSE(SweepTriangle(TqLPickSweep(), s_wall, &contact));
}
