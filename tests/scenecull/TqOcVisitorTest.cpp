// The plain visitor: what it sees of each node class, in which order, and what it may leave out.

#include "scenecull/TqOcVisitor.h"

#include "support/Recorders.h"

#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

/// A shape that would notice being entered through its own Visit.
class SelfVisitingShape : public RecordingShape
{
public:
    SelfVisitingShape(EventLog* log, std::string const& name)
        : RecordingShape(log, name, MakeCube(0, 0, 0, 1))
        , m_log(log)
    {}

    void Visit(TqOcVisitor*) override { m_log->Add("Visit " + GetName()); }

private:
    EventLog* m_log;
};

/// A container class without a Visit of its own.
class BareContainer : public TqOcStaticBase
{
public:
    using TqOcStaticBase::TqOcStaticBase;
};

/// root(a(1 2) b() c(3)) of static groups and leaves, d a single leaf of shape 4.
struct Building
{
    EventLog log;
    RecordingGroup root{&log, "root"};

    Building()
    {
        auto* const a = new RecordingLeaf(&log, "a");
        a->AddChild(NewShape("1"));
        a->AddChild(NewShape("2"));
        auto* const b = new RecordingGroup(&log, "b");
        auto* const c = new RecordingGroup(&log, "c");
        auto* const leaf = new RecordingLeaf(&log, "leaf");
        leaf->AddChild(NewShape("3"));
        c->AddChild(leaf);
        auto* const d = new RecordingSingleLeaf(&log, "d", NewShape("4"));
        root.AddChild(a);
        root.AddChild(b);
        root.AddChild(c);
        root.AddChild(d);
        root.Update();
        log.Clear();
    }

    RecordingShape* NewShape(char const* name)
    {
        return new RecordingShape(&log, name, MakeCube(0, 0, 0, 1));
    }
};

} // namespace

// ---- Callbacks ----------------------------------------------------------------------------------

TEST(TqOcVisitor, ContinuesByDefault)
{
    PlainTraversable node;
    EventLog log;
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    TqOcVisitor visitor;
    EXPECT_EQ(visitor.BeginVisit(&node), TqOcVisitor::eCONTINUE);
    EXPECT_EQ(visitor.EndVisit(&node), TqOcVisitor::eCONTINUE);
    visitor.VisitShape(&shape);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(static_cast<int>(TqOcVisitor::eCONTINUE), 0);
    EXPECT_EQ(static_cast<int>(TqOcVisitor::ePRUNE), 1);
}

TEST(TqOcVisitor, CanBeCopiedAndDestroyedThroughItsBase)
{
    TqOcVisitor const visitor;
    std::unique_ptr<TqOcVisitor> copy = std::make_unique<TqOcVisitor>(visitor);
    *copy = visitor;
    static_assert(sizeof(TqOcVisitor) == sizeof(void*)); // nothing but its virtual operations
    static int s_destroyed = 0;

    class Derived : public TqOcVisitor
    {
    public:
        ~Derived() override { ++s_destroyed; }
    };

    copy = std::make_unique<Derived>();
    copy.reset();
    EXPECT_EQ(s_destroyed, 1);
}

// ---- Order --------------------------------------------------------------------------------------

TEST(TqOcVisitor, SeesContainersOnTheWayDownAndUpAndShapesInChildOrder)
{
    Building building;
    RecordingVisitor visitor(&building.log);
    visitor.Apply(&building.root);
    EXPECT_EQ(building.log.Take(),
              (Lines{"BeginVisit root", "BeginVisit a", "VisitShape 1", "VisitShape 2",
                     "EndVisit a", "BeginVisit b", "EndVisit b", "BeginVisit c", "BeginVisit leaf",
                     "VisitShape 3", "EndVisit leaf", "EndVisit c", "BeginVisit d", "VisitShape 4",
                     "EndVisit d", "EndVisit root"}));
}

TEST(TqOcVisitor, GetsOnlyBeginAndEndOfARootThatItPrunes)
{
    Building building;
    RecordingVisitor visitor(&building.log);
    visitor.prunedName = "root";
    visitor.Apply(&building.root);
    EXPECT_EQ(building.log.Take(), (Lines{"BeginVisit root", "EndVisit root"}));
}

TEST(TqOcVisitor, SkipsTheChildrenOfAContainerThatItPrunes)
{
    struct Case
    {
        char const* pruned;
        Lines missing;
    };

    Case const cases[] = {
        {"a", {"VisitShape 1", "VisitShape 2"}},
        {"b", {}},
        {"c", {"BeginVisit leaf", "VisitShape 3", "EndVisit leaf"}},
        {"leaf", {"VisitShape 3"}},
        {"d", {"VisitShape 4"}},
    };
    Building building;
    RecordingVisitor visitor(&building.log);
    visitor.Apply(&building.root);
    Lines const all = building.log.Take();
    for (Case const& one : cases) {
        SCOPED_TRACE(one.pruned);
        Lines expected = all;
        for (std::string const& line : one.missing) {
            std::erase(expected, line);
        }
        visitor.prunedName = one.pruned;
        visitor.Apply(&building.root);
        EXPECT_EQ(building.log.Take(), expected);
    }
}

