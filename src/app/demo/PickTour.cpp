#include "demo/PickTour.h"

#include "demo/DemoView.h"
#include "demo/PickTable.h"
#include "demo/PixelRays.h"
#include "demo/ProgressLine.h"
#include "demo/WalkCheck.h"
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
    return {{"sphere of 0.25 m, along the path", sphere, false, stops, {}, 0},
            {"sphere of 0.25 m, straight across", sphere, true, across, {}, 0},
            {"box of 0.5 x 0.9 x 0.5 m, along the path", box, false, stops, {}, 0},
            {"box of 0.5 x 0.9 x 0.5 m, straight across", box, true, across, {}, 0}};
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
        walk.m_crossings = CountCrossingSteps(world->GetModel(), walk.m_result.m_steps);
    }
    tour->m_seconds = host::Now() - start;
    return true;
}

} // namespace demo
