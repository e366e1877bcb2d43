// What nodes do in a walk through their record: offering children, and cull objects of their own.
#include "support/AllocationCounter.h"
#include "support/WalkStage.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <gtest/gtest.h>

namespace
{

/// Runs `act` in the root's turn of one frame, as a node of the application's would.
template <class Act>
Lines ActInRoot(WalkStage& stage, Act const& act)
{
    static_cast<ActingGroup*>(stage.root.get())->onTurn = [&](TqOcPrioritizedTraversal* walk,
                                                              TqOcTravState* state) {
        act(walk, state);
        return TqOcBaseTraversable::eAPPENDED;
    };
    return stage.Frame();
}

TqOcTraversable* ChildOf(WalkStage& stage, int i)
{
    return static_cast<TqOcStaticGroup*>(stage.root.get())->GetChild(i);
}

} // namespace

// ---- Append -------------------------------------------------------------------------------------

TEST(TqOcTravState, CountsAChildThatIsOnThePathAsTraversedCulled)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0, 5), stage.Leaf("b", 2.0, 7)});
    stage.root->Update();
    ChildOf(stage, 1)->SetTraversed();
    EXPECT_EQ(stage.Frame(), Lines{"a"});
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 7U);
    ChildOf(stage, 1)->ClearTraversed();
}

TEST(TqOcTravState, CountsAChildDealtWithInThisFrameAsTraversedCulled)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0, 5), stage.Leaf("b", 2.0, 7)});
    ChildOf(stage, 0)->SetFrameId(stage.frameId + 1);
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 5U);
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 0U);
}

TEST(TqOcTravState, PrefersTraversedToVisibilityForAChildThatIsBoth)
{
    WalkStage stage;
    auto* const hidden = stage.Leaf("a", 1.0, 5);
    hidden->GetShape()->SetHideRender(1);
    stage.SetRoot({hidden, stage.Leaf("b", 2.0)});
    hidden->SetFrameId(stage.frameId + 1);
    stage.Frame();
    EXPECT_EQ(stage.walk.GetTrisTraversedCulled(), 5U);
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 0U);
}

TEST(TqOcTravState, CountsHiddenChildrenAndOtherPrimitivesAsVisibilityCulled)
{
    WalkStage stage;
    auto* const hidden = stage.Leaf("hidden", 1.0, 5);
    hidden->GetShape()->SetHideRender(1);
    auto* const lines = stage.Leaf("lines", 2.0, 7);
    lines->GetShape()->SetPrimitives(TqLPrimitiveTypes::eLINES);
    auto* const none = stage.Leaf("none", 3.0, 11);
    none->GetShape()->SetPrimitives(TqLPrimitiveTypes::eNONE);
    stage.SetRoot({hidden, lines, none, stage.Leaf("b", 4.0)});
    stage.walk.SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
    EXPECT_EQ(stage.Frame(), Lines{"b"});
    EXPECT_EQ(stage.walk.GetTrisVisibilityCulled(), 23U);
}

TEST(TqOcTravState, HoldsChildrenInTheReverseOrderOfAppending)
{
    // Scoring runs down the list, so the callback sees the last appended first.
    WalkStage stage;
    stage.SetRoot({stage.Leaf("A", 1.0), stage.Leaf("B", 1.0), stage.Leaf("C", 1.0)});

    struct Scored
    {
        std::vector<TqOcTraversable const*> nodes;

        static int Call(TqOcTraversable const* node, TqOcRenderTravCullData*, void* self)
        {
            static_cast<Scored*>(self)->nodes.push_back(node);
            return 1;
        }
    } scored;

    stage.walk.SetDynamicPriorityCallback(&Scored::Call, &scored);
    stage.Frame();
    EXPECT_EQ(scored.nodes,
              (std::vector<TqOcTraversable const*>{stage.root.get(), ChildOf(stage, 2),
                                                   ChildOf(stage, 1), ChildOf(stage, 0)}));
}

TEST(TqOcTravState, PostsANullChildAndGoesOn)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    PostedErrors posts;
    EXPECT_EQ(ActInRoot(stage,
                        [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
                            state->Append(walk, nullptr);
                            state->Append(walk, ChildOf(stage, 1));
                        }),
              Lines{"b"});
    EXPECT_EQ(posts.AsLines(),
              Lines{"1 TqOcPrioritizedTraversal: A null child was offered to a walk"});
}

