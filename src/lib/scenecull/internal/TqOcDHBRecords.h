#pragma once

// The records of one level of a dynamic build, and the operations on runs of them that the cut rule
// is made of. Internal.
//
// A run is cut where its order says, but never sorted for that: the record at the place of the cut
// is found by selection among the values of the most significant key, and the records are divided
// by it. Where the cut falls among records with equal keys, the next key divides those, and so on
// down to the rank. Linear in the length of the run.

#include "scenecull/internal/TqOcDHBKernels.h"
#include "scenecull/internal/TqOcDHBRecord.h"
#include "scenecull/internal/TqOcDHBSelector.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include "scenecull/TqOcTraversable.h"

#include "geometry/TqLBox.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

/// A level's records.
class TqOcDHBRecords
{
public:
    static constexpr int s_mostInGroup = 7;

    /// Loads `count` nodes, ranked in their order. Throws std::bad_alloc when memory is refused.
    void Load(TqOcTraversable* const* nodes, int count);

    TqOcDHBRecord* At(int i) { return m_records.Data() + i; }

    TqOcDHBRecord const* At(int i) const { return m_records.Data() + i; }

    /// Whether a centre or extent of the level is NaN.
    bool HasNan() const { return m_hasNan; }

    /// The box around the records [begin, end).
    TqOcDHBBounds Measure(int begin, int end) const
    {
        return TqOcDHBKernels::Measure(At(begin), end - begin);
    }

    /// Whether the records [begin, end) have one and the same box.
    bool AreEqual(int begin, int end) const;

    /// Brings those of the records [begin, end) that come first in `order` in front of `middle`.
    void DivideAt(int begin, int end, int middle, TqOcDHBOrder order);

    /// Brings the records [begin, end) whose key is at most `limit` to the front. `numFront` is
    /// their number.
    void DivideBelow(int begin, int end, int numFront, TqOcDHBKey key, double limit);

    /// Sorts the records [begin, end).
    void Sort(int begin, int end, TqOcDHBOrder order);

    /// Writes the nodes of `count` records from `begin` on, at most s_mostInGroup, in their order.
    void ListNodes(int begin, int count, TqOcDHBOrder order, TqOcTraversable** nodes) const;

private:
    static bool FillRecord(TqLBox3f const& box, TqOcDHBRecord& record);
    bool DivideByKey(int& begin, int& end, int middle, TqOcDHBKey key);
    bool DivideByNan(int& begin, int& end, int middle, TqOcDHBKey key);
    bool DivideByRank(int begin, int end, int middle);
    bool DivideByNumbers(int& begin, int& end, int middle);
    void Divide(int begin, int count, int numFront, TqOcDHBLimit limit);

    TqOcSHBBuffer<TqOcDHBRecord> m_records;
    TqOcSHBBuffer<double> m_numbers;     // scratch: what a run is divided by, one a record
    TqOcSHBBuffer<std::int32_t> m_wrong; // scratch: records on the wrong side
    TqOcDHBSelector m_selector;
    bool m_hasNan = false;
};

// ---- Records ------------------------------------------------------------------------------------

/// Takes a box over; returns whether a key is NaN.
inline bool TqOcDHBRecords::FillRecord(TqLBox3f const& box, TqOcDHBRecord& record)
{
    // Adding to, or subtracting from, a positive zero makes every zero a positive one.
    bool hasNan = false;
    for (int axis = 0; axis < 3; ++axis) {
        double const low = 0.0 + box.GetMin()[axis];
        double const negatedHigh = 0.0 - box.GetMax()[axis];
        record.m_bounds[axis] = low;
        record.m_bounds[3 + axis] = negatedHigh;
        double const centre = low - negatedHigh;
        double const extent = -negatedHigh - low;
        hasNan = hasNan || centre != centre || extent != extent;
    }
    if (hasNan) {
        // One NaN for all, too.
        for (double& bound : record.m_bounds) {
            bound = bound == bound ? bound : std::numeric_limits<double>::quiet_NaN();
        }
    }
    return hasNan;
}

inline void TqOcDHBRecords::Load(TqOcTraversable* const* nodes, int count)
{
    if (m_records.Size() < count) {
        int const numMore = count - m_records.Size();
        m_records.Extend(numMore);
        m_numbers.Extend(numMore);
        m_wrong.Extend(numMore);
        m_selector.Reserve(count);
    }
    m_hasNan = false;
    for (int i = 0; i < count; ++i) {
        TqOcDHBRecord& record = m_records[i];
        m_hasNan = FillRecord(nodes[i]->GetBoundingBox(), record) || m_hasNan;
        record.m_node = nodes[i];
        record.m_rank = i;
    }
}

inline bool TqOcDHBRecords::AreEqual(int begin, int end) const
{
    TqOcDHBRecord const& first = *At(begin);
    // The last first: in a run that is not sorted it differs as likely as any, in a sorted one
    // most.
    for (int i = end - 1; i > begin; --i) {
        if (std::memcmp(At(i)->m_bounds, first.m_bounds, sizeof(first.m_bounds)) != 0) {
            return false;
        }
    }
    return true;
}

inline void TqOcDHBRecords::Sort(int begin, int end, TqOcDHBOrder order)
{
    auto const isBefore = [order](TqOcDHBRecord const& a, TqOcDHBRecord const& b) {
        return order.IsBefore(a, b);
    };
    if (!std::is_sorted(At(begin), At(end), isBefore)) {
        std::sort(At(begin), At(end), isBefore);
    }
}

