// TqOcDynamicHierarchyBuilder: rule by rule, what it does with bad input and when it cannot go on,
// and its trees against those of the plainly written rules.

#include "support/AllocationCounter.h"
#include "support/Components.h"
#include "support/DynamicTreeChecker.h"
#include "support/DynamicTreePlay.h"
#include "support/PostedErrors.h"
#include "support/Recorders.h"
#include "support/ReferenceDynamicBuild.h"

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "util/TqUMemory.h"
#include "util/TqUPage.h"
#include "util/TqUPtrVector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

using NodeList = TqUPtrVector<TqOcTraversable>;
using Tree = std::unique_ptr<TqOcDynamicGroup>;
using Texts = std::vector<std::string>;

// ---- Nodes --------------------------------------------------------------------------------------

/// A leaf that is nothing but a box and a number; the test owns it.
class NumberedLeaf : public PlainTraversable
{
public:
    NumberedLeaf(int number, TqLBox3f const& box) : m_number(number)
    {
        UpdateBoundingBox(box);
        SetLeaf(1);
        SetUserOwned(1);
    }

    int GetNumber() const { return m_number; }

    int GetNumParents() const
    {
        return HasMultipleParents() ? GetMultipleParents()->Size() : HasParent();
    }

private:
    int m_number;
};

int LeafNumber(TqOcBaseTraversable const* node)
{
    return static_cast<NumberedLeaf const*>(node)->GetNumber();
}

/// The tree as the reference describes it.
std::string Describe(TqOcTraversable* node)
{
    if (node->IsLeaf() != 0) {
        return std::to_string(LeafNumber(node));
    }
    auto* const group = static_cast<TqOcDynamicGroup*>(node);
    std::string text = "(";
    for (int i = 0; i < group->GetNumChildren(); ++i) {
        text += i == 0 ? "" : " ";
        text += Describe(group->GetChild(i));
    }
    return text + ")";
}

Tree Build(NodeList& nodes, int k = 7)
{
    return Tree(TqOcDynamicHierarchyBuilder().Build(&nodes, k));
}

/// Numbered leaves, and builds of them.
class Model
{
public:
    Model() = default;

    explicit Model(std::vector<TqLBox3f> const& boxes)
    {
        for (TqLBox3f const& box : boxes) {
            Add(box);
        }
    }

    Model(Model const&) = delete;
    Model& operator=(Model const&) = delete;

    void Add(TqLBox3f const& box) { m_leaves.emplace_back(static_cast<int>(m_leaves.size()), box); }

    /// An interval on x; a unit on y and z.
    void AddOnX(double low, double high) { Add(MakeBox(low, 0, 0, high, 1, 1)); }

    NumberedLeaf& operator[](int i) { return m_leaves[static_cast<std::size_t>(i)]; }

    int Size() const { return static_cast<int>(m_leaves.size()); }

    NodeList MakeList()
    {
        NodeList nodes;
        for (NumberedLeaf& leaf : m_leaves) {
            nodes.PushBack(&leaf);
        }
        return nodes;
    }

    std::vector<TqLBox3f> GetBoxes() const
    {
        std::vector<TqLBox3f> boxes;
        for (NumberedLeaf const& leaf : m_leaves) {
            boxes.push_back(leaf.GetBoundingBox());
        }
        return boxes;
    }

    /// Builds a tree, returns its text and deletes it.
    std::string BuildText(int k = 7)
    {
        NodeList nodes = MakeList();
        return Describe(Build(nodes, k).get());
    }

    /// The same by the reference.
    std::string BuildReference(int k = 7) const
    {
        return ReferenceDynamicBuild(GetBoxes(), k).Build();
    }

private:
    std::deque<NumberedLeaf> m_leaves;
};

/// Unit cubes, side by side with a gap, on x.
std::unique_ptr<Model> MakeRow(int count)
{
    auto model = std::make_unique<Model>();
    for (int i = 0; i < count; ++i) {
        model->AddOnX(2.0 * i, 2.0 * i + 1.0);
    }
    return model;
}

/// The numbers of a group's text: "(first first+1 ...)".
std::string Range(int first, int count)
{
    std::string text = "(";
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : " ") + std::to_string(first + i);
    }
    return text + ")";
}

/// Groups of consecutive numbers, by their sizes, under one root.
std::string Ranges(std::vector<int> const& sizes)
{
    std::string text = "(";
    int first = 0;
    for (int const size : sizes) {
        text += (first == 0 ? "" : " ") + Range(first, size);
        first += size;
    }
    return text + ")";
}

std::vector<int> GroupSizes(TqOcDynamicGroup& root)
{
    std::vector<int> sizes;
    for (TqOcDynamicGroup* const group : GroupsOf(root)) {
        sizes.push_back(group->GetNumChildren());
    }
    return sizes;
}

std::string Post(int severity, std::string const& text)
{
    return std::to_string(severity) + " TqOcDynamicGroup: Build: " + text;
}

/// Counts the calls of the page-out callback while it lives; memory is always short meanwhile.
class PageOutCounter
{
public:
    PageOutCounter() : m_block(TqUMemory::Alloc(64, TqUMemory::eALIGN_DEFAULT))
    {
        TqUPage::SetMemoryLimit(1);
        TqUPage::SetPageOutCallback(&PageOutCounter::Count, this);
    }

    ~PageOutCounter()
    {
        TqUPage::SetPageOutCallback(nullptr, nullptr);
        TqUPage::SetMemoryLimit(0);
        TqUMemory::Dealloc(m_block, 64, TqUMemory::eALIGN_DEFAULT);
    }

    PageOutCounter(PageOutCounter const&) = delete;
    PageOutCounter& operator=(PageOutCounter const&) = delete;

    int Get() const { return m_count; }

    /// Lets the n-th call from now on throw.
    void ThrowAt(int n) { m_callsUntilThrow = n; }

private:
    static void Count(void* self)
    {
        auto* const counter = static_cast<PageOutCounter*>(self);
        ++counter->m_count;
        if (--counter->m_callsUntilThrow == 0) {
            throw std::runtime_error("nothing to page out");
        }
    }

    void* m_block; // so that there are live bytes
    int m_count = 0;
    int m_callsUntilThrow = 0;
};

} // namespace

