// Rubber bands over one view, touching and contained-only, compared with what can be found without
// the hierarchy: every shape that shows a pixel in the rectangle is listed; the list is exactly
// what testing each drawn shape's own triangles gives; and every shape listed as contained has all
// of its corners inside.
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

/// A rectangle of whole pixels and what was found in it.
struct RubberBand
{
    int m_x0 = 0;
    int m_y0 = 0;
    int m_x1 = 0; ///< first column beyond
    int m_y1 = 0;
    std::vector<std::uint32_t> m_touching;  ///< placements, sorted
    std::vector<std::uint32_t> m_contained; ///< placements, sorted
    double m_touchingSeconds = 0.0;
    double m_containedSeconds = 0.0;
    /// A pick gave up after the traversal's 0.2 s, and its list is not whole.
    bool m_isTimedOut = false;
    std::size_t m_numSeen = 0;    ///< shapes that show a pixel
    std::size_t m_numUnseen = 0;  ///< of those, missing from the list
    std::size_t m_numStray = 0;   ///< listed, although by itself none of its triangles is hit
    std::size_t m_numOff = 0;     ///< those, and what brute force finds and the list has not
    std::size_t m_numOutside = 0; ///< contained ones that reach out of the rectangle

    /// Whether every check holds. Of picks that ran out of time the lists may be short, not wrong.
    bool IsRight() const
    {
        return m_numStray == 0 && m_numOutside == 0 &&
               (m_isTimedOut || (m_numUnseen == 0 && m_numOff == 0));
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
