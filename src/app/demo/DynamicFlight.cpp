#include "demo/DynamicFlight.h"

#include "demo/Flight.h"
#include "demo/ProgressLine.h"
#include "demo/ReportParts.h"
#include "demo/StreamPlan.h"
#include "host/Clock.h"

#include <algorithm>
#include <cstdio>

namespace demo
{

namespace
{

constexpr std::size_t eROW_FRAMES = 10;
constexpr std::size_t eMAX_CELLS = 96;
constexpr int eCELL_WIDTH = 256;
/// Little, so that small things are not given up where time runs out: the order decides instead.
constexpr double eMAX_STRESS = 1.25;

/// Makes the changes of each frame.
class Changes
{
public:
    Changes(DynamicScene* scene, Site const& site, std::size_t frames)
        : m_scene(*scene)
        , m_site(site)
        , m_plan(site.GetNumModelPlacements(), frames)
        , m_frames(frames)
    {}

    /// All of one frame's changes, timed and counted; the tree is up to date afterwards.
    DynamicRecord Make(std::size_t frame);

private:
    void AddAndRemove(std::size_t frame, double time, DynamicRecord* record);
    void ChangeRows(double time, DynamicRecord* record);
    void Move(double time, DynamicRecord* record);

    DynamicScene& m_scene;
    Site const& m_site;
    StreamPlan m_plan;
    std::size_t m_frames;
    BeltRows m_rows; ///< whose parts are in the tree
    std::vector<Pose> m_poses;
};

DynamicRecord Changes::Make(std::size_t frame)
{
    double const last = m_frames > 1 ? static_cast<double>(m_frames - 1) : 1.0;
    double const time = static_cast<double>(frame) / last;
    DynamicRecord record;
    double const start = host::Now();
    AddAndRemove(frame, time, &record);
    record.m_editTime = host::Now() - start;
    Move(time, &record);
    double const moved = host::Now();
    m_scene.GetRoot()->Update();
    record.m_updateTime = host::Now() - moved;
    record.m_inTree = m_scene.GetNumShapes();
    record.m_depth = m_scene.GetRoot()->CalcDepth();
    return record;
}

void Changes::AddAndRemove(std::size_t frame, double time, DynamicRecord* record)
{
    if (frame == 0) {
        for (std::size_t i = m_site.GetFirstOwn(); i < m_site.GetFirstPart(); ++i) {
            record->m_added += m_scene.Add(i) ? 1U : 0U;
        }
    }
    ShapeRange const added = m_plan.GetAdded(frame);
    for (std::size_t i = added.m_first; i < added.m_last; ++i) {
        record->m_added += m_scene.Add(i) ? 1U : 0U;
    }
    ShapeRange const removed = m_plan.GetRemoved(frame);
    for (std::size_t i = removed.m_first; i < removed.m_last; ++i) {
        record->m_removed += m_scene.Remove(i) ? 1U : 0U;
    }
    ChangeRows(time, record);
}

/// Rows that reached the belt's end leave, and their parts begin anew as the next rows.
void Changes::ChangeRows(double time, DynamicRecord* record)
{
    BeltRows const rows = m_site.GetRows(time);
    for (std::size_t row = m_rows.m_first; row < std::min(rows.m_first, m_rows.m_end); ++row) {
        for (std::size_t part = 0; part < Site::s_partsPerRow; ++part) {
            record->m_removed += m_scene.Remove(m_site.GetPart(row, part)) ? 1U : 0U;
        }
    }
    for (std::size_t row = std::max(rows.m_first, m_rows.m_end); row < rows.m_end; ++row) {
        for (std::size_t part = 0; part < Site::s_partsPerRow; ++part) {
            std::size_t const placement = m_site.GetPart(row, part);
            m_scene.Move(placement, m_site.GetPartPlace(row, part, time));
            record->m_added += m_scene.Add(placement) ? 1U : 0U;
        }
    }
    m_rows = rows;
}

void Changes::Move(double time, DynamicRecord* record)
{
    m_poses.clear();
    m_site.AppendCranePoses(time, &m_poses);
    for (std::size_t row = m_rows.m_first; row < m_rows.m_end; ++row) {
        for (std::size_t part = 0; part < Site::s_partsPerRow; ++part) {
            m_poses.push_back({m_site.GetPart(row, part), m_site.GetPartPlace(row, part, time)});
        }
    }
    for (Pose const& pose : m_poses) {
        record->m_moved += m_scene.Move(pose.m_placement, pose.m_toWorld) ? 1U : 0U;
    }
}

std::string CellText(DynamicRecord const& record)
{
    return Format("%u  %s shapes  %.1f ms", record.m_draw.m_frame,
                  host::FormatShort(static_cast<double>(record.m_inTree)).c_str(),
                  record.m_updateTime * 1e3);
}

std::string LiveText(DynamicRecord const& record, std::size_t frames)
{
    return Format("frame %u/%zu  %s shapes  update %.1f ms  frame %.0f ms", record.m_draw.m_frame,
                  frames, host::FormatShort(static_cast<double>(record.m_inTree)).c_str(),
                  record.m_updateTime * 1e3, record.m_draw.m_frameTime * 1e3);
}

/// Position in the log of the first frame with all of the model.
std::size_t FindCompleteFrame(StreamPlan const& plan, std::size_t frames)
{
    for (std::size_t frame = 0; frame + 1 < frames; ++frame) {
        if (plan.GetAdded(frame + 1).GetCount() == 0) {
            return frame;
        }
    }
    return frames - 1;
}

} // namespace

DynamicFlightResult FlyDynamic(DemoWorld* world, DynamicScene* scene, Site const& site,
                               host::CameraPath const& path, DemoOptions const& options)
{
    DynamicFlightResult result;
    std::size_t const frames = static_cast<std::size_t>(options.m_frames);
    std::size_t const cells = std::min(frames, eMAX_CELLS);
    result.m_cellWidth = eCELL_WIDTH;
    result.m_cellHeight = std::max(eCELL_WIDTH * options.m_height / options.m_width, 1);
    result.m_pictureFrame =
        FindCompleteFrame(StreamPlan(site.GetNumModelPlacements(), frames), frames);
    world->SetRoot(scene->GetRoot());
    world->WarmUp(GetFlightKey(path, 0, frames));
    SetUpForFlight(&world->GetTraversal(), options);
    world->GetTraversal().SetMaxStress(eMAX_STRESS);
    SetUpQueries(world, options);
    std::printf("\n%s\n", DynamicTableHeading().c_str());
    ProgressLine line;
    Changes changes(scene, site, frames);
    double const start = host::Now();
    for (std::size_t frame = 0; frame < frames; ++frame) {
        DynamicRecord record = changes.Make(frame);
        record.m_draw = world->DrawFrame(GetFlightKey(path, frame, frames));
        record.m_draw.m_frame = static_cast<unsigned>(frame + 1);
        result.m_log.push_back(record);
        result.m_badTris +=
            scene->GetRoot()->GetTris() != static_cast<unsigned>(scene->GetNumTris()) ? 1U : 0U;
        if (result.m_cells.size() * frames <= frame * cells) {
            result.m_cells.push_back(
                {world->ReadPicture().ScaledTo(result.m_cellWidth, result.m_cellHeight),
                 CellText(record), false});
        }
        if (frame == result.m_pictureFrame) {
            result.m_picture = world->ReadPicture();
        }
        line.Show(static_cast<double>(frame + 1) / static_cast<double>(frames),
                  LiveText(record, frames));
        if ((frame + 1) % eROW_FRAMES == 0 || frame + 1 == frames) {
            line.Print(DynamicTableRow(result.m_log, frame / eROW_FRAMES * eROW_FRAMES, frame + 1));
        }
    }
    result.m_seconds = host::Now() - start;
    result.m_check = scene->Check();
    return result;
}

} // namespace demo
