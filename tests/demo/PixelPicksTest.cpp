#include "demo/PixelPicks.h"

#include "demo/PickedScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

using demo::PixelPick;
using demo::PixelVerdict;

namespace
{

constexpr int eWINDOW = 100; // pixels a side
constexpr int eMIDDLE = 50;

/// Placement 0, which reports its point nearer than it is.
class BoastfulShape : public host::GlShape
{
public:
    explicit BoastfulShape(host::GlShapeScene const* scene) : GlShape(scene, 0, 12, 1.0) {}

    void PickShape(TqOcPickFrustumTraversal* traversal) override
    {
        GlShape::PickShape(traversal);
        if (traversal->GetPickedShape() == this) {
            traversal->SetPicked(this, traversal->GetPickedPoint(), traversal->GetDistance() - 0.5,
                                 traversal->GetSubObjectId(), traversal->GetPickType());
        }
    }
};

/// One view along -z from the origin, of blocks that a test places. At a distance d, a pixel is
/// d / 50 wide. The id buffer shows nothing until a test puts something there.
class PixelComparerTest : public testing::Test
{
protected:
    PixelComparerTest()
    {
        std::size_t const pixels = eWINDOW * eWINDOW;
        m_ids.m_width = eWINDOW;
        m_ids.m_height = eWINDOW;
        m_ids.m_ids.resize(pixels, host::IdPicture::s_nothing);
        m_ids.m_triangles.resize(pixels, 0);
        m_ids.m_depths.resize(pixels, 1.0F);
    }

    /// Lets the id buffer show a point of a placement's triangle.
    void Show(int x, int y, std::uint32_t placement, std::uint32_t triangle, double distance)
    {
        TqLPos3f const direction = m_rays.GetPoint(x + 0.5, y + 0.5, 0.5);
        TqLPos3f const point = TqLPos3f() + direction.Vec() * (distance / direction.Vec().Length());
        std::size_t const index = m_ids.GetIndex(x, y);
        m_ids.m_ids[index] = placement + 1;
        m_ids.m_triangles[index] = triangle;
        m_ids.m_depths[index] = static_cast<float>(m_rays.GetPixel(point)[2]);
    }

    PixelPick Compare(int x, int y) { return Compare(x, y, &m_scene, m_scene.GetRoot()); }

    PixelPick Compare(int x, int y, PickedScene* scene, TqOcTraversable* root)
    {
        demo::PixelComparer comparer(m_rays, m_ids, scene->GetTrees(), &m_pick, root);
        PixelPick pixel;
        pixel.m_x = x;
        pixel.m_y = y;
        comparer.Compare(&pixel);
        return pixel;
    }

    PickedScene m_scene;
    TqOcPickFrustumTraversal m_pick = TqOcPickFrustumTraversal(nullptr);
    demo::PixelRays m_rays = demo::PixelRays(
        TqLFrustum3f::Perspective(TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                  std::atan(1.0) * 2.0, 1.0, 0.1, 100.0),
        eWINDOW, eWINDOW);
    host::IdPicture m_ids;
};

} // namespace

TEST_F(PixelComparerTest, AgreesOnTheBackground)
{
    m_scene.Place(TqLPos3f(3.0, 0.0, -10.0), TqLVec3f(1.0, 1.0, 1.0));
    m_scene.Build();
    EXPECT_EQ(Compare(5, 5).m_verdict, PixelVerdict::eBACKGROUND);
}

TEST_F(PixelComparerTest, AgreesOnTheSameShapeAndPoint)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    ASSERT_TRUE(picked.m_picked.m_isHit);
    EXPECT_NEAR(picked.m_picked.m_point[2], -9.0, 1e-9);
    Show(eMIDDLE, eMIDDLE + 3, 0, picked.m_picked.m_triangle, picked.m_picked.m_distance);
    EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eSAME);
}

TEST_F(PixelComparerTest, DoesNotExplainAPointAtAnotherDepth)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    Show(eMIDDLE, eMIDDLE + 3, 0, picked.m_picked.m_triangle, picked.m_picked.m_distance + 0.1);
    EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, DoesNotExplainTheBackOfThePickedShapeSeenThroughItsFront)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    ASSERT_TRUE(picked.m_picked.m_isHit);
    double const back = picked.m_picked.m_distance * 11.0 / 9.0;
    for (std::uint32_t triangle = 0; triangle < 12; ++triangle) { // two are the back
        Show(eMIDDLE, eMIDDLE + 3, 0, triangle, back);
        EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eUNEXPLAINED) << triangle;
    }
}

