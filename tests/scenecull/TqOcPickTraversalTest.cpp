#include "scenecull/TqOcPickTraversal.h"

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/DirtyStorage.h"
#include "support/PostedErrors.h"
#include "support/Recorders.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace
{

constexpr double s_notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double s_infinity = std::numeric_limits<double>::infinity();

/// The smallest pick: its walk is what the test says.
class PickProbe : public TqOcPickTraversal
{
public:
    using TqOcPickTraversal::TqOcPickTraversal;

    std::function<void(TqOcTraversable*)> onStartPick;
    int numPicks = 0;

protected:
    void StartPick(TqOcTraversable* root) override
    {
        ++numPicks;
        if (onStartPick) {
            onStartPick(root);
        }
    }
};

TqLUnitVec3f const s_up(TqLVec3f(0.0, 1.0, 0.0));

/// What lies at x below 0 is cut away.
TqLPlane3f const s_cutsNegativeX(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 0.0);
TqLPlane3f const s_cutsNegativeY(s_up, 0.0);

TqLPos3f At(double x)
{
    return TqLPos3f(x, 0.0, 0.0);
}

/// Leaves other bytes than 0 below, where the next functions keep their variables.
[[gnu::noinline]] void FillStack()
{
    unsigned char volatile bytes[4096];
    for (unsigned char volatile& byte : bytes) {
        byte = 0x41;
    }
}

/// A shape of triangles whose box does not matter.
class AnyShape : public RecordingShape
{
public:
    AnyShape() : RecordingShape(nullptr, "", MakeCube(0.0, 0.0, -10.0, 1.0)) {}
};

/// A pick beside a render traversal, and a node in front of its default view.
class PickByFrame
{
public:
    static constexpr unsigned int s_frameId = 5;

    PickByFrame()
        : context(&log)
        , ownContext(&ownLog)
        , walk(&context)
        , pick(&ownContext)
        , node(MakeCube(0.0, 0.0, -10.0, 1.0), 1.0, 7, TqLPrimitiveTypes::eTRIANGLES)
    {
        walk.SetFrameId(s_frameId);
        pick.SetRenderTraversal(&walk);
    }

    /// Picks that test nodes for themselves.
    void IgnoreLastFrame() { pick.SetPickLastRendered(0); }

    /// Whether the node is skipped, asked while a pick is running.
    int Ask() { return AskOf(&node); }

    template <class Node>
    int AskOf(Node* asked)
    {
        int answer = -1;
        pick.onStartPick = [&](TqOcTraversable*) { answer = pick.CanRenderCull(asked); };
        pick.Apply(&node);
        return answer;
    }

    EventLog log;
    EventLog ownLog;
    RecordingContext context; ///< Of the render traversal.
    RecordingContext ownContext;
    TqOcPrioritizedTraversal walk;
    PickProbe pick;
    PlainTraversable node;
};

} // namespace

// ---- Life and settings --------------------------------------------------------------------------

TEST(TqOcPickTraversal, HasItsDefaultsAfterConstruction)
{
    RecordingContext context;
    DirtyStorage<PickProbe> const storage(&context);
    PickProbe const& pick = *storage;
    EXPECT_EQ(pick.GetContext(), &context);
    EXPECT_EQ(pick.GetNumClipPlanes(), 0);
    EXPECT_EQ(pick.GetCullBits(), 0);
    EXPECT_EQ(pick.GetRenderTraversal(), nullptr);
    EXPECT_EQ(pick.IsPickLastRendered(), 1);
    EXPECT_EQ(pick.GetRequiredPropertyBits(), 16U);
    EXPECT_EQ(pick.GetBackfaceCull(), 1U);
    EXPECT_EQ(pick.IsPickHidden(), 0);
    EXPECT_EQ(pick.GetDistance(), 0.0);
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0);
    EXPECT_EQ(pick.GetPickedPoint(), TqLPos3f());
    EXPECT_EQ(pick.GetPropertyBits(), 0U);
    EXPECT_EQ(pick.GetPickType(), 0U);
    EXPECT_EQ(pick.GetSubObjectId(), 0U);
    EXPECT_EQ(pick.GetNormal(), TqLUnitVec3f());
    EXPECT_EQ(pick.GetDirection(), TqLUnitVec3f());
    EXPECT_EQ(pick.GetColor(), TqLColor3f());
    EXPECT_EQ(pick.GetTexCoord(), TqLPos2f());
    for (int vertex = 0; vertex < 3; ++vertex) {
        EXPECT_EQ(pick.GetVertices()[vertex], TqLPos3f()) << vertex;
    }
}

TEST(TqOcPickTraversal, StartsItsPickedPointAtTheOrigin)
{
    PickProbe const pick(nullptr);
    EXPECT_EQ(pick.GetPickedPoint()[0], 0.0);
    EXPECT_EQ(pick.GetPickedPoint()[1], 0.0);
    EXPECT_EQ(pick.GetPickedPoint()[2], 0.0);
}

TEST(TqOcPickTraversal, KeepsWhatIsSet)
{
    RecordingContext context;
    TqOcPrioritizedTraversal walk(&context);
    PickProbe pick(nullptr);
    pick.SetRenderTraversal(&walk);
    pick.SetPickLastRendered(0);
    pick.SetRequiredPropertyBits(0xFFFFFFFFU);
    pick.SetBackfaceCull(TqOcPickTraversal::eBACKFACE_CULL_ON);
    pick.SetPickHidden(1);
    pick.SetCullBits(42);
    EXPECT_EQ(pick.GetRenderTraversal(), &walk);
    PickProbe const& constPick = pick;
    EXPECT_EQ(constPick.GetRenderTraversal(), &walk);
    EXPECT_EQ(pick.IsPickLastRendered(), 0);
    EXPECT_EQ(pick.GetRequiredPropertyBits(), 0xFFFFFFFFU);
    EXPECT_EQ(pick.GetBackfaceCull(), TqOcPickTraversal::eBACKFACE_CULL_ON);
    EXPECT_EQ(pick.IsPickHidden(), 1);
    EXPECT_EQ(pick.GetCullBits(), 42);
}

