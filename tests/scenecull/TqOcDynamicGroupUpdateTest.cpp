// The update of dynamic trees: in place where only properties changed, by splitting off and merging
// back where boxes did, and what a failure leaves.

#include "support/AllocationCounter.h"
#include "support/DynamicTreeMaker.h"
#include "support/DynamicTreePair.h"

#include "scenes/SceneRandom.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace
{

using Tree = std::unique_ptr<TqOcDynamicGroup>;

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

void MoveRow(TqOcDynamicGroup& group, double y)
{
    for (TqOcShape* const shape : ShapesOf(group)) {
        static_cast<PlayShape*>(shape)->MoveBy(0.0, y, 0.0);
    }
}

/// A tree of `count` small shapes at random places, grown by insertion and up to date.
Tree GrownTree(int count, std::uint64_t seed)
{
    SceneRandom random(seed);
    Tree root = std::make_unique<TqOcDynamicGroup>();
    for (int i = 0; i < count; ++i) {
        double const x = random.Range(-100, 100);
        double const y = random.Range(-100, 100);
        root->AddShape(new PlayShape(i, MakeCube(x, y, 0, 1)));
    }
    root->Update();
    return root;
}

TqLBox3f UnitAt(double x)
{
    return MakeBox(x, 0.0, 0.0, x + 1.0, 1.0, 1.0);
}

/// An application's own leaf: a box and no shapes.
class OwnLeaf : public PlainTraversable
{
public:
    explicit OwnLeaf(TqLBox3f const& box)
        : PlainTraversable(box, 1.0, 1, TqLPrimitiveTypes::eTRIANGLES)
    {
        SetLeaf(1);
    }
};

} // namespace

// ---- In place -----------------------------------------------------------------------------------

TEST(TqOcDynamicGroupUpdate, ChangesOfPropertiesAloneChangeNoStructure)
{
    Tree const root = GrownTree(200, 1);
    std::string const before = StructureOf(*root);
    std::vector<TqOcDynamicGroup*> const groups = GroupsOf(*root);
    std::vector<TqOcShape*> const shapes = ShapesOf(*root);
    int boxCalls = 0;
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        shapes[i]->SetTris(static_cast<unsigned int>(3 * i));
        shapes[i]->SetScale(1.0 + static_cast<double>(i % 7));
        shapes[i]->SetHideRender(i % 2 == 0);
        shapes[i]->SetForceRender(i % 50 == 0);
        shapes[i]->SetIgnoreClip(i % 60 == 0);
        shapes[i]->SetIgnorePick(i % 3 == 0);
        shapes[i]->SetPrimitives(i % 40 == 0 ? TqLPrimitiveTypes::eLINES
                                             : TqLPrimitiveTypes::eTRIANGLES);
        boxCalls += static_cast<PlayShape*>(shapes[i])->GetNumBoxCalls();
    }
    EXPECT_EQ(root->GetModified() & 1u, 0u);
    root->Update();
    for (TqOcShape* const shape : shapes) {
        boxCalls -= static_cast<PlayShape*>(shape)->GetNumBoxCalls();
    }
    EXPECT_EQ(boxCalls, 0);
    EXPECT_EQ(StructureOf(*root), before);
    EXPECT_EQ(GroupsOf(*root), groups);
    EXPECT_TRUE(IsSoundDynamicTree(*root, shapes));
    EXPECT_EQ(root->GetTris(), 3u * 199u * 200u / 2u);
}

TEST(TqOcDynamicGroupUpdate, DerivesAttributesFromItsChildren)
{
    Nodes leaves;
    for (int i = 0; i < 3; ++i) {
        leaves.push_back(new OwnLeaf(UnitAt(i)));
        leaves[static_cast<std::size_t>(i)]->UpdateHideRender(1);
        leaves[static_cast<std::size_t>(i)]->UpdateIgnorePick(1);
    }
    leaves[0]->UpdateScale(5.0);
    leaves[1]->UpdateScale(0.25);
    leaves[2]->UpdateScale(7.0);
    leaves[0]->UpdateTris(0xFFFFFFFFu);
    leaves[1]->UpdateTris(5u);
    leaves[0]->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
    leaves[2]->UpdatePrimitives(TqLPrimitiveTypes::eTEXT);
    Tree const group(NewGroup(leaves));
    EXPECT_EQ(group->GetScale(), 0.25);
    EXPECT_EQ(group->GetTris(), 5u); // modulo 2^32: 2^32 - 1 + 5 + 1
    EXPECT_EQ(static_cast<int>(group->GetPrimitives()),
              TqLPrimitiveTypes::eLINES | TqLPrimitiveTypes::eTRIANGLES | TqLPrimitiveTypes::eTEXT);
    EXPECT_TRUE(group->IsHideRender());
    EXPECT_TRUE(group->IsIgnorePick());
    EXPECT_FALSE(group->IsForceRender());
    EXPECT_FALSE(group->IsIgnoreClip());

    leaves[2]->SetHideRender(0);
    leaves[1]->SetIgnorePick(0);
    leaves[0]->SetForceRender(1);
    leaves[2]->SetIgnoreClip(1);
    leaves[1]->SetScale(9.0);
    leaves[0]->SetPrimitives(TqLPrimitiveTypes::eNONE);
    group->Update();
    EXPECT_EQ(group->GetScale(), 5.0);
    EXPECT_EQ(static_cast<int>(group->GetPrimitives()),
              TqLPrimitiveTypes::eTRIANGLES | TqLPrimitiveTypes::eTEXT); // old bits are cleared
    EXPECT_FALSE(group->IsHideRender());
    EXPECT_FALSE(group->IsIgnorePick());
    EXPECT_TRUE(group->IsForceRender());
    EXPECT_TRUE(group->IsIgnoreClip());
    EXPECT_EQ(group->GetModified(), 0u);
}

