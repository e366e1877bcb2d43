// The plain walk over a hierarchy: depth first, every node, no culling, no time limit.
//
// The application derives from TqOcVisitor and applies it to a root. Each node class's Visit
// decides how its children are entered. Nothing is skipped for being hidden, culled or ignored by
// picking, and a node under two parents is visited once per way to it. The recursion runs on the
// call stack; the hierarchy must not change meanwhile.
#pragma once

#include "scenecull/TqOcApi.h"

class TqOcShape;
class TqOcTraversable;

/// Callbacks of a walk.
class TQOC_API TqOcVisitor
{
public:
    /// Answer of the container callbacks.
    enum Action
    {
        eCONTINUE = 0, ///< Go on into the children.
        ePRUNE = 1     ///< Skip the children; any answer but eCONTINUE does.
    };

    /// Switches "TqOcVisitor" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// A visitor holds nothing of its own, so a copy is as good as a new one.
    /// @{
    TqOcVisitor() = default;
    TqOcVisitor(TqOcVisitor const&) = default;
    TqOcVisitor& operator=(TqOcVisitor const&) = default;
    /// @}

    /// Updates the root if it was modified, then visits it. Null: posted with severity 1; nothing
    /// is visited.
    void Apply(TqOcTraversable* root);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No visit may be running.
    virtual ~TqOcVisitor();

    /// Before a container's children. Default: eCONTINUE.
    virtual Action BeginVisit(TqOcTraversable* node);

    /// After a container's children, or in their place when they were skipped. The answer is
    /// ignored. Default: eCONTINUE.
    virtual Action EndVisit(TqOcTraversable* node);

    /// Once for each shape reached. Default: nothing.
    virtual void VisitShape(TqOcShape* shape);
};
