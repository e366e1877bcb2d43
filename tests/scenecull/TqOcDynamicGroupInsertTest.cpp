// Insertion into dynamic trees: the choice of the group, splitting, and what a failure leaves.

#include "support/AllocationCounter.h"
#include "support/DynamicTreeMaker.h"
#include "support/ReferenceDynamicTree.h"

#include "scenes/SceneRandom.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <new>

namespace
{

constexpr double eINFINITY = std::numeric_limits<double>::infinity();
constexpr double eNAN = std::numeric_limits<double>::quiet_NaN();

/// A leaf that is nothing but its box.
class BoxLeaf : public PlainTraversable
{
public:
    explicit BoxLeaf(TqLBox3f const& box)
        : PlainTraversable(box, 1.0, 1, TqLPrimitiveTypes::eTRIANGLES)
    {
        SetLeaf(1);
    }
};

using Leaves = std::vector<std::unique_ptr<BoxLeaf>>;

Leaves MakeLeaves(std::vector<TqLBox3f> const& boxes)
{
    Leaves leaves;
    for (TqLBox3f const& box : boxes) {
        leaves.push_back(std::make_unique<BoxLeaf>(box));
    }
    return leaves;
}

int IndexOf(Leaves const& leaves, TqOcTraversable const* node)
{
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (leaves[i].get() == node) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

struct Halves
{
    std::vector<int> left;
    std::vector<int> right;

    bool operator==(Halves const& other) const
    {
        return left == other.left && right == other.right;
    }
};

std::ostream& operator<<(std::ostream& stream, Halves const& halves)
{
    for (int const i : halves.left) {
        stream << i << " ";
    }
    stream << "|";
    for (int const i : halves.right) {
        stream << " " << i;
    }
    return stream;
}

Halves SplitByLibrary(std::vector<TqLBox3f> const& boxes)
{
    Leaves const leaves = MakeLeaves(boxes);
    Nodes nodes;
    for (std::unique_ptr<BoxLeaf> const& leaf : leaves) {
        nodes.push_back(leaf.get());
    }
    std::size_t const n = nodes.size();
    Nodes left(n / 2 + 1, nullptr);
    Nodes right(n - n / 2 + 1, nullptr);
    TqOcDynamicGroup::Split(nodes.data(), static_cast<int>(n), left.data(), right.data());
    EXPECT_EQ(left.back(), nullptr);
    EXPECT_EQ(right.back(), nullptr);
    Halves halves;
    for (std::size_t i = 0; i < n / 2; ++i) {
        halves.left.push_back(IndexOf(leaves, left[i]));
    }
    for (std::size_t i = 0; i < n - n / 2; ++i) {
        halves.right.push_back(IndexOf(leaves, right[i]));
    }
    return halves;
}

Halves SplitByReference(std::vector<TqLBox3f> const& boxes)
{
    Halves halves;
    ReferenceSplit(boxes, &halves.left, &halves.right);
    return halves;
}

/// Kinds of box sets, from ordinary to hostile.
enum BoxKind
{
    eUNIFORM,
    eTIES,
    eIDENTICAL,
    eEMPTY,
    ePOINTS,
    eNESTED,
    eWILD,
    eNUM_BOX_KINDS
};

TqLBox3f RandomBox(SceneRandom& random, int kind)
{
    double const x = random.Range(-10.0, 10.0);
    double const y = random.Range(-10.0, 10.0);
    double const z = random.Range(-10.0, 10.0);
    double const half = random.Range(0.0, 4.0);
    switch (kind) {
    case eTIES:
        return MakeCube(random.Below(3), random.Below(3), random.Below(2), 1.0);
    case eIDENTICAL:
        return MakeCube(1, 2, 3, 1);
    case eEMPTY:
        return random.Chance(0.5) ? TqLBox3f() : MakeCube(x, y, z, half);
    case ePOINTS:
        return MakeCube(x, y, random.Below(2), 0.0);
    case eNESTED:
        return MakeCube(0, 0, 0, 10.0 * half);
    case eWILD: {
        double corners[6] = {x, y, z, x + half, y + half, z + half};
        double const values[] = {eNAN, eINFINITY, -eINFINITY, 1e308, -1e308};
        for (double& corner : corners) {
            if (random.Chance(0.15)) {
                corner = values[random.Below(5)];
            }
        }
        return MakeBox(corners[0], corners[1], corners[2], corners[3], corners[4], corners[5]);
    }
    default:
        return MakeCube(x, y, z, half);
    }
}

/// The group that a plain reading of the rule chooses.
TqOcDynamicGroup* ChooseByReference(TqOcDynamicGroup* root, TqLBox3f const& box, int levels)
{
    TqOcDynamicGroup* current = root;
    while (levels != 0 && current->GetNumChildren() > 0 && !current->GetChild(0)->IsLeaf()) {
        TqOcTraversable* best = current->GetChild(0);
        double bestCost = eINFINITY;
        for (int i = 0; i < current->GetNumChildren(); ++i) {
            TqLBox3f const& group = current->GetChild(i)->GetBoundingBox();
            double const cost =
                IsEmptyForCost(group) ? ReferenceSentinel() : ReferenceGrowth(group, box);
            if (cost < bestCost) {
                bestCost = cost;
                best = current->GetChild(i);
            }
        }
        current = static_cast<TqOcDynamicGroup*>(best);
        --levels;
    }
    return current;
}

/// A tree of `depth` levels of random boxes, 4 to 7 children each.
TqOcDynamicGroup* RandomTree(SceneRandom& random, int kind, int depth)
{
    Nodes children;
    for (int count = 4 + static_cast<int>(random.Below(4)); count > 0; --count) {
        if (depth == 1) {
            children.push_back(new BoxLeaf(RandomBox(random, kind)));
        } else {
            children.push_back(RandomTree(random, kind, depth - 1));
        }
    }
    return NewGroup(children);
}

/// Root of 7 groups of 7 unit leaves, numbered in order; every group is full.
std::unique_ptr<TqOcDynamicGroup> FullTree()
{
    Nodes groups;
    for (int i = 0; i < 7; ++i) {
        groups.push_back(NewRow(7 * i, 7, 100.0 * i));
    }
    return std::unique_ptr<TqOcDynamicGroup>(NewGroup(groups));
}

} // namespace

// ---- Split --------------------------------------------------------------------------------------

TEST(TqOcDynamicGroupSplit, SplitsEightIdenticalBoxesInPairsWithTheSecondOfEachLeft)
{
    Halves const halves = SplitByLibrary(std::vector<TqLBox3f>(8, MakeCube(0, 0, 0, 1)));
    EXPECT_EQ(halves, (Halves{{1, 6, 4, 3}, {0, 7, 5, 2}}));
}

TEST(TqOcDynamicGroupSplit, PutsTheLastOfAnOddNumberAtTheEndOfTheRightHalf)
{
    Halves const halves = SplitByLibrary(std::vector<TqLBox3f>(7, MakeCube(0, 0, 0, 1)));
    // 1 and 0 go, then 6 and 5 stand in their places, then 4 and 3: 2 is left.
    EXPECT_EQ(halves.left.size(), 3u);
    ASSERT_EQ(halves.right.size(), 4u);
    EXPECT_EQ(halves, SplitByReference(std::vector<TqLBox3f>(7, MakeCube(0, 0, 0, 1))));
    EXPECT_EQ(halves.right[3], 2);
}

TEST(TqOcDynamicGroupSplit, TakesAPairInItsOrder)
{
    EXPECT_EQ(SplitByLibrary({MakeCube(0, 0, 0, 1), MakeCube(9, 0, 0, 1)}), (Halves{{0}, {1}}));
    EXPECT_EQ(SplitByLibrary({MakeCube(9, 0, 0, 1), MakeCube(0, 0, 0, 1)}), (Halves{{0}, {1}}));
    EXPECT_EQ(SplitByLibrary({MakeCube(9, 0, 0, 1)}), (Halves{{}, {0}}));
    EXPECT_EQ(SplitByLibrary({}), (Halves{{}, {}}));
}

TEST(TqOcDynamicGroupSplit, StartsWithTheTwoThatLieFarthestApart)
{
    // On x the best gap is 7 - 2 = 5, on y 20 - 3 = 17, on z none.
    Halves const halves = SplitByLibrary({MakeBox(0, 0, 0, 2, 4, 1), MakeBox(7, 0, 0, 9, 3, 1),
                                          MakeBox(3, 20, 0, 5, 22, 1), MakeBox(4, 6, 0, 6, 9, 1)});
    EXPECT_EQ(halves.left[0], 2); // the larger index first
    EXPECT_EQ(halves.right[0], 1);
}

TEST(TqOcDynamicGroupSplit, TakesXBeforeYBeforeZWhereTheGapsAreTheSame)
{
    std::vector<TqLBox3f> const boxes = {MakeCube(0, 5, 5, 1), MakeCube(10, 5, 5, 1),
                                         MakeCube(5, 0, 5, 1), MakeCube(5, 10, 5, 1),
                                         MakeCube(5, 5, 0, 1), MakeCube(5, 5, 10, 1)};
    Halves const halves = SplitByLibrary(boxes);
    EXPECT_EQ(halves.left[0], 1);
    EXPECT_EQ(halves.right[0], 0);
    Halves const withoutX = SplitByLibrary({boxes[2], boxes[3], boxes[4], boxes[5]});
    EXPECT_EQ(withoutX.left[0], 1);
    EXPECT_EQ(withoutX.right[0], 0);
}

TEST(TqOcDynamicGroupSplit, PairsALoneExtremeWithTheFirst)
{
    // Node 2 has both the lowest maximum and the highest minimum on every axis.
    Halves const halves = SplitByLibrary(
        {MakeCube(0, 0, 0, 9), MakeCube(0, 0, 0, 8), MakeCube(0, 0, 0, 1), MakeCube(0, 0, 0, 5)});
    EXPECT_EQ(halves.left[0], 2);
    EXPECT_EQ(halves.right[0], 0);
    // And where that one is the first, with the second.
    Halves const first = SplitByLibrary(
        {MakeCube(0, 0, 0, 1), MakeCube(0, 0, 0, 8), MakeCube(0, 0, 0, 9), MakeCube(0, 0, 0, 5)});
    EXPECT_EQ(first.left[0], 1);
    EXPECT_EQ(first.right[0], 0);
}

TEST(TqOcDynamicGroupSplit, SeparatesTwoClusters)
{
    std::vector<TqLBox3f> boxes;
    for (int i = 0; i < 8; ++i) {
        boxes.push_back(MakeCube(i % 2 == 0 ? i : 100 + i, 0, 0, 0.5));
    }
    Halves const halves = SplitByLibrary(boxes);
    for (int const i : halves.left) {
        EXPECT_EQ(i % 2, halves.left[0] % 2);
    }
    for (int const i : halves.right) {
        EXPECT_EQ(i % 2, halves.right[0] % 2);
    }
}

TEST(TqOcDynamicGroupSplit, EqualsThePlainReferenceOnRandomAndDegenerateSets)
{
    for (int kind = 0; kind < eNUM_BOX_KINDS; ++kind) {
        for (std::uint64_t seed = 0; seed < 300; ++seed) {
            SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(kind)));
            std::vector<TqLBox3f> boxes;
            for (std::size_t count = seed % 3 == 0 ? 8 : 2 + random.Below(48); count > 0; --count) {
                boxes.push_back(RandomBox(random, kind));
            }
            ASSERT_EQ(SplitByLibrary(boxes), SplitByReference(boxes))
                << "kind " << kind << ", seed " << seed;
        }
    }
}

