// The static containers and the single leaf: children and ownership, update of boxes and
// attributes, incremental insertion and removal of shapes.

#include "scenecull/TqOcStaticTraversable.h"

#include "support/AllocationCounter.h"
#include "support/Recorders.h"

#include "scenecull/TqOcRenderTraversal.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using Primitives = TqLPrimitiveTypes::Enum;

constexpr double eINFINITY = std::numeric_limits<double>::infinity();
constexpr double eNAN = std::numeric_limits<double>::quiet_NaN();

/// The static base by itself, with any node as a child.
class BareContainer : public TqOcStaticBase
{
public:
    using TqOcStaticBase::TqOcStaticBase;
};

using RecordingBase = RecordingNode<BareContainer>;

RecordingShape* NewShape(EventLog& log, std::string const& name,
                         TqLBox3f const& box = MakeCube(0, 0, 0, 1), unsigned int tris = 1)
{
    return new RecordingShape(&log, name, box, tris);
}

Lines ChildNames(EventLog const& log, TqOcTraversable& container)
{
    TqOcBaseTraversable* const* children = nullptr;
    int const count = container.GetChildren(&children);
    Lines names;
    for (int i = 0; i < count; ++i) {
        names.push_back(log.GetName(children[i]));
    }
    return names;
}

bool IsOnlyParent(TqOcBaseTraversable const& child, TqOcTraversable const* parent)
{
    return !child.HasMultipleParents() && child.GetSingleParent() == parent;
}

bool HasEmptyBox(TqOcTraversable const& node)
{
    return node.GetBoundingBox().GetMin()[0] > node.GetBoundingBox().GetMax()[0];
}

/// Attributes of one node as an update sees them.
struct Attributes
{
    unsigned int tris = 0;
    unsigned int primitives = 0;
    double scale = 1.0;
    bool hideRender = false;
    bool forceRender = false;
    bool ignoreClip = false;
    bool ignorePick = false;
};

void Put(Attributes const& attributes, TqOcBaseTraversable& node)
{
    node.UpdateTris(attributes.tris);
    node.UpdatePrimitives(static_cast<Primitives>(attributes.primitives));
    node.UpdateScale(attributes.scale);
    node.UpdateHideRender(attributes.hideRender ? 1 : 0);
    node.UpdateForceRender(attributes.forceRender ? 1 : 0);
    node.UpdateIgnoreClip(attributes.ignoreClip ? 1 : 0);
    node.UpdateIgnorePick(attributes.ignorePick ? 1 : 0);
}

void ExpectAttributes(Attributes const& attributes, TqOcBaseTraversable const& node)
{
    EXPECT_EQ(node.GetTris(), attributes.tris);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), attributes.primitives);
    EXPECT_EQ(node.GetScale(), attributes.scale);
    EXPECT_EQ(node.IsHideRender() != 0, attributes.hideRender);
    EXPECT_EQ(node.IsForceRender() != 0, attributes.forceRender);
    EXPECT_EQ(node.IsIgnoreClip() != 0, attributes.ignoreClip);
    EXPECT_EQ(node.IsIgnorePick() != 0, attributes.ignorePick);
}

Attributes const s_noChildren{0, 0, DBL_MAX, true, false, false, true};

} // namespace

// ---- Construction -------------------------------------------------------------------------------

TEST(TqOcStaticBase, StartsWithoutChildren)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    BareContainer container;
    EXPECT_EQ(container.GetNumChildren(), 0);
    EXPECT_EQ(container.GetModified(), 0u);
    EXPECT_FALSE(container.IsLeaf());
    EXPECT_FALSE(container.IsShape());
    EXPECT_TRUE(HasEmptyBox(container));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    TqOcBaseTraversable* const* children = nullptr;
    EXPECT_EQ(container.GetChildren(&children), 0);
}

TEST(TqOcStaticBase, TakesChildrenInArrayOrderAndIsTheirParent)
{
    EventLog log;
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    {
        RecordingTraversable other(&log, "other");
        RecordingShape* const a = NewShape(log, "a");
        RecordingShape* const b = NewShape(log, "b");
        b->SetSingleParent(&other);
        TqOcBaseTraversable* given[] = {a, b};
        std::size_t const before = TqUMemory::GetLiveBlocks();
        RecordingBase container(&log, "container", given, 2);
        EXPECT_EQ(container.GetNumChildren(), 2);
        EXPECT_EQ(container.GetChild(0), a);
        EXPECT_EQ(container.GetChild(1), b);
        EXPECT_EQ(std::as_const(container).GetChild(1), b);
        EXPECT_EQ(Hex(container.GetModified()), "0xff");
        EXPECT_TRUE(IsOnlyParent(*a, &container));
        ASSERT_TRUE(b->HasMultipleParents());
        EXPECT_EQ(b->GetMultipleParents()->Front(), &other);
        EXPECT_EQ(b->GetMultipleParents()->Back(), &container);
        EXPECT_GT(TqUMemory::GetLiveBlocks(), before);
        given[0] = nullptr; // the array was copied
        EXPECT_EQ(container.GetChild(0), a);
        TqOcBaseTraversable* const* children = nullptr;
        EXPECT_EQ(container.GetChildren(&children), 2);
        EXPECT_NE(children, given);
        EXPECT_EQ(children[0], a);
        EXPECT_EQ(children[1], b);
        b->RemoveParent(&other);
    }
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
}

TEST(TqOcStaticBase, KeepsAnArrayOfExactlyItsChildren)
{
    EventLog log;
    RecordingShape* const a = NewShape(log, "a");
    RecordingShape* const b = NewShape(log, "b");
    RecordingShape* const c = NewShape(log, "c");
    BareContainer container;
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    container.AddChild(a);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes + sizeof(void*));
    container.AddChild(b);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes + 2 * sizeof(void*));
    container.AddChild(c);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes + 3 * sizeof(void*));
    std::unique_ptr<TqOcBaseTraversable> const removed(container.RemoveChild(1));
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes + 2 * sizeof(void*));
    TqOcBaseTraversable* const first = container.RemoveChild(0);
    TqOcBaseTraversable* const last = container.RemoveChild(0);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes); // no array at all
    delete first;
    delete last;
}

TEST(TqOcStaticBase, TakesNoArrayForNoChildren)
{
    PostedErrors posted;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    BareContainer container(nullptr, 0);
    EXPECT_EQ(container.GetNumChildren(), 0);
    EXPECT_EQ(Hex(container.GetModified()), "0xff");
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    TqOcBaseTraversable* none[] = {nullptr};
    container.SetChildren(none, 0);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(posted.AsLines(), Lines{});
}

TEST(TqOcStaticBase, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<TqOcStaticBase>);
    static_assert(!std::is_copy_assignable_v<TqOcStaticBase>);
    static_assert(!std::is_copy_constructible_v<TqOcStaticGroup>);
    static_assert(!std::is_copy_assignable_v<TqOcStaticGroup>);
    static_assert(!std::is_copy_constructible_v<TqOcStaticLeaf>);
    static_assert(!std::is_copy_assignable_v<TqOcStaticLeaf>);
}

TEST(TqOcStaticBase, DoesNothingInOperationsThatOnlyGroupsAndLeavesHave)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "shape"));
    RecordingShape stranger(&log, "stranger", MakeCube(0, 0, 0, 1));
    log.Clear();
    EXPECT_EQ(container.Prioritized(nullptr, nullptr), TqOcBaseTraversable::eFINISHED);
    container.AddShape(&stranger);
    container.RemoveShape(&stranger);
    EXPECT_EQ(ChildNames(log, container), (Lines{"shape"}));
    EXPECT_FALSE(stranger.HasParent());
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcStaticGroup, IsNoLeaf)
{
    TqOcStaticGroup const empty;
    EXPECT_FALSE(empty.IsLeaf());
    EXPECT_FALSE(empty.IsShape());
    EXPECT_EQ(empty.GetModified(), 0u);
    TqOcStaticGroup const filled(nullptr, 0);
    EXPECT_FALSE(filled.IsLeaf());
    EXPECT_EQ(Hex(filled.GetModified()), "0xff");
}

TEST(TqOcStaticLeaf, IsALeafFromEveryConstructor)
{
    TqOcStaticLeaf const empty;
    EXPECT_TRUE(empty.IsLeaf());
    EXPECT_FALSE(empty.IsShape());
    EXPECT_EQ(empty.GetModified(), 0u);
    TqOcStaticLeaf const filled(nullptr, 0);
    EXPECT_TRUE(filled.IsLeaf());
    EXPECT_FALSE(filled.IsShape());
    EXPECT_EQ(Hex(filled.GetModified()), "0xff");
}

TEST(TqOcStaticGroup, HandsOutItsChildrenAsContainers)
{
    EventLog log;
    auto* const a = new RecordingLeaf(&log, "a");
    auto* const b = new RecordingGroup(&log, "b");
    TqOcTraversable* given[] = {a, b};
    RecordingGroup group(&log, "group", given, 2);
    EXPECT_EQ(group.GetChild(0), a);
    EXPECT_EQ(std::as_const(group).GetChild(1), b);
    EXPECT_TRUE(IsOnlyParent(*a, &group));
    TqOcTraversable* const removed = group.RemoveChild(0);
    EXPECT_EQ(removed, a);
    group.AddChild(removed);
    EXPECT_EQ(ChildNames(log, group), (Lines{"b", "a"}));
    TqOcTraversable* swapped[] = {new RecordingLeaf(&log, "c")};
    log.Clear();
    group.SetChildren(swapped, 1);
    EXPECT_EQ(ChildNames(log, group), (Lines{"c"}));
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete b", "Delete a"}));
}

