#pragma once

// An object made in memory that held something else before, so that a member which its constructor
// forgets is not 0 by chance.

#include <cstddef>
#include <new>
#include <utility>

template <class T>
class DirtyStorage
{
public:
    template <class... Arguments>
    explicit DirtyStorage(Arguments&&... arguments)
    {
        // A compiler may leave out plain stores to memory that an object is about to be made in.
        for (std::byte volatile& byte : m_bytes) {
            byte = std::byte(0x41);
        }
        m_object = ::new (static_cast<void*>(m_bytes)) T(std::forward<Arguments>(arguments)...);
    }

    ~DirtyStorage() { m_object->~T(); }

    DirtyStorage(DirtyStorage const&) = delete;
    DirtyStorage& operator=(DirtyStorage const&) = delete;

    T const& operator*() const { return *m_object; }

private:
    alignas(T) std::byte m_bytes[sizeof(T)];
    T* m_object;
};
