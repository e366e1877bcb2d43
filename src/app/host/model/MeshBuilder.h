// Turns loose triangles, lines or points, as model files hold them, into a compact indexed Mesh.
//
// Every model source (file reader, furniture catalogue, generator) builds its meshes through this
// class. Corners that agree in position, normal and texture coordinate share one vertex. Adding is
// constant on average, Finish() linear.
#pragma once

#include "host/model/SceneModel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host
{

/// Collects triangles, or lines, or points, and welds their corners.
class MeshBuilder
{
public:
    using Vec = std::array<float, 3>;
    using TexCoord = std::array<float, 2>;

    /// Corners whose face stands further than this from the smoothed direction keep the direction
    /// of their face: cosine of 45 degrees.
    static constexpr float s_creaseCosine = 0.70710678f;

    /// @param corners  of the primitives that will be added: 3 for triangles, 2 for lines, 1 for
    ///        points
    explicit MeshBuilder(uint32_t corners = 3) : m_corners(corners) {}

    /// Adds one triangle. `normals` is null, or three directions; one that is not finite or has no
    /// length is replaced by the direction of the triangle. Without normals, Finish() makes smooth
    /// ones that keep creases. A triangle with a corner that is not finite is refused and counted,
    /// one with no area (two corners in one place) is left out. `texCoords` is null or three; one
    /// that is not finite becomes (0, 0). They reach the mesh when any triangle brings some.
    void Add(Vec const corners[3], Vec const* normals, TexCoord const* texCoords = nullptr);

    /// Adds one line from the first corner to the second, or one point, as the builder was made
    /// for. Refused and left out as triangles are.
    void AddSimple(Vec const* corners);

    /// Primitives refused so far because a corner was not finite.
    uint64_t GetNumRefused() const { return m_numRefused; }

    bool IsEmpty() const { return m_indices.empty() && m_smooth.empty(); }

    /// Moves what was collected into `mesh` (all but name and material) and leaves the builder
    /// empty; the count of refused primitives is kept.
    void Finish(Mesh& mesh);

private:
    struct Vertex
    {
        Vec position;
        Vec normal;
        TexCoord texCoord;
    };

    struct Face
    {
        Vec corners[3];
        TexCoord texCoords[3];
    };

    uint32_t Weld(Vertex const& vertex);
    void Rehash(size_t numSlots);
    void AddIndexed(Vertex const* corners);
    void SmoothFaces();

    std::vector<Vertex> m_vertices;
    std::vector<uint32_t> m_slots; ///< open addressing; vertex number plus one, 0 is free
    std::vector<uint32_t> m_indices;
    std::vector<Face> m_smooth; ///< triangles that came without normals
    uint64_t m_numRefused = 0;
    uint32_t m_corners;
    bool m_hasTexCoords = false;
};

} // namespace host
