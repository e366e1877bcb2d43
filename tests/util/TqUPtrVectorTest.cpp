// TqUPtrVector<T>: every operation is the untyped vector's, with T* in place of void*.

#include "util/TqUPtrVector.h"

#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

struct Item
{
    int m_number;
};

Item s_items[] = {{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}};

using Items = TqUPtrVector<Item>;
using Numbers = std::vector<int>;

Items ItemsOf(Numbers const& numbers)
{
    Items items;
    for (int number : numbers) {
        items.PushBack(&s_items[number]);
    }
    return items;
}

Numbers NumbersOf(Items const& items)
{
    Numbers numbers;
    for (Item* const* p = items.Begin(); p != items.End(); ++p) {
        numbers.push_back((*p)->m_number);
    }
    return numbers;
}

} // namespace

TEST(TqUPtrVector, HasTheRecordOfTheUntypedVector)
{
    static_assert(sizeof(Items) == sizeof(TqUVoidPtrVector));
    static_assert(alignof(Items) == alignof(TqUVoidPtrVector));
    static_assert(std::is_standard_layout_v<Items>);
    Items items = ItemsOf({1, 2});
    EXPECT_EQ(static_cast<void*>(&items), static_cast<void*>(&items.AsVoidPtrVector()));
}

TEST(TqUPtrVector, IsHandedOutAsItsUntypedVectorWithoutCopying)
{
    Items items = ItemsOf({1, 2});
    TqUVoidPtrVector& untyped = items.AsVoidPtrVector();
    untyped.PushBack(&s_items[5]);
    EXPECT_EQ((Numbers{1, 2, 5}), NumbersOf(items));
    Items const& constant = items;
    EXPECT_EQ(3, constant.AsVoidPtrVector().Size());
    EXPECT_EQ(&untyped, &constant.AsVoidPtrVector());
}

TEST(TqUPtrVector, IsAValidEmptyVectorInZeroedMemory)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    void* const memory = TqUMemory::Alloc(sizeof(Items), TqUMemory::eALIGN_DEFAULT);
    std::memset(memory, 0, sizeof(Items));
    auto* const items = static_cast<Items*>(memory);
    items->PushBack(&s_items[3]);
    EXPECT_EQ((Numbers{3}), NumbersOf(*items));
    items->~Items();
    TqUMemory::Dealloc(memory, sizeof(Items), TqUMemory::eALIGN_DEFAULT);
    EXPECT_EQ(before, TqUMemory::GetLiveBlocks());
}

TEST(TqUPtrVector, IsMadeEmptyFromARangeAndByCopy)
{
    Items const empty;
    EXPECT_EQ(0, empty.Size());
    EXPECT_EQ(0, empty.Capacity());
    EXPECT_NE(0, empty.Empty());
    Item* const array[] = {&s_items[4], &s_items[5]};
    Items const range(array, array + 2);
    EXPECT_EQ((Numbers{4, 5}), NumbersOf(range));
    Items copy(range);
    copy.PushBack(&s_items[6]);
    EXPECT_EQ((Numbers{4, 5}), NumbersOf(range));
    EXPECT_EQ((Numbers{4, 5, 6}), NumbersOf(copy));
}

TEST(TqUPtrVector, IsAssignedMovedAndSwapped)
{
    Items a = ItemsOf({1, 2});
    Items b = ItemsOf({3});
    b = a;
    EXPECT_EQ((Numbers{1, 2}), NumbersOf(b));
    Items c = ItemsOf({7});
    a.Swap(c);
    EXPECT_EQ((Numbers{7}), NumbersOf(a));
    EXPECT_EQ((Numbers{1, 2}), NumbersOf(c));
    Items const moved(std::move(c));
    EXPECT_EQ((Numbers{1, 2}), NumbersOf(moved));
}

