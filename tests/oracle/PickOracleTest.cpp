// Picks by frustum over random scenes: which shapes are asked, and in which order, against the
// rules applied to every node by itself. Each side of the frustum is worked out from the camera in
// long double, and tested of every box: no plane mask narrows anything.

#include "support/Components.h"
#include "support/OracleCull.h"
#include "support/OracleFrame.h"
#include "support/OracleTrees.h"
#include "support/Recorders.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"

#include "geometry/GeometryRandom.h"
#include "geometry/TqLPickFrustum3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x0F1C4ULL;
constexpr int eTREES = 60;
constexpr int ePICKS_A_TREE = 6;
constexpr unsigned s_allHits = 32;

// ---- The frustum's sides ------------------------------------------------------------------------

/// A part of a camera's window: lower and upper x, lower and upper y, in shares from 0 to 1.
struct Window
{
    double x0 = 0.0;
    double x1 = 1.0;
    double y0 = 0.0;
    double y1 = 1.0;
};

/// Tells where a box lies by six distances of each corner.
class OracleSides
{
public:
    OracleSides(OracleCamera const& camera, Window const& window)
        : m_camera(camera)
        , m_window(window)
        , m_forward(LongUnit(LongVec(camera.direction)))
        , m_right(LongUnit(LongCross(m_forward, LongVec(camera.up))))
        , m_up(LongCross(m_right, m_forward))
        , m_halfHeight(camera.perspective ? std::tan(0.5L * camera.verticalAngle)
                                          : 0.5L * camera.height)
        , m_halfWidth(camera.perspective ? m_halfHeight * camera.aspect : 0.5L * camera.width)
    {}

    OracleVerdict Judge(TqLBox3f const& box) const
    {
        if (box.IsEmpty()) {
            return OracleVerdict::eCULLED;
        }
        long double greatest[6];
        std::fill(greatest, greatest + 6, -1e300L);
        for (int corner = 0; corner < 8; ++corner) {
            long double inside[6];
            Measure(box.GetCorner(corner), inside);
            for (int side = 0; side < 6; ++side) {
                greatest[side] = std::max(greatest[side], inside[side]);
            }
        }
        long double const least = *std::min_element(greatest, greatest + 6);
        if (least < -GetTolerance(box)) {
            return OracleVerdict::eCULLED;
        }
        return least >= 0.0L ? OracleVerdict::eVISIBLE : OracleVerdict::eUNDECIDED;
    }

private:
    /// How far inside each side the point lies.
    void Measure(TqLPos3f const& point, long double (&inside)[6]) const
    {
        LongVec const offset = LongVec(point) - LongVec(m_camera.eye);
        long double const depth = LongDot(offset, m_forward);
        long double const shares[4] = {m_window.x0, m_window.x1, m_window.y0, m_window.y1};
        for (int side = 0; side < 4; ++side) {
            bool const isX = side < 2;
            long double const edge =
                (2.0L * shares[side] - 1.0L) * (isX ? m_halfWidth : m_halfHeight);
            long double const slope = m_camera.perspective ? edge : 0.0L;
            long double const at = m_camera.perspective ? edge * depth : edge;
            long double const along = LongDot(offset, isX ? m_right : m_up);
            inside[side] =
                (side % 2 == 0 ? along - at : at - along) / std::sqrt(1.0L + slope * slope);
        }
        inside[4] = depth - m_camera.nearDistance;
        inside[5] = m_camera.farDistance - depth;
    }

    long double GetTolerance(TqLBox3f const& box) const
    {
        long double reach = m_camera.farDistance;
        for (int axis = 0; axis < 3; ++axis) {
            reach += std::fabs(m_camera.eye[axis]) + std::fabs(box.GetMin()[axis]) +
                     std::fabs(box.GetMax()[axis]);
        }
        return 1e-13L * reach;
    }

    OracleCamera m_camera;
    Window m_window;
    LongVec m_forward;
    LongVec m_right;
    LongVec m_up;
    long double m_halfHeight; // at depth 1, or everywhere when parallel
    long double m_halfWidth;
};

long double GetDistance(TqLPos3f const& origin, TqLBox3f const& box)
{
    long double square = 0.0L;
    for (int axis = 0; axis < 3; ++axis) {
        long double const p = origin[axis];
        long double const min = box.GetMin()[axis];
        long double const max = box.GetMax()[axis];
        long double const gap = p < min ? min - p : (p > max ? p - max : 0.0L);
        square += gap * gap;
    }
    return std::sqrt(square);
}

