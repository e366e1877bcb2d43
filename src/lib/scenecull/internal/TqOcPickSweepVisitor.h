// The nearest-first walk of a sweep pick.
//
// A prioritized visitor whose priority is the distance of a node's box from the plane through the
// centre of the body, across the sweep. Cull bits are the sweep's six faces instead of the
// frustum's three pairs of planes; the base's own tests never see them.
#pragma once

#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include "geometry/TqLPlane3f.h"

namespace TqOcInternal
{

class TqOcPickSweepVisitor : public TqOcPrioritizedVisitor
{
public:
    /// @param traversal  owns the visitor
    explicit TqOcPickSweepVisitor(TqOcPickSweepTraversal* traversal);
    ~TqOcPickSweepVisitor() override;

    /// Walks from `root` along the traversal's sweep as it is now.
    void Sweep(TqOcTraversable* root);

    /// Prunes what a sweep that was shortened meanwhile no longer reaches.
    Action BeginVisit(TqOcTraversable* node) override;

    /// Hands a shape to its PickSweep unless it is culled.
    void VisitShape(TqOcShape* shape) override;

    int CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                         TqOcRenderTravCullData* data) override;

private:
    TqOcPickSweepTraversal* m_traversal;
    TqLPlane3f m_front; // through the centre of the body, facing along the sweep; zero normal: none
};

} // namespace TqOcInternal