TEST(TqOcPickTraversal, RequiresAPickPointByBit16Alone)
{
    PickProbe pick(nullptr);
    EXPECT_EQ(pick.IsPickPointRequired(), 16U);
    pick.SetRequiredPropertyBits(0xFFFFFFFFU);
    EXPECT_EQ(pick.IsPickPointRequired(), 16U);
    pick.SetRequiredPropertyBits(~16U);
    EXPECT_EQ(pick.IsPickPointRequired(), 0U);
}

TEST(TqOcPickTraversal, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible<PickProbe>::value);
    EXPECT_FALSE(std::is_copy_assignable<PickProbe>::value);
}

TEST(TqOcPickTraversal, ReleasesItsListWhenDestroyed)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    AnyShape shape;
    {
        PickProbe pick(nullptr);
        pick.PickShape(&shape);
        EXPECT_GT(TqUMemory::GetLiveBlocks(), before);
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), before);
}

// ---- Results ------------------------------------------------------------------------------------

TEST(TqOcPickTraversal, ListsEveryShapeInTheOrderOfPicking)
{
    PickProbe pick(nullptr);
    AnyShape first;
    AnyShape second;
    second.SetIgnorePick(1); // no test is made
    second.SetHideRender(1);
    pick.PickShape(&second);
    pick.PickShape(&first);
    PickProbe const& constPick = pick;
    ASSERT_EQ(constPick.GetAllPickedShapes().Size(), 2);
    EXPECT_EQ(constPick.GetAllPickedShapes()[0], &second);
    EXPECT_EQ(constPick.GetAllPickedShapes()[1], &first);
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
}

TEST(TqOcPickTraversal, ListsAShapePickedTwiceTwice)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.PickShape(&shape);
    pick.PickShape(&shape);
    ASSERT_EQ(pick.GetAllPickedShapes().Size(), 2);
    EXPECT_EQ(pick.GetAllPickedShapes()[0], &shape);
    EXPECT_EQ(pick.GetAllPickedShapes()[1], &shape);
}

TEST(TqOcPickTraversal, HandsItsListOutForEditing)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.PickShape(&shape);
    pick.GetAllPickedShapes().Clear();
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0);
}

TEST(TqOcPickTraversal, RecordsTheNearestHit)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.SetPicked(&shape, TqLPos3f(1.0, 2.0, 3.0), 4.0, 5, TqOcPickTraversal::ePICK_LINE);
    EXPECT_EQ(pick.GetPickedShape(), &shape);
    EXPECT_EQ(pick.GetPickedPoint(), TqLPos3f(1.0, 2.0, 3.0));
    EXPECT_EQ(pick.GetDistance(), 4.0);
    EXPECT_EQ(pick.GetSubObjectId(), 5U);
    EXPECT_EQ(pick.GetPickType(), TqOcPickTraversal::ePICK_LINE);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0) << "the list is PickShape's";
}

TEST(TqOcPickTraversal, RecordsAHitWithoutAskingWhetherItIsNearer)
{
    PickProbe pick(nullptr);
    AnyShape first;
    AnyShape second;
    pick.SetPicked(&first, At(1.0), 1.0, 1, TqOcPickTraversal::ePICK_TRIANGLE);
    pick.SetPicked(&second, At(9.0), 9.0, 2, TqOcPickTraversal::ePICK_POINT);
    EXPECT_EQ(pick.GetPickedShape(), &second);
    EXPECT_EQ(pick.GetPickedPoint(), At(9.0));
    EXPECT_EQ(pick.GetDistance(), 9.0);
    EXPECT_EQ(pick.GetSubObjectId(), 2U);
    EXPECT_EQ(pick.GetPickType(), TqOcPickTraversal::ePICK_POINT);
}

TEST(TqOcPickTraversal, MarksEachOptionalPropertyThatIsSet)
{
    PickProbe pick(nullptr);
    TqLUnitVec3f const normal(TqLVec3f(1.0, 0.0, 0.0));
    TqLUnitVec3f const direction(TqLVec3f(0.0, 0.0, 1.0));
    pick.SetNormal(normal);
    EXPECT_EQ(pick.GetPropertyBits(), 1U);
    EXPECT_EQ(pick.GetNormal(), normal);
    pick.SetDirection(direction);
    EXPECT_EQ(pick.GetPropertyBits(), 3U);
    EXPECT_EQ(pick.GetDirection(), direction);
    EXPECT_EQ(pick.GetNormal(), normal);
    pick.SetColor(TqLColor3f(0.25, 0.5, 0.75));
    EXPECT_EQ(pick.GetPropertyBits(), 7U);
    EXPECT_EQ(pick.GetColor(), TqLColor3f(0.25, 0.5, 0.75));
    pick.SetTexCoord(TqLPos2f(0.1, 0.2));
    EXPECT_EQ(pick.GetPropertyBits(), 15U);
    EXPECT_EQ(pick.GetTexCoord(), TqLPos2f(0.1, 0.2));
}

