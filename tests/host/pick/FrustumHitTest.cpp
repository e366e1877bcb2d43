#include "host/pick/FrustumHit.h"

#include "host/pick/PickMeshes.h"
#include "host/pick/PickOracle.h"

#include "geometry/TqLFrustum3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace
{

using host::FrustumHit;
using host::HitPoint;
using host::HitSegment;
using host::HitTriangle;
using host::PickVolume;
using host::TriangleHits;

TqLVec3f const s_into(0.0, 0.0, -1.0);
TqLVec3f const s_up(0.0, 1.0, 0.0);

/// Looks along -z from `eye`; at distance d, half the view measures d.
TqLFrustum3f MakeView(TqLPos3f const& eye)
{
    return TqLFrustum3f::Perspective(eye, s_into, s_up, 2.0 * std::atan(1.0), 1.0, 1.0, 100.0);
}

/// A rectangle in shares of the view, from -1 to 1.
TqLPickFrustum3f Narrow(TqLFrustum3f const& view, double x0, double y0, double x1, double y1)
{
    TqLBox2f const box(TqLPos2f(x0 + 1.0, y0 + 1.0), TqLPos2f(x1 + 1.0, y1 + 1.0));
    return TqLPickFrustum3f(view, box, 2, 2);
}

/// Random pick frustums: whole views, rubber bands and pixels, perspective and parallel.
TqLPickFrustum3f MakeRandomPick(PickRandom& random, TqLPos3f const& middle)
{
    TqLPos3f const eye = middle + random.Vector(3.0);
    TqLFrustum3f const view =
        random.Below(3) == 0
            ? TqLFrustum3f::Parallel(eye, middle - eye, s_up, 3.0, 2.0, -1.0, 5.0)
            : TqLFrustum3f::Perspective(eye, middle - eye, s_up, 1.0, 1.4, 0.1, 6.0);
    double const size = random.Below(2) == 0 ? 0.002 : 0.6;
    double const x = random.In(-1.0, 1.0 - size);
    double const y = random.In(-1.0, 1.0 - size);
    return Narrow(view, x, y, x + size, y + size);
}

CutOracle MakeOracle(PickVolume const& volume, TqLPos3f const triangle[3], double slack)
{
    CutOracle oracle(triangle);
    for (int i = 0; i < volume.GetNumPlanes(); ++i) {
        oracle.Add(volume.GetPlane(i), slack);
    }
    return oracle;
}

TqLPos3f Mix(TqLPos3f const& a, TqLPos3f const& b, double share)
{
    return a + (b - a) * share;
}

} // namespace

TEST(FrustumHit, FindsTheTrianglesThatTheOracleFinds)
{
    for (unsigned const seed : {1u, 2u, 3u}) {
        // Rounding grows with the distance from the world's origin.
        double const offset = seed == 3 ? 1e6 : 0.0;
        double const slack = 1e-12 + offset * 1e-14;
        PickRandom random(seed);
        host::Mesh const soup = MakePickSoup(4000, 1.0, random);
        TqLVec3f const away(offset, -offset, offset);
        int numHits = 0;
        int numMisses = 0;
        for (std::size_t i = 0; i < soup.indices.size(); i += 3) {
            TqLPos3f triangle[3];
            for (std::size_t corner = 0; corner < 3; ++corner) {
                float const* const at = soup.positions.data() + 3 * soup.indices[i + corner];
                triangle[corner] = TqLPos3f(at[0], at[1], at[2]) + away;
            }
            PickVolume const volume(MakeRandomPick(random, TqLPos3f(away)), nullptr, 0);
            FrustumHit hit;
            bool const isHit = HitTriangle(volume, triangle, TriangleHits::eANYWHERE, &hit);
            std::vector<TqLPos3f> const inner = MakeOracle(volume, triangle, -slack).FindCorners();
            if (!inner.empty()) {
                ++numHits;
                ASSERT_TRUE(isHit) << "seed " << seed << ", triangle " << i / 3;
            }
            if (!isHit) {
                ++numMisses;
                continue;
            }
            // Degenerate triangles have no crossings that the oracle could find.
            if ((triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]).Length() > 1e-9) {
                ASSERT_TRUE(MakeOracle(volume, triangle, slack).IsHit())
                    << "seed " << seed << ", triangle " << i / 3;
            }
            ASSERT_LT(SearchDistance(hit.m_point, triangle), 1e-6 + offset * 1e-12);
            for (int plane = 0; plane < volume.GetNumPlanes(); ++plane) {
                ASSERT_GE(volume.GetPlane(plane).DistanceFromPlane(hit.m_point), -slack)
                    << "seed " << seed << ", triangle " << i / 3;
            }
            ASSERT_DOUBLE_EQ(hit.m_distance, (hit.m_point - volume.GetOrigin()).Length());
            TqLPos2f const across = volume.GetAcross(hit.m_point);
            if (std::max(std::fabs(across[0]), std::fabs(across[1])) < 10.0 * slack) {
                continue; // on the line of sight
            }
            for (TqLPos3f const& corner : inner) {
                ASSERT_LE(hit.m_distance, (corner - volume.GetOrigin()).Length() + 100.0 * slack)
                    << "seed " << seed << ", triangle " << i / 3;
            }
        }
        EXPECT_GT(numHits, 300);
        EXPECT_GT(numMisses, 300);
    }
}

