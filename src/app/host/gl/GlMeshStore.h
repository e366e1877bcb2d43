// The primitives of all meshes in one vertex and one index buffer on the drawing side.
//
// Every mesh is uploaded once, however often it is placed. Since all meshes share one vertex array
// there is nothing to bind between two draws. A vertex takes 16 bytes: three floats and a packed
// normal. Owns its OpenGL objects.
#pragma once

#include "host/gl/GlFunctions.h"
#include "host/model/SceneModel.h"

#include <cstddef>
#include <vector>

namespace host
{

/// Where one mesh lies in the shared buffers.
struct GlMesh
{
    GLenum m_mode = GL_TRIANGLES;
    GLsizei m_indexCount = 0;
    GLint m_baseVertex = 0;
    std::size_t m_indexOffset = 0; ///< bytes into the index buffer
};

/// Uploaded meshes. Not copyable.
class GlMeshStore
{
public:
    explicit GlMeshStore(GlFunctions const& gl) : m_gl(gl) {}

    ~GlMeshStore();
    GlMeshStore(GlMeshStore const&) = delete;
    GlMeshStore& operator=(GlMeshStore const&) = delete;

    /// Uploads all meshes and appends a unit cube (0 to 1 on each axis) for boxes. Indices that
    /// point outside their mesh's vertices make the mesh empty. Call once.
    void Upload(std::vector<Mesh> const& meshes);

    /// The shared vertex array becomes the current one.
    void Bind() const { m_gl.BindVertexArray(m_vertexArray); }

    /// Draws a mesh by its number with the current program; the store must be bound.
    void Draw(std::size_t mesh) const { Draw(m_meshes[mesh]); }

    /// Draws the unit cube; the store must be bound.
    void DrawCube() const { Draw(m_cube); }

    std::size_t GetNumMeshes() const { return m_meshes.size(); }

    std::size_t GetNumBytes() const { return m_bytes; }

private:
    void Draw(GlMesh const& mesh) const
    {
        m_gl.DrawElementsBaseVertex(mesh.m_mode, mesh.m_indexCount, GL_UNSIGNED_INT,
                                    reinterpret_cast<void const*>(mesh.m_indexOffset),
                                    mesh.m_baseVertex);
    }

    void CreateBuffers(std::size_t vertices, std::size_t indices);
    GlMesh UploadMesh(Mesh const& mesh);

    GlFunctions const& m_gl;
    GLuint m_vertexArray = 0;
    GLuint m_buffers[2] = {0, 0};
    std::vector<GlMesh> m_meshes;
    GlMesh m_cube;
    std::size_t m_usedVertices = 0;
    std::size_t m_usedIndices = 0;
    std::size_t m_bytes = 0;
};

} // namespace host
