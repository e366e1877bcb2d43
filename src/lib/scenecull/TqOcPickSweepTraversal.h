// Picking by sweep: what a box or sphere that moves along a vector would touch.
//
// Two ways, chosen at construction. Depth first goes through each node's PickSweep, in child order.
// Nearest first has a prioritized visitor enter the nodes in the order of their distance along the
// sweep, so that first contacts are found first; a shape that shortens the sweep at a contact
// (EditSweep().ShortenTo) makes the walk test later nodes against what is left of it.
//
// While the sweep is not shortened both find the same shapes, but for two exceptions: nearest first
// never enters hidden nodes (depth first asks IsPickHidden), and it follows a group's only child
// without testing it, so that one's flags and frame id have no say; its shapes are tested as ever.
//
// Shapes that override PickSweep test their own geometry against GetSweep and report contacts as to
// every pick. Only nodes and shapes that hold triangles (TqLPrimitiveTypes::eTRIANGLES) take part.
// The nearest hit prunes nothing by itself.
//
// A nearest-first sweep must not be started from a callback of a frame, a prioritized visit or
// another nearest-first sweep of the same hierarchy: all of them mark the nodes on their path, and
// the inner one would pass over them. A depth-first sweep marks nothing.
#pragma once

#include "scenecull/TqOcPickTraversal.h"

#include "geometry/TqLPickSweep.h"

#include <memory>

namespace TqOcInternal
{
class TqOcPickSweepVisitor;
}

/// A pick by sweep.
///
/// Per pick: SetSweep, Apply(root), then read the results of TqOcPickTraversal. A sweep that was
/// shortened stays so until it is set again. A sweep vector of zero makes a plain pick of what the
/// body touches where it stands; nearest first, all nodes are then equal.
class TQOC_API TqOcPickSweepTraversal : public TqOcPickTraversal
{
public:
    /// Switches "TqOcPickSweepTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned; may be null
    /// @param prioritized  0: depth first; otherwise nearest first
    TqOcPickSweepTraversal(TqOcContext* context, int prioritized);

    /// The moving body; without one at first, which picks nothing. During a pick a shape may
    /// shorten it through EditSweep; anything else is for between picks.
    /// @{
    TqLPickSweep const& GetSweep() const { return m_sweep; }

    TqLPickSweep& EditSweep() { return m_sweep; }

    void SetSweep(TqLPickSweep const& sweep) { m_sweep = sweep; }

    /// @}

    /// Whether the pick skips a node or shape (0 or 1): it holds no triangles, its box lies beside
    /// the sweep, or it was not drawn. A shape's own frame id does not count. Narrows the cull
    /// bits.
    /// @{
    int CanCull(TqOcTraversable* node);
    int CanCull(TqOcShape* shape);
    /// @}

    // --- Virtual operations ---------------------------------------------------------------------

    ~TqOcPickSweepTraversal() override;

protected:
    /// Tests the root and runs its PickSweep, or the nearest-first walk.
    void StartPick(TqOcTraversable* root) override;

private:
    // Data; the order is part of the binary interface.
    TqLPickSweep m_sweep;
    std::unique_ptr<TqOcInternal::TqOcPickSweepVisitor> m_visitor; ///< Null: depth first.
};