// ---- ChooseParent -------------------------------------------------------------------------------

TEST(TqOcDynamicGroupChooseParent, ReturnsARootWithoutChildrenOrOfLeavesOrForNoLevels)
{
    BoxLeaf node(MakeCube(0, 0, 0, 1));
    TqOcDynamicGroup empty;
    for (int const levels : {-1, 0, 1, 3}) {
        EXPECT_EQ(Probe::ChooseParent(empty, &node, levels), &empty);
    }
    std::unique_ptr<TqOcDynamicGroup> const ofLeaves(NewRow(0, 3, 0.0));
    EXPECT_EQ(Probe::ChooseParent(*ofLeaves, &node, -1), ofLeaves.get());
    EXPECT_EQ(Probe::ChooseParent(*ofLeaves, &node, 5), ofLeaves.get());
    std::unique_ptr<TqOcDynamicGroup> const ofGroups(NewGroup({NewRow(3, 4, 0.0)}));
    EXPECT_EQ(Probe::ChooseParent(*ofGroups, &node, 0), ofGroups.get());
}

TEST(TqOcDynamicGroupChooseParent, GoesDownAsManyLevelsAsAsked)
{
    std::unique_ptr<TqOcDynamicGroup> const root(
        NewGroup({NewGroup({NewRow(0, 4, 0.0), NewRow(4, 4, 20.0)}),
                  NewGroup({NewRow(8, 4, 100.0), NewRow(12, 4, 120.0)})}));
    BoxLeaf node(MakeCube(123, 0, 0, 0.5));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, 1), root->GetChild(1));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, 2), GroupAt(*root, 1)->GetChild(1));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, -1), GroupAt(*root, 1)->GetChild(1));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, 9), GroupAt(*root, 1)->GetChild(1));
}

