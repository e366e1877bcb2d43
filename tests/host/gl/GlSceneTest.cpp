#include "host/gl/GlScene.h"

#include "host/gl/EglDisplay.h"
#include "host/gl/GlFramebuffer.h"
#include "host/gl/GlFunctions.h"
#include "host/gl/GlHostContext.h"
#include "host/gl/GlMeshStore.h"
#include "host/gl/GlRenderer.h"

#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

constexpr int eSIZE = 128;
constexpr unsigned eCUBE_TRIS = 12;
constexpr unsigned eTHINGS = 64;

/// One display for all tests, never closed: closing it unloads the driver, which then takes the
/// names of its own leaks along, and opening it again takes long.
host::EglDisplay* OpenDisplay(std::string* problem)
{
    static std::string s_problem;
    static host::EglDisplay* const s_display = host::EglDisplay::Open(&s_problem).release();
    *problem = s_problem;
    return s_display;
}

/// A cube from -0.5 to 0.5.
host::Mesh MakeCube(std::uint32_t material)
{
    host::Mesh mesh;
    mesh.material = material;
    for (int corner = 0; corner < 8; ++corner) {
        for (int axis = 0; axis < 3; ++axis) {
            mesh.positions.push_back((corner >> axis & 1) != 0 ? 0.5f : -0.5f);
            mesh.normals.push_back((corner >> axis & 1) != 0 ? 0.577f : -0.577f);
        }
    }
    mesh.indices = {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                    2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5};
    mesh.UpdateBox();
    return mesh;
}

TqLAffine3f Place(double x, double y, double z, double width, double height, double depth)
{
    TqLAffine3f affine = TqLAffine3f::Scale(width, height, depth);
    affine[3][0] = x;
    affine[3][1] = y;
    affine[3][2] = z;
    return affine;
}

/// A wall across the left half of the view and a grid of small cubes behind it and beside it.
host::SceneModel MakeModel()
{
    host::SceneModel model;
    model.materials.resize(2);
    model.materials[0].color[0] = 0.9f;
    model.materials[1].color[2] = 0.9f;
    model.meshes = {MakeCube(0), MakeCube(1)};
    model.AddPlacement(0, Place(-10.0, 0.0, -10.0, 20.0, 40.0, 0.1), true);
    for (unsigned i = 0; i < eTHINGS; ++i) {
        double const x = (i < eTHINGS / 2 ? -12.0 : 4.0) + i % 8;
        double const y = -2.0 + (i / 8 % 4);
        model.AddPlacement(1, Place(x, y, -20.0 - i % 3, 0.7, 0.7, 0.7), false);
    }
    return model;
}

class GlSceneTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string problem;
        if (OpenDisplay(&problem) == nullptr) {
            GTEST_SKIP() << "no OpenGL on this machine: " << problem;
        }
        TqOcPrioritizedTraversal::Initialise();
        TqOcHierarchyBuilder::Initialise();
        ASSERT_TRUE(m_gl.Load(host::EglDisplay::GetProcAddress, &problem)) << problem;
        m_framebuffer = std::make_unique<host::GlFramebuffer>(m_gl);
        ASSERT_TRUE(m_framebuffer->Create(eSIZE, eSIZE, &problem)) << problem;
        m_meshes = std::make_unique<host::GlMeshStore>(m_gl);
        m_renderer = std::make_unique<host::GlRenderer>(m_gl, *m_meshes);
        ASSERT_TRUE(m_renderer->Create(&problem)) << problem;
        m_meshes->Upload(m_model.meshes);
        host::GlSceneSettings settings;
        settings.m_leafTris = 4 * static_cast<int>(eCUBE_TRIS);
        m_scene = std::make_unique<host::GlScene>(m_model, *m_renderer, settings);
        m_context = std::make_unique<host::GlHostContext>(*m_renderer, eSIZE, eSIZE);
        host::OcclusionQuerySettings patient;
        patient.m_smallestNode = 0;
        patient.m_longestWait = 20.0;
        patient.m_frameWait = 60.0;
        m_context->GetQueries().SetSettings(patient);
        m_traversal = std::make_unique<TqOcPrioritizedTraversal>(m_context.get());
        m_traversal->SetViewFrustum(m_frustum);
        m_traversal->SetPrimary(TqOcRenderTraversal::ePRIORITY_AREA);
        m_traversal->SetCullArea(0.0);
    }

    void TearDown() override
    {
        if (m_traversal == nullptr) {
            return;
        }
        EXPECT_EQ(m_gl.GetError(), static_cast<GLenum>(GL_NO_ERROR));
        m_traversal.reset();
        m_scene.reset();
        TqOcHierarchyBuilder::Terminate();
        TqOcPrioritizedTraversal::Terminate();
    }

    host::Image Draw()
    {
        m_context->SetView(m_frustum, m_traversal->GetCullArea());
        m_traversal->SetFrameId(++m_frame);
        m_traversal->Apply(m_scene->GetRoot());
        return m_framebuffer->ReadImage();
    }

    host::SceneModel m_model = MakeModel();
    TqLFrustum3f m_frustum = TqLFrustum3f(0.2, 0.2, 0.1, 100.0);
    host::GlFunctions m_gl;
    std::unique_ptr<host::GlFramebuffer> m_framebuffer;
    std::unique_ptr<host::GlMeshStore> m_meshes;
    std::unique_ptr<host::GlRenderer> m_renderer;
    std::unique_ptr<host::GlScene> m_scene;
    std::unique_ptr<host::GlHostContext> m_context;
    std::unique_ptr<TqOcPrioritizedTraversal> m_traversal;
    unsigned m_frame = 0;
};

} // namespace

