// The table of the demo's picks, a row for each view, and the log of all picked pixels.
#pragma once

#include "demo/PickTour.h"

#include <cstddef>
#include <string>
#include <vector>

namespace demo
{

/// One value of every pixel of a view whose pick hit something. The picks of the others end at
/// boxes, so that with them a median would tell how much background a view shows.
template <class Get>
std::vector<double> GetHitValues(PickView const& view, Get get)
{
    std::vector<double> values;
    for (PixelPick const& pixel : view.m_pixels) {
        if (pixel.m_picked.m_isHit) {
            values.push_back(get(pixel));
        }
    }
    return values;
}

/// The two heading lines, without a line end after the last.
std::string PickTableHeading();

/// The headings in words.
std::vector<std::string> PickTableColumns();

/// A view's cells; times are those of picks that hit something. @param number  of the view, counted
/// from 1
std::vector<std::string> PickTableCells(PickView const& view, std::size_t number);

/// A view's line.
std::string PickTableRow(PickView const& view, std::size_t number);

/// All pixels of all views as comma-separated values: what was picked, what was seen, the verdict
/// and the times.
std::string PicksToCsv(std::vector<PickView> const& views);

} // namespace demo