TEST(TqOcDynamicGroupChooseParent, TakesTheFirstOfTwoGroupsThatHoldTheNode)
{
    std::unique_ptr<TqOcDynamicGroup> const root(
        NewGroup({NewGroup({new BoxLeaf(MakeCube(50, 0, 0, 1))}),
                  NewGroup({new BoxLeaf(MakeCube(0, 0, 0, 9))}),
                  NewGroup({new BoxLeaf(MakeCube(0, 0, 0, 5))})}));
    BoxLeaf node(MakeCube(0.1, 0.2, 0.3, 1));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, -1), root->GetChild(1));
}

TEST(TqOcDynamicGroupChooseParent, MeasuresEdgesNotVolumes)
{
    // The thin group's volume grows less, but its edges grow by 2, those of the cube by 1.9.
    std::unique_ptr<TqOcDynamicGroup> const root(
        NewGroup({NewGroup({new BoxLeaf(MakeBox(0, 0, 0, 0.1, 0.1, 8))}),
                  NewGroup({new BoxLeaf(MakeBox(20, 0, 0, 30, 10, 10))})}));
    BoxLeaf node(MakeBox(30, 0, 9, 31.9, 0.1, 10));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, -1), root->GetChild(1));
    BoxLeaf high(MakeBox(0, 0, 9, 0.1, 0.1, 10));
    EXPECT_EQ(Probe::ChooseParent(*root, &high, -1), root->GetChild(0));
}