TEST(FrustumHit, PicksWhereTheLineOfSightMeetsATriangle)
{
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), 0.4, 0.2, 0.6, 0.4), nullptr, 0);
    // A slanted plane z = -10 - x; the line of sight is (0.5, 0.3, -1) d.
    TqLPos3f const triangle[3] = {TqLPos3f(-20.0, -20.0, 10.0), TqLPos3f(30.0, -20.0, -40.0),
                                  TqLPos3f(0.0, 60.0, -10.0)};
    FrustumHit hit;
    ASSERT_TRUE(HitTriangle(volume, triangle, TriangleHits::eANYWHERE, &hit));
    EXPECT_NEAR((hit.m_point - TqLPos3f(10.0, 6.0, -20.0)).Length(), 0.0, 1e-12);
    EXPECT_NEAR(hit.m_distance, std::sqrt(536.0), 1e-12);
}

TEST(FrustumHit, PicksTheNearestPointWhereTheLineOfSightMisses)
{
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), -0.1, -0.1, 0.1, 0.1), nullptr, 0);
    // Upright at x = 0.5, reaching into the frustum beyond z = -5.
    TqLPos3f const triangle[3] = {TqLPos3f(0.5, -20.0, 0.0), TqLPos3f(0.5, 20.0, 0.0),
                                  TqLPos3f(0.5, 0.0, -60.0)};
    FrustumHit hit;
    ASSERT_TRUE(HitTriangle(volume, triangle, TriangleHits::eANYWHERE, &hit));
    EXPECT_NEAR((hit.m_point - TqLPos3f(0.5, 0.0, -5.0)).Length(), 0.0, 1e-12);
    EXPECT_FALSE(HitTriangle(volume, triangle, TriangleHits::eLINE_OF_SIGHT, &hit));
}

TEST(FrustumHit, LeavesOutWhatLiesBeforeAndBehind)
{
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), -0.1, -0.1, 0.1, 0.1), nullptr, 0);
    FrustumHit hit;
    for (double const z : {2.0, -0.5, -101.0}) {
        TqLPos3f const triangle[3] = {TqLPos3f(-1.0, -1.0, z), TqLPos3f(1.0, -1.0, z),
                                      TqLPos3f(0.0, 2.0, z)};
        EXPECT_FALSE(HitTriangle(volume, triangle, TriangleHits::eANYWHERE, &hit)) << z;
        EXPECT_FALSE(HitTriangle(volume, triangle, TriangleHits::eLINE_OF_SIGHT, &hit)) << z;
    }
}

TEST(FrustumHit, HitsWhatTouchesAPlaneFromOutside)
{
    // A parallel view with sides at -1 and 1 exactly.
    TqLFrustum3f const view = TqLFrustum3f::Parallel(TqLPos3f(), s_into, s_up, 2.0, 2.0, 0.0, 8.0);
    PickVolume const volume(TqLPickFrustum3f(view), nullptr, 0);
    TqLPos3f const corner[3] = {TqLPos3f(1.0, 0.0, -2.0), TqLPos3f(3.0, 1.0, -2.0),
                                TqLPos3f(3.0, -1.0, -2.0)};
    TqLPos3f const edge[3] = {TqLPos3f(-0.5, 1.0, -2.0), TqLPos3f(0.5, 1.0, -2.0),
                              TqLPos3f(0.0, 4.0, -2.0)};
    FrustumHit hit;
    ASSERT_TRUE(HitTriangle(volume, corner, TriangleHits::eANYWHERE, &hit));
    EXPECT_EQ(hit.m_point, corner[0]);
    ASSERT_TRUE(HitTriangle(volume, edge, TriangleHits::eANYWHERE, &hit));
    EXPECT_EQ(hit.m_point, TqLPos3f(0.0, 1.0, -2.0));
    TqLPos3f const beside[3] = {TqLPos3f(1.0 + 1e-14, 0.0, -2.0), TqLPos3f(3.0, 1.0, -2.0),
                                TqLPos3f(3.0, -1.0, -2.0)};
    EXPECT_FALSE(HitTriangle(volume, beside, TriangleHits::eANYWHERE, &hit));
}

