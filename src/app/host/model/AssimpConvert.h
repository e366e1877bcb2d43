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

/// Adds the triangles of a mesh to `builder`. Faces that are not triangles and indices outside the
/// vertices are left out.
/// @return the number of triangles left out because an index pointed outside.
uint64_t AddAssimpMesh(aiMesh const& mesh, MeshBuilder& builder);

/// Colour and opacity of a material, each clamped to [0, 1] and never NaN. A material that is plain
/// white or grey only because a texture carries its colour gets a muted tone that depends on its
/// name, so that textured things do not all look like plaster.
Material ConvertAssimpMaterial(aiMaterial const& material);

/// A message from an importer cut down to one line of printable text.
std::string MakeOneLine(std::string const& text);

} // namespace host
