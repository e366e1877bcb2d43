// Picks after real frames: what the last frame did not reach is not picked, whatever kept the frame
// from it, and picks leave the frames alone.

#include "support/Components.h"
#include "support/FakeClock.h"
#include "support/OracleCull.h"
#include "support/OracleTrees.h"
#include "support/PickStage.h"
#include "support/Recorders.h"
#include "support/WalkStage.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include "geometry/TqLPickFrustum3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

/// What lies at x below 0 is cut away.
TqLPlane3f const s_cutsNegativeX(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 0.0);

/// Frames of the walk's stage, and a pick that follows them with all that they see.
class FrameAndPick : public WalkStage
{
public:
    FrameAndPick() : pick(nullptr)
    {
        pick.SetRenderTraversal(&walk);
        pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
        pick.SetFrustum(TqLPickFrustum3f(walk.GetViewFrustum()));
    }

    /// Runs one pick; returns the names of the shapes that were asked, in order.
    Lines Pick() { return PickFrom(root.get()); }

    Lines PickFrom(TqOcTraversable* from)
    {
        static std::string const prefix = "PickShape ";
        log.Clear();
        pick.Apply(from);
        Lines names;
        for (std::string const& line : log.Take(prefix)) {
            names.push_back(line.substr(prefix.size()));
        }
        return names;
    }

    /// Lets queries be made; the nodes with this many triangles are found occluded.
    void OccludeNodesOf(unsigned int tris)
    {
        walk.SetOcclusionCulling(1);
        context.onBeginQuery = [this, tris](TqLBox3f const&, unsigned int queried) {
            m_isOccluded.push_back(queried == tris);
            return true;
        };
        context.onEndQuery = [this](int number) {
            return m_isOccluded[static_cast<std::size_t>(number - 1)] ? 0U : 1000U;
        };
    }

    TqOcPickFrustumTraversal pick;

private:
    std::vector<bool> m_isOccluded; // by number of query, less one
};

/// Lets the frame end after the shape's turn.
void ClipAfter(TqOcSingleLeaf* leaf)
{
    WalkStage::ShapeOf(leaf)->onTurn = [](TqOcPrioritizedTraversal* traversal) {
        traversal->ForceFrameClipped();
    };
}

} // namespace

// ---- Complete frames ----------------------------------------------------------------------------

TEST(PickAfterFrame, PicksAllThatACompleteFrameDrew)
{
    FrameAndPick stage;
    stage.SetRoot({WalkStage::Group({stage.Leaf("c", 9.0), stage.Leaf("a", 1.0)}),
                   MakeDynamicGroup({stage.Leaf("d", 12.0), stage.Leaf("b", 5.0)}),
                   MakeStaticLeaf({stage.Shape("e", 20.0), stage.Shape("f", 30.0)})});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c", "d", "e", "f"}));
    EXPECT_EQ(stage.Pick(), (Lines{"c", "a", "d", "b", "e", "f"})) << "in the order of the tree";
    EXPECT_EQ(stage.Pick(), (Lines{"c", "a", "d", "b", "e", "f"})) << "as often as wanted";
}

TEST(PickAfterFrame, PicksAtTheEndOfChainsOfOnlyChildren)
{
    FrameAndPick stage;
    stage.SetRoot({WalkStage::Group({WalkStage::Group({stage.Leaf("a", 1.0)})})});
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.Pick(), Lines{"a"});
    stage.SetRoot({WalkStage::Group({WalkStage::Group({stage.Leaf("a", 1.0)})}),
                   WalkStage::Group({WalkStage::Group({stage.Leaf("b", 2.0)})})});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
}

TEST(PickAfterFrame, PicksALeafThatIsTheRoot)
{
    FrameAndPick stage;
    stage.root.reset(stage.Leaf("a", 1.0));
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.Pick(), Lines{"a"});
}

