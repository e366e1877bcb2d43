#include "scenecull/TqOcPickSweepTraversal.h"

#include "support/AllocationCounter.h"
#include "support/PostedErrors.h"
#include "support/Recorders.h"
#include "support/SweepStage.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLPickSweep.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// A box around the x axis.
TqLBox3f MakeBar(double from, double to, double half = 0.25)
{
    return MakeBox(from, -half, -half, to, half, half);
}

/// All six faces, those of one axis cleared, and so on: bits 0, 1 for x, 2, 3 for y, 4, 5 for z.
constexpr int eALL = TqLPickSweep::eALL_PLANES;
constexpr int eUPPER_X = 2;
constexpr int eUPPER_Y = 8;

std::string GetModeName(testing::TestParamInfo<int> const& info)
{
    return info.param == SweepStage::s_depthFirst ? "DepthFirst" : "NearestFirst";
}

/// What holds in both modes.
class SweepInBothModes : public testing::TestWithParam<int>, public SweepStage
{
protected:
    SweepInBothModes() : SweepStage(GetParam()) {}

    static bool IsNearestFirst() { return GetParam() != s_depthFirst; }

    /// A tree with a shape under each class of container: "leaf" holds "a" and "b".
    void SetRootOfEveryClass()
    {
        a = Swept("a", 2.0);
        b = Swept("b", 4.0);
        leaf = ShapesLeaf("leaf", {a, b});
        single = SweptLeaf("c", 6.0);
        inDynamic = SweptLeaf("d", 8.0);
        dynamic = DynamicGroup("dynamic", {inDynamic, SweptLeaf("e", 10.0)});
        group = SweptGroup("group", {SweptLeaf("f", 12.0), SweptLeaf("g", 14.0)});
        SetRoot({leaf, single, dynamic, group});
        root->Update();
    }

    SweptShape* a = nullptr;
    SweptShape* b = nullptr;
    TqOcStaticLeaf* leaf = nullptr;
    TqOcSingleLeaf* single = nullptr;
    TqOcSingleLeaf* inDynamic = nullptr;
    TqOcDynamicGroup* dynamic = nullptr;
    SweptNode<ActingVisitGroup>* group = nullptr;
};

INSTANTIATE_TEST_SUITE_P(TqOcPickSweepTraversal, SweepInBothModes,
                         testing::Values(SweepStage::s_depthFirst, SweepStage::s_nearestFirst),
                         GetModeName);

/// The same after a frame of a render traversal; frame ids are those that a test sets by hand.
class SweepAfterAFrame : public SweepInBothModes
{
protected:
    static constexpr unsigned int s_frame = 7;

    SweepAfterAFrame() : render(&host)
    {
        render.SetFrameId(s_frame);
        render.SetCullArea(0.0);
        render.SetCullExtent(0.0);
        pick.SetRenderTraversal(&render);
    }

    /// Marks all nodes but the shapes as drawn.
    void StampAll()
    {
        ForEachNode([](TqOcBaseTraversable* node) {
            if (!node->IsShape()) {
                node->SetFrameId(s_frame);
            }
        });
    }

    /// Three leaves in the view's middle and one out of it, all in the way of the body, and one out
    /// of view that is not in its way.
    void SetRowInView()
    {
        constexpr double z = -20.0;
        left = SweptLeaf("left", -2.0, 0.0, z);
        middle = SweptLeaf("middle", 0.0, 0.0, z);
        right = SweptLeaf("right", 2.0, 0.0, z);
        SetRoot({left, middle, right, SweptLeaf("outside", 90.0, 0.0, z),
                 SweptLeaf("elsewhere", 90.0, 3.0, z)});
        root->Update();
        pick.SetSweep(TqLPickSweep(TqLPos3f(-5.0, 0.0, z), TqLVec3f(0.5, 0.5, 0.5),
                                   TqLVec3f(100.0, 0.0, 0.0)));
    }

    RecordingContext host;
    TqOcPrioritizedTraversal render;
    TqOcSingleLeaf* left = nullptr;
    TqOcSingleLeaf* middle = nullptr;
    TqOcSingleLeaf* right = nullptr;
};

INSTANTIATE_TEST_SUITE_P(TqOcPickSweepTraversal, SweepAfterAFrame,
                         testing::Values(SweepStage::s_depthFirst, SweepStage::s_nearestFirst),
                         GetModeName);

/// A group whose box can be set after its update.
class BoxedGroup : public SweptNode<ActingVisitGroup>
{
public:
    using SweptNode<ActingVisitGroup>::SweptNode;

    using TqOcTraversable::UpdateBoundingBox;
};

} // namespace

// --- The sweep -----------------------------------------------------------------------------------

TEST_P(SweepInBothModes, HasNoBodyAtFirst)
{
    TqOcPickSweepTraversal const fresh(nullptr, GetParam());
    EXPECT_EQ(fresh.GetSweep().GetBody(), TqLPickSweep::eNOTHING);
    EXPECT_EQ(fresh.GetCullBits(), 0);
    EXPECT_EQ(fresh.GetPickedShape(), nullptr);
}

TEST_P(SweepInBothModes, KeepsTheSweepThatItIsGiven)
{
    TqLPickSweep const sweep(TqLPos3f(1.0, 2.0, 3.0), 0.5, TqLVec3f(4.0, 5.0, 6.0));
    pick.SetSweep(sweep);
    EXPECT_EQ(pick.GetSweep().GetBody(), TqLPickSweep::eSPHERE);
    EXPECT_EQ(pick.GetSweep().GetCenter(), sweep.GetCenter());
    EXPECT_EQ(pick.GetSweep().GetSweep(), sweep.GetSweep());
    EXPECT_EQ(&pick.EditSweep(), &pick.GetSweep());
    pick.EditSweep().ShortenTo(0.5);
    EXPECT_EQ(pick.GetSweep().GetSweep(), TqLVec3f(2.0, 2.5, 3.0));
}

// --- What is asked -------------------------------------------------------------------------------

TEST_P(SweepInBothModes, AsksTheShapesThatTheBodyTouchesAndNoOthers)
{
    SetRoot({SweptLeaf("start", 0.0), SweptLeaf("onTheWay", 10.0), SweptLeaf("atTheEnd", 20.7),
             SweptLeaf("beyond", 20.8), SweptLeaf("before", -0.8), SweptLeaf("beside", 10.0, 0.8),
             SweptLeaf("grazed", 10.0, 0.0, -0.75)});
    Lines asked = Pick();
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(asked, (Lines{"atTheEnd", "grazed", "onTheWay", "start"}));
}

TEST_P(SweepInBothModes, FollowsASphereAroundCorners)
{
    pick.SetSweep(TqLPickSweep(TqLPos3f(), 0.5, TqLVec3f(20.0, 0.0, 0.0)));
    // A cube of this size would touch both.
    SetRoot({SweptLeaf("corner", 10.0, 0.7, 0.7), SweptLeaf("face", 12.0, 0.7, 0.0)});
    EXPECT_EQ(Pick(), (Lines{"face"}));
}

