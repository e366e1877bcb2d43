// Picks by sweep as an application uses them: a body that walks through the rooms of a building and
// slides along what it meets, and sweeps between the frames of a render traversal.

#include "support/FakeClock.h"
#include "support/OracleCull.h"
#include "support/OracleFrame.h"
#include "support/OracleTrees.h"
#include "support/Recorders.h"
#include "support/SweepStage.h"

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include "geometry/TqLPickSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x3A1CULL;

void ReportContact(OracleShape& shape, TqOcPickSweepTraversal* pick)
{
    ReportBoxContact(pick, &shape, shape.GetItem().box);
}

// ---- A walk -------------------------------------------------------------------------------------

enum class TreeKind
{
    eSTATIC,
    eFLAT,
    eDYNAMIC
};

/// Boxes to walk among, each a shape with its own box for geometry, under one kind of tree.
class WalkWorld
{
public:
    WalkWorld(std::vector<SceneBox> items, TreeKind kind)
        : m_items(std::move(items))
        , m_turn(ReportContact)
    {
        for (SceneBox& item : m_items) {
            item.primitives = TqLPrimitiveTypes::eTRIANGLES;
            m_shapes.push_back(
                std::make_unique<OracleShape>(&item, static_cast<int>(m_shapes.size()), &m_draws));
            m_shapes.back()->SetUserOwned(1);
            m_shapes.back()->SetSweepTurn(&m_turn);
        }
        m_root.reset(MakeTree(kind));
        m_root->Update();
    }

    TqOcTraversable* GetRoot() const { return m_root.get(); }

    TqLBox3f const& GetBounds() const { return m_root->GetBoundingBox(); }

    /// How deep a box stands in the boxes of the world: the least of the overlaps on the axes, or a
    /// negative gap.
    double FindDepth(TqLPos3f const& center, TqLVec3f const& half) const
    {
        double deepest = -1e300;
        for (SceneBox const& item : m_items) {
            double depth = 1e300;
            for (int axis = 0; axis < 3; ++axis) {
                double const below = center[axis] + half[axis] - item.box.GetMin()[axis];
                double const above = item.box.GetMax()[axis] - (center[axis] - half[axis]);
                depth = std::min({depth, below, above});
            }
            deepest = std::max(deepest, depth);
        }
        return deepest;
    }

private:
    TqOcTraversable* MakeTree(TreeKind kind)
    {
        if (kind == TreeKind::eDYNAMIC) {
            auto* const group = new TqOcDynamicGroup;
            for (auto const& shape : m_shapes) {
                group->AddShape(shape.get());
            }
            return group;
        }
        if (kind == TreeKind::eFLAT) {
            TqOcFlatHierarchyBuilder builder;
            return Build(builder);
        }
        TqOcStaticHierarchyBuilder builder(100);
        return Build(builder);
    }

    template <class Builder>
    TqOcTraversable* Build(Builder& builder)
    {
        builder.Begin();
        for (auto const& shape : m_shapes) {
            builder.Append(shape.get());
        }
        return builder.End();
    }

    std::vector<SceneBox> m_items;
    std::vector<int> m_draws;
    OracleShape::SweepTurn m_turn;
    std::vector<std::unique_ptr<OracleShape>> m_shapes;
    std::unique_ptr<TqOcTraversable> m_root;
};

/// A box that moves until it meets something and then slides along it.
class Walker
{
public:
    static constexpr double s_gap = 1e-4; ///< Left between the body and what it meets.

    Walker(WalkWorld const& world, TqLPos3f const& center, TqLVec3f const& half)
        : m_world(world)
        , m_center(center)
        , m_half(half)
    {}

    TqLPos3f const& GetCenter() const { return m_center; }

    int numContacts = 0;
    double walked = 0.0;

