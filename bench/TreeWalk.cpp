#include "TreeWalk.h"

#include "BenchModel.h"
#include "FrameTimes.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <cfloat>
#include <cstddef>
#include <cstdint>

namespace
{

/// Sums over the frames of one pass along the path.
struct PathSums
{
    std::uint64_t tested = 0;
    std::uint64_t drawn = 0;
};

} // namespace

std::vector<SceneView> MakeWalkPath(WalkPath path, TqLBox3f const& bounds)
{
    switch (path) {
    case WalkPath::eOUTSIDE:
        return MakeOutsideViews(bounds);
    case WalkPath::e40M:
        return MakeNearWalkViews(bounds);
    default:
        return MakeWalkViews(bounds);
    }
}

void RunTreeWalk(benchmark::State& state, TqOcTraversable& root, TqLBox3f const& bounds,
                 WalkPath path)
{
    std::vector<SceneView> const views = MakeWalkPath(path, bounds);
    TqOcContext context;
    TqOcPrioritizedTraversal traversal(&context);
    bool const anySize = path == WalkPath::eVIEW || path == WalkPath::e40M;
    traversal.SetCullArea(anySize ? 0.0 : 1.0);
    traversal.SetCullExtent(anySize ? 0.0 : 1.0);
    unsigned frameId = root.GetFrameId();
    auto const walk = [&](SceneView const& view) {
        traversal.SetViewFrustum(MakeViewFrustum(view));
        traversal.SetCullDistance(path == WalkPath::e40M ? GetCullDistance(view) : DBL_MAX);
        traversal.SetFrameId(++frameId);
        traversal.Apply(&root);
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
