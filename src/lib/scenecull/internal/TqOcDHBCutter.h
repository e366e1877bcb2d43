#pragma once

// The rule by which the dynamic hierarchy builder cuts a run of nodes in two. Internal.
//
// A cut on an axis is good when one half, or the overlap of both, is shorter there than a quarter
// of the run. Axis by axis, the longest first, the rule takes the first of: the middle by centre,
// if good; the small nodes apart from the large ones, if there are any; the first good cut by
// centre at a multiple of the largest group. Where no axis gives a cut, few nodes are distributed
// pair by pair and many are cut in the middle of the longest axis.
//
// Where nodes are flat on an axis the second way sheds only about k of them a cut. When the nodes
// of the run are equal, or overlap so much on the other axes that no part of the run can be cut
// differently, all these cuts are made at once.

#include "scenecull/internal/TqOcDHBRecord.h"
#include "scenecull/internal/TqOcDHBRecords.h"
#include "scenecull/internal/TqOcDHBRuns.h"
#include "scenecull/internal/TqOcDHBShedding.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include "scenecull/TqOcDynamicGroup.h"

#include <algorithm>
#include <cstdint>

/// Cuts the runs of one level.
class TqOcDHBCutter
{
public:
    /// @param k  largest number of children of a group, 2 to 7
    /// @param runs  takes the parts that are cut off
    TqOcDHBCutter(TqOcDHBRecords& records, TqOcDHBRuns& runs, int k)
        : m_records(records)
        , m_runs(runs)
        , m_k(k)
    {}

    /// Cuts a run until at most k nodes are left of it. Throws std::bad_alloc when memory is
    /// refused.
    void CutDown(TqOcDHBRun& run)
    {
        while (run.GetCount() > m_k) {
            if (m_records.AreEqual(run.m_begin, run.m_end)) {
                CutEqual(run);
            } else {
                Cut(run);
            }
        }
    }

private:
    static constexpr double s_quarter = 0.25;
    static constexpr int s_manyNodes = 51;

    /// What the nodes of a run are on one axis.
    struct Census
    {
        int m_numSmall; ///< nodes not longer than a quarter of the run
        bool m_isSolid; ///< all nodes overlap by at least a quarter of the run, and none is small
    };

    void Cut(TqOcDHBRun& run);
    bool CutInTheMiddle(TqOcDHBRun& run, int axis);
    void CutByExtent(TqOcDHBRun& run, int axis, int numSmall);
    bool CutAtFirstGood(TqOcDHBRun& run, int axis);
    void CutPairwise(TqOcDHBRun& run);
    Census TakeCensus(TqOcDHBRun const& run, int axis) const;
    void CutEqual(TqOcDHBRun& run);
    int ChooseEqualCut(TqOcDHBRun const& run) const;
    bool IsFlat(TqOcDHBRun const& run, int axis) const;
    void Shed(TqOcDHBRun& run, int const (&axes)[3], int numAxes);
    void ShedInTwoOrders(TqOcDHBRun& run, int const (&axes)[3]);
    void CutOff(TqOcDHBRun& run, int middle);
    void CutOff(TqOcDHBRun& run, int middle, TqOcDHBBounds const& front, TqOcDHBBounds const& back);

    static bool IsGood(double front, double overlap, double back, double extent)
    {
        return std::min(std::min(front, overlap), back) < s_quarter * extent;
    }

    int GetMiddle(int count) const { return count > 2 * m_k ? count / 2 / m_k * m_k : count / 2; }

    /// Where a run is cut behind its small nodes: at a multiple of k where that is possible.
    int GetExtentCut(int count, int numSmall) const
    {
        int const cut = std::min(numSmall, count - 1);
        return count > 2 * m_k ? std::min(std::max(cut, m_k), count - m_k) / m_k * m_k : cut;
    }

    TqOcDHBBounds* TakeBoxes(int count)
    {
        if (m_boxes.Size() < count) {
            m_boxes.Extend(count - m_boxes.Size());
        }
        return m_boxes.Data();
    }

    TqOcDHBRecords& m_records;
    TqOcDHBRuns& m_runs;
    int m_k;
    TqOcSHBBuffer<TqOcDHBBounds> m_boxes; // scratch: the boxes of all first or second parts
};

