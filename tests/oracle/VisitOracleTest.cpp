// The order of prioritized visits, event by event, against a plain recursive form of them, and
// against the order in which a frame draws.

#include "support/Components.h"
#include "support/OracleCull.h"
#include "support/OracleTrees.h"
#include "support/OracleVisit.h"
#include "support/Recorders.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x0D0E9ULL;
constexpr int eTREES = 80;
constexpr int eVISITS_A_TREE = 8;
constexpr unsigned eFRAME_STAMP = 1000000;
constexpr unsigned eHYSTERESIS_STAMP = 7;

/// What is visited, and how, besides camera and settings.
struct VisitOptions
{
    bool slack = false;
    bool pruned = false; ///< Branches, by either callback.
    bool ended = false;  ///< Whole walks.
    bool bits = false;   ///< Initial cull bits other than 7.
    bool shared = false;
    bool placed = false;
};

struct VisitCounts
{
    int shapes = 0;
    int scores = 0;
    int ended = 0; ///< Visits that ended before their end.
};

OracleTreeOptions MakeTreeOptions(VisitOptions const& visit, SceneRandom& random)
{
    OracleTreeOptions options;
    options.count = std::min<std::size_t>(1500, MakeRandomCount(random));
    options.kind = visit.shared || visit.placed
                       ? OracleTreeKind::eBY_HAND
                       : static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
    options.switches = random.Chance(0.6);
    options.oneKind = random.Chance(0.4);
    options.shared = visit.shared ? 0.1 : 0.0;
    options.placed = visit.placed ? 0.3 : 0.0;
    return options;
}

void SetSlack(TqOcRenderTraversal& traversal, bool slack, double extent, SceneRandom& random)
{
    double const slacks[] = {0.01 * extent, 0.1 * extent, extent, -extent, 1e300};
    traversal.SetSortSlack(slack ? slacks[random.Below(5)] : 0.0);
    traversal.SetSlackStart(slack && random.Chance(0.5) ? 0.3 * extent : 0.0);
}

void SetScript(VisitScript& script, VisitOptions const& options, std::size_t shapes,
               SceneRandom& random)
{
    script.Clear();
    script.seed = random.Next();
    script.pruned = options.pruned ? random.Range(0.0, 0.3) : 0.0;
    script.culled = options.pruned ? random.Range(0.0, 0.2) : 0.0;
    script.initialCullBits = options.bits ? static_cast<int>(random.Below(8)) : 7;
    if (options.ended) {
        script.endAfter = 1 + random.Below(static_cast<std::uint32_t>(2 * shapes));
    }
}

void CompareEvents(VisitScript const& engine, VisitScript const& oracle)
{
    std::vector<std::string> const& actual = engine.GetEvents();
    std::vector<std::string> const& expected = oracle.GetEvents();
    std::size_t const common = std::min(actual.size(), expected.size());
    for (std::size_t i = 0; i < common; ++i) {
        ASSERT_EQ(actual[i], expected[i]) << "event " << i;
    }
    ASSERT_EQ(actual.size(), expected.size());
}

void CompareCounters(TqOcRenderTraversal const& engine, TqOcRenderTraversal const& oracle)
{
    ASSERT_EQ(engine.GetTrisFrustumCulled(), oracle.GetTrisFrustumCulled());
    ASSERT_EQ(engine.GetTrisAreaCulled(), oracle.GetTrisAreaCulled());
    ASSERT_EQ(engine.GetNumFrustumCullTests(), oracle.GetNumFrustumCullTests());
    ASSERT_EQ(engine.GetNumAreaCullTests(), oracle.GetNumAreaCullTests());
    ASSERT_EQ(engine.GetTrisRendered(), 0U);
    ASSERT_EQ(engine.GetTrisVisibilityCulled(), 0U);
    ASSERT_EQ(engine.GetTrisTraversedCulled(), 0U);
}

/// Two equal trees, one for the visitor and one for the recursive walk.
class VisitRig
{
public:
    VisitRig(OracleTreeOptions const& options, std::uint64_t seed)
        : m_visitorTree(options, seed)
        , m_oracleTree(options, seed)
        , m_visitorScript(m_visitorTree)
        , m_oracleScript(m_oracleTree)
        , m_visitor(m_visitorScript)
        , m_oracle(&m_host)
    {
        for (OracleTree* tree : {&m_visitorTree, &m_oracleTree}) {
            for (TqOcTraversable* node : tree->GetContainers()) {
                node->SetFrameId(eFRAME_STAMP);
                node->SetHysteresisId(eHYSTERESIS_STAMP);
            }
        }
    }

