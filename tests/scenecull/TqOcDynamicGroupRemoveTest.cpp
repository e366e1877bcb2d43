// Removal from dynamic trees: dissolving, shortening, culling of empty groups, the repair of whole
// trees, merging, and what a failure leaves.

#include "support/AllocationCounter.h"
#include "support/DynamicTreeMaker.h"
#include "support/DynamicTreePair.h"

#include "scenes/SceneRandom.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace
{

using Tree = std::unique_ptr<TqOcDynamicGroup>;

DynamicTreeRules const s_small{true, true, false};
DynamicTreeRules const s_smallPending{false, true, false};

/// Root of groups of unit leaves in rows; row i has counts[i] leaves and starts at 100 i.
Tree RowTree(std::vector<int> const& counts)
{
    Nodes rows;
    int number = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        rows.push_back(NewRow(number, counts[i], 100.0 * static_cast<double>(i)));
        number += counts[i];
    }
    return Tree(NewGroup(rows));
}

TqOcTraversable* LeafOf(TqOcDynamicGroup& root, int number)
{
    return FindShape(root, number)->GetSingleParent();
}

/// Everything about a tree that a test of "nothing changed" compares.
std::string Fingerprint(TqOcDynamicGroup& root)
{
    std::string text = StructureOf(root);
    for (TqOcDynamicGroup* const group : GroupsOf(root)) {
        TqLBox3f const& box = group->GetBoundingBox();
        text += " " + std::to_string(box.GetMin()[0]) + ":" + std::to_string(box.GetMax()[0]);
        text += " " + Hex(group->GetModified());
    }
    return text;
}

} // namespace

// ---- Removing a leaf ----------------------------------------------------------------------------

TEST(TqOcDynamicGroupRemove, OnlyRecomputesBoxesWhereFourOrMoreStay)
{
    Tree const root = RowTree({5, 4});
    TqOcDynamicGroup* const first = GroupAt(*root, 0);
    root->DeleteLeaf(first->GetChild(0));
    EXPECT_EQ(StructureOf(*root), "((4 1 2 3 )(5 6 7 8 ))");
    EXPECT_EQ(root->GetChild(0), first);
    EXPECT_EQ(first->GetBoundingBox(), MakeBox(2, 0, 0, 9, 1, 1));
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(2, 0, 0, 107, 1, 1));
    EXPECT_EQ(Hex(first->GetModified()), "0xfe");
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
}

TEST(TqOcDynamicGroupRemove, StopsAtTheFirstBoxThatStays)
{
    Tree const root = RowTree({6, 4});
    Probe::SetBox(*root, MakeBox(-9, 0, 0, 200, 1, 1)); // too large, and not to be looked at
    root->DeleteLeaf(LeafOf(*root, 3));
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(-9, 0, 0, 200, 1, 1));
    EXPECT_EQ(GroupAt(*root, 0)->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    root->DeleteLeaf(LeafOf(*root, 5));
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 107, 1, 1));
}

TEST(TqOcDynamicGroupRemove, DissolvesAGroupOfFourAndInsertsTheOthersAtTheirDepth)
{
    Tree const root = RowTree({4, 4, 5});
    root->DeleteLeaf(LeafOf(*root, 1));
    // The last group has moved into the gap; 0, 2 and 3 have gone where the boxes grow least.
    EXPECT_EQ(root->GetNumChildren(), 2);
    EXPECT_EQ(root->CalcDepth(), 2);
    EXPECT_EQ(StructureOf(*root), "((8 9 10 11 12 )(4 5 6 7 0 3 2 ))");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 209, 1, 1));
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupRemove, LosesALevelWithTheLastGroupButOne)
{
    Tree const root = RowTree({4, 4});
    TqOcDynamicGroup* const before = root.get();
    root->DeleteLeaf(LeafOf(*root, 5));
    EXPECT_EQ(root.get(), before);
    EXPECT_EQ(root->CalcDepth(), 1);
    EXPECT_EQ(root->GetNumChildren(), 7);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 107, 1, 1));
    for (int i = 0; i < 7; ++i) {
        EXPECT_TRUE(IsOnlyParent(*root->GetChild(i), root.get()));
    }
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupRemove, DissolvesUpwardsAndShortensTheTree)
{
    Tree const root(NewGroup({RowTree({4, 4, 4, 4}).release(), RowTree({4, 4, 4, 4}).release()}));
    EXPECT_EQ(root->CalcDepth(), 3);
    root->DeleteLeaf(GroupAt(*GroupAt(*root, 0), 0)->GetChild(0));
    // The group of three goes, then the group of three groups, then the root's only group.
    EXPECT_EQ(root->CalcDepth(), 2);
    EXPECT_EQ(root->GetNumChildren(), 7);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 31u);
}