TEST(TqOcPickTraversal, MarksEachOptionalPropertyByABitOfItsOwn)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    auto const clear = [&] {
        pick.SetPicked(&shape, At(0.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    };
    pick.SetDirection(s_up);
    EXPECT_EQ(pick.GetPropertyBits(), 2U);
    clear();
    pick.SetColor(TqLColor3f());
    EXPECT_EQ(pick.GetPropertyBits(), 4U);
    clear();
    pick.SetTexCoord(TqLPos2f());
    EXPECT_EQ(pick.GetPropertyBits(), 8U);
    clear();
    pick.SetNormal(s_up);
    EXPECT_EQ(pick.GetPropertyBits(), 1U);
}

TEST(TqOcPickTraversal, MarksNoPropertyForVertices)
{
    PickProbe pick(nullptr);
    pick.SetVertices(At(1.0), At(2.0), At(3.0));
    EXPECT_EQ(pick.GetPropertyBits(), 0U);
    EXPECT_EQ(pick.GetVertices()[0], At(1.0));
    EXPECT_EQ(pick.GetVertices()[1], At(2.0));
    EXPECT_EQ(pick.GetVertices()[2], At(3.0));
}

TEST(TqOcPickTraversal, ForgetsWhichOptionalPropertiesAnEarlierHitHad)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.SetNormal(s_up);
    pick.SetDirection(s_up);
    pick.SetColor(TqLColor3f(1.0, 0.0, 0.0));
    pick.SetTexCoord(TqLPos2f(0.5, 0.5));
    pick.SetPicked(&shape, At(1.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(pick.GetPropertyBits(), 0U);
    pick.SetNormal(s_up);
    EXPECT_EQ(pick.GetPropertyBits(), 1U);
}

// ---- CanPickPoint -------------------------------------------------------------------------------

TEST(TqOcPickTraversal, TestsOnlyTheClipPlanesBeforeTheFirstHit)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    EXPECT_EQ(pick.CanPickPoint(&shape, At(0.0), 1e300), 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(0.0), s_infinity), 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(0.0), -1.0), 1);
    pick.SetClipPlanes(&s_cutsNegativeX, 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(1.0), 1e300), 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(-1.0), 0.0), 0);
}

TEST(TqOcPickTraversal, TakesOnlyStrictlyNearerPoints)
{
    PickProbe pick(nullptr);
    AnyShape first;
    AnyShape second;
    pick.SetPicked(&first, At(5.0), 5.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(pick.CanPickPoint(&second, At(5.0), 5.0), 0) << "on a tie the earlier hit stays";
    EXPECT_EQ(pick.CanPickPoint(&first, At(5.0), 5.0), 0) << "also against itself";
    EXPECT_EQ(pick.CanPickPoint(&second, At(5.0), std::nextafter(5.0, 6.0)), 0);
    EXPECT_EQ(pick.CanPickPoint(&second, At(5.0), std::nextafter(5.0, 4.0)), 1);
    EXPECT_EQ(pick.CanPickPoint(&second, At(-5.0), -5.0), 1);
}

TEST(TqOcPickTraversal, RefusesADistanceThatIsNoNumber)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.SetPicked(&shape, At(5.0), 5.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(1.0), s_notANumber), 0);
    shape.SetIgnoreClip(1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(1.0), s_notANumber), 0);
}

TEST(TqOcPickTraversal, RefusesADistanceThatIsNoNumberAsFirstHit)
{
    // Kept as the nearest hit, it would let no other one take its place.
    PickProbe pick(nullptr);
    AnyShape shape;
    EXPECT_EQ(pick.CanPickPoint(&shape, At(1.0), s_notANumber), 0);
}

TEST(TqOcPickTraversal, KeepsAHitThatWasRecordedWithoutADistance)
{
    // Its distance is not greater than any other; that is why such points are to be asked for
    // first.
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.SetPicked(&shape, At(1.0), s_notANumber, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(1.0), 1.0), 0);
}

TEST(TqOcPickTraversal, CutsPointsAwayStrictlyBehindAClipPlane)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 2.0);
    pick.SetClipPlanes(&plane, 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(2.0), 1.0), 1) << "a point on the plane is there";
    EXPECT_EQ(pick.CanPickPoint(&shape, At(std::nextafter(2.0, 1.0)), 1.0), 0);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(3.0), 1.0), 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(s_notANumber), 1.0), 1) << "behind no plane";
}

TEST(TqOcPickTraversal, CutsPointsAwayBehindAnyOfTheClipPlanes)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    TqLPlane3f planes[6];
    for (TqLPlane3f& plane : planes) {
        plane.SetValue(s_up, -1000.0);
    }
    for (int cutting = 0; cutting < 6; ++cutting) {
        planes[cutting].SetValue(s_up, 1.0);
        pick.SetClipPlanes(planes, 6);
        EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(0.0, 0.5, 0.0), 1.0), 0) << cutting;
        EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(0.0, 1.5, 0.0), 1.0), 1) << cutting;
        pick.SetClipPlanes(planes, cutting); // all but this one and what follows
        EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(0.0, 0.5, 0.0), 1.0), 1) << cutting;
        planes[cutting].SetValue(s_up, -1000.0);
    }
}

