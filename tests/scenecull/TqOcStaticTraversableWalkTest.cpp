// The static containers' and shapes' turns in the prioritized and in the plain walk.
#include "support/WalkStage.h"

#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

namespace
{

using Status = TqOcBaseTraversable::TraversalStatus;

/// Hands a node's turn to `node` in the root's turn; returns its status.
Status TakeTurn(WalkStage& stage, TqOcBaseTraversable* node)
{
    stage.SetRoot({stage.Leaf("stage", 1.0)});
    Status status = TqOcBaseTraversable::eAPPENDED;
    static_cast<ActingGroup*>(stage.root.get())->onTurn = [&](TqOcPrioritizedTraversal* walk,
                                                              TqOcTravState* state) {
        status = node->Prioritized(walk, state);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.Frame();
    return status;
}

int RejectAll(TqOcShape const*, void*)
{
    return 1;
}

} // namespace

// ---- Prioritized --------------------------------------------------------------------------------

TEST(TqOcStaticGroup, ReturnsAppendedWithoutChildrenAndAppendsNothing)
{
    WalkStage stage;
    TqOcStaticGroup group;
    EXPECT_EQ(TakeTurn(stage, &group), TqOcBaseTraversable::eAPPENDED);
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 0U);
}

TEST(TqOcTraversable, FinishesItsTurnWithoutDoingAnything)
{
    WalkStage stage;
    PlainTraversable node;
    EXPECT_EQ(TakeTurn(stage, &node), TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(TqOcBaseTraversable::eFINISHED, 0);
    EXPECT_EQ(TqOcBaseTraversable::eAPPENDED, 1);
}

TEST(TqOcStaticLeaf, DrawsItsVisibleShapesInChildOrderAndStampsThem)
{
    WalkStage stage;
    auto* const hidden = stage.Shape("hidden", 1.0);
    hidden->SetHideRender(1);
    auto* const lines = stage.Shape("lines", 1.0);
    lines->SetPrimitives(TqLPrimitiveTypes::eLINES);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    auto* const far = stage.Shape("far", 9.0);
    auto* const near = stage.Shape("near", 1.0);
    TqOcShape* shapes[] = {far, hidden, lines, near};
    auto* const leaf = new TqOcStaticLeaf(shapes, 4);
    stage.SetRoot({leaf, stage.Leaf("other", 3.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"far", "near", "other"}));
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 2U);
    EXPECT_EQ(far->GetFrameId(), stage.frameId);
    EXPECT_EQ(near->GetFrameId(), stage.frameId);
    EXPECT_EQ(hidden->GetFrameId(), 0U) << "a skipped shape keeps its frame id";
    EXPECT_EQ(lines->GetFrameId(), 0U);
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 0U) << "a leaf counts no skipped shape";
}

TEST(TqOcStaticLeaf, StampsAShapeOnlyAfterItsTurn)
{
    WalkStage stage;
    auto* const shape = stage.Shape("a", 1.0);
    unsigned int during = 77;
    shape->onTurn = [&](TqOcPrioritizedTraversal*) { during = shape->GetFrameId(); };
    TqOcShape* shapes[] = {shape};
    stage.SetRoot({new TqOcStaticLeaf(shapes, 1)});
    stage.Frame();
    EXPECT_EQ(during, 0U);
    EXPECT_EQ(shape->GetFrameId(), stage.frameId);
}

TEST(TqOcStaticLeaf, CountsOneLeafDrawnWhenTheCallbackRejectsAllShapes)
{
    WalkStage stage;
    TqOcShape* shapes[] = {stage.Shape("a", 1.0), stage.Shape("b", 1.0)};
    TqOcStaticLeaf leaf(shapes, 2);
    stage.walk.SetDynamicShapeCullCallback(&RejectAll, nullptr);
    EXPECT_EQ(TakeTurn(stage, &leaf), TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 1U);
    EXPECT_EQ(stage.walk.GetShapesRendered(), 0U);
    EXPECT_EQ(leaf.GetChild(0)->GetFrameId(), 0U);
}

