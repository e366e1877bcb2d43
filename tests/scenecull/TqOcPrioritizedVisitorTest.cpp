// The prioritized visitor: what it sees of each node class, what it is offered, in which order, and
// what it leaves alone. How a visit ends early is tested beside this.

#include "support/FakeClock.h"
#include "support/PostedErrors.h"
#include "support/VisitStage.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

constexpr double s_infinity = std::numeric_limits<double>::infinity();
constexpr double s_nan = std::numeric_limits<double>::quiet_NaN();

/// Makes a group of either kind.
using GroupMaker =
    std::function<TqOcTraversable*(VisitStage&, std::string const&, VisitStage::Children)>;

struct GroupKind
{
    char const* name;
    GroupMaker make;
    char const* component; ///< Against which it posts.
};

std::vector<GroupKind> const& GroupKinds()
{
    static std::vector<GroupKind> const s_kinds = {
        {"static group",
         [](VisitStage& stage, std::string const& name, VisitStage::Children children) {
             return stage.Group(name, children);
         },
         "TqOcStaticBase"},
        {"dynamic group",
         [](VisitStage& stage, std::string const& name, VisitStage::Children children) {
             return stage.DynamicGroup(name, children);
         },
         "TqOcDynamicGroup"}};
    return s_kinds;
}

struct LeafKind
{
    char const* name;
    std::function<TqOcTraversable*(VisitStage&, std::string const&, std::vector<TqOcShape*> const&)>
        make;
    int numShapes; ///< As many as it is given in these tests.
};

/// The node classes that hold shapes, a static group that was marked as a leaf by hand included.
std::vector<LeafKind> const& LeafKinds()
{
    static std::vector<LeafKind> const s_kinds = {
        {"static leaf",
         [](VisitStage& stage, std::string const& name, std::vector<TqOcShape*> const& shapes) {
             auto* const leaf = stage.ShapesLeaf(name, {});
             for (TqOcShape* const shape : shapes) {
                 leaf->AddChild(shape);
             }
             return leaf;
         },
         3},
        {"single leaf",
         [](VisitStage& stage, std::string const& name, std::vector<TqOcShape*> const& shapes) {
             return stage.Named(name, new TqOcSingleLeaf(shapes[0]));
         },
         1},
        {"group marked as a leaf",
         [](VisitStage& stage, std::string const& name, std::vector<TqOcShape*> const& shapes) {
             auto* const group = new TqOcStaticGroup;
             group->SetLeaf(1);
             for (TqOcShape* const shape : shapes) {
                 group->AddShape(shape);
             }
             return stage.Named(name, group);
         },
         3}};
    return s_kinds;
}

/// A leaf of the kind over shapes "1", "2", ... beside another leaf "z" further away.
struct LeafStage : VisitStage
{
    explicit LeafStage(LeafKind const& kind)
    {
        std::vector<TqOcShape*> all;
        for (int i = 1; i <= kind.numShapes; ++i) {
            shapes.push_back(Shape(std::to_string(i), 2.0));
            all.push_back(shapes.back());
        }
        leaf = kind.make(*this, "leaf", all);
        SetRoot({leaf, Leaf("z", 9.0)});
    }

    std::vector<RecordingShape*> shapes;
    TqOcTraversable* leaf;
};

/// What a visit does to the other leaf of a LeafStage.
Lines const& AfterLeaf()
{
    static Lines const s_lines = {"Begin z", "Shape z", "End z"};
    return s_lines;
}

Lines operator+(Lines left, Lines const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// "Shape 1", "Shape 2", ...
Lines ShapeLines(int count)
{
    Lines lines;
    for (int i = 1; i <= count; ++i) {
        lines.push_back("Shape " + std::to_string(i));
    }
    return lines;
}

/// A shape with a Visit of its own.
class SelfVisitingShape : public RecordingShape
{
public:
    SelfVisitingShape(EventLog* log, std::string const& name, TqLBox3f const& box)
        : RecordingShape(log, name, box)
        , m_log(log)
    {}

    void Visit(TqOcVisitor* visitor) override
    {
        lastVisitor = visitor;
        m_log->Add("Visit " + GetName());
    }

    TqOcVisitor* lastVisitor = nullptr;

private:
    EventLog* m_log;
};

/// A container class without a turn of its own.
class BareContainer : public TqOcStaticBase
{
public:
    using TqOcStaticBase::TqOcStaticBase;
};

/// Keeps what a node class answered in its last turn.
template <class Node>
class TellingNode : public Node
{
public:
    using Node::Node;

    int told = -1;

    TqOcBaseTraversable::TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor,
                                                          TqOcTravState* state) override
    {
        TqOcBaseTraversable::TraversalStatus const status = Node::PrioritizedVisit(visitor, state);
        told = status;
        return status;
    }
};

/// Opens what a visitor is to its traversal.
class OpenVisitor : public TqOcPrioritizedVisitor
{
public:
    TqOcContext* GetContext() { return this; }
};

Lines PrunePost(char const* component)
{
    return {std::string("1 ") + component + ": Prune in end visit has no effect"};
}

} // namespace

// ---- Making one ---------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, OwnsATraversalWithDefaultsAndTheInterruptiblePolicy)
{
    OpenVisitor visitor;
    TqOcContext context;
    TqOcPrioritizedTraversal const plain(&context);
    TqOcPrioritizedTraversal const& owned = *visitor.ConfigureTraversal();
    EXPECT_EQ(owned.GetPolicy(), TqOcRenderTraversal::eINTERRUPTIBLE);
    EXPECT_EQ(static_cast<int>(owned.GetPolicy()), 4);
    EXPECT_EQ(owned.GetContext(), visitor.GetContext());
    EXPECT_EQ(visitor.ConfigureTraversal(), &owned);

    EXPECT_EQ(owned.GetCullArea(), plain.GetCullArea());
    EXPECT_EQ(owned.GetCullExtent(), plain.GetCullExtent());
    EXPECT_EQ(owned.GetCullDistance(), plain.GetCullDistance());
    EXPECT_EQ(owned.GetPrimitiveBits(), plain.GetPrimitiveBits());
    EXPECT_EQ(owned.GetPrimary(), plain.GetPrimary());
    EXPECT_EQ(owned.GetSecondary(), plain.GetSecondary());
    EXPECT_EQ(owned.GetSortSlack(), plain.GetSortSlack());
    EXPECT_EQ(owned.GetSlackStart(), plain.GetSlackStart());
    EXPECT_EQ(owned.IsOcclusionCulling(), plain.IsOcclusionCulling());
    EXPECT_EQ(owned.GetStress(), plain.GetStress());
    EXPECT_EQ(owned.GetNumClipPlanes(), 0);
    EXPECT_EQ(owned.GetDynamicPriorityCallback(), nullptr);
    EXPECT_EQ(owned.GetDynamicShapeCullCallback(), nullptr);
}

TEST(TqOcPrioritizedVisitor, IsAVisitorInTheFirstPlaceAndAHostOnlyToItself)
{
    static_assert(std::is_base_of_v<TqOcContext, TqOcPrioritizedVisitor>);
    static_assert(!std::is_convertible_v<TqOcPrioritizedVisitor*, TqOcContext*>);
    static_assert(!std::is_copy_constructible_v<TqOcPrioritizedVisitor>);
    TqOcPrioritizedVisitor visitor;
    EXPECT_EQ(static_cast<void*>(static_cast<TqOcVisitor*>(&visitor)),
              static_cast<void*>(&visitor));
}

