// How a prioritized visit ends before its end: pruned, out of memory, or by an exception; and what
// a visit takes from the heap. Whatever ended it, no mark stays and the next visit is right.

#include "support/AllocationCounter.h"
#include "support/VisitStage.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

struct Failure : std::runtime_error
{
    Failure() : std::runtime_error("a host's callback failed") {}
};

/// A tree with groups of both kinds, all kinds of leaves, a chain and a put-off branch.
struct FaultStage : VisitStage
{
    FaultStage()
    {
        visitor.logsScores = true;
        SetRoot({Group("near", {Leaf("a", 1.0), Leaf("e", 5.0)}),
                 DynamicGroup("dynamic", {Leaf("b", 2.0), Leaf("f", 6.0)}),
                 Group("chain",
                       {Group("link", {ShapesLeaf("leaf", {Shape("c", 3.0), Shape("d", 4.0)})})}),
                 Leaf("behind", -9.0), Leaf("z", 9.0)});
    }
};

bool IsScore(std::string const& line)
{
    return line.compare(0, 5, "Score") == 0;
}

std::size_t Find(Lines const& lines, std::string const& line)
{
    return static_cast<std::size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
}

/// The lines up to and with `last`.
Lines UpTo(Lines const& lines, std::string const& last)
{
    return Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(Find(lines, last)) + 1);
}

/// Visits without a word: what it does itself takes nothing from the heap.
class QuietVisitor : public TqOcPrioritizedVisitor
{
public:
    int shapes = 0;

    QuietVisitor() { VisitStage::SetUp(*this); }

    void VisitShape(TqOcShape*) override { ++shapes; }
};

/// Groups within groups. The nearest leaf lies deepest, so that a walk goes all the way down before
/// it visits a shape.
void SetDeepRoot(VisitStage* stage, int depth)
{
    TqOcTraversable* node = stage->Leaf("s", 1.0);
    for (int level = 0; level < depth; ++level) {
        node = stage->Group("g", {node, stage->Leaf("s", 8.0)});
    }
    stage->root.reset(node);
    stage->root->Update();
}

} // namespace

// ---- Pruning ------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, EndsTheWalkAfterTheNodeInWhoseTurnItIsPruned)
{
    struct Row
    {
        char const* prunedAt;
        char const* last; ///< The last line of the turn that is going on.
    };

    FaultStage stage;
    Lines const all = stage.Visit();
    for (Row const& row :
         {Row{"Begin root", "End root"}, Row{"End root", "End root"}, Row{"Begin near", "End near"},
          Row{"End near", "End near"}, Row{"Begin dynamic", "End dynamic"},
          Row{"End dynamic", "End dynamic"}, Row{"Begin chain", "End chain"},
          Row{"Begin link", "End link"}, Row{"Begin a", "End a"}, Row{"Shape a", "End a"},
          Row{"End a", "End a"}, Row{"Begin leaf", "End leaf"}, Row{"Shape c", "End leaf"},
          Row{"Shape d", "End leaf"}, Row{"End leaf", "End leaf"}, Row{"Shape z", "End z"}}) {
        SCOPED_TRACE(row.prunedAt);
        ASSERT_LT(Find(all, row.prunedAt), all.size());
        stage.visitor.onEvent = [&](std::string const& event) {
            if (event == row.prunedAt) {
                stage.visitor.SetPruned();
            }
        };
        // A leaf still offers the rest of its shapes; nothing else is scored or entered.
        EXPECT_EQ(stage.Visit(), UpTo(all, row.last));
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);

        stage.visitor.onEvent = nullptr;
        EXPECT_EQ(stage.Visit(), all) << "the next visit is whole again";
    }
}

TEST(TqOcPrioritizedVisitor, EndsTheWalkWhenItIsPrunedWhileScoring)
{
    FaultStage stage;
    Lines const all = stage.Visit();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!IsScore(all[i])) {
            continue;
        }
        SCOPED_TRACE(all[i]);
        stage.visitor.onEvent = [&](std::string const& event) {
            if (event == all[i]) {
                stage.visitor.SetPruned();
            }
        };
        EXPECT_EQ(stage.Visit(), UpTo(all, all[i]));
        EXPECT_FALSE(stage.IsAnyMarked());
        stage.visitor.onEvent = nullptr;
        EXPECT_EQ(stage.Visit(), all);
    }
}

TEST(TqOcPrioritizedVisitor, ForgetsAPruningFromBeforeTheVisit)
{
    FaultStage stage;
    Lines const all = stage.Visit();
    stage.visitor.SetPruned();
    EXPECT_EQ(stage.Visit(), all);
}

