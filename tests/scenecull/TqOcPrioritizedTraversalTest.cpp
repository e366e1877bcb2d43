#include "scenecull/TqOcPrioritizedTraversal.h"

#include "support/AllocationCounter.h"
#include "support/WalkStage.h"

#include "scenecull/internal/TqOcBestFirstWalk.h"

#include "scenecull/TqOcHierarchyBuilder.h"

#include "util/TqUMemory.h"
#include "util/TqUPage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr double s_infinity = std::numeric_limits<double>::infinity();
constexpr double s_nan = std::numeric_limits<double>::quiet_NaN();

/// Gives nodes the priorities that a test names, in place of the computed ones.
class Priorities
{
public:
    explicit Priorities(TqOcPrioritizedTraversal& walk)
    {
        walk.SetDynamicPriorityCallback(&Priorities::Call, this);
    }

    void Set(TqOcTraversable const* node, double priority) { m_priorities[node] = priority; }

    void Cull(TqOcTraversable const* node) { m_culled.insert(node); }

private:
    static int Call(TqOcTraversable const* node, TqOcRenderTravCullData* data, void* self)
    {
        auto const& priorities = *static_cast<Priorities*>(self);
        auto const found = priorities.m_priorities.find(node);
        if (found != priorities.m_priorities.end()) {
            data->priority = found->second;
        }
        return priorities.m_culled.count(node) == 0 ? 1 : 0;
    }

    std::map<TqOcTraversable const*, double> m_priorities;
    std::set<TqOcTraversable const*> m_culled;
};

/// Opens the protected end of the walk.
class OpenTraversal : public TqOcPrioritizedTraversal
{
public:
    using TqOcPrioritizedTraversal::EndRender;
    using TqOcPrioritizedTraversal::TqOcPrioritizedTraversal;
};

struct Failure : std::runtime_error
{
    Failure() : std::runtime_error("a host's callback failed") {}
};

} // namespace

// ---- Frame --------------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, DrawsNothingFromAnEmptyRootBoxAndCompletes)
{
    WalkStage stage;
    stage.SetRoot({});
    EXPECT_EQ(stage.Frame(), Lines());
    EXPECT_FALSE(stage.walk.IsFrameClipped());
    EXPECT_EQ(stage.log.Count("PostRedrawRequest"), 0);
    EXPECT_EQ(stage.log.Count("GetWindowSize"), 0) << "nothing is built for an empty root";

    OpenTraversal open(&stage.context);
    open.AsyncApply(stage.root.get());
    EXPECT_EQ(open.EndRender(), 1);
}

TEST(TqOcPrioritizedTraversal, EndsTheFrameWithoutWalkingWhenTheRootIsCulled)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("behind", -100.0)});
    EXPECT_EQ(stage.Frame(), Lines());
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 1U);
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 1U);
    EXPECT_FALSE(stage.walk.IsFrameClipped());
}

TEST(TqOcPrioritizedTraversal, CallsTheContextInTheOrderOfAFrame)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    stage.Frame();
    EXPECT_EQ(stage.log.Get(), (Lines{"StartRender", "GetWindowSize", "PrioritizedShape a",
                                      "CompletedRenderTraversal", "EndRender"}));
}

TEST(TqOcPrioritizedTraversal, PostsANullRootAndRunsNothing)
{
    WalkStage stage;
    PostedErrors posts;
    stage.walk.Apply(nullptr);
    stage.walk.AsyncApply(nullptr);
    EXPECT_EQ(posts.AsLines(),
              (Lines(2, "1 TqOcTraversal: A traversal was applied to a null root")));
    EXPECT_EQ(stage.log.Get(), Lines());
}

TEST(TqOcPrioritizedTraversal, PostsANullRootThatIsStartedDirectly)
{
    WalkStage stage;
    PostedErrors posts;
    stage.walk.StartTraversal(nullptr);
    EXPECT_EQ(posts.AsLines(), Lines{"1 TqOcTraversal: A traversal was applied to a null root"});
    EXPECT_EQ(stage.log.Get(), Lines());
}

TEST(TqOcPrioritizedTraversal, WalksARootThatIsHiddenItself)
{
    // Visibility is asked where a child is offered; nobody offers the root.
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.root->Update();
    stage.root->UpdateHideRender(1);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    stage.root->UpdatePrimitives(TqLPrimitiveTypes::eTEXT);
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 0U);
}

TEST(TqOcPrioritizedTraversal, PostsAMissingContextAndDrawsNothing)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    stage.walk.SetContext(nullptr);
    PostedErrors posts;
    EXPECT_EQ(stage.Frame(), Lines());
    EXPECT_EQ(posts.AsLines(),
              Lines{"1 TqOcRenderTraversal: A traversal without a context was applied"});
    stage.walk.SetContext(&stage.context);
    EXPECT_EQ(stage.Frame(), Lines{"a"});
}

TEST(TqOcPrioritizedTraversal, DrawsNothingAgainUnderAFrameIdThatWasUsed)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    --stage.frameId;
    EXPECT_EQ(stage.Frame(), Lines());
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 2U);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
}

TEST(TqOcPrioritizedTraversal, TakesNothingFromTheHeapAfterTheFirstFrame)
{
    WalkStage stage;
    TqOcFlatHierarchyBuilder flat;
    TqOcStaticHierarchyBuilder builder(4);
    for (int i = 0; i < 500; ++i) {
        (i % 2 == 0 ? builder.Append(stage.Shape("s", 1.0 + i))
                    : flat.Append(stage.Shape("f", 1.0 + i)));
    }
    stage.SetRoot({builder.End(), flat.End()});
    TqOcContext quiet; // the recorder writes lines, which come from the heap
    TqOcPrioritizedTraversal walk(&quiet);
    walk.SetCullArea(0.0);
    walk.SetDynamicShapeCullCallback([](TqOcShape const*, void*) { return 1; }, nullptr);
    walk.SetFrameId(1);
    walk.Apply(stage.root.get());
    ASSERT_GT(walk.GetLeavesRendered(), 250U);

    AllocationCounter counter;
    for (unsigned int id = 2; id < 102; ++id) {
        walk.SetFrameId(id);
        walk.Apply(stage.root.get());
    }
    EXPECT_EQ(counter.GetNum(), 0U);
}

TEST(TqOcPrioritizedTraversal, WalksAndDeletesATreeOfAThousandLevels)
{
    WalkStage stage;
    TqOcTraversable* node = stage.Leaf("deepest", 3000.0);
    for (int level = 0; level < 1001; ++level) {
        node = WalkStage::Group({node, stage.Leaf("side", 2000.0 - level)});
    }
    stage.root.reset(node);
    stage.walk.SetViewFrustum(TqLFrustum3f(1.0, 1.0, 1.0, 10000.0));
    EXPECT_EQ(stage.Frame().size(), 1002U);
    EXPECT_FALSE(stage.IsAnyMarked());
}

// ---- Order --------------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, DrawsNearestFirst)
{
    WalkStage stage;
    stage.SetRoot(
        {stage.Leaf("c", 3.0), stage.Leaf("a", 1.0), stage.Leaf("d", 4.0), stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c", "d"}));
}

TEST(TqOcPrioritizedTraversal, VisitsEqualPrioritiesInTheOrderOfAppending)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 5.0), stage.Leaf("b", 5.0), stage.Leaf("c", 5.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));

    stage.SetRoot({stage.Leaf("e1", 5.0), stage.Leaf("near1", 1.0), stage.Leaf("e2", 5.0),
                   stage.Leaf("far", 9.0), stage.Leaf("e3", 5.0), stage.Leaf("near2", 1.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"near1", "near2", "e1", "e2", "e3", "far"}));
}

TEST(TqOcPrioritizedTraversal, PutsABranchOffBehindABetterSiblingAndComesBack)
{
    WalkStage stage;
    stage.SetRoot({WalkStage::Group({stage.Leaf("a1", 1.0), stage.Leaf("a6", 6.0)}),
                   WalkStage::Group({stage.Leaf("b2", 2.0), stage.Leaf("b5", 5.0)}),
                   WalkStage::Group({stage.Leaf("c3", 3.0), stage.Leaf("c4", 4.0)})});
    EXPECT_EQ(stage.Frame(), (Lines{"a1", "b2", "c3", "c4", "b5", "a6"}));
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, KeepsALevelsBoundForItsLaterTurns)
{
    // Lowering the level's own bound to its second child's priority would put it off after that.
    WalkStage stage;
    stage.SetRoot({WalkStage::Group({stage.Leaf("1", 1.0), stage.Leaf("2", 2.0),
                                     stage.Leaf("3", 3.0), stage.Leaf("4", 4.0)}),
                   WalkStage::Group({stage.Leaf("10", 10.0), stage.Leaf("11", 11.0)})});
    auto* const first =
        static_cast<ActingGroup*>(static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(0));
    int turns = 0;
    first->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        ++turns;
        return first->TqOcStaticGroup::Prioritized(walk, state);
    };
    EXPECT_EQ(stage.Frame(), (Lines{"1", "2", "3", "4", "10", "11"}));
    EXPECT_EQ(turns, 1);
}

