// What a host draws, as plain data: meshes that are stored once, placements that put them into
// the world, and what a report needs to say where they came from.
//
// ReadModelFile() and MakeTower() fill a SceneModel, the drawing side uploads each mesh once and
// makes one shape per placement. Everything is owned by the SceneModel and held by value; indices
// between the arrays are positions in the arrays. All lengths are metres and y points up, in mesh
// coordinates as in the world. Nothing here draws and nothing here knows the library's node
// classes.
#pragma once

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLVec.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host
{

/// Told how far a long piece of work is. `share` rises from 0 to 1, `what` is a short line such as
/// "reading scopia.sh3f" that is valid during the call only. An empty function is allowed wherever
/// a ProgressFn is taken.
using ProgressFn = std::function<void(double share, char const* what)>;

/// A plain colour. `color` is red, green, blue as model files give it, without regard to
/// gamma; `opacity` is 1 (opaque) to 0. All are in [0, 1].
struct Material
{
    std::string name;
    float color[3] = {0.7f, 0.7f, 0.7f};
    float opacity = 1.0f;
};

/// One material group of one model: triangles, lines or points that are drawn by one call.
/// Positions and normals are xyz triples of equal count, normals have unit length (straight up for
/// lines and points); texture coordinates are uv pairs, one for each position, or there are none.
/// Indices are primitives, `corners` vertex numbers each, all below GetNumVertices().
struct Mesh
{
    std::string name;
    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<float> texCoords;
    std::vector<uint32_t> indices;
    uint32_t corners = 3;  ///< of a primitive: 3 for triangles, 2 for lines, 1 for points
    uint32_t material = 0; ///< position in SceneModel::materials
    TqLBox3f box;          ///< of the positions, in mesh coordinates

    size_t GetNumVertices() const { return positions.size() / 3; }

    size_t GetNumPrimitives() const { return indices.size() / corners; }

    /// 0 for lines and points.
    size_t GetNumTriangles() const { return corners == 3 ? GetNumPrimitives() : 0; }

    /// Sets `box` from the positions. Linear in the vertices.
    void UpdateBox();
};

/// One shape: a mesh put into the world.
/// `toWorld` may scale unevenly (wall pieces are scaled cubes; their normals stay on the axes, so
/// that normalising after the linear part is right for them). `box` is in world coordinates and
/// encloses every transformed vertex.
struct Placement
{
    uint32_t mesh = 0; ///< position in SceneModel::meshes
    TqLAffine3f toWorld;
    TqLBox3f box;
    bool occluder = false; ///< opaque and closed enough to hide what is behind: walls, slabs, doors
};

/// Who made a model or a set of models, and under which licence. `text` may have many lines.
struct Credit
{
    std::string title;
    std::string author;
    std::string licence;
    std::string text;
};

/// A stop of the suggested walk: the eye's place in the world and a unit viewing direction.
/// Straight lines between neighbouring keys are free of walls wherever the scene allows it.
struct CameraKey
{
    TqLPos3f position;
    TqLVec3f direction;
};

/// A whole scene. Empty after construction.
struct SceneModel
{
    SceneModel() { box.MakeEmpty(); }

    std::string title;
    std::vector<Material> materials;
    std::vector<Mesh> meshes;
    std::vector<Placement> placements;
    std::vector<Credit> credits;
    std::vector<CameraKey> path;
    TqLBox3f box;           ///< of all placements, in the world; empty when there are none
    bool generated = false; ///< true where generated furniture stands in for a missing package
    std::string note;       ///< one line for the person who started the program; may be empty

    /// Triangles of all placements together, an instanced mesh counted once for each placement.
    /// Linear in the placements.
    uint64_t GetPlacedTriangles() const;

    /// Triangles stored, each mesh counted once. Linear in the meshes.
    uint64_t GetStoredTriangles() const;

    /// Adds a placement of an existing mesh, computes its world box and grows `box` by it.
    /// Constant cost: the box is that of the mesh box's eight transformed corners.
    void AddPlacement(uint32_t mesh, TqLAffine3f const& toWorld, bool occluder);
};

/// The box of a box's eight corners after `affine`. An empty box stays empty.
TqLBox3f TransformBox(TqLBox3f const& box, TqLAffine3f const& affine);

} // namespace host