TEST(TqOcDynamicGroupRemove, FollowsARootThatSplitsMeanwhile)
{
    // All groups but one are full: its orphans split two of them, and the second splits the root.
    Tree const root = RowTree({4, 7, 7, 7, 7, 7, 7});
    root->DeleteLeaf(LeafOf(*root, 0));
    EXPECT_EQ(root->CalcDepth(), 2);
    EXPECT_EQ(root->GetNumChildren(), 7);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));

    // Orphans far apart, each next to another full group.
    Nodes groups = {NewGroup(
        {NewLeafAt(0, 101.5), NewLeafAt(1, 201.5), NewLeafAt(2, 301.5), NewLeafAt(3, 401.5)})};
    for (int i = 1; i < 7; ++i) {
        groups.push_back(NewRow(7 * i, 7, 100.0 * i));
    }
    Tree const spread(NewGroup(groups));
    spread->DeleteLeaf(LeafOf(*spread, 3));
    EXPECT_EQ(spread->CalcDepth(), 3);
    spread->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*spread, ShapesOf(*spread)));
    EXPECT_EQ(ShapesOf(*spread).size(), 45u);
}

TEST(TqOcDynamicGroupRemove, EmptiesARootOfLeavesOneByOne)
{
    Tree const root(NewRow(0, 7, 0.0));
    for (int i = 6; i >= 0; --i) {
        root->DeleteLeaf(root->GetChild(0));
        EXPECT_EQ(root->GetNumChildren(), i);
        EXPECT_EQ(root->GetBoundingBox(), Probe::CalcBox(*root));
        EXPECT_EQ(root->CalcDepth(), 1);
    }
    EXPECT_TRUE(HasEmptyBox(*root));
}

TEST(TqOcDynamicGroupRemove, PutsOrphansDirectlyUnderARootThatHasNothingElse)
{
    Tree const root = RowTree({4}); // by hand: a root of one group
    root->DeleteLeaf(LeafOf(*root, 0));
    EXPECT_EQ(StructureOf(*root), "(3 1 2 )");
    EXPECT_EQ(root->CalcDepth(), 1);
    Tree const chain(NewGroup({NewGroup({NewRow(0, 4, 0.0)})}));
    chain->DeleteLeaf(LeafOf(*chain, 3));
    EXPECT_EQ(StructureOf(*chain), "(0 1 2 )"); // the groups between have gone
    EXPECT_EQ(chain->GetBoundingBox(), MakeBox(0, 0, 0, 5, 1, 1));
}

TEST(TqOcDynamicGroupRemove, EndsWhereTheGroupAboveHasVanished)
{
    // By hand: one branch is a chain of single groups. Its middle goes with the dissolved group.
    Tree const root(NewGroup({NewGroup({NewRow(0, 4, 0.0)}), RowTree({4, 4, 4, 4}).release()}));
    PlayShape* const removed = ShapeOf(GroupAt(*GroupAt(*root, 0), 0)->GetChild(0));
    root->DeleteShape(removed);
    EXPECT_EQ(root->CalcDepth(), 3);
    EXPECT_EQ(root->GetNumChildren(), 1);
    EXPECT_EQ(ShapesOf(*root).size(), 19u);
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), s_smallPending));
    root->Rebalance();
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupRemove, EqualsTheReferenceOnTreesBuiltByHand)
{
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        SceneRandom random(seed);
        DynamicTreePair pair(random, 1 + static_cast<int>(random.Below(3)), false);
        std::vector<TqOcShape*> shapes = ShapesOf(*pair.tree);
        for (int step = 0; step < 12 && !shapes.empty(); ++step) {
            std::size_t const at = random.Below(static_cast<std::uint32_t>(shapes.size()));
            auto* const shape = static_cast<PlayShape*>(shapes[at]);
            pair.tree->RemoveShape(shape);
            pair.reference->RemoveShape(shape->GetNumber());
            delete shape;
            shapes.erase(shapes.begin() + static_cast<std::ptrdiff_t>(at));
            ASSERT_EQ(StructureOf(*pair.tree), pair.reference->GetStructure())
                << "seed " << seed << ", step " << step;
            ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes, s_smallPending)) << "seed " << seed;
        }
        pair.tree->Rebalance();
        pair.reference->Rebalance();
        ASSERT_EQ(StructureOf(*pair.tree), pair.reference->GetStructure()) << "seed " << seed;
        pair.tree->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes)) << "seed " << seed;
    }
}

// ---- The single steps ---------------------------------------------------------------------------