TEST(TqOcStaticLeaf, HandsOutItsChildrenAsShapes)
{
    EventLog log;
    RecordingShape* const a = NewShape(log, "a");
    RecordingShape* const b = NewShape(log, "b");
    TqOcShape* given[] = {a, b};
    RecordingLeaf leaf(&log, "leaf", given, 2);
    EXPECT_EQ(leaf.GetChild(0), a);
    EXPECT_EQ(std::as_const(leaf).GetChild(1), b);
    EXPECT_TRUE(IsOnlyParent(*a, &leaf));
    TqOcShape* const removed = leaf.RemoveChild(0);
    EXPECT_EQ(removed, a);
    leaf.AddChild(removed);
    EXPECT_EQ(ChildNames(log, leaf), (Lines{"b", "a"}));
    TqOcShape* swapped[] = {NewShape(log, "c")};
    log.Clear();
    leaf.SetChildren(swapped, 1);
    EXPECT_EQ(ChildNames(log, leaf), (Lines{"c"}));
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete b", "Delete a"}));
}

// ---- Replacing children -------------------------------------------------------------------------

TEST(TqOcStaticBase, UnlinksAllOldChildrenButDeletesOnlyUnownedOnesInSetChildren)
{
    EventLog log;
    RecordingShape owned(&log, "owned", MakeCube(0, 0, 0, 1));
    owned.SetUserOwned(1);
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "first"));
    container.AddChild(&owned);
    container.AddChild(NewShape(log, "last"));
    log.Clear();
    TqOcBaseTraversable* next[] = {NewShape(log, "next")};
    container.SetModified(0);
    container.SetChildren(next, 1);
    EXPECT_EQ(log.Take(), (Lines{"Delete first", "Delete last", "Notify container 0xff"}));
    EXPECT_FALSE(owned.HasParent());
    EXPECT_EQ(ChildNames(log, container), (Lines{"next"}));
    EXPECT_TRUE(IsOnlyParent(*next[0], &container));
    EXPECT_EQ(Hex(container.GetModified()), "0xff");
}

TEST(TqOcStaticBase, ReturnsTheArrayOfItsOldChildren)
{
    EventLog log;
    BareContainer container;
    container.AddChild(NewShape(log, "a"));
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    for (int i = 0; i < 3; ++i) {
        TqOcBaseTraversable* next[] = {NewShape(log, "next")};
        container.SetChildren(next, 1);
        EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
        container.BeginSet(1);
        container.PartSet(0, NewShape(log, "part"));
        container.EndSet();
        EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
    }
}

TEST(TqOcStaticBase, TellsItsParentsThatChildrenWereReplaced)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BareContainer container;
    container.SetSingleParent(&parent);
    TqOcBaseTraversable* next[] = {NewShape(log, "next")};
    container.SetChildren(next, 1);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0xff"}));
    container.SetSingleParent(nullptr);
}

TEST(TqOcStaticBase, BecomesEmptyWhenItIsGivenNoChildren)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "a"));
    log.Clear();
    container.SetChildren(nullptr, 0);
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete a"}));
    EXPECT_EQ(container.GetNumChildren(), 0);
    container.SetChildren(nullptr, 0);
    EXPECT_EQ(container.GetNumChildren(), 0);
}

TEST(TqOcStaticBase, IsFilledPieceByPieceBetweenBeginAndEnd)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "old"));
    container.SetModified(0);
    log.Clear();
    container.BeginSet(2);
    EXPECT_EQ(log.Take(), (Lines{"Delete old"}));
    EXPECT_EQ(container.GetNumChildren(), 2);
    RecordingShape* const a = NewShape(log, "a");
    RecordingShape* const b = NewShape(log, "b");
    container.PartSet(1, b);
    container.PartSet(0, a);
    EXPECT_FALSE(a->HasParent());
    EXPECT_FALSE(b->HasParent());
    EXPECT_EQ(container.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
    container.EndSet();
    EXPECT_EQ(log.Take(), (Lines{"Notify container 0xff"}));
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    EXPECT_TRUE(IsOnlyParent(*a, &container));
    EXPECT_TRUE(IsOnlyParent(*b, &container));
}

TEST(TqOcStaticBase, LinksChildrenInArrayOrderAtTheEndOfASet)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape");
    auto* const first = new RecordingGroup(&log, "first");
    BareContainer container;
    container.BeginSet(2);
    container.PartSet(0, shape);
    container.PartSet(1, first);
    container.EndSet();
    EXPECT_TRUE(IsOnlyParent(*shape, &container));
    EXPECT_TRUE(IsOnlyParent(*first, &container));
}

TEST(TqOcStaticBase, CanBeSetToNothingInTwoPhases)
{
    EventLog log;
    PostedErrors posted;
    RecordingBase container(&log, "container");
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    container.BeginSet(0);
    container.EndSet();
    EXPECT_EQ(posted.AsLines(), Lines{});
    EXPECT_EQ(container.GetNumChildren(), 0);
    EXPECT_EQ(log.Take(), (Lines{"Notify container 0xff"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcStaticGroup, IsFilledPieceByPieceWithContainers)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.BeginSet(1);
    group.PartSet(0, new RecordingLeaf(&log, "leaf"));
    group.EndSet();
    EXPECT_EQ(ChildNames(log, group), (Lines{"leaf"}));
    EXPECT_TRUE(IsOnlyParent(*group.GetChild(0), &group));
}

TEST(TqOcStaticLeaf, IsFilledPieceByPieceWithShapes)
{
    EventLog log;
    RecordingLeaf leaf(&log, "leaf");
    leaf.BeginSet(1);
    leaf.PartSet(0, NewShape(log, "shape"));
    leaf.EndSet();
    EXPECT_EQ(ChildNames(log, leaf), (Lines{"shape"}));
    EXPECT_TRUE(IsOnlyParent(*leaf.GetChild(0), &leaf));
}

// ---- Single children ----------------------------------------------------------------------------

TEST(TqOcStaticBase, AppendsAnAddedChildAndNotifies)
{
    EventLog log;
    RecordingBase container(&log, "container");
    RecordingShape* const a = NewShape(log, "a");
    container.AddChild(a);
    EXPECT_EQ(log.Take(), (Lines{"Notify container 0xff"}));
    EXPECT_TRUE(IsOnlyParent(*a, &container));
    container.AddChild(NewShape(log, "b"));
    container.AddChild(NewShape(log, "c"));
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b", "c"}));
    EXPECT_EQ(Hex(container.GetModified()), "0xff");
    EXPECT_EQ(a->GetModified(), 0u);
}

TEST(TqOcStaticBase, FindsTheFirstPositionOfAChild)
{
    EventLog log;
    BareContainer container;
    RecordingShape* const a = NewShape(log, "a");
    RecordingShape* const b = NewShape(log, "b");
    container.AddChild(a);
    container.AddChild(b);
    container.AddChild(b);
    EXPECT_EQ(container.FindChild(a), 0);
    EXPECT_EQ(container.FindChild(b), 1);
}

TEST(TqOcStaticBase, FindsNoPositionOfANodeThatIsNotItsChild)
{
    EventLog log;
    RecordingShape stranger(&log, "stranger", MakeCube(0, 0, 0, 1));
    BareContainer container;
    EXPECT_EQ(container.FindChild(&stranger), -1);
    EXPECT_EQ(container.FindChild(nullptr), -1);
    container.AddChild(NewShape(log, "a"));
    EXPECT_EQ(container.FindChild(&stranger), -1);
    EXPECT_EQ(container.FindChild(nullptr), -1);
}

TEST(TqOcStaticBase, RemovesAChildWithoutDeletingIt)
{
    struct Case
    {
        int removed;
        char const* name;
        Lines left;
    };

    Case const cases[] = {{0, "a", {"b", "c"}}, {1, "b", {"a", "c"}}, {2, "c", {"a", "b"}}};
    for (Case const& one : cases) {
        SCOPED_TRACE(one.removed);
        EventLog log;
        RecordingBase container(&log, "container");
        for (char const* name : {"a", "b", "c"}) {
            container.AddChild(NewShape(log, name));
        }
        container.SetModified(0);
        log.Clear();
        TqOcBaseTraversable* const removed = container.RemoveChild(one.removed);
        EXPECT_EQ(log.Take(), (Lines{"Notify container 0xff"}));
        EXPECT_EQ(log.GetName(removed), one.name);
        EXPECT_FALSE(removed->HasParent());
        EXPECT_EQ(ChildNames(log, container), one.left);
        delete removed;
    }
}

TEST(TqOcStaticBase, LetsAnIndexOutOfRangeRemoveNothing)
{
    EventLog log;
    PostedErrors posted;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "a"));
    log.Clear();
    for (int index : {-1, 1, 100}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(container.RemoveChild(index), nullptr);
        container.DeleteChild(index);
    }
    EXPECT_EQ(ChildNames(log, container), (Lines{"a"}));
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_GE(posted.Size(), 6);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcStaticBase");
}

TEST(TqOcStaticBase, DeletesAChildThatNothingElseOwns)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "a"));
    container.AddChild(NewShape(log, "b"));
    log.Clear();
    container.DeleteChild(0);
    EXPECT_EQ(log.Take(), (Lines{"Notify container 0xff", "Delete a"}));
    EXPECT_EQ(ChildNames(log, container), (Lines{"b"}));
}