TEST(TqOcPrioritizedTraversal, StaysInABranchWithinTheSortSlack)
{
    auto const makeRoot = [](WalkStage& stage) {
        stage.SetRoot({WalkStage::Group({stage.Leaf("a1", 1.0), stage.Leaf("a3", 3.0)}),
                       WalkStage::Group({stage.Leaf("b2", 2.0), stage.Leaf("b4", 4.0)})});
    };

    struct Row
    {
        double slack;
        double start;
        Lines order;
    };

    Lines const strict = {"a1", "b2", "a3", "b4"};
    Lines const slack = {"a1", "a3", "b2", "b4"};
    Lines const late = {"a1", "b2", "b4", "a3"}; // bounds of 2 get no slack, those of 3 do
    for (Row const& row : {Row{0.0, 0.0, strict}, Row{1.0, 0.0, slack}, Row{0.5, 0.0, strict},
                           Row{-5.0, 0.0, strict}, Row{1.0, 2.0, late}, Row{1.0, 1.5, slack},
                           Row{s_nan, 0.0, strict}}) {
        WalkStage stage;
        makeRoot(stage);
        stage.walk.SetSortSlack(row.slack);
        stage.walk.SetSlackStart(row.start);
        EXPECT_EQ(stage.Frame(), row.order) << "slack " << row.slack << " from " << row.start;
    }
}

TEST(TqOcPrioritizedTraversal, ReadsTheSortSlackOnceAFrame)
{
    WalkStage stage;
    auto* const first = stage.Leaf("a1", 1.0);
    stage.SetRoot({WalkStage::Group({first, stage.Leaf("a3", 3.0)}),
                   WalkStage::Group({stage.Leaf("b2", 2.0), stage.Leaf("b4", 4.0)})});
    stage.walk.SetSlackStart(10.0);
    WalkStage::ShapeOf(first)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->SetSortSlack(1.0);
        walk->SetSlackStart(0.0);
    };
    EXPECT_EQ(stage.Frame(), (Lines{"a1", "b2", "a3", "b4"}));
    EXPECT_EQ(stage.Frame(), (Lines{"a1", "a3", "b2", "b4"}));
    stage.walk.SetSlackStart(10.0);
    stage.walk.SetSortSlack(1.0);
    EXPECT_EQ(stage.Frame(), (Lines{"a1", "b2", "a3", "b4"})) << "the start alone is changed";
}

TEST(TqOcPrioritizedTraversal, DrawsInfinitePrioritiesToo)
{
    WalkStage stage;
    auto* const last = stage.Leaf("last", 1.0);
    auto* const inGroup = stage.Leaf("in group", 2.0);
    auto* const group = WalkStage::Group({inGroup, stage.Leaf("sibling", 3.0)});
    stage.SetRoot({last, group});
    Priorities priorities(stage.walk);
    priorities.Set(last, s_infinity);
    priorities.Set(inGroup, s_infinity);
    Lines const drawn = stage.Frame();
    EXPECT_EQ(drawn.size(), 3U);
    EXPECT_EQ(drawn.front(), "sibling");
}

TEST(TqOcPrioritizedTraversal, TakesAPriorityThatIsNoNumberAsTheLast)
{
    WalkStage stage;
    auto* const broken = stage.Leaf("broken", 1.0);
    stage.SetRoot({stage.Leaf("b", 2.0), broken, stage.Leaf("c", 3.0)});
    Priorities priorities(stage.walk);
    priorities.Set(broken, s_nan);
    EXPECT_EQ(stage.Frame(), (Lines{"b", "c", "broken"}));
}

TEST(TqOcPrioritizedTraversal, DrawsAPriorityOfMinusInfinityFirst)
{
    WalkStage stage;
    auto* const first = stage.Leaf("first", 9.0);
    auto* const inGroup = stage.Leaf("in group", 8.0);
    auto* const group = WalkStage::Group({stage.Leaf("sibling", 2.0), inGroup});
    stage.SetRoot({stage.Leaf("a", 1.0), group, first});
    Priorities priorities(stage.walk);
    priorities.Set(first, -s_infinity);
    priorities.Set(inGroup, -s_infinity);
    EXPECT_EQ(stage.Frame(), (Lines{"first", "a", "in group", "sibling"}));
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, WalksARootWhosePriorityIsNoNumber)
{
    WalkStage stage;
    stage.SetRoot(
        {stage.Leaf("b", 2.0), WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)})});
    Priorities priorities(stage.walk);
    for (double const priority : {s_nan, s_infinity, -s_infinity}) {
        priorities.Set(stage.root.get(), priority);
        EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"})) << priority;
        EXPECT_FALSE(stage.walk.IsFrameClipped());
        EXPECT_FALSE(stage.IsAnyMarked());
    }
}

TEST(TqOcPrioritizedTraversal, NeitherDrawsNorLoopsOnANodeWithANanBox)
{
    WalkStage stage;
    auto* const shape =
        new ActingShape(&stage.log, "nan", MakeBox(-1.0, -1.0, s_nan, 1.0, 1.0, -5.0));
    stage.SetRoot({stage.Leaf("a", 1.0), new TqOcSingleLeaf(shape), stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 1U);
}

TEST(TqOcPrioritizedTraversal, DrawsALeafWithAnEmptyBoxLastInAParallelView)
{
    // A container's box never takes a NaN over: that of a leaf of such shapes stays empty.
    TqLBox3f empty;
    empty.MakeEmpty();
    for (TqLBox3f const& box : {empty, MakeBox(s_nan, s_nan, s_nan, s_nan, s_nan, s_nan)}) {
        for (bool const isParallel : {true, false}) {
            WalkStage stage;
            TqOcShape* shapes[] = {new ActingShape(&stage.log, "boxless", box)};
            stage.SetRoot(
                {stage.Leaf("a", 1.0), new TqOcStaticLeaf(shapes, 1), stage.Leaf("b", 500.0)});
            if (isParallel) {
                stage.walk.SetViewFrustum(
                    TqLFrustum3f::Parallel(TqLPos3f(0.0, 0.0, 0.0), TqLVec3f(0.0, 0.0, -1.0),
                                           TqLVec3f(0.0, 1.0, 0.0), 10.0, 10.0, 1.0, 1000.0));
            }
            EXPECT_EQ(stage.Frame(), isParallel ? (Lines{"a", "b", "boxless"}) : (Lines{"a", "b"}));
            EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), isParallel ? 0U : 1U);
            EXPECT_FALSE(stage.IsAnyMarked());
        }
    }
}

TEST(TqOcPrioritizedTraversal, DrawsTheOthersBesideANodeWithAnInvertedBox)
{
    for (int axis = 0; axis < 3; ++axis) {
        SCOPED_TRACE(axis);
        double low[3] = {-1.0, -1.0, -6.0};
        double high[3] = {1.0, 1.0, -4.0};
        std::swap(low[axis], high[axis]);
        WalkStage stage;
        auto* const shape = new ActingShape(
            &stage.log, "inverted", MakeBox(low[0], low[1], low[2], high[0], high[1], high[2]));
        auto* const inverted = new TqOcSingleLeaf(shape);
        stage.SetRoot({stage.Leaf("a", 1.0), inverted, stage.Leaf("b", 2.0)});
        Lines drawn = stage.Frame();
        drawn.erase(std::remove(drawn.begin(), drawn.end(), "inverted"), drawn.end());
        EXPECT_EQ(drawn, (Lines{"a", "b"}));
        EXPECT_LE(shape->GetNumPrioritizedCalls(), 1);
        EXPECT_FALSE(stage.walk.IsFrameClipped());
        EXPECT_FALSE(stage.IsAnyMarked());
    }
}

