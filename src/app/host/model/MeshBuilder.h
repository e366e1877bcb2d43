// Turns loose triangles, as model files hold them, into a compact indexed Mesh.
//
// Every model source (file reader, furniture catalogue, generator) builds its meshes through this
// class. Corners that agree in position and normal share one vertex. Add() is constant on average,
// Finish() linear.
#pragma once

#include "host/model/SceneModel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host
{

/// Collects triangles and welds their corners.
class MeshBuilder
{
public:
    using Vec = std::array<float, 3>;

    /// Corners whose face stands further than this from the smoothed direction keep the direction
    /// of their face: cosine of 45 degrees.
    static constexpr float s_creaseCosine = 0.70710678f;

    /// Adds one triangle. `normals` is null, or three directions; one that is not finite or has no
    /// length is replaced by the direction of the triangle. Without normals, Finish() makes smooth
    /// ones that keep creases. A triangle with a corner that is not finite is refused and counted,
    /// one with no area (two corners in one place) is left out.
    void Add(Vec const corners[3], Vec const* normals);

    /// Triangles refused so far because a corner was not finite.
    uint64_t GetNumRefused() const { return m_numRefused; }

    bool IsEmpty() const { return m_indices.empty() && m_smooth.empty(); }

    /// Moves what was collected into `mesh` (positions, normals, indices, box) and leaves the
    /// builder empty; the count of refused triangles is kept.
    void Finish(Mesh& mesh);

private:
    struct Vertex
    {
        Vec position;
        Vec normal;
    };

    struct Face
    {
        Vec corners[3];
    };

    uint32_t Weld(Vertex const& vertex);
    void Rehash(size_t numSlots);
    void AddIndexed(Vertex const corners[3]);
    void SmoothFaces();

    std::vector<Vertex> m_vertices;
    std::vector<uint32_t> m_slots; ///< open addressing; vertex number plus one, 0 is free
    std::vector<uint32_t> m_indices;
    std::vector<Face> m_smooth; ///< triangles that came without normals
    uint64_t m_numRefused = 0;
};

} // namespace host
