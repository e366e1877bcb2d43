// Static trees over the generated plant: making one, its memory, and updating it after changes.

#include "BenchModel.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcTraversable.h"

#include "util/TqUMemory.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

/// Builder and update together: a tree is of use when its boxes are known.
void BuildStatic(benchmark::State& state)
{
    BenchModel& model =
        BenchModel::Get(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
    auto const boxes = BenchModel::GetBoxes(model.GetShapes().size());
    std::vector<BenchShape> shapes = MakeBenchShapes(*boxes);
    for (auto _ : state) {
        TqOcTraversable* root = BenchModel::Build(shapes, static_cast<int>(state.range(1)));
        benchmark::DoNotOptimize(root);
        state.PauseTiming();
        delete root;
        state.ResumeTiming();
    }
    auto const count = static_cast<double>(shapes.size());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(shapes.size()));
    state.counters["shapes_per_leaf"] = count / static_cast<double>(model.GetNumLeaves());
    state.counters["tree_bytes_per_shape"] = static_cast<double>(model.GetTreeBytes()) / count;
    state.counters["base_shape_bytes"] = static_cast<double>(sizeof(TqOcShape));
}

/// Changes 1 % of the shapes, chosen evenly, and brings the tree up to date.
void UpdateStatic(benchmark::State& state, unsigned mask)
{
    BenchModel& model =
        BenchModel::Get(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
    std::vector<BenchShape*> changed;
    SceneRandom random(eBENCH_SEED);
    for (BenchShape& shape : model.GetShapes()) {
        if (random.Chance(0.01)) {
            changed.push_back(&shape);
        }
    }
    for (auto _ : state) {
        for (BenchShape* shape : changed) {
            shape->Notify(mask);
        }
        model.GetRoot()->Update();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(changed.size()));
    state.counters["changed"] = static_cast<double>(changed.size());
}

void PlantSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"shapes", "leaf"})->Unit(benchmark::kMillisecond);
    for (int const shapes : {10000, 100000, 1000000}) {
        for (int const leaf : {8, 32, 100}) {
            bench->Args({shapes, leaf});
        }
    }
}

BENCHMARK(BuildStatic)->Name("BuildStatic_Plant")->Apply(PlantSizes);
BENCHMARK_CAPTURE(UpdateStatic, Plant1PercentBoxes, TqOcBaseTraversable::eMODIFIED_BOX)
    ->Apply(PlantSizes);
BENCHMARK_CAPTURE(UpdateStatic, Plant1PercentTris, TqOcBaseTraversable::eMODIFIED_TRIS)
    ->Apply(PlantSizes);

} // namespace
