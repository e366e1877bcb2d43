// The generated scenes: exact counts, the same bits every time, and what each kind promises.

#include "scenes/SceneBoxes.h"

#include "scenes/SceneRandom.h"
#include "scenes/SceneViews.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace
{

std::uint64_t Hash(std::vector<SceneBox> const& boxes)
{
    std::uint64_t hash = 0;
    auto const add = [&hash](double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        hash = SceneRandom::SeedFor(hash, bits);
    };
    for (SceneBox const& item : boxes) {
        for (int axis = 0; axis < 3; ++axis) {
            add(item.box.GetMin()[axis]);
            add(item.box.GetMax()[axis]);
        }
        add(item.scale);
        add(item.tris);
        add(static_cast<unsigned>(item.primitives));
    }
    return hash;
}

bool IsOrdinary(SceneBox const& item)
{
    for (int axis = 0; axis < 3; ++axis) {
        double const low = item.box.GetMin()[axis];
        double const high = item.box.GetMax()[axis];
        if (!std::isfinite(low) || !std::isfinite(high) || low > high) {
            return false;
        }
    }
    return true;
}

std::size_t CountOrdinary(std::vector<SceneBox> const& boxes)
{
    std::size_t ordinary = 0;
    for (SceneBox const& item : boxes) {
        ordinary += IsOrdinary(item) ? 1 : 0;
    }
    return ordinary;
}

TEST(SceneBoxes, AreExactlyAsManyAsAskedFor)
{
    for (std::size_t const count : {10u, 899u, 900u, 2500u, 2501u, 40000u}) {
        EXPECT_EQ(MakePlant(count, 1).size(), count);
        EXPECT_EQ(MakeBuilding(count, 1).size(), count);
        EXPECT_EQ(MakeUniform(count, 1).size(), count);
        for (int kind = 0; kind < eDEGENERATE_KIND_COUNT; ++kind) {
            EXPECT_EQ(MakeDegenerate(static_cast<DegenerateKind>(kind), count, 1).size(), count);
        }
    }
}

// These are the scenes that stored measurements and pictures refer to: a changed number here is a
// changed scene, on any compiler and machine.
TEST(SceneBoxes, HaveTheSameBitsEverywhere)
{
    EXPECT_EQ(Hash(MakePlant(5000, 1)), 1166545051175302492u);
    EXPECT_EQ(Hash(MakeBuilding(5000, 1)), 10586605950525594891u);
    EXPECT_EQ(Hash(MakeUniform(5000, 1)), 16357763868569213639u);
    EXPECT_EQ(Hash(MakeDegenerate(DegenerateKind::eHUGE_AMONG_TINY, 5000, 1)),
              7193928554947034907u);
}

TEST(SceneBoxes, DifferBySeed)
{
    EXPECT_NE(Hash(MakePlant(100, 1)), Hash(MakePlant(100, 2)));
    EXPECT_NE(Hash(MakeBuilding(100, 1)), Hash(MakeBuilding(100, 2)));
    EXPECT_NE(Hash(MakeUniform(100, 1)), Hash(MakeUniform(100, 2)));
}

TEST(SceneBoxes, BeginWithTheWholeUnitsOfSmallerPlants)
{
    std::vector<SceneBox> const small = MakePlant(5000, 7);
    std::vector<SceneBox> large = MakePlant(12345, 7);
    large.resize(small.size());
    EXPECT_EQ(Hash(large), Hash(small));
}

TEST(SceneBoxes, AreOrdinaryInThePlantTheBuildingAndTheUniformScene)
{
    EXPECT_EQ(CountOrdinary(MakePlant(20000, 3)), 20000u);
    EXPECT_EQ(CountOrdinary(MakeBuilding(20000, 3)), 20000u);
    EXPECT_EQ(CountOrdinary(MakeUniform(20000, 3)), 20000u);
}

TEST(SceneBoxes, AreBrokenInPartWhereTheKindSaysSo)
{
    EXPECT_EQ(CountOrdinary(MakeDegenerate(DegenerateKind::eEMPTY, 1000, 1)), 500u);
    EXPECT_EQ(CountOrdinary(MakeDegenerate(DegenerateKind::eINVERTED, 1000, 1)), 500u);
    EXPECT_EQ(CountOrdinary(MakeDegenerate(DegenerateKind::eNAN, 1000, 1)), 750u);
    EXPECT_EQ(CountOrdinary(MakeDegenerate(DegenerateKind::eINFINITE, 1000, 1)), 750u);
}

TEST(SceneBoxes, LieOneInsideTheOtherWhenNested)
{
    std::vector<SceneBox> const boxes = MakeDegenerate(DegenerateKind::eNESTED, 500, 1);
    for (std::size_t i = 1; i < boxes.size(); ++i) {
        ASSERT_TRUE(boxes[i - 1].box.Contains(boxes[i].box));
        ASSERT_FALSE(boxes[i].box.Contains(boxes[i - 1].box));
    }
}

TEST(SceneBoxes, SpanNearlyThreeOrdersOfMagnitudeInThePlant)
{
    double smallest = 1e9;
    double largest = 0.0;
    for (SceneBox const& item : MakePlant(2500, 1)) {
        double const length = item.box.GetSize().Length();
        smallest = std::fmin(smallest, length);
        largest = std::fmax(largest, length);
    }
    EXPECT_GT(largest / smallest, 500.0);
}

TEST(SceneBoxes, HaveBoundsThatIgnoreBrokenBoxes)
{
    TqLBox3f const bounds = GetSceneBounds(MakeDegenerate(DegenerateKind::eINFINITE, 400, 1));
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_GE(bounds.GetMin()[axis], 0.0);
        EXPECT_LE(bounds.GetMax()[axis], 1000.0);
    }
    EXPECT_TRUE(GetSceneBounds({}).IsEmpty());
}

