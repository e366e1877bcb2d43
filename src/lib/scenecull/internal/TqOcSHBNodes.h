#pragma once

// Makes the nodes of a planned static build, and takes them back if that fails. Internal.
//
// A group's children are allocated one after the other, directly behind the group's child array and
// in front of what hangs below them, so that a walk that tests a group's children reads
// neighbouring memory. Children are linked to their parents from the leaves up, in the order of the
// parts.

#include "scenecull/internal/TqOcPrefetch.h"
#include "scenecull/internal/TqOcSHBBuffer.h"
#include "scenecull/internal/TqOcSHBPlan.h"
#include "scenecull/internal/TqOcSHBRecord.h"

#include "scenecull/TqOcStaticTraversable.h"

#include <algorithm>
#include <cstdint>

/// The nodes of one plan. Owns them until Release; destroyed before, it leaves the shapes as they
/// were before the build.
class TqOcSHBNodes
{
public:
    /// @param records  what the plan's ranges refer to; must live as long as this
    TqOcSHBNodes(TqOcSHBPlan const& plan, TqOcSHBRecord const* records)
        : m_plan(plan)
        , m_records(records)
    {}

    TqOcSHBNodes(TqOcSHBNodes const&) = delete;
    TqOcSHBNodes& operator=(TqOcSHBNodes const&) = delete;

    ~TqOcSHBNodes()
    {
        for (int i = 0; i < m_nodes.Size(); ++i) {
            TakeBack(m_nodes[i]);
        }
    }

    /// Makes and links everything below the plan's node 0. Throws std::bad_alloc when memory is
    /// refused.
    void MakeTree();

    /// Makes the leaves of a plan that holds nothing else. Throws std::bad_alloc when memory is
    /// refused.
    void MakeLeaves();

    /// The node made for the plan's node `i`; null before it is made.
    TqOcStaticBase* GetNode(int i) const { return m_nodes[i]; }

    /// Hands all nodes to the caller.
    void Release()
    {
        for (int i = 0; i < m_nodes.Size(); ++i) {
            m_nodes[i] = nullptr;
        }
    }

private:
    /// A group whose children are being filled in.
    struct OpenGroup
    {
        std::int32_t m_node;
        std::int32_t m_nextChild;
    };

    void Begin();
    void MakeNode(int i);
    void MakeChildren(int i);
    void Prefetch(TqOcSHBPlanNode const& planned) const;
    void FillLeaf(int i);
    static void TakeBack(TqOcStaticBase* node);

    TqOcSHBPlan const& m_plan;
    TqOcSHBRecord const* m_records;
    TqOcSHBBuffer<TqOcStaticBase*> m_nodes; // one for each of the plan; null while not made
    TqOcSHBBuffer<TqOcShape*> m_shapes;     // scratch: the shapes of one leaf
    TqOcSHBBuffer<OpenGroup> m_openGroups;  // the path from the root
};

inline void TqOcSHBNodes::Begin()
{
    int const numNodes = m_plan.GetNumNodes();
    int mostShapes = 0;
    for (int i = 0; i < numNodes; ++i) {
        TqOcSHBPlanNode const& node = m_plan.GetNode(i);
        if (node.IsLeaf()) {
            mostShapes = std::max(mostShapes, node.m_end - node.m_first);
        }
    }
    m_shapes.Extend(mostShapes);
    m_nodes.Extend(numNodes);
    Release();
}

inline void TqOcSHBNodes::MakeTree()
{
    Begin();
    MakeNode(0);
    if (m_plan.GetNode(0).IsLeaf()) {
        FillLeaf(0);
        return;
    }
    MakeChildren(0);
    while (m_openGroups.Size() != 0) {
        OpenGroup& group = m_openGroups[m_openGroups.Size() - 1];
        TqOcSHBPlanNode const& planned = m_plan.GetNode(group.m_node);
        if (group.m_nextChild == planned.m_numChildren) {
            m_nodes[group.m_node]->EndSet();
            m_openGroups.PopBack();
            continue;
        }
        int const child = planned.m_firstChild + group.m_nextChild++;
        if (m_plan.GetNode(child).IsLeaf()) {
            FillLeaf(child);
        } else {
            MakeChildren(child);
        }
    }
}

inline void TqOcSHBNodes::MakeLeaves()
{
    Begin();
    for (int i = 0; i < m_nodes.Size(); ++i) {
        MakeNode(i);
        FillLeaf(i);
    }
}

inline void TqOcSHBNodes::MakeNode(int i)
{
    if (m_plan.GetNode(i).IsLeaf()) {
        m_nodes[i] = new TqOcStaticLeaf;
    } else {
        m_nodes[i] = new TqOcStaticGroup;
    }
}

/// Gives a group its children, still empty and not yet linked to it, and opens it.
inline void TqOcSHBNodes::MakeChildren(int i)
{
    TqOcSHBPlanNode const& planned = m_plan.GetNode(i);
    TqOcStaticBase* const group = m_nodes[i];
    Prefetch(planned);
    group->BeginSet(planned.m_numChildren);
    for (int part = 0; part < planned.m_numChildren; ++part) {
        MakeNode(planned.m_firstChild + part);
        group->PartSet(part, m_nodes[planned.m_firstChild + part]);
    }
    m_openGroups.PushBack({i, 0});
}

/// Fetches the shapes of a small group while its nodes are made: the records stand in the order of
/// the tree, the shapes lie wherever the application made them.
inline void TqOcSHBNodes::Prefetch(TqOcSHBPlanNode const& planned) const
{
    constexpr int mostShapes = 256;
    if (planned.m_end - planned.m_first <= mostShapes) {
        for (int i = planned.m_first; i < planned.m_end; ++i) {
            TqOcInternal::Prefetch(m_records[i].m_shape);
        }
    }
}

/// Puts the shapes of its records into a leaf.
inline void TqOcSHBNodes::FillLeaf(int i)
{
    TqOcSHBPlanNode const& planned = m_plan.GetNode(i);
    int const count = planned.m_end - planned.m_first;
    for (int shape = 0; shape < count; ++shape) {
        m_shapes[shape] = m_records[planned.m_first + shape].m_shape;
    }
    static_cast<TqOcStaticLeaf*>(m_nodes[i])->SetChildren(m_shapes.Data(), count);
}

/// Deletes a node without letting it delete its children; a leaf's shapes lose it as their parent.
inline void TqOcSHBNodes::TakeBack(TqOcStaticBase* node)
{
    if (node == nullptr) {
        return;
    }
    if (node->IsLeaf()) {
        for (int i = 0; i < node->GetNumChildren(); ++i) {
            node->GetChild(i)->RemoveParent(node);
        }
    }
    node->ResetToEmptyCallerHandlesChildren();
    delete node;
}
