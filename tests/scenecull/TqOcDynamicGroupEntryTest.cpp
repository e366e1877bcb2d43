// The entry points of a dynamic tree, what they refuse, and the tree beside static containers.

#include "support/DynamicTreeMaker.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>

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

/// A shape that notes whether it hung anywhere when it was updated.
class UpdateWatcher : public PlayShape
{
public:
    UpdateWatcher() : PlayShape(0, MakeCube(0, 0, 0, 1)) {}

    int numUpdates = 0;
    bool wasWrapped = false;

protected:
    void DoUpdate() override
    {
        ++numUpdates;
        wasWrapped = HasParent();
        PlayShape::DoUpdate();
    }
};

/// A leaf that holds shapes but does not say so.
class SilentLeaf : public TqOcSingleLeaf
{
public:
    using TqOcSingleLeaf::TqOcSingleLeaf;

    int GetChildren(TqOcBaseTraversable* const**) override { return 0; }
};

} // namespace

// ---- Entry points of a tree ---------------------------------------------------------------------

TEST(TqOcDynamicGroup, AddShapeWrapsTheShapeInASingleLeafOfTheTree)
{
    TqOcDynamicGroup root;
    auto* const shape = new PlayShape(4, MakeBox(1, 2, 3, 4, 5, 6));
    shape->SetScale(3.0);
    root.AddShape(shape);
    EXPECT_EQ(shape->GetModified(), 0u);
    EXPECT_EQ(shape->GetNumBoxCalls(), 1);
    ASSERT_EQ(root.GetNumChildren(), 1);
    auto* const leaf = dynamic_cast<TqOcSingleLeaf*>(root.GetChild(0));
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->GetShape(), shape);
    EXPECT_TRUE(IsOnlyParent(*shape, leaf));
    EXPECT_TRUE(IsOnlyParent(*leaf, &root));
    EXPECT_FALSE(leaf->IsUserOwned());
    EXPECT_EQ(leaf->GetModified(), 0u);
    EXPECT_EQ(leaf->GetScale(), 3.0);
    EXPECT_EQ(leaf->GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6)); // without an update
    EXPECT_EQ(Hex(root.GetModified()), "0xfe");
    root.Update();
    EXPECT_TRUE(IsSoundDynamicTree(root, {shape}));
}

TEST(TqOcDynamicGroup, AddShapeBringsTheShapeUpToDateBeforeItIsWrapped)
{
    TqOcDynamicGroup root;
    auto* const shape = new UpdateWatcher;
    root.AddShape(shape);
    EXPECT_EQ(shape->numUpdates, 0);
    root.RemoveShape(shape);
    shape->SetTris(5);
    root.AddShape(shape);
    EXPECT_EQ(shape->numUpdates, 1);
    EXPECT_FALSE(shape->wasWrapped);
    EXPECT_EQ(shape->GetModified(), 0u);
}

TEST(TqOcDynamicGroup, AddShapeAndAddLeafBringARootOfUnknownBoxUpToDateFirst)
{
    for (bool const addsShape : {true, false}) {
        std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
        ShapeOf(root->GetChild(1))->MoveBy(100.0, 0.0, 0.0);
        if (addsShape) {
            root->AddShape(new PlayShape(3, MakeBox(7, 0, 0, 8, 1, 1)));
        } else {
            root->AddLeaf(NewLeafAt(3, 7.0));
        }
        EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 103, 1, 1));
        EXPECT_EQ(Hex(root->GetModified()), "0xfe");
    }
}

