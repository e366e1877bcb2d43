// The demo's picks: views along the camera path, each drawn, picked through pixels and rubber bands
// and compared with an id buffer; then walks with solid bodies.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "demo/PixelPicks.h"
#include "demo/RubberBands.h"
#include "demo/SweptWalk.h"
#include "host/gl/GlIdBuffer.h"
#include "host/model/SceneModel.h"
#include "host/report/Image.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace demo
{

/// One view.
struct PickView
{
    host::CameraKey m_key;
    host::Image m_picture;
    host::IdPicture m_ids;
    std::size_t m_numDrawn = 0; ///< shapes
    std::vector<PixelPick> m_pixels;
    std::vector<RubberBand> m_bands;

    /// Rubber bands with a pick that ran out of time.
    std::size_t CountTimedOut() const
    {
        return static_cast<std::size_t>(
            std::count_if(m_bands.begin(), m_bands.end(),
                          [](RubberBand const& band) { return band.IsTimedOut(); }));
    }

    std::size_t Count(PixelVerdict verdict) const
    {
        return static_cast<std::size_t>(
            std::count_if(m_pixels.begin(), m_pixels.end(), [verdict](PixelPick const& pixel) {
                return pixel.m_verdict == verdict;
            }));
    }
};

/// One body's walks.
struct BodyWalk
{
    std::string m_name;
    WalkBody m_body;
    bool m_isAcross = false; ///< straight through what stands between the stops
    std::vector<host::CameraKey> m_stops;
    WalkResult m_result;
    std::size_t m_crossings = 0; ///< steps that led the body's centre through a surface
};

struct PickTour
{
    std::vector<PickView> m_views;
    std::vector<BodyWalk> m_walks;
    std::size_t m_treeBytes = 0; ///< of the trees that picks use
    double m_treeSeconds = 0.0;  ///< building them
    double m_seconds = 0.0;

    std::size_t GetNumPixels() const;
    std::size_t Count(PixelVerdict verdict) const;
    std::size_t GetNumBands() const;

    /// Rubber bands with a pick that ran out of time.
    std::size_t CountTimedOut() const;

    /// Share of the pixels in which picks and picture agree, 0 to 1.
    double GetAgreement() const;

    /// Why the tour is not right, one line; empty when it is: picks hit something, at least 99.9 %
    /// of 1,000 or more pixels agree and every difference is explained; all rubber bands are right,
    /// and of each view some were checked in time; every walk went somewhere, no step ended inside
    /// anything or led through a surface, no sweep depends on the order of its pick, and of the
    /// walks straight across at least one met something.
    std::string FindFault() const;
};

/// Draws, picks and walks, with a live line.
/// @return false with one line in @p problem
bool TourPicks(DemoWorld* world, DemoOptions const& options, PickTour* tour, std::string* problem);

} // namespace demo
