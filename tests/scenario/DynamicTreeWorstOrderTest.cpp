// Dynamic trees that are fed in the worst orders: the tree stays as low as its rules promise, and
// the work, counted in groups made and boxes asked for, stays in proportion to the shapes.
//
// 200,000 shapes each in optimised builds; 10,000 in others and under sanitizers.

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/DynamicTreeChecker.h"
#include "support/DynamicTreePlay.h"
#include "support/Recorders.h"

#include "util/TqUMemory.h"
#include "util/TqUPoison.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define DYNAMIC_TREE_UNDER_TSAN 1
#endif
#endif
#if defined(__OPTIMIZE__) && !TQU_POISON_ACTIVE && !defined(__SANITIZE_THREAD__) &&                \
    !defined(DYNAMIC_TREE_UNDER_TSAN)
constexpr int eCOUNT = 200000;
#else
constexpr int eCOUNT = 10000;
#endif

enum class Order
{
    eSORTED,
    eSORTED_BACK,
    eIDENTICAL,
    eONION_GROWING,
    eONION_SHRINKING,
    eEMPTY,
    eONE_HUGE,
    eTWO_ENDS
};

constexpr int eNUM_ORDERS = 8;

char const* const s_names[eNUM_ORDERS] = {"Sorted",           "SortedBack",     "Identical",
                                          "OnionGrowing",     "OnionShrinking", "Empty",
                                          "OneHugeAmongTiny", "AlternatingEnds"};

TqLBox3f BoxFor(Order order, int i, int count)
{
    switch (order) {
    case Order::eSORTED:
        return MakeCube(i, 0, 0, 0.4);
    case Order::eSORTED_BACK:
        return MakeCube(count - i, 0, 0, 0.4);
    case Order::eIDENTICAL:
        return MakeCube(1, 2, 3, 1);
    case Order::eONION_GROWING:
        return MakeCube(0, 0, 0, 1.0 + i);
    case Order::eONION_SHRINKING:
        return MakeCube(0, 0, 0, 1.0 + count - i);
    case Order::eEMPTY:
        return TqLBox3f();
    case Order::eONE_HUGE:
        return i == count / 3 ? MakeCube(0, 0, 0, 1e6) : MakeCube(i % 1000, i / 1000, 0, 0.001);
    case Order::eTWO_ENDS:
        return MakeCube(i % 2 == 0 ? i : -i, 0, 0, 0.4);
    }
    return TqLBox3f();
}

class DynamicTreeWorstOrderTest : public ::testing::TestWithParam<int>
{};

std::string NameOf(::testing::TestParamInfo<int> const& info)
{
    return s_names[info.param];
}

void ExpectDepthFits(TqOcDynamicGroup const& root, int leaves)
{
    EXPECT_LE(root.CalcDepth(), GetLargestDepth(leaves));
    EXPECT_GE(root.CalcDepth(), GetSmallestDepth(leaves));
}

} // namespace

TEST_P(DynamicTreeWorstOrderTest, StaysLowAndSound)
{
    auto const order = static_cast<Order>(GetParam());
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    std::vector<TqOcShape*> shapes;
    for (int i = 0; i < eCOUNT; ++i) {
        shapes.push_back(new PlayShape(i, BoxFor(order, i, eCOUNT)));
    }
    auto root = std::make_unique<TqOcDynamicGroup>();

    // Inserted: one leaf each, one new group for each split and two where the root splits.
    AllocationCounter counter;
    for (TqOcShape* const shape : shapes) {
        root->AddShape(shape);
    }
    std::size_t const made = counter.GetNumMemory();
    std::size_t const groups = GroupsOf(*root).size();
    EXPECT_EQ(made, shapes.size() + groups - 1);
    EXPECT_LE(groups, shapes.size() / 3);
    ExpectDepthFits(*root, eCOUNT);
    root->Update();
    ASSERT_TRUE(IsSoundDynamicTree(*root, shapes));
    for (TqOcShape* const shape : shapes) {
        // Once on insertion, once by the checker.
        ASSERT_EQ(static_cast<PlayShape*>(shape)->GetNumBoxCalls(), 2);
    }

    // Moved as a whole: nothing is made but the list of pieces.
    std::vector<TqOcDynamicGroup*> const before = GroupsOf(*root);
    for (TqOcShape* const shape : shapes) {
        auto* const play = static_cast<PlayShape*>(shape);
        if (play->GetBox().IsEmpty()) {
            play->Move(play->GetBox());
        } else {
            play->MoveBy(16.0, 0.0, 0.0);
        }
    }
    counter.Reset();
    root->Update();
    EXPECT_LE(counter.GetNumMemory(), 8u);
    EXPECT_EQ(GroupsOf(*root), before);
    ASSERT_TRUE(IsSoundDynamicTree(*root, shapes));

    // One in a hundred moved far, in the order in which they came.
    for (std::size_t i = 0; i < shapes.size(); i += 100) {
        static_cast<PlayShape*>(shapes[i])->Move(
            MakeCube(0.01 * static_cast<double>(i), 500, 0, 1));
    }
    root->Update();
    ExpectDepthFits(*root, eCOUNT);
    ASSERT_TRUE(IsSoundDynamicTree(*root, shapes));

    // Removed: half in the order in which they came, then from the last, down to a twentieth, then
    // to nothing.
    for (std::size_t i = 0; i < eCOUNT / 2; ++i) {
        root->DeleteShape(shapes[i]);
    }
    shapes.erase(shapes.begin(), shapes.begin() + eCOUNT / 2);
    root->Update();
    ExpectDepthFits(*root, static_cast<int>(shapes.size()));
    ASSERT_TRUE(IsSoundDynamicTree(*root, shapes));
    while (shapes.size() > eCOUNT / 20) {
        root->DeleteShape(shapes.back());
        shapes.pop_back();
    }
    root->Update();
    ExpectDepthFits(*root, static_cast<int>(shapes.size()));
    ASSERT_TRUE(IsSoundDynamicTree(*root, shapes));
    for (TqOcShape* const shape : shapes) {
        root->DeleteShape(shape);
    }
    EXPECT_EQ(root->GetNumChildren(), 0);
    EXPECT_EQ(root->CalcDepth(), 1);
    root.reset();
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST_P(DynamicTreeWorstOrderTest, MakesTwiceTheGroupsForTwiceTheShapes)
{
    auto const order = static_cast<Order>(GetParam());
    std::size_t groups[2] = {};
    for (int round = 0; round < 2; ++round) {
        int const count = eCOUNT / 20 * (round + 1);
        TqOcDynamicGroup root;
        for (int i = 0; i < count; ++i) {
            root.AddShape(new PlayShape(i, BoxFor(order, i, count)));
        }
        groups[round] = GroupsOf(root).size();
    }
    EXPECT_GT(groups[1], groups[0] * 17 / 10);
    EXPECT_LT(groups[1], groups[0] * 23 / 10);
}

INSTANTIATE_TEST_SUITE_P(EveryOrder, DynamicTreeWorstOrderTest, ::testing::Range(0, eNUM_ORDERS),
                         &NameOf);
