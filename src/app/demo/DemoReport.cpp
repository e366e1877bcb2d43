#include "demo/DemoReport.h"

#include "demo/DemoPlots.h"
#include "demo/FrameTable.h"
#include "demo/Machine.h"
#include "demo/ReportParts.h"
#include "host/report/HtmlReport.h"
#include "host/report/PngFile.h"

#include <algorithm>
#include <utility>

namespace demo
{

namespace
{

using host::FormatCount;
using host::FormatShort;
using host::FrameRecord;
using host::HtmlReport;
using host::Image;

constexpr int eSHEET_COLUMNS = 6;
constexpr int eSTILL_WIDTH = 640;
constexpr std::size_t eTABLE_FRAMES = 10;

std::vector<double> FrameTimes(DemoRun const& run)
{
    std::vector<double> times;
    for (FrameRecord const& frame : run.m_flight.m_log) {
        times.push_back(frame.m_frameTime);
    }
    return times;
}

std::size_t CountComplete(DemoRun const& run)
{
    auto const& log = run.m_flight.m_log;
    return static_cast<std::size_t>(std::count_if(
        log.begin(), log.end(), [](FrameRecord const& frame) { return !frame.m_clipped; }));
}

double MeanTris(DemoRun const& run)
{
    double sum = 0.0;
    for (FrameRecord const& frame : run.m_flight.m_log) {
        sum += frame.m_tris;
    }
    return run.m_flight.m_log.empty() ? 0.0 : sum / static_cast<double>(run.m_flight.m_log.size());
}

// ---- Pictures -----------------------------------------------------------------------------------

Image MakeFrameSheet(DemoRun const& run)
{
    return host::MakeContactSheet(run.m_flight.m_cells, eSHEET_COLUMNS, run.m_flight.m_cellWidth,
                                  run.m_flight.m_cellHeight, 1,
                                  Format("%s: %d frames at %.0f ms",
                                         run.m_world.GetModel().title.c_str(),
                                         run.m_options.m_frames, run.m_options.m_targetTime * 1e3));
}

int StillHeight(DemoRun const& run)
{
    return std::max(eSTILL_WIDTH * run.m_options.m_height / run.m_options.m_width, 1);
}

Image MakeBudgetSheet(DemoRun const& run)
{
    std::vector<host::SheetCell> cells;
    for (Still const& still : run.m_shares) {
        std::string const what =
            still.m_budget == 0 ? "complete" : Format("%.0f%%", still.m_share * 100.0);
        cells.push_back(
            {still.m_picture,
             Format("%s: %s triangles, %.0f ms", what.c_str(),
                    FormatShort(still.m_record.m_tris).c_str(), still.m_record.m_frameTime * 1e3),
             false});
    }
    return host::MakeContactSheet(cells, 2, eSTILL_WIDTH, StillHeight(run), 2,
                                  "one frame, best first");
}

Image MakeQuerySheet(DemoRun const& run)
{
    std::vector<host::SheetCell> cells;
    for (QueryComparison const& comparison : run.m_queries) {
        Still const* stills[] = {&comparison.m_without, &comparison.m_with};
        for (Still const* still : stills) {
            cells.push_back({still->m_picture,
                             Format("%s queries: %s triangles, %.0f ms",
                                    still == &comparison.m_with ? "with" : "without",
                                    FormatCount(still->m_record.m_tris).c_str(),
                                    still->m_record.m_frameTime * 1e3),
                             false});
        }
        cells.push_back({comparison.m_difference.m_picture,
                         Format("cull area %g: %s pixels differ", comparison.m_cullArea,
                                FormatCount(comparison.m_difference.m_pixels).c_str()),
                         comparison.m_difference.m_pixels > 0});
    }
    return host::MakeContactSheet(cells, 3, eSTILL_WIDTH, StillHeight(run), 2,
                                  "with and without occlusion queries");
}

// ---- Page ---------------------------------------------------------------------------------------

void AddSummary(DemoRun const& run, HtmlReport* page)
{
    host::SceneModel const& model = run.m_world.GetModel();
    host::HierarchyCounts const& counts = run.m_world.GetScene().GetCounts();
    std::vector<double> const times = FrameTimes(run);
    double const median = host::Percentile(times, 0.5);
    if (!model.note.empty()) {
        page->AddParagraph(model.note);
    }
    page->AddFacts({
        {"Model", model.title},
        {"Shapes", FormatCount(run.m_world.GetScene().GetNumShapes())},
        {"Triangles", FormatCount(model.GetPlacedTriangles()) + " placed, " +
                          FormatCount(model.GetStoredTriangles()) + " stored in " +
                          FormatCount(model.meshes.size()) + " meshes"},
        {"Hierarchy", FormatCount(counts.m_groups) + " groups, " + FormatCount(counts.m_leaves) +
                          " leaves, depth " + std::to_string(counts.m_depth) +
                          Format(", built in %.0f ms", run.m_world.GetBuildSeconds() * 1e3)},
        {"Frame time",
         Format("median %.1f ms, 95th percentile %.1f ms, longest %.1f ms; target %.1f ms",
                median * 1e3, host::Percentile(times, 0.95) * 1e3,
                host::Percentile(times, 1.0) * 1e3, run.m_options.m_targetTime * 1e3)},
        {"Drawn",
         FormatShort(MeanTris(run)) + Format(" triangles a frame in the mean, %zu of %zu frames "
                                             "complete",
                                             CountComplete(run), run.m_flight.m_log.size())},
        {"Pictures", Format("%d x %d pixels", run.m_options.m_width, run.m_options.m_height)},
        {"Occlusion queries", run.m_options.m_queries ? "on" : "off during the flight"},
        {"Renderer", run.m_world.DescribeRenderer()},
        {"Machine", DescribeMachine()},
        {"Time", Format("%.1f s in all: model %.1f s, upload %.1f s (%.0f MB), hierarchy %.2f s, "
                        "flight %.1f s",
                        run.m_totalSeconds, run.m_loadSeconds, run.m_world.GetUploadSeconds(),
                        static_cast<double>(run.m_world.GetMeshes().GetNumBytes()) * 1e-6,
                        run.m_world.GetBuildSeconds(), run.m_flight.m_seconds)},
    });
}

void AddBudget(DemoRun const& run, Image const& sheet, HtmlReport* page)
{
    Still const& whole = run.m_shares.front();
    page->AddHeading("Best first: one frame at shares of its cost");
    page->AddParagraph(
        "Frame " + std::to_string(run.m_chosen.m_shares + 1) + " of the flight, " +
        Format("%.0f %%", run.m_flight.m_fills[run.m_chosen.m_shares] * 100.0) +
        " of it model rather than sky, first drawn complete (policy \"never interactive\", stress "
        "1, cull area " +
        Format("%g", GetDemoCullArea()) + " pixels, occlusion queries " +
        (run.m_options.m_queries ? "on" : "off") + "): " + FormatCount(whole.m_record.m_tris) +
        " triangles in " + FormatCount(whole.m_record.m_shapes) +
        " shapes. Then the same frame with a triangle target of a share of that (policy \"always "
        "interactive\", low band 0 so that the target ends the frame, a target time too long to "
        "matter, stress 1). What is largest in the picture is drawn first.");
    page->AddPicture(sheet, "Complete, and at 5 %, 10 % and 25 % of its triangles");
    std::vector<std::vector<std::string>> rows;
    for (Still const& still : run.m_shares) {
        rows.push_back({still.m_budget == 0 ? "complete" : Format("%.0f %%", still.m_share * 100.0),
                        still.m_budget == 0 ? "none" : FormatCount(still.m_budget),
                        FormatCount(still.m_record.m_tris), FormatCount(still.m_record.m_shapes),
                        FormatCount(still.m_record.m_leaves),
                        FormatCount(still.m_record.m_nodesTested),
                        Format("%.1f", still.m_record.m_frameTime * 1e3)});
    }
    page->AddTable({"frame", "triangle target", "triangles drawn", "shapes", "leaves",
                    "nodes tested", "frame ms"},
                   rows);
}

void AddQueries(DemoRun const& run, Image const& sheet, HtmlReport* page)
{
    page->AddHeading("Occlusion queries");
    page->AddParagraph(
        "Frame " + std::to_string(run.m_chosen.m_queries + 1) +
        " of the flight, complete, with and without queries. With a cull area of 0 a node is left "
        "out only if no sample of its box passed the depth test, so the pictures should be equal; "
        "a "
        "rasteriser may still let a sliver of a triangle shine through a wall at a single pixel, "
        "where its depth is computed wrongly, and such a pixel is gone with the node. "
        "With the flight's cull area a node is left out as well if fewer pixels than that were to "
        "be seen of its box, so single pixels may differ; they are red in the picture. A query is "
        "not asked for a node of few triangles, which costs less than its query, nor for one whose "
        "box reaches up to the eye.");
    page->AddPicture(sheet, "Without queries, with queries, and the pixels that differ");
    std::vector<std::vector<std::string>> rows;
    for (QueryComparison const& comparison : run.m_queries) {
        for (bool const with : {false, true}) {
            Still const& still = with ? comparison.m_with : comparison.m_without;
            rows.push_back(
                {Format("%g", comparison.m_cullArea), with ? "with" : "without",
                 FormatCount(still.m_record.m_tris), FormatCount(still.m_record.m_trisOcclusion),
                 Format("%.1f", still.m_record.m_frameTime * 1e3),
                 FormatCount(still.m_queries.m_issued), FormatCount(still.m_queries.m_ready),
                 FormatCount(still.m_queries.m_aborted), FormatCount(still.m_queries.m_occluded),
                 FormatCount(still.m_queries.m_declined),
                 with ? FormatCount(comparison.m_difference.m_pixels) + " of " +
                            FormatCount(still.m_picture.GetPixels().size() / 3)
                      : ""});
        }
    }
    page->AddTable({"cull area", "queries", "triangles drawn", "occlusion culled", "frame ms",
                    "issued", "ready", "aborted", "occluded", "declined", "different pixels"},
                   rows);
}

void AddFlight(DemoRun const& run, HtmlReport* page)
{
    auto const& log = run.m_flight.m_log;
    page->AddHeading("Over the path");
    page->AddMarkup(MakePlots(log, run.m_world.GetModel().GetPlacedTriangles()));
    page->AddParagraph("Means of ten frames; stress, load and triangle target of the tenth. Culled "
                       "triangles are counted at the highest node that was culled.");
    std::vector<std::vector<std::string>> rows;
    for (std::size_t first = 0; first < log.size(); first += eTABLE_FRAMES) {
        rows.push_back(FrameTableCells(log, first, std::min(first + eTABLE_FRAMES, log.size())));
    }
    page->AddTable(FrameTableColumns(), rows);
}

} // namespace

std::string WriteReport(DemoRun const& run, std::string* problem)
{
    std::string const folder = run.m_options.m_out + "/";
    Image const frames = MakeFrameSheet(run);
    Image const budget = MakeBudgetSheet(run);
    Image const queries = MakeQuerySheet(run);
    HtmlReport page("scenecull: " + run.m_world.GetModel().title);
    AddSummary(run, &page);
    page.AddHeading("The flight");
    page.AddPicture(frames, "Frames in order, with frame time and triangles drawn");
    AddBudget(run, budget, &page);
    AddFlight(run, &page);
    AddQueries(run, queries, &page);
    AddCredits(run.m_world.GetModel(), &page);
    std::string const path = folder + "report.html";
    bool const written =
        host::WritePngFile(folder + "contact.png", frames, problem) &&
        host::WritePngFile(folder + "budget.png", budget, problem) &&
        host::WritePngFile(folder + "frame.png", run.m_shares.front().m_picture, problem) &&
        host::WritePngFile(folder + "queries.png", queries, problem) &&
        host::WriteTextFile(folder + "frames.csv", host::FramesToCsv(run.m_flight.m_log),
                            problem) &&
        host::WriteTextFile(path, page.ToHtml(), problem);
    return written ? path : std::string();
}

std::string SummaryLine(DemoRun const& run, std::string const& reportPath)
{
    std::vector<double> const times = FrameTimes(run);
    return Format("demo: %zu frames of %s shapes and %s triangles, median %.0f ms and 95th "
                  "percentile %.0f ms at a target of %.0f ms, %s triangles a frame: ",
                  run.m_flight.m_log.size(),
                  FormatCount(run.m_world.GetScene().GetNumShapes()).c_str(),
                  FormatShort(static_cast<double>(run.m_world.GetModel().GetPlacedTriangles()))
                      .c_str(),
                  host::Percentile(times, 0.5) * 1e3, host::Percentile(times, 0.95) * 1e3,
                  run.m_options.m_targetTime * 1e3, FormatShort(MeanTris(run)).c_str()) +
           reportPath;
}

} // namespace demo
