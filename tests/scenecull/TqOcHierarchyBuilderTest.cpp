// The builders: which tree comes out of which shapes, rule by rule and against a plain reference;
// what is posted; what memory pressure, refused memory and exceptions leave behind.
//
// Trees are compared as text: [2 0] is a leaf of the shapes 2 and 0 in this order, ([2] [0]) a
// group of two leaves. Most rules of the division are seen best in a list of leaves built with the
// total as threshold: the first store is divided once, and its two parts are below the threshold.

#include "scenecull/TqOcHierarchyBuilder.h"

#include "support/AllocationCounter.h"
#include "support/Recorders.h"
#include "support/ReferenceStaticBuild.h"

#include "scenecull/internal/TqOcSHBSplitter.h"

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLBox.h"

#include "util/TqUMemory.h"
#include "util/TqUPage.h"
#include "util/TqUPtrVector.h"
#include "util/TqUVector.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr unsigned int kAll = 0xFF; // modified mask of a container whose children were replaced

// ---- Shapes -------------------------------------------------------------------------------------

/// A shape with a number; the test owns it.
class NumberedShape : public TqOcShape
{
public:
    NumberedShape(int number, TqLBox3f const& box, unsigned int tris)
        : TqOcShape(1.0, tris, TqLPrimitiveTypes::eTRIANGLES)
        , m_number(number)
        , m_box(box)
    {
        SetUserOwned(1);
    }

    int GetNumber() const { return m_number; }

    TqLBox3f const& GetBox() const { return m_box; }

    void SetBox(TqLBox3f const& box) { m_box = box; }

    int GetNumBoxCalls() const { return m_numBoxCalls; }

    bool GotOnlyEmptyBoxes() const { return m_gotOnlyEmptyBoxes; }

    /// Lets the call of GetShapeBox after `calls` more throw.
    void ThrowAfter(int calls) { m_callsUntilThrow = calls; }

    void GetShapeBox(TqLBox3f& box) override
    {
        ++m_numBoxCalls;
        m_gotOnlyEmptyBoxes = m_gotOnlyEmptyBoxes && box == TqLBox3f();
        if (m_callsUntilThrow >= 0 && m_callsUntilThrow-- == 0) {
            throw std::runtime_error("no box today");
        }
        box = m_box;
    }

    void RenderShape(TqOcRenderTraversal*) override {}

    void PickShape(TqOcPickFrustumTraversal*) override {}

    /// The parents in their order.
    std::vector<TqOcTraversable*> GetParents()
    {
        if (HasMultipleParents()) {
            return {GetMultipleParents()->Begin(), GetMultipleParents()->End()};
        }
        return HasParent() ? std::vector<TqOcTraversable*>{GetSingleParent()}
                           : std::vector<TqOcTraversable*>{};
    }

private:
    int m_number;
    TqLBox3f m_box;
    int m_numBoxCalls = 0;
    int m_callsUntilThrow = -1;
    bool m_gotOnlyEmptyBoxes = true;
};

// ---- Trees as text ------------------------------------------------------------------------------

void Describe(TqOcBaseTraversable* node, std::string& text)
{
    TqOcBaseTraversable* const* children = nullptr;
    int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
    text += node->IsLeaf() ? "[" : "(";
    for (int i = 0; i < count; ++i) {
        text += i != 0 ? " " : "";
        if (node->IsLeaf()) {
            text += std::to_string(static_cast<NumberedShape*>(children[i])->GetNumber());
        } else {
            Describe(children[i], text);
        }
    }
    text += node->IsLeaf() ? "]" : ")";
}

std::string Describe(TqOcTraversable* root)
{
    std::string text;
    if (root != nullptr) {
        Describe(root, text);
    }
    return text;
}

// ---- Models -------------------------------------------------------------------------------------

/// Numbered shapes, and builds of them.
class Model
{
public:
    Model() = default;
    Model(Model const&) = delete;
    Model& operator=(Model const&) = delete;

    NumberedShape& Add(TqLBox3f const& box, unsigned int tris = 1)
    {
        m_shapes.emplace_back(static_cast<int>(m_shapes.size()), box, tris);
        return m_shapes.back();
    }

    /// A box from `low` to `high` on x and without extent otherwise.
    NumberedShape& AddOnX(double low, double high, unsigned int tris = 1)
    {
        return Add(MakeBox(low, 0, 0, high, 0, 0), tris);
    }

    NumberedShape& operator[](int i) { return m_shapes[static_cast<std::size_t>(i)]; }

    int Size() const { return static_cast<int>(m_shapes.size()); }

    void AppendTo(TqOcStaticHierarchyBuilder& builder)
    {
        builder.Begin();
        for (NumberedShape& shape : m_shapes) {
            builder.Append(&shape);
        }
    }

    /// Builds a tree, returns its text and deletes it.
    std::string BuildTree(int threshold)
    {
        TqOcStaticHierarchyBuilder builder(threshold);
        AppendTo(builder);
        std::unique_ptr<TqOcTraversable> const root(builder.End());
        return Describe(root.get());
    }

    /// Builds a list of leaves, returns their texts and deletes them.
    std::vector<std::string> BuildLeaves(int threshold)
    {
        TqOcStaticHierarchyBuilder builder(threshold);
        AppendTo(builder);
        TqUPtrVector<TqOcTraversable> leaves;
        builder.End(&leaves);
        std::vector<std::string> texts;
        for (int i = 0; i < leaves.Size(); ++i) {
            texts.push_back(Describe(leaves[i]));
            delete leaves[i];
        }
        return texts;
    }

    /// The leaves when only the whole set reaches the threshold: one division at most.
    std::vector<std::string> DivideOnce()
    {
        unsigned int total = 0;
        for (NumberedShape const& shape : m_shapes) {
            total += shape.GetTris();
        }
        return BuildLeaves(static_cast<int>(total));
    }

    ReferenceStaticBuild MakeReference(int threshold) const
    {
        std::vector<ReferenceShape> shapes;
        for (NumberedShape const& shape : m_shapes) {
            shapes.push_back({shape.GetBox(), shape.GetTris()});
        }
        return {std::move(shapes), threshold};
    }

private:
    std::deque<NumberedShape> m_shapes;
};

using Texts = std::vector<std::string>;

/// Points at the given places on x.
std::unique_ptr<Model> MakePoints(std::vector<double> const& places)
{
    auto model = std::make_unique<Model>();
    for (double const place : places) {
        model->AddOnX(place, place);
    }
    return model;
}

/// Unit cubes at the given places on x.
std::unique_ptr<Model> MakeCubes(std::vector<double> const& places)
{
    auto model = std::make_unique<Model>();
    for (double const place : places) {
        model->Add(MakeCube(place, 0, 0, 0.5));
    }
    return model;
}

/// `count` points in random places, all different.
std::unique_ptr<Model> MakeScattered(int count, std::uint64_t seed = 1)
{
    SceneRandom random(seed);
    auto model = std::make_unique<Model>();
    for (int i = 0; i < count; ++i) {
        double const x = random.Unit();
        double const y = random.Unit();
        model->Add(MakeCube(x, y, random.Unit(), 0.01));
    }
    return model;
}

/// Calls `call` for a node and everything below it, with the depth of each below `node`.
template <class Call>
void ForEachNode(TqOcBaseTraversable* node, Call const& call, int depth = 0)
{
    call(node, depth);
    if (!node->IsShape()) {
        TqOcBaseTraversable* const* children = nullptr;
        int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            ForEachNode(children[i], call, depth + 1);
        }
    }
}

/// Counts the calls of the page-out callback while it lives; memory is always short meanwhile.
class PageOutCounter
{
public:
    explicit PageOutCounter(EventLog* log = nullptr)
        : m_log(log)
        , m_block(TqUMemory::Alloc(64, TqUMemory::eALIGN_DEFAULT))
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

    /// Lets the call after `calls` more throw.
    void ThrowAfter(int calls) { m_callsUntilThrow = calls; }

private:
    static void Count(void* self)
    {
        auto* const counter = static_cast<PageOutCounter*>(self);
        ++counter->m_count;
        if (counter->m_log != nullptr) {
            counter->m_log->Add("PageOut");
        }
        if (counter->m_callsUntilThrow >= 0 && counter->m_callsUntilThrow-- == 0) {
            throw std::runtime_error("nothing to page out");
        }
    }

