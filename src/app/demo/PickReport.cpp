#include "demo/PickReport.h"

#include "demo/Machine.h"
#include "demo/PickPictures.h"
#include "demo/PickTable.h"
#include "demo/ReportParts.h"
#include "host/report/ContactSheet.h"
#include "host/report/FrameLog.h"
#include "host/report/HtmlReport.h"
#include "host/report/PngFile.h"

#include <vector>

namespace demo
{

namespace
{

using host::FormatCount;
using host::HtmlReport;
using host::Image;

constexpr int eSHEET_COLUMNS = 3;
constexpr int eCELL_WIDTH = 480;
constexpr int ePLAN_WIDTH = 960;
constexpr std::size_t eSHOWN_BAND = 2;
constexpr std::size_t eMAX_EXAMPLES = 12;

using Row = std::vector<std::string>;

int GetCellHeight(PickRun const& run)
{
    return eCELL_WIDTH * run.m_options.m_height / run.m_options.m_width;
}

/// View, id buffer and picked pixels of each view, in a row.
Image MakePickSheet(PickRun const& run)
{
    std::vector<host::SheetCell> cells;
    int number = 0;
    for (PickView const& view : run.m_tour.m_views) {
        ++number;
        std::size_t const same =
            view.Count(PixelVerdict::eSAME) + view.Count(PixelVerdict::eBACKGROUND);
        cells.push_back({view.m_picture, Format("view %d", number), false});
        cells.push_back(
            {MakeIdImage(view.m_ids), Format("%zu shapes drawn", view.m_numDrawn), false});
        cells.push_back({MakePixelImage(view),
                         Format("%zu of %zu picks agree", same, view.m_pixels.size()),
                         same != view.m_pixels.size()});
    }
    return host::MakeContactSheet(cells, eSHEET_COLUMNS, eCELL_WIDTH, GetCellHeight(run), 2,
                                  "view, shapes by number, picked pixels");
}

Image MakeBandSheet(PickRun const& run)
{
    std::vector<host::SheetCell> cells;
    for (PickView const& view : run.m_tour.m_views) {
        RubberBand const& band = view.m_bands[eSHOWN_BAND];
        cells.push_back(
            {MakeBandImage(view, eSHOWN_BAND),
             Format("%zu touch, %zu of them inside", band.m_touching.m_placements.size(),
                    band.m_contained.m_placements.size()),
             !band.IsRight()});
    }
    return host::MakeContactSheet(cells, eSHEET_COLUMNS, eCELL_WIDTH, GetCellHeight(run), 2,
                                  "rubber bands, tinted: what the thick one lists");
}

/// One value of every pixel whose pick hit something.
template <class Get>
std::vector<double> GetHitValues(PickTour const& tour, Get get)
{
    std::vector<double> values;
    for (PickView const& view : tour.m_views) {
        std::vector<double> const some = GetHitValues(view, get);
        values.insert(values.end(), some.begin(), some.end());
    }
    return values;
}

std::string GetMark(RubberBand const& band)
{
    if (!band.IsRight()) {
        return "WRONG";
    }
    return band.IsTimedOut() ? "ran out of time" : "right";
}

std::string Times(std::vector<double> const& seconds)
{
    return Format("median %.1f us, 95th percentile %.1f us, longest %.1f us",
                  host::Percentile(seconds, 0.5) * 1e6, host::Percentile(seconds, 0.95) * 1e6,
                  host::Percentile(seconds, 1.0) * 1e6);
}

void AddSummary(PickRun const& run, HtmlReport* page)
{
    PickTour const& tour = run.m_tour;
    host::SceneModel const& model = run.m_world.GetModel();
    if (!model.note.empty()) {
        page->AddParagraph(model.note);
    }
    page->AddParagraph(
        "Each view is drawn as a whole frame, and once more into a buffer of shape and triangle "
        "numbers with its depths. Picks that follow the frame go through pixels spread over the "
        "picture, each picked shape and point is compared with what OpenGL found at the pixel's "
        "centre. Points agree when the two triangles, inside the pixel's frustum, span overlapping "
        "distances, up to the rounding of the depth buffer. Rubber bands are compared with the "
        "shapes that show a pixel in them, and with a test of every drawn shape by itself. At the "
        "end solid bodies walk through the model. Times of picks are those of picks that hit "
        "something.");
    std::string const fault = tour.FindFault();
    page->AddFacts({
        {"Model", model.title},
        {"Shapes", FormatCount(model.placements.size())},
        {"Triangles", FormatCount(model.GetPlacedTriangles()) + " placed"},
        {"Result", fault.empty() ? "every check holds" : "WRONG: " + fault},
        {"Pixels picked",
         FormatCount(tour.GetNumPixels()) + Format(", %.3f %% agree", 100.0 * tour.GetAgreement())},
        {"A pick that hits",
         Times(GetHitValues(tour, [](PixelPick const& p) { return p.m_seconds; }))},
        {"The walk of it alone",
         Times(GetHitValues(tour, [](PixelPick const& p) { return p.m_walkSeconds; })) +
             ", with nothing left out behind the nearest hit"},
        {"Rubber bands", FormatCount(tour.GetNumBands()) +
                             Format(", %zu of them ran out of time", tour.CountTimedOut())},
        {"Trees over triangles",
         FormatCount(tour.m_treeBytes) + Format(" bytes, built in %.1f s", tour.m_treeSeconds)},
        {"Pictures", Format("%d x %d pixels", run.m_options.m_width, run.m_options.m_height)},
        {"Renderer", run.m_world.DescribeRenderer()},
        {"Machine", DescribeMachine()},
        {"Time", Format("%.1f s in all: model %.1f s, upload %.1f s, picks and walks %.1f s",
                        run.m_totalSeconds, run.m_loadSeconds, run.m_world.GetUploadSeconds(),
                        tour.m_seconds)},
    });
}

void AddAgreement(PickRun const& run, HtmlReport* page)
{
    std::vector<Row> rows;
    for (PickView const& view : run.m_tour.m_views) {
        rows.push_back(PickTableCells(view, rows.size() + 1));
    }
    page->AddTable(PickTableColumns(), rows);
}

std::string Describe(PixelHit const& hit)
{
    return hit.m_isHit ? Format("shape %u, triangle %u at %.4f m", hit.m_placement, hit.m_triangle,
                                hit.m_distance)
                       : std::string("nothing");
}

void AddDifferences(PickRun const& run, HtmlReport* page)
{
    std::vector<Row> rows;
    int number = 0;
    for (PickView const& view : run.m_tour.m_views) {
        ++number;
        for (PixelPick const& pixel : view.m_pixels) {
            bool const agrees = pixel.m_verdict == PixelVerdict::eSAME ||
                                pixel.m_verdict == PixelVerdict::eBACKGROUND;
            if (!agrees && rows.size() < eMAX_EXAMPLES) {
                rows.push_back({std::to_string(number), Format("%d, %d", pixel.m_x, pixel.m_y),
                                Describe(pixel.m_picked), Describe(pixel.m_seen),
                                GetVerdictName(pixel.m_verdict)});
            }
        }
    }
    if (rows.empty()) {
        page->AddParagraph("No pick differs from the picture.");
        return;
    }
    page->AddParagraph(
        "The first differences, with what they were found to be. Two surfaces at one "
        "depth: either may be seen. An edge through the centre: the nearer triangle's "
        "rim passes within a sixteenth of a pixel, where rasterisers round.");
    page->AddTable({"view", "pixel", "picked", "seen", "because"}, rows);
}

void AddBands(PickRun const& run, HtmlReport* page)
{
    std::vector<Row> rows;
    int number = 0;
    for (PickView const& view : run.m_tour.m_views) {
        ++number;
        for (RubberBand const& band : view.m_bands) {
            rows.push_back({std::to_string(number),
                            Format("%d x %d", band.m_x1 - band.m_x0, band.m_y1 - band.m_y0),
                            FormatCount(band.m_touching.m_placements.size()),
                            FormatCount(band.m_contained.m_placements.size()),
                            FormatCount(band.m_numSeen),
                            Format("%.2f", band.m_touching.m_seconds * 1e3),
                            Format("%.2f", band.m_contained.m_seconds * 1e3), GetMark(band)});
        }
    }
    page->AddTable({"view", "pixels", "touching", "contained", "seen in it", "touching, ms",
                    "contained, ms", "lists"},
                   rows);
}

void AddWalks(PickRun const& run, HtmlReport* page)
{
    std::vector<Row> rows;
    for (BodyWalk const& walk : run.m_tour.m_walks) {
        WalkResult const& result = walk.m_result;
        rows.push_back({walk.m_name, FormatCount(walk.m_stops.size()), FormatCount(result.m_stops),
                        FormatCount(result.m_stopsInside), FormatCount(result.m_steps.size()),
                        Format("%.1f m", result.m_distance), FormatCount(result.m_contacts),
                        FormatCount(result.m_inside), FormatCount(walk.m_crossings),
                        Times(result.m_nearestSeconds), Times(result.m_depthSeconds),
                        FormatCount(result.m_parted)});
    }
    page->AddParagraph(
        "Steps of half a metre. At a contact the body stops a millimetre before it and slides on; "
        "after every step, smaller by half of that, it must touch nothing. The line of its centre "
        "may cross no triangle near it; hierarchy and picks have no part in that check. Each sweep "
        "is made twice, nearest first and depth first, and must find the same distance to be free. "
        "A walk begins at the first stop with room for the body.");
    page->AddTable({"body and way", "stops", "set out for", "without room", "steps", "distance",
                    "contacts", "ended inside", "went through", "sweep, nearest first",
                    "sweep, depth first", "differ"},
                   rows);
}

} // namespace

std::string WritePickReport(PickRun const& run, std::string* problem)
{
    std::string const folder = run.m_options.m_out + "/";
    Image const picks = MakePickSheet(run);
    Image const bands = MakeBandSheet(run);
    Image const walks = MakeWalkImage(run.m_world.GetModel(), run.m_tour.m_walks, ePLAN_WIDTH);
    HtmlReport page("scenecull: " + run.m_world.GetModel().title + ", picked");
    AddSummary(run, &page);
    page.AddHeading("Picks through pixels");
    page.AddPicture(picks, "Green: pick and picture agree. Blue: nothing in either. Yellow: an "
                           "explained difference. Red: another.");
    AddAgreement(run, &page);
    AddDifferences(run, &page);
    page.AddHeading("Rubber bands");
    page.AddPicture(bands, "Orange: touches the rectangle with the thick rim. Blue: lies wholly "
                           "inside it. What is hidden behind is listed, too.");
    AddBands(run, &page);
    page.AddHeading("Walks with a body");
    page.AddPicture(walks,
                    "From above, all storeys, and below it where bodies met something: walls "
                    "grey, ways by body, steps with contacts red.");
    AddWalks(run, &page);
    AddCredits(run.m_world.GetModel(), &page);
    std::string const path = folder + "report.html";
    bool const written =
        host::WritePngFile(folder + "picks.png", picks, problem) &&
        host::WritePngFile(folder + "bands.png", bands, problem) &&
        host::WritePngFile(folder + "walks.png", walks, problem) &&
        host::WriteTextFile(folder + "picks.csv", PicksToCsv(run.m_tour.m_views), problem) &&
        host::WriteTextFile(path, page.ToHtml(), problem);
    return written ? path : std::string();
}

std::string PickSummaryLine(PickRun const& run, std::string const& reportPath)
{
    PickTour const& tour = run.m_tour;
    std::vector<double> const seconds =
        GetHitValues(tour, [](PixelPick const& p) { return p.m_seconds; });
    return Format("demo: %s picks, %.3f %% agree with the picture, hits take a median of %.0f us; "
                  "%zu rubber bands, %zu out of time; ",
                  FormatCount(tour.GetNumPixels()).c_str(), 100.0 * tour.GetAgreement(),
                  host::Percentile(seconds, 0.5) * 1e6, tour.GetNumBands(), tour.CountTimedOut()) +
           reportPath;
}

} // namespace demo
