// The demo's flight: frames along the camera path under a target frame time.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "host/gl/CameraPath.h"
#include "host/report/ContactSheet.h"
#include "host/report/FrameLog.h"

#include <vector>

namespace demo
{

/// What a flight leaves.
struct FlightResult
{
    std::vector<host::FrameRecord> m_log;
    std::vector<double> m_fills;   ///< share of each frame's picture that shows model, 0 to 1
    std::vector<double> m_details; ///< share of each picture's pixels that lie on an edge, 0 to 1
    std::vector<host::SheetCell> m_cells; ///< small pictures of the frames, evenly chosen
    int m_cellWidth = 0;
    int m_cellHeight = 0;
    double m_seconds = 0.0; ///< of the frames themselves
};

/// Where the flight is at a frame of the log.
host::CameraKey GetFlightKey(host::CameraPath const& path, std::size_t frame, std::size_t frames);

/// Lets the waiting for occlusion queries take a share of the target frame time.
void SetUpQueries(DemoWorld* world, DemoOptions const& options);

/// Share of the pixels, 0 to 1, that differ clearly from their neighbour on the right or below.
double MeasureDetail(host::Image const& picture);

/// Flies and prints a live line and the table.
FlightResult Fly(DemoWorld* world, host::CameraPath const& path, DemoOptions const& options);

} // namespace demo
