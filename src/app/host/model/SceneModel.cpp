#include "host/model/SceneModel.h"

namespace host
{

void Mesh::UpdateBox()
{
    box.MakeEmpty();
    for (size_t i = 0; i + 2 < positions.size(); i += 3) {
        box.ExtendBy(TqLPos3f(positions[i], positions[i + 1], positions[i + 2]));
    }
}

uint64_t SceneModel::GetPlacedTriangles() const
{
    uint64_t total = 0;
    for (Placement const& placement : placements) {
        total += meshes[placement.mesh].GetNumTriangles();
    }
    return total;
}

uint64_t SceneModel::GetStoredTriangles() const
{
    uint64_t total = 0;
    for (Mesh const& mesh : meshes) {
        total += mesh.GetNumTriangles();
    }
    return total;
}

void SceneModel::AddPlacement(uint32_t mesh, TqLAffine3f const& toWorld, bool occluder)
{
    Placement placement;
    placement.mesh = mesh;
    placement.toWorld = toWorld;
    placement.box = TransformBox(meshes[mesh].box, toWorld);
    placement.occluder = occluder;
    box.ExtendBy(placement.box);
    placements.push_back(placement);
}

TqLBox3f TransformBox(TqLBox3f const& box, TqLAffine3f const& affine)
{
    return box.IsEmpty() ? box : affine.TransformedBox(box);
}

} // namespace host