    EventLog* m_log;
    void* m_block; // so that there are live bytes
    int m_count = 0;
    int m_callsUntilThrow = -1;
};

constexpr char kComponent[] = "1 TqOcHierarchyBuilder: ";

std::string Post(std::string const& text)
{
    return kComponent + text;
}

} // namespace

// ---- Component ----------------------------------------------------------------------------------

TEST(TqOcHierarchyBuilder, InitialisesWhatItDependsOnOnceAndTakesItDownAgain)
{
    WithoutComponents const none;
    ASSERT_FALSE(TqOcHierarchyBuilder::IsInitialised());
    TqOcHierarchyBuilder::Initialise();
    TqOcHierarchyBuilder::Initialise();
    EXPECT_TRUE(TqOcHierarchyBuilder::IsInitialised());
    EXPECT_TRUE(TqUVector::IsInitialised());
    EXPECT_TRUE(TqUPage::IsInitialised());
    EXPECT_TRUE(TqOcStaticGroup::IsInitialised());
    EXPECT_TRUE(TqOcTraversable::IsInitialised());
    TqOcHierarchyBuilder::Terminate();
    EXPECT_TRUE(TqOcHierarchyBuilder::IsInitialised());
    EXPECT_TRUE(TqOcStaticGroup::IsInitialised());
    TqOcHierarchyBuilder::Terminate();
    EXPECT_FALSE(TqOcHierarchyBuilder::IsInitialised());
    EXPECT_FALSE(TqUVector::IsInitialised());
    EXPECT_FALSE(TqUPage::IsInitialised());
    EXPECT_FALSE(TqOcStaticGroup::IsInitialised());
}

TEST(TqOcHierarchyBuilder, IsSharedByBothBuilders)
{
    EXPECT_TRUE(TqOcStaticHierarchyBuilder::IsInitialised());
    EXPECT_TRUE(TqOcFlatHierarchyBuilder::IsInitialised());
    WithoutComponents const none;
    EXPECT_FALSE(TqOcStaticHierarchyBuilder::IsInitialised());
    EXPECT_FALSE(TqOcFlatHierarchyBuilder::IsInitialised());
}

TEST(TqOcHierarchyBuilder, HasNoStateAndIsTriviallyAssigned)
{
    EXPECT_TRUE(std::is_empty<TqOcHierarchyBuilder>::value);
    EXPECT_TRUE(std::is_trivially_copy_assignable<TqOcHierarchyBuilder>::value);
}

// ---- Static builder: what comes out -------------------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, ReturnsNullWithoutShapes)
{
    TqOcStaticHierarchyBuilder builder(0);
    EXPECT_EQ(nullptr, builder.End());
    builder.Begin();
    EXPECT_EQ(nullptr, builder.End());
}

TEST(TqOcStaticHierarchyBuilder, ReadsItsThresholdBack)
{
    EXPECT_EQ(1000, TqOcStaticHierarchyBuilder(1000).GetTriSplitThreshold());
    EXPECT_EQ(-7, TqOcStaticHierarchyBuilder(-7).GetTriSplitThreshold());
}

TEST(TqOcStaticHierarchyBuilder, CannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible<TqOcStaticHierarchyBuilder>::value);
    EXPECT_FALSE(std::is_copy_assignable<TqOcStaticHierarchyBuilder>::value);
}

TEST(TqOcStaticHierarchyBuilder, MakesOneLeafInOrderOfAppendBelowTheThreshold)
{
    auto const model = MakePoints({5, 1, 4, 2, 3});
    EXPECT_EQ("[0 1 2 3 4]", model->BuildTree(6));
}

TEST(TqOcStaticHierarchyBuilder, DividesATotalEqualToTheThreshold)
{
    auto const model = MakePoints({0, 1});
    EXPECT_EQ("[0 1]", model->BuildTree(3));
    EXPECT_EQ("([0] [1])", model->BuildTree(2));
}

TEST(TqOcStaticHierarchyBuilder, MakesAGroupOfTwoLeavesOfTwoDividableShapes)
{
    auto const model = MakeCubes({10, 0});
    EXPECT_EQ("([1] [0])", model->BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, LeavesIdenticalBoxesInOneLeafWhateverTheirTotal)
{
    Model model;
    for (int i = 0; i < 5; ++i) {
        model.Add(MakeBox(1, 2, 3, 4, 5, 6), 1000000000);
    }
    EXPECT_EQ("[0 1 2 3 4]", model.BuildTree(0));
    EXPECT_EQ((Texts{"[0 1 2 3 4]"}), model.BuildLeaves(0));
}

TEST(TqOcStaticHierarchyBuilder, NeverGivesAGroupMoreThanSixChildren)
{
    auto const model = MakeScattered(500);
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    int numGroupsOfSix = 0;
    ForEachNode(root.get(), [&](TqOcBaseTraversable* node, int) {
        if (!node->IsLeaf()) {
            int const count = static_cast<TqOcStaticGroup*>(node)->GetNumChildren();
            EXPECT_GE(count, 2);
            EXPECT_LE(count, 6);
            numGroupsOfSix += count == 6 ? 1 : 0;
        }
    });
    EXPECT_GT(numGroupsOfSix, 50);
}

TEST(TqOcStaticHierarchyBuilder, DividesUntilNothingCanBeSeparatedAtThresholdZero)
{
    // Three identical boxes in each of 40 places.
    SceneRandom random(3);
    Model model;
    for (int place = 0; place < 40; ++place) {
        TqLBox3f const box = MakeCube(random.Unit(), random.Unit(), random.Unit(), 0.001);
        for (int copy = 0; copy < 3; ++copy) {
            model.Add(box);
        }
    }
    TqOcStaticHierarchyBuilder builder(0);
    model.AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    int numLeaves = 0;
    ForEachNode(root.get(), [&](TqOcBaseTraversable* node, int) {
        if (node->IsLeaf() && !node->IsShape()) {
            ++numLeaves;
            auto* const leaf = static_cast<TqOcStaticLeaf*>(node);
            ASSERT_EQ(3, leaf->GetNumChildren());
            int const place = static_cast<NumberedShape*>(leaf->GetChild(0))->GetNumber() / 3;
            for (int i = 1; i < 3; ++i) {
                EXPECT_EQ(place, static_cast<NumberedShape*>(leaf->GetChild(i))->GetNumber() / 3);
            }
        }
    });
    EXPECT_EQ(40, numLeaves);
}

TEST(TqOcStaticHierarchyBuilder, HoldsAShapeAppendedTwiceTwice)
{
    auto const model = MakePoints({0});
    NumberedShape& shape = (*model)[0];
    TqOcStaticHierarchyBuilder builder(0);
    builder.Append(&shape);
    builder.Append(&shape);
    std::unique_ptr<TqOcTraversable> root(builder.End());
    EXPECT_EQ("[0 0]", Describe(root.get()));
    EXPECT_EQ((std::vector<TqOcTraversable*>{root.get(), root.get()}), shape.GetParents());
    root.reset();
    EXPECT_FALSE(shape.HasParent());
}

TEST(TqOcStaticHierarchyBuilder, LinksEveryNodeToItsParentAndMarksItModified)
{
    auto const model = MakeScattered(100);
    TqOcStaticHierarchyBuilder builder(3);
    model->AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_FALSE(root->HasParent());
    int numShapes = 0;
    ForEachNode(root.get(), [&](TqOcBaseTraversable* node, int) {
        if (node->IsShape()) {
            ++numShapes;
            return;
        }
        EXPECT_EQ(kAll, node->GetModified());
        TqOcBaseTraversable* const* children = nullptr;
        int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            ASSERT_FALSE(children[i]->HasMultipleParents());
            EXPECT_EQ(node, children[i]->GetSingleParent());
        }
    });
    EXPECT_EQ(100, numShapes);
}

TEST(TqOcStaticHierarchyBuilder, LeavesBoxesAndTotalsToTheFirstUpdate)
{
    Model model;
    model.Add(MakeBox(0, 0, 0, 1, 1, 1), 10);
    model.Add(MakeBox(8, 0, 0, 9, 2, 3), 20);
    TqOcStaticHierarchyBuilder builder(0);
    model.AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ(TqLBox3f(), root->GetBoundingBox());
    root->Update();
    EXPECT_EQ(MakeBox(0, 0, 0, 9, 2, 3), root->GetBoundingBox());
    EXPECT_EQ(30U, root->GetTris());
    EXPECT_EQ(0U, root->GetModified());
}

