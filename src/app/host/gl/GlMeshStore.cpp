#include "host/gl/GlMeshStore.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace host
{

namespace
{

struct Vertex
{
    float m_position[3];
    std::uint32_t m_normal; ///< 10 bits an axis, signed and normalised
};

static_assert(sizeof(Vertex) == 16, "vertices are packed");

constexpr float eNORMAL_RANGE = 511.0f;
constexpr std::uint32_t eNORMAL_MASK = 1023;

std::uint32_t PackNormal(float const* normal)
{
    std::uint32_t packed = 0;
    for (int axis = 0; axis < 3; ++axis) {
        float const value = std::isfinite(normal[axis]) ? normal[axis] : 0.0f;
        long const scaled = std::lround(std::clamp(value, -1.0f, 1.0f) * eNORMAL_RANGE);
        packed |= (static_cast<std::uint32_t>(scaled) & eNORMAL_MASK) << (10 * axis);
    }
    return packed;
}

bool HasValidIndices(Mesh const& mesh)
{
    std::size_t const vertices = mesh.GetNumVertices();
    return mesh.normals.size() == mesh.positions.size() &&
           std::all_of(mesh.indices.begin(), mesh.indices.end(),
                       [vertices](std::uint32_t index) { return index < vertices; });
}

GLenum GetMode(Mesh const& mesh)
{
    return mesh.corners == 3 ? GL_TRIANGLES : mesh.corners == 2 ? GL_LINES : GL_POINTS;
}

/// A cube from 0 to 1 with shared corners; only its positions are ever used.
Mesh MakeCube()
{
    Mesh cube;
    for (int corner = 0; corner < 8; ++corner) {
        for (int axis = 0; axis < 3; ++axis) {
            cube.positions.push_back(static_cast<float>(corner >> axis & 1));
            cube.normals.push_back(axis == 1 ? 1.0f : 0.0f);
        }
    }
    cube.indices = {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                    2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5};
    return cube;
}

} // namespace

GlMeshStore::~GlMeshStore()
{
    if (m_vertexArray != 0) {
        m_gl.DeleteVertexArrays(1, &m_vertexArray);
        m_gl.DeleteBuffers(2, m_buffers);
    }
}

void GlMeshStore::CreateBuffers(std::size_t vertices, std::size_t indices)
{
    m_bytes = vertices * sizeof(Vertex) + indices * sizeof(std::uint32_t);
    m_gl.GenVertexArrays(1, &m_vertexArray);
    m_gl.GenBuffers(2, m_buffers);
    m_gl.BindVertexArray(m_vertexArray);
    m_gl.BindBuffer(GL_ARRAY_BUFFER, m_buffers[0]);
    m_gl.BindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_buffers[1]);
    m_gl.BufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(vertices * sizeof(Vertex)), nullptr,
                    GL_STATIC_DRAW);
    m_gl.BufferData(GL_ELEMENT_ARRAY_BUFFER,
                    static_cast<GLsizeiptr>(indices * sizeof(std::uint32_t)), nullptr,
                    GL_STATIC_DRAW);
    m_gl.EnableVertexAttribArray(0);
    m_gl.EnableVertexAttribArray(1);
    m_gl.VertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, sizeof(Vertex), nullptr);
    m_gl.VertexAttribPointer(1, 4, GL_INT_2_10_10_10_REV, GL_TRUE, sizeof(Vertex),
                             reinterpret_cast<void const*>(offsetof(Vertex, m_normal)));
}

GlMesh GlMeshStore::UploadMesh(Mesh const& mesh)
{
    GlMesh placed;
    if (!HasValidIndices(mesh) || mesh.indices.empty()) {
        return placed;
    }
    std::vector<Vertex> vertices(mesh.GetNumVertices());
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        std::copy_n(mesh.positions.data() + 3 * i, 3, vertices[i].m_position);
        vertices[i].m_normal = PackNormal(mesh.normals.data() + 3 * i);
    }
    placed.m_mode = GetMode(mesh);
    placed.m_indexCount = static_cast<GLsizei>(mesh.indices.size());
    placed.m_baseVertex = static_cast<GLint>(m_usedVertices);
    placed.m_indexOffset = m_usedIndices * sizeof(std::uint32_t);
    m_gl.BufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(m_usedVertices * sizeof(Vertex)),
                       static_cast<GLsizeiptr>(vertices.size() * sizeof(Vertex)), vertices.data());
    m_gl.BufferSubData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLintptr>(placed.m_indexOffset),
                       static_cast<GLsizeiptr>(mesh.indices.size() * sizeof(std::uint32_t)),
                       mesh.indices.data());
    m_usedVertices += vertices.size();
    m_usedIndices += mesh.indices.size();
    return placed;
}

void GlMeshStore::Upload(std::vector<Mesh> const& meshes)
{
    Mesh const cube = MakeCube();
    std::size_t vertices = cube.GetNumVertices();
    std::size_t indices = cube.indices.size();
    for (Mesh const& mesh : meshes) {
        vertices += mesh.GetNumVertices();
        indices += mesh.indices.size();
    }
    CreateBuffers(vertices, indices);
    m_meshes.reserve(meshes.size());
    for (Mesh const& mesh : meshes) {
        m_meshes.push_back(UploadMesh(mesh));
    }
    m_cube = UploadMesh(cube);
}

} // namespace host