TEST_F(PixelComparerTest, DoesNotExplainAPickedPointThatIsNotOnItsTriangle)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    Show(eMIDDLE, eMIDDLE + 3, 0, picked.m_picked.m_triangle, picked.m_picked.m_distance);
    host::GlShapeScene const shared = {&m_scene.GetTrees()->GetModel(), nullptr,
                                       m_scene.GetTrees()};
    BoastfulShape shape(&shared);
    shape.SetUserOwned(1);
    TqOcStaticLeaf leaf;
    leaf.AddChild(&shape);
    leaf.Update();
    PixelPick const nearer = Compare(eMIDDLE, eMIDDLE + 3, &m_scene, &leaf);
    ASSERT_TRUE(nearer.m_picked.m_isHit);
    EXPECT_EQ(nearer.m_picked.m_triangle, nearer.m_seen.m_triangle);
    EXPECT_EQ(nearer.m_picked.m_distance, picked.m_picked.m_distance - 0.5);
    EXPECT_EQ(nearer.m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, DoesNotExplainAPickThatMissesWhatIsSeenAtTheCentre)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    ASSERT_TRUE(picked.m_picked.m_isHit);
    Show(eMIDDLE, eMIDDLE + 3, 0, picked.m_picked.m_triangle, picked.m_picked.m_distance);
    TqOcStaticLeaf empty;
    PixelPick const missed = Compare(eMIDDLE, eMIDDLE + 3, &m_scene, &empty);
    EXPECT_FALSE(missed.m_picked.m_isHit);
    EXPECT_TRUE(missed.m_seen.m_isHit);
    EXPECT_EQ(missed.m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, DoesNotExplainWhatIsPickedAndNotSeenOrSeenAndNotPicked)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eUNEXPLAINED);
    Show(2, 2, 0, 0, 9.0);
    EXPECT_EQ(Compare(2, 2).m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, DoesNotExplainAShapeSeenInFrontOfThePickedOne)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Place(TqLPos3f(0.0, 0.0, -20.0), TqLVec3f(12.0, 12.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    ASSERT_EQ(picked.m_picked.m_placement, 0U);
    Show(eMIDDLE, eMIDDLE + 3, 1, picked.m_picked.m_triangle,
         picked.m_picked.m_distance * 19.0 / 9.0);
    EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, ExplainsTwoShapesWithFacesAtOneDepth)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Place(TqLPos3f(0.0, 0.0, -9.5), TqLVec3f(6.0, 6.0, 1.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE + 3);
    std::uint32_t const other = 1 - picked.m_picked.m_placement;
    Show(eMIDDLE, eMIDDLE + 3, other, picked.m_picked.m_triangle, picked.m_picked.m_distance);
    EXPECT_EQ(Compare(eMIDDLE, eMIDDLE + 3).m_verdict, PixelVerdict::eONE_DEPTH);
}

TEST_F(PixelComparerTest, DoesNotExplainASteepShapeClearlyBehindAnotherUnderTheCentre)
{
    // Two floors seen from just above. Under one pixel the upper one spans 1.0 to 1.25 and the
    // lower one 1.05 to 1.31, but at its centre they are 1.11 and 1.17 away.
    m_scene.Place(TqLPos3f(0.0, -0.15, -5.0), TqLVec3f(4.0, 0.1, 9.8));
    m_scene.Place(TqLPos3f(0.0, -0.155, -5.0), TqLVec3f(4.0, 0.1, 9.8));
    m_scene.Build();
    int const x = eMIDDLE + 3;
    int const y = eMIDDLE - 5;
    PixelPick const picked = Compare(x, y);
    ASSERT_EQ(picked.m_picked.m_placement, 0U);
    ASSERT_NEAR(picked.m_picked.m_point[1], -0.1, 1e-9);
    Show(x, y, 0, picked.m_picked.m_triangle, picked.m_picked.m_distance);
    EXPECT_EQ(Compare(x, y).m_verdict, PixelVerdict::eSAME);
    Show(x, y, 1, picked.m_picked.m_triangle, picked.m_picked.m_distance * 1.05);
    EXPECT_EQ(Compare(x, y).m_verdict, PixelVerdict::eUNEXPLAINED);
}

TEST_F(PixelComparerTest, ExplainsARimThroughTheCentreAndNotOneBesideIt)
{
    // The right face's front edge, at a distance of 9, runs past a pixel's centre by a share.
    double const pixel = 9.0 / eMIDDLE;
    for (double const share : {0.01, 0.3}) {
        double const rim = (10.5 + share) * pixel;
        PickedScene scene;
        scene.Place(TqLPos3f(rim - 3.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
        scene.Build();
        demo::PixelComparer comparer(m_rays, m_ids, scene.GetTrees(), &m_pick, scene.GetRoot());
        PixelPick picked;
        picked.m_x = eMIDDLE + 10;
        picked.m_y = eMIDDLE + 3;
        comparer.Compare(&picked);
        ASSERT_TRUE(picked.m_picked.m_isHit) << share;
        EXPECT_EQ(picked.m_verdict, share < 0.1 ? PixelVerdict::eEDGE : PixelVerdict::eUNEXPLAINED)
            << share;
    }
}

TEST_F(PixelComparerTest, ExplainsARimSeenThatThePickMissesByAHairAndNotByMore)
{
    // As above, but the front face ends short of the centre by a share, and is seen there.
    double const pixel = 9.0 / eMIDDLE;
    int const x = eMIDDLE + 10;
    int const y = eMIDDLE + 3;
    for (double const share : {0.01, 0.3}) {
        double const rim = (10.5 - share) * pixel;
        PickedScene scene;
        scene.Place(TqLPos3f(rim - 3.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
        scene.Build();
        PixelPick const beside = Compare(x - 1, y, &scene, scene.GetRoot());
        ASSERT_TRUE(beside.m_picked.m_isHit) << share;
        Show(x, y, 0, beside.m_picked.m_triangle, beside.m_picked.m_distance);
        PixelPick const seen = Compare(x, y, &scene, scene.GetRoot());
        EXPECT_FALSE(seen.m_picked.m_isHit) << share;
        EXPECT_EQ(seen.m_verdict, share < 0.1 ? PixelVerdict::eEDGE : PixelVerdict::eUNEXPLAINED)
            << share;
    }
}

TEST_F(PixelComparerTest, TimesThePickAndTheWalkAlone)
{
    m_scene.Place(TqLPos3f(0.0, 0.0, -10.0), TqLVec3f(6.0, 6.0, 2.0));
    m_scene.Build();
    PixelPick const picked = Compare(eMIDDLE, eMIDDLE);
    EXPECT_GT(picked.m_seconds, 0.0);
    EXPECT_GT(picked.m_walkSeconds, 0.0);
}

TEST(SpreadPixels, PutsOnePixelIntoEachCellOfAGrid)
{
    std::vector<PixelPick> const pixels = demo::SpreadPixels(320, 200, 160, 7);
    ASSERT_EQ(pixels.size(), 160U); // 16 columns of 10 rows, each 20 pixels wide and high
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        EXPECT_EQ(pixels[i].m_x / 20, static_cast<int>(i % 16)) << i;
        EXPECT_EQ(pixels[i].m_y / 20, static_cast<int>(i / 16)) << i;
    }
}

TEST(SpreadPixels, GivesAtLeastTheCountInsideThePictureAndTheSameForOneSeed)
{
    for (int const count : {1, 7, 100, 1000}) {
        std::vector<PixelPick> const pixels = demo::SpreadPixels(97, 31, count, 3);
        std::vector<PixelPick> const again = demo::SpreadPixels(97, 31, count, 3);
        ASSERT_GE(pixels.size(), static_cast<std::size_t>(count));
        ASSERT_EQ(pixels.size(), again.size());
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            EXPECT_TRUE(pixels[i].m_x >= 0 && pixels[i].m_x < 97) << i;
            EXPECT_TRUE(pixels[i].m_y >= 0 && pixels[i].m_y < 31) << i;
            EXPECT_EQ(pixels[i].m_x, again[i].m_x);
            EXPECT_EQ(pixels[i].m_y, again[i].m_y);
        }
    }
}

TEST(PixelVerdicts, HaveNamesOfTheirOwn)
{
    std::set<std::string> names;
    for (int i = 0; i < demo::eNUM_VERDICTS; ++i) {
        names.insert(demo::GetVerdictName(static_cast<PixelVerdict>(i)));
    }
    EXPECT_EQ(names.size(), static_cast<std::size_t>(demo::eNUM_VERDICTS));
}
