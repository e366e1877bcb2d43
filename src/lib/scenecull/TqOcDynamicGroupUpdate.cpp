// How a dynamic tree reacts to changes below it.
//
// Where only properties changed, boxes and attributes are refreshed in place. Where boxes changed,
// the nodes whose box bit is set are moving: they are taken out of the tree, whole where they moved
// together and grew by no more than 0.1 percent, the rest is repaired, the moved parts are
// collected in a tree of their own, tallest first, and that tree is merged back. Only marked nodes
// and groups that lost children are looked at, unless the tree was edited by hand.
#include "scenecull/internal/TqOcContainer.h"
#include "scenecull/internal/TqOcDynamicGroupParts.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <algorithm>
#include <array>
#include <memory>
#include <typeinfo>
#include <utility>

using namespace TqOcInternal;

namespace
{

constexpr double s_wholeMoveGrowth = 1.001; // in summed edges, that a whole move may show
constexpr unsigned int s_notBox = TqOcDynamicGroup::eNOT_BOX;

bool IsMoved(TqOcBaseTraversable const* node)
{
    return (node->GetModified() & TqOcBaseTraversable::eMODIFIED_BOX) != 0;
}

void ClearBoxBit(TqOcBaseTraversable* node)
{
    node->SetModified(node->GetModified() & s_notBox);
}

bool IsWholeMove(TqLBox3f const& after, TqLBox3f const& before)
{
    return SumOfEdges(after) <= s_wholeMoveGrowth * SumOfEdges(before);
}

/// The present box of a leaf's child.
TqLBox3f BoxOf(TqOcBaseTraversable* child)
{
    if (!child->IsShape()) {
        return static_cast<TqOcTraversable*>(child)->GetBoundingBox();
    }
    TqLBox3f box;
    static_cast<TqOcShape*>(child)->GetShapeBox(box);
    return box;
}

/// A group that lost children, and where it stands: the child indices on the way down to it.
struct ShortGroup
{
    static constexpr int eMAX_DEPTH = 40; ///< More than any balanced tree has.

    TqOcDynamicGroup* group;
    int slot;
    std::array<signed char, eMAX_DEPTH> way;

    bool operator<(ShortGroup const& other) const { return way < other.way; }
};

} // namespace

// --- Depth map
// -------------------------------------------------------------------------------------

/// What the map lists, in one block.
struct TqOcSubtreeDepthMap::Lists
{
    std::vector<std::unique_ptr<TqUPtrVector<TqOcDynamicGroup>>> groups; ///< By height.
    std::vector<int> nextGroups; ///< By height: the first group that is not yet put back.
    TqUPtrVector<TqOcTraversable> leaves;
    int maxDepth = 0;

    // Beyond the pieces themselves: how far they have been put back, and what to do afterwards.
    TqOcDynamicGroup* collected = nullptr; ///< The tree that collects the pieces.
    int nextLeaf = 0;                      ///< First that is not yet put back.
    TqOcDynamicGroupLevelSet shortGroups;  ///< Groups with fewer than four children.
    std::vector<int> shortHeights;         ///< Beside each slot of it.
    TqUPtrVector<TqOcTraversable> failed;  ///< Leaves that could not be measured.
    bool hasForgotten = false;             ///< There was no memory to list one more.
    std::exception_ptr failure;            ///< The first exception.
};

TqOcSubtreeDepthMap::TqOcSubtreeDepthMap() : m_lists(new Lists) {}

TqOcSubtreeDepthMap::~TqOcSubtreeDepthMap()
{
    delete m_lists;
}

void TqOcSubtreeDepthMap::AddGroup(TqOcDynamicGroup* group, int d)
{
    DepthVector(d).PushBack(group);
}

void TqOcSubtreeDepthMap::AddLeaf(TqOcTraversable* leaf)
{
    m_lists->leaves.PushBack(leaf);
}

TqUPtrVector<TqOcTraversable> const& TqOcSubtreeDepthMap::GetLeaves() const
{
    return m_lists->leaves;
}

int TqOcSubtreeDepthMap::GetMaxDepth() const
{
    return m_lists->maxDepth;
}

TqUPtrVector<TqOcDynamicGroup> const& TqOcSubtreeDepthMap::GetDepthVector(int d) const
{
    return DepthVector(d);
}