// ---- Few nodes ----------------------------------------------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, BuildsAnUpdatedEmptyRootFromAnEmptyList)
{
    NodeList nodes;
    Tree const root = Build(nodes);
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(0, root->GetNumChildren());
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ(TqLBox3f(), root->GetBoundingBox());
    EXPECT_FALSE(root->HasParent());
}

TEST(TqOcDynamicHierarchyBuilder, BuildsARootWithThatOneChildFromASingleNode)
{
    Model model({MakeBox(1, 2, 3, 4, 5, 6)});
    NodeList nodes = model.MakeList();
    Tree const root = Build(nodes);
    EXPECT_EQ("(0)", Describe(root.get()));
    EXPECT_EQ(root.get(), model[0].GetSingleParent());
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ(MakeBox(1, 2, 3, 4, 5, 6), root->GetBoundingBox());
}

TEST(TqOcDynamicHierarchyBuilder, MakesOneGroupOfUpToKNodesInTheOrderOfTheList)
{
    for (int k = 2; k <= 7; ++k) {
        for (int count = 2; count <= k; ++count) {
            Model model;
            for (int i = 0; i < count; ++i) {
                model.AddOnX(-10.0 * i, -10.0 * i + 1.0); // from right to left
            }
            EXPECT_EQ(Range(0, count), model.BuildText(k)) << k;
        }
        EXPECT_EQ(2, GetLargestDepth(8)); // what the next line relies on
        auto const row = MakeRow(k + 1);
        NodeList nodes = row->MakeList();
        EXPECT_EQ(2, Build(nodes, k)->CalcDepth()) << k;
    }
}

