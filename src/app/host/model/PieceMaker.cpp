#include "host/model/PieceMaker.h"

#include <iterator>

namespace host
{
namespace
{

Material const s_paints[] = {
    {"oak", {0.66f, 0.50f, 0.32f}, 1.0f},           {"walnut", {0.36f, 0.24f, 0.16f}, 1.0f},
    {"white lacquer", {0.90f, 0.90f, 0.88f}, 1.0f}, {"black lacquer", {0.10f, 0.10f, 0.11f}, 1.0f},
    {"steel", {0.60f, 0.62f, 0.64f}, 1.0f},         {"brass", {0.72f, 0.58f, 0.28f}, 1.0f},
    {"ceramic", {0.94f, 0.93f, 0.90f}, 1.0f},       {"glass", {0.70f, 0.82f, 0.86f}, 0.35f},
    {"leather", {0.42f, 0.26f, 0.18f}, 1.0f},       {"red cloth", {0.62f, 0.20f, 0.18f}, 1.0f},
    {"blue cloth", {0.22f, 0.34f, 0.54f}, 1.0f},    {"green cloth", {0.30f, 0.46f, 0.32f}, 1.0f},
    {"linen", {0.86f, 0.82f, 0.72f}, 1.0f},         {"leaf", {0.24f, 0.44f, 0.20f}, 1.0f},
    {"soil", {0.30f, 0.22f, 0.16f}, 1.0f},          {"light", {1.00f, 0.95f, 0.80f}, 1.0f},
};
static_assert(std::size(s_paints) == static_cast<size_t>(Paint::eNUM_PAINTS));

/// Moves meshes so that their common box stands on y = 0 and is centred in x and z.
void CentreMeshes(std::vector<Mesh>& meshes, size_t first, TqLBox3f const& whole)
{
    float const shift[3] = {static_cast<float>(-whole.GetCenter()[0]),
                            static_cast<float>(-whole.GetMin()[1]),
                            static_cast<float>(-whole.GetCenter()[2])};
    for (size_t m = first; m < meshes.size(); ++m) {
        for (size_t i = 0; i < meshes[m].positions.size(); ++i) {
            meshes[m].positions[i] += shift[i % 3];
        }
        meshes[m].UpdateBox();
    }
}

} // namespace

PieceMaker::PieceMaker(FurnitureLibrary& library) : m_library(library)
{
    m_library.materials.assign(std::begin(s_paints), std::end(s_paints));
}

MeshBuilder& PieceMaker::Part(Paint paint, char const* name)
{
    return m_parts[{paint, name}];
}

FurniturePiece& PieceMaker::Finish(std::string const& name, std::string const& category)
{
    FurniturePiece piece;
    piece.name = name;
    piece.category = category;
    piece.creator = "scenecull";
    piece.licence = "Apache-2.0";
    piece.firstMesh = static_cast<uint32_t>(m_library.meshes.size());
    TqLBox3f whole;
    for (auto& [key, builder] : m_parts) {
        Mesh mesh;
        mesh.material = static_cast<uint32_t>(key.first);
        mesh.name = name + " / " + m_library.materials[mesh.material].name +
                    (key.second.empty() ? "" : " " + key.second);
        builder.Finish(mesh);
        whole.ExtendBy(mesh.box);
        m_library.meshes.push_back(std::move(mesh));
    }
    piece.numMeshes = static_cast<uint32_t>(m_parts.size());
    m_parts.clear();
    CentreMeshes(m_library.meshes, piece.firstMesh, whole);
    piece.width = static_cast<float>(whole.GetSize()[0]);
    piece.height = static_cast<float>(whole.GetSize()[1]);
    piece.depth = static_cast<float>(whole.GetSize()[2]);
    m_library.pieces.push_back(std::move(piece));
    return m_library.pieces.back();
}

} // namespace host