TEST(TqOcPickTraversal, LeavesShapesThatIgnoreClippingUncut)
{
    PickProbe pick(nullptr);
    AnyShape shape;
    shape.SetIgnoreClip(1);
    pick.SetClipPlanes(&s_cutsNegativeX, 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(-1.0), 1.0), 1);
    pick.SetPicked(&shape, At(-1.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(pick.CanPickPoint(&shape, At(-1.0), 1.0), 0) << "they must be nearer all the same";
}

TEST(TqOcPickTraversal, PrefersTheClipPlanesOfTheRenderTraversal)
{
    RecordingContext context;
    TqOcPrioritizedTraversal walk(&context);
    PickProbe pick(nullptr);
    AnyShape shape;
    pick.SetRenderTraversal(&walk);
    pick.SetClipPlanes(&s_cutsNegativeX, 1);
    walk.SetClipPlanes(&s_cutsNegativeY, 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(-1.0, 1.0, 0.0), 1.0), 1);
    EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(1.0, -1.0, 0.0), 1.0), 0);
    walk.SetClipPlanes(nullptr, 0);
    EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(-1.0, -1.0, 0.0), 1.0), 1)
        << "having none, the render traversal cuts nothing";
    pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(pick.CanPickPoint(&shape, TqLPos3f(-1.0, -1.0, 0.0), 1.0), 0);
}

// ---- CanRenderCull of nodes ---------------------------------------------------------------------

TEST(TqOcPickTraversal, AlwaysSkipsNodesThatIgnorePicks)
{
    PickByFrame stage;
    stage.pick.SetPickHidden(1);
    stage.node.SetFrameId(PickByFrame::s_frameId);
    EXPECT_EQ(stage.Ask(), 0);
    stage.node.SetIgnorePick(1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, SkipsHiddenNodesUnlessHiddenOnesArePicked)
{
    PickByFrame stage;
    stage.node.SetFrameId(PickByFrame::s_frameId);
    stage.node.SetHideRender(1);
    EXPECT_EQ(stage.Ask(), 1);
    for (int isPicked : {1, 2, -1}) {
        stage.pick.SetPickHidden(isPicked);
        EXPECT_EQ(stage.Ask(), 0) << isPicked;
    }
    stage.pick.SetPickHidden(0);
    stage.pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, SkipsNothingElseWithoutARenderTraversal)
{
    PickByFrame stage;
    stage.pick.SetRenderTraversal(nullptr);
    stage.node.UpdatePrimitives(TqLPrimitiveTypes::eNONE);
    stage.node.SetBoundingBox(TqLBox3f());
    stage.node.SetFrameId(1234);
    for (int pickLastRendered : {0, 1}) {
        stage.pick.SetPickLastRendered(pickLastRendered);
        EXPECT_EQ(stage.Ask(), 0) << pickLastRendered;
    }
}

TEST(TqOcPickTraversal, SkipsNodesThatTheLastFrameDidNotReach)
{
    PickByFrame stage;
    for (int counts : {1, 2, -1}) {
        SCOPED_TRACE(counts);
        stage.pick.SetPickLastRendered(counts);
        stage.node.SetFrameId(PickByFrame::s_frameId);
        EXPECT_EQ(stage.Ask(), 0);
        stage.node.SetFrameId(PickByFrame::s_frameId - 1);
        EXPECT_EQ(stage.Ask(), 1);
        stage.node.SetFrameId(PickByFrame::s_frameId + 1);
        EXPECT_EQ(stage.Ask(), 1);
    }
}

TEST(TqOcPickTraversal, SkipsAHiddenNodeOfTheLastFrameOnlyByItsFrameIdWhenHiddenOnesArePicked)
{
    PickByFrame stage;
    stage.pick.SetPickHidden(1);
    stage.node.SetHideRender(1);
    stage.node.SetFrameId(PickByFrame::s_frameId - 1);
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, AsksNodesOfTheLastFrameForNothingButTheirFrameId)
{
    PickByFrame stage;
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    stage.node.SetFrameId(PickByFrame::s_frameId);
    stage.node.SetBoundingBox(MakeCube(0.0, 0.0, 10.0, 1.0)); // behind the viewer
    EXPECT_EQ(stage.Ask(), 0);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 0U);
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 0U);
}

TEST(TqOcPickTraversal, GoesByTheFrameIdWhileTheRenderTraversalIsInteractive)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    stage.walk.Apply(&stage.node);
    ASSERT_NE(stage.walk.IsInteractive(), 0);
    stage.node.SetFrameId(PickByFrame::s_frameId - 1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetFrameId(PickByFrame::s_frameId);
    stage.node.SetBoundingBox(MakeCube(0.0, 0.0, 10.0, 1.0));
    EXPECT_EQ(stage.Ask(), 0);
    stage.walk.SetPolicy(TqOcRenderTraversal::eNEVER_INTERACTIVE);
    stage.walk.SetFrameId(PickByFrame::s_frameId + 1);
    stage.walk.Apply(&stage.node);
    ASSERT_EQ(stage.walk.IsInteractive(), 0);
    EXPECT_EQ(stage.Ask(), 1) << "behind the viewer";
}

TEST(TqOcPickTraversal, AsksForPrimitivesAndPriorityWhenTheLastFrameDoesNotCount)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetFrameId(PickByFrame::s_frameId - 1);
    EXPECT_EQ(stage.Ask(), 0) << "its frame id does not count";
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES | TqLPrimitiveTypes::eTEXT);
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.UpdatePrimitives(TqLPrimitiveTypes::eTEXT | TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(stage.Ask(), 0) << "one kind in common is enough";
    stage.node.UpdatePrimitives(TqLPrimitiveTypes::eNONE);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eALL);
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, SkipsNodesThatTheNextFrameWouldCull)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    EXPECT_EQ(stage.Ask(), 0);
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0)); // beside the view
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetBoundingBox(MakeCube(0.0, -50.0, -10.0, 1.0)); // below it
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetBoundingBox(MakeCube(0.0, 0.0, -100.0, 1.0));
    stage.walk.SetCullDistance(50.0);
    EXPECT_EQ(stage.Ask(), 1);
    stage.walk.SetCullDistance(200.0);
    EXPECT_EQ(stage.Ask(), 0);
}

