#pragma once

// Divides ranges of shapes for the static hierarchy builder. Internal.
//
// A build copies its items into one contiguous array of records and divides ranges of it in place.
// A store stands for one range; it carries the sum of its centres, so that dividing it takes one
// pass to classify its records against a plane, one to swap those that stand on the wrong side, and
// one to sum up the two new ranges. The records' order is part of the result: it becomes the order
// of the shapes in their leaves.

#include "scenecull/internal/TqOcSHBBuffer.h"
#include "scenecull/internal/TqOcSHBKernels.h"
#include "scenecull/internal/TqOcSHBRecord.h"

#include "scenecull/TqOcShape.h"

#include "geometry/TqLBox.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <algorithm>
#include <cstdint>
#include <utility>

/// An appended shape with the box that it had then.
struct TqOcSHBItem
{
    TqLBox3f m_box;
    TqOcShape* m_shape;
};

/// One part of a build: a range of records, and what it is taken to cover and to hold. Box and
/// triangles are those of the sets that the division put together, which is nearly always, but not
/// by rule, those of the range.
struct TqOcSHBStore
{
    TqLBox3f m_box;
    std::uint32_t m_tris;
    std::int32_t m_first;
    std::int32_t m_end;
    double m_centreSum[3]; ///< of the records in the range, in their order

    int GetCount() const { return m_end - m_first; }
};

/// The records of one build, and the division of their ranges.
class TqOcSHBSplitter
{
public:
    /// @param component  what failed divisions are posted against
    explicit TqOcSHBSplitter(TqUComponent const* component) : m_component(component) {}

    /// Copies `count` items (pointers to TqOcSHBItem): those with a finite box in their order, then
    /// the others in theirs. Throws std::bad_alloc when memory is refused.
    void Load(void const* const* items, int count);

    /// Number of records with a finite box; they stand first.
    int GetNumFinite() const { return m_numFinite; }

    int GetNumRecords() const { return m_records.Size(); }

    TqOcSHBRecord const* GetRecords() const { return m_records.Data(); }

    /// The store of all records with a finite box.
    TqOcSHBStore MakeRoot() const { return MakeStore(m_rootMeasure, 0, m_numFinite); }

    /// Divides `part`, which holds at least two records, into itself and `rest`.
    /// @return false, with both as they were, when no axis divides the part well enough
    bool SplitPart(TqOcSHBStore& part, TqOcSHBStore& rest);

private:
    static void FillRecord(TqOcSHBItem const& item, TqOcSHBRecord& record);
    static TqLBox3f MakeBox(TqOcSHBMeasure const& measure);
    static TqOcSHBStore MakeStore(TqOcSHBMeasure const& measure, int first, int end);
    static bool IsFinite(TqLBox3f const& box);

    bool ChoosePartition(TqOcSHBStore const& part, TqOcSHBPartition& partition);
    bool DivideLeftRight(TqOcSHBStore& part, TqOcSHBStore& rest);
    bool DivideOverflow(TqOcSHBStore& part, TqOcSHBStore& rest, TqOcSHBPartition const& partition);
    bool OverflowSpansBand(TqOcSHBRecord const* records, TqOcSHBPartition const& partition) const;
    static int CollectSpanning(TqOcSHBRecord const* records, int count,
                               TqOcSHBPartition const& partition, std::int32_t* spanning);
    static void MeasureSets(TqOcSHBRecord const* records, int count,
                            TqOcSHBPartition const& partition, TqOcSHBMeasure& overflow,
                            TqOcSHBMeasure& sides);
    void MoveLeftToFront(TqOcSHBRecord* records, int count);
    static void MoveToFront(TqOcSHBRecord* records, std::int32_t const* wanted, int numWanted);
    void DivideAt(int numFront, TqOcSHBStore& part, TqOcSHBStore& rest) const;

    static bool SpansBand(TqOcSHBRecord const& record, TqOcSHBPartition const& partition)
    {
        return TqOcSHBSpansBand(partition, record.m_bounds[partition.m_axis],
                                -record.m_bounds[3 + partition.m_axis]);
    }

    TqUComponent const* m_component;
    TqOcSHBBuffer<TqOcSHBRecord> m_records;
    TqOcSHBBuffer<std::int32_t> m_order;    // scratch of one division: one entry a record
    TqOcSHBBuffer<std::int32_t> m_overflow; // scratch of one division: one entry in four records
    TqOcSHBLists m_lists{};
    TqOcSHBMeasure m_rootMeasure;
    int m_numFinite = 0;
};

// ---- Records ------------------------------------------------------------------------------------

inline bool TqOcSHBSplitter::IsFinite(TqLBox3f const& box)
{
    // The difference of a number and itself is 0, unless it is infinite or NaN.
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        sum +=
            (box.GetMin()[axis] - box.GetMin()[axis]) + (box.GetMax()[axis] - box.GetMax()[axis]);
    }
    return sum == 0.0;
}

