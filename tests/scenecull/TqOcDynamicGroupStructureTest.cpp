// The dynamic group as a node: its child array, boxes and depth, the entry points of a tree and
// what they refuse, and its part in walks.

#include "support/AllocationCounter.h"
#include "support/DynamicTreeMaker.h"

#include "scenecull/TqOcRenderTraversal.h"

#include "util/TqUArena.h"
#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <type_traits>

namespace
{

/// A recording group of these, masks cleared, log empty.
std::unique_ptr<RecordingDynamicGroup> NewRecordingGroup(EventLog& log, std::string const& name,
                                                         Nodes children)
{
    auto group = std::make_unique<RecordingDynamicGroup>(&log, name, children.data(),
                                                         static_cast<int>(children.size()));
    Probe::UpdateKeepStructure(*group);
    log.Clear();
    return group;
}

std::string Numbers(TqOcDynamicGroup& group)
{
    return StructureOf(group);
}

/// Root over `middle` over `bottom` over two unit leaves, at 0 and 10; all up to date.
struct Chain
{
    explicit Chain(EventLog* log)
    {
        TqOcTraversable* leaves[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 10.0)};
        bottom = new RecordingDynamicGroup(log, "bottom", leaves, 2);
        TqOcTraversable* inner[] = {bottom};
        middle = new RecordingDynamicGroup(log, "middle", inner, 1);
        TqOcTraversable* outer[] = {middle};
        root = std::make_unique<RecordingDynamicGroup>(log, "root", outer, 1);
        Probe::UpdateKeepStructure(*root);
        log->Clear();
    }

    RecordingDynamicGroup* bottom;
    RecordingDynamicGroup* middle;
    std::unique_ptr<RecordingDynamicGroup> root;
};

/// A root that notes what it answered in its turn of a walk.
class TurnTaker : public TqOcDynamicGroup
{
public:
    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override
    {
        ++numTurns;
        status = TqOcDynamicGroup::Prioritized(traversal, state);
        return status;
    }

    int numTurns = 0;
    TraversalStatus status = eFINISHED;
};

} // namespace

// ---- Construction and destruction ---------------------------------------------------------------

TEST(TqOcDynamicGroup, StartsWithoutChildrenAndWithABoxAroundNothing)
{
    TqOcDynamicGroup group;
    EXPECT_EQ(group.GetNumChildren(), 0);
    EXPECT_EQ(group.GetModified(), 0u);
    EXPECT_TRUE(HasEmptyBox(group));
    EXPECT_FALSE(group.IsLeaf());
    EXPECT_FALSE(group.IsShape());
    EXPECT_FALSE(group.HasParent());
    TqOcBaseTraversable* const* children = nullptr;
    EXPECT_EQ(group.GetChildren(&children), 0);
    static_assert(TqOcDynamicGroup::eMAX_CHILDREN == 7);
    static_assert(TqOcDynamicGroup::eMIN_CHILDREN == 4);
    static_assert(TqOcDynamicGroup::eNOT_BOX == 0xFEu);
    static_assert(!std::is_copy_constructible_v<TqOcDynamicGroup>);
    static_assert(!std::is_copy_assignable_v<TqOcDynamicGroup>);
}

TEST(TqOcDynamicGroup, TakesChildrenInArrayOrderAndLeavesItsBoxToTheNextUpdate)
{
    TqOcTraversable* given[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0), NewLeafAt(2, 9.0)};
    TqOcDynamicGroup group(given, 3);
    EXPECT_EQ(Numbers(group), "(0 1 2 )");
    EXPECT_EQ(Hex(group.GetModified()), "0xff");
    EXPECT_TRUE(HasEmptyBox(group));
    EXPECT_TRUE(IsOnlyParent(*given[1], &group));
    TqOcBaseTraversable* const* children = nullptr;
    ASSERT_EQ(group.GetChildren(&children), 3);
    EXPECT_EQ(children[2], given[2]);
    EXPECT_NE(static_cast<void const*>(children), static_cast<void const*>(given));
    EXPECT_EQ(static_cast<TqOcDynamicGroup const&>(group).GetChild(1), given[1]);
    Probe::UpdateKeepStructure(group);
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(0, 0, 0, 10, 1, 1));
}