TEST(FrustumHit, LetsNoLineOfSightSlipBetweenNeighbours)
{
    // A fan around a corner, and lines of sight through that corner and along its edges.
    constexpr unsigned eSEED = 5;
    PickRandom random(eSEED);
    TqLPos3f const corner(0.3, -0.2, -10.0);
    TqLPos3f rim[8];
    for (int i = 0; i < 8; ++i) {
        rim[i] = corner + TqLVec3f(std::cos(i * 0.785398), std::sin(i * 0.785398), 0.1 * (i % 3));
    }
    for (int round = 0; round < 2000; ++round) {
        TqLPos3f const target = Mix(corner, rim[round % 8], random.In(0.0, 0.9));
        TqLPos3f const eye = random.Point(-1.0, 1.0);
        TqLFrustum3f const view =
            TqLFrustum3f::Perspective(eye, target - eye, s_up, 0.001, 1.0, 0.1, 100.0);
        PickVolume const volume((TqLPickFrustum3f(view)), nullptr, 0);
        int numHits = 0;
        for (int i = 0; i < 8; ++i) {
            TqLPos3f const triangle[3] = {corner, rim[i], rim[(i + 1) % 8]};
            FrustumHit hit;
            numHits += HitTriangle(volume, triangle, TriangleHits::eLINE_OF_SIGHT, &hit) ? 1 : 0;
        }
        ASSERT_GE(numHits, 1) << "seed " << eSEED << ", round " << round;
    }
}

TEST(FrustumHit, HitsBothNeighboursOfAnEdgeOnTheLineOfSight)
{
    TqLFrustum3f const view = TqLFrustum3f::Parallel(TqLPos3f(), s_into, s_up, 2.0, 2.0, 0.0, 8.0);
    PickVolume const volume((TqLPickFrustum3f(view)), nullptr, 0);
    TqLPos3f const square[4] = {TqLPos3f(-1.0, -1.0, -4.0), TqLPos3f(1.0, -1.0, -4.0),
                                TqLPos3f(1.0, 1.0, -4.0), TqLPos3f(-1.0, 1.0, -4.0)};
    // Each diagonal, each half of it, and each half begun at each corner and turned over.
    for (int first = 0; first < 4; ++first) {
        for (int half = 0; half < 2; ++half) {
            for (int turn = 0; turn < 3; ++turn) {
                TqLPos3f const corners[3] = {square[first], square[(first + 1 + half) % 4],
                                             square[(first + 2 + half) % 4]};
                TqLPos3f const turned[3] = {corners[turn], corners[(turn + 1) % 3],
                                            corners[(turn + 2) % 3]};
                TqLPos3f const over[3] = {turned[2], turned[1], turned[0]};
                FrustumHit hit;
                ASSERT_TRUE(HitTriangle(volume, turned, TriangleHits::eLINE_OF_SIGHT, &hit));
                EXPECT_EQ(hit.m_point, TqLPos3f(0.0, 0.0, -4.0));
                ASSERT_TRUE(HitTriangle(volume, over, TriangleHits::eLINE_OF_SIGHT, &hit));
            }
        }
    }
}

TEST(FrustumHit, CutsAtClipPlanesOnTheirPositiveSide)
{
    constexpr unsigned eSEED = 6;
    PickRandom random(eSEED);
    int numHits = 0;
    for (int round = 0; round < 3000; ++round) {
        TqLPlane3f const clip(TqLUnitVec3f(random.Vector(1.0)), random.In(-0.5, 0.5));
        PickVolume const volume(MakeRandomPick(random, TqLPos3f()), &clip, 1);
        TqLPos3f const triangle[3] = {random.Point(-1.0, 1.0), random.Point(-1.0, 1.0),
                                      random.Point(-1.0, 1.0)};
        FrustumHit hit;
        if (HitTriangle(volume, triangle, TriangleHits::eANYWHERE, &hit)) {
            ++numHits;
            ASSERT_GE(clip.DistanceFromPlane(hit.m_point), 0.0) << "seed " << eSEED;
        }
        if (HitSegment(volume, triangle, &hit)) {
            ASSERT_GE(clip.DistanceFromPlane(hit.m_point), 0.0) << "seed " << eSEED;
        }
    }
    EXPECT_GT(numHits, 200);
}

