#include "util/TqULock.h"

#include "util/TqUComponent.h"

namespace
{

TqUComponent s_lockComponent("TqULock");
TqUComponent s_threadComponent("TqUThread");

} // namespace

// ---- Critical section and its holder ------------------------------------------------------------

TqUCriticalSection::TqUCriticalSection() = default;

TqUCriticalSection::~TqUCriticalSection() = default;

void TqUCriticalSection::Enter()
{
    m_mutex.lock();
}

void TqUCriticalSection::Leave()
{
    m_mutex.unlock();
}

TqUAutoCriticalSection::TqUAutoCriticalSection(TqUCriticalSection& section) : m_section(section)
{
    m_section.Enter();
}

TqUAutoCriticalSection::~TqUAutoCriticalSection()
{
    m_section.Leave();
}

// ---- Condition ----------------------------------------------------------------------------------

TqUCondition::TqUCondition() = default;

TqUCondition::~TqUCondition() = default;

void TqUCondition::Wait(TqUCriticalSection& section)
{
    std::unique_lock<std::mutex> held(section.m_mutex, std::adopt_lock);
    m_condition.wait(held);
    held.release(); // the caller goes on holding the section
}

void TqUCondition::Signal()
{
    m_condition.notify_all();
}

// ---- Components ---------------------------------------------------------------------------------

void TqULock::Initialise()
{
    s_lockComponent.Initialise("TqULock", "util/TqULock.cpp 1");
}

void TqULock::Terminate()
{
    s_lockComponent.Terminate();
}

int TqULock::IsInitialised()
{
    return s_lockComponent.IsInitialised();
}

void TqUThread::Initialise()
{
    s_threadComponent.Initialise("TqUThread", "util/TqULock.cpp 1");
}

void TqUThread::Terminate()
{
    s_threadComponent.Terminate();
}

int TqUThread::IsInitialised()
{
    return s_threadComponent.IsInitialised();
}