TEST(TqOcTravState, ClipsTheFrameOnANullCullObject)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    EXPECT_EQ(ActInRoot(stage,
                        [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
                            state->Append(walk, ChildOf(stage, 0), nullptr);
                        }),
              Lines());
    EXPECT_TRUE(stage.walk.IsFrameClipped());
}

// ---- Cull objects -------------------------------------------------------------------------------

TEST(TqOcTravState, GivesItsCullObjectAndTheStatesBehindIt)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    ActInRoot(stage, [&](TqOcPrioritizedTraversal*, TqOcTravState* state) {
        TqOcTravState const* const constant = state;
        EXPECT_NE(state->GetTravCull(), nullptr);
        EXPECT_EQ(constant->GetTravCull(), state->GetTravCull());
        EXPECT_EQ(state->GetTravFrustum(), state->GetTravCull()->GetTravFrustum());
        EXPECT_EQ(state->GetTravTransform(), state->GetTravCull()->GetTravTransform());
        EXPECT_TRUE(state->GetTravTransform()->GetToWorld().IsIdentity());
        EXPECT_EQ(state->GetTravFrustum()->GetXToPixelConv(), 500.0);
    });
}

TEST(TqOcTravState, TransformedCullKeepsTheFrustumAndMovesTheLevel)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), TqLPos3f(-10.0, 0.0, 0.0));
    stage.walk.SetClipPlanes(&plane, 1);
    ActInRoot(stage, [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        auto* const cull =
            state->TransformedCull(walk, TqLAffine3f::Translation(TqLVec3f(4.0, 0.0, 0.0)));
        ASSERT_NE(cull, nullptr);
        EXPECT_EQ(cull->GetTravFrustum(), state->GetTravFrustum());
        EXPECT_NE(cull->GetTravTransform(), state->GetTravTransform());
        EXPECT_EQ(cull->GetToWorld().GetTranslation()[0], 4.0);
        EXPECT_EQ(cull->GetLocalEyePoint()[0], -4.0);
        ASSERT_EQ(cull->GetNumClipPlanes(), 1);
        EXPECT_DOUBLE_EQ(cull->GetClipPlanes()[0].GetDistance(), -14.0);
        EXPECT_EQ(cull->GetNearCullDistance(), 0.0);
    });
}

TEST(TqOcTravState, NarrowedCullKeepsTheTransformAndTheNearCullDistance)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    ActInRoot(stage, [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        TqOcTravFrustum frustum = *state->GetTravFrustum();
        state->GetTravCull()->Narrow(TqOcTravCull(*state->GetTravCull()), state->GetTravFrustum(),
                                     2.5);
        auto* const cull = state->NarrowedCull(walk, 0.0, 0.5, 0.0, 0.25);
        ASSERT_NE(cull, nullptr);
        EXPECT_EQ(cull->GetTravTransform(), state->GetTravTransform());
        EXPECT_EQ(cull->GetXToPixelConv(), 0.5 * frustum.GetXToPixelConv());
        EXPECT_EQ(cull->GetYToPixelConv(), 0.25 * frustum.GetYToPixelConv());
        EXPECT_EQ(cull->GetNearCullDistance(), 2.5);
    });
}

TEST(TqOcTravState, GivesNoCullObjectWithoutMemory)
{
    WalkStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    bool gotNull[2] = {false, false};
    ActInRoot(stage, [&](TqOcPrioritizedTraversal* walk, TqOcTravState* state) {
        RefuseAllocations refuse(1, RefuseAllocations::eAND_ALL_LATER);
        for (int i = 0; i < 10000 && !(gotNull[0] && gotNull[1]); ++i) {
            gotNull[0] = gotNull[0] || state->TransformedCull(walk, TqLAffine3f()) == nullptr;
            gotNull[1] = gotNull[1] || state->NarrowedCull(walk, 0.0, 1.0, 0.0, 1.0) == nullptr;
        }
    });
    EXPECT_TRUE(gotNull[0]);
    EXPECT_TRUE(gotNull[1]);
}