TEST(TqOcDynamicGroup, HoldsItsChildrenInItself)
{
    Nodes leaves;
    for (int i = 0; i < 7; ++i) {
        leaves.push_back(NewLeafAt(i, i));
    }
    AllocationCounter counter;
    TqOcDynamicGroup group(leaves.data(), 7);
    EXPECT_EQ(counter.GetNum(), 0u);
    TqOcBaseTraversable* const* children = nullptr;
    group.GetChildren(&children);
    auto const* const begin = reinterpret_cast<char const*>(&group);
    EXPECT_GT(reinterpret_cast<char const*>(children), begin);
    EXPECT_LE(reinterpret_cast<char const*>(children + 7), begin + sizeof(group));
    EXPECT_EQ(counter.GetNum(), 0u);
}

TEST(TqOcDynamicGroup, BecomesASecondParentOfASharedChild)
{
    TqOcSingleLeaf* const shared = NewLeafAt(0, 0.0);
    TqOcTraversable* given[] = {shared};
    TqOcDynamicGroup first(given, 1);
    {
        TqOcDynamicGroup second(given, 1);
        ASSERT_TRUE(shared->HasMultipleParents());
        EXPECT_EQ(shared->GetMultipleParents()->ItemAt(0), &first);
        EXPECT_EQ(shared->GetMultipleParents()->ItemAt(1), &second);
    }
    EXPECT_TRUE(IsOnlyParent(*shared, &first)); // and it still exists
    EXPECT_EQ(Numbers(first), "(0 )");
}

TEST(TqOcDynamicGroup, InitChildrenLinksWithoutBoxAndNotice)
{
    EventLog log;
    RecordingDynamicGroup group(&log, "group");
    TqOcTraversable* given[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0)};
    Probe::InitChildren(group, given, 2);
    EXPECT_EQ(Numbers(group), "(0 1 )");
    EXPECT_TRUE(IsOnlyParent(*given[0], &group));
    EXPECT_TRUE(HasEmptyBox(group));
    EXPECT_EQ(group.GetModified(), 0u);
    EXPECT_EQ(log.Get(), Lines());
}

TEST(TqOcDynamicGroup, InitChildrenForAddComputesTheBoxAndNotifiesAllButTheBox)
{
    EventLog log;
    RecordingDynamicGroup group(&log, "group");
    Probe::SetBox(group, MakeBox(-100, 0, 0, 100, 1, 1));
    TqOcTraversable* given[] = {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0)};
    Probe::InitChildrenForAdd(group, given, 2);
    EXPECT_EQ(Numbers(group), "(0 1 )");
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(0, 0, 0, 6, 1, 1));
    EXPECT_TRUE(IsOnlyParent(*given[1], &group));
    EXPECT_EQ(log.Take(), Lines({"Notify group 0xfe"}));
    EXPECT_EQ(Hex(group.GetModified()), "0xfe");
}

TEST(TqOcDynamicGroup, DeletesAtItsEndOnlyWhatNothingElseOwns)
{
    int const before = PlayShape::GetNumLive();
    TqOcSingleLeaf* const userOwned = NewLeafAt(0, 0.0);
    TqOcSingleLeaf* const shared = NewLeafAt(1, 0.0);
    TqOcStaticGroup other;
    {
        TqOcTraversable* given[] = {userOwned, shared, NewLeafAt(2, 0.0)};
        TqOcDynamicGroup group(given, 3);
        userOwned->SetUserOwned(1);
        other.AddChild(shared);
        EXPECT_EQ(PlayShape::GetNumLive(), before + 3);
    }
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_FALSE(userOwned->HasParent());
    EXPECT_TRUE(IsOnlyParent(*shared, &other));
    delete userOwned;
}

TEST(TqOcDynamicGroup, DeleteChildrenLeavesTheCountAsItWas)
{
    TqOcSingleLeaf* const leaf = NewLeafAt(0, 0.0);
    leaf->SetUserOwned(1);
    TqOcTraversable* given[] = {leaf};
    {
        TqOcDynamicGroup group(given, 1);
        Probe::DeleteChildren(group);
        EXPECT_EQ(group.GetNumChildren(), 1);
        EXPECT_FALSE(leaf->HasParent());
    }
    delete leaf;
}