TEST(TqOcStaticBase, SparesAUserOwnedChildThatIsDeleted)
{
    EventLog log;
    RecordingShape owned(&log, "owned", MakeCube(0, 0, 0, 1));
    owned.SetUserOwned(1);
    RecordingBase container(&log, "container");
    container.AddChild(&owned);
    container.DeleteChild(0);
    EXPECT_EQ(log.Count("Delete"), 0);
    EXPECT_FALSE(owned.HasParent());
    EXPECT_EQ(container.GetNumChildren(), 0);
}

TEST(TqOcStaticBase, SparesADeletedChildThatStillHasAParent)
{
    EventLog log;
    RecordingShape* const shared = NewShape(log, "shared");
    RecordingBase first(&log, "first");
    RecordingBase second(&log, "second");
    first.AddChild(shared);
    second.AddChild(shared);
    first.DeleteChild(0);
    EXPECT_EQ(log.Count("Delete"), 0);
    EXPECT_TRUE(IsOnlyParent(*shared, &second));
}

TEST(TqOcStaticBase, LeavesFormerChildrenPointingAtItWhenItIsResetForACallerThatHandlesThem)
{
    EventLog log;
    RecordingShape* const a = NewShape(log, "a");
    RecordingShape* const b = NewShape(log, "b");
    RecordingBase container(&log, "container");
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    container.AddChild(a);
    container.AddChild(b);
    container.SetModified(0);
    log.Clear();
    container.ResetToEmptyCallerHandlesChildren();
    EXPECT_EQ(container.GetNumChildren(), 0);
    EXPECT_TRUE(IsOnlyParent(*a, &container));
    EXPECT_TRUE(IsOnlyParent(*b, &container));
    EXPECT_EQ(container.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
    TqOcBaseTraversable* const* children = nullptr;
    EXPECT_EQ(container.GetChildren(&children), 0);
    container.ResetToEmptyCallerHandlesChildren();
    delete a;
    delete b;
}

// ---- Ownership at the end -----------------------------------------------------------------------

TEST(TqOcStaticBase, DeletesItsChildrenInArrayOrderWhenDestroyed)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        BareContainer container;
        container.AddChild(NewShape(log, "a"));
        container.AddChild(NewShape(log, "b"));
        container.AddChild(NewShape(log, "c"));
        log.Clear();
    }
    EXPECT_EQ(log.Take(), (Lines{"Delete a", "Delete b", "Delete c"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcStaticGroup, KeepsUserOwnedChildWhenDeleted)
{
    EventLog log;
    RecordingLeaf leaf(&log, "leaf");
    leaf.SetUserOwned(1);
    {
        TqOcStaticGroup group;
        group.AddChild(&leaf);
    }
    EXPECT_EQ(log.Count("Delete"), 0);
    EXPECT_FALSE(leaf.HasParent());
}

TEST(TqOcStaticBase, SharesAChildThatGoesWithTheLastOfItsContainers)
{
    EventLog log;
    RecordingShape* const shared = NewShape(log, "shared");
    auto first = std::make_unique<BareContainer>();
    auto second = std::make_unique<BareContainer>();
    first->AddChild(shared);
    second->AddChild(shared);
    ASSERT_TRUE(shared->HasMultipleParents());
    first.reset();
    EXPECT_EQ(log.Count("Delete"), 0);
    EXPECT_TRUE(IsOnlyParent(*shared, second.get()));
    second.reset();
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete shared"}));
}

TEST(TqOcStaticBase, DeletesAChildListedTwiceOnce)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        BareContainer container;
        RecordingShape* const shape = NewShape(log, "shape");
        container.AddChild(shape);
        container.AddChild(shape);
        EXPECT_TRUE(shape->HasMultipleParents());
    }
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete shape"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcStaticGroup, DeletesAWholeHierarchyWithItsRoot)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        auto* const leaf = new RecordingLeaf(&log, "leaf");
        leaf->AddChild(NewShape(log, "a"));
        auto* const inner = new RecordingGroup(&log, "inner");
        inner->AddChild(leaf);
        inner->AddChild(new RecordingSingleLeaf(&log, "single", NewShape(log, "b")));
        RecordingGroup root(&log, "root");
        root.AddChild(inner);
        log.Clear();
    }
    // A recorder's own line comes before the children that its base lets go.
    EXPECT_EQ(log.Take(), (Lines{"Delete root", "Delete inner", "Delete leaf", "Delete a",
                                 "Delete single", "Delete b"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

// ---- Update of attributes -----------------------------------------------------------------------

TEST(TqOcStaticBase, AggregatesTheAttributesOfItsChildren)
{
    struct Case
    {
        char const* name;
        std::vector<Attributes> children;
        Attributes expected;
    };

    Case const cases[] = {
        {"no children", {}, s_noChildren},
        {"one plain child", {{3, 1, 1.0}}, {3, 1, 1.0}},
        {"sums, unions and the smallest scale",
         {{3, 1, 2.0}, {4, 16, 0.5}, {5, 3, 7.0}},
         {12, 19, 0.5}},
        {"scales are not capped at one", {{0, 0, 4.0}, {0, 0, 3.0}}, {0, 0, 3.0}},
        {"negative scale", {{0, 0, -4.0}, {0, 0, 3.0}}, {0, 0, -4.0}},
        {"triangle sums wrap at 32 bits", {{0xFFFFFFFFu, 0, 1.0}, {3, 0, 1.0}}, {2, 0, 1.0}},
        {"hidden only while every child is",
         {{0, 0, 1.0, true}, {0, 0, 1.0, false}},
         {0, 0, 1.0, false}},
        {"hidden with all children", {{0, 0, 1.0, true}, {0, 0, 1.0, true}}, {0, 0, 1.0, true}},
        {"forced by any child",
         {{0, 0, 1.0, false, false}, {0, 0, 1.0, false, true}},
         {0, 0, 1.0, false, true}},
        {"unclipped by any child",
         {{0, 0, 1.0, false, false, true}, {0, 0, 1.0, false, false, false}},
         {0, 0, 1.0, false, false, true}},
        {"picked while any child is",
         {{0, 0, 1.0, false, false, false, true}, {0, 0, 1.0, false, false, false, false}},
         {0, 0, 1.0, false, false, false, false}},
        {"ignored by picking with all children",
         {{0, 0, 1.0, false, false, false, true}, {0, 0, 1.0, false, false, false, true}},
         {0, 0, 1.0, false, false, false, true}},
        {"hidden children count all the same",
         {{100, 8, 0.25, true, true, true, false}, {1, 1, 1.0}},
         {101, 9, 0.25, false, true, true, false}},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        EventLog log;
        TqOcStaticLeaf leaf;
        TqOcStaticGroup group;
        for (Attributes const& attributes : one.children) {
            RecordingShape* const shape = NewShape(log, "shape");
            Put(attributes, *shape);
            leaf.AddChild(shape);
            auto* const child = new PlainTraversable;
            Put(attributes, *child);
            group.AddChild(child);
        }
        leaf.SetModified(0xFF);
        leaf.Update();
        ExpectAttributes(one.expected, leaf);
        EXPECT_EQ(leaf.GetModified(), 0u);
        group.SetModified(0xFF);
        group.Update();
        ExpectAttributes(one.expected, group);
        EXPECT_EQ(group.GetModified(), 0u);
    }
}

TEST(TqOcStaticBase, EndsAnUpdateWithoutChildrenHiddenAndPickIgnoredAtTheLargestScale)
{
    TqOcStaticGroup group(nullptr, 0);
    group.Update();
    EXPECT_EQ(group.GetScale(), DBL_MAX);
    EXPECT_EQ(group.GetTris(), 0u);
    EXPECT_TRUE(group.IsHideRender());
    EXPECT_TRUE(group.IsIgnorePick());
    EXPECT_FALSE(group.IsForceRender());
    EXPECT_FALSE(group.IsIgnoreClip());
    EXPECT_EQ(static_cast<unsigned int>(group.GetPrimitives()), 0u);
    EXPECT_TRUE(HasEmptyBox(group));
}

TEST(TqOcStaticBase, AggregatesWhicheverBitIsModified)
{
    for (unsigned int bit = 1; bit <= 0x8000; bit <<= 1) {
        SCOPED_TRACE(bit);
        EventLog log;
        TqOcStaticLeaf leaf;
        leaf.AddChild(NewShape(log, "shape", MakeCube(0, 0, 0, 1), 5));
        leaf.SetModified(bit);
        leaf.Update();
        EXPECT_EQ(leaf.GetTris(), 5u);
        EXPECT_EQ(leaf.GetModified(), 0u);
        EXPECT_EQ(HasEmptyBox(leaf), bit != 0x01);
    }
}

TEST(TqOcStaticBase, KeepsItsOtherFlagsInAnUpdate)
{
    EventLog log;
    RecordingTraversable a(&log, "a");
    RecordingTraversable b(&log, "b");
    TqOcStaticLeaf leaf;
    leaf.AddChild(NewShape(log, "shape"));
    leaf.AddParent(&a);
    leaf.AddParent(&b);
    leaf.SetUserOwned(1);
    leaf.SetTraversed();
    leaf.SetFrameId(5);
    leaf.SetHysteresisId(6);
    log.Clear();
    leaf.SetModified(0xFFFF);
    leaf.Update();
    EXPECT_TRUE(leaf.IsLeaf());
    EXPECT_FALSE(leaf.IsShape());
    EXPECT_TRUE(leaf.IsUserOwned());
    EXPECT_TRUE(leaf.IsTraversed());
    EXPECT_TRUE(leaf.HasMultipleParents());
    EXPECT_EQ(leaf.GetFrameId(), 5u);
    EXPECT_EQ(leaf.GetHysteresisId(), 6u);
    EXPECT_EQ(log.Take(), Lines{}); // an update notifies nobody
    leaf.RemoveParent(&a);
    leaf.RemoveParent(&b);
}

TEST(TqOcStaticBase, OverwritesItsOwnSwitchesFromItsChildren)
{
    EventLog log;
    TqOcStaticLeaf leaf;
    leaf.AddChild(NewShape(log, "shape"));
    leaf.Update();
    leaf.SetHideRender(1);
    leaf.SetForceRender(1);
    leaf.SetIgnoreClip(1);
    leaf.SetIgnorePick(1);
    leaf.SetScale(9.0);
    leaf.SetTris(9);
    leaf.Update();
    ExpectAttributes({1, 1, 1.0}, leaf);
}

TEST(TqOcStaticBase, UpdatesModifiedChildrenFirstAndOnlyThose)
{
    EventLog log;
    auto* const fresh = new RecordingTraversable(&log, "fresh");
    auto* const changed = new RecordingTraversable(&log, "changed");
    auto* const inner = new RecordingGroup(&log, "inner");
    inner->AddChild(changed);
    RecordingGroup root(&log, "root");
    root.AddChild(fresh);
    root.AddChild(inner);
    root.Update();
    log.Clear();
    changed->SetTris(7);
    EXPECT_EQ(log.Take(), (Lines{"Notify changed 0x4", "Notify inner 0x4", "Notify root 0x4"}));
    root.Update();
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "DoUpdate inner", "DoUpdate changed"}));
    EXPECT_EQ(inner->GetTris(), 7u);
    EXPECT_EQ(root.GetTris(), 7u);
    EXPECT_EQ(changed->GetModified(), 0u);
    EXPECT_EQ(inner->GetModified(), 0u);
    EXPECT_EQ(root.GetModified(), 0u);
    root.Update();
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcStaticBase, UpdatesItsChildrenInArrayOrder)
{
    EventLog log;
    RecordingGroup root(&log, "root");
    for (char const* name : {"a", "b", "c"}) {
        auto* const child = new RecordingTraversable(&log, name);
        child->SetModified(0x02);
        root.AddChild(child);
    }
    log.Clear();
    root.Update();
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "DoUpdate a", "DoUpdate b", "DoUpdate c"}));
}

