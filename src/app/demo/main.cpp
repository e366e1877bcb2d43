// The demo: a real model, culled, walked best first inside a time budget, and drawn.
//
// Loads or assembles a model, flies through it under a target frame time, draws one frame at shares
// of its cost and with and without occlusion queries, and writes a report. Or (--dynamic) streams
// the model into a dynamic tree while it is viewed, with things that move beside it. Or (--pick)
// picks through pixels and rubber bands, compares that with what OpenGL drew, and walks through the
// model with solid bodies.
// Exit status: 0 done, 1 something could not be read, drawn or written, 2 wrong usage.

#include "demo/DemoOptions.h"
#include "demo/DemoReport.h"
#include "demo/DemoWorld.h"
#include "demo/DynamicFlight.h"
#include "demo/DynamicReport.h"
#include "demo/DynamicScene.h"
#include "demo/Flight.h"
#include "demo/PickReport.h"
#include "demo/PickTour.h"
#include "demo/ProgressLine.h"
#include "demo/ReportParts.h"
#include "demo/Site.h"
#include "demo/Stills.h"
#include "host/Clock.h"
#include "host/model/ModelReader.h"
#include "host/model/TowerScene.h"

#include "util/TqUError.h"

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <utility>

namespace demo
{

namespace
{

constexpr int eDONE = 0;
constexpr int eFAILED = 1;
constexpr int eWRONG_USAGE = 2;

int Fail(std::string const& problem)
{
    std::fflush(stdout);
    std::fprintf(stderr, "demo: %s\n", problem.c_str());
    return eFAILED;
}

bool LoadModel(DemoOptions const& options, host::SceneModel* model, std::string* problem)
{
    ProgressLine line;
    host::ProgressFn const progress = [&line](double share, char const* what) {
        line.Show(share, what);
    };
    if (options.m_model.empty()) {
        host::TowerOptions tower;
        tower.storeys = options.m_storeys;
        *model = host::MakeTower(tower, progress);
        return true;
    }
    std::string reason;
    if (!host::ReadModelFile(options.m_model, *model, reason, progress)) {
        *problem = options.m_model + ": " + reason;
        return false;
    }
    return true;
}

void PrintModel(DemoWorld const& world, std::size_t shapes, double loadSeconds)
{
    host::SceneModel const& model = world.GetModel();
    std::printf("model: %s\n", model.title.c_str());
    if (!model.note.empty()) {
        std::printf("note: %s\n", model.note.c_str());
    }
    std::printf("%s shapes, %s triangles placed, %s stored; ready in %.1f s\n",
                host::FormatCount(shapes).c_str(),
                host::FormatCount(model.GetPlacedTriangles()).c_str(),
                host::FormatCount(model.GetStoredTriangles()).c_str(), loadSeconds);
}

void PrintRenderer(DemoWorld const& world)
{
    std::printf("renderer: %s\n", world.DescribeRenderer().c_str());
    std::fflush(stdout);
}

void PrintHierarchy(DemoWorld const& world)
{
    std::printf("hierarchy: %zu groups, %zu leaves, depth %d, built in %.2f s; upload %.1f s\n",
                world.GetScene().GetCounts().m_groups, world.GetScene().GetCounts().m_leaves,
                world.GetScene().GetCounts().m_depth, world.GetBuildSeconds(),
                world.GetUploadSeconds());
}

// ---- Over a changing tree -----------------------------------------------------------------------

/// Counts what is posted while it lives, and shows it.
class PostCounter
{
public:
    PostCounter() { TqUError::SetHandler(Count, this); }

    ~PostCounter() { TqUError::SetHandler(nullptr, nullptr); }

    PostCounter(PostCounter const&) = delete;
    PostCounter& operator=(PostCounter const&) = delete;

    std::size_t GetCount() const { return m_count; }

private:
    static void Count(TqUSysError::Severity /*severity*/, char const* component, char const* text,
                      void* userData)
    {
        ++static_cast<PostCounter*>(userData)->m_count;
        std::fprintf(stderr, "demo: posted by %s: %s\n", component, text);
    }