TEST(PickAfterFrame, PicksNothingOnceTheFrameIdHasMovedOn)
{
    FrameAndPick stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.walk.SetFrameId(1);
    EXPECT_EQ(stage.Pick(), Lines{}) << "no frame has run";
    stage.Frame();
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    stage.walk.SetFrameId(stage.frameId + 1);
    EXPECT_EQ(stage.Pick(), Lines{});
    stage.walk.SetFrameId(stage.frameId);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"})) << "nothing was stamped meanwhile";
}

TEST(PickAfterFrame, PicksABranchOfTwoParentsUnderBoth)
{
    FrameAndPick stage;
    auto* const shared = stage.Leaf("shared", 3.0);
    stage.SetRoot({WalkStage::Group({stage.Leaf("a", 1.0), shared}),
                   WalkStage::Group({stage.Leaf("b", 2.0), shared})});
    stage.Frame();
    EXPECT_EQ(stage.Pick(), (Lines{"a", "shared", "b", "shared"}));
}

TEST(PickAfterFrame, FollowsTheLastTraversalThatStamped)
{
    FrameAndPick stage;
    TqOcPrioritizedTraversal other(&stage.context);
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.Frame();
    other.SetFrameId(1000);
    other.SetCullArea(0.0);
    other.Apply(stage.root.get());
    EXPECT_EQ(stage.Pick(), Lines{}) << "the stamps are those of the other view";
    stage.pick.SetRenderTraversal(&other);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
}

// ---- What the frame did not reach ---------------------------------------------------------------

TEST(PickAfterFrame, LeavesOutWhatTheFrameCulled)
{
    FrameAndPick stage;
    auto* const beside =
        new TqOcSingleLeaf(new ActingShape(&stage.log, "beside", MakeCube(9.0, 0.0, -10.0, 0.25)));
    auto* const tiny =
        new TqOcSingleLeaf(new ActingShape(&stage.log, "tiny", MakeCube(0.0, 0.0, -900.0, 0.01)));
    stage.SetRoot({stage.Leaf("a", 1.0), WalkStage::Group({beside, stage.Leaf("b", 5.0)}), tiny,
                   stage.Leaf("far", 500.0)});
    stage.walk.SetCullArea(1.0);
    stage.walk.SetCullDistance(400.0);
    stage.pick.SetFrustum(TqLPickFrustum3f(TqLFrustum3f(10.0, 10.0, 1.0, 1000.0)));
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    stage.pick.SetRenderTraversal(nullptr);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "beside", "b", "tiny", "far"}));
}

TEST(PickAfterFrame, LeavesOutLeavesThatWereHiddenInTheFrame)
{
    FrameAndPick stage;
    auto* const leaf = stage.Leaf("b", 2.0);
    WalkStage::ShapeOf(leaf)->SetHideRender(1);
    stage.SetRoot({stage.Leaf("a", 1.0), leaf, stage.Leaf("c", 3.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "c"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "c"}));
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "c"})) << "the frame did not reach it";
    stage.pick.SetPickHidden(0);
    WalkStage::ShapeOf(leaf)->SetHideRender(0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "c"})) << "shown too late for the frame";
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
    WalkStage::ShapeOf(leaf)->SetHideRender(1);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "c"})) << "hidden after the frame";
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

TEST(PickAfterFrame, LeavesHiddenShapesOfDrawnLeavesOutUnlessHiddenOnesArePicked)
{
    FrameAndPick stage;
    auto* const hidden = stage.Shape("hidden", 2.0);
    hidden->SetHideRender(1);
    stage.SetRoot({MakeStaticLeaf({stage.Shape("shown", 1.0), hidden})});
    EXPECT_EQ(stage.Frame(), Lines{"shown"});
    EXPECT_EQ(stage.Pick(), Lines{"shown"});
    stage.pick.SetPickHidden(1);
    EXPECT_EQ(stage.Pick(), (Lines{"shown", "hidden"}));
}

