#include "support/FakeClock.h"

#include "host/gl/GlShape.h"
#include "host/pick/PickBits.h"
#include "host/pick/PickMeshes.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace
{

constexpr int eWINDOW = 100; // pixels a side

/// Looks along -z from the origin; at distance d, half the view measures d.
TqLFrustum3f MakeView()
{
    return TqLFrustum3f::Perspective(TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                     std::atan(1.0) * 2.0, 1.0, 0.1, 1000.0);
}

TqLPickFrustum3f MakePick(double x0, double y0, double x1, double y1)
{
    return TqLPickFrustum3f(MakeView(), TqLBox2f(TqLPos2f(x0, y0), TqLPos2f(x1, y1)), eWINDOW,
                            eWINDOW);
}

/// The pixel under a point of the view's plane at distance 1.
TqLPickFrustum3f MakePixel(double x, double y)
{
    double const i = std::floor((x + 1.0) * 0.5 * eWINDOW);
    double const j = std::floor((y + 1.0) * 0.5 * eWINDOW);
    return MakePick(i, j, i + 1.0, j + 1.0);
}

/// A row of cubes, one unit a side, along -z at z = -5, -10 and -15, under one leaf.
class GlShapePickTest : public testing::Test
{
protected:
    void SetUp() override
    {
        TqOcPickFrustumTraversal::Initialise();
        TqOcPickSweepTraversal::Initialise();
        m_model.materials.resize(1);
        m_model.materials[0].color[1] = 0.25f;
        m_model.meshes = {MakePickCube()};
        for (int i = 1; i <= 3; ++i) {
            m_model.AddPlacement(0, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -5.0 * i)), false);
        }
    }

    void TearDown() override
    {
        TqOcPickSweepTraversal::Terminate();
        TqOcPickFrustumTraversal::Terminate();
    }

    /// Makes shapes and their leaf of the model as it stands.
    TqOcTraversable* Build()
    {
        m_trees = std::make_unique<host::MeshTrees>(m_model);
        m_scene = {&m_model, nullptr, m_trees.get()};
        m_shapes.reserve(m_model.placements.size());
        for (std::uint32_t i = 0; i < m_model.placements.size(); ++i) {
            m_shapes.emplace_back(&m_scene, i, 12u, 1.0);
            m_shapes.back().SetUserOwned(1);
        }
        m_leaf = std::make_unique<TqOcStaticLeaf>();
        for (host::GlShape& shape : m_shapes) {
            m_leaf->AddChild(&shape);
        }
        m_leaf->Update();
        return m_leaf.get();
    }

    host::SceneModel m_model;
    std::unique_ptr<host::MeshTrees> m_trees;
    host::GlShapeScene m_scene;
    std::vector<host::GlShape> m_shapes;
    std::unique_ptr<TqOcStaticLeaf> m_leaf;
    TqOcPickFrustumTraversal m_pick = TqOcPickFrustumTraversal(nullptr);
    TqOcPickSweepTraversal m_sweep = TqOcPickSweepTraversal(nullptr, 1);
};

} // namespace

TEST_F(GlShapePickTest, PicksTheNearestTriangleUnderAPixel)
{
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(Build());
    ASSERT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    // The pixel's middle is at (0.01, 0.03) of the plane at distance 1; the face at z = -4.5.
    TqLPos3f const point = m_pick.GetPickedPoint();
    EXPECT_NEAR((point - TqLPos3f(0.045, 0.135, -4.5)).Length(), 0.0, 1e-12);
    EXPECT_DOUBLE_EQ(m_pick.GetDistance(), point.Vec().Length());
    EXPECT_EQ(m_pick.GetPickType(), TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(m_pick.GetPropertyBits(),
              TqOcPickTraversal::ePROPERTY_NORMAL | TqOcPickTraversal::ePROPERTY_COLOR);
    EXPECT_EQ(m_pick.GetNormal().Vec(), TqLVec3f(0.0, 0.0, 1.0));
    EXPECT_EQ(m_pick.GetColor(), TqLColor3f(0.7f, 0.25f, 0.7f));
    // The triangle is the one that its number says, and holds the point.
    host::Mesh const& mesh = m_model.meshes[0];
    for (std::size_t corner = 0; corner < 3; ++corner) {
        std::uint32_t const vertex = mesh.indices[3 * m_pick.GetSubObjectId() + corner];
        TqLPos3f const& world = m_pick.GetVertices()[corner];
        EXPECT_EQ(world[0], static_cast<double>(mesh.positions[3 * vertex]));
        EXPECT_EQ(world[1], static_cast<double>(mesh.positions[3 * vertex + 1]));
        EXPECT_EQ(world[2], -4.5);
    }
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 1);
}

