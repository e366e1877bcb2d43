// Picks by sweep over random scenes: what is asked against every shape tested by itself, contacts
// against the first of all, and the order of nearest-first picks against a plain recursive form.

#include "support/OracleSweep.h"
#include "support/OracleTrees.h"
#include "support/OracleWalk.h"
#include "support/Recorders.h"
#include "support/SweepStage.h"

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include "geometry/TqLPickSweep.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr std::uint64_t eSEED = 0x5111EE9ULL;
constexpr int eTREES = 60;
constexpr int eSWEEPS_A_TREE = 6;

// ---- Random sweeps ------------------------------------------------------------------------------

TqLPos3f MakePoint(TqLBox3f const& bounds, SceneRandom& random)
{
    TqLPos3f point = bounds.GetCenter();
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] += bounds.GetSize()[axis] * random.Range(-0.6, 0.6);
    }
    return point;
}

/// A box or a sphere somewhere in or beside the scene, moving along an axis, across, or not at all.
TqLPickSweep MakeRandomSweep(TqLBox3f const& bounds, SceneRandom& random)
{
    double const extent = 1e-3 + bounds.GetSize().Length();
    TqLPos3f const center = MakePoint(bounds, random);
    TqLVec3f sweep = MakePoint(bounds, random) - center;
    for (int axis = 0; axis < 3; ++axis) {
        if (random.Chance(0.2)) {
            sweep[axis] = 0.0;
        }
    }
    if (random.Chance(0.1)) {
        sweep = TqLVec3f();
    }
    double const largest = extent * (random.Chance(0.5) ? 0.005 : 0.1);
    double const x = random.Range(0.01, 1.0) * largest;
    double const y = random.Range(0.01, 1.0) * largest;
    double const z = random.Range(0.01, 1.0) * largest;
    return random.Chance(0.5) ? TqLPickSweep(center, TqLVec3f(x, y, z), sweep)
                              : TqLPickSweep(center, x, sweep);
}

std::string GetSweepName(TqLPickSweep const& sweep)
{
    return sweep.GetBody() == TqLPickSweep::eBOX ? "box" : "sphere";
}

/// Gaps up to here are too close to call.
long double GetMargin(TqLBox3f const& bounds)
{
    return 1e-9L + 1e-12L * (std::fabs(bounds.GetMin().Vec().Length()) +
                             std::fabs(bounds.GetMax().Vec().Length()));
}

// ---- What is asked ------------------------------------------------------------------------------

/// Which shapes a pick should ask, by their numbers: the flags on the way to each, and its own box.
/// Boxes of containers are not looked at.
class PlainSweep
{
public:
    PlainSweep(int mode, bool picksHidden, TqLPickSweep const& sweep, long double margin)
        : m_mode(mode)
        , m_picksHidden(picksHidden)
        , m_sweep(sweep)
        , m_margin(margin)
    {}

    void Run(TqOcTraversable* root) { Judge(root); }

    std::vector<int> asked;     ///< Once for each way to a shape.
    std::vector<int> undecided; ///< Too close to call.

private:
    bool IsPicked(TqOcBaseTraversable const& node) const
    {
        return (node.GetPrimitives() & TqLPrimitiveTypes::eTRIANGLES) != 0 &&
               node.IsIgnorePick() == 0 && (node.IsHideRender() == 0 || m_picksHidden);
    }

    /// Whether a node is offered to the walk at all.
    bool IsOffered(TqOcBaseTraversable const& node) const
    {
        return m_mode == SweepStage::s_depthFirst ||
               (node.IsHideRender() == 0 && node.GetPrimitives() != 0);
    }

    void Judge(TqOcTraversable* node)
    {
        if (IsPicked(*node)) {
            Enter(node);
        }
    }

    void Enter(TqOcTraversable* node)
    {
        TqOcBaseTraversable* const* array = nullptr;
        int const count = node->GetChildren(&array);
        std::vector<TqOcBaseTraversable*> children(array, array + count);
        children.erase(std::remove_if(children.begin(), children.end(),
                                      [&](auto* child) { return !IsOffered(*child); }),
                       children.end());
        if (node->IsLeaf() != 0) {
            for (TqOcBaseTraversable* const child : children) {
                JudgeShape(static_cast<OracleShape*>(child));
            }
        } else if (m_mode == SweepStage::s_nearestFirst && children.size() == 1 &&
                   dynamic_cast<OraclePlaceGroup*>(node) == nullptr) {
            Enter(static_cast<TqOcTraversable*>(children[0])); // unjudged
        } else {
            for (TqOcBaseTraversable* const child : children) {
                Judge(static_cast<TqOcTraversable*>(child));
            }
        }
    }

