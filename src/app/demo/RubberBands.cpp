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

/// Applies the pick and keeps what it listed.
void Pick(TqOcPickFrustumTraversal* pick, TqOcTraversable* root, BandList* list)
{
    double const start = host::Now();
    pick->Apply(root);
    list->m_seconds = host::Now() - start;
    list->m_isTimedOut = pick->IsPickingTimeOut();
    TqUPtrVector<TqOcShape> const& shapes = pick->GetAllPickedShapes();
    for (int i = 0; i < shapes.Size(); ++i) {
        list->m_placements.push_back(static_cast<host::GlShape*>(shapes[i])->GetPlacement());
    }
    std::sort(list->m_placements.begin(), list->m_placements.end());
}

/// What each drawn shape's own triangles say.
struct ForcedLists
{
    Placements m_touching;
    Placements m_contained;
};

ForcedLists ListByForce(std::vector<host::GlShape*> const& drawn, host::MeshTrees* trees,
                        TqLPickFrustum3f const& frustum)
{
    host::PickVolume const volume(frustum, nullptr, 0);
    host::MeshPickSettings const settings;
    ForcedLists lists;
    for (host::GlShape const* const shape : drawn) {
        host::PlacedMesh const mesh = GetMesh(trees, shape->GetPlacement());
        if (!host::IsTouched(mesh, volume, settings)) {
            continue;
        }
        lists.m_touching.push_back(shape->GetPlacement());
        if (host::IsContained(mesh, volume, settings)) {
            lists.m_contained.push_back(shape->GetPlacement());
        }
    }
    std::sort(lists.m_touching.begin(), lists.m_touching.end());
    std::sort(lists.m_contained.begin(), lists.m_contained.end());
    return lists;
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

void CompareWithForced(Placements const& forced, BandList* list)
{
    list->m_numStray = CountMissing(list->m_placements, forced);
    list->m_numMissing = CountMissing(forced, list->m_placements);
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
    Pick(pick, root, &band->m_touching);
    pick->SetContainedOnly(1);
    Pick(pick, root, &band->m_contained);
    pick->SetContainedOnly(0);
    pick->SetRequiredPropertyBits(required);

    Placements const seen = ListSeen(picture, *band);
    band->m_numSeen = seen.size();
    band->m_numUnseen = CountMissing(seen, band->m_touching.m_placements);
    ForcedLists const forced = ListByForce(drawn, trees, frustum);
    CompareWithForced(forced.m_touching, &band->m_touching);
    CompareWithForced(forced.m_contained, &band->m_contained);
    for (std::uint32_t const placement : band->m_contained.m_placements) {
        band->m_numOutside += ReachesOut(trees->GetModel(), placement, rays, *band) ? 1 : 0;
    }
}

} // namespace demo