TEST_P(SweepInBothModes, ReachesShapesUnderEveryClassOfContainer)
{
    SetRootOfEveryClass();
    EXPECT_EQ(Pick(), (Lines{"a", "b", "c", "d", "e", "f", "g"}));
}

TEST_P(SweepInBothModes, StartsAtAnyClassOfContainer)
{
    root.reset(ShapesLeaf("leaf", {Swept("a", 2.0), Swept("b", 4.0)}));
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
    root.reset(SweptLeaf("c", 2.0));
    EXPECT_EQ(Pick(), (Lines{"c"}));
    root.reset(DynamicGroup("dynamic", {SweptLeaf("d", 2.0), SweptLeaf("e", 4.0)}));
    EXPECT_EQ(Pick(), (Lines{"d", "e"}));
}

TEST_P(SweepInBothModes, NeverAsksAShapeClassWithoutAPickSweepOfItsOwn)
{
    auto* const plain = new RecordingShape(&log, "plain", MakeCube(2.0, 0.0, 0.0, s_half));
    SetRoot({ShapesLeaf("leaf", {plain, Swept("a", 4.0)}), LeafAt("alone", 6.0, 0.0, 0.0)});
    PickAll();
    EXPECT_EQ(PickAll(), (Lines{"PickSweep a"}));
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0U);
}

TEST_P(SweepInBothModes, FindsNothingInANodeClassWithoutAPickSweepOfItsOwn)
{
    auto* const plain =
        new PlainTraversable(MakeBar(1.0, 3.0), 1.0, 1, TqLPrimitiveTypes::eTRIANGLES);
    SetRoot({plain, SweptLeaf("a", 4.0)});
    EXPECT_EQ(Pick(), (Lines{"a"}));
    root.reset(new PlainTraversable(MakeBar(1.0, 3.0), 1.0, 1, TqLPrimitiveTypes::eTRIANGLES));
    EXPECT_EQ(Pick(), Lines());
}

TEST_P(SweepInBothModes, AsksTheShapesOfAGroupThatWasMarkedAsALeaf)
{
    auto* const marked = new TqOcStaticGroup;
    marked->SetLeaf(1);
    static_cast<TqOcStaticBase*>(marked)->AddChild(Swept("a", 2.0));
    static_cast<TqOcStaticBase*>(marked)->AddChild(Swept("far", 30.0));
    static_cast<TqOcStaticBase*>(marked)->AddChild(Swept("b", 4.0));
    SetRoot({marked, SweptLeaf("c", 6.0)});
    EXPECT_EQ(Pick(), (Lines{"a", "b", "c"}));
}

TEST_P(SweepInBothModes, NeverSweepsANodeWithoutTriangles)
{
    SetRootOfEveryClass();
    auto const without = static_cast<TqLPrimitiveTypes::Enum>(31 & ~TqLPrimitiveTypes::eTRIANGLES);
    std::vector<std::pair<TqOcBaseTraversable*, Lines>> const cases = {
        {root.get(), {}},
        {leaf, {"c", "d", "e", "f", "g"}},
        {single, {"a", "b", "d", "e", "f", "g"}},
        {dynamic, {"a", "b", "c", "f", "g"}},
        {inDynamic, {"a", "b", "c", "e", "f", "g"}},
        {group, {"a", "b", "c", "d", "e"}},
        {a, {"b", "c", "d", "e", "f", "g"}},
        {ShapeOf(single), {"a", "b", "d", "e", "f", "g"}}};
    for (auto const& [node, expected] : cases) {
        SCOPED_TRACE(log.GetName(node));
        node->UpdatePrimitives(without);
        EXPECT_EQ(Pick(), expected);
        node->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    }
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, AsksWhatHoldsOtherPrimitivesBesidesTriangles)
{
    SetRootOfEveryClass();
    ForEachNode([](TqOcBaseTraversable* node) {
        node->UpdatePrimitives(static_cast<TqLPrimitiveTypes::Enum>(31));
    });
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, SkipsWhatIgnoresPicks)
{
    SetRootOfEveryClass();
    std::vector<std::pair<TqOcBaseTraversable*, Lines>> const cases = {
        {root.get(), {}},
        {leaf, {"c", "d", "e", "f", "g"}},
        {single, {"a", "b", "d", "e", "f", "g"}},
        {dynamic, {"a", "b", "c", "f", "g"}},
        {group, {"a", "b", "c", "d", "e"}},
        {b, {"a", "c", "d", "e", "f", "g"}},
        {ShapeOf(single), {"a", "b", "d", "e", "f", "g"}}};
    pick.SetPickHidden(1); // has no say in it
    for (auto const& [node, expected] : cases) {
        SCOPED_TRACE(log.GetName(node));
        node->UpdateIgnorePick(1);
        EXPECT_EQ(Pick(), expected);
        node->UpdateIgnorePick(0);
    }
}

TEST_P(SweepInBothModes, SkipsWhatIsHidden)
{
    SetRootOfEveryClass();
    std::vector<std::pair<TqOcBaseTraversable*, Lines>> const cases = {
        {root.get(), {}},
        {leaf, {"c", "d", "e", "f", "g"}},
        {single, {"a", "b", "d", "e", "f", "g"}},
        {dynamic, {"a", "b", "c", "f", "g"}},
        {group, {"a", "b", "c", "d", "e"}},
        {b, {"a", "c", "d", "e", "f", "g"}},
        {ShapeOf(single), {"a", "b", "d", "e", "f", "g"}}};
    for (auto const& [node, expected] : cases) {
        SCOPED_TRACE(log.GetName(node));
        node->UpdateHideRender(1);
        EXPECT_EQ(Pick(), expected);
        node->UpdateHideRender(0);
    }
}

TEST_P(SweepInBothModes, PicksHiddenOnesWhenAskedToOnlyDepthFirst)
{
    SetRootOfEveryClass();
    pick.SetPickHidden(1);
    Lines const all = {"a", "b", "c", "d", "e", "f", "g"};
    std::vector<std::pair<TqOcBaseTraversable*, Lines>> const cases = {
        {leaf, {"c", "d", "e", "f", "g"}},    {single, {"a", "b", "d", "e", "f", "g"}},
        {dynamic, {"a", "b", "c", "f", "g"}}, {group, {"a", "b", "c", "d", "e"}},
        {b, {"a", "c", "d", "e", "f", "g"}},  {ShapeOf(single), {"a", "b", "d", "e", "f", "g"}}};
    for (auto const& [node, withoutHidden] : cases) {
        SCOPED_TRACE(log.GetName(node));
        node->UpdateHideRender(1);
        EXPECT_EQ(Pick(), IsNearestFirst() ? withoutHidden : all);
        node->UpdateHideRender(0);
    }
}

TEST_P(SweepInBothModes, EntersAHiddenRootWhenHiddenOnesArePicked)
{
    SetRootOfEveryClass();
    root->UpdateHideRender(1);
    EXPECT_EQ(Pick(), Lines());
    pick.SetPickHidden(1);
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, LeavesOutAHiddenOnlyChild)
{
    TqOcSingleLeaf* const only = SweptLeaf("a", 2.0);
    SetRoot({only});
    root->Update();
    only->UpdateHideRender(1);
    root->UpdateHideRender(0);
    EXPECT_EQ(Pick(), Lines());
    pick.SetPickHidden(1);
    EXPECT_EQ(Pick(), IsNearestFirst() ? Lines() : (Lines{"a"}));
}