TEST(TqOcDynamicGroup, IsAllocatedInAllFiveForms)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    auto* const plain = new TqOcDynamicGroup;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 1);
    delete plain;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);

    alignas(TqOcDynamicGroup) unsigned char room[sizeof(TqOcDynamicGroup)];
    auto* const placed = new (static_cast<void*>(room)) TqOcDynamicGroup;
    EXPECT_EQ(static_cast<void*>(placed), static_cast<void*>(room));
    placed->~TqOcDynamicGroup();

    TqUFastArena fast(sizeof(TqOcDynamicGroup), 4);
    auto* const pooled = new (&fast) TqOcDynamicGroup;
    EXPECT_EQ(pooled->GetNumChildren(), 0);
    pooled->~TqOcDynamicGroup();
    fast.Dealloc(pooled);
    EXPECT_EQ(alignof(TqOcDynamicGroup), 8u);
}

// ---- Child array --------------------------------------------------------------------------------

TEST(TqOcDynamicGroup, SetChildrenReplacesAllAndNotifiesEverything)
{
    EventLog log;
    int const before = PlayShape::GetNumLive();
    auto const group = NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0)});
    TqOcTraversable* given[] = {NewLeafAt(2, 2.0)};
    group->SetChildren(given, 1);
    EXPECT_EQ(Numbers(*group), "(2 )");
    EXPECT_EQ(PlayShape::GetNumLive(), before + 1);
    EXPECT_EQ(log.Take("Notify"), Lines({"Notify group 0xff"}));
    EXPECT_TRUE(IsOnlyParent(*given[0], group.get()));
    group->SetChildren(nullptr, 0);
    EXPECT_EQ(group->GetNumChildren(), 0);
    EXPECT_EQ(PlayShape::GetNumLive(), before);
}

TEST(TqOcDynamicGroup, SetChildrenKeepsAPresentChildThatIsNamedAgain)
{
    int const before = PlayShape::GetNumLive();
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 3, 0.0));
    TqOcTraversable* given[] = {NewLeafAt(3, 0.0), group->GetChild(1)};
    group->SetChildren(given, 2);
    EXPECT_EQ(Numbers(*group), "(3 1 )");
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_TRUE(IsOnlyParent(*given[1], group.get()));
}

TEST(TqOcDynamicGroup, SetChildrenTakesTheGroupsOwnArray)
{
    int const before = PlayShape::GetNumLive();
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 4, 0.0));
    TqOcBaseTraversable* const* own = nullptr;
    group->GetChildren(&own);
    // The array is typed by its elements' base; containers of this kind hold nothing else.
    group->SetChildren(reinterpret_cast<TqOcTraversable**>(const_cast<TqOcBaseTraversable**>(own)),
                       3);
    EXPECT_EQ(Numbers(*group), "(0 1 2 )");
    EXPECT_EQ(PlayShape::GetNumLive(), before + 3);
    EXPECT_TRUE(IsOnlyParent(*group->GetChild(0), group.get()));
}

TEST(TqOcDynamicGroup, RemoveAllChildrenDeletesThemOnlyWhenAskedTo)
{
    EventLog log;
    int const before = PlayShape::GetNumLive();
    auto const group = NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0), NewLeafAt(1, 5.0)});
    TqOcTraversable* const kept[] = {group->GetChild(0), group->GetChild(1)};
    group->RemoveAllChildren(0);
    EXPECT_EQ(group->GetNumChildren(), 0);
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_TRUE(IsOnlyParent(*kept[0], group.get())); // the link is the caller's to clear
    EXPECT_EQ(log.Take("Notify"), Lines({"Notify group 0xff"}));
    for (TqOcTraversable* const leaf : kept) {
        leaf->RemoveParent(group.get());
        group->AddChild(leaf);
    }
    group->RemoveAllChildren(1);
    EXPECT_EQ(group->GetNumChildren(), 0);
    EXPECT_EQ(PlayShape::GetNumLive(), before);
}

TEST(TqOcDynamicGroup, AddChildAppendsAndNotifiesEverything)
{
    EventLog log;
    auto const group = NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0)});
    TqOcSingleLeaf* const leaf = NewLeafAt(1, 5.0);
    group->AddChild(leaf);
    EXPECT_EQ(Numbers(*group), "(0 1 )");
    EXPECT_TRUE(IsOnlyParent(*leaf, group.get()));
    EXPECT_EQ(log.Take(), Lines({"Notify group 0xff"}));
    EXPECT_EQ(group->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1)); // until the next update

    Probe::UpdateKeepStructure(*group);
    log.Clear();
    Probe::AddChildImpl(*group, NewLeafAt(2, 7.0), 0x30);
    EXPECT_EQ(Numbers(*group), "(0 1 2 )");
    EXPECT_EQ(log.Take(), Lines({"Notify group 0x30"}));
}