TEST(TqOcDynamicGroupUpdate, AGroupWithoutChildrenIsHiddenAndWeighsNothing)
{
    for (unsigned int const mask : {0xFFu, 0xFEu, 0x04u}) {
        TqOcDynamicGroup group;
        group.UpdateTris(7);
        group.UpdatePrimitives(TqLPrimitiveTypes::eALL);
        group.UpdateForceRender(1);
        group.UpdateIgnoreClip(1);
        group.SetModified(mask);
        Probe::UpdateKeepStructure(group);
        EXPECT_EQ(group.GetScale(), DBL_MAX);
        EXPECT_EQ(group.GetTris(), 0u);
        EXPECT_EQ(group.GetPrimitives(), TqLPrimitiveTypes::eNONE);
        EXPECT_FALSE(group.IsForceRender());
        EXPECT_FALSE(group.IsIgnoreClip());
        EXPECT_TRUE(group.IsHideRender());
        EXPECT_TRUE(group.IsIgnorePick());
        EXPECT_EQ(group.GetModified(), 0u);
        EXPECT_TRUE(HasEmptyBox(group));
    }
    Tree const emptied(NewRow(0, 1, 0.0));
    emptied->RemoveAllChildren(1);
    emptied->Update(); // through DoUpdate, with the box bit set
    EXPECT_EQ(emptied->GetScale(), DBL_MAX);
    EXPECT_TRUE(emptied->IsHideRender());
    EXPECT_TRUE(HasEmptyBox(*emptied));
    EXPECT_EQ(emptied->GetModified(), 0u);
}

TEST(TqOcDynamicGroupUpdate, KeepStructureDoesNothingWhereNothingChanged)
{
    Tree const root = RowTree({4, 4});
    root->UpdateTris(99);
    Probe::SetBox(*root, MakeCube(0, 0, 0, 999));
    Probe::UpdateKeepStructure(*root);
    EXPECT_EQ(root->GetTris(), 99u);
    EXPECT_EQ(root->GetBoundingBox(), MakeCube(0, 0, 0, 999));
}

TEST(TqOcDynamicGroupUpdate, KeepStructureRebuildsTheBoxOnlyWhereItIsMarked)
{
    Tree const root = RowTree({4, 4});
    Probe::SetBox(*root, MakeCube(0, 0, 0, 999));
    root->SetModified(0xFE);
    Probe::UpdateKeepStructure(*root);
    EXPECT_EQ(root->GetBoundingBox(), MakeCube(0, 0, 0, 999));
    root->SetModified(0x01);
    Probe::UpdateKeepStructure(*root);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 107, 1, 1));
    EXPECT_EQ(root->GetModified(), 0u);
}

TEST(TqOcDynamicGroupUpdate, KeepStructureUpdatesModifiedLeavesAndNeverRestructuresAGroupBelow)
{
    EventLog log;
    auto* const still = new RecordingSingleLeaf(&log, "still", new PlayShape(0, UnitAt(0)));
    auto* const moved = new RecordingSingleLeaf(&log, "moved", new PlayShape(1, UnitAt(2)));
    TqOcTraversable* leaves[] = {still, moved};
    auto* const inner = new RecordingDynamicGroup(&log, "inner", leaves, 2);
    TqOcTraversable* groups[] = {inner};
    RecordingDynamicGroup root(&log, "root", groups, 1);
    Probe::UpdateKeepStructure(root);
    log.Clear();
    ShapeOf(moved)->MoveBy(50.0, 0.0, 0.0);
    log.Clear();
    Probe::UpdateKeepStructure(root);
    EXPECT_EQ(log.Take(), Lines({"DoUpdate moved"}));
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 53, 1, 1));
    EXPECT_EQ(inner->GetBoundingBox(), MakeBox(0, 0, 0, 53, 1, 1));
    EXPECT_EQ(inner->GetModified(), 0u);
    EXPECT_EQ(moved->GetModified(), 0u);
    EXPECT_EQ(StructureOf(root), "((0 1 ))");
}

TEST(TqOcDynamicGroupUpdate, LetsAGroupBelowARootOnlyRefreshItself)
{
    Tree const root = RowTree({4, 4});
    TqOcDynamicGroup* const below = GroupAt(*root, 0);
    FindShape(*root, 1)->MoveBy(0.0, 500.0, 0.0);
    below->Update();
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 )(4 5 6 7 ))");
    EXPECT_EQ(below->GetBoundingBox(), MakeBox(0, 0, 0, 7, 501, 1));
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), {true, true, false}));
}

// ---- Splitting off leaves -----------------------------------------------------------------------

TEST(TqOcDynamicGroupSplitOffLeaves, KeepsALeafOfWhichNothingMoved)
{
    std::unique_ptr<TqOcStaticLeaf> const leaf(NewStaticLeaf(0, {0.0, 5.0}));
    leaf->GetChild(0)->SetHideRender(1);
    static_cast<PlayShape*>(leaf->GetChild(1))->SetBox(UnitAt(7.0)); // without a notice
    leaf->SetModified(0x0A08);
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(leaf.get(), &map), Probe::eKEPT);
    EXPECT_EQ(leaf->GetBoundingBox(), MakeBox(0, 0, 0, 8, 1, 1)); // measured all the same
    EXPECT_EQ(leaf->GetChild(0)->GetModified(), 0u);
    EXPECT_EQ(Hex(leaf->GetModified()), "0x8"); // the upper byte goes with the box bit
    EXPECT_EQ(map.GetLeaves().Size(), 0);
}