TEST_F(GlShapePickTest, LeavesOutWhatLiesBesideThePixel)
{
    m_pick.SetFrustum(MakePixel(0.2, 0.0));
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, ListsNoShapeThatOnlyItsBoxIsHitOf)
{
    // The box's upper right half is empty.
    m_model.meshes[0].indices = {0, 1, 2};
    m_model.meshes[0].UpdateBox();
    m_pick.SetFrustum(MakePixel(0.051, 0.053));
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, PicksTheNearestInWhateverOrderShapesStand)
{
    std::swap(m_model.placements[0], m_model.placements[2]);
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[2]);
    EXPECT_NEAR(m_pick.GetPickedPoint()[2], -4.5, 1e-12);
    // Each was the nearest in its turn.
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
}

TEST_F(GlShapePickTest, ListsAllHitsAndKeepsTheNearestWhereAllAreRequired)
{
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_PICK_POINT |
                                   TqOcPickTraversal::ePROPERTY_ALL_HITS);
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    EXPECT_NEAR(m_pick.GetPickedPoint()[2], -4.5, 1e-12);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
}

TEST_F(GlShapePickTest, OnlyListsWhereNoPointIsRequired)
{
    m_pick.SetFrustum(MakePick(0.0, 0.0, eWINDOW, eWINDOW));
    m_pick.SetRequiredPropertyBits(0);
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    ASSERT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_pick.GetAllPickedShapes()[i], &m_shapes[static_cast<std::size_t>(i)]);
    }
}

TEST_F(GlShapePickTest, TellsContainedFromTouchingInARubberBand)
{
    // Up to x = 0.06 of the plane at distance 1: the second cube ends at 0.0526 of it, the first at
    // 0.111 on its near side.
    m_pick.SetFrustum(MakePick(0.0, 0.0, 53.0, eWINDOW));
    m_pick.SetRequiredPropertyBits(0);
    TqOcTraversable* const root = Build();
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
    m_pick.SetContainedOnly(1);
    m_pick.Apply(root);
    ASSERT_EQ(m_pick.GetAllPickedShapes().Size(), 2);
    EXPECT_EQ(m_pick.GetAllPickedShapes()[0], &m_shapes[1]);
    EXPECT_EQ(m_pick.GetAllPickedShapes()[1], &m_shapes[2]);
}

TEST_F(GlShapePickTest, ReportsWhatTheResultBitsAskFor)
{
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    TqOcTraversable* const root = Build();
    m_pick.SetResultBits(host::ResultBits::eLIST);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
    m_pick.SetResultBits(host::ResultBits::eNEAREST);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, PicksTheKindsThatThePickBitsName)
{
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    TqOcTraversable* const root = Build();
    m_pick.SetPickBits(host::PickBits::eLINES | host::PickBits::ePOINTS);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    m_pick.SetPickBits(host::PickBits::eTRIANGLES);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
}

