#include "scenecull/TqOcPickFrustumTraversal.h"

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/DirtyStorage.h"
#include "support/FakeClock.h"
#include "support/PickStage.h"
#include "support/PostedErrors.h"
#include "support/Recorders.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr double s_notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double s_infinity = std::numeric_limits<double>::infinity();
constexpr unsigned int s_allHits = 32;

/// A box on the far plane: inside all other planes, cut by that one.
TqLBox3f const s_acrossFar = MakeCube(0.0, 0.0, -100.0, 1.0);
TqLBox3f const s_acrossLeft = MakeCube(-10.0, 0.0, -50.0, 1.0);
TqLBox3f const s_leftOfAll = MakeCube(-50.0, 0.0, -50.0, 1.0);
/// Beyond the plane that is tested last, and inside all that are tested before it.
TqLBox3f const s_beyondFar = MakeCube(0.0, 0.0, -200.0, 1.0);

bool AreSame(TqLFrustum3f const& a, TqLFrustum3f const& b)
{
    TqLPlane3f planesA[6];
    TqLPlane3f planesB[6];
    a.GetPlanes(planesA);
    b.GetPlanes(planesB);
    return std::equal(planesA, planesA + 6, planesB) && a.GetViewpoint() == b.GetViewpoint();
}

bool AreSame(TqLPickFrustum3f const& a, TqLPickFrustum3f const& b)
{
    bool same = a.GetOrigin() == b.GetOrigin();
    for (int index = 0; index < TqLPickFrustum3f::eNUM_PLANES; ++index) {
        same = same && a.GetPlane(index) == b.GetPlane(index);
    }
    return same;
}

/// A group that writes down the mask with which its turn comes.
class TracedGroup : public TqOcStaticGroup
{
public:
    explicit TracedGroup(std::vector<int>* bits) : m_bits(bits) {}

    void PickFrustum(TqOcPickFrustumTraversal* traversal) override
    {
        m_bits->push_back(traversal->GetCullBits());
        TqOcStaticGroup::PickFrustum(traversal);
    }

private:
    std::vector<int>* m_bits;
};

/// The kinds of containers; what holds for all of them is tested with each.
enum class Kind
{
    eSTATIC_GROUP,
    eDYNAMIC_GROUP,
    eSTATIC_LEAF,
    eMARKED_GROUP ///< A static group that was marked as a leaf and holds shapes.
};

std::string GetKindName(testing::TestParamInfo<Kind> const& info)
{
    switch (info.param) {
    case Kind::eSTATIC_GROUP:
        return "StaticGroup";
    case Kind::eDYNAMIC_GROUP:
        return "DynamicGroup";
    case Kind::eSTATIC_LEAF:
        return "StaticLeaf";
    case Kind::eMARKED_GROUP:
        break;
    }
    return "GroupMarkedAsLeaf";
}

/// A container of each kind over the same shapes; groups hold a single leaf for each.
class TqOcPickFrustumContainer : public testing::TestWithParam<Kind>
{
protected:
    using Shapes = std::initializer_list<TqOcShape*>;

    /// Makes the container and brings it up to date.
    TqOcTraversable* Fill(Shapes shapes)
    {
        switch (GetParam()) {
        case Kind::eSTATIC_GROUP:
            FillGroup(new TqOcStaticGroup, shapes);
            break;
        case Kind::eDYNAMIC_GROUP:
            FillGroup(new TqOcDynamicGroup, shapes);
            break;
        case Kind::eSTATIC_LEAF:
            root.reset(MakeStaticLeaf(shapes));
            break;
        case Kind::eMARKED_GROUP: {
            auto* const group = new TqOcStaticGroup;
            group->SetLeaf(1);
            for (TqOcShape* const shape : shapes) {
                group->AddShape(shape);
            }
            root.reset(group);
        }
        }
        root->Update();
        return root.get();
    }

    bool HoldsNodes() const
    {
        return GetParam() == Kind::eSTATIC_GROUP || GetParam() == Kind::eDYNAMIC_GROUP;
    }

    /// The container's children in its own order.
    std::vector<TqOcBaseTraversable*> GetChildren() const
    {
        TqOcBaseTraversable* const* children = nullptr;
        int const count = root->GetChildren(&children);
        return {children, children + count};
    }

    PickStage stage;
    std::unique_ptr<TqOcTraversable> root;

private:
    template <class Group>
    void FillGroup(Group* group, Shapes shapes)
    {
        for (TqOcShape* const shape : shapes) {
            group->AddChild(new TqOcSingleLeaf(shape));
        }
        root.reset(group);
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, TqOcPickFrustumContainer,
                         testing::Values(Kind::eSTATIC_GROUP, Kind::eDYNAMIC_GROUP,
                                         Kind::eSTATIC_LEAF, Kind::eMARKED_GROUP),
                         GetKindName);

} // namespace

// ---- Settings -----------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, HasItsDefaultsAfterConstruction)
{
    RecordingContext context;
    DirtyStorage<TqOcPickFrustumTraversal> const storage(&context);
    TqOcPickFrustumTraversal const& pick = *storage;
    EXPECT_EQ(pick.GetContext(), &context);
    EXPECT_TRUE(AreSame(pick.GetFrustum(), TqLPickFrustum3f()));
    EXPECT_EQ(pick.GetPickBits(), 0);
    EXPECT_EQ(pick.GetResultBits(), 0);
    EXPECT_EQ(pick.IsContainedOnly(), 0);
    EXPECT_TRUE(AreSame(pick.GetViewportFrustum(), TqLFrustum3f()));
    EXPECT_EQ(pick.GetViewportWidth(), 0);
    EXPECT_EQ(pick.GetViewportHeight(), 0);
    EXPECT_EQ(pick.GetViewportBox(), TqLBox2f());
    EXPECT_TRUE(pick.GetViewportBox().IsEmpty());
    EXPECT_FALSE(pick.HasViewportFrustum());
    EXPECT_FALSE(pick.IsPickingTimeOut());
    EXPECT_EQ(pick.GetCullBits(), 0);
}

