// Insertion, splitting, removal, repair and merging of dynamic trees.
//
// Depth counts from the root, 0; the levels handed to ChooseParent are the depth of the group under
// which a node is to hang. Whatever may fail, memory for new groups above all, happens before a
// structure is touched; links are moved from parent to parent in place.
#include "scenecull/internal/TqOcContainer.h"
#include "scenecull/internal/TqOcDynamicGroupParts.h"

#include "scenecull/TqOcDynamicGroup.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

using namespace TqOcInternal;

namespace
{

/// Cost where none makes sense; two of them can be added up.
constexpr double s_sentinel = DBL_MAX / 2.0;

constexpr int s_fullAndOne = TqOcDynamicGroup::eMAX_CHILDREN + 1;

/// Edge of the union of two boxes on one axis.
double UnionEdge(TqLBox3f const& group, TqLBox3f const& node, int axis)
{
    double const low =
        node.GetMin()[axis] < group.GetMin()[axis] ? node.GetMin()[axis] : group.GetMin()[axis];
    double const high =
        node.GetMax()[axis] > group.GetMax()[axis] ? node.GetMax()[axis] : group.GetMax()[axis];
    return high - low;
}

/// Measures what it costs to put one node into one group or another.
class GrowthOf
{
public:
    explicit GrowthOf(TqLBox3f const& node)
        : m_node(node)
        , m_isEmpty(IsBoxEmpty(node))
        , m_edges(SumOfEdges(node))
    {}

    /// How much the group's box grows, in summed edges, less the node's own; the sentinel for empty
    /// boxes.
    double In(TqLBox3f const& group) const
    {
        if (m_isEmpty || IsBoxEmpty(group)) {
            return s_sentinel;
        }
        double const edges =
            UnionEdge(group, m_node, 1) + UnionEdge(group, m_node, 0) + UnionEdge(group, m_node, 2);
        return edges - SumOfEdges(group) - m_edges;
    }

private:
    TqLBox3f const& m_node;
    bool m_isEmpty;
    double m_edges;
};

/// On one axis the nodes that lie farthest apart: lowest maximum and highest minimum.
struct Separation
{
    int lowest = 0;
    int highest = 0;
    double distance = 0.0;
};

Separation FindSeparation(TqOcTraversable* const* nodes, int n, int axis)
{
    Separation found;
    double lowestMax = nodes[0]->GetBoundingBox().GetMax()[axis];
    double highestMin = nodes[0]->GetBoundingBox().GetMin()[axis];
    for (int i = 1; i < n; ++i) {
        TqLBox3f const& box = nodes[i]->GetBoundingBox();
        if (box.GetMax()[axis] < lowestMax) {
            lowestMax = box.GetMax()[axis];
            found.lowest = i;
        }
        if (box.GetMin()[axis] > highestMin) {
            highestMin = box.GetMin()[axis];
            found.highest = i;
        }
    }
    found.distance = highestMin - lowestMax;
    return found;
}

/// Picks the two of the first n (2 or more) nodes that lie farthest apart, and closes the gaps that
/// they leave from the end of the range.
void PickSplitPair(TqOcTraversable** nodes, int n, TqOcTraversable** first,
                   TqOcTraversable** second)
{
    if (n == 2) {
        *first = nodes[0];
        *second = nodes[1];
        return;
    }
    Separation best = FindSeparation(nodes, n, 0);
    for (int axis = 1; axis < 3; ++axis) {
        Separation const other = FindSeparation(nodes, n, axis);
        if (other.distance > best.distance) {
            best = other;
        }
    }
    int high = std::max(best.lowest, best.highest);
    int low = std::min(best.lowest, best.highest);
    if (high == low) {
        high = high > 0 ? high : 1;
        low = 0;
    }
    *first = nodes[high];
    *second = nodes[low];
    nodes[high] = nodes[n - 1];
    nodes[low] = nodes[n - 2];
}

/// New groups, made before anything is changed; what is not used is deleted again.
class SpareGroups
{
public:
    explicit SpareGroups(int count) : SpareGroups() // whose destructor runs when memory is refused
    {
        m_groups.reserve(static_cast<std::size_t>(count));
        while (static_cast<int>(m_groups.size()) < count) {
            m_groups.push_back(new TqOcDynamicGroup);
        }
    }

