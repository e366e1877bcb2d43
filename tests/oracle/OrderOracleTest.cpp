// The order of the best-first walk, event by event, against a plain recursive form of it.

#include "support/Components.h"
#include "support/FakeClock.h"
#include "support/OracleCull.h"
#include "support/OracleTrees.h"
#include "support/OracleWalk.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x0D0E2ULL;
constexpr int eTREES = 80;
constexpr int eFRAMES_A_TREE = 8;

/// What a frame is walked with, besides camera and settings.
struct WalkOptions
{
    bool slack = false;
    bool queries = false;
    bool clipped = false;
    bool shared = false;
    bool placed = false;
};

/// Hands each drawn shape of a tree to the host's list of events.
class DrawRelay
{
public:
    DrawRelay(TqOcPrioritizedTraversal& traversal, OracleHost& host) : m_host(host)
    {
        // The shape cull callback comes just before a shape is drawn; nothing is culled here.
        traversal.SetDynamicShapeCullCallback(&DrawRelay::Note, this);
    }

private:
    static int Note(TqOcShape const* shape, void* self)
    {
        auto const* drawn = static_cast<OracleShape const*>(shape);
        static_cast<DrawRelay*>(self)->m_host.AddDraw(drawn->GetNumber());
        return 0;
    }

    OracleHost& m_host;
};

void Configure(TqOcPrioritizedTraversal& traversal, WalkOptions const& options,
               TqLBox3f const& bounds, SceneRandom& random)
{
    double const extent = bounds.GetSize().Length();
    if (options.slack) {
        double const slacks[] = {0.01 * extent, 0.1 * extent, extent, -extent, 1e300};
        traversal.SetSortSlack(slacks[random.Below(5)]);
        traversal.SetSlackStart(random.Chance(0.5) ? 0.0 : 0.3 * extent);
    } else {
        traversal.SetSortSlack(0.0);
        traversal.SetSlackStart(0.0);
    }
    traversal.SetOcclusionCulling(options.queries ? 1 : 0);
    // With no time to spend, every finished node asks the host whether to go on.
    traversal.SetTargetFrameTime(0.0);
    traversal.SetPolicy(options.clipped ? TqOcRenderTraversal::eINTERRUPTIBLE
                                        : TqOcRenderTraversal::eNEVER_INTERACTIVE);
}

/// Splits off what is aborted at the end of a frame; its order is not laid down.
std::vector<std::string> TakeTrailingAborts(std::vector<std::string>& events)
{
    auto first = events.end();
    while (first != events.begin() && (first - 1)->rfind("abort", 0) == 0) {
        --first;
    }
    std::vector<std::string> aborts(first, events.end());
    events.erase(first, events.end());
    std::sort(aborts.begin(), aborts.end());
    return aborts;
}

void CompareEvents(OracleHost const& engine, OracleHost const& oracle)
{
    std::vector<std::string> actual = engine.GetEvents();
    std::vector<std::string> expected = oracle.GetEvents();
    EXPECT_EQ(TakeTrailingAborts(actual), TakeTrailingAborts(expected));
    std::size_t const common = std::min(actual.size(), expected.size());
    for (std::size_t i = 0; i < common; ++i) {
        ASSERT_EQ(actual[i], expected[i]) << "event " << i;
    }
    ASSERT_EQ(actual.size(), expected.size());
}

void CompareCounters(TqOcRenderTraversal const& engine, TqOcRenderTraversal const& oracle)
{
    ASSERT_EQ(engine.GetTrisRendered(), oracle.GetTrisRendered());
    ASSERT_EQ(engine.GetLeavesRendered(), oracle.GetLeavesRendered());
    ASSERT_EQ(engine.GetTrisFrustumCulled(), oracle.GetTrisFrustumCulled());
    ASSERT_EQ(engine.GetTrisAreaCulled(), oracle.GetTrisAreaCulled());
    ASSERT_EQ(engine.GetTrisVisibilityCulled(), oracle.GetTrisVisibilityCulled());
    ASSERT_EQ(engine.GetTrisTraversedCulled(), oracle.GetTrisTraversedCulled());
    ASSERT_EQ(engine.GetTrisOcclusionCulled(), oracle.GetTrisOcclusionCulled());
}

/// Two equal trees, one for the engine and one for the recursive walk.
class OrderRig
{
public:
    OrderRig(OracleTreeOptions const& options, std::uint64_t seed, std::uint64_t hostSeed)
        : m_engineTree(options, seed)
        , m_oracleTree(options, seed)
        , m_engineHost(hostSeed)
        , m_oracleHost(hostSeed)
        , m_engine(&m_engineHost)
        , m_oracle(&m_oracleHost)
        , m_relay(m_engine, m_engineHost)
    {}

    TqLBox3f const& GetBounds() const { return m_engineTree.GetBounds(); }

    OracleHost const& GetHost() const { return m_engineHost; }

