#include "scenecull/TqOcStaticTraversable.h"

#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcContainer.h"
#include "scenecull/internal/TqOcStaticTraversableParts.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"

#include "util/TqUError.h"
#include "util/TqUMemory.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcStaticBase");
constexpr TqOcDependency s_dependencies[] = {
    DependsOn<TqOcTraversable>(), DependsOn<TqOcPrioritizedTraversal>(), DependsOn<TqUError>()};

using Child = TqOcBaseTraversable*;

void PostError(char const* text)
{
    TqUError::Post(TqUSysError::eERROR, &s_component, "%s", text);
}

void FreeArray(Child* children, int count)
{
    TqUMemory::Dealloc(children, static_cast<std::size_t>(count) * sizeof(Child),
                       TqUMemory::eALIGN_DEFAULT);
}

/// Room for `count` children, null for 0. Throws std::bad_alloc when memory is refused.
Child* AllocArray(int count)
{
    if (count == 0) {
        return nullptr;
    }
    void* const block = TqUMemory::Alloc(static_cast<std::size_t>(count) * sizeof(Child),
                                         TqUMemory::eALIGN_DEFAULT);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<Child*>(block);
}

/// A child array until its container takes it.
class ArrayHolder
{
public:
    explicit ArrayHolder(int count) : ArrayHolder(AllocArray(count), count) {}

    ArrayHolder(Child* children, int count) : m_children(children), m_count(count) {}

    ~ArrayHolder() { FreeArray(m_children, m_count); }

    ArrayHolder(ArrayHolder const&) = delete;
    ArrayHolder& operator=(ArrayHolder const&) = delete;

    Child* Get() const { return m_children; }

    Child* Release()
    {
        Child* const children = m_children;
        m_children = nullptr;
        return children;
    }

private:
    Child* m_children;
    int m_count;
};

/// Number of children that a list really names; posts what is wrong with it.
template <class Node>
int CountUsable(Node* const* children, int count)
{
    if (count < 0 || (children == nullptr && count > 0)) {
        PostError("A list of children without children, or of negative length");
        return 0;
    }
    int usable = 0;
    for (int i = 0; i < count; ++i) {
        usable += children[i] != nullptr ? 1 : 0;
    }
    if (usable != count) {
        PostError("Null children are left out");
    }
    return usable;
}

/// Makes `container` a parent of each child; on an exception of none.
void LinkAll(TqOcTraversable* container, Child* children, int count)
{
    int linked = 0;
    try {
        for (; linked < count; ++linked) {
            children[linked]->AddParent(container);
        }
    } catch (...) {
        while (linked > 0) {
            children[--linked]->RemoveParent(container);
        }
        throw;
    }
}

/// The first child whose box contains `box`; null when there is none.
TqOcTraversable* FindContaining(TqOcStaticBase& group, TqLBox3f const& box)
{
    for (int i = 0; i < group.GetNumChildren(); ++i) {
        TqOcBaseTraversable* const child = group.GetChild(i);
        if (!child->IsShape() &&
            static_cast<TqOcTraversable*>(child)->GetBoundingBox().Contains(box)) {
            return static_cast<TqOcTraversable*>(child);
        }
    }
    return nullptr;
}

} // namespace

TqUComponent& TqOcInternal::GetStaticComponent()
{
    return s_component;
}

// --- TqOcStaticBase: children
// ----------------------------------------------------------------------

TqOcStaticBase::TqOcStaticBase() = default;

TqOcStaticBase::TqOcStaticBase(TqOcBaseTraversable** children, int count)
{
    InitChildren(children, count);
    SetModified(eMODIFIED_ALL);
}

TqOcStaticBase::~TqOcStaticBase()
{
    DeleteChildren();
}

/// Takes over a list of children; the container has none yet, or its caller keeps the old ones.
template <class Node>
void TqOcStaticBase::InitChildren(Node* const* children, int count)
{
    int const usable = CountUsable(children, count);
    ArrayHolder array(usable);
    int next = 0;
    for (int i = 0; next < usable; ++i) {
        if (children[i] != nullptr) {
            array.Get()[next++] = children[i];
        }
    }
    LinkAll(this, array.Get(), usable);
    m_children = array.Release();
    m_numChildren = usable;
}