TEST(TqOcDynamicGroupChooseParent, TakesTheFirstChildOnEveryLevelForAnEmptyNode)
{
    std::unique_ptr<TqOcDynamicGroup> const root(
        NewGroup({NewGroup({NewRow(0, 4, 900.0), NewRow(4, 4, 0.0)}),
                  NewGroup({NewRow(8, 4, -10.0), NewRow(12, 4, 0.0)})}));
    BoxLeaf node((TqLBox3f()));
    EXPECT_EQ(Probe::ChooseParent(*root, &node, -1), GroupAt(*root, 0)->GetChild(0));
    BoxLeaf inverted(MakeBox(1, 0, 0, -1, 1, 1)); // x alone decides
    EXPECT_EQ(Probe::ChooseParent(*root, &inverted, -1), GroupAt(*root, 0)->GetChild(0));
}

TEST(TqOcDynamicGroupChooseParent, TakesAnEmptyGroupOnlyWhereNothingElseIsCheaper)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup(
        {NewGroup({new BoxLeaf(TqLBox3f())}), NewGroup({new BoxLeaf(MakeCube(0, 0, 0, 1))})}));
    BoxLeaf far(MakeCube(1e9, 0, 0, 1));
    EXPECT_EQ(Probe::ChooseParent(*root, &far, -1), root->GetChild(1));
    BoxLeaf empty((TqLBox3f()));
    EXPECT_EQ(Probe::ChooseParent(*root, &empty, -1), root->GetChild(0));
}

