#pragma once

// PickCandidates: who takes part in the benchmarks of picks and sweeps, and how they are held to
// the same results.

#include "PickStage.h"

#include "scenecull/TqOcPickTraversal.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// One of the library's trees.
struct OurCandidate
{
    char const* name;
    TreeMaking making;
};

inline constexpr OurCandidate s_ourCandidates[] = {{"Static8", TreeMaking::eSTATIC_8},
                                                   {"Static24", TreeMaking::eSTATIC_24},
                                                   {"Grown", TreeMaking::eGROWN},
                                                   {"Bulk", TreeMaking::eBULK}};

struct PeerCandidate
{
    char const* name;
    PeerKind kind;
};

inline constexpr PeerCandidate s_peerCandidates[] = {
    {"Flat", PeerKind::eFLAT},
#ifdef SCENECULL_BENCH_BOOST
    {"BoostPack16", PeerKind::eBOOST_PACK16},
    {"BoostQuad7", PeerKind::eBOOST_QUAD7},
#endif
#ifdef SCENECULL_BENCH_BULLET
    {"Bullet", PeerKind::eBULLET},
    {"BulletGrown", PeerKind::eBULLET_GROWN},
#endif
};

struct PickScene
{
    char const* name;
    DynamicSceneKind kind;
};

inline constexpr PickScene s_pickScenes[] = {{"Plant", DynamicSceneKind::ePLANT},
                                             {"Uniform", DynamicSceneKind::eUNIFORM}};

inline constexpr std::int64_t s_pickSizes[] = {10000, 100000, 1000000};

/// Every so many queries of a set are asked of the naive form, which is slow.
inline constexpr std::size_t eFLAT_STEP = 50;

/// Appends the numbers of all shapes that a pick has listed.
void ListHits(TqOcPickTraversal const& pick, BoxNumbers& hits);

/// How far results may be from the naive form's.
struct PickTolerance
{
    double boxes;    ///< Boxes too many or too few, as a share of all.
    double distance; ///< Of a hit, as a share of it.
};

/// Ours have the same boxes and, but for rounding where a sweep is shortened, distances.
inline constexpr PickTolerance s_ourTolerance = {0.0, 1e-9};

/// Peers test without margins for rounding, and some in single precision.
inline constexpr PickTolerance s_peerTolerance = {1e-2, 1e-2};

/// Compares queries with the naive form: list(i, hits) for every eFLAT_STEP-th of \p count.
template <typename List, typename FlatList>
void CheckLists(benchmark::State& state, std::size_t count, PickTolerance const& tolerance,
                List const& list, FlatList const& flatList);

/// Compares queries that have one number for a result in the same way.
template <typename Measure, typename FlatMeasure>
void CheckMeasures(benchmark::State& state, std::size_t count, PickTolerance const& tolerance,
                   Measure const& measure, FlatMeasure const& flatMeasure);

/// Registers run under "Name_Scene" for all sizes.
template <typename Run>
void RegisterSizes(std::string const& name, Run const& run)
{
    for (std::int64_t const size : s_pickSizes) {
        benchmark::RegisterBenchmark(name.c_str(), run)
            ->ArgName("shapes")
            ->Arg(size)
            ->Unit(benchmark::kMillisecond);
    }
}

// ---- Inline -------------------------------------------------------------------------------------

/// Sorts both and counts what is in one list only.
std::size_t CountDifferences(BoxNumbers& a, BoxNumbers& b);

template <typename List, typename FlatList>
void CheckLists(benchmark::State& state, std::size_t count, PickTolerance const& tolerance,
                List const& list, FlatList const& flatList)
{
    std::size_t total = 0;
    std::size_t differences = 0;
    for (std::size_t i = 0; i < count; i += eFLAT_STEP) {
        BoxNumbers hits;
        BoxNumbers flatHits;
        list(i, hits);
        flatList(i, flatHits);
        total += flatHits.size();
        differences += CountDifferences(hits, flatHits);
    }
    if (static_cast<double>(differences) > tolerance.boxes * static_cast<double>(total)) {
        state.SkipWithError("other boxes than the naive form's");
    }
}

template <typename Measure, typename FlatMeasure>
void CheckMeasures(benchmark::State& state, std::size_t count, PickTolerance const& tolerance,
                   Measure const& measure, FlatMeasure const& flatMeasure)
{
    std::size_t total = 0;
    std::size_t differences = 0;
    for (std::size_t i = 0; i < count; i += eFLAT_STEP) {
        double const expected = flatMeasure(i);
        double const difference = measure(i) - expected;
        ++total;
        differences += difference < -tolerance.distance * expected ||
                       difference > tolerance.distance * expected;
    }
    if (static_cast<double>(differences) > tolerance.boxes * static_cast<double>(total)) {
        state.SkipWithError("other distances than the naive form's");
    }
}

/// Sets the counters of \p queries queries an iteration that had \p hits hits in all.
void ReportQueries(benchmark::State& state, std::size_t queries, std::size_t hits);