/// The axes, the longest first; of equals the lower.
inline void TqOcDHBOrderAxes(TqOcDHBBounds const& box, int (&axes)[3])
{
    axes[0] = 0;
    axes[1] = 1;
    axes[2] = 2;
    if (box.Extent(axes[1]) > box.Extent(axes[0])) {
        std::swap(axes[0], axes[1]);
    }
    if (box.Extent(axes[2]) > box.Extent(axes[1])) {
        std::swap(axes[1], axes[2]);
        if (box.Extent(axes[1]) > box.Extent(axes[0])) {
            std::swap(axes[0], axes[1]);
        }
    }
}

// ---- The rule -----------------------------------------------------------------------------------

inline void TqOcDHBCutter::Cut(TqOcDHBRun& run)
{
    int axes[3];
    TqOcDHBOrderAxes(run.m_box, axes);
    bool isSolid = true; // on all axes so far
    for (int i = 0; i < 3; ++i) {
        int const axis = axes[i];
        if (CutInTheMiddle(run, axis)) {
            return;
        }
        Census const census = TakeCensus(run, axis);
        run.m_order.SortBy(TqOcDHBKey::Extent(axis));
        if (census.m_numSmall > 0) {
            if (isSolid && census.m_numSmall == run.GetCount() && IsFlat(run, axis)) {
                Shed(run, axes, i + 1);
            } else {
                CutByExtent(run, axis, census.m_numSmall);
            }
            return;
        }
        run.m_order.SortBy(TqOcDHBKey::Centre(axis));
        if (!census.m_isSolid && CutAtFirstGood(run, axis)) {
            return;
        }
        isSolid = isSolid && census.m_isSolid;
    }
    if (run.GetCount() < s_manyNodes) {
        CutPairwise(run);
    } else {
        run.m_order.SortBy(TqOcDHBKey::Centre(axes[0]));
        int const middle = run.m_begin + GetMiddle(run.GetCount());
        m_records.DivideAt(run.m_begin, run.m_end, middle, run.m_order);
        CutOff(run, middle);
    }
}

inline bool TqOcDHBCutter::CutInTheMiddle(TqOcDHBRun& run, int axis)
{
    run.m_order.SortBy(TqOcDHBKey::Centre(axis));
    int const middle = run.m_begin + GetMiddle(run.GetCount());
    m_records.DivideAt(run.m_begin, run.m_end, middle, run.m_order);
    TqOcDHBBounds const front = m_records.Measure(run.m_begin, middle);
    TqOcDHBBounds const back = m_records.Measure(middle, run.m_end);
    if (!IsGood(front.Extent(axis), front.High(axis) - back.Low(axis), back.Extent(axis),
                run.m_box.Extent(axis))) {
        return false;
    }
    CutOff(run, middle, front, back);
    return true;
}

/// Takes the small nodes for the first part.
inline void TqOcDHBCutter::CutByExtent(TqOcDHBRun& run, int axis, int numSmall)
{
    // The cut is less than 2 k nodes away from where the small nodes end: those are sought among
    // the small ones or the large ones only.
    int const middle = run.m_begin + GetExtentCut(run.GetCount(), numSmall);
    int const endOfSmall = run.m_begin + numSmall;
    if (endOfSmall < run.m_end) {
        m_records.DivideBelow(run.m_begin, run.m_end, numSmall, TqOcDHBKey::Extent(axis),
                              s_quarter * run.m_box.Extent(axis));
    }
    if (middle < endOfSmall) {
        m_records.DivideAt(run.m_begin, endOfSmall, middle, run.m_order);
    } else if (middle > endOfSmall) {
        m_records.DivideAt(endOfSmall, run.m_end, middle, run.m_order);
    }
    CutOff(run, middle);
}

