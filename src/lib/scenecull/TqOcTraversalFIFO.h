// A bounded first-in-first-out queue of traversal work between threads, the one class of the
// library that several threads may use at once.
//
// The library starts no thread: an application that wants traversal work done on a thread of its
// own makes the thread, lets it loop on Remove, and enters work from elsewhere. A ring of pointers,
// one slot for a message of each kind, one lock and three conditions: work for the consumer, space
// for producers, and the consumer's being idle for Flush. Every operation takes the lock once, and
// Enter again when the ring is full. Enter, EnterHigh and EnterLow wait while their place is taken,
// Remove while there is nothing.
//
// The end: an operation signals after it has given the lock up, so the queue must outlive the
// return of the last operation of every thread. Let the thread that owns the queue enter a last
// message, join the consumer and all other producers, and only then delete the queue.
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
    /// do. Several threads may flush at once, the consumer never: it would wait for itself.
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

    // Data; the order is part of the binary interface. The lock guards all but the first two.
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
    TqUCriticalSection m_turn; ///< Of the one producer that waits for the ring; before the lock.
};
