// HandOver: items per second from producer threads through a bounded queue to one consumer thread,
// ours beside a deque under a mutex, and beside the bounded queues of Boost and oneTBB where they
// are installed. Boost's does not wait: both sides of it try again after giving up their time
// slice.

#include "scenecull/TqOcTraversalFIFO.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#ifdef SCENECULL_BENCH_BOOST
#include <boost/lockfree/queue.hpp>
#endif
#ifdef SCENECULL_BENCH_TBB
#include <tbb/concurrent_queue.h>
#endif

namespace
{

constexpr int eITEMS = 200000; ///< Handed over in one iteration.

// --- The queues ----------------------------------------------------------------------------------

class OurQueue
{
public:
    explicit OurQueue(int capacity) : m_fifo(capacity) {}

    void Push(void* item) { m_fifo.Enter(item); }

    void* Pop()
    {
        void* item = nullptr;
        m_fifo.Remove(&item);
        return item;
    }

private:
    TqOcTraversalFIFO m_fifo;
};

/// What one writes in ten minutes. It wakes one waiter for one item, in its own favour: waking all
/// producers for each place took it 1.3 to 2.7 times as long with four of them, on two cores. Where
/// the C library may lose the wake-up of one, this benchmark may hang.
class DequeQueue
{
public:
    explicit DequeQueue(int capacity) : m_capacity(static_cast<std::size_t>(capacity)) {}

    void Push(void* item)
    {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_space.wait(lock, [this] { return m_items.size() < m_capacity; });
            m_items.push_back(item);
        }
        m_work.notify_one();
    }

    void* Pop()
    {
        void* item = nullptr;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_work.wait(lock, [this] { return !m_items.empty(); });
            item = m_items.front();
            m_items.pop_front();
        }
        m_space.notify_one();
        return item;
    }

private:
    std::size_t m_capacity;
    std::deque<void*> m_items;
    std::mutex m_mutex;
    std::condition_variable m_work;
    std::condition_variable m_space;
};

#ifdef SCENECULL_BENCH_BOOST
class BoostQueue
{
public:
    explicit BoostQueue(int capacity) : m_queue(static_cast<std::size_t>(capacity)) {}

    void Push(void* item)
    {
        while (!m_queue.bounded_push(item)) {
            std::this_thread::yield();
        }
    }

    void* Pop()
    {
        void* item = nullptr;
        while (!m_queue.pop(item)) {
            std::this_thread::yield();
        }
        return item;
    }

private:
    boost::lockfree::queue<void*> m_queue;
};
#endif

#ifdef SCENECULL_BENCH_TBB
class TbbQueue
{
public:
    explicit TbbQueue(int capacity) { m_queue.set_capacity(capacity); }

    void Push(void* item) { m_queue.push(item); }

    void* Pop()
    {
        void* item = nullptr;
        m_queue.pop(item);
        return item;
    }

private:
    tbb::concurrent_bounded_queue<void*> m_queue;
};
#endif

// --- The measurement -----------------------------------------------------------------------------

/// Sends the numbers 1 to eITEMS through the queue; returns their sum as the consumer saw it.
template <class Queue>
std::uint64_t HandOverAll(Queue& queue, int numProducers)
{
    std::vector<std::thread> producers;
    for (int producer = 0; producer < numProducers; ++producer) {
        producers.emplace_back([&queue, producer, numProducers] {
            for (int i = producer + 1; i <= eITEMS; i += numProducers) {
                queue.Push(reinterpret_cast<void*>(static_cast<std::uintptr_t>(i)));
            }
        });
    }
    std::uint64_t sum = 0;
    for (int i = 0; i < eITEMS; ++i) {
        sum += reinterpret_cast<std::uintptr_t>(queue.Pop());
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    return sum;
}

/// Arguments: number of producers, capacity.
template <class Queue>
void HandOver(benchmark::State& state)
{
    Queue queue(static_cast<int>(state.range(1)));
    for (auto _ : state) {
        std::uint64_t const sum = HandOverAll(queue, static_cast<int>(state.range(0)));
        if (sum != std::uint64_t{eITEMS} * (eITEMS + 1) / 2) {
            state.SkipWithError("items lost or doubled");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * eITEMS);
}

void UseQueueSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"producers", "capacity"})
        ->ArgsProduct({{1, 4}, {1, 64, 4096}})
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK_TEMPLATE(HandOver, OurQueue)->Name("HandOverFIFO")->Apply(UseQueueSizes);
BENCHMARK_TEMPLATE(HandOver, DequeQueue)->Name("HandOverDeque")->Apply(UseQueueSizes);
#ifdef SCENECULL_BENCH_BOOST
BENCHMARK_TEMPLATE(HandOver, BoostQueue)->Name("HandOverBoostLockfree")->Apply(UseQueueSizes);
#endif
#ifdef SCENECULL_BENCH_TBB
BENCHMARK_TEMPLATE(HandOver, TbbQueue)->Name("HandOverTbb")->Apply(UseQueueSizes);
#endif

} // namespace
