#include "demo/PickTour.h"

#include "demo/DemoView.h"
#include "demo/PickTable.h"
#include "demo/PixelRays.h"
#include "demo/ProgressLine.h"
#include "demo/ReportParts.h"
#include "host/Clock.h"
#include "host/gl/CameraPath.h"
#include "host/gl/GlShape.h"

#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <cstdio>
#include <numeric>

namespace demo
{

namespace
{

constexpr int eVIEWS = 7;
constexpr int ePIXELS = 400; // of a view
constexpr std::uint64_t eSEED = 20;
constexpr double eLEAST_AGREEMENT = 0.999;
constexpr double eSTEP = 0.5; // metres

/// The shapes that carry a frame's number.
class DrawnShapes : public TqOcVisitor
{
public:
    explicit DrawnShapes(unsigned int frameId) : m_frameId(frameId) {}

    std::vector<host::GlShape*> const& GetShapes() const { return m_shapes; }

    void VisitShape(TqOcShape* shape) override
    {
        if (shape->GetFrameId() == m_frameId) {
            m_shapes.push_back(static_cast<host::GlShape*>(shape));
        }
    }

private:
    unsigned int m_frameId;
    std::vector<host::GlShape*> m_shapes;
};

/// Draws the triangles of all shapes; where lines and points are rasterised is the driver's affair,
/// so pixels are picked for triangles only.
host::IdPicture DrawIds(host::SceneModel const& model, std::vector<host::GlShape*> const& drawn,
                        TqLMatrix4f const& worldToClip, host::GlIdBuffer* buffer)
{
    buffer->Begin(worldToClip);
    for (host::GlShape const* const shape : drawn) {
        host::Placement const& placement = model.placements[shape->GetPlacement()];
        if (model.meshes[placement.mesh].corners == 3) {
            buffer->Draw(placement.mesh, placement.toWorld, shape->GetPlacement() + 1);
        }
    }
    return buffer->End();
}

std::vector<TqLBox3f> GetBoxes(host::SceneModel const& model,
                               std::vector<host::GlShape*> const& shapes)
{
    std::vector<TqLBox3f> boxes;
    for (host::GlShape const* const shape : shapes) {
        boxes.push_back(model.placements[shape->GetPlacement()].box);
    }
    return boxes;
}

/// Draws one view and picks in it.
PickView TourView(DemoWorld* world, DemoOptions const& options, host::CameraKey const& key,
                  std::uint64_t seed, host::GlIdBuffer* buffer)
{
    PickView view;
    view.m_key = key;
    TqOcPrioritizedTraversal& frame = world->GetTraversal();
    SetUpForWholeFrames(&frame);
    frame.SetOcclusionCulling(0);
    world->DrawFrame(key);
    view.m_picture = world->ReadPicture();
    TqOcTraversable* const root = world->GetScene().GetRoot();
    DrawnShapes drawn(frame.GetFrameId());
    drawn.Apply(root);
    view.m_numDrawn = drawn.GetShapes().size();
    PixelRays rays(frame.GetViewFrustum(), options.m_width, options.m_height);
    rays.NarrowDepths(GetBoxes(world->GetModel(), drawn.GetShapes()));
    view.m_ids = DrawIds(world->GetModel(), drawn.GetShapes(), rays.GetToClip(), buffer);

    TqOcPickFrustumTraversal pick(&world->GetContext());
    pick.SetRenderTraversal(&frame);
    host::MeshTrees& trees = world->GetScene().GetTrees();
    PixelComparer comparer(rays, view.m_ids, &trees, &pick, root);
    view.m_pixels = SpreadPixels(options.m_width, options.m_height, ePIXELS, seed);
    for (PixelPick& pixel : view.m_pixels) {
        comparer.Compare(&pixel);
    }
    view.m_bands = MakeRubberBands(options.m_width, options.m_height);
    for (RubberBand& band : view.m_bands) {
        CheckRubberBand(rays, view.m_ids, drawn.GetShapes(), &trees, &pick, root, &band);
    }
    return view;
}

/// The stops in an order in which straight lines between them lead through walls.
std::vector<host::CameraKey> Scramble(std::vector<host::CameraKey> const& stops)
{
    std::size_t stride = stops.size() / 3 + 1;
    while (std::gcd(stride, stops.size()) > 1) {
        ++stride;
    }
    std::vector<host::CameraKey> scrambled;
    for (std::size_t i = 0; i < stops.size(); ++i) {
        scrambled.push_back(stops[i * stride % stops.size()]);
    }
    return scrambled;
}

/// Two bodies on two ways each.
std::vector<BodyWalk> MakeWalks(std::vector<host::CameraKey> const& stops)
{
    WalkBody sphere;
    sphere.m_radius = 0.25;
    WalkBody box;
    box.m_isSphere = false;
    box.m_halfSize = TqLVec3f(0.25, 0.45, 0.25);
    std::vector<host::CameraKey> const across = Scramble(stops);
    return {{"sphere of 0.25 m, along the path", sphere, stops, {}},
            {"sphere of 0.25 m, straight across", sphere, across, {}},
            {"box of 0.5 x 0.9 x 0.5 m, along the path", box, stops, {}},
            {"box of 0.5 x 0.9 x 0.5 m, straight across", box, across, {}}};
}

/// Builds all trees at once: one that is built in a pick spends that pick's time.
void BuildTrees(DemoWorld* world, PickTour* tour)
{
    double const start = host::Now();
    host::MeshTrees& trees = world->GetScene().GetTrees();
    for (std::size_t mesh = 0; mesh < world->GetModel().meshes.size(); ++mesh) {
        trees.GetTree(mesh);
    }
    tour->m_treeBytes = trees.GetNumBytes();
    tour->m_treeSeconds = host::Now() - start;
}

} // namespace

std::size_t PickTour::GetNumPixels() const
{
    std::size_t count = 0;
    for (PickView const& view : m_views) {
        count += view.m_pixels.size();
    }
    return count;
}

std::size_t PickTour::Count(PixelVerdict verdict) const
{
    std::size_t count = 0;
    for (PickView const& view : m_views) {
        count += view.Count(verdict);
    }
    return count;
}

double PickTour::GetAgreement() const
{
    std::size_t const same = Count(PixelVerdict::eSAME) + Count(PixelVerdict::eBACKGROUND);
    std::size_t const all = GetNumPixels();
    return all > 0 ? static_cast<double>(same) / static_cast<double>(all) : 0.0;
}

std::string PickTour::FindFault() const
{
    if (GetAgreement() < eLEAST_AGREEMENT) {
        return Format("picks and picture agree in %.3f %% of the pixels only",
                      100.0 * GetAgreement());
    }
    if (std::size_t const count = Count(PixelVerdict::eUNEXPLAINED)) {
        return Format("%zu differences between picks and picture are not explained", count);
    }
    for (PickView const& view : m_views) {
        for (RubberBand const& band : view.m_bands) {
            if (!band.IsRight()) {
                return Format("a rubber band is wrong: %zu seen shapes missing, %zu off, %zu "
                              "contained ones reach out",
                              band.m_numUnseen, band.m_numOff, band.m_numOutside);
            }
        }
    }
    for (BodyWalk const& walk : m_walks) {
        if (walk.m_result.m_inside > 0) {
            return Format("%zu steps of a walk ended inside something", walk.m_result.m_inside);
        }
        if (walk.m_result.m_parted > 0) {
            return Format("%zu sweeps depend on the order of the pick", walk.m_result.m_parted);
        }
    }
    return std::string();
}

bool TourPicks(DemoWorld* world, DemoOptions const& options, PickTour* tour, std::string* problem)
{
    double const start = host::Now();
    host::GlIdBuffer buffer(world->GetGl(), world->GetMeshes());
    if (!buffer.Create(options.m_width, options.m_height, problem)) {
        return false;
    }
    std::printf("\n%s\n", PickTableHeading().c_str());
    ProgressLine line;
    line.Show(0.0, "building trees over triangles");
    BuildTrees(world, tour);
    host::CameraPath const path(world->GetModel().path);
    for (int i = 0; i < eVIEWS; ++i) {
        line.Show(0.8 * i / eVIEWS, "picking in views");
        host::CameraKey const key = path.Evaluate((i + 0.5) / eVIEWS);
        tour->m_views.push_back(
            TourView(world, options, key, eSEED + static_cast<std::uint64_t>(i), &buffer));
        line.Print(PickTableRow(tour->m_views.back(), tour->m_views.size()));
    }
    tour->m_walks = MakeWalks(world->GetModel().path);
    for (BodyWalk& walk : tour->m_walks) {
        line.Show(0.8, "walking with a body");
        WalkPicks picks;
        walk.m_result = Walk(walk.m_stops, walk.m_body, eSTEP, &picks, world->GetScene().GetRoot());
    }
    tour->m_seconds = host::Now() - start;
    return true;
}

} // namespace demo
