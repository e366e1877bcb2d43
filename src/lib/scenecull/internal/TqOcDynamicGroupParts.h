// What the sources of the dynamic group share: the posting of its errors, the moving of parent
// links and the measure of boxes.
#pragma once

#include "scenecull/TqOcTraversable.h"

#include "util/TqUComponent.h"

namespace TqOcInternal
{

/// The component "TqOcDynamicGroup"; its errors are posted against it.
TqUComponent& GetDynamicGroupComponent();

/// Posts severity 1.
void PostDynamicGroupError(char const* text);

/// The measure by which boxes are compared: the sum of the edge lengths, y and x first.
inline double SumOfEdges(TqLBox3f const& box)
{
    TqLVec3f const size = box.GetSize();
    return size[1] + size[0] + size[2];
}

/// Emptiness, as insertion sees it.
inline bool IsBoxEmpty(TqLBox3f const& box)
{
    return box.GetMin()[0] > box.GetMax()[0];
}

/// Whether `parent` is among the node's parents.
inline bool HasParentLink(TqOcBaseTraversable const* node, TqOcTraversable const* parent)
{
    if (!node->HasMultipleParents()) {
        return parent != nullptr && node->GetSingleParent() == parent;
    }
    // The vector's search is not const; it changes nothing.
    auto* const parents = const_cast<TqUPtrVector<TqOcTraversable>*>(node->GetMultipleParents());
    return parents->Find(parent) >= 0;
}

/// Makes `to` a parent in place of `from`, as RemoveParent and AddParent would, but without taking
/// memory. Where `from` is none of the node's parents `to` is only added, which may throw.
inline void ReplaceParent(TqOcTraversable* node, TqOcTraversable* from, TqOcTraversable* to)
{
    if (!HasParentLink(node, from)) {
        node->AddParent(to);
    } else if (node->HasMultipleParents()) {
        TqUPtrVector<TqOcTraversable>& parents = *node->GetMultipleParents();
        parents.Erase(parents.Begin() + parents.Find(from));
        parents.PushBack(to);
    } else {
        node->SetSingleParent(to);
    }
}

/// Keeps a node from being deleted while it lives; puts the node's flag back at the end.
class TqOcUserOwnedHold
{
public:
    explicit TqOcUserOwnedHold(TqOcBaseTraversable* node)
        : m_node(node)
        , m_wasUserOwned(node->IsUserOwned())
    {
        node->SetUserOwned(1);
    }

    ~TqOcUserOwnedHold() { m_node->SetUserOwned(m_wasUserOwned); }

    TqOcUserOwnedHold(TqOcUserOwnedHold const&) = delete;
    TqOcUserOwnedHold& operator=(TqOcUserOwnedHold const&) = delete;

private:
    TqOcBaseTraversable* m_node;
    int m_wasUserOwned;
};

} // namespace TqOcInternal