    std::size_t m_count = 0;
};

int RunDynamic(DemoOptions const& options, DemoWorld* world, host::SceneModel&& model, double start)
{
    double const loadSeconds = host::Now() - start;
    if (model.placements.empty()) {
        return Fail("the model has no shapes");
    }
    Site const site(&model, options.m_model.empty());
    world->TakeModelOnly(std::move(model));
    PrintModel(*world, world->GetModel().placements.size(), loadSeconds);
    PrintRenderer(*world);
    DynamicScene scene(world->GetModel(), world->GetRenderer(), site.GetFirstOwn());
    PostCounter const posts;
    DynamicFlightResult const flight =
        FlyDynamic(world, &scene, site, host::CameraPath(site.MakePath()), options);
    DynamicRun const run{options,
                         *world,
                         flight,
                         site.GetNumModelPlacements(),
                         posts.GetCount(),
                         loadSeconds,
                         host::Now() - start};
    std::printf("tree: %s\n", DescribeCheck(flight).c_str());
    std::string problem;
    std::string const report = WriteDynamicReport(run, &problem);
    if (report.empty()) {
        return Fail(problem);
    }
    std::printf("%s\n", DynamicSummaryLine(run, report).c_str());
    return flight.m_check.IsGood() && flight.m_badTris == 0 ? eDONE : Fail("the tree went wrong");
}

// ---- Picks --------------------------------------------------------------------------------------

int RunPicks(DemoOptions const& options, DemoWorld* world, double loadSeconds, double start)
{
    PickTour tour;
    std::string problem;
    if (!TourPicks(world, options, &tour, &problem)) {
        return Fail(problem);
    }
    PickRun const run{options, *world, tour, loadSeconds, host::Now() - start};
    std::string const report = WritePickReport(run, &problem);
    if (report.empty()) {
        return Fail(problem);
    }
    std::printf("%s\n", PickSummaryLine(run, report).c_str());
    std::string const fault = tour.FindFault();
    return fault.empty() ? eDONE : Fail(fault);
}

// ---- The flight ---------------------------------------------------------------------------------

int Run(DemoOptions const& options)
{
    double const start = host::Now();
    std::string problem;
    DemoWorld world;
    // Whatever can fail at once fails before the model is read.
    if (!PrepareFolder(options.m_out, &problem) || !world.OpenDrawing(options, &problem)) {
        return Fail(problem);
    }
    host::SceneModel model;
    if (!LoadModel(options, &model, &problem)) {
        return Fail(problem);
    }
    if (options.m_dynamic) {
        return RunDynamic(options, &world, std::move(model), start);
    }
    double const loadSeconds = host::Now() - start;
    world.TakeModel(std::move(model));
    PrintModel(world, world.GetScene().GetNumShapes(), loadSeconds);
    PrintHierarchy(world);
    PrintRenderer(world);
    if (options.m_pick) {
        return RunPicks(options, &world, loadSeconds, start);
    }

    host::CameraPath const path(world.GetModel().path);
    FlightResult const flight = Fly(&world, path, options);
    ProgressLine line;
    line.Show(0.0, "choosing frames to look at closely");
    ChosenFrames const chosen = ChooseFrames(&world, path, flight);
    std::size_t const frames = flight.m_log.size();
    line.Show(0.2, "one frame, complete and at 5, 10 and 25 % of its cost");
    std::vector<Still> const shares = DrawShares(
        &world, GetFlightKey(path, chosen.m_shares, frames), options.m_queries, {0.05, 0.10, 0.25});
    line.Show(0.5, "one frame with and without occlusion queries");
    host::CameraKey const queried = GetFlightKey(path, chosen.m_queries, frames);
    std::vector<QueryComparison> queries;
    queries.push_back(CompareQueries(&world, queried, 0.0));
    queries.push_back(CompareQueries(&world, queried, GetDemoCullArea()));
    for (QueryComparison const& comparison : queries) {
        char text[256];
        std::snprintf(text, sizeof text,
                      "queries, cull area %g: %s triangles become %s, %u issued, %u ready, %u "
                      "aborted, %u occluded, %zu pixels differ",
                      comparison.m_cullArea,
                      host::FormatShort(comparison.m_without.m_record.m_tris).c_str(),
                      host::FormatShort(comparison.m_with.m_record.m_tris).c_str(),
                      comparison.m_with.m_queries.m_issued, comparison.m_with.m_queries.m_ready,
                      comparison.m_with.m_queries.m_aborted, comparison.m_with.m_queries.m_occluded,
                      comparison.m_difference.m_pixels);
        line.Print(text);
    }
    line.Show(0.8, "writing the report");
    DemoRun const run{options, world,   flight,      chosen,
                      shares,  queries, loadSeconds, host::Now() - start};
    std::string const report = WriteReport(run, &problem);
    line.Clear();
    if (report.empty()) {
        return Fail(problem);
    }
    std::printf("%s\n", SummaryLine(run, report).c_str());
    return eDONE;
}

int Main(int count, char** arguments)
{
    DemoOptions options;
    std::string problem;
    if (!ParseDemoOptions(count, arguments, &options, &problem)) {
        std::fprintf(stderr, "demo: %s\n%s\n", problem.c_str(), GetDemoUsage());
        return eWRONG_USAGE;
    }
    if (options.m_help) {
        std::printf("%s\n", GetDemoUsage());
        return eDONE;
    }
    try {
        return Run(options);
    } catch (std::bad_alloc const&) {
        return Fail("not enough memory");
    } catch (std::exception const& error) {
        return Fail(error.what());
    }
}

} // namespace

} // namespace demo

int main(int count, char** arguments)
{
    return demo::Main(count, arguments);
}
