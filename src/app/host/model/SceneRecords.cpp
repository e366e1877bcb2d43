#include "host/model/SceneRecords.h"

#include <algorithm>

namespace host
{

void SaveShapes(BinaryWriter& stream, std::vector<Material> const& materials,
                std::vector<Mesh> const& meshes)
{
    SaveAll(stream, materials, [](auto archive, auto& item) { ExchangeMaterial(archive, item); });
    SaveAll(stream, meshes, [](auto archive, auto& item) { ExchangeMesh(archive, item); });
}

bool LoadShapes(BinaryReader& stream, std::vector<Material>& materials, std::vector<Mesh>& meshes)
{
    LoadAll(stream, eLEAST_MATERIAL_BYTES, materials,
            [](auto archive, auto& item) { ExchangeMaterial(archive, item); });
    LoadAll(stream, eLEAST_MESH_BYTES, meshes,
            [](auto archive, auto& item) { ExchangeMesh(archive, item); });
    bool good = stream.IsGood();
    for (Mesh& mesh : meshes) {
        good = good && IsMeshConsistent(mesh, materials.size());
        mesh.UpdateBox();
    }
    return good;
}

bool IsMeshConsistent(Mesh const& mesh, size_t numMaterials)
{
    size_t const numVertices = mesh.GetNumVertices();
    return mesh.material < numMaterials && mesh.positions.size() == numVertices * 3 &&
           mesh.normals.size() == mesh.positions.size() &&
           (mesh.texCoords.empty() || mesh.texCoords.size() == numVertices * 2) &&
           mesh.corners >= 1 && mesh.corners <= 3 && mesh.indices.size() % mesh.corners == 0 &&
           std::all_of(mesh.indices.begin(), mesh.indices.end(),
                       [numVertices](uint32_t index) { return index < numVertices; });
}

} // namespace host