TEST(TqOcStaticBase, ClearsTheMasksOfModifiedShapes)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape");
    TqOcStaticLeaf leaf;
    leaf.AddChild(shape);
    shape->SetTris(9);
    EXPECT_EQ(Hex(shape->GetModified()), "0x4");
    leaf.Update();
    EXPECT_EQ(shape->GetModified(), 0u);
    EXPECT_EQ(leaf.GetTris(), 9u);
}

// ---- Update of boxes ----------------------------------------------------------------------------

TEST(TqOcStaticBase, EnclosesTheBoxesOfItsShapesAskedForWithEmptyBoxes)
{
    EventLog log;
    RecordingShape* const a = NewShape(log, "a", MakeBox(0, 0, 0, 1, 1, 1));
    RecordingShape* const b = NewShape(log, "b", MakeBox(-2, 0.25, 3, 0.5, 0.75, 4));
    a->SetLogsBoxes(true);
    b->SetLogsBoxes(true);
    TqOcStaticLeaf leaf;
    leaf.AddChild(a);
    leaf.AddChild(b);
    log.Clear();
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(-2, 0, 0, 1, 1, 4));
    EXPECT_EQ(log.Take(), (Lines{"GetShapeBox a", "GetShapeBox b"}));
    EXPECT_TRUE(a->GotOnlyEmptyBoxes());
    EXPECT_TRUE(b->GotOnlyEmptyBoxes());
}

TEST(TqOcStaticBase, EnclosesTheBoxesOfItsContainers)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    auto* const a =
        new PlainTraversable(MakeBox(0, 0, 0, 1, 1, 1), 1.0, 0, TqLPrimitiveTypes::eNONE);
    auto* const b =
        new PlainTraversable(MakeBox(5, -5, 0, 6, 0, 0.5), 1.0, 0, TqLPrimitiveTypes::eNONE);
    group.AddChild(a);
    group.AddChild(b);
    group.Update();
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(0, -5, 0, 6, 1, 1));
}

TEST(TqOcStaticBase, MixesShapesAndContainersAsChildren)
{
    EventLog log;
    BareContainer container;
    container.AddChild(NewShape(log, "shape", MakeBox(0, 0, 0, 1, 1, 1), 2));
    container.AddChild(
        new PlainTraversable(MakeBox(2, 2, 2, 3, 3, 3), 1.0, 5, TqLPrimitiveTypes::eLINES));
    container.Update();
    EXPECT_EQ(container.GetBoundingBox(), MakeBox(0, 0, 0, 3, 3, 3));
    ExpectAttributes({7, 3, 1.0}, container);
}

TEST(TqOcStaticBase, ShrinksItsBoxWhenAChildMovesIn)
{
    EventLog log;
    auto* const child =
        new PlainTraversable(MakeBox(0, 0, 0, 9, 9, 9), 1.0, 0, TqLPrimitiveTypes::eNONE);
    TqOcStaticGroup group;
    group.AddChild(child);
    group.Update();
    child->SetBoundingBox(MakeBox(1, 1, 1, 2, 2, 2));
    EXPECT_EQ(Hex(group.GetModified()), "0x1");
    group.Update();
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(1, 1, 1, 2, 2, 2));
}

TEST(TqOcStaticBase, LeavesItsBoxAloneWhileTheBoxBitIsClear)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape", MakeBox(0, 0, 0, 1, 1, 1));
    TqOcStaticLeaf leaf;
    leaf.AddChild(shape);
    leaf.Update();
    shape->SetBox(MakeBox(0, 0, 0, 9, 9, 9));
    int const calls = shape->GetNumBoxCalls();
    shape->SetTris(4);
    leaf.Update();
    EXPECT_EQ(leaf.GetTris(), 4u);
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(shape->GetNumBoxCalls(), calls);
}

TEST(TqOcStaticBase, RebuildsItsBoxFromChildrenThatAreNotModified)
{
    EventLog log;
    RecordingLeaf leaf(&log, "leaf");
    leaf.AddChild(NewShape(log, "a", MakeBox(0, 0, 0, 1, 1, 1)));
    leaf.AddChild(NewShape(log, "b", MakeBox(2, 2, 2, 3, 3, 3)));
    leaf.UpdateBoundingBox(MakeBox(-100, -100, -100, 100, 100, 100));
    leaf.SetModified(0x01);
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(0, 0, 0, 3, 3, 3));
}

TEST(TqOcStaticBase, EndsWithAnEmptyBoxWithoutChildrenIfItWasRebuilt)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.UpdateBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    group.SetModified(0x02);
    group.Update();
    EXPECT_EQ(group.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    ExpectAttributes(s_noChildren, group);
    group.SetModified(0x01);
    group.Update();
    EXPECT_TRUE(HasEmptyBox(group));
    ExpectAttributes(s_noChildren, group);
}

TEST(TqOcStaticBase, LetsOneBadBoxSpoilNoOther)
{
    EventLog log;
    TqOcStaticLeaf leaf;
    leaf.AddChild(NewShape(log, "nan", MakeBox(eNAN, eNAN, eNAN, eNAN, eNAN, eNAN)));
    leaf.AddChild(NewShape(log, "good", MakeBox(0, 0, 0, 1, 1, 1)));
    leaf.AddChild(NewShape(log, "half", MakeBox(-1, eNAN, 0, 2, eNAN, 1)));
    TqLBox3f empty;
    empty.MakeEmpty();
    leaf.AddChild(NewShape(log, "empty", empty));
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(-1, 0, 0, 2, 1, 1));
    EXPECT_EQ(leaf.GetTris(), 4u);
    EXPECT_EQ(leaf.GetModified(), 0u);
}

TEST(TqOcStaticBase, TakesInfiniteBoxesAsTheyAre)
{
    EventLog log;
    TqOcStaticLeaf leaf;
    leaf.AddChild(
        NewShape(log, "plane", MakeBox(-eINFINITY, -eINFINITY, 0, eINFINITY, eINFINITY, 0)));
    leaf.AddChild(NewShape(log, "good", MakeBox(0, 0, -1, 1, 1, 1)));
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(-eINFINITY, -eINFINITY, -1, eINFINITY, eINFINITY, 1));
}

// ---- Single leaf --------------------------------------------------------------------------------

TEST(TqOcSingleLeaf, HoldsItsShapeAndIsItsParent)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape");
    RecordingSingleLeaf leaf(&log, "leaf", shape);
    EXPECT_TRUE(leaf.IsLeaf());
    EXPECT_FALSE(leaf.IsShape());
    EXPECT_EQ(Hex(leaf.GetModified()), "0xff");
    EXPECT_EQ(leaf.GetShape(), shape);
    EXPECT_EQ(std::as_const(leaf).GetShape(), shape);
    EXPECT_TRUE(IsOnlyParent(*shape, &leaf));
    EXPECT_TRUE(HasEmptyBox(leaf));
    TqOcBaseTraversable* const* children = nullptr;
    EXPECT_EQ(leaf.GetChildren(&children), 1);
    EXPECT_EQ(children[0], shape);
}

