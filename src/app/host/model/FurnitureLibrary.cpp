#include "host/model/FurnitureLibrary.h"

#include <algorithm>

namespace host
{
namespace
{

bool IsMeshConsistent(Mesh const& mesh, size_t numMaterials)
{
    size_t const numVertices = mesh.GetNumVertices();
    return mesh.material < numMaterials && mesh.positions.size() == numVertices * 3 &&
           mesh.normals.size() == mesh.positions.size() && mesh.indices.size() % 3 == 0 &&
           std::all_of(mesh.indices.begin(), mesh.indices.end(),
                       [numVertices](uint32_t index) { return index < numVertices; });
}

} // namespace

uint64_t FurnitureLibrary::GetTriangles(FurniturePiece const& piece) const
{
    uint64_t total = 0;
    for (uint32_t i = 0; i < piece.numMeshes; ++i) {
        total += meshes[piece.firstMesh + i].GetNumTriangles();
    }
    return total;
}

bool FurnitureLibrary::IsConsistent() const
{
    size_t const numMaterials = materials.size();
    size_t const numMeshes = meshes.size();
    return std::all_of(
               meshes.begin(), meshes.end(),
               [numMaterials](Mesh const& mesh) { return IsMeshConsistent(mesh, numMaterials); }) &&
           std::all_of(pieces.begin(), pieces.end(), [numMeshes](FurniturePiece const& piece) {
               return piece.firstMesh <= numMeshes &&
                      piece.numMeshes <= numMeshes - piece.firstMesh;
           });
}

} // namespace host