TEST(TqOcDynamicGroup, RemovingTheLastChildLeavesTheOthersInPlace)
{
    EventLog log;
    auto const group =
        NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0), NewLeafAt(1, 1.0), NewLeafAt(2, 2.0)});
    TqOcTraversable* const last = group->GetChild(2);
    EXPECT_EQ(group->RemoveChild(2), last);
    EXPECT_EQ(Numbers(*group), "(0 1 )");
    EXPECT_FALSE(last->HasParent());
    EXPECT_EQ(log.Take(), Lines({"Notify group 0xff"}));
    delete last;
}

TEST(TqOcDynamicGroup, RemovingAnyOtherChildMovesTheLastIntoItsPlace)
{
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 5, 0.0));
    TqOcTraversable* const second = group->GetChild(1);
    EXPECT_EQ(group->RemoveChild(1), second);
    EXPECT_EQ(Numbers(*group), "(0 4 2 3 )");
    delete second;
    TqOcTraversable* const first = group->GetChild(0);
    EXPECT_EQ(group->RemoveChild(0), first);
    EXPECT_EQ(Numbers(*group), "(3 4 2 )");
    delete first;
}

TEST(TqOcDynamicGroup, RemovesAChildByPointerAndReportsAnAbsentOne)
{
    EventLog log;
    auto const group = NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0), NewLeafAt(1, 1.0)});
    TqOcSingleLeaf stranger(new PlayShape);
    PostedErrors posts;
    EXPECT_EQ(group->RemoveChild(&stranger), 0);
    EXPECT_EQ(log.Take(), Lines());
    EXPECT_EQ(group->GetNumChildren(), 2);
    TqOcTraversable* const first = group->GetChild(0);
    EXPECT_EQ(group->RemoveChild(first), 1);
    EXPECT_EQ(log.Take(), Lines({"Notify group 0xff"}));
    EXPECT_EQ(Numbers(*group), "(1 )");
    EXPECT_TRUE(posts.Empty());
    delete first;
}

TEST(TqOcDynamicGroup, RemoveChildImplNotifiesWithTheGivenMask)
{
    EventLog log;
    auto const group =
        NewRecordingGroup(log, "group", {NewLeafAt(0, 0.0), NewLeafAt(1, 1.0), NewLeafAt(2, 2.0)});
    std::unique_ptr<TqOcTraversable> const first(Probe::RemoveChildImpl(*group, 0, 0xFE));
    EXPECT_EQ(log.Take(), Lines({"Notify group 0xfe"}));
    EXPECT_EQ(Numbers(*group), "(2 1 )");
    EXPECT_EQ(Probe::RemoveChildImpl(*group, first.get(), 0xFE), 0);
    std::unique_ptr<TqOcTraversable> const second(group->GetChild(0));
    EXPECT_EQ(Probe::RemoveChildImpl(*group, second.get(), 0x01), 1);
    EXPECT_EQ(log.Take(), Lines({"Notify group 0x1"}));
}

TEST(TqOcDynamicGroup, DeleteChildDeletesUnlessSomethingElseOwns)
{
    int const before = PlayShape::GetNumLive();
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 3, 0.0));
    TqOcTraversable* const userOwned = group->GetChild(0);
    userOwned->SetUserOwned(1);
    group->DeleteChild(1);
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_EQ(Numbers(*group), "(0 2 )");
    group->DeleteChild(0);
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_FALSE(userOwned->HasParent());
    delete userOwned;
}

TEST(TqOcDynamicGroup, FindsTheFirstMentionOfAChild)
{
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 3, 0.0));
    TqOcTraversable* const twice = group->GetChild(1);
    group->AddChild(twice);
    EXPECT_EQ(group->FindChild(twice), 1);
    EXPECT_EQ(group->FindChild(group->GetChild(2)), 2);
    EXPECT_EQ(group->FindChild(group.get()), -1);
    EXPECT_EQ(group->FindChild(nullptr), -1);
    EXPECT_EQ(group->RemoveChild(3), twice);
    EXPECT_TRUE(IsOnlyParent(*twice, group.get()));
}

