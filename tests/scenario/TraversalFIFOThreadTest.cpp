// The work queue under load: many producers and one consumer, ten million items in all.
//
// The consumer checks everything while it goes, from what it knows without asking the queue: the
// order of each producer's items, that none is lost or doubled, that never more items have been
// entered than removed plus the capacity, that messages come in their order and with their
// priority. A thread that nobody wakes fails the test through its watchdog.

#include "support/FIFOTesting.h"
#include "support/ThreadTesting.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace
{

/// How many producers enter how many items.
struct Load
{
    int capacity;
    int numProducers;
    int itemsPerProducer;
    int itemsPerFlush; ///< a producer flushes after so many of its items; 0: never

    constexpr long long GetNumItems() const
    {
        return static_cast<long long>(numProducers) * itemsPerProducer;
    }
};

std::ostream& operator<<(std::ostream& out, Load const& load)
{
    return out << load.GetNumItems() << " items of " << load.numProducers << " producers through "
               << load.capacity << " places, flushed every " << load.itemsPerFlush;
}

std::string NameLoad(testing::TestParamInfo<Load> const& tested)
{
    Load const& load = tested.param;
    return std::to_string(load.numProducers) + "Producers" + std::to_string(load.capacity) +
           "Places" + (load.itemsPerFlush > 0 ? "Flushing" : "");
}

/// Small capacities make threads wait for each other at nearly every item, which takes its time;
/// so most of the items go through the large one.
constexpr std::array<Load, 7> s_loads = {{
    {1, 8, 5'000, 0},
    {1, 4, 5'000, 50},
    {2, 8, 10'000, 0},
    {7, 6, 40'000, 0},
    {7, 4, 20'000, 100},
    {1024, 4, 1'000'000, 0},
    {1024, 8, 692'500, 1'000},
}};

constexpr long long GetNumItemsInAll()
{
    long long sum = 0;
    for (Load const& load : s_loads) {
        sum += load.GetNumItems();
    }
    return sum;
}

static_assert(GetNumItemsInAll() == 10'000'000);

/// Messages of each kind that are sent while the items of one load flow.
constexpr int eMESSAGES = 200;

/// An item says who entered it as which of its own.
void* MakeTaggedItem(Load const& load, int producer, int sequence)
{
    auto const numProducers = static_cast<std::uintptr_t>(load.numProducers);
    return MakeItem(static_cast<std::uintptr_t>(sequence) * numProducers +
                    static_cast<std::uintptr_t>(producer));
}

/// Deviations that a thread saw: a count and the first one in words, for a readable failure.
class Findings
{
public:
    void Check(bool holds, char const* what)
    {
        if (!holds && m_count++ == 0) {
            m_first = what;
        }
    }

    int GetCount() const { return m_count; }

    std::string const& GetFirst() const { return m_first; }

private:
    int m_count = 0;
    std::string m_first;
};

/// One run of a load: what the threads share, and what each of them does.
class LoadRun
{
public:
    explicit LoadRun(Load const& load)
        : m_load(load)
        , m_fifo(load.capacity)
        , m_handledOf(static_cast<std::size_t>(load.numProducers))
    {}

    void Run()
    {
        std::thread consumer([this] { Consume(); });
        std::vector<std::thread> others;
        for (int i = 0; i < m_load.numProducers; ++i) {
            others.emplace_back([this, i] { Produce(i); });
        }
        others.emplace_back([this] { SendMessages(&TqOcTraversalFIFO::EnterHigh, &m_numHigh, 1); });
        others.emplace_back([this] { SendMessages(&TqOcTraversalFIFO::EnterLow, nullptr, -1); });
        for (std::thread& other : others) {
            other.join();
        }
        m_fifo.Flush();
        ExpectAllHandled();
        m_fifo.EnterLow(Consumer::eSTOP);
        consumer.join();
        EXPECT_TRUE(m_fifo.IsEmpty());
        EXPECT_EQ(m_findings.GetCount(), 0) << m_findings.GetFirst();
        EXPECT_EQ(m_numFlushedEarly, 0);
    }

private:
    void Produce(int producer)
    {
        std::atomic<int> const& handled = m_handledOf[static_cast<std::size_t>(producer)];
        for (int sequence = 0; sequence < m_load.itemsPerProducer; ++sequence) {
            m_fifo.Enter(MakeTaggedItem(m_load, producer, sequence));
            m_numEntered.fetch_add(1, std::memory_order_relaxed);
            if (m_load.itemsPerFlush > 0 && (sequence + 1) % m_load.itemsPerFlush == 0) {
                m_fifo.Flush();
                if (handled != sequence + 1) {
                    ++m_numFlushedEarly;
                }
            }
        }
    }

    /// Sends messages sign * 1, 2, ... spread over the time in which items flow.
    void SendMessages(void (TqOcTraversalFIFO::*enter)(int), std::atomic<int>* numSent, int sign)
    {
        for (int i = 1; i <= eMESSAGES; ++i) {
            (m_fifo.*enter)(sign * i);
            if (numSent != nullptr) {
                ++*numSent;
            }
            long long const next = m_load.GetNumItems() * i / eMESSAGES;
            while (m_numEntered.load(std::memory_order_relaxed) < next) {
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        }
    }

    /// The consumer's thread. What it reads before Remove was true then, so it must show in what
    /// Remove gives.
    void Consume()
    {
        int numHigh = 0;
        int numLow = 0;
        long long numItems = 0;
        void* const untouched = MakeItem(UINTPTR_MAX);
        for (;;) {
            long long const entered = m_numEntered.load(std::memory_order_relaxed);
            int const highSent = m_numHigh;
            m_findings.Check(entered - numItems <= m_load.capacity, "more items than places");
            void* item = untouched;
            int const message = m_fifo.Remove(&item);
            if (message != 0) {
                m_findings.Check(item == untouched, "a message touched the item");
            }
            if (message == Consumer::eSTOP) {
                m_findings.Check(numHigh == eMESSAGES, "not every high message came");
                m_findings.Check(numLow == eMESSAGES, "not every low message came");
                return;
            }
            if (message > 0) {
                m_findings.Check(message == ++numHigh, "high messages lost or out of order");
                continue;
            }
            m_findings.Check(numHigh >= highSent, "something overtook a high message");
            if (message < 0) {
                m_findings.Check(message == -++numLow, "low messages lost or out of order");
                m_findings.Check(numItems >= entered, "a low message overtook an item");
            } else {
                ++numItems;
                Handle(GetNumber(item));
            }
        }
    }

    void Handle(std::uintptr_t number)
    {
        auto const numProducers = static_cast<std::uintptr_t>(m_load.numProducers);
        std::atomic<int>& handled = m_handledOf[number % numProducers];
        int const expected = handled.load(std::memory_order_relaxed);
        m_findings.Check(number / numProducers == static_cast<std::uintptr_t>(expected),
                         "items of one producer lost, doubled or out of order");
        handled = expected + 1;
    }

    /// Every producer has ended and a flush has returned.
    void ExpectAllHandled() const
    {
        for (std::atomic<int> const& handled : m_handledOf) {
            EXPECT_EQ(handled, m_load.itemsPerProducer);
        }
    }

    Load m_load;
    OpenFIFO m_fifo;
    std::vector<std::atomic<int>> m_handledOf; // one for each producer
    std::atomic<long long> m_numEntered{0};    // raised after each Enter: never ahead of the queue
    std::atomic<int> m_numHigh{0};             // the same of EnterHigh
    std::atomic<int> m_numFlushedEarly{0};
    Findings m_findings; // the consumer's, until it has ended
};

} // namespace

// ---- Many producers, one consumer ---------------------------------------------------------------

class TraversalFIFOLoad : public testing::TestWithParam<Load>
{};

TEST_P(TraversalFIFOLoad, KeepsEachProducersOrderLosesNothingAndStaysBounded)
{
    Watchdog const watchdog(std::chrono::seconds(240));
    LoadRun(GetParam()).Run();
}

INSTANTIATE_TEST_SUITE_P(TenMillionItems, TraversalFIFOLoad, testing::ValuesIn(s_loads), NameLoad);

// ---- Clear under load ---------------------------------------------------------------------------

// What is cleared is gone, so only the order of what arrives can be checked, and that all producers
// come to their end.
TEST(TraversalFIFOThreads, LosesOnlyItemsAndWakesAllProducersWhenClearedAgainAndAgain)
{
    Watchdog const watchdog(std::chrono::seconds(120));
    for (int capacity : {1, 3}) {
        SCOPED_TRACE(capacity);
        Load const load{capacity, 4, 10'000, 0};
        OpenFIFO fifo(capacity);
        std::vector<int> next(static_cast<std::size_t>(load.numProducers), 0);
        std::atomic<int> numProducing{load.numProducers};
        int numOutOfOrder = 0; // the consumer's, until it has ended
        int lastMessage = 0;
        {
            Consumer const consumer(&fifo, [&](int message, void* item) {
                if (message != 0) {
                    numOutOfOrder += message == lastMessage + 1 ? 0 : 1;
                    lastMessage = message;
                    return;
                }
                std::size_t const producer = GetNumber(item) % next.size();
                int const sequence = static_cast<int>(GetNumber(item) / next.size());
                numOutOfOrder += sequence >= next[producer] ? 0 : 1;
                next[producer] = sequence + 1;
            });
            std::vector<std::thread> threads;
            for (int producer = 0; producer < load.numProducers; ++producer) {
                threads.emplace_back([&, producer] {
                    for (int i = 0; i < load.itemsPerProducer; ++i) {
                        fifo.Enter(MakeTaggedItem(load, producer, i));
                    }
                    --numProducing;
                });
            }
            threads.emplace_back([&] {
                for (int message = 1; message <= eMESSAGES; ++message) {
                    fifo.EnterHigh(message);
                }
            });
            threads.emplace_back([&] {
                while (numProducing > 0) {
                    fifo.Clear();
                    std::this_thread::yield();
                }
            });
            for (std::thread& thread : threads) {
                thread.join();
            }
            fifo.Flush();
        }
        EXPECT_EQ(numOutOfOrder, 0);
        EXPECT_EQ(lastMessage, eMESSAGES);
        EXPECT_TRUE(fifo.IsEmpty());
    }
}

TEST(TraversalFIFOThreads, GetsProducersThroughByClearingAloneWithoutAConsumer)
{
    Watchdog const watchdog(std::chrono::seconds(60));
    OpenFIFO fifo(1);
    std::atomic<int> numProducing{4};
    std::vector<std::thread> threads;
    for (int producer = 0; producer < 4; ++producer) {
        threads.emplace_back([&] {
            for (std::uintptr_t i = 1; i <= 2'000; ++i) {
                fifo.Enter(MakeItem(i));
            }
            --numProducing;
        });
    }
    while (numProducing > 0) {
        fifo.Clear();
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// ---- The end ------------------------------------------------------------------------------------

// Producers first, then the last low message, the consumer, and the queue. In another order the
// consumer would leave when the queue runs empty between two items, and a producer would hang.
TEST(TraversalFIFOThreads, EndsInTheDocumentedOrderWithNothingLostAndNobodyWaiting)
{
    Watchdog const watchdog(std::chrono::seconds(120));
    for (int round = 0; round < 200; ++round) {
        Load const load{1 + round % 3, 1 + round % 4, 100, 0};
        auto fifo = std::make_unique<OpenFIFO>(load.capacity);
        long long numItems = 0; // the consumer's, until it has ended
        auto consumer = std::make_unique<Consumer>(fifo.get(), [&](int, void*) { ++numItems; });
        std::vector<std::thread> producers;
        for (int producer = 0; producer < load.numProducers; ++producer) {
            producers.emplace_back([&, producer] {
                for (int i = 0; i < load.itemsPerProducer; ++i) {
                    fifo->Enter(MakeTaggedItem(load, producer, i));
                }
            });
        }
        for (std::thread& producer : producers) {
            producer.join();
        }
        consumer.reset(); // enters the message and joins
        fifo.reset();
        ASSERT_EQ(numItems, load.GetNumItems());
    }
}

// ---- Waking -------------------------------------------------------------------------------------

// With one place each and nothing else going on, every single signal counts: one that is missing
// stops both sides.
TEST(TraversalFIFOThreads, PassesItemsAndMessagesOneByOneThroughSinglePlaces)
{
    Watchdog const watchdog(std::chrono::seconds(120));
    constexpr int eROUNDS = 10'000;
    OpenFIFO fifo(1);
    int numWrong = 0; // the consumer's, until it has ended
    int lastItem = 0;
    int lastHigh = 0;
    int lastLow = 0;
    {
        Consumer const consumer(&fifo, [&](int message, void* item) {
            int& last = message > 0 ? lastHigh : message < 0 ? lastLow : lastItem;
            int const number = message > 0   ? message
                               : message < 0 ? -message
                                             : static_cast<int>(GetNumber(item));
            numWrong += number == last + 1 ? 0 : 1;
            last = number;
        });
        std::thread items([&] {
            for (int i = 1; i <= eROUNDS; ++i) {
                fifo.Enter(MakeItem(static_cast<std::uintptr_t>(i)));
            }
        });
        std::thread high([&] {
            for (int i = 1; i <= eROUNDS; ++i) {
                fifo.EnterHigh(i);
            }
        });
        // Below the message that ends the consumer.
        std::thread low([&] {
            for (int i = 1; i <= eMESSAGES; ++i) {
                fifo.EnterLow(-i);
            }
        });
        items.join();
        high.join();
        low.join();
        fifo.Flush();
        EXPECT_EQ(consumer.GetNumHandled(), 2 * eROUNDS + eMESSAGES);
    }
    EXPECT_EQ(numWrong, 0);
    EXPECT_EQ(lastItem, eROUNDS);
    EXPECT_EQ(lastHigh, eROUNDS);
    EXPECT_EQ(lastLow, eMESSAGES);
}

TEST(TraversalFIFOThreads, FlushesForManyThreadsThatEnterAndFlushInTurn)
{
    Watchdog const watchdog(std::chrono::seconds(120));
    Load const load{2, 8, 1'000, 0};
    OpenFIFO fifo(load.capacity);
    std::vector<std::atomic<int>> handledOf(static_cast<std::size_t>(load.numProducers));
    std::atomic<int> numFlushedEarly{0};
    Consumer const consumer(
        &fifo, [&](int, void* item) { ++handledOf[GetNumber(item) % handledOf.size()]; });
    std::vector<std::thread> threads;
    for (int producer = 0; producer < load.numProducers; ++producer) {
        threads.emplace_back([&, producer] {
            for (int i = 0; i < load.itemsPerProducer; ++i) {
                fifo.Enter(MakeTaggedItem(load, producer, i));
                fifo.Flush();
                if (handledOf[static_cast<std::size_t>(producer)] != i + 1) {
                    ++numFlushedEarly;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(numFlushedEarly, 0);
}
