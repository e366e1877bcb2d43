#pragma once

// Mutual exclusion and waiting, the only utility classes meant for use across threads. The library
// itself starts no thread; the deferred-work FIFO uses these for applications that do.

#include "util/TqUApi.h"

#include <condition_variable>
#include <mutex>

/// A mutual-exclusion lock. Not recursive: a thread that holds it must not enter it again.
class TQU_API TqUCriticalSection
{
public:
    TqUCriticalSection();
    TqUCriticalSection(TqUCriticalSection const&) = delete;
    TqUCriticalSection& operator=(TqUCriticalSection const&) = delete;

    /// The lock must not be held.
    ~TqUCriticalSection();

    /// Waits until no other thread holds the lock, and takes it.
    void Enter();

    /// Gives the lock up; the calling thread must hold it.
    void Leave();

private:
    friend class TqUCondition;

    std::mutex m_mutex;
};

/// Holds a critical section for as long as it lives.
class TQU_API TqUAutoCriticalSection
{
public:
    /// Enters `section`, which must outlive this holder.
    explicit TqUAutoCriticalSection(TqUCriticalSection& section);
    TqUAutoCriticalSection(TqUAutoCriticalSection const&) = delete;
    TqUAutoCriticalSection& operator=(TqUAutoCriticalSection const&) = delete;

    /// Leaves the section.
    ~TqUAutoCriticalSection();

private:
    TqUCriticalSection& m_section;
};

/// A condition on which threads wait for a change of what a critical section guards.
class TQU_API TqUCondition
{
public:
    TqUCondition();
    TqUCondition(TqUCondition const&) = delete;
    TqUCondition& operator=(TqUCondition const&) = delete;

    /// No thread may be waiting any more.
    ~TqUCondition();

    /// Leaves `section`, which the calling thread must hold, sleeps until a signal, and enters it
    /// again before returning. May also return without a signal: wait in a loop that tests what is
    /// waited for. All waiters of one condition must use the same section.
    void Wait(TqUCriticalSection& section);

    /// Wakes every waiting thread. A signal without waiters is not remembered. The section may be
    /// held or not; change what is waited for while holding it.
    void Signal();

private:
    std::condition_variable m_condition;
};

/// The locking services as a component.
class TQU_API TqULock
{
public:
    /// Component "TqULock"; reference counted.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};

/// The threading services as a component.
class TQU_API TqUThread
{
public:
    /// Component "TqUThread"; reference counted.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};