TEST(TqOcDynamicGroup, AddShapeLeavesOtherChangesToTheNextUpdate)
{
    EventLog log;
    auto const root = NewRecordingGroup(log, "root", {NewLeafAt(0, 0.0), NewLeafAt(1, 2.0)});
    ShapeOf(root->GetChild(0))->SetHideRender(1);
    root->AddShape(new PlayShape(2, MakeBox(7, 0, 0, 8, 1, 1)));
    EXPECT_EQ(log.Take("DoUpdate"), Lines());
    EXPECT_FALSE(root->GetChild(0)->IsHideRender());
    root->Update();
    EXPECT_TRUE(root->GetChild(0)->IsHideRender());
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroup, AddLeafUpdatesAModifiedLeaf)
{
    TqOcDynamicGroup root;
    TqOcStaticLeaf* const leaf = NewStaticLeaf(0, {0.0, 5.0});
    static_cast<PlayShape*>(leaf->GetChild(1))->MoveBy(10.0, 0.0, 0.0);
    root.AddLeaf(leaf);
    EXPECT_EQ(leaf->GetModified(), 0u);
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 16, 1, 1));
    EXPECT_EQ(StructureOf(root), "([0 1 ])");
}

TEST(TqOcDynamicGroup, AddLeafNoUpdateLeavesTheRootsPendingBoxAlone)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
    ShapeOf(root->GetChild(1))->MoveBy(100.0, 0.0, 0.0);
    auto* const leaf = new TqOcSingleLeaf(new PlayShape(3, MakeBox(7, 0, 0, 8, 1, 1)));
    Probe::AddLeafNoUpdate(*root, leaf);
    EXPECT_EQ(leaf->GetModified(), 0u);
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 8, 1, 1));
    EXPECT_EQ(Hex(root->GetModified()), "0xff");
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroup, RemoveShapeDeletesTheWrapperAndLeavesTheShapeAliveAndParentless)
{
    EventLog log;
    int const before = PlayShape::GetNumLive();
    TqOcDynamicGroup root;
    auto* const shape = new PlayShape(0, MakeBox(0, 0, 0, 1, 1, 1));
    auto* const leaf = new RecordingSingleLeaf(&log, "leaf", shape);
    root.AddLeaf(leaf);
    root.AddShape(new PlayShape(1, MakeBox(5, 0, 0, 6, 1, 1)));
    log.Clear();
    root.RemoveShape(shape);
    EXPECT_EQ(log.Take("Delete"), Lines({"Delete leaf"}));
    EXPECT_EQ(PlayShape::GetNumLive(), before + 2);
    EXPECT_FALSE(shape->HasParent());
    EXPECT_FALSE(shape->IsUserOwned());
    EXPECT_EQ(StructureOf(root), "(1 )");
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(5, 0, 0, 6, 1, 1));
    delete shape;
}

TEST(TqOcDynamicGroup, RemoveShapeKeepsAUserOwnedFlagThatWasSet)
{
    TqOcDynamicGroup root;
    PlayShape shape(0, MakeBox(0, 0, 0, 1, 1, 1));
    shape.SetUserOwned(1);
    root.AddShape(&shape);
    root.RemoveShape(&shape);
    EXPECT_TRUE(shape.IsUserOwned());
    EXPECT_FALSE(shape.HasParent());
}

