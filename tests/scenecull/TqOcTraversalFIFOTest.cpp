// The bounded queue that hands traversal work between threads: order, priorities, messages, and
// who waits for what. Most tests stay on one thread; the others block a second one.

#include "scenecull/TqOcTraversalFIFO.h"

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/FIFOTesting.h"
#include "support/PostedErrors.h"
#include "support/ThreadTesting.h"

#include "scenecull/TqOcTraversal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <ostream>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

/// What one call of Remove gave: a message, or 0 and an item.
struct Taken
{
    int message;
    void* item;

    friend bool operator==(Taken const& a, Taken const& b)
    {
        return a.message == b.message && a.item == b.item;
    }

    friend std::ostream& operator<<(std::ostream& out, Taken const& taken)
    {
        return out << "message " << taken.message << ", item " << GetNumber(taken.item);
    }
};

/// Stands in the item's place before each Remove: what a message leaves there.
void* const s_untouched = MakeItem(0xABCDEF);

Taken AnItem(std::uintptr_t number)
{
    return {0, MakeItem(number)};
}

Taken AMessage(int message)
{
    return {message, s_untouched};
}

Taken Take(TqOcTraversalQueue& queue)
{
    void* item = s_untouched;
    int const message = queue.Remove(&item);
    return {message, item};
}

void EnterNumbers(TqOcTraversalQueue& queue, std::uintptr_t first, std::uintptr_t last)
{
    for (std::uintptr_t number = first; number <= last; ++number) {
        queue.Enter(MakeItem(number));
    }
}

void ExpectNumbers(TqOcTraversalQueue& queue, std::uintptr_t first, std::uintptr_t last)
{
    for (std::uintptr_t number = first; number <= last; ++number) {
        EXPECT_EQ(Take(queue), AnItem(number));
    }
}

/// What goes through the queue as a rule; counts its ends.
class CountedTraversal : public TqOcTraversal
{
public:
    explicit CountedTraversal(int* numDestroyed)
        : TqOcTraversal(nullptr)
        , m_numDestroyed(numDestroyed)
    {}

    ~CountedTraversal() override { ++*m_numDestroyed; }

    void StartTraversal(TqOcTraversable*) override {}

    void EndTraversal() override {}

private:
    int* m_numDestroyed;
};

/// Repetitions of what depends on which of two threads comes first.
constexpr int eRACES = 2000;

/// Whether anybody may call IsEmpty and IsFull.
template <class Queue, class = void>
constexpr bool areOpen = false;
template <class Queue>
constexpr bool areOpen<Queue, std::void_t<decltype(std::declval<Queue&>().IsEmpty()),
                                          decltype(std::declval<Queue&>().IsFull())>> = true;

static_assert(!areOpen<TqOcTraversalFIFO>, "only derived classes hold the lock when they ask");
static_assert(areOpen<OpenFIFO>);

static_assert(std::is_abstract_v<TqOcTraversalQueue>);
static_assert(std::has_virtual_destructor_v<TqOcTraversalQueue>);
static_assert(sizeof(TqOcTraversalQueue) == sizeof(void*), "an interface without fields");
static_assert(std::is_base_of_v<TqOcTraversalQueue, TqOcTraversalFIFO>);
static_assert(!std::is_convertible_v<int, TqOcTraversalFIFO>);

} // namespace

// ---- Items --------------------------------------------------------------------------------------

TEST(TqOcTraversalFIFO, ReturnsItemsInTheOrderOfEntering)
{
    Watchdog const watchdog;
    OpenFIFO fifo(5);
    EnterNumbers(fifo, 1, 5);
    ExpectNumbers(fifo, 1, 5);
}

TEST(TqOcTraversalFIFO, KeepsTheOrderAroundTheEndOfItsStorage)
{
    Watchdog const watchdog;
    for (int capacity = 1; capacity <= 5; ++capacity) {
        for (int held = 1; held <= capacity; ++held) {
            SCOPED_TRACE(testing::Message() << held << " items in " << capacity << " places");
            OpenFIFO fifo(capacity);
            auto const depth = static_cast<std::uintptr_t>(held);
            EnterNumbers(fifo, 1, depth);
            for (std::uintptr_t i = 1; i <= 20; ++i) {
                ExpectNumbers(fifo, i, i);
                EnterNumbers(fifo, i + depth, i + depth);
            }
            ExpectNumbers(fifo, 21, 20 + depth);
            EXPECT_TRUE(fifo.IsEmpty());
        }
    }
}

