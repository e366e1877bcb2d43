// Child array, boxes, entry points and walks of the dynamic group. TqOcDynamicGroupTree.cpp holds
// insertion, removal and repair, TqOcDynamicGroupUpdate.cpp the reaction to moved content.
#include "scenecull/TqOcDynamicGroup.h"

#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcContainer.h"
#include "scenecull/internal/TqOcContainerWalks.h"
#include "scenecull/internal/TqOcDynamicGroupParts.h"
#include "scenecull/internal/TqOcPrefetch.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"
#include "scenecull/TqOcVisitor.h"

#include "util/TqUError.h"

#include <algorithm>
#include <memory>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcDynamicGroup");
constexpr TqOcDependency s_dependencies[] = {
    DependsOn<TqOcTraversable>(), DependsOn<TqOcPrioritizedTraversal>(), DependsOn<TqUError>()};

/// Unwraps a shape that could not be added, so that it stays with the caller.
class WrapperHolder
{
public:
    explicit WrapperHolder(TqOcShape* shape) : m_leaf(std::make_unique<TqOcSingleLeaf>(shape)) {}

    ~WrapperHolder()
    {
        if (m_leaf != nullptr) {
            m_leaf->GetShape()->RemoveParent(m_leaf.get());
            m_leaf->SetShape(nullptr);
        }
    }

    WrapperHolder(WrapperHolder const&) = delete;
    WrapperHolder& operator=(WrapperHolder const&) = delete;

    TqOcSingleLeaf* Get() const { return m_leaf.get(); }

    void Release() { m_leaf.release(); }

private:
    std::unique_ptr<TqOcSingleLeaf> m_leaf;
};

} // namespace

TqUComponent& TqOcInternal::GetDynamicGroupComponent()
{
    return s_component;
}

void TqOcInternal::PostDynamicGroupError(char const* text)
{
    TqUError::Post(TqUSysError::eERROR, &s_component, "%s", text);
}

// --- Level set
// -------------------------------------------------------------------------------------

void TqOcDynamicGroupLevelSet::Add(TqOcDynamicGroup* group)
{
    auto const [entry, isNew] = m_indices.emplace(group, GetNumSlots());
    if (!isNew) {
        return;
    }
    try {
        m_slots.push_back(group);
    } catch (...) {
        m_indices.erase(entry);
        throw;
    }
    ++m_count;
}

void TqOcDynamicGroupLevelSet::Remove(TqOcDynamicGroup* group)
{
    auto const found = m_indices.find(group);
    if (found != m_indices.end()) {
        m_slots[static_cast<std::size_t>(found->second)] = nullptr;
        m_indices.erase(found);
        --m_count;
    }
}

// --- Life and child array
// --------------------------------------------------------------------------

TqOcDynamicGroup::PreconditionException::~PreconditionException() = default;

void TqOcDynamicGroup::Initialise()
{
    InitialiseComponent(s_component, "TqOcDynamicGroup 1", s_dependencies);
}

void TqOcDynamicGroup::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcDynamicGroup::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcDynamicGroup::TqOcDynamicGroup() = default;

TqOcDynamicGroup::TqOcDynamicGroup(TqOcTraversable** children, int n)
{
    if (CheckNewChildren(children, n, 0)) {
        InitChildren(children, n);
        PutDerivedFlag(1);
        SetModified(eMODIFIED_ALL);
    }
}

/// Posts what keeps `n` nodes from becoming children beside `numPresent` of the present ones.
bool TqOcDynamicGroup::CheckNewChildren(TqOcTraversable* const* children, int n,
                                        int numPresent) const
{
    if (n < 0 || n > eMAX_CHILDREN - numPresent || (n > 0 && children == nullptr)) {
        PostDynamicGroupError("A group holds 0 to 7 children");
        return false;
    }
    TqOcTraversable const* const first = numPresent > 0 ? Child(0) : n > 0 ? children[0] : nullptr;
    for (int i = 0; i < n; ++i) {
        TqOcTraversable* const child = children[i];
        if (child == nullptr ||
            (!child->IsLeaf() && dynamic_cast<TqOcDynamicGroup*>(child) == nullptr)) {
            PostDynamicGroupError("A child that is neither a leaf nor a dynamic group");
            return false;
        }
        if ((child->IsLeaf() != 0) != (first->IsLeaf() != 0)) {
            PostDynamicGroupError("Leaves and groups under one parent");
            return false;
        }
    }
    return true;
}

/// Takes over `n` checked children; the present ones are the caller's to let go. Always true; on an
/// exception nothing is linked.
bool TqOcDynamicGroup::InitChildren(TqOcTraversable** children, int n)
{
    int linked = 0;
    try {
        for (; linked < n; ++linked) {
            children[linked]->AddParent(this);
        }
    } catch (...) {
        while (linked > 0) {
            children[--linked]->RemoveParent(this);
        }
        throw;
    }
    std::copy_n(children, n, m_children);
    m_numChildren = n;
    return true;
}