TEST_F(GlSceneTest, MakesOneShapeForEveryPlacement)
{
    EXPECT_EQ(m_scene->GetNumShapes(), 1 + eTHINGS);
    EXPECT_EQ(m_scene->GetRoot()->GetTris(), (1 + eTHINGS) * eCUBE_TRIS);
    EXPECT_EQ(m_scene->GetRoot()->GetBoundingBox(), m_model.box);
    EXPECT_GT(m_scene->GetCounts().m_leaves, eTHINGS / 8);
}

TEST_F(GlSceneTest, CountsEveryShapeOnceInEitherWalk)
{
    Draw();
    EXPECT_EQ(m_traversal->GetShapesRendered(), 1 + eTHINGS);
    EXPECT_EQ(m_traversal->GetTrisRendered(), (1 + eTHINGS) * eCUBE_TRIS);
    m_traversal->ResetStats();
    m_scene->GetRoot()->Render(m_traversal.get());
    EXPECT_EQ(m_traversal->GetShapesRendered(), 1 + eTHINGS);
    EXPECT_EQ(m_traversal->GetTrisRendered(), (1 + eTHINGS) * eCUBE_TRIS);
}

TEST_F(GlSceneTest, DrawsTheSameWithQueriesAndFewerTriangles)
{
    host::Image const without = Draw();
    unsigned const allTris = m_traversal->GetTrisRendered();
    m_traversal->SetOcclusionCulling(1);
    host::Image const with = Draw();
    host::OcclusionQueryCounts const& counts = m_context->GetQueries().GetCounts();
    EXPECT_EQ(host::CompareImages(without, with).m_pixels, 0U);
    EXPECT_LT(m_traversal->GetTrisRendered(), allTris);
    EXPECT_GT(m_traversal->GetTrisOcclusionCulled(), 0U);
    EXPECT_EQ(m_traversal->GetTrisRendered() + m_traversal->GetTrisOcclusionCulled(), allTris);
    EXPECT_GT(counts.m_occluded, 0U);
    EXPECT_EQ(counts.m_issued, counts.m_ready + counts.m_aborted);
    EXPECT_EQ(counts.m_aborted, 0U);
}

TEST_F(GlSceneTest, CountsWithoutDrawingWhenAsked)
{
    m_scene->SetDrawing(false);
    host::Image const nothing = Draw();
    EXPECT_EQ(m_traversal->GetTrisRendered(), (1 + eTHINGS) * eCUBE_TRIS);
    m_scene->SetDrawing(true);
    EXPECT_GT(host::CompareImages(nothing, Draw()).m_pixels, 1000U);
}

TEST_F(GlSceneTest, StopsWithTheShapeThatUsesUpTheBudget)
{
    m_traversal->SetPolicy(TqOcRenderTraversal::eALWAYS_INTERACTIVE);
    m_traversal->SetTargetFrameTime(600.0);
    m_traversal->SetLowBand(0.0);
    unsigned const budget = 10 * eCUBE_TRIS;
    m_traversal->LowTarget(0.0, budget - 1);
    Draw();
    EXPECT_NE(m_traversal->IsFrameClipped(), 0);
    EXPECT_GT(m_traversal->GetTrisRendered(), budget);
    EXPECT_LE(m_traversal->GetTrisRendered(), budget + eCUBE_TRIS);
}

TEST_F(GlSceneTest, AsksForARedrawOfAFrameThatWasCut)
{
    m_traversal->SetPolicy(TqOcRenderTraversal::eCOUNT_INTERACTIVE);
    m_traversal->StartInteractive();
    m_traversal->SetTargetFrameTime(600.0);
    m_traversal->SetLowBand(0.0);
    m_traversal->LowTarget(0.0, eCUBE_TRIS);
    Draw();
    EXPECT_EQ(m_context->TakeRedrawRequests(), 1U);
    EXPECT_EQ(m_context->TakeRedrawRequests(), 0U);
}

TEST_F(GlSceneTest, StandsWithoutPlacements)
{
    host::SceneModel const empty;
    host::GlScene scene(empty, *m_renderer, host::GlSceneSettings());
    EXPECT_EQ(scene.GetNumShapes(), 0U);
    EXPECT_EQ(scene.GetRoot(), nullptr);
}
