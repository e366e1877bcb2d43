// What the dynamic demo leaves behind: pictures, the log of the frames and one page that shows it
// all.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "demo/DynamicFlight.h"

#include <cstddef>
#include <string>

namespace demo
{

/// Everything that the report tells about. References to parts of one run.
struct DynamicRun
{
    DemoOptions const& m_options;
    DemoWorld const& m_world;
    DynamicFlightResult const& m_flight;
    std::size_t m_modelShapes; ///< without the site's own
    std::size_t m_posts;       ///< errors posted during the flight
    double m_loadSeconds;      ///< reading or assembling the model
    double m_totalSeconds;     ///< since the program started
};

/// Writes contact.png (the flight), frame.png (one frame), frames.csv and report.html.
/// @return the path of the page, or an empty one with one line in @p problem.
std::string WriteDynamicReport(DynamicRun const& run, std::string* problem);

/// "every frame and the last visit agree with the list", or what does not.
std::string DescribeCheck(DynamicFlightResult const& flight);

/// The last line that the demo prints.
std::string DynamicSummaryLine(DynamicRun const& run, std::string const& reportPath);

} // namespace demo
