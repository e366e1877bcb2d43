#pragma once

// What the pointer vector and the integer vector share: how capacity grows, and moving elements
// into a larger array. Both throw std::bad_alloc before anything has been changed.

#include "util/TqUMemory.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

/// Storage of a growable array that is held as three pointers: first element, past the last
/// element, past the last element that fits.
struct TqUStorage
{
    /// Capacity for `extra` more elements than `size`: at least twice `capacity`, at least 4.
    static int GrownCapacity(int size, int capacity, int extra)
    {
        constexpr int least = 4;
        if (extra > INT_MAX - size) {
            throw std::bad_alloc();
        }
        int const needed = size + extra;
        int grown = capacity > INT_MAX / 2 ? INT_MAX : 2 * capacity;
        if (grown < least) {
            grown = least;
        }
        return grown < needed ? needed : grown;
    }

    /// Releases an array of `capacity` elements; null is allowed.
    template <class Element>
    static void Free(Element* array, std::ptrdiff_t capacity)
    {
        TqUMemory::Dealloc(array, static_cast<std::size_t>(capacity) * sizeof(Element),
                           TqUMemory::eALIGN_DEFAULT);
    }

    /// Moves an array into storage for `capacity` elements, not fewer than it has.
    template <class Element>
    static void Reallocate(Element*& begin, Element*& end, Element*& storageEnd, int capacity)
    {
        auto const count = static_cast<std::size_t>(capacity);
        if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(Element)) {
            throw std::bad_alloc();
        }
        void* const memory = TqUMemory::Alloc(count * sizeof(Element), TqUMemory::eALIGN_DEFAULT);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        auto* const array = static_cast<Element*>(memory);
        std::ptrdiff_t const size = end - begin;
        if (size != 0) {
            std::memcpy(array, begin, static_cast<std::size_t>(size) * sizeof(Element));
        }
        Free(begin, storageEnd - begin);
        begin = array;
        end = array + size;
        storageEnd = array + capacity;
    }
};
