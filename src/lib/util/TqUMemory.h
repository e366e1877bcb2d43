#pragma once

// The one source of the library's heap memory: nodes, child arrays, vectors and pool chunks all
// come from here, so that live memory can be counted, limited (TqUPage) and refused (tests).
// Every block knows its own size: a 16-byte header stands in front of it, and the size handed back
// on release is not relied on. The process's own operator new is left alone.
// Cost: malloc plus two relaxed atomic additions.

#include "util/TqUApi.h"

#include <cstddef>

/// General allocator with live counts and a hook. Alloc, Dealloc and the counts may be used from
/// several threads at once.
class TQU_API TqUMemory
{
public:
    /// Allocation class: how the first byte of a block is aligned.
    enum Alignment
    {
        eALIGN_DEFAULT = 1,   ///< 16 bytes; what nodes, arrays and vectors use
        eALIGN_CACHE_LINE = 2 ///< 64 bytes; what the arenas use for their chunks
    };

    /// Decides whether a block may be allocated; false refuses it. Must not throw and must not
    /// allocate from TqUMemory.
    /// @param size  bytes asked for
    /// @param userData  as given to SetAllocHook
    using AllocHook = bool (*)(std::size_t size, void* userData);

    /// Allocates a block of uninitialised memory.
    /// @param size  bytes; 0 gives a block of its own too, with no byte to use
    /// @param alignment  any value other than eALIGN_CACHE_LINE counts as eALIGN_DEFAULT
    /// @return the block, to be released with Dealloc; null when the hook refuses or the system has
    /// no memory. Never throws. A null result is remembered until ClearRefused.
    static void* Alloc(std::size_t size, Alignment alignment) noexcept;

    /// Releases a block that Alloc returned. Null is allowed and does nothing.
    /// @param size, alignment  accepted for symmetry and ignored: the block's own record is used,
    /// because a derived object is released with the size of its base record
    static void Dealloc(void* block, std::size_t size, Alignment alignment) noexcept;

    /// Number of blocks allocated and not yet released.
    static std::size_t GetLiveBlocks() noexcept;

    /// Sum of the sizes that were asked for, over all live blocks, in bytes (headers excluded).
    static std::size_t GetLiveBytes() noexcept;

    /// Asks `hook` before every allocation from now on; null asks nobody (the default). Call it
    /// while no other thread allocates.
    static void SetAllocHook(AllocHook hook, void* userData) noexcept;

    /// Non-zero when an Alloc has returned null since the last ClearRefused.
    static int HasRefused() noexcept;

    /// Forgets refused allocations.
    static void ClearRefused() noexcept;
};
