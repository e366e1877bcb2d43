// Dynamic trees beside the peers' on the same boxes, in the same run: growing, thinning out and
// moving one by one, culls on the grown trees, and how good a tree remains to be walked.
//
// Every candidate goes through the same history, so the number of iterations is fixed. Only the
// batch itself is timed; ours ends each with the Update that brings attributes up to date.

#include "BenchModel.h"
#include "DynamicScene.h"
#include "FrameTimes.h"
#include "SceneTree.h"
#include "TreeWalk.h"

#include "util/TqUMemory.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace
{

constexpr std::uint64_t eREMOVE_SEED = 12;
constexpr std::uint64_t eMOVE_SEED = 13;

constexpr double eSMALL_STEP = 0.05; ///< Metres; less than the size of most things.
constexpr double eLARGE_STEP = 20.0; ///< Metres; most of the way to the next unit of the plant.

struct SceneName
{
    DynamicSceneKind kind;
    char const* name;
};

constexpr SceneName s_scenes[] = {{DynamicSceneKind::ePLANT, "Plant"},
                                  {DynamicSceneKind::eUNIFORM, "Uniform"}};

constexpr DynamicCandidate s_candidates[] = {
    {"Dynamic", MakeDynamicGroupTree},
#ifdef SCENECULL_BENCH_BOOST
    {"BoostQuad7", MakeBoostQuad7},    {"BoostQuad16", MakeBoostQuad16},
    {"BoostLin16", MakeBoostLin16},    {"BoostRstar16", MakeBoostRstar16},
#endif
#ifdef SCENECULL_BENCH_BULLET
    {"Bullet", MakeBulletTree},
#endif
};

/// The scene that was asked for last.
DynamicScene& GetScene(DynamicSceneKind kind, std::int64_t count)
{
    static std::unique_ptr<DynamicScene> s_scene;
    static DynamicSceneKind s_kind;
    if (!s_scene || s_kind != kind ||
        static_cast<std::int64_t>(s_scene->GetBoxes().size()) != count) {
        s_scene.reset();
        s_scene = std::make_unique<DynamicScene>(kind, static_cast<std::size_t>(count));
        s_kind = kind;
    }
    return *s_scene;
}

/// Bytes in use on the heap, blocks' overheads included; 0 where the C library does not tell.
double GetHeapBytes()
{
#if defined(__GLIBC__)
    struct mallinfo2 const info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
#else
    return 0.0;
#endif
}

/// Times batches: processor time per item, as "median_ns" over the batches.
class BatchTimes
{
public:
    explicit BatchTimes(std::size_t items) : m_items(items) {}

    template <typename Batch>
    void Time(benchmark::State& state, Batch const& batch)
    {
        state.ResumeTiming();
        m_times.Start();
        batch();
        m_times.Stop();
        state.PauseTiming();
    }

    void Report(benchmark::State& state)
    {
        auto const items = static_cast<std::int64_t>(m_items);
        state.SetItemsProcessed(state.iterations() * items);
        state.counters["median_ns"] = 1e3 * m_times.GetMedian() / static_cast<double>(m_items);
    }

private:
    std::size_t m_items;
    FrameTimes m_times;
};

// ---- Growing and thinning out -------------------------------------------------------------------

void Insert(benchmark::State& state, DynamicSceneKind kind, DynamicCandidate const& candidate)
{
    DynamicScene& scene = GetScene(kind, state.range(0));
    BoxNumbers const order = scene.Choose(scene.GetBoxes().size(), eINSERT_SEED);
    BatchTimes times(order.size());
    double heapBytes = 0.0;
    std::size_t treeBytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<DynamicTree> tree = candidate.make(scene);
        double const heapBefore = GetHeapBytes();
        std::size_t const treeBefore = TqUMemory::GetLiveBytes();
        times.Time(state, [&] { tree->Insert(order); });
        heapBytes = GetHeapBytes() - heapBefore;
        treeBytes = TqUMemory::GetLiveBytes() - treeBefore;
        tree.reset();
        state.ResumeTiming();
    }
    times.Report(state);
    auto const count = static_cast<double>(order.size());
    state.counters["heap_bytes_per_shape"] = heapBytes / count;
    if (treeBytes > 0) {
        state.counters["tree_bytes_per_shape"] = static_cast<double>(treeBytes) / count;
    }
}

/// Takes half of the boxes out in random order.
void Remove(benchmark::State& state, DynamicSceneKind kind, DynamicCandidate const& candidate)
{
    DynamicScene& scene = GetScene(kind, state.range(0));
    std::size_t const count = scene.GetBoxes().size();
    BoxNumbers const order = scene.Choose(count, eINSERT_SEED);
    BoxNumbers const removed = scene.Choose(count / 2, eREMOVE_SEED);
    BatchTimes times(removed.size());
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<DynamicTree> tree = candidate.make(scene);
        tree->Insert(order);
        times.Time(state, [&] { tree->Remove(removed); });
        tree.reset();
        state.ResumeTiming();
    }
    times.Report(state);
}