    ~SpareGroups()
    {
        for (TqOcDynamicGroup* const group : m_groups) {
            delete group;
        }
    }

    SpareGroups(SpareGroups const&) = delete;
    SpareGroups& operator=(SpareGroups const&) = delete;

    TqOcDynamicGroup* Take()
    {
        TqOcDynamicGroup* const group = m_groups.back();
        m_groups.pop_back();
        return group;
    }

private:
    SpareGroups() = default;

    std::vector<TqOcDynamicGroup*> m_groups;
};

} // namespace

// --- Insertion
// -------------------------------------------------------------------------------------

void TqOcDynamicGroup::Split(TqOcTraversable** nodes, int n, TqOcTraversable** left,
                             TqOcTraversable** right)
{
    TqLBox3f leftBox;
    TqLBox3f rightBox;
    for (int i = 0; i < n / 2; ++i) {
        TqOcTraversable* a = nullptr;
        TqOcTraversable* b = nullptr;
        PickSplitPair(nodes, n - 2 * i, &a, &b);
        if (i > 0) {
            GrowthOf const growthA(a->GetBoundingBox());
            GrowthOf const growthB(b->GetBoundingBox());
            double const straight = growthA.In(leftBox) + growthB.In(rightBox);
            double const crossed = growthB.In(leftBox) + growthA.In(rightBox);
            if (!(crossed > straight)) {
                std::swap(a, b);
            }
        }
        left[i] = a;
        right[i] = b;
        if (i == 0) {
            leftBox = a->GetBoundingBox();
            rightBox = b->GetBoundingBox();
        } else {
            leftBox.ExtendBy(a->GetBoundingBox());
            rightBox.ExtendBy(b->GetBoundingBox());
        }
    }
    if (n % 2 != 0) {
        right[n / 2] = nodes[0];
    }
}

/// Splits nodes that hang under one of two former parents, or nowhere yet, over two groups.
void TqOcDynamicGroup::SplitInto(TqOcTraversable** nodes, int n, TqOcDynamicGroup* left,
                                 TqOcDynamicGroup* right, TqOcTraversable* formerParent,
                                 TqOcTraversable* otherFormerParent)
{
    TqOcTraversable* leftNodes[eMAX_CHILDREN];
    TqOcTraversable* rightNodes[eMAX_CHILDREN];
    Split(nodes, n, leftNodes, rightNodes);
    std::copy_n(leftNodes, n / 2, left->m_children);
    std::copy_n(rightNodes, n - n / 2, right->m_children);
    left->InitChildrenForAdd(n / 2, formerParent, otherFormerParent);
    right->InitChildrenForAdd(n - n / 2, formerParent, otherFormerParent);
}

namespace
{

/// The child in which a node costs least; the first of equals. Costs that are no numbers never win.
TqOcDynamicGroup* FindCheapestChild(TqOcDynamicGroup* group, GrowthOf const& growth)
{
    int best = 0;
    double bestCost = std::numeric_limits<double>::infinity();
    int const numChildren = group->GetNumChildren();
    for (int i = 0; i < numChildren; ++i) {
        double const cost = growth.In(group->GetChild(i)->GetBoundingBox());
        if (cost < bestCost) {
            bestCost = cost;
            best = i;
        }
    }
    return static_cast<TqOcDynamicGroup*>(group->GetChild(best));
}

} // namespace

/// The group under which a node is to hang: `levels` levels down, or, with -1, the one whose
/// children are leaves.
TqOcDynamicGroup* TqOcDynamicGroup::ChooseParent(TqOcTraversable* node, int levels)
{
    TqOcDynamicGroup* current = this;
    if (m_numChildren == 0) {
        return current;
    }
    GrowthOf const growth(node->GetBoundingBox());
    for (; levels != 0; --levels) {
        if (current->m_numChildren == 0) {
            throw PreconditionException("ChooseParent: an empty group below the root");
        }
        if (current->HoldsLeaves()) {
            return current;
        }
        current = FindCheapestChild(current, growth);
    }
    return current;
}