// ---- The pick by the rules ----------------------------------------------------------------------

/// What a shape's geometry answers: the distance of its hit, not before its box begins, or none.
/// Some distances are rounded up, so that there are ties.
std::optional<double> FindHit(OracleShape const& shape, TqLPickFrustum3f const& frustum,
                              std::uint64_t seed)
{
    SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(shape.GetNumber())));
    if (random.Chance(0.4)) {
        return std::nullopt;
    }
    TqLBox3f const& box = shape.GetItem().box;
    double const begin = frustum.MinDistance(box);
    if (random.Chance(0.2)) {
        return begin;
    }
    if (random.Chance(0.3)) {
        return std::ceil(begin * 0.25) * 4.0;
    }
    return begin + random.Unit() * box.GetSize().Length();
}

/// Where the hit counts as clipped or not.
TqLPos3f GetHitPoint(OracleShape const& shape)
{
    return shape.GetItem().box.GetCenter();
}

/// What a pick found.
struct PickResult
{
    std::vector<int> asked; ///< Numbers of the shapes, in the order of their turns.
    std::vector<int> hits;  ///< Numbers of the shapes listed.
    int nearest = -1;
    double distance = 0.0; ///< Of the nearest; 0 without one.
};

struct PickRules
{
    bool picksHidden = false;
    bool allHits = false;
    TqOcPrioritizedTraversal const* render = nullptr; ///< What the pick follows, or null.
    bool lastRendered = true;
};

class PlainPick
{
public:
    /// @param frustum  asked for what is too close to call, with a mask of all planes
    /// @param cull  judges nodes under the render traversal's view
    PlainPick(PickRules const& rules, OracleSides const& sides, TqLPickFrustum3f const& frustum,
              OracleCull const& cull, std::uint64_t seed)
        : m_rules(rules)
        , m_sides(sides)
        , m_frustum(frustum)
        , m_cull(cull)
        , m_seed(seed)
    {}

    void Run(TqOcTraversable* root) { Judge(root); }

