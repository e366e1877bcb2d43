#include "host/model/AssimpConvert.h"

#include "host/model/Utf8.h"

#include <assimp/material.h>
#include <assimp/mesh.h>
#include <assimp/postprocess.h>

#include <algorithm>
#include <cmath>

namespace host
{
namespace
{

constexpr size_t eLONGEST_LINE = 200;

/// Wood, leather, stone and cloth: what textures of furniture mostly show.
constexpr float s_tones[][3] = {
    {0.62f, 0.45f, 0.30f}, {0.72f, 0.58f, 0.42f}, {0.45f, 0.32f, 0.22f}, {0.60f, 0.56f, 0.50f},
    {0.50f, 0.44f, 0.38f}, {0.70f, 0.66f, 0.58f}, {0.42f, 0.47f, 0.50f}, {0.56f, 0.34f, 0.28f},
    {0.46f, 0.50f, 0.38f}, {0.64f, 0.52f, 0.36f}, {0.52f, 0.52f, 0.56f}, {0.74f, 0.64f, 0.52f},
};

float ClampShare(float value, float fallback)
{
    return std::isfinite(value) ? std::clamp(value, 0.0f, 1.0f) : fallback;
}

/// FNV-1a: the same tone for the same name on every machine.
uint32_t HashName(std::string const& name)
{
    uint32_t hash = 2166136261u;
    for (char const c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    }
    return hash;
}

bool IsColourless(float const color[3])
{
    float const least = std::min({color[0], color[1], color[2]});
    float const most = std::max({color[0], color[1], color[2]});
    return most - least < 0.04f && least > 0.55f;
}

MeshBuilder::Vec ToVec(aiVector3D const& v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

void AddFace(aiMesh const& mesh, aiFace const& face, bool texCoords, MeshBuilder& builder)
{
    MeshBuilder::Vec corners[3];
    MeshBuilder::Vec normals[3];
    MeshBuilder::TexCoord places[3];
    for (unsigned int i = 0; i < face.mNumIndices; ++i) {
        unsigned int const index = face.mIndices[i];
        corners[i] = ToVec(mesh.mVertices[index]);
        if (mesh.mNormals != nullptr) {
            normals[i] = ToVec(mesh.mNormals[index]);
        }
        if (texCoords) {
            aiVector3D const& place = mesh.mTextureCoords[0][index];
            places[i] = {static_cast<float>(place.x), static_cast<float>(place.y)};
        }
    }
    if (face.mNumIndices == 3) {
        builder.Add(corners, mesh.mNormals != nullptr ? normals : nullptr,
                    texCoords ? places : nullptr);
    } else {
        builder.AddSimple(corners);
    }
}

} // namespace

unsigned int GetAssimpSteps()
{
    return aiProcess_Triangulate | aiProcess_SortByPType;
}

uint32_t GetAssimpCorners(aiMesh const& mesh)
{
    if ((mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) != 0) {
        return 3;
    }
    if ((mesh.mPrimitiveTypes & aiPrimitiveType_LINE) != 0) {
        return 2;
    }
    return (mesh.mPrimitiveTypes & aiPrimitiveType_POINT) != 0 ? 1 : 0;
}

uint64_t AddAssimpMesh(aiMesh const& mesh, uint32_t corners, bool texCoords, MeshBuilder& builder)
{
    uint64_t numRefused = 0;
    if (mesh.mVertices == nullptr) {
        return numRefused;
    }
    for (unsigned int f = 0; f < mesh.mNumFaces; ++f) {
        aiFace const& face = mesh.mFaces[f];
        if (face.mNumIndices != corners) {
            continue;
        }
        bool const inside =
            std::all_of(face.mIndices, face.mIndices + corners,
                        [&mesh](unsigned int index) { return index < mesh.mNumVertices; });
        if (inside) {
            AddFace(mesh, face, texCoords && mesh.mTextureCoords[0] != nullptr, builder);
        } else {
            ++numRefused;
        }
    }
    return numRefused;
}

Material ConvertAssimpMaterial(aiMaterial const& material)
{
    Material result;
    aiString name;
    if (material.Get(AI_MATKEY_NAME, name) == AI_SUCCESS) {
        result.name = ToUtf8(name.C_Str());
    }
    aiColor4D color(0.7f, 0.7f, 0.7f, 1.0f);
    if (material.Get(AI_MATKEY_BASE_COLOR, color) != AI_SUCCESS) {
        material.Get(AI_MATKEY_COLOR_DIFFUSE, color);
    }
    float opacity = color.a;
    material.Get(AI_MATKEY_OPACITY, opacity);
    result.color[0] = ClampShare(color.r, 0.7f);
    result.color[1] = ClampShare(color.g, 0.7f);
    result.color[2] = ClampShare(color.b, 0.7f);
    result.opacity = ClampShare(opacity, 1.0f);

    bool const textured = material.GetTextureCount(aiTextureType_DIFFUSE) > 0 ||
                          material.GetTextureCount(aiTextureType_BASE_COLOR) > 0;
    if (textured && IsColourless(result.color)) {
        size_t const tone = HashName(result.name) % std::size(s_tones);
        std::copy(std::begin(s_tones[tone]), std::end(s_tones[tone]), result.color);
    }
    return result;
}

std::string MakeOneLine(std::string const& text)
{
    std::string line = ToUtf8(text.substr(0, eLONGEST_LINE));
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    size_t const last = line.find_last_not_of(' ');
    line.resize(last == std::string::npos ? 0 : last + 1);
    return line;
}

} // namespace host
