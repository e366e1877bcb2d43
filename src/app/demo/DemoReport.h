// What the demo leaves behind: pictures, the log of the frames and one page that shows it all.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "demo/Flight.h"
#include "demo/Stills.h"

#include <string>
#include <vector>

namespace demo
{

/// Everything that the report tells about. References to parts of one run.
struct DemoRun
{
    DemoOptions const& m_options;
    DemoWorld const& m_world;
    FlightResult const& m_flight;
    ChosenFrames const& m_chosen;
    std::vector<Still> const& m_shares;
    std::vector<QueryComparison> const& m_queries;
    double m_loadSeconds;  ///< reading or assembling the model
    double m_totalSeconds; ///< since the program started
};

/// Writes contact.png (the flight), frame.png (one frame, complete), budget.png (the same at shares
/// of its cost), queries.png, frames.csv and report.html.
/// @return the path of the page, or an empty one with one line in @p problem.
std::string WriteReport(DemoRun const& run, std::string* problem);

/// The last line that the demo prints.
std::string SummaryLine(DemoRun const& run, std::string const& reportPath);

} // namespace demo
