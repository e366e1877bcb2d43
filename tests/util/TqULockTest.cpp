// Critical section, its holder, and the condition.

#include "util/TqULock.h"

#include "support/ThreadTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

TEST(TqUCriticalSection, LetsOneThreadInAtATime)
{
    Watchdog const watchdog;
    TqUCriticalSection section;
    int counter = 0; // not atomic: only the section protects it
    int inside = 0;
    int mostInside = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                TqUAutoCriticalSection const hold(section);
                ++inside;
                mostInside = inside > mostInside ? inside : mostInside;
                ++counter;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(20000, counter);
    EXPECT_EQ(1, mostInside);
}

TEST(TqUCriticalSection, KeepsOthersOutUntilItIsLeft)
{
    Watchdog const watchdog;
    TqUCriticalSection section;
    std::atomic<bool> entered{false};
    section.Enter();
    std::thread other([&] {
        section.Enter();
        entered = true;
        section.Leave();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
    section.Leave();
    EXPECT_TRUE(Eventually([&] { return entered.load(); }));
    other.join();
}

TEST(TqUAutoCriticalSection, LeavesTheSectionAtTheEndOfItsScopeAlsoByException)
{
    Watchdog const watchdog;
    TqUCriticalSection section;
    try {
        TqUAutoCriticalSection const hold(section);
        throw 1;
    } catch (int) {}
    std::atomic<bool> entered{false};
    std::thread other([&] {
        TqUAutoCriticalSection const hold(section);
        entered = true;
    });
    EXPECT_TRUE(Eventually([&] { return entered.load(); }));
    other.join();
}

TEST(TqUCondition, LeavesTheSectionWhileWaitingAndHoldsItAfterwards)
{
    Watchdog const watchdog;
    TqUCriticalSection section;
    TqUCondition condition;
    bool waiting = false;
    bool go = false;
    std::atomic<bool> woken{false};
    std::thread waiter([&] {
        TqUAutoCriticalSection const hold(section);
        waiting = true;
        while (!go) {
            condition.Wait(section);
        }
        woken = true;
    });
    // Entering the section and seeing `waiting` means that Wait has left it.
    EXPECT_TRUE(Eventually([&] {
        TqUAutoCriticalSection const hold(section);
        return waiting;
    }));
    {
        TqUAutoCriticalSection const hold(section);
        go = true;
        condition.Signal();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(woken); // it needs the section, which is held here
    }
    EXPECT_TRUE(Eventually([&] { return woken.load(); }));
    waiter.join();
}

TEST(TqUCondition, WakesAllWaitersWithOneSignal)
{
    Watchdog const watchdog;
    constexpr int waiters = 5;
    TqUCriticalSection section;
    TqUCondition condition;
    int waiting = 0;
    bool go = false;
    std::atomic<int> woken{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < waiters; ++t) {
        threads.emplace_back([&] {
            TqUAutoCriticalSection const hold(section);
            ++waiting;
            while (!go) {
                condition.Wait(section);
            }
            ++woken;
        });
    }
    EXPECT_TRUE(Eventually([&] {
        TqUAutoCriticalSection const hold(section);
        return waiting == waiters;
    }));
    {
        TqUAutoCriticalSection const hold(section);
        go = true;
    }
    condition.Signal();
    bool const allWoken = Eventually([&] { return woken == waiters; });
    EXPECT_TRUE(allWoken);
    while (woken != waiters) { // a failed expectation must not hang the test
        condition.Signal();
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// A wait may end without a signal, but not as a rule.
TEST(TqUCondition, DoesNotRememberASignalWithoutWaiters)
{
    Watchdog const watchdog;
    constexpr int rounds = 20;
    TqUCriticalSection section;
    TqUCondition condition;
    int numEarly = 0;
    for (int i = 0; i < rounds; ++i) {
        bool waiting = false;
        condition.Signal();
        Background const waiter([&] {
            TqUAutoCriticalSection const hold(section);
            waiting = true;
            condition.Wait(section); // once, in no loop
        });
        EXPECT_TRUE(Eventually([&] {
            TqUAutoCriticalSection const hold(section);
            return waiting;
        }));
        numEarly += waiter.StaysBlocked() ? 0 : 1;
        condition.Signal();
        EXPECT_TRUE(waiter.Finishes());
    }
    EXPECT_LT(numEarly, rounds / 2);
}