TEST(TqOcTraversalFIFO, FillsAndEmptiesAgainFromEveryPlaceOfItsStorage)
{
    Watchdog const watchdog;
    OpenFIFO fifo(3);
    for (std::uintptr_t offset = 0; offset < 7; ++offset) {
        EnterNumbers(fifo, 1, 3);
        EXPECT_TRUE(fifo.IsFull());
        ExpectNumbers(fifo, 1, 3);
        EXPECT_TRUE(fifo.IsEmpty());
        EnterNumbers(fifo, 9, 9); // one place on
        ExpectNumbers(fifo, 9, 9);
    }
}

TEST(TqOcTraversalFIFO, CarriesNullAndEqualItemsLikeOthers)
{
    Watchdog const watchdog;
    OpenFIFO fifo(4);
    fifo.Enter(nullptr);
    fifo.Enter(MakeItem(7));
    fifo.Enter(MakeItem(7));
    fifo.Enter(nullptr);
    EXPECT_EQ(Take(fifo), AnItem(0));
    EXPECT_EQ(Take(fifo), AnItem(7));
    EXPECT_EQ(Take(fifo), AnItem(7));
    EXPECT_EQ(Take(fifo), AnItem(0));
    EXPECT_TRUE(fifo.IsEmpty());
}

TEST(TqOcTraversalFIFO, IsEmptyWithoutItemsAndFullWithAsManyAsItsCapacity)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
    fifo.Enter(MakeItem(1));
    EXPECT_FALSE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
    fifo.Enter(MakeItem(2));
    EXPECT_FALSE(fifo.IsEmpty());
    EXPECT_TRUE(fifo.IsFull());
    Take(fifo);
    EXPECT_FALSE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
    Take(fifo);
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
}

TEST(TqOcTraversalFIFO, DoesNotCountMessagesAsItems)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterHigh(1);
    fifo.EnterLow(2);
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
    fifo.Enter(MakeItem(3)); // has room
    EXPECT_TRUE(fifo.IsFull());
    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(fifo.IsFull());
}

// ---- Capacity -----------------------------------------------------------------------------------

TEST(TqOcTraversalFIFO, PostsACapacityBelowOneAndHoldsOneItem)
{
    Watchdog const watchdog;
    for (int capacity : {0, -1, -1000, INT_MIN}) {
        SCOPED_TRACE(capacity);
        PostedErrors posted;
        OpenFIFO fifo(capacity);
        ASSERT_EQ(posted.Size(), 1);
        EXPECT_EQ(posted.Get()[0].severity, 1);
        EXPECT_EQ(posted.Get()[0].component, "TqOcTraversalFIFO");
        EXPECT_TRUE(fifo.IsEmpty());
        EXPECT_FALSE(fifo.IsFull());
        for (std::uintptr_t i = 1; i <= 3; ++i) {
            fifo.Enter(MakeItem(i));
            EXPECT_TRUE(fifo.IsFull());
            EXPECT_EQ(Take(fifo), AnItem(i));
            EXPECT_TRUE(fifo.IsEmpty());
        }
        EXPECT_EQ(posted.Size(), 1);
    }
}

TEST(TqOcTraversalFIFO, BlocksASecondItemAlsoWhenItsCapacityWasPosted)
{
    Watchdog const watchdog;
    PostedErrors const posted;
    OpenFIFO fifo(0);
    fifo.Enter(MakeItem(1));
    Background const enter([&] { fifo.Enter(MakeItem(2)); });
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(enter.Finishes());
    EXPECT_EQ(Take(fifo), AnItem(2));
}

TEST(TqOcTraversalFIFO, ThrowsWhenMemoryForItsItemsIsRefused)
{
    PostedErrors const posted;
    RefuseAllocations const refuse(1, RefuseAllocations::eONLY_THIS,
                                   RefuseAllocations::eGLOBAL_NEW);
    EXPECT_THROW(TqOcTraversalFIFO(1000), std::bad_alloc);
    EXPECT_EQ(refuse.GetNumRefused(), 1);
    EXPECT_TRUE(posted.Empty());
}

