// The host's side of a traversal: the answers of a context that overrides nothing.

#include "scenecull/TqOcContext.h"

#include "support/Recorders.h"

#include <gtest/gtest.h>

#include <utility>

TEST(TqOcContext, ReportsAWindowOfThousandByThousand)
{
    TqOcContext context;
    int width = -1;
    int height = -2;
    context.GetWindowSize(&width, &height);
    EXPECT_EQ(width, 1000);
    EXPECT_EQ(height, 1000);
}

TEST(TqOcContext, StartsNoOcclusionQuery)
{
    TqOcContext context;
    EXPECT_EQ(context.BeginOcclusionQuery(MakeCube(0, 0, 0, 1), 0), nullptr);
    EXPECT_EQ(context.BeginOcclusionQuery(MakeCube(0, 0, 0, 1), 7), nullptr);
}

TEST(TqOcContext, CallsEveryQueryReadyAndEmpty)
{
    TqOcContext context;
    EXPECT_EQ(context.CheckOcclusionQueryReady(nullptr), 1);
    EXPECT_EQ(context.EndOcclusionQuery(nullptr), 0u);
    context.AbortOcclusionQuery(nullptr);
}

TEST(TqOcContext, ReportsAFrameThatWasPresentedAsEfficientlyAsPlanned)
{
    TqOcContext context;
    EXPECT_EQ(context.EndRender(), 1.0);
}

TEST(TqOcContext, HasNoInteractionPending)
{
    TqOcContext context;
    EXPECT_EQ(context.IsAutoInteractive(), 0);
    EXPECT_EQ(context.IsInteractionPending(), 0);
}

TEST(TqOcContext, NumbersTheKindsOfRedrawAsHostsStoreThem)
{
    EXPECT_EQ(static_cast<int>(TqOcContext::eREDRAW_FULL), 0);
    EXPECT_EQ(static_cast<int>(TqOcContext::eREDRAW_INCOMPLETE), 4);
}

TEST(TqOcContext, CanBeCopied)
{
    TqOcContext const context;
    TqOcContext copy(context);
    copy = context;
    EXPECT_EQ(copy.EndRender(), 1.0);
    static_assert(sizeof(TqOcContext) == sizeof(void*)); // nothing but its virtual operations
}

TEST(TqOcContext, IsDestroyedThroughItsBase)
{
    static int s_destroyed = 0;

    class Derived : public TqOcContext
    {
    public:
        ~Derived() override { ++s_destroyed; }
    };

    TqOcContext* const context = new Derived;
    delete context;
    EXPECT_EQ(s_destroyed, 1);
}
