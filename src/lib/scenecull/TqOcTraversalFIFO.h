// A bounded first-in-first-out queue of traversal work between threads, the one class of the
// library that several threads may use at once.
//
// The library starts no thread: an application that wants traversal work done on a thread of its
// own makes the thread, lets it loop on Remove, and enters work from elsewhere. A ring of pointers,
// one slot for a message of each kind, a lock for all of it, and three conditions: work for the
// consumer, space for producers, and the consumer's being idle for Flush. Every operation takes the
// lock once. Enter takes it again when the ring is full, and before it a second lock, the turn, so
// that only one producer at a time waits for space in the ring; nobody takes the turn while holding
// the lock. Enter, EnterHigh and EnterLow wait while their place is taken, Remove while there is
// nothing.
//
// The end: an operation signals after it has given the lock up, so the queue must outlive the
// return of the last operation of every thread. First let all other producers finish and join them,
// while the consumer still removes; then enter the last low message; join the consumer; delete. A
// producer that still enters when the consumer leaves may wait for ever.
#pragma once

#include "scenecull/TqOcTraversalQueue.h"

#include "util/TqULock.h"

#include <cstdint>
#include <memory>

/// Any number of producers, one consumer.
///
/// Items keep their order, per producer and in all. A message is a slot, not a queue: a second one
/// of its kind waits until the consumer has taken the first.
class TQOC_API TqOcTraversalFIFO : public TqOcTraversalQueue
{
public:
    /// Switches "TqOcTraversalFIFO" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param capacity  most items that wait at once, at least 1. Below: posted with severity 1,
    /// and 1 is used.
    /// @throws std::bad_alloc
    explicit TqOcTraversalFIFO(int capacity);

    // --- Virtual operations ---------------------------------------------------------------------

    /// See the head of this file; what still waits is dropped.
    ~TqOcTraversalFIFO() override;

    /// Waits until no item and no message waits and the consumer is back in Remove with nothing to
    /// do. Several threads may flush at once, the consumer never: it would wait for itself. There
    /// is no bound on the wait while other threads go on entering.
    void Flush() override;

    /// Stores the low message; waits while another one is pending.
    void EnterLow(int message) override;

    /// Stores the high message; waits while another one is pending.
    void EnterHigh(int message) override;

    /// Stores an item; waits while the ring is full.
    void Enter(void* item) override;

    /// The high message if there is one, else the first item, else the low message; waits while
    /// there is none of them, and counts as idle meanwhile.
    int Remove(void** item) override;

    /// Drops the items that wait, which are not released: they are only pointers. Producers that
    /// wait for space go on.
    void Clear() override;

protected:
    /// Whether no item waits, or as many as fit. For derived classes, with no other thread at work:
    /// neither takes the lock.
    /// @{
    int IsEmpty() const { return m_count == 0; }

    int IsFull() const { return m_count == static_cast<std::uint32_t>(m_capacity); }

    /// @}

private:
    bool EnterIfNotFull(void* item);
    void EnterWhenNotFull(void* item);
    void EnterMessage(std::int32_t* slot, int message);
    void PutItem(void* item);
    void* TakeItem();

    void** Next(void** position) const
    {
        void** const next = position + 1;
        return next == m_storage.get() + m_capacity ? m_storage.get() : next;
    }

    // Data; the order is part of the binary interface. The lock guards what changes:
    // not storage and capacity, which stay as they were made, nor the conditions and the turn.
    std::unique_ptr<void*[]> m_storage;
    std::int32_t m_capacity;
    void** m_write;
    void** m_read;
    std::uint32_t m_count = 0;
    std::int32_t m_high = 0; ///< 0: no message.
    std::int32_t m_low = 0;  ///< 0: no message.
    TqUCriticalSection m_lock;
    TqUCondition m_work;
    TqUCondition m_space;    ///< In the ring or a slot.
    std::int32_t m_idle = 0; ///< The consumer waits with nothing to do.
    TqUCondition m_idleSignal;
    TqUCriticalSection m_turn; ///< Held by the producer that waits for the ring; taken first.
};
