#include "host/model/ObjGroups.h"

#include "host/model/AssimpConvert.h"

#include <assimp/Importer.hpp>
#include <assimp/config.h>
#include <assimp/scene.h>

#include <cmath>

namespace host
{
namespace
{

/// A direction or point turned by the catalogue's rotation, which acts on column vectors.
void Rotate(double const rotation[3][3], float* v)
{
    double const in[3] = {v[0], v[1], v[2]};
    for (int r = 0; r < 3; ++r) {
        v[r] = static_cast<float>(rotation[r][0] * in[0] + rotation[r][1] * in[1] +
                                  rotation[r][2] * in[2]);
    }
}

/// The box of all meshes together, from their own boxes.
TqLBox3f GetWholeBox(std::vector<Mesh> const& meshes)
{
    TqLBox3f whole;
    whole.MakeEmpty();
    for (Mesh const& mesh : meshes) {
        whole.ExtendBy(mesh.box);
    }
    return whole;
}

void RotateMeshes(double const rotation[3][3], std::vector<Mesh>& meshes)
{
    for (Mesh& mesh : meshes) {
        for (size_t i = 0; i < mesh.positions.size(); i += 3) {
            Rotate(rotation, &mesh.positions[i]);
            Rotate(rotation, &mesh.normals[i]);
        }
        mesh.UpdateBox();
    }
}

/// Moves the base to y = 0 and the middle to the origin in x and z, and scales each axis on its
/// own, as catalogue sizes do. Normals go by the inverse scale.
void FitMeshes(double const size[3], std::vector<Mesh>& meshes)
{
    TqLBox3f const whole = GetWholeBox(meshes);
    double origin[3];
    double scale[3];
    for (int k = 0; k < 3; ++k) {
        double const extent = whole.GetMax()[k] - whole.GetMin()[k];
        bool const sized = size[k] > 0.0 && extent > 0.0;
        scale[k] = sized ? size[k] / extent : 1.0;
        origin[k] = k == 1 ? whole.GetMin()[k] : (whole.GetMin()[k] + whole.GetMax()[k]) / 2;
    }
    for (Mesh& mesh : meshes) {
        for (size_t i = 0; i < mesh.positions.size(); i += 3) {
            double normal[3];
            double length = 0.0;
            for (size_t k = 0; k < 3; ++k) {
                float& p = mesh.positions[i + k];
                p = static_cast<float>((double(p) - origin[k]) * scale[k]);
                normal[k] = double(mesh.normals[i + k]) / scale[k];
                length += normal[k] * normal[k];
            }
            length = std::sqrt(length);
            for (size_t k = 0; k < 3 && length > 0.0; ++k) {
                mesh.normals[i + k] = static_cast<float>(normal[k] / length);
            }
        }
        mesh.UpdateBox();
    }
}

/// One mesh for each group that the importer made: the triangles of one object, or named group, of
/// the file that share a material.
void CollectGroups(aiScene const& source, ObjModel& model)
{
    constexpr uint32_t eUNUSED = UINT32_MAX;
    std::vector<uint32_t> numbers(source.mNumMaterials, eUNUSED);
    for (unsigned int i = 0; i < source.mNumMeshes; ++i) {
        aiMesh const& from = *source.mMeshes[i];
        MeshBuilder builder;
        // Furniture is drawn in plain colours: texture coordinates would only take room.
        AddAssimpMesh(from, 3, false, builder);
        if (builder.IsEmpty() || from.mMaterialIndex >= numbers.size()) {
            continue;
        }
        uint32_t& number = numbers[from.mMaterialIndex];
        if (number == eUNUSED) {
            number = static_cast<uint32_t>(model.materials.size());
            model.materials.push_back(
                ConvertAssimpMaterial(*source.mMaterials[from.mMaterialIndex]));
        }
        Mesh mesh;
        builder.Finish(mesh);
        mesh.material = number;
        model.meshes.push_back(std::move(mesh));
    }
}

} // namespace

bool ReadObjModel(ZipArchive const& archive, std::string const& path, ObjFit const& fit,
                  ObjModel& model, std::string& reason)
{
    model = ObjModel();
    auto* const files = new ZipIOSystem(archive);
    Assimp::Importer importer;
    importer.SetIOHandler(files); // the importer deletes it
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    std::string const entry = files->Resolve(path);
    if (entry.empty()) {
        reason = "the archive has no " + path;
        return false;
    }
    aiScene const* source = importer.ReadFile(entry, GetAssimpSteps());
    if (source == nullptr) {
        reason = MakeOneLine(importer.GetErrorString());
        return false;
    }
    CollectGroups(*source, model);
    if (model.meshes.empty()) {
        reason = "no triangles";
        return false;
    }
    RotateMeshes(fit.rotation, model.meshes);
    FitMeshes(fit.size, model.meshes);
    for (Mesh const& mesh : model.meshes) {
        if (mesh.box.IsEmpty()) {
            reason = "unusable coordinates";
            return false;
        }
    }
    return true;
}

} // namespace host