TEST(TqOcPrioritizedTraversal, DrawsANodeOfInfiniteExtent)
{
    WalkStage stage;
    auto* const shape =
        new ActingShape(&stage.log, "ground",
                        MakeBox(-s_infinity, -2.0, -s_infinity, s_infinity, -1.0, s_infinity));
    stage.SetRoot({stage.Leaf("a", 1.0), new TqOcSingleLeaf(shape)});
    EXPECT_EQ(stage.Frame(), (Lines{"ground", "a"}));
}

TEST(TqOcPrioritizedTraversal, DrawsForceRenderNodesFirst)
{
    WalkStage stage;
    auto* const forced = stage.Leaf("forced", 50.0);
    forced->GetShape()->SetForceRender(1);
    stage.SetRoot({stage.Leaf("a", 1.0), forced, stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"forced", "a", "b"}));
}

TEST(TqOcPrioritizedTraversal, CullsChildrenThatThePriorityCallbackRejects)
{
    WalkStage stage;
    auto* const rejected = stage.Leaf("rejected", 1.0);
    stage.SetRoot({rejected, stage.Leaf("b", 2.0)});
    Priorities priorities(stage.walk);
    priorities.Cull(rejected);
    EXPECT_EQ(stage.Frame(), Lines{"b"});
}

TEST(TqOcPrioritizedTraversal, StampsANodeWhoseChildrenAreAllCulled)
{
    WalkStage stage;
    auto* const left = stage.Leaf("left", 5.0);
    auto* const right = stage.Leaf("right", 6.0);
    auto* const group = WalkStage::Group({left, right});
    stage.SetRoot({group, stage.Leaf("b", 2.0)});
    Priorities priorities(stage.walk);
    priorities.Cull(left);
    priorities.Cull(right);
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(group->GetFrameId(), stage.frameId);
    EXPECT_NE(left->GetFrameId(), stage.frameId);
}

// ---- Turns --------------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, StampsHysteresisBeforeAndFrameAfterANodesTurn)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    stage.SetRoot({leaf, stage.Leaf("b", 2.0)});
    unsigned int hysteresis = 0;
    unsigned int frame = 1;
    WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) {
        hysteresis = leaf->GetHysteresisId();
        frame = leaf->GetFrameId();
    };
    stage.Frame();
    EXPECT_EQ(hysteresis, stage.frameId);
    EXPECT_EQ(frame, 0U);
    EXPECT_EQ(leaf->GetFrameId(), stage.frameId);
    EXPECT_EQ(WalkStage::ShapeOf(leaf)->GetFrameId(), stage.frameId);
    EXPECT_EQ(stage.root->GetHysteresisId(), stage.frameId);
}

TEST(TqOcPrioritizedTraversal, HandsOutTheCurrentStateOnlyDuringATurn)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    stage.SetRoot({leaf});
    TqOcTravState* during = nullptr;
    WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
        during = walk->GetCurrTravState();
    };
    EXPECT_EQ(stage.walk.GetCurrTravState(), nullptr);
    stage.Frame();
    EXPECT_NE(during, nullptr);
    EXPECT_EQ(stage.walk.GetCurrTravState(), nullptr);
}

TEST(TqOcPrioritizedTraversal, MarksTheNodesOnThePathAndOnlyThose)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    auto* const group = WalkStage::Group({leaf, stage.Leaf("b", 2.0)});
    auto* const other = WalkStage::Group({stage.Leaf("c", 3.0), stage.Leaf("d", 4.0)});
    stage.SetRoot({group, other});
    Lines marks;
    WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) {
        for (TqOcTraversable* const node :
             {stage.root.get(), (TqOcTraversable*)group, (TqOcTraversable*)other}) {
            marks.push_back(node->IsTraversed() ? "on" : "off");
        }
    };
    stage.Frame();
    EXPECT_EQ(marks, (Lines{"on", "on", "off"}));
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, CollapsesChainsOfOnlyChildren)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 5.0);
    auto* const inner = WalkStage::Group({leaf});
    auto* const outer = WalkStage::Group({inner});
    stage.SetRoot({outer, stage.Leaf("b", 9.0)});
    Priorities priorities(stage.walk);
    priorities.Set(outer, 3.0);
    priorities.Set(leaf, 77.0); // never asked: the record keeps what it knows of the topmost
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(WalkStage::ShapeOf(leaf)->lastData.priority, 3.0);
    for (TqOcTraversable* const node :
         {(TqOcTraversable*)outer, (TqOcTraversable*)inner, (TqOcTraversable*)leaf}) {
        EXPECT_EQ(node->GetHysteresisId(), stage.frameId);
        EXPECT_EQ(node->GetFrameId(), stage.frameId) << "what is passed over has been dealt with";
    }
    EXPECT_EQ(stage.walk.GetNumFrustumCullTests(), 3U) << "root, outer and b";
}

TEST(TqOcPrioritizedTraversal, CollapsesAChainFromTheRootAndStampsAllOfIt)
{
    WalkStage stage;
    auto* const inner = WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.SetRoot({inner});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
    EXPECT_EQ(stage.root->GetFrameId(), stage.frameId);
    EXPECT_EQ(inner->GetFrameId(), stage.frameId);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, StampsTheLeafAtTheEndOfAChainFromTheRoot)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    auto* const inner = WalkStage::Group({leaf});
    stage.SetRoot({inner});
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(inner->GetFrameId(), stage.frameId);
    EXPECT_EQ(leaf->GetFrameId(), stage.frameId) << "there is no walk that would finish it";
}

TEST(TqOcPrioritizedTraversal, DoesNotAppendAHiddenOnlyChild)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0, 7);
    auto* const visible = stage.Leaf("b", 2.0);
    auto* const group = WalkStage::Group({leaf});
    stage.SetRoot({group, visible});
    stage.root->Update();
    leaf->UpdateHideRender(1); // the group does not know
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 7U);
    EXPECT_EQ(group->GetFrameId(), stage.frameId);
}

TEST(TqOcPrioritizedTraversal, DoesNotCollapseAnOnlyChildUnderAnotherCullObject)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 5.0);
    auto* const group = WalkStage::Group({leaf});
    group->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        auto* const cull =
            state->TransformedCull(walk, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -4.0)));
        state->Append(walk, leaf, cull);
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.SetRoot({group, stage.Leaf("b", 7.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"b", "a"})) << "scored where the transform puts it";
    EXPECT_DOUBLE_EQ(WalkStage::ShapeOf(leaf)->lastData.distance, 9.0);
}

TEST(TqOcPrioritizedTraversal, DropsWhatAFinishedNodeAppended)
{
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    auto* const other = stage.Leaf("c", 1.0);
    auto* const group = WalkStage::Group({leaf, other});
    group->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        state->Append(walk, leaf);
        state->Append(walk, other);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.SetRoot({group, stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(group->GetFrameId(), stage.frameId);
    EXPECT_NE(leaf->GetFrameId(), stage.frameId);
}

TEST(TqOcPrioritizedTraversal, ScoresChildrenUnderAnotherFrustumWithAllCullBits)
{
    WalkStage stage;
    // Wholly inside the view, but outside the right half of it.
    auto* const left =
        new TqOcSingleLeaf(new ActingShape(&stage.log, "left", MakeCube(-0.6, 0.0, -4.0, 0.1)));
    auto* const right =
        new TqOcSingleLeaf(new ActingShape(&stage.log, "right", MakeCube(0.6, 0.0, -4.0, 0.1)));
    auto* const group = WalkStage::Group({left, right});
    stage.SetRoot({group});
    EXPECT_EQ(stage.Frame(), (Lines{"left", "right"}));
    group->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        EXPECT_EQ(state->GetCullData().cullBits & 3, 0) << "the group lies inside the whole view";
        auto* const cull = state->NarrowedCull(walk, 0.5, 1.0, 0.0, 1.0);
        state->Append(walk, left, cull);
        state->Append(walk, right, cull);
        return TqOcBaseTraversable::eAPPENDED;
    };
    EXPECT_EQ(stage.Frame(), Lines{"right"});
}

TEST(TqOcPrioritizedTraversal, EndsWhenAGroupOffersItself)
{
    WalkStage stage;
    auto* const group = WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)});
    int turns = 0;
    group->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        ++turns;
        state->Append(walk, group);
        return group->TqOcStaticGroup::Prioritized(walk, state);
    };
    stage.SetRoot({group, stage.Leaf("b", 2.0)});
    // Its first turn comes before it is on the path, so it is queued below itself once; what it
    // offers in both turns before either is drawn is drawn twice.
    EXPECT_EQ(stage.Frame(), (Lines{"a", "a", "b", "c", "c"}));
    EXPECT_EQ(turns, 2);
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 2U);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, EndsWhenAGroupOffersOnlyItself)
{
    WalkStage stage;
    auto* const group = WalkStage::Group({stage.Leaf("never offered", 1.0)});
    int turns = 0;
    group->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        ++turns;
        state->Append(walk, group);
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.SetRoot({group, stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(turns, 2) << "stamped when it takes its own place";
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 1U);
}

TEST(TqOcPrioritizedTraversal, CullsAnAncestorThatANodeOffers)
{
    WalkStage stage;
    auto* const below = WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)});
    auto* const above = WalkStage::Group({below, stage.Leaf("d", 4.0)});
    stage.SetRoot({above, stage.Leaf("b", 2.0)});
    below->onTurn = [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        state->Append(walk, above);
        state->Append(walk, static_cast<TqOcTraversable*>(stage.root.get()));
        return below->TqOcStaticGroup::Prioritized(walk, state);
    };
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c", "d"}));
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 3U + 4U);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, DrawsANodeSharedByTwoParentsOnceUnlessBothOfferItFirst)
{
    WalkStage stage;
    auto* const shared = stage.Leaf("shared", 5.0);
    auto* const first = WalkStage::Group({shared, stage.Leaf("a", 1.0)});
    auto* const second = WalkStage::Group({shared, stage.Leaf("z", 9.0)});
    stage.SetRoot({first, second});
    Priorities priorities(stage.walk);
    priorities.Set(first, 1.0);
    priorities.Set(second, 8.0); // opened after the shared leaf was drawn
    EXPECT_EQ(stage.Frame(), (Lines{"a", "shared", "z"}));
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 1U);
    priorities.Set(second, 2.0); // opened while the shared leaf waits
    EXPECT_EQ(stage.Frame(), (Lines{"a", "shared", "shared", "z"}));
}

