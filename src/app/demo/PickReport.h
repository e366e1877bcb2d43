// What the picks leave behind: pictures, tables and one page that shows it all.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "demo/PickTour.h"

#include <string>

namespace demo
{

/// Everything that the report tells about. References to parts of one run.
struct PickRun
{
    DemoOptions const& m_options;
    DemoWorld const& m_world;
    PickTour const& m_tour;
    double m_loadSeconds;  ///< reading or assembling the model
    double m_totalSeconds; ///< since the program started
};

/// Writes picks.png (views, id buffers and picked pixels), bands.png, walks.png, picks.csv and
/// report.html.
/// @return the path of the page, or an empty one with one line in @p problem.
std::string WritePickReport(PickRun const& run, std::string* problem);

/// The last line that the demo prints.
std::string PickSummaryLine(PickRun const& run, std::string const& reportPath);

} // namespace demo