    PickResult result;
    unsigned scored = 0;       ///< Nodes judged under the render traversal's view.
    unsigned trisCulled = 0;   ///< By clip planes, frustum and area there.
    bool isTrisCertain = true; ///< No reason of such a cull was too close to call.
    int undecided = 0;         ///< Boxes and nodes too close to call.
    int prunedByDistance = 0;  ///< Nodes and shapes.
    int prunedByRendering = 0;

private:
    void Judge(TqOcTraversable* node)
    {
        if (IsOutside(node->GetBoundingBox())) {
            return;
        }
        if (IsSwitchedOff(*node) || IsNotDrawn(*node)) {
            ++prunedByRendering;
            return;
        }
        if (IsBehind(node->GetBoundingBox())) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            if (children[i]->IsShape() != 0) {
                JudgeShape(static_cast<OracleShape*>(children[i]));
            } else {
                Judge(static_cast<TqOcTraversable*>(children[i]));
            }
        }
    }

    void JudgeShape(OracleShape* shape)
    {
        TqLBox3f const& box = shape->GetItem().box;
        if (IsSwitchedOff(*shape) || (m_rules.render != nullptr && HasOtherPrimitives(*shape)) ||
            IsOutside(box) || IsBehind(box)) {
            return;
        }
        result.asked.push_back(shape->GetNumber());
        if (std::optional<double> const hit = FindHit(*shape, m_frustum, m_seed)) {
            result.hits.push_back(shape->GetNumber());
            if ((result.nearest < 0 || *hit < result.distance) && !IsClipped(*shape)) {
                result.nearest = shape->GetNumber();
                result.distance = *hit;
            }
        }
    }

    bool IsClipped(OracleShape const& shape) const
    {
        if (m_rules.render == nullptr || shape.IsIgnoreClip() != 0) {
            return false;
        }
        LongVec const point(GetHitPoint(shape));
        TqLPlane3f const* const planes = m_rules.render->GetClipPlanes();
        return std::any_of(planes, planes + m_rules.render->GetNumClipPlanes(),
                           [&](TqLPlane3f const& plane) {
                               LongVec const normal(plane.GetNormal().Vec());
                               return LongDot(normal, point) < plane.GetDistance();
                           });
    }

    bool IsSwitchedOff(TqOcBaseTraversable const& node) const
    {
        return node.IsIgnorePick() != 0 || (node.IsHideRender() != 0 && !m_rules.picksHidden);
    }

    bool HasOtherPrimitives(TqOcBaseTraversable const& node) const
    {
        return (node.GetPrimitives() & m_rules.render->GetPrimitiveBits()) == 0;
    }

    bool IsNotDrawn(TqOcTraversable& node)
    {
        if (m_rules.render == nullptr) {
            return false;
        }
        if (m_rules.lastRendered) {
            return node.GetFrameId() != m_rules.render->GetFrameId();
        }
        return HasOtherPrimitives(node) || IsCulledByView(node);
    }

    bool IsCulledByView(TqOcTraversable& node)
    {
        ++scored;
        OracleResult const judged = m_cull.Judge(MakeOracleNode(node));
        bool isCulled = judged.verdict == OracleVerdict::eCULLED;
        if (judged.verdict == OracleVerdict::eUNDECIDED) {
            ++undecided;
            isTrisCertain = false;
            isCulled = IsCulledByLibrary(node);
        }
        isTrisCertain = isTrisCertain && judged.reasonCertain;
        if (isCulled && judged.reason != OracleReason::eDISTANCE &&
            judged.reason != OracleReason::eNEAR) {
            trisCulled += node.GetTris();
        }
        return isCulled;
    }

    /// Asked of another traversal of the same settings, whose counters do not matter.
    bool IsCulledByLibrary(TqOcTraversable& node) const
    {
        RecordingContext context;
        TqOcPrioritizedTraversal same(&context);
        same.CopyConfig(m_rules.render);
        auto* const host = const_cast<TqOcContext*>(m_rules.render->GetContext());
        TqOcTravFrustum frustum(m_rules.render->GetViewFrustum(), host,
                                m_rules.render->GetStress());
        TqOcTravTransform transform(TqLAffine3f(), m_rules.render->GetClipPlanes(),
                                    m_rules.render->GetNumClipPlanes());
        TqOcRenderTravCull const cull(&frustum, &transform);
        TqOcRenderTravCullData data;
        return cull.CalcPriority(&same, 0, &node, 7, &data) == 0;
    }

    bool IsOutside(TqLBox3f const& box)
    {
        OracleVerdict const verdict = m_sides.Judge(box);
        if (verdict == OracleVerdict::eUNDECIDED) {
            ++undecided;
            int planes = TqLPickFrustum3f::eALL_PLANES;
            return m_frustum.CanCull(box, &planes) != 0;
        }
        return verdict == OracleVerdict::eCULLED;
    }

    bool IsBehind(TqLBox3f const& box)
    {
        if (result.nearest < 0 || m_rules.allHits) {
            return false;
        }
        long double const gap = GetDistance(m_frustum.GetOrigin(), box) - result.distance;
        bool isBehind = gap > 0.0L;
        if (std::fabs(gap) < 1e-14L * result.distance) { // where hits begin with their boxes
            isBehind = m_frustum.MinDistance(box) > result.distance;
        }
        prunedByDistance += isBehind ? 1 : 0;
        return isBehind;
    }

    PickRules m_rules;
    OracleSides const& m_sides;
    TqLPickFrustum3f const& m_frustum;
    OracleCull const& m_cull;
    std::uint64_t m_seed;
};

// ---- Rigs ---------------------------------------------------------------------------------------

/// How picks of a test go.
struct PickOptions
{
    bool follows = false; ///< A render traversal.
    bool lastRendered = true;
    bool runsFrames = false; ///< Of that traversal, before each pick.
    double shared = 0.0;
};

/// What all picks of a test came to; zeros would mean that it tested nothing.
struct PickCounts
{
    int picks = 0;
    int asked = 0;
    int nearest = 0;
    int undecided = 0;
    int prunedByDistance = 0;
    int prunedByRendering = 0;
    int certainTris = 0; ///< Picks whose culled triangles were compared, and not 0.
};