TEST(FrustumHit, PicksASegmentWhereItIsNearestToTheLineOfSight)
{
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), -0.5, -0.5, 0.5, 0.5), nullptr, 0);
    FrustumHit hit;
    TqLPos3f const crossing[2] = {TqLPos3f(-20.0, 1.0, -10.0), TqLPos3f(20.0, 1.0, -10.0)};
    ASSERT_TRUE(HitSegment(volume, crossing, &hit));
    EXPECT_NEAR((hit.m_point - TqLPos3f(0.0, 1.0, -10.0)).Length(), 0.0, 1e-12);
    EXPECT_NEAR(hit.m_distance, std::sqrt(101.0), 1e-12);
    // Its nearest point lies before the near plane: the cut end is picked.
    TqLPos3f const slanted[2] = {TqLPos3f(0.0, 0.0, -0.5), TqLPos3f(0.0, 1.0, -2.5)};
    ASSERT_TRUE(HitSegment(volume, slanted, &hit));
    EXPECT_NEAR((hit.m_point - TqLPos3f(0.0, 0.25, -1.0)).Length(), 0.0, 1e-12);
    // Along the line of sight every point is as near to it: the origin decides.
    TqLPos3f const along[2] = {TqLPos3f(0.0, 0.0, -20.0), TqLPos3f(0.0, 0.0, -4.0)};
    ASSERT_TRUE(HitSegment(volume, along, &hit));
    EXPECT_NEAR(hit.m_distance, 4.0, 1e-12);
}

TEST(FrustumHit, FindsTheSegmentsThatTheOracleFinds)
{
    constexpr unsigned eSEED = 7;
    constexpr double slack = 1e-12;
    PickRandom random(eSEED);
    int numHits = 0;
    for (int round = 0; round < 4000; ++round) {
        PickVolume const volume(MakeRandomPick(random, TqLPos3f()), nullptr, 0);
        TqLPos3f const segment[2] = {random.Point(-1.5, 1.5), random.Point(-1.5, 1.5)};
        // Every crossing with a plane, and both ends.
        std::vector<double> shares = {0.0, 1.0};
        for (int i = 0; i < volume.GetNumPlanes(); ++i) {
            double const start = volume.GetPlane(i).DistanceFromPlane(segment[0]);
            double const end = volume.GetPlane(i).DistanceFromPlane(segment[1]);
            shares.push_back(std::clamp(start / (start - end), 0.0, 1.0));
        }
        double best = -std::numeric_limits<double>::infinity();
        for (double const share : shares) {
            double least = std::numeric_limits<double>::infinity();
            for (int i = 0; i < volume.GetNumPlanes(); ++i) {
                least = std::min(least, volume.GetPlane(i).DistanceFromPlane(
                                            Mix(segment[0], segment[1], share)));
            }
            best = std::max(best, least);
        }
        FrustumHit hit;
        bool const isHit = HitSegment(volume, segment, &hit);
        numHits += isHit ? 1 : 0;
        ASSERT_TRUE(isHit == (best >= 0.0) || std::fabs(best) < slack)
            << "seed " << eSEED << ", round " << round;
        if (isHit) {
            ASSERT_GE(volume.GetPlane(0).DistanceFromPlane(hit.m_point), -slack);
            ASSERT_GE(volume.GetPlane(3).DistanceFromPlane(hit.m_point), -slack);
            ASSERT_GE(volume.GetPlane(4).DistanceFromPlane(hit.m_point), -slack);
        }
    }
    EXPECT_GT(numHits, 200);
}

TEST(FrustumHit, PicksAPointWhereItStands)
{
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), -0.5, -0.5, 0.5, 0.5), nullptr, 0);
    FrustumHit hit;
    EXPECT_FALSE(HitPoint(volume, TqLPos3f(6.0, 0.0, -10.0), &hit));
    EXPECT_FALSE(HitPoint(volume, TqLPos3f(0.0, 0.0, -101.0), &hit));
    ASSERT_TRUE(HitPoint(volume, TqLPos3f(3.0, 4.0, -12.0), &hit));
    EXPECT_EQ(hit.m_point, TqLPos3f(3.0, 4.0, -12.0));
    EXPECT_DOUBLE_EQ(hit.m_distance, 13.0);
}

TEST(FrustumHit, HitsNothingWithAFrustumOrTriangleOfNaN)
{
    double const nan = std::numeric_limits<double>::quiet_NaN();
    PickVolume const volume(Narrow(MakeView(TqLPos3f()), -0.5, -0.5, 0.5, 0.5), nullptr, 0);
    TqLPos3f const triangle[3] = {TqLPos3f(nan, 0.0, -5.0), TqLPos3f(1.0, 0.0, -5.0),
                                  TqLPos3f(0.0, 1.0, -5.0)};
    TqLPos3f const allNaN[3] = {TqLPos3f(nan, nan, nan), TqLPos3f(nan, nan, nan),
                                TqLPos3f(nan, nan, nan)};
    FrustumHit hit;
    EXPECT_FALSE(HitTriangle(volume, allNaN, TriangleHits::eANYWHERE, &hit));
    EXPECT_FALSE(HitTriangle(volume, triangle, TriangleHits::eLINE_OF_SIGHT, &hit));
    EXPECT_FALSE(HitPoint(volume, allNaN[0], &hit));
    EXPECT_FALSE(HitSegment(volume, allNaN, &hit));
}
