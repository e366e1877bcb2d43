#include "scenecull/internal/TqOcDHBLevel.h"
#include "scenecull/internal/TqOcDynamicGroupParts.h"
#include "scenecull/internal/TqOcPrefetch.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"

#include "util/TqUError.h"
#include "util/TqUPage.h"

#include <algorithm>
#include <memory>

using TqOcInternal::GetDynamicGroupComponent;

namespace
{

constexpr int s_smallestK = 2;
constexpr int s_largestK = TqOcDynamicGroup::eMAX_CHILDREN;

int CheckK(int k)
{
    int const nearest = std::min(std::max(k, s_smallestK), s_largestK);
    if (nearest != k) {
        TqUError::Post(TqUSysError::eWARNING, &GetDynamicGroupComponent(),
                       "Build: groups of %d are not possible; %d is used", k, nearest);
    }
    return nearest;
}

constexpr int s_noDepth = -1;

/// Levels of groups under a node that can hang in a dynamic tree; s_noDepth for other nodes.
int GetDepth(TqOcTraversable* node)
{
    if (node == nullptr) {
        return s_noDepth;
    }
    if (node->IsLeaf() != 0) {
        return 0;
    }
    auto* const group = dynamic_cast<TqOcDynamicGroup*>(node);
    return group != nullptr ? group->CalcDepth() : s_noDepth;
}

/// Brings all nodes up to date that can hang in a tree, then those that can form one to the front;
/// posts if there are others.
/// @return how many can
int SelectNodes(TqUPtrVector<TqOcTraversable>& nodes)
{
    bool const isAlone = nodes.Size() == 1; // it is brought up to date with the root
    int depth = s_noDepth;
    bool areAll = true;
    for (int i = 0; i < nodes.Size(); ++i) {
        TqOcTraversable* const node = nodes[i];
        int nodeDepth = GetDepth(node);
        if (nodeDepth != s_noDepth && node->GetModified() != 0 && !isAlone) {
            node->Update();
            nodeDepth = GetDepth(node);
        }
        depth = depth == s_noDepth ? nodeDepth : depth;
        areAll = areAll && nodeDepth != s_noDepth && nodeDepth == depth;
    }
    if (areAll) {
        return nodes.Size();
    }
    auto const rest =
        std::stable_partition(nodes.Begin(), nodes.End(), [depth](TqOcTraversable* node) {
            return depth != s_noDepth && GetDepth(node) == depth;
        });
    auto const count = static_cast<int>(rest - nodes.Begin());
    TqUError::Post(TqUSysError::eERROR, &GetDynamicGroupComponent(),
                   "Build: %d of %d nodes left out: null, or neither leaves nor dynamic groups of "
                   "one depth",
                   nodes.Size() - count, nodes.Size());
    return count;
}

} // namespace

/// The groups of one build. Owns them until Release; destroyed before, it leaves the nodes without
/// links to them.
class TqOcDynamicHierarchyBuilder::Groups
{
public:
    explicit Groups(int k) : m_level(k) {}

    Groups(Groups const&) = delete;
    Groups& operator=(Groups const&) = delete;

    ~Groups()
    {
        // Parents first: the children live as long as their links are taken.
        while (m_numGroups > 0) {
            TakeBack(m_groups[--m_numGroups]);
        }
    }

    /// Makes a group of at most k nodes, or of none.
    TqOcDynamicGroup* MakeGroup(TqOcTraversable** nodes, int count);

    /// Makes the groups of a level and of all above it.
    void MakeTree(TqOcTraversable** nodes, int count);

    /// Hands all groups over; the last one made is the root.
    TqOcDynamicGroup* Release()
    {
        TqOcDynamicGroup* const root = m_groups[m_numGroups - 1];
        m_numGroups = 0;
        return root;
    }

private:
    static void TakeBack(TqOcDynamicGroup* group);
    static bool HasShortGroupBelow(TqOcDynamicGroup* group);

    TqOcDHBLevel m_level;
    TqOcSHBBuffer<TqOcDynamicGroup*> m_groups; // in the order of their making
    TqOcSHBBuffer<TqOcTraversable*> m_nodes;   // of the present level above the first
    int m_numGroups = 0;
};

inline void TqOcDynamicHierarchyBuilder::Groups::TakeBack(TqOcDynamicGroup* group)
{
    for (int i = 0; i < group->m_numChildren; ++i) {
        group->m_children[i]->RemoveParent(group);
    }
    group->m_numChildren = 0;
    delete group;
}

inline TqOcDynamicGroup* TqOcDynamicHierarchyBuilder::Groups::MakeGroup(TqOcTraversable** nodes,
                                                                        int count)
{
    if (m_groups.Size() == m_numGroups) {
        m_groups.Extend(1);
    }
    auto group = std::make_unique<TqOcDynamicGroup>();
    group->InitChildren(nodes, count);
    m_groups[m_numGroups++] = group.get();
    TqOcDynamicGroup* const made = group.release();
    made->Notify(TqOcBaseTraversable::eMODIFIED_ALL);
    made->UpdateKeepStructure();
    made->PutDerivedFlag(HasShortGroupBelow(made) ? 1 : 0);
    return made;
}

/// Whether a repair of the tree would find something: as in trees built by hand, groups may have
/// too few children.
inline bool TqOcDynamicHierarchyBuilder::Groups::HasShortGroupBelow(TqOcDynamicGroup* group)
{
    for (int i = 0; group->HoldsGroups() && i < group->m_numChildren; ++i) {
        TqOcDynamicGroup const* const child = group->GetChildGroup(i);
        if (child->m_numChildren < TqOcDynamicGroup::eMIN_CHILDREN || child->IsHandmade() != 0) {
            return true;
        }
    }
    return false;
}

inline void TqOcDynamicHierarchyBuilder::Groups::MakeTree(TqOcTraversable** nodes, int count)
{
    constexpr int s_prefetchDistance = 4;
    do {
        m_level.Divide(nodes, count);
        int const numGroups = m_level.GetNumGroups();
        int const first = m_numGroups;
        m_groups.Extend(first + numGroups - m_groups.Size());
        for (int i = 0; i < numGroups; ++i) {
            if (i + s_prefetchDistance < numGroups) {
                TqOcDHBGroupRange const& ahead = m_level.GetGroup(i + s_prefetchDistance);
                TqOcInternal::PrefetchNodes(nodes + ahead.m_begin, ahead.m_count);
            }
            TqUPage::PageOutIfNeeded();
            TqOcDHBGroupRange const& range = m_level.GetGroup(i);
            MakeGroup(nodes + range.m_begin, range.m_count);
        }
        m_nodes.Clear();
        m_nodes.Extend(numGroups);
        nodes = m_nodes.Data();
        std::copy(m_groups.Data() + first, m_groups.Data() + first + numGroups, nodes);
        count = numGroups;
    } while (count > 1);
}

TqOcDynamicGroup* TqOcDynamicHierarchyBuilder::Build(TqUPtrVector<TqOcTraversable>* nodes, int k)
{
    int const checkedK = CheckK(k);
    Groups groups(checkedK);
    if (nodes == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &GetDynamicGroupComponent(), "Build: no list of nodes");
        groups.MakeGroup(nullptr, 0);
        return groups.Release();
    }
    int const count = SelectNodes(*nodes);
    if (count < 2) {
        groups.MakeGroup(nodes->Begin(), count);
        return groups.Release();
    }
    TqUPage::PageOutIfNeeded();
    groups.MakeTree(nodes->Begin(), count);
    return groups.Release();
}