// ---- Occlusion queries --------------------------------------------------------------------------

namespace
{

/// Three leaves in a row, with queries on.
void MakeRow(WalkStage& stage)
{
    stage.SetRoot({stage.Leaf("a", 1.0, 10), stage.Leaf("b", 2.0, 20), stage.Leaf("c", 3.0, 30)});
    stage.walk.SetOcclusionCulling(1);
    stage.context.startsQueries = true;
    stage.walk.SetCullArea(1.0);
    stage.context.querySamples = 100;
}

} // namespace

TEST(TqOcPrioritizedTraversal, AsksForAQueryOneStepAheadAndReadsItAtTheTurn)
{
    WalkStage stage;
    MakeRow(stage);
    stage.Frame();
    EXPECT_EQ(stage.log.Get(),
              (Lines{"StartRender", "GetWindowSize", "BeginOcclusionQuery 1", "PrioritizedShape a",
                     "BeginOcclusionQuery 2", "CheckOcclusionQueryReady 1", "EndOcclusionQuery 1",
                     "PrioritizedShape b", "CheckOcclusionQueryReady 2", "EndOcclusionQuery 2",
                     "PrioritizedShape c", "CompletedRenderTraversal", "EndRender"}));
}

TEST(TqOcPrioritizedTraversal, HandsBoxAndTrianglesToTheQuery)
{
    WalkStage stage;
    MakeRow(stage);
    std::vector<std::pair<TqLBox3f, unsigned int>> asked;
    stage.context.onBeginQuery = [&](TqLBox3f const& box, unsigned int tris) {
        asked.emplace_back(box, tris);
        return false;
    };
    stage.Frame();
    auto* const group = static_cast<TqOcStaticGroup*>(stage.root.get());
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0].first, group->GetChild(1)->GetBoundingBox());
    EXPECT_EQ(asked[0].second, 20U);
    EXPECT_EQ(asked[1].second, 30U);
}

TEST(TqOcPrioritizedTraversal, CullsNothingByOcclusionWithAContextWithoutQueries)
{
    WalkStage stage;
    MakeRow(stage);
    TqOcContext plain;
    stage.walk.SetContext(&plain);
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.walk.GetTrisOcclusionCulled(), 0U);
}

TEST(TqOcPrioritizedTraversal, HidesEveryQueriedNodeWithAContextThatBeginsButDoesNotEndQueries)
{
    class BeginsOnly : public TqOcContext
    {
    public:
        TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const&, unsigned int) override
        {
            return reinterpret_cast<TqOcOcclusionQuery*>(this);
        }
    };

    WalkStage stage;
    MakeRow(stage);
    BeginsOnly context;
    stage.walk.SetContext(&context);
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.walk.GetTrisOcclusionCulled(), 50U);
}

TEST(TqOcPrioritizedTraversal, TakesANodeAsOccludedUpToTheCullArea)
{
    struct Row
    {
        double cullArea;
        unsigned int edge;
        bool isDrawn;
    };

    for (Row const& row :
         {Row{0.0, 0, false}, Row{1.0, 1, false}, Row{0.99, 1, true}, Row{1.0, 2, true},
          Row{4.0, 2, false}, Row{3.99, 2, true}, Row{-1.0, 0, false}, Row{1.0, 65535, true},
          Row{0.0, 65536, false}, Row{1.0, 65536, false}, Row{131073.0, 65537, false},
          Row{131072.9, 65537, true}, Row{s_nan, 1, true}}) {
        WalkStage stage;
        MakeRow(stage);
        stage.walk.SetCullArea(0.0);
        // The area test of the walk itself is left out by primitives that it exempts.
        static_cast<TqOcStaticGroup*>(stage.root.get())->Update();
        for (int i = 0; i < 3; ++i) {
            auto* const leaf = static_cast<TqOcSingleLeaf*>(
                static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(i));
            leaf->GetShape()->SetPrimitives(TqLPrimitiveTypes::ePOINTS);
        }
        stage.walk.SetCullArea(row.cullArea);
        stage.context.querySamples = row.edge;
        EXPECT_EQ(stage.Frame().size(), row.isDrawn ? 3U : 1U)
            << "cull area " << row.cullArea << ", edge " << row.edge;
    }
}

TEST(TqOcPrioritizedTraversal, StampsAnOccludedNodeWithTheFrameButNotTheHysteresis)
{
    WalkStage stage;
    MakeRow(stage);
    stage.context.querySamples = 0;
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.walk.GetTrisOcclusionCulled(), 50U);
    TqOcTraversable const* const hidden =
        static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(1);
    EXPECT_EQ(hidden->GetFrameId(), stage.frameId);
    EXPECT_EQ(hidden->GetHysteresisId(), 0U);
}

TEST(TqOcPrioritizedTraversal, AbortsAQueryThatIsNotReadyAndDrawsTheNode)
{
    WalkStage stage;
    MakeRow(stage);
    stage.context.queryReady = 0;
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.log.Filtered("AbortOcclusionQuery"),
              (Lines{"AbortOcclusionQuery 1", "AbortOcclusionQuery 2"}));
    EXPECT_EQ(stage.log.Count("EndOcclusionQuery"), 0);
    EXPECT_EQ(stage.context.GetNumOpenQueries(), 0);
}

TEST(TqOcPrioritizedTraversal, AsksForNoQueryWhereNoneIsWanted)
{
    { // switched off
        WalkStage stage;
        MakeRow(stage);
        stage.walk.SetOcclusionCulling(0);
        stage.Frame();
        EXPECT_EQ(stage.context.GetNumQueries(), 0);
    }
    { // cut by a clip plane: b, not c
        WalkStage stage;
        MakeRow(stage);
        TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -3.25));
        stage.walk.SetClipPlanes(&plane, 1);
        EXPECT_EQ(stage.Frame(), (Lines{"b", "c"}));
        EXPECT_EQ(stage.context.GetNumQueries(), 1);
        EXPECT_EQ(stage.walk.GetTrisFrustumCulled(), 10U);
    }
    { // touching the near plane: its distance is not greater than the near-cull distance of 0
        WalkStage stage;
        stage.SetRoot({stage.Leaf("a", -0.125), stage.Leaf("b", 0.0)});
        stage.walk.SetOcclusionCulling(1);
        stage.context.startsQueries = true;
        EXPECT_EQ(stage.Frame(), (Lines{"a", "b"}));
        EXPECT_EQ(stage.context.GetNumQueries(), 0);
    }
    { // already expanded, or already asked: one query for each branch, however often it is put off
        WalkStage stage;
        stage.SetRoot({WalkStage::Group({stage.Leaf("a1", 1.0), stage.Leaf("a3", 3.0)}),
                       WalkStage::Group({stage.Leaf("b2", 2.0), stage.Leaf("b4", 4.0)})});
        stage.walk.SetOcclusionCulling(1);
        stage.context.startsQueries = true;
        EXPECT_EQ(stage.Frame(), (Lines{"a1", "b2", "a3", "b4"}));
        EXPECT_EQ(stage.context.GetNumQueries(), 3) << "group b, a3 and b4";
        EXPECT_EQ(stage.context.GetNumOpenQueries(), 0);
    }
}