    TqLBox3f const& GetBounds() const { return m_visitorTree.GetBounds(); }

    VisitScript const& GetScript() const { return m_visitorScript; }

    void Visit(OracleCamera const& camera, OracleSettings const& settings,
               VisitOptions const& options, SceneRandom& random)
    {
        SceneRandom same = random;
        double const extent = GetBounds().GetSize().Length();
        std::size_t const shapes = m_visitorTree.GetShapes().size();
        SetScript(m_visitorScript, options, shapes, random);
        SetSlack(*m_visitor.ConfigureTraversal(), options.slack, extent, random);
        SetScript(m_oracleScript, options, shapes, same);
        SetSlack(m_oracle, options.slack, extent, same);
        ApplyOracleSettings(camera, settings, *m_visitor.ConfigureTraversal());
        ApplyOracleSettings(camera, settings, m_oracle);
        m_visitor.windowWidth = m_host.windowWidth = settings.windowWidth;
        m_visitor.windowHeight = m_host.windowHeight = settings.windowHeight;
        m_visitor.SetInitialCullBits(m_visitorScript.initialCullBits);

        m_visitor.Apply(m_visitorTree.GetRoot());
        m_oracle.ResetStats();
        OracleVisit(m_oracle, m_host, m_oracleScript).Run(m_oracleTree.GetRoot());
        ASSERT_NO_FATAL_FAILURE(CompareEvents(m_visitorScript, m_oracleScript));
        ASSERT_NO_FATAL_FAILURE(CompareCounters(*m_visitor.ConfigureTraversal(), m_oracle));
        for (TqOcTraversable const* node : m_visitorTree.GetContainers()) {
            ASSERT_EQ(node->IsTraversed(), 0);
            ASSERT_EQ(node->GetFrameId(), eFRAME_STAMP);
            ASSERT_EQ(node->GetHysteresisId(), eHYSTERESIS_STAMP);
        }
        ASSERT_EQ(m_visitor.GetCurrTravState(), nullptr);
    }

private:
    OracleTree m_visitorTree;
    OracleTree m_oracleTree;
    VisitScript m_visitorScript;
    VisitScript m_oracleScript;
    ScriptedVisitor m_visitor;
    RecordingContext m_host;
    TqOcPrioritizedTraversal m_oracle;
};

OracleSettings MakeVisitSettings(TqLBox3f const& bounds, int visit, SceneRandom& random)
{
    OracleSettings settings = MakeRandomSettings(bounds, random);
    settings.frameId = static_cast<unsigned>(visit);
    if (random.Chance(0.5)) {
        settings.secondary = 0; // leaves many nodes with equal priorities
    }
    return settings;
}

VisitCounts CheckVisits(VisitOptions const& visit, std::uint64_t seed)
{
    VisitCounts counts;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        OracleTreeOptions const options = MakeTreeOptions(visit, random);
        VisitRig rig(options, random.Next());
        for (int number = 1; number <= eVISITS_A_TREE; ++number) {
            SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", " +
                         std::to_string(options.count) + " shapes, visit " +
                         std::to_string(number));
            OracleCamera const camera = MakeRandomCamera(rig.GetBounds(), random);
            OracleSettings const settings = MakeVisitSettings(rig.GetBounds(), number, random);
            rig.Visit(camera, settings, visit, random);
            if (testing::Test::HasFatalFailure()) {
                return counts;
            }
            VisitScript const& script = rig.GetScript();
            counts.shapes += static_cast<int>(script.GetShapes().size());
            counts.scores += static_cast<int>(
                std::count_if(script.GetEvents().begin(), script.GetEvents().end(),
                              [](std::string const& event) { return event[1] == 'c'; }));
            counts.ended += script.IsOver() ? 1 : 0;
        }
    }
    return counts;
}

// ---- Against a frame ----------------------------------------------------------------------------