TEST(TqOcSingleLeaf, TakesAttributesAndBoxOfItsShape)
{
    Attributes const all{12, 5, 0.5, true, true, true, true};
    Attributes const none{7, 2, 3.0, false, false, false, false};
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape", MakeBox(1, 2, 3, 4, 5, 6));
    Put(all, *shape);
    TqOcSingleLeaf leaf(shape);
    leaf.SetUserOwned(1);
    leaf.Update();
    ExpectAttributes(all, leaf);
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(shape->GotOnlyEmptyBoxes());
    EXPECT_EQ(leaf.GetModified(), 0u);
    EXPECT_TRUE(leaf.IsLeaf());
    EXPECT_TRUE(leaf.IsUserOwned());
    EXPECT_FALSE(leaf.IsShape());
    Put(none, *shape);
    leaf.SetModified(0x02);
    leaf.Update();
    ExpectAttributes(none, leaf);
}

TEST(TqOcSingleLeaf, UpdatesAModifiedShapeFirst)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape");
    TqOcSingleLeaf leaf(shape);
    leaf.Update();
    shape->SetTris(77);
    EXPECT_EQ(Hex(leaf.GetModified()), "0x4");
    leaf.Update();
    EXPECT_EQ(shape->GetModified(), 0u);
    EXPECT_EQ(leaf.GetTris(), 77u);
    EXPECT_EQ(leaf.GetModified(), 0u);
}

TEST(TqOcSingleLeaf, LeavesItsBoxAloneWhileTheBoxBitIsClear)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape", MakeBox(0, 0, 0, 1, 1, 1));
    TqOcSingleLeaf leaf(shape);
    leaf.Update();
    shape->SetBox(MakeBox(0, 0, 0, 2, 2, 2));
    int const calls = shape->GetNumBoxCalls();
    leaf.SetModified(0xFE);
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(shape->GetNumBoxCalls(), calls);
    leaf.SetModified(0x01);
    leaf.Update();
    EXPECT_EQ(leaf.GetBoundingBox(), MakeBox(0, 0, 0, 2, 2, 2));
}

TEST(TqOcSingleLeaf, ReplacesItsShapeWithoutTouchingParentLinks)
{
    EventLog log;
    RecordingShape* const before = NewShape(log, "before");
    RecordingShape* const after = NewShape(log, "after");
    RecordingSingleLeaf leaf(&log, "leaf", before);
    leaf.SetModified(0);
    leaf.SetShape(after);
    EXPECT_EQ(log.Take(), (Lines{"Notify leaf 0xff"}));
    EXPECT_EQ(leaf.GetShape(), after);
    EXPECT_TRUE(IsOnlyParent(*before, &leaf));
    EXPECT_FALSE(after->HasParent());
    before->RemoveParent(&leaf);
    after->AddParent(&leaf);
    delete before;
}

