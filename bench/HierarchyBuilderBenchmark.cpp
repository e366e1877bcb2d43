// The builders: boxes in, hierarchy out.
//
// Times are Append and End together; the first Update, which computes the nodes' boxes, and the
// deletion of the tree are left out (StaticTraversableBenchmark times building with the update).
// Every shape counts as one triangle, so the threshold is a number of shapes: sets of fewer are not
// divided. Beside ours stand the same rules in plain form and, where Boost is found
// (SCENECULL_BENCH_BOOST), the bulk load of its R-tree with 16 entries a node, in alternating
// rounds: what counts is the ratio within a round.

#include "BenchModel.h"
#include "tests/support/ReferenceStaticBuild.h"

#include "scenes/SceneBoxes.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcTraversable.h"

#include "util/TqUMemory.h"
#include "util/TqUPtrVector.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#if defined(SCENECULL_BENCH_BOOST)
#define BOOST_ALLOW_DEPRECATED_HEADERS
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#endif

namespace
{

enum class Scene
{
    ePLANT,
    eUNIFORM
};

/// Boxes and shapes of one scene.
struct Input
{
    Input(Scene scene, std::int64_t count)
        : boxes(MakeBoxes(scene, static_cast<std::size_t>(count)))
        , shapes(MakeBenchShapes(boxes))
    {}

    Input(Input const&) = delete;
    Input& operator=(Input const&) = delete;

    static std::vector<TqLBox3f> MakeBoxes(Scene scene, std::size_t count)
    {
        std::vector<SceneBox> const items = scene == Scene::ePLANT
                                                ? MakePlant(count, eBENCH_SEED)
                                                : MakeUniform(count, eBENCH_SEED);
        std::vector<TqLBox3f> boxes;
        boxes.reserve(items.size());
        for (SceneBox const& item : items) {
            boxes.push_back(item.box);
        }
        return boxes;
    }