TEST(TqOcDynamicGroupSplitOffLeaves, MovesALeafOfOneShapeAsAWholeHoweverItGrew)
{
    std::unique_ptr<TqOcSingleLeaf> const single(NewLeafAt(0, 0.0));
    ShapeOf(single.get())->Move(MakeBox(50, 0, 0, 90, 40, 1));
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(single.get(), &map), Probe::eMOVED);
    EXPECT_EQ(single->GetBoundingBox(), MakeBox(50, 0, 0, 90, 40, 1));
    EXPECT_EQ(single->GetModified(), 0u);
    EXPECT_EQ(single->GetShape()->GetModified(), 0u);
    std::unique_ptr<TqOcStaticLeaf> const ofOne(NewStaticLeaf(1, {0.0}));
    static_cast<PlayShape*>(ofOne->GetChild(0))->Move(MakeBox(50, 0, 0, 90, 40, 1));
    EXPECT_EQ(Probe::SplitOffMovingLeaves(ofOne.get(), &map), Probe::eMOVED);
    EXPECT_EQ(map.GetLeaves().Size(), 0); // the caller puts it there
}

TEST(TqOcDynamicGroupSplitOffLeaves, MovesALeafAsAWholeWhereItsShapesStayedTogether)
{
    std::unique_ptr<TqOcStaticLeaf> const leaf(NewStaticLeaf(0, {0.0, 5.0, 9.0}));
    for (int i = 0; i < 3; ++i) {
        static_cast<PlayShape*>(leaf->GetChild(i))->MoveBy(30.0, -2.0, 4.0);
    }
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(leaf.get(), &map), Probe::eMOVED);
    EXPECT_EQ(leaf->GetNumChildren(), 3);
    EXPECT_EQ(leaf->GetBoundingBox(), MakeBox(30, -2, 4, 40, -1, 5));
    EXPECT_EQ(map.GetLeaves().Size(), 0);
}

TEST(TqOcDynamicGroupSplitOffLeaves, AllowsAWholeMoveToGrowByOneInAThousandInSummedEdges)
{
    // Summed edges before: 998 + 1 + 1 = 1000.
    struct
    {
        double growth;
        Probe::SplitStatus status;
    } const cases[] = {{0.0, Probe::eMOVED},
                       {0.9, Probe::eMOVED},
                       {1.1, Probe::eEMPTIED},
                       {-400.0, Probe::eMOVED}};

    for (auto const& one : cases) {
        std::unique_ptr<TqOcStaticLeaf> const leaf(NewStaticLeaf(0, {0.0, 997.0}));
        static_cast<PlayShape*>(leaf->GetChild(0))->MoveBy(0.0, 3.0, 0.0);
        static_cast<PlayShape*>(leaf->GetChild(1))->MoveBy(one.growth, 3.0, 0.0);
        TqOcSubtreeDepthMap map;
        EXPECT_EQ(Probe::SplitOffMovingLeaves(leaf.get(), &map), one.status) << one.growth;
        for (int i = 0; i < map.GetLeaves().Size(); ++i) {
            delete map.GetLeaves()[i];
        }
    }
}

TEST(TqOcDynamicGroupSplitOffLeaves, WrapsTheShapesThatMovedFromTheLastToTheFirst)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    std::unique_ptr<TqOcStaticLeaf> const leaf(NewStaticLeaf(0, {0.0, 5.0, 10.0, 15.0}));
    leaf->SetSingleParent(&parent);
    std::vector<PlayShape*> shapes;
    for (int i = 0; i < 4; ++i) {
        shapes.push_back(static_cast<PlayShape*>(leaf->GetChild(i)));
    }
    shapes[3]->MoveBy(0.0, 50.0, 0.0);
    shapes[1]->MoveBy(0.0, 70.0, 0.0);
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(leaf.get(), &map), Probe::eKEPT);
    ASSERT_EQ(leaf->GetNumChildren(), 2);
    EXPECT_EQ(leaf->GetChild(0), shapes[0]);
    EXPECT_EQ(leaf->GetChild(1), shapes[2]);
    EXPECT_EQ(leaf->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    EXPECT_EQ(leaf->GetModified() & 1u, 0u);
    ASSERT_EQ(map.GetLeaves().Size(), 2);
    for (int i = 0; i < 2; ++i) {
        auto* const wrapper = dynamic_cast<TqOcSingleLeaf*>(map.GetLeaves()[i]);
        ASSERT_NE(wrapper, nullptr);
        PlayShape* const shape = shapes[i == 0 ? 3 : 1];
        EXPECT_EQ(wrapper->GetShape(), shape);
        EXPECT_TRUE(IsOnlyParent(*shape, wrapper));
        EXPECT_EQ(wrapper->GetModified(), 0u);
        EXPECT_EQ(wrapper->GetBoundingBox(), shape->GetBox());
        EXPECT_FALSE(wrapper->HasParent());
        EXPECT_FALSE(wrapper->IsUserOwned());
        delete wrapper;
    }
    EXPECT_EQ(parent.GetModified() & 1u, 1u); // told of the box, and left to clear it
    leaf->SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroupSplitOffLeaves, EmptiesALeafWhoseShapesMovedApart)
{
    std::unique_ptr<TqOcStaticLeaf> const leaf(NewStaticLeaf(0, {0.0, 5.0}));
    static_cast<PlayShape*>(leaf->GetChild(0))->MoveBy(-50.0, 0.0, 0.0);
    static_cast<PlayShape*>(leaf->GetChild(1))->MoveBy(50.0, 0.0, 0.0);
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(leaf.get(), &map), Probe::eEMPTIED);
    EXPECT_EQ(leaf->GetNumChildren(), 0);
    EXPECT_TRUE(HasEmptyBox(*leaf));
    ASSERT_EQ(map.GetLeaves().Size(), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ShapeOf(map.GetLeaves()[i])->GetNumber(), 1 - i);
        delete map.GetLeaves()[i];
    }
}