    void Move(TqLVec3f const& step)
    {
        TqLVec3f rest = step;
        for (int slide = 0; slide < 3 && !(rest == TqLVec3f()); ++slide) {
            TqLPickSweep const sweep(m_center, m_half, rest);
            double contact = 0.0;
            OracleShape const* met = nullptr;
            ASSERT_NO_FATAL_FAILURE(FindContact(sweep, &contact, &met));
            double const length = rest.Length();
            double const share = met != nullptr ? std::max(0.0, contact - s_gap) / length : 1.0;
            m_center += rest * share;
            walked += share * length;
            ASSERT_LT(m_world.FindDepth(m_center, m_half), 0.0) << "ended inside of something";
            rest *= 1.0 - share;
            if (met == nullptr) {
                break;
            }
            ++numContacts;
            rest[FindFace(sweep, met->GetItem().box)] = 0.0;
        }
    }

private:
    /// Sweeps in both modes, which must agree.
    void FindContact(TqLPickSweep const& sweep, double* contact, OracleShape const** met)
    {
        TqOcTraversable* const root = m_world.GetRoot();
        for (TqOcPickSweepTraversal* pick : {&m_depthFirst, &m_nearestFirst}) {
            pick->SetSweep(sweep);
            pick->Apply(root);
        }
        auto const* const other = m_depthFirst.GetPickedShape();
        *met = static_cast<OracleShape*>(m_nearestFirst.GetPickedShape());
        ASSERT_EQ(*met != nullptr, other != nullptr);
        if (*met != nullptr) {
            *contact = m_nearestFirst.GetDistance();
            ASSERT_NEAR(*contact, m_depthFirst.GetDistance(), 1e-12 * (1.0 + *contact));
            ASSERT_NEAR(m_nearestFirst.GetSweep().GetSweep().Length(), *contact, 1e-9);
        }
    }

    /// The axis along which the body comes upon a box last.
    static int FindFace(TqLPickSweep const& sweep, TqLBox3f const& box)
    {
        int face = 0;
        double last = -1e300;
        for (int axis = 0; axis < 3; ++axis) {
            double const step = sweep.GetSweep()[axis];
            double const half = sweep.GetHalfSize()[axis];
            if (step == 0.0) {
                continue;
            }
            double const gap = step > 0.0 ? box.GetMin()[axis] - half - sweep.GetCenter()[axis]
                                          : box.GetMax()[axis] + half - sweep.GetCenter()[axis];
            if (gap / step > last) {
                last = gap / step;
                face = axis;
            }
        }
        return face;
    }

    WalkWorld const& m_world;
    TqLPos3f m_center;
    TqLVec3f m_half;
    TqOcPickSweepTraversal m_depthFirst{nullptr, SweepStage::s_depthFirst};
    TqOcPickSweepTraversal m_nearestFirst{nullptr, SweepStage::s_nearestFirst};
};

TqLVec3f MakeStep(double length, SceneRandom& random)
{
    TqLVec3f step;
    for (int axis = 0; axis < 3; ++axis) {
        step[axis] = random.Chance(0.2) ? 0.0 : length * random.Range(-1.0, 1.0);
    }
    return step;
}

/// A place with nothing near it.
TqLPos3f FindFreePlace(WalkWorld const& world, TqLVec3f const& half, SceneRandom& random)
{
    for (;;) {
        TqLPos3f place;
        for (int axis = 0; axis < 3; ++axis) {
            place[axis] =
                random.Range(world.GetBounds().GetMin()[axis], world.GetBounds().GetMax()[axis]);
        }
        if (world.FindDepth(place, half) < -0.01) {
            return place;
        }
    }
}

void WalkThroughBuilding(TreeKind kind)
{
    constexpr int eWALKS = 12;
    constexpr int eSTEPS = 60;
    TqLVec3f const half(0.25, 0.2, 0.6);
    WalkWorld const world(MakeBuilding(1500, eSEED), kind);
    int contacts = 0;
    double walked = 0.0;
    for (std::uint64_t walk = 0; walk < eWALKS; ++walk) {
        std::uint64_t const seed = SceneRandom::SeedFor(eSEED, walk);
        SceneRandom random(seed);
        Walker walker(world, FindFreePlace(world, half, random), half);
        for (int step = 0; step < eSTEPS; ++step) {
            SCOPED_TRACE("walk seed " + std::to_string(seed) + ", step " + std::to_string(step));
            ASSERT_NO_FATAL_FAILURE(walker.Move(MakeStep(4.0, random)));
        }
        contacts += walker.numContacts;
        walked += walker.walked;
    }
    EXPECT_GT(contacts, 300);
    EXPECT_GT(walked, 300.0);
}