TEST(TqOcPrioritizedTraversal, ReadsTheCullDataOfForceRenderNodesAsZero)
{
    // Their distance is not computed: a record starts zeroed, so no query is asked for them.
    WalkStage stage;
    MakeRow(stage);
    for (int i = 0; i < 3; ++i) {
        static_cast<TqOcSingleLeaf*>(static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(i))
            ->GetShape()
            ->SetForceRender(1);
    }
    stage.Frame();
    EXPECT_EQ(stage.context.GetNumQueries(), 0);
}

TEST(TqOcPrioritizedTraversal, AbortsTheQueriesThatAClippedFrameLeavesOpen)
{
    WalkStage stage;
    MakeRow(stage);
    auto* const first =
        static_cast<TqOcSingleLeaf*>(static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(0));
    WalkStage::ShapeOf(first)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->ForceFrameClipped();
    };
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.log.Filtered("AbortOcclusionQuery"), Lines{"AbortOcclusionQuery 1"});
    EXPECT_EQ(stage.context.GetNumOpenQueries(), 0);
}

// ---- Clipping -----------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, UnwindsToTheRootWhenTheFrameIsClipped)
{
    WalkStage stage;
    auto* const stop = stage.Leaf("stop", 1.0);
    auto* const group = WalkStage::Group({stop, stage.Leaf("b", 2.0)});
    stage.SetRoot({WalkStage::Group({group, stage.Leaf("c", 3.0)}), stage.Leaf("d", 4.0)});
    WalkStage::ShapeOf(stop)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->ForceFrameClipped();
    };
    EXPECT_EQ(stage.Frame(), Lines{"stop"});
    EXPECT_TRUE(stage.walk.IsFrameClipped());
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(stop->GetFrameId(), stage.frameId);
    EXPECT_NE(group->GetFrameId(), stage.frameId) << "not done with it";
    EXPECT_EQ(stage.log.Filtered("PostRedrawRequest"), Lines{"PostRedrawRequest 4"});

    WalkStage::ShapeOf(stop)->onTurn = nullptr;
    EXPECT_EQ(stage.Frame(), (Lines{"stop", "b", "c", "d"}));
    EXPECT_FALSE(stage.walk.IsFrameClipped());
}

TEST(TqOcPrioritizedTraversal, NeverClipsAFrameThatIsNeverInteractive)
{
    FakeClock clock;
    clock.SetStepPerReading(10.0);
    WalkStage stage;
    stage.walk.SetPolicy(TqOcRenderTraversal::eNEVER_INTERACTIVE);
    stage.walk.SetTargetFrameTime(1e-6);
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0), stage.Leaf("c", 3.0)});
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_FALSE(stage.walk.IsFrameClipped());
}

TEST(TqOcPrioritizedTraversal, ClipsAnInteractiveFrameWhenItsTimeIsUp)
{
    FakeClock clock;
    WalkStage stage;
    auto* const slow = stage.Leaf("slow", 2.0);
    stage.SetRoot({stage.Leaf("a", 1.0), slow, stage.Leaf("c", 3.0)});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(0.2); };
    EXPECT_EQ(stage.Frame(), (Lines{"a", "slow"}));
    EXPECT_TRUE(stage.walk.IsFrameClipped());
    EXPECT_EQ(stage.log.Count("PostRedrawRequest"), 0)
        << "every frame is interactive: the next one comes";
    EXPECT_EQ(stage.walk.GetLoad(), 2.0);
}

TEST(TqOcPrioritizedTraversal, DoesNotClipExactlyAtTheHighBand)
{
    FakeClock clock(0.0);
    WalkStage stage;
    auto* const slow = stage.Leaf("slow", 1.0);
    stage.SetRoot({slow, stage.Leaf("b", 2.0)});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    stage.walk.SetTargetFrameTime(0.5);
    WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(0.5); };
    EXPECT_EQ(stage.Frame(), (Lines{"slow", "b"}));
    EXPECT_FALSE(stage.walk.IsFrameClipped());
}

TEST(TqOcPrioritizedTraversal, LooksIntoNothingWhileTrianglesAreAtTheTarget)
{
    FakeClock clock;
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0, 10);
    stage.SetRoot({leaf});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    WalkStage::ShapeOf(leaf)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->LowTarget(0.0, 9); // a target of 10: what is drawn
        walk->CheckFrameExpired();
        EXPECT_EQ(walk->GetTriangleTarget(), 10U) << "a closer look would have raised it";
        walk->LowTarget(0.0, 8);
        walk->CheckFrameExpired();
        EXPECT_EQ(walk->GetTriangleTarget(), 11U);
    };
    EXPECT_EQ(stage.Frame(), Lines{"a"});
}

TEST(TqOcPrioritizedTraversal, DecidesBetweenTheBandsByTheTriangleTarget)
{
    struct Row
    {
        double seconds;      ///< passed when the decision falls; the bands lie at 0.25 and 0.5
        unsigned int target; ///< 10 triangles are drawn by then
        bool isClipped;
        unsigned int targetAfter;
    };

    for (Row const& row : {Row{0.5, 11, false, 11}, Row{0.5, 10, true, 10}, Row{0.5, 9, true, 9},
                           Row{0.25, 9, false, 11}, Row{0.2578125, 9, true, 9}}) {
        FakeClock clock(0.0);
        WalkStage stage;
        auto* const slow = stage.Leaf("slow", 1.0, 10);
        stage.SetRoot({slow, stage.Leaf("b", 2.0, 0)});
        stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
        stage.walk.SetTargetFrameTime(0.5);
        stage.walk.SetLowBand(0.5);
        int clipped = -1;
        unsigned int target = 0;
        WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
            clock.Advance(row.seconds);
            walk->LowTarget(0.0, row.target - 1);
            walk->CheckFrameExpired();
            clipped = walk->IsFrameClipped();
            target = walk->GetTriangleTarget();
        };
        stage.Frame();
        EXPECT_EQ(clipped != 0, row.isClipped) << row.seconds << " s, target " << row.target;
        EXPECT_EQ(target, row.targetAfter) << row.seconds << " s, target " << row.target;
    }
}

TEST(TqOcPrioritizedTraversal, ShowsNothingExactlyAtTheHighBand)
{
    for (double const seconds : {0.5, 0.5078125}) {
        FakeClock clock(0.0);
        WalkStage stage;
        auto* const slow = stage.Leaf("slow", 1.0);
        stage.SetRoot({slow});
        stage.walk.SetPolicy(TqOcRenderTraversal::eAUTO_INTERACTIVE);
        stage.walk.SetTargetFrameTime(0.5);
        stage.walk.SetDevelopFrame(1);
        stage.context.interactionPending = 1;
        WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
            clock.Advance(seconds);
            walk->CheckFrameExpired();
        };
        stage.Frame();
        EXPECT_EQ(stage.log.Count("ShowRender"), seconds > 0.5 ? 1 : 0) << seconds;
        EXPECT_EQ(stage.walk.IsFrameClipped(), seconds > 0.5 ? 1 : 0) << seconds;
    }
}

TEST(TqOcPrioritizedTraversal, DoesNotLookAtTheBudgetAfterAForceRenderNode)
{
    FakeClock clock;
    WalkStage stage;
    auto* const forced = stage.Leaf("forced", 5.0);
    stage.SetRoot({forced, stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    forced->GetShape()->SetForceRender(1);
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    WalkStage::ShapeOf(forced)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(1.0); };
    EXPECT_EQ(stage.Frame(), (Lines{"forced", "a"})) << "noticed after the next ordinary node";
}

TEST(TqOcPrioritizedTraversal, LetsShapesLookAtTheBudgetThemselves)
{
    FakeClock clock;
    WalkStage stage;
    auto* const slow = stage.Leaf("slow", 1.0);
    stage.SetRoot({slow, stage.Leaf("b", 2.0)});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    int before = -1;
    int after = -1;
    WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
        walk->CheckFrameExpired();
        before = walk->IsFrameClipped();
        clock.Advance(1.0);
        walk->CheckFrameExpired();
        after = walk->IsFrameClipped();
    };
    EXPECT_EQ(stage.Frame(), Lines{"slow"});
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 1);
}