TEST(TqOcDynamicGroupSplitOffLeaves, MovesAnApplicationsOwnLeafAsAWholeWithTheBoxItHas)
{
    OwnLeaf leaf(UnitAt(0.0));
    leaf.SetBoundingBox(MakeBox(50, 0, 0, 99, 1, 1));
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingLeaves(&leaf, &map), Probe::eMOVED);
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(50, 0, 0, 99, 1, 1));
    EXPECT_EQ(leaf.GetModified() & 1u, 0u);

    Tree const root = RowTree({4, 4});
    auto* const own = new OwnLeaf(UnitAt(3.0));
    root->AddLeaf(own);
    root->Update();
    own->SetBoundingBox(UnitAt(103.0));
    root->Update();
    EXPECT_EQ(own->GetSingleParent(), FindShape(*root, 5)->GetSingleParent()->GetSingleParent());
    EXPECT_EQ(own->GetBoundingBox(), UnitAt(103.0));
    EXPECT_EQ(root->GetModified(), 0u);
}

// ---- Splitting off groups -----------------------------------------------------------------------

TEST(TqOcDynamicGroupSplitOffGroups, MovesAGroupAsAWholeThatMovedTogether)
{
    Tree const root = RowTree({4, 5});
    TqOcDynamicGroup* const moved = GroupAt(*root, 1);
    MoveRow(*moved, 30.0);
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingGroups(*root, moved, &map, 1), Probe::eMOVED);
    EXPECT_EQ(moved->GetNumChildren(), 5);
    EXPECT_EQ(moved->GetBoundingBox(), MakeBox(100, 30, 0, 109, 31, 1));
    EXPECT_EQ(moved->GetModified(), 0u);
    EXPECT_TRUE(IsOnlyParent(*moved, root.get()));
    EXPECT_EQ(map.GetLeaves().Size(), 0);
}

TEST(TqOcDynamicGroupSplitOffGroups, TakesWholeLeavesOutFromTheLastToTheFirst)
{
    EventLog log;
    TqOcTraversable* leaves[5];
    for (int i = 0; i < 5; ++i) {
        leaves[i] = NewLeafAt(i, 2.0 * i);
    }
    RecordingDynamicGroup group(&log, "group", leaves, 5);
    Probe::UpdateKeepStructure(group);
    for (int const i : {0, 2, 3}) {
        ShapeOf(leaves[i])->MoveBy(0.0, 10.0 * i + 5.0, 0.0);
    }
    TqOcSubtreeDepthMap map;
    log.Clear();
    EXPECT_EQ(Probe::SplitOffMovingGroups(group, &group, &map, 1), Probe::eKEPT);
    EXPECT_EQ(StructureOf(group), "(4 1 )"); // the last one has moved into each gap
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(2, 0, 0, 9, 1, 1));
    EXPECT_EQ(Hex(group.GetModified()), "0xfe");
    EXPECT_EQ(log.Count("Notify group 0xfe"), 3);
    ASSERT_EQ(map.GetLeaves().Size(), 3);
    EXPECT_EQ(map.GetLeaves()[0], leaves[3]);
    EXPECT_EQ(map.GetLeaves()[1], leaves[2]);
    EXPECT_EQ(map.GetLeaves()[2], leaves[0]);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(map.GetLeaves()[i]->HasParent());
        delete map.GetLeaves()[i];
    }
}

TEST(TqOcDynamicGroupSplitOffGroups, EmptiesAGroupWhoseContentMovedApart)
{
    Tree const group(NewRow(0, 4, 0.0));
    for (int i = 0; i < 4; ++i) {
        ShapeOf(group->GetChild(i))->MoveBy(0.0, 10.0 * i, 0.0);
    }
    TqOcSubtreeDepthMap map;
    EXPECT_EQ(Probe::SplitOffMovingGroups(*group, group.get(), &map, 1), Probe::eEMPTIED);
    EXPECT_EQ(group->GetNumChildren(), 0);
    EXPECT_TRUE(HasEmptyBox(*group));
    EXPECT_EQ(map.GetLeaves().Size(), 4);
    for (int i = 0; i < 4; ++i) {
        delete map.GetLeaves()[i];
    }
}

TEST(TqOcDynamicGroupSplitOffGroups, ListsWholeGroupsByHeightAndDeletesEmptiedOnes)
{
    EventLog log;
    auto const recorded = [&log](char const* name, int first, double x) {
        TqOcTraversable* leaves[4];
        for (int i = 0; i < 4; ++i) {
            leaves[i] = NewLeafAt(first + i, x + 2.0 * i);
        }
        auto* const group = new RecordingDynamicGroup(&log, name, leaves, 4);
        Probe::UpdateKeepStructure(*group);
        return group;
    };
    RecordingDynamicGroup* const still = recorded("still", 0, 0.0);
    RecordingDynamicGroup* const whole = recorded("whole", 4, 100.0);
    RecordingDynamicGroup* const apart = recorded("apart", 8, 200.0);
    RecordingDynamicGroup* const mixed = recorded("mixed", 12, 300.0);
    Tree const root(NewGroup({still, whole, apart, mixed}));
    MoveRow(*whole, 40.0);
    for (int i = 0; i < 4; ++i) {
        ShapeOf(apart->GetChild(i))->MoveBy(0.0, 10.0 * i + 1.0, 0.0);
    }
    ShapeOf(mixed->GetChild(2))->MoveBy(0.0, 90.0, 0.0);
    TqOcSubtreeDepthMap map;
    log.Clear();
    EXPECT_EQ(Probe::SplitOffMovingGroups(*root, root.get(), &map, 2), Probe::eKEPT);
    EXPECT_EQ(log.Count("Delete"), 1);
    EXPECT_EQ(log.Count("Delete apart"), 1);
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 )(12 13 15 ))");
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 307, 1, 1));
    EXPECT_EQ(map.GetMaxDepth(), 1);
    ASSERT_EQ(map.GetDepthVector(1).Size(), 1);
    EXPECT_EQ(map.GetDepthVector(1)[0], whole);
    EXPECT_FALSE(whole->HasParent());
    ASSERT_EQ(map.GetLeaves().Size(), 5);
    int const expected[] = {11, 10, 9, 8, 14}; // groups in order, leaves from the last
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ShapeOf(map.GetLeaves()[i])->GetNumber(), expected[i]);
        delete map.GetLeaves()[i];
    }
    delete whole;
}