/// Six walls around a cube of 10, of which some have no thickness at all.
std::vector<SceneBox> MakeClosedRoom(SceneRandom& random)
{
    std::vector<SceneBox> walls;
    for (int face = 0; face < 6; ++face) {
        double const thickness = random.Chance(0.5) ? 0.0 : random.Range(0.001, 0.2);
        TqLPos3f min(-5.2, -5.2, -5.2);
        TqLPos3f max(5.2, 5.2, 5.2);
        int const axis = face / 2;
        if (face % 2 == 0) {
            min[axis] = -5.0 - thickness;
            max[axis] = -5.0;
        } else {
            min[axis] = 5.0;
            max[axis] = 5.0 + thickness;
        }
        walls.push_back(SceneBox{TqLBox3f(min, max), 12, 1.0, TqLPrimitiveTypes::eTRIANGLES});
    }
    return walls;
}

// ---- After frames -------------------------------------------------------------------------------

/// The host of the frames: starts a query for most boxes, finds some of them occluded, and ends the
/// frame after so many shapes.
class FrameHost : public RecordingContext
{
public:
    FrameHost(OracleTree const& tree, SceneRandom& random)
    {
        onBeginQuery = [&](TqLBox3f const& box, unsigned int) {
            bool const isBegun = random.Chance(0.7);
            if (isBegun) {
                m_queried.push_back(box);
            }
            return isBegun;
        };
        onEndQuery = [&](int number) {
            bool const isOccluded = random.Chance(0.4);
            if (isOccluded) {
                occluded.push_back(m_queried[static_cast<std::size_t>(number) - 1]);
            }
            return isOccluded ? 0U : 1000U;
        };
        onInteractionPending = [&] { return tree.GetDraws().size() >= endAfterShapes ? 1 : 0; };
        startsQueries = true;
    }

    std::size_t endAfterShapes = 0;
    std::vector<TqLBox3f> occluded; ///< Since the start.

private:
    std::vector<TqLBox3f> m_queried;
};

/// What a frame may do besides.
struct FrameOptions
{
    bool queries = false;
    bool clipped = false;
};

/// Frames over a random tree, and sweeps after each of them.
class FrameRig
{
public:
    FrameRig(OracleTreeOptions const& options, std::uint64_t seed, SceneRandom& random)
        : m_tree(options, seed)
        , m_random(random)
        , m_host(m_tree, random)
        , m_render(&m_host)
    {
        for (TqOcTraversable* const node : m_tree.GetContainers()) {
            TqOcBaseTraversable* const* children = nullptr;
            int const count = node->GetChildren(&children);
            for (int i = 0; i < count; ++i) {
                m_parents[children[i]] = node;
            }
        }
    }

    std::size_t numAsked = 0;
    std::size_t numStamped = 0; ///< Asked without having been drawn.
    std::size_t numMissed = 0;  ///< Touched but not drawn, and not asked.

    void RunFrame(unsigned int frameId, FrameOptions const& options)
    {
        m_camera = MakeRandomCamera(m_tree.GetBounds(), m_random);
        m_settings = MakeRandomSettings(m_tree.GetBounds(), m_random);
        m_settings.frameId = frameId;
        m_settings.cullArea = 0.0; // occluded are those boxes of which no sample is seen
        ApplyOracleSettings(m_camera, m_settings, m_render);
        m_render.SetOcclusionCulling(options.queries ? 1 : 0);
        m_render.SetTargetFrameTime(0.0); // each finished node asks whether to go on
        m_render.SetPolicy(options.clipped ? TqOcRenderTraversal::eINTERRUPTIBLE
                                           : TqOcRenderTraversal::eNEVER_INTERACTIVE);
        auto const count = static_cast<std::uint32_t>(m_tree.GetShapes().size());
        m_host.endAfterShapes = options.clipped ? m_random.Below(count) : count + 1;
        m_host.occluded.clear();
        m_tree.ClearDraws();
        m_render.Apply(m_tree.GetRoot());
        m_isComplete = m_render.IsFrameClipped() == 0 && !options.queries;
    }

