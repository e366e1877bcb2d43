// What the two users of assimp, the file reader and the furniture catalogue, share: turning its
// meshes and materials into ours, and its messages into one line.
#pragma once

#include "host/model/MeshBuilder.h"
#include "host/model/SceneModel.h"

#include <string>

struct aiMaterial;
struct aiMesh;

namespace host
{

/// The post-processing that both users ask for: polygons become triangles, and points and lines
/// are kept apart from them.
unsigned int GetAssimpSteps();

/// What a mesh that went through GetAssimpSteps() consists of, as Mesh::corners tells it: 3, 2 or
/// 1; 0 for a mesh of nothing that can be drawn.
uint32_t GetAssimpCorners(aiMesh const& mesh);

/// Adds the triangles, lines or points of a mesh to a builder that was made for them. Faces with
/// another number of corners and indices outside the vertices are left out.
/// @param texCoords  whether triangles bring the first set of texture coordinates along
/// @return the number of primitives left out because an index pointed outside.
uint64_t AddAssimpMesh(aiMesh const& mesh, uint32_t corners, bool texCoords, MeshBuilder& builder);

/// Colour and opacity of a material, each clamped to [0, 1] and never NaN. A material that is plain
/// white or grey only because a texture carries its colour gets a muted tone that depends on its
/// name, so that textured things do not all look like plaster.
Material ConvertAssimpMaterial(aiMaterial const& material);

/// A message from an importer cut down to one line of printable text.
std::string MakeOneLine(std::string const& text);

} // namespace host
