// Picks by frustum beside the peers' on the same boxes, in the same run.
//
// "Thin": squares of 5 x 5 pixels all over the views of the walk-through; "Band": rubber bands.
// "PickAll" lists every box that is met, "PickNearest" looks for the nearest and leaves out what
// lies behind it. An iteration is the whole set of queries. The pick frustums are made beforehand,
// but for "Made". "Drawn" follows a render traversal that has just drawn the view.

#include "PickCandidates.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <benchmark/benchmark.h>

#include <cfloat>
#include <cstddef>
#include <string>
#include <vector>

namespace
{

enum class PickWhat
{
    eALL,
    eNEAREST
};

enum class PickSet
{
    eTHIN,
    eBAND
};

enum class PickHow
{
    ePLAIN,
    eMADE,
    eDRAWN
};

std::vector<PixelPick> const& GetPicks(PickStage const& stage, PickSet set)
{
    return set == PickSet::eTHIN ? stage.GetThinPicks() : stage.GetBands();
}

std::vector<TqLPickFrustum3f> MakeFrustums(PickStage const& stage,
                                           std::vector<PixelPick> const& picks)
{
    std::vector<TqLPickFrustum3f> frustums;
    for (PixelPick const& pick : picks) {
        frustums.push_back(stage.MakePickFrustum(pick));
    }
    return frustums;
}

/// A pick traversal over one tree.
class OurPick
{
public:
    OurPick(TqOcTraversable& root, PickWhat what) : m_root(root), m_what(what), m_pick(nullptr)
    {
        if (what == PickWhat::eALL) {
            m_pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
        }
    }

    void Follow(TqOcPrioritizedTraversal* render) { m_pick.SetRenderTraversal(render); }

    void Pick(TqLPickFrustum3f const& frustum)
    {
        m_pick.SetFrustum(frustum);
        m_pick.Apply(&m_root);
    }

    std::size_t CountHits() const
    {
        return m_what == PickWhat::eALL
                   ? static_cast<std::size_t>(m_pick.GetAllPickedShapes().Size())
                   : m_pick.GetPickedShape() != nullptr;
    }

    double GetDistance() const
    {
        return m_pick.GetPickedShape() != nullptr ? m_pick.GetDistance() : DBL_MAX;
    }

    TqOcPickFrustumTraversal& GetPick() { return m_pick; }

private:
    TqOcTraversable& m_root;
    PickWhat m_what;
    TqOcPickFrustumTraversal m_pick;
};

/// Compares with the naive form, outside of the timing.
template <typename List, typename Measure>
void CheckPicks(benchmark::State& state, PickStage& stage,
                std::vector<TqLPickFrustum3f> const& frustums, PickWhat what,
                PickTolerance const& tolerance, List const& list, Measure const& measure)
{
    PickPeer const& flat = stage.GetPeer(PeerKind::eFLAT);
    if (what == PickWhat::eALL) {
        CheckLists(
            state, frustums.size(), tolerance,
            [&](std::size_t i, BoxNumbers& hits) { list(frustums[i], hits); },
            [&](std::size_t i, BoxNumbers& hits) { flat.PickAll(frustums[i], hits); });
    } else {
        CheckMeasures(
            state, frustums.size(), tolerance, [&](std::size_t i) { return measure(frustums[i]); },
            [&](std::size_t i) { return flat.PickNearest(frustums[i]); });
    }
}

// ---- Ours ---------------------------------------------------------------------------------------

/// Draws a view whole, so that all of it can be picked.
class ViewDrawer
{
public:
    explicit ViewDrawer(TqOcTraversable& root) : m_root(root), m_traversal(&m_context)
    {
        m_traversal.SetCullArea(0.0);
        m_traversal.SetCullExtent(0.0);
        m_frameId = root.GetFrameId();
    }

    void Draw(TqLFrustum3f const& frustum)
    {
        m_traversal.SetViewFrustum(frustum);
        m_traversal.SetFrameId(++m_frameId);
        m_traversal.Apply(&m_root);
    }

    TqOcPrioritizedTraversal* GetTraversal() { return &m_traversal; }

private:
    TqOcTraversable& m_root;
    TqOcContext m_context;
    TqOcPrioritizedTraversal m_traversal;
    unsigned m_frameId;
};

void PickAfterFrames(benchmark::State& state, PickStage& stage, TqOcTraversable& root,
                     std::vector<PixelPick> const& picks,
                     std::vector<TqLPickFrustum3f> const& frustums, PickWhat what)
{
    ViewDrawer drawer(root);
    OurPick pick(root, what);
    pick.Follow(drawer.GetTraversal());
    std::size_t hits = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < frustums.size(); ++i) {
            if (i == 0 || picks[i].view != picks[i - 1].view) {
                state.PauseTiming();
                drawer.Draw(stage.GetFrustums()[picks[i].view]);
                state.ResumeTiming();
            }
            pick.Pick(frustums[i]);
            hits += pick.CountHits();
        }
    }
    ReportQueries(state, picks.size(), hits / static_cast<std::size_t>(state.iterations()));
}

