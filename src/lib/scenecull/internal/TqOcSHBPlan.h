#pragma once

// The shape of the tree that a static build makes, decided before any node exists. Internal.
//
// Planning first has three uses: a group knows its children's kinds before it makes them, so that
// siblings can lie next to each other in memory; a build that fails has nothing to undo until then;
// and a degenerate depth costs no stack, because the pending parts wait in an array.

#include "scenecull/internal/TqOcSHBBuffer.h"
#include "scenecull/internal/TqOcSHBSplitter.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"
#include "util/TqUPage.h"

#include <cstdint>

/// One node to be made: a group of the planned nodes [m_firstChild, m_firstChild + m_numChildren),
/// or, without children, a leaf of the records [m_first, m_end).
struct TqOcSHBPlanNode
{
    std::int32_t m_first;
    std::int32_t m_end;
    std::int32_t m_firstChild;
    std::int32_t m_numChildren;

    bool IsLeaf() const { return m_numChildren == 0; }
};

/// Plans a build.
class TqOcSHBPlan
{
public:
    /// @param threshold  a store with fewer triangles is not divided; with 0 or less, every store
    /// is above it
    TqOcSHBPlan(TqOcSHBSplitter& splitter, int threshold, TqUComponent const* component)
        : m_splitter(splitter)
        , m_threshold(threshold)
        , m_component(component)
    {}

    /// Plans a tree of all records; node 0 is its root. Records without a finite box form the last
    /// leaf below the root. There must be at least one record.
    void BuildTree();

    /// Plans leaves only, in the order in which they are to be made.
    void BuildLeaves();

    int GetNumNodes() const { return m_nodes.Size(); }

    TqOcSHBPlanNode const& GetNode(int i) const { return m_nodes[i]; }

private:
    static constexpr int s_maxChildren = 6;
    static constexpr int s_maxDepth = 1000;

    struct Pending
    {
        TqOcSHBStore m_store;
        std::int32_t m_node;
        std::int32_t m_depth;
    };

    bool IsBelowThreshold(TqOcSHBStore const& store) const
    {
        return std::int64_t{store.m_tris} < std::int64_t{m_threshold};
    }

    void PlanLeaf(int first, int end) { m_nodes.PushBack({first, end, 0, 0}); }

    void PlanRoot();
    void BuildIndex(Pending const& pending);
    int Divide(TqOcSHBStore (&parts)[s_maxChildren]);

    TqOcSHBSplitter& m_splitter;
    int m_threshold;
    TqUComponent const* m_component;
    TqOcSHBBuffer<TqOcSHBPlanNode> m_nodes;
    TqOcSHBBuffer<Pending> m_pending; // last in, first out: depth first, in the order of the parts
};

inline void TqOcSHBPlan::BuildTree()
{
    PlanRoot();
    while (m_pending.Size() != 0) {
        BuildIndex(m_pending.PopBack());
    }
}

inline void TqOcSHBPlan::PlanRoot()
{
    int const numFinite = m_splitter.GetNumFinite();
    int const numRecords = m_splitter.GetNumRecords();
    if (numFinite == 0) {
        PlanLeaf(0, numRecords);
        return;
    }
    int root = 0;
    if (numFinite != numRecords) {
        m_nodes.PushBack({0, numRecords, 1, 2});
        root = 1;
    }
    PlanLeaf(0, numFinite);
    if (numFinite != numRecords) {
        PlanLeaf(numFinite, numRecords);
    }
    m_pending.PushBack({m_splitter.MakeRoot(), root, 0});
}

/// Decides what a planned leaf becomes: it stays one, or becomes a group of its parts.
inline void TqOcSHBPlan::BuildIndex(Pending const& pending)
{
    if (pending.m_depth > s_maxDepth) {
        TqUError::Post(TqUSysError::eERROR, m_component, "Exceeeded recursion limit");
        return;
    }
    if (IsBelowThreshold(pending.m_store)) {
        return;
    }
    TqOcSHBStore parts[s_maxChildren];
    parts[0] = pending.m_store;
    int const numParts = Divide(parts);
    if (numParts == 1) {
        return;
    }
    int const firstChild = m_nodes.Extend(numParts);
    m_nodes[pending.m_node].m_firstChild = firstChild;
    m_nodes[pending.m_node].m_numChildren = numParts;
    for (int i = 0; i < numParts; ++i) {
        m_nodes[firstChild + i] = {parts[i].m_first, parts[i].m_end, 0, 0};
    }
    for (int i = numParts - 1; i >= 0; --i) {
        m_pending.PushBack({parts[i], firstChild + i, pending.m_depth + 1});
    }
}

/// Divides the first part, and then always the open part of the largest volume, until there are six
/// or no open one is left. Returns the number of parts.
inline int TqOcSHBPlan::Divide(TqOcSHBStore (&parts)[s_maxChildren])
{
    double volumes[s_maxChildren];
    bool open[s_maxChildren] = {};
    volumes[0] = parts[0].m_box.Volume();
    open[0] = true;
    int numParts = 1;
    while (numParts < s_maxChildren) {
        // From -1, so that a part without volume can be chosen. A NaN or minus infinity, which
        // empty boxes have, never is.
        double largest = -1.0;
        int chosen = -1;
        for (int i = 0; i < numParts; ++i) {
            if (open[i] && volumes[i] > largest) {
                largest = volumes[i];
                chosen = i;
            }
        }
        if (chosen < 0) {
            break;
        }
        if (parts[chosen].GetCount() >= 2 && m_splitter.SplitPart(parts[chosen], parts[numParts])) {
            volumes[chosen] = parts[chosen].m_box.Volume();
            volumes[numParts] = parts[numParts].m_box.Volume();
            open[numParts] = true;
            ++numParts;
        } else {
            open[chosen] = false;
        }
    }
    return numParts;
}

inline void TqOcSHBPlan::BuildLeaves()
{
    int const numFinite = m_splitter.GetNumFinite();
    TqOcSHBBuffer<TqOcSHBStore> stores;
    if (numFinite != 0) {
        stores.PushBack(m_splitter.MakeRoot());
    }
    for (int i = 0; i < stores.Size();) {
        bool divided = false;
        if (!IsBelowThreshold(stores[i]) && stores[i].GetCount() >= 2) {
            TqUPage::PageOutIfNeeded();
            TqOcSHBStore rest;
            divided = m_splitter.SplitPart(stores[i], rest);
            if (divided) {
                stores.PushBack(rest);
            }
        }
        i += divided ? 0 : 1;
    }
    for (int i = 0; i < stores.Size(); ++i) {
        PlanLeaf(stores[i].m_first, stores[i].m_end);
    }
    if (numFinite != m_splitter.GetNumRecords()) {
        PlanLeaf(numFinite, m_splitter.GetNumRecords());
    }
}