TEST(TqOcDynamicGroup, TellsItsParentsOnlyWhatIsNew)
{
    EventLog log;
    Chain chain(&log);
    delete chain.bottom->RemoveChild(1);
    EXPECT_EQ(log.Take("Notify"),
              Lines({"Notify bottom 0xff", "Notify middle 0xff", "Notify root 0xff"}));
    delete chain.bottom->RemoveChild(0);
    EXPECT_EQ(log.Take("Notify"), Lines({"Notify bottom 0xff"}));
}

// ---- What the child array refuses ---------------------------------------------------------------

TEST(TqOcDynamicGroup, RefusesAnEighthChild)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 7, 0.0));
    std::unique_ptr<TqOcSingleLeaf> const eighth(NewLeafAt(7, 0.0));
    group->AddChild(eighth.get());
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(group->GetNumChildren(), 7);
    EXPECT_EQ(group->GetModified(), 0u);
    EXPECT_FALSE(eighth->HasParent());

    TqOcTraversable* eight[8] = {eighth.get(), eighth.get(), eighth.get(), eighth.get(),
                                 eighth.get(), eighth.get(), eighth.get(), eighth.get()};
    TqOcDynamicGroup const tooMany(eight, 8);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(tooMany.GetNumChildren(), 0);
    group->SetChildren(eight, 8);
    EXPECT_TRUE(WasPostedOnce(posts));
    group->SetChildren(eight, -1);
    EXPECT_TRUE(WasPostedOnce(posts));
    group->SetChildren(nullptr, 2);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(Numbers(*group), "(0 1 2 3 4 5 6 )");
    EXPECT_FALSE(eighth->HasParent());
}

TEST(TqOcDynamicGroup, RefusesWhatCannotBeItsChild)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 2, 0.0));
    std::unique_ptr<TqOcDynamicGroup> const inner(NewRow(2, 2, 0.0));
    TqOcStaticGroup notALeaf;
    group->AddChild(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    group->AddChild(&notALeaf);
    EXPECT_TRUE(WasPostedOnce(posts));
    group->AddChild(inner.get()); // beside leaves
    EXPECT_TRUE(WasPostedOnce(posts));
    TqOcTraversable* given[] = {inner.get(), nullptr};
    group->SetChildren(given, 2);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(Numbers(*group), "(0 1 )");
    EXPECT_EQ(group->GetModified(), 0u);
    EXPECT_FALSE(inner->HasParent());
    EXPECT_FALSE(notALeaf.HasParent());
}

TEST(TqOcDynamicGroup, RefusesAnIndexOutOfRange)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 2, 0.0));
    for (int const index : {-1, 2, 7}) {
        EXPECT_EQ(group->RemoveChild(index), nullptr);
        EXPECT_TRUE(WasPostedOnce(posts)) << index;
        group->DeleteChild(index);
        EXPECT_TRUE(WasPostedOnce(posts)) << index;
    }
    EXPECT_EQ(Numbers(*group), "(0 1 )");
    EXPECT_EQ(group->GetModified(), 0u);
}

// ---- Box and depth ------------------------------------------------------------------------------

TEST(TqOcDynamicGroup, CalcBoxIsTheUnionOfTheChildrensBoxes)
{
    TqOcDynamicGroup const empty;
    EXPECT_EQ(Probe::CalcBox(empty), TqLBox3f());
    std::unique_ptr<TqOcDynamicGroup> const group(
        NewGroup({NewLeaf(0, MakeBox(0, 5, 0, 1, 6, 1)), NewLeaf(1, TqLBox3f()),
                  NewLeaf(2, MakeBox(-3, 0, 2, 0, 1, 9))}));
    Probe::SetBox(*group, TqLBox3f());
    EXPECT_EQ(Probe::CalcBox(*group), MakeBox(-3, 0, 0, 1, 6, 9));
    EXPECT_TRUE(HasEmptyBox(*group)); // computed, not stored
}