// ---- Moving -------------------------------------------------------------------------------------

/// Moves boxes away in one round and home in the next, others in each pair of rounds.
class Mover
{
public:
    Mover(DynamicScene& scene, std::size_t count, double step)
        : m_scene(scene)
        , m_count(count)
        , m_step(step)
    {}

    ~Mover() { m_scene.MoveHome(m_numbers); }

    Mover(Mover const&) = delete;
    Mover& operator=(Mover const&) = delete;

    BoxNumbers const& MoveBoxes()
    {
        if (m_round % 2 == 0) {
            m_numbers = m_scene.Choose(m_count, eMOVE_SEED + m_round);
            m_scene.MoveAway(m_numbers, m_step, eMOVE_SEED + m_round);
        } else {
            m_scene.MoveHome(m_numbers);
        }
        ++m_round;
        return m_numbers;
    }

private:
    DynamicScene& m_scene;
    std::size_t m_count;
    double m_step;
    BoxNumbers m_numbers;
    std::uint64_t m_round = 0;
};

/// @param range(1)  boxes that move in each round
void Move(benchmark::State& state, DynamicSceneKind kind, DynamicCandidate const& candidate,
          double step)
{
    DynamicScene& scene = GetScene(kind, state.range(0));
    auto const count = static_cast<std::size_t>(state.range(1));
    std::unique_ptr<DynamicTree> const tree = candidate.make(scene);
    tree->Insert(scene.Choose(scene.GetBoxes().size(), eINSERT_SEED));
    Mover mover(scene, count, step);
    BatchTimes times(count);
    for (auto _ : state) {
        state.PauseTiming();
        BoxNumbers const& numbers = mover.MoveBoxes();
        times.Time(state, [&] { tree->Move(numbers); });
        state.ResumeTiming();
    }
    times.Report(state);
}

// ---- Culling ------------------------------------------------------------------------------------

/// The tree of one candidate, grown box by box; kept, as several paths lead through it.
DynamicTree& GetGrownTree(DynamicScene& scene, DynamicSceneKind kind,
                          DynamicCandidate const& candidate)
{
    struct Kept
    {
        std::unique_ptr<DynamicTree> tree;
        std::string name;
    };

    static Kept s_kept;
    std::string const name = std::string(candidate.name) + std::to_string(static_cast<int>(kind)) +
                             "/" + std::to_string(scene.GetBoxes().size());
    if (s_kept.name != name) {
        s_kept.tree.reset();
        s_kept.tree = candidate.make(scene);
        s_kept.tree->Insert(scene.Choose(scene.GetBoxes().size(), eINSERT_SEED));
        s_kept.name = name;
    }
    return *s_kept.tree;
}

/// A bare cull by six planes, in the same form for all candidates; no object is drawn.
void CullGrown(benchmark::State& state, DynamicSceneKind kind, DynamicCandidate const& candidate,
               WalkPath path)
{
    DynamicScene& scene = GetScene(kind, state.range(0));
    DynamicTree& tree = GetGrownTree(scene, kind, candidate);
    std::vector<SceneView> const views = MakeWalkPath(path, scene.GetBounds());
    DrawSink sink;
    for (SceneView const& view : views) {
        tree.Cull(MakeViewFrustum(view), sink);
    }
    state.counters["reported"] =
        static_cast<double>(sink.count) / static_cast<double>(views.size());
    FrameTimes times;
    std::size_t next = 0;
    for (auto _ : state) {
        times.Start();
        tree.Cull(MakeViewFrustum(views[next]), sink);
        times.Stop();
        next = (next + 1) % views.size();
    }
    benchmark::DoNotOptimize(sink.hash);
    times.Report(state);
}

// ---- Walking ------------------------------------------------------------------------------------

/// Ten rounds of moving a tenth of a grown tree's boxes, which end with all at home.
void MoveAbout(DynamicTree& tree, DynamicScene& scene, double step)
{
    constexpr int eROUNDS = 10;
    Mover mover(scene, scene.GetBoxes().size() / 10, step);
    for (int round = 0; round < eROUNDS; ++round) {
        tree.Move(mover.MoveBoxes());
    }
}

/// A tree to walk: how it is made, and how far its boxes have moved before; 0: they have not.
struct WalkedTree
{
    TreeMaking making;
    double step;
    char const* name;
};

constexpr WalkedTree s_walkedTrees[] = {{TreeMaking::eGROWN, 0.0, "Grown"},
                                        {TreeMaking::eBULK, 0.0, "Bulk"},
                                        {TreeMaking::eSTATIC_8, 0.0, "Static"},
                                        {TreeMaking::eGROWN, eSMALL_STEP, "MovedSmall"},
                                        {TreeMaking::eGROWN, eLARGE_STEP, "MovedLarge"}};