TEST(TqOcPickTraversal, SkipsNodesBehindAClipPlaneOfTheRenderTraversal)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(-2.0, 0.0, -10.0, 1.0));
    stage.pick.SetClipPlanes(&s_cutsNegativeX, 1);
    EXPECT_EQ(stage.Ask(), 0) << "its own planes do not cull nodes";
    stage.walk.SetClipPlanes(&s_cutsNegativeX, 1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetIgnoreClip(1);
    EXPECT_EQ(stage.Ask(), 0);
}

TEST(TqOcPickTraversal, MeasuresNodesInTheWindowOfTheRenderTraversal)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.ownContext.windowWidth = 1;
    stage.ownContext.windowHeight = 1;
    EXPECT_EQ(stage.Ask(), 0);
    stage.context.windowWidth = 1;
    stage.context.windowHeight = 1;
    EXPECT_EQ(stage.Ask(), 1) << "less than a pixel";
    stage.context.windowWidth = 100;
    stage.context.windowHeight = 100;
    EXPECT_EQ(stage.Ask(), 0);
}

TEST(TqOcPickTraversal, SeesThroughTheViewFrustumOfTheRenderTraversal)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.walk.SetViewFrustum(
        TqLFrustum3f::Perspective(TqLPos3f(100.0, 0.0, -10.0), TqLVec3f(1.0, 0.0, 0.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 1.0, 1000.0));
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetBoundingBox(MakeCube(110.0, 0.0, -10.0, 1.0));
    EXPECT_EQ(stage.Ask(), 0);
}

TEST(TqOcPickTraversal, MeasuresNodesUnderTheStressOfTheRenderTraversal)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(0.0, 0.0, -10.0, 0.02)); // some four pixels each way
    EXPECT_EQ(stage.Ask(), 0);
    stage.walk.SetMinStress(10.0);
    stage.walk.Apply(&stage.node);
    ASSERT_EQ(stage.walk.GetStress(), 10.0);
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, TestsAllSidesOfTheViewWhateverItsOwnCullBits)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0));
    for (int cullBits : {0, 7, 63}) {
        stage.pick.SetCullBits(cullBits);
        EXPECT_EQ(stage.Ask(), 1) << cullBits;
        EXPECT_EQ(stage.pick.GetCullBits(), cullBits);
    }
}

TEST(TqOcPickTraversal, AddsToTheCountersOfTheRenderTraversalButStampsNothing)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetFrameId(3);
    stage.node.SetHysteresisId(2);
    stage.node.SetBoundingBox(MakeCube(0.0, 0.0, 10.0, 1.0)); // behind the eye: frames stamp this
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 1U);
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 7U);
    EXPECT_EQ(stage.node.GetFrameId(), 3U);
    EXPECT_EQ(stage.node.GetHysteresisId(), 2U);
    stage.walk.SetClipPlanes(&s_cutsNegativeX, 1);
    stage.node.SetBoundingBox(MakeCube(-2.0, 0.0, -10.0, 1.0)); // clipped away: the same
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 14U);
    EXPECT_EQ(stage.node.GetFrameId(), 3U);
    EXPECT_EQ(stage.pick.GetNumFrustumCullTests(), 0U) << "its own counters stay";
}

TEST(TqOcPickTraversal, CallsThePriorityCallbackOfTheRenderTraversal)
{
    struct Callback
    {
        static int Run(TqOcTraversable const* node, TqOcRenderTravCullData*, void* userData)
        {
            auto* const self = static_cast<Callback*>(userData);
            ++self->numCalls;
            self->lastNode = node;
            return self->answer;
        }

        int numCalls = 0;
        int answer = 1;
        TqOcTraversable const* lastNode = nullptr;
    } callback;

    PickByFrame stage;
    stage.walk.SetDynamicPriorityCallback(&Callback::Run, &callback);
    stage.node.SetFrameId(PickByFrame::s_frameId);
    EXPECT_EQ(stage.Ask(), 0);
    EXPECT_EQ(callback.numCalls, 0) << "nothing is scored where the last frame counts";
    stage.IgnoreLastFrame();
    EXPECT_EQ(stage.Ask(), 0);
    EXPECT_EQ(callback.numCalls, 1);
    EXPECT_EQ(callback.lastNode, &stage.node);
    for (int answer : {17, -1}) {
        callback.answer = answer;
        EXPECT_EQ(stage.Ask(), 0) << answer;
    }
    callback.answer = 0;
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(callback.numCalls, 4);
}

TEST(TqOcPickTraversal, ScoresNoNodeThatItSkipsAnyway)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetHideRender(1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetHideRender(0);
    stage.node.SetIgnorePick(1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.node.SetIgnorePick(0);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 0U);
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 0U);
}

TEST(TqOcPickTraversal, AsksForNoPriorityOutsideOfAPick)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0));
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0);
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0) << "the pick is over";
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 1U);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 1);
}

// ---- CanRenderCull of shapes --------------------------------------------------------------------

TEST(TqOcPickTraversal, SkipsShapesThatIgnorePicksOrAreHidden)
{
    for (bool follows : {false, true}) {
        SCOPED_TRACE(follows);
        PickByFrame stage;
        stage.pick.SetRenderTraversal(follows ? &stage.walk : nullptr);
        AnyShape shape;
        EXPECT_EQ(stage.AskOf(&shape), 0);
        shape.SetHideRender(1);
        EXPECT_EQ(stage.AskOf(&shape), 1);
        stage.pick.SetPickHidden(1);
        EXPECT_EQ(stage.AskOf(&shape), 0);
        shape.SetIgnorePick(1);
        EXPECT_EQ(stage.AskOf(&shape), 1);
    }
}