TEST(TqOcStaticHierarchyBuilder, DeletesNothingButLetsTheTreeOwnItsShapes)
{
    EventLog log;
    auto* const kept = new RecordingShape(&log, "kept", MakeCube(0, 0, 0, 1));
    auto* const built = new RecordingShape(&log, "built", MakeCube(9, 0, 0, 1));
    {
        TqOcStaticHierarchyBuilder builder(0);
        builder.Append(kept);
    }
    EXPECT_FALSE(kept->HasParent());
    TqOcStaticHierarchyBuilder builder(0);
    builder.Append(built);
    EXPECT_FALSE(built->HasParent());
    TqOcTraversable* const root = builder.End();
    EXPECT_EQ(Lines{}, log.Take());
    delete root;
    EXPECT_EQ((Lines{"Delete built"}), log.Take());
    delete kept;
}

TEST(TqOcStaticHierarchyBuilder, KeepsTheParentsThatAShapeHadBefore)
{
    auto const model = MakePoints({0, 1});
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const first(builder.End());
    model->AppendTo(builder);
    std::unique_ptr<TqOcTraversable> const second(builder.End());
    auto* const firstLeaf = static_cast<TqOcStaticGroup*>(first.get())->GetChild(0);
    auto* const secondLeaf = static_cast<TqOcStaticGroup*>(second.get())->GetChild(0);
    EXPECT_EQ((std::vector<TqOcTraversable*>{firstLeaf, secondLeaf}), (*model)[0].GetParents());
}

// ---- Static builder: appending ------------------------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, AsksForABoxOnceAndIntoAnEmptyOne)
{
    auto const model = MakeScattered(50);
    model->BuildTree(2);
    for (int i = 0; i < model->Size(); ++i) {
        EXPECT_EQ(1, (*model)[i].GetNumBoxCalls());
        EXPECT_TRUE((*model)[i].GotOnlyEmptyBoxes());
    }
}

TEST(TqOcStaticHierarchyBuilder, UsesTheBoxOfAppendAndTheTrianglesOfEnd)
{
    auto const model = MakeCubes({0, 10});
    TqOcStaticHierarchyBuilder builder(100);
    model->AppendTo(builder);
    (*model)[0].SetBox(MakeCube(20, 0, 0, 0.5));
    (*model)[0].SetTris(99);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0] [1])", Describe(root.get()));
}

TEST(TqOcStaticHierarchyBuilder, ForgetsInBeginWhatWasAppended)
{
    auto const model = MakeCubes({0, 10});
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    builder.Begin();
    EXPECT_EQ(nullptr, builder.End());
    EXPECT_FALSE((*model)[0].HasParent());
}

TEST(TqOcStaticHierarchyBuilder, IsEmptyAndReusableAfterBothKindsOfEnd)
{
    auto const model = MakeScattered(40);
    TqOcStaticHierarchyBuilder builder(5);
    std::string const expected = model->BuildTree(5);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < model->Size(); ++i) {
            builder.Append(&(*model)[i]);
        }
        std::unique_ptr<TqOcTraversable> const root(builder.End());
        EXPECT_EQ(expected, Describe(root.get()));
        EXPECT_EQ(nullptr, builder.End());

        for (int i = 0; i < model->Size(); ++i) {
            builder.Append(&(*model)[i]);
        }
        TqUPtrVector<TqOcTraversable> leaves;
        builder.End(&leaves);
        EXPECT_GT(leaves.Size(), 8);
        for (int i = 0; i < leaves.Size(); ++i) {
            delete leaves[i];
        }
        EXPECT_EQ(nullptr, builder.End());
    }
}

TEST(TqOcStaticHierarchyBuilder, ReturnsTheMemoryOfItsItemsAfterEveryBuild)
{
    auto const model = MakeScattered(2000);
    TqOcStaticHierarchyBuilder builder(10);
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    std::size_t bytesAfterFirst = 0;
    for (int round = 0; round < 3; ++round) {
        model->AppendTo(builder);
        EXPECT_GE(TqUMemory::GetLiveBytes() - bytesBefore, 2000 * sizeof(TqOcSHBItem));
        std::unique_ptr<TqOcTraversable> root;
        if (round == 1) {
            TqUPtrVector<TqOcTraversable> leaves;
            builder.End(&leaves);
            for (int i = 0; i < leaves.Size(); ++i) {
                delete leaves[i];
            }
        } else {
            root.reset(builder.End());
        }
        root.reset();
        // The list of item pointers keeps its room; the items themselves are gone.
        EXPECT_LT(TqUMemory::GetLiveBytes() - bytesBefore, 2000 * sizeof(TqOcSHBItem) / 2);
        bytesAfterFirst = round == 0 ? TqUMemory::GetLiveBytes() : bytesAfterFirst;
        EXPECT_EQ(bytesAfterFirst, TqUMemory::GetLiveBytes());
    }
}

TEST(TqOcStaticHierarchyBuilder, PagesOutOnceAShapeBeforeItsBoxIsTaken)
{
    EventLog log;
    RecordingShape a(&log, "a", MakeCube(0, 0, 0, 1));
    RecordingShape b(&log, "b", MakeCube(9, 0, 0, 1));
    for (RecordingShape* shape : {&a, &b}) {
        shape->SetUserOwned(1);
        shape->SetLogsBoxes(true);
    }
    PageOutCounter const pageOuts(&log);
    TqOcStaticHierarchyBuilder builder(0);
    builder.Append(&a);
    builder.Append(&b);
    std::unique_ptr<TqOcTraversable> const root(builder.End()); // a tree is built without paging
    EXPECT_EQ((Lines{"PageOut", "GetShapeBox a", "PageOut", "GetShapeBox b"}), log.Take());
    EXPECT_EQ(2, pageOuts.Get());
}

// ---- Static builder: totals and threshold -------------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, ComparesTotalsBeyond31BitsWithTheThreshold)
{
    Model model;
    model.AddOnX(0, 0, 0x80000000U);
    model.AddOnX(1, 1, 0x70000000U);
    EXPECT_EQ("([0] [1])", model.BuildTree(INT_MAX));
}

TEST(TqOcStaticHierarchyBuilder, IsNeverBelowANegativeOrZeroThreshold)
{
    Model model;
    model.AddOnX(0, 0, 0);
    model.AddOnX(1, 1, 0);
    for (int const threshold : {0, -1, INT_MIN}) {
        EXPECT_EQ("([0] [1])", model.BuildTree(threshold));
        EXPECT_EQ((Texts{"[0]", "[1]"}), model.BuildLeaves(threshold));
    }
    EXPECT_EQ("[0 1]", model.BuildTree(1));
}