TqUPtrVector<TqOcDynamicGroup>& TqOcSubtreeDepthMap::DepthVector(int d) const
{
    m_lists->maxDepth = std::max(m_lists->maxDepth, d);
    while (static_cast<int>(m_lists->groups.size()) <= d) {
        m_lists->nextGroups.push_back(0);
        m_lists->nextGroups.resize(m_lists->groups.size() +
                                   1); // an earlier try may have failed here
        m_lists->groups.push_back(std::make_unique<TqUPtrVector<TqOcDynamicGroup>>());
    }
    return *m_lists->groups[static_cast<std::size_t>(d)];
}

/// Adds a whole piece; where that fails it has to stay where it is, to be tried again.
bool TqOcSubtreeDepthMap::TryAdd(TqOcTraversable* piece, int d)
{
    try {
        if (piece->IsLeaf()) {
            AddLeaf(piece);
        } else {
            AddGroup(static_cast<TqOcDynamicGroup*>(piece), d);
        }
    } catch (std::bad_alloc const&) {
        KeepFailure(nullptr); // a group may go in the repair, and must not be listed
        return false;
    }
    return true;
}

void TqOcSubtreeDepthMap::ReserveLeaves(int numMore)
{
    TqUPtrVector<TqOcTraversable>& leaves = m_lists->leaves;
    int const needed = leaves.Size() + numMore;
    if (needed > leaves.Capacity()) {
        leaves.Reserve(std::max(needed, 2 * leaves.Capacity()));
    }
}

/// Remembers a group that has, or may get, fewer than four children.
void TqOcSubtreeDepthMap::AddShortGroup(TqOcDynamicGroup* group, int height)
{
    m_lists->shortHeights.push_back(height);
    try {
        m_lists->shortGroups.Add(group);
    } catch (...) {
        m_lists->shortHeights.pop_back();
        throw;
    }
    m_lists->shortHeights.resize(static_cast<std::size_t>(m_lists->shortGroups.GetNumSlots()));
}

/// Keeps the exception being handled, and the leaf that could not be brought up to date; without
/// one, or without memory to list it, the whole tree is marked in the end.
void TqOcSubtreeDepthMap::KeepFailure(TqOcTraversable* leaf)
{
    if (!m_lists->failure) {
        m_lists->failure = std::current_exception();
    }
    try {
        if (leaf != nullptr) {
            m_lists->failed.PushBack(leaf);
            return;
        }
    } catch (std::bad_alloc const&) {
        // as without one
    }
    m_lists->hasForgotten = true;
}

// --- Update in place
// -------------------------------------------------------------------------------

void TqOcDynamicGroup::UpdateKeepStructure()
{
    if (GetModified() == 0) {
        return;
    }
    bool const rebuildBox = IsMoved(this);
    TqLBox3f box;
    TqOcAggregate aggregate;
    for (int i = 0; i < m_numChildren; ++i) {
        TqOcTraversable* const child = Child(i);
        if (child->GetModified() != 0) {
            if (child->IsLeaf()) {
                child->Update();
            } else {
                GetChildGroup(i)->UpdateKeepStructure();
            }
        }
        if (rebuildBox) {
            box.ExtendBy(child->GetBoundingBox());
        }
        aggregate.Add(*child);
    }
    if (rebuildBox) {
        UpdateBoundingBox(box);
    }
    aggregate.StoreIn(*this);
    SetModified(0);
}

// --- Splitting off
// ---------------------------------------------------------------------------------

TqOcDynamicGroup::SplitStatus
TqOcDynamicGroup::SplitOffMovingGroups(TqOcDynamicGroup* group, TqOcSubtreeDepthMap* map, int depth)
{
    TqLBox3f const oldBox = group->GetBoundingBox();
    TqLBox3f movedBox;
    SplitStatus statuses[eMAX_CHILDREN];
    bool isAllMoved = true;
    for (int i = 0; i < group->m_numChildren; ++i) {
        TqOcTraversable* const child = group->Child(i);
        statuses[i] = eSPLIT_KEPT;
        if (!IsMoved(child)) {
            isAllMoved = false;
            continue;
        }
        statuses[i] = child->IsLeaf()
                          ? SplitOffMovingLeaves(child, map)
                          : SplitOffMovingGroups(group->GetChildGroup(i), map, depth - 1);
        isAllMoved = isAllMoved && statuses[i] == eSPLIT_MOVED;
        if (statuses[i] != eSPLIT_EMPTIED) {
            movedBox.ExtendBy(child->GetBoundingBox());
        }
    }
    group->UpdateBoundingBox(movedBox);
    ClearBoxBit(group);
    if (isAllMoved && IsWholeMove(movedBox, oldBox)) {
        return eSPLIT_MOVED;
    }
    group->TakeOutMoved(map, statuses, depth);
    if (group->m_numChildren == 0) {
        return eSPLIT_EMPTIED;
    }
    if (group != this && group->m_numChildren < eMIN_CHILDREN) {
        try {
            map->AddShortGroup(group, depth);
        } catch (std::bad_alloc const&) {
            group->MarkHandmade(); // the whole tree will be looked at
        }
    }
    return eSPLIT_KEPT;
}