TEST_F(GlShapePickTest, PicksNoKindOfShapeWhereOnlyTheWalkIsAskedFor)
{
    host::Mesh lines = MakePickCube();
    lines.corners = 2;
    host::Mesh points = MakePickCube();
    points.corners = 1;
    m_model.meshes.push_back(lines);
    m_model.meshes.push_back(points);
    m_model.placements[1].mesh = 1;
    m_model.placements[2].mesh = 2;
    m_pick.SetFrustum(MakePick(0.0, 0.0, eWINDOW, eWINDOW));
    TqOcTraversable* const root = Build();
    m_pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
    m_pick.Apply(root);
    ASSERT_EQ(m_pick.GetAllPickedShapes().Size(), 3);
    m_pick.SetPickBits(host::PickBits::eNO_SHAPE);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, PicksOnTheLineOfSightWhereAskedTo)
{
    // The pixel from x = 0.1 to 0.12: the first cube's edge at 0.111 lies in it, 0.11 on the cube.
    m_model.placements.resize(1);
    m_model.placements[0].toWorld = TqLAffine3f::Translation(TqLVec3f(-0.02, 0.0, -5.0));
    m_model.placements[0].box =
        host::TransformBox(m_model.meshes[0].box, m_model.placements[0].toWorld);
    m_pick.SetFrustum(MakePixel(0.105, 0.033));
    TqOcTraversable* const root = Build();
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    m_pick.SetPickBits(host::PickBits::eLINE_OF_SIGHT);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
}

TEST_F(GlShapePickTest, PassesOverBackFacesOnlyWhenAsked)
{
    // The eye stands in a cube: it sees backs, then the front of the next.
    m_model.placements[0].toWorld = TqLAffine3f();
    m_model.placements[0].box = m_model.meshes[0].box;
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    TqOcTraversable* const root = Build();
    for (auto const cull :
         {TqOcPickTraversal::eBACKFACE_CULL_OFF, TqOcPickTraversal::eBACKFACE_CULL_AS_RENDERED}) {
        m_pick.SetBackfaceCull(cull);
        m_pick.Apply(root);
        EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
        // The normal is that of the front, which looks away here.
        EXPECT_EQ(m_pick.GetNormal().Vec(), TqLVec3f(0.0, 0.0, -1.0));
    }
    m_pick.SetBackfaceCull(TqOcPickTraversal::eBACKFACE_CULL_ON);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[1]);
}

TEST_F(GlShapePickTest, PicksBehindWhatClipPlanesCutAway)
{
    TqLPlane3f const clip(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -5.0));
    m_pick.SetClipPlanes(&clip, 1);
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    TqOcTraversable* const root = Build();
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    EXPECT_NEAR(m_pick.GetPickedPoint()[2], -5.5, 1e-12);
    m_shapes[0].SetIgnoreClip(1);
    m_pick.Apply(root);
    EXPECT_NEAR(m_pick.GetPickedPoint()[2], -4.5, 1e-12);
}

TEST_F(GlShapePickTest, IsCutByTheClipPlanesOfTheFrameThatThePickFollows)
{
    TqLPlane3f const clip(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -5.0));
    TqLPlane3f const nowhere(TqLUnitVec3f(TqLVec3f(0.0, 0.0, 1.0)), TqLPos3f(0.0, 0.0, 5.0));
    TqOcContext context;
    TqOcPrioritizedTraversal frame(&context);
    frame.SetViewFrustum(MakeView());
    frame.SetClipPlanes(&clip, 1);
    m_pick.SetRenderTraversal(&frame);
    m_pick.SetPickLastRendered(0);
    m_pick.SetClipPlanes(&nowhere, 1);
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(Build());
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    EXPECT_NEAR(m_pick.GetPickedPoint()[2], -5.5, 1e-12);
}

TEST_F(GlShapePickTest, MeetsInASweepWhatClipPlanesLeave)
{
    TqLPlane3f const clip(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -5.0));
    m_sweep.SetClipPlanes(&clip, 1);
    TqOcTraversable* const root = Build();
    for (int const ignoresClip : {0, 1}) {
        m_shapes[0].SetIgnoreClip(ignoresClip);
        m_sweep.SetSweep(TqLPickSweep(TqLPos3f(), 0.25, TqLVec3f(0.0, 0.0, -20.0)));
        m_sweep.Apply(root);
        EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[0]);
        // The face behind the plane, or the one before it.
        EXPECT_NEAR(m_sweep.GetDistance(), ignoresClip != 0 ? 4.25 : 5.25, 1e-12);
    }
}