void CheckAgainstFrame(OracleTree& tree, TqOcPrioritizedTraversal& frame, ScriptedVisitor& visitor,
                       VisitScript& script)
{
    TqOcPrioritizedTraversal const& counted = *visitor.ConfigureTraversal();
    // The visit comes first: it leaves no stamps, on which the frame would depend.
    script.Clear();
    visitor.Apply(tree.GetRoot());
    tree.ClearDraws();
    frame.Apply(tree.GetRoot());
    ASSERT_EQ(frame.IsFrameClipped(), 0);
    ASSERT_EQ(script.GetShapes(), tree.GetDraws());
    ASSERT_EQ(counted.GetTrisFrustumCulled(), frame.GetTrisFrustumCulled());
    ASSERT_EQ(counted.GetTrisAreaCulled(), frame.GetTrisAreaCulled());
    ASSERT_EQ(counted.GetNumFrustumCullTests(), frame.GetNumFrustumCullTests());
    ASSERT_EQ(counted.GetNumAreaCullTests(), frame.GetNumAreaCullTests());
}

} // namespace

TEST(TqOcPrioritizedVisitor, VisitsInTheOrderOfThePlainRecursion)
{
    VisitOptions visit;
    VisitCounts const counts = CheckVisits(visit, eSEED);
    EXPECT_GT(counts.shapes, 10000);
    EXPECT_GT(counts.scores, 10000);
}

TEST(TqOcPrioritizedVisitor, VisitsInTheOrderOfThePlainRecursionWithSlack)
{
    VisitOptions visit;
    visit.slack = true;
    EXPECT_GT(CheckVisits(visit, eSEED + 1).shapes, 10000);
}

TEST(TqOcPrioritizedVisitor, LeavesOutPrunedBranchesAsThePlainRecursionDoes)
{
    VisitOptions visit;
    visit.pruned = true;
    visit.slack = true;
    EXPECT_GT(CheckVisits(visit, eSEED + 2).shapes, 1000);
}

TEST(TqOcPrioritizedVisitor, EndsWhereThePlainRecursionDoes)
{
    VisitOptions visit;
    visit.ended = true;
    VisitCounts const counts = CheckVisits(visit, eSEED + 3);
    EXPECT_GT(counts.shapes, 1000);
    EXPECT_GT(counts.ended, 100);
}

TEST(TqOcPrioritizedVisitor, VisitsSharedNodesAsThePlainRecursionDoes)
{
    VisitOptions visit;
    visit.shared = true;
    visit.ended = true; // a node is visited once per way to it, and there can be very many
    EXPECT_GT(CheckVisits(visit, eSEED + 4).shapes, 1000);
}

TEST(TqOcPrioritizedVisitor, VisitsTransformedAndNarrowedBranchesAsThePlainRecursionDoes)
{
    VisitOptions visit;
    visit.placed = true;
    visit.bits = true;
    EXPECT_GT(CheckVisits(visit, eSEED + 5).shapes, 5000);
}

TEST(TqOcPrioritizedVisitor, VisitsShapesInTheOrderInWhichAFrameDrawsThem)
{
    std::size_t shapes = 0;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed =
            SceneRandom::SeedFor(eSEED + 6, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        VisitOptions visit;
        visit.placed = random.Chance(0.3);
        OracleTree tree(MakeTreeOptions(visit, random), random.Next());
        VisitScript script(tree);
        ScriptedVisitor visitor(script);
        RecordingContext host;
        TqOcPrioritizedTraversal frame(&host);
        for (int number = 1; number <= eVISITS_A_TREE; ++number) {
            SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", frame " +
                         std::to_string(number));
            OracleCamera const camera = MakeRandomCamera(tree.GetBounds(), random);
            OracleSettings const settings = MakeVisitSettings(tree.GetBounds(), number, random);
            bool const slack = random.Chance(0.5);
            SceneRandom same = random;
            SetSlack(frame, slack, tree.GetBounds().GetSize().Length(), same);
            SetSlack(*visitor.ConfigureTraversal(), slack, tree.GetBounds().GetSize().Length(),
                     random);
            ApplyOracleSettings(camera, settings, frame);
            ApplyOracleSettings(camera, settings, *visitor.ConfigureTraversal());
            visitor.windowWidth = host.windowWidth = settings.windowWidth;
            visitor.windowHeight = host.windowHeight = settings.windowHeight;
            ASSERT_NO_FATAL_FAILURE(CheckAgainstFrame(tree, frame, visitor, script));
            shapes += script.GetShapes().size();
        }
    }
    EXPECT_GT(shapes, 10000U);
}