/// Takes the children that moved whole, or are empty now, out of a group that stays.
void TqOcDynamicGroup::TakeOutMoved(TqOcSubtreeDepthMap* map, SplitStatus const* statuses,
                                    int depth)
{
    TqLBox3f box;
    for (int i = m_numChildren - 1; i >= 0; --i) {
        TqOcTraversable* const child = Child(i);
        // NOLINTNEXTLINE(clang-analyzer-core.*): a group holds no more than there are statuses
        if (statuses[i] == eSPLIT_KEPT ||
            (statuses[i] == eSPLIT_MOVED && !map->TryAdd(child, depth - 1))) {
            box.ExtendBy(child->GetBoundingBox());
            continue;
        }
        RemoveChildImpl(i, eNOT_BOX);
        if (statuses[i] == eSPLIT_EMPTIED) {
            DeleteUnlessOwned(child);
        }
    }
    UpdateBoundingBox(box);
}

/// Measures a leaf that holds shapes and takes out those that moved on their own. A leaf that
/// cannot be measured stays, marked as modified.
TqOcDynamicGroup::SplitStatus TqOcDynamicGroup::SplitOffMovingLeaves(TqOcTraversable* leaf,
                                                                     TqOcSubtreeDepthMap* map)
{
    bool const holdsShapes = typeid(*leaf) == typeid(TqOcSingleLeaf) // nearly all are
                             || dynamic_cast<TqOcSingleLeaf*>(leaf) != nullptr ||
                             dynamic_cast<TqOcStaticBase*>(leaf) != nullptr;
    if (!holdsShapes) { // the application's own: its box is what it says
        ClearBoxBit(leaf);
        return eSPLIT_MOVED;
    }
    try {
        return SplitOffMovingShapes(leaf, map);
    } catch (...) {
        map->KeepFailure(leaf);
        return eSPLIT_KEPT;
    }
}

TqOcDynamicGroup::SplitStatus TqOcDynamicGroup::SplitOffMovingShapes(TqOcTraversable* leaf,
                                                                     TqOcSubtreeDepthMap* map)
{
    TqLBox3f const oldBox = leaf->GetBoundingBox();
    TqOcBaseTraversable* const* children = nullptr;
    int const numChildren = leaf->GetChildren(&children);
    TqUInt32Vector& flags = map->m_flags;
    flags.Clear();
    flags.Reserve(numChildren);
    TqLBox3f newBox;
    TqLBox3f stayingBox;
    int numMoved = 0;
    for (int i = 0; i < numChildren; ++i) {
        bool const isMoved = IsMoved(children[i]);
        flags.PushBack(isMoved ? 1 : 0);
        numMoved += isMoved ? 1 : 0;
        children[i]->Update();
        TqLBox3f const box = BoxOf(children[i]);
        newBox.ExtendBy(box);
        if (!isMoved) {
            stayingBox.ExtendBy(box);
        }
    }
    leaf->UpdateBoundingBox(newBox);
    leaf->Notify(eMODIFIED_BOX);
    ClearBoxBit(leaf);
    if (numMoved == 0) {
        return eSPLIT_KEPT;
    }
    if (numMoved == numChildren && (numChildren == 1 || IsWholeMove(newBox, oldBox))) {
        return eSPLIT_MOVED;
    }

    auto* const container = static_cast<TqOcStaticBase*>(leaf); // a single leaf has moved whole
    map->ReserveLeaves(numMoved);
    for (int i = numChildren - 1; i >= 0; --i) {
        if (flags[i] == 0) {
            continue;
        }
        auto* const shape = static_cast<TqOcShape*>(container->GetChild(i));
        auto wrapper = std::make_unique<TqOcSingleLeaf>(shape);
        container->RemoveChild(i);
        TqOcSingleLeaf* const added = wrapper.release();
        map->AddLeaf(added);
        try {
            added->Update();
        } catch (...) {
            map->KeepFailure(added);
        }
    }
    leaf->UpdateBoundingBox(stayingBox);
    leaf->Notify(eMODIFIED_BOX);
    ClearBoxBit(leaf);
    return container->GetNumChildren() > 0 ? eSPLIT_KEPT : eSPLIT_EMPTIED;
}

