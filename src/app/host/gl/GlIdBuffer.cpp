#include "host/gl/GlIdBuffer.h"

#include "host/gl/GlCompose.h"

namespace host
{

namespace
{

constexpr int eDRAW_ROWS = 4;

constexpr char const* s_vertexShader = R"(#version 330 core
in vec3 position;
uniform vec4 draw[4];

void main()
{
    gl_Position = draw[0] * position.x + draw[1] * position.y + draw[2] * position.z + draw[3];
}
)";

constexpr char const* s_fragmentShader = R"(#version 330 core
uniform uint id;
out uvec2 result;

void main()
{
    result = uvec2(id, uint(gl_PrimitiveID));
}
)";

} // namespace

GlIdBuffer::GlIdBuffer(GlFunctions const& gl, GlMeshStore const& meshes)
    : m_gl(gl)
    , m_meshes(meshes)
    , m_program(gl)
    , m_target(gl)
{}

bool GlIdBuffer::Create(int width, int height, std::string* problem)
{
    if (!m_program.Build(s_vertexShader, s_fragmentShader, problem)) {
        return false;
    }
    m_drawUniform = m_program.FindUniform("draw");
    m_idUniform = m_program.FindUniform("id");
    GLint boundBefore = 0;
    m_gl.GetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &boundBefore);
    bool const isThere =
        m_target.Create(width, height, problem, {GL_RG32UI, GL_DEPTH_COMPONENT32F});
    m_gl.BindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(boundBefore));
    return isThere;
}

void GlIdBuffer::Begin(TqLMatrix4f const& worldToClip)
{
    m_worldToClip = worldToClip;
    m_gl.GetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &m_boundBefore);
    m_target.Bind();
    GLuint const nothing[4] = {IdPicture::s_nothing, 0, 0, 0};
    m_gl.ClearBufferuiv(GL_COLOR, 0, nothing);
    m_gl.DepthMask(GL_TRUE);
    m_gl.Clear(GL_DEPTH_BUFFER_BIT);
    m_gl.Enable(GL_DEPTH_TEST);
    m_gl.DepthFunc(GL_LEQUAL);
    m_gl.Disable(GL_CULL_FACE);
    m_gl.Disable(GL_BLEND);
    m_program.Use();
    m_meshes.Bind();
}

void GlIdBuffer::Draw(std::size_t mesh, TqLAffine3f const& toWorld, std::uint32_t id)
{
    float draw[eDRAW_ROWS][4];
    for (int row = 0; row < eDRAW_ROWS; ++row) {
        ComposeRow(toWorld, m_worldToClip, row, draw[row]);
    }
    m_gl.Uniform4fv(m_drawUniform, eDRAW_ROWS, draw[0]);
    m_gl.Uniform1ui(m_idUniform, id);
    m_meshes.Draw(mesh);
}

IdPicture GlIdBuffer::End()
{
    IdPicture picture;
    picture.m_width = m_target.GetWidth();
    picture.m_height = m_target.GetHeight();
    std::size_t const numPixels =
        static_cast<std::size_t>(picture.m_width) * static_cast<std::size_t>(picture.m_height);
    std::vector<std::uint32_t> pairs(2 * numPixels);
    picture.m_depths.resize(numPixels);
    m_gl.PixelStorei(GL_PACK_ALIGNMENT, 4);
    m_gl.ReadPixels(0, 0, picture.m_width, picture.m_height, GL_RG_INTEGER, GL_UNSIGNED_INT,
                    pairs.data());
    m_gl.ReadPixels(0, 0, picture.m_width, picture.m_height, GL_DEPTH_COMPONENT, GL_FLOAT,
                    picture.m_depths.data());
    m_gl.BindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(m_boundBefore));
    picture.m_ids.resize(numPixels);
    picture.m_triangles.resize(numPixels);
    for (std::size_t i = 0; i < numPixels; ++i) {
        picture.m_ids[i] = pairs[2 * i];
        picture.m_triangles[i] = pairs[2 * i + 1];
    }
    return picture;
}

} // namespace host