TEST(TqOcSingleLeaf, DeletesItsShapeWithItself)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    delete new TqOcSingleLeaf(NewShape(log, "shape"));
    EXPECT_EQ(log.Take(), (Lines{"Delete shape"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcSingleLeaf, SparesAUserOwnedShape)
{
    EventLog log;
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    shape.SetUserOwned(1);
    delete new TqOcSingleLeaf(&shape);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_FALSE(shape.HasParent());
}

TEST(TqOcSingleLeaf, SparesAShapeThatAnotherContainerHolds)
{
    EventLog log;
    RecordingShape* const shape = NewShape(log, "shape");
    TqOcStaticLeaf other;
    other.AddChild(shape);
    delete new TqOcSingleLeaf(shape);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_TRUE(IsOnlyParent(*shape, &other));
}

TEST(TqOcSingleLeaf, CopiesMemberwiseWithoutTouchingTheShape)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    RecordingShape second(&log, "second", MakeCube(0, 0, 0, 1));
    shape.SetUserOwned(1);
    second.SetUserOwned(1);
    TqOcSingleLeaf leaf(&shape);
    leaf.SetSingleParent(&parent);
    leaf.SetHysteresisId(4);
    leaf.Update();
    {
        TqOcSingleLeaf const copy(leaf);
        EXPECT_EQ(copy.GetShape(), &shape);
        EXPECT_EQ(copy.GetSingleParent(), &parent);
        EXPECT_EQ(copy.GetHysteresisId(), 4u);
        EXPECT_EQ(copy.GetBoundingBox(), leaf.GetBoundingBox());
        EXPECT_TRUE(copy.IsLeaf());
        EXPECT_TRUE(IsOnlyParent(shape, &leaf));
        shape.AddParent(const_cast<TqOcSingleLeaf*>(&copy)); // whoever copies maintains the links
    }
    EXPECT_TRUE(IsOnlyParent(shape, &leaf));
    TqOcSingleLeaf assigned(&second);
    assigned = leaf;
    EXPECT_EQ(assigned.GetShape(), &shape);
    EXPECT_TRUE(IsOnlyParent(second, &assigned));
    EXPECT_TRUE(IsOnlyParent(shape, &leaf));
    shape.AddParent(&assigned);
    second.RemoveParent(&assigned);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcSingleLeaf, DrawsNothingInThePlainWalk)
{
    EventLog log;
    TqOcSingleLeaf leaf(NewShape(log, "shape"));
    leaf.Update();
    leaf.Render(nullptr);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(leaf.GetShape()->GetFrameId(), 0u);
}

TEST(TqOcSingleLeaf, DoesNothingWhenShapesAreAddedOrRemoved)
{
    EventLog log;
    RecordingShape stranger(&log, "stranger", MakeCube(0, 0, 0, 1));
    RecordingSingleLeaf leaf(&log, "leaf", NewShape(log, "shape"));
    leaf.SetModified(0);
    leaf.AddShape(&stranger);
    leaf.RemoveShape(leaf.GetShape());
    EXPECT_FALSE(stranger.HasParent());
    EXPECT_EQ(log.GetName(leaf.GetShape()), "shape");
    EXPECT_TRUE(IsOnlyParent(*leaf.GetShape(), &leaf));
    EXPECT_EQ(leaf.GetModified(), 0u);
}

TEST(TqOcSingleLeaf, StandsWithoutAShape)
{
    EventLog log;
    PostedErrors posted;
    {
        RecordingSingleLeaf leaf(&log, "leaf", static_cast<TqOcShape*>(nullptr));
        EXPECT_EQ(posted.Size(), 1);
        EXPECT_EQ(leaf.GetShape(), nullptr);
        leaf.Update();
        EXPECT_EQ(leaf.GetModified(), 0u);
        ExpectAttributes(s_noChildren, leaf);
        RecordingVisitor visitor(&log);
        log.Clear();
        leaf.Visit(&visitor);
        EXPECT_EQ(log.Take(), (Lines{"BeginVisit leaf", "EndVisit leaf"}));
        leaf.SetShape(NewShape(log, "shape"));
        leaf.GetShape()->AddParent(&leaf);
        leaf.Update();
        EXPECT_EQ(leaf.GetTris(), 1u);
        TqOcShape* const shape = leaf.GetShape();
        leaf.SetShape(nullptr);
        shape->RemoveParent(&leaf);
        delete shape;
        leaf.Update();
        EXPECT_EQ(leaf.GetModified(), 0u);
        EXPECT_TRUE(HasEmptyBox(leaf));
    }
}

// ---- Inserting shapes ---------------------------------------------------------------------------

namespace
{

/// root( left( low high ) right ) of boxes along x: left 0..10 with low 0..5 and high 5..10,
/// right 20..30; low, high and right are leaves of one shape each.
struct Hierarchy
{
    EventLog log;
    RecordingGroup root{&log, "root"};
    RecordingGroup* left = new RecordingGroup(&log, "left");
    RecordingLeaf* low = new RecordingLeaf(&log, "low");
    RecordingLeaf* high = new RecordingLeaf(&log, "high");
    RecordingLeaf* right = new RecordingLeaf(&log, "right");

    Hierarchy()
    {
        low->AddChild(NewShape(log, "l", MakeBox(0, 0, 0, 5, 1, 1)));
        high->AddChild(NewShape(log, "h", MakeBox(5, 0, 0, 10, 1, 1)));
        right->AddChild(NewShape(log, "r", MakeBox(20, 0, 0, 30, 1, 1)));
        left->AddChild(low);
        left->AddChild(high);
        root.AddChild(left);
        root.AddChild(right);
        root.Update();
        log.Clear();
    }
};

} // namespace

TEST(TqOcStaticGroup, AddsAShapeToTheLeafWhoseBoxContainsIt)
{
    Hierarchy scene;
    RecordingShape* const shape = NewShape(scene.log, "new", MakeBox(6, 0, 0, 7, 1, 1));
    scene.root.AddShape(shape);
    EXPECT_EQ(ChildNames(scene.log, *scene.high), (Lines{"h", "new"}));
    EXPECT_TRUE(IsOnlyParent(*shape, scene.high));
    EXPECT_EQ(scene.log.Take(),
              (Lines{"Notify high 0xff", "Notify left 0xff", "Notify root 0xff"}));
    EXPECT_EQ(shape->GetNumBoxCalls(), 1);
    EXPECT_TRUE(shape->GotOnlyEmptyBoxes());
}

TEST(TqOcStaticGroup, PutsAShapeIntoTheFirstContainingLeafEvenIfALaterOneFitsTighter)
{
    EventLog log;
    auto* const wide = new RecordingLeaf(&log, "wide");
    wide->AddChild(NewShape(log, "w", MakeBox(0, 0, 0, 100, 100, 100)));
    auto* const tight = new RecordingLeaf(&log, "tight");
    tight->AddChild(NewShape(log, "t", MakeBox(10, 10, 10, 12, 12, 12)));
    RecordingGroup root(&log, "root");
    root.AddChild(wide);
    root.AddChild(tight);
    root.Update();
    root.AddShape(NewShape(log, "new", MakeBox(10, 10, 10, 12, 12, 12)));
    EXPECT_EQ(ChildNames(log, *wide), (Lines{"w", "new"}));
    EXPECT_EQ(ChildNames(log, *tight), (Lines{"t"}));
}

TEST(TqOcStaticGroup, MakesANewLeafUnderItselfForAShapeThatNoChildContains)
{
    Hierarchy scene;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    RecordingShape* const shape = NewShape(scene.log, "new", MakeBox(9, 0, 0, 21, 1, 1));
    scene.root.AddShape(shape);
    ASSERT_EQ(scene.root.GetNumChildren(), 3);
    TqOcTraversable* const made = scene.root.GetChild(2);
    EXPECT_NE(dynamic_cast<TqOcStaticLeaf*>(made), nullptr);
    EXPECT_TRUE(made->IsLeaf());
    EXPECT_FALSE(made->IsShape());
    EXPECT_EQ(Hex(made->GetModified()), "0xff");
    EXPECT_EQ(ChildNames(scene.log, *made), (Lines{"new"}));
    EXPECT_TRUE(IsOnlyParent(*shape, made));
    EXPECT_TRUE(IsOnlyParent(*made, &scene.root));
    EXPECT_EQ(scene.log.Take(), (Lines{"Notify root 0xff"}));
    EXPECT_GT(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcStaticGroup, MakesANewLeafInTheGroupWhereTheDescentEnds)
{
    Hierarchy scene;
    RecordingShape* const shape = NewShape(scene.log, "new", MakeBox(4, 0, 0, 6, 1, 1));
    scene.root.AddShape(shape);
    EXPECT_EQ(scene.root.GetNumChildren(), 2);
    ASSERT_EQ(scene.left->GetNumChildren(), 3);
    EXPECT_EQ(ChildNames(scene.log, *scene.left->GetChild(2)), (Lines{"new"}));
    EXPECT_EQ(scene.log.Take(), (Lines{"Notify left 0xff", "Notify root 0xff"}));
}

TEST(TqOcStaticGroup, MakesANewLeafWhenItHasNoChildren)
{
    EventLog log;
    RecordingGroup root(&log, "root");
    root.AddShape(NewShape(log, "new"));
    ASSERT_EQ(root.GetNumChildren(), 1);
    EXPECT_EQ(ChildNames(log, *root.GetChild(0)), (Lines{"new"}));
}

TEST(TqOcStaticGroup, MakesANewLeafInAnEmptyGroupThatContainsTheShape)
{
    EventLog log;
    auto* const inner = new RecordingGroup(&log, "inner");
    inner->UpdateBoundingBox(MakeBox(0, 0, 0, 10, 10, 10));
    RecordingGroup root(&log, "root");
    root.AddChild(inner);
    root.AddShape(NewShape(log, "new", MakeBox(1, 1, 1, 2, 2, 2)));
    EXPECT_EQ(root.GetNumChildren(), 1);
    ASSERT_EQ(inner->GetNumChildren(), 1);
    EXPECT_EQ(ChildNames(log, *inner->GetChild(0)), (Lines{"new"}));
}

TEST(TqOcStaticGroup, KeepsAShapeAsItsOwnChildWhileItIsMarkedALeaf)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.SetLeaf(1);
    RecordingShape* const shape = NewShape(log, "new");
    group.AddShape(shape);
    EXPECT_EQ(ChildNames(log, group), (Lines{"new"}));
    EXPECT_TRUE(IsOnlyParent(*shape, &group));
    EXPECT_EQ(shape->GetNumBoxCalls(), 1);
    EXPECT_EQ(log.Take(), (Lines{"Notify group 0xff"}));
}

TEST(TqOcStaticGroup, MakesANewLeafWhereTheContainingChildTakesNoFurtherShape)
{
    EventLog log;
    RecordingGroup root(&log, "root");
    root.AddChild(
        new RecordingSingleLeaf(&log, "single", NewShape(log, "s", MakeCube(0, 0, 0, 9))));
    root.AddChild(new PlainTraversable(MakeCube(0, 0, 0, 9), 1.0, 0, TqLPrimitiveTypes::eNONE));
    root.Update();
    RecordingShape* const shape = NewShape(log, "new");
    root.AddShape(shape);
    ASSERT_EQ(root.GetNumChildren(), 3);
    EXPECT_EQ(ChildNames(log, *root.GetChild(2)), (Lines{"new"}));
    EXPECT_EQ(ChildNames(log, *root.GetChild(0)), (Lines{"s"}));
}

TEST(TqOcStaticGroup, WidensBoxesOnlyWithTheNextUpdate)
{
    Hierarchy scene;
    TqLBox3f const before = scene.root.GetBoundingBox();
    scene.root.AddShape(NewShape(scene.log, "new", MakeBox(50, 50, 50, 60, 60, 60)));
    EXPECT_EQ(scene.root.GetBoundingBox(), before);
    scene.root.Update();
    EXPECT_EQ(scene.root.GetBoundingBox(), MakeBox(0, 0, 0, 60, 60, 60));
    EXPECT_EQ(scene.root.GetTris(), 4u);
    EXPECT_EQ(scene.root.GetChild(2)->GetBoundingBox(), MakeBox(50, 50, 50, 60, 60, 60));
}

TEST(TqOcStaticGroup, PutsAShapeWithANanBoxIntoALeafOfItsOwn)
{
    Hierarchy scene;
    TqLBox3f const before = scene.root.GetBoundingBox();
    scene.root.AddShape(NewShape(scene.log, "nan", MakeBox(eNAN, 0, 0, 1, 1, eNAN)));
    ASSERT_EQ(scene.root.GetNumChildren(), 3);
    scene.root.Update();
    EXPECT_EQ(scene.root.GetTris(), 4u);
    EXPECT_EQ(scene.root.GetBoundingBox(), before);
}

TEST(TqOcStaticGroup, PostsANullShapeThatIsAdded)
{
    PostedErrors posted;
    Hierarchy scene;
    scene.root.AddShape(nullptr);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcStaticBase");
    EXPECT_EQ(scene.root.GetNumChildren(), 2);
    EXPECT_EQ(scene.log.Take(), Lines{});
}

// ---- Removing shapes ----------------------------------------------------------------------------

TEST(TqOcStaticGroup, RemovesAShapeFromItsParentWithoutDeletingIt)
{
    Hierarchy scene;
    auto* const shape = static_cast<RecordingShape*>(scene.low->GetChild(0));
    scene.root.RemoveShape(shape);
    EXPECT_EQ(scene.log.Take(), (Lines{"Notify low 0xff", "Notify left 0xff", "Notify root 0xff"}));
    EXPECT_FALSE(shape->HasParent());
    EXPECT_EQ(scene.low->GetNumChildren(), 0); // the emptied leaf stays
    EXPECT_EQ(ChildNames(scene.log, *scene.left), (Lines{"low", "high"}));
    delete shape;
}

TEST(TqOcStaticGroup, RemovesAShapeWhereverItLies)
{
    Hierarchy scene;
    TqOcStaticGroup elsewhere;
    TqOcShape* const shape = scene.right->GetChild(0);
    elsewhere.RemoveShape(shape);
    EXPECT_EQ(scene.right->GetNumChildren(), 0);
    EXPECT_FALSE(shape->HasParent());
    delete shape;
}

TEST(TqOcStaticGroup, RemovesAShapeFromAGroupThatHoldsItDirectly)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.SetLeaf(1);
    RecordingShape* const shape = NewShape(log, "shape");
    group.AddShape(shape);
    group.RemoveShape(shape);
    EXPECT_EQ(group.GetNumChildren(), 0);
    EXPECT_FALSE(shape->HasParent());
    delete shape;
}

TEST(TqOcStaticGroup, DeletesAShapeOutOfItsLeaf)
{
    Hierarchy scene;
    scene.root.DeleteShape(scene.low->GetChild(0));
    EXPECT_EQ(scene.log.Take("Delete"), (Lines{"Delete l"}));
    EXPECT_EQ(scene.low->GetNumChildren(), 0);
}

TEST(TqOcStaticGroup, PostsARemovedShapeThatHasNoParent)
{
    PostedErrors posted;
    Hierarchy scene;
    RecordingShape shape(&scene.log, "stranger", MakeCube(0, 0, 0, 1));
    scene.root.RemoveShape(&shape);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcStaticBase");
    EXPECT_EQ(scene.log.Take(), Lines{});
}

TEST(TqOcStaticGroup, PostsARemovedShapeThatHasSeveralParents)
{
    PostedErrors posted;
    Hierarchy scene;
    TqOcShape* const shape = scene.low->GetChild(0);
    scene.high->AddChild(shape);
    scene.log.Clear();
    scene.root.RemoveShape(shape);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcStaticBase");
    EXPECT_TRUE(shape->HasMultipleParents());
    EXPECT_EQ(ChildNames(scene.log, *scene.low), (Lines{"l"}));
    EXPECT_EQ(ChildNames(scene.log, *scene.high), (Lines{"h", "l"}));
    EXPECT_EQ(scene.log.Take(), Lines{});
}

TEST(TqOcStaticGroup, PostsARemovedShapeThatItsParentDoesNotList)
{
    PostedErrors posted;
    Hierarchy scene;
    RecordingShape shape(&scene.log, "stranger", MakeCube(0, 0, 0, 1));
    shape.SetSingleParent(scene.low);
    scene.root.RemoveShape(&shape);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(ChildNames(scene.log, *scene.low), (Lines{"l"}));
    EXPECT_EQ(scene.log.Take(), Lines{});
}