TEST(TqOcPrioritizedVisitor, GoesThroughItsBaseWhenItIsDestroyed)
{
    static int s_destroyed = 0;

    class Derived : public TqOcPrioritizedVisitor
    {
    public:
        ~Derived() override { ++s_destroyed; }
    };

    std::unique_ptr<TqOcVisitor> visitor = std::make_unique<Derived>();
    visitor.reset();
    EXPECT_EQ(s_destroyed, 1);
}

TEST(TqOcPrioritizedVisitor, KeepsTheInitialCullBits)
{
    TqOcPrioritizedVisitor visitor;
    EXPECT_EQ(visitor.GetInitialCullBits(), 7);
    visitor.SetInitialCullBits(63);
    EXPECT_EQ(visitor.GetInitialCullBits(), 63);
}

TEST(TqOcPrioritizedVisitor, ContinuesByDefault)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    TqOcPrioritizedVisitor visitor;
    VisitStage::SetUp(visitor);
    PostedErrors posts;
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.ConfigureTraversal()->GetNumFrustumCullTests(), 3U) << "root, a and b";
    EXPECT_TRUE(posts.Empty());
}

// ---- Root ---------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, UpdatesAModifiedRootBeforeTheFirstCallback)
{
    VisitStage stage;
    auto* const root = new RecordingGroup(&stage.log, "root");
    stage.root.reset(root);
    root->AddChild(stage.Leaf("a", 1.0));
    EXPECT_EQ(stage.Visit(),
              (Lines{"DoUpdate root", "Begin root", "End root", "Begin a", "Shape a", "End a"}));
    EXPECT_EQ(root->GetModified(), 0U);
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin a", "Shape a", "End a"}))
        << "nothing was modified";
}

TEST(TqOcPrioritizedVisitor, PostsANullRootAndVisitsNothing)
{
    VisitStage stage;
    PostedErrors posts;
    EXPECT_EQ(stage.Visit(), Lines());
    EXPECT_EQ(posts.AsLines(), (Lines{"1 TqOcVisitor: A visitor was applied to a null root"}));
}

TEST(TqOcPrioritizedVisitor, VisitsNothingOfARootWithAnEmptyBox)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    stage.visitor.onEvent = [](std::string const& event) { ADD_FAILURE() << event; };
    stage.SetRoot({});
    EXPECT_EQ(stage.Visit(), Lines());

    // Only x says whether a box is empty.
    auto* const root = new RecordingGroup(&stage.log, "root");
    stage.root.reset(root);
    root->UpdateBoundingBox(MakeBox(1.0, -1.0, -5.0, -1.0, 1.0, -4.0));
    EXPECT_EQ(stage.Visit(), Lines());
    stage.visitor.onEvent = nullptr;
    root->UpdateBoundingBox(MakeBox(0.0, -1.0, -5.0, 0.0, 1.0, -4.0));
    EXPECT_EQ(stage.Visit(), (Lines{"Score root", "Begin root", "End root"}));
}

TEST(TqOcPrioritizedVisitor, StartsItsTraversalAlsoForARootWithAnEmptyBox)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("behind", -100.0)});
    stage.Visit();
    ASSERT_GT(stage.Settings().GetTrisFrustumCulled(), 0U);
    stage.Settings().SetMinStress(4.0);
    stage.SetRoot({});
    stage.Visit();
    EXPECT_EQ(stage.Settings().GetTrisFrustumCulled(), 0U);
    EXPECT_EQ(stage.Settings().GetStress(), 4.0);
}

TEST(TqOcPrioritizedVisitor, EndsWithoutWalkingWhenTheRootIsCulled)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    stage.SetRoot({stage.Leaf("behind", -100.0)});
    EXPECT_EQ(stage.Visit(), Lines{"Score root"});
    EXPECT_FALSE(stage.IsAnyMarked());

    stage.SetRoot({stage.Leaf("a", 1.0)});
    stage.visitor.culled = {"root"};
    EXPECT_EQ(stage.Visit(), Lines{"Score root"}) << "by the visitor's own answer";
}

TEST(TqOcPrioritizedVisitor, VisitsARootThatIsHiddenItselfOrOfAnotherKind)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    stage.root->Update();
    stage.root->UpdateHideRender(1);
    stage.root->UpdatePrimitives(TqLPrimitiveTypes::eNONE);
    EXPECT_EQ(stage.VisitShapes(), Lines{"a"});

    stage.root.reset(stage.Leaf("b", 1.0));
    stage.root->Update();
    stage.root->UpdateHideRender(1);
    EXPECT_EQ(stage.Visit(), (Lines{"Begin b", "Shape b", "End b"}));
}

TEST(TqOcPrioritizedVisitor, TakesAnyNodeClassAsRoot)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        std::vector<TqOcShape*> shapes;
        for (int i = 1; i <= kind.numShapes; ++i) {
            shapes.push_back(stage.Shape(std::to_string(i), 1.0));
        }
        stage.root.reset(kind.make(stage, "leaf", shapes));
        EXPECT_EQ(stage.Visit(),
                  Lines{"Begin leaf"} + ShapeLines(kind.numShapes) + Lines{"End leaf"});
    }
    VisitStage stage;
    stage.root.reset(stage.DynamicGroup("root", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)}));
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin a", "Shape a", "End a",
                                    "Begin b", "Shape b", "End b"}));
}

TEST(TqOcPrioritizedVisitor, VisitsOneRootAfterAnother)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    auto const old = std::move(stage.root);
    stage.SetRoot({stage.Leaf("b", 1.0)});
    EXPECT_EQ(stage.VisitShapes(), Lines{"b"});
    stage.visitor.Apply(old.get());
    EXPECT_EQ(stage.log.Take("Shape"), Lines{"Shape a"});
    EXPECT_EQ(stage.VisitShapes(), Lines{"b"});
}

// ---- Containers without a turn of their own -----------------------------------------------------

TEST(TqOcTraversable, GetsBeginAndEndOfAPrioritizedVisitByDefault)
{
    VisitStage stage;
    auto* const plain = new RecordingTraversable(&stage.log, "plain");
    stage.root.reset(plain);
    plain->UpdateBoundingBox(MakeCube(0.0, 0.0, -4.0, 1.0));
    EXPECT_EQ(stage.Visit(), (Lines{"Begin plain", "End plain"}));
    stage.visitor.pruned = {"plain"};
    EXPECT_EQ(stage.Visit(), (Lines{"Begin plain", "End plain"})) << "it has nothing to leave out";
    stage.visitor.endPruned = {"plain"};
    PostedErrors const posted;
    EXPECT_EQ(stage.Visit(), (Lines{"Begin plain", "End plain"}));
    EXPECT_TRUE(posted.Empty());
}

TEST(TqOcStaticBase, GetsBeginAndEndOfAPrioritizedVisitByDefault)
{
    VisitStage stage;
    auto* const bare = stage.Named("bare", new BareContainer);
    bare->AddChild(stage.Leaf("never offered", 1.0));
    stage.SetRoot({bare, stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.Visit(),
              (Lines{"Begin root", "End root", "Begin bare", "End bare"} + AfterLeaf()));
}

// ---- Groups -------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, EndsAGroupRightAfterItsChildrenWereQueued)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        stage.visitor.logsScores = true;
        auto* const group = kind.make(stage, "group", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
        stage.SetRoot({group, stage.Leaf("z", 9.0)});
        // Children are scored in the reverse order of appending.
        EXPECT_EQ(stage.Visit(),
                  (Lines{"Score root", "Begin root", "End root", "Score z", "Score group",
                         "Begin group", "End group", "Score b", "Score a", "Begin a", "Shape a",
                         "End a", "Begin b", "Shape b", "End b"} +
                   AfterLeaf()));
    }
}