TEST(TqOcStaticLeaf, AsksTheCallbackOnlyForShapesThatAreVisibleOtherwise)
{
    WalkStage stage;
    auto* const hidden = stage.Shape("hidden", 1.0);
    hidden->SetHideRender(1);
    TqOcShape* shapes[] = {hidden, stage.Shape("b", 1.0)};
    stage.SetRoot({new TqOcStaticLeaf(shapes, 2)});

    struct Asked
    {
        std::vector<TqOcShape const*> shapes;

        static int Call(TqOcShape const* shape, void* self)
        {
            static_cast<Asked*>(self)->shapes.push_back(shape);
            return 0;
        }
    } asked;

    stage.walk.SetDynamicShapeCullCallback(&Asked::Call, &asked);
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(asked.shapes, std::vector<TqOcShape const*>{shapes[1]});
}

TEST(TqOcStaticGroup, DrawsItsShapesLikeALeafWhileItIsMarkedAsOne)
{
    WalkStage stage;
    auto* const group = new TqOcStaticGroup;
    group->SetLeaf(1);
    auto* const hidden = stage.Shape("hidden", 7.0);
    hidden->SetHideRender(1);
    auto* const first = stage.Shape("first", 5.0);
    auto* const second = stage.Shape("second", 2.0);
    for (ActingShape* const shape : {first, hidden, second}) {
        group->AddShape(shape);
    }
    EXPECT_EQ(group->GetNumChildren(), 3);
    stage.SetRoot({group, stage.Leaf("far", 9.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"first", "second", "far"})) << "in child order";
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 2U);
    EXPECT_EQ(first->GetFrameId(), stage.frameId);
    EXPECT_EQ(second->GetFrameId(), stage.frameId);
    EXPECT_EQ(hidden->GetFrameId(), 0U);
    EXPECT_EQ(group->GetFrameId(), stage.frameId);
    EXPECT_EQ(first->lastData.priority, 2.0) << "the group's, which is its nearest shape's";

    TqOcStaticGroup alone;
    alone.SetLeaf(1);
    alone.AddShape(stage.Shape("own", 1.0));
    EXPECT_EQ(TakeTurn(stage, &alone), TqOcBaseTraversable::eAPPENDED);
}

TEST(TqOcStaticGroup, HandsOnItsContainersAlsoWhileItIsMarkedAsALeaf)
{
    WalkStage stage;
    auto* const group = new TqOcStaticGroup;
    group->AddChild(stage.Leaf("below", 3.0));
    group->SetLeaf(1);
    group->AddShape(stage.Shape("own", 4.0));
    stage.SetRoot({group, stage.Leaf("between", 3.5)});
    EXPECT_EQ(stage.Frame(), (Lines{"own", "below", "between"}));
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 3U);
}

TEST(TqOcStaticGroup, DrawsTheShapesThatItHoldsWithoutBeingMarkedAsALeaf)
{
    WalkStage stage;
    auto* const group = new TqOcStaticGroup;
    group->AddChild(stage.Leaf("below", 3.0));
    group->SetLeaf(1);
    group->AddShape(stage.Shape("own", 4.0));
    group->SetLeaf(0);
    stage.SetRoot({group, stage.Leaf("between", 3.5)});
    EXPECT_EQ(stage.Frame(), (Lines{"own", "below", "between"}));
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 2U) << "the group counts as none";

    TqOcStaticGroup alone;
    alone.SetLeaf(1);
    alone.AddShape(stage.Shape("own", 1.0));
    alone.SetLeaf(0);
    EXPECT_EQ(TakeTurn(stage, &alone), TqOcBaseTraversable::eAPPENDED);
}

TEST(TqOcSingleLeaf, CountsOneLeafAndFinishesAlsoWhenItsShapeIsSkipped)
{
    WalkStage stage;
    TqOcSingleLeaf leaf(stage.Shape("a", 1.0));
    EXPECT_EQ(TakeTurn(stage, &leaf), TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 1U);
    EXPECT_EQ(stage.walk.GetShapesRendered(), 1U);
    EXPECT_EQ(leaf.GetShape()->GetFrameId(), stage.frameId);

    leaf.GetShape()->SetHideRender(1);
    EXPECT_EQ(TakeTurn(stage, &leaf), TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 1U);
    EXPECT_EQ(stage.walk.GetShapesRendered(), 0U);
    EXPECT_EQ(leaf.GetShape()->GetFrameId(), stage.frameId - 1);
}