TEST(TqOcDynamicGroupSplitOffGroups, ClearsTheBoxBitAndTheUpperByte)
{
    Tree const group(NewRow(0, 4, 0.0));
    ShapeOf(group->GetChild(0))->MoveBy(0.0, 9.0, 0.0);
    ShapeOf(group->GetChild(1))->SetTris(9);
    group->SetModified(group->GetModified() | 0x4300);
    MoveRow(*group, 1.0);
    TqOcSubtreeDepthMap map;
    // Child 0 moves 10, the others 1: the group grows by 9 and is taken apart.
    EXPECT_EQ(Probe::SplitOffMovingGroups(*group, group.get(), &map, 1), Probe::eEMPTIED);
    EXPECT_EQ(Hex(group->GetModified()), "0xfe");
    for (int i = 0; i < map.GetLeaves().Size(); ++i) {
        EXPECT_EQ(map.GetLeaves()[i]->GetModified() & 0xFF01u, 0u);
        delete map.GetLeaves()[i];
    }
}

// ---- Restructuring ------------------------------------------------------------------------------

TEST(TqOcDynamicGroupUpdate, ATreeThatMovedAsAWholeComesBackAsItWas)
{
    Tree const root = GrownTree(300, 2);
    std::string const before = StructureOf(*root);
    std::vector<TqOcDynamicGroup*> const groups = GroupsOf(*root);
    std::vector<TqOcTraversable*> const leaves = LeavesOf(*root);
    TqLBox3f const box = root->GetBoundingBox();
    for (TqOcShape* const shape : ShapesOf(*root)) {
        static_cast<PlayShape*>(shape)->MoveBy(64.0, -32.0, 16.0);
    }
    TqOcSubtreeDepthMap map;
    root->Update();
    EXPECT_EQ(StructureOf(*root), before);
    EXPECT_EQ(GroupsOf(*root), groups);
    EXPECT_EQ(LeavesOf(*root), leaves);
    EXPECT_NEAR(root->GetBoundingBox().GetMin()[0], box.GetMin()[0] + 64.0, 1e-9);
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));

    MoveRow(*root, 8.0);
    EXPECT_EQ(Probe::SplitOffMovingGroups(*root, root.get(), &map, root->CalcDepth()),
              Probe::eMOVED);
    EXPECT_EQ(map.GetLeaves().Size(), 0);
    EXPECT_EQ(map.GetMaxDepth(), 0);
}

TEST(TqOcDynamicGroupUpdate, OneShapeOfFiveComesBackInALeafOfItsOwn)
{
    Tree const root = RowTree({4, 4});
    TqOcStaticLeaf* const leaf = NewStaticLeaf(8, {8.0, 9.0, 10.0, 11.0, 12.0});
    root->AddLeaf(leaf);
    root->Update();
    auto* const moved = static_cast<PlayShape*>(leaf->GetChild(3));
    moved->Move(UnitAt(108.0)); // beside the second row
    root->Update();
    EXPECT_EQ(leaf->GetNumChildren(), 4);
    auto* const wrapper = dynamic_cast<TqOcSingleLeaf*>(moved->GetSingleParent());
    ASSERT_NE(wrapper, nullptr);
    EXPECT_EQ(wrapper->GetSingleParent(),
              FindShape(*root, 5)->GetSingleParent()->GetSingleParent());
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 [8 9 10 12 ])(4 5 6 7 11 ))");
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupUpdate, OneLeafOfFiveGoesWhereItBelongsNow)
{
    Tree const root = RowTree({5, 4});
    TqOcTraversable* const leaf = FindShape(*root, 1)->GetSingleParent();
    FindShape(*root, 1)->Move(UnitAt(108.0));
    root->Update();
    EXPECT_EQ(StructureOf(*root), "((0 4 2 3 )(5 6 7 8 1 ))");
    EXPECT_EQ(FindShape(*root, 1)->GetSingleParent(), leaf);
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupUpdate, AGroupWhoseContentSpreadIsTakenApart)
{
    // Fewer than four parts are inserted one by one.
    Tree const root = RowTree({5, 5, 3});
    TqOcDynamicGroup* const spread = GroupAt(*root, 2);
    ShapeOf(spread->GetChild(0))->Move(UnitAt(10.0));
    ShapeOf(spread->GetChild(1))->Move(UnitAt(110.0));
    ShapeOf(spread->GetChild(2))->Move(UnitAt(112.0));
    root->Update();
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 4 10 )(5 6 7 8 9 12 11 ))");
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));

    // Four make a group of their own again, in the order in which they were taken out.
    Tree const ofFour = RowTree({4, 4, 4});
    for (int i = 0; i < 4; ++i) {
        ShapeOf(GroupAt(*ofFour, 0)->GetChild(i))->MoveBy(0.0, 10.0 * i, 0.0);
    }
    ShapeOf(GroupAt(*ofFour, 0)->GetChild(0))->MoveBy(0.0, 1.0, 0.0);
    ofFour->Update();
    EXPECT_EQ(StructureOf(*ofFour), "((8 9 10 11 )(4 5 6 7 )(3 2 1 0 ))");
    EXPECT_TRUE(IsSoundDynamicTree(*ofFour, ShapesOf(*ofFour)));
}

