// Random frames over random hierarchies, held against the long-hand judgement of every node.

#include "support/Components.h"
#include "support/OracleCull.h"
#include "support/OracleFrame.h"
#include "support/OracleTrees.h"
#include "support/Recorders.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"

#include "geometry/TqLMatrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x5CE7ECULL;
constexpr int eTREES = 80;
constexpr int eFRAMES_A_TREE = 10;

/// The nodes that a walk kept, with what it found out about them.
using KeptNodes = std::unordered_map<TqOcTraversable const*, TqOcRenderTravCullData>;

int KeepNode(TqOcTraversable const* node, TqOcRenderTravCullData* data, void* userData)
{
    (*static_cast<KeptNodes*>(userData))[node] = *data;
    return 1;
}

/// One traversal with its host, walking random frames.
class FrameRig
{
public:
    FrameRig() : m_traversal(&m_context)
    {
        m_traversal.SetDynamicPriorityCallback(&KeepNode, &m_kept);
    }

    void Walk(OracleTree& tree, OracleCamera const& camera, OracleSettings const& settings)
    {
        m_context.windowWidth = settings.windowWidth;
        m_context.windowHeight = settings.windowHeight;
        ApplyOracleSettings(camera, settings, m_traversal);
        m_kept.clear();
        tree.ClearDraws();
        m_traversal.Apply(tree.GetRoot());
    }

    TqOcPrioritizedTraversal& GetTraversal() { return m_traversal; }

    RecordingContext& GetContext() { return m_context; }

    KeptNodes const& GetKept() const { return m_kept; }

    unsigned NextFrameId() { return ++m_frameId; }

private:
    RecordingContext m_context;
    TqOcPrioritizedTraversal m_traversal;
    KeptNodes m_kept;
    unsigned m_frameId = 0;
};

struct FrameCounts
{
    int frames = 0;
    int decided = 0;    ///< Frames in which nothing was too close to call.
    int drawing = 0;    ///< Frames that drew some shapes and left some out.
    int priorities = 0; ///< Priorities compared.
    int bits = 0;       ///< Cull bits compared.
};

// ---- Checks -------------------------------------------------------------------------------------

void CheckDrawnSet(OracleTree const& tree, OracleFrame const& frame)
{
    std::vector<int> times(tree.GetShapes().size(), 0);
    for (int number : tree.GetDraws()) {
        ++times[static_cast<std::size_t>(number)];
    }
    for (std::size_t i = 0; i < times.size(); ++i) {
        switch (frame.GetDrawn()[i]) {
        case OracleChance::eYES:
            ASSERT_EQ(times[i], 1) << "visible shape " << i << " missed or repeated";
            break;
        case OracleChance::eNO:
            ASSERT_EQ(times[i], 0) << "culled shape " << i << " drawn";
            break;
        case OracleChance::ePERHAPS:
            ASSERT_LE(times[i], 1) << "shape " << i << " repeated";
            break;
        }
    }
}

void CheckKeptNodes(OracleFrame const& frame, KeptNodes const& kept)
{
    for (auto const& [node, record] : frame.GetJudged()) {
        if (record.reached != OracleChance::eYES) {
            continue;
        }
        if (record.result.verdict == OracleVerdict::eVISIBLE) {
            ASSERT_EQ(kept.count(node), 1u) << "a visible node was culled";
        } else if (record.result.verdict == OracleVerdict::eCULLED) {
            ASSERT_EQ(kept.count(node), 0u)
                << "a node was kept, reason " << static_cast<int>(record.result.reason);
        }
    }
    for (auto const& [node, data] : kept) {
        ASSERT_EQ(frame.GetJudged().count(node), 1u) << "a node was judged out of turn";
    }
}