TEST(TqOcTraversalFIFO, PostsNothingAboutACapacityOfOneOrMore)
{
    PostedErrors const posted;
    OpenFIFO const one(1);
    OpenFIFO const more(1000);
    EXPECT_TRUE(posted.Empty());
}

// ---- Priorities and messages --------------------------------------------------------------------

TEST(TqOcTraversalFIFO, ReturnsTheHighMessageThenItemsThenTheLowMessage)
{
    Watchdog const watchdog;
    OpenFIFO fifo(3);
    fifo.EnterLow(5);
    EnterNumbers(fifo, 1, 3);
    fifo.EnterHigh(6);
    EXPECT_EQ(Take(fifo), AMessage(6));
    ExpectNumbers(fifo, 1, 3);
    EXPECT_EQ(Take(fifo), AMessage(5));
}

TEST(TqOcTraversalFIFO, ReturnsTheHighMessageBeforeTheLowOneWithoutItems)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterLow(5);
    fifo.EnterHigh(6);
    EXPECT_EQ(Take(fifo), AMessage(6));
    EXPECT_EQ(Take(fifo), AMessage(5));
}

TEST(TqOcTraversalFIFO, LetsAHighMessageOvertakeWhatIsLeftOfTheItems)
{
    Watchdog const watchdog;
    OpenFIFO fifo(4);
    EnterNumbers(fifo, 1, 4);
    ExpectNumbers(fifo, 1, 2);
    fifo.EnterHigh(6);
    EXPECT_EQ(Take(fifo), AMessage(6));
    ExpectNumbers(fifo, 3, 3);
    fifo.EnterHigh(7);
    EXPECT_EQ(Take(fifo), AMessage(7));
    ExpectNumbers(fifo, 4, 4);
}

TEST(TqOcTraversalFIFO, LetsItemsEnteredLaterOvertakeALowMessage)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    EnterNumbers(fifo, 1, 1);
    fifo.EnterLow(5);
    ExpectNumbers(fifo, 1, 1);
    EnterNumbers(fifo, 2, 3);
    ExpectNumbers(fifo, 2, 3);
    EXPECT_EQ(Take(fifo), AMessage(5));
}

TEST(TqOcTraversalFIFO, ReturnsAMessageOnce)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    fifo.EnterHigh(6);
    EnterNumbers(fifo, 1, 1);
    fifo.EnterLow(5);
    EXPECT_EQ(Take(fifo), AMessage(6));
    ExpectNumbers(fifo, 1, 1);
    EXPECT_EQ(Take(fifo), AMessage(5));
    EnterNumbers(fifo, 2, 2);
    fifo.EnterLow(8);
    ExpectNumbers(fifo, 2, 2);
    EXPECT_EQ(Take(fifo), AMessage(8));
}

TEST(TqOcTraversalFIFO, ReturnsEveryMessageButZeroAsItIs)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    for (int message : {1, -1, 2, 1000000, -1000000, INT_MAX, INT_MIN}) {
        fifo.EnterHigh(message);
        fifo.EnterLow(message);
        EXPECT_EQ(Take(fifo), AMessage(message));
        EXPECT_EQ(Take(fifo), AMessage(message));
    }
}

TEST(TqOcTraversalFIFO, KeepsAHighAndALowMessageApart)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterHigh(1);
    fifo.EnterLow(2); // does not wait for the high one
    EXPECT_EQ(Take(fifo), AMessage(1));
    fifo.EnterHigh(3); // does not wait for the low one
    EXPECT_EQ(Take(fifo), AMessage(3));
    EXPECT_EQ(Take(fifo), AMessage(2));
}

TEST(TqOcTraversalFIFO, TakesMessagesWhileItIsFull)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    EnterNumbers(fifo, 1, 1);
    fifo.EnterHigh(6);
    fifo.EnterLow(5);
    EXPECT_EQ(Take(fifo), AMessage(6));
    ExpectNumbers(fifo, 1, 1);
    EXPECT_EQ(Take(fifo), AMessage(5));
}