TEST_P(SweepInBothModes, PicksNothingWhenTheSweepMissesTheRoot)
{
    root.reset(SweptGroup("root", {SweptLeaf("a", 2.0), SweptLeaf("b", 4.0)}));
    SweepAlong(-20.0, 0.0, 0.0);
    EXPECT_EQ(PickAll(), Lines());
    pick.SetSweep(TqLPickSweep(TqLPos3f(0.0, 50.0, 0.0), 1.0, TqLVec3f(20.0, 0.0, 0.0)));
    EXPECT_EQ(PickAll(), Lines());
}

TEST_P(SweepInBothModes, PicksNothingInARootWithoutABox)
{
    root.reset(SweptGroup("root", {}));
    root->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(PickAll(), Lines());
}

TEST_P(SweepInBothModes, PostsANullRoot)
{
    PostedErrors posted;
    pick.Apply(nullptr);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcTraversal");
}

TEST_P(SweepInBothModes, UpdatesTheRootFirst)
{
    SweptShape* const shape = Swept("a", 50.0);
    SetRoot({LeafOf(shape), SweptLeaf("b", 51.0)});
    EXPECT_EQ(Pick(), Lines());
    shape->SetBox(MakeCube(2.0, 0.0, 0.0, s_half));
    shape->Notify(TqOcBaseTraversable::eMODIFIED_BOX);
    EXPECT_EQ(Pick(), (Lines{"a"}));
}

TEST_P(SweepInBothModes, AsksASharedShapeOncePerWayToIt)
{
    SweptShape* const shared = Swept("shared", 4.0);
    SetRoot({ShapesLeaf("one", {shared, Swept("a", 2.0)}),
             ShapesLeaf("two", {shared, Swept("b", 3.0)})});
    PickAll();
    EXPECT_EQ(shared->numSweeps, 2);
}

TEST_P(SweepInBothModes, SeesMoreThanAnyViewDoes)
{
    // Behind the default view, far away, and tiny.
    pick.SetSweep(
        TqLPickSweep(TqLPos3f(1e6, 0.0, 1e6), TqLVec3f(1.0, 1.0, 1.0), TqLVec3f(1e5, 0.0, 0.0)));
    SetRoot({LeafOf(SweptBox("a", MakeCube(1e6, 0.0, 1e6, 0.0))),
             LeafOf(SweptBox("b", MakeCube(1.1e6, 0.0, 1e6, 1e-3)))});
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
}

TEST_P(SweepInBothModes, FindsEverythingInTreesDeeperThanFiftyLevels)
{
    constexpr int eLEVELS = 150;
    TqOcTraversable* node = SweptLeaf("0", 19.0);
    Lines expected = {"0"};
    for (int level = 1; level < eLEVELS; ++level) {
        std::string const name = std::to_string(level);
        TqOcSingleLeaf* const side = SweptLeaf(name, 19.0 - 0.1 * level);
        node = Group("group " + name, {side, node});
        expected.insert(expected.begin(), name);
    }
    root.reset(node);
    EXPECT_EQ(Pick(), expected); // the outer ones are nearer, and come first in their groups
    EXPECT_FALSE(IsAnyMarked());
}

// --- What a shape is told, and tells -------------------------------------------------------------

TEST_P(SweepInBothModes, ShapesReportToTheTraversalThatAsksThem)
{
    SetRoot({SweptLeaf("a", 4.0), SweptLeaf("b", 8.0)});
    auto* const shape = ShapeOf(static_cast<TqOcSingleLeaf*>(Root()->GetChild(0)));
    TqOcPickSweepTraversal* asking = nullptr;
    shape->onSweep = [&](TqOcPickSweepTraversal* traversal) {
        asking = traversal;
        ReportBoxContact(traversal, shape, MakeCube(4.0, 0.0, 0.0, s_half));
    };
    Pick();
    EXPECT_EQ(asking, &pick);
    EXPECT_EQ(pick.GetPickedShape(), shape);
    EXPECT_EQ(pick.GetDistance(), 3.25);
    EXPECT_EQ(pick.GetPickedPoint(), TqLPos3f(3.25, 0.0, 0.0));
    ASSERT_EQ(pick.GetAllPickedShapes().Size(), 1U);
    EXPECT_EQ(pick.GetAllPickedShapes()[0], shape);
}

TEST_P(SweepInBothModes, ForgetsTheShapesOfThePickBefore)
{
    SetRootOfEveryClass();
    a->onSweep = [&](TqOcPickSweepTraversal* traversal) {
        traversal->SetPicked(a, TqLPos3f(), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
        traversal->PickShape(a);
    };
    Pick();
    EXPECT_EQ(pick.GetPickedShape(), a);
    SweepAlong(-20.0, 0.0, 0.0);
    Pick();
    EXPECT_EQ(pick.GetPickedShape(), nullptr);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 0U);
}