TEST(TqOcStaticGroup, PostsARemovedShapeWhoseParentIsNoStaticContainer)
{
    PostedErrors posted;
    Hierarchy scene;
    TqOcSingleLeaf leaf(NewShape(scene.log, "single"));
    scene.root.RemoveShape(leaf.GetShape());
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_TRUE(IsOnlyParent(*leaf.GetShape(), &leaf));
    EXPECT_EQ(scene.log.Take(), Lines{});
}

TEST(TqOcStaticGroup, PostsANullShapeThatIsRemoved)
{
    PostedErrors posted;
    Hierarchy scene;
    scene.root.RemoveShape(nullptr);
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(scene.log.Take(), Lines{});
}

// ---- Bad input ----------------------------------------------------------------------------------

TEST(TqOcStaticBase, PostsNullChildrenAndLeavesThemOut)
{
    EventLog log;
    PostedErrors posted;
    TqOcBaseTraversable* given[] = {nullptr, NewShape(log, "a"), nullptr, NewShape(log, "b")};
    RecordingBase container(&log, "container", given, 4);
    EXPECT_GE(posted.Size(), 1);
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    posted.Clear();
    container.AddChild(nullptr);
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    posted.Clear();
    TqOcBaseTraversable* next[] = {nullptr, NewShape(log, "c")};
    container.SetChildren(next, 2);
    EXPECT_GE(posted.Size(), 1);
    EXPECT_EQ(ChildNames(log, container), (Lines{"c"}));
    container.Update();
    EXPECT_EQ(container.GetTris(), 1u);
}

TEST(TqOcStaticBase, PostsANegativeCountAndTakesItForNone)
{
    EventLog log;
    PostedErrors posted;
    BareContainer container(nullptr, -1);
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(container.GetNumChildren(), 0);
    container.SetChildren(nullptr, -5);
    EXPECT_EQ(posted.Size(), 2);
    EXPECT_EQ(container.GetNumChildren(), 0);
    container.BeginSet(-1);
    container.EndSet();
    EXPECT_EQ(posted.Size(), 3);
    EXPECT_EQ(container.GetNumChildren(), 0);
}

TEST(TqOcStaticBase, PostsAListWithoutChildrenAndTakesItForNone)
{
    PostedErrors posted;
    BareContainer container(nullptr, 2);
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(container.GetNumChildren(), 0);
    container.SetChildren(nullptr, 3);
    EXPECT_EQ(posted.Size(), 2);
    EXPECT_EQ(container.GetNumChildren(), 0);
}

TEST(TqOcStaticBase, PostsPlacesThatWereLeftEmptyAndClosesThem)
{
    EventLog log;
    PostedErrors posted;
    RecordingBase container(&log, "container");
    container.BeginSet(4);
    container.PartSet(1, NewShape(log, "a"));
    container.PartSet(3, NewShape(log, "b"));
    container.EndSet();
    EXPECT_EQ(posted.Size(), 1);
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    EXPECT_TRUE(IsOnlyParent(*container.GetChild(1), &container));
    container.Update();
    EXPECT_EQ(container.GetTris(), 2u);
}

TEST(TqOcStaticBase, MayBeDestroyedBetweenBeginAndEndOfASet)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        BareContainer container;
        container.BeginSet(3);
        container.PartSet(1, NewShape(log, "a"));
    }
    EXPECT_EQ(log.Take(), (Lines{"Delete a"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcStaticBase, LetsAListInTheMakingGoByTheOwnershipRule)
{
    enum End
    {
        eDESTRUCTION,
        eSET_CHILDREN,
        eSECOND_BEGIN
    };

    for (End const end : {eDESTRUCTION, eSET_CHILDREN, eSECOND_BEGIN}) {
        SCOPED_TRACE(end);
        EventLog log;
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        {
            RecordingBase other(&log, "other");
            RecordingShape* const held = NewShape(log, "held");
            other.AddChild(held);
            RecordingShape users(&log, "users", MakeCube(0, 0, 0, 1));
            users.SetUserOwned(1);
            auto container = std::make_unique<BareContainer>();
            container->BeginSet(4);
            container->PartSet(0, held);
            container->PartSet(1, NewShape(log, "nobody's"));
            container->PartSet(3, &users);
            log.Clear();
            TqOcBaseTraversable* next[] = {&users};
            switch (end) {
            case eDESTRUCTION:
                container.reset();
                break;
            case eSET_CHILDREN:
                container->SetChildren(next, 1);
                EXPECT_EQ(ChildNames(log, *container), Lines{"users"});
                EXPECT_TRUE(IsOnlyParent(users, container.get()));
                break;
            case eSECOND_BEGIN:
                container->BeginSet(1);
                container->PartSet(0, &users);
                container->EndSet();
                EXPECT_EQ(ChildNames(log, *container), Lines{"users"});
                EXPECT_TRUE(IsOnlyParent(users, container.get()));
                break;
            }
            EXPECT_EQ(log.Take("Delete"), Lines{"Delete nobody's"});
            EXPECT_EQ(ChildNames(log, other), Lines{"held"});
            EXPECT_TRUE(IsOnlyParent(*held, &other));
        }
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
}

TEST(TqOcStaticBase, PostsAPartThatIsSetAtNoPlace)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "old"));
    RecordingShape part(&log, "part", MakeCube(0, 0, 0, 1));
    part.SetUserOwned(1);
    Lines const post = {"1 TqOcStaticBase: PartSet with an index out of range, or outside of "
                        "BeginSet and EndSet"};
    auto const expectPosted = [&](int i) {
        PostedErrors posted;
        container.PartSet(i, &part);
        EXPECT_EQ(posted.AsLines(), post) << i;
    };
    expectPosted(0); // before BeginSet
    EXPECT_EQ(ChildNames(log, container), Lines{"old"});
    container.BeginSet(2);
    for (int const i : {-1, 2, 3, 0x7FFFFFFF, -0x7FFFFFFF - 1}) {
        expectPosted(i);
    }
    container.PartSet(0, NewShape(log, "a"));
    container.PartSet(1, NewShape(log, "b"));
    container.EndSet();
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    expectPosted(1); // after EndSet
    EXPECT_EQ(ChildNames(log, container), (Lines{"a", "b"}));
    EXPECT_FALSE(part.HasParent());
}

TEST(TqOcStaticBase, PostsAnEndOfASetWithoutABegin)
{
    EventLog log;
    RecordingBase container(&log, "container");
    RecordingShape* const a = NewShape(log, "a");
    container.AddChild(a);
    container.SetModified(0);
    log.Clear();
    PostedErrors posted;
    container.EndSet();
    EXPECT_EQ(posted.AsLines(), Lines{"1 TqOcStaticBase: EndSet without BeginSet"});
    EXPECT_EQ(ChildNames(log, container), Lines{"a"});
    EXPECT_TRUE(IsOnlyParent(*a, &container)) << "linked once";
    EXPECT_EQ(container.GetModified(), 0U);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcStaticBase, IsEmptyAfterAnEndOfASetForWhichMemoryIsRefused)
{
    for (bool const hasGap : {false, true}) {
        SCOPED_TRACE(hasGap);
        EventLog log;
        PostedErrors posted; // about the gap
        RecordingTraversable elsewhere(&log, "elsewhere");
        RecordingShape first(&log, "first", MakeCube(0, 0, 0, 1));
        RecordingShape second(&log, "second", MakeCube(0, 0, 0, 1));
        TqOcBaseTraversable* children[] = {&first, &second};
        for (TqOcBaseTraversable* child : children) {
            child->SetSingleParent(&elsewhere); // so that a further parent takes memory
        }
        RecordingBase container(&log, "container");
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        int const numAllocations = hasGap ? 5 : 4; // two for each link; an array without the gap
        for (int n = 1; n <= numAllocations; ++n) {
            SCOPED_TRACE(n);
            container.BeginSet(hasGap ? 3 : 2);
            container.PartSet(0, &first);
            container.PartSet(hasGap ? 2 : 1, &second);
            log.Clear();
            {
                RefuseAllocations refuse(n);
                EXPECT_THROW(container.EndSet(), std::bad_alloc);
            }
            EXPECT_EQ(container.GetNumChildren(), 0);
            EXPECT_TRUE(IsOnlyParent(first, &elsewhere));
            EXPECT_TRUE(IsOnlyParent(second, &elsewhere));
            EXPECT_EQ(log.Count("Delete"), 0);
            EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
            posted.Clear();
            container.EndSet();
            EXPECT_EQ(posted.Size(), 1) << "the set is over";
        }
        container.SetChildren(children, 2);
        EXPECT_EQ(ChildNames(log, container), (Lines{"first", "second"}));
        first.RemoveParent(&elsewhere);
        second.RemoveParent(&elsewhere);
        first.SetUserOwned(1);
        second.SetUserOwned(1);
    }
}

TEST(TqOcStaticBase, MayBeGivenItsOwnChildrenAgain)
{
    EventLog log;
    RecordingBase container(&log, "container");
    RecordingShape* const a = NewShape(log, "a");
    container.AddChild(a);
    container.AddChild(NewShape(log, "b"));
    log.Clear();
    TqOcBaseTraversable* again[] = {a};
    container.SetChildren(again, 1);
    EXPECT_EQ(log.Take("Delete"), (Lines{"Delete b"}));
    EXPECT_EQ(ChildNames(log, container), (Lines{"a"}));
    EXPECT_TRUE(IsOnlyParent(*a, &container));
}