TEST(TqOcPrioritizedVisitor, VisitsNothingBelowAPrunedRootAndDoesNotEndIt)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        stage.visitor.logsScores = true;
        stage.root.reset(kind.make(stage, "root", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)}));
        stage.visitor.pruned = {"root"};
        EXPECT_EQ(stage.Visit(), (Lines{"Score root", "Begin root"}));
        stage.visitor.pruned.clear();
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
    }
}

TEST(TqOcPrioritizedVisitor, GoesOnWithTheSiblingsOfAPrunedGroup)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        auto* const group = kind.make(stage, "group", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
        stage.SetRoot({group, stage.Leaf("z", 9.0)});
        stage.visitor.pruned = {"group"};
        EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin group"} + AfterLeaf()));
    }
}

TEST(TqOcPrioritizedVisitor, GetsBeginAndEndOfAnEmptyGroup)
{
    VisitStage stage;
    auto* const empty = new RecordingGroup(&stage.log, "empty");
    auto* const dynamic = new RecordingNode<TqOcDynamicGroup>(&stage.log, "dynamic");
    stage.SetRoot({empty, dynamic, stage.Leaf("z", 9.0)});
    stage.root->Update();
    auto const show = [](auto* group) {
        group->UpdateBoundingBox(MakeCube(0.0, 0.0, -4.0, 1.0));
        group->UpdateHideRender(0);
        group->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    };
    show(empty);
    show(dynamic);
    stage.visitor.priorities = {{"empty", 1.0}, {"dynamic", 2.0}};
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin empty", "End empty",
                                    "Begin dynamic", "End dynamic"} +
                              AfterLeaf()));
}

TEST(TqOcPrioritizedVisitor, PostsThatPruningInEndVisitHasNoEffectAndGoesOn)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        auto* const group = kind.make(stage, "group", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
        stage.SetRoot({group, stage.Leaf("z", 9.0)});
        Lines const all = stage.Visit();
        stage.visitor.endPruned = {"group"};
        PostedErrors posts;
        EXPECT_EQ(stage.Visit(), all);
        EXPECT_EQ(posts.AsLines(), PrunePost(kind.component));
        posts.Clear();
        stage.visitor.endPruned.clear();
        stage.Visit();
        EXPECT_TRUE(posts.Empty());
    }
}

TEST(TqOcPrioritizedVisitor, IsToldByEachNodeClassWhetherItAppended)
{
    VisitStage stage;
    auto* const group = new TellingNode<TqOcStaticGroup>;
    auto* const dynamic = new TellingNode<TqOcDynamicGroup>;
    auto* const leaf = new TellingNode<TqOcStaticLeaf>;
    auto* const single = new TellingNode<TqOcSingleLeaf>(stage.Shape("1", 1.0));
    auto* const plain = new TellingNode<PlainTraversable>;
    leaf->AddChild(stage.Shape("2", 2.0));
    group->AddChild(stage.Leaf("3", 3.0));
    dynamic->AddChild(stage.Leaf("4", 4.0));
    stage.SetRoot({stage.Named("group", group), stage.Named("dynamic", dynamic),
                   stage.Named("leaf", leaf), stage.Named("single", single),
                   stage.Named("plain", plain)});
    stage.root->Update();
    plain->UpdatePrimitives(TqLPrimitiveTypes::eTRIANGLES);
    plain->SetBoundingBox(MakeCube(0.0, 0.0, -4.0, 1.0));
    EXPECT_EQ(stage.VisitShapes(), (Lines{"1", "2", "3", "4"}));
    EXPECT_EQ(group->told, TqOcBaseTraversable::eAPPENDED);
    EXPECT_EQ(dynamic->told, TqOcBaseTraversable::eAPPENDED);
    EXPECT_EQ(leaf->told, TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(single->told, TqOcBaseTraversable::eFINISHED);
    EXPECT_EQ(plain->told, TqOcBaseTraversable::eFINISHED);

    stage.visitor.pruned = {"group", "dynamic", "leaf", "single", "plain"};
    EXPECT_EQ(stage.VisitShapes(), Lines());
    for (auto const told : {group->told, dynamic->told, leaf->told, single->told, plain->told}) {
        EXPECT_EQ(told, TqOcBaseTraversable::eFINISHED);
    }
}

// ---- Leaves -------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, VisitsTheShapesOfALeafInOrderBetweenBeginAndEnd)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        EXPECT_EQ(stage.Visit(), Lines({"Begin root", "End root", "Begin leaf"}) +
                                     ShapeLines(kind.numShapes) + Lines{"End leaf"} + AfterLeaf());
    }
}

TEST(TqOcPrioritizedVisitor, SkipsTheShapesOfAPrunedLeafAndDoesNotEndIt)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        stage.visitor.pruned = {"leaf"};
        EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin leaf"} + AfterLeaf()));
    }
}

TEST(TqOcPrioritizedVisitor, PostsThatPruningInALeafsEndVisitHasNoEffect)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        Lines const all = stage.Visit();
        stage.visitor.endPruned = {"leaf"};
        PostedErrors posts;
        EXPECT_EQ(stage.Visit(), all);
        EXPECT_EQ(posts.AsLines(), PrunePost("TqOcStaticBase"));
    }
}

TEST(TqOcPrioritizedVisitor, DoesNotVisitHiddenShapesOfALeaf)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        stage.root->Update();
        for (RecordingShape* const shape : stage.shapes) {
            shape->UpdateHideRender(1); // the leaf does not know
            Lines const visited = stage.Visit();
            EXPECT_EQ(std::count(visited.begin(), visited.end(), "Shape " + shape->GetName()), 0);
            EXPECT_EQ(std::count(visited.begin(), visited.end(), "End leaf"), 1);
            EXPECT_EQ(visited.size(), static_cast<std::size_t>(kind.numShapes) + 6U);
            shape->UpdateHideRender(0);
        }
    }
}

TEST(TqOcPrioritizedVisitor, DoesNotVisitShapesOfAKindThatIsNotDrawn)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        stage.root->Update();
        stage.shapes[0]->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
        stage.Settings().SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
        Lines expected;
        for (int i = 2; i <= kind.numShapes; ++i) {
            expected.push_back(std::to_string(i));
        }
        EXPECT_EQ(stage.VisitShapes(), expected + Lines{"z"});
        stage.Settings().SetPrimitiveBits(static_cast<TqLPrimitiveTypes::Enum>(255));
        EXPECT_EQ(stage.VisitShapes().size(), static_cast<std::size_t>(kind.numShapes) + 1U);
        stage.shapes[0]->UpdatePrimitives(TqLPrimitiveTypes::eNONE);
        EXPECT_EQ(stage.VisitShapes(), expected + Lines{"z"});
    }
}

TEST(TqOcPrioritizedVisitor, DoesNotVisitShapesThatTheShapeCullCallbackRejects)
{
    struct Rejects
    {
        TqOcShape const* rejected = nullptr;
        int answer = 0;
        std::vector<TqOcShape const*> asked;

        static int Call(TqOcShape const* shape, void* self)
        {
            auto* const rejects = static_cast<Rejects*>(self);
            rejects->asked.push_back(shape);
            return shape == rejects->rejected ? rejects->answer : 0;
        }
    };

    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        LeafStage stage(kind);
        std::size_t const all = stage.VisitShapes().size();
        Rejects rejects;
        stage.Settings().SetDynamicShapeCullCallback(&Rejects::Call, &rejects);
        for (int const answer : {0, 1, -1, 2, 0x100}) {
            rejects = Rejects{stage.shapes.back(), answer, {}};
            EXPECT_EQ(stage.VisitShapes().size(), all - (answer != 0 ? 1 : 0)) << answer;
            EXPECT_EQ(rejects.asked.size(), all);
        }
        // Only shapes that are drawn otherwise are asked about.
        stage.shapes[0]->UpdateHideRender(1);
        rejects = Rejects{};
        EXPECT_EQ(stage.VisitShapes().size(), all - 1);
        EXPECT_EQ(rejects.asked.size(), all - 1);
        EXPECT_EQ(std::count(rejects.asked.begin(), rejects.asked.end(), stage.shapes[0]), 0);
    }
}