void TqOcDynamicGroup::InitChildrenForAdd(int n)
{
    InitChildrenForAdd(n, nullptr, nullptr);
}

/// Links the first n entries of the array, which until now hang under one of two other parents, and
/// computes the box.
void TqOcDynamicGroup::InitChildrenForAdd(int n, TqOcTraversable* formerParent,
                                          TqOcTraversable* otherFormerParent)
{
    m_numChildren = n;
    UpdateBoundingBox(CalcBox());
    for (int i = 0; i < n; ++i) {
        bool const isFirst = HasParentLink(Child(i), formerParent);
        ReplaceParent(Child(i), isFirst ? formerParent : otherFormerParent, this);
    }
    Notify(eNOT_BOX);
}

TqOcDynamicGroup::~TqOcDynamicGroup()
{
    DeleteChildren();
    if (m_pending != nullptr) {
        DeletePending();
    }
}

void TqOcDynamicGroup::DeleteChildren()
{
    for (int i = 0; i < m_numChildren; ++i) {
        LetGoChild(this, m_children[i]);
    }
}

void TqOcDynamicGroup::CopyChildren(TqOcTraversable** to) const
{
    for (int i = 0; i < m_numChildren; ++i) {
        to[i] = Child(i);
    }
}

int TqOcDynamicGroup::FindChild(TqOcTraversable const* child) const
{
    for (int i = 0; i < m_numChildren; ++i) {
        if (m_children[i] == child) {
            return i;
        }
    }
    return -1;
}

void TqOcDynamicGroup::SetChildren(TqOcTraversable** children, int n)
{
    if (!CheckNewChildren(children, n, 0)) {
        return;
    }
    TqOcTraversable* old[eMAX_CHILDREN];
    int const numOld = m_numChildren;
    CopyChildren(old);
    TqOcTraversable* added[eMAX_CHILDREN]; // `children` may be the array of this group
    std::copy_n(children, n, added);
    InitChildren(added, n);
    for (int i = 0; i < numOld; ++i) {
        LetGoChild(this, old[i]);
    }
    MarkHandmade();
    Notify(eMODIFIED_ALL);
}

void TqOcDynamicGroup::RemoveAllChildren(int deleteChildren)
{
    if (deleteChildren) {
        DeleteChildren();
    }
    m_numChildren = 0;
    MarkHandmade();
    Notify(eMODIFIED_ALL);
}

void TqOcDynamicGroup::AddChild(TqOcTraversable* child)
{
    if (CheckNewChildren(&child, 1, m_numChildren)) {
        AddChildImpl(child, eMODIFIED_ALL);
        MarkHandmade();
    }
}

void TqOcDynamicGroup::AddChildImpl(TqOcTraversable* child, unsigned int mask)
{
    MoveChildHere(child, nullptr, mask);
}

/// Appends a child that hangs under another parent until now; null for none.
void TqOcDynamicGroup::MoveChildHere(TqOcTraversable* child, TqOcTraversable* formerParent,
                                     unsigned int mask)
{
    ReplaceParent(child, formerParent, this);
    m_children[m_numChildren++] = child;
    Notify(mask);
}

TqOcTraversable* TqOcDynamicGroup::RemoveChild(int index)
{
    MarkHandmade();
    return RemoveChildImpl(index, eMODIFIED_ALL);
}

int TqOcDynamicGroup::RemoveChild(TqOcTraversable* child)
{
    MarkHandmade();
    return RemoveChildImpl(child, eMODIFIED_ALL);
}

TqOcTraversable* TqOcDynamicGroup::RemoveChildImpl(int index, unsigned int mask)
{
    if (index < 0 || index >= m_numChildren) {
        PostDynamicGroupError("RemoveChild with an index out of range");
        return nullptr;
    }
    TqOcTraversable* const child = Child(index);
    m_children[index] = m_children[--m_numChildren];
    child->RemoveParent(this);
    Notify(mask);
    return child;
}

int TqOcDynamicGroup::RemoveChildImpl(TqOcTraversable* child, unsigned int mask)
{
    int const index = FindChild(child);
    if (index < 0) {
        return 0;
    }
    RemoveChildImpl(index, mask);
    return 1;
}

void TqOcDynamicGroup::DeleteChild(int index)
{
    if (TqOcTraversable* const child = RemoveChild(index)) {
        DeleteUnlessOwned(child);
    }
}