TEST(TqOcStaticHierarchyBuilder, WrapsTotalsAt32Bits)
{
    Model model;
    model.AddOnX(0, 0, 0x80000000U);
    model.AddOnX(1, 1, 0x80000000U);
    EXPECT_EQ("[0 1]", model.BuildTree(1));
    EXPECT_EQ((Texts{"[0 1]"}), model.BuildLeaves(1));
    EXPECT_EQ("([0] [1])", model.BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, TestsTheThresholdOnlyWhenItEntersASet)
{
    // Four triangles in all; the parts of two and of one are divided all the same.
    auto const model = MakeCubes({0, 2, 100, 140});
    EXPECT_EQ("([0] [2] [3] [1])", model->BuildTree(4));
    EXPECT_EQ((Texts{"[0 1]", "[2 3]"}), model->BuildLeaves(4));
}

// ---- Static builder: which part is divided next -------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, DividesTheMostVoluminousPartNext)
{
    // After the first division at 60.5 the right part, from 99.5 to 140.5, is the larger one.
    EXPECT_EQ("([0] [2] [3] [1])", MakeCubes({0, 2, 100, 140})->BuildTree(0));
    // Mirrored: the left one, at place 0, keeps its own left and is first in the list.
    EXPECT_EQ("([0] [2] [1] [3])", MakeCubes({0, 40, 138, 140})->BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, DividesTheEarlierOfTwoEquallyVoluminousParts)
{
    EXPECT_EQ("([0] [2] [1] [3])", MakeCubes({0, 2, 100, 102})->BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, DividesPartsWithoutVolume)
{
    EXPECT_EQ("([0] [2] [1] [3])", MakePoints({0, 2, 100, 102})->BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, GoesOnWithOtherPartsWhenOneCannotBeDivided)
{
    // The large part, of two identical boxes, is tried first and closed.
    Model model;
    model.Add(MakeBox(90, 0, 0, 110, 20, 20));
    model.Add(MakeBox(90, 0, 0, 110, 20, 20));
    model.Add(MakeCube(0, 0, 0, 0.5));
    model.Add(MakeCube(2, 0, 0, 0.5));
    EXPECT_EQ("([2] [1 0] [3])", model.BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, NeverDividesAPartWhoseVolumeIsNotANumber)
{
    // An infinite extent times one of zero.
    auto const model = MakePoints({-1.7e308, 1.7e308});
    ASSERT_TRUE(std::isnan(MakeBox(-1.7e308, 0, 0, 1.7e308, 0, 0).Volume()));
    EXPECT_EQ("[0 1]", model->BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, NeverDividesAPartOfMinusInfiniteVolume)
{
    Model model;
    model.Add(TqLBox3f());
    model.Add(TqLBox3f());
    EXPECT_EQ("[0 1]", model.BuildTree(0));
}

TEST(TqOcStaticHierarchyBuilder, DividesAPartOfInfiniteVolume)
{
    Model model;
    model.Add(MakeCube(-1e200, 0, 0, 1e199));
    model.Add(MakeCube(1e200, 0, 0, 1e199));
    EXPECT_EQ("([0] [1])", model.BuildTree(0));
}

// ---- Static builder: where a part is divided ----------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, DividesAtTheMeanOfTheCentres)
{
    // The mean is 3: neither the median nor the middle of the box, 4.5, would put 4 on the right.
    EXPECT_EQ((Texts{"[0 1 2]", "[3 4]"}), MakePoints({0, 1, 1, 9, 4})->DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, SumsTheCentresInTheOrderOfTheRange)
{
    // 2^60 swallows what is added to it: the mean is 0.275 in one order and 0 in the other, and
    // 0.1 lies on either side.
    double const large = std::ldexp(1.0, 60);
    EXPECT_EQ((Texts{"[0 2]", "[1 3]"}), MakePoints({-large, large, 0.1, 1})->DivideOnce());
    EXPECT_EQ((Texts{"[0]", "[1 2 3]"}), MakePoints({-large, 0.1, 1, large})->DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, TriesTheLongestAxisFirst)
{
    Model model;
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            model.Add(MakeCube(x, 1.5 * y, 0, 0.1));
        }
    }
    EXPECT_EQ((Texts{"[0 1]", "[2 3]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, TriesTheLowerOfTwoEquallyLongAxesFirst)
{
    Model model;
    for (int i = 0; i < 4; ++i) {
        model.Add(MakeCube(i & 1, i >> 1, 0, 0.1));
    }
    EXPECT_EQ((Texts{"[0 2]", "[1 3]"}), model.DivideOnce()); // by x, not by y

    Model flat;
    for (int i = 0; i < 4; ++i) {
        flat.Add(MakeCube(0, i & 1, i >> 1, 0.1));
    }
    EXPECT_EQ((Texts{"[0 2]", "[1 3]"}), flat.DivideOnce()); // by y, not by z
}

TEST(TqOcStaticHierarchyBuilder, TriesTheNextAxisWhenOneSideStaysEmpty)
{
    // All straddle the middle of the longest axis in balance, which leans right.
    Model model;
    for (int i = 0; i < 4; ++i) {
        model.Add(MakeBox(-8, i, 0, 8, i + 0.25, 0));
    }
    EXPECT_EQ((Texts{"[0 1]", "[2 3]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, PutsABoxThatTouchesThePlaneOnTheSideWhereItLies)
{
    Model model; // the mean is 0
    model.AddOnX(-9, -7);
    model.AddOnX(7, 9);
    model.AddOnX(-2, 0);
    model.AddOnX(0, 2);
    EXPECT_EQ((Texts{"[0 2]", "[1 3]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, PutsAPointOnThePlaneLeft)
{
    EXPECT_EQ((Texts{"[0 1]", "[2]"}), MakePoints({-8, 0, 8})->DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, PutsAStraddlingBoxWhereItLeansUpToTheEndOfTheBand)
{
    Model model; // the mean is 0, the extent 16, the band from -2 to 2
    model.AddOnX(-8, -8);
    model.AddOnX(8, 8);
    model.AddOnX(-6, 2);
    model.AddOnX(-2, 6);
    EXPECT_EQ((Texts{"[0 2]", "[1 3]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, LeansRightInExactBalance)
{
    Model model;
    model.AddOnX(-8, -8);
    model.AddOnX(8, 8);
    model.AddOnX(-1, 1);
    EXPECT_EQ((Texts{"[0]", "[1 2]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, SetsBoxesThatReachBeyondTheBandApart)
{
    Model model; // the mean is 0, the band from -2 to 2
    for (int i = 0; i < 3; ++i) {
        model.AddOnX(-8, -8);
        model.AddOnX(8, 8);
    }
    model.AddOnX(-6, 2.5);
    model.AddOnX(-2.5, 6);
    // Overflow in front; left and right stay together behind it.
    EXPECT_EQ((Texts{"[7 6]", "[2 3 4 5 1 0]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, RefusesAnAxisWithMoreThanAQuarterOfOverflow)
{
    // As before, but two of seven boxes reach beyond the band: y is taken instead.
    Model model;
    double const places[5] = {-8, 8, -8, 8, 0};
    for (int i = 0; i < 5; ++i) {
        model.Add(MakeBox(places[i], i, 0, places[i], i, 0));
    }
    model.Add(MakeBox(-6, 5, 0, 2.5, 5, 0));
    model.Add(MakeBox(-2.5, 6, 0, 6, 6, 0));
    EXPECT_EQ((Texts{"[0 1 2 3]", "[4 5 6]"}), model.DivideOnce());
}

TEST(TqOcStaticHierarchyBuilder, ReordersWithAScanFromEitherEnd)
{
    // R L R R L L R L: the scans swap 0 and 7, 2 and 5, 3 and 4.
    EXPECT_EQ((Texts{"[7 1 5 4]", "[3 2 6 0]"}),
              MakePoints({8, -8, 8, 8, -8, -8, 8, -8})->DivideOnce());
}

// ---- Static builder: where rounding gets between classification and reordering ------------------
// Near 2^53 numbers above are two apart, numbers below one: the band around 2^53 with a half-width
// of 3 reaches from -3 to +4. A box from -4 to +4 then counts as overflow, but does not span it.

TEST(TqOcStaticHierarchyBuilder, PostsAnOverflowThatSpansNothingAndTriesNoOtherAxis)
{
    double const origin = 9007199254740992.0;
    Model model;
    double const low[4] = {-12, 12, -4, 0};
    double const high[4] = {-12, 12, 4, 0};
    for (int i = 0; i < 4; ++i) {
        model.Add(MakeBox(origin + low[i], i, 0, origin + high[i], i, 0)); // y could be divided
    }
    PostedErrors posts;
    EXPECT_EQ((Texts{"[0 1 2 3]"}), model.DivideOnce());
    EXPECT_EQ((Texts{Post("Bad overflow partition")}), posts.AsLines());
    posts.Clear();
    EXPECT_EQ("[0 1 2 3]", model.BuildTree(0));
    EXPECT_EQ((Texts{Post("Bad overflow partition")}), posts.AsLines());
}

TEST(TqOcStaticHierarchyBuilder, KeepsOnlySpanningBoxesInFrontButCountsByClassification)
{
    double const origin = 9007199254740992.0;
    Model model;
    model.AddOnX(origin - 12, origin - 12);
    model.AddOnX(origin + 12, origin + 12);
    for (int i = 2; i < 9; ++i) {
        model.AddOnX(origin, origin);
    }
    model.AddOnX(origin - 4, origin + 4, 1000);             // 9: overflow, but not spanning
    model.AddOnX(origin - 6, origin + 6);                   // 10
    model.Add(MakeBox(origin - 6, 2, 0, origin + 6, 2, 0)); // 11
    // 10 and 11 have two triangles, but are taken for 1,002 and divided along y. The others have
    // 1,009, but are taken for 9 and left alone.
    EXPECT_EQ((Texts{"[10]", "[2 3 4 5 6 7 8 9 1 0]", "[11]"}), model.BuildLeaves(100));
}

TEST(TqOcSHBSplitter, TakesTheBandAsItStandsWhenThePartsBoxIsTurnedAround)
{
    // A box with minimum and maximum exchanged, 8 long: the band around 0 "reaches" from 1 to -1,
    // and spanning it means to start before 1 and to end behind -1.
    auto const model = MakePoints({-8, 8, 0.5, -4, 3.5});
    model->AddOnX(-0.5, 0.5, 100); // straddles in balance and starts before 1: overflow
    std::vector<TqOcSHBItem> items;
    std::vector<void const*> pointers;
    for (int i = 0; i < model->Size(); ++i) {
        items.push_back({(*model)[i].GetBox(), &(*model)[i]});
    }
    for (TqOcSHBItem const& item : items) {
        pointers.push_back(&item);
    }
    TqOcSHBSplitter splitter(nullptr);
    splitter.Load(pointers.data(), model->Size());
    TqOcSHBStore part = splitter.MakeRoot();
    part.m_box = MakeBox(4, 0, 0, -4, 0, 0);
    TqOcSHBStore rest;
    ASSERT_TRUE(splitter.SplitPart(part, rest));
    // The point at 0.5 spans too, but was classified as right and is counted there.
    EXPECT_EQ(2, part.GetCount());
    EXPECT_EQ(100U, part.m_tris);
    EXPECT_EQ(MakeBox(-0.5, 0, 0, 0.5, 0, 0), part.m_box);
    EXPECT_EQ(4, rest.GetCount());
    EXPECT_EQ(5U, rest.m_tris);
    EXPECT_EQ(MakeBox(-8, 0, 0, 8, 0, 0), rest.m_box);
    std::string order;
    for (int i = 0; i < splitter.GetNumRecords(); ++i) {
        order += std::to_string(
            static_cast<NumberedShape*>(splitter.GetRecords()[i].m_shape)->GetNumber());
    }
    EXPECT_EQ("521340", order); // 0 and 5, 1 and 2 change places
    // The sum that the next division starts from follows the records, not the sets.
    EXPECT_EQ(0.5, part.m_centreSum[0]);
    EXPECT_EQ(-0.5, rest.m_centreSum[0]);
}

// ---- Static builder: depth ----------------------------------------------------------------------

namespace
{

/// Sets of five slabs along x, y and z in turn, each set shorter than the last: every division
/// peels one set off, divides its five slabs from one another, and leaves the smaller ones for the
/// next level.
void AddNestedSlabs(Model& model, int numSets)
{
    double length = std::ldexp(1.0, 340);
    for (int set = 0; set < numSets; ++set) {
        int const along = set % 3;
        int const across = (set + 1) % 3;
        int const up = (set + 2) % 3;
        for (int i = -2; i <= 2; ++i) {
            TqLPos3f low;
            TqLPos3f high;
            low[along] = -length;
            high[along] = length;
            low[across] = (0.3 * i - 0.05) * length;
            high[across] = (0.3 * i + 0.05) * length;
            low[up] = -0.36 * length;
            high[up] = 0.36 * length;
            model.Add(TqLBox3f(low, high));
        }
        length *= 0.625;
    }
}

class CountingVisitor : public TqOcVisitor
{
public:
    int numShapes = 0;

    void VisitShape(TqOcShape*) override { ++numShapes; }
};

} // namespace

TEST(TqOcStaticHierarchyBuilder, StopsDividingAtDepth1001AndSurvivesIt)
{
    Model model;
    AddNestedSlabs(model, 1020);
    PostedErrors const posts;
    TqOcStaticHierarchyBuilder builder(0);
    model.AppendTo(builder);
    std::unique_ptr<TqOcTraversable> root(builder.End());

    int deepest = 0;
    int numAtLimit = 0;
    ForEachNode(root.get(), [&](TqOcBaseTraversable* node, int depth) {
        if (!node->IsShape()) {
            deepest = depth > deepest ? depth : deepest;
            numAtLimit += depth == 1001 ? 1 : 0;
        }
    });
    EXPECT_EQ(1001, deepest);
    EXPECT_EQ(6, numAtLimit);
    // Each of the six, also those of a single shape: depth is looked at first.
    EXPECT_EQ(Texts(6, Post("Exceeeded recursion limit")), posts.AsLines());

    ReferenceStaticBuild reference = model.MakeReference(0);
    EXPECT_EQ(reference.BuildTree(), Describe(root.get()));
    EXPECT_EQ(reference.GetPosts(), posts.AsLines());

    root->Update();
    EXPECT_EQ(static_cast<unsigned int>(model.Size()), root->GetTris());
    CountingVisitor visitor;
    root->Visit(&visitor);
    EXPECT_EQ(model.Size(), visitor.numShapes);
    root.reset();
    EXPECT_FALSE(model[0].HasParent());
}

TEST(TqOcStaticHierarchyBuilder, LooksAtTheDepthBeforeTheThreshold)
{
    // The set at depth 1,001 is below the threshold; it is posted all the same.
    Model model;
    AddNestedSlabs(model, 1020);
    int const numLeft = 5 * (1020 - 1001);
    PostedErrors const posts;
    model.BuildTree(numLeft + 1);
    EXPECT_EQ(6, posts.Size());
}

// ---- Static builder: list of leaves -------------------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, AppendsNoLeavesWithoutShapes)
{
    TqOcStaticHierarchyBuilder builder(0);
    TqUPtrVector<TqOcTraversable> leaves;
    builder.End(&leaves);
    EXPECT_TRUE(leaves.Empty());
}

TEST(TqOcStaticHierarchyBuilder, AppendsLeavesBehindWhatTheListHolds)
{
    auto const model = MakePoints({0, 1});
    auto const existing = std::make_unique<TqOcStaticGroup>();
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    TqUPtrVector<TqOcTraversable> leaves;
    leaves.PushBack(existing.get());
    builder.End(&leaves);
    ASSERT_EQ(3, leaves.Size());
    EXPECT_EQ(existing.get(), leaves[0]);
    for (int i = 1; i < 3; ++i) {
        EXPECT_EQ(i == 1 ? "[0]" : "[1]", Describe(leaves[i]));
        EXPECT_EQ(kAll, leaves[i]->GetModified());
        EXPECT_FALSE(leaves[i]->HasParent());
        EXPECT_EQ(leaves[i], (*model)[i - 1].GetSingleParent());
        delete leaves[i];
    }
}

TEST(TqOcStaticHierarchyBuilder, PutsEachNewStoreAtTheEndAndExaminesTheSamePlaceAgain)
{
    // 0-7 is divided at 3.5, and its left half again and again before the right half's turn comes:
    // 0-3 4-7; 0-1 4-7 2-3; 0 4-7 2-3 1; 0 4-5 2-3 1 6-7; 0 4 2-3 1 6-7 5; 0 4 2 1 6-7 5 3; ...
    EXPECT_EQ((Texts{"[0]", "[4]", "[2]", "[1]", "[6]", "[5]", "[3]", "[7]"}),
              MakePoints({0, 1, 2, 3, 4, 5, 6, 7})->BuildLeaves(0));
}

TEST(TqOcStaticHierarchyBuilder, PagesOutBeforeEachDivisionOfAListOfLeaves)
{
    auto const model = MakeScattered(300);
    ReferenceStaticBuild reference = model->MakeReference(7);
    reference.BuildLeaves();
    PageOutCounter const pageOuts;
    model->BuildLeaves(7);
    EXPECT_GT(reference.GetNumLeafSplits(), 40);
    EXPECT_EQ(300 + reference.GetNumLeafSplits(), pageOuts.Get());
}

TEST(TqOcStaticHierarchyBuilder, PostsAMissingListAndKeepsTheShapes)
{
    auto const model = MakePoints({0, 1});
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    PostedErrors const posts;
    builder.End(nullptr);
    EXPECT_EQ((Texts{Post("No list for the leaves")}), posts.AsLines());
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0] [1])", Describe(root.get()));
}

// ---- Static builder: bad input ------------------------------------------------------------------

TEST(TqOcStaticHierarchyBuilder, PostsANullShapeAndIgnoresIt)
{
    auto const model = MakePoints({0, 1});
    TqOcStaticHierarchyBuilder builder(0);
    PostedErrors const posts;
    builder.Append(&(*model)[0]);
    builder.Append(nullptr);
    builder.Append(&(*model)[1]);
    EXPECT_EQ((Texts{Post("Null shape ignored")}), posts.AsLines());
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0] [1])", Describe(root.get()));
}

TEST(TqOcStaticHierarchyBuilder, PutsBoxesThatAreNotFiniteIntoALastLeafAndPostsThemOnce)
{
    Model model;
    model.Add(MakeBox(0, 0, -kInfinity, 1, 1, 1));
    model.Add(MakeCube(0, 0, 0, 0.5));
    model.Add(MakeBox(0, kNan, 0, 1, 1, 1));
    model.Add(MakeCube(9, 0, 0, 0.5));
    model.Add(MakeBox(0, 0, 0, 1, 1, kInfinity));
    std::string const text =
        "3 of 5 shapes have a box that is not finite; they form a leaf of their own";
    PostedErrors posts;
    EXPECT_EQ("(([1] [3]) [0 2 4])", model.BuildTree(0));
    EXPECT_EQ((Texts{Post(text)}), posts.AsLines());
    posts.Clear();
    EXPECT_EQ((Texts{"[1]", "[3]", "[0 2 4]"}), model.BuildLeaves(0));
    EXPECT_EQ((Texts{Post(text)}), posts.AsLines());
    posts.Clear();
    EXPECT_EQ("([1 3] [0 2 4])", model.BuildTree(1000));
    EXPECT_EQ(1, posts.Size());
}

TEST(TqOcStaticHierarchyBuilder, MakesOneLeafWhenNoBoxIsFinite)
{
    Model model;
    model.Add(MakeBox(kNan, kNan, kNan, kNan, kNan, kNan));
    model.Add(MakeBox(-kInfinity, 0, 0, kInfinity, 1, 1));
    PostedErrors const posts;
    EXPECT_EQ("[0 1]", model.BuildTree(0));
    EXPECT_EQ((Texts{"[0 1]"}), model.BuildLeaves(0));
    EXPECT_EQ(2, posts.Size());
}

TEST(TqOcStaticHierarchyBuilder, RecognisesEveryCornerThatIsNotFinite)
{
    for (int corner = 0; corner < 6; ++corner) {
        for (double const value : {kNan, kInfinity, -kInfinity}) {
            double c[6] = {0, 0, 0, 1, 1, 1};
            c[corner] = value;
            Model model;
            model.Add(MakeBox(c[0], c[1], c[2], c[3], c[4], c[5]));
            model.Add(MakeCube(0, 0, 0, 1));
            PostedErrors const posts;
            EXPECT_EQ("([1] [0])", model.BuildTree(0)) << corner << " " << value;
            EXPECT_EQ(1, posts.Size());
        }
    }
}

TEST(TqOcStaticHierarchyBuilder, DividesEmptyBoxesLikeOthers)
{
    // Their upper corner of -DBL_MAX lies left of every plane; their centre is 0.
    Model model;
    model.Add(MakeCube(10, 0, 0, 1));
    model.Add(TqLBox3f());
    model.Add(MakeCube(20, 0, 0, 1));
    model.Add(TqLBox3f());
    PostedErrors const posts;
    EXPECT_EQ("([3 1] [0] [2])", model.BuildTree(0));
    EXPECT_TRUE(posts.Empty());
}

// ---- Static builder: exceptions and refused memory ----------------------------------------------

TEST(TqOcStaticHierarchyBuilder, LosesOnlyTheShapeWhoseBoxThrows)
{
    auto const model = MakeCubes({0, 10, 20});
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    {
        TqOcStaticHierarchyBuilder builder(0);
        (*model)[1].ThrowAfter(0);
        builder.Append(&(*model)[0]);
        EXPECT_THROW(builder.Append(&(*model)[1]), std::runtime_error);
        builder.Append(&(*model)[2]);
        std::unique_ptr<TqOcTraversable> const root(builder.End());
        EXPECT_EQ("([0] [2])", Describe(root.get()));
    }
    EXPECT_EQ(bytesBefore, TqUMemory::GetLiveBytes());
}

TEST(TqOcStaticHierarchyBuilder, StaysUsableWhenPagingOutThrows)
{
    auto const model = MakeScattered(30);
    TqOcStaticHierarchyBuilder builder(0);
    model->AppendTo(builder);
    TqUPtrVector<TqOcTraversable> leaves;
    {
        PageOutCounter pageOuts;
        pageOuts.ThrowAfter(3);
        EXPECT_THROW(builder.End(&leaves), std::runtime_error);
    }
    EXPECT_TRUE(leaves.Empty());
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ(model->BuildTree(0), Describe(root.get()));
}

TEST(TqOcStaticHierarchyBuilder, ThrowsWhenMemoryIsRefusedWhileAppending)
{
    auto const model = MakeScattered(300);
    std::string const expected = model->BuildTree(5);
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    int numThrown = 0;
    for (int refused = 1;; ++refused) {
        TqOcStaticHierarchyBuilder builder(5);
        bool allowed = false;
        {
            RefuseAllocations const refuse(refused);
            for (int i = 0; i < model->Size(); ++i) {
                try {
                    builder.Append(&(*model)[i]);
                } catch (std::bad_alloc const&) {
                    ++numThrown;
                    builder.Append(&(*model)[i]); // as if it had not been tried
                }
            }
            allowed = refuse.GetNumRefused() == 0;
        }
        std::unique_ptr<TqOcTraversable> const root(builder.End());
        ASSERT_EQ(expected, Describe(root.get())) << refused;
        if (allowed) {
            break;
        }
    }
    EXPECT_GT(numThrown, 3);
    EXPECT_EQ(bytesBefore, TqUMemory::GetLiveBytes());
    TqUPage::ClearRefusedAllocation();
}

TEST(TqOcStaticHierarchyBuilder, TakesAllBackWhenMemoryIsRefusedInEnd)
{
    // Shapes with a parent of their own, so that linking them takes memory too.
    auto const model = MakeScattered(60);
    TqOcStaticHierarchyBuilder other(0);
    model->AppendTo(other);
    std::unique_ptr<TqOcTraversable> const otherRoot(other.End());
    std::string const expected = model->BuildTree(5);

    TqOcStaticHierarchyBuilder builder(5);
    model->AppendTo(builder);
    builder.Append(&(*model)[0]);
    builder.Append(&(*model)[0]);
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    int refused = 1;
    for (;; ++refused) {
        RefuseAllocations const refuse(refused);
        try {
            std::unique_ptr<TqOcTraversable> const root(builder.End());
            EXPECT_EQ(0, refuse.GetNumRefused());
            break;
        } catch (std::bad_alloc const&) {}
        ASSERT_EQ(bytes, TqUMemory::GetLiveBytes()) << refused;
        for (int i = 0; i < model->Size(); ++i) {
            ASSERT_FALSE((*model)[i].HasMultipleParents()) << refused;
            ASSERT_TRUE((*model)[i].HasParent()) << refused;
        }
    }
    EXPECT_GT(refused, 60);
    EXPECT_EQ(nullptr, builder.End());
    EXPECT_EQ(expected, model->BuildTree(5));
    TqUPage::ClearRefusedAllocation();
}

TEST(TqOcStaticHierarchyBuilder, TakesAllBackWhenMemoryIsRefusedForAListOfLeaves)
{
    auto const model = MakeScattered(60);
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    {
        TqOcStaticHierarchyBuilder builder(5);
        model->AppendTo(builder);
        std::size_t const bytes = TqUMemory::GetLiveBytes();
        int refused = 1;
        for (;; ++refused) {
            TqUPtrVector<TqOcTraversable> leaves;
            {
                RefuseAllocations const refuse(refused);
                try {
                    builder.End(&leaves);
                } catch (std::bad_alloc const&) {}
            }
            if (!leaves.Empty()) {
                for (int i = 0; i < leaves.Size(); ++i) {
                    delete leaves[i];
                }
                break;
            }
            ASSERT_FALSE((*model)[0].HasParent());
            ASSERT_EQ(0, leaves.Size());
            leaves = TqUPtrVector<TqOcTraversable>();
            ASSERT_EQ(bytes, TqUMemory::GetLiveBytes()) << refused;
        }
        EXPECT_GT(refused, 20);
    }
    EXPECT_EQ(bytesBefore, TqUMemory::GetLiveBytes());
    TqUPage::ClearRefusedAllocation();
}

TEST(TqOcStaticHierarchyBuilder, DeletesNoShapeWhenItTakesAFailedBuildBack)
{
    EventLog log;
    auto* const a = new RecordingShape(&log, "a", MakeCube(0, 0, 0, 1)); // nobody owns it
    auto* const b = new RecordingShape(&log, "b", MakeCube(9, 0, 0, 1));
    TqOcStaticHierarchyBuilder builder(0);
    builder.Append(a);
    builder.Append(b);
    int numThrown = 0;
    TqOcTraversable* root = nullptr;
    for (int refused = 1; root == nullptr; ++refused) {
        RefuseAllocations const refuse(refused);
        try {
            root = builder.End();
        } catch (std::bad_alloc const&) {
            ++numThrown;
        }
    }
    EXPECT_GT(numThrown, 5);
    EXPECT_EQ(Lines{}, log.Take());
    delete root;
    EXPECT_EQ((Lines{"Delete a", "Delete b"}), log.Take());
    TqUPage::ClearRefusedAllocation();
}

// ---- Static builder: against the reference ------------------------------------------------------

namespace
{

/// Ways to make boxes in which ties, degenerate extents and rounding are frequent.
enum class BoxKind
{
    eUNIFORM,
    eGRID,
    ePOINTS,
    eFLAT,
    eLONG,
    eNESTED,
    eUNEVEN,
    eDUPLICATES,
    eEMPTY,
    eINVERTED,
    eHUGE,
    eTINY,
    eNEAR_2_53,
    eNOT_FINITE,
    eEND
};

/// Maker of the boxes of one random set.
class BoxMaker
{
public:
    BoxMaker(BoxKind kind, SceneRandom& random) : m_kind(kind), m_random(random) {}

    TqLBox3f Make()
    {
        switch (m_kind) {
        case BoxKind::eGRID:
            return Spread(8, 3);
        case BoxKind::ePOINTS:
            return Spread(6, 1);
        case BoxKind::eFLAT:
            return Flatten(Spread(20, 6));
        case BoxKind::eLONG:
            return Stretch();
        case BoxKind::eNESTED:
            return MakeCube(0, 0, 0, 1 + m_random.Below(40));
        case BoxKind::eUNEVEN:
            return Uniform(std::ldexp(1.0, static_cast<int>(m_random.Below(30))));
        case BoxKind::eDUPLICATES:
            return Duplicate();
        case BoxKind::eEMPTY:
            return m_random.Chance(0.3) ? TqLBox3f() : Spread(8, 3);
        case BoxKind::eINVERTED:
            return Invert(Spread(10, 4));
        case BoxKind::eHUGE:
            return Uniform(1e308);
        case BoxKind::eTINY:
            return Uniform(20 * 4.9406564584124654e-324);
        case BoxKind::eNEAR_2_53:
            return Near253();
        case BoxKind::eNOT_FINITE:
            return BreakSome(Uniform(10));
        default:
            return Uniform(1.0);
        }
    }

private:
    TqLBox3f Uniform(double size)
    {
        TqLPos3f low;
        TqLPos3f high;
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = m_random.Range(-1, 1) * size;
            high[axis] = low[axis] + m_random.Skewed() * size * 0.3;
        }
        return {low, high};
    }

    /// Whole numbers from 0 to `places` - 1, with sizes from 0 to `sizes` - 1.
    TqLBox3f Spread(unsigned int places, unsigned int sizes)
    {
        TqLPos3f low;
        TqLPos3f high;
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = m_random.Below(places);
            high[axis] = low[axis] + m_random.Below(sizes);
        }
        return {low, high};
    }

    static TqLBox3f Flatten(TqLBox3f const& box)
    {
        TqLPos3f high = box.GetMax();
        high[2] = 0;
        TqLPos3f low = box.GetMin();
        low[2] = 0;
        return {low, high};
    }

    TqLBox3f Stretch()
    {
        TqLBox3f const box = Spread(30, 3);
        TqLPos3f high = box.GetMax();
        if (m_random.Chance(0.2)) {
            high[static_cast<int>(m_random.Below(3))] += 1 + m_random.Below(30);
        }
        return {box.GetMin(), high};
    }

    TqLBox3f Duplicate()
    {
        if (m_random.Chance(0.2)) {
            m_last = Spread(100, 20);
        }
        return m_last;
    }

    TqLBox3f Invert(TqLBox3f const& box)
    {
        return m_random.Chance(0.4) ? TqLBox3f(box.GetMax(), box.GetMin()) : box;
    }

    TqLBox3f Near253()
    {
        double const origin = 9007199254740992.0;
        TqLBox3f const box = m_random.Chance(0.3) ? Spread(1, 1) : Spread(25, 9);
        TqLPos3f low = box.GetMin();
        TqLPos3f high = box.GetMax();
        low[0] = origin - 12 + low[0];
        high[0] = origin - 12 + high[0];
        if (m_random.Chance(0.3)) { // in balance around the origin
            double const reach = m_random.Below(8);
            low[0] = origin - reach;
            high[0] = origin + reach;
        }
        return {low, high};
    }

    TqLBox3f BreakSome(TqLBox3f const& box)
    {
        if (!m_random.Chance(0.2)) {
            return box;
        }
        double const broken[3] = {kNan, kInfinity, -kInfinity};
        TqLPos3f low = box.GetMin();
        low[static_cast<int>(m_random.Below(3))] = broken[m_random.Below(3)];
        return {low, box.GetMax()};
    }

    BoxKind m_kind;
    SceneRandom& m_random;
    TqLBox3f m_last;
};

unsigned int MakeTris(SceneRandom& random)
{
    switch (random.Below(10)) {
    case 0:
        return 0;
    case 1:
        return static_cast<unsigned int>(random.Next());
    default:
        return 1 + random.Below(20);
    }
}

int MakeThreshold(SceneRandom& random)
{
    int const thresholds[] = {0, -3, 1, 10, 40, 100, 1000, INT_MAX};
    return thresholds[random.Below(8)];
}

/// Posts of a build without the one on boxes that are not finite.
Texts DivisionPosts(PostedErrors const& posts)
{
    Texts lines;
    for (std::string const& line : posts.AsLines()) {
        if (line.find("not finite") == std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace

TEST(TqOcStaticHierarchyBuilder, BuildsWhatTheReferenceBuildsFromRandomAndDegenerateSets)
{
    ReferenceStaticBuild::Coverage sum;
    std::size_t numPosts = 0;
    for (int kind = 0; kind < static_cast<int>(BoxKind::eEND); ++kind) {
        for (std::uint64_t seed = 0; seed < 300; ++seed) {
            SCOPED_TRACE("kind " + std::to_string(kind) + " seed " + std::to_string(seed));
            SceneRandom random(SceneRandom::SeedFor(seed, static_cast<std::uint64_t>(kind)));
            BoxMaker maker(static_cast<BoxKind>(kind), random);
            int const count = static_cast<int>(random.Below(random.Chance(0.2) ? 250 : 40));
            int const threshold = MakeThreshold(random);
            Model model;
            for (int i = 0; i < count; ++i) {
                model.Add(maker.Make(), MakeTris(random));
            }

            PostedErrors posts;
            ReferenceStaticBuild tree = model.MakeReference(threshold);
            ASSERT_EQ(tree.BuildTree(), model.BuildTree(threshold));
            ASSERT_EQ(tree.GetPosts(), DivisionPosts(posts));
            posts.Clear();
            ReferenceStaticBuild leaves = model.MakeReference(threshold);
            ASSERT_EQ(leaves.BuildLeaves(), model.BuildLeaves(threshold));
            ASSERT_EQ(leaves.GetPosts(), DivisionPosts(posts));

            numPosts += tree.GetPosts().size();
            sum.leftRight += tree.GetCoverage().leftRight;
            sum.overflow += tree.GetCoverage().overflow;
            sum.overflowNotSpanning += tree.GetCoverage().overflowNotSpanning;
            sum.refusedAxes += tree.GetCoverage().refusedAxes;
            sum.ties += tree.GetCoverage().ties;
            sum.failed += tree.GetCoverage().failed;
        }
    }
    // Every way through the rules was taken.
    EXPECT_GT(sum.leftRight, 10000);
    EXPECT_GT(sum.overflow, 1000);
    EXPECT_GT(sum.overflowNotSpanning, 2);
    EXPECT_GT(sum.refusedAxes, 1000);
    EXPECT_GT(sum.ties, 1000);
    EXPECT_GT(sum.failed, 1000);
    EXPECT_GT(numPosts, 10U);
}

TEST(TqOcStaticHierarchyBuilder, BuildsWhatTheReferenceBuildsFromGeneratedScenes)
{
    std::vector<SceneBox> const scenes[] = {MakePlant(6000, 1), MakeBuilding(6000, 1),
                                            MakeUniform(6000, 1)};
    for (std::vector<SceneBox> const& scene : scenes) {
        Model model;
        for (SceneBox const& item : scene) {
            model.Add(item.box, item.tris);
        }
        for (int const threshold : {0, 1000, 20000}) {
            ASSERT_EQ(model.MakeReference(threshold).BuildTree(), model.BuildTree(threshold));
            ASSERT_EQ(model.MakeReference(threshold).BuildLeaves(), model.BuildLeaves(threshold));
        }
    }
}

// ---- Flat builder -------------------------------------------------------------------------------

TEST(TqOcFlatHierarchyBuilder, ReturnsAnUpdatedEmptyGroupWithoutShapes)
{
    TqOcFlatHierarchyBuilder builder;
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    ASSERT_NE(nullptr, root);
    EXPECT_EQ("()", Describe(root.get()));
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ(0U, root->GetTris());
    EXPECT_EQ(DBL_MAX, root->GetScale());
    EXPECT_TRUE(root->IsHideRender());
    EXPECT_TRUE(root->IsIgnorePick());
}

TEST(TqOcFlatHierarchyBuilder, MakesASingleLeafOfEachShapeInOrder)
{
    auto const model = MakeCubes({10, 0, 5});
    TqOcFlatHierarchyBuilder builder;
    for (int i = 0; i < 3; ++i) {
        builder.Append(&(*model)[i]);
        EXPECT_EQ(0, (*model)[i].GetNumBoxCalls());
    }
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0] [1] [2])", Describe(root.get()));
    auto* const group = dynamic_cast<TqOcStaticGroup*>(root.get());
    ASSERT_NE(nullptr, group);
    for (int i = 0; i < 3; ++i) {
        auto* const leaf = dynamic_cast<TqOcSingleLeaf*>(group->GetChild(i));
        ASSERT_NE(nullptr, leaf);
        EXPECT_EQ(root.get(), leaf->GetSingleParent());
        EXPECT_EQ(leaf, (*model)[i].GetSingleParent());
    }
}

TEST(TqOcFlatHierarchyBuilder, ReturnsAnUpdatedGroup)
{
    Model model;
    model.Add(MakeBox(0, 0, 0, 1, 1, 1), 10);
    model.Add(MakeBox(8, 0, 0, 9, 2, 3), 20);
    TqOcFlatHierarchyBuilder builder;
    builder.Append(&model[0]);
    builder.Append(&model[1]);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ(0U, root->GetModified());
    EXPECT_EQ(30U, root->GetTris());
    EXPECT_EQ(MakeBox(0, 0, 0, 9, 2, 3), root->GetBoundingBox());
    auto* const leaf = static_cast<TqOcStaticGroup*>(root.get())->GetChild(1);
    EXPECT_EQ(0U, leaf->GetModified());
    EXPECT_EQ(MakeBox(8, 0, 0, 9, 2, 3), leaf->GetBoundingBox());
}

TEST(TqOcFlatHierarchyBuilder, BuildsASecondGroupOverTheSameShapesWithoutBegin)
{
    auto const model = MakeCubes({0, 1});
    TqOcFlatHierarchyBuilder builder;
    builder.Append(&(*model)[0]);
    builder.Append(&(*model)[1]);
    std::unique_ptr<TqOcTraversable> const first(builder.End());
    std::unique_ptr<TqOcTraversable> const second(builder.End());
    EXPECT_EQ("([0] [1])", Describe(second.get()));
    std::vector<TqOcTraversable*> const parents = (*model)[0].GetParents();
    ASSERT_EQ(2U, parents.size());
    EXPECT_EQ(first.get(), parents[0]->GetSingleParent());
    EXPECT_EQ(second.get(), parents[1]->GetSingleParent());
}

TEST(TqOcFlatHierarchyBuilder, ForgetsInBeginWhatWasAppended)
{
    auto const model = MakeCubes({0, 1});
    TqOcFlatHierarchyBuilder builder;
    builder.Append(&(*model)[0]);
    builder.Begin();
    builder.Append(&(*model)[1]);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([1])", Describe(root.get()));
}

TEST(TqOcFlatHierarchyBuilder, TakesAShapeTwice)
{
    auto const model = MakeCubes({0});
    TqOcFlatHierarchyBuilder builder;
    builder.Append(&(*model)[0]);
    builder.Append(&(*model)[0]);
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0] [0])", Describe(root.get()));
    EXPECT_EQ(2U, (*model)[0].GetParents().size());
}

TEST(TqOcFlatHierarchyBuilder, CopiesItsListAndSharesTheShapes)
{
    auto const model = MakeCubes({0, 1});
    TqOcFlatHierarchyBuilder builder;
    builder.Append(&(*model)[0]);
    TqOcFlatHierarchyBuilder copy(builder);
    copy.Append(&(*model)[1]);
    std::unique_ptr<TqOcTraversable> const original(builder.End());
    std::unique_ptr<TqOcTraversable> const copied(copy.End());
    EXPECT_EQ("([0])", Describe(original.get()));
    EXPECT_EQ("([0] [1])", Describe(copied.get()));
    builder = copy;
    std::unique_ptr<TqOcTraversable> const assigned(builder.End());
    EXPECT_EQ("([0] [1])", Describe(assigned.get()));
    EXPECT_EQ(3U, (*model)[0].GetParents().size());
}

TEST(TqOcFlatHierarchyBuilder, PostsANullShapeAndIgnoresIt)
{
    auto const model = MakeCubes({0});
    TqOcFlatHierarchyBuilder builder;
    PostedErrors const posts;
    builder.Append(nullptr);
    builder.Append(&(*model)[0]);
    EXPECT_EQ((Texts{Post("Null shape ignored")}), posts.AsLines());
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    EXPECT_EQ("([0])", Describe(root.get()));
}

TEST(TqOcFlatHierarchyBuilder, TakesAllBackWhenABoxThrows)
{
    EventLog log;
    auto const model = MakeCubes({0, 1, 2});
    auto* const unowned = new RecordingShape(&log, "unowned", MakeCube(0, 0, 0, 1));
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    {
        TqOcFlatHierarchyBuilder builder;
        builder.Append(&(*model)[0]);
        builder.Append(unowned);
        builder.Append(&(*model)[1]);
        builder.Append(&(*model)[0]);
        (*model)[1].ThrowAfter(0);
        EXPECT_THROW(builder.End(), std::runtime_error);
        EXPECT_FALSE((*model)[0].HasParent());
        EXPECT_FALSE((*model)[1].HasParent());
        EXPECT_FALSE(unowned->HasParent());
        EXPECT_EQ(Lines{}, log.Take());
        TqOcTraversable* const root = builder.End(); // the box does not throw again
        EXPECT_EQ(4, static_cast<TqOcStaticGroup*>(root)->GetNumChildren());
        delete root;
        EXPECT_EQ((Lines{"Delete unowned"}), log.Take());
    }
    EXPECT_EQ(bytesBefore, TqUMemory::GetLiveBytes() + sizeof(RecordingShape));
}

TEST(TqOcFlatHierarchyBuilder, TakesAllBackWhenMemoryIsRefused)
{
    auto const model = MakeCubes({0, 1, 2});
    TqOcFlatHierarchyBuilder builder;
    for (int i = 0; i < 3; ++i) {
        builder.Append(&(*model)[i]);
    }
    builder.Append(&(*model)[0]);
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    int refused = 1;
    for (;; ++refused) {
        RefuseAllocations const refuse(refused);
        try {
            std::unique_ptr<TqOcTraversable> const root(builder.End());
            EXPECT_EQ("([0] [1] [2] [0])", Describe(root.get()));
            break;
        } catch (std::bad_alloc const&) {}
        ASSERT_EQ(bytes, TqUMemory::GetLiveBytes()) << refused;
        for (int i = 0; i < 3; ++i) {
            ASSERT_FALSE((*model)[i].HasParent());
        }
    }
    EXPECT_GT(refused, 5);
    TqUPage::ClearRefusedAllocation();
}