TEST(TqOcDynamicGroupChooseParent, NeverPrefersACostThatIsNoNumber)
{
    auto const infinite = [] {
        return NewGroup({new BoxLeaf(MakeBox(-eINFINITY, 0, 0, eINFINITY, 1, 1))});
    };
    auto const finite = [] { return NewGroup({new BoxLeaf(MakeCube(0, 0, 0, 1))}); };
    BoxLeaf node(MakeCube(5, 0, 0, 1));
    std::unique_ptr<TqOcDynamicGroup> const last(NewGroup({infinite(), infinite(), finite()}));
    EXPECT_EQ(Probe::ChooseParent(*last, &node, -1), last->GetChild(2));
    std::unique_ptr<TqOcDynamicGroup> const first(NewGroup({finite(), infinite()}));
    EXPECT_EQ(Probe::ChooseParent(*first, &node, -1), first->GetChild(0));
    std::unique_ptr<TqOcDynamicGroup> const none(NewGroup({infinite(), infinite()}));
    EXPECT_EQ(Probe::ChooseParent(*none, &node, -1), none->GetChild(0));
    BoxLeaf noNumber(MakeBox(eNAN, eNAN, eNAN, eNAN, eNAN, eNAN));
    EXPECT_EQ(Probe::ChooseParent(*last, &noNumber, -1),
              ChooseByReference(last.get(), noNumber.GetBoundingBox(), -1));
}

TEST(TqOcDynamicGroupChooseParent, ThrowsAtAnEmptyGroupBelowTheRoot)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup({new TqOcDynamicGroup}));
    BoxLeaf node(MakeCube(0, 0, 0, 1));
    EXPECT_THROW(Probe::ChooseParent(*root, &node, -1), TqOcDynamicGroup::PreconditionException);
    EXPECT_THROW(Probe::ChooseParent(*root, &node, 2), TqOcDynamicGroup::PreconditionException);
    EXPECT_EQ(Probe::ChooseParent(*root, &node, 1), root->GetChild(0)); // reached, not entered
    try {
        Probe::ChooseParent(*root, &node, -1);
    } catch (std::exception const& exception) {
        EXPECT_STRNE(exception.what(), "");
    }
}

TEST(TqOcDynamicGroupChooseParent, EqualsThePlainReferenceOnRandomAndDegenerateTrees)
{
    for (int kind = 0; kind < eNUM_BOX_KINDS; ++kind) {
        for (std::uint64_t seed = 0; seed < 40; ++seed) {
            SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(kind)));
            std::unique_ptr<TqOcDynamicGroup> const root(RandomTree(random, kind, 3));
            for (int i = 0; i < 40; ++i) {
                BoxLeaf node(RandomBox(random, i % eNUM_BOX_KINDS));
                int const levels = static_cast<int>(random.Below(4)) - 1;
                ASSERT_EQ(Probe::ChooseParent(*root, &node, levels),
                          ChooseByReference(root.get(), node.GetBoundingBox(), levels))
                    << "kind " << kind << ", seed " << seed << ", node " << i;
            }
        }
    }
}

// ---- AddChildSplit ------------------------------------------------------------------------------

TEST(TqOcDynamicGroupAddChildSplit, AppendsWhereThereIsRoom)
{
    EventLog log;
    TqOcTraversable* leaves[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0)};
    RecordingDynamicGroup root(&log, "root", leaves, 2);
    Probe::UpdateKeepStructure(root);
    log.Clear();
    TqOcSingleLeaf* const leaf = NewLeafAt(2, 50.0);
    EXPECT_EQ(Probe::AddChildSplit(root, leaf, &root), 0);
    EXPECT_EQ(StructureOf(root), "(0 1 2 )");
    EXPECT_TRUE(IsOnlyParent(*leaf, &root));
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 51, 1, 1));
    EXPECT_EQ(log.Take(), Lines({"Notify root 0xfe"}));
}

TEST(TqOcDynamicGroupAddChildSplit, PutsTheFirstNodeDirectlyUnderAnEmptyRoot)
{
    TqOcDynamicGroup root;
    TqOcSingleLeaf* const leaf = NewLeafAt(0, 3.0);
    EXPECT_EQ(Probe::AddChildSplit(root, leaf, &root), 0);
    EXPECT_EQ(StructureOf(root), "(0 )");
    EXPECT_EQ(root.CalcDepth(), 1);
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(3, 0, 0, 4, 1, 1));
}

