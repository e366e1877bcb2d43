#include "demo/PixelPicks.h"

#include "host/Clock.h"
#include "host/gl/GlShape.h"
#include "host/model/Random.h"
#include "host/pick/ClippedPolygon.h"
#include "host/pick/FrustumHit.h"
#include "host/pick/MeshPick.h"
#include "host/pick/PickBits.h"
#include "host/pick/PickVolume.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace demo
{

namespace
{

// A rasteriser rounds corners to a 256th of a pixel, and single-precision transforms move them a
// little more: an edge within this many pixels of a centre may fall on either side of it.
constexpr double eEDGE_PIXELS = 1.0 / 16.0;
constexpr double eCENTRE = 0.5;

} // namespace

/// The distances from the eye that a triangle spans within a volume; none for one that misses it.
struct PixelComparer::Span
{
    double m_low = std::numeric_limits<double>::infinity();
    double m_high = -std::numeric_limits<double>::infinity();

    bool Holds(double distance, double tolerance) const
    {
        return m_low - tolerance <= distance && distance <= m_high + tolerance;
    }

    bool Meets(Span const& other, double tolerance) const
    {
        return m_low <= other.m_high + tolerance && other.m_low <= m_high + tolerance;
    }
};

char const* GetVerdictName(PixelVerdict verdict)
{
    switch (verdict) {
    case PixelVerdict::eBACKGROUND:
        return "background in both";
    case PixelVerdict::eSAME:
        return "same shape and point";
    case PixelVerdict::eONE_DEPTH:
        return "two surfaces at one depth";
    case PixelVerdict::eEDGE:
        return "an edge through the pixel's centre";
    case PixelVerdict::eUNEXPLAINED:
        break;
    }
    return "unexplained";
}

std::vector<PixelPick> SpreadPixels(int width, int height, int count, std::uint64_t seed)
{
    double const cell = std::sqrt(static_cast<double>(width) * height / std::max(count, 1));
    int const columns = std::clamp(static_cast<int>(std::ceil(width / cell)), 1, width);
    int const rows = std::clamp((count + columns - 1) / columns, 1, height);
    host::Random random(seed);
    std::vector<PixelPick> pixels;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            PixelPick pixel;
            pixel.m_x = static_cast<int>((column + random.Between(0.0, 1.0)) * width / columns);
            pixel.m_y = static_cast<int>((row + random.Between(0.0, 1.0)) * height / rows);
            pixel.m_x = std::min(pixel.m_x, width - 1);
            pixel.m_y = std::min(pixel.m_y, height - 1);
            pixels.push_back(pixel);
        }
    }
    return pixels;
}

PixelComparer::PixelComparer(PixelRays const& rays, host::IdPicture const& picture,
                             host::MeshTrees* trees, TqOcPickFrustumTraversal* pick,
                             TqOcTraversable* root)
    : m_rays(rays)
    , m_picture(picture)
    , m_trees(trees)
    , m_pick(pick)
    , m_root(root)
{}

void PixelComparer::Compare(PixelPick* pixel)
{
    Pick(pixel);
    pixel->m_seen = LookUp(pixel->m_x, pixel->m_y);
    pixel->m_verdict = Judge(*pixel);
}

void PixelComparer::Pick(PixelPick* pixel)
{
    m_pick->SetFrustum(m_rays.MakeFrustum(pixel->m_x, pixel->m_y, pixel->m_x + 1, pixel->m_y + 1));
    m_pick->SetResultBits(host::ResultBits::eNEAREST);
    m_pick->SetPickBits(host::PickBits::eNO_SHAPE);
    double const start = host::Now();
    m_pick->Apply(m_root);
    double const walked = host::Now();
    m_pick->SetPickBits(host::PickBits::eTRIANGLES | host::PickBits::eLINE_OF_SIGHT);
    m_pick->Apply(m_root);
    pixel->m_seconds = host::Now() - walked;
    pixel->m_walkSeconds = walked - start;

    PixelHit& hit = pixel->m_picked;
    TqOcShape* const shape = m_pick->GetPickedShape();
    hit.m_isHit = shape != nullptr;
    if (hit.m_isHit) {
        hit.m_placement = static_cast<host::GlShape*>(shape)->GetPlacement();
        hit.m_triangle = m_pick->GetSubObjectId();
        hit.m_point = m_pick->GetPickedPoint();
        hit.m_distance = m_pick->GetDistance();
    }
}

PixelHit PixelComparer::LookUp(int x, int y) const
{
    PixelHit hit;
    std::size_t const index = m_picture.GetIndex(x, y);
    std::uint32_t const id = m_picture.m_ids[index];
    hit.m_isHit = id != host::IdPicture::s_nothing;
    if (hit.m_isHit) {
        hit.m_placement = id - 1;
        hit.m_triangle = m_picture.m_triangles[index];
        hit.m_point = m_rays.GetPoint(x + eCENTRE, y + eCENTRE,
                                      static_cast<double>(m_picture.m_depths[index]));
        hit.m_distance = m_rays.GetEyeDistance(hit.m_point);
    }
    return hit;
}