template <class Node>
void TqOcStaticBase::ReplaceChildren(Node* const* children, int count)
{
    if (IsUnlinked()) { // a list begun and not ended
        DeleteChildren();
        ResetWithoutChildren();
    }
    Child* const oldChildren = m_children;
    int const numOldChildren = m_numChildren;
    InitChildren(children, count);
    for (int i = 0; i < numOldChildren; ++i) {
        LetGoChild(this, oldChildren[i]);
    }
    FreeArray(oldChildren, numOldChildren);
    Notify(eMODIFIED_ALL);
}

/// Lets all children go and frees the array; pointer and count are the caller's to reset.
void TqOcStaticBase::DeleteChildren()
{
    for (int i = 0; i < m_numChildren; ++i) {
        if (!IsUnlinked()) {
            LetGoChild(this, m_children[i]);
        } else if (m_children[i] != nullptr) { // set by PartSet; this is no parent of it yet
            DeleteUnlessOwned(m_children[i]);
        }
    }
    PutDerivedFlag(0);
    FreeArray(m_children, m_numChildren);
}

void TqOcStaticBase::SetChildren(TqOcBaseTraversable** children, int count)
{
    ReplaceChildren(children, count);
}

void TqOcStaticBase::BeginSet(int count)
{
    if (count < 0) {
        PostError("BeginSet with a negative number of children");
        count = 0;
    }
    ArrayHolder array(count);
    for (int i = 0; i < count; ++i) {
        array.Get()[i] = nullptr;
    }
    DeleteChildren();
    m_children = array.Release();
    m_numChildren = count;
    PutDerivedFlag(1);
}

void TqOcStaticBase::PartSet(int i, TqOcBaseTraversable* child)
{
    if (!IsUnlinked() || i < 0 || i >= m_numChildren) {
        PostError("PartSet with an index out of range, or outside of BeginSet and EndSet");
        return;
    }
    m_children[i] = child;
}

void TqOcStaticBase::EndSet()
{
    if (!IsUnlinked()) {
        PostError("EndSet without BeginSet");
        return;
    }
    PutDerivedFlag(0);
    int const count = m_numChildren;
    ArrayHolder array(m_children, count); // set aside: nothing is linked yet, and linking may fail
    ResetWithoutChildren();
    if (std::count(array.Get(), array.Get() + count, nullptr) != 0) {
        InitChildren(array.Get(), count); // posts, and closes the gaps
    } else {
        LinkAll(this, array.Get(), count);
        m_children = array.Release();
        m_numChildren = count;
    }
    Notify(eMODIFIED_ALL);
}

void TqOcStaticBase::AddChild(TqOcBaseTraversable* child)
{
    if (child == nullptr) {
        PostError("AddChild of a null child");
        return;
    }
    ArrayHolder array(m_numChildren + 1);
    for (int i = 0; i < m_numChildren; ++i) {
        array.Get()[i] = m_children[i];
    }
    array.Get()[m_numChildren] = child;
    child->AddParent(this);
    FreeArray(m_children, m_numChildren);
    m_children = array.Release();
    ++m_numChildren;
    Notify(eMODIFIED_ALL);
}

int TqOcStaticBase::FindChild(TqOcBaseTraversable const* child) const
{
    for (int i = 0; i < m_numChildren; ++i) {
        if (m_children[i] == child) {
            return i;
        }
    }
    return -1;
}

TqOcBaseTraversable* TqOcStaticBase::RemoveChild(int i)
{
    if (i < 0 || i >= m_numChildren) {
        PostError("RemoveChild with an index out of range");
        return nullptr;
    }
    TqOcBaseTraversable* const removed = m_children[i];
    ArrayHolder array(m_numChildren - 1);
    for (int from = 0, to = 0; from < m_numChildren; ++from) {
        if (from != i) {
            array.Get()[to++] = m_children[from];
        }
    }
    FreeArray(m_children, m_numChildren);
    m_children = array.Release();
    --m_numChildren;
    removed->RemoveParent(this);
    Notify(eMODIFIED_ALL);
    return removed;
}