TEST(TqOcPickTraversal, SkipsShapesOfOtherPrimitivesThanTheRenderTraversals)
{
    PickByFrame stage;
    AnyShape shape;
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.AskOf(&shape), 1);
    shape.SetPrimitives(TqLPrimitiveTypes::eLINES | TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(stage.AskOf(&shape), 0);
    stage.IgnoreLastFrame();
    EXPECT_EQ(stage.AskOf(&shape), 0);
    shape.SetPrimitives(TqLPrimitiveTypes::eNONE);
    EXPECT_EQ(stage.AskOf(&shape), 1);
    stage.pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(stage.AskOf(&shape), 0);
}

TEST(TqOcPickTraversal, AsksShapesForNoFrameIdAndNoPriority)
{
    PickByFrame stage;
    AnyShape shape;
    shape.SetFrameId(PickByFrame::s_frameId + 1);
    EXPECT_EQ(stage.AskOf(&shape), 0);
    stage.IgnoreLastFrame();
    shape.SetBox(MakeCube(0.0, 0.0, 50.0, 1.0));
    EXPECT_EQ(stage.AskOf(&shape), 0);
    EXPECT_EQ(shape.GetNumBoxCalls(), 0);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 0U);
}

// ---- A pick from start to end -------------------------------------------------------------------

TEST(TqOcPickTraversal, WalksBetweenItsStartAndItsEnd)
{
    class TracedPick : public PickProbe
    {
    public:
        explicit TracedPick(EventLog* log) : PickProbe(nullptr), m_log(log) {}

        void StartTraversal(TqOcTraversable* root) override
        {
            m_log->Add("StartTraversal");
            PickProbe::StartTraversal(root);
        }

        void EndTraversal() override
        {
            m_log->Add("EndTraversal");
            PickProbe::EndTraversal();
        }

    protected:
        void StartPick(TqOcTraversable* root) override { m_log->Add("StartPick " + Name(root)); }

    private:
        std::string Name(TqOcTraversable* root)
        {
            return m_log->GetName(static_cast<TqOcBaseTraversable*>(root));
        }

        EventLog* m_log;
    };

    EventLog log;
    TracedPick pick(&log);
    RecordingTraversable node(&log, "root");
    node.SetModified(TqOcBaseTraversable::eMODIFIED_BOX);
    log.Clear();
    TqOcTraversal& base = pick;
    base.Apply(&node);
    EXPECT_EQ(log.Get(),
              (Lines{"DoUpdate root", "StartTraversal", "StartPick root", "EndTraversal"}));
}

TEST(TqOcPickTraversal, BeginsEachPickWithoutAPickedShape)
{
    PickProbe pick(nullptr);
    PlainTraversable node;
    AnyShape shape;
    pick.onStartPick = [&](TqOcTraversable*) {
        EXPECT_EQ(pick.GetPickedShape(), nullptr);
        EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0);
        pick.PickShape(&shape);
        pick.SetPicked(&shape, At(3.0), 3.0, 4, TqOcPickTraversal::ePICK_POINT);
    };
    for (int run = 0; run < 2; ++run) {
        pick.Apply(&node);
        EXPECT_EQ(pick.GetPickedShape(), &shape) << "results stay until the next pick";
        EXPECT_EQ(pick.GetAllPickedShapes().Size(), 1);
    }
}

TEST(TqOcPickTraversal, KeepsTheOtherResultsOfAnEarlierPick)
{
    PickProbe pick(nullptr);
    PlainTraversable node;
    AnyShape shape;
    pick.SetPicked(&shape, At(3.0), 3.0, 4, TqOcPickTraversal::ePICK_POINT);
    pick.SetNormal(s_up);
    pick.SetDirection(s_up);
    pick.SetColor(TqLColor3f(1.0, 2.0, 3.0));
    pick.SetTexCoord(TqLPos2f(4.0, 5.0));
    pick.SetVertices(At(1.0), At(2.0), At(3.0));
    pick.Apply(&node);
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
    EXPECT_EQ(pick.GetDistance(), 3.0);
    EXPECT_EQ(pick.GetPickedPoint(), At(3.0));
    EXPECT_EQ(pick.GetSubObjectId(), 4U);
    EXPECT_EQ(pick.GetPickType(), TqOcPickTraversal::ePICK_POINT);
    EXPECT_EQ(pick.GetPropertyBits(), 15U);
    EXPECT_EQ(pick.GetNormal(), s_up);
    EXPECT_EQ(pick.GetDirection(), s_up);
    EXPECT_EQ(pick.GetColor(), TqLColor3f(1.0, 2.0, 3.0));
    EXPECT_EQ(pick.GetTexCoord(), TqLPos2f(4.0, 5.0));
    EXPECT_EQ(pick.GetVertices()[2], At(3.0));
}

TEST(TqOcPickTraversal, AcceptsAFartherPointInTheNextPick)
{
    PickProbe pick(nullptr);
    PlainTraversable node;
    AnyShape shape;
    pick.SetPicked(&shape, At(3.0), 3.0, 0, TqOcPickTraversal::ePICK_POINT);
    int answer = -1;
    pick.onStartPick = [&](TqOcTraversable*) { answer = pick.CanPickPoint(&shape, At(9.0), 9.0); };
    pick.Apply(&node);
    EXPECT_EQ(answer, 1) << "the distance of the last pick means nothing any more";
}

