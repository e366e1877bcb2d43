#include "demo/Flight.h"

#include "demo/FrameTable.h"
#include "demo/ProgressLine.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace demo
{

namespace
{

constexpr std::size_t eROW_FRAMES = 10;
constexpr std::size_t eMAX_CELLS = 96;
constexpr int eCELL_WIDTH = 256;
constexpr int eCLEAR_STEP = 24; ///< of a channel, between neighbours on both sides of an edge
constexpr double eWAIT_SHARE = 0.08;
constexpr double eFRAME_WAIT_SHARE = 0.5;

std::string LiveText(host::FrameRecord const& frame, std::size_t done, std::size_t frames)
{
    char text[96];
    std::snprintf(text, sizeof text, "frame %zu/%zu  %.0f of %.0f ms  %s triangles", done, frames,
                  frame.m_frameTime * 1e3, frame.m_targetTime * 1e3,
                  host::FormatShort(frame.m_tris).c_str());
    return text;
}

std::string CellText(host::FrameRecord const& frame, std::size_t number)
{
    char text[96];
    std::snprintf(text, sizeof text, "%zu  %.0f ms  %s%s", number, frame.m_frameTime * 1e3,
                  host::FormatShort(frame.m_tris).c_str(), frame.m_clipped ? "  clipped" : "");
    return text;
}

} // namespace

host::CameraKey GetFlightKey(host::CameraPath const& path, std::size_t frame, std::size_t frames)
{
    double const last = frames > 1 ? static_cast<double>(frames - 1) : 1.0;
    return path.Evaluate(static_cast<double>(frame) / last);
}

void SetUpQueries(DemoWorld* world, DemoOptions const& options)
{
    host::OcclusionQuerySettings settings = world->GetContext().GetQueries().GetSettings();
    settings.m_longestWait = options.m_targetTime * eWAIT_SHARE;
    settings.m_frameWait = options.m_targetTime * eFRAME_WAIT_SHARE;
    world->GetContext().GetQueries().SetSettings(settings);
}

double MeasureDetail(host::Image const& picture)
{
    std::size_t edges = 0;
    for (int y = 0; y + 1 < picture.GetHeight(); ++y) {
        for (int x = 0; x + 1 < picture.GetWidth(); ++x) {
            std::uint8_t const* const here = picture.GetPixel(x, y);
            std::uint8_t const* const below = picture.GetPixel(x, y + 1);
            int step = 0;
            for (int k = 0; k < 3; ++k) {
                step =
                    std::max({step, std::abs(here[k] - here[3 + k]), std::abs(here[k] - below[k])});
            }
            edges += step >= eCLEAR_STEP ? 1U : 0U;
        }
    }
    std::size_t const pixels = picture.GetPixels().size() / 3;
    return pixels == 0 ? 0.0 : static_cast<double>(edges) / static_cast<double>(pixels);
}

FlightResult Fly(DemoWorld* world, host::CameraPath const& path, DemoOptions const& options)
{
    FlightResult result;
    std::size_t const frames = static_cast<std::size_t>(options.m_frames);
    std::size_t const cells = std::min(frames, eMAX_CELLS);
    result.m_cellWidth = eCELL_WIDTH;
    result.m_cellHeight = std::max(eCELL_WIDTH * options.m_height / options.m_width, 1);
    world->WarmUp(GetFlightKey(path, 0, frames));
    SetUpForFlight(&world->GetTraversal(), options);
    SetUpQueries(world, options);
    std::printf("\n%s\n", FrameTableHeading().c_str());
    ProgressLine line;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        host::FrameRecord record = world->DrawFrame(GetFlightKey(path, frame, frames));
        record.m_frame = static_cast<unsigned>(frame + 1);
        result.m_log.push_back(record);
        host::Image const picture = world->ReadPicture();
        result.m_fills.push_back(world->MeasureFill());
        result.m_details.push_back(MeasureDetail(picture));
        result.m_seconds += record.m_frameTime;
        if (result.m_cells.size() * frames <= frame * cells) {
            result.m_cells.push_back({picture.ScaledTo(result.m_cellWidth, result.m_cellHeight),
                                      CellText(record, frame + 1), record.m_clipped});
        }
        line.Show(static_cast<double>(frame + 1) / static_cast<double>(frames),
                  LiveText(record, frame + 1, frames));
        if ((frame + 1) % eROW_FRAMES == 0 || frame + 1 == frames) {
            line.Print(FrameTableRow(result.m_log, frame / eROW_FRAMES * eROW_FRAMES, frame + 1));
        }
    }
    return result;
}

} // namespace demo