TEST(TqOcStaticBase, StaysAsItWasWhenMemoryIsRefused)
{
    EventLog log;
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "a"));
    container.SetModified(0);
    RecordingShape fresh(&log, "fresh", MakeCube(0, 0, 0, 1));
    fresh.SetUserOwned(1);
    log.Clear();
    {
        RefuseAllocations refuse(1);
        EXPECT_THROW(container.AddChild(&fresh), std::bad_alloc);
    }
    TqOcBaseTraversable* next[] = {&fresh};
    {
        RefuseAllocations refuse(1);
        EXPECT_THROW(container.SetChildren(next, 1), std::bad_alloc);
    }
    EXPECT_EQ(ChildNames(log, container), (Lines{"a"}));
    EXPECT_FALSE(fresh.HasParent());
    EXPECT_EQ(container.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcStaticBase, LinksNoneOfItsNewChildrenWhenMemoryForOneLinkIsRefused)
{
    EventLog log;
    RecordingTraversable elsewhere(&log, "elsewhere");
    RecordingShape first(&log, "first", MakeCube(0, 0, 0, 1));
    RecordingShape second(&log, "second", MakeCube(0, 0, 0, 1));
    TqOcBaseTraversable* next[] = {&first, &second};
    for (TqOcBaseTraversable* child : next) {
        child->SetUserOwned(1);
        child->SetSingleParent(&elsewhere); // so that a further parent takes memory
    }
    RecordingBase container(&log, "container");
    container.AddChild(NewShape(log, "old"));
    container.SetModified(0);
    log.Clear();
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    int refused = 0;
    for (int n = 1; n <= 5; ++n) {
        SCOPED_TRACE(n);
        RefuseAllocations refuse(n);
        try {
            container.SetChildren(next, 2);
        } catch (std::bad_alloc const&) {
            ++refused;
            EXPECT_TRUE(IsOnlyParent(first, &elsewhere));
            EXPECT_TRUE(IsOnlyParent(second, &elsewhere));
            EXPECT_EQ(ChildNames(log, container), (Lines{"old"}));
            EXPECT_EQ(container.GetModified(), 0u);
            EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
            EXPECT_EQ(log.Take(), Lines{});
            continue;
        }
        ADD_FAILURE() << "nothing was refused";
    }
    EXPECT_EQ(refused, 5); // the array, and a vector with its storage for each child
    container.SetChildren(next, 2);
    EXPECT_EQ(ChildNames(log, container), (Lines{"first", "second"}));
    first.RemoveParent(&elsewhere);
    second.RemoveParent(&elsewhere);
}

TEST(TqOcStaticGroup, LeavesAShapeToItsCallerWhenMemoryToAddItIsRefused)
{
    // Into the group that gets a new leaf, and into a leaf that contains the shape already.
    for (bool const isInside : {false, true}) {
        SCOPED_TRACE(isInside);
        EventLog log;
        RecordingGroup group(&log, "group");
        auto* const leaf = new RecordingLeaf(&log, "leaf");
        leaf->AddChild(NewShape(log, "old", MakeCube(0, 0, 0, 4)));
        group.AddChild(leaf);
        group.Update();
        // Not user owned: what it was put into by halves would delete it with itself.
        auto shape =
            std::make_unique<RecordingShape>(&log, "new", MakeCube(isInside ? 0 : 50, 0, 0, 1));
        log.Clear();
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        int const numAllocations = isInside ? 1 : 3; // an array; or a leaf and two arrays
        for (int n = 1; n <= numAllocations; ++n) {
            SCOPED_TRACE(n);
            {
                RefuseAllocations refuse(n);
                EXPECT_THROW(group.AddShape(shape.get()), std::bad_alloc);
            }
            EXPECT_EQ(log.Take(), Lines{}) << "nothing deleted, nobody told";
            EXPECT_FALSE(shape->HasParent());
            EXPECT_EQ(ChildNames(log, group), Lines{"leaf"});
            EXPECT_EQ(ChildNames(log, *leaf), Lines{"old"});
            EXPECT_EQ(group.GetModified(), 0U);
            EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
        }
        RefuseAllocations refuse(numAllocations + 1);
        group.AddShape(shape.get());
        EXPECT_EQ(refuse.GetNumRefused(), 0);
        EXPECT_TRUE(shape.release()->HasParent());
    }
}

TEST(TqOcStaticGroup, LeavesASharedShapeItsOtherParentWhenMemoryToAddItIsRefused)
{
    EventLog log;
    RecordingLeaf other(&log, "other");
    RecordingShape* const shared = NewShape(log, "shared");
    other.AddChild(shared);
    TqOcStaticGroup group;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    for (int n = 1; n <= 5; ++n) { // leaf, array, parent vector and its storage, array
        SCOPED_TRACE(n);
        {
            RefuseAllocations refuse(n);
            EXPECT_THROW(group.AddShape(shared), std::bad_alloc);
        }
        EXPECT_TRUE(IsOnlyParent(*shared, &other));
        EXPECT_EQ(group.GetNumChildren(), 0);
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
    EXPECT_EQ(log.Count("Delete"), 0);
}

TEST(TqOcSingleLeaf, LeavesItsShapeAloneWhenMemoryForTheLinkIsRefused)
{
    EventLog log;
    TqOcSingleLeaf* const other = new TqOcSingleLeaf(NewShape(log, "shared"));
    TqOcShape* const shared = other->GetShape();
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    for (int n = 1; n <= 3; ++n) { // the leaf, the parent vector, its storage
        SCOPED_TRACE(n);
        RefuseAllocations refuse(n);
        EXPECT_THROW(static_cast<void>(new TqOcSingleLeaf(shared)), std::bad_alloc);
        EXPECT_TRUE(IsOnlyParent(*shared, other));
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
    EXPECT_EQ(log.Take(), Lines{});
    delete other;
    EXPECT_EQ(log.Take(), Lines{"Delete shared"});
}

TEST(TqOcStaticBase, StaysModifiedWhenAShapesBoxThrows)
{
    struct Failure
    {};

    class Failing : public RecordingShape
    {
    public:
        using RecordingShape::RecordingShape;

        bool fails = true;

        void GetShapeBox(TqLBox3f& box) override
        {
            if (fails) {
                throw Failure();
            }
            RecordingShape::GetShapeBox(box);
        }
    };

    EventLog log;
    RecordingGroup root(&log, "root");
    auto* const leaf = new RecordingLeaf(&log, "leaf");
    auto* const bad = new Failing(&log, "bad", MakeCube(5, 0, 0, 1), 20);
    leaf->AddChild(NewShape(log, "a", MakeCube(0, 0, 0, 1), 1));
    leaf->AddChild(bad);
    root.AddChild(leaf);
    auto* const badAlone = new Failing(&log, "bad alone", MakeCube(0, 7, 0, 1), 300);
    root.AddChild(new TqOcSingleLeaf(badAlone));

    EXPECT_THROW(root.Update(), Failure);
    EXPECT_NE(root.GetModified() & TqOcBaseTraversable::eMODIFIED_BOX, 0U);
    EXPECT_NE(leaf->GetModified() & TqOcBaseTraversable::eMODIFIED_BOX, 0U);
    bad->fails = false;
    EXPECT_THROW(root.Update(), Failure);
    EXPECT_NE(root.GetModified() & TqOcBaseTraversable::eMODIFIED_BOX, 0U);
    EXPECT_NE(root.GetChild(1)->GetModified() & TqOcBaseTraversable::eMODIFIED_BOX, 0U);
    badAlone->fails = false;
    root.Update();
    EXPECT_EQ(root.GetModified(), 0U);
    EXPECT_EQ(leaf->GetBoundingBox(), MakeBox(-1, -1, -1, 6, 1, 1));
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(-1, -1, -1, 6, 8, 1));
    EXPECT_EQ(root.GetTris(), 321U);
}

TEST(TqOcStaticGroup, ReportsTheShapesThatItHoldsAsAMarkedLeafToVisitors)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.AddChild(new RecordingLeaf(&log, "leaf"));
    group.SetLeaf(1);
    group.AddShape(NewShape(log, "own"));
    log.Clear();
    RecordingVisitor visitor(&log);
    visitor.Apply(&group);
    Lines const visits = {"BeginVisit group", "BeginVisit leaf", "EndVisit leaf", "VisitShape own",
                          "EndVisit group"};
    Lines seen;
    for (std::string const& line : log.Take()) {
        if (line.find("Visit") != std::string::npos) {
            seen.push_back(line);
        }
    }
    EXPECT_EQ(seen, visits);
}

TEST(TqOcStaticGroup, IsUpdatedVisitedAndDestroyedAtAnyReasonableDepth)
{
    constexpr int eDEPTH = 2000;
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        TqOcStaticGroup root;
        TqOcStaticGroup* deepest = &root;
        for (int i = 0; i < eDEPTH; ++i) {
            auto* const next = new TqOcStaticGroup;
            deepest->AddChild(next);
            deepest = next;
        }
        deepest->AddShape(NewShape(log, "shape", MakeBox(1, 2, 3, 4, 5, 6)));
        root.Update();
        EXPECT_EQ(root.GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
        EXPECT_EQ(root.GetTris(), 1u);
        RecordingVisitor visitor(&log);
        visitor.Apply(&root);
        EXPECT_EQ(log.Count("BeginVisit"), eDEPTH + 2);
        EXPECT_EQ(log.Count("VisitShape"), 1);
    }
    EXPECT_EQ(log.Count("Delete"), 1);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}