TEST_P(SweepInBothModes, PrunesNothingForItsDistance)
{
    SetRootOfEveryClass();
    a->onSweep = [&](TqOcPickSweepTraversal* traversal) {
        traversal->SetPicked(a, TqLPos3f(), 0.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
        traversal->PickShape(a);
    };
    EXPECT_EQ(pick.GetRequiredPropertyBits() & TqOcPickTraversal::ePROPERTY_ALL_HITS, 0U);
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, AContextIsNeverCalled)
{
    EventLog calls;
    RecordingContext context(&calls);
    TqOcPickSweepTraversal hosted(&context, GetParam());
    EXPECT_EQ(hosted.GetContext(), &context);
    hosted.SetSweep(pick.GetSweep());
    SetRootOfEveryClass();
    hosted.Apply(root.get());
    EXPECT_EQ(log.Count("PickSweep "), 7);
    EXPECT_EQ(calls.Get(), Lines());
}

// --- Sweeps out of the ordinary ------------------------------------------------------------------

TEST_P(SweepInBothModes, PicksNothingWithoutABody)
{
    root.reset(SweptGroup("root", {SweptLeaf("a", 0.0), SweptLeaf("b", 4.0)}));
    pick.SetSweep(TqLPickSweep());
    EXPECT_EQ(PickAll(), Lines());
}

TEST_P(SweepInBothModes, PicksNothingAlongNoNumber)
{
    root.reset(SweptGroup("root", {SweptLeaf("a", 0.0), SweptLeaf("b", 4.0)}));
    PostedErrors posted;
    SweepAlong(notANumber, 0.0, 0.0);
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(PickAll(), Lines());
    EXPECT_EQ(posted.Size(), 1);
    SweepAlong(20.0, 0.0, 0.0);
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
}

TEST_P(SweepInBothModes, AZeroVectorPicksWhatTheBodyTouchesInTheOrderOfAppending)
{
    pick.SetSweep(TqLPickSweep(TqLPos3f(), TqLVec3f(3.0, 3.0, 3.0), TqLVec3f()));
    ASSERT_TRUE(pick.GetSweep().IsPick());
    SetRoot({SweptLeaf("a", 2.0), SweptLeaf("b", -2.0), SweptLeaf("c", 4.0), SweptLeaf("d", 1.0),
             Group("group", {SweptLeaf("e", 1.0, -2.0), SweptLeaf("f", -1.0)}),
             SweptLeaf("g", 0.0, 0.0, -3.2), SweptLeaf("h", 0.0, 0.0, 3.2)});
    EXPECT_EQ(Pick(), (Lines{"a", "b", "d", "e", "f", "g", "h"}));
}

TEST_P(SweepInBothModes, AZeroVectorMakesAllNodesEqualFarFromTheOrigin)
{
    TqLPos3f const far(1e7, -1e7, 1e7);
    pick.SetSweep(TqLPickSweep(far, 3.0, TqLVec3f()));
    auto const at = [&](std::string const& name, double x) {
        return SweptLeaf(name, far[0] + x, far[1], far[2]);
    };
    SetRoot({at("a", 2.0), at("b", -2.0), at("c", 4.0), at("d", 0.0)});
    EXPECT_EQ(Pick(), (Lines{"a", "b", "d"}));
}

// --- Shortening ----------------------------------------------------------------------------------

TEST_P(SweepInBothModes, StaysShortenedUntilItIsSetAgain)
{
    SetRootOfEveryClass();
    b->ReportContacts();
    Pick();
    TqLVec3f const toContact(3.25, 0.0, 0.0);
    EXPECT_EQ(pick.GetSweep().GetSweep(), toContact);
    EXPECT_TRUE(pick.GetSweep().IsShortened());
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
    EXPECT_EQ(pick.GetSweep().GetSweep(), toContact);
    b->onSweep = nullptr;
    SweepAlong(20.0, 0.0, 0.0);
    EXPECT_FALSE(pick.GetSweep().IsShortened());
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, AsksNothingBeyondTheEndOfAShortenedSweep)
{
    SetRootOfEveryClass();
    a->ReportContacts(); // at 1.25, with the body's front at 1.75
    EXPECT_EQ(Pick(), (Lines{"a"}));
    EXPECT_EQ(pick.GetPickedShape(), a);
}

TEST_P(SweepInBothModes, AsksWhatIsNearerThanTheContactWhereverItComes)
{
    // In one leaf, so that the order is that of the shapes in either mode.
    SweptShape* const far = Swept("far", 8.0);
    SweptShape* const near = Swept("near", 4.0);
    SweptShape* const beyond = Swept("beyond", 6.0);
    for (SweptShape* const shape : {far, near, beyond}) {
        shape->ReportContacts();
    }
    root.reset(ShapesLeaf("leaf", {far, near, beyond}));
    EXPECT_EQ(Pick(), (Lines{"far", "near"}));
    EXPECT_EQ(pick.GetPickedShape(), near);
    EXPECT_EQ(pick.GetDistance(), 3.25);
}

TEST_P(SweepInBothModes, AsksNothingBeyondTheEndUnderAMaskFromBefore)
{
    // The group lies inside all faces of the long sweep, so that its children have none to test.
    SweptShape* const first = Swept("first", 2.0);
    first->ReportContacts();
    SweptShape* const second = Swept("second", 10.0);
    SetRoot({Group("group", {ShapesLeaf("leaf", {first, second}), SweptLeaf("third", 12.0)}),
             SweptLeaf("fourth", 14.0)});
    EXPECT_EQ(Pick(), (Lines{"first"}));
    EXPECT_EQ(first->lastCullBits, 0);
}

TEST_P(SweepInBothModes, ShorteningToTheWholeLengthPrunesNothing)
{
    SetRootOfEveryClass();
    a->onSweep = [](TqOcPickSweepTraversal* traversal) { traversal->EditSweep().ShortenTo(1.0); };
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepInBothModes, WhatTouchesTheShortenedEndIsStillAsked)
{
    SetRoot({SweptLeaf("a", 4.0), SweptLeaf("b", 4.0, 0.3), SweptLeaf("c", 4.001)});
    ShapeOf(static_cast<TqOcSingleLeaf*>(Root()->GetChild(0)))->ReportContacts();
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
}

TEST_P(SweepInBothModes, ShorteningToNothingLeavesWhatTheBodyTouchesAtTheStart)
{
    SetRoot({SweptLeaf("a", 0.0), SweptLeaf("b", 0.3), SweptLeaf("c", 1.0)});
    ShapeOf(static_cast<TqOcSingleLeaf*>(Root()->GetChild(0)))->ReportContacts();
    EXPECT_EQ(Pick(), (Lines{"a", "b"}));
    EXPECT_TRUE(pick.GetSweep().IsPick());
}

// --- Cull bits -----------------------------------------------------------------------------------

TEST_P(SweepInBothModes, NarrowsTheMaskOnTheWayDown)
{
    SweptShape* const inside = Swept("inside", 4.0);
    SweptShape* const across = SweptBox("across", MakeBox(6.0, -0.2, -0.2, 7.0, 2.0, 0.2));
    SetRoot({ShapesLeaf("leaf", {inside, across}), SweptLeaf("end", 20.5)});
    Pick();
    EXPECT_EQ(inside->lastCullBits, 0);
    EXPECT_EQ(across->lastCullBits, eUPPER_Y);
    SweptShape* const end = ShapeOf(static_cast<TqOcSingleLeaf*>(Root()->GetChild(1)));
    EXPECT_EQ(end->lastCullBits, eUPPER_X);
}

TEST(TqOcPickSweepTraversal, HandsTheRootsNarrowedMaskDownDepthFirst)
{
    SweepStage stage(SweepStage::s_depthFirst);
    SweptShape* const big = stage.SweptBox("big", MakeCube(10.0, 0.0, 0.0, 12.0));
    auto* const group = new BoxedGroup(&stage.log);
    stage.root.reset(group);
    group->AddChild(stage.LeafOf(big));
    group->Update();
    group->UpdateBoundingBox(MakeBar(2.0, 4.0)); // inside of every face, unlike what it holds
    EXPECT_EQ(stage.Pick(), Lines{"big"});
    EXPECT_EQ(big->lastCullBits, 0);
}

TEST(TqOcPickSweepTraversal, GoesNearestFirstForAnyModeButZero)
{
    for (int mode : {1, 2, -1}) {
        SCOPED_TRACE(mode);
        SweepStage stage(mode);
        stage.SetRoot({stage.SweptLeaf("b", 8.0), stage.SweptLeaf("a", 2.0)});
        EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    }
    SweepStage stage(0);
    stage.SetRoot({stage.SweptLeaf("b", 8.0), stage.SweptLeaf("a", 2.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"b", "a"}));
}

TEST_P(SweepInBothModes, RestoresTheMaskAfterEachChildOfEveryClass)
{
    // In each container a child before the last leaves other bits: wholly inside, scribbling over
    // them, culled, ignored. The last one sticks out of every face.
    for (int const container : {0, 1, 2}) {
        SCOPED_TRACE(container);
        SweptShape* const inside = Swept("inside", 4.0);
        inside->onSweep = [](TqOcPickSweepTraversal* traversal) { traversal->SetCullBits(0); };
        SweptShape* const culled = Swept("culled", 10.0, 0.0, 0.9); // inside of x and y
        SweptShape* const ignored = Swept("ignored", 4.0);
        ignored->SetIgnorePick(1);
        SweptShape* const last = SweptBox("last", MakeCube(10.0, 0.0, 0.0, 12.0));
        switch (container) {
        case 0:
            root.reset(ShapesLeaf("leaf", {inside, culled, ignored, last}));
            break;
        case 1:
            SetRoot({LeafOf(inside), LeafOf(culled), LeafOf(ignored), LeafOf(last)});
            break;
        default:
            root.reset(DynamicGroup(
                "dynamic", {LeafOf(inside), LeafOf(culled), LeafOf(ignored), LeafOf(last)}));
            break;
        }
        PickAll();
        EXPECT_EQ(inside->numSweeps, 1);
        EXPECT_EQ(culled->numSweeps, 0);
        EXPECT_EQ(ignored->numSweeps, 0);
        EXPECT_EQ(last->lastCullBits, eALL);
    }
}

TEST_P(SweepInBothModes, RestoresTheMaskAfterEachCulledChild)
{
    // As above, one child at a time: what a culled one cleared is not made good by the next.
    for (bool const isIgnored : {false, true}) {
        for (int const container : {0, 1, 2}) {
            SCOPED_TRACE(container);
            SweptShape* const skipped = Swept("skipped", 10.0, 0.0, isIgnored ? 0.0 : 0.9);
            skipped->SetIgnorePick(isIgnored ? 1 : 0);
            SweptShape* const last = SweptBox("last", MakeCube(10.0, 0.0, 0.0, 12.0));
            if (container == 0) {
                root.reset(ShapesLeaf("leaf", {skipped, last}));
            } else if (container == 1) {
                SetRoot({LeafOf(skipped), LeafOf(last)});
            } else {
                root.reset(DynamicGroup("dynamic", {LeafOf(skipped), LeafOf(last)}));
            }
            PickAll();
            EXPECT_EQ(skipped->numSweeps, 0);
            EXPECT_EQ(last->lastCullBits, eALL);
        }
    }
}

// --- Depth first ---------------------------------------------------------------------------------

TEST(TqOcPickSweepTraversal, DepthFirstAsksInTheOrderOfTheChildren)
{
    SweepStage stage(SweepStage::s_depthFirst);
    stage.SetRoot(
        {stage.SweptLeaf("a", 8.0),
         stage.DynamicGroup("dynamic", {stage.SweptLeaf("b", 6.0), stage.SweptLeaf("c", 7.0)}),
         stage.ShapesLeaf("leaf", {stage.Swept("d", 3.0), stage.Swept("e", 2.0)}),
         stage.SweptLeaf("f", 1.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c", "d", "e", "f"}));
}

TEST(TqOcPickSweepTraversal, DepthFirstEntersNoChildThatItCulls)
{
    SweepStage stage(SweepStage::s_depthFirst);
    SweptShape* const contact = stage.Swept("contact", 2.0);
    contact->ReportContacts();
    SweptShape* const far = stage.Swept("far", 9.0);
    far->SetLogsBoxes(true);
    stage.root.reset(stage.SweptGroup("root", {stage.SweptGroup("near", {stage.LeafOf(contact)}),
                                               stage.SweptGroup("beyond", {stage.LeafOf(far)})}));
    stage.root->Update();
    EXPECT_EQ(stage.PickAll(), (Lines{"Enter root", "Enter near", "PickSweep contact"}));
}

TEST(TqOcPickSweepTraversal, ALeafOfOneShapeRestoresTheMask)
{
    SweepStage stage(SweepStage::s_depthFirst);
    TqOcSingleLeaf* const leaf = stage.SweptLeaf("a", 4.0);
    stage.root.reset(leaf);
    leaf->Update();
    for (bool const isIgnored : {false, true}) {
        leaf->GetShape()->UpdateIgnorePick(isIgnored ? 1 : 0);
        stage.pick.SetCullBits(eALL);
        leaf->PickSweep(&stage.pick);
        EXPECT_EQ(SweepStage::ShapeOf(leaf)->numSweeps, 1);
        EXPECT_EQ(stage.pick.GetCullBits(), eALL);
    }
    EXPECT_EQ(SweepStage::ShapeOf(leaf)->lastCullBits, 0);
}

// --- Nearest first -------------------------------------------------------------------------------

TEST(TqOcPickSweepTraversal, NearestFirstAsksInTheOrderOfTheDistanceAlongTheSweep)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SetRoot({stage.SweptLeaf("c", 8.0), stage.SweptLeaf("a", 2.0), stage.SweptLeaf("b", 5.0),
                   stage.SweptLeaf("behind", -0.6)});
    EXPECT_EQ(stage.Pick(), (Lines{"behind", "a", "b", "c"}));
    stage.pick.SetSweep(TqLPickSweep(TqLPos3f(10.0, 0.0, 0.0), 1.0, TqLVec3f(-11.0, 0.0, 0.0)));
    EXPECT_EQ(stage.Pick(), (Lines{"c", "b", "a", "behind"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstGoesByTheNearestCornerOfTheBox)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SetRoot({stage.SweptLeaf("b", 5.0), stage.LeafOf(stage.SweptBox("a", MakeBar(4.0, 19.0))),
                   stage.SweptLeaf("c", 6.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstMeasuresAcrossTheSweepVector)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SweepAlong(10.0, 10.0, 0.0);
    // Nearest corners at (3, 5), (4, 3.5) and (4.5, 2.5): 8, 7.5 and 7 along the diagonal.
    stage.SetRoot({stage.LeafOf(stage.SweptBox("c", MakeBox(3.0, 5.0, 0.0, 5.0, 6.0, 0.1))),
                   stage.LeafOf(stage.SweptBox("b", MakeBox(4.0, 3.5, 0.0, 4.2, 4.2, 0.1))),
                   stage.LeafOf(stage.SweptBox("a", MakeBox(4.5, 2.5, 0.0, 6.0, 5.0, 0.1)))});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstHandsOnTheDistanceFromTheBody)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    SweptNode<ActingVisitGroup>* const group =
        stage.SweptGroup("group", {stage.SweptLeaf("a", 5.25), stage.SweptLeaf("b", 9.0)});
    std::vector<double> priorities;
    group->onTurn = [&](TqOcPrioritizedVisitor*, TqOcTravState* state) {
        priorities.push_back(state->GetCullData().priority);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.SetRoot({group, stage.SweptLeaf("c", 11.0)});
    TqLVec3f const half(0.5, 0.5, 0.5);
    for (TqLVec3f const& sweep : {TqLVec3f(9.0, 0.0, 0.0), TqLVec3f()}) {
        // The body stands in the group, and is measured from its center.
        stage.pick.SetSweep(TqLPickSweep(TqLPos3f(5.5, 0.0, 0.0), half, sweep));
        stage.Pick();
    }
    EXPECT_EQ(priorities, (std::vector<double>{-0.5, 0.0}));
}

TEST(TqOcPickSweepTraversal, NearestFirstCountsBoxesWithoutBoundsAsEqualForAZeroVector)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.pick.SetSweep(TqLPickSweep(TqLPos3f(), 1.0, TqLVec3f()));
    stage.SetRoot({stage.LeafOf(stage.SweptBox("a", MakeCube(0.0, 0.0, 0.0, infinity))),
                   stage.SweptLeaf("b", 0.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstGoesToAndFroBetweenBranches)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SetRoot(
        {stage.Group("one", {stage.SweptLeaf("d", 8.0), stage.SweptLeaf("a", 2.0)}),
         stage.DynamicGroup("two", {stage.SweptLeaf("e", 9.0), stage.SweptLeaf("b", 4.0)}),
         stage.SweptLeaf("c", 6.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c", "d", "e"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstTakesEqualOnesInTheOrderOfAppending)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SetRoot({stage.SweptLeaf("a", 5.0, 0.5), stage.SweptLeaf("b", 5.0, -0.5),
                   stage.SweptLeaf("c", 5.0, 0.0, 0.5), stage.SweptLeaf("first", 4.0),
                   stage.SweptLeaf("d", 5.0), stage.SweptLeaf("e", 5.0, 0.1)});
    EXPECT_EQ(stage.Pick(), (Lines{"first", "a", "b", "c", "d", "e"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstAsksTheShapesOfALeafInTheirOrder)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    stage.SetRoot({stage.SweptLeaf("c", 3.0),
                   stage.ShapesLeaf("leaf", {stage.Swept("a", 8.0), stage.Swept("b", 2.0)})});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstGoesByNothingButTheDistance)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    TqOcSingleLeaf* const far = stage.SweptLeaf("far", 9.0);
    far->GetShape()->SetForceRender(1);
    far->GetShape()->SetScale(1e-6);
    far->GetShape()->SetTris(1000000);
    stage.SetRoot({far, stage.SweptLeaf("near", 2.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"near", "far"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstKeepsItsFrontPlaneWhileTheSweepIsShortened)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    TqOcSingleLeaf* const first = stage.SweptLeaf("first", -0.7);
    stage.SetRoot(
        {stage.Group("group", {stage.SweptLeaf("c", 0.3), stage.SweptLeaf("b", -0.2)}), first});
    SweepStage::ShapeOf(first)->ReportContacts(); // at the start: no vector is left
    EXPECT_EQ(stage.Pick(), (Lines{"first", "b", "c"}));
    EXPECT_TRUE(stage.pick.GetSweep().IsPick());
}

TEST(TqOcPickSweepTraversal, NearestFirstPrunesWhatAShortenedSweepNoLongerReaches)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    SweptShape* const contact = stage.Swept("contact", 2.0);
    contact->ReportContacts();
    SweptShape* const far = stage.Swept("far", 9.0);
    SweptShape* const inFarLeaf = stage.Swept("inFarLeaf", 12.0);
    far->SetLogsBoxes(true);
    inFarLeaf->SetLogsBoxes(true);
    stage.root.reset(stage.SweptGroup(
        "root", {stage.LeafOf(contact),
                 stage.SweptGroup("beyond", {stage.LeafOf(far), stage.SweptLeaf("farther", 10.0)}),
                 stage.ShapesLeaf("leaf", {inFarLeaf})}));
    stage.root->Update();
    // The node is entered, having been queued before the contact, and looks at nothing.
    EXPECT_EQ(stage.PickAll(),
              (Lines{"Enter root", "PickSweep contact", "Enter beyond", "Pruned beyond"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstPrunesNothingWhileTheSweepIsNotShortened)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    SweptShape* const changer = stage.Swept("changer", 2.0);
    changer->onSweep = [&](TqOcPickSweepTraversal*) { stage.SweepAlong(1.5, 0.0, 0.0); };
    SweptShape* const far = stage.Swept("far", 9.0);
    SweptShape* const inFarLeaf = stage.Swept("inFarLeaf", 12.0);
    far->SetLogsBoxes(true);
    inFarLeaf->SetLogsBoxes(true);
    // Sticking out of a face of the sweep, so that the upper x face is in every mask.
    SweptShape* const end = stage.SweptBox("end", MakeBar(2.5, 30.0));
    stage.root.reset(stage.SweptGroup(
        "root",
        {stage.LeafOf(changer), stage.SweptGroup("beyond", {stage.LeafOf(far), stage.LeafOf(end)}),
         stage.ShapesLeaf("leaf", {inFarLeaf})}));
    stage.root->Update();
    EXPECT_EQ(stage.PickAll(), (Lines{"Enter root", "PickSweep changer", "Enter beyond",
                                      "GetShapeBox inFarLeaf", "PickSweep inFarLeaf"}));
    // "inFarLeaf" is asked under its leaf's mask, which tells of the sweep that is no more: only
    // ShortenTo tells a walk that masks are void.
}

TEST(TqOcPickSweepTraversal, NearestFirstFollowsAnOnlyChildWithoutTestingIt)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    TqOcSingleLeaf* const only = stage.SweptLeaf("a", 2.0);
    stage.SetRoot({stage.Group("group", {only}), stage.SweptLeaf("b", 4.0)});
    stage.root->Update();
    only->UpdateIgnorePick(1);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    only->UpdateIgnorePick(0);
    only->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    // Its shape is tested all the same.
    only->GetShape()->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.Pick(), (Lines{"b"}));
}

TEST(TqOcPickSweepTraversal, NearestFirstStartsWithAllFacesInAnotherView)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    SweptShape* const big = stage.SweptBox("big", MakeCube(10.0, 0.0, 0.0, 12.0));
    auto* const group = stage.Named("group", new BoxedGroup(&stage.log));
    group->AddChild(stage.LeafOf(big));
    group->AddChild(stage.SweptLeaf("small", 3.0));
    stage.SetRoot({group, stage.SweptLeaf("other", 4.0)});
    stage.root->Update();
    // A group that claims to lie inside all faces hands an empty mask on, but not into another
    // view.
    group->UpdateBoundingBox(MakeBar(2.0, 4.0));

    enum View
    {
        eSAME,
        eTRANSFORMED,
        eNARROWED
    };

    for (View const view : {eSAME, eTRANSFORMED, eNARROWED}) {
        SCOPED_TRACE(view);
        group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
            TqOcRenderTravCull* const cull =
                view == eTRANSFORMED ? state->TransformedCull(visitor, TqLAffine3f())
                : view == eNARROWED  ? state->NarrowedCull(visitor, 0.0, 1.0, 0.0, 1.0)
                                     : state->GetTravCull();
            for (int i = 0; i < group->GetNumChildren(); ++i) {
                state->Append(visitor, group->GetChild(i), cull);
            }
            return TqOcBaseTraversable::eAPPENDED;
        };
        stage.Pick();
        EXPECT_EQ(big->lastCullBits, view == eNARROWED ? eALL : 0);
    }
}

TEST(TqOcPickSweepTraversal, NearestFirstTestsAnOnlyChildInAnotherView)
{
    SweepStage stage(SweepStage::s_nearestFirst);
    TqOcSingleLeaf* const only = stage.SweptLeaf("a", 2.0);
    SweptNode<ActingVisitGroup>* const group = stage.SweptGroup("group", {only});
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, only, state->NarrowedCull(visitor, 0.0, 0.5, 0.0, 0.5));
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.SetRoot({group, stage.SweptLeaf("b", 4.0)});
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    only->UpdateIgnorePick(1);
    EXPECT_EQ(stage.Pick(), (Lines{"b"}));
}

// --- What the render traversal drew --------------------------------------------------------------

TEST_P(SweepAfterAFrame, PicksOnlyNodesOfTheLastFrame)
{
    SetRootOfEveryClass();
    EXPECT_EQ(Pick(), Lines()); // no node has the frame id yet
    StampAll();
    EXPECT_EQ(Pick().size(), 7U);
    std::vector<std::pair<TqOcBaseTraversable*, Lines>> const cases = {
        {root.get(), {}},
        {leaf, {"c", "d", "e", "f", "g"}},
        {single, {"a", "b", "d", "e", "f", "g"}},
        {dynamic, {"a", "b", "c", "f", "g"}},
        {inDynamic, {"a", "b", "c", "e", "f", "g"}},
        {group, {"a", "b", "c", "d", "e"}}};
    for (auto const& [node, expected] : cases) {
        SCOPED_TRACE(log.GetName(node));
        node->SetFrameId(s_frame - 1);
        EXPECT_EQ(Pick(), expected);
        node->SetFrameId(s_frame);
    }
    render.SetFrameId(s_frame + 1);
    EXPECT_EQ(Pick(), Lines());
}

TEST_P(SweepAfterAFrame, DoesNotLookAtTheFrameIdsOfShapes)
{
    SetRootOfEveryClass();
    StampAll();
    for (TqOcShape* const shape : {static_cast<TqOcShape*>(a), single->GetShape()}) {
        shape->SetFrameId(s_frame - 1);
    }
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepAfterAFrame, PicksNothingBeforeTheFirstFrame)
{
    SetRootOfEveryClass();
    PostedErrors posted;
    EXPECT_EQ(Pick(), Lines());
    EXPECT_TRUE(posted.Empty());
}

TEST_P(SweepAfterAFrame, SkipsShapesOfPrimitivesThatAreNotDrawn)
{
    SetRootOfEveryClass();
    StampAll();
    auto const both = static_cast<TqLPrimitiveTypes::Enum>(TqLPrimitiveTypes::eTRIANGLES |
                                                           TqLPrimitiveTypes::eLINES);
    b->UpdatePrimitives(both);
    ShapeOf(single)->UpdatePrimitives(both);
    render.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(Pick(), (Lines{"b", "c"})); // of nodes, only the frame id counts
    render.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(Pick().size(), 7U);
}

TEST_P(SweepAfterAFrame, PicksWhatTheNextFrameWouldDrawInstead)
{
    SetRowInView();
    pick.SetPickLastRendered(0);
    EXPECT_EQ(Pick(), (Lines{"left", "middle", "right"})); // but not what lies out of view
    left->UpdatePrimitives(static_cast<TqLPrimitiveTypes::Enum>(31));
    render.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(Pick(), Lines());
    render.SetPrimitiveBits(static_cast<TqLPrimitiveTypes::Enum>(31));
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 0.0);
    render.SetClipPlanes(&plane, 1);
    EXPECT_EQ(Pick(), (Lines{"middle", "right"}));
    left->UpdateIgnoreClip(1);
    EXPECT_EQ(Pick(), (Lines{"left", "middle", "right"}));
}

TEST_P(SweepAfterAFrame, GoesByTheFrameIdsOfAnInteractiveFrame)
{
    SetRowInView();
    render.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    render.Apply(root.get());
    ASSERT_NE(render.IsInteractive(), 0);
    pick.SetPickLastRendered(0);
    EXPECT_EQ(Pick(), (Lines{"left", "middle", "right"}));
    left->SetFrameId(s_frame - 1);
    EXPECT_EQ(Pick(), (Lines{"middle", "right"}));
}

TEST_P(SweepAfterAFrame, CountsOnlyCulledTrianglesOfNodesInTheSweep)
{
    SetRowInView();
    pick.SetPickLastRendered(0);
    render.ResetStats();
    Pick();
    EXPECT_EQ(render.GetTrisFrustumCulled(), 1U); // "outside", but not "elsewhere"
    pick.SetPickLastRendered(1);
    Pick();
    EXPECT_EQ(render.GetTrisFrustumCulled(), 1U);
}

int CountAndKeep(TqOcTraversable const*, TqOcRenderTravCullData*, void* calls)
{
    ++*static_cast<int*>(calls);
    return 1;
}

int CountAndReject(TqOcShape const*, void* calls)
{
    ++*static_cast<int*>(calls);
    return 1;
}

TEST_P(SweepAfterAFrame, AsksThePriorityCallbackOnlyForWhatTheNextFrameWouldDraw)
{
    SetRowInView();
    StampAll();
    int calls = 0;
    render.SetDynamicPriorityCallback(&CountAndKeep, &calls);
    Pick();
    EXPECT_EQ(calls, 0);
    pick.SetPickLastRendered(0);
    Pick();
    EXPECT_EQ(calls, 4); // the root and what lies in view
}

TEST_P(SweepAfterAFrame, AsksNoDynamicShapeCullCallback)
{
    SetRowInView();
    StampAll();
    int calls = 0;
    render.SetDynamicShapeCullCallback(&CountAndReject, &calls);
    for (int const isLastRendered : {1, 0}) {
        pick.SetPickLastRendered(isLastRendered);
        EXPECT_GE(Pick().size(), 3U);
    }
    EXPECT_EQ(calls, 0);
}

TEST_P(SweepAfterAFrame, LeavesStampsAlone)
{
    SetRowInView();
    render.Apply(root.get());
    auto const readStamps = [&] {
        std::vector<unsigned int> stamps = {render.GetFrameId()};
        ForEachNode([&](TqOcBaseTraversable* node) {
            stamps.push_back(node->GetFrameId());
            if (!node->IsShape()) {
                stamps.push_back(static_cast<TqOcTraversable*>(node)->GetHysteresisId());
            }
        });
        return stamps;
    };
    std::vector<unsigned int> const before = readStamps();
    ASSERT_GT(std::count(before.begin(), before.end(), s_frame), 6);
    for (int const isLastRendered : {1, 0}) {
        pick.SetPickLastRendered(isLastRendered);
        EXPECT_EQ(Pick().size(), 3U);
        EXPECT_EQ(readStamps(), before);
    }
}

TEST_P(SweepAfterAFrame, ContactsBehindAClipPlaneAreRefused)
{
    SetRowInView();
    StampAll();
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 0.0);
    render.SetClipPlanes(&plane, 1);
    for (TqOcSingleLeaf* const node : {left, middle, right}) {
        ShapeOf(node)->ReportContacts();
    }
    Pick();
    // Bodies stop at -2.75, -0.75 and 1.25.
    EXPECT_EQ(pick.GetPickedShape(), right->GetShape());
}

TEST_P(SweepAfterAFrame, PostsARenderTraversalWithoutAContext)
{
    SetRootOfEveryClass();
    StampAll();
    TqOcPrioritizedTraversal orphan(nullptr);
    pick.SetRenderTraversal(&orphan);
    PostedErrors posted;
    EXPECT_EQ(Pick(), Lines());
    EXPECT_EQ(posted.Size(), 1);
}

// --- The tests themselves ------------------------------------------------------------------------

TEST_P(SweepInBothModes, CanCullOfANode)
{
    SetRootOfEveryClass();
    pick.SetCullBits(eALL);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 0);
    EXPECT_EQ(pick.GetCullBits(), 0);
    leaf->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 1);
    leaf->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    leaf->UpdateIgnorePick(1);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 1);
    leaf->UpdateIgnorePick(0);
    leaf->UpdateHideRender(1);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 1);
    pick.SetPickHidden(1);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 0);
    pick.SetCullBits(eALL);
    SweepAlong(-1.0, 0.0, 0.0);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 1);
}

