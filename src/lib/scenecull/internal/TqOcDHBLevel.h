#pragma once

// Cuts the nodes of one level into runs of at most k, each of which becomes a group. Internal.
//
// By the rules a list of runs is gone over in order: a run is cut until k nodes are left, and the
// second part of each cut goes to the end of the list. So the groups stand in the order of a
// breadth-first walk over the second parts: by generation first. The runs are cut depth first here,
// because a run and what becomes of it stay in the cache that way, the part cut off last before the
// others; that meets the runs of a generation exactly the other way round, and the list is put
// together from that.

#include "scenecull/internal/TqOcDHBCutter.h"
#include "scenecull/internal/TqOcDHBRecords.h"
#include "scenecull/internal/TqOcDHBRuns.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include <algorithm>
#include <cstdint>

/// The nodes of a group to come: a range of the level's nodes.
struct TqOcDHBGroupRange
{
    std::int32_t m_begin;
    std::int32_t m_count;
};

class TqOcDHBLevel
{
public:
    /// @param k  largest number of children of a group, 2 to 7
    explicit TqOcDHBLevel(int k) : m_cutter(m_records, m_runs, k) {}

    TqOcDHBLevel(TqOcDHBLevel const&) = delete;
    TqOcDHBLevel& operator=(TqOcDHBLevel const&) = delete;

    /// Brings `count` nodes, at least one, into the order of their groups' children. Throws
    /// std::bad_alloc when memory is refused; the nodes are then in some order.
    void Divide(TqOcTraversable** nodes, int count);

    int GetNumGroups() const { return m_groups.Size(); }

    /// The range of the nodes that make group `i`, in the order of the level's groups.
    TqOcDHBGroupRange const& GetGroup(int i) const { return m_groups[i]; }

private:
    /// A run of at most k nodes.
    struct FinishedRun
    {
        TqOcDHBGroupRange m_range;
        std::int32_t m_generation;
    };

    void Finish(TqOcDHBRun const& run, TqOcTraversable** nodes);
    void CutAll(TqOcTraversable** nodes, int count);
    void OrderGroups();

    TqOcDHBRecords m_records;
    TqOcDHBRuns m_runs;
    TqOcDHBCutter m_cutter;
    TqOcSHBBuffer<FinishedRun> m_finishedRuns;
    TqOcSHBBuffer<std::int32_t> m_generationEnds;
    TqOcSHBBuffer<TqOcDHBGroupRange> m_groups;
};

inline void TqOcDHBLevel::Divide(TqOcTraversable** nodes, int count)
{
    m_records.Load(nodes, count);
    try {
        CutAll(nodes, count);
        OrderGroups();
    } catch (...) {
        // Some nodes are in their last places, others in their first.
        for (int i = 0; i < count; ++i) {
            nodes[i] = m_records.At(i)->m_node;
        }
        throw;
    }
}

inline void TqOcDHBLevel::CutAll(TqOcTraversable** nodes, int count)
{
    m_finishedRuns.Clear();
    TqOcDHBRun& all = m_runs.Open();
    all.m_box = m_records.Measure(0, count);
    all.m_end = count;
    while (!m_runs.IsEmpty()) {
        TqOcDHBRun& run = m_runs.Take();
        m_cutter.CutDown(run);
        Finish(run, nodes);
        m_runs.Close(run);
    }
}

inline void TqOcDHBLevel::Finish(TqOcDHBRun const& run, TqOcTraversable** nodes)
{
    m_records.ListNodes(run.m_begin, run.GetCount(), run.m_order, nodes + run.m_begin);
    m_finishedRuns.PushBack({{run.m_begin, run.GetCount()}, run.m_generation});
}

inline void TqOcDHBLevel::OrderGroups()
{
    int const numRuns = m_finishedRuns.Size();
    int lastGeneration = 0;
    for (int i = 0; i < numRuns; ++i) {
        lastGeneration = std::max(lastGeneration, m_finishedRuns[i].m_generation);
    }
    m_generationEnds.Clear();
    m_generationEnds.Extend(lastGeneration + 1);
    m_groups.Clear();
    m_groups.Extend(numRuns);
    std::int32_t* const ends = m_generationEnds.Data();
    std::fill(ends, ends + lastGeneration + 1, 0);
    for (int i = 0; i < numRuns; ++i) {
        ++ends[m_finishedRuns[i].m_generation];
    }
    for (int generation = 1; generation <= lastGeneration; ++generation) {
        ends[generation] += ends[generation - 1];
    }
    // Each generation from its end, which turns it around.
    for (int i = 0; i < numRuns; ++i) {
        m_groups[--ends[m_finishedRuns[i].m_generation]] = m_finishedRuns[i].m_range;
    }
}