    std::vector<TqLBox3f> boxes;
    std::vector<BenchShape> shapes;
};

double GetSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double GetMedian(std::vector<double> values)
{
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

int CountLeaves(TqOcTraversable* node)
{
    if (node->IsLeaf()) {
        return 1;
    }
    TqOcBaseTraversable* const* children = nullptr;
    int const count = node->GetChildren(&children);
    int numLeaves = 0;
    for (int i = 0; i < count; ++i) {
        numLeaves += CountLeaves(static_cast<TqOcTraversable*>(children[i]));
    }
    return numLeaves;
}

/// Seconds of one build, by phase.
struct BuildTime
{
    double append;
    double end;
};

BuildTime BuildTree(std::vector<BenchShape>& shapes, int threshold,
                    std::unique_ptr<TqOcTraversable>& root)
{
    TqOcStaticHierarchyBuilder builder(threshold);
    double const start = GetSeconds();
    builder.Begin();
    for (BenchShape& shape : shapes) {
        builder.Append(&shape);
    }
    double const appended = GetSeconds();
    root.reset(builder.End());
    return {appended - start, GetSeconds() - appended};
}

void ReportTree(benchmark::State& state, Input& input, int threshold)
{
    auto const count = static_cast<double>(input.shapes.size());
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    std::size_t const blocksBefore = TqUMemory::GetLiveBlocks();
    std::unique_ptr<TqOcTraversable> root;
    BuildTree(input.shapes, threshold, root);
    constexpr double headerBytes = 16; // of a block of TqUMemory
    auto const bytes = static_cast<double>(TqUMemory::GetLiveBytes() - bytesBefore);
    auto const blocks = static_cast<double>(TqUMemory::GetLiveBlocks() - blocksBefore);
    state.counters["shapes_per_leaf"] = count / CountLeaves(root.get());
    state.counters["tree_bytes_per_shape"] = (bytes + blocks * headerBytes) / count;
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(input.shapes.size()));
}

void BuildStaticTree(benchmark::State& state, Scene scene)
{
    Input input(scene, state.range(0));
    auto const threshold = static_cast<int>(state.range(1));
    std::vector<double> append;
    std::vector<double> end;
    for (auto _ : state) {
        std::unique_ptr<TqOcTraversable> root;
        BuildTime const time = BuildTree(input.shapes, threshold, root);
        append.push_back(1e3 * time.append);
        end.push_back(1e3 * time.end);
        state.SetIterationTime(time.append + time.end);
    }
    state.counters["append_ms"] = GetMedian(append);
    state.counters["end_ms"] = GetMedian(end);
    ReportTree(state, input, threshold);
}

void BuildStaticLeaves(benchmark::State& state, Scene scene)
{
    Input input(scene, state.range(0));
    TqUPtrVector<TqOcTraversable> leaves;
    for (auto _ : state) {
        double const start = GetSeconds();
        TqOcStaticHierarchyBuilder builder(static_cast<int>(state.range(1)));
        for (BenchShape& shape : input.shapes) {
            builder.Append(&shape);
        }
        builder.End(&leaves);
        state.SetIterationTime(GetSeconds() - start);
        state.counters["shapes_per_leaf"] =
            static_cast<double>(input.shapes.size()) / leaves.Size();
        for (int i = 0; i < leaves.Size(); ++i) {
            delete leaves[i];
        }
        leaves.Clear();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The flat builder's time includes the update, which it does itself.
void BuildFlatGroup(benchmark::State& state)
{
    Input input(Scene::ePLANT, state.range(0));
    for (auto _ : state) {
        double const start = GetSeconds();
        TqOcFlatHierarchyBuilder builder;
        for (BenchShape& shape : input.shapes) {
            builder.Append(&shape);
        }
        std::unique_ptr<TqOcTraversable> const root(builder.End());
        state.SetIterationTime(GetSeconds() - start);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The rules in plain form: indices, boxes looked up one by one, a text for a tree.
void BuildPlainRules(benchmark::State& state)
{
    Input const input(Scene::ePLANT, state.range(0));
    std::vector<ReferenceShape> shapes;
    for (TqLBox3f const& box : input.boxes) {
        shapes.push_back({box, 1});
    }
    for (auto _ : state) {
        double const start = GetSeconds();
        ReferenceStaticBuild build(shapes, static_cast<int>(state.range(1)));
        benchmark::DoNotOptimize(build.BuildTree());
        state.SetIterationTime(GetSeconds() - start);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

#if defined(SCENECULL_BENCH_BOOST)

/// Bulk loads Boost's R-tree and returns the seconds that it took.
class BoostPack16
{
public:
    explicit BoostPack16(std::vector<BenchShape>& shapes)
    {
        for (BenchShape& shape : shapes) {
            TqLBox3f box;
            shape.GetShapeBox(box);
            m_values.emplace_back(Box(MakePoint(box.GetMin()), MakePoint(box.GetMax())), &shape);
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
    using Value = std::pair<Box, BenchShape*>;
    using Tree = boost::geometry::index::rtree<Value, boost::geometry::index::quadratic<16>>;

    static Point MakePoint(TqLPos3f const& p) { return {p[0], p[1], p[2]}; }

    std::vector<Value> m_values;
};

void BuildBesideBoost(benchmark::State& state, Scene scene)
{
    Input input(scene, state.range(0));
    auto const threshold = static_cast<int>(state.range(1));
    BoostPack16 const boost(input.shapes);
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (auto _ : state) {
        std::unique_ptr<TqOcTraversable> root;
        BuildTime const time = BuildTree(input.shapes, threshold, root);
        root.reset();
        double const boostTime = boost.Build();
        ours.push_back(1e3 * (time.append + time.end));
        theirs.push_back(1e3 * boostTime);
        ratios.push_back((time.append + time.end) / boostTime);
        state.SetIterationTime(time.append + time.end);
    }
    state.counters["ours_ms"] = GetMedian(ours);
    state.counters["pack16_ms"] = GetMedian(theirs);
    state.counters["ratio"] = GetMedian(ratios);
    ReportTree(state, input, threshold);
}

#endif

// The thresholds leave about 8 and about 25 shapes in a leaf of the plant.
void Sizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"shapes", "threshold"})->Unit(benchmark::kMillisecond)->UseManualTime();
    for (int const shapes : {10000, 100000, 1000000}) {
        for (int const threshold : {32, 100}) {
            bench->Args({shapes, threshold});
        }
    }
}

#if defined(SCENECULL_BENCH_BOOST)
BENCHMARK_CAPTURE(BuildBesideBoost, Plant, Scene::ePLANT)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildBesideBoost, Uniform, Scene::eUNIFORM)->Apply(Sizes);
#endif
BENCHMARK_CAPTURE(BuildStaticTree, Plant, Scene::ePLANT)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildStaticTree, Uniform, Scene::eUNIFORM)->Apply(Sizes);
BENCHMARK_CAPTURE(BuildStaticLeaves, Plant, Scene::ePLANT)->Apply(Sizes);
BENCHMARK(BuildFlatGroup)
    ->Name("BuildFlatGroup/Plant")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK(BuildPlainRules)
    ->Name("BuildPlainRules/Plant")
    ->ArgNames({"shapes", "threshold"})
    ->Args({10000, 100})
    ->Args({100000, 100})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

} // namespace