PixelVerdict PixelComparer::Judge(PixelPick const& pixel) const
{
    if (!pixel.m_picked.m_isHit && !pixel.m_seen.m_isHit) {
        return PixelVerdict::eBACKGROUND;
    }
    if (pixel.m_picked.m_isHit && pixel.m_seen.m_isHit) {
        bool const isSameShape = pixel.m_picked.m_placement == pixel.m_seen.m_placement;
        if (isSameShape && IsSameSurface(pixel)) {
            return PixelVerdict::eSAME;
        }
        if (!isSameShape && IsAtOneDepth(pixel)) {
            return PixelVerdict::eONE_DEPTH;
        }
    }
    return IsAtEdge(pixel) ? PixelVerdict::eEDGE : PixelVerdict::eUNEXPLAINED;
}

void PixelComparer::GetTriangle(PixelHit const& hit, TqLPos3f* corners) const
{
    host::SceneModel const& model = m_trees->GetModel();
    host::Placement const& placement = model.placements[hit.m_placement];
    host::PlacedMesh const mesh(model.meshes[placement.mesh], m_trees->GetTree(placement.mesh),
                                placement.toWorld);
    mesh.GetCorners(hit.m_triangle, corners);
}

PixelComparer::Span PixelComparer::GetSpan(PixelHit const& hit,
                                           TqLPickFrustum3f const& frustum) const
{
    TqLPos3f corners[3];
    GetTriangle(hit, corners);
    host::ClippedPolygon polygon(corners);
    for (int i = 0; i < TqLPickFrustum3f::eNUM_PLANES; ++i) {
        polygon.Cut(frustum.GetPlane(i));
    }
    Span span;
    for (int i = 0; i < polygon.GetNumCorners(); ++i) {
        double const distance = m_rays.GetEyeDistance(polygon.GetCorners()[i]);
        span.m_low = std::min(span.m_low, distance);
        span.m_high = std::max(span.m_high, distance);
    }
    return span;
}

/// How far apart two points may lie under the pixel's centre for the depth buffer's sake.
double PixelComparer::GetTolerance(PixelPick const& pixel) const
{
    float const depth = m_picture.m_depths[m_picture.GetIndex(pixel.m_x, pixel.m_y)];
    return m_rays.GetDepthError(pixel.m_x + eCENTRE, pixel.m_y + eCENTRE,
                                static_cast<double>(depth));
}

bool PixelComparer::IsSameSurface(PixelPick const& pixel) const
{
    TqLPickFrustum3f const frustum =
        m_rays.MakeFrustum(pixel.m_x, pixel.m_y, pixel.m_x + 1, pixel.m_y + 1);
    Span const picked = GetSpan(pixel.m_picked, frustum);
    Span const seen = GetSpan(pixel.m_seen, frustum);
    double const tolerance = GetTolerance(pixel);
    return picked.Holds(pixel.m_picked.m_distance, tolerance) &&
           seen.Holds(pixel.m_seen.m_distance, tolerance) && picked.Meets(seen, tolerance);
}

/// Whether the depth buffer cannot tell the two shapes apart where both were looked for, on the
/// line through the pixel's centre. What they span beside it has no say: of two steep surfaces one
/// may be clearly the nearer there.
bool PixelComparer::IsAtOneDepth(PixelPick const& pixel) const
{
    return std::fabs(pixel.m_picked.m_distance - pixel.m_seen.m_distance) <= GetTolerance(pixel);
}

/// Whether the nearer of the two passes the centre of the pixel with an edge: of a picked triangle
/// the corners of a small square around the centre do not all meet it; a seen one reaches into that
/// square although the line of sight through the centre misses it.
bool PixelComparer::IsAtEdge(PixelPick const& pixel) const
{
    double const x = pixel.m_x + eCENTRE;
    double const y = pixel.m_y + eCENTRE;
    bool const isPickedNearer =
        pixel.m_picked.m_isHit &&
        (!pixel.m_seen.m_isHit || pixel.m_picked.m_distance < pixel.m_seen.m_distance);
    TqLPos3f corners[3];
    host::FrustumHit hit;
    if (!isPickedNearer) {
        GetTriangle(pixel.m_seen, corners);
        host::PickVolume const square(m_rays.MakeFrustum(x - eEDGE_PIXELS, y - eEDGE_PIXELS,
                                                         x + eEDGE_PIXELS, y + eEDGE_PIXELS),
                                      nullptr, 0);
        return host::HitTriangle(square, corners, host::TriangleHits::eANYWHERE, &hit) &&
               !host::HitTriangle(square, corners, host::TriangleHits::eLINE_OF_SIGHT, &hit);
    }
    GetTriangle(pixel.m_picked, corners);
    for (int corner = 0; corner < 4; ++corner) {
        double const cornerX = x + ((corner & 1) != 0 ? eEDGE_PIXELS : -eEDGE_PIXELS);
        double const cornerY = y + ((corner & 2) != 0 ? eEDGE_PIXELS : -eEDGE_PIXELS);
        double const hair = eEDGE_PIXELS / 64.0;
        host::PickVolume const line(
            m_rays.MakeFrustum(cornerX - hair, cornerY - hair, cornerX + hair, cornerY + hair),
            nullptr, 0);
        if (!host::HitTriangle(line, corners, host::TriangleHits::eLINE_OF_SIGHT, &hit)) {
            return true;
        }
    }
    return false;
}

} // namespace demo