TEST(TqOcTraversalFIFO, DoesNotReportAMessageOfZero)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterHigh(0);
    fifo.EnterLow(0);
    EnterNumbers(fifo, 1, 1);
    ExpectNumbers(fifo, 1, 1);
    // Nor does it take a message's place.
    fifo.EnterHigh(0);
    fifo.EnterHigh(6);
    fifo.EnterLow(0);
    fifo.EnterLow(5);
    EXPECT_EQ(Take(fifo), AMessage(6));
    EXPECT_EQ(Take(fifo), AMessage(5));
}

// ---- Clear --------------------------------------------------------------------------------------

TEST(TqOcTraversalFIFO, DropsAllItemsWhenCleared)
{
    Watchdog const watchdog;
    OpenFIFO fifo(3);
    EnterNumbers(fifo, 1, 3);
    fifo.Clear();
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_FALSE(fifo.IsFull());
    EnterNumbers(fifo, 7, 9);
    EXPECT_TRUE(fifo.IsFull());
    ExpectNumbers(fifo, 7, 9);
}

TEST(TqOcTraversalFIFO, StartsInOrderAgainAfterClearingAnyFilling)
{
    Watchdog const watchdog;
    for (std::uintptr_t entered = 0; entered <= 4; ++entered) {
        for (std::uintptr_t taken = 0; taken <= entered; ++taken) {
            SCOPED_TRACE(testing::Message() << entered << " entered, " << taken << " taken");
            OpenFIFO fifo(4);
            EnterNumbers(fifo, 1, entered);
            ExpectNumbers(fifo, 1, taken);
            fifo.Clear();
            EXPECT_TRUE(fifo.IsEmpty());
            EnterNumbers(fifo, 11, 14);
            EXPECT_TRUE(fifo.IsFull());
            ExpectNumbers(fifo, 11, 12);
            EnterNumbers(fifo, 15, 16); // around the end
            ExpectNumbers(fifo, 13, 16);
            EXPECT_TRUE(fifo.IsEmpty());
        }
    }
}

TEST(TqOcTraversalFIFO, KeepsPendingMessagesWhenCleared)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    fifo.EnterLow(5);
    fifo.EnterHigh(6);
    EnterNumbers(fifo, 1, 2);
    fifo.Clear();
    EXPECT_EQ(Take(fifo), AMessage(6));
    EXPECT_EQ(Take(fifo), AMessage(5));
}

TEST(TqOcTraversalFIFO, LeavesWhatItsItemsPointAtAloneWhenClearedOrDeleted)
{
    Watchdog const watchdog;
    int numDestroyed = 0;
    CountedTraversal first(&numDestroyed); // on the stack, so that to release one is noticed
    CountedTraversal second(&numDestroyed);
    {
        OpenFIFO fifo(2);
        fifo.Enter(static_cast<TqOcTraversal*>(&first));
        fifo.Clear();
        EXPECT_EQ(numDestroyed, 0);
        fifo.Enter(static_cast<TqOcTraversal*>(&second));
        fifo.EnterHigh(6);
    }
    EXPECT_EQ(numDestroyed, 0);
}

TEST(TqOcTraversalFIFO, WorksAndIsDeletedThroughItsInterface)
{
    Watchdog const watchdog;
    std::unique_ptr<TqOcTraversalQueue> const queue = std::make_unique<TqOcTraversalFIFO>(2);
    EnterNumbers(*queue, 1, 2);
    queue->Clear();
    EnterNumbers(*queue, 3, 3);
    queue->EnterLow(5);
    queue->EnterHigh(6);
    EXPECT_EQ(Take(*queue), AMessage(6));
    EXPECT_EQ(Take(*queue), AnItem(3));
    EXPECT_EQ(Take(*queue), AMessage(5));
    Consumer const consumer(queue.get());
    queue->Flush();
}

// ---- Producers that wait ------------------------------------------------------------------------

TEST(TqOcTraversalFIFO, BlocksASecondItemOfCapacityOneUntilTheFirstIsTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.Enter(MakeItem(1));
    Background const enter([&] { fifo.Enter(MakeItem(2)); });
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(enter.Finishes());
    EXPECT_EQ(Take(fifo), AnItem(2));
}

