#include "host/gl/GlRenderer.h"

#include "host/gl/EglDisplay.h"
#include "host/gl/GlFramebuffer.h"
#include "host/gl/GlFunctions.h"
#include "host/gl/GlMeshStore.h"
#include "host/gl/OcclusionQueries.h"

#include "geometry/TqLFrustum3f.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

constexpr int eSIZE = 64;

/// A cube from -1 to 1 with unshared corners and outward normals.
host::Mesh MakeCube()
{
    host::Mesh mesh;
    for (int axis = 0; axis < 3; ++axis) {
        for (int side = -1; side <= 1; side += 2) {
            std::uint32_t const first = static_cast<std::uint32_t>(mesh.GetNumVertices());
            for (int corner = 0; corner < 4; ++corner) {
                float point[3];
                float normal[3] = {0.0f, 0.0f, 0.0f};
                point[axis] = static_cast<float>(side);
                normal[axis] = static_cast<float>(side);
                point[(axis + 1) % 3] = (corner & 1) != 0 ? 1.0f : -1.0f;
                point[(axis + 2) % 3] = (corner & 2) != 0 ? 1.0f : -1.0f;
                mesh.positions.insert(mesh.positions.end(), point, point + 3);
                mesh.normals.insert(mesh.normals.end(), normal, normal + 3);
            }
            for (std::uint32_t const index : {0U, 1U, 2U, 1U, 3U, 2U}) {
                mesh.indices.push_back(first + index);
            }
        }
    }
    return mesh;
}

/// Lines from the middle to the four sides of a square, or their ends as points.
host::Mesh MakeCross(std::uint32_t corners)
{
    host::Mesh mesh;
    mesh.positions = {0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0};
    mesh.normals = {0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0};
    mesh.corners = corners;
    for (std::uint32_t end = 1; end <= 4; ++end) {
        if (corners == 2) {
            mesh.indices.push_back(0);
        }
        mesh.indices.push_back(end);
    }
    return mesh;
}

host::Material MakeMaterial(float red, float green, float blue, float opacity)
{
    host::Material material;
    material.color[0] = red;
    material.color[1] = green;
    material.color[2] = blue;
    material.opacity = opacity;
    return material;
}

TqLAffine3f Place(double x, double y, double z, double scale)
{
    TqLAffine3f affine = TqLAffine3f::Scale(scale);
    affine[3][0] = x;
    affine[3][1] = y;
    affine[3][2] = z;
    return affine;
}

TqLBox3f Box(double x, double y, double z, double half)
{
    return TqLBox3f(TqLPos3f(x - half, y - half, z - half), TqLPos3f(x + half, y + half, z + half));
}

/// One display for all tests, never closed: closing it unloads the driver, which then takes the
/// names of its own leaks along, and opening it again takes long.
host::EglDisplay* OpenDisplay(std::string* problem)
{
    static std::string s_problem;
    static host::EglDisplay* const s_display = host::EglDisplay::Open(&s_problem).release();
    *problem = s_problem;
    return s_display;
}

class GlRendererTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string problem;
        if (OpenDisplay(&problem) == nullptr) {
            GTEST_SKIP() << "no OpenGL on this machine: " << problem;
        }
        ASSERT_TRUE(m_gl.Load(host::EglDisplay::GetProcAddress, &problem)) << problem;
        m_framebuffer = std::make_unique<host::GlFramebuffer>(m_gl);
        ASSERT_TRUE(m_framebuffer->Create(eSIZE, eSIZE, &problem)) << problem;
        m_meshes = std::make_unique<host::GlMeshStore>(m_gl);
        host::Mesh broken = MakeCube();
        broken.indices[0] = 1000;
        m_meshes->Upload({MakeCube(), broken, MakeCross(2), MakeCross(1)});
        m_renderer = std::make_unique<host::GlRenderer>(m_gl, *m_meshes);
        ASSERT_TRUE(m_renderer->Create(&problem)) << problem;
    }

    void TearDown() override
    {
        if (m_renderer != nullptr) {
            EXPECT_EQ(m_gl.GetError(), static_cast<GLenum>(GL_NO_ERROR));
        }
    }

    /// Looks along -z from the origin with a right angle of view.
    void Begin()
    {
        TqLFrustum3f const frustum(0.2, 0.2, 0.1, 100.0);
        m_renderer->BeginFrame(frustum.GetMatrix(), frustum.GetViewpoint());
    }

    host::Image End()
    {
        m_renderer->EndFrame();
        return m_framebuffer->ReadImage();
    }

    host::GlFunctions m_gl;
    std::unique_ptr<host::GlFramebuffer> m_framebuffer;
    std::unique_ptr<host::GlMeshStore> m_meshes;
    std::unique_ptr<host::GlRenderer> m_renderer;
    host::Material m_red = MakeMaterial(0.9f, 0.05f, 0.05f, 1.0f);
    host::Material m_green = MakeMaterial(0.05f, 0.9f, 0.05f, 1.0f);
    host::Material m_glass = MakeMaterial(0.05f, 0.05f, 0.9f, 0.5f);
};

