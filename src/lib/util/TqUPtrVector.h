#pragma once

// The typed pointer vector of every interface that passes lists of nodes or shapes. It is a thin
// wrapper: the record is exactly a TqUVoidPtrVector, every operation is that vector's operation of
// the same name, and the wrapper can be handed out as its untyped vector without copying. It does
// not own what its pointers point to. T may be an incomplete type, but not const.

#include "util/TqUAllocOperators.h"
#include "util/TqUVoidPtrVector.h"

/// Growable array of `T*`. Bounds are not checked; iterators, growth and what happens when memory
/// is refused (std::bad_alloc, the vector unchanged) are as TqUVoidPtrVector documents them.
template <class T>
class TqUPtrVector : public TqUAllocOperators<TqUPtrVector<T>>
{
public:
    /// Empty, without memory.
    TqUPtrVector() noexcept = default;

    /// A copy of the elements [first, last).
    TqUPtrVector(T* const* first, T* const* last) : m_vector(Untyped(first), Untyped(last)) {}

    /// Copying copies the pointers, not what they point to.
    TqUPtrVector(TqUPtrVector const& other) = default;
    TqUPtrVector& operator=(TqUPtrVector const& other) = default;

    /// Moving leaves the other vector empty.
    TqUPtrVector(TqUPtrVector&& other) noexcept = default;
    TqUPtrVector& operator=(TqUPtrVector&& other) noexcept = default;

    /// Frees the array, not what its pointers point to.
    ~TqUPtrVector() = default;

    /// The same vector, untyped.
    TqUVoidPtrVector& AsVoidPtrVector() { return m_vector; }

    /// @copydoc AsVoidPtrVector
    TqUVoidPtrVector const& AsVoidPtrVector() const { return m_vector; }

    /// Exchanges the elements and the memory of two vectors. Constant time.
    void Swap(TqUPtrVector& other) noexcept { m_vector.Swap(other.m_vector); }

    /// Number of elements.
    int Size() const { return m_vector.Size(); }

    /// Number of elements that fit without growing.
    int Capacity() const { return m_vector.Capacity(); }

    /// Non-zero when there are no elements.
    int Empty() const { return m_vector.Empty(); }

    /// The element at `i`, 0 <= i < Size().
    T*& ItemAt(int i) { return Begin()[i]; }

    /// @copydoc ItemAt
    T* ItemAt(int i) const { return Begin()[i]; }

    /// The element at `i`, 0 <= i < Size().
    T*& operator[](int i) { return Begin()[i]; }

    /// @copydoc operator[]
    T* operator[](int i) const { return Begin()[i]; }

    /// The first element; the vector must not be empty.
    T*& Front() { return *Begin(); }

    /// @copydoc Front
    T* Front() const { return *Begin(); }

    /// The last element; the vector must not be empty.
    T*& Back() { return End()[-1]; }

    /// @copydoc Back
    T* Back() const { return End()[-1]; }

    /// Pointer to the first element; equal to End() when empty, and then possibly null.
    T** Begin() { return Typed(m_vector.Begin()); }

    /// @copydoc Begin
    T* const* Begin() const { return Typed(m_vector.Begin()); }

    /// Pointer past the last element.
    T** End() { return Typed(m_vector.End()); }

    /// @copydoc End
    T* const* End() const { return Typed(m_vector.End()); }

    /// Appends an element. Constant time on average.
    void PushBack(T* p) { m_vector.PushBack(p); }

    /// Removes the last element; the vector must not be empty.
    void PopBack() { m_vector.PopBack(); }

    /// Inserts an element in front of `at`, Begin() <= at <= End(), and returns where it stands.
    T** Insert(T** at, T* p) { return Typed(m_vector.Insert(Untyped(at), p)); }

    /// Inserts the elements [first, last) in front of `at`; the range may lie in this vector.
    void Insert(T** at, T* const* first, T* const* last)
    {
        m_vector.Insert(Untyped(at), Untyped(first), Untyped(last));
    }

    /// Removes the element at `at`, keeping the order of the rest.
    void Erase(T** at) { m_vector.Erase(Untyped(at)); }

    /// Removes the elements [first, last), keeping the order of the rest.
    void Erase(T** first, T** last) { m_vector.Erase(Untyped(first), Untyped(last)); }

    /// Index of the first element equal to `p`, or -1. Linear.
    int Find(T const* p) const { return m_vector.Find(p); }

    /// Makes room for `capacity` elements in all; less than the present capacity does nothing.
    void Reserve(int capacity) { m_vector.Reserve(capacity); }

    /// Removes all elements and keeps the memory.
    void Clear() { m_vector.Clear(); }

private:
    // Pointers to objects share one representation on every platform the library is built for, and
    // compilers let void* alias all of them; so the untyped array is read as an array of T*.
    static T** Typed(void** p) { return reinterpret_cast<T**>(p); }

    static T* const* Typed(void* const* p) { return reinterpret_cast<T* const*>(p); }

    static void** Untyped(T** p) { return reinterpret_cast<void**>(p); }

    static void* const* Untyped(T* const* p) { return reinterpret_cast<void* const*>(p); }

    TqUVoidPtrVector m_vector;
};

static_assert(sizeof(TqUPtrVector<int>) == sizeof(TqUVoidPtrVector),
              "a typed vector has exactly the record of the untyped one");
static_assert(sizeof(TqUVoidPtrVector) == 3 * sizeof(void*), "the record is three pointers");