// ---- Levels -------------------------------------------------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, CutsARowInTheMiddleInRunsOfMultiplesOfK)
{
    // 30 are cut 14 + 16 and those 7 + 7 and 7 + 9. The first part of a cut keeps its place among
    // the runs, the second goes to their end.
    EXPECT_EQ("(" + Range(0, 7) + " " + Range(14, 7) + " " + Range(7, 7) + " " + Range(21, 4) +
                  " " + Range(25, 5) + ")",
              MakeRow(30)->BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, RoundsToMultiplesOfKOnlyMoreThanTwiceK)
{
    EXPECT_EQ(Ranges({4, 4}), MakeRow(8)->BuildText());
    EXPECT_EQ(Ranges({6, 7}), MakeRow(13)->BuildText());
    EXPECT_EQ(Ranges({7, 7}), MakeRow(14)->BuildText());
    EXPECT_EQ(Ranges({7, 4, 4}), MakeRow(15)->BuildText());
    EXPECT_EQ("(((0 1)) ((2 3) (4 5)))", MakeRow(6)->BuildText(2));
}

TEST(TqOcDynamicHierarchyBuilder, GroupsTheGroupsOfALevelInTheSameWay)
{
    // 70 make 10 groups, which lie in a row themselves and are cut in the middle.
    auto const model = MakeRow(70);
    NodeList nodes = model->MakeList();
    Tree const root = Build(nodes);
    EXPECT_EQ((std::vector<int>{2, 5, 7, 7, 7, 7, 7, 5, 7, 7, 7, 7, 7}), GroupSizes(*root));
    EXPECT_EQ(3, root->CalcDepth());
    EXPECT_EQ(model->BuildReference(), Describe(root.get()));
}

TEST(TqOcDynamicHierarchyBuilder, LeavesTheListInTheOrderOfTheTree)
{
    Model model;
    for (int i = 0; i < 14; ++i) {
        model.AddOnX(-2.0 * i, -2.0 * i + 1.0);
    }
    NodeList nodes = model.MakeList();
    Tree const root = Build(nodes);
    for (int i = 0; i < 14; ++i) {
        EXPECT_EQ(13 - i, LeafNumber(nodes[i]));
    }
    EXPECT_EQ("((13 12 11 10 9 8 7) (6 5 4 3 2 1 0))", Describe(root.get()));
}

// ---- The cut rule: order and goodness -----------------------------------------------------------

namespace
{

/// Eight unit cubes in the corners of a box of these lengths; number bits choose x, y and z.
std::string BuildCorners(double x, double y, double z)
{
    Model model;
    for (int i = 0; i < 8; ++i) {
        double const low[3] = {(i & 1) != 0 ? x : 0, (i & 2) != 0 ? y : 0, (i & 4) != 0 ? z : 0};
        model.Add(MakeBox(low[0], low[1], low[2], low[0] + 1, low[1] + 1, low[2] + 1));
    }
    return model.BuildText();
}

} // namespace

TEST(TqOcDynamicHierarchyBuilder, CutsTheLongestAxisAndOfEqualOnesTheFirst)
{
    std::string const onX = "((0 2 4 6) (1 3 5 7))";
    std::string const onY = "((0 1 4 5) (2 3 6 7))";
    std::string const onZ = "((0 1 2 3) (4 5 6 7))";
    EXPECT_EQ(onX, BuildCorners(10, 10, 10));
    EXPECT_EQ(onX, BuildCorners(10, 10, 9));
    EXPECT_EQ(onX, BuildCorners(10, 9, 10));
    EXPECT_EQ(onY, BuildCorners(10, 10.5, 10));
    EXPECT_EQ(onY, BuildCorners(9, 10, 10));
    EXPECT_EQ(onZ, BuildCorners(10, 10, 10.5));
    EXPECT_EQ(onZ, BuildCorners(9, 10, 10.5));
}

TEST(TqOcDynamicHierarchyBuilder, SortsByCentresStably)
{
    Model model;
    for (int i = 0; i < 14; ++i) {
        model.AddOnX(2.0 * (i % 7), 2.0 * (i % 7) + 1.0);
    }
    EXPECT_EQ("((0 7 1 8 2 9 3) (10 4 11 5 12 6 13))", model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, TakesZerosOfBothSignsForEqual)
{
    Model model;
    for (double const x : {-6.0, -4.0, -2.0, 0.0, -0.0, 2.0, 4.0, 6.0}) {
        model.AddOnX(x, x);
    }
    EXPECT_EQ(Ranges({4, 4}), model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, SortsNodesWithoutACentreBehindAllOthers)
{
    Model model;
    model.AddOnX(kNan, 0);
    model.AddOnX(kInfinity, kInfinity);
    for (int i = 2; i < 8; ++i) {
        model.AddOnX(2.0 * i, 2.0 * i + 1.0);
    }
    EXPECT_EQ("((2 3 4 5) (6 7 1 0))", model.BuildText());
    EXPECT_EQ("((2 3 4 5) (6 7 1 0))", model.BuildReference());
}

TEST(TqOcDynamicHierarchyBuilder, TakesACutForGoodOnlyBelowAQuarter)
{
    // Even numbers lie left, odd ones right; the halves overlap by 2, then by 1.5.
    for (double const low : {3.0, 3.5}) {
        Model model;
        for (int i = 0; i < 8; ++i) {
            model.AddOnX(i % 2 == 0 ? 0.0 : low, i % 2 == 0 ? 5.0 : low + 5.0);
        }
        // The quarter of the run is 2: an overlap of just as much is too much, and as the other
        // axes are no better the pair split distributes the nodes.
        EXPECT_EQ(low == 3.0 ? "((2 5 1 6) (0 7 3 4))" : "((0 2 4 6) (1 3 5 7))",
                  model.BuildText());
    }
}

TEST(TqOcDynamicHierarchyBuilder, TakesACutForGoodWhenOneHalfIsShort)
{
    // The second half is a unit inside of the first: that they overlap by all of it does not
    // matter.
    Model model;
    for (int i = 0; i < 4; ++i) {
        model.AddOnX(0, 10);
    }
    for (int i = 0; i < 4; ++i) {
        model.AddOnX(7, 9.4375);
    }
    EXPECT_EQ(Ranges({4, 4}), model.BuildText());
    ReferenceDynamicBuild reference(model.GetBoxes(), 7);
    EXPECT_EQ(Ranges({4, 4}), reference.Build());
    EXPECT_EQ(1, reference.GetCoverage().middleCuts);
}

// ---- The cut rule: small nodes apart from large ones --------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, PutsTheTinyNodesOfAClusterInFrontOfTheLargeOnes)
{
    Model model;
    for (double const shift : {-1.0, -0.5, 0.5, 1.0}) {
        model.Add(MakeCube(shift, 0, 0, 50));
    }
    for (int i = 0; i < 10; ++i) {
        model.Add(MakeCube(0.04 * (i - 4.5), 0, 0, 0.005));
    }
    // 14 nodes: the ten tiny ones, cut in the middle after that, and the four large ones.
    EXPECT_EQ("((4 5 6 7 8) (0 1 2 3) (9 10 11 12 13))", model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, TakesNodesOfJustAQuarterForSmall)
{
    for (double const reach : {1.0, 1.0625}) {
        Model model;
        for (int i = 0; i < 8; ++i) {
            double const half = i % 2 == 0 ? 4.0 : reach;
            model.AddOnX(4.0 - half, 4.0 + half);
        }
        if (reach == 1.0) {
            EXPECT_EQ("((1 3 5 7) (0 2 4 6))", model.BuildText());
        } else {
            EXPECT_NE("((1 3 5 7) (0 2 4 6))", model.BuildText());
            EXPECT_EQ(model.BuildReference(), model.BuildText());
        }
    }
}

TEST(TqOcDynamicHierarchyBuilder, ShedsTheLargestWhenNearlyAllAreSmall)
{
    // One long node over 15 units, which all count as small: 15 is lowered to 16 - 7 and rounded to
    // 7. Of the other 9, not more than twice k, the 8 small ones are taken as they are.
    auto const model = MakeRow(15);
    model->AddOnX(0, 32);
    EXPECT_EQ("((0 1 2 3 4 5 6) (7 8 9 10) (15) (11 12 13 14))", model->BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, FillsTheFirstPartUpWhenFewAreSmall)
{
    // 15 nested nodes and a small one inside: 1 is raised to 7, taking the shortest of the others
    // along. The nine that are left overlap on all axes, and go through the pair split.
    Model model;
    for (int i = 0; i < 15; ++i) {
        model.AddOnX(i / 8.0, 32.0 - i / 8.0);
    }
    model.AddOnX(15.5, 16.5);
    EXPECT_EQ("((15 14 13 12 11 10 9) (7 1 3 5) (8 0 2 4 6))", model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, NeverTakesAllNodesForSmall)
{
    // Points in one place: they count as small on every axis, yet the second part gets one.
    Model model(std::vector<TqLBox3f>(9, MakeBox(1, 2, 3, 1, 2, 3)));
    EXPECT_EQ("((0 1 2 3 4 5 6) (8) (7))", model.BuildText());
}

// ---- The cut rule: the first good cut -----------------------------------------------------------

namespace
{

/// Adds `count` nodes that share an interval on x and stand in a row on y.
void AddStack(Model& model, int count, double low, double high, double firstY = 0, double stepY = 2)
{
    for (int i = 0; i < count; ++i) {
        double const y = firstY + stepY * i;
        model.Add(MakeBox(low, y, 0, high, y + 1, 1));
    }
}

} // namespace

TEST(TqOcDynamicHierarchyBuilder, TakesTheFirstGoodCutThatIsNotInTheMiddle)
{
    // On x the middle cuts through the large stack, and nothing is small; the small stack of 14 can
    // be cut off behind 14, not behind 7. Stacks are cut on y then.
    Model model;
    AddStack(model, 28, 280, 1000);
    AddStack(model, 14, 0, 300);
    EXPECT_EQ("(" + Range(28, 7) + " " + Range(0, 7) + " " + Range(35, 7) + " " + Range(14, 7) +
                  " " + Range(7, 7) + " " + Range(21, 7) + ")",
              model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, TakesTheFirstOfTwoGoodCuts)
{
    Model model;
    AddStack(model, 28, 540, 1000);
    AddStack(model, 7, 280, 560);
    AddStack(model, 7, 0, 300);
    EXPECT_EQ("(" + Range(35, 7) + " " + Range(28, 7) + " " + Range(0, 7) + " " + Range(14, 7) +
                  " " + Range(7, 7) + " " + Range(21, 7) + ")",
              model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, TriesNoCutButTheMiddleOnAnAxisOfFewNodes)
{
    // 13 nodes are less than twice k: behind 7 there would be a good cut on x. They are cut on y,
    // where the two stacks are interleaved.
    Model model;
    AddStack(model, 7, 0, 300, 0, 4);
    AddStack(model, 6, 280, 1000, 2, 4);
    EXPECT_EQ("((0 7 1 8 2 9) (3 10 4 11 5 12 6))", model.BuildText());
}

// ---- The cut rule: no axis gives a cut ----------------------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, DistributesFewNodesThatCannotBeCutPairByPair)
{
    // Equal boxes: the pair split takes the second and the first, and fills the gaps from the end.
    Model model(std::vector<TqLBox3f>(8, MakeBox(0, 0, 0, 1, 2, 3)));
    EXPECT_EQ("((1 6 4 3) (0 7 5 2))", model.BuildText());
}

TEST(TqOcDynamicHierarchyBuilder, CutsManyNodesThatCannotBeCutInTheMiddle)
{
    for (int const count : {50, 51}) {
        Model model;
        for (int i = 0; i < count; ++i) {
            model.Add(MakeCube(0, 0, 0, 100 - i));
        }
        ReferenceDynamicBuild reference(model.GetBoxes(), 7);
        EXPECT_EQ(reference.Build(), model.BuildText());
        EXPECT_EQ(count == 51 ? 1 : 0, reference.GetCoverage().forcedMiddles);
        // The order on the longest axis comes from the extents on the last: the smallest first. Of
        // 51 the first 21 are cut off; of 50 every second.
        NodeList nodes = model.MakeList();
        Tree const root = Build(nodes);
        int numSmall = 0;
        for (int i = 0; i < 21; ++i) {
            numSmall += LeafNumber(nodes[i]) >= count - 21 ? 1 : 0;
        }
        if (count == 51) {
            EXPECT_EQ(21, numSmall);
        } else {
            EXPECT_LT(numSmall, 15);
        }
    }
}

// ---- What is built ------------------------------------------------------------------------------

namespace
{

/// Shapes in leaves of their own, which the tree will own.
class ShapeModel
{
public:
    explicit ShapeModel(std::vector<TqLBox3f> const& boxes)
    {
        for (TqLBox3f const& box : boxes) {
            m_shapes.push_back(new PlayShape(static_cast<int>(m_shapes.size()), box));
            m_shapes.back()->SetUserOwned(1);
            m_nodes.PushBack(new TqOcSingleLeaf(m_shapes.back()));
        }
    }

    ShapeModel(ShapeModel const&) = delete;
    ShapeModel& operator=(ShapeModel const&) = delete;

    ~ShapeModel()
    {
        for (PlayShape* const shape : m_shapes) {
            delete shape;
        }
    }

    NodeList& GetNodes() { return m_nodes; }

    PlayShape& operator[](int i) { return *m_shapes[static_cast<std::size_t>(i)]; }

    std::vector<TqOcShape*> GetShapes() const { return {m_shapes.begin(), m_shapes.end()}; }

private:
    std::vector<PlayShape*> m_shapes;
    NodeList m_nodes;
};

std::vector<TqLBox3f> MakeRowBoxes(int count)
{
    return MakeRow(count)->GetBoxes();
}

/// Fifteen units in a row and a long box over them: one of the groups has one child.
std::vector<TqLBox3f> MakeBoxesOfShortGroups()
{
    std::vector<TqLBox3f> boxes = MakeRowBoxes(15);
    boxes.push_back(MakeBox(0, 0, 0, 32, 1, 1));
    return boxes;
}

DynamicTreeRules AllowSmallGroups()
{
    DynamicTreeRules rules;
    rules.allowSmallGroups = true;
    return rules;
}

} // namespace

TEST(TqOcDynamicHierarchyBuilder, ReturnsAnUpdatedTree)
{
    ShapeModel model(MakeRowBoxes(100));
    model[3].SetTris(1000);
    model[4].SetScale(0.25);
    Tree const root = Build(model.GetNodes());
    EXPECT_TRUE(IsSoundDynamicTree(*root, model.GetShapes(), AllowSmallGroups()));
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ(MakeBox(0, 0, 0, 199, 1, 1), root->GetBoundingBox());
    EXPECT_EQ(0.25, root->GetScale());
    EXPECT_FALSE(root->HasParent());
}

TEST(TqOcDynamicHierarchyBuilder, UpdatesModifiedNodesOnceAndNoOthers)
{
    ShapeModel model(MakeRowBoxes(40));
    model.GetNodes()[7]->Update();
    EXPECT_EQ(1, model[7].GetNumBoxCalls());
    Tree const root = Build(model.GetNodes());
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(1, model[i].GetNumBoxCalls()) << i;
    }
}

TEST(TqOcDynamicHierarchyBuilder, MakesGroupsOfOneToThreeWithWhichTheTreeCopes)
{
    for (int const way : {0, 1, 2, 3, 4}) {
        SCOPED_TRACE(way);
        ShapeModel model(MakeBoxesOfShortGroups());
        PlayShape extra(99, MakeCube(7, 7, 7, 1));
        extra.SetUserOwned(1);
        Tree const root = Build(model.GetNodes());
        ASSERT_EQ((std::vector<int>{4, 7, 4, 1, 4}), GroupSizes(*root));
        std::vector<TqOcShape*> shapes = model.GetShapes();
        ASSERT_TRUE(IsSoundDynamicTree(*root, shapes, AllowSmallGroups()));
        ASSERT_FALSE(IsSoundDynamicTree(*root, shapes));

        bool isRepaired = true;
        if (way == 0) {
            root->Rebalance();
            root->Update();
        } else if (way == 1) { // next to the short group
            model[2].MoveBy(0, 0, 0.5);
            root->Update();
        } else if (way == 2) { // the short group's only child
            root->RemoveShape(shapes[15]);
            shapes.pop_back();
            root->Update();
        } else if (way == 3) { // out of a group of four
            root->RemoveShape(shapes[8]);
            shapes.erase(shapes.begin() + 8);
            root->Update();
            isRepaired = false;
        } else {
            root->AddShape(&extra);
            shapes.push_back(&extra);
            root->Update();
            isRepaired = false;
        }
        EXPECT_TRUE(IsSoundDynamicTree(*root, shapes,
                                       isRepaired ? DynamicTreeRules() : AllowSmallGroups()));
        root->Rebalance();
        root->Update();
        EXPECT_TRUE(IsSoundDynamicTree(*root, shapes));
        if (way == 4) {
            root->RemoveShape(&extra);
        }
    }
}

TEST(TqOcDynamicHierarchyBuilder, OrganisesDynamicGroupsOfOneDepth)
{
    Model leaves(MakeRowBoxes(40));
    NodeList groups;
    for (int i = 0; i < 10; ++i) {
        TqOcTraversable* children[4];
        for (int child = 0; child < 4; ++child) {
            children[child] = &leaves[4 * i + child];
        }
        groups.PushBack(new TqOcDynamicGroup(children, 4));
    }
    Tree const root = Build(groups);
    EXPECT_EQ((std::vector<int>{2, 5, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4}), GroupSizes(*root));
    EXPECT_EQ(3, root->CalcDepth());
    EXPECT_EQ(MakeBox(0, 0, 0, 79, 1, 1), root->GetBoundingBox());
}

TEST(TqOcDynamicHierarchyBuilder, BringsGroupsUpToDateBeforeItAsksForTheirDepth)
{
    Model leaves(MakeRowBoxes(12));
    NodeList groups;
    for (int i = 0; i < 3; ++i) {
        TqOcTraversable* children[4];
        for (int child = 0; child < 4; ++child) {
            children[child] = &leaves[4 * i + child];
        }
        groups.PushBack(new TqOcDynamicGroup(children, 4));
    }
    // An update takes the level between these away.
    TqOcTraversable* inner = groups[1];
    groups[1] = new TqOcDynamicGroup(&inner, 1);
    PostedErrors const posts;
    Tree const root = Build(groups);
    EXPECT_TRUE(posts.Empty());
    EXPECT_EQ("((0 1 2 3) (4 5 6 7) (8 9 10 11))", Describe(root.get()));
}

TEST(TqOcDynamicHierarchyBuilder, GivesNodesWithParentsAnotherOne)
{
    Model model(MakeRowBoxes(20));
    TqOcStaticGroup other;
    other.AddChild(&model[5]);
    NodeList nodes = model.MakeList();
    {
        Tree const root = Build(nodes);
        EXPECT_EQ(2, model[5].GetNumParents());
        EXPECT_EQ(1, model[6].GetNumParents());
    }
    EXPECT_EQ(&other, model[5].GetSingleParent());
    EXPECT_FALSE(model[6].HasParent());
    other.ResetToEmptyCallerHandlesChildren();
}

TEST(TqOcDynamicHierarchyBuilder, AddsANodeThatIsListedTwiceTwice)
{
    Model model(MakeRowBoxes(10));
    NodeList nodes = model.MakeList();
    nodes.PushBack(&model[3]);
    Tree const root = Build(nodes);
    EXPECT_EQ("((0 1 2 3 3) (4 5 6 7 8 9))", Describe(root.get()));
    EXPECT_EQ(2, model[3].GetNumParents());
}

TEST(TqOcDynamicHierarchyBuilder, HasNoStateAndIsCopied)
{
    auto const model = MakeRow(30);
    TqOcDynamicHierarchyBuilder builder;
    NodeList nodes = model->MakeList();
    Tree const first(builder.Build(&nodes, 7));
    TqOcDynamicHierarchyBuilder copy(builder);
    builder = TqOcDynamicHierarchyBuilder();
    builder = copy;
    nodes = model->MakeList();
    Tree const second(builder.Build(&nodes, 7));
    EXPECT_EQ(Describe(first.get()), Describe(second.get()));
}

// ---- Memory pressure ----------------------------------------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, AsksToPageOutOnceAndBeforeEachGroup)
{
    for (int const count : {2, 7, 8, 30, 100, 700}) {
        auto const model = MakeRow(count);
        NodeList nodes = model->MakeList();
        PageOutCounter const pageOuts;
        Tree const root = Build(nodes);
        EXPECT_EQ(1 + static_cast<int>(GroupsOf(*root).size()), pageOuts.Get()) << count;
    }
}

TEST(TqOcDynamicHierarchyBuilder, AsksForNothingWhenThereIsNothingToDivide)
{
    for (int const count : {0, 1}) {
        auto const model = MakeRow(count);
        NodeList nodes = model->MakeList();
        PageOutCounter const pageOuts;
        Tree const root = Build(nodes);
        EXPECT_EQ(0, pageOuts.Get());
    }
}

// ---- Bad input ----------------------------------------------------------------------------------

TEST(TqOcDynamicHierarchyBuilder, PostsGroupSizesThatDoNotWorkAndTakesTheNearest)
{
    auto const model = MakeRow(30);
    for (int const k : {0, 1, -1, -1000, std::numeric_limits<int>::min()}) {
        PostedErrors const posts;
        EXPECT_EQ(model->BuildReference(2), model->BuildText(k));
        EXPECT_EQ(
            (Texts{Post(0, "groups of " + std::to_string(k) + " are not possible; 2 is used")}),
            posts.AsLines());
    }
    for (int const k : {8, 100, std::numeric_limits<int>::max()}) {
        PostedErrors const posts;
        EXPECT_EQ(model->BuildReference(7), model->BuildText(k));
        EXPECT_EQ(
            (Texts{Post(0, "groups of " + std::to_string(k) + " are not possible; 7 is used")}),
            posts.AsLines());
    }
}

TEST(TqOcDynamicHierarchyBuilder, PostsThatThereIsNoListAndReturnsAnEmptyRoot)
{
    PostedErrors const posts;
    Tree const root(TqOcDynamicHierarchyBuilder().Build(nullptr, 7));
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(0, root->GetNumChildren());
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ((Texts{Post(1, "no list of nodes")}), posts.AsLines());
}

TEST(TqOcDynamicHierarchyBuilder, PostsNodesThatCannotHangInATreeAndLeavesThemOut)
{
    Model model(MakeRowBoxes(9));
    TqOcStaticGroup staticGroup;
    TqOcDynamicGroup dynamicGroup;
    NodeList nodes;
    nodes.PushBack(nullptr);
    nodes.PushBack(&staticGroup);
    for (int i = 0; i < 9; ++i) {
        nodes.PushBack(&model[i]);
        if (i == 4) {
            nodes.PushBack(&dynamicGroup);
            nodes.PushBack(nullptr);
        }
    }
    PostedErrors const posts;
    Tree const root = Build(nodes);
    EXPECT_EQ(Ranges({4, 5}), Describe(root.get()));
    EXPECT_EQ(
        (Texts{Post(1, "4 of 13 nodes left out: null, or neither leaves nor dynamic groups of "
                       "one depth")}),
        posts.AsLines());
    EXPECT_FALSE(staticGroup.HasParent());
    EXPECT_FALSE(dynamicGroup.HasParent());
    ASSERT_EQ(13, nodes.Size());
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(i, LeafNumber(nodes[i]));
    }
    EXPECT_EQ(nullptr, nodes[9]);
    EXPECT_EQ(&staticGroup, nodes[10]);
    EXPECT_EQ(&dynamicGroup, nodes[11]);
    EXPECT_EQ(nullptr, nodes[12]);
}

TEST(TqOcDynamicHierarchyBuilder, LeavesOutAllNodesWhenNoneCanHangInATree)
{
    NodeList nodes;
    nodes.PushBack(nullptr);
    nodes.PushBack(nullptr);
    PostedErrors const posts;
    Tree const root = Build(nodes);
    EXPECT_EQ(0, root->GetNumChildren());
    EXPECT_EQ(1, posts.Size());
}

TEST(TqOcDynamicHierarchyBuilder, LeavesOutGroupsOfAnotherDepth)
{
    Model leaves(MakeRowBoxes(12));
    TqOcTraversable* children[12];
    for (int i = 0; i < 12; ++i) {
        children[i] = &leaves[i];
    }
    auto* const low = new TqOcDynamicGroup(children, 4);
    TqOcTraversable* inner[2] = {new TqOcDynamicGroup(children + 4, 4),
                                 new TqOcDynamicGroup(children + 8, 4)};
    TqOcDynamicGroup high(inner, 2);
    NodeList nodes;
    nodes.PushBack(low);
    nodes.PushBack(&high);
    nodes.PushBack(&leaves[0]);
    PostedErrors const posts;
    Tree const root = Build(nodes);
    EXPECT_EQ("((0 1 2 3))", Describe(root.get()));
    EXPECT_EQ(1, posts.Size());
    EXPECT_FALSE(high.HasParent());
}

// ---- Failures -----------------------------------------------------------------------------------

namespace
{

/// Nodes of all kinds: with a parent, without an owner, listed twice; and what they were like.
class FragileModel
{
public:
    static constexpr int s_count = 150;

    FragileModel()
    {
        SceneRandom random(7);
        for (int i = 0; i < s_count; ++i) {
            TqLPos3f low;
            TqLPos3f high;
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = random.Below(40);
                high[axis] = low[axis] + random.Below(30);
            }
            m_shapes.push_back(new PlayShape(i, TqLBox3f(low, high)));
            m_leaves.push_back(new TqOcSingleLeaf(m_shapes.back()));
            m_nodes.PushBack(m_leaves.back());
        }
        for (int i = 0; i < 10; ++i) {
            m_other.AddChild(m_leaves[3 * static_cast<std::size_t>(i)]);
        }
        m_nodes.PushBack(m_leaves[5]);
        m_nodes.PushBack(m_leaves[6]);
    }

    ~FragileModel()
    {
        for (TqOcTraversable* const leaf : m_leaves) {
            leaf->SetUserOwned(0);
            if (!leaf->IsOwned()) {
                delete leaf;
            }
        }
    }

    FragileModel(FragileModel const&) = delete;
    FragileModel& operator=(FragileModel const&) = delete;

    NodeList& GetNodes() { return m_nodes; }

    /// Lets the nodes survive the tree that holds them.
    void KeepNodes()
    {
        for (TqOcTraversable* const leaf : m_leaves) {
            leaf->SetUserOwned(1);
        }
    }

    void UpdateAll()
    {
        for (TqOcTraversable* const leaf : m_leaves) {
            leaf->Update();
        }
    }

    /// Whether no node names a group as its parent, and the list still holds what it held.
    bool IsAsBefore() const
    {
        std::vector<TqOcTraversable*> expected = m_leaves;
        expected.push_back(m_leaves[5]);
        expected.push_back(m_leaves[6]);
        std::vector<TqOcTraversable*> listed(m_nodes.Begin(), m_nodes.End());
        std::sort(expected.begin(), expected.end());
        std::sort(listed.begin(), listed.end());
        bool areFree = true;
        for (int i = 0; i < s_count; ++i) {
            TqOcTraversable* const leaf = m_leaves[static_cast<std::size_t>(i)];
            TqOcTraversable const* const parent = i % 3 == 0 && i < 30 ? &m_other : nullptr;
            areFree = areFree && !leaf->HasMultipleParents() && leaf->GetSingleParent() == parent;
        }
        return areFree && listed == expected;
    }

private:
    std::vector<PlayShape*> m_shapes; // the leaves own them
    std::vector<TqOcTraversable*> m_leaves;
    TqOcStaticGroup m_other;
    NodeList m_nodes;
};

} // namespace

TEST(TqOcDynamicHierarchyBuilder, TakesAllBackWhenMemoryIsRefused)
{
    FragileModel model;
    model.UpdateAll();
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    Tree root;
    int refused = 1;
    for (; root == nullptr; ++refused) {
        RefuseAllocations const refuse(refused, RefuseAllocations::eONLY_THIS,
                                       RefuseAllocations::eBOTH);
        try {
            root = Build(model.GetNodes());
        } catch (std::bad_alloc const&) {
            ASSERT_EQ(bytes, TqUMemory::GetLiveBytes()) << refused;
            ASSERT_TRUE(model.IsAsBefore()) << refused;
        }
    }
    // Scratch memory, groups and second parents.
    EXPECT_GT(refused, 10 + static_cast<int>(GroupsOf(*root).size()));
    model.KeepNodes();
    root.reset();
    EXPECT_TRUE(model.IsAsBefore());
    TqUPage::ClearRefusedAllocation();
}

TEST(TqOcDynamicHierarchyBuilder, TakesAllBackWhenAShapeHasNoBox)
{
    FragileModel model;
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    for (int const call : {1, 2, 77, FragileModel::s_count}) {
        PlayShape::RefuseCall(call);
        EXPECT_ANY_THROW(Build(model.GetNodes())) << call;
        EXPECT_TRUE(model.IsAsBefore());
        EXPECT_EQ(bytes, TqUMemory::GetLiveBytes());
        for (int i = 0; i < model.GetNodes().Size(); ++i) {
            model.GetNodes()[i]->Notify(TqOcBaseTraversable::eMODIFIED_BOX);
        }
    }
    PlayShape::RefuseCall(0);
    model.KeepNodes();
    Tree const root = Build(model.GetNodes());
    EXPECT_EQ(FragileModel::s_count + 2, static_cast<int>(LeavesOf(*root).size()));
}

TEST(TqOcDynamicHierarchyBuilder, TakesAllBackWhenPagingOutThrows)
{
    FragileModel model;
    model.UpdateAll();
    PageOutCounter pageOuts;
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    Tree root;
    int thrown = 1;
    for (; root == nullptr; ++thrown) {
        pageOuts.ThrowAt(thrown);
        try {
            root = Build(model.GetNodes());
        } catch (std::runtime_error const&) {
            ASSERT_EQ(bytes, TqUMemory::GetLiveBytes()) << thrown;
            ASSERT_TRUE(model.IsAsBefore()) << thrown;
        }
    }
    // One call more than there are groups threw, the next was never made.
    EXPECT_EQ(static_cast<int>(GroupsOf(*root).size()) + 1 + 1, thrown - 1);
    model.KeepNodes();
}

// ---- Against the reference ----------------------------------------------------------------------

namespace
{

/// Ways to make boxes in which ties, degenerate extents and rounding are frequent.
enum class BoxKind
{
    eUNIFORM,
    eGRID,
    eGRID_AND_EMPTY,
    eNESTED,
    eNESTED_FLAT,
    eSHIFTED_FLAT,
    eLONG_FLAT,
    eZEROS,
    eNOT_FINITE,
    eINVERTED,
    eHUGE,
    eTINY,
    ePOWERS,
    eOVERLAPPING,
    eREPEATED,
    eUNEVEN,
    eEND
};

class BoxMaker
{
public:
    BoxMaker(BoxKind kind, SceneRandom& random)
        : m_kind(kind)
        , m_random(random)
        , m_places(1 + random.Below(12))
        , m_sizes(1 + random.Below(6))
    {}

    TqLBox3f Make()
    {
        TqLPos3f low;
        TqLPos3f high;
        for (int axis = 0; axis < 3; ++axis) {
            MakeInterval(axis, low[axis], high[axis]);
        }
        ++m_numMade;
        bool const isEmpty = m_kind == BoxKind::eGRID_AND_EMPTY && m_random.Chance(0.3);
        bool const isRepeated =
            m_kind == BoxKind::eREPEATED && m_numMade > 1 && m_random.Chance(0.6);
        m_last = isEmpty ? TqLBox3f() : isRepeated ? m_last : TqLBox3f(low, high);
        return m_last;
    }

private:
    double AnyZero() { return m_random.Chance(0.5) ? -0.0 : 0.0; }

    double Broken()
    {
        double const values[] = {kNan, -kNan, kInfinity, -kInfinity};
        return values[m_random.Below(4)];
    }

    void MakeInterval(int axis, double& low, double& high)
    {
        bool const isFlat = axis == 2;
        switch (m_kind) {
        case BoxKind::eNESTED:
            high = m_random.Below(40);
            low = -high;
            break;
        case BoxKind::eNESTED_FLAT:
            high = isFlat ? 0 : m_numMade;
            low = -high;
            break;
        case BoxKind::eSHIFTED_FLAT: // sums of rounded numbers: the centres are nearly, not all,
                                     // equal
            low = isFlat ? 0 : 0.1 * m_numMade + 0.37 * axis;
            high = isFlat ? 0 : 100.37 * (1 + axis) - 0.1 * m_numMade;
            break;
        case BoxKind::eLONG_FLAT:
            low = isFlat ? 0 : m_random.Unit() * 0.1;
            high = isFlat ? 0 : m_random.Unit() * 0.1 + 0.9;
            break;
        case BoxKind::eZEROS:
            low = AnyZero();
            high = m_random.Chance(0.1) ? m_random.Below(3) : AnyZero();
            break;
        case BoxKind::eNOT_FINITE:
            low = m_random.Chance(0.1) ? Broken() : m_random.Below(4);
            high = m_random.Chance(0.1) ? Broken() : low + m_random.Below(3);
            break;
        case BoxKind::eINVERTED:
            low = m_random.Below(3);
            high = m_random.Below(3);
            break;
        case BoxKind::eHUGE:
            low = m_random.Range(-1, 1) * 1.7e308;
            high = m_random.Range(-1, 1) * 1.7e308;
            break;
        case BoxKind::eTINY:
            low = m_random.Below(20) * 4.9406564584124654e-324;
            high = low + m_random.Below(5) * 4.9406564584124654e-324;
            break;
        case BoxKind::ePOWERS:
            high = std::ldexp(1.0, static_cast<int>(m_random.Below(60)));
            low = -high;
            high *= 1 + m_random.Below(2);
            break;
        case BoxKind::eOVERLAPPING:
            low = m_random.Below(3);
            high = low + m_random.Below(40);
            break;
        case BoxKind::eUNEVEN:
            low = m_random.Skewed() * std::ldexp(1.0, 5 * axis);
            high = low + m_random.Skewed() * m_random.Skewed() * std::ldexp(1.0, 5 * axis);
            break;
        case BoxKind::eGRID:
        case BoxKind::eGRID_AND_EMPTY:
        case BoxKind::eREPEATED:
            low = m_random.Below(m_places);
            high = low + m_random.Below(m_sizes);
            break;
        default:
            low = m_random.Unit();
            high = low + m_random.Skewed() * 0.3;
        }
    }

    BoxKind m_kind;
    SceneRandom& m_random;
    unsigned int m_places;
    unsigned int m_sizes;
    TqLBox3f m_last;
    int m_numMade = 0;
};

/// Builds a set both ways and compares the trees and the orders of the list.
void ExpectWhatTheReferenceBuilds(std::vector<TqLBox3f> const& boxes, int k,
                                  ReferenceDynamicBuild::Coverage& sum)
{
    Model model(boxes);
    NodeList nodes = model.MakeList();
    Tree const root = Build(nodes, k);
    ReferenceDynamicBuild reference(boxes, k);
    ASSERT_EQ(reference.Build(), Describe(root.get()));
    ASSERT_EQ(reference.GetNumGroups(), static_cast<int>(GroupsOf(*root).size()));
    for (int i = 0; i < nodes.Size(); ++i) {
        ASSERT_EQ(reference.GetOrder()[static_cast<std::size_t>(i)], LeafNumber(nodes[i])) << i;
    }
    ReferenceDynamicBuild::Coverage const& coverage = reference.GetCoverage();
    sum.middleCuts += coverage.middleCuts;
    sum.extentCuts += coverage.extentCuts;
    sum.clampedCuts += coverage.clampedCuts;
    sum.firstGoodCuts += coverage.firstGoodCuts;
    sum.laterGoodCuts += coverage.laterGoodCuts;
    sum.secondAxisCuts += coverage.secondAxisCuts;
    sum.pairSplits += coverage.pairSplits;
    sum.forcedMiddles += coverage.forcedMiddles;
    sum.smallGroups += coverage.smallGroups;
    sum.centreTies += coverage.centreTies;
}

std::vector<TqLBox3f> BoxesOf(std::vector<SceneBox> const& items)
{
    std::vector<TqLBox3f> boxes;
    boxes.reserve(items.size());
    for (SceneBox const& item : items) {
        boxes.push_back(item.box);
    }
    return boxes;
}

} // namespace

TEST(TqOcDynamicHierarchyBuilder, BuildsWhatTheReferenceBuildsFromRandomAndDegenerateSets)
{
    ReferenceDynamicBuild::Coverage sum;
    for (int kind = 0; kind < static_cast<int>(BoxKind::eEND); ++kind) {
        for (std::uint64_t seed = 0; seed < 300; ++seed) {
            SCOPED_TRACE("kind " + std::to_string(kind) + " seed " + std::to_string(seed));
            SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(kind)));
            BoxMaker maker(static_cast<BoxKind>(kind), random);
            int const count = static_cast<int>(random.Below(random.Chance(0.15) ? 500 : 80));
            int const k = 2 + static_cast<int>(random.Below(6));
            std::vector<TqLBox3f> boxes;
            for (int i = 0; i < count; ++i) {
                boxes.push_back(maker.Make());
            }
            ASSERT_NO_FATAL_FAILURE(ExpectWhatTheReferenceBuilds(boxes, k, sum));
        }
    }
    // Every way through the rules was taken.
    EXPECT_GT(sum.middleCuts, 20000);
    EXPECT_GT(sum.extentCuts, 10000);
    EXPECT_GT(sum.clampedCuts, 3000);
    EXPECT_GT(sum.firstGoodCuts, 100);
    EXPECT_GT(sum.laterGoodCuts, 30);
    EXPECT_GT(sum.secondAxisCuts, 3000);
    EXPECT_GT(sum.pairSplits, 3000);
    EXPECT_GT(sum.forcedMiddles, 100);
    EXPECT_GT(sum.smallGroups, 10000);
    EXPECT_GT(sum.centreTies, 10000);
}

TEST(TqOcDynamicHierarchyBuilder, BuildsWhatTheReferenceBuildsFromGeneratedScenes)
{
    ReferenceDynamicBuild::Coverage sum;
    for (int const k : {3, 7}) {
        SCOPED_TRACE(k);
        ASSERT_NO_FATAL_FAILURE(ExpectWhatTheReferenceBuilds(BoxesOf(MakePlant(8000, 1)), k, sum));
        ASSERT_NO_FATAL_FAILURE(
            ExpectWhatTheReferenceBuilds(BoxesOf(MakeBuilding(8000, 1)), k, sum));
        ASSERT_NO_FATAL_FAILURE(
            ExpectWhatTheReferenceBuilds(BoxesOf(MakeUniform(8000, 1)), k, sum));
        for (int kind = 0; kind < eDEGENERATE_KIND_COUNT; ++kind) {
            SCOPED_TRACE(kind);
            ASSERT_NO_FATAL_FAILURE(ExpectWhatTheReferenceBuilds(
                BoxesOf(MakeDegenerate(static_cast<DegenerateKind>(kind), 1000, 1)), k, sum));
        }
    }
}

// ---- Many nodes of one kind ---------------------------------------------------------------------
// Cutting a few nodes off at a time, or sorting for each cut, would take hours here.

namespace
{

/// Builds, and looks at what can be seen without a second build.
void ExpectABuildOf(std::vector<TqLBox3f> const& boxes)
{
    Model model(boxes);
    NodeList nodes = model.MakeList();
    Tree const root = Build(nodes);
    EXPECT_EQ(boxes.size(), LeavesOf(*root).size());
    // The pair split fills groups worst: with four nodes and less.
    EXPECT_LT(GroupsOf(*root).size(), boxes.size() / 3);
    EXPECT_LE(root->CalcDepth(), 11);
}

} // namespace

TEST(TqOcDynamicHierarchyBuilder, BuildsAMillionEqualBoxesInSeconds)
{
    ExpectABuildOf(std::vector<TqLBox3f>(1000000, MakeBox(0, 0, 0, 1, 2, 3)));
    ExpectABuildOf(std::vector<TqLBox3f>(1000000, MakeBox(0, 0, 0, 1, 2, 0)));
}

TEST(TqOcDynamicHierarchyBuilder, BuildsDegenerateSetsInSeconds)
{
    constexpr int count = 200000;
    std::vector<TqLBox3f> points(count, MakeBox(1, 1, 1, 1, 1, 1));
    std::vector<TqLBox3f> empty(count);
    std::vector<TqLBox3f> onion;
    std::vector<TqLBox3f> flatOnion;
    std::vector<TqLBox3f> roundedOnion; // centres nearly equal, lengths on x and y in turn longer
    std::vector<TqLBox3f> line;
    for (int i = 0; i < count; ++i) {
        onion.push_back(MakeCube(0, 0, 0, 1.0 + i));
        flatOnion.push_back(MakeBox(-1.0 - i, -1.0 - i, 0, 1.0 + i, 1.0 + i, 0));
        roundedOnion.push_back(
            MakeBox(0.1 * i, 0.37 + 0.1 * i, 0, 4e6 - 0.1 * i, 4e6 + 0.37 - 0.1 * i, 0));
        line.push_back(MakeBox(i, 0, 0, i + 1, 1, 1));
    }
    for (std::vector<TqLBox3f> const* const boxes :
         {&points, &empty, &onion, &flatOnion, &roundedOnion, &line}) {
        ExpectABuildOf(*boxes);
    }
    line[count / 2] = MakeCube(0, 0, 0, 1e9);
    ExpectABuildOf(line);
    for (int kind = 0; kind < eDEGENERATE_KIND_COUNT; ++kind) {
        SCOPED_TRACE(GetDegenerateName(static_cast<DegenerateKind>(kind)));
        ExpectABuildOf(BoxesOf(MakeDegenerate(static_cast<DegenerateKind>(kind), count, 1)));
    }
}
