#include "demo/DemoWorld.h"

#include "host/Clock.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <cmath>
#include <utility>

namespace demo
{

namespace
{

/// Haze makes up half of a colour at this many diagonals of the scene: enough to tell near from
/// far.
constexpr double eHAZE_DIAGONALS = 10.0;

constexpr unsigned eWARM_UP_TRIS = 100000;

} // namespace

DemoWorld::DemoWorld()
{
    TqOcPrioritizedTraversal::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcDynamicGroup::Initialise();
    TqOcShape::Initialise();
    TqOcContext::Initialise();
}

DemoWorld::~DemoWorld()
{
    m_traversal.reset();
    m_scene.reset();
    TqOcContext::Terminate();
    TqOcShape::Terminate();
    TqOcDynamicGroup::Terminate();
    TqOcHierarchyBuilder::Terminate();
    TqOcPrioritizedTraversal::Terminate();
}

bool DemoWorld::OpenDrawing(DemoOptions const& options, std::string* problem)
{
    m_display = host::EglDisplay::Open(problem);
    if (m_display == nullptr) {
        *problem = "no OpenGL 3.3 can be had: " + *problem;
        return false;
    }
    std::string missing;
    if (!m_gl.Load(host::EglDisplay::GetProcAddress, &missing)) {
        *problem = "the OpenGL driver has no " + missing;
        return false;
    }
    m_width = options.m_width;
    m_height = options.m_height;
    m_framebuffer = std::make_unique<host::GlFramebuffer>(m_gl);
    m_meshes = std::make_unique<host::GlMeshStore>(m_gl);
    m_renderer = std::make_unique<host::GlRenderer>(m_gl, *m_meshes);
    return m_framebuffer->Create(m_width, m_height, problem) && m_renderer->Create(problem);
}

void DemoWorld::TakeModel(host::SceneModel&& model)
{
    TakeModelOnly(std::move(model));
    double const start = host::Now();
    m_scene = std::make_unique<host::GlScene>(m_model, *m_renderer, host::GlSceneSettings());
    m_root = m_scene->GetRoot();
    m_buildSeconds = host::Now() - start;
}

void DemoWorld::TakeModelOnly(host::SceneModel&& model)
{
    m_model = std::move(model);
    TqLVec3f const size = m_model.box.GetSize();
    m_renderer->SetHazeDistance(std::sqrt(size.Dot(size)) * eHAZE_DIAGONALS);
    double const start = host::Now();
    m_meshes->Upload(m_model.meshes);
    m_uploadSeconds = host::Now() - start;
    m_context = std::make_unique<host::GlHostContext>(*m_renderer, m_width, m_height);
    m_traversal = std::make_unique<TqOcPrioritizedTraversal>(m_context.get());
    m_view = std::make_unique<DemoView>(m_model.box, m_width, m_height);
    SetUpTraversal(m_traversal.get());
}

host::FrameRecord DemoWorld::DrawFrame(host::CameraKey const& key)
{
    TqLFrustum3f const frustum = m_view->MakeFrustum(key);
    TqOcPrioritizedTraversal& traversal = *m_traversal;
    m_context->SetView(frustum, traversal.GetCullArea());
    traversal.SetViewFrustum(frustum);
    // A node counts as dealt with when its frame number is the traversal's: new for every frame,
    // and never the 0 that nodes start with.
    traversal.SetFrameId(++m_frame);
    traversal.Apply(m_root);

    host::OcclusionQueryCounts const& queries = m_context->GetQueries().GetCounts();
    host::FrameRecord record;
    record.m_frame = m_frame;
    record.m_frameTime = traversal.GetLastFrameTime();
    record.m_targetTime = traversal.GetTargetFrameTime();
    record.m_traversalTime = traversal.GetLastTraversalTime();
    record.m_nodesTested = traversal.GetNumFrustumCullTests();
    record.m_leaves = traversal.GetLeavesRendered();
    record.m_shapes = traversal.GetShapesRendered();
    record.m_tris = traversal.GetTrisRendered();
    record.m_trisFrustum = traversal.GetTrisFrustumCulled();
    record.m_trisArea = traversal.GetTrisAreaCulled();
    record.m_trisVisibility = traversal.GetTrisVisibilityCulled();
    record.m_trisTraversed = traversal.GetTrisTraversedCulled();
    record.m_trisOcclusion = traversal.GetTrisOcclusionCulled();
    record.m_triangleTarget = traversal.GetTriangleTarget();
    record.m_stress = traversal.GetStress();
    record.m_load = traversal.GetLoad();
    record.m_traversalFactor = traversal.GetTraversalFactor();
    record.m_clipped = traversal.IsFrameClipped() != 0;
    record.m_queriesIssued = queries.m_issued;
    record.m_queriesReady = queries.m_ready;
    record.m_queriesAborted = queries.m_aborted;
    record.m_queriesOccluded = queries.m_occluded;
    return record;
}

double DemoWorld::CountFrame(host::CameraKey const& key)
{
    m_scene->SetDrawing(false);
    SetUpForWholeFrames(m_traversal.get());
    m_traversal->SetOcclusionCulling(0);
    double const tris = DrawFrame(key).m_tris;
    m_scene->SetDrawing(true);
    return tris;
}

void DemoWorld::WarmUp(host::CameraKey const& key)
{
    m_traversal->SetOcclusionCulling(1);
    for (int i = 0; i < 2; ++i) {
        SetUpForBudget(m_traversal.get(), eWARM_UP_TRIS);
        DrawFrame(key);
    }
    m_traversal->ResetHysteresis();
}

std::string DemoWorld::DescribeRenderer() const
{
    return m_gl.DescribeRenderer() + " (EGL " + m_display->GetPlatformName() + " display)";
}

} // namespace demo