TEST(TqOcDynamicGroupUpdate, AGroupThatMovedTogetherComesBackWhole)
{
    Tree const root = RowTree({4, 4, 4});
    TqOcDynamicGroup* const moved = GroupAt(*root, 0);
    std::vector<TqOcTraversable*> const leaves = LeavesOf(*moved);
    MoveRow(*moved, 1000.0);
    root->Update();
    EXPECT_TRUE(IsOnlyParent(*moved, root.get()));
    EXPECT_EQ(LeavesOf(*moved), leaves);
    EXPECT_EQ(StructureOf(*root), "((8 9 10 11 )(4 5 6 7 )(0 1 2 3 ))");
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroupUpdate, MergesSeveralWholeGroupsOneAfterTheOther)
{
    // Each merge marks the tree that it hung in whole as modified, box and all.
    for (int moving = 2; moving <= 7; ++moving) {
        Tree const root = RowTree({4, 5, 6, 7, 4, 5, 6});
        for (int i = 0; i < moving; ++i) {
            MoveRow(*GroupAt(*root, i), 100.0 + 50.0 * i);
        }
        std::vector<TqOcShape*> const shapes = ShapesOf(*root);
        ASSERT_NO_THROW(root->Update());
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << moving;
    }
}

TEST(TqOcDynamicGroupUpdate, TakesTheTallerTreeOverWhereMoreMovedThanStayed)
{
    Tree const root(NewGroup({RowTree({4, 4, 4, 4}).release(), RowTree({4, 4, 4, 4}).release()}));
    TqOcDynamicGroup* const before = root.get();
    std::vector<TqOcShape*> const shapes = ShapesOf(*root);
    // Only five shapes of one branch stay; the other branch moves as a whole.
    MoveRow(*GroupAt(*root, 1), 500.0);
    SceneRandom random(3);
    for (std::size_t i = 5; i < 16; ++i) {
        static_cast<PlayShape*>(shapes[i])->MoveBy(0.0, random.Range(100.0, 900.0), 0.0);
    }
    TqOcStaticGroup scene;
    scene.AddChild(root.get());
    root->SetUserOwned(1);
    scene.Update();
    EXPECT_EQ(root.get(), before);
    EXPECT_TRUE(IsSoundDynamicTree(*root, shapes, {true, false, true}));
    EXPECT_EQ(scene.GetBoundingBox(), root->GetBoundingBox());
    scene.RemoveChild(0);
}

TEST(TqOcDynamicGroupUpdate, RestructuresATreeOfWhichEverythingMovedApart)
{
    Tree const root = GrownTree(500, 4);
    std::vector<TqOcTraversable*> leaves = LeavesOf(*root);
    SceneRandom random(5);
    for (TqOcShape* const shape : ShapesOf(*root)) {
        static_cast<PlayShape*>(shape)->Move(
            MakeCube(random.Range(-500, 500), random.Range(-500, 500), 0, 1));
    }
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    std::vector<TqOcTraversable*> leavesAfter = LeavesOf(*root);
    std::sort(leaves.begin(), leaves.end());
    std::sort(leavesAfter.begin(), leavesAfter.end());
    EXPECT_EQ(leavesAfter, leaves); // single leaves are carried, not made anew
}

TEST(TqOcDynamicGroupUpdate, LeavesNoGroupBehindInMemory)
{
    Tree const root = GrownTree(150, 6);
    std::size_t const outside = TqUMemory::GetLiveBlocks() - 2 * 150 - GroupsOf(*root).size();
    SceneRandom random(7);
    for (int frame = 0; frame < 200; ++frame) {
        double const share = random.Unit();
        for (TqOcShape* const shape : ShapesOf(*root)) {
            if (random.Chance(share)) {
                static_cast<PlayShape*>(shape)->MoveBy(random.Range(-9, 9), random.Range(-9, 9), 0);
            }
        }
        if (frame % 3 == 0) {
            TqOcDynamicGroup* const group = GroupAt(*root, 0);
            MoveRow(*group, 3.0);
        }
        root->Update();
        ASSERT_EQ(TqUMemory::GetLiveBlocks(), outside + 2 * 150 + GroupsOf(*root).size()) << frame;
        ASSERT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root))) << frame;
    }
}

TEST(TqOcDynamicGroupUpdate, AsksEachMovedShapeForItsBoxOnceAndNoOther)
{
    Tree const root = GrownTree(400, 8);
    std::vector<TqOcShape*> const shapes = ShapesOf(*root);
    std::vector<int> calls;
    SceneRandom random(9);
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        auto* const shape = static_cast<PlayShape*>(shapes[i]);
        calls.push_back(shape->GetNumBoxCalls() + (i % 10 == 0 ? 1 : 0));
        if (i % 10 == 0) {
            shape->MoveBy(random.Range(-90, 90), random.Range(-90, 90), 0);
        }
    }
    root->Update();
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        ASSERT_EQ(static_cast<PlayShape*>(shapes[i])->GetNumBoxCalls(), calls[i]) << i;
    }
}

TEST(TqOcDynamicGroupUpdate, SkipsEmptyGroupsOfTreesBuiltByHand)
{
    // An empty group first would make the tree look flat, and one beside a group that moved as a
    // whole would keep the root from moving as a whole.
    for (bool const movesAll : {false, true}) {
        Tree const root(NewGroup({new TqOcDynamicGroup, RowTree({4, 4}).release(),
                                  NewGroup({new TqOcDynamicGroup}), RowTree({4, 4}).release()}));
        std::vector<TqOcShape*> const shapes = ShapesOf(*root);
        for (TqOcShape* const shape : shapes) {
            if (movesAll || shape == shapes[2]) {
                static_cast<PlayShape*>(shape)->MoveBy(0.0, 40.0, 0.0);
            }
        }
        ASSERT_NO_THROW(root->Update());
        EXPECT_TRUE(IsSoundDynamicTree(*root, shapes, {true, movesAll, false})) << movesAll;
    }
}

