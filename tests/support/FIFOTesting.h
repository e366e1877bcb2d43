#pragma once

// What the tests of the work queue share: items without memory, and a consumer on a thread.

#include "scenecull/TqOcTraversalFIFO.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>

/// A number as an item. Items are pointers that the queue only carries, so any value will do.
inline void* MakeItem(std::uintptr_t number)
{
    return reinterpret_cast<void*>(number);
}

/// The number of an item.
inline std::uintptr_t GetNumber(void const* item)
{
    return reinterpret_cast<std::uintptr_t>(item);
}

/// A FIFO that says how full it is. Ask only while no other thread uses it.
class OpenFIFO : public TqOcTraversalFIFO
{
public:
    using TqOcTraversalFIFO::IsEmpty;
    using TqOcTraversalFIFO::IsFull;
    using TqOcTraversalFIFO::TqOcTraversalFIFO;
};

/// The consumer: a thread that removes and handles until it is told to stop. Its destructor tells
/// it so with a low message, which comes after every item, and waits for its end; by then no other
/// thread may use the queue any more.
class Consumer
{
public:
    /// Called for everything that was removed, between two calls of Remove. The item is null with
    /// a message.
    using Handler = std::function<void(int message, void* item)>;

    /// The low message that ends the thread; not handled.
    static constexpr int eSTOP = -1000;

    explicit Consumer(TqOcTraversalQueue* queue, Handler handler = {})
        : m_queue(queue)
        , m_handler(std::move(handler))
        , m_thread([this] { Run(); })
    {}

    ~Consumer()
    {
        m_queue->EnterLow(eSTOP);
        m_thread.join();
    }

    Consumer(Consumer const&) = delete;
    Consumer& operator=(Consumer const&) = delete;

    /// Items and messages handled to the end so far.
    int GetNumHandled() const { return m_numHandled; }

private:
    void Run()
    {
        for (;;) {
            void* item = nullptr;
            int const message = m_queue->Remove(&item);
            if (message == eSTOP) {
                return;
            }
            if (m_handler) {
                m_handler(message, item);
            }
            ++m_numHandled;
        }
    }

    TqOcTraversalQueue* m_queue;
    Handler m_handler;
    std::atomic<int> m_numHandled{0};
    std::thread m_thread; // last: it uses the others
};