TEST(TqOcShape, HandsTheLeafsCullDataToPrioritizedShape)
{
    WalkStage stage;
    auto* const shape = stage.Shape("a", 4.0);
    TqOcShape* shapes[] = {stage.Shape("near", 2.0), shape};
    stage.SetRoot({new TqOcStaticLeaf(shapes, 2), stage.Leaf("b", 30.0)});
    stage.Frame();
    EXPECT_DOUBLE_EQ(shape->lastData.distance, 2.0) << "the leaf's, not the shape's";
    EXPECT_DOUBLE_EQ(shape->lastData.priority, 2.0);
}

TEST(TqOcShape, SetsTheStressWeightToItsPriority)
{
    // Seen through the stress controller: after a bisection, a load equal to that of the last
    // increase counts as worse only when that increase had the greater weight.
    for (double const distance : {1.0, 30.0}) {
        FakeClock clock(0.0);
        WalkStage stage;
        auto* const leaf = stage.Leaf("a", distance);
        stage.SetRoot({leaf});
        stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
        stage.walk.SetTargetFrameTime(1.0);
        stage.walk.SetMinStress(1e-9);
        stage.walk.SetMaxStress(1e9);
        double frameTime = 0.5;
        double weight = 10.0;
        WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
            clock.Advance(frameTime);
            if (weight > 0.0) {
                walk->SetStressWeight(weight);
            }
        };
        // Frames: load 0 -> decrease; load 0.5 -> decrease again; load 1.5 (weight 10) -> bisect.
        stage.Frame();
        frameTime = 1.5;
        stage.Frame();
        stage.Frame();
        double const bisected = stage.walk.GetStress();
        weight = 0.0; // from here on the shape's own priority stands
        stage.Frame();
        double const before = stage.walk.GetStress();
        stage.Frame();
        bool const isRaised = stage.walk.GetStress() >= 2.0 * before;
        EXPECT_EQ(isRaised, distance < 10.0) << distance << ", bisected at " << bisected;
    }
}

TEST(TqOcShape, DrawsByRenderShapeUnlessPrioritizedShapeIsOverridden)
{
    class Plain : public RecordingShape
    {
    public:
        using RecordingShape::RecordingShape;

        void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                              TqOcRenderTravCullData const& data) override
        {
            TqOcShape::PrioritizedShape(traversal, data);
        }
    };

    WalkStage stage;
    TqOcSingleLeaf leaf(new Plain(&stage.log, "plain", MakeCube(0.0, 0.0, -5.0, 0.5)));
    TakeTurn(stage, &leaf);
    EXPECT_EQ(stage.log.Count("RenderShape plain"), 1);
    EXPECT_EQ(stage.walk.GetShapesRendered(), 0U) << "this walk counts nothing by itself";
    EXPECT_EQ(stage.walk.GetTrisRendered(), 0U);
}

// ---- Render -------------------------------------------------------------------------------------

TEST(TqOcStaticBase, RendersAllThatIsVisibleInChildOrderWithoutCulling)
{
    WalkStage stage;
    TqOcShape* shapes[] = {stage.Shape("behind", -50.0, 3), stage.Shape("hidden", 1.0),
                           stage.Shape("b", 2.0, 4)};
    shapes[1]->SetHideRender(1);
    auto* const leaf = new TqOcStaticLeaf(shapes, 3);
    auto* const group = WalkStage::Group({leaf});
    stage.SetRoot({group});
    stage.root->Update();
    stage.walk.SetFrameId(9);
    stage.walk.SetDynamicShapeCullCallback(&RejectAll, nullptr);
    leaf->SetTraversed();
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Filtered("RenderShape"), (Lines{"RenderShape behind", "RenderShape b"}))
        << "no cull test, no traversed mark, no callback";
    EXPECT_EQ(stage.walk.GetShapesRendered(), 2U);
    EXPECT_EQ(stage.walk.GetTrisRendered(), 7U);
    EXPECT_EQ(stage.walk.GetLeavesRendered(), 0U);
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 0U) << "hidden ones are skipped silently";
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 0U);
    leaf->ClearTraversed();
}

TEST(TqOcStaticBase, RenderStampsChildrenAndTheHysteresisOfThoseThatAreNoShapes)
{
    WalkStage stage;
    TqOcShape* shapes[] = {stage.Shape("a", 1.0)};
    auto* const leaf = new TqOcStaticLeaf(shapes, 1);
    auto* const group = WalkStage::Group({leaf});
    stage.SetRoot({group});
    stage.root->Update();
    stage.walk.SetFrameId(9);
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.root->GetHysteresisId(), 0U) << "only children are stamped";
    EXPECT_EQ(stage.root->GetFrameId(), 0U);
    EXPECT_EQ(group->GetHysteresisId(), 9U);
    EXPECT_EQ(group->GetFrameId(), 9U);
    EXPECT_EQ(leaf->GetHysteresisId(), 9U);
    EXPECT_EQ(leaf->GetFrameId(), 9U);
    EXPECT_EQ(shapes[0]->GetFrameId(), 9U);
}