TEST(PickAfterFrame, LeavesOutWhatLiesInAnOccludedGroup)
{
    FrameAndPick stage;
    auto* const group = WalkStage::Group({stage.Leaf("b", 5.0, 20), stage.Leaf("c", 6.0, 30)});
    stage.SetRoot({stage.Leaf("a", 1.0), group, stage.Leaf("d", 9.0)});
    stage.OccludeNodesOf(50);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "d"}));
    EXPECT_EQ(stage.walk.GetTrisOcclusionCulled(), 50U);
    EXPECT_EQ(stage.context.GetNumOpenQueries(), 0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "d"}));
    stage.OccludeNodesOf(0); // nothing
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c", "d"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c", "d"}));
}

TEST(PickAfterFrame, TakesAnOccludedLeafAsReached)
{
    // The frame dealt with the leaf and stamped it, and shapes are not asked for stamps. So a host
    // that must not pick them keeps leaves from being queried, or looks at the shapes' frame ids.
    FrameAndPick stage;
    auto* const leaf = stage.Leaf("b", 5.0, 20);
    stage.SetRoot({stage.Leaf("a", 1.0), leaf, stage.Leaf("d", 9.0)});
    stage.OccludeNodesOf(20);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "d"}));
    EXPECT_EQ(leaf->GetFrameId(), stage.frameId);
    EXPECT_NE(leaf->GetShape()->GetFrameId(), stage.frameId);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "d"}));
}

TEST(PickAfterFrame, LeavesOutNodesThatWereAddedAfterTheFrame)
{
    FrameAndPick stage;
    auto* const group = MakeDynamicGroup({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.root.reset(group);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    group->AddLeaf(stage.Leaf("c", 3.0));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

TEST(PickAfterFrame, PicksShapesWhereTheyAreNow)
{
    FrameAndPick stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    stage.SetRoot({leaf, stage.Leaf("b", 2.0)});
    stage.Frame();
    WalkStage::ShapeOf(leaf)->SetBox(MakeCube(500.0, 0.0, -10.0, 0.25));
    WalkStage::ShapeOf(leaf)->Notify(TqOcBaseTraversable::eMODIFIED_BOX);
    EXPECT_EQ(stage.Pick(), Lines{"b"}) << "the pick brings the tree up to date";
}

// ---- Clipped frames -----------------------------------------------------------------------------

TEST(PickAfterFrame, PicksTheBranchesThatAClippedFrameFinished)
{
    FrameAndPick stage;
    auto* const a = stage.Leaf("a", 1.0);
    auto* const b = stage.Leaf("b", 2.0);
    auto* const c = stage.Leaf("c", 3.0);
    auto* const done = WalkStage::Group({a, b});
    auto* const cut = WalkStage::Group({c, stage.Leaf("d", 4.0)});
    auto* const missed = stage.Leaf("e", 5.0);
    stage.SetRoot({done, cut, missed});
    ClipAfter(c);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_NE(stage.walk.IsFrameClipped(), 0);

    // What was finished bears the stamp, and the root, where frames begin; the path below it to
    // where the walk was cut short does not.
    for (TqOcTraversable const* node :
         {stage.root.get(), static_cast<TqOcTraversable*>(a), static_cast<TqOcTraversable*>(b),
          static_cast<TqOcTraversable*>(c), static_cast<TqOcTraversable*>(done)}) {
        EXPECT_EQ(node->GetFrameId(), stage.frameId);
    }
    EXPECT_NE(cut->GetFrameId(), stage.frameId);
    EXPECT_NE(missed->GetFrameId(), stage.frameId);
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"})) << "c was drawn, but on the path";
    EXPECT_EQ(stage.PickFrom(cut), Lines{});

    WalkStage::ShapeOf(c)->onTurn = nullptr;
    stage.Frame();
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c", "d", "e"}));
}

TEST(PickAfterFrame, PicksWhatTheNextFrameWouldDrawAfterAClippedFrameWhenAskedTo)
{
    FrameAndPick stage;
    auto* const a = stage.Leaf("a", 1.0);
    stage.SetRoot({a, stage.Leaf("b", 2.0)});
    ClipAfter(a);
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.Pick(), Lines{"a"});
    stage.pick.SetPickLastRendered(0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
}

TEST(PickAfterFrame, LeavesOutTheGroupInWhichAFrameWasInterrupted)
{
    FakeClock clock;
    FrameAndPick stage;
    stage.SetRoot(
        {WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)}), stage.Leaf("c", 3.0)});
    stage.walk.SetPolicy(TqOcRenderTraversal::eINTERRUPTIBLE);
    stage.walk.SetTargetFrameTime(0.0);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
    stage.context.interactionPending = 1;
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.Pick(), Lines{});
}