TEST(TqOcPrioritizedVisitor, CallsTheVisitOfAShapeThatHasItsOwn)
{
    for (LeafKind const& kind : LeafKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        auto* const own = new SelfVisitingShape(&stage.log, "own", MakeCube(0.0, 0.0, -4.0, 0.25));
        std::vector<TqOcShape*> shapes = {own};
        if (kind.numShapes > 1) {
            shapes.push_back(stage.Shape("2", 1.0));
        }
        stage.root.reset(kind.make(stage, "leaf", shapes));
        EXPECT_EQ(stage.Visit(), Lines({"Begin leaf", "Visit own"}) +
                                     (kind.numShapes > 1 ? Lines{"Shape 2"} : Lines{}) +
                                     Lines{"End leaf"});
        EXPECT_EQ(own->lastVisitor, &stage.visitor);
        // A shape that is not drawn is not visited in its own way either.
        own->UpdateHideRender(1);
        Lines const hidden = stage.Visit();
        EXPECT_EQ(std::count(hidden.begin(), hidden.end(), "Visit own"), 0);
    }
}

TEST(TqOcPrioritizedVisitor, DoesNotTakeShapesFromTheirOwnBoxes)
{
    // A leaf is culled as a whole or not at all.
    VisitStage stage;
    auto* const outside =
        new RecordingShape(&stage.log, "outside", MakeCube(500.0, 0.0, -4.0, 1.0));
    stage.SetRoot(
        {stage.ShapesLeaf("leaf", {stage.Shape("in", 2.0), outside}), stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"in", "outside", "z"}));
}

TEST(TqOcSingleLeaf, GetsBeginAndEndOfAPrioritizedVisitWithoutAShape)
{
    VisitStage stage;
    auto* const shape = stage.Shape("gone", 1.0);
    auto* const leaf = stage.Named("leaf", new TqOcSingleLeaf(shape));
    stage.SetRoot({leaf, stage.Leaf("z", 9.0)});
    stage.root->Update();
    leaf->SetShape(nullptr);
    shape->RemoveParent(leaf);
    delete shape;
    stage.root->SetModified(0); // as if nothing was known of it
    leaf->SetModified(0);
    EXPECT_EQ(stage.Visit(),
              (Lines{"Begin root", "End root", "Begin leaf", "End leaf"} + AfterLeaf()));
}

TEST(TqOcStaticGroup, OffersItsContainersToAVisitAlsoWhileItIsMarkedAsALeaf)
{
    VisitStage stage;
    auto* const group = stage.Group("group", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    group->SetLeaf(1);
    stage.SetRoot({group, stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin group", "End group", "Begin a",
                                    "Shape a", "End a", "Begin b", "Shape b", "End b"} +
                              AfterLeaf()));
}

// ---- Offering -----------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, NeverOffersChildrenThatAreHiddenOrOfAKindThatIsNotDrawn)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        stage.visitor.logsScores = true;
        auto* const hidden = stage.Leaf("hidden", 1.0, 5);
        hidden->GetShape()->SetHideRender(1);
        auto* const lines = stage.Leaf("lines", 2.0, 7);
        lines->GetShape()->SetPrimitives(TqLPrimitiveTypes::eLINES);
        auto* const none = stage.Leaf("none", 3.0, 11);
        none->GetShape()->SetPrimitives(TqLPrimitiveTypes::eNONE);
        stage.root.reset(kind.make(
            stage, "root", {hidden, lines, none, stage.Leaf("a", 4.0), stage.Leaf("b", 5.0)}));
        stage.Settings().SetPrimitiveBits(TqLPrimitiveTypes::eTRIANGLES);
        EXPECT_EQ(stage.Visit(),
                  (Lines{"Score root", "Begin root", "End root", "Score b", "Score a", "Begin a",
                         "Shape a", "End a", "Begin b", "Shape b", "End b"}));
        EXPECT_EQ(stage.Settings().GetTrisVisibilityCulled(), 0U) << "nothing is counted";
        EXPECT_EQ(stage.Settings().GetTrisTraversedCulled(), 0U);
    }
}

TEST(TqOcPrioritizedVisitor, OffersChildrenThatHaveOneOfTheKindsThatAreDrawn)
{
    VisitStage stage;
    auto* const both = stage.Leaf("both", 1.0);
    both->GetShape()->SetPrimitives(static_cast<TqLPrimitiveTypes::Enum>(
        TqLPrimitiveTypes::eLINES | TqLPrimitiveTypes::ePOINTS));
    stage.SetRoot({both, stage.Leaf("b", 2.0)});
    stage.Settings().SetPrimitiveBits(TqLPrimitiveTypes::ePOINTS);
    EXPECT_EQ(stage.VisitShapes(), Lines{"both"});
}

TEST(TqOcPrioritizedVisitor, NeverOffersChildrenThatCarryTheTraversedMark)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        auto* const marked = stage.Leaf("marked", 2.0, 7);
        stage.root.reset(
            kind.make(stage, "root", {stage.Leaf("a", 1.0), marked, stage.Leaf("b", 3.0)}));
        stage.root->Update();
        marked->SetTraversed();
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
        EXPECT_EQ(stage.Settings().GetTrisTraversedCulled(), 0U) << "nothing is counted";
        marked->ClearTraversed();
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "marked", "b"}));
    }
}

TEST(TqOcPrioritizedVisitor, OffersChildrenThatAFrameDealtWith)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.root->Update();
    stage.Settings().SetFrameId(5);
    stage.ForEachNode([](TqOcBaseTraversable* node) { node->SetFrameId(5); });
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
}

TEST(TqOcPrioritizedVisitor, SkipsAnAncestorThatANodeOffers)
{
    VisitStage stage;
    auto* const below = stage.Group("below", {stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)});
    auto* const above = stage.Group("above", {below, stage.Leaf("d", 4.0)});
    stage.SetRoot({above, stage.Leaf("b", 2.0)});
    below->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, above);
        state->Append(visitor, static_cast<TqOcTraversable*>(stage.root.get()));
        return below->TqOcStaticGroup::PrioritizedVisit(visitor, state);
    };
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c", "d"}));
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedVisitor, EndsWhenAGroupOffersItself)
{
    VisitStage stage;
    auto* const group = stage.Group("group", {stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)});
    int turns = 0;
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        ++turns;
        state->Append(visitor, group);
        return group->TqOcStaticGroup::PrioritizedVisit(visitor, state);
    };
    stage.SetRoot({group, stage.Leaf("b", 2.0)});
    // Its first turn comes before it is on the path, so it is queued below itself once.
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "a", "b", "c", "c"}));
    EXPECT_EQ(turns, 2);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedVisitor, PostsANullChildAndGoesOn)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, nullptr);
        state->Append(visitor, nullptr, state->GetTravCull());
        return stage.Root()->TqOcStaticGroup::PrioritizedVisit(visitor, state);
    };
    std::string const post = "1 TqOcVisitor: A null child was offered to a visit";
    PostedErrors posts;
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
    EXPECT_EQ(posts.AsLines(), (Lines{post, post}));
}