    void Sweep(int mode)
    {
        TqLPickSweep const sweep = MakeSweep();
        std::set<OracleShape*> asked;
        OracleShape::SweepTurn const turn = [&](OracleShape& shape, TqOcPickSweepTraversal*) {
            asked.insert(&shape);
        };
        TqOcPickSweepTraversal pick(nullptr, mode);
        pick.SetRenderTraversal(&m_render);
        pick.SetSweep(sweep);
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetSweepTurn(&turn);
        }
        pick.Apply(m_tree.GetRoot());
        std::set<int> const drawn(m_tree.GetDraws().begin(), m_tree.GetDraws().end());
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetSweepTurn(nullptr);
            SCOPED_TRACE("shape " + std::to_string(shape->GetNumber()));
            bool const isAsked = asked.count(shape.get()) != 0;
            bool const isDrawn = drawn.count(shape->GetNumber()) != 0;
            bool const isTouched = (shape->GetPrimitives() & TqLPrimitiveTypes::eTRIANGLES) != 0 &&
                                   Touches(sweep, shape->GetItem().box, 0.0L);
            numAsked += isAsked ? 1 : 0;
            numMissed += isTouched && !isDrawn && !isAsked ? 1 : 0;
            if (isAsked && !isDrawn) {
                ++numStamped;
                ASSERT_EQ(shape->IsHideRender(), 0);
                ASSERT_TRUE(IsDealtWithUndrawn(shape.get(), mode));
            }
            ASSERT_FALSE(isTouched && isDrawn && m_isComplete && !isAsked);
        }
    }

private:
    TqLPickSweep MakeSweep()
    {
        TqLBox3f const& bounds = m_tree.GetBounds();
        TqLVec3f const size = bounds.GetSize();
        TqLPos3f center = bounds.GetCenter();
        TqLVec3f step;
        for (int axis = 0; axis < 3; ++axis) {
            center[axis] += size[axis] * m_random.Range(-0.5, 0.5);
            step[axis] = size[axis] * m_random.Range(-1.0, 1.0);
        }
        double const radius = 0.2 * m_random.Unit() * size.Length();
        return TqLPickSweep(center, radius, step);
    }

    /// Whether the frame finished with a leaf without drawing it: it was behind the eye, behind a
    /// clip plane, or occluded. Such a node carries the frame's id. A nearest-first pick follows
    /// only children without looking at theirs, so there it may have been a node above.
    bool IsDealtWithUndrawn(OracleShape* shape, int mode) const
    {
        OracleCull const cull(m_camera, m_settings);
        TqOcBaseTraversable* node = shape;
        for (auto above = m_parents.find(node); above != m_parents.end();
             above = m_parents.find(node)) {
            TqOcTraversable* const container = above->second;
            OracleResult const result = cull.Judge(MakeOracleNode(*container));
            bool const isCulled = result.reason == OracleReason::eCLIP_PLANE ||
                                  result.reason == OracleReason::eBEHIND_EYE ||
                                  !result.reasonCertain;
            auto const& boxes = m_host.occluded;
            bool const isOccluded =
                std::find(boxes.begin(), boxes.end(), container->GetBoundingBox()) != boxes.end();
            if ((isCulled || isOccluded) && container->GetFrameId() == m_settings.frameId) {
                return true;
            }
            if (mode == SweepStage::s_depthFirst) {
                return false;
            }
            node = container;
        }
        return false;
    }

    OracleTree m_tree;
    SceneRandom& m_random;
    FrameHost m_host;
    TqOcPrioritizedTraversal m_render;
    std::map<TqOcBaseTraversable*, TqOcTraversable*> m_parents;
    OracleCamera m_camera;
    OracleSettings m_settings;
    bool m_isComplete = false;
};