inline bool TqOcDHBCutter::CutAtFirstGood(TqOcDHBRun& run, int axis)
{
    int const endOfCuts = run.GetCount() - 2 * m_k;
    if (endOfCuts <= m_k) {
        return false;
    }
    int const numCuts = (endOfCuts - 1) / m_k; // at k, 2 k, ... below the end
    m_records.Sort(run.m_begin, run.m_end, run.m_order);
    TqOcDHBBounds* const backs = TakeBoxes(numCuts);
    TqOcDHBBounds back;
    int backBegin = run.m_end;
    for (int i = numCuts - 1; i >= 0; --i) {
        int const middle = run.m_begin + (i + 1) * m_k;
        back.ExtendBy(m_records.Measure(middle, backBegin));
        backBegin = middle;
        backs[i] = back;
    }
    TqOcDHBBounds front;
    int frontEnd = run.m_begin;
    for (int i = 0; i < numCuts; ++i) {
        int const middle = run.m_begin + (i + 1) * m_k;
        front.ExtendBy(m_records.Measure(frontEnd, middle));
        frontEnd = middle;
        if (IsGood(front.Extent(axis), front.High(axis) - backs[i].Low(axis), backs[i].Extent(axis),
                   run.m_box.Extent(axis))) {
            CutOff(run, middle, front, backs[i]);
            return true;
        }
    }
    return false;
}

/// Distributes few nodes pair by pair.
inline void TqOcDHBCutter::CutPairwise(TqOcDHBRun& run)
{
    int const count = run.GetCount();
    m_records.Sort(run.m_begin, run.m_end, run.m_order);
    TqOcDHBRecord* const records = m_records.At(run.m_begin);
    TqOcDHBRecord sorted[s_manyNodes];
    TqOcTraversable* nodes[s_manyNodes];
    TqOcTraversable* parts[s_manyNodes];
    for (int i = 0; i < count; ++i) {
        sorted[i] = records[i];
        nodes[i] = records[i].m_node;
    }
    TqOcDynamicGroup::Split(nodes, count, parts, parts + count / 2);
    for (int i = 0; i < count; ++i) {
        int from = i;
        while (sorted[from].m_node != parts[i]) {
            ++from;
        }
        records[i] = sorted[from];
        records[i].m_rank = run.m_begin + i;
        std::swap(sorted[from], sorted[i]);
    }
    run.m_order = TqOcDHBOrder();
    CutOff(run, run.m_begin + count / 2);
}

/// Counts the small nodes, and looks whether the nodes overlap so much that neither the middle nor
/// any other cut of the run, or of a part of it, is good on the axis: both halves are longer than
/// a node that is not small, and they overlap at least by what all nodes have in common. In a part,
/// that is only larger, and the quarter only smaller. (Differences round monotonically.)
inline TqOcDHBCutter::Census TqOcDHBCutter::TakeCensus(TqOcDHBRun const& run, int axis) const
{
    double const limit = s_quarter * run.m_box.Extent(axis);
    int numSmall = 0;
    double highestLow = -DBL_MAX;
    double lowestHigh = DBL_MAX;
    for (int i = run.m_begin; i < run.m_end; ++i) {
        double const low = m_records.At(i)->m_bounds[axis];
        double const high = -m_records.At(i)->m_bounds[3 + axis];
        numSmall += high - low <= limit ? 1 : 0;
        highestLow = low > highestLow ? low : highestLow;
        lowestHigh = high < lowestHigh ? high : lowestHigh;
    }
    bool const isSolid = numSmall == 0 && !m_records.HasNan() && lowestHigh - highestLow >= limit;
    return {numSmall, isSolid};
}

// ---- Many cuts at once --------------------------------------------------------------------------

/// Cuts a run of nodes with equal boxes: no sort changes their order, and the box of any part is
/// that of the run.
inline void TqOcDHBCutter::CutEqual(TqOcDHBRun& run)
{
    run.m_order = TqOcDHBOrder();
    m_records.Sort(run.m_begin, run.m_end, run.m_order);
    TqOcDHBBounds const box = run.m_box;
    while (run.GetCount() > m_k) {
        int const cut = ChooseEqualCut(run);
        if (cut == 0) {
            CutPairwise(run);
            return;
        }
        CutOff(run, run.m_begin + cut, box, box);
    }
}

/// Where the rule cuts a run of nodes with equal boxes; 0 where it distributes them pair by pair.
inline int TqOcDHBCutter::ChooseEqualCut(TqOcDHBRun const& run) const
{
    int const count = run.GetCount();
    int axes[3];
    TqOcDHBOrderAxes(run.m_box, axes);
    for (int const axis : axes) {
        double const extent = run.m_box.Extent(axis);
        if (IsGood(extent, extent, extent, extent)) {
            return GetMiddle(count);
        }
        if (TqOcDHBKey::Extent(axis).Get(*m_records.At(run.m_begin)) <= s_quarter * extent) {
            return GetExtentCut(count, count);
        }
    }
    return count < s_manyNodes ? 0 : GetMiddle(count);
}