TEST(TqOcPickTraversal, KeepsTheStorageOfItsList)
{
    PickProbe pick(nullptr);
    PlainTraversable node;
    AnyShape shape;
    pick.onStartPick = [&](TqOcTraversable*) {
        for (int i = 0; i < 1000; ++i) {
            pick.PickShape(&shape);
        }
    };
    pick.Apply(&node);
    int const capacity = pick.GetAllPickedShapes().Capacity();
    TqOcShape* const* const storage = pick.GetAllPickedShapes().Begin();
    AllocationCounter counter;
    pick.Apply(&node);
    EXPECT_EQ(counter.GetNum(), 0U);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 1000);
    EXPECT_EQ(pick.GetAllPickedShapes().Begin(), storage);
    pick.onStartPick = nullptr;
    pick.Apply(&node);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0);
    EXPECT_EQ(pick.GetAllPickedShapes().Capacity(), capacity);
}

TEST(TqOcPickTraversal, TakesNothingFromTheHeap)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    RecordingContext context; // without a log
    stage.walk.SetContext(&context);
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0);
    };
    AllocationCounter counter;
    stage.pick.Apply(&stage.node);
    EXPECT_EQ(counter.GetNum(), 0U);
    EXPECT_EQ(stage.pick.numPicks, 1);
}

TEST(TqOcPickTraversal, LooksAtTheViewOfTheRenderTraversalOncePerPick)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        for (int i = 0; i < 5; ++i) {
            stage.pick.CanRenderCull(&stage.node);
        }
    };
    stage.pick.Apply(&stage.node);
    EXPECT_EQ(stage.log.Count("GetWindowSize"), 1);
    EXPECT_EQ(stage.ownLog.Count("GetWindowSize"), 0);
    stage.pick.Apply(&stage.node);
    EXPECT_EQ(stage.log.Count("GetWindowSize"), 2);
}

TEST(TqOcPickTraversal, GoesOnWithTheViewWithWhichItStarted)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    int answer = -1;
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        stage.walk.SetViewFrustum(
            TqLFrustum3f::Perspective(TqLPos3f(100.0, 0.0, 0.0), TqLVec3f(1.0, 0.0, 0.0),
                                      TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 1.0, 1000.0));
        answer = stage.pick.CanRenderCull(&stage.node);
    };
    stage.pick.Apply(&stage.node);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(stage.Ask(), 1) << "the next pick has the new view";
}

TEST(TqOcPickTraversal, MakesAnewWhatAnInterruptedPickLeft)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    AnyShape shape;
    stage.pick.StartTraversal(&stage.node); // and no end
    stage.pick.PickShape(&shape);
    stage.pick.SetPicked(&shape, At(1.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    stage.walk.SetViewFrustum(
        TqLFrustum3f::Perspective(TqLPos3f(100.0, 0.0, 0.0), TqLVec3f(1.0, 0.0, 0.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 1.0, 1000.0));
    int answer = -1;
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        answer = stage.pick.CanRenderCull(&stage.node);
        EXPECT_EQ(stage.pick.GetPickedShape(), nullptr);
        EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 0);
    };
    stage.pick.StartTraversal(&stage.node);
    EXPECT_EQ(answer, 1);
    stage.pick.EndTraversal();
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0) << "the pick is over";
}

TEST(TqOcPickTraversal, DropsWhatAnInterruptedPickLeftWhenItFollowsNoOneAnyMore)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0));
    stage.pick.StartTraversal(&stage.node); // and no end
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 1) << "the pick is still running";
    stage.pick.SetRenderTraversal(nullptr);
    int answer = -1;
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        // Followed again in the middle of the pick: there is no view to ask.
        stage.pick.SetRenderTraversal(&stage.walk);
        answer = stage.pick.CanRenderCull(&stage.node);
    };
    stage.pick.StartTraversal(&stage.node);
    EXPECT_EQ(answer, 0);
    stage.pick.EndTraversal();
}

TEST(TqOcPickTraversal, MayBeEndedTwice)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0)); // out of view
    stage.pick.StartTraversal(&stage.node);
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 1);
    for (int end = 0; end < 2; ++end) {
        stage.pick.EndTraversal();
        EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0) << "there is no view to ask";
    }
    EXPECT_EQ(stage.Ask(), 1);
}

TEST(TqOcPickTraversal, CanBeDestroyedInTheMiddleOfAPick)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    AnyShape shape;
    {
        PickByFrame stage;
        stage.pick.onStartPick = [&](TqOcTraversable*) { stage.pick.PickShape(&shape); };
        stage.pick.StartTraversal(&stage.node);
        EXPECT_GT(TqUMemory::GetLiveBlocks(), before);
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), before);
}

TEST(TqOcPickTraversal, LetsAnExceptionOutAndPicksOnAfterwards)
{
    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0));
    AnyShape shape;
    stage.pick.onStartPick = [&](TqOcTraversable*) {
        stage.pick.PickShape(&shape);
        throw std::runtime_error("host");
    };
    EXPECT_THROW(stage.pick.Apply(&stage.node), std::runtime_error);
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 1) << "results so far stay";
    EXPECT_EQ(stage.pick.CanRenderCull(&stage.node), 0) << "the pick is over";
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 0U);
    EXPECT_EQ(stage.Ask(), 1);
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 0);
}

TEST(TqOcPickTraversal, LetsAnExceptionFromTheRenderTraversalsContextOut)
{
    class ThrowingContext : public TqOcContext
    {
    public:
        void GetWindowSize(int*, int*) override { throw std::runtime_error("host"); }
    } context;

    PickByFrame stage;
    stage.IgnoreLastFrame();
    stage.node.SetBoundingBox(MakeCube(50.0, 0.0, -10.0, 1.0));
    stage.walk.SetContext(&context);
    EXPECT_THROW(stage.pick.Apply(&stage.node), std::runtime_error);
    EXPECT_EQ(stage.pick.numPicks, 0);
    stage.walk.SetContext(&stage.context);
    EXPECT_EQ(stage.Ask(), 1);
}