TEST(TqOcDynamicGroupRemove, RebalanceForRemoveOnlyLooksAtAGroupOfFour)
{
    Tree const root = RowTree({4, 4});
    TqOcDynamicGroup* const group = GroupAt(*root, 0);
    Probe::SetBox(*group, MakeBox(-1, 0, 0, 9, 1, 1));
    Probe::RebalanceForRemove(*root, group, true);
    EXPECT_EQ(group->GetBoundingBox(), MakeBox(0, 0, 0, 7, 1, 1));
    EXPECT_EQ(root->GetNumChildren(), 2);
}

TEST(TqOcDynamicGroupRemove, RebalanceForRemoveEndsAfterOneGroupUnlessItRecurses)
{
    for (bool const recurses : {false, true}) {
        Tree const root(NewGroup({RowTree({3, 4, 4, 4}).release(), RowTree({4, 4, 4, 4}).release(),
                                  RowTree({4, 4, 4, 4}).release()}));
        TqOcDynamicGroup* const above = GroupAt(*root, 0);
        TqOcDynamicGroup* const shortGroup = GroupAt(*above, 0);
        TqOcDynamicGroupLevelSet set;
        set.Add(GroupAt(*above, 1));
        set.Add(shortGroup);
        set.Add(above);
        Probe::RebalanceForRemove(*root, shortGroup, recurses, &set);
        EXPECT_EQ(set.GetSlot(1), nullptr); // dissolved
        EXPECT_NE(set.GetSlot(0), nullptr);
        EXPECT_EQ(set.GetCount(), recurses ? 1 : 2);
        EXPECT_EQ(set.GetSlot(2), recurses ? nullptr : above);
        EXPECT_EQ(root->GetNumChildren(), recurses ? 2 : 3);
        if (!recurses) {
            EXPECT_EQ(above->GetNumChildren(), 3);
        }
        root->Update();
        EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), s_small));
    }
}

TEST(TqOcDynamicGroupRemove, RebalanceForRemoveWithoutRecursionLeavesAnOnlyGroupToTheRootsTurn)
{
    Tree const root = RowTree({3, 4});
    Probe::RebalanceForRemove(*root, GroupAt(*root, 0), false);
    EXPECT_EQ(root->CalcDepth(), 2);
    EXPECT_EQ(root->GetNumChildren(), 1);
    Probe::RebalanceForRemove(*root, root.get(), false);
    EXPECT_EQ(root->CalcDepth(), 1);
    EXPECT_EQ(root->GetNumChildren(), 7);
}

TEST(TqOcDynamicGroupRemove, TheRootTakesThePlaceOfAnOnlyGroup)
{
    EventLog log;
    RecordingTraversable owner(&log, "owner");
    TqOcTraversable* leaves[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0), NewLeafAt(2, 9.0)};
    auto* const only = new RecordingDynamicGroup(&log, "only", leaves, 3);
    TqOcTraversable* groups[] = {only};
    RecordingDynamicGroup root(&log, "root", groups, 1);
    Probe::UpdateKeepStructure(root);
    root.SetSingleParent(&owner);
    TqOcDynamicGroupLevelSet set;
    set.Add(only);
    log.Clear();
    Probe::RebalanceRootForRemove(root, &set);
    EXPECT_EQ(StructureOf(root), "(0 1 2 )");
    EXPECT_TRUE(IsOnlyParent(*leaves[2], &root));
    EXPECT_EQ(set.GetCount(), 0);
    EXPECT_EQ(set.GetSlot(0), nullptr);
    EXPECT_EQ(log.Take(), Lines({"Delete only", "Notify root 0xfe", "Notify owner 0xfe"}));
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 10, 1, 1));
    root.SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroupRemove, TheRootFitsItsBoxToTheChildrenItTakesOver)
{
    EventLog log;
    RecordingTraversable owner(&log, "owner");
    Tree const root = RowTree({4});
    root->SetSingleParent(&owner);
    Probe::SetBox(*root, MakeCube(0, 0, 0, 500));
    Probe::RebalanceRootForRemove(*root);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 7, 1, 1));
    EXPECT_EQ(log.Take(), Lines({"Notify owner 0xfe", "Notify owner 0x1"}));
    root->SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroupRemove, TheRootLosesOneLevelAtATime)
{
    Tree const root(NewGroup({NewGroup({NewGroup({NewRow(0, 4, 0.0)})})}));
    for (int depth = 4; depth > 1; --depth) {
        EXPECT_EQ(root->CalcDepth(), depth);
        Probe::RebalanceRootForRemove(*root);
    }
    EXPECT_EQ(StructureOf(*root), "(0 1 2 3 )");
    Probe::RebalanceRootForRemove(*root);
    EXPECT_EQ(StructureOf(*root), "(0 1 2 3 )");
}

