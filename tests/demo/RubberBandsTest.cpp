#include "demo/RubberBands.h"

#include "demo/PickedScene.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

constexpr int eWINDOW = 100; // pixels a side

/// Placement 0, which does not answer picks of what is contained.
class ShyShape : public host::GlShape
{
public:
    explicit ShyShape(host::GlShapeScene const* scene) : GlShape(scene, 0, 12, 1.0) {}

    void PickShape(TqOcPickFrustumTraversal* traversal) override
    {
        if (traversal->IsContainedOnly() == 0) {
            GlShape::PickShape(traversal);
        }
    }
};

/// Placement 0, which lists itself in every pick that reaches it.
class PushyShape : public host::GlShape
{
public:
    explicit PushyShape(host::GlShapeScene const* scene) : GlShape(scene, 0, 12, 1.0) {}

    void PickShape(TqOcPickFrustumTraversal* traversal) override { traversal->PickShape(this); }
};

/// One view along -z from the origin: a block of 20 to 40 pixels in x and y, one of 60 to 80, and
/// one hidden behind the first.
class RubberBandsTest : public testing::Test
{
protected:
    RubberBandsTest()
    {
        std::size_t const pixels = eWINDOW * eWINDOW;
        m_ids.m_width = eWINDOW;
        m_ids.m_height = eWINDOW;
        m_ids.m_ids.resize(pixels, host::IdPicture::s_nothing);
        m_ids.m_triangles.resize(pixels, 0);
        m_ids.m_depths.resize(pixels, 1.0F);
        m_scene.Place(TqLPos3f(-4.0, -4.0, -10.0), TqLVec3f(4.0, 4.0, 0.0));
        m_scene.Place(TqLPos3f(4.0, 4.0, -10.0), TqLVec3f(4.0, 4.0, 0.0));
        m_scene.Place(TqLPos3f(-8.0, -8.0, -20.0), TqLVec3f(1.0, 1.0, 0.0));
        m_scene.Build();
    }

    demo::RubberBand Check(int x0, int y0, int x1, int y1)
    {
        return Check(x0, y0, x1, y1, m_scene.GetRoot());
    }

    demo::RubberBand Check(int x0, int y0, int x1, int y1, TqOcTraversable* root)
    {
        demo::RubberBand band;
        band.m_x0 = x0;
        band.m_y0 = y0;
        band.m_x1 = x1;
        band.m_y1 = y1;
        demo::CheckRubberBand(m_rays, m_ids, m_drawn, m_scene.GetTrees(), &m_pick, root, &band);
        return band;
    }

    using Placements = std::vector<std::uint32_t>;

    PickedScene m_scene;
    std::vector<host::GlShape*> m_drawn;
    TqOcPickFrustumTraversal m_pick = TqOcPickFrustumTraversal(nullptr);
    demo::PixelRays m_rays = demo::PixelRays(
        TqLFrustum3f::Perspective(TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                  std::atan(1.0) * 2.0, 1.0, 0.1, 100.0),
        eWINDOW, eWINDOW);
    host::IdPicture m_ids;
};

} // namespace

TEST_F(RubberBandsTest, ListsWhatTouchesAndWhatIsContainedHiddenOnesToo)
{
    m_drawn = m_scene.GetShapes();
    demo::RubberBand const all = Check(10, 10, 90, 90);
    EXPECT_EQ(all.m_touching.m_placements, (Placements{0, 1, 2}));
    EXPECT_EQ(all.m_contained.m_placements, (Placements{0, 1, 2}));
    EXPECT_TRUE(all.IsRight());
    demo::RubberBand const part = Check(25, 25, 65, 65);
    EXPECT_EQ(part.m_touching.m_placements, (Placements{0, 1, 2}));
    EXPECT_EQ(part.m_contained.m_placements, (Placements{2}));
    EXPECT_TRUE(part.IsRight());
    demo::RubberBand const none = Check(45, 45, 55, 55);
    EXPECT_TRUE(none.m_touching.m_placements.empty());
    EXPECT_TRUE(none.IsRight());
}