TEST(TqOcPrioritizedTraversal, ClipsWhenTheTriangleTargetIsReachedAfterTheLowBand)
{
    // Two frames of 4 x 100 triangles at 20 ms each teach the target; the third is cut by it.
    FakeClock clock;
    WalkStage stage;
    std::vector<TqOcTraversable*> leaves;
    stage.SetRoot({});
    for (int i = 0; i < 40; ++i) {
        auto* const leaf = stage.Leaf(std::to_string(i), 1.0 + i, 100);
        WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(0.01); };
        static_cast<TqOcStaticGroup*>(stage.root.get())->AddChild(leaf);
    }
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    stage.walk.SetLowBand(0.5);
    stage.walk.SetHighBand(0.9);
    stage.walk.SetMaxStress(1.0);
    stage.Frame();
    EXPECT_TRUE(stage.walk.IsFrameClipped());
    EXPECT_EQ(stage.walk.GetTriangleTarget(), TqOcRenderTraversal::eNO_TRIANGLE_LIMIT);
    stage.Frame();
    EXPECT_LT(stage.walk.GetTriangleTarget(), TqOcRenderTraversal::eNO_TRIANGLE_LIMIT);
    EXPECT_TRUE(stage.walk.IsFrameClipped());
    EXPECT_GT(stage.walk.GetTrisRendered(), stage.walk.GetTriangleTarget());
    EXPECT_LE(stage.walk.GetTrisRendered(), stage.walk.GetTriangleTarget() + 100);
}

TEST(TqOcPrioritizedTraversal, RaisesTheTargetWhenItIsReachedWithinTheLowBand)
{
    FakeClock clock;
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0, 10), stage.Leaf("b", 2.0, 20), stage.Leaf("c", 3.0, 30)});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    auto* const first =
        static_cast<TqOcSingleLeaf*>(static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(0));
    WalkStage::ShapeOf(first)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->LowTarget(0.0, 4);
    }; // a target of 5
    EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
    EXPECT_EQ(stage.walk.GetTriangleTarget(), 61U) << "raised to one more than drawn, each time";
    EXPECT_FALSE(stage.walk.IsFrameClipped());
}

TEST(TqOcPrioritizedTraversal, ClipsFramesThatAreNotInteractiveOnlyWhenInterrupted)
{
    using Traversal = TqOcRenderTraversal;

    struct Row
    {
        Traversal::Policy policy;
        bool startInteractive; ///< in mid-frame: frames that start so are interactive
        int pending;
        bool isClipped;
    };

    for (Row const& row : {Row{Traversal::eCOUNT_INTERACTIVE, false, 1, false},
                           Row{Traversal::eCOUNT_INTERACTIVE, true, 0, true},
                           Row{Traversal::eAUTO_INTERACTIVE, false, 0, false},
                           Row{Traversal::eAUTO_INTERACTIVE, false, 1, true},
                           Row{Traversal::eAUTO_INTERACTIVE, true, 0, true},
                           Row{Traversal::eINTERRUPTIBLE, false, 1, true},
                           Row{Traversal::eINTERRUPTIBLE, true, 0, false},
                           Row{Traversal::eNEVER_INTERACTIVE, true, 1, false},
                           Row{static_cast<Traversal::Policy>(9), true, 1, false}}) {
        FakeClock clock;
        WalkStage stage;
        auto* const slow = stage.Leaf("slow", 1.0);
        stage.SetRoot({slow, stage.Leaf("b", 2.0)});
        stage.walk.SetPolicy(row.policy);
        stage.context.interactionPending = row.pending;
        WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal* walk) {
            clock.Advance(1.0);
            if (row.startInteractive) {
                walk->StartInteractive();
            }
        };
        stage.Frame();
        EXPECT_EQ(stage.walk.IsFrameClipped() != 0, row.isClipped)
            << "policy " << row.policy << ", count " << row.startInteractive << ", pending "
            << row.pending;
    }
}

TEST(TqOcPrioritizedTraversal, ShowsALongDevelopFrameOnceAndGoesOn)
{
    for (int const develop : {0, 1}) {
        FakeClock clock;
        WalkStage stage;
        stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0), stage.Leaf("c", 3.0)});
        stage.walk.SetPolicy(TqOcRenderTraversal::eCOUNT_INTERACTIVE);
        stage.walk.SetDevelopFrame(develop);
        clock.SetStepPerReading(1.0);
        EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
        EXPECT_EQ(stage.log.Count("ShowRender"), develop);
        EXPECT_EQ(stage.walk.IsFrameShown(), develop);
        clock.SetStepPerReading(0.0);
        stage.Frame();
        EXPECT_EQ(stage.walk.IsFrameShown(), 0);
    }
}

TEST(TqOcPrioritizedTraversal, ClipsWhenMemoryIsOutWhateverThePolicy)
{
    FakeClock clock;
    WalkStage stage;
    auto* const slow = stage.Leaf("slow", 1.0);
    stage.SetRoot({slow, stage.Leaf("b", 2.0)});
    WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal*) {
        TqUPage::SetMemoryLimit(1);
        clock.Advance(1.0);
    };
    EXPECT_EQ(stage.Frame(), Lines{"slow"});
    TqUPage::SetMemoryLimit(0);
    WalkStage::ShapeOf(slow)->onTurn = nullptr;
    EXPECT_EQ(stage.Frame(), (Lines{"slow", "b"}));
}

TEST(TqOcPrioritizedTraversal, GoesOnWithoutMemoryWhileTimeAndTrianglesAreLeft)
{
    using Traversal = TqOcRenderTraversal;
    for (Traversal::Policy const policy :
         {Traversal::eNEVER_INTERACTIVE, Traversal::eALWAYS_INTERACTIVE}) {
        FakeClock clock;
        WalkStage stage;
        auto* const first = stage.Leaf("first", 1.0);
        stage.SetRoot({first, stage.Leaf("b", 2.0)});
        stage.walk.SetPolicy(policy);
        WalkStage::ShapeOf(first)->onTurn = [](TqOcPrioritizedTraversal*) {
            TqUPage::SetMemoryLimit(1);
        };
        EXPECT_EQ(stage.Frame(), (Lines{"first", "b"})) << "policy " << policy;
        EXPECT_TRUE(TqUPage::IsOutOfMemory());
        EXPECT_FALSE(stage.walk.IsFrameClipped());
        TqUPage::SetMemoryLimit(0);
    }
}

TEST(TqOcPrioritizedTraversal, ClipsTheFrameWhenMemoryIsRefusedAtAnyPoint)
{
    constexpr int eLEAVES = 100;
    int numAllocations = 1000;
    for (int n = 0; n <= numAllocations + 1; ++n) {
        SCOPED_TRACE(n);
        WalkStage stage;
        stage.SetRoot({});
        for (int i = 0; i < eLEAVES; ++i) {
            static_cast<TqOcStaticGroup*>(stage.root.get())->AddChild(stage.Leaf("s", 1.0 + i));
        }
        stage.root->Update();
        stage.walk.SetFrameId(++stage.frameId);
        AllocationCounter counter;
        int refused = 0;
        {
            RefuseAllocations refuse(n, RefuseAllocations::eAND_ALL_LATER);
            EXPECT_NO_THROW(stage.walk.Apply(stage.root.get()));
            refused = refuse.GetNumRefused();
        }
        if (n == 0) { // nothing is refused: what a first frame takes
            numAllocations = static_cast<int>(counter.GetNumMemory());
            ASSERT_GE(numAllocations, 4) << "a frustum, a transform, a cull object and records";
        }
        bool const isRefused = n >= 1 && n <= numAllocations;
        EXPECT_EQ(refused > 0, isRefused);
        EXPECT_EQ(stage.walk.IsFrameClipped() != 0, isRefused);
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.Frame().size(), static_cast<std::size_t>(eLEAVES));
        EXPECT_FALSE(stage.walk.IsFrameClipped());
    }
}

