#include "scenecull/TqOcTraversalFIFO.h"

#include "scenecull/internal/TqOcComponent.h"

#include "util/TqUError.h"

#include <cstddef>

using namespace TqOcInternal;

// Every wait is a loop around its predicate: a condition may wake without a signal, and somebody
// else may come first. The signals come after the lock is given up, so that who wakes finds it
// free; only the idle signal comes before, because its giver gives the lock up by waiting itself.
//
// Of the producers that find the ring full only one waits for space; the others queue for its turn.
// If all waited, each removed item would wake them all for the place of one. A condition that wakes
// one of many is no way out: common C libraries have had versions that lose such a wake-up.

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
    if (!EnterIfNotFull(item)) {
        EnterWhenNotFull(item);
    }
    m_work.Signal();
}

bool TqOcTraversalFIFO::EnterIfNotFull(void* item)
{
    TqUAutoCriticalSection const held(m_lock);
    if (IsFull()) {
        return false;
    }
    PutItem(item);
    return true;
}

void TqOcTraversalFIFO::EnterWhenNotFull(void* item)
{
    TqUAutoCriticalSection const turn(m_turn);
    TqUAutoCriticalSection const held(m_lock);
    while (IsFull()) {
        m_space.Wait(m_lock);
    }
    PutItem(item);
}

/// There is space, and the lock is held.
void TqOcTraversalFIFO::PutItem(void* item)
{
    *m_write = item;
    m_write = Next(m_write);
    ++m_count;
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
            m_space.Wait(m_lock);
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
    m_space.Signal();
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
