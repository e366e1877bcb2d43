// Our static tree beside the peers' on the same boxes and views, in the same run.
//
// The walk-through of the plant: "View" as it is, "40m" with a far plane at 40 m. Ours draws shapes
// through virtual calls and whole leaves at a time; the peers report the numbers of single boxes.

#include "BenchModel.h"
#include "FrameTimes.h"
#include "PeerTrees.h"

#include "scenes/SceneViews.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include "geometry/TqLPlane3f.h"

#include <benchmark/benchmark.h>

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace
{

enum Range
{
    eALL,
    e40M
};

std::vector<SceneView> MakeViews(Range range, TqLBox3f const& bounds)
{
    return range == e40M ? MakeNearWalkViews(bounds) : MakeWalkViews(bounds);
}

TqLBox3f GetBounds(std::vector<TqLBox3f> const& boxes)
{
    TqLBox3f bounds;
    for (TqLBox3f const& box : boxes) {
        bounds.ExtendBy(box);
    }
    return bounds;
}

/// Runs frame(view) along the path; median and p95 of its times, and what it reports per frame.
template <typename Frame>
void RunPath(benchmark::State& state, std::vector<SceneView> const& views, Frame const& frame)
{
    BenchShape::s_sink = DrawSink();
    for (SceneView const& view : views) {
        frame(view);
    }
    auto const reported =
        static_cast<double>(BenchShape::s_sink.count) / static_cast<double>(views.size());
    BenchShape::s_sink = DrawSink();
    FrameTimes times;
    std::size_t next = 0;
    for (auto _ : state) {
        times.Start();
        frame(views[next]);
        times.Stop();
        next = (next + 1) % views.size();
    }
    times.Report(state);
    auto const total = static_cast<double>(BenchShape::s_sink.count);
    state.SetItemsProcessed(static_cast<std::int64_t>(total));
    state.counters["reported"] = reported;
    state.counters["per_box"] =
        benchmark::Counter(total, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// ---- Ours ---------------------------------------------------------------------------------------

/// @param slack  the sort slack; a large one walks depth first, best child first.
void BestFirst(benchmark::State& state, Range range, double slack)
{
    BenchModel& model =
        BenchModel::Get(static_cast<std::size_t>(state.range(0)), static_cast<int>(state.range(1)));
    TqOcContext context;
    TqOcPrioritizedTraversal traversal(&context);
    traversal.SetCullArea(0.0);
    traversal.SetCullExtent(0.0);
    traversal.SetSortSlack(slack);
    unsigned frameId = model.GetRoot()->GetFrameId();
    RunPath(state, MakeViews(range, model.GetBounds()), [&](SceneView const& view) {
        traversal.SetViewFrustum(MakeViewFrustum(view));
        traversal.SetCullDistance(range == e40M ? GetCullDistance(view) : DBL_MAX);
        traversal.SetFrameId(++frameId);
        traversal.Apply(model.GetRoot());
    });
}

void OurSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"shapes", "leaf"})->Unit(benchmark::kMicrosecond);
    for (int const shapes : {10000, 100000, 1000000}) {
        for (int const leaf : {8, 32, 100}) {
            bench->Args({shapes, leaf});
        }
    }
}

BENCHMARK_CAPTURE(BestFirst, PlantView, eALL, 0.0)->Apply(OurSizes);
BENCHMARK_CAPTURE(BestFirst, PlantViewSlack, eALL, 1e9)->Apply(OurSizes);
BENCHMARK_CAPTURE(BestFirst, Plant40m, e40M, 0.0)->Apply(OurSizes);
BENCHMARK_CAPTURE(BestFirst, Plant40mSlack, e40M, 1e9)->Apply(OurSizes);

// ---- The naive form -----------------------------------------------------------------------------

/// Tests every box against the six planes.
void CullFlat(benchmark::State& state, Range range)
{
    auto const boxes = BenchModel::GetBoxes(static_cast<std::size_t>(state.range(0)));
    RunPath(state, MakeViews(range, GetBounds(*boxes)), [&](SceneView const& view) {
        TqLPlane3f planes[6];
        MakeViewFrustum(view).GetPlanes(planes);
        for (std::size_t i = 0; i < boxes->size(); ++i) {
            bool inside = true;
            for (int side = 0; side < 6 && inside; ++side) {
                inside = planes[side].MaxDistanceFromPlane((*boxes)[i]) >= 0.0;
            }
            if (inside) {
                BenchShape::s_sink.Add(static_cast<std::uint32_t>(i));
            }
        }
    });
}

void PeerSizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgName("shapes")->Unit(benchmark::kMicrosecond);
    bench->Arg(10000)->Arg(100000)->Arg(1000000);
}

BENCHMARK_CAPTURE(CullFlat, PlantView, eALL)->Apply(PeerSizes);
BENCHMARK_CAPTURE(CullFlat, Plant40m, e40M)->Apply(PeerSizes);

// ---- Boost --------------------------------------------------------------------------------------

#ifdef SCENECULL_BENCH_BOOST

void BuildBoostPack16(benchmark::State& state)
{
    auto const boxes = BenchModel::GetBoxes(static_cast<std::size_t>(state.range(0)));
    BoostTree tree(*boxes);
    for (auto _ : state) {
        tree.Build(*boxes);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void CullBoostPack16(benchmark::State& state, Range range)
{
    auto const boxes = BenchModel::GetBoxes(static_cast<std::size_t>(state.range(0)));
    BoostTree const tree(*boxes);
    RunPath(state, MakeViews(range, GetBounds(*boxes)),
            [&](SceneView const& view) { tree.Cull(MakeViewFrustum(view), BenchShape::s_sink); });
}

BENCHMARK(BuildBoostPack16)
    ->Name("BuildBoostPack16_Plant")
    ->Apply(PeerSizes)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CullBoostPack16, PlantView, eALL)->Apply(PeerSizes);
BENCHMARK_CAPTURE(CullBoostPack16, Plant40m, e40M)->Apply(PeerSizes);

#endif

// ---- Bullet -------------------------------------------------------------------------------------

#ifdef SCENECULL_BENCH_BULLET

void SortedBullet(benchmark::State& state, Range range)
{
    auto const boxes = BenchModel::GetBoxes(static_cast<std::size_t>(state.range(0)));
    // Making this tree takes seconds for the large sizes; both ranges share it.
    static std::unique_ptr<BulletTree> s_tree;
    static std::int64_t s_count = 0;
    if (s_count != state.range(0)) {
        s_tree = std::make_unique<BulletTree>(*boxes);
        s_count = state.range(0);
    }
    RunPath(state, MakeViews(range, GetBounds(*boxes)), [&](SceneView const& view) {
        s_tree->CullSorted(MakeViewFrustum(view), view.direction, BenchShape::s_sink);
    });
}

BENCHMARK_CAPTURE(SortedBullet, PlantView, eALL)
    ->ArgName("shapes")
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(SortedBullet, Plant40m, e40M)
    ->ArgName("shapes")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);

#endif

} // namespace