TEST(TqOcTraversalFIFO, BlocksItemsBeyondItsCapacity)
{
    Watchdog const watchdog;
    OpenFIFO fifo(3);
    EnterNumbers(fifo, 1, 3);
    Background const enter([&] { EnterNumbers(fifo, 4, 5); });
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(enter.StaysBlocked()); // the fifth
    EXPECT_EQ(Take(fifo), AnItem(2));
    EXPECT_TRUE(enter.Finishes());
    ExpectNumbers(fifo, 3, 5);
}

TEST(TqOcTraversalFIFO, BlocksASecondHighMessageUntilTheFirstIsTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterHigh(1);
    Background const enter([&] { fifo.EnterHigh(2); });
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(enter.Finishes());
    EXPECT_EQ(Take(fifo), AMessage(2));
}

TEST(TqOcTraversalFIFO, BlocksASecondLowMessageUntilTheFirstIsTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    fifo.EnterLow(1);
    EnterNumbers(fifo, 1, 2);
    Background const enter([&] { fifo.EnterLow(2); });
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(enter.StaysBlocked()); // woken, but the first is still there
    EXPECT_EQ(Take(fifo), AnItem(2));
    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(enter.Finishes());
    EXPECT_EQ(Take(fifo), AMessage(2));
}

TEST(TqOcTraversalFIFO, BlocksAMessageOfZeroWhileAnotherIsPending)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterHigh(1);
    fifo.EnterLow(2);
    Background const high([&] { fifo.EnterHigh(0); });
    Background const low([&] { fifo.EnterLow(0); });
    EXPECT_TRUE(high.StaysBlocked());
    EXPECT_TRUE(low.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(high.Finishes());
    EXPECT_TRUE(low.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(2));
    EXPECT_TRUE(low.Finishes());
}

TEST(TqOcTraversalFIFO, KeepsAnItemBlockedWhenOnlyMessagesAreTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.Enter(MakeItem(1));
    Background const enter([&] { fifo.Enter(MakeItem(2)); });
    for (int message = 1; message <= 3; ++message) {
        fifo.EnterHigh(message);
        EXPECT_TRUE(enter.StaysBlocked());
        EXPECT_EQ(Take(fifo), AMessage(message)); // wakes all producers
    }
    EXPECT_TRUE(enter.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(enter.Finishes());
    EXPECT_EQ(Take(fifo), AnItem(2));
}

TEST(TqOcTraversalFIFO, KeepsAMessageBlockedWhenClearedOrWhenTheOtherMessageIsTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.EnterLow(1);
    fifo.EnterHigh(2);
    Background const low([&] { fifo.EnterLow(3); });
    EXPECT_TRUE(low.StaysBlocked());
    fifo.Clear(); // wakes all producers
    EXPECT_TRUE(low.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(2));
    EXPECT_TRUE(low.StaysBlocked());
    fifo.EnterHigh(4);
    Background const high([&] { fifo.EnterHigh(5); });
    EXPECT_TRUE(high.StaysBlocked());
    fifo.Clear();
    EXPECT_TRUE(high.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(4));
    EXPECT_TRUE(high.Finishes());
    EXPECT_EQ(Take(fifo), AMessage(5));
    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(low.Finishes());
    EXPECT_EQ(Take(fifo), AMessage(3));
}

// Producers that wait for room and producers that wait for a message's place sleep together; the
// one that can go on must be woken, whichever fell asleep first.
TEST(TqOcTraversalFIFO, WakesTheRightProducerAmongDifferentOnes)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    fifo.Enter(MakeItem(1));
    fifo.EnterHigh(1);
    fifo.EnterLow(2);
    Background const low([&] { fifo.EnterLow(4); });
    EXPECT_TRUE(low.StaysBlocked());
    Background const item([&] { fifo.Enter(MakeItem(2)); });
    EXPECT_TRUE(item.StaysBlocked());
    Background const high([&] { fifo.EnterHigh(3); });
    EXPECT_TRUE(high.StaysBlocked());

    EXPECT_EQ(Take(fifo), AMessage(1));
    EXPECT_TRUE(high.Finishes()); // slept last
    EXPECT_TRUE(item.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(3));
    EXPECT_EQ(Take(fifo), AnItem(1));
    EXPECT_TRUE(item.Finishes());
    EXPECT_TRUE(low.StaysBlocked());
    EXPECT_EQ(Take(fifo), AnItem(2));
    EXPECT_EQ(Take(fifo), AMessage(2));
    EXPECT_TRUE(low.Finishes());
    EXPECT_EQ(Take(fifo), AMessage(4));
}