TEST(TqOcDynamicGroupUpdate, CopesWithGroupsOfAnySizeOfTreesBuiltByHand)
{
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        SceneRandom random(seed);
        DynamicTreePair pair(random, 1 + static_cast<int>(random.Below(3)), seed % 4 == 3);
        std::vector<TqOcShape*> const shapes = ShapesOf(*pair.tree);
        bool hasMoved = false; // until then empty groups stay where they are
        for (int frame = 0; frame < 4; ++frame) {
            double const share = random.Unit();
            for (TqOcShape* const shape : shapes) {
                if (random.Chance(share)) {
                    hasMoved = true;
                    TqLBox3f const box =
                        MakeCube(random.Below(40), random.Below(40), random.Below(3), 1.0);
                    pair.Move(static_cast<PlayShape*>(shape), box);
                }
            }
            ASSERT_NO_THROW(pair.tree->Update()) << "seed " << seed;
            pair.reference->Update();
            ASSERT_EQ(StructureOf(*pair.tree), pair.reference->GetStructure())
                << "seed " << seed << ", frame " << frame;
            if (hasMoved) {
                ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes, {true, true, false, false}))
                    << "seed " << seed << ", frame " << frame;
            }
        }
        pair.tree->Rebalance();
        pair.tree->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*pair.tree, shapes)) << "seed " << seed;
    }
}

TEST(TqOcDynamicGroupUpdate, AShapeOfTwoTreesMovesInTheOneThatIsUpdatedFirst)
{
    Tree const first = RowTree({4, 4});
    Tree const second = RowTree({4, 4});
    auto* const shared = new PlayShape(100, UnitAt(3.5));
    first->AddShape(shared);
    second->AddShape(shared);
    first->Update();
    second->Update();
    shared->Move(UnitAt(105.5));
    first->Update();
    second->Update();
    EXPECT_EQ(StructureOf(*first), "((0 1 2 3 )(4 5 6 7 100 ))");
    EXPECT_EQ(StructureOf(*second), "((0 1 2 3 100 )(4 5 6 7 ))"); // in place, with its new box
    for (TqOcDynamicGroup* const root : {first.get(), second.get()}) {
        EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), {true, false, true}));
    }
    EXPECT_EQ(GroupAt(*second, 0)->GetBoundingBox(), MakeBox(0, 0, 0, 106.5, 1, 1));
}

TEST(TqOcDynamicGroupUpdate, DoesTheSameAgainForTheSameChanges)
{
    // Addresses differ between the two trees, and must not show.
    Tree const first = GrownTree(300, 10);
    std::vector<std::unique_ptr<TqOcDynamicGroup>> disorder;
    for (int i = 0; i < 100; ++i) {
        disorder.push_back(std::make_unique<TqOcDynamicGroup>());
        if (i % 3 == 0) {
            disorder[static_cast<std::size_t>(i / 2)].reset();
        }
    }
    Tree const second = GrownTree(300, 10);
    for (TqOcDynamicGroup* const root : {first.get(), second.get()}) {
        SceneRandom random(11);
        for (int frame = 0; frame < 20; ++frame) {
            for (int number = 0; number < 300; ++number) {
                double const x = random.Range(-40, 40);
                if (random.Chance(0.2)) {
                    FindShape(*root, number)->MoveBy(x, 0.0, 0.0);
                }
            }
            root->Update();
        }
    }
    EXPECT_EQ(StructureOf(*first), StructureOf(*second));
}

// ---- Failures -----------------------------------------------------------------------------------

namespace
{

DynamicTreeRules const s_failed{false, false, false, true};
DynamicTreeRules const s_failedAndSmall{false, true, false, true};

/// A tree with single and static leaves, of which a third is on the move: some alone, one branch as
/// a whole, one leaf apart.
Tree MovingTree(std::vector<TqOcShape*>* shapes)
{
    Tree root = GrownTree(120, 12);
    for (int i = 0; i < 4; ++i) {
        double const x = 20.0 * i - 30.0;
        root->AddLeaf(NewStaticLeaf(200 + 10 * i, {x, x + 2.0, x + 5.0}));
    }
    root->Update();
    *shapes = ShapesOf(*root);
    SceneRandom random(13);
    for (TqOcShape* const shape : *shapes) {
        auto* const play = static_cast<PlayShape*>(shape);
        bool const isAlone = play->GetNumber() < 200 && random.Chance(0.25);
        bool const isApart = play->GetNumber() >= 200 && play->GetNumber() < 220;
        if (isAlone || isApart) {
            play->MoveBy(random.Range(-80, 80), random.Range(-80, 80), 0.0);
        }
    }
    MoveRow(*GroupAt(*root, 1), 7.0);
    return root;
}

bool AreDistinctAndAmong(std::vector<TqOcShape*> some, std::vector<TqOcShape*> all)
{
    std::sort(some.begin(), some.end());
    std::sort(all.begin(), all.end());
    return std::adjacent_find(some.begin(), some.end()) == some.end() &&
           std::includes(all.begin(), all.end(), some.begin(), some.end());
}

} // namespace

