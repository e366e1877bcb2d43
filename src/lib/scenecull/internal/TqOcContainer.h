// What all containers do with their children: let them go by the ownership rule, and derive their
// own attributes from them.
#pragma once

#include "scenecull/TqOcTraversable.h"

#include <cfloat>

namespace TqOcInternal
{

inline void DeleteUnlessOwned(TqOcBaseTraversable* node)
{
    if (!node->IsOwned()) {
        delete node;
    }
}

/// Unlinks a child from its container and deletes it unless something else owns it.
inline void LetGoChild(TqOcTraversable* container, TqOcBaseTraversable* child)
{
    child->RemoveParent(container);
    DeleteUnlessOwned(child);
}

/// The attributes that a container derives from its children.
struct TqOcAggregate
{
    unsigned int tris = 0;
    unsigned int primitives = 0;
    double scale = DBL_MAX;
    int hideRender = 1;
    int forceRender = 0;
    int ignoreClip = 0;
    int ignorePick = 1;

    void Add(TqOcBaseTraversable const& child)
    {
        tris += child.GetTris();
        primitives |= child.GetPrimitives();
        if (child.GetScale() < scale) {
            scale = child.GetScale();
        }
        hideRender &= child.IsHideRender();
        forceRender |= child.IsForceRender();
        ignoreClip |= child.IsIgnoreClip();
        ignorePick &= child.IsIgnorePick();
    }

    void StoreIn(TqOcBaseTraversable& container) const
    {
        container.UpdateTris(tris);
        container.UpdateScale(scale);
        container.UpdatePrimitives(static_cast<TqLPrimitiveTypes::Enum>(primitives));
        container.UpdateHideRender(hideRender);
        container.UpdateForceRender(forceRender);
        container.UpdateIgnoreClip(ignoreClip);
        container.UpdateIgnorePick(ignorePick);
    }
};

} // namespace TqOcInternal