TEST(TqOcPrioritizedVisitor, DoesNotTakeAPrunedBranchForAPrunedWalk)
{
    FaultStage stage;
    for (char const* name : {"near", "dynamic", "chain", "link", "a", "leaf"}) {
        SCOPED_TRACE(name);
        stage.visitor.pruned = {name};
        Lines const visited = stage.Visit();
        EXPECT_EQ(visited.back(), "End z");
        EXPECT_EQ(Find(visited, std::string("End ") + name), visited.size());
        EXPECT_FALSE(stage.IsAnyMarked());
    }
}

TEST(TqOcPrioritizedVisitor, VisitsTheFirstNodesThatAHostWants)
{
    // The k most important shapes: what the class is for.
    for (int k = 1; k <= 6; ++k) {
        FaultStage stage;
        int left = k;
        stage.visitor.onEvent = [&](std::string const& event) {
            if (event.compare(0, 5, "Shape") == 0 && --left == 0) {
                stage.visitor.SetPruned();
            }
        };
        Lines const shapes = stage.VisitShapes();
        Lines const order = {"a", "b", "c", "d", "e", "f"};
        // The leaf of c and d is one turn.
        auto const count = static_cast<std::ptrdiff_t>(k == 3 ? 4 : k);
        EXPECT_EQ(shapes, Lines(order.begin(), order.begin() + count)) << k;
    }
}

TEST(TqOcPrioritizedVisitor, IsPrunedByANodeClassToo)
{
    VisitStage stage;
    stage.visitor.logsScores = true;
    auto* const a = stage.Leaf("a", 1.0);
    stage.SetRoot({a, stage.Leaf("b", 2.0)});
    for (auto const status : {TqOcBaseTraversable::eAPPENDED, TqOcBaseTraversable::eFINISHED}) {
        stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
            state->Append(visitor, a);
            state->Append(
                visitor, a,
                state->TransformedCull(visitor, TqLAffine3f::Translation(TqLVec3f(0, 0, -1))));
            visitor->SetPruned();
            return status;
        };
        EXPECT_EQ(stage.Visit(), Lines{"Score root"});
        EXPECT_FALSE(stage.IsAnyMarked());
    }
}

// ---- Memory -------------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, TakesNothingFromTheHeapAfterTheFirstVisit)
{
    VisitStage stage;
    stage.SetRoot({});
    for (int i = 0; i < 100; ++i) {
        auto* const group = stage.Group("g", {stage.Leaf("a", 1.0 + i), stage.Leaf("b", 1.5 + i)});
        group->AddChild(stage.ShapesLeaf("l", {stage.Shape("c", 2.0 + i)}));
        group->AddChild(stage.DynamicGroup("d", {stage.Leaf("d", 2.5 + i)}));
        if (i % 10 == 0) {
            group->onTurn = [group](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
                TqOcRenderTravCull* const cull = state->TransformedCull(
                    visitor, TqLAffine3f::Translation(TqLVec3f(0.0, 0.0, -1.0)));
                for (int child = 0; child < group->GetNumChildren(); ++child) {
                    state->Append(visitor, group->GetChild(child), cull);
                }
                state->Append(visitor, group->GetChild(0),
                              state->NarrowedCull(visitor, 0.1, 0.9, 0.1, 0.9));
                return TqOcBaseTraversable::eAPPENDED;
            };
        }
        stage.Root()->AddChild(group);
    }
    stage.root->Update();
    QuietVisitor visitor;
    visitor.ConfigureTraversal()->SetDynamicShapeCullCallback(
        [](TqOcShape const*, void*) { return 0; }, nullptr);
    visitor.Apply(stage.root.get());
    int const shapes = visitor.shapes;
    ASSERT_GE(shapes, 400);

    AllocationCounter counter;
    for (int visit = 2; visit <= 100; ++visit) {
        visitor.Apply(stage.root.get());
    }
    EXPECT_EQ(counter.GetNum(), 0U);
    EXPECT_EQ(visitor.shapes, 100 * shapes);
}

TEST(TqOcPrioritizedVisitor, TakesNothingFromTheHeapAfterAVisitThatWasPruned)
{
    VisitStage stage;
    stage.SetRoot({});
    for (int i = 0; i < 300; ++i) {
        stage.Root()->AddChild(stage.Leaf("a", 1.0 + 0.01 * i));
    }
    stage.root->Update();

    class Pruning : public QuietVisitor
    {
    public:
        void VisitShape(TqOcShape* shape) override
        {
            QuietVisitor::VisitShape(shape);
            if (prunes) {
                SetPruned();
            }
        }

        bool prunes = false;
    };

    Pruning visitor;
    visitor.Apply(stage.root.get());
    visitor.prunes = true;
    AllocationCounter counter;
    for (int visit = 0; visit < 100; ++visit) {
        visitor.Apply(stage.root.get()); // leaves most records behind
    }
    EXPECT_EQ(counter.GetNum(), 0U);
    EXPECT_EQ(visitor.shapes, 400);
}