/// The share of boxes with a corner inside the sides of the view, on average over the path.
double GetShareInView(std::vector<SceneBox> const& boxes, std::vector<SceneView> const& views)
{
    std::size_t inside = 0;
    for (SceneView const& view : views) {
        TqLMatrix4f const matrix = MakeViewFrustum(view).GetMatrix();
        for (SceneBox const& item : boxes) {
            TqLPos3f const p = item.box.GetCenter();
            double c[4];
            for (int k = 0; k < 4; ++k) {
                c[k] =
                    matrix[0][k] * p[0] + matrix[1][k] * p[1] + matrix[2][k] * p[2] + matrix[3][k];
            }
            bool const isInside =
                std::fabs(c[0]) <= c[3] && std::fabs(c[1]) <= c[3] && std::fabs(c[2]) <= c[3];
            inside += isInside ? 1 : 0;
        }
    }
    return static_cast<double>(inside) / static_cast<double>(boxes.size() * views.size());
}

TEST(SceneViews, SeeAboutTwoFifthsOfThePlantOnTheWalkThrough)
{
    std::vector<SceneBox> const boxes = MakePlant(20000, 1);
    TqLBox3f const bounds = GetSceneBounds(boxes);
    EXPECT_EQ(MakeWalkViews(bounds).size(), static_cast<std::size_t>(eWALK_VIEWS));
    double const share = GetShareInView(boxes, MakeWalkViews(bounds));
    EXPECT_GT(share, 0.35);
    EXPECT_LT(share, 0.5);
    double const nearShare = GetShareInView(boxes, MakeNearWalkViews(bounds));
    EXPECT_GT(nearShare * 20000, 1000);
    EXPECT_LT(nearShare * 20000, 3500);
}

TEST(SceneViews, SeeAllOfThePlantFromOutside)
{
    std::vector<SceneBox> const boxes = MakePlant(20000, 1);
    EXPECT_GT(GetShareInView(boxes, MakeOutsideViews(GetSceneBounds(boxes))), 0.99);
}

} // namespace