    void JudgeShape(OracleShape* shape)
    {
        if (!IsPicked(*shape)) {
            return;
        }
        TqLBox3f const& box = shape->GetItem().box;
        if (Touches(m_sweep, box, 0.0L)) {
            asked.push_back(shape->GetNumber());
        } else if (Touches(m_sweep, box, m_margin)) {
            undecided.push_back(shape->GetNumber());
        }
    }

    int m_mode;
    bool m_picksHidden;
    TqLPickSweep m_sweep;
    long double m_margin;
};

/// A pick over an oracle's tree, with the list of the shapes asked, by their numbers.
class TreePick
{
public:
    TreePick(OracleTree& tree, int mode) : pick(nullptr, mode), m_tree(tree) {}

    std::vector<int> Run(OracleShape::SweepTurn const& turn = nullptr)
    {
        std::vector<int> asked;
        OracleShape::SweepTurn const listing = [&](OracleShape& shape,
                                                   TqOcPickSweepTraversal* traversal) {
            asked.push_back(shape.GetNumber());
            if (turn) {
                turn(shape, traversal);
            }
        };
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetSweepTurn(&listing);
        }
        pick.Apply(m_tree.GetRoot());
        for (auto const& shape : m_tree.GetShapes()) {
            shape->SetSweepTurn(nullptr);
        }
        return asked;
    }

    TqOcPickSweepTraversal pick;

private:
    OracleTree& m_tree;
};

void ReportContact(OracleShape& shape, TqOcPickSweepTraversal* pick)
{
    ReportBoxContact(pick, &shape, shape.GetItem().box);
}

std::vector<int> Without(std::vector<int> numbers, std::vector<int> const& left)
{
    numbers.erase(
        std::remove_if(numbers.begin(), numbers.end(),
                       [&](int n) { return std::find(left.begin(), left.end(), n) != left.end(); }),
        numbers.end());
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/// What the trees of a test are like.
struct SweepOptions
{
    bool switches = true;
    bool oneKind = false;
    double placed = 0.0;
    double moved = 0.0;
    double shared = 0.0;
};

OracleTreeOptions MakeTreeOptions(SweepOptions const& options, SceneRandom& random)
{
    OracleTreeOptions tree;
    tree.count = std::min<std::size_t>(1000, MakeRandomCount(random));
    bool const isByHand = options.placed > 0.0 || options.shared > 0.0;
    tree.kind = isByHand ? OracleTreeKind::eBY_HAND
                         : static_cast<OracleTreeKind>(random.Below(eORACLE_TREE_KINDS));
    tree.switches = options.switches;
    tree.oneKind = options.oneKind;
    tree.placed = options.placed;
    tree.moved = options.moved;
    tree.shared = options.shared;
    return tree;
}

/// Calls check(tree options, tree seed, random) for each tree of a test, under a trace that names
/// them.
template <class Check>
void ForEachTree(std::uint64_t seed, SweepOptions const& options, Check const& check)
{
    for (int i = 0; i < eTREES && !testing::Test::HasFatalFailure(); ++i) {
        std::uint64_t const treeSeed = SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(i));
        SceneRandom random(treeSeed);
        OracleTreeOptions const treeOptions = MakeTreeOptions(options, random);
        SCOPED_TRACE("tree seed " + std::to_string(treeSeed) + ", " +
                     std::to_string(treeOptions.count) + " shapes");
        check(treeOptions, random.Next(), random);
    }
}

/// Counts, to see that a test tests something.
struct SweepCounts
{
    std::size_t asked = 0;
    std::size_t undecided = 0;
    std::size_t contacts = 0;
};