TEST(TqOcDynamicGroup, RemoveShapeTakesAShapeOutOfALeafOfSeveral)
{
    TqOcDynamicGroup root;
    TqOcStaticLeaf* const leaf = NewStaticLeaf(0, {0.0, 4.0, 8.0});
    root.AddLeaf(leaf);
    root.Update();
    TqOcShape* const shape = leaf->GetChild(1);
    root.RemoveShape(shape);
    EXPECT_EQ(StructureOf(root), "([0 2 ])");
    EXPECT_FALSE(shape->HasParent());
    EXPECT_EQ(Hex(root.GetModified()), "0xff");
    delete shape;
    std::unique_ptr<TqOcShape> const last(leaf->GetChild(1));
    root.RemoveShape(last.get()); // while the leaf's box is pending
    EXPECT_EQ(StructureOf(root), "(0 )");
    root.Update();
    EXPECT_EQ(root.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_TRUE(IsSoundDynamicTree(root, ShapesOf(root)));
}

TEST(TqOcDynamicGroup, RemoveShapeDeletesAStaticLeafWithItsLastShape)
{
    EventLog log;
    TqOcDynamicGroup root;
    TqOcShape* shapes[] = {new PlayShape(0, MakeBox(0, 0, 0, 1, 1, 1))};
    root.AddLeaf(new RecordingLeaf(&log, "leaf", shapes, 1));
    log.Clear();
    root.RemoveShape(shapes[0]);
    EXPECT_EQ(log.Take("Delete"), Lines({"Delete leaf"}));
    EXPECT_EQ(root.GetNumChildren(), 0);
    delete shapes[0];
}

TEST(TqOcDynamicGroup, DeleteShapeTakesTheShapeOutAndDeletesIt)
{
    int const before = PlayShape::GetNumLive();
    TqOcDynamicGroup root;
    auto* const shape = new PlayShape(0, MakeBox(0, 0, 0, 1, 1, 1));
    root.AddShape(shape);
    root.DeleteShape(shape);
    EXPECT_EQ(PlayShape::GetNumLive(), before);
    EXPECT_EQ(root.GetNumChildren(), 0);
    EXPECT_TRUE(HasEmptyBox(root));
}

TEST(TqOcDynamicGroup, RemoveLeafKeepsTheLeafAndDeleteLeafDeletesIt)
{
    EventLog log;
    TqOcDynamicGroup root;
    auto* const first =
        new RecordingSingleLeaf(&log, "first", new PlayShape(0, MakeCube(0, 0, 0, 1)));
    auto* const second =
        new RecordingSingleLeaf(&log, "second", new PlayShape(1, MakeCube(9, 0, 0, 1)));
    auto* const third =
        new RecordingSingleLeaf(&log, "third", new PlayShape(2, MakeCube(5, 0, 0, 1)));
    for (RecordingSingleLeaf* const leaf : {first, second, third}) {
        root.AddLeaf(leaf);
    }
    log.Clear();
    root.RemoveLeaf(first);
    EXPECT_EQ(log.Take("Delete"), Lines());
    EXPECT_FALSE(first->HasParent());
    EXPECT_FALSE(first->IsUserOwned());
    root.DeleteLeaf(second);
    EXPECT_EQ(log.Take("Delete"), Lines({"Delete second"}));
    third->SetUserOwned(1);
    root.DeleteLeaf(third);
    EXPECT_EQ(log.Take("Delete"), Lines());
    EXPECT_TRUE(third->IsUserOwned());
    EXPECT_FALSE(third->HasParent());
    EXPECT_EQ(root.GetNumChildren(), 0);
    delete first;
    delete third;
}

TEST(TqOcDynamicGroup, RemoveLeafBringsARootOfUnknownBoxUpToDateFirst)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
    std::unique_ptr<TqOcTraversable> const leaf(root->GetChild(2));
    ShapeOf(root->GetChild(1))->MoveBy(100.0, 0.0, 0.0);
    root->RemoveLeaf(leaf.get());
    EXPECT_EQ(root->GetBoundingBox(), MakeBox(0, 0, 0, 103, 1, 1));
    EXPECT_EQ(root->GetModified() & 1u, 0u);
}

