// The pictures of the pick report.
#pragma once

#include "demo/PickTour.h"
#include "host/gl/GlIdBuffer.h"
#include "host/model/SceneModel.h"
#include "host/report/Image.h"

namespace demo
{

/// The id buffer: each shape in a colour of its own, the background black.
host::Image MakeIdImage(host::IdPicture const& ids);

/// The view, dimmed, with a mark on each picked pixel: green where pick and picture agree, blue in
/// the background, yellow for an explained difference and red for another.
host::Image MakePixelImage(PickView const& view);

/// The view with its rubber bands; what is listed by one of them is tinted: orange for touching,
/// blue for contained.
host::Image MakeBandImage(PickView const& view, std::size_t band);

/// The walks seen from above, whole and below it only where something was met: walls grey, ways in
/// the colour of the body, contacts red.
host::Image MakeWalkImage(host::SceneModel const& model, std::vector<BodyWalk> const& walks,
                          int width);

} // namespace demo