void TqOcDynamicGroup::AddLeafNoUpdate(TqOcTraversable* leaf)
{
    leaf->Update();
    InsertLeaf(leaf);
}

/// Hangs a leaf where its present box says.
void TqOcDynamicGroup::InsertLeaf(TqOcTraversable* leaf)
{
    if (!leaf->HasParent()) {
        ChooseParent(leaf, -1)->AddChildSplit(leaf, this, nullptr);
        return;
    }
    // It hangs elsewhere too: the second link may take memory, so it is made first.
    leaf->AddParent(this);
    try {
        ChooseParent(leaf, -1)->MoveChildSplit(leaf, this, this, nullptr);
    } catch (...) {
        leaf->RemoveParent(this);
        throw;
    }
}

/// Hangs a node under the group that ChooseParent found and splits full groups on the way up.
/// Returns 1 when the root was split, so that the tree is a level deeper, else 0.
int TqOcDynamicGroup::AddChildSplit(TqOcTraversable* child, TqOcDynamicGroup* root,
                                    TqOcDynamicGroupLevelSet* levelSet)
{
    return MoveChildSplit(child, nullptr, root, levelSet);
}

/// The same for a node that hangs under another parent until now.
int TqOcDynamicGroup::MoveChildSplit(TqOcTraversable* child, TqOcTraversable* formerParent,
                                     TqOcDynamicGroup* root, TqOcDynamicGroupLevelSet* levelSet)
{
    SpareGroups spares(CountSplits(root));
    ExtendBoxToRoot(root, child->GetBoundingBox());
    for (TqOcDynamicGroup* group = this;;) {
        group->CullEmptyChildren(levelSet);
        if (group->m_numChildren < eMAX_CHILDREN) {
            group->MoveChildHere(child, formerParent, eNOT_BOX);
            return 0;
        }
        TqOcTraversable* nodes[s_fullAndOne];
        group->CopyChildren(nodes);
        nodes[eMAX_CHILDREN] = child;
        group->m_numChildren = 0;
        TqOcDynamicGroup* const added = spares.Take();
        if (group == root) {
            TqOcDynamicGroup* const second = spares.Take();
            SplitInto(nodes, s_fullAndOne, added, second, group, formerParent);
            root->MoveChildHere(added, nullptr, eNOT_BOX);
            root->MoveChildHere(second, nullptr, eNOT_BOX);
            root->UpdateBoundingBox(added->GetBoundingBox().Union(second->GetBoundingBox()));
            return 1;
        }
        SplitInto(nodes, s_fullAndOne, group, added, group, formerParent);
        child = added;
        formerParent = nullptr;
        group = group->GetParentGroup();
    }
}

/// New groups that an addition here may need, at most.
int TqOcDynamicGroup::CountSplits(TqOcDynamicGroup* root)
{
    int splits = 0;
    for (TqOcDynamicGroup* group = this; group->m_numChildren == eMAX_CHILDREN;
         group = group->GetParentGroup()) {
        ++splits;
        if (group == root) {
            return splits + 1;
        }
    }
    return splits;
}

void TqOcDynamicGroup::CullEmptyChildren(TqOcDynamicGroupLevelSet* levelSet)
{
    for (int i = m_numChildren - 1; i >= 0; --i) {
        if (Child(i)->IsLeaf()) {
            return;
        }
        TqOcDynamicGroup* const child = GetChildGroup(i);
        if (child->m_numChildren == 0) {
            RemoveChildImpl(i, eNOT_BOX);
            if (levelSet != nullptr) {
                levelSet->Remove(child);
            }
            DeleteUnlessOwned(child);
        }
    }
}

// --- Removal
// ---------------------------------------------------------------------------------------