void TqOcStaticBase::DeleteChild(int i)
{
    TqOcBaseTraversable* const removed = RemoveChild(i);
    if (removed != nullptr && !removed->IsOwned()) {
        delete removed;
    }
}

void TqOcStaticBase::ResetToEmptyCallerHandlesChildren()
{
    FreeArray(m_children, m_numChildren);
    ResetWithoutChildren();
}

void TqOcStaticBase::ResetWithoutChildren()
{
    m_children = nullptr;
    m_numChildren = 0;
}

int TqOcStaticBase::GetChildren(TqOcBaseTraversable* const** children)
{
    *children = m_children;
    return m_numChildren;
}

// --- TqOcStaticBase: update
// ------------------------------------------------------------------------

void TqOcStaticBase::DoUpdate()
{
    bool const rebuildBox = (GetModified() & eMODIFIED_BOX) != 0;
    if (rebuildBox) {
        ClearBoundingBox();
    }
    TqOcAggregate aggregate;
    for (int i = 0; i < m_numChildren; ++i) {
        TqOcBaseTraversable& child = *m_children[i];
        child.Update();
        if (rebuildBox && child.IsShape()) {
            TqLBox3f box;
            box.MakeEmpty();
            static_cast<TqOcShape&>(child).GetShapeBox(box);
            ExtendBoundingBox(box);
        } else if (rebuildBox) {
            ExtendBoundingBox(static_cast<TqOcTraversable&>(child).GetBoundingBox());
        }
        aggregate.Add(child);
    }
    aggregate.StoreIn(*this);
    SetModified(0);
}

// --- TqOcStaticGroup
// -------------------------------------------------------------------------------

void TqOcStaticGroup::Initialise()
{
    InitialiseComponent(s_component, "TqOcStaticBase 1", s_dependencies);
}

void TqOcStaticGroup::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcStaticGroup::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcStaticGroup::TqOcStaticGroup() = default;

TqOcStaticGroup::TqOcStaticGroup(TqOcTraversable** children, int count)
{
    ReplaceChildren(children, count);
}

TqOcStaticGroup::~TqOcStaticGroup() = default;

TqOcTraversable* TqOcStaticGroup::GetChild(int i)
{
    return static_cast<TqOcTraversable*>(TqOcStaticBase::GetChild(i));
}

TqOcTraversable const* TqOcStaticGroup::GetChild(int i) const
{
    return static_cast<TqOcTraversable const*>(TqOcStaticBase::GetChild(i));
}

void TqOcStaticGroup::AddChild(TqOcTraversable* child)
{
    TqOcStaticBase::AddChild(child);
}

TqOcTraversable* TqOcStaticGroup::RemoveChild(int i)
{
    return static_cast<TqOcTraversable*>(TqOcStaticBase::RemoveChild(i));
}

void TqOcStaticGroup::SetChildren(TqOcTraversable** children, int count)
{
    ReplaceChildren(children, count);
}

void TqOcStaticGroup::PartSet(int i, TqOcTraversable* child)
{
    TqOcStaticBase::PartSet(i, child);
}

void TqOcStaticGroup::AddShape(TqOcShape* shape)
{
    if (shape == nullptr) {
        PostError("AddShape of a null shape");
        return;
    }
    TqLBox3f box;
    box.MakeEmpty();
    shape->GetShapeBox(box);
    if (IsLeaf()) {
        TqOcStaticBase::AddChild(shape);
        return;
    }

    TqOcStaticBase* group = this;
    for (TqOcStaticBase* next = this; next != nullptr;) {
        group = next;
        TqOcTraversable* const child = FindContaining(*group, box);
        if (auto* const tree = dynamic_cast<TqOcDynamicGroup*>(child)) {
            tree->AddShape(shape);
            return;
        }
        next = dynamic_cast<TqOcStaticBase*>(child); // a container of another kind ends the way
        if (next != nullptr && next->IsLeaf()) {
            next->AddChild(shape);
            return;
        }
    }
    auto leaf = std::make_unique<TqOcStaticLeaf>(&shape, 1);
    try {
        group->AddChild(leaf.get());
    } catch (...) {
        shape->RemoveParent(leaf.get()); // it stays the caller's
        leaf->ResetToEmptyCallerHandlesChildren();
        throw;
    }
    leaf.release();
}

