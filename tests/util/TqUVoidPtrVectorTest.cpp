// TqUVoidPtrVector, and what holds for it holds for the typed vector above it.

#include "util/TqUVoidPtrVector.h"

#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

int s_targets[100];

void* P(int i)
{
    return &s_targets[i];
}

TqUVoidPtrVector VectorOf(std::vector<int> const& numbers)
{
    TqUVoidPtrVector vector;
    for (int number : numbers) {
        vector.PushBack(P(number));
    }
    return vector;
}

std::vector<int> NumbersOf(TqUVoidPtrVector const& vector)
{
    std::vector<int> numbers;
    for (void* const* p = vector.Begin(); p != vector.End(); ++p) {
        numbers.push_back(static_cast<int>(static_cast<int*>(*p) - s_targets));
    }
    return numbers;
}

using Numbers = std::vector<int>;

// Runs `change` once with all memory refused: it must throw and leave the elements as they were.
template <class Change>
void ExpectUnchangedWhenRefused(TqUVoidPtrVector& vector, Change change)
{
    Numbers const before = NumbersOf(vector);
    int const capacity = vector.Capacity();
    {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_THROW(change(), std::bad_alloc);
        EXPECT_EQ(1, refuse.GetNumRefused());
    }
    EXPECT_EQ(before, NumbersOf(vector));
    EXPECT_EQ(capacity, vector.Capacity());
    TqUMemory::ClearRefused();
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TEST(TqUVoidPtrVector, IsEmptyAndWithoutMemoryAtFirst)
{
    AllocationCounter const counter;
    TqUVoidPtrVector const vector;
    EXPECT_EQ(0, vector.Size());
    EXPECT_EQ(0, vector.Capacity());
    EXPECT_NE(0, vector.Empty());
    EXPECT_EQ(vector.Begin(), vector.End());
    EXPECT_EQ(0u, counter.GetNum());
}

TEST(TqUVoidPtrVector, IsAValidEmptyVectorWhenItsRecordIsAllZero)
{
    alignas(TqUVoidPtrVector) unsigned char record[sizeof(TqUVoidPtrVector)];
    std::memset(record, 0, sizeof record);
    TqUVoidPtrVector fresh;
    EXPECT_EQ(0, std::memcmp(record, static_cast<void*>(&fresh), sizeof record));
    auto* const vector = reinterpret_cast<TqUVoidPtrVector*>(record);
    EXPECT_NE(0, vector->Empty());
    vector->PushBack(P(1));
    EXPECT_EQ(P(1), vector->Front());
    vector->~TqUVoidPtrVector();
}

TEST(TqUVoidPtrVector, HoldsFirstEndAndStorageEndInThatOrder)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3});
    void* record[3];
    static_assert(sizeof record == sizeof vector, "three pointers");
    std::memcpy(record, static_cast<void*>(&vector), sizeof record);
    EXPECT_EQ(static_cast<void*>(vector.Begin()), record[0]);
    EXPECT_EQ(static_cast<void*>(vector.End()), record[1]);
    EXPECT_EQ(static_cast<void*>(vector.Begin() + vector.Capacity()), record[2]);
}

TEST(TqUVoidPtrVector, TakesItsMemoryFromTheGeneralAllocatorAndReturnsIt)
{
    std::size_t const before = TqUMemory::GetLiveBytes();
    {
        TqUVoidPtrVector const vector = VectorOf({1, 2, 3});
        EXPECT_EQ(before + static_cast<std::size_t>(vector.Capacity()) * sizeof(void*),
                  TqUMemory::GetLiveBytes());
    }
    EXPECT_EQ(before, TqUMemory::GetLiveBytes());
}

TEST(TqUVoidPtrVector, CopiesElementsIntoMemoryOfItsOwn)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3});
    TqUVoidPtrVector copy(vector);
    vector[0] = P(9);
    EXPECT_EQ((Numbers{1, 2, 3}), NumbersOf(copy));
    EXPECT_EQ(3, copy.Capacity());
    EXPECT_NE(0, TqUVoidPtrVector(TqUVoidPtrVector()).Empty());
}

TEST(TqUVoidPtrVector, IsMadeFromARange)
{
    TqUVoidPtrVector const vector = VectorOf({1, 2, 3, 4});
    TqUVoidPtrVector const middle(vector.Begin() + 1, vector.Begin() + 3);
    EXPECT_EQ((Numbers{2, 3}), NumbersOf(middle));
    EXPECT_NE(0, TqUVoidPtrVector(vector.Begin(), vector.Begin()).Empty());
    void* const* const none = nullptr;
    EXPECT_NE(0, TqUVoidPtrVector(none, none).Empty());
}

