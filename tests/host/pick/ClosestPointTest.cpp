#include "host/pick/ClosestPoint.h"

#include "host/pick/PickMeshes.h"
#include "host/pick/PickOracle.h"

#include <gtest/gtest.h>

TEST(ClosestPoint, AgreesWithSearchingTheTriangle)
{
    constexpr unsigned eSEED = 11;
    PickRandom random(eSEED);
    host::Mesh const soup = MakePickSoup(300, 1.0, random);
    for (std::size_t i = 0; i < soup.indices.size(); i += 3) {
        TqLPos3f triangle[3];
        for (std::size_t corner = 0; corner < 3; ++corner) {
            float const* const at = soup.positions.data() + 3 * soup.indices[i + corner];
            triangle[corner] = TqLPos3f(at[0], at[1], at[2]);
        }
        TqLPos3f const point = random.Point(-1.5, 1.5);
        TqLPos3f const closest =
            host::ClosestOnTriangle(point, triangle[0], triangle[1], triangle[2]);
        EXPECT_NEAR((closest - point).Length(), SearchDistance(point, triangle), 1e-6)
            << "seed " << eSEED << ", triangle " << i / 3;
        EXPECT_LT(SearchDistance(closest, triangle), 1e-6) << "seed " << eSEED;
    }
}

TEST(ClosestPoint, AnswersWithEndsOfASegmentAsTheyStand)
{
    TqLPos3f const a(0.1, 0.2, 0.3);
    TqLPos3f const b(1.7, 0.2, 0.3);
    EXPECT_EQ(host::ClosestOnSegment(TqLPos3f(-5.0, 1.0, 0.0), a, b), a);
    EXPECT_EQ(host::ClosestOnSegment(TqLPos3f(5.0, 1.0, 0.0), a, b), b);
    EXPECT_EQ(host::ClosestOnSegment(TqLPos3f(5.0, 1.0, 0.0), b, b), b);
}