TEST(TqOcTraversalFIFO, LetsABlockedProducerGoOnWhenCleared)
{
    Watchdog const watchdog;
    for (int capacity : {1, 3}) {
        SCOPED_TRACE(capacity);
        OpenFIFO fifo(capacity);
        EnterNumbers(fifo, 1, static_cast<std::uintptr_t>(capacity));
        Background const enter([&] { fifo.Enter(MakeItem(9)); });
        EXPECT_TRUE(enter.StaysBlocked());
        fifo.Clear();
        EXPECT_TRUE(enter.Finishes());
        EXPECT_EQ(Take(fifo), AnItem(9));
    }
}

TEST(TqOcTraversalFIFO, LetsAsManyBlockedProducersGoOnAsClearingMakesRoomFor)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    EnterNumbers(fifo, 1, 2);
    std::atomic<int> numEntered{0};
    std::vector<std::unique_ptr<Background>> producers;
    for (std::uintptr_t i = 0; i < 4; ++i) {
        producers.push_back(std::make_unique<Background>([&fifo, &numEntered, i] {
            fifo.Enter(MakeItem(10 + i));
            ++numEntered;
        }));
    }
    for (auto const& producer : producers) {
        EXPECT_TRUE(producer->StaysBlocked());
    }
    fifo.Clear();
    EXPECT_TRUE(Eventually([&] { return numEntered == 2; }));
    LetOthersRun();
    EXPECT_EQ(numEntered, 2);
    fifo.Clear();
    EXPECT_TRUE(Eventually([&] { return numEntered == 4; }));
    std::uintptr_t const one = GetNumber(Take(fifo).item);
    std::uintptr_t const two = GetNumber(Take(fifo).item);
    EXPECT_NE(one, two);
    for (std::uintptr_t number : {one, two}) {
        EXPECT_TRUE(number >= 10 && number < 14) << number;
    }
}

TEST(TqOcTraversalFIFO, LetsOneBlockedProducerGoOnForEachItemTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    EnterNumbers(fifo, 1, 2);
    std::atomic<int> numEntered{0};
    std::vector<std::unique_ptr<Background>> producers;
    for (std::uintptr_t i = 0; i < 6; ++i) {
        producers.push_back(std::make_unique<Background>([&fifo, &numEntered, i] {
            fifo.Enter(MakeItem(10 + i));
            ++numEntered;
        }));
    }
    LetOthersRun();
    EXPECT_EQ(numEntered, 0);
    for (int numTaken = 1; numTaken <= 2; ++numTaken) {
        Take(fifo);
        EXPECT_TRUE(Eventually([&] { return numEntered == numTaken; }));
        LetOthersRun();
        EXPECT_EQ(numEntered, numTaken);
    }
    for (int numTaken = 4; numTaken <= 6; numTaken += 2) {
        Take(fifo); // two at once
        Take(fifo);
        EXPECT_TRUE(Eventually([&] { return numEntered == numTaken; }));
    }
}

// ---- A consumer that waits ----------------------------------------------------------------------

TEST(TqOcTraversalFIFO, WakesAWaitingConsumerWithAnItemOrAMessage)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    Taken taken{};
    for (int kind = 0; kind < 3; ++kind) {
        SCOPED_TRACE(kind);
        Background const remove([&] { taken = Take(fifo); });
        EXPECT_TRUE(remove.StaysBlocked());
        switch (kind) {
        case 0:
            fifo.Enter(MakeItem(1));
            break;
        case 1:
            fifo.EnterHigh(2);
            break;
        default:
            fifo.EnterLow(3);
            break;
        }
        EXPECT_TRUE(remove.Finishes());
        EXPECT_EQ(taken, kind == 0 ? AnItem(1) : AMessage(kind + 1));
    }
}

