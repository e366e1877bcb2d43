// The map of what one update took out of a dynamic tree.

#include "support/DynamicTreeMaker.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

TEST(TqOcSubtreeDepthMap, StartsEmpty)
{
    TqOcSubtreeDepthMap const map;
    EXPECT_EQ(map.GetMaxDepth(), 0);
    EXPECT_EQ(map.GetLeaves().Size(), 0);
    static_assert(!std::is_copy_constructible_v<TqOcSubtreeDepthMap>);
    static_assert(!std::is_copy_assignable_v<TqOcSubtreeDepthMap>);
}

TEST(TqOcSubtreeDepthMap, ListsGroupsByHeightInTheOrderOfAdding)
{
    TqOcDynamicGroup groups[4];
    TqOcSubtreeDepthMap map;
    map.AddGroup(&groups[0], 3);
    EXPECT_EQ(map.GetMaxDepth(), 3);
    map.AddGroup(&groups[1], 1);
    map.AddGroup(&groups[2], 3);
    map.AddGroup(&groups[3], 2);
    EXPECT_EQ(map.GetMaxDepth(), 3);
    ASSERT_EQ(map.GetDepthVector(3).Size(), 2);
    EXPECT_EQ(map.GetDepthVector(3)[0], &groups[0]);
    EXPECT_EQ(map.GetDepthVector(3)[1], &groups[2]);
    ASSERT_EQ(map.GetDepthVector(2).Size(), 1);
    EXPECT_EQ(map.GetDepthVector(2)[0], &groups[3]);
    ASSERT_EQ(map.GetDepthVector(1).Size(), 1);
    EXPECT_EQ(map.GetDepthVector(1)[0], &groups[1]);
    EXPECT_EQ(map.GetDepthVector(0).Size(), 0);
}

TEST(TqOcSubtreeDepthMap, MakesTheListOfAHeightThatIsAskedFor)
{
    TqOcSubtreeDepthMap const map;
    EXPECT_EQ(map.GetDepthVector(4).Size(), 0);
    EXPECT_EQ(map.GetMaxDepth(), 4);
    EXPECT_EQ(map.GetDepthVector(2).Size(), 0);
    EXPECT_EQ(map.GetMaxDepth(), 4);
}

TEST(TqOcSubtreeDepthMap, KeepsItsListsInPlaceWhileTallerOnesAreMade)
{
    TqOcDynamicGroup group;
    TqOcSubtreeDepthMap map;
    map.AddGroup(&group, 1);
    TqUPtrVector<TqOcDynamicGroup> const* const list = &map.GetDepthVector(1);
    for (int d = 2; d < 40; ++d) {
        map.GetDepthVector(d);
    }
    EXPECT_EQ(&map.GetDepthVector(1), list);
    EXPECT_EQ(list->ItemAt(0), &group);
}

TEST(TqOcSubtreeDepthMap, ListsLeavesInTheOrderOfAdding)
{
    TqOcSingleLeaf first(new PlayShape);
    TqOcSingleLeaf second(new PlayShape);
    TqOcSubtreeDepthMap map;
    map.AddLeaf(&second);
    map.AddLeaf(&first);
    ASSERT_EQ(map.GetLeaves().Size(), 2);
    EXPECT_EQ(map.GetLeaves()[0], &second);
    EXPECT_EQ(map.GetLeaves()[1], &first);
    EXPECT_EQ(map.GetMaxDepth(), 0);
}

TEST(TqOcSubtreeDepthMap, OwnsNothingThatItListsAndFreesItsLists)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const shapes = PlayShape::GetNumLive();
    {
        std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 4, 0.0));
        std::unique_ptr<TqOcSingleLeaf> const leaf(NewLeafAt(4, 0.0));
        {
            TqOcSubtreeDepthMap map;
            map.AddGroup(group.get(), 5);
            map.AddLeaf(leaf.get());
        }
        EXPECT_EQ(PlayShape::GetNumLive(), shapes + 5);
        EXPECT_EQ(StructureOf(*group), "(0 1 2 3 )");
        EXPECT_FALSE(group->HasParent());
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}