TEST(TqOcPickFrustumTraversal, KeepsWhatIsSet)
{
    TqOcPickFrustumTraversal pick(nullptr);
    pick.SetPickBits(5);
    pick.SetResultBits(6);
    pick.SetContainedOnly(1);
    TqLPickFrustum3f const frustum(PickStage::MakeFrustum());
    pick.SetFrustum(frustum);
    EXPECT_EQ(pick.GetPickBits(), 5);
    EXPECT_EQ(pick.GetResultBits(), 6);
    EXPECT_EQ(pick.IsContainedOnly(), 1);
    EXPECT_TRUE(AreSame(pick.GetFrustum(), frustum));
    EXPECT_EQ(pick.GetViewportWidth(), 0) << "a frustum is no viewport";
}

TEST(TqOcPickFrustumTraversal, TakesAViewFrustumWithItsViewport)
{
    TqOcPickFrustumTraversal pick(nullptr);
    TqLFrustum3f const frustum = PickStage::MakeFrustum();
    TqLBox2f const box(TqLPos2f(10.0, 20.0), TqLPos2f(30.0, 40.0));
    pick.SetViewportFrustum(frustum, 640, 480, box);
    EXPECT_TRUE(AreSame(pick.GetViewportFrustum(), frustum));
    EXPECT_EQ(pick.GetViewportWidth(), 640);
    EXPECT_EQ(pick.GetViewportHeight(), 480);
    EXPECT_EQ(pick.GetViewportBox(), box);
    EXPECT_TRUE(pick.HasViewportFrustum());
    EXPECT_TRUE(AreSame(pick.GetFrustum(), TqLPickFrustum3f(frustum)));
}

TEST(TqOcPickFrustumTraversal, LosesItsViewportWithoutForgettingTheRest)
{
    TqOcPickFrustumTraversal pick(nullptr);
    TqLFrustum3f const frustum = PickStage::MakeFrustum();
    TqLBox2f const box(TqLPos2f(10.0, 20.0), TqLPos2f(30.0, 40.0));
    pick.SetViewportFrustum(frustum, 640, 480, box);
    pick.ClearViewportFrustum();
    EXPECT_FALSE(pick.HasViewportFrustum());
    EXPECT_EQ(pick.GetViewportWidth(), 0);
    EXPECT_EQ(pick.GetViewportHeight(), 480);
    EXPECT_EQ(pick.GetViewportBox(), box);
    EXPECT_TRUE(AreSame(pick.GetViewportFrustum(), frustum));
    EXPECT_TRUE(AreSame(pick.GetFrustum(), TqLPickFrustum3f(frustum)));
}

TEST(TqOcPickFrustumTraversal, HasAViewportWhenItsWidthIsAboveZero)
{
    TqOcPickFrustumTraversal pick(nullptr);
    pick.SetViewportFrustum(TqLFrustum3f(), 1, 0, TqLBox2f());
    EXPECT_TRUE(pick.HasViewportFrustum());
    pick.SetViewportFrustum(TqLFrustum3f(), 0, 480, TqLBox2f());
    EXPECT_FALSE(pick.HasViewportFrustum());
    pick.SetViewportFrustum(TqLFrustum3f(), -1, 480, TqLBox2f());
    EXPECT_FALSE(pick.HasViewportFrustum());
}

TEST(TqOcPickFrustumTraversal, KeepsFrustumViewportAndBitsBetweenPicks)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    stage.pick.SetViewportFrustum(PickStage::MakeFrustum(), 640, 480,
                                  TqLBox2f(TqLPos2f(1.0, 2.0), TqLPos2f(3.0, 4.0)));
    stage.pick.SetPickBits(5);
    stage.pick.SetResultBits(6);
    stage.pick.SetContainedOnly(1);
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    }
    EXPECT_EQ(stage.pick.GetPickBits(), 5);
    EXPECT_EQ(stage.pick.GetResultBits(), 6);
    EXPECT_EQ(stage.pick.IsContainedOnly(), 1);
    EXPECT_TRUE(AreSame(stage.pick.GetFrustum(), TqLPickFrustum3f(PickStage::MakeFrustum())));
    EXPECT_TRUE(AreSame(stage.pick.GetViewportFrustum(), PickStage::MakeFrustum()));
    EXPECT_EQ(stage.pick.GetViewportWidth(), 640);
    EXPECT_EQ(stage.pick.GetViewportHeight(), 480);
    EXPECT_EQ(stage.pick.GetViewportBox(), TqLBox2f(TqLPos2f(1.0, 2.0), TqLPos2f(3.0, 4.0)));
}

TEST(TqOcPickFrustumTraversal, LeavesContainedOnlyToTheShapes)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticLeaf({stage.ShapeIn("across", s_acrossLeft), stage.Shape("inside", 5.0)}));
    stage.pick.SetContainedOnly(1);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"across", "inside"}));
}