TEST(TqOcTraversalFIFO, KeepsAConsumerWaitingThroughMessagesOfZeroAndClearing)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    Taken taken{};
    Background const remove([&] { taken = Take(fifo); });
    EXPECT_TRUE(remove.StaysBlocked());
    fifo.EnterHigh(0); // wakes it
    EXPECT_TRUE(remove.StaysBlocked());
    fifo.EnterLow(0);
    EXPECT_TRUE(remove.StaysBlocked());
    fifo.Clear();
    EXPECT_TRUE(remove.StaysBlocked());
    fifo.Enter(MakeItem(1));
    EXPECT_TRUE(remove.Finishes());
    EXPECT_EQ(taken, AnItem(1));
}

TEST(TqOcTraversalFIFO, KeepsAConsumerWaitingWhenItsItemIsClearedAway)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    int numWrong = 0; // the consumer's, until it has ended
    int last = 0;
    {
        Consumer const consumer(&fifo, [&](int message, void* item) {
            auto const number = static_cast<int>(GetNumber(item));
            if (message != 0 || number <= last) {
                ++numWrong;
            }
            last = number;
        });
        for (std::uintptr_t i = 1; i <= eRACES; ++i) {
            fifo.Enter(MakeItem(i));
            fifo.Clear();
        }
        fifo.Enter(MakeItem(eRACES + 1));
    }
    EXPECT_EQ(numWrong, 0);
    EXPECT_EQ(last, eRACES + 1);
    EXPECT_TRUE(fifo.IsEmpty());
}

// ---- Flush --------------------------------------------------------------------------------------

TEST(TqOcTraversalFIFO, FlushesAtOnceWhenTheConsumerIsIdle)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    Consumer const consumer(&fifo);
    fifo.Flush(); // from here on nobody wakes anybody
    for (int i = 0; i < 100; ++i) {
        fifo.Flush();
    }
    EXPECT_EQ(consumer.GetNumHandled(), 0);
}

TEST(TqOcTraversalFIFO, FlushesOnlyWhenTheConsumerHasCome)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    Background const flush([&] { fifo.Flush(); });
    EXPECT_TRUE(flush.StaysBlocked());
    Consumer const consumer(&fifo);
    EXPECT_TRUE(flush.Finishes());
}

TEST(TqOcTraversalFIFO, FlushesOnlyWhenTheConsumerIsDoneWithWhatItTookLast)
{
    Watchdog const watchdog;
    for (int kind = 0; kind < 3; ++kind) {
        SCOPED_TRACE(kind);
        std::atomic<bool> isWorking{false};
        std::atomic<bool> mayGoOn{false};
        OpenFIFO fifo(1);
        Consumer const consumer(&fifo, [&](int, void*) {
            isWorking = true;
            while (!mayGoOn) {
                std::this_thread::yield();
            }
            isWorking = false;
        });
        fifo.Flush(); // it has been idle before
        switch (kind) {
        case 0:
            fifo.Enter(MakeItem(1));
            break;
        case 1:
            fifo.EnterHigh(1);
            break;
        default:
            fifo.EnterLow(1);
            break;
        }
        ASSERT_TRUE(Eventually([&] { return isWorking.load(); }));
        Background const flush([&] {
            fifo.Flush();
            EXPECT_FALSE(isWorking);
            EXPECT_EQ(consumer.GetNumHandled(), 1);
        });
        EXPECT_TRUE(flush.StaysBlocked()); // nothing is left to take, but the consumer works
        mayGoOn = true;
        EXPECT_TRUE(flush.Finishes());
    }
}

TEST(TqOcTraversalFIFO, FlushesOnlyWhenAllItemsAndMessagesAreTaken)
{
    Watchdog const watchdog;
    OpenFIFO fifo(3);
    EnterNumbers(fifo, 1, 3);
    fifo.EnterHigh(6);
    fifo.EnterLow(5);
    Background const flush([&] { fifo.Flush(); });
    EXPECT_TRUE(flush.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(6));
    ExpectNumbers(fifo, 1, 3);
    EXPECT_TRUE(flush.StaysBlocked());
    EXPECT_EQ(Take(fifo), AMessage(5));
    EXPECT_TRUE(flush.StaysBlocked()); // everything is taken, but the consumer is not back
    Consumer const consumer(&fifo);
    EXPECT_TRUE(flush.Finishes());
}

