#pragma once

// DynamicTreeChecker: looks at a whole dynamic tree and says what is wrong with it.
//
// The tree is read, never changed; shapes are asked for their boxes when the tree should be up to
// date. A failure message lists up to a dozen faults, each with the way to the node by child index.

#include "scenecull/TqOcDynamicGroup.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// What a tree may look like at the moment of the check.
struct DynamicTreeRules
{
    /// Every mask is 0, every box the union of its children's, aggregates are right. Otherwise
    /// boxes only enclose those below, as they are stored.
    bool isUpToDate = true;
    /// Groups of 1 to 3 children below the root, as the bulk builder makes them.
    bool allowSmallGroups = false;
    /// The root may have parents, and shapes and leaves other parents outside of the tree.
    bool allowOtherParents = false;
    /// After a failure: a group whose box bit is set need not enclose what is below it.
    bool allowStaleBoxes = false;
};

/// Whether the tree keeps every invariant and holds exactly these shapes, each once.
///
/// Checked: children are all groups or all leaves; 4 to 7 in every group below the root, at most 7
/// in the root; all leaves at one depth, CalcDepth's; each child lists its group as a parent once,
/// groups below the root nobody else; no node is met twice; boxes, aggregates and masks as the
/// rules say.
::testing::AssertionResult IsSoundDynamicTree(TqOcDynamicGroup& root,
                                              std::vector<TqOcShape*> const& shapes,
                                              DynamicTreeRules const& rules = {});

/// The tree as a text: groups as "(...)", leaves of one shape as that shape's name, other leaves as
/// "[...]"; names are followed by a blank. Trees of equal structure give equal texts.
std::string DescribeDynamicTree(TqOcDynamicGroup& root,
                                std::function<std::string(TqOcBaseTraversable*)> const& nameOf);

/// The dynamic groups of a tree, parents before children, the root first.
std::vector<TqOcDynamicGroup*> GroupsOf(TqOcDynamicGroup& root);

/// The leaves of a tree in child order.
std::vector<TqOcTraversable*> LeavesOf(TqOcDynamicGroup& root);

/// Most levels of groups that a tree of `leaves` leaves can have when every group below the root
/// has at least 4 children and a root of one child is a root of leaves.
int GetLargestDepth(int leaves);

/// Fewest levels that hold so many.
int GetSmallestDepth(int leaves);