TEST(TqUPtrVector, ReachesElementsByIndexFrontAndBack)
{
    Items items = ItemsOf({1, 2, 3});
    items.ItemAt(0) = &s_items[4];
    items[1] = &s_items[5];
    items.Back() = &s_items[6];
    EXPECT_EQ((Numbers{4, 5, 6}), NumbersOf(items));
    items.Front() = &s_items[7];
    Items const& constant = items;
    EXPECT_EQ(&s_items[7], constant.ItemAt(0));
    EXPECT_EQ(&s_items[5], constant[1]);
    EXPECT_EQ(&s_items[7], constant.Front());
    EXPECT_EQ(&s_items[6], constant.Back());
    EXPECT_EQ(items.Begin() + 3, items.End());
    EXPECT_EQ(constant.Begin() + 3, constant.End());
}

TEST(TqUPtrVector, CountsSizeCapacityAndEmptyAsIntegers)
{
    static_assert(std::is_same_v<int, decltype(std::declval<Items const&>().Size())>);
    static_assert(std::is_same_v<int, decltype(std::declval<Items const&>().Capacity())>);
    static_assert(std::is_same_v<int, decltype(std::declval<Items const&>().Empty())>);
    Items items;
    items.Reserve(6);
    EXPECT_EQ(6, items.Capacity());
    items.PushBack(&s_items[0]);
    EXPECT_EQ(1, items.Size());
    EXPECT_EQ(0, items.Empty());
    items.PopBack();
    EXPECT_NE(0, items.Empty());
}

TEST(TqUPtrVector, InsertsAndErases)
{
    Items items = ItemsOf({1, 3});
    Item** const place = items.Insert(items.Begin() + 1, &s_items[2]);
    EXPECT_EQ(items.Begin() + 1, place);
    items.Insert(items.End(), items.Begin(), items.Begin() + 2);
    EXPECT_EQ((Numbers{1, 2, 3, 1, 2}), NumbersOf(items));
    items.Erase(items.Begin());
    EXPECT_EQ((Numbers{2, 3, 1, 2}), NumbersOf(items));
    items.Erase(items.Begin() + 1, items.Begin() + 3);
    EXPECT_EQ((Numbers{2, 2}), NumbersOf(items));
    items.Clear();
    EXPECT_NE(0, items.Empty());
    EXPECT_LT(0, items.Capacity());
}

TEST(TqUPtrVector, FindsTheFirstEqualElementOrMinusOne)
{
    Items const items = ItemsOf({3, 4, 4});
    Item const* const wanted = &s_items[4];
    EXPECT_EQ(1, items.Find(wanted));
    EXPECT_EQ(-1, items.Find(&s_items[0]));
    EXPECT_EQ(-1, items.Find(nullptr));
}

TEST(TqUPtrVector, StaysAsItWasWhenMemoryIsRefused)
{
    Items items = ItemsOf({1, 2, 3, 4});
    {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_THROW(items.PushBack(&s_items[5]), std::bad_alloc);
        EXPECT_THROW(items.Reserve(100), std::bad_alloc);
        EXPECT_THROW(delete new Items, std::bad_alloc);
    }
    EXPECT_EQ((Numbers{1, 2, 3, 4}), NumbersOf(items));
    TqUMemory::ClearRefused();
}

TEST(TqUPtrVector, IsAllocatedInTheFiveForms)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    Items* const plain = new Items;
    EXPECT_EQ(before + 1, TqUMemory::GetLiveBlocks());
    delete plain;
    EXPECT_EQ(before, TqUMemory::GetLiveBlocks());

    TqUFastArena fast(sizeof(Items));
    TqUArena arena(sizeof(Items), 8);
    TqURawArena raw(sizeof(Items));
    alignas(Items) unsigned char memory[sizeof(Items)];
    Items* const inFast = new (&fast) Items;
    Items* const inArena = new (&arena) Items;
    Items* const inRaw = new (&raw) Items;
    Items* const placed = new (static_cast<void*>(memory)) Items;
    EXPECT_TRUE(fast.Owns(inFast));
    EXPECT_TRUE(arena.Owns(inArena));
    EXPECT_TRUE(raw.Owns(inRaw));
    EXPECT_EQ(static_cast<void*>(memory), static_cast<void*>(placed));
    for (Items* items : {inFast, inArena, inRaw, placed}) {
        items->PushBack(&s_items[1]);
        items->~Items();
    }
}
