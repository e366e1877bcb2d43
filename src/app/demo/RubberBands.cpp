#include "demo/RubberBands.h"

#include "host/Clock.h"
#include "host/pick/MeshPick.h"
#include "host/pick/PickBits.h"
#include "host/pick/PickVolume.h"

#include <algorithm>
#include <iterator>

namespace demo
{

namespace
{

using Placements = std::vector<std::uint32_t>;

constexpr double eOUTSIDE_PIXELS = 1e-6; // rounding of a projected corner

/// Rectangles in shares of the picture: centre and half size.
constexpr double s_bands[][4] = {{0.5, 0.5, 0.02, 0.03},
                                 {0.3, 0.4, 0.08, 0.10},
                                 {0.7, 0.55, 0.15, 0.12},
                                 {0.5, 0.35, 0.30, 0.20},
                                 {0.5, 0.5, 0.33, 0.33}};

host::PlacedMesh GetMesh(host::MeshTrees* trees, std::uint32_t number)
{
    host::Placement const& placement = trees->GetModel().placements[number];
    return host::PlacedMesh(trees->GetModel().meshes[placement.mesh],
                            trees->GetTree(placement.mesh), placement.toWorld);
}

/// Applies the pick and returns what it listed.
Placements List(TqOcPickFrustumTraversal* pick, TqOcTraversable* root, double* seconds,
                bool* isTimedOut)
{
    double const start = host::Now();
    pick->Apply(root);
    *seconds = host::Now() - start;
    *isTimedOut = *isTimedOut || pick->IsPickingTimeOut();
    Placements placements;
    TqUPtrVector<TqOcShape> const& shapes = pick->GetAllPickedShapes();
    for (int i = 0; i < shapes.Size(); ++i) {
        placements.push_back(static_cast<host::GlShape*>(shapes[i])->GetPlacement());
    }
    std::sort(placements.begin(), placements.end());
    return placements;
}

/// What each drawn shape's own triangles say.
Placements ListByForce(std::vector<host::GlShape*> const& drawn, host::MeshTrees* trees,
                       TqLPickFrustum3f const& frustum)
{
    host::PickVolume const volume(frustum, nullptr, 0);
    host::MeshPickSettings const settings;
    Placements placements;
    for (host::GlShape const* const shape : drawn) {
        if (host::IsTouched(GetMesh(trees, shape->GetPlacement()), volume, settings)) {
            placements.push_back(shape->GetPlacement());
        }
    }
    std::sort(placements.begin(), placements.end());
    return placements;
}

Placements ListSeen(host::IdPicture const& picture, RubberBand const& band)
{
    Placements placements;
    for (int y = band.m_y0; y < band.m_y1; ++y) {
        for (int x = band.m_x0; x < band.m_x1; ++x) {
            std::uint32_t const id = picture.m_ids[picture.GetIndex(x, y)];
            if (id != host::IdPicture::s_nothing) {
                placements.push_back(id - 1);
            }
        }
    }
    std::sort(placements.begin(), placements.end());
    placements.erase(std::unique(placements.begin(), placements.end()), placements.end());
    return placements;
}

/// How many of `some` are not in `all`.
std::size_t CountMissing(Placements const& some, Placements const& all)
{
    Placements missing;
    std::set_difference(some.begin(), some.end(), all.begin(), all.end(),
                        std::back_inserter(missing));
    return missing.size();
}

bool IsInBand(TqLPos3f const& point, PixelRays const& rays, RubberBand const& band)
{
    TqLPos3f const pixel = rays.GetPixel(point);
    return pixel[0] >= band.m_x0 - eOUTSIDE_PIXELS && pixel[0] <= band.m_x1 + eOUTSIDE_PIXELS &&
           pixel[1] >= band.m_y0 - eOUTSIDE_PIXELS && pixel[1] <= band.m_y1 + eOUTSIDE_PIXELS;
}

/// Whether any vertex of a placement lies outside the rectangle.
bool ReachesOut(host::SceneModel const& model, std::uint32_t number, PixelRays const& rays,
                RubberBand const& band)
{
    host::Placement const& placement = model.placements[number];
    bool isBoxIn = true;
    for (int corner = 0; corner < 8; ++corner) {
        isBoxIn = isBoxIn && IsInBand(placement.box.GetCorner(corner), rays, band);
    }
    if (isBoxIn) {
        return false;
    }
    std::vector<float> const& positions = model.meshes[placement.mesh].positions;
    for (std::size_t i = 0; i + 2 < positions.size(); i += 3) {
        TqLPos3f const local(positions[i], positions[i + 1], positions[i + 2]);
        if (!IsInBand(local * placement.toWorld, rays, band)) {
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<RubberBand> MakeRubberBands(int width, int height)
{
    std::vector<RubberBand> bands;
    for (double const(&share)[4] : s_bands) {
        RubberBand band;
        band.m_x0 = static_cast<int>((share[0] - share[2]) * width);
        band.m_y0 = static_cast<int>((share[1] - share[3]) * height);
        band.m_x1 = std::max(static_cast<int>((share[0] + share[2]) * width), band.m_x0 + 1);
        band.m_y1 = std::max(static_cast<int>((share[1] + share[3]) * height), band.m_y0 + 1);
        bands.push_back(band);
    }
    return bands;
}

void CheckRubberBand(PixelRays const& rays, host::IdPicture const& picture,
                     std::vector<host::GlShape*> const& drawn, host::MeshTrees* trees,
                     TqOcPickFrustumTraversal* pick, TqOcTraversable* root, RubberBand* band)
{
    TqLPickFrustum3f const frustum =
        rays.MakeFrustum(band->m_x0, band->m_y0, band->m_x1, band->m_y1);
    unsigned int const required = pick->GetRequiredPropertyBits();
    pick->SetFrustum(frustum);
    pick->SetPickBits(0);
    pick->SetResultBits(host::ResultBits::eLIST);
    pick->SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
    band->m_touching = List(pick, root, &band->m_touchingSeconds, &band->m_isTimedOut);
    pick->SetContainedOnly(1);
    band->m_contained = List(pick, root, &band->m_containedSeconds, &band->m_isTimedOut);
    pick->SetContainedOnly(0);
    pick->SetRequiredPropertyBits(required);

    Placements const seen = ListSeen(picture, *band);
    Placements const forced = ListByForce(drawn, trees, frustum);
    band->m_numSeen = seen.size();
    band->m_numUnseen = CountMissing(seen, band->m_touching);
    band->m_numStray =
        CountMissing(band->m_touching, forced) + CountMissing(band->m_contained, forced);
    band->m_numOff = band->m_numStray + CountMissing(forced, band->m_touching);
    for (std::uint32_t const placement : band->m_contained) {
        band->m_numOutside += ReachesOut(trees->GetModel(), placement, rays, *band) ? 1 : 0;
    }
}

} // namespace demo
