#pragma once

// Scratch memory of the builders: a growable array of plain records from TqUMemory, so that a
// build's scratch is counted and can be refused like all other memory. Internal.

#include "util/TqUMemory.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

/// Array of trivially copyable records, aligned to cache lines. New entries are uninitialised.
/// Throws std::bad_alloc when memory is refused, and is then as before.
template <class T>
class TqOcSHBBuffer
{
    static_assert(std::is_trivially_copyable<T>::value, "records are moved as bytes");

public:
    TqOcSHBBuffer() = default;
    TqOcSHBBuffer(TqOcSHBBuffer const&) = delete;
    TqOcSHBBuffer& operator=(TqOcSHBBuffer const&) = delete;

    ~TqOcSHBBuffer() { Free(); }

    int Size() const { return m_size; }

    T* Data() { return m_data; }

    T const* Data() const { return m_data; }

    T& operator[](int i) { return m_data[i]; }

    T const& operator[](int i) const { return m_data[i]; }

    /// Adds `count` entries behind the others and returns the index of the first of them.
    int Extend(int count)
    {
        int const first = m_size;
        if (m_capacity - m_size < count) {
            Grow(count);
        }
        m_size += count;
        return first;
    }

    /// Adds one entry. `value` may lie in this buffer.
    void PushBack(T const& value)
    {
        T const copy = value;
        int const last = Extend(1);
        m_data[last] = copy;
    }

    /// Removes all entries and keeps the memory.
    void Clear() { m_size = 0; }

    /// Removes the last entry and returns it; the buffer must not be empty.
    T PopBack() { return m_data[--m_size]; }

private:
    static constexpr int s_firstCapacity = 64;

    static std::size_t BytesFor(int capacity)
    {
        return static_cast<std::size_t>(capacity) * sizeof(T);
    }

    void Grow(int extra)
    {
        int const doubled = m_capacity == 0 ? s_firstCapacity : 2 * m_capacity;
        int const capacity = m_size + extra > doubled ? m_size + extra : doubled;
        void* const data = TqUMemory::Alloc(BytesFor(capacity), TqUMemory::eALIGN_CACHE_LINE);
        if (data == nullptr) {
            throw std::bad_alloc();
        }
        if (m_size != 0) {
            std::memcpy(data, m_data, BytesFor(m_size));
        }
        Free();
        m_data = static_cast<T*>(data);
        m_capacity = capacity;
    }

    void Free() { TqUMemory::Dealloc(m_data, BytesFor(m_capacity), TqUMemory::eALIGN_CACHE_LINE); }

    T* m_data = nullptr;
    int m_size = 0;
    int m_capacity = 0;
};