TEST(TqUVoidPtrVector, LeavesTheOtherEmptyWhenMoved)
{
    TqUVoidPtrVector vector = VectorOf({1, 2});
    TqUVoidPtrVector moved(std::move(vector));
    EXPECT_EQ((Numbers{1, 2}), NumbersOf(moved));
    TqUVoidPtrVector target = VectorOf({7});
    target = std::move(moved);
    EXPECT_EQ((Numbers{1, 2}), NumbersOf(target));
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<TqUVoidPtrVector>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<TqUVoidPtrVector>);
}

TEST(TqUVoidPtrVector, IsAssignedLongerShorterAndItsOwnElements)
{
    TqUVoidPtrVector vector = VectorOf({1, 2});
    vector = VectorOf({3, 4, 5, 6, 7, 8});
    TqUVoidPtrVector const larger = VectorOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    vector = larger;
    EXPECT_EQ(NumbersOf(larger), NumbersOf(vector));
    int const capacity = vector.Capacity();
    TqUVoidPtrVector const smaller = VectorOf({5});
    vector = smaller;
    EXPECT_EQ((Numbers{5}), NumbersOf(vector));
    EXPECT_EQ(capacity, vector.Capacity());
    TqUVoidPtrVector const& same = vector;
    vector = same;
    EXPECT_EQ((Numbers{5}), NumbersOf(vector));
    vector = TqUVoidPtrVector();
    EXPECT_NE(0, vector.Empty());
}

TEST(TqUVoidPtrVector, SwapsElementsAndMemory)
{
    TqUVoidPtrVector a = VectorOf({1, 2, 3});
    TqUVoidPtrVector b = VectorOf({4});
    void** const beginOfA = a.Begin();
    a.Swap(b);
    EXPECT_EQ((Numbers{4}), NumbersOf(a));
    EXPECT_EQ((Numbers{1, 2, 3}), NumbersOf(b));
    EXPECT_EQ(beginOfA, b.Begin());
    a.Swap(a);
    EXPECT_EQ((Numbers{4}), NumbersOf(a));
}

// ---- Elements -----------------------------------------------------------------------------------

TEST(TqUVoidPtrVector, AppendsInOrderAndCountsElements)
{
    TqUVoidPtrVector vector;
    for (int i = 0; i < 100; ++i) {
        vector.PushBack(P(i));
        ASSERT_EQ(i + 1, vector.Size());
        ASSERT_LE(vector.Size(), vector.Capacity());
        ASSERT_EQ(0, vector.Empty());
        ASSERT_EQ(P(i), vector.Back());
        ASSERT_EQ(P(0), vector.Front());
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(P(i), vector[i]);
    }
}

TEST(TqUVoidPtrVector, GrowsGeometrically)
{
    AllocationCounter const counter;
    TqUVoidPtrVector vector;
    for (int i = 0; i < 100000; ++i) {
        vector.PushBack(P(0));
    }
    EXPECT_LE(counter.GetNumMemory(), 17u);
}

TEST(TqUVoidPtrVector, AppendsAnElementOfItsOwnWhileGrowing)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3, 4});
    ASSERT_EQ(vector.Size(), vector.Capacity());
    vector.PushBack(vector.Front());
    EXPECT_EQ((Numbers{1, 2, 3, 4, 1}), NumbersOf(vector));
}

TEST(TqUVoidPtrVector, GivesElementsForWriting)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3});
    vector.Front() = P(4);
    vector[1] = P(5);
    vector.Back() = P(6);
    EXPECT_EQ((Numbers{4, 5, 6}), NumbersOf(vector));
    TqUVoidPtrVector const& constant = vector;
    EXPECT_EQ(P(4), constant.Front());
    EXPECT_EQ(P(5), constant[1]);
    EXPECT_EQ(P(6), constant.Back());
}

TEST(TqUVoidPtrVector, HoldsNullPointers)
{
    TqUVoidPtrVector vector;
    vector.PushBack(P(1));
    vector.PushBack(nullptr);
    EXPECT_EQ(2, vector.Size());
    EXPECT_EQ(1, vector.Find(nullptr));
}

