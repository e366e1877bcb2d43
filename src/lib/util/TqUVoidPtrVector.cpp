#include "util/TqUVoidPtrVector.h"

#include "util/internal/TqUStorage.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace
{

// memmove that accepts null for an empty range.
void Move(void** to, void* const* from, std::ptrdiff_t count)
{
    if (count > 0) {
        std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(void*));
    }
}

int CheckedCount(std::ptrdiff_t count)
{
    if (count > INT_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<int>(count);
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TqUVoidPtrVector::TqUVoidPtrVector(TqUVoidPtrVector const& other)
    : TqUVoidPtrVector(other.m_begin, other.m_end)
{}

TqUVoidPtrVector::TqUVoidPtrVector(TqUVoidPtrVector&& other) noexcept
{
    Swap(other);
}

TqUVoidPtrVector::TqUVoidPtrVector(void* const* first, void* const* last)
{
    Reserve(CheckedCount(last - first));
    Move(m_begin, first, last - first);
    m_end = m_begin + (last - first);
}

TqUVoidPtrVector::~TqUVoidPtrVector()
{
    TqUStorage::Free(m_begin, m_storageEnd - m_begin);
}

TqUVoidPtrVector& TqUVoidPtrVector::operator=(TqUVoidPtrVector const& other)
{
    if (this != &other) {
        if (other.Size() > Capacity()) {
            TqUVoidPtrVector(other).Swap(*this);
        } else {
            Move(m_begin, other.m_begin, other.Size());
            m_end = m_begin + other.Size();
        }
    }
    return *this;
}

TqUVoidPtrVector& TqUVoidPtrVector::operator=(TqUVoidPtrVector&& other) noexcept
{
    TqUVoidPtrVector taken(std::move(other));
    Swap(taken);
    return *this;
}

void TqUVoidPtrVector::Swap(TqUVoidPtrVector& other) noexcept
{
    std::swap(m_begin, other.m_begin);
    std::swap(m_end, other.m_end);
    std::swap(m_storageEnd, other.m_storageEnd);
}

// ---- Elements -----------------------------------------------------------------------------------

void** TqUVoidPtrVector::Insert(void** at, void* p)
{
    std::ptrdiff_t const index = at - m_begin;
    if (m_end == m_storageEnd) {
        Grow(1);
    }
    void** const place = m_begin + index;
    Move(place + 1, place, m_end - place);
    *place = p;
    ++m_end;
    return place;
}

// The range may lie in this vector. Its start is then remembered as an index, because growing moves
// the array, and what of it lay behind the insertion has moved up by `count` when it is copied:
//
//     before   a b | c d e          insert [b c d] in front of c
//     opened   a b | . . . | c d e
//     copied   a b | b c d | c d e  b from where it was, c d from `count` further up
void TqUVoidPtrVector::Insert(void** at, void* const* first, void* const* last)
{
    std::ptrdiff_t const count = last - first;
    if (count <= 0) {
        return;
    }
    std::less_equal<void* const*> const notAfter;
    bool const own = m_begin != m_end && notAfter(m_begin, first) && notAfter(last, m_end);
    std::ptrdiff_t const source = own ? first - m_begin : 0;
    std::ptrdiff_t const index = at - m_begin;
    if (count > m_storageEnd - m_end) {
        Grow(CheckedCount(count));
    }
    void** const place = m_begin + index;
    Move(place + count, place, m_end - place);
    if (own) {
        std::ptrdiff_t const before = std::clamp(index - source, std::ptrdiff_t{0}, count);
        Move(place, m_begin + source, before);
        Move(place + before, m_begin + source + before + count, count - before);
    } else {
        Move(place, first, count);
    }
    m_end += count;
}

void TqUVoidPtrVector::Erase(void** at)
{
    Erase(at, at + 1);
}

void TqUVoidPtrVector::Erase(void** first, void** last)
{
    Move(first, last, m_end - last);
    m_end -= last - first;
}

int TqUVoidPtrVector::Find(void const* p) const
{
    void* const* const found = std::find(m_begin, m_end, p);
    return found == m_end ? -1 : static_cast<int>(found - m_begin);
}

// ---- Storage ------------------------------------------------------------------------------------

void TqUVoidPtrVector::Reserve(int capacity)
{
    if (capacity > Capacity()) {
        Reallocate(capacity);
    }
}

void TqUVoidPtrVector::Grow(int extra)
{
    Reallocate(TqUStorage::GrownCapacity(Size(), Capacity(), extra));
}

void TqUVoidPtrVector::Reallocate(int capacity)
{
    TqUStorage::Reallocate(m_begin, m_end, m_storageEnd, capacity);
}
