#pragma once

// Bounded operations on plain memory.

#include "util/TqUApi.h"

#include <cstddef>

/// Memory helpers that cannot write past their destination.
class TQU_API TqUSysString
{
public:
    /// Copies `count` bytes, but never more than the destination holds. The two may overlap.
    /// @param destinationSize  bytes that may be written
    /// @return bytes copied. A count larger than the destination, or a null pointer with a count
    /// other than 0, posts severity 1 against "TqUSysString"; what fits is copied all the same, and
    /// nothing from or to null.
    static std::size_t Memcpy(void* destination, std::size_t destinationSize, void const* source,
                              std::size_t count);
};