TEST(TqOcDynamicGroupRemove, ARootOfOneLeafOrOfSeveralGroupsOnlyRecomputesItsBox)
{
    Tree const ofOneLeaf(NewRow(0, 1, 0.0));
    Probe::SetBox(*ofOneLeaf, MakeCube(0, 0, 0, 50));
    Probe::RebalanceRootForRemove(*ofOneLeaf);
    EXPECT_EQ(StructureOf(*ofOneLeaf), "(0 )");
    EXPECT_EQ(ofOneLeaf->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(ofOneLeaf->GetModified(), 0u);
    Tree const ofTwo = RowTree({4, 4});
    Probe::SetBox(*ofTwo, MakeCube(0, 0, 0, 500));
    Probe::RebalanceRootForRemove(*ofTwo);
    EXPECT_EQ(ofTwo->GetNumChildren(), 2);
    EXPECT_EQ(ofTwo->GetBoundingBox(), MakeBox(0, 0, 0, 107, 1, 1));
    TqOcDynamicGroup empty;
    Probe::SetBox(empty, MakeCube(0, 0, 0, 500));
    Probe::RebalanceRootForRemove(empty);
    EXPECT_TRUE(HasEmptyBox(empty));
}

TEST(TqOcDynamicGroupRemove, CullsAnEmptyGroupAndThoseAboveThatItEmpties)
{
    EventLog log;
    auto* const bottom = new RecordingDynamicGroup(&log, "bottom");
    TqOcTraversable* inner[] = {bottom};
    auto* const middle = new RecordingDynamicGroup(&log, "middle", inner, 1);
    TqOcDynamicGroup* const other = NewGroup({NewRow(0, 4, 0.0)});
    TqOcDynamicGroup* const last = NewGroup({NewRow(4, 4, 50.0)});
    Tree const root(NewGroup({middle, other, last}));
    TqLBox3f const wrong = MakeCube(0, 0, 0, 500);
    Probe::SetBox(*root, wrong);
    TqOcDynamicGroupLevelSet set;
    set.Add(other);
    set.Add(middle);
    set.Add(bottom);
    log.Clear();
    Probe::RecursiveCullEmptyGroup(*root, bottom, &set);
    EXPECT_EQ(log.Take("Delete"), Lines({"Delete bottom", "Delete middle"}));
    EXPECT_EQ(StructureOf(*root), "(((4 5 6 7 ))((0 1 2 3 )))");
    EXPECT_EQ(set.GetCount(), 1);
    EXPECT_EQ(set.GetSlot(0), other);
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
    EXPECT_EQ(root->GetBoundingBox(), wrong); // boxes are not recomputed here
}

TEST(TqOcDynamicGroupRemove, CullsNeitherAGroupWithChildrenNorTheRoot)
{
    Tree const root = RowTree({4, 1});
    Probe::RecursiveCullEmptyGroup(*root, GroupAt(*root, 1));
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 )(4 ))");
    TqOcDynamicGroup empty;
    Probe::RecursiveCullEmptyGroup(empty, &empty);
    EXPECT_EQ(empty.GetNumChildren(), 0);
    Tree const hollow(NewGroup({new TqOcDynamicGroup}));
    Probe::RecursiveCullEmptyGroup(*hollow, GroupAt(*hollow, 0));
    EXPECT_EQ(hollow->GetNumChildren(), 0);
}

TEST(TqOcDynamicGroupRemove, CullAllEmptyGroupsGoesFromTheLastChildToTheFirst)
{
    EventLog log;
    auto const empty = [&log](char const* name) { return new RecordingDynamicGroup(&log, name); };
    TqOcTraversable* hollow[] = {empty("a"), empty("b")};
    auto* const hollowGroup = new RecordingDynamicGroup(&log, "hollow", hollow, 2);
    TqOcTraversable* mixed[] = {empty("c"), NewRow(0, 4, 0.0), empty("d"), NewRow(4, 4, 50.0)};
    auto* const mixedGroup = new RecordingDynamicGroup(&log, "mixed", mixed, 4);
    Tree const root(NewGroup({hollowGroup, mixedGroup}));
    log.Clear();
    Probe::CullAllEmptyGroups(*root, root.get());
    EXPECT_EQ(log.Take("Delete"),
              Lines({"Delete d", "Delete c", "Delete b", "Delete a", "Delete hollow"}));
    EXPECT_EQ(StructureOf(*root), "(((4 5 6 7 )(0 1 2 3 )))");
    log.Clear();
    Tree const ofLeaves(NewRow(8, 2, 0.0));
    Probe::CullAllEmptyGroups(*ofLeaves, ofLeaves.get());
    EXPECT_EQ(StructureOf(*ofLeaves), "(8 9 )");
    EXPECT_EQ(ofLeaves->GetModified(), 0u);
}