// --- Putting together again
// ------------------------------------------------------------------------

/// Repairs the groups that lost children, level by level from the leaves up, each level in
/// depth-first order. The groups that are not short would only be looked at; so this is Rebalance
/// without them.
void TqOcDynamicGroup::RepairShortGroups(TqOcSubtreeDepthMap* map)
{
    TqOcDynamicGroupLevelSet& shortGroups = map->m_lists->shortGroups;
    if (IsHandmade() || CalcDepth() > ShortGroup::eMAX_DEPTH) {
        RepairAllGroups();
        return;
    }
    for (int level = 1; shortGroups.GetCount() > 0 && CalcDepth() > level; ++level) {
        std::vector<ShortGroup> todo;
        for (int slot = 0; slot < shortGroups.GetNumSlots(); ++slot) {
            TqOcDynamicGroup* const group = shortGroups.GetSlot(slot);
            if (group != nullptr &&
                map->m_lists->shortHeights[static_cast<std::size_t>(slot)] == level &&
                group->m_numChildren < eMIN_CHILDREN) {
                todo.push_back({group, slot, {}});
                FindWayTo(group, todo.back().way.data());
            }
        }
        std::sort(todo.begin(), todo.end());
        for (ShortGroup const& entry : todo) {
            TqOcDynamicGroup* const group = shortGroups.GetSlot(entry.slot);
            if (group != entry.group) {
                continue; // deleted meanwhile
            }
            shortGroups.Remove(group);
            // The parent loses this child; one that is emptied by that goes, and its own loses it.
            TqOcDynamicGroup* above = group->GetParentGroup();
            for (int height = level + 1; above != this; ++height) {
                map->AddShortGroup(above, height);
                above = above->m_numChildren == 1 ? above->GetParentGroup() : this;
            }
            RebalanceForRemove(group, false, &shortGroups);
        }
    }
    RebalanceForRemove(this, false, &shortGroups);
}

/// Writes the child indices on the way from here to a group below.
void TqOcDynamicGroup::FindWayTo(TqOcDynamicGroup* group, signed char* way)
{
    for (int step = group->CountStepsTo(this); step > 0; --step) {
        TqOcDynamicGroup* const parent = group->GetParentGroup();
        way[step - 1] = static_cast<signed char>(parent->FindChild(group));
        group = parent;
    }
}

/// Clears the box bit of a tree that is about to be merged. What cannot be measured is tried again
/// after the merge.
void TqOcDynamicGroup::UpdateForMerge()
{
    if (IsMoved(this)) {
        try {
            UpdateKeepStructure();
        } catch (...) {
            ClearBoxBit(this); // the box encloses all that was measured; the marks below stay
        }
    }
}

/// Joins a piece to the collecting tree; the taller of the two takes the other.
void TqOcDynamicGroup::Collect(TqOcDynamicGroup** collected, TqOcDynamicGroup* piece)
{
    if (*collected == nullptr) {
        *collected = piece;
        return;
    }
    if (piece->CalcDepth() > (*collected)->CalcDepth()) {
        std::swap(*collected, piece);
    }
    (*collected)->UpdateForMerge();
    piece->UpdateForMerge();
    (*collected)->Merge(piece);
    if (!piece->HasParent()) {
        DeleteUnlessOwned(piece);
    }
}

/// Puts all pieces together, tallest first, and merges them into this tree. When an exception comes
/// out of it, the map holds what is not yet back.
void TqOcDynamicGroup::MergeMovedBack(TqOcSubtreeDepthMap* map)
{
    TqOcSubtreeDepthMap::Lists& lists = *map->m_lists;
    for (int d = lists.maxDepth; d >= 1; --d) {
        TqUPtrVector<TqOcDynamicGroup>& groups = map->DepthVector(d);
        for (int& next = lists.nextGroups[static_cast<std::size_t>(d)]; next < groups.Size();
             ++next) {
            Collect(&lists.collected, groups[next]);
        }
    }
    for (; lists.nextLeaf < lists.leaves.Size(); ++lists.nextLeaf) {
        CollectLeaf(map, lists.leaves[lists.nextLeaf]);
    }
    if (lists.collected == nullptr) {
        return;
    }
    if (CalcDepth() < lists.collected->CalcDepth()) {
        ExchangeChildren(lists.collected);
    }
    TqOcDynamicGroup* root = this;
    Collect(&root, lists.collected);
    lists.collected = nullptr;
}