struct FrameCounts
{
    std::size_t asked = 0;
    std::size_t stamped = 0;
    std::size_t missed = 0;
};

FrameCounts SweepAfterFrames(FrameOptions const& options, std::uint64_t seed)
{
    constexpr int eTREES = 40;
    constexpr unsigned int eFRAMES = 5;
    FakeClock const clock;
    FrameCounts counts;
    for (std::uint64_t i = 0; i < eTREES; ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, i);
        SceneRandom random(treeSeed);
        OracleTreeOptions tree;
        tree.count = std::min<std::size_t>(500, MakeRandomCount(random));
        tree.kind = static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
        FrameRig rig(tree, random.Next(), random);
        for (unsigned int frame = 1; frame <= eFRAMES; ++frame) {
            rig.RunFrame(frame, options);
            for (int const mode : {SweepStage::s_depthFirst, SweepStage::s_nearestFirst}) {
                SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", " +
                             std::to_string(tree.count) + " shapes, frame " +
                             std::to_string(frame) + ", mode " + std::to_string(mode));
                rig.Sweep(mode);
                if (testing::Test::HasFatalFailure()) {
                    return counts;
                }
            }
        }
        counts.asked += rig.numAsked;
        counts.stamped += rig.numStamped;
        counts.missed += rig.numMissed;
    }
    return counts;
}

void ExpectMostlyDrawn(FrameCounts const& counts)
{
    EXPECT_GT(counts.asked, 3000U);
    EXPECT_GT(counts.missed, 1000U);
    EXPECT_LT(counts.stamped, counts.missed);
}

} // namespace

TEST(TqOcPickSweepTraversal, ABodyInAStaticTreeNeverEndsInsideAWall)
{
    WalkThroughBuilding(TreeKind::eSTATIC);
}

TEST(TqOcPickSweepTraversal, ABodyInAFlatTreeNeverEndsInsideAWall)
{
    WalkThroughBuilding(TreeKind::eFLAT);
}

TEST(TqOcPickSweepTraversal, ABodyInADynamicTreeNeverEndsInsideAWall)
{
    WalkThroughBuilding(TreeKind::eDYNAMIC);
}

TEST(TqOcPickSweepTraversal, NoStepIsLongEnoughToLeaveAClosedRoom)
{
    TqLVec3f const half(0.5, 0.4, 0.3);
    for (std::uint64_t room = 0; room < 20; ++room) {
        std::uint64_t const seed = SceneRandom::SeedFor(eSEED + 1, room);
        SceneRandom random(seed);
        WalkWorld const world(MakeClosedRoom(random), TreeKind::eSTATIC);
        Walker walker(world, TqLPos3f(), half);
        for (int step = 0; step < 100; ++step) {
            SCOPED_TRACE("room seed " + std::to_string(seed) + ", step " + std::to_string(step));
            double const lengths[] = {0.01, 3.0, 1e3, 1e5};
            ASSERT_NO_FATAL_FAILURE(walker.Move(MakeStep(lengths[random.Below(4)], random)));
            for (int axis = 0; axis < 3; ++axis) {
                ASSERT_LE(std::fabs(walker.GetCenter()[axis]) + half[axis], 5.0);
            }
        }
        EXPECT_GT(walker.numContacts, 50);
    }
}

TEST(TqOcPickSweepTraversal, AfterCompleteFramesAsksAllThatWasDrawn)
{
    ExpectMostlyDrawn(SweepAfterFrames(FrameOptions(), eSEED + 2));
}

TEST(TqOcPickSweepTraversal, AfterFramesWithOcclusionAsksNothingThatWasNotDealtWith)
{
    FrameOptions options;
    options.queries = true;
    ExpectMostlyDrawn(SweepAfterFrames(options, eSEED + 3));
}

TEST(TqOcPickSweepTraversal, AfterClippedFramesAsksNothingThatWasNotDealtWith)
{
    FrameOptions options;
    options.queries = true;
    options.clipped = true;
    ExpectMostlyDrawn(SweepAfterFrames(options, eSEED + 4));
}