// ---- Rebalance ----------------------------------------------------------------------------------

TEST(TqOcDynamicGroupRebalance, ChangesNoStructureWhereEveryGroupHasFourToSeven)
{
    Tree const root(
        NewGroup({RowTree({4, 7, 5, 6}).release(), RowTree({5, 5, 5, 5, 5}).release()}));
    std::string const before = StructureOf(*root);
    std::vector<TqOcDynamicGroup*> const groups = GroupsOf(*root);
    for (TqOcDynamicGroup* const group : groups) {
        Probe::SetBox(*group, MakeCube(0, 0, 0, 1000));
    }
    root->Rebalance();
    EXPECT_EQ(StructureOf(*root), before);
    EXPECT_EQ(GroupsOf(*root), groups);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root))); // the boxes are right again
}

TEST(TqOcDynamicGroupRebalance, BringsBoxesAndAttributesUpToDateFirst)
{
    Tree const root = RowTree({5, 5});
    FindShape(*root, 2)->MoveBy(0.0, 70.0, 0.0);
    FindShape(*root, 7)->SetTris(1000);
    root->Rebalance();
    EXPECT_EQ(root->GetModified(), 0u);
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 4 )(5 6 7 8 9 ))");
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupRebalance, AcceptsAnEmptyRootAndOneThatBecomesEmpty)
{
    TqOcDynamicGroup empty;
    empty.Rebalance();
    EXPECT_EQ(empty.GetNumChildren(), 0);
    Tree const hollow(
        NewGroup({NewGroup({new TqOcDynamicGroup}), NewGroup({new TqOcDynamicGroup})}));
    hollow->Rebalance();
    EXPECT_EQ(hollow->GetNumChildren(), 0);
    EXPECT_EQ(hollow->CalcDepth(), 1);
    EXPECT_TRUE(HasEmptyBox(*hollow));
}

TEST(TqOcDynamicGroupRebalance, CollapsesARootOfOneGroup)
{
    Tree const root(NewGroup({NewGroup({NewGroup({NewRow(0, 3, 0.0)})})}));
    root->Rebalance();
    EXPECT_EQ(StructureOf(*root), "(0 1 2 )");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 5, 1, 1));
}

TEST(TqOcDynamicGroupRebalance, RepairsTreesOfAnyGroupSizesAsTheReferenceDoes)
{
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        SceneRandom random(seed);
        DynamicTreePair pair(random, 1 + static_cast<int>(random.Below(4)), false);
        std::vector<TqOcShape*> const shapes = ShapesOf(*pair.tree);
        pair.tree->Rebalance();
        pair.reference->Rebalance();
        ASSERT_EQ(StructureOf(*pair.tree), pair.reference->GetStructure()) << "seed " << seed;
        pair.tree->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes)) << "seed " << seed;
        ASSERT_LE(pair.tree->CalcDepth(), GetLargestDepth(static_cast<int>(shapes.size())));
        std::string const once = StructureOf(*pair.tree);
        pair.tree->Rebalance();
        ASSERT_EQ(StructureOf(*pair.tree), once) << "seed " << seed;
    }
}

TEST(TqOcDynamicGroupRebalance, CullsEmptyGroupsWhereverTheyHang)
{
    // Empty groups above the leaves' level make the ways down differ in length until they are gone.
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        SceneRandom random(seed);
        DynamicTreePair pair(random, 2 + static_cast<int>(random.Below(2)), true);
        std::vector<TqOcShape*> const shapes = ShapesOf(*pair.tree);
        PostedErrors posts;
        pair.tree->Rebalance();
        pair.reference->Rebalance();
        ASSERT_TRUE(posts.Empty()) << "seed " << seed;
        ASSERT_EQ(StructureOf(*pair.tree), pair.reference->GetStructure()) << "seed " << seed;
        pair.tree->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes)) << "seed " << seed;
    }
}

TEST(TqOcDynamicGroupRebalance, PostsLeavesAtDifferentDepthsAndRepairsNothing)
{
    PostedErrors posts;
    Tree const root(NewGroup({NewRow(0, 2, 0.0), NewGroup({NewRow(2, 2, 50.0)})}));
    root->Rebalance();
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(StructureOf(*root), "((0 1 )((2 3 )))");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 53, 1, 1));
    // An update neither throws nor loses anything.
    FindShape(*root, 2)->MoveBy(0.0, 9.0, 0.0);
    EXPECT_NO_THROW(root->Update());
    EXPECT_EQ(ShapesOf(*root).size(), 4u);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 53, 10, 1));
}