// ---- CanCull ------------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, CullsNodesOutsideItsFrustum)
{
    PickStage stage;
    PlainTraversable node(MakeCube(0.0, 0.0, -50.0, 1.0), 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    for (TqLBox3f const& box : {s_leftOfAll, MakeCube(50.0, 0.0, -50.0, 1.0),
                                MakeCube(0.0, -50.0, -50.0, 1.0), MakeCube(0.0, 50.0, -50.0, 1.0),
                                MakeCube(0.0, 0.0, 50.0, 1.0), s_beyondFar, TqLBox3f()}) {
        node.SetBoundingBox(box);
        stage.pick.SetCullBits(ePLANES_ALL);
        EXPECT_EQ(stage.pick.CanCull(&node), 1);
    }
}

TEST(TqOcPickFrustumTraversal, TestsNodesAndShapesAgainstThePlanesOfItsCullBitsAlone)
{
    PickStage stage;
    PlainTraversable node(s_leftOfAll, 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    RecordingShape shape(nullptr, "", s_leftOfAll);
    stage.pick.SetCullBits(ePLANES_ALL & ~ePLANE_LEFT);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    stage.pick.SetCullBits(ePLANES_ALL & ~ePLANE_LEFT);
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    stage.pick.SetCullBits(ePLANE_LEFT);
    EXPECT_EQ(stage.pick.CanCull(&node), 1);
    stage.pick.SetCullBits(ePLANE_LEFT);
    EXPECT_EQ(stage.pick.CanCull(&shape), 1);
    stage.pick.SetCullBits(0);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
}

TEST(TqOcPickFrustumTraversal, NarrowsItsCullBitsToThePlanesThatCutTheBox)
{
    PickStage stage;
    PlainTraversable node(s_acrossLeft, 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANE_LEFT);
    RecordingShape shape(nullptr, "", s_acrossFar);
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANE_FAR);
    stage.pick.SetCullBits(ePLANE_NEAR | ePLANE_LEFT);
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    EXPECT_EQ(stage.pick.GetCullBits(), 0);
}

TEST(TqOcPickFrustumTraversal, CullsNodesThatWereNotDrawn)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    PlainTraversable node(MakeCube(0.0, 0.0, -50.0, 1.0), 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    stage.pick.SetCullBits(0);
    node.SetIgnorePick(1);
    EXPECT_EQ(stage.pick.CanCull(&node), 1);
    node.SetIgnorePick(0);
    node.SetHideRender(1);
    EXPECT_EQ(stage.pick.CanCull(&node), 1);
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    stage.pick.SetRenderTraversal(&walk);
    walk.SetFrameId(3);
    EXPECT_EQ(stage.pick.CanCull(&node), 1);
    node.SetFrameId(3);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
}

TEST(TqOcPickFrustumTraversal, ScoresNoNodeOutsideItsFrustum)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    stage.pick.SetPickLastRendered(0);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup(
        {new TqOcSingleLeaf(stage.ShapeIn("a", s_leftOfAll)),
         new TqOcSingleLeaf(stage.Shape("b", 5.0)), new TqOcSingleLeaf(stage.Shape("c", 7.0))}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"b", "c"}));
    EXPECT_EQ(walk.GetNumFrustumCullTests(), 3U) << "the root, b and c";
}

TEST(TqOcPickFrustumTraversal, CullsShapesByTheirSwitchesPrimitivesAndBox)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    RecordingShape shape(nullptr, "", MakeCube(0.0, 0.0, -50.0, 1.0));
    auto const canCull = [&] {
        stage.pick.SetCullBits(ePLANES_ALL);
        return stage.pick.CanCull(&shape);
    };
    EXPECT_EQ(canCull(), 0);
    EXPECT_EQ(shape.GetNumBoxCalls(), 1);
    EXPECT_TRUE(shape.GotOnlyEmptyBoxes());
    shape.SetIgnorePick(1);
    EXPECT_EQ(canCull(), 1);
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(canCull(), 1);
    shape.SetIgnorePick(0);
    shape.SetHideRender(1);
    EXPECT_EQ(canCull(), 0);
    stage.pick.SetPickHidden(0);
    EXPECT_EQ(canCull(), 1);
    shape.SetHideRender(0);
    stage.pick.SetRenderTraversal(&walk);
    EXPECT_EQ(canCull(), 0);
    walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    int const numBoxCalls = shape.GetNumBoxCalls();
    EXPECT_EQ(canCull(), 1);
    EXPECT_EQ(shape.GetNumBoxCalls(), numBoxCalls) << "its box is not wanted then";
    walk.SetPrimitiveBits(TqLPrimitiveTypes::eALL);
    shape.SetBox(s_beyondFar);
    EXPECT_EQ(canCull(), 1);
    shape.SetBox(TqLBox3f());
    EXPECT_EQ(canCull(), 1) << "an empty box is nowhere";
}

TEST(TqOcPickFrustumTraversal, AsksForNoFrameIdOfShapes)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    walk.SetFrameId(3);
    auto* const shape = stage.Shape("a", 5.0);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({shape}));
    root->SetFrameId(3);
    shape->SetFrameId(2);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    root->SetFrameId(2);
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
}

TEST(TqOcPickFrustumTraversal, PrunesStrictlyBehindTheNearestHit)
{
    PickStage stage;
    PlainTraversable node(MakeBox(-1.0, -1.0, -60.0, 1.0, 1.0, -50.0), 1.0, 1,
                          TqLPrimitiveTypes::eTRIANGLES);
    RecordingShape shape(nullptr, "", node.GetBoundingBox());
    auto const hitAt = [&](double distance) {
        stage.pick.SetPicked(&shape, TqLPos3f(), distance, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    };
    EXPECT_EQ(stage.pick.CanCull(&node), 0) << "nothing is pruned before the first hit";
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    hitAt(49.0);
    EXPECT_EQ(stage.pick.CanCull(&node), 1);
    EXPECT_EQ(stage.pick.CanCull(&shape), 1);
    hitAt(50.0);
    EXPECT_EQ(stage.pick.CanCull(&node), 0) << "a box that begins at the hit is visited";
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    hitAt(49.0);
    stage.pick.SetRequiredPropertyBits(s_allHits);
    EXPECT_EQ(stage.pick.CanCull(&node), 0);
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
    stage.pick.SetRequiredPropertyBits(~s_allHits);
    EXPECT_EQ(stage.pick.CanCull(&node), 1) << "no other bit turns the pruning off";
    EXPECT_EQ(stage.pick.CanCull(&shape), 1);
    hitAt(s_notANumber);
    EXPECT_EQ(stage.pick.CanCull(&node), 0) << "nothing is farther than that";
    EXPECT_EQ(stage.pick.CanCull(&shape), 0);
}

TEST(TqOcPickFrustumTraversal, ForgetsTheDistanceOfAnEarlierPick)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 50.0)}));
    RecordingShape nearer(nullptr, "", MakeCube(0.0, 0.0, -5.0, 1.0));
    stage.pick.SetPicked(&nearer, TqLPos3f(), 4.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
}