/// Ranks the records by their most significant key, all against all, which takes no branch; only
/// for pairs whose keys tie, or are NaN, the whole order is asked.
inline void TqOcDHBRecords::ListNodes(int begin, int count, TqOcDHBOrder order,
                                      TqOcTraversable** nodes) const
{
    TqOcDHBRecord const* const records = At(begin);
    double keys[s_mostInGroup];
    int ranks[s_mostInGroup] = {};
    for (int i = 0; i < count; ++i) {
        keys[i] = order.IsEmpty() ? records[i].m_rank : order.GetFirst().Get(records[i]);
    }
    int numRanked = 0;
    for (int i = 1; i < count; ++i) {
        for (int j = 0; j < i; ++j) {
            int const isLess = keys[i] < keys[j] ? 1 : 0;
            int const isMore = keys[j] < keys[i] ? 1 : 0;
            ranks[j] += isLess;
            ranks[i] += isMore;
            numRanked += isLess + isMore;
        }
    }
    if (numRanked != count * (count - 1) / 2) {
        for (int i = 1; i < count; ++i) {
            for (int j = 0; j < i; ++j) {
                if (!(keys[i] < keys[j] || keys[j] < keys[i])) {
                    ++ranks[order.IsBefore(records[i], records[j]) ? j : i];
                }
            }
        }
    }
    for (int i = 0; i < count; ++i) {
        nodes[ranks[i]] = records[i].m_node;
    }
}

// ---- Division -----------------------------------------------------------------------------------

inline void TqOcDHBRecords::DivideAt(int begin, int end, int middle, TqOcDHBOrder order)
{
    for (; !order.IsEmpty(); order = order.GetRest()) {
        if (m_hasNan && DivideByNan(begin, end, middle, order.GetFirst())) {
            return;
        }
        if (DivideByKey(begin, end, middle, order.GetFirst())) {
            return;
        }
    }
    DivideByRank(begin, end, middle);
}

inline void TqOcDHBRecords::DivideBelow(int begin, int end, int numFront, TqOcDHBKey key,
                                        double limit)
{
    int const count = end - begin;
    for (int i = 0; i < count; ++i) {
        m_numbers[i] = key.Get(*At(begin + i));
    }
    Divide(begin, count, numFront, {limit, true});
}

/// Divides by a key, NaN counting as zero.
/// @return true when the run is divided; otherwise [begin, end) is now the part of the run, all
/// with the same key, that the cut falls into
inline bool TqOcDHBRecords::DivideByKey(int& begin, int& end, int middle, TqOcDHBKey key)
{
    int const count = end - begin;
    TqOcDHBRecord const* const records = At(begin);
    double* const numbers = m_numbers.Data();
    for (int i = 0; i < count; ++i) {
        numbers[i] = key.Get(records[i]);
    }
    for (int i = 0; m_hasNan && i < count; ++i) {
        numbers[i] = numbers[i] == numbers[i] ? numbers[i] : 0.0;
    }
    return DivideByNumbers(begin, end, middle);
}

/// As DivideByKey, the numbers before the NaNs.
inline bool TqOcDHBRecords::DivideByNan(int& begin, int& end, int middle, TqOcDHBKey key)
{
    for (int i = 0; i < end - begin; ++i) {
        double const number = key.Get(*At(begin + i));
        m_numbers[i] = number == number ? 0.0 : 1.0;
    }
    return DivideByNumbers(begin, end, middle);
}

/// As DivideByKey; ranks differ, so it always divides.
inline bool TqOcDHBRecords::DivideByRank(int begin, int end, int middle)
{
    for (int i = 0; i < end - begin; ++i) {
        m_numbers[i] = At(begin + i)->m_rank;
    }
    return DivideByNumbers(begin, end, middle);
}

inline bool TqOcDHBRecords::DivideByNumbers(int& begin, int& end, int middle)
{
    int const count = end - begin;
    int const numFront = middle - begin;
    TqOcDHBSelection const cut = m_selector.Select(m_numbers.Data(), count, numFront);
    if (cut.m_numLess > 0) {
        Divide(begin, count, cut.m_numLess, {cut.m_value, false});
    }
    if (cut.m_numLess == numFront) {
        return true;
    }
    begin += cut.m_numLess;
    if (cut.m_numLess + cut.m_numEqual < count) {
        double* const rest = m_numbers.Data() + cut.m_numLess;
        std::copy(rest, rest + (end - begin), m_numbers.Data());
        Divide(begin, end - begin, cut.m_numEqual, {cut.m_value, true});
    }
    end = begin + cut.m_numEqual;
    return false;
}

/// Brings the `numFront` records, of `count` from `begin` on, whose number keeps to the limit to
/// the front, and their numbers with them.
inline void TqOcDHBRecords::Divide(int begin, int count, int numFront, TqOcDHBLimit limit)
{
    double* const numbers = m_numbers.Data();
    std::int32_t* const wrongInFront = m_wrong.Data();
    std::int32_t* const wrongBehind = wrongInFront + numFront;
    int const numWrong = TqOcDHBKernels::List(numbers, 0, numFront, limit, false, wrongInFront);
    TqOcDHBKernels::List(numbers, numFront, count, limit, true, wrongBehind);
    TqOcDHBRecord* const records = At(begin);
    for (int i = 0; i < numWrong; ++i) {
        std::swap(records[wrongInFront[i]], records[wrongBehind[i]]);
        std::swap(numbers[wrongInFront[i]], numbers[wrongBehind[i]]);
    }
}
