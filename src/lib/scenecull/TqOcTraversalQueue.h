// The interface of a queue that hands traversal work from one thread to another.
//
// Work items are plain pointers, which the queue carries and never looks at. Beside them go two
// out-of-band messages, numbers other than 0: a high one overtakes every item, a low one comes
// after all of them. Producers call the Enter functions; one consumer loops on Remove.
// TqOcTraversalFIFO is the implementation.
#pragma once

#include "scenecull/TqOcApi.h"

/// A queue of work items and messages.
class TQOC_API TqOcTraversalQueue
{
public:
    /// Switches "TqOcTraversalQueue" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    TqOcTraversalQueue() = default;
    TqOcTraversalQueue(TqOcTraversalQueue const&) = delete;
    TqOcTraversalQueue& operator=(TqOcTraversalQueue const&) = delete;

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No thread may be using the queue any more.
    virtual ~TqOcTraversalQueue();

    /// Waits until the consumer has taken everything and waits for more. Not for the consumer.
    virtual void Flush() = 0;

    /// Enters a message that the consumer gets when there are no items left.
    /// @param message  not 0, which would not be seen
    virtual void EnterLow(int message) = 0;

    /// Enters a message that the consumer gets before any item. @param message  as above
    virtual void EnterHigh(int message) = 0;

    /// Enters an item behind those that wait. It is never dereferenced and may be null.
    virtual void Enter(void* item) = 0;

    /// Takes what is next, and waits for it while there is nothing. For the one consumer.
    /// @param item  receives the item; left alone by a message
    /// @return 0 for an item, otherwise the message
    virtual int Remove(void** item) = 0;

    /// Drops the items that wait. Messages stay.
    virtual void Clear() = 0;
};