// ---- Start --------------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, StartsWithAllSixPlanes)
{
    PickStage stage;
    std::vector<int> bits;
    auto* const group = new TracedGroup(&bits);
    std::unique_ptr<TqOcTraversable> const root(group);
    // Across all planes, so that none is spared.
    group->AddChild(
        new TqOcSingleLeaf(stage.ShapeIn("a", MakeBox(-20.0, -20.0, -200.0, 20.0, 20.0, 20.0))));
    for (int bitsBefore : {0, 1, 7}) {
        stage.pick.SetCullBits(bitsBefore);
        EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    }
    EXPECT_EQ(bits, (std::vector<int>{ePLANES_ALL, ePLANES_ALL, ePLANES_ALL}));
}

TEST(TqOcPickFrustumTraversal, SparesTheChildrenThePlanesThatTheRootLiesInside)
{
    PickStage stage;
    std::vector<int> bits;
    auto* const group = new TracedGroup(&bits);
    std::unique_ptr<TqOcTraversable> const root(group);
    group->AddChild(new TqOcSingleLeaf(stage.ShapeIn("a", s_acrossFar)));
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    EXPECT_EQ(bits, std::vector<int>{ePLANE_FAR});
}

TEST(TqOcPickFrustumTraversal, PicksNothingUnderARootOutsideTheFrustum)
{
    PickStage stage;
    auto* const shape = stage.ShapeIn("a", s_leftOfAll);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({shape}));
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    EXPECT_EQ(stage.pick.GetPickedShape(), nullptr);
    shape->SetBox(s_acrossLeft);
    shape->Notify(TqOcBaseTraversable::eMODIFIED_BOX);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"}) << "brought up to date by the pick";
}

TEST(TqOcPickFrustumTraversal, PicksNothingUnderARootThatIsHiddenIgnoredOrNotDrawn)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    root->Update();
    root->UpdateHideRender(1);
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    root->UpdateIgnorePick(1);
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    root->UpdateIgnorePick(0);
    stage.pick.SetRenderTraversal(&walk);
    walk.SetFrameId(9);
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    root->SetFrameId(9);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
}

// ---- Time-out -----------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, IsNotTimedOutBeforeAnyPick)
{
    FakeClock clock;
    TqOcPickFrustumTraversal const pick(nullptr);
    EXPECT_FALSE(pick.IsPickingTimeOut());
    clock.Advance(3600.0);
    EXPECT_FALSE(pick.IsPickingTimeOut());
}

TEST(TqOcPickFrustumTraversal, IsTimedOutAFifthOfASecondAfterItsStart)
{
    FakeClock clock;
    PickStage stage;
    std::vector<bool> answers;
    auto* const shape = stage.Shape("a", 5.0);
    shape->onPick = [&](TqOcPickFrustumTraversal* traversal) {
        answers.push_back(traversal->IsPickingTimeOut());
        clock.Advance(0.1999);
        answers.push_back(traversal->IsPickingTimeOut());
        clock.Advance(0.0002);
        answers.push_back(traversal->IsPickingTimeOut());
    };
    auto* const after = stage.Shape("b", 6.0);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({shape, after}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "b"})) << "the walk itself never stops";
    EXPECT_EQ(answers, (std::vector<bool>{false, false, true}));
    EXPECT_TRUE(stage.pick.IsPickingTimeOut());
}

TEST(TqOcPickFrustumTraversal, StartsItsTimeOutAnewInEveryPick)
{
    FakeClock clock;
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    for (int run = 0; run < 3; ++run) {
        stage.Pick(root.get());
        EXPECT_FALSE(stage.pick.IsPickingTimeOut()) << run;
        clock.Advance(0.25);
        EXPECT_TRUE(stage.pick.IsPickingTimeOut()) << run;
    }
}

TEST(TqOcPickFrustumTraversal, StartsNoTimeOutForACulledRoot)
{
    FakeClock clock;
    PickStage stage;
    auto* const shape = stage.ShapeIn("a", s_leftOfAll);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({shape}));
    int const numReadings = clock.GetNumReadings();
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
    clock.Advance(3600.0);
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
    EXPECT_EQ(clock.GetNumReadings(), numReadings) << "nothing was started";
}

TEST(TqOcPickFrustumTraversal, IsNotTimedOutByAnEarlierPickWhenTheRootIsCulled)
{
    FakeClock clock;
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    std::unique_ptr<TqOcTraversable> const outside(
        MakeStaticLeaf({stage.ShapeIn("b", s_leftOfAll)}));
    stage.Pick(root.get());
    clock.Advance(0.5);
    ASSERT_TRUE(stage.pick.IsPickingTimeOut());
    stage.Pick(outside.get());
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
    clock.Advance(0.5);
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
}

// ---- What every container does ------------------------------------------------------------------