void CheckPriorities(OracleFrame const& frame, OracleSettings const& settings,
                     KeptNodes const& kept, FrameCounts& counts)
{
    double const scale = settings.primary == 1 ? 1.0 : 1e3;
    for (auto const& [node, data] : kept) {
        OracleResult const& result = frame.GetJudged().at(node).result;
        if (result.verdict != OracleVerdict::eVISIBLE) {
            continue;
        }
        for (int axis = 0; axis < 2; ++axis) {
            ASSERT_NEAR(data.screenBox.GetMin()[axis], static_cast<double>(result.low[axis]), 1e-7);
            ASSERT_NEAR(data.screenBox.GetMax()[axis], static_cast<double>(result.high[axis]),
                        1e-7);
        }
        if (result.cullBitsCertain) {
            ASSERT_EQ(data.cullBits, result.cullBits);
            ++counts.bits;
        }
        if (!result.priorityCertain) {
            continue;
        }
        double const expected = static_cast<double>(result.priority);
        ASSERT_NEAR(data.priority, expected, 1e-8 * (scale + std::fabs(expected) * scale));
        ++counts.priorities;
    }
}

// Shapes drawn and triangles culled by each rule; together they are all there is.
void CheckCounters(OracleTree const& tree, OracleFrame const& frame,
                   TqOcPrioritizedTraversal const& traversal)
{
    OracleTotals const& totals = frame.GetTotals();
    ASSERT_EQ(traversal.GetTrisRendered(), totals.rendered);
    ASSERT_EQ(traversal.GetShapesRendered(), totals.shapes);
    ASSERT_EQ(traversal.GetLeavesRendered(), totals.leaves);
    ASSERT_EQ(traversal.GetTrisFrustumCulled(), totals.frustumCulled);
    ASSERT_EQ(traversal.GetTrisAreaCulled(), totals.areaCulled);
    ASSERT_EQ(traversal.GetTrisVisibilityCulled(), totals.visibilityCulled);
    ASSERT_EQ(traversal.GetTrisTraversedCulled(), 0u);
    ASSERT_EQ(traversal.GetTrisOcclusionCulled(), 0u);
    ASSERT_EQ(traversal.GetNumFrustumCullTests(), totals.judged);
    ASSERT_EQ(traversal.GetNumAreaCullTests(), totals.measured);
    ASSERT_EQ(traversal.GetTrisRendered() + traversal.GetTrisFrustumCulled() +
                  traversal.GetTrisAreaCulled() + traversal.GetTrisVisibilityCulled() +
                  totals.distanceCulled + totals.skipped,
              tree.GetRoot()->GetTris());
}

void CheckMarks(OracleTree const& tree)
{
    for (TqOcTraversable const* node : tree.GetContainers()) {
        ASSERT_EQ(node->IsTraversed(), 0);
    }
}

void CheckFrame(OracleTree& tree, FrameRig& rig, SceneRandom& random, FrameCounts& counts)
{
    OracleCamera const camera = MakeRandomCamera(tree.GetBounds(), random);
    OracleSettings settings = MakeRandomSettings(tree.GetBounds(), random);
    settings.frameId = rig.NextFrameId();
    OracleFrame const frame(tree, camera, settings);
    rig.Walk(tree, camera, settings);

    ASSERT_NO_FATAL_FAILURE(CheckDrawnSet(tree, frame));
    ASSERT_NO_FATAL_FAILURE(CheckKeptNodes(frame, rig.GetKept()));
    ASSERT_NO_FATAL_FAILURE(CheckPriorities(frame, settings, rig.GetKept(), counts));
    ASSERT_NO_FATAL_FAILURE(CheckMarks(tree));
    ++counts.frames;
    if (frame.IsDecided()) {
        ++counts.decided;
        ASSERT_NO_FATAL_FAILURE(CheckCounters(tree, frame, rig.GetTraversal()));
    }
    if (!tree.GetDraws().empty() && tree.GetDraws().size() < tree.GetShapes().size()) {
        ++counts.drawing;
    }
}