void TqOcDynamicGroup::CollectLeaf(TqOcSubtreeDepthMap* map, TqOcTraversable* leaf)
{
    TqOcDynamicGroup*& collected = map->m_lists->collected;
    if (collected == nullptr) {
        collected = new TqOcDynamicGroup;
    }
    collected->UpdateForMerge();
    try {
        leaf->Update();
    } catch (...) {
        map->KeepFailure(leaf); // it goes in with the box it has
    }
    collected->InsertLeaf(leaf);
}

/// Exchanges the children of two trees, so that each root keeps its identity.
void TqOcDynamicGroup::ExchangeChildren(TqOcDynamicGroup* other)
{
    std::swap(m_children, other->m_children);
    int const numOthers = other->m_numChildren;
    other->InitChildrenForAdd(m_numChildren, this, nullptr);
    InitChildrenForAdd(numOthers, other, nullptr);
}

/// Lets the pieces go that a failed update could not put back.
void TqOcDynamicGroup::DeletePending()
{
    TqOcSubtreeDepthMap::Lists& lists = *m_pending->m_lists;
    for (std::size_t d = 0; d < lists.groups.size(); ++d) {
        for (int i = lists.nextGroups[d]; i < lists.groups[d]->Size(); ++i) {
            DeleteUnlessOwned((*lists.groups[d])[i]);
        }
    }
    for (int i = lists.nextLeaf; i < lists.leaves.Size(); ++i) {
        DeleteUnlessOwned(lists.leaves[i]);
    }
    if (lists.collected != nullptr) {
        DeleteUnlessOwned(lists.collected);
    }
    delete m_pending;
    m_pending = nullptr;
}

void TqOcDynamicGroup::DoUpdate()
{
    bool const isBelowTheRoot =
        !HasMultipleParents() && dynamic_cast<TqOcDynamicGroup*>(GetSingleParent()) != nullptr;
    if (!IsMoved(this) || isBelowTheRoot) {
        UpdateKeepStructure();
        return;
    }
    bool const isPending = m_pending != nullptr;
    if (!isPending) {
        m_pending = new TqOcSubtreeDepthMap;
    }
    if (IsHandmade()) {
        CullAllEmptyGroups(this);
    }
    TqOcSubtreeDepthMap::Lists& lists = *m_pending->m_lists;
    bool isBack = false;
    try {
        if (SplitOffMovingGroups(this, m_pending, CalcDepth()) != eSPLIT_MOVED || isPending) {
            RepairShortGroups(m_pending);
            MergeMovedBack(m_pending);
        }
        isBack = true;
        UpdateKeepStructure();
    } catch (...) {
        lists.failure = lists.failure ? lists.failure : std::current_exception();
    }
    if (!isBack) { // the next update looks at the whole tree: the list of short groups gets old
        MarkHandmade();
        lists.shortGroups = TqOcDynamicGroupLevelSet();
        lists.shortHeights.clear();
    }
    FinishUpdate(isBack);
}

/// Has every group rebuilt by the next update.
void TqOcDynamicGroup::MarkAllGroups()
{
    for (int i = 0; i < m_numChildren && !HoldsLeaves(); ++i) {
        GetChildGroup(i)->MarkAllGroups();
    }
    Notify(eMODIFIED_ALL);
}

/// Tries again what a failed update could not put back, so that the tree is whole.
void TqOcDynamicGroup::PutPendingBack()
{
    if (m_pending != nullptr) {
        Update();
    }
}

/// Marks what has to be tried again, and passes the first exception of an update on.
void TqOcDynamicGroup::FinishUpdate(bool isBack)
{
    TqOcSubtreeDepthMap::Lists& lists = *m_pending->m_lists;
    std::exception_ptr const failure = std::exchange(lists.failure, nullptr);
    for (int i = 0; i < lists.failed.Size(); ++i) {
        lists.failed[i]->NotifyParents(eMODIFIED_ALL);
    }
    lists.failed.Clear();
    if (std::exchange(lists.hasForgotten, false)) {
        MarkAllGroups();
    }
    if (isBack) {
        delete m_pending;
        m_pending = nullptr;
    } else {
        Notify(eMODIFIED_ALL);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}