TEST_P(TqOcPickFrustumContainer, AsksItsShapesInChildOrder)
{
    Fill({stage.Shape("far", 50.0), stage.Shape("near", 5.0), stage.Shape("middle", 20.0)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"far", "near", "middle"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesOutWhatLiesOutside)
{
    Fill({stage.ShapeIn("left", s_leftOfAll), stage.Shape("inside", 5.0),
          stage.ShapeIn("beyond", s_beyondFar), stage.ShapeIn("across", s_acrossLeft)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"inside", "across"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesOutWhatIgnoresPicks)
{
    auto* const shape = stage.Shape("b", 6.0);
    shape->SetIgnorePick(1);
    Fill({stage.Shape("a", 5.0), shape, stage.Shape("c", 7.0)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "c"}));
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "c"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesOutWhatIsHiddenUnlessHiddenOnesArePicked)
{
    auto* const shape = stage.Shape("b", 6.0);
    shape->SetHideRender(1);
    Fill({stage.Shape("a", 5.0), shape, stage.Shape("c", 7.0)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "c"}));
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "b", "c"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesOutShapesOfPrimitivesThatAreNotDrawn)
{
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    auto* const lines = stage.Shape("lines", 6.0);
    lines->SetPrimitives(TqLPrimitiveTypes::eLINES);
    Fill({stage.Shape("triangles", 5.0), lines});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"triangles", "lines"}));
    walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"lines"});
    stage.pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"triangles", "lines"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesOutWhatLiesBehindTheNearestHit)
{
    Fill({stage.Shape("far", 60.0)->HitAt(60.2), stage.Shape("near", 20.0)->HitAt(20.5),
          stage.Shape("behind", 40.0), stage.Shape("atTheHit", 20.5),
          stage.Shape("nearer", 10.0)->HitAt(10.5), stage.Shape("between", 15.0)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"far", "near", "atTheHit", "nearer"}));
    EXPECT_EQ(stage.pick.GetDistance(), 10.5);
}

TEST_P(TqOcPickFrustumContainer, ReachesEveryHitWhenAllAreRequired)
{
    stage.pick.SetRequiredPropertyBits(s_allHits);
    Fill({stage.Shape("near", 20.0)->HitAt(20.5), stage.Shape("behind", 40.0)->HitAt(40.5),
          stage.Shape("nearer", 10.0)->HitAt(10.5)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"near", "behind", "nearer"}));
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 3);
    EXPECT_EQ(stage.pick.GetDistance(), 10.5);
}

TEST_P(TqOcPickFrustumContainer, HandsTheNarrowedMaskToEachChild)
{
    auto* const inside = stage.Shape("inside", 5.0);
    auto* const across = stage.ShapeIn("across", s_acrossLeft);
    Fill({inside, across});
    stage.Pick(root.get());
    EXPECT_EQ(inside->lastCullBits, 0);
    EXPECT_EQ(across->lastCullBits, ePLANE_LEFT);
}

TEST_P(TqOcPickFrustumContainer, RestoresTheMaskAfterAVisitedChild)
{
    // The first child lies inside all planes; the second one must be tested against them again.
    Fill({stage.Shape("inside", 5.0), stage.ShapeIn("left", s_leftOfAll),
          stage.ShapeIn("acrossLeft", s_acrossLeft), stage.ShapeIn("beyond", s_beyondFar)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"inside", "acrossLeft"}));
}

TEST_P(TqOcPickFrustumContainer, RestoresTheMaskAfterAChildOutside)
{
    // The first child clears all bits but that of the far plane before that one culls it.
    Fill({stage.ShapeIn("beyond", s_beyondFar), stage.ShapeIn("left", s_leftOfAll),
          stage.Shape("inside", 5.0)});
    EXPECT_EQ(stage.Pick(root.get()), Lines{"inside"});
}

TEST_P(TqOcPickFrustumContainer, RestoresTheMaskAfterAHiddenChild)
{
    auto* const hidden = stage.Shape("hidden", 5.0);
    hidden->SetHideRender(1);
    Fill({hidden, stage.ShapeIn("left", s_leftOfAll), stage.Shape("inside", 5.0)});
    EXPECT_EQ(stage.Pick(root.get()), Lines{"inside"});
}

TEST_P(TqOcPickFrustumContainer, RestoresTheMaskAfterAPrunedChild)
{
    // The third child lies nearer than the hit, but before the near plane.
    Fill({stage.Shape("near", 5.0)->HitAt(5.5), stage.Shape("behind", 50.0),
          stage.ShapeIn("before", MakeCube(0.0, 0.0, 2.0, 1.0)), stage.Shape("nearer", 2.0)});
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"near", "nearer"}));
}

TEST_P(TqOcPickFrustumContainer, LeavesTheMaskAsItWasAfterItsTurn)
{
    auto* const ignored = stage.Shape("ignored", 5.0);
    ignored->SetIgnorePick(1);
    for (TqOcShape* const last : {static_cast<TqOcShape*>(stage.Shape("inside", 5.0)),
                                  static_cast<TqOcShape*>(stage.ShapeIn("across", s_acrossLeft)),
                                  static_cast<TqOcShape*>(stage.ShapeIn("beyond", s_beyondFar)),
                                  static_cast<TqOcShape*>(ignored)}) {
        SCOPED_TRACE(stage.log.GetName(static_cast<TqOcBaseTraversable*>(last)));
        Fill({last});
        for (int bits : {int{ePLANES_ALL}, ePLANE_LEFT | ePLANE_FAR, 0}) {
            stage.pick.SetCullBits(bits);
            stage.TakeTurn(root.get());
            EXPECT_EQ(stage.pick.GetCullBits(), bits);
        }
    }
}

TEST_P(TqOcPickFrustumContainer, TestsItsChildrenAgainstThePlanesItWasEnteredWith)
{
    Fill({stage.ShapeIn("left", s_leftOfAll), stage.ShapeIn("beyond", s_beyondFar),
          stage.Shape("inside", 5.0)});
    stage.pick.SetCullBits(ePLANE_LEFT);
    EXPECT_EQ(stage.TakeTurn(root.get()), (Lines{"beyond", "inside"}));
    stage.pick.SetCullBits(ePLANE_FAR);
    EXPECT_EQ(stage.TakeTurn(root.get()), (Lines{"left", "inside"}));
    stage.pick.SetCullBits(0);
    EXPECT_EQ(stage.TakeTurn(root.get()), (Lines{"left", "beyond", "inside"}));
}

TEST_P(TqOcPickFrustumContainer, MakesNoTestOfItself)
{
    Fill({stage.Shape("a", 5.0)});
    root->UpdateHideRender(1);
    root->UpdateIgnorePick(1);
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.TakeTurn(root.get()), Lines{"a"});
}

TEST_P(TqOcPickFrustumContainer, IsPickedWhenEmptyWithoutHarm)
{
    Fill({});
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.TakeTurn(root.get()), Lines{});
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANES_ALL);
}