    void Walk(OracleCamera const& camera, OracleSettings const& settings,
              WalkOptions const& options, SceneRandom& random)
    {
        SceneRandom same = random;
        Configure(m_engine, options, GetBounds(), random);
        Configure(m_oracle, options, GetBounds(), same);
        ApplyOracleSettings(camera, settings, m_engine);
        ApplyOracleSettings(camera, settings, m_oracle);
        int const endAfter = options.clipped
                                 ? static_cast<int>(random.Below(
                                       static_cast<std::uint32_t>(m_engineTree.GetShapes().size())))
                                 : 0x7FFFFFFF;
        for (OracleHost* host : {&m_engineHost, &m_oracleHost}) {
            host->Clear();
            host->hasQueries = options.queries;
            host->endAfterShapes = endAfter;
        }
        m_engine.Apply(m_engineTree.GetRoot());
        m_oracle.ResetStats();
        OracleWalk(m_oracle, m_oracleHost).Run(m_oracleTree.GetRoot());
        ASSERT_NO_FATAL_FAILURE(CompareEvents(m_engineHost, m_oracleHost));
        ASSERT_NO_FATAL_FAILURE(CompareCounters(m_engine, m_oracle));
        for (TqOcTraversable const* node : m_engineTree.GetContainers()) {
            ASSERT_EQ(node->IsTraversed(), 0);
        }
    }

private:
    OracleTree m_engineTree;
    OracleTree m_oracleTree;
    OracleHost m_engineHost;
    OracleHost m_oracleHost;
    TqOcPrioritizedTraversal m_engine;
    TqOcPrioritizedTraversal m_oracle;
    DrawRelay m_relay;
};

struct OrderCounts
{
    int draws = 0;
    int queries = 0;
};

OrderCounts CheckOrders(WalkOptions const& walk, std::uint64_t seed)
{
    FakeClock const clock;
    OrderCounts counts;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        OracleTreeOptions options;
        options.count = std::min<std::size_t>(1500, MakeRandomCount(random));
        options.kind = walk.shared || walk.placed
                           ? OracleTreeKind::eBY_HAND
                           : static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
        options.switches = random.Chance(0.6);
        options.oneKind = random.Chance(0.4);
        options.shared = walk.shared ? 0.2 : 0.0;
        options.placed = walk.placed ? 0.3 : 0.0;
        std::uint64_t const shapesSeed = random.Next();
        OrderRig rig(options, shapesSeed, random.Next());
        for (int frame = 1; frame <= eFRAMES_A_TREE; ++frame) {
            SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", " +
                         std::to_string(options.count) + " shapes, frame " + std::to_string(frame));
            OracleCamera const camera = MakeRandomCamera(rig.GetBounds(), random);
            OracleSettings settings = MakeRandomSettings(rig.GetBounds(), random);
            settings.frameId = static_cast<unsigned>(frame);
            if (random.Chance(0.5)) {
                settings.secondary = 0; // leaves many nodes with equal priorities
            }
            rig.Walk(camera, settings, walk, random);
            if (testing::Test::HasFatalFailure()) {
                return counts;
            }
            counts.draws += rig.GetHost().GetNumDraws();
            counts.queries += rig.GetHost().GetNumQueries();
        }
    }
    return counts;
}

TEST(TqOcPrioritizedTraversal, WalksInTheOrderOfThePlainRecursion)
{
    WalkOptions walk;
    EXPECT_GT(CheckOrders(walk, eSEED).draws, 10000);
}

TEST(TqOcPrioritizedTraversal, WalksInTheOrderOfThePlainRecursionWithSlack)
{
    WalkOptions walk;
    walk.slack = true;
    EXPECT_GT(CheckOrders(walk, eSEED + 1).draws, 10000);
}

TEST(TqOcPrioritizedTraversal, AsksAndReadsOcclusionQueriesInTheOrderOfThePlainRecursion)
{
    WalkOptions walk;
    walk.queries = true;
    walk.slack = true;
    OrderCounts const counts = CheckOrders(walk, eSEED + 2);
    EXPECT_GT(counts.draws, 1000);
    EXPECT_GT(counts.queries, 1000);
}

TEST(TqOcPrioritizedTraversal, EndsClippedFramesWhereThePlainRecursionDoes)
{
    WalkOptions walk;
    walk.queries = true;
    walk.clipped = true;
    OrderCounts const counts = CheckOrders(walk, eSEED + 3);
    EXPECT_GT(counts.draws, 1000);
    EXPECT_GT(counts.queries, 1000);
}

TEST(TqOcPrioritizedTraversal, WalksSharedNodesAsThePlainRecursionDoes)
{
    WalkOptions walk;
    walk.shared = true;
    EXPECT_GT(CheckOrders(walk, eSEED + 4).draws, 10000);
}

TEST(TqOcPrioritizedTraversal, WalksTransformedAndNarrowedBranchesAsThePlainRecursionDoes)
{
    WalkOptions walk;
    walk.placed = true;
    walk.queries = true;
    EXPECT_GT(CheckOrders(walk, eSEED + 5).draws, 5000);
}

} // namespace
