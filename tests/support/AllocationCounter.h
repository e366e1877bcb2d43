#pragma once

// Counts and refuses allocations.
//
// Both kinds are counted: global operator new (replaced for the whole test program by the source
// file that belongs to this header) and TqUMemory::Alloc (through its hook). The two classes share
// the hook and may be used together; neither allocates anything itself while it lives. They are
// meant for one thread at a time, though other threads may allocate meanwhile.

#include <cstddef>

/// Counts the allocations made while it lives, from construction or the last `Reset`.
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();

    AllocationCounter(AllocationCounter const&) = delete;
    AllocationCounter& operator=(AllocationCounter const&) = delete;

    /// Calls of global operator new, in any form.
    [[nodiscard]] std::size_t GetNumNew() const;

    /// Calls of TqUMemory::Alloc, refused ones included.
    [[nodiscard]] std::size_t GetNumMemory() const;

    /// Both together; what a walk that must not touch the heap holds at 0.
    [[nodiscard]] std::size_t GetNum() const { return GetNumNew() + GetNumMemory(); }

    void Reset();

private:
    std::size_t m_startNew;
    std::size_t m_startMemory;
};

/// Lets TqUMemory::Alloc, global operator new or both fail while it lives.
class RefuseAllocations
{
public:
    /// Which allocations are counted towards the n-th, and refused.
    enum Kinds
    {
        eMEMORY = 1,     ///< TqUMemory::Alloc, in any thread
        eGLOBAL_NEW = 2, ///< global operator new in the thread that made the object
        eBOTH = 3
    };

    enum Extent
    {
        eONLY_THIS,    ///< the n-th allocation fails, later ones succeed
        eAND_ALL_LATER ///< the n-th and every later one fail
    };

    /// @param n  which allocation fails, counted from 1 at construction; 0 or less refuses none.
    explicit RefuseAllocations(int n, Extent extent = eONLY_THIS, Kinds kinds = eMEMORY);
    ~RefuseAllocations();

    RefuseAllocations(RefuseAllocations const&) = delete;
    RefuseAllocations& operator=(RefuseAllocations const&) = delete;

    /// How many were refused so far.
    [[nodiscard]] int GetNumRefused() const;
};