TEST(PickAfterFrame, LeavesOutWhatAFrameThatAnExceptionEndedDidNotFinish)
{
    FrameAndPick stage;
    auto* const b = stage.Leaf("b", 2.0);
    stage.SetRoot({stage.Leaf("a", 1.0), b, stage.Leaf("c", 3.0)});
    WalkStage::ShapeOf(b)->onTurn = [](TqOcPrioritizedTraversal*) {
        throw std::runtime_error("host");
    };
    EXPECT_THROW(stage.Frame(), std::runtime_error);
    EXPECT_EQ(stage.Pick(), Lines{"a"});
    WalkStage::ShapeOf(b)->onTurn = nullptr;
    stage.Frame();
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c"}));
}

// ---- Settings of the render traversal -----------------------------------------------------------

TEST(PickAfterFrame, PicksOnlyWhatTheClipPlanesLeave)
{
    FrameAndPick stage;
    auto const make = [&](std::string const& name, double x) {
        auto* const shape = new PickingShape(&stage.log, name, MakeCube(x, 0.0, -10.0, 1.0));
        shape->onPick = [shape, x](TqOcPickFrustumTraversal* traversal) {
            TqLPos3f const point(x, 0.0, -9.0);
            if (traversal->CanPickPoint(shape, point, point.Vec().Length())) {
                traversal->PickShape(shape);
            }
        };
        return shape;
    };
    auto* const cut = make("cut", -1.5);
    stage.SetRoot({new TqOcSingleLeaf(cut), new TqOcSingleLeaf(make("kept", 1.5)),
                   MakeStaticLeaf({make("cutToo", -1.5), make("keptToo", 1.5)})});
    stage.walk.SetClipPlanes(&s_cutsNegativeX, 1);
    stage.Frame();
    auto const listed = [&] {
        Lines names;
        for (int i = 0; i < stage.pick.GetAllPickedShapes().Size(); ++i) {
            names.push_back(stage.log.GetName(
                static_cast<TqOcBaseTraversable*>(stage.pick.GetAllPickedShapes()[i])));
        }
        return names;
    };
    // The frame stamps what the planes cut away, so that the points have the last word.
    EXPECT_EQ(stage.Pick(), (Lines{"cut", "kept", "cutToo", "keptToo"}));
    EXPECT_EQ(listed(), (Lines{"kept", "keptToo"}));
    stage.pick.SetPickLastRendered(0);
    EXPECT_EQ(stage.Pick(), (Lines{"kept", "cutToo", "keptToo"}));
    EXPECT_EQ(listed(), (Lines{"kept", "keptToo"}));
    cut->SetIgnoreClip(1);
    EXPECT_EQ(stage.Pick(), (Lines{"cut", "kept", "cutToo", "keptToo"}));
    EXPECT_EQ(listed(), (Lines{"cut", "kept", "keptToo"}));
}