TEST(TqOcDynamicGroupAddChildSplit, SplitsAFullGroupBelowTheRootInFourAndFour)
{
    TqOcDynamicGroup* const full = NewRow(0, 7, 0.0);
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup({full, NewRow(8, 4, 500.0)}));
    std::vector<TqLBox3f> boxes;
    for (int i = 0; i < 7; ++i) {
        boxes.push_back(full->GetChild(i)->GetBoundingBox());
    }
    TqOcSingleLeaf* const eighth = NewLeafAt(7, 20.0);
    boxes.push_back(eighth->GetBoundingBox());
    Halves const expected = SplitByReference(boxes);

    EXPECT_EQ(Probe::AddChildSplit(*full, eighth, root.get()), 0);
    ASSERT_EQ(root->GetNumChildren(), 3);
    EXPECT_EQ(root->GetChild(0), full); // the split group keeps its place
    TqOcDynamicGroup* const added = GroupAt(*root, 2);
    ASSERT_EQ(full->GetNumChildren(), 4);
    ASSERT_EQ(added->GetNumChildren(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(ShapeOf(full->GetChild(i))->GetNumber(),
                  expected.left[static_cast<std::size_t>(i)]);
        EXPECT_EQ(ShapeOf(added->GetChild(i))->GetNumber(),
                  expected.right[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(Hex(full->GetModified()), "0xfe");
    EXPECT_EQ(Hex(added->GetModified()), "0xfe");
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 507, 1, 1));
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupAddChildSplit, SplitsAFullRootByPushingItsContentsDown)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 7, 0.0));
    TqOcDynamicGroup* const before = root.get();
    EXPECT_EQ(Probe::AddChildSplit(*root, NewLeafAt(7, 50.0), root.get()), 1);
    EXPECT_EQ(root.get(), before);
    ASSERT_EQ(root->GetNumChildren(), 2);
    EXPECT_EQ(GroupAt(*root, 0)->GetNumChildren(), 4);
    EXPECT_EQ(GroupAt(*root, 1)->GetNumChildren(), 4);
    EXPECT_EQ(root->CalcDepth(), 2);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 51, 1, 1));
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
    // The first pick of the pair that lies farthest apart stands first in the first group.
    EXPECT_EQ(ShapeOf(GroupAt(*root, 0)->GetChild(0))->GetNumber(), 7);
    EXPECT_EQ(ShapeOf(GroupAt(*root, 1)->GetChild(0))->GetNumber(), 0);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupAddChildSplit, FitsTheBoxOfARootThatSplitsToItsHalves)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 7, 0.0));
    Probe::SetBox(*root, MakeCube(0, 0, 0, 500));
    EXPECT_EQ(Probe::AddChildSplit(*root, NewLeafAt(7, 50.0), root.get()), 1);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 51, 1, 1));
}

TEST(TqOcDynamicGroupAddChildSplit, SplitsEveryFullGroupOnTheWayUp)
{
    std::unique_ptr<TqOcDynamicGroup> const root = FullTree();
    TqOcDynamicGroup* const full = GroupAt(*root, 3);
    EXPECT_EQ(Probe::AddChildSplit(*full, NewLeafAt(49, 303.0), root.get()), 1);
    EXPECT_EQ(root->CalcDepth(), 3);
    ASSERT_EQ(root->GetNumChildren(), 2);
    EXPECT_EQ(GroupAt(*root, 0)->GetNumChildren(), 4);
    EXPECT_EQ(GroupAt(*root, 1)->GetNumChildren(), 4);
    EXPECT_EQ(full->GetNumChildren(), 4); // it has kept its identity
    EXPECT_EQ(full->CalcDepth(), 1);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 50u);
}

TEST(TqOcDynamicGroupAddChildSplit, ExtendsTheBoxesAboveBeforeItSplits)
{
    std::unique_ptr<TqOcDynamicGroup> const root(
        NewGroup({NewRow(0, 7, 0.0), NewRow(7, 4, 500.0)}));
    Probe::AddChildSplit(*GroupAt(*root, 0), NewLeafAt(11, -80.0), root.get());
    DynamicTreeRules rules;
    rules.isUpToDate = false;
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), rules));
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(-80, 0, 0, 507, 1, 1));
}