TEST(TqOcDynamicGroupRebalance, AfterAnUpdateChangesNothing)
{
    for (std::uint64_t seed = 0; seed < 150; ++seed) {
        SceneRandom random(seed);
        TqOcDynamicGroup root;
        int const count = 20 + static_cast<int>(random.Below(300));
        for (int i = 0; i < count; ++i) {
            root.AddShape(new PlayShape(i, MakeCube(random.Below(60), random.Below(60), 0, 1.0)));
        }
        root.Update();
        for (int round = 0; round < 4; ++round) {
            double const share = random.Unit();
            for (TqOcShape* const shape : ShapesOf(root)) {
                if (random.Chance(share)) {
                    static_cast<PlayShape*>(shape)->MoveBy(random.Range(-30, 30), 0.0, 0.0);
                }
            }
            root.Update();
            std::string const before = Fingerprint(root);
            std::vector<TqOcDynamicGroup*> const groups = GroupsOf(root);
            root.Rebalance();
            ASSERT_EQ(Fingerprint(root), before) << "seed " << seed << ", round " << round;
            ASSERT_EQ(GroupsOf(root), groups);
        }
    }
}

// ---- Merge --------------------------------------------------------------------------------------

TEST(TqOcDynamicGroupMerge, ThrowsOnAFailedPreconditionBeforeAnythingChanges)
{
    Tree const root = RowTree({4, 4});
    Tree const other(NewRow(100, 3, 0.0));
    Tree const deeper(NewGroup({RowTree({4, 4}).release()}));
    TqOcStaticGroup scene;
    std::string const before = Fingerprint(*root);
    auto const refuses = [&](TqOcDynamicGroup* with) {
        std::string const beforeOther = with != nullptr ? Fingerprint(*with) : "";
        EXPECT_THROW(root->Merge(with), TqOcDynamicGroup::PreconditionException);
        return with == nullptr || Fingerprint(*with) == beforeOther;
    };
    EXPECT_TRUE(refuses(nullptr));
    EXPECT_TRUE(refuses(root.get()));
    EXPECT_TRUE(refuses(deeper.get()));
    EXPECT_EQ(Fingerprint(*root), before);

    other->SetModified(0x01);
    EXPECT_TRUE(refuses(other.get()));
    other->SetModified(0);
    scene.AddChild(other.get());
    EXPECT_TRUE(refuses(other.get()));
    scene.RemoveChild(0);
    root->SetModified(0x01);
    EXPECT_TRUE(refuses(other.get()));
    root->SetModified(0);
    EXPECT_EQ(Fingerprint(*root), before);

    root->SetModified(0xFE); // any other change does no harm
    other->SetModified(0xFE);
    EXPECT_NO_THROW(root->Merge(other.get()));
}

TEST(TqOcDynamicGroupMerge, SplitsTheChildrenOfTwoRootsOfTheSameDepth)
{
    Tree const root(NewRow(0, 5, 0.0));
    TqOcDynamicGroup* const other = NewRow(5, 4, 100.0);
    std::vector<TqLBox3f> boxes;
    for (TqOcDynamicGroup* const tree : {root.get(), other}) {
        for (int i = 0; i < tree->GetNumChildren(); ++i) {
            boxes.push_back(tree->GetChild(i)->GetBoundingBox());
        }
    }
    std::vector<int> left;
    std::vector<int> right;
    ReferenceSplit(boxes, &left, &right);
    root->Merge(other);
    ASSERT_EQ(root->GetNumChildren(), 2);
    EXPECT_EQ(root->GetChild(0), other); // the first half
    EXPECT_EQ(other->GetNumChildren(), 4);
    EXPECT_EQ(GroupAt(*root, 1)->GetNumChildren(), 5);
    EXPECT_EQ(root->CalcDepth(), 2);
    std::string expected = "((";
    for (int const i : left) {
        expected += std::to_string(i) + " ";
    }
    expected += ")(";
    for (int const i : right) {
        expected += std::to_string(i) + " ";
    }
    EXPECT_EQ(StructureOf(*root), expected + "))");
    EXPECT_TRUE(IsOnlyParent(*other, root.get()));
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 107, 1, 1));
    EXPECT_EQ(Hex(other->GetModified()), "0xff"); // and so the root's
    EXPECT_EQ(Hex(root->GetModified()), "0xff");
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 9u);
}

TEST(TqOcDynamicGroupMerge, TakesTheChildrenOverWhereTheyFit)
{
    Tree const root(NewRow(0, 4, 0.0));
    Tree const other(NewRow(4, 3, 100.0));
    root->Merge(other.get());
    EXPECT_EQ(StructureOf(*root), "(0 1 2 3 4 5 6 )");
    EXPECT_EQ(other->GetNumChildren(), 0);
    EXPECT_FALSE(other->HasParent());
    EXPECT_EQ(Hex(other->GetModified()), "0xff");
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 105, 1, 1));
    EXPECT_TRUE(IsOnlyParent(*root->GetChild(5), root.get()));
}