TEST(TqUVoidPtrVector, RemovesTheLastElementOnPopBack)
{
    TqUVoidPtrVector vector = VectorOf({1, 2});
    vector.PopBack();
    EXPECT_EQ((Numbers{1}), NumbersOf(vector));
    vector.PopBack();
    EXPECT_NE(0, vector.Empty());
}

TEST(TqUVoidPtrVector, InsertsAnElementAnywhereAndReturnsItsPlace)
{
    TqUVoidPtrVector vector;
    void** const only = vector.Insert(vector.Begin(), P(2));
    EXPECT_EQ(vector.Begin(), only);
    vector.Insert(vector.Begin(), P(0));
    vector.Insert(vector.End(), P(3));
    void** const place = vector.Insert(vector.Begin() + 1, P(1));
    EXPECT_EQ(vector.Begin() + 1, place);
    vector.Insert(vector.Begin() + 4, P(4)); // grows from 4 to more
    EXPECT_EQ((Numbers{0, 1, 2, 3, 4}), NumbersOf(vector));
}

TEST(TqUVoidPtrVector, InsertsAnElementOfItsOwn)
{
    for (int capacity : {4, 20}) {
        TqUVoidPtrVector vector;
        vector.Reserve(capacity);
        for (int i = 1; i <= 4; ++i) {
            vector.PushBack(P(i));
        }
        vector.Insert(vector.Begin() + 1, vector.Back());
        EXPECT_EQ((Numbers{1, 4, 2, 3, 4}), NumbersOf(vector)) << capacity;
    }
}

TEST(TqUVoidPtrVector, InsertsARangeAnywhere)
{
    TqUVoidPtrVector const source = VectorOf({7, 8, 9});
    TqUVoidPtrVector vector;
    vector.Insert(vector.End(), source.Begin(), source.End());
    EXPECT_EQ((Numbers{7, 8, 9}), NumbersOf(vector));
    vector.Insert(vector.Begin(), source.Begin(), source.Begin() + 1);
    vector.Insert(vector.Begin() + 2, source.Begin() + 2, source.End());
    EXPECT_EQ((Numbers{7, 7, 9, 8, 9}), NumbersOf(vector));
    vector.Insert(vector.Begin() + 2, source.Begin(), source.Begin());
    EXPECT_EQ(5, vector.Size());
}

TEST(TqUVoidPtrVector, InsertsEveryRangeOfItsOwnAtEveryPlace)
{
    Numbers const numbers{0, 1, 2, 3, 4, 5};
    for (int capacity : {6, 30}) {
        for (int at = 0; at <= 6; ++at) {
            for (int first = 0; first <= 6; ++first) {
                for (int last = first; last <= 6; ++last) {
                    TqUVoidPtrVector vector;
                    vector.Reserve(capacity);
                    for (int number : numbers) {
                        vector.PushBack(P(number));
                    }
                    Numbers expected = numbers;
                    expected.insert(expected.begin() + at, numbers.begin() + first,
                                    numbers.begin() + last);
                    vector.Insert(vector.Begin() + at, vector.Begin() + first,
                                  vector.Begin() + last);
                    ASSERT_EQ(expected, NumbersOf(vector))
                        << "[" << first << ", " << last << ") at " << at;
                }
            }
        }
    }
}

TEST(TqUVoidPtrVector, ErasesAnElementKeepingTheOrderOfTheRest)
{
    TqUVoidPtrVector vector = VectorOf({0, 1, 2, 3});
    vector.Erase(vector.Begin() + 1);
    EXPECT_EQ((Numbers{0, 2, 3}), NumbersOf(vector));
    vector.Erase(vector.End() - 1);
    vector.Erase(vector.Begin());
    EXPECT_EQ((Numbers{2}), NumbersOf(vector));
}

TEST(TqUVoidPtrVector, ErasesARangeKeepingTheOrderOfTheRest)
{
    TqUVoidPtrVector vector = VectorOf({0, 1, 2, 3, 4, 5});
    vector.Erase(vector.Begin() + 1, vector.Begin() + 4);
    EXPECT_EQ((Numbers{0, 4, 5}), NumbersOf(vector));
    vector.Erase(vector.Begin() + 1, vector.Begin() + 1);
    EXPECT_EQ((Numbers{0, 4, 5}), NumbersOf(vector));
    vector.Erase(vector.Begin(), vector.End());
    EXPECT_NE(0, vector.Empty());
}