TEST(TqOcPrioritizedVisitor, VisitsANodeUnderTwoParentsOncePerWay)
{
    VisitStage stage;
    auto* const shared = stage.Leaf("shared", 5.0);
    stage.SetRoot({stage.Group("first", {shared, stage.Leaf("a", 1.0)}),
                   stage.Group("second", {shared, stage.Leaf("z", 9.0)})});
    stage.visitor.priorities = {{"first", 1.0}, {"second", 8.0}};
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "shared", "shared", "z"}))
        << "no visit leaves a stamp that would keep it from being offered again";
    stage.visitor.priorities["second"] = 2.0; // opened while the shared leaf waits
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "shared", "shared", "z"}));
}

// ---- Order --------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, VisitsNearestFirst)
{
    for (GroupKind const& kind : GroupKinds()) {
        SCOPED_TRACE(kind.name);
        VisitStage stage;
        stage.root.reset(kind.make(stage, "root",
                                   {stage.Leaf("c", 3.0), stage.Leaf("a", 1.0),
                                    stage.Leaf("d", 4.0), stage.Leaf("b", 2.0)}));
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c", "d"}));
    }
}

TEST(TqOcPrioritizedVisitor, VisitsEqualPrioritiesInTheOrderOfAppending)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 5.0), stage.Leaf("b", 5.0), stage.Leaf("c", 5.0)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c"}));

    stage.SetRoot({stage.Leaf("e1", 5.0), stage.Leaf("near1", 1.0), stage.Leaf("e2", 5.0),
                   stage.Leaf("far", 9.0), stage.Leaf("e3", 5.0), stage.Leaf("near2", 1.0)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"near1", "near2", "e1", "e2", "e3", "far"}));
}

TEST(TqOcPrioritizedVisitor, PutsABranchOffBehindABetterSiblingAndComesBack)
{
    VisitStage stage;
    stage.SetRoot({stage.Group("a", {stage.Leaf("a1", 1.0), stage.Leaf("a6", 6.0)}),
                   stage.Group("b", {stage.Leaf("b2", 2.0), stage.Leaf("b5", 5.0)}),
                   stage.Group("c", {stage.Leaf("c3", 3.0), stage.Leaf("c4", 4.0)})});
    EXPECT_EQ(
        stage.Visit(),
        (Lines{"Begin root", "End root", "Begin a",  "End a",    "Begin a1", "Shape a1", "End a1",
               "Begin b",    "End b",    "Begin b2", "Shape b2", "End b2",   "Begin c",  "End c",
               "Begin c3",   "Shape c3", "End c3",   "Begin c4", "Shape c4", "End c4",   "Begin b5",
               "Shape b5",   "End b5",   "Begin a6", "Shape a6", "End a6"}))
        << "a node gets its turn once, however often it is put off";
}

TEST(TqOcPrioritizedVisitor, StaysInABranchWithinTheSortSlackOfItsTraversal)
{
    struct Row
    {
        double slack;
        double start;
        Lines order;
    };

    Lines const strict = {"a1", "b2", "a3", "b4"};
    Lines const slack = {"a1", "a3", "b2", "b4"};
    Lines const late = {"a1", "b2", "b4", "a3"}; // bounds of 2 get no slack, those of 3 do
    for (Row const& row : {Row{0.0, 0.0, strict}, Row{1.0, 0.0, slack}, Row{0.5, 0.0, strict},
                           Row{1.0, 2.0, late}, Row{1.0, 1.5, slack}}) {
        VisitStage stage;
        stage.SetRoot({stage.Group("a", {stage.Leaf("a1", 1.0), stage.Leaf("a3", 3.0)}),
                       stage.Group("b", {stage.Leaf("b2", 2.0), stage.Leaf("b4", 4.0)})});
        stage.Settings().SetSortSlack(row.slack);
        stage.Settings().SetSlackStart(row.start);
        EXPECT_EQ(stage.VisitShapes(), row.order) << "slack " << row.slack << " from " << row.start;
    }
}

TEST(TqOcPrioritizedVisitor, VisitsForceRenderNodesFirst)
{
    VisitStage stage;
    auto* const forced = stage.Leaf("forced", 9.0);
    forced->GetShape()->SetForceRender(1);
    stage.SetRoot({stage.Leaf("a", 1.0), forced, stage.Leaf("b", 2.0)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"forced", "a", "b"}));
}

TEST(TqOcPrioritizedVisitor, VisitsEveryNodeWhateverNumberItsPriorityIs)
{
    VisitStage stage;
    stage.SetRoot(
        {stage.Leaf("b", 2.0), stage.Group("g", {stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)})});
    for (double const priority : {s_nan, s_infinity, -s_infinity}) {
        stage.visitor.priorities = {{"root", priority}};
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c"})) << priority;
        EXPECT_FALSE(stage.IsAnyMarked());
    }
    stage.visitor.priorities = {{"a", s_infinity}};
    EXPECT_EQ(stage.VisitShapes(), (Lines{"b", "c", "a"}));
    stage.visitor.priorities = {{"c", -s_infinity}, {"g", -s_infinity}};
    EXPECT_EQ(stage.VisitShapes(), (Lines{"c", "a", "b"}));
}

TEST(TqOcPrioritizedVisitor, TakesAPriorityThatIsNoNumberAsTheLast)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0), stage.Leaf("c", 3.0)});
    for (char const* name : {"a", "b", "c"}) {
        stage.visitor.priorities = {{name, s_nan}};
        Lines expected = {"a", "b", "c"};
        expected.erase(std::find(expected.begin(), expected.end(), name));
        EXPECT_EQ(stage.VisitShapes(), expected + Lines{name});
    }
}

TEST(TqOcPrioritizedVisitor, VisitsATreeOfAThousandLevels)
{
    VisitStage stage;
    TqOcTraversable* node = stage.Leaf("deepest", 3000.0);
    for (int level = 0; level < 1001; ++level) {
        node = stage.Group("g", {node, stage.Leaf("side", 2000.0 - level)});
    }
    stage.root.reset(node);
    stage.Settings().SetViewFrustum(TqLFrustum3f(1.0, 1.0, 1.0, 10000.0));
    EXPECT_EQ(stage.VisitShapes().size(), 1002U);
    EXPECT_FALSE(stage.IsAnyMarked());
}

// ---- Scoring ------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, LeavesOutChildrenThatCalcCullPriorityDrops)
{
    VisitStage stage;
    stage.SetRoot({stage.Group("a", {stage.Leaf("a1", 1.0), stage.Leaf("a2", 2.0)}),
                   stage.Group("b", {stage.Leaf("b1", 3.0), stage.Leaf("b2", 4.0)})});
    stage.visitor.culled = {"a1", "b"};
    EXPECT_EQ(stage.VisitShapes(), Lines{"a2"});
    stage.visitor.culled = {"a1", "a2"};
    EXPECT_EQ(stage.VisitShapes(), (Lines{"b1", "b2"})) << "nothing is left of a";
}

TEST(TqOcPrioritizedVisitor, CullsWhatItsTraversalCulls)
{
    VisitStage stage;
    auto* const left = stage.LeafAt("left", -50.0, 0.0, -4.0);
    auto* const behind = stage.Leaf("behind", -9.0, 10);
    stage.SetRoot({stage.Leaf("a", 1.0), left, behind, stage.Leaf("far", 30.0, 100)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "far"}));
    EXPECT_EQ(stage.Settings().GetTrisFrustumCulled(), 11U);

    stage.Settings().SetCullDistance(20.0);
    EXPECT_EQ(stage.VisitShapes(), Lines{"a"});
    stage.Settings().SetCullDistance(1e300);

    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -10.0));
    stage.Settings().SetClipPlanes(&plane, 1);
    EXPECT_EQ(stage.VisitShapes(), Lines{"far"});
    EXPECT_EQ(stage.Settings().GetTrisFrustumCulled(), 12U);
}

