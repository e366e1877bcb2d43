#include "demo/WalkCheck.h"

#include "demo/PickedScene.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace
{

demo::WalkStep MakeStep(std::vector<TqLPos3f> const& turns, TqLPos3f const& end)
{
    demo::WalkStep step;
    step.m_turns = turns;
    step.m_position = end;
    return step;
}

/// A wall across z = -2, from x = -3 to 1.
class WalkCheckTest : public testing::Test
{
protected:
    WalkCheckTest()
    {
        m_scene.Place(TqLPos3f(-1.0, 0.0, -2.0), TqLVec3f(4.0, 4.0, 0.2));
        m_scene.Place(TqLPos3f(9.0, 0.0, -2.0), TqLVec3f(1.0, 1.0, 1.0));
        m_scene.Build();
    }

    std::size_t Count(std::vector<demo::WalkStep> const& steps)
    {
        return demo::CountCrossingSteps(m_scene.GetTrees()->GetModel(), steps);
    }

    PickedScene m_scene;
};

TqLPos3f const s_triangle[3] = {TqLPos3f(0.0, 0.0, 0.0), TqLPos3f(4.0, 0.0, 0.0),
                                TqLPos3f(0.0, 4.0, 0.0)};

} // namespace

TEST(CrossesTriangle, TellsWhatMeetsItFromWhatPassesBeside)
{
    TqLVec3f const ahead(0.2, -0.3, 1.0);
    for (double const sign : {1.0, -1.0}) {
        TqLVec3f const way = ahead * sign;
        for (TqLPos3f const& at : {TqLPos3f(1.0, 1.0, 0.0), TqLPos3f(2.0, 2.0, 0.0),
                                   TqLPos3f(0.0, 0.0, 0.0), TqLPos3f(0.001, 3.9, 0.0)}) {
            EXPECT_TRUE(demo::CrossesTriangle(at - way, at + way, s_triangle));
            EXPECT_TRUE(demo::CrossesTriangle(at - way, at, s_triangle));
            EXPECT_TRUE(demo::CrossesTriangle(at, at + way, s_triangle));
            EXPECT_FALSE(demo::CrossesTriangle(at - way, at - way * 1e-6, s_triangle));
            EXPECT_FALSE(demo::CrossesTriangle(at + way * 1e-6, at + way, s_triangle));
        }
        for (TqLPos3f const& at : {TqLPos3f(2.001, 2.0, 0.0), TqLPos3f(-0.001, 1.0, 0.0),
                                   TqLPos3f(1.0, -0.001, 0.0), TqLPos3f(5.0, 0.0, 0.0)}) {
            EXPECT_FALSE(demo::CrossesTriangle(at - way, at + way, s_triangle));
        }
    }
}

TEST(CrossesTriangle, MeetsNothingWithinThePlaneOrWithoutAnArea)
{
    EXPECT_FALSE(
        demo::CrossesTriangle(TqLPos3f(-1.0, 1.0, 0.0), TqLPos3f(5.0, 1.0, 0.0), s_triangle));
    TqLPos3f const segment[3] = {s_triangle[0], s_triangle[1], s_triangle[0]};
    EXPECT_FALSE(demo::CrossesTriangle(TqLPos3f(1.0, 0.0, -1.0), TqLPos3f(1.0, 0.0, 1.0), segment));
}

TEST_F(WalkCheckTest, CountsStepsThatLeadThroughAWall)
{
    demo::WalkStep const before = MakeStep({TqLPos3f(0.0, 0.0, 0.0)}, TqLPos3f(0.0, 0.0, -1.85));
    demo::WalkStep const through = MakeStep({TqLPos3f(0.0, 0.0, -1.0)}, TqLPos3f(0.0, 0.0, -3.0));
    demo::WalkStep const beside = MakeStep({TqLPos3f(1.1, 0.0, -1.0)}, TqLPos3f(1.1, 0.0, -3.0));
    demo::WalkStep const into = MakeStep({TqLPos3f(0.3, 0.1, -1.0)}, TqLPos3f(0.3, 0.1, -2.0));
    EXPECT_EQ(Count({}), 0U);
    EXPECT_EQ(Count({before, beside}), 0U);
    EXPECT_EQ(Count({before, through, beside}), 1U);
    EXPECT_EQ(Count({through, through, into}), 3U);
}

TEST_F(WalkCheckTest, FollowsTheTurnsOfAStep)
{
    TqLPos3f const from(0.5, 0.0, -1.5);
    TqLPos3f const to(0.5, 0.0, -2.5);
    EXPECT_EQ(Count({MakeStep({from}, to)}), 1U);
    EXPECT_EQ(Count({MakeStep({from, TqLPos3f(1.5, 0.0, -2.0)}, to)}), 0U);
    EXPECT_EQ(Count({MakeStep({from, TqLPos3f(0.5, 0.0, -2.5)}, from)}), 1U);
}

TEST_F(WalkCheckTest, TakesTrianglesToWhereTheirPlacementIs)
{
    host::SceneModel model;
    model.materials.resize(1);
    model.meshes = {MakePickCube()};
    model.AddPlacement(
        0, MakePickPlacement(TqLVec3f(4.0, 4.0, -0.1), 0.7, TqLVec3f(100.0, 20.0, -50.0)), false);
    TqLAffine3f const& toWorld = model.placements[0].toWorld;
    auto const step = [&toWorld](double x) {
        return MakeStep({TqLPos3f(x, 0.1, -5.0) * toWorld}, TqLPos3f(x, 0.1, 5.0) * toWorld);
    };
    EXPECT_EQ(demo::CountCrossingSteps(model, {step(0.0), step(0.49), step(0.51)}), 2U);
}

TEST_F(WalkCheckTest, FindsNoCrossingInAWalkAlongTheWall)
{
    host::CameraKey from;
    from.position = TqLPos3f(-0.5, 0.0, 0.0);
    host::CameraKey to;
    to.position = TqLPos3f(1.5, 0.0, -6.0);
    demo::WalkBody body;
    body.m_radius = 0.25;
    demo::WalkPicks picks;
    demo::WalkResult const walk = demo::Walk({from, to}, body, 0.5, &picks, m_scene.GetRoot());
    ASSERT_GT(walk.m_contacts, 0U);
    EXPECT_EQ(Count(walk.m_steps), 0U);
    // What it went around stands in the straight way.
    EXPECT_EQ(Count({MakeStep({from.position}, TqLPos3f(-0.5, 0.0, -6.0))}), 1U);
}
