// Whole frames over the generated plant: no time limit, every frame complete.

#include "BenchModel.h"
#include "FrameTimes.h"

#include "scenes/SceneViews.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <benchmark/benchmark.h>

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

enum Path
{
    eINSIDE,  ///< The walk-through, with the default limit of one pixel.
    eOUTSIDE, ///< Around the plant, with the default limit of one pixel.
    eVIEW,    ///< The walk-through, nothing too small.
    e40M      ///< The walk-through with a far plane at 40 m, nothing too small.
};

std::vector<SceneView> MakeViews(Path path, TqLBox3f const& bounds)
{
    switch (path) {
    case eOUTSIDE:
        return MakeOutsideViews(bounds);
    case e40M:
        return MakeNearWalkViews(bounds);
    default:
        return MakeWalkViews(bounds);
    }
}

/// Sums over the frames of one pass along the path.
struct PathSums
{
    std::uint64_t tested = 0;
    std::uint64_t drawn = 0;
};

void Walk(benchmark::State& state, Path path)
{
    BenchModel& model =
        BenchModel::Get(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
    std::vector<SceneView> const views = MakeViews(path, model.GetBounds());
    TqOcContext context;
    TqOcPrioritizedTraversal traversal(&context);
    bool const anySize = path == eVIEW || path == e40M;
    traversal.SetCullArea(anySize ? 0.0 : 1.0);
    traversal.SetCullExtent(anySize ? 0.0 : 1.0);
    unsigned frameId = model.GetRoot()->GetFrameId();
    auto const walk = [&](SceneView const& view) {
        traversal.SetViewFrustum(MakeViewFrustum(view));
        traversal.SetCullDistance(path == e40M ? GetCullDistance(view) : DBL_MAX);
        traversal.SetFrameId(++frameId);
        traversal.Apply(model.GetRoot());
    };

    // One pass for the result, and to have all pools at their size.
    PathSums pass;
    BenchShape::s_sink = DrawSink();
    for (SceneView const& view : views) {
        walk(view);
        pass.tested += traversal.GetNumFrustumCullTests();
    }
    pass.drawn = BenchShape::s_sink.count;
    std::uint64_t const hash = BenchShape::s_sink.hash;

    FrameTimes times;
    std::size_t next = 0;
    std::uint64_t tested = 0;
    for (auto _ : state) {
        times.Start();
        walk(views[next]);
        times.Stop();
        tested += traversal.GetNumFrustumCullTests();
        next = (next + 1) % views.size();
    }
    times.Report(state);
    state.SetItemsProcessed(static_cast<std::int64_t>(tested));
    state.counters["per_node"] = benchmark::Counter(
        static_cast<double>(tested), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    auto const frames = static_cast<double>(views.size());
    state.counters["tested"] = static_cast<double>(pass.tested) / frames;
    state.counters["drawn"] = static_cast<double>(pass.drawn) / frames;
    // 32 bits of it, which a double shows exactly.
    state.counters["hash"] = static_cast<double>((hash ^ (hash >> 32)) & 0xFFFFFFFFu);
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

BENCHMARK_CAPTURE(Walk, PlantInside, eINSIDE)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, PlantOutside, eOUTSIDE)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, PlantView, eVIEW)->Apply(PlantSizes);
BENCHMARK_CAPTURE(Walk, Plant40m, e40M)->Apply(PlantSizes);

} // namespace
