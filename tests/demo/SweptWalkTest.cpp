#include "demo/SweptWalk.h"

#include "demo/PickedScene.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

namespace
{

host::CameraKey Stop(double x, double y, double z)
{
    host::CameraKey key;
    key.position = TqLPos3f(x, y, z);
    return key;
}

demo::WalkBody MakeSphere()
{
    demo::WalkBody body;
    body.m_radius = 0.25;
    return body;
}

demo::WalkBody MakeBox()
{
    demo::WalkBody body;
    body.m_isSphere = false;
    body.m_halfSize = TqLVec3f(0.25, 0.4, 0.25);
    return body;
}

demo::WalkResult WalkAlong(PickedScene* scene, std::vector<host::CameraKey> const& stops,
                           demo::WalkBody const& body)
{
    demo::WalkPicks picks;
    return demo::Walk(stops, body, 0.5, &picks, scene->GetRoot());
}

/// Placement 0, which answers only some of the sweeps that reach it.
class PickyShape : public host::GlShape
{
public:
    using Choice = std::function<bool(TqOcPickSweepTraversal const&)>;

    PickyShape(host::GlShapeScene const* scene, Choice choice)
        : GlShape(scene, 0, 12, 1.0)
        , m_choice(std::move(choice))
    {}

    void PickSweep(TqOcPickSweepTraversal* traversal) override
    {
        if (m_choice(*traversal)) {
            GlShape::PickSweep(traversal);
        }
    }

private:
    Choice m_choice;
};

/// Walks from the origin straight through a wall at -2 that answers only some sweeps.
demo::WalkResult WalkIntoPickyWall(PickyShape::Choice const& choice, demo::WalkPicks* picks)
{
    PickedScene scene;
    scene.Place(TqLPos3f(0.0, 0.0, -2.0), TqLVec3f(40.0, 40.0, 0.2));
    scene.Build();
    host::GlShapeScene const shared = {&scene.GetTrees()->GetModel(), nullptr, scene.GetTrees()};
    PickyShape wall(&shared, choice);
    wall.SetUserOwned(1);
    TqOcStaticLeaf leaf;
    leaf.AddChild(&wall);
    leaf.Update();
    return demo::Walk({Stop(0.0, 0.0, 0.0), Stop(0.0, 0.0, -6.0)}, MakeSphere(), 0.5, picks, &leaf);
}

} // namespace

TEST(SlideAlong, KeepsThePartAlongTheContact)
{
    TqLVec3f const rest(3.0, -4.0, 1.0);
    EXPECT_EQ(demo::SlideAlong(rest, TqLVec3f(0.0, 1.0, 0.0)), TqLVec3f(3.0, 0.0, 1.0));
    EXPECT_EQ(demo::SlideAlong(rest, TqLVec3f(0.0, -2.0, 0.0)), TqLVec3f(3.0, 0.0, 1.0));
    TqLVec3f const normal(1.0, 2.0, -2.0);
    EXPECT_NEAR(demo::SlideAlong(rest, normal).Dot(normal), 0.0, 1e-12);
    EXPECT_EQ(demo::SlideAlong(rest, TqLVec3f()), TqLVec3f());
}

TEST(WalkBody, IsSmallerOnAllSidesWhenAsked)
{
    TqLPickSweep const sphere = MakeSphere().Sweep(TqLPos3f(1.0, 2.0, 3.0), TqLVec3f(), 0.05);
    EXPECT_EQ(sphere.GetBody(), TqLPickSweep::eSPHERE);
    EXPECT_DOUBLE_EQ(sphere.GetRadius(), 0.2);
    EXPECT_TRUE(sphere.IsPick());
    TqLPickSweep const box =
        MakeBox().Sweep(TqLPos3f(1.0, 2.0, 3.0), TqLVec3f(1.0, 0.0, 0.0), 0.05);
    EXPECT_EQ(box.GetBody(), TqLPickSweep::eBOX);
    EXPECT_DOUBLE_EQ(box.GetHalfSize()[0], 0.2);
    EXPECT_DOUBLE_EQ(box.GetHalfSize()[1], 0.35);
    EXPECT_EQ(box.GetCenter(), TqLPos3f(1.0, 2.0, 3.0));
}

TEST(SweptWalk, GoesStraightWhereNothingStands)
{
    PickedScene scene;
    scene.Place(TqLPos3f(0.0, -5.0, 0.0), TqLVec3f(20.0, 1.0, 20.0));
    scene.Build();
    demo::WalkResult const walk =
        WalkAlong(&scene, {Stop(0.0, 0.0, 0.0), Stop(3.0, 0.0, 4.0)}, MakeSphere());
    EXPECT_NEAR(walk.m_distance, 5.0, 1e-9);
    EXPECT_EQ(walk.m_steps.size(), 10U);
    EXPECT_EQ(walk.m_contacts, 0U);
    EXPECT_EQ(walk.m_inside, 0U);
}

