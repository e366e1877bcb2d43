// The plots of a flight, for the report.
#pragma once

#include "host/report/FrameLog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace demo
{

/// The plots one after the other as SVG elements: times, triangles, where the triangles of the
/// whole model went, stress and load, occlusion queries.
/// @param placedTris  triangles of all placements together
std::string MakePlots(std::vector<host::FrameRecord> const& log, std::uint64_t placedTris);

} // namespace demo