void PickOurs(benchmark::State& state, PickScene const& scene, OurCandidate const& candidate,
              PickSet set, PickWhat what, PickHow how)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    TqOcTraversable& root = stage.GetTree(candidate.making).GetRoot();
    std::vector<PixelPick> const& picks = GetPicks(stage, set);
    std::vector<TqLPickFrustum3f> const frustums = MakeFrustums(stage, picks);
    OurPick pick(root, what);
    CheckPicks(
        state, stage, frustums, what, s_ourTolerance,
        [&](TqLPickFrustum3f const& frustum, BoxNumbers& hits) {
            pick.Pick(frustum);
            ListHits(pick.GetPick(), hits);
        },
        [&](TqLPickFrustum3f const& frustum) {
            pick.Pick(frustum);
            return pick.GetDistance();
        });
    if (how == PickHow::eDRAWN) {
        PickAfterFrames(state, stage, root, picks, frustums, what);
        return;
    }
    std::size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (std::size_t i = 0; i < picks.size(); ++i) {
            pick.Pick(how == PickHow::eMADE ? stage.MakePickFrustum(picks[i]) : frustums[i]);
            hits += pick.CountHits();
        }
    }
    ReportQueries(state, picks.size(), hits);
}

/// The making of the pick frustums alone.
void MakePickFrustums(benchmark::State& state, PickScene const& scene)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    for (auto _ : state) {
        for (PixelPick const& pick : stage.GetThinPicks()) {
            TqLPickFrustum3f const frustum = stage.MakePickFrustum(pick);
            benchmark::DoNotOptimize(&frustum);
            benchmark::ClobberMemory();
        }
    }
    ReportQueries(state, stage.GetThinPicks().size(), 0);
}

// ---- The peers ----------------------------------------------------------------------------------

void PickPeers(benchmark::State& state, PickScene const& scene, PeerCandidate const& candidate,
               PickSet set, PickWhat what)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    PickPeer const& peer = stage.GetPeer(candidate.kind);
    std::vector<TqLPickFrustum3f> const frustums = MakeFrustums(stage, GetPicks(stage, set));
    CheckPicks(
        state, stage, frustums, what, s_peerTolerance,
        [&](TqLPickFrustum3f const& frustum, BoxNumbers& hits) { peer.PickAll(frustum, hits); },
        [&](TqLPickFrustum3f const& frustum) { return peer.PickNearest(frustum); });
    std::size_t const step = candidate.kind == PeerKind::eFLAT ? eFLAT_STEP : 1;
    std::size_t hits = 0;
    BoxNumbers list;
    for (auto _ : state) {
        hits = 0;
        for (std::size_t i = 0; i < frustums.size(); i += step) {
            if (what == PickWhat::eALL) {
                list.clear();
                peer.PickAll(frustums[i], list);
                hits += list.size();
            } else {
                hits += peer.PickNearest(frustums[i]) != DBL_MAX;
            }
        }
    }
    ReportQueries(state, frustums.size() / step, hits);
}

// ---- Registration -------------------------------------------------------------------------------

void RegisterPicks(PickScene const& scene, PickSet set, PickWhat what)
{
    std::string const verb = what == PickWhat::eALL ? "PickAll" : "PickNearest";
    std::string const suffix =
        std::string("_") + scene.name + (set == PickSet::eTHIN ? "Thin" : "Band");
    for (OurCandidate const& candidate : s_ourCandidates) {
        auto const add = [&](char const* more, PickHow how) {
            RegisterSizes(verb + candidate.name + more + suffix, [=](benchmark::State& state) {
                PickOurs(state, scene, candidate, set, what, how);
            });
        };
        add("", PickHow::ePLAIN);
        if (set == PickSet::eTHIN) {
            add("Made", PickHow::eMADE);
            add("Drawn", PickHow::eDRAWN);
        }
    }
    for (PeerCandidate const& candidate : s_peerCandidates) {
        RegisterSizes(verb + candidate.name + suffix, [=](benchmark::State& state) {
            PickPeers(state, scene, candidate, set, what);
        });
    }
}

int RegisterAll()
{
    for (PickScene const& scene : s_pickScenes) {
        RegisterPicks(scene, PickSet::eTHIN, PickWhat::eALL);
        RegisterPicks(scene, PickSet::eTHIN, PickWhat::eNEAREST);
        RegisterPicks(scene, PickSet::eBAND, PickWhat::eALL);
        RegisterSizes(std::string("MakePickFrustum_") + scene.name + "Thin",
                      [=](benchmark::State& state) { MakePickFrustums(state, scene); });
    }
    return 0;
}

[[maybe_unused]] int const s_registered = RegisterAll();

} // namespace