TEST_P(SweepInBothModes, CanCullOfAShapeAsksForItsBoxOnlyWhenNothingElseCullsIt)
{
    SweptShape* const shape = Swept("shape", 4.0);
    root.reset(LeafOf(shape));
    root->Update();
    int const before = shape->GetNumBoxCalls();
    pick.SetCullBits(eALL);
    shape->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(pick.CanCull(shape), 1);
    shape->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    shape->UpdateIgnorePick(1);
    EXPECT_EQ(pick.CanCull(shape), 1);
    shape->UpdateIgnorePick(0);
    shape->UpdateHideRender(1);
    EXPECT_EQ(pick.CanCull(shape), 1);
    EXPECT_EQ(shape->GetNumBoxCalls(), before);
    EXPECT_EQ(pick.GetCullBits(), eALL);
    pick.SetPickHidden(1);
    EXPECT_EQ(pick.CanCull(shape), 0);
    EXPECT_EQ(shape->GetNumBoxCalls(), before + 1);
    EXPECT_TRUE(shape->GotOnlyEmptyBoxes());
    EXPECT_EQ(pick.GetCullBits(), 0);
    pick.SetCullBits(eALL);
    shape->SetBox(MakeCube(30.0, 0.0, 0.0, s_half));
    EXPECT_EQ(pick.CanCull(shape), 1);
    shape->SetBox(TqLBox3f());
    EXPECT_EQ(pick.CanCull(shape), 1);
}