TEST(TqOcPrioritizedVisitor, GivesRecordsBackAsSoonAsTheirNodesAreDoneWith)
{
    // Many groups, one after the other: each takes as much as one alone if nothing stays behind.
    constexpr int eGROUPS = 400;
    constexpr int eCHILDREN = 20;

    struct Row
    {
        char const* what;
        std::function<TqOcTraversable*(VisitStage&, double distance)> make;
    };

    auto const makeList = [](VisitStage& stage, double distance) {
        auto* const group = stage.Group("g", {});
        for (int i = 0; i < eCHILDREN; ++i) {
            group->AddChild(stage.Leaf("l", distance));
        }
        return group;
    };
    auto const makeCulled = [](VisitStage& stage, double distance) {
        auto* const group = stage.Group("g", {stage.Leaf("l", distance)});
        for (int i = 0; i < eCHILDREN; ++i) {
            group->AddChild(stage.LeafAt("outside", 500.0, 0.0, -4.0));
        }
        return group;
    };
    auto const makeChain = [](VisitStage& stage, double distance) {
        TqOcTraversable* node = stage.Leaf("l", distance);
        for (int i = 0; i < eCHILDREN; ++i) {
            node = stage.Group("g", {node});
        }
        return node;
    };
    auto const makeDropped = [&](VisitStage& stage, double distance) {
        auto* const group = makeList(stage, distance);
        group->onTurn = [group](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
            for (int i = 0; i < group->GetNumChildren(); ++i) {
                state->Append(visitor, group->GetChild(i));
            }
            return TqOcBaseTraversable::eFINISHED;
        };
        return group;
    };
    for (Row const& row : {Row{"done", makeList}, Row{"culled", makeCulled},
                           Row{"taken over", makeChain}, Row{"dropped", makeDropped}}) {
        SCOPED_TRACE(row.what);
        auto const countFirstVisit = [&](auto const& makeChild) {
            VisitStage stage;
            stage.SetRoot({});
            for (int i = 0; i < eGROUPS; ++i) {
                stage.Root()->AddChild(makeChild(stage, 0.01 * i));
            }
            stage.root->Update();
            QuietVisitor visitor;
            AllocationCounter const counter;
            visitor.Apply(stage.root.get());
            return counter.GetNumMemory();
        };
        std::size_t const ofLeaves = countFirstVisit(
            [](VisitStage& stage, double distance) { return stage.Leaf("l", distance); });
        // At most one more piece of memory for the records of one group.
        EXPECT_LE(countFirstVisit(row.make), ofLeaves + 1);
    }
}

TEST(TqOcPrioritizedVisitor, EndsTheWalkWhenMemoryIsRefusedAtAnyPoint)
{
    constexpr int eLEAVES = 100;
    int numAllocations = 1000;
    for (int n = 0; n <= numAllocations + 1; ++n) {
        SCOPED_TRACE(n);
        VisitStage stage;
        stage.SetRoot({});
        for (int i = 0; i < eLEAVES; ++i) {
            stage.Root()->AddChild(stage.Leaf("s", 1.0 + i));
        }
        stage.root->Update();
        QuietVisitor visitor;
        AllocationCounter counter;
        int refused = 0;
        {
            RefuseAllocations refuse(n, RefuseAllocations::eAND_ALL_LATER);
            EXPECT_NO_THROW(visitor.Apply(stage.root.get()));
            refused = refuse.GetNumRefused();
        }
        if (n == 0) { // nothing is refused: what a first visit takes
            numAllocations = static_cast<int>(counter.GetNumMemory());
            ASSERT_GE(numAllocations, 4) << "a frustum, a transform, a cull object and records";
        }
        bool const isRefused = n >= 1 && n <= numAllocations;
        EXPECT_EQ(refused > 0, isRefused);
        EXPECT_EQ(visitor.shapes, isRefused ? 0 : eLEAVES);
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(visitor.GetCurrTravState(), nullptr);
        visitor.shapes = 0;
        visitor.Apply(stage.root.get());
        EXPECT_EQ(visitor.shapes, eLEAVES);
    }
}