void CheckTrees(OracleTreeKind kind, double placed, std::uint64_t seed)
{
    FrameRig rig;
    FrameCounts counts;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        OracleTreeOptions options;
        options.count = MakeRandomCount(random);
        options.kind = kind;
        options.placed = placed;
        options.switches = random.Chance(0.7);
        OracleTree tree(options, random.Next());
        for (int frame = 0; frame < eFRAMES_A_TREE; ++frame) {
            SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", " + std::to_string(i) +
                         "th tree, " + std::to_string(options.count) + " shapes, frame " +
                         std::to_string(frame));
            ASSERT_NO_FATAL_FAILURE(CheckFrame(tree, rig, random, counts));
        }
    }
    // The comparison must not have been empty.
    EXPECT_EQ(counts.frames, eTREES * eFRAMES_A_TREE);
    EXPECT_GT(counts.decided, counts.frames * 8 / 10);
    EXPECT_GT(counts.drawing, counts.frames / 4);
    EXPECT_GT(counts.priorities, 10 * counts.frames);
    EXPECT_GT(counts.bits, 10 * counts.frames);
}

// ---- Whole frames -------------------------------------------------------------------------------

TEST(TqOcPrioritizedTraversal, DrawsWhatTheRulesLeaveOfTreesMadeByHand)
{
    CheckTrees(OracleTreeKind::eBY_HAND, 0.0, eSEED);
}

TEST(TqOcPrioritizedTraversal, DrawsWhatTheRulesLeaveOfStaticBuildersTrees)
{
    CheckTrees(OracleTreeKind::eSTATIC_BUILDER, 0.0, eSEED + 1);
}

TEST(TqOcPrioritizedTraversal, DrawsWhatTheRulesLeaveOfFlatBuildersTrees)
{
    CheckTrees(OracleTreeKind::eFLAT_BUILDER, 0.0, eSEED + 2);
}

TEST(TqOcPrioritizedTraversal, DrawsWhatTheRulesLeaveOfMixedTrees)
{
    CheckTrees(OracleTreeKind::eMIXED, 0.0, eSEED + 3);
}

TEST(TqOcPrioritizedTraversal, DrawsWhatTheRulesLeaveOfTransformedAndNarrowedBranches)
{
    CheckTrees(OracleTreeKind::eBY_HAND, 0.3, eSEED + 20);
}

// ---- Leaves on their own ------------------------------------------------------------------------

/// Every leaf of a tree, judged without regard to what is above it.
void CheckLeavesFlat(OracleTree& tree, FrameRig& rig, SceneRandom& random, int& judged)
{
    OracleCamera const camera = MakeRandomCamera(tree.GetBounds(), random);
    OracleSettings settings = MakeRandomSettings(tree.GetBounds(), random);
    settings.frameId = rig.NextFrameId();
    settings.primitiveBits = 255;
    OracleCull const cull(camera, settings);
    rig.Walk(tree, camera, settings);

    std::vector<bool> drawn(tree.GetShapes().size(), false);
    for (int number : tree.GetDraws()) {
        drawn[static_cast<std::size_t>(number)] = true;
    }
    for (TqOcTraversable* node : tree.GetContainers()) {
        OracleVerdict const verdict = cull.Judge(MakeOracleNode(*node)).verdict;
        if (node->IsLeaf() == 0 || verdict == OracleVerdict::eUNDECIDED) {
            continue;
        }
        TqOcBaseTraversable* const* shapes = nullptr;
        int const count = node->GetChildren(&shapes);
        for (int i = 0; i < count; ++i) {
            int const number = static_cast<OracleShape const*>(shapes[i])->GetNumber();
            // Only children stand in for their parent, whose box is the same here.
            ASSERT_EQ(drawn[static_cast<std::size_t>(number)], verdict == OracleVerdict::eVISIBLE);
        }
        ++judged;
    }
}

TEST(TqOcPrioritizedTraversal, DrawsExactlyTheLeavesThatAreVisibleOnTheirOwn)
{
    FrameRig rig;
    int judged = 0;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed =
            SceneRandom::SeedFor(eSEED + 4, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        OracleTreeOptions options;
        options.count = MakeRandomCount(random);
        options.kind = static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
        options.switches = false;
        options.oneKind = true;
        OracleTree tree(options, random.Next());
        for (int frame = 0; frame < 5; ++frame) {
            SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", frame " +
                         std::to_string(frame));
            ASSERT_NO_FATAL_FAILURE(CheckLeavesFlat(tree, rig, random, judged));
        }
    }
    EXPECT_GT(judged, 10000);
}

// ---- Cull bits ----------------------------------------------------------------------------------