int TqOcDynamicGroup::CountStepsTo(TqOcDynamicGroup const* root) const
{
    int steps = 0;
    for (TqOcTraversable const* group = this; group != root; group = group->GetSingleParent()) {
        ++steps;
    }
    return steps;
}

void TqOcDynamicGroup::RemoveLeafNoUpdate(TqOcTraversable* leaf)
{
    RemoveLeafFrom(FindGroupOf(leaf), leaf);
}

/// @param group  of this tree, under which the leaf hangs
void TqOcDynamicGroup::RemoveLeafFrom(TqOcDynamicGroup* group, TqOcTraversable* leaf)
{
    group->RemoveChildImpl(leaf, eNOT_BOX);
    RebalanceForRemove(group, true, nullptr);
}

/// Repairs a group that has lost a child, and with `recurse` those above it.
void TqOcDynamicGroup::RebalanceForRemove(TqOcDynamicGroup* group, bool recurse,
                                          TqOcDynamicGroupLevelSet* levelSet)
{
    if (group->m_numChildren >= eMIN_CHILDREN) {
        group->RecalcBoxToRoot(this);
        return;
    }
    if (group == this) {
        RebalanceRootForRemove(levelSet);
        return;
    }
    int depth = group->CountStepsTo(this);
    do {
        group = Dissolve(group, &depth, levelSet);
        if (!recurse || group == nullptr) {
            return;
        }
        if (group == this) {
            RebalanceRootForRemove(levelSet);
            return;
        }
    } while (group->m_numChildren < eMIN_CHILDREN);
}

/// Takes a group out of the tree, inserts its children again at their level, and deletes it.
/// @param depth  of the group; then of the group returned
/// @return the group to examine next, its former parent or the root; null when that one has gone
TqOcDynamicGroup* TqOcDynamicGroup::Dissolve(TqOcDynamicGroup* group, int* depth,
                                             TqOcDynamicGroupLevelSet* levelSet)
{
    TqOcDynamicGroup* const parent = group->GetParentGroup();
    parent->RemoveChildImpl(group, eNOT_BOX);
    parent->RecalcBoxToRoot(this);
    bool const isParentGone = parent != this && parent->m_numChildren == 0;
    TqOcDynamicGroup* const survivor = RecursiveCullEmptyGroup(parent, levelSet);
    if (isParentGone) {
        survivor->RecalcBoxToRoot(this);
    }

    bool const isRootEmpty = m_numChildren == 0;
    int levels = isRootEmpty ? 0 : *depth;
    TqOcDynamicGroup* const next = isRootEmpty ? this : isParentGone ? nullptr : parent;
    int inserted = 0;
    try {
        for (; inserted < group->m_numChildren; ++inserted) {
            TqOcTraversable* const child = group->Child(inserted);
            levels += ChooseParent(child, levels)->MoveChildSplit(child, group, this, levelSet);
        }
    } catch (...) {
        HangBack(group, inserted, levels);
        throw;
    }
    group->m_numChildren = 0;
    if (levelSet != nullptr) {
        levelSet->Remove(group);
    }
    DeleteUnlessOwned(group);
    *depth = levels - 1;
    return next;
}

/// After a failure: hangs what is left of a group that was to be dissolved where there is room, and
/// leaves the repair to the next update.
void TqOcDynamicGroup::HangBack(TqOcDynamicGroup* group, int firstLeft, int depth)
{
    int const numLeft = group->m_numChildren - firstLeft;
    std::copy_n(group->m_children + firstLeft, numLeft, group->m_children);
    group->m_numChildren = numLeft;
    MarkHandmade();
    if (TqOcDynamicGroup* const above = depth > 0 ? FindRoom(depth - 1) : nullptr) {
        above->ExtendBoxToRoot(this, group->GetBoundingBox());
        above->AddChildImpl(group, eMODIFIED_ALL);
        return;
    }
    // No room for the group: a full level above has groups of four, fresh from a split, below it.
    while (group->m_numChildren > 0) {
        TqOcTraversable* const child = group->Child(group->m_numChildren - 1);
        TqOcDynamicGroup* const beside = FindRoom(depth);
        if (beside == nullptr) {
            break;
        }
        beside->ExtendBoxToRoot(this, child->GetBoundingBox());
        beside->MoveChildHere(child, group, eMODIFIED_ALL);
        --group->m_numChildren;
    }
    DeleteUnlessOwned(group);
}