void WalkTree(benchmark::State& state, DynamicSceneKind kind, WalkedTree const& walked,
              WalkPath path)
{
    static std::unique_ptr<SceneTree> s_tree;
    static std::string s_name;
    DynamicScene& scene = GetScene(kind, state.range(0));
    std::string const name = std::to_string(static_cast<int>(kind)) + "/" + walked.name + "/" +
                             std::to_string(state.range(0));
    if (s_name != name) {
        s_tree.reset();
        s_tree = std::make_unique<SceneTree>(scene, walked.making);
        if (walked.step != 0.0) {
            MoveAbout(*s_tree->GetGrown(), scene, walked.step);
        }
        s_name = name;
    }
    RunTreeWalk(state, s_tree->GetRoot(), scene.GetBounds(), path);
}

// ---- Registration -------------------------------------------------------------------------------

constexpr std::int64_t s_sizes[] = {10000, 100000, 1000000};

/// So many rounds that the work is some 100,000 items, and even, so that all come home.
int CountRounds(std::int64_t items)
{
    constexpr std::int64_t eENOUGH = 500000;
    constexpr std::int64_t eFEWEST = 2;
    constexpr std::int64_t eMOST = 50;
    std::int64_t const rounds = eENOUGH / items;
    return static_cast<int>(rounds < eFEWEST ? eFEWEST : rounds > eMOST ? eMOST : rounds / 2 * 2);
}

void RegisterChanges(SceneName const& scene, DynamicCandidate const& candidate)
{
    std::string const suffix = std::string(candidate.name) + "_" + scene.name;
    for (std::int64_t const size : s_sizes) {
        benchmark::RegisterBenchmark(("Insert" + suffix).c_str(), Insert, scene.kind, candidate)
            ->ArgName("shapes")
            ->Arg(size)
            ->Iterations(CountRounds(size))
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Remove" + suffix).c_str(), Remove, scene.kind, candidate)
            ->ArgName("shapes")
            ->Arg(size)
            ->Iterations(CountRounds(size))
            ->Unit(benchmark::kMillisecond);
    }
}

void RegisterMoves(SceneName const& scene, DynamicCandidate const& candidate)
{
    struct Step
    {
        char const* name;
        double metres;
    };

    for (Step const& step : {Step{"Small", eSMALL_STEP}, Step{"Large", eLARGE_STEP}}) {
        std::string const name =
            "Move" + std::string(candidate.name) + "_" + scene.name + step.name;
        for (std::int64_t const size : s_sizes) {
            // 1 %, 10 % and 100 %; and as many in the largest as are 1 % of the middle one.
            for (std::int64_t moved = size == 1000000 ? 1000 : size / 100; moved <= size;
                 moved *= 10) {
                benchmark::RegisterBenchmark(name.c_str(), Move, scene.kind, candidate, step.metres)
                    ->ArgNames({"shapes", "moved"})
                    ->Args({size, moved})
                    ->Iterations(CountRounds(moved))
                    ->Unit(benchmark::kMicrosecond);
            }
        }
    }
}

struct PathName
{
    WalkPath path;
    char const* name;
};

constexpr PathName s_paths[] = {{WalkPath::eVIEW, "View"}, {WalkPath::e40M, "40m"}};

void RegisterCulls(SceneName const& scene, DynamicCandidate const& candidate)
{
    for (std::int64_t const size : s_sizes) {
        for (PathName const& path : s_paths) {
            std::string const name =
                "CullGrown" + std::string(candidate.name) + "_" + scene.name + path.name;
            benchmark::RegisterBenchmark(name.c_str(), CullGrown, scene.kind, candidate, path.path)
                ->ArgName("shapes")
                ->Arg(size)
                ->Unit(benchmark::kMicrosecond);
        }
    }
}

void RegisterWalks(SceneName const& scene)
{
    for (std::int64_t const size : s_sizes) {
        for (WalkedTree const& walked : s_walkedTrees) {
            for (PathName const& path : s_paths) {
                std::string const name =
                    "Walk" + std::string(walked.name) + "_" + scene.name + path.name;
                benchmark::RegisterBenchmark(name.c_str(), WalkTree, scene.kind, walked, path.path)
                    ->ArgName("shapes")
                    ->Arg(size)
                    ->Unit(benchmark::kMicrosecond);
            }
        }
    }
}

int RegisterAll()
{
    for (SceneName const& scene : s_scenes) {
        for (DynamicCandidate const& candidate : s_candidates) {
            RegisterChanges(scene, candidate);
            RegisterMoves(scene, candidate);
            RegisterCulls(scene, candidate);
        }
        RegisterWalks(scene);
    }
    return 0;
}

[[maybe_unused]] int const s_registered = RegisterAll();

} // namespace
