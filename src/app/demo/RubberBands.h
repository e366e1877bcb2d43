// Rubber bands over one view, touching and contained-only, compared with what can be found without
// the hierarchy: both lists are exactly what testing each drawn shape by itself gives; every shape
// that shows a pixel in the rectangle is listed; and of every shape listed as contained all corners
// lie inside the rectangle.
#pragma once

#include "demo/PixelRays.h"
#include "host/gl/GlIdBuffer.h"
#include "host/gl/GlShape.h"
#include "host/pick/MeshTree.h"

#include "scenecull/TqOcPickFrustumTraversal.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace demo
{

/// What one pick in a rectangle listed, and how that compares with a test of each drawn shape by
/// itself.
struct BandList
{
    std::vector<std::uint32_t> m_placements; ///< sorted
    double m_seconds = 0.0;
    bool m_isTimedOut = false;    ///< gave up after the traversal's 0.2 s; the list may be short
    std::size_t m_numStray = 0;   ///< listed, and by itself the shape fails the test
    std::size_t m_numMissing = 0; ///< not listed, and by itself the shape passes it

    bool IsRight() const { return m_numStray == 0 && (m_isTimedOut || m_numMissing == 0); }
};

/// A rectangle of whole pixels and what was found in it.
struct RubberBand
{
    int m_x0 = 0;
    int m_y0 = 0;
    int m_x1 = 0; ///< first column beyond
    int m_y1 = 0;
    BandList m_touching;
    BandList m_contained;
    std::size_t m_numSeen = 0;    ///< shapes that show a pixel
    std::size_t m_numUnseen = 0;  ///< of those, missing from the list
    std::size_t m_numOutside = 0; ///< contained ones that reach out of the rectangle

    /// Whether a pick ran out of time, so that not every check could be made.
    bool IsTimedOut() const { return m_touching.m_isTimedOut || m_contained.m_isTimedOut; }

    /// Whether every check holds. Of a pick that ran out of time the list may be short, not wrong.
    bool IsRight() const
    {
        return m_touching.IsRight() && m_contained.IsRight() && m_numOutside == 0 &&
               (m_touching.m_isTimedOut || m_numUnseen == 0);
    }
};

/// Some rectangles of different sizes, spread over the picture.
std::vector<RubberBand> MakeRubberBands(int width, int height);

/// Picks in one rectangle and checks the lists.
/// @param drawn  the shapes that the view's frame drew
/// @param pick  set up to follow that frame; its bits and settings are changed and put back
void CheckRubberBand(PixelRays const& rays, host::IdPicture const& picture,
                     std::vector<host::GlShape*> const& drawn, host::MeshTrees* trees,
                     TqOcPickFrustumTraversal* pick, TqOcTraversable* root, RubberBand* band);

} // namespace demo
