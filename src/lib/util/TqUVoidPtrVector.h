#pragma once

// A growable array of untyped pointers, the one implementation under every TqUPtrVector<T>. The
// record is three pointers and an all-zero record is a valid empty vector, so that a vector may be
// made from zeroed memory. Memory comes from TqUMemory, capacity at least doubles when it has to
// grow. The vector never owns what its pointers point to.

#include "util/TqUApi.h"

/// Growable array of `void*`. Indices and iterators are not checked. Iterators stay valid until an
/// operation changes the capacity; those behind an insertion or removal then point to neighbours.
///
/// An operation that needs more memory than it gets (or more than INT_MAX elements) throws
/// std::bad_alloc and leaves the vector as it was.
class TQU_API TqUVoidPtrVector
{
public:
    /// Empty, without memory.
    constexpr TqUVoidPtrVector() noexcept = default;

    /// A copy of the elements, with a capacity that just fits.
    TqUVoidPtrVector(TqUVoidPtrVector const& other);

    /// Takes the elements over; `other` is left empty.
    TqUVoidPtrVector(TqUVoidPtrVector&& other) noexcept;

    /// A copy of the elements [first, last), with a capacity that just fits.
    TqUVoidPtrVector(void* const* first, void* const* last);

    /// Frees the array, not what its pointers point to.
    ~TqUVoidPtrVector();

    /// Replaces the elements by a copy of those of `other`; the capacity never shrinks.
    TqUVoidPtrVector& operator=(TqUVoidPtrVector const& other);

    /// Takes the elements over and frees the own array; `other` is left empty.
    TqUVoidPtrVector& operator=(TqUVoidPtrVector&& other) noexcept;

    /// Number of elements.
    int Size() const { return static_cast<int>(m_end - m_begin); }

    /// Number of elements that fit without growing.
    int Capacity() const { return static_cast<int>(m_storageEnd - m_begin); }

    /// Non-zero when there are no elements.
    int Empty() const { return m_begin == m_end; }

    /// Pointer to the first element; equal to End() when empty, and then possibly null.
    void** Begin() { return m_begin; }

    /// @copydoc Begin
    void* const* Begin() const { return m_begin; }

    /// Pointer past the last element.
    void** End() { return m_end; }

    /// @copydoc End
    void* const* End() const { return m_end; }

    /// The element at `i`, 0 <= i < Size().
    void*& operator[](int i) { return m_begin[i]; }

    /// @copydoc operator[]
    void* operator[](int i) const { return m_begin[i]; }

    /// The first element; the vector must not be empty.
    void*& Front() { return *m_begin; }

    /// @copydoc Front
    void* Front() const { return *m_begin; }

    /// The last element; the vector must not be empty.
    void*& Back() { return m_end[-1]; }

    /// @copydoc Back
    void* Back() const { return m_end[-1]; }

    /// Appends an element. Constant time on average.
    void PushBack(void* p)
    {
        if (m_end == m_storageEnd) {
            Grow(1);
        }
        *m_end++ = p;
    }

    /// Removes the last element; the vector must not be empty.
    void PopBack() { --m_end; }

    /// Inserts an element in front of `at`, Begin() <= at <= End().
    /// @return where the new element stands. Linear in the number of elements behind it.
    void** Insert(void** at, void* p);

    /// Inserts the elements [first, last) in their order in front of `at`. The range may lie in
    /// this vector itself: the elements are inserted as they were before the call.
    void Insert(void** at, void* const* first, void* const* last);

    /// Removes the element at `at`, keeping the order of the rest. Linear in those behind it.
    void Erase(void** at);

    /// Removes the elements [first, last), keeping the order of the rest.
    void Erase(void** first, void** last);

    /// Makes room for `capacity` elements in all; less than the present capacity does nothing.
    void Reserve(int capacity);

    /// Removes all elements and keeps the memory.
    void Clear() { m_end = m_begin; }

    /// Index of the first element equal to `p`, or -1. Linear.
    int Find(void const* p) const;

    /// Exchanges the elements and the memory of two vectors. Constant time.
    void Swap(TqUVoidPtrVector& other) noexcept;

private:
    void Grow(int extra);
    void Reallocate(int capacity);

    void** m_begin = nullptr;      // first element
    void** m_end = nullptr;        // past the last element
    void** m_storageEnd = nullptr; // past the last element that fits
};