TEST(TqOcDynamicGroupAddChildSplit, DeletesEmptyGroupsThatItPasses)
{
    EventLog log;
    auto* const firstEmpty = new RecordingDynamicGroup(&log, "first");
    auto* const lastEmpty = new RecordingDynamicGroup(&log, "last");
    TqOcDynamicGroup* const a = NewRow(0, 4, 0.0);
    TqOcDynamicGroup* const b = NewRow(4, 4, 50.0);
    TqOcDynamicGroup* const c = NewRow(8, 4, 100.0);
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup({a, firstEmpty, b, lastEmpty, c}));
    TqOcDynamicGroupLevelSet set;
    set.Add(a);
    set.Add(firstEmpty);
    log.Clear();
    TqOcDynamicGroup* const added = NewRow(12, 4, 200.0);
    EXPECT_EQ(Probe::AddChildSplit(*root, added, root.get(), &set), 0);
    EXPECT_EQ(log.Take("Delete"), Lines({"Delete last", "Delete first"}));
    // The last entry has moved into each gap, the one of the last empty group first.
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 )(8 9 10 11 )(4 5 6 7 )(12 13 14 15 ))");
    EXPECT_EQ(set.GetCount(), 1);
    EXPECT_EQ(set.GetSlot(0), a);
    EXPECT_EQ(set.GetSlot(1), nullptr);
    EXPECT_EQ(Hex(root->GetModified()), "0xfe");
}

TEST(TqOcDynamicGroupAddChildSplit, NeedsNoSplitWhereAnEmptyGroupMakesRoom)
{
    Nodes groups;
    for (int i = 0; i < 6; ++i) {
        groups.push_back(NewRow(4 * i, 4, 50.0 * i));
    }
    groups.push_back(new TqOcDynamicGroup);
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup(groups));
    EXPECT_EQ(Probe::AddChildSplit(*root, NewRow(24, 4, 400.0), root.get()), 0);
    EXPECT_EQ(root->GetNumChildren(), 7);
    EXPECT_EQ(root->CalcDepth(), 2);
}

TEST(TqOcDynamicGroupAddChildSplit, EntersNoNewGroupsInALevelSet)
{
    std::unique_ptr<TqOcDynamicGroup> const root = FullTree();
    TqOcDynamicGroupLevelSet set;
    set.Add(GroupAt(*root, 0));
    Probe::AddChildSplit(*GroupAt(*root, 0), NewLeafAt(49, 3.0), root.get(), &set);
    EXPECT_EQ(set.GetCount(), 1);
    EXPECT_EQ(set.GetNumSlots(), 1);
}

TEST(TqOcDynamicGroupAddChildSplit, TellsTheRootsParentsWhenTheRootSplits)
{
    TqOcStaticGroup scene;
    TqOcDynamicGroup* const root = NewRow(0, 7, 0.0);
    scene.AddChild(root);
    scene.Update();
    ASSERT_EQ(scene.GetModified(), 0u);
    root->AddShape(new PlayShape(7, MakeBox(3, 0, 0, 4, 1, 1))); // inside the root's box
    EXPECT_EQ(Hex(scene.GetModified()), "0xfe");
    scene.Update();
    root->AddShape(new PlayShape(8, MakeBox(30, 0, 0, 40, 1, 1)));
    EXPECT_EQ(Hex(scene.GetModified()), "0xff");
    scene.Update();
    EXPECT_EQ(scene.GetBoundingBox(), MakeBox(0, 0, 0, 40, 1, 1));
}

// ---- Memory -------------------------------------------------------------------------------------

TEST(TqOcDynamicGroupAddChildSplit, TakesMemoryForTheLeafAndForTheGroupsOfItsSplits)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 6, 0.0));
    auto* const seventh = new PlayShape(6, MakeCube(0, 0, 0, 1));
    std::size_t blocks = TqUMemory::GetLiveBlocks();
    root->AddShape(seventh);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 1);
    auto* const eighth = new PlayShape(7, MakeCube(0, 0, 0, 1));
    blocks = TqUMemory::GetLiveBlocks();
    root->AddShape(eighth);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 3);
}

