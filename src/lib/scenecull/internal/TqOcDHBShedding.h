#pragma once

// Takes nodes off the end of a run again and again, now in one order of theirs, now in another.
// Internal.
//
// Both orders are sorted once, and so are the bounds of what is left; taken nodes are skipped when
// the end of an order, or a bound, falls on one of them. All in all O(n log n) for n nodes, however
// many are taken and however often the order changes.

#include "scenecull/internal/TqOcDHBRecord.h"
#include "scenecull/internal/TqOcDHBRecords.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

class TqOcDHBShedding
{
public:
    /// The records [begin, end), none of whose bounds is NaN, in either of two orders. Throws
    /// std::bad_alloc when memory is refused.
    TqOcDHBShedding(TqOcDHBRecords& records, int begin, int end, TqOcDHBOrder const (&orders)[2])
        : m_records(records)
        , m_begin(begin)
        , m_numLeft(end - begin)
    {
        for (int i = 0; i < 2; ++i) {
            TqOcDHBOrder const order = orders[i];
            MakeList(m_orders[i], [this, order](std::int32_t a, std::int32_t b) {
                return order.IsBefore(At(a), At(b));
            });
        }
        for (int bound = 0; bound < 6; ++bound) {
            MakeList(m_bounds[bound], [this, bound](std::int32_t a, std::int32_t b) {
                return At(b).m_bounds[bound] < At(a).m_bounds[bound]; // the least last
            });
        }
        m_isTaken.Extend(m_numLeft);
        std::fill(m_isTaken.Data(), m_isTaken.Data() + m_numLeft, '\0');
        m_places.Extend(m_numLeft);
        m_sorted.Extend(m_numLeft);
    }

    /// Takes the last `count` nodes off in order 0 or 1. They will stand behind what is left, in
    /// front of what was taken before.
    /// @return the box around them
    TqOcDHBBounds Take(int count, int order)
    {
        TqOcDHBBounds box;
        for (int i = 0; i < count; ++i) {
            std::int32_t const last = TakeLast(m_orders[order]);
            m_orders[order].PopBack();
            m_isTaken[last] = 1;
            m_places[--m_numLeft] = last;
            for (int bound = 0; bound < 6; ++bound) {
                box.m_bounds[bound] = std::min(box.m_bounds[bound], At(last).m_bounds[bound]);
            }
        }
        return box;
    }

    /// The box around the nodes that are left; there must be one.
    TqOcDHBBounds GetBox()
    {
        TqOcDHBBounds box;
        for (int bound = 0; bound < 6; ++bound) {
            box.m_bounds[bound] =
                std::min(box.m_bounds[bound], At(TakeLast(m_bounds[bound])).m_bounds[bound]);
        }
        return box;
    }

    /// Puts the records in their places.
    void Finish()
    {
        int const count = m_places.Size();
        int place = 0;
        for (int i = 0; i < count; ++i) {
            if (m_isTaken[i] == 0) {
                m_places[place++] = i;
            }
        }
        for (int i = 0; i < count; ++i) {
            m_sorted[i] = At(m_places[i]);
        }
        std::copy(m_sorted.Data(), m_sorted.Data() + count, m_records.At(m_begin));
    }

private:
    using List = TqOcSHBBuffer<std::int32_t>;

    TqOcDHBRecord const& At(std::int32_t i) const { return *m_records.At(m_begin + i); }

    template <class IsBefore>
    void MakeList(List& list, IsBefore const& isBefore)
    {
        list.Extend(m_numLeft);
        std::iota(list.Data(), list.Data() + m_numLeft, 0);
        std::sort(list.Data(), list.Data() + m_numLeft, isBefore);
    }

    /// The last of the list that is not taken; drops those behind it.
    std::int32_t TakeLast(List& list)
    {
        while (m_isTaken[list[list.Size() - 1]] != 0) {
            list.PopBack();
        }
        return list[list.Size() - 1];
    }

    TqOcDHBRecords& m_records;
    int m_begin;
    int m_numLeft;
    List m_orders[2];
    List m_bounds[6];
    TqOcSHBBuffer<char> m_isTaken;
    List m_places; // filled from the end with those that are taken
    TqOcSHBBuffer<TqOcDHBRecord> m_sorted;
};