TEST_P(TqOcPickFrustumContainer, GoesByTheFrameIdsOfNodesAndNotOfShapes)
{
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    walk.SetFrameId(3);
    auto* const a = stage.Shape("a", 5.0);
    auto* const b = stage.Shape("b", 6.0);
    Fill({a, b});
    root->SetFrameId(3);
    GetChildren()[1]->SetFrameId(3);
    EXPECT_EQ(stage.Pick(root.get()), HoldsNodes() ? Lines{"b"} : (Lines{"a", "b"}));
}

TEST_P(TqOcPickFrustumContainer, ScoresItsNodesAndNotItsShapesWhenTheLastFrameDoesNotCount)
{
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    stage.pick.SetPickLastRendered(0);
    // The view ends at the pick frustum's near half of y.
    walk.SetViewFrustum(TqLFrustum3f::Parallel(TqLPos3f(0.0, 5.0, 0.0), TqLVec3f(0.0, 0.0, -1.0),
                                               TqLVec3f(0.0, 1.0, 0.0), 20.0, 10.0, 0.0, 100.0));
    Fill({stage.ShapeIn("below", MakeCube(0.0, -5.0, -50.0, 1.0)),
          stage.ShapeIn("above", MakeCube(0.0, 5.0, -50.0, 1.0))});
    EXPECT_EQ(stage.Pick(root.get()), HoldsNodes() ? Lines{"above"} : (Lines{"below", "above"}));
    EXPECT_EQ(walk.GetNumFrustumCullTests(), HoldsNodes() ? 3U : 1U);
    EXPECT_EQ(walk.GetTrisFrustumCulled(), HoldsNodes() ? 1U : 0U);
}

TEST_P(TqOcPickFrustumContainer, LetsAnExceptionOutAndPicksOnAfterwards)
{
    TqOcPrioritizedTraversal walk(&stage.context);
    stage.pick.SetRenderTraversal(&walk);
    stage.pick.SetPickLastRendered(0);
    auto* const thrower = stage.Shape("thrower", 5.0);
    Fill({thrower, stage.Shape("b", 6.0)});
    thrower->onPick = [](TqOcPickFrustumTraversal*) { throw std::runtime_error("host"); };
    EXPECT_THROW(stage.pick.Apply(root.get()), std::runtime_error);
    EXPECT_EQ(stage.TakeAsked(), Lines{"thrower"});
    unsigned int const tests = walk.GetNumFrustumCullTests();
    stage.pick.CanRenderCull(root.get());
    EXPECT_EQ(walk.GetNumFrustumCullTests(), tests) << "the pick is over: nothing is scored";
    thrower->onPick = nullptr;
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"thrower", "b"}));
}

TEST_P(TqOcPickFrustumContainer, TakesNothingFromTheHeap)
{
    int numAsked = 0;
    PickingShape* shapes[3];
    for (PickingShape*& shape : shapes) {
        shape = new PickingShape(nullptr, "", MakeCube(0.0, 0.0, -5.0, 1.0));
        shape->onPick = [&](TqOcPickFrustumTraversal*) { ++numAsked; };
    }
    Fill({shapes[0], shapes[1], shapes[2]});
    AllocationCounter counter;
    stage.pick.Apply(root.get());
    EXPECT_EQ(counter.GetNum(), 0U);
    EXPECT_EQ(numAsked, 3);
}

// ---- Single nodes -------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, AsksAShapeByItsPickShape)
{
    PickStage stage;
    PickingShape shape(&stage.log, "a", s_leftOfAll);
    TqOcPickFrustumTraversal* asked = nullptr;
    shape.onPick = [&](TqOcPickFrustumTraversal* traversal) { asked = traversal; };
    stage.pick.SetCullBits(ePLANES_ALL);
    EXPECT_EQ(stage.TakeTurn(&shape), Lines{"a"}) << "its own turn makes no test";
    EXPECT_EQ(asked, &stage.pick);
    EXPECT_EQ(shape.GetNumBoxCalls(), 0);
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 0) << "listing is the host's";
}

TEST(TqOcPickFrustumTraversal, EndsAtANodeWithoutAPickOfItsOwn)
{
    PickStage stage;
    PlainTraversable node(MakeCube(0.0, 0.0, -5.0, 1.0), 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(stage.Pick(&node), Lines{});
    EXPECT_EQ(stage.pick.GetPickedShape(), nullptr);
    TqOcBaseTraversable& base = node;
    base.PickFrustum(&stage.pick);
    EXPECT_EQ(stage.log.Get(), Lines{});
}

TEST(TqOcPickFrustumTraversal, AsksTheShapeOfASingleLeaf)
{
    PickStage stage;
    auto* const shape = stage.Shape("a", 5.0);
    TqOcSingleLeaf leaf(shape);
    EXPECT_EQ(stage.Pick(&leaf), Lines{"a"});
    stage.pick.SetCullBits(ePLANES_ALL);
    shape->SetBox(s_beyondFar);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANES_ALL);
    shape->SetBox(s_acrossFar);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{"a"});
    EXPECT_EQ(shape->lastCullBits, ePLANE_FAR);
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANES_ALL);
    stage.pick.SetCullBits(ePLANE_LEFT);
    shape->SetBox(s_beyondFar);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{"a"}) << "the far plane is not to be tested";
    shape->UpdateHideRender(1);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{"a"});
    shape->UpdateIgnorePick(1);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    EXPECT_EQ(stage.pick.GetCullBits(), ePLANE_LEFT);
}

TEST(TqOcPickFrustumTraversal, LeavesTheShapeOfASingleLeafOutByPrimitivesAndDistance)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    auto* const shape = stage.Shape("a", 5.0);
    TqOcSingleLeaf leaf(shape);
    leaf.Update();
    stage.pick.SetRenderTraversal(&walk);
    walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    walk.SetPrimitiveBits(TqLPrimitiveTypes::eALL);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{"a"});
    RecordingShape nearer(nullptr, "", MakeCube(0.0, 0.0, -2.0, 1.0));
    stage.pick.SetPicked(&nearer, TqLPos3f(), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    stage.pick.SetRequiredPropertyBits(s_allHits);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{"a"});
}