TEST(TqOcPrioritizedTraversal, ClipsTheFrameWhenMemoryForItsStackIsRefused)
{
    // The nearest leaf lies deepest, so that the walk goes all the way down before it draws. The
    // recorders write lines, which come from the heap that is refused here: none takes part.
    constexpr int eDEPTH = 120;
    TqOcTraversable* node =
        new TqOcSingleLeaf(new RecordingShape(nullptr, "s", MakeCube(0.0, 0.0, -2.0, 0.25)));
    for (int level = 0; level < eDEPTH; ++level) {
        node = WalkStage::Group({node, new TqOcSingleLeaf(new RecordingShape(
                                           nullptr, "s", MakeCube(0.0, 0.0, -9.0, 0.25)))});
    }
    WalkStage stage;
    stage.root.reset(node);
    stage.root->Update();
    TqOcContext quiet;
    stage.walk.SetContext(&quiet);
    stage.walk.SetFrameId(1);
    int refused = 0;
    {
        RefuseAllocations refuse(1, RefuseAllocations::eONLY_THIS, RefuseAllocations::eGLOBAL_NEW);
        EXPECT_NO_THROW(stage.walk.Apply(stage.root.get()));
        refused = refuse.GetNumRefused();
    }
    EXPECT_EQ(refused, 1);
    EXPECT_TRUE(stage.walk.IsFrameClipped());
    EXPECT_EQ(stage.walk.GetShapesRendered(), 0U);
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(stage.walk.GetCurrTravState(), nullptr);

    stage.walk.SetFrameId(2);
    stage.walk.Apply(stage.root.get());
    EXPECT_FALSE(stage.walk.IsFrameClipped());
    EXPECT_EQ(stage.walk.GetShapesRendered(), eDEPTH + 1U);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, SaturatesTimeBudgetsThatDoNotFit)
{
    struct Row
    {
        double target;
        bool isClipped;
    };

    // No budget below 0 is left after the first leaf. A NaN has expired as well, but no elapsed
    // time is greater than it, which is what clips.
    for (Row const& row :
         {Row{1e300, false}, Row{s_infinity, false}, Row{s_nan, false}, Row{-1.0, true}}) {
        WalkStage stage;
        stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
        stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
        stage.walk.SetTargetFrameTime(row.target);
        EXPECT_EQ(stage.Frame(), row.isClipped ? Lines{"a"} : (Lines{"a", "b"})) << row.target;
        EXPECT_EQ(stage.walk.IsFrameClipped() != 0, row.isClipped) << row.target;
    }
}

TEST(TqOcPrioritizedTraversal, KeepsAClipThatTheHostForcesWhileItIsAsked)
{
    class Forcing : public RecordingContext
    {
    public:
        using RecordingContext::RecordingContext;

        std::function<void()> onShow;

        void ShowRender() override
        {
            RecordingContext::ShowRender();
            onShow();
        }
    };

    using Traversal = TqOcRenderTraversal;

    struct Row
    {
        Traversal::Policy policy;
        bool isEndRender; ///< else in the walk
        int developFrame; ///< so that the host is asked to show the frame
    };

    for (Row const& row :
         {Row{Traversal::eINTERRUPTIBLE, false, 0}, Row{Traversal::eAUTO_INTERACTIVE, false, 0},
          Row{Traversal::eCOUNT_INTERACTIVE, false, 1}, Row{Traversal::eINTERRUPTIBLE, true, 0},
          Row{Traversal::eAUTO_INTERACTIVE, true, 0},
          Row{Traversal::eCOUNT_INTERACTIVE, true, 1}}) {
        SCOPED_TRACE(testing::Message()
                     << "policy " << row.policy << ", end of a frame " << row.isEndRender);
        FakeClock clock;
        WalkStage stage;
        auto* const slow = stage.Leaf("slow", 1.0);
        stage.SetRoot({slow, stage.Leaf("b", 2.0)});
        Forcing context(&stage.log);
        stage.walk.SetContext(&context);
        stage.walk.SetPolicy(row.policy);
        stage.walk.SetDevelopFrame(row.developFrame);
        int asked = 0;
        auto const force = [&] {
            ++asked;
            row.isEndRender ? stage.walk.ForceEndRenderClipped() : stage.walk.ForceFrameClipped();
        };
        context.onShow = force;
        context.onInteractionPending = [&] {
            force();
            return 0;
        };
        if (row.isEndRender) {
            context.onEndRender = [&] {
                clock.Advance(1.0);
                stage.walk.CheckEndRenderExpired();
            };
        } else {
            WalkStage::ShapeOf(slow)->onTurn = [&](TqOcPrioritizedTraversal*) {
                clock.Advance(1.0);
            };
        }
        EXPECT_EQ(stage.Frame(), row.isEndRender ? (Lines{"slow", "b"}) : Lines{"slow"});
        EXPECT_EQ(asked, 1);
        EXPECT_EQ(stage.walk.IsFrameClipped(), row.isEndRender ? 0 : 1);
        EXPECT_EQ(stage.log.Count("ShowRender"), row.developFrame);
        if (row.isEndRender) {
            EXPECT_TRUE(stage.walk.IsEndRenderClipped());
        }
    }
}

// ---- End of a frame -----------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, ArmsTheEndRenderBudgetWithWhatIsLeft)
{
    FakeClock clock(0.0);
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    stage.SetRoot({leaf});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    stage.walk.SetTargetFrameTime(1.0);
    WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(0.75); };
    std::vector<int> clipped;
    stage.context.onEndRender = [&] {
        stage.walk.CheckEndRenderExpired();
        clipped.push_back(stage.walk.IsEndRenderClipped());
        clock.Advance(0.125);
        stage.walk.CheckEndRenderExpired();
        clipped.push_back(stage.walk.IsEndRenderClipped());
        clock.Advance(0.1875);
        stage.walk.CheckEndRenderExpired();
        clipped.push_back(stage.walk.IsEndRenderClipped());
    };
    stage.Frame();
    EXPECT_EQ(clipped, (std::vector<int>{0, 0, 1}));
}

TEST(TqOcPrioritizedTraversal, ClipsTheEndRenderAtOnceWhenNothingIsLeft)
{
    FakeClock clock(0.0);
    WalkStage stage;
    auto* const leaf = stage.Leaf("a", 1.0);
    stage.SetRoot({leaf});
    stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) { clock.Advance(5.0); };
    int clipped = -1;
    stage.context.onEndRender = [&] { clipped = stage.walk.IsEndRenderClipped(); };
    stage.Frame();
    EXPECT_EQ(clipped, 1);
}

TEST(TqOcPrioritizedTraversal, ClipsTheEndRenderWhenTheTimeIsUsedUpExactly)
{
    for (double const walked : {1.0, 0.9921875}) {
        FakeClock clock(0.0);
        WalkStage stage;
        auto* const leaf = stage.Leaf("a", 1.0);
        stage.SetRoot({leaf});
        stage.walk.SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
        stage.walk.SetTargetFrameTime(1.0);
        WalkStage::ShapeOf(leaf)->onTurn = [&](TqOcPrioritizedTraversal*) {
            clock.Advance(walked);
        };
        int clipped = -1;
        stage.context.onEndRender = [&] { clipped = stage.walk.IsEndRenderClipped(); };
        stage.Frame();
        EXPECT_EQ(clipped, walked < 1.0 ? 0 : 1) << walked;
    }
}

TEST(TqOcPrioritizedTraversal, DecidesTheEndRenderByPolicy)
{
    using Traversal = TqOcRenderTraversal;

    struct Row
    {
        Traversal::Policy policy;
        int pending;
        bool isClipped;
        int shown;
    };

    for (Row const& row :
         {Row{Traversal::eNEVER_INTERACTIVE, 1, false, 0},
          Row{Traversal::eINTERRUPTIBLE, 0, false, 0}, Row{Traversal::eINTERRUPTIBLE, 1, true, 0},
          Row{Traversal::eCOUNT_INTERACTIVE, 1, false, 1},
          Row{Traversal::eAUTO_INTERACTIVE, 1, true, 1},
          Row{Traversal::eAUTO_INTERACTIVE, 0, false, 1},
          Row{Traversal::eALWAYS_INTERACTIVE, 0, true, 0}}) {
        FakeClock clock;
        WalkStage stage;
        stage.SetRoot({stage.Leaf("a", 1.0)});
        stage.walk.SetPolicy(row.policy);
        stage.walk.SetDevelopFrame(1);
        stage.context.interactionPending = row.pending;
        int clipped = -1;
        stage.context.onEndRender = [&] {
            clock.Advance(1.0);
            stage.walk.CheckEndRenderExpired();
            clipped = stage.walk.IsEndRenderClipped();
        };
        stage.Frame();
        EXPECT_EQ(clipped != 0, row.isClipped)
            << "policy " << row.policy << ", pending " << row.pending;
        EXPECT_EQ(stage.log.Count("ShowRender"), row.shown) << "policy " << row.policy;
    }
}

