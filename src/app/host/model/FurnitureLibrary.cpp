#include "host/model/FurnitureLibrary.h"

#include "host/model/SceneRecords.h"

#include <algorithm>

namespace host
{
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