TEST(TqOcVisitor, GetsOnlyBeginAndEndOfAnEmptyStaticGroup)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    RecordingVisitor visitor(&log);
    visitor.Apply(&group);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit group", "EndVisit group"}));
}

TEST(TqOcVisitor, GetsOnlyBeginAndEndOfAnEmptyStaticLeaf)
{
    EventLog log;
    RecordingLeaf leaf(&log, "leaf");
    RecordingVisitor visitor(&log);
    visitor.Apply(&leaf);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit leaf", "EndVisit leaf"}));
}

TEST(TqOcVisitor, GetsOnlyBeginAndEndOfAContainerClassWithoutAVisitOfItsOwn)
{
    EventLog log;
    RecordingNode<BareContainer> container(&log, "container");
    container.AddChild(new RecordingShape(&log, "shape", MakeCube(0, 0, 0, 1)));
    container.Update();
    log.Clear();
    RecordingVisitor visitor(&log);
    visitor.Apply(&container);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit container", "EndVisit container"}));
}

TEST(TqOcVisitor, IgnoresAPruningAnswerOfEndVisitWithoutAMessage)
{
    PostedErrors posted;
    Building building;
    RecordingVisitor visitor(&building.log);
    visitor.Apply(&building.root);
    Lines const all = building.log.Take();
    visitor.endAction = TqOcVisitor::ePRUNE;
    visitor.Apply(&building.root);
    EXPECT_EQ(building.log.Take(), all);
    EXPECT_EQ(posted.AsLines(), Lines{});
}

TEST(TqOcVisitor, ReportsShapesOfLeavesWithoutTheirOwnVisit)
{
    EventLog log;
    RecordingLeaf leaf(&log, "leaf");
    leaf.AddChild(new SelfVisitingShape(&log, "1"));
    RecordingSingleLeaf single(&log, "single", new SelfVisitingShape(&log, "2"));
    leaf.Update();
    single.Update();
    log.Clear();
    RecordingVisitor visitor(&log);
    visitor.Apply(&leaf);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit leaf", "VisitShape 1", "EndVisit leaf"}));
    visitor.Apply(&single);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit single", "VisitShape 2", "EndVisit single"}));
}

TEST(TqOcVisitor, LetsShapesThatAStaticGroupHoldsTakeTheirOwnVisit)
{
    EventLog log;
    RecordingGroup group(&log, "group");
    group.SetLeaf(1);
    group.AddShape(new SelfVisitingShape(&log, "1"));
    group.Update();
    log.Clear();
    RecordingVisitor visitor(&log);
    visitor.Apply(&group);
    Lines const lines = log.Take();
    EXPECT_EQ(lines, (Lines{"BeginVisit group", "Visit 1", "EndVisit group"}));
}

// ---- What it sees -------------------------------------------------------------------------------

TEST(TqOcVisitor, SeesNodesThatOtherWalksSkip)
{
    Building building;
    RecordingVisitor visitor(&building.log);
    visitor.Apply(&building.root);
    Lines const all = building.log.Take();

    TqOcBaseTraversable* const* children = nullptr;
    int const count = building.root.GetChildren(&children);
    ASSERT_EQ(count, 4);
    for (int i = 0; i < count; ++i) {
        children[i]->UpdateHideRender(1);
        children[i]->UpdateIgnorePick(1);
        children[i]->SetFrameId(0);
        children[i]->SetTraversed();
    }
    visitor.Apply(&building.root);
    EXPECT_EQ(building.log.Take(), all);
    for (int i = 0; i < count; ++i) {
        EXPECT_TRUE(children[i]->IsTraversed()); // and leaves every mark alone
        children[i]->ClearTraversed();
    }
}

TEST(TqOcVisitor, SeesANodeOncePerPathThatLeadsToIt)
{
    EventLog log;
    auto* const shared = new RecordingLeaf(&log, "shared");
    shared->AddChild(new RecordingShape(&log, "shape", MakeCube(0, 0, 0, 1)));
    auto* const left = new RecordingGroup(&log, "left");
    auto* const right = new RecordingGroup(&log, "right");
    left->AddChild(shared);
    right->AddChild(shared);
    RecordingGroup root(&log, "root");
    root.AddChild(left);
    root.AddChild(right);
    root.Update();
    log.Clear();
    RecordingVisitor visitor(&log);
    visitor.Apply(&root);
    EXPECT_EQ(log.Take("VisitShape"), (Lines{"VisitShape shape", "VisitShape shape"}));
}

// ---- Update -------------------------------------------------------------------------------------

TEST(TqOcVisitor, UpdatesAModifiedRootBeforeTheFirstCallback)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    root.SetModified(0x02);
    RecordingVisitor visitor(&log);
    visitor.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"DoUpdate root", "BeginVisit root", "EndVisit root"}));
    EXPECT_EQ(root.GetModified(), 0u);
}

TEST(TqOcVisitor, DoesNotUpdateARootWithoutModifiedBits)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    RecordingVisitor visitor(&log);
    visitor.Apply(&root);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit root", "EndVisit root"}));
}

TEST(TqOcVisitor, PostsANullRootAndVisitsNothing)
{
    EventLog log;
    PostedErrors posted;
    RecordingVisitor visitor(&log);
    visitor.Apply(nullptr);
    EXPECT_EQ(log.Take(), Lines{});
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcVisitor");
}