SweepCounts CheckAsked(SweepOptions const& options, std::uint64_t seed)
{
    SweepCounts counts;
    ForEachTree(
        seed, options,
        [&](OracleTreeOptions const& treeOptions, std::uint64_t treeSeed, SceneRandom& random) {
            OracleTree tree(treeOptions, treeSeed);
            if (options.switches) {
                SwitchPicks(tree, random);
            }
            for (int number = 0; number < eSWEEPS_A_TREE; ++number) {
                TqLPickSweep const sweep = MakeRandomSweep(tree.GetBounds(), random);
                bool const picksHidden = random.Chance(0.5);
                for (int const mode : {SweepStage::s_depthFirst, SweepStage::s_nearestFirst}) {
                    SCOPED_TRACE("sweep " + std::to_string(number) + " of a " +
                                 GetSweepName(sweep) + ", mode " + std::to_string(mode));
                    TreePick pick(tree, mode);
                    pick.pick.SetSweep(sweep);
                    pick.pick.SetPickHidden(picksHidden ? 1 : 0);
                    PlainSweep plain(mode, picksHidden, sweep, GetMargin(tree.GetBounds()));
                    plain.Run(tree.GetRoot());
                    ASSERT_EQ(Without(pick.Run(), plain.undecided),
                              Without(plain.asked, plain.undecided));
                    counts.asked += plain.asked.size();
                    counts.undecided += plain.undecided.size();
                }
            }
        });
    return counts;
}

// ---- The order of nearest-first picks -----------------------------------------------------------

/// The recursive form of a nearest-first pick. Boxes are tested by TqLPickSweep, whose tests have
/// oracles of their own, so that equal distances stay equal to the last bit.
class OracleSweepWalk : public OracleBestFirst
{
public:
    OracleSweepWalk(TqOcPrioritizedTraversal& traversal, TqOcContext& context,
                    TqLPickSweep const& sweep, bool hasContacts)
        : OracleBestFirst(traversal, context)
        , m_hasContacts(hasContacts)
        , m_sweep(sweep)
    {
        m_front.SetValue(TqLUnitVec3f(sweep.GetSweep()), sweep.GetCenter());
        m_isMoving = !sweep.IsPick();
    }

    std::vector<int> asked;
    int nearest = -1;
    double distance = 0.0;

    TqLPickSweep const& GetSweep() const { return m_sweep; }

protected:
    bool TakeTurn(Record& record) override
    {
        if (m_sweep.IsShortened() && m_sweep.CanCullRepeat(record.node->GetBoundingBox()) != 0) {
            return false;
        }
        if (record.node->IsLeaf() == 0) {
            AppendChildren(record);
            return true;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = record.node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            auto* const shape = static_cast<OracleShape*>(children[i]);
            int faces = record.data.cullBits;
            if (IsVisible(*shape) && IsPicked(*shape) &&
                m_sweep.CanCull(shape->GetItem().box, &faces) == 0) {
                Ask(*shape);
            }
        }
        return false;
    }

    int Judge(Record& record, int bits) override
    {
        TqLBox3f const& box = record.node->GetBoundingBox();
        record.data.cullBits = bits;
        if (!IsPicked(*record.node) || m_sweep.CanCull(box, &record.data.cullBits) != 0) {
            return 0;
        }
        record.data.priority = m_isMoving ? m_front.MinDistanceFromPlane(box) : 0.0;
        return 1;
    }

    int GetFirstBits() const override { return TqLPickSweep::eALL_PLANES; }

    bool Admits(TqOcBaseTraversable const& child) override
    {
        return child.IsTraversed() == 0 && IsVisible(child);
    }

private:
    static bool IsPicked(TqOcBaseTraversable const& node)
    {
        return (node.GetPrimitives() & TqLPrimitiveTypes::eTRIANGLES) != 0 &&
               node.IsIgnorePick() == 0 && node.IsHideRender() == 0;
    }

    void Ask(OracleShape& shape)
    {
        asked.push_back(shape.GetNumber());
        if (!m_hasContacts) {
            return;
        }
        long double const share = FindFirstTouch(m_sweep, shape.GetItem().box);
        auto const fraction = static_cast<double>(share);
        double const contact = fraction * m_sweep.GetSweep().Length();
        if (share <= 1.0L && (nearest < 0 || contact < distance)) {
            nearest = shape.GetNumber();
            distance = contact;
            m_sweep.ShortenTo(fraction);
        }
    }

    bool m_hasContacts;
    bool m_isMoving;
    TqLPickSweep m_sweep;
    TqLPlane3f m_front;
};