bool IsMostly(std::uint8_t const* pixel, int channel)
{
    return pixel[channel] > pixel[(channel + 1) % 3] + 60 &&
           pixel[channel] > pixel[(channel + 2) % 3] + 60;
}

} // namespace

TEST_F(GlRendererTest, PaintsTheSkyWhereNothingIsDrawn)
{
    Begin();
    host::Image const image = End();
    std::uint8_t const* top = image.GetPixel(eSIZE / 2, 0);
    std::uint8_t const* bottom = image.GetPixel(eSIZE / 2, eSIZE - 1);
    EXPECT_GT(top[2], top[0] + 40) << "the sky is blue and at the top";
    EXPECT_LT(bottom[2], bottom[0] + 40);
}

TEST_F(GlRendererTest, DrawsAMeshWhereItsTransformPutsIt)
{
    Begin();
    // Half as wide as its distance, so a quarter of the picture's width; up and to the right.
    TqLAffine3f const place = Place(2.0, 2.0, -5.0, 1.0);
    m_renderer->DrawMesh(0, place, m_red);
    host::Image const image = End();
    // The front face lies at z = -4 and spans 1 to 3, which is 5/8 to 7/8 of the picture.
    EXPECT_TRUE(IsMostly(image.GetPixel(48, 64 - 48), 0));
    EXPECT_FALSE(IsMostly(image.GetPixel(48, 48), 0));
    EXPECT_FALSE(IsMostly(image.GetPixel(16, 16), 0));
    EXPECT_FALSE(IsMostly(image.GetPixel(60, 4), 0));
}

TEST_F(GlRendererTest, LetsNearThingsHideFarOnesInEitherOrder)
{
    TqLAffine3f const near = Place(0.0, 0.0, -4.0, 1.0);
    TqLAffine3f const far = Place(0.0, 0.0, -9.0, 1.0);
    for (bool const nearFirst : {true, false}) {
        Begin();
        m_renderer->DrawMesh(0, nearFirst ? near : far, nearFirst ? m_red : m_green);
        m_renderer->DrawMesh(0, nearFirst ? far : near, nearFirst ? m_green : m_red);
        host::Image const image = End();
        EXPECT_TRUE(IsMostly(image.GetPixel(32, 32), 0));
    }
}

TEST_F(GlRendererTest, BlendsGlassOverWhatIsDrawnAfterIt)
{
    TqLAffine3f const glass = Place(0.0, 0.0, -4.0, 1.0);
    TqLAffine3f const wall = Place(0.0, 0.0, -9.0, 4.0);
    Begin();
    m_renderer->DrawMesh(0, glass, m_glass);
    m_renderer->DrawMesh(0, wall, m_red);
    host::Image const image = End();
    std::uint8_t const* through = image.GetPixel(32, 32);
    EXPECT_GT(through[0], 60);
    EXPECT_GT(through[2], 60);
    EXPECT_TRUE(IsMostly(image.GetPixel(10, 32), 0));
}

TEST_F(GlRendererTest, DrawsNothingForAMeshWithIndicesOutside)
{
    Begin();
    host::Image const empty = End();
    Begin();
    TqLAffine3f const place = Place(0.0, 0.0, -4.0, 1.0);
    m_renderer->DrawMesh(1, place, m_red);
    EXPECT_EQ(host::CompareImages(empty, End()).m_pixels, 0U);
}

TEST_F(GlRendererTest, CountsThePixelsThatABoxWouldShow)
{
    host::OcclusionQueries queries(*m_renderer);
    host::OcclusionQuerySettings patient;
    patient.m_smallestNode = 0;
    patient.m_longestWait = 20.0;
    patient.m_frameWait = 60.0;
    queries.SetSettings(patient);
    TqLAffine3f const wall = Place(0.0, 0.0, -4.0, 1.0);

    Begin();
    queries.BeginFrame(1.0);
    // In front of everything: the face at z = -7 spans 2 of 14 units of the picture's 64 pixels.
    TqOcOcclusionQuery* open = queries.Begin(Box(0.0, 0.0, -8.0, 1.0), 100);
    m_renderer->DrawMesh(0, wall, m_red);
    TqOcOcclusionQuery* hidden = queries.Begin(Box(0.0, 0.0, -8.0, 1.0), 100);
    TqOcOcclusionQuery* beside = queries.Begin(Box(6.0, 0.0, -8.0, 1.0), 100);
    ASSERT_NE(open, nullptr);
    ASSERT_NE(hidden, nullptr);
    ASSERT_NE(beside, nullptr);
    EXPECT_TRUE(queries.IsReady(open));
    EXPECT_TRUE(queries.IsReady(hidden));
    EXPECT_TRUE(queries.IsReady(beside));
    EXPECT_NEAR(queries.End(open), 9.0, 1.0);
    EXPECT_EQ(queries.End(hidden), 0U);
    EXPECT_GT(queries.End(beside), 5U);
    EXPECT_EQ(queries.GetCounts().m_issued, 3U);
    EXPECT_EQ(queries.GetCounts().m_ready, 3U);
    EXPECT_EQ(queries.GetCounts().m_occluded, 1U);
    EXPECT_EQ(queries.GetCounts().m_aborted, 0U);
    host::Image const image = End();
    EXPECT_TRUE(IsMostly(image.GetPixel(32, 32), 0)) << "queries draw nothing that is seen";
}