void TqOcStaticGroup::RemoveShape(TqOcShape* shape)
{
    if (shape == nullptr) {
        PostError("RemoveShape of a null shape");
        return;
    }
    if (shape->HasMultipleParents() || shape->GetSingleParent() == nullptr) {
        PostError("RemoveShape of a shape that has no parent or several");
        return;
    }
    TqOcStaticBase* const parent = dynamic_cast<TqOcStaticBase*>(shape->GetSingleParent());
    int const index = parent != nullptr ? parent->FindChild(shape) : -1;
    if (index < 0) {
        PostError("RemoveShape of a shape whose parent is no static container that lists it");
        return;
    }
    parent->RemoveChild(index);
}

// --- TqOcStaticLeaf
// --------------------------------------------------------------------------------

TqOcStaticLeaf::TqOcStaticLeaf()
{
    SetLeaf(1);
}

TqOcStaticLeaf::TqOcStaticLeaf(TqOcShape** shapes, int count)
{
    SetLeaf(1);
    ReplaceChildren(shapes, count);
}

TqOcStaticLeaf::~TqOcStaticLeaf() = default;

TqOcShape* TqOcStaticLeaf::GetChild(int i)
{
    return static_cast<TqOcShape*>(TqOcStaticBase::GetChild(i));
}

TqOcShape const* TqOcStaticLeaf::GetChild(int i) const
{
    return static_cast<TqOcShape const*>(TqOcStaticBase::GetChild(i));
}

void TqOcStaticLeaf::AddChild(TqOcShape* shape)
{
    TqOcStaticBase::AddChild(shape);
}

TqOcShape* TqOcStaticLeaf::RemoveChild(int i)
{
    return static_cast<TqOcShape*>(TqOcStaticBase::RemoveChild(i));
}

void TqOcStaticLeaf::SetChildren(TqOcShape** shapes, int count)
{
    ReplaceChildren(shapes, count);
}

void TqOcStaticLeaf::PartSet(int i, TqOcShape* shape)
{
    TqOcStaticBase::PartSet(i, shape);
}

// --- TqOcSingleLeaf
// --------------------------------------------------------------------------------

TqOcSingleLeaf::TqOcSingleLeaf(TqOcShape* shape) : m_shape(shape)
{
    SetLeaf(1);
    SetModified(eMODIFIED_ALL);
    if (shape != nullptr) {
        shape->AddParent(this);
    } else {
        PostError("A single leaf without a shape");
    }
}

TqOcSingleLeaf::~TqOcSingleLeaf()
{
    if (m_shape != nullptr) {
        LetGoChild(this, m_shape);
    }
}

void TqOcSingleLeaf::SetShape(TqOcShape* shape)
{
    m_shape = shape;
    Notify(eMODIFIED_ALL);
}

int TqOcSingleLeaf::GetChildren(TqOcBaseTraversable* const** children)
{
    *children = &m_shape;
    return GetNumShapes();
}

void TqOcSingleLeaf::DoUpdate()
{
    if (m_shape == nullptr) {
        ClearBoundingBox();
        TqOcAggregate().StoreIn(*this);
        SetModified(0);
        return;
    }
    m_shape->Update();
    if ((GetModified() & eMODIFIED_BOX) != 0) {
        TqLBox3f box;
        box.MakeEmpty();
        GetShape()->GetShapeBox(box);
        UpdateBoundingBox(box);
    }
    UpdateTris(m_shape->GetTris());
    UpdatePrimitives(m_shape->GetPrimitives());
    UpdateScale(m_shape->GetScale());
    UpdateHideRender(m_shape->IsHideRender());
    UpdateForceRender(m_shape->IsForceRender());
    UpdateIgnoreClip(m_shape->IsIgnoreClip());
    UpdateIgnorePick(m_shape->IsIgnorePick());
    SetModified(0);
}