TEST(TqOcDynamicGroup, RemovesALeafThatTheUpdateBeforeEmpties)
{
    // The update wraps the shapes that moved apart one by one and lets the empty leaf go.
    for (bool const deletes : {false, true}) {
        EventLog log;
        TqOcDynamicGroup root;
        TqOcShape* shapes[] = {new PlayShape(0, MakeCube(0, 0, 0, 1)),
                               new PlayShape(1, MakeCube(3, 0, 0, 1))};
        auto* const leaf = new RecordingLeaf(&log, "leaf", shapes, 2);
        root.AddLeaf(leaf);
        root.AddShape(new PlayShape(2, MakeCube(6, 0, 0, 1)));
        root.Update();
        static_cast<PlayShape*>(shapes[0])->MoveBy(-50.0, 0.0, 0.0);
        static_cast<PlayShape*>(shapes[1])->MoveBy(50.0, 0.0, 0.0);
        log.Clear();
        PostedErrors posts;
        if (deletes) {
            root.DeleteLeaf(leaf);
            EXPECT_EQ(log.Take("Delete"), Lines({"Delete leaf"}));
        } else {
            root.RemoveLeaf(leaf);
            EXPECT_EQ(log.Take("Delete"), Lines());
            EXPECT_FALSE(leaf->IsOwned());
            EXPECT_EQ(leaf->GetNumChildren(), 0);
            delete leaf;
        }
        EXPECT_TRUE(posts.Empty());
        root.Update();
        EXPECT_TRUE(IsSoundDynamicTree(root, ShapesOf(root)));
        EXPECT_EQ(ShapesOf(root).size(), 3u);
        log.Clear();
    }
}

TEST(TqOcDynamicGroup, RestoresALeafsOwnershipWhenTheUpdateBeforeARemovalThrows)
{
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
    TqOcTraversable* const leaf = root->GetChild(0);
    PlayShape* const refusing = ShapeOf(root->GetChild(1));
    refusing->MoveBy(1.0, 0.0, 0.0);
    refusing->SetRefusing(true);
    EXPECT_THROW(root->DeleteLeaf(leaf), BoxRefused);
    EXPECT_FALSE(leaf->IsUserOwned());
    EXPECT_TRUE(IsOnlyParent(*leaf, root.get()));
    refusing->SetRefusing(false);
    root->Update();
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
    EXPECT_EQ(ShapesOf(*root).size(), 3u);
}

// ---- What the entry points refuse ---------------------------------------------------------------

TEST(TqOcDynamicGroup, RefusesNullShapesAndLeaves)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
    root->AddShape(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    root->AddLeaf(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    root->RemoveShape(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    root->RemoveLeaf(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    root->DeleteLeaf(nullptr);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(StructureOf(*root), "(0 1 2 )");
    EXPECT_EQ(root->GetModified(), 0u);
}

TEST(TqOcDynamicGroup, RefusesALeafThatIsNone)
{
    PostedErrors posts;
    TqOcDynamicGroup root;
    TqOcStaticGroup notALeaf;
    TqOcDynamicGroup inner;
    root.AddLeaf(&notALeaf);
    EXPECT_TRUE(WasPostedOnce(posts));
    root.AddLeaf(&inner);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(root.GetNumChildren(), 0);
    EXPECT_FALSE(notALeaf.HasParent());
    EXPECT_FALSE(inner.HasParent());
}

TEST(TqOcDynamicGroup, RefusesWhatHangsInTheTreeAlready)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const root(NewGroup({NewRow(0, 4, 0.0), NewRow(4, 4, 50.0)}));
    TqOcTraversable* const leaf = GroupAt(*root, 1)->GetChild(2);
    root->AddShape(ShapeOf(leaf));
    EXPECT_TRUE(WasPostedOnce(posts));
    root->AddLeaf(leaf);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(StructureOf(*root), "((0 1 2 3 )(4 5 6 7 ))");
    EXPECT_EQ(root->GetModified(), 0u);
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root)));
}