TEST(TqOcDynamicGroupMerge, HangsALowerTreeOfFourOrMoreInWhole)
{
    Tree const root(NewGroup({RowTree({4, 4, 4, 4}).release(), RowTree({4, 4, 4, 4}).release()}));
    TqOcDynamicGroup* const other = NewRow(100, 4, 100.5);
    root->Merge(other);
    EXPECT_EQ(root->CalcDepth(), 3);
    EXPECT_EQ(other->GetNumChildren(), 4);
    TqOcTraversable* const above = other->GetSingleParent();
    ASSERT_NE(above, nullptr);
    EXPECT_EQ(above->GetSingleParent(), root.get());
    EXPECT_EQ(Hex(root->GetModified()), "0xff");
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 36u);
}

TEST(TqOcDynamicGroupMerge, InsertsTheChildrenOfALowerTreeOfFewerThanFour)
{
    Tree const root(NewGroup({RowTree({4, 4, 4, 4}).release(), RowTree({4, 4, 4, 4}).release()}));
    Tree const leaves(NewRow(100, 3, 100.5));
    root->Merge(leaves.get());
    EXPECT_EQ(leaves->GetNumChildren(), 0);
    EXPECT_FALSE(leaves->HasParent());
    EXPECT_EQ(root->CalcDepth(), 3);
    Tree const groups = RowTree({4, 4, 4});
    root->Merge(groups.get());
    EXPECT_EQ(groups->GetNumChildren(), 0);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 32u + 3u + 12u);
}

TEST(TqOcDynamicGroupMerge, FollowsARootThatSplitsMeanwhile)
{
    Tree const root = RowTree({7, 7, 7, 7, 7, 7, 7});
    Tree const other(NewGroup({NewLeafAt(100, 3.5), NewLeafAt(101, 203.5), NewLeafAt(102, 403.5)}));
    root->Merge(other.get());
    EXPECT_EQ(root->CalcDepth(), 3);
    EXPECT_EQ(other->GetNumChildren(), 0);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 52u);
}

TEST(TqOcDynamicGroupMerge, AcceptsEmptyTrees)
{
    TqOcDynamicGroup root;
    TqOcDynamicGroup other;
    root.Merge(&other);
    EXPECT_EQ(root.GetNumChildren(), 0);
    other.Update();
    Tree const full = RowTree({4, 4});
    full->Merge(&other);
    EXPECT_EQ(other.GetNumChildren(), 0);
    EXPECT_EQ(StructureOf(*full), "((0 1 2 3 )(4 5 6 7 ))");
    Tree const leaves(NewRow(8, 3, 0.0));
    root.Merge(leaves.get());
    EXPECT_EQ(StructureOf(root), "(8 9 10 )");
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 5, 1, 1));
}

TEST(TqOcDynamicGroupMerge, NeedsAnUpdateBetweenTwoMergesThatHangInAWholeTree)
{
    // The tree hung in whole is marked as modified, its box too.
    Tree const root = RowTree({4, 4});
    root->Merge(NewRow(100, 4, 500.0));
    Tree other(NewRow(200, 4, 500.0));
    EXPECT_THROW(root->Merge(other.get()), TqOcDynamicGroup::PreconditionException);
    root->Update();
    EXPECT_NO_THROW(root->Merge(other.get()));
    std::vector<TqOcShape*> const shapes = ShapesOf(*root);
    EXPECT_EQ(shapes.size(), 16u);
    if (other->HasParent()) {
        static_cast<void>(other.release());
    }
}

TEST(TqOcDynamicGroupMerge, TellsTheRootsParentsOfItsNewBox)
{
    TqOcStaticGroup scene;
    TqOcDynamicGroup* const root = NewRow(0, 3, 0.0);
    scene.AddChild(root);
    scene.Update();
    Tree const other(NewRow(4, 3, 100.0));
    root->Merge(other.get());
    EXPECT_NE(scene.GetModified() & 1u, 0u);
    scene.Update();
    EXPECT_EQ(scene.GetBoundingBox(), MakeBox(0, 0, 0, 105, 1, 1));
}

// ---- Memory -------------------------------------------------------------------------------------