TEST(TqOcPrioritizedVisitor, CountsCulledTrianglesButDoesNotStampCulledNodes)
{
    VisitStage stage;
    auto* const behind = stage.Leaf("behind", -9.0, 10);
    auto* const clipped = stage.Leaf("clipped", 30.0, 100);
    stage.SetRoot({stage.Leaf("a", 1.0), behind, clipped, stage.Leaf("b", 2.0)});
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, 1.0)), TqLPos3f(0.0, 0.0, -10.0));
    stage.Settings().SetClipPlanes(&plane, 1);
    stage.Settings().SetFrameId(9);
    for (int visit = 0; visit < 2; ++visit) { // each starts counting anew
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
        EXPECT_EQ(stage.Settings().GetTrisFrustumCulled(), 110U);
        EXPECT_EQ(behind->GetFrameId(), 0U);
        EXPECT_EQ(clipped->GetFrameId(), 0U);
    }
}

TEST(TqOcPrioritizedVisitor, ScoresByItsTraversalUnlessOverridden)
{
    class Plain : public TqOcPrioritizedVisitor
    {
    public:
        Action BeginVisit(TqOcTraversable*) override
        {
            data.push_back(GetCurrTravState()->GetCullData());
            return eCONTINUE;
        }

        std::vector<TqOcRenderTravCullData> data;
    };

    struct Asked
    {
        std::vector<TqOcTraversable const*> nodes;

        static int Call(TqOcTraversable const* node, TqOcRenderTravCullData* data, void* self)
        {
            static_cast<Asked*>(self)->nodes.push_back(node);
            data->priority += 0.5;
            return 1;
        }
    } asked;

    VisitStage stage;
    auto* const a = stage.Leaf("a", 1.0);
    auto* const b = stage.Leaf("b", 2.0);
    stage.SetRoot({a, b});
    Plain visitor;
    VisitStage::SetUp(visitor);
    visitor.ConfigureTraversal()->SetDynamicPriorityCallback(&Asked::Call, &asked);
    visitor.Apply(stage.root.get());
    EXPECT_EQ(asked.nodes, (std::vector<TqOcTraversable const*>{stage.root.get(), b, a}));
    ASSERT_EQ(visitor.data.size(), 3U);
    EXPECT_DOUBLE_EQ(visitor.data[1].priority, 1.5);
    EXPECT_DOUBLE_EQ(visitor.data[1].distance, 1.0);
    EXPECT_DOUBLE_EQ(visitor.data[2].priority, 2.5);
    EXPECT_LT(visitor.data[2].screenBox.GetMin()[0], visitor.data[2].screenBox.GetMax()[0]);
}

TEST(TqOcPrioritizedVisitor, AnswersTheTraversalsVerdictByDefault)
{
    class Plain : public TqOcPrioritizedVisitor
    {
    public:
        int CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                             TqOcRenderTravCullData* data) override
        {
            answers.push_back(TqOcPrioritizedVisitor::CalcCullPriority(cull, node, cullBits, data));
            return answers.back();
        }

        std::vector<int> answers;
    };

    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("behind", -9.0)});
    Plain visitor;
    VisitStage::SetUp(visitor);
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.answers, (std::vector<int>{1, 0, 1}));
    visitor.answers.clear();
    visitor.ConfigureTraversal()->SetDynamicPriorityCallback(
        [](TqOcTraversable const*, TqOcRenderTravCullData*, void*) { return 42; }, nullptr);
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.answers, (std::vector<int>{42, 0, 42}));
}

TEST(TqOcPrioritizedVisitor, TakesAnOnlyChildOverUnscored)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    auto* const inner = stage.Group("inner", {stage.Leaf("a", 5.0)});
    auto* const outer = stage.Group("outer", {inner});
    stage.SetRoot({outer, stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.Visit(), (Lines{"Score root", "Begin root", "End root", "Score z",
                                    "Score outer", "Begin outer", "End outer", "Begin inner",
                                    "End inner", "Begin a", "Shape a", "End a"} +
                              AfterLeaf()));
}

TEST(TqOcPrioritizedVisitor, ScoresTheChildrenAtTheEndOfAChainFromTheRoot)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    auto* const inner = stage.Group("inner", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.SetRoot({inner});
    EXPECT_EQ(stage.Visit(),
              (Lines{"Score root", "Begin root", "End root", "Begin inner", "End inner", "Score b",
                     "Score a", "Begin a", "Shape a", "End a", "Begin b", "Shape b", "End b"}));
}

TEST(TqOcPrioritizedVisitor, CountsOnlyOfferedChildrenAsTheOnlyOne)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    auto* const hidden = stage.Leaf("hidden", 1.0);
    hidden->GetShape()->SetHideRender(1);
    stage.SetRoot({stage.Group("group", {hidden, stage.Leaf("a", 2.0)}), stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.Visit(),
              (Lines{"Score root", "Begin root", "End root", "Score z", "Score group",
                     "Begin group", "End group", "Begin a", "Shape a", "End a"} +
               AfterLeaf()));
}

TEST(TqOcPrioritizedVisitor, EndsAChainAtANodeThatIsPruned)
{
    VisitStage stage;
    auto* const inner = stage.Group("inner", {stage.Leaf("a", 5.0)});
    stage.SetRoot({stage.Group("outer", {inner}), stage.Leaf("z", 9.0)});
    stage.visitor.pruned = {"inner"};
    EXPECT_EQ(
        stage.Visit(),
        (Lines{"Begin root", "End root", "Begin outer", "End outer", "Begin inner"} + AfterLeaf()));
}

TEST(TqOcPrioritizedVisitor, ScoresAnOnlyChildUnderAnotherCullObject)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    auto* const leaf = stage.Leaf("a", 5.0);
    auto* const group = stage.Group("group", {leaf});
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        auto* const cull =
            state->TransformedCull(visitor, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -4.0)));
        state->Append(visitor, leaf, cull);
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.SetRoot({group, stage.Leaf("z", 7.0)});
    EXPECT_EQ(stage.Visit(),
              (Lines{"Score root", "Begin root", "End root", "Score z", "Score group", "Score a"} +
               AfterLeaf() + Lines{"Begin a", "Shape a", "End a"}))
        << "scored where the transform puts it, behind z";
}

TEST(TqOcPrioritizedVisitor, DropsWhatAFinishedNodeAppended)
{
    VisitStage stage;
    auto* const a = stage.Leaf("a", 1.0);
    auto* const c = stage.Leaf("c", 1.0);
    auto* const group = stage.Group("group", {a, c});
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, a);
        state->Append(visitor, c);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.SetRoot({group, stage.Leaf("z", 9.0)});
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root"} + AfterLeaf()));
}

TEST(TqOcPrioritizedVisitor, ScoresTheRootWithTheInitialCullBits)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.Visit();
    EXPECT_EQ(stage.visitor.bits["root"], 7);
    for (int const bits : {0, 3, 7, 63}) {
        stage.visitor.SetInitialCullBits(bits);
        stage.Visit();
        EXPECT_EQ(stage.visitor.bits["root"], bits);
    }
}