TEST(TqOcDynamicGroup, RefusesToRemoveStrangers)
{
    PostedErrors posts;
    std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 3, 0.0));
    std::unique_ptr<TqOcDynamicGroup> const other(NewRow(3, 3, 0.0));
    PlayShape alone;
    TqOcStaticLeaf* const elsewhere = NewStaticLeaf(7, {0.0});
    TqOcStaticGroup outside;
    outside.AddChild(elsewhere);
    for (TqOcShape* const shape :
         {static_cast<TqOcShape*>(&alone), static_cast<TqOcShape*>(ShapeOf(other->GetChild(1))),
          elsewhere->GetChild(0)}) {
        root->RemoveShape(shape);
        EXPECT_TRUE(WasPostedOnce(posts));
    }
    std::unique_ptr<TqOcSingleLeaf> const loose(NewLeafAt(9, 0.0));
    for (TqOcTraversable* const leaf :
         {static_cast<TqOcTraversable*>(loose.get()), other->GetChild(1),
          static_cast<TqOcTraversable*>(elsewhere), static_cast<TqOcTraversable*>(root.get())}) {
        root->RemoveLeaf(leaf);
        EXPECT_TRUE(WasPostedOnce(posts));
        root->DeleteLeaf(leaf);
        EXPECT_TRUE(WasPostedOnce(posts));
    }
    EXPECT_EQ(StructureOf(*root), "(0 1 2 )");
    EXPECT_EQ(StructureOf(*other), "(3 4 5 )");
    EXPECT_EQ(outside.GetNumChildren(), 1);
    EXPECT_EQ(root->GetModified(), 0u);
    EXPECT_EQ(other->GetModified(), 0u);
}

TEST(TqOcDynamicGroup, RemovesAShapeOfSeveralParentsFromItsOwnLeaf)
{
    TqOcDynamicGroup first;
    TqOcDynamicGroup second;
    TqOcStaticLeaf outside;
    auto* const shape = new PlayShape(0, MakeCube(0, 0, 0, 1));
    outside.AddChild(shape);
    first.AddShape(shape);
    second.AddShape(shape);
    ASSERT_TRUE(shape->HasMultipleParents());
    EXPECT_EQ(shape->GetMultipleParents()->Size(), 3);
    DynamicTreeRules rules;
    rules.allowOtherParents = true;
    first.Update();
    second.Update();
    EXPECT_TRUE(IsSoundDynamicTree(first, {shape}, rules));
    EXPECT_TRUE(IsSoundDynamicTree(second, {shape}, rules));

    second.RemoveShape(shape);
    EXPECT_EQ(second.GetNumChildren(), 0);
    EXPECT_EQ(first.GetNumChildren(), 1);
    PostedErrors posts;
    second.RemoveShape(shape);
    EXPECT_TRUE(WasPostedOnce(posts));
    first.RemoveShape(shape);
    EXPECT_TRUE(posts.Empty());
    EXPECT_TRUE(IsOnlyParent(*shape, &outside));
}

TEST(TqOcDynamicGroup, RemovesALeafOfSeveralParentsFromThisTree)
{
    TqOcStaticGroup outside;
    TqOcDynamicGroup root;
    TqOcDynamicGroup other;
    TqOcSingleLeaf* const leaf = NewLeafAt(0, 0.0);
    outside.AddChild(leaf);
    root.AddLeaf(leaf);
    other.AddLeaf(leaf);
    PostedErrors posts;
    root.RemoveLeaf(leaf);
    EXPECT_EQ(root.GetNumChildren(), 0);
    EXPECT_EQ(other.GetNumChildren(), 1);
    EXPECT_EQ(outside.GetNumChildren(), 1);
    root.RemoveLeaf(leaf);
    EXPECT_TRUE(WasPostedOnce(posts));
    other.DeleteLeaf(leaf);
    EXPECT_TRUE(posts.Empty());
    EXPECT_TRUE(IsOnlyParent(*leaf, &outside));
}

TEST(TqOcDynamicGroup, RefusesToRemoveAShapeFromALeafThatDoesNotListIt)
{
    PostedErrors posts;
    TqOcDynamicGroup root;
    TqOcStaticLeaf* const leaf = NewStaticLeaf(0, {0.0, 2.0});
    root.AddLeaf(leaf);
    root.Update();
    PlayShape stray(9, MakeCube(0, 0, 0, 1));
    stray.SetSingleParent(leaf);
    root.RemoveShape(&stray);
    EXPECT_EQ(posts.Size(), 1);
    EXPECT_EQ(posts.Get()[0].component, "TqOcDynamicGroup"); // and not from an index of -1
    EXPECT_EQ(StructureOf(root), "([0 1 ])");
    EXPECT_EQ(root.GetModified(), 0u);
}