/// Goes down with the bits that each parent leaves, and tests every node with all bits as well.
class BitsCheck
{
public:
    BitsCheck(TqOcRenderTravCull const& cull, TqOcPrioritizedTraversal& traversal)
        : m_cull(cull)
        , m_traversal(traversal)
    {}

    int GetNumNarrowed() const { return m_narrowed; }

    void Visit(TqOcTraversable* node, int bits)
    {
        TqOcRenderTravCullData inherited = {};
        TqOcRenderTravCullData full = {};
        int const kept = m_cull.CalcPriority(&m_traversal, 0, node, bits, &inherited);
        int const keptByAll = m_cull.CalcPriority(&m_traversal, 0, node, 7, &full);
        ASSERT_EQ(kept, keptByAll) << "bits " << bits;
        m_narrowed += bits != 7 ? 1 : 0;
        if (kept == 0) {
            return;
        }
        ASSERT_NEAR(inherited.priority, full.priority, 1e-12 * std::fabs(full.priority));
        ASSERT_EQ(inherited.cullBits & ~bits, 0) << "a bit came back";
        ASSERT_EQ(inherited.cullBits & ~full.cullBits, 0);
        if (node->IsLeaf() != 0) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            ASSERT_NO_FATAL_FAILURE(
                Visit(static_cast<TqOcTraversable*>(children[i]), inherited.cullBits));
        }
    }

private:
    TqOcRenderTravCull const& m_cull;
    TqOcPrioritizedTraversal& m_traversal;
    int m_narrowed = 0;
};

TEST(TqOcRenderTravCull, JudgesTheSameWithTheBitsThatAParentLeaves)
{
    RecordingContext context;
    TqOcPrioritizedTraversal traversal(&context);
    int narrowed = 0;
    for (int i = 0; i < 2 * eTREES; ++i) {
        std::uint64_t const treeSeed =
            SceneRandom::SeedFor(eSEED + 5, static_cast<std::uint64_t>(i));
        SCOPED_TRACE("tree seed " + std::to_string(treeSeed));
        SceneRandom random(treeSeed);
        OracleTreeOptions options;
        options.count = MakeRandomCount(random);
        options.kind = static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
        OracleTree tree(options, random.Next());
        for (int frame = 0; frame < 4; ++frame) {
            OracleCamera const camera = MakeRandomCamera(tree.GetBounds(), random);
            ApplyOracleSettings(camera, MakeRandomSettings(tree.GetBounds(), random), traversal);
            TqLAffine3f identity;
            identity.MakeIdentity();
            TqOcTravFrustum frustum(traversal.GetViewFrustum(), &context, 1.0);
            TqOcTravTransform transform(identity, traversal.GetClipPlanes(),
                                        traversal.GetNumClipPlanes());
            TqOcRenderTravCull const cull(&frustum, &transform);
            BitsCheck check(cull, traversal);
            ASSERT_NO_FATAL_FAILURE(check.Visit(tree.GetRoot(), 7));
            narrowed += check.GetNumNarrowed();
        }
    }
    EXPECT_GT(narrowed, 10000);
}

// ---- Nearest first ------------------------------------------------------------------------------

/// Priorities of the leaves in the order in which they were drawn.
std::vector<long double> GetLeafPriorities(OracleTree const& tree, OracleCull const& cull)
{
    std::vector<long double> priorities;
    for (int number : tree.GetDraws()) {
        OracleShape const& shape = *tree.GetShapes()[static_cast<std::size_t>(number)];
        priorities.push_back(cull.Judge(MakeOracleNode(*shape.GetSingleParent())).priority);
    }
    return priorities;
}

