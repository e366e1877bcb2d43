#pragma once

// A growable array of 32-bit integers with the record, growth and memory of TqUVoidPtrVector, used
// as scratch for flags and indices.

#include "util/TqUApi.h"

#include <cstdint>

/// Growable array of `std::int32_t`. Indices are not checked. An all-zero record is a valid empty
/// vector. When memory is refused, Reserve and PushBack throw std::bad_alloc and leave the vector
/// as it was.
class TQU_API TqUInt32Vector
{
public:
    /// Empty, without memory.
    constexpr TqUInt32Vector() noexcept = default;
    TqUInt32Vector(TqUInt32Vector const&) = delete;
    TqUInt32Vector& operator=(TqUInt32Vector const&) = delete;

    ~TqUInt32Vector();

    /// Number of elements.
    int Size() const { return static_cast<int>(m_end - m_begin); }

    /// Number of elements that fit without growing.
    int Capacity() const { return static_cast<int>(m_storageEnd - m_begin); }

    /// Non-zero when there are no elements.
    int Empty() const { return m_begin == m_end; }

    /// Pointer to the first element; possibly null when empty.
    std::int32_t* Begin() { return m_begin; }

    /// @copydoc Begin
    std::int32_t const* Begin() const { return m_begin; }

    /// Pointer past the last element.
    std::int32_t* End() { return m_end; }

    /// @copydoc End
    std::int32_t const* End() const { return m_end; }

    /// The element at `i`, 0 <= i < Size().
    std::int32_t& operator[](int i) { return m_begin[i]; }

    /// @copydoc operator[]
    std::int32_t operator[](int i) const { return m_begin[i]; }

    /// Appends an element. Constant time on average.
    void PushBack(std::int32_t value)
    {
        if (m_end == m_storageEnd) {
            Grow();
        }
        *m_end++ = value;
    }

    /// Makes room for `capacity` elements in all; less than the present capacity does nothing.
    void Reserve(int capacity);

    /// Removes all elements and keeps the memory.
    void Clear() { m_end = m_begin; }

private:
    void Grow();
    void Reallocate(int capacity);

    std::int32_t* m_begin = nullptr;      // first element
    std::int32_t* m_end = nullptr;        // past the last element
    std::int32_t* m_storageEnd = nullptr; // past the last element that fits
};