TEST_F(GlShapePickTest, MeasuresInTheWorldUnderMirrorsAndUnevenScales)
{
    m_model.placements.resize(1);
    m_model.placements[0].toWorld =
        TqLAffine3f::Scale(-8.0, 2.0, 0.5) * TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -5.0));
    m_model.placements[0].box =
        host::TransformBox(m_model.meshes[0].box, m_model.placements[0].toWorld);
    m_pick.SetFrustum(MakePixel(0.501, 0.033));
    m_pick.SetBackfaceCull(TqOcPickTraversal::eBACKFACE_CULL_ON);
    m_pick.Apply(Build());
    ASSERT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    TqLPos3f const expected(0.51 * 4.75, 0.03 * 4.75, -4.75);
    EXPECT_NEAR((m_pick.GetPickedPoint() - expected).Length(), 0.0, 1e-12);
    EXPECT_NEAR(m_pick.GetDistance(), expected.Vec().Length(), 1e-12);
    EXPECT_NEAR((m_pick.GetNormal().Vec() - TqLVec3f(0.0, 0.0, 1.0)).Length(), 0.0, 1e-12);
}

TEST_F(GlShapePickTest, PicksNothingWithoutTrees)
{
    TqOcTraversable* const root = Build();
    m_scene.m_trees = nullptr;
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    m_sweep.SetSweep(TqLPickSweep(TqLPos3f(), 0.25, TqLVec3f(0.0, 0.0, -20.0)));
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), nullptr);
}

TEST_F(GlShapePickTest, GivesUpWhenTheTimeIsOver)
{
    TqOcTraversable* const root = Build();
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    FakeClock clock;
    // Every reading is a second after the one before.
    clock.SetStepPerReading(1.0);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, GivesUpInTheMiddleOfAMeshWhenTheTimeIsOver)
{
    m_model.meshes = {MakePickSlats(1000)};
    m_model.placements.clear();
    m_model.AddPlacement(0, TqLAffine3f(), false);
    TqOcTraversable* const root = Build();
    // A side runs just beyond all triangles and through their boxes, so that each is looked at.
    m_pick.SetFrustum(
        TqLPickFrustum3f(TqLFrustum3f::Parallel(TqLPos3f(0.0, 5.0, 0.0), TqLVec3f(0.0, -1.0, 0.0),
                                                TqLVec3f(1.0, 0.0, 1.0), 1.5, 1.5, 0.0, 10.0)));
    m_pick.SetContainedOnly(1);
    FakeClock clock;
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 1);
    // Of 0.2 s, 0.15 are gone when the shape's turn comes.
    clock.SetStepPerReading(0.15);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetAllPickedShapes().Size(), 0);
}

TEST_F(GlShapePickTest, EndsASweepAtTheFirstContactInEitherMode)
{
    // Out of order, so that a later shape has to be the nearer one.
    std::swap(m_model.placements[0], m_model.placements[2]);
    TqOcTraversable* const root = Build();
    for (int const prioritized : {0, 1}) {
        TqOcPickSweepTraversal sweep(nullptr, prioritized);
        sweep.SetSweep(TqLPickSweep(TqLPos3f(0.1, 0.0, 0.0), 0.25, TqLVec3f(0.0, 0.0, -20.0)));
        sweep.Apply(root);
        ASSERT_EQ(sweep.GetPickedShape(), &m_shapes[2]) << prioritized;
        EXPECT_NEAR(sweep.GetDistance(), 4.25, 1e-12);
        EXPECT_NEAR((sweep.GetPickedPoint() - TqLPos3f(0.1, 0.0, -4.5)).Length(), 0.0, 1e-9);
        EXPECT_NEAR((sweep.GetNormal().Vec() - TqLVec3f(0.0, 0.0, 1.0)).Length(), 0.0, 1e-9);
        EXPECT_EQ(sweep.GetPickType(), TqOcPickTraversal::ePICK_TRIANGLE);
        host::Mesh const& mesh = m_model.meshes[0];
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::uint32_t const vertex = mesh.indices[3 * sweep.GetSubObjectId() + corner];
            TqLPos3f const& world = sweep.GetVertices()[corner];
            EXPECT_EQ(world[0], static_cast<double>(mesh.positions[3 * vertex]));
            EXPECT_EQ(world[1], static_cast<double>(mesh.positions[3 * vertex + 1]));
            EXPECT_EQ(world[2], -4.5);
        }
        EXPECT_TRUE(sweep.GetSweep().IsShortened());
        EXPECT_NEAR(sweep.GetSweep().GetSweep()[2], -4.25, 1e-12);
    }
}

