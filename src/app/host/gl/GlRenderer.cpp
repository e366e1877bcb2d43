#include "host/gl/GlRenderer.h"

#include "host/gl/GlCompose.h"
#include "host/gl/GlShaders.h"

#include <algorithm>
#include <cmath>

namespace host
{

namespace
{

constexpr float eOPAQUE = 0.97f;
// By how much the box of a query is larger than the node's: a share of its size, a part of a pixel
// for the rounding of corners to the rasteriser's grid, and a step of depth for that of depths.
constexpr double eBOX_MARGIN = 1e-3;
constexpr double eBOX_PIXELS = 0.25;
constexpr GLfloat eBOX_DEPTH_SLOPE = -1.0f;
constexpr GLfloat eBOX_DEPTH_STEPS = -4.0f;
constexpr int eDRAW_VECTORS = 8;

} // namespace

GlRenderer::GlRenderer(GlFunctions const& gl, GlMeshStore const& meshes)
    : m_gl(gl)
    , m_meshes(meshes)
    , m_meshProgram(gl)
    , m_boxProgram(gl)
    , m_skyProgram(gl)
{}

bool GlRenderer::Create(std::string* problem)
{
    if (!m_meshProgram.Build(s_meshVertexShader, s_meshFragmentShader, problem) ||
        !m_boxProgram.Build(s_boxVertexShader, s_boxFragmentShader, problem) ||
        !m_skyProgram.Build(s_skyVertexShader, s_skyFragmentShader, problem)) {
        return false;
    }
    m_drawUniform = m_meshProgram.FindUniform("draw");
    m_hazeUniform = m_meshProgram.FindUniform("haze");
    m_boxUniform = m_boxProgram.FindUniform("toClip");
    m_skyUniform = m_skyProgram.FindUniform("corners");
    return true;
}

void GlRenderer::UseMeshProgram()
{
    if (!m_meshProgramInUse) {
        m_meshProgram.Use();
        m_meshProgramInUse = true;
    }
}

void GlRenderer::PaintSky(TqLMatrix4f const& worldToClip)
{
    TqLMatrix4f const toWorld = worldToClip.Inverse();
    float corners[4][3];
    for (int corner = 0; corner < 4; ++corner) {
        double const clip[4] = {(corner & 1) != 0 ? 1.0 : -1.0, (corner & 2) != 0 ? 1.0 : -1.0, 1.0,
                                1.0};
        double world[4];
        for (int column = 0; column < 4; ++column) {
            world[column] = clip[0] * toWorld[0][column] + clip[1] * toWorld[1][column] +
                            clip[2] * toWorld[2][column] + clip[3] * toWorld[3][column];
        }
        for (int axis = 0; axis < 3; ++axis) {
            corners[corner][axis] = static_cast<float>(world[axis] / world[3] - m_eye[axis]);
        }
    }
    m_gl.Disable(GL_DEPTH_TEST);
    m_gl.DepthMask(GL_FALSE);
    m_skyProgram.Use();
    m_gl.Uniform3fv(m_skyUniform, 4, corners[0]);
    m_gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    m_gl.DepthMask(GL_TRUE);
    m_gl.Enable(GL_DEPTH_TEST);
}

void GlRenderer::BeginFrame(TqLMatrix4f const& worldToClip, TqLPos3f const& eye)
{
    m_kept.clear();
    m_worldToClip = worldToClip;
    m_eye = eye;
    GLint viewport[4] = {0, 0, 1, 1};
    m_gl.GetIntegerv(GL_VIEWPORT, viewport);
    TqLVec3f const across(worldToClip[0][0], worldToClip[1][0], worldToClip[2][0]);
    m_pixelPerWeight = 2.0 / (std::sqrt(across.Dot(across)) * std::max(viewport[2], 1));
    m_gl.Disable(GL_CULL_FACE);
    m_gl.DepthFunc(GL_LEQUAL);
    m_gl.DepthMask(GL_TRUE);
    m_gl.ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    m_gl.ClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    m_gl.Clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    m_meshes.Bind();
    PaintSky(worldToClip);
    m_meshProgramInUse = false;
    UseMeshProgram();
    m_gl.Uniform1f(m_hazeUniform,
                   m_hazeDistance > 0.0 ? static_cast<float>(1.0 / m_hazeDistance) : 0.0f);
}

void GlRenderer::Submit(std::size_t mesh, TqLAffine3f const& toWorld, Material const& material)
{
    UseMeshProgram();
    float draw[eDRAW_VECTORS][4];
    for (int row = 0; row < 4; ++row) {
        ComposeRow(toWorld, m_worldToClip, row, draw[row]);
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (int row = 0; row < 3; ++row) {
            draw[4 + axis][row] = static_cast<float>(toWorld[row][axis]);
        }
        draw[4 + axis][3] = static_cast<float>(toWorld[3][axis] - m_eye[axis]);
    }
    std::copy_n(material.color, 3, draw[7]);
    draw[7][3] = material.opacity;
    m_gl.Uniform4fv(m_drawUniform, eDRAW_VECTORS, draw[0]);
    m_meshes.Draw(mesh);
}

void GlRenderer::DrawMesh(std::size_t mesh, TqLAffine3f const& toWorld, Material const& material)
{
    if (material.opacity >= eOPAQUE) {
        Submit(mesh, toWorld, material);
        return;
    }
    TqLVec3f const offset = TqLPos3f(toWorld.GetTranslation()) - m_eye;
    m_kept.push_back({offset.Dot(offset), mesh, &toWorld, &material});
}

double GlRenderer::FindBoxMargin(TqLBox3f const& box) const
{
    // The weight of a corner, times this, is the world size of a pixel there.
    double weight = 0.0;
    for (int corner = 0; corner < 8; ++corner) {
        TqLPos3f const point = box.GetCorner(corner);
        double sum = m_worldToClip[3][3];
        for (int axis = 0; axis < 3; ++axis) {
            sum += point[axis] * m_worldToClip[axis][3];
        }
        weight = std::max(weight, sum);
    }
    TqLVec3f const size = box.GetSize();
    return eBOX_MARGIN * std::max({size[0], size[1], size[2]}) +
           eBOX_PIXELS * weight * m_pixelPerWeight;
}

void GlRenderer::DrawQueryBox(TqLBox3f const& box)
{
    m_gl.ColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
    m_gl.DepthMask(GL_FALSE);
    m_boxProgram.Use();
    m_meshProgramInUse = false;
    TqLVec3f const size = box.GetSize();
    double const margin = FindBoxMargin(box);
    TqLAffine3f toBox =
        TqLAffine3f::Scale(size[0] + 2.0 * margin, size[1] + 2.0 * margin, size[2] + 2.0 * margin);
    for (int axis = 0; axis < 3; ++axis) {
        toBox[3][axis] = box.GetMin()[axis] - margin;
    }
    float toClip[4][4];
    for (int row = 0; row < 4; ++row) {
        ComposeRow(toBox, m_worldToClip, row, toClip[row]);
    }
    m_gl.UniformMatrix4fv(m_boxUniform, 1, GL_FALSE, toClip[0]);
    // Only the sides that face the eye, so that a pixel is counted once.
    m_gl.Enable(GL_CULL_FACE);
    m_gl.Enable(GL_POLYGON_OFFSET_FILL);
    m_gl.PolygonOffset(eBOX_DEPTH_SLOPE, eBOX_DEPTH_STEPS);
    m_meshes.DrawCube();
    m_gl.Disable(GL_POLYGON_OFFSET_FILL);
    m_gl.Disable(GL_CULL_FACE);
    m_gl.ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    m_gl.DepthMask(GL_TRUE);
}

bool GlRenderer::IsBeyondNearPlane(TqLBox3f const& box) const
{
    double const margin = FindBoxMargin(box);
    for (int corner = 0; corner < 8; ++corner) {
        TqLPos3f const point = box.GetCorner(corner);
        double depth[2];
        for (int k = 0; k < 2; ++k) {
            depth[k] = m_worldToClip[3][2 + k];
            for (int axis = 0; axis < 3; ++axis) {
                // The corner of the widened box.
                double const out = point[axis] < box.GetMax()[axis] ? -margin : margin;
                depth[k] += (point[axis] + out) * m_worldToClip[axis][2 + k];
            }
        }
        // Written so that a NaN answers no.
        if (!(depth[0] > -depth[1] && depth[1] > 0.0)) {
            return false;
        }
    }
    return true;
}

void GlRenderer::DrawKept()
{
    if (m_kept.empty()) {
        return;
    }
    std::sort(m_kept.begin(), m_kept.end(), [](Kept const& a, Kept const& b) {
        // The second comparison keeps the order, and so the picture, the same from run to run.
        return a.m_distance != b.m_distance ? a.m_distance > b.m_distance
                                            : a.m_toWorld < b.m_toWorld;
    });
    m_gl.Enable(GL_BLEND);
    m_gl.BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    m_gl.DepthMask(GL_FALSE);
    for (Kept const& kept : m_kept) {
        Submit(kept.m_mesh, *kept.m_toWorld, *kept.m_material);
    }
    m_gl.DepthMask(GL_TRUE);
    m_gl.Disable(GL_BLEND);
    m_kept.clear();
}

void GlRenderer::EndFrame()
{
    DrawKept();
    m_gl.Finish();
}

} // namespace host
