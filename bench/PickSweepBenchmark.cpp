// Sweep picks beside the peers' on the same boxes, in the same run.
//
// A sphere or a box moves along 2 m or 20 m, from places beside boxes. "SweepAll" lists what is
// touched; in "SweepContact" each shape shortens the sweep to the contact with its box. "Sorted"
// goes nearest first, the others depth first. An iteration is the whole set of sweeps.

#include "PickCandidates.h"

#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcTraversable.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace
{

struct SweepSet
{
    char const* name;
    TqLPickSweep::Body body;
    double length; ///< Metres.
};

constexpr SweepSet s_sweepSets[] = {{"Sphere2m", TqLPickSweep::eSPHERE, 2.0},
                                    {"Sphere20m", TqLPickSweep::eSPHERE, 20.0},
                                    {"Box2m", TqLPickSweep::eBOX, 2.0},
                                    {"Box20m", TqLPickSweep::eBOX, 20.0}};

enum class SweepWhat
{
    eALL,
    eCONTACT
};

double GetLength(TqLPickSweep const& sweep)
{
    TqLVec3f const& step = sweep.GetSweep();
    return std::sqrt(step[0] * step[0] + step[1] * step[1] + step[2] * step[2]);
}

/// Compares with the naive form, outside of the timing.
template <typename List, typename Shorten>
void CheckSweeps(benchmark::State& state, PickStage& stage, std::vector<TqLPickSweep> const& sweeps,
                 SweepWhat what, PickTolerance const& tolerance, List const& list,
                 Shorten const& shorten)
{
    PickPeer const& flat = stage.GetPeer(PeerKind::eFLAT);
    if (what == SweepWhat::eALL) {
        CheckLists(
            state, sweeps.size(), tolerance,
            [&](std::size_t i, BoxNumbers& hits) { list(sweeps[i], hits); },
            [&](std::size_t i, BoxNumbers& hits) { flat.SweepAll(sweeps[i], hits); });
    } else {
        CheckMeasures(
            state, sweeps.size(), tolerance,
            [&](std::size_t i) { return GetLength(shorten(sweeps[i])); },
            [&](std::size_t i) {
                TqLPickSweep sweep = sweeps[i];
                flat.SweepFirst(sweep);
                return GetLength(sweep);
            });
    }
}

/// A sweep traversal over one tree.
class OurSweep
{
public:
    OurSweep(TqOcTraversable& root, SweepWhat what, bool isSorted)
        : m_root(root)
        , m_pick(nullptr, isSorted ? 1 : 0)
    {
        if (what == SweepWhat::eALL) {
            m_pick.SetRequiredPropertyBits(0);
        }
    }

    void Sweep(TqLPickSweep const& sweep)
    {
        m_pick.SetSweep(sweep);
        m_pick.Apply(&m_root);
    }

    TqOcPickSweepTraversal& GetPick() { return m_pick; }

    /// Either kind of hit.
    std::size_t CountHits() const
    {
        return static_cast<std::size_t>(m_pick.GetAllPickedShapes().Size()) +
               (m_pick.GetPickedShape() != nullptr);
    }

private:
    TqOcTraversable& m_root;
    TqOcPickSweepTraversal m_pick;
};

void SweepOurs(benchmark::State& state, PickScene const& scene, OurCandidate const& candidate,
               SweepSet const& set, SweepWhat what, bool isSorted)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    std::vector<TqLPickSweep> const sweeps = stage.MakeSweeps(set.body, set.length);
    OurSweep ours(stage.GetTree(candidate.making).GetRoot(), what, isSorted);
    CheckSweeps(
        state, stage, sweeps, what, s_ourTolerance,
        [&](TqLPickSweep const& sweep, BoxNumbers& hits) {
            ours.Sweep(sweep);
            ListHits(ours.GetPick(), hits);
        },
        [&](TqLPickSweep const& sweep) {
            ours.Sweep(sweep);
            return ours.GetPick().GetSweep();
        });
    std::size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (TqLPickSweep const& sweep : sweeps) {
            ours.Sweep(sweep);
            hits += ours.CountHits();
        }
    }
    ReportQueries(state, sweeps.size(), hits);
}

void SweepPeers(benchmark::State& state, PickScene const& scene, PeerCandidate const& candidate,
                SweepSet const& set, SweepWhat what)
{
    PickStage& stage = PickStage::Get(scene.kind, state.range(0));
    PickPeer const& peer = stage.GetPeer(candidate.kind);
    std::vector<TqLPickSweep> const sweeps = stage.MakeSweeps(set.body, set.length);
    CheckSweeps(
        state, stage, sweeps, what, s_peerTolerance,
        [&](TqLPickSweep const& sweep, BoxNumbers& hits) { peer.SweepAll(sweep, hits); },
        [&](TqLPickSweep sweep) {
            peer.SweepFirst(sweep);
            return sweep;
        });
    std::size_t const step = candidate.kind == PeerKind::eFLAT ? eFLAT_STEP : 1;
    std::size_t hits = 0;
    BoxNumbers list;
    for (auto _ : state) {
        hits = 0;
        for (std::size_t i = 0; i < sweeps.size(); i += step) {
            if (what == SweepWhat::eALL) {
                list.clear();
                peer.SweepAll(sweeps[i], list);
                hits += list.size();
            } else {
                TqLPickSweep sweep = sweeps[i];
                peer.SweepFirst(sweep);
                hits += sweep.IsShortened();
            }
        }
    }
    ReportQueries(state, sweeps.size() / step, hits);
}

void RegisterSweeps(PickScene const& scene, SweepSet const& set, SweepWhat what)
{
    std::string const verb = what == SweepWhat::eALL ? "SweepAll" : "SweepContact";
    std::string const suffix = std::string("_") + scene.name + set.name;
    for (OurCandidate const& candidate : s_ourCandidates) {
        for (bool const isSorted : {false, true}) {
            RegisterSizes(verb + candidate.name + (isSorted ? "Sorted" : "") + suffix,
                          [=](benchmark::State& state) {
                              SweepOurs(state, scene, candidate, set, what, isSorted);
                          });
        }
    }
    for (PeerCandidate const& candidate : s_peerCandidates) {
        RegisterSizes(verb + candidate.name + suffix, [=](benchmark::State& state) {
            SweepPeers(state, scene, candidate, set, what);
        });
    }
}

int RegisterAll()
{
    for (PickScene const& scene : s_pickScenes) {
        for (SweepSet const& set : s_sweepSets) {
            RegisterSweeps(scene, set, SweepWhat::eALL);
            RegisterSweeps(scene, set, SweepWhat::eCONTACT);
        }
    }
    return 0;
}

[[maybe_unused]] int const s_registered = RegisterAll();

} // namespace
