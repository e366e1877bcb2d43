// TqUInt32Vector.

#include "util/TqUInt32Vector.h"

#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

TEST(TqUInt32Vector, IsEmptyAtFirstWithAnAllZeroRecord)
{
    TqUInt32Vector vector;
    unsigned char const zeros[sizeof vector] = {};
    EXPECT_EQ(3 * sizeof(void*), sizeof vector);
    EXPECT_EQ(0, std::memcmp(zeros, static_cast<void*>(&vector), sizeof vector));
    EXPECT_EQ(0, vector.Size());
    EXPECT_NE(0, vector.Empty());
}

TEST(TqUInt32Vector, KeepsWhatIsAppendedInOrder)
{
    TqUInt32Vector vector;
    for (std::int32_t i = 0; i < 1000; ++i) {
        vector.PushBack(i * 7);
    }
    vector.PushBack(std::numeric_limits<std::int32_t>::min());
    vector.PushBack(std::numeric_limits<std::int32_t>::max());
    ASSERT_EQ(1002, vector.Size());
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(i * 7, vector[i]);
        ASSERT_EQ(i * 7, vector.Begin()[i]);
    }
    TqUInt32Vector const& constant = vector;
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), constant[1000]);
    EXPECT_EQ(std::numeric_limits<std::int32_t>::max(), constant.End()[-1]);
    EXPECT_EQ(0, vector.Empty());
}

TEST(TqUInt32Vector, GivesElementsForWriting)
{
    TqUInt32Vector vector;
    vector.PushBack(1);
    vector.PushBack(2);
    vector[0] = 10;
    vector.Begin()[1] = 20;
    EXPECT_EQ(10, vector[0]);
    EXPECT_EQ(20, vector[1]);
}

TEST(TqUInt32Vector, ReservesOnceAndKeepsItsMemoryWhenCleared)
{
    TqUInt32Vector vector;
    vector.Reserve(100);
    EXPECT_EQ(100, vector.Capacity());
    {
        AllocationCounter const counter;
        for (int round = 0; round < 3; ++round) {
            for (int i = 0; i < 100; ++i) {
                vector.PushBack(i);
            }
            EXPECT_EQ(100, vector.Size());
            vector.Clear();
            EXPECT_NE(0, vector.Empty());
        }
        EXPECT_EQ(0u, counter.GetNum());
    }
    vector.Reserve(5);
    vector.Reserve(-1);
    EXPECT_EQ(100, vector.Capacity());
}

TEST(TqUInt32Vector, ReturnsItsMemory)
{
    std::size_t const before = TqUMemory::GetLiveBytes();
    {
        TqUInt32Vector vector;
        vector.Reserve(100);
        EXPECT_EQ(before + 400, TqUMemory::GetLiveBytes());
    }
    EXPECT_EQ(before, TqUMemory::GetLiveBytes());
}

TEST(TqUInt32Vector, ThrowsAndStaysAsItWasWhenMemoryIsRefused)
{
    TqUInt32Vector vector;
    vector.Reserve(1);
    vector.PushBack(5);
    {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_THROW(vector.PushBack(6), std::bad_alloc);
        EXPECT_THROW(vector.Reserve(2), std::bad_alloc);
    }
    ASSERT_EQ(1, vector.Size());
    EXPECT_EQ(5, vector[0]);
    TqUMemory::ClearRefused();
}