/// Tells the root that there may be short or empty groups below it.
void TqOcDynamicGroup::MarkHandmade()
{
    for (TqOcDynamicGroup* group = this; group != nullptr;) {
        group->PutDerivedFlag(1);
        group = group->HasMultipleParents()
                    ? nullptr
                    : dynamic_cast<TqOcDynamicGroup*>(group->GetSingleParent());
    }
}

void TqOcDynamicGroup::ClearHandmade()
{
    PutDerivedFlag(0);
    for (int i = 0; i < m_numChildren && !HoldsLeaves(); ++i) {
        GetChildGroup(i)->ClearHandmade();
    }
}

// --- Boxes and depth
// -------------------------------------------------------------------------------

TqLBox3f TqOcDynamicGroup::CalcBox() const
{
    TqLBox3f box;
    for (int i = 0; i < m_numChildren; ++i) {
        box.ExtendBy(Child(i)->GetBoundingBox());
    }
    return box;
}

int TqOcDynamicGroup::CalcDepth() const
{
    int depth = 0;
    TqOcTraversable const* node = this;
    while (!node->IsLeaf()) {
        ++depth;
        TqOcDynamicGroup const* const group = static_cast<TqOcDynamicGroup const*>(node);
        if (group->m_numChildren == 0) {
            break;
        }
        node = group->Child(0);
    }
    return depth;
}

void TqOcDynamicGroup::ExtendBoxToRoot(TqOcDynamicGroup* root, TqLBox3f const& box)
{
    for (TqOcDynamicGroup* group = this; !group->GetBoundingBox().Contains(box);
         group = group->GetParentGroup()) {
        group->ExtendBoundingBox(box);
        if (group == root) {
            root->NotifyParents(eMODIFIED_BOX);
            return;
        }
    }
}

void TqOcDynamicGroup::RecalcBoxToRoot(TqOcDynamicGroup* root)
{
    TqOcDynamicGroup* group = this;
    for (;;) {
        TqLBox3f const box = group->CalcBox();
        if (box == group->GetBoundingBox()) {
            return;
        }
        group->UpdateBoundingBox(box);
        if (group == root) {
            root->NotifyParents(eMODIFIED_BOX);
            return;
        }
        group = group->GetParentGroup();
    }
}

/// Brings the tree up to date where its box is marked as modified.
void TqOcDynamicGroup::UpdateBoxes()
{
    if ((GetModified() & eMODIFIED_BOX) != 0) {
        Update();
    }
}

// --- Entry points of a tree
// ------------------------------------------------------------------------

/// Whether the way up from `group` ends here.
bool TqOcDynamicGroup::IsWayUpToHere(TqOcTraversable* group) const
{
    while (group != this && group != nullptr && !group->HasMultipleParents()) {
        group = group->GetSingleParent();
    }
    return group == this;
}

namespace
{

/// The first of the node's parents that `accepts`, null when there is none.
template <class Accepts>
TqOcTraversable* FindParent(TqOcBaseTraversable* node, Accepts const& accepts)
{
    if (!node->HasMultipleParents()) {
        TqOcTraversable* const parent = node->GetSingleParent();
        return parent != nullptr && accepts(parent) ? parent : nullptr;
    }
    TqUPtrVector<TqOcTraversable>& parents = *node->GetMultipleParents();
    for (int i = 0; i < parents.Size(); ++i) {
        if (accepts(parents[i])) {
            return parents[i];
        }
    }
    return nullptr;
}

/// Whether `node` lists `child`.
bool ListsChild(TqOcTraversable* node, TqOcBaseTraversable const* child)
{
    TqOcBaseTraversable* const* children = nullptr;
    int const count = node->GetChildren(&children);
    return std::find(children, children + count, child) != children + count;
}

} // namespace

/// The group of this tree under which the leaf hangs; null when it does not hang in this tree.
TqOcDynamicGroup* TqOcDynamicGroup::FindGroupOf(TqOcTraversable* leaf)
{
    return static_cast<TqOcDynamicGroup*>(FindParent(leaf, [this, leaf](TqOcTraversable* parent) {
        return IsWayUpToHere(parent) && ListsChild(parent, leaf);
    }));
}

/// The leaf of this tree that holds the shape; null when it does not hang in this tree.
TqOcTraversable* TqOcDynamicGroup::FindLeafOf(TqOcShape* shape)
{
    return FindParent(shape, [this, shape](TqOcTraversable* parent) {
        return parent->IsLeaf() && FindGroupOf(parent) != nullptr && ListsChild(parent, shape);
    });
}

void TqOcDynamicGroup::AddShape(TqOcShape* shape)
{
    PutPendingBack();
    if (shape == nullptr) {
        PostDynamicGroupError("AddShape of a null shape");
        return;
    }
    if (FindLeafOf(shape) != nullptr) {
        PostDynamicGroupError("AddShape of a shape that hangs in this tree already");
        return;
    }
    shape->Update();
    WrapperHolder wrapper(shape);
    UpdateBoxes();
    AddLeafNoUpdate(wrapper.Get());
    wrapper.Release();
}

