// Whole frames over the generated plant: no time limit, every frame complete.

#include "BenchModel.h"
#include "TreeWalk.h"

#include <benchmark/benchmark.h>

#include <cstddef>

namespace
{

void Walk(benchmark::State& state, WalkPath path)
{
    BenchModel& model =
        BenchModel::Get(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
    RunTreeWalk(state, *model.GetRoot(), model.GetBounds(), path);
}

void PlantSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"shapes", "leaf"})->Unit(benchmark::kMicrosecond);
    for (int const shapes : {10000, 100000, 1000000}) {
        for (int const leaf : {8, 32, 100}) {
            bench->Args({shapes, leaf});
        }
    }
}

BENCHMARK_CAPTURE(Walk, PlantInside, WalkPath::eINSIDE)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, PlantOutside, WalkPath::eOUTSIDE)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, PlantView, WalkPath::eVIEW)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, Plant40m, WalkPath::e40M)->Apply(PlantSizes);

} // namespace