TEST_F(RubberBandsTest, IsWrongWhenTheListHoldsWhatWasNotDrawn)
{
    m_drawn = {m_scene.GetShapes()[0]};
    demo::RubberBand const band = Check(10, 10, 90, 90);
    EXPECT_EQ(band.m_touching.m_numStray, 2U);
    EXPECT_EQ(band.m_contained.m_numStray, 2U);
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, IsWrongWhenTheListsLackWhatAShapeSaysByItself)
{
    m_drawn = m_scene.GetShapes();
    TqOcStaticLeaf empty;
    demo::RubberBand const band = Check(10, 10, 90, 90, &empty);
    EXPECT_EQ(band.m_touching.m_numMissing, 3U);
    EXPECT_EQ(band.m_contained.m_numMissing, 3U);
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, IsWrongWhenOnlyTheContainedListIsEmpty)
{
    m_drawn = {m_scene.GetShapes()[0]};
    host::GlShapeScene const shared = {&m_scene.GetTrees()->GetModel(), nullptr,
                                       m_scene.GetTrees()};
    ShyShape shape(&shared);
    shape.SetUserOwned(1);
    TqOcStaticLeaf leaf;
    leaf.AddChild(&shape);
    leaf.Update();
    demo::RubberBand const band = Check(10, 10, 90, 90, &leaf);
    EXPECT_TRUE(band.m_touching.IsRight());
    EXPECT_TRUE(band.m_contained.m_placements.empty());
    EXPECT_EQ(band.m_contained.m_numMissing, 1U);
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, IsWrongWhenAContainedShapeReachesOutOfTheRectangle)
{
    m_drawn = {m_scene.GetShapes()[0]};
    host::GlShapeScene const shared = {&m_scene.GetTrees()->GetModel(), nullptr,
                                       m_scene.GetTrees()};
    PushyShape shape(&shared);
    shape.SetUserOwned(1);
    TqOcStaticLeaf leaf;
    leaf.AddChild(&shape);
    leaf.Update();
    EXPECT_EQ(Check(10, 10, 90, 90, &leaf).m_numOutside, 0U);
    demo::RubberBand const band = Check(25, 25, 65, 65, &leaf);
    EXPECT_EQ(band.m_contained.m_placements, (Placements{0}));
    EXPECT_EQ(band.m_numOutside, 1U);
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, IsExcusedByATimeOutOnlyForWhatThatListIsShortOf)
{
    demo::RubberBand band;
    band.m_touching.m_isTimedOut = true;
    band.m_touching.m_numMissing = 5;
    band.m_numUnseen = 2;
    EXPECT_TRUE(band.IsTimedOut());
    EXPECT_TRUE(band.IsRight());
    band.m_contained.m_numMissing = 1;
    EXPECT_FALSE(band.IsRight());
    band.m_contained.m_isTimedOut = true;
    EXPECT_TRUE(band.IsRight());
    band.m_contained.m_numStray = 1;
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, IsWrongWhenASeenShapeIsMissing)
{
    m_drawn = m_scene.GetShapes();
    m_ids.m_ids[m_ids.GetIndex(50, 50)] = 1 + 1;
    demo::RubberBand const band = Check(45, 45, 55, 55);
    EXPECT_EQ(band.m_numSeen, 1U);
    EXPECT_EQ(band.m_numUnseen, 1U);
    EXPECT_FALSE(band.IsRight());
}

TEST_F(RubberBandsTest, LeavesTheSettingsOfThePickAsTheyWere)
{
    unsigned int const bits = m_pick.GetRequiredPropertyBits();
    Check(10, 10, 90, 90);
    EXPECT_EQ(m_pick.GetRequiredPropertyBits(), bits);
    EXPECT_EQ(m_pick.IsContainedOnly(), 0);
}

TEST(MakeRubberBands, LiesInsideAnyPictureAndIsNeverEmpty)
{
    for (int const side : {16, 100, 1080}) {
        for (demo::RubberBand const& band : demo::MakeRubberBands(2 * side, side)) {
            EXPECT_GE(band.m_x0, 0);
            EXPECT_GE(band.m_y0, 0);
            EXPECT_LT(band.m_x0, band.m_x1);
            EXPECT_LT(band.m_y0, band.m_y1);
            EXPECT_LE(band.m_x1, 2 * side);
            EXPECT_LE(band.m_y1, side);
        }
    }
}