class PickRig
{
public:
    PickRig(OracleTreeOptions const& options, std::uint64_t seed, PickOptions const& how)
        : m_tree(options, seed)
        , m_how(how)
        , m_render(&m_context)
        , m_pick(nullptr)
    {
        SceneRandom random(seed + 1);
        if (options.switches) {
            SwitchPicks(m_tree, random);
        }
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetPickTurn(&m_turn);
        }
    }

    ~PickRig()
    {
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetPickTurn(nullptr);
        }
    }

    PickRig(PickRig const&) = delete;
    PickRig& operator=(PickRig const&) = delete;

    void PickOnce(SceneRandom& random, PickCounts& counts)
    {
        OracleCamera const camera = MakeRandomCamera(m_tree.GetBounds(), random);
        OracleSettings const settings = MakeSettings(random);
        m_context.windowWidth = settings.windowWidth;
        m_context.windowHeight = settings.windowHeight;
        ApplyOracleSettings(camera, settings, m_render);
        if (m_how.runsFrames) {
            m_render.SetFrameId(++m_frameId);
            m_render.Apply(m_tree.GetRoot());
        }
        Window const window = MakeWindow(random);
        OracleSides const sides(camera, window);
        TqLPickFrustum3f const frustum(
            MakeOracleFrustum(camera).NarrowedBy(window.x0, window.x1, window.y0, window.y1));
        OracleCull const cull(camera, settings);
        std::uint64_t const seed = random.Next();
        PickRules rules;
        rules.render = m_how.follows ? &m_render : nullptr;
        rules.lastRendered = m_how.lastRendered;
        rules.picksHidden = random.Chance(0.3);
        Compare(rules, sides, frustum, cull, seed, counts);
    }

private:
    OracleSettings MakeSettings(SceneRandom& random)
    {
        OracleSettings settings = MakeRandomSettings(m_tree.GetBounds(), random);
        if (m_how.runsFrames) {
            settings.clipPlanes.clear(); // frames stamp what planes cut away
        }
        return settings;
    }

    /// The whole view, a rectangle, or a sliver of it.
    static Window MakeWindow(SceneRandom& random)
    {
        if (random.Chance(0.2)) {
            return Window();
        }
        bool const isThin = random.Chance(0.3);
        Window window;
        window.x0 = random.Range(0.0, 0.9);
        window.x1 = window.x0 + (isThin ? 0.01 : random.Range(0.02, 1.0 - window.x0));
        window.y0 = random.Range(0.0, 0.9);
        window.y1 = window.y0 + (isThin ? 0.01 : random.Range(0.02, 1.0 - window.y0));
        return window;
    }

    void Compare(PickRules rules, OracleSides const& sides, TqLPickFrustum3f const& frustum,
                 OracleCull const& cull, std::uint64_t seed, PickCounts& counts)
    {
        PickResult results[2];
        for (bool allHits : {false, true}) {
            SCOPED_TRACE(allHits ? "all hits" : "nearest");
            rules.allHits = allHits;
            PlainPick plain(rules, sides, frustum, cull, seed);
            plain.Run(m_tree.GetRoot());
            PickResult const& expected = plain.result;
            unsigned const scoredBefore = m_render.GetNumFrustumCullTests();
            unsigned const trisBefore =
                m_render.GetTrisFrustumCulled() + m_render.GetTrisAreaCulled();
            PickResult const actual = Pick(rules, frustum, seed);
            ASSERT_EQ(actual.asked, expected.asked);
            ASSERT_EQ(actual.hits, expected.hits);
            ASSERT_EQ(actual.nearest, expected.nearest);
            ASSERT_EQ(actual.distance, expected.distance);
            ASSERT_EQ(m_render.GetNumFrustumCullTests() - scoredBefore, plain.scored);
            if (plain.isTrisCertain) {
                ASSERT_EQ(m_render.GetTrisFrustumCulled() + m_render.GetTrisAreaCulled() -
                              trisBefore,
                          plain.trisCulled);
            }
            CheckDrawn(rules, actual);
            results[allHits ? 1 : 0] = actual;
            ++counts.picks;
            counts.asked += static_cast<int>(expected.asked.size());
            counts.nearest += expected.nearest >= 0 ? 1 : 0;
            counts.undecided += plain.undecided;
            counts.prunedByDistance += plain.prunedByDistance;
            counts.prunedByRendering += plain.prunedByRendering;
            counts.certainTris += plain.isTrisCertain && plain.trisCulled > 0 ? 1 : 0;
        }
        // What was pruned lay behind the nearest hit.
        ASSERT_EQ(results[0].nearest, results[1].nearest);
        ASSERT_EQ(results[0].distance, results[1].distance);
    }

    PickResult Pick(PickRules const& rules, TqLPickFrustum3f const& frustum, std::uint64_t seed)
    {
        PickResult result;
        m_turn = [&](OracleShape& shape, TqOcPickFrustumTraversal* pick) {
            result.asked.push_back(shape.GetNumber());
            if (std::optional<double> const hit = FindHit(shape, pick->GetFrustum(), seed)) {
                pick->PickShape(&shape);
                TqLPos3f const point = GetHitPoint(shape);
                if (pick->CanPickPoint(&shape, point, *hit) != 0) {
                    pick->SetPicked(&shape, point, *hit, 0, TqOcPickTraversal::ePICK_OTHER);
                }
            }
        };
        m_pick.SetFrustum(frustum);
        m_pick.SetRenderTraversal(m_how.follows ? &m_render : nullptr);
        m_pick.SetPickLastRendered(rules.lastRendered ? 1 : 0);
        m_pick.SetPickHidden(rules.picksHidden ? 1 : 0);
        m_pick.SetRequiredPropertyBits(rules.allHits ? s_allHits : 0);
        m_pick.Apply(m_tree.GetRoot());
        for (int i = 0; i < m_pick.GetAllPickedShapes().Size(); ++i) {
            result.hits.push_back(
                static_cast<OracleShape*>(m_pick.GetAllPickedShapes()[i])->GetNumber());
        }
        if (TqOcShape* const nearest = m_pick.GetPickedShape()) {
            result.nearest = static_cast<OracleShape*>(nearest)->GetNumber();
            result.distance = m_pick.GetDistance();
        }
        return result;
    }

    /// Nothing that the last frame did not draw is asked.
    void CheckDrawn(PickRules const& rules, PickResult const& result)
    {
        if (!m_how.runsFrames || rules.picksHidden) {
            return;
        }
        for (int number : result.asked) {
            unsigned const drawnIn =
                m_tree.GetShapes()[static_cast<std::size_t>(number)]->GetFrameId();
            ASSERT_EQ(drawnIn, m_frameId) << number;
        }
    }

    OracleTree m_tree;
    PickOptions m_how;
    RecordingContext m_context;
    TqOcPrioritizedTraversal m_render;
    TqOcPickFrustumTraversal m_pick;
    OracleShape::PickTurn m_turn;
    unsigned m_frameId = 0;
};