TEST(TqOcDynamicGroup, CalcDepthCountsTheLevelsOfGroups)
{
    TqOcDynamicGroup empty;
    EXPECT_EQ(empty.CalcDepth(), 1);
    std::unique_ptr<TqOcDynamicGroup> const ofLeaves(NewRow(0, 3, 0.0));
    EXPECT_EQ(ofLeaves->CalcDepth(), 1);
    std::unique_ptr<TqOcDynamicGroup> const ofGroups(
        NewGroup({NewRow(3, 4, 0.0), NewRow(7, 4, 9.0)}));
    EXPECT_EQ(ofGroups->CalcDepth(), 2);
    std::unique_ptr<TqOcDynamicGroup> const deep(NewGroup({NewGroup({NewRow(11, 4, 0.0)})}));
    EXPECT_EQ(deep->CalcDepth(), 3);
    std::unique_ptr<TqOcDynamicGroup> const hollow(NewGroup({new TqOcDynamicGroup}));
    EXPECT_EQ(hollow->CalcDepth(), 2); // a group below without children counts as one level
    TqOcDynamicGroup marked;
    marked.SetLeaf(1);
    EXPECT_EQ(marked.CalcDepth(), 0);
}

TEST(TqOcDynamicGroup, ExtendBoxToRootStopsAtOnceWhereTheBoxIsInside)
{
    EventLog log;
    Chain chain(&log);
    RecordingTraversable owner(&log, "owner");
    chain.root->SetSingleParent(&owner);
    Probe::SetBox(*chain.middle, MakeBox(0, 0, 0, 1, 1, 1)); // too small, and not to be looked at
    log.Clear();
    Probe::ExtendBoxToRoot(*chain.bottom, chain.root.get(), MakeBox(2, 0, 0, 3, 1, 1));
    EXPECT_EQ(log.Take(), Lines());
    EXPECT_EQ(chain.bottom->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.middle->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    chain.root->SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroup, ExtendBoxToRootStopsOnItsWayWithoutTellingTheRootsParents)
{
    EventLog log;
    Chain chain(&log);
    RecordingTraversable owner(&log, "owner");
    chain.root->SetSingleParent(&owner);
    Probe::SetBox(*chain.middle, MakeBox(-5, 0, 0, 20, 1, 1));
    Probe::ExtendBoxToRoot(*chain.bottom, chain.root.get(), MakeBox(-5, 0, 0, 1, 1, 1));
    EXPECT_EQ(chain.bottom->GetBoundingBox(), MakeBox(-5, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.middle->GetBoundingBox(), MakeBox(-5, 0, 0, 20, 1, 1));
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    EXPECT_EQ(log.Take(), Lines());
    chain.root->SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroup, ExtendBoxToRootTellsTheRootsParentsOfItsNewBox)
{
    EventLog log;
    Chain chain(&log);
    RecordingTraversable owner(&log, "owner");
    RecordingTraversable second(&log, "second");
    chain.root->AddParent(&owner);
    Probe::ExtendBoxToRoot(*chain.bottom, chain.root.get(), MakeBox(-5, 0, 0, 1, 1, 1));
    EXPECT_EQ(chain.bottom->GetBoundingBox(), MakeBox(-5, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.middle->GetBoundingBox(), MakeBox(-5, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(-5, 0, 0, 11, 1, 1));
    EXPECT_EQ(log.Take(), Lines({"Notify owner 0x1"}));
    EXPECT_EQ(chain.root->GetModified(), 0u);

    chain.root->AddParent(&second);
    Probe::ExtendBoxToRoot(*chain.bottom, chain.root.get(), MakeBox(-9, 0, 0, 1, 1, 1));
    EXPECT_EQ(log.Take(), Lines({"Notify owner 0x1", "Notify second 0x1"}));
    chain.root->RemoveParent(&second);
    chain.root->RemoveParent(&owner);
}

TEST(TqOcDynamicGroup, ExtendBoxToRootEndsAtTheRootThatItWasGiven)
{
    EventLog log;
    Chain chain(&log);
    Probe::ExtendBoxToRoot(*chain.bottom, chain.middle, MakeBox(-5, 0, 0, 1, 1, 1));
    EXPECT_EQ(chain.middle->GetBoundingBox(), MakeBox(-5, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    EXPECT_EQ(log.Take(), Lines({"Notify root 0x1"})); // middle's parent
}

TEST(TqOcDynamicGroup, RecalcBoxToRootStopsAtTheFirstGroupWhoseBoxStays)
{
    EventLog log;
    Chain chain(&log);
    RecordingTraversable owner(&log, "owner");
    chain.root->SetSingleParent(&owner);
    Probe::SetBox(*chain.root, MakeBox(-50, 0, 0, 50, 1, 1)); // wrong, but not to be looked at
    Probe::RecalcBoxToRoot(*chain.bottom, chain.root.get());
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(-50, 0, 0, 50, 1, 1));
    EXPECT_EQ(log.Take(), Lines());

    Probe::SetBox(*chain.bottom, MakeBox(-2, 0, 0, 11, 1, 1));
    Probe::RecalcBoxToRoot(*chain.bottom, chain.root.get());
    EXPECT_EQ(chain.bottom->GetBoundingBox(), MakeBox(0, 0, 0, 11, 1, 1));
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(-50, 0, 0, 50, 1, 1)); // middle's has stayed
    EXPECT_EQ(log.Take(), Lines());
    chain.root->SetSingleParent(nullptr);
}

TEST(TqOcDynamicGroup, RecalcBoxToRootTellsTheRootsParentsOnlyOfANewBox)
{
    EventLog log;
    Chain chain(&log);
    RecordingTraversable owner(&log, "owner");
    RecordingTraversable second(&log, "second");
    chain.root->AddParent(&owner);
    chain.root->AddParent(&second);
    delete Probe::RemoveChildImpl(*chain.bottom, 1, 0);
    Probe::RecalcBoxToRoot(*chain.bottom, chain.root.get());
    EXPECT_EQ(chain.bottom->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(chain.middle->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(chain.root->GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(log.Take("Notify owner"), Lines({"Notify owner 0x1"}));
    EXPECT_EQ(Hex(second.GetModified()), "0x1");
    log.Clear();
    Probe::RecalcBoxToRoot(*chain.bottom, chain.root.get());
    EXPECT_EQ(log.Take(), Lines());
    chain.root->RemoveParent(&second);
    chain.root->RemoveParent(&owner);
}

// ---- Walks --------------------------------------------------------------------------------------

TEST(TqOcDynamicGroup, RenderStampsItselfAndDrawsVisibleChildrenInOrder)
{
    EventLog log;
    RecordingContext context;
    TqOcPrioritizedTraversal traversal(&context);
    traversal.SetFrameId(77);
    TqOcShape* first[] = {new RecordingShape(&log, "a", MakeCube(0, 0, 0, 1))};
    TqOcShape* second[] = {new RecordingShape(&log, "b", MakeCube(3, 0, 0, 1))};
    TqOcShape* third[] = {new RecordingShape(&log, "c", MakeCube(6, 0, 0, 1))};
    Nodes leaves = {new TqOcStaticLeaf(first, 1), new TqOcStaticLeaf(second, 1),
                    new TqOcStaticLeaf(third, 1)};
    std::unique_ptr<TqOcDynamicGroup> const group(NewGroup(leaves));
    leaves[1]->UpdateHideRender(1);
    group->Render(&traversal);
    EXPECT_EQ(log.Take("RenderShape"), Lines({"RenderShape a", "RenderShape c"}));
    EXPECT_EQ(group->GetHysteresisId(), 77u);
    EXPECT_EQ(group->GetFrameId(), 0u);
    EXPECT_EQ(leaves[0]->GetHysteresisId(), 0u);
    EXPECT_EQ(leaves[0]->GetFrameId(), 77u);
    EXPECT_EQ(leaves[1]->GetFrameId(), 0u);
    EXPECT_EQ(leaves[2]->GetFrameId(), 77u);
    log.Clear();
}

TEST(TqOcDynamicGroup, RenderOfAGroupWithNothingVisibleStampsNothing)
{
    RecordingContext context;
    TqOcPrioritizedTraversal traversal(&context);
    traversal.SetFrameId(77);
    std::unique_ptr<TqOcDynamicGroup> const group(NewRow(0, 2, 0.0));
    group->GetChild(0)->UpdateHideRender(1);
    group->GetChild(1)->UpdatePrimitives(TqLPrimitiveTypes::eNONE);
    group->Render(&traversal);
    EXPECT_EQ(group->GetHysteresisId(), 0u);
}

TEST(TqOcDynamicGroup, HandsEveryChildToAPrioritizedWalk)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup({NewRow(0, 4, 0.0), NewRow(4, 5, 50.0)}));
    AllSeeingWalk walk;
    walk.Draw(root.get());
    for (TqOcShape* const shape : ShapesOf(*root)) {
        EXPECT_EQ(static_cast<PlayShape*>(shape)->GetNumDraws(), 1);
    }
    EXPECT_EQ(root->GetChild(1)->GetHysteresisId(), 1u);
    EXPECT_EQ(root->GetChild(1)->GetFrameId(), 1u);
    for (int const count : {0, 3}) {
        TurnTaker taker;
        for (int i = 0; i < count; ++i) {
            taker.AddShape(new PlayShape(i, MakeCube(i, 0, 0, 1)));
        }
        taker.Update();
        Probe::SetBox(taker, MakeCube(0, 0, 0, 9)); // a box around nothing gets no turn
        walk.Draw(&taker);
        EXPECT_EQ(taker.numTurns, 1);
        EXPECT_EQ(taker.status, TqOcBaseTraversable::eAPPENDED);
    }
}

TEST(TqOcDynamicGroup, VisitsItsChildrenInOrderUnlessPruned)
{
    EventLog log;
    TqOcShape* shapes[] = {new RecordingShape(&log, "a", MakeCube(0, 0, 0, 1)),
                           new RecordingShape(&log, "b", MakeCube(3, 0, 0, 1))};
    TqOcTraversable* leaves[] = {new RecordingSingleLeaf(&log, "x", shapes[0]),
                                 new RecordingSingleLeaf(&log, "y", shapes[1])};
    RecordingDynamicGroup group(&log, "group", leaves, 2);
    log.Clear();
    RecordingVisitor visitor(&log);
    group.Visit(&visitor);
    EXPECT_EQ(log.Take(), Lines({"BeginVisit group", "BeginVisit x", "VisitShape a", "EndVisit x",
                                 "BeginVisit y", "VisitShape b", "EndVisit y", "EndVisit group"}));
    visitor.prunedName = "group";
    group.Visit(&visitor);
    EXPECT_EQ(log.Take(), Lines({"BeginVisit group", "EndVisit group"}));
}

// ---- Component ----------------------------------------------------------------------------------

TEST(TqOcDynamicGroup, InitialisesWhatItDependsOn)
{
    WithoutComponents const none;
    EXPECT_FALSE(TqOcDynamicGroup::IsInitialised());
    TqOcDynamicGroup::Initialise();
    EXPECT_TRUE(TqOcDynamicGroup::IsInitialised());
    EXPECT_TRUE(TqOcTraversable::IsInitialised());
    EXPECT_TRUE(TqOcPrioritizedTraversal::IsInitialised());
    TqOcDynamicGroup::Initialise();
    TqOcDynamicGroup::Terminate();
    EXPECT_TRUE(TqOcDynamicGroup::IsInitialised());
    TqOcDynamicGroup::Terminate();
    EXPECT_FALSE(TqOcDynamicGroup::IsInitialised());
    EXPECT_FALSE(TqOcTraversable::IsInitialised());
}

// ---- Level set ----------------------------------------------------------------------------------

TEST(TqOcDynamicGroupLevelSet, KeepsTheOrderOfEnteringAndEmptySlots)
{
    TqOcDynamicGroup groups[3];
    TqOcDynamicGroupLevelSet set;
    EXPECT_EQ(set.GetCount(), 0);
    EXPECT_EQ(set.GetNumSlots(), 0);
    for (int const i : {2, 0, 1}) {
        set.Add(&groups[i]);
    }
    EXPECT_EQ(set.GetCount(), 3);
    EXPECT_EQ(set.GetSlot(0), &groups[2]);
    EXPECT_EQ(set.GetSlot(1), &groups[0]);
    EXPECT_EQ(set.GetSlot(2), &groups[1]);
    set.Remove(&groups[0]);
    set.Remove(&groups[0]);
    EXPECT_EQ(set.GetCount(), 2);
    EXPECT_EQ(set.GetNumSlots(), 3);
    EXPECT_EQ(set.GetSlot(1), nullptr);
    TqOcDynamicGroup stranger;
    set.Remove(&stranger);
    EXPECT_EQ(set.GetCount(), 2);
    set.Remove(&groups[1]);
    set.Remove(&groups[2]);
    EXPECT_EQ(set.GetCount(), 0);
}
