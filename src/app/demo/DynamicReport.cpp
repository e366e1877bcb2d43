#include "demo/DynamicReport.h"

#include "demo/DynamicPlots.h"
#include "demo/Machine.h"
#include "demo/ReportParts.h"
#include "host/report/HtmlReport.h"
#include "host/report/PngFile.h"

#include <algorithm>
#include <vector>

namespace demo
{

namespace
{

using host::FormatCount;
using host::FormatShort;
using host::HtmlReport;
using host::Image;

constexpr int eSHEET_COLUMNS = 6;
constexpr std::size_t eTABLE_FRAMES = 10;

template <class Get>
std::vector<double> Values(DynamicRun const& run, Get get)
{
    std::vector<double> values;
    for (DynamicRecord const& record : run.m_flight.m_log) {
        values.push_back(static_cast<double>(get(record)));
    }
    return values;
}

template <class Get>
std::size_t Sum(DynamicRun const& run, Get get)
{
    std::size_t sum = 0;
    for (DynamicRecord const& record : run.m_flight.m_log) {
        sum += get(record);
    }
    return sum;
}

/// Median, 95th percentile and largest of a time, in milliseconds.
template <class Get>
std::string Times(DynamicRun const& run, Get get)
{
    std::vector<double> const times = Values(run, get);
    return Format("median %.2f ms, 95th percentile %.2f ms, longest %.2f ms",
                  host::Percentile(times, 0.5) * 1e3, host::Percentile(times, 0.95) * 1e3,
                  host::Percentile(times, 1.0) * 1e3);
}

Image MakeFrameSheet(DynamicRun const& run)
{
    return host::MakeContactSheet(
        run.m_flight.m_cells, eSHEET_COLUMNS, run.m_flight.m_cellWidth, run.m_flight.m_cellHeight,
        1,
        Format("%s, growing: %d frames with shapes in the tree and update time",
               run.m_world.GetModel().title.c_str(), run.m_options.m_frames));
}

void AddSummary(DynamicRun const& run, HtmlReport* page)
{
    host::SceneModel const& model = run.m_world.GetModel();
    if (!model.note.empty()) {
        page->AddParagraph(model.note);
    }
    DynamicRecord const& last = run.m_flight.m_log.back();
    std::size_t const moved = Sum(run, [](DynamicRecord const& r) { return r.m_moved; });
    page->AddParagraph(
        "The model's shapes enter a dynamic tree one by one while frames are drawn; after two "
        "thirds of the flight it is complete, and a tenth of it leaves again, the last first. "
        "Beside it a crane turns and lifts a pipe module, and a belt carries small parts: a part "
        "that reaches the end is removed and a new one is added at the start. Before each frame "
        "the changes are made, the root is updated, and the tree is walked and drawn.");
    page->AddFacts({
        {"Model", model.title},
        {"Shapes", FormatCount(run.m_modelShapes) + " of the model and " +
                       FormatCount(model.placements.size() - run.m_modelShapes) +
                       " of the crane, its load and the belt"},
        {"Triangles", FormatCount(model.GetPlacedTriangles()) + " placed"},
        {"Changes",
         FormatCount(Sum(run, [](DynamicRecord const& r) { return r.m_added; })) + " added, " +
             FormatCount(Sum(run, [](DynamicRecord const& r) { return r.m_removed; })) +
             " removed, " + FormatCount(moved) +
             Format(" moves, %.0f a frame",
                    static_cast<double>(moved) / static_cast<double>(run.m_flight.m_log.size()))},
        {"Tree at the end", FormatCount(last.m_inTree) + " shapes, depth " +
                                std::to_string(last.m_depth) + "; " + DescribeCheck(run.m_flight)},
        {"Errors posted", FormatCount(run.m_posts)},
        {"Update", Times(run, [](DynamicRecord const& r) { return r.m_updateTime; })},
        {"Adding and removing", Times(run, [](DynamicRecord const& r) { return r.m_editTime; })},
        {"Walk, with drawing calls",
         Times(run, [](DynamicRecord const& r) { return r.m_draw.m_traversalTime; })},
        {"Frame", Times(run, [](DynamicRecord const& r) { return r.m_draw.m_frameTime; }) +
                      Format("; target %.0f ms", run.m_options.m_targetTime * 1e3)},
        {"Pictures", Format("%d x %d pixels", run.m_options.m_width, run.m_options.m_height)},
        {"Renderer", run.m_world.DescribeRenderer()},
        {"Machine", DescribeMachine()},
        {"Time",
         Format("%.1f s in all: model %.1f s, upload %.1f s, flight %.1f s", run.m_totalSeconds,
                run.m_loadSeconds, run.m_world.GetUploadSeconds(), run.m_flight.m_seconds)},
    });
}

void AddTable(DynamicRun const& run, HtmlReport* page)
{
    auto const& log = run.m_flight.m_log;
    page->AddParagraph("Means of ten frames; shapes in the tree and depth of the tenth.");
    std::vector<std::vector<std::string>> rows;
    for (std::size_t first = 0; first < log.size(); first += eTABLE_FRAMES) {
        rows.push_back(DynamicTableCells(log, first, std::min(first + eTABLE_FRAMES, log.size())));
    }
    page->AddTable(DynamicTableColumns(), rows);
}

} // namespace

std::string DescribeCheck(DynamicFlightResult const& flight)
{
    TreeCheck const& check = flight.m_check;
    if (check.IsGood() && flight.m_badTris == 0) {
        return "a visit finds exactly the shapes that were added and not removed, in boxes that "
               "are exactly those of their contents";
    }
    return "the tree is WRONG: " + FormatCount(check.m_visited) + " shapes visited, " +
           FormatCount(check.m_listed) + " expected, " + FormatCount(check.m_strays) +
           " strays, triangles " + (check.m_trisAgree ? "right" : "wrong") + ", box " +
           (check.m_boxAgrees ? "right" : "wrong") + ", " + FormatCount(check.m_wrongBoxes) +
           " groups with a wrong box, triangles wrong in " + FormatCount(flight.m_badTris) +
           " frames";
}

std::string WriteDynamicReport(DynamicRun const& run, std::string* problem)
{
    std::string const folder = run.m_options.m_out + "/";
    Image const frames = MakeFrameSheet(run);
    HtmlReport page("scenecull: " + run.m_world.GetModel().title + ", changing");
    AddSummary(run, &page);
    page.AddHeading("The flight");
    page.AddPicture(frames, "Frames in order, with shapes in the tree and update time");
    page.AddPicture(run.m_flight.m_picture, "Frame " +
                                                std::to_string(run.m_flight.m_pictureFrame + 1) +
                                                ", when the model has become complete");
    page.AddHeading("Over the path");
    page.AddMarkup(MakeDynamicPlots(run.m_flight.m_log));
    AddTable(run, &page);
    AddCredits(run.m_world.GetModel(), &page);
    std::string const path = folder + "report.html";
    bool const written =
        host::WritePngFile(folder + "contact.png", frames, problem) &&
        host::WritePngFile(folder + "frame.png", run.m_flight.m_picture, problem) &&
        host::WriteTextFile(folder + "frames.csv", DynamicToCsv(run.m_flight.m_log), problem) &&
        host::WriteTextFile(path, page.ToHtml(), problem);
    return written ? path : std::string();
}

std::string DynamicSummaryLine(DynamicRun const& run, std::string const& reportPath)
{
    std::vector<double> const updates =
        Values(run, [](DynamicRecord const& r) { return r.m_updateTime; });
    std::vector<double> const frames =
        Values(run, [](DynamicRecord const& r) { return r.m_draw.m_frameTime; });
    return Format("demo: %zu frames, %s shapes in the tree at the end, update median %.1f ms and "
                  "95th percentile %.1f ms, frame median %.0f ms at a target of %.0f ms: ",
                  run.m_flight.m_log.size(),
                  FormatCount(run.m_flight.m_log.back().m_inTree).c_str(),
                  host::Percentile(updates, 0.5) * 1e3, host::Percentile(updates, 0.95) * 1e3,
                  host::Percentile(frames, 0.5) * 1e3, run.m_options.m_targetTime * 1e3) +
           reportPath;
}

} // namespace demo
