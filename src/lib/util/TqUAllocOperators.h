#pragma once

// The allocation operators that every node class and pointer vector shares, in five forms:
//   new Node                      TqUMemory, throws std::bad_alloc when memory is refused
//   new (fastArena) Node          a block of a TqUFastArena*
//   new (arena) Node              a block of a TqUArena*
//   new (rawArena) Node           a block of a TqURawArena*
//   new (address) Node            at the given void*
// An arena's fixed block size must fit the object: the size asked for is not passed on. The arena
// forms yield null, and construct nothing, when memory is refused. `delete` is for objects of the
// plain form only; the others are released by their arena or by the owner of the address.

#include "util/TqUArena.h"
#include "util/TqUAssert.h"
#include "util/TqUMemory.h"

#include <cstddef>
#include <new>

/// Base that gives a class and all classes derived from it the five forms. It has no members and
/// adds nothing to a record's size.
/// @tparam Record  the class that derives from this base; its size is what a plain release passes
/// on, whatever the derived class (TqUMemory finds the true size by itself)
template <class Record>
class TqUAllocOperators
{
public:
    /// From TqUMemory; throws std::bad_alloc when memory is refused.
    static void* operator new(std::size_t size)
    {
        return OrThrow(TqUMemory::Alloc(size, TqUMemory::eALIGN_DEFAULT));
    }

    /// To TqUMemory. Null is allowed.
    static void operator delete(void* p) noexcept
    {
        TqUMemory::Dealloc(p, sizeof(Record), TqUMemory::eALIGN_DEFAULT);
    }

    /// The plain form for a derived class with an extended alignment, up to 64 bytes; a larger one
    /// throws std::bad_alloc.
    static void* operator new(std::size_t size, std::align_val_t alignment)
    {
        constexpr std::size_t s_largest = 64;
        if (static_cast<std::size_t>(alignment) > s_largest) {
            throw std::bad_alloc();
        }
        return OrThrow(TqUMemory::Alloc(size, TqUMemory::eALIGN_CACHE_LINE));
    }

    /// To TqUMemory. Null is allowed.
    static void operator delete(void* p, std::align_val_t) noexcept
    {
        TqUMemory::Dealloc(p, sizeof(Record), TqUMemory::eALIGN_CACHE_LINE);
    }

    /// A block of `arena`, which must not be null; null when memory is refused.
    static void* operator new(std::size_t size, TqUFastArena* arena) noexcept
    {
        return BlockOf(arena, size);
    }

    /// Back to `arena`. Runs when a constructor throws; may be called after a destructor.
    static void operator delete(void* p, TqUFastArena* arena) noexcept { arena->Dealloc(p); }

    /// A block of `arena`, which must not be null; null when memory is refused.
    static void* operator new(std::size_t size, TqUArena* arena) noexcept
    {
        return BlockOf(arena, size);
    }

    /// Back to `arena`, through the raw arena's release.
    static void operator delete(void* p, TqUArena* arena) noexcept
    {
        arena->TqURawArena::Dealloc(p);
    }

    /// A block of `arena`, which must not be null; null when memory is refused.
    static void* operator new(std::size_t size, TqURawArena* arena) noexcept
    {
        return BlockOf(arena, size);
    }

    /// Back to `arena`.
    static void operator delete(void* p, TqURawArena* arena) noexcept { arena->Dealloc(p); }

    /// At `address`, which must have room for the object and its alignment.
    static void* operator new(std::size_t, void* address) noexcept { return address; }

    /// Does nothing: the address belongs to the caller.
    static void operator delete(void*, void*) noexcept {}

protected:
    // Only ever a base, and never deleted through it.
    TqUAllocOperators() = default;
    TqUAllocOperators(TqUAllocOperators const&) = default;
    TqUAllocOperators& operator=(TqUAllocOperators const&) = default;
    ~TqUAllocOperators() = default;

private:
    static void* OrThrow(void* block)
    {
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return block;
    }

    template <class Arena>
    static void* BlockOf(Arena* arena, std::size_t size) noexcept
    {
        TQU_ASSERT(size <= arena->GetBlockSize());
        static_cast<void>(size);
        return arena->Alloc();
    }
};
