#include "scenecull/TqOcTraversalFIFO.h"

#include "scenecull/internal/TqOcComponent.h"

#include "util/TqUError.h"

#include <cstddef>

using namespace TqOcInternal;

// Every wait is a loop around its predicate: a condition may wake without a signal, and somebody
// else may come first. The signals come after the lock is given up, so that who wakes finds it
// free; only those of a consumer that goes idle come before, because it gives the lock up by
// waiting itself.
//
// A place in the ring wakes one producer. That is enough: producers wait for the ring only while it
// is full, and each place that becomes free sends one signal, so as long as there are places and
// waiters a woken one is on its way. With producers that wait for a slot on the same condition the
// signal could go to one of those and be lost; they have a condition of their own.
//
// Some C libraries can lose the wake-up of one waiter among several, though never that of all. So
// the consumer wakes every producer before it goes idle: none sleeps on beside an empty ring.

namespace
{

TqUComponent s_component("TqOcTraversalFIFO");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqULock>(), DependsOn<TqUThread>(),
                                             DependsOn<TqOcTraversalQueue>(),
                                             DependsOn<TqUError>()};

constexpr int s_leastCapacity = 1;

int UsableCapacity(int capacity)
{
    if (capacity >= s_leastCapacity) {
        return capacity;
    }
    TqUError::Post(TqUSysError::eERROR, &s_component, "A queue for %d items; %d is used", capacity,
                   s_leastCapacity);
    return s_leastCapacity;
}

} // namespace

void TqOcTraversalFIFO::Initialise()
{
    InitialiseComponent(s_component, "TqOcTraversalFIFO 1", s_dependencies);
}

void TqOcTraversalFIFO::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTraversalFIFO::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTraversalFIFO::TqOcTraversalFIFO(int capacity) : m_capacity(UsableCapacity(capacity))
{
    m_storage.reset(new void*[static_cast<std::size_t>(m_capacity)]); // not touched yet
    m_write = m_storage.get();
    m_read = m_storage.get();
}

TqOcTraversalFIFO::~TqOcTraversalFIFO() = default;

void TqOcTraversalFIFO::Enter(void* item)
{
    {
        TqUAutoCriticalSection const held(m_lock);
        while (IsFull()) {
            m_space.Wait(m_lock);
        }
        *m_write = item;
        m_write = Next(m_write);
        ++m_count;
    }
    m_work.Signal();
}

void TqOcTraversalFIFO::EnterHigh(int message)
{
    EnterMessage(&m_high, message);
}

void TqOcTraversalFIFO::EnterLow(int message)
{
    EnterMessage(&m_low, message);
}

void TqOcTraversalFIFO::EnterMessage(std::int32_t* slot, int message)
{
    {
        TqUAutoCriticalSection const held(m_lock);
        while (*slot != 0) {
            m_messageSpace.Wait(m_lock);
        }
        *slot = message;
    }
    m_work.Signal();
}

int TqOcTraversalFIFO::Remove(void** item)
{
    int message = 0;
    {
        TqUAutoCriticalSection const held(m_lock);
        while (IsEmpty() && m_high == 0 && m_low == 0) {
            m_idle = 1;
            m_idleSignal.Signal();
            m_space.Signal();
            m_work.Wait(m_lock);
        }
        m_idle = 0;
        if (m_high != 0) {
            message = m_high;
            m_high = 0;
        } else if (!IsEmpty()) {
            *item = TakeItem();
        } else {
            message = m_low;
            m_low = 0;
        }
    }
    if (message == 0) {
        m_space.SignalOne();
    } else {
        m_messageSpace.Signal();
    }
    return message;
}

/// The first item of the ring; there is one, and the lock is held.
void* TqOcTraversalFIFO::TakeItem()
{
    void* const item = *m_read;
    m_read = Next(m_read);
    --m_count;
    return item;
}

void TqOcTraversalFIFO::Flush()
{
    TqUAutoCriticalSection const held(m_lock);
    while (!IsEmpty() || m_high != 0 || m_low != 0 || !m_idle) {
        m_idleSignal.Wait(m_lock);
    }
}

void TqOcTraversalFIFO::Clear()
{
    {
        TqUAutoCriticalSection const held(m_lock);
        m_write = m_storage.get();
        m_read = m_storage.get();
        m_count = 0;
    }
    m_space.Signal();
}