TEST(TqOcPrioritizedVisitor, ScoresChildrenOfTheSameViewWithTheBitsThatAreLeft)
{
    // The root is cut by the right side; the group lies inside every side.
    VisitStage stage;
    auto* const a = stage.LeafAt("a", -0.5, 0.0, -4.0);
    auto* const b = stage.LeafAt("b", 0.5, 0.0, -4.0);
    auto* const group = stage.Group("group", {a, b});
    stage.SetRoot({group, stage.LeafAt("cut", 2.0, 0.0, -4.0, 0.5)});
    stage.Visit();
    EXPECT_EQ(stage.visitor.bits["root"], 7);
    EXPECT_EQ(stage.visitor.bits["group"], 1) << "x is still to be tested";
    EXPECT_EQ(stage.visitor.bits["cut"], 1);
    EXPECT_EQ(stage.visitor.bits["a"], 0);
    EXPECT_EQ(stage.visitor.bits["b"], 0);

    // A transform alone is no other view.
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        auto* const cull =
            state->TransformedCull(visitor, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -0.1)));
        EXPECT_NE(cull, state->GetTravCull());
        EXPECT_EQ(cull->GetTravFrustum(), state->GetTravFrustum());
        state->Append(visitor, a, cull);
        state->Append(visitor, b, cull);
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.visitor.bits.clear();
    stage.Visit();
    EXPECT_EQ(stage.visitor.bits["a"], 0);
    EXPECT_EQ(stage.visitor.bits["b"], 0);
}

TEST(TqOcPrioritizedVisitor, ScoresChildrenOfAnotherViewWithTheInitialCullBits)
{
    VisitStage stage;
    auto* const left = stage.LeafAt("left", -0.6, 0.0, -4.0, 0.1);
    auto* const right = stage.LeafAt("right", 0.6, 0.0, -4.0, 0.1);
    auto* const below = stage.Group("below", {right, stage.LeafAt("third", 0.7, 0.0, -4.0, 0.1)});
    auto* const group = stage.Group("group", {left, below});
    stage.SetRoot({group});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"left", "right", "third"}));
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        EXPECT_EQ(state->GetCullData().cullBits & 3, 0) << "the group lies inside the whole view";
        auto* const cull = state->NarrowedCull(visitor, 0.5, 1.0, 0.0, 1.0);
        state->Append(visitor, left, cull);
        state->Append(visitor, below, cull);
        return TqOcBaseTraversable::eAPPENDED;
    };
    EXPECT_EQ(stage.VisitShapes(), (Lines{"right", "third"}));
    EXPECT_EQ(stage.visitor.bits["left"], 7);
    EXPECT_EQ(stage.visitor.bits["below"], 7);
    EXPECT_EQ(stage.visitor.bits["right"], 0) << "in the view of its parent again";

    stage.visitor.SetInitialCullBits(3);
    EXPECT_EQ(stage.VisitShapes(), (Lines{"right", "third"}));
    EXPECT_EQ(stage.visitor.bits["left"], 3);
    EXPECT_EQ(stage.visitor.bits["below"], 3);
    EXPECT_EQ(stage.visitor.bits["right"], 0);

    stage.visitor.SetInitialCullBits(0); // nothing is tested: the left one is not found outside
    EXPECT_EQ(stage.VisitShapes().size(), 3U);
}

TEST(TqOcPrioritizedVisitor, HandsOnTheBitsThatCalcCullPriorityLeaves)
{
    class OwnBits : public TqOcPrioritizedVisitor
    {
    public:
        int CalcCullPriority(TqOcRenderTravCull*, TqOcTraversable*, int cullBits,
                             TqOcRenderTravCullData* data) override
        {
            bits.push_back(cullBits);
            data->cullBits = cullBits >> 1;
            data->priority = -static_cast<double>(bits.size());
            return -5; // anything but 0 keeps it
        }

        void VisitShape(TqOcShape*) override { ++shapes; }

        std::vector<int> bits;
        int shapes = 0;
    };

    VisitStage stage;
    stage.SetRoot({stage.Group("group", {stage.Leaf("a", -9.0), stage.Leaf("b", 2.0)}),
                   stage.Leaf("z", 900.0)});
    OwnBits visitor;
    visitor.SetInitialCullBits(63);
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.bits, (std::vector<int>{63, 31, 31, 15, 15}));
    EXPECT_EQ(visitor.shapes, 3);
    EXPECT_EQ(visitor.ConfigureTraversal()->GetNumFrustumCullTests(), 0U) << "nothing else tests";
}

TEST(TqOcPrioritizedVisitor, MeasuresAreasInItsOwnWindow)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("near", 1.0), stage.Leaf("far", 40.0)});
    stage.Settings().SetCullArea(20.0);
    EXPECT_EQ(stage.VisitShapes(), (Lines{"near", "far"}));
    stage.visitor.windowWidth = 100;
    stage.visitor.windowHeight = 100;
    EXPECT_EQ(stage.VisitShapes(), Lines{"near"});
    stage.visitor.windowWidth = 10000;
    EXPECT_EQ(stage.VisitShapes(), (Lines{"near", "far"}));
}

TEST(TqOcPrioritizedVisitor, HasAWindowOfAThousandByAThousandByDefault)
{
    class Plain : public TqOcPrioritizedVisitor
    {
    public:
        Action BeginVisit(TqOcTraversable*) override
        {
            toPixels = GetCurrTravState()->GetTravFrustum()->GetXToPixelConv();
            return ePRUNE;
        }

        double toPixels = 0.0;
    };

    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    Plain visitor;
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.toPixels, 500.0);
}

TEST(TqOcPrioritizedVisitor, AsksTheWindowSizeOnceAVisit)
{
    VisitStage stage;
    int asked = 0;
    stage.visitor.onEvent = [&](std::string const& event) { asked += event == "GetWindowSize"; };
    auto* const leaf = stage.LeafAt("a", 0.0, 0.0, -4.0);
    stage.SetRoot({leaf, stage.Leaf("b", 2.0)});
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, leaf, state->NarrowedCull(visitor, 0.1, 0.9, 0.1, 0.9));
        return TqOcBaseTraversable::eAPPENDED;
    };
    stage.Visit();
    EXPECT_EQ(asked, 1);
    stage.Visit();
    EXPECT_EQ(asked, 2);
}

// ---- Views of their own -------------------------------------------------------------------------

TEST(TqOcTravState, TransformedCullOfAVisitKeepsTheFrustumAndMovesTheLevel)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    int turns = 0;
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        ++turns;
        TqLAffine3f const move = TqLAffine3f::Translation(TqLVec3f(1.0, 2.0, 3.0));
        TqOcRenderTravCull* const cull = state->TransformedCull(visitor, move);
        EXPECT_EQ(cull->GetTravFrustum(), state->GetTravFrustum());
        EXPECT_NE(cull->GetTravTransform(), state->GetTravTransform());
        TqLPos3f const origin = TqLPos3f(0.0, 0.0, 0.0) * cull->GetToWorld();
        EXPECT_EQ(origin[0], 1.0);
        EXPECT_EQ(origin[1], 2.0);
        EXPECT_EQ(origin[2], 3.0);
        EXPECT_EQ(cull->GetNearCullDistance(), state->GetTravCull()->GetNearCullDistance());
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.Visit();
    EXPECT_EQ(turns, 1);
}

TEST(TqOcTravState, NarrowedCullOfAVisitKeepsTheTransform)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    int turns = 0;
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        ++turns;
        TqOcRenderTravCull* const cull = state->NarrowedCull(visitor, 0.0, 0.5, 0.0, 0.25);
        EXPECT_EQ(cull->GetTravTransform(), state->GetTravTransform());
        EXPECT_NE(cull->GetTravFrustum(), state->GetTravFrustum());
        EXPECT_DOUBLE_EQ(cull->GetXToPixelConv(), 250.0);
        EXPECT_DOUBLE_EQ(cull->GetYToPixelConv(), 125.0);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.Visit();
    EXPECT_EQ(turns, 1);
}