TEST_F(GlShapePickTest, ReportsTheNormalOfTheContactAtAnEdge)
{
    TqOcTraversable* const root = Build();
    // 0.1 beside the cube's faces at x = 0.5, so that the sphere meets the edge at z = -4.5.
    m_sweep.SetSweep(TqLPickSweep(TqLPos3f(0.6, 0.0, 0.0), 0.25, TqLVec3f(0.0, 0.0, -20.0)));
    m_sweep.Apply(root);
    ASSERT_EQ(m_sweep.GetPickedShape(), &m_shapes[0]);
    EXPECT_NEAR((m_sweep.GetPickedPoint() - TqLPos3f(0.5, 0.0, -4.5)).Length(), 0.0, 1e-9);
    TqLVec3f const away(0.4, 0.0, std::sqrt(1.0 - 0.16)); // 0.1 of 0.25 to the side
    EXPECT_NEAR((m_sweep.GetNormal().Vec() - away).Length(), 0.0, 1e-9);
}

TEST_F(GlShapePickTest, LeavesASweepAsItIsWhereAllHitsAreRequired)
{
    TqOcTraversable* const root = Build();
    m_sweep.SetSweep(
        TqLPickSweep(TqLPos3f(), TqLVec3f(0.25, 0.25, 0.25), TqLVec3f(0.0, 0.0, -20.0)));
    m_sweep.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_PICK_POINT |
                                    TqOcPickTraversal::ePROPERTY_ALL_HITS);
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetAllPickedShapes().Size(), 3);
    EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[0]);
    EXPECT_NEAR(m_sweep.GetDistance(), 4.25, 1e-12);
    EXPECT_FALSE(m_sweep.GetSweep().IsShortened());
    EXPECT_EQ(m_sweep.GetSweep().GetSweep(), TqLVec3f(0.0, 0.0, -20.0));
}

TEST_F(GlShapePickTest, OnlyListsContactsWhereNoPointIsRequired)
{
    TqOcTraversable* const root = Build();
    m_sweep.SetSweep(TqLPickSweep(TqLPos3f(), 0.25, TqLVec3f(0.0, 0.0, -11.0)));
    m_sweep.SetRequiredPropertyBits(0);
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetAllPickedShapes().Size(), 2);
    EXPECT_EQ(m_sweep.GetPickedShape(), nullptr);
    EXPECT_FALSE(m_sweep.GetSweep().IsShortened());
}

TEST_F(GlShapePickTest, PicksWhatABodyThatStandsStillTouches)
{
    TqOcTraversable* const root = Build();
    m_sweep.SetSweep(TqLPickSweep(TqLPos3f(0.5, 0.0, -9.4), 0.15, TqLVec3f()));
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[1]);
    EXPECT_EQ(m_sweep.GetDistance(), 0.0);
    // Standing still, it faces everything.
    m_sweep.SetBackfaceCull(TqOcPickTraversal::eBACKFACE_CULL_ON);
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[1]);
    // Within a cube, away from its faces, nothing is touched: a mesh is a surface.
    m_sweep.SetSweep(TqLPickSweep(TqLPos3f(0.0, 0.0, -10.0), 0.15, TqLVec3f()));
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), nullptr);
}

