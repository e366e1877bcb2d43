// The judging part of PickTour: counts over all views, and whether everything is right.
#include "demo/PickTour.h"
#include "demo/ReportParts.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

namespace demo
{

namespace
{

constexpr double eLEAST_AGREEMENT = 0.999;
constexpr std::size_t eLEAST_PIXELS = 1000;

/// Adds up a number that every view has.
template <class Get>
std::size_t Sum(std::vector<PickView> const& views, Get get)
{
    return std::transform_reduce(views.begin(), views.end(), std::size_t(0), std::plus<>(), get);
}

bool IsAnythingHit(std::vector<PickView> const& views)
{
    return std::any_of(views.begin(), views.end(), [](PickView const& view) {
        return std::any_of(view.m_pixels.begin(), view.m_pixels.end(),
                           [](PixelPick const& pixel) { return pixel.m_picked.m_isHit; });
    });
}

std::string FindPixelFault(PickTour const& tour)
{
    if (!IsAnythingHit(tour.m_views)) {
        return "no pick through a pixel hit anything";
    }
    if (tour.GetNumPixels() < eLEAST_PIXELS) {
        return Format("only %zu pixels were picked", tour.GetNumPixels());
    }
    if (tour.GetAgreement() < eLEAST_AGREEMENT) {
        return Format("picks and picture agree in %.3f %% of the pixels only",
                      100.0 * tour.GetAgreement());
    }
    if (std::size_t const count = tour.Count(PixelVerdict::eUNEXPLAINED)) {
        return Format("%zu differences between picks and picture are not explained", count);
    }
    return std::string();
}

std::string FindBandFault(PickView const& view)
{
    for (RubberBand const& band : view.m_bands) {
        if (!band.IsRight()) {
            return Format("a rubber band is wrong: touching: %zu missing, %zu astray, %zu seen "
                          "ones missing; contained: %zu missing, %zu astray, %zu reach out",
                          band.m_touching.m_numMissing, band.m_touching.m_numStray,
                          band.m_numUnseen, band.m_contained.m_numMissing,
                          band.m_contained.m_numStray, band.m_numOutside);
        }
    }
    return view.CountTimedOut() < view.m_bands.size()
               ? std::string()
               : "no rubber band of a view was checked in time";
}

std::string FindWalkFault(BodyWalk const& walk)
{
    WalkResult const& result = walk.m_result;
    std::string fault;
    if (result.m_stopsInside == walk.m_stops.size()) {
        fault = "there is no room for the body at any stop";
    } else if (!(result.m_distance > 0.0)) {
        fault = "it went nowhere";
    } else if (result.m_inside > 0) {
        fault = Format("%zu steps ended inside something", result.m_inside);
    } else if (walk.m_crossings > 0) {
        fault = Format("%zu steps led through a surface", walk.m_crossings);
    } else if (result.m_parted > 0) {
        fault = Format("%zu sweeps depend on the order of the pick", result.m_parted);
    }
    return fault.empty() ? fault : "the walk of the " + walk.m_name + ": " + fault;
}

bool HasContactAcross(std::vector<BodyWalk> const& walks)
{
    return std::any_of(walks.begin(), walks.end(), [](BodyWalk const& walk) {
        return walk.m_isAcross && walk.m_result.m_contacts > 0;
    });
}

} // namespace

std::size_t PickTour::GetNumPixels() const
{
    return Sum(m_views, [](PickView const& view) { return view.m_pixels.size(); });
}

std::size_t PickTour::Count(PixelVerdict verdict) const
{
    return Sum(m_views, [verdict](PickView const& view) { return view.Count(verdict); });
}

std::size_t PickTour::GetNumBands() const
{
    return Sum(m_views, [](PickView const& view) { return view.m_bands.size(); });
}

std::size_t PickTour::CountTimedOut() const
{
    return Sum(m_views, [](PickView const& view) { return view.CountTimedOut(); });
}

double PickTour::GetAgreement() const
{
    std::size_t const same = Count(PixelVerdict::eSAME) + Count(PixelVerdict::eBACKGROUND);
    std::size_t const all = GetNumPixels();
    return all > 0 ? static_cast<double>(same) / static_cast<double>(all) : 0.0;
}

std::string PickTour::FindFault() const
{
    if (std::string const fault = FindPixelFault(*this); !fault.empty()) {
        return fault;
    }
    for (PickView const& view : m_views) {
        if (std::string const fault = FindBandFault(view); !fault.empty()) {
            return fault;
        }
    }
    for (BodyWalk const& walk : m_walks) {
        if (std::string const fault = FindWalkFault(walk); !fault.empty()) {
            return fault;
        }
    }
    return HasContactAcross(m_walks) ? std::string() : "no walk straight across met anything";
}

} // namespace demo
