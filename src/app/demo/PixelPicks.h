// Picks through pixels of one view, compared with what OpenGL drew there.
//
// For each pixel a pick through it gives the nearest shape and point; the id buffer gives shape,
// triangle and depth at the pixel's centre. They agree when both find nothing, or when both find
// the same shape and the same point within the pixel's footprint: each point lies at a distance
// that its triangle spans inside the pixel's frustum, and the two spans overlap, all up to the
// depth buffer's rounding. The size of a pixel at that distance and the slope of the surface are in
// the span. Every difference is looked into:
//   - one depth: two shapes, whose points under the pixel's centre lie no farther apart than the
//     depth buffer's rounding, so that either may be seen;
//   - an edge: a rim of the nearer one's triangle passes the pixel's centre within the rasteriser's
//     rounding, so that OpenGL may see past it or hit it.
// What is neither is unexplained.
#pragma once

#include "demo/PixelRays.h"
#include "host/gl/GlIdBuffer.h"
#include "host/model/SceneModel.h"
#include "host/pick/MeshTree.h"

#include "scenecull/TqOcPickFrustumTraversal.h"

#include <cstdint>
#include <string>
#include <vector>

namespace demo
{

enum class PixelVerdict
{
    eBACKGROUND, ///< Both find nothing.
    eSAME,       ///< The same shape and point.
    eONE_DEPTH,
    eEDGE,
    eUNEXPLAINED
};

constexpr int eNUM_VERDICTS = 5;

/// For tables: "same shape and point" and so on.
char const* GetVerdictName(PixelVerdict verdict);

/// One end of a comparison: a shape's triangle and a point on it.
struct PixelHit
{
    bool m_isHit = false;
    std::uint32_t m_placement = 0;
    std::uint32_t m_triangle = 0;
    TqLPos3f m_point;
    double m_distance = 0.0; ///< from the eye
};

/// One pixel.
struct PixelPick
{
    int m_x = 0;
    int m_y = 0;
    PixelHit m_picked;
    PixelHit m_seen;
    PixelVerdict m_verdict = PixelVerdict::eBACKGROUND;
    double m_seconds = 0.0;     ///< of the pick
    double m_walkSeconds = 0.0; ///< of the same walk without the shapes' geometry
};

/// Pixels spread evenly over a picture: one at a random place of each cell of a grid. A fixed seed
/// gives the same pixels every time.
/// @param count  at least; rounded up to whole rows of cells
std::vector<PixelPick> SpreadPixels(int width, int height, int count, std::uint64_t seed);

/// Compares picks of one view.
class PixelComparer
{
public:
    /// All references must outlive it. @param pick  set up to follow the view's frame
    PixelComparer(PixelRays const& rays, host::IdPicture const& picture, host::MeshTrees* trees,
                  TqOcPickFrustumTraversal* pick, TqOcTraversable* root);

    /// Picks through a pixel, looks it up and compares.
    void Compare(PixelPick* pixel);

private:
    void Pick(PixelPick* pixel);
    PixelHit LookUp(int x, int y) const;
    PixelVerdict Judge(PixelPick const& pixel) const;
    bool IsSameSurface(PixelPick const& pixel) const;
    bool IsAtOneDepth(PixelPick const& pixel) const;
    bool IsAtEdge(PixelPick const& pixel) const;
    struct Span;
    Span GetSpan(PixelHit const& hit, TqLPickFrustum3f const& frustum) const;
    void GetTriangle(PixelHit const& hit, TqLPos3f* corners) const;
    double GetTolerance(PixelPick const& pixel) const;

    PixelRays const& m_rays;
    host::IdPicture const& m_picture;
    host::MeshTrees* m_trees;
    TqOcPickFrustumTraversal* m_pick;
    TqOcTraversable* m_root;
};

} // namespace demo