/// Lets a nearest-first pick and the recursive form of it, each in a tree of its own, sweep alike.
SweepCounts CheckOrder(SweepOptions const& options, std::uint64_t seed)
{
    SweepCounts counts;
    ForEachTree(
        seed, options,
        [&](OracleTreeOptions const& treeOptions, std::uint64_t treeSeed, SceneRandom& random) {
            OracleTree tree(treeOptions, treeSeed);
            OracleTree oracleTree(treeOptions, treeSeed);
            if (options.switches) {
                SceneRandom same = random;
                SwitchPicks(tree, random);
                SwitchPicks(oracleTree, same);
            }
            RecordingContext host;
            TqOcPrioritizedTraversal view(&host);
            TreePick pick(tree, SweepStage::s_nearestFirst);
            for (int number = 0; number < eSWEEPS_A_TREE; ++number) {
                TqLPickSweep const sweep = MakeRandomSweep(tree.GetBounds(), random);
                bool const hasContacts = random.Chance(0.5);
                SCOPED_TRACE("sweep " + std::to_string(number) + " of a " + GetSweepName(sweep));
                pick.pick.SetSweep(sweep);
                std::vector<int> const asked =
                    hasContacts ? pick.Run(ReportContact) : pick.Run(nullptr);
                OracleSweepWalk oracle(view, host, sweep, hasContacts);
                oracle.Run(oracleTree.GetRoot());
                ASSERT_EQ(asked, oracle.asked);
                auto const* const picked = static_cast<OracleShape*>(pick.pick.GetPickedShape());
                ASSERT_EQ(picked != nullptr ? picked->GetNumber() : -1, oracle.nearest);
                ASSERT_EQ(pick.pick.GetSweep().GetSweep(), oracle.GetSweep().GetSweep());
                counts.asked += asked.size();
                counts.contacts += picked != nullptr ? 1 : 0;
            }
            for (TqOcTraversable const* node : tree.GetContainers()) {
                ASSERT_EQ(node->IsTraversed(), 0);
            }
        });
    return counts;
}

// ---- Contacts -----------------------------------------------------------------------------------

/// The share of the way at which the body first touches any shape; 2 when it touches none.
long double FindFirstOfAll(OracleTree const& tree, TqLPickSweep const& sweep)
{
    long double first = 2.0L;
    for (auto const& shape : tree.GetShapes()) {
        first = std::min(first, FindFirstTouch(sweep, shape->GetItem().box));
    }
    return first;
}

SweepCounts CheckContacts(SweepOptions const& options, std::uint64_t seed)
{
    SweepCounts counts;
    ForEachTree(
        seed, options,
        [&](OracleTreeOptions const& treeOptions, std::uint64_t treeSeed, SceneRandom& random) {
            OracleTree tree(treeOptions, treeSeed);
            for (int number = 0; number < eSWEEPS_A_TREE; ++number) {
                TqLPickSweep const sweep = MakeRandomSweep(tree.GetBounds(), random);
                double const length = sweep.GetSweep().Length();
                double const tolerance = 1e-9 * (1.0 + length);
                long double const first = FindFirstOfAll(tree, sweep);
                for (int const mode : {SweepStage::s_depthFirst, SweepStage::s_nearestFirst}) {
                    SCOPED_TRACE("sweep " + std::to_string(number) + " of a " +
                                 GetSweepName(sweep) + ", mode " + std::to_string(mode));
                    TreePick pick(tree, mode);
                    pick.pick.SetSweep(sweep);
                    pick.Run(ReportContact);
                    auto* const picked = static_cast<OracleShape*>(pick.pick.GetPickedShape());
                    ASSERT_EQ(picked != nullptr, first <= 1.0L);
                    if (picked == nullptr) {
                        ASSERT_EQ(pick.pick.GetSweep().GetSweep(), sweep.GetSweep());
                        continue;
                    }
                    ++counts.contacts;
                    double const contact = static_cast<double>(first) * length;
                    ASSERT_NEAR(pick.pick.GetDistance(), contact, tolerance);
                    ASSERT_NEAR(pick.pick.GetSweep().GetSweep().Length(), contact, tolerance);
                    // Several may touch at once; it is one of these.
                    long double const its = FindFirstTouch(sweep, picked->GetItem().box);
                    ASSERT_NEAR(static_cast<double>(its) * length, contact, tolerance);
                }
            }
        });
    return counts;
}

} // namespace

TEST(TqOcPickSweepTraversal, AsksJustTheShapesThatTheBodyTouches)
{
    SweepOptions options;
    SweepCounts const counts = CheckAsked(options, eSEED);
    EXPECT_GT(counts.asked, 5000U);
    EXPECT_LT(counts.undecided, 200U);
}

