// Prioritized visits: the first shapes that are seen, and all of them, beside the frame that walks
// the same way, and Bullet's walk from front to back over the same boxes and views.
//
// The views of the walk-through, nothing too small. "VisitFirst" ends the walk after that many
// shapes. "VisitAll" and "WalkFrame" differ in what is done with a shape, and in the stamping of
// nodes. An iteration is the whole path.

#include "PickCandidates.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTraversable.h"
#include "scenecull/TqOcVisitor.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace
{

constexpr std::int64_t eEVERYTHING = std::numeric_limits<std::int64_t>::max();

/// Lists the first shapes of a view.
class FirstVisitor : public TqOcPrioritizedVisitor
{
public:
    FirstVisitor(std::size_t count, BoxNumbers& hits) : m_count(count), m_hits(hits)
    {
        ConfigureTraversal()->SetCullArea(0.0);
        ConfigureTraversal()->SetCullExtent(0.0);
    }

    // A leaf offers the rest of its shapes after the walk was ended.
    void VisitShape(TqOcShape* shape) override
    {
        if (m_hits.size() < m_count) {
            m_hits.push_back(static_cast<BenchShape*>(shape)->GetNumber());
        } else {
            SetPruned();
        }
    }

private:
    std::size_t m_count;
    BoxNumbers& m_hits;
};

void VisitOurs(benchmark::State& state, PickScene const& scene, OurCandidate const& candidate,
               std::int64_t count)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    TqOcTraversable& root = stage.GetTree(candidate.making).GetRoot();
    BoxNumbers list;
    FirstVisitor visitor(static_cast<std::size_t>(count), list);
    std::size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (TqLFrustum3f const& frustum : stage.GetFrustums()) {
            list.clear();
            visitor.ConfigureTraversal()->SetViewFrustum(frustum);
            visitor.Apply(&root);
            hits += list.size();
        }
    }
    ReportQueries(state, stage.GetFrustums().size(), hits);
}

void WalkFrames(benchmark::State& state, PickScene const& scene, OurCandidate const& candidate)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    TqOcTraversable& root = stage.GetTree(candidate.making).GetRoot();
    TqOcContext context;
    TqOcPrioritizedTraversal traversal(&context);
    traversal.SetCullArea(0.0);
    traversal.SetCullExtent(0.0);
    unsigned frameId = root.GetFrameId();
    std::size_t hits = 0;
    for (auto _ : state) {
        BenchShape::s_sink = DrawSink();
        for (TqLFrustum3f const& frustum : stage.GetFrustums()) {
            traversal.SetViewFrustum(frustum);
            traversal.SetFrameId(++frameId);
            traversal.Apply(&root);
        }
        hits = static_cast<std::size_t>(BenchShape::s_sink.count);
    }
    ReportQueries(state, stage.GetFrustums().size(), hits);
}

#ifdef SCENECULL_BENCH_BULLET

void VisitBullet(benchmark::State& state, PickScene const& scene, PeerKind kind, std::int64_t count)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    auto const& peer = static_cast<SortedPeer const&>(stage.GetPeer(kind));
    BoxNumbers list;
    std::size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (std::size_t i = 0; i < stage.GetViews().size(); ++i) {
            list.clear();
            peer.VisitFirst(stage.GetFrustums()[i], stage.GetViews()[i].direction,
                            static_cast<std::size_t>(count), list);
            hits += list.size();
        }
    }
    ReportQueries(state, stage.GetViews().size(), hits);
}

#endif

void RegisterVisits(PickScene const& scene, std::int64_t count)
{
    std::string const verb =
        count == eEVERYTHING ? "VisitAll" : "VisitFirst" + std::to_string(count);
    std::string const suffix = std::string("_") + scene.name + "View";
    for (OurCandidate const& candidate : s_ourCandidates) {
        RegisterSizes(verb + candidate.name + suffix,
                      [=](benchmark::State& state) { VisitOurs(state, scene, candidate, count); });
    }
#ifdef SCENECULL_BENCH_BULLET
    for (auto const& [name, kind] : {PeerCandidate{"Bullet", PeerKind::eBULLET},
                                     PeerCandidate{"BulletGrown", PeerKind::eBULLET_GROWN}}) {
        RegisterSizes(verb + name + suffix, [=, peer = kind](benchmark::State& state) {
            VisitBullet(state, scene, peer, count);
        });
    }
#endif
}

int RegisterAll()
{
    for (PickScene const& scene : s_pickScenes) {
        for (std::int64_t const count :
             {std::int64_t{10}, std::int64_t{100}, std::int64_t{1000}, eEVERYTHING}) {
            RegisterVisits(scene, count);
        }
        for (OurCandidate const& candidate : s_ourCandidates) {
            RegisterSizes(std::string("WalkFrame") + candidate.name + "_" + scene.name + "View",
                          [=](benchmark::State& state) { WalkFrames(state, scene, candidate); });
        }
    }
    return 0;
}

[[maybe_unused]] int const s_registered = RegisterAll();

} // namespace