TEST(PickAfterFrame, PicksOnlyThePrimitivesThatAreDrawn)
{
    FrameAndPick stage;
    auto* const lines = stage.Shape("lines", 2.0);
    lines->SetPrimitives(TqLPrimitiveTypes::eLINES);
    stage.SetRoot(
        {MakeStaticLeaf({stage.Shape("triangles", 1.0), lines}), stage.Leaf("moreTriangles", 3.0)});
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(stage.Frame(), Lines{"lines"});
    EXPECT_EQ(stage.Pick(), Lines{"lines"});
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eALL);
    EXPECT_EQ(stage.Pick(), (Lines{"triangles", "lines"}))
        << "the leaf was drawn; which of its shapes are picked, the bits of today say";
    stage.pick.SetPickLastRendered(0);
    EXPECT_EQ(stage.Pick(), (Lines{"triangles", "lines", "moreTriangles"}));
}

TEST(PickAfterFrame, GoesByTheLastFrameWhileFramesAreInteractive)
{
    FrameAndPick stage;
    auto* const a = stage.Leaf("a", 1.0);
    stage.SetRoot({a, stage.Leaf("b", 2.0)});
    stage.pick.SetPickLastRendered(0);
    stage.walk.SetPolicy(TqOcRenderTraversal::eCOUNT_INTERACTIVE);
    stage.walk.SetTargetFrameTime(1000.0);
    stage.walk.StartInteractive();
    stage.Frame();
    ASSERT_NE(stage.walk.IsInteractive(), 0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    ClipAfter(a);
    stage.Frame();
    ASSERT_NE(stage.walk.IsInteractive(), 0);
    EXPECT_EQ(stage.Pick(), Lines{"a"});
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 3U) << "those of the frame";
    stage.walk.EndInteractive();
    ASSERT_EQ(stage.walk.IsInteractive(), 0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 6U);
}

// ---- What a pick leaves behind ------------------------------------------------------------------

TEST(PickAfterFrame, AddsToTheFramesCountersAndCallsItsPriorityCallback)
{
    FrameAndPick stage;
    int calls = 0;
    stage.walk.SetDynamicPriorityCallback(
        [](TqOcTraversable const*, TqOcRenderTravCullData*, void* count) {
            ++*static_cast<int*>(count);
            return 1;
        },
        &calls);
    auto* const beside = new TqOcSingleLeaf(
        new ActingShape(&stage.log, "beside", MakeCube(9.0, 0.0, -10.0, 0.25), 40));
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0), beside});
    stage.pick.SetFrustum(TqLPickFrustum3f(TqLFrustum3f(10.0, 10.0, 1.0, 1000.0)));
    stage.Frame();
    EXPECT_EQ(calls, 3) << "the root, a and b";
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 40U);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 4U);

    stage.Pick();
    EXPECT_EQ(calls, 3) << "by the last frame nothing is scored";
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 40U);

    unsigned int const stamp = stage.frameId;
    stage.walk.SetFrameId(stamp + 1);
    stage.pick.SetPickLastRendered(0);
    EXPECT_EQ(stage.Pick(), (Lines{"a", "b"}));
    EXPECT_EQ(calls, 6);
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 80U);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 8U);
    EXPECT_EQ(stage.walk.GetTrisRendered(), 2U) << "nothing is drawn";
    EXPECT_EQ(stage.root->GetFrameId(), stamp);
    EXPECT_EQ(stage.root->GetHysteresisId(), stamp);
    EXPECT_NE(beside->GetFrameId(), stamp + 1);
    EXPECT_FALSE(stage.IsAnyMarked());

    stage.Frame();
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 40U) << "each frame counts anew";
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 4U);
}