// ---- Between and after turns --------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, HandsOutTheCurrentStateOnlyDuringATurn)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    Lines during;
    stage.visitor.onEvent = [&](std::string const& event) {
        if (stage.visitor.GetCurrTravState() != nullptr) {
            during.push_back(event);
        }
    };
    EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);
    stage.Visit();
    EXPECT_EQ(during, (Lines{"Begin root", "End root", "Begin a", "Shape a", "End a", "Begin b",
                             "Shape b", "End b"}));
    EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);
    EXPECT_EQ(stage.Settings().GetCurrTravState(), nullptr) << "no frame is running";
}

TEST(TqOcPrioritizedVisitor, HandsTheNodeTheStateThatIsCurrent)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    TqOcTravState* handed = nullptr;
    TqOcTravState* current = nullptr;
    TqOcPrioritizedVisitor* by = nullptr;
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        by = visitor;
        handed = state;
        current = visitor->GetCurrTravState();
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.Visit();
    EXPECT_NE(handed, nullptr);
    EXPECT_EQ(handed, current);
    EXPECT_EQ(by, &stage.visitor);
}

TEST(TqOcPrioritizedVisitor, MarksTheNodesOnThePathAndOnlyThose)
{
    VisitStage stage;
    auto* const group = stage.Group("group", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)});
    stage.SetRoot({group, stage.Group("other", {stage.Leaf("c", 3.0), stage.Leaf("d", 4.0)})});
    Lines marked;
    stage.visitor.onEvent = [&](std::string const& event) {
        if (event == "Begin a") {
            stage.ForEachNode([&](TqOcBaseTraversable* node) {
                if (node->IsTraversed()) {
                    marked.push_back(stage.log.GetName(node));
                }
            });
        }
    };
    stage.Visit();
    EXPECT_EQ(marked, (Lines{"root", "group"}));
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedVisitor, StampsNoNode)
{
    VisitStage stage;
    stage.SetRoot({stage.Group("g", {stage.Leaf("a", 1.0), stage.Leaf("b", 2.0)}),
                   stage.Group("chain", {stage.Leaf("c", 3.0)}), stage.Leaf("behind", -9.0),
                   stage.ShapesLeaf("leaf", {stage.Shape("d", 4.0)})});
    stage.root->Update();
    stage.Settings().SetFrameId(9);
    stage.ForEachNode([](TqOcBaseTraversable* node) {
        node->SetFrameId(77);
        if (!node->IsShape()) {
            static_cast<TqOcTraversable*>(node)->SetHysteresisId(88);
        }
    });
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c", "d"}));
    stage.ForEachNode([&](TqOcBaseTraversable* node) {
        EXPECT_EQ(node->GetFrameId(), 77U) << stage.log.GetName(node);
        if (!node->IsShape()) {
            EXPECT_EQ(static_cast<TqOcTraversable*>(node)->GetHysteresisId(), 88U)
                << stage.log.GetName(node);
        }
    });
    EXPECT_EQ(stage.Settings().GetFrameId(), 9U);
}

TEST(TqOcPrioritizedVisitor, AsksItsHostForNothingButTheWindowSize)
{
    FakeClock clock;
    clock.SetStepPerReading(1.0); // no time is left, and the host waits
    VisitStage stage;
    stage.Settings().SetOcclusionCulling(1);
    stage.Settings().SetTargetFrameTime(0.0);
    stage.Settings().SetCullArea(1.0);
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("b", 2.0), stage.Leaf("c", 3.0)});
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin a", "Shape a", "End a",
                                    "Begin b", "Shape b", "End b", "Begin c", "Shape c", "End c"}));
    EXPECT_EQ(stage.Settings().GetTrisOcclusionCulled(), 0U);
}

TEST(TqOcPrioritizedVisitor, VisitsAllUnderEveryPolicyWhateverTheTime)
{
    for (int policy = 0; policy <= 4; ++policy) {
        FakeClock clock;
        clock.SetStepPerReading(1.0);
        VisitStage stage;
        stage.Settings().SetTargetFrameTime(0.0);
        stage.Settings().SetPolicy(static_cast<TqOcRenderTraversal::Policy>(policy));
        stage.SetRoot({stage.Leaf("a", 1.0, 1000), stage.Leaf("b", 2.0, 1000)});
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"})) << policy;
        EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"})) << policy;
    }
}

TEST(TqOcPrioritizedVisitor, DrawsNothingAndCountsNothingAsDrawn)
{
    VisitStage stage;
    auto* const shape = stage.Shape("1", 1.0);
    stage.SetRoot({stage.ShapesLeaf("leaf", {shape}), stage.Leaf("z", 9.0)});
    stage.Visit();
    EXPECT_EQ(shape->GetNumPrioritizedCalls(), 0);
    EXPECT_EQ(shape->GetNumRenderCalls(), 0);
    EXPECT_EQ(stage.Settings().GetLeavesRendered(), 0U);
    EXPECT_EQ(stage.Settings().GetShapesRendered(), 0U);
    EXPECT_EQ(stage.Settings().GetTrisRendered(), 0U);
}

TEST(TqOcPrioritizedVisitor, StartsCountingAnewWithEachVisit)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("behind", -9.0, 10)});
    stage.Settings().IncTrisRendered(5);
    for (int visit = 0; visit < 3; ++visit) {
        stage.Visit();
        EXPECT_EQ(stage.Settings().GetTrisFrustumCulled(), 10U);
        EXPECT_EQ(stage.Settings().GetTrisRendered(), 0U);
    }
}

TEST(TqOcPrioritizedVisitor, StartsItsTraversalLikeAFrameWithEachVisit)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    double toPixels = 0.0;
    stage.visitor.onEvent = [&](std::string const& event) {
        if (event == "Begin a") {
            toPixels = stage.visitor.GetCurrTravState()->GetTravFrustum()->GetXToPixelConv();
        }
    };
    stage.Visit();
    EXPECT_EQ(toPixels, 500.0);
    stage.Settings().SetMinStress(4.0);
    stage.Settings().SetTargetFrameTime(0.25);
    stage.Visit();
    EXPECT_EQ(stage.Settings().GetHighBandTime(), 0.25);
    EXPECT_EQ(stage.Settings().GetStress(), 4.0);
    EXPECT_EQ(toPixels, 125.0) << "the stress of this visit, not of the last";
}

TEST(TqOcPrioritizedVisitor, FollowsTheSettingsOfItsTraversalFromVisitToVisit)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Leaf("far", 60.0)});
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "far"}));
    stage.Settings().SetViewFrustum(
        TqLFrustum3f::Perspective(TqLPos3f(0.0, 0.0, -20.0), TqLVec3f(0.0, 0.0, -1.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 1.0, 1000.0));
    EXPECT_EQ(stage.VisitShapes(), Lines{"far"});
    stage.Settings().SetViewFrustum(TqLFrustum3f(1.0, 1.0, 1.0, 1000.0));
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "far"}));
    stage.Settings().SetCullDistance(30.0);
    EXPECT_EQ(stage.VisitShapes(), Lines{"a"});
    TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(0.0, 0.0, -1.0)), TqLPos3f(0.0, 0.0, -20.0));
    stage.Settings().SetClipPlanes(&plane, 1);
    EXPECT_EQ(stage.VisitShapes(), Lines());
    stage.Settings().SetCullDistance(1e300);
    EXPECT_EQ(stage.VisitShapes(), Lines{"far"});
}