inline void TqOcSHBSplitter::FillRecord(TqOcSHBItem const& item, TqOcSHBRecord& record)
{
    for (int axis = 0; axis < 3; ++axis) {
        record.m_bounds[axis] = item.m_box.GetMin()[axis];
        record.m_bounds[3 + axis] = -item.m_box.GetMax()[axis];
    }
    record.m_shape = item.m_shape;
    record.m_tris = item.m_shape->GetTris();
}

inline void TqOcSHBSplitter::Load(void const* const* items, int count)
{
    m_records.Extend(count);
    m_order.Extend(count);
    m_overflow.Extend(count / 4 + 1);

    // Summed up block by block, while a block is in the cache.
    constexpr int blockSize = 128;
    TqOcSHBRecord* const records = m_records.Data();
    int numFinite = 0;
    int numSummed = 0;
    for (int i = 0; i < count; ++i) {
        auto const& item = *static_cast<TqOcSHBItem const*>(items[i]);
        if (IsFinite(item.m_box)) {
            FillRecord(item, records[numFinite++]);
            if (numFinite - numSummed == blockSize) {
                TqOcSHBKernels::Add(records + numSummed, blockSize, m_rootMeasure);
                numSummed = numFinite;
            }
        }
    }
    TqOcSHBKernels::Add(records + numSummed, numFinite - numSummed, m_rootMeasure);
    m_numFinite = numFinite;

    int next = numFinite;
    for (int i = 0; next < count; ++i) {
        auto const& item = *static_cast<TqOcSHBItem const*>(items[i]);
        if (!IsFinite(item.m_box)) {
            FillRecord(item, records[next++]);
        }
    }
}

inline TqLBox3f TqOcSHBSplitter::MakeBox(TqOcSHBMeasure const& measure)
{
    double const* const b = measure.m_bounds;
    return TqLBox3f(TqLPos3f(b[0], b[1], b[2]), TqLPos3f(-b[3], -b[4], -b[5]));
}

inline TqOcSHBStore TqOcSHBSplitter::MakeStore(TqOcSHBMeasure const& measure, int first, int end)
{
    double const* const sum = measure.m_centreSum;
    return {MakeBox(measure), measure.m_tris, first, end, {sum[0], sum[1], sum[2]}};
}

// ---- Division -----------------------------------------------------------------------------------

inline bool TqOcSHBSplitter::SplitPart(TqOcSHBStore& part, TqOcSHBStore& rest)
{
    TqOcSHBPartition partition;
    if (!ChoosePartition(part, partition)) {
        return false;
    }
    return m_lists.m_numOverflow == 0 ? DivideLeftRight(part, rest)
                                      : DivideOverflow(part, rest, partition);
}

/// Tries the axes from the longest to the shortest; the lists of the accepted one stay.
inline bool TqOcSHBSplitter::ChoosePartition(TqOcSHBStore const& part, TqOcSHBPartition& partition)
{
    int const count = part.GetCount();
    TqLVec3f const extent = part.m_box.GetSize();
    int axes[3] = {0, 1, 2};
    // An insertion sort: on equal extents the lower axis stays first.
    if (extent[axes[1]] > extent[axes[0]]) {
        std::swap(axes[0], axes[1]);
    }
    if (extent[axes[2]] > extent[axes[1]]) {
        std::swap(axes[1], axes[2]);
        if (extent[axes[1]] > extent[axes[0]]) {
            std::swap(axes[0], axes[1]);
        }
    }

    m_lists.m_order = m_order.Data();
    m_lists.m_overflow = m_overflow.Data();
    for (int const axis : axes) {
        double const split = part.m_centreSum[axis] / count;
        double const halfBand = extent[axis] * 0.5 * 0.25; // an eighth of the extent
        partition = {axis, split, split - halfBand, split + halfBand};
        if (!TqOcSHBKernels::Classify(m_records.Data() + part.m_first, count, partition, m_lists)) {
            continue;
        }
        int const numRight = count - m_lists.m_numLeft - m_lists.m_numOverflow;
        if (m_lists.m_numLeft != 0 && numRight != 0) {
            return true;
        }
    }
    return false;
}

inline bool TqOcSHBSplitter::DivideLeftRight(TqOcSHBStore& part, TqOcSHBStore& rest)
{
    int const count = part.GetCount();
    int const numLeft = m_lists.m_numLeft;
    if (numLeft == 0 || numLeft == count) {
        TqUError::Post(TqUSysError::eERROR, m_component, "Bad left/right partition");
        return false;
    }
    MoveLeftToFront(m_records.Data() + part.m_first, count);
    DivideAt(numLeft, part, rest);
    return true;
}