// ---- Bad input ----------------------------------------------------------------------------------

TEST(TqOcPickTraversal, PostsANullRootAndPicksNothing)
{
    PickProbe pick(nullptr);
    PostedErrors posted;
    pick.Apply(nullptr);
    EXPECT_EQ(pick.numPicks, 0);
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0);
    ASSERT_GE(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
}

TEST(TqOcPickTraversal, ForgetsThePickBeforeWhenAppliedToANullRoot)
{
    PickByFrame stage;
    AnyShape shape;
    for (bool isAsync : {false, true}) {
        SCOPED_TRACE(isAsync);
        stage.pick.PickShape(&shape);
        stage.pick.SetPicked(&shape, At(1.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
        stage.pick.IncFrustumCullTests(2);
        PostedErrors posted;
        isAsync ? stage.pick.AsyncApply(nullptr) : stage.pick.Apply(nullptr);
        EXPECT_EQ(posted.AsLines(),
                  Lines{"1 TqOcTraversal: A traversal was applied to a null root"});
        EXPECT_EQ(stage.pick.numPicks, 0);
        EXPECT_EQ(stage.pick.GetPickedShape(), nullptr);
        EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 0);
        EXPECT_EQ(stage.pick.GetNumFrustumCullTests(), 0U);
    }
}

TEST(TqOcPickTraversal, ShowsTheDynamicPriorityCallbackTheSameDataAsAFrame)
{
    using DataList = std::vector<TqOcRenderTravCullData>;
    PickByFrame stage;
    stage.node.SetBoundingBox(MakeBox(-1.0, -1.0, -5.0, 1.0, 1.0, 5.0)); // around the eye
    DataList seen;
    stage.walk.SetDynamicPriorityCallback(
        [](TqOcTraversable const*, TqOcRenderTravCullData* data, void* list) {
            static_cast<DataList*>(list)->push_back(*data);
            return 1;
        },
        &seen);
    stage.IgnoreLastFrame();
    stage.pick.onStartPick = [&](TqOcTraversable* root) {
        FillStack();
        stage.pick.CanRenderCull(root);
    };
    // What is not computed for a node that is always drawn is 0, not what was left on the stack.
    for (int isForced : {0, 1}) {
        SCOPED_TRACE(isForced);
        stage.node.SetForceRender(isForced);
        seen.clear();
        stage.walk.Apply(&stage.node);
        stage.pick.Apply(&stage.node);
        ASSERT_EQ(seen.size(), 2U);
        EXPECT_EQ(seen[0].cullBits & TqOcTravCull::eCULL_Z, TqOcTravCull::eCULL_Z);
        EXPECT_EQ(seen[1].cullBits, seen[0].cullBits);
        EXPECT_EQ(seen[1].distance, seen[0].distance);
        EXPECT_EQ(seen[1].priority, seen[0].priority);
        EXPECT_EQ(seen[1].screenBox, seen[0].screenBox);
    }
}

TEST(TqOcPickTraversal, PostsANullRootAtItsStart)
{
    PickProbe pick(nullptr);
    PostedErrors posted;
    pick.StartTraversal(nullptr);
    pick.EndTraversal();
    EXPECT_EQ(pick.numPicks, 0);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
}

TEST(TqOcPickTraversal, PostsARenderTraversalWithoutAContextAndPicksNothing)
{
    PickByFrame stage;
    AnyShape shape;
    stage.pick.PickShape(&shape);
    stage.pick.SetPicked(&shape, At(1.0), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    stage.walk.SetContext(nullptr);
    for (int pickLastRendered : {1, 0}) {
        SCOPED_TRACE(pickLastRendered);
        stage.pick.SetPickLastRendered(pickLastRendered);
        PostedErrors posted;
        stage.pick.Apply(&stage.node);
        EXPECT_EQ(posted.AsLines(), Lines{"1 TqOcPickTraversal: A pick follows a render traversal "
                                          "that has no context"});
        EXPECT_EQ(stage.pick.numPicks, 0);
        EXPECT_EQ(stage.pick.GetPickedShape(), nullptr);
        EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 0);
    }
    stage.walk.SetContext(&stage.context);
    stage.node.SetFrameId(PickByFrame::s_frameId);
    PostedErrors posted;
    stage.pick.SetPickLastRendered(1);
    EXPECT_EQ(stage.Ask(), 0);
    EXPECT_TRUE(posted.Empty());
}

TEST(TqOcPickTraversal, NeedsNoContextOfItsOwn)
{
    PickByFrame stage;
    stage.pick.SetContext(nullptr);
    stage.IgnoreLastFrame();
    PostedErrors posted;
    EXPECT_EQ(stage.Ask(), 0);
    EXPECT_TRUE(posted.Empty());
}

TEST(TqOcPickTraversal, TakesNodesAndAFrameThatNeverRanAsOfTheSameFrame)
{
    // Both carry the number 0; from the first number that the host sets on, nothing is drawn yet.
    PickByFrame stage;
    stage.walk.SetFrameId(0);
    EXPECT_EQ(stage.Ask(), 0);
    stage.walk.SetFrameId(1);
    EXPECT_EQ(stage.Ask(), 1);
    stage.IgnoreLastFrame();
    EXPECT_EQ(stage.Ask(), 0) << "the view is there without a frame";
}