// The consumer has been told to wake and has not yet: it still counts as idle, and what was entered
// must hold the flush back all the same.
TEST(TqOcTraversalFIFO, FlushesWhatWasJustEnteredToAnIdleConsumer)
{
    Watchdog const watchdog;
    OpenFIFO fifo(4);
    Consumer const consumer(&fifo);
    for (int i = 0; i < eRACES; ++i) {
        switch (i % 3) {
        case 0:
            fifo.Enter(MakeItem(1));
            break;
        case 1:
            fifo.EnterHigh(1);
            break;
        default:
            fifo.EnterLow(1);
            break;
        }
        fifo.Flush();
        ASSERT_EQ(consumer.GetNumHandled(), i + 1);
        ASSERT_TRUE(fifo.IsEmpty());
    }
}

TEST(TqOcTraversalFIFO, FlushesWithAConsumerThatWasWokenForNothing)
{
    Watchdog const watchdog;
    OpenFIFO fifo(1);
    Consumer const consumer(&fifo);
    for (int i = 0; i < eRACES; ++i) {
        if (i % 2 == 0) {
            fifo.EnterHigh(0);
        } else {
            fifo.EnterLow(0);
        }
        fifo.Flush();
    }
    EXPECT_EQ(consumer.GetNumHandled(), 0);
}

TEST(TqOcTraversalFIFO, FlushesWhenClearingTakesTheItemsAway)
{
    Watchdog const watchdog;
    OpenFIFO fifo(2);
    Consumer const consumer(&fifo);
    for (int i = 0; i < eRACES; ++i) {
        fifo.Enter(MakeItem(1));
        fifo.Enter(MakeItem(2));
        fifo.Clear();
        fifo.Flush();
        ASSERT_TRUE(fifo.IsEmpty());
    }
}

TEST(TqOcTraversalFIFO, ReleasesAFlushThatWaitsWhileItIsCleared)
{
    Watchdog const watchdog;
    std::atomic<bool> isWorking{false};
    std::atomic<bool> mayGoOn{false};
    OpenFIFO fifo(2);
    Consumer const consumer(&fifo, [&](int, void*) {
        isWorking = true;
        while (!mayGoOn) {
            std::this_thread::yield();
        }
    });
    fifo.Flush(); // it has been idle before
    fifo.Enter(MakeItem(1));
    ASSERT_TRUE(Eventually([&] { return isWorking.load(); }));
    EnterNumbers(fifo, 2, 3);
    Background const flush([&] { fifo.Flush(); });
    EXPECT_TRUE(flush.StaysBlocked());
    fifo.Clear();
    EXPECT_TRUE(flush.StaysBlocked());
    mayGoOn = true;
    EXPECT_TRUE(flush.Finishes());
    EXPECT_EQ(consumer.GetNumHandled(), 1);
}

TEST(TqOcTraversalFIFO, FlushesForSeveralThreadsAtOnce)
{
    Watchdog const watchdog;
    std::atomic<bool> mayGoOn{false};
    OpenFIFO fifo(2);
    Consumer const consumer(&fifo, [&](int, void*) {
        while (!mayGoOn) {
            std::this_thread::yield();
        }
    });
    fifo.Flush(); // it has been idle before
    EnterNumbers(fifo, 1, 2);
    std::vector<std::unique_ptr<Background>> flushes;
    for (int i = 0; i < 4; ++i) {
        flushes.push_back(std::make_unique<Background>([&] {
            fifo.Flush();
            EXPECT_EQ(consumer.GetNumHandled(), 2);
        }));
    }
    for (auto const& flush : flushes) {
        EXPECT_TRUE(flush->StaysBlocked());
    }
    mayGoOn = true;
    for (auto const& flush : flushes) {
        EXPECT_TRUE(flush->Finishes());
    }
}