/// The first group at a depth that is not full; null when there is none.
TqOcDynamicGroup* TqOcDynamicGroup::FindRoom(int depth)
{
    if (depth == 0) {
        return m_numChildren < eMAX_CHILDREN ? this : nullptr;
    }
    for (int i = 0; i < m_numChildren && !HoldsLeaves(); ++i) {
        if (TqOcDynamicGroup* const found = GetChildGroup(i)->FindRoom(depth - 1)) {
            return found;
        }
    }
    return nullptr;
}

/// Takes the place of an only child group: the tree loses a level.
void TqOcDynamicGroup::RebalanceRootForRemove(TqOcDynamicGroupLevelSet* levelSet)
{
    if (m_numChildren != 1 || HoldsLeaves()) {
        RecalcBoxToRoot(this);
        return;
    }
    TqOcDynamicGroup* const only = GetChildGroup(0);
    only->RemoveParent(this);
    m_numChildren = only->m_numChildren;
    std::copy_n(only->m_children, m_numChildren, m_children);
    for (int i = 0; i < m_numChildren; ++i) {
        ReplaceParent(Child(i), only, this);
    }
    only->m_numChildren = 0;
    if (levelSet != nullptr) {
        levelSet->Remove(only);
    }
    DeleteUnlessOwned(only);
    Notify(eNOT_BOX);
    RecalcBoxToRoot(this);
}

/// Deletes a group without children, and those above it that become empty by that. Returns the
/// first that stays.
TqOcDynamicGroup* TqOcDynamicGroup::RecursiveCullEmptyGroup(TqOcDynamicGroup* group,
                                                            TqOcDynamicGroupLevelSet* levelSet)
{
    while (group != this && group->m_numChildren == 0) {
        TqOcDynamicGroup* const parent = group->GetParentGroup();
        if (levelSet != nullptr) {
            levelSet->Remove(group);
        }
        parent->RemoveChildImpl(group, eNOT_BOX);
        DeleteUnlessOwned(group);
        group = parent;
    }
    return group;
}

/// Deletes all groups without children below `group`.
void TqOcDynamicGroup::CullAllEmptyGroups(TqOcDynamicGroup* group)
{
    if (!group->HoldsGroups()) {
        return;
    }
    for (int i = group->m_numChildren - 1; i >= 0; --i) {
        TqOcDynamicGroup* const child = group->GetChildGroup(i);
        CullAllEmptyGroups(child);
        if (child->m_numChildren == 0) {
            group->RemoveChildImpl(i, eNOT_BOX);
            DeleteUnlessOwned(child);
        }
    }
}

// --- Repair of the whole tree
// ----------------------------------------------------------------------

namespace
{

/// Number of levels above the leaves when it is the same on every way down, else -1.
int FindCommonDepth(TqOcDynamicGroup const& group)
{
    if (group.GetNumChildren() == 0 || group.GetChild(0)->IsLeaf()) {
        return 1;
    }
    int common = 0;
    for (int i = 0; i < group.GetNumChildren(); ++i) {
        int const depth = FindCommonDepth(static_cast<TqOcDynamicGroup const&>(*group.GetChild(i)));
        if (depth < 0 || (i > 0 && depth != common)) {
            return -1;
        }
        common = depth;
    }
    return common + 1;
}

} // namespace

/// Enters the groups that lie `depth` levels down, in depth-first order.
void TqOcDynamicGroup::CollectLevel(int depth, TqOcDynamicGroupLevelSet* levelSet)
{
    if (depth <= 0) {
        levelSet->Add(this);
        return;
    }
    for (int i = 0; i < m_numChildren; ++i) {
        GetChildGroup(i)->CollectLevel(depth - 1, levelSet);
    }
}