TEST(SweptWalk, SlidesAlongAWallAndNeverEndsInside)
{
    for (demo::WalkBody const& body : {MakeSphere(), MakeBox()}) {
        PickedScene scene; // a wall across the way, open on the right, turned corner behind it
        scene.Place(TqLPos3f(-1.0, 0.0, -2.0), TqLVec3f(4.0, 4.0, 0.2));
        scene.Place(TqLPos3f(2.5, 0.0, -4.0), TqLVec3f(0.2, 4.0, 6.0));
        scene.Build();
        demo::WalkResult const walk =
            WalkAlong(&scene, {Stop(-0.5, 0.0, 0.0), Stop(1.5, 0.0, -6.0)}, body);
        ASSERT_FALSE(walk.m_steps.empty());
        EXPECT_GT(walk.m_contacts, 0U);
        EXPECT_EQ(walk.m_inside, 0U);
        EXPECT_EQ(walk.m_parted, 0U);
        EXPECT_NEAR((walk.m_steps.back().m_position - TqLPos3f(1.5, 0.0, -6.0)).Length(), 0.0,
                    1e-3);
    }
}

TEST(SweptWalk, TellsTheWholeWayWithItsTurns)
{
    PickedScene scene;
    scene.Place(TqLPos3f(-1.0, 0.0, -2.0), TqLVec3f(4.0, 4.0, 0.2));
    scene.Build();
    demo::WalkResult const walk =
        WalkAlong(&scene, {Stop(-0.5, 0.0, 0.0), Stop(1.5, 0.0, -6.0)}, MakeSphere());
    TqLPos3f place(-0.5, 0.0, 0.0);
    double length = 0.0;
    std::size_t numTurns = 0;
    for (demo::WalkStep const& step : walk.m_steps) {
        ASSERT_FALSE(step.m_turns.empty());
        EXPECT_EQ(step.m_turns.front(), place);
        for (TqLPos3f const& turn : step.m_turns) {
            length += (turn - place).Length();
            place = turn;
        }
        numTurns += step.m_turns.size() - 1;
        length += (step.m_position - place).Length();
        place = step.m_position;
    }
    EXPECT_GT(numTurns, 0U);
    EXPECT_LE(numTurns, walk.m_contacts); // a step may end at its last contact
    EXPECT_GE(length, walk.m_distance);   // which is taken from step to step
}

TEST(SweptWalk, GivesUpBeforeAWallThatItCannotPass)
{
    PickedScene scene;
    scene.Place(TqLPos3f(0.0, 0.0, -2.0), TqLVec3f(40.0, 40.0, 0.2));
    scene.Build();
    demo::WalkResult const walk =
        WalkAlong(&scene, {Stop(0.0, 0.0, 0.0), Stop(0.0, 0.0, -6.0)}, MakeBox());
    ASSERT_FALSE(walk.m_steps.empty());
    double const front = walk.m_steps.back().m_position[2] - 0.25;
    EXPECT_GT(front, -1.9);        // before the wall's face,
    EXPECT_LT(front, -1.9 + 0.01); // and close to it
    EXPECT_EQ(walk.m_inside, 0U);
}

TEST(SweptWalk, CountsAStepThatEndsInsideSomething)
{
    demo::WalkPicks picks;
    demo::WalkResult const walk = WalkIntoPickyWall(
        [](TqOcPickSweepTraversal const& pick) { return pick.GetSweep().IsPick(); }, &picks);
    ASSERT_EQ(walk.m_steps.size(), 12U); // of half a metre, and the wall stops none
    EXPECT_EQ(walk.m_contacts, 0U);
    EXPECT_EQ(walk.m_inside, 1U);
    EXPECT_TRUE(walk.m_steps[3].m_isInside); // at -2
    EXPECT_FALSE(walk.m_steps[2].m_isInside);
}

TEST(SweptWalk, CountsSweepsForWhichOnlyOneOrderFindsAContact)
{
    demo::WalkPicks picks;
    for (TqOcPickSweepTraversal const* const answered :
         {&picks.m_nearestFirst, &picks.m_depthFirst}) {
        demo::WalkResult const walk = WalkIntoPickyWall(
            [&](TqOcPickSweepTraversal const& pick) { return &pick == answered; }, &picks);
        EXPECT_GT(walk.m_parted, 0U);
        EXPECT_LT(walk.m_parted, walk.m_nearestSeconds.size()); // the first sweeps are free
    }
}

TEST(SweptWalk, BeginsWhereTheBodyFits)
{
    PickedScene scene;
    scene.Place(TqLPos3f(), TqLVec3f(1.0, 1.0, 1.0));
    scene.Build();
    demo::WalkResult const walk = WalkAlong(
        &scene, {Stop(0.5, 0.0, 0.0), Stop(3.0, 0.0, 0.0), Stop(4.0, 0.0, 0.0)}, MakeSphere());
    EXPECT_EQ(walk.m_stopsInside, 1U);
    ASSERT_EQ(walk.m_starts.size(), 1U);
    EXPECT_EQ(walk.m_starts[0], TqLPos3f(3.0, 0.0, 0.0));
    EXPECT_EQ(walk.m_stops, 1U);
    EXPECT_NEAR(walk.m_distance, 1.0, 1e-9);
}