PickCounts ComparePicks(PickOptions const& how, std::uint64_t test)
{
    PickCounts counts;
    for (int tree = 0; tree < eTREES; ++tree) {
        std::uint64_t const seed =
            SceneRandom::SeedFor(eSEED + test, static_cast<std::uint64_t>(tree));
        SCOPED_TRACE("tree " + std::to_string(tree) + ", seed " + std::to_string(seed));
        SceneRandom random(seed);
        OracleTreeOptions options;
        options.count = std::min<std::size_t>(1500, MakeRandomCount(random));
        options.kind = how.shared > 0.0 ? OracleTreeKind::eBY_HAND
                                        : static_cast<OracleTreeKind>(tree % eORACLE_TREE_KINDS);
        options.switches = random.Chance(0.6);
        options.oneKind = random.Chance(0.5);
        options.shared = how.shared;
        PickRig rig(options, seed, how);
        for (int pick = 0; pick < ePICKS_A_TREE; ++pick) {
            SCOPED_TRACE("pick " + std::to_string(pick));
            rig.PickOnce(random, counts);
            if (testing::Test::HasFatalFailure()) {
                return counts;
            }
        }
    }
    EXPECT_EQ(counts.picks, 2 * eTREES * ePICKS_A_TREE);
    EXPECT_GT(counts.asked, 5000);
    EXPECT_GT(counts.nearest, 50);
    EXPECT_GT(counts.prunedByDistance, 1000);
    EXPECT_LT(counts.undecided, counts.asked / 20);
    return counts;
}

} // namespace

TEST(PickOracle, AsksTheShapesInTheFrustumInTheOrderOfTheTree)
{
    ComparePicks(PickOptions(), 0);
}

TEST(PickOracle, AsksNothingThatTheLastFrameDidNotDraw)
{
    PickOptions how;
    how.follows = true;
    how.runsFrames = true;
    PickCounts const counts = ComparePicks(how, 1);
    EXPECT_GT(counts.prunedByRendering, 100);
}

TEST(PickOracle, AsksWhatTheNextFrameWouldDrawWhenTheLastOneDoesNotCount)
{
    PickOptions how;
    how.follows = true;
    how.lastRendered = false;
    PickCounts const counts = ComparePicks(how, 2);
    EXPECT_GT(counts.prunedByRendering, 100);
    EXPECT_GT(counts.certainTris, 50);
}

TEST(PickOracle, AsksTheShapesOfSharedBranchesOnceForEachWayToThem)
{
    PickOptions how;
    how.shared = 0.1;
    ComparePicks(how, 3);
}