TEST_F(GlShapePickTest, SweepsFromWithinThroughBackFacesOnlyWhenAsked)
{
    TqOcTraversable* const root = Build();
    TqLPickSweep const sweep(TqLPos3f(0.0, 0.0, -5.0), 0.1, TqLVec3f(0.0, 0.0, -20.0));
    m_sweep.SetSweep(sweep);
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[0]);
    m_sweep.SetSweep(sweep);
    m_sweep.SetBackfaceCull(TqOcPickTraversal::eBACKFACE_CULL_ON);
    m_sweep.Apply(root);
    EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[1]);
    EXPECT_NEAR(m_sweep.GetDistance(), 4.4, 1e-12);
}

TEST_F(GlShapePickTest, PicksALineWithItsDirection)
{
    host::Mesh lines;
    lines.corners = 2;
    lines.positions = {-1.0f, 0.5625f, 0.0f, 3.0f, 0.5625f, 0.0f, 0.0f, -2.0f, 0.0f};
    lines.normals = {0, 1, 0, 0, 1, 0, 0, 1, 0};
    lines.texCoords = {0.0f, 1.0f, 1.0f, 1.0f, 0.0f, 0.0f};
    lines.indices = {0, 2, 0, 1};
    lines.UpdateBox();
    m_model.meshes = {lines};
    m_model.placements.clear();
    m_model.AddPlacement(0, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -5.0)), false);
    TqOcTraversable* const root = Build();
    EXPECT_EQ(m_shapes[0].GetPrimitives(), TqLPrimitiveTypes::eLINES);
    // The pixel from (0.2, 0.1) to (0.22, 0.12) of the plane at distance 1; the line is at y =
    // 0.1125.
    m_pick.SetFrustum(MakePixel(0.21, 0.11));
    m_pick.Apply(root);
    ASSERT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    EXPECT_EQ(m_pick.GetPickType(), TqOcPickTraversal::ePICK_LINE);
    EXPECT_EQ(m_pick.GetSubObjectId(), 1u);
    // Where the line is nearest to the line of sight, which passes it at an angle.
    TqLPos3f const point = m_pick.GetPickedPoint();
    EXPECT_NEAR(point[0], 1.05, 1e-3);
    EXPECT_EQ(point[1], 0.5625);
    EXPECT_EQ(point[2], -5.0);
    EXPECT_EQ(m_pick.GetPropertyBits(), TqOcPickTraversal::ePROPERTY_DIRECTION |
                                            TqOcPickTraversal::ePROPERTY_COLOR |
                                            TqOcPickTraversal::ePROPERTY_TEX_COORD);
    EXPECT_EQ(m_pick.GetDirection().Vec(), TqLVec3f(1.0, 0.0, 0.0));
    EXPECT_EQ(m_pick.GetVertices()[0], TqLPos3f(-1.0, 0.5625, -5.0));
    EXPECT_EQ(m_pick.GetVertices()[2], TqLPos3f(3.0, 0.5625, -5.0));
    EXPECT_NEAR(m_pick.GetTexCoord()[0], (point[0] + 1.0) / 4.0, 1e-12);
    EXPECT_NEAR(m_pick.GetTexCoord()[1], 1.0, 1e-12);
    m_pick.SetPickBits(host::PickBits::eTRIANGLES);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    m_pick.SetPickBits(host::PickBits::eLINES);
    m_pick.SetContainedOnly(1);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), nullptr);
    m_pick.SetFrustum(MakePick(0.0, 0.0, eWINDOW, eWINDOW));
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
}