TEST(TqOcPrioritizedVisitor, HasRoomForFiftyLevelsFromTheStart)
{
    for (bool const isDeeper : {false, true}) {
        SCOPED_TRACE(isDeeper);
        VisitStage stage;
        SetDeepRoot(&stage, isDeeper ? 60 : 45);
        QuietVisitor visitor;
        AllocationCounter const counter;
        visitor.Apply(stage.root.get());
        EXPECT_EQ(counter.GetNumNew() > 0, isDeeper);
    }
}

TEST(TqOcPrioritizedVisitor, EndsTheWalkWhenMemoryForItsStackIsRefused)
{
    constexpr int eDEPTH = 120;
    VisitStage stage;
    SetDeepRoot(&stage, eDEPTH);
    QuietVisitor visitor;
    int refused = 0;
    {
        RefuseAllocations refuse(1, RefuseAllocations::eONLY_THIS, RefuseAllocations::eGLOBAL_NEW);
        EXPECT_NO_THROW(visitor.Apply(stage.root.get()));
        refused = refuse.GetNumRefused();
    }
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(visitor.shapes, 0);
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(visitor.GetCurrTravState(), nullptr);
    visitor.Apply(stage.root.get());
    EXPECT_EQ(visitor.shapes, eDEPTH + 1);
    EXPECT_FALSE(stage.IsAnyMarked());
}

TEST(TqOcPrioritizedVisitor, EndsTheWalkAtAChildWithoutACullObject)
{
    VisitStage stage;
    auto* const b = stage.Leaf("b", 2.0);
    auto* const group = stage.Group("group", {stage.Leaf("a", 1.0), b});
    stage.SetRoot({group, stage.Leaf("z", 9.0)});
    group->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        state->Append(visitor, b, nullptr);
        return group->TqOcStaticGroup::PrioritizedVisit(visitor, state);
    };
    EXPECT_EQ(stage.Visit(), (Lines{"Begin root", "End root", "Begin group", "End group"}));
    EXPECT_FALSE(stage.IsAnyMarked());
    group->onTurn = nullptr;
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "z"}));
}

TEST(TqOcPrioritizedVisitor, GivesNoCullObjectWithoutMemoryAndGoesOn)
{
    VisitStage stage;
    stage.SetRoot({stage.Leaf("a", 1.0)});
    int given = 0;
    stage.Root()->onTurn = [&](TqOcPrioritizedVisitor* visitor, TqOcTravState* state) {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        // What the pools still hold runs out; every answer is an object or null.
        for (int i = 0; i < 10000; ++i) {
            auto* const cull = i % 2 == 0 ? state->NarrowedCull(visitor, 0.1, 0.9, 0.1, 0.9)
                                          : state->TransformedCull(visitor, TqLAffine3f());
            given += cull != nullptr;
        }
        EXPECT_EQ(state->NarrowedCull(visitor, 0.1, 0.9, 0.1, 0.9), nullptr);
        EXPECT_EQ(state->TransformedCull(visitor, TqLAffine3f()), nullptr);
        return TqOcBaseTraversable::eFINISHED;
    };
    stage.Visit();
    EXPECT_LT(given, 10000);
    stage.Root()->onTurn = nullptr;
    EXPECT_EQ(stage.VisitShapes(), Lines{"a"});
}

// ---- Exceptions ---------------------------------------------------------------------------------

TEST(TqOcPrioritizedVisitor, PutsTheWalkInOrderWhenACallbackThrows)
{
    FaultStage stage;
    Lines const all = stage.Visit();
    ASSERT_EQ(all.back(), "End z");
    for (std::size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(all[i]);
        stage.visitor.onEvent = [&](std::string const& event) {
            if (event == all[i]) {
                throw Failure();
            }
        };
        EXPECT_THROW(stage.Visit(), Failure);
        EXPECT_EQ(stage.log.Take(),
                  Lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(i) + 1));
        EXPECT_FALSE(stage.IsAnyMarked());
        EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);

        stage.visitor.onEvent = nullptr;
        EXPECT_EQ(stage.Visit(), all);
    }
}

TEST(TqOcPrioritizedVisitor, PutsTheWalkInOrderWhenTheWindowSizeThrows)
{
    FaultStage stage;
    stage.visitor.onEvent = [](std::string const& event) {
        if (event == "GetWindowSize") {
            throw Failure();
        }
    };
    EXPECT_THROW(stage.Visit(), Failure);
    EXPECT_EQ(stage.log.Take(), Lines());
    stage.visitor.onEvent = nullptr;
    EXPECT_EQ(stage.VisitShapes().size(), 7U);
}