TEST(PickAfterFrame, LeavesTheNextFrameAsItWouldHaveBeen)
{
    double const scales[] = {1.0, 0.5};
    Lines drawn[2];
    for (int picks : {0, 3}) {
        FrameAndPick stage;
        stage.SetRoot({WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("b", 4.0)}),
                       WalkStage::Group({stage.Leaf("c", 2.0), stage.Leaf("d", 3.0)})});
        stage.walk.SetHysteresisScales(scales, 2);
        stage.walk.SetSecondary(TqOcRenderTraversal::eSECONDARY_HYSTERESIS);
        stage.pick.SetPickLastRendered(0);
        for (int frame = 0; frame < 3; ++frame) {
            for (std::string const& name : stage.Frame()) {
                drawn[picks == 0 ? 0 : 1].push_back(name);
            }
            for (int pick = 0; pick < picks; ++pick) {
                EXPECT_EQ(stage.Pick(), (Lines{"a", "b", "c", "d"}));
            }
        }
    }
    EXPECT_EQ(drawn[0].size(), 12U);
    EXPECT_EQ(drawn[0], drawn[1]);
}

// ---- Random scenes ------------------------------------------------------------------------------

TEST(PickAfterFrame, AsksNoShapeThatAFrameCutShortAtAnyPointDidNotDraw)
{
    struct Cut
    {
        static int Count(TqOcShape const*, void* self)
        {
            auto* const cut = static_cast<Cut*>(self);
            if (--cut->drawsLeft == 0) {
                cut->walk->ForceFrameClipped();
            }
            return 0;
        }

        TqOcPrioritizedTraversal* walk = nullptr;
        int drawsLeft = 0;
    };

    constexpr std::uint64_t seed = 0x0C11ED1ULL;
    int asked = 0;
    int clipped = 0;
    int askedBelow = 0;
    for (int run = 0; run < 60; ++run) {
        SCOPED_TRACE("run " + std::to_string(run) + ", seed " + std::to_string(seed));
        SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(run)));
        OracleTreeOptions options;
        options.count = std::min<std::size_t>(800, MakeRandomCount(random));
        options.kind = static_cast<OracleTreeKind>(run % eORACLE_TREE_KINDS);
        OracleTree tree(options, random.Next());
        RecordingContext context;
        TqOcPrioritizedTraversal walk(&context);
        Cut cut;
        cut.walk = &walk;
        walk.SetDynamicShapeCullCallback(&Cut::Count, &cut);
        TqOcPickFrustumTraversal pick(nullptr);
        pick.SetRenderTraversal(&walk);
        bool areDrawn = true;
        OracleShape::PickTurn const turn = [&](OracleShape& shape, TqOcPickFrustumTraversal*) {
            ++asked;
            areDrawn = areDrawn && shape.GetFrameId() == walk.GetFrameId();
        };
        for (auto const& shape : tree.GetShapes()) {
            shape->SetPickTurn(&turn);
        }
        for (unsigned int frame = 1; frame <= 8; ++frame) {
            OracleCamera const camera = MakeRandomCamera(tree.GetBounds(), random);
            OracleSettings settings;
            settings.cullArea = 0.0;
            settings.cullExtent = 0.0;
            ApplyOracleSettings(camera, settings, walk);
            walk.SetFrameId(frame);
            cut.drawsLeft =
                1 + static_cast<int>(random.Below(static_cast<std::uint32_t>(2 * options.count)));
            walk.Apply(tree.GetRoot());
            clipped += walk.IsFrameClipped() != 0 ? 1 : 0;
            pick.SetFrustum(TqLPickFrustum3f(MakeOracleFrustum(camera)));
            pick.Apply(tree.GetRoot());
            ASSERT_TRUE(areDrawn) << "frame " << frame;
            // From further down, too: there are finished branches in a clipped frame.
            int const before = asked;
            for (TqOcTraversable* const node : tree.GetContainers()) {
                pick.Apply(node);
                ASSERT_TRUE(areDrawn) << "frame " << frame;
            }
            askedBelow += walk.IsFrameClipped() != 0 ? asked - before : 0;
        }
        for (auto const& shape : tree.GetShapes()) {
            shape->SetPickTurn(nullptr);
        }
    }
    EXPECT_GT(asked, 10000);
    EXPECT_GT(clipped, 60);
    EXPECT_GT(askedBelow, 1000);
}