TEST_F(GlShapePickTest, PicksAPointInFrontOfATriangle)
{
    host::Mesh points;
    points.corners = 1;
    points.positions = {-1.0f, 0.0f, 0.0f, 0.021f, 0.062f, 0.0f, 0.02f, 0.06f, -1.0f};
    points.normals = {0, 1, 0, 0, 1, 0, 0, 1, 0};
    points.indices = {0, 1, 2};
    points.UpdateBox();
    m_model.meshes.push_back(points);
    m_model.AddPlacement(1, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -2.0)), false);
    TqOcTraversable* const root = Build();
    EXPECT_EQ(m_shapes[3].GetPrimitives(), TqLPrimitiveTypes::ePOINTS);
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(root);
    ASSERT_EQ(m_pick.GetPickedShape(), &m_shapes[3]);
    EXPECT_EQ(m_pick.GetPickType(), TqOcPickTraversal::ePICK_POINT);
    EXPECT_EQ(m_pick.GetSubObjectId(), 1u);
    EXPECT_EQ(m_pick.GetPropertyBits(), TqOcPickTraversal::ePROPERTY_COLOR);
    EXPECT_NEAR(m_pick.GetPickedPoint()[0], 0.021, 1e-8);
    m_pick.SetPickBits(host::PickBits::eTRIANGLES | host::PickBits::eLINES);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
}

TEST_F(GlShapePickTest, TellsTheTextureCoordinateOfThePoint)
{
    host::Mesh square;
    square.positions = {-1, -1, 0, 1, -1, 0, 1, 1, 0, -1, 1, 0};
    square.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    square.texCoords = {0, 0, 10, 0, 10, 100, 0, 100};
    square.indices = {0, 1, 2, 0, 2, 3};
    square.UpdateBox();
    m_model.meshes = {square};
    m_model.placements.clear();
    m_model.AddPlacement(
        0, TqLAffine3f::Scale(-2.0, 1.0, 1.0) * TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -4.0)),
        false);
    TqOcTraversable* const root = Build();
    for (double const x : {-0.39, 0.05, 0.31}) {
        for (double const y : {-0.21, 0.11}) {
            m_pick.SetFrustum(MakePixel(x, y));
            m_pick.Apply(root);
            ASSERT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
            ASSERT_NE(m_pick.GetPropertyBits() & TqOcPickTraversal::ePROPERTY_TEX_COORD, 0u);
            TqLPos3f const point = m_pick.GetPickedPoint();
            EXPECT_NEAR(m_pick.GetTexCoord()[0], 5.0 - 2.5 * point[0], 1e-12);
            EXPECT_NEAR(m_pick.GetTexCoord()[1], 50.0 + 50.0 * point[1], 1e-12);
        }
    }
}

TEST_F(GlShapePickTest, PassesOverWhatTheFollowedFrameDidNotDraw)
{
    TqOcContext context;
    TqOcPrioritizedTraversal frame(&context);
    frame.SetViewFrustum(MakeView());
    frame.SetFrameId(7);
    TqOcTraversable* const root = Build();
    root->SetFrameId(7); // dealt with, and yet its first shape was not drawn
    m_shapes[1].SetFrameId(7);
    m_pick.SetRenderTraversal(&frame);
    m_pick.SetFrustum(MakePixel(0.011, 0.033));
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[1]);
    m_shapes[0].SetFrameId(7);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    m_shapes[0].SetFrameId(6);
    m_pick.SetPickLastRendered(0); // what the next frame would draw
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[0]);
    frame.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    TqOcStaticLeaf nothing;
    frame.Apply(&nothing); // from now on it is interactive
    ASSERT_NE(frame.IsInteractive(), 0);
    m_pick.Apply(root);
    EXPECT_EQ(m_pick.GetPickedShape(), &m_shapes[1]);
}

TEST_F(GlShapePickTest, PassesInASweepOverWhatTheFollowedFrameDidNotDraw)
{
    TqOcContext context;
    TqOcPrioritizedTraversal frame(&context);
    frame.SetFrameId(7);
    TqOcTraversable* const root = Build();
    root->SetFrameId(7);
    m_shapes[1].SetFrameId(7);
    m_sweep.SetRenderTraversal(&frame);
    for (unsigned int const frameId : {6U, 7U}) {
        m_shapes[0].SetFrameId(frameId);
        m_sweep.SetSweep(TqLPickSweep(TqLPos3f(), 0.25, TqLVec3f(0.0, 0.0, -20.0)));
        m_sweep.Apply(root);
        EXPECT_EQ(m_sweep.GetPickedShape(), &m_shapes[frameId == 7U ? 0 : 1]);
    }
}