TEST_P(SweepAfterAFrame, CanCullOfAShapeGoesByPrimitivesAndNotByFrames)
{
    SetRootOfEveryClass();
    pick.SetCullBits(eALL);
    a->SetFrameId(s_frame - 1);
    EXPECT_EQ(pick.CanCull(a), 0);
    render.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(pick.CanCull(a), 1);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 1);
    leaf->SetFrameId(s_frame);
    EXPECT_EQ(pick.CanCull(static_cast<TqOcTraversable*>(leaf)), 0);
}

// --- Faults --------------------------------------------------------------------------------------

TEST_P(SweepAfterAFrame, AnExceptionFromAShapeGoesOnAndTheNextPickIsRight)
{
    SetRootOfEveryClass();
    StampAll();
    std::vector<SweptShape*> const shapes = {a, b, ShapeOf(single), ShapeOf(inDynamic)};
    for (bool const isRendered : {true, false}) {
        pick.SetRenderTraversal(isRendered ? &render : nullptr);
        for (SweptShape* const shape : shapes) {
            SCOPED_TRACE(shape->GetName());
            shape->onSweep = [](TqOcPickSweepTraversal*) { throw std::runtime_error("shape"); };
            EXPECT_THROW(Pick(), std::runtime_error);
            EXPECT_FALSE(IsAnyMarked());
            shape->onSweep = nullptr;
            EXPECT_EQ(Pick().size(), 7U);
        }
    }
}