TEST(TqUVoidPtrVector, FindsTheFirstEqualElementOrMinusOne)
{
    TqUVoidPtrVector const vector = VectorOf({3, 5, 7, 5});
    EXPECT_EQ(0, vector.Find(P(3)));
    EXPECT_EQ(1, vector.Find(P(5)));
    EXPECT_EQ(2, vector.Find(P(7)));
    EXPECT_EQ(-1, vector.Find(P(4)));
    EXPECT_EQ(-1, vector.Find(nullptr));
    EXPECT_EQ(-1, TqUVoidPtrVector().Find(nullptr));
}

// ---- Storage ------------------------------------------------------------------------------------

TEST(TqUVoidPtrVector, ReservesExactlyAndNeverShrinks)
{
    TqUVoidPtrVector vector;
    vector.Reserve(10);
    EXPECT_EQ(10, vector.Capacity());
    EXPECT_EQ(0, vector.Size());
    void** const begin = vector.Begin();
    for (int i = 0; i < 10; ++i) {
        vector.PushBack(P(i));
    }
    EXPECT_EQ(begin, vector.Begin());
    vector.Reserve(3);
    vector.Reserve(0);
    vector.Reserve(-5);
    EXPECT_EQ(10, vector.Capacity());
    vector.Reserve(11);
    EXPECT_EQ(11, vector.Capacity());
    EXPECT_EQ((Numbers{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), NumbersOf(vector));
}

TEST(TqUVoidPtrVector, KeepsItsMemoryWhenCleared)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3});
    int const capacity = vector.Capacity();
    vector.Clear();
    EXPECT_NE(0, vector.Empty());
    EXPECT_EQ(capacity, vector.Capacity());
}

TEST(TqUVoidPtrVector, ThrowsAndStaysAsItWasWhenMemoryIsRefused)
{
    TqUVoidPtrVector vector = VectorOf({1, 2, 3, 4});
    ASSERT_EQ(vector.Size(), vector.Capacity());
    TqUVoidPtrVector const other = VectorOf({5, 6, 7, 8, 9});
    ExpectUnchangedWhenRefused(vector, [&] { vector.PushBack(P(5)); });
    ExpectUnchangedWhenRefused(vector, [&] { vector.Insert(vector.Begin() + 1, P(5)); });
    ExpectUnchangedWhenRefused(vector,
                               [&] { vector.Insert(vector.Begin(), other.Begin(), other.End()); });
    ExpectUnchangedWhenRefused(
        vector, [&] { vector.Insert(vector.Begin(), vector.Begin(), vector.End()); });
    ExpectUnchangedWhenRefused(vector, [&] { vector.Reserve(5); });
    ExpectUnchangedWhenRefused(vector, [&] { vector = other; });
    ExpectUnchangedWhenRefused(vector, [&] { TqUVoidPtrVector const copy(vector); });
}

TEST(TqUVoidPtrVector, BehavesLikeAPlainListOverManyRandomEdits)
{
    unsigned int const seed = 20240611;
    std::mt19937 random(seed);
    auto const below = [&random](int n) {
        return static_cast<int>(random() % static_cast<unsigned int>(n));
    };
    TqUVoidPtrVector vector;
    Numbers expected;
    for (int step = 0; step < 20000; ++step) {
        int const size = static_cast<int>(expected.size());
        int const at = below(size + 1);
        int const number = below(100);
        switch (below(size > 60 ? 6 : 3)) {
        case 0:
            vector.PushBack(P(number));
            expected.push_back(number);
            break;
        case 1:
            vector.Insert(vector.Begin() + at, P(number));
            expected.insert(expected.begin() + at, number);
            break;
        case 2: {
            int const first = below(size + 1);
            int const last = first + below(size - first + 1) / 4;
            Numbers const range(expected.begin() + first, expected.begin() + last);
            vector.Insert(vector.Begin() + at, vector.Begin() + first, vector.Begin() + last);
            expected.insert(expected.begin() + at, range.begin(), range.end());
            break;
        }
        case 3:
            vector.PopBack();
            expected.pop_back();
            break;
        case 4:
            vector.Erase(vector.Begin() + at / 2);
            expected.erase(expected.begin() + at / 2);
            break;
        default:
            vector.Erase(vector.Begin() + at / 2, vector.Begin() + at);
            expected.erase(expected.begin() + at / 2, expected.begin() + at);
            break;
        }
        ASSERT_EQ(expected, NumbersOf(vector)) << "seed " << seed << ", step " << step;
    }
}
