// One furniture model from a catalogue archive, split into its material groups and brought to its
// catalogue size.
#pragma once

#include "host/model/SceneModel.h"
#include "host/model/ZipIOSystem.h"

#include <string>
#include <vector>

namespace host
{

/// How a model becomes a piece of furniture.
struct ObjFit
{
    /// The catalogue's modelRotation: row r of the matrix that acts on column vectors.
    double rotation[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double size[3] = {0, 0, 0}; ///< metres along x, y, z; an entry of 0 keeps the model's own
};

/// A model's material groups. meshes[i].material is a position in `materials`; the groups of
/// several objects in one file stay apart, even when they share a material.
struct ObjModel
{
    std::vector<Material> materials;
    std::vector<Mesh> meshes;
};

/// Reads `path` from the archive behind `files` (OBJ with its MTL, or whatever else assimp can read
/// there). The result stands with its base at y = 0, centred in x and z. False with one line in
/// `reason` when there is nothing usable. May throw std::bad_alloc.
bool ReadObjModel(ZipArchive const& archive, std::string const& path, ObjFit const& fit,
                  ObjModel& model, std::string& reason);

} // namespace host