TEST_P(SweepInBothModes, WhatWasPickedBeforeAnExceptionStays)
{
    SetRootOfEveryClass();
    a->onSweep = [&](TqOcPickSweepTraversal* traversal) {
        traversal->SetPicked(a, TqLPos3f(), 1.0, 0, TqOcPickTraversal::ePICK_TRIANGLE);
        traversal->PickShape(a);
    };
    b->onSweep = [](TqOcPickSweepTraversal*) { throw std::runtime_error("shape"); };
    EXPECT_THROW(Pick(), std::runtime_error);
    EXPECT_EQ(pick.GetPickedShape(), a);
    EXPECT_EQ(pick.GetAllPickedShapes().Size(), 1U);
}

TEST_P(SweepAfterAFrame, APickLeftWithoutItsEndHarmsNothing)
{
    SetRowInView();
    pick.SetPickLastRendered(0);
    pick.AsyncApply(root.get());
    EXPECT_EQ(Pick(), (Lines{"left", "middle", "right"}));
    pick.AsyncApply(root.get());
}

TEST_P(SweepInBothModes, TakesNothingFromTheHeapFromTheSecondPickOn)
{
    std::vector<SweptShape*> shapes;
    auto* const groups = new TqOcStaticGroup;
    root.reset(groups);
    for (int i = 0; i < 20; ++i) {
        auto* const inner = new TqOcDynamicGroup;
        for (int j = 0; j < 6; ++j) {
            shapes.push_back(new SweptShape(nullptr, "", MakeCube(0.1 * i + j, 0.0, 0.0, s_half)));
            shapes.back()->onSweep = [shape = shapes.back()](TqOcPickSweepTraversal* traversal) {
                traversal->PickShape(shape);
            };
            inner->AddChild(new TqOcSingleLeaf(shapes.back()));
        }
        groups->AddChild(inner);
    }
    RecordingContext host;
    TqOcPrioritizedTraversal render(&host);
    for (bool const isRendered : {false, true}) {
        pick.SetRenderTraversal(isRendered ? &render : nullptr);
        pick.Apply(root.get());
        ASSERT_EQ(pick.GetAllPickedShapes().Size(), 120U);
        AllocationCounter counter;
        pick.Apply(root.get());
        EXPECT_EQ(counter.GetNum(), 0U);
        EXPECT_EQ(pick.GetAllPickedShapes().Size(), 120U);
    }
}

TEST(TqOcPickSweepTraversal, NearestFirstEndsEarlyWithoutMemoryAndIsRightTheNextTime)
{
    int ended = 0;
    for (int n = 1; n <= 8; ++n) {
        SCOPED_TRACE(n);
        SweepStage stage(SweepStage::s_nearestFirst);
        stage.SetRoot({stage.SweptLeaf("a", 2.0), stage.SweptLeaf("b", 4.0)});
        stage.root->Update();
        {
            RefuseAllocations const refuse(n, RefuseAllocations::eAND_ALL_LATER,
                                           RefuseAllocations::eMEMORY);
            stage.Pick();
            ended += refuse.GetNumRefused() > 0 ? 1 : 0;
        }
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    }
    EXPECT_GE(ended, 4); // one pool each
}