/// Whether all nodes are the same on an axis.
inline bool TqOcDHBCutter::IsFlat(TqOcDHBRun const& run, int axis) const
{
    TqOcDHBRecord const& first = *m_records.At(run.m_begin);
    for (int i = run.m_begin + 1; i < run.m_end; ++i) {
        TqOcDHBRecord const& record = *m_records.At(i);
        if (record.m_bounds[axis] != first.m_bounds[axis] ||
            record.m_bounds[3 + axis] != first.m_bounds[3 + axis]) {
            return false;
        }
    }
    return true;
}

/// Cuts off the last nodes again and again, as long as two groups would be full: where the nodes
/// are the same on an axis on which they count as small, and none of the longer axes allows any
/// part of the run a cut. Each further cut sorts by the same keys, so the order stays; unless the
/// two longer axes change places.
/// @param numAxes  the first of `axes` that were looked at, the last of them the one that cuts
inline void TqOcDHBCutter::Shed(TqOcDHBRun& run, int const (&axes)[3], int numAxes)
{
    m_records.Sort(run.m_begin, run.m_end, run.m_order);
    int const numBoxes = run.GetCount() / m_k;
    TqOcDHBBounds* const fronts = TakeBoxes(numBoxes);
    TqOcDHBBounds front;
    for (int i = 0; i < numBoxes; ++i) {
        int const begin = run.m_begin + i * m_k;
        front.ExtendBy(m_records.Measure(begin, begin + m_k));
        fronts[i] = front;
    }
    int axesNow[3];
    do {
        int const cut = GetExtentCut(run.GetCount(), run.GetCount());
        int const middle = run.m_begin + cut;
        // At most twice k nodes are cut anywhere.
        front = cut % m_k == 0 ? fronts[cut / m_k - 1] : m_records.Measure(run.m_begin, middle);
        CutOff(run, middle, front, m_records.Measure(middle, run.m_end));
        TqOcDHBOrderAxes(run.m_box, axesNow);
    } while (run.GetCount() > 2 * m_k && std::equal(axes, axes + numAxes, axesNow));
    if (run.GetCount() > 2 * m_k) {
        ShedInTwoOrders(run, axes);
    }
}

/// The same where the two longer axes, the first of `axes`, change places time and again: the one
/// that is looked at last counts most in the order.
inline void TqOcDHBCutter::ShedInTwoOrders(TqOcDHBRun& run, int const (&axes)[3])
{
    TqOcDHBOrder orders[2] = {run.m_order, run.m_order};
    orders[1].SortBy(TqOcDHBKey::Extent(axes[0]));
    orders[1].SortBy(TqOcDHBKey::Centre(axes[0]));
    orders[1].SortBy(TqOcDHBKey::Centre(axes[2]));
    orders[1].SortBy(TqOcDHBKey::Extent(axes[2]));
    TqOcDHBShedding shedding(m_records, run.m_begin, run.m_end, orders);
    int axesNow[3];
    do {
        TqOcDHBOrderAxes(run.m_box, axesNow);
        int const order = axesNow[0] == axes[0] ? 0 : 1;
        int const cut = GetExtentCut(run.GetCount(), run.GetCount());
        TqOcDHBBounds const back = shedding.Take(run.GetCount() - cut, order);
        run.m_order = orders[order];
        CutOff(run, run.m_begin + cut, shedding.GetBox(), back);
    } while (run.GetCount() > 2 * m_k);
    shedding.Finish();
}

// ---- Cutting ------------------------------------------------------------------------------------

/// Cuts a run where its records are divided.
inline void TqOcDHBCutter::CutOff(TqOcDHBRun& run, int middle)
{
    CutOff(run, middle, m_records.Measure(run.m_begin, middle),
           m_records.Measure(middle, run.m_end));
}

inline void TqOcDHBCutter::CutOff(TqOcDHBRun& run, int middle, TqOcDHBBounds const& front,
                                  TqOcDHBBounds const& back)
{
    TqOcDHBRun& second = m_runs.Open();
    second.m_box = back;
    second.m_begin = middle;
    second.m_end = run.m_end;
    second.m_order = run.m_order;
    second.m_generation = run.m_generation + 1;
    run.m_box = front;
    run.m_end = middle;
}