TEST(TqOcPrioritizedVisitor, VisitsNothingWhenTheUpdateOfTheRootThrows)
{
    class Unmeasured : public RecordingShape
    {
    public:
        using RecordingShape::RecordingShape;

        bool throws = true;

        void GetShapeBox(TqLBox3f& box) override
        {
            if (throws) {
                throw Failure();
            }
            RecordingShape::GetShapeBox(box);
        }
    };

    VisitStage stage;
    auto* const shape = new Unmeasured(&stage.log, "b", MakeCube(0.0, 0.0, -5.0, 0.25));
    stage.SetRoot({stage.Leaf("a", 1.0), stage.Named("b", new TqOcSingleLeaf(shape))});
    EXPECT_THROW(stage.Visit(), Failure);
    EXPECT_EQ(stage.log.Take(), Lines());
    shape->throws = false;
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b"}));
}

TEST(TqOcPrioritizedVisitor, PutsTheWalkInOrderWhenACallbackOfItsTraversalThrows)
{
    struct Calls
    {
        int left;

        void Count()
        {
            if (--left == 0) {
                throw Failure();
            }
        }

        static int Score(TqOcTraversable const*, TqOcRenderTravCullData*, void* self)
        {
            static_cast<Calls*>(self)->Count();
            return 1;
        }

        static int Reject(TqOcShape const*, void* self)
        {
            static_cast<Calls*>(self)->Count();
            return 0;
        }
    };

    FaultStage stage;
    Lines const all = stage.Visit();
    for (bool const scores : {true, false}) {
        for (int call = 1; call <= 7; ++call) {
            SCOPED_TRACE(call);
            Calls calls{call};
            stage.Settings().SetDynamicPriorityCallback(scores ? &Calls::Score : nullptr, &calls);
            stage.Settings().SetDynamicShapeCullCallback(scores ? nullptr : &Calls::Reject, &calls);
            EXPECT_THROW(stage.Visit(), Failure);
            EXPECT_FALSE(stage.IsAnyMarked());
            EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);
            calls.left = 0; // does not throw again
            EXPECT_EQ(stage.Visit(), all);
        }
    }
}

TEST(TqOcPrioritizedVisitor, PutsTheWalkInOrderWhenANodeThrows)
{
    VisitStage stage;
    auto* const bad = stage.Group("bad", {stage.Leaf("a", 1.0), stage.Leaf("c", 3.0)});
    stage.SetRoot({stage.Group("outer", {bad, stage.Leaf("z", 9.0)}), stage.Leaf("b", 2.0)});
    bad->onTurn = [&](TqOcPrioritizedVisitor* visitor,
                      TqOcTravState* state) -> TqOcBaseTraversable::TraversalStatus {
        bad->TqOcStaticGroup::PrioritizedVisit(visitor, state);
        throw Failure();
    };
    EXPECT_THROW(stage.Visit(), Failure);
    EXPECT_FALSE(stage.IsAnyMarked());
    EXPECT_EQ(stage.visitor.GetCurrTravState(), nullptr);
    bad->onTurn = nullptr;
    EXPECT_EQ(stage.VisitShapes(), (Lines{"a", "b", "c", "z"}));
}

TEST(TqOcPrioritizedVisitor, ReleasesItsRecordsWhenACallbackThrows)
{
    class Throwing : public QuietVisitor
    {
    public:
        void VisitShape(TqOcShape* shape) override
        {
            QuietVisitor::VisitShape(shape);
            if (throws) {
                throw Failure();
            }
        }

        bool throws = false;
    };

    VisitStage stage;
    stage.SetRoot({});
    for (int i = 0; i < 300; ++i) {
        stage.Root()->AddChild(stage.Leaf("a", 1.0 + 0.01 * i));
    }
    stage.root->Update();
    Throwing visitor;
    visitor.Apply(stage.root.get());
    visitor.throws = true;
    std::size_t pools = 0;
    {
        AllocationCounter counter;
        for (int visit = 0; visit < 50; ++visit) {
            EXPECT_THROW(visitor.Apply(stage.root.get()), Failure);
        }
        pools = counter.GetNumMemory(); // what is thrown comes from elsewhere
    }
    EXPECT_EQ(pools, 0U);
    EXPECT_EQ(visitor.shapes, 350);
}

TEST(TqOcPrioritizedVisitor, ForgetsNextTimeThatItWasPrunedBeforeAnException)
{
    // A visit that was pruned and then thrown out of is not pruned the next time.
    FaultStage stage;
    Lines const all = stage.Visit();
    stage.visitor.onEvent = [&](std::string const& event) {
        if (event == "Shape b") {
            stage.visitor.SetPruned();
            throw Failure();
        }
    };
    EXPECT_THROW(stage.Visit(), Failure);
    stage.visitor.onEvent = nullptr;
    EXPECT_EQ(stage.Visit(), all);
}
