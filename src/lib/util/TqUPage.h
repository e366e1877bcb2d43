#pragma once

// Memory pressure. The render walk asks IsOutOfMemory and clips its frame; the builders call
// PageOutIfNeeded as they work, so that a host can give memory back in time. Both answer from the
// live bytes of TqUMemory against a limit that the host sets, and from refused allocations.
// Used from one thread at a time. Cost: a few loads.

#include "util/TqUApi.h"

#include <cstddef>

/// Memory-pressure services.
class TQU_API TqUPage
{
public:
    /// Asks the host to free what it can. It may allocate and release memory; calls of
    /// PageOutIfNeeded from within it do nothing.
    using PageOutCallback = void (*)(void* userData);

    /// Non-zero when the live bytes of TqUMemory exceed the limit, or when an allocation has been
    /// refused since the last ClearRefusedAllocation.
    static int IsOutOfMemory();

    /// Calls the page-out callback, if there is one, when the live bytes of TqUMemory exceed nine
    /// tenths of the limit. Does nothing without a limit. While memory stays short the callback is
    /// called each time.
    static void PageOutIfNeeded();

    /// Sets the limit on live bytes; 0, the default, is no limit. Allocations beyond the limit
    /// still succeed.
    static void SetMemoryLimit(std::size_t bytes);

    /// The limit on live bytes; 0 is none.
    static std::size_t GetMemoryLimit();

    /// Sets the callback of PageOutIfNeeded; null, the default, calls nobody.
    static void SetPageOutCallback(PageOutCallback callback, void* userData);

    /// Forgets refused allocations; done at the start of every frame.
    static void ClearRefusedAllocation();

    /// Component "TqUPage"; reference counted. Limit and callback do not depend on it.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};