TEST(TqOcPrioritizedTraversal, KeepsAForcedEndRenderClip)
{
    WalkStage stage;
    stage.walk.ForceEndRenderClipped();
    EXPECT_TRUE(stage.walk.IsEndRenderClipped());
    stage.context.interactionPending = 0;
    stage.walk.SetPolicy(TqOcRenderTraversal::eINTERRUPTIBLE);
    stage.walk.CheckEndRenderExpired();
    EXPECT_TRUE(stage.walk.IsEndRenderClipped());
    EXPECT_EQ(stage.log.Get(), Lines());
}

// ---- Exceptions ---------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, PutsTheWalkInOrderWhenAShapeThrows)
{
    WalkStage stage;
    auto* const bad = stage.Leaf("bad", 2.0);
    stage.SetRoot(
        {WalkStage::Group({WalkStage::Group({stage.Leaf("a", 1.0), bad}), stage.Leaf("c", 3.0)}),
         stage.Leaf("d", 4.0), stage.Leaf("e", 5.0)});
    stage.walk.SetOcclusionCulling(1);
    stage.context.startsQueries = true;
    WalkStage::ShapeOf(bad)->onTurn = [](TqOcPrioritizedTraversal*) { throw Failure(); };
    EXPECT_THROW(stage.Frame(), Failure);
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(stage.walk.GetCurrTravState(), nullptr);
    EXPECT_EQ(stage.context.GetNumOpenQueries(), 0);
    EXPECT_GE(stage.log.Count("AbortOcclusionQuery"), 1);

    WalkStage::ShapeOf(bad)->onTurn = nullptr;
    EXPECT_EQ(stage.Frame(), (Lines{"a", "bad", "c", "d", "e"}));
}

TEST(TqOcPrioritizedTraversal, PutsTheWalkInOrderWhenACallbackThrowsWhileScoring)
{
    for (int call = 1; call <= 8; ++call) {
        WalkStage stage;
        stage.SetRoot(
            {WalkStage::Group({stage.Leaf("a", 1.0), stage.Leaf("b", 4.0), stage.Leaf("c", 7.0)}),
             WalkStage::Group({stage.Leaf("d", 2.0), stage.Leaf("e", 5.0)})});
        stage.walk.SetOcclusionCulling(1);
        stage.context.startsQueries = true;

        struct Calls
        {
            int left;

            static int Score(TqOcTraversable const*, TqOcRenderTravCullData*, void* self)
            {
                if (--static_cast<Calls*>(self)->left == 0) {
                    throw Failure();
                }
                return 1;
            }
        } calls{call};

        stage.walk.SetDynamicPriorityCallback(&Calls::Score, &calls);
        EXPECT_THROW(stage.Frame(), Failure) << call;
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.context.GetNumOpenQueries(), 0) << call;
        EXPECT_EQ(stage.Frame(), (Lines{"a", "d", "b", "e", "c"})) << call;
    }
}

TEST(TqOcPrioritizedTraversal, PutsTheWalkInOrderWhenAContextThrows)
{
    /// Throws once, after the callback of the given name was recorded.
    class Throwing : public RecordingContext
    {
    public:
        using RecordingContext::RecordingContext;

        std::string callback;

        void Fail(char const* here)
        {
            if (callback == here) {
                callback.clear();
                throw Failure();
            }
        }

        void AbortOcclusionQuery(TqOcOcclusionQuery* query) override
        {
            RecordingContext::AbortOcclusionQuery(query);
            Fail("AbortOcclusionQuery");
        }

        void ShowRender() override
        {
            RecordingContext::ShowRender();
            Fail("ShowRender");
        }

        void CompletedRenderTraversal() override
        {
            RecordingContext::CompletedRenderTraversal();
            Fail("CompletedRenderTraversal");
        }
    };

    for (std::string const callback :
         {"StartRender", "BeginOcclusionQuery", "CheckOcclusionQueryReady", "EndOcclusionQuery",
          "AbortOcclusionQuery", "ShowRender", "IsInteractionPending", "CompletedRenderTraversal",
          "EndRender"}) {
        SCOPED_TRACE(callback);
        FakeClock clock;
        WalkStage stage;
        MakeRow(stage);
        Throwing context(&stage.log);
        stage.walk.SetContext(&context);
        stage.walk.SetPolicy(TqOcRenderTraversal::eAUTO_INTERACTIVE);
        stage.walk.SetDevelopFrame(1);
        clock.SetStepPerReading(1.0); // every node takes too long: the host is asked and shown
        context.callback = callback;
        context.onStartRender = [&] { context.Fail("StartRender"); };
        context.onBeginQuery = [&](TqLBox3f const&, unsigned int) {
            context.Fail("BeginOcclusionQuery");
            return true;
        };
        context.onCheckQuery = [&](int) {
            context.Fail("CheckOcclusionQueryReady");
            return callback == "AbortOcclusionQuery" ? 0 : 1;
        };
        context.onEndQuery = [&](int) {
            context.Fail("EndOcclusionQuery");
            return 100U;
        };
        context.onInteractionPending = [&] {
            context.Fail("IsInteractionPending");
            return 0;
        };
        context.onEndRender = [&] { context.Fail("EndRender"); };

        EXPECT_THROW(stage.Frame(), Failure);
        EXPECT_EQ(context.callback, "") << "it was never called";
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.walk.GetCurrTravState(), nullptr);
        EXPECT_EQ(context.GetNumOpenQueries(), 0);
        EXPECT_EQ(stage.log.Count("AbortOcclusionQuery closed"), 0);

        EXPECT_EQ(stage.Frame(), (Lines{"a", "b", "c"}));
        EXPECT_EQ(context.GetNumOpenQueries(), 0);
        EXPECT_FALSE(stage.IsAnyMarked());
    }
}

TEST(TqOcPrioritizedTraversal, PutsTheWalkInOrderWhenTheWindowSizeThrows)
{
    class NoWindow : public TqOcContext
    {
    public:
        void GetWindowSize(int* width, int* height) override
        {
            if (fails) {
                throw Failure();
            }
            TqOcContext::GetWindowSize(width, height);
        }

        bool fails = true;
    };

    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    NoWindow context;
    stage.walk.SetContext(&context);
    EXPECT_THROW(stage.Frame(), Failure);
    context.fails = false;
    EXPECT_EQ(stage.Frame(), Lines{"a"});
}

TEST(TqOcPrioritizedTraversal, AbortsTheOtherQueriesWhenAbortingOneThrows)
{
    class Throws : public RecordingContext
    {
    public:
        using RecordingContext::RecordingContext;

        void AbortOcclusionQuery(TqOcOcclusionQuery* query) override
        {
            RecordingContext::AbortOcclusionQuery(query);
            throw Failure();
        }
    };

    WalkStage stage;
    auto* const stop = stage.Leaf("stop", 1.0);
    stage.SetRoot({WalkStage::Group({stop, stage.Leaf("b", 2.0)}), stage.Leaf("c", 9.0)});
    Throws context(&stage.log);
    context.startsQueries = true;
    stage.walk.SetContext(&context);
    stage.walk.SetOcclusionCulling(1);
    WalkStage::ShapeOf(stop)->onTurn = [](TqOcPrioritizedTraversal* walk) {
        walk->ForceFrameClipped();
    };
    EXPECT_THROW(stage.Frame(), Failure);
    EXPECT_EQ(context.GetNumOpenQueries(), 0);
    EXPECT_EQ(context.GetNumQueries(), 2);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedTraversal, RaisesTheLengthErrorOfAStackThatCannotGrow)
{
    std::vector<TqOcTravLevel> levels;
    TqOcInternal::PushLevel(levels, {1.0, nullptr}, 2);
    TqOcInternal::PushLevel(levels, {2.0, nullptr}, 2);
    try {
        TqOcInternal::PushLevel(levels, {3.0, nullptr}, 2);
        FAIL() << "the third level was taken";
    } catch (std::length_error const& error) {
        EXPECT_STREQ(error.what(), "vector<T> too long");
    }
    EXPECT_EQ(levels.size(), 2U);
}