TEST(TqOcPickFrustumTraversal, FindsNothingInAnEmptySingleLeaf)
{
    PickStage stage;
    TqOcSingleLeaf leaf(stage.Shape("a", 5.0));
    leaf.Update();
    TqOcShape* const shape = leaf.GetShape();
    leaf.SetShape(nullptr);
    EXPECT_EQ(stage.Pick(&leaf), Lines{});
    stage.pick.SetCullBits(0);
    EXPECT_EQ(stage.TakeTurn(&leaf), Lines{});
    leaf.SetShape(shape);
}

// ---- Hierarchies --------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, GoesDepthFirstThroughMixedHierarchies)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup(
        {MakeStaticLeaf({stage.Shape("a", 50.0), stage.Shape("b", 40.0)}),
         MakeDynamicGroup({new TqOcSingleLeaf(stage.Shape("c", 30.0)),
                           MakeStaticLeaf({stage.Shape("d", 20.0), stage.Shape("e", 10.0)})}),
         MakeStaticGroup({new TqOcSingleLeaf(stage.Shape("f", 5.0))}),
         new TqOcSingleLeaf(stage.Shape("g", 1.0))}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "b", "c", "d", "e", "f", "g"}));
}

TEST(TqOcPickFrustumTraversal, NarrowsTheMaskOnTheWayDownAndWidensItOnTheWayUp)
{
    PickStage stage;
    std::vector<int> bits;
    auto const group = [&](TqOcTraversable* child) {
        auto* const traced = new TracedGroup(&bits);
        traced->AddChild(child);
        return traced;
    };
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup(
        {group(group(new TqOcSingleLeaf(stage.Shape("a", 5.0)))),
         group(MakeStaticGroup({new TqOcSingleLeaf(stage.ShapeIn("b", s_acrossLeft)),
                                group(new TqOcSingleLeaf(stage.Shape("c", 7.0)))})),
         group(new TqOcSingleLeaf(stage.ShapeIn("d", s_acrossFar)))}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "b", "c", "d"}));
    EXPECT_EQ(bits, (std::vector<int>{0, 0, ePLANE_LEFT, 0, ePLANE_FAR}));
}

TEST(TqOcPickFrustumTraversal, AsksGroupsByTheirOverriddenTurn)
{
    class DeafGroup : public TqOcStaticGroup
    {
    public:
        void PickFrustum(TqOcPickFrustumTraversal*) override {}
    };

    PickStage stage;
    auto* const deaf = new DeafGroup;
    deaf->AddChild(new TqOcSingleLeaf(stage.Shape("a", 5.0)));
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticGroup({deaf, new TqOcSingleLeaf(stage.Shape("b", 6.0))}));
    EXPECT_EQ(stage.Pick(root.get()), Lines{"b"});
}

TEST(TqOcPickFrustumTraversal, SkipsAWholeBranchBehindTheNearestHitUnlessAllHitsAreRequired)
{
    PickStage stage;
    std::vector<int> bits;
    auto* const behind = new TracedGroup(&bits);
    behind->AddChild(new TqOcSingleLeaf(stage.Shape("behind", 50.0)));
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticGroup({new TqOcSingleLeaf(stage.Shape("near", 5.0)->HitAt(5.5)), behind}));
    EXPECT_EQ(stage.Pick(root.get()), Lines{"near"});
    EXPECT_TRUE(bits.empty());
    stage.pick.SetRequiredPropertyBits(16 | s_allHits);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"near", "behind"}));
    EXPECT_EQ(bits.size(), 1U);
}

TEST(TqOcPickFrustumTraversal, SkipsAHiddenShapeOfAVisitedLeaf)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    walk.SetFrameId(2);
    stage.pick.SetRenderTraversal(&walk);
    auto* const hidden = stage.Shape("hidden", 5.0);
    hidden->SetHideRender(1);
    auto* const leaf = MakeStaticLeaf({hidden, stage.Shape("shown", 6.0)});
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup({leaf}));
    root->SetFrameId(2);
    leaf->SetFrameId(2);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"shown"});
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"hidden", "shown"}));
}

TEST(TqOcPickFrustumTraversal, AsksAShapeOfTwoParentsInEach)
{
    PickStage stage;
    auto* const shared = stage.Shape("shared", 5.0)->HitAt(5.25);
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup(
        {MakeStaticLeaf({shared}), MakeStaticLeaf({stage.Shape("other", 5.0), shared})}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"shared", "other", "shared"}));
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 2);
    EXPECT_EQ(stage.pick.GetPickedShape(), shared);
    EXPECT_EQ(stage.pick.GetDistance(), 5.25);
}

TEST(TqOcPickFrustumTraversal, AsksABranchOfTwoParentsInEach)
{
    PickStage stage;
    auto* const shared = MakeStaticLeaf({stage.Shape("shared", 5.0)});
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticGroup({MakeStaticGroup({shared}), MakeStaticGroup({shared})}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"shared", "shared"}));
    EXPECT_EQ(shared->IsTraversed(), 0);
}

TEST(TqOcPickFrustumTraversal, KeepsTheFirstOfTwoHitsAtOneDistance)
{
    PickStage stage;
    auto* const first = stage.Shape("first", 5.0)->HitAt(5.5);
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticLeaf({first, stage.Shape("second", 5.0)->HitAt(5.5)}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"first", "second"}));
    EXPECT_EQ(stage.pick.GetPickedShape(), first);
    EXPECT_EQ(stage.pick.GetAllPickedShapes().Size(), 2);
}