/// The front takes the records that span the whole band, the back all others, left and right
/// together; boxes and totals go by the classification. Halves and sets agree unless rounding came
/// in between, or the band is turned around because the part's box is smaller than its contents.
inline bool TqOcSHBSplitter::DivideOverflow(TqOcSHBStore& part, TqOcSHBStore& rest,
                                            TqOcSHBPartition const& partition)
{
    int const count = part.GetCount();
    TqOcSHBRecord* const records = m_records.Data() + part.m_first;
    std::int32_t const* spanning = m_lists.m_overflow;
    int numFront = m_lists.m_numOverflow;
    bool const setsAreHalves = OverflowSpansBand(records, partition);
    if (!setsAreHalves) {
        spanning = m_lists.m_order;
        numFront = CollectSpanning(records, count, partition, m_lists.m_order);
    }
    if (numFront == 0 || numFront == count) {
        TqUError::Post(TqUSysError::eERROR, m_component, "Bad overflow partition");
        return false;
    }

    TqOcSHBMeasure overflow;
    TqOcSHBMeasure sides;
    if (!setsAreHalves) {
        MeasureSets(records, count, partition, overflow, sides);
    }
    MoveToFront(records, spanning, numFront);
    DivideAt(numFront, part, rest);
    if (!setsAreHalves) {
        part.m_box = MakeBox(overflow);
        part.m_tris = overflow.m_tris;
        rest.m_box = MakeBox(sides);
        rest.m_tris = sides.m_tris;
    }
    return true;
}

/// Whether exactly the records that were classified as overflow span the band. A record that spans
/// a band around the split straddles it and reaches too far on the side to which it leans: it is
/// among the overflow, so only those have to be looked at.
inline bool TqOcSHBSplitter::OverflowSpansBand(TqOcSHBRecord const* records,
                                               TqOcSHBPartition const& partition) const
{
    if (!(partition.m_bandLow <= partition.m_split && partition.m_split <= partition.m_bandHigh)) {
        return false;
    }
    return std::all_of(m_lists.m_overflow, m_lists.m_overflow + m_lists.m_numOverflow,
                       [&](std::int32_t i) { return SpansBand(records[i], partition); });
}

inline int TqOcSHBSplitter::CollectSpanning(TqOcSHBRecord const* records, int count,
                                            TqOcSHBPartition const& partition,
                                            std::int32_t* spanning)
{
    int numSpanning = 0;
    for (int i = 0; i < count; ++i) {
        if (SpansBand(records[i], partition)) {
            spanning[numSpanning++] = i;
        }
    }
    return numSpanning;
}

inline void TqOcSHBSplitter::MeasureSets(TqOcSHBRecord const* records, int count,
                                         TqOcSHBPartition const& partition,
                                         TqOcSHBMeasure& overflow, TqOcSHBMeasure& sides)
{
    for (int i = 0; i < count; ++i) {
        double const low = records[i].m_bounds[partition.m_axis];
        double const high = -records[i].m_bounds[3 + partition.m_axis];
        bool const overflows = TqOcSHBClassify(partition, low, high) == TqOcSHBSet::eOVERFLOW;
        TqOcSHBKernels::Add(records + i, 1, overflows ? overflow : sides);
    }
}

// ---- Reordering ---------------------------------------------------------------------------------
// Both forms give the permutation of a scan from either end that swaps mismatched pairs: the scan
// from the front meets the misplaced records in ascending order, the scan from the back in
// descending order, and they meet where the front ends. So the k-th misplaced record from one end
// and the k-th from the other change places.

/// Moves the records that go left to the front, by the lists of the classification.
inline void TqOcSHBSplitter::MoveLeftToFront(TqOcSHBRecord* records, int count)
{
    int const numLeft = m_lists.m_numLeft;
    std::int32_t const* const left = m_lists.m_order + numLeft - 1; // k-th from the back: left[-k]
    std::int32_t const* const other = m_lists.m_order + count - 1; // k-th from the front: other[-k]
    int const maxSwaps = std::min(numLeft, count - numLeft);
    for (int k = 0; k < maxSwaps && other[-k] < left[-k]; ++k) {
        std::swap(records[other[-k]], records[left[-k]]);
    }
}

/// Moves the `numWanted` records whose indices, ascending, are in `wanted` to the front.
inline void TqOcSHBSplitter::MoveToFront(TqOcSHBRecord* records, std::int32_t const* wanted,
                                         int numWanted)
{
    std::int32_t const* next = wanted;
    std::int32_t const* last = wanted + numWanted - 1;
    for (std::int32_t i = 0; i < numWanted; ++i) {
        if (*next == i) {
            ++next;
        } else {
            std::swap(records[i], records[*last--]);
        }
    }
}

/// Cuts the part's range behind its first `numFront` records and sums up both halves.
inline void TqOcSHBSplitter::DivideAt(int numFront, TqOcSHBStore& part, TqOcSHBStore& rest) const
{
    TqOcSHBRecord const* const records = m_records.Data() + part.m_first;
    int const middle = part.m_first + numFront;
    TqOcSHBMeasure front;
    TqOcSHBMeasure back;
    TqOcSHBKernels::Add(records, numFront, front);
    TqOcSHBKernels::Add(records + numFront, part.GetCount() - numFront, back);
    rest = MakeStore(back, middle, part.m_end);
    part = MakeStore(front, part.m_first, middle);
}
