// Single frames looked at closely: one drawn complete and at shares of its cost, and the same frame
// with and without occlusion queries.
#pragma once

#include "demo/DemoWorld.h"
#include "demo/Flight.h"
#include "host/gl/CameraPath.h"
#include "host/report/FrameLog.h"
#include "host/report/Image.h"

#include <vector>

namespace demo
{

/// One frame with its picture.
struct Still
{
    host::FrameRecord m_record;
    host::OcclusionQueryCounts m_queries;
    host::Image m_picture;
    double m_share = 1.0;  ///< of the complete frame's triangles that the budget allowed
    unsigned m_budget = 0; ///< triangles; 0 for none
};

/// The same frame with and without occlusion queries, under one cull area.
struct QueryComparison
{
    double m_cullArea = 0.0;
    Still m_with;
    Still m_without;
    host::ImageDifference m_difference;
};

/// The frames of a flight that are looked at closely, as positions in its log.
struct ChosenFrames
{
    std::size_t m_shares = 0;  ///< to be drawn at shares of its cost
    std::size_t m_queries = 0; ///< to be drawn with and without occlusion queries
};

/// The frame of a flight that shows best what is drawn first: one that the flight drew complete,
/// that is filled with model rather than sky (of frames that are nearly full, none is better than
/// another), and of these the one with most edges in its picture, where there is most to be left
/// out. Where no frame is complete, the fill decides.
/// @return a position in the log; 0 for an empty one
std::size_t ChooseFullFrame(FlightResult const& flight);

/// Chooses the frames for close looks: ChooseFullFrame for shares; for queries, which need several
/// complete drawings, one that would cost little without them. Counts what the frames would cost,
/// and of all in the wanted range of cost it takes the one of which the flight drew most; where
/// there is none, the one whose cost comes nearest.
ChosenFrames ChooseFrames(DemoWorld* world, host::CameraPath const& path,
                          FlightResult const& flight);

/// The complete frame first, then the same at the given shares of its triangles.
/// @param queries  whether occlusion queries are used
std::vector<Still> DrawShares(DemoWorld* world, host::CameraKey const& key, bool queries,
                              std::vector<double> const& shares);

/// Draws a frame twice, complete, with and without queries.
QueryComparison CompareQueries(DemoWorld* world, host::CameraKey const& key, double cullArea);

} // namespace demo