TEST_F(GlRendererTest, ShowsABoxThatLiesOnAHidingSurface)
{
    host::OcclusionQueries queries(*m_renderer);
    host::OcclusionQuerySettings patient;
    patient.m_smallestNode = 0;
    patient.m_longestWait = 20.0;
    queries.SetSettings(patient);
    Begin();
    queries.BeginFrame(0.0);
    TqLAffine3f const wall = Place(0.0, 0.0, -4.0, 1.0);
    m_renderer->DrawMesh(0, wall, m_red);
    TqLBox3f const picture(TqLPos3f(-0.5, -0.5, -3.0), TqLPos3f(0.5, 0.5, -3.0));
    TqOcOcclusionQuery* query = queries.Begin(picture, 100);
    ASSERT_NE(query, nullptr);
    EXPECT_TRUE(queries.IsReady(query));
    EXPECT_GT(queries.End(query), 5U);
    End();
}

TEST_F(GlRendererTest, AsksNothingAtTheEyeOrForSmallNodes)
{
    host::OcclusionQueries queries(*m_renderer);
    Begin();
    queries.BeginFrame(1.0);
    EXPECT_EQ(queries.Begin(Box(0.0, 0.0, 0.0, 1.0), 100000), nullptr) << "the eye is inside";
    EXPECT_EQ(queries.Begin(Box(0.0, 0.0, -1.0, 0.95), 100000), nullptr) << "cuts the near plane";
    EXPECT_EQ(queries.Begin(Box(0.0, 0.0, 9.0, 1.0), 100000), nullptr) << "behind the eye";
    EXPECT_EQ(queries.Begin(Box(0.0, 0.0, -9.0, 1.0), 10), nullptr) << "costs less than a query";
    EXPECT_EQ(queries.GetCounts().m_declined, 4U);
    EXPECT_EQ(queries.GetPoolSize(), 0U);
    End();
}

TEST_F(GlRendererTest, ReusesQueriesAndAbortsThoseLeftOpen)
{
    host::OcclusionQueries queries(*m_renderer);
    for (int frame = 0; frame < 5; ++frame) {
        Begin();
        queries.BeginFrame(1.0);
        for (int i = 0; i < 3; ++i) {
            ASSERT_NE(queries.Begin(Box(0.0, 0.0, -9.0, 1.0), 100000), nullptr);
        }
        queries.EndFrame();
        EXPECT_EQ(queries.GetCounts().m_issued, 3U);
        EXPECT_EQ(queries.GetCounts().m_aborted, 3U);
        EXPECT_EQ(queries.GetPoolSize(), 3U);
        End();
    }
}

TEST_F(GlRendererTest, StopsAskingWhenTheFrameHasWaitedEnough)
{
    host::OcclusionQueries queries(*m_renderer);
    host::OcclusionQuerySettings hasty;
    hasty.m_smallestNode = 0;
    hasty.m_frameWait = 0.0;
    queries.SetSettings(hasty);
    Begin();
    queries.BeginFrame(1.0);
    EXPECT_EQ(queries.Begin(Box(0.0, 0.0, -9.0, 1.0), 100000), nullptr);
    End();
}

TEST(GlFramebuffer, RefusesImpossibleSizes)
{
    std::string problem;
    if (OpenDisplay(&problem) == nullptr) {
        GTEST_SKIP() << "no OpenGL on this machine: " << problem;
    }
    host::GlFunctions gl;
    ASSERT_TRUE(gl.Load(host::EglDisplay::GetProcAddress, &problem)) << problem;
    for (int const side : {0, -5, 10000000}) {
        host::GlFramebuffer framebuffer(gl);
        problem.clear();
        EXPECT_FALSE(framebuffer.Create(side, 16, &problem));
        EXPECT_NE(problem.find(std::to_string(side)), std::string::npos) << problem;
    }
}

TEST_F(GlRendererTest, DrawsLinesAndPoints)
{
    auto const countGreen = [](host::Image const& image) {
        int count = 0;
        for (int y = 0; y < eSIZE; ++y) {
            for (int x = 0; x < eSIZE; ++x) {
                count += IsMostly(image.GetPixel(x, y), 1) ? 1 : 0;
            }
        }
        return count;
    };
    // At a distance of 2 a unit is a quarter of the picture, 16 pixels.
    TqLAffine3f const place = Place(0.02, 0.02, -2.0, 1.0);
    Begin();
    m_renderer->DrawMesh(2, place, m_green);
    int const onLines = countGreen(End());
    EXPECT_GE(onLines, 60);
    EXPECT_LE(onLines, 68);
    Begin();
    m_renderer->DrawMesh(3, place, m_green);
    EXPECT_EQ(countGreen(End()), 4);
}