TEST(TqOcDynamicGroupAddChildSplit, LeavesTheTreeAsItWasWhenAnyAllocationIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const live = PlayShape::GetNumLive();
    int refusals = 0;
    for (bool const addsShape : {true, false}) {
        for (int n = 1;; ++n) {
            std::unique_ptr<TqOcDynamicGroup> const root = FullTree();
            std::string const before = StructureOf(*root);
            auto* const shape = new PlayShape(49, MakeBox(303.2, 0, 0, 700, 1, 1));
            TqOcSingleLeaf* const leaf = addsShape ? nullptr : new TqOcSingleLeaf(shape);
            bool hasThrown = false;
            int numRefused = 0;
            {
                RefuseAllocations refuse(n);
                try {
                    if (addsShape) {
                        root->AddShape(shape);
                    } else {
                        root->AddLeaf(leaf);
                    }
                } catch (std::bad_alloc const&) {
                    hasThrown = true;
                }
                numRefused = refuse.GetNumRefused();
            }
            ASSERT_EQ(hasThrown, numRefused != 0) << n;
            if (!hasThrown) {
                EXPECT_EQ(ShapesOf(*root).size(), 50u);
                break;
            }
            ++refusals;
            ASSERT_EQ(StructureOf(*root), before) << n;
            ASSERT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root))) << n;
            if (addsShape) {
                ASSERT_FALSE(shape->HasParent()) << n;
                root->AddShape(shape); // it is the caller's, and may be added again
            } else {
                ASSERT_TRUE(IsOnlyParent(*shape, leaf)) << n;
                ASSERT_FALSE(leaf->HasParent()) << n;
                root->AddLeaf(leaf);
            }
            root->Update();
            ASSERT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root))) << n;
            ASSERT_EQ(ShapesOf(*root).size(), 50u) << n;
        }
    }
    EXPECT_GE(refusals, 4 + 3); // the wrapper and three groups; three groups
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(PlayShape::GetNumLive(), live);
}

TEST(TqOcDynamicGroupAddChildSplit, LeavesTheTreeAsItWasWhenTheLinkToASecondParentIsRefused)
{
    for (int n = 1;; ++n) {
        std::unique_ptr<TqOcDynamicGroup> const first = FullTree();
        std::unique_ptr<TqOcDynamicGroup> const second(NewRow(100, 2, 0.0));
        TqOcTraversable* const shared = second->GetChild(1);
        std::string const before = StructureOf(*first);
        bool hasThrown = false;
        {
            RefuseAllocations refuse(n);
            try {
                first->AddLeaf(shared);
            } catch (std::bad_alloc const&) {
                hasThrown = true;
            }
        }
        if (!hasThrown) {
            EXPECT_TRUE(shared->HasMultipleParents());
            EXPECT_GT(n, 1);
            break;
        }
        EXPECT_EQ(StructureOf(*first), before);
        EXPECT_EQ(StructureOf(*second), "(100 101 )");
        EXPECT_TRUE(IsOnlyParent(*shared, second.get()));
    }
}

TEST(TqOcDynamicGroupAddChildSplit, LeavesTheTreeAsItWasWhenTheStandardHeapRefuses)
{
    for (int n = 1;; ++n) {
        std::unique_ptr<TqOcDynamicGroup> const root = FullTree();
        std::string const before = StructureOf(*root);
        PlayShape shape(49, MakeBox(303.2, 0, 0, 700, 1, 1));
        shape.SetUserOwned(1);
        bool hasThrown = false;
        {
            RefuseAllocations refuse(n, RefuseAllocations::eONLY_THIS,
                                     RefuseAllocations::eGLOBAL_NEW);
            try {
                root->AddShape(&shape);
            } catch (std::bad_alloc const&) {
                hasThrown = true;
            }
        }
        if (!hasThrown) {
            root->RemoveShape(&shape);
            break;
        }
        ASSERT_EQ(StructureOf(*root), before) << n;
        ASSERT_FALSE(shape.HasParent()) << n;
    }
}