TEST(TqOcDynamicGroupRemove, LosesNoShapeWhenAnyAllocationIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const live = PlayShape::GetNumLive();
    for (RefuseAllocations::Extent const extent :
         {RefuseAllocations::eONLY_THIS, RefuseAllocations::eAND_ALL_LATER}) {
        for (int n = 1;; ++n) {
            Nodes groups = {NewGroup({NewLeafAt(0, 101.5), NewLeafAt(1, 201.5), NewLeafAt(2, 301.5),
                                      NewLeafAt(3, 401.5)})};
            for (int i = 1; i < 7; ++i) {
                groups.push_back(NewRow(7 * i, 7, 100.0 * i));
            }
            Tree const root(NewGroup(groups));
            std::vector<TqOcShape*> shapes = ShapesOf(*root);
            PlayShape* const removed = FindShape(*root, 3);
            shapes.erase(std::find(shapes.begin(), shapes.end(), removed));
            removed->SetUserOwned(1);
            bool hasThrown = false;
            {
                RefuseAllocations refuse(n, extent);
                try {
                    root->RemoveShape(removed);
                } catch (std::bad_alloc const&) {
                    hasThrown = true;
                }
            }
            ASSERT_FALSE(removed->HasParent()) << n;
            ASSERT_TRUE(IsSoundDynamicTree(*root, shapes, s_smallPending)) << n;
            root->Update();
            root->Rebalance();
            root->Update();
            ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << n;
            delete removed;
            if (!hasThrown) {
                EXPECT_GT(n, 3);
                break;
            }
        }
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(PlayShape::GetNumLive(), live);
}

TEST(TqOcDynamicGroupRemove, AnUpdateRepairsWhatARefusedRemovalLeft)
{
    for (int n = 1;; ++n) {
        Tree const root = RowTree({4, 7, 7, 7, 7, 7, 7});
        PlayShape* const removed = FindShape(*root, 0);
        removed->SetUserOwned(1);
        bool hasThrown = false;
        {
            RefuseAllocations refuse(n);
            try {
                root->RemoveShape(removed);
            } catch (std::bad_alloc const&) {
                hasThrown = true;
            }
        }
        delete removed;
        if (!hasThrown) {
            break;
        }
        FindShape(*root, 20)->MoveBy(0.0, 1.0, 0.0);
        root->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root))) << n;
        ASSERT_EQ(ShapesOf(*root).size(), 45u) << n;
    }
}

TEST(TqOcDynamicGroupRebalance, LosesNoShapeWhenAnyAllocationIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    for (RefuseAllocations::Kinds const kinds :
         {RefuseAllocations::eMEMORY, RefuseAllocations::eGLOBAL_NEW}) {
        for (int n = 1;; ++n) {
            Tree const root = RowTree({3, 7, 7, 7, 7, 7, 7});
            std::vector<TqOcShape*> const shapes = ShapesOf(*root);
            bool hasThrown = false;
            {
                RefuseAllocations refuse(n, RefuseAllocations::eONLY_THIS, kinds);
                try {
                    root->Rebalance();
                } catch (std::bad_alloc const&) {
                    hasThrown = true;
                }
            }
            ASSERT_TRUE(IsSoundDynamicTree(*root, shapes, s_smallPending)) << n;
            root->Rebalance();
            root->Update();
            ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << n;
            if (!hasThrown) {
                EXPECT_GT(n, 1);
                break;
            }
        }
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcDynamicGroupMerge, LosesNoShapeWhenAnyAllocationIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    // Roots that split together, a lower tree hung in whole, and one taken apart.
    for (int kind = 0; kind < 3; ++kind) {
        for (int n = 1;; ++n) {
            Tree const root = RowTree({7, 7, 7, 7, 7, 7, 7});
            Tree other;
            if (kind == 0) {
                other = RowTree({4, 5});
            } else {
                other.reset(NewRow(100, kind == 1 ? 4 : 3, 203.5));
            }
            std::vector<TqOcShape*> const ofRoot = ShapesOf(*root);
            std::vector<TqOcShape*> const ofOther = ShapesOf(*other);
            bool hasThrown = false;
            {
                RefuseAllocations refuse(n);
                try {
                    root->Merge(other.get());
                } catch (std::bad_alloc const&) {
                    hasThrown = true;
                }
            }
            std::vector<TqOcShape*> const nowOfRoot = ShapesOf(*root);
            std::vector<TqOcShape*> const nowOfOther =
                other->HasParent() ? std::vector<TqOcShape*>() : ShapesOf(*other);
            ASSERT_EQ(nowOfRoot.size() + nowOfOther.size(), ofRoot.size() + ofOther.size());
            DynamicTreeRules rules;
            rules.isUpToDate = false;
            ASSERT_TRUE(IsSoundDynamicTree(*root, nowOfRoot, rules)) << kind << " " << n;
            if (other->HasParent()) {
                static_cast<void>(other.release());
            } else {
                ASSERT_TRUE(IsSoundDynamicTree(*other, nowOfOther, rules)) << kind << " " << n;
            }
            if (!hasThrown) {
                EXPECT_GT(n, 1) << kind;
                break;
            }
        }
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}