void CheckAscending(int primary, std::uint64_t seed)
{
    FrameRig rig;
    int compared = 0;
    for (int i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(i));
        SCOPED_TRACE("tree seed " + std::to_string(treeSeed));
        SceneRandom random(treeSeed);
        OracleTreeOptions options;
        options.count = MakeRandomCount(random);
        options.kind = static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
        options.switches = false;
        options.oneKind = true;
        OracleTree tree(options, random.Next());
        OracleCamera camera = MakeRandomCamera(tree.GetBounds(), random);
        // A box around the eye can have a smaller rectangle than what it holds.
        camera.perspective = camera.perspective && primary == 1;
        OracleSettings settings;
        settings.primary = primary;
        settings.secondary = 0;
        settings.cullArea = primary == 1 ? 0.0 : 1.0;
        settings.frameId = rig.NextFrameId();
        rig.Walk(tree, camera, settings);
        std::vector<long double> const priorities =
            GetLeafPriorities(tree, OracleCull(camera, settings));
        for (std::size_t k = 1; k < priorities.size(); ++k) {
            ASSERT_LE(priorities[k - 1], priorities[k] + 1e-7L * (1.0L + std::fabs(priorities[k])));
            ++compared;
        }
    }
    EXPECT_GT(compared, 1000);
}

TEST(TqOcPrioritizedTraversal, DrawsNearLeavesFirst)
{
    CheckAscending(1, eSEED + 6);
}

TEST(TqOcPrioritizedTraversal, DrawsLargeLeavesFirstByArea)
{
    CheckAscending(0, eSEED + 7);
}

// ---- Broken boxes -------------------------------------------------------------------------------

/// Walks a degenerate scene and checks what must hold whatever the boxes are.
void CheckDegenerate(DegenerateKind kind, bool flat, std::uint64_t seed)
{
    SceneRandom random(seed);
    std::vector<SceneBox> const items = MakeDegenerate(kind, 400, random.Next());
    PostedErrors errors; // builders report boxes that cannot be split
    std::vector<int> draws;
    std::vector<std::unique_ptr<OracleShape>> shapes;
    TqOcStaticHierarchyBuilder treeBuilder(500);
    TqOcFlatHierarchyBuilder flatBuilder;
    treeBuilder.Begin();
    flatBuilder.Begin();
    for (std::size_t i = 0; i < items.size(); ++i) {
        shapes.push_back(std::make_unique<OracleShape>(&items[i], static_cast<int>(i), &draws));
        shapes.back()->SetUserOwned(1);
        flat ? flatBuilder.Append(shapes.back().get()) : treeBuilder.Append(shapes.back().get());
    }
    std::unique_ptr<TqOcTraversable> const root(flat ? flatBuilder.End() : treeBuilder.End());
    root->Update();
    TqLBox3f const bounds = GetSceneBounds(items);
    RecordingContext context;
    TqOcPrioritizedTraversal traversal(&context);
    unsigned drawnEver = 0;
    for (unsigned frame = 1; frame <= 30; ++frame) {
        OracleSettings settings = MakeRandomSettings(bounds, random);
        settings.frameId = frame;
        settings.primitiveBits = 255;
        ApplyOracleSettings(MakeRandomCamera(bounds, random), settings, traversal);
        draws.clear();
        traversal.Apply(root.get());
        ASSERT_EQ(root->IsTraversed(), 0);
        ASSERT_EQ(traversal.GetShapesRendered(), draws.size());
        drawnEver += static_cast<unsigned>(draws.size());
        std::sort(draws.begin(), draws.end());
        ASSERT_EQ(std::adjacent_find(draws.begin(), draws.end()), draws.end()) << "drawn twice";
        for (int number : draws) {
            TqLBox3f const& box =
                shapes[static_cast<std::size_t>(number)]->GetSingleParent()->GetBoundingBox();
            ASSERT_FALSE(std::isnan(box.GetMin()[0]) || std::isnan(box.GetMax()[0]));
        }
    }
    EXPECT_GT(drawnEver, 0u);
}

TEST(TqOcPrioritizedTraversal, WalksBrokenAndExtremeBoxesToTheEnd)
{
    for (int kind = 0; kind < eDEGENERATE_KIND_COUNT; ++kind) {
        for (bool const flat : {false, true}) {
            auto const named = static_cast<DegenerateKind>(kind);
            SCOPED_TRACE(std::string(GetDegenerateName(named)) + (flat ? ", flat" : ", tree"));
            ASSERT_NO_FATAL_FAILURE(
                CheckDegenerate(named, flat, eSEED + 8 + static_cast<std::uint64_t>(kind)));
        }
    }
}

} // namespace