void TqOcDynamicGroup::RemoveShape(TqOcShape* shape)
{
    PutPendingBack();
    TqOcTraversable* const leaf = shape != nullptr ? FindLeafOf(shape) : nullptr;
    if (leaf == nullptr) {
        PostDynamicGroupError("RemoveShape of a shape that does not hang in this tree");
        return;
    }
    TqOcBaseTraversable* const* children = nullptr;
    if (leaf->GetChildren(&children) == 1) {
        TqOcUserOwnedHold const hold(shape);
        DeleteLeaf(leaf);
    } else if (auto* const container = dynamic_cast<TqOcStaticBase*>(leaf)) {
        container->RemoveChild(container->FindChild(shape));
    } else {
        PostDynamicGroupError("RemoveShape of a shape whose leaf is no static container");
    }
}

void TqOcDynamicGroup::AddLeaf(TqOcTraversable* leaf)
{
    PutPendingBack();
    if (leaf == nullptr || !leaf->IsLeaf()) {
        PostDynamicGroupError("AddLeaf of a node that is null or not marked as a leaf");
        return;
    }
    if (FindGroupOf(leaf) != nullptr) {
        PostDynamicGroupError("AddLeaf of a leaf that hangs in this tree already");
        return;
    }
    UpdateBoxes();
    AddLeafNoUpdate(leaf);
}

void TqOcDynamicGroup::RemoveLeaf(TqOcTraversable* leaf)
{
    TakeLeafOut(leaf, false);
}

void TqOcDynamicGroup::DeleteLeaf(TqOcTraversable* leaf)
{
    TakeLeafOut(leaf, true);
}

/// Takes a leaf out of this tree, and deletes it where asked to and nothing else owns it, also when
/// the repair after its removal throws.
void TqOcDynamicGroup::TakeLeafOut(TqOcTraversable* leaf, bool deletes)
{
    PutPendingBack();
    TqOcDynamicGroup* group = leaf != nullptr ? FindGroupOf(leaf) : nullptr;
    if (group == nullptr) {
        PostDynamicGroupError("Removal of a leaf that does not hang in this tree");
        return;
    }
    if ((GetModified() & eMODIFIED_BOX) != 0) {
        TqOcUserOwnedHold const hold(leaf); // the update may empty the leaf and let it go
        Update();
        group = FindGroupOf(leaf);
    }
    try {
        if (group != nullptr) {
            RemoveLeafFrom(group, leaf);
        }
    } catch (...) {
        if (deletes) {
            DeleteUnlessOwned(leaf);
        }
        throw;
    }
    if (deletes) {
        DeleteUnlessOwned(leaf);
    }
}

// --- Walks
// -----------------------------------------------------------------------------------------

void TqOcDynamicGroup::Render(TqOcRenderTraversal* traversal)
{
    unsigned int const frameId = traversal->GetFrameId();
    for (int i = 0; i < m_numChildren; ++i) {
        TqOcBaseTraversable* const child = m_children[i];
        if (traversal->IsVisible(child)) {
            SetHysteresisId(frameId);
            child->Render(traversal);
            child->SetFrameId(frameId);
        }
    }
}

TqOcBaseTraversable::TraversalStatus
TqOcDynamicGroup::Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state)
{
    TqOcRenderTravCull* const cull = state->GetTravCull();
    for (int i = 0; i < m_numChildren; ++i) {
        PrefetchAhead(m_children, i, m_numChildren);
        state->Append(traversal, Child(i), cull);
    }
    return eAPPENDED;
}

int TqOcDynamicGroup::GetChildren(TqOcBaseTraversable* const** children)
{
    *children = m_children;
    return m_numChildren;
}

void TqOcDynamicGroup::Visit(TqOcVisitor* visitor)
{
    if (visitor->BeginVisit(this) == TqOcVisitor::eCONTINUE) {
        for (int i = 0; i < m_numChildren; ++i) {
            Child(i)->Visit(visitor);
        }
    }
    visitor->EndVisit(this);
}

TqOcBaseTraversable::TraversalStatus
TqOcDynamicGroup::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state)
{
    bool const isEntered = PrioritizedVisitChildren(visitor, state, this, m_children, m_numChildren,
                                                    &GetDynamicGroupComponent());
    return isEntered ? eAPPENDED : eFINISHED;
}

void TqOcDynamicGroup::PickFrustum(TqOcPickFrustumTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}

void TqOcDynamicGroup::PickSweep(TqOcPickSweepTraversal* traversal)
{
    PickChildren(traversal, m_children, m_numChildren);
}