TEST(TqOcDynamicGroupUpdate, GoesOnWithTheOthersWhenAShapeCannotBeMeasured)
{
    std::vector<TqOcShape*> shapes;
    std::size_t count = 0;
    {
        Tree const root = MovingTree(&shapes);
        count = shapes.size();
    }
    int numThrown = 0;
    for (std::size_t at = 0; at < count; ++at) {
        Tree const root = MovingTree(&shapes);
        auto* const refusing = static_cast<PlayShape*>(shapes[at]);
        refusing->SetRefusing(true);
        bool hasThrown = false;
        try {
            root->Update();
        } catch (BoxRefused const&) {
            hasThrown = true;
        }
        refusing->SetRefusing(false);
        ASSERT_EQ(hasThrown, root->GetModified() != 0) << at;
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes, s_failed)) << at;
        if (!hasThrown) {
            ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << at;
            continue;
        }
        ++numThrown;
        for (TqOcShape* const shape : shapes) { // each of them has its new place
            TqOcBaseTraversable* const* children = nullptr;
            TqOcTraversable* const leaf = shape->GetSingleParent();
            if (leaf != refusing->GetSingleParent() && leaf->GetChildren(&children) == 1) {
                ASSERT_EQ(leaf->GetBoundingBox(), static_cast<PlayShape*>(shape)->GetBox()) << at;
            }
        }
        root->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << at;
    }
    EXPECT_GT(numThrown, 30);
}

TEST(TqOcDynamicGroupUpdate, TriesAnUnmeasuredShapeAgainInEveryUpdate)
{
    std::vector<TqOcShape*> shapes;
    Tree const root = MovingTree(&shapes);
    PlayShape* refusing = nullptr;
    for (TqOcShape* const shape : shapes) {
        if ((shape->GetModified() & 1u) != 0) {
            refusing = static_cast<PlayShape*>(shape);
        }
    }
    ASSERT_NE(refusing, nullptr);
    refusing->SetRefusing(true);
    for (int i = 0; i < 3; ++i) {
        EXPECT_THROW(root->Update(), BoxRefused);
        EXPECT_TRUE(IsSoundDynamicTree(*root, shapes, s_failed));
    }
    refusing->SetRefusing(false);
    EXPECT_NO_THROW(root->Update());
    EXPECT_TRUE(IsSoundDynamicTree(*root, shapes));
}

TEST(TqOcDynamicGroupUpdate, SurvivesARefusalInAnyCallForABox)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int n = 1;
    for (bool hasThrown = true; hasThrown; ++n) {
        std::vector<TqOcShape*> shapes;
        Tree const root = MovingTree(&shapes);
        hasThrown = false;
        PlayShape::RefuseCall(n);
        try {
            root->Update();
        } catch (BoxRefused const&) {
            hasThrown = true;
        }
        PlayShape::RefuseCall(0);
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes, s_failed)) << n;
        root->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << n;
    }
    EXPECT_GT(n, 30);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcDynamicGroupUpdate, PutsEverythingBackInTheNextUpdateWhenAnyAllocationIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const live = PlayShape::GetNumLive();
    for (RefuseAllocations::Kinds const kinds :
         {RefuseAllocations::eMEMORY, RefuseAllocations::eGLOBAL_NEW}) {
        for (RefuseAllocations::Extent const extent :
             {RefuseAllocations::eONLY_THIS, RefuseAllocations::eAND_ALL_LATER}) {
            int n = 1;
            for (int numRefused = 1; numRefused != 0; ++n) {
                std::vector<TqOcShape*> shapes;
                Tree const root = MovingTree(&shapes);
                {
                    RefuseAllocations refuse(n, extent, kinds);
                    try {
                        root->Update();
                    } catch (std::bad_alloc const&) {}
                    numRefused = refuse.GetNumRefused();
                }
                std::vector<TqOcShape*> const present = ShapesOf(*root);
                ASSERT_TRUE(AreDistinctAndAmong(present, shapes)) << n;
                ASSERT_TRUE(IsSoundDynamicTree(*root, present, s_failedAndSmall)) << n;
                root->Update();
                ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << n << ", kinds " << kinds;
            }
            EXPECT_GT(n, 3);
        }
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(PlayShape::GetNumLive(), live);
}

TEST(TqOcDynamicGroupUpdate, LosesNothingWhenATreeEndsAfterARefusedUpdate)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int const live = PlayShape::GetNumLive();
    for (int numRefused = 1, n = 1; numRefused != 0; ++n) {
        std::vector<TqOcShape*> shapes;
        Tree root = MovingTree(&shapes);
        {
            RefuseAllocations refuse(n, RefuseAllocations::eAND_ALL_LATER);
            try {
                root->Update();
            } catch (std::bad_alloc const&) {}
            numRefused = refuse.GetNumRefused();
        }
        root.reset();
        ASSERT_EQ(PlayShape::GetNumLive(), live) << n;
        ASSERT_EQ(TqUMemory::GetLiveBlocks(), blocks) << n;
    }
}

TEST(TqOcDynamicGroupUpdate, OtherOperationsFollowARefusedUpdate)
{
    for (int numRefused = 1, n = 1; numRefused != 0; ++n) {
        std::vector<TqOcShape*> shapes;
        Tree const root = MovingTree(&shapes);
        {
            RefuseAllocations refuse(n, RefuseAllocations::eAND_ALL_LATER);
            try {
                root->Update();
            } catch (std::bad_alloc const&) {}
            numRefused = refuse.GetNumRefused();
        }
        PostedErrors posts;
        auto* const added = new PlayShape(999, UnitAt(0.0));
        TqOcShape* const removed = shapes[static_cast<std::size_t>(n) % shapes.size()];
        root->DeleteShape(removed); // it may be one of those that wait
        shapes.erase(std::find(shapes.begin(), shapes.end(), removed));
        root->AddShape(added);
        shapes.push_back(added);
        ASSERT_TRUE(posts.Empty()) << n << " " << posts.AsLines()[0];
        root->Update();
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes)) << n;
    }
}