TEST(TqOcPickFrustumTraversal, StampsAndMarksNoNode)
{
    PickStage stage;
    TqOcPrioritizedTraversal walk(&stage.context);
    walk.SetFrameId(7);
    stage.pick.SetRenderTraversal(&walk);
    stage.pick.SetPickLastRendered(0);
    auto* const shape = stage.Shape("a", 5.0);
    auto* const leaf = MakeStaticLeaf({shape});
    std::unique_ptr<TqOcTraversable> const root(MakeStaticGroup({leaf}));
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"});
    for (TqOcBaseTraversable* const node :
         {static_cast<TqOcBaseTraversable*>(root.get()), static_cast<TqOcBaseTraversable*>(leaf),
          static_cast<TqOcBaseTraversable*>(shape)}) {
        EXPECT_EQ(node->GetFrameId(), 0U);
        EXPECT_EQ(node->IsTraversed(), 0);
    }
    EXPECT_EQ(leaf->GetHysteresisId(), 0U);
}

// ---- Bad input ----------------------------------------------------------------------------------

TEST(TqOcPickFrustumTraversal, PicksNothingWithAnEmptyFrustum)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    TqLPickFrustum3f empty;
    empty.MakeEmpty();
    stage.pick.SetFrustum(empty);
    EXPECT_EQ(stage.Pick(root.get()), Lines{});
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
}

TEST(TqOcPickFrustumTraversal, PicksNothingInAPixelRectangleWithoutAreaOrNumbers)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    for (TqLBox2f const& pixels :
         {TqLBox2f(TqLPos2f(10.0, 10.0), TqLPos2f(10.0, 20.0)),
          TqLBox2f(TqLPos2f(10.0, 10.0), TqLPos2f(20.0, 10.0)),
          TqLBox2f(TqLPos2f(10.0, 10.0), TqLPos2f(20.0, s_notANumber)),
          TqLBox2f(TqLPos2f(s_notANumber, 10.0), TqLPos2f(20.0, 20.0)),
          TqLBox2f(TqLPos2f(10.0, 10.0), TqLPos2f(s_infinity, 20.0)), TqLBox2f()}) {
        PostedErrors posted;
        stage.pick.SetFrustum(TqLPickFrustum3f(PickStage::MakeFrustum(), pixels, 100, 100));
        EXPECT_EQ(posted.Size(), 1);
        EXPECT_EQ(stage.Pick(root.get()), Lines{});
        EXPECT_EQ(posted.Size(), 1);
    }
}

TEST(TqOcPickFrustumTraversal, PicksByTheDefaultFrustumWhereAnImpossibleOneWasPosted)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticLeaf({stage.Shape("inside", 5.0), stage.ShapeIn("left", s_leftOfAll),
                        stage.ShapeIn("behind", MakeCube(0.0, 0.0, 5.0, 1.0))}));

    struct
    {
        double width, height, nearDistance, farDistance;
    } const cases[] = {{0.0, 1.0, 1.0, 10.0},          {1.0, 0.0, 1.0, 10.0},
                       {1.0, 1.0, 5.0, 5.0},           {1.0, 1.0, 5.0, 4.0},
                       {s_notANumber, 1.0, 1.0, 10.0}, {1.0, 1.0, s_notANumber, 10.0},
                       {1.0, 1.0, 1.0, s_notANumber}};

    for (auto const& c : cases) {
        PostedErrors posted;
        stage.pick.SetFrustum(
            TqLPickFrustum3f(TqLFrustum3f(c.width, c.height, c.nearDistance, c.farDistance)));
        EXPECT_EQ(posted.Size(), 1);
        EXPECT_EQ(stage.Pick(root.get()), Lines{"inside"});
    }
}

TEST(TqOcPickFrustumTraversal, PicksByTheDefaultFrustumWhereAMatrixHadNumbersThatAreNone)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(
        MakeStaticLeaf({stage.Shape("a", 5.0), stage.ShapeIn("b", s_leftOfAll)}));
    TqLMatrix4f const matrix = TqLFrustum3f().GetMatrix();
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), s_notANumber);
    PostedErrors posted;
    stage.pick.SetFrustum(TqLPickFrustum3f(
        TqLFrustum3f::FromMatrix(TqLFrustum3f::ePERSPECTIVE, 1.0, 1.0, matrix, plane,
                                 TqLPos3f(s_notANumber, s_notANumber, s_notANumber))));
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(stage.Pick(root.get()), Lines{"a"}) << "by the default frustum";
}

TEST(TqOcPickFrustumTraversal, PostsANullRoot)
{
    PickStage stage;
    PostedErrors posted;
    EXPECT_EQ(stage.Pick(nullptr), Lines{});
    ASSERT_GE(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
}

TEST(TqOcPickFrustumTraversal, IsNotTimedOutAfterANullRoot)
{
    FakeClock clock;
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf({stage.Shape("a", 5.0)}));
    stage.Pick(root.get());
    clock.Advance(1.0);
    ASSERT_TRUE(stage.pick.IsPickingTimeOut());
    PostedErrors posted;
    stage.pick.Apply(nullptr);
    EXPECT_FALSE(stage.pick.IsPickingTimeOut());
}

TEST(TqOcPickFrustumTraversal, AsksShapesWithoutABoxOrWithOneThatIsNotANumberSafely)
{
    PickStage stage;
    std::unique_ptr<TqOcTraversable> const root(MakeStaticLeaf(
        {stage.Shape("a", 5.0), stage.ShapeIn("empty", TqLBox3f()),
         stage.ShapeIn("noNumber", MakeBox(s_notANumber, 0.0, -5.0, 1.0, 1.0, -4.0)),
         stage.ShapeIn("infinite", MakeBox(-s_infinity, -1.0, -9.0, s_infinity, 1.0, -8.0)),
         stage.Shape("b", 6.0)}));
    EXPECT_EQ(stage.Pick(root.get()), (Lines{"a", "noNumber", "infinite", "b"}))
        << "what may lie in the frustum is never left out";
}