TEST(TqOcStaticBase, RenderSkipsHiddenChildrenAndOtherPrimitivesUnstamped)
{
    WalkStage stage;
    auto* const hidden = WalkStage::Group({stage.Leaf("a", 1.0)});
    TqOcShape* shapes[] = {stage.Shape("lines", 1.0)};
    shapes[0]->SetPrimitives(TqLPrimitiveTypes::eLINES);
    auto* const lines = new TqOcStaticLeaf(shapes, 1);
    stage.SetRoot({hidden, lines});
    stage.root->Update();
    hidden->UpdateHideRender(1);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    stage.walk.SetFrameId(9);
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Count("RenderShape"), 0);
    EXPECT_EQ(hidden->GetFrameId(), 0U);
    EXPECT_EQ(lines->GetHysteresisId(), 0U);
}

TEST(TqOcSingleLeaf, IsNotDrawnByThePlainWalk)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    stage.root->Update();
    stage.walk.SetFrameId(9);
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Count("RenderShape"), 0);
    EXPECT_EQ(static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(0)->GetFrameId(), 9U);
}

TEST(TqOcStaticGroup, RendersItsShapesWhileItIsMarkedAsALeaf)
{
    WalkStage stage;
    auto* const group = new TqOcStaticGroup;
    group->SetLeaf(1);
    auto* const shape = stage.Shape("own", -50.0, 3);
    group->AddShape(shape);
    stage.SetRoot({group});
    stage.root->Update();
    stage.walk.SetFrameId(9);
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Filtered("RenderShape"), Lines{"RenderShape own"});
    EXPECT_EQ(stage.walk.GetShapesRendered(), 1U);
    EXPECT_EQ(shape->GetFrameId(), 9U);
}

TEST(TqOcStaticBase, RendersEverythingAfterAnExceptionOfEitherWalk)
{
    struct Failure
    {};

    class Failing : public ActingShape
    {
    public:
        using ActingShape::ActingShape;

        bool fails = true;

        void RenderShape(TqOcRenderTraversal* traversal) override
        {
            if (fails) {
                throw Failure();
            }
            ActingShape::RenderShape(traversal);
        }
    };

    WalkStage stage;
    auto* const bad = new Failing(&stage.log, "bad", MakeCube(0.0, 0.0, -4.0, 0.25), 2);
    bad->onTurn = [](TqOcPrioritizedTraversal*) { throw Failure(); };
    TqOcShape* shapes[] = {stage.Shape("a", 1.0), bad, stage.Shape("c", 3.0)};
    auto* const leaf = new TqOcStaticLeaf(shapes, 3);
    stage.SetRoot({WalkStage::Group({leaf}), WalkStage::Group({})});
    Lines const all = {"RenderShape a", "RenderShape bad", "RenderShape c"};

    // Out of a prioritized walk.
    EXPECT_THROW(stage.Frame(), Failure);
    bad->fails = false;
    stage.log.Clear();
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Filtered("RenderShape"), all);

    // Out of a plain one: what was reached is stamped, what was not is not.
    bad->fails = true;
    stage.log.Clear();
    stage.walk.SetFrameId(++stage.frameId);
    EXPECT_THROW(stage.root->Render(&stage.walk), Failure);
    EXPECT_EQ(stage.log.Filtered("RenderShape"), Lines{"RenderShape a"});
    EXPECT_EQ(shapes[0]->GetFrameId(), stage.frameId);
    EXPECT_NE(bad->GetFrameId(), stage.frameId);
    EXPECT_NE(leaf->GetFrameId(), stage.frameId);
    bad->fails = false;
    stage.log.Clear();
    stage.root->Render(&stage.walk);
    EXPECT_EQ(stage.log.Filtered("RenderShape"), all);
    EXPECT_EQ(leaf->GetFrameId(), stage.frameId);

    bad->onTurn = nullptr;
    EXPECT_EQ(stage.Frame(), (Lines{"a", "bad", "c"}));
}