TEST(TqOcPickSweepTraversal, AsksTheSameShapesUnderMasksOfOtherViews)
{
    SweepOptions options;
    options.placed = 0.4;
    EXPECT_GT(CheckAsked(options, eSEED + 1).asked, 5000U);
}

TEST(TqOcPickSweepTraversal, AsksSharedShapesOncePerWay)
{
    SweepOptions options;
    options.shared = 0.02;
    EXPECT_GT(CheckAsked(options, eSEED + 2).asked, 5000U);
}

TEST(TqOcPickSweepTraversal, BothModesFindTheSameWhenNothingIsHidden)
{
    std::size_t asked = 0;
    SweepOptions options;
    options.switches = false;
    ForEachTree(
        eSEED + 3, options,
        [&](OracleTreeOptions const& treeOptions, std::uint64_t treeSeed, SceneRandom& random) {
            OracleTree tree(treeOptions, treeSeed);
            TreePick depthFirst(tree, SweepStage::s_depthFirst);
            TreePick nearestFirst(tree, SweepStage::s_nearestFirst);
            for (int number = 0; number < eSWEEPS_A_TREE; ++number) {
                SCOPED_TRACE("sweep " + std::to_string(number));
                TqLPickSweep const sweep = MakeRandomSweep(tree.GetBounds(), random);
                depthFirst.pick.SetSweep(sweep);
                nearestFirst.pick.SetSweep(sweep);
                std::vector<int> const numbers = depthFirst.Run();
                ASSERT_EQ(Without(nearestFirst.Run(), {}), Without(numbers, {}));
                asked += numbers.size();
            }
        });
    EXPECT_GT(asked, 5000U);
}

TEST(TqOcPickSweepTraversal, NearestFirstGoesInTheOrderOfThePlainRecursion)
{
    SweepOptions options;
    SweepCounts const counts = CheckOrder(options, eSEED + 4);
    EXPECT_GT(counts.asked, 2000U);
    EXPECT_GT(counts.contacts, 50U);
}

TEST(TqOcPickSweepTraversal, NearestFirstGoesInThatOrderThroughOtherViewsToo)
{
    SweepOptions options;
    options.placed = 0.4;
    options.moved = 0.5;
    SweepCounts const counts = CheckOrder(options, eSEED + 5);
    EXPECT_GT(counts.asked, 2000U);
    EXPECT_GT(counts.contacts, 50U);
}

TEST(TqOcPickSweepTraversal, NearestFirstSortsLeavesOfOneGroupByDistanceAndThenByPlace)
{
    for (std::uint64_t number = 0; number < 20; ++number) {
        std::uint64_t const seed = SceneRandom::SeedFor(eSEED + 6, number);
        SCOPED_TRACE("seed " + std::to_string(seed));
        SceneRandom random(seed);
        SweepStage stage(SweepStage::s_nearestFirst);
        stage.SweepAlong(20.0, 0.0, 0.0);
        stage.SetRoot({});
        std::vector<std::pair<int, std::string>> order; // by distances that are often equal
        for (int i = 0; i < 200; ++i) {
            int const distance = 1 + static_cast<int>(random.Below(18));
            double const y = random.Range(-0.7, 0.7);
            stage.Root()->AddChild(stage.SweptLeaf(std::to_string(i), distance, y));
            order.emplace_back(distance, std::to_string(i));
        }
        std::stable_sort(order.begin(), order.end(),
                         [](auto const& a, auto const& b) { return a.first < b.first; });
        Lines expected;
        for (auto const& entry : order) {
            expected.push_back(entry.second);
        }
        ASSERT_EQ(stage.Pick(), expected);
    }
}

TEST(TqOcPickSweepTraversal, BothModesEndAtTheFirstContact)
{
    SweepOptions options;
    options.switches = false;
    options.oneKind = true;
    EXPECT_GT(CheckContacts(options, eSEED + 7).contacts, 200U);
}

TEST(TqOcPickSweepTraversal, BothModesEndAtTheFirstContactUnderMasksOfOtherViews)
{
    SweepOptions options;
    options.switches = false;
    options.oneKind = true;
    options.placed = 0.4;
    EXPECT_GT(CheckContacts(options, eSEED + 8).contacts, 200U);
}
