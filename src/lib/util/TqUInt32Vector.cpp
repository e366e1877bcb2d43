#include "util/TqUInt32Vector.h"

#include "util/internal/TqUStorage.h"

TqUInt32Vector::~TqUInt32Vector()
{
    TqUStorage::Free(m_begin, m_storageEnd - m_begin);
}

void TqUInt32Vector::Reserve(int capacity)
{
    if (capacity > Capacity()) {
        Reallocate(capacity);
    }
}

void TqUInt32Vector::Grow()
{
    Reallocate(TqUStorage::GrownCapacity(Size(), Capacity(), 1));
}

void TqUInt32Vector::Reallocate(int capacity)
{
    TqUStorage::Reallocate(m_begin, m_end, m_storageEnd, capacity);
}
