// The dynamic builder: leaves in, tree out.
//
// Every leaf is there and up to date before, as it is where an application changes from one kind of
// tree to another; MakeLeavesAndBuild times the making of the leaves and their update as well.
// Beside ours stand the same rules in plain form and, where Boost is found (SCENECULL_BENCH_BOOST),
// the bulk load of its R-tree with 7 entries a node, in alternating rounds: what counts is the
// ratio within a round. Times are of the processor, not of the wall, because builds are long and
// machines shared. Deleting the trees is left out.

#include "BenchModel.h"
#include "DynamicScene.h"
#include "tests/support/ReferenceDynamicBuild.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "util/TqUMemory.h"
#include "util/TqUPtrVector.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#if defined(SCENECULL_BENCH_BOOST)
#define BOOST_ALLOW_DEPRECATED_HEADERS
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#endif

namespace
{

constexpr int eCHILDREN = 7;

using Boxes = std::vector<TqLBox3f>;
using Root = std::unique_ptr<TqOcDynamicGroup>;

/// Seconds of processor time.
double GetSeconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

double GetMedian(std::vector<double> values)
{
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Shapes over boxes, and a leaf for each that no tree deletes.
class Leaves
{
public:
    explicit Leaves(Boxes const& boxes) : m_shapes(MakeBenchShapes(boxes)) { Make(); }

    Leaves(Leaves const&) = delete;
    Leaves& operator=(Leaves const&) = delete;

    ~Leaves() { Delete(); }

    void Make()
    {
        for (BenchShape& shape : m_shapes) {
            auto leaf = std::make_unique<TqOcSingleLeaf>(&shape);
            leaf->SetUserOwned(1);
            leaf->Update();
            m_leaves.PushBack(leaf.release());
        }
    }

    void Delete()
    {
        for (int i = 0; i < m_leaves.Size(); ++i) {
            delete m_leaves[i];
        }
        m_leaves.Clear();
    }

    /// In the order of the boxes.
    TqUPtrVector<TqOcTraversable> const& GetList() const { return m_leaves; }

private:
    std::vector<BenchShape> m_shapes;
    TqUPtrVector<TqOcTraversable> m_leaves;
};

/// Builds and returns the seconds that it took.
double BuildTree(Leaves const& leaves, Root& root)
{
    TqUPtrVector<TqOcTraversable> nodes(leaves.GetList()); // the builder changes the order
    double const start = GetSeconds();
    root.reset(TqOcDynamicHierarchyBuilder().Build(&nodes, eCHILDREN));
    return GetSeconds() - start;
}

int CountGroups(TqOcDynamicGroup& group)
{
    int numGroups = 1;
    for (int i = 0; i < group.GetNumChildren() && group.GetChild(i)->IsLeaf() == 0; ++i) {
        numGroups += CountGroups(static_cast<TqOcDynamicGroup&>(*group.GetChild(i)));
    }
    return numGroups;
}

/// What the tree is like; leaves and shapes do not count as its memory.
void ReportTree(benchmark::State& state, Leaves const& leaves)
{
    constexpr double headerBytes = 16; // of a block of TqUMemory
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    std::size_t const blocksBefore = TqUMemory::GetLiveBlocks();
    TqUPtrVector<TqOcTraversable> nodes(leaves.GetList());
    auto const listBytes = static_cast<double>(TqUMemory::GetLiveBytes() - bytesBefore);
    Root const root(TqOcDynamicHierarchyBuilder().Build(&nodes, eCHILDREN));
    double const count = nodes.Size();
    auto const bytes = static_cast<double>(TqUMemory::GetLiveBytes() - bytesBefore) - listBytes;
    auto const blocks = static_cast<double>(TqUMemory::GetLiveBlocks() - blocksBefore);
    state.counters["leaves_per_group"] = count / CountGroups(*root);
    state.counters["tree_bytes_per_leaf"] = (bytes + blocks * headerBytes) / count;
    state.SetItemsProcessed(state.iterations() * nodes.Size());
}

Boxes GetBoxes(benchmark::State const& state, DynamicSceneKind kind)
{
    return DynamicScene(kind, static_cast<std::size_t>(state.range(0))).GetBoxes();
}

void BuildDynamicTree(benchmark::State& state, DynamicSceneKind kind)
{
    Boxes const boxes = GetBoxes(state, kind);
    Leaves const leaves(boxes);
    for (auto _ : state) {
        Root root;
        state.SetIterationTime(BuildTree(leaves, root));
    }
    ReportTree(state, leaves);
}

void MakeLeavesAndBuild(benchmark::State& state, DynamicSceneKind kind)
{
    Boxes const boxes = GetBoxes(state, kind);
    Leaves leaves(boxes);
    for (auto _ : state) {
        leaves.Delete();
        double const start = GetSeconds();
        leaves.Make();
        double const made = GetSeconds() - start;
        Root root;
        state.SetIterationTime(made + BuildTree(leaves, root));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The rules in plain form: indices, boxes looked up one by one, a text for a tree.
void BuildPlainRules(benchmark::State& state, DynamicSceneKind kind)
{
    Boxes const boxes = GetBoxes(state, kind);
    for (auto _ : state) {
        double const start = GetSeconds();
        ReferenceDynamicBuild build(boxes, eCHILDREN);
        benchmark::DoNotOptimize(build.Build());
        state.SetIterationTime(GetSeconds() - start);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// ---- Sets on which the rules are at their worst -------------------------------------------------

enum class Worst
{
    eEQUAL,
    eEQUAL_FLAT,
    eNESTED,
    eNESTED_FLAT
};

void BuildWorst(benchmark::State& state, Worst worst)
{
    Boxes boxes;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        bool const isNested = worst == Worst::eNESTED || worst == Worst::eNESTED_FLAT;
        bool const isFlat = worst == Worst::eEQUAL_FLAT || worst == Worst::eNESTED_FLAT;
        double const reach = isNested ? static_cast<double>(i + 1) : 1.0;
        double const height = isFlat ? 0.0 : reach;
        boxes.emplace_back(TqLPos3f(-reach, -reach, -height), TqLPos3f(reach, reach, height));
    }
    Leaves const leaves(boxes);
    for (auto _ : state) {
        Root root;
        state.SetIterationTime(BuildTree(leaves, root));
    }
    ReportTree(state, leaves);
}

// ---- Boost --------------------------------------------------------------------------------------

#if defined(SCENECULL_BENCH_BOOST)

/// Bulk loads Boost's R-tree and returns the seconds that it took.
class BoostPack7
{
public:
    explicit BoostPack7(Boxes const& boxes)
    {
        for (TqLBox3f const& box : boxes) {
            m_values.emplace_back(Box(MakePoint(box.GetMin()), MakePoint(box.GetMax())), &box);
        }
    }

    double Build() const
    {
        double const start = GetSeconds();
        Tree const tree(m_values.begin(), m_values.end());
        return GetSeconds() - start;
    }

private:
    using Point = boost::geometry::model::point<double, 3, boost::geometry::cs::cartesian>;
    using Box = boost::geometry::model::box<Point>;
    using Value = std::pair<Box, TqLBox3f const*>;
    using Tree = boost::geometry::index::rtree<Value, boost::geometry::index::quadratic<eCHILDREN>>;

    static Point MakePoint(TqLPos3f const& p) { return {p[0], p[1], p[2]}; }

    std::vector<Value> m_values;
};

void BuildBesideBoost(benchmark::State& state, DynamicSceneKind kind)
{
    Boxes const boxes = GetBoxes(state, kind);
    Leaves const leaves(boxes);
    BoostPack7 const boost(boxes);
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (auto _ : state) {
        Root root;
        double const time = BuildTree(leaves, root);
        root.reset();
        double const boostTime = boost.Build();
        ours.push_back(1e3 * time);
        theirs.push_back(1e3 * boostTime);
        ratios.push_back(time / boostTime);
        state.SetIterationTime(time);
    }
    state.counters["ours_ms"] = GetMedian(ours);
    state.counters["pack7_ms"] = GetMedian(theirs);
    state.counters["ratio"] = GetMedian(ratios);
    ReportTree(state, leaves);
}

#endif

void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("leaves")->Unit(benchmark::kMillisecond)->UseManualTime();
    bench->Arg(10000)->Arg(100000)->Arg(1000000);
}

void PlainSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("leaves")->Unit(benchmark::kMillisecond)->UseManualTime();
    bench->Arg(10000)->Arg(100000);
}

#if defined(SCENECULL_BENCH_BOOST)
BENCHMARK_CAPTURE(BuildBesideBoost, Plant, DynamicSceneKind::ePLANT)
    ->Name("BuildDynamicBesideBoost/Plant")
    ->Apply(Sizes);
BENCHMARK_CAPTURE(BuildBesideBoost, Uniform, DynamicSceneKind::eUNIFORM)
    ->Name("BuildDynamicBesideBoost/Uniform")
    ->Apply(Sizes);
#endif
BENCHMARK_CAPTURE(BuildDynamicTree, Plant, DynamicSceneKind::ePLANT)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildDynamicTree, Uniform, DynamicSceneKind::eUNIFORM)->Apply(Sizes);
BENCHMARK_CAPTURE(MakeLeavesAndBuild, Plant, DynamicSceneKind::ePLANT)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildPlainRules, Plant, DynamicSceneKind::ePLANT)
    ->Name("BuildDynamicPlainRules/Plant")
    ->Apply(PlainSizes);
BENCHMARK_CAPTURE(BuildPlainRules, Uniform, DynamicSceneKind::eUNIFORM)
    ->Name("BuildDynamicPlainRules/Uniform")
    ->Apply(PlainSizes);
BENCHMARK_CAPTURE(BuildWorst, Equal, Worst::eEQUAL)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildWorst, EqualFlat, Worst::eEQUAL_FLAT)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildWorst, Nested, Worst::eNESTED)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildWorst, NestedFlat, Worst::eNESTED_FLAT)->Apply(Sizes);

} // namespace