TEST(TqOcDynamicGroup, RefusesToRemoveAShapeFromALeafThatReportsNoChildren)
{
    PostedErrors posts;
    TqOcDynamicGroup root;
    auto* const shape = new PlayShape(0, MakeCube(0, 0, 0, 1));
    auto* const leaf = new SilentLeaf(shape);
    root.AddLeaf(leaf);
    root.Update();
    root.RemoveShape(shape);
    EXPECT_TRUE(WasPostedOnce(posts));
    EXPECT_EQ(root.GetNumChildren(), 1);
    EXPECT_TRUE(IsOnlyParent(*shape, leaf));
}

TEST(TqOcDynamicGroup, AdditionsAreUndoneWhenTheShapeCannotBeMeasured)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        std::unique_ptr<TqOcDynamicGroup> const root(NewRow(0, 7, 0.0));
        auto* const shape = new PlayShape(7, MakeCube(0, 0, 0, 1));
        shape->SetRefusing(true);
        std::size_t const before = TqUMemory::GetLiveBlocks();
        EXPECT_THROW(root->AddShape(shape), BoxRefused);
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), before);
        EXPECT_FALSE(shape->HasParent());
        TqOcShape* shapes[] = {shape};
        auto* const leaf = new TqOcStaticLeaf(shapes, 1);
        EXPECT_THROW(root->AddLeaf(leaf), BoxRefused);
        EXPECT_FALSE(leaf->HasParent());
        EXPECT_EQ(StructureOf(*root), "(0 1 2 3 4 5 6 )");
        EXPECT_EQ(root->GetModified(), 0u);
        delete leaf; // with the shape
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

// ---- Beside static containers -------------------------------------------------------------------

TEST(TqOcDynamicGroup, GetsTheShapesThatAStaticGroupAddsInsideItsBox)
{
    TqOcStaticGroup scene;
    auto* const root = new TqOcDynamicGroup;
    for (int i = 0; i < 5; ++i) {
        root->AddShape(new PlayShape(i, MakeCube(10.0 * i, 0, 0, 1)));
    }
    scene.AddChild(root);
    scene.Update();
    auto* const inside = new PlayShape(5, MakeCube(15.0, 0, 0, 0.5));
    scene.AddShape(inside);
    EXPECT_EQ(scene.GetNumChildren(), 1);
    EXPECT_EQ(StructureOf(*root), "(0 1 2 3 4 5 )");
    scene.Update();
    DynamicTreeRules rules;
    rules.allowOtherParents = true;
    EXPECT_TRUE(IsSoundDynamicTree(*root, ShapesOf(*root), rules));
}

TEST(TqOcDynamicGroup, TellsItsOwnerOfEveryChangeOfItsBox)
{
    TqOcStaticGroup scene;
    auto* const root = new TqOcDynamicGroup;
    scene.AddChild(root);
    scene.Update();
    PlayShape* shapes[20];
    for (int i = 0; i < 20; ++i) {
        shapes[i] = new PlayShape(i, MakeCube(10.0 * i, 0, 0, 1));
        root->AddShape(shapes[i]);
        scene.Update();
        EXPECT_EQ(scene.GetBoundingBox(), MakeBox(-1, -1, -1, 10.0 * i + 1, 1, 1));
    }
    shapes[3]->MoveBy(0.0, 50.0, 0.0);
    scene.Update();
    EXPECT_EQ(scene.GetBoundingBox(), MakeBox(-1, -1, -1, 191, 51, 1));
    for (int i = 19; i > 3; --i) {
        root->DeleteShape(shapes[i]);
        scene.Update();
        EXPECT_EQ(scene.GetBoundingBox(), MakeBox(-1, -1, -1, i > 4 ? 10.0 * i - 9 : 31, 51, 1));
    }
}