void TqOcDynamicGroup::Rebalance()
{
    UpdateKeepStructure();
    if (m_pending != nullptr) { // what waits in the root needs an update still
        Notify(eMODIFIED_ALL);
    }
    RepairAllGroups();
}

/// The repair of Rebalance, of boxes that are right already.
void TqOcDynamicGroup::RepairAllGroups()
{
    CullAllEmptyGroups(this);
    if (FindCommonDepth(*this) < 0) {
        PostDynamicGroupError("Rebalance of a tree whose leaves lie at different depths");
        return;
    }
    bool isRootDone = false;
    for (int level = 1; !isRootDone; ++level) {
        TqOcDynamicGroupLevelSet levelSet;
        int const depth = CalcDepth() - level;
        isRootDone = depth <= 0;
        CollectLevel(depth, &levelSet);
        for (int i = 0; levelSet.GetCount() > 0; ++i) {
            if (TqOcDynamicGroup* const group = levelSet.GetSlot(i)) {
                levelSet.Remove(group);
                RebalanceForRemove(group, false, &levelSet);
            }
        }
    }
    ClearHandmade();
}

// --- Merging
// ---------------------------------------------------------------------------------------

void TqOcDynamicGroup::CheckMerge(TqOcDynamicGroup* other) const
{
    if (other == nullptr || other == this) {
        throw PreconditionException("Merge: no other tree");
    }
    if (((GetModified() | other->GetModified()) & eMODIFIED_BOX) != 0) {
        throw PreconditionException("Merge: a tree is not up to date");
    }
    if (other->HasParent()) {
        throw PreconditionException("Merge: the other tree has a parent");
    }
    if (other->CalcDepth() > CalcDepth()) {
        throw PreconditionException("Merge: the other tree is deeper");
    }
}

void TqOcDynamicGroup::Merge(TqOcDynamicGroup* other)
{
    CheckMerge(other);
    if (other->IsHandmade()) {
        MarkHandmade();
    }
    int const levels = CalcDepth() - other->CalcDepth();
    if (levels == 0) {
        MergeSameDepth(other);
    } else {
        MergeLower(other, levels);
    }
    other->Notify(eMODIFIED_ALL);
}

void TqOcDynamicGroup::MergeSameDepth(TqOcDynamicGroup* other)
{
    int const total = m_numChildren + other->m_numChildren;
    if (total <= eMAX_CHILDREN) {
        for (int i = 0; i < other->m_numChildren; ++i) {
            TqOcTraversable* const child = other->Child(i);
            MoveChildHere(child, other, eNOT_BOX);
            ExtendBoxToRoot(this, child->GetBoundingBox());
        }
        other->m_numChildren = 0;
        return;
    }
    SpareGroups spares(1);
    TqOcTraversable* nodes[2 * eMAX_CHILDREN];
    CopyChildren(nodes);
    other->CopyChildren(nodes + m_numChildren);
    m_numChildren = 0;
    TqOcDynamicGroup* const added = spares.Take();
    SplitInto(nodes, total, other, added, this, other);
    for (TqOcDynamicGroup* const half : {other, added}) {
        AddChildImpl(half, eNOT_BOX);
        ExtendBoxToRoot(this, half->GetBoundingBox());
    }
}

/// @param levels  by how many this tree is deeper
void TqOcDynamicGroup::MergeLower(TqOcDynamicGroup* other, int levels)
{
    if (other->m_numChildren >= eMIN_CHILDREN) {
        ChooseParent(other, levels - 1)->AddChildSplit(other, this, nullptr);
        return;
    }
    while (other->m_numChildren > 0) {
        TqOcTraversable* const child = other->Child(0);
        levels += ChooseParent(child, levels)->MoveChildSplit(child, other, this, nullptr);
        --other->m_numChildren;
        std::copy_n(other->m_children + 1, other->m_numChildren, other->m_children);
    }
}
