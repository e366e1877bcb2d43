// A set of furniture models of known size: what a catalogue reader, the generator and the cache
// all produce or store, and what the tower is furnished with.
//
// The library owns its meshes; MakeTower() moves those it uses on into the scene.
#pragma once

#include "host/model/SceneModel.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// One piece of furniture. Its meshes stand with their base at y = 0, centred on the origin in x
/// and z, the back towards -z, and fill width x height x depth.
struct FurniturePiece
{
    std::string name;
    std::string category;
    std::string creator;
    std::string licence;
    float width = 0.0f;      ///< metres along x
    float depth = 0.0f;      ///< metres along z
    float height = 0.0f;     ///< metres along y
    float elevation = 0.0f;  ///< usual height of its base above the floor, metres
    float topHeight = -1.0f; ///< where small things may stand on it, metres; negative: nowhere
    bool doorOrWindow = false;
    bool staircase = false;
    uint32_t firstMesh = 0; ///< meshes [firstMesh, firstMesh + numMeshes) of the library
    uint32_t numMeshes = 0;
};

/// Furniture, its meshes and materials, and who made it.
struct FurnitureLibrary
{
    std::vector<Material> materials;
    std::vector<Mesh> meshes;
    std::vector<FurniturePiece> pieces;
    std::vector<Credit> credits;
    bool generated = false; ///< true when made by MakeGeneratedFurniture()
    std::string note;       ///< what could not be read, in one line; empty when all went well

    /// Triangles of one piece, all its meshes together.
    uint64_t GetTriangles(FurniturePiece const& piece) const;

    /// Checks every index between the arrays and every vertex index. False when anything points
    /// outside; linear in the whole.
    bool IsConsistent() const;
};

} // namespace host
