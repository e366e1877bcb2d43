#pragma once

// For tests with threads: a time limit for the whole test, and calls that are expected to block.
//
// A test whose threads wait for each other for ever cannot be given up in an orderly way. So a
// Watchdog stands at its beginning and ends the program with a message when time is up.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

/// Aborts the program, naming the running test, unless it is destroyed within a time limit.
class Watchdog
{
public:
    explicit Watchdog(std::chrono::seconds limit = std::chrono::seconds(30))
        : m_what(testing::UnitTest::GetInstance()->current_test_info()->name())
        , m_limit(limit)
        , m_thread([this] { Watch(); })
    {}

    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> const hold(m_mutex);
            m_done = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    Watchdog(Watchdog const&) = delete;
    Watchdog& operator=(Watchdog const&) = delete;

private:
    void Watch()
    {
        std::unique_lock<std::mutex> hold(m_mutex);
        if (!m_changed.wait_for(hold, m_limit, [this] { return m_done; })) {
            std::fprintf(stderr, "Watchdog: %s is not done after %lld seconds: a thread hangs\n",
                         m_what, static_cast<long long>(m_limit.count()));
            std::fflush(stderr);
            std::abort();
        }
    }

    char const* m_what;
    std::chrono::seconds m_limit;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_done = false;
    std::thread m_thread; // last: it uses the others
};

/// Waits until `reached()` holds; false after ten seconds, so that no failure hangs the tests.
template <class Reached>
bool Eventually(Reached reached)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!reached()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// Sleeps for long enough that threads which can go on have gone on.
inline void LetOthersRun()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

/// One call on a thread of its own. The destructor waits for it.
class Background
{
public:
    template <class Call>
    explicit Background(Call call)
        : m_thread([this, call = std::move(call)]() mutable {
            call();
            m_done = true;
        })
    {}

    ~Background() { m_thread.join(); }

    Background(Background const&) = delete;
    Background& operator=(Background const&) = delete;

    /// Gives the call time to come to where it blocks. @return whether it has not returned
    bool StaysBlocked() const
    {
        LetOthersRun();
        return !m_done;
    }

    /// Waits for the return of the call; false if it does not come within ten seconds.
    bool Finishes() const
    {
        return Eventually([this] { return m_done.load(); });
    }

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread; // last: it uses the flag
};
